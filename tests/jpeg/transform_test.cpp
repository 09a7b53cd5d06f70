// The DCT with quantisation in both directions against its models, its literal results, and the real-valued
// transform of ITU-T T.81 A.3.3.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

#include "jpeg/block_data.h"
#include "model/jpeg_transform.h"
#include "support/placed.h"

namespace {

using test::Block;
using test::Placed;
using test::Random;

constexpr int kBlocksPerPlace = 300;

// How an array of elements lies in memory: a contiguous block, or rows that a step separates.
struct Layout {
  size_t columns, rows;
  bool stepped;
};
constexpr Layout kBlock{64, 1, false}, kRows8{8, 8, true}, kRows4{4, 4, true}, kRows2{2, 2, true};

template <typename T>
Placed<T> place(Layout layout, size_t round, size_t buffer) {
  const size_t rowBytes = layout.columns * sizeof(T);
  const auto [slack, edge] = test::placeOf(round, buffer);
  return Placed<T>(layout.columns, layout.rows, layout.stepped ? test::stepOf(round + buffer, rowBytes) : rowBytes,
                   slack, edge);
}

// Drives an export of shape (src, dst, table) at all places. call(src, srcStep, dst, dstStep, table) is the export,
// model(elements, table) gives the elements of the destination.
template <typename S, typename D, typename Table, typename MakeSource, typename MakeTable, typename Call,
          typename Model>
void checkTransform(uint64_t stream, Layout srcLayout, Layout dstLayout, MakeSource makeSource, MakeTable makeTable,
                    Call call, Model model) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < test::kPlaces; ++round) {
    Placed<S> src = place<S>(srcLayout, round, 0);
    Placed<D> dst = place<D>(dstLayout, round, 1), expected = place<D>(dstLayout, round, 1);
    Placed<Table> table = place<Table>(kBlock, round, 2);
    for (int n = 0; n < kBlocksPerPlace; ++n) {
      const Block<S> samples = makeSource(random, n % test::kBlockKinds);
      const Block<Table> entries = makeTable(random, n / test::kBlockKinds % test::kTableKinds);
      src.set(samples);
      table.set(entries);
      const auto srcBefore = src.snapshot(), tableBefore = table.snapshot();
      dst.fillPattern();
      expected.fillPattern();
      expected.set(model(samples, entries));
      ASSERT_EQ(call(src.data(), src.step(), dst.data(), dst.step(), table.data()), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "round " << round << " block " << n;
      ASSERT_EQ(src.snapshot(), srcBefore);
      ASSERT_EQ(table.snapshot(), tableBefore);
    }
  }
}

template <typename Call, typename Model>
void checkInPlace(uint64_t stream, Block<uint16_t> (*makeTable)(Random&, int), Call call, Model model) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < test::kPlaces; ++round) {
    Placed<int16_t> block = place<int16_t>(kBlock, round, 0), expected = place<int16_t>(kBlock, round, 0);
    Placed<uint16_t> table = place<uint16_t>(kBlock, round, 1);
    for (int n = 0; n < kBlocksPerPlace; ++n) {
      const Block<int16_t> elements = test::anyBlock(random, n % test::kBlockKinds);
      const Block<uint16_t> entries = makeTable(random, n / test::kBlockKinds % test::kTableKinds);
      block.set(elements);
      table.set(entries);
      const auto tableBefore = table.snapshot();
      expected.set(model(elements, entries));
      ASSERT_EQ(call(block.data(), table.data()), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), block.snapshot())) << "round " << round << " block " << n;
      ASSERT_EQ(table.snapshot(), tableBefore);
    }
  }
}

Block<uint8_t> samples8(Random& random, int kind) { return test::anySamples<uint8_t>(random, kind, 255); }

// 12-bit samples, and for some kinds all of 16 bits, which read as signed.
Block<uint16_t> samples16(Random& random, int kind) {
  return test::anySamples<uint16_t>(random, kind, kind % 3 == 0 ? 65535 : 4095);
}

Block<float> floatQuantisers(Random& random, int kind) {
  const Block<uint16_t> q = test::anyQuantisers(random, kind);
  Block<float> table;
  for (size_t i = 0; i < 64; ++i) table[i] = q[i];
  if (kind == 5)
    for (float& entry : table) entry = static_cast<float>(random.between(-4000, 4000)) / 512.0f;
  return table;
}

Block<float> floatReciprocals(Random& random, int kind) {
  const Block<float> q = floatQuantisers(random, kind);
  Block<float> table;
  for (size_t i = 0; i < 64; ++i) table[i] = kind == 5 ? q[i] : q[i] == 0 ? 1.0f : 1.0f / q[i];
  return table;
}

