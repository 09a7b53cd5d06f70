// RGB planes and pixels to YCbCr and Y planes (JFIF 1.02): against the scalar model, against the formula, and by hand.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "jpeg/colour_check.h"
#include "qlmjp/jpeg.h"

using test::Bytes;
using test::checkEveryColour;
using test::checkShapes;
using test::joined;
using test::repeated;

TEST(Model, qlmiRGBToYCbCr_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C3P3R)); }
TEST(Model, qlmiBGRToYCbCr_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr_JPEG_8u_C3P3R)); }
TEST(Model, qlmiRGBToYCbCr_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C4P3R)); }
TEST(Model, qlmiBGRToYCbCr_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr_JPEG_8u_C4P3R)); }
TEST(Model, qlmiRGBToYCbCr_JPEG_8u_P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_P3R)); }
TEST(Model, qlmiRGBToY_JPEG_8u_C3C1R) { checkShapes(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_C3C1R)); }
TEST(Model, qlmiBGRToY_JPEG_8u_C3C1R) { checkShapes(COLOUR_EXPORT(qlmiBGRToY_JPEG_8u_C3C1R)); }
TEST(Model, qlmiRGBToY_JPEG_8u_P3C1R) { checkShapes(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_P3C1R)); }
TEST(Model, qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R)); }
TEST(Model, qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R)); }
TEST(Model, qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R)); }
TEST(Model, qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R)); }
TEST(Model, qlmiRGBToYCbCr422_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C3P3R)); }
TEST(Model, qlmiRGBToYCbCr422_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C4P3R)); }
TEST(Model, qlmiBGRToYCbCr422_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr422_JPEG_8u_C3P3R)); }
TEST(Model, qlmiBGRToYCbCr422_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr422_JPEG_8u_C4P3R)); }
TEST(Model, qlmiRGBToYCbCr411_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr411_JPEG_8u_C3P3R)); }
TEST(Model, qlmiRGBToYCbCr411_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiRGBToYCbCr411_JPEG_8u_C4P3R)); }
TEST(Model, qlmiBGRToYCbCr411_JPEG_8u_C3P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C3P3R)); }
TEST(Model, qlmiBGRToYCbCr411_JPEG_8u_C4P3R) { checkShapes(COLOUR_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C4P3R)); }

// Every fixed-point form over every colour, once for each way in which pixels come. In rows of 2048 full vectors take
// all columns, in the short ones none. The figures are the largest distances of Y, Cb, Cr from the real-valued formula.
TEST(EveryColour, qlmiRGBToYCbCr_JPEG_8u_C3P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C3P3R), 2048, {0.5030, 0.5000, 0.5029});
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C3P3R), 7, {0.5060, 0.5040, 0.5029});
}

TEST(EveryColour, qlmiRGBToYCbCr_JPEG_8u_C4P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C4P3R), 2048, {0.5340, 0.5593, 0.5635});
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C4P3R), 7, {0.5060, 0.7528, 0.7504});
}

TEST(EveryColour, qlmiRGBToYCbCr_JPEG_8u_P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_P3R), 2048, {0.5010, 0.7827, 0.8545});
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_P3R), 3, {0.5010, 0.5000, 0.5000});
}

TEST(EveryColour, qlmiBGRToY_JPEG_8u_C3C1R) {
  checkEveryColour(COLOUR_EXPORT(qlmiBGRToY_JPEG_8u_C3C1R), 2048, {0.5030, 0, 0});
}

TEST(EveryColour, qlmiRGBToY_JPEG_8u_P3C1R) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_P3C1R), 2048, {0.5000, 0, 0});
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_P3C1R), 3, {0.5010, 0, 0});
}

TEST(EveryColour, sixteenBitPixels) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R), 2048, {0.5040, 0.4989, 0.4950});
  checkEveryColour(COLOUR_EXPORT(qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R), 2048, {0.5040, 0.4989, 0.4950});
  checkEveryColour(COLOUR_EXPORT(qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R), 2048, {0.5040, 0.4989, 0.4950});
  checkEveryColour(COLOUR_EXPORT(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R), 2048, {0.5040, 0.4989, 0.4950});
}

TEST(EveryColour, qlmiRGBToYCbCr422_JPEG_8u_C3P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C3P3R), 2048, {0.5340, 0.5593, 0.5635});
  checkEveryColour(COLOUR_EXPORT(qlmiRGBToYCbCr422_JPEG_8u_C3P3R), 6, {0.5060, 0.5034, 0.5029});
}

