// Finds the places of a picture that are worth looking at closely.
#pragma once

#include <string>
#include <vector>

#include "support/picture.h"

namespace demo {

struct Spot {
  std::string why;
  int32_t x, y, size;
};

// Squares that do not overlap: the most detail, the strongest colour edges, and the largest error of the coded picture,
// which has the same shape. Fewer where the picture is too small.
std::vector<Spot> findSpots(const sample::Picture& picture, const sample::Picture& coded, int32_t size);

}  // namespace demo
