// Scans of progressive JPEG (ITU-T T.81 Annex G) that the tests share: random legal scripts, blocks that suit a scan,
// and the runs of export and model side by side.
#pragma once

#include <map>
#include <optional>

#include "jpeg/huffman_support.h"
#include "model/jpeg_progressive.h"

namespace progressive {

using namespace huffman;
using model::Band;

enum class Scan { DCFirst, DCRefine, ACFirst, ACRefine };

// The band of a scan header (T.81 B.2.3) with the bit position before, Ah. 0 is a first scan.
struct ScanHeader {
  Band band;
  int32_t high = 0;

  Scan kind() const {
    if (band.last == 0) return high ? Scan::DCRefine : Scan::DCFirst;
    return high ? Scan::ACRefine : Scan::ACFirst;
  }
};
using Script = std::vector<ScanHeader>;

// Bands and bit positions without any order but what T.81 G.1.1.1 wants: DC comes first, each scan of a coefficient
// refines the one before by a bit, and the last one completes it.
inline Script randomScript(Random& random, int32_t highestLow) {
  std::array<int32_t, 64> low;  // of each position so far
  low.fill(-1);
  const auto firstLow = [&] { return static_cast<int32_t>(random.between(0, random.oneIn(2) ? 2 : highestLow)); };
  low[0] = firstLow();
  Script script{{{0, 0, low[0]}, 0}};
  while (std::any_of(low.begin(), low.end(), [](int32_t l) { return l != 0; })) {
    const auto first = static_cast<size_t>(random.between(0, 63));
    if (low[first] == 0) continue;
    size_t last = first;
    if (first > 0) {
      const auto most = static_cast<size_t>(random.oneIn(3) ? random.between(1, 63) : 63);
      while (last < most && low[last + 1] == low[first]) ++last;
    }
    const int32_t before = low[first], now = before < 0 ? firstLow() : before - 1;
    script.push_back({{static_cast<int32_t>(first), static_cast<int32_t>(last), now}, std::max(before, 0)});
    std::fill(low.begin() + static_cast<ptrdiff_t>(first), low.begin() + static_cast<ptrdiff_t>(last) + 1, now);
  }
  return script;
}

// What a decoder holds of a block after a scan of bit position `low` has completed the scans before it.
inline int16_t knownPart(int16_t value, int32_t low, bool dc) {
  if (dc) return static_cast<int16_t>((value >> low) * (1 << low));
  const int32_t magnitude = (std::abs(int32_t{value}) >> low) << low;
  return static_cast<int16_t>(value < 0 ? -magnitude : magnitude);
}

// Coefficients that are zero, new or old at the bit position, with noise below it. `bits` is the most that a magnitude
// has above the position.
inline Block bandBlock(Random& random, int32_t low, int32_t bits) {
  Block block{};
  const int64_t sparse = int64_t{1} << random.between(0, 6);
  for (size_t k = 0; k < 64; ++k) {
    int64_t magnitude = random.oneIn(sparse) ? random.between(0, (int64_t{1} << random.between(1, bits)) - 1) : 0;
    magnitude = magnitude << low | (random.oneIn(2) ? random.between(0, (int64_t{1} << low) - 1) : 0);
    magnitude = std::min<int64_t>(magnitude, 32767);
    scanAt(block, k) = static_cast<int16_t>(random.oneIn(2) ? magnitude : -magnitude);
  }
  return block;
}

// The low bits of a register that count.
inline uint64_t lowBits(uint64_t accumulator, int32_t count) {
  if (count <= 0) return 0;
  return count >= 64 ? accumulator : accumulator & ((uint64_t{1} << count) - 1);
}

// An export and its model that encode the same blocks of a scan into rooms of the same length.
class ScanEncoder {
 public:
  ScanEncoder(int32_t room, const ScanHeader& scan, const QlmEncodeHuffmanSpec* table, Edge edge = Edge::Back)
      : scan_(scan), table_(table), bytes_(static_cast<size_t>(room), edge), block_(64, edge), state_(1, edge) {
    expectedBytes_.resize(static_cast<size_t>(room));
    qlmiEncodeHuffmanStateInit_JPEG_8u(state_.data());
    model::encodeStateInit(expected_);
  }

