// Blocks of progressive scans (T.81 Annex G) against the model call by call, against bits worked out by hand, there and
// back through random scripts, and against the scans of libjpeg-turbo.
#include "jpeg/progressive_support.h"

#include <string>

using namespace progressive;

namespace {

constexpr int32_t kRoom = 60000;

const QlmEncodeHuffmanSpec* encoderOf(const Tables& tables, const ScanHeader& scan) {
  return (scan.band.last > 0 ? tables.acEncoder : tables.dcEncoder).spec.data();
}
const QlmDecodeHuffmanSpec* decoderOf(const Tables& tables, const ScanHeader& scan) {
  return (scan.band.last > 0 ? tables.acDecoder : tables.dcDecoder).spec.data();
}

ScanHeader acFirst(int32_t first, int32_t last, int32_t low) { return {{first, last, low}, 0}; }
ScanHeader acRefine(int32_t first, int32_t last, int32_t low) { return {{first, last, low}, low + 1}; }
ScanHeader dcFirst(int32_t low) { return {{0, 0, low}, 0}; }
ScanHeader dcRefine(int32_t low) { return {{0, 0, low}, low + 1}; }

ScanHeader anyScan(Random& random, Scan kind) {
  const auto low = static_cast<int32_t>(random.oneIn(2) ? random.between(0, 2) : random.between(0, 13));
  if (kind == Scan::DCFirst) return dcFirst(low);
  if (kind == Scan::DCRefine) return dcRefine(low);
  const auto first = static_cast<int32_t>(random.oneIn(2) ? 1 : random.between(1, 63));
  const auto last = static_cast<int32_t>(random.oneIn(2) ? 63 : random.between(first, 63));
  return kind == Scan::ACFirst ? acFirst(first, last, low) : acRefine(first, last, low);
}

// Blocks that every complete table can express in this scan.
Block codableBlock(Random& random, const ScanHeader& scan) {
  return random.oneIn(5) ? Block{} : bandBlock(random, scan.band.low, 10);
}

std::vector<Block> codableBlocksOf(Random& random, const ScanHeader& scan, size_t count) {
  std::vector<Block> blocks(count);
  for (Block& block : blocks) block = codableBlock(random, scan);
  return blocks;
}

// What a decoder holds before and after the scan. Whatever lies outside the band is no business of its own.
Block blockBefore(Random& random, const Block& block, const ScanHeader& scan) {
  Block before;
  for (int16_t& value : before) value = static_cast<int16_t>(random.bits());
  for (int32_t k = scan.band.first; k <= scan.band.last; ++k) {
    const auto i = static_cast<size_t>(model::naturalIndex(k));
    before[i] = scan.high ? knownPart(block[i], scan.band.low + 1, k == 0) : int16_t{0};
  }
  return before;
}

Block blockAfter(const Block& before, const Block& block, const ScanHeader& scan) {
  Block after = before;
  for (int32_t k = scan.band.first; k <= scan.band.last; ++k) {
    const auto i = static_cast<size_t>(model::naturalIndex(k));
    after[i] = knownPart(block[i], scan.band.low, k == 0);
  }
  return after;
}

void checkEncoder(Scan kind, uint64_t stream) {
  Random random(stream);
  const std::vector<Tables> tables = manyTables(random);
  for (int32_t segment = 0; segment < 300; ++segment) {
    TRACE_SEED(stream);
    SCOPED_TRACE(segment);
    const ScanHeader scan = anyScan(random, kind);
    ScanEncoder pair(kRoom, scan, encoderOf(tables[static_cast<size_t>(segment) % tables.size()], scan),
                     segment % 4 < 2 ? Edge::Back : Edge::Front);
    // Typical tables lack codes, and some values have too many bits: such blocks fail, and later ones follow.
    for (int32_t i = 0; i < 40; ++i)
      pair.encode(random.oneIn(3) ? anyBlock(random) : bandBlock(random, scan.band.low, random.between(1, 12)));
    pair.flush();
    ASSERT_FALSE(::testing::Test::HasFailure());
  }
}

void checkDecoder(Scan kind, uint64_t stream) {
  Random random(stream);
  const std::vector<Tables> tables = manyTables(random);
  for (int32_t segment = 0; segment < 240; ++segment) {
    TRACE_SEED(stream);
    SCOPED_TRACE(segment);
    const ScanHeader scan = anyScan(random, kind);
    const Tables& table = tables[2 + static_cast<size_t>(segment) % (tables.size() - 2)];
    const std::vector<Block> blocks = codableBlocksOf(random, scan, 40);
    Bytes source = scanBytes(blocks, scan, encoderOf(table, scan));
    if (segment % 3 == 1) source.insert(source.end(), {0xFF, 0xD9});
    if (source.empty()) source.push_back(0);
    ScanDecoder pair(source, scan, decoderOf(table, scan), segment % 4 < 2 ? Edge::Back : Edge::Front);
    for (const Block& block : blocks) {
      Block decoded = blockBefore(random, block, scan);
      const Block after = blockAfter(decoded, block, scan);
      ASSERT_EQ(pair.decode(decoded), qlmOk);
      ASSERT_EQ(decoded, after);
      ASSERT_FALSE(::testing::Test::HasFailure());
    }
  }
}

// Decodes into blocks of all kinds until `blocks` are done or a failure repeats itself.
void decodeAnything(ScanDecoder& pair, Random& random, const ScanHeader& scan, int32_t blocks) {
  int32_t failures = 0;
  for (int32_t i = 0; i < blocks && failures < 3 && !::testing::Test::HasFailure(); ++i) {
    Block block = random.oneIn(3) ? Block{} : bandBlock(random, scan.band.low, 3);
    if (pair.decode(block) != qlmOk) ++failures;
  }
}

// Padded with ones and stuffed.
Bytes bytesOf(std::string bits) {
  while (bits.size() % 8) bits += '1';
  Bytes bytes;
  for (size_t i = 0; i < bits.size(); i += 8) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
    if (bytes.back() == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

std::string binary(uint32_t value, int32_t size) {
  std::string bits;
  for (int32_t i = size - 1; i >= 0; --i) bits += value >> i & 1 ? '1' : '0';
  return bits;
}

// Few symbols with short codes: four of 3 bits from 000 on, then 4-bit ones from 1000 on.
struct ShortCodes {
  Encoder encoder;
  Decoder decoder;
  explicit ShortCodes(std::initializer_list<uint8_t> symbols) : ShortCodes(listsOf(symbols)) {}

 private:
  explicit ShortCodes(const HuffmanLists& lists) : encoder(lists), decoder(lists) {}
  static HuffmanLists listsOf(std::initializer_list<uint8_t> symbols) {
    HuffmanLists lists{{}, symbols};
    lists.counts[2] = static_cast<uint8_t>(std::min<size_t>(4, symbols.size()));
    lists.counts[3] = static_cast<uint8_t>(symbols.size() - lists.counts[2]);
    return lists;
  }
};

Bytes encoded(const std::vector<Block>& blocks, const ScanHeader& scan, const QlmEncodeHuffmanSpec* table) {
  ScanEncoder pair(kRoom, scan, table);
  for (const Block& block : blocks) EXPECT_EQ(pair.encode(block), qlmOk);
  EXPECT_EQ(pair.flush(), qlmOk);
  return pair.bytes();
}

Block withAll(std::initializer_list<std::pair<size_t, int16_t>> coefficients) {
  Block block{};
  for (const auto& [k, value] : coefficients) scanAt(block, k) = value;
  return block;
}

}  // namespace

TEST(Model, qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1) { checkEncoder(Scan::DCFirst, 301); }
TEST(Model, qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1) { checkEncoder(Scan::DCRefine, 302); }
TEST(Model, qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1) { checkEncoder(Scan::ACFirst, 303); }
TEST(Model, qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1) { checkEncoder(Scan::ACRefine, 304); }
TEST(Model, qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1) { checkDecoder(Scan::DCFirst, 305); }
TEST(Model, qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1) { checkDecoder(Scan::DCRefine, 306); }
TEST(Model, qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1) { checkDecoder(Scan::ACFirst, 307); }
TEST(Model, qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1) { checkDecoder(Scan::ACRefine, 308); }

TEST(ProgressiveEncode, dcBitsByHand) {
  // Luminance: category 0 is 00, 1 is 010, 2 is 011, 3 is 100.
  const QlmEncodeHuffmanSpec* dc = luminance().dcEncoder.spec.data();
  // 7 shr 1 is 3: 011 11. -7 shr 1 is -4, the difference -7: 100 000. -1 shr 1 is -1, the difference 3: 011 11.
  EXPECT_EQ(encoded({withCoefficient(0, 7), withCoefficient(0, -7), withCoefficient(0, -1)}, dcFirst(1), dc),
            bytesOf("011"
                    "11"
                    "100"
                    "000"
                    "011"
                    "11"));
  // Bit 1 of 2, -2 (...1110), -1 (...1111), 1 and 4, and the padding.
  EXPECT_EQ(encoded({withCoefficient(0, 2), withCoefficient(0, -2), withCoefficient(0, -1), withCoefficient(0, 1),
                     withCoefficient(0, 4)},
                    dcRefine(1), nullptr),
            bytesOf("11100"));
  // Bit 13 of the lowest value and of the one above it: the shift is arithmetic.
  EXPECT_EQ(
      encoded({withCoefficient(0, -32768), withCoefficient(0, -8192), withCoefficient(0, 8192)}, dcRefine(13), nullptr),
      bytesOf("011"));
}

// A difference of category 12 is refused, before anything is written and after the last DC has changed.
TEST(ProgressiveEncode, dcCategoriesUpTo11) {
  Random random(309);
  const HuffmanLists lists = randomLists(random, symbolsBelow(17), 0);
  const Encoder table(lists);
  for (const int32_t sign : {1, -1}) {
    ScanEncoder pair(100, dcFirst(0), table.spec.data());
    EXPECT_EQ(pair.encode(withCoefficient(0, static_cast<int16_t>(sign * 2047))), qlmOk);
    const int32_t position = pair.position(), pending = pair.state().bitCount;
    pair.setLastDC(0);
    EXPECT_EQ(pair.encode(withCoefficient(0, static_cast<int16_t>(sign * 2048))), qlmErrDctRange);
    EXPECT_EQ(pair.lastDC(), sign * 2048);
    EXPECT_EQ(pair.position(), position);
    EXPECT_EQ(pair.state().bitCount, pending);
  }
  // The difference of the extremes has 16 bits.
  ScanEncoder far(100, dcFirst(0), table.spec.data());
  far.setLastDC(-32768);
  EXPECT_EQ(far.encode(withCoefficient(0, 32767)), qlmErrDctRange);
  EXPECT_EQ(far.lastDC(), 32767);
}

TEST(ProgressiveEncode, acFirstBitsByHand) {
  const ShortCodes codes{0x00, 0x01, 0xF0, 0x12, 0x10, 0xE0, 0x1B};  // 000, 001, 010, 011, 1000, 1001, 1010
  const QlmEncodeHuffmanSpec* ac = codes.encoder.spec.data();
  // A run of one block is symbol 0x00 without more bits.
  EXPECT_EQ(encoded({Block{}}, acFirst(1, 63, 0), ac), bytesOf("000"));
  // Two blocks: EOB1 with a 0, three with a 1.
  EXPECT_EQ(encoded({Block{}, Block{}}, acFirst(1, 63, 0), ac), bytesOf("1000"
                                                                        "0"));
  EXPECT_EQ(encoded({Block{}, Block{}, Block{}}, acFirst(1, 63, 0), ac), bytesOf("1000"
                                                                                 "1"));
  // 1 at once; a zero and -3 (00); the rest of the band.
  EXPECT_EQ(encoded({withAll({{1, 1}, {3, -3}})}, acFirst(1, 63, 0), ac), bytesOf("001"
                                                                                  "1"
                                                                                  "011"
                                                                                  "00"
                                                                                  "000"));
  // The same with the band's end at the coefficient: no end of band.
  EXPECT_EQ(encoded({withAll({{1, 1}, {3, -3}})}, acFirst(1, 3, 0), ac), bytesOf("001"
                                                                                 "1"
                                                                                 "011"
                                                                                 "00"));
  // Sixteen zeros before a coefficient.
  EXPECT_EQ(encoded({withAll({{17, -1}})}, acFirst(1, 17, 0), ac), bytesOf("010"
                                                                           "001"
                                                                           "0"));
  // 2^Al - 1 counts as zero, whatever its sign; -6 shr 1 is -3 by magnitude.
  EXPECT_EQ(encoded({withAll({{1, 1}, {2, -1}, {3, 1}})}, acFirst(1, 3, 1), ac), bytesOf("000"));
  EXPECT_EQ(encoded({withAll({{1, -1}, {2, -7}})}, acFirst(1, 2, 1), ac), bytesOf("011"
                                                                                  "00"));
  // Eleven bits are the most: 2047 and not 2048.
  EXPECT_EQ(encoded({withAll({{1, 0}, {2, 2047}})}, acFirst(1, 2, 0), ac), bytesOf("1010"
                                                                                   "11111111111"));
  for (const int16_t value : {int16_t{2048}, int16_t{-2048}, int16_t{32767}, int16_t{-32768}}) {
    ScanEncoder pair(100, acFirst(1, 2, 0), ac);
    EXPECT_EQ(pair.encode(Block{}), qlmOk);
    EXPECT_EQ(pair.encode(withAll({{2, value}})), qlmErrDctRange);
    EXPECT_EQ(pair.state().eobRun, 0);  // what went before is written
    EXPECT_EQ(pair.flush(), qlmOk);
    EXPECT_EQ(pair.bytes(), bytesOf("000"));
  }
  EXPECT_EQ(encoded({withAll({{2, -32768}})}, acFirst(2, 2, 13), luminance().acEncoder.spec.data()),
            bytesOf("100"
                    "011"));  // 4: category 3 is 100, of -4 is 011
}

// No symbol can express more than 32767 blocks, so the run leaves at that.
TEST(ProgressiveEncode, longestRunOfBlocks) {
  const ShortCodes codes{0x00, 0x01, 0xE0, 0xD0};  // 000, 001, 010, 011
  const QlmEncodeHuffmanSpec* ac = codes.encoder.spec.data();
  const Block nothing{}, correction = withCoefficient(5, 2);
  for (const bool refine : {false, true}) {
    const ScanHeader scan = refine ? acRefine(5, 5, 0) : acFirst(1, 63, 0);
    ScanEncoder pair(4000, scan, ac);
    for (int32_t i = 1; i < 0x7FFF; ++i) pair.encode(nothing);
    EXPECT_EQ(pair.state().eobRun, 0x7FFE);
    EXPECT_EQ(pair.state().bitCount, 0);
    EXPECT_EQ(pair.position(), 0);
    EXPECT_EQ(pair.encode(refine ? correction : nothing), qlmOk);
    EXPECT_EQ(pair.state().eobRun, 0);
    EXPECT_EQ(pair.state().correctionCount, 0);
    EXPECT_EQ(pair.state().bitCount, refine ? 18 : 17);
    // The next run begins at one: 0x3FFE blocks are EOB13.
    for (int32_t i = 0; i < 0x3FFE; ++i) pair.encode(nothing);
    EXPECT_EQ(pair.flush(), qlmOk);
    EXPECT_EQ(pair.bytes(),
              bytesOf("010" + std::string(14, '1') + (refine ? "0" : "") + "011" + std::string(12, '1') + "0"));
    ASSERT_FALSE(HasFailure());
  }
}

TEST(ProgressiveEncode, refinementBitsByHand) {
  const ShortCodes codes{0x00, 0x01, 0xF0, 0x11, 0x10, 0xE0, 0x21};  // 000, 001, 010, 011, 1000, 1001, 1010
  const QlmEncodeHuffmanSpec* ac = codes.encoder.spec.data();
  // A new 1, a new -1 behind a zero, both signs after the code.
  EXPECT_EQ(encoded({withAll({{1, 1}, {3, -1}})}, acRefine(1, 3, 0), ac), bytesOf("001"
                                                                                  "1"
                                                                                  "011"
                                                                                  "0"));
  // Old coefficients in between: their bits come behind the sign. 2 gives 0, -3 gives 1.
  EXPECT_EQ(encoded({withAll({{1, 2}, {2, -3}, {4, 1}})}, acRefine(1, 4, 0), ac), bytesOf("011"
                                                                                          "1"
                                                                                          "01"));
  // Beyond the last new one the block joins the run, its bits follow the symbol.
  EXPECT_EQ(encoded({withAll({{1, 1}, {3, 5}, {4, 2}})}, acRefine(1, 63, 0), ac), bytesOf("001"
                                                                                          "1"
                                                                                          "000"
                                                                                          "10"));
  // Sixteen zeros and more behind the last new one: no ZRL, even before an old one.
  EXPECT_EQ(encoded({withAll({{1, 1}, {40, 3}})}, acRefine(1, 63, 0), ac), bytesOf("001"
                                                                                   "1"
                                                                                   "000"
                                                                                   "1"));
  // Sixteen zeros before a new one; the bit of an old one between goes with the ZRL.
  EXPECT_EQ(encoded({withAll({{3, 3}, {18, -1}})}, acRefine(1, 18, 0), ac), bytesOf("010"
                                                                                    "1"
                                                                                    "001"
                                                                                    "0"));
  // A ZRL is due at an old one, too, if a new one follows: its own bit comes later.
  EXPECT_EQ(encoded({withAll({{17, 3}, {18, -1}})}, acRefine(1, 18, 0), ac), bytesOf("010"
                                                                                     "001"
                                                                                     "0"
                                                                                     "1"));
  // Two blocks in the run, then a new coefficient: the run's bits before the block's own.
  EXPECT_EQ(encoded({withAll({{1, 2}}), withAll({{2, 3}}), withAll({{1, 3}, {3, 1}})}, acRefine(1, 3, 0), ac),
            bytesOf("1000"
                    "0"
                    "01"
                    "011"
                    "1"
                    "1"));
  // At Al 1, 2 and 3 are new, 4 to 7 old with bit 1.
  EXPECT_EQ(encoded({withAll({{1, -3}, {2, 1}, {3, 6}, {4, 2}})}, acRefine(1, 4, 1), ac), bytesOf("001"
                                                                                                  "0"
                                                                                                  "011"
                                                                                                  "1"
                                                                                                  "1"));
  // The lowest coefficient is old, its lowest bit 0.
  EXPECT_EQ(encoded({withAll({{1, -32768}, {2, 1}})}, acRefine(1, 2, 0), ac), bytesOf("001"
                                                                                      "1"
                                                                                      "0"));
}

TEST(ProgressiveEncode, correctionBitsForceTheRunOutAt938) {
  const ShortCodes codes{0x00, 0x10, 0x90, 0x80, 0x30};  // 000, 001, 010, 011, 1000
  const QlmEncodeHuffmanSpec* ac = codes.encoder.spec.data();
  ScanEncoder pair(4000, acRefine(1, 63, 0), ac);
  for (int32_t i = 0; i < 937; ++i) EXPECT_EQ(pair.encode(withCoefficient(7, i % 3 == 0 ? 3 : 2)), qlmOk);
  EXPECT_EQ(pair.state().correctionCount, 937);
  EXPECT_EQ(pair.state().eobRun, 937);
  EXPECT_EQ(pair.position(), 0);
  EXPECT_EQ(pair.encode(withCoefficient(7, 2)), qlmOk);
  EXPECT_EQ(pair.state().correctionCount, 0);
  EXPECT_EQ(pair.state().eobRun, 0);
  EXPECT_EQ(pair.flush(), qlmOk);
  std::string bits = "010" + binary(938 - 512, 9);
  for (int32_t i = 0; i < 938; ++i) bits += i % 3 == 0 && i < 937 ? '1' : '0';
  EXPECT_EQ(pair.bytes(), bytesOf(bits));

  // 63 a block: the fifteenth passes the limit, at 945.
  Block old;
  old.fill(6);
  ScanEncoder dense(4000, acRefine(1, 63, 0), ac);
  for (int32_t i = 1; i < 15; ++i) {
    EXPECT_EQ(dense.encode(old), qlmOk);
    EXPECT_EQ(dense.state().correctionCount, 63 * i);
  }
  EXPECT_EQ(dense.encode(old), qlmOk);
  EXPECT_EQ(dense.state().correctionCount, 0);
  EXPECT_EQ(dense.flush(), qlmOk);
  EXPECT_EQ(dense.bytes(), bytesOf("1000" + binary(15 - 8, 3) + std::string(945, '0')));
}

TEST(ProgressiveEncode, flushOfAnEmptyStateStoresNothing) {
  for (const ScanHeader& scan : {dcFirst(0), dcRefine(0), acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
    ScanEncoder pair(1, scan, encoderOf(luminance(), scan));
    EXPECT_EQ(pair.flush(-256), qlmOk);
    EXPECT_EQ(pair.position(), 0);
  }
}

// The band form pads exactly; eight bits are a byte and no more.
TEST(ProgressiveEncode, flushPadsToAByte) {
  const ShortCodes codes{0x00};
  for (int32_t pending = 0; pending <= 64; ++pending) {
    for (const bool ones : {false, true}) {
      for (int32_t room = 1; room <= 18; ++room) {
        for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
          ScanEncoder pair(room, scan, codes.encoder.spec.data());
          QlmEncodeHuffmanState state{};
          state.accumulator = ones ? ~uint64_t{0} : 0;
          state.bitCount = pending;
          pair.setState(state);
          const int32_t whole = (pending + 7) / 8, needed = ones ? 2 * whole : whole;
          EXPECT_EQ(pair.flush(), room >= needed ? qlmOk : qlmErrOutOfBuffer);
          EXPECT_EQ(pair.position(), std::min(room, needed));
          ASSERT_FALSE(HasFailure()) << pending << ' ' << ones << ' ' << room;
        }
      }
    }
  }
}

TEST(ProgressiveEncode, flushWritesRunAndCorrections) {
  const ShortCodes codes{0x00, 0x10, 0x20, 0xE0, 0x40};  // 000, 001, 010, 011, 1000
  const auto flushed = [&](int32_t run, std::vector<uint8_t> corrections, const ScanHeader& scan) {
    ScanEncoder pair(3000, scan, codes.encoder.spec.data());
    QlmEncodeHuffmanState state{};
    state.eobRun = run;
    state.correctionCount = static_cast<int32_t>(corrections.size());
    std::copy(corrections.begin(), corrections.end(), state.correctionBits);
    pair.setState(state);
    EXPECT_EQ(pair.flush(), qlmOk);
    EXPECT_EQ(pair.state().eobRun, 0);
    return pair.bytes();
  };
  for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
    EXPECT_EQ(flushed(1, {}, scan), bytesOf("000"));
    EXPECT_EQ(flushed(2, {}, scan), bytesOf("001"
                                            "0"));
    EXPECT_EQ(flushed(5, {1, 0, 1}, scan), bytesOf("010"
                                                   "01"
                                                   "101"));
    EXPECT_EQ(flushed(0, {1, 0}, scan), bytesOf("10"));
    EXPECT_EQ(flushed(0x7FFF, {}, scan), bytesOf("011" + std::string(14, '1')));
    // One more than a symbol expresses: 0xE0 with the low 14 bits, and what remains as a run of its own.
    EXPECT_EQ(flushed(0x8000, {}, scan), bytesOf("011" + std::string(14, '0') + "000"));
    EXPECT_EQ(flushed(0x8001, {1}, scan), bytesOf("011" + binary(1, 14) +
                                                  "001"
                                                  "0"
                                                  "1"));
    EXPECT_EQ(flushed(0x7FFF + 19, {}, scan), bytesOf("011" + binary((0x7FFF + 19) & 0x3FFF, 14) +
                                                      "1000"
                                                      "0011"));
    ASSERT_FALSE(HasFailure());
  }
}

// What remains of a run beyond two symbols is refused behind the first; a missing code is refused before. Either way
// the pending bits are padded out, and the run stays in the state.
TEST(ProgressiveEncode, flushOfARunThatCannotBeWritten) {
  for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
    const ShortCodes codes{0x00, 0xE0};
    QlmEncodeHuffmanState state{};
    state.accumulator = 5;
    state.bitCount = 3;
    state.correctionCount = 4;
    state.eobRun = 0xFFFF;
    ScanEncoder far(100, scan, codes.encoder.spec.data());
    far.setState(state);
    EXPECT_EQ(far.flush(), qlmErrDctRange);
    EXPECT_EQ(far.state().eobRun, 0xFFFF);
    EXPECT_EQ(far.bytes(), bytesOf("101"
                                   "001" +
                                   binary(0x3FFF, 14)));
    ScanEncoder missing(100, scan, codes.encoder.spec.data());
    state.eobRun = 2;
    missing.setState(state);
    EXPECT_EQ(missing.flush(), qlmErrHuffTable);
    EXPECT_EQ(missing.state().eobRun, 2);
    EXPECT_EQ(missing.state().bitCount, 0);
    EXPECT_EQ(missing.state().correctionCount, 0);
    EXPECT_EQ(missing.bytes(), bytesOf("101"));
  }
}