Block<uint16_t> filled(uint16_t entry) {
  Block<uint16_t> table;
  table.fill(entry);
  return table;
}

// An export of the inverse family with a step, as checkTransform calls it.
template <typename Export>
auto inverseCall(Export* function) {
  return [function](auto* src, int32_t, auto* dst, int32_t dstStep, auto* table) {
    return function(src, dst, dstStep, table);
  };
}

TEST(Model, qlmiDCTQuantFwd8x8_JPEG_16s_C1) {
  checkTransform<int16_t, int16_t, uint16_t>(
      0x2201, kBlock, kBlock, test::anyBlock, test::anyReciprocals,
      [](auto* src, int32_t, auto* dst, int32_t, auto* table) {
        return qlmiDCTQuantFwd8x8_JPEG_16s_C1(src, dst, table);
      },
      model::dctQuantFwd8x8);
}

TEST(Model, qlmiDCTQuantFwd8x8_JPEG_16s_C1I) {
  checkInPlace(0x2202, test::anyReciprocals, qlmiDCTQuantFwd8x8_JPEG_16s_C1I, model::dctQuantFwd8x8);
}

TEST(Model, qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R) {
  checkTransform<uint8_t, int16_t, uint16_t>(
      0x2203, kRows8, kBlock, samples8, test::anyReciprocals,
      [](auto* src, int32_t srcStep, auto* dst, int32_t, auto* table) {
        return qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src, srcStep, dst, table);
      },
      [](const Block<uint8_t>& src, const Block<uint16_t>& table) { return model::dctQuantFwd8x8LS(src, table); });
}

TEST(Model, qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R) {
  checkTransform<uint16_t, int16_t, float>(
      0x2204, kRows8, kBlock, samples16, floatReciprocals,
      [](auto* src, int32_t srcStep, auto* dst, int32_t, auto* table) {
        return qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src, srcStep, dst, table);
      },
      [](const Block<uint16_t>& src, const Block<float>& table) { return model::dctQuantFwd8x8LS(src, table); });
}

TEST(Model, qlmiDCTQuantInv8x8_JPEG_16s_C1) {
  checkTransform<int16_t, int16_t, uint16_t>(
      0x2301, kBlock, kBlock, test::anyBlock, test::anyQuantisers,
      [](auto* src, int32_t, auto* dst, int32_t, auto* table) {
        return qlmiDCTQuantInv8x8_JPEG_16s_C1(src, dst, table);
      },
      model::dctQuantInv8x8);
}

TEST(Model, qlmiDCTQuantInv8x8_JPEG_16s_C1I) {
  checkInPlace(0x2302, test::anyQuantisers, qlmiDCTQuantInv8x8_JPEG_16s_C1I, model::dctQuantInv8x8);
}

TEST(Model, qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(
      0x2303, kBlock, kRows8, test::anyBlock, test::anyQuantisers, inverseCall(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R),
      [](const Block<int16_t>& src, const Block<uint16_t>& table) { return model::dctQuantInv8x8LS(src, table); });
}

TEST(Model, qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(0x2304, kBlock, kRows8, test::anyBlock, test::anyQuantisers,
                                             inverseCall(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R),
                                             model::dctQuantInv8x8LS_1x1);
}

// The single coefficient and its quantiser, exhaustively over the coefficient.
TEST(DctInverse, SingleCoefficientOfAnyValue) {
  for (const int quantiser : {0, 1, 2, 3, 8, 99, 255, 4096, 32767, 32768, 65535}) {
    const Block<uint16_t> table = filled(static_cast<uint16_t>(quantiser));
    for (int dc = -32768; dc <= 32767; ++dc) {
      Block<int16_t> src{};
      src[0] = static_cast<int16_t>(dc);
      Block<uint8_t> dst;
      ASSERT_EQ(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(src.data(), dst.data(), 8, table.data()), qlmOk);
      ASSERT_EQ(dst, model::dctQuantInv8x8LS_1x1(src, table)) << "DC " << dc << " quantiser " << quantiser;
    }
  }
}

TEST(Model, qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(0x2305, kBlock, kRows8, test::anyBlock, test::anyQuantisers,
                                             inverseCall(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R),
                                             model::dctQuantInv8x8LS_2x2);
}

TEST(Model, qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(0x2306, kBlock, kRows8, test::anyBlock, test::anyQuantisers,
                                             inverseCall(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R),
                                             model::dctQuantInv8x8LS_4x4);
}

TEST(Model, qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(0x2307, kBlock, kRows2, test::anyBlock, test::anyQuantisers,
                                             inverseCall(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R),
                                             model::dctQuantInv8x8To2x2LS);
}

