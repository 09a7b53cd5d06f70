// Counts of Huffman symbols and the tables made of them (T.81 K.2) against the model, by hand, against what the
// encoders write, and against the tables of libjpeg-turbo.
#include "jpeg/progressive_support.h"
#include "model/jpeg_statistics.h"

using namespace progressive;

namespace {

using Counts = std::array<int32_t, 256>;

Counts countsOf(std::initializer_list<std::pair<size_t, int32_t>> entries) {
  Counts counts{};
  for (const auto& [symbol, count] : entries) counts[symbol] = count;
  return counts;
}

// Two tables of counts between guards; both sides go on from the same numbers.
struct CountPair {
  Guarded<int32_t> counts;
  Counts expected;
  CountPair(Random& random, Edge edge) : counts(256, edge) {
    for (int32_t& n : expected) n = static_cast<int32_t>(random.between(0, 1000));
    std::copy(expected.begin(), expected.end(), counts.begin());
  }
  void compare() const { EXPECT_TRUE(std::equal(expected.begin(), expected.end(), counts.begin())); }
};

// Both AC operations, export and model side by side. Bits that wait in the state are not theirs.
class BandCounter {
 public:
  BandCounter(Random& random, const ScanHeader& scan, Edge edge)
      : scan_(scan), counts_(random, edge), block_(64, edge), state_(1, edge) {
    random.fill(std::span<uint8_t>(expected_.correctionBits));
    expected_.accumulator = random.bits();
    expected_.bitCount = static_cast<int32_t>(random.between(0, 64));
    state_[0] = expected_;
  }
  void setRun(int32_t run, int32_t corrections) {
    state_[0].eobRun = expected_.eobRun = run;
    state_[0].correctionCount = expected_.correctionCount = corrections;
  }
  void clearCounts() {
    counts_.expected.fill(0);
    std::fill(counts_.counts.begin(), counts_.counts.end(), 0);
  }

  QlmStatus count(const Block& block) {
    std::copy(block.begin(), block.end(), block_.begin());
    int32_t* counts = counts_.expected.data();
    return compare(scan_.high ? model::countACRefine(block.data(), counts, scan_.band, expected_)
                              : model::countACFirst(block.data(), counts, scan_.band, expected_),
                   call(block_.data(), 0));
  }
  QlmStatus flush(int32_t flag = 1) {
    return compare(model::countFlush(counts_.expected.data(), expected_), call(nullptr, flag));
  }
  const Counts& counts() const { return counts_.expected; }
  const QlmEncodeHuffmanState& state() const { return expected_; }

 private:
  QlmStatus call(const int16_t* block, int32_t flag) {
    const auto function =
        scan_.high ? qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1 : qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1;
    const Band& band = scan_.band;
    return function(block, counts_.counts.data(), band.first, band.last, band.low, state_.data(), flag);
  }
  QlmStatus compare(QlmStatus expected, QlmStatus got) {
    const QlmEncodeHuffmanState& state = state_[0];
    EXPECT_EQ(got, expected);
    counts_.compare();
    EXPECT_EQ(state.accumulator, expected_.accumulator);
    EXPECT_EQ(state.bitCount, expected_.bitCount);
    EXPECT_EQ(state.eobRun, expected_.eobRun);
    EXPECT_EQ(state.correctionCount, expected_.correctionCount);
    EXPECT_EQ(std::memcmp(state.correctionBits, expected_.correctionBits, sizeof state.correctionBits), 0);
    return expected;
  }

