// The adaptive coders of 4x4 blocks (ITU-T T.832 8.7), call by call against the model, there and back, and by number.
#include <climits>
#include <set>

#include "vlc_support.h"

namespace {

using model::BitReader;
using model::BitWriter;
using model::VlcBlock;
using test::BlockPlaces;
using test::Coder;
using test::Edge;
using test::HeldBits;
using test::Random;
using test::ReadWindow;
using test::Tail;
using test::WriteWindow;

// The exports of an element type.
template <typename T>
struct Exports;
template <>
struct Exports<int16_t> {
  static constexpr auto kDecode = qlmiVLCDecode4x4_JPEGXR_1u16s_C1R;
  static constexpr auto kEncode = qlmiVLCEncode4x4_JPEGXR_16s1u_C1R;
  static constexpr auto kEncodeFlex = qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R;
};
template <>
struct Exports<int32_t> {
  static constexpr auto kDecode = qlmiVLCDecode4x4_JPEGXR_1u32s_C1R;
  static constexpr auto kEncode = qlmiVLCEncode4x4_JPEGXR_32s1u_C1R;
  static constexpr auto kEncodeFlex = qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R;
};

// Which alternatives of the codes a test has been through.
class Coverage {
 public:
  void note(const model::VlcState& state) {
    for (size_t i = 13; i < 21; ++i) seen_.insert({i, state.adaptive[i].tableIndex});
    seen_.insert({0, state.adaptive[0].tableIndex});
  }
  // Two tables of kind 12, four of kind 6, two of kind 7 and the run table.
  bool complete() const { return seen_.size() == 2 * 5 + 4 * 4 + 2 * 2 + 2; }

