// RGB pixels of a region to the planes Y, Cb, Cr of JFIF, with chroma at full resolution, halved horizontally (422) or
// in both directions (411, ITU-T T.81 A.1.1), or to Y alone. Subsampled chroma is the plain sum of the pixels that it
// covers, put through the matrix once. Which arithmetic set (forward_sets.h) serves which columns of a row is told by
// the row functions; the results of two sets may differ by 1, and the boundaries between them are part of the result.
#include "frame/frame.h"
#include "frame/rows.h"
#include "jpeg/colour/columns.h"
#include "jpeg/colour/forward_sets.h"
#include "jpeg/colour/pixels.h"

namespace {

using namespace colour;

using RowIn = Sources<1>;
using PlanesIn = Sources<3>;
using PlanesOut = Targets<3>;

// Sets A, B and D in vectors: pixels of any layout that loads as byte pairs.
template <typename Layout, Weights kY>
struct WeighedLuma {
  static constexpr int kColumns = 32, kSrc[] = {32 * Layout::kBytes}, kDst[] = {32};

  void run(const RowIn& src, const Targets<1>& dst) const {
    const Pixels low = Layout::loadEight(src[0], src[0] + 16 * Layout::kBytes);
    const Pixels high = Layout::loadEight(src[0] + 8 * Layout::kBytes, src[0] + 24 * Layout::kBytes);
    store32(dst[0], _mm256_packus_epi16(weigh<kY>(low), weigh<kY>(high)));
  }

  void runEight(const RowIn& src, const Targets<1>& dst) const {
    const __m256i y = weigh<kY>(Layout::loadEight(src[0], src[0]));
    store8(dst[0], _mm256_packus_epi16(y, y));
  }
};
template <typename Layout, Weights kY, Weights kCb, Weights kCr>
struct Weighed {
  static constexpr int kColumns = 32, kSrc[] = {32 * Layout::kBytes}, kDst[] = {32, 32, 32};

  void run(const RowIn& src, const PlanesOut& dst) const {
    const Pixels low = Layout::loadEight(src[0], src[0] + 16 * Layout::kBytes);
    const Pixels high = Layout::loadEight(src[0] + 8 * Layout::kBytes, src[0] + 24 * Layout::kBytes);
    store32(dst[0], _mm256_packus_epi16(weigh<kY>(low), weigh<kY>(high)));
    store32(dst[1], chromaBytes(weigh<kCb>(low), weigh<kCb>(high)));
    store32(dst[2], chromaBytes(weigh<kCr>(low), weigh<kCr>(high)));
  }

  void runEight(const RowIn& src, const PlanesOut& dst) const {
    const Pixels p = Layout::loadEight(src[0], src[0]);
    const __m256i y = weigh<kY>(p), cb = weigh<kCb>(p), cr = weigh<kCr>(p);
    store8(dst[0], _mm256_packus_epi16(y, y));
    store8(dst[1], chromaBytes(cb, cb));
    store8(dst[2], chromaBytes(cr, cr));
  }
};
template <typename Layout>
using SetA = Weighed<Layout, kLumaA, kCbA, kCrA>;
template <typename Layout>
using SetB = Weighed<Layout, kLumaB, kCbB, kCrB>;
template <typename Layout>
using SetD = Weighed<Layout, kLumaA, kCbD, kCrD>;

// Sets A and D, one pixel: rows of fewer than eight.
template <typename Layout, Weights kY, Weights kCb, Weights kCr>
struct WeighedOne {
  static constexpr int kColumns = 1, kSrc[] = {Layout::kBytes}, kDst[] = {1, 1, 1};

  void run(const RowIn& src, const PlanesOut& dst) const {
    const int r = src[0][Layout::kRed], g = src[0][Layout::kGreen], b = src[0][Layout::kBlue];
    *dst[0] = static_cast<uint8_t>(weighOne<kY>(r, g, b));
    *dst[1] = clamp8(weighOne<kCb>(r, g, b) + 128);
    *dst[2] = clamp8(weighOne<kCr>(r, g, b) + 128);
  }
};
template <typename Layout>
using SetAOne = WeighedOne<Layout, kLumaA, kCbA, kCrA>;
template <typename Layout>
using SetDOne = WeighedOne<Layout, kLumaA, kCbD, kCrD>;

// Set C with full chroma. Bytes lie as pairs (pixel i, pixel i + 8), so that multiply-adds widen them in order.
template <typename Layout>
struct SetC {
  static constexpr int kColumns = 32, kSrc[] = {32 * Layout::kBytes}, kDst[] = {32, 32, 32};

