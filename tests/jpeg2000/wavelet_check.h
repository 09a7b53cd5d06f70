// Drivers that compare the call shapes of both wavelets with their models: planes in place and out of place, rows,
// columns and single steps. Sources hold exactly the samples that a shape may read, scratch exactly the bytes that the
// library asked for, and all of them lie between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <span>
#include <type_traits>
#include <vector>

#include "model/jpeg2000_wavelet53.h"
#include "qlmjp.h"
#include "support/placed.h"

namespace test::wavelet {

// What lines are made of: what a codec meets, and the extremes of the element type.
enum class Samples { Picture, Noise, AllMin, AllMax, Alternating, Ramp };
inline constexpr Samples kAllSamples[] = {Samples::Noise,       Samples::Picture, Samples::AllMin, Samples::AllMax,
                                          Samples::Alternating, Samples::Picture, Samples::Ramp,   Samples::Noise};

// Pictures stay below 2^13, so that no sum of three samples leaves 16 bits. Floats have magnitudes of every order.
template <typename T>
void fill(std::span<T> out, Samples kind, Random& random) {
  if constexpr (std::is_same_v<T, float>) {
    std::vector<int32_t> integers(out.size());
    fill(std::span(integers), kind, random);
    for (size_t i = 0; i < out.size(); ++i)
      out[i] = std::ldexp(static_cast<float>(integers[i]),
                          kind == Samples::Noise ? static_cast<int>(random.between(-60, 0)) : -5);
  } else if (kind == Samples::Picture) {
    int64_t v = random.between(-4000, 4000);
    for (T& sample : out) {
      v = std::clamp<int64_t>(random.oneIn(9) ? random.between(-8191, 8191) : v + random.between(-50, 50), -8191, 8191);
      sample = static_cast<T>(v);
    }
  } else {
    constexpr Data kData[] = {Data::Noise, Data::Noise, Data::AllMin, Data::AllMax, Data::Alternating, Data::Ramp};
    fillData(out, kData[static_cast<size_t>(kind)], random);
  }
}

// A region of `rows` rows of `columns` elements, of which `left` columns and `top` rows come before the first sample.
// Regions without an element have an address that cannot be read.
template <typename T>
class Region {
 public:
  Region(int columns, int rows, int left, int top, size_t round, size_t buffer)
      : columns_(columns),
        rows_(columns > 0 ? rows : 0),
        left_(left),
        top_(top),
        values_(static_cast<size_t>(columns_) * static_cast<size_t>(rows_)),
        placed_(static_cast<size_t>(rows_ ? columns_ : 0), static_cast<size_t>(rows_ ? rows_ : 1),
                stepOf(round + 3 * buffer, static_cast<size_t>(columns) * sizeof(T) + (columns == 0)),
                mostlyFlushPlaceOf(round, buffer).slack, mostlyFlushPlaceOf(round, buffer).edge) {}
  Region(int columns, int rows, size_t round, size_t buffer) : Region(columns, rows, 0, 0, round, buffer) {}

  void fill(Samples kind, Random& random) {
    wavelet::fill(std::span<T>(values_), kind, random);
    put();
  }
  void set(const std::vector<T>& values) {
    ASSERT_EQ(values.size(), values_.size());
    values_ = values;
    put();
  }
  T value(int x, int y) const { return values_.at(static_cast<size_t>((y + top_) * columns_ + (x + left_))); }
  void setValue(int x, int y, T v) { values_.at(static_cast<size_t>((y + top_) * columns_ + (x + left_))) = v; }
  void put() {
    if (rows_) placed_.set(values_);
  }

  // The first sample.
  T* data() const {
    return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(placed_.data()) + ptrdiff_t{step()} * top_ +
                                left_ * static_cast<ptrdiff_t>(sizeof(T)));
  }
  int32_t step() const { return placed_.step(); }
  std::vector<uint8_t> bytes() const { return placed_.snapshot(); }
  // The bytes as they shall be: those of a fresh region with these values.
  bool unchanged(const std::vector<uint8_t>& before) const { return bytes() == before; }

