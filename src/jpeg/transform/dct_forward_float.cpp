// Forward 8x8 DCT of 12-bit samples with quantisation, in single precision (T.81 A.3.3, A.3.4). A pass along the rows,
// then one along the columns, each by rotations whose missing cosines are multiplied in at the end. The order of the
// operations, and which of them are fused, is part of the result.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"

namespace {

struct Vectors {
  __m256 v[8];
};

// A sum and difference pass: from the halves of the butterflies to the eight outputs.
struct Butterflies {
  __m256 s0, s1, s2, s3;  // sums of opposite elements, then s0 = a0 + a3, s3 = a0 - a3, s1 = a1 + a2, s2 = a1 - a2
  __m256 b0, b3, u, v;    // differences of opposite elements 0 and 3, and u = b1 + b2, v = b1 - b2
};

Vectors rotate(const Butterflies& in) {
  const __m256 k = _mm256_set1_ps(0.70710677F);   // sqrt(1/2)
  const __m256 t1 = _mm256_set1_ps(0.19891237F);  // tan(pi/16), tan(2 pi/16), tan(3 pi/16)
  const __m256 t2 = _mm256_set1_ps(0.41421357F);
  const __m256 t3 = _mm256_set1_ps(0.66817862F);
  const __m256 e = _mm256_fmadd_ps(in.v, k, in.b3), h = _mm256_fnmadd_ps(in.v, k, in.b3);
  const __m256 f = _mm256_fmadd_ps(in.u, k, in.b0), g = _mm256_fnmadd_ps(in.u, k, in.b0);
  return {{_mm256_add_ps(in.s0, in.s1), _mm256_fmadd_ps(e, t1, f), _mm256_fmadd_ps(in.s2, t2, in.s3),
           _mm256_fnmadd_ps(h, t3, g), _mm256_sub_ps(in.s0, in.s1), _mm256_fmadd_ps(g, t3, h),
           _mm256_fmsub_ps(in.s3, t2, in.s2), _mm256_fmsub_ps(f, t1, e)}};
}

Vectors pass(const Vectors& x) {
  const __m256 a0 = _mm256_add_ps(x.v[0], x.v[7]), a1 = _mm256_add_ps(x.v[1], x.v[6]);
  const __m256 a2 = _mm256_add_ps(x.v[2], x.v[5]), a3 = _mm256_add_ps(x.v[3], x.v[4]);
  const __m256 b1 = _mm256_sub_ps(x.v[1], x.v[6]), b2 = _mm256_sub_ps(x.v[2], x.v[5]);
  return rotate({_mm256_add_ps(a0, a3), _mm256_add_ps(a1, a2), _mm256_sub_ps(a1, a2), _mm256_sub_ps(a0, a3),
                 _mm256_sub_ps(x.v[0], x.v[7]), _mm256_sub_ps(x.v[3], x.v[4]), _mm256_add_ps(b1, b2),
                 _mm256_sub_ps(b1, b2)});
}

Vectors transpose(const Vectors& r) {
  __m256 pair[8], quad[8];
  for (int i = 0; i < 8; i += 2) {
    pair[i] = _mm256_unpacklo_ps(r.v[i], r.v[i + 1]);
    pair[i + 1] = _mm256_unpackhi_ps(r.v[i], r.v[i + 1]);
  }
  for (int i = 0; i < 8; i += 4) {
    quad[i] = _mm256_shuffle_ps(pair[i], pair[i + 2], 0x44);
    quad[i + 1] = _mm256_shuffle_ps(pair[i], pair[i + 2], 0xEE);
    quad[i + 2] = _mm256_shuffle_ps(pair[i + 1], pair[i + 3], 0x44);
    quad[i + 3] = _mm256_shuffle_ps(pair[i + 1], pair[i + 3], 0xEE);
  }
  Vectors t;
  for (int i = 0; i < 4; ++i) {
    t.v[i] = _mm256_permute2f128_ps(quad[i], quad[i + 4], 0x20);
    t.v[i + 4] = _mm256_permute2f128_ps(quad[i], quad[i + 4], 0x31);
  }
  return t;
}

// cos(k pi/16) / 2 of the four classes of rows and columns: 0 and 4, 1 and 7, 2 and 6, 3 and 5.
constexpr double kCosines[8] = {0.35355339059327376220, 0.49039264020161522456, 0.46193976625564337806,
                                0.41573480615127261853, 0.35355339059327376220, 0.41573480615127261853,
                                0.46193976625564337806, 0.49039264020161522456};

struct alignas(32) Scales {
  float at[8][8];
};

// Each product is rounded to single precision once.
constexpr Scales makeScales() {
  Scales s{};
  for (int u = 0; u < 8; ++u)
    for (int v = 0; v < 8; ++v) s.at[u][v] = static_cast<float>(kCosines[u] * kCosines[v]);
  return s;
}

constexpr Scales kScales = makeScales();
static_assert(kScales.at[0][0] == 0.125F);

constexpr float kLevelShift = 2048;

}  // namespace

QLM_EXPORT(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R)
(const uint16_t* src, int32_t srcStep, int16_t* dst, const float* fwdTable) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!fwdTable) return qlmErrNullPointer;

  // Samples of 32768 and more count as negative ones.
  Vectors x;
  for (int y = 0; y < 8; ++y)
    x.v[y] = _mm256_sub_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(load16(ownRow(src, srcStep, y)))),
                           _mm256_set1_ps(kLevelShift));
  x = pass(transpose(pass(transpose(x))));
  __m256i f[8];
  for (int u = 0; u < 8; ++u) {
    const __m256 scaled = _mm256_mul_ps(x.v[u], _mm256_load_ps(kScales.at[u]));
    f[u] = _mm256_cvtps_epi32(_mm256_mul_ps(scaled, _mm256_loadu_ps(fwdTable + 8 * u)));
  }
  for (int u = 0; u < 8; u += 2)
    store32(dst + 8 * u, _mm256_permute4x64_epi64(_mm256_packs_epi32(f[u], f[u + 1]), 0xD8));
  return qlmOk;
}
