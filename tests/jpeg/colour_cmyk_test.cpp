// CMYK to YCCK and back, planes and MCUs: against the scalar models, against the formula on inverted inks, and by hand.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "jpeg/colour_check.h"
#include "jpeg/colour_mcu_check.h"
#include "qlmjp/jpeg.h"

using test::Bytes;
using test::checkEveryColour;
using test::checkEveryMcuColour;
using test::checkMcu;
using test::checkShapes;
using test::joined;
using test::repeated;

TEST(Model, qlmiCMYKToYCCK_JPEG_8u_C4P4R) { checkShapes(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_C4P4R)); }
TEST(Model, qlmiCMYKToYCCK_JPEG_8u_P4R) { checkShapes(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_P4R)); }
TEST(Model, qlmiYCCKToCMYK_JPEG_8u_P4C4R) { checkShapes(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4C4R)); }
TEST(Model, qlmiYCCKToCMYK_JPEG_8u_P4R) { checkShapes(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4R)); }
TEST(Model, qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R) { checkMcu(MCU_EXPORT(qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R)); }
TEST(Model, qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R) { checkMcu(MCU_EXPORT(qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R)); }
TEST(Model, qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R) { checkMcu(MCU_EXPORT(qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R)); }
TEST(Model, qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R) { checkMcu(MCU_EXPORT(qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R)); }
TEST(Model, qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R) { checkMcu(MCU_EXPORT(qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R)); }
TEST(Model, qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R) { checkMcu(MCU_EXPORT(qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R)); }

// Largest distances of Y, Cb, Cr or of the inverted C, M, Y from the real-valued formula, over all of them, by full
// vectors in rows of 2048 and without them in short ones.
TEST(EveryColour, qlmiCMYKToYCCK_JPEG_8u_C4P4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_C4P4R), 2048, {0.5060, 0.5040, 0.5029});
}

TEST(EveryColour, qlmiCMYKToYCCK_JPEG_8u_P4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_P4R), 2048, {0.5010, 0.7827, 0.8545});
  checkEveryColour(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_P4R), 3, {0.5010, 0.5000, 0.5000});
}

TEST(EveryColour, qlmiYCCKToCMYK_JPEG_8u_P4C4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4C4R), 2048, {0.5020, 0.5117, 0.5360});
  checkEveryColour(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4C4R), 3, {0.4980, 0.5014, 0.5000});
}

TEST(EveryColour, qlmiYCCKToCMYK_JPEG_8u_P4R) {
  checkEveryColour(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4R), 2048, {0.5020, 0.5117, 0.5360});
}

TEST(EveryColour, qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R), {0.5060, 0.5040, 0.5029});
}

TEST(EveryColour, qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R), {0.5060, 0.5040, 0.5029});
}

TEST(EveryColour, qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R), {0.5060, 0.5040, 0.5029});
}

TEST(EveryColour, qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R), {0.4980, 0.5051, 0.5000});
}

TEST(EveryColour, qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R), {0.4980, 0.5051, 0.5000});
}

TEST(EveryColour, qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R), {0.4980, 0.5051, 0.5000});
}

namespace {

using Elements = std::vector<int16_t>;

// Planes of one value each.
struct FourPlanes {
  FourPlanes(size_t count, uint8_t first, uint8_t second, uint8_t third, uint8_t black)
      : plane{Bytes(count, first), Bytes(count, second), Bytes(count, third), Bytes(count, black)} {}
  explicit FourPlanes(size_t count) : FourPlanes(count, 99, 99, 99, 99) {}
  std::array<Bytes, 4> plane;
  std::array<uint8_t*, 4> pointers() { return {plane[0].data(), plane[1].data(), plane[2].data(), plane[3].data()}; }
};

struct McuForm {
  QlmStatus (*forward)(const uint8_t*, int32_t, int16_t* const*);
  QlmStatus (*inverse)(const int16_t* const*, uint8_t*, int32_t);
  int32_t width, height;
  size_t pixels() const { return static_cast<size_t>(width * height); }
};

constexpr McuForm kMcuForms[] = {
    {qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R, qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R, 8, 8},
    {qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R, qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R, 16, 8},
    {qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R, qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R, 16, 16},
};

// Blocks of one value each.
struct FourBlocks {
  FourBlocks(const McuForm& form, int16_t luma, int16_t cb, int16_t cr, int16_t black)
      : plane{Elements(form.pixels(), luma), Elements(64, cb), Elements(64, cr), Elements(form.pixels(), black)} {}
  std::array<Elements, 4> plane;
  std::array<int16_t*, 4> pointers() { return {plane[0].data(), plane[1].data(), plane[2].data(), plane[3].data()}; }
};

FourBlocks blocksOf(const McuForm& form, const Bytes& pixels) {
  FourBlocks out(form, 99, 99, 99, 99);
  EXPECT_EQ(form.forward(pixels.data(), 4 * form.width, out.pointers().data()), qlmOk);
  return out;
}

Bytes pixelsOf(const McuForm& form, FourBlocks in) {
  Bytes out(4 * form.pixels());
  EXPECT_EQ(form.inverse(in.pointers().data(), out.data(), 4 * form.width), qlmOk);
  return out;
}

}  // namespace