TEST(Model, qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R) {
  checkTransform<int16_t, uint8_t, uint16_t>(0x2308, kBlock, kRows4, test::anyBlock, test::anyQuantisers,
                                             inverseCall(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R),
                                             model::dctQuantInv8x8To4x4LS);
}

TEST(Model, qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R) {
  checkTransform<int16_t, uint16_t, float>(
      0x2309, kBlock, kRows8, test::anyBlock, floatQuantisers, inverseCall(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R),
      [](const Block<int16_t>& src, const Block<float>& table) { return model::dctQuantInv8x8LS(src, table); });
}

// Many more blocks of moderate size, where nothing saturates and a rounding term that is off by one shows in few.
constexpr int kManyBlocks = 300000;
constexpr int kModerateKinds[4] = {2, 6, 7, 1};

TEST(DctForward, ManyBlocks) {
  Random random(0x2205);
  const Block<uint16_t> table = filled(32768);
  for (int n = 0; n < kManyBlocks; ++n) {
    const Block<uint8_t> src = samples8(random, kModerateKinds[n % 4]);
    Block<int16_t> dst;
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), 8, dst.data(), table.data()), qlmOk);
    ASSERT_EQ(dst, model::dctQuantFwd8x8LS(src, table)) << "block " << n;
  }
}

TEST(DctInverse, ManyBlocks) {
  Random random(0x230A);
  const Block<uint16_t> table = filled(1);
  for (int n = 0; n < kManyBlocks; ++n) {
    const Block<int16_t> src = test::anyBlock(random, kModerateKinds[n % 4]);
    Block<uint8_t> full;
    ASSERT_EQ(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R(src.data(), full.data(), 8, table.data()), qlmOk);
    ASSERT_EQ(full, model::dctQuantInv8x8LS(src, table)) << "block " << n;
    std::array<uint8_t, 16> four;
    ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(src.data(), four.data(), 4, table.data()), qlmOk);
    ASSERT_EQ(four, model::dctQuantInv8x8To4x4LS(src, table)) << "block " << n;
  }
}

// The odd rows weigh least in 2x2 samples, which takes four times as many blocks.
TEST(DctInverse, ManyBlocksToTwo) {
  Random random(0x230B);
  const Block<uint16_t> table = filled(1);
  for (int n = 0; n < 4 * kManyBlocks; ++n) {
    const Block<int16_t> src = test::anyBlock(random, kModerateKinds[n % 4]);
    std::array<uint8_t, 4> two;
    ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(src.data(), two.data(), 2, table.data()), qlmOk);
    ASSERT_EQ(two, model::dctQuantInv8x8To2x2LS(src, table)) << "block " << n;
  }
}

// Literal results.

template <typename T>
Block<T> flat(T value) {
  Block<T> block;
  block.fill(value);
  return block;
}

template <typename T>
Block<T> cornerOnly(T value) {
  Block<T> block{};
  block[0] = value;
  return block;
}

TEST(DctForward, OnesGiveEightAtTheCorner) {
  Block<int16_t> dst = flat<int16_t>(77);
  const Block<int16_t> ones = flat<int16_t>(1);
  const Block<uint16_t> table = filled(32768);
  ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1(ones.data(), dst.data(), table.data()), qlmOk);
  EXPECT_EQ(dst, cornerOnly<int16_t>(8));
  Block<int16_t> inPlace = ones;
  ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1I(inPlace.data(), table.data()), qlmOk);
  EXPECT_EQ(inPlace, cornerOnly<int16_t>(8));
}

TEST(DctForward, FlatSamples) {
  const Block<uint16_t> table = filled(32768);
  const std::pair<uint8_t, int16_t> cases[] = {{128, 0}, {255, 1016}, {0, -1024}, {129, 8}, {127, -8}};
  for (const auto& [sample, corner] : cases) {
    const Block<uint8_t> src = flat(sample);
    Block<int16_t> dst = flat<int16_t>(77);
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), 8, dst.data(), table.data()), qlmOk);
    EXPECT_EQ(dst, cornerOnly(corner)) << "sample " << int{sample};
  }
}

// Flat samples of value n give exactly 8 * n at the corner, which makes the quantiser's rounding visible.
int cornerAfter(int16_t sample, uint16_t entry) {
  Block<int16_t> block = flat(sample);
  const Block<uint16_t> table = filled(entry);
  EXPECT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1I(block.data(), table.data()), qlmOk);
  for (size_t i = 1; i < 64; ++i) EXPECT_EQ(block[i], 0);
  return block[0];
}