  // A state filled from elsewhere.
  void setState(const QlmEncodeHuffmanState& state) { state_[0] = expected_ = state; }
  void setLastDC(int16_t lastDC) { lastDC_[0] = expectedLastDC_ = lastDC; }
  void setPosition(int32_t position) { position_ = expectedPosition_ = position; }

  QlmStatus encode(const Block& block) {
    std::copy(block.begin(), block.end(), block_.begin());
    QlmStatus expected = qlmOk;
    switch (scan_.kind()) {
      case Scan::DCFirst:
        expected = model::encodeDCFirst(block.data(), out(), expectedLastDC_, low(), *table_, expected_);
        break;
      case Scan::DCRefine:
        expected = model::encodeDCRefine(block.data(), out(), low(), expected_);
        break;
      case Scan::ACFirst:
        expected = model::encodeACFirst(block.data(), out(), scan_.band, *table_, expected_);
        break;
      case Scan::ACRefine:
        expected = model::encodeACRefine(block.data(), out(), scan_.band, *table_, expected_);
        break;
    }
    compare(expected, call(block_.data(), 0));
    EXPECT_TRUE(std::equal(block.begin(), block.end(), block_.begin()));
    return expected;
  }

  QlmStatus flush(int32_t flag = 1) {
    const QlmStatus expected =
        scan_.band.last > 0 ? model::flushEobRun(out(), *table_, expected_) : model::flushBits(out(), expected_);
    compare(expected, call(nullptr, flag));
    EXPECT_EQ(std::count(std::begin(state_[0].correctionBits), std::end(state_[0].correctionBits), 0), 1024);
    return expected;
  }

  Bytes bytes() const { return {expectedBytes_.begin(), expectedBytes_.begin() + expectedPosition_}; }
  int32_t position() const { return expectedPosition_; }
  int16_t lastDC() const { return expectedLastDC_; }
  const QlmEncodeHuffmanState& state() const { return expected_; }

 private:
  int32_t low() const { return scan_.band.low; }
  int32_t length() const { return static_cast<int32_t>(expectedBytes_.size()); }
  model::Output out() { return {expectedBytes_.data(), length(), &expectedPosition_}; }

  QlmStatus call(const int16_t* block, int32_t flag) {
    const Band& band = scan_.band;
    switch (scan_.kind()) {
      case Scan::DCFirst:
        return qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, bytes_.data(), length(), &position_, lastDC_.data(),
                                                          band.low, table_, state_.data(), flag);
      case Scan::DCRefine:
        return qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, bytes_.data(), length(), &position_, band.low,
                                                           state_.data(), flag);
      case Scan::ACFirst:
        return qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1(block, bytes_.data(), length(), &position_, band.first,
                                                          band.last, band.low, table_, state_.data(), flag);
      case Scan::ACRefine:
        return qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1(block, bytes_.data(), length(), &position_, band.first,
                                                           band.last, band.low, table_, state_.data(), flag);
    }
    return qlmOk;
  }

  void compare(QlmStatus expected, QlmStatus got) {
    const QlmEncodeHuffmanState& state = state_[0];
    EXPECT_EQ(got, expected);
    EXPECT_EQ(position_, expectedPosition_);
    EXPECT_EQ(lastDC_[0], expectedLastDC_);
    EXPECT_EQ(state.bitCount, expected_.bitCount);
    if (scan_.band.last > 0) {
      EXPECT_EQ(lowBits(state.accumulator, state.bitCount), lowBits(expected_.accumulator, expected_.bitCount));
    } else {
      EXPECT_EQ(pendingBits(state), pendingBits(expected_));
    }
    EXPECT_EQ(state.eobRun, expected_.eobRun);
    EXPECT_EQ(state.correctionCount, expected_.correctionCount);
    EXPECT_EQ(std::memcmp(state.correctionBits, expected_.correctionBits, static_cast<size_t>(state.correctionCount)),
              0);
    const auto written = static_cast<size_t>(std::min(expectedPosition_, length()));
    EXPECT_EQ(std::memcmp(bytes_.data(), expectedBytes_.data(), written), 0);
  }

  const ScanHeader scan_;
  const QlmEncodeHuffmanSpec* table_;
  Guarded<uint8_t> bytes_;
  Guarded<int16_t> block_, lastDC_{1};
  Guarded<QlmEncodeHuffmanState> state_;
  int32_t position_ = 0;

  Bytes expectedBytes_;
  int16_t expectedLastDC_ = 0;
  QlmEncodeHuffmanState expected_;
  int32_t expectedPosition_ = 0;
};

