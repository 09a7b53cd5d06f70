// The careful engines of the Huffman coders (T.81 F.1.2.3, F.2.2.3 to F.2.2.5).
#include "jpeg/entropy/huffman_bits.h"

QlmStatus ownHuffmanPutBits(uint32_t value, int32_t length, uint8_t* dst, int32_t dstLength, int32_t* position,
                            QlmEncodeHuffmanState* state) {
  if (length == 0) return qlmErrHuffTable;
  int32_t bitCount = state->bitCount + length;
  uint32_t accumulator = static_cast<uint32_t>(state->accumulator);
  accumulator |= (value & ((1u << length) - 1)) << ((24 - bitCount) & 31);
  for (; bitCount >= 8; bitCount -= 8, accumulator = accumulator << 8 & 0xFFFFFF) {
    const uint8_t byte = static_cast<uint8_t>(accumulator >> 16);
    if (*position >= dstLength) return qlmErrOutOfBuffer;
    dst[(*position)++] = byte;
    if (byte != 0xFF) continue;
    if (*position >= dstLength) return qlmErrOutOfBuffer;
    dst[(*position)++] = 0;
  }
  state->accumulator = accumulator;
  state->bitCount = bitCount;
  return qlmOk;
}

QlmStatus ownHuffmanFlush(uint8_t* dst, int32_t dstLength, int32_t* position, QlmEncodeHuffmanState* state) {
  // Without pending bits the seven ones stay in the accumulator, and the reset drops them.
  const QlmStatus status = ownHuffmanPutBits(127, 7, dst, dstLength, position, state);
  *state = {};
  return status;
}

QlmStatus ownHuffmanFill(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker, int32_t needed,
                         QlmDecodeHuffmanState* state) {
  if (*marker != 0) return needed > state->bitCount ? qlmErrDctRange : qlmOk;
  if (state->bitCount >= 25) return qlmOk;
  // As the loop below would, where no 0xFF is near.
  if (state->bitCount >= 0 && *position >= 0 && int64_t{srcLength} - *position >= 4) {
    const uint32_t word = ownLoadBigEndian32(src + *position);
    if (!ownHasByteFF(word)) {
      const int32_t bytes = (32 - state->bitCount) / 8;
      state->accumulator = static_cast<uint32_t>(state->accumulator << (8 * bytes) | word >> (32 - 8 * bytes));
      state->bitCount += 8 * bytes;
      *position += bytes;
      return qlmOk;
    }
  }
  while (state->bitCount < 25) {
    if (*position >= srcLength) return needed > state->bitCount ? qlmErrOutOfBuffer : qlmOk;
    const uint8_t byte = src[(*position)++];
    if (byte == 0xFF) {
      uint8_t next;
      do {
        if (*position >= srcLength) return qlmErrOutOfBuffer;
        next = src[(*position)++];
      } while (next == 0xFF);
      if (next != 0) {
        *marker = next;
        return qlmOk;
      }
    }
    state->accumulator = static_cast<uint32_t>(state->accumulator) << 8 | byte;
    state->bitCount += 8;
  }
  return qlmOk;
}

QlmStatus ownHuffmanFindSymbol(const uint8_t* src, int32_t srcLength, int32_t* position, int32_t* marker,
                               uint32_t* symbol, const QlmDecodeHuffmanSpec* spec, QlmDecodeHuffmanState* state) {
  const auto fill = [&](int32_t needed) { return ownHuffmanFill(src, srcLength, position, marker, needed, state); };

  if (state->bitCount < 8) {
    if (const QlmStatus status = fill(0)) return status;
  }
  int32_t length = 1;
  if (state->bitCount >= 8) {
    const uint32_t entry = ownLookupEntry(spec, state);
    if (entry >> 16 != 0) {
      state->bitCount -= static_cast<int32_t>(entry >> 16);
      *symbol = entry & 0xFFFF;
      return qlmOk;
    }
    length = 9;
  }

  if (state->bitCount < length) {
    if (const QlmStatus status = fill(length)) return status;
  }
  int32_t code = static_cast<int32_t>(ownHuffmanTakeBits(length, state));
  while (code > ownMaxCode(spec, length)) {
    if (state->bitCount < 1) {
      if (const QlmStatus status = fill(1)) return status;
    }
    code = code << 1 | static_cast<int32_t>(ownHuffmanTakeBits(1, state));
    if (++length > 16) {
      *symbol = 0;
      return qlmErrDctRange;
    }
  }
  *symbol = ownSymbolOfCode(spec, length, code);
  return qlmOk;
}
