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
inline void storeUpper8(void* p, __m128i v) { _mm_storeh_pi(static_cast<__m64*>(p), _mm_castsi128_ps(v)); }

// 16 bytes as 16 lanes of 16 bits, zero-extended.
inline __m256i load16AsWords(const void* p) { return _mm256_cvtepu8_epi16(load16(p)); }

// Saturating pack of 32 words to bytes, in order (the instruction itself interleaves the 128-bit halves).
inline __m256i packWordsToBytes(__m256i a, __m256i b) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}

// Means of unsigned bytes, rounded up and down.
inline __m128i meanUp8(__m128i a, __m128i b) { return _mm_avg_epu8(a, b); }
inline __m256i meanUp8(__m256i a, __m256i b) { return _mm256_avg_epu8(a, b); }
inline __m128i meanDown8(__m128i a, __m128i b) {
  return _mm_sub_epi8(_mm_avg_epu8(a, b), _mm_and_si128(_mm_xor_si128(a, b), _mm_set1_epi8(1)));
}
inline __m256i meanDown8(__m256i a, __m256i b) {
  return _mm256_sub_epi8(_mm256_avg_epu8(a, b), _mm256_and_si256(_mm256_xor_si256(a, b), _mm256_set1_epi8(1)));
}

// Mean of signed words, rounded down, with no bit lost: the bits in common and half of those in one of the two.
inline __m256i meanDown16(__m256i a, __m256i b) {
  return _mm256_add_epi16(_mm256_and_si256(a, b), _mm256_srai_epi16(_mm256_xor_si256(a, b), 1));
}

// a0 b0 a1 b1 ... : two vectors of bytes as one row of pairs.
inline void storeBytePairs(void* p, __m128i a, __m128i b) {
  store16(p, _mm_unpacklo_epi8(a, b));
  store16(static_cast<char*>(p) + 16, _mm_unpackhi_epi8(a, b));
}
inline void storeBytePairs(void* p, __m256i a, __m256i b) {
  const __m256i low = _mm256_unpacklo_epi8(a, b), high = _mm256_unpackhi_epi8(a, b);
  store32(p, _mm256_permute2x128_si256(low, high, 0x20));
  store32(static_cast<char*>(p) + 32, _mm256_permute2x128_si256(low, high, 0x31));
}

// 16-bit lanes to bytes, saturating, 128 bits wide.
inline __m128i packWordsToBytes(__m256i words) {
  return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
}

// Two independent streams, one in each half of a vector. Whatever shuffles inside the halves keeps them apart.
inline __m256i load16x2(const void* low, const void* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(low)), load16(high), 1);
}
inline void store16x2(void* low, void* high, __m256i v) {
  store16(low, _mm256_castsi256_si128(v));
  store16(high, _mm256_extracti128_si256(v, 1));
}

// Eight or four bytes, the same in both halves, and the first eight or four of a vector.
inline __m256i load8InHalves(const void* p) { return _mm256_broadcastsi128_si256(load8(p)); }
inline __m256i load4InHalves(const void* p) { return _mm256_broadcastsi128_si256(_mm_loadu_si32(p)); }
// Eight bytes as 8 lanes of 32 bits, zero-extended, and such lanes as words, saturating, the same in both halves.
inline __m256i load8AsDwords(const void* p) { return _mm256_cvtepu8_epi32(load8(p)); }
inline __m256i dwordsToWordsInHalves(__m256i v) { return _mm256_permute4x64_epi64(_mm256_packs_epi32(v, v), 0x88); }
inline void store8(void* p, __m256i v) { store8(p, _mm256_castsi256_si128(v)); }
inline void store4(void* p, __m128i v) { _mm_storeu_si32(p, v); }

// The low halves of two vectors side by side, and the high ones.
inline __m256i lowHalves(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x20); }
inline __m256i highHalves(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x31); }

