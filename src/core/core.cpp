// libqlmcore: memory, processor features, cache size and thread count, the five services that libqlmjp imports.
#include "qlmcore.h"

#include <cpuid.h>
#include <omp.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr size_t kAlignment = 64;

struct Cpuid {
  uint32_t eax, ebx, ecx, edx;
};

// All-zero where the processor has no such leaf.
Cpuid cpuid(uint32_t leaf, uint32_t subleaf = 0) {
  Cpuid r{};
  __get_cpuid_count(leaf, subleaf, &r.eax, &r.ebx, &r.ecx, &r.edx);
  return r;
}

bool has(uint32_t word, uint32_t bits) { return (word & bits) == bits; }

// True where the operating system saves the upper halves of the vector registers.
bool savesAvxState() {
  uint32_t low = 0, high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return has(low, 0x6);
}

uint64_t detectFeatures() {
  const Cpuid l1 = cpuid(1), l7 = cpuid(7), e1 = cpuid(0x80000001);
  const bool avxState = has(l1.ecx, bit_OSXSAVE) && savesAvxState();
  uint64_t mask = 0;
  if (has(l1.edx, bit_SSE2)) mask |= qlmCpuSse2;
  if (has(l1.ecx, bit_SSE3 | bit_SSSE3)) mask |= qlmCpuSsse3;
  if (has(l1.ecx, bit_SSE4_1)) mask |= qlmCpuSse41;
  if (has(l1.ecx, bit_SSE4_2 | bit_POPCNT)) mask |= qlmCpuSse42;
  if (avxState && has(l1.ecx, bit_AVX) && has(l7.ebx, bit_AVX2)) mask |= qlmCpuAvx2;
  if (avxState && has(l1.ecx, bit_FMA | bit_MOVBE | bit_F16C) && has(l7.ebx, bit_BMI | bit_BMI2) &&
      has(e1.ecx, bit_LZCNT))
    mask |= qlmCpuAvx2Kit;
  return mask;
}

// The largest data or unified cache by the deterministic cache parameters: leaf 4, or its twin 0x8000001D.
int64_t detectCache(uint32_t leaf) {
  int64_t largest = 0;
  for (uint32_t level = 0; level < 16; ++level) {
    const Cpuid c = cpuid(leaf, level);
    const uint32_t type = c.eax & 31;
    if (type == 0) break;
    if (type == 2) continue;  // instructions
    const int64_t ways = (c.ebx >> 22) + 1, partitions = ((c.ebx >> 12) & 1023) + 1, line = (c.ebx & 4095) + 1;
    largest = std::max(largest, ways * partitions * line * (int64_t{c.ecx} + 1));
  }
  return largest;
}

int32_t detectMaxCache() {
  const int64_t size = std::max(detectCache(4), detectCache(0x8000001D));
  return static_cast<int32_t>(std::min<int64_t>(size, INT32_MAX));
}

}  // namespace

void* qlmMalloc(int32_t length) {
  if (length < 1) return nullptr;
  const size_t rounded = (static_cast<size_t>(length) + kAlignment - 1) / kAlignment * kAlignment;
  return std::aligned_alloc(kAlignment, rounded);
}

void qlmFree(void* block) { std::free(block); }

uint64_t qlmGetEnabledCpuFeatures() {
  static const uint64_t mask = detectFeatures();
  return mask;
}

int32_t qlmGetMaxCacheSizeB(int32_t* size) {
  if (!size) return qlmErrNullPointer;
  static const int32_t largest = detectMaxCache();
  if (largest < 1) return qlmErrBadArgument;
  *size = largest;
  return qlmOk;
}

int32_t ownGetNumThreads() { return std::max(1, omp_get_max_threads()); }
