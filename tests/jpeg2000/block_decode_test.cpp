// The code-block decoder (ITU-T T.800 Annexes C and D) against its model: whole blocks, segment by segment, cut and
// damaged; decisions and samples worked out by hand; and blocks of the encoder there and back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "jpeg2000/block_support.h"
#include "model/jpeg2000_block_decode.h"
#include "qlmjp.h"
#include "support/placed.h"

using namespace blocks;
using model::BlockDecoder;
using test::Edge;
using test::GuardedBytes;
using test::Placed;

namespace {

constexpr int32_t kDecoderStyles = 32;  // the style flags that tell how the data is coded

int32_t stateSize(Shape shape) {
  int32_t size = -1;
  EXPECT_EQ(qlmiDecodeCBProgrGetStateSize_JPEG2K(shape.size(), &size), qlmOk);
  return size;
}

// What attach is told.
struct Attachment {
  int32_t subband, planes, flags;
};

// A decoder in memory of exactly its size, at any alignment that a record may have, and its model beside it. Both
// decode into the same kind of plane; after every call, samples, padding and counters must agree.
class Pair {
 public:
  Pair(Shape shape, size_t round) : Pair(shape, shape, round) {}
  Pair(Shape shape, Shape maximum, size_t round)
      : shape_(shape),
        memory_(static_cast<size_t>(stateSize(maximum)), 1, 0, place(round, 0).slack / 8 * 8, place(round, 0).edge),
        destination_(planeAt(shape, round)),
        expected_(planeAt(shape, round)),
        model_(shape.width, shape.height) {
    destination_.get(model_.samples());
    EXPECT_EQ(qlmiDecodeCBProgrInit_JPEG2K(state()), qlmOk);
  }

  QlmDecodeState_JPEG2K* state() const { return reinterpret_cast<QlmDecodeState_JPEG2K*>(memory_.data()); }
  const Samples& samples() { return model_.samples(); }
  int32_t plane() const { return model_.plane(); }
  int32_t passCounter() const { return model_.passCounter(); }

  // What the destination holds before an attach that keeps it.
  void setSamples(const Samples& samples) {
    model_.samples() = samples;
    destination_.set(samples);
  }

  void attach(Attachment a) {
    model_.attach(a.subband, a.planes, a.flags);
    EXPECT_EQ(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(destination_.data(), destination_.step(), shape_.size(), state(),
                                                     a.subband, a.planes, a.flags),
              qlmOk);
    check();
  }

  void setPassCounter(int32_t passes) {
    model_.setPassCounter(passes);
    EXPECT_EQ(qlmiDecodeCBProgrSetPassCounter_JPEG2K(passes, state()), qlmOk);
    check();
  }

  QlmStatus step(const Bytes& segment, Edge edge = Edge::Back) {
    const QlmStatus expected = model_.step(segment);
    test::Guarded<uint8_t> source(segment.size(), edge);
    std::copy(segment.begin(), segment.end(), source.begin());
    EXPECT_EQ(qlmiDecodeCBProgrStep_JPEG2K(source.data(), static_cast<int32_t>(segment.size()), state()), expected);
    check();
    return expected;
  }

  struct Outcome {
    QlmStatus status;
    int32_t errorPlane;
  };
  static constexpr int32_t kNoError = 777;
  Outcome decode(Attachment a, int32_t passes, const std::vector<Bytes>& segments, Edge edge = Edge::Back) {
    const std::vector<std::span<const uint8_t>> spans(segments.begin(), segments.end());
    const BlockDecoder::Whole expected = model_.decode(spans, a.subband, a.planes, passes, a.flags);
    Bytes coded;
    test::Guarded<int32_t> lengths(segments.size(), edge);
    for (size_t i = 0; i < segments.size(); ++i) {
      coded.insert(coded.end(), segments[i].begin(), segments[i].end());
      lengths[i] = static_cast<int32_t>(segments[i].size());
    }
    test::Guarded<uint8_t> source(coded.size(), edge);
    std::copy(coded.begin(), coded.end(), source.begin());
    Outcome got{qlmOk, kNoError};
    got.status = qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(
        source.data(), destination_.data(), destination_.step(), shape_.size(), a.subband, a.planes, passes,
        lengths.data(), static_cast<int32_t>(segments.size()), a.flags, &got.errorPlane, state());
    EXPECT_EQ(got.status, expected.status);
    EXPECT_EQ(got.errorPlane, expected.errorPlane.value_or(kNoError));
    check();
    return got;
  }

  // Also compares what no call has written.
  void check() {
    expected_.set(model_.samples());
    EXPECT_TRUE(test::sameBytes(expected_.snapshot(), destination_.snapshot()));
    int32_t plane = kUnknown, passes = kUnknown;
    EXPECT_EQ(qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(state(), &plane), qlmOk);
    EXPECT_EQ(qlmiDecodeCBProgrGetPassCounter_JPEG2K(state(), &passes), qlmOk);
    EXPECT_EQ(plane, model_.plane());
    EXPECT_EQ(passes, model_.passCounter());
  }

 private:
  static constexpr int32_t kUnknown = INT32_MIN;
  static test::Place place(size_t round, size_t buffer) { return test::mostlyFlushPlaceOf(round, buffer); }
  static Placed<int32_t> planeAt(Shape shape, size_t round) {
    const auto width = static_cast<size_t>(shape.width), height = static_cast<size_t>(shape.height);
    return {width, height, test::stepOf(round, 4 * width), place(round, 1).slack, place(round, 1).edge};
  }

