// One level of the irreversible 9/7 wavelet on a plane (T.800 Annex F): samples of 16 bits in Q14, of 32 bits in single
// precision between integers.
//
// Every line is extended by whole-sample symmetry, which the lifting steps keep: at each stage a value beyond the end
// equals its mirror image. So no line is extended here but for the few values that open a window.
#include "jpeg2000/transform/wavelet_97_columns.h"
#include "jpeg2000/transform/wavelet_97_rows.h"
#include "jpeg2000/transform/wavelet_frame.h"

namespace {

// Which of n samples stands at place k of the line continued without end by bouncing at the first and the last one.
int32_t bounced(int32_t k, int32_t n) {
  while (k < 0 || k >= n) k = k < 0 ? -k : 2 * (n - 1) - k;
  return k;
}

template <typename F>
struct Planes97 {
  using Element = typename F::Element;
  using T = Element;
  static constexpr int32_t kMargin = 4;
  static constexpr int32_t kShortest = 2;

  // The forward forms put the high values first at an odd origin. Of an odd number of values there the last high one
  // takes the place of the first low one, and the last place keeps what it held: forwardColumns has put that into the
  // row of the first low value.
  static int32_t forwardSource(int32_t d, int32_t n, int32_t p) {
    if (!p) return ownPictureSource(d, n, 0);
    const int32_t highs = ownCut(n);
    if (d < highs) return 2 * d;
    if (n % 2 == 0) return 2 * (d - highs) + 1;
    return d == n - 1 ? 1 : 2 * (d - highs) + 3;
  }

  // The way back: to which place row k goes.
  static int32_t forwardPlace(int32_t k, int32_t n, int32_t p) {
    if (!p) return ownPicturePlace(k, n, 0);
    if (k % 2 == 0) return k >> 1;
    if (n % 2 == 0) return ownCut(n) + (k >> 1);
    return k == 1 ? n - 1 : ownCut(n) + (k >> 1) - 1;
  }

  static void forwardColumns(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t width, int32_t n,
                             int32_t p) {
    ownForEachStrip97<F>(width, [=](Strip97 strip) {
      liftStrip([=](int32_t k) { return ownRow(src + strip.first, srcStep, k); },
                [=](int32_t k) { return ownRow(dst + strip.first, dstStep, k); }, [](int32_t) {}, strip, n, p);
    });
  }

  static void inverseColumns(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t width, int32_t n,
                             int32_t p) {
    ownForEachStrip97<F>(width, [=](Strip97 strip) {
      unliftStrip([=](int32_t k) { return ownRow(src + strip.first, srcStep, k); },
                  [=](int32_t k) { return ownRow(dst + strip.first, dstStep, k); }, strip, n, p);
    });
  }

  // Both passes at once, for planes of a single strip. The walks open with rows 0 to 4.
  static constexpr int32_t kWindow = 8;
  static bool inOnePass(int32_t width) { return width <= kStripVectors97 * F::kLanes; }
  static Strip97 wholeStrip(int32_t width) { return {0, width / F::kLanes, width % F::kLanes}; }

  template <typename Source, typename Place, typename Done>
  static void liftColumns(const Source& x, const Place& y, const Done& done, int32_t width, int32_t n, int32_t p) {
    liftStrip(x, y, done, wholeStrip(width), n, p);
  }
  template <typename Source, typename Place>
  static void unliftColumns(const Source& x, const Place& y, int32_t width, int32_t n, int32_t p) {
    unliftStrip(x, y, wholeStrip(width), n, p);
  }

  template <typename Source, typename Place, typename Done>
  static void liftStrip(const Source& x, const Place& y, const Done& done, Strip97 strip, int32_t n, int32_t p) {
    p ? walkForward<true>(x, y, done, strip, n) : walkForward<false>(x, y, done, strip, n);
  }
  template <typename Source, typename Place>
  static void unliftStrip(const Source& x, const Place& y, Strip97 strip, int32_t n, int32_t p) {
    p ? walkInverse<true>(x, y, strip, n) : walkInverse<false>(x, y, strip, n);
  }

