// BC7 in any set of its modes: the library encodes a block in one mode, and here the best of them is kept.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace sample {

struct Bc7Options {
  // What comes out exact is tried in no further mode, so the fastest ones stand first. Of equal blocks the first
  // counts.
  std::vector<uint32_t> modes = {6, 5, 4, 1, 3, 7, 0, 2};
  // Called with the rows of blocks that are done, one call at a time, but from several threads.
  std::function<void(int32_t done, int32_t total)> progress = {};
};

// Blocks of rows of RGBA without padding. Blocks that the edges cut are filled up with the last row and column. Throws
// std::invalid_argument for no modes, or one above 7.
std::vector<uint8_t> encodeBc7(const uint8_t* rgba, int32_t width, int32_t height, const Bc7Options& options);

}  // namespace sample
