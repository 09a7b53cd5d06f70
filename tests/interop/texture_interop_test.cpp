// Random texture blocks against Pillow's decoder. Where the two differ, it is by one of the departures that the headers
// name, by a rounding that the format leaves open, and by nothing else; each is counted.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>
#include <vector>

#include "qlmjp.h"
#include "support/random.h"
#include "texture/bc6_tables.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kAcross = 1024, kDown = 256, kBlocks = kAcross * kDown;  // blocks
constexpr QlmSize kSize{4 * kAcross, 4 * kDown};
constexpr size_t kPixels = size_t{16} * kBlocks;

// The names that Pillow has for a format, and the bytes of a block and of a pixel that it gives.
struct PeerFormat {
  int number;
  const char *name, *mode;
  size_t blockBytes, pixelBytes;
};
constexpr PeerFormat kDxt1{1, "DXT1", "RGBA", 8, 4}, kDxt3{2, "DXT3", "RGBA", 16, 4}, kDxt5{3, "DXT5", "RGBA", 16, 4},
    kBc4{4, "BC4", "L", 8, 1}, kBc5{5, "BC5", "RGB", 16, 3}, kBc6Unsigned{6, "BC6H", "RGB", 16, 3},
    kBc6Signed{6, "BC6HS", "RGB", 16, 3}, kBc7{7, "BC7", "RGBA", 16, 4};

Bytes randomBlocks(const PeerFormat& format) {
  Bytes stream(kBlocks * format.blockBytes);
  test::Random random(static_cast<uint64_t>(format.number));
  random.fill(std::span(stream));
  return stream;
}

Bytes peerDecode(const PeerFormat& format, const Bytes& stream) {
  const fs::path folder = fs::temp_directory_path() / ("qlmjp-bcn-" + std::to_string(getpid()));
  fs::create_directories(folder);
  std::ofstream(folder / "in", std::ios::binary)
      .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
  const std::string command = std::string(BCN_DECODE " ") + std::to_string(format.number) + ' ' + format.name + ' ' +
                              format.mode + ' ' + std::to_string(kSize.width) + ' ' + std::to_string(kSize.height) +
                              " '" + (folder / "in").string() + "' '" + (folder / "out").string() + "'";
  const bool done = std::system(command.c_str()) == 0;
  Bytes pixels(kPixels * format.pixelBytes);
  std::ifstream in(folder / "out", std::ios::binary);
  in.read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
  const bool whole = done && in.gcount() == static_cast<std::streamsize>(pixels.size()) && in.peek() == EOF;
  in.close();
  fs::remove_all(folder);
  if (!whole) throw std::runtime_error("Pillow (python3-pil) did not decode: " + command);
  return pixels;
}

template <typename T>
using Decode = QlmStatus(const uint8_t*, T*, int32_t, QlmSize);

template <typename T>
std::vector<T> decode(Decode<T>* function, const Bytes& stream, size_t channels) {
  std::vector<T> pixels(kPixels * channels);
  EXPECT_EQ(function(stream.data(), pixels.data(), static_cast<int32_t>(4 * kAcross * channels * sizeof(T)), kSize),
            qlmOk);
  return pixels;
}

// Calls visit(block, pixel of the block, pixel of the picture) for all pixels.
template <typename Visit>
void forEachPixel(const Bytes& stream, size_t blockBytes, const Visit& visit) {
  for (size_t at = 0; at < kPixels; ++at) {
    const size_t x = at % (4 * kAcross), y = at / (4 * kAcross);
    visit(stream.data() + (y / 4 * kAcross + x / 4) * blockBytes, y % 4 * 4 + x % 4, at);
  }
}

uint64_t little(const uint8_t* p, int bytes) {
  uint64_t v = 0;
  for (int i = 0; i < bytes; ++i) v |= uint64_t{p[i]} << (8 * i);
  return v;
}

TEST(TextureInterop, Dxt1DiffersFromPillowOnlyInWhite) {
  const Bytes stream = randomBlocks(kDxt1), theirs = peerDecode(kDxt1, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R, stream, 4);
  size_t white = 0, others = 0;
  forEachPixel(stream, 8, [&](const uint8_t* block, size_t i, size_t at) {
    const bool fourth = little(block, 2) <= little(block + 2, 2) && (little(block + 4, 4) >> 2 * i & 3) == 3;
    const auto a = static_cast<uint32_t>(little(&ours[4 * at], 4)),
               b = static_cast<uint32_t>(little(&theirs[4 * at], 4));
    white += fourth;
    others += fourth ? a != 0xFFFFFFFF || b != 0 : a != b;  // where the published format has transparent black
  });
  EXPECT_EQ(others, 0u);
  EXPECT_GT(white, kPixels / 10);
  EXPECT_LT(white, kPixels / 6);
}

