// Files of four components, and of RGB, both ways against libjpeg; and the plain conversions between RGB and CMYK.
#include <gtest/gtest.h>

#include <string>

#include "interop/jpeg_checks.h"

namespace test {
namespace {

using sample::JpegBy;
using sample::JpegColour;
using sample::Picture;

constexpr Size kSmallSizes[]{{1, 1}, {2, 3}, {7, 9}, {17, 33}, {131, 77}};

Picture paintCmyk(int32_t width, int32_t height) { return sample::toCmyk(sample::paintPicture(width, height)); }

void expectBothWays(const Bytes& file) {
  expectReadsRight(file);
  expectPlanesReadRight(file);
}

TEST(JpegCmyk, LibjpegReadsOurFiles) {
  for (const auto [width, height] : kSmallSizes) {
    const Picture picture = paintCmyk(width, height);
    for (const JpegColour colour : {JpegColour::kCmyk, JpegColour::kYcck})
      for (const auto subsampling : kSubsamplings) {
        if (colour == JpegColour::kCmyk && subsampling != sample::Subsampling::k444) continue;
        for (const JpegBy by : {JpegBy::kMcu, JpegBy::kPlane})
          for (const int32_t quality : {10, 75, 100})
            for (const int32_t interval : kIntervals) {
              SCOPED_TRACE(testing::Message()
                           << width << " x " << height << ", colour " << int(colour) << ", mode " << int(subsampling)
                           << ", way " << int(by) << ", quality " << quality << ", restart " << interval);
              const Bytes file = sample::writeJpeg(picture, {quality, subsampling, interval, colour, by});
              EXPECT_EQ(sample::readCoefficients(file).colour, colour);
              expectBothWays(file);
              expectWritesRight(file, picture);
              if (HasFailure()) return;
            }
      }
  }
}

TEST(JpegCmyk, WeReadFilesOfLibjpeg) {
  for (const auto [width, height] : kSmallSizes) {
    const Picture picture = paintCmyk(width, height);
    for (const bool ycck : {false, true})
      for (const auto& factors : kFactors)
        for (const bool oneScan : {false, true})
          for (const int32_t interval : kIntervals) {
            SCOPED_TRACE(testing::Message()
                         << width << " x " << height << ", YCCK " << ycck << ", luma " << factors[0][0] << " x "
                         << factors[0][1] << ", one scan " << oneScan << ", restart " << interval);
            const Bytes file = peerWrite(
                picture,
                {.quality = 90, .factors = factors, .restartInterval = interval, .oneScan = oneScan, .ycck = ycck});
            EXPECT_EQ(sample::readCoefficients(file).colour, ycck ? JpegColour::kYcck : JpegColour::kCmyk);
            expectBothWays(file);
            expectReadsRight(sample::writeCoefficients(sample::readCoefficients(file)));
            if (HasFailure()) return;
          }
  }
}

TEST(JpegCmyk, LibjpegReadsOurRgbFiles) {
  for (const auto [width, height] : kSmallSizes) {
    const Picture picture = sample::paintPicture(width, height);
    for (const JpegBy by : {JpegBy::kMcu, JpegBy::kPlane}) {
      const Bytes file = sample::writeJpeg(picture, {.quality = 90, .colour = JpegColour::kRgb, .by = by});
      EXPECT_EQ(sample::readCoefficients(file).colour, JpegColour::kRgb);
      expectBothWays(file);
      expectWritesRight(file, picture);
    }
  }
}

// Both programs put the same picture into a file and get it back the same way up: light, not ink.
TEST(JpegCmyk, PixelsMeanTheSameToLibjpeg) {
  const Picture picture = paintCmyk(131, 77);
  for (const bool ycck : {false, true}) {
    const JpegColour colour = ycck ? JpegColour::kYcck : JpegColour::kCmyk;
    const Bytes ours =
        sample::writeJpeg(picture, {.quality = 95, .subsampling = sample::Subsampling::k444, .colour = colour});
    const Bytes theirs = peerWrite(picture, {.quality = 95, .factors = kFactors[0], .ycck = ycck});
    EXPECT_GT(psnr(peerRead(ours), picture), 35);
    EXPECT_GT(psnr(sample::readJpeg(theirs), picture), 35);
  }
}

TEST(JpegCmyk, WithoutTheMarkerOfAdobeSamplesAreInk) {
  const Bytes marked = sample::writeJpeg(paintCmyk(20, 12), {.colour = JpegColour::kCmyk});
  Bytes plain = marked;
  const auto marker = plain.begin() + static_cast<ptrdiff_t>(findMarker(plain, sample::kApp14));
  plain.erase(marker, marker + 2 + 14);
  for (const JpegBy by : {JpegBy::kMcu, JpegBy::kPlane}) {
    Picture inverted = sample::readJpeg(marked, {.by = by});
    for (uint8_t& value : inverted.pixels) value = static_cast<uint8_t>(255 - value);
    EXPECT_EQ(sample::readJpeg(plain, {.by = by}), inverted);
  }
  EXPECT_EQ(peerRead(plain), peerRead(marked));  // libjpeg hands over what is stored
}

TEST(JpegCmyk, PicturesAreConvertedForTheColourOfTheFile) {
  const Picture rgb = sample::paintPicture(40, 30), cmyk = sample::toCmyk(rgb), grey = sample::paintPicture(40, 30, 1);
  for (const JpegColour colour :
       {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb, JpegColour::kCmyk, JpegColour::kYcck})
    for (const Picture& picture : {rgb, cmyk, grey}) {
      const Bytes file =
          sample::writeJpeg(picture, {.quality = 95, .subsampling = sample::Subsampling::k444, .colour = colour});
      EXPECT_EQ(sample::readCoefficients(file).colour, colour);
      const Picture back = sample::readJpeg(file);
      EXPECT_EQ(back.channels, sample::channelsOf(colour));
      const Picture wanted = sample::toRgb(picture);
      EXPECT_GT(psnr(sample::toRgb(back), back.channels == 1 ? sample::toRgb(sample::toGrey(wanted)) : wanted), 33)
          << int(colour) << ", from " << picture.channels;
    }
  EXPECT_EQ(sample::readCoefficients(sample::writeJpeg(cmyk)).colour, JpegColour::kYcck);
  EXPECT_EQ(sample::readCoefficients(sample::writeJpeg(grey)).colour, JpegColour::kGrey);
}

TEST(CmykPictures, GreyIsReplacedByBlack) {
  Picture rgb(5, 1, 3);
  rgb.pixels = {0, 0, 0, 255, 255, 255, 100, 100, 100, 200, 100, 50, 0, 3, 2};
  const Picture cmyk = sample::toCmyk(rgb);
  const std::vector<uint8_t> wanted{255, 255, 255, 0,   255, 255, 255, 255, 255, 255,
                                    255, 100, 255, 128, 64,  200, 0,   255, 170, 3};
  EXPECT_EQ(cmyk.pixels, wanted);
  EXPECT_EQ(sample::toRgb(cmyk), rgb);
}

// 255 p / K is off by half at most, which K / 255 does not enlarge, and rounding takes back to p.
TEST(CmykPictures, RgbSurvives) {
  Picture rgb(256, 256, 3);
  for (int32_t y = 0; y < 256; ++y)
    for (int32_t x = 0; x < 256; ++x) {
      uint8_t* p = rgb.row(y) + ptrdiff_t{3} * x;
      p[0] = static_cast<uint8_t>(x), p[1] = static_cast<uint8_t>(y), p[2] = static_cast<uint8_t>(std::max(x, y) / 2);
    }
  EXPECT_EQ(sample::toRgb(sample::toCmyk(rgb)), rgb);
}

}  // namespace
}  // namespace test
