#include "model/jpeg2000_block_encode.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace model {

void MqEncoder::start() {
  a_ = 0x8000;
  c_ = 0;
  b_ = 0;
  ct_ = 12;
  count_ = 0;
  staged.clear();
}

// What is staged first is the imaginary byte before the codeword.
void MqEncoder::stage() {
  if (count_ > 0) staged.push_back(static_cast<uint8_t>(b_));
  ++count_;
}

void MqEncoder::byteOut() {
  bool stuff = b_ == 0xFF;
  if (!stuff && c_ >= 0x8000000) {
    ++b_;
    if (b_ == 0xFF) {
      c_ &= 0x7FFFFFF;
      stuff = true;
    }
  }
  stage();
  if (stuff) {
    b_ = (c_ >> 20) & 0xFF;
    c_ &= 0xFFFFF;
    ct_ = 7;
  } else {
    b_ = (c_ >> 19) & 0xFF;
    c_ &= 0x7FFFF;
    ct_ = 8;
  }
}

void MqEncoder::code(Decision decision, Probabilities& probabilities) {
  int32_t& index = probabilities.state[static_cast<size_t>(decision.context)];
  int32_t& mps = probabilities.mps[static_cast<size_t>(decision.context)];
  const ProbabilityState state = probabilityState(index);
  a_ -= state.qe;
  if (decision.bit == mps) {
    if (a_ & 0x8000) {
      c_ += state.qe;
      return;
    }
    if (a_ >= state.qe)
      c_ += state.qe;
    else
      a_ = state.qe;
    index = state.nmps;
  } else {
    if (a_ < state.qe)
      c_ += state.qe;
    else
      a_ = state.qe;
    if (state.switches) mps = 1 - mps;
    index = state.nlps;
  }
  do {
    a_ <<= 1;
    c_ <<= 1;
    if (--ct_ == 0) byteOut();
  } while (!(a_ & 0x8000));
}

void MqEncoder::end(int32_t mode) {
  if (mode == 1) {
    endShortest();
  } else if (mode == 2) {
    for (int32_t left = 12 - ct_; left > 0; left -= ct_) {
      c_ <<= ct_;
      byteOut();
    }
    if (b_ < 0xFF) {
      c_ <<= ct_;
      byteOut();
    }
  } else {
    uint32_t t = c_ | 0xFFFF;
    if (t >= a_ + c_) t -= 0x8000;
    c_ = t << ct_;
    byteOut();
    c_ = (c_ | 0x7FFF) << ct_;
    byteOut();
    if (b_ < 0xFF) {
      c_ = (c_ | 0x7FFF) << ct_;
      byteOut();
    }
  }
}

// Bytes of the lower and of the upper bound of the interval are compared until a codeword that goes on with ones alone
// lies between them.
void MqEncoder::endShortest() {
  constexpr uint32_t kBelowCarry = 0x7FFFFFF;
  uint32_t lower = c_ << ct_, upper = (a_ + c_) << ct_;
  uint32_t l = b_ + (lower >> 27), u = b_ + (upper >> 27);
  bool afterFF = false;
  const auto take = [&](uint32_t carriedOn, int32_t bits) {
    u = carriedOn << bits | (upper & kBelowCarry) >> (27 - bits);
    l = (lower & kBelowCarry) >> (27 - bits);
    upper = (upper & kBelowCarry) << bits & kBelowCarry;
    lower = (lower & kBelowCarry) << bits & kBelowCarry;
  };
  if (b_ == 0xFF && lower >> 27) {
    l = lower >> 20;
    u = upper >> 20;
    lower = lower << 7 & kBelowCarry;
    upper = upper << 7 & kBelowCarry;
    afterFF = true;
  } else {
    lower &= kBelowCarry;
    upper &= kBelowCarry;
  }

  bool anyOutput = false;
  const auto output = [&](uint32_t byte) {
    if (anyOutput) stage();
    b_ = byte;
    anyOutput = true;
  };
  for (;;) {
    if (afterFF) {
      if (l < 128 && u > 127) break;
      output(0xFF);
      afterFF = false;
    } else if (l < 256 && u > 255) {
      break;
    }
    if (l >= 255) {
      afterFF = true;
      take(u - l, 7);
    } else {
      output(l);
      take(u - l, 8);
    }
  }
  if (anyOutput && count_ >= 1) {
    stage();
    b_ = 0xFF;
  }
}

int32_t MqEncoder::pendingBytes() const {
  const bool much = 27 - ct_ > 22 + (b_ < 254 ? 1 : 0);
  return 3 + (much ? 1 : 0) + (count_ != 0 ? 1 : 0);
}

void RawEncoder::put(int32_t bit, std::vector<uint8_t>& out) {
  byte_ |= bit << nextBit_;
  if (--nextBit_ >= 0) return;
  out.push_back(static_cast<uint8_t>(byte_));
  afterFF_ = byte_ == 0xFF;
  nextBit_ = afterFF_ ? 6 : 7;
  byte_ = 0;
}

