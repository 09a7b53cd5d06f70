// Texture decoders against their models and on literal blocks.
#include <algorithm>

#include "texture/texture_check.h"

namespace {

using model::Bytes;
using model::Texture;

#define MODEL_DECODE(name, seed, format, type) \
  TEST(Model, name) { test::checkDecoder<type>(seed, Texture::format, name); }
MODEL_DECODE(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, 0xA101, kDxt1, uint8_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, 0xA102, kDxt3, uint8_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, 0xA103, kDxt5, uint8_t)
MODEL_DECODE(qlmiTextureDecodeBlock_BC4_8u_C1R, 0xA104, kBc4, uint8_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R, 0xA105, kBc5, uint8_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R, 0xA106, kBc6Signed, int16_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R, 0xA107, kBc6Unsigned, uint16_t)
MODEL_DECODE(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R, 0xA108, kBc7, uint8_t)

constexpr QlmSize kBlock = {4, 4};

Bytes decodeRgba(test::DecodeTexture<uint8_t>* decode, const Bytes& block) {
  Bytes out(64);
  EXPECT_EQ(decode(block.data(), out.data(), 16, kBlock), qlmOk);
  return out;
}

Bytes repeated(const Bytes& pixel) {
  Bytes all;
  for (int i = 0; i < 16; ++i) all.insert(all.end(), pixel.begin(), pixel.end());
  return all;
}

TEST(TextureDecode, fourthOfThreeColoursIsOpaqueWhite) {
  for (const int end : {0x0000, 0x1234, 0xFFFF}) {
    const auto low = static_cast<uint8_t>(end), high = static_cast<uint8_t>(end >> 8);
    const Bytes block = {low, high, low, high, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(decodeRgba(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, block), repeated({255, 255, 255, 255}));
  }
}

TEST(TextureDecode, meansAndThirdsTruncate) {
  // White and black: (2 * 255 + 0) / 3 and (255 + 0) >> 1.
  const Bytes third = {0xFF, 0xFF, 0, 0, 0xAA, 0xAA, 0xAA, 0xAA}, mean = {0, 0, 0xFF, 0xFF, 0xAA, 0xAA, 0xAA, 0xAA};
  EXPECT_EQ(decodeRgba(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, third), repeated({170, 170, 170, 255}));
  EXPECT_EQ(decodeRgba(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, mean), repeated({127, 127, 127, 255}));
}

TEST(TextureDecode, alphaOfDxt3ReachesOnly240AndColoursIgnoreTheOrderOfEnds) {
  const Bytes block = {255, 255, 255, 255, 255, 255, 255, 255, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(decodeRgba(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, block), repeated({170, 170, 170, 240}));
}

TEST(TextureDecode, equalEndsOfAlphaGiveZeroAnd255) {
  // Index 6 throughout is 110110..., index 7 all ones.
  const Bytes six = {77, 77, 0xB6, 0x6D, 0xDB, 0xB6, 0x6D, 0xDB}, seven = {77, 77, 255, 255, 255, 255, 255, 255};
  Bytes out(16);
  ASSERT_EQ(qlmiTextureDecodeBlock_BC4_8u_C1R(six.data(), out.data(), 4, kBlock), qlmOk);
  EXPECT_EQ(out, Bytes(16, 0));
  ASSERT_EQ(qlmiTextureDecodeBlock_BC4_8u_C1R(seven.data(), out.data(), 4, kBlock), qlmOk);
  EXPECT_EQ(out, Bytes(16, 255));
}

TEST(TextureDecode, reservedBlocksOfBc7AreTransparentBlackAndLeaveTheirNeighbours) {
  Bytes stream(48);
  // Mode 6 with all bits of the ends set, and its p-bits: white.
  for (const size_t at : {size_t{0}, size_t{32}}) {
    stream[at] = 0xC0;
    for (size_t i = 1; i < 8; ++i) stream[at + i] = 0xFF;
    stream[at + 8] = 1;
  }
  Bytes out(12 * 4 * 4);
  ASSERT_EQ(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R(stream.data(), out.data(), 48, {12, 4}), qlmOk);
  for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], i % 48 / 16 == 1 ? 0 : 255) << i;
}

TEST(TextureDecode, reservedBlocksOfBc6AreZero) {
  for (const int code : {0x13, 0x17, 0x1B, 0x1F}) {
    Bytes block(16, 0xFF);
    block[0] = static_cast<uint8_t>(0xE0 | code);
    std::vector<uint16_t> out(48, 0x5A5A);
    ASSERT_EQ(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R(block.data(), out.data(), 24, kBlock), qlmOk);
    EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](uint16_t v) { return v == 0; })) << code;
  }
}

