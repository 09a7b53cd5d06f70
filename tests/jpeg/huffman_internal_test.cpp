// The bit engines that all Huffman coders share, call by call against the model and literally, in states that a block
// coder does not reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "jpeg/entropy/huffman_bits.h"
#include "model/jpeg_huffman.h"
#include "support/guarded.h"
#include "support/random.h"

using test::Guarded;
using test::Random;

namespace {

using Bytes = std::vector<uint8_t>;

QlmDecodeHuffmanState held(uint32_t bits, int32_t count) {
  QlmDecodeHuffmanState state{};
  state.accumulator = bits;
  state.bitCount = count;
  return state;
}

// Bytes among which 0xFF, stuffed zeros and markers are frequent.
Bytes markedBytes(Random& random, size_t count) {
  Bytes bytes(count);
  for (uint8_t& byte : bytes) {
    const int64_t kind = random.between(0, 5);
    byte = kind == 0 ? 0xFF : kind == 1 ? 0 : static_cast<uint8_t>(random.bits());
  }
  return bytes;
}

struct Fill {
  QlmStatus status;
  int32_t position, marker, bitCount;
  uint32_t bits;
  bool operator==(const Fill&) const = default;
};

Fill fill(const Bytes& bytes, int32_t marker, int32_t needed, QlmDecodeHuffmanState state) {
  Guarded<uint8_t> source(bytes.size());
  std::copy(bytes.begin(), bytes.end(), source.begin());
  Fill f{};
  f.marker = marker;
  f.status = ownHuffmanFill(source.data(), static_cast<int32_t>(bytes.size()), &f.position, &f.marker, needed, &state);
  f.bitCount = state.bitCount;
  f.bits = static_cast<uint32_t>(state.accumulator);
  return f;
}

}  // namespace

TEST(HuffmanFill, literally) {
  // Four bytes make 32 bits, which is the first count of at least 25.
  EXPECT_EQ(fill({1, 2, 3, 4, 5}, 0, 0, held(0, 0)), (Fill{qlmOk, 4, 0, 32, 0x01020304}));
  EXPECT_EQ(fill({1, 2, 3, 4, 5}, 0, 0, held(1, 1)), (Fill{qlmOk, 3, 0, 25, 0x01010203}));
  // 25 bits are enough, whatever is needed.
  EXPECT_EQ(fill({1}, 0, 32, held(9, 25)), (Fill{qlmOk, 0, 0, 25, 9}));
  EXPECT_EQ(fill({1}, 0, 0, held(9, 24)), (Fill{qlmOk, 1, 0, 32, 0x901}));
  // The end of the source is an error only for whoever needs more.
  EXPECT_EQ(fill({1, 2}, 0, 16, held(0, 0)), (Fill{qlmOk, 2, 0, 16, 0x0102}));
  EXPECT_EQ(fill({1, 2}, 0, 17, held(0, 0)), (Fill{qlmErrOutOfBuffer, 2, 0, 16, 0x0102}));
  // A marker on record stops all reading.
  EXPECT_EQ(fill({1, 2}, 0xD9, 3, held(5, 3)), (Fill{qlmOk, 0, 0xD9, 3, 5}));
  EXPECT_EQ(fill({1, 2}, 0xD9, 4, held(5, 3)), (Fill{qlmErrDctRange, 0, 0xD9, 3, 5}));
  EXPECT_EQ(fill({1, 2}, 0xD9, 0, held(5, -1)), (Fill{qlmErrDctRange, 0, 0xD9, -1, 5}));
  // Whoever meets it is told nothing of a shortage.
  EXPECT_EQ(fill({1, 0xFF, 0xD9, 2}, 0, 16, held(0, 0)), (Fill{qlmOk, 3, 0xD9, 8, 1}));
  EXPECT_EQ(fill({0xFF, 0xFF, 0xD9}, 0, 1, held(0, 0)), (Fill{qlmOk, 3, 0xD9, 0, 0}));
  // Stuffed and fill bytes.
  EXPECT_EQ(fill({0xFF, 0, 1, 0xFF, 0xFF, 0, 2}, 0, 0, held(0, 0)), (Fill{qlmOk, 7, 0, 32, 0xFF01FF02}));
  // A last byte of 0xFF fails even where the bits suffice, and so do fill bytes without an end.
  EXPECT_EQ(fill({1, 0xFF}, 0, 0, held(0, 0)), (Fill{qlmErrOutOfBuffer, 2, 0, 8, 1}));
  EXPECT_EQ(fill({0xFF, 0xFF, 0xFF}, 0, 1, held(7, 3)), (Fill{qlmErrOutOfBuffer, 3, 0, 3, 7}));
}