  Shape shape_;
  Placed<uint8_t> memory_;
  Placed<int32_t> destination_, expected_;
  BlockDecoder model_;
};

// Blocks as the encoder gives them, with the flags that do not change the data.
struct Job {
  Coded coded;
  Attachment attachment;
  int32_t passes;
};

Job anyJob(Random& random, Shape shape, int32_t style) {
  Case c = anyCase(random, shape, style);
  if (random.oneIn(2)) c.style.terminationMode = 2;
  const Samples samples = makeSamples(random, c);
  Job job{codeWithModel(samples, c), {}, 0};
  job.attachment = {c.style.subband, job.coded.planes, style};
  if (random.oneIn(2)) job.attachment.flags |= model::kKeepReconstruction;
  if (random.oneIn(2)) job.attachment.flags |= model::kConceal;
  if (random.oneIn(4)) job.attachment.flags |= model::kKeepDestination;
  if (c.style.terminationMode == 2 ? random.oneIn(2) : random.oneIn(5))
    job.attachment.flags |= model::kCheckTermination;
  job.passes = job.coded.passes;
  if (random.oneIn(3)) job.passes = static_cast<int32_t>(random.between(-1, job.passes + 3));
  return job;
}

// Changes, cuts, lengthens or makes up bytes, so that markers and long codes become likely.
void damage(Random& random, std::vector<Bytes>& segments) {
  if (segments.empty()) segments.emplace_back();
  for (auto times = random.between(1, 4); times > 0; --times) {
    Bytes& segment = segments[random.bits() % segments.size()];
    const size_t at = segment.empty() ? 0 : random.bits() % segment.size();
    switch (random.bits() % 6) {
      case 0:
        segment.resize(at);
        break;
      case 1:
        if (!segment.empty()) segment[at] ^= static_cast<uint8_t>(1 << random.between(0, 7));
        break;
      case 2:
        if (!segment.empty()) segment[at] = 0xFF;
        break;
      case 3:
        for (auto n = random.between(1, 9); n > 0; --n)
          segment.push_back(random.oneIn(3) ? 0xFF : static_cast<uint8_t>(random.bits()));
        break;
      case 4:
        for (uint8_t& byte : segment) {
          constexpr uint8_t kLikely[] = {0xFF, 0x8F, 0x90, 0x7F, 0x80, 0x00};
          byte = random.oneIn(2) ? static_cast<uint8_t>(random.bits()) : kLikely[random.bits() % 6];
        }
        break;
      default:
        segments.insert(segments.begin() + static_cast<ptrdiff_t>(random.bits() % segments.size()), Bytes{});
    }
  }
}

void checkSteps(const Job& job, size_t round, Random& random) {
  SCOPED_TRACE(job.coded.style);
  SCOPED_TRACE(testing::Message() << "flags " << job.attachment.flags << " passes " << job.passes);
  const Shape shape = job.coded.style.shape;
  const Shape maximum{shape.width + static_cast<int32_t>(round % 3), shape.height + static_cast<int32_t>(round % 2)};
  Pair pair(shape, maximum, round);
  pair.attach(job.attachment);
  // The counter is set once, or now and then, also in the middle of a segment of several passes.
  const bool piecewise = random.oneIn(3);
  if (!piecewise) pair.setPassCounter(job.passes);
  for (const Bytes& segment : job.coded.segments) {
    if (piecewise) pair.setPassCounter(static_cast<int32_t>(random.between(0, 5)));
    pair.step(segment, round % 2 ? Edge::Front : Edge::Back);
    if (testing::Test::HasFailure()) return;
  }
  pair.step({});
}

void checkWhole(const Job& job, size_t round) {
  SCOPED_TRACE(job.coded.style);
  SCOPED_TRACE(testing::Message() << "flags " << job.attachment.flags << " passes " << job.passes);
  Pair pair(job.coded.style.shape, round);
  pair.decode(job.attachment, job.passes, job.coded.segments, round % 2 ? Edge::Front : Edge::Back);
}

// Every style, shapes by turns: intact, then damaged.
template <typename Check>
void forManyJobs(uint64_t stream, int32_t rounds, const Check& check) {
  TRACE_SEED(stream);
  Random random(stream);
  size_t round = 0;
  for (int32_t i = 0; i < rounds; ++i) {
    for (int32_t style = 0; style < kDecoderStyles; ++style, ++round) {
      const Shape shape = anyShape(random, round);
      Job job = anyJob(random, shape, style);
      if (random.oneIn(3)) job.attachment.subband = i - 2;
      if (i % 2) damage(random, job.coded.segments);
      check(job, round, random);
      if (testing::Test::HasFailure()) return;
    }
  }
  for (const Shape shape : largeShapes()) {
    for (int32_t i = 0; i < 2; ++i) {
      Job job = anyJob(random, shape, static_cast<int32_t>(random.between(0, kDecoderStyles - 1)));
      if (i) damage(random, job.coded.segments);
      check(job, round++, random);
      if (testing::Test::HasFailure()) return;
    }
  }
}

// Decisions written down by hand, as one segment of the MQ coder with the checkable ending.
Bytes codedByHand(std::initializer_list<model::Decision> decisions, int32_t ending = 2) {
  model::MqEncoder encoder;
  encoder.start();
  model::Probabilities probabilities;
  for (const model::Decision d : decisions) encoder.code(d, probabilities);
  encoder.end(ending);
  return encoder.staged;
}

constexpr int32_t kNegative = INT32_MIN;
constexpr auto kSymbols = {model::Decision{1, 0}, {0, 0}, {1, 0}, {0, 0}};  // the segmentation symbols

constexpr int32_t kExact = model::kKeepReconstruction | model::kCheckTermination;

}  // namespace

TEST(Model, qlmiDecodeCBProgrGetStateSize_JPEG2K) {
  for (int32_t height = 1; height <= 70; ++height) {
    for (int32_t width = 1; width <= 70; ++width) {
      const int32_t rowBytes = (width * 4 + 8 + 31) / 32 * 32;
      ASSERT_EQ(stateSize({width, height}), rowBytes * ((height + 1) / 2 + 2) + 472);
    }
  }
  EXPECT_EQ(stateSize({1, 1}), 568);
  EXPECT_EQ(stateSize({6, 2}), 568);
  EXPECT_EQ(stateSize({7, 2}), 664);
  EXPECT_EQ(stateSize({6, 3}), 600);
  EXPECT_EQ(stateSize({64, 64}), 10264);
  EXPECT_EQ(stateSize({1024, 4}), 16984);
  int32_t size = 5;
  EXPECT_EQ(qlmiDecodeCBProgrGetStateSize_JPEG2K({4, 4}, nullptr), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeCBProgrGetStateSize_JPEG2K({0, 4}, nullptr), qlmErrSize);
  EXPECT_EQ(qlmiDecodeCBProgrGetStateSize_JPEG2K({4, -1}, &size), qlmErrSize);
  EXPECT_EQ(size, 5);
}

