#include "model/bc7_encode.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "texture/bc7_axis.h"
#include "texture/bc7_tables.h"

namespace model {

namespace {

constexpr double kHuge = std::numeric_limits<double>::max();

using Colour = std::array<int, 4>;
using Pixels = std::array<Colour, 16>;
using Pair = std::array<Colour, 2>;
using Pairs = std::array<Pair, 3>;
using Indices = std::array<std::array<int, 16>, 2>;  // of both planes

struct ModeRow {
  int subsets, partitionBits, pBits, rotationBits, selectionBits, indexBits, secondIndexBits;
  Colour precision, precisionWithP;
};
constexpr ModeRow kModes[8] = {
    {3, 4, 6, 0, 0, 3, 0, {4, 4, 4, 0}, {5, 5, 5, 0}}, {2, 6, 2, 0, 0, 3, 0, {6, 6, 6, 0}, {7, 7, 7, 0}},
    {3, 6, 0, 0, 0, 2, 0, {5, 5, 5, 0}, {5, 5, 5, 0}}, {2, 6, 4, 0, 0, 2, 0, {7, 7, 7, 0}, {8, 8, 8, 0}},
    {1, 0, 0, 2, 1, 2, 3, {5, 5, 5, 6}, {5, 5, 5, 6}}, {1, 0, 0, 2, 0, 2, 2, {7, 7, 7, 8}, {7, 7, 7, 8}},
    {1, 0, 2, 0, 0, 4, 0, {7, 7, 7, 7}, {8, 8, 8, 8}}, {2, 6, 4, 0, 0, 2, 0, {5, 5, 5, 5}, {6, 6, 6, 6}}};

// One plane of indices: how many there are, and the channels [first, end) that it covers.
struct Plane {
  int bits, first, end;
};

struct Planes {
  size_t count;
  std::array<Plane, 2> plane;

  const Plane& operator[](size_t k) const { return plane[k]; }
};
using Palette = std::array<Colour, 16>;  // of each channel as many entries as its plane has

struct Encoder {
  int number;
  ModeRow mode;
  Pixels pixels;

  int subsetOf(int shape, int pixel) const { return texture::subsetOf(mode.subsets, shape, pixel); }
  int anchorOf(int shape, int subset) const {
    if (subset == 0) return 0;
    if (mode.subsets == 2) return texture::kAnchors2[shape];
    return subset == 1 ? texture::kAnchors3[shape].second : texture::kAnchors3[shape].third;
  }
  std::vector<Colour> pixelsOf(int shape, int subset) const {
    std::vector<Colour> collected;
    for (int i = 0; i < 16; ++i)
      if (subsetOf(shape, i) == subset) collected.push_back(pixels[static_cast<size_t>(i)]);
    return collected;
  }

  Planes planesOf(int selection) const {
    if (mode.secondIndexBits == 0) return {1, {{{mode.indexBits, 0, 4}, {}}}};
    if (selection == 0) return {2, {{{mode.indexBits, 0, 3}, {mode.secondIndexBits, 3, 4}}}};
    return {2, {{{mode.secondIndexBits, 0, 3}, {mode.indexBits, 3, 4}}}};
  }

  // Between two 8-bit ends.
  static Palette paletteOf(const Pair& ends, const Planes& planes) {
    Palette palette;
    for (size_t k = 0; k < planes.count; ++k)
      for (int i = 0; i < 1 << planes[k].bits; ++i) {
        const int w = texture::weightOf(planes[k].bits, i);
        for (int c = planes[k].first; c < planes[k].end; ++c) {
          const auto channel = static_cast<size_t>(c);
          palette[static_cast<size_t>(i)][channel] = ((64 - w) * ends[0][channel] + w * ends[1][channel] + 32) >> 6;
        }
      }
    return palette;
  }

  // The distance of a pixel to a palette by one plane, and the index. The search stops at the first rise.
  static std::pair<double, int> nearest(const Colour& pixel, const Palette& palette, const Plane& plane) {
    double best = kHuge;
    int index = 0;
    for (int i = 0; i < 1 << plane.bits && best > 0; ++i) {
      double e = 0;
      for (int c = plane.first; c < plane.end; ++c) {
        const auto channel = static_cast<size_t>(c);
        const double d = pixel[channel] - palette[static_cast<size_t>(i)][channel];
        e += d * d;
      }
      if (e > best) break;
      if (e < best) {
        best = e;
        index = i;
      }
    }
    return {best, index};
  }

  static uint8_t to8Bits(float v) { return !(v < 255) ? 255 : !(v > 0) ? 0 : static_cast<uint8_t>(v); }

