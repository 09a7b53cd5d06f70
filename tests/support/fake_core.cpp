#include "support/fake_core.h"

#include <cstdlib>

#include "qlmcore.h"

namespace test {

FakeCore& fakeCore() {
  static FakeCore core;
  return core;
}

void resetFakeCore() {
  const int features = fakeCore().featureCalls;
  fakeCore() = FakeCore{};
  fakeCore().featureCalls = features;
}

}  // namespace test

using test::fakeCore;

void* qlmMalloc(int32_t length) {
  test::FakeCore& core = fakeCore();
  core.lastLength = length;
  if (core.failAllocationsFrom >= 0 && core.allocations >= core.failAllocationsFrom) return nullptr;
  ++core.allocations;
  return std::malloc(static_cast<size_t>(length));
}

void qlmFree(void* block) {
  ++fakeCore().releases;
  std::free(block);
}

uint64_t qlmGetEnabledCpuFeatures() {
  ++fakeCore().featureCalls;
  return 0;  // no feature at all: the library must load all the same
}

int32_t qlmGetMaxCacheSizeB(int32_t* size) {
  ++fakeCore().cacheCalls;
  *size = fakeCore().cacheSize;
  return fakeCore().cacheStatus;
}

int32_t ownGetNumThreads() {
  ++fakeCore().threadCalls;
  return fakeCore().threads;
}
