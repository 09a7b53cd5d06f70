// Reduced members of the inverse DCT: 8x8 samples from a corner of the block (LS_1x1, LS_2x2, LS_4x4), and 2x2 or 4x4
// samples, the means of groups of the full result up to rounding, from most of it (To2x2, To4x4).
#include <cstring>

#include "frame/wrap.h"
#include "jpeg/transform/dct_inverse.h"

namespace {

using Eight = std::array<int16_t, 8>;
constexpr int16_t negative(int16_t c) { return static_cast<int16_t>(-c); }

inline __m128i load4(const void* p) {
  int32_t bits;
  std::memcpy(&bits, p, 4);
  return _mm_cvtsi32_si128(bits);
}

// v times a factor of the column stage.
inline __m128i scaled(__m128i v, const int32_t& factor) { return _mm_mulhi_epi16(v, ownLower(ownFactor(factor))); }

// ---- 8x8 samples from a corner. Exactly the full member on a block whose other coefficients are zero.

// Rows r and r + 1 of LS_4x4: E0 to E3 at x0 and x2, O0 to O3 at x1 and x3.
struct Corner4Rows {
  QlmWords x02, x13;
  QlmDwords rounding;
};
constexpr Corner4Rows corner4Rows(int r) {
  return {ownRowPair(r, r + 1,
                     [](int row) {
                       const QlmDctRow k = kDctRows[row];
                       return Eight{k.c4, k.c2, k.c4, k.c6, k.c4, negative(k.c6), k.c4, negative(k.c2)};
                     }),
          ownRowPair(r, r + 1,
                     [](int row) {
                       const QlmDctRow k = kDctRows[row];
                       return Eight{k.c1, k.c3, k.c3, negative(k.c7), k.c5, negative(k.c1), k.c7, negative(k.c5)};
                     }),
          ownRoundingPair(kDctRowRounding, r, r + 1)};
}
constexpr Corner4Rows kCorner4[2] = {corner4Rows(0), corner4Rows(2)};
constexpr QlmWords kPick02 = ownRepeatPair(0, 2), kPick13 = ownRepeatPair(1, 3);

inline __m256i corner4RowPair(const int16_t* src, const uint16_t* table, const Corner4Rows& k) {
  const __m256i x = ownDequantise(ownJoin(load8(src), load8(src + 8)), ownJoin(load8(table), load8(table + 8)));
  const __m256i even =
      _mm256_add_epi32(_mm256_madd_epi16(_mm256_shuffle_epi8(x, kPick02.load()), k.x02.load()), k.rounding.load());
  const __m256i odd = _mm256_madd_epi16(_mm256_shuffle_epi8(x, kPick13.load()), k.x13.load());
  return _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(even, odd), 11),
                            _mm256_srai_epi32(_mm256_sub_epi32(even, odd), 11));
}

inline QlmInverseRows corner4(const int16_t* src, const uint16_t* table) {
  const __m256i y01 = corner4RowPair(src, table, kCorner4[0]);
  const __m256i y23 = corner4RowPair(src + 16, table + 16, kCorner4[1]);
  const __m128i y0 = ownLower(y01), y1 = ownUpper(y01), y2 = ownLower(y23), y3 = ownUpper(y23);
  const __m256i pq = ownJoin(y1, scaled(y1, kColumnFactors.tan1));
  const __m128i s = _mm_subs_epi16(_mm_setzero_si128(), _mm_adds_epi16(scaled(y3, kColumnFactors.tan3Less1), y3));
  const __m256i rs = ownJoin(y3, s);
  return ownInverseColumnEnd(_mm256_adds_epi16(pq, rs), _mm256_subs_epi16(pq, rs), ownJoin(y0, y0),
                             ownJoin(y2, scaled(y2, kColumnFactors.tan2)));
}

