#include "jpeg/colour_check.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <thread>

namespace test {

using model::colour::Box;
using model::colour::Extent;
using model::colour::Pixels;
using model::colour::Planes;
using model::colour::Rgb;
using model::colour::Rule;

namespace {

constexpr int kPrimaries = 5;  // one more kind of data behind those of kAllData

bool hasStepPerPlane(const Rule& rule) { return rule.planes == Planes::Half || rule.planes == Planes::Quarter; }

// The exports that take any step.
bool takesAnyStep(const Rule& rule) {
  return hasStepPerPlane(rule) || rule.planes == Planes::PackedHalf || rule.pixels == Pixels::Rgb32 ||
         rule.pixels == Pixels::Bgr32;
}

QlmSize smallest(const Rule& rule) {
  if (rule.planes == Planes::PackedHalf) return {1, 1};
  const Box box = boxOf(rule.planes);
  return {box.across, box.down};
}

void fillKind(Region& region, int kind, Random& random) {
  if (kind == kPrimaries) {
    region.fillPrimaries(random);
  } else {
    region.fill(kAllData[kind], random);
  }
}

void checkSizes(const ColourExport& e) {
  const QlmSize least = smallest(e.rule);
  Random random(1);
  TRACE_SEED(1);
  std::vector<int> widths;
  for (int w = least.width; w <= 67; ++w) widths.push_back(w);
  for (int around : {128, 256, 1024, 4096})
    for (int d : {-1, 0, 1, 3, 6, 15}) widths.push_back(around + d);
  for (const int width : widths) {
    for (const int height : {1, 2, 3, 5}) {
      if (height < least.height || (width > 67 && height > 2)) continue;
      const QlmSize size{width, height};
      for (const Edge edge : {Edge::Back, Edge::Front}) {
        for (const bool padded : {false, true}) {
          const bool steps = hasStepPerPlane(e.rule);
          Region src(
              sourceExtents(e.rule, size),
              {.edge = edge, .padding = padded ? 1 + (width + 3 * height) % 40 : 0, .planePadding = steps ? 3 : 0});
          Region dst(
              destinationExtents(e.rule, size),
              {.edge = edge, .padding = padded ? 1 + (5 * width + height) % 40 : 0, .planePadding = steps ? 5 : 0});
          for (int kind = 0; kind <= kPrimaries; ++kind) {
            fillKind(src, kind, random);
            const auto alpha = static_cast<uint8_t>(random.bits());
            ASSERT_TRUE(agrees(e, src.view(), dst, dst.view(), size, alpha))
                << e.rule.name << ' ' << width << " x " << height << ", data " << kind << ", padded " << padded
                << (edge == Edge::Back ? ", back" : ", front");
          }
        }
      }
    }
  }
}

void checkAlignments(const ColourExport& e) {
  Random random(2);
  TRACE_SEED(2);
  for (const int width : {11, 37, 66}) {
    const QlmSize size{width, 2};
    Region src(sourceExtents(e.rule, size), {.edge = Edge::Front, .padding = 7, .slack = 31});
    Region dst(destinationExtents(e.rule, size), {.edge = Edge::Front, .padding = 9, .slack = 31});
    src.fill(Data::Noise, random);
    for (int from = 0; from < 32; ++from)
      for (int to = 0; to < 32; ++to)
        ASSERT_TRUE(agrees(e, src.shifted(from), dst, dst.shifted(to), size, 77))
            << e.rule.name << " width " << width << ", alignments " << from << ", " << to;
  }
}

// A source row may begin inside the one before it, down to a step of one byte.
void checkOverlappingSource(const ColourExport& e) {
  Random random(3);
  TRACE_SEED(3);
  for (const int width : {4, 21, 64}) {
    const QlmSize size{width, 6};
    for (const int step : {1, 2, width / 2}) {
      auto extents = sourceExtents(e.rule, size);
      if (hasStepPerPlane(e.rule) && !isForward(e.rule.body)) continue;  // planes of two widths
      Region src(extents, {.padding = step - extents[0].rowBytes});
      Region dst(destinationExtents(e.rule, size), {.padding = 3});
      src.fill(Data::Noise, random);
      ASSERT_TRUE(agrees(e, src.view(), dst, dst.view(), size, 1))
          << e.rule.name << " width " << width << " step " << step;
    }
  }
}

// Large enough for threads, and for many sums of unlike pixels.
void checkBulk(const ColourExport& e) {
  Random random(5);
  TRACE_SEED(5);
  for (const int width : {1000, 1007}) {
    const QlmSize size{width, 130};
    Region src(sourceExtents(e.rule, size), {}), dst(destinationExtents(e.rule, size), {});
    for (int kind : {0, kPrimaries}) {
      fillKind(src, kind, random);
      ASSERT_TRUE(agrees(e, src.view(), dst, dst.view(), size, 60)) << e.rule.name << " width " << width;
    }
  }
}

// Negative steps walk upwards; with a zero step each row lands on the one before it, and the last one stays.
void checkUntestedSteps(const ColourExport& e) {
  Random random(4);
  TRACE_SEED(4);
  for (const int width : {2, 5, 8, 15, 24, 33}) {
    for (const int height : {2, 3, 6}) {
      const QlmSize size{width, height};
      const int perPlane = hasStepPerPlane(e.rule) ? 2 : 0;
      Region src(sourceExtents(e.rule, size), {.padding = 5, .planePadding = perPlane});
      Region dst(destinationExtents(e.rule, size), {.padding = 7, .planePadding = perPlane});
      src.fill(Data::Noise, random);
      const View down[] = {src.view(), src.bottomUp(), src.allRowsFirst()};
      const View out[] = {dst.view(), dst.bottomUp(), dst.allRowsFirst()};
      for (const View& from : down)
        for (const View& to : out)
          ASSERT_TRUE(agrees(e, from, dst, to, size, 200))
              << e.rule.name << ' ' << width << " x " << height << " steps " << from.step[0] << ", " << to.step[0];
      if (!hasStepPerPlane(e.rule)) continue;
      // Each plane its own way.
      for (size_t turn = 0; turn < 3; ++turn) {
        View from = src.view(), to = dst.view();
        for (size_t p = 0; p < 3; ++p) {
          from.plane[p] = down[(p + turn) % 3].plane[p];
          from.step[p] = down[(p + turn) % 3].step[p];
          to.plane[p] = out[(p + 2 * turn) % 3].plane[p];
          to.step[p] = out[(p + 2 * turn) % 3].step[p];
        }
        ASSERT_TRUE(agrees(e, from, dst, to, size, 9))
            << e.rule.name << ' ' << width << " x " << height << " mixed steps";
      }
    }
  }
}

// --- Every colour --------------------------------------------------------------------------------------------------

constexpr uint32_t kColours = 1u << 24;

void writeColour(Pixels format, const View& view, int x, int y, uint32_t n) {
  if (is16Bit(format)) {
    const auto word = static_cast<uint16_t>(n);
    std::memcpy(view.row(0, y) + 2 * x, &word, sizeof word);
  } else {
    writePixel(format, view, x, y,
               {static_cast<int>(n >> 16 & 255), static_cast<int>(n >> 8 & 255), static_cast<int>(n & 255)},
               static_cast<int>(n % 251));
  }
}

void writeLuma(const Rule& rule, const View& view, int x, int y, uint32_t luma) {
  if (rule.planes == Planes::PackedHalf) {
    view.row(0, y)[2 * x] = static_cast<uint8_t>(luma);
  } else {
    view.row(0, y)[x] = static_cast<uint8_t>(luma);
    if (hasBlack(rule.pixels)) view.row(3, y)[x] = static_cast<uint8_t>(luma * 7 + 1);
  }
}

void writeChroma(const Rule& rule, const View& view, int x, int y, uint32_t cb, uint32_t cr) {
  if (rule.planes == Planes::PackedHalf) {
    view.row(0, y)[4 * x + 1] = static_cast<uint8_t>(cb);
    view.row(0, y)[4 * x + 3] = static_cast<uint8_t>(cr);
  } else {
    view.row(1, y)[x] = static_cast<uint8_t>(cb);
    view.row(2, y)[x] = static_cast<uint8_t>(cr);
  }
}

// One box of number n. Forward its pixels have one colour; inverse they share their chroma and take the lumas that
// follow one another.
void writeBox(const Rule& rule, const View& src, int bx, int by, uint32_t n) {
  const Box box = boxOf(rule.planes);
  for (int j = 0; j < box.down; ++j) {
    for (int i = 0; i < box.across; ++i) {
      const int x = bx * box.across + i, y = by * box.down + j, k = j * box.across + i;
      if (isForward(rule.body)) {
        writeColour(rule.pixels, src, x, y, n);
      } else {
        writeLuma(rule, src, x, y, (n >> 16) * static_cast<uint32_t>(box.pixels()) + static_cast<uint32_t>(k));
      }
    }
  }
  if (!isForward(rule.body)) writeChroma(rule, src, bx, by, n & 255, n >> 8 & 255);
}

void measureBox(const Rule& rule, const View& src, const View& dst, int bx, int by, Deviation& d) {
  const Box box = boxOf(rule.planes);
  std::array<double, 3> mean{};
  for (int j = 0; j < box.down; ++j) {
    for (int i = 0; i < box.across; ++i) {
      const int x = bx * box.across + i, y = by * box.down + j;
      if (isForward(rule.body)) {
        const Rgb p = readPixel(rule.pixels, src, x, y);
        mean = {mean[0] + p.r, mean[1] + p.g, mean[2] + p.b};
        d.first = std::max(d.first, std::abs(jfifLuma(p.r, p.g, p.b) - dst.row(0, y)[x]));
      } else {
        const bool packed = rule.planes == Planes::PackedHalf;
        const int luma = src.row(0, y)[packed ? 2 * x : x];
        const int cb = packed ? src.row(0, y)[4 * bx + 1] : src.row(1, by)[bx];
        const int cr = packed ? src.row(0, y)[4 * bx + 3] : src.row(2, by)[bx];
        const Rgb p = readPixel(rule.pixels, dst, x, y);
        widen(d, jfifInverse(luma, cb, cr), {p.r, p.g, p.b});
      }
    }
  }
  if (!isForward(rule.body) || rule.planes == Planes::LumaOnly) return;
  const double n = box.pixels();
  const std::array<double, 2> exact = jfifChroma(mean[0] / n, mean[1] / n, mean[2] / n);
  d.second = std::max(d.second, std::abs(exact[0] - dst.row(1, by)[bx]));
  d.third = std::max(d.third, std::abs(exact[1] - dst.row(2, by)[bx]));
}

template <typename Visit>
void forEachBox(uint32_t across, uint32_t down, const Visit& visit) {
  for (uint32_t by = 0; by < down; ++by)
    for (uint32_t bx = 0; bx < across; ++bx) visit(static_cast<int>(bx), static_cast<int>(by));
}

}  // namespace

std::array<Extent, 4> sourceExtents(const Rule& rule, QlmSize size) {
  return isForward(rule.body) ? pixelExtents(rule, size) : sampleExtents(rule, size);
}
std::array<Extent, 4> destinationExtents(const Rule& rule, QlmSize size) {
  return isForward(rule.body) ? sampleExtents(rule, size) : pixelExtents(rule, size);
}

Region::Region(const std::array<Extent, 4>& extents, const Placement& placement) : extents_(extents) {
  for (size_t p = 0; p < 4; ++p) {
    const auto [rowBytes, rows] = extents[p];
    const int step = rowBytes + placement.padding + static_cast<int>(p) * placement.planePadding;
    if (rows == 0) continue;
    const auto bytes = static_cast<size_t>((rows - 1) * step + rowBytes);
    memory_[p].emplace(bytes + static_cast<size_t>(placement.slack), placement.edge);
    view_.plane[p] = memory_[p]->data();
    view_.step[p] = step;
  }
}

std::span<uint8_t> Region::bytes(size_t p) const {
  return memory_[p] ? std::span(memory_[p]->data(), memory_[p]->size()) : std::span<uint8_t>();
}

View Region::bottomUp() const {
  View turned = view_;
  for (size_t p = 0; p < 4; ++p) {
    if (!memory_[p]) continue;
    turned.plane[p] = view_.row(p, extents_[p].rows - 1);
    turned.step[p] = -view_.step[p];
  }
  return turned;
}

View Region::allRowsFirst() const {
  View first = view_;
  first.step = {};
  return first;
}

View Region::shifted(ptrdiff_t bytes) const {
  View moved = view_;
  for (uint8_t*& plane : moved.plane)
    if (plane) plane += bytes;
  return moved;
}

void Region::fill(Data kind, Random& random) {
  for (size_t p = 0; p < 4; ++p) fillData(bytes(p), kind, random);
}

void Region::fillPrimaries(Random& random) {
  for (size_t p = 0; p < 4; ++p)
    for (uint8_t& b : bytes(p)) b = random.oneIn(2) ? 0 : 255;
}

void Region::fillPattern() {
  for (size_t p = 0; p < 4; ++p) {
    uint8_t value = 0xA5;
    for (uint8_t& b : bytes(p)) b = value = static_cast<uint8_t>(value + 7);
  }
}

Region::Copies Region::copy() const {
  Copies planes;
  for (size_t p = 0; p < 4; ++p) planes[p].assign(bytes(p).begin(), bytes(p).end());
  return planes;
}

View Region::viewOf(const View& own, Copies& planes) const {
  View view = own;
  for (size_t p = 0; p < 4; ++p)
    if (memory_[p]) view.plane[p] = planes[p].data() + (own.plane[p] - memory_[p]->data());
  return view;
}

::testing::AssertionResult Region::equals(const Copies& planes) const {
  for (size_t p = 0; p < 4; ++p) {
    const std::span<uint8_t> own = bytes(p);
    const auto [expected, found] = std::mismatch(planes[p].begin(), planes[p].end(), own.begin());
    if (found == own.end()) continue;
    const ptrdiff_t at = found - own.begin();
    return ::testing::AssertionFailure() << "plane " << p << " byte " << at << " (row " << at / view_.step[p]
                                         << " byte " << at % view_.step[p] << "): " << int{*found} << " instead of "
                                         << int{*expected};
  }
  return ::testing::AssertionSuccess();
}

::testing::AssertionResult agrees(const ColourExport& e, const View& src, Region& dst, const View& dstView,
                                  QlmSize size, uint8_t alpha) {
  dst.fillPattern();
  auto expected = dst.copy();
  const QlmStatus want = convert(e.rule, src, dst.viewOf(dstView, expected), size, alpha);
  const QlmStatus got = e.convert(src, dstView, size, alpha);
  if (got != want) return ::testing::AssertionFailure() << "status " << got << " instead of " << want;
  return dst.equals(expected);
}

void checkShapes(const ColourExport& e) {
  checkSizes(e);
  checkAlignments(e);
  checkOverlappingSource(e);
  checkBulk(e);
  if (takesAnyStep(e.rule)) checkUntestedSteps(e);
}

void checkEveryColour(const ColourExport& e, int width, const Deviation& expected) {
  const Box box = boxOf(e.rule.planes);
  uint32_t count = kColours;
  if (is16Bit(e.rule.pixels) && isForward(e.rule.body)) count = 1u << 16;
  if (!isForward(e.rule.body)) count /= static_cast<uint32_t>(box.pixels());
  // Calls too small to fork; the last one of a share reaches into the next share, that of all into the first.
  const auto across = static_cast<uint32_t>(width / box.across), down = 4096 / static_cast<uint32_t>(width * box.down);
  const QlmSize size{width, static_cast<int>(down) * box.down};
  constexpr uint32_t kShare = 1u << 16;
  Deviation measured;
  std::mutex lock;
  inParallel(static_cast<int>(count / kShare), [&](int share) {
    Region src(sourceExtents(e.rule, size), {.edge = Edge::Front}), dst(destinationExtents(e.rule, size), {});
    Deviation own;
    for (uint32_t first = 0; first < kShare; first += across * down) {
      uint32_t n = static_cast<uint32_t>(share) * kShare + first;
      forEachBox(across, down, [&](int bx, int by) { writeBox(e.rule, src.view(), bx, by, n++ % count); });
      ASSERT_TRUE(agrees(e, src.view(), dst, dst.view(), size, 119)) << e.rule.name << " share " << share;
      forEachBox(across, down, [&](int bx, int by) { measureBox(e.rule, src.view(), dst.view(), bx, by, own); });
    }
    const std::lock_guard guard(lock);
    widen(measured, own);
  });
  expectDeviation(measured, expected);
}

double jfifLuma(double r, double g, double b) { return 0.299 * r + 0.587 * g + 0.114 * b; }

std::array<double, 2> jfifChroma(double r, double g, double b) {
  const double y = jfifLuma(r, g, b);
  return {(b - y) * (1 / 1.772) + 128, (r - y) * (1 / 1.402) + 128};
}

std::array<double, 3> jfifInverse(double y, double cb, double cr) {
  const double r = y + 1.402 * (cr - 128), b = y + 1.772 * (cb - 128);
  const double g = (y - 0.299 * r - 0.114 * b) * (1 / 0.587);
  return {std::clamp(r, 0.0, 255.0), std::clamp(g, 0.0, 255.0), std::clamp(b, 0.0, 255.0)};
}

void widen(Deviation& d, const std::array<double, 3>& exact, const std::array<int, 3>& result) {
  d.first = std::max(d.first, std::abs(exact[0] - result[0]));
  d.second = std::max(d.second, std::abs(exact[1] - result[1]));
  d.third = std::max(d.third, std::abs(exact[2] - result[2]));
}

void widen(Deviation& d, const Deviation& other) {
  d.first = std::max(d.first, other.first);
  d.second = std::max(d.second, other.second);
  d.third = std::max(d.third, other.third);
}

void expectDeviation(const Deviation& measured, const Deviation& expected) {
  EXPECT_NEAR(measured.first, expected.first, 0.0001);
  EXPECT_NEAR(measured.second, expected.second, 0.0001);
  EXPECT_NEAR(measured.third, expected.third, 0.0001);
}

Bytes repeated(const Bytes& bytes, size_t count) {
  Bytes row;
  for (size_t i = 0; i < count; ++i) row.insert(row.end(), bytes.begin(), bytes.end());
  return row;
}

Bytes joined(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

void inParallel(int count, const std::function<void(int)>& part) {
  const auto share = [&](int first) {
    for (int i = first; i < count; i += 2) part(i);
  };
  std::thread other(share, 1);
  share(0);
  other.join();
}

}  // namespace test
