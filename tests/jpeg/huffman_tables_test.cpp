// Huffman tables and coder state (T.81 Annex C, F.2.2.3) against the model, and what their fields are literally.
#include "jpeg/huffman_support.h"

#include <cstddef>

using namespace huffman;

static_assert(sizeof(QlmDecodeHuffmanSpec) == 1644);
static_assert(offsetof(QlmDecodeHuffmanSpec, symbols) == 0);
static_assert(offsetof(QlmDecodeHuffmanSpec, lookup) == 512);
static_assert(offsetof(QlmDecodeHuffmanSpec, minCode) == 1536);
static_assert(offsetof(QlmDecodeHuffmanSpec, maxCode) == 1572);
static_assert(offsetof(QlmDecodeHuffmanSpec, firstIndex) == 1608);
static_assert(sizeof(QlmEncodeHuffmanSpec) == 1024);
static_assert(sizeof(QlmDecodeHuffmanState) == 24);
static_assert(offsetof(QlmDecodeHuffmanState, accumulator) == 0);
static_assert(offsetof(QlmDecodeHuffmanState, bitCount) == 8);
static_assert(offsetof(QlmDecodeHuffmanState, eobRun) == 12);
static_assert(offsetof(QlmDecodeHuffmanState, codedPositions) == 16);
static_assert(sizeof(QlmEncodeHuffmanState) == 1048);
static_assert(offsetof(QlmEncodeHuffmanState, accumulator) == 0);
static_assert(offsetof(QlmEncodeHuffmanState, bitCount) == 8);
static_assert(offsetof(QlmEncodeHuffmanState, eobRun) == 12);
static_assert(offsetof(QlmEncodeHuffmanState, correctionCount) == 16);
static_assert(offsetof(QlmEncodeHuffmanState, correctionBits) == 20);

namespace {

// The lists between guards, with no more values than the counts ask for.
struct GuardedLists {
  Guarded<uint8_t> counts{16}, values;
  explicit GuardedLists(const HuffmanLists& lists)
      : values(std::min<size_t>(lists.values.size(),
                                std::accumulate(lists.counts.begin(), lists.counts.end(), size_t{0}))) {
    std::copy(lists.counts.begin(), lists.counts.end(), counts.begin());
    std::copy_n(lists.values.begin(), values.size(), values.begin());
  }
};

// All kinds of tables, bad ones among them, of which the objects show how far the builders came.
std::vector<HuffmanLists> allLists() {
  Random random(100);
  std::vector<HuffmanLists> all;
  for (const auto which : test::kTypicalTables) all.push_back(test::typicalTable(which));
  for (const size_t count : {1, 2, 3, 12, 17, 100, 162, 255, 256})
    for (const int64_t slant : {0, 1, 3, 10, 100})
      for (int32_t i = 0; i < 20; ++i) all.push_back(randomLists(random, symbolsBelow(count), slant));
  for (int32_t i = 0; i < 2000; ++i) all.push_back(lenientLists(random));
  HuffmanLists counted;
  counted.values.resize(256);
  random.fill(std::span<uint8_t>(counted.values));
  for (size_t length = 0; length < 16; ++length) {
    for (const int32_t count : {1, 2, 3, 4, 127, 128, 129, 254, 255}) {
      counted.counts = {};
      counted.counts[length] = static_cast<uint8_t>(count);
      all.push_back(counted);
      for (size_t longer = length + 1; longer < 16; ++longer) {
        counted.counts[longer] = 1;  // 256 codes, and one more each time
        all.push_back(counted);
      }
    }
  }
  return all;
}

const HuffmanLists kEmpty{{}, {0}};

template <typename State>
bool allBytesAre(const State& state, uint8_t value) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&state);
  return std::all_of(bytes, bytes + sizeof(State), [=](uint8_t byte) { return byte == value; });
}

}  // namespace

