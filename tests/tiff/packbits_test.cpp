// PackBits against its model: every room, every truncation, every target length, at all alignments between inaccessible
// pages; and the literal packets.
#include <gtest/gtest.h>

#include <algorithm>

#include "model/tiff_rows.h"
#include "support/placed.h"

namespace {

using test::Placed;
using test::Random;

using Bytes = std::vector<uint8_t>;

int32_t lengthOf(const Bytes& bytes) { return static_cast<int32_t>(bytes.size()); }

Placed<uint8_t> placed(const Bytes& bytes, size_t round, size_t buffer) {
  const auto [slack, edge] = test::placeOf(round, buffer);
  Placed<uint8_t> p(bytes.size(), 1, bytes.size(), slack, edge);
  if (!bytes.empty()) p.set(bytes);
  return p;
}

// Packs `row` into `room` bytes behind `position`, with nothing accessible behind them.
void checkPack(const Bytes& row, int32_t position, int32_t room, size_t round) {
  const model::Packed expected = model::packBits(row, room);
  const Placed<uint8_t> src = placed(row, round, 0);
  const Bytes blank(static_cast<size_t>(position) + static_cast<size_t>(room), 0xEE);
  const Placed<uint8_t> dst = placed(blank, round, 1);
  const auto srcBefore = src.snapshot();
  int32_t end = position;
  ASSERT_EQ(qlmiPackBitsRow_TIFF_8u_C1(src.data(), lengthOf(row), dst.data(), &end, room), expected.status);
  ASSERT_EQ(end, position + lengthOf(expected.bytes));
  Bytes wanted = blank, got = blank;
  dst.get(got);
  std::copy(expected.bytes.begin(), expected.bytes.end(), wanted.begin() + position);
  // Behind a packet that did not fit anything may stand, within the room.
  if (expected.status != qlmOk) std::copy(got.begin() + end, got.end(), wanted.begin() + end);
  ASSERT_TRUE(test::sameBytes(wanted, got));
  const Placed<uint8_t> around = placed(got, round, 1);
  ASSERT_TRUE(test::sameBytes(around.snapshot(), dst.snapshot()));
  ASSERT_EQ(src.snapshot(), srcBefore);
}

// Unpacks from `position` of the first `length` bytes of src; of the byte behind them only as much exists as is read.
void checkUnpack(const Bytes& src, int32_t position, int32_t length, int32_t wanted, size_t round) {
  const Bytes source(src.begin(), src.begin() + length);
  Bytes withOneBehind = source;
  withOneBehind.push_back(0x5C);
  const model::Unpacked expected = model::unpackBits(withOneBehind, position, length, wanted);
  const bool readsBehind = position < length && expected.position > length;
  const Placed<uint8_t> from = placed(readsBehind ? withOneBehind : source, round, 0);
  const Bytes blank(static_cast<size_t>(wanted), 0xEE);
  const Placed<uint8_t> dst = placed(blank, round, 1);
  int32_t end = position;
  ASSERT_EQ(qlmiUnpackBitsRow_TIFF_8u_C1(from.data(), &end, length, dst.data(), wanted), expected.status);
  ASSERT_EQ(end, expected.position);
  Bytes all = blank;
  std::copy(expected.bytes.begin(), expected.bytes.end(), all.begin());
  const Placed<uint8_t> whole = placed(all, round, 1);
  ASSERT_TRUE(test::sameBytes(whole.snapshot(), dst.snapshot()));
}

// Runs of one of `most` lengths over an alphabet of `letters`.
Bytes runnyRow(Random& random, size_t length, int64_t most, int64_t letters) {
  Bytes row;
  while (row.size() < length) {
    const auto run = static_cast<size_t>(random.between(1, random.between(1, most)));
    row.insert(row.end(), run, static_cast<uint8_t>(random.between(0, letters - 1) * 37));
  }
  row.resize(length);
  return row;
}

Bytes rowOfKind(Random& random, size_t length, int kind) {
  switch (kind % 5) {
    case 0:
      return runnyRow(random, length, 1, 256);
    case 1:
      return runnyRow(random, length, 4, 3);
    case 2:
      return runnyRow(random, length, 40, 8);
    case 3:
      return runnyRow(random, length, 400, 8);
    default: {  // a scanned ramp with a little noise
      Bytes row(length);
      for (size_t i = 0; i < length; ++i)
        row[i] = static_cast<uint8_t>(i / 5 + static_cast<size_t>(random.between(0, 5) / 5));
      return row;
    }
  }
}

// No byte equals its neighbours or the bytes around 0xC0, so what is put between stands out.
Bytes unlikeBytes(size_t count) {
  Bytes bytes;
  while (bytes.size() < count) bytes.push_back(static_cast<uint8_t>(bytes.size() % 97));
  return bytes;
}
Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST(Model, qlmiPackBitsRow_TIFF_8u_C1) {
  constexpr uint64_t kStream = 0xB101;
  TRACE_SEED(kStream);
  Random random(kStream);
  size_t round = 0;
  const auto packWhole = [&](const Bytes& row) {
    ASSERT_NO_FATAL_FAILURE(checkPack(row, static_cast<int32_t>(random.between(0, 40)),
                                      lengthOf(model::packBits(row, INT32_MAX).bytes), round++));
  };
  for (size_t length = 1; length <= 300; ++length)
    for (int kind = 0; kind < 10; ++kind) ASSERT_NO_FATAL_FAILURE(packWhole(rowOfKind(random, length, kind)));
  for (const size_t length : {511u, 1000u, 4096u, 16385u, 100001u})
    for (int kind = 0; kind < 5; ++kind) ASSERT_NO_FATAL_FAILURE(packWhole(rowOfKind(random, length, kind)));
  // Every room, from 1 to more than enough, and a position that the room does not count.
  for (const size_t length : {1u, 2u, 3u, 5u, 17u, 127u, 128u, 129u, 130u, 257u, 300u}) {
    for (int kind = 0; kind < 5; ++kind) {
      const Bytes row = rowOfKind(random, length, kind);
      const int32_t full = lengthOf(model::packBits(row, INT32_MAX).bytes);
      for (int32_t room = 1; room <= full + 3; ++room)
        for (const int32_t position : {0, 1, 300}) ASSERT_NO_FATAL_FAILURE(checkPack(row, position, room, round++));
    }
  }
}

TEST(Model, qlmiUnpackBitsRow_TIFF_8u_C1) {
  constexpr uint64_t kStream = 0xB102;
  TRACE_SEED(kStream);
  Random random(kStream);
  size_t round = 0;
  // Packed rows, whole and cut off anywhere, into targets of every length around theirs.
  for (const size_t length : {1u, 2u, 3u, 5u, 17u, 64u, 127u, 128u, 129u, 130u, 257u, 300u}) {
    for (int kind = 0; kind < 5; ++kind) {
      const Bytes packed = model::packBits(rowOfKind(random, length, kind), INT32_MAX).bytes;
      const auto wanted = static_cast<int32_t>(length);
      for (int32_t cut = 1; cut <= lengthOf(packed); ++cut)
        ASSERT_NO_FATAL_FAILURE(checkUnpack(packed, 0, cut, wanted, round++));
      for (int32_t target = 1; target <= wanted + 2; ++target)
        ASSERT_NO_FATAL_FAILURE(checkUnpack(packed, 0, lengthOf(packed), target, round++));
      for (int32_t position = 0; position <= lengthOf(packed) + 2; ++position)
        ASSERT_NO_FATAL_FAILURE(checkUnpack(packed, position, lengthOf(packed), wanted, round++));
    }
  }
  for (const size_t length : {4096u, 16385u, 100001u})
    for (int kind = 0; kind < 5; ++kind) {
      const Bytes packed = model::packBits(rowOfKind(random, length, kind), INT32_MAX).bytes;
      ASSERT_NO_FATAL_FAILURE(checkUnpack(packed, 0, lengthOf(packed), static_cast<int32_t>(length), round++));
    }
  // Any bytes, with short and long packets and with headers that mean nothing.
  for (int n = 0; n < 20000; ++n) {
    Bytes bytes(static_cast<size_t>(random.between(1, 400)));
    random.fill(std::span(bytes));
    if (n % 3)
      for (uint8_t& b : bytes)
        if (random.oneIn(2)) b = static_cast<uint8_t>(random.between(-6, 6));
    if (n % 3 == 2)
      for (uint8_t& b : bytes)
        if (random.oneIn(3)) b = 0x80;
    const int64_t most = random.oneIn(2) ? 10 : 1000;
    ASSERT_NO_FATAL_FAILURE(checkUnpack(bytes, static_cast<int32_t>(random.between(0, lengthOf(bytes) - 1)),
                                        lengthOf(bytes), static_cast<int32_t>(random.between(1, most)), round++));
  }
}

struct PackResult {
  QlmStatus status;
  Bytes bytes;
};
PackResult pack(const Bytes& row, int32_t room = 100000) {
  Bytes out(static_cast<size_t>(room));
  int32_t position = 0;
  const QlmStatus status = qlmiPackBitsRow_TIFF_8u_C1(row.data(), lengthOf(row), out.data(), &position, room);
  out.resize(static_cast<size_t>(position));
  return {status, out};
}
struct UnpackResult {
  QlmStatus status;
  Bytes bytes;
  int32_t position;
};
UnpackResult unpack(const Bytes& packed, size_t wanted) {
  Bytes out(wanted, 0xEE);
  int32_t position = 0;
  const QlmStatus status = qlmiUnpackBitsRow_TIFF_8u_C1(packed.data(), &position, lengthOf(packed), out.data(),
                                                        static_cast<int32_t>(wanted));
  return {status, out, position};
}

TEST(PackBits, ShortRows) {
  constexpr uint8_t a = 'a', b = 'b', c = 'c';
  EXPECT_EQ(pack({a}).bytes, (Bytes{0x00, a}));
  EXPECT_EQ(pack({a, a}).bytes, (Bytes{0xFF, a}));
  EXPECT_EQ(pack({a, b}).bytes, (Bytes{0x01, a, b}));
  EXPECT_EQ(pack({a, a, b}).bytes, (Bytes{0xFF, a, 0x00, b}));
  EXPECT_EQ(pack({b, a, a, c}).bytes, (Bytes{0x03, b, a, a, c}));
  EXPECT_EQ(pack({b, a, a, a}).bytes, (Bytes{0x00, b, 0xFE, a}));
  EXPECT_EQ(pack({b, a, a}).bytes, (Bytes{0x00, b, 0xFF, a}));  // a pair that ends the row
  EXPECT_EQ(pack({b, a, a, c, c}).bytes, (Bytes{0x02, b, a, a, 0xFF, c}));
}

// The row of a well-known worked example, in the packets of that example's description of the format.
TEST(PackBits, WorkedExample) {
  const Bytes row{0xAA, 0xAA, 0xAA, 0x80, 0x00, 0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x80, 0x00,
                  0x2A, 0x22, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA};
  const Bytes packed{0xFE, 0xAA, 0x02, 0x80, 0x00, 0x2A, 0xFD, 0xAA, 0x03, 0x80, 0x00, 0x2A, 0x22, 0xF7, 0xAA};
  EXPECT_EQ(pack(row).bytes, packed);
  EXPECT_EQ(unpack(packed, row.size()).bytes, row);
}

TEST(PackBits, LongRuns) {
  EXPECT_EQ(pack(Bytes(128, 7)).bytes, (Bytes{0x81, 7}));
  EXPECT_EQ(pack(Bytes(129, 7)).bytes, (Bytes{0x81, 7, 0x00, 7}));
  EXPECT_EQ(pack(Bytes(130, 7)).bytes, (Bytes{0x81, 7, 0xFF, 7}));
  EXPECT_EQ(pack(Bytes(256, 7)).bytes, (Bytes{0x81, 7, 0x81, 7}));
}

TEST(PackBits, LongLiterals) {
  const auto packets = [](const Bytes& row) {
    std::vector<int> lengths;
    const Bytes packed = pack(row).bytes;
    for (size_t at = 0; at < packed.size();) {
      const int header = static_cast<int8_t>(packed[at]);
      lengths.push_back(header < 0 ? header - 1 : header + 1);  // runs are negative
      at += header < 0 ? 2u : static_cast<size_t>(header) + 2;
    }
    return lengths;
  };
  using Lengths = std::vector<int>;
  const Bytes pair(2, 0xC0), three(3, 0xC0), other{0xC1}, tail{0xC1, 0xC2, 0xC3, 0xC4};
  EXPECT_EQ(packets(unlikeBytes(128)), (Lengths{128}));
  EXPECT_EQ(packets(unlikeBytes(129)), (Lengths{128, 1}));
  // A pair inside stays; on the last two places it starts a packet; across the end it is cut in two.
  EXPECT_EQ(packets(joined({unlikeBytes(125), pair, tail})), (Lengths{128, 3}));
  EXPECT_EQ(packets(joined({unlikeBytes(126), pair, tail})), (Lengths{126, -2, 4}));
  EXPECT_EQ(packets(joined({unlikeBytes(127), pair, tail})), (Lengths{128, 5}));
  EXPECT_EQ(packets(joined({unlikeBytes(128), pair, tail})), (Lengths{128, -2, 4}));
  // Three start a packet wherever they begin.
  EXPECT_EQ(packets(joined({unlikeBytes(125), three, tail})), (Lengths{125, -3, 4}));
  EXPECT_EQ(packets(joined({unlikeBytes(126), three, tail})), (Lengths{126, -3, 4}));
  EXPECT_EQ(packets(joined({unlikeBytes(127), three, tail})), (Lengths{127, -3, 4}));
  EXPECT_EQ(packets(joined({unlikeBytes(128), three, tail})), (Lengths{128, -3, 4}));
  // A pair that ends the row starts a packet, also on the last place.
  EXPECT_EQ(packets(joined({unlikeBytes(126), pair})), (Lengths{126, -2}));
  EXPECT_EQ(packets(joined({unlikeBytes(127), pair})), (Lengths{127, -2}));
  EXPECT_EQ(packets(joined({unlikeBytes(128), pair})), (Lengths{128, -2}));
  EXPECT_EQ(packets(joined({unlikeBytes(126), pair, other})), (Lengths{126, -2, 1}));
}

void expectModelAndReturn(const Bytes& row) {
  const PackResult packed = pack(row, 2 * lengthOf(row) + 10);
  ASSERT_EQ(packed.status, qlmOk);
  ASSERT_EQ(packed.bytes, model::packBits(row, INT32_MAX).bytes);
  const UnpackResult back = unpack(packed.bytes, row.size());
  ASSERT_EQ(back.status, qlmOk);
  ASSERT_EQ(back.bytes, row);
  ASSERT_EQ(back.position, lengthOf(packed.bytes));
}

// All rows of up to 9 bytes over three letters, and of up to 14 over two.
TEST(PackBits, AllShortRows) {
  for (const auto& [letters, most] : {std::pair{3, 9}, {2, 14}}) {
    for (int length = 1; length <= most; ++length) {
      int rows = 1;
      for (int i = 0; i < length; ++i) rows *= letters;
      for (int n = 0; n < rows; ++n) {
        Bytes row;
        for (int i = 0, rest = n; i < length; ++i, rest /= letters) row.push_back(static_cast<uint8_t>(rest % letters));
        ASSERT_NO_FATAL_FAILURE(expectModelAndReturn(row)) << "row " << n << " of " << length;
      }
    }
  }
}

// A run, a literal stretch around the vectors and the 128 places, a second run, a tail.
TEST(PackBits, RunsAroundEveryPlace) {
  for (const size_t before : {0u, 2u, 3u, 31u, 32u, 33u, 64u, 97u, 127u, 128u, 129u, 130u})
    for (size_t stretch = 0; stretch <= 260; ++stretch)
      for (const size_t run : {1u, 2u, 3u, 4u, 33u})
        for (size_t tail = 0; tail <= 3; ++tail) {
          const Bytes row = joined({Bytes(before, 0xC0), unlikeBytes(stretch), Bytes(run, 0xC1), unlikeBytes(tail)});
          ASSERT_NO_FATAL_FAILURE(expectModelAndReturn(row)) << before << ' ' << stretch << ' ' << run << ' ' << tail;
        }
}

TEST(PackBits, Room) {
  EXPECT_EQ(pack(Bytes(128, 7), 2).status, qlmOk);
  const PackResult one = pack(Bytes(128, 7), 1);
  EXPECT_EQ(one.status, qlmErrUnpackOverrun);
  EXPECT_TRUE(one.bytes.empty());
  EXPECT_EQ(pack({1, 2, 3}, 4).status, qlmOk);
  EXPECT_EQ(pack({1, 2, 3}, 3).status, qlmErrUnpackOverrun);
  const PackResult two = pack({1, 1, 2, 3}, 4);
  EXPECT_EQ(two.status, qlmErrUnpackOverrun);
  EXPECT_EQ(two.bytes, (Bytes{0xFF, 1}));
}

// Rows one after the other in one strip, by the positions.
TEST(PackBits, RowsFollowOneAnother) {
  Random random(0xB110);
  std::vector<Bytes> rows;
  Bytes strip(20000);
  int32_t end = 0;
  for (int n = 0; n < 40; ++n) {
    rows.push_back(rowOfKind(random, static_cast<size_t>(random.between(1, 200)), n));
    ASSERT_EQ(qlmiPackBitsRow_TIFF_8u_C1(rows.back().data(), lengthOf(rows.back()), strip.data(), &end,
                                         lengthOf(strip) - end),
              qlmOk);
  }
  int32_t position = 0;
  for (const Bytes& row : rows) {
    Bytes out(row.size());
    ASSERT_EQ(qlmiUnpackBitsRow_TIFF_8u_C1(strip.data(), &position, end, out.data(), lengthOf(row)), qlmOk);
    ASSERT_EQ(out, row);
  }
  EXPECT_EQ(position, end);
}

TEST(UnpackBits, EmptyHeadersAreOneByteLong) {
  const UnpackResult result = unpack({0x80, 0x80, 0x01, 5, 6, 0x80}, 2);
  EXPECT_EQ(result.status, qlmOk);
  EXPECT_EQ(result.bytes, (Bytes{5, 6}));
  EXPECT_EQ(result.position, 5);  // stops as soon as the row is full
}

TEST(UnpackBits, AnOvershootingPacketWritesNothing) {
  const UnpackResult run = unpack({0x00, 1, 0xFE, 2}, 3);  // 1 + 3 bytes into 3
  EXPECT_EQ(run.status, qlmErrUnpackOverrun);
  EXPECT_EQ(run.bytes, (Bytes{1, 0xEE, 0xEE}));
  EXPECT_EQ(run.position, 3);
  const UnpackResult literal = unpack({0xFF, 1, 0x01, 2, 3}, 3);
  EXPECT_EQ(literal.status, qlmErrUnpackOverrun);
  EXPECT_EQ(literal.bytes, (Bytes{1, 1, 0xEE}));
  EXPECT_EQ(literal.position, 3);
}

TEST(UnpackBits, SourcesThatEndEarly) {
  EXPECT_EQ(unpack({0x00, 1}, 2).status, qlmErrUnpackOverrun);
  EXPECT_EQ(unpack({0x00, 1}, 2).position, 2);
  EXPECT_EQ(unpack({0x80}, 1).position, 1);
  EXPECT_EQ(unpack({0x02, 1, 2}, 3).position, 1);
  EXPECT_EQ(unpack({0x02, 1, 2}, 3).bytes, Bytes(3, 0xEE));
}

// A run whose header is the last byte of the source takes the byte behind it; a literal packet does not.
TEST(UnpackBits, ARunMayTakeTheByteBehindTheSource) {
  const uint8_t bytes[] = {0x00, 1, 0xFF, 9};
  uint8_t out[3] = {};
  int32_t position = 0;
  EXPECT_EQ(qlmiUnpackBitsRow_TIFF_8u_C1(bytes, &position, 3, out, 3), qlmOk);
  EXPECT_EQ(position, 4);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(out[1], 9);
  EXPECT_EQ(out[2], 9);
}

}  // namespace
