// Colour conversion between pixels and the blocks of one MCU against its models, over all colours, and against the
// real-valued matrix of JFIF.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "jpeg/mcu_data.h"
#include "model/jpeg_mcu.h"

namespace {

using model::McuBlocks;
using model::McuShape;
using model::Order;
using test::anyBlocks;
using test::anyPixels;
using test::bytesOf;
using test::lumaOf;
using test::Placed;
using test::PlacedBlocks;
using test::Random;

using Forward = decltype(qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R)*;
using Inverse = decltype(qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R)*;

void checkForward(uint64_t stream, Forward function, Order order, McuShape shape) {
  TRACE_SEED(stream);
  Random random(stream);
  const auto rowPixels = static_cast<size_t>(3 * shape.width());
  for (size_t round = 0; round < 2 * test::kPlaces; ++round) {
    const auto [slack, edge] = test::placeOf(round, 0);
    Placed<uint8_t> src(rowPixels, static_cast<size_t>(shape.height()), test::stepOf(round, rowPixels), slack, edge);
    PlacedBlocks dst(shape, round), expected(shape, round);
    int16_t* const planes[3] = {dst.y.data(), dst.cb.data(), dst.cr.data()};
    for (int n = 0; n < 48; ++n) {
      const std::vector<uint8_t> pixels = anyPixels(random, shape, n);
      src.set(pixels);
      const auto srcBefore = src.snapshot();
      dst.fillPattern();
      expected.set(model::mcuFromPixels(pixels, order, shape));
      ASSERT_EQ(function(src.data(), src.step(), planes), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "round " << round << " MCU " << n;
      ASSERT_EQ(src.snapshot(), srcBefore);
    }
  }
}

void checkInverse(uint64_t stream, Inverse function, Order order, McuShape shape) {
  TRACE_SEED(stream);
  Random random(stream);
  const auto rowPixels = static_cast<size_t>(3 * shape.width());
  for (size_t round = 0; round < 2 * test::kPlaces; ++round) {
    const auto [slack, edge] = test::placeOf(round, 0);
    const auto rows = static_cast<size_t>(shape.height());
    Placed<uint8_t> dst(rowPixels, rows, test::stepOf(round, rowPixels), slack, edge);
    Placed<uint8_t> expected(rowPixels, rows, test::stepOf(round, rowPixels), slack, edge);
    PlacedBlocks src(shape, round);
    const int16_t* const planes[3] = {src.y.data(), src.cb.data(), src.cr.data()};
    for (int n = 0; n < 48; ++n) {
      const McuBlocks blocks = anyBlocks(random, shape, n);
      src.set(blocks);
      const auto srcBefore = src.snapshot();
      dst.fillPattern();
      expected.set(model::pixelsFromMcu(blocks, order, shape));
      ASSERT_EQ(function(planes, dst.data(), dst.step()), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "round " << round << " MCU " << n;
      ASSERT_EQ(src.snapshot(), srcBefore);
    }
  }
}

TEST(Model, qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R) {
  checkForward(0x3301, qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu444);
}
TEST(Model, qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R) {
  checkForward(0x3302, qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu422);
}
TEST(Model, qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R) {
  checkForward(0x3303, qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu411);
}
TEST(Model, qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R) {
  checkForward(0x3304, qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu444);
}
TEST(Model, qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R) {
  checkForward(0x3305, qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu422);
}
TEST(Model, qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R) {
  checkForward(0x3306, qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu411);
}
TEST(Model, qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R) {
  checkInverse(0x3307, qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu444);
}
TEST(Model, qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R) {
  checkInverse(0x3308, qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu422);
}
TEST(Model, qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R) {
  checkInverse(0x3309, qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu411);
}
TEST(Model, qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R) {
  checkInverse(0x330A, qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu444);
}
TEST(Model, qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R) {
  checkInverse(0x330B, qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu422);
}
TEST(Model, qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R) {
  checkInverse(0x330C, qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu411);
}

struct ForwardForm {
  Forward function;
  Order order;
  McuShape shape;
};
constexpr ForwardForm kForward[6] = {
    {qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu444},
    {qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu444},
    {qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu422},
    {qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu422},
    {qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R, Order::RGB, model::kMcu411},
    {qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R, Order::BGR, model::kMcu411},
};

struct InverseForm {
  Inverse function;
  Order order;
  McuShape shape;
};
constexpr InverseForm kInverse[6] = {
    {qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu444},
    {qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu444},
    {qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu422},
    {qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu422},
    {qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R, Order::RGB, model::kMcu411},
    {qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R, Order::BGR, model::kMcu411},
};

McuBlocks forward(const ForwardForm& form, const std::vector<uint8_t>& pixels) {
  McuBlocks out{std::vector<int16_t>(lumaOf(form.shape)), std::vector<int16_t>(64), std::vector<int16_t>(64)};
  int16_t* const planes[3] = {out.y.data(), out.cb.data(), out.cr.data()};
  EXPECT_EQ(form.function(pixels.data(), 3 * form.shape.width(), planes), qlmOk);
  return out;
}

std::vector<uint8_t> inverse(const InverseForm& form, const McuBlocks& blocks) {
  std::vector<uint8_t> out(bytesOf(form.shape));
  const int16_t* const planes[3] = {blocks.y.data(), blocks.cb.data(), blocks.cr.data()};
  EXPECT_EQ(form.function(planes, out.data(), 3 * form.shape.width()), qlmOk);
  return out;
}

// All 2^24 colours, an MCU of 64 at a time: the model, and the real-valued matrix of JFIF, from which rounding to the
// nearest integer and constants of 14 bits may differ by 0.52.
TEST(McuColour, AllColours) {
  double largest[3] = {};
  std::vector<uint8_t> pixels(192);
  for (int r = 0; r < 256; ++r) {
    for (int g = 0; g < 256; ++g) {
      for (int firstB = 0; firstB < 256; firstB += 64) {
        for (int i = 0; i < 64; ++i) {
          uint8_t* p = &pixels[static_cast<size_t>(3 * i)];
          p[0] = static_cast<uint8_t>(r);
          p[1] = static_cast<uint8_t>(g);
          p[2] = static_cast<uint8_t>(firstB + i);
        }
        const McuBlocks blocks = forward(kForward[0], pixels);
        const McuBlocks expected = model::mcuFromPixels(pixels, Order::RGB, model::kMcu444);
        ASSERT_EQ(blocks.y, expected.y) << "colours from " << r << ", " << g << ", " << firstB;
        ASSERT_EQ(blocks.cb, expected.cb) << "colours from " << r << ", " << g << ", " << firstB;
        ASSERT_EQ(blocks.cr, expected.cr) << "colours from " << r << ", " << g << ", " << firstB;
        for (size_t i = 0; i < 64; ++i) {
          const double b = firstB + static_cast<double>(i);
          const double luma = 0.299 * r + 0.587 * g + 0.114 * b;
          largest[0] = std::max(largest[0], std::abs(blocks.y[i] + 128 - luma));
          largest[1] = std::max(largest[1], std::abs(blocks.cb[i] - (b - luma) / 1.772));
          largest[2] = std::max(largest[2], std::abs(blocks.cr[i] - (r - luma) / 1.402));
        }
        for (size_t i = 0; i < 64; ++i) std::swap(pixels[3 * i], pixels[3 * i + 2]);
        const McuBlocks swapped = forward(kForward[1], pixels);
        ASSERT_EQ(swapped.y, blocks.y);
        ASSERT_EQ(swapped.cb, blocks.cb);
        ASSERT_EQ(swapped.cr, blocks.cr);
      }
    }
  }
  for (const double deviation : largest) EXPECT_LE(deviation, 0.52);
}

// The chroma of the subsampled forms is that of the mean colour of the pixels covered, by JFIF within 0.52.
TEST(McuColour, ChromaOfMeans) {
  Random random(0x3320);
  for (const ForwardForm& form : kForward) {
    const auto [across, down] = form.shape;
    double largest = 0;
    for (int n = 0; n < 3000; ++n) {
      const std::vector<uint8_t> pixels = anyPixels(random, form.shape, n);
      const McuBlocks blocks = forward(form, pixels);
      for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column) {
          double mean[3] = {};
          for (int y = row * down; y < (row + 1) * down; ++y)
            for (int x = column * across; x < (column + 1) * across; ++x)
              for (size_t c = 0; c < 3; ++c)
                mean[c] += pixels[static_cast<size_t>(3 * (y * form.shape.width() + x)) + c];
          for (double& channel : mean) channel /= across * down;
          if (form.order == Order::BGR) std::swap(mean[0], mean[2]);
          const double luma = 0.299 * mean[0] + 0.587 * mean[1] + 0.114 * mean[2];
          const auto i = static_cast<size_t>(8 * row + column);
          largest = std::max(largest, std::abs(blocks.cb[i] - (mean[2] - luma) / 1.772));
          largest = std::max(largest, std::abs(blocks.cr[i] - (mean[0] - luma) / 1.402));
        }
      }
    }
    EXPECT_LE(largest, 0.52);
  }
}

// All pairs of chroma with luma within and beyond its range; and the real-valued inverse of JFIF.
TEST(McuColour, AllChromaPairs) {
  for (const InverseForm& form : kInverse) {
    double largest = 0;
    for (const int luma :
         {-32768, -20000, -1000, -383, -256, -129, -128, -100, -1, 0, 1, 77, 127, 128, 255, 500, 32767}) {
      McuBlocks blocks{std::vector<int16_t>(lumaOf(form.shape), static_cast<int16_t>(luma)), std::vector<int16_t>(64),
                       std::vector<int16_t>(64)};
      for (int first = 0; first < 65536; first += 64) {
        for (int i = 0; i < 64; ++i) {
          blocks.cb[static_cast<size_t>(i)] = static_cast<int16_t>((first + i) % 256 - 128);
          blocks.cr[static_cast<size_t>(i)] = static_cast<int16_t>((first + i) / 256 - 128);
        }
        const std::vector<uint8_t> pixels = inverse(form, blocks);
        ASSERT_EQ(pixels, model::pixelsFromMcu(blocks, form.order, form.shape)) << "luma " << luma << " from " << first;
        if (luma < -128 || luma > 127) continue;
        for (int y = 0; y < form.shape.height(); ++y) {
          for (int x = 0; x < form.shape.width(); ++x) {
            const auto i = static_cast<size_t>(8 * (y / form.shape.down) + x / form.shape.across);
            const double cb = blocks.cb[i], cr = blocks.cr[i], sample = luma + 128;
            double colour[3] = {sample + 1.402 * cr, sample - (0.114 * 1.772 * cb + 0.299 * 1.402 * cr) / 0.587,
                                sample + 1.772 * cb};
            if (form.order == Order::BGR) std::swap(colour[0], colour[2]);
            const uint8_t* pixel = &pixels[static_cast<size_t>(3 * (y * form.shape.width() + x))];
            for (int c = 0; c < 3; ++c)
              largest = std::max(largest, std::abs(pixel[c] - std::clamp(colour[c], 0.0, 255.0)));
          }
        }
      }
    }
    EXPECT_LE(largest, 0.52);
  }
}

// The far ends of 16 bits: the exact sum is clamped, whatever its parts.
TEST(McuColour, FarOutBlockValuesClampAndDoNotWrap) {
  const auto pixelOf = [](const InverseForm& form, int16_t y, int16_t cb, int16_t cr) {
    const McuBlocks blocks{std::vector<int16_t>(lumaOf(form.shape), y), std::vector<int16_t>(64, cb),
                           std::vector<int16_t>(64, cr)};
    const std::vector<uint8_t> pixels = inverse(form, blocks);
    for (size_t i = 3; i < pixels.size(); ++i) EXPECT_EQ(pixels[i], pixels[i - 3]);
    const bool bgr = form.order == Order::BGR;
    return std::array<int, 3>{pixels[bgr ? 2 : 0], pixels[1], pixels[bgr ? 0 : 2]};
  };
  using Rgb = std::array<int, 3>;
  for (const InverseForm& form : kInverse) {
    EXPECT_EQ(pixelOf(form, 0, 0, 0), (Rgb{128, 128, 128}));
    EXPECT_EQ(pixelOf(form, 500, 0, 0), (Rgb{255, 255, 255}));
    EXPECT_EQ(pixelOf(form, -500, 0, 0), (Rgb{0, 0, 0}));
    EXPECT_EQ(pixelOf(form, 32767, 0, 0), (Rgb{255, 255, 255}));
    EXPECT_EQ(pixelOf(form, -32768, 0, 0), (Rgb{0, 0, 0}));
    EXPECT_EQ(pixelOf(form, 32767, 32767, 32767), (Rgb{255, 0, 255}));
    EXPECT_EQ(pixelOf(form, -32768, -32768, -32768), (Rgb{0, 255, 0}));
    // 1.402 * 32767 + 128 is 46067, above what 16 bits hold, and makes up for a luma of -32768.
    EXPECT_EQ(pixelOf(form, -32768, 0, 32767), (Rgb{255, 0, 0}));
    EXPECT_EQ(pixelOf(form, -32768, 32767, 0), (Rgb{0, 0, 255}));
    EXPECT_EQ(pixelOf(form, 32767, 0, -32768), (Rgb{0, 255, 255}));
    EXPECT_EQ(pixelOf(form, 32767, -32768, 0), (Rgb{255, 255, 0}));
  }
}

TEST(McuColour, FlatGreyGivesZeroBlocks) {
  for (const ForwardForm& form : kForward) {
    const McuBlocks blocks = forward(form, std::vector<uint8_t>(bytesOf(form.shape), 128));
    for (const std::vector<int16_t>* plane : {&blocks.y, &blocks.cb, &blocks.cr})
      EXPECT_EQ(*plane, std::vector<int16_t>(plane->size(), 0));
  }
}

// One bright pixel shows where it goes: the luma block by raster order, the chroma element by its covering.
TEST(McuColour, PixelsGoToTheirBlocks) {
  for (const ForwardForm& form : kForward) {
    for (int y = 0; y < form.shape.height(); ++y) {
      for (int x = 0; x < form.shape.width(); ++x) {
        std::vector<uint8_t> pixels(bytesOf(form.shape), 128);
        const auto at = static_cast<size_t>(3 * (y * form.shape.width() + x));
        pixels[at] = 255;
        pixels[at + 1] = 255;
        pixels[at + 2] = 0;
        const McuBlocks blocks = forward(form, pixels);
        const int block = y / 8 * form.shape.across + x / 8;
        for (size_t i = 0; i < blocks.y.size(); ++i)
          ASSERT_EQ(blocks.y[i] != 0, i == static_cast<size_t>(64 * block + y % 8 * 8 + x % 8)) << x << ", " << y;
        for (size_t i = 0; i < 64; ++i)
          ASSERT_EQ(blocks.cb[i] != 0, i == static_cast<size_t>(8 * (y / form.shape.down) + x / form.shape.across));
      }
    }
  }
}

TEST(McuColour, SourceRowsMayOverlap) {
  Random random(0x3330);
  for (const ForwardForm& form : kForward) {
    const auto rowBytes = static_cast<size_t>(3 * form.shape.width()), rows = static_cast<size_t>(form.shape.height());
    for (const size_t step : {size_t{1}, size_t{3}, size_t{7}, rowBytes - 1}) {
      test::Guarded<uint8_t> bytes((rows - 1) * step + rowBytes);
      random.fill(bytes.span());
      std::vector<uint8_t> pixels;
      for (size_t y = 0; y < rows; ++y)
        pixels.insert(pixels.end(), bytes.data() + y * step, bytes.data() + y * step + rowBytes);
      const McuBlocks expected = model::mcuFromPixels(pixels, form.order, form.shape);
      McuBlocks out{std::vector<int16_t>(lumaOf(form.shape)), std::vector<int16_t>(64), std::vector<int16_t>(64)};
      int16_t* const planes[3] = {out.y.data(), out.cb.data(), out.cr.data()};
      ASSERT_EQ(form.function(bytes.data(), static_cast<int32_t>(step), planes), qlmOk);
      EXPECT_EQ(out.y, expected.y) << "step " << step;
      EXPECT_EQ(out.cb, expected.cb) << "step " << step;
      EXPECT_EQ(out.cr, expected.cr) << "step " << step;
    }
  }
}

}  // namespace
