// The irreversible 9/7 wavelet (T.800 F.3, F.4) along rows or columns that the caller has continued. Low value k stands
// at position 2k. With an odd start position 0 is the second sample, and high value i of the caller is number i - 1.
#include "frame/frame.h"
#include "frame/rows.h"
#include "jpeg2000/transform/wavelet_97_columns.h"
#include "jpeg2000/transform/wavelet_97_ends.h"
#include "jpeg2000/transform/wavelet_97_rows.h"
#include "jpeg2000/transform/wavelet_frame.h"

namespace {

// --- Rows ----------------------------------------------------------------------------------------------------------

// The number formats of the rows of each element type: of the first and the last value, of fewer than 16 values between
// them, of more, and of the taps.
struct Rows16 {
  using Element = int16_t;
  using Ends = EndsQ16;
  using Few = Q15<false>;
  using Inner = Q15<true>;
  static Element limited(int64_t v) {
    return static_cast<Element>(v < INT16_MIN ? INT16_MIN : v > INT16_MAX ? INT16_MAX : v);
  }
  // A low value of the taps has no lower limit: below, it is cut.
  static Element limitedAbove(int64_t v) { return static_cast<Element>(v > INT16_MAX ? INT16_MAX : v); }
  static int64_t toTaps(Element v) { return v; }
  static constexpr const auto &kLow = kLowTapsQ16, &kOdd = kOddTapsQ16;
  static constexpr const auto &kHigh = kHighTapsQ16, &kEven = kEvenTapsQ16;
};
struct Rows32 {
  using Element = int32_t;
  using Inner = Q16;
  static Element limited(int64_t v) { return static_cast<Element>(v); }
  static Element limitedAbove(int64_t v) { return static_cast<Element>(v); }
  static int64_t toTaps(Element v) { return v; }
  static constexpr const auto &kLow = kLowTapsQ16, &kOdd = kOddTapsQ16;
  static constexpr const auto &kHigh = kHighTapsQ16, &kEven = kEvenTapsQ16;
};
struct RowsFloat {
  using Element = float;
  using Ends = EndsFloat;
  using Few = PlainFloat;
  using Inner = PlainFloat;
  static Element limited(__m256 v) { return _mm256_cvtss_f32(v); }
  static Element limitedAbove(__m256 v) { return _mm256_cvtss_f32(v); }
  static __m256 toTaps(Element v) { return _mm256_set1_ps(v); }
  static constexpr const auto &kLow = kLowTaps, &kOdd = kOddTaps;
  static constexpr const auto &kHigh = kHighTaps, &kEven = kEvenTaps;
};
template <typename R>
inline constexpr bool kHasEnds = !std::is_same_v<R, Rows32>;

template <typename R, bool kOddStart, typename T = typename R::Element>
void forwardRow(const T* src, T* low, T* high, int32_t n) {
  const T* const x = src + kOddStart;
  if (n == 1) {
    const auto around = [=](int32_t centre) { return [=](int32_t d) { return R::toTaps(loadAny(x + centre + d)); }; };
    storeAny(low, R::limitedAbove(ownFilter97(R::kLow, around(0))));
    storeAny(high, R::limited(ownFilter97(R::kHigh, around(kOddStart ? -1 : 1))));
    return;
  }
  // Values first to first + count - 1 in one format.
  const auto lift = [=](auto format, int32_t first, int32_t count) {
    using F = decltype(format);
    ownForwardSamples97<F, kOddStart>(x + 2 * first - 4, count, low + first, high + first);
  };
  if constexpr (kHasEnds<R>) {
    ownForwardEnds97<typename R::Ends, kOddStart>(x, n, low, high);
    if (n > 2) lift(typename R::Inner{}, 1, n - 2);
  } else {
    lift(typename R::Inner{}, 0, n);
  }
}

template <typename R, bool kOddStart, typename T = typename R::Element>
void inverseRow(const T* low, const T* srcHigh, T* dst, int32_t n) {
  const T* const high = srcHigh + kOddStart;
  if (n == 1) {
    // Value at distance d from a centre in the line of low and high values.
    const auto around = [=](int32_t centre) {
      return [=](int32_t d) {
        const int32_t position = centre + d;
        return R::toTaps(loadAny(position % 2 ? high + (position - 1) / 2 : low + position / 2));
      };
    };
    storeAny(dst + kOddStart, R::limited(ownFilter97(R::kEven, around(0))));
    storeAny(dst + !kOddStart, R::limited(ownFilter97(R::kOdd, around(kOddStart ? -1 : 1))));
    return;
  }
  const auto lift = [=](auto format, int32_t first, int32_t count) {
    using F = decltype(format);
    const int32_t ahead = first + (kOddStart ? 1 : 2);
    ownInverseSamples97<F, kOddStart>(low + ahead, high + ahead, count, dst + 2 * first);
  };
  if constexpr (kHasEnds<R>) {
    ownInverseEnds97<typename R::Ends, kOddStart>(low, high, n, dst);
    if (n - 2 >= 16) {
      lift(typename R::Inner{}, 1, n - 2);
    } else if (n > 2) {
      lift(typename R::Few{}, 1, n - 2);
    }
  } else {
    lift(typename R::Inner{}, 0, n);
  }
}

template <typename R, typename T = typename R::Element>
QlmStatus forwardRows(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, QlmSize roi,
                      int32_t phase) {
  if (const QlmStatus status = ownCheckSplit(src, srcStep, low, lowStep, high, highStep, roi)) return status;
  const auto lift = phase ? forwardRow<R, true> : forwardRow<R, false>;
  for (int32_t y = 0; y < roi.height; ++y)
    lift(ownRow(src, srcStep, y), ownRow(low, lowStep, y), ownRow(high, highStep, y), roi.width);
  return qlmOk;
}

template <typename R, typename T = typename R::Element>
QlmStatus inverseRows(const T* low, int32_t lowStep, const T* high, int32_t highStep, QlmSize roi, T* dst,
                      int32_t dstStep, int32_t phase) {
  if (const QlmStatus status = ownCheckSplit(low, lowStep, high, highStep, dst, dstStep, roi)) return status;
  const auto lift = phase ? inverseRow<R, true> : inverseRow<R, false>;
  for (int32_t y = 0; y < roi.height; ++y)
    lift(ownRow(low, lowStep, y), ownRow(high, highStep, y), ownRow(dst, dstStep, y), roi.width);
  return qlmOk;
}

// --- Columns -------------------------------------------------------------------------------------------------------

// n rows of each band. The first and the last one are lifted by fused steps, in walks of their own.
template <bool kOddStart>
void forwardColumns(Strip97 strip, const float* src, int32_t srcStep, float* dstLow, int32_t lowStep, float* dstHigh,
                    int32_t highStep, int32_t n) {
  const auto in = [=](int32_t position) { return ownRow(src + strip.first, srcStep, position + kOddStart); };
  const auto low = [=](int32_t k) { return ownRow(dstLow + strip.first, lowStep, k); };
  const auto high = [=](int32_t k) { return ownRow(dstHigh + strip.first, highStep, k); };
  if (n == 1) {
    return ownForEachPart97<PlainFloat>(strip, [=](auto lanes, int32_t c, int32_t, int32_t vectors) {
      for (const int32_t end = c + vectors * PlainFloat::kLanes; c < end; c += PlainFloat::kLanes) {
        const auto around = [=](int32_t centre) { return [=](int32_t d) { return lanes.load(in(centre + d) + c); }; };
        lanes.store(low(0) + c, ownFilter97(kLowTaps, around(0)));
        lanes.store(high(0) + c, ownFilter97(kHighTaps, around(kOddStart ? -1 : 1)));
      }
    });
  }
  const auto walk = [=](auto format, int32_t first, int32_t end) {
    using F = decltype(format);
    ForwardWindow97<F> window;
    ownOpenForward97(window, strip, first, in);
    int32_t k = first;
    for (; k + 1 < end; k += 2)
      ownStepForward97<F, kOddStart, 2>(window, strip,
                                        {in(2 * k + 2), in(2 * k + 3), in(2 * k + 4), in(2 * k + 5), in(2 * k + 6)},
                                        {low(k), low(k + 1)}, {high(k), high(k + 1)});
    if (k < end)
      ownStepForward97<F, kOddStart, 1>(window, strip, {in(2 * k + 2), in(2 * k + 3), in(2 * k + 4)}, {low(k)},
                                        {high(k)});
  };
  walk(FusedFloat{}, 0, 1);
  if (n > 2) walk(PlainFloat{}, 1, n - 1);
  walk(FusedFloat{}, n - 1, n);
}

template <bool kOddStart>
void inverseColumns(Strip97 strip, const float* srcLow, int32_t lowStep, const float* srcHigh, int32_t highStep,
                    float* dst, int32_t dstStep, int32_t n) {
  const auto low = [=](int32_t k) { return ownRow(srcLow + strip.first, lowStep, k); };
  const auto high = [=](int32_t k) { return ownRow(srcHigh + strip.first, highStep, k + kOddStart); };
  const auto out = [=](int32_t position) { return ownRow(dst + strip.first, dstStep, position + kOddStart); };
  if (n == 1) {
    return ownForEachPart97<PlainFloat>(strip, [=](auto lanes, int32_t c, int32_t, int32_t vectors) {
      for (const int32_t end = c + vectors * PlainFloat::kLanes; c < end; c += PlainFloat::kLanes) {
        const auto around = [=](int32_t centre) {
          return [=](int32_t d) {
            const int32_t position = centre + d;
            return lanes.load((position % 2 ? high((position - 1) / 2) : low(position / 2)) + c);
          };
        };
        constexpr int32_t kOdd = kOddStart ? -1 : 1;
        lanes.store(out(0) + c, ownFilter97(kEvenTaps, around(0)));
        lanes.store(out(kOdd) + c, ownFilter97(kOddTaps, around(kOdd)));
      }
    });
  }
  // Pairs first to end - 1. Where the even sample goes first, the first step finishes the odd row before it and the
  // last one the even row behind it, which are left out.
  const auto walk = [=](auto format, int32_t first, int32_t end) {
    using F = decltype(format);
    InverseWindow97<F> window;
    ownOpenInverse97<F, kOddStart>(window, strip, first, low, high);
    const auto step = [&](int32_t k, float* even, float* odd) {
      ownStepInverse97<F, 1>(window, strip, {low(k)}, {high(k - 1), high(k)}, {even}, {odd});
    };
    int32_t k = first + 1;
    if constexpr (!kOddStart) {
      step(k, out(2 * k - 2), nullptr);
      ++k;
    }
    for (; k + 1 <= end; k += 2)
      ownStepInverse97<F, 2>(window, strip, {low(k), low(k + 1)}, {high(k - 1), high(k), high(k + 1)},
                             {out(2 * k - 2), out(2 * k)}, {out(2 * k - 3), out(2 * k - 1)});
    if (k <= end) step(k, out(2 * k - 2), out(2 * k - 3));
    if constexpr (!kOddStart) step(end + 1, nullptr, out(2 * end - 1));
  };
  walk(FusedFloat{}, 0, 1);
  if (n > 2) walk(PlainFloat{}, 1, n - 1);
  walk(FusedFloat{}, n - 1, n);
}

}  // namespace

