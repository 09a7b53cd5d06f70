// The 9/7 wavelet, one output at a time: each lifted value is computed from the samples anew wherever it is needed.
//
// An arithmetic is a record with the nine steps of one number format:
//   forward: alpha, beta, gamma (neighbour, the value that is lifted, neighbour), low (delta and 1/K), high (K);
//   inverse: undoDelta (K, 1/K and delta), undoGamma, undoBeta, undoAlpha.
#include "model/jpeg2000_wavelet97.h"

#include <algorithm>
#include <cmath>

namespace model {
namespace {

int16_t cut16(int64_t v) { return static_cast<int16_t>(v); }
int32_t cut32(int64_t v) { return static_cast<int32_t>(v); }
int16_t saturated(int64_t v) { return static_cast<int16_t>(std::clamp<int64_t>(v, -32768, 32767)); }

// Plane forms of 16-bit elements: cut after each step.
struct Q14 {
  using T = int16_t;
  static int32_t m14(int64_t v, int32_t c) { return cut32(v * c + 8192) >> 14; }
  static T lifted(T a, T x, T b, int32_t c) { return cut16(int64_t{x} + m14(int64_t{a} + b, c)); }
  static T unlifted(T a, T x, T b, int32_t c) { return cut16(int64_t{x} - m14(int64_t{a} + b, c)); }
  static T byK(T v) { return cut16(m14(v, 20155)); }
  static T overK(T v) { return cut16(m14(v, 13318)); }

  T alpha(T a, T x, T b) const { return lifted(a, x, b, -25987); }
  T beta(T a, T x, T b) const { return lifted(a, x, b, -868); }
  T gamma(T a, T x, T b) const { return lifted(a, x, b, 14466); }
  T low(T a, T l2, T b) const { return overK(lifted(a, l2, b, 7266)); }
  T high(T h3) const { return byK(h3); }

  T undoDelta(T a, T low, T b) const { return unlifted(overK(a), byK(low), overK(b), 7266); }
  T undoGamma(T a, T high, T b) const { return unlifted(a, overK(high), b, 14466); }
  T undoBeta(T a, T l2, T b) const { return unlifted(a, l2, b, -868); }
  T undoAlpha(T a, T h1, T b) const { return unlifted(a, h1, b, -25987); }
};

// ColLift of 16-bit elements, and the inner outputs of their Row forms.
struct Q15 {
  using T = int16_t;
  bool vector;  // a vector's subtraction wraps in undoGamma; that of a single element saturates
  static T m15(T v, int32_t c) { return static_cast<T>((v * c + 16384) >> 15); }
  static T plus(T a, T b) { return saturated(int64_t{a} + b); }

  T alpha(T a, T x, T b) const { return plus(m15(plus(plus(a, b), plus(a, b)), -25987), x); }
  T beta(T a, T x, T b) const { return plus(m15(plus(a, b), -1736), x); }
  T gamma(T a, T x, T b) const { return plus(m15(plus(a, b), 28931), x); }
  T low(T a, T l2, T b) const { return plus(static_cast<T>(m15(plus(a, b), 23627) >> 1), m15(l2, 26637)); }
  T high(T h3) const { return m15(plus(h3, h3), 20155); }

  T undoDelta(T a, T low, T b) const {  // within the range, so that nothing wraps or saturates
    return static_cast<T>(m15(plus(low, low), 20155) - (m15(plus(a, b), 23627) >> 1));
  }
  T undoGamma(T a, T high, T b) const {
    const int difference = m15(high, 26637) - m15(plus(a, b), 28931);
    return vector ? cut16(difference) : saturated(difference);
  }
  T undoBeta(T a, T l2, T b) const { return plus(m15(plus(a, b), 1736), l2); }
  T undoAlpha(T a, T h1, T b) const { return plus(m15(plus(plus(a, b), plus(a, b)), 25987), h1); }
};

// 32-bit elements: wrapping sums, exact products.
struct Q16 {
  using T = int32_t;
  static int32_t sum(T a, T b) { return cut32(int64_t{a} + b); }
  static int32_t m16(int32_t v, int64_t c) { return cut32((v * c + 32768) >> 16); }
  static int32_t two(int32_t v, int64_t c, int32_t w, int64_t d) { return cut32((v * c + w * d + 32768) >> 16); }