  static Pair roughEnds(const std::vector<Colour>& subset) {
    const size_t n = subset.size();
    if (n == 1) return {subset[0], subset[0]};
    if (n == 2) return {subset[0], subset[1]};
    int sum[3] = {}, product[3][3] = {};
    Colour lowest = subset[0], highest = subset[0];
    for (const Colour& pixel : subset)
      for (size_t c = 0; c < 4; ++c) {
        lowest[c] = std::min(lowest[c], pixel[c]);
        highest[c] = std::max(highest[c], pixel[c]);
        if (c == 3) continue;
        sum[c] += pixel[c];
        for (size_t d = 0; d < 3; ++d) product[c][d] += pixel[c] * pixel[d];
      }
    Pair ends = {lowest, highest};  // the alpha stays so
    // Without a difference in colour there is no axis, and the mean may be off in its last bit.
    if (std::equal(lowest.begin(), lowest.begin() + 3, highest.begin())) return ends;
    const auto scatter = [&](int c, int d) {
      return static_cast<double>(static_cast<int>(n) * product[c][d] - sum[c] * sum[d]);
    };
    const texture::Axis<double> axis = texture::principalAxis<double>(
        {scatter(0, 0), scatter(0, 1), scatter(0, 2), scatter(1, 1), scatter(1, 2), scatter(2, 2)});
    const float v[3] = {static_cast<float>(axis.r), static_cast<float>(axis.g), static_cast<float>(axis.b)};
    float mean[3];
    for (size_t c = 0; c < 3; ++c) mean[c] = static_cast<float>(sum[c]) * (1.0f / static_cast<float>(n));
    float least = std::numeric_limits<float>::max(), greatest = -least;
    for (const Colour& pixel : subset) {
      float t = (static_cast<float>(pixel[0]) - mean[0]) * v[0];
      t += (static_cast<float>(pixel[1]) - mean[1]) * v[1];
      t += (static_cast<float>(pixel[2]) - mean[2]) * v[2];
      least = std::min(least, t);
      greatest = std::max(greatest, t);
    }
    for (size_t c = 0; c < 3; ++c) {
      ends[0][c] = to8Bits(mean[c] + least * v[c]);
      ends[1][c] = to8Bits(mean[c] + greatest * v[c]);
    }
    return ends;
  }

  double estimateShapeError(int shape, int selection, Pairs& ends) const {
    for (int p = 0; p < mode.subsets; ++p) ends[static_cast<size_t>(p)] = roughEnds(pixelsOf(shape, p));
    const Planes planes = planesOf(selection);
    double sum = 0;
    for (int p = 0; p < mode.subsets; ++p) {
      const Palette palette = paletteOf(ends[static_cast<size_t>(p)], planes);
      for (const Colour& pixel : pixelsOf(shape, p))
        for (size_t k = 0; k < planes.count; ++k) sum += nearest(pixel, palette, planes[k]).first;
    }
    return sum;
  }

  int quantise(int value, size_t channel) const {
    const int precision = mode.precisionWithP[channel];
    if (precision == 0) return 255;
    if (precision == 8) return value;
    return std::min(255, value + (1 << (7 - precision))) >> (8 - precision);
  }

  Pair unquantise(const Pair& quantised) const {
    Pair ends;
    for (size_t e = 0; e < 2; ++e)
      for (size_t c = 0; c < 4; ++c) {
        const int precision = mode.precisionWithP[c], v = quantised[e][c] << (8 - precision) & 0xFF;
        ends[e][c] = precision == 0 ? 255 : v | v >> precision;
      }
    return ends;
  }

  void assignIndices(int shape, int selection, Pairs& ends, Indices& indices, std::array<double, 3>& errors) const {
    const Planes planes = planesOf(selection);
    errors = {};
    std::array<Palette, 3> palettes;
    for (size_t p = 0; p < static_cast<size_t>(mode.subsets); ++p) palettes[p] = paletteOf(unquantise(ends[p]), planes);
    for (size_t i = 0; i < 16; ++i) {
      const auto p = static_cast<size_t>(subsetOf(shape, static_cast<int>(i)));
      for (size_t k = 0; k < planes.count; ++k) {
        const auto [error, index] = nearest(pixels[i], palettes[p], planes[k]);
        indices[k][i] = index;
        errors[p] += error;
      }
    }
    for (int p = 0; p < mode.subsets; ++p)
      for (size_t k = 0; k < planes.count; ++k) {
        const int count = 1 << planes[k].bits;
        if (indices[k][static_cast<size_t>(anchorOf(shape, p))] < count / 2) continue;
        Pair& pair = ends[static_cast<size_t>(p)];
        for (int c = planes[k].first; c < planes[k].end; ++c)
          std::swap(pair[0][static_cast<size_t>(c)], pair[1][static_cast<size_t>(c)]);
        for (size_t i = 0; i < 16; ++i)
          if (subsetOf(shape, static_cast<int>(i)) == p) indices[k][i] = count - 1 - indices[k][i];
      }
  }

