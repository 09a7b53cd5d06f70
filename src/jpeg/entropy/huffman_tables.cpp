// Huffman tables and coder states: codes from the two lists of a DHT segment (T.81 Annex C), the encoder's table by
// symbol (C.3), the decoder's code limits by length (F.2.2.3) with a lookup by the first byte, and the life of the four
// objects.
#include "jpeg/entropy/huffman_tables.h"

#include "frame/frame.h"
#include "frame/memory.h"

static_assert(sizeof(QlmDecodeHuffmanSpec) == 1644);
static_assert(sizeof(QlmEncodeHuffmanSpec) == 1024);
static_assert(sizeof(QlmDecodeHuffmanState) == 24);
static_assert(sizeof(QlmEncodeHuffmanState) == 1048);

namespace {

constexpr int32_t kMaxCodes = 256;
constexpr int32_t kMaxLength = 16;

// False where the counts name more than 256 codes.
bool countsFit(const uint8_t* counts) {
  int32_t total = 0;
  for (int32_t i = 0; i < kMaxLength; ++i) total += counts[i];
  return total <= kMaxCodes;
}

QlmStatus build(const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec* spec) {
  *spec = {};
  if (!countsFit(counts)) return qlmErrHuffTable;

  uint32_t entries[kMaxCodes];
  int32_t total = 0;
  uint32_t code = 0;
  for (int32_t length = 1; length <= kMaxLength; ++length, code <<= 1) {
    for (int32_t i = 0; i < counts[length - 1]; ++i) {
      entries[total++] = static_cast<uint32_t>(length) << 16 | code++;
    }
    // The next code is one past the last, so this refuses oversubscription and the code of all ones alike. Only a
    // length that has codes is tested.
    if (counts[length - 1] != 0 && code >= 1u << length) return qlmErrHuffTable;
  }
  // Nothing refuses a value that stands twice: the later code holds.
  for (int32_t i = 0; i < total; ++i) spec->codes[values[i]] = entries[i];
  return qlmOk;
}

// More lenient than the encoder's builder: codes may outgrow their length, as long as no short code leaves `lookup`.
QlmStatus build(const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec* spec) {
  *spec = {};
  if (!countsFit(counts)) return qlmErrHuffTable;

  int32_t index = 0;
  uint32_t code = 0;
  for (int32_t length = 1; length <= kMaxLength; ++length, code <<= 1) {
    const int32_t count = counts[length - 1];
    spec->maxCode[length] = kNoCode;
    if (count == 0) continue;
    spec->firstIndex[length] = static_cast<uint16_t>(index);
    spec->minCode[length] = static_cast<uint16_t>(code);
    for (int32_t i = 0; i < count; ++i, ++index) spec->symbols[index] = values[index];
    code += static_cast<uint32_t>(count);
    spec->maxCode[length] = static_cast<uint16_t>(code - 1);
  }
  spec->maxCode[kMaxLength + 1] = kNoCode;

  index = 0;
  code = 0;
  for (uint32_t length = 1; length <= 8; ++length, code <<= 1) {
    for (int32_t i = 0; i < counts[length - 1]; ++i, ++index, ++code) {
      const uint32_t symbol = spec->symbols[index];
      const uint32_t first = code << (8 - length);
      for (uint32_t entry = first; entry < first + (1u << (8 - length)); ++entry) {
        if (entry > 256) return qlmErrHuffTable;
        if (entry < 256) {
          spec->lookup[entry] = length << 16 | symbol;
        } else {
          // The bound is 256 and not 255, and the entry behind `lookup` is the first 32 bits of `minCode`.
          spec->minCode[0] = static_cast<uint16_t>(symbol);
          spec->minCode[1] = static_cast<uint16_t>(length);
        }
      }
    }
  }
  return qlmOk;
}

template <typename Spec>
QlmStatus specInit(const uint8_t* counts, const uint8_t* values, Spec* spec) {
  if (!counts || !values || !spec) return qlmErrNullPointer;
  return build(counts, values, spec);
}

// The object is handed over before it is built: the caller releases it also after qlmErrHuffTable.
template <typename Spec>
QlmStatus specInitAlloc(const uint8_t* counts, const uint8_t* values, Spec** spec) {
  if (!counts || !values || !spec) return qlmErrNullPointer;
  void* const block = ownMalloc(sizeof(Spec));
  if (!block) return qlmErrNullPointer;
  *spec = static_cast<Spec*>(block);
  return build(counts, values, *spec);
}

template <typename State>
QlmStatus stateInit(State* state) {
  if (!state) return qlmErrNullPointer;
  *state = {};
  return qlmOk;
}

template <typename State>
QlmStatus stateInitAlloc(State** state) {
  if (!state) return qlmErrNullPointer;
  void* const block = ownMalloc(sizeof(State));
  if (!block) return qlmErrNullPointer;
  *state = static_cast<State*>(block);
  return stateInit(*state);
}

template <typename Object>
QlmStatus getBufSize(int32_t* size) {
  if (!size) return qlmErrNullPointer;
  *size = sizeof(Object);
  return qlmOk;
}

QlmStatus release(void* object) {
  if (!object) return qlmErrNullPointer;
  ownFree(object);
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u)
(int32_t* size) { return getBufSize<QlmDecodeHuffmanSpec>(size); }
QLM_EXPORT(qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u)
(int32_t* size) { return getBufSize<QlmEncodeHuffmanSpec>(size); }
QLM_EXPORT(qlmiDecodeHuffmanStateGetBufSize_JPEG_8u)
(int32_t* size) { return getBufSize<QlmDecodeHuffmanState>(size); }
QLM_EXPORT(qlmiEncodeHuffmanStateGetBufSize_JPEG_8u)
(int32_t* size) { return getBufSize<QlmEncodeHuffmanState>(size); }

QLM_EXPORT(qlmiDecodeHuffmanSpecInit_JPEG_8u)
(const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec* spec) { return specInit(counts, values, spec); }
QLM_EXPORT(qlmiEncodeHuffmanSpecInit_JPEG_8u)
(const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec* spec) { return specInit(counts, values, spec); }
QLM_EXPORT(qlmiDecodeHuffmanStateInit_JPEG_8u)
(QlmDecodeHuffmanState* state) { return stateInit(state); }
QLM_EXPORT(qlmiEncodeHuffmanStateInit_JPEG_8u)
(QlmEncodeHuffmanState* state) { return stateInit(state); }

QLM_EXPORT(qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u)
(const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec** spec) {
  return specInitAlloc(counts, values, spec);
}
QLM_EXPORT(qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u)
(const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec** spec) {
  return specInitAlloc(counts, values, spec);
}
QLM_EXPORT(qlmiDecodeHuffmanStateInitAlloc_JPEG_8u)
(QlmDecodeHuffmanState** state) { return stateInitAlloc(state); }
QLM_EXPORT(qlmiEncodeHuffmanStateInitAlloc_JPEG_8u)
(QlmEncodeHuffmanState** state) { return stateInitAlloc(state); }

QLM_EXPORT(qlmiDecodeHuffmanSpecFree_JPEG_8u)
(QlmDecodeHuffmanSpec* spec) { return release(spec); }
QLM_EXPORT(qlmiEncodeHuffmanSpecFree_JPEG_8u)
(QlmEncodeHuffmanSpec* spec) { return release(spec); }
QLM_EXPORT(qlmiDecodeHuffmanStateFree_JPEG_8u)
(QlmDecodeHuffmanState* state) { return release(state); }
QLM_EXPORT(qlmiEncodeHuffmanStateFree_JPEG_8u)
(QlmEncodeHuffmanState* state) { return release(state); }
