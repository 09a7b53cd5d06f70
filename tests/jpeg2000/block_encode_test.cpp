// The code-block encoder (ITU-T T.800 Annexes C and D) against its model in all styles, shapes and rooms, and by
// number.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <utility>
#include <vector>

#include "jpeg2000/block_support.h"
#include "model/jpeg2000_block_encode.h"
#include "qlmjp.h"
#include "support/placed.h"

using namespace blocks;
using model::BlockEncoder;
using test::Edge;
using test::GuardedBytes;
using test::Placed;

namespace {

class State {
 public:
  explicit State(Shape maximum) {
    if (qlmiEncodeInitAlloc_JPEG2K(&state_, maximum.size()) != qlmOk) std::abort();
  }
  ~State() { qlmiEncodeFree_JPEG2K(state_); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  QlmEncodeState_JPEG2K* get() const { return state_; }

 private:
  QlmEncodeState_JPEG2K* state_ = nullptr;
};

// Rooms of any size that end flush at an inaccessible page or begin flush behind one. All that lies around a room is
// compared as well.
class Destination {
 public:
  static constexpr size_t kLargest = size_t{1} << 20;

  struct Outcome {
    QlmStatus status;
    Bytes bytes;
    int32_t notFinished;
  };
  Outcome store(QlmEncodeState_JPEG2K* state, size_t room, Edge edge) {
    GuardedBytes& buffer = room <= 4096 ? small_ : large_;
    uint8_t* dst = buffer.data() + (edge == Edge::Back ? buffer.size() - room : 0);
    std::memset(buffer.data(), kUntouched, buffer.size());
    auto length = static_cast<int32_t>(room);
    Outcome out{qlmOk, {}, 99};
    out.status = qlmiEncodeStoreBits_JPEG2K_1u(dst, &length, state, &out.notFinished);
    EXPECT_GE(length, 0);
    EXPECT_LE(length, static_cast<int32_t>(room));
    out.bytes.assign(dst, dst + length);
    const auto untouched = [](const uint8_t* from, const uint8_t* to) {
      return std::all_of(from, to, [](uint8_t byte) { return byte == kUntouched; });
    };
    EXPECT_TRUE(untouched(buffer.data(), dst));
    EXPECT_TRUE(untouched(dst + length, buffer.data() + buffer.size()));
    return out;
  }

