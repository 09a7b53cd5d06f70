#include "jpeg2000/codestream.h"

#include <algorithm>
#include <map>

namespace sample::j2k {
namespace {

using Origin = ComponentParameters::Origin;

// A field that must be below 2^31, as all coordinates here.
int32_t takeCoordinate(ByteSource& in) {
  const uint32_t value = in.take32();
  if (value > INT32_MAX) throw Jpeg2000Error("too large");
  return static_cast<int32_t>(value);
}

void require(bool holds, const char* why) {
  if (!holds) throw Jpeg2000Error(why);
}

ImageSize readSize(ByteSource in) {
  in.take16();  // capabilities: what is needed shows in the other fields
  ImageSize size;
  size.image.x1 = takeCoordinate(in), size.image.y1 = takeCoordinate(in);
  size.image.x0 = takeCoordinate(in), size.image.y0 = takeCoordinate(in);
  size.tileWidth = takeCoordinate(in), size.tileHeight = takeCoordinate(in);
  size.tileX0 = takeCoordinate(in), size.tileY0 = takeCoordinate(in);
  require(!size.image.isEmpty(), "the picture is empty");
  require(size.tileWidth > 0 && size.tileHeight > 0, "tiles are empty");
  require(size.tileX0 <= size.image.x0 && size.tileY0 <= size.image.y0 &&
              int64_t{size.tileX0} + size.tileWidth > size.image.x0 &&
              int64_t{size.tileY0} + size.tileHeight > size.image.y0,
          "the first tile lies outside the picture");
  require(int64_t{size.tilesWide()} * size.tilesHigh() <= kMostTiles, "too many tiles");
  const uint32_t components = in.take16();
  if (components < 1 || components > 4)
    throw Jpeg2000Error(std::to_string(components) + " components are not supported, but 1 to 4");
  for (uint32_t c = 0; c < components; ++c) {
    const uint32_t depth = in.take8(), dx = in.take8(), dy = in.take8();
    const ComponentSize component{static_cast<int32_t>(depth & 0x7F) + 1, (depth & 0x80) != 0, static_cast<int32_t>(dx),
                                  static_cast<int32_t>(dy)};
    if (component.bits > 16)
      throw Jpeg2000Error("samples of " + std::to_string(component.bits) + " bits are not supported");
    require(component.dx > 0 && component.dy > 0, "a component without a sampling distance");
    size.components.push_back(component);
  }
  return size;
}

// SPcod and SPcoc.
CodingStyle readCodingStyle(ByteSource& in, bool hasPrecincts) {
  CodingStyle style;
  style.levels = static_cast<int32_t>(in.take8());
  require(style.levels <= kMostLevels, "too many levels of the wavelet");
  style.blockWidthLog = static_cast<int32_t>(in.take8()) + 2;
  style.blockHeightLog = static_cast<int32_t>(in.take8()) + 2;
  require(style.blockWidthLog <= 10 && style.blockHeightLog <= 10 && style.blockWidthLog + style.blockHeightLog <= 12,
          "code-blocks are too large");
  style.blockStyle = static_cast<int32_t>(in.take8());
  require(style.blockStyle < 64, "code-blocks of another part of the standard (high throughput) are not supported");
  const uint32_t wavelet = in.take8();
  require(wavelet <= 1, "wavelets of another part of the standard are not supported");
  style.reversible = wavelet == 1;
  if (!hasPrecincts) return style;
  for (int32_t r = 0; r <= style.levels; ++r) {
    const uint32_t logs = in.take8();
    auto& precinct = style.precincts[static_cast<size_t>(r)];
    precinct = {static_cast<int32_t>(logs & 15), static_cast<int32_t>(logs >> 4)};
    require(r == 0 || (precinct.widthLog > 0 && precinct.heightLog > 0), "precincts are too small");
  }
  return style;
}

// SPqcd and SPqcc, to the end of the segment.
void readQuantisation(ByteSource& in, ComponentParameters& out) {
  Quantisation quant;
  const uint32_t style = in.take8();
  quant.guardBits = static_cast<int32_t>(style >> 5);
  require((style & 31) <= 2, "an unknown style of quantisation");
  quant.style = static_cast<QuantStyle>(style & 31);
  size_t band = 0;
  for (const size_t each = quant.style == QuantStyle::kNone ? 1 : 2; in.left() >= each && band < quant.steps.size();) {
    const auto step = static_cast<int32_t>(each == 1 ? in.take8() << 8 : in.take16());
    quant.steps[band++] = {step >> 11, step & 0x7FF};
  }
  require(band > 0, "a quantisation without steps");
  if (quant.style == QuantStyle::kDerived) deriveSteps(quant), band = quant.steps.size();
  out.quant = quant;
  out.quantisedBands = static_cast<int32_t>(band);
}

// The marker segments that stand in main headers and in those of tile-parts.
class HeaderReader {
 public:
  HeaderReader(TileParameters& parameters, bool isTile) : parameters_(parameters), isTile_(isTile) {}

