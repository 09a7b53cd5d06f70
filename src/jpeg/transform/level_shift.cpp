// Level shift between unsigned 8-bit samples and the signed samples of the transform (T.81 A.3.1): minus 128 on the way
// to the forward DCT, plus 128 and a clamp on the way back. Rows are shared out over threads (rows.h) and end with a
// vector that overlaps the one before.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "frame/wrap.h"

namespace {

constexpr int16_t kShift = 128;

struct ShiftDown {
  // The byte shuffle widens on one port more than the widening instruction.
  static void by32(const uint8_t* src, int16_t* dst) {
    const __m256i shift = _mm256_set1_epi16(kShift);
    const __m256i widen = _mm256_setr_epi8(0, -1, 1, -1, 2, -1, 3, -1, 4, -1, 5, -1, 6, -1, 7, -1,  //
                                           8, -1, 9, -1, 10, -1, 11, -1, 12, -1, 13, -1, 14, -1, 15, -1);
    const __m256i low = _mm256_broadcastsi128_si256(load16(src)), high = _mm256_broadcastsi128_si256(load16(src + 16));
    store32(dst, _mm256_sub_epi16(_mm256_shuffle_epi8(low, widen), shift));
    store32(dst + 16, _mm256_sub_epi16(_mm256_shuffle_epi8(high, widen), shift));
  }
  static void by8(const uint8_t* src, int16_t* dst) {
    store16(dst, _mm_sub_epi16(_mm_cvtepu8_epi16(load8(src)), _mm_set1_epi16(kShift)));
  }
  static int16_t one(uint8_t v) { return static_cast<int16_t>(v - kShift); }
};

// The saturating sums are exact wherever the clamp to 8 bits lets them through.
struct ShiftUp {
  static void by32(const int16_t* src, uint8_t* dst) {
    const __m256i shift = _mm256_set1_epi16(kShift);
    const __m256i even = load16x2(src, src + 16), odd = load16x2(src + 8, src + 24);
    store32(dst, _mm256_packus_epi16(_mm256_adds_epi16(even, shift), _mm256_adds_epi16(odd, shift)));
  }
  static void by8(const int16_t* src, uint8_t* dst) {
    const __m128i sum = _mm_adds_epi16(load16(src), _mm_set1_epi16(kShift));
    store8(dst, _mm_packus_epi16(sum, sum));
  }
  static uint8_t one(int16_t v) { return clamp8(v + kShift); }
};

template <typename Shift, typename Src, typename Dst>
[[gnu::always_inline]] inline void shiftRow(const Src* src, Dst* dst, int32_t width) {
  if (width >= 32) {
    int32_t x = 0;
    for (; x < width - 64; x += 64) Shift::by32(src + x, dst + x), Shift::by32(src + x + 32, dst + x + 32);
    if (x < width - 32) Shift::by32(src + x, dst + x);
    Shift::by32(src + width - 32, dst + width - 32);
  } else if (width >= 8) {
    for (int32_t x = 0; x < width - 8; x += 8) Shift::by8(src + x, dst + x);
    Shift::by8(src + width - 8, dst + width - 8);
  } else {
    for (int32_t x = 0; x < width; ++x) storeAny(dst + x, Shift::one(loadAny(src + x)));
  }
}

template <typename Shift, typename Src, typename Dst>
QlmStatus shiftRegion(const Src* src, int32_t srcStep, Dst* dst, int32_t dstStep, QlmSize size) {
  if (!src) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size,
                [=](int32_t y) { shiftRow<Shift>(ownRow(src, srcStep, y), ownRow(dst, dstStep, y), size.width); });
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiSub128_JPEG_8u16s_C1R)
(const uint8_t* src, int32_t srcStep, int16_t* dst, int32_t dstStep, QlmSize size) {
  return shiftRegion<ShiftDown>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiAdd128_JPEG_16s8u_C1R)
(const int16_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return shiftRegion<ShiftUp>(src, srcStep, dst, dstStep, size);
}
