#include <algorithm>
#include <bit>

#include "qlmjp/tiff.h"
#include "tiff/tiff_file.h"
#include "tiff/tiff_format.h"

namespace sample {
namespace {

static_assert(std::endian::native == std::endian::little, "the files are written in the byte order of the machine");

using namespace tiff;

constexpr int32_t kRows = 64;  // a strip

class File {
 public:
  std::vector<uint8_t> bytes = {'I', 'I', 42, 0, 0, 0, 0, 0};

  void put16(uint32_t v) { bytes.push_back(uint8_t(v)), bytes.push_back(uint8_t(v >> 8)); }
  void put32(uint32_t v) { put16(v & 0xFFFF), put16(v >> 16); }
  uint32_t size() const { return static_cast<uint32_t>(bytes.size()); }
  void alignToWord() {
    if (bytes.size() % 2) bytes.push_back(0);
  }
  void set32(size_t at, uint32_t v) {
    for (size_t i = 0; i < 4; ++i) bytes[at + i] = uint8_t(v >> (8 * i));
  }
};

struct Field {
  uint16_t tag;
  uint16_t type;
  std::vector<uint32_t> values;
};

// One row, packed, at the end of the file. PackBits adds at most a byte for every 128.
void appendPacked(File& file, const std::vector<uint8_t>& row) {
  const auto position = static_cast<int32_t>(file.bytes.size());
  const auto length = static_cast<int32_t>(row.size()), room = length + (length + 127) / 128;
  file.bytes.resize(file.bytes.size() + static_cast<size_t>(room));
  int32_t end = position;
  if (qlmiPackBitsRow_TIFF_8u_C1(row.data(), length, file.bytes.data(), &end, room) != qlmOk)
    throw TiffError("a row does not pack");
  file.bytes.resize(static_cast<size_t>(end));
}

void appendDirectory(File& file, std::vector<Field> fields) {
  std::sort(fields.begin(), fields.end(), [](const Field& a, const Field& b) { return a.tag < b.tag; });
  file.alignToWord();
  file.set32(4, file.size());
  file.put16(static_cast<uint32_t>(fields.size()));
  uint32_t beyond = file.size() + 12 * static_cast<uint32_t>(fields.size()) + 4;  // values that do not fit an entry
  for (const Field& f : fields) {
    const uint32_t each = f.type == kShort ? 2 : 4, length = each * static_cast<uint32_t>(f.values.size());
    file.put16(f.tag), file.put16(f.type), file.put32(static_cast<uint32_t>(f.values.size()));
    if (length > 4) {
      file.put32(beyond);
      beyond += length;
    } else {
      for (const uint32_t v : f.values) each == 2 ? file.put16(v) : file.put32(v);
      for (uint32_t i = length; i < 4; i += 2) file.put16(0);
    }
  }
  file.put32(0);
  for (const Field& f : fields) {
    if ((f.type == kShort ? 2 : 4) * f.values.size() <= 4) continue;
    for (const uint32_t v : f.values) f.type == kShort ? file.put16(v) : file.put32(v);
  }
}

}  // namespace

std::vector<uint8_t> writeTiff(const Picture16& picture, TiffLayout layout) {
  const bool planes = layout == TiffLayout::BytePlanes;
  if (picture.bits != 8 && picture.bits != 16) throw TiffError("only 8 and 16 bits a sample can be written");
  if (planes && (picture.bits != 16 || picture.channels != 1)) throw TiffError("byte planes are for 16-bit grey");
  const int32_t perRow = picture.width * picture.channels;
  const auto row = [&](int32_t y) { return picture.samples.data() + ptrdiff_t{perRow} * y; };

  File file;
  Field offsets{kStripOffsets, kLong, {}}, counts{kStripByteCounts, kLong, {}};
  std::vector<uint8_t> high(static_cast<size_t>(perRow)), low(high), both(2 * high.size());
  uint8_t* const split[2] = {high.data(), low.data()};
  for (int32_t plane = 0; plane < (planes ? 2 : 1); ++plane) {
    for (int32_t top = 0; top < picture.height; top += kRows) {
      offsets.values.push_back(file.size());
      for (int32_t y = top; y < std::min(top + kRows, picture.height); ++y) {
        qlmiSplitRow_TIFF_16u8u_C1(row(y), split, perRow);
        if (planes) {
          appendPacked(file, plane == 0 ? high : low);
        } else if (picture.bits == 8) {
          appendPacked(file, low);
        } else {
          const auto* bytes = reinterpret_cast<const uint8_t*>(row(y));
          both.assign(bytes, bytes + 2 * perRow);
          appendPacked(file, both);
        }
      }
      counts.values.push_back(file.size() - offsets.values.back());
    }
  }

  const uint32_t samples = planes ? 2 : static_cast<uint32_t>(picture.channels);
  std::vector<Field> fields = {
      {kImageWidth, kLong, {static_cast<uint32_t>(picture.width)}},
      {kImageLength, kLong, {static_cast<uint32_t>(picture.height)}},
      {kBitsPerSample, kShort, std::vector<uint32_t>(samples, planes ? 8 : static_cast<uint32_t>(picture.bits))},
      {kCompression, kShort, {kPackBits}},
      {kPhotometric, kShort, {picture.channels == 3 ? kRgb : kBlackIsZero}},
      {kSamplesPerPixel, kShort, {samples}},
      {kRowsPerStrip, kLong, {kRows}},
      {kPlanarConfiguration, kShort, {planes ? kPlanar : kChunky}},
      offsets,
      counts};
  if (planes) fields.push_back({kExtraSamples, kShort, {0}});
  appendDirectory(file, fields);
  return file.bytes;
}

}  // namespace sample
