// Chroma sampling of planes: halving by box sums and doubling by the triangle filter, in one or both directions. The
// bias of the halving forms is the same for all samples, and the doubling forms have no edge rule: the samples beyond
// the ends of a row and of the plane are the caller's, and used as they stand.
#include "frame/frame.h"
#include "frame/rows.h"
#include "jpeg/sampling/sampling_kernels.h"

namespace {

// One side after the other; the source's size is checked and then left alone.
QlmStatus checkSides(const uint8_t* src, int32_t srcStep, QlmSize srcSize, const uint8_t* dst, int32_t dstStep,
                     QlmSize dstSize) {
  if (!src) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (isEmpty(srcSize)) return qlmErrSize;
  if (!dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (isEmpty(dstSize)) return qlmErrSize;
  return qlmOk;
}

// The first output of a row lies before the first pair and takes the even formula with the sample before the row; the
// last output of an even row takes the odd formula with the sample behind the row, and is the left half of a pair.
void doubleRow(const uint8_t* s, uint8_t* dst, int32_t width) {
  dst[0] = static_cast<uint8_t>((3 * s[0] + s[-1] + 1) >> 2);
  const int32_t pairs = (width - 1) / 2;
  ownDoublePairs(s, dst + 1, pairs);
  if (width % 2 == 0) dst[width - 1] = static_cast<uint8_t>((3 * s[pairs] + s[pairs + 1] + 2) >> 2);
}

void doubleRow(const uint8_t* near, const uint8_t* far, uint8_t* dst, int32_t width) {
  const auto c = [&](int32_t k) { return 3 * near[k] + far[k]; };
  dst[0] = static_cast<uint8_t>((3 * c(0) + c(-1) + 8) >> 4);
  const int32_t pairs = (width - 1) / 2;
  ownDoublePairs(near, far, dst + 1, pairs);
  if (width % 2 == 0) dst[width - 1] = static_cast<uint8_t>((3 * c(pairs) + c(pairs + 1) + 7) >> 4);
}

}  // namespace

QLM_EXPORT(qlmiSampleDownH2V1_JPEG_8u_C1R)
(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst, int32_t dstStep, QlmSize dstSize) {
  if (const QlmStatus status = checkSides(src, srcStep, srcSize, dst, dstStep, dstSize)) return status;
  ownForEachRow(dstSize, [=](int32_t y) {
    ownHalveRow<1, 1, 1>(ownRow(src, srcStep, y), nullptr, ownRow(dst, dstStep, y), dstSize.width);
  });
  return qlmOk;
}

QLM_EXPORT(qlmiSampleDownH2V2_JPEG_8u_C1R)
(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst, int32_t dstStep, QlmSize dstSize) {
  if (const QlmStatus status = checkSides(src, srcStep, srcSize, dst, dstStep, dstSize)) return status;
  ownForEachRow(dstSize, [=](int32_t y) {
    const uint8_t* upper = wrapAddress(src, 2 * ptrdiff_t{srcStep} * y);
    ownHalveRow<2, 3, 3>(upper, wrapAddress(upper, srcStep), ownRow(dst, dstStep, y), dstSize.width);
  });
  return qlmOk;
}

QLM_EXPORT(qlmiSampleUpH2V1_JPEG_8u_C1R)
(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst, int32_t dstStep, QlmSize dstSize) {
  if (const QlmStatus status = checkSides(src, srcStep, srcSize, dst, dstStep, dstSize)) return status;
  for (int32_t y = 0; y < dstSize.height; ++y)
    doubleRow(ownRow(src, srcStep, y), ownRow(dst, dstStep, y), dstSize.width);
  return qlmOk;
}

QLM_EXPORT(qlmiSampleUpH2V2_JPEG_8u_C1R)
(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst, int32_t dstStep, QlmSize dstSize) {
  if (const QlmStatus status = checkSides(src, srcStep, srcSize, dst, dstStep, dstSize)) return status;
  ownForEachRow(dstSize, [=](int32_t y) {
    const uint8_t* near = ownRow(src, srcStep, y >> 1);
    const uint8_t* far = wrapAddress(near, y % 2 ? srcStep : -srcStep);
    doubleRow(near, far, ownRow(dst, dstStep, y), dstSize.width);
  });
  return qlmOk;
}
