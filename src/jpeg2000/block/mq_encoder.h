// The MQ encoder of ITU-T T.800 C.2, with the endings of a segment.
#pragma once

#include "jpeg2000/block/encode_state.h"
#include "jpeg2000/block/probability_states.h"

inline void ownMqInitContexts(QlmMqCoder& coder) {
  for (int i = 0; i < kContextCount; ++i) coder.contextState[i] = kInitialStates[i], coder.contextMps[i] = 0;
}

inline void ownMqInitEncoder(QlmMqCoder& coder) {
  coder.A = 0x8000;
  coder.C = 0;
  coder.CT = 12;
  coder.B = 0;
  coder.stagingWrite = coder.stagingRead = 0;
  coder.mqBytes = 0;
  coder.dropFirst = 1;
}

// The registers of the coder while it runs, so that a loop can hold them in the processor's.
struct QlmMqRegisters {
  uint32_t A, C;
  int32_t CT;
  uint32_t B;
  uint8_t* out;  // into the staging
};

inline QlmMqRegisters ownMqRegisters(QlmMqCoder& coder) {
  return {coder.A, coder.C, coder.CT, coder.B, coder.staging + coder.stagingWrite};
}
inline void ownMqKeep(QlmMqCoder& coder, const QlmMqRegisters& r) {
  const auto write = static_cast<int32_t>(r.out - coder.staging);
  coder.mqBytes += write - coder.stagingWrite;
  coder.stagingWrite = write;
  coder.A = r.A, coder.C = r.C, coder.CT = r.CT, coder.B = r.B;
}

inline void ownMqStage(QlmMqRegisters& r) { *r.out++ = static_cast<uint8_t>(r.B); }

inline void ownMqByteOut(QlmMqRegisters& r) {
  constexpr uint32_t kCarry = 0x8000000;
  if (r.B < 0xFF && r.C >= kCarry) {
    ++r.B;
    // Of a byte that the carry makes 0xFF the next one must not know.
    if (r.B == 0xFF) r.C &= kCarry - 1;
  }
  // Behind a byte of 0xFF come 7 bits and a place for the carry.
  const int32_t bits = r.B == 0xFF ? 7 : 8;
  ownMqStage(r);
  r.B = r.C >> (27 - bits) & 0xFF;
  r.C &= (1u << (27 - bits)) - 1;
  r.CT = bits;
}

// Shifts C by CT bits, which makes a byte.
inline void ownMqShiftOut(QlmMqRegisters& r) {
  r.C <<= r.CT;
  ownMqByteOut(r);
}

// C with a marker above it that reaches bit 48 when CT has come to 0: one shift and one test serve both. Shifts are 15
// bits at most.
inline constexpr int kMarkerOut = 48;
inline uint64_t ownMqMarked(const QlmMqRegisters& r) { return uint64_t{r.C} | uint64_t{1} << (kMarkerOut - r.CT); }
inline void ownMqUnmark(QlmMqRegisters& r, uint64_t code) {
  const int marker = 63 - __builtin_clzll(code);
  r.C = static_cast<uint32_t>(code);
  r.CT = kMarkerOut - marker;
}

// A shift that brings the marker out. Away from the loop, for the sake of its registers.
[[gnu::noinline]] inline uint64_t ownMqShiftMarked(QlmMqRegisters& r, uint64_t code, int32_t shift) {
  ownMqUnmark(r, code);
  do {
    shift -= r.CT;
    ownMqShiftOut(r);
  } while (shift >= r.CT);
  r.C <<= shift;
  r.CT -= shift;
  return ownMqMarked(r);
}

// A context as the coder's loop wants it: Qe in the upper 16 bits; below, the merged state and whether its more
// probable symbol is 1. An exclusive or with the decision then names the row of the table behind, in 2 * state + (less
// probable).
struct QlmMqTransitions {
  uint64_t after[2 * kMergedStateCount];
};
constexpr uint64_t ownMqPacked(uint32_t merged) {
  return uint64_t{kMergedStates[merged].qe} << 48 | 2 * merged | (merged & 1);
}
inline constexpr QlmMqTransitions kMqTransitions = [] {
  QlmMqTransitions t{};
  for (size_t i = 0; i < kMergedStateCount; ++i) {
    t.after[2 * i] = ownMqPacked(kMergedStates[i].afterMps);
    t.after[2 * i + 1] = ownMqPacked(kMergedStates[i].afterLps);
  }
  return t;
}();

// The staging takes symbols until so many bytes stand there: the last of them adds no more than three, as it shifts by
// 15 bits at most.
inline constexpr int32_t kStagingMark = 60;

