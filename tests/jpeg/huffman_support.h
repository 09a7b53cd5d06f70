// Tables, blocks and the side-by-side runs of model and export that the Huffman tests share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "model/jpeg_huffman.h"
#include "qlmjp.h"
#include "support/guarded.h"
#include "support/libjpeg_huffman.h"
#include "support/random.h"

namespace huffman {

using test::Edge;
using test::Guarded;
using test::HuffmanLists;
using test::Random;
using Block = test::CoefficientBlock;
using Bytes = std::vector<uint8_t>;

// Leaves of a random code tree, one of the deepest left out so that no code is all ones. `symbols` get a code each, in
// random order. A large `slant` makes long codes likely.
inline HuffmanLists randomLists(Random& random, std::vector<uint8_t> symbols, int64_t slant) {
  std::vector<int32_t> leaves{0};
  while (leaves.size() < symbols.size() + 1) {
    size_t pick = static_cast<size_t>(random.between(0, static_cast<int64_t>(leaves.size()) - 1));
    for (int64_t i = 0; i < slant; ++i) {
      const auto other = static_cast<size_t>(random.between(0, static_cast<int64_t>(leaves.size()) - 1));
      if (leaves[other] > leaves[pick] && leaves[other] < 16) pick = other;
    }
    if (leaves[pick] == 16) continue;
    leaves.push_back(++leaves[pick]);
  }
  leaves.erase(std::max_element(leaves.begin(), leaves.end()));
  HuffmanLists lists;
  for (const int32_t length : leaves) ++lists.counts[static_cast<size_t>(std::max(length, 1) - 1)];
  for (size_t i = symbols.size(); i > 1; --i)
    std::swap(symbols[i - 1], symbols[static_cast<size_t>(random.between(0, static_cast<int64_t>(i) - 1))]);
  lists.values = symbols;
  return lists;
}

// `count` different symbols, beginning with those from 0 on.
inline std::vector<uint8_t> symbolsBelow(size_t count) {
  std::vector<uint8_t> symbols(count);
  std::iota(symbols.begin(), symbols.end(), uint8_t{0});
  return symbols;
}

// Counts without any order, at most 256 codes: oversubscribed more often than not.
inline HuffmanLists lenientLists(Random& random) {
  HuffmanLists lists;
  int64_t left = random.between(0, 256);
  const int64_t most = random.between(1, 4) * random.between(1, 64);
  for (uint8_t& count : lists.counts) {
    if (random.oneIn(3)) continue;
    count = static_cast<uint8_t>(random.between(0, std::min({left, most, int64_t{255}})));
    left -= count;
  }
  lists.values.resize(256);
  random.fill(std::span<uint8_t>(lists.values));
  return lists;
}

// Tables stand flush before an inaccessible page: an index beyond their end stops the test.
struct Encoder {
  Guarded<QlmEncodeHuffmanSpec> spec{1};
  explicit Encoder(const HuffmanLists& lists) {
    EXPECT_EQ(qlmiEncodeHuffmanSpecInit_JPEG_8u(lists.counts.data(), lists.values.data(), spec.data()), qlmOk);
  }
};
struct Decoder {
  Guarded<QlmDecodeHuffmanSpec> spec{1};
  QlmStatus status;
  explicit Decoder(const HuffmanLists& lists)
      : status(qlmiDecodeHuffmanSpecInit_JPEG_8u(lists.counts.data(), lists.values.data(), spec.data())) {}
};

// One table for DC and one for AC symbols, for both directions.
struct Tables {
  Encoder dcEncoder, acEncoder;
  Decoder dcDecoder, acDecoder;
  Tables(const HuffmanLists& dc, const HuffmanLists& ac) : dcEncoder(dc), acEncoder(ac), dcDecoder(dc), acDecoder(ac) {}
};

inline std::vector<Tables> manyTables(Random& random) {
  std::vector<Tables> tables;
  using test::TypicalTable;
  tables.emplace_back(test::typicalTable(TypicalTable::LuminanceDC), test::typicalTable(TypicalTable::LuminanceAC));
  tables.emplace_back(test::typicalTable(TypicalTable::ChrominanceDC), test::typicalTable(TypicalTable::ChrominanceAC));
  for (const int64_t slant : {0, 1, 4, 40})
    tables.emplace_back(randomLists(random, symbolsBelow(17), slant), randomLists(random, symbolsBelow(256), slant));
  return tables;
}

enum class Kind { Zero, DCOnly, Sparse, Photo, Dense, Last, Runs, Large };
inline constexpr Kind kKinds[] = {Kind::Zero,  Kind::DCOnly, Kind::Sparse, Kind::Photo,
                                  Kind::Dense, Kind::Last,   Kind::Runs,   Kind::Large};

// A block whose categories stay within what symbols of one byte express (15 for AC) unless told otherwise.
inline Block randomBlock(Random& random, Kind kind) {
  Block block{};
  const auto at = [&](size_t k) -> int16_t& { return block[static_cast<size_t>(model::zigzag()[k])]; };
  const auto value = [&](int64_t bits) {
    const int64_t limit = (int64_t{1} << random.between(1, bits)) - 1;
    return static_cast<int16_t>(random.between(-limit, limit));
  };
  if (kind != Kind::Zero) block[0] = value(10);
  switch (kind) {
    case Kind::Zero:
    case Kind::DCOnly:
      break;
    case Kind::Sparse:
      for (int64_t n = random.between(1, 6); n > 0; --n) at(static_cast<size_t>(random.between(1, 63))) = value(10);
      break;
    case Kind::Photo:
      for (size_t k = 1; k < 64; ++k)
        if (random.oneIn(static_cast<int64_t>(k) / 2 + 1)) at(k) = value(k < 6 ? 6 : 2);
      break;
    case Kind::Dense:
      for (size_t k = 1; k < 64; ++k) at(k) = value(10);
      break;
    case Kind::Last:
      at(63) = value(10);
      break;
    case Kind::Runs: {  // distances around a multiple of 16
      size_t k = 0;
      while ((k += static_cast<size_t>(16 * random.between(0, 3) + random.between(0, 3))) < 64)
        if (k > 0) at(k) = value(3);
      break;
    }
    case Kind::Large:
      for (int16_t& v : block) v = random.oneIn(3) ? static_cast<int16_t>(random.between(-32767, 32767)) : int16_t{0};
      break;
  }
  return block;
}

inline Block anyBlock(Random& random) {
  return randomBlock(random, kKinds[static_cast<size_t>(random.between(0, std::size(kKinds) - 1))]);
}

inline const Tables& luminance() {
  static const Tables tables(test::typicalTable(test::TypicalTable::LuminanceDC),
                             test::typicalTable(test::TypicalTable::LuminanceAC));
  return tables;
}

inline const Tables& chrominance() {
  static const Tables tables(test::typicalTable(test::TypicalTable::ChrominanceDC),
                             test::typicalTable(test::TypicalTable::ChrominanceAC));
  return tables;
}

// Every symbol has a code of 8 or 9 bits.
inline const Tables& complete() {
  static const Tables tables = [] {
    Random random(200);
    const HuffmanLists lists = randomLists(random, symbolsBelow(256), 0);
    return Tables(lists, lists);
  }();
  return tables;
}

inline int16_t& scanAt(Block& block, size_t k) { return block[static_cast<size_t>(model::zigzag()[k])]; }

inline Block withCoefficient(size_t k, int16_t value) {
  Block block{};
  scanAt(block, k) = value;
  return block;
}

// Blocks that the typical tables can express, too.
inline std::vector<Block> codableBlocks(Random& random, size_t count) {
  std::vector<Block> blocks;
  while (blocks.size() < count) {
    const Block block = anyBlock(random);
    const bool fits = std::all_of(block.begin(), block.end(), [](int16_t v) { return v >= -1023 && v <= 1023; });
    if (fits) blocks.push_back(block);
  }
  return blocks;
}

// Valid bits of an encoder's accumulator, and the zeros below them.
inline uint64_t pendingBits(const QlmEncodeHuffmanState& state) { return state.accumulator & 0xFFFFFF; }

inline uint64_t heldBits(uint64_t accumulator, int32_t count) {
  return count <= 0 ? 0 : accumulator & ((uint64_t{1} << std::min(count, 32)) - 1);
}

// An export and its model that encode the same blocks into rooms of the same length.
class EncoderPair {
 public:
  EncoderPair(int32_t room, const Tables& tables) : bytes_(static_cast<size_t>(room)), tables_(tables) {
    expected_.resize(static_cast<size_t>(room));
    qlmiEncodeHuffmanStateInit_JPEG_8u(state_.data());
    model::encodeStateInit(expectedState_);
  }