TEST(Model, qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u) {
  int32_t size = -1;
  EXPECT_EQ(qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u(&size), qlmOk);
  EXPECT_EQ(size, 1644);
  EXPECT_EQ(qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiDecodeHuffmanStateGetBufSize_JPEG_8u) {
  int32_t size = -1;
  EXPECT_EQ(qlmiDecodeHuffmanStateGetBufSize_JPEG_8u(&size), qlmOk);
  EXPECT_EQ(size, 24);
  EXPECT_EQ(qlmiDecodeHuffmanStateGetBufSize_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u) {
  int32_t size = -1;
  EXPECT_EQ(qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u(&size), qlmOk);
  EXPECT_EQ(size, 1024);
  EXPECT_EQ(qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiEncodeHuffmanStateGetBufSize_JPEG_8u) {
  int32_t size = -1;
  EXPECT_EQ(qlmiEncodeHuffmanStateGetBufSize_JPEG_8u(&size), qlmOk);
  EXPECT_EQ(size, 1048);
  EXPECT_EQ(qlmiEncodeHuffmanStateGetBufSize_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiDecodeHuffmanSpecInit_JPEG_8u) {
  for (const HuffmanLists& lists : allLists()) {
    const GuardedLists in(lists);
    QlmDecodeHuffmanSpec expected;
    Guarded<QlmDecodeHuffmanSpec> spec(1);
    std::memset(spec.data(), 0xA5, sizeof expected);
    const QlmStatus status = model::decodeSpecInit(in.counts.data(), in.values.data(), expected);
    ASSERT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(in.counts.data(), in.values.data(), spec.data()), status);
    ASSERT_EQ(std::memcmp(spec.data(), &expected, sizeof expected), 0) << ::testing::PrintToString(lists.counts);
  }
}

TEST(Model, qlmiEncodeHuffmanSpecInit_JPEG_8u) {
  for (const HuffmanLists& lists : allLists()) {
    const GuardedLists in(lists);
    QlmEncodeHuffmanSpec expected;
    Guarded<QlmEncodeHuffmanSpec> spec(1);
    std::memset(spec.data(), 0xA5, sizeof expected);
    const QlmStatus status = model::encodeSpecInit(in.counts.data(), in.values.data(), expected);
    ASSERT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(in.counts.data(), in.values.data(), spec.data()), status);
    ASSERT_EQ(std::memcmp(spec.data(), &expected, sizeof expected), 0) << ::testing::PrintToString(lists.counts);
  }
}

TEST(Model, qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u) {
  for (const HuffmanLists& lists : allLists()) {
    const GuardedLists in(lists);
    QlmDecodeHuffmanSpec expected, *spec = nullptr;
    const QlmStatus status = model::decodeSpecInit(in.counts.data(), in.values.data(), expected);
    ASSERT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(in.counts.data(), in.values.data(), &spec), status);
    ASSERT_NE(spec, nullptr);  // a bad table leaves its object to the caller
    ASSERT_EQ(std::memcmp(spec, &expected, sizeof expected), 0);
    ASSERT_EQ(qlmiDecodeHuffmanSpecFree_JPEG_8u(spec), qlmOk);
  }
}

TEST(Model, qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u) {
  for (const HuffmanLists& lists : allLists()) {
    const GuardedLists in(lists);
    QlmEncodeHuffmanSpec expected, *spec = nullptr;
    const QlmStatus status = model::encodeSpecInit(in.counts.data(), in.values.data(), expected);
    ASSERT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(in.counts.data(), in.values.data(), &spec), status);
    ASSERT_NE(spec, nullptr);
    ASSERT_EQ(std::memcmp(spec, &expected, sizeof expected), 0);
    ASSERT_EQ(qlmiEncodeHuffmanSpecFree_JPEG_8u(spec), qlmOk);
  }
}

