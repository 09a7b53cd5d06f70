// The tables of ITU-T T.832 8.7 as the coders use them, computed from the published codes: for writing, what stands in
// the stream by symbol, level or run; for reading, what the next bits hold. An entry has everything that a symbol needs
// (code, length and steps of the discriminants), so that a symbol costs one look-up either way.
#pragma once

#include <type_traits>

#include "jpegxr/vlc_codes.h"

// Written: `value` is the code. Read: `value` is the symbol or the magnitude. `length` is the number of bits.
struct QlmVLCEntry {
  uint8_t value;
  uint8_t length;
  int8_t delta0, delta1;
};
struct QlmVLCRunEntry {
  uint8_t value, length;
};

// What each coded symbol adds to a discriminant that weighs a table against its neighbour: by how much its code is
// longer here than there. Row r stands between tables r and r + 1.
template <int kTables, int kSymbols>
struct QlmVLCStepRows {
  int8_t row[kTables - 1][kSymbols];
};
template <int kTables, int kSymbols>
constexpr QlmVLCStepRows<kTables, kSymbols> ownStepRows(const char* const (&codes)[kTables][kSymbols]) {
  const auto length = [&](int table, int symbol) {
    return static_cast<int>(ownParseCode(codes[table][symbol]).length);
  };
  QlmVLCStepRows<kTables, kSymbols> steps{};
  for (int r = 0; r < kTables - 1; ++r)
    for (int s = 0; s < kSymbols; ++s) steps.row[r][s] = static_cast<int8_t>(length(r, s) - length(r + 1, s));
  return steps;
}
inline constexpr auto kSteps5 = ownStepRows(kCodes5);
inline constexpr auto kSteps6 = ownStepRows(kCodes6);
inline constexpr auto kSteps7 = ownStepRows(kCodes7);
inline constexpr auto kSteps12 = ownStepRows(kCodes12);

// Steps of the two discriminants of a table of kinds 6 and 12: the first looks back to the table before, the second
// ahead to the one behind. At both ends there is one neighbour for the two.
struct QlmVLCSteps {
  const int8_t *table0, *table1;
};
template <int kTables, int kSymbols>
constexpr QlmVLCSteps ownStepsOf(const QlmVLCStepRows<kTables, kSymbols>& steps, int table) {
  return {steps.row[table == 0 ? 0 : table - 1], steps.row[table == kTables - 1 ? table - 1 : table]};
}

// Enters what is found where the next bits begin with `code`, of which a look-up sees kBits.
template <int kBits, typename Entry>
constexpr void ownEnter(Entry (&lookup)[1 << kBits], QlmVLCCode code, const std::type_identity_t<Entry>& found) {
  const uint32_t free = kBits - code.length;
  for (uint32_t i = 0; i < 1u << free; ++i) lookup[code.bits << free | i] = found;
}

// First and later symbols, kinds 12 and 6. The sign goes out with its code: `length` counts it, and in a code written
// it is the clear bit 0. A look-up sees the longest code without its sign.
template <int kSymbols, int kBits>
struct QlmVLCSymbolTable {
  QlmVLCEntry write[kSymbols];
  QlmVLCEntry read[1 << kBits];
};
template <int kSymbols, int kBits>
constexpr QlmVLCSymbolTable<kSymbols, kBits> ownMakeSymbolTable(const char* const (&codes)[kSymbols],
                                                                QlmVLCSteps steps) {
  QlmVLCSymbolTable<kSymbols, kBits> table{};
  for (uint32_t symbol = 0; symbol < kSymbols && codes[symbol]; ++symbol) {
    const QlmVLCCode code = ownParseCode(codes[symbol]);
    const auto entry = [&](uint32_t value) {
      return QlmVLCEntry{static_cast<uint8_t>(value), static_cast<uint8_t>(code.length + 1), steps.table0[symbol],
                         steps.table1[symbol]};
    };
    table.write[symbol] = entry(code.bits << 1);
    ownEnter<kBits>(table.read, code, entry(symbol));
  }
  return table;
}

using QlmVLCFirstTable = QlmVLCSymbolTable<12, 8>;
using QlmVLCLaterTable = QlmVLCSymbolTable<6, 5>;
constexpr QlmVLCFirstTable ownFirstTable(int i) {
  return ownMakeSymbolTable<12, 8>(kCodes12[i], ownStepsOf(kSteps12, i));
}
constexpr QlmVLCLaterTable ownLaterTable(int i) { return ownMakeSymbolTable<6, 5>(kCodes6[i], ownStepsOf(kSteps6, i)); }
inline constexpr QlmVLCFirstTable kFirstTables[5] = {ownFirstTable(0), ownFirstTable(1), ownFirstTable(2),
                                                     ownFirstTable(3), ownFirstTable(4)};