  const ScanHeader scan_;
  CountPair counts_;
  Guarded<int16_t> block_;
  Guarded<QlmEncodeHuffmanState> state_;
  QlmEncodeHuffmanState expected_{};
};

ScanHeader acScan(int32_t first, int32_t last, int32_t low, bool refine) {
  return {{first, last, low}, refine ? low + 1 : 0};
}

ScanHeader anyBand(Random& random, bool refine) {
  const auto low = static_cast<int32_t>(random.oneIn(2) ? random.between(0, 2) : random.between(0, 13));
  const auto first = static_cast<int32_t>(random.oneIn(2) ? 1 : random.between(1, 63));
  const auto last = static_cast<int32_t>(random.oneIn(2) ? 63 : random.between(first, 63));
  return acScan(first, last, low, refine);
}

void checkBand(bool refine, uint64_t stream) {
  Random random(stream);
  for (int32_t segment = 0; segment < 300; ++segment) {
    TRACE_SEED(stream);
    SCOPED_TRACE(segment);
    const ScanHeader scan = anyBand(random, refine);
    BandCounter pair(random, scan, segment % 2 ? Edge::Back : Edge::Front);
    if (segment % 3 == 0)
      pair.setRun(static_cast<int32_t>(random.oneIn(3) ? 0 : random.between(1, 0x7FE0)),
                  static_cast<int32_t>(random.between(0, 937)));
    for (int32_t i = 0; i < 40; ++i)
      pair.count(random.oneIn(3) ? anyBlock(random) : bandBlock(random, scan.band.low, random.between(1, 12)));
    pair.flush();
    ASSERT_FALSE(::testing::Test::HasFailure());
  }
}

Block withAll(std::initializer_list<std::pair<size_t, int16_t>> coefficients) {
  Block block{};
  for (const auto& [k, value] : coefficients) scanAt(block, k) = value;
  return block;
}

// Counts of these blocks and the run at the end, from zero.
Counts counted(const std::vector<Block>& blocks, const ScanHeader& scan) {
  Random random(0);
  BandCounter pair(random, scan, Edge::Back);
  pair.clearCounts();
  for (const Block& block : blocks) EXPECT_EQ(pair.count(block), qlmOk);
  EXPECT_EQ(pair.flush(-1), qlmOk);
  return pair.counts();
}

struct RawTable {
  QlmStatus status;
  std::array<uint8_t, 16> counts;
  std::array<uint8_t, 256> values;
  bool operator==(const RawTable&) const = default;
};

constexpr uint8_t kUntouched = 0xA5;

RawTable rawTable(const Counts& statistics, Edge edge = Edge::Back) {
  const Guarded<int32_t> frequencies(256, edge);
  const Guarded<uint8_t> counts(16, edge), values(256, edge);
  std::copy(statistics.begin(), statistics.end(), frequencies.begin());
  std::fill(counts.begin(), counts.end(), kUntouched);
  std::fill(values.begin(), values.end(), kUntouched);
  RawTable table;
  table.status = qlmiEncodeHuffmanRawTableInit_JPEG_8u(frequencies.data(), counts.data(), values.data());
  std::copy(counts.begin(), counts.end(), table.counts.begin());
  std::copy(values.begin(), values.end(), table.values.begin());
  EXPECT_TRUE(std::equal(statistics.begin(), statistics.end(), frequencies.begin()));
  return table;
}

RawTable expectedTable(const Counts& statistics) {
  RawTable table;
  table.counts.fill(kUntouched);
  table.values.fill(kUntouched);
  table.status = model::optimalTable(statistics.data(), table.counts.data(), table.values.data());
  return table;
}

RawTable tableOf(std::initializer_list<uint8_t> counts, std::initializer_list<uint8_t> values) {
  RawTable table{qlmOk, {}, {}};
  std::copy(counts.begin(), counts.end(), table.counts.begin());
  table.values.fill(kUntouched);
  std::copy(values.begin(), values.end(), table.values.begin());
  return table;
}

size_t codesOf(const RawTable& table) { return std::accumulate(table.counts.begin(), table.counts.end(), size_t{0}); }

}  // namespace

