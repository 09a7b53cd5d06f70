// One step of the irreversible 9/7 wavelet (T.800 F.3, F.4) down the rows of a caller's sliding window.
#include "frame/frame.h"
#include "jpeg2000/transform/wavelet_97.h"

namespace {

// The rows of a step are read and written at the same columns, and some of them are both source and destination. So the
// last vector, which overlaps its neighbour, is lifted first and stored last.
template <typename T, typename Lift>
void liftRows(int32_t width, const Lift& lift) {
  constexpr int32_t kLanes = 32 / sizeof(T);
  if (width < kLanes) {
    lift([=](const T* row) { return loadPart(row, width); }, [=](T* row, auto v) { storePart(row, v, width); })();
    return;
  }
  const auto whole = [&](ptrdiff_t c) {
    return lift([=](const T* row) { return loadLanes(row + c); }, [=](T* row, auto v) { storeLanes(row + c, v); });
  };
  const auto storeLast = whole(width - kLanes);
  for (ptrdiff_t c = 0; c <= width - kLanes; c += kLanes) whole(c)();
  storeLast();
}

template <typename F>
QlmStatus forwardLift(const Element97<F>* src0, const Element97<F>* src1, const Element97<F>* src2, Element97<F>* low0,
                      Element97<F>* low1, Element97<F>* high0, Element97<F>* high1, Element97<F>* high2,
                      int32_t width) {
  if (!src0 || !src1 || !src2 || !low0 || !low1 || !high0 || !high1 || !high2) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;

  liftRows<Element97<F>>(width, [=](auto load, auto store) {
    const auto even = load(src0), oldLow = load(low0), oldHigh0 = load(high0), oldHigh1 = load(high1);
    const auto h1 = F::alpha(load(src1), even, load(src2));
    const auto l2 = F::beta(even, oldHigh1, h1);
    const auto h3 = F::gamma(oldHigh1, oldLow, l2);
    const auto low = F::low(oldLow, oldHigh0, h3);
    const auto high = F::high(oldHigh0);
    return [=] {
      store(high2, h1);
      store(low1, l2);
      store(high1, h3);
      store(low0, low);
      store(high0, high);
    };
  });
  return qlmOk;
}

template <typename F>
QlmStatus inverseLift(const Element97<F>* low, const Element97<F>* high0, const Element97<F>* high1,
                      const Element97<F>* even0, Element97<F>* odd, Element97<F>* even, Element97<F>* odd1,
                      Element97<F>* even1, int32_t width) {
  if (!low || !high0 || !high1 || !even0 || !odd || !even || !odd1 || !even1) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;

  liftRows<Element97<F>>(width, [=](auto load, auto store) {
    const auto high = F::scaleHigh(load(high0)), oldEven = load(even), oldOdd = load(odd);
    const auto l2 = F::even(load(low), high, F::scaleHigh(load(high1)));
    const auto h1 = F::odd(high, oldEven, l2);
    const auto x0 = F::undoBeta(oldEven, oldOdd, h1);
    const auto x1 = F::undoAlpha(oldOdd, load(even0), x0);
    return [=] {
      store(even1, l2);
      store(odd1, h1);
      store(even, x0);
      store(odd, x1);
    };
  });
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiWTFwdColLift_D97_JPEG2K_16s_C1)
(const int16_t* src0, const int16_t* src1, const int16_t* src2, int16_t* srcDstLow0, int16_t* dstLow1,
 int16_t* srcDstHigh0, int16_t* srcDstHigh1, int16_t* dstHigh2, int32_t width) {
  return forwardLift<Q15<true>>(src0, src1, src2, srcDstLow0, dstLow1, srcDstHigh0, srcDstHigh1, dstHigh2, width);
}

QLM_EXPORT(qlmiWTFwdColLift_D97_JPEG2K_32s_C1)
(const int32_t* src0, const int32_t* src1, const int32_t* src2, int32_t* srcDstLow0, int32_t* dstLow1,
 int32_t* srcDstHigh0, int32_t* srcDstHigh1, int32_t* dstHigh2, int32_t width) {
  return forwardLift<Q16>(src0, src1, src2, srcDstLow0, dstLow1, srcDstHigh0, srcDstHigh1, dstHigh2, width);
}

QLM_EXPORT(qlmiWTFwdColLift_D97_JPEG2K_32f_C1)
(const float* src0, const float* src1, const float* src2, float* srcDstLow0, float* dstLow1, float* srcDstHigh0,
 float* srcDstHigh1, float* dstHigh2, int32_t width) {
  return forwardLift<PlainFloat>(src0, src1, src2, srcDstLow0, dstLow1, srcDstHigh0, srcDstHigh1, dstHigh2, width);
}

QLM_EXPORT(qlmiWTInvColLift_D97_JPEG2K_16s_C1)
(const int16_t* srcLow, const int16_t* srcHigh0, const int16_t* srcHigh1, const int16_t* srcEven0, int16_t* srcDstOdd,
 int16_t* srcDstEven, int16_t* dstOdd1, int16_t* dstEven1, int32_t width) {
  return width < 16 ? inverseLift<Q15<false>>(srcLow, srcHigh0, srcHigh1, srcEven0, srcDstOdd, srcDstEven, dstOdd1,
                                              dstEven1, width)
                    : inverseLift<Q15<true>>(srcLow, srcHigh0, srcHigh1, srcEven0, srcDstOdd, srcDstEven, dstOdd1,
                                             dstEven1, width);
}

QLM_EXPORT(qlmiWTInvColLift_D97_JPEG2K_32s_C1)
(const int32_t* srcLow, const int32_t* srcHigh0, const int32_t* srcHigh1, const int32_t* srcEven0, int32_t* srcDstOdd,
 int32_t* srcDstEven, int32_t* dstOdd1, int32_t* dstEven1, int32_t width) {
  return inverseLift<Q16>(srcLow, srcHigh0, srcHigh1, srcEven0, srcDstOdd, srcDstEven, dstOdd1, dstEven1, width);
}

QLM_EXPORT(qlmiWTInvColLift_D97_JPEG2K_32f_C1)
(const float* srcLow, const float* srcHigh0, const float* srcHigh1, const float* srcEven0, float* srcDstOdd,
 float* srcDstEven, float* dstOdd1, float* dstEven1, int32_t width) {
  return inverseLift<PlainFloat>(srcLow, srcHigh0, srcHigh1, srcEven0, srcDstOdd, srcDstEven, dstOdd1, dstEven1, width);
}