  void run(const RowIn& src, const PlanesOut& dst) const {
    __m256i quads[4];
    Layout::loadQuads(src[0], quads);
    const Planes3 p = gatherPlanePairs(quads);
    const auto widen = [&](int first, int second) -> RgbWords {  // samples << 6
      const __m256i weights = bytePairs(first, second);
      return {_mm256_maddubs_epi16(p.x, weights), _mm256_maddubs_epi16(p.y, weights),
              _mm256_maddubs_epi16(p.z, weights)};
    };
    const RgbWords low = widen(64, 0), high = widen(0, 64);
    store32(dst[0], _mm256_packus_epi16(lumaC<2>(low), lumaC<2>(high)));
    store32(dst[1], chromaBytes(cbC<1>(low), cbC<1>(high)));
    store32(dst[2], chromaBytes(crC<1>(low), crC<1>(high)));
  }

  void runEight(const RowIn& src, const PlanesOut& dst) const {
    const RgbWords p = sixBitsUp(Layout::loadEight(src[0], src[0]));
    const __m256i y = lumaC<2>(p), cb = cbC<1>(p), cr = crC<1>(p);
    store8(dst[0], _mm256_packus_epi16(y, y));
    store8(dst[1], chromaBytes(cb, cb));
    store8(dst[2], chromaBytes(cr, cr));
  }
};

// Set C with the chroma of pairs (kRows 1) or squares (kRows 2) of pixels.
__m256i lumaBytesC(const Planes3& p) {
  const __m256i zero = _mm256_setzero_si256();
  const RgbWords low = {_mm256_unpacklo_epi8(zero, p.x), _mm256_unpacklo_epi8(zero, p.y),
                        _mm256_unpacklo_epi8(zero, p.z)};
  const RgbWords high = {_mm256_unpackhi_epi8(zero, p.x), _mm256_unpackhi_epi8(zero, p.y),
                         _mm256_unpackhi_epi8(zero, p.z)};
  return _mm256_packus_epi16(lumaC<0>(low), lumaC<0>(high));
}

// What the pairs of a row add to the means of kPixels pixels, with 7 fractional bits.
template <int kPixels>
RgbWords pairsC(const Planes3& p) {
  const __m256i weights = _mm256_set1_epi8(128 / kPixels);
  return {_mm256_maddubs_epi16(p.x, weights), _mm256_maddubs_epi16(p.y, weights), _mm256_maddubs_epi16(p.z, weights)};
}

template <typename Layout, int kRows>
struct SetCReduced {
  static constexpr int kColumns = 32;
  static constexpr int kSrc[] = {32 * Layout::kBytes, 32 * Layout::kBytes};
  static constexpr int kDst[] = {32, kRows == 2 ? 32 : 16, 16, 16};

  void run(const Sources<kRows>& src, const Targets<kRows + 2>& dst) const {
    RgbWords means;
    for (int i = 0; i < kRows; ++i) {
      __m256i quads[4];
      Layout::loadQuads(src[i], quads);
      const Planes3 p = gatherPlanes(quads);
      store32(dst[i], lumaBytesC(p));
      const RgbWords pairs = pairsC<2 * kRows>(p);
      means = i == 0 ? pairs : addWords(means, pairs);
    }
    const __m256i chroma = chromaBytes(cbC<0>(means), crC<0>(means));
    store16x2(dst[kRows], dst[kRows + 1], _mm256_permute4x64_epi64(chroma, 0xD8));
  }

