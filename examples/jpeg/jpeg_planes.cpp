#include "jpeg/jpeg_planes.h"

#include <qlmjp.h>

#include <algorithm>
#include <cstring>

namespace sample {
namespace {

QlmSize sizeOf(const Picture& plane) { return {plane.width, plane.height}; }

// How planes stand to the first one, or to the largest one.
bool halfWide(const Picture& plane, int32_t width) { return 2 * plane.width == width; }
bool halfHigh(const Picture& plane, int32_t height) { return 2 * plane.height == height; }

template <size_t kChannels>
void split(const uint8_t* pixels, int32_t step, Planes& planes) {
  const auto width = static_cast<size_t>(planes[0].width);
  for (int32_t y = 0; y < planes[0].height; ++y) {
    const uint8_t* from = pixels + ptrdiff_t{step} * y;
    uint8_t* to[kChannels];
    for (size_t c = 0; c < kChannels; ++c) to[c] = planes[c].row(y);
    for (size_t x = 0; x < width; ++x)
      for (size_t c = 0; c < kChannels; ++c) to[c][x] = from[kChannels * x + c];
  }
}

template <size_t kChannels>
void join(const std::array<const Picture*, 4>& planes, uint8_t* pixels, int32_t step, QlmSize size) {
  const auto width = static_cast<size_t>(size.width);
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* from[kChannels];
    for (size_t c = 0; c < kChannels; ++c) from[c] = planes[c]->row(y);
    uint8_t* to = pixels + ptrdiff_t{step} * y;
    for (size_t x = 0; x < width; ++x)
      for (size_t c = 0; c < kChannels; ++c) to[kChannels * x + c] = from[c][x];
  }
}

void rgbToPlanes(const uint8_t* pixels, int32_t step, Planes& planes) {
  uint8_t* const to[]{planes[0].row(0), planes[1].row(0), planes[2].row(0)};
  const int32_t steps[]{planes[0].step(), planes[1].step(), planes[2].step()};
  const QlmSize size = sizeOf(planes[0]);
  if (!halfWide(planes[1], size.width))
    qlmiRGBToYCbCr_JPEG_8u_C3P3R(pixels, step, to, steps[0], size);
  else if (!halfHigh(planes[1], size.height))
    qlmiRGBToYCbCr422_JPEG_8u_C3P3R(pixels, step, to, steps, size);
  else
    qlmiRGBToYCbCr411_JPEG_8u_C3P3R(pixels, step, to, steps, size);
}

// The library has no subsampling form for this conversion: chroma comes out whole and is reduced afterwards.
void cmykToPlanes(const uint8_t* pixels, int32_t step, Planes& planes) {
  const QlmSize size = sizeOf(planes[0]);
  const bool reduced = halfWide(planes[1], size.width), both = halfHigh(planes[1], size.height);
  Planes whole;
  if (reduced) whole.assign(2, Picture(size.width, size.height, 1));
  Planes& chroma = reduced ? whole : planes;
  const size_t cb = reduced ? 0 : 1;
  uint8_t* const to[]{planes[0].row(0), chroma[cb].row(0), chroma[cb + 1].row(0), planes[3].row(0)};
  qlmiCMYKToYCCK_JPEG_8u_C4P4R(pixels, step, to, planes[0].step(), size);
  for (size_t i = 0; i < whole.size(); ++i) {
    Picture& half = planes[i + 1];
    const auto sampleDown = both ? qlmiSampleDownH2V2_JPEG_8u_C1R : qlmiSampleDownH2V1_JPEG_8u_C1R;
    sampleDown(whole[i].row(0), whole[i].step(), size, half.row(0), half.step(), sizeOf(half));
  }
}

// Straight from chroma of half the width, or half the width and height. The library converts pairs of columns (and
// rows) here; an odd picture is taken from an even one, for which the padding of the planes has samples.
void subsampledToRgb(const std::array<const Picture*, 4>& planes, uint8_t* pixels, int32_t step, QlmSize size) {
  const bool both = planes[1]->height < planes[0]->height;
  const int32_t oddColumns = size.width % 2, oddRows = both ? size.height % 2 : 0;
  if (oddColumns + oddRows > 0) {
    Picture even(size.width + oddColumns, size.height + oddRows, 3);
    subsampledToRgb(planes, even.row(0), even.step(), sizeOf(even));
    for (int32_t y = 0; y < size.height; ++y)
      std::memcpy(pixels + ptrdiff_t{step} * y, even.row(y), static_cast<size_t>(size.width) * 3);
    return;
  }
  const uint8_t* const from[]{planes[0]->row(0), planes[1]->row(0), planes[2]->row(0)};
  const int32_t steps[]{planes[0]->step(), planes[1]->step(), planes[2]->step()};
  const auto toRgb = both ? qlmiYCbCr411ToRGB_JPEG_8u_P3C3R : qlmiYCbCr422ToRGB_JPEG_8u_P3C3R;
  toRgb(from, steps, pixels, step, size);
}

}  // namespace

