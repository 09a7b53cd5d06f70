// A JPEG file decoded at reduced sizes, by inverse transforms of fewer samples a block.
#include <algorithm>
#include <cstdio>

#include "exhibit.h"
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace demo {

namespace {

// The means of squares of pixels, cut at the right and lower edge.
sample::Picture means(const sample::Picture& picture, int32_t square) {
  sample::Picture out((picture.width + square - 1) / square, (picture.height + square - 1) / square, picture.channels);
  for (int32_t y = 0; y < out.height; ++y)
    for (int32_t x = 0; x < out.width; ++x)
      for (int32_t c = 0; c < out.channels; ++c) {
        const int32_t right = std::min(picture.width, (x + 1) * square);
        const int32_t bottom = std::min(picture.height, (y + 1) * square);
        int32_t sum = 0, count = 0;
        for (int32_t v = y * square; v < bottom; ++v)
          for (int32_t u = x * square; u < right; ++u, ++count) sum += picture.row(v)[u * picture.channels + c];
        out.row(y)[x * out.channels + c] = static_cast<uint8_t>((sum + count / 2) / count);
      }
  return out;
}

}  // namespace

Section reducedSizes(const sample::Picture& picture) {
  constexpr double kLeast = 24;  // dB: sharp edges are low-passed in another way than by means
  Section section{
      "Smaller sizes",
      "A JPEG file of quality 90 decoded at a half, a quarter and an eighth of its size: the inverse transform "
      "makes 4 x 4, 2 x 2 samples or one of each block of 8 x 8, and nothing larger is ever computed.",
      {}};
  const std::vector<uint8_t> file = sample::writeJpeg(picture, {.quality = 90});
  for (const int32_t scale : {2, 4, 8}) {
    const sample::Picture small = sample::readJpeg(file, {.scale = scale});
    const double psnr = sample::psnr(small, means(picture, scale));
    char caption[96], name[32];
    std::snprintf(caption, sizeof caption, "1/%d, %d x %d, %.1f dB from the means of the pixels", scale, small.width,
                  small.height, psnr);
    std::snprintf(name, sizeof name, "reduced-%d.png", scale);
    Exhibit exhibit{name, caption, small, ""};
    if (psnr < kLeast) exhibit.failure = "the reduced picture is not the picture";
    section.exhibits.push_back(std::move(exhibit));
  }
  return section;
}

}  // namespace demo
