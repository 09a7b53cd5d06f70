// PackBits strips against libtiff, both ways: what it packs unpacks here to the same rows, and the other way round.
#include <gtest/gtest.h>

#include "qlmjp.h"
#include "support/random.h"
#include "tiff/libtiff_peer.h"

namespace {

using sample::Picture;

Picture noise(int32_t width, int32_t height, int64_t letters, int64_t longestRun) {
  Picture picture(width, height, 1);
  test::Random random(static_cast<uint64_t>(letters * 1000 + longestRun));
  for (size_t i = 0; i < picture.pixels.size();) {
    const auto value = static_cast<uint8_t>(random.between(0, letters - 1));
    for (int64_t run = random.between(1, longestRun); run > 0 && i < picture.pixels.size(); --run)
      picture.pixels[i++] = value;
  }
  return picture;
}

// A drawing: the painted picture in a few flat steps.
Picture drawing(int32_t width, int32_t height) {
  Picture picture = sample::paintPicture(width, height, 1);
  for (uint8_t& v : picture.pixels) v = static_cast<uint8_t>(v / 64 * 85);
  return picture;
}

std::vector<Picture> pictures() {
  std::vector<Picture> all;
  for (const int32_t width : {1, 2, 3, 127, 128, 129, 130, 257, 1000}) {
    all.push_back(sample::paintPicture(width, 40, 1));
    all.push_back(drawing(width, 40));
    for (const int64_t letters : {2, 4, 256})
      for (const int64_t longestRun : {1, 3, 200}) all.push_back(noise(width, 40, letters, longestRun));
  }
  for (const auto& file : sample::photographs()) all.push_back(sample::toGrey(sample::readPicture(file)));
  return all;
}

TEST(PackBitsInterop, LibtiffReadsWhatWePack) {
  for (const Picture& picture : pictures()) {
    std::vector<uint8_t> strip(2 * picture.pixels.size() + 16);
    int32_t end = 0;
    for (int32_t y = 0; y < picture.height; ++y)
      ASSERT_EQ(qlmiPackBitsRow_TIFF_8u_C1(picture.row(y), picture.width, strip.data(), &end,
                                           static_cast<int32_t>(strip.size()) - end),
                qlmOk);
    strip.resize(static_cast<size_t>(end));
    EXPECT_EQ(sample::tiffRead(sample::tiffWritePacked(picture.width, picture.height, strip)), picture)
        << picture.width << " x " << picture.height;
  }
}

TEST(PackBitsInterop, WeReadWhatLibtiffPacks) {
  for (const Picture& picture : pictures()) {
    const std::vector<uint8_t> strip = sample::tiffReadPacked(sample::tiffWrite(picture));
    const auto length = static_cast<int32_t>(strip.size());
    Picture read(picture.width, picture.height, 1);
    int32_t position = 0;
    for (int32_t y = 0; y < picture.height; ++y)
      ASSERT_EQ(qlmiUnpackBitsRow_TIFF_8u_C1(strip.data(), &position, length, read.row(y), picture.width), qlmOk)
          << picture.width << " x " << picture.height << " row " << y;
    EXPECT_EQ(position, length);
    EXPECT_EQ(read, picture);
  }
}

}  // namespace
