// The register route of the baseline block decoders (T.81 F.2.2): one block from a 64-bit window, with the outcome in
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

// Decodes one block of zeroes into coefficients, starting from the last DC in `dc` and leaving the new one there.
// False, with the block in any state, where the careful route has to decide: the refill(window) gives up, a code is
// longer than 16 bits, a run or ZRL leaves the block. `positions` counts the zig-zag positions consumed.
template <typename Refill>
inline bool ownDecodeBlock(QlmBitWindow& window, int16_t* block, int16_t& dc, int32_t& positions,
                           const QlmDecodeHuffmanSpec* dcTable, const QlmDecodeHuffmanSpec* acTable,
                           const Refill& refill) {
  // A refill happens only when bits are lacking; how much is then read decides how many bits are held in the end.
  const auto drop = [&](int32_t count) {
    window.bits <<= count;
    window.count -= count;
  };
  const auto getSymbol = [&](const QlmDecodeHuffmanSpec* spec, uint32_t& symbol) {
    if (window.count < 8 && !refill(window)) return false;
    const uint32_t entry = spec->lookup[window.bits >> 56];
    symbol = entry & 0xFFFF;
    int32_t length = static_cast<int32_t>(entry >> 16);
    if (length == 0) {
      if (window.count < 16 && !refill(window)) return false;
      const int32_t code16 = static_cast<int32_t>(window.bits >> 48);
      length = 9;
      while (code16 >> (16 - length) > ownMaxCode(spec, length)) {
        if (++length > 16) return false;
      }
      symbol = ownSymbolOfCode(spec, length, code16 >> (16 - length));
    }
    drop(length);
    return true;
  };
  const auto getValue = [&](int32_t category, int32_t& value) {
    if (window.count < category && !refill(window)) return false;
    value = ownExtend(static_cast<uint32_t>(window.bits >> (64 - category)), category);
    drop(category);
    return true;
  };

  uint32_t symbol;
  int32_t value;
  if (!getSymbol(dcTable, symbol)) return false;
  if (const int32_t category = symbol & 15) {
    if (!getValue(category, value)) return false;
    dc = static_cast<int16_t>(dc + value);
  }
  block[0] = dc;

  int32_t scan = 1;
  while (scan < 64) {
    if (!getSymbol(acTable, symbol)) return false;
    const int32_t category = symbol & 15;
    const int32_t runOfZeroes = symbol >> 4 & 15;
    if (category == 0) {
      if (runOfZeroes < 15) break;
      scan += 16;
      if (scan > 63) return false;
      continue;
    }
    scan += runOfZeroes;
    if (scan > 63) return false;
    if (!getValue(category, value)) return false;
    block[kScan.natural[scan++]] = static_cast<int16_t>(value);
  }
  positions = scan;
  return true;
}

// Hands whole bytes back until at most 32 bits are held. They come from the last load of clear bytes, so each of them
// is one byte of the source.
inline void ownHandBack(QlmBitWindow& window) {
  if (window.count <= 32) return;
  const int32_t bytes = (window.count - 25) / 8;
  window.next -= bytes;
  window.count -= 8 * bytes;
}
