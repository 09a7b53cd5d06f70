// The component transforms (ITU-T T.800 Annex G) against their models, there and back, and by number.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <type_traits>
#include <vector>

#include "model/jpeg2000_components.h"
#include "support/placed.h"

namespace {

using model::Pixel;
using test::Data;
using test::Placed;
using test::Random;

struct Region {
  size_t width, height;
};

std::vector<Region> regions() {
  std::vector<Region> list;
  for (size_t width = 1; width <= 67; ++width)
    for (const size_t height : {1u, 2u, 3u, 7u}) list.push_back({width, height});
  for (const Region region : {Region{100, 40}, {127, 5}, {128, 64}, {1, 300}, {1000, 9}, {4099, 2}, {8193, 1}})
    list.push_back(region);
  return list;
}

// Calls check(region, data, round) for all regions with all data, then for all alignments.
template <typename Check>
void forAllRegions(const Check& check) {
  size_t round = 0;
  for (const Region region : regions())
    for (const Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check(region, kind, round++));
  for (const size_t width : {1u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 31u, 33u})
    for (size_t n = 0; n < test::kPlaces; ++n) ASSERT_NO_FATAL_FAILURE(check({width, 2}, Data::Noise, round++));
}

template <typename T>
void fill(std::vector<T>& out, Data kind, size_t round, Random& random) {
  if constexpr (std::is_same_v<T, float>) {
    std::vector<int32_t> integers(out.size());
    test::fillData(std::span(integers), kind, random);
    for (size_t i = 0; i < out.size(); ++i)
      out[i] = std::ldexp(static_cast<float>(integers[i]), static_cast<int>(random.between(-60, 0)));
  } else {
    test::fillData(std::span(out), kind, random);
    if (kind == Data::Noise && round % 2)  // as pictures have them
      for (T& v : out) v = static_cast<T>(random.between(-2048, 2047));
  }
}

template <typename T>
using Transform = Pixel<T> (*)(Pixel<T>);

// Three planes with one step, each at an alignment of its own.
template <typename T>
struct Planes {
  std::vector<Placed<T>> planes;
  size_t step;

  Planes(Region region, size_t round, size_t firstBuffer) : step(test::stepOf(round / 2, region.width * sizeof(T))) {
    for (size_t i = 0; i < 3; ++i) {
      const auto [slack, edge] = test::mostlyFlushPlaceOf(round, firstBuffer + i);
      planes.emplace_back(region.width, region.height, step, slack, edge);
    }
  }
  void set(const std::vector<Pixel<T>>& pixels) {
    std::vector<T> elements(pixels.size());
    for (size_t i = 0; i < 3; ++i) {
      std::transform(pixels.begin(), pixels.end(), elements.begin(), [i](const Pixel<T>& p) { return p.v[i]; });
      planes[i].set(elements);
    }
  }
  int32_t stepBytes() const { return static_cast<int32_t>(step); }
  template <typename Element>
  std::array<Element*, 3> pointers() const {
    return {planes[0].data(), planes[1].data(), planes[2].data()};
  }
  ::testing::AssertionResult sameAs(const Planes& expected) const {
    for (size_t i = 0; i < 3; ++i)
      if (auto same = test::sameBytes(expected.planes[i].snapshot(), planes[i].snapshot()); !same)
        return same << " in plane " << i;
    return ::testing::AssertionSuccess();
  }
};

template <typename T>
Placed<T> interleaved(Region region, size_t round) {
  const auto [slack, edge] = test::mostlyFlushPlaceOf(round, 0);
  return {3 * region.width, region.height, test::stepOf(round, 3 * region.width * sizeof(T)), slack, edge};
}

// What a call reads and what it shall write.
template <typename T>
struct Job {
  std::vector<T> before, after;  // interleaved
  std::vector<Pixel<T>> pixelsBefore, pixelsAfter;

