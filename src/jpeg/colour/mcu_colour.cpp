// Colour conversion between interleaved pixels and the level-shifted blocks of one MCU (JFIF, ITU-T T.81 A.2.3), with
// chroma at full resolution (444), halved horizontally (422) or in both directions (411). Forward, chroma is the plain
// sum of the pixels that it covers, put through the matrix once; inverse, it is replicated. Blocks of a plane are
// contiguous, luma blocks in raster order.
#include <type_traits>

#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "jpeg/colour/columns.h"
#include "jpeg/colour/forward_sets.h"
#include "jpeg/colour/inverse_sets.h"
#include "jpeg/colour/pixels.h"

namespace {

using namespace colour;

// Inverse. The published matrix with 14 fractional bits; the offset holds the level shift of 128 and the rounding. Red
// and blue use kHalf; green rounds halves up in set N (444 with bytes) and down in set M (everything else). M is stated
// with 13 bits in red and blue and with green subtracted, which gives the same values.
constexpr int kHalf = (128 << 14) + 8192;
constexpr int kGreenN = kHalf, kGreenM = kHalf - 1;

// Green of the 444 forms, and whether there is a fourth plane: K, with as many blocks as luma.
template <typename Layout>
constexpr int kGreen444 = Layout::kBytes == 3 ? kGreenN : kGreenM;
template <typename Layout>
constexpr bool kHasBlack = std::is_same_v<Layout, Cmyk>;

// Cr of CMYK at full resolution rounds by 8133 instead of 8192, and keeps doing so.
constexpr Weights kCrCmyk444 = {8192, -6860, -1332, 8133, 7};

// The words of sums over the pixels that will make a chroma row, before neighbours are added.
RgbWords widen(const Pixels& p) {
  const __m256i lowBytes = _mm256_set1_epi16(255);
  return {_mm256_and_si256(p.rg, lowBytes), _mm256_srli_epi16(p.rg, 8), _mm256_and_si256(p.bg, lowBytes)};
}

// Set A's chroma of sums: (r * R + g * G + b * B + half) >> kShift, R, G, B being the sums of two neighbouring words.
// Gives eight 32-bit values.
template <Weights kW, int kShift>
__m256i weighNeighbours(const RgbWords& sums) {
  const __m256i r = _mm256_madd_epi16(sums.r, _mm256_set1_epi16(kW.r));
  const __m256i g = _mm256_madd_epi16(sums.g, _mm256_set1_epi16(kW.g));
  const __m256i b = _mm256_madd_epi16(sums.b, _mm256_set1_epi16(kW.b));
  const __m256i half = _mm256_set1_epi32(1 << (kShift - 1));
  return _mm256_srai_epi32(_mm256_add_epi32(_mm256_add_epi32(r, g), _mm256_add_epi32(b, half)), kShift);
}

// One row of chroma, 8 elements of each block, of the sums over 16 columns.
template <int kShift>
void storeChromaRow(const RgbWords& sums, int16_t* cb, int16_t* cr) {
  const __m256i both = _mm256_packs_epi32(weighNeighbours<kCbA, kShift>(sums), weighNeighbours<kCrA, kShift>(sums));
  store16x2(cb, cr, _mm256_permute4x64_epi64(both, 0xD8));
}

__m256i levelShift(__m256i samples) { return _mm256_sub_epi16(samples, _mm256_set1_epi16(128)); }

// The forward forms: the MCU is kH blocks wide and kV high in luma. Plane 3, where there is one, is K.
template <typename Layout>
void pixelsToBlocks444(const uint8_t* src, int32_t srcStep, int16_t* const* dst) {
  for (int y = 0; y < 8; y += 2) {
    const uint8_t *low = ownRow(src, srcStep, y), *high = ownRow(src, srcStep, y + 1);
    const Pixels p = Layout::loadEight(low, high);
    store32(dst[0] + 8 * y, levelShift(weigh<kLumaA>(p)));
    store32(dst[1] + 8 * y, weigh<kCbA>(p));
    store32(dst[2] + 8 * y, weigh < kHasBlack<Layout> ? kCrCmyk444 : kCrA > (p));
    if constexpr (kHasBlack<Layout>) store32(dst[3] + 8 * y, levelShift(Layout::loadBlack(low, high)));
  }
}

template <typename Layout, int kV>
void pixelsToBlocksReduced(const uint8_t* src, int32_t srcStep, int16_t* const* dst) {
  const auto pixelRow = [=](const uint8_t* pixels, int at) {
    const uint8_t* right = pixels + 8 * Layout::kBytes;
    const Pixels p = Layout::loadEight(pixels, right);
    store16x2(dst[0] + at, dst[0] + at + 64, levelShift(weigh<kLumaA>(p)));
    if constexpr (kHasBlack<Layout>)
      store16x2(dst[3] + at, dst[3] + at + 64, levelShift(Layout::loadBlack(pixels, right)));
    return widen(p);
  };
  int16_t *cb = dst[1], *cr = dst[2];
  for (int block = 0; block < 128 * kV; block += 128) {
    for (int at = block; at < block + 64; at += 8 * kV, cb += 8, cr += 8) {
      RgbWords sums = pixelRow(src, at);
      src = ownRow(src, srcStep, 1);
      if constexpr (kV == 2) {
        sums = addWords(sums, pixelRow(src, at + 8));
        src = ownRow(src, srcStep, 1);
      }
      storeChromaRow<14 + kV>(sums, cb, cr);
    }
  }
}

template <typename Layout, int kH, int kV>
QlmStatus pixelsToBlocks(const void* src, int32_t srcStep, int16_t* const* dst) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (anyNull < kHasBlack<Layout> ? 4 : 3 > (dst)) return qlmErrNullPointer;

