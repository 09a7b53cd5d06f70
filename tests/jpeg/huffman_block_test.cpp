// Baseline blocks with bounds (T.81 F.1.2, F.2.2) against the model call by call, against bytes worked out by hand, and
// against the scans of libjpeg-turbo.
#include "jpeg/huffman_support.h"

#include <string>

using namespace huffman;

namespace {

// What the export writes for these blocks with a flush at the end.
Bytes encoded(const std::vector<Block>& blocks, const Tables& tables) {
  EncoderPair pair(4096, tables);
  for (const Block& block : blocks) EXPECT_EQ(pair.encode(block), qlmOk);
  EXPECT_EQ(pair.flush(), qlmOk);
  return pair.bytes();
}

// Decodes until `blocks` blocks are done or a failure repeats itself, as a caller that knows restart markers does.
void decodeAll(DecoderPair& pair, int32_t blocks) {
  int32_t failures = 0;
  for (int32_t i = 0; i < blocks && failures < 3 && !::testing::Test::HasFailure(); ++i) {
    if (pair.decode() == qlmOk) continue;
    ++failures;
    if (pair.marker() >= 0xD0 && pair.marker() <= 0xD7) pair.restart();
  }
}

}  // namespace

TEST(Model, qlmiEncodeHuffman8x8_JPEG_16s1u_C1) {
  Random random(201);
  const std::vector<Tables> tables = manyTables(random);
  for (size_t t = 0; t < tables.size(); ++t) {
    for (uint64_t stream = 0; stream < 60; ++stream) {
      TRACE_SEED(201);
      SCOPED_TRACE(::testing::Message() << "tables " << t << " segment " << stream);
      EncoderPair pair(40000, tables[t]);
      for (int32_t i = 0; i < 40; ++i) pair.encode(anyBlock(random));  // typical tables lack codes for some
      EXPECT_EQ(pair.flush(), qlmOk);
      ASSERT_FALSE(HasFailure());
    }
  }
}

