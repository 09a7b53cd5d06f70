// The codec of jxrlib as the other side, through its command-line programs (libjxr-tools), with pictures in PNM files.
// For tests and the demo; the sample codec does without it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/picture.h"

namespace sample {

// Grey or RGB, of 8 or 16 bits. `options` are those of JxrEncApp. Throws std::runtime_error with its message.
std::vector<uint8_t> jxrlibWrite(const AnyPicture& picture, const std::string& options);
AnyPicture jxrlibRead(std::span<const uint8_t> file);

}  // namespace sample
