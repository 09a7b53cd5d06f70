// JPEG XR writer (ITU-T T.832): grey and RGB pictures of 8 or 16 bits, lossless or lossy, in spatial layout and one
// tile, with chroma at any size, any overlap filters, and any of the leading bands.
#pragma once

#include <optional>

#include "jpegxr/jxr_format.h"
#include "support/picture.h"

namespace sample {

struct JxrWriteOptions {
  int32_t quality = 90;  // 1 to 100, which is lossless where all bands and all chroma are kept
  // Indices into the standard's scale of quantisers, by band and component, instead of those of the quality.
  std::optional<std::array<QuantiserIndices, 3>> quantisers = {};
  JxrComponents components = JxrComponents::k444;  // of RGB pictures; Y alone makes the picture grey
  JxrOverlap overlap = JxrOverlap::kNone;
  JxrBands bands = JxrBands::kAll;
};

// The bytes of a file. Throws JxrError where the picture or the options are out of range. Pictures of other than 8 or
// 16 bits have to be brought to one of these first.
std::vector<uint8_t> writeJxr(const Picture& picture, const JxrWriteOptions& options = {});
std::vector<uint8_t> writeJxr(const Picture16& picture, const JxrWriteOptions& options = {});

}  // namespace sample
