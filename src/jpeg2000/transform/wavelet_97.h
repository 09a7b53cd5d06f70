// The lifting steps of the irreversible 9/7 wavelet (T.800 F.3.8.2.1, F.4.8.2) in vector lanes, one type a number
// format:
//
//   forward   H1 = alpha(x, x before, x behind)    odd samples     inverse   scaleHigh(H): what `even` and `odd` take
//             L2 = beta(x, H1, H1)                 even samples              L2 = even(L, H, H)
//             H3 = gamma(H1, L2, L2)                                         H1 = odd(H, L2, L2)
//             L  = low(L2, H3, H3)                                           x  = undoBeta(L2, H1, H1)
//             H  = high(H3)                                                  x  = undoAlpha(H1, x, x), then out(x)
//
// A sample vector holds elements as they stand in memory, a stage vector what lies between the steps. Rows and columns
// are walked by the same code in every format (wavelet_97_rows.h, wavelet_97_columns.h). The constants belong to the
// formats, and not all of them are the nearest fraction.
#pragma once

#include <type_traits>

#include "frame/simd.h"
#include "frame/wrap.h"

inline constexpr float kAlpha97 = -1.5861343f, kBeta97 = -0.052980117f, kGamma97 = 0.8829111f, kDelta97 = 0.44350687f;
inline constexpr float kScale97 = 1.2301741f, kInverseScale97 = 0.8128931f, kScaledDelta97 = 0.36052364f;

// --- Lanes ---------------------------------------------------------------------------------------------------------

// Two vectors: the first and the second of each pair of elements.
struct IntegerPair {
  __m256i first, second;
};
struct FloatPair {
  __m256 first, second;
};

// 16 or 8 elements in a vector of integers.
template <typename T>
struct IntegerLanes {
  using Element = T;
  using Sample = __m256i;
  using Pair = IntegerPair;
  using Stage = __m256i;
  static constexpr int kLanes = 32 / sizeof(T);
  static Stage scaleHigh(Sample x) { return x; }
  static Sample out(Stage x) { return x; }
};

inline __m256i loadLanes(const int16_t* p) { return load32(p); }
inline __m256i loadLanes(const int32_t* p) { return load32(p); }
inline __m256 loadLanes(const float* p) { return _mm256_loadu_ps(p); }
inline void storeLanes(int16_t* p, __m256i v) { store32(p, v); }
inline void storeLanes(int32_t* p, __m256i v) { store32(p, v); }
inline void storeLanes(float* p, __m256 v) { _mm256_storeu_ps(p, v); }

// Copies fewer elements than `Limit` without a call.
template <int Limit, typename T>
inline void copyFew(T* dst, const T* src, int32_t count) {
  if constexpr (Limit > 1) {
    constexpr int kHalf = Limit / 2;
    if (count & kHalf) {
      __builtin_memcpy(dst, src, kHalf * sizeof(T));
      dst += kHalf;
      src += kHalf;
    }
    copyFew<kHalf>(dst, src, count);
  }
}

// The first `count` lanes alone, fewer than all. Lanes that are not loaded are zero.
template <typename T>
inline auto loadPart(const T* p, int32_t count) {
  constexpr int kLanes = 32 / sizeof(T);
  alignas(32) T lanes[kLanes] = {};
  copyFew<kLanes>(lanes, p, count);
  return loadLanes(lanes);
}
template <typename T, typename V>
inline void storePart(T* p, V v, int32_t count) {
  constexpr int kLanes = 32 / sizeof(T);
  alignas(32) T lanes[kLanes];
  storeLanes(lanes, v);
  copyFew<kLanes>(p, lanes, count);
}

