#include <algorithm>
#include <bit>
#include <map>
#include <string>

#include "qlmjp/tiff.h"
#include "tiff/tiff_file.h"
#include "tiff/tiff_format.h"

namespace sample {
namespace {

using namespace tiff;

constexpr int64_t kMostSamples = 1'000'000'000;

// The file, with bounds on every access, in its own byte order.
class Source {
 public:
  explicit Source(const std::vector<uint8_t>& file) : file_(file) {
    if (file.size() < 8 || file[0] != file[1] || (file[0] != 'I' && file[0] != 'M')) throw TiffError("not a TIFF file");
    big_ = file[0] == 'M';
    if (at16(2) != 42) throw TiffError("not a TIFF file");
  }

  bool isBig() const { return big_; }
  uint32_t at16(size_t i) const {
    check(i, 2);
    return big_ ? uint32_t(file_[i] << 8 | file_[i + 1]) : uint32_t(file_[i + 1] << 8 | file_[i]);
  }
  uint32_t at32(size_t i) const {
    check(i, 4);
    return big_ ? at16(i) << 16 | at16(i + 2) : at16(i + 2) << 16 | at16(i);
  }
  uint32_t at8(size_t i) const {
    check(i, 1);
    return file_[i];
  }

 private:
  void check(size_t i, size_t n) const {
    if (i > file_.size() || file_.size() - i < n) throw TiffError("truncated");
  }

  const std::vector<uint8_t>& file_;
  bool big_ = false;
};

using Fields = std::map<uint16_t, std::vector<uint32_t>>;

constexpr bool isKnown(uint16_t tag) {
  constexpr Tag kUsed[] = {kImageWidth,   kImageLength,     kBitsPerSample, kCompression,     kPhotometric,
                           kStripOffsets, kSamplesPerPixel, kRowsPerStrip,  kStripByteCounts, kPlanarConfiguration};
  return std::find(std::begin(kUsed), std::end(kUsed), tag) != std::end(kUsed);
}

Fields readDirectory(const Source& source) {
  Fields fields;
  const size_t start = source.at32(4);
  const uint32_t entries = source.at16(start);
  for (uint32_t e = 0; e < entries; ++e) {
    const size_t at = start + 2 + 12 * size_t{e};
    const uint32_t type = source.at16(at + 2), count = source.at32(at + 4);
    const auto tag = static_cast<uint16_t>(source.at16(at));
    if ((type != kByte && type != kShort && type != kLong) || !isKnown(tag) || fields.contains(tag)) continue;
    const size_t each = type == kLong ? 4 : type == kShort ? 2 : 1;
    const size_t from = each * count <= 4 ? at + 8 : source.at32(at + 8);
    std::vector<uint32_t>& values = fields[tag];
    for (uint32_t i = 0; i < count; ++i) {
      const size_t place = from + each * i;
      values.push_back(each == 4 ? source.at32(place) : each == 2 ? source.at16(place) : source.at8(place));
    }
  }
  return fields;
}

uint32_t first(const Fields& fields, uint16_t tag, uint32_t otherwise) {
  const auto found = fields.find(tag);
  return found == fields.end() || found->second.empty() ? otherwise : found->second[0];
}

// The shape of the file: rows of bytes in strips, one picture or two planes of them.
struct Layout {
  int32_t rowBytes, height, planes, rowsPerStrip;
  bool packed;
};

// Row y of a plane, unpacked. A strip is read from its start, row after row.
class Strips {
 public:
  Strips(const std::vector<uint8_t>& file, const Fields& fields, const Layout& layout) : file_(file), layout_(layout) {
    const auto list = [&](uint16_t tag) {
      const auto found = fields.find(tag);
      return found == fields.end() ? std::vector<uint32_t>() : found->second;
    };
    offsets_ = list(kStripOffsets), counts_ = list(kStripByteCounts);
    const int64_t strips = (int64_t{layout.height} + layout.rowsPerStrip - 1) / layout.rowsPerStrip * layout.planes;
    if (offsets_.size() < size_t(strips) || counts_.size() < size_t(strips)) throw TiffError("strips are missing");
  }