TEST(Model, qlmiDecodeGetBufSize_JPEG2K) {
  for (const Shape shape : {Shape{1, 1}, {7, 9}, {64, 64}, {33, 128}, {1024, 4}}) {
    int32_t size = -1;
    EXPECT_EQ(qlmiDecodeGetBufSize_JPEG2K(shape.size(), &size), qlmOk);
    EXPECT_EQ(size, stateSize(shape));
  }
  EXPECT_EQ(qlmiDecodeGetBufSize_JPEG2K({4, 4}, nullptr), qlmErrNullPointer);
  EXPECT_EQ(qlmiDecodeGetBufSize_JPEG2K({4, 0}, nullptr), qlmErrSize);
}

TEST(Model, qlmiDecodeCBProgrInit_JPEG2K) {
  const Shape shape{5, 6};
  for (size_t round = 0; round < test::kPlaces; ++round) {
    Pair pair(shape, round);
    EXPECT_EQ(std::memcmp(pair.state(), "PAMC", 4), 0);
    const uint8_t segment[1] = {0};
    EXPECT_EQ(qlmiDecodeCBProgrStep_JPEG2K(segment, 1, pair.state()), qlmErrNoCodeBlock);
    int32_t n;
    EXPECT_EQ(qlmiDecodeCBProgrGetPassCounter_JPEG2K(pair.state(), &n), qlmOk);
    EXPECT_EQ(qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(pair.state(), &n), qlmOk);
    pair.attach({0, 3, 0});
    EXPECT_EQ(pair.step({0x12, 0x34}), qlmOk);  // no pass is wanted
    pair.setPassCounter(4);
    pair.step({0x12, 0x34, 0x56, 0x78});
    // Begins anew, without a block.
    EXPECT_EQ(qlmiDecodeCBProgrInit_JPEG2K(pair.state()), qlmOk);
    EXPECT_EQ(qlmiDecodeCBProgrStep_JPEG2K(segment, 1, pair.state()), qlmErrNoCodeBlock);
  }
}

TEST(Model, qlmiDecodeCBProgrInitAlloc_JPEG2K) {
  TRACE_SEED(7200);
  Random random(7200);
  for (const Shape shape : smallShapes()) {
    const Job job = anyJob(random, shape, model::kTerminateEach);
    QlmDecodeState_JPEG2K* state = nullptr;
    ASSERT_EQ(qlmiDecodeCBProgrInitAlloc_JPEG2K(&state, shape.size()), qlmOk);
    EXPECT_EQ(std::memcmp(static_cast<void*>(state), "PAMC", 4), 0);
    const uint8_t segment[1] = {0};
    EXPECT_EQ(qlmiDecodeCBProgrStep_JPEG2K(segment, 1, state), qlmErrNoCodeBlock);
    Samples got(shape.count(), 99);
    ASSERT_EQ(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(got.data(), 4 * shape.width, shape.size(), state,
                                                     job.attachment.subband, job.coded.planes, model::kTerminateEach),
              qlmOk);
    ASSERT_EQ(qlmiDecodeCBProgrSetPassCounter_JPEG2K(job.coded.passes, state), qlmOk);
    for (const Bytes& s : job.coded.segments)
      ASSERT_EQ(qlmiDecodeCBProgrStep_JPEG2K(s.empty() ? segment : s.data(), static_cast<int32_t>(s.size()), state),
                qlmOk);
    EXPECT_EQ(got, job.coded.decoded());
    EXPECT_EQ(qlmiDecodeCBProgrFree_JPEG2K(state), qlmOk);
  }
}

TEST(Model, qlmiDecodeCBProgrFree_JPEG2K) {
  EXPECT_EQ(qlmiDecodeCBProgrFree_JPEG2K(nullptr), qlmErrNullPointer);
  QlmDecodeState_JPEG2K* state = nullptr;
  ASSERT_EQ(qlmiDecodeCBProgrInitAlloc_JPEG2K(&state, {8, 8}), qlmOk);
  std::memcpy(static_cast<void*>(state), "CMAP", 4);
  EXPECT_EQ(qlmiDecodeCBProgrFree_JPEG2K(state), qlmErrContextMatch);
  std::memcpy(static_cast<void*>(state), "PAMC", 4);
  EXPECT_EQ(qlmiDecodeCBProgrFree_JPEG2K(state), qlmOk);
}

// Rows are cleared and the space between them is not; or kept. Nothing is decoded before the counter is set.
TEST(Model, qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R) {
  TRACE_SEED(7201);
  Random random(7201);
  size_t round = 0;
  for (const Shape shape : smallShapes()) {
    for (const int32_t flags : {0, int32_t{model::kKeepDestination}}) {
      Pair pair(shape, {17, 21}, round++);
      Samples before(shape.count());
      random.fill(std::span(before));
      pair.setSamples(before);
      pair.attach({static_cast<int32_t>(random.between(-1, 4)), static_cast<int32_t>(random.between(1, 31)), flags});
      EXPECT_EQ(pair.samples(), flags ? before : Samples(shape.count(), 0));
      EXPECT_EQ(pair.passCounter(), 0);
      pair.step({1, 2, 3});
    }
  }
}

TEST(Model, qlmiDecodeCBProgrSetPassCounter_JPEG2K) {
  Pair pair({4, 4}, 0);
  pair.attach({0, 5, 0});
  for (const int32_t passes : {0, 1, 13, -1, INT32_MAX, INT32_MIN, 3}) pair.setPassCounter(passes);
  pair.step({0x40, 0x20, 0x11});
  EXPECT_EQ(pair.passCounter(), 0);
  EXPECT_EQ(pair.plane(), 3);
}

TEST(Model, qlmiDecodeCBProgrGetPassCounter_JPEG2K) {
  Pair pair({4, 4}, 1);
  pair.attach({0, 5, model::kTerminateEach});
  pair.setPassCounter(5);
  for (int32_t left = 4; left >= 0; --left) {
    pair.step({0x40, 0x20, 0x11});
    EXPECT_EQ(pair.passCounter(), left);
  }
  pair.step({0x40});
  EXPECT_EQ(pair.passCounter(), 0);
  pair.attach({0, 5, 0});
  EXPECT_EQ(pair.passCounter(), 0);
}

