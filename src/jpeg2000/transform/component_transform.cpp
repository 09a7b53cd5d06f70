// The component transforms of three planes (T.800 Annex G): reversible (RCT, G.2) and irreversible (ICT, G.3). The
// first component is the luminance, the second the blue difference, the third the red difference. There is no level
// shift.
//
// A transform is written for one pixel and for the lanes of a vector of pixels, with the same result.
#include "frame/cover.h"
#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"
#include "frame/wrap.h"

namespace {

template <typename T>
struct Pixel {
  T a, b, c;
};

// --- Reversible ------------------------------------------------------------------------------------------------------

// Sums of 16-bit elements are taken in 32 bits, and what is stored wraps. In lanes of 16 bits, means that are rounded
// down twice are the same as one shift by 2.
struct RctForward16 {
  using Element = int16_t;
  static Pixel<int16_t> apply(Pixel<int16_t> rgb) {
    return {static_cast<int16_t>((rgb.a + 2 * rgb.b + rgb.c) >> 2), static_cast<int16_t>(rgb.c - rgb.b),
            static_cast<int16_t>(rgb.a - rgb.b)};
  }
  static Planes3 apply(const Planes3& rgb) {
    return {meanDown16(meanDown16(rgb.x, rgb.z), rgb.y), _mm256_sub_epi16(rgb.z, rgb.y),
            _mm256_sub_epi16(rgb.x, rgb.y)};
  }
};

struct RctInverse16 {
  using Element = int16_t;
  static Pixel<int16_t> apply(Pixel<int16_t> ycc) {
    const int32_t green = ycc.a - ((ycc.b + ycc.c) >> 2);
    return {static_cast<int16_t>(ycc.c + green), static_cast<int16_t>(green), static_cast<int16_t>(ycc.b + green)};
  }
  static Planes3 apply(const Planes3& ycc) {
    const __m256i green = _mm256_sub_epi16(ycc.x, _mm256_srai_epi16(meanDown16(ycc.y, ycc.z), 1));
    return {_mm256_add_epi16(ycc.z, green), green, _mm256_add_epi16(ycc.y, green)};
  }
};

struct RctForward32 {
  using Element = int32_t;
  static Pixel<int32_t> apply(Pixel<int32_t> rgb) {
    return {wrapAdd32(wrapAdd32(rgb.a, rgb.c), wrapAdd32(rgb.b, rgb.b)) >> 2, wrapSub32(rgb.c, rgb.b),
            wrapSub32(rgb.a, rgb.b)};
  }
  static Planes3 apply(const Planes3& rgb) {
    const __m256i sum = _mm256_add_epi32(_mm256_add_epi32(rgb.x, rgb.z), _mm256_add_epi32(rgb.y, rgb.y));
    return {_mm256_srai_epi32(sum, 2), _mm256_sub_epi32(rgb.z, rgb.y), _mm256_sub_epi32(rgb.x, rgb.y)};
  }
};

struct RctInverse32 {
  using Element = int32_t;
  static Pixel<int32_t> apply(Pixel<int32_t> ycc) {
    const int32_t green = wrapSub32(ycc.a, wrapAdd32(ycc.b, ycc.c) >> 2);
    return {wrapAdd32(ycc.c, green), green, wrapAdd32(ycc.b, green)};
  }
  static Planes3 apply(const Planes3& ycc) {
    const __m256i green = _mm256_sub_epi32(ycc.x, _mm256_srai_epi32(_mm256_add_epi32(ycc.y, ycc.z), 2));
    return {_mm256_add_epi32(ycc.z, green), green, _mm256_add_epi32(ycc.y, green)};
  }
};

// --- Irreversible, single precision ----------------------------------------------------------------------------------

// Products and sums are rounded one by one, from left to right.
struct IctForwardFloat {
  using Element = float;
  static Pixel<float> apply(Pixel<float> rgb) {
    const auto dot = [=](float r, float g, float b) { return r * rgb.a + g * rgb.b + b * rgb.c; };
    return {dot(0.299f, 0.587f, 0.114f), dot(-0.16875f, -0.33126f, 0.5f), dot(0.5f, -0.41869f, -0.08131f)};
  }
  static Planes3 apply(const Planes3& rgb) {
    const __m256 red = _mm256_castsi256_ps(rgb.x), green = _mm256_castsi256_ps(rgb.y);
    const __m256 blue = _mm256_castsi256_ps(rgb.z);
    const auto dot = [=](float r, float g, float b) {
      const __m256 rg = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(r), red), _mm256_mul_ps(_mm256_set1_ps(g), green));
      return _mm256_castps_si256(_mm256_add_ps(rg, _mm256_mul_ps(_mm256_set1_ps(b), blue)));
    };
    return {dot(0.299f, 0.587f, 0.114f), dot(-0.16875f, -0.33126f, 0.5f), dot(0.5f, -0.41869f, -0.08131f)};
  }
};

