// Baseline Huffman coding of blocks at a bit position, without a length and without a state object (T.81 F.1.2, F.2.2):
// the encoder keeps its pending bits in the destination, the decoder in two variables of the caller. The register
// routes of the bounded coders do the work; what damaged data needs is told by the careful decoder below.
#include <limits>

#include "jpeg/entropy/huffman_block_decode.h"
#include "jpeg/entropy/huffman_block_encode.h"

QLM_EXPORT(qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t* dstBitPosition, int16_t* lastDC, const QlmEncodeHuffmanSpec* dcTable,
 const QlmEncodeHuffmanSpec* acTable) {
  if (!src || !dst || !dstBitPosition || !lastDC || !dcTable || !acTable) return qlmErrNullPointer;

  const int32_t dcDifference = src[0] - *lastDC;
  *lastDC = src[0];

  uint8_t* const start = dst + (*dstBitPosition >> 3);
  const uint64_t pending = static_cast<uint64_t>(*dstBitPosition & 7);
  uint8_t bytes[kMaxBlockBytes];
  QlmBitRun run{bytes, uint64_t{*start} >> (8 - pending), pending};
  ownAppendBlock<false>(run, src, dcDifference, dcTable, acTable);

  // The byte of pending bits, a zero byte where there are none, is stored as well. It never needs stuffing.
  *run.next = static_cast<uint8_t>(run.window << (8 - run.pending));
  const ptrdiff_t stored = ownCopyStuffed(bytes, run.next - bytes + 1, start, std::numeric_limits<ptrdiff_t>::max());
  *dstBitPosition = static_cast<int32_t>(8 * (start - dst + stored - 1)) + static_cast<int32_t>(run.pending);
  return qlmOk;
}

