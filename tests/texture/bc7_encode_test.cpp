// The encoder of BC7 against its model, on literal blocks, and through the model's decoder.
#include <array>
#include <cstring>

#include "model/bc7_encode.h"
#include "texture/bc7_tables.h"
#include "texture/texture_check.h"

namespace {

using Block = std::array<uint8_t, 16>;
using Pixels = std::array<uint8_t, 64>;

struct Encoded {
  Block block;
  uint32_t error;
};

Encoded encode(const Pixels& pixels, uint32_t mode) {
  Encoded result{};
  EXPECT_EQ(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 16, result.block.data(), &result.error, mode),
            qlmOk);
  return result;
}

Pixels oneColour(const std::array<uint8_t, 4>& colour) {
  Pixels pixels;
  for (size_t i = 0; i < 64; ++i) pixels[i] = colour[i % 4];
  return pixels;
}

uint32_t errorOf(const Block& block, const Pixels& pixels) {
  const model::Bytes decoded =
      model::decodeTexture(model::Texture::kBc7, model::Bytes(block.begin(), block.end()), 4, 4);
  uint32_t sum = 0;
  for (size_t i = 0; i < 64; ++i) {
    const int d = decoded[i] - pixels[i];
    sum += static_cast<uint32_t>(d * d);
  }
  return sum;
}

// One colour, two and three colours, gradients, few values, noise of many ranges, with and without alpha.
Pixels anyPixels(size_t round, test::Random& random) {
  std::array<std::array<int64_t, 4>, 3> colours;
  for (auto& colour : colours)
    for (int64_t& v : colour) v = random.between(0, 255);
  const int64_t range = int64_t{1} << random.between(0, 8);
  const bool opaque = random.oneIn(2);
  Pixels pixels;
  for (size_t i = 0; i < 16; ++i) {
    const auto k = static_cast<int64_t>(i);
    const size_t pick = static_cast<size_t>(random.between(0, round % 8 == 1 ? 1 : 2));
    for (size_t c = 0; c < 4; ++c) {
      int64_t v = colours[0][c];
      switch (round % 8) {
        case 0:
          break;
        case 1:
        case 2:
          v = colours[pick][c];
          break;
        case 3:
          v = colours[0][c] + (colours[1][c] - colours[0][c]) * k / 15;
          break;
        case 4:
          v = random.between(0, 5) * 51;
          break;
        case 5:
          v = random.between(0, 1) * 255;
          break;
        case 6:
          v = colours[0][c] + k % 4 * range / 16 + k / 4 * static_cast<int64_t>(c);
          break;
        default:
          v = colours[0][c] + random.between(-range / 2, range / 2);
      }
      pixels[4 * i + c] = c == 3 && opaque ? 255 : static_cast<uint8_t>(std::clamp<int64_t>(v, 0, 255));
    }
  }
  return pixels;
}

TEST(Model, qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R) {
  constexpr uint64_t kSeed = 0xA701;
  TRACE_SEED(kSeed);
  test::Random random(kSeed);
  for (size_t round = 0; round < 64; ++round)
    for (uint32_t mode = 0; mode < 8; ++mode) {
      const auto [srcSlack, srcEdge] = test::placeOf(round, 0);
      const auto [dstSlack, dstEdge] = test::placeOf(round, 1);
      const auto [errSlack, errEdge] = test::placeOf(round, 2);
      test::Placed<uint8_t> src(16, 4, test::stepOf(round, 16), srcSlack, srcEdge);
      test::Placed<uint8_t> dst(16, 1, 16, dstSlack, dstEdge), expected(16, 1, 16, dstSlack, dstEdge);
      test::Placed<uint32_t> err(1, 1, 4, errSlack, errEdge), expectedErr(1, 1, 4, errSlack, errEdge);
      const Pixels pixels = anyPixels(round, random);
      src.set(pixels);
      const model::Bc7Block wanted = model::encodeBc7(pixels, static_cast<int>(mode));
      expected.set(wanted.bytes);
      expectedErr.set(std::array{wanted.error});
      const auto before = src.snapshot();
      ASSERT_EQ(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(src.data(), src.step(), dst.data(), err.data(), mode),
                qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "mode " << mode << " round " << round;
      ASSERT_TRUE(test::sameBytes(expectedErr.snapshot(), err.snapshot())) << "mode " << mode << " round " << round;
      ASSERT_EQ(src.snapshot(), before);
    }
}

// Without p-bits nothing is lost behind the search.
TEST(Bc7Encode, errorIsThatOfTheDecodedBlock) {
  constexpr uint64_t kSeed = 0xA702;
  TRACE_SEED(kSeed);
  test::Random random(kSeed);
  for (size_t round = 0; round < 200; ++round) {
    const Pixels pixels = anyPixels(round, random);
    for (const uint32_t mode : {2u, 4u, 5u}) {
      const Encoded result = encode(pixels, mode);
      ASSERT_EQ(result.error, errorOf(result.block, pixels)) << "mode " << mode << " round " << round;
    }
  }
}

TEST(Bc7Encode, everyBlockIsOfItsMode) {
  const Pixels pixels = oneColour({1, 2, 3, 4});
  for (uint32_t mode = 0; mode < 8; ++mode) {
    const uint8_t first = encode(pixels, mode).block[0];
    EXPECT_EQ(first & ((2u << mode) - 1), 1u << mode);
  }
}

TEST(Bc7Encode, refusesOtherModesAndNullPointers) {
  const Pixels pixels = oneColour({1, 2, 3, 4});
  Block block;
  block.fill(0xEE);
  uint32_t error = 12345;
  for (const uint32_t mode : {8u, 9u, 0x80000000u, 0xFFFFFFFFu})
    EXPECT_EQ(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 16, block.data(), &error, mode),
              qlmErrUnsupportedMode);
  EXPECT_EQ(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 0, block.data(), nullptr, 8),
            qlmErrNullPointer);
  EXPECT_EQ(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 0, block.data(), &error, 8), qlmErrStep);
  for (const uint8_t byte : block) EXPECT_EQ(byte, 0xEE);
  EXPECT_EQ(error, 12345u);
}

