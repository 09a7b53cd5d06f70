// Any bytes through the TIFF reader: a picture or a TiffError. A picture must survive our writer, in both layouts where
// they fit. The seed corpus is corpus/tiff_read.
#include "tiff/tiff_file.h"

namespace {

void check(bool holds) {
  if (!holds) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  try {
    const sample::Picture16 picture = sample::readTiff({data, data + size});
    check(picture.samples.size() == static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height) *
                                        static_cast<size_t>(picture.channels));
    check(sample::readTiff(sample::writeTiff(picture)) == picture);
    if (picture.channels == 1 && picture.bits == 16)
      check(sample::readTiff(sample::writeTiff(picture, sample::TiffLayout::BytePlanes)) == picture);
  } catch (const sample::TiffError&) {
  }
  return 0;
}