// Rows 0 and 1 of LS_2x2: columns 0 to 3, and columns 7 to 4, at x0 and x1.
struct Corner2Rows {
  QlmWords left, right;
};
constexpr Corner2Rows kCorner2 = {ownRowPair(0, 1,
                                             [](int row) {
                                               const QlmDctRow k = kDctRows[row];
                                               return Eight{k.c4, k.c1, k.c4, k.c3, k.c4, k.c5, k.c4, k.c7};
                                             }),
                                  ownRowPair(0, 1, [](int row) {
                                    const QlmDctRow k = kDctRows[row];
                                    return Eight{k.c4, negative(k.c1), k.c4, negative(k.c3),
                                                 k.c4, negative(k.c5), k.c4, negative(k.c7)};
                                  })};
constexpr QlmDwords kCorner2Rounding = ownRoundingPair(kDctRowRounding, 0, 1);

inline QlmInverseRows corner2(const int16_t* src, const uint16_t* table) {
  const __m256i pairs = ownDequantise(ownJoin(load4(src), load4(src + 8)), ownJoin(load4(table), load4(table + 8)));
  const __m256i x = _mm256_shuffle_epi32(pairs, 0), rounding = kCorner2Rounding.load();
  const auto columns = [&](const QlmWords& factors) {
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(x, factors.load()), rounding), 11);
  };
  const __m256i y01 = _mm256_packs_epi32(columns(kCorner2.left), columns(kCorner2.right));
  const __m128i y0 = ownLower(y01), y1 = ownUpper(y01);
  const __m256i pq = ownJoin(y1, scaled(y1, kColumnFactors.tan1));
  // A row 2 of zeros is not zero behind the row stage: its rounding offset of 2260 shifts down to 1, so U is 1. Those
  // of the other rows below shift down to 0, and so does V.
  static_assert(kDctRowRounding[2] >> 11 == 1 && kDctRowRounding[3] >> 11 == 0);
  return ownInverseColumnEnd(pq, pq, ownJoin(y0, y0), ownJoin(_mm_set1_epi16(1), _mm_setzero_si128()));
}

// ---- Fewer samples. All rows go through in natural pairs, those that are not used (4, and 2 and 6) with factors of 0.

// Rows r and r + 1: factors at the word pairs that two shuffles pick for each 32-bit lane.
struct RowFactors {
  QlmWords first, second;
};

// Four sums for each of the two rows.
inline __m256i rowSums(const int16_t* src, const uint16_t* table, int r, const QlmWords& pickFirst,
                       const QlmWords& pickSecond, const RowFactors& k) {
  const __m256i x = ownDequantise(load32(src + 8 * r), load32(table + 8 * r));
  const __m256i first = _mm256_madd_epi16(_mm256_shuffle_epi8(x, pickFirst.load()), k.first.load());
  const __m256i second = _mm256_madd_epi16(_mm256_shuffle_epi8(x, pickSecond.load()), k.second.load());
  return _mm256_add_epi32(first, second);
}

// A byte shuffle that picks two words of a row for each of four 32-bit lanes.
constexpr QlmWords pickWords(std::array<int, 8> words) {
  QlmWords mask{};
  for (size_t i = 0; i < 16; ++i) mask.v[i] = static_cast<int16_t>(2 * words[i % 8] | (2 * words[i % 8] + 1) << 8);
  return mask;
}

// Steps 1 to 3 of the column stage on y1, y3, y5 and y7.
struct OddPart {
  __m128i a, b, c, d;
};
inline OddPart oddPart(__m128i y1, __m128i y3, __m128i y5, __m128i y7) {
  const __m128i p = _mm_adds_epi16(y1, scaled(y7, kColumnFactors.tan1));
  const __m128i q = _mm_subs_epi16(scaled(y1, kColumnFactors.tan1), y7);
  const __m128i r1 = _mm_adds_epi16(_mm_adds_epi16(scaled(y5, kColumnFactors.tan3Less1), y5), y3);
  const __m128i s = _mm_subs_epi16(y5, _mm_adds_epi16(scaled(y3, kColumnFactors.tan3Less1), y3));
  return {_mm_subs_epi16(p, r1), _mm_adds_epi16(p, r1), _mm_adds_epi16(q, s), _mm_subs_epi16(q, s)};
}
inline __m128i timesSqrtHalf(__m128i v) { return _mm_adds_epi16(scaled(v, kColumnFactors.sqrtHalfLess1), v); }

