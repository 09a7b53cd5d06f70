// JPEG 2000 reader (T.800): JP2 files and bare codestreams of 1 to 4 components with 1 to 16 bits. The steps are: boxes
// (jp2_boxes), markers (codestream), packets, code-blocks (block_decoder), wavelet (inverse_wavelet) and all that a
// tile needs besides (tile_decoder).
#pragma once

#include <functional>
#include <span>
#include <string>

#include "jpeg2000/format.h"
#include "support/picture.h"

namespace sample {

struct Jpeg2000ReadOptions {
  int32_t discardLevels = 0;               // the picture is this many times halved, sizes rounded up
  int32_t layers = 0;                      // so many quality layers are decoded; 0 for all
  int32_t threads = 0;                     // that share the work; 0 for all processors
  int64_t mostSamples = int64_t{1} << 28;  // larger pictures are refused
  std::function<void(int32_t done, int32_t total)> progress = {};  // called after each tile
};

// The samples of a component, on its own grid.
struct Jpeg2000Plane {
  int32_t x0 = 0, y0 = 0;  // of the first sample, on the grid of the component
  int32_t width = 0, height = 0;
  int32_t dx = 1, dy = 1;  // distance of the samples on the reference grid
  int32_t bits = 8;
  bool isSigned = false;
  std::vector<int32_t> samples;
};

enum class Jpeg2000Colour { kGrey, kRgb, kYcc, kCmyk };

struct Jpeg2000Image {
  j2k::Box box;  // of the picture on the reference grid, at its reduced size
  Jpeg2000Colour colour = Jpeg2000Colour::kGrey;
  std::vector<Jpeg2000Plane> planes;  // first those of the colour, in its order, then opacity and others
  std::string warning;                // why the picture is not whole; empty where it is
};

// Throws Jpeg2000Error where nothing can be shown. What is missing of a damaged file is mid-grey.
Jpeg2000Image readJpeg2000Planes(std::span<const uint8_t> file, const Jpeg2000ReadOptions& options = {});

// A picture of 8 bits where no plane has more, scaled up from fewer, else one of as many bits as the deepest plane has.
// Subsampled planes are repeated, YCC becomes RGB, and the ink of CMYK light. Planes besides the colours are dropped.
AnyPicture toPicture(const Jpeg2000Image& image);

}  // namespace sample