  T alpha(T a, T x, T b) const { return sum(m16(sum(a, b), -103949), x); }
  T beta(T a, T x, T b) const { return sum(m16(sum(a, b), -3472), x); }
  T gamma(T a, T x, T b) const { return sum(m16(sum(a, b), 57862), x); }
  T low(T a, T l2, T b) const { return two(l2, 53274, sum(a, b), 23627); }
  T high(T h3) const { return m16(h3, 80621); }

  T undoDelta(T a, T low, T b) const { return two(low, 80621, sum(a, b), -23627); }
  T undoGamma(T a, T high, T b) const { return two(high, 53274, sum(a, b), -57862); }
  T undoBeta(T a, T l2, T b) const { return cut32(int64_t{l2} - m16(sum(a, b), -3472)); }
  T undoAlpha(T a, T h1, T b) const { return cut32(int64_t{h1} - m16(sum(a, b), -103949)); }
};

// The first and last outputs of the Row forms of 16-bit elements: 32-bit arithmetic, and each result saturates.
struct Q16Edge {
  using T = int16_t;
  bool last;  // the last low output takes delta and 1/K one after the other
  static int32_t m16(int64_t v, int32_t c) { return cut32(v * c + 32768) >> 16; }
  static int32_t two(int64_t v, int32_t c, int64_t w, int32_t d) { return cut32(v * c + w * d + 32768) >> 16; }

  T alpha(T a, T x, T b) const { return saturated(int64_t{m16(a + b, -103949)} + x); }
  T beta(T a, T x, T b) const { return saturated(int64_t{m16(a + b, -3472)} + x); }
  T gamma(T a, T x, T b) const { return saturated(int64_t{m16(a + b, 57862)} + x); }
  T low(T a, T l2, T b) const {
    if (last) return cut16(m16(saturated(int64_t{m16(a + b, 29066)} + l2), 53274));
    return saturated(two(l2, 53274, a + b, 23627));
  }
  T high(T h3) const { return saturated(m16(h3, 80621)); }

  T undoDelta(T a, T low, T b) const { return saturated(two(low, 80621, a + b, -23627)); }
  T undoGamma(T a, T high, T b) const { return saturated(two(high, 53274, a + b, -57862)); }
  T undoBeta(T a, T l2, T b) const { return saturated(int64_t{l2} - m16(a + b, -3472)); }
  T undoAlpha(T a, T h1, T b) const { return saturated(int64_t{h1} - m16(a + b, -103949)); }
};

constexpr float kAlpha = -1.5861343F, kBeta = -0.052980117F, kGamma = 0.8829111F, kDelta = 0.44350687F;
constexpr float kK = 1.2301741F, kOverK = 0.8128931F, kDeltaOverK = 0.36052364F;

// ColLift of floats, and the inner outputs of their Row and Col forms.
struct Separate {
  using T = float;
  float alpha(float a, float x, float b) const { return x + kAlpha * (a + b); }
  float beta(float a, float x, float b) const { return x + kBeta * (a + b); }
  float gamma(float a, float x, float b) const { return x + kGamma * (a + b); }
  float low(float a, float l2, float b) const { return l2 * kOverK + (a + b) * kDeltaOverK; }
  float high(float h3) const { return h3 * kK; }

  float undoDelta(float a, float low, float b) const { return kK * low - kDelta * (a * kOverK + b * kOverK); }
  float undoGamma(float a, float high, float b) const { return high * kOverK - kGamma * (a + b); }
  float undoBeta(float a, float l2, float b) const { return l2 - kBeta * (a + b); }
  float undoAlpha(float a, float h1, float b) const { return h1 - kAlpha * (a + b); }
};

// The first and last outputs of the Row and Col forms of floats, and the plane forms of 32-bit integers. These add the
// first two samples as integers.
struct Fused {
  using T = float;
  float alpha(float a, float x, float b) const { return std::fma(kAlpha, a + b, x); }
  float alpha(int32_t a, int32_t x, int32_t b) const {
    return std::fma(kAlpha, static_cast<float>(cut32(int64_t{a} + b)), static_cast<float>(x));
  }
  template <typename S>  // a sample, float or integer
  float beta(float a, S x, float b) const {
    return std::fma(kBeta, a + b, static_cast<float>(x));
  }
  float gamma(float a, float x, float b) const { return std::fma(kGamma, a + b, x); }
  float low(float a, float l2, float b) const { return std::fma(kDelta, a + b, l2) * kOverK; }
  float high(float h3) const { return h3 * kK; }

