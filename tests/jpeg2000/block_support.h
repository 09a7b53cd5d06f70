// Code-blocks to drive the block coder with: samples of many kinds, styles, and what the model makes of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <vector>

#include "model/jpeg2000_block_encode.h"
#include "qlmjp/types.h"
#include "support/random.h"

namespace blocks {

using test::Random;
using Bytes = std::vector<uint8_t>;
using Samples = std::vector<int32_t>;

struct Shape {
  int32_t width, height;
  size_t count() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
  QlmSize size() const { return {width, height}; }
};

// All that a load is told. `planes` is how many bits the magnitudes may have above the lowest plane.
struct Case {
  Shape shape;
  model::BlockEncoder::Style style;
  int32_t planes;
};

inline std::ostream& operator<<(std::ostream& out, const Case& c) {
  return out << c.shape.width << 'x' << c.shape.height << " subband " << c.style.subband << " magnitude bits "
             << c.style.magnitudeBits << " ending " << c.style.terminationMode << " flags " << c.style.flags
             << " planes " << c.planes;
}

inline constexpr int32_t kStyles = 64, kEndings = 3, kSubbands = 4;

// All shapes up to 5x9, and those that code-blocks have, on and beside the boundaries of stripes and vectors.
inline std::vector<Shape> smallShapes() {
  std::vector<Shape> shapes;
  for (int32_t height = 1; height <= 9; ++height)
    for (int32_t width = 1; width <= 5; ++width) shapes.push_back({width, height});
  for (const Shape shape : {Shape{7, 8}, {8, 8}, {9, 6}, {16, 3}, {15, 16}, {16, 16}, {17, 5}, {1, 21}, {33, 2}})
    shapes.push_back(shape);
  return shapes;
}
inline std::vector<Shape> largeShapes() {
  return {{64, 64}, {63, 61}, {32, 32}, {31, 33}, {1, 64}, {64, 1}, {5, 64}, {64, 7}, {1024, 4}, {4, 1024}, {65, 18}};
}

// Shapes by turns: small ones of the list, any small ones, and such as are wider than a vector or some.
inline Shape anyShape(Random& random, size_t round) {
  if (round % 4 == 0) {
    const std::vector<Shape> shapes = smallShapes();
    return shapes[round / 4 % shapes.size()];
  }
  const bool wide = round % 4 == 1;
  return {static_cast<int32_t>(random.between(1, wide ? 70 : 14)), static_cast<int32_t>(random.between(1, 13))};
}

// Magnitudes aligned towards bit 30 as the style has them, with bits below the lowest plane, and signs, also of zeros.
inline Samples makeSamples(Random& random, const Case& c) {
  const int32_t lowest = 31 - c.style.magnitudeBits;
  const int32_t planes = std::min(c.planes, c.style.magnitudeBits);
  const uint64_t kind = random.bits() % 8;
  const bool fraction = random.oneIn(2);
  Samples samples(c.shape.count());
  for (size_t i = 0; i < samples.size(); ++i) {
    uint64_t magnitude = random.bits() & ((uint64_t{1} << planes) - 1);
    switch (kind) {
      case 0:  // all bits set
        magnitude = (uint64_t{1} << planes) - 1;
        break;
      case 1:  // few samples
        if (!random.oneIn(12)) magnitude = 0;
        break;
      case 2:
      case 3:
      case 4:  // as a wavelet leaves them: halves get half as likely with every bit
        while (magnitude && random.oneIn(2)) magnitude >>= 1;
        magnitude >>= random.between(0, std::min(planes, 3));
        break;
      case 5:  // flat areas
        magnitude = i % 16 < 8 ? magnitude >> (planes / 2) : uint64_t{1} << (planes - 1);
        break;
      default:  // noise
        break;
    }
    auto bits = static_cast<uint32_t>(magnitude) << lowest;
    if (fraction && lowest > 0 && !random.oneIn(4)) bits |= static_cast<uint32_t>(random.bits()) & ((1u << lowest) - 1);
    const bool negative = kind == 5 ? i % 32 < 16 : random.oneIn(2);
    samples[i] = static_cast<int32_t>(bits | (negative ? 0x80000000u : 0));
  }
  return samples;
}

inline Case anyCase(Random& random, Shape shape, int32_t flags) {
  const auto planes = static_cast<int32_t>(random.oneIn(8) ? random.between(1, 31) : random.between(1, 9));
  // Often as many bit-planes as there are magnitude bits, or none below.
  const int64_t magnitudeBits = random.oneIn(3) ? 31 : random.oneIn(3) ? planes : random.between(planes, 31);
  return {shape,
          {static_cast<int32_t>(random.between(0, kSubbands - 1)), static_cast<int32_t>(magnitudeBits),
           static_cast<int32_t>(random.between(0, kEndings - 1)), flags},
          planes};
}

// A block as the model codes it.
struct Coded {
  Case style;
  Samples samples;
  int32_t planes;  // that the coded data holds
  int32_t passes;
  std::vector<Bytes> segments;

  // What is left of the samples once they are decoded: magnitudes without the bits below the lowest plane, and no sign
  // where nothing is left.
  Samples decoded() const {
    const int32_t lowest = 31 - style.style.magnitudeBits;
    Samples out = samples;
    for (int32_t& sample : out) {
      const auto magnitude = (static_cast<uint32_t>(sample) & 0x7FFFFFFF) >> lowest;
      sample = static_cast<int32_t>(magnitude ? magnitude | (static_cast<uint32_t>(sample) & 0x80000000u) : 0);
    }
    return out;
  }
};

inline Coded codeWithModel(const Samples& samples, const Case& c) {
  model::BlockEncoder encoder(samples, c.shape.width, c.shape.height, c.style);
  const Bytes bytes = encoder.store(SIZE_MAX).bytes;
  Coded coded{
      c, samples, std::max(encoder.significantBits() - (31 - c.style.magnitudeBits), 0), encoder.passCount(), {}};
  auto next = bytes.begin();
  for (int32_t k = 0; k < encoder.terminatedPassCount(); ++k) {
    const auto end = next + encoder.terminatedLength(k);
    coded.segments.emplace_back(next, end);
    next = end;
  }
  return coded;
}

}  // namespace blocks
