// The lifting steps of the photo core transform as they stand, one operation after the other.
#include "model/jpegxr_transform.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>

namespace model {
namespace {

template <typename T>
constexpr bool kFloat = std::is_same_v<T, float>;

// Integers: each result is cut to the width of T, so that it wraps there.
template <typename T>
T add(T a, T b) {
  if constexpr (kFloat<T>)
    return a + b;
  else
    return static_cast<T>(int64_t{a} + b);
}
template <typename T>
T sub(T a, T b) {
  if constexpr (kFloat<T>)
    return a - b;
  else
    return static_cast<T>(int64_t{a} - b);
}

// (x + rounding) >> 1, or half of x.
template <typename T>
T half(T x, int rounding = 0) {
  if constexpr (kFloat<T>)
    return 0.5F * x;
  else
    return static_cast<T>(add(x, static_cast<T>(rounding)) >> 1);
}

// (3x + rounding) >> shift of an integer.
template <typename T>
T threeTimes(T x, int rounding, int shift) {
  const T product = add(add(x, x), x);
  return static_cast<T>(add(product, static_cast<T>(rounding)) >> shift);
}

// to + ((3x + rounding) >> shift); in single precision to + x * 3 / 2^shift, rounded once.
template <typename T>
T lift(T to, T x, int rounding, int shift) {
  if constexpr (kFloat<T>)
    return std::fma(shift == 3 ? 0.375F : 0.75F, x, to);
  else
    return add(to, threeTimes(x, rounding, shift));
}
// to - ((3x + rounding) >> shift).
template <typename T>
T unlift(T to, T x, int rounding, int shift) {
  if constexpr (kFloat<T>)
    return std::fma(shift == 3 ? -0.375F : -0.75F, x, to);
  else
    return sub(to, threeTimes(x, rounding, shift));
}

template <typename T>
using Four = std::array<T, 4>;

template <typename T>
Four<T> butterfly2x2(T a, T b, T c, T d, int k) {
  a = add(a, d);
  b = sub(b, c);
  const T t = half(sub(a, b), k);
  const T c2 = sub(t, d);
  const T d2 = sub(t, c);
  a = sub(a, d2);
  b = add(b, c2);
  return {a, b, c2, d2};
}

template <typename T>
Four<T> oddRotate(T a, T b, T c, T d) {
  T p = add(b, c), q = sub(a, d);
  T r = sub(half(p, 1), b), s = add(d, half(q, 1));
  q = unlift(q, p, 4, 3);
  r = unlift(r, s, 4, 3);
  p = lift(p, q, 4, 3);
  s = lift(s, r, 4, 3);
  s = sub(s, half(p, 1));
  r = add(r, half(q));
  p = add(p, s);
  q = sub(q, r);
  return {p, q, s, r};
}

template <typename T>
Four<T> oddRotateInv(T p, T q, T s, T r) {
  p = sub(p, s);
  q = add(q, r);
  s = add(s, half(p, 1));
  r = sub(r, half(q));
  p = unlift(p, q, 4, 3);
  s = unlift(s, r, 4, 3);
  q = lift(q, p, 4, 3);
  r = lift(r, s, 4, 3);
  const T d = sub(s, half(q, 1));
  const T b = sub(half(p, 1), r);
  const T c = sub(p, b);
  const T a = add(q, d);
  return {a, b, c, d};
}

template <typename T>
Four<T> oddOddRotate(T a, T b, T c, T d) {
  const T e = sub(d, a), f = add(b, c), h = half(f), g = half(e);
  T u = sub(c, h), v = sub(g, d);
  u = lift(u, v, 4, 3);
  v = unlift(v, u, 3, 2);
  u = lift(u, v, 3, 3);
  const T e0 = add(u, h);
  const T e1 = sub(v, g);
  const T e2 = add(e, e1);
  const T e3 = sub(f, e0);
  return {e0, e1, e2, e3};
}

template <typename T>
Four<T> oddOddRotateInv(T e0, T e1, T e2, T e3) {
  const T e = sub(e2, e1), f = add(e3, e0), h = half(f), g = half(e);
  T u = sub(e0, h), v = add(e1, g);
  u = unlift(u, v, 3, 3);
  v = lift(v, u, 3, 2);
  u = unlift(u, v, 4, 3);
  const T c = add(u, h);
  const T d = sub(g, v);
  const T a = sub(d, e);
  const T b = sub(f, c);
  return {a, b, c, d};
}

}  // namespace

template <typename T>
PctBlock<T> forwardPct(const PctBlock<T>& block) {
  const auto& x = block.at;
  const auto [a1, b1, c1, d1] = butterfly2x2(x[0][0], x[0][3], x[3][0], x[3][3], 0);
  const auto [a2, b2, c2, d2] = butterfly2x2(x[0][1], x[0][2], x[3][1], x[3][2], 0);
  const auto [a3, b3, c3, d3] = butterfly2x2(x[1][0], x[1][3], x[2][0], x[2][3], 0);
  const auto [a4, b4, c4, d4] = butterfly2x2(x[1][1], x[1][2], x[2][1], x[2][2], 0);

  const auto even = butterfly2x2(a1, a2, a3, a4, 1);
  const auto lower = oddRotate(c1, c2, c3, c4);
  const auto upper = oddRotate(b1, b3, b2, b4);
  const auto odd = oddOddRotate(d2, d1, d4, d3);
  return {{{even[0], even[1], upper[0], upper[1]},  //
           {even[2], even[3], upper[2], upper[3]},
           {lower[0], lower[2], odd[0], odd[1]},
           {lower[1], lower[3], odd[2], odd[3]}}};
}

template <typename T>
PctBlock<T> inversePct(const PctBlock<T>& block) {
  const auto& o = block.at;
  const auto [a1, a2, a3, a4] = butterfly2x2(o[0][0], o[0][1], o[1][0], o[1][1], 1);
  const auto [c1, c2, c3, c4] = oddRotateInv(o[2][0], o[3][0], o[2][1], o[3][1]);
  const auto [b1, b3, b2, b4] = oddRotateInv(o[0][2], o[0][3], o[1][2], o[1][3]);
  const auto [d2, d1, d4, d3] = oddOddRotateInv(o[2][2], o[2][3], o[3][2], o[3][3]);

  const auto corners = butterfly2x2(a1, b1, c1, d1, 0);
  const auto topAndBottom = butterfly2x2(a2, b2, c2, d2, 0);
  const auto sides = butterfly2x2(a3, b3, c3, d3, 0);
  const auto middle = butterfly2x2(a4, b4, c4, d4, 0);
  return {{{corners[0], topAndBottom[0], topAndBottom[1], corners[1]},
           {sides[0], middle[0], middle[1], sides[1]},
           {sides[2], middle[2], middle[3], sides[3]},
           {corners[2], topAndBottom[2], topAndBottom[3], corners[3]}}};
}

template <typename T>
void transformRegion(std::vector<T>& samples, size_t width, size_t height, PctBlockTransform<T> transform) {
  const size_t columns = kFloat<T> ? width / 8 * 8 : width;
  for (size_t y = 0; y < height; y += 4)
    for (size_t x = 0; x < columns; x += 4) {
      T* const first = samples.data() + y * width + x;
      PctBlock<T> block;
      for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c) block.at[r][c] = first[r * width + c];
      block = transform(block);
      for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c) first[r * width + c] = block.at[r][c];
    }
}

#define INSTANTIATE(T)                                 \
  template PctBlock<T> forwardPct(const PctBlock<T>&); \
  template PctBlock<T> inversePct(const PctBlock<T>&); \
  template void transformRegion(std::vector<T>&, size_t, size_t, PctBlockTransform<T>);
INSTANTIATE(int16_t)
INSTANTIATE(int32_t)
INSTANTIATE(float)
#undef INSTANTIATE

}  // namespace model