// The bytes of a whole scan, by the model. A symbol without a code is a failure.
inline Bytes scanBytes(const std::vector<Block>& blocks, const ScanHeader& scan, const QlmEncodeHuffmanSpec* table) {
  Bytes bytes(blocks.size() * 600 + 2000);
  int32_t position = 0;
  int16_t lastDC = 0;
  QlmEncodeHuffmanState state;
  model::encodeStateInit(state);
  const model::Output out{bytes.data(), static_cast<int32_t>(bytes.size()), &position};
  for (const Block& block : blocks) {
    QlmStatus status = qlmOk;
    switch (scan.kind()) {
      case Scan::DCFirst:
        status = model::encodeDCFirst(block.data(), out, lastDC, scan.band.low, *table, state);
        break;
      case Scan::DCRefine:
        status = model::encodeDCRefine(block.data(), out, scan.band.low, state);
        break;
      case Scan::ACFirst:
        status = model::encodeACFirst(block.data(), out, scan.band, *table, state);
        break;
      case Scan::ACRefine:
        status = model::encodeACRefine(block.data(), out, scan.band, *table, state);
        break;
    }
    EXPECT_EQ(status, qlmOk);
  }
  EXPECT_EQ(scan.band.last > 0 ? model::flushEobRun(out, *table, state) : model::flushBits(out, state), qlmOk);
  bytes.resize(static_cast<size_t>(position));
  return bytes;
}

// An export and its model that decode the same source. Before each call the model takes over what the export holds,
// since how far ahead an AC decoder reads is its own affair; what it has consumed is not.
class ScanDecoder {
 public:
  ScanDecoder(const Bytes& source, const ScanHeader& scan, const QlmDecodeHuffmanSpec* table, Edge edge = Edge::Back)
      : scan_(scan), table_(table), source_(source.size(), edge), block_(64, edge), state_(1, edge) {
    std::copy(source.begin(), source.end(), source_.begin());
    qlmiDecodeHuffmanStateInit_JPEG_8u(state_.data());
  }

  void setBits(uint64_t bits, int32_t count) {
    state_[0].accumulator = bits;
    state_[0].bitCount = count;
  }
  void setEobRun(int32_t run) { state_[0].eobRun = run; }
  void setPosition(int32_t position) { position_ = position; }
  void setMarker(int32_t marker) { marker_ = marker; }
  void setLastDC(int16_t lastDC) { lastDC_[0] = lastDC; }

  // Decodes into `block` and compares all that the caller sees.
  QlmStatus decode(Block& block) {
    Block expectedBlock = block;
    QlmDecodeHuffmanState expected = state_[0];
    const QlmDecodeHuffmanState before = state_[0];
    int32_t position = position_, marker = marker_;
    int16_t lastDC = lastDC_[0];
    const model::Input in{source_.data(), length(), &position, &marker};
    model::BandNotes notes;
    const Band& band = scan_.band;
    QlmStatus status = qlmOk;
    switch (scan_.kind()) {
      case Scan::DCFirst:
        status = model::decodeDCFirst(in, expectedBlock.data(), lastDC, band.low, *table_, expected);
        break;
      case Scan::DCRefine:
        status = model::decodeDCRefine(in, expectedBlock.data(), band.low, expected);
        break;
      case Scan::ACFirst:
        status = model::decodeACFirst(in, expectedBlock.data(), band, *table_, expected, notes);
        break;
      case Scan::ACRefine:
        status = model::decodeACRefine(in, expectedBlock.data(), band, *table_, expected, notes);
        break;
    }
    const int32_t positionBefore = position_, markerBefore = marker_;
    std::copy(block.begin(), block.end(), block_.begin());
    const QlmStatus got = call();
    std::copy(block_.begin(), block_.end(), block.begin());

    EXPECT_EQ(lastDC_[0], lastDC);
    EXPECT_EQ(state_[0].eobRun, expected.eobRun);
    EXPECT_EQ(state_[0].codedPositions, before.codedPositions);
    if (notes.beyond71) block[63] = expectedBlock[63];
    EXPECT_EQ(block, expectedBlock);
    if (scan_.band.last > 0) {
      if (notes.noCodeAtEnd || (notes.shortage && markerBefore == 0 && marker != 0)) {
        EXPECT_TRUE(got == qlmErrOutOfBuffer || got == qlmErrDctRange) << got;
      } else {
        EXPECT_EQ(got, status);
      }
      compareAhead(got, expected, position, marker, positionBefore, markerBefore);
    } else {
      EXPECT_EQ(got, status);
      EXPECT_EQ(position_, position);
      EXPECT_EQ(marker_, marker);
      EXPECT_EQ(state_[0].bitCount, expected.bitCount);
      EXPECT_EQ(heldBits(state_[0].accumulator, state_[0].bitCount), heldBits(expected.accumulator, expected.bitCount));
    }
    return got;
  }

