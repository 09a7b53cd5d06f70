// The row driver: the one way in which plane functions share rows out over threads.
#pragma once

#include "frame/frame.h"
#include "frame/wrap.h"

// Regions of up to this many pixels stay on the calling thread.
inline constexpr int32_t kRowsForkAbove = 8192;

// Calls row(y) once for every row of the region, on one OpenMP thread per contiguous run of rows where the region is
// large enough and there is more than one thread to use. row(y) writes only what belongs to its own row, so the result
// does not depend on the thread count. The area is a wrapping 32-bit product: a region of 2^31 pixels and more may stay
// on the caller.
template <typename Row>
inline void ownForEachRow(QlmSize size, const Row& row) {
  const int32_t threads = ownGetNumThreads();
  if (threads <= 1 || wrapMul32(size.width, size.height) <= kRowsForkAbove) {
    for (int32_t y = 0; y < size.height; ++y) row(y);
    return;
  }
#pragma omp parallel for num_threads(threads) schedule(static)
  for (int32_t y = 0; y < size.height; ++y) row(y);
}

// The first element of row y of a plane with rows `step` bytes apart.
template <typename T>
inline T* ownRow(T* plane, int32_t step, int32_t y) {
  return wrapAddress(plane, static_cast<ptrdiff_t>(step) * y);
}
