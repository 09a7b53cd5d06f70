// Code-blocks to coefficients (T.800 Annexes C to E) by the library's decoder of codeword segments.
#pragma once

#include <memory>

#include "jpeg2000/packets.h"
#include "qlmjp/jpeg2000.h"

namespace sample::j2k {

// What the code-blocks of a band have in common.
struct BandCoding {
  Orientation orientation = Orientation::kLL;
  int32_t planes = 0;  // of magnitude bits, those of the region of interest left aside (Mb, E-2)
  int32_t roiShift = 0;
  int32_t blockStyle = 0;
  float step = 1;  // of the quantiser; for 9/7
};

// One thread's. Samples have their final magnitudes where T is an integer, and are dequantised where it is float. A
// block without data is zero.
class BlockDecoder {
 public:
  BlockDecoder();
  BlockDecoder(const BlockDecoder&) = delete;
  BlockDecoder& operator=(const BlockDecoder&) = delete;
  ~BlockDecoder();

  // False where the data contradict themselves; what was decoded until then is kept.
  template <typename T>
  bool decode(const CodeBlock& block, const BandCoding& coding, QlmSize size, T* dst, int32_t dstStep);

 private:
  bool decodeMagnitudes(const CodeBlock& block, const BandCoding& coding, QlmSize size, int32_t planes,
                        int32_t fraction);

  QlmDecodeState_JPEG2K* state_ = nullptr;
  std::vector<int32_t> samples_;  // sign and magnitude
  std::vector<uint8_t> bytes_;    // of a code-block in several pieces
};

}  // namespace sample::j2k
