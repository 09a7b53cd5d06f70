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
  EXPECT_EQ(readError(peerWrite(picture, {.coding = PeerCoding::kArithmetic})),
            "unsupported process: arithmetic coding, sequential DCT (SOF9)");
  EXPECT_EQ(patched(sample::kSof0, 1, {0xC3}), "unsupported: lossless with subsampled components");
  EXPECT_EQ(patched(sample::kSof0, 1, {0xC7}), "unsupported process: hierarchical, lossless (SOF7)");
  EXPECT_EQ(patched(sample::kSof0, 4, {16}), "unsupported: 16 bits a sample");
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