struct To4Row {
  int16_t a, b, c, p1, p3, p5, p7, q1, q3, q5, q7;
};
constexpr To4Row kTo4Row0 = {16384, 15137, 6270, 20995, 7373, -4926, -4176, 8697, -17799, 11893, -1730};
constexpr To4Row kTo4Row17 = {22725, 20995, 8697, 29121, 10226, -6833, -5793, 12063, -24688, 16496, -2399};
constexpr To4Row kTo4Row26 = {21407, 19777, 8192, 27432, 9633, -6436, -5457, 11363, -23256, 15539, -2260};
constexpr To4Row kTo4Row35 = {19266, 17799, 7373, 24688, 8669, -5793, -4911, 10226, -20929, 13985, -2034};
constexpr To4Row kTo4Rows[8] = {kTo4Row0, kTo4Row17, kTo4Row26, kTo4Row35, {}, kTo4Row35, kTo4Row26, kTo4Row17};
constexpr int32_t kTo4Rounding[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};

// The lanes of a row are e0, e1, o0 and o1.
constexpr QlmWords kTo4First = pickWords({0, 2, 0, 2, 1, 3, 1, 3}), kTo4Second = pickWords({6, 6, 6, 6, 5, 7, 5, 7});
constexpr RowFactors to4Rows(int r) {
  const auto pair = [r](auto perRow) {
    return ownRowPair(r, r + 1, [perRow](int row) { return perRow(kTo4Rows[row]); });
  };
  return {pair([](To4Row f) { return Eight{f.a, f.b, f.a, negative(f.b), f.p1, f.p3, f.q1, f.q3}; }),
          pair([](To4Row f) { return Eight{negative(f.c), 0, f.c, 0, f.p5, f.p7, f.q5, f.q7}; })};
}
// The rounding of rows r and r + 2 in the lower half, r + 1 and r + 3 in the upper.
constexpr QlmDwords to4Rounding(int r) {
  QlmDwords k{};
  for (int i = 0; i < 8; ++i) k.v[i] = kTo4Rounding[r + i / 4 + (i % 4 < 2 ? 0 : 2)];
  return k;
}
constexpr QlmDwords kTo4RoundingByRow[2] = {to4Rounding(0), to4Rounding(4)};
constexpr RowFactors kTo4Factors[4] = {to4Rows(0), to4Rows(2), to4Rows(4), to4Rows(6)};

// Rows r to r + 3, columns in the order 0 1 3 2: rows r and r + 2 in the lower half, r + 1 and r + 3 in the upper.
inline __m256i to4FourRows(const int16_t* src, const uint16_t* table, int r) {
  const __m256i a = rowSums(src, table, r, kTo4First, kTo4Second, kTo4Factors[r / 2]);
  const __m256i b = rowSums(src, table, r + 2, kTo4First, kTo4Second, kTo4Factors[r / 2 + 1]);
  const __m256i e = _mm256_add_epi32(_mm256_unpacklo_epi64(a, b), kTo4RoundingByRow[r / 4].load());
  const __m256i o = _mm256_unpackhi_epi64(a, b);
  const __m256i words =
      _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(e, o), 12), _mm256_srai_epi32(_mm256_sub_epi32(e, o), 12));
  return _mm256_shuffle_epi32(words, 0xD8);
}

inline __m128i upperWords(__m128i v) { return _mm_unpackhi_epi64(v, v); }