TEST(EveryColour, qlmiBGRToYCbCr411_JPEG_8u_C4P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C4P3R), 2048, {0.5340, 0.5593, 0.5635});
  checkEveryColour(COLOUR_EXPORT(qlmiBGRToYCbCr411_JPEG_8u_C4P3R), 6, {0.5060, 0.5034, 0.5029});
}

namespace {

// Three planes of `bytes` bytes, all 99 to begin with.
struct ThreePlanes {
  explicit ThreePlanes(size_t bytes) : y(bytes, 99), cb(bytes, 99), cr(bytes, 99) {}
  Bytes y, cb, cr;
  std::array<uint8_t*, 3> pointers() { return {y.data(), cb.data(), cr.data()}; }
};

// `body` columns of one value, then `tail` columns of another.
Bytes columns(size_t body, uint8_t first, size_t tail, uint8_t second) {
  return joined(Bytes(body, first), Bytes(tail, second));
}

}  // namespace

TEST(ColourForward, sevenPixelsTakeTheRemainderAndEightTheVector) {
  for (const int width : {7, 8, 15}) {
    const auto n = static_cast<size_t>(width), body = n / 8 * 8;
    const Bytes row = repeated({191, 28, 70}, n);
    ThreePlanes out(n);
    ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C3P3R(row.data(), 3 * width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.y, Bytes(n, 82));
    EXPECT_EQ(out.cb, columns(body, 121, n - body, 122)) << width;
    EXPECT_EQ(out.cr, Bytes(n, 206));
  }
}

TEST(ColourForward, fourBytePixelsChangeFormBehindTheLastEight) {
  for (const int width : {7, 8, 23}) {
    const auto n = static_cast<size_t>(width), body = n / 8 * 8;
    const Bytes row = repeated({33, 227, 135, 201}, n);
    ThreePlanes out(n);
    ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C4P3R(row.data(), 4 * width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.y, columns(body, 158, n - body, 159)) << width;
    EXPECT_EQ(out.cb, columns(body, 115, n - body, 114)) << width;
    EXPECT_EQ(out.cr, columns(body, 39, n - body, 38)) << width;
  }
}

TEST(ColourForward, planesChangeFormBehindTheLastFour) {
  for (const int width : {3, 4, 7}) {
    const auto n = static_cast<size_t>(width), body = n / 4 * 4;
    const Bytes r(n, 14), g(n, 254), b(n, 28);
    const uint8_t* const src[] = {r.data(), g.data(), b.data()};
    ThreePlanes out(n);
    ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_P3R(src, width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.y, Bytes(n, 156));
    EXPECT_EQ(out.cb, columns(body, 56, n - body, 55)) << width;
    EXPECT_EQ(out.cr, columns(body, 27, n - body, 26)) << width;
  }
}

TEST(ColourForward, lumaOfPlanesChangesFormBehindTheLastFour) {
  for (const int width : {3, 4, 7}) {
    const auto n = static_cast<size_t>(width), body = n / 4 * 4;
    const Bytes r(n, 0), g(n, 70), b(n, 65);
    const uint8_t* const src[] = {r.data(), g.data(), b.data()};
    Bytes y(n);
    ASSERT_EQ(qlmiRGBToY_JPEG_8u_P3C1R(src, width, y.data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(y, columns(body, 48, n - body, 49)) << width;
  }
}

// 15 columns: 8 by vectors, 6 by the remainder, the last one left out.
TEST(ColourForward, subsampledRowsChangeFormBehindTheLastEightOfTheEvenWidth) {
  ThreePlanes out(30);
  const int32_t steps[] = {15, 8, 7};
  const Bytes row422 = repeated({120, 111, 13}, 15);
  ASSERT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(row422.data(), 45, out.pointers().data(), steps, {15, 1}), qlmWarnOddSize);
  EXPECT_EQ(out.y, joined(columns(8, 102, 6, 103), Bytes(16, 99)));
  EXPECT_EQ(out.cb, joined(columns(4, 78, 3, 77), Bytes(23, 99)));
  EXPECT_EQ(out.cr, joined(columns(4, 141, 3, 140), Bytes(23, 99)));

  out = ThreePlanes(30);
  const Bytes rows411 = repeated({80, 12, 252, 0}, 30);
  ASSERT_EQ(qlmiBGRToYCbCr411_JPEG_8u_C4P3R(rows411.data(), 60, out.pointers().data(), steps, {15, 2}), qlmWarnOddSize);
  const Bytes lumaRow = joined(columns(8, 91, 6, 92), {99});
  EXPECT_EQ(out.y, joined(lumaRow, lumaRow));
  EXPECT_EQ(out.cb, joined(columns(4, 122, 3, 121), Bytes(23, 99)));
  EXPECT_EQ(out.cr, joined(columns(4, 243, 3, 242), Bytes(23, 99)));
}

TEST(ColourForward, chromaComesFromTheSumOfItsPixels) {
  ThreePlanes out(4);
  const int32_t steps[] = {2, 1, 1};
  const Bytes redBlue{255, 0, 0, 0, 0, 255};
  ASSERT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(redBlue.data(), 6, out.pointers().data(), steps, {2, 1}), qlmOk);
  EXPECT_EQ(out.y, (Bytes{76, 29, 99, 99}));
  EXPECT_EQ(out.cb, (Bytes{170, 99, 99, 99}));
  EXPECT_EQ(out.cr, (Bytes{181, 99, 99, 99}));
  const Bytes redBlueWhiteBlack{255, 0, 0, 0, 0, 255, 255, 255, 255, 0, 0, 0};
  ASSERT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(redBlueWhiteBlack.data(), 6, out.pointers().data(), steps, {2, 2}), qlmOk);
  EXPECT_EQ(out.y, (Bytes{76, 29, 255, 0}));
  EXPECT_EQ(out.cb, (Bytes{149, 99, 99, 99}));
  EXPECT_EQ(out.cr, (Bytes{155, 99, 99, 99}));
}