QLM_EXPORT(qlmiWTFwdRow_D97_JPEG2K_16s_C1R)
(const int16_t* src, int32_t srcStep, int16_t* dstLow, int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardRows<Rows16>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTFwdRow_D97_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, int32_t* dstLow, int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardRows<Rows32>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTFwdRow_D97_JPEG2K_32f_C1R)
(const float* src, int32_t srcStep, float* dstLow, int32_t dstLowStep, float* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardRows<RowsFloat>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTFwdCol_D97_JPEG2K_32f_C1R)
(const float* src, int32_t srcStep, float* dstLow, int32_t dstLowStep, float* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  if (const QlmStatus status = ownCheckSplit(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi))
    return status;
  const auto lift = phase ? forwardColumns<true> : forwardColumns<false>;
  ownForEachStrip97<PlainFloat>(dstRoi.width, [=](Strip97 strip) {
    lift(strip, src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi.height);
  });
  return qlmOk;
}

QLM_EXPORT(qlmiWTInvRow_D97_JPEG2K_16s_C1R)
(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int16_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseRows<Rows16>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTInvRow_D97_JPEG2K_32s_C1R)
(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int32_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseRows<Rows32>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTInvRow_D97_JPEG2K_32f_C1R)
(const float* srcLow, int32_t srcLowStep, const float* srcHigh, int32_t srcHighStep, QlmSize srcRoi, float* dst,
 int32_t dstStep, int32_t phase) {
  return inverseRows<RowsFloat>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTInvCol_D97_JPEG2K_32f_C1R)
(const float* srcLow, int32_t srcLowStep, const float* srcHigh, int32_t srcHighStep, QlmSize srcRoi, float* dst,
 int32_t dstStep, int32_t phase) {
  if (const QlmStatus status = ownCheckSplit(srcLow, srcLowStep, srcHigh, srcHighStep, dst, dstStep, srcRoi))
    return status;
  const auto lift = phase ? inverseColumns<true> : inverseColumns<false>;
  ownForEachStrip97<PlainFloat>(srcRoi.width, [=](Strip97 strip) {
    lift(strip, srcLow, srcLowStep, srcHigh, srcHighStep, dst, dstStep, srcRoi.height);
  });
  return qlmOk;
}