  int32_t position() const { return position_; }
  int32_t marker() const { return marker_; }
  int16_t lastDC() const { return lastDC_[0]; }
  const QlmDecodeHuffmanState& state() const { return state_[0]; }
  // Bits of the source that have been used up.
  int64_t consumed() const { return model::dataBits(source_.data(), length(), 0, position_) - state_[0].bitCount; }

 private:
  int32_t length() const { return static_cast<int32_t>(source_.size()); }

  QlmStatus call() {
    const Band& band = scan_.band;
    switch (scan_.kind()) {
      case Scan::DCFirst:
        return qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source_.data(), length(), &position_, block_.data(),
                                                          lastDC_.data(), &marker_, band.low, table_, state_.data());
      case Scan::DCRefine:
        return qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source_.data(), length(), &position_, block_.data(),
                                                           &marker_, band.low, state_.data());
      case Scan::ACFirst:
        return qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(source_.data(), length(), &position_, block_.data(), &marker_,
                                                          band.first, band.last, band.low, table_, state_.data());
      case Scan::ACRefine:
        return qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(source_.data(), length(), &position_, block_.data(),
                                                           &marker_, band.first, band.last, band.low, table_,
                                                           state_.data());
    }
    return qlmOk;
  }

  // The export may have read further than the model, up to a marker or the end, but used the same bits; what it holds
  // is what the source has there.
  void compareAhead(QlmStatus got, const QlmDecodeHuffmanState& expected, int32_t position, int32_t marker,
                    int32_t positionBefore, int32_t markerBefore) {
    const auto source = source_.span();
    ASSERT_GE(position_, positionBefore);
    ASSERT_LE(position_, std::max(length(), positionBefore));
    ASSERT_GE(state_[0].bitCount, 0);
    ASSERT_LE(state_[0].bitCount, 64);
    if (marker_ != markerBefore) {
      ASSERT_EQ(markerBefore, 0);
      ASSERT_GE(position_, positionBefore + 2);
      EXPECT_EQ(source[static_cast<size_t>(position_) - 2], 0xFF);
      EXPECT_EQ(source[static_cast<size_t>(position_) - 1], marker_);
    }
    if (marker != 0) {
      EXPECT_EQ(marker_, marker);
    }
    if (got != qlmOk) return;
    const int64_t read = model::dataBits(source_.data(), length(), positionBefore, position_);
    ASSERT_GE(read, 0);
    EXPECT_EQ(read - state_[0].bitCount,
              model::dataBits(source_.data(), length(), positionBefore, position) - expected.bitCount);
    const int32_t both = std::min(state_[0].bitCount, expected.bitCount);
    if (both > 0) {
      EXPECT_EQ(lowBits(state_[0].accumulator, state_[0].bitCount) >> (state_[0].bitCount - both),
                lowBits(expected.accumulator, expected.bitCount) >> (expected.bitCount - both));
    }
  }

  const ScanHeader scan_;
  const QlmDecodeHuffmanSpec* table_;
  Guarded<uint8_t> source_;
  Guarded<int16_t> block_, lastDC_{1};
  Guarded<QlmDecodeHuffmanState> state_;
  int32_t position_ = 0, marker_ = 0;
};

}  // namespace progressive
