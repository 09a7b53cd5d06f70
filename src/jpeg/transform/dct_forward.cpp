// Forward 8x8 DCT of 8-bit samples with quantisation, in fixed point (T.81 A.3.3, A.3.4). The column stage is made of
// rotations by tangents in 16-bit lanes; the cosines that it leaves out are folded into the matrices of the row stage,
// 32-bit sums of products with one matrix per class of rows. Two rows lie side by side in a 256-bit register all the
// way: "(a|b)" in the comments is a in the low half and b in the high half.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"

namespace {

// Sums and differences of 16-bit lanes: saturating where the input can be anything, plain (they run on more ports of
// the processor) where 8-bit samples keep every sum in range.
struct Saturating {
  static __m256i add(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_subs_epi16(a, b); }
};
struct Plain {
  static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
};

__m256i halves(__m128i low, __m128i high) { return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1); }
__m256i halves(int16_t low, int16_t high) { return halves(_mm_set1_epi16(low), _mm_set1_epi16(high)); }
__m128i bytePairs(int even, int odd) { return _mm_set1_epi16(static_cast<int16_t>(odd * 256 + (even & 255))); }
__m256i swapHalves(__m256i v) { return _mm256_permute2x128_si256(v, v, 0x01); }
__m256i lowHalves(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x20); }
__m256i highHalves(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x31); }
__m256i lowAndHigh(__m256i low, __m256i high) { return _mm256_blend_epi32(low, high, 0xF0); }

// (x + y|y - x)
template <typename Lanes>
__m256i sumAndDifference(__m256i x, __m256i y) {
  return lowAndHigh(Lanes::add(x, y), Lanes::sub(y, x));
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
  static constexpr int16_t kLevelShift = 0;

  const int16_t* src;

  Butterflies load() const {
    const __m256i x01 = load32(src), x76 = halves(load16(src + 56), load16(src + 48));
    const __m256i x45 = load32(src + 32), x32 = halves(load16(src + 24), load16(src + 16));
    const __m256i d01 = Lanes::sub(x01, x76), d32 = Lanes::sub(x32, x45);
    const __m256i d12 = _mm256_slli_epi16(highHalves(d01, d32), 4);
    return {_mm256_slli_epi16(Lanes::add(x01, x76), 3), _mm256_slli_epi16(Lanes::add(x32, x45), 3),
            _mm256_slli_epi16(lowHalves(d01, d32), 3), sumAndDifference<Lanes>(d12, swapHalves(d12))};
  }
};

// Unsigned samples. Every sum below stays in 16 bits: the largest, of the row stage, is 64 * 255 * 2. So the level
// shift may wait until the end, where it is one term of the corner coefficient.
struct Samples {
  using Lanes = Plain;
  static constexpr int16_t kLevelShift = 128;

  const uint8_t* src;
  int32_t step;

  // Row y in both halves.
  __m256i row(int32_t y) const {
    int64_t bytes;
    __builtin_memcpy(&bytes, ownRow(src, step, y), 8);
    return _mm256_set1_epi64x(bytes);
  }

  // Rows are taken byte by byte in turn with the row opposite, so that one multiply-add gives scaled sum or difference.
  Butterflies load() const {
    const __m256i x07 = _mm256_unpacklo_epi8(row(0), row(7)), x16 = _mm256_unpacklo_epi8(row(1), row(6));
    const __m256i x25 = _mm256_unpacklo_epi8(row(2), row(5)), x34 = _mm256_unpacklo_epi8(row(3), row(4));
    const __m256i sum = halves(bytePairs(8, 8), bytePairs(8, 8));
    const __m256i difference = halves(bytePairs(8, -8), bytePairs(8, -8));
    const __m256i d1 = _mm256_maddubs_epi16(x16, halves(bytePairs(16, -16), bytePairs(16, -16)));
    const __m256i d2 = _mm256_maddubs_epi16(x25, halves(bytePairs(16, -16), bytePairs(-16, 16)));
    return {_mm256_maddubs_epi16(lowAndHigh(x07, x16), sum), _mm256_maddubs_epi16(lowAndHigh(x34, x25), sum),
            _mm256_maddubs_epi16(lowAndHigh(x07, x34), difference), Lanes::add(d1, d2)};
  }
};

