// Named idioms over the AVX2 intrinsics, each defined once and used by all subsystems. Sizes in the names of loads and
// stores are bytes; no pointer needs an alignment.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

inline __m128i load16(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline __m256i load32(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline __m128i load8(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }
inline void store16(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
inline void store32(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline void store8(void* p, __m128i v) { _mm_storel_epi64(static_cast<__m128i*>(p), v); }

// 16 bytes as 16 lanes of 16 bits, zero-extended.
inline __m256i load16AsWords(const void* p) { return _mm256_cvtepu8_epi16(load16(p)); }

// Saturating pack of 32 words to bytes, in order (the instruction itself interleaves the 128-bit halves).
inline __m256i packWordsToBytes(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}
