// What the MQ decoder does once a segment or once in many symbols (mq_decoder.h).
#include "jpeg2000/block/mq_decoder.h"

#include "frame/wrap.h"

namespace {

constexpr int64_t kRoom = kActiveShift - 1;  // bits that C has between its active ones and the mark

// The code register without its mark, and the number of bits below the active ones.
struct Code {
  uint64_t c;
  int64_t bits;
};
Code withoutMark(uint64_t c) { return {c & (c - 1), kRoom - static_cast<int64_t>(_tzcnt_u64(c))}; }
uint64_t withMark(Code code) { return code.c | uint64_t{1} << (kRoom - code.bits); }

bool anyByteFF(uint64_t bytes) { return ((~bytes - 0x0101010101010101u) & bytes & 0x8080808080808080u) != 0; }

// Takes in bytes until fewer than 8 bits of room are left, or until one that borrows must wait for its turn.
Code refill(QlmMqSource& source, Code code) {
  while (code.bits <= kRoom - 8) {
    if (source.atMarker) {
      const int64_t zeros = (kRoom - code.bits) & ~int64_t{7};
      source.zerosAppended += zeros;
      code.bits += zeros;
      break;
    }
    if (source.position + 8 <= source.length) {
      // No 0xFF among eight bytes: those behind the first are eight plain bits each.
      const uint64_t ahead = loadAny(reinterpret_cast<const uint64_t*>(source.bytes + source.position));
      if (!anyByteFF(ahead)) {
        const int64_t count = (kRoom - code.bits) / 8;  // at most 5
        const uint64_t complement = ~__builtin_bswap64(ahead) << 8 >> (64 - 8 * count) << (64 - 8 * count);
        code.c |= complement >> (64 - kActiveShift + code.bits);
        code.bits += 8 * count;
        source.position += count;
        break;
      }
    }
    const uint32_t last = byteAt(source, source.position), next = byteAt(source, source.position + 1);
    if (last < 0xFF) {
      code.c |= uint64_t{0xFF - next} << (kActiveShift - 8 - code.bits);
      code.bits += 8;
    } else if (next > 0x8F) {
      source.atMarker = true;
      continue;
    } else if (next < 0x80) {
      code.c |= uint64_t{0x7F - next} << (kActiveShift - 7 - code.bits);
      code.bits += 7;
    } else if (code.bits == 0) {
      code.c -= uint64_t{next - 0x7F} << (kActiveShift - 7);
      code.bits = 7;
    } else {
      break;
    }
    ++source.position;
  }
  return code;
}

// Where T.800's decoder would stand, which takes a byte in when it needs it: gives back what was taken early. C keeps
// its bits, as only the active ones are looked at from here on.
struct QlmMqPlace {
  int64_t position;
  bool atMarker;
  int64_t ct;
};
QlmMqPlace placeOf(const QlmMqSource& source, int64_t bits) {
  if (source.startedAtMarker || bits < source.zerosAppended) return {source.position, true, bits & 7};
  QlmMqPlace place{source.position, false, bits - source.zerosAppended};
  for (;; --place.position) {
    const int64_t bitsOfByte = byteAt(source, place.position - 1) == 0xFF ? 7 : 8;
    if (place.ct < bitsOfByte) return place;
    place.ct -= bitsOfByte;
  }
}

}  // namespace

void ownMqInitDecoder(QlmMqDecoder& decoder, const uint8_t* bytes, int32_t length) {
  QlmMqSource& source = decoder.source;
  source = {bytes, length, 0, false, false, 0};
  const uint32_t first = byteAt(source, 0), second = byteAt(source, 1);
  uint32_t c = (0xFF - first) << 16;
  int64_t bits = 1;
  if (first < 0xFF) {
    source.position = 1;
    c += 0xFF00 - (second << 8);
  } else if (second < 0x90) {
    source.position = 1;
    c += 0xFE00 - (second << 9);
    bits = 0;
  } else {
    source.atMarker = source.startedAtMarker = true;
  }
  decoder.a = uint64_t{0x8000} << kActiveShift;
  decoder.c = withMark({uint64_t{c << 7} << 32, bits});
}

uint64_t ownMqShiftPastBits(QlmMqSource& source, uint64_t c, int64_t shift) {
  Code code = withoutMark(c);
  while (shift > code.bits) {
    code.c <<= code.bits;
    shift -= code.bits;
    code.bits = 0;
    code = refill(source, code);
  }
  return withMark({code.c << shift, code.bits - shift});
}

bool ownMqEndsProperly(QlmMqDecoder& decoder) {
  const QlmMqSource& source = decoder.source;
  QlmMqPlace place = placeOf(source, withoutMark(decoder.c).bits);
  if (!place.atMarker) {
    // The segment's last byte has not been reached, unless it is the 0xFF in front of a marker that no one has asked
    // for yet.
    if (byteAt(source, place.position) < 0xFF || place.ct != 0) return false;
    if (byteAt(source, place.position + 1) < 0x90) return false;
  }
  if (place.ct == 1) return true;
  if (place.ct == 0) place.ct = 8;
  // The spacer that fills the last byte decodes like an LPS of just this probability.
  const uint64_t qe = uint64_t{0x8000} >> (place.ct - 1) << kActiveShift;
  return decoder.c >= decoder.a - qe;
}
