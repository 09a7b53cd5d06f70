// Baseline Huffman decoding of one block of quantised coefficients from a source of known length (T.81 F.2.2).
//
// The register route runs first and commits nothing but coefficients before the block is complete. Whatever it cannot
// settle, the end of the source, a marker, a damaged block, is left to the careful route, which decodes the block from
// the start and reports what fails where.
#include "jpeg/entropy/huffman_block_decode.h"

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

// Refills with as many whole bytes of the next 8 as the register takes, or near a 0xFF byte by byte.
struct QlmBoundedReader {
  QlmBitWindow window;
  const uint8_t* end;  // of the source
};

inline bool ownRefill(QlmBoundedReader& reader) {
  QlmBitWindow& window = reader.window;
  if (reader.end - window.next < 8) return false;
  const uint64_t word = ownLoadBigEndian64(window.next);
  if (ownHasByteFF(word)) return ownRefillBytes(window);
  const int32_t bytes = (64 - window.count) / 8;
  window.bits |= word >> (window.count & 63);
  window.next += bytes;
  window.count += 8 * bytes;
  return true;
}

// Reads as the bounded reader does, where no 0xFF and no end of the source is near, so that a refill never has to
// decide anything. Two counts are kept apart. The register itself is filled up at every symbol, off the serial chain of
// shift, lookup and shift. The bits that count as held, as the bounded reader would hold them, are only reckoned: what
// its refills do to them is a select, where a branch would be mispredicted once a refill.
//
// Positions are bits of the source, counted from 8 bytes before `base`.
struct QlmClearReader {
  const uint8_t* base;
  const uint8_t* end;  // of the source
  uint64_t bits;       // left-justified; valid up to `filled`
  uint64_t position;
  uint64_t filled;  // a multiple of 8
  uint64_t held;    // where the bits that count as held end, less 8
  uint64_t
      clear;  // from `base` up to here and 64 bits more there is no 0xFF: the highest `filled` that may be loaded from
};

// How many of the next 64 bytes stand before the first 0xFF; 0 where the source ends before them.
[[gnu::noinline]] uint64_t clearBytes(const uint8_t* next, const uint8_t* end) {
  if (end - next < 64) return 0;
  const auto stuffed = [next](int32_t i) {
    const __m256i bytes = load32(next + i);
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(-1))));
  };
  return _tzcnt_u64(uint64_t{stuffed(32)} << 32 | stuffed(0));
}

// The bits from `filled` on, placed behind those before.
inline uint64_t followingBits(const QlmClearReader& reader) {
  return ownLoadBigEndian64(reader.base + (reader.filled >> 3) - 8) >> ((reader.filled - reader.position) & 63);
}

// A refill fills up to the multiple of 8 that is not above the position + 64; this is 8 less.
inline uint64_t refilled(uint64_t position) { return (position + 56) & ~uint64_t{7}; }

inline bool ownReadNext(QlmClearReader& reader) {
  const uint64_t fill = refilled(reader.position);
  while (__builtin_expect(fill > reader.clear, false)) {
    const uint64_t more = clearBytes(reader.base + (reader.clear >> 3), reader.end);
    if (more == 0) return false;
    reader.clear += 8 * more;
  }
  return true;
}

inline QlmSymbol ownReadShort(QlmClearReader& reader, const QlmLookup& lookup) {
  // At least 33 of the 64 bits that were there for the symbol before are left, so the lookup need not wait for more.
  const QlmSymbol found = ownShortSymbol(lookup, reader.bits);
  reader.bits |= followingBits(reader);
  reader.filled = refilled(reader.position);
  reader.held = reader.position > reader.held ? reader.filled : reader.held;
  reader.bits <<= found.length & 63;
  reader.position += found.length;
  return found;
}

inline bool ownReadLong(QlmClearReader& reader, const QlmDecodeHuffmanSpec* table, uint64_t& symbol) {
  if (reader.position + 8 > reader.held) reader.held = reader.filled;
  const QlmSymbol found = ownLongSymbol(table, reader.bits);
  reader.bits <<= found.length;
  reader.position += found.length;
  symbol = found.value;
  return found.length <= 16;
}

inline bool ownReadValue(QlmClearReader& reader, uint64_t category, int32_t& value) {
  value = ownTopValue(reader.bits, category);
  const uint64_t fill = refilled(reader.position);
  reader.position += category;
  reader.held = reader.position > reader.held + 8 ? fill : reader.held;
  reader.bits <<= category & 63;
  return true;
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

  QlmClearReader reader{
      window.next, end, window.bits, static_cast<uint64_t>(64 - count), 64, 56, 8 * clearBytes(window.next, end)};
  if (count <= 56 && reader.clear >= reader.filled) {
    reader.bits |= followingBits(reader);
    decoded = ownDecodeSymbols(reader, progress, block, dcTable, acTable);
    const uint64_t held = reader.held + 8;
    window = {window.next + (held >> 3) - 8, reader.bits | followingBits(reader),
              static_cast<int32_t>(held - reader.position)};
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