 private:
  std::set<std::pair<size_t, int32_t>> seen_;
};

// The encoders, call by call.
template <typename T>
void checkEncoder(bool flex, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  Coder coder(flex ? Edge::Front : Edge::Back);
  BlockPlaces<T> places;
  WriteWindow window;
  Tail<int32_t> residual(16), count(1);
  Coverage coverage;
  for (size_t round = 0; round < 12000; ++round) {
    coder.stir(random);
    coverage.note(coder.model);
    const auto numBits = static_cast<int32_t>(random.oneIn(3) ? 0 : random.between(0, 15));
    const auto trimBits = static_cast<int32_t>(random.between(0, 15));
    const auto tableClass = static_cast<int32_t>(random.between(0, 1));
    const VlcBlock<T> block = test::randomBlock<T>(numBits, random);
    int32_t before[16], expectedResidual[16], coefficients = 0;
    random.fill(std::span<int32_t>(before));
    std::copy_n(before, 16, expectedResidual);
    std::copy_n(before, 16, residual.last(16));
    *count.last(1) = -1;

    auto& src = places.actual(round);
    src.set(block);
    const HeldBits held = test::heldBits(static_cast<uint32_t>(round % 33), random);
    const auto result = window.run(
        held,
        [&](BitWriter& out) {
          coefficients =
              flex ? model::encodeBlockFlex(block, tableClass, numBits, trimBits, expectedResidual, out, coder.model)
                   : model::encodeBlock(block, tableClass, numBits, out, coder.model);
        },
        [&](uint16_t** to, uint32_t* buffer, uint32_t* bits) {
          return flex ? Exports<T>::kEncodeFlex(src.data(), src.step(), tableClass, numBits, trimBits,
                                                residual.last(16), to, buffer, bits, count.last(1), coder.get())
                      : Exports<T>::kEncode(src.data(), src.step(), tableClass, numBits, to, buffer, bits,
                                            count.last(1), coder.get());
        });
    ASSERT_TRUE(result) << "round " << round << " class " << tableClass << " bits " << numBits;
    ASSERT_EQ(*count.last(1), coefficients) << "round " << round;
    ASSERT_TRUE(std::equal(expectedResidual, expectedResidual + 16, residual.last(16)))
        << "round " << round << " bits " << numBits << " trim " << trimBits;
    ASSERT_TRUE(places.holds(round, block)) << "round " << round;
    ASSERT_TRUE(coder.same()) << "round " << round << " class " << tableClass << " bits " << numBits;
  }
  EXPECT_TRUE(coverage.complete());
}

TEST(Model, qlmiVLCEncode4x4_JPEGXR_16s1u_C1R) { checkEncoder<int16_t>(false, 0x9200); }
TEST(Model, qlmiVLCEncode4x4_JPEGXR_32s1u_C1R) { checkEncoder<int32_t>(false, 0x9201); }
TEST(Model, qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R) { checkEncoder<int16_t>(true, 0x9202); }
TEST(Model, qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R) { checkEncoder<int32_t>(true, 0x9203); }

// A stream of one block that an encoder in the same state has written, or of any bits.
template <typename T>
std::vector<uint8_t> blockBits(const model::VlcState& state, int32_t tableClass, Random& random) {
  if (random.oneIn(2)) {
    model::VlcState encoder = state;
    BitWriter writer;
    VlcBlock<T> block = test::randomBlock<T>(0, random);
    block[static_cast<size_t>(random.between(1, 15))] = static_cast<T>(random.between(1, 20));
    model::encodeBlock(block, tableClass, 0, writer, encoder);
    return test::flushed(writer);
  }
  std::vector<uint8_t> bits(160);
  random.fill(std::span(bits));
  // Many ones, or many zeros: short and long codes.
  const int64_t kind = random.between(0, 3);
  if (kind == 1)
    for (uint8_t& b : bits) b |= static_cast<uint8_t>(random.bits());
  if (kind == 2)
    for (uint8_t& b : bits) b &= static_cast<uint8_t>(random.bits());
  return bits;
}

// The decoders, call by call.
template <typename T>
void checkDecoder(uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  Coder coder(sizeof(T) == 2 ? Edge::Front : Edge::Back);
  BlockPlaces<T> places;
  ReadWindow window;
  Tail<int32_t> count(1);
  Coverage coverage;
  size_t stopped = 0, wrapped = 0;
  for (size_t round = 0; round < 12000; ++round) {
    coder.stir(random);
    coverage.note(coder.model);
    const auto tableClass = static_cast<int32_t>(random.between(0, 1));
    const T scale = random.oneIn(2) ? static_cast<T>(1 << random.between(0, 14)) : static_cast<T>(random.bits());
    const test::Source source(blockBits<T>(coder.model, tableClass, random), static_cast<uint32_t>(round % 33), random);
    VlcBlock<T> block{};
    int32_t coefficients = 0;
    *count.last(1) = -1;

    auto& dst = places.actual(round);
    for (T& v : block) v = static_cast<T>(random.bits());
    dst.set(block);
    const int32_t dcCount = coder.model.scan(coder.model.current)[0].count;
    const auto result = window.run(
        source.bytes.data(), source.held,
        [&](BitReader& in) { coefficients = model::decodeBlock(in, scale, block, tableClass, coder.model); },
        [&](const uint16_t** from, uint32_t* buffer, uint32_t* bits) {
          return Exports<T>::kDecode(from, buffer, bits, scale, dst.data(), dst.step(), tableClass, count.last(1),
                                     coder.get());
        });
    stopped += coefficients == 16;
    wrapped += coder.model.scan(coder.model.current)[0].count == dcCount + 1;
    ASSERT_TRUE(result) << "round " << round << " class " << tableClass;
    ASSERT_EQ(*count.last(1), coefficients) << "round " << round;
    ASSERT_TRUE(places.holds(round, block)) << "round " << round;
    ASSERT_TRUE(coder.same()) << "round " << round << " class " << tableClass;
  }
  EXPECT_TRUE(coverage.complete());
  // Runs past the end, and first runs of 14 that go on at the DC position.
  EXPECT_GT(stopped, 50u);
  EXPECT_GT(wrapped, 10u);
}

TEST(Model, qlmiVLCDecode4x4_JPEGXR_1u16s_C1R) { checkDecoder<int16_t>(0x9210); }
TEST(Model, qlmiVLCDecode4x4_JPEGXR_1u32s_C1R) { checkDecoder<int32_t>(0x9211); }

// ---- There and back ----

// One stream of many blocks: what callers do between blocks is done on both sides at the same places. Levels come back,
// and the two states go through the same changes.
template <typename T>
void checkStream(uint64_t stream) {
  TRACE_SEED(stream);
  constexpr size_t kBlocks = 3000;
  struct Step {
    VlcBlock<T> block;
    int32_t tableClass, numBits, count, scan;
    bool adapts;
  };
  Random random(stream);
  std::vector<Step> steps;
  std::vector<uint16_t> units(kBlocks * 80);
  test::Guarded<QlmVLCState> encoder(1), decoder(1);
  for (auto* state : {encoder.data(), decoder.data()}) {
    ASSERT_EQ(qlmiVLCInit_JPEGXR(state), qlmOk);
    for (const int32_t which : {0, 1, 2}) ASSERT_EQ(qlmiVLCScanReset_JPEGXR(state, which), qlmOk);
  }
  const auto between = [](QlmVLCState* state, const Step& step) {
    if (step.adapts) {
      ASSERT_EQ(qlmiVLCAdapt_JPEGXR(state, 1), qlmOk);
    }
    ASSERT_EQ(qlmiVLCScanSet_JPEGXR(state, step.scan), qlmOk);
  };

  uint16_t* to = units.data();
  uint32_t buffer = 0, bits = 0;
  int64_t share = 8, magnitude = 4;
  for (size_t i = 0; i < kBlocks; ++i) {
    if (i % 100 == 0) {  // another part of the picture
      share = random.between(1, 16);
      magnitude = random.oneIn(4) ? 8 * static_cast<int64_t>(sizeof(T)) - 2 : random.between(0, 6);
    }
    Step step{{}, static_cast<int32_t>(random.between(0, 1)), static_cast<int32_t>(random.between(0, 3)),
              0,  static_cast<int32_t>(random.between(0, 2)), i % 16 == 0};
    for (T& v : step.block) v = test::randomCoefficient<T>(share, magnitude, random);
    between(encoder.data(), step);
    ASSERT_EQ(Exports<T>::kEncode(step.block.data(), 4 * sizeof(T), step.tableClass, step.numBits, &to, &buffer, &bits,
                                  &step.count, encoder.data()),
              qlmOk);
    steps.push_back(step);
  }
  for (int32_t i = 0; i < 2; ++i, buffer <<= 16) *to++ = __builtin_bswap16(static_cast<uint16_t>(buffer >> 16));

  const uint16_t* from = units.data();
  buffer = bits = 0;
  for (size_t i = 0; i < kBlocks; ++i) {
    const Step& step = steps[i];
    between(decoder.data(), step);
    if (step.count == 0) continue;
    VlcBlock<T> block;
    int32_t count = -1;
    ASSERT_EQ(Exports<T>::kDecode(&from, &buffer, &bits, 1, block.data(), 4 * sizeof(T), step.tableClass, &count,
                                  decoder.data()),
              qlmOk);
    ASSERT_EQ(count, step.count) << "block " << i;
    for (size_t k = 1; k < 16; ++k) {  // magnitudes are cut towards 0
      const int64_t v = step.block[k], level = (v < 0 ? -v : v) >> step.numBits;
      ASSERT_EQ(block[k], static_cast<T>(v < 0 ? -level : level)) << "block " << i << " place " << k;
    }
    ASSERT_EQ(block[0], 0);
  }
  EXPECT_LE(from, to + 1);
  EXPECT_TRUE(test::sameState(decoder[0], test::fieldsOf(encoder[0])));
}

TEST(VlcStream, BlocksOf16BitsComeBack) { checkStream<int16_t>(0x9220); }
TEST(VlcStream, BlocksOf32BitsComeBack) { checkStream<int32_t>(0x9221); }

// Every magnitude with a code of its own length, alone in a block, with each context's tables.
TEST(VlcStream, EachLengthOfLevelsComesBack) {
  for (int32_t bit = 0; bit <= 30; ++bit)
    for (const int32_t around : {-2, -1, 0, 1, 2, 3}) {
      const int64_t magnitude = (int64_t{1} << bit) + around;
      if (magnitude < 1 || magnitude > (1 << 30) + 1) continue;
      for (const int64_t v : {magnitude, -magnitude}) {
        Coder coder;
        VlcBlock<int32_t> block{};
        // Two neighbours in scan2 (indices 1 and 4): contexts 1 and 0.
        block[5] = static_cast<int32_t>(v);
        block[3] = static_cast<int32_t>(-v);
        WriteWindow writer;
        int32_t count = 0;
        ASSERT_TRUE(writer.run(
            {}, [&](BitWriter& out) { model::encodeBlock(block, 0, 0, out, coder.model); },
            [&](uint16_t** to, uint32_t* buffer, uint32_t* bits) {
              return qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, 0, 0, to, buffer, bits, &count, coder.get());
            }));
        ASSERT_EQ(count, 2);
        Coder decoder;
        VlcBlock<int32_t> decoded{}, expected{};
        const std::vector<uint8_t> bits = test::flushed(writer.last);
        std::vector<uint8_t> source = bits;
        source.resize(source.size() + 8);
        ReadWindow reader;
        ASSERT_TRUE(reader.run(
            source.data(), {}, [&](BitReader& in) { model::decodeBlock(in, 1, expected, 0, decoder.model); },
            [&](const uint16_t** from, uint32_t* buffer, uint32_t* held) {
              return qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(from, buffer, held, 1, decoded.data(), 16, 0, &count,
                                                       decoder.get());
            }))
            << v;
        ASSERT_EQ(decoded, block) << v;
      }
    }
}

