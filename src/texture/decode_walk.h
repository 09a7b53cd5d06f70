// How a region is decoded from a packed stream of 4x4 blocks, which every block format shares. A decoder is a record
// with
//   kBlockBytes, kPixelBytes   the sizes of a block in the stream and of a pixel in the image
//   kGroup                     how many neighbouring blocks it decodes at a time
//   decode(src, dst, dstStep)  which decodes kGroup blocks to four rows of 4 * kGroup pixels
#pragma once

#include <cstring>

#include "frame/frame.h"
#include "frame/wrap.h"

namespace texture {

// The size of a region in blocks: partial ones count.
constexpr int32_t blocksIn(int32_t pixels) { return pixels / 4 + (pixels % 4 != 0); }

// Decodes the region in groups of blocks. A group that the region cuts, at its right or lower edge, goes through a
// scratch, of which the pixels inside are copied out: nothing else is read or written. The offset of a row of blocks is
// accumulated in 32 unsigned bits: kept, so that a negative step does not address rows upward.
template <typename Decoder>
inline void decodeRegion(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  constexpr int32_t kGroupPixels = 4 * Decoder::kGroup, kRowBytes = kGroupPixels * Decoder::kPixelBytes;
  const int32_t blocks = blocksIn(size.width);
  uint32_t offset = 0;
  for (int32_t left = size.height; left > 0; left -= 4, offset += 4 * static_cast<uint32_t>(dstStep)) {
    uint8_t* row = dst + offset;
    const int32_t rows = left < 4 ? left : 4;
    for (int32_t block = 0; block < blocks; block += Decoder::kGroup, row += kRowBytes) {
      const int32_t pixels = size.width - 4 * block, group = blocks - block;
      if (rows == 4 && pixels >= kGroupPixels) {
        Decoder::decode(src, row, dstStep);
        src += Decoder::kGroup * Decoder::kBlockBytes;
        continue;
      }
      const int32_t inside = group < Decoder::kGroup ? group : Decoder::kGroup;
      alignas(32) uint8_t stream[Decoder::kGroup * Decoder::kBlockBytes] = {}, scratch[4 * kRowBytes];
      std::memcpy(stream, src, static_cast<size_t>(inside) * Decoder::kBlockBytes);
      Decoder::decode(stream, scratch, kRowBytes);
      const int32_t bytes = (pixels < kGroupPixels ? pixels : kGroupPixels) * Decoder::kPixelBytes;
      for (int32_t i = 0; i < rows; ++i)
        std::memcpy(row + ptrdiff_t{dstStep} * i, scratch + kRowBytes * i, static_cast<size_t>(bytes));
      src += inside * Decoder::kBlockBytes;
    }
  }
}

// The checks of every decoder, and the region.
template <typename Decoder>
inline QlmStatus decodeTexture(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (!src || !dst) return qlmErrNullPointer;
  if (dstStep == 0) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  decodeRegion<Decoder>(src, dst, dstStep, size);
  return qlmOk;
}

}  // namespace texture
