// The symbols of a list of coefficients (ITU-T T.832 8.7), which blocks and DC lists share: a first symbol, then for
// each coefficient its sign, its level if the magnitude is above 1, the run before it if there is one, and what comes
// next. Written and read by the same steps; both keep the discriminants of the tables in step.
#pragma once

#include "frame/frame.h"
#include "jpegxr/bit_io.h"
#include "jpegxr/vlc_tables.h"

// What a symbol tells of the coefficient behind it.
enum QlmVLCNext : uint32_t { kNone = 0, kAtOnce = 1, kAfterRun = 2 };

// Tables of one list: the first of the three tables of symbols, and the first of the two tables of levels.
struct QlmVLCGroup {
  int32_t first, level;
};
constexpr QlmVLCGroup ownBlockGroup(int32_t tableClass) { return {13 + 3 * tableClass, 19}; }
inline constexpr int32_t kRunTableIndex = 0;
inline constexpr int32_t kLastLocation = 15;

inline void ownStep(QlmVLCState* state, int32_t table, QlmVLCEntry entry) {
  state->discriminant0[table] = wrapAdd32(state->discriminant0[table], entry.delta0);
  state->discriminant1[table] = wrapAdd32(state->discriminant1[table], entry.delta1);
}

// Takes up to 8 bits, or refills the reader before and after it takes more.
inline uint32_t ownReadLevel(QlmBitReader& in, QlmVLCState* state, int32_t table) {
  const QlmVLCEntry entry = static_cast<const QlmVLCEntry*>(state->decodeTable0[table])[ownPeek<8>(in)];
  state->discriminant0[table] = wrapAdd32(state->discriminant0[table], entry.delta0);
  ownSkip(in, entry.length);
  if (entry.value != 0) [[likely]]
    return entry.value;
  ownRefill(in);
  uint32_t n = 4 + ownTake(in, 4);
  if (n == 19) n += ownTake(in, 2);
  if (n == 22) n += ownTake(in, 3);
  ownRefill(in);
  uint32_t low = 0;
  if (n > 16) {
    low = ownTake(in, 16) << (n - 16);
    ownRefill(in);
    low |= ownTake(in, n - 16);
  } else {
    low = ownTake(in, n);
  }
  ownRefill(in);
  return (1u << n) + low + 2;
}

// Takes up to 7 bits.
inline int32_t ownReadRun(QlmBitReader& in, const QlmVLCState* state, int32_t location) {
  const auto* runs = static_cast<const QlmVLCRunTable*>(state->decodeTable0[kRunTableIndex]);
  const QlmVLCRunEntry entry = runs->read[location][ownPeek<7>(in)];
  ownSkip(in, entry.length);
  return entry.value;
}

// Reads one list and gives the number of coefficients. `place(location, run, magnitude, sign)` gets each of them, with
// sign 1 for negative ones.
//
// kWraps is how a block treats locations: they are counted modulo 16, and a run beyond the last one ends the block with
// a number of 16. A DC list just goes on; its location grows with each coefficient, and there is no `next` from
// location 15 on, so that it ends, too.
//
// This and its converse below are always inlined: reader, writer and what the lambdas keep then live in registers.
template <bool kWraps, typename Place>
[[gnu::always_inline]] inline int32_t ownReadCoefficients(QlmBitReader& in, QlmVLCState* state, QlmVLCGroup group,
                                                          int32_t firstLocation, Place place) {
  // At most 9 bits for the first symbol and its sign, 8 for a level and 7 for a run.
  const QlmVLCEntry first = static_cast<const QlmVLCEntry*>(state->decodeTable0[group.first])[ownPeek<8>(in)];
  ownStep(state, group.first, first);
  uint32_t sign = static_cast<uint32_t>(in.bits >> (64 - first.length)) & 1;
  ownSkip(in, first.length);
  const bool noRun = (first.value & 1) != 0;
  uint32_t next = first.value >> 2, context = noRun && next == kAtOnce, magnitude = 1;
  if (first.value & 2) {
    ownRefill(in);
    magnitude = ownReadLevel(in, state, group.level + static_cast<int32_t>(context));
  }
  int32_t run = noRun ? 0 : ownReadRun(in, state, firstLocation);
  ownRefill(in);
  int32_t location = firstLocation + run, count = 1;
  place(location, run, magnitude, sign);

  // The table of the context is chosen from two addresses: its look-up waits for the choice.
  const auto readTable = [=](int32_t table) { return static_cast<const QlmVLCEntry*>(state->decodeTable0[table]); };
  const QlmVLCEntry *const context0 = readTable(group.first + 1), *const context1 = readTable(group.first + 2);
  while (next != kNone) {
    // At most 7 bits for a run, 6 for a symbol and its sign, 8 for a level.
    location = kWraps ? (location + 1) & 15 : location + 1;
    run = 0;
    if (next == kAfterRun) {
      // A damaged list may have left the last location behind it; runs then have the codes of that one.
      run = ownReadRun(in, state, kWraps || location < kLastLocation ? location : kLastLocation);
      location += run;
      if (kWraps && location > kLastLocation) {
        ownRefill(in);
        return 16;
      }
    }
    const int32_t table = group.first + 1 + static_cast<int32_t>(context);
    const QlmVLCEntry* entries = context ? context1 : context0;
    if (location >= kLastLocation - 1) [[unlikely]]
      entries = kLaterTablesAtEnd[location >= kLastLocation].read;
    const QlmVLCEntry later = entries[ownPeek<5>(in)];
    ownStep(state, table, later);
    sign = static_cast<uint32_t>(in.bits >> (64 - later.length)) & 1;
    ownSkip(in, later.length);
    ownRefill(in);
    next = later.value >> 1;
    context &= next;
    magnitude = 1;
    if (later.value & 1) {
      magnitude = ownReadLevel(in, state, group.level + static_cast<int32_t>(context));
      ownRefill(in);
    }
    place(location, run, magnitude, sign);
    ++count;
  }
  return count;
}