TEST(Model, qlmiDecodeHuffman8x8_JPEG_1u16s_C1) {
  Random random(202);
  const std::vector<Tables> tables = manyTables(random);
  for (const Tables& table : tables) {
    for (int32_t segment = 0; segment < 60; ++segment) {
      TRACE_SEED(202);
      const std::vector<Block> blocks = codableBlocks(random, 40);
      Bytes source = segmentOf(blocks, table);
      if (segment % 2) source.insert(source.end(), {0xFF, 0xD9});
      DecoderPair pair(source, table.dcDecoder, table.acDecoder);
      for (const Block& block : blocks) {
        ASSERT_EQ(pair.decode(), qlmOk);
        ASSERT_EQ(pair.block(), block);
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

TEST(HuffmanEncode, bytesByHand) {
  // Difference 0: 00, EOB 1010, padding 11.
  EXPECT_EQ(encoded({Block{}}, luminance()), (Bytes{0x2B}));
  // Difference -1: category 1 is 010, bit 0, EOB 1010: nothing is pending at the end.
  EXPECT_EQ(encoded({withCoefficient(0, -1)}, luminance()), (Bytes{0x4A}));
  // 00, three times 11111111001, symbol 0xE1 1111111111101011, bit 1; no EOB. A byte of ones is stuffed.
  EXPECT_EQ(encoded({withCoefficient(63, 1)}, luminance()), (Bytes{0x3F, 0xCF, 0xF9, 0xFF, 0x00, 0x3F, 0xFD, 0x7F}));
  // 16 zeros: 00, 11111111001, symbol 0x01 00, bit 1, EOB 1010.
  EXPECT_EQ(encoded({withCoefficient(17, 1)}, luminance()), (Bytes{0x3F, 0xC9, 0xAF}));
  // 15 zeros: 00, symbol 0xF1 1111111111110101, bit 0 of -1, EOB 1010.
  EXPECT_EQ(encoded({withCoefficient(16, -1)}, luminance()), (Bytes{0x3F, 0xFD, 0x55}));
  // The same difference twice: 011 11 1010, then 00 1010: 0111'1101'0001'010 and one 1.
  EXPECT_EQ(encoded({withCoefficient(0, 3), withCoefficient(0, 3)}, luminance()), (Bytes{0x7D, 0x15}));
}

TEST(HuffmanEncode, everyRoom) {
  Random random(203);
  for (const Tables* tables : {&luminance(), &complete()}) {
    for (int32_t round = 0; round < 25; ++round) {
      TRACE_SEED(203);
      const std::vector<Block> blocks = codableBlocks(random, 3);
      const Bytes whole = segmentOf(blocks, *tables);
      const auto enough = static_cast<int32_t>(whole.size());
      for (int32_t room = 1; room <= enough + 26; ++room) {
        SCOPED_TRACE(room);
        EncoderPair pair(room, *tables);
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

TEST(HuffmanEncode, stuffingByteBeyondTheEnd) {
  const Block block = withCoefficient(63, 1);  // 3F CF F9 FF 00 3F FD, four bits
  for (int32_t room : {3, 4, 5, 6}) {
    EncoderPair pair(room, luminance());
    EXPECT_EQ(pair.encode(block), qlmErrOutOfBuffer);
    EXPECT_EQ(pair.position(), room);
  }
  Guarded<uint8_t> room(4);
  QlmEncodeHuffmanState state;
  int32_t position = 0;
  int16_t lastDC = 0;
  model::encodeStateInit(state);
  EXPECT_EQ(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), room.data(), 4, &position, &lastDC,
                                               luminance().dcEncoder.spec.data(), luminance().acEncoder.spec.data(),
                                               &state, 0),
            qlmErrOutOfBuffer);
  EXPECT_EQ(position, 4);
  EXPECT_EQ(Bytes(room.begin(), room.end()), (Bytes{0x3F, 0xCF, 0xF9, 0xFF}));
}

TEST(HuffmanEncode, flushPadsWithOnes) {
  for (int32_t pending = 0; pending < 8; ++pending) {
    for (const uint32_t bits : {0u, 0x7Fu}) {
      for (const int32_t room : {1, 2}) {
        Guarded<uint8_t> bytes(static_cast<size_t>(room));
        QlmEncodeHuffmanState state;
        std::memset(&state, 0xA5, sizeof state);
        state.accumulator = pending ? static_cast<uint64_t>(bits >> (7 - pending)) << (24 - pending) : 0;
        state.bitCount = pending;
        int32_t position = 0;
        const QlmStatus status = qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, bytes.data(), room, &position, nullptr,
                                                                    nullptr, nullptr, &state, -256);
        const bool stuffed = pending > 0 && bits != 0;
        EXPECT_EQ(status, stuffed && room == 1 ? qlmErrOutOfBuffer : qlmOk);
        EXPECT_EQ(position, pending == 0 ? 0 : stuffed ? room : 1);
        if (pending > 0) {
          EXPECT_EQ(bytes[0], bits ? 0xFF : 0xFF >> pending);
        }
        EXPECT_EQ(state.accumulator, 0u);
        EXPECT_EQ(state.bitCount, 0);
        EXPECT_EQ(state.eobRun, 0);
        EXPECT_EQ(state.correctionCount, 0);
        EXPECT_EQ(std::count(std::begin(state.correctionBits), std::end(state.correctionBits), 0), 1024);
      }
    }
  }
}

TEST(HuffmanEncode, flushIntoAFullRoomResetsTheState) {
  Guarded<uint8_t> bytes(1);
  QlmEncodeHuffmanState state;
  model::encodeStateInit(state);
  state.accumulator = 1u << 23;
  state.bitCount = 1;
  int32_t position = 1;
  EXPECT_EQ(
      qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, bytes.data(), 1, &position, nullptr, nullptr, nullptr, &state, 1),
      qlmErrOutOfBuffer);
  EXPECT_EQ(position, 1);
  EXPECT_EQ(state.accumulator, 0u);
  EXPECT_EQ(state.bitCount, 0);
}

TEST(HuffmanEncode, symbolWithoutCode) {
  const HuffmanLists none{{}, {0}}, onlyZero{{0, 1}, {0}};
  for (const int32_t room : {8, 100}) {
    {
      const Tables tables(none, none);
      EncoderPair pair(room, tables);
      EXPECT_EQ(pair.encode(withCoefficient(0, 5)), qlmErrHuffTable);
      EXPECT_EQ(pair.position(), 0);
    }
    {
      // The DC part of the second block stays written, and its value the last one: 011 11 then 011 10 ...
      const Tables tables(test::typicalTable(test::TypicalTable::LuminanceDC), none);
      EncoderPair pair(room, tables);
      EXPECT_EQ(pair.encode(withCoefficient(0, 3)), qlmErrHuffTable);
      EXPECT_EQ(pair.encode(withCoefficient(0, 5)), qlmErrHuffTable);
      EXPECT_EQ(pair.position(), 1);
      EXPECT_EQ(pair.flush(), qlmOk);
      EXPECT_EQ(pair.bytes(), (Bytes{0x7B, 0xBF}));
    }
    {
      // EOB has no code, ZRL has none, the symbol has none.
      const Tables tables(onlyZero, none);
      for (size_t k = 1; k < 64; ++k) {
        EncoderPair pair(room, tables);
        EXPECT_EQ(pair.encode(withCoefficient(k, 1)), qlmErrHuffTable);
        EXPECT_EQ(pair.flush(), qlmOk);
        EXPECT_EQ(pair.bytes(), (Bytes{0x3F}));
      }
    }
  }
}

TEST(HuffmanEncode, extremes) {
  Random random(204);
  const HuffmanLists lists = randomLists(random, symbolsBelow(256), 2);
  const Tables tables(lists, lists);
  for (const int32_t room : {40, 1000}) {
    EncoderPair pair(room, tables);
    for (const int16_t dc : {32767, -32768, 32767, 0, -32768, -1, 0, 16384, -16384})
      pair.encode(withCoefficient(0, dc));
    ASSERT_FALSE(HasFailure());
  }
  // Codes and values of every length together, behind every number of pending bits.
  Random any(211);
  for (int32_t i = 0; i < 3000; ++i) {
    EncoderPair pair(2000, tables);
    for (int32_t n = 0; n < 3; ++n) {
      Block block;
      for (int16_t& v : block) {
        const int64_t bits = any.between(0, 15);
        v = static_cast<int16_t>(any.between(-((1 << bits) - 1), (1 << bits) - 1));
      }
      pair.encode(block);
    }
    ASSERT_FALSE(HasFailure()) << i;
  }
  for (int32_t category = 1; category <= 15; ++category) {
    for (const int32_t value : {1 << (category - 1), (1 << category) - 1}) {
      for (const int32_t sign : {1, -1}) {
        const auto coefficient = static_cast<int16_t>(sign * value);
        for (size_t k = 1; k < 64; ++k) {
          for (const int32_t room : {23, 1000}) {
            EncoderPair pair(room, tables);
            EXPECT_EQ(pair.encode(withCoefficient(k, coefficient)), qlmOk);
            Block full;
            full.fill(coefficient);
            pair.encode(full);
            ASSERT_FALSE(HasFailure()) << k << ' ' << coefficient;
          }
        }
      }
    }
  }
}

// Nothing is longer than 64 codes and 64 values of 16 bits each, which are 256 bytes before stuffing.
TEST(HuffmanEncode, longestBlocks) {
  HuffmanLists lists{{}, symbolsBelow(255)};
  lists.counts[15] = 255;  // codes 0 to 254, all of 16 bits
  const Tables tables(lists, lists);
  Block lowest, highest;
  lowest.fill(-32768);
  highest.fill(32767);
  EncoderPair pair(4096, tables);
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(pair.encode(lowest), qlmOk);
    EXPECT_EQ(pair.encode(highest), qlmOk);
  }
  EXPECT_EQ(pair.flush(), qlmOk);
}

// The lowest value has category 16, which is symbol 0 of the next run.
TEST(HuffmanEncode, lowestCoefficientUsesTheNextRun) {
  for (const int32_t room : {20, 1000}) {
    for (size_t k = 1; k < 64; ++k) {
      if (k % 16 == 0) continue;  // a run of 15 has no next one
      SCOPED_TRACE(::testing::Message() << "room " << room << " position " << k);
      EncoderPair pair(room, complete());
      EXPECT_EQ(pair.encode(withCoefficient(k, -32768)), qlmOk);
    }
  }
}

// Symbol 256 does not exist: what is written for it is nobody's promise, reading behind the table would be a fault.
TEST(HuffmanEncode, lowestCoefficientBehindFifteenZerosReadsNothingOutside) {
  const Block block = withCoefficient(16, -32768);
  for (const int32_t room : {20, 1000}) {
    Guarded<uint8_t> bytes(static_cast<size_t>(room));
    QlmEncodeHuffmanState state;
    model::encodeStateInit(state);
    int32_t position = 0;
    int16_t lastDC = 0;
    const QlmStatus status = qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes.data(), room, &position, &lastDC,
                                                                complete().dcEncoder.spec.data(),
                                                                complete().acEncoder.spec.data(), &state, 0);
    EXPECT_TRUE(status == qlmOk || status == qlmErrHuffTable) << status;
    EXPECT_LE(position, 20);
  }
}

TEST(HuffmanEncode, checksInTheirOrder) {
  const Block block{};
  uint8_t bytes[64] = {};
  int32_t position = 0;
  int16_t lastDC = 7;
  QlmEncodeHuffmanState state;
  model::encodeStateInit(state);
  const QlmEncodeHuffmanSpec* dc = luminance().dcEncoder.spec.data();
  const QlmEncodeHuffmanSpec* ac = luminance().acEncoder.spec.data();
  const auto call = qlmiEncodeHuffman8x8_JPEG_16s1u_C1;
  EXPECT_EQ(call(nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 0), qlmErrNullPointer);
  EXPECT_EQ(call(nullptr, bytes, 0, nullptr, nullptr, nullptr, nullptr, nullptr, 1), qlmErrSize);
  EXPECT_EQ(call(block.data(), bytes, -1, &position, &lastDC, dc, ac, &state, 0), qlmErrSize);
  EXPECT_EQ(call(block.data(), bytes, 64, nullptr, &lastDC, dc, ac, &state, 0), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, &position, &lastDC, dc, ac, nullptr, 0), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, nullptr, &lastDC, dc, ac, &state, 1), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, &position, &lastDC, dc, ac, nullptr, 1), qlmErrNullPointer);
  EXPECT_EQ(call(nullptr, bytes, 64, &position, &lastDC, dc, ac, &state, 0), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, &position, nullptr, dc, ac, &state, 0), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, &position, &lastDC, nullptr, ac, &state, 0), qlmErrNullPointer);
  EXPECT_EQ(call(block.data(), bytes, 64, &position, &lastDC, dc, nullptr, &state, 0), qlmErrNullPointer);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(lastDC, 7);
  EXPECT_EQ(std::count(std::begin(bytes), std::end(bytes), 0), 64);
}

