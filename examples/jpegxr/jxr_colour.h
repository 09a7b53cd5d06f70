// Between pixels and the samples of components (T.832 clause 9): Y, U and V as reversible differences of red,
// green and blue, chroma at half its size, and the three further bits of scaled files.
#pragma once

#include "jpegxr/jxr_predict.h"
#include "support/picture.h"

namespace sample {

// Planes of the shape that the header tells become a picture of that size, grey or RGB. Where they hold chroma at half
// its size, values between two samples are their mean.
void planesToPixels(const JxrHeader& header, const JxrPlanes& planes, Picture& picture);
void planesToPixels(const JxrHeader& header, const JxrPlanes& planes, Picture16& picture);

// The converse; the last row and column are repeated to whole macroblocks, and chroma is smoothed before each second
// sample is left out.
void pixelsToPlanes(const JxrHeader& header, const Picture& picture, JxrPlanes& planes);
void pixelsToPlanes(const JxrHeader& header, const Picture16& picture, JxrPlanes& planes);

}  // namespace sample
