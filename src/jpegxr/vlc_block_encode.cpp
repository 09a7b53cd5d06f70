// Writes 4x4 blocks of coefficients (ITU-T T.832 8.7): the significant coefficients in the order of the current scan,
// each of which counts in its record and may move it up. The flexible forms also store the low bits, which the
// fixed-length coder sends.
//
// A block without low bits could let its records move after all of them are counted: the outcome is the same, since a
// record that moves only meets records that have had their turn.
#include "jpegxr/vlc_scan.h"
#include "jpegxr/vlc_symbols.h"

struct QlmVLCOutput {
  uint16_t** stream;
  uint32_t *bitBuffer, *bitCount;
};

static bool anyNull(const QlmVLCOutput& out) { return !out.stream || !*out.stream || !out.bitBuffer || !out.bitCount; }

[[gnu::always_inline]] static inline void encodeBlock(QlmVLCBlock block, int32_t tableClass, int32_t numBits,
                                                      const QlmVLCOutput& dst, int32_t* count, QlmVLCState* state) {
  QlmVLCScanRecord* const scan = state->scanCurrent;
  const QlmVLCSignificant found = ownFindSignificant<kEscapedLevel>(block, scan, numBits);
  QlmBitWriter out = ownStartWriting(*dst.stream, *dst.bitBuffer, *dst.bitCount);
  *count = __builtin_popcount(found.places);
  if (found.places != 0) {
    uint32_t rest = found.places;
    int32_t place = 0;
    const auto take = [&] {
      const int32_t last = place;
      place = __builtin_ctz(rest);
      rest &= rest - 1;
      ownCountAndMoveUp<2>(scan, place);
      const uint32_t next = rest == 0 ? kNone : kAfterRun - (found.places >> (place + 1) & 1);
      return QlmVLCCoefficient{place - last - 1, found.level[place], found.negative >> place & 1, next};
    };
    ownWriteCoefficients(out, state, ownBlockGroup(tableClass), 1, *count, take,
                         [&] { return found.magnitude[found.number[place]]; });
  }
  ownFinishWriting(out, dst.stream, dst.bitBuffer, dst.bitCount);
}

template <typename T>
static QlmStatus encode(const T* src, int32_t srcStep, int32_t tableClass, int32_t numBits, QlmVLCOutput dst,
                        int32_t* count, QlmVLCState* state) {
  if (!state || !src || !count || anyNull(dst)) return qlmErrNullPointer;
  if (*dst.bitCount > 32 || !ownIsBitNumber(numBits)) return qlmErrRange;

  encodeBlock(ownLoadBlock(src, srcStep), tableClass, numBits, dst, count, state);
  return qlmOk;
}

template <typename T>
static QlmStatus encodeFlex(const T* src, int32_t srcStep, int32_t tableClass, int32_t numBits, int32_t trimBits,
                            int32_t* residual, QlmVLCOutput dst, int32_t* count, QlmVLCState* state) {
  if (!state || !src || !count || !residual || anyNull(dst)) return qlmErrNullPointer;
  if (*dst.bitCount > 32 || !ownIsBitNumber(numBits) || !ownIsBitNumber(trimBits)) return qlmErrRange;

  const QlmVLCBlock block = ownLoadBlock(src, srcStep);
  ownStoreResidual(block, numBits, trimBits, residual);
  encodeBlock(block, tableClass, numBits, dst, count, state);
  return qlmOk;
}

QLM_EXPORT(qlmiVLCEncode4x4_JPEGXR_16s1u_C1R)
(const int16_t* src, int32_t srcStep, int32_t tableClass, int32_t numBits, uint16_t** stream, uint32_t* bitBuffer,
 uint32_t* bitCount, int32_t* count, QlmVLCState* state) {
  return encode(src, srcStep, tableClass, numBits, {stream, bitBuffer, bitCount}, count, state);
}
QLM_EXPORT(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R)
(const int32_t* src, int32_t srcStep, int32_t tableClass, int32_t numBits, uint16_t** stream, uint32_t* bitBuffer,
 uint32_t* bitCount, int32_t* count, QlmVLCState* state) {
  return encode(src, srcStep, tableClass, numBits, {stream, bitBuffer, bitCount}, count, state);
}
QLM_EXPORT(qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R)
(const int16_t* src, int32_t srcStep, int32_t tableClass, int32_t numBits, int32_t trimBits, int32_t* residual,
 uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* count, QlmVLCState* state) {
  return encodeFlex(src, srcStep, tableClass, numBits, trimBits, residual, {stream, bitBuffer, bitCount}, count, state);
}
QLM_EXPORT(qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R)
(const int32_t* src, int32_t srcStep, int32_t tableClass, int32_t numBits, int32_t trimBits, int32_t* residual,
 uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* count, QlmVLCState* state) {
  return encodeFlex(src, srcStep, tableClass, numBits, trimBits, residual, {stream, bitBuffer, bitCount}, count, state);
}
