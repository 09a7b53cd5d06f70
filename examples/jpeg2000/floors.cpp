#include "jpeg2000/floors.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace sample::j2k {
namespace {

// Whole floats of single precision hold their bit length in the exponent.
int32_t bitLength(float magnitude) {
  constexpr int32_t kMantissaBits = 23, kBias = 126;
  return std::max(static_cast<int32_t>(std::bit_cast<uint32_t>(magnitude) >> kMantissaBits) - kBias, 0);
}

template <typename T>
void count(const T* values, int32_t step, const Box& area, float scale, BlockSizes& sizes) {
  // In turn, so that equal neighbours do not wait for each other.
  std::array<std::array<int32_t, 33>, 4> parts{};
  for (int32_t y = 0; y < area.height(); ++y, values += step)
    for (int32_t x = 0; x < area.width(); ++x)
      ++parts[x & 3][static_cast<size_t>(bitLength(std::abs(static_cast<float>(values[x])) * scale))];
  for (const auto& part : parts)
    for (size_t i = 0; i < part.size(); ++i) sizes.count[i] += part[i];
}

double entropy(double a, double b) {
  const auto term = [&](double n) { return n > 0 ? n * std::log2((a + b) / n) : 0; };
  return term(a) + term(b);
}

// A plane of a block: what it may cost and gain.
struct PlaneGuess {
  double slope, bytes, gain;
};

// The planes of a block from the top, with falling slopes.
template <typename Visit>
void forEachPlane(const BlockSizes& block, Visit visit) {
  int32_t refined = 0, rest = 0;  // values that have a bit above the plane, and others
  for (const int32_t n : block.count) rest += n;
  double slope = INFINITY;
  for (int32_t plane = 31; plane >= 0; --plane) {
    const int32_t found = block.count[static_cast<size_t>(plane) + 1];
    rest -= found;
    if (refined + found == 0) continue;
    const double unit = std::ldexp(block.weight, 2 * plane);
    constexpr double kFoundGain = 2.25, kRefinedGain = 0.25;  // in mean, of values spread evenly over an interval
    constexpr double kContexts = 0.8;                         // of the entropy without them
    const double bits = refined + found + kContexts * entropy(found, rest);
    const double gain = unit * (kFoundGain * found + kRefinedGain * refined), bytes = bits / 8;
    slope = std::min(slope, gain / bytes);
    visit(plane, PlaneGuess{slope, bytes, gain});
    refined += found;
  }
}

double errorWithout(const BlockSizes& block) {
  constexpr double kMeanSquare = 7.0 / 3, kBelowStep = 1.0 / 3;  // of values spread evenly over an interval
  double sum = kBelowStep * block.count[0];
  for (size_t bits = 1; bits < block.count.size(); ++bits)
    sum += kMeanSquare * std::ldexp(block.count[bits], 2 * static_cast<int32_t>(bits) - 2);
  return sum * block.weight;
}

}  // namespace

BlockSizes sizesOf(const BandEncoding& band, const TilePlane& plane, const Box& area) {
  BlockSizes sizes;
  sizes.weight = band.weight;
  const auto scale = static_cast<float>(1 / band.unit);
  std::visit(
      [&](const auto& samples) {
        count(samples.get() + ptrdiff_t{plane.width} * area.y0 + area.x0, plane.width, area, scale, sizes);
      },
      plane.samples);
  return sizes;
}

std::vector<int32_t> guessFloors(std::span<const BlockSizes> blocks, const Jpeg2000Layer& layer,
                                 const LayerBudget& budget) {
  std::vector<int32_t> floors(blocks.size());
  if (layer.by == Jpeg2000Layer::By::kEverything) return floors;
  std::vector<PlaneGuess> planes;
  double error = 0;
  for (const BlockSizes& block : blocks) {
    forEachPlane(block, [&](int32_t, const PlaneGuess& guess) { planes.push_back(guess); });
    error += errorWithout(block);
  }
  std::ranges::sort(planes, [](const PlaneGuess& a, const PlaneGuess& b) { return a.slope > b.slope; });

  // The slope of the last plane that the layer takes.
  double bytes = bytesOf(layer, budget);
  const double wantedError = errorOf(layer, budget);
  double slope = 0;
  for (const PlaneGuess& plane : planes) {
    slope = plane.slope;
    bytes -= plane.bytes, error -= plane.gain;
    if (bytes < 0 || error < wantedError) break;
  }
  if (bytes >= 0 && error >= wantedError) return floors;

  constexpr double kMargin = 4;  // between the slope of a plane and that of its best pass, and for the guess itself
  for (size_t i = 0; i < blocks.size(); ++i) {
    floors[i] = 31;
    forEachPlane(blocks[i], [&](int32_t plane, const PlaneGuess& guess) {
      if (guess.slope * kMargin >= slope) floors[i] = plane;
    });
  }
  return floors;
}

}  // namespace sample::j2k
