#include "texture/dds_file.h"

#include <algorithm>
#include <bit>
#include <string>

namespace sample {
namespace {

constexpr uint32_t letters(const char (&text)[5]) {
  uint32_t code = 0;
  for (int i = 0; i < 4; ++i) code |= uint32_t{static_cast<uint8_t>(text[i])} << (8 * i);
  return code;
}

struct Row {
  TextureFormat format;
  int32_t blockBytes;
  uint32_t fourCc, otherFourCc;  // 0 where there is none
  uint32_t dxgi;                 // DXGI_FORMAT_..._UNORM, for BC6 _UF16 and _SF16
  uint32_t dxgiTypeless, dxgiSrgb;
};
constexpr Row kRows[]{
    {TextureFormat::kDxt1, 8, letters("DXT1"), 0, 71, 70, 72},
    {TextureFormat::kDxt3, 16, letters("DXT3"), 0, 74, 73, 75},
    {TextureFormat::kDxt5, 16, letters("DXT5"), 0, 77, 76, 78},
    {TextureFormat::kYCoCgDxt5, 16, letters("DXT5"), 0, 77, 76, 78},
    {TextureFormat::kBc4, 8, letters("ATI1"), letters("BC4U"), 80, 79, 0},
    {TextureFormat::kBc5, 16, letters("ATI2"), letters("BC5U"), 83, 82, 0},
    {TextureFormat::kBc6Unsigned, 16, 0, 0, 95, 94, 0},
    {TextureFormat::kBc6Signed, 16, 0, 0, 96, 0, 0},
    {TextureFormat::kBc7, 16, 0, 0, 98, 97, 99},
};

const Row& rowOf(TextureFormat format) {
  return *std::ranges::find_if(kRows, [=](const Row& row) { return row.format == format; });
}

// Words of 32 bits, from the magic number on.
namespace at {
enum : size_t {
  kMagic,
  kHeaderBytes,
  kFlags,
  kHeight,
  kWidth,
  kLinearSize,
  kDepth,
  kLevels,
  kReserved,  // 11 words
  kPixelFormatBytes = 19,
  kPixelFlags,
  kFourCc,
  kCaps = 27,
  kCaps2,
  kEnd = 32,
  kDxgi = kEnd,  // from here on only where the four letters are "DX10"
  kDimension,
  kMisc,
  kArraySize,
  kDx10End = 37
};
}
constexpr uint32_t kMagic = letters("DDS "), kDx10 = letters("DX10");
constexpr uint32_t kHeaderBytes = 124, kPixelFormatBytes = 32;
constexpr uint32_t kHasCaps = 1, kHasHeight = 2, kHasWidth = 4, kHasPixelFormat = 0x1000, kHasLevels = 0x20000,
                   kHasLinearSize = 0x80000;
constexpr uint32_t kIsFourCc = 4;
constexpr uint32_t kComplex = 8, kIsTexture = 0x1000, kMipMap = 0x400000;
constexpr uint32_t kCubeOrVolume = 0x200000 | 0x200;
constexpr uint32_t kTexture2D = 3, kCube = 4;

// Our mark of the YCoCg layout, in words that the format leaves free.
constexpr uint32_t kYCoCgMark[] = {letters("YCoC"), letters("gDXT")};

constexpr uint32_t kMostPixels = 1 << 16;  // along a side

std::string quoted(uint32_t code) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    const auto c = static_cast<char>(code >> (8 * i) & 255);
    text += c >= ' ' && c <= '~' ? c : '?';
  }
  return '"' + text + '"';
}

TextureFormat formatOf(uint32_t fourCc) {
  for (const Row& row : kRows)
    if (fourCc != 0 && (row.fourCc == fourCc || row.otherFourCc == fourCc)) return row.format;
  throw DdsError("unsupported format " + quoted(fourCc));
}

TextureFormat formatOfDxgi(uint32_t dxgi) {
  for (const Row& row : kRows)
    if (dxgi != 0 && (row.dxgi == dxgi || row.dxgiTypeless == dxgi || row.dxgiSrgb == dxgi)) return row.format;
  throw DdsError("unsupported DXGI format " + std::to_string(dxgi));
}

}  // namespace

int64_t streamBytesOf(TextureFormat format, int32_t width, int32_t height) {
  return (int64_t{width} + 3) / 4 * ((int64_t{height} + 3) / 4) * rowOf(format).blockBytes;
}

