// What the tests of JPEG XR's entropy coders share: a state between guard pages with its model beside it, streams that
// end flush with an inaccessible page, and blocks at all alignments.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "model/jpegxr_vlc.h"
#include "support/placed.h"

namespace test {

static_assert(sizeof(QlmVLCState) == 2208);

inline const QlmVLCScanRecord* scanOf(const QlmVLCState& state, int32_t which) {
  return which == 0 ? state.scan0 : which == 1 ? state.scan1 : state.scan2;
}

// The fields of a state without its pointers into tables.
inline model::VlcState fieldsOf(const QlmVLCState& state) {
  model::VlcState fields;
  std::copy_n(state.adaptive, 21, fields.adaptive.begin());
  std::copy_n(state.discriminant0, 21, fields.discriminant0.begin());
  std::copy_n(state.discriminant1, 21, fields.discriminant1.begin());
  for (const int32_t which : {0, 1, 2}) {
    std::copy_n(scanOf(state, which), 16, fields.scan(which));
    if (state.scanCurrent == scanOf(state, which)) fields.current = which;
  }
  return fields;
}

// All fields but the pointers into tables. Names the first difference.
inline ::testing::AssertionResult sameState(const QlmVLCState& state, const model::VlcState& expected) {
  const auto differs = [](const char* field, size_t i, int32_t want, int32_t got) {
    return ::testing::AssertionFailure() << field << '[' << i << "]: expected " << want << ", got " << got;
  };
  for (size_t i = 0; i < 21; ++i) {
    const QlmVLCTableRecord &got = state.adaptive[i], &want = expected.adaptive[i];
    if (got.kind != want.kind) return differs("kind", i, want.kind, got.kind);
    if (got.tableIndex != want.tableIndex) return differs("tableIndex", i, want.tableIndex, got.tableIndex);
    if (got.initialised != want.initialised) return differs("initialised", i, want.initialised, got.initialised);
    if (got.upperBound != want.upperBound) return differs("upperBound", i, want.upperBound, got.upperBound);
    if (got.lowerBound != want.lowerBound) return differs("lowerBound", i, want.lowerBound, got.lowerBound);
    if (state.discriminant0[i] != expected.discriminant0[i])
      return differs("discriminant0", i, expected.discriminant0[i], state.discriminant0[i]);
    if (state.discriminant1[i] != expected.discriminant1[i])
      return differs("discriminant1", i, expected.discriminant1[i], state.discriminant1[i]);
  }
  for (size_t i = 0; i < 48; ++i) {
    const QlmVLCScanRecord &got = scanOf(state, 2 - static_cast<int32_t>(i / 16))[i % 16], &want = expected.records[i];
    if (got.count != want.count) return differs("count", i, want.count, got.count);
    if (got.index != want.index) return differs("index", i, want.index, got.index);
    if (got.column != want.column) return differs("column", i, want.column, got.column);
    if (got.row != want.row) return differs("row", i, want.row, got.row);
  }
  if (state.scanCurrent != scanOf(state, expected.current))
    return ::testing::AssertionFailure() << "scanCurrent is not scan " << expected.current;
  return ::testing::AssertionSuccess();
}

// The state of an export, flush with an inaccessible page, and that of the model. Ready for the first block.
class Coder {
 public:
  explicit Coder(Edge edge = Edge::Back) : memory_(1, edge) {
    Random(0xC0DE).fill(std::span(reinterpret_cast<uint8_t*>(memory_.data()), memory_.sizeBytes()));
    init();
    for (const int32_t which : {0, 1, 2}) reset(which);
  }

  QlmVLCState* get() const { return memory_.data(); }
  QlmVLCState* operator->() const { return memory_.data(); }
  model::VlcState model;

  // The exports that change both sides in step.
  void init() {
    EXPECT_EQ(qlmiVLCInit_JPEGXR(get()), qlmOk);
    model::initVlc(model);
  }
  void reset(int32_t which) {
    EXPECT_EQ(qlmiVLCScanReset_JPEGXR(get(), which), qlmOk);
    model::resetScan(model, which);
  }
  void select(int32_t which) {
    EXPECT_EQ(qlmiVLCScanSet_JPEGXR(get(), which), qlmOk);
    model.current = which;
  }
  void adapt(int32_t mode) {
    EXPECT_EQ(qlmiVLCAdapt_JPEGXR(get(), mode), qlmOk);
    model::adaptVlc(model, mode);
  }
  void setDiscriminants(size_t table, int32_t first, int32_t second) {
    get()->discriminant0[table] = model.discriminant0[table] = first;
    get()->discriminant1[table] = model.discriminant1[table] = second;
  }

