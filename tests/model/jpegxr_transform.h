// Scalar model of the photo core transform (ITU-T T.832 9.9.7), block by block, in 16-bit and 32-bit integers that wrap
// at every operation, and in single precision.
#pragma once

#include <cstddef>
#include <vector>

namespace model {

// The sixteen values of a block, four rows one behind the other. T is int16_t, int32_t or float.
template <typename T>
struct PctBlock {
  T at[4][4];
};
template <typename T>
PctBlock<T> forwardPct(const PctBlock<T>& x);
template <typename T>
PctBlock<T> inversePct(const PctBlock<T>& o);

// All blocks of a region. In single precision the general form takes eight columns at a time and leaves out four that
// remain at the end of a row.
template <typename T>
using PctBlockTransform = PctBlock<T> (*)(const PctBlock<T>&);
template <typename T>
void transformRegion(std::vector<T>& samples, size_t width, size_t height, PctBlockTransform<T> transform);

}  // namespace model
