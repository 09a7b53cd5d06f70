// Baseline Huffman decoding of one block of quantised coefficients from a source of known length (T.81 F.2.2).
//
// The register route runs first and commits nothing but coefficients before the block is complete. Whatever it cannot
// settle, the end of the source, a marker, a damaged block, is left to the careful route, which decodes the block from
// the start and reports what fails where.
#include "jpeg/entropy/huffman_block_decode.h"
#include "jpeg/entropy/huffman_clear_reader.h"

namespace {

[[gnu::noinline]] QlmStatus decodeCarefully(const uint8_t* src, int32_t length, int32_t* position, int16_t* block,
                                            int16_t* lastDC, int32_t* marker, const QlmDecodeHuffmanSpec* dcTable,
                                            const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const auto getSymbol = [&](const QlmDecodeHuffmanSpec* spec, uint32_t* symbol) {
    return ownHuffmanGetSymbol(src, length, position, marker, symbol, spec, state);
  };
  const auto getValue = [&](int32_t category, int32_t* value) {
    return ownHuffmanGetValue(src, length, position, marker, category, value, state);
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
    const int32_t target = scan + runOfZeroes;
    scan = target + 1;
    status = getValue(category, &value);
    if (status) break;
    if (target > kLastOvershoot) return qlmErrDecodedPosition;
    block[kHuffmanTables.natural[target]] = static_cast<int16_t>(value);
  }
  state->codedPositions = scan;
  return status;
}

// From a 0xFF on, or near the end of the source. Not inlined, which leaves the registers to the other reader.
[[gnu::noinline]] QlmDecoded decodeRest(QlmBitWindow& window, const uint8_t* end, QlmBlockProgress& progress,
                                        int16_t* block, const QlmDecodeHuffmanSpec* dcTable,
                                        const QlmDecodeHuffmanSpec* acTable) {
  QlmBoundedReader reader{window, end};
  const QlmDecoded decoded = ownDecodeSymbols(reader, progress, block, dcTable, acTable);
  window = reader.window;
  return decoded;
}

inline bool decodeInRegisters(const uint8_t* src, int32_t length, int32_t* position, int16_t* block, int16_t* lastDC,
                              const int32_t* marker, const QlmDecodeHuffmanSpec* dcTable,
                              const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const int32_t count = state->bitCount;
  if (*marker != 0 || int64_t{length} - *position < 24 || count < 0 || count > 64) return false;

  const uint8_t* const end = src + length;
  QlmBitWindow window{src + *position, ownLeftJustified(state->accumulator, count), count};
  QlmBlockProgress progress{0, *lastDC};
  QlmDecoded decoded = QlmDecoded::kPart;
  ownZeroBlock(block);

  QlmClearReader reader = ownClearReader(window, end);
  if (count <= 56 && reader.clear >= reader.filled) {
    decoded = ownDecodeSymbols(reader, progress, block, dcTable, acTable);
    window = ownWindow(reader);
  }
  if (decoded == QlmDecoded::kPart) decoded = decodeRest(window, end, progress, block, dcTable, acTable);
  if (decoded != QlmDecoded::kBlock) return false;

  ownHandBack(window);
  *lastDC = progress.dc;
  *position = static_cast<int32_t>(window.next - src);
  state->accumulator = ownRightJustified(window);
  state->bitCount = window.count;
  state->codedPositions = static_cast<int32_t>(progress.scan);
  return true;
}

}  // namespace

QLM_EXPORT(qlmiDecodeHuffman8x8_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int16_t* lastDC, int32_t* marker,
 const QlmDecodeHuffmanSpec* dcTable, const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 0) return qlmErrBadArgument;
  if (!srcPosition || !dst || !lastDC || !marker || !dcTable || !acTable || !state) return qlmErrNullPointer;

  if (decodeInRegisters(src, srcLength, srcPosition, dst, lastDC, marker, dcTable, acTable, state)) return qlmOk;
  return decodeCarefully(src, srcLength, srcPosition, dst, lastDC, marker, dcTable, acTable, state);
}
