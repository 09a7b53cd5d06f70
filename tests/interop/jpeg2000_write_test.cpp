// The files of the sample JPEG 2000 writer as OpenJPEG and Grok read them.
#include <gtest/gtest.h>

#include <cmath>

#include "jpeg2000/grok_peer.h"
#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpeg2000/openjpeg_peer.h"
#include "support/random.h"

namespace test {
namespace {

using sample::Jpeg2000Layer, sample::Jpeg2000WriteOptions, sample::Picture, sample::Picture16;
using sample::j2k::Progression;
using By = Jpeg2000Layer::By;
using Bytes = std::vector<uint8_t>;

// Gradients, edges and noise of any depth, in any number of channels that have something in common.
Picture16 testPicture(int32_t width, int32_t height, int32_t channels, int32_t bits) {
  Random random(static_cast<uint64_t>(width * 7919 + height * 31 + channels * 5 + bits));
  Picture16 picture(width, height, channels, bits);
  const int32_t most = (1 << bits) - 1;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x)
      for (int32_t c = 0; c < channels; ++c) {
        const int64_t slope = int64_t{most} * (x + y) / (width + height),
                      edge = (x / 5 + y / 7) % 3 == 0 ? most / 2 : 0;
        const int64_t v = slope / 2 + edge + random.between(-most / 6, most / 6) + c * most / 9;
        picture.row(y)[x * channels + c] = static_cast<uint16_t>(std::clamp<int64_t>(v, 0, most));
      }
  return picture;
}

double psnrOf(const Picture16& a, const Picture16& b) {
  double sum = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) sum += std::pow(a.samples[i] - b.samples[i], 2);
  return 10 * std::log10(std::pow((1 << a.bits) - 1, 2) * static_cast<double>(a.samples.size()) / sum);
}

int32_t largestDifference(const Picture16& a, const Picture16& b) {
  int32_t largest = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) largest = std::max(largest, std::abs(a.samples[i] - b.samples[i]));
  return largest;
}

Picture16 ownDecode(const Bytes& file) {
  const sample::AnyPicture picture = sample::toPicture(sample::readJpeg2000Planes(file, {.threads = 1}));
  return std::visit([](const auto& p) { return sample::toBits(p, 8); }, picture);
}

enum class Check { kOpenjpeg, kBoth };

void expectExact(const Picture16& picture, const Jpeg2000WriteOptions& options, Check check = Check::kOpenjpeg) {
  const Bytes file = sample::writeJpeg2000(picture, options);
  EXPECT_TRUE(sample::openjpegDecode(file) == picture);
  if (check == Check::kBoth) {
    EXPECT_TRUE(sample::grokDecode(file, picture) == picture);
  }
}

TEST(Jpeg2000Write, LosslessInAllDepths) {
  for (int32_t channels = 1; channels <= 4; ++channels)
    for (int32_t bits = 1; bits <= 16; ++bits) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits");
      expectExact(testPicture(67, 41, channels, bits), {.container = sample::Jpeg2000Container::kCodestream},
                  bits % 5 == 1 ? Check::kBoth : Check::kOpenjpeg);
    }
}

// Values at both ends, which the wavelets make as large as can be.
TEST(Jpeg2000Write, LosslessAtTheExtremes) {
  for (const int32_t bits : {1, 8, 10, 11, 16})
    for (const int32_t channels : {1, 3}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits");
      Picture16 picture(64, 64, channels, bits);
      Random random(static_cast<uint64_t>(bits));
      for (uint16_t& v : picture.samples) v = static_cast<uint16_t>(random.oneIn(2) ? (1 << bits) - 1 : 0);
      expectExact(picture, {});
      for (int32_t y = 0; y < 64; ++y)
        for (int32_t x = 0; x < 64 * channels; ++x)
          picture.row(y)[x] = static_cast<uint16_t>((x / channels + y + x % channels) % 2 ? (1 << bits) - 1 : 0);
      expectExact(picture, {});
    }
}

