// Any bytes through the JPEG reader: pixels by all ways, the first scans, the bits of the file, and coefficients, or a
// JpegError. Coefficients that come out whole must survive our writer, in one scan and progressively. The seed corpus
// is corpus/jpeg_read.
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 18;  // keeps a round short

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
                                         {.scans = 2},
                                         {.upsampling = sample::Upsampling::kTriangle, .scale = 2},
                                         {.scale = 4},
                                         {.scale = 8}};
    const bool reducible = frame.process != sample::JpegProcess::kLossless && frame.precision == 8;
    for (const sample::JpegReadOptions& options : ways) {
      if (options.scale > 1 && !reducible) continue;
      sample::Picture picture;
      try {
        sample::readJpeg(file, picture, options);
      } catch (const sample::JpegDamaged&) {
      }
      check(picture.width == (frame.width + options.scale - 1) / options.scale &&
            picture.height == (frame.height + options.scale - 1) / options.scale);
    }
    sample::Picture16 deep;
    try {
      sample::readJpeg(file, deep);
    } catch (const sample::JpegDamaged&) {
    }
    check(deep.width == frame.width && deep.height == frame.height && deep.bits == frame.precision);
    for (const uint16_t sample : deep.samples) check(sample >> deep.bits == 0);

    const sample::JpegCoefficients whole = sample::readCoefficients(file);
    for (const auto process : {sample::JpegProcess::kSequential, sample::JpegProcess::kProgressive}) {
      const sample::JpegCoefficients again =
          sample::readCoefficients(sample::writeCoefficients(whole, {.process = process, .optimise = true}));
      // A scan of one component leaves out the blocks that only pad it to whole MCUs.
      for (size_t i = 0; i < whole.planes.size(); ++i)
        for (int32_t row = 0; row < whole.frame.blocksHigh(i); ++row)
          check(std::equal(whole.planes[i].block(row, 0), whole.planes[i].block(row, whole.frame.blocksWide(i)),
                           again.planes[i].block(row, 0)));
    }
  } catch (const sample::JpegError&) {
  }
  return 0;
}
