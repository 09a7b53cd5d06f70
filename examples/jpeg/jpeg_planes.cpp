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

void split(const uint8_t* pixels, int32_t step, Planes& planes) {
  const auto channels = static_cast<ptrdiff_t>(planes.size());
  for (ptrdiff_t c = 0; c < channels; ++c) {
    Picture& plane = planes[static_cast<size_t>(c)];
    for (int32_t y = 0; y < plane.height; ++y) {
      const uint8_t* from = pixels + ptrdiff_t{step} * y + c;
      uint8_t* to = plane.row(y);
      for (int32_t x = 0; x < plane.width; ++x) to[x] = from[x * channels];
    }
  }
}

void join(const Planes& planes, Picture& picture) {
  const auto channels = static_cast<ptrdiff_t>(planes.size());
  for (ptrdiff_t c = 0; c < channels; ++c)
    for (int32_t y = 0; y < picture.height; ++y) {
      const uint8_t* from = planes[static_cast<size_t>(c)].row(y);
      uint8_t* to = picture.row(y) + c;
      for (int32_t x = 0; x < picture.width; ++x) to[x * channels] = from[x];
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

// Each sample repeated, for any ratio.
Picture upsampleReplicate(const Picture& plane, int32_t width, int32_t height) {
  Picture full(width, height, 1);
  for (int32_t y = 0; y < height; ++y) {
    const uint8_t* from = plane.row(static_cast<int32_t>(int64_t{y} * plane.height / height));
    uint8_t* to = full.row(y);
    for (int32_t x = 0; x < width; ++x) to[x] = from[int64_t{x} * plane.width / width];
  }
  return full;
}

// Straight from chroma of half the width, or half the width and height. The library converts pairs of columns (and
// rows) here; an odd picture is taken from an even one, for which the padding of the planes has samples.
void subsampledToRgb(const Planes& planes, bool both, Picture& picture) {
  const int32_t oddColumns = picture.width % 2, oddRows = both ? picture.height % 2 : 0;
  if (oddColumns + oddRows > 0) {
    Picture even(picture.width + oddColumns, picture.height + oddRows, 3);
    subsampledToRgb(planes, both, even);
    picture = crop(even, 0, 0, picture.width, picture.height);
    return;
  }
  const uint8_t* const from[]{planes[0].row(0), planes[1].row(0), planes[2].row(0)};
  const int32_t steps[]{planes[0].step(), planes[1].step(), planes[2].step()};
  const auto toRgb = both ? qlmiYCbCr411ToRGB_JPEG_8u_P3C3R : qlmiYCbCr422ToRGB_JPEG_8u_P3C3R;
  toRgb(from, steps, picture.row(0), picture.step(), sizeOf(picture));
}

// Planes of one size, at least that of the picture.
void wholePlanesToPixels(JpegColour colour, const Planes& planes, Picture& picture) {
  const uint8_t* from[4]{};
  for (size_t i = 0; i < planes.size(); ++i) from[i] = planes[i].row(0);
  const int32_t step = planes[0].step();
  if (colour == JpegColour::kYCbCr)
    qlmiYCbCrToRGB_JPEG_8u_P3C3R(from, step, picture.row(0), picture.step(), sizeOf(picture));
  else if (colour == JpegColour::kYcck)
    qlmiYCCKToCMYK_JPEG_8u_P4C4R(from, step, picture.row(0), picture.step(), sizeOf(picture));
  else
    join(planes, picture);
}

}  // namespace

void pixelsToPlanes(JpegColour colour, const uint8_t* pixels, int32_t step, Planes& planes) {
  if (colour == JpegColour::kYCbCr)
    rgbToPlanes(pixels, step, planes);
  else if (colour == JpegColour::kYcck)
    cmykToPlanes(pixels, step, planes);
  else
    split(pixels, step, planes);
}

Picture upsampleTriangle(const Picture& plane, int32_t width, int32_t height, bool tall) {
  if (width == 1) return upsampleReplicate(plane, 2 * plane.width, (tall ? 2 : 1) * plane.height);
  Picture full(2 * plane.width, (tall ? 2 : 1) * plane.height, 1);
  for (int32_t y = 0; y < height; ++y) {
    if (!tall) {
      qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(plane.row(y), width, full.row(y));
      continue;
    }
    // The near row counts three times and the next one beyond it once.
    const uint8_t *above = plane.row(std::max(y - 1, 0)), *below = plane.row(std::min(y + 1, height - 1));
    qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(plane.row(y), above, width, full.row(2 * y));
    qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(plane.row(y), below, width, full.row(2 * y + 1));
  }
  return full;
}

void planesToPixels(JpegColour colour, Planes& planes, Upsampling upsampling, Picture& picture) {
  const int32_t width = std::ranges::max(planes, {}, &Picture::width).width;
  const int32_t height = std::ranges::max(planes, {}, &Picture::height).height;
  const auto whole = [&](const Picture& plane) { return plane.width == width && plane.height == height; };
  if (colour == JpegColour::kYCbCr && upsampling == Upsampling::kReplicate && whole(planes[0]) &&
      halfWide(planes[1], width) && planes[1].width == planes[2].width && planes[1].height == planes[2].height &&
      (halfHigh(planes[1], height) || planes[1].height == height)) {
    subsampledToRgb(planes, halfHigh(planes[1], height), picture);
    return;
  }
  for (Picture& plane : planes) {
    if (whole(plane)) continue;
    const bool tall = halfHigh(plane, height);
    if (upsampling == Upsampling::kTriangle && halfWide(plane, width) && (tall || plane.height == height))
      plane = upsampleTriangle(plane, (picture.width + 1) / 2, tall ? (picture.height + 1) / 2 : picture.height, tall);
    else
      plane = upsampleReplicate(plane, width, height);
  }
  wholePlanesToPixels(colour, planes, picture);
}

}  // namespace sample
