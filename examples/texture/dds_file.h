// DDS files of two-dimensional block textures with their chains of smaller levels. The header is that of DirectX 9,
// which names the format by four letters, or is extended by that of DirectX 10, which names it by a number. What the
// reader does not know it names in an error.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace sample {

enum class TextureFormat {
  kDxt1,
  kDxt3,
  kDxt5,
  kYCoCgDxt5,  // DXT5 blocks of Y, Co, Cg; others read them as DXT5
  kBc4,
  kBc5,
  kBc6Unsigned,
  kBc6Signed,
  kBc7
};

struct TextureLevel {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> blocks;
  bool operator==(const TextureLevel&) const = default;
};

// The whole picture first, then each level half as wide and high, rounded down, but at least 1.
struct Texture {
  TextureFormat format = TextureFormat::kDxt1;
  std::vector<TextureLevel> levels;
  bool operator==(const Texture&) const = default;
};

struct DdsError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Bytes of the blocks of a level.
int64_t streamBytesOf(TextureFormat format, int32_t width, int32_t height);

enum class DdsHeader { kFourCc, kDx10 };

// BC6 and BC7 have no four letters and get the header of DirectX 10 in any case.
std::vector<uint8_t> writeDds(const Texture& texture, DdsHeader header = DdsHeader::kFourCc);

// Throws DdsError with a message for people; no bytes make it read out of bounds or allocate more than the file holds.
Texture readDds(std::span<const uint8_t> file);

}  // namespace sample
