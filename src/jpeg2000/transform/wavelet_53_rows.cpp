// The reversible 5/3 wavelet in one direction (T.800 Annex F), on a source that the caller has extended: rows (Row),
// columns (Col), and single steps of the column form on bare rows (ColLift).
//
// At an odd position the first sample is a high one. Seen from the first even sample on, both phases are the same: even
// sample i, with a high value in front and one behind it. At phase 1 that row of pairs begins with a high value alone
// and ends with an even sample alone.
#include "jpeg2000/transform/wavelet_53.h"
#include "jpeg2000/transform/wavelet_frame.h"

namespace {

template <typename A, typename T>
void forwardRow(const T* x, T* low, T* high, int32_t n, int32_t phase) {
  const auto highAt = [=](ptrdiff_t k) { return ownHigh53<A>(loadAny(x + k - 1), loadAny(x + k), loadAny(x + k + 1)); };
  if (!phase) {
    ownForwardPairs53<A>(x, low, high, n, highAt(-1));
    return;
  }
  const T first = highAt(0);
  storeAny(high, first);
  const T last = ownForwardPairs53<A>(x + 1, low, high + 1, n - 1, first);
  const ptrdiff_t end = 2 * ptrdiff_t{n};
  storeAny(low + (n - 1), ownLow53<A>(last, loadAny(x + end - 1), highAt(end)));
}

template <typename A, typename T>
void inverseRow(const T* low, const T* high, T* dst, int32_t n, int32_t phase) {
  if (!phase) return ownInversePairs53<A>(low, high, dst, n);
  const auto evenAt = [=](ptrdiff_t i) {
    return ownEven53<A>(loadAny(high + i), loadAny(low + i), loadAny(high + i + 1));
  };
  storeAny(dst, ownOdd53<A>(evenAt(-1), loadAny(high), evenAt(0)));
  ownInversePairs53<A>(low, high + 1, dst + 1, n - 1);
  storeAny(dst + (2 * ptrdiff_t{n} - 1), evenAt(n - 1));
}

// The rows of the column form are lifted one after the other. What stands in front of the first row or behind the last
// one is computed in passing and not stored; what the row before has stored is read back.
template <typename A, typename T>
void forwardCols(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, QlmSize size,
                 int32_t phase) {
  const int32_t width = size.width, n = size.height;
  const auto x = [=](ptrdiff_t k) { return wrapAddress(src, k * srcStep); };
  const auto l = [=](int32_t i) { return ownRow(low, lowStep, i); };
  const auto h = [=](int32_t i) { return ownRow(high, highStep, i); };
  if (!phase) {
    ownForPlaces<A>(width, {low, high}, [=](auto at) {
      const auto even = at(src), before = ownHigh53<A>(at(x(-2)), at(x(-1)), even);
      const auto first = ownHigh53<A>(even, at(x(1)), at(x(2)));
      return ownResults(ownLow53<A>(before, even, first), first);
    });
    for (int32_t i = 1; i < n; ++i) {
      const ptrdiff_t k = 2 * ptrdiff_t{i};
      ownForwardRows53<A>(x(k), x(k + 1), x(k + 2), h(i - 1), l(i), h(i), width);
    }
  } else {
    ownHighRow53<A>(x(-1), src, x(1), high, width);
    for (int32_t i = 0; i < n - 1; ++i) {
      const ptrdiff_t k = 2 * ptrdiff_t{i} + 1;
      ownForwardRows53<A>(x(k), x(k + 1), x(k + 2), h(i), l(i), h(i + 1), width);
    }
    const T *even = x(2 * ptrdiff_t{n} - 1), *odd = x(2 * ptrdiff_t{n}), *behind = x(2 * ptrdiff_t{n} + 1);
    const T* before = h(n - 1);
    ownForPlaces<A>(width, {l(n - 1)}, [=](auto at) {
      return ownResults(ownLow53<A>(at(before), at(even), ownHigh53<A>(at(even), at(odd), at(behind))));
    });
  }
}

template <typename A, typename T>
void inverseCols(const T* low, int32_t lowStep, const T* high, int32_t highStep, QlmSize size, T* dst, int32_t dstStep,
                 int32_t phase) {
  const int32_t width = size.width, n = size.height;
  const auto l = [=](int32_t i) { return ownRow(low, lowStep, i); };
  const auto h = [=](int32_t i) { return ownRow(high, highStep, i); };
  const auto y = [=](ptrdiff_t k) { return wrapAddress(dst, k * dstStep); };
  if (!phase) {
    ownEvenRow53<A>(h(-1), low, high, dst, width);
    for (int32_t i = 1; i < n; ++i) {
      const ptrdiff_t k = 2 * ptrdiff_t{i};
      ownInverseRows53<A>(l(i), h(i - 1), h(i), y(k - 2), y(k - 1), y(k), width);
    }
    const T *behind = l(n), *last = h(n - 1), *after = h(n), *before = y(2 * ptrdiff_t{n} - 2);
    ownForPlaces<A>(width, {y(2 * ptrdiff_t{n} - 1)}, [=](auto at) {
      return ownResults(ownOdd53<A>(at(before), at(last), ownEven53<A>(at(last), at(behind), at(after))));
    });
  } else {
    ownForPlaces<A>(width, {dst, y(1)}, [=](auto at) {
      const auto first = at(high), before = ownEven53<A>(at(h(-1)), at(l(-1)), first);
      const auto even = ownEven53<A>(first, at(low), at(h(1)));
      return ownResults(ownOdd53<A>(before, first, even), even);
    });
    for (int32_t i = 1; i < n; ++i) {
      const ptrdiff_t k = 2 * ptrdiff_t{i};
      ownInverseRows53<A>(l(i), h(i), h(i + 1), y(k - 1), y(k), y(k + 1), width);
    }
  }
}

// --- Checks and loops
// --------------------------------------------------------------------------------------------------

// Rows that fill a vector take sums in the width of the element, shorter ones of 16 bits take them in 32.
struct Elements16s {
  using Element = int16_t;
  using Short = Wide16;
  using Long = Wrap16;
};
struct Elements32s {
  using Element = int32_t;
  using Short = Wrap32;
  using Long = Wrap32;
};
template <typename E>
bool isShort(int32_t width) {
  return width < E::Long::kLanes;
}

template <typename E, typename T = typename E::Element>
QlmStatus forwardRows(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, QlmSize size,
                      int32_t phase) {
  const QlmStatus status = ownCheckSplit(src, srcStep, low, lowStep, high, highStep, size);
  if (status != qlmOk) return status;
  const auto forward = isShort<E>(size.width) ? forwardRow<typename E::Short, T> : forwardRow<typename E::Long, T>;
  for (int32_t y = 0; y < size.height; ++y)
    forward(ownRow(src, srcStep, y), ownRow(low, lowStep, y), ownRow(high, highStep, y), size.width, phase);
  return qlmOk;
}

template <typename E, typename T = typename E::Element>
QlmStatus inverseRows(const T* low, int32_t lowStep, const T* high, int32_t highStep, QlmSize size, T* dst,
                      int32_t dstStep, int32_t phase) {
  const QlmStatus status = ownCheckSplit(low, lowStep, high, highStep, dst, dstStep, size);
  if (status != qlmOk) return status;
  const auto inverse = isShort<E>(size.width) ? inverseRow<typename E::Short, T> : inverseRow<typename E::Long, T>;
  for (int32_t y = 0; y < size.height; ++y)
    inverse(ownRow(low, lowStep, y), ownRow(high, highStep, y), ownRow(dst, dstStep, y), size.width, phase);
  return qlmOk;
}

template <typename E, typename T = typename E::Element>
QlmStatus forwardColumns(const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep,
                         QlmSize size, int32_t phase) {
  const QlmStatus status = ownCheckSplit(src, srcStep, low, lowStep, high, highStep, size);
  if (status != qlmOk) return status;
  const auto forward = isShort<E>(size.width) ? forwardCols<typename E::Short, T> : forwardCols<typename E::Long, T>;
  forward(src, srcStep, low, lowStep, high, highStep, size, phase);
  return qlmOk;
}

template <typename E, typename T = typename E::Element>
QlmStatus inverseColumns(const T* low, int32_t lowStep, const T* high, int32_t highStep, QlmSize size, T* dst,
                         int32_t dstStep, int32_t phase) {
  const QlmStatus status = ownCheckSplit(low, lowStep, high, highStep, dst, dstStep, size);
  if (status != qlmOk) return status;
  const auto inverse = isShort<E>(size.width) ? inverseCols<typename E::Short, T> : inverseCols<typename E::Long, T>;
  inverse(low, lowStep, high, highStep, size, dst, dstStep, phase);
  return qlmOk;
}

template <typename A, typename T = typename A::Element>
QlmStatus forwardLift(const T* src0, const T* src1, const T* src2, T* low, const T* highPrev, T* high, int32_t width) {
  if (!src0 || !src1 || !src2 || !low || !highPrev || !high) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;
  ownForwardRows53<A>(src0, src1, src2, highPrev, low, high, width);
  return qlmOk;
}

template <typename A, typename T = typename A::Element>
QlmStatus inverseLift(const T* low, const T* highPrev, const T* high, const T* evenPrev, T* odd, T* even,
                      int32_t width) {
  if (!low || !highPrev || !high || !evenPrev || !odd || !even) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;
  ownInverseRows53<A>(low, highPrev, high, evenPrev, odd, even, width);
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiWTFwdRow_B53_JPEG2K_16s_C1R)
(const int16_t* src, int32_t srcStep, int16_t* dstLow, int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardRows<Elements16s>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTInvRow_B53_JPEG2K_16s_C1R)
(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int16_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseRows<Elements16s>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTFwdCol_B53_JPEG2K_16s_C1R)
(const int16_t* src, int32_t srcStep, int16_t* dstLow, int32_t dstLowStep, int16_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardColumns<Elements16s>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTInvCol_B53_JPEG2K_16s_C1R)
(const int16_t* srcLow, int32_t srcLowStep, const int16_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int16_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseColumns<Elements16s>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTFwdColLift_B53_JPEG2K_16s_C1)
(const int16_t* src0, const int16_t* src1, const int16_t* src2, int16_t* dstLow, const int16_t* srcHighPrev,
 int16_t* dstHigh, int32_t width) {
  return forwardLift<Wrap16>(src0, src1, src2, dstLow, srcHighPrev, dstHigh, width);
}

QLM_EXPORT(qlmiWTInvColLift_B53_JPEG2K_16s_C1)
(const int16_t* srcLow, const int16_t* srcHighPrev, const int16_t* srcHigh, const int16_t* srcEvenPrev, int16_t* dstOdd,
 int16_t* dstEven, int32_t width) {
  return inverseLift<Wrap16>(srcLow, srcHighPrev, srcHigh, srcEvenPrev, dstOdd, dstEven, width);
}

QLM_EXPORT(qlmiWTFwdRow_B53_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, int32_t* dstLow, int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardRows<Elements32s>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTInvRow_B53_JPEG2K_32s_C1R)
(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int32_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseRows<Elements32s>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTFwdCol_B53_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, int32_t* dstLow, int32_t dstLowStep, int32_t* dstHigh, int32_t dstHighStep,
 QlmSize dstRoi, int32_t phase) {
  return forwardColumns<Elements32s>(src, srcStep, dstLow, dstLowStep, dstHigh, dstHighStep, dstRoi, phase);
}

QLM_EXPORT(qlmiWTInvCol_B53_JPEG2K_32s_C1R)
(const int32_t* srcLow, int32_t srcLowStep, const int32_t* srcHigh, int32_t srcHighStep, QlmSize srcRoi, int32_t* dst,
 int32_t dstStep, int32_t phase) {
  return inverseColumns<Elements32s>(srcLow, srcLowStep, srcHigh, srcHighStep, srcRoi, dst, dstStep, phase);
}

QLM_EXPORT(qlmiWTFwdColLift_B53_JPEG2K_32s_C1)
(const int32_t* src0, const int32_t* src1, const int32_t* src2, int32_t* dstLow, const int32_t* srcHighPrev,
 int32_t* dstHigh, int32_t width) {
  return forwardLift<Wrap32>(src0, src1, src2, dstLow, srcHighPrev, dstHigh, width);
}

QLM_EXPORT(qlmiWTInvColLift_B53_JPEG2K_32s_C1)
(const int32_t* srcLow, const int32_t* srcHighPrev, const int32_t* srcHigh, const int32_t* srcEvenPrev, int32_t* dstOdd,
 int32_t* dstEven, int32_t width) {
  return inverseLift<Wrap32>(srcLow, srcHighPrev, srcHigh, srcEvenPrev, dstOdd, dstEven, width);
}