TEST(Model, qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K) {
  Pair pair({4, 4}, 2);
  pair.attach({0, 3, model::kTerminateEach});
  pair.setPassCounter(20);
  for (const int32_t plane : {1, 1, 1, 0, 0, 0, -1, -1}) {
    pair.step({0x40, 0x20, 0x11});
    EXPECT_EQ(pair.plane(), plane);
  }
  EXPECT_EQ(pair.passCounter(), 13);
  // In one segment the plane stays where the counter ends, and falls behind the last cleanup otherwise.
  pair.attach({0, 3, 0});
  pair.setPassCounter(7);
  pair.step({0x40, 0x20, 0x11});
  EXPECT_EQ(pair.plane(), 0);
  pair.attach({0, 3, 0});
  pair.setPassCounter(8);
  pair.step({0x40, 0x20, 0x11});
  EXPECT_EQ(pair.plane(), -1);
  EXPECT_EQ(pair.passCounter(), 1);
}

TEST(Model, qlmiDecodeCBProgrStep_JPEG2K) { forManyJobs(7202, 96, checkSteps); }

TEST(Model, qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R) {
  forManyJobs(7203, 96, [](const Job& job, size_t round, Random&) { checkWhole(job, round); });
}

// Every segment of a block cut at every byte.
TEST(DecodeCodeBlock, everyCutOfEverySegment) {
  TRACE_SEED(7204);
  Random random(7204);
  for (int32_t style = 0; style < kDecoderStyles; ++style) {
    const Job job = anyJob(random, {static_cast<int32_t>(random.between(1, 6)), 1 + style % 6}, style);
    for (size_t segment = 0; segment < job.coded.segments.size(); ++segment) {
      for (size_t length = 0; length < job.coded.segments[segment].size(); ++length) {
        Job cut = job;
        cut.coded.segments[segment].resize(length);
        checkWhole(cut, segment + length);
        if (HasFailure()) return;
      }
    }
  }
}

// Bytes behind the end that can be checked: what looks like data is an error, a marker is none.
TEST(DecodeCodeBlock, bytesBehindACheckedEnd) {
  TRACE_SEED(7210);
  Random random(7210);
  int32_t passed = 0, failed = 0;
  for (int32_t i = 0; i < 3000; ++i) {
    const Shape shape{static_cast<int32_t>(random.between(1, 5)), static_cast<int32_t>(random.between(1, 4))};
    Case c = anyCase(random, shape, model::kTerminateEach | i % kDecoderStyles);
    c.style.terminationMode = 2;
    Coded coded = codeWithModel(makeSamples(random, c), c);
    for (Bytes& segment : coded.segments)
      segment.insert(segment.end(), {0xFF, static_cast<uint8_t>(i % 3 ? 0x90 - i % 3 * 0x10 : 0x90 + i % 0x70)});
    Pair pair(shape, static_cast<size_t>(i));
    pair.attach({c.style.subband, coded.planes, c.style.flags | model::kCheckTermination});
    pair.setPassCounter(coded.passes);
    for (const Bytes& segment : coded.segments) ++(pair.step(segment) == qlmOk ? passed : failed);
    if (HasFailure()) return;
  }
  EXPECT_GT(passed, 1000);
  EXPECT_GT(failed, 1000);
}

TEST(DecodeCodeBlock, everyCountOfPasses) {
  TRACE_SEED(7205);
  Random random(7205);
  for (int32_t style = 0; style < kDecoderStyles; ++style) {
    Job job = anyJob(random, {5, 7}, style);
    for (job.passes = 0; job.passes <= job.coded.passes + 1; ++job.passes) {
      checkWhole(job, static_cast<size_t>(job.passes));
      if (HasFailure()) return;
    }
  }
}

// The exports there and back: every style, ending and subband, and the ending that can be checked passes its check.
TEST(DecodeCodeBlock, encodedBlocksComeBack) {
  TRACE_SEED(7206);
  Random random(7206);
  QlmEncodeState_JPEG2K* encoder = nullptr;
  ASSERT_EQ(qlmiEncodeInitAlloc_JPEG2K(&encoder, {64, 64}), qlmOk);
  const std::unique_ptr<QlmEncodeState_JPEG2K, QlmStatus (*)(QlmEncodeState_JPEG2K*)> owner(encoder,
                                                                                            qlmiEncodeFree_JPEG2K);
  Bytes memory(static_cast<size_t>(stateSize({64, 64})));
  auto* decoder = reinterpret_cast<QlmDecodeState_JPEG2K*>(memory.data());
  Bytes bytes(1 << 20);
  const auto check = [&](const Case& c) {
    SCOPED_TRACE(c);
    const Samples samples = makeSamples(random, c);
    int32_t planes, passes, segments, notFinished, length = static_cast<int32_t>(bytes.size());
    ASSERT_EQ(qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples.data(), 4 * c.shape.width, c.shape.size(), encoder,
                                                     c.style.subband, c.style.magnitudeBits, c.style.terminationMode, 0,
                                                     c.style.flags, &planes, &passes, &segments),
              qlmOk);
    ASSERT_EQ(qlmiEncodeStoreBits_JPEG2K_1u(bytes.data(), &length, encoder, &notFinished), qlmOk);
    ASSERT_EQ(notFinished, 0);
    std::vector<int32_t> lengths(static_cast<size_t>(std::max(segments, 1)));
    for (int32_t k = 0; k < segments; ++k)
      ASSERT_EQ(qlmiEncodeGetTermPassLen_JPEG2K(encoder, k, &lengths[static_cast<size_t>(k)]), qlmOk);
    planes = std::max(planes - (31 - c.style.magnitudeBits), 0);
    int32_t flags = c.style.flags & ~model::kReversible;
    if (c.style.terminationMode == 2) flags |= model::kCheckTermination;
    const Samples wanted = Coded{c, samples, 0, 0, {}}.decoded();
    Samples got(samples.size(), 99);
    ASSERT_EQ(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(bytes.data(), got.data(), 4 * c.shape.width, c.shape.size(),
                                                   c.style.subband, planes, passes, lengths.data(), segments, flags,
                                                   nullptr, decoder),
              qlmOk);
    ASSERT_EQ(got, wanted);
  };
  const std::vector<Shape> shapes = smallShapes();
  size_t next = 0;
  for (int32_t flags = 0; flags < kStyles; ++flags) {
    for (int32_t ending = 0; ending < kEndings; ++ending) {
      for (int32_t subband = 0; subband < kSubbands; ++subband) {
        Case c = anyCase(random, shapes[next++ % shapes.size()], flags);
        c.style.terminationMode = ending;
        c.style.subband = subband;
        check(c);
        if (HasFailure()) return;
      }
    }
  }
  for (int32_t i = 0; i < 12; ++i) check(anyCase(random, {64, 64 - i}, static_cast<int32_t>(random.bits() % kStyles)));
}