  double mapError(const std::vector<Colour>& subset, int selection, const Pair& quantised, double limit) const {
    const Planes planes = planesOf(selection);
    const Palette palette = paletteOf(unquantise(quantised), planes);
    double sum = 0;
    for (const Colour& pixel : subset) {
      for (size_t k = 0; k < planes.count; ++k) sum += nearest(pixel, palette, planes[k]).first;
      if (sum > limit) return kHuge;
    }
    return sum;
  }

  double perturbEndpoint(const std::vector<Colour>& subset, int selection, size_t channel, size_t which, Pair& ends,
                         double limit) const {
    const int precision = mode.precisionWithP[channel];
    double min = limit;
    for (int step = 1 << (precision - 1); step > 0; step >>= 1) {
      int bestStep = 0;
      for (const int by : {-step, step}) {
        Pair moved = ends;
        moved[which][channel] += by;
        if (moved[which][channel] < 0 || moved[which][channel] > (1 << precision) - 1) continue;
        const double e = mapError(subset, selection, moved, min);
        if (e < min) {
          min = e;
          bestStep = by;
        }
      }
      ends[which][channel] += bestStep;
    }
    return min;
  }

  void searchNeighbourhood(const std::vector<Colour>& subset, int selection, size_t channel, Pair& ends,
                           double& error) const {
    if (error == 0) return;
    const int a0 = ends[0][channel], b0 = ends[1][channel], top = (1 << mode.precisionWithP[channel]) - 1;
    const int alow = std::max(0, a0 - 5), ahigh = std::min(top, a0 + 5);
    const int blow = std::max(0, b0 - 5), bhigh = std::min(top, b0 + 5);
    double best = error;
    int bestA = a0, bestB = b0;
    const auto attempt = [&](int a, int b) {
      Pair moved = ends;
      moved[0][channel] = a;
      moved[1][channel] = b;
      const double e = mapError(subset, selection, moved, best);
      if (e < best) {
        best = e;
        bestA = a;
        bestB = b;
      }
    };
    // The range of b leaves its upper limit out, that of a does not.
    if (a0 <= b0) {
      for (int a = alow; a <= ahigh; ++a)
        for (int b = std::max(a, blow); b < bhigh; ++b) attempt(a, b);
    } else {
      for (int b = blow; b < bhigh; ++b)
        for (int a = std::max(b, alow); a <= ahigh; ++a) attempt(a, b);
    }
    if (best < error) {
      error = best;
      ends[0][channel] = bestA;
      ends[1][channel] = bestB;
    }
  }

  void optimizeSubset(const std::vector<Colour>& subset, int selection, double optErr, Pair& opt) const {
    for (size_t c = 0; c < 4; ++c) {
      if (mode.precisionWithP[c] == 0) continue;
      Pair moved0 = opt, moved1 = opt;
      const double e0 = perturbEndpoint(subset, selection, c, 0, moved0, optErr);
      const double e1 = perturbEndpoint(subset, selection, c, 1, moved1, optErr);
      size_t next;
      if (e1 > e0) {
        if (!(e0 < optErr)) continue;
        opt = moved0;
        optErr = e0;
        next = 1;
      } else {
        if (!(e1 < optErr)) continue;
        opt = moved1;
        optErr = e1;
        next = 0;
      }
      for (;;) {
        Pair moved = opt;
        const double e = perturbEndpoint(subset, selection, c, next, moved, optErr);
        if (!(e < optErr)) break;
        opt = moved;
        optErr = e;
        next = 1 - next;
      }
    }
    for (size_t c = 0; c < 4; ++c)
      if (mode.precisionWithP[c] > 0) searchNeighbourhood(subset, selection, c, opt, optErr);
  }

