// JPEG XR reader (ITU-T T.832): .jxr and .wdp files of grey and RGB pictures of 8 or 16 bits, with chroma at any size,
// any overlap filters, any bands, in spatial or frequency layout, with or without tiles. Alpha beside the picture is
// left out. The steps are: headers (jxr_headers), macroblocks (jxr_decode), samples (jxr_transform), pixels
// (jxr_colour).
#pragma once

#include <span>

#include "jpegxr/jxr_format.h"
#include "support/picture.h"

namespace sample {

// The file is damaged or truncated behind its headers, and what could be decoded has been delivered.
class JxrDamaged : public JxrError {
 public:
  using JxrError::JxrError;
};

JxrHeader readJxrHeader(std::span<const uint8_t> file);

// Decodes into `picture`, using its memory again where that suffices. Throws JxrError; where that is a JxrDamaged,
// `picture` holds all that could be decoded, and mid-grey for what is missing. A Picture gets 8 bits whatever the file
// has, a Picture16 the bits of the file.
void readJxr(std::span<const uint8_t> file, Picture& picture);
void readJxr(std::span<const uint8_t> file, Picture16& picture);

inline Picture readJxr(std::span<const uint8_t> file) {
  Picture picture;
  readJxr(file, picture);
  return picture;
}

}  // namespace sample
