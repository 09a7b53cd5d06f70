// The register route of the baseline block decoders (T.81 F.2.2): one block from a 64-bit register, with the outcome in
// locals, so that a block can be given up at any point and decoded carefully from the start.
#pragma once

#include "frame/simd.h"
#include "jpeg/entropy/huffman_bits.h"

// Bits of the source, left-justified, and where to read on. Behind the first `count` bits there are zeroes or the bits
// that follow in the source.
struct QlmBitWindow {
  const uint8_t* next;
  uint64_t bits;
  int32_t count;
};
inline uint64_t ownLeftJustified(uint64_t bits, int32_t count) { return count == 0 ? 0 : bits << (64 - count); }
inline uint64_t ownRightJustified(const QlmBitWindow& window) {
  return window.count == 0 ? 0 : window.bits >> (64 - window.count);
}

inline void ownDrop(QlmBitWindow& window, uint64_t count) {
  window.bits <<= count & 63;
  window.count -= static_cast<int32_t>(count);
}

inline void ownZeroBlock(int16_t* block) {
  for (int32_t row = 0; row < 8; row += 2) store32(block + 8 * row, _mm256_setzero_si256());
}

// Appends bytes one by one until more than 24 bits are held; false at 0xFF with anything but a stuffed 0 behind it.
inline bool ownRefillBytes(QlmBitWindow& window) {
  while (window.count <= 24) {
    const uint64_t byte = *window.next++;
    if (byte == 0xFF && *window.next++ != 0) return false;
    window.bits |= byte << (56 - window.count);
    window.count += 8;
  }
  return true;
}

// A symbol and the length of its code.
struct QlmSymbol {
  uint64_t value;
  uint64_t length;
};

// A table as the register route reads it: the bytes of the lookup that hold symbol and length have addresses of their
// own and are loaded one by one. An entry loaded whole would have to be taken apart, and an address computed for both
// is a step, each in the serial chain of shift, lookup and shift that bounds the speed.
struct QlmLookup {
  const uint8_t* symbols;
  const uint8_t* lengths;
};
inline QlmLookup ownLookup(const QlmDecodeHuffmanSpec* table) {
  const uint8_t* const symbols = reinterpret_cast<const uint8_t*>(table->lookup);
  const uint8_t* lengths = symbols + 2;
  asm("" : "+r"(lengths));  // forget that it is symbols + 2
  return {symbols, lengths};
}

// The code of up to 8 bits at the top of `bits`; length 0 for a longer one.
inline QlmSymbol ownShortSymbol(const QlmLookup& lookup, uint64_t bits) {
  return {lookup.symbols[4 * (bits >> 56)], lookup.lengths[4 * (bits >> 56)]};
}

// The code of 9 to 16 bits at the top of `bits`; length 17 where none matches.
inline QlmSymbol ownLongSymbol(const QlmDecodeHuffmanSpec* spec, uint64_t bits) {
  // The code at lengths 9 to 16 against the last code of each, -1 where there is none; the first that is not above.
  const __m256i last = _mm256_cvtepu16_epi32(load16(&spec->maxCode[9]));
  const __m256i lastOrNone = _mm256_or_si256(last, _mm256_cmpeq_epi32(last, _mm256_set1_epi32(kNoCode)));
  const __m256i codes =
      _mm256_srlv_epi32(_mm256_set1_epi32(static_cast<int32_t>(bits >> 48)), _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
  const __m256i above = _mm256_cmpgt_epi32(codes, lastOrNone);
  const uint32_t notAbove = ~static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(above))) & 0xFF;
  if (notAbove == 0) return {0, 17};
  const int32_t length = 9 + static_cast<int32_t>(_tzcnt_u32(notAbove));
  const int32_t code = static_cast<int32_t>(bits >> (64 - length));
  return {ownSymbolOfCode(spec, length, code) & 255, static_cast<uint64_t>(length)};
}

// The top `category` bits, 1 to 15, extended.
inline int32_t ownTopValue(uint64_t bits, uint64_t category) {
  return static_cast<int32_t>(bits >> (-category & 63)) + kHuffmanTables.extension[category][bits >> 63];
}

