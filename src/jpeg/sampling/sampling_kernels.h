// Row kernels of the chroma sampling: box sums for halving, the 3:1 triangle for doubling (ITU-T T.81 A.1.1 leaves the
// filters to the codec). Plane and row exports run the same kernels and differ in biases and in what happens at the
// two ends of a row.
#pragma once

#include "frame/cover.h"
#include "frame/simd.h"

// Halving: dst[i] = (sum of the 2 samples of `a`, or of 2 x 2 of `a` and `b`, + bias) >> (1 or 2). The bias of even and
// of odd outputs is a parameter: equal in the plane forms, alternating in the row forms.
template <int Rows, int BiasEven, int BiasOdd>
inline void ownHalveRow(const uint8_t* a, const uint8_t* b, uint8_t* dst, int32_t count) {
  const __m256i ones = _mm256_set1_epi8(1);
  const __m256i evenFirst = _mm256_set1_epi32(BiasEven | BiasOdd << 16);
  const __m256i oddFirst = _mm256_set1_epi32(BiasOdd | BiasEven << 16);
  const auto sixteen = [&](ptrdiff_t i) {
    __m256i sum = _mm256_maddubs_epi16(load32(a + 2 * i), ones);
    if constexpr (Rows == 2) sum = _mm256_add_epi16(sum, _mm256_maddubs_epi16(load32(b + 2 * i), ones));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, BiasEven == BiasOdd || i % 2 == 0 ? evenFirst : oddFirst), Rows);
  };
  const auto eight = [&](ptrdiff_t i) {
    const __m128i one = _mm256_castsi256_si128(ones);
    __m128i sum = _mm_maddubs_epi16(load16(a + 2 * i), one);
    if constexpr (Rows == 2) sum = _mm_add_epi16(sum, _mm_maddubs_epi16(load16(b + 2 * i), one));
    const __m256i bias = BiasEven == BiasOdd || i % 2 == 0 ? evenFirst : oddFirst;
    return _mm_srli_epi16(_mm_add_epi16(sum, _mm256_castsi256_si128(bias)), Rows);
  };
  ownCover<32, 8>(count, [&](auto width, ptrdiff_t i) {
    if constexpr (width == 32) {
      store32(dst + i, packWordsToBytes(sixteen(i), sixteen(i + 16)));
    } else if constexpr (width == 16) {
      store16(dst + i, packWordsToBytes(sixteen(i)));
    } else if constexpr (width == 8) {
      const __m128i words = eight(i);
      store8(dst + i, _mm_packus_epi16(words, words));
    } else {
      int32_t sum = a[2 * i] + a[2 * i + 1] + (i % 2 == 0 ? BiasEven : BiasOdd);
      if constexpr (Rows == 2) sum += b[2 * i] + b[2 * i + 1];
      dst[i] = static_cast<uint8_t>(sum >> Rows);
    }
  });
}

// Doubling along a row, the two outputs between each pair of neighbours x = s[k] and y = s[k + 1]; what stands before
// the first and behind the last sample is the caller's affair:
//   dst[2k] = (3x + y + 2) >> 2, dst[2k + 1] = (x + 3y + 1) >> 2
// With c the mean of x and y rounded up and f the same rounded down, these are the mean of x and f rounded up and the
// mean of y and c rounded down, so byte lanes suffice.
inline void ownDoublePairs(const uint8_t* s, uint8_t* dst, int32_t count) {
  const auto pairs = [](auto x, auto y, uint8_t* to) {
    storeBytePairs(to, meanUp8(x, meanDown8(x, y)), meanDown8(y, meanUp8(x, y)));
  };
  ownCover<32, 16>(count, [&](auto width, ptrdiff_t k) {
    if constexpr (width == 32) {
      pairs(load32(s + k), load32(s + k + 1), dst + 2 * k);
    } else if constexpr (width == 16) {
      pairs(load16(s + k), load16(s + k + 1), dst + 2 * k);
    } else {
      const int32_t x = s[k], y = s[k + 1];
      dst[2 * k] = static_cast<uint8_t>((3 * x + y + 2) >> 2);
      dst[2 * k + 1] = static_cast<uint8_t>((x + 3 * y + 1) >> 2);
    }
  });
}

// Doubling in both directions, likewise, on the vertical sums c[k] = 3 near[k] + far[k], x = c[k] and y = c[k + 1]:
//   dst[2k] = (3x + y + 7) >> 4, dst[2k + 1] = (x + 3y + 8) >> 4
inline void ownDoublePairs(const uint8_t* near, const uint8_t* far, uint8_t* dst, int32_t count) {
  // 16 pairs of bytes, as the words dst[2k] | dst[2k + 1] << 8. A rounding multiply by 2^11 is (v + 8) >> 4.
  const auto sixteen = [](__m256i x, __m256i y) {
    const __m256i round = _mm256_set1_epi16(2048);
    const __m256i sum = _mm256_add_epi16(x, y);
    const __m256i left = _mm256_add_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(-1)), _mm256_add_epi16(x, x));
    const __m256i right = _mm256_add_epi16(sum, _mm256_add_epi16(y, y));
    return _mm256_or_si256(_mm256_mulhrs_epi16(left, round), _mm256_slli_epi16(_mm256_mulhrs_epi16(right, round), 8));
  };
  const __m256i weights = _mm256_set1_epi16(0x0103);
  const auto lowSums = [&](__m256i n, __m256i f) { return _mm256_maddubs_epi16(_mm256_unpacklo_epi8(n, f), weights); };
  const auto highSums = [&](__m256i n, __m256i f) { return _mm256_maddubs_epi16(_mm256_unpackhi_epi8(n, f), weights); };
  ownCover<32, 16>(count, [&](auto width, ptrdiff_t k) {
    if constexpr (width == 32) {
      const __m256i nx = load32(near + k), fx = load32(far + k), ny = load32(near + k + 1), fy = load32(far + k + 1);
      const __m256i low = sixteen(lowSums(nx, fx), lowSums(ny, fy));
      const __m256i high = sixteen(highSums(nx, fx), highSums(ny, fy));
      store32(dst + 2 * k, _mm256_permute2x128_si256(low, high, 0x20));
      store32(dst + 2 * k + 32, _mm256_permute2x128_si256(low, high, 0x31));
    } else if constexpr (width == 16) {
      const auto spread = [](const uint8_t* p) {
        return _mm256_permute4x64_epi64(_mm256_castsi128_si256(load16(p)), 0x10);
      };
      const __m256i x = lowSums(spread(near + k), spread(far + k));
      const __m256i y = lowSums(spread(near + k + 1), spread(far + k + 1));
      store32(dst + 2 * k, sixteen(x, y));
    } else {
      const int32_t x = 3 * near[k] + far[k], y = 3 * near[k + 1] + far[k + 1];
      dst[2 * k] = static_cast<uint8_t>((3 * x + y + 7) >> 4);
      dst[2 * k + 1] = static_cast<uint8_t>((x + 3 * y + 8) >> 4);
    }
  });
}
