// Reads 4x4 blocks of coefficients (ITU-T T.832 8.7): the significant coefficients in the order of the current scan,
// each of which counts in its record and may move it up.
#include "jpegxr/vlc_scan.h"
#include "jpegxr/vlc_symbols.h"

template <typename T>
static QlmStatus decodeBlock(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, T scale, T* dst,
                             int32_t dstStep, int32_t tableClass, int32_t* count, QlmVLCState* state) {
  if (!state || !dst || !count || !stream || !*stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32) return qlmErrRange;

  for (int32_t y = 0; y < 4; ++y) {
    T* const row = wrapAddress(dst, ptrdiff_t{y} * dstStep);
    sizeof(T) == 2 ? store8(row, _mm_setzero_si128()) : store16(row, _mm_setzero_si128());
  }
  QlmVLCScanRecord* const scan = state->scanCurrent;
  const int32_t values[2] = {scale, wrapSub32(0, scale)};
  const auto place = [=](int32_t location, int32_t, uint32_t magnitude, uint32_t sign) {
    QlmVLCScanRecord& record = scan[location];
    const int32_t value = wrapMul32(values[sign], static_cast<int32_t>(magnitude));
    const ptrdiff_t offset = ptrdiff_t{record.row} * dstStep + ptrdiff_t{record.column} * ptrdiff_t{sizeof(T)};
    storeAny(wrapAddress(dst, offset), static_cast<T>(value));
    if (location == 0) {
      // Met in damaged streams alone.
      record.count = wrapAdd32(record.count, 1);
    } else {
      ownCountAndMoveUp<1>(scan, location);
    }
  };
  QlmBitReader in = ownStartReading(*stream, *bitBuffer, *bitCount);
  *count = ownReadCoefficients<true>(in, state, ownBlockGroup(tableClass), 1, place);
  ownFinishReading(in, stream, bitBuffer, bitCount);
  return qlmOk;
}

QLM_EXPORT(qlmiVLCDecode4x4_JPEGXR_1u16s_C1R)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int16_t scale, int16_t* dst, int32_t dstStep,
 int32_t tableClass, int32_t* count, QlmVLCState* state) {
  return decodeBlock(stream, bitBuffer, bitCount, scale, dst, dstStep, tableClass, count, state);
}
QLM_EXPORT(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t scale, int32_t* dst, int32_t dstStep,
 int32_t tableClass, int32_t* count, QlmVLCState* state) {
  return decodeBlock(stream, bitBuffer, bitCount, scale, dst, dstStep, tableClass, count, state);
}