TEST(DecodeCodeBlock, noSegments) {
  for (const int32_t flags : {0, int32_t{model::kKeepReconstruction}, int32_t{model::kConceal}}) {
    Pair pair({3, 3}, 0);
    EXPECT_EQ(pair.decode({0, 9, flags}, 5, {}).status, qlmOk);
    EXPECT_EQ(pair.samples(), Samples(9, 0));
    EXPECT_EQ(pair.passCounter(), 5);
  }
  // A negative count is none, and what is kept meets the final mask.
  Pair pair({2, 1}, 0);
  pair.setSamples({0x7F, kNegative | 0x123});
  EXPECT_EQ(pair.decode({0, 5, model::kKeepDestination}, 1, {}).status, qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0x70, kNegative | 0x120}));
  const uint8_t coded[1] = {0};
  const int32_t length = 1;
  int32_t sample = 99, plane = 77;
  EXPECT_EQ(
      qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(coded, &sample, 4, {1, 1}, 0, 5, 3, &length, -1, 0, &plane, pair.state()),
      qlmOk);
  EXPECT_EQ(sample, 0);
  EXPECT_EQ(plane, 77);
}

// A block of no bit-planes, or of fewer, has nothing to decode.
TEST(DecodeCodeBlock, noPlanes) {
  for (const int32_t planes : {0, -1, -100}) {
    for (int32_t style = 0; style < kDecoderStyles; ++style) {
      Pair pair({5, 5}, static_cast<size_t>(style));
      EXPECT_EQ(pair.decode({0, planes, style}, 9, {{0x12, 0x34}, {0x56}}).status, qlmOk);
      EXPECT_EQ(pair.samples(), Samples(25, 0));
      EXPECT_EQ(pair.plane(), planes - 1);
      EXPECT_EQ(pair.passCounter(), 9);
    }
  }
}

TEST(DecodeCodeBlock, negativeLengthIsAnEmptySegment) {
  Pair pair({6, 6}, 0);
  pair.decode({0, 12, 0}, 34, {{}});
  const test::Guarded<uint8_t> nothing(0);
  for (const int32_t length : {0, -1, INT32_MIN}) {
    Samples samples(36, 99);
    EXPECT_EQ(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(nothing.data(), samples.data(), 24, {6, 6}, 0, 12, 34, &length, 1, 0,
                                                   nullptr, pair.state()),
              qlmOk);
    EXPECT_EQ(samples, pair.samples());
  }
}

// One negative sample of three planes, 101: significance and sign, then two refinements.
TEST(DecodeCBProgr, oneSamplePlaneByPlane) {
  const Bytes segment = codedByHand({{1, 2}, {1, 11}, {0, 16}, {1, 18}});
  const auto after = [&](int32_t passes, int32_t flags) {
    Pair pair({1, 1}, 0);
    EXPECT_EQ(pair.decode({0, 3, flags}, passes, {segment}).status, qlmOk);
    return pair.samples()[0];
  };
  const int32_t keep = model::kKeepReconstruction;
  EXPECT_EQ(after(0, keep), 0);
  EXPECT_EQ(after(1, keep), kNegative | 6);  // 4 and half of it
  EXPECT_EQ(after(2, keep), kNegative | 6);
  EXPECT_EQ(after(3, keep), kNegative | 5);
  EXPECT_EQ(after(4, keep), kNegative | 5);
  EXPECT_EQ(after(6, keep), kNegative | 5);
  EXPECT_EQ(after(7, kExact), kNegative | 5);
  EXPECT_EQ(after(1, 0), kNegative | 4);
  EXPECT_EQ(after(2, 0), kNegative | 6);
  EXPECT_EQ(after(3, 0), kNegative | 4);
  EXPECT_EQ(after(4, 0), kNegative | 4);
  EXPECT_EQ(after(7, 0), kNegative | 5);
}

TEST(DecodeCBProgr, lowestPlaneHasNoHalf) {
  Pair pair({1, 1}, 0);
  EXPECT_EQ(pair.decode({0, 1, kExact}, 1, {codedByHand({{1, 2}, {0, 11}})}).status, qlmOk);
  EXPECT_EQ(pair.samples()[0], 1);
  EXPECT_EQ(pair.decode({0, 2, kExact}, 4, {codedByHand({{1, 2}, {0, 11}, {1, 16}})}).status, qlmOk);
  EXPECT_EQ(pair.samples()[0], 3);
}

TEST(DecodeCBProgr, highestPlane) {
  Pair pair({1, 1}, 0);
  EXPECT_EQ(pair.decode({0, 31, model::kKeepReconstruction}, 1, {codedByHand({{1, 2}, {1, 11}})}).status, qlmOk);
  EXPECT_EQ(pair.samples()[0], kNegative | 0x60000000);
}

// Columns of full stripes are coded by their runs; those of a last stripe of fewer rows are not. The segmentation
// symbols behind them would not be found otherwise.
TEST(DecodeCBProgr, runsInFullStripesOnly) {
  const auto zeros = [](int32_t runs, int32_t singles) {
    model::MqEncoder encoder;
    encoder.start();
    model::Probabilities probabilities;
    for (int32_t i = 0; i < runs; ++i) encoder.code({0, 1}, probabilities);
    for (int32_t i = 0; i < singles; ++i) encoder.code({0, 2}, probabilities);
    for (const model::Decision d : kSymbols) encoder.code(d, probabilities);
    encoder.end(2);
    return encoder.staged;
  };
  struct Example {
    Shape shape;
    int32_t runs, singles;
  };
  for (const Example e : {Example{{5, 8}, 10, 0}, {{2, 3}, 0, 6}, {{3, 5}, 3, 3}, {{1, 7}, 1, 3}, {{9, 4}, 9, 0}}) {
    for (const int32_t check : {0, int32_t{model::kCheckTermination}}) {
      Pair pair(e.shape, 0);
      const Attachment a{0, 1, model::kSegmentationSymbols | check};
      EXPECT_EQ(pair.decode(a, 1, {zeros(e.runs, e.singles)}).status, qlmOk);
      EXPECT_EQ(pair.samples(), Samples(e.shape.count(), 0));
    }
  }
}

