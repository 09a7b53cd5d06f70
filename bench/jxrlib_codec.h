// Whole JPEG XR files by jxrlib's glue library, in this process and in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "support/picture.h"

namespace bench {

struct JxrlibOptions {
  int components;  // 0: Y, 1: 4:2:0, 2: 4:2:2, 3: 4:4:4
  int overlap;     // filters: 0, 1 or 2
  int quantiser;   // 1: lossless, up to 255
};

// Into memory that is kept from call to call; returns the bytes of the file. In spatial layout, as the sample codec
// writes.
size_t jxrlibEncode(const sample::Picture& picture, const JxrlibOptions& options, std::vector<uint8_t>& room);

// The picture has the size and channels of the file.
void jxrlibDecode(const std::vector<uint8_t>& file, sample::Picture& picture);

}  // namespace bench