TEST(Model, qlmiGetHuffmanStatisticsOne_JPEG_16s_C1) {
  Random random(401);
  CountPair pair(random, Edge::Back);
  const Guarded<int16_t> value(1);
  for (int32_t v = -32768; v <= 32767; ++v) {
    value[0] = static_cast<int16_t>(v);
    ASSERT_EQ(qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(value.data(), pair.counts.data()),
              model::countOne(static_cast<int16_t>(v), pair.expected.data()));
  }
  pair.compare();
}

TEST(Model, qlmiGetHuffmanStatistics8x8_JPEG_16s_C1) {
  Random random(402);
  for (int32_t segment = 0; segment < 200; ++segment) {
    TRACE_SEED(402);
    SCOPED_TRACE(segment);
    const Edge edge = segment % 2 ? Edge::Back : Edge::Front;
    CountPair dc(random, edge), ac(random, edge);
    const Guarded<int16_t> block(64, edge), lastDC(1, edge);
    int16_t expectedLastDC = lastDC[0] = static_cast<int16_t>(random.bits());
    for (int32_t i = 0; i < 40; ++i) {
      Block values = random.oneIn(2) ? anyBlock(random) : bandBlock(random, 0, random.between(1, 15));
      if (random.oneIn(4))
        for (int16_t& v : values) v = static_cast<int16_t>(random.oneIn(9) ? -32768 : v);
      std::copy(values.begin(), values.end(), block.begin());
      EXPECT_EQ(
          qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc.counts.data(), ac.counts.data(), lastDC.data()),
          model::countBlock(values.data(), dc.expected.data(), ac.expected.data(), expectedLastDC));
      EXPECT_EQ(lastDC[0], expectedLastDC);
      dc.compare();
      ac.compare();
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST(Model, qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1) {
  Random random(403);
  for (int32_t low = 0; low <= 13; ++low) {
    TRACE_SEED(403);
    CountPair pair(random, low % 2 ? Edge::Back : Edge::Front);
    const Guarded<int16_t> block(64), lastDC(1);
    int16_t expectedLastDC = 0;
    for (int32_t i = 0; i < 2000; ++i) {
      const int64_t bits = random.between(0, 15);
      block[0] = static_cast<int16_t>(random.between(-(1 << bits), (1 << bits) - 1));
      EXPECT_EQ(qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.data(), pair.counts.data(), lastDC.data(), low),
                model::countDCFirst(block.data(), pair.expected.data(), expectedLastDC, low));
      EXPECT_EQ(lastDC[0], expectedLastDC);
      ASSERT_FALSE(HasFailure());
    }
    pair.compare();
  }
}

TEST(Model, qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1) { checkBand(false, 404); }
TEST(Model, qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1) { checkBand(true, 405); }

TEST(Model, qlmiEncodeHuffmanRawTableInit_JPEG_8u) {
  Random random(406);
  for (int32_t round = 0; round < 3000; ++round) {
    TRACE_SEED(406);
    SCOPED_TRACE(round);
    Counts statistics{};
    const int64_t symbols = random.between(0, 256), shape = random.between(0, 4);
    double grow = 1;
    for (int64_t n = 0; n < symbols; ++n) {
      auto& count = statistics[static_cast<size_t>(random.between(0, 255))];
      switch (shape) {
        case 0:  // many ties
          count = static_cast<int32_t>(random.between(0, 3));
          break;
        case 1:
          count = static_cast<int32_t>(random.between(0, 3000000));
          break;
        case 2:  // as far apart as counts are in a picture
          count = static_cast<int32_t>(int64_t{1} << random.between(0, 21));
          break;
        case 3:  // towards the longest codes; what would pass the ceiling stays out
          grow *= 1.3 + 0.05 * static_cast<double>(random.between(0, 12));
          if (grow < 2e8) count = static_cast<int32_t>(grow);
          break;
        default:
          count = 1;
      }
    }
    const RawTable expected = expectedTable(statistics);
    EXPECT_EQ(rawTable(statistics, round % 2 ? Edge::Back : Edge::Front), expected);
    ASSERT_FALSE(HasFailure());
    if (expected.status != qlmOk) continue;
    // Every symbol that occurs is listed, and the lists are a table.
    EXPECT_EQ(codesOf(expected), static_cast<size_t>(256 - std::count(statistics.begin(), statistics.end(), 0)));
    QlmEncodeHuffmanSpec spec;
    EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(expected.counts.data(), expected.values.data(), &spec), qlmOk);
    for (size_t s = 0; s < 256; ++s) EXPECT_EQ(spec.codes[s] != 0, statistics[s] != 0);
  }
}

