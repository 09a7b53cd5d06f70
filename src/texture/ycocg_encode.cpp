// Pixels of Y, Co and Cg to DXT5 blocks of their own layout: luma as alpha, at the full range, chroma as red and green,
// scaled by 1, 2 or 4 around 128 as its range allows, and the scale less 1 as blue. The box of the chroma is moved
// inward by (range - 7) / 16, and its other diagonal is taken where most pixels lie along that one. Two neighbouring
// blocks go at a time.
#include <bit>

#include "frame/frame.h"
#include "frame/simd.h"
#include "texture/alpha_block.h"
#include "texture/colour_part.h"
#include "texture/encode_walk.h"

namespace {

using namespace texture;

// Pixels as Co, Cg, 0, Y.
inline PairRows loadRows(const uint8_t* src, int32_t srcStep) {
  const __m256i places = _mm256_setr_epi8(1, 2, -1, 0, 4, 5, -1, 3, 7, 8, -1, 6, 10, 11, -1, 9,  //
                                          5, 6, -1, 4, 8, 9, -1, 7, 11, 12, -1, 10, 14, 15, -1, 13);
  PairRows r;
  for (int y = 0; y < 4; ++y) {
    const uint8_t* row = src + ptrdiff_t{srcStep} * y;
    r.row[y] = _mm256_shuffle_epi8(load16x2(row, row + 8), places);
  }
  return r;
}

inline __m256i notAbove(__m256i v, int limit) {
  return _mm256_cmpeq_epi8(_mm256_min_epu8(v, _mm256_set1_epi8(static_cast<char>(limit))), v);
}

// Where the chroma of a block may be doubled, and doubled again.
struct Scale {
  __m256i twice, fourTimes;

  // Around 128, which is chroma without colour. No sample of a block that allows it leaves a byte.
  __m256i apply(__m256i pixels) const {
    const __m256i middle = _mm256_set1_epi16(static_cast<int16_t>(0x8080));
    __m256i c = _mm256_xor_si256(pixels, middle);
    c = _mm256_add_epi8(c, _mm256_and_si256(c, twice));
    c = _mm256_add_epi8(c, _mm256_and_si256(c, fourTimes));
    return _mm256_and_si256(_mm256_xor_si256(c, middle), _mm256_set1_epi32(0xFFFF));
  }
};
inline Scale scaleOf(__m256i smallest, __m256i largest) {
  const auto fromMiddle = [](__m256i v) {
    const __m256i middle = _mm256_set1_epi8(-128);
    return _mm256_sub_epi8(_mm256_max_epu8(v, middle), _mm256_min_epu8(v, middle));
  };
  const __m256i each = _mm256_max_epu8(fromMiddle(smallest), fromMiddle(largest));
  const __m256i swapped = _mm256_or_si256(_mm256_srli_epi16(each, 8), _mm256_slli_epi16(each, 8));
  const __m256i farthest = _mm256_max_epu8(each, swapped);  // in the two bytes of chroma
  return {notAbove(farthest, 63), notAbove(farthest, 31)};
}

struct YCoCg {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 3, kGroup = 2;

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    const PairRows pixels = loadRows(src, srcStep);
    const __m256i smallest = smallestPixel(pixels), largest = largestPixel(pixels);
    const Scale scale = scaleOf(smallest, largest);
    PairRows chroma;
    for (int y = 0; y < 4; ++y) chroma.row[y] = scale.apply(pixels.row[y]);

    // Chroma as two words of a lane: (16 * max - (range - 7)) >> 4 and (16 * min + (range - 7)) >> 4. The first never
    // leaves a byte; the second falls below 0 where a small range lies at 0, and wraps to 255: kept.
    const __m256i spread = _mm256_setr_epi8(0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1,  //
                                            0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1);
    const __m256i gather = _mm256_setr_epi8(0, 2, -1, -1, 4, 6, -1, -1, 8, 10, -1, -1, 12, 14, -1, -1,  //
                                            0, 2, -1, -1, 4, 6, -1, -1, 8, 10, -1, -1, 12, 14, -1, -1);
    const __m256i min = _mm256_shuffle_epi8(scale.apply(smallest), spread);
    const __m256i max = _mm256_shuffle_epi8(scale.apply(largest), spread);
    const __m256i inset = _mm256_sub_epi16(_mm256_sub_epi16(max, min), _mm256_set1_epi16(7));
    const auto sixteenth = [=](__m256i v) { return _mm256_shuffle_epi8(_mm256_srli_epi16(v, 4), gather); };
    __m256i high = widenedEnd(sixteenth(_mm256_sub_epi16(_mm256_slli_epi16(max, 4), inset)));
    __m256i low = widenedEnd(sixteenth(_mm256_add_epi16(_mm256_slli_epi16(min, 4), inset)));

    // Pixels on different sides of the two middles. Where they are more than half, Cg changes ends.
    const __m256i middle = _mm256_avg_epu8(high, low);
    uint32_t apart = 0;
    for (int y = 0; y < 4; ++y) {
      const __m256i above = _mm256_cmpeq_epi8(_mm256_max_epu8(chroma.row[y], middle), chroma.row[y]);
      const __m256i differ = _mm256_xor_si256(_mm256_slli_epi32(above, 24), _mm256_slli_epi32(above, 16));
      apart |= static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(differ))) << 8 * y;
    }
    const auto swapOf = [=](uint32_t lanes) { return std::popcount(apart & lanes) > 8 ? 0xFF00 : 0; };
    const int swapLow = swapOf(0x0F0F0F0F), swapHigh = swapOf(0xF0F0F0F0);
    const __m256i swapped =
        _mm256_and_si256(_mm256_xor_si256(high, low),
                         _mm256_setr_epi32(swapLow, swapLow, swapLow, swapLow, swapHigh, swapHigh, swapHigh, swapHigh));
    high = _mm256_xor_si256(high, swapped);
    low = _mm256_xor_si256(low, swapped);

    const BlockWords colours = colourWords(chroma, high, low);
    const __m256i codes = _mm256_or_si256(_mm256_and_si256(scale.twice, _mm256_set1_epi32(1)),
                                          _mm256_and_si256(scale.fourTimes, _mm256_set1_epi32(2)));
    const auto codeInBoth = [](__m128i code) {
      return static_cast<uint64_t>(static_cast<uint32_t>(_mm_cvtsi128_si32(code))) * 0x10001;
    };
    const auto fourth = [](__m256i v) { return _mm256_shuffle_epi8(v, _mm256_set1_epi8(3)); };
    const BlockWords luma = encodeAlphaBetween(fourthBytes(pixels), fourth(smallest), fourth(largest));
    storeWords(dst, luma.low, colours.low | codeInBoth(_mm256_castsi256_si128(codes)));
    storeWords(dst + 16, luma.high, colours.high | codeInBoth(_mm256_extracti128_si256(codes, 1)));
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<YCoCg>(src, srcStep, size, dst);
}
