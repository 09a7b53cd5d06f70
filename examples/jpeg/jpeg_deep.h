// Colours of more than 8 bits a sample, in plain arithmetic: the library converts 8-bit ones (JFIF, T.872 6.5.3).
#pragma once

#include <span>

#include "jpeg/jpeg_format.h"

namespace sample {

// A row of interleaved samples, in place.
void componentsToPixels(JpegColour colour, std::span<uint16_t> row, int32_t bits);
void pixelsToComponents(JpegColour colour, std::span<uint16_t> row, int32_t bits);

}  // namespace sample