  const auto* pixels = static_cast<const uint8_t*>(src);
  if constexpr (kH == 1)
    pixelsToBlocks444<Layout>(pixels, srcStep, dst);
  else
    pixelsToBlocksReduced<Layout, kV>(pixels, srcStep, dst);
  return qlmOk;
}

// Words (first, second) repeated, for multiply-adds.
__m256i wordPairs(int first, int second) {
  return _mm256_set1_epi32((first & 65535) | static_cast<int>(static_cast<unsigned>(second) << 16));
}

// y + chroma terms, exact for all 16-bit inputs: luma enters the multiply-adds with weight 1 << 14.
template <int kGreen>
RgbWords exactRgb(__m256i y, __m256i cb, __m256i cr) {
  const __m256i crY[2] = {_mm256_unpacklo_epi16(cr, y), _mm256_unpackhi_epi16(cr, y)};
  const __m256i cbY[2] = {_mm256_unpacklo_epi16(cb, y), _mm256_unpackhi_epi16(cb, y)};
  __m256i r[2], g[2], b[2];
  for (int i = 0; i < 2; ++i) {
    const __m256i fromCr = _mm256_madd_epi16(crY[i], wordPairs(22970, 16384));
    const __m256i fromCb = _mm256_madd_epi16(cbY[i], wordPairs(29032, 16384));
    const __m256i fromBoth = _mm256_add_epi32(_mm256_madd_epi16(crY[i], wordPairs(-11700, 16384)),
                                              _mm256_madd_epi16(cbY[i], wordPairs(-5638, 0)));
    r[i] = _mm256_srai_epi32(_mm256_add_epi32(fromCr, _mm256_set1_epi32(kHalf)), 14);
    g[i] = _mm256_srai_epi32(_mm256_add_epi32(fromBoth, _mm256_set1_epi32(kGreen)), 14);
    b[i] = _mm256_srai_epi32(_mm256_add_epi32(fromCb, _mm256_set1_epi32(kHalf)), 14);
  }
  return {_mm256_packs_epi32(r[0], r[1]), _mm256_packs_epi32(g[0], g[1]), _mm256_packs_epi32(b[0], b[1])};
}

