// What the built-in operators leave undefined or would cut: wrapping sums and products, the clamp to bytes, and
// elements and rows at addresses of any alignment.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr int32_t wrapMul32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

constexpr int32_t wrapAdd32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrapSub32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr uint8_t clamp8(int32_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Elements at addresses of any alignment: no pointer of a caller needs one.
template <typename T>
inline T loadAny(const T* p) {
  T v;
  __builtin_memcpy(&v, p, sizeof(T));
  return v;
}
template <typename T>
inline void storeAny(T* p, T v) {
  __builtin_memcpy(p, &v, sizeof(T));
}

// The element `bytes` bytes behind p.
template <typename T>
inline T* wrapAddress(T* p, ptrdiff_t bytes) {
  return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(p) + static_cast<uintptr_t>(bytes));
}
