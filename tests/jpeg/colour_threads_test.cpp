// The colour conversions that share their rows out over threads: one result for any number of threads, at the size
// where forking begins and beyond it.
#include <gtest/gtest.h>

#include "jpeg/colour_check.h"
#include "qlmjp/jpeg.h"
#include "support/fake_core.h"

namespace {

// 8192 pixels stay on the caller, 8193 do not; one row for all threads, fewer rows than threads, many rows.
constexpr QlmSize kSizes[] = {{8192, 1}, {64, 128}, {1, 8192}, {8193, 1},  {2731, 3},   {1, 8193},
                              {129, 64}, {6, 1400}, {1001, 9}, {4099, 37}, {100000, 1}, {640, 480}};

void checkThreads(const test::ColourExport& e) {
  test::Random random(21);
  TRACE_SEED(21);
  for (const QlmSize size : kSizes) {
    test::Region src(test::sourceExtents(e.rule, size), {.padding = 3});
    test::Region dst(test::destinationExtents(e.rule, size), {.padding = 5});
    src.fill(test::Data::Noise, random);
    for (const int threads : {1, 2, 3, 8}) {
      test::fakeCore().threads = threads;
      EXPECT_TRUE(test::agrees(e, src.view(), dst, dst.view(), size, 0))
          << e.rule.name << ' ' << size.width << " x " << size.height << " on " << threads << " threads";
    }
  }
  test::resetFakeCore();
}

}  // namespace

TEST(Threads, qlmiRGBToYCbCr_JPEG_8u_C3P3R) { checkThreads(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_C3P3R)); }
TEST(Threads, qlmiBGRToYCbCr_JPEG_8u_C3P3R) { checkThreads(COLOUR_EXPORT(qlmiBGRToYCbCr_JPEG_8u_C3P3R)); }
TEST(Threads, qlmiRGBToYCbCr_JPEG_8u_P3R) { checkThreads(COLOUR_EXPORT(qlmiRGBToYCbCr_JPEG_8u_P3R)); }
TEST(Threads, qlmiRGBToY_JPEG_8u_C3C1R) { checkThreads(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_C3C1R)); }
TEST(Threads, qlmiBGRToY_JPEG_8u_C3C1R) { checkThreads(COLOUR_EXPORT(qlmiBGRToY_JPEG_8u_C3C1R)); }
TEST(Threads, qlmiRGBToY_JPEG_8u_P3C1R) { checkThreads(COLOUR_EXPORT(qlmiRGBToY_JPEG_8u_P3C1R)); }
TEST(Threads, qlmiYCbCrToRGB_JPEG_8u_P3C3R) { checkThreads(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3C3R)); }
TEST(Threads, qlmiYCbCrToBGR_JPEG_8u_P3C3R) { checkThreads(COLOUR_EXPORT(qlmiYCbCrToBGR_JPEG_8u_P3C3R)); }
TEST(Threads, qlmiYCbCrToRGB_JPEG_8u_P3R) { checkThreads(COLOUR_EXPORT(qlmiYCbCrToRGB_JPEG_8u_P3R)); }
TEST(Threads, qlmiYCbCr422ToRGB_JPEG_8u_C2C3R) { checkThreads(COLOUR_EXPORT(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R)); }
TEST(Threads, qlmiCMYKToYCCK_JPEG_8u_C4P4R) { checkThreads(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_C4P4R)); }
TEST(Threads, qlmiCMYKToYCCK_JPEG_8u_P4R) { checkThreads(COLOUR_EXPORT(qlmiCMYKToYCCK_JPEG_8u_P4R)); }
TEST(Threads, qlmiYCCKToCMYK_JPEG_8u_P4C4R) { checkThreads(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4C4R)); }
TEST(Threads, qlmiYCCKToCMYK_JPEG_8u_P4R) { checkThreads(COLOUR_EXPORT(qlmiYCCKToCMYK_JPEG_8u_P4R)); }
