// The lifting steps of the reversible 5/3 wavelet (T.800 F.3.8.2.1.1, F.4.8.1), on rows and along a row:
//
//   H(k) = x[k] - ((x[k-1] + x[k+1]) >> 1)      at odd k
//   L(k) = x[k] + ((H(k-1) + H(k+1) + 2) >> 2)  at even k
//
// Nothing saturates: every result is cut to its element. What differs between the forms is the width of the sums, so
// the steps are templates over an arithmetic with half(a, b) = (a + b) >> 1 and quarter(a, b) = (a + b + 2) >> 2, and
// halfUp(a) = (a + 1) >> 1, each for single values and for lanes. All arithmetics agree as long as the sums fit the
// element.
#pragma once

#include "frame/cover.h"
#include "frame/simd.h"
#include "frame/wrap.h"

// --- Arithmetics ---------------------------------------------------------------------------------------------------

struct Elements16 {
  using Element = int16_t;
  static constexpr int kLanes = 16;

  static int16_t add(int16_t a, int16_t b) { return static_cast<int16_t>(a + b); }
  static int16_t sub(int16_t a, int16_t b) { return static_cast<int16_t>(a - b); }
  static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
  static int16_t halfUp(int16_t a) { return static_cast<int16_t>((a + 1) >> 1); }
  static __m256i halfUp(__m256i a) { return sub(a, _mm256_srai_epi16(a, 1)); }  // a + 1 might not fit
  static __m256i all(int16_t v) { return _mm256_set1_epi16(v); }
  static EvenOdd loadPairs(const int16_t* low, const int16_t* high) { return loadWordPairs(low, high); }
  static void storePairs(int16_t* low, int16_t* high, EvenOdd v) { storeWordPairs(low, high, v); }
};

// Sums in 32 bits, exact. Lanes of 16 bits get there without them.
struct WideSingles16 {
  static int16_t half(int16_t a, int16_t b) { return static_cast<int16_t>((a + b) >> 1); }
  static int16_t quarter(int16_t a, int16_t b) { return static_cast<int16_t>((a + b + 2) >> 2); }
};

struct WideLanes16 {
  static __m256i half(__m256i a, __m256i b) { return meanDown16(a, b); }
  static __m256i quarter(__m256i a, __m256i b) { return Elements16::halfUp(half(a, b)); }
};

// Sums in 16 bits, which wrap.
struct WrapSingles16 {
  static int16_t half(int16_t a, int16_t b) { return static_cast<int16_t>(static_cast<int16_t>(a + b) >> 1); }
  static int16_t quarter(int16_t a, int16_t b) { return static_cast<int16_t>(static_cast<int16_t>(a + b + 2) >> 2); }
};
struct WrapLanes16 {
  static __m256i half(__m256i a, __m256i b) { return _mm256_srai_epi16(_mm256_add_epi16(a, b), 1); }
  static __m256i quarter(__m256i a, __m256i b) {
    return _mm256_srai_epi16(_mm256_add_epi16(_mm256_add_epi16(a, b), _mm256_set1_epi16(2)), 2);
  }
};

template <typename Singles, typename Lanes>
struct Arithmetic16 : Elements16, Singles, Lanes {
  using Lanes::half;
  using Lanes::quarter;
  using Singles::half;
  using Singles::quarter;
};
using Wide16 = Arithmetic16<WideSingles16, WideLanes16>;
using Wrap16 = Arithmetic16<WrapSingles16, WrapLanes16>;

// Everything wraps in 32 bits.
struct Wrap32 {
  using Element = int32_t;
  static constexpr int kLanes = 8;

