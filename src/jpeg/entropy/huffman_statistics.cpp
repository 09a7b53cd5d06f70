// First pass of optimal Huffman coding (T.81 K.2): the symbols that the coders of one value, of a sequential block and
// of the blocks of progressive scans would write, counted instead of coded. Decisions are those of the coders; where a
// limit differs from theirs, the comment at it says so.
#include "frame/wrap.h"
#include "jpeg/entropy/progressive_band.h"

namespace {

inline void count(int32_t* statistics, uint32_t symbol, int32_t times = 1) {
  statistics[symbol] = wrapAdd32(statistics[symbol], times);
}
// The ZRLs of a run of zeroes, each for 16 of them. Returns the rest, 0 to 15.
inline uint32_t countZeroRuns(int32_t* acStatistics, uint32_t run) {
  if (run > 15) [[unlikely]] {
    count(acStatistics, 0xF0, static_cast<int32_t>(run / 16));
  }
  return run % 16;
}

// The AC symbols of a sequential block. The largest category that is counted is 14, although the coders code any.
inline QlmStatus countSequential(const int16_t* block, int32_t* acStatistics) {
  alignas(32) uint8_t categories[64];
  __m256i magnitudes[4];
  for (int i = 0; i < 4; ++i) magnitudes[i] = _mm256_abs_epi16(load32(block + 16 * i));
  uint64_t nonzero = ownCategoriesByScan(magnitudes, categories) & ~uint64_t{1};
  uint32_t next = 1;
  for (; nonzero != 0; nonzero &= nonzero - 1) {
    const uint32_t scan = static_cast<uint32_t>(_tzcnt_u64(nonzero));
    const uint32_t run = countZeroRuns(acStatistics, scan - next);
    if (categories[scan] > 14) return qlmErrDctRange;
    count(acStatistics, run << 4 | categories[scan]);
    next = scan + 1;
  }
  if (next < 64) count(acStatistics, 0x00);
  return qlmOk;
}

// The symbols of the pending run of blocks, which is then over. The block functions end it at kMaxEobRun; a state from
// elsewhere can hold a longer one, which counts as two symbols where that is enough.
inline QlmStatus countEobRun(int32_t* acStatistics, QlmEncodeHuffmanState* state) {
  int32_t run = state->eobRun;
  if (run == 0) return qlmOk;
  if (run > kMaxEobRun) [[unlikely]] {
    count(acStatistics, 0xE0);
    run -= kMaxEobRun;
  }
  if (run > 0) {
    const uint32_t log2 = static_cast<uint32_t>(ownMagnitudeCategory(static_cast<uint32_t>(run))) - 1;
    if (log2 > 14) return qlmErrDctRange;
    count(acStatistics, log2 << 4);
  }
  state->eobRun = 0;
  return qlmOk;
}

// The largest category of a shifted coefficient. One less than the encoder's, and kept so: a coefficient of 11 bits can
// be coded, but not counted.
constexpr uint32_t kMaxCategory = 10;

inline QlmStatus countFirst(const int16_t* block, int32_t ss, int32_t se, int32_t al, int32_t* acStatistics,
                            QlmEncodeHuffmanState* state) {
  alignas(32) uint16_t magnitudes[64];
  uint64_t nonzero = ownMagnitudes(block, al, magnitudes) & ownBandMask(ss, se);
  uint32_t next = static_cast<uint32_t>(ss);
  if (nonzero != 0) {
    if (const QlmStatus status = countEobRun(acStatistics, state)) return status;
  }
  while (nonzero != 0) {
    const uint32_t scan = ownFirstOf(nonzero);
    nonzero ^= kScanBegin >> scan;
    const uint32_t run = countZeroRuns(acStatistics, scan - next);
    const uint32_t category = static_cast<uint32_t>(ownMagnitudeCategory(magnitudes[kHuffmanTables.natural[scan]]));
    if (category > kMaxCategory) return qlmErrDctRange;
    count(acStatistics, run << 4 | category);
    next = scan + 1;
  }
  if (next <= static_cast<uint32_t>(se)) {
    state->eobRun = wrapAdd32(state->eobRun, 1);
    if (state->eobRun >= kMaxEobRun) [[unlikely]] {
      count(acStatistics, 0xE0);
      state->eobRun = 0;
    }
  }
  return qlmOk;
}

// Counts what a refinement decides. Of correction bits only the number matters.
struct QlmRefinementCounter {
  int32_t* acStatistics;
  QlmEncodeHuffmanState* state;

