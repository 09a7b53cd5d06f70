// Baseline Huffman coding of one block of quantised coefficients into a destination of known length (T.81 F.1.2).
//
// Two routes give the same bytes, position and state. The careful route appends code by code. The register route
// collects the bits of the whole block first and commits nothing before it is certain that every symbol has a code and
// every byte with its stuffing has room, which are the only two ways in which the careful route can fail; where it is
// not certain, the careful route codes the block from the start and reports what fails where.
#include "jpeg/entropy/huffman_block_encode.h"

namespace {

// Entry of an AC symbol. A run of 15 before a coefficient of category 16 would name the entry behind the table: no
// code.
inline uint32_t acEntry(const QlmEncodeHuffmanSpec* acTable, uint32_t runOfZeroes, int32_t category) {
  const uint32_t symbol = (runOfZeroes << 4) + static_cast<uint32_t>(category);
  return symbol < 256 ? acTable->codes[symbol] : 0;
}

[[gnu::noinline]] QlmStatus encodeCarefully(const int16_t* block, uint8_t* dst, int32_t dstLength, int32_t* position,
                                            int32_t dcDifference, const QlmEncodeHuffmanSpec* dcTable,
                                            const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state) {
  const auto put = [&](uint32_t entry, QlmCategorised value) {
    const QlmStatus status =
        ownHuffmanPutBits(entry & 0xFFFF, static_cast<int32_t>(entry >> 16), dst, dstLength, position, state);
    if (status || value.category == 0) return status;
    return ownHuffmanPutBits(value.bits, value.category, dst, dstLength, position, state);
  };

  const QlmCategorised dc = ownCategorise(dcDifference);
  if (const QlmStatus status = put(dcTable->codes[dc.category], dc)) return status;

  uint32_t runOfZeroes = 0;
  for (int32_t scan = 1; scan < 64; ++scan) {
    const int16_t coefficient = block[kHuffmanTables.natural[scan]];
    if (coefficient == 0) {
      ++runOfZeroes;
      continue;
    }
    for (; runOfZeroes > 15; runOfZeroes -= 16) {
      if (const QlmStatus status = put(acTable->codes[0xF0], {0, 0})) return status;
    }
    const QlmCategorised value = ownCategorise(coefficient);
    if (const QlmStatus status = put(acEntry(acTable, runOfZeroes, value.category), value)) return status;
    runOfZeroes = 0;
  }
  return runOfZeroes == 0 ? qlmOk : put(acTable->codes[0x00], {0, 0});
}

inline __attribute__((always_inline)) bool encodeInRegisters(const int16_t* block, uint8_t* dst, int32_t dstLength,
                                                             int32_t* position, int32_t dcDifference,
                                                             const QlmEncodeHuffmanSpec* dcTable,
                                                             const QlmEncodeHuffmanSpec* acTable,
                                                             QlmEncodeHuffmanState* state) {
  const int32_t pending = state->bitCount;
  if (pending < 0 || pending > 7 || *position < 0) return false;

  uint8_t bytes[kMaxBlockBytes];
  QlmBitRun run{bytes, state->accumulator >> (24 - pending), static_cast<uint64_t>(pending)};
  if (!ownAppendBlock<true>(run, block, dcDifference, dcTable, acTable)) return false;

  if (run.next != bytes) {
    const ptrdiff_t room = static_cast<ptrdiff_t>(dstLength) - *position;
    const ptrdiff_t stored = ownCopyStuffed(bytes, run.next - bytes, dst + *position, room);
    if (stored == 0) return false;
    *position += static_cast<int32_t>(stored);
  }
  state->accumulator = run.window << (24 - run.pending) & 0xFFFFFF;
  state->bitCount = static_cast<int32_t>(run.pending);
  return true;
}

}  // namespace

QLM_EXPORT(qlmiEncodeHuffman8x8_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int16_t* lastDC,
 const QlmEncodeHuffmanSpec* dcTable, const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state,
 int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlush(dst, dstLength, dstPosition, state);
  if (!src || !lastDC || !dcTable || !acTable) return qlmErrNullPointer;

  const int32_t dcDifference = src[0] - *lastDC;
  *lastDC = src[0];
  if (encodeInRegisters(src, dst, dstLength, dstPosition, dcDifference, dcTable, acTable, state)) return qlmOk;
  return encodeCarefully(src, dst, dstLength, dstPosition, dcDifference, dcTable, acTable, state);
}
