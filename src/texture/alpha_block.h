// The block of one channel that is the alpha of DXT5 and the whole of BC4: two end values, then sixteen 3-bit indices
// into the eight values of which they are the ends. Two blocks at a time, one in each half of a vector.
#pragma once

#include "frame/simd.h"
#include "texture/colour_part.h"

namespace texture {

// Sixteen 3-bit fields from bit 16 on as bytes, of which only the lowest three bits count.
inline __m128i alphaIndices(uint64_t block) {
  constexpr uint64_t kThreeBits = 0x0707070707070707;
  return _mm_set_epi64x(static_cast<int64_t>(_pdep_u64(block >> 40, kThreeBits)),
                        static_cast<int64_t>(_pdep_u64(block >> 16, kThreeBits)));
}

// The eight values of each block as the lower bytes of its half, from the blocks' bytes in the lower eight of the half.
// With the ends a and b, index 0 is a, 1 is b, and
//   a > b    (6a + b + 3) / 7 to (a + 6b + 3) / 7
//   else     (4a + b + 2) / 5 to (a + 4b + 2) / 5, 0, 255
// where both ends obey the same formula. The divisions truncate, and high products are exact for such small dividends.
inline __m256i alphaPalette(__m256i blocks) {
  const auto weights = [](int a0, int a1, int a2, int a3, int a4, int a5, int a6, int a7, int total, int used) {
    const auto pair = [=](int a, bool none) { return static_cast<int16_t>(none ? 0 : a | (total - a) << 8); };
    return _mm256_broadcastsi128_si256(_mm_setr_epi16(pair(a0, false), pair(a1, false), pair(a2, false),
                                                      pair(a3, false), pair(a4, false), pair(a5, false),
                                                      pair(a6, used < 7), pair(a7, used < 8)));
  };
  const __m256i ends = _mm256_shuffle_epi8(blocks, _mm256_set1_epi16(0x0100));
  const __m256i first = _mm256_and_si256(ends, _mm256_set1_epi16(0xFF)), second = _mm256_srli_epi16(ends, 8);
  const auto divided = [&](__m256i w, int half, int reciprocal) {
    const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(ends, w), _mm256_set1_epi16(static_cast<int16_t>(half)));
    return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(static_cast<int16_t>(reciprocal)));
  };
  const __m256i eight = divided(weights(7, 0, 6, 5, 4, 3, 2, 1, 7, 8), 3, 65536 / 7 + 1);
  const __m256i six = _mm256_or_si256(divided(weights(5, 0, 4, 3, 2, 1, 0, 0, 5, 6), 2, 65536 / 5 + 1),
                                      _mm256_broadcastsi128_si256(_mm_setr_epi16(0, 0, 0, 0, 0, 0, 0, 255)));
  const __m256i words = _mm256_blendv_epi8(six, eight, _mm256_cmpgt_epi16(first, second));
  return _mm256_packus_epi16(words, words);
}

// The sixteen values of each block, in order.
inline __m256i alphaValues(uint64_t low, uint64_t high) {
  const auto half = [](uint64_t v) { return _mm_cvtsi64_si128(static_cast<int64_t>(v)); };
  const __m256i palette = alphaPalette(_mm256_inserti128_si256(_mm256_castsi128_si256(half(low)), half(high), 1));
  const __m256i indices = _mm256_inserti128_si256(_mm256_castsi128_si256(alphaIndices(low)), alphaIndices(high), 1);
  return _mm256_shuffle_epi8(palette, indices);
}

// The smallest byte of each half in all of its bytes.
inline __m256i smallestOfHalves(__m256i v) {
  v = _mm256_min_epu8(v, _mm256_shuffle_epi32(v, 0x4E));
  v = _mm256_min_epu8(v, _mm256_shuffle_epi32(v, 0xB1));
  v = _mm256_min_epu8(v, _mm256_shufflehi_epi16(_mm256_shufflelo_epi16(v, 0xB1), 0xB1));
  return _mm256_min_epu8(v, _mm256_or_si256(_mm256_srli_epi16(v, 8), _mm256_slli_epi16(v, 8)));
}

