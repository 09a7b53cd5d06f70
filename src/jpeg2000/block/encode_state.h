// The state of the code-block encoder: what the two phases, load and store, hand to each other. Its size and the order
// of its fields are fixed.
#pragma once

#include <cstddef>

#include "frame/frame.h"
#include "jpeg2000/block/contexts.h"

// Passes a block can have, and those that the arithmetic coder keeps account of.
inline constexpr int kMaxPasses = 109, kMaxCodedPasses = 110;

// The coders of T.800 Annex C and D.6, the symbols that load has found, and what store knows of each pass.
struct QlmMqCoder {
  uint8_t staging[64];  // coded bytes on their way to the caller
  int32_t stagingWrite, stagingRead;

  // MQ coder: the byte held back for a carry, whether the first staged byte is the one in front of the segment, the
  // registers of T.800 C.2, and the contexts.
  uint32_t B;
  int32_t dropFirst;
  uint32_t A, C;
  int32_t CT;
  uint32_t contextState[kContextCount], contextMps[kContextCount];
  int32_t mqBytes;  // staged in this segment, the dropped byte included

  // Raw coder: whether the last byte was 0xFF, the bits of the next one, where its next bit goes, bytes so far.
  int32_t rawAfterFF, rawByte, rawBit, rawBytes;

  uint8_t *decisionCursor, *contextCursor;  // the symbols of the present pass
  int32_t segmentSymbols, symbolIndex;      // symbols in the present pass, and symbols done
  int32_t passBytes;                        // bytes that the present pass has put out
  int32_t mqStarted;                        // the segment has coded a symbol
  int32_t terminationMode;                  // how a segment ends
  int32_t segmentIsRaw;                     // the present pass is raw

  uint8_t *contexts, *decisions;  // the symbols of the block

  int32_t passCount;
  int32_t passSymbols[kMaxCodedPasses];
  int32_t passLength[kMaxCodedPasses];  // bytes as written
  int32_t passRaw[kMaxCodedPasses];
  int32_t passRate[kMaxCodedPasses];  // bytes that a cut behind the pass needs, from the block's start
  int32_t totalBytes;                 // of all finished passes
  int32_t symbolTotal;
  int32_t symbolCursor;  // in store, where the present pass begins; in load, where the last one ended
  int32_t storePass;     // the present pass of store
  int32_t resetContexts, terminateEach;
};
static_assert(sizeof(QlmMqCoder) == 2112 && offsetof(QlmMqCoder, contexts) == 304 &&
              offsetof(QlmMqCoder, totalBytes) == 2084);

struct QlmEncodeState_JPEG2K {
  char tag[4];
  QlmMqCoder* coder;
  int32_t passDistortion[kMaxPasses], passExponent[kMaxPasses];  // distortion * 2 ^ exponent
  int32_t exponent;                                              // of the present bit-plane
  const int32_t* distortionTable;                                // of the present pass
  int32_t distortionMask;
  int32_t passIndex;
  int32_t losslessDistortion;
  int32_t shiftRight, shiftLeft;  // they bring the bits below the plane into the index of the table
  int32_t lowestPlane;
  uint32_t* flags;
};
static_assert(sizeof(QlmEncodeState_JPEG2K) == 936 && offsetof(QlmEncodeState_JPEG2K, flags) == 928);

inline constexpr char kEncodeTag[4] = {'D', 'S', 'M', 'L'};
inline bool hasEncodeTag(const QlmEncodeState_JPEG2K* state) {
  return __builtin_memcmp(state->tag, kEncodeTag, sizeof kEncodeTag) == 0;
}

// Codeword segments of the block: one a pass, or one a run of passes of the same coder.
inline int32_t ownTerminatedPasses(const QlmMqCoder& coder) {
  if (coder.terminateEach) return coder.passCount;
  int32_t segments = 1;
  for (int32_t pass = 1; pass < coder.passCount; ++pass) segments += coder.passRaw[pass] != coder.passRaw[pass - 1];
  return segments;
}

// Makes the pass that store has reached its present one.
inline void ownTakeUpPass(QlmMqCoder& coder) {
  coder.passBytes = coder.symbolIndex = 0;
  coder.decisionCursor = coder.decisions + coder.symbolCursor;
  coder.contextCursor = coder.contexts + coder.symbolCursor;
  coder.segmentSymbols = coder.storePass < coder.passCount ? coder.passSymbols[coder.storePass] : 0;
  coder.segmentIsRaw = coder.storePass < coder.passCount ? coder.passRaw[coder.storePass] : 0;
}

// Style flags of a code-block.
inline constexpr int32_t kStyleCausal = 1, kStyleBypass = 2, kStyleTerminateEach = 4, kStyleResetContexts = 8,
                         kStyleSegmentationSymbols = 16, kStyleLossless = 32;
