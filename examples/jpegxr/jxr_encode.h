// The entropy-coded part of a picture (T.832 8.7): from quantised coefficients to the packet of one tile in spatial
// layout. The block coders are those of the library.
#pragma once

#include "jpegxr/jxr_predict.h"

namespace sample {

// Takes predictions off the highpass coefficients on the way.
std::vector<uint8_t> encodePicture(const JxrHeader& header, JxrPlanes& planes);

}  // namespace sample
