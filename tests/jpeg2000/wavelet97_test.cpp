// The irreversible 9/7 wavelet (ITU-T T.800 Annex F) against its models and against lifting in double precision, and
// its odd corners by number.
#include "jpeg2000/wavelet_check.h"
#include "model/jpeg2000_wavelet97.h"

namespace {

namespace wavelet = test::wavelet;
using test::Random;
using wavelet::Along;

const wavelet::Reads kReads = {[](int n, bool odd) {
                                 return odd ? wavelet::Span{-3, 2 * n + 3} : wavelet::Span{-4, 2 * n + 2};
                               },
                               [](int n, bool odd) {
                                 return odd ? wavelet::Span{-2, n} : wavelet::Span{-1, n + 1};
                               },
                               [](int n, bool) {
                                 return wavelet::Span{-2, n + 1};
                               }};

template <typename T>
void forwardPlane(model::Plane<T>& plane, int phaseX, int phaseY) {
  model::columnsThenRows<T>(plane, model::forwardLine97<T>, phaseX, phaseY);
}
template <typename T>
void inversePlane(model::Plane<T>& plane, int phaseX, int phaseY) {
  model::rowsThenColumns<T>(plane, model::inverseLine97<T>, phaseX, phaseY);
}
template <typename T>
model::BandLine<T> forwardLine(const T* x, int n, int phase, int) {
  return model::forwardOutputs97(x, n, phase);
}
template <typename T>
std::vector<T> inverseLine(const T* low, const T* high, int n, int phase, int) {
  return model::inverseOutputs97(low, high, n, phase);
}

#define PLANE_TESTS(TYPE, T, STREAM)                                                                           \
  TEST(Model, qlmiWTFwd_D97_JPEG2K_##TYPE##_C1IR) {                                                            \
    wavelet::checkInPlace<T>(qlmiWTFwd_D97_JPEG2K_##TYPE##_C1IR, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1IR,    \
                             forwardPlane<T>, STREAM);                                                         \
  }                                                                                                            \
  TEST(Model, qlmiWTInv_D97_JPEG2K_##TYPE##_C1IR) {                                                            \
    wavelet::checkInPlace<T>(qlmiWTInv_D97_JPEG2K_##TYPE##_C1IR, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1IR,    \
                             inversePlane<T>, STREAM + 1);                                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTFwd_D97_JPEG2K_##TYPE##_C1R) {                                                             \
    wavelet::checkForwardBands<T>(qlmiWTFwd_D97_JPEG2K_##TYPE##_C1R, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1R, \
                                  forwardPlane<T>, STREAM + 2);                                                \
  }                                                                                                            \
  TEST(Model, qlmiWTInv_D97_JPEG2K_##TYPE##_C1R) {                                                             \
    wavelet::checkInverseBands<T>(qlmiWTInv_D97_JPEG2K_##TYPE##_C1R, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1R, \
                                  inversePlane<T>, STREAM + 3);                                                \
  }                                                                                                            \
  TEST(Model, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1IR) {                                                     \
    wavelet::checkScratchSize(qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1IR, model::lineScratch97, sizeof(T));     \
  }                                                                                                            \
  TEST(Model, qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1R) {                                                      \
    wavelet::checkScratchSize(qlmiWTGetBufSize_D97_JPEG2K_##TYPE##_C1R, model::planeScratch97, sizeof(T));     \
  }
PLANE_TESTS(16s, int16_t, 0x9700)
PLANE_TESTS(32s, int32_t, 0x9710)
#undef PLANE_TESTS

#define LINE_TESTS(SHAPE, ALONG, TYPE, T, STREAM)                                                                     \
  TEST(Model, qlmiWTFwd##SHAPE##_D97_JPEG2K_##TYPE##_C1R) {                                                           \
    wavelet::checkForwardLines<T>(ALONG, qlmiWTFwd##SHAPE##_D97_JPEG2K_##TYPE##_C1R, kReads, forwardLine<T>, STREAM); \
  }                                                                                                                   \
  TEST(Model, qlmiWTInv##SHAPE##_D97_JPEG2K_##TYPE##_C1R) {                                                           \
    wavelet::checkInverseLines<T>(ALONG, qlmiWTInv##SHAPE##_D97_JPEG2K_##TYPE##_C1R, kReads, inverseLine<T>,          \
                                  STREAM + 1);                                                                        \
  }
LINE_TESTS(Row, Along::Rows, 16s, int16_t, 0x9720)
LINE_TESTS(Row, Along::Rows, 32s, int32_t, 0x9722)
LINE_TESTS(Row, Along::Rows, 32f, float, 0x9724)
LINE_TESTS(Col, Along::Columns, 32f, float, 0x9726)
#undef LINE_TESTS

template <typename T, typename Export>
void checkForwardStep(Export* function, uint64_t stream) {
  wavelet::checkStep<T, 8>(
      [&](const auto& p, int32_t width) { return function(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], width); },
      [](auto& e, int width) {
        model::ForwardStep97<T> v{e[0], e[1], e[2], e[3], e[4], e[5], e[6], e[7]};
        model::forwardStep97(v, width);
        e = {v.src0, v.src1, v.src2, v.low0, v.low1, v.high0, v.high1, v.high2};
      },
      stream);
}
template <typename T, typename Export>
void checkInverseStep(Export* function, uint64_t stream) {
  wavelet::checkStep<T, 8>(
      [&](const auto& p, int32_t width) { return function(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], width); },
      [](auto& e, int width) {
        model::InverseStep97<T> v{e[0], e[1], e[2], e[3], e[4], e[5], e[6], e[7]};
        model::inverseStep97(v, width);
        e = {v.low, v.high0, v.high1, v.even0, v.odd, v.even, v.odd1, v.even1};
      },
      stream);
}
TEST(Model, qlmiWTFwdColLift_D97_JPEG2K_16s_C1) {
  checkForwardStep<int16_t>(qlmiWTFwdColLift_D97_JPEG2K_16s_C1, 0x9730);
}
TEST(Model, qlmiWTInvColLift_D97_JPEG2K_16s_C1) {
  checkInverseStep<int16_t>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, 0x9731);
}
TEST(Model, qlmiWTFwdColLift_D97_JPEG2K_32s_C1) {
  checkForwardStep<int32_t>(qlmiWTFwdColLift_D97_JPEG2K_32s_C1, 0x9732);
}
TEST(Model, qlmiWTInvColLift_D97_JPEG2K_32s_C1) {
  checkInverseStep<int32_t>(qlmiWTInvColLift_D97_JPEG2K_32s_C1, 0x9733);
}
TEST(Model, qlmiWTFwdColLift_D97_JPEG2K_32f_C1) { checkForwardStep<float>(qlmiWTFwdColLift_D97_JPEG2K_32f_C1, 0x9734); }
TEST(Model, qlmiWTInvColLift_D97_JPEG2K_32f_C1) { checkInverseStep<float>(qlmiWTInvColLift_D97_JPEG2K_32f_C1, 0x9735); }

