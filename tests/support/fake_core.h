// Core services of the tests' own, in place of libqlmcore: they count their calls and answer what the test asks for.
#pragma once

#include <cstdint>

namespace test {

struct FakeCore {
  int32_t threads = 1;               // what ownGetNumThreads answers
  int32_t cacheSize = 4194304;       // what qlmGetMaxCacheSizeB reports
  int32_t cacheStatus = 0;           // and what it returns
  int32_t failAllocationsFrom = -1;  // allocations from this one on give null; -1: none

  int threadCalls = 0;
  int cacheCalls = 0;
  int featureCalls = 0;
  int allocations = 0;
  int releases = 0;
  int32_t lastLength = 0;
};

// The one instance of this program. reset() keeps featureCalls, which counts from the load of the library.
FakeCore& fakeCore();
void resetFakeCore();

}  // namespace test
