// Sampling of one MCU between interleaved components and blocks against its models, at all alignments; all values, and
// the literal results at the limits.
#include <gtest/gtest.h>

#include "jpeg/mcu_data.h"
#include "model/jpeg_sampling.h"

namespace {

using model::McuBlocks;
using model::McuShape;
using test::lumaOf;
using test::Placed;
using test::PlacedBlocks;
using test::Random;

using Bytes = std::vector<uint8_t>;

// A form between a picture of `rowBytes` x `rows` bytes and the blocks of a shape.
template <typename Export, typename Model>
struct Form {
  Export function;
  McuShape shape;
  size_t rowBytes, rows;
  Model model;
};
using DownForm = Form<decltype(qlmiSampleDown444LS_MCU_8u16s_C3P3R)*, McuBlocks (*)(const Bytes&)>;
using UpForm = Form<decltype(qlmiSampleUp444LS_MCU_16s8u_P3C3R)*, Bytes (*)(const McuBlocks&)>;

constexpr DownForm kDown444{qlmiSampleDown444LS_MCU_8u16s_C3P3R, model::kMcu444, 24, 8,
                            [](const Bytes& p) { return model::sampleDownMcu(p, model::kMcu444); }};
constexpr DownForm kDown422{qlmiSampleDown422LS_MCU_8u16s_C3P3R, model::kMcu422, 48, 8,
                            [](const Bytes& p) { return model::sampleDownMcu(p, model::kMcu422); }};
constexpr DownForm kDown411{qlmiSampleDown411LS_MCU_8u16s_C3P3R, model::kMcu411, 48, 16,
                            [](const Bytes& p) { return model::sampleDownMcu(p, model::kMcu411); }};
constexpr DownForm kSplit{qlmiSplit422LS_MCU_8u16s_C2P3R, model::kMcu422, 32, 8, model::splitMcu422};

constexpr UpForm kUp444{qlmiSampleUp444LS_MCU_16s8u_P3C3R, model::kMcu444, 24, 8,
                        [](const McuBlocks& b) { return model::sampleUpMcu(b, model::kMcu444); }};
constexpr UpForm kUp422{qlmiSampleUp422LS_MCU_16s8u_P3C3R, model::kMcu422, 48, 8,
                        [](const McuBlocks& b) { return model::sampleUpMcu(b, model::kMcu422); }};
constexpr UpForm kUp411{qlmiSampleUp411LS_MCU_16s8u_P3C3R, model::kMcu411, 48, 16,
                        [](const McuBlocks& b) { return model::sampleUpMcu(b, model::kMcu411); }};
constexpr UpForm kJoin{qlmiJoin422LS_MCU_16s8u_P3C2R, model::kMcu422, 32, 8, model::joinMcu422};

void checkDown(uint64_t stream, const DownForm& form) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < 2 * test::kPlaces; ++round) {
    const auto [slack, edge] = test::placeOf(round, 0);
    Placed<uint8_t> src(form.rowBytes, form.rows, test::stepOf(round, form.rowBytes), slack, edge);
    PlacedBlocks dst(form.shape, round), expected(form.shape, round);
    int16_t* const planes[3] = {dst.y.data(), dst.cb.data(), dst.cr.data()};
    for (const test::Data kind : test::kAllData) {
      for (int n = 0; n < 4; ++n) {
        Bytes pixels(form.rowBytes * form.rows);
        test::fillData(std::span(pixels), kind, random);
        src.set(pixels);
        const auto srcBefore = src.snapshot();
        dst.fillPattern();
        expected.set(form.model(pixels));
        ASSERT_EQ(form.function(src.data(), src.step(), planes), qlmOk);
        ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "round " << round;
        ASSERT_EQ(src.snapshot(), srcBefore);
      }
    }
  }
  // Source rows that overlap each other.
  for (const size_t step : {size_t{1}, size_t{7}, form.rowBytes - 1}) {
    Placed<uint8_t> src(form.rowBytes, form.rows, step, 0, test::Edge::Back);
    Bytes pixels(form.rowBytes * form.rows);
    random.fill(std::span(pixels));
    src.set(pixels);
    src.get(pixels);
    PlacedBlocks dst(form.shape, 0), expected(form.shape, 0);
    int16_t* const planes[3] = {dst.y.data(), dst.cb.data(), dst.cr.data()};
    expected.set(form.model(pixels));
    ASSERT_EQ(form.function(src.data(), src.step(), planes), qlmOk);
    ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "step " << step;
  }
}