TEST(Statistics, oneByHand) {
  Counts counts{};
  for (const int16_t v : {0, 1, -1, 2, -3, 255, 256, -256, 32767, -32768, -32767}) {
    EXPECT_EQ(qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(&v, counts.data()), qlmOk);
  }
  EXPECT_EQ(counts, countsOf({{0, 1}, {1, 2}, {2, 2}, {8, 1}, {9, 2}, {15, 2}, {16, 1}}));
}

TEST(Statistics, sequentialByHand) {
  Counts dc{}, ac{};
  int16_t lastDC = 0;
  const auto count = [&](const Block& block) {
    return qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(block.data(), dc.data(), ac.data(), &lastDC);
  };
  EXPECT_EQ(count(withAll({{0, 5}, {1, -2}, {18, 1}, {63, 16383}})), qlmOk);
  EXPECT_EQ(dc, countsOf({{3, 1}}));
  EXPECT_EQ(ac, countsOf({{0x02, 1}, {0x01, 1}, {0xF0, 3}, {0xCE, 1}}));
  EXPECT_EQ(count(withAll({{0, 5}})), qlmOk);
  EXPECT_EQ(dc, countsOf({{0, 1}, {3, 1}}));
  EXPECT_EQ(ac[0], 1);

  // Coefficients of more than 14 bits are refused, the runs of sixteen before them count already.
  for (const int16_t value : {int16_t{16384}, int16_t{-16384}, int16_t{32767}, int16_t{-32768}}) {
    ac.fill(0);
    EXPECT_EQ(count(withAll({{0, 5}, {40, value}})), qlmErrDctRange);
    EXPECT_EQ(ac, countsOf({{0xF0, 2}}));
  }
  // DC differences of 12 to 15 bits count, those of 16 do not; the last DC changes all the same.
  dc.fill(0);
  lastDC = 0;
  for (const int16_t value : {2048, 6144, -2048, 14336}) {  // 2048, 4096, -8192, 16384
    EXPECT_EQ(count(withAll({{0, value}})), qlmOk);
  }
  EXPECT_EQ(dc, countsOf({{12, 1}, {13, 1}, {14, 1}, {15, 1}}));
  lastDC = -16384;
  EXPECT_EQ(count(withAll({{0, 16383}})), qlmOk);
  EXPECT_EQ(dc[15], 2);
  lastDC = -16384;
  dc.fill(0);
  EXPECT_EQ(count(withAll({{0, 16384}, {1, 1}})), qlmErrDctRange);
  EXPECT_EQ(lastDC, 16384);
  EXPECT_EQ(dc, Counts{});
}

TEST(Statistics, dcFirstByHand) {
  Counts dc{};
  int16_t lastDC = 0;
  const auto count = [&](int16_t value, int32_t low) {
    const Block block = withCoefficient(0, value);
    return qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block.data(), dc.data(), &lastDC, low);
  };
  EXPECT_EQ(count(-1, 2), qlmOk);  // -1 shr 2 is -1
  EXPECT_EQ(lastDC, -1);
  EXPECT_EQ(count(2046, 0), qlmOk);  // 2047
  EXPECT_EQ(dc, countsOf({{1, 1}, {11, 1}}));
  for (const int32_t difference : {2048, -2048, 4096, 16384, 30000}) {
    lastDC = -5;
    EXPECT_EQ(count(static_cast<int16_t>(difference - 5), 0), qlmErrDctRange);
    EXPECT_EQ(lastDC, difference - 5);
  }
  lastDC = 0;
  EXPECT_EQ(count(-32768, 13), qlmOk);
  EXPECT_EQ(lastDC, -4);
  EXPECT_EQ(dc, countsOf({{1, 1}, {3, 1}, {11, 1}}));
  EXPECT_EQ(count(0, 14), qlmErrBadArgument);
  EXPECT_EQ(count(0, -1), qlmErrBadArgument);
}