  float undoDelta(float a, float low, float b) const { return std::fma(-kDelta, a * kOverK + b * kOverK, kK * low); }
  float undoGamma(float a, float high, float b) const { return std::fma(-kGamma, a + b, high * kOverK); }
  float undoBeta(float a, float l2, float b) const { return std::fma(-kBeta, a + b, l2); }
  float undoAlpha(float a, float h1, float b) const { return std::fma(-kAlpha, a + b, h1); }
};

// Outputs at position k of a line, whose values x(k) or z(k) may be asked for at any position.
template <typename Arithmetic, typename At>
struct Forward {
  const Arithmetic f;
  const At& x;
  auto h1(int k) const { return f.alpha(x(k - 1), x(k), x(k + 1)); }
  auto l2(int k) const { return f.beta(h1(k - 1), x(k), h1(k + 1)); }
  auto h3(int k) const { return f.gamma(l2(k - 1), h1(k), l2(k + 1)); }
  auto low(int k) const { return f.low(h3(k - 1), l2(k), h3(k + 1)); }
  auto high(int k) const { return f.high(h3(k)); }
};
template <typename Arithmetic, typename At>
Forward(Arithmetic, const At&) -> Forward<Arithmetic, At>;

template <typename Arithmetic, typename At>
struct Inverse {
  const Arithmetic f;
  const At& z;
  auto l2(int k) const { return f.undoDelta(z(k - 1), z(k), z(k + 1)); }
  auto h1(int k) const { return f.undoGamma(l2(k - 1), z(k), l2(k + 1)); }
  auto even(int k) const { return f.undoBeta(h1(k - 1), l2(k), h1(k + 1)); }
  auto odd(int k) const { return f.undoAlpha(even(k - 1), h1(k), even(k + 1)); }
};
template <typename Arithmetic, typename At>
Inverse(Arithmetic, const At&) -> Inverse<Arithmetic, At>;

// Plane forms: the arithmetic, and how its results become elements.
template <typename T>
struct PlaneArithmetic;
template <>
struct PlaneArithmetic<int16_t> {
  using Type = Q14;
  static int16_t store(int16_t v) { return v; }
};
template <>
struct PlaneArithmetic<int32_t> {
  using Type = Fused;
  static int32_t store(float v) {
    if (v > 2147483648.0F) return INT32_MAX;
    if (v < -2147483648.0F) return INT32_MIN;
    if (v == 2147483648.0F) return INT32_MIN;  // not above the limit, and what the processor's conversion makes of it
    return static_cast<int32_t>(v);            // towards zero
  }
};

// The filters that replace the lifting where a line has one output per band.
constexpr int64_t kAnalysisLow[5] = {39515, 17489, -5126, -1105, 1753};
constexpr int64_t kAnalysisHigh[4] = {73078, -38749, -3771, 5982};
constexpr float kAnalysisLowFloat[5] = {0.602949F, 0.26686412F, -0.078223266F, -0.01686412F, 0.026748758F};
constexpr float kAnalysisHighFloat[4] = {1.115087F, -0.59127176F, -0.057543527F, 0.091271766F};
// By distance from the centre: the bands alternate.
constexpr int64_t kSynthesisEven[4] = {73078, -17489, -3771, 1105};
constexpr int64_t kSynthesisOdd[5] = {39515, 38750, -5126, -5981, 1753};
constexpr float kSynthesisEvenFloat[4] = {1.115087F, -0.26686412F, -0.057543527F, 0.01686412F};
constexpr float kSynthesisOddFloat[5] = {0.602949F, 0.59127176F, -0.078223266F, -0.091271766F, 0.026748758F};

template <typename At, size_t N>
int64_t filtered(const At& x, int k, const int64_t (&taps)[N]) {
  int64_t sum = taps[0] * x(k);
  for (int d = 1; d < int{N}; ++d) sum += taps[d] * x(k - d) + taps[d] * x(k + d);
  return (sum + 32768) >> 16;
}

// `order` are the distances in the order in which they are added.
template <typename At, size_t N>
float filtered(const At& x, int k, const float (&taps)[N], const int (&order)[N - 1]) {
  float sum = taps[0] * x(k);
  for (const int d : order) sum = std::fma(taps[d], x(k - d) + x(k + d), sum);
  return sum;
}

template <typename At>
void oneForward(const At& x, int even, int odd, int16_t& low, int16_t& high) {
  low = cut16(std::min<int64_t>(filtered(x, even, kAnalysisLow), 32767));  // no lower limit
  high = saturated(filtered(x, odd, kAnalysisHigh));
}
template <typename At>
void oneForward(const At& x, int even, int odd, int32_t& low, int32_t& high) {
  low = cut32(filtered(x, even, kAnalysisLow));
  high = cut32(filtered(x, odd, kAnalysisHigh));
}
template <typename At>
void oneForward(const At& x, int even, int odd, float& low, float& high) {
  low = filtered(x, even, kAnalysisLowFloat, {1, 2, 3, 4});
  high = filtered(x, odd, kAnalysisHighFloat, {1, 2, 3});
}

template <typename At>
void oneInverse(const At& z, int evenAt, int oddAt, int16_t& even, int16_t& odd) {
  even = saturated(filtered(z, evenAt, kSynthesisEven));
  odd = saturated(filtered(z, oddAt, kSynthesisOdd));
}
template <typename At>
void oneInverse(const At& z, int evenAt, int oddAt, int32_t& even, int32_t& odd) {
  even = cut32(filtered(z, evenAt, kSynthesisEven));
  odd = cut32(filtered(z, oddAt, kSynthesisOdd));
}
template <typename At>
void oneInverse(const At& z, int evenAt, int oddAt, float& even, float& odd) {
  even = filtered(z, evenAt, kSynthesisEvenFloat, {2, 1, 3});
  odd = filtered(z, oddAt, kSynthesisOddFloat, {2, 4, 1, 3});
}

// Calls use(arithmetic) with that of output i of n.
template <typename Use>
void withArithmetic(int16_t, int i, int n, const Use& use) {
  if (i == 0 || i == n - 1)
    use(Q16Edge{i == n - 1});
  else
    use(Q15{n - 2 >= kVectorLanes});
}
template <typename Use>
void withArithmetic(int32_t, int, int, const Use& use) {
  use(Q16{});
}
template <typename Use>
void withArithmetic(float, int i, int n, const Use& use) {
  if (i == 0 || i == n - 1)
    use(Fused{});
  else
    use(Separate{});
}

Q15 stepArithmetic(int16_t, int width) { return {width >= kVectorLanes}; }
Q16 stepArithmetic(int32_t, int) { return {}; }
Separate stepArithmetic(float, int) { return {}; }

}  // namespace

template <typename T>
std::vector<T> forwardLine97(const std::vector<T>& line, int phase) {
  using Arithmetic = PlaneArithmetic<T>;
  const size_t n = line.size();
  if (n == 1) return {static_cast<T>(int64_t{line[0]} * (phase + 1))};
  const auto x = [&](int i) { return line[static_cast<size_t>(mirrored(i, static_cast<int>(n)))]; };
  const Forward forward{typename Arithmetic::Type{}, x};
  // At an odd origin the high values come first, then the low ones; where n is odd, the last high value lies upon the
  // first low one and the last place keeps what it held.
  std::vector<T> out = line;
  size_t low = phase ? n >> 1 : 0, high = phase ? 0 : (n + 1) >> 1;
  for (int i = phase; i < static_cast<int>(n); i += 2) out[low++] = Arithmetic::store(forward.low(i));
  for (int i = 1 - phase; i < static_cast<int>(n); i += 2) out[high++] = Arithmetic::store(forward.high(i));
  return out;
}

template <typename T>
std::vector<T> inverseLine97(const std::vector<T>& line, int phase) {
  using Arithmetic = PlaneArithmetic<T>;
  const int n = static_cast<int>(line.size());
  if (n == 1) return {static_cast<T>(int64_t{line[0]} / (phase + 1))};
  const std::vector<T> local = interleave(line, phase);
  const auto z = [&](int i) { return local[static_cast<size_t>(mirrored(i, n))]; };
  const Inverse inverse{typename Arithmetic::Type{}, z};
  std::vector<T> out;
  for (int i = 0; i < n; ++i) out.push_back(Arithmetic::store((i + phase) % 2 == 0 ? inverse.even(i) : inverse.odd(i)));
  return out;
}

template <typename T>
BandLine<T> forwardOutputs97(const T* samples, int n, int phase) {
  const auto x = [samples](int k) { return samples[k]; };
  BandLine<T> bands{std::vector<T>(static_cast<size_t>(n)), std::vector<T>(static_cast<size_t>(n))};
  for (int i = 0; i < n; ++i) {
    const int even = phase ? 2 * i + 1 : 2 * i, odd = phase ? 2 * i : 2 * i + 1;
    T &low = bands.low[static_cast<size_t>(i)], &high = bands.high[static_cast<size_t>(i)];
    if (n == 1) {
      oneForward(x, even, odd, low, high);
    } else {
      withArithmetic(T{}, i, n, [&](auto arithmetic) {
        const Forward forward{arithmetic, x};
        low = forward.low(even);
        high = forward.high(odd);
      });
    }
  }
  return bands;
}

template <typename T>
std::vector<T> inverseOutputs97(const T* lows, const T* highs, int n, int phase) {
  // Position k of the interleaved line; >> 1 is a floor, also before the line.
  const auto z = [=](int k) { return (k & 1) == (phase ? 1 : 0) ? lows[k >> 1] : highs[k >> 1]; };
  std::vector<T> line(2 * static_cast<size_t>(n));
  for (int i = 0; i < n; ++i) {
    const int evenAt = phase ? 2 * i + 1 : 2 * i, oddAt = phase ? 2 * i : 2 * i + 1;
    T &even = line[static_cast<size_t>(evenAt)], &odd = line[static_cast<size_t>(oddAt)];
    if (n == 1) {
      oneInverse(z, evenAt, oddAt, even, odd);
    } else {
      withArithmetic(T{}, i, n, [&](auto arithmetic) {
        const Inverse inverse{arithmetic, z};
        even = inverse.even(evenAt);
        odd = inverse.odd(oddAt);
      });
    }
  }
  return line;
}

template <typename T>
void forwardStep97(ForwardStep97<T>& v, int width) {
  const auto f = stepArithmetic(T{}, width);
  v.high2 = f.alpha(v.src0, v.src1, v.src2);
  v.low1 = f.beta(v.high1, v.src0, v.high2);
  v.high1 = f.gamma(v.low0, v.high1, v.low1);
  v.low0 = f.low(v.high0, v.low0, v.high1);
  v.high0 = f.high(v.high0);
}

template <typename T>
void inverseStep97(InverseStep97<T>& v, int width) {
  const auto f = stepArithmetic(T{}, width);
  v.even1 = f.undoDelta(v.high0, v.low, v.high1);
  v.odd1 = f.undoGamma(v.even, v.high0, v.even1);
  v.even = f.undoBeta(v.odd, v.even, v.odd1);
  v.odd = f.undoAlpha(v.even0, v.odd, v.even);
}

int32_t lineScratch97(QlmRect rect, int32_t elementBytes) {
  if (rect.width < 2 && rect.height < 2) return 0;
  return std::max(cut32(int64_t{elementBytes} * rect.width + 8 * elementBytes),
                  cut32(int64_t{elementBytes} * rect.height + 8 * elementBytes));
}

int32_t planeScratch97(QlmRect rect, int32_t elementBytes) {
  const int32_t step = cut32(int64_t{elementBytes} * rect.width + 31) & -32;
  return cut32(int64_t{cut32(int64_t{step} * rect.height)} + lineScratch97(rect, elementBytes));
}

#define PLANES(T)                                                    \
  template std::vector<T> forwardLine97(const std::vector<T>&, int); \
  template std::vector<T> inverseLine97(const std::vector<T>&, int);
PLANES(int16_t)
PLANES(int32_t)
#undef PLANES

#define SHAPES(T)                                                         \
  template BandLine<T> forwardOutputs97(const T*, int, int);              \
  template std::vector<T> inverseOutputs97(const T*, const T*, int, int); \
  template void forwardStep97(ForwardStep97<T>&, int);                    \
  template void inverseStep97(InverseStep97<T>&, int);
SHAPES(int16_t)
SHAPES(int32_t)
SHAPES(float)
#undef SHAPES

}  // namespace model
