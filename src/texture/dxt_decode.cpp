// DXT1, DXT3 and DXT5 (BC1, BC2, BC3) to RGBA pixels. Eight neighbouring blocks go at a time: their palettes are
// computed side by side, one block a lane, then turned so that each block has its four colours in one half of a vector,
// where a permutation by 2-bit indices picks from them.
//
// Where this departs from the published formats, it is meant to: the fourth colour of a DXT1 block of three colours is
// opaque white, DXT3's alpha is shifted without replication, so that it never reaches 255, and the colours of DXT3 and
// DXT5 ignore the order of the ends.
#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "texture/alpha_block.h"
#include "texture/colour_part.h"
#include "texture/decode_walk.h"

namespace {

using namespace texture;

// Of eight blocks, the even ones in the lower half and the odd ones in the upper: the two ends of the colours as 16-bit
// values of each lane, and the indices.
struct ColourBlocks {
  __m256i ends, indices;
};

// P0 to P3 of each pair of neighbouring blocks, as RGBA in each half: pair[k] are blocks 2k and 2k + 1.
struct Palettes {
  __m256i pair[4];
};

// Five, six and five bits to bytes by replication, as R | G << 8 | B << 16, from the lower half of each lane.
inline __m256i expand565(__m256i c) {
  const auto field = [](__m256i v, int mask) { return _mm256_and_si256(v, _mm256_set1_epi32(mask)); };
  const __m256i r = field(_mm256_srli_epi32(c, 8), 0xF8), g = field(_mm256_slli_epi32(c, 5), 0xFC00);
  const __m256i b = field(_mm256_slli_epi32(c, 19), 0xF80000);
  const __m256i rb = _mm256_or_si256(r, b);
  const __m256i high =
      _mm256_or_si256(field(_mm256_srli_epi32(rb, 5), 0x070007), field(_mm256_srli_epi32(g, 6), 0x300));
  return _mm256_or_si256(_mm256_or_si256(rb, g), high);
}

// Alpha of `alpha` in all colours. With kThreeColours, blocks whose first end is not above their second have the mean
// of the ends, and white.
template <bool kThreeColours>
inline Palettes palettesOf(__m256i ends, int alpha) {
  const __m256i lower = _mm256_set1_epi32(0xFFFF);
  const __m256i end0 = _mm256_and_si256(ends, lower), end1 = _mm256_srli_epi32(ends, 16);
  const __m256i p0 = expand565(end0), p1 = expand565(end1);
  __m256i p2 = twoThirdsOfBytes(p0, p1), p3 = twoThirdsOfBytes(p1, p0);
  if constexpr (kThreeColours) {
    const auto mean = [](__m256i a, __m256i b) { return _mm256_srli_epi16(_mm256_add_epi16(a, b), 1); };
    const __m256i means = joinBytes(mean(evenBytes(p0), evenBytes(p1)), mean(oddBytes(p0), oddBytes(p1)));
    const __m256i four = _mm256_cmpgt_epi32(end0, end1);
    p2 = _mm256_blendv_epi8(means, p2, four);
    p3 = _mm256_blendv_epi8(_mm256_set1_epi8(-1), p3, four);
  }
  const __m256i opaque = _mm256_set1_epi32(static_cast<int>(static_cast<unsigned>(alpha) << 24));
  Palettes p = {{_mm256_or_si256(p0, opaque), _mm256_or_si256(p1, opaque), _mm256_or_si256(p2, opaque),
                 _mm256_or_si256(p3, opaque)}};
  transposeHalves4x4(p.pair);
  return p;
}

// One row of pixels of a pair of blocks: lane i of a half takes the colour of bits 2i and 2i + 1 of the index byte.
inline __m256i rowOfPair(__m256i palette, __m256i indices, int row) {
  const __m256i places =
      _mm256_add_epi32(_mm256_broadcastsi128_si256(_mm_setr_epi32(0, 2, 4, 6)), _mm256_set1_epi32(8 * row));
  return _mm256_castps_si256(_mm256_permutevar_ps(_mm256_castsi256_ps(palette), _mm256_srlv_epi32(indices, places)));
}

template <int k>
inline __m256i indicesOfPair(__m256i indices) {
  return _mm256_shuffle_epi32(indices, k * 0x55);
}

struct Dxt1 {
  static constexpr int32_t kBlockBytes = 8, kPixelBytes = 4, kGroup = 8;

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    const auto load = [](const uint8_t* p) { return _mm256_castsi256_ps(_mm256_permute4x64_epi64(load32(p), 0xD8)); };
    const __m256 low = load(src), high = load(src + 32);
    const __m256i ends = _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0x88));
    const __m256i indices = _mm256_castps_si256(_mm256_shuffle_ps(low, high, 0xDD));
    const Palettes palettes = palettesOf<true>(ends, 255);
    const __m256i of[4] = {indicesOfPair<0>(indices), indicesOfPair<1>(indices), indicesOfPair<2>(indices),
                           indicesOfPair<3>(indices)};
    for (int y = 0; y < 4; ++y)
      for (int k = 0; k < 4; ++k) store32(dst + ptrdiff_t{dstStep} * y + 32 * k, rowOfPair(palettes.pair[k], of[k], y));
  }
};

