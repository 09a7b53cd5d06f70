// Writes marker segments (T.800 Annex A) and boxes (Annex I).
#pragma once

#include <span>

#include "jpeg2000/format.h"

namespace sample::j2k {

// Bytes in big-endian order.
class ByteWriter {
 public:
  std::vector<uint8_t> bytes;

  void put8(uint32_t v) { bytes.push_back(static_cast<uint8_t>(v)); }
  void put16(uint32_t v) { put8(v >> 8), put8(v); }
  void put32(uint32_t v) { put16(v >> 16), put16(v); }
  void put(std::span<const uint8_t> v) { bytes.insert(bytes.end(), v.begin(), v.end()); }
};

// From SOC to the last segment before the first tile. All components are coded alike.
void putMainHeader(ByteWriter& out, const ImageSize& size, const PacketStyle& packets, const CodingStyle& style,
                   const Quantisation& quantisation);

// SOT and SOD of a tile's only part, whose length counts from SOT on.
constexpr int32_t kTileHeaderBytes = 14;
void putTileHeader(ByteWriter& out, int32_t tile, size_t packetBytes);

void putSop(ByteWriter& out, int32_t packet);

// The boxes of a JP2 file up to the contents of the last one, which is the codestream.
void putJp2Header(ByteWriter& out, const ImageSize& size, size_t codestreamBytes);

}  // namespace sample::j2k
