// PackBits rows (TIFF 6.0, section 9): packets of a signed header byte and data. A header of 0 to 127 is followed by
// that many literal bytes and one more, one of -1 to -127 by a byte that stands for 1 - header equal ones; -128 means
// nothing.
#include <cstring>
#include <type_traits>

#include "frame/frame.h"
#include "frame/simd.h"

namespace {

constexpr int32_t kLongestPacket = 128;

// Four parts of w bytes cover n bytes exactly, for any n from w to 4w, where they overlap as need be. So three widths
// do for the 2 to 128 bytes of a packet, with two branches: lengths cannot be predicted, and each wrong guess costs
// more than a few stores. Calls part(width, offset) four times.
template <typename Part>
inline void coverPacket(int32_t n, const Part& part) {
  const auto four = [&](auto width) {
    const int32_t last = n - width;
    part(width, 0);
    part(width, width < last ? width : last);
    part(width, 2 * width < last ? 2 * width : last);
    part(width, last);
  };
  if (n >= 32)
    four(std::integral_constant<int32_t, 32>{});
  else if (n >= 8)
    four(std::integral_constant<int32_t, 8>{});
  else
    four(std::integral_constant<int32_t, 2>{});
}

// Copies exactly n bytes, 1 to 128.
inline void copyPacket(const uint8_t* src, uint8_t* dst, int32_t n) {
  if (n == 1) {
    *dst = *src;
    return;
  }
  coverPacket(n, [&](auto width, int32_t at) { std::memcpy(dst + at, src + at, width); });
}

// Sets exactly n bytes, 2 to 128.
inline void fillPacket(uint8_t value, uint8_t* dst, int32_t n) {
  const __m256i v = _mm256_set1_epi8(static_cast<char>(value));
  coverPacket(n, [&](auto width, int32_t at) { std::memcpy(dst + at, &v, width); });
}

// Bit i is set where bytes i and i + 1 from p on are equal. Reads 33 bytes.
inline uint32_t equalPairs(const uint8_t* p) {
  return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(load32(p), load32(p + 1))));
}

// Length of the run of equal bytes at the head of n >= 2 bytes of which the first two are equal, at most 128.
inline int32_t runLength(const uint8_t* src, int32_t n) {
  const int32_t most = n < kLongestPacket ? n : kLongestPacket;
  int32_t length = 1;  // src[0 .. length - 1] are equal
  for (; length + 32 <= n; length += 32) {
    const uint32_t unlike = ~equalPairs(src + length - 1);
    if (unlike) {
      length += __builtin_ctz(unlike);
      return length < most ? length : most;
    }
    if (length >= most) return most;
  }
  while (length < most && src[length] == src[0]) ++length;
  return length < most ? length : most;
}

// Index of the first of three equal bytes, from 1 on, or `most` where there are none before it.
inline int32_t firstTriple(const uint8_t* src, int32_t n, int32_t most) {
  int32_t i = 1;
  for (; i < most && i + 34 <= n; i += 32) {
    const uint32_t triples = equalPairs(src + i) & equalPairs(src + i + 1);
    if (triples) {
      i += __builtin_ctz(triples);
      return i < most ? i : most;
    }
  }
  for (; i < most && i + 2 < n; ++i)
    if (src[i] == src[i + 1] && src[i] == src[i + 2]) return i;
  return most;
}

// Length of the literal packet at the head of n >= 2 bytes of which the first two differ. It ends before the first
// three equal bytes, before a pair that would take its last two places, and before a pair that ends the source. Any
// other pair stays inside, and one that begins on the last place is cut in two: kept.
inline int32_t literalLength(const uint8_t* src, int32_t n) {
  int32_t length = firstTriple(src, n, n < kLongestPacket ? n : kLongestPacket);
  if (length > kLongestPacket - 2 && n >= kLongestPacket && src[kLongestPacket - 2] == src[kLongestPacket - 1])
    length = kLongestPacket - 2;
  if (n > 2 && length > n - 2 && src[n - 2] == src[n - 1]) length = n - 2;
  return length;
}

}  // namespace

QLM_EXPORT(qlmiPackBitsRow_TIFF_8u_C1)
(const uint8_t* src, int32_t srcLength, uint8_t* dst, int32_t* dstPosition, int32_t room) {
  if (!src || !dst || !dstPosition) return qlmErrNullPointer;
  if (srcLength < 1 || room < 1) return qlmErrSize;
  int32_t position = *dstPosition;
  while (srcLength > 0) {
    const bool run = srcLength > 1 && src[0] == src[1];
    const int32_t length = run ? runLength(src, srcLength) : srcLength > 1 ? literalLength(src, srcLength) : 1;
    const int32_t bytes = run ? 2 : length + 1;
    if (bytes > room) {
      *dstPosition = position;
      return qlmErrUnpackOverrun;
    }
    uint8_t* packet = dst + position;
    packet[0] = static_cast<uint8_t>(run ? 1 - length : length - 1);
    if (run)
      packet[1] = src[0];
    else
      copyPacket(src, packet + 1, length);
    position += bytes, room -= bytes;
    src += length, srcLength -= length;
  }
  *dstPosition = position;
  return qlmOk;
}

QLM_EXPORT(qlmiUnpackBitsRow_TIFF_8u_C1)
(const uint8_t* src, int32_t* srcPosition, int32_t srcLength, uint8_t* dst, int32_t dstLength) {
  if (!src || !srcPosition || !dst) return qlmErrNullPointer;
  if (srcLength < 1 || dstLength < 1) return qlmErrSize;
  int32_t position = *srcPosition, produced = 0;
  QlmStatus status = qlmErrUnpackOverrun;
  while (position < srcLength) {
    const auto header = static_cast<int8_t>(src[position++]);
    if (header == -128) continue;
    const bool run = header < 0;
    const int32_t length = run ? 1 - header : header + 1;
    // The byte of a run may lie at the index of the source length: the test lets a header on the last byte pass. Kept.
    if (run ? position > srcLength : length > srcLength - position) break;
    if (length > dstLength - produced) break;
    if (run)
      fillPacket(src[position], dst + produced, length);
    else
      copyPacket(src + position, dst + produced, length);
    position += run ? 1 : length;
    produced += length;
    if (produced == dstLength) {
      status = qlmOk;
      break;
    }
  }
  *srcPosition = position;
  return status;
}