// Rows (0|4), (1|7), (2|6) and (3|5): those of one class together.
struct RowPairs {
  __m256i y04, y17, y26, y35;
};

// The bit forced to 1 stands for the half that the truncated products lose on average.
template <typename Lanes>
RowPairs columnStage(const Butterflies& in) {
  constexpr int16_t kSqrtHalf = 23170;  // sqrt(1/2) / 2
  constexpr int16_t kTan1 = 13036;      // tan(pi/16), tan(2 pi/16), tan(3 pi/16) - 1 in 16 fractional bits
  constexpr int16_t kTan2 = 27146;
  constexpr int16_t kTan3 = -21746;

  const __m256i ac = Lanes::add(in.t01, in.t32), be = Lanes::sub(in.t01, in.t32);
  const __m256i be2 = _mm256_mulhi_epi16(be, _mm256_set1_epi16(kTan2));
  const __m256i y04 = sumAndDifference<Lanes>(ac, swapHalves(ac));
  const __m256i y26 = sumAndDifference<Lanes>(be, swapHalves(be2));

  const __m256i nm = _mm256_or_si256(_mm256_mulhi_epi16(in.d1d2, _mm256_set1_epi16(kSqrtHalf)), halves(1, 0));
  const __m256i qp = Lanes::add(in.d03, nm), rs = Lanes::sub(in.d03, nm);
  const __m256i qp1 = _mm256_mulhi_epi16(qp, _mm256_set1_epi16(kTan1));
  const __m256i rs3 = swapHalves(Lanes::add(_mm256_mulhi_epi16(rs, _mm256_set1_epi16(kTan3)), rs));
  const __m256i y17 = sumAndDifference<Lanes>(qp, swapHalves(qp1));
  const __m256i y35 = lowAndHigh(Lanes::sub(rs, rs3), Lanes::add(rs3, rs));

  return {y04, _mm256_or_si256(y17, halves(1, 0)), _mm256_or_si256(y26, _mm256_set1_epi16(1)), y35};
}

// The factors of one class of rows, as the row stage meets them in its lanes: sums in the order 0 1 2 3 3 2 1 0 and
// with neighbouring pairs exchanged, differences by pairs. Both halves of a register hold the same.
struct alignas(32) RowFactors {
  int16_t sums[2][16];
  int16_t differences[2][16];
};

constexpr RowFactors makeRowFactors(int c1, int c2, int c3, int c4, int c5, int c6, int c7) {
  const int even[4][4] = {{c4, c4, c4, c4}, {c2, c6, -c6, -c2}, {c4, -c4, -c4, c4}, {c6, -c2, c2, -c6}};
  const int odd[4][4] = {{c1, c3, c5, c7}, {c3, -c7, -c1, -c5}, {c5, -c1, c7, c3}, {c7, -c5, c3, -c1}};
  RowFactors f{};
  for (int i = 0; i < 16; ++i) {
    const int lane = i % 8, u = lane / 2;
    const int mirrored = lane < 4 ? lane : 7 - lane;
    f.sums[0][i] = static_cast<int16_t>(even[u][mirrored]);
    f.sums[1][i] = static_cast<int16_t>(even[u][mirrored ^ 2]);
    f.differences[0][i] = static_cast<int16_t>(odd[u][lane % 2]);
    f.differences[1][i] = static_cast<int16_t>(odd[u][2 + lane % 2]);
  }
  return f;
}

