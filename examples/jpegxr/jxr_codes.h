// The adaptive codes that stand outside the library's block coders (T.832 8.7): those of DC values and of coded block
// patterns. A code of each family serves until the statistics of what it codes ask for its neighbour.
#pragma once

#include <array>
#include <string_view>

#include "jpegxr/jxr_bits.h"

namespace sample {

// The codes of one family, all with as many symbols, and what each symbol adds to the statistics.
struct CodeFamily {
  static constexpr int32_t kMostSymbols = 9, kMostCodes = 2, kMostBits = 7;

  struct Code {
    uint8_t bits, length;
  };
  struct Entry {
    uint8_t symbol, length;
  };
  int32_t codes = 0;
  std::array<std::array<Code, kMostSymbols>, kMostCodes> code{};       // by symbol
  std::array<std::array<Entry, 1 << kMostBits>, kMostCodes> decode{};  // by the next bits of the file
  std::array<int8_t, kMostSymbols> delta{};
};

extern const CodeFamily kFourSymbols, kFiveSymbols, kSevenSymbols, kEightSymbols, kNineSymbols;

class AdaptiveCode {
 public:
  explicit AdaptiveCode(const CodeFamily& family) : family_(&family) {}

  int32_t read(JxrBitReader& bits) {
    const CodeFamily::Entry entry = family_->decode[table_][bits.peek() >> (16 - CodeFamily::kMostBits)];
    bits.take(entry.length);
    statistics_ += family_->delta[entry.symbol];
    return entry.symbol;
  }
  void write(JxrBitWriter& bits, int32_t symbol) {
    const CodeFamily::Code code = family_->code[table_][static_cast<size_t>(symbol)];
    bits.put(code.bits, code.length);
    statistics_ += family_->delta[static_cast<size_t>(symbol)];
  }
  void adapt();

 private:
  const CodeFamily* family_;
  size_t table_ = 0;
  int32_t statistics_ = 0;
};

// A magnitude of at least 1: a symbol, then low bits.
int32_t readLevel(JxrBitReader& bits, AdaptiveCode& code);
void writeLevel(JxrBitWriter& bits, AdaptiveCode& code, int32_t level);

}  // namespace sample