  Job(Region region, Data kind, size_t round, Transform<T> model, Random& random)
      : before(3 * region.width * region.height) {
    fill(before, kind, round, random);
    for (size_t i = 0; i < before.size(); i += 3) {
      pixelsBefore.push_back({{before[i], before[i + 1], before[i + 2]}});
      pixelsAfter.push_back(model(pixelsBefore.back()));
      after.insert(after.end(), std::begin(pixelsAfter.back().v), std::end(pixelsAfter.back().v));
    }
  }
};

QlmSize sizeOf(Region region) { return {static_cast<int32_t>(region.width), static_cast<int32_t>(region.height)}; }

template <typename T>
void checkInPlace(QlmStatus (*function)(T* const*, int32_t, QlmSize), Transform<T> model, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllRegions([&](Region region, Data kind, size_t round) {
    const Job<T> job(region, kind, round, model, random);
    Planes<T> actual(region, round, 0), expected(region, round, 0);
    actual.set(job.pixelsBefore);
    expected.set(job.pixelsAfter);
    ASSERT_EQ(function(actual.template pointers<T>().data(), actual.stepBytes(), sizeOf(region)), qlmOk);
    ASSERT_TRUE(actual.sameAs(expected)) << region.width << " x " << region.height << " round " << round;
  });
}

template <typename T>
void checkToPlanes(QlmStatus (*function)(const T*, int32_t, T* const*, int32_t, QlmSize), Transform<T> model,
                   uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllRegions([&](Region region, Data kind, size_t round) {
    const Job<T> job(region, kind, round, model, random);
    Placed<T> src = interleaved<T>(region, round);
    src.set(job.before);
    const auto srcBefore = src.snapshot();
    Planes<T> actual(region, round, 1), expected(region, round, 1);
    expected.set(job.pixelsAfter);
    const auto dst = actual.template pointers<T>();
    ASSERT_EQ(function(src.data(), src.step(), dst.data(), actual.stepBytes(), sizeOf(region)), qlmOk);
    ASSERT_TRUE(actual.sameAs(expected)) << region.width << " x " << region.height << " round " << round;
    ASSERT_EQ(src.snapshot(), srcBefore);
  });
}

template <typename T>
void checkFromPlanes(QlmStatus (*function)(const T* const*, int32_t, T*, int32_t, QlmSize), Transform<T> model,
                     uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  forAllRegions([&](Region region, Data kind, size_t round) {
    const Job<T> job(region, kind, round, model, random);
    Planes<T> src(region, round, 1), untouched(region, round, 1);
    src.set(job.pixelsBefore);
    untouched.set(job.pixelsBefore);
    Placed<T> actual = interleaved<T>(region, round), expected = interleaved<T>(region, round);
    expected.set(job.after);
    const auto planes = src.template pointers<const T>();
    ASSERT_EQ(function(planes.data(), src.stepBytes(), actual.data(), actual.step(), sizeOf(region)), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), actual.snapshot()))
        << region.width << " x " << region.height << " round " << round;
    ASSERT_TRUE(src.sameAs(untouched));
  });
}

