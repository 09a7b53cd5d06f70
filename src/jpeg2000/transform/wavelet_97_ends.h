// What the Row and Col forms of the irreversible 9/7 wavelet do apart from their inner loops: the first and the last
// value of each band of a row, in a number format of their own, and the filters' taps for lines of one value a band.
#pragma once

#include "jpeg2000/transform/wavelet_97.h"

// --- First and last values -----------------------------------------------------------------------------------------

// The ends of a row of 16-bit samples: Q16 in wrapping 32-bit arithmetic, each result limited to 16 bits. The last low
// value of a forward row is rounded between its two factors and cut instead.
struct EndsQ16 {
  using Element = int16_t;
  using Lanes = __m256i;
  static Lanes limited(Lanes v) {
    return _mm256_max_epi32(_mm256_min_epi32(v, _mm256_set1_epi32(INT16_MAX)), _mm256_set1_epi32(INT16_MIN));
  }
  static Lanes times(Lanes v, int32_t factor) { return _mm256_mullo_epi32(v, _mm256_set1_epi32(factor)); }
  static Lanes rounded(Lanes v) { return _mm256_srai_epi32(_mm256_add_epi32(v, _mm256_set1_epi32(32768)), 16); }
  static Lanes sum(Lanes a, Lanes b) { return _mm256_add_epi32(a, b); }
  static Lanes step(Lanes x, int32_t factor, Lanes a, Lanes b) {
    return limited(sum(x, rounded(times(sum(a, b), factor))));
  }
  static Lanes stepBack(Lanes x, int32_t factor, Lanes a, Lanes b) {
    return limited(_mm256_sub_epi32(x, rounded(times(sum(a, b), factor))));
  }
  static Lanes combined(Lanes x, int32_t factor, Lanes a, Lanes b, int32_t sumFactor) {
    return limited(rounded(sum(times(x, factor), times(sum(a, b), sumFactor))));
  }

  static Lanes alpha(Lanes x, Lanes a, Lanes b) { return step(x, -103949, a, b); }
  static Lanes beta(Lanes x, Lanes a, Lanes b) { return step(x, -3472, a, b); }
  static Lanes gamma(Lanes x, Lanes a, Lanes b) { return step(x, 57862, a, b); }
  static Lanes low(Lanes x, Lanes a, Lanes b) { return combined(x, 53274, a, b, 23627); }
  static Lanes lastLow(Lanes x, Lanes a, Lanes b) { return rounded(times(step(x, 29066, a, b), 53274)); }
  static Lanes high(Lanes x) { return limited(rounded(times(x, 80621))); }

  static Lanes scaleHigh(Lanes x) { return x; }
  static Lanes even(Lanes low, Lanes a, Lanes b) { return combined(low, 80621, a, b, -23627); }
  static Lanes odd(Lanes x, Lanes a, Lanes b) { return combined(x, 53274, a, b, -57862); }
  static Lanes undoBeta(Lanes x, Lanes a, Lanes b) { return stepBack(x, -3472, a, b); }
  static Lanes undoAlpha(Lanes x, Lanes a, Lanes b) { return stepBack(x, -103949, a, b); }

  // Four consecutive elements of each end of the row.
  static Lanes load4(const Element* first, const Element* last) {
    return _mm256_cvtepi16_epi32(_mm_unpacklo_epi64(load8(first), load8(last)));
  }
  // Of eight consecutive elements of each end every second one, from the first or from the second on.
  struct Split {
    Lanes even, odd;
  };
  static Split load8Split(const Element* first, const Element* last) {
    const __m256i v = load16x2(first, last);
    return {_mm256_srai_epi32(_mm256_slli_epi32(v, 16), 16), _mm256_srai_epi32(v, 16)};
  }
  // The lanes one place behind, for each end.
  static Lanes next(Lanes v) { return _mm256_shuffle_epi32(v, 0x39); }
  static Element firstEnd(Lanes v) { return static_cast<Element>(_mm256_cvtsi256_si32(v)); }
  static Element lastEnd(Lanes v) { return static_cast<Element>(_mm_cvtsi128_si32(_mm256_extracti128_si256(v, 1))); }
};

// The ends of a row of floats: fused steps.
struct EndsFloat : FusedFloat {
  using Lanes = __m256;
  static Lanes lastLow(Lanes x, Lanes a, Lanes b) { return low(x, a, b); }

  static Lanes load4(const Element* first, const Element* last) { return _mm256_loadu2_m128(last, first); }
  struct Split {
    Lanes even, odd;
  };
  static Split load8Split(const Element* first, const Element* last) {
    const Lanes a = load4(first, last), b = load4(first + 4, last + 4);
    return {_mm256_shuffle_ps(a, b, 0x88), _mm256_shuffle_ps(a, b, 0xDD)};
  }
  static Lanes next(Lanes v) { return _mm256_permute_ps(v, 0x39); }
  static Element firstEnd(Lanes v) { return _mm256_cvtss_f32(v); }
  static Element lastEnd(Lanes v) { return _mm_cvtss_f32(_mm256_extractf128_ps(v, 1)); }
};