// The chroma terms alone, set M, for |cb|, |cr| < 1 << 14: they and the level shift fit a word, so that the saturating
// sum with any luma clamps as the exact one does. (257 << 13 is kHalf.)
RgbWords chromaTermsM(__m256i cb, __m256i cr) {
  const __m256i level = _mm256_set1_epi16(257);
  const auto one = [=](__m256i c, int weight) {
    const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(c, level), wordPairs(weight, 8192));
    const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(c, level), wordPairs(weight, 8192));
    return _mm256_packs_epi32(_mm256_srai_epi32(low, 14), _mm256_srai_epi32(high, 14));
  };
  const __m256i weights = wordPairs(-5638, -11700), half = _mm256_set1_epi32(kGreenM);
  const __m256i low = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(cb, cr), weights), half);
  const __m256i high = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(cb, cr), weights), half);
  return {one(cr, 22970), _mm256_packs_epi32(_mm256_srai_epi32(low, 14), _mm256_srai_epi32(high, 14)), one(cb, 29032)};
}

// Whether a value is outside -16383 to 16383: no decoder gets there with samples of eight bits.
bool isFarOut(const int16_t* cb, const int16_t* cr) {
  __m256i seen = _mm256_setzero_si256();
  for (int i = 0; i < 64; i += 16) {
    seen = _mm256_or_si256(seen, _mm256_abs_epi16(load32(cb + i)));
    seen = _mm256_or_si256(seen, _mm256_abs_epi16(load32(cr + i)));
  }
  return !_mm256_testz_si256(seen, _mm256_set1_epi16(INT16_MIN | 16384));
}

// K of an MCU as bytes: 128 more, clamped.
__m256i blackBytes(__m256i left, __m256i right) {
  const __m256i level = _mm256_set1_epi16(128);
  return _mm256_packus_epi16(_mm256_adds_epi16(left, level), _mm256_adds_epi16(right, level));
}

template <typename Layout>
void blocksToPixels444(const int16_t* const* src, uint8_t* dst, int32_t dstStep) {
  for (int y = 0; y < 8; y += 2) {
    uint8_t *low = ownRow(dst, dstStep, y), *high = ownRow(dst, dstStep, y + 1);
    const RgbWords rgb =
        exactRgb<kGreen444<Layout>>(load32(src[0] + 8 * y), load32(src[1] + 8 * y), load32(src[2] + 8 * y));
    if constexpr (kHasBlack<Layout>) {
      const __m256i black = load32(src[3] + 8 * y);
      Layout::storeEight(low, high, rgb, blackBytes(black, black));
    } else {
      Layout::storeEight(low, high, rgb);
    }
  }
}

// An MCU of 16 columns, two rows of chroma and so two rows (422) or two pairs of rows (411) of pixels at a time.
template <typename Layout, int kV, bool kFarOut>
void blocksToPixelsReduced(const int16_t* const* src, uint8_t* dst, int32_t dstStep) {
  for (int y = 0; y < 8; y += 2) {
    const __m256i cb = load32(src[1] + 8 * y), cr = load32(src[2] + 8 * y);
    RgbWords left, right;
    if constexpr (!kFarOut) {
      const RgbWords terms = chromaTermsM(cb, cr);
      left = doubleLow(terms), right = doubleHigh(terms);
    }
    for (int i = 0; i < kV; ++i) {
      // This turn's two pixel rows, kV apart, lie in one row of blocks.
      const int row = y * kV + i, at = 128 * (row / 8) + 8 * (row % 8);
      const auto load = [=](const int16_t* plane) { return load16x2(plane + at, plane + at + 8 * kV); };
      const __m256i yLeft = load(src[0]), yRight = load(src[0] + 64);
      if constexpr (kFarOut) {
        left = exactRgb<kGreenM>(yLeft, _mm256_unpacklo_epi16(cb, cb), _mm256_unpacklo_epi16(cr, cr));
        right = exactRgb<kGreenM>(yRight, _mm256_unpackhi_epi16(cb, cb), _mm256_unpackhi_epi16(cr, cr));
      }
      const RgbWords rgbLeft = kFarOut ? left : addLuma(yLeft, left);
      const RgbWords rgbRight = kFarOut ? right : addLuma(yRight, right);
      uint8_t *low = ownRow(dst, dstStep, row), *high = ownRow(dst, dstStep, row + kV);
      if constexpr (kHasBlack<Layout>)
        Layout::storeSixteen(low, high, rgbLeft, rgbRight, blackBytes(load(src[3]), load(src[3] + 64)));
      else
        Layout::storeSixteen(low, high, rgbLeft, rgbRight);
    }
  }
}