  static int32_t add(int32_t a, int32_t b) { return wrapAdd32(a, b); }
  static int32_t sub(int32_t a, int32_t b) { return wrapSub32(a, b); }
  static int32_t half(int32_t a, int32_t b) { return add(a, b) >> 1; }
  static int32_t quarter(int32_t a, int32_t b) { return add(add(a, b), 2) >> 2; }
  static __m256i add(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
  static __m256i half(__m256i a, __m256i b) { return _mm256_srai_epi32(add(a, b), 1); }
  static __m256i quarter(__m256i a, __m256i b) { return _mm256_srai_epi32(add(add(a, b), _mm256_set1_epi32(2)), 2); }
  static int32_t halfUp(int32_t a) { return add(a, 1) >> 1; }
  static __m256i halfUp(__m256i a) { return _mm256_srai_epi32(add(a, _mm256_set1_epi32(1)), 1); }
  static __m256i all(int32_t v) { return _mm256_set1_epi32(v); }
  static EvenOdd loadPairs(const int32_t* low, const int32_t* high) { return loadDwordPairs(low, high); }
  static void storePairs(int32_t* low, int32_t* high, EvenOdd v) { storeDwordPairs(low, high, v); }
};

// --- The four steps, on single values or lanes -----------------------------------------------------------------------

template <typename A, typename V>
inline V ownHigh53(V before, V x, V behind) {
  return A::sub(x, A::half(before, behind));
}
template <typename A, typename V>
inline V ownLow53(V before, V x, V behind) {
  return A::add(x, A::quarter(before, behind));
}
template <typename A, typename V>
inline V ownEven53(V before, V low, V behind) {
  return A::sub(low, A::quarter(before, behind));
}
template <typename A, typename V>
inline V ownOdd53(V before, V high, V behind) {
  return A::add(high, A::half(before, behind));
}

// --- Rows against each other -----------------------------------------------------------------------------------------

// Calls step(at) for all places of a row, where at(p) is the value or the lanes of row p at the place, and stores what
// it returns to the rows of dst. A destination may be one of the sources.
template <typename V, int kCount>
struct Results {
  V value[kCount];
};
template <typename V>
inline Results<V, 1> ownResults(V a) {
  return {{a}};
}
template <typename V>
inline Results<V, 2> ownResults(V a, V b) {
  return {{a, b}};
}
template <typename T>
inline void ownStore(T* p, T v) {
  storeAny(p, v);
}
template <typename T>
inline void ownStore(T* p, __m256i v) {
  store32(p, v);
}
template <typename A, int kCount, typename Step, typename T = typename A::Element>
inline void ownForPlaces(int32_t width, T* const (&dst)[kCount], const Step& step) {
  constexpr int32_t kLanes = A::kLanes, kHalf = kLanes / 2;
  if (width < kLanes && width >= kHalf) {
    // One vector of two halves, which may overlap.
    const ptrdiff_t second = width - kHalf;
    const auto results = step([=](const T* row) { return load16x2(row, row + second); });
    for (int r = 0; r < kCount; ++r) store16x2(dst[r], dst[r] + second, results.value[r]);
    return;
  }
  ownCoverInPlace<kLanes>(
      width,
      [&](auto lanes, ptrdiff_t i) {
        if constexpr (lanes == 1)
          return step([=](const T* row) { return loadAny(row + i); });
        else
          return step([=](const T* row) { return load32(row + i); });
      },
      [&](ptrdiff_t i, const auto& results) {
        for (int r = 0; r < kCount; ++r) ownStore(dst[r] + i, results.value[r]);
      });
}

// One high row; one low row.
template <typename A, typename T = typename A::Element>
inline void ownHighRow53(const T* before, const T* x, const T* behind, T* high, int32_t width) {
  ownForPlaces<A>(width, {high}, [=](auto at) { return ownResults(ownHigh53<A>(at(before), at(x), at(behind))); });
}
template <typename A, typename T = typename A::Element>
inline void ownLowRow53(const T* before, const T* x, const T* behind, T* low, int32_t width) {
  ownForPlaces<A>(width, {low}, [=](auto at) { return ownResults(ownLow53<A>(at(before), at(x), at(behind))); });
}
template <typename A, typename T = typename A::Element>
inline void ownEvenRow53(const T* before, const T* low, const T* behind, T* even, int32_t width) {
  ownForPlaces<A>(width, {even}, [=](auto at) { return ownResults(ownEven53<A>(at(before), at(low), at(behind))); });
}
template <typename A, typename T = typename A::Element>
inline void ownOddRow53(const T* before, const T* high, const T* behind, T* odd, int32_t width) {
  ownForPlaces<A>(width, {odd}, [=](auto at) { return ownResults(ownOdd53<A>(at(before), at(high), at(behind))); });
}

// The next low and high row from an even row, the odd row below and the even row after it.
template <typename A, typename T = typename A::Element>
inline void ownForwardRows53(const T* x0, const T* x1, const T* x2, const T* highBefore, T* low, T* high,
                             int32_t width) {
  ownForPlaces<A>(width, {low, high}, [=](auto at) {
    const auto even = at(x0), h = ownHigh53<A>(even, at(x1), at(x2));
    return ownResults(ownLow53<A>(at(highBefore), even, h), h);
  });
}

// The next even row, and the odd row above it, from a low row between two high rows.
template <typename A, typename T = typename A::Element>
inline void ownInverseRows53(const T* low, const T* highBefore, const T* high, const T* evenBefore, T* odd, T* even,
                             int32_t width) {
  ownForPlaces<A>(width, {odd, even}, [=](auto at) {
    const auto h = at(highBefore), e = ownEven53<A>(h, at(low), at(high));
    return ownResults(ownOdd53<A>(at(evenBefore), h, e), e);
  });
}

// Two rows alone. Not as with both neighbours equal, the sum of which might not fit.
template <typename A, typename T = typename A::Element>
inline void ownForwardTwoRows53(const T* x0, const T* x1, T* low, T* high, int32_t width) {
  ownForPlaces<A>(width, {low, high}, [=](auto at) {
    const auto even = at(x0), h = A::sub(at(x1), even);
    return ownResults(A::add(even, A::halfUp(h)), h);
  });
}
template <typename A, typename T = typename A::Element>
inline void ownInverseTwoRows53(const T* low, const T* high, T* even, T* odd, int32_t width) {
  ownForPlaces<A>(width, {even, odd}, [=](auto at) {
    const auto h = at(high), e = A::sub(at(low), A::halfUp(h));
    return ownResults(e, A::add(h, e));
  });
}

// --- Along a row -----------------------------------------------------------------------------------------------------
//
// Rows of half a vector up to a whole one are one vector of two halves, which may overlap.

// Lifts `count` pairs of an even and an odd sample, reading one even sample behind them; `before` is the high value in
// front. Returns the last high value. The destinations do not overlap the source.
template <typename A, typename T = typename A::Element>
inline T ownForwardPairs53(const T* x, T* low, T* high, int32_t count, T before) {
  constexpr int32_t kLanes = A::kLanes, kHalf = kLanes / 2, kBytes = sizeof(T);
  const auto highOf = [](const EvenOdd& v, __m256i behind) {
    return ownHigh53<A>(v.even, v.odd, shiftedUp<kBytes>(v.even, behind));
  };
  const auto lowOf = [](__m256i highBefore, const EvenOdd& v, __m256i h) {
    return ownLow53<A>(shiftedDown<kBytes>(highBefore, h), v.even, h);
  };
  if (count >= kLanes) {
    const auto lanesAt = [=](ptrdiff_t i, __m256i highBefore) {
      const T* at = x + 2 * i;
      const EvenOdd v = A::loadPairs(at, at + kLanes);
      const __m256i h = highOf(v, middleHalves(v.even, A::all(loadAny(at + 2 * kLanes))));
      store32(high + i, h);
      store32(low + i, lowOf(middleHalves(highBefore, h), v, h));
      return h;
    };
    const ptrdiff_t last = count - kLanes;
    __m256i h = A::all(before);
    ptrdiff_t i = 0;
    for (; i <= last; i += kLanes) h = lanesAt(i, h);
    if (i < count) lanesAt(last, A::all(loadAny(high + last - 1)));
    return loadAny(high + (count - 1));
  }
  if (count >= kHalf) {
    const ptrdiff_t second = count - kHalf;
    const T* at = x + 2 * second;
    const EvenOdd v = A::loadPairs(x, at);
    const __m256i h = highOf(v, lowAndHigh(A::all(loadAny(x + kLanes)), A::all(loadAny(at + kLanes))));
    const T between = second ? ownHigh53<A>(loadAny(at - 2), loadAny(at - 1), loadAny(at)) : before;
    store16x2(high, high + second, h);
    store16x2(low, low + second, lowOf(lowAndHigh(A::all(before), A::all(between)), v, h));
    return loadAny(high + (count - 1));
  }
  for (int32_t i = 0; i < count; ++i) {
    const T even = loadAny(x + 2 * i), h = ownHigh53<A>(even, loadAny(x + 2 * i + 1), loadAny(x + 2 * i + 2));
    storeAny(low + i, ownLow53<A>(before, even, h));
    storeAny(high + i, h);
    before = h;
  }
  return before;
}

// Gives `count` pairs of an even and an odd sample, reading low[0] to low[count] and high[-1] to high[count].
template <typename A, typename T = typename A::Element>
inline void ownInversePairs53(const T* low, const T* high, T* dst, int32_t count) {
  constexpr int32_t kLanes = A::kLanes, kHalf = kLanes / 2;
  // Of places of the bands, the even samples and the odd ones behind them.
  const auto pairsAt = [=](auto at) {
    const auto h = at(high), even = ownEven53<A>(at(high - 1), at(low), h);
    return EvenOdd{even, ownOdd53<A>(even, h, ownEven53<A>(h, at(low + 1), at(high + 1)))};
  };
  if (count >= kLanes) {
    const auto lanesAt = [=](ptrdiff_t i) {
      T* to = dst + 2 * i;
      A::storePairs(to, to + kLanes, pairsAt([=](const T* band) { return load32(band + i); }));
    };
    const ptrdiff_t last = count - kLanes;
    for (ptrdiff_t i = 0; i < last; i += kLanes) lanesAt(i);
    lanesAt(last);
  } else if (count >= kHalf) {
    const ptrdiff_t second = count - kHalf;
    A::storePairs(dst, dst + 2 * second, pairsAt([=](const T* band) { return load16x2(band, band + second); }));
  } else if (count > 0) {
    T even = ownEven53<A>(loadAny(high - 1), loadAny(low), loadAny(high));
    for (int32_t i = 0; i < count; ++i) {
      const T h = loadAny(high + i), next = ownEven53<A>(h, loadAny(low + i + 1), loadAny(high + i + 1));
      storeAny(dst + 2 * i, even);
      storeAny(dst + 2 * i + 1, ownOdd53<A>(even, h, next));
      even = next;
    }
  }
}
