// The photo core transform (ITU-T T.832 9.9.7) against its model, there and back, and by number.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>
#include <vector>

#include "model/jpegxr_transform.h"
#include "support/placed.h"

namespace {

using model::PctBlockTransform;
using test::Data;
using test::Placed;
using test::Random;

struct Region {
  size_t width, height;
};

QlmSize sizeOf(Region region) { return {static_cast<int32_t>(region.width), static_cast<int32_t>(region.height)}; }

template <typename T>
using General = QlmStatus (*)(T*, int32_t, QlmSize);
template <typename T>
using Fixed = QlmStatus (*)(T*, int32_t);

// Integers take any value; floats none that overflows or gets so small that it loses bits.
template <typename T>
void fill(std::vector<T>& out, Data kind, size_t round, Random& random) {
  if constexpr (std::is_same_v<T, float>) {
    std::vector<int32_t> integers(out.size());
    test::fillData(std::span(integers), kind, random);
    for (size_t i = 0; i < out.size(); ++i)
      out[i] = std::ldexp(static_cast<float>(integers[i]), static_cast<int>(random.between(-40, 0)));
  } else {
    test::fillData(std::span(out), kind, random);
    if (kind != Data::Noise) return;
    // Full range; a range whose threefold values wrap in 16 bits here and there; and samples as pictures have them.
    if (round % 3 == 1) random.fill(std::span(out), -5000, 5000);
    if (round % 3 == 2) random.fill(std::span(out), -255, 255);
  }
}

template <typename T, typename Call>
void check(Region region, Data kind, size_t round, PctBlockTransform<T> model, bool general, const Call& call,
           Random& random) {
  std::vector<T> samples(region.width * region.height);
  fill(samples, kind, round, random);
  const auto [slack, edge] = test::mostlyFlushPlaceOf(round, 0);
  const size_t step = test::stepOf(round, region.width * sizeof(T));
  Placed<T> actual(region.width, region.height, step, slack, edge),
      expected(region.width, region.height, step, slack, edge);
  actual.set(samples);
  model::transformRegion(samples, region.width, region.height, model);
  expected.set(samples);
  ASSERT_EQ(call(actual.data(), actual.step()), qlmOk);
  ASSERT_TRUE(test::sameBytes(expected.snapshot(), actual.snapshot()))
      << region.width << " x " << region.height << " round " << round << (general ? "" : " (fixed shape)");
}

template <typename T>
void checkRegions(General<T> function, PctBlockTransform<T> model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  const auto at = [&](Region region, Data kind) {
    const auto call = [&](T* srcDst, int32_t step) { return function(srcDst, step, sizeOf(region)); };
    ASSERT_NO_FATAL_FAILURE(check<T>(region, kind, round++, model, true, call, random));
  };
  for (size_t width = 4; width <= 68; width += 4)
    for (const size_t height : {4u, 8u, 12u, 20u})
      for (const Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(at({width, height}, kind));
  for (const Region region : {Region{128, 64}, {132, 36}, {4, 300}, {68, 68}, {1020, 8}, {4100, 4}})
    for (const Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(at(region, kind));
  for (const size_t width : {4u, 8u, 12u, 16u, 20u, 32u, 36u, 64u})
    for (size_t n = 0; n < test::kPlaces; ++n) ASSERT_NO_FATAL_FAILURE(at({width, 8}, Data::Noise));
}

template <typename T>
void checkShape(Fixed<T> function, Region region, PctBlockTransform<T> model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  for (const Data kind : test::kAllData)
    for (size_t n = 0; n < 2 * test::kPlaces; ++n)
      ASSERT_NO_FATAL_FAILURE(check<T>(region, kind, round++, model, false, function, random));
}

#define GENERAL(NAME, T, MODEL, STREAM) \
  TEST(Model, qlmi##NAME##_C1IR) { checkRegions<T>(qlmi##NAME##_C1IR, MODEL<T>, STREAM); }
GENERAL(PCTFwd_JPEGXR_16s, int16_t, model::forwardPct, 0x8100)
GENERAL(PCTFwd_JPEGXR_32s, int32_t, model::forwardPct, 0x8101)
GENERAL(PCTFwd_JPEGXR_32f, float, model::forwardPct, 0x8102)
GENERAL(PCTInv_JPEGXR_16s, int16_t, model::inversePct, 0x8103)
GENERAL(PCTInv_JPEGXR_32s, int32_t, model::inversePct, 0x8104)
GENERAL(PCTInv_JPEGXR_32f, float, model::inversePct, 0x8105)
#undef GENERAL

#define SHAPE(NAME, WIDTH, HEIGHT, TYPE, T, MODEL, STREAM)                                                        \
  TEST(Model, qlmi##NAME##WIDTH##x##HEIGHT##_JPEGXR_##TYPE##_C1IR) {                                              \
    checkShape<T>(qlmi##NAME##WIDTH##x##HEIGHT##_JPEGXR_##TYPE##_C1IR, {WIDTH, HEIGHT}, model::MODEL<T>, STREAM); \
  }
SHAPE(PCTFwd, 8, 8, 16s, int16_t, forwardPct, 0x8110)
SHAPE(PCTFwd, 8, 8, 32s, int32_t, forwardPct, 0x8111)
SHAPE(PCTFwd, 8, 8, 32f, float, forwardPct, 0x8112)
SHAPE(PCTFwd, 8, 16, 16s, int16_t, forwardPct, 0x8113)
SHAPE(PCTFwd, 8, 16, 32s, int32_t, forwardPct, 0x8114)
SHAPE(PCTFwd, 8, 16, 32f, float, forwardPct, 0x8115)
SHAPE(PCTFwd, 16, 16, 16s, int16_t, forwardPct, 0x8116)
SHAPE(PCTFwd, 16, 16, 32s, int32_t, forwardPct, 0x8117)
SHAPE(PCTFwd, 16, 16, 32f, float, forwardPct, 0x8118)
SHAPE(PCTInv, 8, 8, 16s, int16_t, inversePct, 0x8119)
SHAPE(PCTInv, 8, 8, 32s, int32_t, inversePct, 0x811A)
SHAPE(PCTInv, 8, 8, 32f, float, inversePct, 0x811B)
SHAPE(PCTInv, 8, 16, 16s, int16_t, inversePct, 0x811C)
SHAPE(PCTInv, 8, 16, 32s, int32_t, inversePct, 0x811D)
SHAPE(PCTInv, 8, 16, 32f, float, inversePct, 0x811E)
SHAPE(PCTInv, 16, 16, 16s, int16_t, inversePct, 0x811F)
SHAPE(PCTInv, 16, 16, 32s, int32_t, inversePct, 0x8120)
SHAPE(PCTInv, 16, 16, 32f, float, inversePct, 0x8121)
#undef SHAPE

// The two general forms of an element type.
template <typename T>
struct Pair;
template <>
struct Pair<int16_t> {
  static constexpr auto kForward = qlmiPCTFwd_JPEGXR_16s_C1IR, kInverse = qlmiPCTInv_JPEGXR_16s_C1IR;
};
template <>
struct Pair<int32_t> {
  static constexpr auto kForward = qlmiPCTFwd_JPEGXR_32s_C1IR, kInverse = qlmiPCTInv_JPEGXR_32s_C1IR;
};
template <>
struct Pair<float> {
  static constexpr auto kForward = qlmiPCTFwd_JPEGXR_32f_C1IR, kInverse = qlmiPCTInv_JPEGXR_32f_C1IR;
};

// One block, several times side by side, in the vectors of 2, 4 and 8 blocks and in what remains of them.
template <typename T>
void expectBlocks(const std::array<T, 16>& samples, const std::array<T, 16>& coefficients) {
  for (const size_t blocks : {2u, 4u, 6u, 10u}) {
    std::vector<T> plane(16 * blocks), transformed(16 * blocks);
    for (size_t y = 0; y < 4; ++y)
      for (size_t x = 0; x < 4 * blocks; ++x) {
        plane[4 * blocks * y + x] = samples[4 * y + x % 4];
        transformed[4 * blocks * y + x] = coefficients[4 * y + x % 4];
      }
    const std::vector<T> before = plane;
    const auto step = static_cast<int32_t>(4 * blocks * sizeof(T));
    const QlmSize size{static_cast<int32_t>(4 * blocks), 4};
    ASSERT_EQ(Pair<T>::kForward(plane.data(), step, size), qlmOk);
    EXPECT_EQ(plane, transformed) << blocks << " blocks";
    ASSERT_EQ(Pair<T>::kInverse(plane.data(), step, size), qlmOk);
    EXPECT_EQ(plane, before) << blocks << " blocks";
  }
}

template <typename T>
std::array<T, 16> flat(T v) {
  std::array<T, 16> block;
  block.fill(v);
  return block;
}

TEST(PhotoCoreTransform, EqualValuesGiveFourTimesTheirValueAtDc) {
  for (const int v : {0, 1, 2, 3, -1, -2, -3, 100, -100, 2047, -2048, 8191, -8192}) {
    std::array<int16_t, 16> narrow{};
    narrow[0] = static_cast<int16_t>(4 * v);
    expectBlocks(flat(static_cast<int16_t>(v)), narrow);
    expectBlocks(flat(v), {4 * v});
    expectBlocks(flat(static_cast<float>(v)), {static_cast<float>(4 * v)});
  }
}

// A single value of 16 in the corner, worked out by hand: all four of the first stage's sums are 8.
TEST(PhotoCoreTransform, CornerImpulse) {
  expectBlocks<int32_t>({16}, {4, 4, 4, 6,  //
                               4, 4, 1, 2,  //
                               4, 1, 1, 3,  //
                               6, 2, 3, 7});
  expectBlocks<int16_t>({16}, {4, 4, 4, 6,  //
                               4, 4, 1, 2,  //
                               4, 1, 1, 3,  //
                               6, 2, 3, 7});
  // Without rounding. Odd parts: q = 8, s = 4, r = -1.5, p = 3, s = 4 - 0.5625 - 1.5, r = -1.5 + 4.
  expectBlocks<float>({16}, {4, 4, 4.9375F, 5.5F,          //
                             4, 4, 1.9375F, 2.5F,          //
                             4.9375F, 1.9375F, 1.125F, 3,  //
                             5.5F, 2.5F, 3, 6.875F});
}

// Two values of 21846 in the top corners give A1 = B1 = 21846 and nothing else. In the rotation of B1, s = 10923 and
// 3s + 4 = 32773 wraps to -32763 in 16 bits, 3q + 4 = 65542 to 6.
TEST(PhotoCoreTransform, SixteenBitsWrapInEachOperation) {
  expectBlocks<int16_t>({21846, 0, 0, 21846}, {10923, 10923, 12459, 6827,  //
                                               10923, 10923, 12459, 15019});
  expectBlocks<int32_t>({21846, 0, 0, 21846}, {10923, 10923, 13483, 15019,  //
                                               10923, 10923, 5291, 6827});
}

// Each lifting step wraps the same way in both directions, so that blocks come back whatever they hold.
template <typename T>
void checkRoundTrip(uint64_t stream) {
  TRACE_SEED(stream);
  constexpr int32_t kWidth = 68, kHeight = 64;
  Random random(stream);
  std::vector<T> plane(kWidth * kHeight);
  random.fill(std::span(plane));
  const std::vector<T> before = plane;
  constexpr auto kStep = static_cast<int32_t>(kWidth * sizeof(T));
  ASSERT_EQ(Pair<T>::kForward(plane.data(), kStep, {kWidth, kHeight}), qlmOk);
  EXPECT_NE(plane, before);
  ASSERT_EQ(Pair<T>::kInverse(plane.data(), kStep, {kWidth, kHeight}), qlmOk);
  EXPECT_EQ(plane, before);
}

TEST(PhotoCoreTransform, FullRangeComesBackIn16Bits) { checkRoundTrip<int16_t>(0x8130); }

TEST(PhotoCoreTransform, SamplesComeBackIn32Bits) {
  TRACE_SEED(0x8131);
  Random random(0x8131);
  std::vector<int32_t> plane(68 * 64);
  random.fill(std::span(plane), -(1 << 24), 1 << 24);
  const std::vector<int32_t> before = plane;
  ASSERT_EQ(qlmiPCTFwd_JPEGXR_32s_C1IR(plane.data(), 272, {68, 64}), qlmOk);
  EXPECT_NE(plane, before);
  ASSERT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(plane.data(), 272, {68, 64}), qlmOk);
  EXPECT_EQ(plane, before);
}

TEST(PhotoCoreTransform, FloatsComeBackButForRounding) {
  TRACE_SEED(0x8132);
  Random random(0x8132);
  std::vector<float> plane(64 * 64);
  for (float& v : plane) v = static_cast<float>(random.between(-65536, 65536)) / 65536;
  const std::vector<float> before = plane;
  ASSERT_EQ(qlmiPCTFwd_JPEGXR_32f_C1IR(plane.data(), 256, {64, 64}), qlmOk);
  ASSERT_EQ(qlmiPCTInv_JPEGXR_32f_C1IR(plane.data(), 256, {64, 64}), qlmOk);
  for (size_t i = 0; i < plane.size(); ++i) ASSERT_NEAR(plane[i], before[i], 4e-6) << i;
}

// Kept as it is: the general float form takes eight columns a round and leaves out four that remain.
template <typename Transform>
void checkColumnsLeftOut(Transform transform) {
  for (const int32_t width : {4, 12, 20, 36, 68}) {
    const auto columns = static_cast<size_t>(width);
    std::vector<float> plane(columns * 8);
    for (size_t i = 0; i < plane.size(); ++i) plane[i] = static_cast<float>(i * i % 97);
    const std::vector<float> before = plane;
    ASSERT_EQ(transform(plane.data(), 4 * width, QlmSize{width, 8}), qlmOk);
    for (size_t y = 0; y < 8; ++y)
      for (size_t x = columns - 4; x < columns; ++x)
        EXPECT_EQ(plane[y * columns + x], before[y * columns + x]) << width << ": " << x << ' ' << y;
    if (width > 4) {
      EXPECT_NE(plane[columns - 8], before[columns - 8]);
    }
  }
}

TEST(PhotoCoreTransform, FloatsLeaveOutTheLastFourColumns) {
  checkColumnsLeftOut(qlmiPCTFwd_JPEGXR_32f_C1IR);
  checkColumnsLeftOut(qlmiPCTInv_JPEGXR_32f_C1IR);
}

TEST(PhotoCoreTransform, IntegersTransformAllBlocksOfTwelveColumns) {
  std::vector<int16_t> narrow(48, 5);
  std::vector<int32_t> wide(48, 5);
  ASSERT_EQ(qlmiPCTFwd_JPEGXR_16s_C1IR(narrow.data(), 24, {12, 4}), qlmOk);
  ASSERT_EQ(qlmiPCTFwd_JPEGXR_32s_C1IR(wide.data(), 48, {12, 4}), qlmOk);
  for (size_t i = 0; i < 48; ++i) {
    const int32_t expected = i == 0 || i == 4 || i == 8 ? 20 : 0;
    EXPECT_EQ(narrow[i], expected) << i;
    EXPECT_EQ(wide[i], expected) << i;
  }
}

// The step is compared as an unsigned number, so that a negative one passes; its rows lie upward.
template <typename T>
void checkNegativeStep(uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  constexpr int32_t kStep = 128;
  for (const auto& [width, height] : {Region{8, 8}, {16, 16}, {24, 4}, {28, 12}}) {
    std::vector<T> samples(width * height), turned(width * height);
    fill(samples, Data::Noise, 1, random);
    const auto turn = [&, w = width, h = height](const std::vector<T>& from, std::vector<T>& to) {
      for (size_t y = 0; y < h; ++y)
        std::copy_n(from.begin() + static_cast<ptrdiff_t>(y * w), w,
                    to.begin() + static_cast<ptrdiff_t>((h - 1 - y) * w));
    };
    Placed<T> actual(width, height, kStep, 0, test::Edge::Back), expected(width, height, kStep, 0, test::Edge::Back);
    turn(samples, turned);
    actual.set(turned);
    model::transformRegion(samples, width, height, model::forwardPct<T>);
    turn(samples, turned);
    expected.set(turned);
    T* const lastRow = actual.data() + (height - 1) * kStep / sizeof(T);
    ASSERT_EQ(Pair<T>::kForward(lastRow, -kStep, sizeOf({width, height})), qlmOk);
    EXPECT_TRUE(test::sameBytes(expected.snapshot(), actual.snapshot())) << width << " x " << height;
  }
}

TEST(PhotoCoreTransform, NegativeStepsAddressRowsUpward) {
  checkNegativeStep<int16_t>(0x8140);
  checkNegativeStep<int32_t>(0x8141);
  checkNegativeStep<float>(0x8142);

  std::array<int32_t, 64> block;
  block.fill(3);
  ASSERT_EQ(qlmiPCTFwd8x8_JPEGXR_32s_C1IR(block.data() + 56, -32), qlmOk);
  for (size_t i = 0; i < 64; ++i) EXPECT_EQ(block[i], (i == 24 || i == 28 || i == 56 || i == 60) ? 12 : 0) << i;
}

TEST(PhotoCoreTransform, OrderAndLimitsOfTheChecks) {
  int32_t wide[64]{};
  int16_t narrow[64]{};
  EXPECT_EQ(qlmiPCTFwd_JPEGXR_16s_C1IR(narrow, 16, {6, 4}), qlmErrSize);
  EXPECT_EQ(qlmiPCTFwd_JPEGXR_16s_C1IR(narrow, 11, {6, 4}), qlmErrStep);
  EXPECT_EQ(qlmiPCTFwd_JPEGXR_16s_C1IR(narrow, 12, {6, 4}), qlmErrSize);
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, 8, {8, 4}), qlmErrStep);
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, 31, {8, 4}), qlmErrStep);
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, 32, {8, 4}), qlmOk);
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, 1, {8, 0}), qlmErrSize);  // before the step as well
  // Rows longer than any step.
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, 64, {1 << 30, 4}), qlmErrStep);
  EXPECT_EQ(qlmiPCTInv_JPEGXR_32s_C1IR(wide, -64, {1 << 30, 4}), qlmErrStep);
}

}  // namespace