// ---- By number ----

// What the encoder of class `tableClass` writes for `block`, from a fresh state with scan2, as text.
struct Coded {
  std::string bits;
  int32_t count;
};
template <typename T = int32_t>
Coded code(const VlcBlock<T>& block, int32_t tableClass, int32_t numBits, Coder& coder) {
  uint16_t units[64];
  uint16_t* to = units;
  HeldBits held;
  int32_t count = -1;
  EXPECT_EQ(Exports<T>::kEncode(block.data(), 4 * sizeof(T), tableClass, numBits, &to, &held.buffer, &held.count,
                                &count, coder.get()),
            qlmOk);
  return {test::bitText(units, to, held), count};
}
std::string bitsOf(const VlcBlock<int32_t>& block, int32_t numBits = 0) {
  Coder coder;
  return code(block, 0, numBits, coder).bits;
}

// Reads `bits` from a fresh state with scan2; whether all of them were used.
struct Decoded {
  VlcBlock<int32_t> block{};
  int32_t count = -1;
  bool usedAll = false;
};
Decoded decode(const std::string& bits, Coder& coder, int32_t scale = 1) {
  test::BitSource in(bits);
  Decoded decoded;
  EXPECT_EQ(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&in.stream, &in.held.buffer, &in.held.count, scale, decoded.block.data(),
                                              16, 0, &decoded.count, coder.get()),
            qlmOk);
  decoded.usedAll = in.usedAll(bits);
  return decoded;
}