// The low half of the one beside the high half of the other, and the two halves that meet where b follows a.
inline __m256i lowAndHigh(__m256i low, __m256i high) { return _mm256_blend_epi32(low, high, 0xF0); }
inline __m256i middleHalves(__m256i a, __m256i b) { return _mm256_permute2x128_si256(a, b, 0x21); }

// In each half, the 16 bytes that begin kBytes bytes behind the start of v where `behind` follows it, and those that
// begin kBytes bytes in front where it follows `before`.
template <int kBytes>
inline __m256i shiftedUp(__m256i v, __m256i behind) {
  return _mm256_alignr_epi8(behind, v, kBytes);
}
template <int kBytes>
inline __m256i shiftedDown(__m256i before, __m256i v) {
  return _mm256_alignr_epi8(v, before, 16 - kBytes);
}

// 64 bytes, 32 at each of two places, as the elements of even and those of odd index in order, and the way back.
struct EvenOdd {
  __m256i even, odd;
};
inline EvenOdd loadWordPairs(const void* low, const void* high) {
  const auto *l = static_cast<const char*>(low), *h = static_cast<const char*>(high);
  const __m256i a = load16x2(l, h), b = load16x2(l + 16, h + 16), lowWord = _mm256_set1_epi32(0xFFFF);
  return {_mm256_packus_epi32(_mm256_and_si256(a, lowWord), _mm256_and_si256(b, lowWord)),
          _mm256_packus_epi32(_mm256_srli_epi32(a, 16), _mm256_srli_epi32(b, 16))};
}
inline EvenOdd loadDwordPairs(const void* low, const void* high) {
  const auto *l = static_cast<const char*>(low), *h = static_cast<const char*>(high);
  const __m256 a = _mm256_castsi256_ps(load16x2(l, h)), b = _mm256_castsi256_ps(load16x2(l + 16, h + 16));
  return {_mm256_castps_si256(_mm256_shuffle_ps(a, b, 0x88)), _mm256_castps_si256(_mm256_shuffle_ps(a, b, 0xDD))};
}
inline void storeWordPairs(void* low, void* high, EvenOdd v) {
  store16x2(low, high, _mm256_unpacklo_epi16(v.even, v.odd));
  store16x2(static_cast<char*>(low) + 16, static_cast<char*>(high) + 16, _mm256_unpackhi_epi16(v.even, v.odd));
}
inline void storeDwordPairs(void* low, void* high, EvenOdd v) {
  store16x2(low, high, _mm256_unpacklo_epi32(v.even, v.odd));
  store16x2(static_cast<char*>(low) + 16, static_cast<char*>(high) + 16, _mm256_unpackhi_epi32(v.even, v.odd));
}

// Transposes the 4x4 double words in each half of four vectors.
inline void transposeHalves4x4(__m256i (&v)[4]) {
  const __m256i low01 = _mm256_unpacklo_epi32(v[0], v[1]), high01 = _mm256_unpackhi_epi32(v[0], v[1]);
  const __m256i low23 = _mm256_unpacklo_epi32(v[2], v[3]), high23 = _mm256_unpackhi_epi32(v[2], v[3]);
  v[0] = _mm256_unpacklo_epi64(low01, low23);
  v[1] = _mm256_unpackhi_epi64(low01, low23);
  v[2] = _mm256_unpacklo_epi64(high01, high23);
  v[3] = _mm256_unpackhi_epi64(high01, high23);
}

