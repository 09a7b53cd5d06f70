// The layouts of interleaved pixels, and how vectors of pixels are loaded from them and stored to them. A vector holds
// two streams, one in each half (frame/simd.h), which start at `low` and at `high`. Exactly the pixels named are read
// or written.
#pragma once

#include "frame/simd.h"

namespace colour {

// Sixteen pixels as byte pairs (red, green) and (blue, green), eight pixels in each half.
struct Pixels {
  __m256i rg, bg;
};

// Red, green and blue of sixteen pixels as words, eight pixels in each half. Stores clamp them to 0 to 255.
struct RgbWords {
  __m256i r, g, b;
};
inline RgbWords addWords(const RgbWords& p, const RgbWords& q) {
  return {_mm256_add_epi16(p.r, q.r), _mm256_add_epi16(p.g, q.g), _mm256_add_epi16(p.b, q.b)};
}

// Three bytes. Eight pixels are exactly 24 bytes, so the second 16 overlap the first.
template <bool kBlueFirst>
struct Bytes3 {
  static constexpr int kBytes = 3;
  static constexpr int kRed = kBlueFirst ? 2 : 0, kGreen = 1, kBlue = 2 - kRed;

  static Pixels loadEight(const uint8_t* low, const uint8_t* high) {
    const BytePairs p = deinterleave3<kRed, kGreen, kBlue>(load16x2(low, high), load16x2(low + 8, high + 8));
    return {p.ab, p.cb};
  }

  // 32 pixels, four in each half of each vector.
  static void loadQuads(const uint8_t* src, __m256i (&quads)[4]) {
    for (int i = 0; i < 3; ++i)
      quads[i] = channelQuads<3, 0, kRed, kGreen, kBlue>(load16x2(src + 12 * i, src + 48 + 12 * i));
    quads[3] = channelQuads<3, 4, kRed, kGreen, kBlue>(load16x2(src + 32, src + 80));
  }

  static void storeEight(uint8_t* low, uint8_t* high, const RgbWords& p) {
    const Interleaved8 bytes =
        interleave3x8(_mm256_packus_epi16(first(p), p.g), _mm256_packus_epi16(third(p), third(p)));
    store16x2(low, high, bytes.first16);
    store16x2(low + 8, high + 8, bytes.last16);
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const RgbWords& left, const RgbWords& right) {
    const Interleaved16 bytes =
        interleave3x16(_mm256_packus_epi16(first(left), left.g), _mm256_packus_epi16(first(right), right.g),
                       _mm256_packus_epi16(third(left), third(right)));
    for (int i = 0; i < 3; ++i) store16x2(low + 16 * i, high + 16 * i, bytes.part[i]);
  }

  static __m256i first(const RgbWords& p) { return kBlueFirst ? p.b : p.r; }
  static __m256i third(const RgbWords& p) { return kBlueFirst ? p.r : p.b; }
};
using Rgb24 = Bytes3<false>;
using Bgr24 = Bytes3<true>;

// Four bytes; what the fourth is depends on the function. Stores take it as bytes, sixteen (eight) a half.
template <bool kBlueFirst>
struct Bytes4 {
  static constexpr int kBytes = 4;
  static constexpr int kRed = kBlueFirst ? 2 : 0, kGreen = 1, kBlue = 2 - kRed;

  static Pixels loadEight(const uint8_t* low, const uint8_t* high) {
    static constexpr ShufflePattern kPairs = makeShuffle([](int i) {
      return 4 * (i % 8 / 2) + (i % 2 ? kGreen : i < 8 ? kRed : kBlue);
    });
    const __m256i a = shuffleBytes(load16x2(low, high), kPairs);
    const __m256i b = shuffleBytes(load16x2(low + 16, high + 16), kPairs);
    return {_mm256_unpacklo_epi64(a, b), _mm256_unpackhi_epi64(a, b)};
  }

  static void loadQuads(const uint8_t* src, __m256i (&quads)[4]) {
    for (int i = 0; i < 4; ++i)
      quads[i] = channelQuads<4, 0, kRed, kGreen, kBlue>(load16x2(src + 16 * i, src + 64 + 16 * i));
  }

  static void storeEight(uint8_t* low, uint8_t* high, const RgbWords& p, __m256i fourth) {
    const __m256i red = _mm256_packus_epi16(p.r, p.r), blue = _mm256_packus_epi16(p.b, p.b);
    const __m256i green = _mm256_packus_epi16(p.g, p.g);
    const __m256i xy = _mm256_unpacklo_epi8(kBlueFirst ? blue : red, green);
    const __m256i zw = _mm256_unpacklo_epi8(kBlueFirst ? red : blue, fourth);
    store16x2(low, high, _mm256_unpacklo_epi16(xy, zw));
    store16x2(low + 16, high + 16, _mm256_unpackhi_epi16(xy, zw));
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const RgbWords& left, const RgbWords& right, __m256i fourth) {
    const __m256i red = _mm256_packus_epi16(left.r, right.r), blue = _mm256_packus_epi16(left.b, right.b);
    const Planes3 p = {kBlueFirst ? blue : red, _mm256_packus_epi16(left.g, right.g), kBlueFirst ? red : blue};
    storeSixteen(low, high, p, fourth);
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const Planes3& p, __m256i fourth) {
    const __m256i xy[2] = {_mm256_unpacklo_epi8(p.x, p.y), _mm256_unpackhi_epi8(p.x, p.y)};
    const __m256i zw[2] = {_mm256_unpacklo_epi8(p.z, fourth), _mm256_unpackhi_epi8(p.z, fourth)};
    for (int i = 0; i < 2; ++i) {
      store16x2(low + 32 * i, high + 32 * i, _mm256_unpacklo_epi16(xy[i], zw[i]));
      store16x2(low + 32 * i + 16, high + 32 * i + 16, _mm256_unpackhi_epi16(xy[i], zw[i]));
    }
  }
};
using Rgb32 = Bytes4<false>;
using Bgr32 = Bytes4<true>;

// C, M, Y, K. The first three are red, green and blue subtracted from 255.
struct Cmyk {
  static constexpr int kBytes = 4;