TEST(ColourCmyk, paperAndFullInkAreWhiteAndBlack) {
  for (const uint8_t ink : {uint8_t{0}, uint8_t{255}}) {
    for (const int width : {3, 4, 9, 37}) {
      const auto n = static_cast<size_t>(width);
      const FourPlanes expected(n, static_cast<uint8_t>(255 - ink), 128, 128, 41);
      const Bytes row = repeated({ink, ink, ink, 41}, n);
      FourPlanes in(n, ink, ink, ink, 41), ofPixels(n), ofPlanes(n);
      ASSERT_EQ(qlmiCMYKToYCCK_JPEG_8u_C4P4R(row.data(), 4 * width, ofPixels.pointers().data(), width, {width, 1}),
                qlmOk);
      EXPECT_EQ(ofPixels.plane, expected.plane);
      ASSERT_EQ(qlmiCMYKToYCCK_JPEG_8u_P4R(in.pointers().data(), width, ofPlanes.pointers().data(), width, {width, 1}),
                qlmOk);
      EXPECT_EQ(ofPlanes.plane, expected.plane);
    }
  }
}

TEST(ColourCmyk, planesChangeFormBehindTheLastFourAndPixelsNowhere) {
  for (const int width : {3, 4, 7, 8, 16}) {
    const auto n = static_cast<size_t>(width), body = n / 4 * 4;
    FourPlanes in(n, 241, 1, 227, 5), out(n);  // inverted 14, 254, 28
    ASSERT_EQ(qlmiCMYKToYCCK_JPEG_8u_P4R(in.pointers().data(), width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.plane[0], Bytes(n, 156));
    EXPECT_EQ(out.plane[1], joined(Bytes(body, 56), Bytes(n - body, 55))) << width;
    EXPECT_EQ(out.plane[2], joined(Bytes(body, 27), Bytes(n - body, 26))) << width;
    EXPECT_EQ(out.plane[3], Bytes(n, 5));
    // The Cb of 191, 28, 70 is 122 by this form and 121 by that of full vectors of RGB pixels.
    const Bytes row = repeated({255 - 191, 255 - 28, 255 - 70, 5}, n);
    ASSERT_EQ(qlmiCMYKToYCCK_JPEG_8u_C4P4R(row.data(), 4 * width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.plane, FourPlanes(n, 82, 122, 206, 5).plane) << width;
  }
}

TEST(ColourCmyk, inverseChangesFormBehindTheLastFour) {
  for (const int width : {3, 4, 7}) {
    const auto n = static_cast<size_t>(width), body = n / 4 * 4;
    FourPlanes in(n, 113, 117, 179, 200), out(n);
    Bytes pixels(4 * n);
    ASSERT_EQ(qlmiYCCKToCMYK_JPEG_8u_P4C4R(in.pointers().data(), width, pixels.data(), 4 * width, {width, 1}), qlmOk);
    EXPECT_EQ(pixels, joined(repeated({255 - 184, 255 - 80, 255 - 93, 200}, body),
                             repeated({255 - 185, 255 - 80, 255 - 94, 200}, n - body)))
        << width;
    ASSERT_EQ(qlmiYCCKToCMYK_JPEG_8u_P4R(in.pointers().data(), width, out.pointers().data(), width, {width, 1}), qlmOk);
    EXPECT_EQ(out.plane[0], joined(Bytes(body, 255 - 184), Bytes(n - body, 255 - 185))) << width;
    EXPECT_EQ(out.plane[1], Bytes(n, 255 - 80));
    EXPECT_EQ(out.plane[2], joined(Bytes(body, 255 - 93), Bytes(n - body, 255 - 94))) << width;
    EXPECT_EQ(out.plane[3], Bytes(n, 200));
  }
}

TEST(ColourCmyk, blackSurvivesBothWays) {
  Bytes pixels(1024), back(1024);  // one row with every K, one MCU of 16 x 16 pixels
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i % 4 == 3 ? i / 4 : 31 * i);
  FourPlanes mid(256);
  ASSERT_EQ(qlmiCMYKToYCCK_JPEG_8u_C4P4R(pixels.data(), 1024, mid.pointers().data(), 256, {256, 1}), qlmOk);
  ASSERT_EQ(qlmiYCCKToCMYK_JPEG_8u_P4C4R(mid.pointers().data(), 256, back.data(), 1024, {256, 1}), qlmOk);
  for (size_t i = 3; i < back.size(); i += 4) ASSERT_EQ(back[i], pixels[i]);
  for (const McuForm& form : kMcuForms) {
    const Bytes out = pixelsOf(form, blocksOf(form, pixels));
    for (size_t i = 3; i < out.size(); i += 4) ASSERT_EQ(out[i], pixels[i]);
  }
}

// Inverted inks of 0, 35, 35 have -286720 / 16384, which is -17.5: half a unit brings it to -17, less than that does
// not.
TEST(ColourCmyk, crOfTheFullMcuRoundsHalvesDown) {
  for (const McuForm& form : kMcuForms) {
    const FourBlocks out = blocksOf(form, repeated({255, 220, 220, 0}, form.pixels()));
    EXPECT_EQ(out.plane[2], Elements(64, form.width == 8 ? -18 : -17));
  }
}

TEST(ColourCmyk, flatMcus) {
  for (const McuForm& form : kMcuForms) {
    const size_t n = form.pixels();
    EXPECT_EQ(blocksOf(form, repeated({127, 127, 127, 0}, n)).plane, FourBlocks(form, 0, 0, 0, -128).plane);
    EXPECT_EQ(blocksOf(form, repeated({255, 255, 255, 255}, n)).plane, FourBlocks(form, -128, 0, 0, 127).plane);
    EXPECT_EQ(pixelsOf(form, FourBlocks(form, 0, 0, 0, 0)), repeated({127, 127, 127, 128}, n));
    EXPECT_EQ(pixelsOf(form, FourBlocks(form, 500, 0, 0, 500)), repeated({0, 0, 0, 255}, n));
    EXPECT_EQ(pixelsOf(form, FourBlocks(form, -500, 0, 0, INT16_MAX)), repeated({255, 255, 255, 255}, n));
    EXPECT_EQ(pixelsOf(form, FourBlocks(form, 0, 0, 0, INT16_MIN)), repeated({127, 127, 127, 0}, n));
    // The sum decides, although its chroma half alone leaves 16 bits.
    EXPECT_EQ(pixelsOf(form, FourBlocks(form, INT16_MIN, 0, INT16_MAX, 0)), repeated({0, 255, 255, 128}, n));
  }
}

TEST(ColourCmyk, stepsMustBePositive) {
  FourPlanes in(8), out(8);
  Bytes pixels(32, 99);
  FourBlocks blocks(kMcuForms[0], 99, 99, 99, 99);
  for (const int32_t bad : {0, -1, INT32_MIN}) {
    EXPECT_EQ(qlmiCMYKToYCCK_JPEG_8u_C4P4R(pixels.data(), bad, out.pointers().data(), 8, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiCMYKToYCCK_JPEG_8u_P4R(in.pointers().data(), 8, out.pointers().data(), bad, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiYCCKToCMYK_JPEG_8u_P4C4R(in.pointers().data(), bad, pixels.data(), 32, {8, 1}), qlmErrStep);
    EXPECT_EQ(qlmiYCCKToCMYK_JPEG_8u_P4R(in.pointers().data(), 8, out.pointers().data(), bad, {8, 1}), qlmErrStep);
    for (const McuForm& form : kMcuForms) {
      EXPECT_EQ(form.forward(pixels.data(), bad, blocks.pointers().data()), qlmErrStep);
      EXPECT_EQ(form.inverse(blocks.pointers().data(), pixels.data(), bad), qlmErrStep);
    }
  }
  EXPECT_EQ(pixels, Bytes(32, 99));
  EXPECT_EQ(out.plane, FourPlanes(8).plane);
  EXPECT_EQ(blocks.plane, FourBlocks(kMcuForms[0], 99, 99, 99, 99).plane);
}