 private:
  static constexpr uint8_t kUntouched = 0x5C;
  GuardedBytes small_{4096, Edge::Back}, large_{kLargest, Edge::Back};
};

Destination& destination() {
  static Destination d;
  return d;
}

struct Loaded {
  int32_t significantBits = 99, passCount = 99, terminatedPassCount = 99;
  friend bool operator==(const Loaded&, const Loaded&) = default;
};

// Loads the samples from a plane flush with a guard page, with padding between the rows, neither at the alignment of a
// sample. The plane must stay as it is.
Loaded load(QlmEncodeState_JPEG2K* state, const Case& c, const Samples& samples, size_t round) {
  const auto [slack, edge] = test::mostlyFlushPlaceOf(round, 0);
  const auto width = static_cast<size_t>(c.shape.width), height = static_cast<size_t>(c.shape.height);
  Placed<int32_t> source(width, height, test::stepOf(round, 4 * width), slack, edge);
  source.set(samples);
  const Bytes before = source.snapshot();
  Loaded loaded;
  EXPECT_EQ(qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(
                source.data(), source.step(), c.shape.size(), state, c.style.subband, c.style.magnitudeBits,
                c.style.terminationMode, static_cast<int32_t>(round % 5), c.style.flags, &loaded.significantBits,
                &loaded.passCount, &loaded.terminatedPassCount),
            qlmOk);
  EXPECT_TRUE(test::sameBytes(before, source.snapshot()));
  return loaded;
}
Loaded load(QlmEncodeState_JPEG2K* state, const Case& c, const Samples& samples) { return load(state, c, samples, 0); }

double distortion(QlmEncodeState_JPEG2K* state, int32_t pass) {
  double d = -1e300;
  EXPECT_EQ(qlmiEncodeGetDist_JPEG2K(state, pass, &d), qlmOk);
  return d;
}
int32_t rate(QlmEncodeState_JPEG2K* state, int32_t pass) {
  int32_t r = -99;
  EXPECT_EQ(qlmiEncodeGetRate_JPEG2K(state, pass, &r), qlmOk);
  return r;
}
int32_t segmentLength(QlmEncodeState_JPEG2K* state, int32_t segment) {
  int32_t length = -99;
  EXPECT_EQ(qlmiEncodeGetTermPassLen_JPEG2K(state, segment, &length), qlmOk);
  return length;
}
Bytes storeAll(QlmEncodeState_JPEG2K* state) {
  const Destination::Outcome out = destination().store(state, Destination::kLargest, Edge::Front);
  EXPECT_EQ(out.status, qlmOk);
  EXPECT_EQ(out.notFinished, 0);
  return out.bytes;
}

void checkDistortions(QlmEncodeState_JPEG2K* state, const BlockEncoder& want) {
  for (int32_t pass = 0; pass < want.passCount(); ++pass)
    ASSERT_EQ(distortion(state, pass), want.distortion(pass)) << "pass " << pass;
}
void checkRates(QlmEncodeState_JPEG2K* state, const BlockEncoder& want) {
  for (int32_t pass = 0; pass < want.finishedPasses(); ++pass)
    ASSERT_EQ(rate(state, pass), want.rate(pass)) << "pass " << pass;
}
void checkLengths(QlmEncodeState_JPEG2K* state, const BlockEncoder& want) {
  for (int32_t segment = 0; segment < want.terminatedPassCount(); ++segment)
    ASSERT_EQ(segmentLength(state, segment), want.terminatedLength(segment)) << "segment " << segment;
}

// One block through export and model: load, all bytes into rooms that room(call) gives, and every query.
template <typename Room>
void checkBlock(QlmEncodeState_JPEG2K* state, const Case& c, const Samples& samples, size_t round, const Room& room) {
  SCOPED_TRACE(c);
  BlockEncoder want(samples, c.shape.width, c.shape.height, c.style);
  const Loaded loaded = load(state, c, samples, round);
  ASSERT_EQ(loaded, (Loaded{want.significantBits(), want.passCount(), want.terminatedPassCount()}));
  checkDistortions(state, want);
  for (size_t call = 0, more = 1; more; ++call) {
    const size_t bytes = room(call);
    const BlockEncoder::Stored expected = want.store(bytes);
    const Destination::Outcome got = destination().store(state, bytes, round % 2 ? Edge::Front : Edge::Back);
    ASSERT_EQ(got.status, qlmOk);
    ASSERT_EQ(got.bytes, expected.bytes) << "call " << call;
    ASSERT_EQ(got.notFinished, expected.notFinished) << "call " << call << " of " << bytes << " bytes";
    checkRates(state, want);
    if (::testing::Test::HasFailure()) return;
    more = expected.notFinished != 0;
  }
  checkLengths(state, want);
  checkDistortions(state, want);  // storing leaves them alone
}
void checkBlock(QlmEncodeState_JPEG2K* state, const Case& c, const Samples& samples, size_t round) {
  checkBlock(state, c, samples, round, [](size_t) { return Destination::kLargest; });
}

// Blocks of these shapes through one state, styles by turns.
void checkShapes(const std::vector<Shape>& shapes, uint64_t stream, int32_t blocksEach) {
  TRACE_SEED(stream);
  Random random(stream);
  State state({1024, 1024});
  size_t round = 0;
  for (const Shape shape : shapes) {
    for (int32_t i = 0; i < blocksEach; ++i) {
      const Case c = anyCase(random, shape, static_cast<int32_t>(random.between(0, kStyles - 1)));
      checkBlock(state.get(), c, makeSamples(random, c), round++);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// For blocks whose samples are given.
Case shaped(Shape shape, model::BlockEncoder::Style style) { return {shape, style, 31}; }

}  // namespace

TEST(Model, qlmiEncodeInitAlloc_JPEG2K) {
  // A state for blocks of one shape holds every block of it. Each state keeps its own block.
  Random random(7100);
  TRACE_SEED(7100);
  std::vector<Shape> shapes = smallShapes();
  shapes.push_back({64, 64});
  shapes.push_back({3, 130});
  for (const Shape shape : shapes) {
    const State first(shape), second(shape);
    EXPECT_EQ(std::memcmp(first.get(), "DSML", 4), 0);
    Case c{shape, {0, 31, 0, model::kTerminateEach | model::kSegmentationSymbols}, 31};
    const Samples dense = Samples(shape.count(), 0x7FFFFFFF), noise = makeSamples(random, c);
    checkBlock(first.get(), c, noise, 0);
    load(second.get(), c, dense);  // the most passes that there are
    storeAll(second.get());
    checkRates(first.get(), [&] {
      BlockEncoder want(noise, shape.width, shape.height, c.style);
      want.store(SIZE_MAX);
      return want;
    }());
    checkBlock(second.get(), c, dense, 1);
    if (HasFailure()) return;
  }
}

TEST(Model, qlmiEncodeFree_JPEG2K) {
  EXPECT_EQ(qlmiEncodeFree_JPEG2K(nullptr), qlmErrNullPointer);
  QlmEncodeState_JPEG2K* state = nullptr;
  ASSERT_EQ(qlmiEncodeInitAlloc_JPEG2K(&state, {5, 5}), qlmOk);
  EXPECT_EQ(qlmiEncodeFree_JPEG2K(state), qlmOk);
  ASSERT_EQ(qlmiEncodeInitAlloc_JPEG2K(&state, {5, 5}), qlmOk);
  std::memcpy(static_cast<void*>(state), "LMSD", 4);  // the tag is not looked at
  EXPECT_EQ(qlmiEncodeFree_JPEG2K(state), qlmOk);
}

// Every style with every ending in every subband, then every shape.
TEST(Model, qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R) {
  TRACE_SEED(7101);
  Random random(7101);
  State state({80, 64});
  size_t round = 0;
  for (int32_t flags = 0; flags < kStyles; ++flags) {
    for (int32_t ending = 0; ending < kEndings; ++ending) {
      for (int32_t subband = 0; subband < kSubbands; ++subband, ++round) {
        Case c = anyCase(random, anyShape(random, round), flags);
        c.style.terminationMode = ending;
        c.style.subband = subband;
        checkBlock(state.get(), c, makeSamples(random, c), round);
        if (HasFailure()) return;
      }
    }
  }
  checkShapes(smallShapes(), 7102, 6);
  checkShapes(largeShapes(), 7103, 2);
}

TEST(Model, qlmiEncodeStoreBits_JPEG2K_1u) {
  TRACE_SEED(7104);
  Random random(7104);
  State state({64, 64});
  size_t round = 0;
  for (int32_t i = 0; i < 160; ++i) {
    const Shape shape{static_cast<int32_t>(random.between(1, 12)), static_cast<int32_t>(random.between(1, 12))};
    const Case c = anyCase(random, shape, i % kStyles);
    const Samples samples = makeSamples(random, c);
    for (const size_t room : {1u, 2u, 7u, 4096u}) {
      checkBlock(state.get(), c, samples, round++, [room](size_t) { return room; });
      if (HasFailure()) return;
    }
    checkBlock(state.get(), c, samples, round++, [&](size_t) { return static_cast<size_t>(random.between(1, 40)); });
    if (HasFailure()) return;
  }
}

// A first call of every length that the bytes have, so that each pass is left at each of its bytes.
TEST(EncodeStoreBits, everyFirstRoom) {
  TRACE_SEED(7105);
  Random random(7105);
  State state({64, 64});
  for (int32_t i = 0; i < 48; ++i) {
    Case c = anyCase(random, {static_cast<int32_t>(random.between(1, 6)), static_cast<int32_t>(random.between(1, 6))},
                     static_cast<int32_t>(random.between(0, kStyles - 1)) | (i % 2 ? model::kBypass : 0));
    c.planes = std::max(c.planes, 7);
    c.style.magnitudeBits = 31;
    const Samples samples = makeSamples(random, c);
    const size_t total = BlockEncoder(samples, c.shape.width, c.shape.height, c.style).store(SIZE_MAX).bytes.size();
    for (size_t first = 1; first <= total + 1; ++first) {
      checkBlock(state.get(), c, samples, first,
                 [first](size_t call) { return call == 0 ? first : Destination::kLargest; });
      if (HasFailure()) return;
    }
  }
}

// Many magnitude bits, where the sum leaves what a double holds exactly, and few, where bits lie below the lowest
// plane.
TEST(Model, qlmiEncodeGetDist_JPEG2K) {
  TRACE_SEED(7106);
  Random random(7106);
  State state({64, 64});
  for (int32_t i = 0; i < 400; ++i) {
    Case c = anyCase(random, {static_cast<int32_t>(random.between(1, 16)), static_cast<int32_t>(random.between(1, 16))},
                     static_cast<int32_t>(random.between(0, kStyles - 1)));
    c.style.magnitudeBits = i % 31 + 1;
    c.planes = static_cast<int32_t>(random.between(1, c.style.magnitudeBits));
    const Samples samples = makeSamples(random, c);
    SCOPED_TRACE(c);
    load(state.get(), c, samples);
    checkDistortions(state.get(), BlockEncoder(samples, c.shape.width, c.shape.height, c.style));
    if (HasFailure()) return;
  }
}

// Long passes of few bytes and short segments, where estimates are drawn back.
TEST(Model, qlmiEncodeGetRate_JPEG2K) {
  TRACE_SEED(7107);
  Random random(7107);
  State state({64, 64});
  for (int32_t i = 0; i < 600; ++i) {
    const bool wide = i % 8 == 0;
    Case c = anyCase(random, {static_cast<int32_t>(random.between(1, wide ? 40 : 4)), wide ? 30 : 1 + i % 5},
                     static_cast<int32_t>(random.between(0, kStyles - 1)));
    if (!wide) c.planes = static_cast<int32_t>(random.between(5, 31));
    c.style.magnitudeBits = std::max(c.style.magnitudeBits, c.planes);
    checkBlock(state.get(), c, makeSamples(random, c), static_cast<size_t>(i));
    if (HasFailure()) return;
  }
}

TEST(Model, qlmiEncodeGetTermPassLen_JPEG2K) {
  TRACE_SEED(7108);
  Random random(7108);
  State state({64, 64});
  for (int32_t i = 0; i < 200; ++i) {
    Case c = anyCase(random, {static_cast<int32_t>(random.between(1, 20)), static_cast<int32_t>(random.between(1, 9))},
                     i % kStyles | model::kBypass);
    c.planes = static_cast<int32_t>(random.between(4, 12));
    c.style.magnitudeBits = 31;
    const Samples samples = makeSamples(random, c);
    checkBlock(state.get(), c, samples, static_cast<size_t>(i));
    BlockEncoder want(samples, c.shape.width, c.shape.height, c.style);
    const size_t total = want.store(SIZE_MAX).bytes.size();
    size_t sum = 0;
    for (int32_t k = 0; k < want.terminatedPassCount(); ++k) sum += static_cast<size_t>(segmentLength(state.get(), k));
    EXPECT_EQ(sum, total);
    if (HasFailure()) return;
  }
}

TEST(EncodeLoad, anyOtherSubbandIsAsLowLow) {
  Random random(7110);
  State state({16, 16});
  Case c{{16, 16}, {0, 31, 0, 0}, 6};
  const Samples samples = makeSamples(random, c);
  load(state.get(), c, samples);
  const Bytes wanted = storeAll(state.get());
  for (const int32_t subband : {1, 4, 5, -1, INT32_MIN, INT32_MAX}) {
    c.style.subband = subband;
    load(state.get(), c, samples);
    EXPECT_EQ(storeAll(state.get()), wanted) << subband;
  }
}

TEST(EncodeLoad, allZeroBlocksHaveNoPass) {
  State state({8, 8});
  for (const int32_t sign : {0, INT32_MIN}) {
    for (int32_t flags = 0; flags < kStyles; ++flags) {
      const Case c = shaped({8, 8}, {0, 31, 0, flags});
      EXPECT_EQ(load(state.get(), c, Samples(64, sign)), (Loaded{0, 0, flags & 4 ? 0 : 1}));
      const Destination::Outcome out = destination().store(state.get(), 5, Edge::Back);
      EXPECT_EQ(out.status, qlmOk);
      EXPECT_TRUE(out.bytes.empty());
      EXPECT_EQ(out.notFinished, 0);
      double d;
      int32_t n = -99;
      EXPECT_EQ(qlmiEncodeGetDist_JPEG2K(state.get(), 0, &d), qlmErrPassIndex);
      EXPECT_EQ(qlmiEncodeGetRate_JPEG2K(state.get(), 0, &n), qlmErrPassIndex);
      if (flags & 4) {
        EXPECT_EQ(qlmiEncodeGetTermPassLen_JPEG2K(state.get(), 0, &n), qlmErrPassIndex);
      } else {
        EXPECT_EQ(segmentLength(state.get(), 0), 0);
      }
    }
  }
}

TEST(EncodeLoad, noPassBelowTheLowestPlane) {
  State state({2, 2});
  // With four magnitude bits the lowest plane is 27.
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, 4, 0, 0}), {0, 1 << 26, INT32_MIN | 1 << 30, 5}), (Loaded{31, 10, 1}));
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, 4, 0, 0}), {0, 1 << 26, 3, 5}), (Loaded{27, 0, 1}));
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, 4, 0, 4}), {0, 1 << 26, 3, 5}), (Loaded{27, 0, 0}));
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, 4, 0, 0}), {0, 1 << 27, 3, 5}), (Loaded{28, 1, 1}));
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, 0, 0, 0}), {0, 1 << 30, 3, 5}), (Loaded{31, 0, 1}));
  EXPECT_EQ(load(state.get(), shaped({2, 2}, {0, -7, 0, 0}), {0, 1 << 30, 3, 5}), (Loaded{31, 0, 1}));
}

