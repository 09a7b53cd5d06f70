#include "jpeg2000/bands.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

#include "qlmjp.h"

namespace sample {
namespace {

// The functions that belong to one wavelet.
using ColourTransform = decltype(&qlmiRCTFwd_JPEG2K_32s_P3IR);
struct Transforms {
  decltype(&qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR) scratchSize;
  decltype(&qlmiWTFwd_B53_JPEG2K_32s_C1IR) forward, inverse;
  ColourTransform forwardColour, inverseColour;
  int32_t fraction;  // bits below a step of the picture that the samples carry, against the rounding of each level
};
constexpr Transforms kReversible{.scratchSize = qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR,
                                 .forward = qlmiWTFwd_B53_JPEG2K_32s_C1IR,
                                 .inverse = qlmiWTInv_B53_JPEG2K_32s_C1IR,
                                 .forwardColour = qlmiRCTFwd_JPEG2K_32s_P3IR,
                                 .inverseColour = qlmiRCTInv_JPEG2K_32s_P3IR,
                                 .fraction = 0};
constexpr Transforms kIrreversible{.scratchSize = qlmiWTGetBufSize_D97_JPEG2K_32s_C1IR,
                                   .forward = qlmiWTFwd_D97_JPEG2K_32s_C1IR,
                                   .inverse = qlmiWTInv_D97_JPEG2K_32s_C1IR,
                                   .forwardColour = qlmiICTFwd_JPEG2K_32s_P3IR,
                                   .inverseColour = qlmiICTInv_JPEG2K_32s_P3IR,
                                   .fraction = 6};

const Transforms& transformsOf(Wavelet wavelet) { return wavelet == Wavelet::k53 ? kReversible : kIrreversible; }

void check(QlmStatus status) {
  if (status != qlmOk) throw std::runtime_error("a transform failed with status " + std::to_string(status));
}

int32_t stepOf(const Bands& bands) { return bands.width * static_cast<int32_t>(sizeof(int32_t)); }

// The low band that `level` levels leave. The picture's origin is even, and so is that of each low band.
QlmRect lowBand(const Bands& bands, int32_t level) {
  const auto halved = [level](int32_t n) { return (n + (1 << level) - 1) >> level; };
  return {0, 0, halved(bands.width), halved(bands.height)};
}

std::vector<uint8_t> scratch(const Bands& bands) {
  int32_t bytes = 0;
  check(transformsOf(bands.wavelet).scratchSize(lowBand(bands, 0), &bytes));
  return std::vector<uint8_t>(static_cast<size_t>(std::max(bytes, 1)));  // a pointer is wanted even for no bytes
}

void transformColour(Bands& bands, ColourTransform transform) {
  if (bands.planes.size() != 3) return;
  int32_t* const planes[3]{bands.planes[0].data(), bands.planes[1].data(), bands.planes[2].data()};
  check(transform(planes, stepOf(bands), {bands.width, bands.height}));
}

// Planes of level-shifted samples as a picture.
Picture toPicture(const Bands& bands) {
  const double step = 1 << transformsOf(bands.wavelet).fraction;
  Picture picture(bands.width, bands.height, static_cast<int32_t>(bands.planes.size()));
  for (size_t i = 0; i < picture.pixels.size(); ++i) {
    const double value = bands.planes[i % bands.planes.size()][i / bands.planes.size()] / step;
    picture.pixels[i] = static_cast<uint8_t>(std::clamp(std::lrint(value) + 128, 0l, 255l));
  }
  return picture;
}

}  // namespace

Bands toBands(const Picture& picture, Wavelet wavelet, int32_t levels) {
  const Transforms& transforms = transformsOf(wavelet);
  Bands bands{wavelet, levels, picture.width, picture.height, {}};
  bands.planes.resize(static_cast<size_t>(picture.channels));
  for (size_t i = 0; i < picture.pixels.size(); ++i)
    bands.planes[i % bands.planes.size()].push_back((picture.pixels[i] - 128) * (1 << transforms.fraction));

  transformColour(bands, transforms.forwardColour);
  std::vector<uint8_t> buffer = scratch(bands);
  for (auto& plane : bands.planes)
    for (int32_t level = 0; level < levels; ++level)
      check(transforms.forward(plane.data(), stepOf(bands), lowBand(bands, level), buffer.data()));
  return bands;
}

Picture fromBands(const Bands& bands) {
  const Transforms& transforms = transformsOf(bands.wavelet);
  Bands samples = bands;
  std::vector<uint8_t> buffer = scratch(samples);
  for (auto& plane : samples.planes)
    for (int32_t level = samples.levels - 1; level >= 0; --level)
      check(transforms.inverse(plane.data(), stepOf(samples), lowBand(samples, level), buffer.data()));
  transformColour(samples, transforms.inverseColour);
  return toPicture(samples);
}

Picture showBands(const Bands& bands) {
  constexpr int32_t kStrength = 3;
  const QlmRect low = lowBand(bands, bands.levels);
  Bands shown = bands;
  for (auto& plane : shown.planes)
    for (int32_t y = 0; y < shown.height; ++y)
      for (int32_t x = 0; x < shown.width; ++x)
        if (x >= low.width || y >= low.height)
          plane[static_cast<size_t>(y) * static_cast<size_t>(shown.width) + static_cast<size_t>(x)] *= kStrength;
  // The colours of the bands are those that the component transform makes of their values: it is linear.
  transformColour(shown, transformsOf(bands.wavelet).inverseColour);
  return toPicture(shown);
}

}  // namespace sample
