#include "model/jpeg2000_block.h"

#include <algorithm>

#include "jpeg2000/block/probability_states.h"

namespace model {

void Probabilities::reset() {
  state.fill(0);
  mps.fill(0);
  state[kUniform] = 46;
  state[kRunLength] = 3;
  state[kFirstSignificance] = 4;
}

ProbabilityState probabilityState(int32_t index) {
  const auto& row = kProbabilityStates[static_cast<size_t>(index)];
  return {row.qe, static_cast<int32_t>(row.nmps), static_cast<int32_t>(row.nlps), row.switchMps != 0};
}

BlockMap::BlockMap(int32_t width, int32_t height)
    : width_(width), height_(height), samples_(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

int32_t BlockMap::significant(int32_t x, int32_t y, int32_t dx, int32_t dy) const {
  if (causal_ && dy > 0 && y % 4 == 3) return 0;
  const int32_t column = x + dx, row = y + dy;
  if (column < 0 || column >= width_ || row < 0 || row >= height_) return 0;
  return at(column, row).significant ? 1 : 0;
}

int32_t BlockMap::signOf(int32_t x, int32_t y, int32_t dx, int32_t dy) const {
  if (!significant(x, y, dx, dy)) return 0;
  return at(x + dx, y + dy).negative ? -1 : 1;
}

BlockMap::Sums BlockMap::sums(int32_t x, int32_t y) const {
  return {significant(x, y, -1, 0) + significant(x, y, 1, 0), significant(x, y, 0, -1) + significant(x, y, 0, 1),
          significant(x, y, -1, -1) + significant(x, y, 1, -1) + significant(x, y, -1, 1) + significant(x, y, 1, 1)};
}

bool BlockMap::hasSignificantNeighbour(int32_t x, int32_t y) const {
  const Sums s = sums(x, y);
  return s.horizontal + s.vertical + s.diagonal > 0;
}

int32_t BlockMap::significanceContext(int32_t x, int32_t y, int32_t subband) const {
  const Sums s = sums(x, y);
  int32_t label = 0;
  if (subband == 3) {
    const int32_t hv = s.horizontal + s.vertical;
    if (s.diagonal >= 3)
      label = 8;
    else if (s.diagonal == 2)
      label = hv >= 1 ? 7 : 6;
    else if (s.diagonal == 1)
      label = hv >= 2 ? 5 : hv == 1 ? 4 : 3;
    else
      label = std::min(hv, 2);
  } else {
    const int32_t h = subband == 2 ? s.vertical : s.horizontal;
    const int32_t v = subband == 2 ? s.horizontal : s.vertical;
    if (h == 2)
      label = 8;
    else if (h == 1)
      label = v >= 1 ? 7 : s.diagonal >= 1 ? 6 : 5;
    else if (v > 0)
      label = v == 2 ? 4 : 3;
    else
      label = std::min(s.diagonal, 2);
  }
  return kFirstSignificance + label;
}

BlockMap::Sign BlockMap::signContext(int32_t x, int32_t y) const {
  const int32_t h = std::clamp(signOf(x, y, -1, 0) + signOf(x, y, 1, 0), -1, 1);
  const int32_t v = std::clamp(signOf(x, y, 0, -1) + signOf(x, y, 0, 1), -1, 1);
  // Labels 9 to 13 count up from (0, 0) over (0, 1), (1, -1), (1, 0) to (1, 1); the other half of the table is the same
  // with both signs turned.
  const bool flip = h < 0 || (h == 0 && v < 0);
  const int32_t turnedH = flip ? -h : h, turnedV = flip ? -v : v;
  return {kFirstSign + 3 * turnedH + turnedV, flip};
}

int32_t BlockMap::refinementContext(int32_t x, int32_t y) const {
  if (at(x, y).refined) return kFirstRefinement + 2;
  return kFirstRefinement + (hasSignificantNeighbour(x, y) ? 1 : 0);
}

bool BlockMap::codesRun(int32_t x, int32_t y) const {
  if (y + 4 > height_) return false;
  for (int32_t row = y; row < y + 4; ++row) {
    if (at(x, row).significant || at(x, row).visited || hasSignificantNeighbour(x, row)) return false;
  }
  return true;
}

}  // namespace model