// --- Shape against shape, and against lifting in double precision ----------------------------------------------------

template <typename T>
struct Exports;
template <>
struct Exports<int16_t> {
  static constexpr auto forwardRow = qlmiWTFwdRow_D97_JPEG2K_16s_C1R;
  static constexpr auto inverseRow = qlmiWTInvRow_D97_JPEG2K_16s_C1R;
  static constexpr auto forwardStep = qlmiWTFwdColLift_D97_JPEG2K_16s_C1;
  static constexpr auto inverseStep = qlmiWTInvColLift_D97_JPEG2K_16s_C1;
  static constexpr auto forward = qlmiWTFwd_D97_JPEG2K_16s_C1IR;
  static constexpr auto inverse = qlmiWTInv_D97_JPEG2K_16s_C1IR;
  static constexpr auto forwardBands = qlmiWTFwd_D97_JPEG2K_16s_C1R;
  static constexpr auto inverseBands = qlmiWTInv_D97_JPEG2K_16s_C1R;
  static constexpr double kMagnitude = 4095, kLineError = 6, kPlaneError = 4;
};
template <>
struct Exports<int32_t> {
  static constexpr auto forwardRow = qlmiWTFwdRow_D97_JPEG2K_32s_C1R;
  static constexpr auto inverseRow = qlmiWTInvRow_D97_JPEG2K_32s_C1R;
  static constexpr auto forwardStep = qlmiWTFwdColLift_D97_JPEG2K_32s_C1;
  static constexpr auto inverseStep = qlmiWTInvColLift_D97_JPEG2K_32s_C1;
  static constexpr auto forward = qlmiWTFwd_D97_JPEG2K_32s_C1IR;
  static constexpr auto inverse = qlmiWTInv_D97_JPEG2K_32s_C1IR;
  static constexpr auto forwardBands = qlmiWTFwd_D97_JPEG2K_32s_C1R;
  static constexpr auto inverseBands = qlmiWTInv_D97_JPEG2K_32s_C1R;
  static constexpr double kMagnitude = 1 << 20, kLineError = 80, kPlaneError = 1.5;
};
template <>
struct Exports<float> {
  static constexpr auto forwardRow = qlmiWTFwdRow_D97_JPEG2K_32f_C1R;
  static constexpr auto inverseRow = qlmiWTInvRow_D97_JPEG2K_32f_C1R;
  static constexpr auto forwardStep = qlmiWTFwdColLift_D97_JPEG2K_32f_C1;
  static constexpr auto inverseStep = qlmiWTInvColLift_D97_JPEG2K_32f_C1;
  static constexpr double kMagnitude = 1000, kLineError = 0.001;
};

// T.800 Table F.4, with all its digits.
constexpr double kAlpha = -1.586134342059924, kBeta = -0.052980118572961, kGamma = 0.882911075530934;
constexpr double kDelta = 0.443506852043971, kK = 1.230174104914001;

// Outputs of exact lifting at position k of a line x or z that has a value at any position.
struct Exact {
  std::function<double(int)> x;
  double h1(int k) const { return x(k) + kAlpha * (x(k - 1) + x(k + 1)); }
  double l2(int k) const { return x(k) + kBeta * (h1(k - 1) + h1(k + 1)); }
  double h3(int k) const { return h1(k) + kGamma * (l2(k - 1) + l2(k + 1)); }
  double low(int k) const { return (l2(k) + kDelta * (h3(k - 1) + h3(k + 1))) / kK; }
  double high(int k) const { return h3(k) * kK; }
};
struct ExactInverse {
  std::function<double(int)> z;
  double l2(int k) const { return z(k) * kK - kDelta * (z(k - 1) + z(k + 1)) / kK; }
  double h1(int k) const { return z(k) / kK - kGamma * (l2(k - 1) + l2(k + 1)); }
  double even(int k) const { return l2(k) - kBeta * (h1(k - 1) + h1(k + 1)); }
  double odd(int k) const { return h1(k) - kAlpha * (even(k - 1) + even(k + 1)); }
};

template <typename T>
std::vector<T> randomLine(size_t size, double magnitude, Random& random) {
  std::vector<T> line(size);
  const auto range = static_cast<int64_t>(magnitude);
  for (T& v : line) {
    v = static_cast<T>(random.between(-range, range));
    if constexpr (std::is_same_v<T, float>) v += static_cast<T>(random.between(0, 255)) / 256;
  }
  return line;
}

template <typename T>
class Wavelet97 : public testing::Test {};
using Types = testing::Types<int16_t, int32_t, float>;
TYPED_TEST_SUITE(Wavelet97, Types);

