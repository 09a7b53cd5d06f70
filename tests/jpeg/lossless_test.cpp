// Lossless prediction and the coding of differences (T.81 Annex H) against the model, and by hand.
#include "jpeg/huffman_support.h"
#include "model/jpeg_lossless.h"
#include "support/placed.h"

#include <climits>
#include <functional>
#include <optional>
#include <string>

using namespace huffman;
using test::Data;
using test::Place;
using test::Placed;
using test::placeOf;
using Row = std::vector<int16_t>;

namespace {

constexpr int32_t kPredictors[] = {1, 2, 3, 4, 5, 6, 7};

std::vector<int32_t> widths() {
  std::vector<int32_t> all(67);
  std::iota(all.begin(), all.end(), 1);
  all.insert(all.end(), {95, 96, 97, 255, 256, 257, 1000, 4099});
  return all;
}

Row rowOf(Random& random, int32_t width, Data kind) {
  Row row(static_cast<size_t>(width));
  test::fillData(std::span(row), kind, random);
  return row;
}

// A row at one of the 64 places: all distances from 0 to 31 bytes to a guard page on either side.
Placed<int16_t> placed(const Row& row, size_t round, size_t buffer) {
  const Place place = placeOf(round, buffer);
  Placed<int16_t> to(row.size(), 1, 0, place.slack, place.edge);
  to.set(row);
  return to;
}

using FirstRow = QlmStatus(const int16_t*, int16_t*, int32_t, int32_t, int32_t);
using FirstRowModel = void(const int16_t*, int16_t*, int32_t, int32_t, int32_t);
using LaterRow = QlmStatus(const int16_t*, const int16_t*, int16_t*, int32_t, int32_t);
using LaterRowModel = void(const int16_t*, const int16_t*, int16_t*, int32_t, int32_t);

void compareFirstRow(FirstRow* function, FirstRowModel* model, const Row& src, int32_t precision,
                     int32_t pointTransform, size_t round) {
  const auto width = static_cast<int32_t>(src.size());
  const Placed<int16_t> source = placed(src, round, 0), destination = placed(src, round, 1);
  Placed<int16_t> expected = placed(src, round, 1);
  const std::vector<uint8_t> before = source.snapshot();
  Row want(src.size());
  model(src.data(), want.data(), width, precision, pointTransform);
  expected.set(want);
  ASSERT_EQ(function(source.data(), destination.data(), width, precision, pointTransform), qlmOk);
  ASSERT_TRUE(test::sameBytes(expected.snapshot(), destination.snapshot())) << precision << ' ' << pointTransform;
  ASSERT_TRUE(test::sameBytes(before, source.snapshot()));
}

void checkFirstRow(FirstRow* function, FirstRowModel* model) {
  Random random(501);
  size_t round = 0;
  for (const int32_t width : widths()) {
    for (const Data kind : test::kAllData) {
      for (size_t i = 0; i < 13; ++i, ++round) {
        const auto precision = static_cast<int32_t>(2 + round % 15);
        const auto transform = static_cast<int32_t>(round % 37);
        compareFirstRow(function, model, rowOf(random, width, kind), precision, transform, round);
        ASSERT_FALSE(::testing::Test::HasFailure()) << width;
      }
    }
  }
  for (int32_t precision = 2; precision <= 16; ++precision) {
    for (const int32_t transform :
         {0, 1, 2, 7, 15, 16, 17, 31, 32, 33, 47, 48, 63, 64, 65, 1000000007, INT_MAX - 1, INT_MAX})
      compareFirstRow(function, model, rowOf(random, 3, Data::Noise), precision, transform, 0);
  }
}

void checkLaterRow(LaterRow* function, LaterRowModel* model) {
  Random random(502);
  size_t round = 0;
  for (const int32_t width : widths()) {
    for (const int32_t predictor : kPredictors) {
      for (const Data kind : test::kAllData) {
        for (const Data above : {kind, Data::Noise, Data::AllMin, Data::AllMax}) {
          ++round;
          TRACE_SEED(502);
          SCOPED_TRACE(::testing::Message() << "width " << width << " predictor " << predictor);
          const Row src = rowOf(random, width, kind), previous = rowOf(random, width, above);
          const Placed<int16_t> a = placed(src, round, 0), b = placed(previous, round, 2);
          const Placed<int16_t> destination = placed(previous, round, 1);
          Placed<int16_t> expected = placed(previous, round, 1);
          Row want(src.size());
          model(src.data(), previous.data(), want.data(), width, predictor);
          expected.set(want);
          const auto beforeA = a.snapshot(), beforeB = b.snapshot();
          ASSERT_EQ(function(a.data(), b.data(), destination.data(), width, predictor), qlmOk);
          ASSERT_TRUE(test::sameBytes(expected.snapshot(), destination.snapshot()));
          ASSERT_TRUE(test::sameBytes(beforeA, a.snapshot()));
          ASSERT_TRUE(test::sameBytes(beforeB, b.snapshot()));
        }
      }
    }
  }
}

// Runs export and model over copies of one arena, in which the rows may lie over each other. Offsets count elements.
template <typename Call, typename Model>
void compareInArena(Random& random, const Call& call, const Model& model) {
  const Guarded<int16_t> arena(1200);
  random.fill(arena.span());
  std::vector<int16_t> expected(arena.begin(), arena.end());
  model(expected.data());
  ASSERT_EQ(call(arena.data()), qlmOk);
  ASSERT_TRUE(std::equal(arena.begin(), arena.end(), expected.begin()));
}

// Rows between guard pages, and arrays of just as many pointers: an entry that is not to be looked at is out of reach.
template <typename Spec>
struct RowBuffers {
  std::vector<Guarded<int16_t>> rows;
  Guarded<int16_t*> pointers;
  Guarded<const Spec*> tables;
  RowBuffers(size_t count, size_t width, Edge edge) : pointers(count), tables(count) {
    for (size_t c = 0; c < count; ++c) {
      rows.emplace_back(width, edge);
      pointers[c] = rows[c].data();
    }
  }
  bool fits(size_t count, size_t width) const { return rows.size() == count && rows[0].size() == width; }
};

// An export and its model that code the same values and rows into rooms of the same length.
class SampleEncoder {
 public:
  explicit SampleEncoder(int32_t room, Edge edge = Edge::Back) : bytes_(static_cast<size_t>(room), edge) {
    expectedBytes_.resize(static_cast<size_t>(room));
    qlmiEncodeHuffmanStateInit_JPEG_8u(state_.data());
    model::encodeStateInit(expected_);
  }
  void setPosition(int32_t position) { position_ = expectedPosition_ = position; }