TEST(DctForward, HalvesGoToEven) {
  // 8 times 2048 and 32768 is a half.
  EXPECT_EQ(cornerAfter(1, 2048), 0);   // 0.5
  EXPECT_EQ(cornerAfter(-1, 2048), 0);  // -0.5
  EXPECT_EQ(cornerAfter(3, 2048), 2);   // 1.5
  EXPECT_EQ(cornerAfter(-3, 2048), -2);
  EXPECT_EQ(cornerAfter(5, 2048), 2);  // 2.5
  EXPECT_EQ(cornerAfter(-5, 2048), -2);
  EXPECT_EQ(cornerAfter(1, 2049), 1);    // a little more than a half
  EXPECT_EQ(cornerAfter(-1, 2049), -1);  // and the lost lowest bit of the product decides it
  EXPECT_EQ(cornerAfter(1, 2047), 0);
  EXPECT_EQ(cornerAfter(3, 2047), 1);
  EXPECT_EQ(cornerAfter(-3, 2047), -1);
}

TEST(DctForward, HalvesOfSmallCoefficientsGoToEven) {
  // A pixel pattern whose corner is 1 or 3: the sum of the samples is 8 or 24.
  for (const int sum : {8, 24, -8}) {
    Block<int16_t> samples{};
    for (size_t i = 0; i < static_cast<size_t>(std::abs(sum)); ++i) samples[(i * 19) % 64] = sum > 0 ? 1 : -1;
    const Block<uint16_t> one = filled(32768), half = filled(16384);
    Block<int16_t> whole, halved;
    ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1(samples.data(), whole.data(), one.data()), qlmOk);
    ASSERT_EQ(whole[0], sum / 8);
    ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1(samples.data(), halved.data(), half.data()), qlmOk);
    EXPECT_EQ(halved[0], sum == 24 ? 2 : 0);
    for (size_t i = 0; i < 64; ++i) {
      const int twice = std::abs(2 * halved[i] - whole[i]);
      EXPECT_LE(twice, 1);
      EXPECT_TRUE(twice == 0 || halved[i] % 2 == 0);
    }
  }
}

TEST(DctForward, QuantiserZeroGivesAboutTwiceTheCoefficient) {
  EXPECT_EQ(cornerAfter(10, 65535), 160);    // 80 * 65535 / 32768 = 159.998
  EXPECT_EQ(cornerAfter(127, 65535), 2032);  // 1016 * 65535 / 32768 = 2031.97
  EXPECT_EQ(cornerAfter(-128, 65535), -2048);
  EXPECT_EQ(cornerAfter(10, 0), 0);
}

// All entries, on coefficients of all sizes: 32768 hands the coefficients through, and every other entry must give the
// nearest integer to the product, halves to even.
TEST(DctForward, AllTableEntries) {
  Random random(0x2206);
  constexpr int kBlocks = 12;
  std::array<Block<int16_t>, kBlocks> samples, coefficients;
  for (size_t n = 0; n < kBlocks; ++n) {
    samples[n] = test::anyBlock(random, n % 2 == 0 ? 0 : 2);
    const Block<uint16_t> ones = filled(32768);
    ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1(samples[n].data(), coefficients[n].data(), ones.data()), qlmOk);
  }
  int halves = 0;
  for (int entry = 0; entry < 65536; ++entry) {
    const Block<uint16_t> table = filled(static_cast<uint16_t>(entry));
    for (size_t n = 0; n < kBlocks; ++n) {
      Block<int16_t> dst;
      ASSERT_EQ(qlmiDCTQuantFwd8x8_JPEG_16s_C1(samples[n].data(), dst.data(), table.data()), qlmOk);
      for (size_t i = 0; i < 64; ++i) {
        const int twiceError = 2 * (dst[i] * 32768 - coefficients[n][i] * entry);
        const bool half = std::abs(twiceError) == 32768;
        halves += half;
        ASSERT_TRUE(std::abs(twiceError) < 32768 || (half && dst[i] % 2 == 0))
            << coefficients[n][i] << " times " << entry << " gives " << dst[i];
      }
    }
  }
  EXPECT_GT(halves, 1000);
}

TEST(DctForward, FloatFormOfSixteenBitSamples) {
  const Block<float> ones = flat(1.0f);
  Block<int16_t> dst = flat<int16_t>(77);
  Block<uint16_t> src = flat<uint16_t>(2048);
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), ones.data()), qlmOk);
  EXPECT_EQ(dst, flat<int16_t>(0));
  src = flat<uint16_t>(4095);
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), ones.data()), qlmOk);
  EXPECT_EQ(dst, cornerOnly<int16_t>(16376));
  src = flat<uint16_t>(65535);  // -1, which is 2049 below the middle
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), ones.data()), qlmOk);
  EXPECT_EQ(dst, cornerOnly<int16_t>(-16392));
  src = flat<uint16_t>(32768);  // -32768: the corner saturates
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), ones.data()), qlmOk);
  EXPECT_EQ(dst, cornerOnly<int16_t>(-32768));
  src = flat<uint16_t>(2049);  // 8, with halves to even
  const Block<float> sixteenth = flat(1.0f / 16.0f), threeSixteenths = flat(3.0f / 16.0f);
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), sixteenth.data()), qlmOk);
  EXPECT_EQ(dst, flat<int16_t>(0));
  ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(src.data(), 16, dst.data(), threeSixteenths.data()), qlmOk);
  EXPECT_EQ(dst, cornerOnly<int16_t>(2));
}

