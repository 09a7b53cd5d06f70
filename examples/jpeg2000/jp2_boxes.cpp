#include "jpeg2000/jp2_boxes.h"

#include <algorithm>

namespace sample::j2k {
namespace {

constexpr uint32_t boxType(const char (&name)[5]) {
  uint32_t type = 0;
  for (int i = 0; i < 4; ++i) type = type << 8 | static_cast<uint8_t>(name[i]);
  return type;
}

struct BoxOfFile {
  uint32_t type;
  Bytes contents;
};

// A box that goes beyond the end is cut there.
BoxOfFile takeBox(ByteSource& in) {
  uint64_t length = in.take32();
  const uint32_t type = in.take32();
  uint64_t header = 8;
  if (length == 1) {
    const uint64_t high = in.take32();
    length = high << 32 | in.take32();
    header = 16;
  }
  if (length == 0) return {type, in.take(in.left())};
  if (length < header) throw Jpeg2000Error("a box of no length");
  return {type, in.take(static_cast<size_t>(std::min<uint64_t>(length - header, in.left())))};
}

Palette readPalette(ByteSource in) {
  Palette palette;
  const uint32_t entries = in.take16(), columns = in.take8();
  if (entries < 1 || entries > 1024 || columns < 1) throw Jpeg2000Error("a palette without colours");
  for (uint32_t i = 0; i < columns; ++i) {
    const uint32_t depth = in.take8();
    palette.bits.push_back(static_cast<int32_t>(depth & 0x7F) + 1);
    palette.isSigned.push_back(depth & 0x80);
    if (palette.bits.back() > 16) throw Jpeg2000Error("a palette of more than 16 bits is not supported");
  }
  for (uint32_t i = 0; i < entries * columns; ++i) {
    const int32_t bits = palette.bits[i % columns];
    const auto value = static_cast<int32_t>(bits > 8 ? in.take16() : in.take8());
    const bool isNegative = palette.isSigned[i % columns] && value >> (bits - 1) & 1;
    palette.entries.push_back(isNegative ? value - (1 << bits) : value);
  }
  return palette;
}

void readHeaderBox(const BoxOfFile& box, Jp2& out) {
  ByteSource in(box.contents, "a box");
  switch (box.type) {
    case boxType("colr"):
      if (!out.colour && in.take8() == 1) {
        in.take16();  // precedence and approximation
        out.colour = in.take32();
      }
      break;
    case boxType("pclr"):
      out.palette = readPalette(in);
      break;
    case boxType("cmap"):
      while (in.left() >= 4) {
        const auto component = static_cast<int32_t>(in.take16());
        const bool isMapped = in.take8() == 1;
        const auto column = static_cast<int32_t>(in.take8());
        out.sources.push_back({component, isMapped ? std::optional(column) : std::nullopt});
      }
      break;
    case boxType("cdef"):
      in.take16();
      while (in.left() >= 6) {
        const auto channel = static_cast<int32_t>(in.take16()), type = static_cast<int32_t>(in.take16());
        out.meanings.push_back({channel, type, static_cast<int32_t>(in.take16())});
      }
      break;
    default:
      break;
  }
}

// What damaged boxes would have said is left out.
void readHeaderBoxes(Bytes contents, Jp2& out) {
  for (ByteSource in(contents, "a box"); in.left() >= 8;) {
    try {
      readHeaderBox(takeBox(in), out);
    } catch (const Jpeg2000Error&) {
    }
  }
}

}  // namespace

Jp2 readBoxes(Bytes file) {
  constexpr uint8_t kSignature[]{0, 0, 0, 12, 'j', 'P', ' ', ' ', 13, 10, 0x87, 10};
  Jp2 out;
  ByteSource in(file, "file");
  if (in.peek16() == kSoc) {
    out.codestream = file;
    return out;
  }
  if (file.size() < sizeof kSignature || !std::equal(std::begin(kSignature), std::end(kSignature), file.begin()))
    throw Jpeg2000Error("not a JPEG 2000 file");
  while (in.left() >= 8) {
    const BoxOfFile box = takeBox(in);
    if (box.type == boxType("jp2h")) readHeaderBoxes(box.contents, out);
    if (box.type != boxType("jp2c")) continue;
    out.codestream = box.contents;
    return out;
  }
  throw Jpeg2000Error("a file without a codestream");
}

}  // namespace sample::j2k