TEST(HuffmanDecode, everyTruncation) {
  Random random(205);
  for (const Tables* tables : {&luminance(), &complete()}) {
    for (int32_t round = 0; round < 25; ++round) {
      TRACE_SEED(205);
      Bytes source = segmentOf(codableBlocks(random, 4), *tables);
      for (; !source.empty(); source.pop_back()) {
        DecoderPair pair(source, tables->dcDecoder, tables->acDecoder);
        decodeAll(pair, 6);
        ASSERT_FALSE(HasFailure()) << source.size();
      }
    }
  }
}

TEST(HuffmanDecode, markersAndFillBytesAtEveryPlace) {
  Random random(206);
  const std::vector<Bytes> insertions = {
      {0xFF},      {0xFF, 0x00}, {0xFF, 0xFF}, {0xFF, 0xFF, 0x00}, {0xFF, 0xD9}, {0xFF, 0xD3}, {0xFF, 0xFF, 0xFF, 0xD9},
      {0xFF, 0x01}};
  for (const Tables* tables : {&luminance(), &complete()}) {
    for (int32_t round = 0; round < 12; ++round) {
      TRACE_SEED(206);
      const Bytes source = segmentOf(codableBlocks(random, 4), *tables);
      for (const Bytes& insertion : insertions) {
        for (size_t at = 0; at <= source.size(); ++at) {
          Bytes damaged = source;
          damaged.insert(damaged.begin() + static_cast<ptrdiff_t>(at), insertion.begin(), insertion.end());
          DecoderPair pair(damaged, tables->dcDecoder, tables->acDecoder);
          decodeAll(pair, 7);
          ASSERT_FALSE(HasFailure()) << at << ::testing::PrintToString(insertion);
        }
      }
    }
  }
}

