// Whole JPEG 2000 files by Grok's library, in this process, in memory and on the calling thread alone.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "support/picture.h"

namespace bench {

// A codestream of 5 levels and code-blocks of 64 x 64: so many bits a pixel in one layer by 9/7, or 0: lossless by 5/3.
// Throws std::runtime_error where Grok complains.
std::vector<uint8_t> grokEncode(const sample::Picture& picture, double rate);

// A decoded component of the size of the picture, in memory of Grok's own.
struct GrokPlane {
  int32_t width, height, stride;  // samples
  const int32_t* samples;
};

// Hands the components to `use`. Throws std::runtime_error where Grok gives none.
void grokDecode(const std::vector<uint8_t>& file, const std::function<void(const std::vector<GrokPlane>&)>& use);

}  // namespace bench