// Blocks of eight bytes of alpha, then eight of colour.
struct Halves {
  __m256i ends, indices, alphaLow, alphaHigh;
};
inline Halves loadBlocks16(const uint8_t* src) {
  const __m256i v0 = load32(src), v1 = load32(src + 32), v2 = load32(src + 64), v3 = load32(src + 96);
  const __m256i c01 = _mm256_unpackhi_epi32(v0, v1), c23 = _mm256_unpackhi_epi32(v2, v3);
  const __m256i a01 = _mm256_unpacklo_epi32(v0, v1), a23 = _mm256_unpacklo_epi32(v2, v3);
  return {_mm256_unpacklo_epi64(c01, c23), _mm256_unpackhi_epi64(c01, c23), _mm256_unpacklo_epi64(a01, a23),
          _mm256_unpackhi_epi64(a01, a23)};
}

struct Dxt3 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 4, kGroup = 8;

  // Pixel x of a row has its alpha at bits 4x to 4x + 3 of the row's word: to bits 28 to 31.
  template <int k>
  static void decodePair(const Halves& blocks, const Palettes& palettes, uint8_t* dst, int32_t dstStep) {
    const __m256i indices = indicesOfPair<k>(blocks.indices);
    const __m256i alpha[2] = {indicesOfPair<k>(blocks.alphaLow), indicesOfPair<k>(blocks.alphaHigh)};
    const __m256i upper = _mm256_broadcastsi128_si256(_mm_setr_epi32(28, 24, 20, 16));
    const __m256i lower = _mm256_broadcastsi128_si256(_mm_setr_epi32(12, 8, 4, 0));
    for (int y = 0; y < 4; ++y) {
      const __m256i top = _mm256_and_si256(_mm256_sllv_epi32(alpha[y / 2], y % 2 ? lower : upper),
                                           _mm256_set1_epi32(static_cast<int>(0xF0000000)));
      store32(dst + ptrdiff_t{dstStep} * y + 32 * k, _mm256_or_si256(top, rowOfPair(palettes.pair[k], indices, y)));
    }
  }

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    const Halves blocks = loadBlocks16(src);
    const Palettes palettes = palettesOf<false>(blocks.ends, 0);
    decodePair<0>(blocks, palettes, dst, dstStep);
    decodePair<1>(blocks, palettes, dst, dstStep);
    decodePair<2>(blocks, palettes, dst, dstStep);
    decodePair<3>(blocks, palettes, dst, dstStep);
  }
};

struct Dxt5 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 4, kGroup = 8;

  template <int k>
  static void decodePair(const uint8_t* src, const Halves& blocks, const Palettes& palettes, uint8_t* dst,
                         int32_t dstStep) {
    const __m256i indices = indicesOfPair<k>(blocks.indices);
    const auto word = [=](int block) { return loadAny(reinterpret_cast<const uint64_t*>(src + 16 * block)); };
    const __m256i alpha = alphaValues(word(2 * k), word(2 * k + 1));
    static constexpr ShufflePattern kToTop = makeShuffle([](int i) { return i % 4 == 3 ? i / 4 : -1; });
    const __m256i toTop = load32(kToTop.index);
    for (int y = 0; y < 4; ++y) {
      // Bytes of the pattern that stay zero keep their highest bit.
      const __m256i top = _mm256_shuffle_epi8(
          alpha, _mm256_add_epi8(toTop, _mm256_set1_epi32(static_cast<int>(4u * static_cast<unsigned>(y) << 24))));
      store32(dst + ptrdiff_t{dstStep} * y + 32 * k, _mm256_or_si256(top, rowOfPair(palettes.pair[k], indices, y)));
    }
  }

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    const Halves blocks = loadBlocks16(src);
    const Palettes palettes = palettesOf<false>(blocks.ends, 0);
    decodePair<0>(src, blocks, palettes, dst, dstStep);
    decodePair<1>(src, blocks, palettes, dst, dstStep);
    decodePair<2>(src, blocks, palettes, dst, dstStep);
    decodePair<3>(src, blocks, palettes, dst, dstStep);
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Dxt1>(src, dst, dstStep, size);
}

QLM_EXPORT(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Dxt3>(src, dst, dstStep, size);
}

QLM_EXPORT(qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Dxt5>(src, dst, dstStep, size);
}