// What stands behind the symbol of the escape. Leaves at most 32 bits held.
[[gnu::noinline]] inline QlmBitWriter ownWriteEscaped(QlmBitWriter out, uint32_t magnitude) {
  ownDrain(out);
  // The position of the highest bit in up to three fields. The last of them has room for positions up to 29; what is
  // above is cut, so that magnitudes from 2^30 + 2 on come back as others.
  const uint32_t above = magnitude - 2, n = 31 - static_cast<uint32_t>(__builtin_clz(above));
  if (n < 19) {
    ownPut(out, n - 4, 4);
  } else if (n < 22) {
    ownPut(out, 15 << 2 | (n - 19), 6);
  } else {
    ownPut(out, 15 << 5 | 3 << 3 | ((n - 22) & 7), 9);
  }
  ownDrain(out);
  ownPut(out, above & ((1u << n) - 1), n);
  ownDrain(out);
  return out;
}

// A coefficient to be written, and what follows it.
struct QlmVLCCoefficient {
  int32_t run;
  uint32_t level;  // its magnitude, but kEscapedLevel for all from there on
  uint32_t sign;   // 1 for negative
  uint32_t next;
};

// Writes one list of `count` coefficients: `take()` gives them one by one, `magnitude()` the magnitude of the one taken
// last. Runs and levels are always put, with no bits where there are none, since branches could not be predicted.
template <typename Take, typename Magnitude>
[[gnu::always_inline]] inline void ownWriteCoefficients(QlmBitWriter& out, QlmVLCState* state, QlmVLCGroup group,
                                                        int32_t firstLocation, int32_t count, Take take,
                                                        Magnitude magnitude) {
  const auto& runs = *static_cast<const QlmVLCRunTable*>(state->encodeTable[kRunTableIndex]);
  const auto writeTable = [=](int32_t table) { return static_cast<const QlmVLCEntry*>(state->encodeTable[table]); };
  const auto codeOf = [](auto entry) { return QlmVLCCode{entry.value, entry.length}; };
  const auto levelCode = [=](uint32_t context, uint32_t level) {
    const int32_t table = group.level + static_cast<int32_t>(context);
    const QlmVLCEntry entry = writeTable(table)[level];
    state->discriminant0[table] = wrapAdd32(state->discriminant0[table], entry.delta0);
    return codeOf(entry);
  };

  QlmVLCCoefficient c = take();
  const bool noRun = c.run == 0;
  uint32_t context = noRun && c.next == kAtOnce;
  const QlmVLCEntry first = writeTable(group.first)[noRun + 2 * (c.level > 1) + 4 * c.next];
  ownStep(state, group.first, first);
  const QlmVLCCode symbol = {first.value | c.sign, first.length};
  const QlmVLCCode symbolAndLevel = ownJoinCodes(symbol, levelCode(context, c.level));
  ownPut(out, symbolAndLevel.bits, symbolAndLevel.length);
  if (c.level == kEscapedLevel) [[unlikely]]
    out = ownWriteEscaped(out, magnitude());
  const QlmVLCCode firstRun = codeOf(runs.write[firstLocation][c.run & 15]);
  ownPut(out, firstRun.bits, firstRun.length);

  int32_t location = firstLocation + c.run;
  for (int32_t i = 1; i < count; ++i) {
    // At most 7 bits of a run, 6 of a symbol and its sign, and 8 of a level.
    ownDrain<64 - 21>(out);
    c = take();
    ++location;
    const QlmVLCCode run = codeOf(runs.write[location & 15][c.run & 15]);
    location += c.run;
    const int32_t table = group.first + 1 + static_cast<int32_t>(context);
    const QlmVLCEntry* entries = writeTable(table);
    if (location >= kLastLocation - 1) [[unlikely]]
      entries = kLaterTablesAtEnd[location >= kLastLocation].write;
    const QlmVLCEntry later = entries[(c.level > 1) + 2 * c.next];
    ownStep(state, table, later);
    context &= c.next;
    const QlmVLCCode runAndSymbol = ownJoinCodes(run, {later.value | c.sign, later.length});
    const QlmVLCCode all = ownJoinCodes(runAndSymbol, levelCode(context, c.level));
    ownPut(out, all.bits, all.length);
    if (c.level == kEscapedLevel) [[unlikely]]
      out = ownWriteEscaped(out, magnitude());
  }
}
