// Chroma sampling of planes and rows against its models: all widths, heights, steps and alignments, exactly the samples
// that are named, and the literal values of biases and edges.
#include <gtest/gtest.h>

#include <algorithm>

#include "model/jpeg_sampling.h"
#include "support/placed.h"

namespace {

using test::Edge;
using test::Placed;
using test::Random;

using Bytes = std::vector<uint8_t>;
using PlaneExport = decltype(qlmiSampleDownH2V1_JPEG_8u_C1R)*;
using PlaneModel = decltype(model::downPlaneH2V1)*;

struct Region {
  size_t width, height;
};

// A plane form, and which samples of the source a region of the destination is made of: `columns` x `rows` of them,
// with the source pointer on the one at (x, y).
struct PlaneForm {
  PlaneExport function;
  PlaneModel model;
  size_t x, y;
  size_t (*columns)(size_t dstWidth);
  size_t (*rows)(size_t dstHeight);
};
constexpr auto same = [](size_t n) { return n; };
constexpr auto twice = [](size_t n) { return 2 * n; };
// One before the first, and one behind the last if the last output is an odd one.
constexpr auto framedHalf = [](size_t n) { return n / 2 + 2; };

constexpr PlaneForm kDownH2V1{qlmiSampleDownH2V1_JPEG_8u_C1R, model::downPlaneH2V1, 0, 0, twice, same};
constexpr PlaneForm kDownH2V2{qlmiSampleDownH2V2_JPEG_8u_C1R, model::downPlaneH2V2, 0, 0, twice, twice};
constexpr PlaneForm kUpH2V1{qlmiSampleUpH2V1_JPEG_8u_C1R, model::upPlaneH2V1, 1, 0, framedHalf, same};
constexpr PlaneForm kUpH2V2{qlmiSampleUpH2V2_JPEG_8u_C1R, model::upPlaneH2V2, 1, 1, framedHalf, framedHalf};

Bytes expectedPlane(const PlaneForm& form, const Bytes& samples, Region region) {
  const size_t columns = form.columns(region.width);
  const auto at = [&](int x, int y) {
    return int{samples.at((form.y + static_cast<size_t>(y)) * columns + form.x + static_cast<size_t>(x))};
  };
  return form.model(at, static_cast<int>(region.width), static_cast<int>(region.height));
}

QlmSize sizeOf(Region region) { return {static_cast<int32_t>(region.width), static_cast<int32_t>(region.height)}; }

// The source's size takes no part: any legal one does.
QlmSize anySize(Random& random) {
  return {static_cast<int32_t>(random.between(1, INT32_MAX)), static_cast<int32_t>(random.between(1, INT32_MAX))};
}

void checkPlaneForm(uint64_t stream, const PlaneForm& form) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  const auto check = [&](Region region, test::Data kind) {
    const size_t columns = form.columns(region.width), rows = form.rows(region.height);
    const auto [srcSlack, srcEdge] = test::placeOf(round, 0);
    const auto [dstSlack, dstEdge] = test::placeOf(round, 1);
    const size_t dstStep = test::stepOf(round / 3, region.width);
    Placed<uint8_t> src(columns, rows, test::stepOf(round, columns), srcSlack, srcEdge);
    Placed<uint8_t> dst(region.width, region.height, dstStep, dstSlack, dstEdge);
    Placed<uint8_t> expected(region.width, region.height, dstStep, dstSlack, dstEdge);
    ++round;
    Bytes samples(columns * rows);
    test::fillData(std::span(samples), kind, random);
    src.set(samples);
    expected.set(expectedPlane(form, samples, region));
    const auto srcBefore = src.snapshot();
    const uint8_t* first = src.data() + form.y * static_cast<size_t>(src.step()) + form.x;
    ASSERT_EQ(form.function(first, src.step(), anySize(random), dst.data(), dst.step(), sizeOf(region)), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot()))
        << region.width << " x " << region.height << " round " << round;
    ASSERT_EQ(src.snapshot(), srcBefore);
  };
  for (size_t width = 1; width <= 67; ++width)
    for (const size_t height : {1u, 2u, 3u, 8u})
      for (const test::Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check({width, height}, kind));
  for (const Region region : {Region{127, 5},
                              {128, 64},
                              {1, 8192},
                              {1, 8193},
                              {8192, 1},
                              {8193, 1},
                              {129, 65},
                              {1000, 9},
                              {4099, 3},
                              {100000, 1},
                              {31, 700}})
    ASSERT_NO_FATAL_FAILURE(check(region, test::Data::Noise));
  for (const size_t width : {1u, 7u, 8u, 15u, 16u, 17u, 31u, 32u, 33u, 34u, 35u, 63u, 64u, 65u, 66u})
    for (size_t n = 0; n < test::kPlaces * 2; ++n) ASSERT_NO_FATAL_FAILURE(check({width, 2}, test::Data::Noise));

  // Each row of source and destination between inaccessible pages of its own, flush at the back, then at the front.
  for (size_t width = 1; width <= 140; ++width) {
    for (const size_t height : {1u, 2u, 3u}) {
      for (const Edge edge : {Edge::Back, Edge::Front}) {
        const size_t columns = form.columns(width), rows = form.rows(height);
        const test::GuardedRows src(columns, rows, edge), dst(width, height, edge);
        Bytes samples(columns * rows);
        random.fill(std::span(samples));
        for (size_t y = 0; y < rows; ++y) std::copy_n(&samples[y * columns], columns, src.row(y));
        const uint8_t* first = src.row(form.y) + form.x;
        ASSERT_EQ(form.function(first, src.step(), {1, 1}, dst.row(0), dst.step(), sizeOf({width, height})), qlmOk);
        const Bytes expected = expectedPlane(form, samples, {width, height});
        for (size_t y = 0; y < height; ++y)
          ASSERT_TRUE(std::equal(dst.row(y), dst.row(y) + width, &expected[y * width])) << width << ", row " << y;
      }
    }
  }

  // Source rows that overlap each other.
  for (const size_t step : {1u, 3u, 40u}) {
    const Region region{70, 6};
    const size_t columns = form.columns(region.width), rows = form.rows(region.height);
    Placed<uint8_t> src(columns, rows, step, 0, Edge::Back);
    Bytes samples(columns * rows);
    random.fill(std::span(samples));
    src.set(samples);
    src.get(samples);
    Bytes out(region.width * region.height);
    ASSERT_EQ(form.function(src.data() + form.y * step + form.x, src.step(), {1, 1}, out.data(),
                            static_cast<int32_t>(region.width), sizeOf(region)),
              qlmOk);
    EXPECT_EQ(out, expectedPlane(form, samples, region)) << "step " << step;
  }
}

