#include "jpeg2000/jpeg2000_writer.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <numeric>
#include <string>
#include <utility>

#include "jpeg2000/floors.h"
#include "jpeg2000/headers_write.h"
#include "jpeg2000/parallel.h"
#include "jpeg2000/quantiser.h"

namespace sample {
namespace j2k {
namespace {

// What the headers of the file say.
struct Layout {
  ImageSize size;
  PacketStyle packets;
  CodingStyle style;
  Quantisation quantisation;
};

int32_t bitsOf(const Picture&) { return 8; }
int32_t bitsOf(const Picture16& picture) { return picture.bits; }

int32_t logOf(int32_t power) { return std::bit_width(static_cast<uint32_t>(power)) - 1; }

void require(bool holds, const std::string& message) {
  if (!holds) throw Jpeg2000Error(message);
}

bool isPower(int32_t v, int32_t least, int32_t most) {
  return v >= least && v <= most && std::has_single_bit(static_cast<uint32_t>(v));
}

template <typename P>
void checkArguments(const P& picture, const Jpeg2000WriteOptions& options) {
  require(picture.width > 0 && picture.height > 0, "the picture is empty");
  require(picture.channels >= 1 && picture.channels <= 4, "a picture has 1 to 4 channels");
  require(bitsOf(picture) >= 1 && bitsOf(picture) <= 16, "samples have 1 to 16 bits");
  require(options.levels >= 0 && options.levels <= kMostLevels, "there can be 0 to 32 levels");
  require(isPower(options.blockWidth, 4, 1024) && isPower(options.blockHeight, 4, 1024) &&
              options.blockWidth * options.blockHeight <= 4096,
          "code-blocks have sides of 4, 8 and so on up to 1024, and 4096 samples at most");
  require(options.tileWidth >= 0 && options.tileHeight >= 0, "a tile cannot be that small");
  require(options.blockStyle >= 0 && options.blockStyle < 64, "the style of code-blocks is unknown");
  require(options.step >= 1 / 1024.0 && options.step <= 1024, "the step of the quantiser is out of range");
  require(!options.layers.empty() && options.layers.size() <= size_t{kMostLayers}, "there can be 1 to 65535 layers");
  for (size_t i = 0; i < options.precincts.size(); ++i) {
    // Precincts of 1 would have none of the high bands, so that only the lowest resolution may have them.
    const int32_t least = static_cast<int32_t>(i) < options.levels ? 2 : 1;
    require(isPower(options.precincts[i].width, least, 32768) && isPower(options.precincts[i].height, least, 32768),
            "precincts have sides of 2, 4 and so on up to 32768");
  }
}

template <typename P>
Layout layoutOf(const P& picture, const Jpeg2000WriteOptions& options) {
  checkArguments(picture, options);
  Layout layout;
  layout.size.image = {0, 0, picture.width, picture.height};
  layout.size.tileWidth = options.tileWidth ? options.tileWidth : picture.width;
  layout.size.tileHeight = options.tileHeight ? options.tileHeight : picture.height;
  layout.size.components.assign(static_cast<size_t>(picture.channels), {.bits = bitsOf(picture)});
  require(int64_t{layout.size.tilesWide()} * layout.size.tilesHigh() <= kMostTiles, "there can be 65535 tiles at most");

  layout.packets.progression = options.progression;
  layout.packets.layers = static_cast<int32_t>(options.layers.size());
  layout.packets.colourTransform = picture.channels >= 3;
  layout.packets.sop = options.sop;
  layout.packets.eph = options.eph;

  CodingStyle& style = layout.style;
  style.levels = options.levels;
  style.blockWidthLog = logOf(options.blockWidth);
  style.blockHeightLog = logOf(options.blockHeight);
  style.blockStyle = options.blockStyle;
  style.reversible = options.reversible;
  for (int32_t r = 0; r <= options.levels && !options.precincts.empty(); ++r) {
    const auto& precinct =
        options.precincts[std::min(options.precincts.size() - 1, static_cast<size_t>(options.levels - r))];
    style.precincts[static_cast<size_t>(r)] = {logOf(precinct.width), logOf(precinct.height)};
  }
  return layout;
}

// Visits (resolution, band in it, orientation) of all bands of a component.
template <typename Visit>
void forEachBand(int32_t levels, Visit visit) {
  visit(0, 0, Orientation::kLL);
  for (int32_t r = 1; r <= levels; ++r) {
    visit(r, 0, Orientation::kHL);
    visit(r, 1, Orientation::kLH);
    visit(r, 2, Orientation::kHH);
  }
}

// The filters of either wavelet make no value of a band more than four times as large as its nominal range, over any
// number of levels.
constexpr int32_t kGuardBits = 2;
constexpr int32_t kMostPlanes = 31;  // that the code-block encoder has room for

// The quantiser, and how the blocks of each band are coded, by stepIndex() and component.
std::vector<std::vector<BandEncoding>> chooseSteps(Layout& layout, const Analysis& analysis,
                                                   const Jpeg2000WriteOptions& options) {
  const size_t components = layout.size.components.size();
  std::vector<std::vector<BandEncoding>> bands(static_cast<size_t>(3 * options.levels + 1));
  std::vector<double> norms(components, 1);
  for (size_t c = 0; c < 3 && analysis.colourTransform; ++c)
    norms[c] = componentNorm(analysis.reversible, static_cast<int32_t>(c));
  layout.quantisation.style = analysis.reversible ? QuantStyle::kNone : QuantStyle::kExpounded;
  layout.quantisation.guardBits = kGuardBits;
  forEachBand(options.levels, [&](int32_t resolution, int32_t band, Orientation orientation) {
    const int32_t level = options.levels - std::max(resolution - 1, 0);
    const double norm = bandNorm(analysis.reversible, level, orientation);
    const auto index = static_cast<size_t>(stepIndex(resolution, band));
    Quantisation::Step& step = layout.quantisation.steps[index];
    double size = 1;
    if (analysis.reversible) {
      step.exponent = analysis.bits + gainLog(orientation) + analysis.colourTransform;
    } else {
      step = nearestStep(options.step / norm, analysis.bits, orientation, kMostPlanes - kGuardBits + 1);
      size = stepSize(step, analysis.bits, orientation);
    }
    const int32_t planes = magnitudePlanes(kGuardBits, step);
    for (size_t c = 0; c < components; ++c)
      bands[index].push_back(
          {orientation, planes, std::ldexp(size, analysis.fraction()), std::pow(size * norm * norms[c], 2)});
  });
  return bands;
}

struct Tile {
  TileGeometry geometry;
  std::vector<TilePlane> planes;
  std::vector<std::vector<size_t>> firstPrecincts;  // by component and resolution, among those of the picture
};

struct BlockJob {
  const TilePlane* plane;
  const BandEncoding* band;
  Box area;  // of the plane
};

template <typename P>
void analyse(const P& picture, const Analysis& analysis, int32_t threads, std::vector<Tile>& tiles) {
  constexpr int32_t kStrip = 64;  // rows
  std::vector<std::pair<Tile*, int32_t>> strips;
  std::vector<std::pair<Tile*, size_t>> components;
  for (Tile& tile : tiles) {
    tile.planes = makePlanes(analysis, tile.geometry);
    for (int32_t y = 0; y < tile.geometry.box.height(); y += kStrip) strips.emplace_back(&tile, y);
    for (size_t c = 0; c < tile.planes.size(); ++c) components.emplace_back(&tile, c);
  }
  forEachIndex(strips.size(), threads, [&] {
    return [&](size_t i) {
      const auto& [tile, from] = strips[i];
      const Box& box = tile->geometry.box;
      fillRows(analysis, picture, box, from, std::min(from + kStrip, box.height()), tile->planes);
    };
  });
  forEachIndex(components.size(), threads, [&] {
    return [&](size_t i) {
      const auto& [tile, c] = components[i];
      transform(analysis, tile->geometry.components[c], tile->planes[c]);
    };
  });
}

// All precincts of a picture with their grids of blocks, and what is to be done for each block.
struct Plan {
  struct PlannedPrecinct {
    std::vector<BlockGrid> grids;  // of its bands
    size_t firstBlock, blocks;
  };
  std::vector<PlannedPrecinct> precincts;
  std::vector<BlockJob> jobs;
};

Plan planBlocks(const std::vector<std::vector<BandEncoding>>& bands, std::vector<Tile>& tiles) {
  Plan plan;
  const auto planPrecinct = [&](const Tile& tile, size_t c, size_t r, int32_t precinct) {
    const TileComponent& component = tile.geometry.components[c];
    const Resolution& resolution = component.resolutions[r];
    Plan::PlannedPrecinct planned{{}, plan.jobs.size(), 0};
    for (size_t b = 0; b < resolution.bands.size(); ++b) {
      const Band& band = resolution.bands[b];
      const BlockGrid grid = blocksOf(resolution, band, precinct);
      const Corner corner = bandCorner(component, static_cast<int32_t>(r), band.orientation);
      const int32_t x = corner.x - band.box.x0, y = corner.y - band.box.y0;
      const auto index = static_cast<size_t>(stepIndex(static_cast<int32_t>(r), static_cast<int32_t>(b)));
      for (int32_t i = 0; i < grid.count(); ++i) {
        const Box box = grid.block(i);
        plan.jobs.push_back({&tile.planes[c], &bands[index][c], {box.x0 + x, box.y0 + y, box.x1 + x, box.y1 + y}});
      }
      planned.grids.push_back(grid);
    }
    planned.blocks = plan.jobs.size() - planned.firstBlock;
    plan.precincts.push_back(std::move(planned));
  };
  for (Tile& tile : tiles)
    for (size_t c = 0; c < tile.geometry.components.size(); ++c) {
      tile.firstPrecincts.emplace_back();
      for (size_t r = 0; r < tile.geometry.components[c].resolutions.size(); ++r) {
        tile.firstPrecincts[c].push_back(plan.precincts.size());
        for (int32_t p = 0; p < tile.geometry.components[c].resolutions[r].precincts(); ++p)
          planPrecinct(tile, c, r, p);
      }
    }
  return plan;
}

std::vector<PlacedPrecinct> placePrecincts(const Plan& plan, std::span<const CodedBlock> blocks) {
  std::vector<PlacedPrecinct> placed;
  for (const Plan::PlannedPrecinct& planned : plan.precincts) {
    placed.push_back({{}, planned.firstBlock, planned.blocks});
    size_t first = planned.firstBlock;
    for (const BlockGrid& grid : planned.grids) {
      const auto count = static_cast<size_t>(grid.count());
      placed.back().precinct.emplace_back(blocks.subspan(first, count), grid);
      first += count;
    }
  }
  return placed;
}

// The code-blocks of the picture and the passes that each layer has of them.
struct Coded {
  std::vector<CodedBlock> blocks;
  std::vector<PlacedPrecinct> precincts;
  std::vector<std::vector<int32_t>> passes;
};

// Where the bit-planes end that any of the layers may want.
std::vector<int32_t> floorsOf(const Plan& plan, const LayerBudget& budget, const Jpeg2000WriteOptions& options) {
  std::vector<int32_t> floors(plan.jobs.size(), 0);
  const auto takesAll = [](const Jpeg2000Layer& layer) { return layer.by == Jpeg2000Layer::By::kEverything; };
  if (std::ranges::any_of(options.layers, takesAll)) return floors;
  std::vector<BlockSizes> sizes(plan.jobs.size());
  forEachIndex(sizes.size(), options.threads, [&] {
    return [&](size_t i) { sizes[i] = sizesOf(*plan.jobs[i].band, *plan.jobs[i].plane, plan.jobs[i].area); };
  });
  floors.assign(floors.size(), INT32_MAX);
  for (const Jpeg2000Layer& layer : options.layers) {
    const std::vector<int32_t> its = guessFloors(sizes, layer, budget);
    for (size_t i = 0; i < floors.size(); ++i) floors[i] = std::min(floors[i], its[i]);
  }
  return floors;
}

Coded codeBlocks(const Plan& plan, const LayerBudget& budget, const Jpeg2000WriteOptions& options) {
  const auto byPsnr = [](const Jpeg2000Layer& layer) { return layer.by == Jpeg2000Layer::By::kPsnr; };
  const BlockCoding coding{options.blockWidth, options.blockHeight, options.blockStyle, options.reversible,
                           std::ranges::any_of(options.layers, byPsnr)};
  std::vector<int32_t> floors = floorsOf(plan, budget, options);
  Coded coded;
  coded.blocks.resize(plan.jobs.size());
  std::vector<size_t> wanted(plan.jobs.size());
  std::iota(wanted.begin(), wanted.end(), size_t{0});
  std::atomic<int32_t> done = 0;
  while (!wanted.empty()) {
    forEachIndex(wanted.size(), options.threads, [&] {
      return [&, encoder = BlockEncoder(coding)](size_t i) mutable {
        const BlockJob& job = plan.jobs[wanted[i]];
        coded.blocks[wanted[i]] = encoder.encode(*job.band, *job.plane, job.area, floors[wanted[i]]);
        const auto total = static_cast<int32_t>(plan.jobs.size());
        ++done;
        if (options.progress && omp_get_thread_num() == 0) options.progress(std::min(done.load(), total), total);
      };
    });
    coded.precincts = placePrecincts(plan, coded.blocks);
    coded.passes = allocateLayers(coded.blocks, coded.precincts, options.layers, budget);
    // Where the layers take all passes that were coded, there may be more that are worth it.
    wanted.clear();
    for (size_t i = 0; i < floors.size(); ++i) {
      const auto& block = coded.blocks[i];
      if (block.floor == 0 || block.passes.empty() || std::cmp_less(coded.passes.back()[i], block.passes.size()))
        continue;
      floors[i] = std::max(block.floor - 2, 0);
      wanted.push_back(i);
    }
  }
  return coded;
}

// A packet with its markers.
void putPacket(ByteWriter& out, const PacketStyle& style, int32_t number, int32_t layer, PlacedPrecinct& placed,
               const std::vector<std::vector<int32_t>>& passes) {
  const auto spanOf = [&](int32_t l) {
    return std::span(passes[static_cast<size_t>(l)]).subspan(placed.firstBlock, placed.blocks);
  };
  if (style.sop) putSop(out, number & 0xFFFF);
  writePacketHeader(placed.precinct, layer, spanOf(layer), out.bytes);
  if (style.eph) out.put16(kEph);
  size_t i = 0;
  for (const WrittenBand& band : placed.precinct)
    for (const CodedBlock& block : band.blocks) {
      writePasses(block, layer ? spanOf(layer - 1)[i] : 0, spanOf(layer)[i], out.bytes);
      ++i;
    }
}

void putTiles(ByteWriter& out, const Layout& layout, const std::vector<Tile>& tiles, Coded& coded) {
  for (size_t t = 0; t < tiles.size(); ++t) {
    ByteWriter packets;
    int32_t number = 0;
    const auto put = [&](const Packet& packet) {
      const auto& firsts = tiles[t].firstPrecincts[static_cast<size_t>(packet.component)];
      const size_t precinct = firsts[static_cast<size_t>(packet.resolution)] + static_cast<size_t>(packet.precinct);
      putPacket(packets, layout.packets, number++, packet.layer, coded.precincts[precinct], coded.passes);
      return true;
    };
    forEachPacket(layout.size, tiles[t].geometry, {{.progression = layout.packets.progression}}, layout.packets.layers,
                  put);
    putTileHeader(out, static_cast<int32_t>(t), packets.bytes.size());
    out.put(packets.bytes);
  }
}

constexpr int64_t kSopBytes = 6, kEphBytes = 2, kMarkerBytes = 2;

template <typename P>
std::vector<uint8_t> write(const P& picture, const Jpeg2000WriteOptions& options) {
  Layout layout = layoutOf(picture, options);
  const Analysis analysis{options.reversible, layout.packets.colourTransform, bitsOf(picture)};
  const std::vector<std::vector<BandEncoding>> bands = chooseSteps(layout, analysis, options);

  std::vector<Tile> tiles(static_cast<size_t>(layout.size.tilesWide()) * static_cast<size_t>(layout.size.tilesHigh()));
  const std::vector<CodingStyle> styles(layout.size.components.size(), layout.style);
  for (size_t t = 0; t < tiles.size(); ++t)
    tiles[t].geometry = geometryOf(layout.size, static_cast<int32_t>(t), styles);
  analyse(picture, analysis, options.threads, tiles);
  const Plan plan = planBlocks(bands, tiles);

  ByteWriter stream, jp2;
  putMainHeader(stream, layout.size, layout.packets, layout.style, layout.quantisation);
  const bool isJp2 = options.container == Jpeg2000Container::kJp2;
  if (isJp2) putJp2Header(jp2, layout.size, 0);
  const double peak = (1 << analysis.bits) - 1;
  const LayerBudget budget{
      .pixels = int64_t{picture.width} * picture.height,
      .peakEnergy = peak * peak * picture.width * picture.height * picture.channels,
      .fixedBytes =
          static_cast<int64_t>(jp2.bytes.size() + stream.bytes.size() + tiles.size() * kTileHeaderBytes) + kMarkerBytes,
      .bytesPerPacket = (options.sop ? kSopBytes : 0) + (options.eph ? kEphBytes : 0)};
  Coded coded = codeBlocks(plan, budget, options);
  putTiles(stream, layout, tiles, coded);
  stream.put16(kEoc);
  if (!isJp2) return stream.bytes;
  ByteWriter file;
  putJp2Header(file, layout.size, stream.bytes.size());
  file.put(stream.bytes);
  return file.bytes;
}

// CMYK as ink, as the colour space of JP2 has it.
template <typename T>
void invert(std::vector<T>& samples, int32_t bits) {
  for (T& v : samples) v = static_cast<T>(((1 << bits) - 1) - v);
}

bool holdsInk(int32_t channels, const Jpeg2000WriteOptions& options) {
  return channels == 4 && options.container == Jpeg2000Container::kJp2;
}

}  // namespace
}  // namespace j2k

std::vector<uint8_t> writeJpeg2000(const Picture& picture, const Jpeg2000WriteOptions& options) {
  if (!j2k::holdsInk(picture.channels, options)) return j2k::write(picture, options);
  Picture ink = picture;
  j2k::invert(ink.pixels, 8);
  return j2k::write(ink, options);
}

std::vector<uint8_t> writeJpeg2000(const Picture16& picture, const Jpeg2000WriteOptions& options) {
  if (!j2k::holdsInk(picture.channels, options)) return j2k::write(picture, options);
  Picture16 ink = picture;
  j2k::invert(ink.samples, picture.bits);
  return j2k::write(ink, options);
}

}  // namespace sample