  // From the rows x(i) of the plane to the rows y(i); done(i) when row i will not change any more. Row i is position
  // i - kOdd.
  template <bool kOdd, typename Source, typename Place, typename Done>
  static void walkForward(const Source& x, const Place& y, const Done& done, Strip97 strip, int32_t n) {
    using End = ForwardEnd97;
    ForwardWindow97<F> window;
    ownOpenForward97(window, strip, 0, [&](int32_t position) { return x(bounced(position + kOdd, n)); });

    // Step k finishes low row k and the high row behind it, or at an odd origin the one before it. In the last step
    // there may be none behind it.
    const int32_t last = n - 1 - kOdd, half = last >> 1;
    const auto in = [&](int32_t position) { return x(position + kOdd); };
    const auto low = [&](int32_t k) { return y(2 * k + kOdd); };
    const auto high = [&](int32_t k) { return kOdd || 2 * k < last ? y(2 * k + 1 - kOdd) : nullptr; };
    // At an odd origin with an odd number of rows, the last source row takes the place of the first low row.
    const auto finish = [&](int32_t k) {
      if (kOdd && k == 0 && n % 2 != 0) copyRow(x(n - 1), low(k), strip);
      done(2 * k);
      if (kOdd || 2 * k < last) done(2 * k + 1);
    };
    const auto step = [&](int32_t k, const T* next) {
      ownStepForward97<F, kOdd, 1>(window, strip, {in(2 * k + 2), in(2 * k + 3), next}, {low(k)}, {high(k)});
      finish(k);
    };
    int32_t k = 0;
    for (; k + 1 < half - 1; k += 2) {
      ownStepForward97<F, kOdd, 2>(window, strip,
                                   {in(2 * k + 2), in(2 * k + 3), in(2 * k + 4), in(2 * k + 5), in(2 * k + 6)},
                                   {low(k), low(k + 1)}, {high(k), high(k + 1)});
      finish(k);
      finish(k + 1);
    }
    for (; k < half - 1; ++k) step(k, in(2 * k + 4));
    if (last % 2 == 0) {
      if (half > 0) {
        ownEndForward97<F, kOdd, End::kMirrorH1>(window, strip, in(2 * half), low(half - 1), high(half - 1));
        finish(half - 1);
      }
      ownEndForward97<F, kOdd, End::kMirrorH3>(window, strip, nullptr, low(half), high(half));
      finish(half);
    } else {
      if (half > 0) step(half - 1, in(2 * half));
      ownEndForward97<F, kOdd, End::kMirrorL2>(window, strip, nullptr, low(half), high(half));
      finish(half);
      if constexpr (kOdd) {
        T* const lastHigh = y(n - 1);
        ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
          for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes)
            lanes.store(lastHigh + c, F::high(window.h3[v]));
        });
        done(n - 1);
      }
    }
  }

  static void copyRow(const T* src, T* dst, Strip97 strip) {
    const int32_t columns = strip.vectors * F::kLanes + strip.rest;
    __builtin_memcpy(dst, src, sizeof(T) * static_cast<size_t>(columns));
  }

  template <bool kOdd, typename Source, typename Place>
  static void walkInverse(const Source& x, const Place& y, Strip97 strip, int32_t n) {
    using End = InverseEnd97;
    InverseWindow97<F> window;
    const auto row = [&](int32_t position) { return x(bounced(position + kOdd, n)); };
    ownOpenInverse97<F, kOdd>(
        window, strip, 0, [&](int32_t k) { return row(2 * k); }, [&](int32_t k) { return row(2 * k + 1); });

    const auto low = [&](int32_t k) { return x(2 * k + kOdd); };
    const auto high = [&](int32_t k) { return x(2 * k + 1 + kOdd); };
    const auto even = [&](int32_t k) { return y(2 * k + kOdd); };
    // The first step at an even origin finishes an odd row before the plane, which is left out.
    const auto odd = [&](int32_t k) { return kOdd || k >= 0 ? y(2 * k + 1 + kOdd) : nullptr; };
    const int32_t last = n - 1 - kOdd, half = last >> 1;
    const int32_t end = last % 2 ? half + 1 : half;
    int32_t k = 1;
    for (; k + 1 < end; k += 2)
      ownStepInverse97<F, 2>(window, strip, {low(k), low(k + 1)}, {high(k - 1), high(k), high(k + 1)},
                             {even(k - 1), even(k)}, {odd(k - 2), odd(k - 1)});
    for (; k < end; ++k)
      ownStepInverse97<F, 1>(window, strip, {low(k)}, {high(k - 1), high(k)}, {even(k - 1)}, {odd(k - 2)});
    if (last % 2 == 0) {
      if (half > 0)
        ownEndInverse97<F, End::kMirrorH>(window, strip, low(half), high(half - 1), even(half - 1), odd(half - 2));
      ownEndInverse97<F, End::kMirrorH1>(window, strip, nullptr, nullptr, even(half), odd(half - 1));
    } else {
      ownEndInverse97<F, End::kMirrorL2>(window, strip, nullptr, high(half), even(half), odd(half - 1));
      ownEndInverse97<F, End::kMirrorX0>(window, strip, nullptr, nullptr, nullptr, odd(half));
    }
  }

  static void forwardRow(const T* src, T* left, T* right, int32_t n, int32_t p) {
    if (n == 1) {
      storeAny(left, p ? ownDouble(loadAny(src)) : loadAny(src));
    } else if (p) {
      forwardLine<true>(src, left, right, n);
    } else {
      forwardLine<false>(src, left, right, n);
    }
  }

  using Row = typename F::AlongRow;
  static constexpr int32_t kLanes = F::kLanes;

  // Rows are lifted by whole vectors where so many values fill at least two of them. The last ones end with the row and
  // may overlap their neighbours; they are then opened anew, which takes a few values before them.
  static constexpr bool fillVectors(int32_t values) { return values == 2 * kLanes || values >= 2 * kLanes + 4; }

  // Sample i of the row is position i - kOdd.
  //
  // At an odd origin the high values come first. An odd number of values then leaves out the first low one, and the
  // last place keeps what it held.
  template <bool kOdd>
  static void forwardLine(const T* src, T* left, T* right, int32_t n) {
    const int32_t last = n - 1 - kOdd, lows = (last >> 1) + 1;
    const bool leavesFirst = kOdd && n % 2 != 0;
    T* const low = kOdd ? right - leavesFirst : left;
    T* const high = kOdd ? left : right;
    if (leavesFirst) storeAny(low + lows, loadAny(src + n - 1));
    const auto storeLow = [=](int32_t k, auto v, int32_t count) {
      const int32_t skipped = k == 0 && leavesFirst;
      if (!skipped && count == kLanes) return storeLanes(low + k, v);
      T lanes[kLanes];
      storeLanes(lanes, v);
      copyFew<2 * kLanes>(low + k + skipped, lanes + skipped, count - skipped);
    };
    if (!fillVectors(lows)) return forwardShortLine<kOdd>(src, lows, storeLow, high, (n + kOdd) >> 1, n);

    // The samples before the first one mirror those behind it.
    const T* const x = src + kOdd;
    auto block = ownOpenForwardBlock97<Row>(kOdd ? lastEight<0, 3, 2, 1, 0, 1, 2, 3>(src)
                                                 : lastEight<0, 4, 3, 2, 1, 0, 1, 2>(src));
    int32_t k = 0;
    const auto lift = [&] {
      const auto v = ownForwardBlock97<Row, kOdd>(block, splitPairs(x + 2 * k + 3));
      storeLow(k, v.first, kLanes);
      storeLanes(high + k, v.second);
      k += kLanes;
    };
    while (k < lows - 2 * kLanes) lift();
    if (k > lows - 2 * kLanes) {
      k = lows - 2 * kLanes;
      block = ownOpenForwardBlock97<Row>(x + 2 * k - 4);
    }
    lift();

    // The last block needs three or four samples behind the end, which mirror those before it. There is one high value
    // less than low ones, as many or one more.
    const T* const end = x + 2 * k + 3;
    const auto inside = loadLanes(end);
    if (last % 2) {
      const auto mirrored = withLanesBefore(end + kLanes, lastEight<3, 4, 5, 6, 7, 6, 5, 4>(x + last - 7));
      const auto v = ownForwardBlock97<Row, kOdd>(block, splitPairs<T>(inside, mirrored));
      storeLanes(low + k, v.first);
      storeLanes(high + k, v.second);
      if constexpr (kOdd) storeLanes(high + k + 1, Row::high(block.h3));
    } else {
      const auto mirrored = withLanesBefore(end + kLanes, lastEight<4, 5, 6, 7, 6, 5, 4, 3>(x + last - 7));
      const auto v = ownForwardBlock97<Row, true>(block, splitPairs<T>(inside, mirrored));
      storeLanes(low + k, v.first);
      storeLanes(high + k - !kOdd, v.second);
    }
  }

  // A few samples, extended on both sides in a buffer.
  template <bool kOdd, typename StoreLow>
  static void forwardShortLine(const T* src, int32_t lows, const StoreLow& storeLow, T* high, int32_t highs,
                               int32_t n) {
    alignas(32) T buffer[9 * kLanes];
    for (int32_t i = 0; i < 9 * kLanes; i += kLanes) storeLanes(buffer + i, typename F::Sample{});
    T* const line = buffer + kLanes - 4;
    copyFew<8 * kLanes>(line + 4 - kOdd, src, n);
    for (int32_t i = 0; i < 4 - kOdd; ++i) line[i] = loadAny(src + bounced(i - 4 + kOdd, n));
    for (int32_t i = n; i < n + 4; ++i) line[4 - kOdd + i] = loadAny(src + bounced(i, n));
    auto block = ownOpenForwardBlock97<Row>(line);
    for (int32_t k = 0; k < lows || k < highs; k += kLanes) {
      const auto v = ownForwardBlock97<Row, kOdd>(block, splitPairs(line + 4 + 2 * k + 3));
      if (k < lows) storeLow(k, v.first, lows - k < kLanes ? lows - k : kLanes);
      if (k >= highs) continue;
      if (highs - k < kLanes) {
        storePart(high + k, v.second, highs - k);
      } else {
        storeLanes(high + k, v.second);
      }
    }
  }

  static void inverseRow(const T* left, const T* right, T* dst, int32_t n, int32_t p) {
    if (n == 1) {
      storeAny(dst, p ? ownHalve(loadAny(left)) : loadAny(left));
    } else if (p) {
      inverseLine<true>(left, right, dst, n);
    } else {
      inverseLine<false>(left, right, dst, n);
    }
  }

  template <bool kOdd>
  static void inverseLine(const T* left, const T* right, T* dst, int32_t n) {
    // High value k stands at high[k]. At an odd origin there is one at -1, which an odd number of values leaves at the
    // end of the left part.
    const int32_t last = n - 1 - kOdd, half = last >> 1;
    const bool apart = kOdd && n % 2 != 0;
    const T *const low = left, *const high = kOdd && !apart ? right + 1 : right;
    const T* const firstHigh = apart ? left + (n >> 1) : right;

    // A block at k takes the values from k on. It gives the samples from position 2k - 4 on, or those from 2k - 3 on
    // with the odd one before. The last blocks end with the row, by the other one of these if the number of samples is
    // odd.
    constexpr int32_t kFirst = kOdd ? 1 : 2;
    const int32_t kLast = half + 2 + (last & 1) - kLanes, count = kLast + kLanes - kFirst;
    if (!fillVectors(count) || (count == 2 * kLanes && n % 2))
      return inverseShortLine<kOdd>(low, high, firstHigh, dst, n);

    T* const x = dst + kOdd;
    InverseBlock97<Row> block;
    if constexpr (kOdd) {
      const T first[] = {loadAny(high + 1), loadAny(high), loadAny(firstHigh), loadAny(high)};
      block = ownOpenInverseBlock97<Row>(lastFour<0, 1, 0, 0>(low), lastFour<0, 1, 2, 3>(first));
    } else {
      block = ownOpenInverseBlock97<Row>(lastFour<0, 1, 0, 1>(low), lastFour<1, 0, 0, 1>(high));
    }
    const auto lift = [&](auto oddBefore, int32_t at, auto lowValues, auto highValues) __attribute__((always_inline)) {
      const auto v = ownInverseBlock97<Row, oddBefore>(block, lowValues, highValues);
      storePairs(x + 2 * at - (oddBefore ? 3 : 4), v.first, v.second);
    };
    int32_t k = kFirst;
    for (; k < kLast - kLanes + n % 2; k += kLanes)
      lift(std::bool_constant<kOdd>{}, k, loadLanes(low + k), loadLanes(high + k));
    if (k > kLast - kLanes) {
      k = kLast - kLanes;
      block = ownOpenInverseBlock97<Row>(low + k, high + k);
    }
    // The last block needs a few values behind the end, which mirror those before it.
    const T *const lowEnd = low + kLast, *const highEnd = high + kLast;
    if (last % 2) {
      lift(std::false_type{}, k, loadLanes(low + k), loadLanes(high + k));
      lift(std::false_type{}, kLast, withLanesBefore(lowEnd, lastEight<2, 3, 4, 5, 6, 7, 7, 6>(low + half - 7)),
           withLanesBefore(highEnd, lastEight<2, 3, 4, 5, 6, 7, 6, 5>(high + half - 7)));
    } else {
      lift(std::true_type{}, k, loadLanes(low + k), loadLanes(high + k));
      lift(std::true_type{}, kLast, withLanesBefore(lowEnd, lastEight<1, 2, 3, 4, 5, 6, 7, 6>(low + half - 7)),
           withLanesBefore(highEnd, lastEight<2, 3, 4, 5, 6, 7, 7, 6>(high + half - 8)));
    }
  }

  // firstHigh is where high value -1 stands.
  template <bool kOdd>
  static void inverseShortLine(const T* low, const T* high, const T* firstHigh, T* dst, int32_t n) {
    constexpr int32_t kBefore = kOdd ? 1 : 2;
    alignas(32) T lows[5 * kLanes], highs[5 * kLanes];
    for (int32_t i = 0; i < 5 * kLanes; i += kLanes) {
      storeLanes(lows + i, typename F::Sample{});
      storeLanes(highs + i, typename F::Sample{});
    }
    const auto at = [=](int32_t position) {
      const int32_t i = bounced(position + kOdd, n) - kOdd;
      return loadAny(i & 1 ? (i < 0 ? firstHigh : high + i / 2) : low + i / 2);
    };
    T *const firstLow = lows + kLanes - kBefore, *const zerothHigh = highs + kLanes - kBefore;
    const int32_t lowEnd = (n + 1 - kOdd) >> 1, highEnd = (n - kOdd) >> 1;
    copyFew<4 * kLanes>(firstLow, low, lowEnd);
    copyFew<4 * kLanes>(zerothHigh, high, highEnd);
    for (int32_t k = kBefore - 4; k < 0; ++k) {
      firstLow[k] = at(2 * k);
      zerothHigh[k] = at(2 * k + 1);
    }
    for (int32_t k = 0; k < 3; ++k) {
      firstLow[lowEnd + k] = at(2 * (lowEnd + k));
      zerothHigh[highEnd + k] = at(2 * (highEnd + k) + 1);
    }
    auto block = ownOpenInverseBlock97<Row>(lows + kLanes, highs + kLanes);
    for (int32_t j = 0; 2 * j < n; j += kLanes) {
      const auto v = ownInverseBlock97<Row, kOdd>(block, loadLanes(lows + kLanes + j), loadLanes(highs + kLanes + j));
      T lanes[2 * kLanes];
      storePairs(lanes, v.first, v.second);
      if (n - 2 * j < 2 * kLanes) {
        copyFew<2 * kLanes>(dst + 2 * j, lanes, n - 2 * j);
      } else {
        __builtin_memcpy(dst + 2 * j, lanes, sizeof(lanes));
      }
    }
  }
};