TEST(EncodeLoad, bypassBeginsBelowTheFourthPlane) {
  State state({8, 8});
  Random random(7111);
  Samples samples(64);
  for (int32_t& sample : samples) sample = static_cast<int32_t>(random.between(512, 1023));
  // Planes 9 to 6, then planes 5 to 0 in two segments each.
  EXPECT_EQ(load(state.get(), shaped({8, 8}, {0, 31, 0, 2}), samples), (Loaded{10, 28, 13}));
  EXPECT_EQ(load(state.get(), shaped({8, 8}, {0, 31, 0, 0}), samples), (Loaded{10, 28, 1}));
  EXPECT_EQ(load(state.get(), shaped({8, 8}, {0, 31, 0, 6}), samples), (Loaded{10, 28, 28}));
  // Four planes above lowest plane 6: no raw pass.
  EXPECT_EQ(load(state.get(), shaped({8, 8}, {0, 25, 0, 2}), samples), (Loaded{10, 10, 1}));
  EXPECT_EQ(load(state.get(), shaped({8, 8}, {0, 26, 0, 2}), samples), (Loaded{10, 13, 3}));
}

// Decisions of raw passes are the bits of the samples, so that their bytes can be told from the block. A byte of 0xFF
// leaves the top bit of the next one zero; the rest of the last byte is 0101..., and an empty byte behind 0xFF is not
// written.
TEST(EncodeStoreBits, rawSegmentsByHand) {
  State state({64, 1});
  // Behind the four MQ planes all samples are significant: the raw significance pass is empty, the refinement holds a
  // bit of each. Lengths stand before the cleanup, which has no symbol.
  const auto refinement = [&](int32_t width, int32_t sample) {
    const Case c = shaped({width, 1}, {0, 31, 0, model::kBypass | model::kTerminateEach});
    EXPECT_EQ(load(state.get(), c, Samples(static_cast<size_t>(width), sample)), (Loaded{5, 13, 13}));
    const Bytes bytes = storeAll(state.get());
    EXPECT_EQ(segmentLength(state.get(), 10), 0);
    EXPECT_EQ(segmentLength(state.get(), 12), 0);
    return Bytes(bytes.end() - segmentLength(state.get(), 11), bytes.end());
  };
  EXPECT_EQ(refinement(8, 0x1F), Bytes({0xFF}));
  EXPECT_EQ(refinement(9, 0x1F), Bytes({0xFF, 0b01010101}));
  EXPECT_EQ(refinement(15, 0x1F), Bytes({0xFF, 0x7F}));
  EXPECT_EQ(refinement(16, 0x1F), Bytes({0xFF, 0x7F, 0b10101010}));
  EXPECT_EQ(refinement(23, 0x1F), Bytes({0xFF, 0x7F, 0xFF}));
  EXPECT_EQ(refinement(1, 0x1F), Bytes({0b10101010}));
  EXPECT_EQ(refinement(1, 0x1E), Bytes({0b00101010}));
  EXPECT_EQ(refinement(7, 0x1F), Bytes({0b11111110}));
  EXPECT_EQ(refinement(8, 0x1E), Bytes({0}));
  EXPECT_EQ(refinement(10, 0x1E), Bytes({0, 0b00010101}));
}