// Fields of a BC6 block, each from its lowest bit on.
struct BitWriter {
  Bytes block = Bytes(16);
  size_t at = 0;

  BitWriter& put(unsigned value, int bits) {
    for (int i = 0; i < bits; ++i, ++at)
      block[at / 8] = static_cast<uint8_t>(block[at / 8] | (value >> i & 1) << at % 8);
    return *this;
  }
};

// Mode 11: 11-bit base ends (ten bits first, the eleventh behind the delta) and 9-bit deltas.
Bytes mode11(unsigned base, int delta) {
  BitWriter w;
  w.put(7, 5);
  for (int c = 0; c < 3; ++c) w.put(base & 1023, 10);
  for (int c = 0; c < 3; ++c) w.put(static_cast<unsigned>(delta) & 511, 9).put(base >> 10, 1);
  for (int i = 0; i < 16; ++i) w.put(i == 0 ? 0 : 15, i == 0 ? 3 : 4);
  return w.block;
}

TEST(TextureDecode, sumsThatAreNotNegativeAreNotSignExtended) {
  // 1000 + 100 = 1100 stays 1100: (((1100 << 15) + 0x4000) >> 10) * 31 >> 5.
  std::vector<int16_t> out(48);
  ASSERT_EQ(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R(mode11(1000, 100).data(), out.data(), 24, kBlock), qlmOk);
  EXPECT_EQ(out[0], 31015);  // of 1000: 32016 * 31 >> 5
  EXPECT_EQ(out[47], static_cast<int16_t>(35216 * 31 >> 5));
}

TEST(TextureDecode, negativeSumsStayNegativeInTheUnsignedDecoder) {
  // 3 - 5 = -2: (-2 * 65536 + 0x8000) >> 11 = -48; interpolated and scaled as a large unsigned value, low 16 bits.
  std::vector<uint16_t> out(48);
  ASSERT_EQ(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R(mode11(3, -5).data(), out.data(), 24, kBlock), qlmOk);
  const uint32_t t = static_cast<uint32_t>(-48 * 64 + 32) >> 6;
  EXPECT_EQ(out[47], static_cast<uint16_t>(t * 31 >> 6));
}

TEST(TextureDecode, theMostNegativeEndDoesNotSaturate) {
  // Mode 10, ends of ten bits, untransformed: -512 is above the limit of 511.
  BitWriter w;
  w.put(3, 5);
  for (int c = 0; c < 6; ++c) w.put(512, 10);
  std::vector<int16_t> out(48);
  ASSERT_EQ(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R(w.block.data(), out.data(), 24, kBlock), qlmOk);
  EXPECT_EQ(static_cast<uint16_t>(out[0]), 0x8000 | 32800 * 31 >> 5);
}

TEST(TextureDecode, onePixelOfABlock) {
  const Bytes block(16, 0x55);
  Bytes out(8, 0xEE);
  ASSERT_EQ(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R(block.data(), out.data(), 2, {1, 1}), qlmOk);
  EXPECT_EQ(Bytes(out.begin() + 2, out.end()), Bytes(6, 0xEE));
}

}  // namespace
