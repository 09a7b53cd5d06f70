// What the encoders of DXT colours share: the palette between two ends, and the choice of indices among its four
// colours by sums of absolute differences. Two neighbouring blocks at a time, one in each half of a vector, four bytes
// a pixel.
#pragma once

#include "frame/simd.h"

namespace texture {

// (2a + b) / 3 of the bytes of 16-bit lanes, truncating: exact for such small dividends.
inline __m256i twoThirds(__m256i a, __m256i b) {
  const __m256i sum = _mm256_add_epi16(_mm256_add_epi16(a, a), b);
  return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(65536 / 3 + 1));
}

// Bytes of 32-bit lanes, the even ones and the odd ones as words, and back.
inline __m256i evenBytes(__m256i v) { return _mm256_and_si256(v, _mm256_set1_epi16(0xFF)); }
inline __m256i oddBytes(__m256i v) { return _mm256_srli_epi16(v, 8); }
inline __m256i joinBytes(__m256i even, __m256i odd) { return _mm256_or_si256(even, _mm256_slli_epi16(odd, 8)); }

inline __m256i twoThirdsOfBytes(__m256i a, __m256i b) {
  return joinBytes(twoThirds(evenBytes(a), evenBytes(b)), twoThirds(oddBytes(a), oddBytes(b)));
}

// Four rows of two neighbouring blocks.
struct PairRows {
  __m256i row[4];
};

// Smallest of sixteen pixels, byte by byte, in all four places of a half.
inline __m256i smallestPixel(const PairRows& p) {
  __m256i v = _mm256_min_epu8(_mm256_min_epu8(p.row[0], p.row[1]), _mm256_min_epu8(p.row[2], p.row[3]));
  v = _mm256_min_epu8(v, _mm256_shuffle_epi32(v, 0x4E));
  return _mm256_min_epu8(v, _mm256_shuffle_epi32(v, 0xB1));
}
inline __m256i largestPixel(const PairRows& p) {
  __m256i v = _mm256_max_epu8(_mm256_max_epu8(p.row[0], p.row[1]), _mm256_max_epu8(p.row[2], p.row[3]));
  v = _mm256_max_epu8(v, _mm256_shuffle_epi32(v, 0x4E));
  return _mm256_max_epu8(v, _mm256_shuffle_epi32(v, 0xB1));
}

// The fourth bytes of the sixteen pixels of each block.
inline __m256i fourthBytes(const PairRows& p) {
  const auto fourth = [&](int y) { return _mm256_srli_epi32(p.row[y], 24); };
  return _mm256_packus_epi16(_mm256_packus_epi32(fourth(0), fourth(1)), _mm256_packus_epi32(fourth(2), fourth(3)));
}

// An end cut to 5, 6 and 5 bits, and back as a decoder widens it.
inline __m256i widenedEnd(__m256i v) {
  const __m256i cut = _mm256_and_si256(v, _mm256_set1_epi32(0xF8FCF8));
  const __m256i tops = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(v, 5), _mm256_set1_epi32(0x070007)),
                                       _mm256_and_si256(_mm256_srli_epi16(v, 6), _mm256_set1_epi32(0x000300)));
  return _mm256_or_si256(cut, tops);
}

// Sums of the absolute differences of all bytes of a pixel, for two rows of a pair of blocks, as words.
inline __m256i distances(__m256i row0, __m256i row1, __m256i colour) {
  const auto apart = [=](__m256i row) {
    const __m256i difference = _mm256_or_si256(_mm256_subs_epu8(row, colour), _mm256_subs_epu8(colour, row));
    return _mm256_maddubs_epi16(difference, _mm256_set1_epi8(1));
  };
  return _mm256_hadd_epi16(apart(row0), apart(row1));
}

// The index words of both blocks, that of the first one in the lower half, from pixels and ends whose fourth bytes are
// equal. The strict comparisons are the rule for ties.
inline uint64_t colourIndices(const PairRows& p, __m256i p0, __m256i p1) {
  const __m256i p2 = twoThirdsOfBytes(p0, p1), p3 = twoThirdsOfBytes(p1, p0);
  __m256i lowBits[2], highBits[2];
  for (int i = 0; i < 2; ++i) {
    const auto to = [&](__m256i colour) { return distances(p.row[2 * i], p.row[2 * i + 1], colour); };
    const __m256i d0 = to(p0), d1 = to(p1), d2 = to(p2), d3 = to(p3);
    const auto above = [](__m256i a, __m256i b) { return _mm256_cmpgt_epi16(a, b); };
    const __m256i d0AboveD3 = above(d0, d3);
    lowBits[i] = _mm256_and_si256(d0AboveD3, above(d2, d3));
    highBits[i] =
        _mm256_or_si256(_mm256_and_si256(above(d1, d2), above(d0, d2)), _mm256_and_si256(d0AboveD3, above(d1, d3)));
  }
  const auto mask = [](const __m256i(&bits)[2]) {
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_packs_epi16(bits[0], bits[1])));
  };
  return _pdep_u64(mask(lowBits), 0x5555555555555555) | _pdep_u64(mask(highBits), 0xAAAAAAAAAAAAAAAA);
}

// Eight bytes of each of two blocks, and how they are stored.
struct BlockWords {
  uint64_t low, high;
};
inline void storeWords(uint8_t* dst, uint64_t first, uint64_t second) {
  store16(dst, _mm_set_epi64x(static_cast<int64_t>(second), static_cast<int64_t>(first)));
}

// The colour parts of both blocks from pixels and widened ends of which the fourth bytes are zero. R stands at bits 15
// to 11 of an end, G at 10 to 5, B at 4 to 0.
inline BlockWords colourWords(const PairRows& pixels, __m256i first, __m256i second) {
  const uint64_t indices = colourIndices(pixels, first, second);
  const auto end = [](__m128i v) -> uint64_t {
    return _pext_u32(__builtin_bswap32(static_cast<uint32_t>(_mm_cvtsi128_si32(v))), 0xF8FCF800);
  };
  const auto lower = [](__m256i v) { return _mm256_castsi256_si128(v); };
  const auto upper = [](__m256i v) { return _mm256_extracti128_si256(v, 1); };
  return {end(lower(first)) | end(lower(second)) << 16 | indices << 32,
          end(upper(first)) | end(upper(second)) << 16 | (indices >> 32) << 32};
}

}  // namespace texture
