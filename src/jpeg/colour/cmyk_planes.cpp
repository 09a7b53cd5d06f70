// CMYK and YCCK planes (ITU-T T.872, Adobe's transform 2): C, M, Y are red, green, blue subtracted from 255 and go
// through the matrices of JFIF; K is copied. Which arithmetic set serves which columns of a row is told by the row
// functions.
#include "frame/frame.h"
#include "frame/rows.h"
#include "jpeg/colour/columns.h"
#include "jpeg/colour/forward_sets.h"
#include "jpeg/colour/inverse_sets.h"
#include "jpeg/colour/pixels.h"

namespace {

using namespace colour;

using PixelsIn = Sources<1>;
using PlanesIn = Sources<4>;
using PixelsOut = Targets<1>;
using PlanesOut = Targets<4>;

// Set A.
struct ForwardPixels {
  static constexpr int kColumns = 32, kSrc[] = {128}, kDst[] = {32, 32, 32, 32};

  void run(const PixelsIn& src, const PlanesOut& dst) const {
    const uint8_t *low0 = src[0], *high0 = src[0] + 64, *low1 = src[0] + 32, *high1 = src[0] + 96;
    const Pixels low = Cmyk::loadEight(low0, high0), high = Cmyk::loadEight(low1, high1);
    store32(dst[0], _mm256_packus_epi16(weigh<kLumaA>(low), weigh<kLumaA>(high)));
    store32(dst[1], chromaBytes(weigh<kCbA>(low), weigh<kCbA>(high)));
    store32(dst[2], chromaBytes(weigh<kCrA>(low), weigh<kCrA>(high)));
    store32(dst[3], _mm256_packus_epi16(Cmyk::loadBlack(low0, high0), Cmyk::loadBlack(low1, high1)));
  }

  void runEight(const PixelsIn& src, const PlanesOut& dst) const {
    const Pixels p = Cmyk::loadEight(src[0], src[0]);
    const __m256i y = weigh<kLumaA>(p), cb = weigh<kCbA>(p), cr = weigh<kCrA>(p), k = Cmyk::loadBlack(src[0], src[0]);
    store8(dst[0], _mm256_packus_epi16(y, y));
    store8(dst[1], chromaBytes(cb, cb));
    store8(dst[2], chromaBytes(cr, cr));
    store8(dst[3], _mm256_packus_epi16(k, k));
  }
};

// Set E and, for what remains, set F.
struct ForwardPlanes {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32, 32}, kDst[] = {32, 32, 32, 32};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    const __m256i k = load32(src[3]);
    convertE(load32(src[0]), load32(src[1]), load32(src[2]), 0x7F, dst[0], dst[1], dst[2]);
    store32(dst[3], k);
  }

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    const __m128i k = load8(src[3]);
    convertEightE(load8InHalves(src[0]), load8InHalves(src[1]), load8InHalves(src[2]), 0x7F, dst[0], dst[1], dst[2]);
    store8(dst[3], k);
  }
};
struct ForwardPlanesRest {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8, 8}, kDst[] = {8, 8, 8, 8};

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    const auto inverted = [](const uint8_t* p) { return _mm256_sub_epi32(_mm256_set1_epi32(255), load8AsDwords(p)); };
    const __m128i k = load8(src[3]);
    convertEightF(inverted(src[0]), inverted(src[1]), inverted(src[2]), dst[0], dst[1], dst[2]);
    store8(dst[3], k);
  }
};
struct ForwardPlanesOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1, 1}, kDst[] = {1, 1, 1, 1};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    const int r = 255 - *src[0], g = 255 - *src[1], b = 255 - *src[2];
    *dst[0] = static_cast<uint8_t>(lumaOfE(r, g, b));
    *dst[1] = static_cast<uint8_t>(cbF(r, g, b));
    *dst[2] = static_cast<uint8_t>(crF(r, g, b));
    *dst[3] = *src[3];
  }
};

// Set I and, for what remains, set J.
struct InversePixels {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32, 32}, kDst[] = {128};

  void run(const PlanesIn& src, const PixelsOut& dst) const {
    const ThreePlanes p = loadPlanes(src[0], src[1], src[2]);
    Cmyk::storeSixteen(dst[0], dst[0] + 64, setHI<false, kSetI>(p), setHI<true, kSetI>(p), load32(src[3]));
  }

  void runEight(const PlanesIn& src, const PixelsOut& dst) const {
    const ThreePlanes p = loadEightOfPlanes(src[0], src[1], src[2]);
    Cmyk::storeEight(dst[0], dst[0], setHI<false, kSetI>(p), load8InHalves(src[3]));
  }
};
struct InversePixelsRest {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8, 8}, kDst[] = {32};

  void runEight(const PlanesIn& src, const PixelsOut& dst) const {
    Cmyk::storeEight(dst[0], dst[0], setJEight(src[0], src[1], src[2]), load8InHalves(src[3]));
  }
};
struct InversePixelsOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1, 1}, kDst[] = {4};

  void run(const PlanesIn& src, const PixelsOut& dst) const {
    const Rgb p = setJ(*src[0], *src[1] - 128, *src[2] - 128);
    const uint8_t pixel[4] = {static_cast<uint8_t>(255 - p.r), static_cast<uint8_t>(255 - p.g),
                              static_cast<uint8_t>(255 - p.b), *src[3]};
    std::memcpy(dst[0], pixel, 4);
  }
};
void storeEightInverted(const RgbWords& p, __m128i k, const PlanesOut& dst) {
  const __m256i inverse = _mm256_set1_epi8(-1);
  store8(dst[0], _mm256_xor_si256(_mm256_packus_epi16(p.r, p.r), inverse));
  store8(dst[1], _mm256_xor_si256(_mm256_packus_epi16(p.g, p.g), inverse));
  store8(dst[2], _mm256_xor_si256(_mm256_packus_epi16(p.b, p.b), inverse));
  store8(dst[3], k);
}

