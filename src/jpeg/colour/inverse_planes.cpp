// The planes Y, Cb, Cr of JFIF, or packed 4:2:2 rows, to RGB pixels of a region. Subsampled chroma, halved horizontally
// (422) or in both directions (411, ITU-T T.81 A.1.1), is replicated. Which arithmetic set (inverse_sets.h) serves
// which columns of a row is told by the row functions; the results of two sets may differ by 1, and the boundaries
// between them are part of the result.
#include "frame/frame.h"
#include "frame/rows.h"
#include "jpeg/colour/columns.h"
#include "jpeg/colour/inverse_sets.h"
#include "jpeg/colour/pixels.h"

namespace {

using namespace colour;

using PlanesIn = Sources<3>;
using RowOut = Targets<1>;

// Sets H and I, full chroma to interleaved pixels.
template <typename Layout, Offsets kSet>
struct Interleaved {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32}, kDst[] = {32 * Layout::kBytes};

  void run(const PlanesIn& src, const RowOut& dst) const {
    const ThreePlanes p = loadPlanes(src[0], src[1], src[2]);
    Layout::storeSixteen(dst[0], dst[0] + 16 * Layout::kBytes, setHI<false, kSet>(p), setHI<true, kSet>(p));
  }

  void runEight(const PlanesIn& src, const RowOut& dst) const {
    Layout::storeEight(dst[0], dst[0], setHI<false, kSet>(loadEightOfPlanes(src[0], src[1], src[2])));
  }
};

// Set I, full chroma to planes.
struct SetIPlanes {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32}, kDst[] = {32, 32, 32};

  void run(const PlanesIn& src, const Targets<3>& dst) const {
    const ThreePlanes p = loadPlanes(src[0], src[1], src[2]);
    const RgbWords low = setHI<false, kSetI>(p), high = setHI<true, kSetI>(p);
    store32(dst[0], _mm256_packus_epi16(low.r, high.r));
    store32(dst[1], _mm256_packus_epi16(low.g, high.g));
    store32(dst[2], _mm256_packus_epi16(low.b, high.b));
  }

  void runEight(const PlanesIn& src, const Targets<3>& dst) const {
    const RgbWords p = setHI<false, kSetI>(loadEightOfPlanes(src[0], src[1], src[2]));
    store8(dst[0], _mm256_packus_epi16(p.r, p.r));
    store8(dst[1], _mm256_packus_epi16(p.g, p.g));
    store8(dst[2], _mm256_packus_epi16(p.b, p.b));
  }
};

// Set J: what remains of a row, eight pixels of it, one pixel, or one packed pair.
template <typename Layout>
struct SetJ {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8}, kDst[] = {8 * Layout::kBytes};

  void runEight(const PlanesIn& src, const RowOut& dst) const {
    Layout::storeEight(dst[0], dst[0], setJEight(src[0], src[1], src[2]));
  }
};
struct SetJPlanes {
  static constexpr int kColumns = 8, kSrc[] = {8, 8, 8}, kDst[] = {8, 8, 8};

  void runEight(const PlanesIn& src, const Targets<3>& dst) const {
    const RgbWords p = setJEight(src[0], src[1], src[2]);
    store8(dst[0], _mm256_packus_epi16(p.r, p.r));
    store8(dst[1], _mm256_packus_epi16(p.g, p.g));
    store8(dst[2], _mm256_packus_epi16(p.b, p.b));
  }
};
template <typename Layout>
void storeOne(uint8_t* dst, const Rgb& p) {
  dst[Layout::kRed] = p.r;
  dst[Layout::kGreen] = p.g;
  dst[Layout::kBlue] = p.b;
}
template <typename Layout>
struct SetJOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1}, kDst[] = {Layout::kBytes};

  void run(const PlanesIn& src, const RowOut& dst) const {
    storeOne<Layout>(dst[0], setJ(*src[0], *src[1] - 128, *src[2] - 128));
  }
};
struct SetJPlanesOne {
  static constexpr int kColumns = 1, kSrc[] = {1, 1, 1}, kDst[] = {1, 1, 1};