inline void to4x4(const int16_t* src, const uint16_t* table, uint8_t* dst, ptrdiff_t step) {
  const __m256i y0213 = to4FourRows(src, table, 0), y4657 = to4FourRows(src, table, 4);
  const __m128i y0 = ownLower(y0213), y2 = upperWords(y0), y6 = upperWords(ownLower(y4657));
  const __m128i y1 = ownUpper(y0213), y3 = upperWords(y1), y5 = ownUpper(y4657), y7 = upperWords(y5);

  const OddPart odd = oddPart(y1, y3, y5, y7);
  const __m128i w2 = timesSqrtHalf(_mm_subs_epi16(odd.a, odd.d)), x2 = timesSqrtHalf(_mm_adds_epi16(odd.a, odd.d));
  const __m128i u = _mm_adds_epi16(y2, scaled(y6, kColumnFactors.tan2)),
                v = _mm_subs_epi16(scaled(y2, kColumnFactors.tan2), y6);
  const __m128i z = _mm_adds_epi16(y0, y0), uv = _mm_adds_epi16(u, v);
  const __m128i l = _mm_unpacklo_epi64(_mm_adds_epi16(z, uv), _mm_subs_epi16(z, uv));
  const __m128i m = _mm_unpacklo_epi64(_mm_adds_epi16(x2, odd.b), _mm_adds_epi16(odd.c, w2));
  // Rows 0 and 1, and rows 3 and 2. Adding 128 cannot saturate behind the shift, so the clamp to bytes may come first,
  // as it does for the full size.
  const __m128i bytes =
      _mm_packs_epi16(_mm_srai_epi16(_mm_adds_epi16(l, m), 6), _mm_srai_epi16(_mm_subs_epi16(l, m), 6));
  const __m128i order = _mm_setr_epi8(0, 1, 3, 2, 4, 5, 7, 6, 12, 13, 15, 14, 8, 9, 11, 10);
  const __m128i samples = _mm_xor_si128(_mm_shuffle_epi8(bytes, order), _mm_set1_epi8(-128));
  const auto put = [](uint8_t* to, int bits) { std::memcpy(to, &bits, 4); };
  put(dst, _mm_cvtsi128_si32(samples));
  put(dst + step, _mm_extract_epi32(samples, 1));
  put(dst + 2 * step, _mm_extract_epi32(samples, 2));
  put(dst + 3 * step, _mm_extract_epi32(samples, 3));
}

struct To2Row {
  int16_t a, p1, p3, p5, p7;
};
constexpr To2Row kTo2Row17 = {22725, 20592, -7231, 4832, -4096}, kTo2Row35 = {19266, 17457, -6130, 4096, -3472};
constexpr To2Row kTo2Rows[8] = {
    {16384, 14846, -5213, 3483, -2953}, kTo2Row17, {}, kTo2Row35, {}, kTo2Row35, {}, kTo2Row17};
constexpr int32_t kTo2Rounding[8] = {67072, 5802, 0, 3408, 0, 910, 0, 746};

// The lanes of a row are a x0, p1 x1 + p3 x3, p5 x5 + p7 x7, and nothing.
constexpr QlmWords kTo2Pick = pickWords({0, 0, 1, 3, 5, 7, 0, 0});
constexpr QlmWords to2Rows(int r) {
  return ownRowPair(r, r + 1, [](int row) {
    const To2Row f = kTo2Rows[row];
    return Eight{f.a, 0, f.p1, f.p3, f.p5, f.p7, 0, 0};
  });
}
constexpr QlmWords kTo2Factors[4] = {to2Rows(0), to2Rows(2), to2Rows(4), to2Rows(6)};
constexpr QlmDwords kTo2RoundingByRow = {{kTo2Rounding[0], kTo2Rounding[2], kTo2Rounding[4], kTo2Rounding[6],
                                          kTo2Rounding[1], kTo2Rounding[3], kTo2Rounding[5], kTo2Rounding[7]}};
constexpr QlmWords kTo2Tangents = {{kTan1, kTan3Less1, kTan3Less1, kTan1, kTan1, kTan3Less1, kTan3Less1, kTan1,  //
                                    0, 0, 0, 0, 0, 0, 0, 0}};

