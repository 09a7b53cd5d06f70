// The fixed-point RGB to YCbCr matrices of JFIF, one per arithmetic set. The sets differ by 1 in rare cases, and each
// is kept exactly: which one serves which columns is told where the exports stand.
//
//   A  14 bits                                          D  14 bits with another chroma matrix, companion of C
//   B  15 bits with tuned rounding terms                E  16 bits, chroma from the difference to luma
//   C  high halves of 16-bit products                   F  16 bits, companion of E
//   G  single-precision luma
#pragma once

#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg/colour/pixels.h"

namespace colour {

// One row of a matrix: (r * red + g * green + b * blue + rounding) >> (7 + split).
struct Weights {
  int r, g, b, rounding, split;

  constexpr int low(int c) const { return ((c + (1 << (split - 1))) & ((1 << split) - 1)) - (1 << (split - 1)); }
  constexpr int high(int c) const { return (c - low(c)) >> split; }
};

// Chroma stands without its offset of 128 here and below: the blocks of an MCU have none, and the bytes of a plane get
// it by a flip of their highest bit.
inline constexpr Weights kLumaA = {4899, 9617, 1868, 8192, 7};
inline constexpr Weights kCbA = {-2764, -5428, 8192, 8192, 7};
inline constexpr Weights kCrA = {8192, -6860, -1332, 8192, 7};

inline constexpr Weights kLumaB = {9798, 19235, 3736, 16266, 8};
inline constexpr Weights kCbB = {-5529, -10855, 16384, 4210688 - (128 << 15), 8};
inline constexpr Weights kCrB = {16384, -13720, -2664, 4210704 - (128 << 15), 8};

// Set D rounds the chroma of one pixel by a quarter of a unit, that of sums of 2 and 4 pixels by a half.
inline constexpr Weights kCbD = {-2765, -5427, 8192, 2101248 - (128 << 14), 7};
inline constexpr Weights kCrD = {8192, -6860, -1332, 2101248 - (128 << 14), 7};

// A vector of byte pairs.
inline __m256i bytePairs(int first, int second) {
  return _mm256_set1_epi16(static_cast<int16_t>((first & 255) | second * 256));
}

// Sets A and B, 16 pixels to words. With c = (high << split) + low,
//   (sum of c * x + rounding) >> (7 + split)  =  (sum of high * x + ((sum of low * x + rest) >> split) + 64) >> 7
// where rest = rounding - (64 << split): floors nest, so 16-bit lanes give the exact result. The last step is one
// rounding multiplication.
template <Weights kW>
inline __m256i weigh(const Pixels& p) {
  constexpr int lr = kW.low(kW.r), lg = kW.low(kW.g), lb = kW.low(kW.b);
  constexpr int hr = kW.high(kW.r), hg = kW.high(kW.g), hb = kW.high(kW.b);
  constexpr int rest = kW.rounding - (64 << kW.split);
  constexpr auto positive = [](int v) { return v > 0 ? v : 0; };
  constexpr auto fits = [=](int r, int g, int b, int more) {
    return (positive(r) + positive(g) + positive(b)) * 255 + more <= INT16_MAX &&
           (positive(-r) + positive(-g) + positive(-b)) * 255 + more <= -INT16_MIN;
  };
  static_assert(fits(lr, lg, lb, rest < 0 ? -rest : rest) && fits(hr, hg, hb, 127), "sums of 16 bits");

  __m256i high =
      _mm256_add_epi16(_mm256_maddubs_epi16(p.rg, bytePairs(hr, hg)), _mm256_maddubs_epi16(p.bg, bytePairs(hb, 0)));
  __m256i low;
  if constexpr (lb == 0)
    low = _mm256_maddubs_epi16(p.rg, bytePairs(lr, lg));
  else if constexpr (lr == 0)
    low = _mm256_maddubs_epi16(p.bg, bytePairs(lb, lg));
  else
    low = _mm256_add_epi16(_mm256_maddubs_epi16(p.rg, bytePairs(lr, lg)), _mm256_maddubs_epi16(p.bg, bytePairs(lb, 0)));
  if constexpr (rest != 0) low = _mm256_add_epi16(low, _mm256_set1_epi16(rest));
  high = _mm256_add_epi16(high, _mm256_srai_epi16(low, kW.split));
  return _mm256_mulhrs_epi16(high, _mm256_set1_epi16(256));
}

// Samples << 6, eight pixels in each half.
inline RgbWords sixBitsUp(const Pixels& p) {
  return {_mm256_maddubs_epi16(p.rg, bytePairs(64, 0)), _mm256_maddubs_epi16(p.rg, bytePairs(0, 64)),
          _mm256_maddubs_epi16(p.bg, bytePairs(64, 0))};
}

// Sets A and D of one pixel, or of a sum of pixels, without the offset of chroma.
template <Weights kW>
constexpr int weighOne(int r, int g, int b) {
  return (kW.r * r + kW.g * g + kW.b * b + kW.rounding) >> (7 + kW.split);
}
template <Weights kW, int kPixels>
constexpr int weighSum(int r, int g, int b) {
  constexpr int kShift = kPixels == 4 ? 16 : kPixels == 2 ? 15 : 14;
  return (kW.r * r + kW.g * g + kW.b * b + (1 << (kShift - 1))) >> kShift;
}

// The high 16 bits of the unsigned products by a constant.
inline __m256i highOfProduct(__m256i x, int c) {
  return _mm256_mulhi_epu16(x, _mm256_set1_epi16(static_cast<int16_t>(c)));
}

// Set C's luma, (hi(r << 8, 4899) + hi(g << 8, 9617) + hi(b << 8, 1868) + 32) >> 6, of samples held as x << (8 - kUp):
// the weights take up the difference.
template <int kUp>
inline __m256i lumaC(const RgbWords& x) {
  const __m256i sum =
      _mm256_add_epi16(_mm256_add_epi16(highOfProduct(x.r, 4899 << kUp), highOfProduct(x.g, 9617 << kUp)),
                       highOfProduct(x.b, 1868 << kUp));
  return _mm256_mulhrs_epi16(sum, _mm256_set1_epi16(512));
}

// Set C's chroma, (hi(xb, 8192) - hi(xr, 2765) - hi(xg, 5427) + 16) >> 5 and (hi(xr, 8192) - hi(xg, 6860) -
// hi(xb, 1332) + 16) >> 5 of samples with 7 fractional bits, held as x >> kUp. One colour alone gives 128, one more
// than a byte can hold: the pack saturates.
template <int kUp>
inline __m256i cbC(const RgbWords& x) {
  const __m256i others = _mm256_add_epi16(highOfProduct(x.r, 2765 << kUp), highOfProduct(x.g, 5427 << kUp));
  return _mm256_mulhrs_epi16(_mm256_sub_epi16(_mm256_srli_epi16(x.b, 3 - kUp), others), _mm256_set1_epi16(1024));
}
template <int kUp>
inline __m256i crC(const RgbWords& x) {
  const __m256i others = _mm256_add_epi16(highOfProduct(x.g, 6860 << kUp), highOfProduct(x.b, 1332 << kUp));
  return _mm256_mulhrs_epi16(_mm256_sub_epi16(_mm256_srli_epi16(x.r, 3 - kUp), others), _mm256_set1_epi16(1024));
}

// Two vectors of chroma words without offset to bytes with it: clamped, then lifted by 128.
inline __m256i chromaBytes(__m256i low, __m256i high) {
  return _mm256_xor_si256(_mm256_packs_epi16(low, high), _mm256_set1_epi8(-128));
}

// Set E, 16 pixels: bytes of red, green and blue less 128 as pairs (red, green) and (blue, blue); luma comes less 128,
// chroma without its offset. The weights of luma are 256 * high + low with unsigned bytes, and floors nest as above:
//   Y = (19595 * r + 38470 * g + 7471 * b + 32768) >> 16
//   Cb = (18491 * (b - Y) + 16384) >> 15, Cr = (23373 * (r - Y) + 16384) >> 15: one rounding multiplication each
struct YccWords {
  __m256i y, cb, cr;
};
inline __m256i lumaE(__m256i rg, __m256i bb) {
  const __m256i high = _mm256_add_epi16(_mm256_maddubs_epi16(bytePairs(19595 / 256, 38470 / 256), rg),
                                        _mm256_maddubs_epi16(bytePairs(7471 / 256, 0), bb));
  const __m256i low = _mm256_add_epi16(_mm256_maddubs_epi16(bytePairs(19595 % 256, 38470 % 256), rg),
                                       _mm256_maddubs_epi16(bytePairs(7471 % 256, 0), bb));
  return _mm256_mulhrs_epi16(_mm256_add_epi16(high, _mm256_srai_epi16(low, 8)), _mm256_set1_epi16(128));
}
inline YccWords setE(__m256i rg, __m256i bb) {
  const __m256i y = lumaE(rg, bb), one = bytePairs(1, 0);
  const __m256i r = _mm256_maddubs_epi16(one, rg), b = _mm256_maddubs_epi16(one, bb);
  return {y, _mm256_mulhrs_epi16(_mm256_sub_epi16(b, y), _mm256_set1_epi16(18491)),
          _mm256_mulhrs_epi16(_mm256_sub_epi16(r, y), _mm256_set1_epi16(23373))};
}

// 32 pixels from planes. A flip of -128 takes 128 off the samples, one of 127 off 255 minus the samples.
inline void convertE(__m256i r, __m256i g, __m256i b, int flip, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  const __m256i bits = _mm256_set1_epi8(static_cast<char>(flip));
  r = _mm256_xor_si256(r, bits), g = _mm256_xor_si256(g, bits), b = _mm256_xor_si256(b, bits);
  const YccWords low = setE(_mm256_unpacklo_epi8(r, g), _mm256_unpacklo_epi8(b, b));
  const YccWords high = setE(_mm256_unpackhi_epi8(r, g), _mm256_unpackhi_epi8(b, b));
  store32(y, chromaBytes(low.y, high.y));
  store32(cb, chromaBytes(low.cb, high.cb));
  store32(cr, chromaBytes(low.cr, high.cr));
}

// The same for eight pixels.
inline void convertEightE(__m256i r, __m256i g, __m256i b, int flip, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  const __m256i bits = _mm256_set1_epi8(static_cast<char>(flip));
  r = _mm256_xor_si256(r, bits), g = _mm256_xor_si256(g, bits), b = _mm256_xor_si256(b, bits);
  const YccWords words = setE(_mm256_unpacklo_epi8(r, g), _mm256_unpacklo_epi8(b, b));
  store8(y, chromaBytes(words.y, words.y));
  store8(cb, chromaBytes(words.cb, words.cb));
  store8(cr, chromaBytes(words.cr, words.cr));
}

// Set F, which never leaves a byte, one pixel.
inline constexpr Weights kLumaOfE = {19595, 38470, 7471, 32768, 9};
inline constexpr Weights kCbF = {-11059, -21709, 32768, 8421375, 9}, kCrF = {32768, -27439, -5329, 8421375, 9};
constexpr int lumaOfE(int r, int g, int b) { return weighOne<kLumaOfE>(r, g, b); }
constexpr int cbF(int r, int g, int b) { return weighOne<kCbF>(r, g, b); }
constexpr int crF(int r, int g, int b) { return weighOne<kCrF>(r, g, b); }

// The same of eight pixels, from lanes of 32 bits.
template <Weights kW>
inline void storeEightF(uint8_t* dst, __m256i r, __m256i g, __m256i b) {
  const auto times = [](__m256i v, int weight) { return _mm256_mullo_epi32(v, _mm256_set1_epi32(weight)); };
  const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(times(r, kW.r), times(g, kW.g)),
                                       _mm256_add_epi32(times(b, kW.b), _mm256_set1_epi32(kW.rounding)));
  const __m256i words = dwordsToWordsInHalves(_mm256_srai_epi32(sum, 7 + kW.split));
  store8(dst, _mm256_packus_epi16(words, words));
}
inline void convertEightF(__m256i r, __m256i g, __m256i b, uint8_t* y, uint8_t* cb, uint8_t* cr) {
  storeEightF<kLumaOfE>(y, r, g, b);
  storeEightF<kCbF>(cb, r, g, b);
  storeEightF<kCrF>(cr, r, g, b);
}

// Set G, 8 pixels from 8 bytes of each plane: products and sums rounded one by one, then to the nearest integer with
// halves to even.
inline __m256i lumaG(const uint8_t* r, const uint8_t* g, const uint8_t* b) {
  const auto toFloat = [](const uint8_t* p) { return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(load8(p))); };
  const __m256 fromR = _mm256_mul_ps(toFloat(r), _mm256_set1_ps(0.299f));
  const __m256 fromG = _mm256_mul_ps(toFloat(g), _mm256_set1_ps(0.587f));
  const __m256 fromB = _mm256_mul_ps(toFloat(b), _mm256_set1_ps(0.114f));
  return _mm256_cvtps_epi32(_mm256_add_ps(_mm256_add_ps(fromR, fromG), fromB));
}

}  // namespace colour
