#include "jpeg/jpeg_deep.h"

#include <cmath>

namespace sample {
namespace {

uint16_t toSample(float value, int32_t most) {
  return static_cast<uint16_t>(std::clamp(static_cast<int32_t>(std::lrint(value)), 0, most));
}

}  // namespace

void componentsToPixels(JpegColour colour, std::span<uint16_t> row, int32_t bits) {
  if (colour != JpegColour::kYCbCr && colour != JpegColour::kYcck) return;
  const auto channels = static_cast<size_t>(channelsOf(colour));
  const int32_t most = (1 << bits) - 1;
  const auto middle = static_cast<float>(1 << (bits - 1));
  for (size_t i = 0; i < row.size(); i += channels) {
    const float y = row[i], cb = row[i + 1] - middle, cr = row[i + 2] - middle;
    row[i] = toSample(y + 1.402f * cr, most);
    row[i + 1] = toSample(y - 0.344136f * cb - 0.714136f * cr, most);
    row[i + 2] = toSample(y + 1.772f * cb, most);
    if (colour == JpegColour::kYcck)
      for (size_t c = i; c < i + 3; ++c) row[c] = static_cast<uint16_t>(most - row[c]);
  }
}

void pixelsToComponents(JpegColour colour, std::span<uint16_t> row, int32_t bits) {
  if (colour != JpegColour::kYCbCr && colour != JpegColour::kYcck) return;
  const auto channels = static_cast<size_t>(channelsOf(colour));
  const int32_t most = (1 << bits) - 1;
  const auto middle = static_cast<float>(1 << (bits - 1));
  for (size_t i = 0; i < row.size(); i += channels) {
    const bool inverted = colour == JpegColour::kYcck;
    const auto at = [&](size_t c) { return static_cast<float>(inverted ? most - row[i + c] : row[i + c]); };
    const float red = at(0), green = at(1), blue = at(2);
    const float y = 0.299f * red + 0.587f * green + 0.114f * blue;
    row[i] = toSample(y, most);
    row[i + 1] = toSample((blue - y) / 1.772f + middle, most);
    row[i + 2] = toSample((red - y) / 1.402f + middle, most);
  }
}

}  // namespace sample