  void runEight(const Sources<kRows>& src, const Targets<kRows + 2>& dst) const {
    RgbWords sums;
    for (int i = 0; i < kRows; ++i) {
      const RgbWords p = sixBitsUp(Layout::loadEight(src[i], src[i]));
      const __m256i y = lumaC<2>(p);
      store8(dst[i], _mm256_packus_epi16(y, y));
      const RgbWords pairs = {_mm256_hadd_epi16(p.r, p.r), _mm256_hadd_epi16(p.g, p.g), _mm256_hadd_epi16(p.b, p.b)};
      sums = i == 0 ? pairs : addWords(sums, pairs);
    }
    // A mean has 7 fractional bits: a sum of two is << 6, one of four << 5.
    const auto mean = [](__m256i sum) { return _mm256_srli_epi16(sum, kRows - 1); };
    const RgbWords means = {mean(sums.r), mean(sums.g), mean(sums.b)};
    const __m128i chroma = _mm256_castsi256_si128(chromaBytes(cbC<0>(means), crC<0>(means)));
    store4(dst[kRows], chroma);
    store4(dst[kRows + 1], _mm_srli_si128(chroma, 8));
  }
};

// Set D with the chroma of pairs or squares of pixels: the last one to three pairs of a row.
template <typename Layout, int kRows>
struct SetDReduced {
  static constexpr int kColumns = 2;
  static constexpr int kSrc[] = {2 * Layout::kBytes, 2 * Layout::kBytes};
  static constexpr int kDst[] = {2, kRows == 2 ? 2 : 1, 1, 1};

  void run(const Sources<kRows>& src, const Targets<kRows + 2>& dst) const {
    int sumR = 0, sumG = 0, sumB = 0;
    for (int i = 0; i < kRows; ++i)
      for (int x = 0; x < 2; ++x) {
        const uint8_t* pixel = src[i] + x * Layout::kBytes;
        const int r = pixel[Layout::kRed], g = pixel[Layout::kGreen], b = pixel[Layout::kBlue];
        dst[i][x] = static_cast<uint8_t>(weighOne<kLumaA>(r, g, b));
        sumR += r, sumG += g, sumB += b;
      }
    *dst[kRows] = clamp8(weighSum<kCbD, 2 * kRows>(sumR, sumG, sumB) + 128);
    *dst[kRows + 1] = clamp8(weighSum<kCrD, 2 * kRows>(sumR, sumG, sumB) + 128);
  }
};

// Sets E and F, planes to planes.
struct SetE {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32}, kDst[] = {32, 32, 32};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    convertE(load32(src[0]), load32(src[1]), load32(src[2]), -128, dst[0], dst[1], dst[2]);
  }

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    convertEightE(load8InHalves(src[0]), load8InHalves(src[1]), load8InHalves(src[2]), -128, dst[0], dst[1], dst[2]);
  }
};
struct SetF {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8}, kDst[] = {8, 8, 8};

  void runEight(const PlanesIn& src, const PlanesOut& dst) const {
    convertEightF(load8AsDwords(src[0]), load8AsDwords(src[1]), load8AsDwords(src[2]), dst[0], dst[1], dst[2]);
  }
};
struct SetFOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1}, kDst[] = {1, 1, 1};

  void run(const PlanesIn& src, const PlanesOut& dst) const {
    const int r = *src[0], g = *src[1], b = *src[2];
    *dst[0] = static_cast<uint8_t>(lumaOfE(r, g, b));
    *dst[1] = static_cast<uint8_t>(cbF(r, g, b));
    *dst[2] = static_cast<uint8_t>(crF(r, g, b));
  }
};