TEST(EncodeStoreBits, noSymbolsNoBytes) {
  State state({1, 1});
  for (int32_t ending = 0; ending < kEndings; ++ending) {
    // One sample, two planes: the significance pass and the cleanup of the lower one find nothing to code.
    const Case c = shaped({1, 1}, {0, 31, ending, model::kTerminateEach});
    ASSERT_EQ(load(state.get(), c, {3}), (Loaded{2, 4, 4}));
    const Bytes bytes = storeAll(state.get());
    EXPECT_EQ(segmentLength(state.get(), 1), 0);
    EXPECT_EQ(segmentLength(state.get(), 3), 0);
    EXPECT_EQ(static_cast<size_t>(segmentLength(state.get(), 0) + segmentLength(state.get(), 2)), bytes.size());
    EXPECT_GT(segmentLength(state.get(), 0), 0);
  }
}

// The lower bound carries into a held byte of 0xFF where the shortest ending begins, which happens once in a million
// segments.
TEST(EncodeStoreBits, shortestEndingBehindFF) {
  State state({4, 3});
  const auto negative = [](int32_t magnitude) { return INT32_MIN | magnitude; };
  const Samples first = {1,  negative(11), negative(1),  negative(3), negative(12),
                         13, negative(2),  negative(10), negative(7), 2,
                         5,  negative(1)};
  const Samples second = {negative(3), negative(5), 2,           negative(3), negative(7), 6,
                          negative(3), negative(6), negative(2), 0,           1,           negative(6)};
  const Samples third = {4, negative(16), 0, 12, negative(22), 24, 8, negative(20), 15, negative(10), 13, 16};
  size_t round = 0;
  for (const size_t room : {size_t{1}, Destination::kLargest}) {
    for (const auto& [samples, subband] : {std::pair{first, 0}, {second, 1}, {third, 0}})
      checkBlock(state.get(), shaped({4, 3}, {subband, 31, 1, model::kTerminateEach}), samples, round++,
                 [room](size_t) { return room; });
  }
}

