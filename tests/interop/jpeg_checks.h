// What the tests of whole JPEG files share: sizes and settings, the bounds, and the checks of a file.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "interop/exact_decode.h"
#include "interop/libjpeg_peer.h"
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace test {

using Bytes = std::vector<uint8_t>;

// Largest deviation of decoded pixels from the real-valued decode of the same coefficients, in grey levels. Samples
// leave the inverse DCT rounded, within 0.55 (so measured). Chroma enters red, green and blue with factors up to 1.772,
// and the colour matrix rounds within 0.52: 0.55 * 2.772 + 0.52. Measured: 0.5514 and 1.9557.
inline constexpr double kGreyBound = 0.56, kColourBound = 2.05;

// The same by planes, where the matrix for subsampled chroma rounds within 0.61: 0.55 * 2.772 + 0.61. Measured: 1.8922.
inline constexpr double kPlaneBound = 2.15;

// Largest difference from libjpeg's pixels, which are made by planes too: two samples that are each rounded within 0.55
// differ by 1 at most, which chroma multiplies by up to 1.772, and each of the two matrices rounds within 0.61: 1
// + 1.772
// + 1.22. Triangles, being convex combinations rounded alike, leave a difference of 1 at 1. Both are met.
inline constexpr int32_t kPeerGreyBound = 1, kPeerColourBound = 3;

// Largest deviation of a dequantised coefficient from the real-valued transform, beyond half a quantiser: samples are
// rounded by up to half a level, which adds up to 4 in the DC of a flat block, and the transform by up to 0.5.
// The mean of four, which leans upward by 0.375 on average, stays within that. Measured: 3.80, and 3.86 with such
// means.
inline constexpr double kForwardBound = 4.5;

struct Size {
  int32_t width, height;
};
inline constexpr Size kSizes[]{{1, 1}, {7, 9}, {17, 33}, {768, 512}};
inline constexpr int32_t kQualities[]{1, 10, 50, 75, 95, 100};
inline constexpr int32_t kIntervals[]{0, 1, 7};
inline constexpr sample::Subsampling kSubsamplings[]{sample::Subsampling::k444, sample::Subsampling::k422,
                                                     sample::Subsampling::k420};
inline constexpr std::array<std::array<int32_t, 2>, 3> kFactors[]{
    {{{1, 1}, {1, 1}, {1, 1}}}, {{{2, 1}, {1, 1}, {1, 1}}}, {{{2, 2}, {1, 1}, {1, 1}}}};

// Of a sample.
double largestDeviation(const sample::Picture& picture, const std::vector<double>& exact);
int32_t largestDifference(const sample::Picture& a, const sample::Picture& b);

void expectSameCoefficients(const sample::JpegCoefficients& ours, const sample::JpegCoefficients& peer);

// A file that anybody wrote: our reader agrees with libjpeg, and its pixels with the standards.
void expectReadsRight(const Bytes& file, bool pixels = true);

// The same by planes, and the pixels are close to those of libjpeg in all ways of upsampling and all sizes.
void expectPlanesReadRight(const Bytes& file);

// Our writer's coefficients are the transform of the picture to within rounding.
void expectWritesRight(const Bytes& file, const sample::Picture& picture);

// Position of the first marker of this kind.
size_t findMarker(const Bytes& file, uint8_t marker);

}  // namespace test