// Grok 10.0 misreads single rows at odd places, which tiles of 13 rows come to, in OpenJPEG's files too.
TEST(Jpeg2000Write, LosslessInAllSizesTilesAndLevels) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {5, 2}, {3, 40}, {65, 33}, {130, 71}})
    for (const auto& [tileWidth, tileHeight] : {std::pair{0, 0}, {16, 32}, {33, 21}, {7, 13}})
      for (int32_t levels = 0; levels <= 8; ++levels) {
        if (tileWidth > width) continue;
        SCOPED_TRACE(testing::Message() << width << 'x' << height << ", tiles of " << tileWidth << 'x' << tileHeight
                                        << ", " << levels << " levels");
        expectExact(testPicture(width, height, 1 + levels % 4, 9),
                    {.container = sample::Jpeg2000Container::kCodestream,
                     .levels = levels,
                     .tileWidth = tileWidth,
                     .tileHeight = tileHeight},
                    levels == 3 && tileWidth != 7 ? Check::kBoth : Check::kOpenjpeg);
      }
}

TEST(Jpeg2000Write, LosslessInBlocksOfAllSizes) {
  const Picture16 picture = testPicture(133, 150, 1, 8), wide = testPicture(1200, 9, 1, 8);
  for (int32_t width = 4; width <= 1024; width *= 2)
    for (int32_t height = 4; height <= 1024 && width * height <= 4096; height *= 2) {
      SCOPED_TRACE(testing::Message() << "blocks of " << width << 'x' << height);
      expectExact(width < 256 ? picture : wide, {.levels = 2, .blockWidth = width, .blockHeight = height},
                  width == 8 || height == 8 ? Check::kBoth : Check::kOpenjpeg);
    }
}

// All 64, over enough planes that the bypass sets in, in one layer and in some that cut segments apart.
TEST(Jpeg2000Write, LosslessInAllStyles) {
  const Picture16 picture = testPicture(70, 59, 1, 12);
  for (int32_t style = 0; style < 64; ++style) {
    SCOPED_TRACE(testing::Message() << "style " << style);
    Jpeg2000WriteOptions options{.levels = 2, .blockWidth = 32, .blockHeight = 32, .blockStyle = style};
    expectExact(picture, options, Check::kBoth);
    options.layers = {{By::kBytes, 900}, {By::kBytes, 1700}, {By::kBytes, 3300}, {By::kBytes, 5000}, {}};
    expectExact(picture, options);
  }
}

// Where segments are cut in their middle, what is left of them counts in full.
TEST(Jpeg2000Write, LossyInAllStyles) {
  const Picture picture = sample::paintPicture(128, 96, 1);
  const Picture16 samples = sample::toBits(picture, 8);
  constexpr double kMostCost = 3;  // dB, of the bytes that the styles take
  double plain = 0, plainFirst = 0;
  for (int32_t style = 0; style < 64; ++style) {
    SCOPED_TRACE(testing::Message() << "style " << style);
    const Bytes file = sample::writeJpeg2000(
        picture, {.reversible = false, .layers = {{By::kBytes, 1500}, {By::kBytes, 5000}}, .blockStyle = style});
    const Picture16 decoded = sample::openjpegDecode(file);
    EXPECT_LE(largestDifference(decoded, ownDecode(file)), 1);
    const double psnr = psnrOf(samples, decoded), first = psnrOf(samples, sample::openjpegDecode(file, 1));
    if (style == 0) plain = psnr, plainFirst = first;
    EXPECT_GT(psnr, plain - kMostCost);
    EXPECT_GT(first, plainFirst - kMostCost);
  }
}

TEST(Jpeg2000Write, LevelsAndStepsAtTheirEnds) {
  for (const int32_t bits : {1, 8, 16})
    for (const int32_t levels : {0, 12, 32}) {
      SCOPED_TRACE(testing::Message() << bits << " bits, " << levels << " levels");
      const Picture16 picture = testPicture(45, 37, 3, bits);
      expectExact(picture, {.levels = levels});
      const auto decoded = [&](double step) {
        return sample::openjpegDecode(
            sample::writeJpeg2000(picture, {.reversible = false, .levels = levels, .step = step}));
      };
      EXPECT_LE(largestDifference(picture, decoded(1.0 / 1024)), bits == 16 ? 4 : 0);
      EXPECT_EQ(decoded(1024).bits, bits);
    }
}

