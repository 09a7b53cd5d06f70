// Quantisation tables and the quantisation of a block by itself (ITU-T T.81 A.3.4, B.2.4.1) against models and literal
// results.
#include <gtest/gtest.h>

#include <climits>

#include "jpeg/block_data.h"
#include "model/jpeg_transform.h"
#include "support/placed.h"

namespace {

using test::Block;
using test::Placed;
using test::Random;

// T.81 Figure A.6: the zig-zag index of each natural position.
constexpr Block<uint8_t> kZigZagIndex = {0,  1,  5,  6,  14, 15, 27, 28,  //
                                         2,  4,  7,  13, 16, 26, 29, 42,  //
                                         3,  8,  12, 17, 25, 30, 41, 43,  //
                                         9,  11, 18, 24, 31, 40, 44, 53,  //
                                         10, 19, 23, 32, 39, 45, 52, 54,  //
                                         20, 22, 33, 38, 46, 51, 55, 60,  //
                                         21, 34, 37, 47, 50, 56, 59, 61,  //
                                         35, 36, 48, 49, 57, 58, 62, 63};

template <typename T>
Placed<T> placeBlock(size_t round, size_t buffer) {
  const auto [slack, edge] = test::placeOf(round, buffer);
  return Placed<T>(64, 1, 64 * sizeof(T), slack, edge);
}

Block<uint8_t> anyRawTable(Random& random, int kind) {
  Block<uint8_t> raw;
  for (size_t i = 0; i < 64; ++i) {
    switch (kind % 4) {
      case 0:
        raw[i] = static_cast<uint8_t>(random.between(1, 255));
        break;
      case 1:
        raw[i] = static_cast<uint8_t>(random.between(0, 3));
        break;
      case 2:
        raw[i] = static_cast<uint8_t>(random.bits());
        break;
      default:
        raw[i] = static_cast<uint8_t>(i == static_cast<size_t>(kind / 4 % 64) ? 0 : 255);
        break;
    }
  }
  return raw;
}

template <typename Export, typename Model>
void checkTableInit(uint64_t stream, Export* function, Model model, QlmStatus statusForZero) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < test::kPlaces; ++round) {
    Placed<uint8_t> raw = placeBlock<uint8_t>(round, 0);
    Placed<uint16_t> table = placeBlock<uint16_t>(round, 1), expected = placeBlock<uint16_t>(round, 1);
    for (int n = 0; n < 256; ++n) {
      const Block<uint8_t> entries = anyRawTable(random, n);
      bool anyZero = false;
      for (const uint8_t q : entries) anyZero |= q == 0;
      raw.set(entries);
      const auto rawBefore = raw.snapshot();
      table.fillPattern();
      expected.set(model(entries));
      ASSERT_EQ(function(raw.data(), table.data()), anyZero ? statusForZero : qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), table.snapshot())) << "round " << round << " table " << n;
      ASSERT_EQ(raw.snapshot(), rawBefore);
    }
  }
}

TEST(Model, qlmiQuantFwdTableInit_JPEG_8u16u) {
  checkTableInit(0x2101, qlmiQuantFwdTableInit_JPEG_8u16u, model::quantFwdTable, qlmWarnDivByZero);
}

TEST(Model, qlmiQuantInvTableInit_JPEG_8u16u) {
  checkTableInit(0x2102, qlmiQuantInvTableInit_JPEG_8u16u, model::quantInvTable, qlmOk);
}

TEST(QuantTables, OrderIsTheZigZagOfTheStandard) {
  Block<uint8_t> raw;
  for (size_t i = 0; i < 64; ++i) raw[i] = static_cast<uint8_t>(i + 1);
  Block<uint16_t> inverse, forward;
  ASSERT_EQ(qlmiQuantInvTableInit_JPEG_8u16u(raw.data(), inverse.data()), qlmOk);
  ASSERT_EQ(qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), forward.data()), qlmOk);
  for (size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(inverse[i], kZigZagIndex[i] + 1) << "position " << i;
    EXPECT_NEAR(forward[i], 32768.0 / (kZigZagIndex[i] + 1), 0.5) << "position " << i;
  }
}

// Every quantiser at every place of the table: the nearest integer to 32768 / q, which never lies on a half.
TEST(QuantTables, ReciprocalsAreTheNearestIntegers) {
  for (int first = 0; first < 256; ++first) {
    Block<uint8_t> raw;
    for (size_t i = 0; i < 64; ++i) raw[i] = static_cast<uint8_t>(first + static_cast<int>(i));
    Block<uint16_t> table;
    const QlmStatus status = qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), table.data());
    EXPECT_EQ(status, first == 0 || first > 192 ? qlmWarnDivByZero : qlmOk) << "first quantiser " << first;
    for (size_t i = 0; i < 64; ++i) {
      const int q = (first + kZigZagIndex[i]) % 256;
      if (q == 0) {
        ASSERT_EQ(table[i], 65535);
      } else {  // |entry - 32768 / q| < 1 / 2
        ASSERT_LT(std::abs(2 * (table[i] * q - 32768)), q) << "quantiser " << q;
      }
    }
  }
}

