// DDS files of the sample codec: Pillow reads them, they come back unchanged, damaged ones are refused.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "support/random.h"
#include "texture/libsquish_peer.h"
#include "texture/pillow_peer.h"

namespace {

using sample::DdsHeader;
using sample::Texture;
using sample::TextureFormat;
using Bytes = std::vector<uint8_t>;

constexpr TextureFormat kWritten[] = {TextureFormat::kDxt1,      TextureFormat::kDxt3, TextureFormat::kDxt5,
                                      TextureFormat::kYCoCgDxt5, TextureFormat::kBc4,  TextureFormat::kBc5};
// BC6 is only read, and BC7 may be of any mode.
constexpr TextureFormat kAnyBlocks[] = {TextureFormat::kBc6Unsigned, TextureFormat::kBc6Signed, TextureFormat::kBc7};

// Random blocks, none of them a reserved one of BC7.
Texture randomTexture(TextureFormat format, int32_t width, int32_t height) {
  test::Random random(static_cast<uint64_t>(width * 1000 + height));
  Texture texture{format, {{width, height, Bytes(static_cast<size_t>(sample::streamBytesOf(format, width, height)))}}};
  random.fill(std::span(texture.levels[0].blocks));
  for (size_t i = 0; i < texture.levels[0].blocks.size(); i += 16) texture.levels[0].blocks[i] |= 0x20;
  return texture;
}

std::vector<Texture> textures() {
  std::vector<Texture> all;
  for (const TextureFormat format : kWritten)
    for (const bool mipmaps : {false, true})
      all.push_back(sample::encodeTexture(sample::paintPicture(67, 41), format, mipmaps));
  all.push_back(sample::encodeTexture(sample::paintPicture(67, 41), TextureFormat::kBc7, true, {.modes = {6, 5}}));
  for (const TextureFormat format : kAnyBlocks) all.push_back(randomTexture(format, 67, 41));
  return all;
}

TEST(DdsInterop, FilesComeBackUnchanged) {
  for (const Texture& texture : textures())
    for (const DdsHeader header : {DdsHeader::kFourCc, DdsHeader::kDx10})
      EXPECT_EQ(sample::readDds(sample::writeDds(texture, header)), texture) << static_cast<int>(texture.format);
}

TEST(DdsInterop, HeadersAreThoseOfTheFormat) {
  const Bytes nine = sample::writeDds(sample::encodeTexture(sample::paintPicture(67, 41), TextureFormat::kDxt5, true));
  EXPECT_EQ(std::memcmp(nine.data(), "DDS \x7C\0\0\0\x07\x10\x0A\0\x29\0\0\0\x43\0\0\0", 20), 0);
  EXPECT_EQ(nine[28], 7);  // levels: 67, 33, 16, 8, 4, 2, 1
  EXPECT_EQ(std::memcmp(&nine[76], "\x20\0\0\0\x04\0\0\0DXT5", 12), 0);
  EXPECT_EQ(nine.size(), 128 + 16 * (17 * 11 + 9 * 5 + 4 * 3 + 2 * 2 + 1 + 1 + 1u));
  const Bytes ten = sample::writeDds(randomTexture(TextureFormat::kBc7, 8, 8));
  EXPECT_EQ(std::memcmp(&ten[84], "DX10", 4), 0);
  EXPECT_EQ(ten[128], 98);
  EXPECT_EQ(ten[132], 3);
  EXPECT_EQ(ten.size(), 148 + 64u);
}

// Up to one step in BC4 and BC5, where Pillow does not round. Of YCoCg it shows the parts, and of BC6 something in 8
// bits: of these only the size is looked at.
TEST(DdsInterop, PillowReadsThem) {
  for (const Texture& texture : textures()) {
    const sample::Picture ours = sample::decodeTexture(texture);
    const Bytes theirs = sample::pillowRead(sample::writeDds(texture));
    const size_t pixels = 67 * 41, channels = theirs.size() / pixels;
    ASSERT_EQ(theirs.size() % pixels, 0u);
    ASSERT_GE(channels, static_cast<size_t>(ours.channels));
    if (texture.format == TextureFormat::kBc6Unsigned || texture.format == TextureFormat::kBc6Signed ||
        texture.format == TextureFormat::kYCoCgDxt5)
      continue;
    int largest = 0;
    for (size_t i = 0; i < pixels; ++i)
      for (size_t c = 0; c < static_cast<size_t>(ours.channels); ++c)
        largest = std::max(
            largest, std::abs(ours.pixels[i * static_cast<size_t>(ours.channels) + c] - theirs[i * channels + c]));
    const bool rounds = texture.format == TextureFormat::kBc4 || texture.format == TextureFormat::kBc5;
    EXPECT_LE(largest, rounds ? 1 : 0) << static_cast<int>(texture.format);
  }
}

TEST(DdsInterop, LibsquishShowsTheSamePictures) {
  const sample::Picture picture = sample::paintPicture(301, 203);
  for (const TextureFormat format : kWritten) {
    const Texture texture = sample::encodeTexture(picture, format);
    const sample::Picture ours = sample::decodeTexture(texture), theirs = sample::squishDecode(texture);
    ASSERT_EQ(ours.pixels.size(), theirs.pixels.size());
    const bool exact =
        format == TextureFormat::kDxt1 || format == TextureFormat::kDxt3 || format == TextureFormat::kDxt5;
    EXPECT_GE(sample::psnr(ours, theirs), exact ? INFINITY : 50) << static_cast<int>(format);
    const Texture squished = sample::squishEncode(picture, format);
    if (format == TextureFormat::kYCoCgDxt5 || format == TextureFormat::kDxt1) continue;  // DXT1 may have black
    EXPECT_GE(sample::psnr(sample::decodeTexture(squished), sample::squishDecode(squished)), 50)
        << static_cast<int>(format);
  }
}

// The sum of squares over four channels, of RGBA beside an opaque picture.
int64_t squaredError(const sample::Picture& picture, const Bytes& rgba) {
  int64_t sum = 0;
  for (size_t i = 0; i < rgba.size(); ++i) {
    const int difference = (i % 4 == 3 ? 255 : picture.pixels[i / 4 * 3 + i % 4]) - rgba[i];
    sum += difference * difference;
  }
  return sum;
}

// The mode is the place of the lowest 1.
uint32_t modeOf(const Bytes& blocks, size_t block) {
  return static_cast<uint32_t>(std::countr_zero(blocks[16 * block]));
}

// By Pillow's decoder: each mode alone writes blocks of that mode, and all together lose no more than any of them. The
// size cuts blocks at both edges.
TEST(DdsInterop, Bc7InEachModeAndInAll) {
  const sample::Picture picture = sample::paintPicture(30, 21);
  const auto pillowErrorOf = [&](const Texture& texture) {
    const Bytes theirs = sample::pillowRead(sample::writeDds(texture));
    EXPECT_EQ(sample::decodeLevel(texture.levels[0], TextureFormat::kBc7).bytes, theirs);
    return squaredError(picture, theirs);
  };
  const Texture best = sample::encodeTexture(picture, TextureFormat::kBc7);
  const int64_t least = pillowErrorOf(best);
  EXPECT_GT(sample::psnr(picture, sample::decodeTexture(best)), 30);
  for (uint32_t mode = 0; mode < 8; ++mode) {
    const Texture texture = sample::encodeTexture(picture, TextureFormat::kBc7, false, {.modes = {mode}});
    const Bytes& blocks = texture.levels[0].blocks;
    ASSERT_EQ(blocks.size(), 16 * 8 * 6u);
    for (size_t i = 0; i < blocks.size() / 16; ++i) EXPECT_EQ(modeOf(blocks, i), mode);
    EXPECT_GT(pillowErrorOf(texture), least) << mode;
    EXPECT_GT(sample::psnr(picture, sample::decodeTexture(texture)), 20) << mode;
  }
}

// Of a single column of blocks, each is the one of mode 1 or 6 that decodes with the least error.
TEST(DdsInterop, Bc7KeepsTheBestDecodedBlock) {
  const sample::Picture picture = sample::paintPicture(4, 400);
  const auto encoded = [&](std::vector<uint32_t> modes) {
    return sample::encodeTexture(picture, TextureFormat::kBc7, false, {.modes = std::move(modes)}).levels[0];
  };
  const auto errorOf = [&](const sample::TextureLevel& level, int32_t block) {
    sample::Picture source(4, 4, 3);
    std::copy_n(picture.row(4 * block), source.pixels.size(), source.row(0));
    const auto at = level.blocks.begin() + 16 * block;
    return squaredError(source, sample::decodeLevel({4, 4, Bytes(at, at + 16)}, TextureFormat::kBc7).bytes);
  };
  const sample::TextureLevel one = encoded({1}), six = encoded({6}), both = encoded({1, 6});
  int32_t ofSix = 0;
  for (int32_t block = 0; block < 100; ++block) {
    const bool isSix = errorOf(six, block) < errorOf(one, block);
    EXPECT_EQ(modeOf(both.blocks, static_cast<size_t>(block)), isSix ? 6u : 1u) << block;
    EXPECT_EQ(errorOf(both, block), errorOf(isSix ? six : one, block)) << block;
    ofSix += isSix;
  }
  EXPECT_GT(ofSix, 0);
  EXPECT_LT(ofSix, 100);
}

// Blocks that the edges cut are those of a picture whose last row and column go on.
TEST(DdsInterop, Bc7FillsCutBlocksUp) {
  const sample::Picture picture = sample::paintPicture(10, 7);
  sample::Picture filled(12, 8, 3);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 12; ++x)
      std::copy_n(picture.row(std::min(y, 6)) + 3 * std::min(x, 9), 3, filled.row(y) + 3 * x);
  const auto blocksOf = [](const sample::Picture& p) {
    return sample::encodeTexture(p, TextureFormat::kBc7, false, {.modes = {6}}).levels[0].blocks;
  };
  EXPECT_EQ(blocksOf(picture), blocksOf(filled));
}