TEST(ColourForward, blackAndWhiteAreExactInBothForms) {
  for (const uint8_t grey : {uint8_t{0}, uint8_t{255}}) {
    for (const int width : {7, 8}) {
      const auto n = static_cast<size_t>(width);
      const Bytes row(3 * n, grey);
      ThreePlanes out(n);
      ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C3P3R(row.data(), 3 * width, out.pointers().data(), width, {width, 1}), qlmOk);
      EXPECT_EQ(out.y, Bytes(n, grey));
      EXPECT_EQ(out.cb, Bytes(n, 128));
      EXPECT_EQ(out.cr, Bytes(n, 128));
    }
  }
}

// Their sums round to 256, which no byte holds.
TEST(ColourForward, fullBlueAndFullRedSaturate) {
  for (const int width : {2, 8}) {
    const auto n = static_cast<size_t>(width);
    const int32_t steps[] = {width, width, width};
    const Bytes blue = repeated({0, 0, 255, 0}, 2 * n), red = repeated({255, 0, 0, 0}, 2 * n);
    ThreePlanes out(2 * n);
    ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C4P3R(blue.data(), 4 * width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.cb[0], 255);
    EXPECT_EQ(out.cr[0], 107);
    ASSERT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C4P3R(blue.data(), 4 * width, out.pointers().data(), steps, {width, 1}), qlmOk);
    EXPECT_EQ(out.cb[0], 255);
    ASSERT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C4P3R(red.data(), 4 * width, out.pointers().data(), steps, {width, 2}), qlmOk);
    EXPECT_EQ(out.cr[0], 255);
    EXPECT_EQ(out.cb[0], 85);
  }
}

TEST(ColourForward, sixteenBitPixelsExpandByShiftsAlone) {
  struct Case {
    QlmStatus (*convert)(const uint16_t*, int32_t, uint8_t* const*, int32_t, QlmSize);
    uint16_t pixel;
    uint8_t y, cb, cr;
  };
  constexpr Case kCases[] = {
      {qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R, 0xFFFF, 248, 128, 128},  // white
      {qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 0x7FFF, 248, 128, 128},
      {qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 0x8000, 0, 128, 128},   // the unused bit
      {qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 0x7C00, 74, 86, 252},   // red 248
      {qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 0x03E0, 146, 46, 24},   // green 248
      {qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 0x001F, 28, 252, 108},  // blue 248
      {qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R, 0x001F, 74, 86, 252},
      {qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R, 0x7C00, 28, 252, 108},
      {qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R, 0xF800, 74, 86, 252},
      {qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R, 0x07E0, 148, 45, 22},  // green 252
      {qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R, 0x001F, 28, 252, 108},
      {qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R, 0x001F, 74, 86, 252},
      {qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R, 0xF800, 28, 252, 108},
  };
  for (const Case& c : kCases) {
    for (const int width : {1, 8, 19}) {
      const auto n = static_cast<size_t>(width);
      const std::vector<uint16_t> row(n, c.pixel);
      ThreePlanes out(n);
      ASSERT_EQ(c.convert(row.data(), 2 * width, out.pointers().data(), width, {width, 1}), qlmOk);
      EXPECT_EQ(out.y, Bytes(n, c.y)) << c.pixel;
      EXPECT_EQ(out.cb, Bytes(n, c.cb)) << c.pixel;
      EXPECT_EQ(out.cr, Bytes(n, c.cr)) << c.pixel;
    }
  }
}

