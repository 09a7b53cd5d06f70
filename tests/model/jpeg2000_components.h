// Scalar models of the component transforms (ITU-T T.800 Annex G), one pixel at a time.
#pragma once

#include <cstdint>

namespace model {

// Forward: red, green, blue become luminance, blue difference, red difference. Inverse: the other way round.
// T is int16_t or int32_t for the reversible transform, and float too for the irreversible one.
template <typename T>
struct Pixel {
  T v[3];
};
template <typename T>
Pixel<T> forwardRct(Pixel<T> rgb);
template <typename T>
Pixel<T> inverseRct(Pixel<T> y);
template <typename T>
Pixel<T> forwardIct(Pixel<T> rgb);
template <typename T>
Pixel<T> inverseIct(Pixel<T> y);

}  // namespace model