// Low and high values 0 and n - 1, n >= 2, side by side: four values of a stage at each end fill the lanes. Low value k
// stands at x[2k], high value k behind it, or before it with kHighBefore.
template <typename E, bool kHighBefore>
inline void ownForwardEnds97(const Element97<E>* x, int32_t n, Element97<E>* low, Element97<E>* high) {
  const Element97<E>* const last = x + 2 * ptrdiff_t{n - 1};
  const auto even = E::load8Split(x - 4, last - 4).even;  // samples -4 to 2
  const auto behind = E::load8Split(x - 3, last - 3);     // samples -3 to 3, and -2 to 4
  const auto h1 = E::alpha(behind.even, even, behind.odd);
  const auto l2 = E::beta(behind.odd, h1, E::next(h1));
  const auto h3 = E::gamma(E::next(h1), l2, E::next(l2));
  const auto lifted = E::next(l2), h3Behind = E::next(h3), scaled = E::high(kHighBefore ? h3 : h3Behind);
  storeAny(low, E::firstEnd(E::low(lifted, h3, h3Behind)));
  storeAny(low + (n - 1), E::lastEnd(E::lastLow(lifted, h3, h3Behind)));
  storeAny(high, E::firstEnd(scaled));
  storeAny(high + (n - 1), E::lastEnd(scaled));
}

// The first and last pair of samples, n >= 2. Even sample k stands at low[k], odd sample k at high[k]; the pairs are
// even and odd sample k, or odd sample k - 1 and even sample k with kOddBefore.
template <typename E, bool kOddBefore>
inline void ownInverseEnds97(const Element97<E>* low, const Element97<E>* high, int32_t n, Element97<E>* dst) {
  const Element97<E>*const lows = low - 1 - kOddBefore, *const highs = high - 1 - kOddBefore;
  const auto before = E::scaleHigh(E::load4(highs - 1, highs - 1 + (n - 1)));
  const auto behind = E::scaleHigh(E::load4(highs, highs + (n - 1)));
  const auto l2 = E::even(E::load4(lows, lows + (n - 1)), before, behind);
  const auto h1 = E::odd(behind, l2, E::next(l2));
  const auto x0 = E::undoBeta(E::next(l2), h1, E::next(h1));
  const auto x1 = E::undoAlpha(E::next(h1), x0, E::next(x0));
  const auto first = kOddBefore ? x1 : x0, second = kOddBefore ? E::next(x0) : x1;
  Element97<E>* const last = dst + 2 * ptrdiff_t{n - 1};
  storeAny(dst, E::firstEnd(first));
  storeAny(dst + 1, E::firstEnd(second));
  storeAny(last, E::lastEnd(first));
  storeAny(last + 1, E::lastEnd(second));
}

// --- Taps ----------------------------------------------------------------------------------------------------------

// A symmetric filter: the factor of the centre, and of the sum of the values at a distance on both sides, in the order
// in which they are added.
template <typename Factor, int kCount>
struct Taps97 {
  Factor centre;
  struct {
    int distance;
    Factor factor;
  } pairs[kCount];
};

inline constexpr Taps97<float, 4> kLowTaps{
    0.602949f, {{1, 0.26686412f}, {2, -0.078223266f}, {3, -0.01686412f}, {4, 0.026748758f}}};
inline constexpr Taps97<float, 3> kHighTaps{1.115087f, {{1, -0.59127176f}, {2, -0.057543527f}, {3, 0.091271766f}}};
inline constexpr Taps97<float, 3> kEvenTaps{1.115087f, {{2, -0.057543527f}, {1, -0.26686412f}, {3, 0.01686412f}}};
inline constexpr Taps97<float, 4> kOddTaps{
    0.602949f, {{2, -0.078223266f}, {4, 0.026748758f}, {1, 0.59127176f}, {3, -0.091271766f}}};

// In Q16. Those of the inverse are not those of the forward filters: 38750 and -5981 stand as they are.
inline constexpr Taps97<int32_t, 4> kLowTapsQ16{39515, {{1, 17489}, {2, -5126}, {3, -1105}, {4, 1753}}};
inline constexpr Taps97<int32_t, 3> kHighTapsQ16{73078, {{1, -38749}, {2, -3771}, {3, 5982}}};
inline constexpr Taps97<int32_t, 3> kEvenTapsQ16{73078, {{2, -3771}, {1, -17489}, {3, 1105}}};
inline constexpr Taps97<int32_t, 4> kOddTapsQ16{39515, {{2, -5126}, {4, 1753}, {1, 38750}, {3, -5981}}};

// at(d) is the value at distance d from the centre.
template <int kCount, typename At>
inline int64_t ownFilter97(const Taps97<int32_t, kCount>& taps, const At& at) {
  int64_t sum = int64_t{taps.centre} * at(0);
  for (const auto& pair : taps.pairs) sum += pair.factor * (int64_t{at(-pair.distance)} + at(pair.distance));
  return (sum + 32768) >> 16;
}
template <int kCount, typename At>
inline __m256 ownFilter97(const Taps97<float, kCount>& taps, const At& at) {
  __m256 sum = _mm256_mul_ps(_mm256_set1_ps(taps.centre), at(0));
  for (const auto& pair : taps.pairs)
    sum = _mm256_fmadd_ps(_mm256_set1_ps(pair.factor), _mm256_add_ps(at(-pair.distance), at(pair.distance)), sum);
  return sum;
}