// Two blocks of sixteen values between given ends, which fill their halves and of which `high` is not below `low`. The
// index tells how many of seven thresholds, t(i) = ((7 - i) * high + i * low) / 7 + (high - low) / 14, the value does
// not exceed: none is `high`, all are `low`. No value is compared with those of the palette.
inline BlockWords encodeAlphaBetween(__m256i values, __m256i low, __m256i high) {
  const __m256i ends = _mm256_unpacklo_epi8(high, low);
  const auto divided = [](__m256i v, int reciprocal) {
    return _mm256_mulhi_epu16(v, _mm256_set1_epi16(static_cast<int16_t>(reciprocal)));
  };
  const auto weight = [](int i) { return static_cast<int16_t>((7 - i) | i << 8); };
  const __m256i weights = _mm256_broadcastsi128_si256(
      _mm_setr_epi16(weight(1), weight(2), weight(3), weight(4), weight(5), weight(6), weight(7), 0));
  const __m256i range = _mm256_sub_epi16(_mm256_and_si256(ends, _mm256_set1_epi16(0xFF)), _mm256_srli_epi16(ends, 8));
  const __m256i thresholds =
      _mm256_add_epi16(divided(_mm256_maddubs_epi16(ends, weights), 65536 / 7 + 1), divided(range, 65536 / 14 + 1));
  __m256i passed = _mm256_setzero_si256();
  for (int i = 0; i < 7; ++i) {
    const __m256i t = _mm256_shuffle_epi8(thresholds, _mm256_set1_epi8(static_cast<char>(2 * i)));
    passed = _mm256_sub_epi8(passed, _mm256_cmpeq_epi8(_mm256_max_epu8(values, t), t));
  }
  const __m256i indices = _mm256_shuffle_epi8(
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 2, 3, 4, 5, 6, 7, 1, 0, 0, 0, 0, 0, 0, 0, 0)), passed);
  const auto word = [](__m128i index, __m128i highest, __m128i lowest) {
    constexpr uint64_t kThreeBits = 0x0707070707070707;
    const uint64_t first = _pext_u64(static_cast<uint64_t>(_mm_cvtsi128_si64(index)), kThreeBits);
    const uint64_t second = _pext_u64(static_cast<uint64_t>(_mm_extract_epi64(index, 1)), kThreeBits);
    return second << 40 | first << 16 | (static_cast<uint64_t>(_mm_cvtsi128_si32(lowest)) & 255) << 8 |
           (static_cast<uint64_t>(_mm_cvtsi128_si32(highest)) & 255);
  };
  return {
      word(_mm256_castsi256_si128(indices), _mm256_castsi256_si128(high), _mm256_castsi256_si128(low)),
      word(_mm256_extracti128_si256(indices, 1), _mm256_extracti128_si256(high, 1), _mm256_extracti128_si256(low, 1))};
}

// A sixteenth of the range of bytes, rounded down, by which their ends move inward.
inline __m256i insetOf(__m256i low, __m256i high) {
  return _mm256_and_si256(_mm256_srli_epi16(_mm256_sub_epi8(high, low), 4), _mm256_set1_epi8(15));
}

// The ends are the extremes, moved inward.
inline BlockWords encodeAlpha(__m256i values) {
  const __m256i ones = _mm256_set1_epi8(-1);
  const __m256i low = smallestOfHalves(values);
  const __m256i high = _mm256_xor_si256(smallestOfHalves(_mm256_xor_si256(values, ones)), ones);
  const __m256i inset = insetOf(low, high);
  return encodeAlphaBetween(values, _mm256_add_epi8(low, inset), _mm256_sub_epi8(high, inset));
}

}  // namespace texture