// The same for words: four vectors of four quads each, a quad being four words. Afterwards vector i holds word i of
// every quad; the order of the quads inside the halves is such that the same call leads back.
inline void transposeWordQuads(__m256i (&v)[4]) {
  const __m256i low01 = _mm256_unpacklo_epi16(v[0], v[1]), high01 = _mm256_unpackhi_epi16(v[0], v[1]);
  const __m256i low23 = _mm256_unpacklo_epi16(v[2], v[3]), high23 = _mm256_unpackhi_epi16(v[2], v[3]);
  const __m256i first01 = _mm256_unpacklo_epi32(low01, low23), first23 = _mm256_unpackhi_epi32(low01, low23);
  const __m256i last01 = _mm256_unpacklo_epi32(high01, high23), last23 = _mm256_unpackhi_epi32(high01, high23);
  v[0] = _mm256_unpacklo_epi64(first01, last01);
  v[1] = _mm256_unpackhi_epi64(first01, last01);
  v[2] = _mm256_unpacklo_epi64(first23, last23);
  v[3] = _mm256_unpackhi_epi64(first23, last23);
}

// The pattern of a byte shuffle, the same for both halves; an index of -1 gives a zero byte.
struct ShufflePattern {
  alignas(32) int8_t index[32];
};
template <typename IndexOf>
constexpr ShufflePattern makeShuffle(IndexOf indexOf) {
  ShufflePattern pattern{};
  for (int i = 0; i < 16; ++i) pattern.index[i] = pattern.index[i + 16] = static_cast<int8_t>(indexOf(i));
  return pattern;
}
inline __m256i shuffleBytes(__m256i v, const ShufflePattern& pattern) {
  return _mm256_shuffle_epi8(v, load32(pattern.index));
}

// Bytes of three-byte pixels in each half. deinterleave3 takes the first 16 and the last 16 of the 24 bytes of eight
// pixels, and gives the byte pairs (element A, element B) and (element C, element B) of each pixel: what a multiply-add
// of byte pairs wants.
struct BytePairs {
  __m256i ab, cb;
};
template <int kA, int kB, int kC>
inline BytePairs deinterleave3(__m256i first16, __m256i last16) {
  constexpr auto fourPixels = [](int offset) {
    return makeShuffle([=](int i) { return offset + 3 * (i % 8 / 2) + (i % 2 ? kB : i < 8 ? kA : kC); });
  };
  static constexpr ShufflePattern kFirst = fourPixels(0), kLast = fourPixels(4);
  const __m256i low = shuffleBytes(first16, kFirst), high = shuffleBytes(last16, kLast);
  return {_mm256_unpacklo_epi64(low, high), _mm256_unpackhi_epi64(low, high)};
}

// Three channels as separate planes, from four vectors of four pixels a half, each as four bytes of x, four of y, four
// of z and four that don't matter: sixteen pixels a half in order, or as pairs (pixel i, pixel i + 8).
struct Planes3 {
  __m256i x, y, z;
};
inline Planes3 gatherPlanes(const __m256i (&quads)[4]) {
  const __m256i xy0 = _mm256_unpacklo_epi32(quads[0], quads[1]), xy1 = _mm256_unpacklo_epi32(quads[2], quads[3]);
  const __m256i z0 = _mm256_unpackhi_epi32(quads[0], quads[1]), z1 = _mm256_unpackhi_epi32(quads[2], quads[3]);
  return {_mm256_unpacklo_epi64(xy0, xy1), _mm256_unpackhi_epi64(xy0, xy1), _mm256_unpacklo_epi64(z0, z1)};
}
inline Planes3 gatherPlanePairs(const __m256i (&quads)[4]) {
  const __m256i xy0 = _mm256_unpacklo_epi32(quads[0], quads[1]), xy1 = _mm256_unpacklo_epi32(quads[2], quads[3]);
  const __m256i z0 = _mm256_unpackhi_epi32(quads[0], quads[1]), z1 = _mm256_unpackhi_epi32(quads[2], quads[3]);
  return {_mm256_unpacklo_epi8(xy0, xy1), _mm256_unpackhi_epi8(xy0, xy1), _mm256_unpacklo_epi8(z0, z1)};
}

