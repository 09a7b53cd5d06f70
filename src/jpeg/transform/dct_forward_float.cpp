// Forward 8x8 DCT of 12-bit samples with quantisation, in single precision (T.81 A.3.3, A.3.4). A pass along the rows,
// then one along the columns, each by rotations whose missing cosines are multiplied in at the end. The order of the
// operations, and which of them are fused, is part of the result; only where every value is an integer below 2^24, and
// so exact in either form, the first sums run on integers.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "jpeg/transform/dct_float.h"

namespace {

struct Constants {
  LaneConstants<int32_t> pairSum = inAllLanes<int32_t>(0x00010001);          // words 1, 1
  LaneConstants<int32_t> pairDifference = inAllLanes<int32_t>(-0x0000FFFF);  // words 1, -1
  LaneConstants<int32_t> levelShift = inAllLanes<int32_t>(8 * 2048);         // of the eight samples of a row

  LaneConstants<float> sqrtHalf = inAllLanes(kFloatSqrtHalf);
  LaneConstants<float> tan1 = inAllLanes(kFloatTan1);
  LaneConstants<float> tan2 = inAllLanes(kFloatTan2);
  LaneConstants<float> tan3 = inAllLanes(kFloatTan3);
  QlmFloatScale scale = kFloatScale;
};
constexpr Constants kConstants;

// What is left of a one-dimensional pass after its first sums: with a and b the sums and differences of opposite
// elements, s2 = a1 - a2, s3 = a0 - a3, u = b1 + b2, v = b1 - b2.
struct Rotations {
  __m256 s2, s3, b0, b3, u, v;
};

// Fills in the outputs 1, 2, 3, 5, 6 and 7.
void rotate(const Rotations& in, __m256 (&out)[8], const Constants& k) {
  const __m256 sqrtHalf = asFloats(k.sqrtHalf);
  const __m256 tan1 = asFloats(k.tan1), tan2 = asFloats(k.tan2), tan3 = asFloats(k.tan3);
  const __m256 e = _mm256_fmadd_ps(in.v, sqrtHalf, in.b3), h = _mm256_fnmadd_ps(in.v, sqrtHalf, in.b3);
  const __m256 f = _mm256_fmadd_ps(in.u, sqrtHalf, in.b0), g = _mm256_fnmadd_ps(in.u, sqrtHalf, in.b0);
  out[1] = _mm256_fmadd_ps(e, tan1, f);
  out[2] = _mm256_fmadd_ps(in.s2, tan2, in.s3);
  out[3] = _mm256_fnmadd_ps(h, tan3, g);
  out[5] = _mm256_fmadd_ps(g, tan3, h);
  out[6] = _mm256_fmsub_ps(in.s3, tan2, in.s2);
  out[7] = _mm256_fmsub_ps(f, tan1, e);
}

// The pass along the rows; a lane is a row. Samples of 32768 and more count as negative ones. Pairs of opposite samples
// are transposed as double words, which one multiply-add turns into sums or differences. The level shift reaches
// output 0 only.
void rowPass(const uint16_t* src, int32_t step, __m256 (&out)[8], const Constants& k) {
  const __m256i opposite =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 14, 15, 2, 3, 12, 13, 4, 5, 10, 11, 6, 7, 8, 9));
  __m256i pairs[4];
  for (int y = 0; y < 4; ++y) {
    pairs[y] = _mm256_shuffle_epi8(load16x2(ownRow(src, step, y), ownRow(src, step, y + 4)), opposite);
  }
  transposeHalves4x4(pairs);

  __m256i a[4], b[4];
  for (int i = 0; i < 4; ++i)
    a[i] = _mm256_madd_epi16(pairs[i], k.pairSum), b[i] = _mm256_madd_epi16(pairs[i], k.pairDifference);
  const __m256i s0 = _mm256_add_epi32(a[0], a[3]), s1 = _mm256_add_epi32(a[1], a[2]);
  out[0] = _mm256_cvtepi32_ps(_mm256_sub_epi32(_mm256_add_epi32(s0, s1), k.levelShift));
  out[4] = _mm256_cvtepi32_ps(_mm256_sub_epi32(s0, s1));
  rotate({_mm256_cvtepi32_ps(_mm256_sub_epi32(a[1], a[2])), _mm256_cvtepi32_ps(_mm256_sub_epi32(a[0], a[3])),
          _mm256_cvtepi32_ps(b[0]), _mm256_cvtepi32_ps(b[3]), _mm256_cvtepi32_ps(_mm256_add_epi32(b[1], b[2])),
          _mm256_cvtepi32_ps(_mm256_sub_epi32(b[1], b[2]))},
         out, k);
}

// The pass along the columns, in place; a lane is a column.
void columnPass(__m256 (&x)[8], const Constants& k) {
  __m256 a[4], b[4];
  for (int i = 0; i < 4; ++i) a[i] = _mm256_add_ps(x[i], x[7 - i]), b[i] = _mm256_sub_ps(x[i], x[7 - i]);
  const __m256 s0 = _mm256_add_ps(a[0], a[3]), s1 = _mm256_add_ps(a[1], a[2]);
  x[0] = _mm256_add_ps(s0, s1);
  x[4] = _mm256_sub_ps(s0, s1);
  rotate({_mm256_sub_ps(a[1], a[2]), _mm256_sub_ps(a[0], a[3]), b[0], b[3], _mm256_add_ps(b[1], b[2]),
          _mm256_sub_ps(b[1], b[2])},
         x, k);
}

}  // namespace

QLM_EXPORT(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R)
(const uint16_t* src, int32_t srcStep, int16_t* dst, const float* fwdTable) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!fwdTable) return qlmErrNullPointer;

  const Constants& k = inMemory(kConstants);
  __m256 x[8];
  rowPass(src, srcStep, x, k);
  transpose8x8(x);
  columnPass(x, k);
  // The two products stay apart: each is rounded.
  const auto quantise = [&](int u) {
    return _mm256_cvtps_epi32(
        _mm256_mul_ps(_mm256_mul_ps(x[u], _mm256_load_ps(k.scale.at[u])), _mm256_loadu_ps(fwdTable + 8 * u)));
  };
  for (int u = 0; u < 8; u += 2)
    store32(dst + 8 * u, _mm256_permute4x64_epi64(_mm256_packs_epi32(quantise(u), quantise(u + 1)), 0xD8));
  return qlmOk;
}