  // What callers do between blocks, at random: adapting, another scan, counts reset, all anew; and discriminants that
  // lead to the neighbouring tables.
  void stir(Random& random) {
    if (random.oneIn(8)) adapt(static_cast<int32_t>(random.between(0, 1)));
    if (random.oneIn(8)) select(static_cast<int32_t>(random.between(0, 2)));
    if (random.oneIn(64)) reset(static_cast<int32_t>(random.between(0, 2)));
    if (random.oneIn(300)) init();  // counts of 0 until a reset
    if (random.oneIn(16)) {
      for (size_t table = 0; table < 21; ++table)
        setDiscriminants(table, static_cast<int32_t>(random.between(-16, 16)),
                         static_cast<int32_t>(random.between(-16, 16)));
      adapt(0);
      adapt(1);
    }
  }

  ::testing::AssertionResult same() const { return sameState(*get(), model); }

 private:
  Guarded<QlmVLCState> memory_;
};

// Elements whose last is the last before an inaccessible page.
template <typename T>
class Tail {
 public:
  explicit Tail(size_t count) : memory_(count) {}
  T* last(size_t n) const { return memory_.end() - n; }

 private:
  Guarded<T> memory_;
};

// Held bits: `count` of them, random, at the top.
struct HeldBits {
  uint32_t buffer = 0, count = 0;
};
inline HeldBits heldBits(uint32_t count, Random& random) {
  const uint64_t bits = random.oneIn(4) ? (random.oneIn(2) ? ~uint64_t{0} : 0) : random.bits();
  return {static_cast<uint32_t>(count == 0 ? 0 : bits >> (64 - count) << (32 - count)), count};
}
inline HeldBits anyHeldBits(Random& random) { return heldBits(static_cast<uint32_t>(random.between(0, 32)), random); }

inline ::testing::AssertionResult sameBits(uint32_t wantedBuffer, uint32_t wantedCount, HeldBits got) {
  if (got.buffer == wantedBuffer && got.count == wantedCount) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "held bits: expected " << wantedCount << " of " << std::hex << wantedBuffer
                                       << ", got " << std::dec << got.count << " of " << std::hex << got.buffer;
}

// Hands the units that a decoder needs, and no byte more, to one call.
class ReadWindow {
 public:
  // model(BitReader&) and call(stream, buffer, count) start with `held` at `source`, behind which there is enough. The
  // reader of the model is where the export must be afterwards.
  template <typename Model, typename Call>
  ::testing::AssertionResult run(const uint8_t* source, HeldBits held, const Model& model, const Call& call) {
    model::BitReader reader{source, held.buffer, held.count};
    model(reader);
    const auto bytes = static_cast<size_t>(reader.next - source);
    odd_ = !odd_;  // units need no alignment: an odd distance to the page in every other call
    uint8_t* const first = memory_.last(bytes + odd_);
    std::memcpy(first, source, bytes);
    const auto* stream = reinterpret_cast<const uint16_t*>(first);
    HeldBits now = held;
    if (const QlmStatus status = call(&stream, &now.buffer, &now.count); status != qlmOk)
      return ::testing::AssertionFailure() << "status " << status;
    if (reinterpret_cast<const uint8_t*>(stream) != first + bytes)
      return ::testing::AssertionFailure()
             << "read " << reinterpret_cast<const uint8_t*>(stream) - first << " bytes, expected " << bytes;
    last = reader;
    return sameBits(reader.buffer, reader.count, now);
  }

  model::BitReader last{};  // where the call before stopped

 private:
  Tail<uint8_t> memory_{512};
  bool odd_ = false;
};

// Gives an encoder room for the units that the model writes, and no byte more.
class WriteWindow {
 public:
  template <typename Model, typename Call>
  ::testing::AssertionResult run(HeldBits held, const Model& model, const Call& call) {
    model::BitWriter writer;
    writer.buffer = held.buffer;
    writer.count = held.count;
    model(writer);
    odd_ = !odd_;
    uint8_t* const first = memory_.last(writer.out.size() + odd_);
    uint8_t* const all = memory_.last(kBytes);
    std::vector<uint8_t> expected(kBytes);
    for (size_t i = 0; i < kBytes; ++i) all[i] = expected[i] = static_cast<uint8_t>(0xA5 + 7 * i);
    std::ranges::copy(writer.out, expected.begin() + (first - all));
    auto* stream = reinterpret_cast<uint16_t*>(first);
    HeldBits now = held;
    if (const QlmStatus status = call(&stream, &now.buffer, &now.count); status != qlmOk)
      return ::testing::AssertionFailure() << "status " << status;
    if (reinterpret_cast<uint8_t*>(stream) != first + writer.out.size())
      return ::testing::AssertionFailure()
             << "wrote " << reinterpret_cast<uint8_t*>(stream) - first << " bytes, expected " << writer.out.size();
    if (std::memcmp(expected.data(), all, kBytes) != 0)
      return sameBytes(expected, {all, all + kBytes}) << " (of the window)";
    last = writer;
    return sameBits(writer.buffer, writer.count, now);
  }

  model::BitWriter last;  // what the call before wrote

