// The irreversible 9/7 wavelet along columns: whole rows are lifted against each other by walking down the plane. Low
// value k stands at position 2k, high value k at position 2k + 1. A step of the forward walk takes in the rows 2k + 2
// to 2k + 4 and finishes low row k and high row k; what lies between the lifting steps of a strip of columns is a
// window of three rows. A walk may work in place, since a step writes no row that a later one reads. Two steps at a
// time halve the traffic of the window.
#pragma once

#include "frame/rows.h"
#include "jpeg2000/transform/wavelet_97.h"

// How the columns of a strip are read and written. WholeLanes: by whole vectors. LastLanes: the last columns of a row
// by a vector that overlaps columns which have been lifted; these are written back as they are. PartLanes: fewer
// columns than a vector has lanes.
struct WholeLanes {
  template <typename T>
  static auto load(const T* p) {
    return loadLanes(p);
  }
  template <typename T, typename V>
  static void store(T* p, V v) {
    storeLanes(p, v);
  }
};
struct LastLanes {
  int32_t before;
  __m256i bytes;  // set in the lanes of the last columns

  template <typename T>
  static LastLanes make(int32_t count) {
    constexpr int32_t kBytes = sizeof(T);
    alignas(32) static constexpr auto kBounds = [] {
      struct {
        int8_t set[64];
      } bounds{};
      for (int i = 32; i < 64; ++i) bounds.set[i] = -1;
      return bounds;
    }();
    return {32 / kBytes - count, load32(kBounds.set + count * kBytes)};
  }
  template <typename T>
  auto load(const T* p) const {
    return loadLanes(p - before);
  }
  template <typename T>
  void store(T* p, __m256i v) const {
    storeLanes(p - before, _mm256_blendv_epi8(loadLanes(p - before), v, bytes));
  }
  void store(float* p, __m256 v) const {
    storeLanes(p - before, _mm256_blendv_ps(loadLanes(p - before), v, _mm256_castsi256_ps(bytes)));
  }
};
struct PartLanes {
  int32_t count;

  template <typename T>
  auto load(const T* p) const {
    return loadPart(p, count);
  }
  template <typename T, typename V>
  void store(T* p, V v) const {
    storePart(p, v, count);
  }
};

// Vectors of a strip: 16 kB of each row, so that memory is read in long runs and the window of a strip, which is three
// rows, stays in the second-level cache.
inline constexpr int32_t kStripVectors97 = 512;

// Some columns of a plane: those that whole vectors hold, and the last few of the rows. `first` is where they begin.
struct Strip97 {
  int32_t first, vectors, rest;
};

// Calls part(lanes, column in the strip, number of vectors before it, vectors) for the vectors of a strip and for the
// rest.
template <typename F, typename Part>
[[gnu::always_inline]] inline void ownForEachPart97(Strip97 strip, const Part& part) {
  const int32_t c = strip.vectors * F::kLanes;
  if (strip.vectors) part(WholeLanes{}, 0, 0, strip.vectors);
  if (!strip.rest) return;
  if (strip.first + c > 0) {
    part(LastLanes::make<Element97<F>>(strip.rest), c, strip.vectors, 1);
  } else {
    part(PartLanes{strip.rest}, c, strip.vectors, 1);
  }
}

// Calls walk(strip) for strips of all columns.
template <typename F, typename Walk>
inline void ownForEachStrip97(int32_t width, const Walk& walk) {
  constexpr int32_t kWidest = kStripVectors97 * F::kLanes;
  for (int32_t c = 0; c < width;) {
    const int32_t count = width - c < kWidest ? width - c : kWidest;
    walk(Strip97{c, count / F::kLanes, count % F::kLanes});
    c += count;
  }
}

// --- Forward -------------------------------------------------------------------------------------------------------

// Of each column H1(k), L2(k) and H3(k - 1).
template <typename F>
struct ForwardWindow97 {
  typename F::Stage h1[kStripVectors97 + 1], l2[kStripVectors97 + 1], h3[kStripVectors97 + 1];
};

