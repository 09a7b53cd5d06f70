// Block textures against libsquish and stb_dxt, which work block by block, and against a memcpy of the bytes touched.
// No packaged library decodes BC6 and BC7 or encodes YCoCg; there the scalar model stands beside. Pictures are
// photographs or painted ones, tiled, and their blocks are those that our encoders make; blocks of BC6 and BC7 are
// random, with all modes equally frequent. What fits the second-level cache, and what does not.
#include <squish.h>

#include <algorithm>
#include <cstring>
#include <vector>

#define STB_DXT_IMPLEMENTATION
#include <stb/stb_dxt.h>

#include "model/texture.h"
#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

// libsquish's decoder of DXT5's alpha, which is BC4; it writes every fourth byte. Its public functions take a block of
// BC4 for colours.
namespace squish {
void DecompressAlphaDxt5(u8* rgba, const void* block);
}

namespace {

using bench::race;
using model::Texture;
using Bytes = std::vector<uint8_t>;

struct Shape {
  const char* data;
  int32_t width, height;
  QlmSize size() const { return {width, height}; }
  int64_t pixels() const { return int64_t{width} * height; }
  size_t blocks() const { return static_cast<size_t>(pixels() / 16); }
};
constexpr Shape kShapes[] = {{"L2", 256, 256}, {"memory", 2048, 1024}};

// Pixels of 1, 2, 3 or 4 channels: red, green, blue, and green reversed for alpha.
Bytes pixelsOf(const Shape& shape, int32_t channels) {
  static const sample::Picture picture = [] {
    const auto photographs = sample::photographs();
    return photographs.empty() ? sample::paintPicture(768, 512) : sample::toRgb(sample::readPicture(photographs[0]));
  }();
  Bytes pixels;
  pixels.reserve(static_cast<size_t>(shape.pixels() * channels));
  for (int32_t y = 0; y < shape.height; ++y)
    for (int32_t x = 0; x < shape.width; ++x) {
      const uint8_t* p = picture.row(y % picture.height) + x % picture.width * 3;
      const uint8_t all[4] = {p[0], p[1], p[2], static_cast<uint8_t>(255 - p[1])};
      pixels.insert(pixels.end(), all, all + channels);
    }
  return pixels;
}

// Random blocks whose modes are equally frequent, none reserved.
Bytes randomBlocks(const Shape& shape, Texture format) {
  static constexpr uint8_t kBc6Codes[] = {0, 1, 2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15};
  Bytes blocks(16 * shape.blocks());
  uint32_t state = 1;
  const auto noise = [&state] { return (state = state * 1664525 + 1013904223) >> 16; };
  for (uint8_t& b : blocks) b = static_cast<uint8_t>(noise());
  for (size_t i = 0; i < blocks.size(); i += 16) {
    if (format == Texture::kBc7) {
      const uint32_t mode = noise() % 8;
      blocks[i] = static_cast<uint8_t>((blocks[i] | 1) << mode);
    } else {
      const uint8_t code = kBc6Codes[noise() % std::size(kBc6Codes)];
      const int bits = code < 2 ? 2 : 5;
      blocks[i] = static_cast<uint8_t>(blocks[i] >> bits << bits | code);
    }
  }
  return blocks;
}

// A peer's decoder of one block to 16 pixels one behind the other.
template <typename DecodeBlock>
auto decodeBlocks(const Shape& shape, const Bytes& stream, int32_t blockBytes, int32_t channels, DecodeBlock decode) {
  return [=, out = Bytes(static_cast<size_t>(shape.pixels() * channels))]() mutable {
    const uint8_t* block = stream.data();
    const auto rowBytes = static_cast<size_t>(4 * channels);
    for (int32_t y = 0; y < shape.height; y += 4)
      for (int32_t x = 0; x < shape.width; x += 4, block += blockBytes) {
        uint8_t tile[64];
        decode(block, tile);
        for (int32_t v = 0; v < 4; ++v)
          std::memcpy(out.data() + (ptrdiff_t{y + v} * shape.width + x) * channels,
                      tile + rowBytes * static_cast<size_t>(v), rowBytes);
      }
    benchmark::DoNotOptimize(out.data());
  };
}

// A peer's encoder of one block from 16 pixels one behind the other.
template <typename Encode>
auto encodeBlocks(const Shape& shape, const Bytes& pixels, int32_t blockBytes, int32_t channels, Encode encode) {
  return [=, out = Bytes(shape.blocks() * static_cast<size_t>(blockBytes))]() mutable {
    uint8_t* block = out.data();
    const auto rowBytes = static_cast<size_t>(4 * channels);
    for (int32_t y = 0; y < shape.height; y += 4)
      for (int32_t x = 0; x < shape.width; x += 4, block += blockBytes) {
        uint8_t tile[64];
        for (int32_t v = 0; v < 4; ++v)
          std::memcpy(tile + rowBytes * static_cast<size_t>(v),
                      pixels.data() + (ptrdiff_t{y + v} * shape.width + x) * channels, rowBytes);
        encode(tile, block);
      }
    benchmark::DoNotOptimize(out.data());
  };
}

bench::Work workOf(const char* name, const Shape& shape) { return {"texture", name, shape.data, "pixel"}; }

int64_t bytesOf(const Shape& shape, int32_t blockBytes, int32_t pixelBytes) {
  return shape.pixels() * pixelBytes + static_cast<int64_t>(shape.blocks()) * blockBytes;
}

// Half of the bytes touched are read and half written.
void raceMemcpy(const bench::Work& work, int64_t pixels, int64_t bytes) {
  const auto half = static_cast<size_t>(bytes / 2);
  race(work, "bound:memcpy", pixels, bytes, [from = Bytes(half, 1), to = Bytes(half, 2)]() mutable {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::DoNotOptimize(to.data());
  });
}

template <typename T>
using Decode = QlmStatus(const uint8_t*, T*, int32_t, QlmSize);
using Encode = QlmStatus(const uint8_t*, int32_t, QlmSize, uint8_t*);

template <typename T>
void raceDecoder(const char* name, Decode<T>* decode, const Shape& shape, const Bytes& stream, Texture format) {
  const bench::Work work = workOf(name, shape);
  const int32_t pixelBytes = model::pixelBytesOf(format);
  const int64_t bytes = bytesOf(shape, model::blockBytesOf(format), pixelBytes);
  race(work, "ours", shape.pixels(), bytes,
       [=, out = std::vector<T>(static_cast<size_t>(shape.pixels() * pixelBytes) / sizeof(T))]() mutable {
         decode(stream.data(), out.data(), shape.width * pixelBytes, shape.size());
         benchmark::DoNotOptimize(out.data());
       });
  raceMemcpy(work, shape.pixels(), bytes);
}

void raceEncoder(const char* name, Encode* encode, const Shape& shape, const Bytes& pixels, Texture format) {
  const bench::Work work = workOf(name, shape);
  const int32_t blockBytes = model::blockBytesOf(format), pixelBytes = model::pixelBytesOf(format);
  const int64_t bytes = bytesOf(shape, blockBytes, pixelBytes);
  race(work, "ours", shape.pixels(), bytes,
       [=, out = Bytes(shape.blocks() * static_cast<size_t>(blockBytes))]() mutable {
         encode(pixels.data(), shape.width * pixelBytes, shape.size(), out.data());
         benchmark::DoNotOptimize(out.data());
       });
  raceMemcpy(work, shape.pixels(), bytes);
}

// Formats that libsquish has, both ways. Its range fit is the fastest of its encoders.
void raceBoth(const char* decoder, Decode<uint8_t>* decode, const char* encoder, Encode* encode, const Shape& shape,
              Texture format, int flags) {
  const int32_t blockBytes = model::blockBytesOf(format), channels = model::pixelBytesOf(format);
  const int64_t bytes = bytesOf(shape, blockBytes, channels);
  const Bytes pixels = pixelsOf(shape, channels);
  Bytes stream(shape.blocks() * static_cast<size_t>(blockBytes));
  encode(pixels.data(), shape.width * channels, shape.size(), stream.data());
  raceDecoder(decoder, decode, shape, stream, format);
  race(workOf(decoder, shape), "peer:libsquish", shape.pixels(), bytes,
       decodeBlocks(shape, stream, blockBytes, channels, [=](const uint8_t* block, uint8_t* tile) {
         if (channels == 4) return squish::Decompress(tile, block, flags);
         for (int32_t c = 0; c < channels; ++c) {
           uint8_t rgba[64];
           squish::DecompressAlphaDxt5(rgba, block + 8 * c);
           for (int32_t i = 0; i < 16; ++i) tile[channels * i + c] = rgba[4 * i + 3];
         }
       }));
  raceEncoder(encoder, encode, shape, pixels, format);
  const auto stb = [&](auto encodeBlock) {
    race(workOf(encoder, shape), "peer:stb_dxt", shape.pixels(), bytes,
         encodeBlocks(shape, pixels, blockBytes, channels, encodeBlock));
  };
  switch (format) {
    case Texture::kDxt1:
      stb([](const uint8_t* tile, uint8_t* block) { stb_compress_dxt_block(block, tile, 0, STB_DXT_NORMAL); });
      break;
    case Texture::kDxt5:
      stb([](const uint8_t* tile, uint8_t* block) { stb_compress_dxt_block(block, tile, 1, STB_DXT_NORMAL); });
      break;
    case Texture::kBc4:
      return stb([](const uint8_t* tile, uint8_t* block) { stb_compress_bc4_block(block, tile); });
    case Texture::kBc5:
      return stb([](const uint8_t* tile, uint8_t* block) { stb_compress_bc5_block(block, tile); });
    default:
      break;
  }
  race(workOf(encoder, shape), "peer:libsquish", shape.pixels(), bytes,
       encodeBlocks(shape, pixels, blockBytes, channels, [=](const uint8_t* tile, uint8_t* block) {
         squish::Compress(tile, block, flags | squish::kColourRangeFit);
       }));
}

#define NAMED(function) #function, function

void raceModelDecoder(const char* name, Texture format) {
  const Shape& shape = kShapes[0];
  race(workOf(name, shape), "bound:model", shape.pixels(),
       bytesOf(shape, model::blockBytesOf(format), model::pixelBytesOf(format)),
       [=, stream = randomBlocks(shape, format)] {
         benchmark::DoNotOptimize(model::decodeTexture(format, stream, shape.width, shape.height));
       });
}

[[maybe_unused]] const int registered = [] {
  for (const Shape& shape : kShapes) {
    raceBoth(NAMED(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R), NAMED(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R),
             shape, Texture::kDxt1, squish::kDxt1);
    raceBoth(NAMED(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R), NAMED(qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R),
             shape, Texture::kDxt3, squish::kDxt3);
    raceBoth(NAMED(qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R), NAMED(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R),
             shape, Texture::kDxt5, squish::kDxt5);
    raceBoth(NAMED(qlmiTextureDecodeBlock_BC4_8u_C1R), NAMED(qlmiTextureEncodeBlock_BC4_8u_C1R), shape, Texture::kBc4,
             0);
    raceBoth(NAMED(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R), NAMED(qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R), shape,
             Texture::kBc5, 0);
    raceDecoder(NAMED(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R), shape, randomBlocks(shape, Texture::kBc6Signed),
                Texture::kBc6Signed);
    raceDecoder(NAMED(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R), shape, randomBlocks(shape, Texture::kBc6Unsigned),
                Texture::kBc6Unsigned);
    raceDecoder(NAMED(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R), shape, randomBlocks(shape, Texture::kBc7),
                Texture::kBc7);
    raceEncoder(NAMED(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R), shape, pixelsOf(shape, 3), Texture::kYCoCg);
  }
  // The model allocates for every pixel: it shows what a plain reading of the format costs, no more.
  raceModelDecoder("qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R", Texture::kBc6Signed);
  raceModelDecoder("qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R", Texture::kBc6Unsigned);
  raceModelDecoder("qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R", Texture::kBc7);
  const Shape& cached = kShapes[0];
  race(workOf("qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R", cached), "bound:model", cached.pixels(),
       bytesOf(cached, 16, 3), [=, pixels = pixelsOf(cached, 3)] {
         benchmark::DoNotOptimize(model::encodeTexture(Texture::kYCoCg, pixels, cached.width, cached.height));
       });
  return 0;
}();

}  // namespace
