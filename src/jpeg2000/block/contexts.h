// The 19 contexts of the code-block coder (ITU-T T.800 D.3, D.4 and Tables D.1 to D.4, D.7), and the tables that find
// the context of a sample from its half of a flag word (flag_words.h). A context is numbered 2 above its label in
// T.800: in front of the labels stand the uniform and the run-length context.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr int kContextCount = 19;
inline constexpr uint8_t kUniformContext = 0, kRunContext = 1, kFirstSignificanceContext = 2,
                         kFirstRefinementContext = 16;

// The state of Table C.2 that each context begins in (T.800 Table D.7); its more probable symbol is 0.
inline constexpr std::array<uint8_t, kContextCount> kInitialStates = [] {
  std::array<uint8_t, kContextCount> states{};
  states[kUniformContext] = 46;
  states[kRunContext] = 3;
  states[kFirstSignificanceContext] = 4;
  return states;
}();

// The kinds of subbands that Table D.1 tells apart.
enum class QlmBandClass { kLowOrLH, kHL, kHH };
constexpr QlmBandClass bandClass(int32_t subband) {
  return subband == 2 ? QlmBandClass::kHL : subband == 3 ? QlmBandClass::kHH : QlmBandClass::kLowOrLH;
}

// Table D.1: the label from the significant neighbours beside, above and below, and at the corners.
constexpr int significanceLabel(QlmBandClass band, int horizontal, int vertical, int diagonal) {
  if (band == QlmBandClass::kHH) {
    const int adjacent = horizontal + vertical;
    if (diagonal >= 3) return 8;
    if (diagonal == 2) return adjacent >= 1 ? 7 : 6;
    return 3 * diagonal + (adjacent >= 2 ? 2 : adjacent);
  }
  const int along = band == QlmBandClass::kHL ? vertical : horizontal;
  const int across = band == QlmBandClass::kHL ? horizontal : vertical;
  if (along == 2) return 8;
  if (along == 1) return across >= 1 ? 7 : diagonal >= 1 ? 6 : 5;
  if (across >= 1) return 2 + across;
  return diagonal >= 2 ? 2 : diagonal;
}

// One table a class of bands, by the eight neighbour bits of the flags: corners in bits 0 to 3, S, N, E, W above.
using QlmSignificanceContexts = std::array<uint8_t, 256>;
inline constexpr std::array<QlmSignificanceContexts, 3> kSignificanceContexts = [] {
  std::array<QlmSignificanceContexts, 3> contexts{};
  for (int band = 0; band < 3; ++band) {
    for (unsigned bits = 0; bits < 256; ++bits) {
      const auto bit = [=](int i) { return static_cast<int>(bits >> i & 1); };
      const int label = significanceLabel(static_cast<QlmBandClass>(band), bit(6) + bit(7), bit(4) + bit(5),
                                          bit(0) + bit(1) + bit(2) + bit(3));
      contexts[static_cast<size_t>(band)][bits] = static_cast<uint8_t>(kFirstSignificanceContext + label);
    }
  }
  return contexts;
}();
constexpr const QlmSignificanceContexts& significanceContexts(int32_t subband) {
  return kSignificanceContexts[static_cast<size_t>(bandClass(subband))];
}

// Table D.3 by the contributions of the neighbours of Table D.2: the label, and whether the sign is coded inverted.
struct QlmSignLabel {
  int label;
  bool inverted;
};
constexpr QlmSignLabel signLabel(int horizontal, int vertical) {
  // The rows with a negative contribution that leads mirror those with a positive one.
  if (horizontal < 0 || (horizontal == 0 && vertical < 0)) return {signLabel(-horizontal, -vertical).label, true};
  return {horizontal == 0 ? 9 + vertical : 12 + vertical, false};
}

// By bits 4 to 12 of the flags: S, N, E, W significant, a bit that does not matter, S, N, E, W negative. The context in
// the lower bits, the XOR bit of Table D.3 in bit 7.
inline constexpr int kSignIndexShift = 4;
inline constexpr uint32_t kSignIndexMask = 0x1FF;
inline constexpr std::array<uint8_t, 512> kSignContexts = [] {
  std::array<uint8_t, 512> contexts{};
  for (unsigned bits = 0; bits < 512; ++bits) {
    // Table D.2: two neighbours add up, but not beyond one.
    const auto contribution = [=](int i) {
      const auto of = [=](int at) { return bits >> at & 1 ? (bits >> (at + 5) & 1 ? -1 : 1) : 0; };
      const int sum = of(i) + of(i + 1);
      return sum > 1 ? 1 : sum < -1 ? -1 : sum;
    };
    const QlmSignLabel found = signLabel(contribution(2), contribution(0));
    contexts[bits] = static_cast<uint8_t>((found.label + 2) | (found.inverted ? 0x80 : 0));
  }
  return contexts;
}();
constexpr uint8_t signContext(uint8_t entry) { return entry & 0x7F; }
constexpr uint32_t signInversion(uint8_t entry) { return entry >> 7; }

// Table D.4, by bits 0 to 8 of the flags: the neighbours, and whether the sample has been refined before.
inline constexpr uint32_t kRefinementIndexMask = 0x1FF;
inline constexpr std::array<uint8_t, 512> kRefinementContexts = [] {
  std::array<uint8_t, 512> contexts{};
  for (unsigned bits = 0; bits < 512; ++bits)
    contexts[bits] = static_cast<uint8_t>(kFirstRefinementContext + (bits >> 8 ? 2 : bits ? 1 : 0));
  return contexts;
}();