TEST(Statistics, acFirstByHand) {
  // A zero and -3, sixteen zeros and 1, then a run of two blocks: that one's rest and an empty one.
  EXPECT_EQ(counted({withAll({{2, -3}, {19, 1}}), Block{}}, acScan(1, 63, 0, false)),
            countsOf({{0x12, 1}, {0xF0, 1}, {0x01, 1}, {0x10, 1}}));
  EXPECT_EQ(counted({Block{}}, acScan(1, 63, 0, false)), countsOf({{0x00, 1}}));
  // By magnitude: -7 shr 2 is 1, -3 is nothing.
  EXPECT_EQ(counted({withAll({{1, -7}, {2, -3}})}, acScan(1, 2, 2, false)), countsOf({{0x01, 1}, {0x00, 1}}));
  // One bit fewer than the encoder takes: 1023 counts, 1024 does not.
  Random random(0);
  for (const bool shifted : {false, true}) {
    BandCounter pair(random, acScan(1, 63, shifted ? 3 : 0, false), Edge::Back);
    pair.clearCounts();
    EXPECT_EQ(pair.count(Block{}), qlmOk);
    EXPECT_EQ(pair.count(withAll({{20, static_cast<int16_t>(shifted ? 1024 * 8 : 1024)}})), qlmErrDctRange);
    EXPECT_EQ(pair.counts(), countsOf({{0x00, 1}, {0xF0, 1}}));
    EXPECT_EQ(pair.state().eobRun, 0);
    EXPECT_EQ(pair.count(withAll({{20, static_cast<int16_t>(shifted ? -1023 * 8 - 7 : -1023)}})), qlmOk);
    EXPECT_EQ(pair.counts(), countsOf({{0x00, 1}, {0xF0, 2}, {0x3A, 1}}));
  }
  ScanEncoder encoder(100, acScan(20, 20, 0, false), complete().acEncoder.spec.data());
  EXPECT_EQ(encoder.encode(withAll({{20, 1024}})), qlmOk);
}

TEST(Statistics, acRefineByHand) {
  const ScanHeader scan = acScan(1, 63, 0, true);
  EXPECT_EQ(counted({withAll({{1, 2}, {3, 1}, {40, 5}})}, scan), countsOf({{0x11, 1}, {0x00, 1}}));
  // Old ones in between are not zeros; a run of sixteen before the last new one is a ZRL.
  EXPECT_EQ(counted({withAll({{3, 3}, {18, -1}})}, scan), countsOf({{0xF0, 1}, {0x01, 1}, {0x00, 1}}));
  EXPECT_EQ(counted({withAll({{3, 3}, {19, 2}, {20, -1}})}, scan), countsOf({{0xF0, 1}, {0x11, 1}, {0x00, 1}}));
  EXPECT_EQ(counted({withAll({{1, 1}, {50, 3}})}, scan), countsOf({{0x01, 1}, {0x00, 1}}));
  // 937 correction bits wait, the next forces the run out.
  Random random(0);
  BandCounter pair(random, scan, Edge::Back);
  pair.clearCounts();
  for (int32_t i = 0; i < 937; ++i) EXPECT_EQ(pair.count(withAll({{5, 2}})), qlmOk);
  EXPECT_EQ(pair.state().eobRun, 937);
  EXPECT_EQ(pair.state().correctionCount, 937);
  EXPECT_EQ(pair.counts(), Counts{});
  EXPECT_EQ(pair.count(withAll({{5, 2}})), qlmOk);
  EXPECT_EQ(pair.counts(), countsOf({{0x90, 1}}));
  EXPECT_EQ(pair.state().eobRun, 0);
  EXPECT_EQ(pair.state().correctionCount, 0);
}

