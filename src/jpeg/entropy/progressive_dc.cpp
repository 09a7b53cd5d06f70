// Progressive Huffman coding of DC coefficients (T.81 G.1.2.1, G.2): the first scan codes differences of shifted values
// as the baseline does, a refinement adds one plain bit a block.
#include "jpeg/entropy/huffman_bits.h"
#include "jpeg/entropy/progressive_band.h"

// The largest category that a DC difference may have.
static constexpr int32_t kMaxDcCategory = 11;

QLM_EXPORT(qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int16_t* lastDC, int32_t al,
 const QlmEncodeHuffmanSpec* dcTable, QlmEncodeHuffmanState* state, int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlush(dst, dstLength, dstPosition, state);
  if (!src || !lastDC) return qlmErrNullPointer;
  if (!ownIsPointTransform(al)) return qlmErrBadArgument;
  if (!dcTable) return qlmErrNullPointer;

  const int32_t dc = src[0] >> al;
  const QlmCategorised difference = ownCategorise(dc - *lastDC);
  *lastDC = static_cast<int16_t>(dc);
  if (difference.category > kMaxDcCategory) return qlmErrDctRange;
  const uint32_t entry = dcTable->codes[difference.category];
  return ownHuffmanPutValue(entry, difference.bits, difference.category, dst, dstLength, dstPosition, state);
}

QLM_EXPORT(qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int32_t al, QlmEncodeHuffmanState* state,
 int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlush(dst, dstLength, dstPosition, state);
  if (!src) return qlmErrNullPointer;
  if (!ownIsPointTransform(al)) return qlmErrBadArgument;

  const uint32_t bit = static_cast<uint32_t>(src[0] >> al) & 1;
  if (state->bitCount >= 0 && state->bitCount < 7) {
    // No byte is complete yet.
    state->accumulator |= bit << (23 - state->bitCount++);
    return qlmOk;
  }
  return ownHuffmanPutBits(bit, 1, dst, dstLength, dstPosition, state);
}

QLM_EXPORT(qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int16_t* lastDC, int32_t* marker,
 int32_t al, const QlmDecodeHuffmanSpec* dcTable, QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 1) return qlmErrSize;
  if (!srcPosition || !dst || !lastDC || !marker) return qlmErrNullPointer;
  if (!ownIsPointTransform(al)) return qlmErrBadArgument;
  if (!dcTable || !state) return qlmErrNullPointer;

  uint32_t symbol = 0;
  if (const QlmStatus status = ownHuffmanGetSymbol(src, srcLength, srcPosition, marker, &symbol, dcTable, state)) {
    return status;
  }
  const int32_t category = symbol & 15;
  if (category != 0) {
    int32_t difference = 0;
    const QlmStatus status = ownHuffmanGetValue(src, srcLength, srcPosition, marker, category, &difference, state);
    if (status) return status;
    *lastDC = static_cast<int16_t>(*lastDC + difference);
  }
  dst[0] = static_cast<int16_t>(*lastDC * (1 << al));
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int32_t* marker, int32_t al,
 QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 1) return qlmErrSize;
  if (!srcPosition || !dst || !marker) return qlmErrNullPointer;
  if (!ownIsPointTransform(al)) return qlmErrBadArgument;
  if (!state) return qlmErrNullPointer;

  if (state->bitCount < 1) {
    if (const QlmStatus status = ownHuffmanFill(src, srcLength, srcPosition, marker, 1, state)) return status;
  }
  dst[0] = static_cast<int16_t>(dst[0] | static_cast<int32_t>(ownHuffmanTakeBits(1, state) << al));
  return qlmOk;
}
