// YCbCr planes and packed 4:2:2 rows to RGB pixels and planes (JFIF 1.02): against the scalar model, against the
// formula, and by hand.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <thread>
#include <vector>

#include "jpeg/colour_check.h"
#include "qlmjp/jpeg.h"

using test::Bytes;
using test::checkEveryColour;
using test::checkShapes;
using test::joined;
using test::repeated;

TEST(Model, qlmiYCbCrToRGB_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCrToBGR_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToBGR_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCrToRGB_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCrToBGR_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToBGR_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCrToRGB_JPEG_8u_P3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3R)); }
TEST(Model, qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R)); }
TEST(Model, qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R)); }
TEST(Model, qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R)); }
TEST(Model, qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R)); }
TEST(Model, qlmiYCbCr422ToRGB_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCr422ToBGR_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCr422ToRGB_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCr422ToBGR_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr422ToBGR_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCr411ToRGB_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCr411ToBGR_JPEG_8u_P3C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr411ToBGR_JPEG_8u_P3C3R)); }
TEST(Model, qlmiYCbCr411ToRGB_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr411ToRGB_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCr411ToBGR_JPEG_8u_P3C4R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr411ToBGR_JPEG_8u_P3C4R)); }
TEST(Model, qlmiYCbCr422ToRGB_JPEG_8u_C2C3R) { checkShapes(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R)); }

// Every fixed-point form over all samples, once for each way in which they come. In rows of 2048 full vectors take all
// columns, in the short ones none. The figures are the largest distances of R, G, B from the real-valued formula;
// 16-bit pixels lose their low bits besides.
TEST(EveryColour, qlmiYCbCrToRGB_JPEG_8u_P3C3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R), 2048, {0.5020, 0.5117, 0.5000});
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R), 3, {0.4980, 0.5014, 0.5000});
}

TEST(EveryColour, qlmiYCbCrToRGB_JPEG_8u_P3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3R), 2048, {0.5020, 0.5117, 0.5360});
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3R), 3, {0.4980, 0.5014, 0.5000});
}

TEST(EveryColour, qlmiYCbCrToRGB_JPEG_8u_P3C4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C4R), 2048, {0.5120, 0.6105, 0.5000});
}

TEST(EveryColour, qlmiYCbCr422ToBGR_JPEG_8u_P3C3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R), 2048, {0.5120, 0.6105, 0.5000});
}

TEST(EveryColour, qlmiYCbCr411ToRGB_JPEG_8u_P3C4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCr411ToRGB_JPEG_8u_P3C4R), 2048, {0.5120, 0.6105, 0.5000});
}

TEST(EveryColour, qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R), 2048, {7.5020, 7.4986, 7.5360});
}

TEST(EveryColour, qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R), 2048, {7.5020, 3.4986, 7.5360});
}

TEST(EveryColour, qlmiYCbCr422ToRGB_JPEG_8u_C2C3R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R), 2048, {0.5420, 1.4879, 0.8160});
  checkEveryColour(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R), 6, {0.4980, 0.5014, 0.5000});
}

namespace {

// Planes of one colour.
struct Samples {
  Samples(size_t count, uint8_t luma, uint8_t blue, uint8_t red) : y(count, luma), cb(count, blue), cr(count, red) {}
  Bytes y, cb, cr;
  std::array<const uint8_t*, 3> pointers() const { return {y.data(), cb.data(), cr.data()}; }
};

}  // namespace

TEST(ColourInverse, greyStaysGrey) {
  for (const uint8_t grey : {uint8_t{0}, uint8_t{77}, uint8_t{255}}) {
    for (const int width : {3, 4, 22}) {
      const auto n = static_cast<size_t>(width);
      const Samples in(n, grey, 128, 128);
      const auto src = in.pointers();
      Bytes out(3 * n), r(n), g(n), b(n);
      uint8_t* const planes[] = {r.data(), g.data(), b.data()};
      ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3C3R(src.data(), width, out.data(), 3 * width, {width, 1}), qlmOk);
      EXPECT_EQ(out, Bytes(3 * n, grey));
      ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3R(src.data(), width, planes, width, {width, 1}), qlmOk);
      EXPECT_EQ(joined(joined(r, g), b), Bytes(3 * n, grey));
      const int32_t steps[] = {width, width, width};
      const int even = width & ~1;
      out.assign(3 * n, 99);
      ASSERT_EQ(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R(src.data(), steps, out.data(), 3 * width, {even, 1}), qlmOk);
      EXPECT_EQ(out, joined(repeated({grey, grey, grey}, static_cast<size_t>(even)), Bytes(width % 2 * 3u, 99)));
    }
  }
}

