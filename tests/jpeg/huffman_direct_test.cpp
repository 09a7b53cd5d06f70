// Baseline blocks without bounds (T.81 F.1.2, F.2.2): positions in bits, pending bits in the destination or with the
// caller. Against the model, against bytes worked out by hand, and against a scan of libjpeg-turbo.
#include "jpeg/huffman_support.h"

#include <string>

using namespace huffman;

namespace {

// Wide stores may touch so many bytes from the final position on.
constexpr size_t kScratch = 8;

QlmStatus encodeDirect(const Block& block, uint8_t* bytes, int32_t& bitPosition, int16_t& lastDC,
                       const Tables& tables) {
  return qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), bytes, &bitPosition, &lastDC,
                                                   tables.dcEncoder.spec.data(), tables.acEncoder.spec.data());
}

// Encodes blocks with model and export behind `start` bits that are there already, in a room that ends where the wide
// stores of the last block may. Returns the bytes, the unfinished one included.
Bytes compareEncoders(const std::vector<Block>& blocks, const Tables& tables, Bytes start, int32_t bitPosition) {
  Bytes expected = start;
  expected.resize(start.size() + blocks.size() * 1024 + 8);
  int32_t end = bitPosition;
  int16_t lastDC = 0;
  for (const Block& block : blocks)
    model::encodeBlockDirect(block.data(), expected.data(), end, lastDC, *tables.dcEncoder.spec.data(),
                             *tables.acEncoder.spec.data());
  Guarded<uint8_t> bytes(static_cast<size_t>(end / 8) + kScratch);
  std::copy_n(start.begin(), std::min(start.size(), bytes.size()), bytes.begin());

  Bytes again = start;  // call by call, to compare in between
  again.resize(expected.size());
  int32_t gotPosition = bitPosition, wantedPosition = bitPosition;
  int16_t gotDC = 0, wantedDC = 0;
  for (const Block& block : blocks) {
    model::encodeBlockDirect(block.data(), again.data(), wantedPosition, wantedDC, *tables.dcEncoder.spec.data(),
                             *tables.acEncoder.spec.data());
    EXPECT_EQ(encodeDirect(block, bytes.data(), gotPosition, gotDC, tables), qlmOk);
    EXPECT_EQ(gotPosition, wantedPosition);
    EXPECT_EQ(gotDC, wantedDC);
    EXPECT_EQ(std::memcmp(bytes.data(), again.data(), static_cast<size_t>(wantedPosition / 8) + 1), 0);
    if (::testing::Test::HasFailure()) break;
  }
  return {bytes.begin(), bytes.begin() + end / 8 + 1};
}

// An export and its model that decode the same source. Only its own bytes up to the end of their 16-byte line may be
// read, so it ends with a marker, and `behind` bytes follow before the inaccessible page.
class DirectPair {
 public:
  DirectPair(const Bytes& source, const Decoder& dc, const Decoder& ac, size_t behind)
      : source_(source.size() + behind), dc_(*dc.spec.data()), ac_(*ac.spec.data()) {
    std::copy(source.begin(), source.end(), source_.begin());
    std::fill(source_.end() - static_cast<ptrdiff_t>(behind), source_.end(), uint8_t{0x55});
    Random(source.size()).fill(block_.span());
  }

  void restart() {
    bits_ = 0;
    count_ = marker_ = 0;
    lastDC_ = 0;
    want_.bits = 0;
    want_.bitCount = want_.marker = 0;
    want_.lastDC = 0;
  }
  void setBits(uint32_t bits, int32_t count) {
    bits_ = want_.bits = bits;
    count_ = want_.bitCount = count;
  }
  void setMarker(int32_t marker) { marker_ = want_.marker = marker; }
  void setPosition(int32_t position) { position_ = want_.bitPosition = position; }
  void setLastDC(int16_t lastDC) { lastDC_ = want_.lastDC = lastDC; }