// The place in a block, row by row, of each position of scan2.
constexpr size_t kPlace[16] = {0, 1, 3, 2, 4, 12, 7, 13, 5, 15, 8, 6, 14, 9, 11, 10};

VlcBlock<int32_t> blockOf(std::initializer_list<std::pair<size_t, int32_t>> values) {
  VlcBlock<int32_t> block{};
  for (const auto& [position, v] : values) block[kPlace[position]] = v;
  return block;
}

// Both ways, in a fresh state, where the first symbols have table 1 of kind 12, the later ones table 1 of kind 6, runs
// and levels table 0.
void expectCode(std::initializer_list<std::pair<size_t, int32_t>> values, const std::string& bits) {
  EXPECT_EQ(bitsOf(blockOf(values)), test::bare(bits));
  Coder coder;
  const Decoded decoded = decode(bits, coder);
  EXPECT_EQ(decoded.block, blockOf(values)) << bits;
  EXPECT_EQ(decoded.count, static_cast<int32_t>(values.size())) << bits;
  EXPECT_TRUE(decoded.usedAll) << bits;
}

TEST(VlcBlock, CodesOfSingleCoefficients) {
  expectCode({{1, 1}}, "00010 0");
  expectCode({{1, -1}}, "00010 1");
  expectCode({{2, 1}},
             "0010 0 1");  // a run of 1
  expectCode({{3, -1}},
             "0010 1 01");  // 2
  expectCode({{4, 1}},
             "0010 0 001 0");  // 3
  expectCode({{5, 1}},
             "0010 0 001 1");  // 4
  expectCode({{6, 1}},
             "0010 0 0000 0");  // 5
  expectCode({{8, 1}},
             "0010 0 0001 000");  // 7
  expectCode({{15, -1}},
             "0010 1 0001 111");  // 14
  expectCode({{15, 2}},
             "000000 0 01 0001 111");  // level before run
}

