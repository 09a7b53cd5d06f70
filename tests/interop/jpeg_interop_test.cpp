// Whole JPEG files both ways against libjpeg: coefficients equal exactly, pixels within a bound of what the standards
// define in real numbers, and errors that name what is wrong.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "interop/exact_decode.h"
#include "interop/jpeg_checks.h"
#include "interop/libjpeg_peer.h"
#include "jpeg/annex_k.h"
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"
#include "support/random.h"

namespace test {
namespace {

using sample::JpegCoefficients;
using sample::JpegError;
using sample::Picture;
using sample::Subsampling;

std::vector<Picture> photographs() {
  std::vector<Picture> all;
  for (const auto& file : sample::photographs()) all.push_back(sample::readPicture(file));
  return all;
}

template <typename F>
std::string errorOf(F read) {
  try {
    read();
  } catch (const JpegError& error) {
    return error.what();
  }
  return "no error";
}

std::string readError(const Bytes& file) {
  return errorOf([&] { sample::readJpeg(file); });
}

TEST(AnnexK, TablesAreThoseOfLibjpeg) {
  const PeerTables peer = peerTables();
  const auto same = [](const auto& ours, const auto& theirs) { return std::ranges::equal(ours, theirs); };
  EXPECT_TRUE(same(kLuminanceQuant, peer.quant[0]));
  EXPECT_TRUE(same(kChrominanceQuant, peer.quant[1]));
  EXPECT_TRUE(same(kLuminanceDcCounts, peer.dcCounts[0]));
  EXPECT_TRUE(same(kChrominanceDcCounts, peer.dcCounts[1]));
  EXPECT_TRUE(same(kDcValues, peer.dcValues[0]));
  EXPECT_TRUE(same(kDcValues, peer.dcValues[1]));
  EXPECT_TRUE(same(kLuminanceAcCounts, peer.acCounts[0]));
  EXPECT_TRUE(same(kLuminanceAcValues, peer.acValues[0]));
  EXPECT_TRUE(same(kChrominanceAcCounts, peer.acCounts[1]));
  EXPECT_TRUE(same(kChrominanceAcValues, peer.acValues[1]));
}

TEST(JpegInterop, LibjpegReadsOurFiles) {
  for (const auto [width, height] : kSizes)
    for (const int32_t channels : {1, 3}) {
      const Picture picture = sample::paintPicture(width, height, channels);
      for (const Subsampling subsampling : kSubsamplings) {
        if (channels == 1 && subsampling != Subsampling::k444) continue;
        for (const int32_t quality : kQualities)
          for (const int32_t interval : kIntervals) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << channels << ", mode "
                                            << int(subsampling) << ", quality " << quality << ", restart " << interval);
            const Bytes file = sample::writeJpeg(picture, {quality, subsampling, interval});
            expectReadsRight(file, interval == 0);
            if (interval == 0) expectWritesRight(file, picture);
            if (HasFatalFailure()) return;
          }
      }
    }
}

TEST(JpegInterop, WeReadFilesOfLibjpeg) {
  for (const auto [width, height] : kSizes)
    for (const int32_t channels : {1, 3}) {
      const Picture picture = sample::paintPicture(width, height, channels);
      for (const auto& factors : kFactors) {
        if (channels == 1 && factors[0][0] > 1) continue;
        for (const int32_t quality : kQualities)
          for (const int32_t interval : kIntervals) {
            SCOPED_TRACE(testing::Message()
                         << width << " x " << height << " x " << channels << ", luma " << factors[0][0] << " x "
                         << factors[0][1] << ", quality " << quality << ", restart " << interval);
            expectReadsRight(peerWrite(picture, {.quality = quality, .factors = factors, .restartInterval = interval}),
                             interval == 0);
            if (HasFatalFailure()) return;
          }
      }
    }
}