 private:
  static constexpr size_t kBytes = 256;
  Tail<uint8_t> memory_{kBytes};
  bool odd_ = false;
};

// A stream from its bits: the first `held` of them held already, the others in the units that follow, and random units
// behind. `bits` is big-endian and long enough.
struct Source {
  HeldBits held;
  std::vector<uint8_t> bytes;

  Source(const std::vector<uint8_t>& bits, uint32_t count, Random& random) : bytes(bits.size() + 80) {
    model::BitReader reader{bits.data(), 0, 0};
    std::vector<uint8_t> padded = bits;
    padded.resize(bits.size() + 80);
    for (size_t i = bits.size(); i < padded.size(); ++i) padded[i] = static_cast<uint8_t>(random.bits());
    reader.next = padded.data();
    reader.refill();
    held.count = count;
    for (uint32_t i = 0; i < count; ++i) held.buffer |= reader.take(1) << (31 - i);
    for (size_t i = 0; i < bits.size() + 64; ++i) bytes[i] = static_cast<uint8_t>(reader.take(8));
  }
};

// What the model wrote, the waiting bits included.
inline std::vector<uint8_t> flushed(model::BitWriter writer) {
  for (uint32_t i = 0; i < 4; ++i) writer.out.push_back(static_cast<uint8_t>(writer.buffer >> (24 - 8 * i)));
  return writer.out;
}

// Streams by number, as bits: those written, then those held.
inline std::string bitText(const uint16_t* first, const uint16_t* end, HeldBits held) {
  std::string text;
  for (; first != end; ++first)
    for (int32_t i = 15; i >= 0; --i) text += __builtin_bswap16(*first) >> i & 1 ? '1' : '0';
  for (uint32_t i = 0; i < held.count; ++i) text += held.buffer >> (31 - i) & 1 ? '1' : '0';
  return text;
}
// Blanks stand between the parts of a text.
inline std::string bare(std::string bits) {
  std::erase(bits, ' ');
  return bits;
}
// A stream to be read, zeros behind its bits.
class BitSource {
 public:
  explicit BitSource(const std::string& bits) {
    model::BitWriter writer;
    for (const char bit : bare(bits)) writer.put(bit == '1', 1);
    bytes_ = flushed(writer);
    bytes_.resize(bytes_.size() + 64);
    stream = first();
  }

  const uint16_t* stream;
  HeldBits held;
  ptrdiff_t used() const { return 16 * (stream - first()) - ptrdiff_t{held.count}; }
  bool usedAll(const std::string& bits) const { return used() == static_cast<ptrdiff_t>(bare(bits).size()); }

 private:
  const uint16_t* first() const { return reinterpret_cast<const uint16_t*>(bytes_.data()); }
  std::vector<uint8_t> bytes_;
};

// Blocks of 4x4 at 64 places with different steps; `expected` beside `actual`.
template <typename T>
class BlockPlaces {
 public:
  BlockPlaces() {
    for (size_t n = 0; n < kPlaces; ++n) {
      const auto [slack, edge] = mostlyFlushPlaceOf(n, 0);
      const size_t step = stepOf(n, 4 * sizeof(T));
      actual_.emplace_back(4, 4, step, slack, edge);
      expected_.emplace_back(4, 4, step, slack, edge);
    }
  }
  Placed<T>& actual(size_t round) { return actual_[round % kPlaces]; }
  // Whether `round`'s block holds `block`, and all around it is as it was.
  ::testing::AssertionResult holds(size_t round, const model::VlcBlock<T>& block) {
    expected_[round % kPlaces].set(block);
    return sameBytes(expected_[round % kPlaces].snapshot(), actual(round).snapshot());
  }

 private:
  std::vector<Placed<T>> actual_, expected_;
};

// Coefficients with a given share of nonzeros (of 16) and magnitudes of up to `bits` bits.
template <typename T>
T randomCoefficient(int64_t share, int64_t bits, Random& random) {
  if (random.between(1, 16) > share) return 0;
  const int64_t magnitude = random.between(0, (int64_t{1} << random.between(0, bits)));
  return static_cast<T>(random.oneIn(2) ? -magnitude : magnitude);
}

// A block whose levels have codes: magnitudes up to 2^30 + 1 once `numBits` bits are off. The lowest value is among
// them.
template <typename T>
model::VlcBlock<T> randomBlock(int32_t numBits, Random& random) {
  const int64_t share = random.between(0, 16);
  const int64_t most = sizeof(T) == 2 ? 15 : std::min(30 + numBits, 31);
  const int64_t bits = random.oneIn(8) ? most : random.between(0, std::min<int64_t>(most, numBits + 6));
  model::VlcBlock<T> block;
  for (T& v : block) {
    v = randomCoefficient<T>(share, bits, random);
    if ((sizeof(T) == 2 || numBits > 0) && random.oneIn(100)) v = std::numeric_limits<T>::min();
  }
  return block;
}

}  // namespace test
