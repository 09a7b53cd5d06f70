// How many of the lowest bit-planes of each code-block need not be coded where the file is to be small: they would be
// cut off by the allocation of layers, and they are the ones that cost the most time. The guess is made from the sizes
// of the values alone; whether it held, the allocation shows.
#pragma once

#include <array>

#include "jpeg2000/block_encode.h"
#include "jpeg2000/layers.h"

namespace sample::j2k {

// Of a code-block: how many of its magnitudes, in steps of the quantiser, have so many bits.
struct BlockSizes {
  std::array<int32_t, 33> count{};
  double weight = 1;  // as in BandEncoding
};

BlockSizes sizesOf(const BandEncoding& band, const TilePlane& plane, const Box& area);

// For each block the lowest plane that a layer of this size may take something of, and some below it.
std::vector<int32_t> guessFloors(std::span<const BlockSizes> blocks, const Jpeg2000Layer& layer,
                                 const LayerBudget& budget);

}  // namespace sample::j2k
