// Small tables and number forms that all Huffman coders share: the magnitude category of T.81 tables F.1 and F.2, the
// EXTEND procedure of T.81 F.2.2.1, and the zig-zag order with the positions behind its end that a damaged run can
// name.
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

// EXTEND: `bits` of `category` bits, 0 to 15, as a signed value.
constexpr int32_t ownExtend(uint32_t bits, int32_t category) {
  const bool negative = bits < (1u << category) >> 1;
  return static_cast<int32_t>(bits) + (negative ? 1 - (1 << category) : 0);
}

// `maxCode` of a length that has no codes. A real 16-bit code of all ones, which T.81 forbids, looks the same.
inline constexpr uint16_t kNoCode = 0xFFFF;

// Natural index by zig-zag index. A run that overshoots position 63 by up to eight lands on 63 again; beyond that the
// entry is kOutsideBlock. The largest index that a symbol can name is 63 + 15.
inline constexpr uint8_t kOutsideBlock = 0xFF;
struct QlmScanTable {
  uint8_t natural[79];
};
constexpr QlmScanTable makeScanTable() {
  QlmScanTable table{};
  for (int scan = 0; scan < 79; ++scan) {
    table.natural[scan] = scan < 64 ? kZigzag.naturalOfScan[scan] : scan < 72 ? uint8_t{63} : kOutsideBlock;
  }
  return table;
}
inline constexpr QlmScanTable kScan = makeScanTable();