inline constexpr QlmVLCLaterTable kLaterTables[4] = {ownLaterTable(0), ownLaterTable(1), ownLaterTable(2),
                                                     ownLaterTable(3)};

// Symbols of the coefficient at the last location but one, where another can only follow at once, and at the last.
// These codes are fixed, and step no discriminant.
inline constexpr const char* kCodesAtEnd[2][6] = {{"0", "110", "10", "111"}, {"0", "1"}};
inline constexpr int8_t kNoSteps[6] = {};
inline constexpr QlmVLCLaterTable kLaterTablesAtEnd[2] = {
    ownMakeSymbolTable<6, 5>(kCodesAtEnd[0], {kNoSteps, kNoSteps}),
    ownMakeSymbolTable<6, 5>(kCodesAtEnd[1], {kNoSteps, kNoSteps})};

// Levels, kind 7: magnitudes from 2. Those below kEscapedLevel are a symbol and up to two bits, one look-up together;
// the others have the symbol of the escape before them, which is read as magnitude 0. A magnitude of 1 has no bits.
inline constexpr int kEscapedLevel = 18;
struct QlmVLCLevelTable {
  QlmVLCEntry write[kEscapedLevel + 1];  // by magnitude; the last is the escape
  QlmVLCEntry read[256];
};
constexpr QlmVLCLevelTable ownLevelTable(int i) {
  constexpr uint32_t kExtraBits[6] = {0, 0, 1, 2, 2, 2};
  QlmVLCLevelTable table{};
  uint32_t magnitude = 2;
  for (uint32_t symbol = 0; symbol < 7; ++symbol) {
    const bool escape = symbol == 6;
    const uint32_t extra = escape ? 0 : kExtraBits[symbol];
    for (uint32_t low = 0; low < 1u << extra; ++low, ++magnitude) {
      const QlmVLCCode code = ownJoinCodes(ownParseCode(kCodes7[i][symbol]), {low, extra});
      const auto entry = [&](uint32_t value) {
        return QlmVLCEntry{static_cast<uint8_t>(value), static_cast<uint8_t>(code.length), kSteps7.row[0][symbol], 0};
      };
      table.write[magnitude] = entry(code.bits);
      ownEnter<8>(table.read, code, entry(escape ? 0 : magnitude));
    }
  }
  return table;
}
inline constexpr QlmVLCLevelTable kLevelTables[2] = {ownLevelTable(0), ownLevelTable(1)};

// Runs, by the location where they begin: the codes follow from the number of locations that remain up to the last one,
// 15. For up to four of them they are fixed, beyond that there are symbols of kind 5 and up to three bits. That a run
// may be read which is longer than what remains is kept, and so is the code of a run of 4 where none remains, whose
// last bit counts for nothing: both are met in damaged streams alone.
struct QlmVLCRunTable {
  QlmVLCRunEntry write[16][16];  // by location and run; no bits for a run of 0
  QlmVLCRunEntry read[16][128];
};
constexpr QlmVLCRunTable ownRunTable(int i) {
  struct Symbols {
    uint32_t base[5], extra[5];
  };
  constexpr Symbols kMany = {{1, 2, 3, 5, 7}, {0, 0, 1, 1, 3}}, kSome = {{1, 2, 3, 5, 7}, {0, 0, 1, 1, 2}};
  constexpr Symbols kFew = {{1, 2, 3, 4, 5}, {0, 0, 0, 0, 1}};
  constexpr const char* kFixed[5][4] = {{"1", "01"}, {""}, {"1", "0"}, {"1", "01", "00"}, {"1", "01", "001", "000"}};
  QlmVLCRunTable table{};
  for (int location = 0; location < 16; ++location) {
    const auto enter = [&](uint32_t run, QlmVLCCode code) {
      table.write[location][run] = {static_cast<uint8_t>(code.bits), static_cast<uint8_t>(code.length)};
      ownEnter<7>(table.read[location], code, {static_cast<uint8_t>(run), static_cast<uint8_t>(code.length)});
    };
    const int remaining = 15 - location;
    if (remaining < 5) {
      for (uint32_t run = 1; run <= 4; ++run)
        if (const char* code = kFixed[remaining][run - 1]) enter(run, ownParseCode(code));
      if (remaining == 0) {
        enter(4, ownParseCode("001"));
        enter(4, ownParseCode("000"));
      }
      continue;
    }
    const Symbols& symbols = remaining > 10 ? kMany : remaining > 6 ? kSome : kFew;
    for (int symbol = 0; symbol < 5; ++symbol) {
      for (uint32_t more = 0; more < 1u << symbols.extra[symbol]; ++more)
        enter(symbols.base[symbol] + more,
              ownJoinCodes(ownParseCode(kCodes5[i][symbol]), {more, symbols.extra[symbol]}));
    }
  }
  return table;
}
inline constexpr QlmVLCRunTable kRunTables[2] = {ownRunTable(0), ownRunTable(1)};
