// The principal axis of a set of colours: the unit eigenvector of the largest eigenvalue of their scatter matrix, which
// is the right singular vector of the largest singular value of the centred colours. The matrix is squared over and
// over, which leaves the projector on the axis. The same steps are taken in every lane, so that a lane of four and a
// single double agree to the bit.
#pragma once

#include <immintrin.h>

namespace texture {

// n * sum(xy) - sum(x) * sum(y) of the channels: whole numbers below 2^24.
template <typename V>
struct Scatter {
  V rr, rg, rb, gg, gb, bb;
};

template <typename V>
struct Axis {
  V r, g, b;
};

inline double rootOf(double v) { return _mm_cvtsd_f64(_mm_sqrt_pd(_mm_set1_pd(v))); }
#ifdef __AVX__
using Doubles = double __attribute__((vector_size(32)));
inline Doubles rootOf(Doubles v) { return _mm256_sqrt_pd(v); }
#endif

// V is double or a vector of doubles. The axis of colours that are all alike is that of red.
template <typename V>
inline Axis<V> principalAxis(Scatter<V> m) {
  const V none = m.rr - m.rr, one = none + 1.0;
  m.rr = m.rr + m.gg + m.bb > none ? m.rr : one;
  // 28 squarings tell eigenvalues apart that differ by a part in 10^8. The trace is at least a third of the last one's
  // square each time, so that one division in four keeps it far from the limits of a double.
  for (int round = 0; round < 7; ++round) {
    const V scale = 1.0 / (m.rr + m.gg + m.bb);
    m = {m.rr * scale, m.rg * scale, m.rb * scale, m.gg * scale, m.gb * scale, m.bb * scale};
    for (int i = 0; i < 4; ++i) {
      const V rgrg = m.rg * m.rg, rbrb = m.rb * m.rb, gbgb = m.gb * m.gb;
      m = {m.rr * m.rr + (rgrg + rbrb),
           m.rr * m.rg + (m.rg * m.gg + m.rb * m.gb),
           m.rr * m.rb + (m.rg * m.gb + m.rb * m.bb),
           rgrg + (m.gg * m.gg + gbgb),
           m.rg * m.rb + (m.gg * m.gb + m.gb * m.bb),
           rbrb + (gbgb + m.bb * m.bb)};
    }
  }
  // Every column is a multiple of the axis; the one with the largest diagonal is the longest.
  const auto longest = m.gg > m.rr;
  Axis<V> v = {longest ? m.rg : m.rr, longest ? m.gg : m.rg, longest ? m.gb : m.rb};
  const auto last = m.bb > (longest ? m.gg : m.rr);
  v = {last ? m.rb : v.r, last ? m.gb : v.g, last ? m.bb : v.b};
  const V length = rootOf(v.r * v.r + v.g * v.g + v.b * v.b);
  return {v.r / length, v.g / length, v.b / length};
}

}  // namespace texture
