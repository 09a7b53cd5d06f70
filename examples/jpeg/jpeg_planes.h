// Pixels to planes of 8-bit samples and back, one plane a component, with the plane and row functions of the library:
// colour conversion (JFIF, T.872 6.5.3), subsampling and upsampling of chroma (T.81 A.1).
#pragma once

#include "jpeg/jpeg_format.h"
#include "support/picture.h"

namespace sample {

// One channel each, in the order of the components, padded to whole MCUs. Planes of half the columns of the largest
// one, or half its columns and rows, are subsampled.
using Planes = std::vector<Picture>;

// How subsampled chroma comes back to full size: each sample repeated, or each pixel 3 : 1 from the two nearest samples
// in each direction, which puts a sample in the middle of the pixels that it was made of.
enum class Upsampling { kReplicate, kTriangle };

// Fills the planes from interleaved pixels of channelsOf(colour) channels, as many as the first plane has samples.
void pixelsToPlanes(JpegColour colour, const uint8_t* pixels, int32_t step, Planes& planes);

// Twice as wide, and twice as high where `tall`. Only the samples that stand for pixels count, width x height of them:
// the outermost go on beyond the edges, and what is made of the padding has no meaning.
Picture upsampleTriangle(const Picture& plane, int32_t width, int32_t height, bool tall);

// Fills the picture, of channelsOf(colour) channels, from the top left part of the planes. Brings the planes to full
// size on the way where it must.
void planesToPixels(JpegColour colour, Planes& planes, Upsampling upsampling, Picture& picture);

}  // namespace sample