TEST(Model, qlmiDecodeHuffmanStateInit_JPEG_8u) {
  Guarded<QlmDecodeHuffmanState> state(1);
  std::memset(state.data(), 0xA5, sizeof(QlmDecodeHuffmanState));
  EXPECT_EQ(qlmiDecodeHuffmanStateInit_JPEG_8u(state.data()), qlmOk);
  EXPECT_EQ(state[0].accumulator, 0u);
  EXPECT_EQ(state[0].bitCount, 0);
  EXPECT_EQ(state[0].eobRun, 0);
  EXPECT_EQ(state[0].codedPositions, 0);
  EXPECT_EQ(qlmiDecodeHuffmanStateInit_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiDecodeHuffmanStateInitAlloc_JPEG_8u) {
  QlmDecodeHuffmanState* state = nullptr;
  ASSERT_EQ(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(&state), qlmOk);
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(state->accumulator, 0u);
  EXPECT_EQ(state->bitCount, 0);
  EXPECT_EQ(state->eobRun, 0);
  EXPECT_EQ(state->codedPositions, 0);
  EXPECT_EQ(qlmiDecodeHuffmanStateFree_JPEG_8u(state), qlmOk);
  EXPECT_EQ(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiEncodeHuffmanStateInit_JPEG_8u) {
  Guarded<QlmEncodeHuffmanState> state(1);
  std::memset(state.data(), 0xA5, sizeof(QlmEncodeHuffmanState));
  EXPECT_EQ(qlmiEncodeHuffmanStateInit_JPEG_8u(state.data()), qlmOk);
  EXPECT_EQ(state[0].accumulator, 0u);
  EXPECT_EQ(state[0].bitCount, 0);
  EXPECT_EQ(state[0].eobRun, 0);
  EXPECT_EQ(state[0].correctionCount, 0);
  EXPECT_TRUE(allBytesAre(state[0].correctionBits, 0));
  EXPECT_EQ(qlmiEncodeHuffmanStateInit_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiEncodeHuffmanStateInitAlloc_JPEG_8u) {
  QlmEncodeHuffmanState* state = nullptr;
  ASSERT_EQ(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(&state), qlmOk);
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(state->accumulator, 0u);
  EXPECT_EQ(state->bitCount, 0);
  EXPECT_EQ(state->eobRun, 0);
  EXPECT_EQ(state->correctionCount, 0);
  EXPECT_TRUE(allBytesAre(state->correctionBits, 0));
  EXPECT_EQ(qlmiEncodeHuffmanStateFree_JPEG_8u(state), qlmOk);
  EXPECT_EQ(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(nullptr), qlmErrNullPointer);
}

TEST(Model, qlmiDecodeHuffmanSpecFree_JPEG_8u) {
  EXPECT_EQ(qlmiDecodeHuffmanSpecFree_JPEG_8u(nullptr), qlmErrNullPointer);
  QlmDecodeHuffmanSpec* spec = nullptr;
  ASSERT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(kEmpty.counts.data(), kEmpty.values.data(), &spec), qlmOk);
  EXPECT_EQ(qlmiDecodeHuffmanSpecFree_JPEG_8u(spec), qlmOk);
}

TEST(Model, qlmiEncodeHuffmanSpecFree_JPEG_8u) {
  EXPECT_EQ(qlmiEncodeHuffmanSpecFree_JPEG_8u(nullptr), qlmErrNullPointer);
  QlmEncodeHuffmanSpec* spec = nullptr;
  ASSERT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(kEmpty.counts.data(), kEmpty.values.data(), &spec), qlmOk);
  EXPECT_EQ(qlmiEncodeHuffmanSpecFree_JPEG_8u(spec), qlmOk);
}

TEST(Model, qlmiDecodeHuffmanStateFree_JPEG_8u) {
  EXPECT_EQ(qlmiDecodeHuffmanStateFree_JPEG_8u(nullptr), qlmErrNullPointer);
  QlmDecodeHuffmanState* state = nullptr;
  ASSERT_EQ(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(&state), qlmOk);
  EXPECT_EQ(qlmiDecodeHuffmanStateFree_JPEG_8u(state), qlmOk);
}

TEST(Model, qlmiEncodeHuffmanStateFree_JPEG_8u) {
  EXPECT_EQ(qlmiEncodeHuffmanStateFree_JPEG_8u(nullptr), qlmErrNullPointer);
  QlmEncodeHuffmanState* state = nullptr;
  ASSERT_EQ(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(&state), qlmOk);
  EXPECT_EQ(qlmiEncodeHuffmanStateFree_JPEG_8u(state), qlmOk);
}

TEST(HuffmanTables, nullPointersLeaveEverythingAsItWas) {
  const uint8_t counts[16] = {0, 1}, values[1] = {7};
  QlmDecodeHuffmanSpec decoder;
  QlmEncodeHuffmanSpec encoder;
  std::memset(&decoder, 0xA5, sizeof decoder);
  std::memset(&encoder, 0xA5, sizeof encoder);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(nullptr, values, &decoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, nullptr, &decoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values, nullptr), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(nullptr, values, &encoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, nullptr, &encoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, nullptr), qlmErrNullPointer);
  EXPECT_TRUE(allBytesAre(decoder, 0xA5));
  EXPECT_TRUE(allBytesAre(encoder, 0xA5));
  QlmDecodeHuffmanSpec* newDecoder = &decoder;
  QlmEncodeHuffmanSpec* newEncoder = &encoder;
  EXPECT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(nullptr, values, &newDecoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, nullptr, &newDecoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, nullptr), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(nullptr, values, &newEncoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, nullptr, &newEncoder), qlmErrNullPointer);
  EXPECT_EQ(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, nullptr), qlmErrNullPointer);
  EXPECT_EQ(newDecoder, &decoder);
  EXPECT_EQ(newEncoder, &encoder);
}