// A step of less than a row makes the rows overlap; that is the caller's choice.
TEST(DctForward, RowsMayOverlap) {
  Random random(0x2210);
  for (int32_t step = 1; step < 16; ++step) {
    test::Guarded<uint8_t> bytes(static_cast<size_t>(7 * step + 8));
    random.fill(bytes.span());
    Block<uint8_t> samples;
    for (size_t i = 0; i < 64; ++i) samples[i] = bytes[i / 8 * static_cast<size_t>(step) + i % 8];
    const Block<uint16_t> table = filled(32768);
    Block<int16_t> dst;
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(bytes.data(), step, dst.data(), table.data()), qlmOk);
    EXPECT_EQ(dst, model::dctQuantFwd8x8LS(samples, table)) << "step " << step;

    test::Guarded<uint8_t> wide(static_cast<size_t>(7 * step + 16));
    random.fill(wide.span());
    Block<uint16_t> words;
    for (size_t y = 0; y < 8; ++y) std::memcpy(&words[8 * y], wide.data() + y * static_cast<size_t>(step), 16);
    const Block<float> ones = flat(1.0f);
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(reinterpret_cast<const uint16_t*>(wide.data()), step, dst.data(),
                                                   ones.data()),
              qlmOk);
    EXPECT_EQ(dst, model::dctQuantFwd8x8LS(words, ones)) << "step " << step;
  }
}

using Inverse8 = decltype(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R)*;

Block<uint8_t> inverse8(Inverse8 function, const Block<int16_t>& src, const Block<uint16_t>& table) {
  Block<uint8_t> dst = flat<uint8_t>(77);
  EXPECT_EQ(function(src.data(), dst.data(), 8, table.data()), qlmOk);
  return dst;
}

TEST(DctInverse, ZeroBlocks) {
  const Block<int16_t> zeros{};
  for (const uint16_t entry : {uint16_t{0}, uint16_t{1}, uint16_t{65535}}) {
    const Block<uint16_t> table = filled(entry);
    for (Inverse8 function : {qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R, qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R,
                              qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R})
      EXPECT_EQ(inverse8(function, zeros, table), flat<uint8_t>(128));
    const std::array<uint8_t, 4> grey2 = {128, 128, 128, 128};
    std::array<uint8_t, 4> two{};
    ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(zeros.data(), two.data(), 2, table.data()), qlmOk);
    EXPECT_EQ(two, grey2);
    std::array<uint8_t, 16> four{}, grey4;
    grey4.fill(128);
    ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(zeros.data(), four.data(), 4, table.data()), qlmOk);
    EXPECT_EQ(four, grey4);
    Block<int16_t> dst = flat<int16_t>(77);
    ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1(zeros.data(), dst.data(), table.data()), qlmOk);
    EXPECT_EQ(dst, zeros);
    Block<int16_t> inPlace = zeros;
    ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1I(inPlace.data(), table.data()), qlmOk);
    EXPECT_EQ(inPlace, zeros);
  }
  Block<uint16_t> dst{};
  const Block<float> ones = flat(1.0f);
  ASSERT_EQ(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(zeros.data(), dst.data(), 16, ones.data()), qlmOk);
  EXPECT_EQ(dst, flat<uint16_t>(2048));
}

TEST(DctInverse, CornerAlone) {
  Block<int16_t> dst;
  ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1(cornerOnly<int16_t>(8).data(), dst.data(), filled(1).data()), qlmOk);
  EXPECT_EQ(dst, flat<int16_t>(1));
  ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1(cornerOnly<int16_t>(-8).data(), dst.data(), filled(1).data()), qlmOk);
  EXPECT_EQ(dst, flat<int16_t>(-1));
  ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1(cornerOnly<int16_t>(2).data(), dst.data(), filled(100).data()), qlmOk);
  EXPECT_EQ(dst, flat<int16_t>(25));
}

