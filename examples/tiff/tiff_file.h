// A sample TIFF codec over the row functions of the library (TIFF 6.0, sections 2, 3, 6 and 9): grey and RGB pictures
// of 8 or 16 bits a sample, in strips packed with PackBits. Pictures of other depths have to be brought to one of these
// first. What it does not know it names in an error.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "support/picture.h"

namespace sample {

enum class TiffLayout {
  Interleaved,  // samples as they are, 16-bit ones in the byte order of the file
  BytePlanes    // 16-bit grey only: a plane of high and a plane of low bytes (PlanarConfiguration 2), which pack far
                // better, since the high bytes of neighbours are alike
};

struct TiffError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::vector<uint8_t> writeTiff(const Picture16& picture, TiffLayout layout = TiffLayout::Interleaved);

// Reads what writeTiff writes and what others write of the same kind, in either byte order, packed or not. Throws
// TiffError with a message for people; no bytes make it read or write out of bounds.
Picture16 readTiff(const std::vector<uint8_t>& file);

}  // namespace sample