constexpr RowFactors kRows04 = makeRowFactors(22725, 21407, 19266, 16384, 12873, 8867, 4520);
constexpr RowFactors kRows17 = makeRowFactors(31521, 29692, 26722, 22725, 17855, 12299, 6270);
constexpr RowFactors kRows26 = makeRowFactors(29692, 27969, 25172, 21407, 16819, 11585, 5906);
constexpr RowFactors kRows35 = makeRowFactors(26722, 25172, 22654, 19266, 15137, 10426, 5315);

constexpr int kRoundShift = 20;
constexpr int16_t kHalfUnit = 1 << (kRoundShift - 17);  // one half, seen from the upper words of the sums

// One row in each half. Even coefficients come from the sums of opposite columns, odd ones from the differences. The
// 32-bit results wrap; their lower words do not matter for the rounding.
template <typename Lanes>
__m256i rowStage(__m256i z, const RowFactors& f, __m256i rounding) {
  const __m256i reverse =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
  const __m256i reversed = _mm256_shuffle_epi8(z, reverse);
  const __m256i s = Lanes::add(z, reversed);
  const __m256i d = Lanes::sub(z, reversed);
  const __m256i even = _mm256_add_epi32(_mm256_madd_epi16(s, load32(f.sums[0])),
                                        _mm256_madd_epi16(_mm256_shuffle_epi32(s, 0xB1), load32(f.sums[1])));
  const __m256i odd = _mm256_add_epi32(_mm256_madd_epi16(_mm256_shuffle_epi32(d, 0x00), load32(f.differences[0])),
                                       _mm256_madd_epi16(_mm256_shuffle_epi32(d, 0x55), load32(f.differences[1])));
  const __m256i upper = _mm256_blend_epi16(_mm256_srli_epi32(even, 16), odd, 0xAA);
  return _mm256_srai_epi16(_mm256_add_epi16(upper, rounding), kRoundShift - 16);
}

// f * t / 32768 with unsigned t, to the nearest integer, halves to even, where f has 12 bits as the row stage gives
// them: the multiplier rounds f * (t - 32768) with halves upward, and where twice the product ends in 0x8000 there was
// a half, and the result becomes even.
__m256i quantise(__m256i f, __m256i t) {
  const __m256i top = _mm256_set1_epi16(INT16_MIN);
  const __m256i upward = _mm256_add_epi16(_mm256_mulhrs_epi16(f, _mm256_xor_si256(t, top)), f);
  const __m256i isHalf = _mm256_cmpeq_epi16(_mm256_mullo_epi16(f, _mm256_add_epi16(t, t)), top);
  return _mm256_andnot_si256(_mm256_srli_epi16(isHalf, 15), upward);
}

void quantiseRows(__m256i f, const uint16_t* table, int16_t* dst, int low, int high) {
  const __m256i r = quantise(f, halves(load16(table + 8 * low), load16(table + 8 * high)));
  store16(dst + 8 * low, _mm256_castsi256_si128(r));
  store16(dst + 8 * high, _mm256_extracti128_si256(r, 1));
}

template <typename Source>
void transformBlock(const Source& source, int16_t* dst, const uint16_t* table) {
  using Lanes = typename Source::Lanes;
  const RowPairs y = columnStage<Lanes>(source.load());

  // A block of ones gives 8 in the corner.
  constexpr int16_t kCorner = kHalfUnit - 8 * Source::kLevelShift * (1 << (kRoundShift - 16));
  const __m256i rounding = _mm256_set1_epi16(kHalfUnit);
  const __m256i cornerRounding = _mm256_insert_epi16(rounding, kCorner, 0);

  quantiseRows(rowStage<Lanes>(y.y04, kRows04, cornerRounding), table, dst, 0, 4);
  quantiseRows(rowStage<Lanes>(y.y17, kRows17, rounding), table, dst, 1, 7);
  quantiseRows(rowStage<Lanes>(y.y26, kRows26, rounding), table, dst, 2, 6);
  quantiseRows(rowStage<Lanes>(y.y35, kRows35, rounding), table, dst, 3, 5);
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