// The pairs of 2 * kLanes consecutive elements, from memory or from two vectors.
template <typename T>
inline IntegerPair splitHalves(__m256i a, __m256i b) {
  if constexpr (sizeof(T) == 2) {
    static constexpr ShufflePattern kSplit = makeShuffle([](int i) { return i / 2 % 4 * 4 + i / 8 * 2 + i % 2; });
    a = shuffleBytes(a, kSplit);
    b = shuffleBytes(b, kSplit);
    return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
  } else {
    const __m256 x = _mm256_castsi256_ps(a), y = _mm256_castsi256_ps(b);
    return {_mm256_castps_si256(_mm256_shuffle_ps(x, y, 0x88)), _mm256_castps_si256(_mm256_shuffle_ps(x, y, 0xDD))};
  }
}
inline FloatPair toFloats(IntegerPair pair) {
  return {_mm256_castsi256_ps(pair.first), _mm256_castsi256_ps(pair.second)};
}
template <typename T>
inline IntegerPair splitPairs(const T* p) {
  constexpr int kQuarter = 16 / sizeof(T);
  return splitHalves<T>(load16x2(p, p + 2 * kQuarter), load16x2(p + kQuarter, p + 3 * kQuarter));
}
inline FloatPair splitPairs(const float* p) { return toFloats(splitPairs<float>(p)); }
template <typename T>
inline IntegerPair splitPairs(__m256i a, __m256i b) {
  return splitHalves<T>(lowHalves(a, b), highHalves(a, b));
}
template <typename T>
inline FloatPair splitPairs(__m256 a, __m256 b) {
  return toFloats(splitPairs<T>(_mm256_castps_si256(a), _mm256_castps_si256(b)));
}

// The way back to memory.
inline void storePairs(int16_t* p, __m256i first, __m256i second) { storeWordPairs(p, p + 16, {first, second}); }
inline void storePairs(int32_t* p, __m256i first, __m256i second) { storeDwordPairs(p, p + 8, {first, second}); }
inline void storePairs(float* p, __m256 first, __m256 second) {
  storeDwordPairs(p, p + 8, {_mm256_castps_si256(first), _mm256_castps_si256(second)});
}

// The lanes one place before: the last lane of `previous`, then all of `current` but its last.
template <typename T>
inline __m256i lanesBefore(__m256i previous, __m256i current) {
  return shiftedDown<sizeof(T)>(middleHalves(previous, current), current);
}
template <typename T>
inline __m256 lanesBefore(__m256 previous, __m256 current) {
  return _mm256_castsi256_ps(lanesBefore<float>(_mm256_castps_si256(previous), _mm256_castps_si256(current)));
}

// The last eight lanes from eight consecutive elements in the order kIndex; other lanes are zero.
template <int... kIndex>
inline __m256i lastEight(const int32_t* p) {
  return _mm256_permutevar8x32_epi32(load32(p), _mm256_setr_epi32(kIndex...));
}
template <int... kIndex>
inline __m256 lastEight(const float* p) {
  return _mm256_permutevar8x32_ps(_mm256_loadu_ps(p), _mm256_setr_epi32(kIndex...));
}
template <int... kIndex>
inline __m256i lastEight(const int16_t* p) {
  static constexpr int kOrder[] = {kIndex...};
  static constexpr ShufflePattern kPattern = makeShuffle([](int i) { return 2 * kOrder[i / 2] + i % 2; });
  return _mm256_inserti128_si256(_mm256_setzero_si256(), _mm_shuffle_epi8(load16(p), load16(kPattern.index)), 1);
}
// The last four lanes from four consecutive elements in the order kIndex; other lanes are zero.
template <int... kIndex>
inline __m256i lastFour(const int32_t* p) {
  static constexpr int kOrder[] = {kIndex...};
  constexpr int kImmediate = kOrder[0] | kOrder[1] << 2 | kOrder[2] << 4 | kOrder[3] << 6;
  return _mm256_inserti128_si256(_mm256_setzero_si256(), _mm_shuffle_epi32(load16(p), kImmediate), 1);
}
template <int... kIndex>
inline __m256 lastFour(const float* p) {
  return _mm256_castsi256_ps(lastFour<kIndex...>(reinterpret_cast<const int32_t*>(p)));
}
template <int... kIndex>
inline __m256i lastFour(const int16_t* p) {
  static constexpr int kOrder[] = {kIndex...};
  constexpr int kImmediate = kOrder[0] | kOrder[1] << 2 | kOrder[2] << 4 | kOrder[3] << 6;
  const __m128i four = _mm_shufflelo_epi16(load8(p), kImmediate);
  return _mm256_inserti128_si256(_mm256_setzero_si256(), _mm_slli_si128(four, 8), 1);
}

// The lanes before these eight from memory.
inline __m256i withLanesBefore(const int32_t*, __m256i eight) { return eight; }
inline __m256 withLanesBefore(const float*, __m256 eight) { return eight; }
inline __m256i withLanesBefore(const int16_t* p, __m256i eight) { return _mm256_inserti128_si256(eight, load16(p), 0); }