TEST(QuantTables, LiteralReciprocals) {
  Block<uint8_t> raw;
  raw.fill(1);
  raw[0] = 2;
  raw[1] = 255;
  raw[2] = 3;
  Block<uint16_t> table;
  ASSERT_EQ(qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), table.data()), qlmOk);
  EXPECT_EQ(table[0], 16384);
  EXPECT_EQ(table[1], 129);
  EXPECT_EQ(table[8], 10923);
  for (const size_t i : {2u, 9u, 16u, 63u}) EXPECT_EQ(table[i], 32768);
  raw[63] = 0;
  EXPECT_EQ(int{qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), table.data())}, 6);
  EXPECT_EQ(table[63], 65535);
  EXPECT_EQ(table[0], 16384);
  EXPECT_EQ(table[62], 32768);
  ASSERT_EQ(qlmiQuantInvTableInit_JPEG_8u16u(raw.data(), table.data()), qlmOk);
  EXPECT_EQ(table[63], 0);
  EXPECT_EQ(table[0], 2);
}

TEST(Model, qlmiQuantFwdRawTableInit_JPEG_8u) {
  std::vector<int32_t> qualities;
  for (int32_t q = 1; q <= 200; ++q) qualities.push_back(q);
  for (const int32_t q :
       {255, 1000, 5000, 5001, 8421504, 16843109, 1 << 24, 1 << 30, (1 << 30) + 100, INT_MAX - 1, INT_MAX})
    qualities.push_back(q);
  size_t round = 0;
  for (const int32_t quality : qualities) {
    Placed<uint8_t> table = placeBlock<uint8_t>(round, 0), expected = placeBlock<uint8_t>(round, 0);
    ++round;
    for (int first = 0; first < 256; first += 64) {
      Block<uint8_t> raw;
      for (size_t i = 0; i < 64; ++i) raw[i] = static_cast<uint8_t>(first + static_cast<int>(i));
      table.set(raw);
      expected.set(model::scaledRawTable(raw, quality));
      ASSERT_EQ(qlmiQuantFwdRawTableInit_JPEG_8u(table.data(), quality), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), table.snapshot())) << "quality " << quality;
    }
  }
}

TEST(QuantTables, QualityLiterals) {
  const auto scaled = [](std::array<uint8_t, 4> entries, int32_t quality) {
    Block<uint8_t> table{};
    std::copy(entries.begin(), entries.end(), table.begin());
    EXPECT_EQ(qlmiQuantFwdRawTableInit_JPEG_8u(table.data(), quality), qlmOk);
    for (size_t i = 4; i < 64; ++i) EXPECT_EQ(table[i], 1);  // 0 becomes 1
    return std::array<uint8_t, 4>{table[0], table[1], table[2], table[3]};
  };
  using Four = std::array<uint8_t, 4>;
  EXPECT_EQ(scaled({1, 16, 99, 255}, 50), (Four{1, 16, 99, 255}));
  EXPECT_EQ(scaled({1, 5, 6, 255}, 1), (Four{50, 250, 255, 255}));
  EXPECT_EQ(scaled({1, 16, 99, 255}, 75), (Four{1, 8, 50, 128}));    // S = 50: 0.51 is cut to 0 and clamped
  EXPECT_EQ(scaled({1, 16, 99, 121}, 49), (Four{1, 16, 101, 123}));  // S = 5000 / 49 = 102
  EXPECT_EQ(scaled({1, 16, 99, 255}, 99), (Four{1, 1, 2, 5}));       // S = 2
  EXPECT_EQ(scaled({1, 16, 99, 255}, 100), (Four{1, 1, 1, 1}));      // S = 0
  EXPECT_EQ(scaled({1, 16, 99, 255}, 101), (Four{1, 1, 1, 1}));      // S below 0
  EXPECT_EQ(scaled({1, 16, 99, 255}, INT_MAX), (Four{1, 1, 1, 1}));
}

TEST(QuantTables, QualityBelowOneIsRefused) {
  for (const int32_t quality : {0, -1, -50, INT_MIN}) {
    Block<uint8_t> table = test::kLuminance;
    EXPECT_EQ(qlmiQuantFwdRawTableInit_JPEG_8u(table.data(), quality), qlmErrBadArgument);
    EXPECT_EQ(table, test::kLuminance);
  }
}

