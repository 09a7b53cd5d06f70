// BC4 to one channel and BC5 to two: blocks of the shape of DXT5's alpha, one or two a pixel.
#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "texture/alpha_block.h"
#include "texture/decode_walk.h"

namespace {

using namespace texture;

inline uint64_t wordAt(const uint8_t* p) { return loadAny(reinterpret_cast<const uint64_t*>(p)); }

// Rows of four bytes of four blocks a half are brought side by side.
struct Bc4 {
  static constexpr int32_t kBlockBytes = 8, kPixelBytes = 1, kGroup = 8;

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    __m256i v[4];
    for (int k = 0; k < 4; ++k) v[k] = alphaValues(wordAt(src + 8 * k), wordAt(src + 8 * k + 32));
    transposeHalves4x4(v);
    for (int y = 0; y < 4; ++y) store32(dst + ptrdiff_t{dstStep} * y, v[y]);
  }
};

// Two rows of a block interleaved are sixteen bytes; rows of two blocks a half are brought side by side.
struct Bc5 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 2, kGroup = 4;

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    __m256i upper[2], lower[2];
    for (int k = 0; k < 2; ++k) {
      const uint8_t *low = src + 16 * k, *high = low + 32;
      const __m256i red = alphaValues(wordAt(low), wordAt(high)),
                    green = alphaValues(wordAt(low + 8), wordAt(high + 8));
      upper[k] = _mm256_unpacklo_epi8(red, green);
      lower[k] = _mm256_unpackhi_epi8(red, green);
    }
    store32(dst, _mm256_unpacklo_epi64(upper[0], upper[1]));
    store32(dst + ptrdiff_t{dstStep}, _mm256_unpackhi_epi64(upper[0], upper[1]));
    store32(dst + ptrdiff_t{dstStep} * 2, _mm256_unpacklo_epi64(lower[0], lower[1]));
    store32(dst + ptrdiff_t{dstStep} * 3, _mm256_unpackhi_epi64(lower[0], lower[1]));
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureDecodeBlock_BC4_8u_C1R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Bc4>(src, dst, dstStep, size);
}

QLM_EXPORT(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Bc5>(src, dst, dstStep, size);
}
