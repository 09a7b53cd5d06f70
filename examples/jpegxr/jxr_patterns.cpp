#include "jpegxr/jxr_patterns.h"

#include <bit>

namespace sample {
namespace {

constexpr int32_t numberOf(const BlockGrid& grid, const BlockPlace& place) {
  for (int32_t i = 0; i < grid.count(); ++i)
    if (blockPlace(grid, i).column == place.column && blockPlace(grid, i).row == place.row) return i;
  return 0;
}

// By number, the block from which another is expected: the one above it, or in the first row the one at its left.
using Neighbours = std::array<uint8_t, 16>;
constexpr Neighbours neighbours(const BlockGrid& grid) {
  Neighbours result{};
  for (int32_t i = 1; i < grid.count(); ++i) {
    const BlockPlace p = blockPlace(grid, i);
    result[static_cast<size_t>(i)] = static_cast<uint8_t>(
        numberOf(grid, p.row > 0 ? BlockPlace{p.column, p.row - 1} : BlockPlace{p.column - 1, p.row}));
  }
  return result;
}
constexpr Neighbours kFullNeighbours = neighbours(kFullGrid), kHalfNeighbours = neighbours({2, 4});

const Neighbours& neighboursIn(const BlockGrid& grid) { return grid.wide == 4 ? kFullNeighbours : kHalfNeighbours; }

// Sets of four, by the number of their members: which one it is takes 0, 2, 2 or 3, 2, and 0 bits.
uint32_t readSet(JxrBitReader& bits, int32_t members) {
  if (members == 0) return 0;
  if (members == 4) return 15;
  const uint32_t which = bits.take(2);
  if (members == 1) return 1u << which;
  if (members == 3) return 15 ^ (1u << which);
  if (which == 0) return 3;
  if (which == 1) return 5;
  constexpr std::array<uint8_t, 4> kOthers = {6, 9, 10, 12};
  return kOthers[2 * (which - 2) + bits.take(1)];
}

void writeSet(JxrBitWriter& bits, uint32_t set) {
  switch (std::popcount(set)) {
    case 1:
      return bits.put(static_cast<uint32_t>(std::countr_zero(set)), 2);
    case 3:
      return bits.put(static_cast<uint32_t>(std::countr_zero(15 ^ set)), 2);
    case 2:
      if (set == 3 || set == 5) return bits.put(set == 5, 2);
      return bits.put(set == 6 ? 4 : set == 9 ? 5 : set == 10 ? 6 : 7, 3);
  }
}

// Sets of the four luma blocks of a quarter, by the symbol that codes them, and how many bits tell which one it is.
struct LumaClass {
  uint32_t bits;
  std::array<uint8_t, 4> sets;
};
constexpr std::array<LumaClass, 6> kLumaClasses = {
    {{0, {0}}, {2, {1, 2, 4, 8}}, {1, {3, 12}}, {2, {5, 6, 9, 10}}, {2, {7, 11, 13, 14}}, {0, {15}}}};

// A symbol is the class less 1 where there is no chroma, and else 5 for class 0 and so on up to 8 for class 3 and more.
constexpr uint32_t kWithChroma = 5, kLastSymbol = 8;

// 1, 2 or 3 in one or two bits: the first of two, the second, or both.
uint32_t readEither(JxrBitReader& bits) { return bits.flag() ? 1 : bits.flag() ? 2 : 3; }
void writeEither(JxrBitWriter& bits, uint32_t which) {
  if (which == 1)
    bits.put(1, 1);
  else
    bits.put(which == 2, 2);
}

// The chroma blocks of a quarter as a set: one of 4:2:0, two of 4:2:2, four of 4:4:4.
struct ChromaQuarter {
  uint32_t shift, mask;
};
constexpr ChromaQuarter chromaQuarter(JxrComponents components, uint32_t quarter) {
  if (components == JxrComponents::k420) return {quarter, 1};
  if (components == JxrComponents::k422) return {(quarter & 1) + 4 * (quarter >> 1), 5};  // one above the other
  return {4 * quarter, 15};
}

void readQuarter(JxrBitReader& bits, JxrTileModels& models, JxrComponents components, uint32_t quarter,
                 JxrPatterns& sent) {
  auto luma = static_cast<uint32_t>(models.patternBlock.read(bits)) + 1;
  uint32_t chroma = 0;
  if (luma > kWithChroma) {
    chroma = readEither(bits);
    luma -= kWithChroma + 1;
    if (luma == 3) luma += readEither(bits) - 1;
  }
  const LumaClass& kind = kLumaClasses[luma];
  sent[0] |= uint32_t{kind.sets[bits.take(kind.bits)]} << (4 * quarter);
  for (size_t c = 1; c <= 2; ++c) {
    if (!(chroma & c)) continue;
    uint32_t set = 1;
    if (components == JxrComponents::k444) set = readSet(bits, models.patternChroma.read(bits) + 1);
    if (components == JxrComponents::k422) {
      const uint32_t which = readEither(bits);
      set = (which & 1) + 4 * (which >> 1);
    }
    sent[c] |= set << chromaQuarter(components, quarter).shift;
  }
}

void writeQuarter(JxrBitWriter& bits, JxrTileModels& models, JxrComponents components, uint32_t luma, uint32_t u,
                  uint32_t v) {
  uint32_t kind = 0, which = 0;
  while (kLumaClasses[kind].sets[which] != luma)
    if (which + 1 < 1u << kLumaClasses[kind].bits)
      ++which;
    else
      ++kind, which = 0;
  const uint32_t chroma = (u != 0) + 2 * (v != 0);
  const uint32_t symbol = chroma ? std::min(kind + kWithChroma, kLastSymbol) : kind - 1;
  models.patternBlock.write(bits, static_cast<int32_t>(symbol));
  if (chroma) {
    writeEither(bits, chroma);
    if (symbol == kLastSymbol) writeEither(bits, kind - 2);
  }
  bits.put(which, kLumaClasses[kind].bits);
  for (const uint32_t set : {u, v}) {
    if (set == 0) continue;
    if (components == JxrComponents::k444) {
      models.patternChroma.write(bits, std::popcount(set) - 1);
      writeSet(bits, set);
    }
    if (components == JxrComponents::k422) writeEither(bits, (set & 1) + (set >> 1 & 2));
  }
}

}  // namespace

JxrPatterns JxrPatternCoder::read(JxrBitReader& bits, JxrTileModels& models, const MbPlace& place) {
  JxrPatterns sent{};
  const uint32_t quarters = readSet(bits, models.patternCount.read(bits));
  for (uint32_t quarter = 0; quarter < 4; ++quarter)
    if (quarters >> quarter & 1) readQuarter(bits, models, components_, quarter, sent);
  JxrPatterns patterns{};
  for (size_t c = 0; c < countOf(components_); ++c)
    patterns[c] = decode(sent[c], c, expectFirst(c, place), models.blockPatterns[c > 0]);
  last_[static_cast<size_t>(place.x)] = patterns;
  return patterns;
}

void JxrPatternCoder::write(JxrBitWriter& bits, JxrTileModels& models, const MbPlace& place,
                            const JxrPatterns& patterns) {
  JxrPatterns sent{};
  for (size_t c = 0; c < countOf(components_); ++c)
    sent[c] = encode(patterns[c], c, expectFirst(c, place), models.blockPatterns[c > 0]);
  last_[static_cast<size_t>(place.x)] = patterns;

  uint32_t quarters = 0;
  std::array<JxrPatterns, 4> parts{};
  for (uint32_t quarter = 0; quarter < 4; ++quarter) {
    const ChromaQuarter chroma = chromaQuarter(components_, quarter);
    parts[quarter] = {sent[0] >> (4 * quarter) & 15, sent[1] >> chroma.shift & chroma.mask,
                      sent[2] >> chroma.shift & chroma.mask};
    if (parts[quarter][0] | parts[quarter][1] | parts[quarter][2]) quarters |= 1u << quarter;
  }
  models.patternCount.write(bits, std::popcount(quarters));
  writeSet(bits, quarters);
  for (uint32_t quarter = 0; quarter < 4; ++quarter)
    if (quarters >> quarter & 1)
      writeQuarter(bits, models, components_, parts[quarter][0], parts[quarter][1], parts[quarter][2]);
}

bool JxrPatternCoder::expectFirst(size_t component, const MbPlace& place) const {
  if (place.leftEdge && place.topEdge) return true;
  const BlockGrid grid = blocksOf(components_, component);
  const int32_t corner = place.leftEdge ? numberOf(grid, {0, grid.high - 1}) : numberOf(grid, {grid.wide - 1, 0});
  const JxrPatterns& other = last_[static_cast<size_t>(place.leftEdge ? place.x : place.x - 1)];
  return other[component] >> corner & 1;
}

uint32_t JxrPatternCoder::decode(uint32_t sent, size_t component, bool expected, JxrBlockPatternModel& model) const {
  const BlockGrid grid = blocksOf(components_, component);
  const uint32_t all = (1u << grid.count()) - 1;
  uint32_t pattern = sent;
  if (model.state() == JxrBlockPatternModel::State::kInverted) pattern ^= all;
  if (model.state() == JxrBlockPatternModel::State::kPredicted) {
    pattern ^= expected;
    for (int32_t i = 1; i < grid.count(); ++i)
      pattern ^= (pattern >> neighboursIn(grid)[static_cast<size_t>(i)] & 1) << i;
  }
  model.update(std::popcount(pattern) * 16 / grid.count());
  return pattern;
}

uint32_t JxrPatternCoder::encode(uint32_t pattern, size_t component, bool expected, JxrBlockPatternModel& model) const {
  const BlockGrid grid = blocksOf(components_, component);
  const uint32_t all = (1u << grid.count()) - 1;
  uint32_t sent = pattern;
  if (model.state() == JxrBlockPatternModel::State::kInverted) sent ^= all;
  if (model.state() == JxrBlockPatternModel::State::kPredicted) {
    sent ^= expected;
    for (int32_t i = 1; i < grid.count(); ++i) sent ^= (pattern >> neighboursIn(grid)[static_cast<size_t>(i)] & 1) << i;
  }
  model.update(std::popcount(pattern) * 16 / grid.count());
  return sent;
}

}  // namespace sample