void checkUp(uint64_t stream, const UpForm& form) {
  TRACE_SEED(stream);
  Random random(stream);
  for (size_t round = 0; round < 2 * test::kPlaces; ++round) {
    const auto [slack, edge] = test::placeOf(round, 0);
    const size_t step = test::stepOf(round, form.rowBytes);
    Placed<uint8_t> dst(form.rowBytes, form.rows, step, slack, edge);
    Placed<uint8_t> expected(form.rowBytes, form.rows, step, slack, edge);
    PlacedBlocks src(form.shape, round);
    const int16_t* const planes[3] = {src.y.data(), src.cb.data(), src.cr.data()};
    for (int n = 0; n < 24; ++n) {
      const McuBlocks blocks = test::anyBlocks(random, form.shape, n);
      src.set(blocks);
      const auto srcBefore = src.snapshot();
      dst.fillPattern();
      expected.set(form.model(blocks));
      ASSERT_EQ(form.function(planes, dst.data(), dst.step()), qlmOk);
      ASSERT_TRUE(test::sameBytes(expected.snapshot(), dst.snapshot())) << "round " << round;
      ASSERT_EQ(src.snapshot(), srcBefore);
    }
  }
}

TEST(Model, qlmiSampleDown444LS_MCU_8u16s_C3P3R) { checkDown(0x4201, kDown444); }
TEST(Model, qlmiSampleDown422LS_MCU_8u16s_C3P3R) { checkDown(0x4202, kDown422); }
TEST(Model, qlmiSampleDown411LS_MCU_8u16s_C3P3R) { checkDown(0x4203, kDown411); }
TEST(Model, qlmiSplit422LS_MCU_8u16s_C2P3R) { checkDown(0x4204, kSplit); }
TEST(Model, qlmiSampleUp444LS_MCU_16s8u_P3C3R) { checkUp(0x4205, kUp444); }
TEST(Model, qlmiSampleUp422LS_MCU_16s8u_P3C3R) { checkUp(0x4206, kUp422); }
TEST(Model, qlmiSampleUp411LS_MCU_16s8u_P3C3R) { checkUp(0x4207, kUp411); }
TEST(Model, qlmiJoin422LS_MCU_16s8u_P3C2R) { checkUp(0x4208, kJoin); }

McuBlocks blocksFrom(const DownForm& form, const Bytes& pixels) {
  McuBlocks out{std::vector<int16_t>(lumaOf(form.shape)), std::vector<int16_t>(64), std::vector<int16_t>(64)};
  int16_t* const planes[3] = {out.y.data(), out.cb.data(), out.cr.data()};
  EXPECT_EQ(form.function(pixels.data(), static_cast<int32_t>(form.rowBytes), planes), qlmOk);
  return out;
}
Bytes picturesFrom(const UpForm& form, const McuBlocks& blocks) {
  Bytes out(form.rowBytes * form.rows);
  const int16_t* const planes[3] = {blocks.y.data(), blocks.cb.data(), blocks.cr.data()};
  EXPECT_EQ(form.function(planes, out.data(), static_cast<int32_t>(form.rowBytes)), qlmOk);
  return out;
}
McuBlocks flatBlocks(McuShape shape, int value) {
  const auto v = static_cast<int16_t>(value);
  return {std::vector<int16_t>(lumaOf(shape), v), std::vector<int16_t>(64, v), std::vector<int16_t>(64, v)};
}

constexpr const UpForm* kUpForms[] = {&kUp444, &kUp422, &kUp411, &kJoin};

// Every value of 16 bits, in luma and in chroma.
TEST(McuSampling, AllBlockValuesSaturate) {
  for (const UpForm* form : kUpForms) {
    for (int value = -32768; value <= 32767; ++value) {
      const auto expected = static_cast<uint8_t>(value < -128 ? 0 : value > 127 ? 255 : value + 128);
      ASSERT_EQ(picturesFrom(*form, flatBlocks(form->shape, value)), Bytes(form->rowBytes * form->rows, expected))
          << value;
    }
  }
}