  // Encodes a block with both and compares all that the caller sees.
  QlmStatus encode(const Block& block) {
    std::copy(block.begin(), block.end(), block_.begin());
    const QlmStatus expected = model::encodeBlock(block.data(), out(), expectedLastDC_, *tables_.dcEncoder.spec.data(),
                                                  *tables_.acEncoder.spec.data(), expectedState_);
    const QlmStatus got = qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block_.data(), bytes_.data(), length(), &position_,
                                                             lastDC_.data(), tables_.dcEncoder.spec.data(),
                                                             tables_.acEncoder.spec.data(), state_.data(), 0);
    EXPECT_TRUE(std::equal(block.begin(), block.end(), block_.begin()));
    compare(expected, got);
    return expected;
  }

  QlmStatus flush() {
    const QlmStatus expected = model::flushBits(out(), expectedState_);
    const QlmStatus got = qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, bytes_.data(), length(), &position_, nullptr,
                                                             nullptr, nullptr, state_.data(), 1);
    compare(expected, got);
    return expected;
  }

  std::vector<uint8_t> bytes() const { return {expected_.begin(), expected_.begin() + expectedPosition_}; }
  int32_t position() const { return expectedPosition_; }

 private:
  int32_t length() const { return static_cast<int32_t>(expected_.size()); }
  model::Output out() { return {expected_.data(), length(), &expectedPosition_}; }

  void compare(QlmStatus expected, QlmStatus got) {
    EXPECT_EQ(got, expected);
    EXPECT_EQ(position_, expectedPosition_);
    EXPECT_EQ(lastDC_[0], expectedLastDC_);
    EXPECT_EQ(state_[0].bitCount, expectedState_.bitCount);
    EXPECT_EQ(pendingBits(state_[0]), pendingBits(expectedState_));
    EXPECT_EQ(state_[0].eobRun, 0);
    EXPECT_EQ(state_[0].correctionCount, 0);
    EXPECT_EQ(std::memcmp(bytes_.data(), expected_.data(), static_cast<size_t>(expectedPosition_)), 0);
  }

  Guarded<uint8_t> bytes_;
  Guarded<int16_t> block_{64}, lastDC_{1};
  Guarded<QlmEncodeHuffmanState> state_{1};
  int32_t position_ = 0;

  std::vector<uint8_t> expected_;
  int16_t expectedLastDC_ = 0;
  QlmEncodeHuffmanState expectedState_;
  int32_t expectedPosition_ = 0;
  const Tables& tables_;
};

