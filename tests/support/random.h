// Random data with a seed that is printed when a test fails. QLMJP_TEST_SEED=N repeats a run.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <span>

namespace test {

// The seed of this run: a fixed number, so that a plain run is repeatable, or QLMJP_TEST_SEED.
uint64_t baseSeed();

// SplitMix64: small, fast, the same on every machine and standard library.
class Random {
 public:
  explicit Random(uint64_t stream) : state_(baseSeed() * 0x9E3779B97F4A7C15u + stream) {}

  uint64_t bits() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }

  // Uniform in [low, high].
  int64_t between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(bits() % (static_cast<uint64_t>(high - low) + 1));
  }

  bool oneIn(int64_t n) { return between(1, n) == 1; }

  // All values of an integer type, uniformly.
  template <typename T>
  void fill(std::span<T> out) {
    for (T& v : out) v = static_cast<T>(bits());
  }

  template <typename T>
  void fill(std::span<T> out, int64_t low, int64_t high) {
    for (T& v : out) v = static_cast<T>(between(low, high));
  }

 private:
  uint64_t state_;
};

// The kinds of data that kernels are driven with.
enum class Data { Noise, AllMin, AllMax, Alternating, Ramp };
inline constexpr Data kAllData[] = {Data::Noise, Data::AllMin, Data::AllMax, Data::Alternating, Data::Ramp};

template <typename T>
void fillData(std::span<T> out, Data kind, Random& random) {
  constexpr T low = std::numeric_limits<T>::min(), high = std::numeric_limits<T>::max();
  for (size_t i = 0; i < out.size(); ++i) {
    switch (kind) {
      case Data::Noise:
        out[i] = static_cast<T>(random.bits());
        break;
      case Data::AllMin:
        out[i] = low;
        break;
      case Data::AllMax:
        out[i] = high;
        break;
      case Data::Alternating:
        out[i] = i % 2 ? high : low;
        break;
      case Data::Ramp:
        out[i] = static_cast<T>(i);
        break;
    }
  }
}

}  // namespace test

// Names the seed in every failure below it in the scope.
#define TRACE_SEED(stream) SCOPED_TRACE(::testing::Message() << "seed " << ::test::baseSeed() << " stream " << (stream))
