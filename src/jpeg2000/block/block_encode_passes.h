// The coding passes of the code-block encoder (ITU-T T.800 D.3).
#pragma once

#include "frame/frame.h"
#include "jpeg2000/block/contexts.h"

// What a pass works on, and what it leaves. Only the symbols and the distortion change from call to call.
struct QlmEncodePass {
  const int32_t* samples;
  int32_t step;  // in bytes
  QlmSize size;
  uint32_t* words;     // of the first pair of samples
  ptrdiff_t rowWords;  // from a row of words to the next
  QlmBandClass band;
  bool causal;  // contexts are vertically causal

  int32_t plane;
  // The distortions of the pass, found by the sample shifted right, then left, and masked.
  const int32_t* distortionTable;
  int32_t distortionMask, shiftRight, shiftLeft;
  bool exact;  // the tables are those of the lossless plane

  // The next symbol's place in the two arrays, and the sum of the pass (modulo 2^32).
  uint8_t *decisions, *contexts;
  uint32_t distortion;
};

// Up to so many bytes behind the last symbol are written as well.
inline constexpr int32_t kSymbolSlack = 32;

void ownSignificancePass(QlmEncodePass& pass);
void ownRawSignificancePass(QlmEncodePass& pass);
void ownRefinementPass(QlmEncodePass& pass);
void ownRawRefinementPass(QlmEncodePass& pass);
void ownCleanupPass(QlmEncodePass& pass);
void ownMarkedCleanupPass(QlmEncodePass& pass);  // with segmentation symbols