TEST(HuffmanDecode, damagedStreams) {
  Random random(207);
  const std::vector<Tables> tables = manyTables(random);
  for (int32_t round = 0; round < 4000; ++round) {
    TRACE_SEED(207);
    const Tables& table = tables[static_cast<size_t>(round) % tables.size()];
    Bytes source = segmentOf(codableBlocks(random, 8), table);
    for (int64_t flips = random.between(1, 5); flips > 0; --flips) {
      const auto at = static_cast<size_t>(random.between(0, static_cast<int64_t>(source.size()) - 1));
      source[at] = static_cast<uint8_t>(source[at] ^ (1u << random.between(0, 7)));
    }
    DecoderPair pair(source, table.dcDecoder, table.acDecoder);
    decodeAll(pair, 12);
    ASSERT_FALSE(HasFailure()) << round;
  }
}

// Long stretches without 0xFF, which a decoder may take at a stride, and what ends them at every place.
TEST(HuffmanDecode, stretchesWithoutStuffing) {
  Random random(212);
  const std::vector<Tables> tables = manyTables(random);
  for (const Tables& table : tables) {
    TRACE_SEED(212);
    Bytes clear(260);
    for (uint8_t& byte : clear) byte = static_cast<uint8_t>(random.between(0, 254));
    for (const Bytes& insertion : {Bytes{}, Bytes{0xFF, 0x00}, Bytes{0xFF, 0xD2}, Bytes{0xFF, 0x00, 0xFF, 0x00}}) {
      for (size_t at = 0; at <= clear.size(); ++at) {
        Bytes source = clear;
        if (insertion.empty()) {
          source.resize(at);
        } else {
          source.insert(source.begin() + static_cast<ptrdiff_t>(at), insertion.begin(), insertion.end());
        }
        DecoderPair pair(source, table.dcDecoder, table.acDecoder);
        pair.setBits(static_cast<uint32_t>(random.bits()), static_cast<int32_t>(at % 33));
        pair.setPosition(static_cast<int32_t>(std::min<size_t>(at % 71, source.size())));
        decodeAll(pair, 60);
        ASSERT_FALSE(HasFailure()) << at << ::testing::PrintToString(insertion);
      }
    }
  }
}

