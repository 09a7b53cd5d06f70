// Packets to the coded bytes of each code-block (T.800 B.9 and B.10).
#pragma once

#include <memory>
#include <string>

#include "jpeg2000/codestream.h"
#include "jpeg2000/geometry.h"
#include "jpeg2000/tag_tree.h"

namespace sample::j2k {

// What one packet brings to one codeword segment of a code-block.
struct Piece {
  Bytes bytes;
  int32_t passes;
};

struct CodeBlock {
  std::vector<Piece> pieces;
  int32_t passes = 0;      // that the packets have told of, whether they are wanted or not
  int32_t zeroPlanes = 0;  // most significant ones that are left out
  int32_t lengthBits = 3;  // Lblock (B.10.7.1)
};

struct PrecinctBand {
  BlockGrid grid;
  std::vector<CodeBlock> blocks;
  TagTree inclusion, zeroPlanes;
};

using Precinct = std::vector<PrecinctBand>;

// By component, resolution and precinct; null where no packet has come.
using Precincts = std::vector<std::vector<std::vector<std::unique_ptr<Precinct>>>>;

// Passes from this one to the end of its codeword segment (Tables D.8, D.9).
int32_t passesToSegmentEnd(int32_t blockStyle, int32_t pass);

// Reads as many packets as there are. Those of `layers` and above are only passed over. `warning` tells why packets are
// missing; pieces point into the tile.
Precincts readPackets(const ImageSize& size, const Tile& tile, const TileGeometry& geometry, int32_t layers,
                      std::string& warning);

}  // namespace sample::j2k
