// How a region is encoded to a packed stream of 4x4 blocks, which every block format shares. An encoder is a record
// with
//   kBlockBytes, kPixelBytes   the sizes of a block in the stream and of a pixel in the image
//   kGroup                     how many neighbouring blocks it encodes at a time
//   encode(src, srcStep, dst)  which encodes four rows of 4 * kGroup pixels to kGroup blocks
#pragma once

#include <cstring>

#include "frame/frame.h"
#include "texture/decode_walk.h"

namespace texture {

// Fills out pixels of a picture that ends inside a group: the last pixel of a row is repeated along it, then the last
// row downward. An encoder takes the copies for pixels like any other.
template <int32_t kPixelBytes, int32_t kGroupPixels>
inline void padGroup(const uint8_t* src, int32_t srcStep, int32_t pixels, int32_t rows,
                     uint8_t (&out)[4][kGroupPixels * kPixelBytes]) {
  for (int32_t y = 0; y < rows; ++y) {
    std::memcpy(out[y], src + ptrdiff_t{srcStep} * y, static_cast<size_t>(pixels) * kPixelBytes);
    for (int32_t x = pixels; x < kGroupPixels; ++x)
      std::memcpy(out[y] + x * kPixelBytes, out[y] + (x - 1) * kPixelBytes, kPixelBytes);
  }
  for (int32_t y = rows; y < 4; ++y) std::memcpy(out[y], out[y - 1], sizeof(out[y]));
}

// Encodes the region in groups of blocks; groups that it cuts are filled out.
template <typename Encoder>
inline void encodeRegion(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  constexpr int32_t kGroupPixels = 4 * Encoder::kGroup;
  const int32_t blocks = blocksIn(size.width);
  for (int32_t left = size.height; left > 0; left -= 4, src += ptrdiff_t{srcStep} * 4) {
    const int32_t rows = left < 4 ? left : 4;
    for (int32_t block = 0; block < blocks; block += Encoder::kGroup) {
      const uint8_t* group = src + ptrdiff_t{block} * 4 * Encoder::kPixelBytes;
      const int32_t pixels = size.width - 4 * block;
      if (rows == 4 && pixels >= kGroupPixels) {
        Encoder::encode(group, srcStep, dst);
        dst += Encoder::kGroup * Encoder::kBlockBytes;
        continue;
      }
      uint8_t picture[4][kGroupPixels * Encoder::kPixelBytes], stream[Encoder::kGroup * Encoder::kBlockBytes];
      padGroup<Encoder::kPixelBytes, kGroupPixels>(group, srcStep, pixels < kGroupPixels ? pixels : kGroupPixels, rows,
                                                   picture);
      Encoder::encode(picture[0], sizeof(picture[0]), stream);
      const int32_t inside = blocks - block < Encoder::kGroup ? blocks - block : Encoder::kGroup;
      std::memcpy(dst, stream, static_cast<size_t>(inside) * Encoder::kBlockBytes);
      dst += inside * Encoder::kBlockBytes;
    }
  }
}

// The checks of every encoder of regions, and the region.
template <typename Encoder>
inline QlmStatus encodeTexture(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep == 0) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  encodeRegion<Encoder>(src, srcStep, size, dst);
  return qlmOk;
}

}  // namespace texture
