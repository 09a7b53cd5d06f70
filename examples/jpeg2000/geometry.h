// Where tiles, resolutions, bands, precincts and code-blocks lie (T.800 Annex B), and in which order the packets of a
// tile follow each other (B.12).
#pragma once

#include <functional>

#include "jpeg2000/format.h"

namespace sample::j2k {

constexpr int32_t ceilDivide(int64_t a, int64_t b) { return static_cast<int32_t>((a + b - 1) / b); }
constexpr int32_t ceilShift(int64_t a, int32_t bits) {
  return static_cast<int32_t>((a + (int64_t{1} << bits) - 1) >> bits);
}

Box intersect(const Box& a, const Box& b);

// On the reference grid (B.3).
Box tileBox(const ImageSize& size, int32_t tile);

// On the grid of a component (B-12).
Box onComponent(const Box& box, const ComponentSize& component);

// After so many levels of the wavelet (B-14).
Box reduced(const Box& box, int32_t levels);

// The numbers by which the code-block functions of the library know the bands. The first letter is the horizontal
// direction.
enum class Orientation : int32_t { kLL = 0, kLH = 1, kHL = 2, kHH = 3 };

constexpr bool isHighAcross(Orientation o) { return o == Orientation::kHL || o == Orientation::kHH; }
constexpr bool isHighDown(Orientation o) { return o == Orientation::kLH || o == Orientation::kHH; }
constexpr int32_t gainLog(Orientation o) { return isHighAcross(o) + isHighDown(o); }  // Table E.1

struct Band {
  Orientation orientation = Orientation::kLL;
  Box box;  // B-15
};

struct Resolution {
  Box box;
  int32_t levelsAbove = 0;  // levels of the wavelet between this resolution and the whole tile
  int32_t precinctWidthLog = 15, precinctHeightLog = 15;
  int32_t precinctsWide = 0, precinctsHigh = 0;   // B-16
  int32_t blockWidthLog = 6, blockHeightLog = 6;  // B-17, B-18
  std::vector<Band> bands;                        // in the order of the codestream: LL, or HL, LH, HH

  int32_t precincts() const { return precinctsWide * precinctsHigh; }
};

struct TileComponent {
  Box box;
  std::vector<Resolution> resolutions;  // the smallest one first
};

struct TileGeometry {
  Box box;
  std::vector<TileComponent> components;
};

// `styles` has an entry for each component. Throws Jpeg2000Error where precincts are too many to be true.
TileGeometry geometryOf(const ImageSize& size, int32_t tile, const std::vector<CodingStyle>& styles);

// The code-blocks that a precinct has of a band, in raster order (B.7).
struct BlockGrid {
  Box area;  // of the band, that the precinct covers
  int32_t widthLog = 6, heightLog = 6;
  int32_t columns = 0, rows = 0;

  int32_t count() const { return columns * rows; }
  Box block(int32_t index) const;
};

BlockGrid blocksOf(const Resolution& resolution, const Band& band, int32_t precinct);

struct Packet {
  int32_t layer, resolution, component, precinct;
};

// Calls `visit` for each packet of the tile, once, in the order of the volumes, until it returns false. No packet has a
// layer of `layers` or more.
void forEachPacket(const ImageSize& size, const TileGeometry& tile, const std::vector<ProgressionVolume>& volumes,
                   int32_t layers, const std::function<bool(const Packet&)>& visit);

}  // namespace sample::j2k
