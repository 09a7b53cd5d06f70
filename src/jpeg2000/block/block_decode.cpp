// The code-block decoder (ITU-T T.800 Annexes C, D): the life of its state, which passes a codeword segment holds
// (Tables D.8, D.9), the steps from segment to segment, and a whole block in one call, with concealment of an error and
// removal of the reconstruction points.
#include "frame/memory.h"
#include "frame/rows.h"
#include "frame/wrap.h"
#include "jpeg2000/block/block_decode_passes.h"
#include "jpeg2000/block/decode_state.h"
#include "jpeg2000/block/stripe_flags.h"

namespace {

int32_t stateBytes(QlmSize maxSize) {
  return static_cast<int32_t>(flagBytes(maxSize.width, maxSize.height) + kDecodeStateBytes + kFlagAlignment);
}

// The merged states of the contexts at the start of a block.
void initContexts(uint8_t (&contexts)[kContextCount]) {
  for (size_t i = 0; i < kContextCount; ++i) contexts[i] = mergedState(kInitialStates[i], 0);
}

void takeContexts(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq) {
  for (size_t i = 0; i < kContextCount; ++i) mq.contexts[i] = kMqStates[state.contexts[i]];
}
void keepContexts(QlmDecodeState_JPEG2K& state, const QlmMqDecoder& mq) {
  for (size_t i = 0; i < kContextCount; ++i) state.contexts[i] = mergedStateOf(mq.contexts[i]);
}

// The arithmetic passes, and how each ends. True for an error.
bool endPass(QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq, bool checkTermination) {
  const bool failed = checkTermination && !ownMqEndsProperly(mq);
  if (state.styleFlags & kResetContexts) {
    initContexts(state.contexts);
    takeContexts(state, mq);
  }
  return failed;
}
bool decodeSignificance(QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq, bool checkTermination) {
  ownDecodeSignificancePass(state, mq);
  return endPass(state, mq, checkTermination);
}
bool decodeRefinement(QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq, bool checkTermination) {
  ownDecodeRefinementPass(state, mq);
  return endPass(state, mq, checkTermination);
}
bool decodeCleanup(QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq, bool checkTermination) {
  ownDecodeCleanupPass(state, mq);
  const bool wrongSymbol = (state.styleFlags & kSegmentationSymbols) && !ownDecodeSegmentationSymbol(mq);
  const bool wrongEnd = endPass(state, mq, checkTermination);
  // A proper end outweighs a wrong symbol.
  return checkTermination ? wrongEnd : wrongSymbol;
}

// One pass, which is all that a segment holds where each pass is terminated. True for an error.
bool decodeTerminatedPass(QlmDecodeState_JPEG2K& state, const uint8_t* segment, int32_t length) {
  const bool check = state.styleFlags & kCheckTermination;
  const QlmPassKind kind = state.passKind;
  bool failed = false;
  if (kind == QlmPassKind::kRawSignificance || kind == QlmPassKind::kRawRefinement) {
    QlmRawDecoder raw{segment, length};
    if (kind == QlmPassKind::kRawSignificance) {
      ownDecodeSignificancePass(state, raw);
      state.passKind = QlmPassKind::kRawRefinement;
    } else {
      ownDecodeRefinementPass(state, raw);
      state.passKind = QlmPassKind::kBypassCleanup;
    }
    failed = !ownRawEndsProperly(raw);
  } else {
    QlmMqDecoder mq;
    ownMqInitDecoder(mq, segment, length);
    takeContexts(state, mq);
    if (kind == QlmPassKind::kSignificance) {
      failed = decodeSignificance(state, mq, check);
      state.passKind = QlmPassKind::kRefinement;
    } else if (kind == QlmPassKind::kRefinement) {
      failed = decodeRefinement(state, mq, check);
      state.passKind = QlmPassKind::kFirstCleanup;
    } else {
      failed = decodeCleanup(state, mq, check);
      --state.plane;
      state.passKind = kind == QlmPassKind::kFirstCleanup && state.plane >= state.bypassPlane
                           ? QlmPassKind::kSignificance
                           : QlmPassKind::kRawSignificance;
    }
    keepContexts(state, mq);
  }
  --state.passesLeft;
  return failed;
}

// Where each pass is not terminated, a segment holds several. Counts one that is done, and tells whether another one is
// wanted.
bool countPass(QlmDecodeState_JPEG2K& state) { return --state.passesLeft > 0; }

// The two raw passes of a plane.
bool decodeRawSegment(QlmDecodeState_JPEG2K& state, const uint8_t* segment, int32_t length) {
  QlmRawDecoder raw{segment, length};
  ownDecodeSignificancePass(state, raw);
  if (!countPass(state)) return false;
  ownDecodeRefinementPass(state, raw);
  state.passKind = QlmPassKind::kBypassCleanup;
  countPass(state);
  return !ownRawEndsProperly(raw);
}

// The cleanup between raw segments.
bool decodeBypassCleanup(QlmDecodeState_JPEG2K& state, const uint8_t* segment, int32_t length) {
  QlmMqDecoder mq;
  ownMqInitDecoder(mq, segment, length);
  takeContexts(state, mq);
  const bool failed = decodeCleanup(state, mq, state.styleFlags & kCheckTermination);
  keepContexts(state, mq);
  if (countPass(state)) {
    --state.plane;
    state.passKind = QlmPassKind::kRawSignificance;
  }
  return failed;
}

// All planes above the raw ones, from the cleanup of the present plane on.
bool decodeArithmeticSegment(QlmDecodeState_JPEG2K& state, const uint8_t* segment, int32_t length) {
  QlmMqDecoder mq;
  ownMqInitDecoder(mq, segment, length);
  takeContexts(state, mq);
  bool failed = false;
  for (;;) {
    const bool isLast = state.plane == state.bypassPlane;
    failed |= decodeCleanup(state, mq, isLast && (state.styleFlags & kCheckTermination));
    if (!countPass(state)) break;
    if (state.plane-- <= state.bypassPlane) {
      state.passKind = QlmPassKind::kRawSignificance;
      break;
    }
    failed |= decodeSignificance(state, mq, false);
    if (!countPass(state)) break;
    failed |= decodeRefinement(state, mq, false);
    if (!countPass(state)) break;
  }
  keepContexts(state, mq);
  return failed;
}

// Each sample falls back to what is known above the plane whose data are damaged, plus the middle below it. A plane of
// -1 leaves nothing below.
void conceal(int32_t* samples, int32_t step, QlmSize size, int32_t plane) {
  const uint32_t bit = plane < 0 ? 0 : 1u << (plane & 31), keep = plane < 0 ? ~0u : ~0u << (plane & 31);
  for (int32_t y = 0; y < size.height; ++y) {
    int32_t* const row = ownRow(samples, step, y);
    for (int32_t x = 0; x < size.width; ++x) {
      const uint32_t known = static_cast<uint32_t>(loadAny(row + x)) & keep;
      storeAny(row + x, static_cast<int32_t>(known << 1 ? known | bit : 0));
    }
  }
}

void clearBelow(int32_t* samples, int32_t step, QlmSize size, int32_t plane) {
  const uint32_t keep = ~0u << (plane & 31);
  for (int32_t y = 0; y < size.height; ++y) {
    int32_t* const row = ownRow(samples, step, y);
    for (int32_t x = 0; x < size.width; ++x)
      storeAny(row + x, static_cast<int32_t>(static_cast<uint32_t>(loadAny(row + x)) & keep));
  }
}

}  // namespace

