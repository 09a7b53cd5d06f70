// One level of the reversible 5/3 wavelet on a plane (T.800 Annex F).
#include "jpeg2000/transform/wavelet_53.h"
#include "jpeg2000/transform/wavelet_frame.h"

namespace {

template <typename A>
struct Planes53 {
  using Element = typename A::Element;
  using T = Element;
  static constexpr int32_t kMargin = 2;
  static constexpr int32_t kShortest = 3;

  static int32_t forwardSource(int32_t d, int32_t n, int32_t p) { return ownPictureSource(d, n, p); }

  static int32_t forwardPlace(int32_t k, int32_t n, int32_t p) { return ownPicturePlace(k, n, p); }

  // Rows shorter than this would be read back before they have left the store buffer, in other portions than they were
  // written in.
  static bool inOnePass(int32_t width) { return width >= 512 / static_cast<int32_t>(sizeof(T)); }

  // A step looks one row back and two ahead.
  static constexpr int32_t kWindow = 4;

  template <typename Source, typename Place, typename Done>
  static void liftColumns(const Source& x, const Place& y, const Done& done, int32_t width, int32_t n, int32_t p) {
    if (n == 2) {
      ownForwardTwoRows53<A>(x(p), x(p ^ 1), y(p), y(p ^ 1), width);
      return done(0), done(1);
    }
    // The first high row, and the low row in front of it, which has that row on both sides.
    const int32_t high = p ^ 1;
    ownHighRow53<A>(x(p ? 1 : 0), x(high), x(high + 1), y(high), width);
    if (!p) {
      ownLowRow53<A>(y(1), x(0), y(1), y(0), width);
      done(0);
    }
    done(high);
    int32_t k = high + 1;
    for (; k + 1 < n; k += 2) {
      ownForwardRows53<A>(x(k), x(k + 1), k + 2 < n ? x(k + 2) : x(k), y(k - 1), y(k), y(k + 1), width);
      done(k), done(k + 1);
    }
    if (k < n) {
      ownLowRow53<A>(y(k - 1), x(k), y(k - 1), y(k), width);
      done(k);
    }
  }

  template <typename Source, typename Place>
  static void unliftColumns(const Source& x, const Place& y, int32_t width, int32_t n, int32_t p) {
    if (n == 2) return ownInverseTwoRows53<A>(x(p), x(p ^ 1), y(p), y(p ^ 1), width);

    // The first even row, and the odd row in front of it, which has that row on both sides. Where the plane is its own
    // destination the even row has to come first.
    const auto behind = [&](int32_t k) { return k + 1 < n ? x(k + 1) : x(k - 1); };
    ownEvenRow53<A>(p ? x(0) : x(1), x(p), behind(p), y(p), width);
    if (p) ownOddRow53<A>(y(1), x(0), y(1), y(0), width);
    int32_t k = p + 2;
    for (; k < n; k += 2) ownInverseRows53<A>(x(k), x(k - 1), behind(k), y(k - 2), y(k - 1), y(k), width);
    if (k - 1 < n) ownOddRow53<A>(y(k - 2), x(k - 1), y(k - 2), y(k - 1), width);
  }

  static void forwardColumns(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t width, int32_t n,
                             int32_t p) {
    liftColumns([=](int32_t k) { return ownRow(src, srcStep, k); }, [=](int32_t k) { return ownRow(dst, dstStep, k); },
                [](int32_t) {}, width, n, p);
  }
  static void inverseColumns(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t width, int32_t n,
                             int32_t p) {
    unliftColumns([=](int32_t k) { return ownRow(src, srcStep, k); },
                  [=](int32_t k) { return ownRow(dst, dstStep, k); }, width, n, p);
  }

  // Along a row the bands are addressed from the first even sample on: even sample i is x[2i + p], and high value i
  // stands behind it. So at phase 1 there is a high value -1 in front of the first even sample, and where n is odd as
  // well the cut of the picture row separates it from the others.
  template <typename Sample>
  static Sample* firstHigh(Sample* left, Sample* right, int32_t n) {
    return n & 1 ? left + (ownCut(n) - 1) : right;
  }

  static void forwardRow(const T* src, T* left, T* right, int32_t n, int32_t p) {
    if (n == 1) return storeAny(left, p ? ownDouble(loadAny(src)) : loadAny(src));
    if (n == 2) return ownForwardTwoRows53<A>(src + p, src + (p ^ 1), left, right, 1);

    const T* x = src + p;
    T* high = p && !(n & 1) ? right + 1 : right;
    const int32_t lows = ownLowCount(n, p), highs = n - lows - p;
    const auto even = [=](int32_t i) { return loadAny(x + 2 * ptrdiff_t{i}); };
    // Pairs with an even sample behind them. The high value in front of the first one is at phase 0 the mirror image of
    // the one behind it.
    const int32_t pairs = highs < lows ? highs : lows - 1;
    T before = p ? ownHigh53<A>(even(0), loadAny(src), even(0)) : ownHigh53<A>(even(0), loadAny(x + 1), even(1));
    if (p) storeAny(firstHigh(left, right, n), before);
    before = ownForwardPairs53<A>(x, left, high, pairs, before);
    T last = before;
    if (pairs < highs) {
      last = ownHigh53<A>(even(pairs), loadAny(x + 2 * ptrdiff_t{pairs} + 1), even(pairs));
      storeAny(high + pairs, last);
    }
    storeAny(left + pairs, ownLow53<A>(before, even(pairs), last));
  }