TEST(Statistics, runs) {
  Random random(0);
  for (const bool refine : {false, true}) {
    const ScanHeader scan = acScan(1, 63, 0, refine);
    BandCounter longest(random, scan, Edge::Back);
    longest.clearCounts();
    for (int32_t i = 1; i < 0x7FFF; ++i) longest.count(Block{});
    EXPECT_EQ(longest.state().eobRun, 0x7FFE);
    EXPECT_EQ(longest.counts(), Counts{});
    EXPECT_EQ(longest.count(Block{}), qlmOk);
    EXPECT_EQ(longest.state().eobRun, 0);
    EXPECT_EQ(longest.counts(), countsOf({{0xE0, 1}}));
    ASSERT_FALSE(HasFailure());

    for (const auto& [run, counts] : std::map<int32_t, Counts>{{0, Counts{}},
                                                               {1, countsOf({{0x00, 1}})},
                                                               {2, countsOf({{0x10, 1}})},
                                                               {3, countsOf({{0x10, 1}})},
                                                               {4, countsOf({{0x20, 1}})},
                                                               {0x3FFF, countsOf({{0xD0, 1}})},
                                                               {0x4000, countsOf({{0xE0, 1}})},
                                                               {0x7FFF, countsOf({{0xE0, 1}})},
                                                               {0x8000, countsOf({{0xE0, 1}, {0x00, 1}})},
                                                               {0x8001, countsOf({{0xE0, 1}, {0x10, 1}})},
                                                               {0xFFFE, countsOf({{0xE0, 2}})},
                                                               {0xFFFF, countsOf({{0xE0, 1}})},
                                                               {0x7FFFFFFF, countsOf({{0xE0, 1}})}}) {
      for (const bool flush : {false, true}) {
        BandCounter pair(random, scan, Edge::Back);
        pair.clearCounts();
        pair.setRun(run, 7);
        // What is left beyond the largest run must fit one symbol. The flush resets the state all the same.
        const QlmStatus status = run > 0xFFFE ? qlmErrDctRange : qlmOk;
        if (flush) {
          EXPECT_EQ(pair.flush(), status);
          EXPECT_EQ(pair.counts(), counts);
          EXPECT_EQ(pair.state().correctionCount, 0);
          EXPECT_EQ(pair.state().eobRun, 0);
          EXPECT_EQ(pair.state().bitCount, 0);
        } else {
          EXPECT_EQ(pair.count(withAll({{1, 1}, {63, 1}})), status);
        }
        ASSERT_FALSE(HasFailure()) << run << ' ' << flush;
      }
    }
  }
}

// The lengths of all symbols counted, with the bits that follow each, are what the encoder writes.
TEST(Statistics, countsAreWhatTheEncoderWrites) {
  Random random(407);
  const HuffmanLists lists = randomLists(random, symbolsBelow(256), 1);
  const Encoder table(lists);
  for (int32_t round = 0; round < 400; ++round) {
    TRACE_SEED(407);
    const bool refine = round % 2;
    const ScanHeader scan = anyBand(random, refine);
    std::vector<Block> blocks(static_cast<size_t>(random.between(1, 60)));
    const bool old = random.oneIn(3);  // long runs with correction bits
    for (Block& block : blocks) {
      if (!random.oneIn(3)) block = bandBlock(random, scan.band.low, 10);
      if (old)
        for (int16_t& v : block) v = static_cast<int16_t>(std::min(4 << scan.band.low, 32767));
    }
    const Counts counts = counted(blocks, scan);
    int64_t bits = 0;
    for (size_t s = 0; s < 256; ++s) {
      const size_t value = (s & 15) ? s & 15 : s == 0xF0 ? 0 : s >> 4;
      bits += counts[s] * static_cast<int64_t>((table.spec[0].codes[s] >> 16) + value);
    }
    if (refine)
      for (const Block& block : blocks)
        for (int32_t k = scan.band.first; k <= scan.band.last; ++k)
          bits += std::abs(int32_t{block[static_cast<size_t>(model::naturalIndex(k))]}) >> scan.band.low > 1;
    const Bytes written = scanBytes(blocks, scan, table.spec.data());
    const auto length = static_cast<int32_t>(written.size());
    ASSERT_EQ(model::dataBits(written.data(), length, 0, length), (bits + 7) / 8 * 8);
  }
}