struct InversePlanes {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32, 32}, kDst[] = {32, 32, 32, 32};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    const ThreePlanes p = loadPlanes(src[0], src[1], src[2]);
    const __m256i k = load32(src[3]), inverse = _mm256_set1_epi8(-1);
    const RgbWords low = setHI<false, kSetI>(p), high = setHI<true, kSetI>(p);
    store32(dst[0], _mm256_xor_si256(_mm256_packus_epi16(low.r, high.r), inverse));
    store32(dst[1], _mm256_xor_si256(_mm256_packus_epi16(low.g, high.g), inverse));
    store32(dst[2], _mm256_xor_si256(_mm256_packus_epi16(low.b, high.b), inverse));
    store32(dst[3], k);
  }

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    storeEightInverted(setHI<false, kSetI>(loadEightOfPlanes(src[0], src[1], src[2])), load8(src[3]), dst);
  }
};
struct InversePlanesRest {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8, 8}, kDst[] = {8, 8, 8, 8};

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    storeEightInverted(setJEight(src[0], src[1], src[2]), load8(src[3]), dst);
  }
};
struct InversePlanesOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1, 1}, kDst[] = {1, 1, 1, 1};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    const Rgb p = setJ(*src[0], *src[1] - 128, *src[2] - 128);
    const uint8_t k = *src[3];
    *dst[0] = static_cast<uint8_t>(255 - p.r);
    *dst[1] = static_cast<uint8_t>(255 - p.g);
    *dst[2] = static_cast<uint8_t>(255 - p.b);
    *dst[3] = k;
  }
};

// Which set serves which columns of a row of w pixels.

void forwardRow(const PixelsIn& src, const PlanesOut& dst, int w) { forColumns(ForwardPixels{}, src, dst, 0, w); }

void forwardRow(const PlanesIn& src, const PlanesOut& dst, int w) {
  forRemainder(ForwardPlanesRest{}, ForwardPlanesOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(ForwardPlanes{}, src, dst, 0, wholeOf(w, 4));
}

void inverseRow(const PlanesIn& src, const PixelsOut& dst, int w) {
  forRemainder(InversePixelsRest{}, InversePixelsOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(InversePixels{}, src, dst, 0, wholeOf(w, 4));
}

void inverseRow(const PlanesIn& src, const PlanesOut& dst, int w) {
  forRemainder(InversePlanesRest{}, InversePlanesOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(InversePlanes{}, src, dst, 0, wholeOf(w, 4));
}

// All four exports test their steps and share rows out over threads.
QlmStatus forwardRows(const auto& src, int32_t srcStep, const auto& dst, int32_t dstStep, QlmSize size) {
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size, [=](int32_t y) { forwardRow(rowsOf(src, srcStep, y), rowsOf(dst, dstStep, y), size.width); });
  return qlmOk;
}

QlmStatus inverseRows(const auto& src, int32_t srcStep, const auto& dst, int32_t dstStep, QlmSize size) {
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size, [=](int32_t y) { inverseRow(rowsOf(src, srcStep, y), rowsOf(dst, dstStep, y), size.width); });
  return qlmOk;
}

}  // namespace

// The exports.

QLM_EXPORT(qlmiCMYKToYCCK_JPEG_8u_C4P4R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[4], int32_t dstStep, QlmSize size) {
  if (!src || anyNull<4>(dst)) return qlmErrNullPointer;
  return forwardRows(PixelsIn{{src}}, srcStep, targets<4>(dst), dstStep, size);
}

QLM_EXPORT(qlmiCMYKToYCCK_JPEG_8u_P4R)
(const uint8_t* const src[4], int32_t srcStep, uint8_t* const dst[4], int32_t dstStep, QlmSize size) {
  if (anyNull<4>(src) || anyNull<4>(dst)) return qlmErrNullPointer;
  return forwardRows(sources<4>(src), srcStep, targets<4>(dst), dstStep, size);
}

QLM_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4C4R)
(const uint8_t* const src[4], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (anyNull<4>(src) || !dst) return qlmErrNullPointer;
  return inverseRows(sources<4>(src), srcStep, PixelsOut{{dst}}, dstStep, size);
}

QLM_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4R)
(const uint8_t* const src[4], int32_t srcStep, uint8_t* const dst[4], int32_t dstStep, QlmSize size) {
  if (anyNull<4>(src) || anyNull<4>(dst)) return qlmErrNullPointer;
  return inverseRows(sources<4>(src), srcStep, targets<4>(dst), dstStep, size);
}