TYPED_TEST(Wavelet97, LinesComeNearExactLifting) {
  using T = TypeParam;
  using E = Exports<T>;
  Random random(0x9740);
  double worst = 0;
  for (int repeat = 0; repeat < 40; ++repeat) {
    for (const int n : {1, 2, 3, 5, 18, 40}) {
      for (const int phase : {0, 1}) {
        const auto count = static_cast<size_t>(n);
        const std::vector<T> x = randomLine<T>(2 * count + 8, E::kMagnitude, random);
        std::vector<T> low(count), high(count), out(2 * count);
        ASSERT_EQ(E::forwardRow(x.data() + 4, 1, low.data(), 1, high.data(), 1, {n, 1}, phase), qlmOk);
        const Exact exact{[&](int k) { return x[static_cast<size_t>(k + 4)]; }};
        for (int i = 0; i < n; ++i) {
          const auto at = static_cast<size_t>(i);
          worst = std::max(worst, std::abs(low[at] - exact.low(2 * i + phase)));
          worst = std::max(worst, std::abs(high[at] - exact.high(2 * i + 1 - phase)));
        }
        const std::vector<T> lows = randomLine<T>(count + 4, E::kMagnitude, random);
        const std::vector<T> highs = randomLine<T>(count + 4, E::kMagnitude, random);
        ASSERT_EQ(E::inverseRow(lows.data() + 2, 1, highs.data() + 2, 1, {n, 1}, out.data(), 1, phase), qlmOk);
        const ExactInverse inverse{[&](int k) {
          const auto at = static_cast<size_t>((k >> 1) + 2);
          return (k + phase) % 2 == 0 ? lows.at(at) : highs.at(at);
        }};
        for (int i = 0; i < 2 * n; ++i)
          worst = std::max(
              worst, std::abs(out[static_cast<size_t>(i)] - ((i + phase) % 2 == 0 ? inverse.even(i) : inverse.odd(i))));
      }
    }
  }
  EXPECT_LT(worst, E::kLineError);
  EXPECT_GT(worst, E::kLineError / 4) << "the bound is not tight";
}

// A walk down the image, one step a pair of rows, against a Row call on each column: what lies between the first and
// last outputs is the same to the bit, and the ends as well for 32-bit integers.
TYPED_TEST(Wavelet97, ColumnsOfStepsAreRows) {
  using T = TypeParam;
  using E = Exports<T>;
  constexpr bool kAlsoEnds = std::is_same_v<T, int32_t>;
  constexpr int kWidth = 20, kPairs = 12, kMargin = 8;
  constexpr size_t kRows = 2 * kPairs + 2 * kMargin;
  Random random(0x9741);
  using Rows = std::vector<std::vector<T>>;
  const auto random2d = [&](size_t rows) {
    Rows v;
    for (size_t y = 0; y < rows; ++y) v.push_back(randomLine<T>(kWidth, E::kMagnitude, random));
    return v;
  };
  const auto zero2d = [](size_t rows) { return Rows(rows, std::vector<T>(kWidth)); };
  const auto at = [](Rows& rows, int y) { return rows.at(static_cast<size_t>(y + kMargin)).data(); };
  const auto columnOf = [](const Rows& rows, size_t x) {
    std::vector<T> column;
    for (const auto& row : rows) column.push_back(row[x]);
    return column;
  };
  for (const int phase : {0, 1}) {
    Rows src = random2d(kRows), lows = zero2d(kRows), highs = zero2d(kRows);
    // lows[m] and highs[m] are rows 2m and 2m + 1 counted from the first even one.
    for (int m = -2; m <= kPairs + 1; ++m) {
      const int even = 2 * m + phase;
      ASSERT_EQ(E::forwardStep(at(src, even), at(src, even + 1), at(src, even + 2), at(lows, m - 1), at(lows, m),
                               at(highs, m - 2), at(highs, m - 1), at(highs, m), kWidth),
                qlmOk);
    }
    for (size_t x = 0; x < kWidth; ++x) {
      std::vector<T> low(kPairs), high(kPairs);
      ASSERT_EQ(E::forwardRow(columnOf(src, x).data() + kMargin, 1, low.data(), 1, high.data(), 1, {kPairs, 1}, phase),
                qlmOk);
      for (int i = kAlsoEnds ? 0 : 1; i < (kAlsoEnds ? kPairs : kPairs - 1); ++i) {
        ASSERT_EQ(low[static_cast<size_t>(i)], at(lows, i)[x]) << "low " << i << " phase " << phase;
        ASSERT_EQ(high[static_cast<size_t>(i)], at(highs, i - phase)[x]) << "high " << i << " phase " << phase;
      }
    }

    Rows lowSource = random2d(kRows), highSource = random2d(kRows), evens = zero2d(kRows), odds = zero2d(kRows);
    // odds[m] lies above evens[m].
    for (int m = -4; m <= kPairs + 2; ++m) {
      ASSERT_EQ(E::inverseStep(at(lowSource, m), at(highSource, m - 1 + phase), at(highSource, m + phase),
                               at(evens, m - 2), at(odds, m - 1), at(evens, m - 1), at(odds, m), at(evens, m), kWidth),
                qlmOk);
    }
    for (size_t x = 0; x < kWidth; ++x) {
      std::vector<T> out(2 * kPairs);
      ASSERT_EQ(E::inverseRow(columnOf(lowSource, x).data() + kMargin, 1, columnOf(highSource, x).data() + kMargin, 1,
                              {kPairs, 1}, out.data(), 1, phase),
                qlmOk);
      for (int i = kAlsoEnds ? 0 : 1; i < (kAlsoEnds ? kPairs : kPairs - 1); ++i) {
        ASSERT_EQ(out[static_cast<size_t>(2 * i + phase)], at(evens, i)[x]) << "even " << i << " phase " << phase;
        ASSERT_EQ(out[static_cast<size_t>(2 * i + 1 - phase)], at(odds, i + 1 - phase)[x])
            << "odd " << i << " phase " << phase;
      }
    }
  }
}