TEST(ColourForward, oddSizesLeaveTheLastColumnAndRow) {
  const Bytes white(3 * 5 * 3, 255);
  const int32_t steps[] = {5, 2, 2};
  ThreePlanes out(15);
  const auto dst = out.pointers();
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {5, 3}), qlmWarnOddSize);
  const Bytes row{255, 255, 255, 255, 99};
  EXPECT_EQ(out.y, joined(joined(row, row), Bytes(5, 99)));
  EXPECT_EQ(out.cb, joined({128, 128}, Bytes(13, 99)));
  EXPECT_EQ(out.cr, joined({128, 128}, Bytes(13, 99)));
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {3, 2}), qlmWarnOddSize);
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {4, 3}), qlmWarnOddSize);
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {4, 2}), qlmOk);
  EXPECT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {5, 2}), qlmWarnOddSize);
  EXPECT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {4, 3}), qlmOk);
  EXPECT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(white.data(), 15, dst.data(), steps, {4, 1}), qlmOk);
}

TEST(ColourForward, subsampledSizesBelowOneSampleAreRefused) {
  const Bytes white(4 * 4 * 4, 255);
  const int32_t steps[] = {4, 2, 2};
  ThreePlanes out(16);
  const auto dst = out.pointers();
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C3P3R(white.data(), 12, dst.data(), steps, {1, 4}), qlmErrSize);
  EXPECT_EQ(qlmiRGBToYCbCr411_JPEG_8u_C4P3R(white.data(), 12, dst.data(), steps, {4, 1}), qlmErrSize);
  EXPECT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C3P3R(white.data(), 12, dst.data(), steps, {1, 4}), qlmErrSize);
  EXPECT_EQ(qlmiRGBToYCbCr422_JPEG_8u_C4P3R(white.data(), 12, dst.data(), steps, {4, 0}), qlmErrSize);
  EXPECT_EQ(out.y, Bytes(16, 99));
  EXPECT_EQ(out.cb, Bytes(16, 99));
}

TEST(ColourForward, untestedZeroStepPutsAllRowsOnOne) {
  const Bytes rows = joined(repeated({255, 255, 255, 0}, 9), repeated({0, 0, 255, 0}, 9));
  ThreePlanes out(18);
  ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C4P3R(rows.data(), 36, out.pointers().data(), 0, {9, 2}), qlmOk);
  EXPECT_EQ(out.y, joined(Bytes(9, 29), Bytes(9, 99)));
  EXPECT_EQ(out.cb, joined(Bytes(9, 255), Bytes(9, 99)));
  ASSERT_EQ(qlmiRGBToYCbCr_JPEG_8u_C4P3R(rows.data(), 0, out.pointers().data(), 9, {9, 2}), qlmOk);
  EXPECT_EQ(out.y, Bytes(18, 255));
  EXPECT_EQ(out.cr, Bytes(18, 128));
}

TEST(ColourForward, testedStepsMustBePositive) {
  const Bytes row(64, 7);
  const std::vector<uint16_t> row16(16, 7);
  ThreePlanes out(16);
  const auto dst = out.pointers();
  const uint8_t* const src[] = {row.data(), row.data(), row.data()};
  for (const int32_t bad : {0, -1, INT32_MIN}) {
    EXPECT_EQ(qlmiRGBToYCbCr_JPEG_8u_C3P3R(row.data(), bad, dst.data(), 8, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiBGRToYCbCr_JPEG_8u_C3P3R(row.data(), 24, dst.data(), bad, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiRGBToYCbCr_JPEG_8u_P3R(src, bad, dst.data(), 8, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiRGBToY_JPEG_8u_C3C1R(row.data(), 24, out.y.data(), bad, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiRGBToY_JPEG_8u_P3C1R(src, bad, out.y.data(), 8, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R(row16.data(), bad, dst.data(), 8, {8, 1}), qlmErrStep);
  }
  EXPECT_EQ(out.y, Bytes(16, 99));
}