  std::pair<double, std::array<uint8_t, 16>> refineShape(int shape, int rotation, int selection,
                                                         const Pairs& rough) const {
    Pairs initial{};
    for (size_t p = 0; p < static_cast<size_t>(mode.subsets); ++p)
      for (size_t e = 0; e < 2; ++e)
        for (size_t c = 0; c < 4; ++c) initial[p][e][c] = quantise(rough[p][e][c], c);
    Indices initialIndices{}, optimisedIndices{};
    std::array<double, 3> initialErrors, optimisedErrors;
    assignIndices(shape, selection, initial, initialIndices, initialErrors);
    Pairs optimised = initial;
    for (size_t p = 0; p < static_cast<size_t>(mode.subsets); ++p)
      optimizeSubset(pixelsOf(shape, static_cast<int>(p)), selection, initialErrors[p], optimised[p]);
    assignIndices(shape, selection, optimised, optimisedIndices, optimisedErrors);
    const double before = initialErrors[0] + initialErrors[1] + initialErrors[2];
    const double after = optimisedErrors[0] + optimisedErrors[1] + optimisedErrors[2];
    if (before <= after) return {before, emitBlock(shape, rotation, selection, initial, initialIndices)};
    return {after, emitBlock(shape, rotation, selection, optimised, optimisedIndices)};
  }

  std::array<uint8_t, 16> emitBlock(int shape, int rotation, int selection, Pairs ends, const Indices& indices) const {
    std::array<uint8_t, 16> block{};
    int at = 0;
    const auto put = [&](int value, int bits) {
      for (int i = 0; i < bits; ++i, ++at)
        block[static_cast<size_t>(at / 8)] |= static_cast<uint8_t>((value >> i & 1) << at % 8);
    };
    const auto subsets = static_cast<size_t>(mode.subsets);
    int vote[6] = {}, count[6] = {};
    if (mode.pBits > 0)
      for (size_t c = 0; c < 4; ++c) {
        if (mode.precision[c] == mode.precisionWithP[c]) continue;
        int ep = 0;
        for (size_t p = 0; p < subsets; ++p)
          for (size_t e = 0; e < 2; ++e, ++ep) {
            const int entry = ep * mode.pBits / (2 * mode.subsets);
            vote[entry] += ends[p][e][c] & 1;
            ++count[entry];
            ends[p][e][c] >>= 1;
          }
      }
    put(1 << number, number + 1);
    put(rotation, mode.rotationBits);
    put(selection, mode.selectionBits);
    put(shape, mode.partitionBits);
    for (size_t c = 0; c < 4; ++c)
      for (size_t p = 0; p < subsets; ++p)
        for (size_t e = 0; e < 2; ++e) put(ends[p][e][c], mode.precision[c]);
    for (int i = 0; i < mode.pBits; ++i) put(vote[i] > count[i] >> 1, 1);
    // The plane with the mode's index bits is stored first, whichever channels it serves.
    const Planes planes = planesOf(selection);
    for (size_t k = 0; k < planes.count; ++k) {
      const size_t stored = selection == 1 ? 1 - k : k;
      for (int i = 0; i < 16; ++i) {
        const bool isAnchor = anchorOf(shape, subsetOf(shape, i)) == i;
        put(indices[stored][static_cast<size_t>(i)], planes[stored].bits - isAnchor);
      }
    }
    return block;
  }

  void rotate(int rotation) {
    if (rotation == 0) return;
    for (Colour& pixel : pixels) std::swap(pixel[static_cast<size_t>(rotation - 1)], pixel[3]);
  }
};

}  // namespace

Bc7Block encodeBc7(const std::array<uint8_t, 64>& bytes, int mode) {
  Encoder encoder{mode, kModes[mode], {}};
  for (size_t i = 0; i < 64; ++i) encoder.pixels[i / 4][i % 4] = bytes[i];
  const ModeRow& m = encoder.mode;
  const int shapes = 1 << m.partitionBits, items = std::max(1, shapes >> 2);
  double best = kHuge;
  std::array<uint8_t, 16> block{};
  for (int rotation = 0; rotation < 1 << m.rotationBits; ++rotation)
    for (int selection = 0; selection < 1 << m.selectionBits && best > 0; ++selection) {
      encoder.rotate(rotation);
      std::vector<Pairs> ends(static_cast<size_t>(shapes));
      std::vector<std::pair<double, int>> rough;
      for (int s = 0; s < shapes; ++s)
        rough.emplace_back(encoder.estimateShapeError(s, selection, ends[static_cast<size_t>(s)]), s);
      for (size_t i = 0; i < static_cast<size_t>(items); ++i)
        for (size_t j = i + 1; j < rough.size(); ++j)
          if (rough[i].first > rough[j].first) std::swap(rough[i], rough[j]);
      for (size_t i = 0; i < static_cast<size_t>(items); ++i) {
        const int shape = rough[i].second;
        const auto [error, candidate] =
            encoder.refineShape(shape, rotation, selection, ends[static_cast<size_t>(shape)]);
        if (!(error < best)) continue;
        best = error;
        block = candidate;
        if (best == 0) break;
      }
      encoder.rotate(rotation);
    }
  return {block, static_cast<uint32_t>(static_cast<uint64_t>(best))};
}

}  // namespace model
