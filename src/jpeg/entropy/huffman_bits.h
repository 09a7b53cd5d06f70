// The bit-level engines that all Huffman coders share, with the byte stuffing of T.81 F.1.2.3 and F.2.2.5: appending
// bits to a destination and drawing bits and symbols from a source, byte by byte, with every shortage reported. The
// block and row coders run faster routes of their own and come here for the edges of a buffer and for damaged data.
#pragma once

#include <cstring>

#include "frame/frame.h"
#include "jpeg/entropy/huffman_tables.h"

inline uint64_t ownLoadBigEndian64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return __builtin_bswap64(v);
}
inline uint32_t ownLoadBigEndian32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return __builtin_bswap32(v);
}
inline void ownStoreBigEndian32(uint8_t* p, uint32_t v) {
  v = __builtin_bswap32(v);
  std::memcpy(p, &v, sizeof v);
}
inline void ownStoreBigEndian64(uint8_t* p, uint64_t v) {
  v = __builtin_bswap64(v);
  std::memcpy(p, &v, sizeof v);
}

// Whether a byte of the word is 0xFF: a byte of ~v is zero just where the borrow of the subtraction reaches its top bit
// while that bit was clear; a byte above a zero one may be taken for zero too, which leaves the answer as it is.
constexpr bool ownHasByteFF(uint64_t v) { return ((~v - 0x0101010101010101u) & v & 0x8080808080808080u) != 0; }

// Appends the low `length` bits of `value`, 1 to 16. Between calls at most 7 bits are pending, left-justified in the
// low 24 bits of the accumulator. qlmErrHuffTable for a length of 0, the mark of a symbol without a code;
// qlmErrOutOfBuffer where a byte or its stuffing does not fit: stored bytes and the position stay, the state is as
// before.
QlmStatus ownHuffmanPutBits(uint32_t value, int32_t length, uint8_t* dst, int32_t dstLength, int32_t* position,
                            QlmEncodeHuffmanState* state);

// Appends up to 32 bits at once; false, with nothing changed, where a byte of them is 0xFF or it is not certain that
// they fit. Writes 4 bytes at the position.
inline bool ownHuffmanPutAtOnce(uint64_t value, int32_t length, uint8_t* dst, int32_t dstLength, int32_t* position,
                                QlmEncodeHuffmanState* state) {
  const int32_t pending = state->bitCount;
  if (pending < 0 || pending > 7 || *position < 0 || int64_t{dstLength} - *position < 8) return false;
  const int32_t count = pending + length;
  const uint64_t bits = (state->accumulator >> (24 - pending) << length | value) << (-count & 63);
  if (ownHasByteFF(bits)) return false;
  ownStoreBigEndian32(dst + *position, static_cast<uint32_t>(bits >> 32));
  *position += count >> 3;
  state->accumulator = bits << (count & 56) >> 40;
  state->bitCount = count & 7;
  return true;
}

// Appends a code, by its entry in a table, and the `length` bits of a value behind it, 0 to 15.
inline QlmStatus ownHuffmanPutValue(uint32_t entry, uint32_t value, int32_t length, uint8_t* dst, int32_t dstLength,
                                    int32_t* position, QlmEncodeHuffmanState* state) {
  const int32_t codeLength = static_cast<int32_t>(entry >> 16);
  const uint64_t both = uint64_t{entry & 0xFFFF} << length | value;
  if (codeLength != 0 && ownHuffmanPutAtOnce(both, codeLength + length, dst, dstLength, position, state)) return qlmOk;
  const QlmStatus status = ownHuffmanPutBits(entry & 0xFFFF, codeLength, dst, dstLength, position, state);
  if (status || length == 0) return status;
  return ownHuffmanPutBits(value, length, dst, dstLength, position, state);
}

// Ends a segment of the form above: pads the last byte with ones and resets the state, whatever the status of the
// write.
QlmStatus ownHuffmanFlush(uint8_t* dst, int32_t dstLength, int32_t* position, QlmEncodeHuffmanState* state);

// Tops the accumulator up to at least 25 bits. Where that many do not come it is still qlmOk if `needed` bits are held,
// else qlmErrDctRange with a marker on record and qlmErrOutOfBuffer at the end of the source. Two cases do not look at
// `needed`: a call that itself meets the marker returns qlmOk, and a 0xFF as the last byte gives qlmErrOutOfBuffer.
QlmStatus ownHuffmanFill(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker, int32_t needed,
                         QlmDecodeHuffmanState* state);

// Decodes one symbol (T.81 F.2.2.3). qlmErrDctRange, with a symbol of 0, where no code of up to 16 bits matches.
// By a lookup where 8 bits are held that start with a code of up to 8 bits, else by ownHuffmanFindSymbol.
QlmStatus ownHuffmanFindSymbol(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker,
                               uint32_t* symbol, const QlmDecodeHuffmanSpec* spec, QlmDecodeHuffmanState* state);
inline uint32_t ownLookupEntry(const QlmDecodeHuffmanSpec* spec, const QlmDecodeHuffmanState* state) {
  return spec->lookup[static_cast<uint32_t>(state->accumulator) >> ((state->bitCount - 8) & 31) & 255];
}
inline QlmStatus ownHuffmanGetSymbol(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker,
                                     uint32_t* symbol, const QlmDecodeHuffmanSpec* spec, QlmDecodeHuffmanState* state) {
  if (state->bitCount >= 8) {
    const uint32_t entry = ownLookupEntry(spec, state);
    if (entry >> 16 != 0) {
      state->bitCount -= static_cast<int32_t>(entry >> 16);
      *symbol = entry & 0xFFFF;
      return qlmOk;
    }
  }
  return ownHuffmanFindSymbol(src, srcLength, position, marker, symbol, spec, state);
}

// Takes `count` bits, 1 to 16, that the accumulator holds or after a shortage should hold: `bitCount` may become
// negative, and the bits then come from the register shifted by that count modulo 32.
inline uint32_t ownHuffmanTakeBits(int32_t count, QlmDecodeHuffmanState* state) {
  state->bitCount = static_cast<int32_t>(static_cast<uint32_t>(state->bitCount) - static_cast<uint32_t>(count));
  return static_cast<uint32_t>(state->accumulator) >> (state->bitCount & 31) & ((1u << count) - 1);
}

// Draws the bits of a value of category 1 to 15 and extends them.
inline QlmStatus ownHuffmanGetValue(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker,
                                    int32_t category, int32_t* value, QlmDecodeHuffmanState* state) {
  if (state->bitCount < category) {
    if (const QlmStatus status = ownHuffmanFill(src, srcLength, position, marker, category, state)) return status;
  }
  *value = ownExtend(ownHuffmanTakeBits(category, state), category);
  return qlmOk;
}

// Last code of a length for a signed comparison: below every code where the length has none.
inline int32_t ownMaxCode(const QlmDecodeHuffmanSpec* spec, int32_t length) {
  const uint16_t code = spec->maxCode[length];
  return code == kNoCode ? -1 : code;
}

// Symbol of a code that does not exceed the last one of its length. A table that is oversubscribed can name an index
// beyond its symbols; it then wraps.
inline uint32_t ownSymbolOfCode(const QlmDecodeHuffmanSpec* spec, int32_t length, int32_t code) {
  return spec->symbols[(code - spec->minCode[length] + spec->firstIndex[length]) & 255];
}
