// Blocks and tables that the transforms are driven with: all of 16 bits, so that sums saturate and wrap, and what a
// codec feeds them.
#pragma once

#include <array>
#include <cstdint>

#include "support/random.h"

namespace test {

template <typename T>
using Block = std::array<T, 64>;

inline constexpr int kBlockKinds = 12;

// 16-bit samples or coefficients of one kind.
inline Block<int16_t> anyBlock(Random& random, int kind) {
  Block<int16_t> block{};
  for (size_t i = 0; i < 64; ++i) {
    const auto row = static_cast<int64_t>(i / 8), column = static_cast<int64_t>(i % 8);
    int64_t v = 0;
    switch (kind) {
      case 0:  // all of 16 bits
        v = random.between(-32768, 32767);
        break;
      case 1:  // 8-bit samples
        v = random.between(-128, 127);
        break;
      case 2:  // coefficients of 8-bit samples
        v = random.between(-1024, 1023);
        break;
      case 3: {  // extremes only
        constexpr int64_t kExtremes[6] = {-32768, 32767, 0, -1, 1, -32767};
        v = kExtremes[random.between(0, 5)];
        break;
      }
      case 4:  // alternating by element or by row
        v = (random.bits() & 0xFF) == 0 ? 0 : (column ^ row) & 1 ? 32767 : -32768;
        break;
      case 5:  // a few coefficients of any size
        v = random.oneIn(12) ? random.between(-32768, 32767) : 0;
        break;
      case 6:  // a few small ones
        v = random.oneIn(8) ? random.between(-15, 15) : 0;
        break;
      case 7: {  // amplitudes that fall with the frequency
        const int64_t amplitude = 1200 / ((row + column + 1) * (row + column + 1));
        v = random.between(-amplitude, amplitude);
        break;
      }
      case 8:  // signs alone, at the largest amplitude
        v = random.oneIn(2) ? 32767 : -32768;
        break;
      case 9:  // around the limits of the saturating sums
        v = random.between(2000, 8300) * (random.oneIn(2) ? 1 : -1);
        break;
      case 10:  // one value everywhere
        v = i == 0 ? random.between(-32768, 32767) : block[0];
        break;
      default:  // a gradient with a little noise
        v = 12 * row - 9 * column + random.between(-3, 3);
        break;
    }
    block[i] = static_cast<int16_t>(v);
  }
  return block;
}

// Samples: the low bits of the block of the same kind, or limits and flat areas of the sample type.
template <typename T>
Block<T> anySamples(Random& random, int kind, int64_t largest) {
  const Block<int16_t> values = anyBlock(random, kind);
  Block<T> samples;
  for (size_t i = 0; i < 64; ++i) {
    const int64_t v = values[i];
    switch (kind) {
      case 3:
      case 4:
      case 8:
        samples[i] = static_cast<T>(v > 0 ? largest : 0);
        break;
      case 7:
      case 11:
        samples[i] = static_cast<T>(((largest + 1) / 2 + v) & largest);
        break;
      default:
        samples[i] = static_cast<T>(v & largest);
        break;
    }
  }
  return samples;
}

// T.81 Table K.1 in natural order, the luminance table that most encoders scale.
inline constexpr Block<uint8_t> kLuminance = {16, 11, 10, 16, 24,  40,  51,  61,   //
                                              12, 12, 14, 19, 26,  58,  60,  55,   //
                                              14, 13, 16, 24, 40,  57,  69,  56,   //
                                              14, 17, 22, 29, 51,  87,  80,  62,   //
                                              18, 22, 37, 56, 68,  109, 103, 77,   //
                                              24, 35, 55, 64, 81,  104, 113, 92,   //
                                              49, 64, 78, 87, 103, 121, 120, 101,  //
                                              72, 92, 95, 98, 112, 100, 103, 99};

inline constexpr int kTableKinds = 7;

// Quantisers by kind; 0 and values of more than 8 bits among them.
inline Block<uint16_t> anyQuantisers(Random& random, int kind) {
  Block<uint16_t> table{};
  for (size_t i = 0; i < 64; ++i) {
    int64_t q = 1;
    switch (kind) {
      case 0:
        q = 1;
        break;
      case 1:
        q = random.between(1, 255);
        break;
      case 2:
        q = kLuminance[i];
        break;
      case 3:
        q = random.between(0, 65535);
        break;
      case 4: {
        constexpr int64_t kExtremes[8] = {0, 1, 2, 32767, 32768, 32769, 65534, 65535};
        q = kExtremes[random.between(0, 7)];
        break;
      }
      case 5:
        q = 65535;
        break;
      default:
        q = random.between(1, 8);
        break;
    }
    table[i] = static_cast<uint16_t>(q);
  }
  return table;
}

// Reciprocals in 1.15 fixed point by kind: those of quantisers, and entries that no quantiser has.
inline Block<uint16_t> anyReciprocals(Random& random, int kind) {
  Block<uint16_t> table = anyQuantisers(random, kind);
  if (kind == 3 || kind == 4 || kind == 5) return table;
  for (uint16_t& entry : table) entry = static_cast<uint16_t>((65536 + entry) / (2 * entry));
  return table;
}

}  // namespace test