TEST(EncodeStoreBits, afterTheEndNothingComes) {
  State state({8, 8});
  Random random(7112);
  const Case c{{8, 8}, {0, 31, 0, 0}, 6};
  const Samples samples = makeSamples(random, c);
  load(state.get(), c, samples);
  const Bytes bytes = storeAll(state.get());
  EXPECT_FALSE(bytes.empty());
  const int32_t last = rate(state.get(), 3);
  EXPECT_TRUE(storeAll(state.get()).empty());
  EXPECT_EQ(rate(state.get(), 3), last);
  load(state.get(), c, samples);
  EXPECT_EQ(storeAll(state.get()), bytes);
}

// Loading again in the middle of the bytes of one block begins with a clean coder.
TEST(EncodeStoreBits, anUnfinishedBlockLeavesNoTrace) {
  TRACE_SEED(7113);
  Random random(7113);
  State state({8, 8});
  for (size_t i = 0; i < 64; ++i) {
    const Case first = anyCase(random, {8, 8}, static_cast<int32_t>(i)), next = anyCase(random, {7, 6}, 0);
    load(state.get(), first, makeSamples(random, first));
    destination().store(state.get(), 1 + i % 9, Edge::Back);
    checkBlock(state.get(), next, makeSamples(random, next), i);
    if (HasFailure()) return;
  }
}

