#include "jpeg2000/headers_write.h"

#include <algorithm>
#include <bit>

namespace sample::j2k {
namespace {

// A marker segment, whose length counts itself.
template <typename Contents>
void putSegment(ByteWriter& out, Marker marker, Contents contents) {
  out.put16(marker);
  const size_t at = out.bytes.size();
  out.put16(0);
  contents();
  const size_t length = out.bytes.size() - at;
  out.bytes[at] = static_cast<uint8_t>(length >> 8), out.bytes[at + 1] = static_cast<uint8_t>(length);
}

// A box, whose length counts its own 8 bytes (I.4).
template <typename Contents>
void putBox(ByteWriter& out, const char (&type)[5], Contents contents) {
  ByteWriter inside;
  contents(inside);
  out.put32(static_cast<uint32_t>(inside.bytes.size() + 8));
  for (int i = 0; i < 4; ++i) out.put8(static_cast<uint8_t>(type[i]));
  out.put(inside.bytes);
}

void putSiz(ByteWriter& out, const ImageSize& size) {
  putSegment(out, kSiz, [&] {
    out.put16(0);  // capabilities: none beyond T.800
    for (const int32_t v : {size.image.x1, size.image.y1, size.image.x0, size.image.y0, size.tileWidth, size.tileHeight,
                            size.tileX0, size.tileY0})
      out.put32(static_cast<uint32_t>(v));
    out.put16(static_cast<uint32_t>(size.components.size()));
    for (const ComponentSize& component : size.components) {
      out.put8(static_cast<uint32_t>(component.bits - 1) | (component.isSigned ? 0x80 : 0));
      out.put8(static_cast<uint32_t>(component.dx)), out.put8(static_cast<uint32_t>(component.dy));
    }
  });
}

void putCod(ByteWriter& out, const PacketStyle& packets, const CodingStyle& style) {
  const int32_t whole = CodingStyle::PrecinctSize().widthLog;  // need not be told
  const auto end = style.precincts.begin() + style.levels + 1;
  const bool tellsPrecincts = std::any_of(style.precincts.begin(), end,
                                          [=](const auto& p) { return p.widthLog != whole || p.heightLog != whole; });
  putSegment(out, kCod, [&] {
    out.put8((tellsPrecincts ? 1 : 0) | (packets.sop ? 2 : 0) | (packets.eph ? 4 : 0));
    out.put8(static_cast<uint32_t>(packets.progression));
    out.put16(static_cast<uint32_t>(packets.layers));
    out.put8(packets.colourTransform);
    out.put8(static_cast<uint32_t>(style.levels));
    out.put8(static_cast<uint32_t>(style.blockWidthLog - 2)), out.put8(static_cast<uint32_t>(style.blockHeightLog - 2));
    out.put8(static_cast<uint32_t>(style.blockStyle));
    out.put8(style.reversible);
    if (tellsPrecincts)
      for (auto p = style.precincts.begin(); p != end; ++p)
        out.put8(static_cast<uint32_t>(p->heightLog << 4 | p->widthLog));
  });
}

void putQcd(ByteWriter& out, const Quantisation& quantisation, int32_t levels) {
  putSegment(out, kQcd, [&] {
    out.put8(static_cast<uint32_t>(quantisation.guardBits << 5 | static_cast<int32_t>(quantisation.style)));
    for (int32_t i = 0; i <= 3 * levels; ++i) {
      const Quantisation::Step& step = quantisation.steps[static_cast<size_t>(i)];
      if (quantisation.style == QuantStyle::kNone)
        out.put8(static_cast<uint32_t>(step.exponent << 3));
      else
        out.put16(static_cast<uint32_t>(step.exponent << 11 | step.mantissa));
    }
  });
}

// What the components of a file with so many are (I.5.3.3, and for CMYK T.801).
uint32_t colourSpace(size_t components) {
  constexpr uint32_t kCmyk = 12, kSrgb = 16, kGrey = 17;
  return components == 4 ? kCmyk : components == 3 ? kSrgb : kGrey;
}

}  // namespace

void putMainHeader(ByteWriter& out, const ImageSize& size, const PacketStyle& packets, const CodingStyle& style,
                   const Quantisation& quantisation) {
  out.put16(kSoc);
  putSiz(out, size);
  putCod(out, packets, style);
  putQcd(out, quantisation, style.levels);
}

void putTileHeader(ByteWriter& out, int32_t tile, size_t packetBytes) {
  putSegment(out, kSot, [&] {
    out.put16(static_cast<uint32_t>(tile));
    out.put32(static_cast<uint32_t>(packetBytes + kTileHeaderBytes));
    out.put8(0), out.put8(1);  // the first part of one
  });
  out.put16(kSod);
}

void putSop(ByteWriter& out, int32_t packet) {
  putSegment(out, kSop, [&] { out.put16(static_cast<uint32_t>(packet)); });
}

void putJp2Header(ByteWriter& out, const ImageSize& size, size_t codestreamBytes) {
  putBox(out, "jP  ", [](ByteWriter& box) { box.put32(0x0D0A870A); });
  putBox(out, "ftyp", [](ByteWriter& box) { box.put32(0x6A703220), box.put32(0), box.put32(0x6A703220); });  // "jp2 "
  putBox(out, "jp2h", [&](ByteWriter& header) {
    putBox(header, "ihdr", [&](ByteWriter& box) {
      box.put32(static_cast<uint32_t>(size.image.height())), box.put32(static_cast<uint32_t>(size.image.width()));
      box.put16(static_cast<uint32_t>(size.components.size()));
      box.put8(static_cast<uint32_t>(size.components[0].bits - 1));
      box.put8(7), box.put8(0), box.put8(0);  // JPEG 2000; the colour space is known; no rights
    });
    putBox(header, "colr", [&](ByteWriter& box) {
      box.put8(1), box.put8(0), box.put8(0);
      box.put32(colourSpace(size.components.size()));
    });
    if (size.components.size() == 2)  // grey, and a channel of which nothing is said
      putBox(header, "cdef", [](ByteWriter& box) {
        constexpr uint32_t kColour = 0, kUnspecified = 65535;
        box.put16(2);
        box.put16(0), box.put16(kColour), box.put16(1);
        box.put16(1), box.put16(kUnspecified), box.put16(kUnspecified);
      });
  });
  out.put32(static_cast<uint32_t>(codestreamBytes + 8));
  for (const char c : {'j', 'p', '2', 'c'}) out.put8(static_cast<uint8_t>(c));
}

}  // namespace sample::j2k
