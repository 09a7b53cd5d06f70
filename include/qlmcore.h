/**
 * @file
 * The five services that libqlmjp imports from libqlmcore through the dynamic linker.
 *
 * A program that defines a function of the same name and exports it takes the library's calls over: its own
 * allocator, say, or its own choice of thread count.
 */
#ifndef QLMCORE_H
#define QLMCORE_H

#include <stdint.h>

#include "qlmjp/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Allocates memory.
 *  @param length Bytes wanted.
 *  @return A block aligned to 64 bytes, or null when @p length is below 1 or memory is short. */
QLM_API void* qlmMalloc(int32_t length);

/** Releases memory.
 *  @param block What qlmMalloc() returned. Null is allowed and does nothing. */
QLM_API void qlmFree(void* block);

/** Bits of the mask that qlmGetEnabledCpuFeatures() returns. Each bit says that the processor has all of what its name
 *  lists and that the operating system saves the registers. */
enum {
  qlmCpuSse2 = 1,    /**< SSE2. */
  qlmCpuSsse3 = 2,   /**< SSE3 and SSSE3. */
  qlmCpuSse41 = 4,   /**< SSE4.1. */
  qlmCpuSse42 = 8,   /**< SSE4.2 and POPCNT. */
  qlmCpuAvx2 = 16,   /**< AVX and AVX2. */
  qlmCpuAvx2Kit = 32 /**< FMA, BMI1, BMI2, LZCNT, MOVBE and F16C: the rest of what an AVX2 build (x86-64-v3) uses. */
};

/** Tells what this processor can do.
 *  @return A mask of the qlmCpu bits. */
QLM_API uint64_t qlmGetEnabledCpuFeatures(void);

/** Tells the size of the largest cache of this processor.
 *  @param size Receives the size in bytes, at most INT32_MAX.
 *  @return 0 on success, a negative #QlmStatus when @p size is null or the size cannot be found out. */
QLM_API int32_t qlmGetMaxCacheSizeB(int32_t* size);

/** Tells how many threads the library may use for one call.
 *  @return At least 1: what the OpenMP runtime would use, so OMP_NUM_THREADS, omp_set_num_threads() and the affinity of
 *  the process hold. */
QLM_API int32_t ownGetNumThreads(void);

#ifdef __cplusplus
}
#endif

#endif