TEST(DdsInterop, Bc7TellsItsProgressRowByRow) {
  std::vector<std::pair<int32_t, int32_t>> calls;
  const sample::Bc7Options options{{6}, [&](int32_t done, int32_t total) { calls.emplace_back(done, total); }};
  sample::encodeTexture(sample::paintPicture(20, 9), TextureFormat::kBc7, false, options);
  EXPECT_EQ(calls, (std::vector<std::pair<int32_t, int32_t>>{{1, 3}, {2, 3}, {3, 3}}));
}

TEST(DdsInterop, Bc7HasEightModes) {
  for (const std::vector<uint32_t>& modes : {std::vector<uint32_t>{}, {8}, {6, 8}})
    EXPECT_THROW(sample::encodeTexture(sample::paintPicture(8, 8), TextureFormat::kBc7, false, {.modes = modes}),
                 std::invalid_argument);
}

TEST(DdsInterop, YCoCgKeepsMoreThanDxt) {
  const sample::Picture picture = sample::paintPicture(256, 192);
  const auto psnrOf = [&](TextureFormat format) {
    return sample::psnr(picture, sample::decodeTexture(sample::encodeTexture(picture, format)));
  };
  EXPECT_GT(psnrOf(TextureFormat::kDxt1), 20);
  EXPECT_GT(psnrOf(TextureFormat::kYCoCgDxt5), psnrOf(TextureFormat::kDxt1) + 1);
  EXPECT_EQ(psnrOf(TextureFormat::kDxt1), psnrOf(TextureFormat::kDxt3));
  EXPECT_EQ(psnrOf(TextureFormat::kDxt1), psnrOf(TextureFormat::kDxt5));
}

