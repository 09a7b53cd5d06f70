// Steps of the quantiser of a band (T.800 Annex E), and what an error of a band weighs in the picture.
#pragma once

#include "jpeg2000/format.h"
#include "jpeg2000/geometry.h"

namespace sample::j2k {

// The root of the summed squares that a single value of 1 in a band makes in the samples. `level` counts the
// wavelets between the band and the samples; 0 has the samples themselves.
double bandNorm(bool reversible, int32_t level, Orientation orientation);

// The same of a component through the inverse component transform (Annex G).
double componentNorm(bool reversible, int32_t component);

// The step as it is written, in units of a sample (E-3). Bands of the reversible path have steps of 1.
double stepSize(const Quantisation::Step& step, int32_t bits, Orientation orientation);

// The nearest step that can be written with an exponent of 0 to `mostExponent`.
Quantisation::Step nearestStep(double size, int32_t bits, Orientation orientation, int32_t mostExponent);

// Planes that the magnitudes of a band have in the codestream (E-2).
constexpr int32_t magnitudePlanes(int32_t guardBits, const Quantisation::Step& step) {
  return guardBits + step.exponent - 1;
}

}  // namespace sample::j2k