using Planes16 = Planes97<Q14<false>>;
using Planes32 = Planes97<FusedInteger>;

}  // namespace

QLM_EXPORT(qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR)
(QlmRect rect, int32_t* size) { return ownBufSizeInPlace<Planes16>(rect, size); }

QLM_EXPORT(qlmiWTGetBufSize_D97_JPEG2K_16s_C1R)
(QlmRect rect, int32_t* size) { return ownBufSizeBands<Planes16>(rect, size); }

QLM_EXPORT(qlmiWTFwd_D97_JPEG2K_16s_C1IR)
(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownForwardInPlace<Planes16>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTInv_D97_JPEG2K_16s_C1IR)
(int16_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseInPlace<Planes16>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTFwd_D97_JPEG2K_16s_C1R)
(const int16_t* src, int32_t srcStep, QlmRect rect, int16_t* const dst[4], const int32_t dstStep[4], uint8_t* buffer) {
  return ownForwardToBands<Planes16>(src, srcStep, rect, dst, dstStep, buffer);
}

QLM_EXPORT(qlmiWTInv_D97_JPEG2K_16s_C1R)
(const int16_t* const src[4], const int32_t srcStep[4], int16_t* dst, int32_t dstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseFromBands<Planes16>(src, srcStep, dst, dstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTGetBufSize_D97_JPEG2K_32s_C1IR)
(QlmRect rect, int32_t* size) { return ownBufSizeInPlace<Planes32>(rect, size); }

QLM_EXPORT(qlmiWTGetBufSize_D97_JPEG2K_32s_C1R)
(QlmRect rect, int32_t* size) { return ownBufSizeBands<Planes32>(rect, size); }

QLM_EXPORT(qlmiWTFwd_D97_JPEG2K_32s_C1IR)
(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownForwardInPlace<Planes32>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTInv_D97_JPEG2K_32s_C1IR)
(int32_t* srcDst, int32_t srcDstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseInPlace<Planes32>(srcDst, srcDstStep, rect, buffer);
}

QLM_EXPORT(qlmiWTFwd_D97_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, QlmRect rect, int32_t* const dst[4], const int32_t dstStep[4], uint8_t* buffer) {
  return ownForwardToBands<Planes32>(src, srcStep, rect, dst, dstStep, buffer);
}

QLM_EXPORT(qlmiWTInv_D97_JPEG2K_32s_C1R)
(const int32_t* const src[4], const int32_t srcStep[4], int32_t* dst, int32_t dstStep, QlmRect rect, uint8_t* buffer) {
  return ownInverseFromBands<Planes32>(src, srcStep, dst, dstStep, rect, buffer);
}