  // Of 255 - C, 255 - M, 255 - Y.
  static Pixels loadEight(const uint8_t* low, const uint8_t* high) {
    const __m256i inverse = _mm256_set1_epi8(-1);
    const Pixels p = Rgb32::loadEight(low, high);
    return {_mm256_xor_si256(p.rg, inverse), _mm256_xor_si256(p.bg, inverse)};
  }

  // K of eight pixels a half as words.
  static __m256i loadBlack(const uint8_t* low, const uint8_t* high) {
    return _mm256_packus_epi32(_mm256_srli_epi32(load16x2(low, high), 24),
                               _mm256_srli_epi32(load16x2(low + 16, high + 16), 24));
  }

  static void storeEight(uint8_t* low, uint8_t* high, const RgbWords& p, __m256i black) {
    const __m256i inverse = _mm256_set1_epi8(-1);
    const __m256i cy = _mm256_xor_si256(_mm256_packus_epi16(p.r, p.b), inverse);
    const __m256i mk = _mm256_unpacklo_epi64(_mm256_xor_si256(_mm256_packus_epi16(p.g, p.g), inverse), black);
    const __m256i cm = _mm256_unpacklo_epi8(cy, mk), yk = _mm256_unpackhi_epi8(cy, mk);
    store16x2(low, high, _mm256_unpacklo_epi16(cm, yk));
    store16x2(low + 16, high + 16, _mm256_unpackhi_epi16(cm, yk));
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const RgbWords& left, const RgbWords& right, __m256i black) {
    const __m256i inverse = _mm256_set1_epi8(-1);
    const Planes3 p = {_mm256_xor_si256(_mm256_packus_epi16(left.r, right.r), inverse),
                       _mm256_xor_si256(_mm256_packus_epi16(left.g, right.g), inverse),
                       _mm256_xor_si256(_mm256_packus_epi16(left.b, right.b), inverse)};
    Rgb32::storeSixteen(low, high, p, black);
  }
};

// Two bytes: five bits of red and of blue, five or six of green. The layouts named BGR have blue in the lowest bits,
// those named RGB red. Loads widen by a left shift alone, stores cut by a right shift.
template <int kGreenBits, bool kBlueLow>
struct Bits16 {
  static constexpr int kBytes = 2;

  static Pixels loadEight(const uint8_t* low, const uint8_t* high) {
    const __m256i v = load16x2(low, high), five = _mm256_set1_epi16(0xF8);
    const __m256i bottom = _mm256_and_si256(_mm256_slli_epi16(v, 3), five);
    const __m256i top = _mm256_and_si256(_mm256_srli_epi16(v, kGreenBits + 2), five);
    const __m256i green = _mm256_and_si256(_mm256_slli_epi16(v, 11 - kGreenBits), greenMask());
    const __m256i bottomPairs = _mm256_or_si256(bottom, green), topPairs = _mm256_or_si256(top, green);
    return {kBlueLow ? topPairs : bottomPairs, kBlueLow ? bottomPairs : topPairs};
  }

  static void storeEight(uint8_t* low, uint8_t* high, const RgbWords& p) {
    store16x2(low, high, assemble(p, p, false));
  }

  static void storeSixteen(uint8_t* low, uint8_t* high, const RgbWords& left, const RgbWords& right) {
    store16x2(low, high, assemble(left, right, false));
    store16x2(low + 16, high + 16, assemble(left, right, true));
  }

  static __m256i greenMask() { return _mm256_set1_epi16(static_cast<int16_t>(kGreenBits == 6 ? 0xFC00 : 0xF800)); }

  // The pixels of `left` or of `right`.
  static __m256i assemble(const RgbWords& left, const RgbWords& right, bool upper) {
    const __m256i red = _mm256_packus_epi16(left.r, right.r), blue = _mm256_packus_epi16(left.b, right.b);
    const __m256i green = _mm256_packus_epi16(left.g, right.g), zero = _mm256_setzero_si256();
    const __m256i lowest = kBlueLow ? blue : red, highest = kBlueLow ? red : blue;
    const __m256i bottom = _mm256_and_si256(_mm256_srli_epi16(lowest, 3), _mm256_set1_epi8(0x1F));
    // Five bits at the top of a byte; for 555 one place lower, since bit 15 of such a pixel is 0.
    const __m256i top = kGreenBits == 6 ? _mm256_and_si256(highest, _mm256_set1_epi8(static_cast<char>(0xF8)))
                                        : _mm256_and_si256(_mm256_srli_epi16(highest, 1), _mm256_set1_epi8(0x7C));
    const __m256i ends = upper ? _mm256_unpackhi_epi8(bottom, top) : _mm256_unpacklo_epi8(bottom, top);
    const __m256i middle = upper ? _mm256_unpackhi_epi8(zero, green) : _mm256_unpacklo_epi8(zero, green);
    return _mm256_or_si256(ends, _mm256_srli_epi16(_mm256_and_si256(middle, greenMask()), 11 - kGreenBits));
  }
};
using Bgr555 = Bits16<5, true>;
using Rgb555 = Bits16<5, false>;
using Bgr565 = Bits16<6, true>;
using Rgb565 = Bits16<6, false>;

}  // namespace colour