// Codes symbols until all are coded or at least `enough` bytes (1 to kStagingMark) are staged, and returns how many.
//
// Nothing foretells a decision that is worth coding, so the loop has no branch on it: T.800 C.2.5 and C.2.6 are one
// path, in which the less probable symbol turns the test of the conditional exchange around, and renormalisation may
// be by no bit. Only bytes branch.
inline int32_t ownMqCode(QlmMqCoder& coder, const uint8_t* contexts, const uint8_t* decisions, int32_t count,
                         int32_t enough) {
  uint64_t states[kContextCount];
  for (int i = 0; i < kContextCount; ++i)
    states[i] = ownMqPacked(mergedState(coder.contextState[i], coder.contextMps[i]));

  QlmMqRegisters r = ownMqRegisters(coder);
  uint64_t interval = uint64_t{r.A} << 16;  // A, normalised to 32 bits
  uint64_t code = ownMqMarked(r);
  const uint8_t* const mark = coder.staging + enough;
  int32_t done = 0;
  while (done < count) {
    const size_t context = contexts[done];
    const uint64_t state = states[context];
    const uint32_t row = static_cast<uint32_t>(state) ^ decisions[done];
    ++done;
    const uint64_t next = kMqTransitions.after[row];  // loaded whether it is needed or not
    const uint64_t qe = state >> 32;
    const uint64_t lessProbable = -uint64_t{row & 1};  // a mask
    const uint64_t rest = interval - qe;
    // The more probable symbol gets Qe where the rest is smaller, the less probable one where it isn't.
    const auto test = static_cast<int64_t>((interval - 2 * qe) ^ lessProbable);
    const uint64_t part = __builtin_expect_with_probability(test < 0, 1, 0.5) ? qe : rest;
    code += qe >> 16 & ~static_cast<uint64_t>(test >> 63);
    const int32_t shift = __builtin_clz(static_cast<uint32_t>(part));
    interval = part << shift;
    states[context] = shift ? next : state;
    const uint64_t shifted = code << shift;
    if (shifted >> kMarkerOut == 0) {
      code = shifted;
      continue;
    }
    code = ownMqShiftMarked(r, code, shift);
    if (r.out >= mark) break;
  }
  ownMqUnmark(r, code);
  r.A = static_cast<uint32_t>(interval >> 16);
  ownMqKeep(coder, r);
  for (int i = 0; i < kContextCount; ++i) {
    coder.contextState[i] = static_cast<uint32_t>(states[i]) >> 2;
    coder.contextMps[i] = states[i] & 1;
  }
  return done;
}

// The default ending, the flush of T.800 C.2.9 with all undetermined bits 1.
inline void ownMqEndFilled(QlmMqRegisters& r) {
  uint32_t t = r.C | 0xFFFF;
  if (t >= r.A + r.C) t -= 0x8000;
  r.C = t;
  ownMqShiftOut(r);
  r.C |= 0x7FFF;
  ownMqShiftOut(r);
  r.C |= 0x7FFF;
  if (r.B < 0xFF) ownMqShiftOut(r);
}

// The shortest ending: as few bytes as name a place between the bounds of the interval, if all bits behind are 1. The
// bounds are followed byte by byte; `l` and `u` are what they have at the present byte, u with what it is ahead by.
// An ending may write nothing, not even the byte held back.
inline void ownMqEndShortest(QlmMqRegisters& r, bool holdsByte) {
  uint32_t low = r.C << r.CT, high = (r.A + r.C) << r.CT;
  bool anyOut = false, afterFF = r.B == 0xFF && low >> 27;
  const auto consume = [&](int bits) {
    low = low << bits & 0x7FFFFFF;
    high = high << bits & 0x7FFFFFF;
  };
  const auto out = [&](uint32_t byte) {
    if (anyOut) ownMqStage(r), holdsByte = true;
    r.B = byte & 0xFF;
    anyOut = true;
  };
  uint32_t l = r.B + (low >> 27), u = r.B + (high >> 27);
  if (afterFF) l = low >> 20, u = high >> 20;
  consume(afterFF ? 7 : 0);
  while (true) {
    if (afterFF) {
      if (l < 128 && u > 127) break;
      out(0xFF);
      afterFF = false;
    } else if (l < 256 && u > 255) {
      break;
    }
    afterFF = l >= 255;  // written where it turns out to be needed
    if (!afterFF) out(l);
    const int bits = afterFF ? 7 : 8;
    u = (u - l) << bits | high >> (27 - bits);
    l = low >> (27 - bits);
    consume(bits);
  }
  if (anyOut && holdsByte) {
    ownMqStage(r);
    r.B = 0xFF;
  }
}

// The easy ending, T.800 D.4.2, by which a decoder can tell that a segment is whole.
inline void ownMqEndEasy(QlmMqRegisters& r) {
  for (int32_t n = 12 - r.CT; n > 0; n -= r.CT) ownMqShiftOut(r);
  if (r.B < 0xFF) ownMqShiftOut(r);
}

// Ends a segment that has coded a symbol. Seven bytes at most.
inline void ownMqFlush(QlmMqCoder& coder) {
  if (!coder.mqStarted) return;
  coder.mqStarted = 0;
  QlmMqRegisters r = ownMqRegisters(coder);
  if (coder.terminationMode == 1) {
    ownMqEndShortest(r, coder.mqBytes >= 1);
  } else if (coder.terminationMode == 2) {
    ownMqEndEasy(r);
  } else {
    ownMqEndFilled(r);
  }
  ownMqKeep(coder, r);
}