TEST(VlcBlock, CodesOfLevels) {
  const auto level = [](int32_t v, const std::string& bits) { expectCode({{1, v}}, "000001" + bits); };
  level(2, "0 01");
  level(-3, "1 10");
  level(4, "0 11 0");
  level(5, "0 11 1");
  level(6, "0 001 00");
  level(9, "0 001 11");
  level(-10, "1 0001 00");
  level(13, "0 0001 11");
  level(14, "0 00000 00");
  level(17,
        "0 00000 11");  // d is 15
  level(18, "0 00001 0000 0000");
  level(-33, "1 00001 0000 1111");
  level(34, "0 00001 0001 00000");
  level((1 << 18) + 2, "0 00001 1110" + std::string(18, '0'));
  level((1 << 19) + 1, "0 00001 1110" + std::string(18, '1'));
  level((1 << 19) + 2, "0 00001 1111 00" + std::string(19, '0'));
  level((1 << 22) + 1, "0 00001 1111 10" + std::string(21, '1'));
  level((1 << 22) + 2, "0 00001 1111 11 000" + std::string(22, '0'));
  level(-(1 << 30) - 1, "1 00001 1111 11 111" + std::string(29, '1'));
}

TEST(VlcBlock, CodesOfFurtherCoefficients) {
  // next 1 keeps context 1; the last has U 0. Context 1 and context 0 start with the same tables.
  expectCode({{1, 1}, {2, 1}}, "010 0 01 0");
  expectCode({{1, 1}, {2, -1}, {3, 1}}, "010 0 10 1 01 0");
  // next 2: a coded run of 1 with 13 places left, row 0; then one of 2.
  expectCode({{1, 1}, {3, 1}, {6, 1}}, "100 0 1 11 0 01 01 0");
  // A level in a later coefficient: U 1.
  expectCode({{1, 1}, {2, 5}}, "010 0 0000 0 11 1");
  // Rows 1 and 2 of the runs, and the fixed codes of few places.
  expectCode({{5, 1}, {12, 1}},
             "011 0 001 1 0000 1 01 0");  // 9 places left, a run of 6
  expectCode({{5, 1}, {13, 1}},
             "011 0 001 1 0001 00 01 0");  // 7: two bits follow
  expectCode({{5, 1}, {15, 1}},
             "011 0 001 1 0001 10 0 0");  // 9
  expectCode({{9, 1}, {15, 1}}, "011 0 0001 001 0001 0 0 0");
}

TEST(VlcBlock, CodesOfTheLastPlaces) {
  // Position 13 first: S 8 (next 2) or 4 (next 1), a run of 12.
  const std::string run12 = "0001 101";
  // Location 14 has codes of its own: U 0, 2, 1, 3; location 15 one bit.
  expectCode({{13, 1}, {14, 1}}, "0011 0" + run12 + "0 0");
  expectCode({{13, 1}, {14, -2}}, "0011 0" + run12 + "110 1 01");
  expectCode({{13, 1}, {14, 1}, {15, -1}}, "0011 0" + run12 + "10 0 0 1");
  expectCode({{13, 1}, {14, 3}, {15, -2}}, "0011 0" + run12 + "111 0 10 1 1 01");
  expectCode({{14, 1}, {15, 1}}, "0011 0 0001 110 0 0");
  // Runs with one place left have no bits; with two, three and four a fixed code.
  expectCode({{13, 1}, {15, 1}}, "011 0" + run12 + "0 0");
  expectCode({{12, 1}, {14, 1}}, "011 0 0001 100 1 0 0");
  expectCode({{12, 1}, {15, 1}}, "011 0 0001 100 0 0 0");
  expectCode({{11, 1}, {12, 1}}, "0011 0 0001 011 01 0");
  expectCode({{10, 1}, {12, 1}}, "011 0 0001 010 1 01 0");
  expectCode({{10, 1}, {13, 1}}, "011 0 0001 010 01 01 0");
  expectCode({{10, 1}, {14, 1}}, "011 0 0001 010 001 0 0");
  expectCode({{10, 1}, {15, 1}}, "011 0 0001 010 000 0 0");
  expectCode({{11, 1}, {15, 1}}, "011 0 0001 011 00 0 0");
}