TEST(DecodeCBProgr, runInterruptByHand) {
  // One column: a run of two zeros, then a negative sample. The row below it has one vertical neighbour.
  Pair pair({1, 4}, 0);
  const Bytes segment = codedByHand({{1, 1}, {1, 0}, {0, 0}, {1, 11}, {0, 5}});
  EXPECT_EQ(pair.decode({0, 1, kExact}, 1, {segment}).status, qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0, 0, kNegative | 1, 0}));
  // In HL rows and columns change places.
  EXPECT_EQ(pair.decode({2, 1, kExact}, 1, {codedByHand({{1, 1}, {1, 0}, {0, 0}, {1, 11}, {0, 7}})}).status, qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0, 0, kNegative | 1, 0}));
  EXPECT_EQ(pair.decode({3, 1, kExact}, 1, {codedByHand({{1, 1}, {1, 0}, {0, 0}, {1, 11}, {0, 3}})}).status, qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0, 0, kNegative | 1, 0}));
  // A run that ends on its last row, and the sign below a negative neighbour: context 12, turned over.
  Pair tall({1, 8}, 0);
  const Bytes two = codedByHand({{1, 1}, {1, 0}, {1, 0}, {1, 11}, {1, 5}, {0, 12}, {0, 5}, {0, 2}, {0, 2}});
  EXPECT_EQ(tall.decode({0, 1, kExact}, 1, {two}).status, qlmOk);
  EXPECT_EQ(tall.samples(), Samples({0, 0, 0, kNegative | 1, kNegative | 1, 0, 0, 0}));
}

// The last row of a stripe does not see the first of the next one.
TEST(DecodeCBProgr, verticallyCausalByHand) {
  // Column of eight: in plane 1 only row 4 becomes significant. Then row 3 is a candidate or not.
  const auto first = [](model::MqEncoder& encoder, model::Probabilities& p) {
    for (const model::Decision d : {model::Decision{0, 1}, {1, 1}, {0, 0}, {0, 0}, {0, 11}, {0, 5}, {0, 2}, {0, 2}})
      encoder.code(d, p);
  };
  const auto coded = [&](std::initializer_list<model::Decision> rest) {
    model::MqEncoder encoder;
    encoder.start();
    model::Probabilities p;
    first(encoder, p);
    for (const model::Decision d : rest) encoder.code(d, p);
    encoder.end(2);
    return encoder.staged;
  };
  // Row 3 becomes significant in the significance pass, row 5 does not; row 4 is refined; rows 0 to 2, 6, 7 are
  // cleaned.
  Pair pair({1, 8}, 0);
  EXPECT_EQ(pair.decode({0, 2, kExact}, 4,
                        {coded({{1, 5}, {0, 12}, {0, 5}, {1, 17}, {0, 2}, {0, 2}, {0, 5}, {0, 2}, {0, 2}})})
                .status,
            qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0, 0, 0, 1, 3, 0, 0, 0}));
  // Causal: the cleanup finds rows 0 to 3 in a run that row 3 ends, with a sign of no neighbours.
  EXPECT_EQ(pair.decode({0, 2, kExact | model::kVerticallyCausal}, 4,
                        {coded({{0, 5}, {1, 17}, {1, 1}, {1, 0}, {1, 0}, {1, 11}, {0, 2}, {0, 2}})})
                .status,
            qlmOk);
  EXPECT_EQ(pair.samples(), Samples({0, 0, 0, kNegative | 1, 3, 0, 0, 0}));
}

TEST(DecodeCBProgr, wrongSegmentationSymbols) {
  const auto coded = [](int32_t symbols, int32_t ending) {
    return codedByHand(
        {{1, 2}, {0, 11}, {symbols >> 3 & 1, 0}, {symbols >> 2 & 1, 0}, {symbols >> 1 & 1, 0}, {symbols & 1, 0}},
        ending);
  };
  for (int32_t symbols = 0; symbols < 16; ++symbols) {
    Pair pair({1, 1}, 0);
    const auto [status, plane] = pair.decode({0, 4, model::kSegmentationSymbols}, 1, {coded(symbols, 0)});
    EXPECT_EQ(status, symbols == 10 ? qlmOk : qlmErrCodeBlockData);
    EXPECT_EQ(plane, symbols == 10 ? Pair::kNoError : 3);
    EXPECT_EQ(pair.samples()[0], 8);
    // Where each pass ends, the plane has fallen already, and the termination test has the last word.
    const int32_t style = model::kSegmentationSymbols | model::kTerminateEach;
    const auto [each, eachPlane] = pair.decode({0, 4, style}, 1, {coded(symbols, 2)});
    EXPECT_EQ(each, symbols == 10 ? qlmOk : qlmErrCodeBlockData);
    EXPECT_EQ(eachPlane, symbols == 10 ? Pair::kNoError : 2);
    EXPECT_EQ(pair.samples()[0], 12);
    EXPECT_EQ(pair.decode({0, 4, style | model::kCheckTermination}, 1, {coded(symbols, 2)}).status, qlmOk);
  }
  // Nobody needs to ask for the plane.
  Pair pair({1, 1}, 0);
  const Bytes segment = coded(11, 0);
  const auto length = static_cast<int32_t>(segment.size());
  int32_t sample = 99;
  EXPECT_EQ(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(segment.data(), &sample, 4, {1, 1}, 0, 4, 1, &length, 1,
                                                 model::kSegmentationSymbols, nullptr, pair.state()),
            qlmErrCodeBlockData);
  EXPECT_EQ(sample, 8);
}

