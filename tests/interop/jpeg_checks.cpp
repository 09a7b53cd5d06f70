#include "interop/jpeg_checks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace test {

// The peer leaves the padding to whole MCUs out.
void expectSameCoefficients(const sample::JpegCoefficients& ours, const sample::JpegCoefficients& peer) {
  ASSERT_EQ(ours.frame.width, peer.frame.width);
  ASSERT_EQ(ours.frame.height, peer.frame.height);
  ASSERT_EQ(ours.restartInterval, peer.restartInterval);
  ASSERT_EQ(ours.planes.size(), peer.planes.size());
  for (size_t i = 0; i < peer.planes.size(); ++i) {
    ASSERT_EQ(ours.quant[i], peer.quant[i]) << "component " << i;
    ASSERT_EQ(ours.frame.components[i].h, peer.frame.components[i].h);
    ASSERT_EQ(ours.frame.components[i].v, peer.frame.components[i].v);
    const sample::BlockPlane &a = ours.planes[i], &b = peer.planes[i];
    ASSERT_GE(a.blocksWide, b.blocksWide);
    ASSERT_GE(a.blocksHigh, b.blocksHigh);
    for (int32_t row = 0; row < b.blocksHigh; ++row)
      ASSERT_TRUE(std::equal(b.block(row, 0), b.block(row, b.blocksWide), a.block(row, 0)))
          << "component " << i << ", row of blocks " << row;
  }
}

double largestDeviation(const sample::Picture& picture, const std::vector<double>& exact) {
  EXPECT_EQ(picture.pixels.size(), exact.size());
  double largest = 0;
  for (size_t i = 0; i < exact.size(); ++i) largest = std::max(largest, std::abs(picture.pixels[i] - exact[i]));
  return largest;
}

int32_t largestDifference(const sample::Picture& a, const sample::Picture& b) {
  EXPECT_EQ(a.width, b.width);
  EXPECT_EQ(a.pixels.size(), b.pixels.size());
  if (a.pixels.size() != b.pixels.size()) return 255;
  int32_t largest = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) largest = std::max(largest, std::abs(a.pixels[i] - b.pixels[i]));
  return largest;
}

void expectReadsRight(const Bytes& file, bool pixels) {
  const sample::JpegCoefficients ours = sample::readCoefficients(file);
  expectSameCoefficients(ours, peerReadCoefficients(file));
  if (!pixels) return;
  const sample::Picture picture = sample::readJpeg(file);
  EXPECT_LE(largestDeviation(picture, exactPixels(ours)), picture.channels == 1 ? kGreyBound : kColourBound);
}

void expectPlanesReadRight(const Bytes& file) {
  using sample::JpegBy, sample::Upsampling;
  const sample::JpegCoefficients ours = sample::readCoefficients(file);
  const sample::Picture whole = sample::readJpeg(file, {.by = JpegBy::kPlane});
  const bool grey = whole.channels == 1;
  const auto& luma = ours.frame.components[0];
  EXPECT_LE(largestDeviation(whole, exactPixels(ours, Clamp::kSamples)), grey ? kGreyBound : kPlaneBound);
  for (const Upsampling upsampling : {Upsampling::kReplicate, Upsampling::kTriangle})
    for (const int32_t scale : {1, 2, 4, 8}) {
      SCOPED_TRACE(testing::Message() << "upsampling " << int(upsampling) << ", 1/" << scale);
      const bool fancy = upsampling == Upsampling::kTriangle;
      // libjpeg replicates chroma of one and two columns, and where a block is one sample.
      if (fancy && luma.h == 2 && (ours.frame.width <= 4 * scale || scale == 8)) continue;
      const sample::Picture picture = sample::readJpeg(file, {JpegBy::kPlane, upsampling, scale});
      const sample::Picture peer = peerRead(file, {.fancyUpsampling = fancy, .scale = scale});
      EXPECT_LE(largestDifference(picture, peer), grey ? kPeerGreyBound : kPeerColourBound);
    }
}

void expectWritesRight(const Bytes& file, const sample::Picture& picture) {
  const sample::JpegCoefficients ours = sample::readCoefficients(file);
  const auto exact = exactTransform(picture, ours.frame, ours.colour);
  constexpr int kNatural[]{0, 1, 8, 16,
                           9, 2, 3, 10};  // the first zig-zag positions are enough to find their quantisers
  for (size_t i = 0; i < exact.size(); ++i) {
    double beyond = 0;
    const auto& values = ours.planes[i].values;
    ASSERT_EQ(values.size(), exact[i].size());
    for (size_t b = 0; b < values.size(); b += 64)
      for (size_t k = 0; k < std::size(kNatural); ++k) {
        const size_t at = b + static_cast<size_t>(kNatural[k]);
        const double q = ours.quant[i][k];
        beyond = std::max(beyond, std::abs(values[at] * q - exact[i][at]) - q / 2);
      }
    EXPECT_LE(beyond, kForwardBound) << "component " << i;
  }
}

size_t findMarker(const Bytes& file, uint8_t marker) {
  for (size_t i = 2; i + 1 < file.size();) {
    if (file[i + 1] == marker) return i;
    i += 2 + static_cast<size_t>(file[i + 2] << 8 | file[i + 3]);
  }
  throw std::logic_error("no such marker");
}

}  // namespace test