  void run(const PlanesIn& src, const Targets<3>& dst) const {
    const Rgb p = setJ(*src[0], *src[1] - 128, *src[2] - 128);
    *dst[0] = p.r, *dst[1] = p.g, *dst[2] = p.b;
  }
};
struct SetJPacked {
  static constexpr int kColumns = 2, kSrc[] = {4}, kDst[] = {6};

  void run(const Sources<1>& src, const RowOut& dst) const {
    const int cb = src[0][1] - 128, cr = src[0][3] - 128;
    storeOne<Rgb24>(dst[0], setJ(src[0][0], cb, cr));
    storeOne<Rgb24>(dst[0] + 3, setJ(src[0][2], cb, cr));
  }
};

// Set L, packed pixels.
struct SetLPacked {
  static constexpr int kColumns = 32, kSrc[] = {64}, kDst[] = {96};

  void run(const Sources<1>& src, const RowOut& dst) const {
    Rgb24::storeSixteen(dst[0], dst[0] + 48, setL(load16x2(src[0], src[0] + 32)),
                        setL(load16x2(src[0] + 16, src[0] + 48)));
  }

  void runEight(const Sources<1>& src, const RowOut& dst) const {
    Rgb24::storeEight(dst[0], dst[0], setL(load16x2(src[0], src[0])));
  }
};

// Set K. Four-byte pixels get the alpha of the call.
template <typename Layout>
struct AlphaStore {
  uint8_t alpha;

  void store(uint8_t* dst, const RgbWords& left, const RgbWords& right) const {
    if constexpr (Layout::kBytes == 4)
      Layout::storeSixteen(dst, dst + 64, left, right, _mm256_set1_epi8(static_cast<char>(alpha)));
    else
      Layout::storeSixteen(dst, dst + 48, left, right);
  }

  void storeEight(uint8_t* dst, const RgbWords& p) const {
    if constexpr (Layout::kBytes == 4)
      Layout::storeEight(dst, dst, p, _mm256_set1_epi8(static_cast<char>(alpha)));
    else
      Layout::storeEight(dst, dst, p);
  }
};

template <bool kUpper>
__m256i sevenBitsUp(__m256i bytes) {
  return _mm256_slli_epi16(unpackBytes<kUpper>(bytes, _mm256_setzero_si256()), 7);
}

// Full chroma.
template <typename Layout>
struct SetK : AlphaStore<Layout> {
  static constexpr int kColumns = 32, kSrc[] = {32, 32, 32}, kDst[] = {32 * Layout::kBytes};

  void run(const PlanesIn& src, const RowOut& dst) const {
    const __m256i y = load32(src[0]), cb = load32(src[1]), cr = load32(src[2]), zero = _mm256_setzero_si256();
    this->store(dst[0], addLuma(_mm256_unpacklo_epi8(y, zero), termsK(sevenBitsUp<false>(cb), sevenBitsUp<false>(cr))),
                addLuma(_mm256_unpackhi_epi8(y, zero), termsK(sevenBitsUp<true>(cb), sevenBitsUp<true>(cr))));
  }

  void runEight(const PlanesIn& src, const RowOut& dst) const {
    const __m256i y = _mm256_unpacklo_epi8(load8InHalves(src[0]), _mm256_setzero_si256());
    this->storeEight(dst[0], addLuma(y, termsK(sevenBitsUp<false>(load8InHalves(src[1])),
                                               sevenBitsUp<false>(load8InHalves(src[2])))));
  }
};

// Chroma of half the width, for one row (422) or two rows (411) of pixels.
template <typename Layout, int kRows>
struct SetKReduced : AlphaStore<Layout> {
  static constexpr int kColumns = 32;
  static constexpr int kSrc[] = {16, 16, 32, 32}, kDst[] = {32 * Layout::kBytes, 32 * Layout::kBytes};

