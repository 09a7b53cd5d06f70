// A sample TIFF codec over the row functions of the library (TIFF 6.0, sections 2, 3, 6 and 9): grey and RGB pictures
// of 8 or 16 bits a sample, in strips packed with PackBits. What it does not know it names in an error.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "support/picture.h"

namespace sample {

// Rows from top to bottom, interleaved channels; 8-bit samples use the low byte.
struct TiffPicture {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 3;  // 1 or 3
  int32_t bits = 8;      // 8 or 16
  std::vector<uint16_t> samples;

  bool operator==(const TiffPicture&) const = default;
};

enum class TiffLayout {
  Interleaved,  // samples as they are, 16-bit ones in the byte order of the file
  BytePlanes    // 16-bit grey only: a plane of high and a plane of low bytes (PlanarConfiguration 2), which pack far
                // better, since the high bytes of neighbours are alike
};

struct TiffError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// To and from a picture of 8 bits; 16-bit samples lose their low byte.
TiffPicture toTiff(const Picture& picture);
Picture fromTiff(const TiffPicture& picture);

std::vector<uint8_t> writeTiff(const TiffPicture& picture, TiffLayout layout = TiffLayout::Interleaved);

// Reads what writeTiff writes and what others write of the same kind, in either byte order, packed or not. Throws
// TiffError with a message for people; no bytes make it read or write out of bounds.
TiffPicture readTiff(const std::vector<uint8_t>& file);

}  // namespace sample