TEST(JpegInterop, Photographs) {
  for (const Picture& photograph : photographs())
    for (size_t mode = 0; mode < std::size(kSubsamplings); ++mode)
      for (const int32_t quality : {10, 75, 95}) {
        const Bytes ours = sample::writeJpeg(photograph, {quality, kSubsamplings[mode], 0});
        const Bytes theirs = peerWrite(photograph, {.quality = quality, .factors = kFactors[mode]});
        expectReadsRight(ours, quality == 95);
        expectReadsRight(theirs, quality == 10);
        // The same picture at the same quality: about as good as libjpeg, and as small.
        EXPECT_GT(psnr(sample::readJpeg(ours), photograph), psnr(sample::readJpeg(theirs), photograph) - 0.2);
        EXPECT_LT(ours.size(), 1.01 * static_cast<double>(theirs.size()));
        if (HasFatalFailure()) return;
      }
}

TEST(JpegInterop, OptimisedTablesScansAndRestarts) {
  const Picture picture = sample::paintPicture(131, 77);
  for (const auto& factors : kFactors)
    for (const bool optimised : {false, true})
      for (const bool oneScan : {false, true})
        for (const int32_t interval : kIntervals) {
          SCOPED_TRACE(testing::Message() << "luma " << factors[0][0] << " x " << factors[0][1] << ", optimised "
                                          << optimised << ", one scan " << oneScan << ", restart " << interval);
          expectReadsRight(peerWrite(
              picture, {.factors = factors, .restartInterval = interval, .optimised = optimised, .oneScan = oneScan}));
        }
}

TEST(JpegInterop, ScansApartGiveTheSamePixels) {
  const Picture picture = sample::paintPicture(131, 77);
  for (const auto& factors : kFactors)
    EXPECT_EQ(sample::readJpeg(peerWrite(picture, {.factors = factors})),
              sample::readJpeg(peerWrite(picture, {.factors = factors, .oneScan = false})));
}

TEST(JpegInterop, UnusualSamplingFactors) {
  using Factors = std::array<std::array<int32_t, 2>, 3>;
  const Factors unusual[]{{{{1, 2}, {1, 1}, {1, 1}}}, {{{4, 1}, {1, 1}, {1, 1}}}, {{{4, 2}, {1, 1}, {1, 1}}},
                          {{{2, 2}, {2, 1}, {1, 2}}}, {{{1, 1}, {2, 2}, {1, 1}}}, {{{2, 2}, {2, 2}, {2, 2}}},
                          {{{3, 1}, {1, 1}, {1, 1}}}, {{{1, 4}, {1, 1}, {1, 1}}}};
  for (const Factors& factors : unusual)
    for (const Size size : {Size{1, 1}, Size{33, 17}, Size{100, 75}})
      for (const bool oneScan : {false, true}) {
        if (oneScan && factors[0][0] * factors[0][1] + factors[1][0] * factors[1][1] + factors[2][0] * factors[2][1] >
                           sample::kMaxBlocksInMcu)
          continue;
        SCOPED_TRACE(testing::Message() << "luma " << factors[0][0] << " x " << factors[0][1] << ", chroma "
                                        << factors[1][0] << " x " << factors[1][1] << ", one scan " << oneScan);
        expectReadsRight(
            peerWrite(sample::paintPicture(size.width, size.height), {.factors = factors, .oneScan = oneScan}));
      }
}

TEST(JpegInterop, QuantisersOf16Bits) {
  for (const int32_t quality : {1, 5, 20}) {
    const Bytes file = peerWrite(sample::paintPicture(65, 48), {.quality = quality, .byteQuantisers = false});
    expectReadsRight(file);
    const JpegCoefficients coefficients = sample::readCoefficients(file);
    expectSameCoefficients(coefficients, peerReadCoefficients(sample::writeCoefficients(coefficients)));
  }
}

TEST(JpegInterop, StoredRgb) {
  for (const auto& factors : kFactors) {
    const Bytes file = peerWrite(sample::paintPicture(50, 40), {.factors = factors, .rgb = true});
    EXPECT_EQ(sample::readCoefficients(file).colour, sample::JpegColour::kRgb);
    expectReadsRight(file);
    expectReadsRight(sample::writeCoefficients(sample::readCoefficients(file)));
  }
}