// The bytes of a whole segment, by the model.
inline std::vector<uint8_t> segmentOf(const std::vector<Block>& blocks, const Tables& tables) {
  std::vector<uint8_t> bytes(blocks.size() * 512 + 64);
  int32_t position = 0;
  int16_t lastDC = 0;
  QlmEncodeHuffmanState state;
  model::encodeStateInit(state);
  const model::Output out{bytes.data(), static_cast<int32_t>(bytes.size()), &position};
  for (const Block& block : blocks)
    EXPECT_EQ(model::encodeBlock(block.data(), out, lastDC, *tables.dcEncoder.spec.data(),
                                 *tables.acEncoder.spec.data(), state),
              qlmOk);
  EXPECT_EQ(model::flushBits(out, state), qlmOk);
  bytes.resize(static_cast<size_t>(position));
  return bytes;
}

// An export and its model that decode the same source, which ends flush at an inaccessible page.
class DecoderPair {
 public:
  DecoderPair(const std::vector<uint8_t>& source, const Decoder& dc, const Decoder& ac)
      : source_(source.size()), dc_(*dc.spec.data()), ac_(*ac.spec.data()) {
    std::copy(source.begin(), source.end(), source_.begin());
    Random(source.size()).fill(block_.span());
    restart();
  }

  // What a caller does at a restart marker.
  void restart() {
    model::decodeStateInit(expected_.state);
    qlmiDecodeHuffmanStateInit_JPEG_8u(state_.data());
    expected_.lastDC = lastDC_[0] = 0;
    marker_ = expectedMarker_ = 0;
  }