  QlmStatus encode(int16_t value, const QlmEncodeHuffmanSpec* table) {
    value_[0] = value;
    const QlmStatus expected = model::encodeOne(value, out(), *table, expected_);
    const QlmStatus got =
        qlmiEncodeHuffmanOne_JPEG_16s1u_C1(value_.data(), bytes_.data(), length(), &position_, table, state_.data(), 0);
    EXPECT_EQ(got, expected);
    compare();
    return expected;
  }

  // Beyond the fourth, rows and tables are null.
  QlmStatus encodeRows(const std::vector<Row>& rows, const std::vector<const QlmEncodeHuffmanSpec*>& tables,
                       int32_t rowCount) {
    const auto width = static_cast<int32_t>(rows[0].size());
    const size_t coded = rows.size();
    if (!buffers_ || !buffers_->fits(coded, rows[0].size())) buffers_.emplace(coded, rows[0].size(), Edge::Back);
    for (size_t c = 0; c < coded; ++c) {
      std::copy(rows[c].begin(), rows[c].end(), buffers_->rows[c].begin());
      buffers_->tables[c] = tables[c];
    }
    bool missing = false;
    const QlmStatus expected =
        model::encodeRow(buffers_->pointers.data(), {width, rowCount}, out(), tables.data(), expected_, &missing);
    const QlmStatus got =
        qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(buffers_->pointers.data(), width, rowCount, bytes_.data(), length(),
                                             &position_, buffers_->tables.data(), state_.data(), 0);
    // With both reasons in one row either may be met first, unless it goes append by append.
    if (expected == qlmErrOutOfBuffer && missing && rowCount <= 4) {
      EXPECT_TRUE(got == qlmErrOutOfBuffer || got == qlmErrHuffTable);
    } else {
      EXPECT_EQ(got, expected);
    }
    for (size_t c = 0; c < coded; ++c)
      EXPECT_TRUE(std::equal(rows[c].begin(), rows[c].end(), buffers_->rows[c].begin()));
    compare();
    return expected;
  }

  QlmStatus flush(bool row) {
    const QlmStatus expected = model::flushBits(out(), expected_);
    const QlmStatus got = row ? qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, bytes_.data(), length(), &position_,
                                                                     nullptr, state_.data(), -1)
                              : qlmiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, bytes_.data(), length(), &position_,
                                                                   nullptr, state_.data(), 256);
    EXPECT_EQ(got, expected);
    compare();
    return expected;
  }

  Bytes bytes() const { return {expectedBytes_.begin(), expectedBytes_.begin() + expectedPosition_}; }
  int32_t position() const { return expectedPosition_; }
  const QlmEncodeHuffmanState& state() const { return expected_; }

 private:
  int32_t length() const { return static_cast<int32_t>(expectedBytes_.size()); }
  model::Output out() { return {expectedBytes_.data(), length(), &expectedPosition_}; }

  void compare() {
    EXPECT_EQ(position_, expectedPosition_);
    EXPECT_EQ(state_[0].bitCount, expected_.bitCount);
    EXPECT_EQ(pendingBits(state_[0]), pendingBits(expected_));
    EXPECT_EQ(std::memcmp(bytes_.data(), expectedBytes_.data(), static_cast<size_t>(expectedPosition_)), 0);
  }

  Guarded<uint8_t> bytes_;
  Guarded<int16_t> value_{1};
  Guarded<QlmEncodeHuffmanState> state_{1};
  std::optional<RowBuffers<QlmEncodeHuffmanSpec>> buffers_;
  int32_t position_ = 0;
  Bytes expectedBytes_;
  QlmEncodeHuffmanState expected_;
  int32_t expectedPosition_ = 0;
};

// An export and its model that decode the same source.
class SampleDecoder {
 public:
  explicit SampleDecoder(const Bytes& source, Edge edge = Edge::Back) : source_(source.size(), edge) {
    std::copy(source.begin(), source.end(), source_.begin());
    qlmiDecodeHuffmanStateInit_JPEG_8u(state_.data());
    model::decodeStateInit(expected_);
  }
  void setBits(uint32_t bits, int32_t count) {
    state_[0].accumulator = expected_.accumulator = bits;
    state_[0].bitCount = expected_.bitCount = count;
  }
  void setPosition(int32_t position) { position_ = expectedPosition_ = position; }
  void setMarker(int32_t marker) { marker_ = expectedMarker_ = marker; }

  QlmStatus decode(const QlmDecodeHuffmanSpec* table, int16_t& value) {
    value_[0] = value;
    const QlmStatus expected = model::decodeOne(in(), value, *table, expected_);
    const QlmStatus got = qlmiDecodeHuffmanOne_JPEG_1u16s_C1(source_.data(), length(), &position_, value_.data(),
                                                             &marker_, table, state_.data());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(value_[0], value);
    compare();
    return expected;
  }