// Columns of floats are rows of floats, to the bit.
TEST(Wavelet97Floats, ColumnsAreRows) {
  Random random(0x9742);
  for (const int width : {1, 3, 8, 9, 21}) {
    for (const int n : {1, 2, 3, 4, 9}) {
      for (const int phase : {0, 1}) {
        const auto w = static_cast<size_t>(width), count = static_cast<size_t>(n), rows = 2 * count + 8;
        const std::vector<float> source = randomLine<float>(w * rows, 1000, random);
        std::vector<float> low(w * count), high(w * count), out(w * 2 * count);
        const int32_t step = 4 * width;
        ASSERT_EQ(qlmiWTFwdCol_D97_JPEG2K_32f_C1R(source.data() + 4 * w, step, low.data(), step, high.data(), step,
                                                  {width, n}, phase),
                  qlmOk);
        const auto* const bands = source.data();
        ASSERT_EQ(qlmiWTInvCol_D97_JPEG2K_32f_C1R(bands + 2 * w, step, bands + (count + 4) * w, step, {width, n},
                                                  out.data(), step, phase),
                  qlmOk);
        for (size_t x = 0; x < w; ++x) {
          std::vector<float> column, lowRow(count), highRow(count), outRow(2 * count);
          for (size_t y = 0; y < rows; ++y) column.push_back(source[y * w + x]);
          ASSERT_EQ(
              qlmiWTFwdRow_D97_JPEG2K_32f_C1R(column.data() + 4, 4, lowRow.data(), 4, highRow.data(), 4, {n, 1}, phase),
              qlmOk);
          ASSERT_EQ(qlmiWTInvRow_D97_JPEG2K_32f_C1R(column.data() + 2, 4, column.data() + count + 4, 4, {n, 1},
                                                    outRow.data(), 4, phase),
                    qlmOk);
          for (size_t y = 0; y < count; ++y) {
            ASSERT_EQ(low[y * w + x], lowRow[y]);
            ASSERT_EQ(high[y * w + x], highRow[y]);
          }
          for (size_t y = 0; y < 2 * count; ++y) ASSERT_EQ(out[y * w + x], outRow[y]);
        }
      }
    }
  }
}

// --- Planes ----------------------------------------------------------------------------------------------------------

template <typename T>
class Wavelet97Plane : public testing::Test {};
using PlaneTypes = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(Wavelet97Plane, PlaneTypes);

template <typename T>
std::vector<T> forward(std::vector<T> plane, QlmRect rect) {
  std::vector<uint8_t> buffer(1 << 16);
  EXPECT_EQ(Exports<T>::forward(plane.data(), rect.width * static_cast<int32_t>(sizeof(T)), rect, buffer.data()),
            qlmOk);
  return plane;
}
template <typename T>
std::vector<T> inverse(std::vector<T> plane, QlmRect rect) {
  std::vector<uint8_t> buffer(1 << 16);
  EXPECT_EQ(Exports<T>::inverse(plane.data(), rect.width * static_cast<int32_t>(sizeof(T)), rect, buffer.data()),
            qlmOk);
  return plane;
}

TYPED_TEST(Wavelet97Plane, LinesComeNearExactLifting) {
  using T = TypeParam;
  using E = Exports<T>;
  Random random(0x9743);
  double worst = 0;
  for (int n = 2; n <= 40; ++n) {
    for (int repeat = 0; repeat < 4; ++repeat) {
      for (const int phase : {0, 1}) {
        const bool alongRow = repeat % 2;
        const QlmRect rect{alongRow ? phase : 0, alongRow ? 0 : phase, alongRow ? n : 1, alongRow ? 1 : n};
        const std::vector<T> line = randomLine<T>(static_cast<size_t>(n), E::kMagnitude, random);
        const std::vector<T> bands = forward(line, rect);
        const Exact exact{[&](int k) { return line[static_cast<size_t>(model::mirrored(k, n))]; }};
        // At an odd origin the highs come first; where they and the lows overlap, the highs win.
        const int lows = (n + 1 - phase) / 2, highs = n - lows;
        const int lowAt = phase ? n / 2 : 0, highAt = phase ? 0 : (n + 1) / 2;
        for (int i = 0; i < highs; ++i)
          worst = std::max(worst, std::abs(bands[static_cast<size_t>(highAt + i)] - exact.high(2 * i + 1 - phase)));
        for (int i = phase && n % 2 ? 1 : 0; i < lows; ++i)
          worst = std::max(worst, std::abs(bands[static_cast<size_t>(lowAt + i)] - exact.low(2 * i + phase)));

        // The way back reads lows first, whatever the phase.
        const ExactInverse exactInverse{[&](int k) {
          const int at = model::mirrored(k, n);
          return line[static_cast<size_t>(at / 2 + ((at + phase) % 2 ? lows : 0))];
        }};
        const std::vector<T> back = inverse(line, rect);
        for (int i = 0; i < n; ++i)
          worst = std::max(worst, std::abs(back[static_cast<size_t>(i)] -
                                           ((i + phase) % 2 == 0 ? exactInverse.even(i) : exactInverse.odd(i))));
      }
    }
  }
  EXPECT_LT(worst, E::kPlaneError);
  EXPECT_GT(worst, E::kPlaneError / 4) << "the bound is not tight";
}

