// The state of a code-block decoder between two steps. Only what outlives a step is here: the registers of the
// arithmetic and of the raw decoder start anew with every segment, and the values of a pass live on its stack.
#pragma once

#include "frame/frame.h"
#include "jpeg2000/block/contexts.h"

// Which pass comes next.
enum class QlmPassKind : int32_t {
  kFirstCleanup,
  kRefinement,
  kSignificance,
  kBypassCleanup,  // inside the range of planes whose other passes are raw
  kRawRefinement,
  kRawSignificance,
};

struct QlmDecodeState_JPEG2K {
  uint8_t tag[4];  // kDecodeStateTag
  int32_t* samples;
  int32_t width, height;
  int32_t step;                                         // bytes between rows of samples
  int32_t plane;                                        // the present bit-plane, -1 when all are done
  const QlmSignificanceContexts* significanceContexts;  // of the subband
  uint32_t* flags;                                      // stripe_flags.h, behind the fixed part
  uint8_t contexts[kContextCount];                      // merged states, probability_states.h
  QlmPassKind passKind;
  int32_t passesLeft;
  int32_t bypassPlane;  // the last plane whose passes are all arithmetic
  int32_t styleFlags;
  int32_t errorSeen;  // set by the first step that fails
  int32_t attached;
};

inline constexpr uint8_t kDecodeStateTag[4] = {'P', 'A', 'M', 'C'};

// What a state takes in front of its flags, and the room in which the flags find their alignment. Both are part of the
// size that callers reserve.
inline constexpr int32_t kDecodeStateBytes = 440, kFlagAlignment = 32;
static_assert(sizeof(QlmDecodeState_JPEG2K) <= kDecodeStateBytes);

// Style flags of the standard (T.800 Table A.19), and those of this decoder.
inline constexpr int32_t kVerticallyCausal = 1, kBypass = 2, kTerminateEachPass = 4, kResetContexts = 8,
                         kSegmentationSymbols = 16;
inline constexpr int32_t kConceal = 0x10000, kKeepSamples = 0x20000, kKeepReconstruction = 0x40000,
                         kKeepFlags = 0x80000, kCheckTermination = 0x100000;

inline bool hasTag(const QlmDecodeState_JPEG2K* state) {
  return __builtin_memcmp(state->tag, kDecodeStateTag, sizeof kDecodeStateTag) == 0;
}
