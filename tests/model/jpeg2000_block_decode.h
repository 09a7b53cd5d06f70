// Scalar model of the JPEG 2000 code-block decoder (ITU-T T.800 Annexes C and D), one symbol at a time: segment by
// segment, and a whole block in one call with concealment and the final mask.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "model/jpeg2000_block.h"
#include "qlmjp/types.h"

namespace model {

// The bits of the style argument that only the decoder reads.
enum DecodeStyle : int32_t {
  kConceal = 0x10000,
  kKeepDestination = 0x20000,
  kKeepReconstruction = 0x40000,
  kKeepFlags = 0x80000,
  kCheckTermination = 0x100000,
};

// The decoder of T.800 Annex C.3 in the software conventions of Annex J.1, with an inverted code register.
class MqDecoder {
 public:
  explicit MqDecoder(std::span<const uint8_t> segment);
  int32_t decode(int32_t context, Probabilities& probabilities);
  // Whether the segment ended as the checkable ending of the encoder leaves it.
  bool endsWell();

 private:
  uint32_t byteAt(size_t position) const { return position < segment_.size() ? segment_[position] : 255; }
  void refill();
  void renormalise();

  std::span<const uint8_t> segment_;
  size_t position_ = 0;
  uint32_t a_, c_;
  int32_t ct_;
  bool marker_ = false;
};

class RawDecoder {
 public:
  explicit RawDecoder(std::span<const uint8_t> segment) : segment_(segment) {}
  int32_t decode();
  bool endsWell();

 private:
  int32_t read();

  std::span<const uint8_t> segment_;
  size_t position_ = 0;
  int32_t byte_ = 0, index_ = -1;
};

class BlockDecoder {
 public:
  BlockDecoder(int32_t width, int32_t height)
      : map_(width, height), samples_(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

  // What the destination holds, row by row.
  std::vector<int32_t>& samples() { return samples_; }

  void attach(int32_t subband, int32_t significantBits, int32_t styleFlags);
  void setPassCounter(int32_t passes) { passesLeft_ = passes; }
  int32_t passCounter() const { return passesLeft_; }
  int32_t plane() const { return plane_; }
  QlmStatus step(std::span<const uint8_t> segment);

  struct Whole {
    QlmStatus status;
    std::optional<int32_t> errorPlane;
  };
  Whole decode(const std::vector<std::span<const uint8_t>>& segments, int32_t subband, int32_t significantBits,
               int32_t passes, int32_t styleFlags);

 private:
  // The passes give true for an error.
  enum class Check { None, Termination };
  bool significancePass(MqDecoder& mq, Check check);
  bool refinementPass(MqDecoder& mq, Check check);
  bool cleanupPass(MqDecoder& mq, Check check);
  bool rawSignificancePass(RawDecoder& raw, Check check);
  bool rawRefinementPass(RawDecoder& raw);
  bool endMqPass(MqDecoder& mq, Check check, bool error);

  void decodeSign(MqDecoder& mq, int32_t x, int32_t y);
  void becomeSignificant(int32_t x, int32_t y, bool negative);
  void refine(int32_t x, int32_t y, int32_t bit);
  bool isCandidate(int32_t x, int32_t y) const;

  bool stepOnePass(std::span<const uint8_t> segment);
  bool stepSegment(std::span<const uint8_t> segment);
  void conceal();

  BlockMap map_;
  std::vector<int32_t> samples_;
  Probabilities probabilities_;
  int32_t subband_ = 0, flags_ = 0, plane_ = 0, bypassPlane_ = 0, passesLeft_ = 0;
  enum class Next { Cleanup, Refinement, Significance, CleanupInBypass, RawRefinement, RawSignificance };
  Next next_ = Next::Cleanup;
};

}  // namespace model
