// Inverse 8x8 DCT with dequantisation in fixed point (ITU-T T.81 A.3.3, A.3.4), full size: rows first, two at a time by
// 16-bit multiply-adds, then all columns at once in 16-bit lanes. Nothing looks at the data.
#include "jpeg/transform/dct_inverse.h"

namespace {

// For the rows r and r + 1: the coefficients of E0 to E3 and O0 to O3 at the word pairs of a row.
struct RowConstants {
  QlmWords x02, x46, x13, x57;
  QlmDwords rounding;
};

constexpr RowConstants rowConstants(int r) {
  const auto pair = [r](auto perRow) {
    return ownRowPair(r, r + 1, [perRow](int row) { return perRow(kDctRows[row]); });
  };
  using Eight = std::array<int16_t, 8>;
  const auto negative = [](int16_t c) { return static_cast<int16_t>(-c); };
  return {pair([=](QlmDctRow k) { return Eight{k.c4, k.c2, k.c4, k.c6, k.c4, negative(k.c6), k.c4, negative(k.c2)}; }),
          pair([=](QlmDctRow k) {
            return Eight{k.c4, k.c6, negative(k.c4), negative(k.c2), negative(k.c4), k.c2, k.c4, negative(k.c6)};
          }),
          pair([=](QlmDctRow k) {
            return Eight{k.c1, k.c3, k.c3, negative(k.c7), k.c5, negative(k.c1), k.c7, negative(k.c5)};
          }),
          pair([=](QlmDctRow k) {
            return Eight{k.c5, k.c7, negative(k.c1), negative(k.c5), k.c7, k.c3, k.c3, negative(k.c1)};
          }),
          ownRoundingPair(kDctRowRounding, r, r + 1)};
}

constexpr RowConstants kRows[4] = {rowConstants(0), rowConstants(2), rowConstants(4), rowConstants(6)};
constexpr QlmWords kPick02 = ownRepeatPair(0, 2), kPick46 = ownRepeatPair(4, 6), kPick13 = ownRepeatPair(1, 3),
                   kPick57 = ownRepeatPair(5, 7);

// Two rows: 32-bit sums wrap, the results saturate to 16 bits. Columns come out as 0 1 2 3 7 6 5 4.
inline __m256i rowPair(const int16_t* src, const uint16_t* table, const RowConstants& k) {
  const __m256i x = ownDequantise(load32(src), load32(table));
  const auto sums = [&](const QlmWords& pick, const QlmWords& factors) {
    return _mm256_madd_epi16(_mm256_shuffle_epi8(x, pick.load()), factors.load());
  };
  const __m256i even =
      _mm256_add_epi32(_mm256_add_epi32(sums(kPick02, k.x02), k.rounding.load()), sums(kPick46, k.x46));
  const __m256i odd = _mm256_add_epi32(sums(kPick13, k.x13), sums(kPick57, k.x57));
  return _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(even, odd), 11),
                            _mm256_srai_epi32(_mm256_sub_epi32(even, odd), 11));
}

inline QlmInverseRows columns(__m256i y01, __m256i y23, __m256i y45, __m256i y67) {
  const __m256i y12 = _mm256_permute2x128_si256(y01, y23, 0x21), y76 = _mm256_permute4x64_epi64(y67, 0x4E);
  const __m256i tan12 = _mm256_setr_epi16(kTan1, kTan1, kTan1, kTan1, kTan1, kTan1, kTan1, kTan1,  //
                                          kTan2, kTan2, kTan2, kTan2, kTan2, kTan2, kTan2, kTan2);
  const __m256i pu = _mm256_adds_epi16(y12, _mm256_mulhi_epi16(y76, tan12));
  const __m256i qv = _mm256_subs_epi16(_mm256_mulhi_epi16(y12, tan12), y76);

  const __m128i y3 = ownUpper(y23), y5 = ownUpper(y45), tan3 = ownLower(ownFactor(kColumnFactors.tan3Less1));
  const __m128i r1 = _mm_adds_epi16(_mm_adds_epi16(_mm_mulhi_epi16(y5, tan3), y5), y3);
  const __m128i s = _mm_subs_epi16(y5, _mm_adds_epi16(_mm_mulhi_epi16(y3, tan3), y3));

  const __m256i pq = _mm256_permute2x128_si256(pu, qv, 0x20), uv = _mm256_permute2x128_si256(pu, qv, 0x31);
  const __m256i rs = ownJoin(r1, s);
  const __m128i y0 = ownLower(y01), y4 = ownLower(y45);
  const __m256i gh = ownJoin(_mm_adds_epi16(y0, y4), _mm_subs_epi16(y0, y4));
  return ownInverseColumnEnd(_mm256_adds_epi16(pq, rs), _mm256_subs_epi16(pq, rs), gh, uv);
}

inline QlmInverseRows transform(const int16_t* src, const uint16_t* table) {
  return columns(rowPair(src, table, kRows[0]), rowPair(src + 16, table + 16, kRows[1]),
                 rowPair(src + 32, table + 32, kRows[2]), rowPair(src + 48, table + 48, kRows[3]));
}

// The whole block is in registers before the first store, so source and destination may be one.
void storeBlock(const QlmInverseRows& rows, int16_t* dst) {
  const auto ordered = [](__m256i v) { return _mm256_shufflehi_epi16(v, 0x1B); };
  const __m256i r76 = ordered(rows.r76), r32 = ordered(rows.r32);
  store32(dst, ordered(rows.r01));
  store16(dst + 16, ownUpper(r32));
  store16(dst + 24, ownLower(r32));
  store32(dst + 32, ordered(rows.r45));
  store16(dst + 48, ownUpper(r76));
  store16(dst + 56, ownLower(r76));
}

}  // namespace

QLM_EXPORT(qlmiDCTQuantInv8x8_JPEG_16s_C1)
(const int16_t* src, int16_t* dst, const uint16_t* invTable) {
  if (!src || !dst || !invTable) return qlmErrNullPointer;
  storeBlock(transform(src, invTable), dst);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8_JPEG_16s_C1I)
(int16_t* block, const uint16_t* invTable) {
  if (!block || !invTable) return qlmErrNullPointer;
  storeBlock(transform(block, invTable), block);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  ownStoreSamples(transform(src, invTable), dst, dstStep);
  return qlmOk;
}
