// The MQ decoder (ITU-T T.800 Annex C.3, in the software conventions of Annex J.1: the code register holds the
// complement of the code string, so that what lies behind the end of the data is zeros).
//
// The interval A and the code register C stand in the upper 16 bits of 64-bit words. Below its 16 active bits C holds
// up to 47 bits of the code string that are still to come, and behind them a 1 that marks their end: when it has left
// the lower 48 bits, more bits are wanted than there are. They are filled up many at a time. Early bits change no
// decision, since only the active bits are compared. The one exception is a byte above 0x7F behind a 0xFF, which no
// encoder writes: its top bit borrows from the active bits. It is added when all bits before it are used up, as T.800
// would do it, and no earlier.
#pragma once

#include <immintrin.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "frame/wrap.h"
#include "jpeg2000/block/contexts.h"
#include "jpeg2000/block/probability_states.h"

inline constexpr int kActiveShift = 48;
inline constexpr uint64_t kActive = ~uint64_t{0} << kActiveShift;

// A merged state as the decoder wants it, in one word: Qe at its top, in place for a subtraction from A, and in the
// lower bytes the numbers of this state itself, of the one behind a renormalising MPS, and of the one behind an LPS.
using QlmMqState = uint64_t;
inline constexpr std::array<QlmMqState, kMergedStateCount> kMqStates = [] {
  std::array<QlmMqState, kMergedStateCount> states{};
  for (uint64_t i = 0; i < kMergedStateCount; ++i) {
    const QlmMergedState& s = kMergedStates[i];
    states[i] = uint64_t{s.qe} << kActiveShift | i << 16 | uint64_t{s.afterLps} << 8 | s.afterMps;
  }
  return states;
}();
constexpr uint8_t mergedStateOf(QlmMqState state) { return static_cast<uint8_t>(state >> 16); }
constexpr QlmMqState afterMps(QlmMqState state) { return kMqStates[state & 0xFF]; }
constexpr QlmMqState afterLps(QlmMqState state) { return kMqStates[state >> 8 & 0xFF]; }
constexpr uint32_t mpsOf(QlmMqState state) { return state & 1; }

// The bytes of one segment. Behind its end stand bytes of 0xFF.
struct QlmMqSource {
  const uint8_t* bytes;
  int64_t length;
  int64_t position;       // of the last byte taken into C
  bool atMarker;          // nothing but zero bits goes into C from here on
  bool startedAtMarker;   // and it was so from the first byte
  int64_t zerosAppended;  // since then
};
inline uint32_t byteAt(const QlmMqSource& source, int64_t position) {
  return position < source.length ? source.bytes[position] : 0xFF;
}

struct QlmMqDecoder {
  uint64_t a, c;
  QlmMqSource source;
  QlmMqState contexts[kContextCount];
};

// Starts a segment; the contexts stay.
void ownMqInitDecoder(QlmMqDecoder& decoder, const uint8_t* bytes, int32_t length);

// Shifts the code register by more bits than it holds. Out of line: once in about 40 bits.
[[gnu::cold]] uint64_t ownMqShiftPastBits(QlmMqSource& source, uint64_t c, int64_t shift);

// Whether the segment was ended in the way that can be told from any other.
bool ownMqEndsProperly(QlmMqDecoder& decoder);

// The registers in the loop of a pass, in locals that nothing else can point to.
struct QlmMqRun {
  uint64_t a, c;
  QlmMqDecoder* decoder;
  QlmMqState* contexts;
};
inline QlmMqRun ownMqRun(QlmMqDecoder& decoder) { return {decoder.a, decoder.c, &decoder, decoder.contexts}; }
inline void ownMqKeep(QlmMqDecoder& decoder, const QlmMqRun& run) { decoder.a = run.a, decoder.c = run.c; }

// Where the data are random, a branch is mispredicted as often as not, and a compiler that is left alone makes branches
// of the choices below. So they are written as the conditional moves that they are to be.
[[gnu::always_inline]] inline uint64_t ifEqual(uint64_t a, uint64_t b, uint64_t yes, uint64_t no) {
  asm("cmp %[b], %[a]\n\t"
      "cmove %[yes], %[no]"
      : [no] "+r"(no)
      : [a] "r"(a), [b] "r"(b), [yes] "r"(yes)
      : "cc");
  return no;
}

// Decodes one decision. The state of its context comes in as it is, and is returned as it is afterwards.
struct QlmDecided {
  QlmMqState state;
  uint32_t decision;
};
[[gnu::always_inline]] inline QlmDecided ownMqDecodeState(QlmMqRun& run, QlmMqState state) {
  const uint64_t qe = state & kActive;
  const uint64_t rest = run.a - qe;
  // The states that follow either part of the interval. Where the rest is smaller than Qe, the parts exchange their
  // meaning; where it is still normalised, the state stays. All ones in `exchange` and in `isRest` stand for yes.
  const QlmMqState ifMps = afterMps(state), ifLps = afterLps(state);
  QlmMqState inRest = ifMps, next = ifLps;
  uint64_t exchange, isRest, interval = qe, code = run.c - rest;
  asm("cmp %[qe], %[rest]\n\t"
      "cmovb %[ifLps], %[inRest]\n\t"
      "cmovb %[ifMps], %[next]\n\t"
      "sbb %[exchange], %[exchange]\n\t"
      "test %[rest], %[rest]\n\t"
      "cmovs %[state], %[inRest]\n\t"
      : [inRest] "+&r"(inRest), [next] "+&r"(next), [exchange] "=&r"(exchange)
      : [qe] "r"(qe), [rest] "r"(rest), [ifLps] "r"(ifLps), [ifMps] "r"(ifMps), [state] "r"(state)
      : "cc");
  asm("cmp %[rest], %[c]\n\t"
      "cmovb %[inRest], %[next]\n\t"
      "cmovb %[rest], %[interval]\n\t"
      "cmovb %[c], %[code]\n\t"
      "sbb %[isRest], %[isRest]\n\t"
      : [next] "+&r"(next), [interval] "+&r"(interval), [code] "+&r"(code), [isRest] "=&r"(isRest)
      : [rest] "r"(rest), [c] "r"(run.c), [inRest] "r"(inRest)
      : "cc");
  const auto shift = static_cast<int64_t>(_lzcnt_u64(interval));
  run.a = interval << shift;
  run.c = code << shift;
  if (__builtin_expect_with_probability((run.c & ~kActive) == 0, 0, 0.999))
    run.c = ownMqShiftPastBits(run.decoder->source, code, shift);
  return {next, static_cast<uint32_t>(~(state ^ exchange ^ isRest)) & 1};
}
[[gnu::always_inline]] inline uint32_t ownMqDecode(QlmMqRun& run, QlmMqState& context) {
  const QlmDecided decided = ownMqDecodeState(run, context);
  context = decided.state;
  return decided.decision;
}

// Decodes as many decisions of one context as are 0 and leave its state alone, at most `count`, all at once: each takes
// Qe from the interval, which must stay above the code and normalised.
[[gnu::always_inline]] inline uint64_t ownMqTakePlainMps(QlmMqRun& run, QlmMqState state, uint64_t count) {
  const uint64_t a = run.a >> kActiveShift, least = std::max(uint64_t{0x8000}, (run.c >> kActiveShift) + 1);
  if (mpsOf(state) != 0 || a < least) return 0;
  const uint64_t taken =
      std::min(count, uint64_t{static_cast<uint32_t>(a - least) / static_cast<uint32_t>(state >> kActiveShift)});
  run.a -= taken * (state & kActive);
  return taken;
}
