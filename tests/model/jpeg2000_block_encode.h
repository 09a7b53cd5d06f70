// Scalar model of the JPEG 2000 code-block encoder (ITU-T T.800 Annexes C and D): decisions and distortions of all
// passes first, then bytes, one symbol and one byte at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "model/jpeg2000_block.h"

namespace model {

// The bit of the style argument that only the encoder reads.
inline constexpr int32_t kReversible = 32;

struct Decision {
  int32_t bit, context;
};

// The encoder of T.800 Annex C.2 with its three endings. Finished bytes gather in `staged`.
class MqEncoder {
 public:
  void start();
  void code(Decision decision, Probabilities& probabilities);
  // Mode 0 is the default ending, 1 the shortest, 2 the one that a decoder can check.
  void end(int32_t mode);

  // Bytes that an end of the codeword here could still need, as rate allocation takes it.
  int32_t pendingBytes() const;

  std::vector<uint8_t> staged;

 private:
  void stage();
  void byteOut();
  void endShortest();

  uint32_t a_, c_, b_;
  int32_t ct_;
  int32_t count_;  // bytes staged since the start, the imaginary one before the first included
};

class RawEncoder {
 public:
  void put(int32_t bit, std::vector<uint8_t>& out);
  void end(std::vector<uint8_t>& out);
  bool hasPartialByte() const;

 private:
  bool afterFF_ = false;
  int32_t byte_ = 0, nextBit_ = 7;
};

// One block, as the exports handle it: load, then store until the flag falls, then the queries.
class BlockEncoder {
 public:
  struct Style {
    int32_t subband, magnitudeBits, terminationMode, flags;
  };
  // `samples` row by row: a sign in bit 31, a magnitude below it.
  BlockEncoder(const std::vector<int32_t>& samples, int32_t width, int32_t height, Style style);

  int32_t significantBits() const { return significantBits_; }
  int32_t passCount() const { return static_cast<int32_t>(passes_.size()); }
  int32_t terminatedPassCount() const;

  struct Stored {
    std::vector<uint8_t> bytes;
    int32_t notFinished;
  };
  Stored store(size_t room);

  // The passes that store has finished: rates and lengths stand up to here.
  int32_t finishedPasses() const { return static_cast<int32_t>(storePass_); }
  double distortion(int32_t pass) const;
  int32_t rate(int32_t pass) const { return passes_[static_cast<size_t>(pass)].rate; }
  int32_t terminatedLength(int32_t segment) const;

 private:
  struct Pass {
    bool raw;
    int32_t exponent;
    int64_t distortion = 0;
    std::vector<Decision> decisions{};
    int32_t length = 0, rate = 0;
  };

  void significancePass(int32_t plane, bool raw);
  void refinementPass(int32_t plane, bool raw);
  void cleanupPass(int32_t plane);
  void codeSign(int32_t x, int32_t y, int32_t plane, bool raw);
  void addDistortion(int32_t x, int32_t y, int32_t plane, bool refinement);
  void append(int32_t bit, int32_t context) { passes_.back().decisions.push_back({bit, context}); }
  int32_t bitOf(int32_t x, int32_t y, int32_t plane) const;

  bool endsSegment(size_t pass) const;
  bool storeRaw(const Pass& pass, bool ends, size_t room, std::vector<uint8_t>& out);
  bool storeMq(const Pass& pass, bool ends, size_t room, std::vector<uint8_t>& out);
  void finishPass();
  void repairRates(const std::vector<uint8_t>& written);

  Style style_;
  BlockMap map_;
  std::vector<int32_t> samples_;
  int32_t lowestPlane_, significantBits_;
  std::vector<Pass> passes_;

  MqEncoder mq_;
  RawEncoder raw_;
  Probabilities probabilities_;
  bool segmentHasSymbols_ = false;  // of the MQ coder
  bool endCoded_ = false;           // the ending is staged, if not yet stored
  size_t storePass_ = 0, symbol_ = 0;
  int32_t passBytes_ = 0, finishedBytes_ = 0;
  int32_t bytesOfEarlierCalls_ = 0;
};

}  // namespace model