  void run(const Sources<2 + kRows>& src, const Targets<kRows>& dst) const {
    const RgbWords terms =
        termsK(_mm256_slli_epi16(load16AsWords(src[0]), 7), _mm256_slli_epi16(load16AsWords(src[1]), 7));
    const RgbWords left = doubleLow(terms), right = doubleHigh(terms);
    const __m256i zero = _mm256_setzero_si256();
    for (int i = 0; i < kRows; ++i) {
      const __m256i y = load32(src[2 + i]);
      this->store(dst[i], addLuma(_mm256_unpacklo_epi8(y, zero), left), addLuma(_mm256_unpackhi_epi8(y, zero), right));
    }
  }

  void runEight(const Sources<2 + kRows>& src, const Targets<kRows>& dst) const {
    const RgbWords terms =
        doubleLow(termsK(sevenBitsUp<false>(load4InHalves(src[0])), sevenBitsUp<false>(load4InHalves(src[1]))));
    for (int i = 0; i < kRows; ++i)
      this->storeEight(dst[i], addLuma(_mm256_unpacklo_epi8(load8InHalves(src[2 + i]), _mm256_setzero_si256()), terms));
  }
};

// Which set serves which columns of a row of w pixels.

template <typename Layout>
void threeByteRow(const PlanesIn& src, const RowOut& dst, int w) {
  forRemainder(SetJ<Layout>{}, SetJOne<Layout>{}, src, dst, wholeOf(w, 4), w);
  forColumns(Interleaved<Layout, kSetH>{}, src, dst, 0, wholeOf(w, 4));
}

void planesRow(const PlanesIn& src, const Targets<3>& dst, int w) {
  forRemainder(SetJPlanes{}, SetJPlanesOne{}, src, dst, wholeOf(w, 4), w);
  forColumns(SetIPlanes{}, src, dst, 0, wholeOf(w, 4));
}

template <typename Layout>
void twoByteRow(const PlanesIn& src, const RowOut& dst, int w) {
  forColumns(Interleaved<Layout, kSetI>{}, src, dst, 0, w);
}

template <typename Layout>
void fourByteRow(const PlanesIn& src, const RowOut& dst, uint8_t alpha, int w) {
  forColumns(SetK<Layout>{{alpha}}, src, dst, 0, w);
}

// w is the width rounded down to even.
template <typename Layout, int kRows>
void reducedRow(const Sources<2 + kRows>& src, const Targets<kRows>& dst, uint8_t alpha, int w) {
  forColumns(SetKReduced<Layout, kRows>{{alpha}}, src, dst, 0, w);
}

// The tail works on pairs: an odd width writes one pixel more than the region holds, which is kept.
void packedRow(const Sources<1>& src, const RowOut& dst, int w) {
  forColumns(SetLPacked{}, src, dst, 0, wholeOf(w, 8));
  forColumns(SetJPacked{}, src, dst, wholeOf(w, 8), w + w % 2);
}

// The families of exports.

// Three-byte pixels test their steps and share rows out over threads.
template <typename Layout>
QlmStatus planesToThreeBytes(const uint8_t* const* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (anyNull<3>(src) || !dst) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesIn planes = sources<3>(src);
  ownForEachRow(size, [=](int32_t y) {
    threeByteRow<Layout>(rowsOf(planes, srcStep, y), {{ownRow(dst, dstStep, y)}}, size.width);
  });
  return qlmOk;
}

// Four-byte pixels test no step and stay on the calling thread.
template <typename Layout>
QlmStatus planesToFourBytes(const uint8_t* const* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size,
                            uint8_t alpha) {
  if (anyNull<3>(src) || !dst) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesIn planes = sources<3>(src);
  for (int32_t y = 0; y < size.height; ++y)
    fourByteRow<Layout>(rowsOf(planes, srcStep, y), {{ownRow(dst, dstStep, y)}}, alpha, size.width);
  return qlmOk;
}

// Two-byte pixels test their steps and stay on the calling thread.
template <typename Layout>
QlmStatus planesToTwoBytes(const uint8_t* const* src, int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  if (anyNull<3>(src) || !dst) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  auto* bytes = reinterpret_cast<uint8_t*>(dst);
  const PlanesIn planes = sources<3>(src);
  for (int32_t y = 0; y < size.height; ++y)
    twoByteRow<Layout>(rowsOf(planes, srcStep, y), {{ownRow(bytes, dstStep, y)}}, size.width);
  return qlmOk;
}