  // False where the segment is none of these.
  bool read(uint32_t marker, ByteSource in) {
    switch (marker) {
      case kCod:
        return readCod(in), true;
      case kCoc: {
        ComponentParameters& own = component(in);
        const bool hasPrecincts = in.take8() & 1;
        setCoding(own, readCodingStyle(in, hasPrecincts), own_);
        return true;
      }
      case kQcd:
        return readQcd(in), true;
      case kQcc: {
        ComponentParameters& own = component(in);
        setQuant(own, in, own_);
        return true;
      }
      case kRgn: {
        ComponentParameters& own = component(in);
        require(in.take8() == 0, "an unknown style of regions of interest");
        own.roiShift = static_cast<int32_t>(in.take8());
        return true;
      }
      case kPoc:
        return readPoc(in), true;
      default:
        return false;
    }
  }

 private:
  // Indices have two bytes from 257 components on, which are more than are read.
  ComponentParameters& component(ByteSource& in) {
    const size_t index = in.take8();
    require(index < parameters_.components.size(), "a header for a component that is not there");
    return parameters_.components[index];
  }

  static void setCoding(ComponentParameters& c, const CodingStyle& style, Origin origin) {
    if (origin < c.codingOrigin) return;
    c.coding = style;
    c.codingOrigin = origin;
  }
  static void setQuant(ComponentParameters& c, ByteSource in, Origin origin) {
    if (origin < c.quantOrigin) return;
    readQuantisation(in, c);
    c.quantOrigin = origin;
  }

  void readCod(ByteSource in) {
    PacketStyle& packets = parameters_.packets;
    const uint32_t style = in.take8();
    packets.sop = style & 2;
    packets.eph = style & 4;
    const uint32_t progression = in.take8();
    require(progression <= 4, "an unknown progression");
    packets.progression = static_cast<Progression>(progression);
    packets.layers = static_cast<int32_t>(in.take16());
    require(packets.layers > 0, "no layers");
    const uint32_t transform = in.take8();
    require(transform <= 1, "component transforms of another part of the standard are not supported");
    packets.colourTransform = transform == 1;
    const CodingStyle coding = readCodingStyle(in, style & 1);
    for (ComponentParameters& c : parameters_.components) setCoding(c, coding, default_);
  }

  void readQcd(ByteSource in) {
    for (ComponentParameters& c : parameters_.components) setQuant(c, in, default_);
  }

  void readPoc(ByteSource in) {
    // The changes of a tile stand in place of those of the main header, and go on from part to part.
    if (isTile_ && !hasOwnChanges_) parameters_.changes.clear(), hasOwnChanges_ = true;
    while (in.left() >= 7) {
      ProgressionVolume volume;
      volume.firstResolution = static_cast<int32_t>(in.take8());
      volume.firstComponent = static_cast<int32_t>(in.take8());
      volume.layers = static_cast<int32_t>(in.take16());
      volume.resolutions = static_cast<int32_t>(in.take8());
      volume.components = static_cast<int32_t>(in.take8());
      if (volume.components == 0) volume.components = 256;
      const uint32_t progression = in.take8();
      require(progression <= 4, "an unknown progression");
      volume.progression = static_cast<Progression>(progression);
      require(parameters_.changes.size() < 1024, "too many changes of progression");
      parameters_.changes.push_back(volume);
    }
  }