// Codes 00, 010, 011, 100 by hand, then a 9-bit code 1010'0000'0.
TEST(HuffmanTables, smallTableLiterally) {
  const uint8_t counts[16] = {0, 1, 3, 0, 0, 0, 0, 0, 1}, values[5] = {5, 3, 0x21, 9, 0xF0};
  QlmEncodeHuffmanSpec encoder;
  ASSERT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, &encoder), qlmOk);
  QlmEncodeHuffmanSpec expectedEncoder{};
  expectedEncoder.codes[5] = 0x20000;
  expectedEncoder.codes[3] = 0x30002;
  expectedEncoder.codes[0x21] = 0x30003;
  expectedEncoder.codes[9] = 0x30004;
  expectedEncoder.codes[0xF0] = 0x90140;
  EXPECT_EQ(std::memcmp(&encoder, &expectedEncoder, sizeof encoder), 0);

  QlmDecodeHuffmanSpec decoder;
  ASSERT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values, &decoder), qlmOk);
  EXPECT_EQ(decoder.symbols[0], 5);
  EXPECT_EQ(decoder.symbols[4], 0xF0);
  EXPECT_EQ(decoder.symbols[5], 0);
  EXPECT_EQ(decoder.lookup[0x00], 0x20005u);
  EXPECT_EQ(decoder.lookup[0x3F], 0x20005u);
  EXPECT_EQ(decoder.lookup[0x40], 0x30003u);
  EXPECT_EQ(decoder.lookup[0x7F], 0x30021u);
  EXPECT_EQ(decoder.lookup[0x9F], 0x30009u);
  for (size_t i = 0xA0; i < 256; ++i) EXPECT_EQ(decoder.lookup[i], 0u);  // the 9-bit code has no entry
  const uint16_t minCode[18] = {0, 0, 0, 2, 0, 0, 0, 0, 0, 320};
  const uint16_t maxCode[18] = {0,   0xFFFF, 0,      4,      0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF,
                                320, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF};
  const uint16_t firstIndex[18] = {0, 0, 0, 1, 0, 0, 0, 0, 0, 4};
  EXPECT_EQ(std::memcmp(decoder.minCode, minCode, sizeof minCode), 0);
  EXPECT_EQ(std::memcmp(decoder.maxCode, maxCode, sizeof maxCode), 0);
  EXPECT_EQ(std::memcmp(decoder.firstIndex, firstIndex, sizeof firstIndex), 0);
}

TEST(HuffmanTables, noCodesAtAll) {
  QlmEncodeHuffmanSpec encoder;
  QlmDecodeHuffmanSpec decoder;
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(kEmpty.counts.data(), kEmpty.values.data(), &encoder), qlmOk);
  EXPECT_TRUE(allBytesAre(encoder, 0));
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(kEmpty.counts.data(), kEmpty.values.data(), &decoder), qlmOk);
  EXPECT_EQ(decoder.maxCode[0], 0);
  for (size_t length = 1; length <= 17; ++length) EXPECT_EQ(decoder.maxCode[length], 0xFFFF);
}