TEST(TextureInterop, Dxt3DiffersFromPillowOnlyInTheLowBitsOfAlpha) {
  const Bytes stream = randomBlocks(kDxt3), theirs = peerDecode(kDxt3, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R, stream, 4);
  size_t shifted = 0, others = 0, lowFirst = 0;
  forEachPixel(stream, 16, [&](const uint8_t* block, size_t, size_t at) {
    const uint64_t a = little(&ours[4 * at], 4), b = little(&theirs[4 * at], 4);
    lowFirst += little(block + 8, 2) <= little(block + 10, 2);  // four colours all the same
    shifted += a != b;
    others += (a | (a >> 28) << 24) != b;  // replicated, which ours is not
  });
  EXPECT_EQ(others, 0u);
  EXPECT_GT(shifted, kPixels * 9 / 10);
  EXPECT_GT(lowFirst, kPixels / 3);
}

// How a channel of BC4 rounds: ours to nearest, Pillow down. Returns what Pillow is to give for a pixel.
uint8_t truncated(const uint8_t* block, size_t pixel) {
  const uint32_t a = block[0], b = block[1], i = little(block + 2, 6) >> (3 * pixel) & 7;
  if (i < 2) return block[i];
  if (a > b) return static_cast<uint8_t>(((8 - i) * a + (i - 1) * b) / 7);
  return i == 6 ? uint8_t{0} : i == 7 ? uint8_t{255} : static_cast<uint8_t>(((6 - i) * a + (i - 1) * b) / 5);
}

// Counts pixels rounded up by us, and those that differ in another way.
struct Rounding {
  size_t up = 0, others = 0;
  void add(const uint8_t* block, size_t pixel, uint8_t ours, uint8_t theirs) {
    up += ours == theirs + 1;
    others += theirs != truncated(block, pixel) || (ours != theirs && ours != theirs + 1);
  }
  void expectOnlyRounding(size_t values) const {
    EXPECT_EQ(others, 0u);
    EXPECT_GT(up, values / 5);
    EXPECT_LT(up, values / 3);
  }
};

TEST(TextureInterop, Dxt5DiffersFromPillowOnlyInTheRoundingOfAlpha) {
  const Bytes stream = randomBlocks(kDxt5), theirs = peerDecode(kDxt5, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R, stream, 4);
  Rounding alpha;
  size_t otherColours = 0;
  forEachPixel(stream, 16, [&](const uint8_t* block, size_t i, size_t at) {
    otherColours += little(&ours[4 * at], 3) != little(&theirs[4 * at], 3);
    alpha.add(block, i, ours[4 * at + 3], theirs[4 * at + 3]);
  });
  EXPECT_EQ(otherColours, 0u);
  alpha.expectOnlyRounding(kPixels);
}

TEST(TextureInterop, Bc4DiffersFromPillowOnlyInRounding) {
  const Bytes stream = randomBlocks(kBc4), theirs = peerDecode(kBc4, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlock_BC4_8u_C1R, stream, 1);
  Rounding values;
  forEachPixel(stream, 8,
               [&](const uint8_t* block, size_t i, size_t at) { values.add(block, i, ours[at], theirs[at]); });
  values.expectOnlyRounding(kPixels);
}

TEST(TextureInterop, Bc5DiffersFromPillowOnlyInRounding) {
  const Bytes stream = randomBlocks(kBc5), theirs = peerDecode(kBc5, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R, stream, 2);
  Rounding values;
  forEachPixel(stream, 16, [&](const uint8_t* block, size_t i, size_t at) {
    for (size_t c = 0; c < 2; ++c) values.add(block + 8 * c, i, ours[2 * at + c], theirs[3 * at + c]);
  });
  values.expectOnlyRounding(2 * kPixels);
}

TEST(TextureInterop, Bc7DiffersFromPillowOnlyInReservedBlocks) {
  Bytes stream = randomBlocks(kBc7);
  for (size_t i = 0; i < kBlocks; i += 2) stream[16 * i] = static_cast<uint8_t>(1 << (i / 2 % 8));  // rare modes
  const Bytes theirs = peerDecode(kBc7, stream);
  const Bytes ours = decode(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R, stream, 4);
  size_t reserved = 0, others = 0;
  forEachPixel(stream, 16, [&](const uint8_t* block, size_t, size_t at) {
    const uint64_t a = little(&ours[4 * at], 4), b = little(&theirs[4 * at], 4);
    reserved += block[0] == 0;
    others += block[0] == 0 ? a != 0 || b != 0xFF000000 : a != b;  // Pillow makes them black and opaque
  });
  EXPECT_EQ(others, 0u);
  EXPECT_GT(reserved, 0u);
}

