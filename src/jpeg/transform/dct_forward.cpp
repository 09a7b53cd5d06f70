// Forward 8x8 DCT of 8-bit samples with quantisation, in fixed point (T.81 A.3.3, A.3.4). The column stage is made of
// rotations by tangents in 16-bit lanes; the cosines that it leaves out are folded into the matrices of the row stage,
// 32-bit sums of products with one matrix per class of rows. Two rows lie side by side in a 256-bit register all the
// way: "(a|b)" in the comments is a in the low half and b in the high half.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "jpeg/transform/dct_tables.h"

namespace {

// Arithmetic of the 16-bit lanes. Saturating serves every input. Plain gives the same results in fewer operations where
// the input is 8-bit samples, which keep every intermediate value in range.
struct Saturating {
  static constexpr bool kPlain = false;
  static __m256i add(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_subs_epi16(a, b); }
};
struct Plain {
  static constexpr bool kPlain = true;
  static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
};

using Words = LaneConstants<int16_t>;

// `low` in the low half, `high` in the high half.
constexpr Words halves(int low, int high) {
  Words w{};
  for (int i = 0; i < 16; ++i) w.lane[i] = static_cast<int16_t>(i < 8 ? low : high);
  return w;
}
constexpr Words everywhere(int value) { return inAllLanes(static_cast<int16_t>(value)); }

// A pair of signed bytes as a word.
constexpr int bytePair(int even, int odd) { return odd * 256 + (even & 255); }

// Factors for two coefficients of two rows. A half holds four values of one row, then four of the other; `direct` meets
// the pairs 01 and 23 of a row in this order, `exchanged` in the other, and the two products added are the
// coefficients.
struct PairFactors {
  Words direct, exchanged;
};

// The factors of two classes of rows: even coefficients from the sums of opposite columns, odd ones from the
// differences. The folded ones meet (p q q p) with p = s0 + s3, q = s1 + s2, and (m n -n -m) with m = s0 - s3, n = s1 -
// s2.
struct RowFactors {
  PairFactors even04, even26, odd15, odd37;
  Words folded04, folded26;
};

constexpr void setQuarter(Words& w, int quarter, int v0, int v1, int v2, int v3) {
  const int v[4] = {v0, v1, v2, v3};
  for (int i = 0; i < 4; ++i) w.lane[4 * quarter + i] = w.lane[8 + 4 * quarter + i] = static_cast<int16_t>(v[i]);
}

constexpr RowFactors rowFactors(int firstRow, int secondRow) {
  RowFactors f{};
  for (int quarter = 0; quarter < 2; ++quarter) {
    const auto [c1, c2, c3, c4, c5, c6, c7] = kDctRows[quarter == 0 ? firstRow : secondRow];
    const int even[4][4] = {{c4, c4, c4, c4}, {c2, c6, -c6, -c2}, {c4, -c4, -c4, c4}, {c6, -c2, c2, -c6}};
    const int odd[4][4] = {{c1, c3, c5, c7}, {c3, -c7, -c1, -c5}, {c5, -c1, c7, c3}, {c7, -c5, c3, -c1}};
    const auto set = [quarter](PairFactors& pair, const int(&u)[4], const int(&v)[4]) {
      setQuarter(pair.direct, quarter, u[0], u[1], v[2], v[3]);
      setQuarter(pair.exchanged, quarter, u[2], u[3], v[0], v[1]);
    };
    set(f.even04, even[0], even[2]);
    set(f.even26, even[1], even[3]);
    set(f.odd15, odd[0], odd[2]);
    set(f.odd37, odd[1], odd[3]);
    setQuarter(f.folded04, quarter, c4, c4, -c4, c4);
    setQuarter(f.folded26, quarter, c2, c6, c2, -c6);
  }
  return f;
}

// Reverses the four values of each row.
constexpr Words quarterReversal() {
  Words w{};
  for (int i = 0; i < 16; ++i) {
    const int from = 2 * (i % 8 ^ 3);
    w.lane[i] = static_cast<int16_t>(bytePair(from, from + 1));
  }
  return w;
}

// The row stage drops 20 bits, 16 of them by taking the upper words of its 32-bit sums.
constexpr int kWordShift = 4;

struct Constants {
  Words sum8 = everywhere(bytePair(8, 8));
  Words difference8 = everywhere(bytePair(8, -8));
  Words difference16 = everywhere(bytePair(16, -16));
  Words differences16 = halves(bytePair(16, -16), bytePair(-16, 16));

  Words sqrtHalf = everywhere(kHalfSqrtHalf);  // half, since d1 and d2 come at twice the scale
  Words tan1 = everywhere(kTan1);
  Words tan2 = everywhere(kTan2);
  Words tan3Less1 = everywhere(kTan3Less1);
  Words one = everywhere(1);
  Words lowOne = halves(1, 0);
  Words signs = halves(1, -1);
  Words levelShift = halves(-128 * 8 * 8, 0);  // of the eight samples of a column, at the scale of y0