struct IctInverseFloat {
  using Element = float;
  static Pixel<float> apply(Pixel<float> ycc) {
    return {1.402f * ycc.c + ycc.a, (-0.34413f * ycc.b + -0.71414f * ycc.c) + ycc.a, 1.772f * ycc.b + ycc.a};
  }
  static Planes3 apply(const Planes3& ycc) {
    const __m256 y = _mm256_castsi256_ps(ycc.x), cb = _mm256_castsi256_ps(ycc.y), cr = _mm256_castsi256_ps(ycc.z);
    const auto times = [](float factor, __m256 v) { return _mm256_mul_ps(_mm256_set1_ps(factor), v); };
    const auto plusY = [=](__m256 v) { return _mm256_castps_si256(_mm256_add_ps(v, y)); };
    return {plusY(times(1.402f, cr)), plusY(_mm256_add_ps(times(-0.34413f, cb), times(-0.71414f, cr))),
            plusY(times(1.772f, cb))};
  }
};

// --- Irreversible, 14-bit fixed point --------------------------------------------------------------------------------

constexpr int32_t kHalf = 8192;

// 32-bit elements: one rounding a component, and everything wraps.
constexpr int32_t q14(int32_t sum) { return wrapAdd32(sum, kHalf) >> 14; }
inline __m256i q14(__m256i sum) { return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(kHalf)), 14); }
inline __m256i times(int32_t factor, __m256i v) { return _mm256_mullo_epi32(v, _mm256_set1_epi32(factor)); }

struct IctForward32 {
  using Element = int32_t;
  static Pixel<int32_t> apply(Pixel<int32_t> rgb) {
    const auto dot = [=](int32_t r, int32_t g, int32_t b) {
      return q14(wrapAdd32(wrapAdd32(wrapMul32(r, rgb.a), wrapMul32(g, rgb.b)), wrapMul32(b, rgb.c)));
    };
    return {dot(4899, 9617, 1868), dot(-2765, -5427, 8192), dot(8192, -6860, -1332)};
  }
  static Planes3 apply(const Planes3& rgb) {
    // Multiplication is what bounds this, so 8192 is a shift.
    const auto sum = [](__m256i a, __m256i b, __m256i c) { return _mm256_add_epi32(_mm256_add_epi32(a, b), c); };
    return {q14(sum(times(4899, rgb.x), times(9617, rgb.y), times(1868, rgb.z))),
            q14(sum(times(-2765, rgb.x), times(-5427, rgb.y), _mm256_slli_epi32(rgb.z, 13))),
            q14(sum(_mm256_slli_epi32(rgb.x, 13), times(-6860, rgb.y), times(-1332, rgb.z)))};
  }
};