// The inverse forms.
template <typename Layout, int kH, int kV>
QlmStatus blocksToPixels(const int16_t* const* src, void* dst, int32_t dstStep) {
  if (!src || !dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (anyNull < kHasBlack<Layout> ? 4 : 3 > (src)) return qlmErrNullPointer;

  auto* pixels = static_cast<uint8_t*>(dst);
  if constexpr (kH == 1)
    blocksToPixels444<Layout>(src, pixels, dstStep);
  else if (isFarOut(src[1], src[2]))
    blocksToPixelsReduced<Layout, kV, true>(src, pixels, dstStep);
  else
    blocksToPixelsReduced<Layout, kV, false>(src, pixels, dstStep);
  return qlmOk;
}

}  // namespace

// The exports: layout, blocks across, blocks down.

QLM_EXPORT(qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Rgb24, 1, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Rgb24, 2, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Rgb24, 2, 2>(src, srcStep, dst); }

QLM_EXPORT(qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 1, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 2, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 2, 2>(src, dst, dstStep); }

QLM_EXPORT(qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 1, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 2, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 2, 2>(src, srcStep, dst); }

QLM_EXPORT(qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 1, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 2, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 2, 2>(src, dst, dstStep); }

QLM_EXPORT(qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr555, 1, 1>(src, srcStep, dst);
}

QLM_EXPORT(qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr555, 2, 1>(src, srcStep, dst);
}

QLM_EXPORT(qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr555, 2, 2>(src, srcStep, dst);
}

QLM_EXPORT(qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr555, 1, 1>(src, dst, dstStep);
}

QLM_EXPORT(qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr555, 2, 1>(src, dst, dstStep);
}

QLM_EXPORT(qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr555, 2, 2>(src, dst, dstStep);
}

QLM_EXPORT(qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr565, 1, 1>(src, srcStep, dst);
}

QLM_EXPORT(qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr565, 2, 1>(src, srcStep, dst);
}

QLM_EXPORT(qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R)
(const uint16_t* src, int32_t srcStep, int16_t* const dst[3]) {
  return pixelsToBlocks<Bgr565, 2, 2>(src, srcStep, dst);
}

QLM_EXPORT(qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr565, 1, 1>(src, dst, dstStep);
}

QLM_EXPORT(qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr565, 2, 1>(src, dst, dstStep);
}

QLM_EXPORT(qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R)
(const int16_t* const src[3], uint16_t* dst, int32_t dstStep) {
  return blocksToPixels<Bgr565, 2, 2>(src, dst, dstStep);
}

QLM_EXPORT(qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]) { return pixelsToBlocks<Cmyk, 1, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]) { return pixelsToBlocks<Cmyk, 2, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[4]) { return pixelsToBlocks<Cmyk, 2, 2>(src, srcStep, dst); }

QLM_EXPORT(qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R)
(const int16_t* const src[4], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Cmyk, 1, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R)
(const int16_t* const src[4], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Cmyk, 2, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R)
(const int16_t* const src[4], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Cmyk, 2, 2>(src, dst, dstStep); }
