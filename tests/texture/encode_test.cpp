// Texture encoders against their models and on literal blocks.
#include "texture/texture_check.h"

namespace {

using model::Bytes;
using model::Texture;

#define MODEL_ENCODE(name, seed, format) \
  TEST(Model, name) { test::checkEncoder(seed, Texture::format, name); }
MODEL_ENCODE(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, 0xA201, kDxt1)
MODEL_ENCODE(qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, 0xA202, kDxt3)
MODEL_ENCODE(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, 0xA203, kDxt5)
MODEL_ENCODE(qlmiTextureEncodeBlock_BC4_8u_C1R, 0xA204, kBc4)
MODEL_ENCODE(qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R, 0xA205, kBc5)
MODEL_ENCODE(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, 0xA206, kYCoCg)

constexpr QlmSize kBlock = {4, 4};

Bytes encode(test::EncodeTexture* function, const Bytes& pixels, int32_t pixelBytes, size_t blockBytes) {
  Bytes block(blockBytes, 0xEE);
  EXPECT_EQ(function(pixels.data(), 4 * pixelBytes, kBlock, block.data()), qlmOk);
  return block;
}

Bytes repeated(const Bytes& pixel) {
  Bytes all;
  for (int i = 0; i < 16; ++i) all.insert(all.end(), pixel.begin(), pixel.end());
  return all;
}

TEST(TextureEncode, oneColour) {
  // 200, 100, 50 is 25, 25, 6 in 5, 6 and 5 bits.
  const auto low = static_cast<uint8_t>((25 << 11 | 25 << 5 | 6) & 255),
             high = static_cast<uint8_t>((25 << 11 | 25 << 5 | 6) >> 8);
  const Bytes colours = {low, high, low, high, 0, 0, 0, 0};
  EXPECT_EQ(encode(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, repeated({200, 100, 50, 9}), 4, 8), colours);
  // Equal ends, and index 1 sixteen times: 001001...
  Bytes dxt5 = {9, 9, 0x49, 0x92, 0x24, 0x49, 0x92, 0x24};
  dxt5.insert(dxt5.end(), colours.begin(), colours.end());
  EXPECT_EQ(encode(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, repeated({200, 100, 50, 9}), 4, 16), dxt5);
}

TEST(TextureEncode, alphaCountsForNothingInDxt1) {
  Bytes pixels(64);
  for (size_t i = 0; i < 64; ++i) pixels[i] = static_cast<uint8_t>(i * 37);
  Bytes opaque = pixels;
  for (size_t i = 3; i < 64; i += 4) pixels[i] = 0, opaque[i] = 255;
  EXPECT_EQ(encode(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, pixels, 4, 8),
            encode(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R, opaque, 4, 8));
}

TEST(TextureEncode, blackAndWhiteMoveInward) {
  Bytes pixels = repeated({0, 0, 0, 0});
  for (size_t i = 0; i < 32; ++i) pixels[i] = 255;
  const Bytes block = encode(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R, pixels, 4, 16);
  EXPECT_EQ(block[0], 240);
  EXPECT_EQ(block[1], 15);
  EXPECT_EQ(block[8] | block[9] << 8, 240 >> 3 << 11 | 240 >> 2 << 5 | 240 >> 3);
  EXPECT_EQ(block[10] | block[11] << 8, 15 >> 3 << 11 | 15 >> 2 << 5 | 15 >> 3);
}

TEST(TextureEncode, alphaOfDxt3IsCut) {
  const Bytes block = encode(qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R, repeated({1, 2, 3, 255}), 4, 16);
  EXPECT_EQ(Bytes(block.begin(), block.begin() + 8), Bytes(8, 0xFF));
  Bytes out(64);
  ASSERT_EQ(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R(block.data(), out.data(), 16, kBlock), qlmOk);
  EXPECT_EQ(out[3], 240);
}

TEST(TextureEncode, edgesRepeatTheLastPixel) {
  // Six pixels wide: columns 2 and 3 of the second block repeat its column 1.
  Bytes six(6 * 4 * 4), eight(8 * 4 * 4);
  for (size_t y = 0; y < 4; ++y)
    for (size_t x = 0; x < 8; ++x)
      for (size_t c = 0; c < 4; ++c) {
        const auto v = static_cast<uint8_t>(31 * y + 17 * std::min<size_t>(x, 5) + 5 * c);
        eight[(y * 8 + x) * 4 + c] = v;
        if (x < 6) six[(y * 6 + x) * 4 + c] = v;
      }
  Bytes cut(16), whole(16);
  ASSERT_EQ(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(six.data(), 24, {6, 4}, cut.data()), qlmOk);
  ASSERT_EQ(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R(eight.data(), 32, {8, 4}, whole.data()), qlmOk);
  EXPECT_EQ(cut, whole);
}

TEST(TextureEncode, chromaWithoutColour) {
  // Scale 4, code 3; the upper ends stay at 128, the lower fall to 127.
  const Bytes block = encode(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, repeated({50, 128, 128}), 3, 16);
  EXPECT_EQ(block[0], 50);
  EXPECT_EQ(block[1], 50);
  EXPECT_EQ(block[8] | block[9] << 8, 16 << 11 | 32 << 5 | 3);
  EXPECT_EQ(block[10] | block[11] << 8, 15 << 11 | 31 << 5 | 3);
}

TEST(TextureEncode, chromaScalesAtItsLimits) {
  for (const auto& [distance, code] : {std::pair{31, 3}, {32, 1}, {63, 1}, {64, 0}}) {
    Bytes pixels = repeated({0, 128, 128});
    pixels[1] = static_cast<uint8_t>(128 + distance);
    const Bytes block = encode(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, pixels, 3, 16);
    EXPECT_EQ(block[8] & 31, code) << distance;
    EXPECT_EQ(block[10] & 31, code) << distance;
  }
}

TEST(TextureEncode, aLowerEndBelowZeroWraps) {
  // Co 0 throughout: 16 * 0 + (0 - 7) is -7, of which bits 4 to 11 are 255.
  const Bytes block = encode(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, repeated({0, 0, 128}), 3, 16);
  EXPECT_EQ((block[8] | block[9] << 8) >> 11, 0);
  EXPECT_EQ((block[10] | block[11] << 8) >> 11, 31);
}

TEST(TextureEncode, theOtherDiagonalNeedsMoreThanHalf) {
  // n pixels along rising Co and falling Cg, the others along both rising.
  const auto side = [](size_t n) {
    Bytes pixels;
    for (size_t i = 0; i < 16; ++i) {
      const uint8_t co = i % 2 ? 250 : 5, cg = (i % 2 != 0) == (i >= n) ? 250 : 5;
      pixels.insert(pixels.end(), {0, co, cg});
    }
    const Bytes block = encode(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R, pixels, 3, 16);
    return ((block[8] | block[9] << 8) >> 5 & 63) < ((block[10] | block[11] << 8) >> 5 & 63);
  };
  EXPECT_FALSE(side(8));
  EXPECT_TRUE(side(9));
}

}  // namespace