TEST(EncodeGetDist, byNumber) {
  State state({1, 1});
  const auto distortions = [&](int32_t sample, int32_t magnitudeBits, int32_t flags) {
    const Case c = shaped({1, 1}, {0, magnitudeBits, 0, flags});
    const Loaded loaded = load(state.get(), c, {sample});
    std::vector<double> all;
    for (int32_t pass = 0; pass < loaded.passCount; ++pass) all.push_back(distortion(state.get(), pass));
    return all;
  };
  using Doubles = std::vector<double>;
  // One plane: 0.75 + 3u, and (1 + u) squared where the block is reversible.
  EXPECT_EQ(distortions(0x40000000, 1, 0), Doubles({0.75}));
  EXPECT_EQ(distortions(0x40000000, 1, 32), Doubles({1}));
  EXPECT_EQ(distortions(0x60000000, 1, 0), Doubles({2.25}));
  EXPECT_EQ(distortions(0x41000000, 1, 0), Doubles({6528.0 / 8192}));
  EXPECT_EQ(distortions(0x42000000, 1, 0), Doubles({6912.0 / 8192}));
  EXPECT_EQ(distortions(0x40FFFFFF, 1, 0), Doubles({0.75}));
  EXPECT_EQ(distortions(0x41000000, 1, 32), Doubles({8450.0 / 8192}));
  EXPECT_EQ(distortions(0x42000000, 1, 32), Doubles({8712.0 / 8192}));
  // Two planes: the reconstruction 3 of the value 3 moves to 3.5, and the sum falls. Exact, it stays.
  EXPECT_EQ(distortions(0x60000000, 2, 0), Doubles({9, 9, 8.75, 8.75}));
  EXPECT_EQ(distortions(0x60000000, 2, 32), Doubles({9, 9, 9, 9}));
  EXPECT_EQ(distortions(0x40000000, 2, 0), Doubles({3, 3, 3.75, 3.75}));
  EXPECT_EQ(distortions(0x40000000, 2, 32), Doubles({3, 3, 4, 4}));
  // The same at the lower end of the sample, where no bits lie below.
  EXPECT_EQ(distortions(3, 31, 0), Doubles({9, 9, 8.75, 8.75}));
  EXPECT_EQ(distortions(3, 31, 32), Doubles({9, 9, 9, 9}));
  EXPECT_EQ(distortions(INT32_MIN | 3, 31, 0), Doubles({9, 9, 8.75, 8.75}));
}