// 96 bytes as three channels of 16-bit or 32-bit elements, in order, and the way back. Each half takes 48 bytes. In the
// three vectors of such a half the elements of one channel stand at different places, so that blends collect them and
// one shuffle sorts them.
inline Planes3 load48x2(const void* p) {
  const auto* bytes = static_cast<const char*>(p);
  return {load16x2(bytes, bytes + 48), load16x2(bytes + 16, bytes + 64), load16x2(bytes + 32, bytes + 80)};
}
inline void store48x2(void* p, const Planes3& v) {
  auto* bytes = static_cast<char*>(p);
  store16x2(bytes, bytes + 48, v.x);
  store16x2(bytes + 16, bytes + 64, v.y);
  store16x2(bytes + 32, bytes + 80, v.z);
}
// Words 0, 3, 6 of the first, words 1, 4, 7 of the second, words 2, 5 of the third vector.
inline __m256i blendWords036147(__m256i at036, __m256i at147, __m256i at25) {
  return _mm256_blend_epi16(_mm256_blend_epi16(at036, at147, 0x92), at25, 0x24);
}
inline Planes3 loadWordTriples(const void* p) {
  // Element i of channel c is word 3i + c of the half, so word (3i + c) % 8 after the blends.
  constexpr auto sorted = [](int channel) {
    return makeShuffle([=](int i) { return (3 * (i / 2) + channel) % 8 * 2 + i % 2; });
  };
  static constexpr ShufflePattern kX = sorted(0), kY = sorted(1), kZ = sorted(2);
  const Planes3 v = load48x2(p);
  return {shuffleBytes(blendWords036147(v.x, v.y, v.z), kX), shuffleBytes(blendWords036147(v.z, v.x, v.y), kY),
          shuffleBytes(blendWords036147(v.y, v.z, v.x), kZ)};
}
inline void storeWordTriples(void* p, const Planes3& v) {
  // Word w of a vector takes element (8k + w) / 3 where that is the channel's; 3 is its own inverse modulo 8.
  constexpr auto spread = [](int channel) {
    return makeShuffle([=](int i) { return (3 * (i / 2 - channel + 8)) % 8 * 2 + i % 2; });
  };
  static constexpr ShufflePattern kX = spread(0), kY = spread(1), kZ = spread(2);
  const __m256i x = shuffleBytes(v.x, kX), y = shuffleBytes(v.y, kY), z = shuffleBytes(v.z, kZ);
  store48x2(p, {blendWords036147(x, y, z), blendWords036147(z, x, y), blendWords036147(y, z, x)});
}
// Double words 0, 3 of the first, 1 of the second and 2 of the third vector.
inline __m256i blendDwords0312(__m256i at03, __m256i at1, __m256i at2) {
  return _mm256_blend_epi32(_mm256_blend_epi32(at03, at1, 0x22), at2, 0x44);
}
inline Planes3 loadDwordTriples(const void* p) {
  const Planes3 v = load48x2(p);
  return {_mm256_shuffle_epi32(blendDwords0312(v.x, v.z, v.y), 0x6C),
          _mm256_shuffle_epi32(blendDwords0312(v.y, v.x, v.z), 0xB1),
          _mm256_shuffle_epi32(blendDwords0312(v.z, v.y, v.x), 0xC6)};
}
inline void storeDwordTriples(void* p, const Planes3& v) {
  const __m256i x = _mm256_shuffle_epi32(v.x, 0x6C), y = _mm256_shuffle_epi32(v.y, 0xB1);
  const __m256i z = _mm256_shuffle_epi32(v.z, 0xC6);
  store48x2(p, {blendDwords0312(x, y, z), blendDwords0312(y, z, x), blendDwords0312(z, x, y)});
}

// The bytes of four pixels a half, kBytes each from byte kOffset on, by channels kX, kY, kZ, as gatherPlanes wants
// them.
template <int kBytes, int kOffset, int kX, int kY, int kZ>
inline __m256i channelQuads(__m256i pixels) {
  static constexpr ShufflePattern kQuads = makeShuffle([](int i) {
    return i >= 12 ? -1 : kOffset + kBytes * (i % 4) + (i < 4 ? kX : i < 8 ? kY : kZ);
  });
  return shuffleBytes(pixels, kQuads);
}