bool RawEncoder::hasPartialByte() const { return nextBit_ != (afterFF_ ? 6 : 7); }

void RawEncoder::end(std::vector<uint8_t>& out) {
  if (hasPartialByte()) {
    for (int32_t fill = 0; nextBit_ >= 0; fill = 1 - fill) byte_ |= fill << nextBit_--;
    out.push_back(static_cast<uint8_t>(byte_));
  }
  *this = {};
}

BlockEncoder::BlockEncoder(const std::vector<int32_t>& samples, int32_t width, int32_t height, Style style)
    : style_(style), map_(width, height), samples_(samples), lowestPlane_(31 - style.magnitudeBits) {
  map_.setVerticallyCausal(style.flags & kVerticallyCausal);
  mq_.start();

  uint32_t largest = 0;
  for (const int32_t sample : samples) largest = std::max(largest, static_cast<uint32_t>(sample) & 0x7FFFFFFF);
  significantBits_ = static_cast<int32_t>(std::bit_width(largest));

  const int32_t top = significantBits_ - 1;
  for (int32_t plane = top; plane >= lowestPlane_; --plane) {
    const int32_t exponent = 2 * (plane - lowestPlane_) - 13;
    if (plane < top) {
      const bool raw = (style.flags & kBypass) && plane < significantBits_ - 4;
      passes_.push_back({raw, exponent});
      significancePass(plane, raw);
      passes_.push_back({raw, exponent});
      refinementPass(plane, raw);
    }
    passes_.push_back({false, exponent});
    cleanupPass(plane);
  }
}

int32_t BlockEncoder::bitOf(int32_t x, int32_t y, int32_t plane) const {
  return samples_[map_.index(x, y)] >> plane & 1;
}

void BlockEncoder::significancePass(int32_t plane, bool raw) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    if (map_.at(x, y).significant || !map_.hasSignificantNeighbour(x, y)) return;
    append(bitOf(x, y, plane), map_.significanceContext(x, y, style_.subband));
    map_.at(x, y).visited = true;
    if (bitOf(x, y, plane)) codeSign(x, y, plane, raw);
  });
}

void BlockEncoder::refinementPass(int32_t plane, bool raw) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    BlockMap::Sample& sample = map_.at(x, y);
    if (!sample.significant || sample.visited) return;
    append(bitOf(x, y, plane), map_.refinementContext(x, y));
    addDistortion(x, y, plane, true);
    if (!raw) sample.refined = true;
  });
}

void BlockEncoder::cleanupPass(int32_t plane) {
  // The row of a column that a run has told to become significant.
  int32_t runX = -1, runY = -1;
  const auto column = [&](int32_t x, int32_t y) {
    if (!map_.codesRun(x, y)) return 0;
    int32_t zeros = 0;
    while (zeros < 4 && !bitOf(x, y + zeros, plane)) ++zeros;
    append(zeros < 4 ? 1 : 0, kRunLength);
    if (zeros == 4) return 4;
    append(zeros >> 1, kUniform);
    append(zeros & 1, kUniform);
    runX = x;
    runY = y + zeros;
    return zeros;
  };
  scanStripes(map_.width(), map_.height(), column, [&](int32_t x, int32_t y) {
    BlockMap::Sample& sample = map_.at(x, y);
    if (x == runX && y == runY) {
      codeSign(x, y, plane, false);
    } else if (!sample.significant && !sample.visited) {
      append(bitOf(x, y, plane), map_.significanceContext(x, y, style_.subband));
      if (bitOf(x, y, plane)) codeSign(x, y, plane, false);
    }
  });
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) { map_.at(x, y).visited = false; });
  if (style_.flags & kSegmentationSymbols) {
    for (const int32_t bit : {1, 0, 1, 0}) append(bit, kUniform);
  }
}

void BlockEncoder::codeSign(int32_t x, int32_t y, int32_t plane, bool raw) {
  const bool negative = samples_[map_.index(x, y)] < 0;
  const BlockMap::Sign sign = map_.signContext(x, y);
  append(raw ? negative : negative != sign.flip, sign.context);
  addDistortion(x, y, plane, false);
  map_.at(x, y).significant = true;
  map_.at(x, y).negative = negative;
}

// The drop of the squared error, times 8192, where reconstruction moves to the middle of the new interval, or in the
// lowest plane of a reversible block onto the sample. u is the sample from its bit `plane` (or the one below) down to
// six bits below the plane, in units of the plane. All values are whole.
void BlockEncoder::addDistortion(int32_t x, int32_t y, int32_t plane, bool refinement) {
  const auto sample = static_cast<uint32_t>(samples_[map_.index(x, y)]);
  const uint32_t bits = plane >= 6 ? sample >> (plane - 6) : sample << (6 - plane);
  const double u = (bits & (refinement ? 127 : 63)) / 64.0;
  const bool exact = (style_.flags & kReversible) && plane == lowestPlane_;
  double drop;
  if (refinement)
    drop = exact ? (u - 1) * (u - 1) : u < 1 ? 0.75 - u : u - 1.25;
  else
    drop = exact ? (1 + u) * (1 + u) : 0.75 + 3 * u;
  passes_.back().distortion += static_cast<int64_t>(8192 * drop);
}