TEST(EncodeGetDist, reversibleChangesTheLowestPlaneAlone) {
  TRACE_SEED(7114);
  Random random(7114);
  State state({16, 16});
  for (int32_t i = 0; i < 40; ++i) {
    Case c = anyCase(random, {16, 16}, i % 32);
    c.planes = 5;
    c.style.magnitudeBits = 20;
    const Samples samples = makeSamples(random, c);
    Loaded loaded[2];
    Bytes bytes[2];
    std::vector<double> sums[2];
    std::vector<int32_t> rates[2];
    for (const int32_t reversible : {0, 1}) {
      c.style.flags = i % 32 + 32 * reversible;
      loaded[reversible] = load(state.get(), c, samples);
      bytes[reversible] = storeAll(state.get());
      for (int32_t pass = 0; pass < loaded[0].passCount; ++pass) {
        sums[reversible].push_back(distortion(state.get(), pass));
        rates[reversible].push_back(rate(state.get(), pass));
      }
    }
    EXPECT_EQ(loaded[0], loaded[1]);
    EXPECT_EQ(bytes[0], bytes[1]);
    EXPECT_EQ(rates[0], rates[1]);
    if (loaded[0].passCount < 4) continue;
    const auto above = loaded[0].passCount - 3;
    EXPECT_TRUE(std::equal(sums[0].begin(), sums[0].begin() + above, sums[1].begin()));
    EXPECT_NE(sums[0], sums[1]);
  }
}

