// The buffers that the races of JPEG 2000's and JPEG XR's transforms work in: a few large ones an element type, shared
// by all races and first touched by the race that needs them, for together the races would fill the memory many times
// over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace bench {

// Samples in one buffer, the largest plane with its frame.
inline constexpr size_t kBufferSamples = size_t{4096 + 64} * (4096 + 32);

// One of three buffers full of noise of 9 bits.
template <typename T>
T* buffer(size_t index) {
  struct Free {
    void operator()(T* p) const { ::operator delete (p, std::align_val_t{4096}); }
  };
  static std::unique_ptr<T, Free> buffers[3];
  auto& found = buffers[index];
  if (!found) {
    // Each starts at another place of a page, so that equal places of two buffers do not meet in the cache.
    found.reset(static_cast<T*>(::operator new (kBufferSamples * sizeof(T) + 4096, std::align_val_t{4096})));
    uint32_t state = static_cast<uint32_t>(index) + 1;
    for (size_t i = 0; i < kBufferSamples + 4096 / sizeof(T); ++i) {
      state = state * 1664525 + 1013904223;
      found.get()[i] = static_cast<T>(static_cast<int32_t>(state) >> 23);
    }
  }
  return found.get() + 1344 * index / sizeof(T);
}

// A plane in a buffer.
template <typename T>
struct Plane {
  T* first;
  int32_t step;  // in bytes

  T* row(int64_t y) const { return first + y * (step / static_cast<int32_t>(sizeof(T))); }
};

// With room for what a transform reads around it: 16 samples beside each row, and 8 rows above and below.
template <typename T>
Plane<T> framed(size_t index, int32_t width) {
  constexpr int32_t kBeside = 16, kAbove = 8;
  const int32_t pitch = width + 2 * kBeside;
  return {buffer<T>(index) + ptrdiff_t{kAbove} * pitch + kBeside, pitch * static_cast<int32_t>(sizeof(T))};
}

// Without padding, from the sample `at` of the buffer on.
template <typename T>
Plane<T> dense(size_t index, int32_t width, size_t at = 0) {
  return {buffer<T>(index) + at, width * static_cast<int32_t>(sizeof(T))};
}

}  // namespace bench