int signExtend(int v, int bits) {
  const int range = 1 << bits;
  v &= range - 1;
  return v >= range / 2 ? v - range : v;
}

// What the sums of base ends and deltas in a block are for the two decoders.
enum class Sums {
  kAlike,
  kDeparting,  // ours: one that the published format wraps to the other sign, or the most negative value of its width
  kUnsignedThere  // Pillow 9's: it does not sign-extend a sum, so that it takes a negative one for a positive one
};

Sums sumsOf(const uint8_t* block, bool isSigned) {
  const int mode = texture::bc6ModeOf(block[0]);
  if (mode == texture::kBc6Reserved) return Sums::kAlike;
  const texture::Bc6Mode m = texture::kBc6Modes[mode];
  int field[texture::kBc6Fields] = {};
  for (const texture::Bc6Piece& piece : texture::kBc6Pieces) {
    if (piece.mode != mode) continue;
    for (int i = 0; i <= piece.high - piece.low; ++i) {
      const int bit = piece.stream + i;
      field[piece.field] |= (block[bit / 8] >> (bit % 8) & 1) << (piece.reversed ? piece.high - i : piece.low + i);
    }
  }
  const int least = -(1 << (m.endBits - 1)), most = (1 << (m.endBits - 1)) - 1;
  bool negative = false;
  for (int c = 0; c < 3; ++c) {
    const int base = isSigned ? signExtend(field[4 * c], m.endBits) : field[4 * c];
    for (int e = 0; e < 2 * m.subsets; ++e) {
      int v = base;
      if (e > 0) v = (m.transformed ? base : 0) + signExtend(field[4 * c + e], m.deltaBits[c]);
      if (isSigned ? v > most || v < least || (v == least && m.endBits < 16) : m.transformed && v < 0)
        return Sums::kDeparting;
      negative |= m.transformed && e > 0 && v < 0;
    }
  }
  return negative ? Sums::kUnsignedThere : Sums::kAlike;
}

float fromHalf(uint32_t half) {
  const float magnitude = (half & 0x7C00) == 0 ? std::ldexp(static_cast<float>(half & 0x3FF), -24)
                                               : std::ldexp(static_cast<float>((half & 0x3FF) | 0x400),
                                                            static_cast<int>(half >> 10 & 31) - 25);
  return half & 0x8000 ? -magnitude : magnitude;
}

// Pillow makes a picture of 8 bits of BC6, black below 0 and white above 1, and its interpolation does not round.
template <typename T>
void compareBc6(const PeerFormat& format, Decode<T>* function, size_t fewestAlike, size_t fewestDepartures) {
  const Bytes stream = randomBlocks(format), theirs = peerDecode(format, stream);
  const std::vector<T> ours = decode(function, stream, 3);
  std::vector<Sums> sums(kBlocks);
  std::vector<bool> differs(kBlocks);
  for (size_t i = 0; i < kBlocks; ++i) sums[i] = sumsOf(&stream[16 * i], std::is_signed_v<T>);
  size_t alike = 0, others = 0, grey = 0, departures = 0;
  forEachPixel(stream, 16, [&](const uint8_t* block, size_t, size_t at) {
    const auto index = static_cast<size_t>(block - stream.data()) / 16;
    for (size_t c = 0; c < 3; ++c) {
      const float mine = std::clamp(fromHalf(static_cast<uint16_t>(ours[3 * at + c])), 0.0f, 1.0f) * 255.0f;
      const int value = theirs[3 * at + c];
      if (std::abs(static_cast<int>(mine) - value) > 1) differs[index] = true;
      grey += sums[index] == Sums::kAlike && value > 0 && value < 255;
    }
  });
  for (size_t i = 0; i < kBlocks; ++i) {
    alike += sums[i] == Sums::kAlike;
    others += sums[i] == Sums::kAlike && differs[i];
    departures += sums[i] == Sums::kDeparting && differs[i];
  }
  EXPECT_EQ(others, 0u);
  EXPECT_GT(alike, fewestAlike);     // blocks that must agree, ...
  EXPECT_GT(grey, 4 * fewestAlike);  // ... and values in them that can tell
  EXPECT_GT(departures, fewestDepartures);
}

TEST(TextureInterop, SignedBc6DiffersFromPillowOnlyWhereSumsWrap) {
  compareBc6(kBc6Signed, qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R, kBlocks / 10, kBlocks / 6);
}
TEST(TextureInterop, UnsignedBc6DiffersFromPillowOnlyWhereSumsWrap) {
  compareBc6(kBc6Unsigned, qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R, kBlocks * 3 / 4, kBlocks / 20);
}

}  // namespace
