// Overlap filters (T.832 clause 9): reversible smoothing across the edges of 4 x 4 blocks. The writer
// filters samples before it transforms blocks, and the reader behind the inverse transform. Each filter covers the four
// samples by four around a corner of blocks, or, along the edges of the picture, four in a row across an edge of
// blocks.
#pragma once

#include "jpegxr/jxr_format.h"

namespace sample {

enum class JxrWay { kForward, kInverse };

// Samples, or DC values of a component that is not subsampled.
void filterOverlap(JxrPlane& plane, JxrWay way);

// DC values of subsampled chroma: blocks of 2 x 2, at least two of them side by side.
void filterOverlapOfPairs(JxrPlane& plane, JxrWay way);

}  // namespace sample
