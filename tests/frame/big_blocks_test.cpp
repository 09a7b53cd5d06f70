// When the block routines ask for the cache size, and that the non-temporal way writes the same bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "frame/memory.h"
#include "support/fake_core.h"
#include "support/guarded.h"

using test::Edge;
using test::fakeCore;
using test::Guarded;
using test::resetFakeCore;

TEST(BigBlocks, onlyBlocksAboveTwoMegabytesAskForTheCache) {
  Guarded<uint8_t> buffer(kBigBlock + 1);
  resetFakeCore();
  EXPECT_EQ(ownZero8u(buffer.data(), kBigBlock), qlmOk);
  EXPECT_EQ(ownSet8u(1, buffer.data(), kBigBlock), qlmOk);
  ownZeroSmall(buffer.data(), kBigBlock + 1);
  EXPECT_EQ(fakeCore().cacheCalls, 0);
  EXPECT_EQ(ownZero8u(buffer.data(), kBigBlock + 1), qlmOk);
  EXPECT_EQ(fakeCore().cacheCalls, 1);
  EXPECT_EQ(ownSet8u(1, buffer.data(), kBigBlock + 1), qlmOk);
  EXPECT_EQ(fakeCore().cacheCalls, 2);
  EXPECT_EQ(ownZero16s(reinterpret_cast<int16_t*>(buffer.data()), kBigBlock / 2), qlmOk);
  EXPECT_EQ(ownZero32s(reinterpret_cast<int32_t*>(buffer.data()), kBigBlock / 4), qlmOk);
  EXPECT_EQ(fakeCore().cacheCalls, 2);
  ownZeroBig(buffer.data(), 128);  // how the Huffman decoders clear a block
  EXPECT_EQ(fakeCore().cacheCalls, 2);
}

TEST(BigBlocks, theBigWayWritesTheSameBytes) {
  struct Cache {
    int32_t size, status;
  };
  // Too small for the block, large enough, no size, and no answer.
  for (const Cache cache : {Cache{2097152, 0}, {4194304, 0}, {0, 0}, {-1, 0}, {2097152, -1}}) {
    for (const Edge edge : {Edge::Back, Edge::Front}) {
      for (int32_t extra : {1, 2, 3, 4, 8, 15, 16, 31, 32, 33, 47, 63, 64, 65, 127, 1000}) {
        const auto length = static_cast<int32_t>(kBigBlock) + extra;
        Guarded<uint8_t> buffer(static_cast<size_t>(length), edge);
        resetFakeCore();
        fakeCore().cacheSize = cache.size;
        fakeCore().cacheStatus = cache.status;
        ASSERT_EQ(ownSet8u(0x77, buffer.data(), length), qlmOk);
        ASSERT_EQ(std::count(buffer.begin(), buffer.end(), 0x77), length);
        ASSERT_EQ(ownZero8u(buffer.data(), length), qlmOk);
        ASSERT_EQ(std::count(buffer.begin(), buffer.end(), 0), length);
        ASSERT_EQ(fakeCore().cacheCalls, 2);
      }
    }
  }
}

TEST(BigBlocks, wideFillsGoTheBigWayOnlyWhenAligned) {
  const int32_t count = static_cast<int32_t>(kBigBlock) / 4 + 5;
  for (size_t offset = 0; offset < 8; ++offset) {
    Guarded<uint8_t> buffer(static_cast<size_t>(count) * 4 + offset, Edge::Front);
    resetFakeCore();
    fakeCore().cacheSize = 1;
    ASSERT_EQ(ownSet32s(0x04030201, reinterpret_cast<int32_t*>(buffer.data() + offset), count), qlmOk);
    EXPECT_EQ(fakeCore().cacheCalls, offset % 4 == 0 ? 1 : 0);
    for (size_t i = offset; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], (i - offset) % 4 + 1) << offset;
  }
}

TEST(Memory, lengthsBelowOneAllocateNothing) {
  resetFakeCore();
  EXPECT_EQ(ownMalloc(0), nullptr);
  EXPECT_EQ(ownMalloc(-1), nullptr);
  EXPECT_EQ(ownMalloc(INT32_MIN), nullptr);
  EXPECT_EQ(fakeCore().allocations, 0);
  void* block = ownMalloc(100);
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(fakeCore().lastLength, 100);
  ownFree(block);
  EXPECT_EQ(fakeCore().releases, 1);
}
