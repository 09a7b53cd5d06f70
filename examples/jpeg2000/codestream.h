// The markers of a codestream (T.800 Annex A): what its headers say, and where the packets of each tile lie.
#pragma once

#include <string>

#include "jpeg2000/byte_source.h"

namespace sample::j2k {

struct ComponentParameters {
  CodingStyle coding;
  Quantisation quant;
  int32_t quantisedBands = 0;  // for how many bands there are steps
  int32_t roiShift = 0;

  // Which header they come from, in the order of precedence (A.6.1 to A.6.5).
  enum Origin { kNowhere, kMainDefault, kMainOwn, kTileDefault, kTileOwn };
  Origin codingOrigin = kNowhere, quantOrigin = kNowhere, roiOrigin = kNowhere;
};

struct TileParameters {
  PacketStyle packets;
  std::vector<ComponentParameters> components;
  std::vector<ProgressionVolume> changes;  // of POC
};

struct TilePart {
  Bytes header, body;
  size_t number;  // in the order of the codestream
};

struct Codestream {
  ImageSize size;
  TileParameters parameters;  // as the main header leaves them
  std::vector<std::vector<TilePart>> tiles;
  std::vector<std::vector<uint8_t>> packedHeaders;  // of PPM, by number of tile-part
  std::string warning;                              // why not all tile-parts were found
};

struct Tile {
  TileParameters parameters;
  std::vector<ProgressionVolume> volumes;  // in which all packets come
  std::vector<uint8_t> packets;            // where the tile has several parts
  Bytes body;
  std::vector<uint8_t> headers;  // of PPM or PPT
  bool hasPackedHeaders = false;
};

// Throws Jpeg2000Error where the main header cannot be used. Behind it, damage ends the search for tile-parts.
Codestream readCodestream(Bytes bytes);

// Throws Jpeg2000Error where a header of the tile cannot be used.
Tile readTile(const Codestream& codestream, int32_t tile);

}  // namespace sample::j2k