  // The bits that a caller's state holds from elsewhere, and where to go on.
  void setBits(uint32_t bits, int32_t count) {
    state_[0].accumulator = expected_.state.accumulator = bits;
    state_[0].bitCount = expected_.state.bitCount = count;
  }
  void setPosition(int32_t position) { position_ = expectedPosition_ = position; }
  void setMarker(int32_t marker) { marker_ = expectedMarker_ = marker; }
  void setLastDC(int16_t lastDC) { lastDC_[0] = expected_.lastDC = lastDC; }

  // Decodes a block with both and compares all that the caller sees.
  QlmStatus decode() {
    const auto length = static_cast<int32_t>(source_.size());
    const model::Input in{source_.data(), length, &expectedPosition_, &expectedMarker_};
    wasFast_ = model::decodeBlockFast(in, dc_, ac_, expected_);
    const QlmStatus expected = wasFast_ ? qlmOk : model::decodeBlockCareful(in, dc_, ac_, expected_);
    const QlmStatus got = qlmiDecodeHuffman8x8_JPEG_1u16s_C1(source_.data(), length, &position_, block_.data(),
                                                             lastDC_.data(), &marker_, &dc_, &ac_, state_.data());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(position_, expectedPosition_);
    EXPECT_EQ(lastDC_[0], expected_.lastDC);
    EXPECT_EQ(marker_, expectedMarker_);
    EXPECT_EQ(state_[0].bitCount, expected_.state.bitCount);
    EXPECT_EQ(heldBits(state_[0].accumulator, state_[0].bitCount),
              heldBits(expected_.state.accumulator, expected_.state.bitCount));
    EXPECT_EQ(state_[0].codedPositions, expected_.state.codedPositions);
    EXPECT_EQ(state_[0].eobRun, expected_.state.eobRun);
    EXPECT_TRUE(std::equal(block_.begin(), block_.end(), expected_.block.begin()));
    return expected;
  }

  const Block& block() const { return expected_.block; }
  int16_t lastDC() const { return expected_.lastDC; }
  int32_t position() const { return expectedPosition_; }
  int32_t marker() const { return expectedMarker_; }
  const QlmDecodeHuffmanState& state() const { return expected_.state; }
  bool wasFast() const { return wasFast_; }

 private:
  Guarded<uint8_t> source_;
  Guarded<int16_t> block_{64}, lastDC_{1};
  Guarded<QlmDecodeHuffmanState> state_{1};
  int32_t position_ = 0, marker_ = 0;

  model::DecodedBlock expected_{};
  int32_t expectedPosition_ = 0, expectedMarker_ = 0;
  bool wasFast_ = false;
  const QlmDecodeHuffmanSpec &dc_, &ac_;
};

}  // namespace huffman
