// 16-bit pixels to the level-shifted blocks of one MCU and back (JFIF 1.02, ITU-T T.81 A.2.3): against the scalar
// model, against the formula, and by hand.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

#include "jpeg/colour_mcu_check.h"
#include "qlmjp/jpeg.h"

using test::checkEveryMcuColour;
using test::checkMcu;

TEST(Model, qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R) { checkMcu(MCU_EXPORT(qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R)); }
TEST(Model, qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R)); }
TEST(Model, qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R)); }
TEST(Model, qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R)); }
TEST(Model, qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R)); }
TEST(Model, qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R)); }
TEST(Model, qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R) { checkMcu(MCU_EXPORT(qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R)); }

// Every pixel of 16 bits, and every sample of 8 bits for each form of MCU. The figures are the largest distances of Y,
// Cb, Cr or R, G, B from the real-valued formula; the cut to 5 and 6 bits adds up to 7 and 3.
TEST(EveryColour, forwardMcuOfSixteenBitPixels) {
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
  checkEveryMcuColour(MCU_EXPORT(qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R), {0.5040, 0.4989, 0.4950});
}

TEST(EveryColour, qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R), {7.4980, 7.5051, 7.5000});
}

TEST(EveryColour, qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R), {7.4980, 3.5051, 7.5000});
}

TEST(EveryColour, qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R) {
  checkEveryMcuColour(MCU_EXPORT(qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R), {7.4980, 7.5051, 7.5000});
}

namespace {

using Words = std::vector<uint16_t>;
using Elements = std::vector<int16_t>;

struct Form {
  QlmStatus (*forward)(const uint16_t*, int32_t, int16_t* const*);
  QlmStatus (*inverse)(const int16_t* const*, uint16_t*, int32_t);
  int32_t width, height;
  uint16_t grey, white, red;  // 128 in all colours, all bits, the bits of red
  size_t pixels() const { return static_cast<size_t>(width * height); }
};

constexpr Form kForms[] = {
    {qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R, 8, 8, 0x4210, 0x7FFF, 0x7C00},
    {qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R, qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R, 16, 8, 0x4210, 0x7FFF, 0x7C00},
    {qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R, qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R, 16, 16, 0x4210, 0x7FFF, 0x7C00},
    {qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R, 8, 8, 0x8410, 0xFFFF, 0xF800},
    {qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R, qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R, 16, 8, 0x8410, 0xFFFF, 0xF800},
    {qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R, qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R, 16, 16, 0x8410, 0xFFFF, 0xF800},
};

// `count` elements and one more of 99 behind them.
Elements filled(size_t count, int16_t value) {
  Elements all(count, value);
  all.push_back(99);
  return all;
}

// The blocks of one MCU.
struct McuPlanes {
  McuPlanes(const Form& form, int16_t luma, int16_t blue, int16_t red)
      : y(filled(form.pixels(), luma)), cb(filled(64, blue)), cr(filled(64, red)) {}
  Elements y, cb, cr;
  std::array<int16_t*, 3> pointers() { return {y.data(), cb.data(), cr.data()}; }
};

// All pixels of an MCU of flat blocks.
Words pixelsOf(const Form& form, int16_t luma, int16_t blue, int16_t red) {
  McuPlanes in(form, luma, blue, red);
  Words out(form.pixels(), 99);
  EXPECT_EQ(form.inverse(in.pointers().data(), out.data(), 2 * form.width), qlmOk);
  return out;
}

}  // namespace

TEST(ColourMcu16, flatPixelsFillExactlyTheBlocks) {
  for (const Form& form : kForms) {
    McuPlanes out(form, 77, 77, 77);
    const Words pixels(form.pixels(), form.grey);
    ASSERT_EQ(form.forward(pixels.data(), 2 * form.width, out.pointers().data()), qlmOk);
    EXPECT_EQ(out.y, filled(form.pixels(), 0));
    EXPECT_EQ(out.cb, filled(64, 0));
    EXPECT_EQ(out.cr, filled(64, 0));
  }
}

// White is 248, 248, 248, or with six bits of green 248, 252, 248, whose luma is 250.
TEST(ColourMcu16, whiteStaysBelowFullRange) {
  for (const Form& form : kForms) {
    McuPlanes out(form, 77, 77, 77);
    const Words pixels(form.pixels(), 0xFFFF);
    ASSERT_EQ(form.forward(pixels.data(), 2 * form.width, out.pointers().data()), qlmOk);
    EXPECT_EQ(out.y, filled(form.pixels(), form.white == 0x7FFF ? 248 - 128 : 250 - 128));
  }
}

TEST(ColourMcu16, lumaBlocksStandInRasterOrder) {
  for (const Form& form : kForms) {
    for (int by = 0; by < form.height / 8; ++by) {
      for (int bx = 0; bx < form.width / 8; ++bx) {
        Words pixels(form.pixels(), form.grey);
        for (int y = 8 * by; y < 8 * by + 8; ++y)
          for (int x = 8 * bx; x < 8 * bx + 8; ++x) pixels[static_cast<size_t>(y * form.width + x)] = 0;
        McuPlanes out(form, 77, 77, 77);
        ASSERT_EQ(form.forward(pixels.data(), 2 * form.width, out.pointers().data()), qlmOk);
        const auto first = static_cast<size_t>(by * (form.width / 8) + bx) * 64;
        for (size_t i = 0; i < form.pixels(); ++i) ASSERT_EQ(out.y[i], i - first < 64 ? -128 : 0) << i;
      }
    }
  }
}

TEST(ColourMcu16, zeroBlocksGiveMidGrey) {
  for (const Form& form : kForms) EXPECT_EQ(pixelsOf(form, 0, 0, 0), Words(form.pixels(), form.grey));
}

TEST(ColourMcu16, farOutLumaClamps) {
  for (const Form& form : kForms) {
    EXPECT_EQ(pixelsOf(form, 500, 0, 0), Words(form.pixels(), form.white));
    EXPECT_EQ(pixelsOf(form, INT16_MAX, 0, 0), Words(form.pixels(), form.white));
    EXPECT_EQ(pixelsOf(form, -500, 0, 0), Words(form.pixels(), 0));
    EXPECT_EQ(pixelsOf(form, INT16_MIN, 0, 0), Words(form.pixels(), 0));
  }
}

// Luma and chroma at opposite ends of 16 bits: the sum decides, although its chroma half alone leaves 16 bits. Red is
// -32768 + 46066, green and blue are far below 0.
TEST(ColourMcu16, farOutSumsAreExact) {
  for (const Form& form : kForms) {
    EXPECT_EQ(pixelsOf(form, INT16_MIN, 0, INT16_MAX), Words(form.pixels(), form.red));
  }
}

TEST(ColourMcu16, stepsMustBePositive) {
  for (const Form& form : kForms) {
    McuPlanes blocks(form, 77, 77, 77);
    Words pixels(form.pixels(), 99);
    for (const int32_t bad : {0, -1, INT32_MIN}) {
      EXPECT_EQ(form.forward(pixels.data(), bad, blocks.pointers().data()), qlmErrStep);
      EXPECT_EQ(form.inverse(blocks.pointers().data(), pixels.data(), bad), qlmErrStep);
    }
    EXPECT_EQ(blocks.y, filled(form.pixels(), 77));
    EXPECT_EQ(pixels, Words(form.pixels(), 99));
  }
}
