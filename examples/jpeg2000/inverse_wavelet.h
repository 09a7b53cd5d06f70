// One level of the inverse wavelet after the other (T.800 F.3), from planes of coefficients to the samples of a tile.
#pragma once

#include <memory>
#include <span>

#include "jpeg2000/geometry.h"

namespace sample::j2k {

// Values, not set at first, with room around them: the filters read some of it, and write one row and one column too
// many where a length is odd.
template <typename T>
class Plane {
 public:
  static constexpr int32_t kLeft = 8, kRight = 8;

  Plane() = default;
  Plane(int32_t width, int32_t height)
      : width_(width),
        height_(height),
        rowLength_((kLeft + width + kRight + 7) / 8 * 8),
        values_(
            std::make_unique_for_overwrite<T[]>(static_cast<size_t>(rowLength_) * static_cast<size_t>(height + 1))) {}

  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  int32_t step() const { return rowLength_ * static_cast<int32_t>(sizeof(T)); }
  T* row(int32_t y) { return values_.get() + ptrdiff_t{rowLength_} * y + kLeft; }
  const T* row(int32_t y) const { return values_.get() + ptrdiff_t{rowLength_} * y + kLeft; }

 private:
  int32_t width_ = 0, height_ = 0, rowLength_ = 0;
  std::unique_ptr<T[]> values_;
};

// A level of a component: `low` is LL, and becomes the samples of the resolution above.
template <typename T>
struct Level {
  Plane<T> low;
  Plane<T> hl, lh, hh;
};

// Puts the bands together to the samples of `box`, whose origin tells where low and high values stand, for some
// components at once. T is int16_t or int32_t for 5/3 and float for 9/7. The work is shared out over `threads`.
template <typename T>
void inverseLevels(std::span<Level<T>* const> levels, const Box& box, int32_t threads);

}  // namespace sample::j2k