// Every byte value in every place, and every sum of two and of four.
TEST(McuSampling, AllPairsOfChroma) {
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      const auto chroma = static_cast<int16_t>(((a + b) >> 1) - 128);
      Bytes pixels(48 * 16);
      for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i / 3 % 2 ? b : a);
      const McuBlocks half = blocksFrom(kDown422, Bytes(pixels.begin(), pixels.begin() + 48 * 8));
      ASSERT_EQ(half.cb, std::vector<int16_t>(64, chroma));
      ASSERT_EQ(half.cr, std::vector<int16_t>(64, chroma));
      // Rows of a, b over rows of b, b: a + 3 b.
      for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i / 48 % 2 || i / 3 % 2 ? b : a);
      const McuBlocks quarter = blocksFrom(kDown411, pixels);
      ASSERT_EQ(quarter.cb, std::vector<int16_t>(64, static_cast<int16_t>(((a + 3 * b) >> 2) - 128)));
      ASSERT_EQ(quarter.cr, quarter.cb);
      ASSERT_EQ(quarter.y[0], a - 128);
      ASSERT_EQ(quarter.y[1], b - 128);
    }
  }
}

TEST(McuSampling, MeansTruncate) {
  Bytes pixels(48 * 8);
  pixels[1] = 1;  // Cb of the first two pixels
  pixels[4] = 2;
  EXPECT_EQ(blocksFrom(kDown422, pixels).cb[0], -127);
  pixels.assign(48 * 16, 0);
  pixels[48 + 5] = 3;  // Cr of the lower right of the first four
  EXPECT_EQ(blocksFrom(kDown411, pixels).cr[0], -128);
  pixels[48 + 5] = 4;
  EXPECT_EQ(blocksFrom(kDown411, pixels).cr[0], -127);
}

// Where the halves of packed 4:2:2 and the blocks of luma lie, by one byte at a time.
TEST(McuSampling, BytesGoToTheirPlaces) {
  for (size_t i = 0; i < 256; ++i) {
    Bytes bytes(256, 128);
    bytes[i] = 129;
    const McuBlocks blocks = blocksFrom(kSplit, bytes);
    const size_t row = i / 32, column = i % 32, pixel = column / 2;
    McuBlocks expected = flatBlocks(model::kMcu422, 0);
    if (column % 2 == 0)
      expected.y[64 * (pixel / 8) + 8 * row + pixel % 8] = 1;
    else
      (column % 4 == 1 ? expected.cb : expected.cr)[8 * row + column / 4] = 1;
    ASSERT_EQ(blocks.y, expected.y) << "byte " << i;
    ASSERT_EQ(blocks.cb, expected.cb) << "byte " << i;
    ASSERT_EQ(blocks.cr, expected.cr) << "byte " << i;
  }
}

// Enlarging replicates, so reducing brings back what fits a byte and what saturates where it does not.
TEST(McuSampling, UpThenDownRestoresBytes) {
  Random random(0x4210);
  const std::pair<const UpForm*, const DownForm*> pairs[] = {
      {&kUp444, &kDown444}, {&kUp422, &kDown422}, {&kUp411, &kDown411}, {&kJoin, &kSplit}};
  for (const auto& [up, down] : pairs) {
    for (const int limit : {128, 200}) {
      McuBlocks blocks = flatBlocks(up->shape, 0), expected = blocks;
      const auto fill = [&](std::vector<int16_t>& plane, std::vector<int16_t>& back) {
        random.fill(std::span(plane), -limit, limit - 1);
        for (size_t i = 0; i < plane.size(); ++i) back[i] = std::clamp<int16_t>(plane[i], -128, 127);
      };
      fill(blocks.y, expected.y);
      fill(blocks.cb, expected.cb);
      fill(blocks.cr, expected.cr);
      const McuBlocks restored = blocksFrom(*down, picturesFrom(*up, blocks));
      EXPECT_EQ(restored.y, expected.y);
      EXPECT_EQ(restored.cb, expected.cb);
      EXPECT_EQ(restored.cr, expected.cr);
    }
  }
}

}  // namespace