 private:
  int columns_, rows_, left_, top_;
  std::vector<T> values_;
  Placed<T> placed_;
};

// Scratch of exactly `bytes` bytes, mostly flush with a page that cannot be touched, else at any alignment with bytes
// beside it that must stay.
class Scratch {
 public:
  Scratch(int32_t bytes, size_t round)
      : bytes_(static_cast<size_t>(bytes)),
        slack_(mostlyFlushPlaceOf(round, 9).slack),
        edge_(mostlyFlushPlaceOf(round, 9).edge),
        buffer_(bytes_ + slack_, edge_) {
    for (size_t i = 0; i < buffer_.size(); ++i) buffer_.data()[i] = static_cast<uint8_t>(0xC3 + 5 * i);
  }
  uint8_t* data() const { return buffer_.data() + (edge_ == Edge::Front ? slack_ : 0); }
  bool slackUnchanged() const {
    const size_t first = edge_ == Edge::Front ? 0 : bytes_;
    for (size_t i = first; i < first + slack_; ++i)
      if (buffer_.data()[i] != static_cast<uint8_t>(0xC3 + 5 * i)) return false;
    return true;
  }

 private:
  size_t bytes_, slack_;
  Edge edge_;
  GuardedBytes buffer_;
};

struct Shape {
  int width, height;
};

// Widths 1 to 67, heights 1 to 40, and some large ones.
inline std::vector<Shape> shapes() {
  std::vector<Shape> list;
  for (int width = 1; width <= 67; ++width)
    for (const int height : {1, 2, 5}) list.push_back({width, height});
  for (int height = 1; height <= 40; ++height)
    for (const int width : {1, 3, 16, 33}) list.push_back({width, height});
  for (const Shape shape : {Shape{100, 4},
                            {127, 6},
                            {128, 3},
                            {255, 2},
                            {1000, 2},
                            {2399, 1},
                            {2400, 3},
                            {2417, 2},
                            {3, 500},
                            {20, 131},
                            {130, 129},
                            {4133, 5},  // wider than the strips in which columns may be worked
                            {8231, 4}})
    list.push_back(shape);
  return list;
}

// Phase arguments of the Row and Col forms: whatever is not 0 is odd.
inline constexpr int32_t kOddPhases[] = {1, 2, -1, INT32_MIN, 256};
// Origins: the lowest bits count, also of negative numbers.
inline constexpr int32_t kEven[] = {0, 2, -4, 1 << 30, INT32_MIN}, kOdd[] = {1, -1, 7, -3, INT32_MAX};
inline QlmRect rectOf(Shape shape, int phaseX, int phaseY, size_t round) {
  const auto origin = [](int phase, size_t n) { return phase ? kOdd[n % 5] : kEven[n % 5]; };
  return {origin(phaseX, round), origin(phaseY, round / 5), shape.width, shape.height};
}

// Calls check(shape, round, turn) for all shapes in four turns: one for each pair of phases, or two for each phase.
template <typename Check>
void forAllShapes(const Check& check) {
  size_t round = 0;
  for (unsigned turn = 0; turn < 4; ++turn) {
    for (const Shape shape : shapes()) {
      ASSERT_NO_FATAL_FAILURE(check(shape, round, turn))
          << shape.width << " x " << shape.height << " samples, round " << round;
      ++round;
    }
  }
}

// Another kind of samples for each turn of a shape.
inline Samples samplesOf(size_t round, unsigned turn) {
  return kAllSamples[(round + 3 * turn) % std::size(kAllSamples)];
}

template <typename T>
using PlaneModel = std::function<void(model::Plane<T>&, int phaseX, int phaseY)>;
using ScratchSize = QlmStatus(QlmRect, int32_t*);

template <typename T>
model::Plane<T> randomPlane(Shape shape, size_t round, unsigned turn, Random& random) {
  model::Plane<T> plane(shape.width, shape.height);
  fill(std::span<T>(plane.samples), samplesOf(round, turn), random);
  return plane;
}