// Tables that no encoder would make, over bytes of all kinds.
TEST(HuffmanDecode, lenientTablesOverNoise) {
  Random random(208);
  int32_t tried = 0, overflowed = 0;
  while (tried < 3000) {
    TRACE_SEED(208);
    HuffmanLists lists = lenientLists(random);
    if (tried % 10 == 0) lists = {{1, 0, 0, 0, 0, 0, 0, 129}, lists.values};  // one entry behind the lookup
    if (tried % 10 == 1) lists = {{0, 2, 0, 0, 0, 0, 0, 129}, lists.values};
    const Decoder ac(lists);
    if (ac.status != qlmOk) continue;
    ++tried;
    overflowed += ac.spec[0].minCode[1] == 8;
    Bytes source(static_cast<size_t>(random.between(1, 120)));
    random.fill(std::span<uint8_t>(source));
    if (random.oneIn(2))
      for (uint8_t& byte : source) byte = byte == 0xFF ? 0xFE : byte;
    if (random.oneIn(2)) source.insert(source.end(), {0xFF, 0xD9});
    DecoderPair pair(source, tried % 2 ? luminance().dcDecoder : ac, ac);
    decodeAll(pair, 40);
    ASSERT_FALSE(HasFailure()) << tried;
  }
  EXPECT_GE(overflowed, 400);
}

TEST(HuffmanDecode, bitsByHand) {
  // Category 1 with bit 0 is -1, EOB.
  DecoderPair pair({0x4A}, luminance().dcDecoder, luminance().acDecoder);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block(), withCoefficient(0, -1));
  EXPECT_EQ(pair.state().codedPositions, 1);
  EXPECT_EQ(pair.position(), 1);
  EXPECT_EQ(pair.decode(), qlmErrOutOfBuffer);
  EXPECT_EQ(pair.state().codedPositions, 0);
  // The last position, without EOB.
  DecoderPair last({0x3F, 0xCF, 0xF9, 0xFF, 0x00, 0x3F, 0xFD, 0x7F}, luminance().dcDecoder, luminance().acDecoder);
  EXPECT_EQ(last.decode(), qlmOk);
  EXPECT_EQ(last.block(), withCoefficient(63, 1));
  EXPECT_EQ(last.state().codedPositions, 64);
}

