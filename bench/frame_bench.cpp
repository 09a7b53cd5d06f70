// The block routines of the frame, which are not exported: fills on both sides of the size from which they look at the
// caches, against libc's memset, and copies against memcpy. The bound of a fill is a memcpy that writes as many bytes.
#include <cstring>
#include <vector>

#include "frame/memory.h"
#include "race.h"

namespace {

using bench::race;

struct Shape {
  const char* data;
  int32_t bytes;
};
constexpr Shape kShapes[] = {{"L1", 16384}, {"L2", 1048576}, {"4MB", 4194304}, {"memory", 67108864}};

[[maybe_unused]] const int registered = [] {
  for (const Shape& shape : kShapes) {
    const int32_t n = shape.bytes;
    const std::vector<uint8_t> buffer(static_cast<size_t>(n), 1);
    const auto work = [&](const char* name) { return bench::Work{"frame", name, shape.data, "byte"}; };
    race(work("ownSet8u"), "ours", n, n, [=, to = buffer]() mutable { ownSet8u(7, to.data(), n); });
    race(work("ownSet8u"), "peer:memset", n, n, [=, to = buffer]() mutable {
      std::memset(to.data(), 7, to.size());
      benchmark::DoNotOptimize(to.data());
    });
    race(work("ownSet8u"), "bound:memcpy", n, n, [=, from = buffer, to = buffer]() mutable {
      std::memcpy(to.data(), from.data(), to.size());
      benchmark::DoNotOptimize(to.data());
    });
    race(work("ownCopy8u"), "ours", n, 2 * int64_t{n},
         [=, from = buffer, to = buffer]() mutable { ownCopy8u(from.data(), to.data(), n); });
    race(work("ownCopy8u"), "peer:memcpy", n, 2 * int64_t{n}, [=, from = buffer, to = buffer]() mutable {
      std::memcpy(to.data(), from.data(), to.size());
      benchmark::DoNotOptimize(to.data());
    });
  }
  return 0;
}();

}  // namespace