  Words reversed = quarterReversal();
  RowFactors rows0426 = rowFactors(0, 2);
  RowFactors rows1735 = rowFactors(1, 3);
  Words half = everywhere(1 << (kWordShift - 1));
  Words unit = everywhere(1 << (15 - kWordShift));

  Words top = everywhere(INT16_MIN);
};
constexpr Constants kConstants;

__m256i swapHalves(__m256i v) { return _mm256_permute2x128_si256(v, v, 0x01); }
__m256i lowAndHigh(__m256i low, __m256i high) { return _mm256_blend_epi32(low, high, 0xF0); }

// (x + y|y - x) and (x - y|y + x)
template <typename Lanes>
__m256i sumAndDifference(__m256i x, __m256i y, const Constants& k) {
  if constexpr (Lanes::kPlain) return Lanes::add(y, _mm256_sign_epi16(x, k.signs));
  return lowAndHigh(Lanes::add(x, y), Lanes::sub(y, x));
}
template <typename Lanes>
__m256i differenceAndSum(__m256i x, __m256i y, const Constants& k) {
  if constexpr (Lanes::kPlain) return Lanes::sub(x, _mm256_sign_epi16(y, k.signs));
  return lowAndHigh(Lanes::sub(x, y), Lanes::add(y, x));
}

// What the column stage starts from: the scaled sums t and differences d of opposite rows.
struct Butterflies {
  __m256i t01;   // (t0|t1), times 8
  __m256i t32;   // (t3|t2), times 8
  __m256i d03;   // (d0|d3), times 8
  __m256i d1d2;  // (d1 + d2|d1 - d2), times 16
};

// Blocks of any 16-bit values.
struct Block {
  using Lanes = Saturating;

  const int16_t* src;

  Butterflies load(const Constants& k) const {
    const __m256i x01 = load32(src), x76 = load16x2(src + 56, src + 48);
    const __m256i x45 = load32(src + 32), x32 = load16x2(src + 24, src + 16);
    const __m256i d01 = Lanes::sub(x01, x76), d32 = Lanes::sub(x32, x45);
    const __m256i d12 = _mm256_slli_epi16(highHalves(d01, d32), 4);
    return {_mm256_slli_epi16(Lanes::add(x01, x76), 3), _mm256_slli_epi16(Lanes::add(x32, x45), 3),
            _mm256_slli_epi16(lowHalves(d01, d32), 3), sumAndDifference<Lanes>(d12, swapHalves(d12), k)};
  }
};

// Unsigned samples. The level shift waits for y0, the only value of a column that it reaches. Column values then stay
// within -8192 and 8160, so that even the sum of four fits 16 bits; before, no sum exceeds 64 * 255.
struct Samples {
  using Lanes = Plain;

  const uint8_t* src;
  int32_t step;

