#include "model/jpeg2000_block_decode.h"

#include <algorithm>

namespace model {

MqDecoder::MqDecoder(std::span<const uint8_t> segment) : segment_(segment) {
  c_ = segment.empty() ? 0 : (255 - byteAt(0)) << 16;
  if (byteAt(0) < 0xFF) {
    position_ = 1;
    c_ += 0xFF00 - (byteAt(1) << 8);
    ct_ = 1;
  } else if (byteAt(1) < 0x90) {
    position_ = 1;
    c_ += 0xFE00 - (byteAt(1) << 9);
    ct_ = 0;
  } else {
    marker_ = true;
    ct_ = 1;
  }
  c_ <<= 7;
  a_ = 0x8000;
}

void MqDecoder::refill() {
  ct_ = 8;
  if (marker_) return;
  const uint32_t byte = byteAt(position_), next = byteAt(position_ + 1);
  if (byte < 0xFF) {
    ++position_;
    c_ += 0xFF00 - (next << 8);
  } else if (next > 0x8F) {
    marker_ = true;
  } else {
    ++position_;
    c_ += 0xFE00 - (next << 9);
    ct_ = 7;
  }
}

void MqDecoder::renormalise() {
  do {
    if (ct_ == 0) refill();
    a_ <<= 1;
    c_ <<= 1;
    --ct_;
  } while (!(a_ & 0x8000));
}

int32_t MqDecoder::decode(int32_t context, Probabilities& probabilities) {
  int32_t& index = probabilities.state[static_cast<size_t>(context)];
  int32_t& mps = probabilities.mps[static_cast<size_t>(context)];
  const ProbabilityState state = probabilityState(index);
  const uint32_t rest = a_ - state.qe;
  const bool upper = rest > c_ >> 16;
  if (upper) {
    a_ = rest;
    if (rest & 0x8000) return mps;
  } else {
    c_ -= rest << 16;
    a_ = state.qe;
  }
  // The larger part of the interval belongs to the more probable symbol.
  const bool lessProbable = upper ? rest < state.qe : rest >= state.qe;
  const int32_t decision = lessProbable ? 1 - mps : mps;
  if (lessProbable && state.switches) mps = 1 - mps;
  index = lessProbable ? state.nlps : state.nmps;
  renormalise();
  return decision;
}

bool MqDecoder::endsWell() {
  if (byteAt(position_) < 0xFF && !marker_) return false;
  if (ct_ != 0) {
    if (!marker_) return false;
    if (ct_ == 1) return true;
  } else {
    if (!marker_ && byteAt(position_ + 1) < 0x90) return false;
    ct_ = 8;
  }
  const uint32_t q = 0x8000u >> (ct_ - 1);
  return a_ - q <= c_ >> 16;
}

int32_t RawDecoder::read() {
  const int32_t byte = position_ < segment_.size() ? segment_[position_] : 255;
  ++position_;
  return byte;
}

int32_t RawDecoder::decode() {
  if (index_ < 0) {
    index_ = byte_ == 0xFF ? 6 : 7;
    byte_ = read();
  }
  return byte_ >> index_-- & 1;
}

bool RawDecoder::endsWell() {
  const size_t length = segment_.size();
  if (index_ >= 0) {
    if ((byte_ & ((1 << (index_ + 1)) - 1)) != 0x55 >> (7 - index_)) return false;
  } else if (byte_ == 0xFF) {
    if (position_ > length) return true;
    byte_ = read();
    index_ = 6;
  }
  if (position_ > length) return true;
  if (position_ == length) {
    ++position_;
    return !(byte_ == 0xFF && index_ == 0);
  }
  const int32_t last = byte_;
  byte_ = read();
  if (last != 0xFF || index_ != 0) return true;
  return byte_ <= 0x7F && position_ <= length;
}

void BlockDecoder::attach(int32_t subband, int32_t significantBits, int32_t styleFlags) {
  if (!(styleFlags & kKeepDestination)) std::fill(samples_.begin(), samples_.end(), 0);
  if (!(styleFlags & kKeepFlags)) map_ = BlockMap(map_.width(), map_.height());
  map_.setVerticallyCausal(styleFlags & kVerticallyCausal);
  probabilities_.reset();
  subband_ = subband;
  flags_ = styleFlags;
  bypassPlane_ = styleFlags & kBypass ? std::max(significantBits - 4, 0) : 0;
  plane_ = significantBits - 1;
  next_ = Next::Cleanup;
  passesLeft_ = 0;
}

QlmStatus BlockDecoder::step(std::span<const uint8_t> segment) {
  if (passesLeft_ < 1 || plane_ < 0) return qlmOk;
  const bool error = flags_ & kTerminateEach ? stepOnePass(segment) : stepSegment(segment);
  return error ? qlmErrCodeBlockData : qlmOk;
}

bool BlockDecoder::stepOnePass(std::span<const uint8_t> segment) {
  MqDecoder mq(segment);
  RawDecoder raw(segment);
  const Check check = flags_ & kCheckTermination ? Check::Termination : Check::None;
  bool error = false;
  switch (next_) {
    case Next::Cleanup:
      error = cleanupPass(mq, check);
      --plane_;
      next_ = plane_ >= bypassPlane_ ? Next::Significance : Next::RawSignificance;
      break;
    case Next::Significance:
      error = significancePass(mq, check);
      next_ = Next::Refinement;
      break;
    case Next::Refinement:
      error = refinementPass(mq, check);
      next_ = Next::Cleanup;
      break;
    case Next::CleanupInBypass:
      error = cleanupPass(mq, check);
      --plane_;
      next_ = Next::RawSignificance;
      break;
    case Next::RawSignificance:
      error = rawSignificancePass(raw, Check::Termination);
      next_ = Next::RawRefinement;
      break;
    case Next::RawRefinement:
      error = rawRefinementPass(raw);
      next_ = Next::CleanupInBypass;
      break;
  }
  --passesLeft_;
  return error;
}

bool BlockDecoder::stepSegment(std::span<const uint8_t> segment) {
  MqDecoder mq(segment);
  RawDecoder raw(segment);
  const Check check = flags_ & kCheckTermination ? Check::Termination : Check::None;
  bool error = false;
  if (next_ == Next::CleanupInBypass) {
    error = cleanupPass(mq, check);
    if (--passesLeft_ > 0) {
      --plane_;
      next_ = Next::RawSignificance;
    }
    return error;
  }
  if (next_ == Next::RawSignificance) {
    error = rawSignificancePass(raw, Check::None);
    if (--passesLeft_ > 0) {
      error |= rawRefinementPass(raw);
      next_ = Next::CleanupInBypass;
      --passesLeft_;
    }
    return error;
  }
  for (;;) {
    error |= cleanupPass(mq, plane_ == bypassPlane_ ? check : Check::None);
    if (--passesLeft_ < 1) return error;
    const bool last = plane_ <= bypassPlane_;
    --plane_;
    if (last) {
      next_ = Next::RawSignificance;
      return error;
    }
    error |= significancePass(mq, Check::None);
    if (--passesLeft_ < 1) return error;
    error |= refinementPass(mq, Check::None);
    if (--passesLeft_ < 1) return error;
  }
}

bool BlockDecoder::isCandidate(int32_t x, int32_t y) const {
  return !map_.at(x, y).significant && map_.hasSignificantNeighbour(x, y);
}

void BlockDecoder::becomeSignificant(int32_t x, int32_t y, bool negative) {
  const uint32_t value = (uint32_t{3} << plane_) >> 1;  // the bit of this plane and half of it
  samples_[map_.index(x, y)] = static_cast<int32_t>(value | (negative ? 0x80000000u : 0));
  map_.at(x, y).significant = true;
  map_.at(x, y).negative = negative;
}

void BlockDecoder::decodeSign(MqDecoder& mq, int32_t x, int32_t y) {
  const BlockMap::Sign sign = map_.signContext(x, y);
  becomeSignificant(x, y, (mq.decode(sign.context, probabilities_) != 0) != sign.flip);
}

void BlockDecoder::refine(int32_t x, int32_t y, int32_t bit) {
  const uint32_t half = (uint32_t{1} << plane_) >> 1;
  const auto sample = static_cast<uint32_t>(samples_[map_.index(x, y)]);
  const uint32_t known = sample >> plane_ >> 1 << plane_ << 1;
  samples_[map_.index(x, y)] = static_cast<int32_t>(known | static_cast<uint32_t>(bit) << plane_ | half);
}

bool BlockDecoder::endMqPass(MqDecoder& mq, Check check, bool error) {
  if (check == Check::Termination) error = !mq.endsWell();
  if (flags_ & kResetContexts) probabilities_.reset();
  return error;
}

bool BlockDecoder::significancePass(MqDecoder& mq, Check check) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    if (!isCandidate(x, y)) return;
    map_.at(x, y).visited = true;
    if (mq.decode(map_.significanceContext(x, y, subband_), probabilities_)) decodeSign(mq, x, y);
  });
  return endMqPass(mq, check, false);
}

