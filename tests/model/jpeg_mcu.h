// Scalar models of the colour conversion between interleaved pixels and the level-shifted blocks of one MCU (JFIF
// matrix, ITU-T T.81 A.2.3 for the order of the blocks), to the bit.
#pragma once

#include <cstdint>
#include <vector>

namespace model {

// Subsampling of an MCU: each chroma element covers `across` x `down` pixels.
struct McuShape {
  int across, down;
  int width() const { return 8 * across; }
  int height() const { return 8 * down; }
};
inline constexpr McuShape kMcu444{1, 1}, kMcu422{2, 1}, kMcu411{2, 2};

// Order of the colours in the three bytes of a pixel.
enum class Order { RGB, BGR };

// Blocks of the three components, those of luma in raster order.
struct McuBlocks {
  std::vector<int16_t> y, cb, cr;
};

// `pixels` holds width * height pixels of three bytes, row by row without padding.
McuBlocks mcuFromPixels(const std::vector<uint8_t>& pixels, Order order, McuShape shape);
std::vector<uint8_t> pixelsFromMcu(const McuBlocks& blocks, Order order, McuShape shape);

}  // namespace model
