// Pixels to planes of 8-bit samples and back, one plane a component, with the plane and row functions of the library:
// colour conversion (JFIF, T.872 6.5.3), subsampling and upsampling of chroma (T.81 A.1). The planes may be rows of
// MCUs of larger ones.
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

// The first `rows` rows twice as wide, and twice as high where `tall`; then `above` and `below` are the rows before the
// first and behind the last, which are those themselves at the edges of the picture. Only the samples that stand for
// pixels count, `width` a row: the outermost go on beyond the edges, and what is made of the padding has no meaning.
void upsampleTriangle(const Picture& plane, int32_t width, int32_t rows, bool tall, const uint8_t* above,
                      const uint8_t* below, Picture& full);

// Each sample repeated, for any ratio.
void upsampleReplicate(const Picture& plane, Picture& full);

// Whether planesToPixels() takes the planes as they are: all of one size, or YCbCr with chroma of half the columns, or
// half the columns and rows, and `replicate`.
bool fitPixels(JpegColour colour, const Planes& planes, bool replicate);

// Pixels of channelsOf(colour) channels from the top left part of the planes.
void planesToPixels(JpegColour colour, const std::array<const Picture*, 4>& planes, uint8_t* pixels, int32_t step,
                    int32_t width, int32_t height);

}  // namespace sample
