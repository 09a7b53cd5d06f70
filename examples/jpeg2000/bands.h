// The bands of a picture under JPEG 2000's transforms (ITU-T T.800 Annexes F and G): a component transform, then level
// by level a wavelet on the low band of the level before, all by this library. Nothing is quantised or coded.
#pragma once

#include <cstdint>
#include <vector>

#include "support/picture.h"

namespace sample {

enum class Wavelet { k53, k97 };  // with them go the reversible and the irreversible component transform

// The planes of a transformed picture as the forms in place leave them: after each level the low band in the top left
// corner, the horizontally high one on its right, the vertically high one below. Values have their level shifted.
struct Bands {
  Wavelet wavelet;
  int32_t levels;
  int32_t width, height;
  std::vector<std::vector<int32_t>> planes;  // one or three, rows without padding
};

// `picture` has 1 or 3 channels.
Bands toBands(const Picture& picture, Wavelet wavelet, int32_t levels);

// Undoes toBands: exactly for 5/3, within rounding for 9/7.
Picture fromBands(const Bands& bands);

// The bands as a picture of the same size: the low band as it is, the other ones three times as strong around mid grey.
Picture showBands(const Bands& bands);

}  // namespace sample