// Bytes, position and the whole state after each call, whatever fits.
TEST(ProgressiveEncode, everyRoom) {
  Random random(310);
  for (const Scan kind : {Scan::DCFirst, Scan::DCRefine, Scan::ACFirst, Scan::ACRefine}) {
    for (int32_t round = 0; round < 12; ++round) {
      TRACE_SEED(310);
      const ScanHeader scan = anyScan(random, kind);
      std::vector<Block> blocks = codableBlocksOf(random, scan, kind == Scan::DCRefine ? 70 : 6);
      const Bytes whole = scanBytes(blocks, scan, encoderOf(complete(), scan));
      const auto enough = static_cast<int32_t>(whole.size());
      for (int32_t room = 1; room <= enough + 10; ++room) {
        SCOPED_TRACE(room);
        ScanEncoder pair(room, scan, encoderOf(complete(), scan), room % 2 ? Edge::Back : Edge::Front);
        bool full = false;
        for (const Block& block : blocks) full |= pair.encode(block) == qlmErrOutOfBuffer;
        full |= pair.flush() == qlmErrOutOfBuffer;
        ASSERT_EQ(full, room < enough);
        if (!full) {
          ASSERT_EQ(pair.bytes(), whole);
        }
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

// Every register, run and number of correction bits that a caller may bring, into rooms of all small sizes.
TEST(ProgressiveEncode, statesFromElsewhere) {
  Random random(311);
  const std::vector<Tables> tables = manyTables(random);
  for (const Scan kind : {Scan::ACFirst, Scan::ACRefine}) {
    for (int32_t round = 0; round < 6000; ++round) {
      TRACE_SEED(311);
      SCOPED_TRACE(round);
      const ScanHeader scan = anyScan(random, kind);
      QlmEncodeHuffmanState state;
      random.fill(std::span<uint8_t>(state.correctionBits), 0, 1);
      state.accumulator = random.oneIn(3) ? ~uint64_t{0} : random.bits();
      state.bitCount = static_cast<int32_t>(random.between(0, 64));
      state.eobRun = static_cast<int32_t>(random.oneIn(2) ? 0 : random.between(0, 0x7FF0));
      state.correctionCount = static_cast<int32_t>(random.oneIn(3) ? 0 : random.between(0, 961));
      if (random.oneIn(3)) state.correctionCount = static_cast<int32_t>(random.between(0, 70));
      if (state.bitCount < 64) state.accumulator &= (uint64_t{1} << state.bitCount) - 1;
      Block block = bandBlock(random, scan.band.low, random.between(1, 12));
      if (random.oneIn(6)) {  // a run that only a new coefficient or a flush writes
        state.eobRun = static_cast<int32_t>(random.between(0x7FFF, 0x20000));
        scanAt(block, static_cast<size_t>(scan.band.first)) = static_cast<int16_t>(1 << scan.band.low);
      }
      ScanEncoder pair(static_cast<int32_t>(random.oneIn(2) ? random.between(1, 30) : 2000), scan,
                       encoderOf(tables[static_cast<size_t>(round) % tables.size()], scan));
      pair.setState(state);
      if (!random.oneIn(4)) pair.encode(block);
      pair.flush();
      ASSERT_FALSE(HasFailure());
    }
  }
}

// A run that has grown past the longest, as it may after its symbol had no room: a first scan writes it at once, a
// refinement waits for what ends it.
TEST(ProgressiveEncode, runsBeyondTheLongest) {
  for (const int32_t run : {0x7FFD, 0x7FFE, 0x7FFF, 0x8000, 0xFFFD, 0xFFFE, 0x20000}) {
    for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
      ScanEncoder pair(100, scan, complete().acEncoder.spec.data());
      QlmEncodeHuffmanState state{};
      state.eobRun = run;
      pair.setState(state);
      const QlmStatus status = pair.encode(Block{});
      EXPECT_EQ(status, scan.high || run < 0xFFFE ? qlmOk : qlmErrDctRange) << run;
      EXPECT_EQ(pair.state().eobRun, run == 0x7FFE || (!scan.high && run >= 0x7FFE && status == qlmOk) ? 0 : run + 1);
      ASSERT_FALSE(HasFailure()) << run;
    }
  }
}

// There is no room behind the end either.
TEST(ProgressiveEncode, positionsBehindTheEnd) {
  Random random(319);
  for (const Scan kind : {Scan::DCFirst, Scan::DCRefine, Scan::ACFirst, Scan::ACRefine}) {
    for (const int32_t behind : {0, 1, 7, 8, 4000}) {
      const ScanHeader scan = anyScan(random, kind);
      ScanEncoder pair(5, scan, encoderOf(complete(), scan));
      pair.setPosition(5 + behind);
      for (int32_t i = 0; i < 20; ++i) pair.encode(codableBlock(random, scan));
      pair.flush();
      EXPECT_EQ(pair.position(), 5 + behind);
      ASSERT_FALSE(HasFailure());
    }
  }
}

// Each exit behind a symbol without a code, with bits of the run and of the block waiting.
TEST(ProgressiveEncode, symbolWithoutCode) {
  const std::vector<Block> blocks = {withAll({{1, 2}, {2, 3}}), withAll({{1, 3}, {30, 1}}),
                                     withAll({{2, 1}}),         Block{},
                                     withAll({{1, 1}, {5, 7}}), withAll({{20, 3}, {40, -1}, {41, 2}})};
  for (uint32_t missing = 0; missing < 256; ++missing) {
    std::vector<uint8_t> symbols;
    for (uint32_t s = 0; s < 256; ++s)
      if (s != missing) symbols.push_back(static_cast<uint8_t>(s));
    Random random(312);
    const Encoder table(randomLists(random, symbols, 1));
    for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0), acRefine(1, 63, 1)}) {
      ScanEncoder pair(kRoom, scan, table.spec.data());
      for (const Block& block : blocks) pair.encode(block);
      pair.flush();
      ASSERT_FALSE(HasFailure()) << missing;
    }
  }
  // The refused block keeps the number of correction bits that it found, though the run has left.
  const ShortCodes codes{0x00, 0x10};
  ScanEncoder pair(100, acRefine(1, 63, 0), codes.encoder.spec.data());
  EXPECT_EQ(pair.encode(blocks[0]), qlmOk);
  EXPECT_EQ(pair.state().correctionCount, 2);
  EXPECT_EQ(pair.encode(blocks[2]), qlmErrHuffTable);
  EXPECT_EQ(pair.state().correctionCount, 2);
  EXPECT_EQ(pair.state().eobRun, 0);
  EXPECT_EQ(pair.state().bitCount, 5);
}