struct IctInverse32 {
  using Element = int32_t;
  static Pixel<int32_t> apply(Pixel<int32_t> ycc) {
    return {wrapAdd32(ycc.a, q14(wrapMul32(22970, ycc.c))),
            wrapAdd32(ycc.a, q14(wrapAdd32(wrapMul32(-5638, ycc.b), wrapMul32(-11700, ycc.c)))),
            wrapAdd32(ycc.a, q14(wrapMul32(29032, ycc.b)))};
  }
  static Planes3 apply(const Planes3& ycc) {
    const auto plusY = [&](__m256i v) { return _mm256_add_epi32(ycc.x, q14(v)); };
    return {plusY(times(22970, ycc.z)), plusY(_mm256_add_epi32(times(-5638, ycc.y), times(-11700, ycc.z))),
            plusY(times(29032, ycc.y))};
  }
};

// 16-bit elements saturate. In lanes the sums are multiply-adds of pairs of words; a word of 1 beside a component
// brings the half of the rounding in.
constexpr int16_t saturate16(int32_t v) { return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v); }

struct WordPairs {
  __m256i low, high;
};
inline WordPairs pairUp(__m256i first, __m256i second) {
  return {_mm256_unpacklo_epi16(first, second), _mm256_unpackhi_epi16(first, second)};
}
inline WordPairs operator+(const WordPairs& a, const WordPairs& b) {
  return {_mm256_add_epi32(a.low, b.low), _mm256_add_epi32(a.high, b.high)};
}
inline WordPairs dot(const WordPairs& v, int32_t first, int32_t second) {
  const __m256i factors = _mm256_set1_epi32(wrapAdd32(wrapMul32(second, 65536), first & 0xFFFF));
  return {_mm256_madd_epi16(v.low, factors), _mm256_madd_epi16(v.high, factors)};
}
inline WordPairs shift14(const WordPairs& v) { return {_mm256_srai_epi32(v.low, 14), _mm256_srai_epi32(v.high, 14)}; }
inline __m256i saturateWords(const WordPairs& v) { return _mm256_packs_epi32(v.low, v.high); }

// Chroma takes two stages: the difference to the luminance, of which only the low 16 bits go on, and its scaling.
struct IctForward16 {
  using Element = int16_t;
  static Pixel<int16_t> apply(Pixel<int16_t> rgb) {
    const int32_t luminance = 4899 * rgb.a + 9617 * rgb.b + 1868 * rgb.c;
    const auto chroma = [=](int16_t v, int32_t scale) {
      return saturate16(q14(scale * static_cast<int16_t>(q14(16384 * v - luminance))));
    };
    return {saturate16(q14(luminance)), chroma(rgb.c, 9246), chroma(rgb.a, 11686)};
  }
  static Planes3 apply(const Planes3& rgb) {
    const __m256i one = _mm256_set1_epi16(1);
    const WordPairs rg = pairUp(rgb.x, rgb.y), b1 = pairUp(rgb.z, one);
    const auto scaled = [=](const WordPairs& difference, int32_t scale) {
      const WordPairs cut = shift14(difference);
      const WordPairs withOne = {_mm256_blend_epi16(cut.low, one, 0xAA), _mm256_blend_epi16(cut.high, one, 0xAA)};
      return saturateWords(shift14(dot(withOne, scale, kHalf)));
    };
    return {saturateWords(shift14(dot(rg, 4899, 9617) + dot(b1, 1868, kHalf))),
            scaled(dot(rg, -4899, -9617) + dot(b1, 16384 - 1868, kHalf), 9246),
            scaled(dot(rg, 16384 - 4899, -9617) + dot(b1, -1868, kHalf), 11686)};
  }
};

// Green subtracts a rounded sum where the 32-bit form adds one: they differ by 1 at exact halves, and each is kept.
struct IctInverse16 {
  using Element = int16_t;
  static Pixel<int16_t> apply(Pixel<int16_t> ycc) {
    return {saturate16(ycc.a + q14(22970 * ycc.c)), saturate16(ycc.a - q14(5638 * ycc.b + 11700 * ycc.c)),
            saturate16(ycc.a + q14(29032 * ycc.b))};
  }
  static Planes3 apply(const Planes3& ycc) {
    // A multiple of 2^14 may come in before the shift. Green is rounded the other way up: less floor((v + 8192) >> 14)
    // is plus floor((8191 - v) >> 14).
    const WordPairs chroma = pairUp(ycc.y, ycc.z), y1 = pairUp(ycc.x, _mm256_set1_epi16(1));
    const WordPairs luminance = dot(y1, 16384, kHalf);
    return {saturateWords(shift14(luminance + dot(chroma, 0, 22970))),
            saturateWords(shift14(dot(y1, 16384, kHalf - 1) + dot(chroma, -5638, -11700))),
            saturateWords(shift14(luminance + dot(chroma, 29032, 0)))};
  }
};

