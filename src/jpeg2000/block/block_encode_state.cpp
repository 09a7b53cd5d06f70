// The object of the code-block encoder, and what can be asked of it after a block is coded.
#include "frame/memory.h"
#include "jpeg2000/block/encode_state.h"
#include "jpeg2000/block/flag_words.h"

namespace {

// Symbols of one column of a stripe over all its passes, by far.
constexpr int64_t kColumnSymbols = 1090;

// Lengths that 32 bits do not hold are more than anybody has.
void* allocate(int64_t length) { return length > INT32_MAX ? nullptr : ownMalloc(static_cast<int32_t>(length)); }

void release(QlmEncodeState_JPEG2K* state) {
  if (QlmMqCoder* const coder = state->coder) {
    if (coder->contexts) ownFree(coder->contexts);
    if (coder->decisions) ownFree(coder->decisions);
    ownFree(coder);
  }
  if (state->flags) ownFree(state->flags);
  ownFree(state);
}

QlmEncodeState_JPEG2K* create(QlmSize size) {
  auto* const state = static_cast<QlmEncodeState_JPEG2K*>(ownMalloc(sizeof(QlmEncodeState_JPEG2K)));
  if (!state) return nullptr;
  *state = {};
  state->coder = static_cast<QlmMqCoder*>(ownMalloc(sizeof(QlmMqCoder)));
  if (state->coder) {
    QlmMqCoder& coder = *state->coder;
    coder = {};
    const int64_t symbols = int64_t{size.width} * kColumnSymbols;
    const int64_t stripes = (int64_t{size.height} + 3) / 4;
    // The product of three 32-bit numbers may leave 64 bits as well.
    const int64_t bytes = symbols > INT32_MAX / stripes ? INT64_MAX : symbols * stripes;
    coder.contexts = static_cast<uint8_t*>(allocate(bytes));
    coder.decisions = coder.contexts ? static_cast<uint8_t*>(allocate(bytes)) : nullptr;
    state->flags = coder.decisions ? static_cast<uint32_t*>(allocate(flagBytes(size.width, size.height))) : nullptr;
  }
  if (!state->flags) {
    release(state);
    return nullptr;
  }
  __builtin_memcpy(state->tag, kEncodeTag, sizeof kEncodeTag);
  return state;
}

QlmStatus checkQuery(const QlmEncodeState_JPEG2K* state, const void* result) {
  if (!state) return qlmErrNullPointer;
  if (!hasEncodeTag(state)) return qlmErrContextMatch;
  if (!result) return qlmErrNullPointer;
  return qlmOk;
}

bool outside(int32_t index, int32_t count) { return index < 0 || index >= count; }

double powerOfTwo(int32_t exponent) {
  const auto power = static_cast<double>(uint64_t{1} << (exponent < 0 ? -exponent : exponent));
  return exponent < 0 ? 1 / power : power;
}

}  // namespace

QLM_EXPORT(qlmiEncodeInitAlloc_JPEG2K)
(QlmEncodeState_JPEG2K** state, QlmSize maxSize) {
  if (!state) return qlmErrNullPointer;
  if (isEmpty(maxSize)) return qlmErrSize;
  *state = create(maxSize);
  return *state ? qlmOk : qlmErrMemAlloc;
}

QLM_EXPORT(qlmiEncodeFree_JPEG2K)
(QlmEncodeState_JPEG2K* state) {
  if (!state) return qlmErrNullPointer;
  release(state);
  return qlmOk;
}

QLM_EXPORT(qlmiEncodeGetDist_JPEG2K)
(QlmEncodeState_JPEG2K* state, int32_t pass, double* distortion) {
  if (const QlmStatus status = checkQuery(state, distortion); status != qlmOk) return status;
  if (outside(pass, state->coder->passCount)) return qlmErrPassIndex;
  // Exact: a scaled 32-bit number, and sums that stay far below 53 bits.
  double sum = 0;
  for (int32_t i = 0; i <= pass; ++i) sum += state->passDistortion[i] * powerOfTwo(state->passExponent[i]);
  *distortion = sum;
  return qlmOk;
}

QLM_EXPORT(qlmiEncodeGetRate_JPEG2K)
(QlmEncodeState_JPEG2K* state, int32_t pass, int32_t* rate) {
  if (const QlmStatus status = checkQuery(state, rate); status != qlmOk) return status;
  if (outside(pass, state->coder->passCount)) return qlmErrPassIndex;
  *rate = state->coder->passRate[pass];
  return qlmOk;
}

QLM_EXPORT(qlmiEncodeGetTermPassLen_JPEG2K)
(QlmEncodeState_JPEG2K* state, int32_t terminatedPass, int32_t* length) {
  if (const QlmStatus status = checkQuery(state, length); status != qlmOk) return status;
  const QlmMqCoder& coder = *state->coder;
  if (outside(terminatedPass, ownTerminatedPasses(coder))) return qlmErrPassIndex;
  if (coder.terminateEach) {
    *length = coder.passLength[terminatedPass];
    return qlmOk;
  }
  int32_t bytes = 0;
  for (int32_t pass = 0, segment = 0; pass < coder.passCount; ++pass) {
    if (pass > 0 && coder.passRaw[pass] != coder.passRaw[pass - 1]) ++segment;
    if (segment == terminatedPass) bytes += coder.passLength[pass];
  }
  *length = bytes;
  return qlmOk;
}