inline Scratch scratchFor(ScratchSize* query, QlmRect rect, size_t round) {
  int32_t bytes = -1;
  EXPECT_EQ(query(rect, &bytes), qlmOk);
  return {std::max(bytes, 0), round};
}

// Any size is taken; results are computed in 32 bits.
inline void checkScratchSize(ScratchSize* query, int32_t (*model)(QlmRect, int32_t elementBytes), size_t elementBytes) {
  const auto check = [&](QlmRect rect) {
    const Guarded<int32_t> bytes(1);
    bytes[0] = -77;
    ASSERT_EQ(query(rect, bytes.data()), qlmOk);
    ASSERT_EQ(bytes[0], model(rect, static_cast<int32_t>(elementBytes))) << rect.width << " x " << rect.height;
  };
  for (int32_t width = -3; width <= 70; ++width)
    for (int32_t height = -3; height <= 70; ++height) ASSERT_NO_FATAL_FAILURE(check({width, height, width, height}));
  Random random(0x53);
  for (int n = 0; n < 1000; ++n) {
    const auto any = [&] { return static_cast<int32_t>(random.bits()) >> random.between(0, 20); };
    ASSERT_NO_FATAL_FAILURE(check({any(), any(), any(), any()}));
  }
}

// Whole planes in place; the four pairs of phases follow one another.
template <typename T, typename Buffer>
void checkInPlace(QlmStatus (*function)(T*, int32_t, QlmRect, Buffer*), ScratchSize* query, const PlaneModel<T>& model,
                  uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllShapes([&](Shape shape, size_t round, unsigned turn) {
    const int phaseX = turn & 1, phaseY = turn >> 1;
    const QlmRect rect = rectOf(shape, phaseX, phaseY, round);
    model::Plane<T> plane = randomPlane<T>(shape, round, turn, random);
    Region<T> actual(shape.width, shape.height, round, 0), expected(shape.width, shape.height, round, 0);
    actual.set(plane.samples);
    model(plane, phaseX, phaseY);
    expected.set(plane.samples);
    const Scratch scratch = scratchFor(query, rect, round);
    ASSERT_EQ(function(actual.data(), actual.step(), rect, scratch.data()), qlmOk);
    ASSERT_TRUE(sameBytes(expected.bytes(), actual.bytes())) << "phases " << phaseX << ' ' << phaseY;
    ASSERT_TRUE(scratch.slackUnchanged());
  });
}

// Four bands, each at a place and with a step of its own.
template <typename T>
struct BandRegions {
  std::array<Region<T>, 4> regions;
  std::array<int32_t, 4> steps;

  explicit BandRegions(Shape s, size_t round)
      : regions{Region<T>((s.width + 1) / 2, (s.height + 1) / 2, round, 1),
                Region<T>((s.width + 1) / 2, s.height / 2, round, 2),
                Region<T>(s.width / 2, (s.height + 1) / 2, round, 3), Region<T>(s.width / 2, s.height / 2, round, 4)},
        steps{regions[0].step(), regions[1].step(), regions[2].step(), regions[3].step()} {}

  void set(const model::FourBands<T>& bands) {
    for (size_t i = 0; i < 4; ++i) regions[i].set(bands[i].samples);
  }
  template <typename Element>
  std::array<Element*, 4> pointers() const {
    return {regions[0].data(), regions[1].data(), regions[2].data(), regions[3].data()};
  }
};

