// DC values of the blocks of a macroblock (ITU-T T.832 8.7): the scan that turns them into a list of runs and levels,
// and the list in adaptive codes. Only in full resolution of chroma has the list a scan order; the shorter lists of
// subsampled chroma stand in the order of their values.
#include "jpegxr/vlc_scan.h"
#include "jpegxr/vlc_symbols.h"

static constexpr int32_t kMostPairs = 16;

struct QlmVLCPair {
  int32_t run, level;
};

// What differs between the lists: the first of their tables, the location of the first coefficient, and how many pairs
// may be written.
struct QlmVLCList {
  QlmVLCGroup group;
  int32_t firstLocation, mostPairs;
};
static constexpr QlmVLCList kList420 = {{8, 11}, 10, 6}, kList422 = {{8, 11}, 2, 14};
static constexpr QlmVLCList list444(int32_t tableClass) { return {{5 + 3 * tableClass, 11}, 1, kMostPairs}; }

static int32_t ownSigned(uint32_t magnitude, bool negative) {
  return static_cast<int32_t>(negative ? 0u - magnitude : magnitude);
}

QLM_EXPORT(qlmiVLCScan4x4DC_JPEGXR_32s)
(const int32_t* src, int32_t numBits, int32_t* residual, int32_t* runLevel, int32_t* count, QlmVLCState* state) {
  if (!src || !residual || !runLevel || !count || !state) return qlmErrNullPointer;
  if (!ownIsBitNumber(numBits)) return qlmErrRange;

  state->scanCurrent = state->scan2;
  const QlmVLCBlock block = {load32(src), load32(src + 8)};
  const QlmVLCSignificant found = ownFindSignificant<1>(block, state->scan2, numBits);
  if (numBits > 0) ownStoreResidual(block, numBits, 0, residual);
  int32_t last = 0;
  for (uint32_t rest = found.places; rest != 0; rest &= rest - 1, runLevel += 2) {
    const int32_t place = __builtin_ctz(rest);
    ownCountAndMoveUp<2>(state->scan2, place);
    runLevel[0] = place - last - 1;
    runLevel[1] = ownSigned(found.magnitude[found.number[place]], found.negative >> place & 1);
    last = place;
  }
  *count = __builtin_popcount(found.places);
  return qlmOk;
}

struct QlmVLCPairs {
  QlmVLCPair pair[kMostPairs];
  int32_t count;
};
static QlmVLCPairs readList(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, const QlmVLCList& list,
                            QlmVLCState* state) {
  QlmVLCPairs read;
  QlmVLCPair* pair = read.pair;
  QlmBitReader in = ownStartReading(*stream, *bitBuffer, *bitCount);
  read.count = ownReadCoefficients<false>(in, state, list.group, list.firstLocation,
                                          [&](int32_t, int32_t run, uint32_t magnitude, uint32_t sign) {
                                            *pair++ = {run, ownSigned(magnitude, sign)};
                                          });
  ownFinishReading(in, stream, bitBuffer, bitCount);
  return read;
}

// Lists in the order of the kPositions values. A run beyond the end leaves the count as it was.
template <int32_t kPositions>
static QlmStatus decodeInOrder(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* dst,
                               int32_t* count, const QlmVLCList& list, QlmVLCState* state) {
  if (!state || !dst || !count || !stream || !*stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32) return qlmErrRange;

  const QlmVLCPairs read = readList(stream, bitBuffer, bitCount, list, state);
  for (int32_t p = 0; p < kPositions; ++p) dst[p] = 0;
  int32_t p = 0;
  for (int32_t i = 0; i < read.count; ++i, ++p) {
    p += read.pair[i].run;
    if (p >= kPositions) return qlmOk;
    dst[p] = read.pair[i].level;
  }
  *count = read.count;
  return qlmOk;
}

QLM_EXPORT(qlmiVLCDecodeDC420_JPEGXR_1u32s)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* dst, int32_t* count, QlmVLCState* state) {
  return decodeInOrder<6>(stream, bitBuffer, bitCount, dst, count, kList420, state);
}
QLM_EXPORT(qlmiVLCDecodeDC422_JPEGXR_1u32s)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* dst, int32_t* count, QlmVLCState* state) {
  return decodeInOrder<14>(stream, bitBuffer, bitCount, dst, count, kList422, state);
}

QLM_EXPORT(qlmiVLCDecodeDC444_JPEGXR_1u32s)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* dst, int32_t tableClass, int32_t* count,
 QlmVLCState* state) {
  if (!state || !dst || !count || !stream || !*stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32) return qlmErrRange;

  const QlmVLCPairs read = readList(stream, bitBuffer, bitCount, list444(tableClass), state);
  // The end of the scan is not tested. A damaged list has its last run there and reaches place 20 at most, so that it
  // goes on in the records of the scan behind this one.
  auto* const scan = reinterpret_cast<QlmVLCScanRecord*>(reinterpret_cast<char*>(state) + offsetof(QlmVLCState, scan2));
  int32_t p = 1;
  for (int32_t i = 0; i < read.count; ++i, ++p) {
    p += read.pair[i].run;
    dst[scan[p].index] = read.pair[i].level;
    ownCountAndMoveUp<1>(scan, p);
  }
  *count = read.count;
  return qlmOk;
}

static QlmStatus encodeList(const int32_t* runLevel, int32_t count, const QlmVLCList& list, uint16_t** stream,
                            uint32_t* bitBuffer, uint32_t* bitCount, QlmVLCState* state) {
  if (!state || !runLevel || !stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32 || static_cast<uint32_t>(count) > static_cast<uint32_t>(list.mostPairs)) return qlmErrRange;

  QlmBitWriter out = ownStartWriting(*stream, *bitBuffer, *bitCount);
  const int32_t* pair = runLevel - 2;
  int32_t rest = count;
  const auto magnitude = [&] { return static_cast<uint32_t>(ownSigned(static_cast<uint32_t>(pair[1]), pair[1] < 0)); };
  const auto take = [&] {
    pair += 2;
    const uint32_t next = --rest == 0 ? kNone : pair[2] == 0 ? kAtOnce : kAfterRun;
    return QlmVLCCoefficient{pair[0], magnitude() < kEscapedLevel ? magnitude() : kEscapedLevel, pair[1] < 0, next};
  };
  // A count of 0 is none that can be coded; it gives the symbol of a first pair that another follows.
  ownWriteCoefficients(out, state, list.group, list.firstLocation, count, take, magnitude);
  ownFinishWriting(out, stream, bitBuffer, bitCount);
  return qlmOk;
}

QLM_EXPORT(qlmiVLCEncodeDC420_JPEGXR_32s1u)
(const int32_t* runLevel, int32_t count, uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
 QlmVLCState* state) {
  return encodeList(runLevel, count, kList420, stream, bitBuffer, bitCount, state);
}
QLM_EXPORT(qlmiVLCEncodeDC422_JPEGXR_32s1u)
(const int32_t* runLevel, int32_t count, uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
 QlmVLCState* state) {
  return encodeList(runLevel, count, kList422, stream, bitBuffer, bitCount, state);
}
QLM_EXPORT(qlmiVLCEncodeDC444_JPEGXR_32s1u)
(const int32_t* runLevel, int32_t count, int32_t tableClass, uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount,
 QlmVLCState* state) {
  return encodeList(runLevel, count, list444(tableClass), stream, bitBuffer, bitCount, state);
}
