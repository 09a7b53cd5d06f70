// Threaded exports give the same bytes whatever the number of threads, on both sides of the size that forks.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "qlmjp.h"
#include "support/fake_core.h"
#include "support/random.h"

using test::fakeCore;

namespace {

// 8192 pixels stay on the caller, 8193 fork; a single row leaves all threads but one idle.
constexpr QlmSize kSizes[] = {{64, 128}, {2731, 3},   {8192, 1},  {8193, 1},
                              {1, 8193}, {100000, 1}, {640, 480}, {33, 501}};

// Runs `convert` for each number of threads and expects the bytes that one thread gives.
void expectSameForAllThreadCounts(QlmSize size, size_t dstBytes,
                                  const std::function<QlmStatus(uint8_t* dst, QlmSize size)>& convert) {
  std::vector<uint8_t> first;
  for (const int32_t threads : {1, 2, 3, 8}) {
    fakeCore().threads = threads;
    std::vector<uint8_t> out(dstBytes, 0xEE);
    ASSERT_EQ(convert(out.data(), size), qlmOk);
    if (first.empty()) first = out;
    ASSERT_EQ(out, first) << size.width << 'x' << size.height << ", " << threads << " threads";
  }
}

size_t area(QlmSize s) { return static_cast<size_t>(s.width) * static_cast<size_t>(s.height); }

}  // namespace

TEST(Threads, sub128) {
  for (const QlmSize size : kSizes) {
    std::vector<uint8_t> src(area(size));
    test::Random(1).fill(std::span(src));
    expectSameForAllThreadCounts(size, 2 * area(size), [&](uint8_t* dst, QlmSize s) {
      return qlmiSub128_JPEG_8u16s_C1R(src.data(), s.width, reinterpret_cast<int16_t*>(dst), 2 * s.width, s);
    });
  }
}

TEST(Threads, add128) {
  for (const QlmSize size : kSizes) {
    std::vector<int16_t> src(area(size));
    test::Random(2).fill(std::span(src));
    expectSameForAllThreadCounts(size, area(size), [&](uint8_t* dst, QlmSize s) {
      return qlmiAdd128_JPEG_16s8u_C1R(src.data(), 2 * s.width, dst, s.width, s);
    });
  }
}

// The threaded sampling forms, and the one that never forks beside them: the destination's size decides.
TEST(Threads, planeSampling) {
  using Sample = decltype(qlmiSampleDownH2V1_JPEG_8u_C1R)*;
  for (const Sample sample : {qlmiSampleDownH2V1_JPEG_8u_C1R, qlmiSampleDownH2V2_JPEG_8u_C1R,
                              qlmiSampleUpH2V1_JPEG_8u_C1R, qlmiSampleUpH2V2_JPEG_8u_C1R}) {
    for (const QlmSize size : kSizes) {
      // Large enough for halving both ways, with a frame for doubling.
      const int32_t step = 2 * size.width + 2;
      std::vector<uint8_t> src(static_cast<size_t>(step) * static_cast<size_t>(2 * size.height + 2));
      test::Random(3).fill(std::span(src));
      expectSameForAllThreadCounts(size, area(size), [&](uint8_t* dst, QlmSize s) {
        return sample(src.data() + step + 1, step, {1, 1}, dst, s.width, s);
      });
    }
  }
}