bool BlockEncoder::endsSegment(size_t pass) const {
  return (style_.flags & kTerminateEach) || pass + 1 == passes_.size() || passes_[pass].raw != passes_[pass + 1].raw;
}

int32_t BlockEncoder::terminatedPassCount() const {
  if (style_.flags & kTerminateEach) return passCount();
  int32_t count = 1;
  for (size_t pass = 1; pass < passes_.size(); ++pass) count += passes_[pass].raw != passes_[pass - 1].raw;
  return count;
}

BlockEncoder::Stored BlockEncoder::store(size_t room) {
  std::vector<uint8_t> out;
  while (storePass_ < passes_.size() && out.size() < room) {
    const Pass& pass = passes_[storePass_];
    const bool ends = endsSegment(storePass_);
    const size_t before = out.size();
    const bool finished = pass.raw ? storeRaw(pass, ends, room, out) : storeMq(pass, ends, room, out);
    passBytes_ += static_cast<int32_t>(out.size() - before);
    if (!finished) break;
    finishPass();
  }
  repairRates(out);
  bytesOfEarlierCalls_ += static_cast<int32_t>(out.size());
  return {out, storePass_ < passes_.size()};
}

// A raw pass that fills the room, be it with its last byte, is left unfinished.
bool BlockEncoder::storeRaw(const Pass& pass, bool ends, size_t room, std::vector<uint8_t>& out) {
  for (; symbol_ < pass.decisions.size() && out.size() < room; ++symbol_) raw_.put(pass.decisions[symbol_].bit, out);
  if (out.size() == room) return false;
  if (ends) raw_.end(out);
  return out.size() < room;
}

// An MQ pass is finished as soon as none of its bytes is left to store.
bool BlockEncoder::storeMq(const Pass& pass, bool ends, size_t room, std::vector<uint8_t>& out) {
  const auto drain = [&] {
    while (!mq_.staged.empty() && out.size() < room) {
      out.push_back(mq_.staged.front());
      mq_.staged.erase(mq_.staged.begin());
    }
  };
  drain();
  while (symbol_ < pass.decisions.size() && out.size() < room) {
    mq_.code(pass.decisions[symbol_++], probabilities_);
    segmentHasSymbols_ = true;
    drain();
  }
  if (symbol_ < pass.decisions.size()) return false;
  if (ends && segmentHasSymbols_ && !endCoded_) {
    mq_.end(style_.terminationMode);
    endCoded_ = true;
    drain();
  }
  if (!mq_.staged.empty()) return false;
  if (ends) {
    mq_.start();
    segmentHasSymbols_ = endCoded_ = false;
  }
  return true;
}

void BlockEncoder::finishPass() {
  Pass& pass = passes_[storePass_];
  finishedBytes_ += passBytes_;
  int32_t pending = 0;
  if (pass.raw)
    pending = raw_.hasPartialByte() ? 1 : 0;
  else if (segmentHasSymbols_)
    pending = mq_.pendingBytes();
  pass.rate = finishedBytes_ + pending;
  if (pending == 0) {
    for (size_t i = storePass_; i > 0 && passes_[i].rate < passes_[i - 1].rate; --i)
      passes_[i - 1].rate = passes_[i].rate;
  }
  pass.length = passBytes_;
  passBytes_ = 0;
  symbol_ = 0;
  ++storePass_;
  if (style_.flags & kResetContexts) probabilities_.reset();
}

// No rate that ends among the bytes just written may end on 0xFF.
void BlockEncoder::repairRates(const std::vector<uint8_t>& written) {
  for (size_t i = 0; i < storePass_; ++i) {
    const int32_t last = passes_[i].rate - 1 - bytesOfEarlierCalls_;
    if (last >= 0 && last < static_cast<int32_t>(written.size()) && written[static_cast<size_t>(last)] == 0xFF)
      --passes_[i].rate;
  }
}

double BlockEncoder::distortion(int32_t pass) const {
  double sum = 0;
  for (int32_t i = 0; i <= pass; ++i) {
    const Pass& p = passes_[static_cast<size_t>(i)];
    sum += std::ldexp(static_cast<double>(p.distortion), p.exponent);
  }
  return sum;
}

int32_t BlockEncoder::terminatedLength(int32_t segment) const {
  int32_t length = 0, number = 0;
  for (size_t pass = 0; pass < passes_.size(); ++pass) {
    if (pass > 0 && ((style_.flags & kTerminateEach) || passes_[pass].raw != passes_[pass - 1].raw)) ++number;
    if (number == segment) length += passes_[pass].length;
  }
  return length;
}

}  // namespace model
