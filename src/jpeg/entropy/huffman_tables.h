// Small tables and number forms that all Huffman coders share: the magnitude categories of T.81 tables F.1 and F.2, the
// EXTEND procedure of T.81 F.2.2.1, and the zig-zag order with the positions behind its end that a damaged run names.
#pragma once

#include <bit>
#include <cstdint>

#include "jpeg/zigzag.h"

// Number of bits of a magnitude: 0 for 0, else floor(log2) + 1. 16 for a DC difference or a coefficient of -32768.
constexpr int32_t ownMagnitudeCategory(uint32_t magnitude) { return std::bit_width(magnitude); }

// Magnitude of a value and the low bits that code it: v, or v - 1 for a negative v, of which the decoder takes the low
// `category` bits (T.81 F.1.2.1.1).
struct QlmCategorised {
  int32_t category;
  uint32_t bits;  // cut to `category` bits
};
constexpr QlmCategorised ownCategorise(int32_t v) {
  const int32_t sign = v >> 31;
  const int32_t category = ownMagnitudeCategory(static_cast<uint32_t>((v ^ sign) - sign));
  return {category, static_cast<uint32_t>(v + sign) & ((1u << category) - 1)};
}

// `maxCode` of a length that has no codes. A real 16-bit code of all ones, which T.81 forbids, looks the same.
inline constexpr uint16_t kNoCode = 0xFFFF;

// What the coders look up, by zig-zag position, AC symbol or category. In one record, so that one address serves all.
struct QlmHuffmanTables {
  // Natural index by zig-zag index, up to the largest that a symbol can name, 63 + 15. What lies behind the block lands
  // on position 63: a run that overshoots by up to eight is decoded so; what is beyond kLastOvershoot must not be
  // stored.
  uint8_t natural[79];
  // By how many positions a symbol moves on: the run of zeroes and the coefficient or, for a ZRL, the last zero.
  uint8_t step[256];
  // EXTEND (T.81 F.2.2.1): what is added to a value, by its category and its top bit. Looked up, since a condition on
  // the sign would be a branch that no predictor learns.
  int32_t extension[16][2];
};
inline constexpr int32_t kLastOvershoot = 71;

constexpr QlmHuffmanTables makeHuffmanTables() {
  QlmHuffmanTables tables{};
  for (int scan = 0; scan < 79; ++scan) tables.natural[scan] = scan < 64 ? kZigzag.naturalOfScan[scan] : uint8_t{63};
  for (int symbol = 0; symbol < 256; ++symbol) tables.step[symbol] = static_cast<uint8_t>((symbol >> 4) + 1);
  for (int category = 0; category < 16; ++category) {
    tables.extension[category][0] = 1 - (1 << category);
  }
  return tables;
}
alignas(64) inline constexpr QlmHuffmanTables kHuffmanTables = makeHuffmanTables();

// EXTEND of `bits` of `category` bits, 0 to 15.
inline int32_t ownExtend(uint32_t bits, int32_t category) {
  return static_cast<int32_t>(bits) + kHuffmanTables.extension[category][bits << 1 >> category & 1];
}