// --- Rows ------------------------------------------------------------------------------------------------------------

template <typename T>
constexpr int kLanes = 32 / sizeof(T);

template <typename T>
Planes3 loadPixels(const T* p) {
  if constexpr (sizeof(T) == 2) return loadWordTriples(p);
  return loadDwordTriples(p);
}
template <typename T>
void storePixels(T* p, const Planes3& v) {
  if constexpr (sizeof(T) == 2) return storeWordTriples(p, v);
  storeDwordTriples(p, v);
}

template <typename Transform, typename T>
void transformInPlace(T* a, T* b, T* c, int32_t width) {
  struct Store {
    T *a, *b, *c;
    void operator()(ptrdiff_t i, const Planes3& v) const {
      store32(a + i, v.x), store32(b + i, v.y), store32(c + i, v.z);
    }
    void operator()(ptrdiff_t i, const Pixel<T>& v) const {
      storeAny(a + i, v.a), storeAny(b + i, v.b), storeAny(c + i, v.c);
    }
  };
  ownCoverInPlace<kLanes<T>>(
      width,
      [=](auto lanes, ptrdiff_t i) {
        if constexpr (lanes == 1)
          return Transform::apply(Pixel<T>{loadAny(a + i), loadAny(b + i), loadAny(c + i)});
        else
          return Transform::apply(Planes3{load32(a + i), load32(b + i), load32(c + i)});
      },
      Store{a, b, c});
}

// Rows that overlap are transformed pixel by pixel.
template <typename T>
bool overlap(const T* a, const T* b, int32_t width) {
  const auto distance = reinterpret_cast<uintptr_t>(a) - reinterpret_cast<uintptr_t>(b);
  const uintptr_t bytes = sizeof(T) * static_cast<size_t>(width);
  return distance < bytes || -distance < bytes;
}