// Grey has no chroma: the offset binary 128 comes back as it is, and luma within the steps of eight values.
TEST(DdsInterop, YCoCgOfGreyIsGrey) {
  sample::Picture grey(4, 4, 3);
  for (size_t i = 0; i < 16; ++i)
    for (size_t c = 0; c < 3; ++c) grey.pixels[3 * i + c] = i % 2 ? 200 : 60;
  EXPECT_EQ(sample::decodeTexture(sample::encodeTexture(grey, TextureFormat::kYCoCgDxt5)), grey);
}

TEST(DdsInterop, EachLevelIsTheMeanOfTheLastOne) {
  sample::Picture grey(8, 2, 1);
  grey.pixels = {0, 4, 40, 40, 80, 80, 9, 9, 4, 4, 40, 40, 80, 80, 9, 9};
  const Texture texture = sample::encodeTexture(grey, TextureFormat::kBc4, true);
  ASSERT_EQ(texture.levels.size(), 4u);  // 8 x 2, 4 x 1, 2 x 1, 1 x 1
  EXPECT_EQ(texture.levels[1].width, 4);
  EXPECT_EQ(texture.levels[1].height, 1);
  EXPECT_EQ(sample::decodeTexture(texture, 3).pixels, Bytes{34});  // 3, 40, 80, 9; 22, 45; 34
}

