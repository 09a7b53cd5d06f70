// Which coding passes each quality layer gets: the most valuable ones for their bytes first, over all code-blocks of
// the picture (post-compression rate-distortion optimisation).
#pragma once

#include "jpeg2000/packet_write.h"

namespace sample {

// What a layer holds, together with those before it.
struct Jpeg2000Layer {
  enum class By { kEverything, kBytes, kBitsPerPixel, kPsnr };
  By by = By::kEverything;
  double value = 0;  // bytes of the whole file at most, the same in bits a pixel, or dB at least, as far as foreseen
};

namespace j2k {

// A precinct with its place among the blocks of the picture.
struct PlacedPrecinct {
  WrittenPrecinct precinct;
  size_t firstBlock = 0, blocks = 0;
};

struct LayerBudget {
  int64_t pixels = 0;
  double peakEnergy = 0;       // of all samples at their maximum
  int64_t fixedBytes = 0;      // of the file beside its packets
  int64_t bytesPerPacket = 0;  // beside header and body
};

// The most bytes of the file that a layer allows, and the squared error that it wants; infinite and 0 for others.
double bytesOf(const Jpeg2000Layer& layer, const LayerBudget& budget);
double errorOf(const Jpeg2000Layer& layer, const LayerBudget& budget);

// For each layer the passes that each block has had with it. `precincts` is as at the start of the tiles.
std::vector<std::vector<int32_t>> allocateLayers(std::span<const CodedBlock> blocks,
                                                 std::span<const PlacedPrecinct> precincts,
                                                 std::span<const Jpeg2000Layer> layers, const LayerBudget& budget);

}  // namespace j2k
}  // namespace sample
