// Chroma sampling of single rows. The halving forms alternate their bias, so that rounding errors do not add up along
// a row; the doubling forms replicate the samples at the two ends of the row themselves.
#include "frame/frame.h"
#include "jpeg/sampling/sampling_kernels.h"

QLM_EXPORT(qlmiSampleDownRowH2V1_Box_JPEG_8u_C1)
(const uint8_t* src, int32_t srcWidth, uint8_t* dst) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcWidth < 1) return qlmErrSize;
  ownHalveRow<1, 0, 1>(src, nullptr, dst, srcWidth >> 1);
  return qlmOk;
}

QLM_EXPORT(qlmiSampleDownRowH2V2_Box_JPEG_8u_C1)
(const uint8_t* src1, const uint8_t* src2, int32_t srcWidth, uint8_t* dst) {
  if (!src1 || !src2 || !dst) return qlmErrNullPointer;
  if (srcWidth < 1) return qlmErrSize;
  // Short rows of odd width have an output for their last sample, which reads one sample behind the row; long ones do
  // not. The difference is kept.
  constexpr int32_t kLongFrom = 32;
  ownHalveRow<2, 1, 2>(src1, src2, dst, srcWidth < kLongFrom ? (srcWidth + 1) >> 1 : srcWidth >> 1);
  return qlmOk;
}

QLM_EXPORT(qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1)
(const uint8_t* src, int32_t srcWidth, uint8_t* dst) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcWidth < 1) return qlmErrSize;
  dst[0] = src[0];
  ownDoublePairs(src, dst + 1, srcWidth - 1);
  dst[2 * ptrdiff_t{srcWidth} - 1] = src[srcWidth - 1];
  return qlmOk;
}

QLM_EXPORT(qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1)
(const uint8_t* src1, const uint8_t* src2, int32_t srcWidth, uint8_t* dst) {
  if (!src1 || !src2 || !dst) return qlmErrNullPointer;
  if (srcWidth < 1) return qlmErrSize;
  const auto end = [&](int32_t k, int32_t bias) {
    return static_cast<uint8_t>((4 * (3 * src1[k] + src2[k]) + bias) >> 4);
  };
  dst[0] = end(0, 8);
  ownDoublePairs(src1, src2, dst + 1, srcWidth - 1);
  dst[2 * ptrdiff_t{srcWidth} - 1] = end(srcWidth - 1, 7);
  return qlmOk;
}
