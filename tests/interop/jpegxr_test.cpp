// The sample JPEG XR codec against jxrlib, both ways: lossless files to the sample, and lossy ones as the other decoder
// shows them. Then files that are not whole.
#include <gtest/gtest.h>

#include "jpegxr/jxr_reader.h"
#include "jpegxr/jxr_writer.h"
#include "jpegxr/jxrlib_peer.h"
#include "support/random.h"

namespace test {
namespace {

using sample::AnyPicture;
using sample::JxrBands;
using sample::JxrComponents;
using sample::JxrLayout;
using sample::JxrOverlap;
using sample::JxrWriteOptions;
using sample::Picture;
using sample::Picture16;
using Bytes = std::vector<uint8_t>;

constexpr JxrComponents kAllComponents[] = {JxrComponents::kY, JxrComponents::k420, JxrComponents::k422,
                                            JxrComponents::k444};
constexpr JxrOverlap kAllOverlaps[] = {JxrOverlap::kNone, JxrOverlap::kOne, JxrOverlap::kTwo};
constexpr JxrBands kAllBands[] = {JxrBands::kAll, JxrBands::kNoFlexbits, JxrBands::kNoHighpass, JxrBands::kDcOnly};

// A painted picture; 16-bit samples get a low byte of their own.
AnyPicture pictureOf(int32_t width, int32_t height, int32_t channels, int32_t bits) {
  const Picture painted = sample::paintPicture(width, height, channels);
  if (bits == 8) return painted;
  Picture16 picture = sample::toBits(painted, 16);
  Random random(static_cast<uint64_t>(width * height));
  for (uint16_t& v : picture.samples) v = static_cast<uint16_t>(v ^ random.between(0, 255));
  return picture;
}

AnyPicture noiseOf(int32_t width, int32_t height, int32_t channels, int32_t bits) {
  Random random(7);
  if (bits == 8) {
    Picture picture(width, height, channels);
    random.fill(std::span(picture.pixels));
    return picture;
  }
  Picture16 picture(width, height, channels, 16);
  random.fill(std::span(picture.samples));
  return picture;
}

Bytes write(const AnyPicture& picture, const JxrWriteOptions& options = {}) {
  return std::visit([&](const auto& p) { return sample::writeJxr(p, options); }, picture);
}

AnyPicture read(std::span<const uint8_t> file) {
  if (sample::readJxrHeader(file).bits == 8) return sample::readJxr(file);
  Picture16 picture;
  sample::readJxr(file, picture);
  return picture;
}

// The other decoder gives grey inside a colour file as three equal channels.
AnyPicture readOther(std::span<const uint8_t> file) {
  AnyPicture picture = sample::jxrlibRead(file);
  const sample::JxrHeader header = sample::readJxrHeader(file);
  if (!header.colour || header.components != JxrComponents::kY) return picture;
  Picture grey(header.width, header.height, 1);
  const auto& colour = std::get<Picture>(picture);
  for (size_t i = 0; i < grey.pixels.size(); ++i) {
    grey.pixels[i] = colour.pixels[3 * i];
    EXPECT_TRUE(colour.pixels[3 * i + 1] == grey.pixels[i] && colour.pixels[3 * i + 2] == grey.pixels[i]);
  }
  return grey;
}

std::string numberOf(auto e) { return std::to_string(static_cast<int>(e)); }

template <typename Check>
void forAllShapes(Check check) {
  constexpr std::pair<int32_t, int32_t> kSizes[] = {{1, 1}, {16, 16}, {17, 15}, {33, 70}, {300, 37}, {129, 130}};
  for (const auto& [width, height] : kSizes)
    for (const int32_t channels : {1, 3})
      for (const int32_t bits : {8, 16}) {
        SCOPED_TRACE(testing::Message() << width << 'x' << height << 'x' << channels << ", " << bits << " bits");
        check(pictureOf(width, height, channels, bits));
      }
}

TEST(JpegXr, LosslessFilesOfOursComeBack) {
  forAllShapes([](const AnyPicture& picture) {
    for (const JxrOverlap overlap : kAllOverlaps) {
      const Bytes file = write(picture, {.quality = 100, .overlap = overlap});
      EXPECT_EQ(sample::jxrlibRead(file), picture);
      EXPECT_EQ(read(file), picture);
    }
  });
}

TEST(JpegXr, LosslessFilesOfOthersComeBack) {
  forAllShapes([](const AnyPicture& picture) {
    for (const char* options : {"-l 0 -f", "-l 0", "-l 1", "-l 2 -p"}) {
      SCOPED_TRACE(options);
      EXPECT_EQ(read(sample::jxrlibWrite(picture, options)), picture);
    }
  });
}

TEST(JpegXr, NoiseComesBack) {
  for (const int32_t channels : {1, 3})
    for (const int32_t bits : {8, 16}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits");
      const AnyPicture picture = noiseOf(100, 90, channels, bits);
      const Bytes file = write(picture, {.quality = 100, .overlap = JxrOverlap::kTwo});
      EXPECT_EQ(read(file), picture);
      EXPECT_EQ(sample::jxrlibRead(file), picture);
      EXPECT_EQ(read(sample::jxrlibWrite(picture, "-l 2")), picture);
    }
}

// Lossy files show the same in both decoders.
TEST(JpegXr, LossyFilesOfOthersShowTheSame) {
  const AnyPicture picture = pictureOf(161, 123, 3, 8);
  constexpr const char* kLayouts[] = {"-f", "", "-f -U 2 3", "-U 3 2"};
  size_t layout = 0;
  for (const JxrComponents components : kAllComponents)
    for (const JxrOverlap overlap : kAllOverlaps)
      for (const char* quality : {"1", "0.8", "0.6", "0.2", "120"}) {
        // Five qualities and four layouts: neighbours differ in both.
        const std::string options = "-d " + numberOf(components) + " -l " + numberOf(overlap) + " -q " + quality + ' ' +
                                    kLayouts[layout++ % std::size(kLayouts)];
        SCOPED_TRACE(options);
        const Bytes file = sample::jxrlibWrite(picture, options);
        EXPECT_EQ(read(file), readOther(file));
      }
}

TEST(JpegXr, LossyFilesOfOthersWithFewerBands) {
  const AnyPicture picture = pictureOf(161, 123, 3, 8);
  for (const JxrComponents components : kAllComponents)
    for (const JxrBands bands : kAllBands)
      for (const char* layout : {"-f", "", "-f -F 2", "-F 1 -U 2 2"}) {
        const std::string options = "-q 0.8 -d " + numberOf(components) + " -s " + numberOf(bands) + ' ' + layout;
        SCOPED_TRACE(options);
        const Bytes file = sample::jxrlibWrite(picture, options);
        EXPECT_EQ(sample::readJxrHeader(file).bands, bands);
        EXPECT_EQ(read(file), readOther(file));
      }
}

TEST(JpegXr, DeepLossyFilesOfOthersShowTheSame) {
  for (const int32_t channels : {1, 3}) {
    const AnyPicture picture = pictureOf(90, 77, channels, 16);
    for (const char* options : {"-q 0.95", "-q 0.5 -l 2", "-q 0.1 -l 1 -f", "-q 60 -l 0", "-q 255"}) {
      SCOPED_TRACE(options);
      const Bytes file = sample::jxrlibWrite(picture, options);
      EXPECT_EQ(read(file), sample::jxrlibRead(file));
    }
  }
}

TEST(JpegXr, LossyFilesOfOursShowTheSame) {
  const AnyPicture picture = pictureOf(161, 123, 3, 8);
  for (const JxrComponents components : kAllComponents)
    for (const JxrOverlap overlap : kAllOverlaps)
      for (const JxrBands bands : kAllBands)
        for (const int32_t quality : {100, 92, 60, 5}) {
          SCOPED_TRACE(testing::Message() << "components " << int(components) << ", overlap " << int(overlap)
                                          << ", bands " << int(bands) << ", quality " << quality);
          const Bytes file =
              write(picture, {.quality = quality, .components = components, .overlap = overlap, .bands = bands});
          EXPECT_EQ(read(file), sample::jxrlibRead(file));
        }
}

TEST(JpegXr, DeepLossyFilesOfOursShowTheSame) {
  for (const int32_t channels : {1, 3})
    for (const JxrComponents components : {JxrComponents::k420, JxrComponents::k444})
      for (const int32_t quality : {100, 90, 30}) {
        const Bytes file = write(pictureOf(90, 77, channels, 16),
                                 {.quality = quality, .components = components, .overlap = JxrOverlap::kTwo});
        EXPECT_EQ(read(file), sample::jxrlibRead(file));
      }
}

TEST(JpegXr, QuantisersOfEachBandAndComponent) {
  const AnyPicture picture = pictureOf(100, 60, 3, 8);
  Random random(3);
  for (int i = 0; i < 30; ++i) {
    std::array<sample::QuantiserIndices, 3> quantisers{};
    for (sample::QuantiserIndices& band : quantisers) random.fill(std::span<uint8_t>(band), 0, i < 20 ? 100 : 255);
    const Bytes file = write(picture, {.quantisers = quantisers});
    EXPECT_EQ(sample::readJxrHeader(file).quantisers, quantisers);
    EXPECT_EQ(read(file), sample::jxrlibRead(file));
  }
}

// More bits, more of the picture.
TEST(JpegXr, QualityRises) {
  for (const int32_t bits : {8, 16}) {
    const AnyPicture picture = pictureOf(256, 256, 3, bits);
    const Picture shown = sample::to8Bits(picture);
    double best = 0;
    size_t most = 0;
    for (const int32_t quality : {10, 30, 50, 70, 80, 90, 95, 99}) {
      const Bytes file = write(picture, {.quality = quality});
      const double psnr = sample::psnr(shown, sample::to8Bits(read(file)));
      EXPECT_GT(psnr, best) << quality;
      EXPECT_GT(file.size(), most) << quality;
      best = psnr, most = file.size();
    }
    EXPECT_GT(best, 45);
    EXPECT_GT(write(picture, {.quality = 100}).size(), most);
  }
}

TEST(JpegXr, WhatCannotBeWrittenIsRefused) {
  EXPECT_THROW(sample::writeJxr(Picture(4, 4, 4)), sample::JxrError);
  EXPECT_THROW(sample::writeJxr(Picture(0, 4, 3)), sample::JxrError);
  EXPECT_THROW(sample::writeJxr(Picture16(4, 4, 3, 12)), sample::JxrError);
  EXPECT_THROW(sample::writeJxr(Picture(4, 4, 3), {.quality = 101}), sample::JxrError);
  EXPECT_THROW(sample::writeJxr(Picture(16, 40, 3), {.components = JxrComponents::k420, .overlap = JxrOverlap::kTwo}),
               sample::JxrError);
}

// Another file is named for what it is.
TEST(JpegXr, WhatIsNotReadIsNamed) {
  const auto message = [](const Bytes& file) -> std::string {
    try {
      Picture picture;
      sample::readJxr(file, picture);
    } catch (const sample::JxrDamaged&) {
      return "damage";
    } catch (const sample::JxrError& error) {
      return error.what();
    }
    return "read";
  };
  EXPECT_EQ(message({}), "not a JPEG XR file");
  EXPECT_EQ(message({'I', 'I', 42, 0, 8, 0, 0, 0}), "not a JPEG XR file");
  const Bytes good = write(pictureOf(40, 40, 3, 8));
  EXPECT_EQ(message(good), "read");
  const auto signature = static_cast<size_t>(
      std::search(good.begin(), good.end(), std::begin("WMPHOTO"), std::end("WMPHOTO")) - good.begin());
  const auto changed = [&](size_t byte, uint8_t value) {
    Bytes file = good;
    file[signature + 8 + byte] = value;
    return message(file);
  };
  EXPECT_EQ(changed(0, 0x21), "unsupported: another version than 1");
  EXPECT_EQ(changed(0, 0x12), "unsupported: subversion 2");
  EXPECT_EQ(changed(2, 0xC1), "unsupported: interleaved alpha");
  EXPECT_EQ(changed(3, 0x41), "unsupported: CMYK and other colours than grey and RGB");
  EXPECT_EQ(changed(3, 0x77), "unsupported: samples other than unsigned ones of 8 or 16 bits");
  // An image that begins with its signature needs no container.
  EXPECT_EQ(message({good.begin() + static_cast<ptrdiff_t>(signature), good.end()}), "read");
}

// A window into whole macroblocks, as it stands in files that were cut without coding them again.
TEST(JpegXr, WindowsAreCutOut) {
  const Picture picture = std::get<Picture>(pictureOf(80, 64, 3, 8));
  Bytes file = sample::writeJxr(picture, {.quality = 100});
  constexpr size_t kByteCount = 32 + 2 + 7 * 12 + 8, kImage = 32 + 2 + 8 * 12 + 4;
  constexpr uint32_t kTop = 7, kLeft = 5, kBottom = 17, kRight = 15;
  constexpr uint32_t kWindow = kTop << 18 | kLeft << 12 | kBottom << 6 | kRight;
  file[kImage + 10] |= 0x20;
  file[kImage + 13] = 80 - kLeft - kRight - 1, file[kImage + 15] = 64 - kTop - kBottom - 1;
  file.insert(file.begin() + kImage + 16,
              {uint8_t(kWindow >> 16), uint8_t(kWindow >> 8 & 255), uint8_t(kWindow & 255)});
  const size_t bytes = file.size() - kImage;
  file[kByteCount] = static_cast<uint8_t>(bytes), file[kByteCount + 1] = static_cast<uint8_t>(bytes >> 8);
  EXPECT_EQ(sample::readJxr(file), sample::crop(picture, kLeft, kTop, 80 - kLeft - kRight, 64 - kTop - kBottom));
  EXPECT_EQ(read(file), sample::jxrlibRead(file));
}

// Every prefix of a file: an error in the headers, then damage, and what came before it is there.
TEST(JpegXr, EveryTruncation) {
  const AnyPicture picture = pictureOf(70, 50, 3, 8);
  const Bytes files[] = {write(picture), write(picture, {.quality = 100, .components = JxrComponents::k420}),
                         sample::jxrlibWrite(picture, "-q 0.9"), sample::jxrlibWrite(picture, "-q 1 -f -U 2 2")};
  for (const Bytes& file : files) {
    const Picture whole = sample::readJxr(file);
    size_t pictures = 0;
    for (size_t length = 0; length < file.size(); length += length < 400 ? 1 : 7) {
      // An allocation of its own, so that a read behind it is found.
      const Bytes part(file.begin(), file.begin() + static_cast<ptrdiff_t>(length));
      Picture got;
      try {
        sample::readJxr(part, got);
      } catch (const sample::JxrDamaged& damage) {
        EXPECT_EQ(got.pixels.size(), whole.pixels.size());
        EXPECT_EQ(std::string(damage.what()).rfind("damaged: ", 0), 0u) << damage.what();
        ++pictures;
      } catch (const sample::JxrError&) {
        EXPECT_TRUE(got.pixels.empty());
      }
    }
    EXPECT_GT(pictures, 100u);
  }
}

// In spatial layout whole rows of macroblocks before the cut stay, and what is lost is grey.
TEST(JpegXr, TruncatedFilesKeepTheirRows) {
  const Picture picture = std::get<Picture>(pictureOf(320, 320, 3, 8));
  Bytes file = sample::writeJxr(picture, {.quality = 100});
  file.resize(file.size() * 6 / 10);
  Picture got;
  EXPECT_THROW(sample::readJxr(file, got), sample::JxrDamaged);
  EXPECT_EQ(sample::crop(got, 0, 0, 320, 144), sample::crop(picture, 0, 0, 320, 144));
  EXPECT_EQ(sample::crop(got, 0, 304, 320, 16), [] {
    Picture grey(320, 16, 3);
    std::fill(grey.pixels.begin(), grey.pixels.end(), uint8_t{128});
    return grey;
  }());
}

// A frequency layout that is cut in its highpass coefficients still shows the rest of all of the picture.
TEST(JpegXr, TruncatedFrequencyLayoutKeepsItsLowBands) {
  const AnyPicture picture = pictureOf(320, 320, 3, 8);
  Bytes file = sample::jxrlibWrite(picture, "-q 0.95 -l 0");
  ASSERT_EQ(sample::readJxrHeader(file).layout, JxrLayout::kFrequency);
  const Bytes withoutFlexbits = sample::jxrlibWrite(picture, "-q 0.95 -l 0 -s 1");
  const Bytes withoutHighpass = sample::jxrlibWrite(picture, "-q 0.95 -l 0 -s 2");
  file.resize((withoutFlexbits.size() + withoutHighpass.size()) / 2);
  Picture got;
  EXPECT_THROW(sample::readJxr(file, got), sample::JxrDamaged);
  EXPECT_EQ(sample::crop(got, 0, 0, 320, 16), sample::crop(sample::readJxr(withoutFlexbits), 0, 0, 320, 16));
  EXPECT_EQ(sample::crop(got, 0, 304, 320, 16), sample::crop(sample::readJxr(withoutHighpass), 0, 304, 320, 16));
}

// Changed bytes: a picture, a picture with damage, or an error, of whatever kind of file.
TEST(JpegXr, ChangedFilesGiveAnErrorOrAPicture) {
  Random random(11);
  TRACE_SEED(11);
  int pictures = 0, errors = 0;
  for (const JxrComponents components : kAllComponents)
    for (const char* layout : {"-f", "", "-U 2 2"}) {
      const Bytes good =
          sample::jxrlibWrite(pictureOf(90, 60, 3, 8), "-q 0.9 -d " + numberOf(components) + " " + layout);
      for (int round = 0; round < 150; ++round) {
        Bytes file = good;
        for (int64_t changes = random.between(1, 6); changes > 0; --changes)
          file[static_cast<size_t>(random.oneIn(3) ? random.between(0, 180)
                                                   : random.between(180, std::ssize(file) - 1))] =
              static_cast<uint8_t>(random.bits());
        try {
          Picture picture;
          sample::readJxr(file, picture);
          ++pictures;
        } catch (const sample::JxrDamaged&) {
          ++pictures;
        } catch (const sample::JxrError&) {
          ++errors;
        }
      }
    }
  EXPECT_GT(pictures, 100);
  EXPECT_GT(errors, 10);
}

}  // namespace
}  // namespace test