TEST(HuffmanTables, oneCodeOfEightBitsFillsOneLookupEntry) {
  for (const size_t length : {8, 9}) {
    uint8_t counts[16] = {};
    const uint8_t value = 0x42;
    counts[length - 1] = 1;
    QlmDecodeHuffmanSpec decoder;
    ASSERT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, &value, &decoder), qlmOk);
    EXPECT_EQ(decoder.lookup[0], length == 8 ? 0x80042u : 0u);
    for (size_t i = 1; i < 256; ++i) EXPECT_EQ(decoder.lookup[i], 0u);
  }
}

TEST(HuffmanTables, at256CodesIsTheLimit) {
  const auto values = symbolsBelow(256);
  uint8_t counts[16] = {};
  counts[15] = 255;
  counts[14] = 1;
  QlmEncodeHuffmanSpec encoder;
  QlmDecodeHuffmanSpec decoder;
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &encoder), qlmOk);
  EXPECT_EQ(encoder.codes[255], 0x100100u);  // 16 bits: 2, 3, ... 0x100
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &decoder), qlmOk);
  EXPECT_EQ(decoder.maxCode[16], 0x100);
  counts[14] = 2;
  EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &encoder), qlmErrHuffTable);
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &decoder), qlmErrHuffTable);
}

TEST(HuffmanTables, allOnesCodeIsRefusedByTheEncoderOnly) {
  const uint8_t values[3] = {1, 2, 3};
  for (size_t length = 1; length <= 7; ++length) {
    std::vector<uint8_t> all = symbolsBelow(size_t{1} << length);
    uint8_t counts[16] = {};
    counts[length - 1] = static_cast<uint8_t>(1u << length);
    QlmEncodeHuffmanSpec encoder;
    QlmDecodeHuffmanSpec decoder;
    EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, all.data(), &encoder), qlmErrHuffTable);
    EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, all.data(), &decoder), qlmOk);
    --counts[length - 1];
    EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, all.data(), &encoder), qlmOk);
  }
  const uint8_t threeOfOne[16] = {3};
  QlmDecodeHuffmanSpec decoder;
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(threeOfOne, values, &decoder), qlmErrHuffTable);
}

TEST(HuffmanTables, laterOfTwoCodesOfAValueStays) {
  const uint8_t counts[16] = {0, 0, 2}, values[2] = {9, 9};
  QlmEncodeHuffmanSpec encoder;
  ASSERT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, &encoder), qlmOk);
  EXPECT_EQ(encoder.codes[9], 0x30001u);
}

// One code of 1 bit and 129 of 8 bits: the last one, 0x100, falls behind the lookup.
TEST(HuffmanTables, oneLookupEntryTooManyLandsInMinCode) {
  uint8_t counts[16] = {1, 0, 0, 0, 0, 0, 0, 129};
  std::vector<uint8_t> values = symbolsBelow(131);
  values[129] = 0xAB;
  QlmDecodeHuffmanSpec decoder;
  ASSERT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &decoder), qlmOk);
  EXPECT_EQ(decoder.lookup[255], 0x80000u + 128);
  EXPECT_EQ(decoder.minCode[0], 0xAB);
  EXPECT_EQ(decoder.minCode[1], 8);
  EXPECT_EQ(decoder.minCode[8], 0x80);
  EXPECT_EQ(decoder.maxCode[8], 0x100);
  counts[7] = 130;
  EXPECT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &decoder), qlmErrHuffTable);
}

// 128 codes of 7 bits leave no room; the decoder builder counts on all the same and cuts the code to 16 bits.
TEST(HuffmanTables, codeThatOutgrows16BitsIsCut) {
  const auto values = symbolsBelow(256);
  uint8_t counts[16] = {};
  counts[6] = 128;
  counts[15] = 3;  // 128 << 9 and the two behind it
  QlmDecodeHuffmanSpec decoder;
  ASSERT_EQ(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values.data(), &decoder), qlmOk);
  EXPECT_EQ(decoder.minCode[16], 0);
  EXPECT_EQ(decoder.maxCode[16], 2);
  EXPECT_EQ(decoder.firstIndex[16], 128);
}
