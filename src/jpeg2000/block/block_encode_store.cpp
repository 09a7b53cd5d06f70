// The second phase of the code-block encoder: the decisions that load has left become bytes, by the MQ coder
// (ITU-T T.800 Annex C) or the raw coder (D.6), into buffers of any size.
#include "jpeg2000/block/mq_encoder.h"
#include "jpeg2000/block/raw_encoder.h"

namespace {

// The rest of the caller's room.
struct Room {
  uint8_t* next;
  uint8_t* end;

  int32_t left() const { return static_cast<int32_t>(end - next); }
};

void put(QlmMqCoder& coder, Room& room, uint32_t byte) {
  *room.next++ = static_cast<uint8_t>(byte);
  ++coder.passBytes;
}

// Staged bytes to the caller, as far as there is room. True if none is left.
bool drain(QlmMqCoder& coder, Room& room) {
  if (coder.dropFirst && coder.stagingRead < coder.stagingWrite) {
    ++coder.stagingRead;
    coder.dropFirst = 0;
  }
  while (coder.stagingRead < coder.stagingWrite && room.left() > 0)
    put(coder, room, coder.staging[coder.stagingRead++]);
  if (coder.stagingRead < coder.stagingWrite) return false;
  coder.stagingRead = coder.stagingWrite = 0;
  return true;
}

// Both return true if the pass is finished. The MQ coder stops behind the symbol that fills the room, and ends a
// segment whose last symbol does so.
bool storeMq(QlmMqCoder& coder, Room& room, bool ends) {
  if (!drain(coder, room)) return false;
  while (coder.symbolIndex < coder.segmentSymbols) {
    const int32_t left = room.left();
    if (left == 0) return false;
    const int32_t enough = (left < kStagingMark - 1 ? left : kStagingMark - 1) + coder.dropFirst;
    coder.symbolIndex +=
        ownMqCode(coder, coder.contextCursor + coder.symbolIndex, coder.decisionCursor + coder.symbolIndex,
                  coder.segmentSymbols - coder.symbolIndex, enough);
    coder.mqStarted = 1;
    if (!drain(coder, room)) return false;
  }
  if (!ends) return true;
  ownMqFlush(coder);
  if (!drain(coder, room)) return false;
  ownMqInitEncoder(coder);
  return true;
}

// A full room leaves the pass unfinished, also where nothing remains to be written.
bool storeRaw(QlmMqCoder& coder, Room& room, bool ends) {
  while (coder.symbolIndex < coder.segmentSymbols && room.left() > 0) {
    coder.rawByte |= coder.decisionCursor[coder.symbolIndex++] << coder.rawBit;
    if (--coder.rawBit < 0) {
      put(coder, room, static_cast<uint32_t>(coder.rawByte));
      ++coder.rawBytes;
      coder.rawAfterFF = coder.rawByte == 0xFF;
      coder.rawBit = coder.rawAfterFF ? 6 : 7;
      coder.rawByte = 0;
    }
  }
  if (ends && room.left() > 0) {
    if (ownRawPending(coder)) put(coder, room, static_cast<uint32_t>(coder.rawByte | 42 >> (6 - coder.rawBit)));
    ownRawInitEncoder(coder);
  }
  return room.left() > 0;
}

// Bytes that are still in the coder and that a cut behind the pass would need.
int32_t pendingBytes(const QlmMqCoder& coder) {
  if (coder.segmentIsRaw) return ownRawPending(coder);
  if (!coder.mqStarted) return 0;
  const bool many = 27 - coder.CT > 22 + (coder.B < 254);
  return 3 + many + (coder.mqBytes != 0);
}

void moveOn(QlmMqCoder& coder) {
  const int32_t pass = coder.storePass, pending = pendingBytes(coder);
  coder.totalBytes += coder.passBytes;
  coder.passRate[pass] = coder.totalBytes + pending;
  if (pending == 0) {
    // What is known now corrects what was estimated before.
    for (int32_t i = pass; i > 0 && coder.passRate[i] < coder.passRate[i - 1]; --i)
      coder.passRate[i - 1] = coder.passRate[i];
  }
  coder.passLength[pass] = coder.passBytes;
  coder.symbolCursor += coder.segmentSymbols;
  ++coder.storePass;
  ownTakeUpPass(coder);
  if (coder.resetContexts) ownMqInitContexts(coder);
}

// A cut must not leave a byte of 0xFF at the end. `before` is the length of what earlier calls have written.
void repairRates(QlmMqCoder& coder, const uint8_t* dst, int32_t before, int32_t written) {
  for (int32_t pass = 0; pass < coder.storePass; ++pass) {
    const int32_t end = coder.passRate[pass] - before;
    if (end > 0 && end <= written && dst[end - 1] == 0xFF) --coder.passRate[pass];
  }
}

}  // namespace

QLM_EXPORT(qlmiEncodeStoreBits_JPEG2K_1u)
(uint8_t* dst, int32_t* length, QlmEncodeState_JPEG2K* state, int32_t* notFinished) {
  if (!state) return qlmErrNullPointer;
  if (!hasEncodeTag(state)) return qlmErrContextMatch;
  if (!dst || !length || !notFinished) return qlmErrNullPointer;
  if (*length < 1) return qlmErrSize;

  QlmMqCoder& coder = *state->coder;
  const int32_t before = coder.totalBytes + coder.passBytes;
  Room room{dst, dst + *length};
  while (coder.storePass < coder.passCount && room.left() > 0) {
    const int32_t next = coder.storePass + 1;
    const bool ends =
        coder.terminateEach || next == coder.passCount || coder.passRaw[next] != coder.passRaw[coder.storePass];
    if (!(coder.segmentIsRaw ? storeRaw : storeMq)(coder, room, ends)) break;
    moveOn(coder);
  }

  const auto written = static_cast<int32_t>(room.next - dst);
  repairRates(coder, dst, before, written);
  *length = written;
  *notFinished = coder.storePass < coder.passCount;
  return qlmOk;
}