template <typename Transform, typename T = typename Transform::Element>
QlmStatus inPlace(T* const planes[3], int32_t step, QlmSize size) {
  if (!planes || !planes[0] || !planes[1] || !planes[2]) return qlmErrNullPointer;
  if (step < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  for (int32_t y = 0; y < size.height; ++y) {
    T *a = ownRow(planes[0], step, y), *b = ownRow(planes[1], step, y), *c = ownRow(planes[2], step, y);
    if (overlap(a, b, size.width) || overlap(b, c, size.width) || overlap(a, c, size.width)) {
      for (int32_t i = 0; i < size.width; ++i) transformInPlace<Transform>(a + i, b + i, c + i, 1);
    } else {
      transformInPlace<Transform>(a, b, c, size.width);
    }
  }
  return qlmOk;
}

template <typename Transform, typename T = typename Transform::Element>
QlmStatus split(const T* src, int32_t srcStep, T* const dst[3], int32_t dstStep, QlmSize size) {
  if (!src || !dst || !dst[0] || !dst[1] || !dst[2]) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  for (int32_t y = 0; y < size.height; ++y) {
    const T* in = ownRow(src, srcStep, y);
    T *a = ownRow(dst[0], dstStep, y), *b = ownRow(dst[1], dstStep, y), *c = ownRow(dst[2], dstStep, y);
    ownCover<kLanes<T>, kLanes<T>>(size.width, [=](auto lanes, ptrdiff_t i) {
      const T* pixel = in + 3 * i;
      if constexpr (lanes == 1) {
        const Pixel<T> v = Transform::apply(Pixel<T>{loadAny(pixel), loadAny(pixel + 1), loadAny(pixel + 2)});
        storeAny(a + i, v.a), storeAny(b + i, v.b), storeAny(c + i, v.c);
      } else {
        const Planes3 v = Transform::apply(loadPixels(pixel));
        store32(a + i, v.x), store32(b + i, v.y), store32(c + i, v.z);
      }
    });
  }
  return qlmOk;
}

template <typename Transform, typename T = typename Transform::Element>
QlmStatus join(const T* const src[3], int32_t srcStep, T* dst, int32_t dstStep, QlmSize size) {
  if (!src || !src[0] || !src[1] || !src[2] || !dst) return qlmErrNullPointer;
  if (srcStep < 1 || dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  for (int32_t y = 0; y < size.height; ++y) {
    T* out = ownRow(dst, dstStep, y);
    const T *a = ownRow(src[0], srcStep, y), *b = ownRow(src[1], srcStep, y), *c = ownRow(src[2], srcStep, y);
    ownCover<kLanes<T>, kLanes<T>>(size.width, [=](auto lanes, ptrdiff_t i) {
      T* pixel = out + 3 * i;
      if constexpr (lanes == 1) {
        const Pixel<T> v = Transform::apply(Pixel<T>{loadAny(a + i), loadAny(b + i), loadAny(c + i)});
        storeAny(pixel, v.a), storeAny(pixel + 1, v.b), storeAny(pixel + 2, v.c);
      } else {
        storePixels(pixel, Transform::apply(Planes3{load32(a + i), load32(b + i), load32(c + i)}));
      }
    });
  }
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiRCTFwd_JPEG2K_16s_C3P3R)
(const int16_t* src, int32_t srcStep, int16_t* const dst[3], int32_t dstStep, QlmSize roiSize) {
  return split<RctForward16>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiRCTInv_JPEG2K_16s_P3C3R)
(const int16_t* const src[3], int32_t srcStep, int16_t* dst, int32_t dstStep, QlmSize roiSize) {
  return join<RctInverse16>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiRCTFwd_JPEG2K_32s_C3P3R)
(const int32_t* src, int32_t srcStep, int32_t* const dst[3], int32_t dstStep, QlmSize roiSize) {
  return split<RctForward32>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiRCTInv_JPEG2K_32s_P3C3R)
(const int32_t* const src[3], int32_t srcStep, int32_t* dst, int32_t dstStep, QlmSize roiSize) {
  return join<RctInverse32>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiRCTFwd_JPEG2K_16s_P3IR)
(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<RctForward16>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiRCTInv_JPEG2K_16s_P3IR)
(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<RctInverse16>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiRCTFwd_JPEG2K_32s_P3IR)
(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<RctForward32>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiRCTInv_JPEG2K_32s_P3IR)
(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<RctInverse32>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTFwd_JPEG2K_32f_C3P3R)
(const float* src, int32_t srcStep, float* const dst[3], int32_t dstStep, QlmSize roiSize) {
  return split<IctForwardFloat>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiICTInv_JPEG2K_32f_P3C3R)
(const float* const src[3], int32_t srcStep, float* dst, int32_t dstStep, QlmSize roiSize) {
  return join<IctInverseFloat>(src, srcStep, dst, dstStep, roiSize);
}

QLM_EXPORT(qlmiICTFwd_JPEG2K_16s_P3IR)
(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctForward16>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTInv_JPEG2K_16s_P3IR)
(int16_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctInverse16>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTFwd_JPEG2K_32s_P3IR)
(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctForward32>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTInv_JPEG2K_32s_P3IR)
(int32_t* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctInverse32>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTFwd_JPEG2K_32f_P3IR)
(float* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctForwardFloat>(srcDst, srcDstStep, roiSize);
}

QLM_EXPORT(qlmiICTInv_JPEG2K_32f_P3IR)
(float* const srcDst[3], int32_t srcDstStep, QlmSize roiSize) {
  return inPlace<IctInverseFloat>(srcDst, srcDstStep, roiSize);
}
