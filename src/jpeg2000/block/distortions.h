// How much a decision takes from the squared error of its sample, by what stands below the bit-plane in the sample.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The tables hold 8192 times the drop in squared error, in units of the square of the plane's step, when the
// reconstruction moves to the middle of the new interval, or to the value itself in the lossless tables. The index is
// the six bits below the plane and, for refinement, the bit of the plane above them: 64 times u.
template <size_t kEntries, typename Value>
constexpr std::array<int32_t, kEntries> distortionTable(Value value) {
  std::array<int32_t, kEntries> table{};
  for (size_t i = 0; i < kEntries; ++i) table[i] = value(static_cast<int32_t>(i));
  return table;
}

// 0.75 + 3u, and (1 + u)^2.
inline constexpr auto kSignificanceDistortion = distortionTable<64>([](int32_t i) { return 6144 + 384 * i; });
inline constexpr auto kLosslessSignificanceDistortion =
    distortionTable<64>([](int32_t i) { return 2 * (64 + i) * (64 + i); });

// 0.75 - u below 1, u - 1.25 from there on; and (u - 1)^2. Both are even functions of the distance from u = 1.
constexpr int32_t refinementDistortion(int32_t distance) { return 128 * (distance < 0 ? -distance : distance) - 2048; }
constexpr int32_t losslessRefinementDistortion(int32_t distance) { return 2 * distance * distance; }
inline constexpr auto kRefinementDistortion =
    distortionTable<128>([](int32_t i) { return refinementDistortion(i - 64); });
inline constexpr auto kLosslessRefinementDistortion =
    distortionTable<128>([](int32_t i) { return losslessRefinementDistortion(i - 64); });
static_assert(kRefinementDistortion[0] == 6144 && kRefinementDistortion[63] == -1920 &&
              kRefinementDistortion[64] == -2048 && kRefinementDistortion[127] == 6016);