// Opens the window at k with the source rows at the positions 2k - 4 to 2k + 2, row(position).
template <typename F, typename Row>
inline void ownOpenForward97(ForwardWindow97<F>& window, Strip97 strip, int32_t k, const Row& row) {
  const Element97<F>* rows[7];
  for (int32_t i = 0; i < 7; ++i) rows[i] = row(2 * k - 4 + i);
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      const auto x = [&](int i) { return lanes.load(rows[i] + c); };
      const auto h1Second = F::alpha(x(1), x(0), x(2)), h1First = F::alpha(x(3), x(2), x(4));
      const auto l2First = F::beta(x(2), h1Second, h1First);
      window.h1[v] = F::alpha(x(5), x(4), x(6));
      window.l2[v] = F::beta(x(4), h1First, window.h1[v]);
      window.h3[v] = F::gamma(h1First, l2First, window.l2[v]);
    }
  });
}

// Moves the window from k to k + kSteps. rows are those at 2k + 2 to 2k + 2 + 2 * kSteps. Writes the low rows from k on
// and as many high rows, from k or, with kHighBefore, from k - 1 on.
template <typename F, bool kHighBefore, int kSteps>
inline void ownStepForward97(ForwardWindow97<F>& window, Strip97 strip,
                             const Element97<F>* const (&rows)[2 * kSteps + 1], Element97<F>* const (&low)[kSteps],
                             Element97<F>* const (&high)[kSteps]) {
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      auto h1 = window.h1[v], l2 = window.l2[v], h3 = window.h3[v];
      auto even = lanes.load(rows[0] + c);
#pragma GCC unroll 2
      for (int i = 0; i < kSteps; ++i) {
        const auto next = lanes.load(rows[2 * i + 2] + c);
        const auto newH1 = F::alpha(lanes.load(rows[2 * i + 1] + c), even, next);
        const auto newL2 = F::beta(even, h1, newH1);
        const auto newH3 = F::gamma(h1, l2, newL2);
        lanes.store(low[i] + c, F::low(l2, h3, newH3));
        lanes.store(high[i] + c, F::high(kHighBefore ? h3 : newH3));
        even = next;
        h1 = newH1;
        l2 = newL2;
        h3 = newH3;
      }
      window.h1[v] = h1;
      window.l2[v] = l2;
      window.h3[v] = h3;
    }
  });
}

// The last steps of a plane. Beyond its end the values of each stage mirror those before it: H1(k + 1), of which only
// the even row at 2k + 2 is used, L2(k + 1) or H3(k). There may be no high row to write.
enum class ForwardEnd97 { kMirrorH1, kMirrorL2, kMirrorH3 };

template <typename F, bool kHighBefore, ForwardEnd97 kEnd>
inline void ownEndForward97(ForwardWindow97<F>& window, Strip97 strip, const Element97<F>* even, Element97<F>* low,
                            Element97<F>* high) {
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      const auto h1 = window.h1[v], l2 = window.l2[v], h3 = window.h3[v];
      auto newL2 = l2, newH3 = h3;
      if constexpr (kEnd == ForwardEnd97::kMirrorH1) newL2 = F::beta(lanes.load(even + c), h1, h1);
      if constexpr (kEnd != ForwardEnd97::kMirrorH3) newH3 = F::gamma(h1, l2, newL2);
      lanes.store(low + c, F::low(l2, h3, newH3));
      if (high) lanes.store(high + c, F::high(kHighBefore ? h3 : newH3));
      window.l2[v] = newL2;
      window.h3[v] = newH3;
    }
  });
}

// --- Inverse -------------------------------------------------------------------------------------------------------

// Of each column L2(k - 1), H1(k - 2) and the finished even row k - 2.
template <typename F>
struct InverseWindow97 {
  typename F::Stage l2[kStripVectors97 + 1], h1[kStripVectors97 + 1], x0[kStripVectors97 + 1];
};