TEST(HuffmanFill, likeTheModel) {
  Random random(400);
  for (int32_t i = 0; i < 20000; ++i) {
    TRACE_SEED(400);
    const Bytes bytes = markedBytes(random, static_cast<size_t>(random.between(1, 12)));
    const auto length = static_cast<int32_t>(bytes.size());
    const int32_t marker = random.oneIn(6) ? 0xD9 : 0, needed = static_cast<int32_t>(random.between(0, 16));
    QlmDecodeHuffmanState state =
        held(static_cast<uint32_t>(random.bits()), static_cast<int32_t>(random.between(marker ? -15 : 0, 32)));
    const Fill got = fill(bytes, marker, needed, state);
    Fill want{};
    want.marker = marker;
    want.status = model::fill({bytes.data(), length, &want.position, &want.marker}, needed, state);
    want.bitCount = state.bitCount;
    want.bits = static_cast<uint32_t>(state.accumulator);
    ASSERT_EQ(got, want) << i;
  }
}

TEST(HuffmanGetSymbol, likeTheModel) {
  Random random(401);
  for (int32_t table = 0; table < 400; ++table) {
    TRACE_SEED(401);
    uint8_t counts[16], values[256];
    int64_t left = 256;
    for (uint8_t& count : counts) {
      count = random.oneIn(2) ? uint8_t{0} : static_cast<uint8_t>(random.between(0, std::min<int64_t>(left, 12)));
      left -= count;
    }
    random.fill(std::span<uint8_t>(values));
    Guarded<QlmDecodeHuffmanSpec> spec(1);
    if (model::decodeSpecInit(counts, values, spec[0]) != qlmOk) continue;
    for (int32_t i = 0; i < 200; ++i) {
      const Bytes bytes = markedBytes(random, static_cast<size_t>(random.between(0, 8)));
      const auto length = static_cast<int32_t>(bytes.size());
      Guarded<uint8_t> source(bytes.size());
      std::copy(bytes.begin(), bytes.end(), source.begin());
      const int32_t firstMarker = random.oneIn(6) ? 0xD9 : 0;
      QlmDecodeHuffmanState got =
          held(static_cast<uint32_t>(random.bits()), static_cast<int32_t>(random.between(firstMarker ? -15 : 0, 32)));
      QlmDecodeHuffmanState want = got;
      int32_t position = 0, wantPosition = 0, marker = firstMarker, wantMarker = firstMarker, wantSymbol = 7;
      uint32_t symbol = 7;
      const QlmStatus status =
          ownHuffmanGetSymbol(source.data(), length, &position, &marker, &symbol, spec.data(), &got);
      ASSERT_EQ(status, model::getSymbol({bytes.data(), length, &wantPosition, &wantMarker}, spec[0], want, wantSymbol))
          << table << ' ' << i;
      ASSERT_EQ(symbol, static_cast<uint32_t>(wantSymbol));
      ASSERT_EQ(position, wantPosition);
      ASSERT_EQ(marker, wantMarker);
      ASSERT_EQ(got.bitCount, want.bitCount);
      ASSERT_EQ(static_cast<uint32_t>(got.accumulator), static_cast<uint32_t>(want.accumulator));
    }
  }
}