template <typename T, typename Buffer>
void checkForwardBands(QlmStatus (*function)(const T*, int32_t, QlmRect, T* const*, const int32_t*, Buffer*),
                       ScratchSize* query, const PlaneModel<T>& model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllShapes([&](Shape shape, size_t round, unsigned turn) {
    const int phaseX = turn & 1, phaseY = turn >> 1;
    const QlmRect rect = rectOf(shape, phaseX, phaseY, round);
    model::Plane<T> plane = randomPlane<T>(shape, round, turn, random);
    Region<T> src(shape.width, shape.height, round, 0);
    src.set(plane.samples);
    const auto before = src.bytes();
    model(plane, phaseX, phaseY);
    BandRegions<T> actual(shape, round), expected(shape, round);
    expected.set(model::cutBands(plane));
    const Scratch scratch = scratchFor(query, rect, round);
    const auto dst = actual.template pointers<T>();
    ASSERT_EQ(function(src.data(), src.step(), rect, dst.data(), actual.steps.data(), scratch.data()), qlmOk);
    for (size_t i = 0; i < 4; ++i)
      ASSERT_TRUE(sameBytes(expected.regions[i].bytes(), actual.regions[i].bytes()))
          << "band " << i << " phases " << phaseX << ' ' << phaseY;
    ASSERT_TRUE(src.unchanged(before) && scratch.slackUnchanged());
  });
}

template <typename T, typename Buffer>
void checkInverseBands(QlmStatus (*function)(const T* const*, const int32_t*, T*, int32_t, QlmRect, Buffer*),
                       ScratchSize* query, const PlaneModel<T>& model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllShapes([&](Shape shape, size_t round, unsigned turn) {
    const int phaseX = turn & 1, phaseY = turn >> 1;
    const QlmRect rect = rectOf(shape, phaseX, phaseY, round);
    model::Plane<T> plane = randomPlane<T>(shape, round, turn, random);
    BandRegions<T> src(shape, round), untouched(shape, round);
    src.set(model::cutBands(plane));
    untouched.set(model::cutBands(plane));
    model(plane, phaseX, phaseY);
    Region<T> actual(shape.width, shape.height, round, 0), expected(shape.width, shape.height, round, 0);
    expected.set(plane.samples);
    const Scratch scratch = scratchFor(query, rect, round);
    const auto bands = src.template pointers<const T>();
    ASSERT_EQ(function(bands.data(), src.steps.data(), actual.data(), actual.step(), rect, scratch.data()), qlmOk);
    ASSERT_TRUE(sameBytes(expected.bytes(), actual.bytes())) << "phases " << phaseX << ' ' << phaseY;
    for (size_t i = 0; i < 4; ++i) ASSERT_TRUE(src.regions[i].unchanged(untouched.regions[i].bytes()));
    ASSERT_TRUE(scratch.slackUnchanged());
  });
}

// Out of place a whole level is read before any of it is written, so that the four bands may lie in the plane itself,
// as they do in place.
template <typename T, typename InPlace, typename Bands>
void checkBandsInThePlane(InPlace* forward, InPlace* inverse, Bands* forwardBands,
                          QlmStatus (*inverseBands)(const T* const*, const int32_t*, T*, int32_t, QlmRect, uint8_t*)) {
  Random random(0x5350);
  std::vector<uint8_t> scratch(1 << 18);
  for (const Shape shape : {Shape{1, 1}, {2, 2}, {5, 4}, {16, 16}, {37, 21}, {64, 70}, {131, 90}}) {
    for (int phases = 0; phases < 4; ++phases) {
      const QlmRect rect{phases & 1, phases >> 1, shape.width, shape.height};
      const int32_t step = shape.width * static_cast<int32_t>(sizeof(T));
      std::vector<T> expected(static_cast<size_t>(shape.width * shape.height));
      fill(std::span(expected), Samples::Picture, random);
      std::vector<T> actual = expected;
      const ptrdiff_t right = (shape.width + 1) / 2, down = ptrdiff_t{(shape.height + 1) / 2} * shape.width;
      T* const bands[4] = {actual.data(), actual.data() + down, actual.data() + right, actual.data() + down + right};
      const T* const sources[4] = {bands[0], bands[1], bands[2], bands[3]};
      const int32_t steps[4] = {step, step, step, step};
      ASSERT_EQ(forward(expected.data(), step, rect, scratch.data()), qlmOk);
      ASSERT_EQ(forwardBands(actual.data(), step, rect, bands, steps, scratch.data()), qlmOk);
      ASSERT_EQ(actual, expected) << shape.width << " x " << shape.height << " phases " << phases;
      ASSERT_EQ(inverse(expected.data(), step, rect, scratch.data()), qlmOk);
      ASSERT_EQ(inverseBands(sources, steps, actual.data(), step, rect, scratch.data()), qlmOk);
      ASSERT_EQ(actual, expected) << shape.width << " x " << shape.height << " phases " << phases << " inverse";
    }
  }
}