// Opens the window at k + 1 with the rows low(k - 1), low(k) and high(k - 2) to high(k); with one more of each before
// these if the odd row k - 1 is wanted, which goes before even row k.
template <typename F, bool kOddBefore, typename Low, typename High>
inline void ownOpenInverse97(InverseWindow97<F>& window, Strip97 strip, int32_t k, const Low& low, const High& high) {
  const Element97<F>* const lows[] = {kOddBefore ? low(k - 2) : nullptr, low(k - 1), low(k)};
  const Element97<F>* const highs[] = {kOddBefore ? high(k - 3) : nullptr, high(k - 2), high(k - 1), high(k)};
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      const auto l = [&](int i) { return lanes.load(lows[i] + c); };
      const auto h = [&](int i) { return F::scaleHigh(lanes.load(highs[i] + c)); };
      const auto l2First = F::even(l(1), h(1), h(2)), l2 = F::even(l(2), h(2), h(3));
      const auto h1 = F::odd(h(2), l2First, l2);
      window.l2[v] = l2;
      window.h1[v] = h1;
      if constexpr (kOddBefore) {
        const auto l2Second = F::even(l(0), h(0), h(1));
        window.x0[v] = F::undoBeta(l2First, F::odd(h(1), l2Second, l2First), h1);
      } else {
        window.x0[v] = l2;  // only the odd row that is left out depends on it
      }
    }
  });
}

// Moves the window from k to k + kSteps with the rows low(k) and on, and high(k - 1) and on. Writes the even rows from
// k - 1 and the odd rows from k - 2 on, unless null.
template <typename F, int kSteps>
inline void ownStepInverse97(InverseWindow97<F>& window, Strip97 strip, const Element97<F>* const (&low)[kSteps],
                             const Element97<F>* const (&high)[kSteps + 1], Element97<F>* const (&even)[kSteps],
                             Element97<F>* const (&odd)[kSteps]) {
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      auto l2 = window.l2[v], h1 = window.h1[v], x0 = window.x0[v];
      auto h = F::scaleHigh(lanes.load(high[0] + c));
#pragma GCC unroll 2
      for (int i = 0; i < kSteps; ++i) {
        const auto newH = F::scaleHigh(lanes.load(high[i + 1] + c));
        const auto newL2 = F::even(lanes.load(low[i] + c), h, newH);
        const auto newH1 = F::odd(h, l2, newL2);
        const auto newX0 = F::undoBeta(l2, h1, newH1);
        if (even[i]) lanes.store(even[i] + c, F::out(newX0));
        if (odd[i]) lanes.store(odd[i] + c, F::out(F::undoAlpha(h1, x0, newX0)));
        h = newH;
        l2 = newL2;
        h1 = newH1;
        x0 = newX0;
      }
      window.l2[v] = l2;
      window.h1[v] = h1;
      window.x0[v] = x0;
    }
  });
}

// The last steps of a plane: high(k), L2(k), H1(k - 1) or even row k - 1 mirrors what is before the end.
enum class InverseEnd97 { kMirrorH, kMirrorL2, kMirrorH1, kMirrorX0 };

template <typename F, InverseEnd97 kEnd>
inline void ownEndInverse97(InverseWindow97<F>& window, Strip97 strip, const Element97<F>* low,
                            const Element97<F>* highBefore, Element97<F>* even, Element97<F>* odd) {
  ownForEachPart97<F>(strip, [&](auto lanes, int32_t c, int32_t before, int32_t vectors) {
    for (int32_t v = before; v < before + vectors; ++v, c += F::kLanes) {
      const auto l2 = window.l2[v], h1 = window.h1[v], x0 = window.x0[v];
      auto newL2 = l2, newH1 = h1, newX0 = x0;
      if constexpr (kEnd <= InverseEnd97::kMirrorL2) {
        const auto h = F::scaleHigh(lanes.load(highBefore + c));
        if constexpr (kEnd == InverseEnd97::kMirrorH) newL2 = F::even(lanes.load(low + c), h, h);
        newH1 = F::odd(h, l2, newL2);
      }
      if constexpr (kEnd != InverseEnd97::kMirrorX0) newX0 = F::undoBeta(l2, h1, newH1);
      if (even) lanes.store(even + c, F::out(newX0));
      if (odd) lanes.store(odd + c, F::out(F::undoAlpha(h1, x0, newX0)));
      window.l2[v] = newL2;
      window.h1[v] = newH1;
      window.x0[v] = newX0;
    }
  });
}
