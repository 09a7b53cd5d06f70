// Scalar models of the block textures: whole regions to and from streams of blocks, pixel by pixel and bit by bit.
#pragma once

#include <cstdint>
#include <vector>

namespace model {

using Bytes = std::vector<uint8_t>;

enum class Texture { kDxt1, kDxt3, kDxt5, kBc4, kBc5, kBc6Signed, kBc6Unsigned, kBc7, kYCoCg };

int32_t blockBytesOf(Texture format);
int32_t pixelBytesOf(Texture format);  // of decoded pixels; kYCoCg is encoded from 3

// Rows of width * pixelBytesOf(format) bytes without padding.
Bytes decodeTexture(Texture format, const Bytes& stream, int32_t width, int32_t height);
Bytes encodeTexture(Texture format, const Bytes& pixels, int32_t width, int32_t height);

}  // namespace model
