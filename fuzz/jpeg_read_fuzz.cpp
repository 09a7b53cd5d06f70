// Any bytes through the JPEG reader: pixels by all ways, and coefficients, or a JpegError. Coefficients that come out
// whole must survive our writer. The seed corpus is corpus/jpeg_read.
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 20;  // keeps a round short

void check(bool holds) {
  if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span file(data, size);
  try {
    const sample::JpegFrame frame = sample::readJpegFrame(file);
    if (int64_t{frame.width} * frame.height > kMaxPixels) return 0;
    const sample::JpegReadOptions ways[]{{},
                                         {.by = sample::JpegBy::kPlane},
                                         {.upsampling = sample::Upsampling::kTriangle},
                                         {.upsampling = sample::Upsampling::kTriangle, .scale = 2},
                                         {.scale = 4},
                                         {.scale = 8}};
    for (const sample::JpegReadOptions& options : ways) {
      sample::Picture picture;
      try {
        sample::readJpeg(file, picture, options);
      } catch (const sample::JpegDamaged&) {
      }
      check(picture.width == (frame.width + options.scale - 1) / options.scale &&
            picture.height == (frame.height + options.scale - 1) / options.scale);
    }
    const sample::JpegCoefficients whole = sample::readCoefficients(file);
    const sample::JpegCoefficients again = sample::readCoefficients(sample::writeCoefficients(whole));
    for (size_t i = 0; i < whole.planes.size(); ++i) check(whole.planes[i].values == again.planes[i].values);
  } catch (const sample::JpegError&) {
  }
  return 0;
}