TEST(DdsInterop, HalfPicturesAsPfm) {
  EXPECT_EQ(sample::toFloat(0x3C00), 1.0f);
  EXPECT_EQ(sample::toFloat(0xC100), -2.5f);
  EXPECT_EQ(sample::toFloat(0x0001), 0x1p-24f);
  EXPECT_EQ(sample::toFloat(0x7BFF), 65504.0f);
  EXPECT_EQ(sample::toFloat(0xFC00), -INFINITY);
  EXPECT_TRUE(std::isnan(sample::toFloat(0x7E00)));
  const Bytes pfm = sample::writePfm({1, 2, {0x3C00, 0, 0, 0, 0x4000, 0}});
  const std::string header = "PF\n1 2\n-1.0\n";
  ASSERT_EQ(pfm.size(), header.size() + 24);
  EXPECT_EQ(std::string(pfm.begin(), pfm.begin() + static_cast<ptrdiff_t>(header.size())), header);
  float samples[6];
  std::memcpy(samples, &pfm[header.size()], sizeof samples);
  const float expected[6] = {0, 2, 0, 1, 0, 0};  // the lower row first
  EXPECT_TRUE(std::equal(std::begin(samples), std::end(samples), expected));
}

void expectRefused(const Bytes& file, const std::string& why) {
  try {
    sample::readDds(file);
    FAIL() << "read, though: " << why;
  } catch (const sample::DdsError& error) {
    EXPECT_NE(std::string(error.what()).find(why), std::string::npos) << error.what();
  }
}

TEST(DdsInterop, RefusalsNameTheReason) {
  const Bytes good = sample::writeDds(sample::encodeTexture(sample::paintPicture(20, 20), TextureFormat::kDxt1, true));
  const Bytes ten = sample::writeDds(randomTexture(TextureFormat::kBc7, 8, 8));
  const auto with = [](Bytes file, size_t at, std::initializer_list<uint8_t> bytes) {
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<ptrdiff_t>(at));
    return file;
  };
  expectRefused({}, "not a DDS file");
  expectRefused({'D', 'D', 'S', ' '}, "truncated header");
  expectRefused(with(good, 4, {123}), "damaged header");
  expectRefused(with(good, 80, {0x40}), "not compressed in blocks");
  expectRefused(with(good, 84, {'D', 'X', 'T', '2'}), "unsupported format \"DXT2\"");
  expectRefused(with(good, 84, {'B', 'C', '4', 'S'}), "unsupported format \"BC4S\"");
  expectRefused(with(good, 113, {0x02}), "cube map");
  expectRefused(with(good, 12, {0, 0, 0, 0}), "no size");
  expectRefused(with(good, 16, {0, 0, 2, 0}), "unsupported size of 131072 x 20");
  expectRefused(with(good, 28, {6}), "more levels");
  expectRefused(with(good, 16, {21}), "truncated in level");
  expectRefused(with(ten, 128, {81}), "unsupported DXGI format 81");
  expectRefused(with(ten, 132, {4}), "cube map, volume or array");
  expectRefused(with(ten, 140, {2}), "cube map, volume or array");
  EXPECT_THROW(sample::encodeTexture(sample::paintPicture(8, 8), TextureFormat::kBc6Signed), sample::DdsError);
}

TEST(DdsInterop, TruncatedFilesAreRefused) {
  for (const Texture& texture : textures()) {
    const Bytes whole = sample::writeDds(texture);
    for (size_t length = 0; length < whole.size(); length += length < 160 ? 1 : 13)
      EXPECT_THROW(sample::readDds(std::span(whole).first(length)), sample::DdsError) << length;
  }
}

}  // namespace