// Set G, and the luma of E for what remains.
struct SetG {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32}, kDst[] = {32};

  void run(const PlanesIn& src, const Targets<1>& dst) const {
    __m256i y[4];
    for (int i = 0; i < 4; ++i) y[i] = lumaG(src[0] + 8 * i, src[1] + 8 * i, src[2] + 8 * i);
    const __m256i bytes = _mm256_packus_epi16(_mm256_packs_epi32(y[0], y[1]), _mm256_packs_epi32(y[2], y[3]));
    store32(dst[0], _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
  }

  void runEight(const PlanesIn& src, const Targets<1>& dst) const {
    const __m256i y = lumaG(src[0], src[1], src[2]), words = _mm256_packs_epi32(y, y);
    const __m256i bytes = _mm256_packus_epi16(words, words);
    store8(dst[0], _mm_unpacklo_epi32(_mm256_castsi256_si128(bytes), _mm256_extracti128_si256(bytes, 1)));
  }
};
struct LumaOfE {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8}, kDst[] = {8};

  void runEight(const PlanesIn& src, const Targets<1>& dst) const {
    storeEightF<kLumaOfE>(dst[0], load8AsDwords(src[0]), load8AsDwords(src[1]), load8AsDwords(src[2]));
  }
};
struct LumaOfEOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1}, kDst[] = {1};

  void run(const PlanesIn& src, const Targets<1>& dst) const {
    *dst[0] = static_cast<uint8_t>(lumaOfE(*src[0], *src[1], *src[2]));
  }
};

// Which set serves which columns of a row of w pixels. For 422 and 411 w is the width rounded down to even.

template <typename Layout>
void threeByteRow(const RowIn& src, const PlanesOut& dst, int w) {
  forRemainder(SetA<Layout>{}, SetAOne<Layout>{}, src, dst, wholeOf(w, 8), w);
  forColumns(SetB<Layout>{}, src, dst, 0, wholeOf(w, 8));
}

template <typename Layout>
void fourByteRow(const RowIn& src, const PlanesOut& dst, int w) {
  forRemainder(SetD<Layout>{}, SetDOne<Layout>{}, src, dst, wholeOf(w, 8), w);
  forColumns(SetC<Layout>{}, src, dst, 0, wholeOf(w, 8));
}

template <typename Layout>
void twoByteRow(const RowIn& src, const PlanesOut& dst, int w) {
  forColumns(SetA<Layout>{}, src, dst, 0, w);
}

template <typename Layout, int kRows>
void reducedRow(const Sources<kRows>& src, const Targets<kRows + 2>& dst, int w) {
  forColumns(SetCReduced<Layout, kRows>{}, src, dst, 0, wholeOf(w, 8));
  forColumns(SetDReduced<Layout, kRows>{}, src, dst, wholeOf(w, 8), w);
}

template <typename Layout>
void lumaRow(const RowIn& src, const Targets<1>& dst, int w) {
  forColumns(WeighedLuma<Layout, kLumaB>{}, src, dst, 0, w);
}