  // Without a run of blocks the number of its correction bits, which only a state from elsewhere can then hold, is
  // left.
  QlmStatus beginSymbols() const {
    if (state->eobRun == 0) return qlmOk;
    if (const QlmStatus status = countEobRun(acStatistics, state)) return status;
    state->correctionCount = 0;
    return qlmOk;
  }
  QlmStatus zeroRun(uint64_t) const {
    count(acStatistics, 0xF0);
    state->correctionCount = 0;
    return qlmOk;
  }
  QlmStatus coefficient(uint32_t run, uint32_t, uint64_t) const {
    count(acStatistics, run << 4 | 1);
    return qlmOk;
  }
};

inline QlmStatus countRefinement(const int16_t* block, int32_t ss, int32_t se, int32_t al, int32_t* acStatistics,
                                 QlmEncodeHuffmanState* state) {
  const QlmRefinementCounter visitor{acStatistics, state};
  uint64_t rest = 0;
  bool intoRun = false;
  if (const QlmStatus status = ownWalkRefinement(ownRefinement(block, al), ss, se, visitor, rest, intoRun)) {
    return status;
  }
  if (!intoRun) return qlmOk;
  state->eobRun = wrapAdd32(state->eobRun, 1);
  state->correctionCount = wrapAdd32(state->correctionCount, ownCountOf(rest));
  if (state->correctionCount > kMaxCorrections || state->eobRun == kMaxEobRun) [[unlikely]] {
    if (const QlmStatus status = countEobRun(acStatistics, state)) return status;
    state->correctionCount = 0;
  }
  return qlmOk;
}

using CountBand = QlmStatus(const int16_t*, int32_t, int32_t, int32_t, int32_t*, QlmEncodeHuffmanState*);

template <CountBand kCount>
inline QlmStatus countBand(const int16_t* src, int32_t* acStatistics, int32_t ss, int32_t se, int32_t al,
                           QlmEncodeHuffmanState* state, int32_t flush) {
  if (!acStatistics || !state) return qlmErrNullPointer;
  if (flush != 0) {
    const QlmStatus status = countEobRun(acStatistics, state);
    *state = {};
    return status;
  }
  if (!src) return qlmErrNullPointer;
  if (!ownIsBand(ss, se) || !ownIsPointTransform(al)) return qlmErrBadArgument;

  return kCount(src, ss, se, al, acStatistics, state);
}

}  // namespace

QLM_EXPORT(qlmiGetHuffmanStatisticsOne_JPEG_16s_C1)
(const int16_t* src, int32_t* dcStatistics) {
  if (!src || !dcStatistics) return qlmErrNullPointer;

  count(dcStatistics, static_cast<uint32_t>(ownCategorise(*src).category));
  return qlmOk;
}

QLM_EXPORT(qlmiGetHuffmanStatistics8x8_JPEG_16s_C1)
(const int16_t* src, int32_t* dcStatistics, int32_t* acStatistics, int16_t* lastDC) {
  if (!src || !dcStatistics || !acStatistics || !lastDC) return qlmErrNullPointer;

  const int32_t dcCategory = ownCategorise(src[0] - *lastDC).category;
  *lastDC = src[0];
  if (dcCategory > 15) return qlmErrDctRange;
  count(dcStatistics, static_cast<uint32_t>(dcCategory));

  return countSequential(src, acStatistics);
}

QLM_EXPORT(qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1)
(const int16_t* src, int32_t* dcStatistics, int16_t* lastDC, int32_t al) {
  if (!src || !dcStatistics || !lastDC) return qlmErrNullPointer;
  if (!ownIsPointTransform(al)) return qlmErrBadArgument;

  const int16_t dc = static_cast<int16_t>(src[0] >> al);
  const int32_t category = ownCategorise(dc - *lastDC).category;
  *lastDC = dc;
  // Sequential statistics count up to category 15.
  if (category > 11) return qlmErrDctRange;
  count(dcStatistics, static_cast<uint32_t>(category));
  return qlmOk;
}

QLM_EXPORT(qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1)
(const int16_t* src, int32_t* acStatistics, int32_t ss, int32_t se, int32_t al, QlmEncodeHuffmanState* state,
 int32_t flush) {
  return countBand<countFirst>(src, acStatistics, ss, se, al, state, flush);
}
QLM_EXPORT(qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1)
(const int16_t* src, int32_t* acStatistics, int32_t ss, int32_t se, int32_t al, QlmEncodeHuffmanState* state,
 int32_t flush) {
  return countBand<countRefinement>(src, acStatistics, ss, se, al, state, flush);
}