  TileParameters& parameters_;
  const bool isTile_;
  const Origin default_ = isTile_ ? Origin::kTileDefault : Origin::kMainDefault;
  const Origin own_ = isTile_ ? Origin::kTileOwn : Origin::kMainOwn;
  bool hasOwnChanges_ = false;
};

// The contents of a marker segment; its length counts its own two bytes.
Bytes takeSegment(ByteSource& in) {
  const size_t length = in.take16();
  require(length >= 2, "a marker segment of no length");
  return in.take(length - 2);
}

using Indexed = std::map<uint32_t, Bytes>;  // by Zppm or Zppt

void collectPacked(Bytes segment, Indexed& packed) {
  ByteSource in(segment);
  const uint32_t index = in.take8();
  packed[index] = in.rest();
}

std::vector<uint8_t> joined(const Indexed& packed) {
  std::vector<uint8_t> all;
  for (const auto& [index, bytes] : packed) all.insert(all.end(), bytes.begin(), bytes.end());
  return all;
}

// PPM: for each tile-part the number of bytes, then the bytes (A.7.4).
std::vector<std::vector<uint8_t>> splitPacked(const Indexed& packed) {
  const std::vector<uint8_t> all = joined(packed);
  std::vector<std::vector<uint8_t>> parts;
  for (ByteSource in(all, "what PPM holds"); in.left() > 0;) {
    const Bytes part = in.take(in.take32());
    parts.emplace_back(part.begin(), part.end());
  }
  return parts;
}

// Goes behind SOD.
Bytes takeTilePartHeader(ByteSource& in) {
  const Bytes from = in.rest();
  for (const size_t start = in.position();;) {
    const size_t length = in.position() - start;
    const uint32_t marker = in.take16();
    if (marker == kSod) return from.first(length);
    require(marker >= 0xFF00, "a tile-part without packets");
    takeSegment(in);
  }
}

void readTileParts(ByteSource& in, Codestream& out) {
  for (size_t number = 0;; ++number) {
    const uint32_t marker = in.take16();
    if (marker == kEoc) return;
    require(marker == kSot, "no tile-part where one should begin");
    const Bytes partAndMore = in.rest();
    ByteSource sot(takeSegment(in));
    const uint32_t tile = sot.take16(), length = sot.take32();
    require(tile < out.tiles.size(), "a tile that is not there");
    constexpr size_t kMarker = 2;
    size_t whole = partAndMore.size();
    if (length != 0) {
      require(length >= kMarker, "a tile-part of no length");
      whole = std::min<size_t>(whole, length - kMarker);
    } else if (whole >= kMarker && partAndMore[whole - 2] == kEoc >> 8 && partAndMore[whole - 1] == (kEoc & 0xFF)) {
      whole -= kMarker;  // the last tile-part, as far as the end
    }
    ByteSource part(partAndMore.first(whole));
    takeSegment(part);
    const Bytes header = takeTilePartHeader(part);
    out.tiles[tile].push_back({header, part.rest(), number});
    in = ByteSource(partAndMore);
    in.take(whole);
    if (length > partAndMore.size() + kMarker) throw Jpeg2000Error("codestream is truncated");
  }
}

}  // namespace

Codestream readCodestream(Bytes bytes) {
  ByteSource in(bytes);
  require(in.take16() == kSoc && in.take16() == kSiz, "not a JPEG 2000 codestream");
  Codestream out;
  out.size = readSize(ByteSource(takeSegment(in)));
  out.parameters.components.resize(out.size.components.size());
  HeaderReader headers(out.parameters, false);
  Indexed packed;
  while (in.peek16() != kSot) {
    const uint32_t marker = in.take16();
    require(marker >= 0xFF00, "the main header is damaged");
    const Bytes segment = takeSegment(in);
    if (marker == kPpm)
      collectPacked(segment, packed);
    else
      headers.read(marker, ByteSource(segment));
  }
  for (const ComponentParameters& c : out.parameters.components) {
    require(c.codingOrigin != Origin::kNowhere, "the main header says nothing of the coding (COD)");
    require(c.quantOrigin != Origin::kNowhere, "the main header says nothing of the quantisation (QCD)");
  }
  out.tiles.resize(static_cast<size_t>(out.size.tilesWide() * out.size.tilesHigh()));
  try {
    if (!packed.empty()) out.packedHeaders = splitPacked(packed);
    readTileParts(in, out);
  } catch (const Jpeg2000Error& error) {
    out.warning = error.what();
  }
  return out;
}

Tile readTile(const Codestream& codestream, int32_t index) {
  Tile tile{codestream.parameters, {}, {}, {}, {}, false};
  HeaderReader headers(tile.parameters, true);
  const std::vector<TilePart>& parts = codestream.tiles[static_cast<size_t>(index)];
  Indexed packed;
  for (const TilePart& part : parts) {
    for (ByteSource in(part.header); in.left() > 0;) {
      const uint32_t marker = in.take16();
      const Bytes segment = takeSegment(in);
      if (marker == kPpt)
        collectPacked(segment, packed), tile.hasPackedHeaders = true;
      else
        headers.read(marker, ByteSource(segment));
    }
    if (part.number < codestream.packedHeaders.size()) {
      const std::vector<uint8_t>& bytes = codestream.packedHeaders[part.number];
      tile.headers.insert(tile.headers.end(), bytes.begin(), bytes.end());
      tile.hasPackedHeaders = true;
    }
    if (parts.size() > 1) tile.packets.insert(tile.packets.end(), part.body.begin(), part.body.end());
  }
  if (!packed.empty()) tile.headers = joined(packed);
  tile.body = parts.size() == 1 ? parts[0].body : Bytes(tile.packets);
  tile.volumes = tile.parameters.changes;
  if (tile.volumes.empty()) tile.volumes = {{.progression = tile.parameters.packets.progression}};
  return tile;
}

}  // namespace sample::j2k
