// Baseline Huffman decoding of one block of quantised coefficients from a source of known length (T.81 F.2.2).
//
// The register route runs first and commits nothing but coefficients before the block is complete. Whatever it cannot
// settle, the end of the source, a marker, a damaged block, is left to the careful route, which decodes the block from
// the start and reports what fails where.
#include "jpeg/entropy/huffman_block_decode.h"

namespace {

struct QlmSource {
  const uint8_t* bytes;
  int32_t length;
  int32_t* position;
  int32_t* marker;
};

QlmStatus decodeCarefully(const QlmSource& src, int16_t* block, int16_t* lastDC, const QlmDecodeHuffmanSpec* dcTable,
                          const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const auto getSymbol = [&](const QlmDecodeHuffmanSpec* spec, uint32_t* symbol) {
    return ownHuffmanGetSymbol(src.bytes, src.length, src.position, src.marker, symbol, spec, state);
  };
  const auto getValue = [&](int32_t category, int32_t* value) {
    return ownHuffmanGetValue(src.bytes, src.length, src.position, src.marker, category, value, state);
  };
  ownZeroBlock(block);

  uint32_t symbol = 0;
  int32_t value = 0;
  QlmStatus status = getSymbol(dcTable, &symbol);
  int32_t category = symbol & 15;
  if (!status && category != 0) status = getValue(category, &value);
  if (status) {
    state->codedPositions = 0;
    return status;
  }
  *lastDC = static_cast<int16_t>(*lastDC + value);
  block[0] = *lastDC;

  int32_t scan = 1;  // goes past 64 where a run or ZRL leaves the block
  while (scan < 64) {
    status = getSymbol(acTable, &symbol);
    if (status) break;
    const int32_t runOfZeroes = symbol >> 4 & 15;
    category = symbol & 15;
    if (category == 0) {
      if (runOfZeroes < 15) break;
      scan += 16;
      continue;
    }
    const uint8_t natural = kScan.natural[scan + runOfZeroes];
    scan += runOfZeroes + 1;
    status = getValue(category, &value);
    if (status) break;
    if (natural == kOutsideBlock) return qlmErrDecodedPosition;
    block[natural] = static_cast<int16_t>(value);
  }
  state->codedPositions = scan;
  return status;
}

bool decodeInRegisters(const QlmSource& src, int16_t* block, int16_t* lastDC, const QlmDecodeHuffmanSpec* dcTable,
                       const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const int32_t count = state->bitCount;
  if (*src.marker != 0 || int64_t{src.length} - *src.position < 24 || count < 0 || count > 64) return false;

  const uint8_t* const end = src.bytes + src.length;
  const auto refill = [end](QlmBitWindow& window) {
    if (end - window.next < 8) return false;
    const uint64_t word = ownLoadBigEndian64(window.next);
    if (ownHasByteFF(word)) return ownRefillBytes(window);
    const int32_t bytes = (64 - window.count) / 8;
    window.bits |= word >> window.count;
    window.next += bytes;
    window.count += 8 * bytes;
    return true;
  };

  QlmBitWindow window{src.bytes + *src.position, ownLeftJustified(state->accumulator, count), count};
  int16_t dc = *lastDC;
  int32_t positions;
  ownZeroBlock(block);
  if (!ownDecodeBlock(window, block, dc, positions, dcTable, acTable, refill)) return false;
  ownHandBack(window);
  *lastDC = dc;
  *src.position = static_cast<int32_t>(window.next - src.bytes);
  state->accumulator = ownRightJustified(window);
  state->bitCount = window.count;
  state->codedPositions = positions;
  return true;
}

}  // namespace

QLM_EXPORT(qlmiDecodeHuffman8x8_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int16_t* lastDC, int32_t* marker,
 const QlmDecodeHuffmanSpec* dcTable, const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 0) return qlmErrBadArgument;
  if (!srcPosition || !dst || !lastDC || !marker || !dcTable || !acTable || !state) return qlmErrNullPointer;

  const QlmSource source{src, srcLength, srcPosition, marker};
  if (decodeInRegisters(source, dst, lastDC, dcTable, acTable, state)) return qlmOk;
  return decodeCarefully(source, dst, lastDC, dcTable, acTable, state);
}
