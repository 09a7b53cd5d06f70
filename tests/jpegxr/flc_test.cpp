// The fixed-length coders of low bits (ITU-T T.832 8.7), call by call against the model, with the adaptive coders there
// and back, and by number.
#include <climits>

#include "vlc_support.h"

namespace {

using model::BitReader;
using model::BitWriter;
using model::VlcBlock;
using test::BlockPlaces;
using test::Coder;
using test::Random;
using test::ReadWindow;
using test::Tail;
using test::WriteWindow;

template <typename T>
struct Exports;
template <>
struct Exports<int16_t> {
  static constexpr auto kDecode = qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR;
  static constexpr auto kEncode = qlmiFLCEncode4x4_JPEGXR_16s1u_C1R;
  static constexpr auto kDecodeBlock = qlmiVLCDecode4x4_JPEGXR_1u16s_C1R;
  static constexpr auto kEncodeBlock = qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R;
};
template <>
struct Exports<int32_t> {
  static constexpr auto kDecode = qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR;
  static constexpr auto kEncode = qlmiFLCEncode4x4_JPEGXR_32s1u_C1R;
  static constexpr auto kDecodeBlock = qlmiVLCDecode4x4_JPEGXR_1u32s_C1R;
  static constexpr auto kEncodeBlock = qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R;
};

// Zeros, small values, any values and the ends of the range.
template <typename T>
VlcBlock<T> anyBlock(Random& random) {
  VlcBlock<T> block;
  const int64_t share = random.between(0, 16), bits = random.between(0, 8 * static_cast<int64_t>(sizeof(T)) - 1);
  for (T& v : block) {
    v = test::randomCoefficient<T>(share, bits, random);
    if (random.oneIn(40)) v = random.oneIn(2) ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
  }
  return block;
}

template <typename T>
void checkDecoder(uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  BlockPlaces<T> places;
  ReadWindow window;
  for (uint32_t round = 0; round < 33 * 16 * 24; ++round) {
    const auto numBits = static_cast<int32_t>(round / 33 % 16);
    constexpr int32_t kRefine[] = {0, 1, 256, -1, INT_MIN};
    const int32_t refine = kRefine[random.between(0, 4)];
    const T scale = random.oneIn(2) ? static_cast<T>(1 << random.between(0, 14)) : static_cast<T>(random.bits());
    std::vector<uint8_t> bits(40);
    random.fill(std::span(bits));
    if (random.oneIn(2))  // many zeros
      for (uint8_t& b : bits) b &= static_cast<uint8_t>(random.bits() & random.bits());
    const test::Source source(bits, round % 33, random);
    VlcBlock<T> block = anyBlock<T>(random);
    auto& srcDst = places.actual(round);
    srcDst.set(block);
    const auto result = window.run(
        source.bytes.data(), source.held,
        [&](BitReader& in) { model::decodeFixed(in, block, numBits, scale, refine != 0); },
        [&](const uint16_t** from, uint32_t* buffer, uint32_t* held) {
          return Exports<T>::kDecode(from, buffer, held, srcDst.data(), srcDst.step(), numBits, scale, refine);
        });
    ASSERT_TRUE(result) << "round " << round << " bits " << numBits << " refine " << refine;
    ASSERT_TRUE(places.holds(round, block)) << "round " << round << " bits " << numBits << " refine " << refine;
  }
}

TEST(Model, qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR) { checkDecoder<int16_t>(0x9330); }
TEST(Model, qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR) { checkDecoder<int32_t>(0x9331); }

// Residuals that fit into `numBits` bits, with a sign in some of them whatever their value.
std::array<int32_t, 16> anyResiduals(int32_t numBits, Random& random) {
  std::array<int32_t, 16> residuals;
  for (int32_t& e : residuals) {
    const auto sign = static_cast<int32_t>(random.between(0, 1));
    e = static_cast<int32_t>(random.between(0, (1 << (numBits + sign)) - 1)) << 1 | sign;
  }
  return residuals;
}

template <typename T>
void checkEncoder(uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  BlockPlaces<T> places;
  WriteWindow window;
  Tail<int32_t> residuals(16);
  for (uint32_t round = 0; round < 33 * 16 * 24; ++round) {
    const auto numBits = static_cast<int32_t>(round / 33 % 16);
    const auto trimBits = static_cast<int32_t>(random.between(0, 15));
    constexpr int32_t kUse[] = {0, 0, 1, 256, INT_MIN};
    const int32_t useResidual = kUse[random.between(0, 4)];
    const VlcBlock<T> block = anyBlock<T>(random);
    const auto given = anyResiduals(numBits, random);
    std::ranges::copy(given, residuals.last(16));
    auto& src = places.actual(round);
    src.set(block);
    const auto result = window.run(
        test::heldBits(round % 33, random),
        [&](BitWriter& out) { model::encodeFixed(block, given.data(), out, numBits, trimBits, useResidual != 0); },
        [&](uint16_t** to, uint32_t* buffer, uint32_t* held) {
          return Exports<T>::kEncode(src.data(), src.step(), residuals.last(16), to, buffer, held, numBits, trimBits,
                                     useResidual);
        });
    ASSERT_TRUE(result) << "round " << round << " bits " << numBits << " trim " << trimBits << " use " << useResidual;
    ASSERT_TRUE(places.holds(round, block)) << "round " << round;
    ASSERT_TRUE(std::ranges::equal(given, std::span(residuals.last(16), 16)));
  }
}

TEST(Model, qlmiFLCEncode4x4_JPEGXR_16s1u_C1R) { checkEncoder<int16_t>(0x9332); }
TEST(Model, qlmiFLCEncode4x4_JPEGXR_32s1u_C1R) { checkEncoder<int32_t>(0x9333); }

// High bits by the adaptive coders, low ones by these: all comes back but the bits that were trimmed.
template <typename T>
void checkBothParts(uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  Coder encoder, decoder;
  for (int32_t round = 0; round < 4000; ++round) {
    const auto numBits = static_cast<int32_t>(random.between(0, 14));
    const auto trimBits = static_cast<int32_t>(random.between(0, numBits));
    const int32_t fixedBits = numBits - trimBits, tableClass = round % 2;
    // A magnitude of 2^15 would not come back in 16 bits.
    VlcBlock<T> block = test::randomBlock<T>(numBits, random);
    for (T& v : block) v = static_cast<T>(v == std::numeric_limits<T>::min() ? 0 : v);
    int32_t residual[16], count = -1;
    uint16_t high[128], low[64];
    uint16_t *toHigh = high, *toLow = low;
    uint32_t buffer = 0, held = 0, lowBuffer = 0, lowHeld = 0;
    ASSERT_EQ(Exports<T>::kEncodeBlock(block.data(), 4 * sizeof(T), tableClass, numBits, trimBits, residual, &toHigh,
                                       &buffer, &held, &count, encoder.get()),
              qlmOk);
    ASSERT_EQ(Exports<T>::kEncode(block.data(), 4 * sizeof(T), residual, &toLow, &lowBuffer, &lowHeld, fixedBits, 0, 1),
              qlmOk);
    for (int32_t i = 0; i < 2; ++i, buffer <<= 16, lowBuffer <<= 16) {
      *toHigh++ = __builtin_bswap16(static_cast<uint16_t>(buffer >> 16));
      *toLow++ = __builtin_bswap16(static_cast<uint16_t>(lowBuffer >> 16));
    }
    const uint16_t *from = high, *fromLow = low;
    buffer = held = lowBuffer = lowHeld = 0;
    VlcBlock<T> decoded{};
    if (count > 0) {
      ASSERT_EQ(Exports<T>::kDecodeBlock(&from, &buffer, &held, static_cast<T>(1 << numBits), decoded.data(),
                                         4 * sizeof(T), tableClass, &count, decoder.get()),
                qlmOk);
    }
    ASSERT_EQ(Exports<T>::kDecode(&fromLow, &lowBuffer, &lowHeld, decoded.data(), 4 * sizeof(T), fixedBits,
                                  static_cast<T>(1 << trimBits), 1),
              qlmOk);
    for (size_t i = 1; i < 16; ++i) {
      const int64_t v = block[i], kept = (v < 0 ? -v : v) >> trimBits << trimBits;
      ASSERT_EQ(decoded[i], static_cast<T>(v < 0 ? -kept : kept))
          << "round " << round << " place " << i << " bits " << numBits << " trim " << trimBits << " of " << v;
    }
    if (round % 16 == 0) {
      encoder.adapt(1);
      decoder.adapt(1);
    }
  }
  EXPECT_TRUE(test::sameState(*decoder.get(), test::fieldsOf(*encoder.get())));
}

TEST(FixedLength, LowBitsAndLevelsGiveTheBlock16) { checkBothParts<int16_t>(0x9340); }
TEST(FixedLength, LowBitsAndLevelsGiveTheBlock32) { checkBothParts<int32_t>(0x9341); }

// ---- By number ----

// The order of the coefficients as places in a block, row by row: index 5, which is row 0, column 2, comes first.
constexpr size_t kOrder[15] = {2, 1, 7, 8, 15, 12, 11, 4, 3, 5, 6, 13, 14, 9, 10};

template <typename T>
std::string written(const VlcBlock<T>& block, const std::array<int32_t, 16>& residual, int32_t numBits,
                    int32_t trimBits, int32_t useResidual) {
  uint16_t units[64];
  uint16_t* to = units;
  test::HeldBits held;
  EXPECT_EQ(Exports<T>::kEncode(block.data(), 4 * sizeof(T), residual.data(), &to, &held.buffer, &held.count, numBits,
                                trimBits, useResidual),
            qlmOk);
  return test::bitText(units, to, held);
}

// Reads `bits`, and zeros behind them, into `block`. Gives the number of bits that were used.
template <typename T>
ptrdiff_t readInto(VlcBlock<T>& block, const std::string& bits, int32_t numBits, T scale, int32_t refine) {
  test::BitSource in(bits);
  EXPECT_EQ(Exports<T>::kDecode(&in.stream, &in.held.buffer, &in.held.count, block.data(), 4 * sizeof(T), numBits,
                                scale, refine),
            qlmOk);
  return in.used();
}

TEST(FixedLength, Refining) {
  const auto refined = [](int32_t c, const std::string& bits, int32_t scale, ptrdiff_t used) {
    VlcBlock<int32_t> block{};
    block[2] = c;
    EXPECT_EQ(readInto(block, bits, 2, scale, 1), used + 28) << bits;  // two zeros for each of the others
    return block[2];
  };
  EXPECT_EQ(refined(-3, "10", 1, 2), -5);
  EXPECT_EQ(refined(3, "10", 1, 2), 5);
  EXPECT_EQ(refined(0, "101", 1, 3), -2);
  EXPECT_EQ(refined(0, "100", 1, 3), 2);
  EXPECT_EQ(refined(-3, "00", 1, 2), -3);
  EXPECT_EQ(refined(0, "00", 1, 2), 0);
  EXPECT_EQ(refined(-3, "11", 8, 2), -27);
  EXPECT_EQ(refined(0, "111", 8, 3), -24);
}

TEST(FixedLength, SettingLeavesWhatHasNoBits) {
  VlcBlock<int16_t> block;
  block.fill(77);
  EXPECT_EQ(readInto<int16_t>(block, "010 00 111", 2, 5, 0), 3 + 2 + 3 + 2 * 12);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(block[i], i == kOrder[0] ? 5 : i == kOrder[2] ? -15 : 77) << i;
}

TEST(FixedLength, ResultsWrap) {
  VlcBlock<int16_t> block{};
  block[2] = 32767;
  block[1] = -32768;
  readInto<int16_t>(block, "1 1 10", 1, 5, 1);
  EXPECT_EQ(block[2], -32764);
  EXPECT_EQ(block[1], 32763);
  EXPECT_EQ(block[7], 5);
  block = {};
  readInto<int16_t>(block, "1110 1111", 3, 16384, 0);  // 7 * 16384 = 114688
  EXPECT_EQ(block[2], -16384);
  EXPECT_EQ(block[1], 16384);
  VlcBlock<int32_t> wide{};
  readInto<int32_t>(wide, "110", 2, INT_MAX, 0);
  EXPECT_EQ(wide[2], INT_MAX - 2);
}

// Nothing at all, not even the unit that would fill up the buffer.
TEST(FixedLength, NoBitsReadNothing) {
  VlcBlock<int32_t> block;
  block.fill(5);
  EXPECT_EQ(readInto(block, "11111", 0, 3, 0), 0);
  EXPECT_EQ(block[2], 5);
  const uint16_t* from = nullptr;
  uint16_t unit = 0xFFFF;
  from = &unit;
  uint32_t buffer = 0xA0000000, held = 3;
  EXPECT_EQ(qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(&from, &buffer, &held, block.data(), 16, 0, 3, 1), qlmOk);
  EXPECT_EQ(from, &unit);
  EXPECT_EQ(buffer, 0xA0000000u);
  EXPECT_EQ(held, 3u);
}

TEST(FixedLength, OrderOfTheCoefficients) {
  for (size_t i = 0; i < 15; ++i) {
    VlcBlock<int32_t> block{};
    block[kOrder[i]] = 1;
    EXPECT_EQ(written(block, {}, 1, 0, 0), std::string(i, '0') + "10" + std::string(14 - i, '0')) << i;
    VlcBlock<int32_t> decoded{};
    readInto(decoded, std::string(i, '0') + "10", 1, 1, 0);
    EXPECT_EQ(decoded, block) << i;
  }
  VlcBlock<int32_t> dc{9};
  EXPECT_EQ(written(dc, {}, 1, 0, 0), std::string(15, '0'));
}

TEST(FixedLength, SignsStandWhereTheTrimmedValueIsNotZero) {
  const auto of = [](int16_t v, int32_t numBits, int32_t trimBits) {
    VlcBlock<int16_t> block{};
    block[2] = v;
    const std::string bits = written(block, {}, numBits, trimBits, 0);
    const size_t others = 14 * static_cast<size_t>(numBits);
    EXPECT_EQ(bits.substr(bits.size() - others), std::string(others, '0'));
    return bits.substr(0, bits.size() - others);
  };
  EXPECT_EQ(of(-2, 1, 0), "01");  // the low bit is 0, and has its sign
  EXPECT_EQ(of(2, 1, 0), "00");
  EXPECT_EQ(of(-3, 2, 1), "011");
  EXPECT_EQ(of(-3, 2, 2), "00");
  EXPECT_EQ(of(-1, 0, 0), "1");  // no bits but the sign
  EXPECT_EQ(of(-32768, 2, 14), "101");
  EXPECT_EQ(of(-32768, 1, 15), "11");
}

TEST(FixedLength, ResidualsCarryTheirSigns) {
  std::array<int32_t, 16> residual{};
  residual[5] = 4 * 2 + 2 + 1;  // 2, negative
  residual[1] = 2 * 3;          // 3 without a sign
  VlcBlock<int32_t> ignored;
  ignored.fill(-1);
  EXPECT_EQ(written(ignored, residual, 2, 15, 1), "10111" + std::string(26, '0'));
  EXPECT_EQ(written(ignored, residual, 2, 15, 256), "10111" + std::string(26, '0'));
}

TEST(FixedLength, NegativeSteps) {
  VlcBlock<int32_t> block{};
  block[12 + 2] = 3;  // row 0 when rows lie upward
  uint16_t units[8]{};
  uint16_t* to = units;
  uint32_t buffer = 0, held = 0;
  std::array<int32_t, 16> residual{};
  ASSERT_EQ(qlmiFLCEncode4x4_JPEGXR_32s1u_C1R(block.data() + 12, -16, residual.data(), &to, &buffer, &held, 1, 0, 0),
            qlmOk);
  EXPECT_EQ(held, 16u);
  EXPECT_EQ(buffer, 0x80000000u);
  const uint16_t source[4] = {__builtin_bswap16(0x8000)};
  const uint16_t* from = source;
  buffer = held = 0;
  VlcBlock<int32_t> decoded{};
  ASSERT_EQ(qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(&from, &buffer, &held, decoded.data() + 12, -16, 1, 7, 0), qlmOk);
  VlcBlock<int32_t> expected{};
  expected[14] = 7;
  EXPECT_EQ(decoded, expected);
}

}  // namespace