TEST(ProgressiveDecode, everyTruncation) {
  Random random(313);
  for (const Scan kind : {Scan::DCFirst, Scan::DCRefine, Scan::ACFirst, Scan::ACRefine}) {
    for (int32_t round = 0; round < 25; ++round) {
      TRACE_SEED(313);
      const ScanHeader scan = anyScan(random, kind);
      Bytes source = scanBytes(codableBlocksOf(random, scan, 6), scan, encoderOf(complete(), scan));
      for (; !source.empty(); source.pop_back()) {
        for (const bool marked : {false, true}) {
          Bytes ended = source;
          if (marked) ended.insert(ended.end(), {0xFF, 0xD9});
          ScanDecoder pair(ended, scan, decoderOf(complete(), scan));
          decodeAnything(pair, random, scan, 9);
          ASSERT_FALSE(HasFailure()) << source.size() << ' ' << marked;
        }
      }
    }
  }
}

TEST(ProgressiveDecode, markersAndFillBytesAtEveryPlace) {
  Random random(314);
  const std::vector<Bytes> insertions = {
      {0xFF},      {0xFF, 0x00}, {0xFF, 0xFF}, {0xFF, 0xFF, 0x00}, {0xFF, 0xD9}, {0xFF, 0xD3}, {0xFF, 0xFF, 0xFF, 0xD9},
      {0xFF, 0x01}};
  for (const Scan kind : {Scan::DCFirst, Scan::DCRefine, Scan::ACFirst, Scan::ACRefine}) {
    for (int32_t round = 0; round < 8; ++round) {
      TRACE_SEED(314);
      const ScanHeader scan = anyScan(random, kind);
      const Bytes source = scanBytes(codableBlocksOf(random, scan, 4), scan, encoderOf(complete(), scan));
      for (const Bytes& insertion : insertions) {
        for (size_t at = 0; at <= source.size(); ++at) {
          Bytes damaged = source;
          damaged.insert(damaged.begin() + static_cast<ptrdiff_t>(at), insertion.begin(), insertion.end());
          ScanDecoder pair(damaged, scan, decoderOf(complete(), scan));
          decodeAnything(pair, random, scan, 7);
          ASSERT_FALSE(HasFailure()) << at << ::testing::PrintToString(insertion);
        }
      }
    }
  }
}