#define IN_PLACE(NAME, T, MODEL, STREAM) \
  TEST(Model, qlmi##NAME##_P3IR) { checkInPlace<T>(qlmi##NAME##_P3IR, MODEL<T>, STREAM); }
IN_PLACE(RCTFwd_JPEG2K_16s, int16_t, model::forwardRct, 0x6300)
IN_PLACE(RCTFwd_JPEG2K_32s, int32_t, model::forwardRct, 0x6301)
IN_PLACE(RCTInv_JPEG2K_16s, int16_t, model::inverseRct, 0x6302)
IN_PLACE(RCTInv_JPEG2K_32s, int32_t, model::inverseRct, 0x6303)
IN_PLACE(ICTFwd_JPEG2K_16s, int16_t, model::forwardIct, 0x6304)
IN_PLACE(ICTFwd_JPEG2K_32s, int32_t, model::forwardIct, 0x6305)
IN_PLACE(ICTFwd_JPEG2K_32f, float, model::forwardIct, 0x6306)
IN_PLACE(ICTInv_JPEG2K_16s, int16_t, model::inverseIct, 0x6307)
IN_PLACE(ICTInv_JPEG2K_32s, int32_t, model::inverseIct, 0x6308)
IN_PLACE(ICTInv_JPEG2K_32f, float, model::inverseIct, 0x6309)
#undef IN_PLACE

#define TO_PLANES(NAME, T, MODEL, STREAM) \
  TEST(Model, qlmi##NAME##_C3P3R) { checkToPlanes<T>(qlmi##NAME##_C3P3R, MODEL<T>, STREAM); }
TO_PLANES(RCTFwd_JPEG2K_16s, int16_t, model::forwardRct, 0x6310)
TO_PLANES(RCTFwd_JPEG2K_32s, int32_t, model::forwardRct, 0x6311)
TO_PLANES(ICTFwd_JPEG2K_32f, float, model::forwardIct, 0x6312)
#undef TO_PLANES

#define FROM_PLANES(NAME, T, MODEL, STREAM) \
  TEST(Model, qlmi##NAME##_P3C3R) { checkFromPlanes<T>(qlmi##NAME##_P3C3R, MODEL<T>, STREAM); }
FROM_PLANES(RCTInv_JPEG2K_16s, int16_t, model::inverseRct, 0x6313)
FROM_PLANES(RCTInv_JPEG2K_32s, int32_t, model::inverseRct, 0x6314)
FROM_PLANES(ICTInv_JPEG2K_32f, float, model::inverseIct, 0x6315)
#undef FROM_PLANES

// One pixel value through a call in place, in the remainder and in the vectors.
template <typename T>
void expectPixels(QlmStatus (*function)(T* const*, int32_t, QlmSize), Pixel<T> in, Pixel<T> out) {
  for (const int32_t width : {1, 8, 41}) {
    const auto count = static_cast<size_t>(width);
    std::vector<T> planes[3];
    for (size_t i = 0; i < 3; ++i) planes[i].assign(count, in.v[i]);
    T* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
    ASSERT_EQ(function(pointers, width * static_cast<int32_t>(sizeof(T)), {width, 1}), qlmOk);
    for (size_t i = 0; i < 3; ++i)
      EXPECT_EQ(planes[i], std::vector<T>(count, out.v[i])) << "component " << i << " width " << width;
  }
}

// All combinations of extreme values in the three components, side by side in one row.
template <typename T>
void checkCorners(QlmStatus (*function)(T* const*, int32_t, QlmSize), Transform<T> model) {
  constexpr T kLow = std::numeric_limits<T>::min(), kHigh = std::numeric_limits<T>::max();
  const T corners[] = {kLow, kLow + 1, kLow / 2, -8192, -1, 0, 1, 8191, kHigh / 2, kHigh - 1, kHigh};
  std::vector<T> planes[3];
  std::vector<Pixel<T>> expected;
  for (const T a : corners)
    for (const T b : corners)
      for (const T c : corners) {
        planes[0].push_back(a);
        planes[1].push_back(b);
        planes[2].push_back(c);
        expected.push_back(model({{a, b, c}}));
      }
  T* const pointers[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
  const auto count = static_cast<int32_t>(expected.size());
  ASSERT_EQ(function(pointers, count * static_cast<int32_t>(sizeof(T)), {count, 1}), qlmOk);
  for (size_t i = 0; i < expected.size(); ++i)
    for (size_t component = 0; component < 3; ++component)
      ASSERT_EQ(planes[component][i], expected[i].v[component]) << "pixel " << i << " component " << component;
}

TEST(ComponentTransform, ExtremesInAllCombinations) {
  checkCorners<int16_t>(qlmiRCTFwd_JPEG2K_16s_P3IR, model::forwardRct<int16_t>);
  checkCorners<int16_t>(qlmiRCTInv_JPEG2K_16s_P3IR, model::inverseRct<int16_t>);
  checkCorners<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, model::forwardIct<int16_t>);
  checkCorners<int16_t>(qlmiICTInv_JPEG2K_16s_P3IR, model::inverseIct<int16_t>);
  checkCorners<int32_t>(qlmiRCTFwd_JPEG2K_32s_P3IR, model::forwardRct<int32_t>);
  checkCorners<int32_t>(qlmiRCTInv_JPEG2K_32s_P3IR, model::inverseRct<int32_t>);
  checkCorners<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, model::forwardIct<int32_t>);
  checkCorners<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, model::inverseIct<int32_t>);
}

TEST(ComponentTransform, GreyStaysGrey) {
  for (const int v : {0, 1, 5, -1, -2, -3, -7, 8191, -8192, 32767, -32768}) {
    const auto s = static_cast<int16_t>(v);
    expectPixels<int16_t>(qlmiRCTFwd_JPEG2K_16s_P3IR, {{s, s, s}}, {{s, 0, 0}});
    expectPixels<int32_t>(qlmiRCTFwd_JPEG2K_32s_P3IR, {{v, v, v}}, {{v, 0, 0}});
  }
  // The weights sum to 16384.
  expectPixels<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, {{1000, 1000, 1000}}, {{1000, 0, 0}});
  expectPixels<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, {{1000, 1000, 1000}}, {{1000, 0, 0}});
}