void pixelsToPlanes(JpegColour colour, const uint8_t* pixels, int32_t step, Planes& planes) {
  if (colour == JpegColour::kYCbCr)
    rgbToPlanes(pixels, step, planes);
  else if (colour == JpegColour::kYcck)
    cmykToPlanes(pixels, step, planes);
  else if (planes.size() == 3)
    split<3>(pixels, step, planes);
  else
    split<4>(pixels, step, planes);
}

void upsampleReplicate(const Picture& plane, Picture& full) {
  for (int32_t y = 0; y < full.height; ++y) {
    const uint8_t* from = plane.row(static_cast<int32_t>(int64_t{y} * plane.height / full.height));
    uint8_t* to = full.row(y);
    if (full.width == 2 * plane.width) {
      for (int32_t x = 0; x < plane.width; ++x) to[2 * x] = to[2 * x + 1] = from[x];
    } else {
      for (int32_t x = 0; x < full.width; ++x) to[x] = from[int64_t{x} * plane.width / full.width];
    }
  }
}

void upsampleTriangle(const Picture& plane, int32_t width, int32_t rows, bool tall, const uint8_t* above,
                      const uint8_t* below, Picture& full) {
  if (width == 1) return upsampleReplicate(plane, full);
  for (int32_t y = 0; y < rows; ++y) {
    if (!tall) {
      qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(plane.row(y), width, full.row(y));
      continue;
    }
    // The near row counts three times and the next one beyond it once.
    qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(plane.row(y), y == 0 ? above : plane.row(y - 1), width, full.row(2 * y));
    qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(plane.row(y), y == rows - 1 ? below : plane.row(y + 1), width,
                                            full.row(2 * y + 1));
  }
}

bool fitPixels(JpegColour colour, const Planes& planes, bool replicate) {
  const Picture& first = planes[0];
  const auto isSize = [](const Picture& plane, int32_t width, int32_t height) {
    return plane.width == width && plane.height == height;
  };
  if (std::ranges::all_of(planes, [&](const Picture& p) { return isSize(p, first.width, first.height); })) return true;
  const Picture& chroma = planes[1];
  return colour == JpegColour::kYCbCr && replicate && halfWide(chroma, first.width) &&
         (halfHigh(chroma, first.height) || chroma.height == first.height) &&
         isSize(planes[2], chroma.width, chroma.height);
}

void planesToPixels(JpegColour colour, const std::array<const Picture*, 4>& planes, uint8_t* pixels, int32_t step,
                    int32_t width, int32_t height) {
  const int32_t channels = channelsOf(colour);
  const QlmSize size{width, height};
  if (channels > 1 && planes[1]->width < planes[0]->width) return subsampledToRgb(planes, pixels, step, size);
  const uint8_t* from[4]{};
  for (size_t i = 0; i < static_cast<size_t>(channels); ++i) from[i] = planes[i]->row(0);
  if (colour == JpegColour::kYCbCr)
    qlmiYCbCrToRGB_JPEG_8u_P3C3R(from, planes[0]->step(), pixels, step, size);
  else if (colour == JpegColour::kYcck)
    qlmiYCCKToCMYK_JPEG_8u_P4C4R(from, planes[0]->step(), pixels, step, size);
  else if (channels == 1)
    join<1>(planes, pixels, step, size);
  else if (channels == 3)
    join<3>(planes, pixels, step, size);
  else
    join<4>(planes, pixels, step, size);
}

}  // namespace sample
