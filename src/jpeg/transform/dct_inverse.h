// Pieces of the fixed-point inverse DCT that its full and its reduced members share: constants of the row stage by
// pair of rows, and the column stage.
#pragma once

#include <array>

#include "frame/frame.h"
#include "frame/simd.h"
#include "jpeg/transform/dct_tables.h"

// The checks of the forms between a block and a plane, in their order.
inline QlmStatus ownCheckBlockToPlane(const void* src, const void* dst, int32_t dstStep, const void* table) {
  if (!src || !dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (!table) return qlmErrNullPointer;
  return qlmOk;
}

// The rounding offset of each row. They are tuned and kept as they are; that of row 0 also holds the rounding of the
// final shift by 6 in every output sample.
inline constexpr int32_t kDctRowRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

// A 256-bit constant: 16 words, the first 8 for the row in the lower half of a vector, the others for the upper one.
struct alignas(32) QlmWords {
  int16_t v[16];
  __m256i load() const { return _mm256_load_si256(reinterpret_cast<const __m256i*>(v)); }
  __m128i lower() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(v)); }
};
struct alignas(32) QlmDwords {
  int32_t v[8];
  __m256i load() const { return _mm256_load_si256(reinterpret_cast<const __m256i*>(v)); }
};

// Eight words for each of two rows: perRow(row) gives the eight of one.
template <typename PerRow>
constexpr QlmWords ownRowPair(int lower, int upper, PerRow perRow) {
  QlmWords words{};
  const std::array<int16_t, 8> low = perRow(lower), high = perRow(upper);
  for (int i = 0; i < 8; ++i) words.v[i] = low[size_t(i)], words.v[8 + i] = high[size_t(i)];
  return words;
}
constexpr QlmDwords ownRoundingPair(const int32_t (&rounding)[8], int lower, int upper) {
  QlmDwords r{};
  for (int i = 0; i < 8; ++i) r.v[i] = rounding[i < 4 ? lower : upper];
  return r;
}

// A byte shuffle that repeats the word pair (a, b) of a row of eight words four times.
constexpr QlmWords ownRepeatPair(int a, int b) {
  QlmWords mask{};
  for (int i = 0; i < 16; i += 2) {
    mask.v[i] = static_cast<int16_t>(2 * a | (2 * a + 1) << 8);
    mask.v[i + 1] = static_cast<int16_t>(2 * b | (2 * b + 1) << 8);
  }
  return mask;
}

// The factors of the column stage as pairs of equal words, to be broadcast from memory.
struct QlmColumnFactors {
  int32_t tan1, tan2, tan3Less1, sqrtHalfLess1;
};
constexpr int32_t ownTwice(int16_t factor) { return static_cast<int32_t>(static_cast<uint16_t>(factor) * 0x00010001u); }
inline constexpr QlmColumnFactors kColumnFactors = {ownTwice(kTan1), ownTwice(kTan2), ownTwice(kTan3Less1),
                                                    ownTwice(kSqrtHalfLess1)};
inline __m256i ownFactor(const int32_t& factor) { return _mm256_set1_epi32(inMemory(factor)); }

// Dequantisation keeps the low 16 bits: it wraps and does not saturate.
inline __m256i ownDequantise(__m256i coefficients, __m256i table) { return _mm256_mullo_epi16(coefficients, table); }

// The outputs of the column stage, two rows to a vector.
struct QlmInverseRows {
  __m256i r01, r76, r32, r45;
};

// Two rows at once, a in the lower and b in the upper half.
inline __m256i ownJoin(__m128i a, __m128i b) { return _mm256_inserti128_si256(_mm256_castsi128_si256(a), b, 1); }
inline __m128i ownLower(__m256i v) { return _mm256_castsi256_si128(v); }
inline __m128i ownUpper(__m256i v) { return _mm256_extracti128_si256(v, 1); }

// The end of the column stage, from the odd part A to D and the even part G, H, U, V on (names as in the steps of the
// transform: B = P + R1, A = P - R1, C = Q + S, D = Q - S). All additions saturate.
inline QlmInverseRows ownInverseColumnEnd(__m256i bc, __m256i ad, __m256i gh, __m256i uv) {
  const __m128i a = ownLower(ad), d = ownUpper(ad);
  const __m256i xw = ownJoin(_mm_adds_epi16(a, d), _mm_subs_epi16(a, d));
  const __m256i x2w2 = _mm256_adds_epi16(_mm256_mulhi_epi16(xw, ownFactor(kColumnFactors.sqrtHalfLess1)), xw);
  const __m256i i01 = _mm256_adds_epi16(gh, uv), i32 = _mm256_subs_epi16(gh, uv);
  const __m256i bx = _mm256_permute2x128_si256(bc, x2w2, 0x20), cw = _mm256_permute2x128_si256(bc, x2w2, 0x31);
  return {_mm256_srai_epi16(_mm256_adds_epi16(i01, bx), 6), _mm256_srai_epi16(_mm256_subs_epi16(i01, bx), 6),
          _mm256_srai_epi16(_mm256_adds_epi16(i32, cw), 6), _mm256_srai_epi16(_mm256_subs_epi16(i32, cw), 6)};
}

// The row stage leaves the columns in the order 0 1 2 3 7 6 5 4, since it gets sums and differences of the same terms
// side by side. The column stage does not mind, and the order is put right on the way out.
inline void ownStoreSamples(const QlmInverseRows& rows, uint8_t* dst, int32_t step) {
  // sat8(v) with the top bit turned is v + 128 clamped to 0 to 255.
  const __m256i turn = _mm256_set1_epi8(-128);
  const __m256i order = _mm256_setr_epi8(0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12,  //
                                         0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12);
  const auto bytes = [&](__m256i p, __m256i q) {
    return _mm256_xor_si256(_mm256_shuffle_epi8(_mm256_packs_epi16(p, q), order), turn);
  };
  // In ascending order: with a step below 8, which is not refused, each row lands on the one before it.
  const __m256i upper = bytes(rows.r01, rows.r32), lower = bytes(rows.r76, rows.r45);
  const __m128i r03 = ownLower(upper), r12 = ownUpper(upper), r74 = ownLower(lower), r65 = ownUpper(lower);
  const ptrdiff_t distance = step;
  store8(dst, r03);
  store8(dst + distance, r12);
  storeUpper8(dst + 2 * distance, r12);
  storeUpper8(dst + 3 * distance, r03);
  storeUpper8(dst + 4 * distance, r74);
  storeUpper8(dst + 5 * distance, r65);
  store8(dst + 6 * distance, r65);
  store8(dst + 7 * distance, r74);
}