  static void inverseRow(const T* left, const T* right, T* dst, int32_t n, int32_t p) {
    if (n == 1) return storeAny(dst, p ? ownHalve(loadAny(left)) : loadAny(left));
    if (n == 2) return ownInverseTwoRows53<A>(left, right, dst + p, dst + (p ^ 1), 1);

    T* x = dst + p;
    const T* high = p && !(n & 1) ? right + 1 : right;
    const int32_t lows = ownLowCount(n, p), highs = n - lows - p;
    const T front = p ? loadAny(firstHigh(left, right, n)) : loadAny(high);
    const auto highAt = [=](int32_t i) { return i < 0 ? front : loadAny(high + (i < highs ? i : highs - 1)); };
    const auto even = [=](int32_t i) { return ownEven53<A>(highAt(i - 1), loadAny(left + i), highAt(i)); };
    const auto storePair = [=](int32_t i, T e, T next) {
      storeAny(x + 2 * ptrdiff_t{i}, e);
      if (i < highs) storeAny(x + 2 * ptrdiff_t{i} + 1, ownOdd53<A>(e, highAt(i), next));
    };
    const T first = even(0);
    if (p) storeAny(dst, ownOdd53<A>(first, front, first));
    storePair(0, first, lows > 1 ? even(1) : first);
    // From pair 1 on all neighbours are there, up to the last but one of either band.
    int32_t i = 1;
    const int32_t inside = (lows < highs ? lows : highs) - 2;
    if (inside > 0) {
      ownInversePairs53<A>(left + 1, high + 1, x + 2, inside);
      i = inside + 1;
    }
    for (; i < lows - 1; ++i) storePair(i, even(i), even(i + 1));
    if (i < lows) storePair(i, even(i), even(i));
  }
};

}  // namespace

QLM_EXPORT(qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR)
(QlmRect rect, int32_t* size) { return ownBufSizeInPlace<Planes53<Wide16>>(rect, size); }

QLM_EXPORT(qlmiWTGetBufSize_B53_JPEG2K_16s_C1R)
(QlmRect rect, int32_t* size) { return ownBufSizeBands<Planes53<Wide16>>(rect, size); }

QLM_EXPORT(qlmiWTFwd_B53_JPEG2K_16s_C1IR)
(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownForwardInPlace<Planes53<Wide16>>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTInv_B53_JPEG2K_16s_C1IR)
(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseInPlace<Planes53<Wide16>>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTFwd_B53_JPEG2K_16s_C1R)
(const int16_t* src, int32_t srcStep, QlmRect rect, int16_t* const dst[4], const int32_t dstStep[4], uint8_t* buffer) {
  return ownForwardToBands<Planes53<Wide16>>(src, srcStep, rect, dst, dstStep, buffer);
}

QLM_EXPORT(qlmiWTInv_B53_JPEG2K_16s_C1R)
(const int16_t* const src[4], const int32_t srcStep[4], int16_t* dst, int32_t dstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseFromBands<Planes53<Wide16>>(src, srcStep, dst, dstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR)
(QlmRect rect, int32_t* size) { return ownBufSizeInPlace<Planes53<Wrap32>>(rect, size); }

QLM_EXPORT(qlmiWTGetBufSize_B53_JPEG2K_32s_C1R)
(QlmRect rect, int32_t* size) { return ownBufSizeBands<Planes53<Wrap32>>(rect, size); }

QLM_EXPORT(qlmiWTFwd_B53_JPEG2K_32s_C1IR)
(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownForwardInPlace<Planes53<Wrap32>>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTInv_B53_JPEG2K_32s_C1IR)
(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseInPlace<Planes53<Wrap32>>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTFwd_B53_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, QlmRect rect, int32_t* const dst[4], const int32_t dstStep[4], uint8_t* buffer) {
  return ownForwardToBands<Planes53<Wrap32>>(src, srcStep, rect, dst, dstStep, buffer);
}

QLM_EXPORT(qlmiWTInv_B53_JPEG2K_32s_C1R)
(const int32_t* const src[4], const int32_t srcStep[4], int32_t* dst, int32_t dstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseFromBands<Planes53<Wrap32>>(src, srcStep, dst, dstStep, rect, buffer);
}
