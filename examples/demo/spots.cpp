#include "spots.h"

#include <algorithm>
#include <cstdlib>

namespace demo {
namespace {

// A score of the pixel at p, whose right and lower neighbours lie at the two offsets; `coded` is the coded pixel.
using Score = int64_t (*)(const uint8_t* p, const uint8_t* coded, ptrdiff_t right, ptrdiff_t below);

int64_t detail(const uint8_t* p, const uint8_t*, ptrdiff_t right, ptrdiff_t below) {
  const auto luma = [](const uint8_t* q) { return 2 * q[0] + 5 * q[1] + q[2]; };
  return std::abs(luma(p) - luma(p + right)) + std::abs(luma(p) - luma(p + below));
}

int64_t colourEdge(const uint8_t* p, const uint8_t*, ptrdiff_t right, ptrdiff_t below) {
  int64_t sum = 0;
  for (const ptrdiff_t next : {right, below})
    for (const int32_t channel : {0, 2}) sum += std::abs((p[channel] - p[1]) - (p[next + channel] - p[next + 1]));
  return sum;
}

int64_t codingError(const uint8_t* p, const uint8_t* coded, ptrdiff_t, ptrdiff_t) {
  int64_t sum = 0;
  for (int32_t channel = 0; channel < 3; ++channel) {
    const int32_t d = p[channel] - coded[channel];
    sum += int64_t{d} * d;
  }
  return sum;
}

bool overlaps(const Spot& spot, int32_t x, int32_t y) {
  return std::abs(spot.x - x) < spot.size && std::abs(spot.y - y) < spot.size;
}

}  // namespace

std::vector<Spot> findSpots(const sample::Picture& picture, const sample::Picture& coded, int32_t size) {
  constexpr struct {
    const char* why;
    Score score;
  } kWanted[] = {{"Most detail", detail}, {"Strongest colour edges", colourEdge}, {"Largest error", codingError}};
  std::vector<Spot> spots;
  for (const auto& [why, score] : kWanted) {
    Spot best{why, 0, 0, size};
    int64_t bestSum = -1;
    for (int32_t y = 0; y + size < picture.height; y += size / 4) {
      for (int32_t x = 0; x + size < picture.width; x += size / 4) {
        if (std::ranges::any_of(spots, [&](const Spot& spot) { return overlaps(spot, x, y); })) continue;
        int64_t sum = 0;
        for (int32_t v = 0; v < size; ++v)
          for (int32_t u = 0; u < size; ++u)
            sum += score(picture.row(y + v) + ptrdiff_t{3} * (x + u), coded.row(y + v) + ptrdiff_t{3} * (x + u), 3,
                         picture.step());
        if (sum > bestSum) best.x = x, best.y = y, bestSum = sum;
      }
    }
    if (bestSum >= 0) spots.push_back(best);
  }
  return spots;
}

}  // namespace demo
