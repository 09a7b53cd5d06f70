// Code-blocks from values to bytes, by the library's code-block encoder (T.800 Annex D), with what each coding pass
// costs and gains.
#pragma once

#include <memory>

#include "jpeg2000/analysis.h"

struct QlmEncodeState_JPEG2K;

namespace sample::j2k {

struct CodedPass {
  int32_t segment;  // codeword segment that it belongs to
  int32_t end;      // of the bytes that a decoder needs for the block up to this pass
  double gain;      // by which the squared error of the picture has fallen
};

struct CodedBlock {
  int32_t zeroPlanes = 0;  // at the top, of those that the band has
  int32_t floor = 0;       // bit-planes at the bottom that are left out
  double residue = 0;      // squared error of the picture that all passes leave, if that is measured
  std::vector<uint8_t> bytes;
  std::vector<int32_t> segmentStarts;
  std::vector<CodedPass> passes;
};

// What the blocks of a band share.
struct BandEncoding {
  Orientation orientation = Orientation::kLL;
  int32_t planes = 0;  // of its magnitudes
  double unit = 1;     // values of the plane in a step of the quantiser
  double weight = 1;   // squared error of the picture for an error of a step
};

// What all blocks share.
struct BlockCoding {
  int32_t width = 64, height = 64;  // of the largest block
  int32_t style = 0;                // of BlockStyle
  bool reversible = true;
  bool measuresResidue = false;
};

// For one thread.
class BlockEncoder {
 public:
  explicit BlockEncoder(const BlockCoding& coding);
  // `area` is in elements of the plane. Bit-planes below `floor` are left out.
  CodedBlock encode(const BandEncoding& band, const TilePlane& plane, const Box& area, int32_t floor = 0);

 private:
  struct Free {
    void operator()(QlmEncodeState_JPEG2K* state) const;
  };

  void storeBytes(CodedBlock& block);
  void storePasses(CodedBlock& block, int32_t passes, int32_t segments, double weight);

  BlockCoding coding_;
  std::unique_ptr<QlmEncodeState_JPEG2K, Free> state_;
  std::vector<int32_t> magnitudes_;  // with their signs in bit 31
  std::vector<uint8_t> room_;
};

}  // namespace sample::j2k
