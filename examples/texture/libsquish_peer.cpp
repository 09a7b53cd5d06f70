#include "texture/libsquish_peer.h"

#include <squish.h>

#include <algorithm>

// DXT5's alpha, which is BC4; only every fourth byte of `rgba` counts. Its public functions take BC4 and BC5 for
// colours.
namespace squish {
void CompressAlphaDxt5(const u8* rgba, int mask, void* block);
void DecompressAlphaDxt5(u8* rgba, const void* block);
}  // namespace squish

namespace sample {
namespace {

int channelsOf(TextureFormat format) {
  return format == TextureFormat::kBc4 ? 1 : format == TextureFormat::kBc5 ? 2 : 4;
}

int flagOf(TextureFormat format) {
  switch (format) {
    case TextureFormat::kDxt1:
      return squish::kDxt1;
    case TextureFormat::kDxt3:
      return squish::kDxt3;
    case TextureFormat::kDxt5:
    case TextureFormat::kYCoCgDxt5:
      return squish::kDxt5;
    default:
      throw DdsError("libsquish has no such format");
  }
}

// Calls visit(block, x, y) for the blocks of a level.
template <typename Level, typename Visit>
void forEachBlock(Level& level, TextureFormat format, const Visit& visit) {
  auto* block = level.blocks.data();
  const int64_t blockBytes = streamBytesOf(format, 1, 1);
  for (int32_t y = 0; y < level.height; y += 4)
    for (int32_t x = 0; x < level.width; x += 4, block += blockBytes) visit(block, x, y);
}

}  // namespace

Texture squishEncode(const Picture& picture, TextureFormat format) {
  const Picture rgb = toRgb(picture);
  TextureLevel level{picture.width, picture.height, {}};
  level.blocks.resize(static_cast<size_t>(streamBytesOf(format, picture.width, picture.height)));
  forEachBlock(level, format, [&](uint8_t* block, int32_t x, int32_t y) {
    uint8_t tile[64] = {};
    int mask = 0;  // of the pixels inside
    for (int32_t i = 0; i < 16; ++i) {
      const int32_t u = x + i % 4, v = y + i / 4;
      if (u >= rgb.width || v >= rgb.height) continue;
      std::copy_n(rgb.row(v) + 3 * u, 3, tile + 4 * i);
      tile[4 * i + 3] = 255;
      mask |= 1 << i;
    }
    if (channelsOf(format) == 4)
      return squish::CompressMasked(tile, mask, block, flagOf(format) | squish::kColourRangeFit);
    for (int c = 0; c < channelsOf(format); ++c) {
      uint8_t channel[64];
      for (size_t i = 0; i < 16; ++i) channel[4 * i + 3] = tile[4 * i + static_cast<size_t>(c)];
      squish::CompressAlphaDxt5(channel, mask, block + 8 * c);
    }
  });
  return {format, {std::move(level)}};
}

Picture squishDecode(const Texture& texture) {
  const TextureLevel& level = texture.levels.at(0);
  const int channels = channelsOf(texture.format);
  TexturePixels pixels{level.width, level.height, channels, {}};
  pixels.bytes.resize(static_cast<size_t>(level.width) * static_cast<size_t>(level.height * channels));
  forEachBlock(level, texture.format, [&](const uint8_t* block, int32_t x, int32_t y) {
    uint8_t tile[64];
    if (channels == 4) {
      squish::Decompress(tile, block, flagOf(texture.format));
    } else {
      for (int c = 0; c < channels; ++c) {
        uint8_t channel[64];
        squish::DecompressAlphaDxt5(channel, block + 8 * c);
        for (int i = 0; i < 16; ++i) tile[channels * i + c] = channel[4 * i + 3];
      }
    }
    const int32_t columns = std::min(4, level.width - x);
    for (int32_t v = 0; v < std::min(4, level.height - y); ++v)
      std::copy_n(tile + 4 * channels * v, channels * columns,
                  pixels.bytes.data() + ptrdiff_t{channels} * (ptrdiff_t{level.width} * (y + v) + x));
  });
  return toPicture(pixels, texture.format);
}

}  // namespace sample
