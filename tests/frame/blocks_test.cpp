// Fill, zero and copy routines against plain loops, between guard pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "frame/memory.h"
#include "support/guarded.h"
#include "support/random.h"

using test::Edge;
using test::Guarded;

namespace {

// Around every length at which a routine changes its way.
const std::vector<int32_t> kLengths = [] {
  std::vector<int32_t> lengths;
  for (int32_t n = 1; n <= 400; ++n) lengths.push_back(n);
  for (int32_t around : {1024, 32768, 40000, 2097152})
    for (int32_t d = -67; d <= 67; ++d) lengths.push_back(around + d);
  return lengths;
}();

}  // namespace

TEST(Blocks, setAndZeroFillExactlyTheirLength) {
  for (const Edge edge : {Edge::Back, Edge::Front}) {
    for (const int32_t n : kLengths) {
      Guarded<uint8_t> buffer(static_cast<size_t>(n), edge);
      ASSERT_EQ(ownSet8u(0x5C, buffer.data(), n), qlmOk);
      ASSERT_EQ(std::count(buffer.begin(), buffer.end(), 0x5C), n);
      ASSERT_EQ(ownZero8u(buffer.data(), n), qlmOk);
      ASSERT_EQ(std::count(buffer.begin(), buffer.end(), 0), n);
    }
  }
}

TEST(Blocks, wideElementsAtEveryAlignment) {
  for (const int32_t n : {1, 2, 3, 7, 8, 9, 31, 63, 64, 65, 100, 8191, 8192, 8193, 524287, 524288, 524289}) {
    for (size_t offset = 0; offset < 8; ++offset) {
      Guarded<uint8_t> buffer(static_cast<size_t>(n) * 4 + offset);
      auto* words = reinterpret_cast<int32_t*>(buffer.data() + offset);
      ASSERT_EQ(ownSet32s(0x04030201, words, n), qlmOk);
      for (size_t i = offset; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], (i - offset) % 4 + 1) << n << ' ' << offset;
      ASSERT_EQ(ownZero32s(words, n), qlmOk);
      ASSERT_EQ(std::count(buffer.begin(), buffer.end(), 0), buffer.end() - buffer.begin());
      ASSERT_EQ(ownSet32s(-1, words, n), qlmOk);
      ASSERT_EQ(ownZero16s(reinterpret_cast<int16_t*>(words), n), qlmOk);
      ASSERT_EQ(std::count(buffer.begin() + offset, buffer.end(), 0), n * 2);
    }
  }
}

TEST(Blocks, copyMovesExactlyItsLength) {
  test::Random random(1);
  for (const int32_t n : kLengths) {
    Guarded<uint8_t> from(static_cast<size_t>(n), Edge::Back), to(static_cast<size_t>(n), Edge::Front);
    random.fill(from.span());
    ASSERT_EQ(ownCopy8u(from.data(), to.data(), n), to.data());
    ASSERT_TRUE(std::equal(from.begin(), from.end(), to.begin())) << n;
  }
}

TEST(Blocks, checkingFormsTestPointerThenLength) {
  uint8_t byte = 7;
  int32_t word = 7;
  EXPECT_EQ(ownZero8u(nullptr, 0), qlmErrNullPointer);
  EXPECT_EQ(ownZero8u(&byte, 0), qlmErrSize);
  EXPECT_EQ(ownZero16s(nullptr, 1), qlmErrNullPointer);
  EXPECT_EQ(ownZero32s(&word, -1), qlmErrSize);
  EXPECT_EQ(ownSet8u(1, nullptr, 1), qlmErrNullPointer);
  EXPECT_EQ(ownSet32s(1, &word, 0), qlmErrSize);
  EXPECT_EQ(ownCopy8uChecked(&byte, nullptr, 0), qlmErrNullPointer);
  EXPECT_EQ(ownCopy8uChecked(nullptr, &byte, 0), qlmErrNullPointer);
  EXPECT_EQ(ownCopy8uChecked(&byte, &byte, 0), qlmErrSize);
  EXPECT_EQ(byte, 7);
  EXPECT_EQ(word, 7);
}