// The subsampled forms test no step and stay on the calling thread. One row of chroma serves kRows rows of pixels; a
// last odd column and, for 411, a last odd row are left out.
template <typename Layout, int kRows>
QlmStatus reducedPlanesToPixels(const uint8_t* const* src, const int32_t* srcSteps, uint8_t* dst, int32_t dstStep,
                                QlmSize size, uint8_t alpha = 0) {
  if (anyNull<3>(src) || !srcSteps || !dst) return qlmErrNullPointer;
  if (size.width < 2 || size.height < kRows) return qlmErrSize;

  for (int32_t y = 0; y <= size.height - kRows; y += kRows) {
    Sources<2 + kRows> planes;
    Targets<kRows> pixels;
    for (int i = 0; i < 2; ++i) planes.at[i] = ownRow(src[1 + i], srcSteps[1 + i], y / kRows);
    for (int32_t i = 0; i < kRows; ++i) {
      planes.at[2 + i] = ownRow(src[0], srcSteps[0], y + i);
      pixels.at[i] = ownRow(dst, dstStep, y + i);
    }
    reducedRow<Layout, kRows>(planes, pixels, alpha, wholeOf(size.width, 2));
  }
  return size.width % 2 || size.height % kRows ? qlmWarnOddSize : qlmOk;
}

}  // namespace

// The exports.

QLM_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return planesToThreeBytes<Rgb24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCrToBGR_JPEG_8u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return planesToThreeBytes<Bgr24>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C4R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return planesToFourBytes<Rgb32>(src, srcStep, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCrToBGR_JPEG_8u_P3C4R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return planesToFourBytes<Bgr32>(src, srcStep, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  return planesToTwoBytes<Rgb555>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  return planesToTwoBytes<Rgb565>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  return planesToTwoBytes<Bgr555>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R)
(const uint8_t* const src[3], int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  return planesToTwoBytes<Bgr565>(src, srcStep, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size) {
  return reducedPlanesToPixels<Rgb24, 1>(src, srcSteps, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size) {
  return reducedPlanesToPixels<Bgr24, 1>(src, srcSteps, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_P3C4R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return reducedPlanesToPixels<Rgb32, 1>(src, srcSteps, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCr422ToBGR_JPEG_8u_P3C4R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return reducedPlanesToPixels<Bgr32, 1>(src, srcSteps, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size) {
  return reducedPlanesToPixels<Rgb24, 2>(src, srcSteps, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCr411ToBGR_JPEG_8u_P3C3R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size) {
  return reducedPlanesToPixels<Bgr24, 2>(src, srcSteps, dst, dstStep, size);
}

QLM_EXPORT(qlmiYCbCr411ToRGB_JPEG_8u_P3C4R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return reducedPlanesToPixels<Rgb32, 2>(src, srcSteps, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCr411ToBGR_JPEG_8u_P3C4R)
(const uint8_t* const src[3], const int32_t srcSteps[3], uint8_t* dst, int32_t dstStep, QlmSize size, uint8_t alpha) {
  return reducedPlanesToPixels<Bgr32, 2>(src, srcSteps, dst, dstStep, size, alpha);
}

QLM_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3R)
(const uint8_t* const src[3], int32_t srcStep, uint8_t* const dst[3], int32_t dstStep, QlmSize size) {
  if (anyNull<3>(src) || anyNull<3>(dst)) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  const PlanesIn in = sources<3>(src);
  const Targets<3> out = targets<3>(dst);
  ownForEachRow(size, [=](int32_t y) { planesRow(rowsOf(in, srcStep, y), rowsOf(out, dstStep, y), size.width); });
  return qlmOk;
}

// Tests no step, and shares rows out over threads all the same.
QLM_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R)
(const uint8_t* src, int32_t srcStep, uint8_t* dst, int32_t dstStep, QlmSize size) {
  if (!src || !dst) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;

  ownForEachRow(size,
                [=](int32_t y) { packedRow({{ownRow(src, srcStep, y)}}, {{ownRow(dst, dstStep, y)}}, size.width); });
  return qlmOk;
}
