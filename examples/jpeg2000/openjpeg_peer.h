// OpenJPEG on pictures, to check and race with.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "support/picture.h"

namespace sample {

struct OpenjpegOptions {
  bool jp2 = true;
  bool reversible = true;
  std::vector<double> layerBytes = {};  // of the file, rising; none: one layer with everything
  int32_t levels = 5;
  int32_t tileWidth = 0, tileHeight = 0;
  int32_t blockWidth = 64, blockHeight = 64;
  int32_t blockStyle = 0;   // as in the codestream
  int32_t progression = 0;  // LRCP, RLCP, RPCL, PCRL, CPRL
  int32_t precinctWidth = 0, precinctHeight = 0;
  bool sop = false, eph = false;
  bool colourTransform = true;  // of the first three of at least three channels
};

// Samples as they are stored, of the first so many layers, or of all. Throws std::runtime_error with OpenJPEG's
// message, also where it only warns.
Picture16 openjpegDecode(std::span<const uint8_t> file, int32_t layers = 0);
std::vector<uint8_t> openjpegEncode(const Picture16& picture, const OpenjpegOptions& options = {});

}  // namespace sample
