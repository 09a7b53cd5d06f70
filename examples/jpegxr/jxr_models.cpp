#include "jpegxr/jxr_models.h"

#include <algorithm>

namespace sample {

// The weights make the count of any kind of macroblock comparable: 70 is where the number of bits is right.
JxrModelBits::JxrModelBits(JxrBand band, JxrComponents components) : hasChroma_(components != JxrComponents::kY) {
  constexpr std::array<int32_t, 3> kStart = {8, 4, 0};
  constexpr std::array<int32_t, 3> kLuma = {240, 12, 1};
  constexpr std::array<std::array<int32_t, 3>, 4> kChroma = {{{0, 0, 0}, {120, 37, 2}, {120, 18, 1}, {120, 6, 8}}};
  side_[0] = {kStart[band], 0, kLuma[band], 0};
  side_[1] = {kStart[band], 0, kChroma[static_cast<size_t>(components)][band],
              components == JxrComponents::k444 && band == kHighpass ? 4 : 0};
}

void JxrModelBits::update(int32_t lumaCount, int32_t chromaCount) {
  update(side_[0], lumaCount);
  if (hasChroma_) update(side_[1], chromaCount);
}

void JxrModelBits::update(Side& side, int32_t count) {
  constexpr int32_t kRight = 70;
  const int32_t delta = (((count * side.weight) >> side.shift) - kRight) >> 2;
  if (delta <= -8) {
    side.state += std::max(delta + 4, -16);
    if (side.state < -8) {
      side.state = side.bits > 0 ? 0 : -8;
      side.bits = std::max(side.bits - 1, 0);
    }
  } else if (delta >= 8) {
    side.state += std::min(delta - 4, 15);
    if (side.state > 8) {
      side.state = side.bits < 15 ? 0 : 8;
      side.bits = std::min(side.bits + 1, 15);
    }
  }
}

JxrLowpassPattern::JxrLowpassPattern(JxrComponents components)
    : components_(components),
      bits_(components == JxrComponents::kY     ? 1
            : components == JxrComponents::k444 ? 3
                                                : 2),
      most_((1u << bits_) - 1) {}

uint32_t JxrLowpassPattern::read(JxrBitReader& bits) {
  if (components_ == JxrComponents::kY) return bits.take(1);
  uint32_t pattern = 0;
  if (notNone_ <= 0 || notAll_ < 0) {
    // One of the ends is common: it takes one bit, and its neighbour few.
    if (bits.flag()) {
      const uint32_t high = bits.take(bits_ - 1);
      pattern = high == 0 ? 1 : 2 * high + bits.take(1);
    }
    if (notAll_ < notNone_) pattern = most_ - pattern;
  } else {
    pattern = bits.take(bits_);
  }
  update(pattern);
  return pattern;
}

void JxrLowpassPattern::write(JxrBitWriter& bits, uint32_t pattern) {
  if (components_ == JxrComponents::kY) return bits.put(pattern, 1);
  if (notNone_ <= 0 || notAll_ < 0) {
    const uint32_t code = notAll_ < notNone_ ? most_ - pattern : pattern;
    bits.flag(code > 0);
    if (code == 1) bits.put(0, bits_ - 1);
    if (code > 1) bits.put(code, bits_);
  } else {
    bits.put(pattern, bits_);
  }
  update(pattern);
}

void JxrLowpassPattern::update(uint32_t pattern) {
  notAll_ = std::clamp(notAll_ + (pattern == most_ ? -3 : 1), -8, 7);
  notNone_ = std::clamp(notNone_ + (pattern == 0 ? -3 : 1), -8, 7);
}

void JxrBlockPatternModel::update(int32_t coded) {
  constexpr int32_t kUsual = 3;
  few_ = std::clamp(few_ + coded - kUsual, -16, 15);
  many_ = std::clamp(many_ + 16 - coded - kUsual, -16, 15);
  if (few_ < 0)
    state_ = few_ < many_ ? State::kPlain : State::kInverted;
  else
    state_ = many_ < 0 ? State::kInverted : State::kPredicted;
}

JxrTileModels::JxrTileModels(JxrComponents components)
    : patternBlock(components == JxrComponents::kY ? kFiveSymbols : kNineSymbols),
      dcBits(kDc, components),
      lowpassBits(kLowpass, components),
      highpassBits(kHighpass, components),
      lowpassPattern(components) {
  qlmiVLCInit_JPEGXR(&vlc);
}

void JxrTileModels::adaptDc() {
  dcLuma.adapt();
  dcChroma.adapt();
}

void JxrTileModels::adaptLowpass() {
  adaptDc();
  qlmiVLCAdapt_JPEGXR(&vlc, 0);
}

void JxrTileModels::adaptHighpass() {
  patternBlock.adapt();
  patternCount.adapt();
  qlmiVLCAdapt_JPEGXR(&vlc, 1);
}

MbPlace placeInTile(const MbRange& columns, const MbRange& rows, int32_t x, int32_t y) {
  constexpr int32_t kPeriod = 16;
  const bool turn = (x - columns.first) % kPeriod == 0;
  return {x, y, x == columns.first, y == rows.first, turn, turn || x + 1 == columns.end};
}

}  // namespace sample