TEST(Model, qlmiSampleDownH2V1_JPEG_8u_C1R) { checkPlaneForm(0x4101, kDownH2V1); }
TEST(Model, qlmiSampleDownH2V2_JPEG_8u_C1R) { checkPlaneForm(0x4102, kDownH2V2); }
TEST(Model, qlmiSampleUpH2V1_JPEG_8u_C1R) { checkPlaneForm(0x4103, kUpH2V1); }
TEST(Model, qlmiSampleUpH2V2_JPEG_8u_C1R) { checkPlaneForm(0x4104, kUpH2V2); }

// A row form over one or two source rows: call(rows, width, destination); how much of each row it reads, how much it
// writes, and what.
template <typename Call, typename Samples, typename Outputs, typename Model>
void checkRowForm(uint64_t stream, int sources, int leastWidth, Call call, Samples samplesRead, Outputs outputs,
                  Model model) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  const auto check = [&](int width, test::Data kind) {
    const auto samples = static_cast<size_t>(samplesRead(width)), count = static_cast<size_t>(outputs(width));
    const auto place = [&](size_t buffer, size_t bytes) {
      const auto [slack, edge] = test::placeOf(round, buffer);
      return Placed<uint8_t>(bytes, 1, bytes, slack, edge);
    };
    Placed<uint8_t> a = place(0, samples), b = place(1, samples), dst = place(2, count), expected = place(2, count);
    ++round;
    Bytes aRow(samples), bRow(samples);
    test::fillData(std::span(aRow), kind, random);
    test::fillData(std::span(bRow), kind, random);
    a.set(aRow);
    b.set(bRow);
    expected.set(model(aRow, bRow, width));
    const auto aBefore = a.snapshot(), bBefore = b.snapshot();
    ASSERT_EQ(call(a.data(), b.data(), width, dst.data()), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "width " << width << " round " << round;
    ASSERT_EQ(a.snapshot(), aBefore);
    if (sources == 2) {
      ASSERT_EQ(b.snapshot(), bBefore);
    }
  };
  for (int width = leastWidth; width <= 300; ++width)
    for (const test::Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check(width, kind));
  for (const int width : {511, 512, 513, 1023, 4096, 8193, 65535, 100001})
    for (const test::Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check(width, kind));
  for (int width = leastWidth; width <= 140; ++width)
    for (size_t n = 0; n < test::kPlaces; ++n) ASSERT_NO_FATAL_FAILURE(check(width, test::Data::Noise));
}

