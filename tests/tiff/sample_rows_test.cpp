// Rows of 16-bit samples from and to rows of bytes: all values, widths and alignments, odd addresses of the samples
// included.
#include <gtest/gtest.h>

#include "model/tiff_rows.h"
#include "support/placed.h"

namespace {

using test::Placed;
using test::Random;

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

template <typename T>
Placed<T> placed(size_t count, size_t round, size_t buffer) {
  const auto [slack, edge] = test::placeOf(round, buffer);
  return Placed<T>(count, 1, count * sizeof(T), slack, edge);
}

template <typename Check>
void forAllRows(const Check& check) {
  size_t round = 0;
  for (size_t length = 1; length <= 140; ++length)
    for (size_t n = 0; n < test::kPlaces; ++n) ASSERT_NO_FATAL_FAILURE(check(length, test::Data::Noise, round++));
  for (const size_t length : {1u, 5u, 31u, 64u, 255u, 1000u, 4097u, 65536u, 100001u})
    for (const test::Data kind : test::kAllData) ASSERT_NO_FATAL_FAILURE(check(length, kind, round++));
}

TEST(Model, qlmiJoinRow_TIFF_8u16u_C1) {
  constexpr uint64_t kStream = 0xB201;
  TRACE_SEED(kStream);
  Random random(kStream);
  forAllRows([&](size_t length, test::Data kind, size_t round) {
    Placed<uint8_t> high = placed<uint8_t>(length, round, 0), low = placed<uint8_t>(length, round, 1);
    Placed<uint16_t> dst = placed<uint16_t>(length, round, 2), expected = placed<uint16_t>(length, round, 2);
    Bytes highBytes(length), lowBytes(length);
    test::fillData(std::span(highBytes), kind, random);
    test::fillData(std::span(lowBytes), kind, random);
    high.set(highBytes);
    low.set(lowBytes);
    expected.set(model::joinRow(highBytes, lowBytes));
    const auto highBefore = high.snapshot(), lowBefore = low.snapshot();
    const uint8_t* const src[2] = {high.data(), low.data()};
    ASSERT_EQ(qlmiJoinRow_TIFF_8u16u_C1(src, dst.data(), static_cast<int32_t>(length)), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "length " << length << " round " << round;
    ASSERT_EQ(high.snapshot(), highBefore);
    ASSERT_EQ(low.snapshot(), lowBefore);
  });
}

TEST(Model, qlmiSplitRow_TIFF_16u8u_C1) {
  constexpr uint64_t kStream = 0xB202;
  TRACE_SEED(kStream);
  Random random(kStream);
  forAllRows([&](size_t length, test::Data kind, size_t round) {
    Placed<uint16_t> src = placed<uint16_t>(length, round, 0);
    Placed<uint8_t> high = placed<uint8_t>(length, round, 1), low = placed<uint8_t>(length, round, 2);
    Placed<uint8_t> expectedHigh = placed<uint8_t>(length, round, 1), expectedLow = placed<uint8_t>(length, round, 2);
    Words samples(length);
    test::fillData(std::span(samples), kind, random);
    src.set(samples);
    Bytes highBytes, lowBytes;
    model::splitRow(samples, highBytes, lowBytes);
    expectedHigh.set(highBytes);
    expectedLow.set(lowBytes);
    const auto srcBefore = src.snapshot();
    uint8_t* const dst[2] = {high.data(), low.data()};
    ASSERT_EQ(qlmiSplitRow_TIFF_16u8u_C1(src.data(), dst, static_cast<int32_t>(length)), qlmOk);
    ASSERT_TRUE(test::sameBytes(expectedHigh.snapshot(), high.snapshot())) << "length " << length << " round " << round;
    ASSERT_TRUE(test::sameBytes(expectedLow.snapshot(), low.snapshot())) << "length " << length << " round " << round;
    ASSERT_EQ(src.snapshot(), srcBefore);
  });
}

TEST(SampleRows, HighBytesFirstInTheArrayAndSecondInMemory) {
  const uint8_t high[3] = {0x12, 0xFF, 0x00}, low[3] = {0x34, 0x00, 0xFF};
  const uint8_t* const rows[2] = {high, low};
  uint16_t samples[3];
  ASSERT_EQ(qlmiJoinRow_TIFF_8u16u_C1(rows, samples, 3), qlmOk);
  EXPECT_EQ(samples[0], 0x1234);
  EXPECT_EQ(samples[1], 0xFF00);
  EXPECT_EQ(samples[2], 0x00FF);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(samples)[0], 0x34);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(samples)[1], 0x12);
}

// All 65536 samples there and back.
TEST(SampleRows, AllValuesComeBack) {
  Words samples(65536), back(65536);
  for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<uint16_t>(i);
  Bytes high(65536), low(65536);
  uint8_t* const to[2] = {high.data(), low.data()};
  ASSERT_EQ(qlmiSplitRow_TIFF_16u8u_C1(samples.data(), to, 65536), qlmOk);
  for (size_t i = 0; i < samples.size(); ++i) {
    ASSERT_EQ(high[i], i >> 8);
    ASSERT_EQ(low[i], i & 255);
  }
  const uint8_t* const from[2] = {high.data(), low.data()};
  ASSERT_EQ(qlmiJoinRow_TIFF_8u16u_C1(from, back.data(), 65536), qlmOk);
  EXPECT_EQ(back, samples);
}

// A bad length is a step error in these two.
TEST(SampleRows, BadLengthsAreStepErrors) {
  uint8_t bytes[2] = {};
  uint16_t sample = 0;
  const uint8_t* const from[2] = {bytes, bytes};
  uint8_t* const to[2] = {bytes, bytes};
  for (const int32_t length : {0, -1, INT32_MIN}) {
    EXPECT_EQ(qlmiJoinRow_TIFF_8u16u_C1(from, &sample, length), qlmErrStep);
    EXPECT_EQ(qlmiSplitRow_TIFF_16u8u_C1(&sample, to, length), qlmErrStep);
  }
}

}  // namespace
