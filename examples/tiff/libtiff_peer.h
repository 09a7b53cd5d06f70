// libtiff as the other side: whole pictures, and single strips of PackBits, as TIFF files in memory. For tests and the
// demo; the sample codec does without it.
#pragma once

#include <span>
#include <vector>

#include "tiff/tiff_file.h"

namespace sample {

// All throw std::runtime_error with libtiff's message.

// A file that libtiff packs with PackBits, in strips of `rowsPerStrip` rows.
std::vector<uint8_t> peerWriteTiff(const Picture16& picture, int32_t rowsPerStrip = 64);
// Two 8-bit planes are taken for the high and the low bytes of 16-bit grey.
Picture16 peerReadTiff(std::span<const uint8_t> file);

// Grey pictures of one strip: packed by libtiff, and with a strip that was packed elsewhere.
std::vector<uint8_t> tiffWrite(const Picture& grey);
std::vector<uint8_t> tiffWritePacked(int32_t width, int32_t height, std::span<const uint8_t> strip);

Picture tiffRead(std::span<const uint8_t> file);
std::vector<uint8_t> tiffReadPacked(std::span<const uint8_t> file);

}  // namespace sample