// At odd origins the caller swaps the two parts of each line.
TYPED_TEST(Wavelet97Plane, LevelsComeBack) {
  using T = TypeParam;
  constexpr int kWidth = 30, kHeight = 22;
  Random random(0x9744);
  const std::vector<T> plane = randomLine<T>(kWidth * kHeight, 2000, random);
  for (int phases = 0; phases < 4; ++phases) {
    const QlmRect rect{phases & 1, phases >> 1, kWidth, kHeight};
    std::vector<T> level = forward(plane, rect);
    if (rect.y) std::rotate(level.begin(), level.begin() + kWidth * kHeight / 2, level.end());
    if (rect.x)
      for (int y = 0; y < kHeight; ++y) {
        const auto row = level.begin() + y * kWidth;
        std::rotate(row, row + kWidth / 2, row + kWidth);
      }
    const std::vector<T> back = inverse(level, rect);
    for (size_t i = 0; i < plane.size(); ++i) ASSERT_NEAR(back[i], plane[i], 8) << i << " phases " << phases;
  }
}

TYPED_TEST(Wavelet97Plane, BandsMayLieInThePlane) {
  using E = Exports<TypeParam>;
  wavelet::checkBandsInThePlane<TypeParam>(E::forward, E::inverse, E::forwardBands, E::inverseBands);
}

// Lines of 2 to 4 samples bounce between their ends: they are the beginning of a line that goes back and forth itself.
TYPED_TEST(Wavelet97Plane, ShortLinesBounce) {
  using T = TypeParam;
  const auto check = [](const std::vector<T>& line, const std::vector<T>& continued) {
    const auto n = static_cast<int>(line.size()), longer = static_cast<int>(continued.size());
    for (const int phase : {0, 1}) {
      const std::vector<T> expected = forward(continued, {phase, 0, longer, 1});
      const std::vector<T> actual = forward(line, {phase, 0, n, 1});
      for (int i = phase; i < n; i += 2) {
        if (phase && n % 2 && i == 1) continue;  // lies below the last high value
        EXPECT_EQ(actual[static_cast<size_t>((phase ? n / 2 : 0) + i / 2)],
                  expected[static_cast<size_t>((phase ? longer / 2 : 0) + i / 2)])
            << "low of sample " << i << " phase " << phase;
      }
      for (int i = 1 - phase; i < n; i += 2)
        EXPECT_EQ(actual[static_cast<size_t>((phase ? 0 : (n + 1) / 2) + i / 2)],
                  expected[static_cast<size_t>((phase ? 0 : (longer + 1) / 2) + i / 2)])
            << "high of sample " << i << " phase " << phase;
    }
  };
  check({100, -700}, {100, -700, 100, -700, 100, -700, 100, -700});
  check({100, -700, 350}, {100, -700, 350, -700, 100, -700, 350, -700, 100, -700});
  check({100, -700, 350, 999}, {100, -700, 350, 999, 350, -700, 100, -700, 350, 999});
}

// At an odd origin the high values come first. Of an odd number of samples the last high value lies upon the first low
// one, and the last place keeps what it held.
TYPED_TEST(Wavelet97Plane, OddOriginsPutHighValuesFirst) {
  using T = TypeParam;
  const auto near = [](const std::vector<T>& actual, const std::vector<int>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i) EXPECT_NEAR(actual[i], expected[i], 1) << "place " << i;
  };
  const std::vector<T> flat(8, 1000);
  for (const int odd : {1, -1, 3}) {
    near(forward(flat, {0, 0, 8, 1}), {1000, 1000, 1000, 1000, 0, 0, 0, 0});
    near(forward(flat, {odd, 0, 8, 1}), {0, 0, 0, 0, 1000, 1000, 1000, 1000});
    near(forward(flat, {0, odd, 1, 8}), {0, 0, 0, 0, 1000, 1000, 1000, 1000});
    near(forward(flat, {odd, 0, 2, 4}), {0, 1000, 0, 1000, 0, 0, 0, 0});
  }
  // 3 samples: highs at places 0 and 1, the low one that belonged to place 1 is lost, place 2 keeps its sample.
  for (const QlmRect rect : {QlmRect{1, 0, 3, 1}, QlmRect{0, 1, 1, 3}})
    near(forward(std::vector<T>{1000, 1000, 1000}, rect), {0, 0, 1000});
  const std::vector<T> line = {0, 0, 500};
  const Exact exact{[&](int k) { return line[static_cast<size_t>(model::mirrored(k, 3))]; }};
  const std::vector<T> bands = forward(line, {1, 0, 3, 1});
  EXPECT_NEAR(bands[0], exact.high(0), 1);
  EXPECT_NEAR(bands[1], exact.high(2), 1);
  EXPECT_EQ(bands[2], 500);
}

TYPED_TEST(Wavelet97Plane, OneSampleDoublesAtAnOddPosition) {
  using V = std::vector<TypeParam>;
  EXPECT_EQ(forward(V{-7}, {0, 0, 1, 1}), V{-7});
  EXPECT_EQ(forward(V{-7}, {1, 0, 1, 1}), V{-14});
  EXPECT_EQ(forward(V{-7}, {-1, 3, 1, 1}), V{-28});
  EXPECT_EQ(inverse(V{-7}, {1, 0, 1, 1}), V{-3});
  EXPECT_EQ(inverse(V{-7}, {1, 1, 1, 1}), V{-1});
  EXPECT_EQ(inverse(V{7}, {0, 1, 1, 1}), V{3});
}

TYPED_TEST(Wavelet97Plane, EmptySizesInPlace) {
  using T = TypeParam;
  using V = std::vector<T>;
  const V plane = {3, 13, 23, 33, 43, 53, 63, 73, 83};
  uint8_t none = 0;
  const auto run = [&](auto function, QlmRect rect) {
    V out = plane;
    EXPECT_EQ(function(out.data(), 3 * static_cast<int32_t>(sizeof(T)), rect, &none), qlmOk);
    return out;
  };
  for (const int empty : {0, -1, INT32_MIN}) {
    EXPECT_EQ(run(Exports<T>::forward, {1, 1, 2, empty}), (V{6, 26, 23, 33, 43, 53, 63, 73, 83}));
    EXPECT_EQ(run(Exports<T>::inverse, {1, 1, 2, empty}), (V{1, 6, 23, 33, 43, 53, 63, 73, 83}));
    EXPECT_EQ(run(Exports<T>::forward, {1, 1, empty, 2}), (V{6, 13, 23, 66, 43, 53, 63, 73, 83}));
    EXPECT_EQ(run(Exports<T>::inverse, {1, 1, empty, 2}), (V{1, 13, 23, 16, 43, 53, 63, 73, 83}));
    for (const QlmRect rect : {QlmRect{1, 0, 3, empty}, {0, 1, empty, 3}, {1, 1, empty, empty}}) {
      EXPECT_EQ(run(Exports<T>::forward, rect), plane);
      EXPECT_EQ(run(Exports<T>::inverse, rect), plane);
    }
  }
}