  QlmStatus decode() {
    if (want_.bitCount < 0) {  // what the block before took beyond its end
      EXPECT_EQ(call(), qlmErrBadArgument);
      return qlmErrBadArgument;
    }
    bool overshoot = false;
    const QlmStatus expected = model::decodeBlockDirect(source_.data(), reinterpret_cast<uintptr_t>(source_.data()),
                                                        dc_, ac_, want_, &wasFast_, &overshoot);
    const QlmStatus got = call();
    if (overshoot) {
      unsettled_ = true;
      return qlmErrDecodedPosition;
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(position_, want_.bitPosition);
    EXPECT_EQ(lastDC_, want_.lastDC);
    EXPECT_EQ(marker_, want_.marker);
    EXPECT_EQ(count_, want_.bitCount);
    EXPECT_EQ(heldBits(bits_, count_), heldBits(want_.bits, want_.bitCount));
    EXPECT_TRUE(std::equal(block_.begin(), block_.end(), want_.block.begin()));
    return expected;
  }

  const Block& block() const { return want_.block; }
  int32_t position() const { return want_.bitPosition; }
  int32_t marker() const { return want_.marker; }
  int32_t bitCount() const { return want_.bitCount; }
  int16_t lastDC() const { return want_.lastDC; }
  bool wasFast() const { return wasFast_; }
  bool unsettled() const { return unsettled_; }

 private:
  QlmStatus call() {
    return qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(source_.data(), &position_, block_.data(), &lastDC_, &marker_,
                                                     &bits_, &count_, &dc_, &ac_);
  }

  Guarded<uint8_t> source_;
  Guarded<int16_t> block_{64};
  int32_t position_ = 0, marker_ = 0, count_ = 0;
  uint32_t bits_ = 0;
  int16_t lastDC_ = 0;
  model::DirectBlock want_{};
  bool wasFast_ = false, unsettled_ = false;
  const QlmDecodeHuffmanSpec &dc_, &ac_;
};

Bytes terminated(Bytes segment) {
  segment.insert(segment.end(), {0xFF, 0xD9});
  return segment;
}

void decodeAll(DirectPair& pair, int32_t blocks) {
  for (int32_t i = 0; i < blocks && !pair.unsettled() && !::testing::Test::HasFailure(); ++i)
    if (pair.decode() != qlmOk) break;
}

// Direct encoding leaves the last byte unfinished; a segment pads it with ones.
Bytes padded(Bytes bytes, int32_t bitPosition) {
  bytes.resize(static_cast<size_t>(bitPosition / 8) + 1);
  if (bitPosition % 8 == 0) {
    bytes.pop_back();
  } else {
    bytes.back() = static_cast<uint8_t>(bytes.back() | (0xFF >> bitPosition % 8));
    if (bytes.back() == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

}  // namespace

TEST(Model, qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1) {
  Random random(300);
  const std::vector<Tables> tables = manyTables(random);
  for (const Tables& table : tables) {
    for (int32_t segment = 0; segment < 200; ++segment) {
      TRACE_SEED(300);
      Bytes start(static_cast<size_t>(random.between(1, 40)));
      random.fill(std::span<uint8_t>(start));
      std::vector<Block> blocks(static_cast<size_t>(random.between(1, 20)));
      for (Block& block : blocks) block = anyBlock(random);
      compareEncoders(blocks, table, start, static_cast<int32_t>(random.between(0, 8 * std::ssize(start) - 1)));
      ASSERT_FALSE(HasFailure()) << segment;
    }
  }
}

TEST(Model, qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1) {
  Random random(301);
  const std::vector<Tables> tables = manyTables(random);
  for (const Tables& table : tables) {
    for (size_t segment = 0; segment < 64; ++segment) {
      TRACE_SEED(301);
      const std::vector<Block> blocks = codableBlocks(random, 1 + segment);
      DirectPair pair(terminated(segmentOf(blocks, table)), table.dcDecoder, table.acDecoder, segment % 16);
      for (const Block& block : blocks) {
        ASSERT_EQ(pair.decode(), qlmOk);
        ASSERT_EQ(pair.block(), block);
        ASSERT_EQ(pair.position() % 8, 0);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

TEST(HuffmanDirectEncode, bytesByHand) {
  // 00 1010, the last two bits 0.
  EXPECT_EQ(compareEncoders({Block{}}, luminance(), {0}, 0), (Bytes{0x28}));
  // Nothing pending behind 4A: a zero byte all the same.
  EXPECT_EQ(compareEncoders({withCoefficient(0, -1)}, luminance(), {0, 0xAA}, 0), (Bytes{0x4A, 0x00}));
  // At bit 13 the upper five bits of byte 1 stay: 10110 and then 001'010.
  EXPECT_EQ(compareEncoders({Block{}}, luminance(), {0x12, 0xB7, 0xFF}, 13), (Bytes{0x12, 0xB1, 0x40}));
  // Seven ones and the code 10 for difference 0: a byte of ones, stuffed, then 0 1010.
  const Tables ones(HuffmanLists{{0, 3}, {1, 2, 0}}, test::typicalTable(test::TypicalTable::LuminanceAC));
  EXPECT_EQ(compareEncoders({Block{}}, ones, {0xFE}, 7), (Bytes{0xFF, 0x00, 0x50}));
}

TEST(HuffmanDirectEncode, symbolsWithoutCodeWriteNothing) {
  const HuffmanLists none{{}, {0}};
  const Tables empty(none, none);
  EXPECT_EQ(compareEncoders({Block{}}, empty, {0xC0, 0xAA}, 2), (Bytes{0xC0}));
  Random random(302);
  const Tables noDC(none, test::typicalTable(test::TypicalTable::LuminanceAC));
  for (int32_t i = 0; i < 200; ++i) compareEncoders({anyBlock(random), anyBlock(random)}, noDC, {0}, 0);
}

TEST(HuffmanDirectEncode, extremes) {
  for (const int16_t first : {32767, -32768, 0, -1, 1}) {
    for (const int16_t second : {32767, -32768, 0, -1, 1})
      compareEncoders({withCoefficient(0, first), withCoefficient(0, second)}, complete(), {0}, 0);
  }
  for (int32_t category = 1; category <= 15; ++category) {
    for (const int32_t value :
         {1 << (category - 1), (1 << category) - 1, -(1 << (category - 1)), 1 - (1 << category)}) {
      Block full;
      full.fill(static_cast<int16_t>(value));
      for (int32_t bit = 0; bit < 8; ++bit) compareEncoders({full, full}, complete(), {0xFF}, bit);
      for (size_t k = 1; k < 64; ++k)
        compareEncoders({withCoefficient(k, static_cast<int16_t>(value))}, complete(), {0}, 0);
    }
  }
}

TEST(HuffmanDirectEncode, longestBlocks) {
  HuffmanLists lists{{}, symbolsBelow(255)};
  lists.counts[15] = 255;
  const Tables tables(lists, lists);
  Block lowest, highest;
  lowest.fill(-32768);
  highest.fill(32767);
  for (int32_t bit = 0; bit < 8; ++bit) compareEncoders({lowest, highest, lowest, highest}, tables, {0xFE}, bit);
}

TEST(HuffmanDirectEncode, checksLeaveEverythingAsItWas) {
  const Block block{};
  uint8_t bytes[32];
  std::fill(std::begin(bytes), std::end(bytes), uint8_t{0xAA});
  int32_t position = 3;
  int16_t lastDC = 7;
  const QlmEncodeHuffmanSpec* dc = luminance().dcEncoder.spec.data();
  const QlmEncodeHuffmanSpec* ac = luminance().acEncoder.spec.data();
  const auto call = qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1;
  EXPECT_EQ(call(nullptr, bytes, &position, &lastDC, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), nullptr, &position, &lastDC, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, nullptr, &lastDC, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, &position, nullptr, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, &position, &lastDC, nullptr, ac), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, &position, &lastDC, dc, nullptr), qlmErrNullPointer);
  EXPECT_EQ(position, 3);
  EXPECT_EQ(lastDC, 7);
  EXPECT_EQ(std::count(std::begin(bytes), std::end(bytes), 0xAA), 32);
}

TEST(HuffmanDirectDecode, bitsByHand) {
  DirectPair pair({0x4A, 0xFF, 0xD9}, luminance().dcDecoder, luminance().acDecoder, 0);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block(), withCoefficient(0, -1));
  EXPECT_EQ(pair.marker(), 0xD9);
  EXPECT_EQ(pair.position(), 24);
  EXPECT_EQ(pair.bitCount(), 0);
  // Nothing held before the DC symbol: a block of zeros, the position as it was.
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block(), Block{});
  EXPECT_EQ(pair.position(), 24);
  EXPECT_EQ(pair.lastDC(), -1);
}

TEST(HuffmanDirectDecode, markerAtOnceLeavesThePosition) {
  DirectPair pair({0xFF, 0xFF, 0xD9}, luminance().dcDecoder, luminance().acDecoder, 0);
  pair.setLastDC(55);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block(), Block{});
  EXPECT_EQ(pair.position(), 0);
  EXPECT_EQ(pair.lastDC(), 55);
}

TEST(HuffmanDirectDecode, fourBytesAtATimeWithinALine) {
  // Behind 4A, four bytes at once leave 24 bits; so does the way byte by byte.
  for (size_t behind = 0; behind < 16; ++behind) {
    DirectPair pair(terminated(Bytes(6, 0x4A)), luminance().dcDecoder, luminance().acDecoder, behind);
    for (int32_t block = 0; block < 6; ++block) {
      EXPECT_EQ(pair.decode(), qlmOk);
      EXPECT_EQ(pair.block(), withCoefficient(0, static_cast<int16_t>(-1 - block)));
    }
    EXPECT_EQ(pair.bitCount(), 0);
  }
}

TEST(HuffmanDirectDecode, everyTruncation) {
  Random random(303);
  for (const Tables* tables : {&luminance(), &complete()}) {
    for (int32_t round = 0; round < 25; ++round) {
      TRACE_SEED(303);
      Bytes source = segmentOf(codableBlocks(random, 4), *tables);
      for (; !source.empty(); source.pop_back()) {
        DirectPair pair(terminated(source), tables->dcDecoder, tables->acDecoder, source.size() % 16);
        decodeAll(pair, 6);
        ASSERT_FALSE(HasFailure()) << source.size();
      }
    }
  }
}

TEST(HuffmanDirectDecode, markersAndFillBytesAtEveryPlace) {
  Random random(304);
  const std::vector<Bytes> insertions = {
      {0xFF},      {0xFF, 0x00}, {0xFF, 0xFF}, {0xFF, 0xFF, 0x00}, {0xFF, 0xD9}, {0xFF, 0xD3}, {0xFF, 0xFF, 0xFF, 0xD9},
      {0xFF, 0x01}};
  for (int32_t round = 0; round < 12; ++round) {
    TRACE_SEED(304);
    const Bytes source = segmentOf(codableBlocks(random, 4), luminance());
    for (const Bytes& insertion : insertions) {
      for (size_t at = 0; at <= source.size(); ++at) {
        Bytes damaged = source;
        damaged.insert(damaged.begin() + static_cast<ptrdiff_t>(at), insertion.begin(), insertion.end());
        DirectPair pair(terminated(damaged), luminance().dcDecoder, luminance().acDecoder, at % 16);
        decodeAll(pair, 7);
        ASSERT_FALSE(HasFailure()) << at << ::testing::PrintToString(insertion);
      }
    }
  }
}

TEST(HuffmanDirectDecode, damagedStreams) {
  Random random(305);
  const std::vector<Tables> tables = manyTables(random);
  for (int32_t round = 0; round < 4000; ++round) {
    TRACE_SEED(305);
    const Tables& table = tables[static_cast<size_t>(round) % tables.size()];
    Bytes source = segmentOf(codableBlocks(random, 8), table);
    for (int64_t flips = random.between(1, 5); flips > 0; --flips) {
      const auto at = static_cast<size_t>(random.between(0, std::ssize(source) - 1));
      source[at] = static_cast<uint8_t>(source[at] ^ (1u << random.between(0, 7)));
    }
    DirectPair pair(terminated(source), table.dcDecoder, table.acDecoder, static_cast<size_t>(round) % 16);
    decodeAll(pair, 12);
    ASSERT_FALSE(HasFailure()) << round;
  }
}

TEST(HuffmanDirectDecode, lenientTablesOverNoise) {
  Random random(306);
  for (int32_t tried = 0; tried < 3000;) {
    TRACE_SEED(306);
    HuffmanLists lists = lenientLists(random);
    if (tried % 10 == 0) lists = {{1, 0, 0, 0, 0, 0, 0, 129}, lists.values};
    const Decoder ac(lists);
    if (ac.status != qlmOk) continue;
    ++tried;
    Bytes source(static_cast<size_t>(random.between(1, 120)));
    random.fill(std::span<uint8_t>(source));
    if (random.oneIn(2))
      for (uint8_t& byte : source) byte = byte == 0xFF ? 0xFE : byte;
    if (source.back() == 0xFF) source.back() = 0;
    DirectPair pair(terminated(source), tried % 2 ? luminance().dcDecoder : ac, ac, static_cast<size_t>(tried) % 16);
    decodeAll(pair, 40);
    ASSERT_FALSE(HasFailure()) << tried;
  }
}

// Bits that the caller holds from elsewhere, from none to 32, before every kind of source.
TEST(HuffmanDirectDecode, prefetchedBits) {
  Random random(307);
  for (int32_t count = 0; count <= 32; ++count) {
    for (int32_t round = 0; round < 40; ++round) {
      TRACE_SEED(307);
      const Bytes source = terminated(segmentOf(codableBlocks(random, 2), luminance()));
      DirectPair pair(source, luminance().dcDecoder, luminance().acDecoder, static_cast<size_t>(round) % 16);
      pair.setBits(static_cast<uint32_t>(random.bits()), count);
      pair.setLastDC(static_cast<int16_t>(random.bits()));
      if (round % 2) pair.setMarker(0xD9);
      if (round % 4 == 0) pair.setPosition(static_cast<int32_t>(random.between(0, 7)));  // bits of a byte do not count
      decodeAll(pair, 3);
      ASSERT_FALSE(HasFailure()) << count;
    }
  }
}

// The bits end within a symbol beyond the lookup: the end of the segment, with what there is of the block.
TEST(HuffmanDirectDecode, endWithinALongCode) {
  // 010 1, then nine of the sixteen bits of symbol 0xE1: 1111'1111'1.
  DirectPair pair({0x5F, 0xF8, 0xFF, 0xD9}, luminance().dcDecoder, luminance().acDecoder, 0);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block(), withCoefficient(0, 1));
  EXPECT_EQ(pair.position(), 32);
  EXPECT_EQ(pair.bitCount(), 0);
}

TEST(HuffmanDirectDecode, noCode) {
  const Decoder none(HuffmanLists{{}, {0}});
  DirectPair pair({0x12, 0x34, 0x56, 0x78, 0xFF, 0xD9}, none, none, 0);
  EXPECT_EQ(pair.decode(), qlmErrDctRange);
}

TEST(HuffmanDirectDecode, valueBitsAreMissing) {
  // The code 0 is category 8: one bit held leaves nothing for the value.
  const Decoder dc(HuffmanLists{{1}, {8}});
  DirectPair none({0xFF, 0xD9}, dc, luminance().acDecoder, 0);
  none.setBits(0, 1);
  none.setMarker(0xD9);
  EXPECT_EQ(none.decode(), qlmErrOutOfBuffer);
  EXPECT_EQ(none.bitCount(), 1);
  EXPECT_EQ(none.position(), 0);
  // One bit is held of eight: taken all the same, and the count says so until the next call refuses it.
  DirectPair some({0xFF, 0xD9}, dc, luminance().acDecoder, 0);
  some.setBits(1, 2);
  some.setMarker(0xD9);
  some.decode();
}

// Indices 64 to 71 store to position 63.
TEST(HuffmanDirectDecode, runsBeyondTheBlock) {
  const Decoder dc(HuffmanLists{{1}, {0}}), ac(HuffmanLists{{0, 3}, {0x01, 0xF1, 0x81}});
  // 0, then position 16, 32, 48 by F1 with value 1, then 00 1 fourteen times: 49 to 62, then 81 with value 0: 71.
  std::string bits = "0";
  for (int32_t i = 0; i < 3; ++i) bits += "011";
  for (int32_t i = 0; i < 14; ++i) bits += "001";
  bits += "100";
  bits.resize(88, '0');
  Bytes source;
  for (size_t i = 0; i < bits.size(); i += 8)
    source.push_back(static_cast<uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
  DirectPair pair(terminated(source), dc, ac, 3);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_FALSE(pair.wasFast());
  EXPECT_EQ(pair.block()[63], -1);
  EXPECT_EQ(pair.block()[static_cast<size_t>(model::zigzag()[62])], 1);
}

TEST(HuffmanDirectDecode, checksInTheirOrder) {
  const uint8_t source[8] = {0x4A, 0x4A, 0x4A, 0x4A, 0xFF, 0xD9};
  Block block;
  block.fill(99);
  const Block before = block;
  int32_t position = 0, marker = 0, count = 0, negative = -1;
  uint32_t bits = 0;
  int16_t dcValue = 7;
  const QlmDecodeHuffmanSpec* dc = luminance().dcDecoder.spec.data();
  const QlmDecodeHuffmanSpec* ac = luminance().acDecoder.spec.data();
  const auto call = qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1;
  EXPECT_EQ(call(nullptr, &negative, block.data(), &dcValue, &marker, &bits, &count, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, nullptr, block.data(), &dcValue, &marker, &bits, &count, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &negative, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), qlmErrBadArgument);
  EXPECT_EQ(call(source, &position, nullptr, &dcValue, &marker, &bits, &negative, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), nullptr, &marker, &bits, &negative, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, nullptr, &bits, &negative, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, &marker, nullptr, &negative, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, &marker, &bits, nullptr, dc, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, &marker, &bits, &negative, nullptr, nullptr),
            qlmErrBadArgument);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, &marker, &bits, &count, nullptr, ac), qlmErrNullPointer);
  EXPECT_EQ(call(source, &position, block.data(), &dcValue, &marker, &bits, &count, dc, nullptr), qlmErrNullPointer);
  EXPECT_EQ(block, before);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(marker, 0);
  EXPECT_EQ(dcValue, 7);
}

TEST(HuffmanInterop, directGreyScan) {
  Random random(308);
  const std::vector<Block> blocks = codableBlocks(random, 32 * 20);
  const Bytes theirs = test::libjpegScan(blocks, 32, 0);
  Bytes ours(theirs.size() + 16);
  int32_t position = 0;
  int16_t lastDC = 0;
  for (const Block& block : blocks) ASSERT_EQ(encodeDirect(block, ours.data(), position, lastDC, luminance()), qlmOk);
  EXPECT_EQ(padded(ours, position), theirs);

  DirectPair pair(terminated(theirs), luminance().dcDecoder, luminance().acDecoder, 0);
  for (const Block& block : blocks) {
    ASSERT_EQ(pair.decode(), qlmOk);
    ASSERT_EQ(pair.block(), block);
  }
}
