#include "jpegxr/jxr_headers.h"

#include <algorithm>
#include <string>

namespace sample {
namespace {

using Bytes = std::span<const uint8_t>;

[[noreturn]] void damaged(const std::string& what) { throw JxrError("damaged: " + what); }
[[noreturn]] void unsupported(const std::string& what) { throw JxrError("unsupported: " + what); }

// Bits of headers, which end in an error where the file ends.
class HeaderBits {
 public:
  HeaderBits(Bytes bytes, size_t position) : bytes_(bytes), position_(8 * position) {}

  uint32_t take(uint32_t n) {
    if (position_ + n > 8 * bytes_.size()) damaged("the file ends in its header");
    uint32_t value = 0;
    for (; n > 0; --n, ++position_) value = 2 * value + (bytes_[position_ / 8] >> (7 - position_ % 8) & 1);
    return value;
  }
  bool flag() { return take(1) != 0; }
  void toByte() { position_ = (position_ + 7) / 8 * 8; }
  size_t byte() const { return position_ / 8; }

 private:
  Bytes bytes_;
  size_t position_;
};

// The container, tags and types of its directory.
enum Tag : uint16_t {
  kPixelFormat = 0xBC01,
  kTransformation = 0xBC02,
  kImageWidth = 0xBC80,
  kImageHeight = 0xBC81,
  kWidthResolution = 0xBC82,
  kHeightResolution = 0xBC83,
  kImageOffset = 0xBCC0,
  kImageByteCount = 0xBCC1
};
enum Type : uint16_t { kByte = 1, kLong = 4, kFloat = 11 };

// Pixel formats are told by numbers of which only the last byte differs.
constexpr std::array<uint8_t, 15> kPixelFormatStart = {0x24, 0xC3, 0xDD, 0x6F, 0x03, 0x4E, 0xFE, 0x4B,
                                                       0xB1, 0x85, 0x3D, 0x77, 0x76, 0x8D, 0xC9};
constexpr uint8_t kGrey8 = 0x08, kGrey16 = 0x0B, kRgb8 = 0x0D, kRgb16 = 0x15;

constexpr std::array<uint8_t, 8> kSignature = {'W', 'M', 'P', 'H', 'O', 'T', 'O', 0};

uint32_t little(Bytes file, uint64_t position, size_t bytes) {
  if (position + bytes > file.size()) damaged("the file ends in its directory");
  uint32_t value = 0;
  for (size_t i = bytes; i-- > 0;) value = value << 8 | file[static_cast<size_t>(position) + i];
  return value;
}

Bytes findImage(Bytes file) {
  if (file.size() >= kSignature.size() && std::equal(kSignature.begin(), kSignature.end(), file.begin())) return file;
  if (file.size() < 8 || file[0] != 'I' || file[1] != 'I' || file[2] != 0xBC || file[3] > 1)
    throw JxrError("not a JPEG XR file");
  const uint64_t directory = little(file, 4, 4);
  const uint32_t entries = little(file, directory, 2);
  uint64_t offset = 0, bytes = 0;
  for (uint64_t i = 0; i < entries; ++i) {
    const uint64_t entry = directory + 2 + 12 * i;
    const uint32_t value = little(file, entry + 8, 4);
    switch (little(file, entry, 2)) {
      case kImageOffset:
        offset = value;
        break;
      case kImageByteCount:
        bytes = value;
        break;
      default:
        break;
    }
  }
  if (offset == 0) damaged("the directory names no image");
  if (offset >= file.size()) damaged("the file ends before its image");
  // The count may be missing, or written before it was known.
  if (bytes == 0 || bytes > file.size() - offset) bytes = file.size() - offset;
  return file.subspan(static_cast<size_t>(offset), static_cast<size_t>(bytes));
}

// The sizes of tiles are told but for the last.
std::vector<MbRange> readTiles(HeaderBits& bits, uint32_t more, uint32_t width, int32_t mbs) {
  std::vector<MbRange> tiles;
  int32_t first = 0;
  for (uint32_t i = 0; i < more; ++i) {
    const int32_t end = first + static_cast<int32_t>(bits.take(width));
    if (end <= first || end >= mbs) damaged("a tile lies outside the picture");
    tiles.push_back({first, end});
    first = end;
  }
  tiles.push_back({first, mbs});
  return tiles;
}

QuantiserIndices readQuantisers(HeaderBits& bits, JxrComponents components) {
  enum Mode { kSame, kChromaApart, kAllApart };
  const uint32_t mode = components == JxrComponents::kY ? uint32_t{kSame} : bits.take(2);
  QuantiserIndices indices{};
  indices.fill(static_cast<uint8_t>(bits.take(8)));
  if (mode == kChromaApart) indices[1] = indices[2] = static_cast<uint8_t>(bits.take(8));
  if (mode >= kAllApart)
    for (size_t c = 1; c < indices.size(); ++c) indices[c] = static_cast<uint8_t>(bits.take(8));
  return indices;
}

void needUniform(HeaderBits& bits) {
  if (!bits.flag()) unsupported("quantisers that differ between tiles");
}

void readPlaneHeader(HeaderBits& bits, JxrHeader& header) {
  const uint32_t components = bits.take(3);
  if (components > 3) unsupported("CMYK and other colours than grey and RGB");
  header.components = static_cast<JxrComponents>(components);
  header.scaled = bits.flag();
  const uint32_t bands = bits.take(4);
  if (bands > 3) unsupported("bands of number " + std::to_string(bands));
  header.bands = static_cast<JxrBands>(bands);
  if (header.components != JxrComponents::kY) bits.take(8);  // where chroma samples are sited
  if (header.bits == 16) header.shift = static_cast<int32_t>(bits.take(8));
  if (header.shift > 15) damaged("a sample has too few bits");

  auto& [dc, lowpass, highpass] = header.quantisers;
  needUniform(bits);
  dc = readQuantisers(bits, header.components);
  lowpass = highpass = dc;
  if (header.hasLowpass() && !bits.flag()) {
    needUniform(bits);
    lowpass = highpass = readQuantisers(bits, header.components);
  }
  if (header.hasHighpass() && !bits.flag()) {
    needUniform(bits);
    highpass = readQuantisers(bits, header.components);
  }
  bits.toByte();
}

void readImageHeader(HeaderBits& bits, JxrHeader& header) {
  constexpr uint32_t kHdPhoto = 0, kSoftTiles = 1, kHardTiles = 9;
  if (bits.take(4) != 1) unsupported("another version than 1");
  const uint32_t subversion = bits.take(4);
  if (subversion != kHdPhoto && subversion != kSoftTiles && subversion != kHardTiles)
    unsupported("subversion " + std::to_string(subversion));
  const bool tiled = bits.flag();
  header.layout = static_cast<JxrLayout>(bits.take(1));
  bits.take(3);  // how to turn the picture for showing it
  header.indexed = bits.flag();
  const uint32_t overlap = bits.take(2);
  if (overlap > 2) damaged("the overlap is none of three");
  header.overlap = static_cast<JxrOverlap>(overlap);
  const bool shortSizes = bits.flag();
  bits.flag();  // whether 16 bits are not enough for coefficients; here they always have 32
  const bool windowed = bits.flag();
  header.trimFlexbits = bits.flag();
  const bool stretched = bits.flag();
  bits.take(2);  // red and blue are swapped in formats of 5 and 10 bits
  if (bits.flag()) unsupported("interleaved alpha");

  constexpr uint32_t kGrey = 0, kRgb = 7;
  const uint32_t colour = bits.take(4);
  if (colour != kGrey && colour != kRgb) unsupported("CMYK and other colours than grey and RGB");
  header.colour = colour == kRgb;
  const uint32_t depth = bits.take(4);
  if (depth != 1 && depth != 2) unsupported("samples other than unsigned ones of 8 or 16 bits");
  header.bits = depth == 1 ? 8 : 16;

  const uint32_t sizeBits = shortSizes ? 16 : 32;
  const uint64_t width = uint64_t{bits.take(sizeBits)} + 1, height = uint64_t{bits.take(sizeBits)} + 1;
  constexpr uint64_t kMost = 1 << 24;
  if (width > kMost || height > kMost) unsupported("more than 2^24 rows or columns");
  header.width = static_cast<int32_t>(width), header.height = static_cast<int32_t>(height);
  const uint32_t moreColumns = tiled ? bits.take(12) : 0, moreRows = tiled ? bits.take(12) : 0;
  const HeaderBits tiles = bits;
  // The window comes behind the tiles, whose places depend on it.
  for (uint32_t i = 0; i < moreColumns + moreRows; ++i) bits.take(shortSizes ? 8 : 16);
  if (stretched)
    for (uint32_t i = 0; i < (moreColumns + 1) * (moreRows + 1); ++i) bits.take(8);
  int32_t right = 0, bottom = 0;
  if (windowed) {
    header.top = static_cast<int32_t>(bits.take(6));
    header.left = static_cast<int32_t>(bits.take(6));
    bottom = static_cast<int32_t>(bits.take(6));
    right = static_cast<int32_t>(bits.take(6));
  }
  header.mbsWide = (header.left + header.width + right + kMbSide - 1) / kMbSide;
  header.mbsHigh = (header.top + header.height + bottom + kMbSide - 1) / kMbSide;
  HeaderBits sizes = tiles;
  header.tileColumns = readTiles(sizes, moreColumns, shortSizes ? 8 : 16, header.mbsWide);
  header.tileRows = readTiles(sizes, moreRows, shortSizes ? 8 : 16, header.mbsHigh);
  bits.toByte();

  readPlaneHeader(bits, header);
  if (!header.colour && header.components != JxrComponents::kY) damaged("a grey picture has chroma");
  if (header.overlap != JxrOverlap::kNone && subversion == kHdPhoto)
    unsupported("overlap filters of HD Photo, before JPEG XR");
  if (header.overlap != JxrOverlap::kNone && subversion == kHardTiles &&
      header.tileColumns.size() * header.tileRows.size() > 1)
    unsupported("overlap filters that stop at tiles");
  if (header.overlap == JxrOverlap::kTwo && header.mbsWide < 2 && isSubsampled(header.components, 1))
    damaged("subsampled chroma is too narrow for the second overlap filter");
}

// A number of variable length; the codes from 0xFD on mean that there is none.
struct IndexEntry {
  uint64_t value;
  bool none;
};
IndexEntry readIndexEntry(HeaderBits& bits) {
  const uint32_t first = bits.take(8);
  if (first < 0xFB) return {first << 8 | bits.take(8), false};
  if (first > 0xFC) return {0, true};
  uint64_t value = first == 0xFC ? uint64_t{bits.take(32)} << 32 : 0;
  value |= bits.take(32);
  return {value, false};
}

size_t bandPackets(const JxrHeader& header) {
  return header.layout == JxrLayout::kSpatial ? 1 : 4 - static_cast<size_t>(header.bands);
}

}  // namespace

JxrFile readJxrHeaders(std::span<const uint8_t> file) {
  const Bytes image = findImage(file);
  if (image.size() < kSignature.size() || !std::equal(kSignature.begin(), kSignature.end(), image.begin()))
    damaged("the image does not begin with its signature");
  JxrFile result;
  JxrHeader& header = result.header;
  HeaderBits bits(image, kSignature.size());
  readImageHeader(bits, header);

  // A macroblock takes some bits at least. Some more room for truncated files, and no gigabytes for a few bytes.
  constexpr int64_t kMostMacroblocksPerByte = 16, kMostMacroblocksAnyhow = 1024;
  if (int64_t{header.mbsWide} * header.mbsHigh >
      kMostMacroblocksAnyhow + kMostMacroblocksPerByte * static_cast<int64_t>(file.size()))
    damaged(std::to_string(file.size()) + " bytes cannot hold a picture of " + std::to_string(header.width) + " x " +
            std::to_string(header.height));

  const size_t tiles = header.tileColumns.size() * header.tileRows.size(), bands = bandPackets(header);
  if (!header.indexed && tiles * bands > 1) damaged("there is no table of the packets");
  std::vector<IndexEntry> entries(tiles * bands);
  if (header.indexed) {
    if (bits.take(16) != 1) damaged("there is no table of the packets");
    for (IndexEntry& entry : entries) entry = readIndexEntry(bits);
  }
  const uint64_t extension = readIndexEntry(bits).value;
  const uint64_t start = bits.byte() + extension;
  if (start > image.size()) damaged("the file ends before its first packet");
  const Bytes packets = image.subspan(static_cast<size_t>(start));

  // A packet ends where the next one in the file begins.
  std::vector<uint64_t> offsets;
  for (const IndexEntry& entry : entries)
    if (!entry.none) offsets.push_back(entry.value);
  std::sort(offsets.begin(), offsets.end());
  const auto packetAt = [&](const IndexEntry& entry) -> Bytes {
    if (entry.none || entry.value >= packets.size()) return {};
    const auto next = std::upper_bound(offsets.begin(), offsets.end(), entry.value);
    const uint64_t end = next == offsets.end() ? packets.size() : std::min<uint64_t>(*next, packets.size());
    return packets.subspan(static_cast<size_t>(entry.value), static_cast<size_t>(end - entry.value));
  };
  result.packets.resize(tiles);
  for (size_t i = 0; i < entries.size(); ++i) result.packets[i / bands][i % bands] = packetAt(entries[i]);
  return result;
}

std::vector<uint8_t> writeJxrFile(const JxrHeader& header, std::span<const uint8_t> packet) {
  // Headers of image and plane.
  JxrBitWriter bits;
  for (const uint8_t byte : kSignature) bits.put(byte, 8);
  const bool shortSizes = header.width <= 65536 && header.height <= 65536;
  bits.put(1, 4), bits.put(1, 4);  // version, and subversion: JPEG XR with soft tiles
  bits.put(0, 6);                  // no tiles, spatial layout, not turned, no table of packets
  bits.put(static_cast<uint32_t>(header.overlap), 2);
  bits.flag(shortSizes);
  bits.flag(true);  // coefficients may need more than 16 bits
  bits.put(0, 6);   // no window, no trimmed flexbits, no stretched tiles, no swapped colours, no alpha
  bits.put(header.colour ? 7 : 0, 4);
  bits.put(header.bits == 8 ? 1 : 2, 4);
  for (const int32_t size : {header.width - 1, header.height - 1}) {
    if (!shortSizes) bits.put(static_cast<uint32_t>(size) >> 16, 16);
    bits.put(static_cast<uint32_t>(size), 16);
  }
  bits.put(static_cast<uint32_t>(header.components), 3);
  bits.flag(header.scaled);
  bits.put(static_cast<uint32_t>(header.bands), 4);
  if (header.components != JxrComponents::kY) bits.put(0, 8);
  if (header.bits == 16) bits.put(static_cast<uint32_t>(header.shift), 8);
  const size_t bands = header.hasHighpass() ? 3 : header.hasLowpass() ? 2 : 1;
  for (size_t band = 0; band < bands; ++band) {
    if (band > 0) bits.flag(false);  // its quantisers are its own
    bits.flag(true);                 // for all tiles
    if (header.components != JxrComponents::kY) bits.put(2, 2);
    for (size_t c = 0; c < countOf(header.components); ++c) bits.put(header.quantisers[band][c], 8);
  }
  std::vector<uint8_t> image = bits.finish();
  // Four bytes more, of the profile and level: any.
  for (const int byte : {0, 4, 111, 255, 0, 1}) image.push_back(static_cast<uint8_t>(byte));
  image.insert(image.end(), packet.begin(), packet.end());

  // The container.
  std::vector<uint8_t> file;
  const auto put = [&](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<uint8_t>(value >> (8 * i)));
  };
  const auto entry = [&](Tag tag, Type type, uint32_t count, uint32_t value) {
    put(tag, 2), put(type, 2), put(count, 4), put(value, 4);
  };
  constexpr uint32_t kFormatOffset = 8, kDirectory = 32, kEntries = 8;
  constexpr uint32_t kImage = kDirectory + 2 + 12 * kEntries + 4;
  constexpr uint32_t k96Dpi = 0x42C00000;  // the number 96 as a float
  put('I' | 'I' << 8 | 0xBC << 16 | 1 << 24, 4);
  put(kDirectory, 4);
  for (const uint8_t byte : kPixelFormatStart) file.push_back(byte);
  file.push_back(header.bits == 8 ? (header.colour ? kRgb8 : kGrey8) : (header.colour ? kRgb16 : kGrey16));
  file.resize(kDirectory);
  put(kEntries, 2);
  entry(kPixelFormat, kByte, 16, kFormatOffset);
  entry(kTransformation, kLong, 1, 0);
  entry(kImageWidth, kLong, 1, static_cast<uint32_t>(header.width));
  entry(kImageHeight, kLong, 1, static_cast<uint32_t>(header.height));
  entry(kWidthResolution, kFloat, 1, k96Dpi);
  entry(kHeightResolution, kFloat, 1, k96Dpi);
  entry(kImageOffset, kLong, 1, kImage);
  entry(kImageByteCount, kLong, 1, static_cast<uint32_t>(image.size()));
  put(0, 4);
  file.insert(file.end(), image.begin(), image.end());
  return file;
}

void skipPacketHeader(JxrBitReader& bits) {
  bits.take(16);
  bits.take(16);
}

void writePacketHeader(JxrBitWriter& bits) {
  bits.put(0, 16);
  bits.put(1 << 8, 16);
}

int32_t quantiserStep(const JxrHeader& header, JxrBand band, size_t component) {
  const int32_t index = header.quantisers[band][component];
  if (index == 0) return 1;
  const int32_t low = index & 15, high = index >> 4;
  if (header.scaled) {
    // Chroma has lost a bit of its DC and lowpass coefficients.
    const int32_t shift = component > 0 && band != kHighpass ? 0 : 1;
    return index < 16 ? index << shift : (16 + low) << (high - 1 + shift);
  }
  if (index < 32) return (index + 3) >> 2;
  if (index < 48) return (16 + low + 1) >> 1 << (high - 2);
  return (16 + low) << (high - 3);
}

}  // namespace sample
