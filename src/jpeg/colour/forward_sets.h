// The fixed-point RGB to YCbCr matrices of JFIF that work on whole pixels as byte pairs: set A with 14 fractional bits,
// set B with 15 and tuned rounding terms. Both are exact: a coefficient is split into a high part and a low part of
// eight bits each, and floors nest, so 16-bit lanes hold everything.
#pragma once

#include "frame/simd.h"

namespace colour {

// Sixteen pixels, eight in each half: the byte pairs (red, green) and (blue, green).
struct Pixels {
  __m256i rg, bg;
};

// One row of a matrix: (r * red + g * green + b * blue + rounding) >> (7 + split).
struct Weights {
  int r, g, b, rounding, split;

  constexpr int low(int c) const { return ((c + (1 << (split - 1))) & ((1 << split) - 1)) - (1 << (split - 1)); }
  constexpr int high(int c) const { return (c - low(c)) >> split; }
};

// Set A, and the same without the offset of chroma, which is the level shift of the blocks of an MCU.
inline constexpr Weights kLumaA = {4899, 9617, 1868, 8192, 7};
inline constexpr Weights kCbA = {-2764, -5428, 8192, 8192, 7};
inline constexpr Weights kCrA = {8192, -6860, -1332, 8192, 7};

// A vector of byte pairs.
inline __m256i bytePairs(int first, int second) {
  return _mm256_set1_epi16(static_cast<int16_t>((first & 255) | second * 256));
}

// The weighted sum of 16 pixels as words. With c = (high << split) + low,
//   (sum of c * x + rounding) >> (7 + split)  =  (sum of high * x + ((sum of low * x + rest) >> split) + 64) >> 7
// where rest = rounding - (64 << split); the last step is one rounding multiplication.
template <Weights kW>
inline __m256i weigh(const Pixels& p) {
  constexpr int lr = kW.low(kW.r), lg = kW.low(kW.g), lb = kW.low(kW.b);
  constexpr int hr = kW.high(kW.r), hg = kW.high(kW.g), hb = kW.high(kW.b);
  constexpr int rest = kW.rounding - (64 << kW.split);
  constexpr auto positive = [](int v) { return v > 0 ? v : 0; };
  constexpr auto fits = [=](int r, int g, int b, int more) {
    return (positive(r) + positive(g) + positive(b)) * 255 + more <= INT16_MAX &&
           (positive(-r) + positive(-g) + positive(-b)) * 255 + more <= -INT16_MIN;
  };
  static_assert(fits(lr, lg, lb, rest < 0 ? -rest : rest) && fits(hr, hg, hb, 127), "sums of 16 bits");

  __m256i high =
      _mm256_add_epi16(_mm256_maddubs_epi16(p.rg, bytePairs(hr, hg)), _mm256_maddubs_epi16(p.bg, bytePairs(hb, 0)));
  __m256i low;
  if constexpr (lb == 0)
    low = _mm256_maddubs_epi16(p.rg, bytePairs(lr, lg));
  else if constexpr (lr == 0)
    low = _mm256_maddubs_epi16(p.bg, bytePairs(lb, lg));
  else
    low = _mm256_add_epi16(_mm256_maddubs_epi16(p.rg, bytePairs(lr, lg)), _mm256_maddubs_epi16(p.bg, bytePairs(lb, 0)));
  if constexpr (rest != 0) low = _mm256_add_epi16(low, _mm256_set1_epi16(rest));
  high = _mm256_add_epi16(high, _mm256_srai_epi16(low, kW.split));
  return _mm256_mulhrs_epi16(high, _mm256_set1_epi16(256));
}

}  // namespace colour