TEST(HuffmanDecode, fastRouteHandsBackWholeBytes) {
  // 4A is a whole block. Eight bytes are loaded at once; 56 of 64 bits are left behind the first block, three bytes
  // of which go back.
  const auto decodeFirst = [](size_t bytes) {
    DecoderPair pair(Bytes(bytes, 0x4A), luminance().dcDecoder, luminance().acDecoder);
    EXPECT_EQ(pair.decode(), qlmOk);
    return std::pair(pair.position(), pair.state().bitCount);
  };
  EXPECT_EQ(decodeFirst(24), std::pair(5, 32));
  EXPECT_EQ(decodeFirst(23), std::pair(4, 24));  // byte by byte until 25 bits are held
  // A stuffed byte within reach: byte by byte until more than 24 bits are held.
  Bytes stuffed(24, 0x4A);
  stuffed[7] = 0xFF;
  stuffed[8] = 0x00;
  DecoderPair pair(stuffed, luminance().dcDecoder, luminance().acDecoder);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.position(), 4);
  EXPECT_EQ(pair.state().bitCount, 24);
}

TEST(HuffmanDecode, bitsOfTheStateSufficeWithoutSource) {
  DecoderPair pair({}, luminance().dcDecoder, luminance().acDecoder);
  pair.setBits(0x4A, 8);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.block()[0], -1);
  EXPECT_EQ(pair.state().bitCount, 0);
  pair.setBits(0x4A2, 12);
  pair.setMarker(0xD9);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.state().bitCount, 4);
  EXPECT_EQ(pair.lastDC(), -2);
  // 0010: difference 0, then EOB is cut off.
  EXPECT_EQ(pair.decode(), qlmErrDctRange);
}

TEST(HuffmanDecode, setMarkerAndNoBits) {
  DecoderPair pair({0x4A, 0x4A}, luminance().dcDecoder, luminance().acDecoder);
  pair.setMarker(0xD9);
  pair.setLastDC(123);
  EXPECT_EQ(pair.decode(), qlmErrDctRange);
  EXPECT_EQ(pair.block(), Block{});
  EXPECT_EQ(pair.lastDC(), 123);
  EXPECT_EQ(pair.position(), 0);
}

TEST(HuffmanDecode, markerIsRecordedBehindFillBytes) {
  DecoderPair pair({0x4A, 0xFF, 0xFF, 0xD9, 0x4A}, luminance().dcDecoder, luminance().acDecoder);
  EXPECT_EQ(pair.decode(), qlmOk);
  EXPECT_EQ(pair.marker(), 0xD9);
  EXPECT_EQ(pair.position(), 4);
  EXPECT_EQ(pair.decode(), qlmErrDctRange);
  EXPECT_EQ(pair.position(), 4);
}

TEST(HuffmanDecode, loneTrailingFFFailsThoughBitsAreAtHand) {
  DecoderPair pair({0x4A, 0xFF}, luminance().dcDecoder, luminance().acDecoder);
  EXPECT_EQ(pair.decode(), qlmErrOutOfBuffer);
  EXPECT_EQ(pair.position(), 2);
  EXPECT_EQ(pair.block(), Block{});
}

// A refill that itself meets the marker is fine, though the code lacks a bit: one that is long gone stands in for it.
// Of a category of 0 no bits are wanted, so the shortage shows only with the first AC symbol.
TEST(HuffmanDecode, categoryZeroAfterAShortage) {
  const HuffmanLists lists{{1, 1, 1, 1, 1, 1, 1, 1, 1, 1}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 0}};
  const Decoder dc(lists);
  DecoderPair pair({0xFF, 0xD9}, dc, luminance().acDecoder);
  pair.setLastDC(7);
  pair.setBits(0x1FF, 9);  // the first nine bits of 1111111110
  EXPECT_EQ(pair.decode(), qlmErrDctRange);
  EXPECT_EQ(pair.block(), withCoefficient(0, 7));
  EXPECT_EQ(pair.state().codedPositions, 1);
  EXPECT_EQ(pair.state().bitCount, -1);
}

TEST(HuffmanDecode, tableWithoutCodes) {
  const Decoder none(HuffmanLists{{}, {0}});
  for (const size_t bytes : {3, 30}) {
    DecoderPair pair(Bytes(bytes, 0x12), none, none);
    EXPECT_EQ(pair.decode(), qlmErrDctRange);
    EXPECT_EQ(pair.state().codedPositions, 0);
    DecoderPair ac(Bytes(bytes, 0x00), luminance().dcDecoder, none);
    EXPECT_EQ(ac.decode(), qlmErrDctRange);
    EXPECT_EQ(ac.state().codedPositions, 1);
  }
}