// The way back, for eight pixels a half: xy holds eight x and eight y, z eight z in its lower eight bytes. Gives the
// first 16 and the last 16 of the 24 bytes.
struct Interleaved8 {
  __m256i first16, last16;
};
inline Interleaved8 interleave3x8(__m256i xy, __m256i z) {
  constexpr auto pairFrom = [](int start) {
    return makeShuffle([=](int i) { return (start + i) % 3 == 2 ? -1 : (start + i) / 3 + 8 * ((start + i) % 3); });
  };
  constexpr auto thirdFrom = [](int start) {
    return makeShuffle([=](int i) { return (start + i) % 3 == 2 ? (start + i) / 3 : -1; });
  };
  static constexpr ShufflePattern kPair0 = pairFrom(0), kPair8 = pairFrom(8);
  static constexpr ShufflePattern kThird0 = thirdFrom(0), kThird8 = thirdFrom(8);
  return {_mm256_or_si256(shuffleBytes(xy, kPair0), shuffleBytes(z, kThird0)),
          _mm256_or_si256(shuffleBytes(xy, kPair8), shuffleBytes(z, kThird8))};
}

// Sixteen pixels a half: xyLow and xyHigh hold eight x and eight y each, z sixteen z. Gives 48 bytes a half in order.
struct Interleaved16 {
  __m256i part[3];
};
inline Interleaved16 interleave3x16(__m256i xyLow, __m256i xyHigh, __m256i z) {
  // Byte `at` of the 48 from the pair of pixels `first` to `first` + 7.
  constexpr auto pairFrom = [](int start, int first) {
    return makeShuffle([=](int i) {
      const int pixel = (start + i) / 3 - first, channel = (start + i) % 3;
      return channel == 2 || pixel < 0 || pixel > 7 ? -1 : pixel + 8 * channel;
    });
  };
  constexpr auto thirdFrom = [](int start) {
    return makeShuffle([=](int i) { return (start + i) % 3 == 2 ? (start + i) / 3 : -1; });
  };
  static constexpr ShufflePattern kLow0 = pairFrom(0, 0), kLow16 = pairFrom(16, 0);
  static constexpr ShufflePattern kHigh16 = pairFrom(16, 8), kHigh32 = pairFrom(32, 8);
  static constexpr ShufflePattern kThird0 = thirdFrom(0), kThird16 = thirdFrom(16), kThird32 = thirdFrom(32);
  const __m256i middle = _mm256_or_si256(shuffleBytes(xyLow, kLow16), shuffleBytes(xyHigh, kHigh16));
  return {{_mm256_or_si256(shuffleBytes(xyLow, kLow0), shuffleBytes(z, kThird0)),
           _mm256_or_si256(middle, shuffleBytes(z, kThird16)),
           _mm256_or_si256(shuffleBytes(xyHigh, kHigh32), shuffleBytes(z, kThird32))}};
}

// A vector constant that is held in memory.
template <typename T>
struct alignas(32) LaneConstants {
  T lane[32 / sizeof(T)];

  operator __m256i() const { return load32(lane); }
};
template <typename T>
constexpr LaneConstants<T> inAllLanes(T value) {
  LaneConstants<T> c{};
  for (T& lane : c.lane) lane = value;
  return c;
}
inline __m256 asFloats(const LaneConstants<float>& c) { return _mm256_load_ps(c.lane); }

// Constants that are to be loaded from memory, as operands where possible. Left to itself g++ builds vectors of equal
// lanes from immediates, in three instructions that compete with the shuffles of a block kernel.
template <typename T>
inline const T& inMemory(const T& table) {
  const T* address = &table;
  __asm__("" : "+r"(address));
  return *address;
}