  // Decodes into as many rows as there are tables, each of which has a guard page. Samples behind a failing one may
  // hold anything: the fast route may have got further than the careful one.
  QlmStatus decodeRows(std::vector<Row>& rows, const std::vector<const QlmDecodeHuffmanSpec*>& tables, int32_t width,
                       int32_t rowCount, Edge edge = Edge::Back) {
    const size_t coded = tables.size();
    rows.assign(coded, Row(static_cast<size_t>(width), 0x5A5A));
    if (!buffers_ || !buffers_->fits(coded, rows[0].size())) buffers_.emplace(coded, rows[0].size(), edge);
    std::vector<int16_t*> expectedPointers;
    for (size_t c = 0; c < coded; ++c) {
      expectedPointers.push_back(rows[c].data());
      buffers_->tables[c] = tables[c];
    }
    const model::RowShape shape{width, rowCount};
    int64_t done = int64_t{width} * static_cast<int64_t>(coded);
    wasFast_ = model::decodeRowFast(in(), expectedPointers.data(), shape, tables.data(), expected_);
    const QlmStatus expected =
        wasFast_ ? qlmOk
                 : model::decodeRowCareful(in(), expectedPointers.data(), shape, tables.data(), expected_, &done);
    const QlmStatus got =
        qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4(source_.data(), length(), &position_, buffers_->pointers.data(), width,
                                             rowCount, &marker_, buffers_->tables.data(), state_.data());
    EXPECT_EQ(got, expected);
    for (int64_t i = 0; i < done; ++i) {
      const auto c = static_cast<size_t>(i) % coded, x = static_cast<size_t>(i) / coded;
      EXPECT_EQ(buffers_->rows[c][x], rows[c][x]) << "row " << c << " sample " << x;
    }
    compare();
    return expected;
  }

  int32_t position() const { return expectedPosition_; }
  int32_t marker() const { return expectedMarker_; }
  const QlmDecodeHuffmanState& state() const { return expected_; }
  bool wasFast() const { return wasFast_; }

 private:
  int32_t length() const { return static_cast<int32_t>(source_.size()); }
  model::Input in() { return {source_.data(), length(), &expectedPosition_, &expectedMarker_}; }

  void compare() {
    EXPECT_EQ(position_, expectedPosition_);
    EXPECT_EQ(marker_, expectedMarker_);
    EXPECT_EQ(state_[0].bitCount, expected_.bitCount);
    EXPECT_EQ(heldBits(state_[0].accumulator, state_[0].bitCount), heldBits(expected_.accumulator, expected_.bitCount));
    EXPECT_EQ(state_[0].eobRun, expected_.eobRun);
    EXPECT_EQ(state_[0].codedPositions, expected_.codedPositions);
  }

  Guarded<uint8_t> source_;
  Guarded<int16_t> value_{1};
  Guarded<QlmDecodeHuffmanState> state_{1};
  std::optional<RowBuffers<QlmDecodeHuffmanSpec>> buffers_;
  int32_t position_ = 0, marker_ = 0;
  QlmDecodeHuffmanState expected_;
  int32_t expectedPosition_ = 0, expectedMarker_ = 0;
  bool wasFast_ = false;
};

// Tables of all 17 categories, from short to very long codes; one of 256 symbols, those above 16 among them; and the
// typical ones, which end with category 11.
struct SampleTable {
  Encoder encoder;
  Decoder decoder;
  explicit SampleTable(const HuffmanLists& lists) : encoder(lists), decoder(lists) {}
};

const std::vector<SampleTable>& sampleTables() {
  static const std::vector<SampleTable> tables = [] {
    Random random(503);
    std::vector<SampleTable> all;
    for (const int64_t slant : {0, 1, 4, 40}) all.emplace_back(randomLists(random, symbolsBelow(17), slant));
    all.emplace_back(randomLists(random, symbolsBelow(256), 2));
    all.emplace_back(test::typicalTable(test::TypicalTable::LuminanceDC));
    return all;
  }();
  return tables;
}
constexpr size_t kCompleteTables = 5;

// Differences as a scan has them: small ones mostly, and now and then any.
Row differences(Random& random, int32_t width) {
  Row row(static_cast<size_t>(width));
  const int64_t bits = random.between(0, 16);
  for (int16_t& v : row) {
    const int64_t limit = int64_t{1} << random.between(0, bits);
    v = static_cast<int16_t>(random.oneIn(20) ? -32768 : random.between(-limit, limit));
  }
  return row;
}

// A stream of rows with a table each, by the model.
struct Stream {
  std::vector<std::vector<Row>> groups;  // rows that are coded together
  std::vector<const SampleTable*> tables;
  Bytes bytes;
  std::vector<const QlmEncodeHuffmanSpec*> encoders() const {
    std::vector<const QlmEncodeHuffmanSpec*> all;
    for (const SampleTable* t : tables) all.push_back(t->encoder.spec.data());
    return all;
  }
  std::vector<const QlmDecodeHuffmanSpec*> decoders() const {
    std::vector<const QlmDecodeHuffmanSpec*> all;
    for (const SampleTable* t : tables) all.push_back(t->decoder.spec.data());
    return all;
  }
};

