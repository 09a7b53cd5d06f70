// The reader of the Huffman block decoders where no 0xFF and no end of the source is near, so that a refill never has
// to decide anything.
//
// Two counts are kept apart. The register itself is filled up at every symbol, off the serial chain of shift, lookup
// and shift. The bits that count as held, as a reader would hold them that refills only when bits are lacking, are only
// reckoned: what its refills do to them is a select, where a branch would be mispredicted once a refill.
#pragma once

#include "jpeg/entropy/huffman_block_decode.h"

// Positions are bits of the source, counted from 8 bytes before `base`.
struct QlmClearReader {
  const uint8_t* base;
  const uint8_t* end;  // of the source
  uint64_t bits;       // left-justified; valid up to `filled`
  uint64_t position;
  uint64_t filled;  // a multiple of 8
  uint64_t held;    // where the bits that count as held end, less 8
  uint64_t clear;   // up to here and 64 bits more there is no 0xFF: the highest `filled` that may be loaded from
};

// How many of the next 64 bytes stand before the first 0xFF; 0 where the source ends before them.
inline uint64_t ownClearBytes(const uint8_t* next, const uint8_t* end) {
  if (end - next < 64) return 0;
  const auto stuffed = [next](int32_t i) {
    const __m256i bytes = load32(next + i);
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(-1))));
  };
  return _tzcnt_u64(uint64_t{stuffed(32)} << 32 | stuffed(0));
}

[[gnu::noinline]] inline uint64_t ownMoreClearBytes(const uint8_t* next, const uint8_t* end) {
  return ownClearBytes(next, end);
}

// The bits from `filled` on, placed behind those before.
inline uint64_t ownFollowingBits(const QlmClearReader& reader) {
  return ownLoadBigEndian64(reader.base + (reader.filled >> 3) - 8) >> ((reader.filled - reader.position) & 63);
}

// A refill fills up to the multiple of 8 that is not above the position + 64; this is 8 less.
inline uint64_t ownRefilled(uint64_t position) { return (position + 56) & ~uint64_t{7}; }

// A reader of at most 56 bits.
inline QlmClearReader ownClearReader(const QlmBitWindow& window, const uint8_t* end) {
  QlmClearReader reader{window.next,
                        end,
                        window.bits,
                        static_cast<uint64_t>(64 - window.count),
                        64,
                        56,
                        8 * ownClearBytes(window.next, end)};
  if (reader.clear >= reader.filled) reader.bits |= ownFollowingBits(reader);
  return reader;
}
inline QlmBitWindow ownWindow(const QlmClearReader& reader) {
  const uint64_t held = reader.held + 8;
  return {reader.base + (held >> 3) - 8, reader.bits | ownFollowingBits(reader),
          static_cast<int32_t>(held - reader.position)};
}

// Whether a symbol and `bits` more can be read without a doubt.
inline bool ownReadNext(QlmClearReader& reader, uint64_t bits = 0) {
  const uint64_t fill = ownRefilled(reader.position) + bits;
  while (__builtin_expect(fill > reader.clear, false)) {
    const uint64_t more = ownMoreClearBytes(reader.base + (reader.clear >> 3), reader.end);
    if (more == 0) return false;
    reader.clear += 8 * more;
  }
  return true;
}

inline void ownFillUp(QlmClearReader& reader) {
  reader.bits |= ownFollowingBits(reader);
  reader.filled = ownRefilled(reader.position);
}

inline QlmSymbol ownReadShort(QlmClearReader& reader, const QlmLookup& lookup) {
  // At least 33 of the 64 bits that were there for the symbol before are left, so the lookup need not wait for more.
  const QlmSymbol found = ownShortSymbol(lookup, reader.bits);
  ownFillUp(reader);
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

inline void ownDropValue(QlmClearReader& reader, uint64_t count) {
  const uint64_t fill = ownRefilled(reader.position);
  reader.position += count;
  reader.held = reader.position > reader.held + 8 ? fill : reader.held;
  reader.bits <<= count & 63;
}
inline bool ownReadValue(QlmClearReader& reader, uint64_t category, int32_t& value) {
  value = ownTopValue(reader.bits, category);
  ownDropValue(reader, category);
  return true;
}
// Up to 15 bits.
inline uint64_t ownReadBits(QlmClearReader& reader, uint64_t count) {
  const uint64_t value = reader.bits >> 1 >> (63 - count);
  ownDropValue(reader, count);
  return value;
}
// Up to 56 bits, as if bit by bit: where none is held any more, 64 come.
inline uint64_t ownReadBitwise(QlmClearReader& reader, uint64_t count) {
  const uint64_t value = reader.bits >> 1 >> (63 - count);
  reader.position += count;
  reader.held = reader.position > reader.held + 8 ? reader.held + 64 : reader.held;
  reader.bits <<= count;
  return value;
}
