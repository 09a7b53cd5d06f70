#include "texture/texture_codec.h"

#include <algorithm>
#include <bit>
#include <string>

#include "qlmjp.h"

namespace sample {
namespace {

struct Codec {
  TextureFormat format;
  int32_t channels;                                                 // of the pixels that are encoded
  QlmStatus (*encode)(const uint8_t*, int32_t, QlmSize, uint8_t*);  // null where blocks are encoded one by one
  QlmStatus (*decode)(const uint8_t*, uint8_t*, int32_t, QlmSize);
};
constexpr Codec kCodecs[]{
    {TextureFormat::kDxt1, 4, qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R},
    {TextureFormat::kDxt3, 4, qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R},
    {TextureFormat::kDxt5, 4, qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R},
    {TextureFormat::kYCoCgDxt5, 3, qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R,
     qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R},
    {TextureFormat::kBc4, 1, qlmiTextureEncodeBlock_BC4_8u_C1R, qlmiTextureDecodeBlock_BC4_8u_C1R},
    {TextureFormat::kBc5, 2, qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R, qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R},
    {TextureFormat::kBc7, 4, nullptr, qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R},
};

const Codec& codecOf(TextureFormat format) {
  const auto* found = std::ranges::find_if(kCodecs, [=](const Codec& codec) { return codec.format == format; });
  if (found == std::end(kCodecs)) throw DdsError("this format has no 8-bit pixels");
  return *found;
}

void check(QlmStatus status) {
  if (status != qlmOk) throw DdsError("the library answers with status " + std::to_string(status));
}

size_t samplesOf(int32_t width, int32_t height, int32_t channels) {
  return static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels);
}

uint8_t clamped(int32_t v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// Y, Co, Cg with 128 as zero of the chroma.
void toYCoCg(const uint8_t* rgb, uint8_t* out) {
  const int32_t r = rgb[0], g = rgb[1], b = rgb[2];
  out[0] = clamped((r + 2 * g + b + 2) >> 2);
  out[1] = clamped(((r - b + 1) >> 1) + 128);
  out[2] = clamped(((2 * g - r - b + 2) >> 2) + 128);
}

// From a pixel of a DXT5 block: chroma is spread by the scale, whose code the five bits of blue hold.
void fromYCoCg(const uint8_t* dxt5, uint8_t* rgb) {
  const float scale = static_cast<float>((dxt5[2] >> 3) + 1);
  const float y = dxt5[3], co = static_cast<float>(dxt5[0] - 128) / scale,
              cg = static_cast<float>(dxt5[1] - 128) / scale;
  const float colours[3] = {y + co - cg, y + cg, y - co - cg};
  for (int c = 0; c < 3; ++c) rgb[c] = clamped(static_cast<int32_t>(colours[c] + 256.5f) - 256);
}

TexturePixels toPixels(const Picture& picture, TextureFormat format) {
  const int32_t channels = codecOf(format).channels;
  const Picture source = channels == 1 ? toGrey(toRgb(picture)) : toRgb(picture);
  TexturePixels pixels{picture.width, picture.height, channels,
                       std::vector<uint8_t>(samplesOf(picture.width, picture.height, channels))};
  const uint8_t* from = source.pixels.data();
  for (auto to = pixels.bytes.begin(); to != pixels.bytes.end(); to += channels, from += source.channels) {
    if (channels == 3) {
      toYCoCg(from, &*to);
    } else {
      std::copy_n(from, std::min(channels, 3), to);
      if (channels == 4) to[3] = 255;
    }
  }
  return pixels;
}

// Means of 2 x 2 pixels; where a side is 1, of the pixels there are. An odd last row or column counts with the pixels
// of no mean.
Picture halved(const Picture& picture) {
  Picture half(std::max(picture.width / 2, 1), std::max(picture.height / 2, 1), picture.channels);
  for (int32_t y = 0; y < half.height; ++y)
    for (int32_t x = 0; x < half.width; ++x)
      for (int32_t c = 0; c < half.channels; ++c) {
        int32_t sum = 2;
        for (int32_t i = 0; i < 4; ++i) {
          const int32_t u = std::min(2 * x + i % 2, picture.width - 1), v = std::min(2 * y + i / 2, picture.height - 1);
          sum += picture.row(v)[u * picture.channels + c];
        }
        half.row(y)[x * half.channels + c] = static_cast<uint8_t>(sum / 4);
      }
  return half;
}

}  // namespace

bool isHalf(TextureFormat format) {
  return format == TextureFormat::kBc6Signed || format == TextureFormat::kBc6Unsigned;
}

TextureLevel encodeLevel(const TexturePixels& pixels, TextureFormat format, const Bc7Options& bc7) {
  if (isHalf(format)) throw DdsError("this format can only be read");
  TextureLevel level{pixels.width, pixels.height, {}};
  if (format == TextureFormat::kBc7) {
    level.blocks = encodeBc7(pixels.bytes.data(), pixels.width, pixels.height, bc7);
    return level;
  }
  level.blocks.resize(static_cast<size_t>(streamBytesOf(format, pixels.width, pixels.height)));
  check(codecOf(format).encode(pixels.bytes.data(), pixels.width * pixels.channels, {pixels.width, pixels.height},
                               level.blocks.data()));
  return level;
}

TexturePixels decodeLevel(const TextureLevel& level, TextureFormat format) {
  const Codec& codec = codecOf(format);
  const int32_t channels = codec.channels == 3 ? 4 : codec.channels;  // YCoCg comes back as DXT5
  TexturePixels pixels{level.width, level.height, channels,
                       std::vector<uint8_t>(samplesOf(level.width, level.height, channels))};
  check(codec.decode(level.blocks.data(), pixels.bytes.data(), level.width * channels, {level.width, level.height}));
  return pixels;
}

HalfPicture decodeHalf(const TextureLevel& level, TextureFormat format) {
  HalfPicture picture{level.width, level.height, std::vector<uint16_t>(samplesOf(level.width, level.height, 3))};
  const QlmSize size{level.width, level.height};
  if (format == TextureFormat::kBc6Signed) {
    // The pattern is the same; the type only says that it has a sign.
    check(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R(
        level.blocks.data(), reinterpret_cast<int16_t*>(picture.samples.data()), 6 * level.width, size));
  } else {
    check(
        qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R(level.blocks.data(), picture.samples.data(), 6 * level.width, size));
  }
  return picture;
}

Texture encodeTexture(const Picture& picture, TextureFormat format, bool mipmaps, const Bc7Options& bc7) {
  Texture texture{format, {}};
  texture.levels.push_back(encodeLevel(toPixels(picture, format), format, bc7));
  for (Picture level = picture; mipmaps && (level.width > 1 || level.height > 1);) {
    level = halved(level);
    texture.levels.push_back(encodeLevel(toPixels(level, format), format, bc7));
  }
  return texture;
}

Picture toPicture(const TexturePixels& pixels, TextureFormat format) {
  Picture picture(pixels.width, pixels.height, pixels.channels == 1 ? 1 : 3);
  const uint8_t* from = pixels.bytes.data();
  for (auto to = picture.pixels.begin(); to != picture.pixels.end(); to += picture.channels, from += pixels.channels) {
    if (format == TextureFormat::kYCoCgDxt5) {
      fromYCoCg(from, &*to);
    } else {
      std::copy_n(from, std::min(pixels.channels, 3), to);  // BC5 leaves blue at 0
    }
  }
  return picture;
}

Picture decodeTexture(const Texture& texture, size_t index) {
  const TextureLevel& level = texture.levels.at(index);
  if (!isHalf(texture.format)) return toPicture(decodeLevel(level, texture.format), texture.format);
  const HalfPicture half = decodeHalf(level, texture.format);
  Picture picture(half.width, half.height, 3);
  std::ranges::transform(half.samples, picture.pixels.begin(), [](uint16_t sample) {
    const float v = toFloat(sample);
    return static_cast<uint8_t>(v > 0 ? std::min(v, 1.0f) * 255 + 0.5f : 0);  // NaN is black
  });
  return picture;
}

float toFloat(uint16_t half) {
  const uint32_t sign = uint32_t{half} >> 15 << 31, magnitude = (half & 0x7FFFu) << 13;
  // The exponent of a float counts from 112 more; the product also brings subnormals to their value.
  const uint32_t bits = (half & 0x7C00) == 0x7C00 ? magnitude | 0x7F800000
                                                  : std::bit_cast<uint32_t>(std::bit_cast<float>(magnitude) * 0x1p112f);
  return std::bit_cast<float>(sign | bits);
}

std::vector<uint8_t> writePfm(const HalfPicture& picture) {
  // A scale below 0 says that the bytes of a float stand from the lowest to the highest.
  const std::string header = "PF\n" + std::to_string(picture.width) + ' ' + std::to_string(picture.height) + "\n-1.0\n";
  std::vector<uint8_t> file(header.begin(), header.end());
  const ptrdiff_t row = ptrdiff_t{3} * picture.width;
  for (auto end = picture.samples.end(); end != picture.samples.begin(); end -= row)
    std::for_each(end - row, end, [&file](uint16_t sample) {
      const auto bits = std::bit_cast<uint32_t>(toFloat(sample));
      for (int i = 0; i < 4; ++i) file.push_back(static_cast<uint8_t>(bits >> (8 * i)));
    });
  return file;
}

}  // namespace sample
