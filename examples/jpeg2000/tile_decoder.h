// A tile's packets to samples: code-blocks, dequantisation (T.800 Annex E), regions of interest (Annex H), wavelet
// (Annex F), component transform and level shift (Annex G).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "jpeg2000/packets.h"

namespace sample::j2k {

// Where the samples of a component go.
struct SamplePlane {
  Box box;  // on the grid of the component at its reduced size
  int32_t* samples;

  int32_t* row(int32_t y) const { return samples + ptrdiff_t{box.width()} * (y - box.y0); }
};

struct DecodeChoice {
  int32_t discardLevels = 0;
  int32_t layers = kMostLayers;
  int32_t threads = 1;
};

// Decodes what there is of the tile. Returns why it is not whole; empty where it is. Throws Jpeg2000Error where nothing
// of it can be decoded.
std::string decodeTile(const Codestream& codestream, int32_t tile, const DecodeChoice& choice,
                       const std::vector<SamplePlane>& planes);

}  // namespace sample::j2k