// Mode 6 holds 7 bits and a p-bit of each end.
Block solidMode6(const std::array<uint8_t, 4>& sevenBits, uint64_t p) {
  uint64_t low = 1 << 6, high = p >> 1;
  for (size_t c = 0; c < 4; ++c)
    for (size_t e = 0; e < 2; ++e) low |= uint64_t{sevenBits[c]} << (7 + 14 * c + 7 * e);
  low |= p << 63;
  Block block;
  std::memcpy(block.data(), &low, 8);
  std::memcpy(block.data() + 8, &high, 8);
  return block;
}

TEST(Bc7Encode, oneColourInMode6) {
  const Encoded result = encode(oneColour({10, 20, 30, 40}), 6);
  EXPECT_EQ(result.error, 0u);
  EXPECT_EQ(result.block, solidMode6({5, 10, 15, 20}, 0));
}

// The low bits of an end vote on its p-bit. The error knows nothing of those that lose.
TEST(Bc7Encode, votesOnPBits) {
  const auto expect = [](const std::array<uint8_t, 4>& colour, uint64_t p, uint32_t trueError) {
    const Encoded result = encode(oneColour(colour), 6);
    EXPECT_EQ(result.error, 0u);
    EXPECT_EQ(result.block, solidMode6({5, 10, 15, 20}, p));
    EXPECT_EQ(errorOf(result.block, oneColour(colour)), trueError);
  };
  expect({11, 20, 30, 40}, 0, 16);
  expect({11, 21, 30, 40}, 0, 32);  // a tie
  expect({11, 21, 31, 40}, 3, 16);
  expect({11, 21, 31, 41}, 3, 0);
}

TEST(Bc7Encode, alphaCountsInModesWithoutIt) {
  for (const uint32_t mode : {0u, 1u, 2u, 3u}) {
    EXPECT_EQ(encode(oneColour({0, 0, 0, 255}), mode).error, 0u) << mode;
    EXPECT_EQ(encode(oneColour({0, 0, 0, 0}), mode).error, 16u * 255 * 255) << mode;
    EXPECT_EQ(encode(oneColour({255, 255, 255, 254}), mode).error, 16u) << mode;
  }
}

// 247 is 30 of 31, but rounds to 31 of 31, which is 255. The search finds the way back.
TEST(Bc7Encode, leavesABadlyRoundedEnd) { EXPECT_EQ(encode(oneColour({247, 247, 247, 255}), 2).error, 0u); }

// A subset of one or two pixels has these pixels as its ends, in all channels, with no axis: where 5 bits hold them,
// and the other subsets have one colour each, nothing is lost.
TEST(Bc7Encode, subsetsOfOneAndTwoPixelsTakeThemAsEnds) {
  constexpr uint8_t kFirst[4] = {0, 132, 255, 255}, kSecond[4] = {255, 24, 66, 255};
  constexpr uint8_t kOthers[3][4] = {{33, 33, 33, 255}, {99, 8, 206, 255}, {16, 173, 16, 255}};
  int small = 0;
  for (int shape = 0; shape < 64; ++shape) {
    std::array<int, 3> count{};
    for (int i = 0; i < 16; ++i) ++count[static_cast<size_t>(texture::subsetOf(3, shape, i))];
    for (size_t subset = 0; subset < 3; ++subset) {
      if (count[subset] != 2) continue;
      ++small;
      Pixels pixels;
      int seen = 0;
      for (int i = 0; i < 16; ++i) {
        const auto here = static_cast<size_t>(texture::subsetOf(3, shape, i));
        const uint8_t* colour = here != subset ? kOthers[here] : seen++ == 0 ? kFirst : kSecond;
        std::memcpy(&pixels[4 * static_cast<size_t>(i)], colour, 4);
      }
      const Encoded result = encode(pixels, 2);
      EXPECT_EQ(result.error, 0u) << shape;
      EXPECT_EQ(errorOf(result.block, pixels), 0u) << shape;
    }
  }
  EXPECT_EQ(small, 8);
}

// Two colours of even components fit into mode 6 exactly.
TEST(Bc7Encode, twoColours) {
  Pixels pixels = oneColour({200, 100, 50, 0});
  for (size_t i = 0; i < 64; i += 8) {
    const uint8_t other[4] = {20, 40, 250, 254};
    std::memcpy(&pixels[i], other, 4);
  }
  const Encoded result = encode(pixels, 6);
  EXPECT_EQ(result.error, 0u);
  EXPECT_EQ(errorOf(result.block, pixels), 0u);
}

}  // namespace
