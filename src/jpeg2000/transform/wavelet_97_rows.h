// The irreversible 9/7 wavelet along a row. Low value k stands at position 2k, high value k at position 2k + 1. A row
// is lifted a vector of values at a time, all four steps at once: the value before the first lane of a vector is the
// last lane of the vector before, so what a block takes over from its predecessor is a vector for each stage. The first
// block of a row takes over from one that holds the few values before it in its last lanes.
#pragma once

#include "jpeg2000/transform/wavelet_97.h"

// --- Forward -------------------------------------------------------------------------------------------------------

template <typename F>
struct ForwardBlock97 {
  typename F::Sample even;
  typename F::Stage h1, l2, h3;
};

// Takes the samples at the positions 2k + 3 to 2k + 2 + 2 * kLanes, as odd and even ones, and gives the low and high
// values k to k + kLanes - 1; with kHighBefore the high values k - 1 and on.
template <typename F, bool kHighBefore>
[[gnu::always_inline]] inline typename F::Pair ownForwardBlock97(ForwardBlock97<F>& block, typename F::Pair oddEven) {
  using T = typename F::Element;
  const auto even = lanesBefore<T>(block.even, oddEven.second);
  const auto h1 = F::alpha(oddEven.first, even, oddEven.second), h1Before = lanesBefore<T>(block.h1, h1);
  const auto l2 = F::beta(even, h1Before, h1), l2Before = lanesBefore<T>(block.l2, l2);
  const auto h3 = F::gamma(h1Before, l2Before, l2), h3Before = lanesBefore<T>(block.h3, h3);
  block = {oddEven.second, h1, l2, h3};
  return {F::low(l2Before, h3Before, h3), F::high(kHighBefore ? h3Before : h3)};
}

// The block before value k, from a vector whose last seven lanes are the samples at the positions 2k - 4 to 2k + 2.
template <typename F>
inline ForwardBlock97<F> ownOpenForwardBlock97(typename F::Sample samples) {
  ForwardBlock97<F> block{};
  ownForwardBlock97<F, false>(block, splitPairs<Element97<F>>(typename F::Sample{}, samples));
  return block;
}
// From the samples at the positions 2k - 4 to 2k + 3 in memory.
template <typename F>
inline ForwardBlock97<F> ownOpenForwardBlock97(const Element97<F>* samples) {
  return ownOpenForwardBlock97<F>(lastEight<0, 0, 1, 2, 3, 4, 5, 6>(samples));
}

// `count` low and high values from a row that the caller has continued, `samples` being position -4 for the first one.
// What is left behind the last whole vector is lifted in one that overlaps its neighbour.
template <typename F, bool kHighBefore>
inline void ownForwardSamples97(const Element97<F>* samples, int32_t count, Element97<F>* low, Element97<F>* high) {
  constexpr int32_t kLanes = F::kLanes;
  auto block = ownOpenForwardBlock97<F>(samples);
  if (count < kLanes) {
    alignas(32) Element97<F> lanes[2 * kLanes];
    storeLanes(lanes, typename F::Sample{});
    storeLanes(lanes + kLanes, typename F::Sample{});
    copyFew<2 * kLanes>(lanes, samples + 7, 2 * count);
    const auto v = ownForwardBlock97<F, kHighBefore>(block, splitPairs(lanes));
    storePart(low, v.first, count);
    storePart(high, v.second, count);
    return;
  }
  for (ptrdiff_t k = 0;; k += kLanes) {
    if (k > count - kLanes) {
      if (k == count) break;
      k = count - kLanes;
      block = ownOpenForwardBlock97<F>(samples + 2 * k);
    }
    const auto v = ownForwardBlock97<F, kHighBefore>(block, splitPairs(samples + 7 + 2 * k));
    storeLanes(low + k, v.first);
    storeLanes(high + k, v.second);
  }
}

// --- Inverse -------------------------------------------------------------------------------------------------------

template <typename F>
struct InverseBlock97 {
  typename F::Stage high, l2, h1, x0;
};

// Takes the low and high values k + 2 and on (k + 1 and on with kOddBefore) and gives the samples in pairs: even and
// odd sample k and on (odd sample k - 1 and even sample k and on with kOddBefore).
template <typename F, bool kOddBefore>
[[gnu::always_inline]] inline typename F::Pair ownInverseBlock97(InverseBlock97<F>& block, typename F::Sample low,
                                                                 typename F::Sample highSamples) {
  using T = typename F::Element;
  const auto high = F::scaleHigh(highSamples), highBefore = lanesBefore<T>(block.high, high);
  const auto l2 = F::even(low, highBefore, high), l2Before = lanesBefore<T>(block.l2, l2);
  const auto h1 = F::odd(highBefore, l2Before, l2), h1Before = lanesBefore<T>(block.h1, h1);
  const auto x0 = F::undoBeta(l2Before, h1Before, h1), x0Before = lanesBefore<T>(block.x0, x0);
  const auto x1 = F::undoAlpha(h1Before, x0Before, x0);
  block = {high, l2, h1, x0};
  if constexpr (kOddBefore) return {F::out(x1), F::out(x0)};
  return {F::out(x0Before), F::out(x1)};
}

// The block before pair k, from vectors whose last lanes are the low and high values before those that pair k takes:
// three low and four high ones.
template <typename F>
inline InverseBlock97<F> ownOpenInverseBlock97(typename F::Sample low, typename F::Sample high) {
  InverseBlock97<F> block{};
  ownInverseBlock97<F, false>(block, low, high);
  return block;
}
// With pointers to the values that pair k takes: the low values from 3 before these on and the high ones from 4 before
// are read, four of each.
template <typename F>
inline InverseBlock97<F> ownOpenInverseBlock97(const Element97<F>* low, const Element97<F>* high) {
  return ownOpenInverseBlock97<F>(lastFour<0, 0, 1, 2>(low - 3), lastFour<0, 1, 2, 3>(high - 4));
}

// `count` pairs from bands that the caller has continued. `low` and `high` are what the first pair takes.
template <typename F, bool kOddBefore>
inline void ownInverseSamples97(const Element97<F>* low, const Element97<F>* high, int32_t count, Element97<F>* dst) {
  constexpr int32_t kLanes = F::kLanes;
  auto block = ownOpenInverseBlock97<F>(low, high);
  if (count < kLanes) {
    const auto v = ownInverseBlock97<F, kOddBefore>(block, loadPart(low, count), loadPart(high, count));
    alignas(32) Element97<F> lanes[2 * kLanes];
    storePairs(lanes, v.first, v.second);
    copyFew<2 * kLanes>(dst, lanes, 2 * count);
    return;
  }
  for (ptrdiff_t k = 0;; k += kLanes) {
    if (k > count - kLanes) {
      if (k == count) break;
      k = count - kLanes;
      block = ownOpenInverseBlock97<F>(low + k, high + k);
    }
    const auto v = ownInverseBlock97<F, kOddBefore>(block, loadLanes(low + k), loadLanes(high + k));
    storePairs(dst + 2 * k, v.first, v.second);
  }
}