TEST(ProgressiveDecode, damagedStreams) {
  Random random(315);
  const std::vector<Tables> tables = manyTables(random);
  for (int32_t round = 0; round < 4000; ++round) {
    TRACE_SEED(315);
    SCOPED_TRACE(round);
    const ScanHeader scan = anyScan(random, static_cast<Scan>(round % 4));
    const Tables& table = tables[2 + static_cast<size_t>(round) / 4 % (tables.size() - 2)];
    Bytes source = scanBytes(codableBlocksOf(random, scan, 8), scan, encoderOf(table, scan));
    if (source.empty()) continue;
    for (int64_t flips = random.between(1, 5); flips > 0; --flips) {
      const auto at = static_cast<size_t>(random.between(0, static_cast<int64_t>(source.size()) - 1));
      source[at] = static_cast<uint8_t>(source[at] ^ (1u << random.between(0, 7)));
    }
    ScanDecoder pair(source, scan, decoderOf(table, scan));
    decodeAnything(pair, random, scan, 12);
    ASSERT_FALSE(HasFailure());
  }
}

// Tables that no encoder would make, bits and runs from elsewhere, bytes of all kinds.
TEST(ProgressiveDecode, lenientTablesOverNoise) {
  Random random(316);
  int32_t tried = 0;
  while (tried < 6000) {
    TRACE_SEED(316);
    SCOPED_TRACE(tried);
    HuffmanLists lists = lenientLists(random);
    if (tried % 10 == 0) lists = {{1, 0, 0, 0, 0, 0, 0, 129}, lists.values};  // one entry behind the lookup
    const Decoder table(lists);
    if (table.status != qlmOk) continue;
    const ScanHeader scan = anyScan(random, static_cast<Scan>(tried++ % 4));
    Bytes source(static_cast<size_t>(random.between(1, 120)));
    random.fill(std::span<uint8_t>(source));
    if (random.oneIn(2))
      for (uint8_t& byte : source) byte = byte == 0xFF ? 0xFE : byte;
    if (random.oneIn(2)) source.insert(source.end(), {0xFF, 0xD9});
    ScanDecoder pair(source, scan, table.spec.data());
    pair.setPosition(static_cast<int32_t>(random.between(0, static_cast<int64_t>(source.size()) / 2)));
    const bool ac = scan.band.last > 0;
    pair.setBits(random.bits() >> (ac ? 0 : 32), static_cast<int32_t>(random.between(0, ac ? 64 : 32)));
    pair.setEobRun(static_cast<int32_t>(random.oneIn(3) ? random.between(0, 40000) : 0));
    if (random.oneIn(5)) pair.setMarker(0xD7);
    decodeAnything(pair, random, scan, 30);
    ASSERT_FALSE(HasFailure());
  }
}

