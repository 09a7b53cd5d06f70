// Level shift between unsigned 8-bit samples and the signed samples of the transform (T.81 A.3.1): minus 128 on the way
// to the forward DCT, plus 128 and a clamp on the way back. Rows are shared out over threads (rows.h).
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "frame/wrap.h"

namespace {

constexpr int kShift = 128;

__m256i shiftDown(const uint8_t* src) { return _mm256_sub_epi16(load16AsWords(src), _mm256_set1_epi16(kShift)); }

// 32 samples. The saturating sum is exact wherever the clamp to 8 bits lets it through.
__m256i shiftUp(const int16_t* src) {
  const __m256i shift = _mm256_set1_epi16(kShift);
  return packWordsToBytes(_mm256_adds_epi16(load32(src), shift), _mm256_adds_epi16(load32(src + 16), shift));
}

void shiftDownRow(const uint8_t* src, int16_t* dst, int32_t width) {
  int32_t x = 0;
  for (; x < width - 31; x += 32) {
    store32(dst + x, shiftDown(src + x));
    store32(dst + x + 16, shiftDown(src + x + 16));
  }
  for (; x < width - 15; x += 16) store32(dst + x, shiftDown(src + x));
  for (; x < width; ++x) dst[x] = static_cast<int16_t>(src[x] - kShift);
}

void shiftUpRow(const int16_t* src, uint8_t* dst, int32_t width) {
  int32_t x = 0;
  for (; x < width - 31; x += 32) store32(dst + x, shiftUp(src + x));
  for (; x < width; ++x) dst[x] = clamp8(src[x] + kShift);
}

}  // namespace

QLM_EXPORT(qlmiSub128_JPEG_8u16s_C1R)
(const uint8_t* src, int32_t srcStep, int16_t* dst, int32_t dstStep, QlmSize size) {
  if (!src) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size, [=](int32_t y) { shiftDownRow(ownRow(src, srcStep, y), ownRow(dst, dstStep, y), size.width); });
  return qlmOk;
}

QLM_EXPORT(qlmiAdd128_JPEG_16s8u_C1R)
(const int16_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (!src) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size, [=](int32_t y) { shiftUpRow(ownRow(src, srcStep, y), ownRow(dst, dstStep, y), size.width); });
  return qlmOk;
}
