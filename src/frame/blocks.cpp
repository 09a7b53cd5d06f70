// Routines that fill, zero and copy blocks of bytes (memory.h). Three ways, by length: plain stores upward while the
// block is small, plain stores from the end downward from 32 KB on, so that its head is what stays in the first-level
// cache, and non-temporal stores for what is larger than every cache.
#include <cstring>

#include "frame/memory.h"
#include "frame/simd.h"

namespace {

constexpr int64_t kUnrolledFrom = 256;
constexpr int64_t kDownwardFrom = 32768;
constexpr int64_t kCopyDownwardFrom = 32768;

// The last `length` < 32 bytes of a fill, by their binary digits. All lanes of `v` hold the 4-byte pattern, and the
// pattern repeats from `dst` on.
void fillTail(uint8_t* dst, __m256i v, int64_t length) {
  const __m128i half = _mm256_castsi256_si128(v);
  const int64_t word = _mm_cvtsi128_si64(half);
  if (length & 16) store16(dst, half), dst += 16;
  if (length & 8) std::memcpy(dst, &word, 8), dst += 8;
  if (length & 4) std::memcpy(dst, &word, 4), dst += 4;
  for (int64_t i = 0; i < (length & 3); ++i) dst[i] = static_cast<uint8_t>(word >> (8 * i));
}

void fillUpward(uint8_t* dst, __m256i v, int64_t length) {
  int64_t i = 0;
  for (; i + 128 <= length; i += 128) {
    store32(dst + i, v);
    store32(dst + i + 32, v);
    store32(dst + i + 64, v);
    store32(dst + i + 96, v);
  }
  for (; i + 32 <= length; i += 32) store32(dst + i, v);
  fillTail(dst + i, v, length - i);
}

// Bytes from dst to the next multiple of `alignment`.
int64_t toBoundary(const uint8_t* dst, uintptr_t alignment) {
  return static_cast<int64_t>(-reinterpret_cast<uintptr_t>(dst) & (alignment - 1));
}

void fillPlain(uint8_t* dst, __m256i v, int64_t length) {
  if (length < kUnrolledFrom) {
    fillUpward(dst, v, length);
  } else if (length < kDownwardFrom) {
    const int64_t head = toBoundary(dst, 32);
    store32(dst, v);
    dst += head, length -= head;
    for (; length >= 256; dst += 256, length -= 256)
      for (int i = 0; i < 256; i += 32) store32(dst + i, v);
    fillUpward(dst, v, length);
  } else {
    uint8_t* end = dst + length;
    const int64_t tail = static_cast<int64_t>(reinterpret_cast<uintptr_t>(end) & 31);
    store32(end - 32, v);
    end -= tail;
    for (; end - dst >= 64; end -= 64) {
      store32(end - 32, v);
      store32(end - 64, v);
    }
    store32(dst, v);
    store32(dst + 32, v);
  }
}

bool beyondCaches(int64_t length) {
  int32_t cache = 0;
  return length > kBigBlock && qlmGetMaxCacheSizeB(&cache) == 0 && cache > 0 && length > cache;
}

void fillBig(uint8_t* dst, __m256i v, int64_t length) {
  if (!beyondCaches(length)) return fillPlain(dst, v, length);
  store32(dst, v);
  store32(dst + 32, v);
  const int64_t head = toBoundary(dst, 64);
  dst += head, length -= head;
  for (; length >= 64; dst += 64, length -= 64) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(dst), v);
    _mm256_stream_si256(reinterpret_cast<__m256i*>(dst + 32), v);
  }
  if (length & 32) _mm256_stream_si256(reinterpret_cast<__m256i*>(dst), v), dst += 32;
  if (length & 16) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(dst), _mm256_castsi256_si128(v));
    dst += 16;
  }
  fillTail(dst, v, length & 15);
  _mm_sfence();
}

// The one route of the checking forms.
QlmStatus fillChecked(void* dst, __m256i v, int32_t count, int32_t elementBytes) {
  if (!dst) return qlmErrNullPointer;
  if (count < 1) return qlmErrSize;
  const int64_t length = int64_t{count} * elementBytes;
  auto* bytes = static_cast<uint8_t*>(dst);
  if (length > kBigBlock)
    fillBig(bytes, v, length);
  else
    fillPlain(bytes, v, length);
  return qlmOk;
}

}  // namespace

QlmStatus ownZero8u(uint8_t* dst, int32_t length) { return fillChecked(dst, _mm256_setzero_si256(), length, 1); }

QlmStatus ownZero16s(int16_t* dst, int32_t count) { return fillChecked(dst, _mm256_setzero_si256(), count, 2); }

QlmStatus ownZero32s(int32_t* dst, int32_t count) { return fillChecked(dst, _mm256_setzero_si256(), count, 4); }

QlmStatus ownSet8u(uint8_t value, uint8_t* dst, int32_t length) {
  return fillChecked(dst, _mm256_set1_epi8(static_cast<char>(value)), length, 1);
}

void ownZeroBig(void* dst, int64_t length) { fillBig(static_cast<uint8_t*>(dst), _mm256_setzero_si256(), length); }

void ownZeroSmall(void* dst, int64_t length) { fillPlain(static_cast<uint8_t*>(dst), _mm256_setzero_si256(), length); }

void ownSet8uBig(uint8_t value, uint8_t* dst, int64_t length) {
  fillBig(dst, _mm256_set1_epi8(static_cast<char>(value)), length);
}

// The vectors that the long ways align start inside a pattern where the destination is not aligned to 4 bytes; such a
// destination is filled upward, without alignment and without the big way.
QlmStatus ownSet32s(int32_t value, int32_t* dst, int32_t count) {
  const __m256i v = _mm256_set1_epi32(value);
  if (dst && count >= 1 && reinterpret_cast<uintptr_t>(dst) % 4 != 0) {
    fillUpward(reinterpret_cast<uint8_t*>(dst), v, int64_t{count} * 4);
    return qlmOk;
  }
  return fillChecked(dst, v, count, 4);
}

uint8_t* ownCopy8u(const uint8_t* src, uint8_t* dst, int32_t length) {
  if (length < 1) return dst;
  if (length < 32) {
    std::memcpy(dst, src, static_cast<size_t>(length));
    return dst;
  }
  // Both loops leave one overlapping vector, loaded first, for the end at which they stop.
  if (length < kCopyDownwardFrom) {
    const __m256i last = load32(src + length - 32);
    for (int32_t i = 0; i < length - 32; i += 32) store32(dst + i, load32(src + i));
    store32(dst + length - 32, last);
  } else {
    const __m256i first0 = load32(src), first1 = load32(src + 32);
    for (int32_t i = length; i > 64; i -= 64) {
      const __m256i high = load32(src + i - 32), low = load32(src + i - 64);
      store32(dst + i - 32, high);
      store32(dst + i - 64, low);
    }
    store32(dst, first0);
    store32(dst + 32, first1);
  }
  return dst;
}

QlmStatus ownCopy8uChecked(const uint8_t* src, uint8_t* dst, int32_t length) {
  if (!src || !dst) return qlmErrNullPointer;
  if (length < 1) return qlmErrSize;
  ownCopy8u(src, dst, length);
  return qlmOk;
}