template <typename F>
using Element97 = typename F::Element;

// --- Q14 -----------------------------------------------------------------------------------------------------------

// The planes of 16-bit samples: (v * c + 8192) >> 14 in 32 bits, and everything cut to 16 bits. No value is limited.
//
// Along a row the two values of each sum stand in neighbouring lanes already: `a` is what lanesBefore makes of `b`.
template <bool kAlongRow>
struct Q14 : IntegerLanes<int16_t> {
  using AlongRow = Q14<true>;

  // The sum of two values has 17 bits, so the products are made one by one and added, in 32-bit lanes: those of the
  // even lanes and those of the odd ones, whose bits 14 to 29 are then put together.
  template <int kFactor>
  static __m256i scaledSum(__m256i a, __m256i b) {
    const __m256i factor = _mm256_set1_epi16(kFactor), half = _mm256_set1_epi32(8192);
    const __m256i even = kAlongRow ? a : _mm256_blend_epi16(a, _mm256_slli_epi32(b, 16), 0xAA);
    const __m256i odd = kAlongRow ? b : _mm256_blend_epi16(_mm256_srli_epi32(a, 16), b, 0xAA);
    const __m256i evenSum = _mm256_add_epi32(_mm256_madd_epi16(even, factor), half);
    const __m256i oddSum = _mm256_add_epi32(_mm256_madd_epi16(odd, factor), half);
    return _mm256_blend_epi16(_mm256_srli_epi32(evenSum, 14), _mm256_slli_epi32(oddSum, 2), 0xAA);
  }
  // 13318 doubled is a factor of the rounding 16-bit multiplication. 20155 doubled is one after 65536, which stands for
  // two whole values, is taken off.
  static __m256i divideByK(__m256i v) { return _mm256_mulhrs_epi16(v, _mm256_set1_epi16(2 * 13318)); }
  static __m256i multiplyByK(__m256i v) {
    const __m256i rest = _mm256_mulhrs_epi16(v, _mm256_set1_epi16(2 * 20155 - 65536));
    return _mm256_add_epi16(rest, _mm256_add_epi16(v, v));
  }

  static Stage alpha(Sample x, Sample a, Sample b) { return _mm256_add_epi16(x, scaledSum<-25987>(a, b)); }
  static Stage beta(Sample x, Stage a, Stage b) { return _mm256_add_epi16(x, scaledSum<-868>(a, b)); }
  static Stage gamma(Stage x, Stage a, Stage b) { return _mm256_add_epi16(x, scaledSum<14466>(a, b)); }
  static Sample low(Stage x, Stage a, Stage b) { return divideByK(_mm256_add_epi16(x, scaledSum<7266>(a, b))); }
  static Sample high(Stage x) { return multiplyByK(x); }

  static Stage scaleHigh(Sample x) { return divideByK(x); }
  static Stage even(Sample low, Stage a, Stage b) { return _mm256_sub_epi16(multiplyByK(low), scaledSum<7266>(a, b)); }
  static Stage odd(Stage x, Stage a, Stage b) { return _mm256_sub_epi16(x, scaledSum<14466>(a, b)); }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return _mm256_sub_epi16(x, scaledSum<-868>(a, b)); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return _mm256_sub_epi16(x, scaledSum<-25987>(a, b)); }
};

// --- Q15 -----------------------------------------------------------------------------------------------------------