TEST(OptimalTable, byHand) {
  // Nothing to code.
  EXPECT_EQ(rawTable(Counts{}), tableOf({}, {}));
  // One symbol pairs with the reserved one.
  for (const int32_t count : {1, 77, 1000000000}) EXPECT_EQ(rawTable(countsOf({{0x42, count}})), tableOf({1}, {0x42}));
  // Of two equally frequent ones the higher goes with the reserved one, and deeper.
  EXPECT_EQ(rawTable(countsOf({{3, 5}, {7, 5}})), tableOf({1, 1}, {3, 7}));
  EXPECT_EQ(rawTable(countsOf({{3, 1}, {7, 1}})), tableOf({1, 1}, {3, 7}));
  EXPECT_EQ(rawTable(countsOf({{3, 5}, {7, 6}})), tableOf({1, 1}, {7, 3}));
  // Three of one: 255 with the reserved one (2), then 1 and 0 (2), then both; 0 and 1 have two bits, 255 has two.
  EXPECT_EQ(rawTable(countsOf({{0, 1}, {1, 1}, {255, 1}})), tableOf({0, 3}, {0, 1, 255}));
  // 1, 2 and 4: one bit, two, three; the reserved one beside the rarest.
  EXPECT_EQ(rawTable(countsOf({{9, 1}, {8, 2}, {7, 4}})), tableOf({1, 1, 1}, {7, 8, 9}));
  // All symbols alike: 257 leaves are 255 of eight bits and two of nine, one of which is reserved.
  Counts alike;
  alike.fill(1);
  const RawTable table = rawTable(alike);
  EXPECT_EQ(table.counts, (std::array<uint8_t, 16>{0, 0, 0, 0, 0, 0, 0, 255, 1}));
  EXPECT_EQ(table.values[0], 0);
  EXPECT_EQ(table.values[254], 254);
  EXPECT_EQ(table.values[255], 255);
}

// Counts above 1000000000, also merged ones, are never picked: the loop ends early.
TEST(OptimalTable, ceiling) {
  EXPECT_EQ(rawTable(countsOf({{5, 1000000001}})), tableOf({}, {}));
  EXPECT_EQ(rawTable(countsOf({{5, 1000000001}, {6, 3}})), tableOf({1}, {6}));
  // 6 goes with the reserved symbol, 1000000001 together, and 5 finds no partner.
  EXPECT_EQ(rawTable(countsOf({{5, 1000000000}, {6, 1000000000}})), tableOf({1}, {6}));
  EXPECT_EQ(rawTable(countsOf({{5, 1000000000}, {6, 999999999}})), tableOf({1, 1}, {5, 6}));
  EXPECT_EQ(rawTable(countsOf({{1, 2147483647}, {2, 2147483647}, {3, 2147483647}})), tableOf({}, {}));
  Random random(409);
  for (int32_t round = 0; round < 300; ++round) {
    Counts statistics{};
    for (int64_t n = random.between(1, 6); n > 0; --n) {
      const int64_t half = random.oneIn(2) ? 500000000 : 1000000000;
      statistics[static_cast<size_t>(random.between(0, 255))] = static_cast<int32_t>(half + random.between(-2, 2));
    }
    ASSERT_EQ(rawTable(statistics), expectedTable(statistics));
  }
}

