// The level shift of regions (ITU-T T.81 A.3.1) against its models: all values, widths, heights, steps and alignments.
#include <gtest/gtest.h>

#include "model/jpeg_transform.h"
#include "support/placed.h"

namespace {

using test::Placed;
using test::Random;

struct Region {
  size_t width, height;
};

// Every width from 1 to 67 in some heights, and regions on both sides of 8192 elements.
std::vector<Region> regions() {
  std::vector<Region> list;
  for (size_t width = 1; width <= 67; ++width)
    for (const size_t height : {1u, 2u, 3u, 8u}) list.push_back({width, height});
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
    list.push_back(region);
  return list;
}

template <typename S, typename D, typename Export, typename Model>
void checkRegion(uint64_t stream, Export* function, Model model) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  const auto check = [&](Region region, test::Data kind) {
    const auto [width, height] = region;
    const auto [srcSlack, srcEdge] = test::placeOf(round, 0);
    const auto [dstSlack, dstEdge] = test::placeOf(round, 1);
    const size_t srcStep = test::stepOf(round, width * sizeof(S)), dstStep = test::stepOf(round / 3, width * sizeof(D));
    ++round;
    Placed<S> src(width, height, srcStep, srcSlack, srcEdge);
    Placed<D> dst(width, height, dstStep, dstSlack, dstEdge), expected(width, height, dstStep, dstSlack, dstEdge);
    std::vector<S> elements(width * height);
    test::fillData(std::span<S>(elements), kind, random);
    if (kind == test::Data::Noise && round % 2)  // around the limits of the clamp
      for (S& v : elements) v = static_cast<S>(random.between(-300, 300));
    std::vector<D> results(elements.size());
    for (size_t i = 0; i < elements.size(); ++i) results[i] = model(elements[i]);
    src.set(elements);
    expected.set(results);
    const auto srcBefore = src.snapshot();
    const QlmSize size = {static_cast<int32_t>(width), static_cast<int32_t>(height)};
    ASSERT_EQ(function(src.data(), src.step(), dst.data(), dst.step(), size), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << width << " x " << height << " round " << round;
    ASSERT_EQ(src.snapshot(), srcBefore);
  };
  for (const Region region : regions())
    for (const test::Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check(region, kind));
  // All alignments of both pointers, for widths around one and two vectors.
  for (const size_t width : {1u, 7u, 15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u})
    for (size_t n = 0; n < test::kPlaces * 2; ++n) ASSERT_NO_FATAL_FAILURE(check({width, 2}, test::Data::Noise));
}

TEST(Model, qlmiSub128_JPEG_8u16s_C1R) {
  checkRegion<uint8_t, int16_t>(0x2110, qlmiSub128_JPEG_8u16s_C1R, model::sub128);
}

TEST(Model, qlmiAdd128_JPEG_16s8u_C1R) {
  checkRegion<int16_t, uint8_t>(0x2111, qlmiAdd128_JPEG_16s8u_C1R, model::add128);
}

// Both operations on all their inputs at once; as one row and as rows that fork.
TEST(LevelShift, AllValues) {
  std::vector<int16_t> values(65536);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<int16_t>(static_cast<int>(i) - 32768);
  for (const QlmSize size : {QlmSize{65536, 1}, QlmSize{256, 256}}) {
    std::vector<uint8_t> samples(65536);
    ASSERT_EQ(qlmiAdd128_JPEG_16s8u_C1R(values.data(), size.width * 2, samples.data(), size.width, size), qlmOk);
    for (size_t i = 0; i < values.size(); ++i) {
      const int v = values[i];
      ASSERT_EQ(samples[i], v < -128 ? 0 : v > 127 ? 255 : v + 128) << "value " << v;
    }
  }
  std::vector<uint8_t> bytes(256);
  for (size_t i = 0; i < 256; ++i) bytes[i] = static_cast<uint8_t>(i);
  std::vector<int16_t> shifted(256);
  ASSERT_EQ(qlmiSub128_JPEG_8u16s_C1R(bytes.data(), 256, shifted.data(), 512, {256, 1}), qlmOk);
  for (size_t i = 0; i < 256; ++i) EXPECT_EQ(shifted[i], static_cast<int>(i) - 128);
}

TEST(LevelShift, Literals) {
  for (const int32_t width : {1, 8, 40}) {  // in the remainder and in the vectors
    for (const auto& [value, sample] : {std::pair<int, int>{200, 255},
                                        {-200, 0},
                                        {32767, 255},
                                        {-32768, 0},
                                        {0, 128},
                                        {127, 255},
                                        {128, 255},
                                        {-128, 0},
                                        {-129, 0},
                                        {-127, 1},
                                        {126, 254}}) {
      const std::vector<int16_t> src(static_cast<size_t>(width), static_cast<int16_t>(value));
      std::vector<uint8_t> dst(src.size(), 77);
      ASSERT_EQ(qlmiAdd128_JPEG_16s8u_C1R(src.data(), 2 * width, dst.data(), width, {width, 1}), qlmOk);
      for (const uint8_t v : dst) EXPECT_EQ(v, sample) << "value " << value;
    }
  }
}

// A source step shorter than a row is not refused: the rows overlap.
TEST(LevelShift, SourceRowsMayOverlap) {
  Random random(0x2112);
  constexpr int32_t kWidth = 37, kHeight = 5;
  for (const int32_t step : {1, 2, 7, 36}) {
    test::Guarded<uint8_t> bytes(static_cast<size_t>(step * (kHeight - 1) + kWidth));
    random.fill(bytes.span());
    std::vector<int16_t> dst(kWidth * kHeight);
    ASSERT_EQ(qlmiSub128_JPEG_8u16s_C1R(bytes.data(), step, dst.data(), 2 * kWidth, {kWidth, kHeight}), qlmOk);
    for (int32_t y = 0; y < kHeight; ++y)
      for (int32_t x = 0; x < kWidth; ++x)
        ASSERT_EQ(dst[static_cast<size_t>(y * kWidth + x)], bytes[static_cast<size_t>(y * step + x)] - 128);
  }
}

}  // namespace
