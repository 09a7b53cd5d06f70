// Bits of a stream of big-endian 16-bit units (ITU-T T.832 8.7), as the coders of JPEG XR hand them from call to call:
// a pointer to the next unit, a left-justified buffer and the number of bits in it.
//
// The caller sees at each return how many units were touched, so that number is fixed: a reader holds at least 16 bits
// after each field and takes a unit only when it has less; a writer sends a unit out as soon as it holds more than 16
// bits. Both follow from the number of bits coded alone, as no field has more than 16 bits at a time. So several fields
// may share one look at the buffer, as long as a reader never takes a unit which it wouldn't have taken by then.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/wrap.h"

// Numbers of low bits that are coded apart, or trimmed.
constexpr bool ownIsBitNumber(int32_t n) { return n >= 0 && n <= 15; }

struct QlmBitReader {
  const uint16_t* next;
  uint64_t bits;  // left-justified
  int32_t count;  // valid bits, at least 16 at the beginning of each function of the coders
};

inline void ownAppendUnit(QlmBitReader& in) {
  in.bits |= static_cast<uint64_t>(__builtin_bswap16(loadAny(in.next))) << (48 - in.count);
  in.count += 16;
  ++in.next;
}
// Up to 16 bits may be taken between two refills.
inline void ownRefill(QlmBitReader& in) {
  if (in.count < 16) ownAppendUnit(in);
}
inline QlmBitReader ownStartReading(const uint16_t* stream, uint32_t buffer, uint32_t count) {
  // What lies below the valid bits of the buffer is dropped.
  const uint64_t held = count == 0 ? 0 : static_cast<uint64_t>(buffer) >> (32 - count) << (64 - count);
  QlmBitReader in{stream, held, static_cast<int32_t>(count)};
  ownRefill(in);
  return in;
}
inline void ownFinishReading(const QlmBitReader& in, const uint16_t** stream, uint32_t* buffer, uint32_t* count) {
  *stream = in.next;
  *buffer = static_cast<uint32_t>(in.bits >> 32);
  *count = static_cast<uint32_t>(in.count);
}
template <int kBits>
inline uint32_t ownPeek(const QlmBitReader& in) {
  return static_cast<uint32_t>(in.bits >> (64 - kBits));
}
inline void ownSkip(QlmBitReader& in, uint32_t n) {
  in.bits <<= n;
  in.count -= static_cast<int32_t>(n);
}
// Up to 16 bits, with no refill.
inline uint32_t ownTake(QlmBitReader& in, uint32_t n) {
  const uint32_t value = static_cast<uint32_t>(in.bits >> 1 >> (63 - n));
  ownSkip(in, n);
  return value;
}

struct QlmBitWriter {
  uint16_t* next;
  uint64_t bits;   // right-justified; what stands above the bits held is of no account
  uint32_t count;  // bits held
};

// Sends out two units if more than kMost bits are held, which then are 32 fewer.
template <uint32_t kMost = 32>
inline void ownDrain(QlmBitWriter& out) {
  static_assert(kMost >= 32);
  if (out.count <= kMost) return;
  out.count -= 32;
  storeAny(reinterpret_cast<uint32_t*>(out.next), __builtin_bswap32(static_cast<uint32_t>(out.bits >> out.count)));
  out.next += 2;
}
// Appends the n low bits of value, which has no others. As many as 64 bits may be held before a drain.
inline void ownPut(QlmBitWriter& out, uint32_t value, uint32_t n) {
  out.bits = out.bits << n | value;
  out.count += n;
}
inline void ownSendUnit(QlmBitWriter& out) {
  if (out.count <= 16) return;
  out.count -= 16;
  storeAny(out.next++, __builtin_bswap16(static_cast<uint16_t>(out.bits >> out.count)));
}
inline QlmBitWriter ownStartWriting(uint16_t* stream, uint32_t buffer, uint32_t count) {
  QlmBitWriter out{stream, static_cast<uint64_t>(buffer) >> (32 - count), count};
  ownSendUnit(out);
  return out;
}
inline void ownFinishWriting(QlmBitWriter& out, uint16_t** stream, uint32_t* buffer, uint32_t* count) {
  ownDrain(out);
  ownSendUnit(out);
  *stream = out.next;
  *buffer = static_cast<uint32_t>(out.bits << (32 - out.count));
  *count = out.count;
}