// Each symbol weighs about as much as all before it: the codes grow by a bit with each. Those of more than 16 bits are
// shortened, in their order; beyond 32 there is no table, and the lists stay as they were.
TEST(OptimalTable, longestCodes) {
  Counts statistics{};
  int32_t a = 1, b = 1;
  for (size_t n = 1; n <= 36; ++n) {
    statistics[100 - n] = b;
    b = std::exchange(a, a + b);
    const RawTable expected = expectedTable(statistics);
    const RawTable table = rawTable(statistics);
    ASSERT_EQ(table, expected) << n;
    if (n <= 16) {
      for (size_t length = 1; length <= n; ++length) EXPECT_EQ(table.counts[length - 1], 1) << n;
    }
    if (n > 1 && n <= 32) {
      EXPECT_EQ(table.status, qlmOk);
      EXPECT_EQ(codesOf(table), n);
      for (size_t i = 2; i < n; ++i) EXPECT_EQ(table.values[i], 100 - n + i) << n;
    }
    if (n > 32) {
      EXPECT_EQ(table.status, qlmErrHuffTable);
      EXPECT_EQ(table.counts[0], kUntouched);
      EXPECT_EQ(table.values[0], kUntouched);
    }
  }
}

// A sequential file with the tables that libjpeg-turbo made for it: counted, built and written by the library.
TEST(StatisticsInterop, sequentialFiles) {
  Random random(408);
  for (int32_t round = 0; round < 30; ++round) {
    TRACE_SEED(408);
    std::vector<Block> blocks(16 * static_cast<size_t>(random.between(1, 40)));
    for (Block& block : blocks)
      block = random.oneIn(3) ? anyBlock(random) : bandBlock(random, 0, random.between(1, 10));
    for (Block& block : blocks)
      for (int16_t& v : block) v = std::clamp<int16_t>(v, -1023, 1023);
    const auto interval = static_cast<uint32_t>(random.oneIn(2) ? random.between(1, 50) : 0);
    const std::vector<test::LibjpegScan> theirs = test::libjpegOptimalScans(blocks, 16, {}, interval);
    ASSERT_EQ(theirs.size(), 1u);

    Counts dc{}, ac{};
    int16_t lastDC = 0;
    const size_t piece = interval ? interval : blocks.size();
    for (size_t i = 0; i < blocks.size(); ++i) {
      if (i % piece == 0) lastDC = 0;
      ASSERT_EQ(qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(blocks[i].data(), dc.data(), ac.data(), &lastDC), qlmOk);
    }
    HuffmanLists lists[2];
    const test::HuffmanLists* their[2] = {&theirs[0].dc, &theirs[0].ac};
    for (size_t t = 0; t < 2; ++t) {
      const RawTable table = rawTable(t ? ac : dc);
      ASSERT_EQ(table.status, qlmOk);
      lists[t] = {table.counts, {table.values.begin(), table.values.begin() + static_cast<ptrdiff_t>(codesOf(table))}};
      ASSERT_EQ(lists[t].counts, their[t]->counts);
      ASSERT_EQ(lists[t].values, their[t]->values);
    }
    const Tables tables(lists[0], lists[1]);
    for (size_t i = 0; i < blocks.size(); i += piece) {
      EncoderPair pair(100000, tables);
      for (size_t b = i; b < std::min(i + piece, blocks.size()); ++b) ASSERT_EQ(pair.encode(blocks[b]), qlmOk);
      ASSERT_EQ(pair.flush(), qlmOk);
      ASSERT_EQ(pair.bytes(), theirs[0].segments[i / piece]);
      ASSERT_FALSE(HasFailure());
    }
  }
}