// Without codes the seventeenth bit is asked for before the code is refused.
TEST(HuffmanGetSymbol, noCodeWithin16Bits) {
  const uint8_t counts[16] = {}, values[1] = {};
  QlmDecodeHuffmanSpec spec;
  ASSERT_EQ(model::decodeSpecInit(counts, values, spec), qlmOk);
  const uint8_t source[3] = {0x12, 0x34, 0x56};
  for (const int32_t length : {2, 3}) {
    QlmDecodeHuffmanState state = held(0, 0);
    int32_t position = 0, marker = 0;
    uint32_t symbol = 7;
    EXPECT_EQ(ownHuffmanGetSymbol(source, length, &position, &marker, &symbol, &spec, &state),
              length == 2 ? qlmErrOutOfBuffer : qlmErrDctRange);
    EXPECT_EQ(symbol, length == 2 ? 7u : 0u);
    EXPECT_EQ(state.bitCount, length == 2 ? 0 : 7);
  }
}

TEST(HuffmanPutBits, everyLengthBehindEveryPendingCountInEveryRoom) {
  Random random(402);
  for (int32_t pending = 0; pending < 8; ++pending) {
    for (int32_t length = 0; length <= 16; ++length) {
      for (const uint32_t value : {0u, ~0u, static_cast<uint32_t>(random.bits())}) {
        for (size_t room = 0; room <= 5; ++room) {
          QlmEncodeHuffmanState got{}, want{};
          const uint32_t bits = value & 1 ? 0xFF0000 : 0xA50000;
          got.accumulator = want.accumulator = bits & ~(0xFFFFFFu >> pending);  // zeros below the pending bits
          got.bitCount = want.bitCount = pending;
          Guarded<uint8_t> bytes(room);
          Bytes wantBytes(room);
          int32_t position = 0, wantPosition = 0;
          const auto bound = static_cast<int32_t>(room);
          const QlmStatus status = ownHuffmanPutBits(value, length, bytes.data(), bound, &position, &got);
          ASSERT_EQ(status, model::putBits(static_cast<int32_t>(value), length,
                                           {wantBytes.data(), bound, &wantPosition}, want));
          ASSERT_EQ(position, wantPosition);
          ASSERT_EQ(got.bitCount, want.bitCount);
          ASSERT_EQ(got.accumulator & 0xFFFFFF, want.accumulator & 0xFFFFFF);
          ASSERT_TRUE(std::equal(wantBytes.begin(), wantBytes.end(), bytes.begin()));
        }
      }
    }
  }
}

TEST(HuffmanPutBits, failureKeepsBytesAndForgetsBits) {
  QlmEncodeHuffmanState state{};
  state.accumulator = 0xFE0000;  // seven ones
  state.bitCount = 7;
  Guarded<uint8_t> bytes(1);
  int32_t position = 0;
  EXPECT_EQ(ownHuffmanPutBits(0x8000, 16, bytes.data(), 1, &position, &state), qlmErrOutOfBuffer);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(bytes[0], 0xFF);
  EXPECT_EQ(state.accumulator, 0xFE0000u);
  EXPECT_EQ(state.bitCount, 7);
}

TEST(HuffmanPutBits, codeOfNoLength) {
  QlmEncodeHuffmanState state{};
  int32_t position = 0;
  EXPECT_EQ(ownHuffmanPutBits(1, 0, nullptr, 0, &position, &state), qlmErrHuffTable);
  EXPECT_EQ(state.bitCount, 0);
}

TEST(HuffmanEngine, everyByteAndItsNeighboursAreFound) {
  Random random(403);
  for (int32_t i = 0; i < 200000; ++i) {
    uint64_t word = 0;
    bool has = false;
    for (int32_t k = 0; k < 8; ++k) {
      constexpr uint8_t kLikely[] = {0xFF, 0xFE, 0x00, 0x01, 0x7F, 0x80};
      const uint8_t byte = random.oneIn(3) ? static_cast<uint8_t>(random.bits()) : kLikely[random.bits() % 6];
      if (byte == 0xFF && !random.oneIn(4)) continue;
      word |= uint64_t{byte} << 8 * k;
      has |= byte == 0xFF;
    }
    ASSERT_EQ(ownHasByteFF(word), has) << std::hex << word;
  }
}
