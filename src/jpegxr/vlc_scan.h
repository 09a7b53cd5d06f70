// The adaptive scan orders (ITU-T T.832 8.7): each record counts how often its coefficient was significant, and moves
// up by one place when it overtakes the record before it.
#pragma once

#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"

// Where a coefficient stands in its 4x4 block as the photo core transform leaves it, by its number.
inline constexpr int32_t kNumberColumn[16] = {0, 1, 0, 1, 3, 2, 3, 2, 0, 1, 0, 1, 3, 2, 3, 2};
inline constexpr int32_t kNumberRow[16] = {0, 0, 1, 1, 0, 0, 1, 1, 3, 3, 2, 2, 3, 3, 2, 2};

// Counts the coefficient of record p, and lets the record change places, all four fields, with the one before it if it
// now has the greater count. Records in front of kFirst never move. Both records are always written, with no branch:
// whether they change places cannot be predicted.
template <int kFirst>
inline void ownCountAndMoveUp(QlmVLCScanRecord* scan, int32_t p) {
  QlmVLCScanRecord* const at = scan + p;
  const __m128i above = load16(at - 1);
  const __m128i here = _mm_add_epi32(load16(at), _mm_setr_epi32(1, 0, 0, 0));
  __m128i moves = _mm_shuffle_epi32(_mm_cmpgt_epi32(here, above), 0);
  if (kFirst > 1) moves = _mm_and_si128(moves, _mm_cmpgt_epi32(_mm_set1_epi32(p), _mm_set1_epi32(kFirst - 1)));
  store16(at - 1, _mm_blendv_epi8(above, here, moves));
  store16(at, _mm_blendv_epi8(here, above, moves));
}

// The coefficients of a block by their numbers, 0 to 7 and 8 to 15.
struct QlmVLCBlock {
  __m256i low, high;
};
inline __m128i ownLoadBlockRow(const int16_t* row) { return _mm_cvtepi16_epi32(load8(row)); }
inline __m128i ownLoadBlockRow(const int32_t* row) { return load16(row); }

// Numbers go through pairs of rows: the left halves of both rows, then the right halves, mirrored; of rows 0 and 1,
// then of rows 3 and 2.
template <typename T>
inline QlmVLCBlock ownLoadBlock(const T* src, int32_t srcStep) {
  const auto row = [=](int32_t y) { return ownLoadBlockRow(wrapAddress(src, ptrdiff_t{y} * srcStep)); };
  const auto pair = [](__m128i first, __m128i second) {
    return _mm256_set_m128i(_mm_shuffle_epi32(_mm_unpackhi_epi64(first, second), 0xB1),
                            _mm_unpacklo_epi64(first, second));
  };
  return {pair(row(0), row(1)), pair(row(3), row(2))};
}

// The numbers of the records of a scan, a byte each. Records are loaded as they were stored, one by one: a wider load
// would have to wait until the stores of the block before have left the store buffer.
inline __m128i ownScanNumbers(const QlmVLCScanRecord* scan) {
  const auto pair = [=](int32_t k) {
    return _mm_shuffle_ps(_mm_castsi128_ps(load16(scan + k)), _mm_castsi128_ps(load16(scan + k + 1)), 0x55);
  };
  const auto four = [=](int32_t k) { return _mm_castps_si128(_mm_shuffle_ps(pair(k), pair(k + 2), 0x88)); };
  return _mm_packus_epi16(_mm_packs_epi32(four(0), four(4)), _mm_packs_epi32(four(8), four(12)));
}

// The coefficients that are significant: those that keep something above their low numBits bits. What stands by place
// is in the order of the scan.
struct QlmVLCSignificant {
  uint32_t places, negative;           // by place, a bit each; no bit for DC in `places`
  alignas(16) uint8_t level[16];       // by place: the magnitude without the low bits, but kMostLevel at most
  alignas(16) uint8_t number[16];      // by place
  alignas(32) uint32_t magnitude[16];  // by number, without the low bits
};

template <uint32_t kMostLevel>
inline QlmVLCSignificant ownFindSignificant(QlmVLCBlock block, const QlmVLCScanRecord* scan, int32_t numBits) {
  QlmVLCSignificant found;
  const __m128i shift = _mm_cvtsi32_si128(numBits), numbers = ownScanNumbers(scan);
  const __m256i low = _mm256_srl_epi32(_mm256_abs_epi32(block.low), shift);
  const __m256i high = _mm256_srl_epi32(_mm256_abs_epi32(block.high), shift);
  store32(found.magnitude, low);
  store32(found.magnitude + 8, high);
  store16(found.number, numbers);

  // Levels as bytes, with the sign as bit 7.
  static_assert(kMostLevel < 128);
  const auto signedLevel = [](__m256i v, __m256i magnitude) {
    const __m256i sign = _mm256_slli_epi32(_mm256_srli_epi32(v, 31), 7);
    return _mm256_or_si256(_mm256_min_epu32(magnitude, _mm256_set1_epi32(kMostLevel)), sign);
  };
  const __m256i words =
      _mm256_permute4x64_epi64(_mm256_packs_epi32(signedLevel(block.low, low), signedLevel(block.high, high)), 0xD8);
  const __m128i byNumber = _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
  const __m128i byPlace = _mm_shuffle_epi8(byNumber, numbers);
  const __m128i level = _mm_and_si128(byPlace, _mm_set1_epi8(127));
  store16(found.level, level);
  found.negative = static_cast<uint32_t>(_mm_movemask_epi8(byPlace));
  found.places = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpgt_epi8(level, _mm_setzero_si128()))) & 0xFFFE;
  return found;
}

// What the adaptive codes leave out of each coefficient but DC: the low bits without the last trimBits of them and, for
// coefficients that have no sign elsewhere, a sign and a 1 behind these if anything is left.
inline void ownStoreResidual(QlmVLCBlock block, int32_t numBits, int32_t trimBits, int32_t* residual) {
  const __m256i mask = _mm256_set1_epi32((1 << numBits) - 1), zero = _mm256_setzero_si256(), one = _mm256_set1_epi32(1);
  const auto residualOf = [=](__m256i v) {
    const __m256i magnitude = _mm256_abs_epi32(v);
    const __m256i coded = _mm256_cmpeq_epi32(_mm256_andnot_si256(mask, magnitude), zero);  // all ones: not significant
    const __m256i left = _mm256_srl_epi32(_mm256_and_si256(magnitude, mask), _mm_cvtsi32_si128(trimBits));
    const __m256i sign = _mm256_or_si256(_mm256_slli_epi32(_mm256_srli_epi32(v, 31), 1), one);
    const __m256i withSign =
        _mm256_or_si256(_mm256_slli_epi32(left, 2), _mm256_andnot_si256(_mm256_cmpeq_epi32(left, zero), sign));
    return _mm256_blendv_epi8(_mm256_slli_epi32(left, 1), withSign, coded);
  };
  const __m256i low = residualOf(block.low), high = residualOf(block.high);
  // The element of DC stays as it is: elements 1 to 8, then 8 to 15.
  const __m256i turned =
      _mm256_permutevar8x32_epi32(_mm256_blend_epi32(low, high, 1), _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0));
  store32(residual + 1, turned);
  store32(residual + 8, high);
}
