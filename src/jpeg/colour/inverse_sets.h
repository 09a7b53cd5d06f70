// The fixed-point YCbCr to RGB matrices of JFIF, one per arithmetic set. The sets differ by 1 in rare cases, and each
// is kept exactly: which one serves which columns is told where the exports stand.
//
//   H  14 bits with tuned offsets                        K  4 fractional bits in 16-bit lanes
//   I  H with other offsets in green and blue            L  whole products in 16-bit lanes, for packed 4:2:2
//   J  16 bits, the classic tables as a formula          M, N  14 bits on level-shifted 16-bit values (mcu_colour.cpp)
//
// Every set is luma plus a term of chroma alone, clamped: where chroma is subsampled its terms are computed once.
#pragma once

#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg/colour/pixels.h"

namespace colour {

// Sets H and I in terms of chroma less 128, c: red and blue are y + ((weight * c + offset) >> 14), and green is
// y - ((5638 * cb + 11700 * cr + offset) >> 14), whose offset has taken up the sign.
struct Offsets {
  int red, green, blue;
};
inline constexpr int kRedWeight = 22970, kBlueWeight = 29032, kGreenCbWeight = 5638, kGreenCrWeight = 11700;
inline constexpr int kGreenLevel = 128 * (kGreenCbWeight + kGreenCrWeight);
inline constexpr Offsets kSetH = {128 * kRedWeight - 2932015, 16383 - (2227566 - kGreenLevel),
                                  128 * kBlueWeight - 3707961};
inline constexpr Offsets kSetI = {128 * kRedWeight - 2932015, kGreenLevel - 2211182, 128 * kBlueWeight - 3708561};

// The red or blue term in 16-bit lanes: (hi((c << 8) + low, weight) + extra) >> 6, with the two constants that make it
// equal to (weight * c + offset) >> 14 for every byte; a compile-time search finds them. low * weight / 256 and
// 256 * extra together are nearly the offset.
struct ByteTerm {
  int low, extra;
  bool found;
};
constexpr ByteTerm findByteTerm(int weight, int offset) {
  for (int extra = 0; 256 * extra <= offset; ++extra) {
    const int nearest = (offset - 256 * extra) * 256 / weight;
    for (int low = nearest; low <= nearest + 1; ++low) {
      bool exact = true;
      for (int c = -128; exact && c < 128; ++c)
        exact = ((((c * 256 + low) * weight) >> 16) + extra) >> 6 == (weight * c + offset) >> 14;
      if (exact) return {low, extra, true};
    }
  }
  return {0, 0, false};
}

template <bool kUpper>
inline __m256i unpackBytes(__m256i low, __m256i high) {
  return kUpper ? _mm256_unpackhi_epi8(low, high) : _mm256_unpacklo_epi8(low, high);
}

template <bool kUpper, int kWeight, int kOffset>
inline __m256i byteTerm(__m256i chroma) {
  constexpr ByteTerm kTerm = findByteTerm(kWeight, kOffset);
  static_assert(kTerm.found);
  const __m256i c = unpackBytes<kUpper>(_mm256_set1_epi8(static_cast<char>(kTerm.low)), chroma);
  __m256i product = _mm256_mulhi_epi16(c, _mm256_set1_epi16(kWeight));
  if constexpr (kTerm.extra != 0) product = _mm256_add_epi16(product, _mm256_set1_epi16(kTerm.extra));
  return _mm256_srai_epi16(product, 6);
}

// What green loses. A weight is 128 * high + low, and floors nest:
//   (5638 * cb + 11700 * cr + offset) >> 14 = (high sum + ((low sum + offset) >> 7)) >> 7
template <bool kUpper, int kOffset>
inline __m256i greenLoss(__m256i cb, __m256i cr) {
  const auto weights = [](int first, int second) {
    return _mm256_set1_epi16(static_cast<int16_t>(first | second * 256));
  };
  const __m256i pairs = unpackBytes<kUpper>(cb, cr);
  const __m256i high = _mm256_maddubs_epi16(weights(kGreenCbWeight / 128, kGreenCrWeight / 128), pairs);
  const __m256i low = _mm256_maddubs_epi16(weights(kGreenCbWeight % 128, kGreenCrWeight % 128), pairs);
  const __m256i carry = _mm256_srai_epi16(_mm256_add_epi16(low, _mm256_set1_epi16(kOffset)), 7);
  return _mm256_srai_epi16(_mm256_add_epi16(high, carry), 7);
}

// Sets H and I, 32 pixels: those of the lower or of the upper eight bytes of each half.
struct ThreePlanes {
  __m256i y, cb, cr;  // chroma less 128
};
inline ThreePlanes loadPlanes(const uint8_t* y, const uint8_t* cb, const uint8_t* cr) {
  const __m256i flip = _mm256_set1_epi8(-128);
  return {load32(y), _mm256_xor_si256(load32(cb), flip), _mm256_xor_si256(load32(cr), flip)};
}
inline ThreePlanes loadEightOfPlanes(const uint8_t* y, const uint8_t* cb, const uint8_t* cr) {
  const __m256i flip = _mm256_set1_epi8(-128);
  return {load8InHalves(y), _mm256_xor_si256(load8InHalves(cb), flip), _mm256_xor_si256(load8InHalves(cr), flip)};
}
template <bool kUpper, Offsets kSet>
inline RgbWords setHI(const ThreePlanes& p) {
  const __m256i y = unpackBytes<kUpper>(p.y, _mm256_setzero_si256());
  return {_mm256_add_epi16(y, byteTerm<kUpper, kRedWeight, kSet.red>(p.cr)),
          _mm256_sub_epi16(y, greenLoss<kUpper, kSet.green>(p.cb, p.cr)),
          _mm256_add_epi16(y, byteTerm<kUpper, kBlueWeight, kSet.blue>(p.cb))};
}

// Set J, one pixel, chroma less 128. Its products by bytes fit 32 bits.
struct Rgb {
  uint8_t r, g, b;
};
constexpr Rgb setJ(int y, int cb, int cr) {
  return {clamp8(y + ((91881 * cr + 32768) >> 16)), clamp8(y + ((-46802 * cr - 22554 * cb + 32768) >> 16)),
          clamp8(y + ((116130 * cb + 32768) >> 16))};
}

// Eight pixels, the same in both halves.
inline RgbWords setJEight(const uint8_t* y, const uint8_t* cb, const uint8_t* cr) {
  const auto chroma = [](const uint8_t* p) { return _mm256_sub_epi32(load8AsDwords(p), _mm256_set1_epi32(128)); };
  const auto times = [](__m256i v, int weight) { return _mm256_mullo_epi32(v, _mm256_set1_epi32(weight)); };
  const __m256i luma = load8AsDwords(y), blue = chroma(cb), red = chroma(cr);
  const auto words = [&](__m256i products) {
    const __m256i term = _mm256_srai_epi32(_mm256_add_epi32(products, _mm256_set1_epi32(32768)), 16);
    return dwordsToWordsInHalves(_mm256_add_epi32(luma, term));
  };
  return {words(times(red, 91881)), words(_mm256_add_epi32(times(red, -46802), times(blue, -22554))),
          words(times(blue, 116130))};
}

// Set K's terms of 16 chroma words, each sample << 7. The sum of luma << 4 and a term t, cut by 4 bits, is
// luma + (t >> 4), so luma needs no fractional bits; the stated saturations never happen.
inline RgbWords termsK(__m256i cb, __m256i cr) {
  const auto high = [](__m256i x, int c) { return _mm256_mulhi_epi16(x, _mm256_set1_epi16(static_cast<int16_t>(c))); };
  const __m256i red = _mm256_add_epi16(high(cr, 11485), _mm256_set1_epi16(8 - 2871));
  const __m256i green = _mm256_sub_epi16(_mm256_set1_epi16(2167 + 8), _mm256_add_epi16(high(cb, 2819), high(cr, 5850)));
  const __m256i blue = _mm256_add_epi16(high(cb, 14516), _mm256_set1_epi16(8 - 3629));
  return {_mm256_srai_epi16(red, 4), _mm256_srai_epi16(green, 4), _mm256_srai_epi16(blue, 4)};
}

inline RgbWords addLuma(__m256i y, const RgbWords& terms) {
  return {_mm256_adds_epi16(y, terms.r), _mm256_adds_epi16(y, terms.g), _mm256_adds_epi16(y, terms.b)};
}

// Every word twice, from the lower or the upper four words of each half.
inline RgbWords doubleLow(const RgbWords& p) {
  return {_mm256_unpacklo_epi16(p.r, p.r), _mm256_unpacklo_epi16(p.g, p.g), _mm256_unpacklo_epi16(p.b, p.b)};
}
inline RgbWords doubleHigh(const RgbWords& p) {
  return {_mm256_unpackhi_epi16(p.r, p.r), _mm256_unpackhi_epi16(p.g, p.g), _mm256_unpackhi_epi16(p.b, p.b)};
}

// Set L, 16 packed pixels: bytes Y0, Cb, Y1, Cr. With the samples of chroma << 7,
//   red  = y + (hi(cr, 22970) >> 5) - 179,  blue = y + (hi(cb, 29032) >> 5) - 226,
//   green = y + ((hi(cr, -11700) + hi(cb, -5638)) >> 5) + 135
inline RgbWords setL(__m256i packed) {
  const auto pairs = [](int first, int second) {
    return _mm256_set1_epi32((first & 65535) | static_cast<int>(static_cast<unsigned>(second) << 16));
  };
  static constexpr ShufflePattern kSwap = makeShuffle([](int i) { return i ^ 2; });
  static constexpr ShufflePattern kFirst = makeShuffle([](int i) { return i & ~2; });
  static constexpr ShufflePattern kSecond = makeShuffle([](int i) { return i | 2; });

  const __m256i y = _mm256_and_si256(packed, _mm256_set1_epi16(255));
  const __m256i chroma = _mm256_slli_epi16(_mm256_srli_epi16(packed, 8), 7);
  const __m256i products = _mm256_srai_epi16(_mm256_mulhi_epi16(chroma, pairs(29032, 22970)), 5);
  const __m256i terms = _mm256_sub_epi16(products, pairs(226, 179));
  const __m256i halves = _mm256_mulhi_epi16(chroma, pairs(-5638, -11700));
  const __m256i sum = _mm256_add_epi16(halves, shuffleBytes(halves, kSwap));
  const __m256i green = _mm256_add_epi16(_mm256_srai_epi16(sum, 5), _mm256_set1_epi16(135));
  return addLuma(y, {shuffleBytes(terms, kSecond), green, shuffleBytes(terms, kFirst)});
}

}  // namespace colour