inline void to2x2(const int16_t* src, const uint16_t* table, uint8_t* dst, ptrdiff_t step) {
  const auto rowPair = [&](int r) {
    const __m256i x = ownDequantise(load32(src + 8 * r), load32(table + 8 * r));
    return _mm256_madd_epi16(_mm256_shuffle_epi8(x, kTo2Pick.load()), kTo2Factors[r / 2].load());
  };
  // From one row a lane group to one term a vector: rows 0, 2, 4, 6 in the lower half, 1, 3, 5, 7 in the upper.
  const __m256i r01 = rowPair(0), r23 = rowPair(2), r45 = rowPair(4), r67 = rowPair(6);
  const __m256i low0 = _mm256_unpacklo_epi32(r01, r23), low4 = _mm256_unpacklo_epi32(r45, r67);
  const __m256i high0 = _mm256_unpackhi_epi32(r01, r23), high4 = _mm256_unpackhi_epi32(r45, r67);
  const __m256i even = _mm256_add_epi32(_mm256_unpacklo_epi64(low0, low4), kTo2RoundingByRow.load());
  const __m256i odd = _mm256_add_epi32(_mm256_unpackhi_epi64(low0, low4), _mm256_unpacklo_epi64(high0, high4));
  const __m256i y = _mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(even, odd), 12),
                                       _mm256_srai_epi32(_mm256_sub_epi32(even, odd), 12));

  // The left column is in the lower, the right one in the upper four words: y0 and y1 to y7 (odd) at their head, the
  // others behind them. What stands behind a head is of no account.
  const __m128i y0 = ownLower(y), y1 = ownUpper(y);
  const __m128i product = _mm_mulhi_epi16(y1, kTo2Tangents.lower()), whole = _mm_adds_epi16(product, y1);
  const auto head = [](__m128i v, int row) { return _mm_srli_epi64(v, 16 * (row / 2)); };
  const __m128i p = _mm_adds_epi16(y1, head(product, 7)), q = _mm_subs_epi16(product, head(y1, 7));
  const __m128i r1 = _mm_adds_epi16(head(whole, 5), head(y1, 3)), s = _mm_subs_epi16(head(y1, 5), head(whole, 3));
  const __m128i a = _mm_subs_epi16(p, r1), b = _mm_adds_epi16(p, r1), c = _mm_adds_epi16(q, s);
  const __m128i a2 = timesSqrtHalf(a);
  const __m128i w = _mm_adds_epi16(_mm_adds_epi16(c, b), _mm_adds_epi16(a2, a2));
  const __m128i y02 = _mm_adds_epi16(y0, y0), z = _mm_adds_epi16(y02, y02);
  const __m128i bytes =
      _mm_packs_epi16(_mm_srai_epi16(_mm_adds_epi16(z, w), 7), _mm_srai_epi16(_mm_subs_epi16(z, w), 7));
  const __m128i heads = _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
  const int bits = _mm_cvtsi128_si32(_mm_shuffle_epi8(bytes, heads)) ^ static_cast<int>(0x80808080u);
  const int lower = bits >> 16;
  std::memcpy(dst, &bits, 2);
  std::memcpy(dst + step, &lower, 2);
}

// All 64 samples alike, without rounding: may differ by 1 from the full member. Kept.
inline void fillFromDc(int16_t dc, uint16_t quantiser, uint8_t* dst, ptrdiff_t step) {
  const auto product = static_cast<uint32_t>(wrapMul32(dc, quantiser));
  const auto low = static_cast<int16_t>((product >> 3) + 128);  // a logical shift, then the low 16 bits
  const uint64_t row = clamp8(low) * 0x0101010101010101u;
  for (int i = 0; i < 8; ++i) std::memcpy(dst + step * i, &row, 8);
}

}  // namespace

QLM_EXPORT(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  fillFromDc(loadAny(src), loadAny(invTable), dst, dstStep);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  ownStoreSamples(corner2(src, invTable), dst, dstStep);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  ownStoreSamples(corner4(src, invTable), dst, dstStep);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  to2x2(src, invTable, dst, dstStep);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R)
(const int16_t* src, uint8_t* dst, int32_t dstStep, const uint16_t* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;
  to4x4(src, invTable, dst, dstStep);
  return qlmOk;
}