TEST(Jpeg2000Write, LosslessInAllOrdersAndPrecincts) {
  using Precincts = std::vector<Jpeg2000WriteOptions::Precinct>;
  const Picture16 picture = testPicture(201, 130, 3, 8);
  for (const auto progression :
       {Progression::kLrcp, Progression::kRlcp, Progression::kRpcl, Progression::kPcrl, Progression::kCprl})
    for (const Precincts& precincts : {Precincts{}, {{64, 32}}, {{128, 128}, {32, 64}, {2, 2}, {1, 8}}})
      for (const int32_t tile : {0, 77}) {
        SCOPED_TRACE(testing::Message() << "order " << static_cast<int>(progression) << ", " << precincts.size()
                                        << " kinds of precincts, tiles of " << tile);
        const Jpeg2000WriteOptions options{.layers = {{By::kBitsPerPixel, 1}, {By::kBitsPerPixel, 4}, {}},
                                           .levels = 3,
                                           .tileWidth = tile,
                                           .tileHeight = tile,
                                           .progression = progression,
                                           .precincts = precincts,
                                           .sop = tile == 0,
                                           .eph = precincts.empty()};
        expectExact(picture, options, Check::kBoth);
      }
}

TEST(Jpeg2000Write, CmykIsInkInJp2) {
  const Picture16 light = testPicture(20, 17, 4, 8);
  Picture16 ink = light;
  for (uint16_t& v : ink.samples) v = static_cast<uint16_t>(255 - v);
  EXPECT_TRUE(sample::openjpegDecode(sample::writeJpeg2000(light)) == ink);
}

TEST(Jpeg2000Write, EightBitsAreTheSameFromBothKindsOfPicture) {
  const Picture picture = sample::paintPicture(99, 64);
  for (const bool reversible : {false, true})
    EXPECT_EQ(sample::writeJpeg2000(picture, {.reversible = reversible}),
              sample::writeJpeg2000(sample::toBits(picture, 8), {.reversible = reversible}));
}

// At a fine step nothing is lost but by rounding, whatever the parity of a tile's origin.
TEST(Jpeg2000Write, NearlyLosslessInAllTiles) {
  for (const auto& [width, height] : {std::pair{1, 1}, {4, 1}, {2, 5}, {65, 33}, {130, 71}})
    for (const auto& [tileWidth, tileHeight] : {std::pair{0, 0}, {16, 32}, {33, 21}, {7, 13}, {1, 3}})
      for (const int32_t levels : {0, 1, 2, 5, 8}) {
        if (tileWidth > width) continue;
        SCOPED_TRACE(testing::Message() << width << 'x' << height << ", tiles of " << tileWidth << 'x' << tileHeight
                                        << ", " << levels << " levels");
        const Picture16 picture = testPicture(width, height, 1 + 2 * (levels % 2), 8);
        const Bytes file = sample::writeJpeg2000(picture, {.reversible = false,
                                                           .levels = levels,
                                                           .tileWidth = tileWidth,
                                                           .tileHeight = tileHeight,
                                                           .step = 1.0 / 32});
        EXPECT_LE(largestDifference(picture, sample::openjpegDecode(file)), 1);
      }
}

TEST(Jpeg2000Write, LossyInAllDepths) {
  for (int32_t channels = 1; channels <= 4; ++channels)
    for (int32_t bits = 1; bits <= 16; ++bits) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits");
      const Picture16 picture = testPicture(67, 41, channels, bits);
      const Bytes file = sample::writeJpeg2000(
          picture, {.container = sample::Jpeg2000Container::kCodestream, .reversible = false, .step = 0.25});
      EXPECT_GT(psnrOf(picture, sample::openjpegDecode(file)), std::min(6 * bits + 10, 95));
    }
}

// The whole file is no longer than asked, hardly shorter, and no worse than OpenJPEG's of the same length.
TEST(Jpeg2000Write, RatesAreHitAtTheQualityOfOpenjpeg) {
  std::vector<Picture> pictures{sample::paintPicture(512, 384), sample::paintPicture(301, 233, 1)};
  const auto photographs = sample::photographs();
  if (!photographs.empty()) pictures.push_back(sample::crop(sample::readPicture(photographs[0]), 100, 60, 512, 384));
  for (const Picture& picture : pictures)
    for (const bool reversible : {false, true})
      for (const double rate : {0.25, 0.5, 1.0, 2.0}) {
        SCOPED_TRACE(testing::Message() << picture.width << 'x' << picture.height << ", " << rate << " bits a pixel, "
                                        << (reversible ? "5/3" : "9/7"));
        const Bytes file =
            sample::writeJpeg2000(picture, {.reversible = reversible, .layers = {{By::kBitsPerPixel, rate}}});
        const double wanted = rate * picture.width * picture.height / 8;
        EXPECT_LE(static_cast<double>(file.size()), wanted);
        EXPECT_GE(static_cast<double>(file.size()), wanted * 0.985);
        const Picture16 samples = sample::toBits(picture, 8);
        const Bytes peer = sample::openjpegEncode(
            samples, {.reversible = reversible, .layerBytes = {static_cast<double>(file.size())}});
        const Picture16 decoded = sample::openjpegDecode(file);
        EXPECT_GT(psnrOf(samples, decoded), psnrOf(samples, sample::openjpegDecode(peer)) - 0.1);
        EXPECT_LE(largestDifference(decoded, ownDecode(file)), reversible ? 0 : 1);
      }
}