  // Rows are taken byte by byte in turn with the row opposite, so that one multiply-add gives scaled sum or difference.
  Butterflies load(const Constants& k) const {
    const uint8_t* const lower = ownRow(src, step, 4);
    const auto inBoth = [](const uint8_t* row) { return _mm256_broadcastq_epi64(load8(row)); };
    const auto opposite = [&](int32_t y) {
      return _mm256_unpacklo_epi8(inBoth(ownRow(src, step, y)), inBoth(ownRow(lower, step, 3 - y)));
    };
    const __m256i x07 = opposite(0), x16 = opposite(1), x25 = opposite(2), x34 = opposite(3);
    return {_mm256_maddubs_epi16(lowAndHigh(x07, x16), k.sum8), _mm256_maddubs_epi16(lowAndHigh(x34, x25), k.sum8),
            _mm256_maddubs_epi16(lowAndHigh(x07, x34), k.difference8),
            Lanes::add(_mm256_maddubs_epi16(x16, k.difference16), _mm256_maddubs_epi16(x25, k.differences16))};
  }
};

// Rows (0|4), (1|7), (2|6) and (3|5): those of one class together.
struct RowPairs {
  __m256i y04, y17, y26, y35;
};

// The bit forced to 1 stands for the half that the truncated products lose on average.
template <typename Lanes>
RowPairs columnStage(const Butterflies& in, const Constants& k) {
  const __m256i nm = _mm256_or_si256(_mm256_mulhi_epi16(in.d1d2, k.sqrtHalf), k.lowOne);
  const __m256i qp = Lanes::add(in.d03, nm), rs = Lanes::sub(in.d03, nm);
  const __m256i y17 = sumAndDifference<Lanes>(qp, swapHalves(_mm256_mulhi_epi16(qp, k.tan1)), k);
  const __m256i rs3 = Lanes::add(_mm256_mulhi_epi16(rs, k.tan3Less1), rs);
  const __m256i y35 = differenceAndSum<Lanes>(rs, swapHalves(rs3), k);

  const __m256i ac = Lanes::add(in.t01, in.t32), be = Lanes::sub(in.t01, in.t32);
  const __m256i y04 = sumAndDifference<Lanes>(ac, swapHalves(ac), k);
  const __m256i y26 = sumAndDifference<Lanes>(be, swapHalves(_mm256_mulhi_epi16(be, k.tan2)), k);

  return {Lanes::kPlain ? Lanes::add(y04, k.levelShift) : y04, _mm256_or_si256(y17, k.lowOne),
          _mm256_or_si256(y26, k.one), y35};
}

// 32-bit sums, which wrap.
__m256i twoCoefficients(__m256i values, __m256i exchanged, const PairFactors& f) {
  return _mm256_add_epi32(_mm256_madd_epi16(values, f.direct), _mm256_madd_epi16(exchanged, f.exchanged));
}

// The upper words of both, rounded off; the lower words are too low to carry into the rounding, and the sum with one
// half wraps. Samples stay out of reach of the wrap.
template <typename Lanes>
__m256i roundedWords(__m256i even, __m256i odd, const Constants& k) {
  const __m256i upper = _mm256_blend_epi16(_mm256_srli_epi32(even, 16), odd, 0xAA);
  if constexpr (Lanes::kPlain) return _mm256_mulhrs_epi16(upper, k.unit);
  return _mm256_srai_epi16(_mm256_add_epi16(upper, k.half), kWordShift);
}

struct TwoPairs {
  __m256i a, b;
};

// Two pairs of rows, a row in each half. The left columns of both pairs meet the right ones in reverse.
template <typename Lanes>
TwoPairs rowStage(__m256i a, __m256i b, const RowFactors& f, const Constants& k) {
  const __m256i left = _mm256_unpacklo_epi64(a, b);
  const __m256i right = _mm256_shuffle_epi8(_mm256_unpackhi_epi64(a, b), k.reversed);
  const __m256i s = Lanes::add(left, right), d = Lanes::sub(left, right);

  __m256i even04, even26;
  if constexpr (Lanes::kPlain) {
    const __m256i reversed = _mm256_shuffle_epi8(s, k.reversed);
    even04 = _mm256_madd_epi16(Lanes::add(s, reversed), f.folded04);
    even26 = _mm256_madd_epi16(Lanes::sub(s, reversed), f.folded26);
  } else {
    const __m256i exchanged = _mm256_shuffle_epi32(s, 0xB1);
    even04 = twoCoefficients(s, exchanged, f.even04);
    even26 = twoCoefficients(s, exchanged, f.even26);
  }
  const __m256i exchanged = _mm256_shuffle_epi32(d, 0xB1);
  const __m256i f0145 = roundedWords<Lanes>(even04, twoCoefficients(d, exchanged, f.odd15), k);
  const __m256i f2367 = roundedWords<Lanes>(even26, twoCoefficients(d, exchanged, f.odd37), k);
  return {_mm256_unpacklo_epi32(f0145, f2367), _mm256_unpackhi_epi32(f0145, f2367)};
}

// f * t / 32768 with unsigned t, to the nearest integer, halves to even. The multiplier rounds halves upward, so it
// gets f * (t - 32768) and its negative: the two roundings cancel except at a half, where they leave 1, and there the
// lowest bit goes. (For t = 0 the second product is wrong and masks a 0.)
__m256i quantise(__m256i f, __m256i t, const Constants& k) {
  const __m256i product = _mm256_mulhrs_epi16(f, _mm256_sub_epi16(t, k.top));
  const __m256i negative = _mm256_mulhrs_epi16(f, _mm256_sub_epi16(k.top, t));
  return _mm256_andnot_si256(_mm256_add_epi16(product, negative), _mm256_add_epi16(product, f));
}

template <typename Source>
[[gnu::always_inline]] inline void transformBlock(const Source& source, int16_t* dst, const uint16_t* table) {
  using Lanes = typename Source::Lanes;
  const Constants& k = inMemory(kConstants);
  const RowPairs y = columnStage<Lanes>(source.load(k), k);

  const auto finish = [&](int low, int high, __m256i f) {
    store16x2(dst + 8 * low, dst + 8 * high, quantise(f, load16x2(table + 8 * low, table + 8 * high), k));
  };
  const TwoPairs even = rowStage<Lanes>(y.y04, y.y26, k.rows0426, k);
  const TwoPairs odd = rowStage<Lanes>(y.y17, y.y35, k.rows1735, k);
  finish(0, 4, even.a);
  finish(2, 6, even.b);
  finish(1, 7, odd.a);
  finish(3, 5, odd.b);
}

}  // namespace

QLM_EXPORT(qlmiDCTQuantFwd8x8_JPEG_16s_C1)
(const int16_t* src, int16_t* dst, const uint16_t* fwdTable) {
  if (!src || !dst || !fwdTable) return qlmErrNullPointer;

  transformBlock(Block{src}, dst, fwdTable);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantFwd8x8_JPEG_16s_C1I)
(int16_t* block, const uint16_t* fwdTable) {
  if (!block || !fwdTable) return qlmErrNullPointer;

  transformBlock(Block{block}, block, fwdTable);
  return qlmOk;
}

QLM_EXPORT(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R)
(const uint8_t* src, int32_t srcStep, int16_t* dst, const uint16_t* fwdTable) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!fwdTable) return qlmErrNullPointer;

  transformBlock(Samples{src, srcStep}, dst, fwdTable);
  return qlmOk;
}
