#include "jpeg2000/packets.h"

#include <algorithm>
#include <bit>

namespace sample::j2k {
namespace {

constexpr int32_t kMostZeroPlanes = 74;   // more than exponents, guard bits and regions of interest make
constexpr int64_t kMostBlocks = 1 << 22;  // of a tile, whose packets need not be long

// Bits of a packet header. A byte behind 0xFF has seven (B.10.1).
class HeaderBits {
 public:
  explicit HeaderBits(ByteSource& in) : in_(in) {}

  bool bit() {
    if (left_ == 0) {
      left_ = byte_ == 0xFF ? 7 : 8;
      byte_ = in_.take8();
    }
    return byte_ >> --left_ & 1;
  }
  uint32_t bits(int32_t count) {
    uint32_t value = 0;
    while (count-- > 0) value = value << 1 | bit();
    return value;
  }
  // To the next byte; 0xFF does not end a header.
  void align() {
    left_ = 0;
    if (byte_ == 0xFF) in_.take8();
    byte_ = 0;
  }

 private:
  ByteSource& in_;
  uint32_t byte_ = 0;
  int32_t left_ = 0;
};

// Table B.4.
int32_t takePasses(HeaderBits& in) {
  if (!in.bit()) return 1;
  if (!in.bit()) return 2;
  if (const uint32_t n = in.bits(2); n < 3) return 3 + static_cast<int32_t>(n);
  if (const uint32_t n = in.bits(5); n < 31) return 6 + static_cast<int32_t>(n);
  return 37 + static_cast<int32_t>(in.bits(7));
}

std::unique_ptr<Precinct> makePrecinct(const Resolution& resolution, int32_t precinct, int64_t& blocksLeft) {
  auto bands = std::make_unique<Precinct>();
  for (const Band& band : resolution.bands) {
    PrecinctBand b;
    b.grid = blocksOf(resolution, band, precinct);
    blocksLeft -= int64_t{b.grid.columns} * b.grid.rows;
    if (blocksLeft < 0) throw Jpeg2000Error("too many code-blocks");
    b.blocks.resize(static_cast<size_t>(b.grid.count()));
    b.inclusion = TagTree(b.grid.columns, b.grid.rows);
    b.zeroPlanes = TagTree(b.grid.columns, b.grid.rows);
    bands->push_back(std::move(b));
  }
  return bands;
}

class PacketReader {
 public:
  PacketReader(const Tile& tile, int32_t layers)
      : tile_(tile), layers_(layers), body_(tile.body, "tile"), packed_(tile.headers, "packed headers") {}

  bool isAtEnd() const { return (tile_.hasPackedHeaders ? packed_ : body_).left() == 0; }

  void read(Precinct& precinct, const Packet& packet) {
    constexpr size_t kSopBytes = 6;
    if (tile_.parameters.packets.sop && body_.peek16() == kSop) body_.take(kSopBytes);
    ByteSource& in = tile_.hasPackedHeaders ? packed_ : body_;
    told_.clear();
    HeaderBits bits(in);
    if (bits.bit()) {
      const CodingStyle& coding = tile_.parameters.components[static_cast<size_t>(packet.component)].coding;
      for (PrecinctBand& band : precinct)
        for (int32_t i = 0; i < band.grid.count(); ++i) readBlock(bits, band, i, packet.layer, coding.blockStyle);
    }
    bits.align();
    if (tile_.parameters.packets.eph && in.peek16() == kEph) in.take(2);
    for (const Told& t : told_) {
      const Bytes bytes = body_.take(t.length);
      if (packet.layer < layers_) t.block->pieces.push_back({bytes, t.passes});
    }
  }

 private:
  struct Told {
    CodeBlock* block;
    uint32_t length;
    int32_t passes;
  };

  void readBlock(HeaderBits& bits, PrecinctBand& band, int32_t i, int32_t layer, int32_t style) {
    CodeBlock& block = band.blocks[static_cast<size_t>(i)];
    const auto bit = [&] { return bits.bit(); };
    const bool isFirst = block.passes == 0;
    if (!(isFirst ? band.inclusion.isBelow(i, layer + 1, bit) : bits.bit())) return;
    if (isFirst) {
      while (!band.zeroPlanes.isBelow(i, block.zeroPlanes + 1, bit))
        if (++block.zeroPlanes > kMostZeroPlanes) throw Jpeg2000Error("a packet header is damaged");
    }
    int32_t passes = takePasses(bits);
    while (bits.bit())
      if (++block.lengthBits > 32) throw Jpeg2000Error("a packet header is damaged");
    while (passes > 0) {
      const int32_t now = std::min(passes, passesToSegmentEnd(style, block.passes));
      const int32_t lengthBits = block.lengthBits + std::bit_width(static_cast<uint32_t>(now)) - 1;
      if (lengthBits > 32) throw Jpeg2000Error("a packet header is damaged");
      told_.push_back({&block, bits.bits(lengthBits), now});
      block.passes += now;
      passes -= now;
    }
  }

  const Tile& tile_;
  const int32_t layers_;
  ByteSource body_, packed_;
  std::vector<Told> told_;  // by the header of this packet
};

}  // namespace

int32_t passesToSegmentEnd(int32_t blockStyle, int32_t pass) {
  if (blockStyle & kTerminateAll) return 1;
  if (!(blockStyle & kBypass)) return INT32_MAX;
  constexpr int32_t kCodedPasses = 10;  // before the first raw one
  if (pass < kCodedPasses) return kCodedPasses - pass;
  return (pass - kCodedPasses) % 3 == 0 ? 2 : 1;
}

Precincts readPackets(const ImageSize& size, const Tile& tile, const TileGeometry& geometry, int32_t layers,
                      std::string& warning) {
  Precincts precincts;
  for (const TileComponent& component : geometry.components) {
    precincts.emplace_back();
    for (const Resolution& r : component.resolutions) precincts.back().emplace_back(static_cast<size_t>(r.precincts()));
  }
  PacketReader reader(tile, layers);
  int64_t blocksLeft = kMostBlocks;
  try {
    forEachPacket(size, geometry, tile.volumes, tile.parameters.packets.layers, [&](const Packet& packet) {
      if (reader.isAtEnd()) throw Jpeg2000Error("tile is truncated");
      const auto c = static_cast<size_t>(packet.component), r = static_cast<size_t>(packet.resolution);
      auto& precinct = precincts[c][r][static_cast<size_t>(packet.precinct)];
      if (!precinct) precinct = makePrecinct(geometry.components[c].resolutions[r], packet.precinct, blocksLeft);
      reader.read(*precinct, packet);
      return true;
    });
  } catch (const Jpeg2000Error& error) {
    warning = error.what();
  }
  return precincts;
}

}  // namespace sample::j2k
