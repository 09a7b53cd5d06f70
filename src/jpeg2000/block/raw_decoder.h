// The raw bits of the selective arithmetic coding bypass (ITU-T T.800 D.6): most significant bit first, with a stuffed
// bit at the top of each byte behind a 0xFF, and 1 bits behind the end of the segment.
#pragma once

#include <cstdint>

struct QlmRawDecoder {
  const uint8_t* bytes;
  int32_t length;
  int32_t position = 0;
  uint32_t byte = 0;
  int32_t bit = -1;  // the next bit of the byte, -1 where none is left
};

inline uint32_t ownRawDecode(QlmRawDecoder& raw) {
  if (raw.bit < 0) {
    raw.bit = raw.byte == 0xFF ? 6 : 7;
    raw.byte = raw.position < raw.length ? raw.bytes[raw.position] : 0xFF;
    ++raw.position;
  }
  return raw.byte >> raw.bit-- & 1;
}

// Whether the bits that are left in the last byte are the alternating fill, which begins with a 0. What else may follow
// in the segment is not looked at, and neither is the byte behind a last 0xFF.
inline bool ownRawEndsProperly(const QlmRawDecoder& raw) {
  if (raw.bit < 0) return true;
  return (raw.byte & ((2u << raw.bit) - 1)) == 0x55u >> (7 - raw.bit);
}
