// The JPEG codec of DCMTK as the other side for lossless files and those of 12 bits, through its command-line programs:
// the coded picture travels in a minimal DICOM file (PS3.5 A.4, PS3.10 7.1). For tests and the demo; the sample codec
// does without it.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/picture.h"

namespace sample {

// Grey or RGB, of the bits of the picture. `options` are those of dcmcjpeg. Throws std::runtime_error with its message.
std::vector<uint8_t> dcmtkWrite(const Picture16& picture, const std::string& options);

// Which process the DICOM file announces.
enum class DcmtkProcess { kExtended, kProgressive, kLossless };
Picture16 dcmtkRead(std::span<const uint8_t> file, int32_t width, int32_t height, int32_t channels, int32_t bits,
                    DcmtkProcess process);

}  // namespace sample
