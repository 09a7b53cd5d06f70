// Pictures to block textures and back over the functions of the library. BC6 is only read.
#pragma once

#include "support/picture.h"
#include "texture/bc7_encode.h"
#include "texture/dds_file.h"

namespace sample {

// Rows without padding of 1 (BC4), 2 (BC5), 4 (red, green, blue, alpha) channels, or of the 3 that the YCoCg encoder
// takes.
struct TexturePixels {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 4;
  std::vector<uint8_t> bytes;
  bool operator==(const TexturePixels&) const = default;
};

// Red, green, blue in half precision, as bit patterns.
struct HalfPicture {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint16_t> samples;
  bool operator==(const HalfPicture&) const = default;
};

// Whether pixels are floats in half precision: BC6.
bool isHalf(TextureFormat format);

// Blocks of pixels with the channels that the format takes. Throws DdsError for a format that has no encoder.
TextureLevel encodeLevel(const TexturePixels& pixels, TextureFormat format, const Bc7Options& bc7 = {});

// Pixels of all formats but BC6; those of YCoCg as they stand in DXT5: Co, Cg, scale, Y.
TexturePixels decodeLevel(const TextureLevel& level, TextureFormat format);

HalfPicture decodeHalf(const TextureLevel& level, TextureFormat format);

// Grey or RGB. Alpha becomes opaque; BC4 takes grey, and BC5 red and green. With `mipmaps` the chain goes down to one
// pixel, each level the means of 2 x 2 pixels of the level before.
Texture encodeTexture(const Picture& picture, TextureFormat format, bool mipmaps = false, const Bc7Options& bc7 = {});

// Alpha is dropped; BC4 gives grey, the others RGB: BC5 without blue, BC6 cut to the range 0 to 1.
Picture decodeTexture(const Texture& texture, size_t level = 0);

// The parts of it: the picture that decoded pixels show.
Picture toPicture(const TexturePixels& pixels, TextureFormat format);

float toFloat(uint16_t half);

// A PFM file: 32-bit floats, rows from bottom to top.
std::vector<uint8_t> writePfm(const HalfPicture& picture);

}  // namespace sample