// A reader draws symbols and values from the source, by four functions:
//   ownReadNext(reader)                   makes ready for a symbol; false where this reader cannot go on;
//   ownReadShort(reader, lookup)          reads a code of up to 8 bits; nothing, with symbol and length 0, for others;
//   ownReadLong(reader, table, symbol)    then reads those; false where the block is to be given up;
//   ownReadValue(reader, category, value) false where the block is to be given up.
// It refills only when bits are lacking, fewer than 8 for a symbol, 16 for a code of more than 8 bits, the size of a
// value: how much is then read decides how many bits are held in the end, which the caller sees. The functions below do
// so literally for a reader with a window and an ownRefill(reader), which is false to give the block up.
template <typename Reader>
inline bool ownReadNext(Reader& reader) {
  return reader.window.count >= 8 || ownRefill(reader);
}
template <typename Reader>
inline QlmSymbol ownReadShort(Reader& reader, const QlmLookup& lookup) {
  const QlmSymbol found = ownShortSymbol(lookup, reader.window.bits);
  ownDrop(reader.window, found.length);
  return found;
}
template <typename Reader>
inline bool ownReadLong(Reader& reader, const QlmDecodeHuffmanSpec* table, uint64_t& symbol) {
  if (reader.window.count < 16 && !ownRefill(reader)) return false;
  const QlmSymbol found = ownLongSymbol(table, reader.window.bits);
  ownDrop(reader.window, found.length);
  symbol = found.value;
  return found.length <= 16;
}
template <typename Reader>
inline bool ownReadValue(Reader& reader, uint64_t category, int32_t& value) {
  QlmBitWindow& window = reader.window;
  if (window.count < static_cast<int32_t>(category) && !ownRefill(reader)) return false;
  value = ownTopValue(window.bits, category);
  ownDrop(window, category);
  return true;
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

// Where decoding of a block stands: `scan` is the position of the next coefficient, 0 before the DC value.
struct QlmBlockProgress {
  uint64_t scan;
  int16_t dc;
};
enum class QlmDecoded { kBlock, kPart, kNothing };

// Decodes into a block of zeroes: the whole block; a part, up to a symbol where ownReadNext is false; or nothing that
// counts, where the careful route has to decide: the reader gives up, or a run or ZRL leaves the block.
template <typename Reader>
inline __attribute__((always_inline)) QlmDecoded ownDecodeSymbols(Reader& target, QlmBlockProgress& progress,
                                                                  int16_t* block, const QlmDecodeHuffmanSpec* dcTable,
                                                                  const QlmDecodeHuffmanSpec* acTable) {
  Reader reader = target;
  uint64_t scan = progress.scan;
  const auto stop = [&](QlmDecoded decoded) {
    target = reader;
    progress.scan = scan;
    return decoded;
  };
  int32_t value = 0;
  if (scan == 0) {
    if (!ownReadNext(reader)) return stop(QlmDecoded::kPart);
    auto [symbol, length] = ownReadShort(reader, ownLookup(dcTable));
    if (length == 0 && !ownReadLong(reader, dcTable, symbol)) return QlmDecoded::kNothing;
    const uint64_t category = symbol & 15;
    if (category != 0 && !ownReadValue(reader, category, value)) return QlmDecoded::kNothing;
    progress.dc = static_cast<int16_t>(progress.dc + value);
    block[0] = progress.dc;
    scan = 1;
  }
  const QlmLookup ac = ownLookup(acTable);
  while (scan < 64) {
    if (!ownReadNext(reader)) [[unlikely]] {
      return stop(QlmDecoded::kPart);
    }
    auto [symbol, length] = ownReadShort(reader, ac);
    if ((symbol & 15) == 0) [[unlikely]] {
      if (length == 0 && !ownReadLong(reader, acTable, symbol)) return QlmDecoded::kNothing;
      if ((symbol & 15) == 0) {
        if (symbol != 0xF0) break;
        scan += 16;
        if (scan > 63) return QlmDecoded::kNothing;
        continue;
      }
    }
    // A run that leaves the block stores its value inside all the same; the careful route starts from zeroes again.
    if (!ownReadValue(reader, symbol & 15, value)) return QlmDecoded::kNothing;
    scan += kHuffmanTables.step[symbol];
    block[kHuffmanTables.natural[scan - 1]] = static_cast<int16_t>(value);
  }
  return scan > 64 ? QlmDecoded::kNothing : stop(QlmDecoded::kBlock);
}

// Hands whole bytes back until at most 32 bits are held. They come from the last load of clear bytes, so each of them
// is one byte of the source.
inline void ownHandBack(QlmBitWindow& window) {
  const int32_t bytes = window.count <= 32 ? 0 : (window.count - 25) >> 3;
  window.next -= bytes;
  window.count -= 8 * bytes;
}