// The packed form cuts both products of green downwards.
TEST(ColourInverse, greyOfPackedVectorsHasGreenOneLower) {
  const Bytes in = repeated({77, 128, 77, 128}, 6);
  Bytes out(36);
  ASSERT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.data(), 24, out.data(), 36, {12, 1}), qlmOk);
  EXPECT_EQ(out, joined(repeated({77, 76, 77}, 8), repeated({77, 77, 77}, 4)));
}

TEST(ColourInverse, threePixelsTakeTheTablesAndFourTheMatrix) {
  for (const int width : {3, 4, 7}) {
    const auto n = static_cast<size_t>(width), body = n / 4 * 4;
    const Samples in(n, 34, 105, 179), other(n, 113, 117, 179);
    const auto src = in.pointers(), otherSrc = other.pointers();
    Bytes out(3 * n), r(n), g(n), b(n);
    uint8_t* const planes[] = {r.data(), g.data(), b.data()};
    ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3C3R(src.data(), width, out.data(), 3 * width, {width, 1}), qlmOk);
    EXPECT_EQ(out, joined(repeated({105, 6, 0}, body), repeated({106, 5, 0}, n - body))) << width;
    ASSERT_EQ(qlmiYCbCrToBGR_JPEG_8u_P3C3R(src.data(), width, out.data(), 3 * width, {width, 1}), qlmOk);
    EXPECT_EQ(out, joined(repeated({0, 6, 105}, body), repeated({0, 5, 106}, n - body))) << width;
    ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3R(otherSrc.data(), width, planes, width, {width, 1}), qlmOk);
    EXPECT_EQ(r, joined(Bytes(body, 184), Bytes(n - body, 185))) << width;
    EXPECT_EQ(g, Bytes(n, 80));
    EXPECT_EQ(b, joined(Bytes(body, 93), Bytes(n - body, 94))) << width;
  }
}

// The matrices of pixels and of planes part in their green and blue offsets.
TEST(ColourInverse, pixelsAndPlanesHaveOffsetsOfTheirOwn) {
  const Samples in(4, 152, 95, 97);
  Bytes out(12), r(4), g(4), b(4);
  uint8_t* const planes[] = {r.data(), g.data(), b.data()};
  ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3C3R(in.pointers().data(), 4, out.data(), 12, {4, 1}), qlmOk);
  EXPECT_EQ(out, repeated({109, 186, 94}, 4));
  ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3R(in.pointers().data(), 4, planes, 4, {4, 1}), qlmOk);
  EXPECT_EQ(r, Bytes(4, 109));
  EXPECT_EQ(g, Bytes(4, 185));
  EXPECT_EQ(b, Bytes(4, 93));
}

TEST(ColourInverse, packedRowsChangeFormBehindTheLastEight) {
  const Bytes in = repeated({192, 96, 192, 92}, 7);
  Bytes out(42);
  ASSERT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.data(), 28, out.data(), 42, {14, 1}), qlmOk);
  EXPECT_EQ(out, joined(repeated({141, 228, 136}, 8), repeated({142, 229, 135}, 6)));
}

TEST(ColourInverse, packedOddWidthCompletesItsLastPair) {
  const Bytes row = repeated({77, 128, 200, 128}, 3), in = joined(row, row);
  Bytes out(44, 99);
  ASSERT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.data(), 12, out.data(), 20, {5, 2}), qlmOk);
  const Bytes six = repeated({77, 77, 77, 200, 200, 200}, 3);
  EXPECT_EQ(out, joined(joined(joined(six, {99, 99}), six), Bytes(6, 99)));
}

