// The reversible 5/3 wavelet (ITU-T T.800 Annex F) against its models, there and back, shape against shape, and its odd
// corners by number.
#include "jpeg2000/wavelet_check.h"

namespace {

namespace wavelet = test::wavelet;
using test::Edge;
using test::Guarded;
using test::Random;
using wavelet::Along;

const wavelet::Reads kReads = {[](int n, bool odd) {
                                 return odd ? wavelet::Span{-1, 2 * n + 1} : wavelet::Span{-2, 2 * n};
                               },
                               [](int n, bool odd) {
                                 return odd ? wavelet::Span{-1, n - 1} : wavelet::Span{0, n};
                               },
                               [](int n, bool) {
                                 return wavelet::Span{-1, n};
                               }};

template <typename T>
void forwardPlane(model::Plane<T>& plane, int phaseX, int phaseY) {
  model::columnsThenRows<T>(plane, model::forwardLine53<T>, phaseX, phaseY);
}
template <typename T>
void inversePlane(model::Plane<T>& plane, int phaseX, int phaseY) {
  model::rowsThenColumns<T>(plane, model::inverseLine53<T>, phaseX, phaseY);
}

template <typename T, typename Export>
void checkForwardStep(Export* function, uint64_t stream) {
  wavelet::checkStep<T, 6>(
      [&](const auto& p, int32_t width) { return function(p[0], p[1], p[2], p[3], p[4], p[5], width); },
      [](auto& e, int) {
        const model::LowHigh<T> out = model::forwardStep53<T>(e[0], e[1], e[2], e[4]);
        e[3] = out.low;
        e[5] = out.high;
      },
      stream);
}
template <typename T, typename Export>
void checkInverseStep(Export* function, uint64_t stream) {
  wavelet::checkStep<T, 6>(
      [&](const auto& p, int32_t width) { return function(p[0], p[1], p[2], p[3], p[4], p[5], width); },
      [](auto& e, int) {
        const model::EvenOdd<T> out = model::inverseStep53<T>(e[0], e[1], e[2], e[3]);
        e[4] = out.odd;
        e[5] = out.even;
      },
      stream);
}

// The exports of one element type under names without it, for the tests that compare shapes with one another.
template <typename T>
struct Exports;

#define ALL_TESTS(TYPE, T, STREAM)                                                                             \
  TEST(Model, qlmiWTFwd_B53_JPEG2K_##TYPE##_C1IR) {                                                            \
    wavelet::checkInPlace<T>(qlmiWTFwd_B53_JPEG2K_##TYPE##_C1IR, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1IR,    \
                             forwardPlane<T>, STREAM);                                                         \
  }                                                                                                            \
  TEST(Model, qlmiWTInv_B53_JPEG2K_##TYPE##_C1IR) {                                                            \
    wavelet::checkInPlace<T>(qlmiWTInv_B53_JPEG2K_##TYPE##_C1IR, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1IR,    \
                             inversePlane<T>, STREAM + 1);                                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTFwd_B53_JPEG2K_##TYPE##_C1R) {                                                             \
    wavelet::checkForwardBands<T>(qlmiWTFwd_B53_JPEG2K_##TYPE##_C1R, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1R, \
                                  forwardPlane<T>, STREAM + 2);                                                \
  }                                                                                                            \
  TEST(Model, qlmiWTInv_B53_JPEG2K_##TYPE##_C1R) {                                                             \
    wavelet::checkInverseBands<T>(qlmiWTInv_B53_JPEG2K_##TYPE##_C1R, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1R, \
                                  inversePlane<T>, STREAM + 3);                                                \
  }                                                                                                            \
  TEST(Model, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1IR) {                                                     \
    wavelet::checkScratchSize(qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1IR, model::lineScratch53, sizeof(T));     \
  }                                                                                                            \
  TEST(Model, qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1R) {                                                      \
    wavelet::checkScratchSize(qlmiWTGetBufSize_B53_JPEG2K_##TYPE##_C1R, model::planeScratch53, sizeof(T));     \
  }                                                                                                            \
  TEST(Model, qlmiWTFwdRow_B53_JPEG2K_##TYPE##_C1R) {                                                          \
    wavelet::checkForwardLines<T>(Along::Rows, qlmiWTFwdRow_B53_JPEG2K_##TYPE##_C1R, kReads,                   \
                                  model::forwardOutputs53<T>, STREAM + 4);                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTFwdCol_B53_JPEG2K_##TYPE##_C1R) {                                                          \
    wavelet::checkForwardLines<T>(Along::Columns, qlmiWTFwdCol_B53_JPEG2K_##TYPE##_C1R, kReads,                \
                                  model::forwardOutputs53<T>, STREAM + 5);                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTInvRow_B53_JPEG2K_##TYPE##_C1R) {                                                          \
    wavelet::checkInverseLines<T>(Along::Rows, qlmiWTInvRow_B53_JPEG2K_##TYPE##_C1R, kReads,                   \
                                  model::inverseOutputs53<T>, STREAM + 6);                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTInvCol_B53_JPEG2K_##TYPE##_C1R) {                                                          \
    wavelet::checkInverseLines<T>(Along::Columns, qlmiWTInvCol_B53_JPEG2K_##TYPE##_C1R, kReads,                \
                                  model::inverseOutputs53<T>, STREAM + 7);                                     \
  }                                                                                                            \
  TEST(Model, qlmiWTFwdColLift_B53_JPEG2K_##TYPE##_C1) {                                                       \
    checkForwardStep<T>(qlmiWTFwdColLift_B53_JPEG2K_##TYPE##_C1, STREAM + 8);                                  \
  }                                                                                                            \
  TEST(Model, qlmiWTInvColLift_B53_JPEG2K_##TYPE##_C1) {                                                       \
    checkInverseStep<T>(qlmiWTInvColLift_B53_JPEG2K_##TYPE##_C1, STREAM + 9);                                  \
  }                                                                                                            \
  template <>                                                                                                  \
  struct Exports<T> {                                                                                          \
    static constexpr auto forward = qlmiWTFwd_B53_JPEG2K_##TYPE##_C1IR;                                        \
    static constexpr auto inverse = qlmiWTInv_B53_JPEG2K_##TYPE##_C1IR;                                        \
    static constexpr auto forwardBands = qlmiWTFwd_B53_JPEG2K_##TYPE##_C1R;                                    \
    static constexpr auto inverseBands = qlmiWTInv_B53_JPEG2K_##TYPE##_C1R;                                    \
    static constexpr auto forwardRow = qlmiWTFwdRow_B53_JPEG2K_##TYPE##_C1R;                                   \
    static constexpr auto forwardCol = qlmiWTFwdCol_B53_JPEG2K_##TYPE##_C1R;                                   \
    static constexpr auto inverseRow = qlmiWTInvRow_B53_JPEG2K_##TYPE##_C1R;                                   \
    static constexpr auto inverseCol = qlmiWTInvCol_B53_JPEG2K_##TYPE##_C1R;                                   \
    static constexpr auto forwardStep = qlmiWTFwdColLift_B53_JPEG2K_##TYPE##_C1;                               \
    static constexpr auto inverseStep = qlmiWTInvColLift_B53_JPEG2K_##TYPE##_C1;                               \
  };
ALL_TESTS(16s, int16_t, 0x5300)
ALL_TESTS(32s, int32_t, 0x5320)
#undef ALL_TESTS

template <typename T>
class Wavelet53 : public testing::Test {};
using Types = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(Wavelet53, Types);

template <typename T>
int32_t stepOf(int width) {
  return width * static_cast<int32_t>(sizeof(T));
}

// Scratch that is large enough for the sizes of the tests below.
std::vector<uint8_t> scratch() { return std::vector<uint8_t>(1 << 16); }

// Arrays of the four bands of a plane, one behind the other in one buffer.
template <typename T>
struct Bands {
  std::vector<T> samples;
  std::array<T*, 4> data;
  std::array<const T*, 4> constData;
  std::array<int32_t, 4> steps;

  Bands(int w, int h) : samples(static_cast<size_t>(w * h) + 4) {
    const int widths[4] = {(w + 1) / 2, (w + 1) / 2, w / 2, w / 2};
    const int heights[4] = {(h + 1) / 2, h / 2, (h + 1) / 2, h / 2};
    T* next = samples.data();
    for (size_t i = 0; i < 4; ++i) {
      data[i] = next;
      constData[i] = next;
      steps[i] = std::max(stepOf<T>(widths[i]), 1);
      next += widths[i] * heights[i];
    }
  }
};

// Wrapping makes it exact for all values, except that a single sample at an odd position is doubled.
TYPED_TEST(Wavelet53, ForwardThenInverseIsExact) {
  using T = TypeParam;
  using E = Exports<T>;
  Random random(0x5340);
  std::vector<uint8_t> buffer = scratch();
  for (int w = 1; w <= 40; ++w) {
    for (int h = 1; h <= 40; ++h) {
      for (int phases = 0; phases < 4; ++phases) {
        const QlmRect rect{phases & 1, phases >> 1, w, h};
        const bool doubles = (w == 1 && rect.x) || (h == 1 && rect.y);
        std::vector<T> plane(static_cast<size_t>(w * h)), back(plane.size());
        doubles ? random.fill(std::span(plane), -8191, 8191) : random.fill(std::span(plane));
        std::vector<T> inPlace = plane;
        ASSERT_EQ(E::forward(inPlace.data(), stepOf<T>(w), rect, buffer.data()), qlmOk);
        ASSERT_EQ(E::inverse(inPlace.data(), stepOf<T>(w), rect, buffer.data()), qlmOk);
        ASSERT_EQ(inPlace, plane) << w << " x " << h << " phases " << phases;
        Bands<T> bands(w, h);
        ASSERT_EQ(
            E::forwardBands(plane.data(), stepOf<T>(w), rect, bands.data.data(), bands.steps.data(), buffer.data()),
            qlmOk);
        ASSERT_EQ(
            E::inverseBands(bands.constData.data(), bands.steps.data(), back.data(), stepOf<T>(w), rect, buffer.data()),
            qlmOk);
        ASSERT_EQ(back, plane) << w << " x " << h << " phases " << phases << " out of place";
      }
    }
  }
}

TYPED_TEST(Wavelet53, BandsMayLieInThePlane) {
  using E = Exports<TypeParam>;
  wavelet::checkBandsInThePlane<TypeParam>(E::forward, E::inverse, E::forwardBands, E::inverseBands);
}

// A plane of samples that may be asked for kMargin samples outside.
template <typename T>
struct Margined {
  static constexpr int kMargin = 4;
  int width, height;
  std::vector<T> samples;

  Margined(int w, int h)
      : width(w), height(h), samples(static_cast<size_t>(w + 2 * kMargin) * static_cast<size_t>(h + 2 * kMargin)) {}
  int columns() const { return width + 2 * kMargin; }
  int32_t step() const { return stepOf<T>(columns()); }
  T* at(int x, int y) { return samples.data() + (y + kMargin) * columns() + x + kMargin; }
};

// Whole levels composed of the shapes of one direction, on data for which all shapes agree.
TYPED_TEST(Wavelet53, ShapesAgree) {
  using T = TypeParam;
  using E = Exports<T>;
  constexpr int kMargin = Margined<T>::kMargin;
  Random random(0x5341);
  std::vector<uint8_t> buffer = scratch();
  for (const auto shape :
       std::initializer_list<wavelet::Shape>{{3, 3}, {4, 3}, {5, 8}, {6, 7}, {17, 9}, {32, 32}, {33, 31}, {70, 41}}) {
    const int w = shape.width, h = shape.height;
    for (int phases = 0; phases < 4; ++phases) {
      SCOPED_TRACE(testing::Message() << w << " x " << h << " phases " << phases);
      const int px = phases & 1, py = phases >> 1;
      const QlmRect rect{px, py, w, h};
      const int lowW = (w + 1 - px) / 2, lowH = (h + 1 - py) / 2, halfW = (w + 1) / 2, halfH = (h + 1) / 2;
      std::vector<T> source(static_cast<size_t>(w * h));
      random.fill(std::span(source), -2000, 2000);
      const auto indexOf = [w](int x, int y) { return static_cast<size_t>(y * w + x); };

      // Forward: the source continued on all sides, filtered along columns and then along rows.
      std::vector<T> level = source;
      ASSERT_EQ(E::forward(level.data(), stepOf<T>(w), rect, buffer.data()), qlmOk);
      Margined<T> src(w, h);
      for (int y = -kMargin; y < h + kMargin; ++y)
        for (int x = -kMargin; x < w + kMargin; ++x)
          *src.at(x, y) = source[indexOf(model::mirrored(x, w), model::mirrored(y, h))];
      Margined<T> vertical[2] = {{w, halfH}, {w, halfH}};  // low and high rows
      ASSERT_EQ(E::forwardCol(src.at(-kMargin, 0), src.step(), vertical[0].at(-kMargin, 0), vertical[0].step(),
                              vertical[1].at(-kMargin, 0), vertical[1].step(), {src.columns(), halfH}, py),
                qlmOk);
      for (int highY = 0; highY < 2; ++highY) {
        Margined<T> low(halfW, halfH), high(halfW, halfH);
        ASSERT_EQ(E::forwardRow(vertical[highY].at(0, 0), vertical[highY].step(), low.at(0, 0), low.step(),
                                high.at(0, 0), high.step(), {halfW, halfH}, px),
                  qlmOk);
        for (int y = highY ? lowH : 0; y < (highY ? h : lowH); ++y)
          for (int x = 0; x < w; ++x)
            ASSERT_EQ(level[indexOf(x, y)],
                      *(x < lowW ? low.at(x, y - highY * lowH) : high.at(x - lowW, y - highY * lowH)))
                << "at " << x << ' ' << y;
      }

      // Inverse: the four bands continued on all sides, filtered along rows and then along columns.
      const auto band = [&](int highX, int highY, int i, int j) {
        const int x = model::mirrored(2 * i + (highX ? 1 - px : px), w);
        const int y = model::mirrored(2 * j + (highY ? 1 - py : py), h);
        const bool xIsHigh = (x + px) % 2 != 0, yIsHigh = (y + py) % 2 != 0;
        return level[indexOf(x / 2 + (xIsHigh ? lowW : 0), y / 2 + (yIsHigh ? lowH : 0))];
      };
      Margined<T> lines[2] = {{2 * halfW, halfH}, {2 * halfW, halfH}};
      for (int highY = 0; highY < 2; ++highY) {
        Margined<T> low(halfW, halfH), high(halfW, halfH);
        for (int j = -kMargin; j < halfH + kMargin; ++j) {
          for (int i = -kMargin; i < halfW + kMargin; ++i) {
            *low.at(i, j) = band(0, highY, i, j);
            *high.at(i, j) = band(1, highY, i, j);
          }
        }
        ASSERT_EQ(E::inverseRow(low.at(0, -kMargin), low.step(), high.at(0, -kMargin), high.step(),
                                {halfW, halfH + 2 * kMargin}, lines[highY].at(0, -kMargin), lines[highY].step(), px),
                  qlmOk);
      }
      Margined<T> back(2 * halfW, 2 * halfH);
      ASSERT_EQ(E::inverseCol(lines[0].at(0, 0), lines[0].step(), lines[1].at(0, 0), lines[1].step(),
                              {2 * halfW, halfH}, back.at(0, 0), back.step(), py),
                qlmOk);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) ASSERT_EQ(*back.at(x, y), source[indexOf(x, y)]) << "at " << x << ' ' << y;
    }
  }
}

// A walk down the image with one step a pair of rows is what the Col form does: for all values in rows of 16 elements
// and more, where both take sums in the width of the element.
TYPED_TEST(Wavelet53, ColumnsAreALoopOfSteps) {
  using T = TypeParam;
  using E = Exports<T>;
  constexpr int kPairs = 9;
  Random random(0x5342);
  for (const int w : {1, 7, 15, 16, 17, 33, 100}) {
    for (const int phase : {0, 1}) {
      SCOPED_TRACE(testing::Message() << "width " << w << " phase " << phase);
      const auto fill = [&](std::vector<T>& v) {
        w < 16 ? random.fill(std::span(v), -2000, 2000) : random.fill(std::span(v));
      };
      const auto row = [w](auto& v, int y) { return v.data() + static_cast<ptrdiff_t>(w) * y; };
      const auto rows = [w](int n) { return std::vector<T>(static_cast<size_t>(w * n)); };

      std::vector<T> source = rows(2 * kPairs + 5), low = rows(kPairs), high = rows(kPairs);
      fill(source);
      ASSERT_EQ(E::forwardCol(row(source, 2), stepOf<T>(w), low.data(), stepOf<T>(w), high.data(), stepOf<T>(w),
                              {w, kPairs}, phase),
                qlmOk);
      std::vector<T> lows = rows(kPairs + 1), highs = rows(kPairs + 2), junk = rows(1);
      // Even rows are 0, 2, ... at phase 0 and 1, 3, ... at the other; the high row before the first low one comes
      // first.
      for (int i = -1; i < kPairs; ++i)
        ASSERT_EQ(E::forwardStep(row(source, 2 + 2 * i + phase), row(source, 3 + 2 * i + phase),
                                 row(source, 4 + 2 * i + phase), row(lows, i + 1), i < 0 ? junk.data() : row(highs, i),
                                 row(highs, i + 1), w),
                  qlmOk);
      for (size_t k = 0; k < low.size(); ++k) {
        ASSERT_EQ(low[k], lows[k + static_cast<size_t>(w)]) << k;
        ASSERT_EQ(high[k], highs[k + static_cast<size_t>(phase ? 0 : w)]) << k;
      }

      std::vector<T> lowSource = rows(kPairs + 2), highSource = rows(kPairs + 2), out = rows(2 * kPairs);
      fill(lowSource);
      fill(highSource);
      ASSERT_EQ(E::inverseCol(row(lowSource, 1), stepOf<T>(w), row(highSource, 1), stepOf<T>(w), {w, kPairs},
                              out.data(), stepOf<T>(w), phase),
                qlmOk);
      std::vector<T> evens = rows(kPairs + 2), odds = rows(kPairs + 2);
      // Step i makes the even row of low row i and the odd row above it. At phase 0 the high rows around low row i are
      // i - 1 and i, else i and i + 1.
      for (int i = phase ? -1 : 0; i < (phase ? kPairs : kPairs + 1); ++i)
        ASSERT_EQ(
            E::inverseStep(row(lowSource, 1 + i), row(highSource, i + phase), row(highSource, 1 + i + phase),
                           i == (phase ? -1 : 0) ? junk.data() : row(evens, i), row(odds, i + 1), row(evens, i + 1), w),
            qlmOk);
      for (int y = 0; y < 2 * kPairs; ++y) {
        const bool even = (y + phase) % 2 == 0;
        const T* const expected = even ? row(evens, y / 2 + 1) : row(odds, y / 2 + (phase ? 1 : 2));
        for (int x = 0; x < w; ++x) ASSERT_EQ(row(out, y)[x], expected[x]) << "row " << y << " column " << x;
      }
    }
  }
}

// Below 16 elements a step may put its results upon its sources.
TYPED_TEST(Wavelet53, ShortStepsWorkInPlace) {
  using T = TypeParam;
  using E = Exports<T>;
  Random random(0x5343);
  for (int w = 1; w < 16; ++w) {
    const auto row = [&] {
      std::vector<T> v(static_cast<size_t>(w));
      random.fill(std::span(v));
      return v;
    };
    std::vector<T> even = row(), odd = row(), low(even.size()), high(even.size());
    const std::vector<T> next = row(), highPrev = row(), evenPrev = row();
    ASSERT_EQ(E::forwardStep(even.data(), odd.data(), next.data(), low.data(), highPrev.data(), high.data(), w), qlmOk);
    ASSERT_EQ(E::forwardStep(even.data(), odd.data(), next.data(), even.data(), highPrev.data(), odd.data(), w), qlmOk);
    ASSERT_EQ(even, low) << "width " << w;
    ASSERT_EQ(odd, high) << "width " << w;

    std::vector<T> before = row(), lowRow = row();
    const std::vector<T> behind = row();
    ASSERT_EQ(E::inverseStep(lowRow.data(), before.data(), behind.data(), evenPrev.data(), odd.data(), even.data(), w),
              qlmOk);
    ASSERT_EQ(
        E::inverseStep(lowRow.data(), before.data(), behind.data(), evenPrev.data(), before.data(), lowRow.data(), w),
        qlmOk);
    ASSERT_EQ(lowRow, even) << "width " << w;
    ASSERT_EQ(before, odd) << "width " << w;
  }
}

// Rows of a plane through one call in place.
template <typename T>
std::vector<T> forward(std::vector<T> plane, QlmRect rect) {
  std::vector<uint8_t> buffer = scratch();
  EXPECT_EQ(Exports<T>::forward(plane.data(), stepOf<T>(rect.width), rect, buffer.data()), qlmOk);
  return plane;
}
template <typename T>
std::vector<T> inverse(std::vector<T> plane, QlmRect rect) {
  std::vector<uint8_t> buffer = scratch();
  EXPECT_EQ(Exports<T>::inverse(plane.data(), stepOf<T>(rect.width), rect, buffer.data()), qlmOk);
  return plane;
}

TYPED_TEST(Wavelet53, OneSampleDoublesAtAnOddPosition) {
  using V = std::vector<TypeParam>;
  for (const TypeParam v : {0, 1, -1, 5, -7, 1000}) {
    EXPECT_EQ(forward(V{v}, {0, 0, 1, 1}), V{v});
    EXPECT_EQ(forward(V{v}, {1, 0, 1, 1}), V{static_cast<TypeParam>(2 * v)});
    EXPECT_EQ(forward(V{v}, {0, 1, 1, 1}), V{static_cast<TypeParam>(2 * v)});
    EXPECT_EQ(forward(V{v}, {1, 1, 1, 1}), V{static_cast<TypeParam>(4 * v)});
    EXPECT_EQ(forward(V{v}, {-1, -3, 1, 1}), V{static_cast<TypeParam>(4 * v)});
  }
  // The way back truncates towards zero, twice.
  EXPECT_EQ(inverse(V{-7}, {0, 0, 1, 1}), V{-7});
  EXPECT_EQ(inverse(V{-7}, {1, 0, 1, 1}), V{-3});
  EXPECT_EQ(inverse(V{-7}, {1, 1, 1, 1}), V{-1});
  EXPECT_EQ(inverse(V{7}, {1, 1, 1, 1}), V{1});
  EXPECT_EQ(inverse(V{-3}, {1, 1, 1, 1}), V{0});
}

TYPED_TEST(Wavelet53, TwoSamplesPutLowFirst) {
  using V = std::vector<TypeParam>;
  // Even 10, odd 3: H = -7, L = 10 + (-6 >> 1).
  EXPECT_EQ(forward(V{10, 3}, {0, 0, 2, 1}), (V{7, -7}));
  // The second is the even one: H = 7, L = 3 + (8 >> 1).
  EXPECT_EQ(forward(V{10, 3}, {1, 0, 2, 1}), (V{7, 7}));
  EXPECT_EQ(forward(V{10, 3}, {0, 1, 1, 2}), (V{7, 7}));
  EXPECT_EQ(inverse(V{7, -7}, {0, 0, 2, 1}), (V{10, 3}));
  EXPECT_EQ(inverse(V{7, 7}, {1, 0, 2, 1}), (V{10, 3}));
  EXPECT_EQ(inverse(V{7, 7}, {0, 1, 1, 2}), (V{10, 3}));
}

TYPED_TEST(Wavelet53, LinesByNumber) {
  using V = std::vector<TypeParam>;
  // Odd: 9 - (3 >> 1) = 8, -5 - (9 >> 1) = -9. Even: 1 + (18 >> 2) = 5, 2 + (1 >> 2) = 2, 7 + (-16 >> 2) = 3.
  EXPECT_EQ(forward(V{1, 9, 2, -5, 7}, {0, 0, 5, 1}), (V{5, 2, 3, 8, -9}));
  EXPECT_EQ(inverse(V{5, 2, 3, 8, -9}, {0, 0, 5, 1}), (V{1, 9, 2, -5, 7}));
  // At an odd origin. Odd: 1 - (18 >> 1) = -8, 2 - (4 >> 1) = 0, 7 - (-10 >> 1) = 12.
  // Even: 9 + (-6 >> 2) = 7, -5 + (14 >> 2) = -2.
  EXPECT_EQ(forward(V{1, 9, 2, -5, 7}, {1, 0, 5, 1}), (V{7, -2, -8, 0, 12}));
  EXPECT_EQ(inverse(V{7, -2, -8, 0, 12}, {1, 0, 5, 1}), (V{1, 9, 2, -5, 7}));
  EXPECT_EQ(forward(V{1, 9, 2, -5, 7}, {0, -1, 1, 5}), (V{7, -2, -8, 0, 12}));
}

// An odd origin and an odd height: two low rows in the plane, but three rows in the first band.
TYPED_TEST(Wavelet53, BandsAreCutWithoutRegardToThePhase) {
  using T = TypeParam;
  const std::vector<T> column = {1, 9, 2, -5, 7};
  const QlmRect rect{0, 1, 1, 5};
  std::vector<T> low(3, 77), high(2, 77), back(5, 77);
  T none = 55;
  T* const dst[4] = {low.data(), high.data(), &none, &none};
  const T* const src[4] = {low.data(), high.data(), &none, &none};
  const int32_t steps[4] = {stepOf<T>(1), stepOf<T>(1), 1, 1};
  std::vector<uint8_t> buffer = scratch();
  ASSERT_EQ(Exports<T>::forwardBands(column.data(), stepOf<T>(1), rect, dst, steps, buffer.data()), qlmOk);
  EXPECT_EQ(low, (std::vector<T>{7, -2, -8}));
  EXPECT_EQ(high, (std::vector<T>{0, 12}));
  EXPECT_EQ(none, 55);
  ASSERT_EQ(Exports<T>::inverseBands(src, steps, back.data(), stepOf<T>(1), rect, buffer.data()), qlmOk);
  EXPECT_EQ(back, column);
}

// The rule of a single sample is where sizes below 1 end up in place: on the first row, or the first sample of each
// row.
TYPED_TEST(Wavelet53, EmptySizesInPlace) {
  using T = TypeParam;
  std::vector<T> plane(12);
  const auto fresh = [&] {
    for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<T>(10 * i + 3);
  };
  uint8_t none = 0;
  const auto forward = [&](QlmRect rect) {
    fresh();
    EXPECT_EQ(Exports<T>::forward(plane.data(), stepOf<T>(4), rect, &none), qlmOk);
    return plane;
  };
  const auto inverse = [&](QlmRect rect) {
    fresh();
    EXPECT_EQ(Exports<T>::inverse(plane.data(), stepOf<T>(4), rect, &none), qlmOk);
    return plane;
  };
  using V = std::vector<T>;
  for (const int empty : {0, -1, INT32_MIN}) {
    EXPECT_EQ(forward({1, 1, 3, empty}), (V{6, 26, 46, 33, 43, 53, 63, 73, 83, 93, 103, 113}));
    EXPECT_EQ(inverse({1, 1, 3, empty}), (V{1, 6, 11, 33, 43, 53, 63, 73, 83, 93, 103, 113}));
    EXPECT_EQ(forward({1, 1, empty, 3}), (V{6, 13, 23, 33, 86, 53, 63, 73, 166, 93, 103, 113}));
    EXPECT_EQ(inverse({1, 1, empty, 3}), (V{1, 13, 23, 33, 21, 53, 63, 73, 41, 93, 103, 113}));
    for (const QlmRect rect : {QlmRect{1, 0, 3, empty}, {0, 1, empty, 3}, {1, 1, empty, empty}, {0, 0, 4, empty}}) {
      const V unchanged{3, 13, 23, 33, 43, 53, 63, 73, 83, 93, 103, 113};
      EXPECT_EQ(forward(rect), unchanged);
      EXPECT_EQ(inverse(rect), unchanged);
    }
  }
}

// One output per band reads five samples: x[-2] to x[2] at an even position, x[-1] to x[3] at an odd one.
TYPED_TEST(Wavelet53, OneOutputPerBand) {
  using T = TypeParam;
  for (const Edge edge : {Edge::Front, Edge::Back}) {
    const Guarded<T> x(5, edge), low(1, edge), high(1, edge);
    const int values[5] = {4, 1, -6, 20, 3};
    for (size_t i = 0; i < 5; ++i) x[i] = static_cast<T>(values[i]);
    // H(-1) = 1 - (-2 >> 1) = 2, H(1) = 20 - (-3 >> 1) = 22, L(0) = -6 + (26 >> 2) = 0.
    ASSERT_EQ(Exports<T>::forwardRow(x.data() + 2, 1, low.data(), 1, high.data(), 1, {1, 1}, 0), qlmOk);
    EXPECT_EQ(low[0], 0);
    EXPECT_EQ(high[0], 22);
    // H(0) = 1 - (-2 >> 1) = 2, H(2) = 20 - (-3 >> 1) = 22, L(1) = -6 + (26 >> 2) = 0.
    ASSERT_EQ(Exports<T>::forwardRow(x.data() + 1, 1, low.data(), 1, high.data(), 1, {1, 1}, 2), qlmOk);
    EXPECT_EQ(low[0], 0);
    EXPECT_EQ(high[0], 2);
  }
}

// Where sums leave 16 bits: whole lines and short rows take sums of 32 bits, longer rows and the steps sums of 16 bits.
TEST(Wavelet53Widths, SumsOfSixteenBits) {
  // The high value between two samples of 32767: -32767 by a wide sum, 1 by a sum that has wrapped to -2.
  const std::vector<int16_t> line = {32767, 0, 32767, 0, 32767};
  EXPECT_EQ(forward(line, {0, 0, 5, 1})[3], -32767);
  for (const int w : {1, 15, 16, 17, 40}) {
    SCOPED_TRACE(w);
    const auto count = static_cast<size_t>(w);
    const int expected = w < 16 ? -32767 : 1;
    std::vector<int16_t> low(count), high(count), x(2 * count + 4);
    for (size_t i = 0; i < x.size(); i += 2) x[i] = 32767;
    ASSERT_EQ(qlmiWTFwdRow_B53_JPEG2K_16s_C1R(x.data() + 2, 1, low.data(), 1, high.data(), 1, {w, 1}, 0), qlmOk);
    EXPECT_EQ(high, std::vector<int16_t>(count, static_cast<int16_t>(expected)));

    const std::vector<int16_t> bright(count, 32767), dark(count, 0);
    std::vector<int16_t> rows;
    for (int y = 0; y < 5; ++y) rows.insert(rows.end(), (y % 2 ? dark : bright).begin(), (y % 2 ? dark : bright).end());
    ASSERT_EQ(qlmiWTFwdCol_B53_JPEG2K_16s_C1R(rows.data() + 2 * w, 2 * w, low.data(), 1, high.data(), 1, {w, 1}, 0),
              qlmOk);
    EXPECT_EQ(high, std::vector<int16_t>(count, static_cast<int16_t>(expected)));

    ASSERT_EQ(qlmiWTFwdColLift_B53_JPEG2K_16s_C1(bright.data(), dark.data(), bright.data(), low.data(), dark.data(),
                                                 high.data(), w),
              qlmOk);
    EXPECT_EQ(high, std::vector<int16_t>(count, 1));
  }
}

TEST(Wavelet53Scratch, SizesByNumber) {
  const auto lineBytes = [](int w, int h) {
    int32_t bytes[2] = {-1, -1};
    EXPECT_EQ(qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR({1, 1, w, h}, &bytes[0]), qlmOk);
    EXPECT_EQ(qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR({1, 1, w, h}, &bytes[1]), qlmOk);
    return std::pair(bytes[0], bytes[1]);
  };
  const auto planeBytes = [](int w, int h) {
    int32_t bytes[2] = {-1, -1};
    EXPECT_EQ(qlmiWTGetBufSize_B53_JPEG2K_16s_C1R({1, 1, w, h}, &bytes[0]), qlmOk);
    EXPECT_EQ(qlmiWTGetBufSize_B53_JPEG2K_32s_C1R({1, 1, w, h}, &bytes[1]), qlmOk);
    return std::pair(bytes[0], bytes[1]);
  };
  EXPECT_EQ(lineBytes(2, 100), std::pair(208, 416));  // the longer direction, needed or not
  EXPECT_EQ(lineBytes(2, 2), std::pair(0, 0));
  EXPECT_EQ(lineBytes(3, 1), std::pair(14, 28));
  EXPECT_EQ(lineBytes(1, 3), std::pair(14, 28));
  EXPECT_EQ(lineBytes(-9, -9), std::pair(0, 0));
  EXPECT_EQ(planeBytes(2, 2), std::pair(64, 64));
  EXPECT_EQ(planeBytes(16, 10), std::pair(320 + 40, 640 + 80));
  EXPECT_EQ(planeBytes(17, 10), std::pair(640 + 42, 960 + 84));
}

}  // namespace
