// Colour conversion between interleaved pixels and the level-shifted blocks of one MCU (JFIF, ITU-T T.81 A.2.3), with
// chroma at full resolution (444), halved horizontally (422) or in both directions (411). Forward, chroma is the plain
// sum of the pixels that it covers, put through the matrix once; inverse, it is replicated. Blocks of a plane are
// contiguous, luma blocks in raster order.
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "jpeg/colour/forward_sets.h"

namespace {

using colour::Pixels;

// Red, green and blue of sixteen pixels as words, eight pixels in each half.
struct RgbWords {
  __m256i r, g, b;
};

// Inverse. The published matrix with 14 fractional bits; the offset holds the level shift of 128 and the rounding. Red
// and blue use kHalf; green rounds halves up in set N (444 with bytes) and down in set M (everything else). M is stated
// with 13 bits in red and blue and with green subtracted, which gives the same values.
constexpr int kHalf = (128 << 14) + 8192;
constexpr int kGreenN = kHalf, kGreenM = kHalf - 1;

// Pixels of three bytes. Eight of them are exactly 24 bytes: loads and stores of 16 bytes overlap.
template <bool kBlueFirst>
struct Bytes3 {
  using Element = uint8_t;
  static constexpr int kElements = 3;
  static constexpr int kGreen444 = kGreenN;

  static Pixels loadEight(const uint8_t* low, const uint8_t* high) {
    const __m256i first16 = load16x2(low, high), last16 = load16x2(low + 8, high + 8);
    const BytePairs p = kBlueFirst ? deinterleave3<2, 1, 0>(first16, last16) : deinterleave3<0, 1, 2>(first16, last16);
    return {p.ab, p.cb};
  }

  static void storeEight(uint8_t* low, uint8_t* high, const RgbWords& p) {
    const __m256i first = kBlueFirst ? p.b : p.r, third = kBlueFirst ? p.r : p.b;
    const Interleaved8 bytes = interleave3x8(_mm256_packus_epi16(first, p.g), _mm256_packus_epi16(third, third));
    store16x2(low, high, bytes.first16);
    store16x2(low + 8, high + 8, bytes.last16);
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const RgbWords& left, const RgbWords& right) {
    const auto first = [](const RgbWords& p) { return kBlueFirst ? p.b : p.r; };
    const auto third = [](const RgbWords& p) { return kBlueFirst ? p.r : p.b; };
    const Interleaved16 bytes =
        interleave3x16(_mm256_packus_epi16(first(left), left.g), _mm256_packus_epi16(first(right), right.g),
                       _mm256_packus_epi16(third(left), third(right)));
    for (int i = 0; i < 3; ++i) store16x2(low + 16 * i, high + 16 * i, bytes.part[i]);
  }
};
using Rgb24 = Bytes3<false>;
using Bgr24 = Bytes3<true>;

// The words of sums over the pixels that will make a chroma row, before neighbours are added.
RgbWords widen(const Pixels& p) {
  const __m256i lowBytes = _mm256_set1_epi16(255);
  return {_mm256_and_si256(p.rg, lowBytes), _mm256_srli_epi16(p.rg, 8), _mm256_and_si256(p.bg, lowBytes)};
}

RgbWords add(const RgbWords& p, const RgbWords& q) {
  return {_mm256_add_epi16(p.r, q.r), _mm256_add_epi16(p.g, q.g), _mm256_add_epi16(p.b, q.b)};
}

// Set A's chroma of sums: (r * R + g * G + b * B + half) >> kShift, R, G, B being the sums of two neighbouring words.
// Gives eight 32-bit values.
template <colour::Weights kW, int kShift>
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
  const __m256i both =
      _mm256_packs_epi32(weighNeighbours<colour::kCbA, kShift>(sums), weighNeighbours<colour::kCrA, kShift>(sums));
  store16x2(cb, cr, _mm256_permute4x64_epi64(both, 0xD8));
}

__m256i shiftedLuma(const Pixels& p) {
  return _mm256_sub_epi16(colour::weigh<colour::kLumaA>(p), _mm256_set1_epi16(128));
}

// The forward forms: the MCU is kH blocks wide and kV high in luma.
template <typename Layout, int kH, int kV>
QlmStatus pixelsToBlocks(const typename Layout::Element* src, int32_t srcStep, int16_t* const dst[3]) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;
  if (!dst[0] || !dst[1] || !dst[2]) return qlmErrNullPointer;

  int16_t *luma = dst[0], *cb = dst[1], *cr = dst[2];
  const auto row = [=](int y) { return ownRow(src, srcStep, y); };
  if constexpr (kH == 1) {
    for (int y = 0; y < 8; y += 2) {
      const Pixels p = Layout::loadEight(row(y), row(y + 1));
      store32(luma + 8 * y, shiftedLuma(p));
      store32(cb + 8 * y, colour::weigh<colour::kCbA>(p));
      store32(cr + 8 * y, colour::weigh<colour::kCrA>(p));
    }
  } else {
    const auto lumaRow = [](const typename Layout::Element* pixels, int16_t* left) {
      const Pixels p = Layout::loadEight(pixels, pixels + 8 * Layout::kElements);
      store16x2(left, left + 64, shiftedLuma(p));
      return widen(p);
    };
    for (int block = 0; block < kV; ++block, luma += 128) {
      for (int y = 0; y < 64; y += 8 * kV, cb += 8, cr += 8) {
        RgbWords sums = lumaRow(src, luma + y);
        src = ownRow(src, srcStep, 1);
        if constexpr (kV == 2) {
          sums = add(sums, lumaRow(src, luma + y + 8));
          src = ownRow(src, srcStep, 1);
        }
        storeChromaRow<14 + kV>(sums, cb, cr);
      }
    }
  }
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

