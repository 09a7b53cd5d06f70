#include "jpegxr/jxr_codes.h"

#include <initializer_list>

namespace sample {
namespace {

using Codes = std::initializer_list<std::string_view>;

constexpr CodeFamily family(std::initializer_list<Codes> codes, std::initializer_list<int> delta) {
  CodeFamily result;
  for (const Codes& symbols : codes) {
    const auto table = static_cast<size_t>(result.codes++);
    uint8_t symbol = 0;
    for (const std::string_view text : symbols) {
      uint8_t bits = 0;
      for (const char c : text) bits = static_cast<uint8_t>(2 * bits + (c == '1'));
      const auto length = static_cast<uint8_t>(text.size());
      result.code[table][symbol] = {bits, length};
      const size_t free = CodeFamily::kMostBits - length;
      for (size_t i = 0; i < size_t{1} << free; ++i)
        result.decode[table][(static_cast<size_t>(bits) << free) + i] = {symbol, length};
      ++symbol;
    }
  }
  size_t symbol = 0;
  for (const int d : delta) result.delta[symbol++] = static_cast<int8_t>(d);
  return result;
}

}  // namespace

constexpr CodeFamily kFourSymbols = family({{"1", "01", "000", "001"}}, {0, 0, 0, 0});
constexpr CodeFamily kFiveSymbols =
    family({{"1", "01", "001", "0000", "0001"}, {"1", "000", "001", "010", "011"}}, {0, -1, 0, 1, 1});
constexpr CodeFamily kSevenSymbols = family(
    {{"01", "10", "11", "001", "0001", "00000", "00001"}, {"1", "01", "001", "0001", "00001", "000000", "000001"}},
    {1, 0, -1, -1, -1, -1, -1});
constexpr CodeFamily kEightSymbols =
    family({{"10", "001", "00001", "0001", "11", "010", "00000", "011"}}, {0, 0, 0, 0, 0, 0, 0, 0});
constexpr CodeFamily kNineSymbols =
    family({{"010", "00000", "0010", "00001", "00010", "1", "011", "00011", "0011"},
            {"1", "001", "010", "0001", "000001", "011", "00001", "0000000", "0000001"}},
           {2, 2, 1, 1, -1, -2, -2, -2, -3});

void AdaptiveCode::adapt() {
  constexpr int32_t kTurn = 8, kMemory = 64;
  const size_t last = static_cast<size_t>(family_->codes) - 1;
  if (table_ > 0 && statistics_ < -kTurn) {
    --table_;
    statistics_ = 0;
  } else if (table_ < last && statistics_ > kTurn) {
    ++table_;
    statistics_ = 0;
  }
  statistics_ = std::clamp(statistics_, -kMemory, kMemory);
}

namespace {

// Levels by symbol: the first of its range, less 1, and how many bits tell which one it is.
constexpr std::array<int32_t, 6> kLevelBase = {0, 1, 2, 4, 8, 12};
constexpr std::array<uint32_t, 6> kLevelBits = {0, 0, 1, 2, 2, 2};
constexpr int32_t kEscape = 6;  // for 16 and more: the number of bits is told first

}  // namespace

int32_t readLevel(JxrBitReader& bits, AdaptiveCode& code) {
  const int32_t symbol = code.read(bits);
  if (symbol < kEscape) {
    const auto s = static_cast<size_t>(symbol);
    return kLevelBase[s] + static_cast<int32_t>(bits.take(kLevelBits[s])) + 1;
  }
  uint32_t n = bits.take(4) + 4;
  if (n == 19) n += bits.take(2);
  if (n == 22) n += bits.take(3);
  const uint32_t high = n > 16 ? bits.take(16) << (n - 16) : 0;
  return static_cast<int32_t>((1u << n) + (high | bits.take(n > 16 ? n - 16 : n))) + 1;
}

void writeLevel(JxrBitWriter& bits, AdaptiveCode& code, int32_t level) {
  const auto rest = static_cast<uint32_t>(level - 1);
  if (rest < 16) {
    size_t symbol = kLevelBase.size() - 1;
    while (static_cast<uint32_t>(kLevelBase[symbol]) > rest) --symbol;
    code.write(bits, static_cast<int32_t>(symbol));
    bits.put(rest, kLevelBits[symbol]);
    return;
  }
  code.write(bits, kEscape);
  const auto n = static_cast<uint32_t>(std::bit_width(rest)) - 1;
  bits.put(std::min(n, 19u) - 4, 4);
  if (n >= 19) bits.put(std::min(n, 22u) - 19, 2);
  if (n >= 22) bits.put(n - 22, 3);
  if (n > 16) bits.put(rest >> (n - 16), 16);
  bits.put(rest, n > 16 ? n - 16 : n);
}

}  // namespace sample
