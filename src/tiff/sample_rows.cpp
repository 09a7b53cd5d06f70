// Rows of 16-bit samples to and from two rows of bytes, for codecs that keep high and low bytes apart (TIFF 6.0,
// section 2: sample widths and byte order).
#include "frame/cover.h"
#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"

// A length below 1 is a step error in these two, unlike in all other rows; kept. The entries of the arrays are not
// tested.

QLM_EXPORT(qlmiJoinRow_TIFF_8u16u_C1)
(const uint8_t* const src[2], uint16_t* dst, int32_t length) {
  if (!src || !dst) return qlmErrNullPointer;
  if (length < 1) return qlmErrStep;
  const uint8_t *high = src[0], *low = src[1];
  ownCover<32, 16>(length, [&](auto width, ptrdiff_t i) {
    if constexpr (width == 32) {
      // Interleaving goes by halves. Storing the halves where they belong takes no further shuffle, which is what
      // bounds this loop.
      const __m256i l = load32(low + i), h = load32(high + i);
      store16x2(dst + i, dst + i + 16, _mm256_unpacklo_epi8(l, h));
      store16x2(dst + i + 8, dst + i + 24, _mm256_unpackhi_epi8(l, h));
    } else if constexpr (width == 16) {
      storeBytePairs(dst + i, load16(low + i), load16(high + i));
    } else {
      storeAny(dst + i, static_cast<uint16_t>(high[i] << 8 | low[i]));
    }
  });
  return qlmOk;
}

QLM_EXPORT(qlmiSplitRow_TIFF_16u8u_C1)
(const uint16_t* src, uint8_t* const dst[2], int32_t length) {
  if (!src || !dst) return qlmErrNullPointer;
  if (length < 1) return qlmErrStep;
  uint8_t *high = dst[0], *low = dst[1];
  const __m256i lowByte = _mm256_set1_epi16(0xFF);
  ownCover<32, 16>(length, [&](auto width, ptrdiff_t i) {
    if constexpr (width == 32) {
      // Packing goes by halves, so the vectors are loaded in halves that it puts in order.
      const __m256i a = load16x2(src + i, src + i + 16), b = load16x2(src + i + 8, src + i + 24);
      store32(high + i, _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8)));
      store32(low + i, _mm256_packus_epi16(_mm256_and_si256(a, lowByte), _mm256_and_si256(b, lowByte)));
    } else if constexpr (width == 16) {
      const __m256i a = load32(src + i);
      store16(high + i, packWordsToBytes(_mm256_srli_epi16(a, 8)));
      store16(low + i, packWordsToBytes(_mm256_and_si256(a, lowByte)));
    } else {
      const uint16_t sample = loadAny(src + i);
      high[i] = static_cast<uint8_t>(sample >> 8);
      low[i] = static_cast<uint8_t>(sample);
    }
  });
  return qlmOk;
}