// Behind the end of the source there is none, whatever the state still holds.
TEST(ProgressiveDecode, positionsBehindTheEnd) {
  Random random(320);
  for (int32_t round = 0; round < 2000; ++round) {
    const ScanHeader scan = anyScan(random, static_cast<Scan>(round % 4));
    ScanDecoder pair(Bytes(static_cast<size_t>(random.between(1, 80)), 0x15), scan, decoderOf(complete(), scan));
    pair.setPosition(80 + static_cast<int32_t>(random.oneIn(2) ? random.between(0, 9) : random.between(4000, 5000)));
    const bool ac = scan.band.last > 0;
    pair.setBits(random.bits() >> (ac ? 0 : 32), static_cast<int32_t>(random.between(0, ac ? 64 : 32)));
    decodeAnything(pair, random, scan, 9);
    ASSERT_FALSE(HasFailure()) << round;
  }
}

TEST(ProgressiveDecode, dcBitsByHand) {
  // 011 11: difference 3, shifted by 2. 010 0: -1, so 2. 00: nothing.
  ScanDecoder pair(bytesOf("011"
                           "11"
                           "010"
                           "0"
                           "00"),
                   dcFirst(2), luminance().dcDecoder.spec.data());
  Block block;
  block.fill(77);
  Block expected = block;
  for (const int16_t value : {int16_t{12}, int16_t{8}, int16_t{8}}) {
    EXPECT_EQ(pair.decode(block), qlmOk);
    expected[0] = value;
    EXPECT_EQ(block, expected);
  }
  EXPECT_EQ(pair.lastDC(), 2);
  // What the shift pushes out of 16 bits is gone.
  ScanDecoder far(bytesOf("011"
                          "11"),
                  dcFirst(13), luminance().dcDecoder.spec.data());
  far.setLastDC(2);
  EXPECT_EQ(far.decode(block), qlmOk);
  EXPECT_EQ(block[0], static_cast<int16_t>(5 << 13));
  EXPECT_EQ(far.lastDC(), 5);
  // Only the low four bits of a symbol count.
  const Decoder wide(HuffmanLists{{1}, {0x13}});
  ScanDecoder masked(bytesOf("0"
                             "101"),
                     dcFirst(0), wide.spec.data());
  EXPECT_EQ(masked.decode(block), qlmOk);
  EXPECT_EQ(block[0], 5);
  // A bit that is set is or-ed in, one that is clear changes nothing.
  ScanDecoder refine(bytesOf("101"), dcRefine(3), nullptr);
  for (const auto& [before, after] : {std::pair{-16, -8}, {8, 8}, {0, 8}}) {
    block[0] = static_cast<int16_t>(before);
    EXPECT_EQ(refine.decode(block), qlmOk);
    EXPECT_EQ(block[0], after);
  }
}