// The first layer of a file is what a file of that rate alone holds, and the next ones are hardly worse.
TEST(Jpeg2000Write, LayersAreHitOneByOne) {
  const Picture picture = sample::paintPicture(320, 240);
  const Picture16 samples = sample::toBits(picture, 8);
  const std::vector<Jpeg2000Layer> layers{{By::kBytes, 2000}, {By::kBytes, 4000}, {By::kBytes, 9000}};
  const Bytes file = sample::writeJpeg2000(picture, {.reversible = false, .layers = layers});
  for (int32_t layer = 0; layer < 3; ++layer) {
    const Jpeg2000Layer& wanted = layers[static_cast<size_t>(layer)];
    const Bytes alone = sample::writeJpeg2000(picture, {.reversible = false, .layers = {wanted}});
    const Picture16 part = sample::openjpegDecode(file, layer + 1), decoded = sample::openjpegDecode(alone);
    if (layer == 0) {
      EXPECT_EQ(part, decoded);
    }
    EXPECT_GT(psnrOf(samples, part), psnrOf(samples, decoded) - 0.2);
  }
  EXPECT_LE(file.size(), 9000u);
  EXPECT_GE(file.size(), 8900u);
}

TEST(Jpeg2000Write, PsnrIsReached) {
  const Picture picture = sample::paintPicture(320, 240);
  const Picture16 samples = sample::toBits(picture, 8);
  for (const double wanted : {30, 36, 42}) {
    const Bytes file = sample::writeJpeg2000(picture, {.reversible = false, .layers = {{By::kPsnr, wanted}}});
    const double psnr = psnrOf(samples, sample::openjpegDecode(file));
    EXPECT_GT(psnr, wanted - 0.1);
    EXPECT_LT(psnr, wanted + 0.5);
  }
}

TEST(Jpeg2000Write, ThreadsDoNotChangeTheFile) {
  const Picture picture = sample::paintPicture(300, 200);
  for (const int32_t tile : {0, 90}) {
    Jpeg2000WriteOptions options{.reversible = false,
                                 .layers = {{By::kBitsPerPixel, 1}},
                                 .tileWidth = tile,
                                 .tileHeight = tile,
                                 .blockWidth = 32};
    const Bytes one = sample::writeJpeg2000(picture, options);
    for (const int32_t threads : {2, 3, 8, 0}) {
      options.threads = threads;
      EXPECT_EQ(sample::writeJpeg2000(picture, options), one) << threads;
    }
  }
}

TEST(Jpeg2000Write, WrongOptionsAreRefused) {
  const Picture picture = sample::paintPicture(16, 16);
  const auto refuse = [&](const Jpeg2000WriteOptions& options) {
    EXPECT_THROW(sample::writeJpeg2000(picture, options), sample::Jpeg2000Error);
  };
  refuse({.layers = {}});
  refuse({.levels = 33});
  refuse({.levels = -1});
  refuse({.tileWidth = -1});
  refuse({.blockWidth = 2});
  refuse({.blockWidth = 48});
  refuse({.blockWidth = 128, .blockHeight = 64});
  refuse({.blockStyle = 64});
  refuse({.precincts = {{1, 16}}});
  refuse({.precincts = {{16, 65536}}});
  refuse({.reversible = false, .step = 0});
  EXPECT_THROW(sample::writeJpeg2000(Picture()), sample::Jpeg2000Error);
  EXPECT_THROW(sample::writeJpeg2000(Picture16(4, 4, 1, 17)), sample::Jpeg2000Error);
  EXPECT_THROW(sample::writeJpeg2000(Picture(4, 4, 5)), sample::Jpeg2000Error);
}

}  // namespace
}  // namespace test
