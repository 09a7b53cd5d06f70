// Work shared out over threads by OpenMP, whose exceptions come through.
#pragma once

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <exception>

namespace sample::j2k {

// Calls `make()` on each of so many threads, 0 for as many as OpenMP takes, and what that returns for each index once.
template <typename Make>
void forEachIndex(size_t count, int32_t threads, Make make) {
  const int32_t wanted = threads > 0 ? threads : omp_get_max_threads();
  const auto most = static_cast<int32_t>(std::min(count, static_cast<size_t>(wanted)));
  std::exception_ptr failure;
#pragma omp parallel num_threads(std::max(most, 1))
  {
    const auto guarded = [&](auto call) {
      try {
        call();
      } catch (...) {
#pragma omp critical(sample_failure)
        failure = std::current_exception();
      }
    };
    guarded([&] {
      auto work = make();
#pragma omp for schedule(dynamic) nowait
      for (size_t i = 0; i < count; ++i) guarded([&] { work(i); });
    });
  }
  if (failure) std::rethrow_exception(failure);
}

}  // namespace sample::j2k
