// Prediction of coefficients (T.832 clause 9): DC values and the lowest lowpass coefficients of a macroblock from the
// ones at its left and above, highpass coefficients from other blocks of the same macroblock. Planes hold the
// coefficients themselves; only what the file says is a difference.
#pragma once

#include "jpegxr/jxr_models.h"

namespace sample {

using JxrPlanes = std::array<JxrComponentPlanes, 3>;

enum class JxrFrom { kLeft, kTop, kMean, kNowhere };

// From where DC values are predicted; lowpass coefficients only if that is one side. Judges by DC values further back.
JxrFrom lowpassSource(const JxrPlanes& planes, JxrComponents components, const MbPlace& place);

// From where highpass coefficients are predicted: kLeft, kTop or kNowhere. Judges by the macroblock's lowpass block.
JxrFrom highpassSource(const JxrPlanes& planes, JxrComponents components, const MbPlace& place);

// The lowpass block of a macroblock, and its highpass blocks.
inline int32_t* lowpassBlock(JxrComponentPlanes& planes, const MbPlace& place) {
  return planes.lowpass.at(place.x * planes.blocks.wide, place.y * planes.blocks.high);
}
inline const int32_t* lowpassBlock(const JxrComponentPlanes& planes, const MbPlace& place) {
  return planes.lowpass.at(place.x * planes.blocks.wide, place.y * planes.blocks.high);
}
inline int32_t* highpassBlock(JxrComponentPlanes& planes, const MbPlace& place, const BlockPlace& block) {
  return planes.full.at(kBlockSide * (place.x * planes.blocks.wide + block.column),
                        kBlockSide * (place.y * planes.blocks.high + block.row));
}

// apply(coefficient, prediction) for each predicted coefficient of a lowpass block, told by its place. Later ones may
// depend on what the block holds after earlier ones.
template <typename Apply>
void predictLowpass(const JxrComponentPlanes& planes, const MbPlace& place, bool subsampled, JxrFrom from,
                    Apply apply) {
  if (from == JxrFrom::kNowhere) return;
  const BlockGrid grid = planes.blocks;
  const int32_t width = planes.lowpass.width;
  const int32_t* block = lowpassBlock(planes, place);
  const int32_t *left = block - grid.wide, *top = block - ptrdiff_t{width} * grid.high;
  const auto copy = [&](const int32_t* other, const BlockPlace& to, const BlockPlace& source) {
    apply(to, other[ptrdiff_t{width} * source.row + source.column]);
  };
  constexpr BlockPlace kDcPlace = {0, 0};
  if (from == JxrFrom::kMean) {
    apply(kDcPlace, (*left + *top + subsampled) >> 1);
    return;
  }
  const int32_t* other = from == JxrFrom::kLeft ? left : top;
  copy(other, kDcPlace, kDcPlace);
  if (!subsampled) {
    for (const BlockPlace& p : from == JxrFrom::kLeft ? kFirstRow : kFirstColumn) copy(other, p, p);
  } else if (grid.high == 2) {
    const BlockPlace p = from == JxrFrom::kLeft ? BlockPlace{1, 0} : BlockPlace{0, 1};
    copy(other, p, p);
  } else {
    // 4:2:2 has two squares, one above the other. The difference of their DC values stands in the second one's.
    copy(other, {0, 2}, {0, 2});
    if (from == JxrFrom::kLeft) {
      copy(other, {1, 0}, {1, 0});
      copy(other, {1, 2}, {1, 2});
    } else {
      copy(other, {0, 1}, {0, 3});
      copy(block, {0, 3}, {0, 1});
    }
  }
}

// Adds the predictions of the highpass coefficients of a component, or takes them off.
void addHighpassPrediction(JxrComponentPlanes& planes, const MbPlace& place, JxrFrom from);
void subtractHighpassPrediction(JxrComponentPlanes& planes, const MbPlace& place, JxrFrom from);

}  // namespace sample
