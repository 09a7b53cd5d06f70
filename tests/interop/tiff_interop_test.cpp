// The sample TIFF codec against libtiff, both ways, and on files that are not whole.
#include <gtest/gtest.h>

#include "support/random.h"
#include "tiff/libtiff_peer.h"

namespace {

using sample::Picture16;
using sample::TiffLayout;

// A painted picture; 16-bit samples get a low byte of their own.
Picture16 pictureOf(int32_t width, int32_t height, int32_t channels, int32_t bits) {
  Picture16 picture = sample::toBits(sample::paintPicture(width, height, channels), 8);
  test::Random random(static_cast<uint64_t>(width * height));
  if (bits == 16)
    for (uint16_t& v : picture.samples) v = static_cast<uint16_t>(v << 8 | random.between(0, 15));
  picture.bits = bits;
  return picture;
}

template <typename Check>
void forAllShapes(const Check& check) {
  for (const auto& [width, height] : {std::pair{1, 1}, {7, 9}, {128, 64}, {129, 65}, {301, 200}})
    for (const int32_t channels : {1, 3})
      for (const int32_t bits : {8, 16}) {
        SCOPED_TRACE(testing::Message() << width << 'x' << height << 'x' << channels << ", " << bits << " bits");
        check(pictureOf(width, height, channels, bits));
      }
}

}  // namespace

TEST(TiffInterop, LibtiffReadsOurFiles) {
  forAllShapes([](const Picture16& picture) {
    const auto file = sample::writeTiff(picture);
    EXPECT_EQ(sample::peerReadTiff(file), picture);
    EXPECT_EQ(sample::readTiff(file), picture);
  });
}

TEST(TiffInterop, WeReadFilesOfLibtiff) {
  forAllShapes([](const Picture16& picture) {
    for (const int32_t rowsPerStrip : {1, 7, 64, 1000})
      EXPECT_EQ(sample::readTiff(sample::peerWriteTiff(picture, rowsPerStrip)), picture);
  });
}

TEST(TiffInterop, BytePlanesBothWaysAndSmaller) {
  const Picture16 picture = pictureOf(301, 200, 1, 16);
  const auto file = sample::writeTiff(picture, TiffLayout::BytePlanes);
  EXPECT_EQ(sample::peerReadTiff(file), picture);
  EXPECT_EQ(sample::readTiff(file), picture);
  EXPECT_LT(file.size(), sample::writeTiff(picture).size());
}

TEST(TiffInterop, DamagedFilesGiveAnErrorOrAPicture) {
  const auto whole = sample::writeTiff(pictureOf(40, 70, 3, 8));
  int errors = 0;
  for (size_t length = 0; length < whole.size(); ++length) {
    const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_THROW(sample::readTiff(cut), sample::TiffError) << length;
  }
  test::Random random(5);
  for (int i = 0; i < 10000; ++i) {
    auto damaged = whole;
    for (int n = 0; n < 4; ++n)
      damaged[size_t(random.between(0, int64_t(whole.size()) - 1))] ^= static_cast<uint8_t>(1 << random.between(0, 7));
    try {
      sample::readTiff(damaged);
    } catch (const sample::TiffError&) {
      ++errors;
    }
  }
  EXPECT_GT(errors, 0);
}
