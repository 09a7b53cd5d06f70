#include "jpegxr/jxr_reader.h"

#include "jpegxr/jxr_colour.h"
#include "jpegxr/jxr_decode.h"
#include "jpegxr/jxr_headers.h"
#include "jpegxr/jxr_transform.h"

namespace sample {
namespace {

// Returns what was wrong, or nothing.
std::string decodePlanes(const JxrFile& file, JxrPlanes& planes) {
  shapePlanes(file.header, planes);
  std::string damage;
  auto packets = file.packets.begin();
  for (const MbRange& rows : file.header.tileRows)
    for (const MbRange& columns : file.header.tileColumns) {
      const std::string found = decodeTile(file.header, columns, rows, *packets++, planes);
      if (damage.empty()) damage = found;
    }
  inverseTransform(file.header, planes);
  return damage;
}

void shape(Picture& picture, const JxrHeader& header, int32_t channels) {
  picture.width = header.width, picture.height = header.height, picture.channels = channels;
  picture.pixels.resize(static_cast<size_t>(picture.step()) * static_cast<size_t>(picture.height));
}

void shape(Picture16& picture, const JxrHeader& header, int32_t channels) {
  picture.width = header.width, picture.height = header.height, picture.channels = channels;
  picture.bits = header.bits;
  picture.samples.resize(static_cast<size_t>(picture.width) * size_t(channels) * static_cast<size_t>(picture.height));
}

template <typename P>
void decode(const JxrFile& file, P& picture) {
  JxrPlanes planes;
  const std::string damage = decodePlanes(file, planes);
  shape(picture, file.header, static_cast<int32_t>(countOf(file.header.components)));
  planesToPixels(file.header, planes, picture);
  if (!damage.empty()) throw JxrDamaged(damage);
}

}  // namespace

JxrHeader readJxrHeader(std::span<const uint8_t> bytes) { return readJxrHeaders(bytes).header; }

void readJxr(std::span<const uint8_t> bytes, Picture& picture) {
  const JxrFile file = readJxrHeaders(bytes);
  if (file.header.bits == 8) return decode(file, picture);
  Picture16 deep;
  try {
    decode(file, deep);
  } catch (const JxrDamaged&) {
    picture = to8Bits(deep);
    throw;
  }
  picture = to8Bits(deep);
}

void readJxr(std::span<const uint8_t> bytes, Picture16& picture) { decode(readJxrHeaders(bytes), picture); }

}  // namespace sample