Stream randomStream(Random& random, int32_t width, int32_t rowCount, size_t groups) {
  Stream stream;
  const auto coded = static_cast<size_t>(std::min(rowCount, 4));
  for (size_t c = 0; c < coded; ++c)
    stream.tables.push_back(&sampleTables()[static_cast<size_t>(random.between(0, kCompleteTables - 1))]);
  stream.bytes.resize(groups * coded * static_cast<size_t>(width) * 8 + 10);
  QlmEncodeHuffmanState state;
  model::encodeStateInit(state);
  int32_t position = 0;
  const model::Output out{stream.bytes.data(), static_cast<int32_t>(stream.bytes.size()), &position};
  for (size_t g = 0; g < groups; ++g) {
    std::vector<Row> rows;
    std::vector<const int16_t*> pointers;
    for (size_t c = 0; c < coded; ++c) rows.push_back(differences(random, width));
    for (const Row& row : rows) pointers.push_back(row.data());
    EXPECT_EQ(model::encodeRow(pointers.data(), {width, rowCount}, out, stream.encoders().data(), state), qlmOk);
    stream.groups.push_back(rows);
  }
  EXPECT_EQ(model::flushBits(out, state), qlmOk);
  stream.bytes.resize(static_cast<size_t>(position));
  return stream;
}

Bytes bytesOf(std::string bits) {
  while (bits.size() % 8) bits += '1';
  Bytes bytes;
  for (size_t i = 0; i < bits.size(); i += 8) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
    if (bytes.back() == 0xFF) bytes.push_back(0);
  }
  return bytes;
}

}  // namespace

TEST(Model, qlmiDiffPredFirstRow_JPEG_16s_C1) { checkFirstRow(qlmiDiffPredFirstRow_JPEG_16s_C1, model::diffFirstRow); }
TEST(Model, qlmiReconstructPredFirstRow_JPEG_16s_C1) {
  checkFirstRow(qlmiReconstructPredFirstRow_JPEG_16s_C1, model::reconstructFirstRow);
}
TEST(Model, qlmiDiffPredRow_JPEG_16s_C1) { checkLaterRow(qlmiDiffPredRow_JPEG_16s_C1, model::diffRow); }
TEST(Model, qlmiReconstructPredRow_JPEG_16s_C1) {
  checkLaterRow(qlmiReconstructPredRow_JPEG_16s_C1, model::reconstructRow);
}

TEST(Prediction, firstRowByHand) {
  const auto forward = [](Row row, int32_t precision, int32_t transform) {
    Row to(row.size());
    EXPECT_EQ(
        qlmiDiffPredFirstRow_JPEG_16s_C1(row.data(), to.data(), static_cast<int32_t>(row.size()), precision, transform),
        qlmOk);
    return to;
  };
  const auto inverse = [](Row row, int32_t precision, int32_t transform) {
    Row to(row.size());
    EXPECT_EQ(qlmiReconstructPredFirstRow_JPEG_16s_C1(row.data(), to.data(), static_cast<int32_t>(row.size()),
                                                      precision, transform),
              qlmOk);
    return to;
  };
  EXPECT_EQ(forward({130, 100, 101}, 8, 0), (Row{2, -30, 1}));
  EXPECT_EQ(inverse({2, -30, 1}, 8, 0), (Row{130, 100, 101}));
  EXPECT_EQ(forward({5}, 8, 0), (Row{-123}));
  EXPECT_EQ(forward({5}, 8, 3), (Row{-11}));
  EXPECT_EQ(forward({3}, 2, 0), (Row{1}));
  EXPECT_EQ(forward({5}, 16, 0), (Row{5 - 32768}));
  EXPECT_EQ(forward({-32768}, 16, 0), (Row{0}));
  EXPECT_EQ(inverse({5}, 16, 0), (Row{-32763}));
  EXPECT_EQ(forward({-32768, 32767}, 16, 15), (Row{32767, -1}));
  // Pt not below P: the shift count wraps modulo 32. 8 - 8 - 1 is 31, whose bit is gone; 8 - 39 - 1 is 0.
  EXPECT_EQ(forward({5}, 8, 8), (Row{5}));
  EXPECT_EQ(forward({5}, 8, 39), (Row{4}));
  EXPECT_EQ(inverse({5}, 8, 38), (Row{7}));
  EXPECT_EQ(inverse({5}, 16, 32), (Row{-32763}));
  EXPECT_EQ(forward({5}, 16, INT_MAX), (Row{5}));  // 16 - INT_MAX - 1 is 16 modulo 32
  EXPECT_EQ(forward({5}, 2, INT_MAX), (Row{1}));   // 2 modulo 32
}

TEST(Prediction, laterRowsByHand) {
  const auto forward = [](const Row& row, const Row& above, int32_t predictor) {
    Row to(row.size());
    EXPECT_EQ(
        qlmiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), to.data(), static_cast<int32_t>(row.size()), predictor),
        qlmOk);
    return to;
  };
  const auto inverse = [](const Row& row, const Row& above, int32_t predictor) {
    Row to(row.size());
    EXPECT_EQ(qlmiReconstructPredRow_JPEG_16s_C1(row.data(), above.data(), to.data(), static_cast<int32_t>(row.size()),
                                                 predictor),
              qlmOk);
    return to;
  };
  const Row x{10, 20, 5}, b{7, 16, 13};
  const Row expected[7] = {{3, 10, -15}, {3, 4, -8}, {3, 13, -11}, {3, 1, -12}, {3, 6, -13}, {3, 3, -10}, {3, 7, -11}};
  // 5: 10 - (9 shr 1), -15 - (-3 shr 1). 6: 4 - (3 shr 1), -8 - (4 shr 1). 7: 20 - (26 shr 1), 5 - (33 shr 1).
  for (const int32_t predictor : kPredictors) {
    EXPECT_EQ(forward(x, b, predictor), expected[predictor - 1]) << predictor;
    EXPECT_EQ(inverse(expected[predictor - 1], b, predictor), x) << predictor;
    // Of a single sample the one above is the prediction, whatever the predictor.
    EXPECT_EQ(forward({-32768}, {1}, predictor), (Row{32767}));
    EXPECT_EQ(inverse({32767}, {1}, predictor), (Row{-32768}));
  }
  // Sums and differences are halved in 32 bits.
  EXPECT_EQ(forward({32767, 5}, {32767, 32767}, 7), (Row{0, 5 - 32767}));
  EXPECT_EQ(inverse({0, 0}, {32767, 32767}, 7), (Row{32767, 32767}));
  EXPECT_EQ(forward({-32768, 5}, {-32768, -32768}, 7), (Row{0, 5 - 32768}));
  // -32768 - 32767 halves to -32768, where 16 bits would make 0 of it: 0 - -32767 + 32768 is -1 in 16 bits.
  EXPECT_EQ(forward({0, 0}, {32767, -32768}, 5), (Row{-32767, -32768}));
  EXPECT_EQ(inverse({-32767, -32768}, {32767, -32768}, 5), (Row{0, 0}));
  // 6: 32767 - -32768 halves to 32767.
  EXPECT_EQ(forward({32767, 0}, {-32768, 5}, 6), (Row{-1, 32764}));
  EXPECT_EQ(inverse({-1, 32764}, {-32768, 5}, 6), (Row{32767, 0}));
}