// The member for a single coefficient does not round; the others do.
TEST(DctInverse, SingleCoefficientDoesNotRound) {
  const Block<int16_t> src = cornerOnly<int16_t>(-1);
  const Block<uint16_t> ones = filled(1);
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, src, ones), flat<uint8_t>(127));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, src, ones), flat<uint8_t>(128));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, src, ones), flat<uint8_t>(128));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R, src, ones), flat<uint8_t>(128));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, cornerOnly<int16_t>(7), ones), flat<uint8_t>(128));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, cornerOnly<int16_t>(8), ones), flat<uint8_t>(129));
}

// 1000 * 100 wraps to -31072, an eighth of which is far below 0. The product of the single-coefficient member does
// not wrap: 100000 / 8 is far above 255. There the shift is logical and its low 16 bits count: 32767 * 65535 / 8 + 128
// is 0x0FFFD080, which cuts to a negative number.
TEST(DctInverse, DequantisationWraps) {
  const Block<int16_t> src = cornerOnly<int16_t>(1000);
  const Block<uint16_t> table = filled(100);
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R, src, table), flat<uint8_t>(0));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, src, table), flat<uint8_t>(0));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, src, table), flat<uint8_t>(0));
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, src, table), flat<uint8_t>(255));
  std::array<uint8_t, 4> two{}, black2{};
  two.fill(77);
  ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(src.data(), two.data(), 2, table.data()), qlmOk);
  EXPECT_EQ(two, black2);
  std::array<uint8_t, 16> four{}, black4{};
  four.fill(77);
  ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(src.data(), four.data(), 4, table.data()), qlmOk);
  EXPECT_EQ(four, black4);
  EXPECT_EQ(inverse8(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, cornerOnly<int16_t>(32767), filled(65535)),
            flat<uint8_t>(0));
}

// The members for blocks that are zero outside a corner equal the full one on such blocks, and ignore what lies
// outside the corner on others.
void checkCornerMember(Inverse8 function, size_t size, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  for (int n = 0; n < 20000; ++n) {
    Block<int16_t> garbage = test::anyBlock(random, n % test::kBlockKinds);
    const Block<uint16_t> table = test::anyQuantisers(random, n / 7 % test::kTableKinds);
    Block<int16_t> corner{};
    for (size_t y = 0; y < size; ++y)
      for (size_t x = 0; x < size; ++x) corner[8 * y + x] = garbage[8 * y + x];
    const Block<uint8_t> full = inverse8(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R, corner, table);
    ASSERT_EQ(inverse8(function, corner, table), full) << "block " << n;
    ASSERT_EQ(inverse8(function, garbage, table), full) << "block " << n;
  }
}

TEST(DctInverse, CornerOfTwoEqualsFull) { checkCornerMember(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, 2, 0x2311); }
TEST(DctInverse, CornerOfFourEqualsFull) { checkCornerMember(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, 4, 0x2312); }

TEST(DctInverse, ReducedMembersIgnoreSomeRowsAndColumns) {
  Random random(0x2313);
  for (int n = 0; n < 2000; ++n) {
    const Block<uint16_t> table = test::anyQuantisers(random, n % test::kTableKinds);
    Block<int16_t> block = test::anyBlock(random, n % test::kBlockKinds), other2 = block, other4 = block;
    for (size_t i = 0; i < 64; ++i) {
      const size_t row = i / 8, column = i % 8;
      if (row == 4 || column == 4) other4[i] = static_cast<int16_t>(random.bits());
      if ((row > 0 && row % 2 == 0) || (column > 0 && column % 2 == 0)) other2[i] = static_cast<int16_t>(random.bits());
    }
    std::array<uint8_t, 4> twoA{}, twoB{};
    ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(block.data(), twoA.data(), 2, table.data()), qlmOk);
    ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(other2.data(), twoB.data(), 2, table.data()), qlmOk);
    ASSERT_EQ(twoA, twoB);
    std::array<uint8_t, 16> fourA{}, fourB{};
    ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(block.data(), fourA.data(), 4, table.data()), qlmOk);
    ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(other4.data(), fourB.data(), 4, table.data()), qlmOk);
    ASSERT_EQ(fourA, fourB);
  }
}

TEST(DctInverse, FloatFormClampsToTwelveBitsAndTruncates) {
  const auto sampleOf = [](int16_t dc, float quantiser) {
    const Block<int16_t> src = cornerOnly(dc);
    const Block<float> table = flat(quantiser);
    Block<uint16_t> dst{};
    EXPECT_EQ(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(src.data(), dst.data(), 16, table.data()), qlmOk);
    EXPECT_EQ(dst, flat(dst[0]));
    return int{dst[0]};
  };
  EXPECT_EQ(sampleOf(32767, 1.0f), 4095);
  EXPECT_EQ(sampleOf(-32768, 1.0f), 0);
  EXPECT_EQ(sampleOf(16376, 1.0f), 4095);
  EXPECT_EQ(sampleOf(16368, 1.0f), 4094);
  EXPECT_EQ(sampleOf(7, 1.0f), 2048);   // 2048.875
  EXPECT_EQ(sampleOf(-1, 1.0f), 2047);  // 2047.875
  EXPECT_EQ(sampleOf(-8, 1.0f), 2047);
  EXPECT_EQ(sampleOf(-9, 1.0f), 2046);
  EXPECT_EQ(sampleOf(-16391, 1.0f), 0);  // -0.875 is cut toward zero
}