// Rows of exactly the width: the extra pixel of a row lies where the next one begins, and is overwritten by it.
TEST(ColourInverse, packedExtraPixelComesBeforeTheNextRow) {
  const Bytes in = joined(repeated({10, 128, 20, 128}, 2), repeated({30, 128, 40, 128}, 2));
  Bytes out(21, 99);
  ASSERT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.data(), 8, out.data(), 9, {3, 2}), qlmOk);
  EXPECT_EQ(out, (Bytes{10, 10, 10, 20, 20, 20, 10, 10, 10, 30, 30, 30, 40, 40, 40, 30, 30, 30, 40, 40, 40}));
}

TEST(ColourInverse, alphaIsStoredInEveryPixel) {
  const Samples in(12, 77, 128, 128);
  const auto src = in.pointers();
  const int32_t steps[] = {6, 3, 3};
  for (const uint8_t alpha : {uint8_t{0}, uint8_t{119}, uint8_t{255}}) {
    const Bytes expected = repeated({77, 77, 77, alpha}, 12);
    Bytes out(48);
    ASSERT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3C4R(src.data(), 6, out.data(), 24, {6, 2}, alpha), qlmOk);
    EXPECT_EQ(out, expected);
    out.assign(48, 99);
    ASSERT_EQ(qlmiYCbCr422ToBGR_JPEG_8u_P3C4R(src.data(), steps, out.data(), 24, {6, 2}, alpha), qlmOk);
    EXPECT_EQ(out, expected);
    out.assign(48, 99);
    ASSERT_EQ(qlmiYCbCr411ToBGR_JPEG_8u_P3C4R(src.data(), steps, out.data(), 24, {6, 2}, alpha), qlmOk);
    EXPECT_EQ(out, expected);
  }
}

TEST(ColourInverse, subsampledChromaIsReplicated) {
  const Bytes y{76, 76, 77, 77, 76, 76, 77, 77}, cb{85, 128}, cr{255, 128};
  const uint8_t* const src[] = {y.data(), cb.data(), cr.data()};
  const int32_t steps[] = {4, 2, 2};
  const Bytes row{254, 0, 0, 254, 0, 0, 77, 77, 77, 77, 77, 77};
  Bytes out(24, 99);
  ASSERT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R(src, steps, out.data(), 12, {4, 1}), qlmOk);
  EXPECT_EQ(out, joined(row, Bytes(12, 99)));
  ASSERT_EQ(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(src, steps, out.data(), 12, {4, 2}), qlmOk);
  EXPECT_EQ(out, joined(row, row));
}

TEST(ColourInverse, oddSizesLeaveTheLastColumnAndRow) {
  const Samples in(15, 255, 128, 128);
  const auto src = in.pointers();
  const int32_t steps[] = {5, 2, 2};
  Bytes out(45, 99);
  EXPECT_EQ(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 15, {5, 3}), qlmWarnOddSize);
  const Bytes row = joined(Bytes(12, 255), Bytes(3, 99));
  EXPECT_EQ(out, joined(joined(row, row), Bytes(15, 99)));
  EXPECT_EQ(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 15, {4, 3}), qlmWarnOddSize);
  EXPECT_EQ(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 15, {4, 2}), qlmOk);
  EXPECT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 15, {5, 1}), qlmWarnOddSize);
  EXPECT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 15, {4, 3}), qlmOk);
}

TEST(ColourInverse, subsampledSizesBelowOneSampleAreRefused) {
  const Samples in(16, 255, 128, 128);
  const auto src = in.pointers();
  const int32_t steps[] = {4, 2, 2};
  Bytes out(64, 99);
  EXPECT_EQ(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R(src.data(), steps, out.data(), 12, {1, 4}), qlmErrSize);
  EXPECT_EQ(qlmiYCbCr411ToBGR_JPEG_8u_P3C4R(src.data(), steps, out.data(), 16, {4, 1}, 0), qlmErrSize);
  EXPECT_EQ(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R(src.data(), steps, out.data(), 12, {1, 4}), qlmErrSize);
  EXPECT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_P3C4R(src.data(), steps, out.data(), 16, {4, 0}, 0), qlmErrSize);
  EXPECT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.y.data(), 8, out.data(), 12, {0, 1}), qlmErrSize);
  EXPECT_EQ(out, Bytes(64, 99));
  EXPECT_EQ(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(in.y.data(), 8, out.data(), 12, {1, 1}), qlmOk);
}

