#include "jpeg/colour_mcu_check.h"

#include <cstring>
#include <mutex>

namespace test {

using model::colour::blockIndex;
using model::colour::Blocks;
using model::colour::Box;
using model::colour::McuRule;
using model::colour::Rgb;
using model::colour::Rule;

namespace {

QlmSize sizeOf(const McuRule& rule) {
  const Box box = boxOf(rule.planes);
  return {8 * box.across, 8 * box.down};
}

// The pixels lie as those of a plane conversion do.
std::array<model::colour::Extent, 4> extentsOf(const McuRule& rule) {
  return pixelExtents(Rule{rule.name, rule.pixels, model::colour::Planes::Full, 1, {}, {}}, sizeOf(rule));
}

std::array<size_t, 4> elementsOf(const McuRule& rule) {
  const auto luma = static_cast<size_t>(64 * boxOf(rule.planes).pixels());
  return {luma, 64, 64, hasBlack(rule.pixels) ? luma : 0};
}

enum class BlockData { AllValues, Samples, Beyond, Corners };
constexpr BlockData kBlockData[] = {BlockData::AllValues, BlockData::Samples, BlockData::Beyond, BlockData::Corners};

// Samples, samples with what an inverse transform overshoots, all of 16 bits, and the values at which clamps begin.
int drawElement(BlockData kind, Random& random) {
  constexpr int kCorners[] = {-32768, -32767, -16384, -257, -256, -255, -129, -128,  -127,  -1,   0,
                              1,      126,    127,    128,  255,  256,  257,  16383, 32766, 32767};
  switch (kind) {
    case BlockData::AllValues:
      return static_cast<int>(random.between(-32768, 32767));
    case BlockData::Samples:
      return static_cast<int>(random.between(-128, 127));
    case BlockData::Beyond:
      return static_cast<int>(random.between(-600, 600));
    default:
      return kCorners[random.between(0, std::ssize(kCorners) - 1)];
  }
}

void fillBlocks(const Mcu& mcu, BlockData kind, Random& random) {
  for (size_t p = 0; p < 4; ++p)
    for (size_t i = 0; i < mcu.elements(p); ++i) mcu.setBlock(p, static_cast<int>(i), drawElement(kind, random));
}

void checkData(const McuExport& e) {
  Random random(11);
  TRACE_SEED(11);
  for (const Edge edge : {Edge::Back, Edge::Front}) {
    for (const int padding : {0, 1, 2, 13, 16, 64}) {
      Mcu mcu(e.rule, {.edge = edge, .padding = padding});
      for (int round = 0; round < 40; ++round) {
        fillBlocks(mcu, kBlockData[round % 4], random);
        if (round % 4 == 0) {
          mcu.region().fillPrimaries(random);
        } else {
          mcu.region().fill(kAllData[round % 5], random);
        }
        ASSERT_TRUE(agrees(e, mcu)) << e.rule.name << " padding " << padding << " round " << round;
      }
    }
  }
}

void checkMcuAlignments(const McuExport& e) {
  Random random(12);
  TRACE_SEED(12);
  Mcu mcu(e.rule, {.edge = Edge::Front, .padding = 5, .slack = 31});
  for (int pixels = 0; pixels < 32; ++pixels) {
    for (int blocks = 0; blocks < 32; ++blocks) {
      mcu.shift(pixels, blocks);
      mcu.region().fill(Data::Noise, random);
      fillBlocks(mcu, BlockData::Samples, random);
      ASSERT_TRUE(agrees(e, mcu)) << e.rule.name << " alignments " << pixels << ", " << blocks;
    }
  }
}

// No step that is at least 1 is refused.
void checkOverlappingRows(const McuExport& e) {
  Random random(13);
  TRACE_SEED(13);
  for (const int step : {1, 2, 3, 8, 15}) {
    Mcu mcu(e.rule, {.padding = step - extentsOf(e.rule)[0].rowBytes});
    mcu.region().fill(Data::Noise, random);
    ASSERT_TRUE(agrees(e, mcu)) << e.rule.name << " step " << step;
  }
}

// Calls visit(box row and column, x, y of the pixel, index of its luma element).
template <typename Visit>
void forEachPixel(const McuRule& rule, const Visit& visit) {
  const Box box = boxOf(rule.planes);
  for (int y = 0; y < 8 * box.down; ++y)
    for (int x = 0; x < 8 * box.across; ++x)
      visit(blockIndex(y / box.down, x / box.across, 1), x, y, blockIndex(y, x, box.across));
}

void fillForward(const McuRule& rule, const Mcu& mcu, uint32_t n) {
  forEachPixel(rule, [&](int c, int x, int y, int) {
    const uint32_t colour = n + static_cast<uint32_t>(c);
    if (is16Bit(rule.pixels)) {
      const auto word = static_cast<uint16_t>(colour);
      std::memcpy(mcu.pixels().row(0, y) + 2 * x, &word, sizeof word);
    } else {
      const Rgb p{static_cast<int>(colour >> 16), static_cast<int>(colour >> 8 & 255), static_cast<int>(colour & 255)};
      writePixel(rule.pixels, mcu.pixels(), x, y, p, static_cast<int>(colour % 251));
    }
  });
}

void fillInverse(const McuRule& rule, const Mcu& mcu, uint32_t n) {
  const auto pixels = static_cast<uint32_t>(boxOf(rule.planes).pixels());
  for (int c = 0; c < 64; ++c) {
    const uint32_t pair = (n + static_cast<uint32_t>(c)) & 0xFFFF;
    mcu.setBlock(1, c, static_cast<int>(pair & 255) - 128);
    mcu.setBlock(2, c, static_cast<int>(pair >> 8) - 128);
  }
  std::array<uint32_t, 64> within{};  // pixels of the box so far
  forEachPixel(rule, [&](int c, int, int, int luma) {
    const uint32_t value = (n >> 16) * pixels + within[static_cast<size_t>(c)]++;
    mcu.setBlock(0, luma, static_cast<int>(value) - 128);
    if (hasBlack(rule.pixels)) mcu.setBlock(3, luma, 127 - static_cast<int>(value));
  });
}

void measure(const McuRule& rule, const Mcu& mcu, Deviation& d) {
  forEachPixel(rule, [&](int c, int x, int y, int luma) {
    const Rgb p = readPixel(rule.pixels, mcu.pixels(), x, y);
    const int s[] = {mcu.block(0, luma) + 128, mcu.block(1, c) + 128, mcu.block(2, c) + 128};
    if (rule.forward) {
      const auto [cb, cr] = jfifChroma(p.r, p.g, p.b);
      widen(d, {jfifLuma(p.r, p.g, p.b), cb, cr}, {s[0], s[1], s[2]});
    } else {
      widen(d, jfifInverse(s[0], s[1], s[2]), {p.r, p.g, p.b});
    }
  });
}

}  // namespace

Mcu::Mcu(const McuRule& rule, const Placement& placement) : region_(extentsOf(rule), placement) {
  const std::array<size_t, 4> elements = elementsOf(rule);
  for (size_t p = 0; p < 4; ++p) {
    elements_[p] = elements[p];
    if (elements[p] > 0) memory_[p].emplace(2 * elements[p] + static_cast<size_t>(placement.slack), placement.edge);
  }
  shift(0, 0);
}

void Mcu::shift(ptrdiff_t pixels, ptrdiff_t blocks) {
  pixels_ = region_.shifted(pixels);
  for (size_t p = 0; p < 4; ++p)
    if (memory_[p]) blocks_[p] = reinterpret_cast<int16_t*>(memory_[p]->data() + blocks);
}

void Mcu::setBlock(size_t plane, int index, int value) const {
  const auto element = static_cast<int16_t>(value);
  std::memcpy(reinterpret_cast<uint8_t*>(blocks_[plane]) + 2 * index, &element, sizeof element);
}

int Mcu::block(size_t plane, int index) const {
  int16_t element;
  std::memcpy(&element, reinterpret_cast<const uint8_t*>(blocks_[plane]) + 2 * index, sizeof element);
  return element;
}

::testing::AssertionResult agrees(const McuExport& e, Mcu& mcu) {
  // The model works on aligned copies of the blocks.
  std::array<std::vector<int16_t>, 4> want;
  Blocks wantBlocks{};
  for (size_t p = 0; p < 4; ++p) {
    want[p].resize(mcu.elements(p));
    for (size_t i = 0; i < want[p].size(); ++i) want[p][i] = static_cast<int16_t>(mcu.block(p, static_cast<int>(i)));
    wantBlocks[p] = want[p].data();
  }
  Region::Copies wantPixels = mcu.region().copy();
  convertMcu(e.rule, mcu.region().viewOf(mcu.pixels(), wantPixels), wantBlocks);
  if (e.convert(mcu.pixels(), mcu.blocks()) != qlmOk) return ::testing::AssertionFailure() << "not qlmOk";
  for (size_t p = 0; p < 4; ++p)
    for (size_t i = 0; i < want[p].size(); ++i)
      if (mcu.block(p, static_cast<int>(i)) != want[p][i])
        return ::testing::AssertionFailure() << "block plane " << p << " element " << i << ": "
                                             << mcu.block(p, static_cast<int>(i)) << " instead of " << want[p][i];
  return mcu.region().equals(wantPixels);
}

void checkMcu(const McuExport& e) {
  checkData(e);
  checkMcuAlignments(e);
  if (e.rule.forward) checkOverlappingRows(e);
}

void checkEveryMcuColour(const McuExport& e, const Deviation& expected) {
  uint32_t count = 1u << 24;
  if (e.rule.forward && is16Bit(e.rule.pixels)) count = 1u << 16;
  if (!e.rule.forward) count /= static_cast<uint32_t>(boxOf(e.rule.planes).pixels());
  Deviation measured;
  std::mutex lock;
  constexpr uint32_t kShare = 1u << 16;
  inParallel(static_cast<int>(count / kShare), [&](int share) {
    Mcu mcu(e.rule, {});
    Deviation own;
    for (uint32_t i = 0; i < kShare; i += 64) {
      const uint32_t n = static_cast<uint32_t>(share) * kShare + i;
      if (e.rule.forward) {
        fillForward(e.rule, mcu, n);
      } else {
        fillInverse(e.rule, mcu, n);
      }
      ASSERT_TRUE(agrees(e, mcu)) << e.rule.name << " from colour " << n;
      measure(e.rule, mcu, own);
    }
    const std::lock_guard guard(lock);
    widen(measured, own);
  });
  expectDeviation(measured, expected);
}

}  // namespace test
