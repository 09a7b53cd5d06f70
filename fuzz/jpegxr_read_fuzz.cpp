// Any bytes through the JPEG XR reader: a picture, a picture with damage, or a JxrError. A picture must survive our
// writer lossless. The seed corpus is corpus/jpegxr_read.
#include "fuzz_input.h"
#include "jpegxr/jxr_reader.h"
#include "jpegxr/jxr_writer.h"

namespace {

constexpr int64_t kMaxPixels = 1 << 18;  // keeps a round short

template <typename P>
void check(const std::vector<uint8_t>& file, const sample::JxrHeader& header) {
  P picture;
  try {
    sample::readJxr(file, picture);
  } catch (const sample::JxrDamaged&) {
  }
  FUZZ_REQUIRE(picture.width == header.width && picture.height == header.height);
  P again;
  sample::readJxr(sample::writeJxr(picture, {.quality = 100, .overlap = sample::JxrOverlap::kTwo}), again);
  FUZZ_REQUIRE(again == picture);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An allocation of its own size, so that a read behind it is found.
  const std::vector<uint8_t> file(data, data + size);
  try {
    const sample::JxrHeader header = sample::readJxrHeader(file);
    if (int64_t{header.mbsWide} * header.mbsHigh * sample::kMbSide * sample::kMbSide > kMaxPixels) return 0;
    header.bits == 8 ? check<sample::Picture>(file, header) : check<sample::Picture16>(file, header);
  } catch (const sample::JxrError&) {
  }
  return 0;
}
