// Blocks and strips of rows put at every alignment between guard pages, and the driver that compares an export with its
// model there, byte by byte, padding included.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qlmjp.h"
#include "support/guarded.h"
#include "support/random.h"

namespace test {

// `rows` rows of `columns` elements, `step` bytes apart, `slack` bytes away from the guard page at `edge`. Everything
// that is not an element holds a pattern. Neither the pointer nor the step needs to suit the alignment of T, so that
// elements are copied in and out.
template <typename T>
class Placed {
 public:
  Placed(size_t columns, size_t rows, size_t step, size_t slack, Edge edge)
      : columns_(columns),
        rows_(rows),
        step_(step),
        bytes_((rows - 1) * step + columns * sizeof(T) + slack, edge),
        first_(bytes_.data() + (edge == Edge::Front ? slack : 0)) {
    fillPattern();
  }

  void fillPattern() {
    for (size_t i = 0; i < bytes_.size(); ++i) bytes_.data()[i] = static_cast<uint8_t>(0xA5 + 7 * i);
  }

  // Rows are written in ascending order, which counts only where a short step makes them overlap.
  template <typename Elements>
  void set(const Elements& elements) {
    for (size_t y = 0; y < rows_; ++y)
      std::memcpy(first_ + y * step_, elements.data() + y * columns_, columns_ * sizeof(T));
  }

  template <typename Elements>
  void get(Elements& elements) const {
    for (size_t y = 0; y < rows_; ++y)
      std::memcpy(elements.data() + y * columns_, first_ + y * step_, columns_ * sizeof(T));
  }

  T* data() const { return reinterpret_cast<T*>(first_); }
  int32_t step() const { return static_cast<int32_t>(step_); }
  std::vector<uint8_t> snapshot() const { return {bytes_.data(), bytes_.data() + bytes_.size()}; }

 private:
  size_t columns_, rows_, step_;
  GuardedBytes bytes_;
  uint8_t* first_;
};

// Where the buffers of round n lie: in 64 rounds each takes every distance from 0 to 31 bytes to a guard page on both
// sides, in combinations that differ from buffer to buffer.
struct Place {
  size_t slack;
  Edge edge;
};
inline constexpr size_t kPlaces = 64;
inline Place placeOf(size_t round, size_t buffer) {
  constexpr size_t kFactor[5] = {1, 11, 23, 37, 53};  // odd, so that each runs through all 64 places
  const size_t place = (round * kFactor[buffer] + 5 * buffer) % kPlaces;
  return {place % 32, place < 32 ? Edge::Back : Edge::Front};
}

// The same for any number of buffers, and three times out of four flush with a page, in no pattern that could go along
// with that of the data.
inline Place mostlyFlushPlaceOf(size_t round, size_t buffer) {
  const uint64_t bits = Random(0x91ACE + 64 * uint64_t{round} + buffer).bits();
  if (bits % 4 == 0) return placeOf(round + 13 * (buffer / 5), buffer % 5);
  return {0, bits & 4 ? Edge::Back : Edge::Front};
}

// Distances of rows of `rowBytes` bytes: none, odd and even paddings, and some that keep vectors aligned.
inline size_t stepOf(size_t round, size_t rowBytes) {
  constexpr size_t kPadding[11] = {0, 1, 2, 3, 8, 15, 16, 24, 48, 111, 1000};
  return rowBytes + kPadding[round % 11];
}

// Names the first byte that differs.
inline ::testing::AssertionResult sameBytes(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual) {
  if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (size_t i = 0; i < expected.size(); ++i)
    if (expected[i] != actual[i])
      return ::testing::AssertionFailure() << "byte " << i << " of " << expected.size() << ": expected "
                                           << int{expected[i]} << ", got " << int{actual[i]};
  return ::testing::AssertionSuccess();
}

}  // namespace test
