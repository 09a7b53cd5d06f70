// Scalar models of the reversible 5/3 wavelet (ITU-T T.800 Annex F) in all its call shapes, and of what both wavelets
// share: planes, the extension of lines, the order of directions and the four bands.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qlmjp/types.h"

namespace model {

// Rows without padding.
template <typename T>
struct Plane {
  int width = 0, height = 0;
  std::vector<T> samples;

  Plane() = default;
  Plane(int w, int h) : width(w), height(h), samples(static_cast<size_t>(w) * static_cast<size_t>(h)) {}
  T& at(int x, int y) { return samples[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)]; }
  T at(int x, int y) const { return const_cast<Plane*>(this)->at(x, y); }
  bool operator==(const Plane&) const = default;
};

// The sample that whole-sample symmetric extension puts at position i of a line of n samples, however far outside.
int mirrored(int i, int n);

// Applies `line` to all columns, then to all rows (forward), or to all rows, then to all columns (inverse).
template <typename T>
using LineTransform = std::vector<T> (*)(const std::vector<T>& line, int phase);
template <typename T>
void columnsThenRows(Plane<T>& plane, LineTransform<T> line, int phaseX, int phaseY);
template <typename T>
void rowsThenColumns(Plane<T>& plane, LineTransform<T> line, int phaseX, int phaseY);

// The four bands of the forms out of place. They are cut in one place, whatever the phase.
template <typename T>
using FourBands = std::array<Plane<T>, 4>;
template <typename T>
FourBands<T> cutBands(const Plane<T>& plane);
template <typename T>
Plane<T> joinBands(const FourBands<T>& bands, int width, int height);

// A line is held as its low-pass part followed by its high-pass part.
template <typename T>
std::vector<T> interleave(const std::vector<T>& line, int phase);

// One line of the plane forms.
template <typename T>
std::vector<T> forwardLine53(const std::vector<T>& line, int phase);
template <typename T>
std::vector<T> inverseLine53(const std::vector<T>& line, int phase);

// The Row and Col forms, one line of n outputs per band. x, low and high point to element 0; the samples before it and
// behind the line that the form reads must be there.
//
// 16-bit elements know two arithmetics: sums of 32 bits in rows that are too short for vectors, and wrapping sums of 16
// bits in the others. `rowWidth` is the number of elements in a row of a band, whichever direction is filtered.
template <typename T>
struct BandLine {
  std::vector<T> low, high;
};
template <typename T>
BandLine<T> forwardOutputs53(const T* x, int n, int phase, int rowWidth);
template <typename T>
std::vector<T> inverseOutputs53(const T* low, const T* high, int n, int phase, int rowWidth);
inline constexpr int kVectorLanes = 16;

// One element of the ColLift forms.
template <typename T>
struct LowHigh {
  T low, high;
};
template <typename T>
struct EvenOdd {
  T even, odd;
};
template <typename T>
LowHigh<T> forwardStep53(T src0, T src1, T src2, T highPrev);
template <typename T>
EvenOdd<T> inverseStep53(T low, T highPrev, T high, T evenPrev);

// Bytes of scratch, by the size of an element.
int32_t lineScratch53(QlmRect rect, int32_t elementBytes);
int32_t planeScratch53(QlmRect rect, int32_t elementBytes);

}  // namespace model