TEST(JpegInterop, CoefficientsSurviveWriting) {
  for (const auto& factors : kFactors)
    for (const int32_t interval : kIntervals) {
      const JpegCoefficients first = sample::readCoefficients(
          peerWrite(sample::paintPicture(61, 35), {.factors = factors, .restartInterval = interval}));
      const Bytes file = sample::writeCoefficients(first);
      const JpegCoefficients second = sample::readCoefficients(file);
      for (size_t i = 0; i < 3; ++i) EXPECT_EQ(first.planes[i].values, second.planes[i].values);
      expectSameCoefficients(second, peerReadCoefficients(file));
    }
}

// Factors that do not divide each other, which libjpeg reads as coefficients but does not write.
TEST(JpegInterop, FractionalSamplingFactors) {
  TRACE_SEED(2);
  Random random(2);
  JpegCoefficients drawn{{45, 20, {{1, 3, 2, 0}, {2, 2, 1, 0}, {3, 1, 1, 0}}}, sample::JpegColour::kYCbCr, 0, {}, {}};
  for (const auto& c : drawn.frame.components) {
    sample::QuantTable& quant = drawn.quant.emplace_back();
    quant.fill(8);
    auto& plane = drawn.planes.emplace_back(drawn.frame.mcusWide() * c.h, drawn.frame.mcusHigh() * c.v);
    for (size_t b = 0; b < plane.values.size(); b += 64)
      for (const size_t k : {0, 1, 8, 9}) plane.values[b + k] = static_cast<int16_t>(random.between(-12, 12));
  }
  expectReadsRight(sample::writeCoefficients(drawn));
}

TEST(JpegInterop, LongAndThin) {
  for (const Size size : {Size{65500, 1}, Size{1, 65500}, Size{65500, 17}}) {  // libjpeg's limit
    Picture picture(size.width, size.height, 3);
    for (size_t i = 0; i < picture.pixels.size(); ++i) picture.pixels[i] = static_cast<uint8_t>(i / 64);
    for (const Subsampling subsampling : kSubsamplings)
      expectReadsRight(sample::writeJpeg(picture, {90, subsampling, 0}), false);
  }
  for (const Size size : {Size{65535, 1}, Size{1, 65535}}) {  // the limit of T.81
    const Picture grey = sample::paintPicture(size.width, size.height, 1);
    EXPECT_GT(psnr(sample::readJpeg(sample::writeJpeg(grey, {95})), grey), 35);
  }
}

// Every prefix of a file: never a crash, the whole rows of MCUs that were there are kept, the rest is grey.
TEST(JpegDamage, EveryTruncation) {
  using sample::JpegBy, sample::JpegColour;
  const std::pair<JpegColour, JpegBy> kinds[]{
      {JpegColour::kGrey, JpegBy::kMcu}, {JpegColour::kYCbCr, JpegBy::kMcu},   {JpegColour::kCmyk, JpegBy::kMcu},
      {JpegColour::kYcck, JpegBy::kMcu}, {JpegColour::kYCbCr, JpegBy::kPlane}, {JpegColour::kYcck, JpegBy::kPlane}};
  for (const auto& [colour, by] : kinds) {
    SCOPED_TRACE(testing::Message() << "colour " << int(colour) << ", way " << int(by));
    const Bytes file = sample::writeJpeg(sample::paintPicture(40, 48), {75, Subsampling::k420, 0, colour});
    const Picture whole = sample::readJpeg(file, {.by = by});
    const int32_t mcu = colour == JpegColour::kGrey || colour == JpegColour::kCmyk ? 8 : 16;
    const size_t scan = findMarker(file, sample::kSos);
    const size_t data = scan + 2 + static_cast<size_t>(file[scan + 2] << 8 | file[scan + 3]);
    size_t kept = 0;
    for (size_t length = 0; length < file.size(); ++length) {
      const std::span part(file.data(), length);
      Picture picture;
      if (length < data) {
        EXPECT_THROW(sample::readJpeg(part, picture, {.by = by}), JpegError) << length;
        EXPECT_TRUE(picture.pixels.empty());
        continue;
      }
      ASSERT_THROW(sample::readJpeg(part, picture, {.by = by}), sample::JpegDamaged) << length;
      ASSERT_EQ(picture.pixels.size(), whole.pixels.size());
      const auto mismatch =
          static_cast<size_t>(std::ranges::mismatch(picture.pixels, whole.pixels).in1 - picture.pixels.begin());
      EXPECT_GE(mismatch, kept) << length;
      EXPECT_EQ(picture.pixels.back(), mismatch == whole.pixels.size() ? whole.pixels.back() : 128) << length;
      const auto mcuRow = static_cast<size_t>(mcu * whole.step());
      kept = std::max(kept, mismatch / mcuRow * mcuRow);
    }
    EXPECT_EQ(kept, whole.pixels.size());  // all but the end-of-image marker
  }
}

