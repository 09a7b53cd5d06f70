#include "jpeg2000/block_encode.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "qlmjp.h"

namespace sample::j2k {
namespace {

constexpr int32_t kMagnitudeBits = 31;
constexpr uint32_t kSign = 1u << kMagnitudeBits;

void check(QlmStatus status) {
  if (status != qlmOk) throw Jpeg2000Error("a code-block failed with status " + std::to_string(status));
}

// T.800 D.4.2: without the bypass and termination on each pass all passes share a segment; with the bypass, those
// before the first raw pass do, then each pair of raw passes, and each cleanup pass after them.
int32_t segmentOf(int32_t pass, int32_t style) {
  constexpr int32_t kFirstRaw = 10;
  if (style & kTerminateAll) return pass;
  if (!(style & kBypass) || pass < kFirstRaw) return 0;
  const int32_t plane = (pass - kFirstRaw) / 3, isCleanup = (pass - kFirstRaw) % 3 == 2;
  return 1 + 2 * plane + isCleanup;
}

// Values to sign and magnitude, with the lowest of the band's planes where the encoder wants it. What the quantiser
// drops stays below that plane, from where the encoder sees how much error is left.
template <typename T>
void toMagnitudes(const T* values, int32_t step, const Box& area, const BandEncoding& band, int32_t* out) {
  const double scale = std::ldexp(1 / band.unit, kMagnitudeBits - band.planes);
  // What has more bits than the band has planes is cut to all that fit.
  constexpr float kMost = 2147483520;  // the largest one below 2^31
  const auto most = static_cast<int32_t>(std::min(kMost / scale, double{kMost}));
  const auto singleScale = static_cast<float>(scale);
  const int32_t width = area.width();
  for (int32_t y = 0; y < area.height(); ++y, values += step, out += width)
    for (int32_t x = 0; x < width; ++x) {
      const int32_t value = values[x], size = std::min(std::abs(value), most);
      const auto magnitude = static_cast<int32_t>(static_cast<float>(size) * singleScale);
      out[x] = static_cast<int32_t>(static_cast<uint32_t>(magnitude) | (static_cast<uint32_t>(value) & kSign));
    }
}

// The squared error in steps when all planes are decoded to the middle of their intervals.
template <typename T>
double residueOf(const T* values, int32_t step, const Box& area, const BandEncoding& band) {
  double sum = 0;
  for (int32_t y = 0; y < area.height(); ++y, values += step)
    for (int32_t x = 0; x < area.width(); ++x) {
      const double steps = std::abs(values[x] / band.unit), whole = std::floor(steps);
      sum += std::pow(steps - (whole > 0 ? whole + 0.5 : 0), 2);
    }
  return sum;
}

}  // namespace

void BlockEncoder::Free::operator()(QlmEncodeState_JPEG2K* state) const { qlmiEncodeFree_JPEG2K(state); }

BlockEncoder::BlockEncoder(const BlockCoding& coding)
    : coding_(coding), magnitudes_(static_cast<size_t>(coding.width) * static_cast<size_t>(coding.height)) {
  QlmEncodeState_JPEG2K* state = nullptr;
  check(qlmiEncodeInitAlloc_JPEG2K(&state, {coding.width, coding.height}));
  state_.reset(state);
  room_.resize(4 * magnitudes_.size() + 64);  // enough for most blocks at once
}

CodedBlock BlockEncoder::encode(const BandEncoding& whole, const TilePlane& plane, const Box& area, int32_t floor) {
  CodedBlock block;
  block.floor = floor = std::min(floor, whole.planes - 1);
  // What is left out is as if the step was larger.
  BandEncoding band = whole;
  band.planes -= floor;
  band.unit = std::ldexp(whole.unit, floor);
  band.weight = std::ldexp(whole.weight, 2 * floor);
  const auto convert = [&](const auto& samples) {
    const auto* values = samples.get() + ptrdiff_t{plane.width} * area.y0 + area.x0;
    toMagnitudes(values, plane.width, area, band, magnitudes_.data());
    if (coding_.measuresResidue && !(coding_.reversible && floor == 0))
      block.residue = residueOf(values, plane.width, area, band) * band.weight;
  };
  std::visit(convert, plane.samples);

  constexpr int32_t kReversibleBlock = 32, kEasyEnd = 2;
  const int32_t flags = codeBlockFlags(coding_.style) | (coding_.reversible && floor == 0 ? kReversibleBlock : 0);
  const int32_t termination = coding_.style & kPredictableEnd ? kEasyEnd : 0;
  int32_t significantBits = 0, passes = 0, segments = 0;
  check(qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(magnitudes_.data(), area.width() * static_cast<int32_t>(sizeof(int32_t)),
                                               {area.width(), area.height()}, state_.get(),
                                               static_cast<int32_t>(band.orientation), band.planes, termination, 0,
                                               flags, &significantBits, &passes, &segments));
  block.zeroPlanes = std::min(kMagnitudeBits - significantBits, whole.planes);
  if (passes == 0) return block;
  storeBytes(block);
  storePasses(block, passes, segments, band.weight);
  return block;
}

void BlockEncoder::storeBytes(CodedBlock& block) {
  for (int32_t notFinished = 1; notFinished;) {
    auto length = static_cast<int32_t>(room_.size());
    check(qlmiEncodeStoreBits_JPEG2K_1u(room_.data(), &length, state_.get(), &notFinished));
    block.bytes.insert(block.bytes.end(), room_.begin(), room_.begin() + length);
  }
}

void BlockEncoder::storePasses(CodedBlock& block, int32_t passes, int32_t segments, double weight) {
  // The end of each segment; the start of the next one.
  std::vector<int32_t> ends;
  for (int32_t i = 0, end = 0; i < segments; ++i) {
    int32_t length = 0;
    check(qlmiEncodeGetTermPassLen_JPEG2K(state_.get(), i, &length));
    block.segmentStarts.push_back(end);
    ends.push_back(end += length);
  }
  for (int32_t i = 0; i < passes; ++i) {
    CodedPass pass{segmentOf(i, coding_.style), 0, 0};
    check(qlmiEncodeGetRate_JPEG2K(state_.get(), i, &pass.end));
    check(qlmiEncodeGetDist_JPEG2K(state_.get(), i, &pass.gain));
    // An estimate may lie beyond its segment, or before it where a byte may be dropped at the end of the last one.
    const auto segment = static_cast<size_t>(pass.segment);
    pass.end = std::clamp(pass.end, block.segmentStarts[segment], ends[segment]);
    pass.gain *= weight;
    block.passes.push_back(pass);
  }
}

}  // namespace sample::j2k
