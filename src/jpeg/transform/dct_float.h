// What both directions of the single-precision 8x8 DCT share (ITU-T T.81 A.3.3, for samples of more than 8 bits): the
// constants of the 1-D pass, the scale of the coefficients, and the transpose of a block.
#pragma once

#include "frame/simd.h"

inline constexpr float kFloatSqrtHalf = 0.70710677f;  // cos(4 pi / 16)
inline constexpr float kFloatTan1 = 0.19891237f;      // tan(pi / 16)
inline constexpr float kFloatTan2 = 0.41421357f;      // tan(2 pi / 16)
inline constexpr float kFloatTan3 = 0.66817862f;      // tan(3 pi / 16)

// scale[u][v] is the product of the exact cosine factors of row u and column v, rounded once to single precision:
// cos(k pi / 16) / 2 for k = 4, 1, 2, 3, 4, 3, 2, 1.
struct alignas(32) QlmFloatScale {
  float at[8][8];
};
constexpr QlmFloatScale ownFloatScale() {
  constexpr double c1 = 0.98078528040323044913, c2 = 0.92387953251128675613, c3 = 0.83146961230254523708,
                   c4 = 0.70710678118654752440;
  constexpr double factor[8] = {c4, c1, c2, c3, c4, c3, c2, c1};
  QlmFloatScale scale{};
  for (int u = 0; u < 8; ++u)
    for (int v = 0; v < 8; ++v) scale.at[u][v] = static_cast<float>(factor[u] * factor[v] / 4);
  return scale;
}
inline constexpr QlmFloatScale kFloatScale = ownFloatScale();
static_assert(kFloatScale.at[0][0] == 0.125f);

// Rows to columns of an 8x8 block of floats, in place. Integer shuffles run on more ports than those of floats.
inline void transpose8x8(__m256 (&r)[8]) {
  __m256i left[4], right[4];
  for (int i = 0; i < 4; ++i) left[i] = _mm256_castps_si256(r[i]), right[i] = _mm256_castps_si256(r[i + 4]);
  transposeHalves4x4(left);
  transposeHalves4x4(right);
  for (int i = 0; i < 4; ++i) {
    r[i] = _mm256_castsi256_ps(lowHalves(left[i], right[i]));
    r[i + 4] = _mm256_castsi256_ps(highHalves(left[i], right[i]));
  }
}