// Rows of 16-bit samples: the rounding 16-bit multiplication, (v * c + 16384) >> 15, and sums that saturate. Factors
// beyond 1 are halved and their values doubled, with saturation. The difference of `odd` saturates in short rows and
// wraps in long ones: both are kept.
template <bool kWraps>
struct Q15 : IntegerLanes<int16_t> {
  template <int kFactor>
  static __m256i scaled(__m256i v) {
    return _mm256_mulhrs_epi16(v, _mm256_set1_epi16(kFactor));
  }
  static __m256i sum(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
  static __m256i twice(__m256i v) { return _mm256_adds_epi16(v, v); }

  static Stage alpha(Sample x, Sample a, Sample b) { return sum(scaled<-25987>(twice(sum(a, b))), x); }
  static Stage beta(Sample x, Stage a, Stage b) { return sum(scaled<-1736>(sum(a, b)), x); }
  static Stage gamma(Stage x, Stage a, Stage b) { return sum(scaled<28931>(sum(a, b)), x); }
  static Sample low(Stage x, Stage a, Stage b) {
    return sum(_mm256_srai_epi16(scaled<23627>(sum(a, b)), 1), scaled<26637>(x));
  }
  static Sample high(Stage x) { return scaled<20155>(twice(x)); }

  static Stage even(Sample low, Stage a, Stage b) {
    return _mm256_sub_epi16(scaled<20155>(twice(low)), _mm256_srai_epi16(scaled<23627>(sum(a, b)), 1));
  }
  static Stage odd(Stage x, Stage a, Stage b) {
    const __m256i high = scaled<26637>(x), step = scaled<28931>(sum(a, b));
    return kWraps ? _mm256_sub_epi16(high, step) : _mm256_subs_epi16(high, step);
  }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return sum(scaled<1736>(sum(a, b)), x); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return sum(scaled<25987>(twice(sum(a, b))), x); }
};

// --- Q16 -----------------------------------------------------------------------------------------------------------

// 32-bit samples: (v * c + 32768) >> 16 with 64-bit products, cut to 32 bits. Sums wrap.
struct Q16 : IntegerLanes<int32_t> {
  // Products of the even lanes and of the odd ones.
  struct Products {
    __m256i even, odd;
  };
  template <int kFactor>
  static Products times(__m256i v) {
    const __m256i factor = _mm256_set1_epi32(kFactor);
    return {_mm256_mul_epi32(v, factor), _mm256_mul_epi32(_mm256_srli_epi64(v, 32), factor)};
  }
  static Products plus(Products a, Products b) {
    return {_mm256_add_epi64(a.even, b.even), _mm256_add_epi64(a.odd, b.odd)};
  }
  static __m256i rounded(Products p) {
    const __m256i half = _mm256_set1_epi64x(32768);
    return _mm256_blend_epi32(_mm256_srli_epi64(_mm256_add_epi64(p.even, half), 16),
                              _mm256_slli_epi64(_mm256_add_epi64(p.odd, half), 16), 0xAA);
  }
  static __m256i sum(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
  template <int kFactor>
  static __m256i scaledSum(__m256i a, __m256i b) {
    return rounded(times<kFactor>(sum(a, b)));
  }
  // One rounding for both products.
  template <int kFactor, int kSumFactor>
  static __m256i combined(__m256i x, __m256i a, __m256i b) {
    return rounded(plus(times<kFactor>(x), times<kSumFactor>(sum(a, b))));
  }

  static Stage alpha(Sample x, Sample a, Sample b) { return sum(scaledSum<-103949>(a, b), x); }
  static Stage beta(Sample x, Stage a, Stage b) { return sum(scaledSum<-3472>(a, b), x); }
  static Stage gamma(Stage x, Stage a, Stage b) { return sum(scaledSum<57862>(a, b), x); }
  static Sample low(Stage x, Stage a, Stage b) { return combined<53274, 23627>(x, a, b); }
  static Sample high(Stage x) { return rounded(times<80621>(x)); }

  static Stage even(Sample low, Stage a, Stage b) { return combined<80621, -23627>(low, a, b); }
  static Stage odd(Stage x, Stage a, Stage b) { return combined<53274, -57862>(x, a, b); }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return _mm256_sub_epi32(x, scaledSum<-3472>(a, b)); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return _mm256_sub_epi32(x, scaledSum<-103949>(a, b)); }
};

// --- Single precision ----------------------------------------------------------------------------------------------

struct FloatLanes {
  using Element = float;
  using Sample = __m256;
  using Pair = FloatPair;
  using Stage = __m256;
  static constexpr int kLanes = 8;
  static __m256 sum(__m256 a, __m256 b) { return _mm256_add_ps(a, b); }
  static __m256 times(__m256 v, float factor) { return _mm256_mul_ps(v, _mm256_set1_ps(factor)); }
  static Sample high(Stage x) { return times(x, kScale97); }
  static Stage scaleHigh(Sample x) { return times(x, kInverseScale97); }
  static Sample out(Stage x) { return x; }
};