  // Calls use(plane, y, row) for every row. The row has one readable byte behind it.
  template <typename Use>
  void forEachRow(const Use& use) {
    std::vector<uint8_t> row(static_cast<size_t>(layout_.rowBytes));
    size_t strip = 0;
    for (int32_t plane = 0; plane < layout_.planes; ++plane) {
      for (int32_t top = 0; top < layout_.height; top += layout_.rowsPerStrip, ++strip) {
        // A copy with a byte to spare: a packet may end on the last byte of the source.
        const size_t from = offsets_[strip], length = counts_[strip];
        if (from > file_.size() || file_.size() - from < length || length > INT32_MAX - 1) throw TiffError("truncated");
        std::vector<uint8_t> bytes(file_.begin() + ptrdiff_t(from), file_.begin() + ptrdiff_t(from + length));
        bytes.push_back(0);
        int32_t position = 0;
        const int32_t bottom =
            static_cast<int32_t>(std::min<int64_t>(int64_t{top} + layout_.rowsPerStrip, layout_.height));
        for (int32_t y = top; y < bottom; ++y) {
          if (!unpackRow(bytes, static_cast<int32_t>(length), position, row)) throw TiffError("damaged strip");
          use(plane, y, row);
        }
      }
    }
  }

 private:
  bool unpackRow(const std::vector<uint8_t>& bytes, int32_t length, int32_t& position,
                 std::vector<uint8_t>& row) const {
    if (layout_.packed)
      return length > 0 &&
             qlmiUnpackBitsRow_TIFF_8u_C1(bytes.data(), &position, length, row.data(), layout_.rowBytes) == qlmOk;
    if (length - position < layout_.rowBytes) return false;
    std::copy_n(bytes.begin() + position, layout_.rowBytes, row.begin());
    position += layout_.rowBytes;
    return true;
  }

  const std::vector<uint8_t>& file_;
  Layout layout_;
  std::vector<uint32_t> offsets_, counts_;
};

}  // namespace

Picture16 readTiff(const std::vector<uint8_t>& file) {
  const Source source(file);
  const Fields fields = readDirectory(source);
  const uint32_t width = first(fields, kImageWidth, 0), height = first(fields, kImageLength, 0);
  const uint32_t samples = first(fields, kSamplesPerPixel, 1), bits = first(fields, kBitsPerSample, 1);
  const uint32_t compression = first(fields, kCompression, kUncompressed);
  const uint32_t photometric = first(fields, kPhotometric, kBlackIsZero);
  const bool planar = first(fields, kPlanarConfiguration, kChunky) == kPlanar && samples > 1;
  if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) throw TiffError("no size");
  if (compression != kUncompressed && compression != kPackBits)
    throw TiffError("unsupported compression " + std::to_string(compression));
  if (bits != 8 && bits != 16) throw TiffError("unsupported depth of " + std::to_string(bits) + " bits");
  const bool bytePlanes = planar && samples == 2 && bits == 8 && photometric == kBlackIsZero;
  const bool grey = samples == 1 && photometric == kBlackIsZero, rgb = samples == 3 && photometric == kRgb && !planar;
  if (!bytePlanes && !grey && !rgb) throw TiffError("neither grey nor interleaved RGB");

  Picture16 picture;
  picture.width = static_cast<int32_t>(width), picture.height = static_cast<int32_t>(height);
  picture.channels = rgb ? 3 : 1, picture.bits = bytePlanes ? 16 : static_cast<int32_t>(bits);
  const int64_t perRow = int64_t{picture.width} * picture.channels, rowBytes = perRow * (bits / 8);
  // Packed bytes stand for at most 64 times as many: what cannot be true is not allocated.
  if (perRow * picture.height > kMostSamples || perRow * picture.height > 64 * static_cast<int64_t>(file.size()))
    throw TiffError("truncated or too large");
  picture.samples.resize(static_cast<size_t>(perRow * picture.height));
  const uint32_t rowsPerStrip = std::clamp(first(fields, kRowsPerStrip, height), 1u, height);

  std::vector<uint8_t> high, unused(static_cast<size_t>(perRow), 0);
  if (bytePlanes) high.resize(picture.samples.size());
  Strips strips(file, fields,
                {static_cast<int32_t>(rowBytes), picture.height, bytePlanes ? 2 : 1, static_cast<int32_t>(rowsPerStrip),
                 compression == kPackBits});
  strips.forEachRow([&](int32_t plane, int32_t y, const std::vector<uint8_t>& row) {
    uint16_t* to = picture.samples.data() + perRow * y;
    uint8_t* highRow = bytePlanes ? high.data() + perRow * y : unused.data();
    if (bytePlanes && plane == 0) {
      std::copy(row.begin(), row.end(), highRow);
    } else if (bits == 8) {
      const uint8_t* const halves[2] = {highRow, row.data()};
      qlmiJoinRow_TIFF_8u16u_C1(halves, to, static_cast<int32_t>(perRow));
    } else {
      for (int64_t i = 0; i < perRow; ++i) {
        const uint32_t a = row[size_t(2 * i)], b = row[size_t(2 * i + 1)];
        to[i] = static_cast<uint16_t>(source.isBig() ? a << 8 | b : b << 8 | a);
      }
    }
  });
  return picture;
}

}  // namespace sample