// U is coded by the context that was, its level by the one that comes.
TEST(VlcBlock, ContextOfSymbolAndLevel) {
  Coder coder;
  const VlcBlock<int32_t> block = blockOf({{1, 1}, {2, 4}, {4, 4}});
  code(block, 1, 0, coder);
  // S in table 16, U of the second in 18 (context 1) and of the third in 17 (context 0); next 2 after the second.
  EXPECT_EQ(coder->discriminant0[16], 0);   // S 5: length 3 in tables 0 and 1
  EXPECT_EQ(coder->discriminant1[16], 0);   // and 2
  EXPECT_EQ(coder->discriminant0[18], 1);   // U 5: 4 - 3
  EXPECT_EQ(coder->discriminant1[18], 0);   // 3 - 3
  EXPECT_EQ(coder->discriminant0[17], 1);   // U 1: 5 - 4
  EXPECT_EQ(coder->discriminant1[17], 0);   // 4 - 4
  EXPECT_EQ(coder->discriminant0[20], 0);   // no level of context 1
  EXPECT_EQ(coder->discriminant0[19], -2);  // two of L 2: 2 - 3 each
  EXPECT_EQ(coder->discriminant1[19], 0);
  EXPECT_EQ(coder->discriminant0[0], 0);
}

TEST(VlcBlock, ScaleMultipliesLevelsAndWraps) {
  Coder wide;
  EXPECT_EQ(decode("010 0 0000 1 11 1", wide, -7).block, blockOf({{1, -7}, {2, 35}}));
  // Level 2^30 + 1 by 4 wraps in 32 bits; level 9 by 8192 in 16.
  Coder far;
  EXPECT_EQ(decode("000001 0 00001 1111 11 111" + std::string(29, '1'), far, 4).block, blockOf({{1, 4}}));
  Coder narrow;
  test::BitSource in("000001 0 001 11");
  int32_t count;
  VlcBlock<int16_t> block;
  ASSERT_EQ(qlmiVLCDecode4x4_JPEGXR_1u16s_C1R(&in.stream, &in.held.buffer, &in.held.count, 8192, block.data(), 8, 0,
                                              &count, narrow.get()),
            qlmOk);
  EXPECT_EQ(block[1], 8192);
}

// A coefficient counts for the record where it was met; the record may then move up by one place.
TEST(VlcBlock, RecordsMoveUpTheSameWayOnBothSides) {
  Coder encoder, decoder;
  for (int32_t call = 1; call <= 3; ++call) {
    const std::string bits = code(blockOf({{2, 1}}), 0, 0, encoder).bits;
    EXPECT_EQ(bits, "001001");
    EXPECT_EQ(decode(bits, decoder).block, blockOf({{2, 1}}));
    for (const Coder* coder : {&encoder, &decoder}) EXPECT_EQ((*coder)->scan2[1].index, call < 3 ? 1 : 4) << call;
  }
  EXPECT_EQ(code(blockOf({{2, 1}}), 0, 0, encoder).bits, "000100");
  // Now at position 1, it never changes places with the DC record.
  for (int32_t call = 0; call < 40; ++call) decode("00010 0", decoder);
  EXPECT_EQ(decoder->scan2[0].index, 0);
  EXPECT_EQ(decoder->scan2[1].index, 4);
  EXPECT_EQ(decoder->scan2[1].count, 73);
}