TEST(JpegDamage, TenThousandDamagedFiles) {
  TRACE_SEED(1);
  Random random(1);
  const Picture colour = sample::paintPicture(37, 29), grey = sample::paintPicture(24, 40, 1);
  const Bytes originals[]{sample::writeJpeg(colour, {75, Subsampling::k420, 0}),
                          sample::writeJpeg(colour, {95, Subsampling::k422, 1}),
                          sample::writeJpeg(colour, {30, Subsampling::k444, 7}),
                          sample::writeJpeg(grey, {75, Subsampling::k444, 3}),
                          peerWrite(colour, {.optimised = true, .oneScan = false}),
                          peerWrite(colour, {.factors = {{{4, 1}, {1, 1}, {1, 1}}}, .optimised = true}),
                          peerWrite(colour, {.rgb = true}),
                          sample::writeJpeg(colour, {.restartInterval = 2, .colour = sample::JpegColour::kYcck}),
                          sample::writeJpeg(colour, {.colour = sample::JpegColour::kCmyk})};
  const sample::JpegReadOptions ways[]{{},
                                       {.by = sample::JpegBy::kPlane},
                                       {.upsampling = sample::Upsampling::kTriangle},
                                       {.upsampling = sample::Upsampling::kTriangle, .scale = 2},
                                       {.scale = 8}};
  int32_t whole = 0, damaged = 0, refused = 0;
  for (int32_t round = 0; round < 10'000; ++round) {
    Bytes file = originals[static_cast<size_t>(round) % std::size(originals)];
    for (int64_t edits = random.between(1, 4); edits > 0 && !file.empty(); --edits) {
      const auto at = random.between(0, static_cast<int64_t>(file.size()) - 1);
      const auto place = file.begin() + at;
      switch (random.between(0, 4)) {
        case 0:
          *place ^= static_cast<uint8_t>(1 << random.between(0, 7));
          break;
        case 1:
          *place = static_cast<uint8_t>(random.bits());
          break;
        case 2:
          *place = 0xFF;
          break;
        case 3:
          file.erase(place, place + random.between(1, std::min<int64_t>(16, file.end() - place)));
          break;
        default:
          if (random.oneIn(4)) file.erase(place, file.end());
      }
    }
    Picture picture;
    try {
      sample::readJpeg(file, picture, ways[static_cast<size_t>(round) / std::size(originals) % std::size(ways)]);
      ++whole;
      EXPECT_FALSE(picture.pixels.empty());
    } catch (const sample::JpegDamaged&) {
      ++damaged;
      EXPECT_FALSE(picture.pixels.empty());
    } catch (const JpegError&) {
      ++refused;
      EXPECT_TRUE(picture.pixels.empty());
    }
    try {
      sample::readCoefficients(file);
    } catch (const JpegError&) {
    }
  }
  EXPECT_GT(whole, 500);
  EXPECT_GT(damaged, 500);
  EXPECT_GT(refused, 500);
}

