#include "jpeg2000/tile_decoder.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "jpeg2000/block_decoder.h"
#include "jpeg2000/inverse_wavelet.h"

namespace sample::j2k {
namespace {

// Samples of so many bits, and all that the transforms make of them, fit 16 bits: the reversible component transform
// adds one bit, each direction of 5/3 at most two (the sum of the magnitudes of its taps, iterated).
constexpr int32_t kNarrowBits = 8;

// A component of a tile while it is decoded.
struct ComponentWork {
  const ComponentParameters& parameters;
  const ComponentSize& size;
  const TileComponent& geometry;
  const std::vector<std::vector<std::unique_ptr<Precinct>>>& precincts;  // by resolution
  int32_t resolutions;                                                   // that are wanted

  const Resolution& resolution(int32_t r) const { return geometry.resolutions[static_cast<size_t>(r)]; }
  const Box& box() const { return resolution(resolutions - 1).box; }
};

BandCoding codingOf(const ComponentWork& work, int32_t resolution, int32_t band) {
  const ComponentParameters& parameters = work.parameters;
  const int32_t index = stepIndex(resolution, band);
  if (index >= parameters.quantisedBands) throw Jpeg2000Error("steps of the quantiser are missing");
  const Quantisation::Step& step = parameters.quant.steps[static_cast<size_t>(index)];
  BandCoding coding;
  coding.orientation = work.resolution(resolution).bands[static_cast<size_t>(band)].orientation;
  coding.planes = parameters.quant.guardBits + step.exponent - 1;
  coding.roiShift = parameters.roiShift;
  coding.blockStyle = parameters.coding.blockStyle;
  // E-3, E-4.
  coding.step = std::ldexp(1 + static_cast<float>(step.mantissa) / 2048,
                           work.size.bits + gainLog(coding.orientation) - step.exponent);
  return coding;
}

// A code-block and where it goes.
template <typename T>
struct Job {
  const CodeBlock* block;
  BandCoding coding;
  QlmSize size;
  T* dst;
  int32_t dstStep;
};

// A band to be filled by the jobs; zeros where there is no packet.
template <typename T>
Plane<T> bandPlane(const ComponentWork& work, int32_t r, int32_t b, std::vector<Job<T>>& jobs) {
  const BandCoding coding = codingOf(work, r, b);
  const Resolution& resolution = work.resolution(r);
  const Band& band = resolution.bands[static_cast<size_t>(b)];
  const Box& box = band.box;
  Plane<T> plane(std::max(box.width(), 0), std::max(box.height(), 0));
  for (int32_t p = 0; p < resolution.precincts(); ++p) {
    const Precinct* precinct = work.precincts[static_cast<size_t>(r)][static_cast<size_t>(p)].get();
    if (!precinct) {
      const Box place = blocksOf(resolution, band, p).area;
      for (int32_t y = place.y0; y < place.y1; ++y)
        std::fill_n(plane.row(y - box.y0) + place.x0 - box.x0, std::max(place.width(), 0), T{});
      continue;
    }
    const PrecinctBand& coded = (*precinct)[static_cast<size_t>(b)];
    for (int32_t i = 0; i < coded.grid.count(); ++i) {
      const Box place = coded.grid.block(i);
      jobs.push_back({&coded.blocks[static_cast<size_t>(i)],
                      coding,
                      {place.width(), place.height()},
                      plane.row(place.y0 - box.y0) + place.x0 - box.x0,
                      plane.step()});
    }
  }
  return plane;
}

// As many threads as have work to do: fewer samples are done by one before another wakes up.
int32_t threadsFor(int64_t samples, int32_t threads) {
  constexpr int64_t kForEach = 8192;
  return static_cast<int32_t>(std::clamp<int64_t>(samples / kForEach, 1, threads));
}

// Returns how many of them are damaged.
template <typename T>
int32_t decodeBlocks(const std::vector<Job<T>>& jobs, int32_t threads) {
  if (jobs.empty()) return 0;
  int32_t damaged = 0;
  const auto count = static_cast<int32_t>(jobs.size());
#pragma omp parallel num_threads(std::min(threads, count)) reduction(+ : damaged)
  {
    BlockDecoder decoder;
#pragma omp for schedule(dynamic)
    for (int32_t i = 0; i < count; ++i) {
      const Job<T>& job = jobs[static_cast<size_t>(i)];
      damaged += !decoder.decode(*job.block, job.coding, job.size, job.dst, job.dstStep);
    }
  }
  return damaged;
}

// Down to the samples before the component transform, which are the low band of the last level then. All components
// have one box.
template <typename T>
std::vector<Plane<T>> decodeComponents(std::span<const ComponentWork> works, int32_t threads, int32_t& damaged) {
  std::vector<Job<T>> jobs;
  std::vector<std::vector<Level<T>>> levels;  // by component, the smallest one first
  std::vector<Plane<T>> low;
  int32_t most = 0;
  for (const ComponentWork& work : works) {
    low.push_back(bandPlane(work, 0, 0, jobs));
    levels.emplace_back();
    for (int32_t r = 1; r < work.resolutions; ++r)
      levels.back().push_back(
          {{}, bandPlane(work, r, 0, jobs), bandPlane(work, r, 1, jobs), bandPlane(work, r, 2, jobs)});
    most = std::max(most, work.resolutions - 1);
  }
  const int64_t samples = int64_t{works[0].box().width()} * works[0].box().height();
  damaged += decodeBlocks(jobs, threadsFor(samples * static_cast<int64_t>(works.size()), threads));

  // Components may differ in how many levels they have, and end together.
  for (int32_t left = most; left > 0; --left) {
    std::vector<Level<T>*> now;
    std::vector<size_t> of;
    for (size_t c = 0; c < works.size(); ++c) {
      const size_t count = levels[c].size();
      if (count < static_cast<size_t>(left)) continue;
      now.push_back(&levels[c][count - static_cast<size_t>(left)]);
      now.back()->low = std::move(low[c]);
      of.push_back(c);
    }
    const ComponentWork& work = works[of[0]];
    const Box& box = work.resolution(work.resolutions - left).box;
    inverseLevels(std::span<Level<T>* const>(now), box,
                  threadsFor(int64_t{box.width()} * box.height() * static_cast<int64_t>(now.size()), threads));
    for (size_t i = 0; i < of.size(); ++i) low[of[i]] = std::move(now[i]->low);
  }
  return low;
}

// The rows [y, y + count) of three components back from the component transform.
template <typename T>
void inverseColours(std::vector<Plane<T>>& planes, int32_t y, int32_t count) {
  T* const rows[]{planes[0].row(y), planes[1].row(y), planes[2].row(y)};
  const QlmSize size{planes[0].width(), count};
  if constexpr (std::is_same_v<T, int16_t>)
    qlmiRCTInv_JPEG2K_16s_P3IR(rows, planes[0].step(), size);
  else if constexpr (std::is_same_v<T, int32_t>)
    qlmiRCTInv_JPEG2K_32s_P3IR(rows, planes[0].step(), size);
  else
    qlmiICTInv_JPEG2K_32f_P3IR(rows, planes[0].step(), size);
}

// Level shift, rounding and clamping of a row (G.1).
template <typename T>
void storeRow(const T* from, int32_t count, const ComponentSize& size, int32_t* to) {
  const int32_t middle = 1 << (size.bits - 1), shift = size.isSigned ? 0 : middle;
  for (int32_t x = 0; x < count; ++x) {
    if constexpr (std::is_floating_point_v<T>) {
      // To the nearest, by the place where single precision has no more fractions.
      constexpr float kPlace = 3 << 22;
      const float least = static_cast<float>(-middle), most = static_cast<float>(middle - 1);
      const float limited = from[x] < least ? least : from[x] > most ? most : from[x];
      to[x] = std::bit_cast<int32_t>(limited + kPlace) - std::bit_cast<int32_t>(kPlace) + shift;
    } else {
      to[x] = std::clamp<int32_t>(from[x], -middle, middle - 1) + shift;
    }
  }
}

// One component, or three that the component transform has mixed.
template <typename T>
void decodeGroup(std::span<const ComponentWork> works, std::span<const SamplePlane> to, int32_t threads,
                 int32_t& damaged) {
  std::vector<Plane<T>> planes = decodeComponents<T>(works, threads, damaged);
  constexpr int32_t kRows = 8;
  const Box& first = works[0].box();
#pragma omp parallel for num_threads(threadsFor(int64_t{first.width()} * first.height(), threads)) schedule(static)
  for (int32_t top = 0; top < first.height(); top += kRows) {
    const int32_t bottom = std::min(top + kRows, first.height());
    if (works.size() == 3) inverseColours(planes, top, bottom - top);
    for (size_t c = 0; c < works.size(); ++c) {
      const Box& box = works[c].box();
      for (int32_t y = top; y < bottom; ++y)
        storeRow(planes[c].row(y), box.width(), works[c].size, to[c].row(box.y0 + y) + box.x0 - to[c].box.x0);
    }
  }
}

}  // namespace

std::string decodeTile(const Codestream& codestream, int32_t index, const DecodeChoice& choice,
                       const std::vector<SamplePlane>& planes) {
  const Tile tile = readTile(codestream, index);
  const std::vector<ComponentParameters>& parameters = tile.parameters.components;
  std::vector<CodingStyle> styles;
  for (const ComponentParameters& p : parameters) styles.push_back(p.coding);
  const TileGeometry geometry = geometryOf(codestream.size, index, styles);
  std::string warning;
  const Precincts precincts = readPackets(codestream.size, tile, geometry, choice.layers, warning);

  std::vector<ComponentWork> works;
  for (size_t c = 0; c < styles.size(); ++c) {
    if (choice.discardLevels > styles[c].levels)
      throw Jpeg2000Error("a tile has only " + std::to_string(styles[c].levels) + " levels to discard");
    works.push_back({parameters[c], codestream.size.components[c], geometry.components[c], precincts[c],
                     styles[c].levels + 1 - choice.discardLevels});
  }
  const bool isMixed = tile.parameters.packets.colourTransform && works.size() >= 3 &&
                       std::ranges::all_of(works.begin(), works.begin() + 3, [&](const ComponentWork& w) {
                         return w.box() == works[0].box() && styles[0].reversible == w.parameters.coding.reversible;
                       });
  if (tile.parameters.packets.colourTransform && !isMixed)
    warning = "a component transform over components that do not match is left out";

  int32_t damaged = 0;
  for (size_t first = 0; first < works.size();) {
    const size_t count = first == 0 && isMixed ? 3 : 1;
    const auto group = std::span<const ComponentWork>(works).subspan(first, count);
    const auto to = std::span<const SamplePlane>(planes).subspan(first, count);
    first += count;
    if (group[0].box().isEmpty()) continue;
    if (!group[0].parameters.coding.reversible)
      decodeGroup<float>(group, to, choice.threads, damaged);
    else if (std::ranges::all_of(group, [](const ComponentWork& w) { return w.size.bits <= kNarrowBits; }))
      decodeGroup<int16_t>(group, to, choice.threads, damaged);
    else
      decodeGroup<int32_t>(group, to, choice.threads, damaged);
  }
  if (damaged > 0 && warning.empty()) warning = std::to_string(damaged) + " code-blocks are damaged";
  return warning;
}

}  // namespace sample::j2k