// The real-valued transforms of T.81 A.3.3.

using Real = std::array<double, 64>;

double basis(size_t u, size_t x) {
  const double c = u == 0 ? std::numbers::sqrt2 / 2 : 1.0;
  return c / 2 * std::cos((2.0 * static_cast<double>(x) + 1) * static_cast<double>(u) * std::numbers::pi / 16);
}

const Real& basisTable() {
  static const Real table = [] {
    Real t;
    for (size_t i = 0; i < 64; ++i) t[i] = basis(i / 8, i % 8);
    return t;
  }();
  return table;
}

// out = A * in * A^T (forward), or A^T * in * A (inverse).
template <typename Input>
Real realDct(const Input& in, bool inverse) {
  const Real& table = basisTable();
  const auto a = [&](size_t i, size_t k) { return inverse ? table[8 * k + i] : table[8 * i + k]; };
  Real half{}, out{};
  for (size_t i = 0; i < 8; ++i)
    for (size_t x = 0; x < 8; ++x)
      for (size_t k = 0; k < 8; ++k) half[8 * i + x] += a(i, k) * static_cast<double>(in[8 * k + x]);
  for (size_t i = 0; i < 8; ++i)
    for (size_t j = 0; j < 8; ++j)
      for (size_t k = 0; k < 8; ++k) out[8 * i + j] += half[8 * i + k] * a(j, k);
  return out;
}

TEST(DctForward, NearTheRealTransform) {
  Random random(0x2220);
  const Block<uint16_t> table = filled(32768);
  const Block<float> ones = flat(1.0f);
  double largest = 0, largestFloat = 0;
  for (int n = 0; n < 20000; ++n) {
    const Block<uint8_t> src = samples8(random, n % test::kBlockKinds);
    std::array<int, 64> shifted;
    for (size_t i = 0; i < 64; ++i) shifted[i] = src[i] - 128;
    const Real real = realDct(shifted, false);
    Block<int16_t> dst;
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(src.data(), 8, dst.data(), table.data()), qlmOk);
    for (size_t i = 0; i < 64; ++i) largest = std::max(largest, std::abs(dst[i] - real[i]));

    const Block<uint16_t> wide = test::anySamples<uint16_t>(random, n % test::kBlockKinds, 4095);
    for (size_t i = 0; i < 64; ++i) shifted[i] = wide[i] - 2048;
    const Real realWide = realDct(shifted, false);
    ASSERT_EQ(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(wide.data(), 16, dst.data(), ones.data()), qlmOk);
    for (size_t i = 0; i < 64; ++i) largestFloat = std::max(largestFloat, std::abs(dst[i] - realWide[i]));
  }
  EXPECT_LE(largest, 0.75);       // half a unit of rounding and what 16-bit lanes lose
  EXPECT_LE(largestFloat, 0.51);  // rounding alone
}

// IEEE Std 1180-1990: random blocks in three ranges and both signs, through an exact forward transform, rounded and
// cut to 12 bits; then the limits of the standard on the inverse.
class Ieee1180 {
 public:
  int next(int low, int high) {  // the standard's own generator, in [-low, high]
    state_ = static_cast<int32_t>(static_cast<uint32_t>(state_) * 1103515245u + 12345u);
    const double x = static_cast<double>(state_ & 0x7FFFFFFE) / static_cast<double>(0x7FFFFFFF) * (low + high + 1);
    return static_cast<int>(x) - low;
  }

 private:
  int32_t state_ = 1;
};