// One code, 0, for the symbol 0x13, so that category 3 follows.
TEST(HuffmanDecode, onlyTheLowFourBitsOfADCSymbolCount) {
  const Decoder dc(HuffmanLists{{1}, {0x13}});
  for (const size_t bytes : {1, 24}) {
    DecoderPair pair(Bytes(bytes, 0x5A), dc, luminance().acDecoder);  // 0 101 1010
    EXPECT_EQ(pair.decode(), qlmOk);
    EXPECT_EQ(pair.block(), withCoefficient(0, 5));
  }
}

// Runs that pass the end: up to eight positions too many land on position 63, more are an error.
TEST(HuffmanDecode, runsBeyondTheBlock) {
  for (int32_t run = 0; run < 16; ++run) {
    for (size_t first = 49; first <= 63; ++first) {  // scan positions before `first` hold ones
      const Decoder ac(HuffmanLists{{0, 2}, {0x01, static_cast<uint8_t>(run << 4 | 1)}});
      const Decoder dc(HuffmanLists{{1}, {0}});
      std::string bits = "0";
      for (size_t k = 1; k < first; ++k) bits += "001";
      bits += "010";  // the run, value -1
      for (const size_t more : {size_t{24}, size_t{240}}) {
        Bytes source;
        std::string padded = bits + std::string(more, '0');
        for (size_t i = 0; i + 8 <= padded.size(); i += 8)
          source.push_back(static_cast<uint8_t>(std::stoi(padded.substr(i, 8), nullptr, 2)));
        DecoderPair pair(source, dc, ac);
        const int32_t at = static_cast<int32_t>(first) + run;
        const QlmStatus status = pair.decode();
        ASSERT_FALSE(HasFailure()) << run << ' ' << first;
        if (at < 63) continue;  // goes on with further symbols
        EXPECT_EQ(status, at < 72 ? qlmOk : qlmErrDecodedPosition) << at;
        EXPECT_EQ(pair.block()[63], at < 72 ? -1 : 0);
        if (at < 72) {
          EXPECT_EQ(pair.state().codedPositions, at + 1);
        }
      }
    }
  }
}

// A ZRL that ends right behind the block is given up by the fast route and accepted by the careful one.
TEST(HuffmanDecode, zeroRunToTheEndOfTheBlock) {
  const Decoder ac(HuffmanLists{{0, 2}, {0xF0, 0xE1}}), dc(HuffmanLists{{1}, {0}});
  // 0, then F0 F0 F0 F0: 64 positions from 1 on, one too many.
  DecoderPair over(Bytes(40, 0x00), dc, ac);
  EXPECT_EQ(over.decode(), qlmOk);
  EXPECT_EQ(over.state().codedPositions, 65);
  EXPECT_FALSE(over.wasFast());
  // 0, 01 1 (run 14: position 15), then 00 00 00: positions 16 to 63 exactly.
  Bytes source(40, 0x00);
  source[0] = 0x30;
  DecoderPair exact(source, dc, ac);
  EXPECT_EQ(exact.decode(), qlmOk);
  EXPECT_EQ(exact.block(), withCoefficient(15, 1));
  EXPECT_EQ(exact.state().codedPositions, 64);
  EXPECT_FALSE(exact.wasFast());
}

TEST(HuffmanDecode, checksInTheirOrder) {
  const uint8_t source[4] = {0x4A, 0x4A, 0x4A, 0x4A};
  Block block;
  block.fill(99);
  const Block before = block;
  int32_t position = 0, marker = 0;
  int16_t lastDC = 7;
  QlmDecodeHuffmanState state;
  model::decodeStateInit(state);
  const QlmDecodeHuffmanSpec* dc = luminance().dcDecoder.spec.data();
  const QlmDecodeHuffmanSpec* ac = luminance().acDecoder.spec.data();
  const auto call = qlmiDecodeHuffman8x8_JPEG_1u16s_C1;
  EXPECT_EQ(call(nullptr, -1, &position, block.data(), &lastDC, &marker, dc, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, -1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), qlmErrBadArgument);
  EXPECT_EQ(call(source, 4, nullptr, block.data(), &lastDC, &marker, dc, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, nullptr, &lastDC, &marker, dc, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, block.data(), nullptr, &marker, dc, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, block.data(), &lastDC, nullptr, dc, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, block.data(), &lastDC, &marker, nullptr, ac, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, block.data(), &lastDC, &marker, dc, nullptr, &state), qlmErrNullPointer);
  EXPECT_EQ(call(source, 4, &position, block.data(), &lastDC, &marker, dc, ac, nullptr), qlmErrNullPointer);
  EXPECT_EQ(block, before);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(lastDC, 7);
}

