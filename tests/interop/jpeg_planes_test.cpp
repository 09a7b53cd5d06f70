// The ways by planes: files that libjpeg reads, triangle upsampling equal to libjpeg's, and reduced sizes that are the
// means of the full one.
#include <gtest/gtest.h>

#include <cmath>

#include "interop/jpeg_checks.h"
#include "jpeg/jpeg_planes.h"

namespace test {
namespace {

using sample::JpegBy;
using sample::JpegColour;
using sample::Picture;
using sample::Subsampling;
using sample::Upsampling;

// Largest deviation of a reduced picture from the means of the exact decode: the reduced transforms round within 0.6,
// so that colours come to 0.6 * 2.772 + 0.61. Measured: 0.5467 and 1.8602.
constexpr double kReducedGreyBound = 0.6, kReducedColourBound = 2.3;

constexpr Size kOddSizes[]{{1, 1}, {1, 5}, {5, 1}, {7, 9}, {16, 16}, {17, 33}, {131, 77}};

Picture upsampled(const Picture& plane, int32_t width, int32_t height, bool tall) {
  Picture full(2 * plane.width, (tall ? 2 : 1) * plane.height, 1);
  sample::upsampleTriangle(plane, width, height, tall, plane.row(0), plane.row(height - 1), full);
  return full;
}

TEST(JpegPlanes, LibjpegReadsOurFiles) {
  for (const auto [width, height] : kOddSizes)
    for (const int32_t channels : {1, 3}) {
      const Picture picture = sample::paintPicture(width, height, channels);
      for (const Subsampling subsampling : kSubsamplings)
        for (const int32_t quality : kQualities)
          for (const int32_t interval : kIntervals) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << channels << ", mode "
                                            << int(subsampling) << ", quality " << quality << ", restart " << interval);
            const Bytes file = sample::writeJpeg(picture, {quality, subsampling, interval, {}, JpegBy::kPlane});
            expectReadsRight(file, interval == 0);
            if (interval == 0) expectPlanesReadRight(file);
            if (interval == 0) expectWritesRight(file, picture);
            if (HasFailure()) return;
          }
    }
}

TEST(JpegPlanes, WeReadFilesOfLibjpeg) {
  for (const auto [width, height] : kOddSizes)
    for (const int32_t channels : {1, 3})
      for (const auto& factors : kFactors)
        for (const int32_t quality : {10, 75, 100})
          for (const bool oneScan : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << width << " x " << height << " x " << channels << ", luma " << factors[0][0] << " x "
                         << factors[0][1] << ", quality " << quality << ", one scan " << oneScan);
            expectPlanesReadRight(
                peerWrite(sample::paintPicture(width, height, channels),
                          {.quality = quality, .factors = factors, .restartInterval = 3, .oneScan = oneScan}));
            if (HasFailure()) return;
          }
}

// What the library has no form for is replicated.
TEST(JpegPlanes, UnusualSamplingFactors) {
  using Factors = std::array<std::array<int32_t, 2>, 3>;
  const Factors unusual[]{{{{1, 2}, {1, 1}, {1, 1}}}, {{{4, 1}, {1, 1}, {1, 1}}}, {{{2, 2}, {2, 1}, {1, 2}}},
                          {{{1, 1}, {2, 2}, {1, 1}}}, {{{2, 2}, {2, 2}, {2, 2}}}, {{{3, 1}, {1, 1}, {1, 1}}}};
  for (const Factors& factors : unusual) {
    const Bytes file = peerWrite(sample::paintPicture(33, 17), {.factors = factors, .oneScan = false});
    const auto exact = exactPixels(sample::readCoefficients(file), Clamp::kSamples);
    EXPECT_LE(largestDeviation(sample::readJpeg(file, {.by = JpegBy::kPlane}), exact), kPlaneBound);
  }
}

// One function against one function: libjpeg's samples before and after its "fancy" upsampling.
TEST(JpegPlanes, TrianglesAreThoseOfLibjpeg) {
  int32_t planesCompared = 0;
  for (const Size size : {Size{5, 1}, Size{5, 5}, Size{6, 2}, Size{7, 9}, Size{64, 48}, Size{131, 77}, Size{200, 3}})
    for (const int32_t quality : {20, 95})
      for (const bool tall : {false, true}) {
        const Bytes file = peerWrite(sample::paintPicture(size.width, size.height),
                                     {.quality = quality, .factors = kFactors[tall ? 2 : 1]});
        const std::vector<Picture> before = peerReadPlanes(file);
        const Picture after = peerRead(file, {.fancyUpsampling = true, .yCbCr = true});
        for (size_t i = 1; i < 3; ++i, ++planesCompared) {
          const int32_t width = (size.width + 1) / 2, height = tall ? (size.height + 1) / 2 : size.height;
          const Picture full = upsampled(before[i], width, height, tall);
          for (int32_t y = 0; y < size.height; ++y)
            for (int32_t x = 0; x < size.width; ++x)
              ASSERT_EQ(full.row(y)[x], after.row(y)[3 * x + static_cast<int32_t>(i)])
                  << size.width << " x " << size.height << ", tall " << tall << ", component " << i << " at " << x
                  << ", " << y;
        }
      }
  EXPECT_EQ(planesCompared, 56);
}