TEST(Model, qlmiSampleDownRowH2V1_Box_JPEG_8u_C1) {
  checkRowForm(
      0x4111, 1, 2,
      [](const uint8_t* a, const uint8_t*, int32_t n, uint8_t* dst) {
        return qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(a, n, dst);
      },
      [](int n) { return 2 * model::downRowOutputs(n); }, model::downRowOutputs,
      [](const Bytes& a, const Bytes&, int n) { return model::downRow(a, n); });
}
TEST(Model, qlmiSampleDownRowH2V2_Box_JPEG_8u_C1) {
  checkRowForm(
      0x4112, 2, 1, qlmiSampleDownRowH2V2_Box_JPEG_8u_C1, [](int n) { return 2 * model::downTwoRowsOutputs(n); },
      model::downTwoRowsOutputs, model::downTwoRows);
}
TEST(Model, qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1) {
  checkRowForm(
      0x4113, 1, 2,
      [](const uint8_t* a, const uint8_t*, int32_t n, uint8_t* dst) {
        return qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(a, n, dst);
      },
      [](int n) { return n; }, [](int n) { return 2 * n; },
      [](const Bytes& a, const Bytes&, int) { return model::upRow(a); });
}
TEST(Model, qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1) {
  checkRowForm(
      0x4114, 2, 2,
      [](const uint8_t* a, const uint8_t* b, int32_t n, uint8_t* dst) {
        return qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(a, b, n, dst);
      },
      [](int n) { return n; }, [](int n) { return 2 * n; },
      [](const Bytes& a, const Bytes& b, int) { return model::upNearAndFarRow(a, b); });
}

Bytes planeOf(PlaneExport function, const Bytes& src, int32_t step, size_t first, QlmSize dstSize) {
  Bytes out(static_cast<size_t>(dstSize.width) * static_cast<size_t>(dstSize.height));
  EXPECT_EQ(function(&src[first], step, {1, 1}, out.data(), dstSize.width, dstSize), qlmOk);
  return out;
}
Bytes downRow(const Bytes& s) {
  Bytes out(s.size() / 2);
  EXPECT_EQ(qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(s.data(), static_cast<int32_t>(s.size()), out.data()), qlmOk);
  return out;
}
Bytes upRow(const Bytes& s) {
  Bytes out(2 * s.size());
  EXPECT_EQ(qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(s.data(), static_cast<int32_t>(s.size()), out.data()), qlmOk);
  return out;
}
Bytes upRows(const Bytes& near, const Bytes& far) {
  Bytes out(2 * near.size());
  EXPECT_EQ(
      qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(near.data(), far.data(), static_cast<int32_t>(near.size()), out.data()),
      qlmOk);
  return out;
}

TEST(Sampling, RowsAlternateTheirBiasAndPlanesDoNot) {
  EXPECT_EQ(downRow({1, 2}), (Bytes{1}));
  EXPECT_EQ(downRow({1, 2, 1, 2}), (Bytes{1, 2}));
  EXPECT_EQ(planeOf(qlmiSampleDownH2V1_JPEG_8u_C1R, {1, 2, 1, 2}, 4, 0, {2, 1}), (Bytes{2, 2}));

  // Sums of 1 and 2: biases 1 and 2 in the row form, 3 in the plane form.
  const Bytes a{0, 1, 0, 1, 1, 1, 1, 1}, b(8, 0);
  Bytes out(4);
  ASSERT_EQ(qlmiSampleDownRowH2V2_Box_JPEG_8u_C1(a.data(), b.data(), 8, out.data()), qlmOk);
  EXPECT_EQ(out, (Bytes{0, 0, 0, 1}));
  Bytes both = a;
  both.insert(both.end(), b.begin(), b.end());
  EXPECT_EQ(planeOf(qlmiSampleDownH2V2_JPEG_8u_C1R, both, 8, 0, {4, 1}), (Bytes{1, 1, 1, 1}));
}

TEST(Sampling, ExtremesDoNotOverflow) {
  for (const int v : {0, 255}) {
    const Bytes flat(600, static_cast<uint8_t>(v)), row(70, static_cast<uint8_t>(v));
    EXPECT_EQ(planeOf(qlmiSampleDownH2V1_JPEG_8u_C1R, flat, 140, 0, {70, 1}), row);
    EXPECT_EQ(planeOf(qlmiSampleDownH2V2_JPEG_8u_C1R, flat, 140, 0, {70, 1}), row);
    EXPECT_EQ(planeOf(qlmiSampleUpH2V1_JPEG_8u_C1R, flat, 140, 1, {70, 1}), row);
    EXPECT_EQ(planeOf(qlmiSampleUpH2V2_JPEG_8u_C1R, flat, 140, 141, {70, 1}), row);
  }
}