void planesRow(const PlanesIn& src, const PlanesOut& dst, int w) {
  forRemainder(SetF{}, SetFOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(SetE{}, src, dst, 0, wholeOf(w, 4));
}

void planesLumaRow(const PlanesIn& src, const Targets<1>& dst, int w) {
  forRemainder(LumaOfE{}, LumaOfEOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(SetG{}, src, dst, 0, wholeOf(w, 4));
}

// The families of exports. Three-byte pixels and whole planes test their steps and share rows out over threads.

template <typename Layout>
QlmStatus threeBytesToPlanes(const uint8_t* src, int32_t srcStep, uint8_t* const* dst, int32_t dstStep, QlmSize size) {
  if (!src || anyNull<3>(dst)) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesOut planes = targets<3>(dst);
  ownForEachRow(size, [=](int32_t y) {
    threeByteRow<Layout>({{ownRow(src, srcStep, y)}}, rowsOf(planes, dstStep, y), size.width);
  });
  return qlmOk;
}

template <typename Layout>
QlmStatus threeBytesToLuma(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (!src || !dst) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(
      size, [=](int32_t y) { lumaRow<Layout>({{ownRow(src, srcStep, y)}}, {{ownRow(dst, dstStep, y)}}, size.width); });
  return qlmOk;
}

// Four-byte pixels test no step and stay on the calling thread.
template <typename Layout>
QlmStatus fourBytesToPlanes(const uint8_t* src, int32_t srcStep, uint8_t* const* dst, int32_t dstStep, QlmSize size) {
  if (!src || anyNull<3>(dst)) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesOut planes = targets<3>(dst);
  for (int32_t y = 0; y < size.height; ++y)
    fourByteRow<Layout>({{ownRow(src, srcStep, y)}}, rowsOf(planes, dstStep, y), size.width);
  return qlmOk;
}

// Two-byte pixels test their steps and stay on the calling thread.
template <typename Layout>
QlmStatus twoBytesToPlanes(const uint16_t* src, int32_t srcStep, uint8_t* const* dst, int32_t dstStep, QlmSize size) {
  if (!src || anyNull<3>(dst)) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const auto* bytes = reinterpret_cast<const uint8_t*>(src);
  const PlanesOut planes = targets<3>(dst);
  for (int32_t y = 0; y < size.height; ++y)
    twoByteRow<Layout>({{ownRow(bytes, srcStep, y)}}, rowsOf(planes, dstStep, y), size.width);
  return qlmOk;
}

// The subsampled forms test no step and stay on the calling thread. kRows rows of pixels make one row of chroma; a last
// odd column and, for 411, a last odd row are left out.
template <typename Layout, int kRows>
QlmStatus toReducedPlanes(const uint8_t* src, int32_t srcStep, uint8_t* const* dst, const int32_t* dstSteps,
                          QlmSize size) {
  if (!src || anyNull<3>(dst) || !dstSteps) return qlmErrNullPointer;
  if (size.width < 2 || size.height < kRows) return qlmErrSize;

  for (int32_t y = 0; y <= size.height - kRows; y += kRows) {
    Sources<kRows> pixels;
    Targets<kRows + 2> planes;
    for (int32_t i = 0; i < kRows; ++i) {
      pixels.at[i] = ownRow(src, srcStep, y + i);
      planes.at[i] = ownRow(dst[0], dstSteps[0], y + i);
    }
    for (int i = 0; i < 2; ++i) planes.at[kRows + i] = ownRow(dst[1 + i], dstSteps[1 + i], y / kRows);
    reducedRow<Layout, kRows>(pixels, planes, wholeOf(size.width, 2));
  }
  return size.width % 2 || size.height % kRows ? qlmWarnOddSize : qlmOk;
}

}  // namespace

// The exports.

QLM_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return threeBytesToPlanes<Rgb24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiBGRToYCbCr_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return threeBytesToPlanes<Bgr24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return fourBytesToPlanes<Rgb32>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiBGRToYCbCr_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return fourBytesToPlanes<Bgr32>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R)
(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return twoBytesToPlanes<Rgb555>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R)
(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return twoBytesToPlanes<Rgb565>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R)
(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return twoBytesToPlanes<Bgr555>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R)
(const uint16_t* src, int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  return twoBytesToPlanes<Bgr565>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiRGBToY_JPEG_8u_C3C1R)
(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return threeBytesToLuma<Rgb24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiBGRToY_JPEG_8u_C3C1R)
(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return threeBytesToLuma<Bgr24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Rgb24, 1>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Rgb32, 1>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiBGRToYCbCr422_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Bgr24, 1>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiBGRToYCbCr422_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Bgr32, 1>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiRGBToYCbCr411_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Rgb24, 2>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiRGBToYCbCr411_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Rgb32, 2>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C3P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Bgr24, 2>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C4P3R)
(const uint8_t* src, int32_t srcStep, uint8_t* const dst[3], const int32_t dstSteps[3], QlmSize size) {
  return toReducedPlanes<Bgr32, 2>(src, srcStep, dst, dstSteps, size);
}

QLM_EXPORT(qlmiRGBToYCbCr_JPEG_8u_P3R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  if (anyNull<3>(src) || anyNull<3>(dst)) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesIn in = sources<3>(src);
  const PlanesOut out = targets<3>(dst);
  ownForEachRow(size, [=](int32_t y) { planesRow(rowsOf(in, srcStep, y), rowsOf(out, dstStep, y), size.width); });
  return qlmOk;
}

QLM_EXPORT(qlmiRGBToY_JPEG_8u_P3C1R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (anyNull<3>(src) || !dst) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesIn in = sources<3>(src);
  ownForEachRow(size,
                [=](int32_t y) { planesLumaRow(rowsOf(in, srcStep, y), {{ownRow(dst, dstStep, y)}}, size.width); });
  return qlmOk;
}