// A column has no neighbour to be weighted with.
TEST(JpegPlanes, TrianglesOfOneColumnReplicate) {
  Picture plane(8, 8, 1);
  for (size_t i = 0; i < 64; ++i) plane.pixels[i] = static_cast<uint8_t>(3 * i);
  const Picture full = upsampled(plane, 1, 3, true);
  for (int32_t y = 0; y < 6; ++y)
    for (int32_t x = 0; x < 2; ++x) EXPECT_EQ(full.row(y)[x], plane.row(y / 2)[0]);
}

// Triangles are why chroma is stored at half the size without being missed.
TEST(JpegPlanes, TrianglesComeCloserToThePicture) {
  for (const auto& path : sample::photographs()) {
    const Picture photograph = sample::readPicture(path);
    const Bytes file = sample::writeJpeg(photograph, {.quality = 95});
    EXPECT_GT(psnr(sample::readJpeg(file, {.upsampling = Upsampling::kTriangle}), photograph),
              psnr(sample::readJpeg(file), photograph))
        << path;
  }
}

TEST(JpegPlanes, ReducedSizesAreMeans) {
  double grey = 0, colour = 0;
  for (const auto [width, height] : kOddSizes)
    for (const JpegColour stored :
         {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb, JpegColour::kCmyk, JpegColour::kYcck})
      for (const Subsampling subsampling : {Subsampling::k444, Subsampling::k420})
        for (const int32_t quality : {10, 75, 100})
          for (const int32_t scale : {2, 4, 8}) {
            const Bytes file = sample::writeJpeg(sample::paintPicture(width, height),
                                                 {quality, subsampling, 2, stored, JpegBy::kPlane});
            const Picture reduced = sample::readJpeg(file, {.scale = scale});
            ASSERT_EQ(reduced.width, (width + scale - 1) / scale);
            ASSERT_EQ(reduced.height, (height + scale - 1) / scale);
            double& largest = stored == JpegColour::kYCbCr || stored == JpegColour::kYcck ? colour : grey;
            largest = std::max(largest, largestDeviation(reduced, exactPixels(sample::readCoefficients(file),
                                                                              Clamp::kSamples, scale)));
          }
  EXPECT_LE(grey, kReducedGreyBound);
  EXPECT_LE(colour, kReducedColourBound);
}

TEST(JpegPlanes, ScansApartGiveTheSamePixels) {
  const Picture picture = sample::paintPicture(131, 77);
  for (const auto& factors : kFactors)
    for (const Upsampling upsampling : {Upsampling::kReplicate, Upsampling::kTriangle})
      for (const int32_t scale : {1, 2, 8}) {
        const sample::JpegReadOptions options{JpegBy::kPlane, upsampling, scale};
        EXPECT_EQ(sample::readJpeg(peerWrite(picture, {.factors = factors}), options),
                  sample::readJpeg(peerWrite(picture, {.factors = factors, .oneScan = false}), options));
      }
}

// Black and white stay so, at every size and by every way.
TEST(JpegPlanes, ExtremesStay) {
  for (const uint8_t value : {0, 255})
    for (const JpegColour colour :
         {JpegColour::kGrey, JpegColour::kYCbCr, JpegColour::kRgb, JpegColour::kCmyk, JpegColour::kYcck}) {
      Picture flat(19, 21, sample::channelsOf(colour));
      std::ranges::fill(flat.pixels, value);
      for (const JpegBy by : {JpegBy::kMcu, JpegBy::kPlane})
        for (const int32_t scale : {1, 2, 4, 8}) {
          const Bytes file = sample::writeJpeg(flat, {.quality = 100, .colour = colour, .by = by});
          const Picture back = sample::readJpeg(file, {.by = by, .scale = scale});
          EXPECT_TRUE(std::ranges::all_of(back.pixels, [&](uint8_t v) { return v == value; })) << int(colour);
        }
    }
}

TEST(JpegPlanes, OtherSizesAreRefused) {
  const Bytes file = sample::writeJpeg(sample::paintPicture(8, 8));
  for (const int32_t scale : {-1, 0, 3, 16}) EXPECT_THROW(sample::readJpeg(file, {.scale = scale}), sample::JpegError);
}

}  // namespace
}  // namespace test
