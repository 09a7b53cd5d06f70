// Moves one MCU between interleaved 8-bit components and level-shifted blocks (ITU-T T.81 A.1.1, A.2.3, A.3.1). Going
// down, chroma is the truncated mean of the samples that it covers; going up, it is replicated. Nothing looks beyond
// the MCU. Split and Join do the same for packed 4:2:2, whose chroma is already halved.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"

namespace {

inline __m256i levelShift() { return _mm256_set1_epi16(128); }

// The words of three components of eight pixels in each half.
struct Components {
  __m256i y, cb, cr;
};

inline Components loadEight(const uint8_t* low, const uint8_t* high) {
  const BytePairs p = deinterleave3<0, 1, 2>(load16x2(low, high), load16x2(low + 8, high + 8));
  const __m256i lowBytes = _mm256_set1_epi16(255);
  return {_mm256_and_si256(p.ab, lowBytes), _mm256_srli_epi16(p.ab, 8), _mm256_and_si256(p.cb, lowBytes)};
}

// Two vectors of eight 32-bit values, four a half, as the words of one row of each of two blocks, level-shifted.
inline void storeChromaRow(__m256i cb, __m256i cr, int16_t* cbRow, int16_t* crRow) {
  const __m256i both = _mm256_permute4x64_epi64(_mm256_packs_epi32(cb, cr), 0xD8);
  store16x2(cbRow, crRow, _mm256_sub_epi16(both, levelShift()));
}

// The MCU is H blocks wide and V high in luma.
template <int H, int V>
inline QlmStatus sampleDown(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst[0] || !dst[1] || !dst[2]) return qlmErrNullPointer;

  int16_t *luma = dst[0], *cb = dst[1], *cr = dst[2];
  const auto pixels = [=](int y) { return ownRow(src, srcStep, y); };
  if constexpr (H == 1) {
    for (int y = 0; y < 8; y += 2) {
      const Components c = loadEight(pixels(y), pixels(y + 1));
      store32(luma + 8 * y, _mm256_sub_epi16(c.y, levelShift()));
      store32(cb + 8 * y, _mm256_sub_epi16(c.cb, levelShift()));
      store32(cr + 8 * y, _mm256_sub_epi16(c.cr, levelShift()));
    }
  } else {
    const __m256i ones = _mm256_set1_epi16(1);
    for (int row = 0; row < 8; ++row) {
      __m256i cbSum = _mm256_setzero_si256(), crSum = cbSum;
      for (int i = 0; i < V; ++i) {
        const int y = row * V + i;
        const Components c = loadEight(pixels(y), pixels(y) + 24);
        int16_t* left = luma + 128 * (y / 8) + 8 * (y % 8);
        store16x2(left, left + 64, _mm256_sub_epi16(c.y, levelShift()));
        cbSum = _mm256_add_epi16(cbSum, c.cb);
        crSum = _mm256_add_epi16(crSum, c.cr);
      }
      // The mean truncates: no bias.
      storeChromaRow(_mm256_srli_epi32(_mm256_madd_epi16(cbSum, ones), V),
                     _mm256_srli_epi32(_mm256_madd_epi16(crSum, ones), V), cb + 8 * row, cr + 8 * row);
    }
  }
  return qlmOk;
}

// Up and Join test the entries of the array before the step, Down and Split behind it; kept.
inline QlmStatus checkBlocksToPixels(const int16_t* const src[3], const uint8_t* dst, int32_t dstStep) {
  if (!src || !dst) return qlmErrNullPointer;
  if (!src[0] || !src[1] || !src[2]) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  return qlmOk;
}

inline __m256i shiftBack(__m256i words) { return _mm256_adds_epi16(words, levelShift()); }

