// One channel to BC4 and two to BC5: blocks of the shape of DXT5's alpha, one or two a pixel, coded apart.
#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "texture/alpha_block.h"
#include "texture/encode_walk.h"

namespace {

using namespace texture;

inline void storeWord(uint8_t* dst, uint64_t word) { storeAny(reinterpret_cast<uint64_t*>(dst), word); }

struct Bc4 {
  static constexpr int32_t kBlockBytes = 8, kPixelBytes = 1, kGroup = 8;

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    __m256i v[4];
    for (int y = 0; y < 4; ++y) v[y] = load32(src + ptrdiff_t{srcStep} * y);
    transposeHalves4x4(v);  // v[k] holds blocks k and k + 4
    for (int k = 0; k < 4; ++k) {
      const BlockWords words = encodeAlpha(v[k]);
      storeWord(dst + 8 * k, words.low);
      storeWord(dst + 8 * k + 32, words.high);
    }
  }
};

struct Bc5 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 2, kGroup = 4;

  // A channel of blocks 0 and 2, and of blocks 1 and 3.
  static void encodeChannel(const __m256i (&words)[4], uint8_t* dst) {
    const auto rows = [&](int y) { return _mm256_castsi256_ps(_mm256_packus_epi16(words[y], words[y + 1])); };
    const __m256 upper = rows(0), lower = rows(2);
    const BlockWords even = encodeAlpha(_mm256_castps_si256(_mm256_shuffle_ps(upper, lower, 0x88)));
    const BlockWords odd = encodeAlpha(_mm256_castps_si256(_mm256_shuffle_ps(upper, lower, 0xDD)));
    storeWord(dst, even.low);
    storeWord(dst + 16, odd.low);
    storeWord(dst + 32, even.high);
    storeWord(dst + 48, odd.high);
  }

  static void encode(const uint8_t* src, int32_t srcStep, uint8_t* dst) {
    __m256i first[4], second[4];
    for (int y = 0; y < 4; ++y) {
      const __m256i pixels = load32(src + ptrdiff_t{srcStep} * y);
      first[y] = _mm256_and_si256(pixels, _mm256_set1_epi16(0xFF));
      second[y] = _mm256_srli_epi16(pixels, 8);
    }
    encodeChannel(first, dst);
    encodeChannel(second, dst + 8);
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureEncodeBlock_BC4_8u_C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<Bc4>(src, srcStep, size, dst);
}

QLM_EXPORT(qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R)
(const uint8_t* src, int32_t srcStep, QlmSize size, uint8_t* dst) {
  return encodeTexture<Bc5>(src, srcStep, size, dst);
}