// The samples of a line that a Row or Col form reads to make n outputs per band, by index.
struct Span {
  int first, last;
  int size() const { return last - first + 1; }
};
struct Reads {
  std::function<Span(int n, bool odd)> source, low, high;
};

template <typename T>
using ForwardLines = QlmStatus(const T*, int32_t, T*, int32_t, T*, int32_t, QlmSize, int32_t);
template <typename T>
using InverseLines = QlmStatus(const T*, int32_t, const T*, int32_t, QlmSize, T*, int32_t, int32_t);
// n outputs per band from x, which may be read outside as Reads tells, in a band of `rowWidth` elements a row.
template <typename T>
using ForwardModel = std::function<model::BandLine<T>(const T* x, int n, int phase, int rowWidth)>;
template <typename T>
using InverseModel = std::function<std::vector<T>(const T* low, const T* high, int n, int phase, int rowWidth)>;

enum class Along { Rows, Columns };

// The line of a region across which the other index is `at`, from span.first on.
template <typename T>
std::vector<T> lineOf(const Region<T>& region, Along along, Span span, int at) {
  std::vector<T> line;
  for (int k = span.first; k <= span.last; ++k)
    line.push_back(along == Along::Rows ? region.value(k, at) : region.value(at, k));
  return line;
}

template <typename T>
Region<T> linesRegion(Along along, Span span, int lines, size_t round, size_t buffer) {
  return along == Along::Rows ? Region<T>(span.size(), lines, -span.first, 0, round, buffer)
                              : Region<T>(lines, span.size(), 0, -span.first, round, buffer);
}

template <typename T>
void setLine(Region<T>& region, Along along, const std::vector<T>& line, int at) {
  for (int k = 0; k < static_cast<int>(line.size()); ++k) {
    const T v = line[static_cast<size_t>(k)];
    along == Along::Rows ? region.setValue(k, at, v) : region.setValue(at, k, v);
  }
}

template <typename T>
void checkForwardLines(Along along, ForwardLines<T>* function, const Reads& reads,
                       const std::type_identity_t<ForwardModel<T>>& model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllShapes([&](Shape shape, size_t round, unsigned turn) {
    const int32_t phase = turn % 2 ? kOddPhases[round % std::size(kOddPhases)] : 0;
    const int n = along == Along::Rows ? shape.width : shape.height;
    const int lines = along == Along::Rows ? shape.height : shape.width;
    const Span span = reads.source(n, phase != 0);
    Region<T> src = linesRegion<T>(along, span, lines, round, 0);
    src.fill(samplesOf(round, turn), random);
    const auto before = src.bytes();
    Region<T> low(shape.width, shape.height, round, 1), expectedLow(shape.width, shape.height, round, 1);
    Region<T> high(shape.width, shape.height, round, 2), expectedHigh(shape.width, shape.height, round, 2);
    for (int i = 0; i < lines; ++i) {
      const std::vector<T> line = lineOf(src, along, span, i);
      const model::BandLine<T> bands = model(line.data() - span.first, n, phase != 0, shape.width);
      setLine(expectedLow, along, bands.low, i);
      setLine(expectedHigh, along, bands.high, i);
    }
    expectedLow.put();
    expectedHigh.put();
    ASSERT_EQ(function(src.data(), src.step(), low.data(), low.step(), high.data(), high.step(),
                       {shape.width, shape.height}, phase),
              qlmOk);
    ASSERT_TRUE(sameBytes(expectedHigh.bytes(), high.bytes())) << "high, phase " << phase;
    ASSERT_TRUE(sameBytes(expectedLow.bytes(), low.bytes())) << "low, phase " << phase;
    ASSERT_TRUE(src.unchanged(before));
  });
}