// Everything below the damaged plane is forgotten; what has nothing above it becomes a zero without a sign.
TEST(DecodeCodeBlock, concealmentByHand) {
  // Two samples: 1 and its right neighbour 0 in plane 2, then 1 and 1 in plane 1, whose symbols are wrong.
  const Bytes segment = codedByHand({{1, 2},
                                     {0, 11},
                                     {0, 7},
                                     {1, 0},
                                     {0, 0},
                                     {1, 0},
                                     {0, 0},  // cleanup of plane 2
                                     {1, 7},
                                     {0, 14},  // significance
                                     {1, 17},  // refinement
                                     {1, 0},
                                     {0, 0},
                                     {1, 0},
                                     {1, 0}});
  const int32_t style = model::kSegmentationSymbols, keep = model::kKeepReconstruction;
  Pair pair({2, 1}, 0);
  EXPECT_EQ(pair.decode({0, 3, style | keep}, 4, {segment}).errorPlane, 1);
  EXPECT_EQ(pair.samples(), Samples({7, 3}));
  EXPECT_EQ(pair.decode({0, 3, style | keep | model::kConceal}, 4, {segment}).errorPlane, 1);
  EXPECT_EQ(pair.samples(), Samples({6, 2}));
  // A third sample, which the data leaves insignificant and the destination held before.
  for (const int32_t left : {kNegative, kNegative | 1, 1, 0}) {
    Pair wide({6, 1}, 0);
    Samples before(6, left);
    wide.setSamples(before);
    const Bytes wrong =
        codedByHand({{0, 2}, {0, 2}, {1, 2}, {1, 11}, {0, 7}, {0, 2}, {0, 2}, {1, 0}, {1, 0}, {1, 0}, {1, 0}});
    const int32_t flags = style | keep | model::kConceal | model::kKeepDestination;
    EXPECT_EQ(wide.decode({0, 2, flags}, 1, {wrong}).errorPlane, 1);
    EXPECT_EQ(wide.samples(), Samples({0, 0, kNegative | 2, 0, 0, 0}));
  }
}

// Cut behind plane 5: the mask leaves bits 5 and up, and with the plane fallen behind its cleanup one bit more.
TEST(DecodeCodeBlock, finalMaskOfACutBlock) {
  Random random(7207);
  TRACE_SEED(7207);
  for (const int32_t style : {0, int32_t{model::kTerminateEach}}) {
    const Case c{{8, 8}, {0, 31, 0, style}, 9};
    Samples samples(64);
    for (int32_t& sample : samples) sample = static_cast<int32_t>(random.between(256, 511));
    const Coded coded = codeWithModel(samples, c);
    ASSERT_EQ(coded.planes, 9);
    Pair pair({8, 8}, 0);
    EXPECT_EQ(pair.decode({0, 9, style}, 10, coded.segments).status, qlmOk);
    for (size_t i = 0; i < samples.size(); ++i)
      ASSERT_EQ(pair.samples()[i], style ? (samples[i] >> 5 << 5) | 0x10 : samples[i] >> 5 << 5);
  }
}

TEST(DecodeCodeBlock, cutWithoutChecksIsNoError) {
  Random random(7208);
  TRACE_SEED(7208);
  const Case c{{16, 16}, {1, 31, 0, 0}, 8};
  Coded coded = codeWithModel(makeSamples(random, c), c);
  ASSERT_EQ(coded.segments.size(), 1u);
  coded.segments[0].resize(coded.segments[0].size() / 2);
  Pair pair({16, 16}, 0);
  EXPECT_EQ(pair.decode({1, coded.planes, 0}, coded.passes, coded.segments).status, qlmOk);
  EXPECT_EQ(pair.passCounter(), 0);
}

// All sources without data are the same: no bytes, fewer than none, an 0xFF that nothing follows, or a marker.
TEST(DecodeCBProgr, sourcesOfOnes) {
  const auto decoded = [](const Bytes& segment, std::optional<int32_t> length = {}) {
    Pair pair({6, 6}, 0);
    pair.attach({0, 12, 0});
    pair.setPassCounter(34);
    if (!length) {
      EXPECT_EQ(pair.step(segment), qlmOk);
      return pair.samples();
    }
    Samples samples(36);
    EXPECT_EQ(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(samples.data(), 24, {6, 6}, pair.state(), 0, 12, 0), qlmOk);
    EXPECT_EQ(qlmiDecodeCBProgrSetPassCounter_JPEG2K(34, pair.state()), qlmOk);
    test::Guarded<uint8_t> nothing(0);
    EXPECT_EQ(qlmiDecodeCBProgrStep_JPEG2K(nothing.data(), *length, pair.state()), qlmOk);
    return samples;
  };
  const Samples ones = decoded({});
  for (const int32_t length : {0, -1, -1000, INT32_MIN}) EXPECT_EQ(decoded({}, length), ones) << length;
  for (const Bytes& source : {Bytes{0xFF}, {0xFF, 0xFF}, {0xFF, 0x90}, {0xFF, 0x90, 0x12, 0x34}, {0xFF, 0xFF, 0}})
    EXPECT_EQ(decoded(source), ones);
  EXPECT_NE(decoded({0xFF, 0x8F, 0x12, 0x34}), ones);
  EXPECT_NE(decoded({0x12}), ones);
}

TEST(DecodeCBProgr, nothingHappensBehindTheLastPass) {
  const Bytes segment = codedByHand({{1, 2}, {1, 11}, {0, 16}});
  Pair pair({1, 1}, 0);
  pair.attach({0, 2, 0});
  pair.setPassCounter(4);
  pair.step(segment);
  EXPECT_EQ(pair.samples()[0], kNegative | 2);
  pair.step(segment);
  pair.step({});
  EXPECT_EQ(pair.samples()[0], kNegative | 2);
  EXPECT_EQ(pair.plane(), 0);
  // More passes from here on begin at this plane with a cleanup, which finds nothing to do, and end below plane 0.
  pair.setPassCounter(2);
  pair.step(segment);
  EXPECT_EQ(pair.plane(), -1);
  EXPECT_EQ(pair.passCounter(), 1);
  pair.step(segment);
  EXPECT_EQ(pair.passCounter(), 1);
}