// A refill that itself meets the marker is fine: the bit comes from a register that holds none, and is the next one's
// shortage.
TEST(ProgressiveDecode, dcAtAMarker) {
  Block block{};
  ScanDecoder pair({0xFF, 0xD9}, dcRefine(0), nullptr);
  EXPECT_EQ(pair.decode(block), qlmOk);
  EXPECT_EQ(pair.marker(), 0xD9);
  EXPECT_EQ(pair.state().bitCount, -1);
  EXPECT_EQ(pair.decode(block), qlmErrDctRange);
  ScanDecoder ended({0x00}, dcRefine(0), nullptr);
  for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(ended.decode(block), qlmOk);
  EXPECT_EQ(ended.decode(block), qlmErrOutOfBuffer);
  // A last byte of 0xFF fails though the bits before it would do.
  ScanDecoder lone({0x2A, 0xFF}, dcFirst(0), luminance().dcDecoder.spec.data());
  EXPECT_EQ(lone.decode(block), qlmErrOutOfBuffer);
}

TEST(ProgressiveDecode, acFirstBitsByHand) {
  const ShortCodes codes{0x00, 0x01, 0xF0, 0x12, 0x10, 0xE0, 0xF3, 0x50};  // 000, 001, 010, 011, 1000 ... 1011
  const QlmDecodeHuffmanSpec* ac = codes.decoder.spec.data();
  // 1, a zero, -3, end of band: the run of the block itself is over.
  ScanDecoder pair(bytesOf("001"
                           "1"
                           "011"
                           "00"
                           "000"
                           "1000"
                           "1"),
                   acFirst(1, 63, 1), ac);
  Block block{};
  EXPECT_EQ(pair.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{1, 2}, {3, -6}}));
  EXPECT_EQ(pair.state().eobRun, 0);
  EXPECT_EQ(pair.consumed(), 12);
  // Three blocks, two of which are still to come and cost nothing.
  block.fill(5);
  const Block five = block;
  EXPECT_EQ(pair.decode(block), qlmOk);
  EXPECT_EQ(pair.state().eobRun, 2);
  for (const int32_t left : {1, 0}) {
    const int32_t position = pair.position();
    const int64_t consumed = pair.consumed();
    pair.setMarker(left == 1 ? 0xD9 : 0);
    EXPECT_EQ(pair.decode(block), qlmOk);
    EXPECT_EQ(pair.position(), position);
    EXPECT_EQ(pair.consumed(), consumed);
    EXPECT_EQ(pair.state().eobRun, left);
  }
  EXPECT_EQ(block, five);

  // The longest run.
  ScanDecoder longest(bytesOf("1001" + std::string(14, '1')), acFirst(1, 63, 0), ac);
  EXPECT_EQ(longest.decode(block), qlmOk);
  EXPECT_EQ(longest.state().eobRun, 32766);

  // A band that ends with its last coefficient has no end of band; a ZRL that covers the rest is one.
  ScanDecoder exact(bytesOf("001"
                            "0"
                            "001"
                            "1"
                            "010"
                            "001"
                            "1"),
                    acFirst(5, 6, 0), ac);
  Block pairBlock{};
  EXPECT_EQ(exact.decode(pairBlock), qlmOk);
  EXPECT_EQ(pairBlock, withAll({{5, -1}, {6, 1}}));
  EXPECT_EQ(exact.decode(pairBlock), qlmOk);  // ZRL
  EXPECT_EQ(exact.consumed(), 11);
  ScanDecoder sixteen(bytesOf("010"
                              "001"
                              "1"),
                      acFirst(1, 16, 0), ac);
  EXPECT_EQ(sixteen.decode(block), qlmOk);
  EXPECT_EQ(sixteen.consumed(), 3);
  ScanDecoder seventeen(bytesOf("010"
                                "001"
                                "1"),
                        acFirst(1, 17, 0), ac);
  Block one{};
  EXPECT_EQ(seventeen.decode(one), qlmOk);
  EXPECT_EQ(seventeen.consumed(), 7);
  EXPECT_EQ(one, withAll({{17, 1}}));

  // Fifteen zeros and a value of three bits, from the last position of the band on: beyond Se the block goes on, beyond
  // the block up to eight positions are the last one.
  for (int32_t last = 1; last <= 63; ++last) {
    ScanDecoder over(bytesOf("1010"
                             "110"),
                     acFirst(last, last, 0), ac);
    Block past{};
    EXPECT_EQ(over.decode(past), qlmOk);
    if (last + 15 < 72) {
      EXPECT_EQ(past, withAll({{static_cast<size_t>(std::min(last + 15, 63)), 6}})) << last;
    } else {
      past[63] = 0;
      EXPECT_EQ(past, Block{});
    }
  }
}

