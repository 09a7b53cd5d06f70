#include "jpeg2000/geometry.h"

#include <algorithm>
#include <tuple>

namespace sample::j2k {
namespace {

constexpr int64_t kMostPrecincts = 1 << 21;  // of a tile

Box bandBox(const Box& box, Orientation orientation, int32_t level) {
  const int64_t x = isHighAcross(orientation) ? int64_t{1} << (level - 1) : 0;
  const int64_t y = isHighDown(orientation) ? int64_t{1} << (level - 1) : 0;
  return {ceilShift(box.x0 - x, level), ceilShift(box.y0 - y, level), ceilShift(box.x1 - x, level),
          ceilShift(box.y1 - y, level)};
}

// Cells of 2^log on a line that starts at 0, as far as [from, to) touches them.
int32_t cells(int32_t from, int32_t to, int32_t log) { return to > from ? ceilShift(to, log) - (from >> log) : 0; }

Box cellBox(int64_t column, int64_t row, int32_t widthLog, int32_t heightLog) {
  const auto edge = [](int64_t cell, int32_t log) {
    return static_cast<int32_t>(std::min<int64_t>(cell << log, INT32_MAX));
  };
  return {edge(column, widthLog), edge(row, heightLog), edge(column + 1, widthLog), edge(row + 1, heightLog)};
}

Resolution resolutionOf(const Box& box, const CodingStyle& style, int32_t r) {
  const CodingStyle::PrecinctSize& precinct = style.precincts[static_cast<size_t>(r)];
  Resolution out;
  out.levelsAbove = style.levels - r;
  out.box = reduced(box, out.levelsAbove);
  out.precinctWidthLog = precinct.widthLog;
  out.precinctHeightLog = precinct.heightLog;
  if (!out.box.isEmpty()) {
    out.precinctsWide = cells(out.box.x0, out.box.x1, precinct.widthLog);
    out.precinctsHigh = cells(out.box.y0, out.box.y1, precinct.heightLog);
  }
  const int32_t halved = r > 0;  // above the lowest resolution a precinct covers half as much of each band
  out.blockWidthLog = std::min(style.blockWidthLog, precinct.widthLog - halved);
  out.blockHeightLog = std::min(style.blockHeightLog, precinct.heightLog - halved);
  if (r == 0) {
    out.bands = {{Orientation::kLL, out.box}};
  } else {
    for (const Orientation o : {Orientation::kHL, Orientation::kLH, Orientation::kHH})
      out.bands.push_back({o, bandBox(box, o, out.levelsAbove + 1)});
  }
  return out;
}

// A precinct and the place on the reference grid at which the orders by position reach it.
struct Place {
  int32_t resolution, component, precinct;
  int64_t x, y;
};

int64_t placeOf(int32_t cell, int32_t log, int32_t from, int32_t levelsAbove, int32_t distance, int32_t tileFrom) {
  const int64_t start = int64_t{cell} << log;
  return start < from ? tileFrom : (start << levelsAbove) * distance;  // the first cell may begin before the tile
}

std::vector<Place> placesOf(const ImageSize& size, const TileGeometry& tile, const ProgressionVolume& volume) {
  std::vector<Place> places;
  const int32_t components = std::min(volume.components, static_cast<int32_t>(tile.components.size()));
  for (int32_t c = volume.firstComponent; c < components; ++c) {
    const ComponentSize& component = size.components[static_cast<size_t>(c)];
    const auto& all = tile.components[static_cast<size_t>(c)].resolutions;
    const int32_t resolutions = std::min(volume.resolutions, static_cast<int32_t>(all.size()));
    for (int32_t r = volume.firstResolution; r < resolutions; ++r) {
      const Resolution& resolution = all[static_cast<size_t>(r)];
      const int32_t left = resolution.box.x0 >> resolution.precinctWidthLog;
      const int32_t top = resolution.box.y0 >> resolution.precinctHeightLog;
      for (int32_t p = 0; p < resolution.precincts(); ++p) {
        const int64_t x = placeOf(left + p % resolution.precinctsWide, resolution.precinctWidthLog, resolution.box.x0,
                                  resolution.levelsAbove, component.dx, tile.box.x0);
        const int64_t y = placeOf(top + p / resolution.precinctsWide, resolution.precinctHeightLog, resolution.box.y0,
                                  resolution.levelsAbove, component.dy, tile.box.y0);
        places.push_back({r, c, p, x, y});
      }
    }
  }
  return places;
}

template <typename Key>
void sortBy(std::vector<Place>& places, Key key) {
  std::ranges::sort(places, [=](const Place& a, const Place& b) { return key(a) < key(b); });
}

// As B.12.1 nests its loops; the layer is not among them.
void sortFor(Progression progression, std::vector<Place>& places) {
  switch (progression) {
    case Progression::kLrcp:
    case Progression::kRlcp:
      return sortBy(places, [](const Place& p) { return std::tuple(p.resolution, p.component, p.precinct); });
    case Progression::kRpcl:
      return sortBy(places, [](const Place& p) { return std::tuple(p.resolution, p.y, p.x, p.component, p.precinct); });
    case Progression::kPcrl:
      return sortBy(places, [](const Place& p) { return std::tuple(p.y, p.x, p.component, p.resolution, p.precinct); });
    case Progression::kCprl:
      return sortBy(places, [](const Place& p) { return std::tuple(p.component, p.y, p.x, p.resolution, p.precinct); });
  }
}

}  // namespace

Box intersect(const Box& a, const Box& b) {
  return {std::max(a.x0, b.x0), std::max(a.y0, b.y0), std::min(a.x1, b.x1), std::min(a.y1, b.y1)};
}

Box tileBox(const ImageSize& size, int32_t tile) {
  const int64_t x = size.tileX0 + int64_t{tile % size.tilesWide()} * size.tileWidth;
  const int64_t y = size.tileY0 + int64_t{tile / size.tilesWide()} * size.tileHeight;
  const auto clamped = [](int64_t v) { return static_cast<int32_t>(std::min<int64_t>(v, INT32_MAX)); };
  return intersect(size.image, {clamped(x), clamped(y), clamped(x + size.tileWidth), clamped(y + size.tileHeight)});
}

Box onComponent(const Box& box, const ComponentSize& component) {
  return {ceilDivide(box.x0, component.dx), ceilDivide(box.y0, component.dy), ceilDivide(box.x1, component.dx),
          ceilDivide(box.y1, component.dy)};
}

Box reduced(const Box& box, int32_t levels) {
  return {ceilShift(box.x0, levels), ceilShift(box.y0, levels), ceilShift(box.x1, levels), ceilShift(box.y1, levels)};
}

TileGeometry geometryOf(const ImageSize& size, int32_t tile, const std::vector<CodingStyle>& styles) {
  TileGeometry out{tileBox(size, tile), {}};
  int64_t precincts = 0;
  for (size_t c = 0; c < size.components.size(); ++c) {
    TileComponent component{onComponent(out.box, size.components[c]), {}};
    for (int32_t r = 0; r <= styles[c].levels; ++r) {
      component.resolutions.push_back(resolutionOf(component.box, styles[c], r));
      const Resolution& resolution = component.resolutions.back();
      precincts += int64_t{resolution.precinctsWide} * resolution.precinctsHigh;
      if (precincts > kMostPrecincts) throw Jpeg2000Error("too many precincts");
    }
    out.components.push_back(std::move(component));
  }
  return out;
}

Box BlockGrid::block(int32_t index) const {
  const int64_t column = (area.x0 >> widthLog) + index % columns, row = (area.y0 >> heightLog) + index / columns;
  return intersect(area, cellBox(column, row, widthLog, heightLog));
}

BlockGrid blocksOf(const Resolution& resolution, const Band& band, int32_t precinct) {
  const int32_t halved = band.orientation != Orientation::kLL;
  const int32_t widthLog = resolution.precinctWidthLog - halved, heightLog = resolution.precinctHeightLog - halved;
  const int64_t column = (resolution.box.x0 >> resolution.precinctWidthLog) + precinct % resolution.precinctsWide;
  const int64_t row = (resolution.box.y0 >> resolution.precinctHeightLog) + precinct / resolution.precinctsWide;
  BlockGrid grid;
  grid.area = intersect(band.box, cellBox(column, row, widthLog, heightLog));
  grid.widthLog = resolution.blockWidthLog;
  grid.heightLog = resolution.blockHeightLog;
  if (!grid.area.isEmpty()) {
    grid.columns = cells(grid.area.x0, grid.area.x1, grid.widthLog);
    grid.rows = cells(grid.area.y0, grid.area.y1, grid.heightLog);
  }
  return grid;
}

void forEachPacket(const ImageSize& size, const TileGeometry& tile, const std::vector<ProgressionVolume>& volumes,
                   int32_t layers, const std::function<bool(const Packet&)>& visit) {
  // The layers of each precinct that have had their packets, by component and resolution.
  std::vector<std::vector<std::vector<int32_t>>> sent;
  for (const TileComponent& component : tile.components) {
    sent.emplace_back();
    for (const Resolution& r : component.resolutions) sent.back().emplace_back(static_cast<size_t>(r.precincts()), 0);
  }
  const auto visitLayer = [&](const Place& p, int32_t layer) {
    int32_t& next =
        sent[static_cast<size_t>(p.component)][static_cast<size_t>(p.resolution)][static_cast<size_t>(p.precinct)];
    if (layer < next) return true;
    next = layer + 1;
    return visit({layer, p.resolution, p.component, p.precinct});
  };

  for (const ProgressionVolume& volume : volumes) {
    std::vector<Place> places = placesOf(size, tile, volume);
    sortFor(volume.progression, places);
    const int32_t end = std::min(layers, volume.layers);
    // The places that share one loop over the layers: all, those of a resolution, or a single one.
    const auto isRunEnd = [&](size_t i) {
      if (i == places.size()) return true;
      if (volume.progression == Progression::kLrcp) return false;
      return volume.progression != Progression::kRlcp || places[i].resolution != places[i - 1].resolution;
    };
    for (size_t first = 0, last = 1; first < places.size(); first = last++) {
      while (!isRunEnd(last)) ++last;
      for (int32_t layer = 0; layer < end; ++layer)
        for (size_t i = first; i < last; ++i)
          if (!visitLayer(places[i], layer)) return;
    }
  }
}

}  // namespace sample::j2k
