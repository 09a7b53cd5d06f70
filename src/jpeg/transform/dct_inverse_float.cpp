// Inverse 8x8 DCT with dequantisation in single precision (ITU-T T.81 A.3.3), for 12-bit samples. Rounding happens
// where the steps say so: a fused operation is one, and all others are separate.
#include "frame/frame.h"
#include "frame/wrap.h"
#include "jpeg/transform/dct_float.h"
#include "jpeg/transform/dct_inverse.h"

namespace {

// One pass over eight lines at once, line i in lane i of all vectors.
inline void pass(__m256 (&z)[8]) {
  const auto constant = [](float v) { return _mm256_set1_ps(v); };
  const __m256 tan1 = constant(kFloatTan1), tan2 = constant(kFloatTan2), tan3 = constant(kFloatTan3);
  const __m256 root = constant(kFloatSqrtHalf);
  const __m256 p = _mm256_fmadd_ps(z[7], tan1, z[1]), q = _mm256_fmsub_ps(z[1], tan1, z[7]);
  const __m256 r1 = _mm256_fmadd_ps(z[5], tan3, z[3]), s = _mm256_fnmadd_ps(z[3], tan3, z[5]);
  const __m256 b = _mm256_add_ps(p, r1), a = _mm256_sub_ps(p, r1), c = _mm256_add_ps(q, s), d = _mm256_sub_ps(q, s);
  const __m256 g = _mm256_add_ps(z[0], z[4]), h = _mm256_sub_ps(z[0], z[4]);
  const __m256 u = _mm256_fmadd_ps(z[6], tan2, z[2]), v = _mm256_fmsub_ps(z[2], tan2, z[6]);
  const __m256 x = _mm256_add_ps(a, d), w = _mm256_sub_ps(a, d);
  const __m256 i0 = _mm256_add_ps(g, u), i3 = _mm256_sub_ps(g, u), i1 = _mm256_add_ps(h, v), i2 = _mm256_sub_ps(h, v);
  z[0] = _mm256_add_ps(i0, b), z[7] = _mm256_sub_ps(i0, b);
  z[1] = _mm256_fmadd_ps(x, root, i1), z[6] = _mm256_fnmadd_ps(x, root, i1);
  z[2] = _mm256_fmadd_ps(w, root, i2), z[5] = _mm256_fnmadd_ps(w, root, i2);
  z[3] = _mm256_add_ps(i3, c), z[4] = _mm256_sub_ps(i3, c);
}

}  // namespace

QLM_EXPORT(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R)
(const int16_t* src, uint16_t* dst, int32_t dstStep, const float* invTable) {
  if (const QlmStatus status = ownCheckBlockToPlane(src, dst, dstStep, invTable)) return status;

  __m256 z[8];
  for (int u = 0; u < 8; ++u) {
    const __m256 coefficients = _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load16(src + 8 * u)));
    const __m256 dequantised = _mm256_mul_ps(coefficients, _mm256_loadu_ps(invTable + 8 * u));
    z[u] = _mm256_mul_ps(dequantised, _mm256_load_ps(kFloatScale.at[u]));
  }
  transpose8x8(z);
  pass(z);
  transpose8x8(z);
  pass(z);

  // Truncation, unlike the rounding of the forward direction; kept. What does not fit 32 bits gives the lowest integer,
  // as the processor's conversion does, and so 0.
  const __m256 shift = _mm256_set1_ps(2048.0f);
  const auto toInt = [&](__m256 v) { return _mm256_cvttps_epi32(_mm256_add_ps(v, shift)); };
  const __m256i highest = _mm256_set1_epi16(4095);
  for (int y = 0; y < 8; y += 2) {
    const __m256i packed = _mm256_min_epu16(_mm256_packus_epi32(toInt(z[y]), toInt(z[y + 1])), highest);
    const __m256i words = _mm256_permute4x64_epi64(packed, 0xD8);
    store16(wrapAddress(dst, ptrdiff_t{dstStep} * y), ownLower(words));
    store16(wrapAddress(dst, ptrdiff_t{dstStep} * (y + 1)), ownUpper(words));
  }
  return qlmOk;
}
