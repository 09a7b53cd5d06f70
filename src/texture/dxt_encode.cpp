// RGBA pixels to DXT1, DXT3 and DXT5 (BC1, BC2, BC3), in one pass and without a search: the ends of the colours are two
// opposite corners of the block's bounding box, moved inward by a sixteenth of its sides, and the nearest of four
// colours by the sum of absolute differences gives the index. Two neighbouring blocks go at a time.
#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "texture/alpha_block.h"
#include "texture/colour_part.h"
#include "texture/encode_walk.h"

namespace {

using namespace texture;

// Four rows of two neighbouring blocks, one in each half.
inline PairRows loadRows(const uint8_t* src, int32_t srcStep) {
  PairRows r;
  for (int y = 0; y < 4; ++y) r.row[y] = load32(src + ptrdiff_t{srcStep} * y);
  return r;
}

inline BlockWords encodeColours(const PairRows& pixels) {
  const __m256i colours = _mm256_set1_epi32(0xFFFFFF);
  PairRows rgb;
  for (int y = 0; y < 4; ++y) rgb.row[y] = _mm256_and_si256(pixels.row[y], colours);
  const __m256i smallest = smallestPixel(rgb), largest = largestPixel(rgb), inset = insetOf(smallest, largest);
  const __m256i low = _mm256_add_epi8(smallest, inset), high = _mm256_sub_epi8(largest, inset);
  return colourWords(rgb, widenedEnd(high), widenedEnd(low));
}

struct Dxt1 {
  static constexpr int32_t kBlockBytes = 8, kPixelBytes = 4, kGroup = 2;

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    const BlockWords colours = encodeColours(loadRows(src, srcStep));
    storeWords(dst, colours.low, colours.high);
  }
};

// The top four bits of each alpha, truncated.
struct Dxt3 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 4, kGroup = 2;

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    const PairRows pixels = loadRows(src, srcStep);
    const BlockWords colours = encodeColours(pixels);
    const __m256i alpha = _mm256_and_si256(_mm256_srli_epi16(fourthBytes(pixels), 4), _mm256_set1_epi8(15));
    const __m256i pairs = _mm256_maddubs_epi16(alpha, _mm256_set1_epi16(0x1001));
    const __m256i bytes = _mm256_packus_epi16(pairs, pairs);
    storeWords(dst, static_cast<uint64_t>(_mm256_extract_epi64(bytes, 0)), colours.low);
    storeWords(dst + 16, static_cast<uint64_t>(_mm256_extract_epi64(bytes, 2)), colours.high);
  }
};

struct Dxt5 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 4, kGroup = 2;

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    const PairRows pixels = loadRows(src, srcStep);
    const BlockWords colours = encodeColours(pixels);
    const BlockWords alpha = encodeAlpha(fourthBytes(pixels));
    storeWords(dst, alpha.low, colours.low);
    storeWords(dst + 16, alpha.high, colours.high);
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<Dxt1>(src, srcStep, size, dst);
}

QLM_EXPORT(qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<Dxt3>(src, srcStep, size, dst);
}

QLM_EXPORT(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<Dxt5>(src, srcStep, size, dst);
}