TEST(DctInverse, MeetsIeee1180) {
  const Block<uint16_t> table = filled(1);
  constexpr int kBlocks = 10000;
  constexpr int kRanges[3][2] = {{256, 255}, {5, 5}, {300, 300}};
  for (const auto& [low, high] : kRanges) {
    for (const int sign : {1, -1}) {
      SCOPED_TRACE(::testing::Message() << "-" << low << " to " << high << " times " << sign);
      Ieee1180 source;
      Real sumOfErrors{}, sumOfSquares{};
      double largest = 0;
      for (int n = 0; n < kBlocks; ++n) {
        std::array<int, 64> samples;
        for (int& v : samples) v = sign * source.next(low, high);
        const Real forward = realDct(samples, false);
        Block<int16_t> coefficients;
        for (size_t i = 0; i < 64; ++i)
          coefficients[i] = static_cast<int16_t>(std::clamp(std::round(forward[i]), -2048.0, 2047.0));
        const Real real = realDct(coefficients, true);
        Block<int16_t> dst;
        ASSERT_EQ(qlmiDCTQuantInv8x8_JPEG_16s_C1(coefficients.data(), dst.data(), table.data()), qlmOk);
        for (size_t i = 0; i < 64; ++i) {
          const double reference = std::clamp(std::round(real[i]), -256.0, 255.0);
          const double error = std::clamp<double>(dst[i], -256.0, 255.0) - reference;
          largest = std::max(largest, std::abs(error));
          sumOfErrors[i] += error;
          sumOfSquares[i] += error * error;
        }
      }
      double meanError = 0, meanSquare = 0;
      for (size_t i = 0; i < 64; ++i) {
        EXPECT_LE(std::abs(sumOfErrors[i]) / kBlocks, 0.015) << "element " << i;
        EXPECT_LE(sumOfSquares[i] / kBlocks, 0.06) << "element " << i;
        meanError += sumOfErrors[i] / (64.0 * kBlocks);
        meanSquare += sumOfSquares[i] / (64.0 * kBlocks);
      }
      EXPECT_LE(largest, 1.0);
      EXPECT_LE(std::abs(meanError), 0.0015);
      EXPECT_LE(meanSquare, 0.02);
    }
  }
}

// The reduced members give the means of groups of the real-valued transform, and the float member the samples
// themselves, less what truncation takes.
TEST(DctInverse, NearTheRealTransform) {
  Random random(0x2320);
  const Block<uint16_t> table = filled(1);
  const Block<float> ones = flat(1.0f);
  double largest = 0, largest4 = 0, largest2 = 0, lowestFloat = 0, highestFloat = 0;
  for (int n = 0; n < 20000; ++n) {
    const Block<uint8_t> picture = samples8(random, n % test::kBlockKinds);
    std::array<int, 64> shifted;
    for (size_t i = 0; i < 64; ++i) shifted[i] = picture[i] - 128;
    const Real forward = realDct(shifted, false);
    Block<int16_t> coefficients;
    for (size_t i = 0; i < 64; ++i) coefficients[i] = static_cast<int16_t>(std::lround(forward[i]));
    const Real real = realDct(coefficients, true);
    const auto clamped = [](double v) { return std::clamp(v + 128, 0.0, 255.0); };

    const Block<uint8_t> full = inverse8(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R, coefficients, table);
    for (size_t i = 0; i < 64; ++i) largest = std::max(largest, std::abs(full[i] - clamped(real[i])));

    const auto meanOf = [&](size_t x, size_t y, size_t group) {
      double sum = 0;
      for (size_t i = 0; i < group; ++i)
        for (size_t j = 0; j < group; ++j) sum += real[8 * (group * y + i) + group * x + j];
      return clamped(sum / static_cast<double>(group * group));
    };
    std::array<uint8_t, 16> four;
    ASSERT_EQ(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(coefficients.data(), four.data(), 4, table.data()), qlmOk);
    for (size_t i = 0; i < 16; ++i) largest4 = std::max(largest4, std::abs(four[i] - meanOf(i % 4, i / 4, 2)));
    std::array<uint8_t, 4> two;
    ASSERT_EQ(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(coefficients.data(), two.data(), 2, table.data()), qlmOk);
    for (size_t i = 0; i < 4; ++i) largest2 = std::max(largest2, std::abs(two[i] - meanOf(i % 2, i / 2, 4)));

    Block<int16_t> wide = coefficients;
    for (int16_t& v : wide) v = static_cast<int16_t>(v * 12);
    const Real realWide = realDct(wide, true);
    Block<uint16_t> dst;
    ASSERT_EQ(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(wide.data(), dst.data(), 16, ones.data()), qlmOk);
    for (size_t i = 0; i < 64; ++i) {
      const double error = dst[i] - std::clamp(realWide[i] + 2048, 0.0, 4095.0);
      lowestFloat = std::min(lowestFloat, error);
      highestFloat = std::max(highestFloat, error);
    }
  }
  EXPECT_LE(largest, 0.56);
  EXPECT_LE(largest4, 0.56);
  EXPECT_LE(largest2, 0.56);
  EXPECT_GT(lowestFloat, -1.002);
  EXPECT_LT(highestFloat, 0.002);
}

}  // namespace