TEST(Wavelet97Planes, SixteenBitsWrap) {
  // H1 = -63445 (40000 times -25987, Q14) is cut to 2091 and lifts on from there.
  EXPECT_EQ(forward(std::vector<int16_t>{20000, 0}, {0, 0, 2, 1}), (std::vector<int16_t>{-4485, 30452}));
}

TEST(Wavelet97Planes, ThirtyTwoBitsClampAboveTwoToThe31) {
  // The high values of these pairs come out as the floats 2^31 - 128, 2^31 and 2^31 + 256.
  const auto highOf = [](int32_t even) { return forward(std::vector<int32_t>{even, 1200000000}, {0, 0, 2, 1})[1]; };
  EXPECT_EQ(highOf(-947483553), 2147483520);
  EXPECT_EQ(highOf(-947483616), INT32_MIN);  // not above the limit, and beyond what the conversion can hold
  EXPECT_EQ(highOf(-947483937), INT32_MAX);
  // And below: everything under -2^31 stops there.
  EXPECT_EQ(forward(std::vector<int32_t>{1000000000, -1600000000}, {0, 0, 2, 1})[1], INT32_MIN);
}

// --- Constants and limits by number ----------------------------------------------------------------------------------

// One step on rows of one value each, whose results are the eight rows.
template <typename T, size_t kWidth = 1, typename Fourth>  // which only the inverse step does not write
std::array<T, 8> step(QlmStatus (*function)(const T*, const T*, const T*, Fourth*, T*, T*, T*, T*, int32_t),
                      const std::array<T, 8>& in) {
  std::array<std::vector<T>, 8> rows;
  for (size_t i = 0; i < 8; ++i) rows[i].assign(kWidth, in[i]);
  EXPECT_EQ(function(rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data(), rows[4].data(), rows[5].data(),
                     rows[6].data(), rows[7].data(), kWidth),
            qlmOk);
  std::array<T, 8> out;
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(rows[i], std::vector<T>(kWidth, rows[i][0])) << "row " << i;
    out[i] = rows[i][0];
  }
  return out;
}

TEST(Wavelet97Steps, ConstantsOfQ16) {
  using A = std::array<int32_t, 8>;
  const auto forward = qlmiWTFwdColLift_D97_JPEG2K_32s_C1;
  const int one = 65536;
  // Rows: src0, src1, src2, low0, low1, high0, high1, high2. Where src0 is -src2, no high value is lifted and low1 is
  // src0; where that is -low0, nothing is added to low0.
  EXPECT_EQ(step(forward, A{0, 0, one, 0, 9, 0, 0, 9})[7], -103949);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, 0, one, 9})[4], -3472);
  EXPECT_EQ(step(forward, A{0, 0, 0, one, 9, 0, 0, 9})[6], 57862);
  EXPECT_EQ(step(forward, A{-one, 0, one, one, 9, 0, 0, 9})[3], 53274);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, one, 0, 9})[3], 23627);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, one, 0, 9})[5], 80621);
  const auto inverse = qlmiWTInvColLift_D97_JPEG2K_32s_C1;
  // Rows: low, high0, high1, even0, odd, even, odd1, even1.
  EXPECT_EQ(step(inverse, A{one, 0, 0, 0, 0, 0, 9, 9})[7], 80621);
  EXPECT_EQ(step(inverse, A{0, 0, one, 0, 0, 0, 9, 9})[7], -23627);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, 0, one, 9, 9})[6], -57862);
  EXPECT_EQ(step(inverse, A{0, one, -one, 0, 0, 0, 9, 9})[6], 53274);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, one, 0, 9, 9})[5], 3472);
  EXPECT_EQ(step(inverse, A{0, 0, 0, one, 0, 0, 9, 9})[4], 103949);
}

TEST(Wavelet97Steps, ConstantsOfFloats) {
  using A = std::array<float, 8>;
  const auto forward = qlmiWTFwdColLift_D97_JPEG2K_32f_C1;
  EXPECT_EQ(step(forward, A{0, 0, 1, 0, 9, 0, 0, 9})[7], -1.5861343F);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, 0, 1, 9})[4], -0.052980117F);
  EXPECT_EQ(step(forward, A{0, 0, 0, 1, 9, 0, 0, 9})[6], 0.8829111F);
  EXPECT_EQ(step(forward, A{-1, 0, 1, 1, 9, 0, 0, 9})[3], 0.8128931F);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, 1, 0, 9})[3], 0.36052364F);
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, 1, 0, 9})[5], 1.2301741F);
  const auto inverse = qlmiWTInvColLift_D97_JPEG2K_32f_C1;
  EXPECT_EQ(step(inverse, A{1, 0, 0, 0, 0, 0, 9, 9})[7], 1.2301741F);
  EXPECT_EQ(step(inverse, A{0, 0, 1, 0, 0, 0, 9, 9})[7], -(0.44350687F * 0.8128931F));
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, 0, 1, 9, 9})[6], -0.8829111F);
  EXPECT_EQ(step(inverse, A{0, 1, -1, 0, 0, 0, 9, 9})[6], 0.8128931F);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, 1, 0, 9, 9})[5], 0.052980117F);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 1, 0, 0, 9, 9})[4], 1.5861343F);
}