// Kept: the decoder compares record 1 with the DC record as well, which the encoder does not; only without a reset the
// counts let them change places.
TEST(VlcBlock, DecoderWithoutResetMovesTheDcRecord) {
  Coder coder;
  coder.init();
  EXPECT_EQ(decode("00010 0", coder).block, blockOf({{1, 1}}));
  EXPECT_EQ(coder->scan2[0].index, 1);
  EXPECT_EQ(coder->scan2[1].index, 0);
}

TEST(VlcBlock, ScansHaveTheirOwnOrders) {
  Coder coder;
  coder.select(0);  // position 1 is index 10: row 2, column 0
  EXPECT_EQ(decode("00010 0", coder).block, (VlcBlock<int32_t>{0, 0, 0, 0, 0, 0, 0, 0, 1}));
  coder.select(1);  // index 5: row 0, column 2
  EXPECT_EQ(decode("00010 0", coder).block, (VlcBlock<int32_t>{0, 0, 1}));
  EXPECT_EQ(coder->scan0[1].count, 33);
  EXPECT_EQ(coder->scan1[1].count, 33);
  EXPECT_EQ(coder->scan2[1].count, 32);
}

// A stream out of step: the block ends with a count of 16, and all is well.
TEST(VlcBlock, RunsPastTheEndStopTheBlock) {
  const auto expectStop = [](const std::string& bits, const VlcBlock<int32_t>& block) {
    Coder coder;
    const Decoded decoded = decode(bits, coder);
    EXPECT_EQ(decoded.count, 16) << bits;
    EXPECT_EQ(decoded.block, block) << bits;
    EXPECT_TRUE(decoded.usedAll) << bits;
  };
  // Position 14 with next 2 leaves no place: runs of 1, 2, and 4 with a bit that says nothing.
  for (const std::string run : {"1", "01", "000", "001"}) expectStop("011 0 0001 110" + run, blockOf({{14, 1}}));
  // Nine places and a run of 7 + 3; seven and the same.
  expectStop("011 0 001 1 0001 11", blockOf({{5, 1}}));
  expectStop("011 1 0000 1 0001 11", blockOf({{7, -1}}));
  // Five places and a run of 5 + 1.
  expectStop("011 0 0001 001 0001 1", blockOf({{9, 1}}));
}

// A first run of 14 and a next of 1: the location wraps to 0.
TEST(VlcBlock, LocationWrapsBehindTheLastPlace) {
  Coder coder;
  const Decoded decoded = decode("0011 0 0001 111 01 1", coder);
  EXPECT_EQ(decoded.count, 2);
  EXPECT_TRUE(decoded.usedAll);
  EXPECT_EQ(decoded.block, blockOf({{15, 1}, {0, -1}}));
  EXPECT_EQ(coder->scan2[0].count, 32768);
}

TEST(VlcBlock, NothingToCode) {
  Coder coder;
  const VlcBlock<int32_t> block = blockOf({{1, 7}, {5, -7}, {0, 100000}});
  const Coded coded = code(block, 0, 3, coder);
  EXPECT_EQ(coded.bits, "");
  EXPECT_EQ(coded.count, 0);
  EXPECT_TRUE(coder.same());
}

TEST(VlcBlock, LowestValues) {
  Coder coder;
  VlcBlock<int16_t> narrow{};
  narrow[1] = -32768;
  EXPECT_EQ(code(narrow, 0, 15, coder).bits, "000101");
  EXPECT_EQ(code(narrow, 0, 14, coder).bits, "000001101");
  VlcBlock<int32_t> wide{};
  wide[1] = INT_MIN;
  EXPECT_EQ(code(wide, 0, 15, coder).bits, "0000011000011011" + std::string(14, '1') + "0");
}

