// Between samples and quantised coefficients (T.832 clause 9): overlap filters, and the library's transform in two
// stages, over the samples of a block and over the DC values of a macroblock.
#pragma once

#include "jpegxr/jxr_predict.h"

namespace sample {

// Shapes planes for a picture and fills them with zeros.
void shapePlanes(const JxrHeader& header, JxrPlanes& planes);

// From lowpass coefficients as they are in the file, and dequantised highpass coefficients, to samples.
void inverseTransform(const JxrHeader& header, JxrPlanes& planes);

// From samples to quantised coefficients; the places of DC values among the highpass coefficients become zero.
void forwardTransform(const JxrHeader& header, JxrPlanes& planes);

}  // namespace sample
