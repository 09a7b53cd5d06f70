// The first phase of the code-block encoder: the coding passes over the bit-planes (ITU-T T.800 Annex D) leave each
// decision and its context as a byte in two arrays, and sum up what every pass takes from the distortion. Nothing is
// coded yet.
#include "frame/memory.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg2000/block/block_encode_passes.h"
#include "jpeg2000/block/distortions.h"
#include "jpeg2000/block/encode_state.h"
#include "jpeg2000/block/flag_words.h"
#include "jpeg2000/block/mq_encoder.h"
#include "jpeg2000/block/raw_encoder.h"

namespace {

void beginPass(QlmEncodeState_JPEG2K& state, QlmEncodePass& pass, bool refines) {
  pass.exact = state.losslessDistortion && pass.plane == state.lowestPlane;
  state.distortionTable = refines ? pass.exact ? kLosslessRefinementDistortion.data() : kRefinementDistortion.data()
                          : pass.exact ? kLosslessSignificanceDistortion.data()
                                       : kSignificanceDistortion.data();
  state.distortionMask = refines ? 127 : 63;
  state.shiftRight = pass.plane > 6 ? pass.plane - 6 : 0;
  state.shiftLeft = pass.plane < 6 ? 6 - pass.plane : 0;
  pass.distortionTable = state.distortionTable;
  pass.distortionMask = state.distortionMask;
  pass.shiftRight = state.shiftRight;
  pass.shiftLeft = state.shiftLeft;
  pass.distortion = 0;
}

void endPass(QlmEncodeState_JPEG2K& state, const QlmEncodePass& pass, bool raw) {
  QlmMqCoder& coder = *state.coder;
  coder.symbolTotal = static_cast<int32_t>(pass.decisions - coder.decisions);
  coder.passSymbols[coder.passCount] = coder.symbolTotal - coder.symbolCursor;
  coder.passRaw[coder.passCount++] = raw;
  coder.symbolCursor = coder.symbolTotal;
  state.passDistortion[state.passIndex] = static_cast<int32_t>(pass.distortion);
  state.passExponent[state.passIndex++] = state.exponent;
  state.passDistortion[state.passIndex] = 0;
}

// The bits that any of the magnitudes has.
uint32_t magnitudeBitsOf(const int32_t* samples, int32_t step, QlmSize size) {
  __m256i all = _mm256_setzero_si256();
  uint32_t rest = 0;
  for (int32_t y = 0; y < size.height; ++y) {
    const int32_t* const row = wrapAddress(samples, ptrdiff_t{step} * y);
    int32_t x = 0;
    for (; x + 8 <= size.width; x += 8) all = _mm256_or_si256(all, load32(row + x));
    for (; x < size.width; ++x) rest |= static_cast<uint32_t>(loadAny(row + x));
  }
  alignas(32) uint32_t lanes[8];
  store32(lanes, all);
  for (const uint32_t lane : lanes) rest |= lane;
  return rest & 0x7FFFFFFF;
}

}  // namespace

QLM_EXPORT(qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R)
(const int32_t* src, int32_t srcStep, QlmSize size, QlmEncodeState_JPEG2K* state, int32_t subband,
 int32_t magnitudeBits, int32_t terminationMode, int32_t, int32_t styleFlags, int32_t* significantBits,
 int32_t* passCount, int32_t* terminatedPassCount) {
  if (!state) return qlmErrNullPointer;
  if (!hasEncodeTag(state)) return qlmErrContextMatch;
  if (!significantBits || !passCount || !terminatedPassCount) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;
  if (!src) return qlmErrNullPointer;
  if (srcStep < 1) return qlmErrStep;

  QlmMqCoder& coder = *state->coder;
  ownZeroSmall(state->flags, flagBytes(size.width, size.height));
  coder.passCount = coder.symbolTotal = coder.symbolCursor = coder.storePass = coder.totalBytes = 0;
  coder.resetContexts = (styleFlags & kStyleResetContexts) != 0;
  coder.terminateEach = (styleFlags & kStyleTerminateEach) != 0;
  coder.terminationMode = terminationMode;
  coder.mqStarted = 0;
  ownMqInitEncoder(coder);
  ownMqInitContexts(coder);
  ownRawInitEncoder(coder);
  for (int32_t i = 0; i < kMaxCodedPasses; ++i) coder.passLength[i] = coder.passRate[i] = 0;

  const uint32_t magnitudes = magnitudeBitsOf(src, srcStep, size);
  const int32_t significant = magnitudes == 0 ? 0 : 32 - __builtin_clz(magnitudes);
  *significantBits = significant;
  // No plane lies below bit 0.
  state->lowestPlane = magnitudeBits > 31 ? 0 : magnitudeBits < 0 ? 31 : 31 - magnitudeBits;
  state->losslessDistortion = (styleFlags & kStyleLossless) != 0;
  state->exponent = 2 * (significant - 1 - state->lowestPlane) - 13;
  state->passIndex = 0;
  state->passDistortion[0] = 0;

  const auto rowWords = static_cast<ptrdiff_t>(flagRowStep(size.width) / 4);
  QlmEncodePass pass{};
  pass.samples = src;
  pass.step = srcStep;
  pass.size = size;
  pass.words = firstFlagWord(state->flags, rowWords);
  pass.rowWords = rowWords;
  pass.band = bandClass(subband);
  pass.causal = styleFlags & kStyleCausal;
  pass.decisions = coder.decisions;
  pass.contexts = coder.contexts;
  const auto run = [&](void (*code)(QlmEncodePass&), bool refines, bool raw) {
    beginPass(*state, pass, refines);
    code(pass);
    endPass(*state, pass, raw);
  };
  const int32_t topPlane = significant - 1;
  for (pass.plane = topPlane; pass.plane >= state->lowestPlane; --pass.plane) {
    if (pass.plane < topPlane) {
      // The first four planes are never raw.
      const bool raw = styleFlags & kStyleBypass && pass.plane < significant - 4;
      run(raw ? ownRawSignificancePass : ownSignificancePass, false, raw);
      run(raw ? ownRawRefinementPass : ownRefinementPass, true, raw);
    }
    run(styleFlags & kStyleSegmentationSymbols ? ownMarkedCleanupPass : ownCleanupPass, false, false);
    state->exponent -= 2;
  }

  *passCount = coder.passCount;
  *terminatedPassCount = ownTerminatedPasses(coder);
  coder.symbolCursor = 0;
  ownTakeUpPass(coder);
  if (coder.resetContexts) ownMqInitContexts(coder);
  return qlmOk;
}
