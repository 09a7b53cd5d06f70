// A block of 16 bytes as two words, and fields of it. Positions are known at compile time.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <initializer_list>

#include "frame/wrap.h"

namespace texture {

struct BlockBits {
  uint64_t low, high;

  static BlockBits load(const uint8_t* p) {
    const auto* words = reinterpret_cast<const uint64_t*>(p);
    return {loadAny(words), loadAny(words + 1)};
  }

  // kCount bits from bit kFrom on, 1 to 64 of them; none beyond the block.
  template <int kFrom, int kCount>
  uint64_t get() const {
    constexpr uint64_t kMask = ~uint64_t{0} >> (64 - kCount);
    if constexpr (kFrom >= 64)
      return high >> (kFrom - 64) & kMask;
    else if constexpr (kFrom + kCount <= 64)
      return low >> kFrom & kMask;
    else
      return (low >> kFrom | high << (64 - kFrom)) & kMask;
  }
};

// The bytes of eight fields of some bits, and the same with the top bit of the given pixels left out, for pixels
// `first` to `first` + 7.
constexpr uint64_t fieldBytes(int bits) { return 0x0101010101010101u * ((1u << bits) - 1); }
constexpr uint64_t withoutTop(uint64_t mask, int bits, int first, int pixel) {
  return pixel >= first && pixel < first + 8 ? mask & ~(uint64_t{1} << (8 * (pixel - first) + bits - 1)) : mask;
}

// The indices of a partition as bytes: where its bits go, and how many belong to the first eight pixels.
struct IndexMasks {
  uint64_t low, high;
  int lowBits;

  __m128i expand(uint64_t stream) const {
    return _mm_set_epi64x(static_cast<int64_t>(_pdep_u64(stream >> lowBits, high)),
                          static_cast<int64_t>(_pdep_u64(stream, low)));
  }
};
constexpr IndexMasks indexMasks(int bits, int anchor1 = 0, int anchor2 = 0) {
  IndexMasks m{fieldBytes(bits), fieldBytes(bits), 8 * bits};
  for (const int anchor : {0, anchor1, anchor2}) {
    m.low = withoutTop(m.low, bits, 0, anchor);
    m.high = withoutTop(m.high, bits, 8, anchor);
  }
  m.lowBits = __builtin_popcountll(m.low);
  return m;
}

}  // namespace texture
