// Quantisation and dequantisation of one block without a transform (T.81 A.3.4). The quantiser here serves coefficients
// of 13 bits and rounds halves upward; the forward DCT has another, exact one (dct_forward.cpp). Their results differ,
// and both stay.
#include "frame/frame.h"
#include "frame/simd.h"

QLM_EXPORT(qlmiQuantFwd8x8_JPEG_16s_C1I)
(int16_t* block, const uint16_t* fwdTable) {
  if (!block || !fwdTable) return qlmErrNullPointer;

  const __m256i one = _mm256_set1_epi16(1);
  for (int i = 0; i < 64; i += 16) {
    // 8x * t/2 / 65536 = 2x * t / 32768. The shift by 3 wraps beyond 13 bits.
    const __m256i factor = _mm256_srli_epi16(load32(fwdTable + i), 1);
    const __m256i twice = _mm256_mulhi_epi16(_mm256_slli_epi16(load32(block + i), 3), factor);
    store32(block + i, _mm256_srai_epi16(_mm256_add_epi16(twice, one), 1));
  }
  return qlmOk;
}

QLM_EXPORT(qlmiQuantInv8x8_JPEG_16s_C1I)
(int16_t* block, const uint16_t* invTable) {
  if (!block || !invTable) return qlmErrNullPointer;

  for (int i = 0; i < 64; i += 16) store32(block + i, _mm256_mullo_epi16(load32(block + i), load32(invTable + i)));
  return qlmOk;
}