TEST(Wavelet97Steps, ConstantsOfQ15) {
  using A = std::array<int16_t, 8>;
  const auto forward = qlmiWTFwdColLift_D97_JPEG2K_16s_C1;
  const int16_t half = 16384;                                             // of 1 in Q15
  EXPECT_EQ(step(forward, A{0, 0, half / 2, 0, 9, 0, 0, 9})[7], -12993);  // -25987 / 2, doubled sum
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, 0, half, 9})[4], -868);
  EXPECT_EQ(step(forward, A{0, 0, 0, half, 9, 0, 0, 9})[6], 14466);
  EXPECT_EQ(step(forward, A{-half, 0, half, half, 9, 0, 0, 9})[3], 13319);  // 26637 / 2, rounded up
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, half, 0, 9})[3], 5907);          // 11814 / 2
  EXPECT_EQ(step(forward, A{0, 0, 0, 0, 9, half / 2, 0, 9})[5], 10078);     // 20155 / 2, rounded up
  const auto inverse = qlmiWTInvColLift_D97_JPEG2K_16s_C1;
  EXPECT_EQ(step(inverse, A{half / 2, 0, 0, 0, 0, 0, 9, 9})[7], 10078);
  EXPECT_EQ(step(inverse, A{0, 0, half, 0, 0, 0, 9, 9})[7], -5907);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, 0, half, 9, 9})[6], -14466);
  EXPECT_EQ(step(inverse, A{0, half, -half, 0, 0, 0, 9, 9})[6], 13319);
  EXPECT_EQ(step(inverse, A{0, 0, 0, 0, half, 0, 9, 9})[5], 868);
  EXPECT_EQ(step(inverse, A{0, 0, 0, half / 2, 0, 0, 9, 9})[4], 12994);
}

TEST(Wavelet97Steps, SixteenBitsSaturate) {
  using A = std::array<int16_t, 8>;
  const auto check = [](auto forward, auto inverse) {
    // 20000 + 20000 stops at 32767, which doubled stops there again: -25986, not -63445. With -30000 it stops below.
    EXPECT_EQ(forward(A{20000, 0, 20000, 0, 9, 0, 0, 9})[7], -25986);
    EXPECT_EQ(forward(A{20000, -30000, 20000, 0, 9, 0, 0, 9})[7], -32768);
    EXPECT_EQ(forward(A{0, 0, 0, 0, 9, 30000, 0, 9})[5], 20154);  // K * 32767 / 2, not K * 30000
    EXPECT_EQ(inverse(A{30000, 0, 0, 0, 0, 0, 9, 9})[7], 20154);
  };
  check([](const A& in) { return step(qlmiWTFwdColLift_D97_JPEG2K_16s_C1, in); },
        [](const A& in) { return step(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in); });
  check([](const A& in) { return step<int16_t, 40>(qlmiWTFwdColLift_D97_JPEG2K_16s_C1, in); },
        [](const A& in) { return step<int16_t, 40>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in); });
  // -32768 / K - gamma * 32767 saturates in single elements and wraps in vectors, which take rows of 16 and more.
  const A in = {0, -32768, 32767, 0, 0, 32767, 9, 9};
  EXPECT_EQ((step<int16_t, 1>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in)[6]), -32768);
  EXPECT_EQ((step<int16_t, 15>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in)[6]), -32768);
  EXPECT_EQ((step<int16_t, 16>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in)[6]), 9969);
  EXPECT_EQ((step<int16_t, 40>(qlmiWTInvColLift_D97_JPEG2K_16s_C1, in)[6]), 9969);
}

// One output per band: impulses show the taps, by their distance from the centre.
TEST(Wavelet97OneOutput, TapsOfRows) {
  const int low[5] = {39515, 17489, -5126, -1105, 1753}, high[4] = {73078, -38749, -3771, 5982};
  const int even[4] = {73078, -17489, -3771, 1105}, odd[5] = {39515, 38750, -5126, -5981, 1753};
  for (const int phase : {0, 1}) {
    // Samples -4 + phase to 4 + phase are read, and flush with pages that cannot be: those and no others.
    for (int at = -4 + phase; at <= 4 + phase; ++at) {
      SCOPED_TRACE(testing::Message() << "sample " << at << " phase " << phase);
      const int toLow = std::abs(at - phase), toHigh = std::abs(at - 1 + phase);
      const auto tap = [](const auto& taps, int distance) {
        return distance < static_cast<int>(std::size(taps)) ? taps[distance] : 0;
      };
      const int reach = phase ? 5 : 4;  // up to x[5] at an odd position
      for (const test::Edge edge : {test::Edge::Front, test::Edge::Back}) {
        const int first = phase ? -3 : -4;
        const test::Guarded<int32_t> x(static_cast<size_t>(reach - first + 1), edge), l(1, edge), h(1, edge);
        const test::Guarded<int16_t> x16(x.size(), edge), l16(1, edge), h16(1, edge);
        x[static_cast<size_t>(at - first)] = 65536;
        x16[static_cast<size_t>(at - first)] = 16384;
        ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_32s_C1R(x.data() - first, 1, l.data(), 1, h.data(), 1, {1, 1}, phase), qlmOk);
        EXPECT_EQ(l[0], tap(low, toLow));
        EXPECT_EQ(h[0], tap(high, toHigh));
        ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_16s_C1R(x16.data() - first, 1, l16.data(), 1, h16.data(), 1, {1, 1}, phase),
                  qlmOk);
        EXPECT_EQ(l16[0], (tap(low, toLow) + 2) >> 2);
        EXPECT_EQ(h16[0], (tap(high, toHigh) + 2) >> 2);
      }
    }
    // Values of both bands by their position in the line: even ones are low at phase 0.
    for (int at = -4; at <= 5; ++at) {
      const bool isLow = (at + phase) % 2 == 0;
      const int band = at >> 1;
      const int firstLow = phase ? -2 : -1, lastLow = phase ? 1 : 2;
      if (isLow && (band < firstLow || band > lastLow)) continue;
      SCOPED_TRACE(testing::Message() << (isLow ? "low " : "high ") << band << " phase " << phase);
      for (const test::Edge edge : {test::Edge::Front, test::Edge::Back}) {
        const test::Guarded<int32_t> l(4, edge), h(5, edge), out(2, edge);
        (isLow ? l[static_cast<size_t>(band - firstLow)] : h[static_cast<size_t>(band + 2)]) = 65536;
        ASSERT_EQ(
            qlmiWTInvRow_D97_JPEG2K_32s_C1R(l.data() - firstLow, 1, h.data() + 2, 1, {1, 1}, out.data(), 1, phase),
            qlmOk);
        const int toEven = std::abs(at - phase), toOdd = std::abs(at - 1 + phase);
        EXPECT_EQ(out[static_cast<size_t>(phase)], toEven < 4 ? even[toEven] : 0);
        EXPECT_EQ(out[static_cast<size_t>(1 - phase)], toOdd < 5 ? odd[toOdd] : 0);
      }
    }
  }
}