template <typename Export, typename Model>
void checkBlockInPlace(uint64_t stream, Block<uint16_t> (*makeTable)(Random&, int), Export* function, Model model) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < test::kPlaces; ++round) {
    Placed<int16_t> block = placeBlock<int16_t>(round, 0), expected = placeBlock<int16_t>(round, 0);
    Placed<uint16_t> table = placeBlock<uint16_t>(round, 1);
    for (int n = 0; n < 300; ++n) {
      const Block<int16_t> elements = test::anyBlock(random, n % test::kBlockKinds);
      const Block<uint16_t> entries = makeTable(random, n / test::kBlockKinds % test::kTableKinds);
      block.set(elements);
      table.set(entries);
      const auto tableBefore = table.snapshot();
      expected.set(model(elements, entries));
      ASSERT_EQ(function(block.data(), table.data()), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), block.snapshot())) << "round " << round << " block " << n;
      ASSERT_EQ(table.snapshot(), tableBefore);
    }
  }
}

TEST(Model, qlmiQuantFwd8x8_JPEG_16s_C1I) {
  checkBlockInPlace(0x2103, test::anyReciprocals, qlmiQuantFwd8x8_JPEG_16s_C1I, model::quantFwd8x8);
}

TEST(Model, qlmiQuantInv8x8_JPEG_16s_C1I) {
  checkBlockInPlace(0x2104, test::anyQuantisers, qlmiQuantInv8x8_JPEG_16s_C1I, model::quantInv8x8);
}

// All elements, 64 at a time, with the entries of all quantisers.
TEST(QuantBlock, AllElementsWithAllQuantisers) {
  for (int q = 0; q < 256; ++q) {
    Block<uint16_t> forward, inverse;
    forward.fill(static_cast<uint16_t>(q == 0 ? 65535 : (65536 + q) / (2 * q)));
    inverse.fill(static_cast<uint16_t>(q));
    for (int first = -32768; first < 32768; first += 64) {
      Block<int16_t> elements;
      for (size_t i = 0; i < 64; ++i) elements[i] = static_cast<int16_t>(first + static_cast<int>(i));
      Block<int16_t> block = elements;
      ASSERT_EQ(qlmiQuantFwd8x8_JPEG_16s_C1I(block.data(), forward.data()), qlmOk);
      ASSERT_EQ(block, model::quantFwd8x8(elements, forward)) << "quantiser " << q << " from " << first;
      block = elements;
      ASSERT_EQ(qlmiQuantInv8x8_JPEG_16s_C1I(block.data(), inverse.data()), qlmOk);
      ASSERT_EQ(block, model::quantInv8x8(elements, inverse)) << "quantiser " << q << " from " << first;
    }
  }
}

int quantised(int16_t element, uint16_t entry) {
  Block<int16_t> block;
  block.fill(element);
  Block<uint16_t> table;
  table.fill(entry);
  EXPECT_EQ(qlmiQuantFwd8x8_JPEG_16s_C1I(block.data(), table.data()), qlmOk);
  for (const int16_t v : block) EXPECT_EQ(v, block[0]);
  return block[0];
}

TEST(QuantBlock, HalvesGoUp) {
  EXPECT_EQ(quantised(1, 16384), 1);
  EXPECT_EQ(quantised(-1, 16384), 0);
  EXPECT_EQ(quantised(3, 16384), 2);
  EXPECT_EQ(quantised(-3, 16384), -1);
}

TEST(QuantBlock, ElementsBeyondTwelveBitsWrap) {
  EXPECT_EQ(quantised(4095, 32768), 4095);
  EXPECT_EQ(quantised(-4096, 32768), -4096);
  EXPECT_EQ(quantised(4096, 32768), -4096);
  EXPECT_EQ(quantised(8192, 32768), 0);
}

TEST(QuantBlock, DequantisedElementsWrap) {
  const auto dequantised = [](int16_t element, uint16_t quantiser) {
    Block<int16_t> block;
    block.fill(element);
    Block<uint16_t> table;
    table.fill(quantiser);
    EXPECT_EQ(qlmiQuantInv8x8_JPEG_16s_C1I(block.data(), table.data()), qlmOk);
    for (const int16_t v : block) EXPECT_EQ(v, block[0]);
    return int{block[0]};
  };
  EXPECT_EQ(dequantised(1000, 100), -31072);
  EXPECT_EQ(dequantised(-3, 255), -765);
  EXPECT_EQ(dequantised(1, 65535), -1);
  EXPECT_EQ(dequantised(1234, 0), 0);
}

}  // namespace