TEST(EncodeGetRate, neverFallsAndNeverEndsOnFF) {
  TRACE_SEED(7115);
  Random random(7115);
  State state({32, 32});
  for (int32_t flags = 0; flags < kStyles; ++flags) {
    const Case c = anyCase(random, {32, 32}, flags);
    const Loaded loaded = load(state.get(), c, makeSamples(random, c));
    const Bytes bytes = storeAll(state.get());
    int32_t before = 0;
    for (int32_t pass = 0; pass < loaded.passCount; ++pass) {
      const int32_t r = rate(state.get(), pass);
      EXPECT_GE(r, before) << "pass " << pass << " flags " << flags;
      if (r > 0 && r <= static_cast<int32_t>(bytes.size())) {
        EXPECT_NE(bytes[static_cast<size_t>(r) - 1], 0xFF) << "pass " << pass << " flags " << flags;
      }
      before = r;
    }
  }
}

TEST(EncodeQueries, passNumbersBeyondTheBlock) {
  State state({8, 8});
  const Loaded loaded = load(state.get(), shaped({8, 8}, {0, 31, 0, model::kBypass}), Samples(64, 0x155));
  ASSERT_EQ(loaded, (Loaded{9, 25, 11}));
  storeAll(state.get());
  double d = 0.125;
  int32_t n = 77;
  for (const int32_t pass : {-1, 25, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(qlmiEncodeGetDist_JPEG2K(state.get(), pass, &d), qlmErrPassIndex);
    EXPECT_EQ(qlmiEncodeGetRate_JPEG2K(state.get(), pass, &n), qlmErrPassIndex);
  }
  for (const int32_t segment : {-1, 11, INT32_MIN, INT32_MAX})
    EXPECT_EQ(qlmiEncodeGetTermPassLen_JPEG2K(state.get(), segment, &n), qlmErrPassIndex);
  EXPECT_EQ(d, 0.125);
  EXPECT_EQ(n, 77);
}

// The test sequence of ITU-T T.88 H.2, one context from state 0, anchors the coder that the models share with the
// standard: 256 decisions, and the bytes printed there before the marker.
TEST(BlockCoderModel, sequenceOfT88) {
  const Bytes decisions = {0x00, 0x02, 0x00, 0x51, 0x00, 0x00, 0x00, 0xC0, 0x03, 0x52, 0x87,
                           0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x82, 0xC0, 0x20, 0x00, 0xFC, 0xD7,
                           0x9E, 0xF6, 0xBF, 0x7F, 0xED, 0x90, 0x4F, 0x46, 0xA3, 0xBF};
  const Bytes coded = {0x84, 0xC7, 0x3B, 0xFC, 0xE1, 0xA1, 0x43, 0x04, 0x02, 0x20, 0x00, 0x00, 0x41, 0x0D,
                       0xBB, 0x86, 0xF4, 0x31, 0x7F, 0xFF, 0x88, 0xFF, 0x37, 0x47, 0x1A, 0xDB, 0x6A, 0xDF};
  model::MqEncoder encoder;
  encoder.start();
  model::Probabilities probabilities;
  for (size_t i = 0; i < 256; ++i)
    encoder.code({decisions[i / 8] >> (7 - i % 8) & 1, model::kFirstSignificance + 1}, probabilities);
  encoder.end(0);
  EXPECT_EQ(encoder.staged, coded);
}
