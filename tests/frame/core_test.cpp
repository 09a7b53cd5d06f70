// The services of libqlmcore.
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>

#include "qlmcore.h"

TEST(Core, memoryIsAlignedTo64Bytes) {
  for (const int32_t length : {1, 24, 63, 64, 65, 1644, 100000}) {
    void* block = qlmMalloc(length);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
    std::memset(block, 1, static_cast<size_t>(length));
    qlmFree(block);
  }
  EXPECT_EQ(qlmMalloc(0), nullptr);
  EXPECT_EQ(qlmMalloc(-5), nullptr);
  qlmFree(nullptr);
}

TEST(Core, theProcessorThatRunsTheTestsHasAvx2) {
  EXPECT_EQ(qlmGetEnabledCpuFeatures() & (qlmCpuAvx2 | qlmCpuAvx2Kit), uint64_t{qlmCpuAvx2 | qlmCpuAvx2Kit});
  EXPECT_EQ(qlmGetEnabledCpuFeatures(), qlmGetEnabledCpuFeatures());
}

TEST(Core, cacheSize) {
  int32_t size = -1;
  ASSERT_EQ(qlmGetMaxCacheSizeB(&size), 0);
  EXPECT_GE(size, 32 * 1024);
  int32_t again = -1;
  EXPECT_EQ(qlmGetMaxCacheSizeB(&again), 0);
  EXPECT_EQ(size, again);
  EXPECT_LT(qlmGetMaxCacheSizeB(nullptr), 0);
}

TEST(Core, threadsFollowTheOpenMpRuntime) {
  const int before = omp_get_max_threads();
  EXPECT_EQ(ownGetNumThreads(), before);
  for (const int n : {1, 3, 8}) {
    omp_set_num_threads(n);
    EXPECT_EQ(ownGetNumThreads(), n);
  }
  omp_set_num_threads(before);
}
