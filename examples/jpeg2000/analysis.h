// From samples to the values of the bands of a tile: level shift, component transform and wavelet (T.800 Annexes F and
// G), each by the library.
#pragma once

#include <memory>
#include <variant>

#include "jpeg2000/geometry.h"
#include "support/picture.h"

namespace sample::j2k {

// A component of a tile. After the wavelet the low band of each level lies in the top left corner, the horizontally
// high one on its right, the vertically high one below.
struct TilePlane {
  int32_t width = 0, height = 0;
  std::variant<std::unique_ptr<int16_t[]>, std::unique_ptr<int32_t[]>> samples;  // rows without padding
};

struct Analysis {
  bool reversible = true;
  bool colourTransform = false;
  int32_t bits = 8;  // of a sample of the picture

  // The reversible path has elements of 16 bits where its filters, which can together make a value 8 times as large,
  // and the component transform, which can double it, do not lead out of them.
  bool isNarrow() const { return reversible && bits <= 11; }

  // Bits below a step of the picture that the values of the irreversible path carry against the rounding of each
  // level: all that single precision has, in which the wavelet works.
  int32_t fraction() const { return reversible ? 0 : 23 - bits; }
};

std::vector<TilePlane> makePlanes(const Analysis& analysis, const TileGeometry& tile);

// The rows [from, to) of all components of a tile, level-shifted and transformed.
void fillRows(const Analysis& analysis, const Picture& picture, const Box& tile, int32_t from, int32_t to,
              std::vector<TilePlane>& planes);
void fillRows(const Analysis& analysis, const Picture16& picture, const Box& tile, int32_t from, int32_t to,
              std::vector<TilePlane>& planes);

// All levels of the wavelet.
void transform(const Analysis& analysis, const TileComponent& component, TilePlane& plane);

// Where a band of a resolution starts in its plane.
struct Corner {
  int32_t x, y;
};
Corner bandCorner(const TileComponent& component, int32_t resolution, Orientation orientation);

}  // namespace sample::j2k
