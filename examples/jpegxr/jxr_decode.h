// The entropy-coded part of a tile (T.832 8.7): from packets to quantised lowpass coefficients and dequantised highpass
// coefficients. The block coders are those of the library.
#pragma once

#include <string>

#include "jpegxr/jxr_predict.h"

namespace sample {

// Decodes into planes of the right size that hold zeros. Returns what was wrong first, or nothing; then coefficients
// that are missing are zero, and the bands of a frequency layout go on as far as each of them does.
std::string decodeTile(const JxrHeader& header, const MbRange& columns, const MbRange& rows,
                       const JxrTilePackets& packets, JxrPlanes& planes);

}  // namespace sample