bool BlockDecoder::rawSignificancePass(RawDecoder& raw, Check check) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    if (!isCandidate(x, y)) return;
    map_.at(x, y).visited = true;
    if (raw.decode()) becomeSignificant(x, y, raw.decode() != 0);
  });
  return check == Check::Termination && !raw.endsWell();
}

bool BlockDecoder::refinementPass(MqDecoder& mq, Check check) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    BlockMap::Sample& sample = map_.at(x, y);
    if (!sample.significant || sample.visited) return;
    refine(x, y, mq.decode(map_.refinementContext(x, y), probabilities_));
    sample.refined = true;
  });
  return endMqPass(mq, check, false);
}

bool BlockDecoder::rawRefinementPass(RawDecoder& raw) {
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) {
    if (map_.at(x, y).significant && !map_.at(x, y).visited) refine(x, y, raw.decode());
  });
  return !raw.endsWell();
}

bool BlockDecoder::cleanupPass(MqDecoder& mq, Check check) {
  // The row of a column that a run has told to become significant.
  int32_t runX = -1, runY = -1;
  const auto column = [&](int32_t x, int32_t y) {
    if (!map_.codesRun(x, y)) return 0;
    if (!mq.decode(kRunLength, probabilities_)) return 4;
    int32_t zeros = mq.decode(kUniform, probabilities_) << 1;
    zeros |= mq.decode(kUniform, probabilities_);
    runX = x;
    runY = y + zeros;
    return zeros;
  };
  scanStripes(map_.width(), map_.height(), column, [&](int32_t x, int32_t y) {
    BlockMap::Sample& sample = map_.at(x, y);
    if (x == runX && y == runY) {
      decodeSign(mq, x, y);
    } else if (!sample.significant && !sample.visited) {
      if (mq.decode(map_.significanceContext(x, y, subband_), probabilities_)) decodeSign(mq, x, y);
    }
  });
  scanStripes(map_.width(), map_.height(), [&](int32_t x, int32_t y) { map_.at(x, y).visited = false; });
  bool error = false;
  if (flags_ & kSegmentationSymbols) {
    int32_t symbols = 0;
    for (int32_t i = 0; i < 4; ++i) symbols = symbols << 1 | mq.decode(kUniform, probabilities_);
    error = symbols != 10;
  }
  return endMqPass(mq, check, error);
}

void BlockDecoder::conceal() {
  if (plane_ < 0) return;  // no bit is below the plane
  for (int32_t& sample : samples_) {
    const auto bits = static_cast<uint32_t>(sample);
    const uint32_t known = bits >> plane_ << plane_;
    sample = static_cast<int32_t>(known & 0x7FFFFFFF ? known | uint32_t{1} << plane_ : 0);
  }
}

BlockDecoder::Whole BlockDecoder::decode(const std::vector<std::span<const uint8_t>>& segments, int32_t subband,
                                         int32_t significantBits, int32_t passes, int32_t styleFlags) {
  attach(subband, significantBits, styleFlags);
  setPassCounter(passes);
  Whole result{qlmOk, {}};
  for (const auto segment : segments) {
    result.status = step(segment);
    if (result.status != qlmOk) break;
  }
  if (result.status == qlmErrCodeBlockData) {
    result.errorPlane = plane_;
    if (styleFlags & kConceal) conceal();
  }
  if (!(styleFlags & kKeepReconstruction) && plane_ > 0) {
    for (int32_t& sample : samples_) sample = static_cast<int32_t>(static_cast<uint32_t>(sample) >> plane_ << plane_);
  }
  return result;
}

}  // namespace model
