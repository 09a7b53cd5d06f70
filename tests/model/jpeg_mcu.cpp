// One loop over the pixels and one over the chroma elements; the 4:4:4 inverse has constants of 14 bits, the
// subsampled ones of 13 for red and blue, with which a few results differ by 1.
#include "model/jpeg_mcu.h"

#include <algorithm>

namespace model {
namespace {

// Element of luma for the pixel at (x, y): blocks of 64, `across` of them side by side.
size_t lumaIndex(int x, int y, McuShape shape) {
  const int block = (y / 8) * shape.across + x / 8;
  return static_cast<size_t>(64 * block + 8 * (y % 8) + x % 8);
}
size_t chromaIndex(int x, int y, McuShape shape) {
  return static_cast<size_t>(8 * (y / shape.down) + x / shape.across);
}

struct Colour {
  int r, g, b;
};
Colour colourAt(const std::vector<uint8_t>& pixels, int x, int y, Order order, McuShape shape) {
  const uint8_t* p = &pixels[static_cast<size_t>(3 * (y * shape.width() + x))];
  return order == Order::RGB ? Colour{p[0], p[1], p[2]} : Colour{p[2], p[1], p[0]};
}

uint8_t clamp8(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

}  // namespace

McuBlocks mcuFromPixels(const std::vector<uint8_t>& pixels, Order order, McuShape shape) {
  McuBlocks out;
  out.y.resize(static_cast<size_t>(64 * shape.across * shape.down));
  out.cb.resize(64);
  out.cr.resize(64);
  for (int y = 0; y < shape.height(); ++y) {
    for (int x = 0; x < shape.width(); ++x) {
      const Colour c = colourAt(pixels, x, y, order, shape);
      const int luma = ((4899 * c.r + 9617 * c.g + 1868 * c.b + 8192) >> 14) - 128;
      out.y[lumaIndex(x, y, shape)] = static_cast<int16_t>(luma);
    }
  }
  const int pixelsOfElement = shape.across * shape.down;
  const int k = pixelsOfElement == 1 ? 14 : pixelsOfElement == 2 ? 15 : 16;
  for (int row = 0; row < 8; ++row) {
    for (int column = 0; column < 8; ++column) {
      int r = 0, g = 0, b = 0;
      for (int i = 0; i < shape.down; ++i) {
        for (int j = 0; j < shape.across; ++j) {
          const Colour c = colourAt(pixels, column * shape.across + j, row * shape.down + i, order, shape);
          r += c.r;
          g += c.g;
          b += c.b;
        }
      }
      const auto element = static_cast<size_t>(8 * row + column);
      out.cb[element] = static_cast<int16_t>((-2764 * r - 5428 * g + 8192 * b + (1 << (k - 1))) >> k);
      out.cr[element] = static_cast<int16_t>((8192 * r - 6860 * g - 1332 * b + (1 << (k - 1))) >> k);
    }
  }
  return out;
}

std::vector<uint8_t> pixelsFromMcu(const McuBlocks& blocks, Order order, McuShape shape) {
  const bool fullChroma = shape.across == 1;
  std::vector<uint8_t> out(static_cast<size_t>(3 * shape.width() * shape.height()));
  for (int y = 0; y < shape.height(); ++y) {
    for (int x = 0; x < shape.width(); ++x) {
      const int luma = blocks.y[lumaIndex(x, y, shape)];
      const int cb = blocks.cb[chromaIndex(x, y, shape)], cr = blocks.cr[chromaIndex(x, y, shape)];
      uint8_t r, g, b;
      if (fullChroma) {
        r = clamp8(luma + ((22970 * cr + 2105344) >> 14));
        g = clamp8(luma + ((-5638 * cb - 11700 * cr + 2105344) >> 14));
        b = clamp8(luma + ((29032 * cb + 2105344) >> 14));
      } else {
        r = clamp8(luma + ((11485 * cr + 1052672) >> 13));
        g = clamp8(luma - ((5638 * cb + 11700 * cr - 2088960) >> 14));
        b = clamp8(luma + ((14516 * cb + 1052672) >> 13));
      }
      uint8_t* p = &out[static_cast<size_t>(3 * (y * shape.width() + x))];
      p[0] = order == Order::RGB ? r : b;
      p[1] = g;
      p[2] = order == Order::RGB ? b : r;
    }
  }
  return out;
}

}  // namespace model