// Scans of libjpeg-turbo with restart markers and without, written and read.
TEST(HuffmanInterop, greyScans) {
  Random random(209);
  for (const uint32_t interval : {0u, 1u, 7u}) {
    const std::vector<Block> blocks = codableBlocks(random, 32 * 20);
    const Bytes theirs = test::libjpegScan(blocks, 32, interval);

    Bytes ours(theirs.size());
    const auto length = static_cast<int32_t>(ours.size());
    QlmEncodeHuffmanState encoder;
    qlmiEncodeHuffmanStateInit_JPEG_8u(&encoder);
    int32_t position = 0;
    int16_t lastDC = 0;
    const auto flush = [&] {
      ASSERT_EQ(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, ours.data(), length, &position, nullptr, nullptr, nullptr,
                                                   &encoder, 1),
                qlmOk);
    };
    for (size_t i = 0; i < blocks.size(); ++i) {
      if (interval > 0 && i > 0 && i % interval == 0) {
        flush();
        ours[static_cast<size_t>(position++)] = 0xFF;
        ours[static_cast<size_t>(position++)] = static_cast<uint8_t>(0xD0 + (i / interval - 1) % 8);
        lastDC = 0;
      }
      ASSERT_EQ(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(blocks[i].data(), ours.data(), length, &position, &lastDC,
                                                   luminance().dcEncoder.spec.data(), luminance().acEncoder.spec.data(),
                                                   &encoder, 0),
                qlmOk);
    }
    flush();
    ASSERT_EQ(position, length);
    ASSERT_EQ(ours, theirs);

    DecoderPair decoder(theirs, luminance().dcDecoder, luminance().acDecoder);
    for (size_t i = 0; i < blocks.size(); ++i) {
      if (interval > 0 && i > 0 && i % interval == 0) {
        if (decoder.marker() == 0) {  // not met yet: the next two bytes
          decoder.setPosition(decoder.position() + 2);
        }
        decoder.restart();
      }
      ASSERT_EQ(decoder.decode(), qlmOk);
      ASSERT_EQ(decoder.block(), blocks[i]);
    }
  }
}

TEST(HuffmanInterop, colourScans) {
  Random random(210);
  std::array<std::vector<Block>, 3> planes;
  for (auto& plane : planes) plane = codableBlocks(random, 16 * 16);
  const Bytes theirs = test::libjpegScan(planes, 16, 0);
  Bytes ours(theirs.size());
  const auto length = static_cast<int32_t>(ours.size());
  QlmEncodeHuffmanState encoder;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&encoder);
  int32_t position = 0;
  int16_t lastDC[3] = {};
  for (size_t i = 0; i < planes[0].size(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      const Tables& tables = c == 0 ? luminance() : chrominance();
      ASSERT_EQ(
          qlmiEncodeHuffman8x8_JPEG_16s1u_C1(planes[c][i].data(), ours.data(), length, &position, &lastDC[c],
                                             tables.dcEncoder.spec.data(), tables.acEncoder.spec.data(), &encoder, 0),
          qlmOk);
    }
  }
  ASSERT_EQ(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, ours.data(), length, &position, nullptr, nullptr, nullptr,
                                               &encoder, 1),
            qlmOk);
  ASSERT_EQ(position, length);
  ASSERT_EQ(ours, theirs);

  QlmDecodeHuffmanState decoder;
  qlmiDecodeHuffmanStateInit_JPEG_8u(&decoder);
  int32_t marker = 0;
  position = 0;
  std::fill(std::begin(lastDC), std::end(lastDC), int16_t{0});
  for (size_t i = 0; i < planes[0].size(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      const Tables& tables = c == 0 ? luminance() : chrominance();
      Block block;
      ASSERT_EQ(
          qlmiDecodeHuffman8x8_JPEG_1u16s_C1(theirs.data(), length, &position, block.data(), &lastDC[c], &marker,
                                             tables.dcDecoder.spec.data(), tables.acDecoder.spec.data(), &decoder),
          qlmOk);
      ASSERT_EQ(block, planes[c][i]);
    }
  }
  EXPECT_EQ(position, length);
}
