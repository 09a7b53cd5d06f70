// What the tests of whole MCUs share: pixels and blocks of all kinds, and blocks placed at every alignment.
#pragma once

#include "model/jpeg_mcu.h"
#include "support/placed.h"

namespace test {

using model::McuBlocks;
using model::McuShape;

inline size_t bytesOf(McuShape shape) { return static_cast<size_t>(3 * shape.width() * shape.height()); }
inline size_t lumaOf(McuShape shape) { return static_cast<size_t>(64 * shape.across * shape.down); }

// The three planes of an MCU, each at a place of its own.
struct PlacedBlocks {
  Placed<int16_t> y, cb, cr;

  PlacedBlocks(McuShape shape, size_t round)
      : y(plane(lumaOf(shape), round, 1)), cb(plane(64, round, 2)), cr(plane(64, round, 3)) {}

  static Placed<int16_t> plane(size_t count, size_t round, size_t buffer) {
    const auto [slack, edge] = placeOf(round, buffer);
    return Placed<int16_t>(count, 1, 2 * count, slack, edge);
  }
  void fillPattern() {
    y.fillPattern();
    cb.fillPattern();
    cr.fillPattern();
  }
  void set(const McuBlocks& blocks) {
    y.set(blocks.y);
    cb.set(blocks.cb);
    cr.set(blocks.cr);
  }
  std::vector<uint8_t> snapshot() const {
    std::vector<uint8_t> all = y.snapshot();
    for (const auto& part : {cb.snapshot(), cr.snapshot()}) all.insert(all.end(), part.begin(), part.end());
    return all;
  }
};

inline std::vector<uint8_t> anyPixels(Random& random, McuShape shape, int kind) {
  std::vector<uint8_t> pixels(bytesOf(shape));
  for (size_t i = 0; i < pixels.size(); ++i) {
    switch (kind % 6) {
      case 0:
        pixels[i] = static_cast<uint8_t>(random.bits());
        break;
      case 1:
        pixels[i] = random.oneIn(2) ? 255 : 0;
        break;
      case 2:  // one colour with a little noise
        pixels[i] = static_cast<uint8_t>(random.between(0, 3) + (i % 3 == 0 ? 250 : i % 3 == 1 ? 3 : 120));
        break;
      case 3:  // all bytes different as long as they last, so that a swap shows
        pixels[i] = static_cast<uint8_t>(i);
        break;
      case 4:
        pixels[i] = i % 3 == static_cast<size_t>(kind / 6 % 3) ? 255 : 0;
        break;
      default:
        pixels[i] = kind / 6 % 2 ? 255 : 0;
        break;
    }
  }
  return pixels;
}

inline McuBlocks anyBlocks(Random& random, McuShape shape, int kind) {
  McuBlocks blocks{std::vector<int16_t>(lumaOf(shape)), std::vector<int16_t>(64), std::vector<int16_t>(64)};
  for (std::vector<int16_t>* plane : {&blocks.y, &blocks.cb, &blocks.cr}) {
    for (int16_t& v : *plane) {
      switch (kind % 6) {
        case 0:
          v = static_cast<int16_t>(random.between(-128, 127));
          break;
        case 1:  // what an inverse DCT of strongly quantised data gives
          v = static_cast<int16_t>(random.between(-512, 511));
          break;
        case 2:  // far out
          v = static_cast<int16_t>(random.bits());
          break;
        case 3: {
          constexpr int16_t kExtremes[8] = {-32768, 32767, -128, 127, 0, -1, 1, -32767};
          v = kExtremes[random.between(0, 7)];
          break;
        }
        case 4:  // luma and chroma far out with opposite signs, where intermediate saturation would show
          v = plane == &blocks.y ? static_cast<int16_t>(random.between(-32768, -20000))
                                 : static_cast<int16_t>(random.between(20000, 32767));
          if (kind / 6 % 2) v = static_cast<int16_t>(-1 - v);
          break;
        default:
          v = static_cast<int16_t>(&v - plane->data());
          break;
      }
    }
  }
  return blocks;
}

}  // namespace test