template <typename T>
void checkInverseLines(Along along, InverseLines<T>* function, const Reads& reads,
                       const std::type_identity_t<InverseModel<T>>& model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllShapes([&](Shape shape, size_t round, unsigned turn) {
    const int32_t phase = turn % 2 ? kOddPhases[round % std::size(kOddPhases)] : 0;
    const int n = along == Along::Rows ? shape.width : shape.height;
    const int lines = along == Along::Rows ? shape.height : shape.width;
    const Span lowSpan = reads.low(n, phase != 0), highSpan = reads.high(n, phase != 0);
    Region<T> low = linesRegion<T>(along, lowSpan, lines, round, 0);
    Region<T> high = linesRegion<T>(along, highSpan, lines, round, 1);
    low.fill(samplesOf(round, turn), random);
    high.fill(samplesOf(round, turn), random);
    const auto lowBefore = low.bytes(), highBefore = high.bytes();
    const Shape dstShape = along == Along::Rows ? Shape{2 * n, lines} : Shape{lines, 2 * n};
    Region<T> dst(dstShape.width, dstShape.height, round, 2), expected(dstShape.width, dstShape.height, round, 2);
    for (int i = 0; i < lines; ++i) {
      const std::vector<T> lows = lineOf(low, along, lowSpan, i), highs = lineOf(high, along, highSpan, i);
      setLine(expected, along,
              model(lows.data() - lowSpan.first, highs.data() - highSpan.first, n, phase != 0, shape.width), i);
    }
    expected.put();
    ASSERT_EQ(function(low.data(), low.step(), high.data(), high.step(), {shape.width, shape.height}, dst.data(),
                       dst.step(), phase),
              qlmOk);
    ASSERT_TRUE(sameBytes(expected.bytes(), dst.bytes())) << "phase " << phase;
    ASSERT_TRUE(low.unchanged(lowBefore) && high.unchanged(highBefore));
  });
}

// Steps on N bare rows: call(rows, width) calls the export, and model(elements, width) changes one element of each row.
template <typename T, size_t N>
void checkStep(const std::function<QlmStatus(const std::array<T*, N>&, int32_t)>& call,
               const std::function<void(std::array<T, N>&, int)>& model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  const auto check = [&](int width) {
    const auto makeRows = [&] {
      return [&]<size_t... I>(std::index_sequence<I...>) {
        return std::array<Region<T>, N>{Region<T>(width, 1, round, I)...};
      }
      (std::make_index_sequence<N>{});
    };
    auto actual = makeRows(), expected = makeRows();
    std::array<T*, N> pointers;
    for (size_t i = 0; i < N; ++i) {
      actual[i].fill(samplesOf(round, 0), random);
      pointers[i] = actual[i].data();
    }
    for (int c = 0; c < width; ++c) {
      std::array<T, N> elements;
      for (size_t i = 0; i < N; ++i) elements[i] = actual[i].value(c, 0);
      model(elements, width);
      for (size_t i = 0; i < N; ++i) expected[i].setValue(c, 0, elements[i]);
    }
    ASSERT_EQ(call(pointers, width), qlmOk);
    for (size_t i = 0; i < N; ++i) {
      expected[i].put();
      ASSERT_TRUE(sameBytes(expected[i].bytes(), actual[i].bytes())) << "row argument " << i << ", width " << width;
    }
    ++round;
  };
  for (int width = 1; width <= 67; ++width)
    for (int n = 0; n < 16; ++n) ASSERT_NO_FATAL_FAILURE(check(width));
  for (const int width : {100, 127, 128, 255, 1000, 2400, 4099})
    for (int n = 0; n < 16; ++n) ASSERT_NO_FATAL_FAILURE(check(width));
}

}  // namespace test::wavelet