QLM_EXPORT(qlmiDecodeCBProgrGetStateSize_JPEG2K)
(QlmSize maxSize, int32_t* size) {
  if (isEmpty(maxSize)) return qlmErrSize;
  if (!size) return qlmErrNullPointer;

  *size = stateBytes(maxSize);
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrInit_JPEG2K)
(QlmDecodeState_JPEG2K* state) {
  if (!state) return qlmErrNullPointer;

  __builtin_memcpy(state->tag, kDecodeStateTag, sizeof kDecodeStateTag);
  state->attached = 0;
  const uintptr_t behind = reinterpret_cast<uintptr_t>(state) + kDecodeStateBytes;
  state->flags = reinterpret_cast<uint32_t*>((behind + kFlagAlignment - 1) & ~uintptr_t{kFlagAlignment - 1});
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrInitAlloc_JPEG2K)
(QlmDecodeState_JPEG2K** state, QlmSize maxSize) {
  if (!state) return qlmErrNullPointer;
  if (isEmpty(maxSize)) return qlmErrSize;

  *state = static_cast<QlmDecodeState_JPEG2K*>(ownMalloc(stateBytes(maxSize)));
  if (!*state) return qlmErrMemAlloc;
  return own_qlmiDecodeCBProgrInit_JPEG2K(*state);
}