TEST(VlcBlock, ResidualsOfTheFlexForm) {
  const auto residualOf = [](int32_t v, int32_t numBits, int32_t trimBits) {
    Coder coder;
    const VlcBlock<int32_t> block = blockOf({{1, v}});
    int32_t residual[16], count;
    std::fill_n(residual, 16, -9);
    uint16_t units[64];
    uint16_t* to = units;
    uint32_t buffer = 0, held = 0;
    EXPECT_EQ(qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block.data(), 16, 0, numBits, trimBits, residual, &to, &buffer,
                                                    &held, &count, coder.get()),
              qlmOk);
    EXPECT_EQ(residual[0], -9);
    EXPECT_EQ(residual[15], 0);
    return residual[1];
  };
  EXPECT_EQ(residualOf(-3, 2, 0), 4 * 3 + 2 + 1);
  EXPECT_EQ(residualOf(-3, 2, 1), 4 * 1 + 2 + 1);
  EXPECT_EQ(residualOf(-3, 2, 2), 0);  // nothing left, so no sign
  EXPECT_EQ(residualOf(-1, 2, 1), 0);
  EXPECT_EQ(residualOf(-5, 2, 0), 2 * 1);
  EXPECT_EQ(residualOf(7, 2, 1), 2 * 1);
  EXPECT_EQ(residualOf(7, 0, 0), 0);  // written also without any bits
  EXPECT_EQ(residualOf(0, 0, 15), 0);
}

TEST(VlcBlock, LimitsOfTheChecks) {
  Coder coder;
  uint16_t units[64]{};
  uint16_t* to = units;
  const uint16_t* from = units;
  uint32_t buffer = 0, held = 33;
  int32_t count = -1, residual[16];
  VlcBlock<int32_t> block{};
  QlmVLCState* const s = coder.get();
  EXPECT_EQ(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&from, &buffer, &held, 1, block.data(), 16, 0, &count, s), qlmErrRange);
  EXPECT_EQ(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, 0, 0, &to, &buffer, &held, &count, s), qlmErrRange);
  held = 32;
  EXPECT_EQ(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&from, &buffer, &held, 1, block.data(), 16, 0, &count, s), qlmOk);
  held = 32;
  EXPECT_EQ(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, 0, 15, &to, &buffer, &held, &count, s), qlmOk);
  EXPECT_EQ(held, 16u);  // the entry step of the writer
  EXPECT_EQ(to, units + 1);
  EXPECT_EQ(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, 0, 16, &to, &buffer, &held, &count, s), qlmErrRange);
  EXPECT_EQ(
      qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block.data(), 16, 0, 15, 16, residual, &to, &buffer, &held, &count, s),
      qlmErrRange);
  EXPECT_EQ(
      qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block.data(), 16, 0, 15, 15, residual, &to, &buffer, &held, &count, s),
      qlmOk);
}

// Rows may lie in any direction.
TEST(VlcBlock, NegativeSteps) {
  VlcBlock<int32_t> block{0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -3}, turned{};
  for (size_t i = 0; i < 16; ++i) turned[i] = block[12 - 4 * (i / 4) + i % 4];
  Coder plain, upward, decoder;
  const std::string bits = code(block, 0, 0, plain).bits;
  uint16_t units[64];
  uint16_t* to = units;
  HeldBits held;
  int32_t count;
  ASSERT_EQ(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(turned.data() + 12, -16, 0, 0, &to, &held.buffer, &held.count, &count,
                                              upward.get()),
            qlmOk);
  EXPECT_EQ(test::bitText(units, to, held), bits);
  test::BitSource in(bits);
  VlcBlock<int32_t> decoded{};
  ASSERT_EQ(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&in.stream, &in.held.buffer, &in.held.count, 1, decoded.data() + 12, -16,
                                              0, &count, decoder.get()),
            qlmOk);
  EXPECT_EQ(decoded, turned);
}

// Pointers into tables and into the state: a copy works on as soon as its scan is chosen.
TEST(VlcBlock, CopiedStates) {
  TRACE_SEED(0x9230);
  Random random(0x9230);
  Coder coder;
  for (int32_t round = 0; round < 200; ++round) {
    const VlcBlock<int32_t> block = test::randomBlock<int32_t>(0, random);
    Coder copy;
    *copy.get() = *coder.get();
    ASSERT_EQ(qlmiVLCScanSet_JPEGXR(copy.get(), 2), qlmOk);
    ASSERT_EQ(code(block, 0, 0, copy).bits, code(block, 0, 0, coder).bits);
    ASSERT_TRUE(test::sameState(*copy.get(), test::fieldsOf(*coder.get())));
    if (round % 8 == 0) coder.adapt(1);
  }
}

}  // namespace