TEST(Wavelet97OneOutput, TapsOfFloats) {
  const float low[5] = {0.602949F, 0.26686412F, -0.078223266F, -0.01686412F, 0.026748758F};
  const float high[4] = {1.115087F, -0.59127176F, -0.057543527F, 0.091271766F};
  const float even[4] = {1.115087F, -0.26686412F, -0.057543527F, 0.01686412F};
  const float odd[5] = {0.602949F, 0.59127176F, -0.078223266F, -0.091271766F, 0.026748758F};
  const auto tap = [](const auto& taps, int distance) {
    return distance < static_cast<int>(std::size(taps)) ? taps[distance] : 0;
  };
  for (const int phase : {0, 1}) {
    for (int at = -4; at <= 5; ++at) {
      SCOPED_TRACE(testing::Message() << "position " << at << " phase " << phase);
      const int toEven = std::abs(at - phase), toOdd = std::abs(at - 1 + phase);
      float x[10] = {}, l = 9, h = 9;
      x[at + 4] = 1;
      ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_32f_C1R(x + 4, 4, &l, 4, &h, 4, {1, 1}, phase), qlmOk);
      EXPECT_EQ(l, tap(low, toEven));
      EXPECT_EQ(h, tap(high, toOdd));
      // Low and high value k - 2 of the line at k.
      float lows[5] = {}, highs[5] = {}, out[2] = {9, 9};
      ((at + phase) % 2 == 0 ? lows : highs)[(at >> 1) + 2] = 1;
      ASSERT_EQ(qlmiWTInvRow_D97_JPEG2K_32f_C1R(lows + 2, 4, highs + 2, 4, {1, 1}, out, 4, phase), qlmOk);
      EXPECT_EQ(out[phase], tap(even, toEven));
      EXPECT_EQ(out[1 - phase], tap(odd, toOdd));
    }
  }
}

// A single low output of 16 bits has no lower limit: -45230 is cut to 20306. Everything else stops at both limits.
TEST(Wavelet97OneOutput, LowValuesOfSixteenBitsHaveNoLowerLimit) {
  const int16_t down[9] = {-32768, 32767, 32767, -32768, -32768, -32768, 32767, 32767, -32768};
  const int16_t up[9] = {32767, -32768, -32768, 32767, 32767, 32767, -32768, -32768, 32767};
  int16_t low = 0, high = 0;
  ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_16s_C1R(down + 4, 1, &low, 1, &high, 1, {1, 1}, 0), qlmOk);
  EXPECT_EQ(low, 20306);
  ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_16s_C1R(up + 4, 1, &low, 1, &high, 1, {1, 1}, 0), qlmOk);
  EXPECT_EQ(low, 32767);
  // x[-2] to x[4] around the high output at x[1].
  const int16_t peak[9] = {0, 0, -32768, 32767, -32768, 32767, -32768, 32767, -32768};
  const int16_t pit[9] = {0, 0, 32767, -32768, 32767, -32768, 32767, -32768, 32767};
  ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_16s_C1R(peak + 4, 1, &low, 1, &high, 1, {1, 1}, 0), qlmOk);
  EXPECT_EQ(high, 32767);
  ASSERT_EQ(qlmiWTFwdRow_D97_JPEG2K_16s_C1R(pit + 4, 1, &low, 1, &high, 1, {1, 1}, 0), qlmOk);
  EXPECT_EQ(high, -32768);
}

TEST(Wavelet97Scratch, SizesByNumber) {
  const auto bytes = [](int w, int h) {
    std::array<int32_t, 4> v{-1, -1, -1, -1};
    const QlmRect rect{1, 1, w, h};
    EXPECT_EQ(qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR(rect, &v[0]), qlmOk);
    EXPECT_EQ(qlmiWTGetBufSize_D97_JPEG2K_32s_C1IR(rect, &v[1]), qlmOk);
    EXPECT_EQ(qlmiWTGetBufSize_D97_JPEG2K_16s_C1R(rect, &v[2]), qlmOk);
    EXPECT_EQ(qlmiWTGetBufSize_D97_JPEG2K_32s_C1R(rect, &v[3]), qlmOk);
    return v;
  };
  using A = std::array<int32_t, 4>;
  EXPECT_EQ(bytes(1, 1), (A{0, 0, 32, 32}));
  EXPECT_EQ(bytes(2, 1), (A{20, 40, 52, 72}));
  EXPECT_EQ(bytes(1, 2), (A{20, 40, 84, 104}));
  EXPECT_EQ(bytes(17, 10), (A{50, 100, 690, 1060}));
}

}  // namespace