TEST(JpegErrors, NameWhatIsWrong) {
  const Picture picture = sample::paintPicture(40, 30);
  const Bytes good = sample::writeJpeg(picture);
  const auto patched = [&](uint8_t marker, size_t offset, std::initializer_list<uint8_t> bytes) {
    Bytes file = good;
    std::ranges::copy(bytes, file.begin() + static_cast<ptrdiff_t>(findMarker(file, marker) + offset));
    return readError(file);
  };
  EXPECT_EQ(readError({}), "not a JPEG file");
  EXPECT_EQ(readError({0x89, 'P', 'N', 'G'}), "not a JPEG file");
  EXPECT_EQ(readError({0xFF, 0xD8}), "truncated: the file ends inside its headers");
  EXPECT_EQ(readError({0xFF, 0xD8, 0xFF, 0xD9}), "damaged: the file has no image scan");
  EXPECT_EQ(readError(peerWrite(picture, {.coding = PeerCoding::kProgressive})),
            "unsupported process: progressive DCT (SOF2)");
  EXPECT_EQ(readError(peerWrite(picture, {.coding = PeerCoding::kArithmetic})),
            "unsupported process: arithmetic coding, sequential DCT (SOF9)");
  EXPECT_EQ(patched(sample::kSof0, 1, {0xC3}), "unsupported process: lossless (SOF3)");
  EXPECT_EQ(patched(sample::kSof0, 4, {12}), "unsupported: 12 bits a sample");
  EXPECT_EQ(patched(sample::kSof0, 9, {2}), "unsupported: 2 components");
  EXPECT_EQ(patched(sample::kSof0, 5, {0, 0}), "unsupported: a height of 0, to be defined behind the first scan (DNL)");
  EXPECT_EQ(patched(sample::kSof0, 7, {0, 0}), "bad SOF segment: a width of 0");
  EXPECT_EQ(patched(sample::kSof0, 11, {0x50}), "bad SOF segment: a sampling factor outside 1 to 4");
  EXPECT_EQ(patched(sample::kSof0, 5, {0xFF, 0xFF, 0xFF, 0xFF}),
            "damaged: " + std::to_string(good.size()) + " bytes cannot hold a picture of 65535 x 65535");
  EXPECT_EQ(patched(sample::kDqt, 5, {0}), "bad DQT segment: a quantiser of 0");
  EXPECT_EQ(patched(sample::kDht, 5, {3}), "bad DHT segment: more codes than their lengths allow");
  EXPECT_EQ(patched(sample::kSos, 6, {0x33}), "bad table: the scan uses DC Huffman table 3, which is not defined");
  EXPECT_EQ(patched(sample::kSos, 5, {9}), "bad SOS segment: a component that the frame does not have");
  Bytes cut = good;
  cut.resize(good.size() - 40);
  EXPECT_EQ(readError(cut), "truncated: the file ends inside the image data");
  cut.insert(cut.end(), {0xFF, sample::kEoi});
  EXPECT_EQ(readError(cut), "damaged: the data of an image scan ends before its last block");
  Bytes intervals = sample::writeJpeg(picture, {75, Subsampling::k420, 1});
  for (size_t i = 0; i + 1 < intervals.size(); ++i)
    if (intervals[i] == 0xFF && intervals[i + 1] == sample::kRst0 + 2) intervals[i + 1] = sample::kRst0 + 5;
  EXPECT_EQ(readError(intervals), "damaged: restart marker 2 is missing");
}

TEST(JpegErrors, WriterRefusesWhatNoFileCanHold) {
  const Picture picture = sample::paintPicture(8, 8);
  EXPECT_THROW(sample::writeJpeg(Picture(0, 5, 3)), JpegError);
  EXPECT_THROW(sample::writeJpeg(Picture(65536, 1, 1)), JpegError);
  EXPECT_THROW(sample::writeJpeg(Picture(4, 4, 2)), JpegError);
  EXPECT_THROW(sample::writeJpeg(picture, {.quality = 0}), JpegError);
  EXPECT_THROW(sample::writeJpeg(picture, {.quality = 101}), JpegError);
  EXPECT_THROW(sample::writeJpeg(picture, {.restartInterval = 65536}), JpegError);
  JpegCoefficients extreme = sample::readCoefficients(sample::writeJpeg(picture));
  extreme.planes[0].block(0, 0)[5] = 2000;
  EXPECT_THROW(sample::writeCoefficients(extreme), JpegError);
}

}  // namespace
}  // namespace test