TEST(Prediction, everyRowComesBack) {
  Random random(504);
  for (const int32_t width : widths()) {
    for (const int32_t predictor : kPredictors) {
      const Row above = rowOf(random, width, Data::Noise), row = rowOf(random, width, Data::Noise);
      Row difference(row.size()), back(row.size());
      ASSERT_EQ(qlmiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), difference.data(), width, predictor), qlmOk);
      ASSERT_EQ(qlmiReconstructPredRow_JPEG_16s_C1(difference.data(), above.data(), back.data(), width, predictor),
                qlmOk);
      ASSERT_EQ(back, row) << width << ' ' << predictor;
      ASSERT_EQ(qlmiDiffPredFirstRow_JPEG_16s_C1(row.data(), difference.data(), width, 12, predictor), qlmOk);
      ASSERT_EQ(qlmiReconstructPredFirstRow_JPEG_16s_C1(difference.data(), back.data(), width, 12, predictor), qlmOk);
      ASSERT_EQ(back, row) << width;
    }
  }
}

// The result may lie over the sources where each element is read before it is written: it begins before them, or in
// their place where no left neighbour is read again.
TEST(Prediction, overlappingRows) {
  Random random(505);
  for (const int32_t width : {1, 2, 3, 15, 16, 17, 31, 33, 64, 65, 100, 257}) {
    for (int32_t ahead = 0; ahead <= 40; ++ahead) {
      for (const int32_t predictor : kPredictors) {
        SCOPED_TRACE(::testing::Message() << width << ' ' << ahead << ' ' << predictor);
        const auto check = [&](ptrdiff_t src, ptrdiff_t previous, ptrdiff_t dst, bool forward) {
          compareInArena(
              random,
              [&](int16_t* a) {
                return (forward ? qlmiDiffPredRow_JPEG_16s_C1 : qlmiReconstructPredRow_JPEG_16s_C1)(
                    a + src, a + previous, a + dst, width, predictor);
              },
              [&](int16_t* a) {
                (forward ? model::diffRow : model::reconstructRow)(a + src, a + previous, a + dst, width, predictor);
              });
        };
        const bool leftOfSource = predictor == 1 || predictor >= 4;  // read again by the next sample
        const bool leftOfPrevious = predictor >= 3 && predictor <= 6;
        if (ahead > 0 || !leftOfSource) check(100 + ahead, 600, 100, true);
        check(100 + ahead, 600, 100, false);
        if (ahead > 0 || !leftOfPrevious) {
          check(600, 100 + ahead, 100, true);
          check(600, 100 + ahead, 100, false);
        }
        if (ahead > 0) {
          check(100 + ahead, 100 + ahead, 100, true);
          check(100 + ahead, 120 + 2 * ahead, 100, false);
        }
        ASSERT_FALSE(HasFailure());
      }
      for (const bool forward : {true, false}) {
        if (ahead == 0 && forward) continue;
        compareInArena(
            random,
            [&](int16_t* a) {
              return (forward ? qlmiDiffPredFirstRow_JPEG_16s_C1 : qlmiReconstructPredFirstRow_JPEG_16s_C1)(
                  a + 100 + ahead, a + 100, width, 12, 1);
            },
            [&](int16_t* a) {
              (forward ? model::diffFirstRow : model::reconstructFirstRow)(a + 100 + ahead, a + 100, width, 12, 1);
            });
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

TEST(Prediction, limits) {
  const Row row{1, 2};
  Row to(2);
  for (const auto& [precision, transform, status] : {std::tuple{2, 0, qlmOk},
                                                     {1, 0, qlmErrBadArgument},
                                                     {16, 0, qlmOk},
                                                     {17, 0, qlmErrBadArgument},
                                                     {8, -1, qlmErrBadArgument},
                                                     {8, 100, qlmOk},
                                                     {INT_MIN, 0, qlmErrBadArgument},
                                                     {8, INT_MIN, qlmErrBadArgument}}) {
    EXPECT_EQ(qlmiDiffPredFirstRow_JPEG_16s_C1(row.data(), to.data(), 2, precision, transform), status);
    EXPECT_EQ(qlmiReconstructPredFirstRow_JPEG_16s_C1(row.data(), to.data(), 2, precision, transform), status);
  }
  for (const auto& [predictor, status] :
       {std::pair{0, qlmErrBadArgument}, {1, qlmOk}, {7, qlmOk}, {8, qlmErrBadArgument}}) {
    EXPECT_EQ(qlmiDiffPredRow_JPEG_16s_C1(row.data(), row.data(), to.data(), 2, predictor), status);
    EXPECT_EQ(qlmiReconstructPredRow_JPEG_16s_C1(row.data(), row.data(), to.data(), 2, predictor), status);
  }
}

TEST(Model, qlmiEncodeHuffmanOne_JPEG_16s1u_C1) {
  for (const SampleTable& table : sampleTables()) {
    for (int32_t first = -32768; first < 32768; first += 512) {
      SampleEncoder pair(4000);
      for (int32_t v = first; v < first + 512; ++v)
        pair.encode(static_cast<int16_t>(v), table.encoder.spec.data());  // typical tables have no code for some
      pair.flush(false);
      ASSERT_FALSE(HasFailure()) << first;
    }
  }
}

TEST(Model, qlmiDecodeHuffmanOne_JPEG_1u16s_C1) {
  for (size_t t = 0; t < kCompleteTables; ++t) {
    const SampleTable& table = sampleTables()[t];
    Bytes bytes(600000);
    QlmEncodeHuffmanState state;
    model::encodeStateInit(state);
    int32_t position = 0;
    const model::Output out{bytes.data(), static_cast<int32_t>(bytes.size()), &position};
    for (int32_t v = -32768; v <= 32767; v += 3)
      ASSERT_EQ(model::encodeOne(static_cast<int16_t>(v), out, *table.encoder.spec.data(), state), qlmOk);
    ASSERT_EQ(model::flushBits(out, state), qlmOk);
    bytes.resize(static_cast<size_t>(position));
    SampleDecoder pair(bytes, t % 2 ? Edge::Back : Edge::Front);
    for (int32_t v = -32768; v <= 32767; v += 3) {
      int16_t value = 0x5A5A;
      ASSERT_EQ(pair.decode(table.decoder.spec.data(), value), qlmOk);
      ASSERT_EQ(value, v);
      ASSERT_FALSE(HasFailure()) << v;
    }
  }
}

TEST(Model, qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1) {
  Random random(506);
  std::vector<int32_t> some = widths();
  some.pop_back();
  for (const int32_t width : some) {
    for (int32_t rowCount = 1; rowCount <= 6; ++rowCount) {
      TRACE_SEED(506);
      SCOPED_TRACE(::testing::Message() << "width " << width << " rows " << rowCount);
      SampleEncoder pair(60000, rowCount % 2 ? Edge::Back : Edge::Front);
      for (int32_t i = 0; i < 4; ++i) {
        std::vector<Row> rows;
        std::vector<const QlmEncodeHuffmanSpec*> tables;
        for (int32_t c = 0; c < std::min(rowCount, 4); ++c) {
          rows.push_back(differences(random, width));
          tables.push_back(
              sampleTables()[static_cast<size_t>(random.between(0, random.oneIn(4) ? 5 : 4))].encoder.spec.data());
        }
        pair.encodeRows(rows, tables, rowCount);
        ASSERT_FALSE(HasFailure());
      }
      pair.flush(true);
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST(Model, qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4) {
  Random random(507);
  std::vector<int32_t> some = widths();
  some.pop_back();
  int32_t fast = 0;
  for (const int32_t width : some) {
    for (int32_t rowCount = 1; rowCount <= 6; ++rowCount) {
      TRACE_SEED(507);
      SCOPED_TRACE(::testing::Message() << "width " << width << " rows " << rowCount);
      Stream stream = randomStream(random, width, rowCount, 4);
      if (rowCount % 2) stream.bytes.insert(stream.bytes.end(), {0xFF, 0xD9});
      SampleDecoder pair(stream.bytes, width % 2 ? Edge::Back : Edge::Front);
      for (const auto& rows : stream.groups) {
        std::vector<Row> decoded;
        ASSERT_EQ(pair.decodeRows(decoded, stream.decoders(), width, rowCount, width % 2 ? Edge::Front : Edge::Back),
                  qlmOk);
        ASSERT_EQ(decoded, rows);
        ASSERT_FALSE(HasFailure());
        fast += pair.wasFast();
      }
    }
  }
  EXPECT_GE(fast, 300);
}

TEST(LosslessEncode, bitsByHand) {
  // Luminance: 0 is 00, 1 is 010, 2 is 011, 3 is 100.
  const QlmEncodeHuffmanSpec* dc = luminance().dcEncoder.spec.data();
  SampleEncoder pair(100);
  for (const int16_t v : {0, 1, -1, 3, -2, -7}) EXPECT_EQ(pair.encode(v, dc), qlmOk);
  EXPECT_EQ(pair.flush(false), qlmOk);
  EXPECT_EQ(pair.bytes(), bytesOf("00"
                                  "010"
                                  "1"
                                  "010"
                                  "0"
                                  "011"
                                  "11"
                                  "011"
                                  "01"
                                  "100"
                                  "000"));
  // Column by column.
  SampleEncoder rows(100);
  EXPECT_EQ(rows.encodeRows({{0, 1}, {-1, 3}, {-2, -7}}, {dc, dc, dc}, 3), qlmOk);
  EXPECT_EQ(rows.flush(true), qlmOk);
  EXPECT_EQ(rows.bytes(), bytesOf("00"
                                  "010"
                                  "0"
                                  "011"
                                  "01"
                                  "010"
                                  "1"
                                  "011"
                                  "11"
                                  "100"
                                  "000"));
  // -32768 has category 16, and no bits.
  const SampleTable wide(HuffmanLists{{0, 3}, {16, 15, 0}});  // 00, 01, 10
  SampleEncoder lowest(100);
  for (const int16_t v : {-32768, -32767, 32767, 0}) EXPECT_EQ(lowest.encode(v, wide.encoder.spec.data()), qlmOk);
  EXPECT_EQ(lowest.encodeRows({{-32768, -32768}}, {wide.encoder.spec.data()}, 1), qlmOk);
  EXPECT_EQ(lowest.encodeRows({{-32768}, {0}, {0}, {0}},
                              std::vector<const QlmEncodeHuffmanSpec*>(4, wide.encoder.spec.data()), 5),
            qlmOk);
  EXPECT_EQ(lowest.flush(true), qlmOk);
  EXPECT_EQ(lowest.bytes(), bytesOf("00"
                                    "01" +
                                    std::string(15, '0') + "01" + std::string(15, '1') +
                                    "10"
                                    "0000"
                                    "00101010"));
}

// Up to four rows fail as a whole, more append by append.
TEST(LosslessEncode, failures) {
  const SampleTable two(HuffmanLists{{0, 2}, {0, 8}});  // 00, 01; nothing else
  const QlmEncodeHuffmanSpec* dc = two.encoder.spec.data();
  const Row row{0, -1 - 127, 0, 0, 5, 0};
  for (int32_t rowCount = 1; rowCount <= 6; ++rowCount) {
    const size_t coded = static_cast<size_t>(std::min(rowCount, 4));
    SampleEncoder pair(100);
    EXPECT_EQ(pair.encode(0, dc), qlmOk);
    EXPECT_EQ(pair.encodeRows(std::vector<Row>(coded, row), std::vector(coded, dc), rowCount), qlmErrHuffTable);
    EXPECT_EQ(pair.position(), rowCount <= 4 ? 0 : 8);
    EXPECT_EQ(pair.state().bitCount, rowCount <= 4 ? 2 : (2 + 4 * 16) % 8);
    const Row good(20, 255);
    for (int32_t room = 1; room < 20; ++room) {
      SampleEncoder full(room);
      EXPECT_EQ(full.encodeRows(std::vector<Row>(coded, good), std::vector(coded, dc), rowCount), qlmErrOutOfBuffer);
      EXPECT_EQ(full.position(), rowCount <= 4 ? 0 : room);
    }
    ASSERT_FALSE(HasFailure());
  }
  // One value: the code stays written when its bits do not fit.
  SampleEncoder one(1);
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(one.encode(0, dc), qlmOk);
  EXPECT_EQ(one.encode(255, dc), qlmErrOutOfBuffer);
  EXPECT_EQ(one.position(), 1);
  EXPECT_EQ(one.state().bitCount, 0);
  EXPECT_EQ(one.encode(3, dc), qlmErrHuffTable);
}

TEST(LosslessEncode, everyRoom) {
  Random random(508);
  for (int32_t rowCount = 1; rowCount <= 5; ++rowCount) {
    for (const int32_t width : {1, 2, 7, 16, 33}) {
      for (int32_t round = 0; round < 4; ++round) {
        TRACE_SEED(508);
        const Stream stream = randomStream(random, width, rowCount, 2);
        for (int32_t room = 1; room <= static_cast<int32_t>(stream.bytes.size()) + 10; ++room) {
          SampleEncoder pair(room, room % 2 ? Edge::Back : Edge::Front);
          bool full = false;
          for (const auto& rows : stream.groups)
            full |= pair.encodeRows(rows, stream.encoders(), rowCount) == qlmErrOutOfBuffer;
          full |= pair.flush(true) == qlmErrOutOfBuffer;
          if (!full) {
            ASSERT_EQ(pair.bytes(), stream.bytes);
          }
          ASSERT_EQ(full, room < static_cast<int32_t>(stream.bytes.size()));
          ASSERT_FALSE(HasFailure()) << room;
        }
      }
    }
  }
}

TEST(LosslessDecode, bitsByHand) {
  const QlmDecodeHuffmanSpec* dc = luminance().dcDecoder.spec.data();
  SampleDecoder pair(
      bytesOf("00"
              "010"
              "1"
              "010"
              "0"
              "011"
              "11"
              "011"
              "01"
              "100"
              "000"));
  for (const int16_t v : {0, 1, -1, 3, -2, -7}) {
    int16_t value = 77;
    EXPECT_EQ(pair.decode(dc, value), qlmOk);
    EXPECT_EQ(value, v);
  }
  // Symbols from 16 on are -32768 without more bits, also where their low nibble is not 0.
  const SampleTable wide(HuffmanLists{{0, 3, 1}, {16, 17, 0xFF, 1}});  // 00, 01, 10, 110
  for (const size_t more : {0, 40}) {
    for (int32_t rowCount = 1; rowCount <= 5; ++rowCount) {
      const size_t coded = static_cast<size_t>(std::min(rowCount, 4));
      std::string bits;
      for (const char* code : {"00", "01", "10", "1101"})
        for (size_t c = 0; c < coded; ++c) bits += code;
      SampleDecoder rows(bytesOf(bits + std::string(8 * more, '0')));
      std::vector<Row> decoded;
      EXPECT_EQ(rows.decodeRows(decoded, std::vector<const QlmDecodeHuffmanSpec*>(coded, wide.decoder.spec.data()), 4,
                                rowCount),
                qlmOk);
      EXPECT_EQ(rows.wasFast(), more > 0 && rowCount <= 4);
      for (const Row& row : decoded) EXPECT_EQ(row, (Row{-32768, -32768, -32768, 1}));
    }
  }
  int16_t value = 0;
  SampleDecoder one(
      bytesOf("01"
              "10"));
  for (int32_t i = 0; i < 2; ++i) {
    EXPECT_EQ(one.decode(wide.decoder.spec.data(), value), qlmOk);
    EXPECT_EQ(value, -32768);
  }
}

// The bits of the fast route are left as the block decoder leaves its own.
TEST(LosslessDecode, fastRouteHandsBackWholeBytes) {
  const QlmDecodeHuffmanSpec* dc = luminance().dcDecoder.spec.data();
  std::vector<Row> rows;
  SampleDecoder fast(Bytes(24, 0x00));
  EXPECT_EQ(fast.decodeRows(rows, {dc}, 4, 1), qlmOk);  // eight bits of 64
  EXPECT_EQ(fast.position(), 5);
  EXPECT_EQ(fast.state().bitCount, 32);
  SampleDecoder careful(Bytes(7, 0x00));
  EXPECT_EQ(careful.decodeRows(rows, {dc}, 4, 1), qlmOk);
  EXPECT_EQ(careful.position(), 4);
  EXPECT_EQ(careful.state().bitCount, 24);
  EXPECT_FALSE(careful.wasFast());
  // Eight bytes would do for a load, but not for twice the width.
  SampleDecoder narrow(Bytes(9, 0x00));
  EXPECT_EQ(narrow.decodeRows(rows, {dc}, 5, 1), qlmOk);
  EXPECT_FALSE(narrow.wasFast());
  SampleDecoder enough(Bytes(10, 0x00));
  EXPECT_EQ(enough.decodeRows(rows, {dc}, 5, 1), qlmOk);
  EXPECT_TRUE(enough.wasFast());
}

TEST(LosslessDecode, everyTruncation) {
  Random random(509);
  for (int32_t rowCount = 1; rowCount <= 6; ++rowCount) {
    for (const int32_t width : {1, 3, 10, 30}) {
      for (int32_t round = 0; round < 3; ++round) {
        TRACE_SEED(509);
        Stream stream = randomStream(random, width, rowCount, 2);
        for (; !stream.bytes.empty(); stream.bytes.pop_back()) {
          SampleDecoder pair(stream.bytes);
          std::vector<Row> rows;
          for (int32_t i = 0; i < 4; ++i) pair.decodeRows(rows, stream.decoders(), width, rowCount);
          SampleDecoder one(stream.bytes);
          int16_t value = 0;
          for (int32_t i = 0, failures = 0; i < 3 * width && failures < 3; ++i)
            failures += one.decode(stream.decoders()[0], value) != qlmOk;
          ASSERT_FALSE(HasFailure()) << stream.bytes.size();
        }
      }
    }
  }
}

TEST(LosslessDecode, markersAndFillBytesAtEveryPlace) {
  Random random(510);
  const std::vector<Bytes> insertions = {
      {0xFF}, {0xFF, 0x00}, {0xFF, 0xFF}, {0xFF, 0xFF, 0x00}, {0xFF, 0xD9}, {0xFF, 0xD3}, {0xFF, 0xFF, 0xFF, 0xD9}};
  for (const int32_t rowCount : {1, 2, 4, 5}) {
    for (const int32_t width : {2, 20}) {
      TRACE_SEED(510);
      const Stream stream = randomStream(random, width, rowCount, 3);
      for (const Bytes& insertion : insertions) {
        for (size_t at = 0; at <= stream.bytes.size(); ++at) {
          Bytes damaged = stream.bytes;
          damaged.insert(damaged.begin() + static_cast<ptrdiff_t>(at), insertion.begin(), insertion.end());
          SampleDecoder pair(damaged);
          std::vector<Row> rows;
          for (int32_t i = 0; i < 4; ++i) pair.decodeRows(rows, stream.decoders(), width, rowCount);
          ASSERT_FALSE(HasFailure()) << at << ::testing::PrintToString(insertion);
        }
      }
    }
  }
}

// Tables that no encoder would make, bits and positions from elsewhere, bytes of all kinds.
TEST(LosslessDecode, lenientTablesOverNoise) {
  Random random(511);
  int32_t tried = 0, fast = 0;
  while (tried < 4000) {
    TRACE_SEED(511);
    SCOPED_TRACE(tried);
    HuffmanLists lists = lenientLists(random);
    if (random.oneIn(2))
      for (uint8_t& symbol : lists.values) symbol = static_cast<uint8_t>(symbol % 18);
    const Decoder table(lists);
    if (table.status != qlmOk) continue;
    ++tried;
    Bytes source(static_cast<size_t>(random.between(1, 200)));
    random.fill(std::span<uint8_t>(source));
    if (random.oneIn(2))
      for (uint8_t& byte : source) byte = byte == 0xFF ? 0xFE : byte;
    if (random.oneIn(2)) source.insert(source.end(), {0xFF, 0xD9});
    SampleDecoder pair(source);
    pair.setPosition(static_cast<int32_t>(random.between(0, static_cast<int64_t>(source.size()) / 2)));
    pair.setBits(static_cast<uint32_t>(random.bits()), static_cast<int32_t>(random.between(0, 32)));
    if (random.oneIn(8)) pair.setMarker(0xD7);
    const auto rowCount = static_cast<int32_t>(random.between(1, 5));
    const auto width = static_cast<int32_t>(random.between(1, 40));
    std::vector<const QlmDecodeHuffmanSpec*> tables(static_cast<size_t>(std::min(rowCount, 4)), table.spec.data());
    if (random.oneIn(3)) tables[0] = luminance().dcDecoder.spec.data();
    std::vector<Row> rows;
    for (int32_t i = 0; i < 4; ++i) {
      pair.decodeRows(rows, tables, width, rowCount);
      fast += pair.wasFast();
    }
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GE(fast, 600);
}
