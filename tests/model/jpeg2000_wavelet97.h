// Scalar models of the irreversible 9/7 wavelet (ITU-T T.800 Annex F) in its four number formats and all call shapes.
// Planes, bands and the shapes themselves are those of the 5/3 wavelet.
#pragma once

#include <cstdint>
#include <vector>

#include "model/jpeg2000_wavelet53.h"
#include "qlmjp/types.h"

namespace model {

// One line of the plane forms: Q14 for 16-bit elements, single precision for 32-bit ones.
template <typename T>
std::vector<T> forwardLine97(const std::vector<T>& line, int phase);
template <typename T>
std::vector<T> inverseLine97(const std::vector<T>& line, int phase);

// The Row and Col forms, one line of n outputs per band, as for the 5/3 wavelet. T is int16_t, int32_t or float.
template <typename T>
BandLine<T> forwardOutputs97(const T* x, int n, int phase);
template <typename T>
std::vector<T> inverseOutputs97(const T* low, const T* high, int n, int phase);

// One element of the ColLift forms; the members are the arguments of the exports in their order.
template <typename T>
struct ForwardStep97 {
  T src0, src1, src2, low0, low1, high0, high1, high2;
};
template <typename T>
struct InverseStep97 {
  T low, high0, high1, even0, odd, even, odd1, even1;
};
template <typename T>
void forwardStep97(ForwardStep97<T>& v, int width);
template <typename T>
void inverseStep97(InverseStep97<T>& v, int width);

int32_t lineScratch97(QlmRect rect, int32_t elementBytes);
int32_t planeScratch97(QlmRect rect, int32_t elementBytes);

}  // namespace model