TEST(ComponentTransform, ReversibleShiftIsAFloor) {
  expectPixels<int16_t>(qlmiRCTFwd_JPEG2K_16s_P3IR, {{0, 0, -1}}, {{-1, -1, 0}});
  expectPixels<int16_t>(qlmiRCTInv_JPEG2K_16s_P3IR, {{-1, -1, 0}}, {{0, 0, -1}});
  expectPixels<int32_t>(qlmiRCTFwd_JPEG2K_32s_P3IR, {{0, 0, -1}}, {{-1, -1, 0}});
  expectPixels<int32_t>(qlmiRCTInv_JPEG2K_32s_P3IR, {{-1, -1, 0}}, {{0, 0, -1}});
}

TEST(ComponentTransform, ReversibleDifferencesWrap) {
  // 32767 + 2 * -32768 + 0 = -32769 before the shift: the sum is wide. 32767 + 32768 = 65535, which is -1.
  expectPixels<int16_t>(qlmiRCTFwd_JPEG2K_16s_P3IR, {{32767, -32768, 0}}, {{-8193, -32768, -1}});
  // And back: the sum -32769 of the differences is wide again, and 16 bits of -8193 + 8193 are 0.
  expectPixels<int16_t>(qlmiRCTInv_JPEG2K_16s_P3IR, {{-8193, -32768, -1}}, {{-1, 0, -32768}});
  expectPixels<int32_t>(qlmiRCTFwd_JPEG2K_32s_P3IR, {{INT32_MAX, INT32_MIN, 0}}, {{536870911, INT32_MIN, -1}});
}

// Where no difference leaves the element type, pixels come back; whatever the shape of the image.
TEST(ComponentTransform, ReversiblePixelsComeBack) {
  constexpr int32_t kWidth = 37, kHeight = 5;
  constexpr size_t kCount = kWidth * kHeight;
  Random random(0x6320);
  std::vector<int16_t> pixels(3 * kCount), back(3 * kCount), planes[3];
  random.fill(std::span(pixels), -8192, 8191);
  for (auto& plane : planes) plane.resize(kCount);
  int16_t* const to[3] = {planes[0].data(), planes[1].data(), planes[2].data()};
  const int16_t* const from[3] = {to[0], to[1], to[2]};
  ASSERT_EQ(qlmiRCTFwd_JPEG2K_16s_C3P3R(pixels.data(), 6 * kWidth, to, 2 * kWidth, {kWidth, kHeight}), qlmOk);
  ASSERT_EQ(qlmiRCTInv_JPEG2K_16s_P3C3R(from, 2 * kWidth, back.data(), 6 * kWidth, {kWidth, kHeight}), qlmOk);
  EXPECT_EQ(pixels, back);
}