RgbWords addLuma(__m256i y, const RgbWords& terms) {
  return {_mm256_adds_epi16(y, terms.r), _mm256_adds_epi16(y, terms.g), _mm256_adds_epi16(y, terms.b)};
}

// Every word twice, from the lower or the upper four words of each half.
__m256i doubleLow(__m256i v) { return _mm256_unpacklo_epi16(v, v); }
__m256i doubleHigh(__m256i v) { return _mm256_unpackhi_epi16(v, v); }

// Whether a value is outside -16383 to 16383: no decoder gets there with samples of eight bits.
bool isFarOut(const int16_t* cb, const int16_t* cr) {
  __m256i seen = _mm256_setzero_si256();
  for (int i = 0; i < 64; i += 16) {
    seen = _mm256_or_si256(seen, _mm256_abs_epi16(load32(cb + i)));
    seen = _mm256_or_si256(seen, _mm256_abs_epi16(load32(cr + i)));
  }
  return !_mm256_testz_si256(seen, _mm256_set1_epi16(INT16_MIN | 16384));
}

// An MCU of 16 columns, two rows of chroma and so two rows (422) or two pairs of rows (411) of pixels at a time.
template <typename Layout, int kV, bool kFarOut>
void blocksToPixels(const int16_t* luma, const int16_t* cb, const int16_t* cr, typename Layout::Element* dst,
                    int32_t dstStep) {
  for (int y = 0; y < 8; y += 2) {
    const __m256i cbRows = load32(cb + 8 * y), crRows = load32(cr + 8 * y);
    RgbWords left, right;
    if constexpr (!kFarOut) {
      const RgbWords terms = chromaTermsM(cbRows, crRows);
      left = {doubleLow(terms.r), doubleLow(terms.g), doubleLow(terms.b)};
      right = {doubleHigh(terms.r), doubleHigh(terms.g), doubleHigh(terms.b)};
    }
    for (int i = 0; i < kV; ++i) {
      const int low = y * kV + i, high = low + kV;  // the pixel rows of this turn
      const int16_t* yLow = luma + 128 * (low / 8) + 8 * (low % 8);
      const __m256i yLeft = load16x2(yLow, yLow + 8 * kV), yRight = load16x2(yLow + 64, yLow + 64 + 8 * kV);
      if constexpr (kFarOut)
        Layout::storeSixteen(ownRow(dst, dstStep, low), ownRow(dst, dstStep, high),
                             exactRgb<kGreenM>(yLeft, doubleLow(cbRows), doubleLow(crRows)),
                             exactRgb<kGreenM>(yRight, doubleHigh(cbRows), doubleHigh(crRows)));
      else
        Layout::storeSixteen(ownRow(dst, dstStep, low), ownRow(dst, dstStep, high), addLuma(yLeft, left),
                             addLuma(yRight, right));
    }
  }
}

// The inverse forms.
template <typename Layout, int kH, int kV>
QlmStatus blocksToPixels(const int16_t* const src[3], typename Layout::Element* dst, int32_t dstStep) {
  if (!src || !dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (!src[0] || !src[1] || !src[2]) return qlmErrNullPointer;

  if constexpr (kH == 1) {
    for (int y = 0; y < 8; y += 2)
      Layout::storeEight(
          ownRow(dst, dstStep, y), ownRow(dst, dstStep, y + 1),
          exactRgb<Layout::kGreen444>(load32(src[0] + 8 * y), load32(src[1] + 8 * y), load32(src[2] + 8 * y)));
  } else if (isFarOut(src[1], src[2])) {
    blocksToPixels<Layout, kV, true>(src[0], src[1], src[2], dst, dstStep);
  } else {
    blocksToPixels<Layout, kV, false>(src[0], src[1], src[2], dst, dstStep);
  }
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

QLM_EXPORT(qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 1, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 2, 1>(src, srcStep, dst); }

QLM_EXPORT(qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R)
(const uint8_t* src, int32_t srcStep, int16_t* const dst[3]) { return pixelsToBlocks<Bgr24, 2, 2>(src, srcStep, dst); }

QLM_EXPORT(qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 1, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 2, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Rgb24, 2, 2>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 1, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 2, 1>(src, dst, dstStep); }

QLM_EXPORT(qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R)
(const int16_t* const src[3], uint8_t* dst, int32_t dstStep) { return blocksToPixels<Bgr24, 2, 2>(src, dst, dstStep); }