std::vector<uint8_t> writeDds(const Texture& texture, DdsHeader header) {
  const Row& row = rowOf(texture.format);
  const bool dx10 = header == DdsHeader::kDx10 || row.fourCc == 0;
  const TextureLevel& first = texture.levels.at(0);
  const bool chain = texture.levels.size() > 1;
  std::vector<uint32_t> words(dx10 ? at::kDx10End : at::kEnd);
  words[at::kMagic] = kMagic;
  words[at::kHeaderBytes] = kHeaderBytes;
  words[at::kFlags] = kHasCaps | kHasHeight | kHasWidth | kHasPixelFormat | kHasLinearSize | (chain ? kHasLevels : 0);
  words[at::kHeight] = static_cast<uint32_t>(first.height);
  words[at::kWidth] = static_cast<uint32_t>(first.width);
  words[at::kLinearSize] = static_cast<uint32_t>(first.blocks.size());
  words[at::kLevels] = static_cast<uint32_t>(texture.levels.size());
  if (texture.format == TextureFormat::kYCoCgDxt5) std::ranges::copy(kYCoCgMark, &words[at::kReserved]);
  words[at::kPixelFormatBytes] = kPixelFormatBytes;
  words[at::kPixelFlags] = kIsFourCc;
  words[at::kFourCc] = dx10 ? kDx10 : row.fourCc;
  words[at::kCaps] = kIsTexture | (chain ? kComplex | kMipMap : 0);
  if (dx10) {
    words[at::kDxgi] = row.dxgi;
    words[at::kDimension] = kTexture2D;
    words[at::kArraySize] = 1;
  }
  std::vector<uint8_t> file;
  for (const uint32_t word : words)
    for (int i = 0; i < 4; ++i) file.push_back(static_cast<uint8_t>(word >> (8 * i)));
  for (const TextureLevel& level : texture.levels) file.insert(file.end(), level.blocks.begin(), level.blocks.end());
  return file;
}

Texture readDds(std::span<const uint8_t> file) {
  const auto word = [file](size_t index) {
    if (file.size() < 4 * index + 4) throw DdsError("truncated header");
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v |= uint32_t{file[4 * index + i]} << (8 * i);
    return v;
  };
  if (file.size() < 4 || word(at::kMagic) != kMagic) throw DdsError("not a DDS file");
  if (word(at::kHeaderBytes) != kHeaderBytes || word(at::kPixelFormatBytes) != kPixelFormatBytes)
    throw DdsError("damaged header");
  if (!(word(at::kPixelFlags) & kIsFourCc)) throw DdsError("unsupported: not compressed in blocks");
  if (word(at::kCaps2) & kCubeOrVolume) throw DdsError("unsupported: cube map or volume");

  Texture texture;
  const bool dx10 = word(at::kFourCc) == kDx10;
  if (dx10) {
    texture.format = formatOfDxgi(word(at::kDxgi));
    if (word(at::kDimension) != kTexture2D || (word(at::kMisc) & kCube) || word(at::kArraySize) > 1)
      throw DdsError("unsupported: cube map, volume or array");
  } else {
    texture.format = formatOf(word(at::kFourCc));
  }
  if (texture.format == TextureFormat::kDxt5 && word(at::kReserved) == kYCoCgMark[0] &&
      word(at::kReserved + 1) == kYCoCgMark[1])
    texture.format = TextureFormat::kYCoCgDxt5;

  uint32_t width = word(at::kWidth), height = word(at::kHeight);
  if (width < 1 || height < 1) throw DdsError("no size");
  if (width > kMostPixels || height > kMostPixels)
    throw DdsError("unsupported size of " + std::to_string(width) + " x " + std::to_string(height));
  const uint32_t levels = std::max(word(at::kLevels), 1u);
  if (levels > static_cast<uint32_t>(std::bit_width(std::max(width, height))))
    throw DdsError("damaged: more levels than its size has");

  auto rest = file.subspan(4 * std::min<size_t>(dx10 ? at::kDx10End : at::kEnd, file.size() / 4));
  for (uint32_t i = 0; i < levels; ++i, width = std::max(width / 2, 1u), height = std::max(height / 2, 1u)) {
    TextureLevel level{static_cast<int32_t>(width), static_cast<int32_t>(height), {}};
    const auto bytes = static_cast<size_t>(streamBytesOf(texture.format, level.width, level.height));
    if (rest.size() < bytes) throw DdsError("truncated in level " + std::to_string(i));
    level.blocks.assign(rest.begin(), rest.begin() + static_cast<ptrdiff_t>(bytes));
    rest = rest.subspan(bytes);
    texture.levels.push_back(std::move(level));
  }
  return texture;
}

}  // namespace sample
