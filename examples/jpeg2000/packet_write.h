// Packets (T.800 B.9, B.10): which passes of the code-blocks of a precinct belong to a layer, told in the header, and
// their bytes behind it.
#pragma once

#include <span>

#include "jpeg2000/block_encode.h"
#include "jpeg2000/tag_tree.h"

namespace sample::j2k {

// The code-blocks of a precinct that one band has, and what the decoder knows of them so far.
struct WrittenBand {
  WrittenBand(std::span<const CodedBlock> coded, const BlockGrid& grid);

  std::span<const CodedBlock> blocks;
  TagTree inclusion, zeroPlanes;
  struct Told {
    int32_t passes = 0;
    int32_t lengthBits = 3;  // Lblock
  };
  std::vector<Told> told;
};

using WrittenPrecinct = std::vector<WrittenBand>;

// Appends the header of the precinct's next packet, in which the blocks of all its bands, in order, go on up to so many
// `passes`. The precinct then is where the decoder is.
void writePacketHeader(WrittenPrecinct& precinct, int32_t layer, std::span<const int32_t> passes,
                       std::vector<uint8_t>& out);

// Appends the bytes of the passes [from, to) of a block.
void writePasses(const CodedBlock& block, int32_t from, int32_t to, std::vector<uint8_t>& out);

// How many bytes these are.
int32_t bytesOfPasses(const CodedBlock& block, int32_t from, int32_t to);

}  // namespace sample::j2k
