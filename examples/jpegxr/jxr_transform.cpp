#include "jpegxr/jxr_transform.h"

#include <utility>

#include "jpegxr/jxr_headers.h"
#include "jpegxr/jxr_overlap.h"

namespace sample {
namespace {

// The transform of a square of DC values of subsampled chroma, its own inverse. Scaled files leave out a bit.
void transformSquare(int32_t& a, int32_t& b, int32_t& c, int32_t& d) {
  a += d;
  b -= c;
  const int32_t t = (a - b) >> 1, swapped = t - c;
  c = t - d;
  d = swapped;
  a -= d;
  b += c;
}

template <typename Transform>
void forEachSquare(JxrPlane& lowpass, Transform transform) {
  for (int32_t y = 0; y < lowpass.height; y += 2) {
    int32_t *top = lowpass.at(0, y), *bottom = lowpass.at(0, y + 1);
    for (int32_t x = 0; x < lowpass.width; x += 2) transform(top[x], top[x + 1], bottom[x], bottom[x + 1]);
  }
}

// The DC values of the two squares of 4:2:2, as a mean and a difference.
template <typename Change>
void forEachPairOfSquares(JxrPlane& lowpass, Change change) {
  for (int32_t y = 0; y < lowpass.height; y += 4)
    for (int32_t x = 0; x < lowpass.width; x += 2) change(*lowpass.at(x, y), *lowpass.at(x, y + 2));
}

// Whether a value of a lowpass plane stands where DC coefficients do.
template <typename Change>
void forEachLowpass(JxrComponentPlanes& planes, Change change) {
  const BlockGrid grid = planes.blocks;
  for (int32_t y = 0; y < planes.lowpass.height; ++y) {
    int32_t* row = planes.lowpass.at(0, y);
    for (int32_t x = 0; x < planes.lowpass.width; ++x)
      row[x] = change(row[x], y % grid.high == 0 && x % grid.wide == 0 ? kDc : kLowpass);
  }
}

void inverseSecondStage(const JxrHeader& header, JxrComponentPlanes& planes, size_t component) {
  JxrPlane& lowpass = planes.lowpass;
  if (isSubsampled(header.components, component)) {
    if (planes.blocks.high == 4)
      forEachPairOfSquares(lowpass, [](int32_t& mean, int32_t& difference) {
        mean -= (difference + 1) >> 1;
        difference += mean;
      });
    forEachSquare(lowpass, transformSquare);
  } else {
    qlmiPCTInv_JPEGXR_32s_C1IR(lowpass.values.data(), lowpass.step(), {lowpass.width, lowpass.height});
  }
  if (header.scaled && component > 0)
    for (int32_t& value : lowpass.values) value *= 2;
  if (header.overlap == JxrOverlap::kTwo)
    isSubsampled(header.components, component) ? filterOverlapOfPairs(lowpass, JxrWay::kInverse)
                                               : filterOverlap(lowpass, JxrWay::kInverse);
}

void forwardSecondStage(const JxrHeader& header, JxrComponentPlanes& planes, size_t component) {
  JxrPlane& lowpass = planes.lowpass;
  if (header.overlap == JxrOverlap::kTwo)
    isSubsampled(header.components, component) ? filterOverlapOfPairs(lowpass, JxrWay::kForward)
                                               : filterOverlap(lowpass, JxrWay::kForward);
  if (header.scaled && component > 0)
    for (int32_t& value : lowpass.values) value >>= 1;
  if (isSubsampled(header.components, component)) {
    forEachSquare(lowpass, transformSquare);
    if (planes.blocks.high == 4)
      forEachPairOfSquares(lowpass, [](int32_t& top, int32_t& bottom) {
        bottom -= top;
        top += (bottom + 1) >> 1;
      });
  } else {
    qlmiPCTFwd_JPEGXR_32s_C1IR(lowpass.values.data(), lowpass.step(), {lowpass.width, lowpass.height});
  }
}

// Rounds magnitudes down from where `offset` is added. Small differences of the reciprocal are the writer's own affair.
struct Quantiser {
  Quantiser(int32_t step, bool dc)
      : reciprocal(1.0f / static_cast<float>(step)), offset(dc ? step / 2 : (3 * step + 1) / 8) {}

  int32_t operator()(int32_t value) const {
    const int32_t magnitude = value < 0 ? -value : value;
    const auto level = static_cast<int32_t>(static_cast<float>(magnitude + offset) * reciprocal);
    return value < 0 ? -level : level;
  }
  float reciprocal;
  int32_t offset;
};

void quantiseRow(Quantiser quantise, int32_t* values, int32_t count) {
  for (int32_t i = 0; i < count; ++i) values[i] = quantise(values[i]);
}

}  // namespace

void shapePlanes(const JxrHeader& header, JxrPlanes& planes) {
  for (size_t c = 0; c < planes.size(); ++c) {
    planes[c].blocks = c < countOf(header.components) ? blocksOf(header.components, c) : BlockGrid{0, 0};
    const int32_t wide = header.mbsWide * planes[c].blocks.wide, high = header.mbsHigh * planes[c].blocks.high;
    planes[c].lowpass.resize(wide, high);
    planes[c].full.resize(kBlockSide * wide, kBlockSide * high);
  }
}

void inverseTransform(const JxrHeader& header, JxrPlanes& planes) {
  for (size_t c = 0; c < countOf(header.components); ++c) {
    const std::array<int32_t, 2> steps = {quantiserStep(header, kDc, c), quantiserStep(header, kLowpass, c)};
    if (steps[0] != 1 || steps[1] != 1)
      forEachLowpass(planes[c], [&](int32_t value, JxrBand band) { return value * steps[band]; });
    inverseSecondStage(header, planes[c], c);
    JxrPlane &full = planes[c].full, &lowpass = planes[c].lowpass;
    for (int32_t y = 0; y < lowpass.height; ++y) {  // a row of blocks, which stays in the cache
      const int32_t* from = lowpass.at(0, y);
      int32_t* to = full.at(0, kBlockSide * y);
      for (int32_t x = 0; x < lowpass.width; ++x) to[kBlockSide * x] = from[x];
      qlmiPCTInv_JPEGXR_32s_C1IR(to, full.step(), {full.width, kBlockSide});
    }
    if (header.overlap != JxrOverlap::kNone) filterOverlap(full, JxrWay::kInverse);
  }
}

void forwardTransform(const JxrHeader& header, JxrPlanes& planes) {
  for (size_t c = 0; c < countOf(header.components); ++c) {
    JxrPlane &full = planes[c].full, &lowpass = planes[c].lowpass;
    if (header.overlap != JxrOverlap::kNone) filterOverlap(full, JxrWay::kForward);
    const int32_t step = quantiserStep(header, kHighpass, c);
    const Quantiser quantise(step, false);
    for (int32_t y = 0; y < lowpass.height; ++y) {
      int32_t *from = full.at(0, kBlockSide * y), *to = lowpass.at(0, y);
      qlmiPCTFwd_JPEGXR_32s_C1IR(from, full.step(), {full.width, kBlockSide});
      for (int32_t x = 0; x < lowpass.width; ++x) to[x] = std::exchange(from[kBlockSide * x], 0);
      if (step != 1) quantiseRow(quantise, from, kBlockSide * full.width);
    }
    forwardSecondStage(header, planes[c], c);
    const std::array<Quantiser, 2> low = {Quantiser(quantiserStep(header, kDc, c), true),
                                          Quantiser(quantiserStep(header, kLowpass, c), false)};
    forEachLowpass(planes[c], [&](int32_t value, JxrBand band) { return low[band](value); });
  }
}

}  // namespace sample
