// The JPEG decoder and encoder that the standards define, in double precision: inverse and forward DCT (T.81 A.3.3),
// the matrix of JFIF, replicated chroma. Samples are not rounded or clamped before the last step.
#pragma once

#include "jpeg/jpeg_format.h"
#include "support/picture.h"

namespace test {

// Where samples are clamped to 8 bits: before the conversion of colours, or after it only.
enum class Clamp { kPixels, kSamples };

// Real-valued pixels, clamped to 0 to 255, in the layout of a picture. `scale` x `scale` pixels of each component
// become their mean first; the groups at the right and lower edges take in the padding.
std::vector<double> exactPixels(const sample::JpegCoefficients& coefficients, Clamp clamp = Clamp::kPixels,
                                int32_t scale = 1);

// The DCT of level-shifted samples before quantisation: one plane of blocks a component, with box-filtered chroma and
// the last column and row going on, in natural order.
std::vector<std::vector<double>> exactTransform(const sample::Picture& picture, const sample::JpegFrame& frame,
                                                sample::JpegColour colour);

}  // namespace test