TEST(ComponentTransform, PrimariesOfTheIrreversibleTransform) {
  // 0.299 * 1000, then (0 - 299) * 9246 / 16384 and (1000 - 299) * 11686 / 16384.
  expectPixels<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, {{1000, 0, 0}}, {{299, -169, 500}});
  expectPixels<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, {{0, 1000, 0}}, {{587, -331, -419}});
  expectPixels<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, {{0, 0, 1000}}, {{114, 500, -81}});
  // The coefficients themselves.
  expectPixels<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, {{16384, 0, 0}}, {{4899, -2765, 8192}});
  expectPixels<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, {{0, 16384, 0}}, {{9617, -5427, -6860}});
  expectPixels<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, {{0, 0, 16384}}, {{1868, 8192, -1332}});
  expectPixels<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, {{7, 16384, 0}}, {{7, 7 - 5638, 7 + 29032}});
  expectPixels<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, {{7, 0, 16384}}, {{7 + 22970, 7 - 11700, 7}});
  expectPixels<int16_t>(qlmiICTInv_JPEG2K_16s_P3IR, {{7, 16384, 0}}, {{7, 7 - 5638, 7 + 29032}});
  expectPixels<int16_t>(qlmiICTInv_JPEG2K_16s_P3IR, {{7, 0, 16384}}, {{7 + 22970, 7 - 11700, 7}});
  expectPixels<float>(qlmiICTFwd_JPEG2K_32f_P3IR, {{1, 0, 0}}, {{0.299F, -0.16875F, 0.5F}});
  expectPixels<float>(qlmiICTFwd_JPEG2K_32f_P3IR, {{0, 1, 0}}, {{0.587F, -0.33126F, -0.41869F}});
  expectPixels<float>(qlmiICTFwd_JPEG2K_32f_P3IR, {{0, 0, 1}}, {{0.114F, 0.5F, -0.08131F}});
  expectPixels<float>(qlmiICTInv_JPEG2K_32f_P3IR, {{0, 1, 0}}, {{0, -0.34413F, 1.772F}});
  expectPixels<float>(qlmiICTInv_JPEG2K_32f_P3IR, {{0, 0, 1}}, {{1.402F, -0.71414F, 0}});
}

TEST(ComponentTransform, SixteenBitsSaturateAndThirtyTwoWrap) {
  // 32767 + (22970 * 32767 + 8192 >> 14) = 32767 + 45939; 32767 - (11700 * 32767 + 8192 >> 14) = 32767 - 23399.
  expectPixels<int16_t>(qlmiICTInv_JPEG2K_16s_P3IR, {{32767, 0, 32767}}, {{32767, 9368, 32767}});
  expectPixels<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, {{32767, 0, 32767}}, {{78706, 9368, 32767}});
  // 22970 * 2^17 wraps to -1284243456, which is -78384 after the shift; -11700 * 2^17 still fits.
  expectPixels<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, {{0, 0, 131072}}, {{-78384, -93600, 0}});
}

// The 16-bit form subtracts a rounded sum, the 32-bit form adds a rounded negative one: they part at exact halves.
TEST(ComponentTransform, GreenPartsAtExactHalves) {
  // 5638 * 4096 / 16384 = 1409.5
  expectPixels<int16_t>(qlmiICTInv_JPEG2K_16s_P3IR, {{0, 4096, 0}}, {{0, -1410, 7258}});
  expectPixels<int32_t>(qlmiICTInv_JPEG2K_32s_P3IR, {{0, 4096, 0}}, {{0, -1409, 7258}});
}

// Rows that overlap are worked element by element: what one element has written, later ones read.
TEST(ComponentTransform, OverlappingRowsOfTheInverseGoElementByElement) {
  Random random(0x6321);
  for (const ptrdiff_t shift1 : {1, 2, 3, 7, 8, 15, 16, 33}) {
    for (const ptrdiff_t shift2 : {-40, -17, -16, -9, -8, -5, -1, 40}) {
      for (const int32_t width : {1, 5, 8, 16, 17, 40}) {
        constexpr ptrdiff_t kFirst = 48;
        std::vector<int16_t> actual(160), expected;
        random.fill(std::span(actual));
        expected = actual;
        int16_t* const planes[3] = {actual.data() + kFirst, actual.data() + kFirst + shift1,
                                    actual.data() + kFirst + shift2};
        for (ptrdiff_t i = kFirst; i < kFirst + width; ++i) {
          int16_t* const e = expected.data() + i;
          const Pixel<int16_t> rgb = model::inverseRct<int16_t>({{e[0], e[shift1], e[shift2]}});
          e[0] = rgb.v[0];
          e[shift1] = rgb.v[1];
          e[shift2] = rgb.v[2];
        }
        ASSERT_EQ(qlmiRCTInv_JPEG2K_16s_P3IR(planes, 2 * width, {width, 1}), qlmOk);
        ASSERT_EQ(actual, expected) << "planes at 0, " << shift1 << ", " << shift2 << ", width " << width;
      }
    }
  }
}

}  // namespace