TEST(ProgressiveDecode, refinementBitsByHand) {
  const ShortCodes codes{0x00, 0x01, 0xF0, 0x15, 0x10, 0x20};  // 000, 001, 010, 011, 1000, 1001
  const QlmDecodeHuffmanSpec* ac = codes.decoder.spec.data();
  // Symbol 0x15 is read like 0x11: sign 0, the bit of the old -4, a zero passed, the bit of the old 4, then the new -1.
  Block block = withAll({{1, -4}, {3, 4}});
  ScanDecoder pair(bytesOf("011"
                           "0"
                           "1"
                           "0"
                           "000"),
                   acRefine(1, 63, 0), ac);
  EXPECT_EQ(pair.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{1, -5}, {3, 4}, {4, -1}}));
  EXPECT_EQ(pair.state().eobRun, 0);
  EXPECT_EQ(pair.consumed(), 9);

  // A run of four blocks: each costs a bit for every coefficient that is not zero. One that has the bit keeps it.
  ScanDecoder run(bytesOf("1001"
                          "00"
                          "11"
                          "1"
                          ""
                          "01"),
                  acRefine(1, 63, 1), ac);
  block = withAll({{0, 9}, {7, 4}, {63, -4}});
  EXPECT_EQ(run.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{0, 9}, {7, 6}, {63, -6}}));
  EXPECT_EQ(run.state().eobRun, 3);
  block = withAll({{9, 6}});
  EXPECT_EQ(run.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{9, 6}}));
  EXPECT_EQ(run.consumed(), 9);
  block = Block{};
  EXPECT_EQ(run.decode(block), qlmOk);
  EXPECT_EQ(run.consumed(), 9);
  block = withAll({{1, 4}, {2, 12}});
  EXPECT_EQ(run.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{1, 4}, {2, 14}}));
  EXPECT_EQ(run.state().eobRun, 0);

  // ZRL: fifteen zeros and one more, with the old ones between refined.
  block = withAll({{3, 2}});
  ScanDecoder zeros(bytesOf("010"
                            "1"
                            "001"
                            "1"),
                    acRefine(1, 18, 0), ac);
  EXPECT_EQ(zeros.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{3, 3}, {18, 1}}));

  // Al 13: the new values are 8192 and -8192.
  block = Block{};
  ScanDecoder high(bytesOf("001"
                           "1"
                           "001"
                           "0"),
                   acRefine(4, 5, 13), ac);
  EXPECT_EQ(high.decode(block), qlmOk);
  EXPECT_EQ(block, withAll({{4, 8192}, {5, -8192}}));
}

// A shortage within the bits of EOBn leaves its power of two, an unknown code nothing.
TEST(ProgressiveDecode, eobRunAfterAFailure) {
  const ShortCodes codes{0x00, 0x01, 0xE0, 0x40};  // 000, 001, 010, 011
  const QlmDecodeHuffmanSpec* ac = codes.decoder.spec.data();
  for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
    Block block{};
    ScanDecoder ended(bytesOf("010"
                              "10101"),
                      scan, ac);
    EXPECT_EQ(ended.decode(block), qlmErrOutOfBuffer);
    EXPECT_EQ(ended.state().eobRun, 16384);
    ScanDecoder lone({0x55, 0xFF}, scan, ac);
    EXPECT_EQ(lone.decode(block), qlmErrOutOfBuffer);
    EXPECT_EQ(lone.state().eobRun, 16384);
    ScanDecoder marked({0x00}, scan, ac);
    marked.setBits(0x1D, 6);  // 011 101
    marked.setMarker(0xD0);
    EXPECT_EQ(marked.decode(block), qlmErrDctRange);
    EXPECT_EQ(marked.state().eobRun, 16);
    EXPECT_EQ(marked.position(), 0);
    // 1111 is no code.
    for (const size_t more : {3, 30}) {
      ScanDecoder unknown(Bytes(more, 0xF7), scan, ac);
      EXPECT_EQ(unknown.decode(block), qlmErrDctRange);
      EXPECT_EQ(unknown.state().eobRun, 0);
      EXPECT_EQ(block, Block{});
    }
    const Decoder none(HuffmanLists{{}, {0}});
    ScanDecoder empty(Bytes(10, 0), scan, none.spec.data());
    EXPECT_EQ(empty.decode(block), qlmErrDctRange);
  }
}

// A last byte of 0xFF is no matter as long as the bits suffice; neither is a marker.
TEST(ProgressiveDecode, acEndsThatAreNotReached) {
  const ShortCodes codes{0x00};
  for (const Bytes& end : {Bytes{0xFF}, Bytes{0xFF, 0xFF}, Bytes{0xFF, 0xD9}, Bytes{}}) {
    Bytes source{0x00};  // two codes and two bits
    source.insert(source.end(), end.begin(), end.end());
    for (const ScanHeader& scan : {acFirst(1, 63, 0), acRefine(1, 63, 0)}) {
      ScanDecoder pair(source, scan, codes.decoder.spec.data());
      Block block{};
      EXPECT_EQ(pair.decode(block), qlmOk);
      EXPECT_EQ(pair.decode(block), qlmOk);
      const QlmStatus status = pair.decode(block);
      EXPECT_TRUE(status == qlmErrOutOfBuffer || (end.size() == 2 && status == qlmErrDctRange));
      EXPECT_EQ(pair.marker(), end.size() == 2 && end[1] == 0xD9 ? 0xD9 : 0);
    }
  }
}

