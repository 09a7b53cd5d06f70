// The row forms that enlarge are libjpeg's triangle filter, edges included: its planes, enlarged here, are its picture.
#include <gtest/gtest.h>

#include "interop/libjpeg_peer.h"
#include "qlmjp.h"
#include "support/random.h"

namespace {

using sample::Picture;

// Noise at a quality that keeps it noise, or a painted picture.
Picture sourceOf(int32_t width, int32_t height, bool noise) {
  if (!noise) return sample::paintPicture(width, height);
  Picture picture(width, height, 3);
  test::Random(static_cast<uint64_t>(width * 1000 + height)).fill(std::span(picture.pixels));
  return picture;
}

Picture enlarge(const Picture& plane, int32_t down) {
  Picture out(2 * plane.width, down * plane.height, 1);
  for (int32_t y = 0; y < out.height; ++y) {
    if (down == 1) {
      EXPECT_EQ(qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(plane.row(y), plane.width, out.row(y)), qlmOk);
      continue;
    }
    const int32_t near = y / 2, far = std::clamp(y % 2 ? near + 1 : near - 1, 0, plane.height - 1);
    EXPECT_EQ(qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(plane.row(near), plane.row(far), plane.width, out.row(y)), qlmOk);
  }
  return out;
}

// The same by the plane forms, with a frame of copies of the edge samples.
Picture enlargeFramed(const Picture& plane, int32_t down) {
  Picture framed(plane.width + 2, plane.height + 2, 1), out(2 * plane.width, down * plane.height, 1);
  for (int32_t y = 0; y < framed.height; ++y)
    for (int32_t x = 0; x < framed.width; ++x)
      framed.row(y)[x] = plane.row(std::clamp(y - 1, 0, plane.height - 1))[std::clamp(x - 1, 0, plane.width - 1)];
  const auto function = down == 1 ? qlmiSampleUpH2V1_JPEG_8u_C1R : qlmiSampleUpH2V2_JPEG_8u_C1R;
  EXPECT_EQ(function(framed.row(1) + 1, framed.step(), {plane.width, plane.height}, out.row(0), out.step(),
                     {out.width, out.height}),
            qlmOk);
  return out;
}

void expectLibjpegsPicture(int32_t down) {
  for (const auto& [width, height] :
       {std::pair{640, 480}, {641, 481}, {66, 34}, {67, 35}, {8, 2}, {7, 3}, {16, 16}, {33, 1}, {1000, 24}}) {
    for (const bool noise : {false, true}) {
      test::PeerOptions options;
      options.quality = noise ? 100 : 85;
      options.factors[0] = {2, down};
      const auto file = test::peerWrite(sourceOf(width, height, noise), options);
      std::vector<Picture> planes = test::peerReadPlanes(file);
      for (Picture& plane : planes)  // without the padding to whole MCUs
        plane = sample::crop(plane, 0, 0, (width + 1) / 2, (height + down - 1) / down);
      test::PeerReadOptions unconverted;
      unconverted.yCbCr = true;
      const Picture whole = test::peerRead(file, unconverted);
      for (size_t c = 1; c < 3; ++c) {
        const Picture rows = enlarge(planes[c], down), plane = enlargeFramed(planes[c], down);
        for (int32_t y = 0; y < height; ++y)
          for (int32_t x = 0; x < width; ++x) {
            const int expected = whole.row(y)[3 * x + static_cast<int32_t>(c)];
            ASSERT_EQ(rows.row(y)[x], expected) << width << 'x' << height << " at " << x << ", " << y;
            ASSERT_EQ(plane.row(y)[x], expected) << width << 'x' << height << " at " << x << ", " << y;
          }
      }
    }
  }
}

TEST(SamplingInterop, TriangleRowsAreLibjpegs422) { expectLibjpegsPicture(1); }
TEST(SamplingInterop, TriangleRowsAreLibjpegs420) { expectLibjpegsPicture(2); }

}  // namespace