// Flag words that are kept across an attach: the samples are significant from the first plane on.
TEST(DecodeCBProgr, keptFlagsGoOn) {
  TRACE_SEED(7209);
  Random random(7209);
  for (int32_t i = 0; i < 12 * kDecoderStyles; ++i) {
    const int32_t style = i % kDecoderStyles;
    const Shape shape{static_cast<int32_t>(random.between(1, 9)), static_cast<int32_t>(random.between(1, 9))};
    const Job first = anyJob(random, shape, style), second = anyJob(random, shape, style);
    Pair pair(shape, static_cast<size_t>(i));
    pair.attach({first.attachment.subband, first.coded.planes, style});
    pair.setPassCounter(static_cast<int32_t>(random.between(1, first.coded.passes + 1)));
    for (const Bytes& segment : first.coded.segments) pair.step(segment);
    const int32_t kept = style | model::kKeepFlags | (i % 3 ? 0 : model::kKeepDestination);
    pair.attach({second.attachment.subband, second.coded.planes, kept});
    pair.setPassCounter(second.passes);
    for (const Bytes& segment : second.coded.segments) pair.step(segment);
    // The same in one call.
    pair.decode({first.attachment.subband, first.coded.planes, style}, first.passes, first.coded.segments);
    pair.decode({second.attachment.subband, second.coded.planes, kept}, second.passes, second.coded.segments);
    if (HasFailure()) return;
  }
}

TEST(DecodeCBProgr, keptFlagsByHand) {
  Pair pair({1, 1}, 0);
  pair.attach({0, 3, 0});
  pair.setPassCounter(1);
  pair.step(codedByHand({{1, 2}, {1, 11}}));
  EXPECT_EQ(pair.samples()[0], kNegative | 6);
  // Plane 1: the cleanup finds the sample significant; plane 0 refines it for the first time.
  pair.attach({0, 2, model::kKeepFlags | model::kKeepDestination});
  pair.setPassCounter(3);
  pair.step(codedByHand({{1, 16}}));
  EXPECT_EQ(pair.samples()[0], kNegative | 7);
}

// The rest of the last byte of a raw refinement must be 0101..., whatever the flags are.
TEST(DecodeCodeBlock, rawPadding) {
  const int32_t style = model::kBypass | model::kTerminateEach;
  const Case c{{1, 1}, {0, 31, 0, style}, 5};
  Coded coded = codeWithModel({0x1F}, c);
  ASSERT_EQ(coded.segments.size(), 13u);
  ASSERT_EQ(coded.segments[11], Bytes({0b10101010}));
  Pair pair({1, 1}, 0);
  EXPECT_EQ(pair.decode({0, 5, style}, 13, coded.segments).status, qlmOk);
  EXPECT_EQ(pair.samples()[0], 0x1F);
  for (int32_t bit = 0; bit < 7; ++bit) {
    coded.segments[11] = {static_cast<uint8_t>(0b10101010 ^ 1 << bit)};
    const auto [status, plane] = pair.decode({0, 5, style}, 13, coded.segments);
    EXPECT_EQ(status, qlmErrCodeBlockData);
    EXPECT_EQ(plane, 0);
    EXPECT_EQ(pair.samples()[0], 0x1F);
    EXPECT_EQ(pair.passCounter(), 1);
  }
  // Missing, it reads as ones.
  coded.segments[11].clear();
  EXPECT_EQ(pair.decode({0, 5, style}, 13, coded.segments).status, qlmErrCodeBlockData);
  // Eight samples fill a byte of 0xFF; nothing needs to follow it.
  Coded row = codeWithModel(Samples(8, 0x1F), {{8, 1}, {0, 31, 0, style}, 5});
  ASSERT_EQ(row.segments[11], Bytes({0xFF}));
  Pair wide({8, 1}, 0);
  EXPECT_EQ(wide.decode({0, 5, style}, 13, row.segments).status, qlmOk);
  EXPECT_EQ(wide.samples(), Samples(8, 0x1F));
}

// After a step has failed the sequence goes on where it stands.
TEST(DecodeCBProgr, goesOnBehindAnError) {
  const int32_t style = model::kTerminateEach | model::kSegmentationSymbols;
  Pair pair({1, 1}, 0);
  pair.attach({0, 2, style});
  pair.setPassCounter(4);
  EXPECT_EQ(pair.step(codedByHand({{1, 2}, {0, 11}, {0, 0}, {0, 0}, {0, 0}, {0, 0}})), qlmErrCodeBlockData);
  EXPECT_EQ(pair.passCounter(), 3);
  EXPECT_EQ(pair.plane(), 0);
  EXPECT_EQ(pair.step({}), qlmOk);
  EXPECT_EQ(pair.step(codedByHand({{1, 16}})), qlmOk);
  EXPECT_EQ(pair.samples()[0], 3);
  EXPECT_EQ(pair.step(codedByHand({{1, 0}, {0, 0}, {1, 0}, {0, 0}})), qlmOk);
  EXPECT_EQ(pair.plane(), -1);
}

// The test sequence of ITU-T T.88 H.2 read back, one context from state 0.
TEST(BlockCoderModel, sequenceOfT88Decoded) {
  const Bytes coded = {0x84, 0xC7, 0x3B, 0xFC, 0xE1, 0xA1, 0x43, 0x04, 0x02, 0x20, 0x00, 0x00, 0x41, 0x0D, 0xBB,
                       0x86, 0xF4, 0x31, 0x7F, 0xFF, 0x88, 0xFF, 0x37, 0x47, 0x1A, 0xDB, 0x6A, 0xDF, 0xFF, 0xAC};
  const Bytes decisions = {0x00, 0x02, 0x00, 0x51, 0x00, 0x00, 0x00, 0xC0, 0x03, 0x52, 0x87,
                           0x2A, 0xAA, 0xAA, 0xAA, 0xAA, 0x82, 0xC0, 0x20, 0x00, 0xFC, 0xD7,
                           0x9E, 0xF6, 0xBF, 0x7F, 0xED, 0x90, 0x4F, 0x46, 0xA3, 0xBF};
  model::MqDecoder decoder(coded);
  model::Probabilities probabilities;
  Bytes got(32);
  for (size_t i = 0; i < 256; ++i)
    got[i / 8] = static_cast<uint8_t>(got[i / 8] << 1 | decoder.decode(model::kFirstSignificance + 1, probabilities));
  EXPECT_EQ(got, decisions);
}