TEST(Sampling, OutputsOfOddWidths) {
  const Bytes a(64, 9), b(64, 9);
  const auto written = [&](int32_t width) {
    Bytes out(40, 0xEE);
    EXPECT_EQ(qlmiSampleDownRowH2V2_Box_JPEG_8u_C1(a.data(), b.data(), width, out.data()), qlmOk);
    return std::count(out.begin(), out.end(), 9);
  };
  EXPECT_EQ(written(1), 1);
  EXPECT_EQ(written(30), 15);
  EXPECT_EQ(written(31), 16);  // the last of them reads a 32nd sample
  EXPECT_EQ(written(32), 16);
  EXPECT_EQ(written(33), 16);
  EXPECT_EQ(written(35), 17);
  Bytes out(40, 0xEE);
  ASSERT_EQ(qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(a.data(), 3, out.data()), qlmOk);
  EXPECT_EQ(std::count(out.begin(), out.end(), 9), 1);
  const test::Guarded<uint8_t> nothing(0);
  EXPECT_EQ(qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(nothing.data(), 1, nothing.data()), qlmOk);
}

TEST(Sampling, EqualSamplesStayEqualWhenDoubled) {
  for (int v = 0; v < 256; ++v) {
    const auto value = static_cast<uint8_t>(v);
    EXPECT_EQ(upRow({value, value}), Bytes(4, value));
    EXPECT_EQ(upRow(Bytes(50, value)), Bytes(100, value));
    EXPECT_EQ(upRows({value, value}, {value, value}), Bytes(4, value));
    EXPECT_EQ(upRows(Bytes(50, value), Bytes(50, value)), Bytes(100, value));
  }
}

TEST(Sampling, TrianglesAtTheEndsOfRowsAndPlanes) {
  // (3 * 0 + 100 + 2) >> 2 and (3 * 100 + 0 + 1) >> 2 between copies of the ends.
  EXPECT_EQ(upRow({0, 100}), (Bytes{0, 25, 75, 100}));
  // The plane takes what stands before and behind the row: (0 + 200 + 1) >> 2 and (300 + 8 + 2) >> 2.
  EXPECT_EQ(planeOf(qlmiSampleUpH2V1_JPEG_8u_C1R, {200, 0, 100, 8}, 4, 1, {4, 1}), (Bytes{50, 25, 75, 77}));
  // c of 10 and 40: (4 * 10 + 8) >> 4, (30 + 40 + 7) >> 4, (120 + 10 + 8) >> 4, (4 * 40 + 7) >> 4.
  EXPECT_EQ(upRows({3, 13}, {1, 1}), (Bytes{3, 4, 8, 10}));
  // Rows 10, 20 and 40: row 0 looks up, row 1 down.
  Bytes rows;
  for (const uint8_t v : {10, 20, 40}) rows.insert(rows.end(), 4, v);
  EXPECT_EQ(planeOf(qlmiSampleUpH2V2_JPEG_8u_C1R, rows, 4, 5, {2, 2}), (Bytes{18, 17, 25, 25}));
}

// All pairs of neighbours through vectors and single samples of each form: all sums of two, and of all four with equal
// rows; all pairs x, y of the triangle; all sums c of the doubled triangle.
TEST(Sampling, AllPairs) {
  Bytes pairs, swapped;
  for (int x = 0; x < 256; ++x)
    for (int y = 0; y < 256; ++y) {
      pairs.insert(pairs.end(), {static_cast<uint8_t>(x), static_cast<uint8_t>(y)});
      swapped.insert(swapped.end(), {static_cast<uint8_t>(255 - y), static_cast<uint8_t>(x / 2)});
    }
  const auto n = static_cast<int32_t>(pairs.size());
  EXPECT_EQ(downRow(pairs), model::downRow(pairs, n));
  EXPECT_EQ(upRow(pairs), model::upRow(pairs));
  EXPECT_EQ(upRows(pairs, swapped), model::upNearAndFarRow(pairs, swapped));
  EXPECT_EQ(upRows(swapped, pairs), model::upNearAndFarRow(swapped, pairs));
  for (const size_t length : {2u, 4u, 14u, 18u, 30u}) {
    for (size_t at = 0; at + length <= pairs.size(); at += length) {
      const Bytes some(&pairs[at], &pairs[at] + length), others(&swapped[at], &swapped[at] + length);
      ASSERT_EQ(downRow(some), model::downRow(some, static_cast<int>(length)));
      ASSERT_EQ(upRow(some), model::upRow(some));
      ASSERT_EQ(upRows(some, others), model::upNearAndFarRow(some, others));
    }
  }
}

}  // namespace