TEST(ColourInverse, sixteenBitPixelsAreCutAndPacked) {
  struct Case {
    QlmStatus (*convert)(const uint8_t* const*, int32_t, uint16_t*, int32_t, QlmSize);
    uint16_t white, grey, red, green, blue;  // of luma 255; of 77; of red 254, green 255, blue 254 alone
  };
  constexpr Case kCases[] = {
      {qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R, 0x7FFF, 9 << 10 | 9 << 5 | 9, 31 << 10, 31 << 5, 31},
      {qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R, 0x7FFF, 9 << 10 | 9 << 5 | 9, 31, 31 << 5, 31 << 10},
      {qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R, 0xFFFF, 9 << 11 | 19 << 5 | 9, 31 << 11, 63 << 5, 31},
      {qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R, 0xFFFF, 9 << 11 | 19 << 5 | 9, 31, 63 << 5, 31 << 11},
  };
  for (const Case& c : kCases) {
    for (const int width : {1, 3, 8, 19}) {
      const auto n = static_cast<size_t>(width);
      const auto pixels = [&](uint8_t y, uint8_t cb, uint8_t cr) {
        const Samples in(n, y, cb, cr);
        std::vector<uint16_t> out(n);
        EXPECT_EQ(c.convert(in.pointers().data(), width, out.data(), 2 * width, {width, 1}), qlmOk);
        return out;
      };
      EXPECT_EQ(pixels(255, 128, 128), std::vector<uint16_t>(n, c.white));
      EXPECT_EQ(pixels(77, 128, 128), std::vector<uint16_t>(n, c.grey));
      EXPECT_EQ(pixels(76, 85, 255), std::vector<uint16_t>(n, c.red));
      EXPECT_EQ(pixels(150, 0, 0), std::vector<uint16_t>(n, c.green));
      EXPECT_EQ(pixels(29, 255, 107), std::vector<uint16_t>(n, c.blue));
    }
  }
}

TEST(ColourInverse, testedStepsMustBePositive) {
  const Samples in(8, 1, 2, 3);
  const auto src = in.pointers();
  Bytes out(64, 99);
  std::vector<uint16_t> out16(8, 99);
  uint8_t* const planes[] = {out.data(), out.data() + 8, out.data() + 16};
  for (const int32_t bad : {0, -1, INT32_MIN}) {
    EXPECT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3C3R(src.data(), bad, out.data(), 24, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiYCbCrToBGR_JPEG_8u_P3C3R(src.data(), 8, out.data(), bad, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiYCbCrToRGB_JPEG_8u_P3R(src.data(), 8, planes, bad, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R(src.data(), 8, out16.data(), bad, {8, 1}), qlmErrStep);
  }
  EXPECT_EQ(out, Bytes(64, 99));
  EXPECT_EQ(out16, std::vector<uint16_t>(8, 99));
}

// Calls from several threads at once, each with a team of its own.
TEST(ColourInverse, callsRunSideBySide) {
  const test::ColourExport e = COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R);
  const QlmSize size{333, 100};
  const auto call = [&](uint64_t stream) {
    test::Random random(stream);
    test::Region src(test::sourceExtents(e.rule, size), {}), dst(test::destinationExtents(e.rule, size), {});
    for (int round = 0; round < 20; ++round) {
      src.fill(test::Data::Noise, random);
      EXPECT_TRUE(test::agrees(e, src.view(), dst, dst.view(), size, 0)) << "stream " << stream;
    }
  };
  std::thread one(call, 31), two(call, 32);
  call(33);
  one.join();
  two.join();
}