QLM_EXPORT(qlmiDecodeCBProgrFree_JPEG2K)
(QlmDecodeState_JPEG2K* state) {
  if (!state) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;

  ownFree(state);
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R)
(int32_t* dst, int32_t dstStep, QlmSize size, QlmDecodeState_JPEG2K* state, int32_t subband, int32_t significantBits,
 int32_t styleFlags) {
  if (!state) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;
  if (!dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;

  state->samples = dst;
  state->step = dstStep;
  state->width = size.width;
  state->height = size.height;
  state->styleFlags = styleFlags;
  if (!(styleFlags & kKeepSamples)) {
    for (int32_t y = 0; y < size.height; ++y) ownZeroSmall(ownRow(dst, dstStep, y), int64_t{size.width} * 4);
  }
  if (!(styleFlags & kKeepFlags)) ownZeroSmall(state->flags, flagBytes(size.width, size.height));
  initContexts(state->contexts);
  state->significanceContexts = &significanceContexts(subband);
  state->bypassPlane = (styleFlags & kBypass) && significantBits > 4 ? significantBits - 4 : 0;
  state->plane = wrapSub32(significantBits, significantBits == INT32_MIN ? 0 : 1);
  state->passKind = QlmPassKind::kFirstCleanup;
  state->passesLeft = 0;
  state->errorSeen = 0;
  state->attached = 1;
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrSetPassCounter_JPEG2K)
(int32_t passCount, QlmDecodeState_JPEG2K* state) {
  if (!state) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;

  state->passesLeft = passCount;
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrGetPassCounter_JPEG2K)
(QlmDecodeState_JPEG2K* state, int32_t* passCount) {
  if (!state || !passCount) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;

  *passCount = state->passesLeft;
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K)
(QlmDecodeState_JPEG2K* state, int32_t* plane) {
  if (!state) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;
  if (!plane) return qlmErrNullPointer;

  *plane = state->plane;
  return qlmOk;
}

QLM_EXPORT(qlmiDecodeCBProgrStep_JPEG2K)
(const uint8_t* src, int32_t length, QlmDecodeState_JPEG2K* state) {
  if (!src || !state) return qlmErrNullPointer;
  if (!hasTag(state)) return qlmErrContextMatch;
  if (!state->attached) return qlmErrNoCodeBlock;
  if (state->passesLeft < 1 || state->plane < 0) return qlmOk;

  bool failed;
  if (state->styleFlags & kTerminateEachPass)
    failed = decodeTerminatedPass(*state, src, length);
  else if (state->passKind == QlmPassKind::kRawSignificance)
    failed = decodeRawSegment(*state, src, length);
  else if (state->passKind == QlmPassKind::kBypassCleanup)
    failed = decodeBypassCleanup(*state, src, length);
  else
    failed = decodeArithmeticSegment(*state, src, length);
  if (!failed) return qlmOk;
  state->errorSeen = 1;
  return qlmErrCodeBlockData;
}

QLM_EXPORT(qlmiDecodeGetBufSize_JPEG2K)
(QlmSize maxSize, int32_t* size) { return own_qlmiDecodeCBProgrGetStateSize_JPEG2K(maxSize, size); }

QLM_EXPORT(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R)
(const uint8_t* src, int32_t* dst, int32_t dstStep, QlmSize size, int32_t subband, int32_t significantBits,
 int32_t passCount, const int32_t* segmentLengths, int32_t segmentCount, int32_t styleFlags, int32_t* errorPlane,
 QlmDecodeState_JPEG2K* state) {
  if (!src || !state) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;
  if (!segmentLengths || !dst) return qlmErrNullPointer;
  if (dstStep < 1) return qlmErrStep;

  own_qlmiDecodeCBProgrInit_JPEG2K(state);
  own_qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(dst, dstStep, size, state, subband, significantBits, styleFlags);
  own_qlmiDecodeCBProgrSetPassCounter_JPEG2K(passCount, state);
  QlmStatus status = qlmOk;
  for (int32_t i = 0; i < segmentCount && status == qlmOk; ++i) {
    status = own_qlmiDecodeCBProgrStep_JPEG2K(src, segmentLengths[i], state);
    // A segment of negative length is an empty one.
    if (segmentLengths[i] > 0) src = wrapAddress(src, segmentLengths[i]);
  }

  if (status == qlmErrCodeBlockData) {
    if (errorPlane) *errorPlane = state->plane;
    if (styleFlags & kConceal) conceal(dst, dstStep, size, state->plane);
  }
  if (!(styleFlags & kKeepReconstruction) && state->plane > 0) clearBelow(dst, dstStep, size, state->plane);
  return status;
}