template <int H, int V>
inline QlmStatus sampleUp(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) {
  if (const QlmStatus status = checkBlocksToPixels(src, dst, dstStep)) return status;
  const int16_t *luma = src[0], *cb = src[1], *cr = src[2];
  const auto pixels = [=](int y) { return ownRow(dst, dstStep, y); };
  for (int row = 0; row < 8; row += 2) {
    const __m256i cbRows = shiftBack(load32(cb + 8 * row)), crRows = shiftBack(load32(cr + 8 * row));
    if constexpr (H == 1) {
      const __m256i y = shiftBack(load32(luma + 8 * row));
      const Interleaved8 p = interleave3x8(_mm256_packus_epi16(y, cbRows), _mm256_packus_epi16(crRows, crRows));
      store16x2(pixels(row), pixels(row + 1), p.first16);
      store16x2(pixels(row) + 8, pixels(row + 1) + 8, p.last16);
    } else {
      const __m256i cbLeft = _mm256_unpacklo_epi16(cbRows, cbRows), cbRight = _mm256_unpackhi_epi16(cbRows, cbRows);
      const __m256i crBoth =
          _mm256_packus_epi16(_mm256_unpacklo_epi16(crRows, crRows), _mm256_unpackhi_epi16(crRows, crRows));
      for (int i = 0; i < V; ++i) {
        const int low = row * V + i, high = low + V;  // the pixel rows of this turn
        const int16_t* left = luma + 128 * (low / 8) + 8 * (low % 8);
        const __m256i yLeft = shiftBack(load16x2(left, left + 8 * V));
        const __m256i yRight = shiftBack(load16x2(left + 64, left + 64 + 8 * V));
        const Interleaved16 p =
            interleave3x16(_mm256_packus_epi16(yLeft, cbLeft), _mm256_packus_epi16(yRight, cbRight), crBoth);
        for (int k = 0; k < 3; ++k) store16x2(pixels(low) + 16 * k, pixels(high) + 16 * k, p.part[k]);
      }
    }
  }
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiSampleDown444LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return sampleDown<1, 1>(src, srcStep, dst); }
QLM_EXPORT(qlmiSampleDown422LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return sampleDown<2, 1>(src, srcStep, dst); }
QLM_EXPORT(qlmiSampleDown411LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return sampleDown<2, 2>(src, srcStep, dst); }

QLM_EXPORT(qlmiSampleUp444LS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return sampleUp<1, 1>(src, dst, dstStep); }
QLM_EXPORT(qlmiSampleUp422LS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return sampleUp<2, 1>(src, dst, dstStep); }
QLM_EXPORT(qlmiSampleUp411LS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return sampleUp<2, 2>(src, dst, dstStep); }

// Packed 4:2:2, in bytes Y0 Cb0 Y1 Cr0 ...: luma in the low bytes of all words, chroma taking turns in the high ones.

QLM_EXPORT(qlmiSplit422LS_MCU_8u16s_C2P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst[0] || !dst[1] || !dst[2]) return qlmErrNullPointer;
  for (int y = 0; y < 8; ++y) {
    const __m256i words = load32(ownRow(src, srcStep, y));
    const __m256i luma = _mm256_and_si256(words, _mm256_set1_epi16(255));
    store16x2(dst[0] + 8 * y, dst[0] + 64 + 8 * y, _mm256_sub_epi16(luma, levelShift()));
    const __m256i cb = _mm256_and_si256(_mm256_srli_epi32(words, 8), _mm256_set1_epi32(255));
    storeChromaRow(cb, _mm256_srli_epi32(words, 24), dst[1] + 8 * y, dst[2] + 8 * y);
  }
  return qlmOk;
}

QLM_EXPORT(qlmiJoin422LS_MCU_16s8u_P3C2R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) {
  if (const QlmStatus status = checkBlocksToPixels(src, dst, dstStep)) return status;
  static constexpr ShufflePattern kTakeTurns = makeShuffle([](int i) { return i / 2 + 8 * (i % 2); });
  for (int y = 0; y < 8; ++y) {
    const __m256i luma = load16x2(src[0] + 8 * y, src[0] + 64 + 8 * y);
    const __m128i cb = load16(src[1] + 8 * y), cr = load16(src[2] + 8 * y);
    const __m256i chroma =
        _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi16(cb, cr)), _mm_unpackhi_epi16(cb, cr), 1);
    store32(ownRow(dst, dstStep, y), shuffleBytes(_mm256_packus_epi16(shiftBack(luma), shiftBack(chroma)), kTakeTurns));
  }
  return qlmOk;
}