// Products and sums rounded apart.
struct PlainFloat : FloatLanes {
  static __m256 step(__m256 x, float factor, __m256 a, __m256 b) { return sum(x, times(sum(a, b), factor)); }
  static __m256 stepBack(__m256 x, float factor, __m256 a, __m256 b) {
    return _mm256_sub_ps(x, times(sum(a, b), factor));
  }

  static Stage alpha(Sample x, Sample a, Sample b) { return step(x, kAlpha97, a, b); }
  static Stage beta(Sample x, Stage a, Stage b) { return step(x, kBeta97, a, b); }
  static Stage gamma(Stage x, Stage a, Stage b) { return step(x, kGamma97, a, b); }
  static Sample low(Stage x, Stage a, Stage b) { return step(times(x, kInverseScale97), kScaledDelta97, a, b); }

  static Stage even(Sample low, Stage a, Stage b) { return stepBack(times(low, kScale97), kDelta97, a, b); }
  static Stage odd(Stage x, Stage a, Stage b) { return stepBack(x, kGamma97, a, b); }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return stepBack(x, kBeta97, a, b); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return stepBack(x, kAlpha97, a, b); }
};

// Each step fused: one rounding.
struct FusedFloat : FloatLanes {
  static __m256 step(__m256 x, float factor, __m256 a, __m256 b) {
    return _mm256_fmadd_ps(_mm256_set1_ps(factor), sum(a, b), x);
  }

  static Stage alpha(Sample x, Sample a, Sample b) { return step(x, kAlpha97, a, b); }
  static Stage beta(Sample x, Stage a, Stage b) { return step(x, kBeta97, a, b); }
  static Stage gamma(Stage x, Stage a, Stage b) { return step(x, kGamma97, a, b); }
  static Sample low(Stage x, Stage a, Stage b) { return times(step(x, kDelta97, a, b), kInverseScale97); }

  static Stage even(Sample low, Stage a, Stage b) { return step(times(low, kScale97), -kDelta97, a, b); }
  static Stage odd(Stage x, Stage a, Stage b) { return step(x, -kGamma97, a, b); }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return step(x, -kBeta97, a, b); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return step(x, -kAlpha97, a, b); }
};

// The planes of 32-bit samples: fused steps between integers. The first sum of two samples is one of integers, which
// wraps; each direction ends with integers.
struct FusedInteger {
  using AlongRow = FusedInteger;
  using Element = int32_t;
  using Sample = __m256i;
  using Pair = IntegerPair;
  using Stage = __m256;
  static constexpr int kLanes = 8;
  static __m256 toFloat(__m256i v) { return _mm256_cvtepi32_ps(v); }
  // Truncates. What lies above 2^31 becomes the largest integer; 2^31 itself and what lies below -2^31 the lowest, by
  // the rule of the conversion.
  static __m256i toInteger(__m256 v) {
    const __m256 above = _mm256_cmp_ps(v, _mm256_set1_ps(2147483648.0f), _CMP_GT_OQ);
    return _mm256_xor_si256(_mm256_cvttps_epi32(v), _mm256_castps_si256(above));
  }

  static Stage alpha(Sample x, Sample a, Sample b) {
    return _mm256_fmadd_ps(_mm256_set1_ps(kAlpha97), toFloat(_mm256_add_epi32(a, b)), toFloat(x));
  }
  static Stage beta(Sample x, Stage a, Stage b) { return FusedFloat::beta(toFloat(x), a, b); }
  static Stage gamma(Stage x, Stage a, Stage b) { return FusedFloat::gamma(x, a, b); }
  static Sample low(Stage x, Stage a, Stage b) { return toInteger(FusedFloat::low(x, a, b)); }
  static Sample high(Stage x) { return toInteger(FusedFloat::high(x)); }

  static Stage scaleHigh(Sample x) { return FusedFloat::scaleHigh(toFloat(x)); }
  static Stage even(Sample low, Stage a, Stage b) { return FusedFloat::even(toFloat(low), a, b); }
  static Stage odd(Stage x, Stage a, Stage b) { return FusedFloat::odd(x, a, b); }
  static Stage undoBeta(Stage x, Stage a, Stage b) { return FusedFloat::undoBeta(x, a, b); }
  static Stage undoAlpha(Stage x, Stage a, Stage b) { return FusedFloat::undoAlpha(x, a, b); }
  static Sample out(Stage x) { return toInteger(x); }
};