TEST(ProgressiveDecode, bitPositionsUpTo13) {
  Block block{};
  const uint8_t source[4] = {};
  uint8_t bytes[100];
  int32_t position = 0, marker = 0;
  int16_t lastDC = 0;
  QlmDecodeHuffmanState decoder{};
  QlmEncodeHuffmanState encoder{};
  const QlmDecodeHuffmanSpec* reader = luminance().acDecoder.spec.data();
  const QlmEncodeHuffmanSpec* writer = luminance().acEncoder.spec.data();
  const QlmEncodeHuffmanSpec* dcWriter = luminance().dcEncoder.spec.data();
  for (const auto& [low, status] :
       {std::pair{-1, qlmErrBadArgument}, {0, qlmOk}, {13, qlmOk}, {14, qlmErrBadArgument}}) {
    position = 0;
    lastDC = 0;
    block = {};
    decoder = {};
    encoder = {};
    EXPECT_EQ(qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block.data(), bytes, 100, &position, &lastDC, low, dcWriter,
                                                         &encoder, 0),
              status);
    EXPECT_EQ(qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block.data(), bytes, 100, &position, low, &encoder, 0),
              status);
    EXPECT_EQ(qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source, 4, &position, block.data(), &lastDC, &marker, low,
                                                         luminance().dcDecoder.spec.data(), &decoder),
              status);
    EXPECT_EQ(qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source, 4, &position, block.data(), &marker, low, &decoder),
              status);
    for (const auto& [first, last, bandStatus] : {std::tuple{0, 63, qlmErrBadArgument},
                                                  {1, 63, status},
                                                  {63, 63, status},
                                                  {64, 64, qlmErrBadArgument},
                                                  {5, 4, qlmErrBadArgument},
                                                  {5, 5, status},
                                                  {5, 64, qlmErrBadArgument},
                                                  {-1, 5, qlmErrBadArgument}}) {
      encoder = {};
      position = 0;
      EXPECT_EQ(qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block.data(), bytes, 100, &position, first, last, low,
                                                           writer, &encoder, 0),
                bandStatus);
      EXPECT_EQ(qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block.data(), bytes, 100, &position, first, last, low,
                                                            writer, &encoder, 0),
                bandStatus);
      decoder = {};
      decoder.eobRun = 5;
      EXPECT_EQ(qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(source, 4, &position, block.data(), &marker, first, last,
                                                           low, reader, &decoder),
                bandStatus);
      EXPECT_EQ(qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(source, 4, &position, block.data(), &marker, first, last,
                                                            low, reader, &decoder),
                bandStatus);
      EXPECT_EQ(decoder.eobRun, bandStatus == qlmOk ? 3 : 5);
    }
  }
}

namespace {

// The optimal table of a scan by the library itself; both directions.
HuffmanLists optimalLists(const std::vector<Block>& blocks, const ScanHeader& scan, size_t interval) {
  std::array<int32_t, 256> statistics{};
  QlmEncodeHuffmanState state{};
  int16_t lastDC = 0;
  const Band& band = scan.band;
  const auto count = [&](const int16_t* block, int32_t flush) {
    switch (scan.kind()) {
      case Scan::DCFirst:
        return block ? qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, statistics.data(), &lastDC, band.low)
                     : qlmOk;
      case Scan::ACFirst:
        return qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(block, statistics.data(), band.first, band.last,
                                                               band.low, &state, flush);
      case Scan::ACRefine:
        return qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(block, statistics.data(), band.first, band.last,
                                                                band.low, &state, flush);
      default:
        return qlmOk;
    }
  };
  for (size_t i = 0; i < blocks.size(); ++i) {
    if (interval > 0 && i > 0 && i % interval == 0) {
      EXPECT_EQ(count(nullptr, 1), qlmOk);
      lastDC = 0;
    }
    EXPECT_EQ(count(blocks[i].data(), 0), qlmOk);
  }
  EXPECT_EQ(count(nullptr, 1), qlmOk);
  HuffmanLists lists;
  lists.values.resize(256);
  EXPECT_EQ(qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), lists.counts.data(), lists.values.data()), qlmOk);
  lists.values.resize(std::max(std::accumulate(lists.counts.begin(), lists.counts.end(), size_t{0}), size_t{1}));
  return lists;
}

std::vector<Block> picture(Random& random, size_t count) {
  std::vector<Block> blocks(count);
  const int64_t quiet = random.between(1, 12);  // how many blocks in a row are alike
  for (size_t i = 0; i < count; ++i)
    blocks[i] = random.oneIn(quiet) ? bandBlock(random, 0, random.between(1, 10)) : Block{};
  return blocks;
}

}  // namespace

// Random pictures through random scripts, with the optimal table of each scan; what the decoder holds at the end is the
// picture.
TEST(Progressive, scriptsThereAndBack) {
  Random random(317);
  for (int32_t round = 0; round < 60; ++round) {
    TRACE_SEED(317);
    SCOPED_TRACE(round);
    const std::vector<Block> blocks = picture(random, static_cast<size_t>(random.between(1, 150)));
    std::vector<Block> decoded(blocks.size(), Block{});
    for (const ScanHeader& scan : randomScript(random, static_cast<int32_t>(random.between(0, 13)))) {
      const HuffmanLists lists = optimalLists(blocks, scan, 0);
      const Encoder encoder(lists);
      const Decoder decoder(lists);
      Bytes source = encoded(blocks, scan, encoder.spec.data());
      ASSERT_FALSE(HasFailure());
      if (source.empty()) source.push_back(0);
      ScanDecoder pair(source, scan, decoder.spec.data());
      for (size_t i = 0; i < blocks.size(); ++i) {
        ASSERT_EQ(pair.decode(decoded[i]), qlmOk);
        ASSERT_FALSE(HasFailure());
      }
    }
    ASSERT_EQ(decoded, blocks);
  }
}

// libjpeg-turbo's own files: its tables are the optimal ones, its bytes those of the encoders, and the decoders read
// them back.
TEST(ProgressiveInterop, scansOfScripts) {
  Random random(318);
  for (int32_t round = 0; round < 16; ++round) {
    TRACE_SEED(318);
    SCOPED_TRACE(round);
    const std::vector<Block> blocks = picture(random, 16 * static_cast<size_t>(random.between(1, 90)));
    const Script script = randomScript(random, 5);
    std::vector<test::LibjpegScanHeader> headers;
    for (const ScanHeader& scan : script)
      headers.push_back({scan.band.first, scan.band.last, scan.high, scan.band.low});
    const auto interval = static_cast<uint32_t>(random.oneIn(2) ? random.between(1, 200) : 0);
    const std::vector<test::LibjpegScan> theirs = test::libjpegOptimalScans(blocks, 16, headers, interval);
    ASSERT_EQ(theirs.size(), script.size());

    std::vector<Block> decoded(blocks.size(), Block{});
    for (size_t s = 0; s < script.size(); ++s) {
      SCOPED_TRACE(s);
      const ScanHeader& scan = script[s];
      HuffmanLists lists{{}, {0}};  // none for a DC refinement
      if (scan.kind() != Scan::DCRefine) {
        lists = optimalLists(blocks, scan, interval);
        const HuffmanLists& their = scan.band.last > 0 ? theirs[s].ac : theirs[s].dc;
        ASSERT_EQ(lists.counts, their.counts);
        ASSERT_EQ(lists.values, their.values);
      }
      const Encoder encoder(lists);
      const Decoder decoder(lists);
      const size_t piece = interval ? interval : blocks.size();
      ASSERT_EQ(theirs[s].segments.size(), (blocks.size() + piece - 1) / piece);
      for (size_t i = 0; i < blocks.size(); i += piece) {
        const size_t end = std::min(i + piece, blocks.size());
        const std::vector<Block> part(blocks.begin() + static_cast<ptrdiff_t>(i),
                                      blocks.begin() + static_cast<ptrdiff_t>(end));
        const Bytes& segment = theirs[s].segments[i / piece];
        ASSERT_EQ(encoded(part, scan, encoder.spec.data()), segment);
        ASSERT_FALSE(HasFailure());
        ScanDecoder pair(segment.empty() ? Bytes{0} : segment, scan, decoder.spec.data());
        for (size_t b = i; b < end; ++b) ASSERT_EQ(pair.decode(decoded[b]), qlmOk);
      }
    }
    ASSERT_EQ(decoded, blocks);
  }
}
