// JPEG 2000 by Grok's programs grk_decompress and grk_compress, to check with.
#pragma once

#include <span>
#include <string>

#include "support/picture.h"

namespace sample {

// A file whose picture has the shape and depth of `like`: its samples as they are stored. Throws std::runtime_error
// with what the program says, also where it only warns.
Picture16 grokDecode(std::span<const uint8_t> file, const Picture16& like);

// A codestream; `options` are those of grk_compress. Throws in the same way.
std::vector<uint8_t> grokEncode(const Picture16& picture, const std::string& options);

}  // namespace sample