namespace {

// What the careful decoder works on. Only a normal end stores the position and the prefetched bits.
struct QlmDirectSource {
  const uint8_t* next;
  uint32_t bits;  // right-justified
  int32_t count;  // negative after a code or value that took more bits than were left
  int32_t* marker;
};

void fill(QlmDirectSource& src) {
  while (*src.marker <= 0 && src.count < 25) {
    const uint8_t byte = *src.next++;
    if (byte == 0xFF) {
      uint8_t code;
      do code = *src.next++;
      while (code == 0xFF);
      if (code != 0) {
        *src.marker = code;
        return;
      }
    }
    src.bits = src.bits << 8 | byte;
    src.count += 8;
  }
}

uint32_t takeBits(QlmDirectSource& src, int32_t count) {
  src.count -= count;
  return src.bits >> (src.count & 31) & ((1u << count) - 1);
}

enum class Found { kSymbol, kEnd, kNoCode };

Found getSymbol(QlmDirectSource& src, const QlmDecodeHuffmanSpec* spec, uint32_t& symbol) {
  if (src.count < 8) fill(src);
  if (src.count < 1) return Found::kEnd;
  // With fewer than 8 bits, zeroes stand for those that are missing.
  const uint32_t first = (src.count < 8 ? src.bits << (8 - src.count) : src.bits >> ((src.count - 8) & 31)) & 255;
  const uint32_t entry = spec->lookup[first];
  if (entry >> 16 != 0) {
    src.count -= static_cast<int32_t>(entry >> 16);
    symbol = entry & 0xFFFF;
    return Found::kSymbol;
  }
  if (src.count < 9) fill(src);
  if (src.count < 9) return Found::kEnd;
  int32_t length = 9;
  int32_t code = static_cast<int32_t>(takeBits(src, length));
  while (code > ownMaxCode(spec, length)) {
    if (src.count < 1) fill(src);
    if (src.count < 1) return Found::kEnd;
    code = code << 1 | static_cast<int32_t>(takeBits(src, 1));
    if (++length > 16) return Found::kNoCode;
  }
  symbol = ownSymbolOfCode(spec, length, code);
  return Found::kSymbol;
}

bool getValue(QlmDirectSource& src, int32_t category, int32_t& value) {
  if (src.count < category) fill(src);
  if (src.count < 1) return false;
  value = ownExtend(takeBits(src, category), category);
  return true;
}

QlmStatus decodeCarefully(const uint8_t* src, int32_t* bitPosition, int16_t* block, int16_t* lastDC, int32_t* marker,
                          uint32_t* prefetchedBits, int32_t* prefetchedCount, const QlmDecodeHuffmanSpec* dcTable,
                          const QlmDecodeHuffmanSpec* acTable) {
  QlmDirectSource source{src + (*bitPosition >> 3), *prefetchedBits, *prefetchedCount, marker};
  const auto end = [&] {
    *bitPosition = static_cast<int32_t>(8 * (source.next - src));
    *prefetchedBits = source.bits;
    *prefetchedCount = source.count;
    return qlmOk;
  };
  const auto endOfSegment = [&] {
    source.count = 0;
    return end();
  };
  ownZeroBlock(block);

  if (source.count < 8) fill(source);
  if (source.count < 1) return qlmOk;
  uint32_t symbol;
  int32_t value = 0;
  Found found = getSymbol(source, dcTable, symbol);
  if (found == Found::kEnd) return endOfSegment();
  if (found == Found::kNoCode) return qlmErrDctRange;
  if (const int32_t category = symbol & 15) {
    if (!getValue(source, category, value)) return qlmErrOutOfBuffer;
  }
  *lastDC = static_cast<int16_t>(*lastDC + value);
  block[0] = *lastDC;

  for (int32_t scan = 1; scan < 64;) {
    found = getSymbol(source, acTable, symbol);
    if (found == Found::kEnd) return endOfSegment();
    if (found == Found::kNoCode) return qlmErrDctRange;
    const int32_t runOfZeroes = symbol >> 4 & 15;
    const int32_t category = symbol & 15;
    if (category == 0) {
      if (runOfZeroes < 15) break;
      scan += 16;
      continue;
    }
    const int32_t position = scan + runOfZeroes;
    scan = position + 1;
    if (!getValue(source, category, value)) return qlmErrOutOfBuffer;
    if (position > kLastOvershoot) return qlmErrDecodedPosition;
    block[kHuffmanTables.natural[position]] = static_cast<int16_t>(value);
  }
  return end();
}

// Refills with the next 4 bytes, or near a 0xFF byte by byte, as also where those 4 bytes do not lie within one line of
// 16: a load within a line touches no page that the source does not touch.
struct QlmDirectReader {
  QlmBitWindow window;
};

inline bool ownRefill(QlmDirectReader& reader) {
  QlmBitWindow& window = reader.window;
  if ((reinterpret_cast<uintptr_t>(window.next) & 15) > 12) return ownRefillBytes(window);
  uint32_t word;
  std::memcpy(&word, window.next, sizeof word);
  const uint64_t bits = uint64_t{__builtin_bswap32(word)} << 32;
  if (ownHasByteFF(bits)) return ownRefillBytes(window);
  window.bits |= bits >> (window.count & 63);
  window.next += 4;
  window.count += 32;
  return true;
}

bool decodeInRegisters(const uint8_t* src, int32_t* bitPosition, int16_t* block, int16_t* lastDC, const int32_t* marker,
                       uint32_t* prefetchedBits, int32_t* prefetchedCount, const QlmDecodeHuffmanSpec* dcTable,
                       const QlmDecodeHuffmanSpec* acTable) {
  const int32_t count = *prefetchedCount;
  if (*marker > 0 || count > 32) return false;

  QlmDirectReader reader{{src + (*bitPosition >> 3), ownLeftJustified(*prefetchedBits, count), count}};
  QlmBitWindow& window = reader.window;
  QlmBlockProgress progress{0, *lastDC};
  ownZeroBlock(block);
  if (ownDecodeSymbols(reader, progress, block, dcTable, acTable) != QlmDecoded::kBlock) return false;
  ownHandBack(window);
  *lastDC = progress.dc;
  *bitPosition = static_cast<int32_t>(8 * (window.next - src));
  *prefetchedBits = static_cast<uint32_t>(ownRightJustified(window));
  *prefetchedCount = window.count;
  return true;
}

}  // namespace

QLM_EXPORT(qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1)
(const uint8_t* src, int32_t* srcBitPosition, int16_t* dst, int16_t* lastDC, int32_t* marker, uint32_t* prefetchedBits,
 int32_t* prefetchedCount, const QlmDecodeHuffmanSpec* dcTable, const QlmDecodeHuffmanSpec* acTable) {
  if (!src || !srcBitPosition) return qlmErrNullPointer;
  if (*srcBitPosition < 0) return qlmErrBadArgument;
  if (!dst || !lastDC || !marker || !prefetchedBits || !prefetchedCount) return qlmErrNullPointer;
  if (*prefetchedCount < 0) return qlmErrBadArgument;
  if (!dcTable || !acTable) return qlmErrNullPointer;

  if (decodeInRegisters(src, srcBitPosition, dst, lastDC, marker, prefetchedBits, prefetchedCount, dcTable, acTable)) {
    return qlmOk;
  }
  return decodeCarefully(src, srcBitPosition, dst, lastDC, marker, prefetchedBits, prefetchedCount, dcTable, acTable);
}
