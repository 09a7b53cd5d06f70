// JPEG 2000's transforms beside OpenJPEG's, on pictures and on noise: the reversible ones are equal, the irreversible
// ones agree within what the rounding of their number formats allows. Each bound stands where it is used.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <vector>

#include "qlmjp.h"
#include "support/openjpeg_transforms.h"
#include "support/picture.h"
#include "support/random.h"

namespace test {
namespace {

template <typename T>
struct Plane {
  int32_t width, height;
  std::vector<T> samples;

  Plane(int32_t w, int32_t h) : width(w), height(h), samples(static_cast<size_t>(w) * static_cast<size_t>(h)) {}

  template <typename S>
  explicit Plane(const Plane<S>& of) : Plane(of.width, of.height) {
    std::ranges::transform(of.samples, samples.begin(), [](S v) { return static_cast<T>(v); });
  }

  T* row(int32_t y) { return samples.data() + ptrdiff_t{width} * y; }
  const T* row(int32_t y) const { return samples.data() + ptrdiff_t{width} * y; }
  int32_t step() const { return width * static_cast<int32_t>(sizeof(T)); }
  bool operator==(const Plane&) const = default;
};

// The components of a picture with their level shifted, as a codec hands them to the transforms.
std::vector<Plane<int32_t>> components(const sample::Picture& picture) {
  std::vector<Plane<int32_t>> planes(static_cast<size_t>(picture.channels), {picture.width, picture.height});
  for (size_t i = 0; i < picture.pixels.size(); ++i)
    planes[i % planes.size()].samples[i / planes.size()] = picture.pixels[i] - 128;
  return planes;
}

Plane<int32_t> noise(int32_t width, int32_t height, int32_t limit) {
  Plane<int32_t> plane(width, height);
  Random(static_cast<uint64_t>(width) * 1000 + static_cast<uint64_t>(height))
      .fill(std::span(plane.samples), -limit, limit - 1);
  return plane;
}

// A painted picture of odd width, one of odd height, and the photographs that are at hand.
std::vector<sample::Picture> pictures() {
  std::vector<sample::Picture> all{sample::paintPicture(641, 480), sample::paintPicture(300, 233)};
  for (const auto& file : sample::photographs()) all.push_back(sample::readPicture(file));
  return all;
}

// What a comparison found, in steps of a sample.
struct Errors {
  double largest = 0, squares = 0;
  size_t count = 0;

  void add(double a, double b) {
    largest = std::max(largest, std::abs(a - b));
    squares += (a - b) * (a - b);
    ++count;
  }
  template <typename A, typename B>
  void add(const std::vector<A>& a, const std::vector<B>& b) {
    for (size_t i = 0; i < a.size(); ++i) add(static_cast<double>(a[i]), static_cast<double>(b[i]));
  }
  double rms() const { return std::sqrt(squares / static_cast<double>(std::max<size_t>(count, 1))); }
};

#define EXPECT_WITHIN(errors, largest_, rms_)              \
  do {                                                     \
    EXPECT_GT((errors).count, 0u);                         \
    EXPECT_LE((errors).largest, largest_) << errors.rms(); \
    EXPECT_LE((errors).rms(), rms_) << errors.largest;     \
  } while (false)

// ---- Component transforms ----

template <typename T>
struct Components {
  Plane<T> planes[3];
  T* first[3]{planes[0].row(0), planes[1].row(0), planes[2].row(0)};

  explicit Components(const std::vector<Plane<int32_t>>& of)
      : planes{Plane<T>(of[0]), Plane<T>(of[1]), Plane<T>(of[2])} {}
  Components(const Components&) = delete;
  QlmSize size() const { return {planes[0].width, planes[0].height}; }
  int32_t step() const { return planes[0].step(); }
};

// OpenJPEG asks for planes at multiples of 16 bytes, which those of std::vector are here.
template <typename T, typename Transform>
void byOpenjpeg(Components<T>& c, Transform transform) {
  for (const T* plane : c.first) ASSERT_EQ(reinterpret_cast<uintptr_t>(plane) % 16, 0u);
  transform(c.first[0], c.first[1], c.first[2], c.planes[0].samples.size());
}

template <typename T>
std::vector<T> interleaved(const Components<T>& c) {
  std::vector<T> pixels;
  for (size_t i = 0; i < c.planes[0].samples.size(); ++i)
    for (const Plane<T>& plane : c.planes) pixels.push_back(plane.samples[i]);
  return pixels;
}

std::vector<std::vector<Plane<int32_t>>> threeComponents(int32_t limit) {
  std::vector<std::vector<Plane<int32_t>>> all;
  for (const sample::Picture& picture : pictures()) all.push_back(components(picture));
  for (const int32_t width : {1, 2, 7, 33, 500}) {
    // Three parts of one plane of noise, so that they differ.
    const Plane<int32_t> source = noise(width, 15, limit);
    all.emplace_back(3, Plane<int32_t>(width, 5));
    for (size_t i = 0; i < source.samples.size(); ++i) all.back()[i % 3].samples[i / 3] = source.samples[i];
  }
  return all;
}

template <typename T, typename Split, typename Forward, typename Inverse, typename Join>
void expectReversible(Split split, Forward forward, Inverse inverse, Join join, int32_t limit) {
  for (const auto& source : threeComponents(limit)) {
    Components<int32_t> peer(source);
    byOpenjpeg(peer, openjpeg::opj_mct_encode);
    Components<T> ours(source), apart(source);
    const std::vector<T> pixels = interleaved(ours);
    ASSERT_EQ(forward(ours.first, ours.step(), ours.size()), qlmOk);
    ASSERT_EQ(split(pixels.data(), 3 * apart.step(), apart.first, apart.step(), apart.size()), qlmOk);
    for (size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(ours.planes[c], Plane<T>(peer.planes[c]));
      ASSERT_EQ(apart.planes[c], ours.planes[c]);
    }

    std::vector<T> joined(pixels.size());
    ASSERT_EQ(join(ours.first, ours.step(), joined.data(), 3 * ours.step(), ours.size()), qlmOk);
    ASSERT_EQ(inverse(ours.first, ours.step(), ours.size()), qlmOk);
    byOpenjpeg(peer, openjpeg::opj_mct_decode);
    for (size_t c = 0; c < 3; ++c) ASSERT_EQ(ours.planes[c], Plane<T>(peer.planes[c]));
    ASSERT_EQ(joined, interleaved(ours));
    ASSERT_EQ(joined, pixels);
  }
}

TEST(Jpeg2000Interop, Rct16sIsOpenjpegs) {
  expectReversible<int16_t>(qlmiRCTFwd_JPEG2K_16s_C3P3R, qlmiRCTFwd_JPEG2K_16s_P3IR, qlmiRCTInv_JPEG2K_16s_P3IR,
                            qlmiRCTInv_JPEG2K_16s_P3C3R, 1 << 13);
}

TEST(Jpeg2000Interop, Rct32sIsOpenjpegs) {
  expectReversible<int32_t>(qlmiRCTFwd_JPEG2K_32s_C3P3R, qlmiRCTFwd_JPEG2K_32s_P3IR, qlmiRCTInv_JPEG2K_32s_P3IR,
                            qlmiRCTInv_JPEG2K_32s_P3C3R, 1 << 28);
}

// Same constants, same order of the sums forward; the inverse green subtracts in another order, so it can differ by
// the roundings of single precision at 8 bits and sign.
TEST(Jpeg2000Interop, Ict32fIsOpenjpegs) {
  for (const auto& source : threeComponents(256)) {
    Components<float> ours(source), apart(source), peer(source);
    const std::vector<float> pixels = interleaved(ours);
    byOpenjpeg(peer, openjpeg::opj_mct_encode_real);
    ASSERT_EQ(qlmiICTFwd_JPEG2K_32f_P3IR(ours.first, ours.step(), ours.size()), qlmOk);
    ASSERT_EQ(qlmiICTFwd_JPEG2K_32f_C3P3R(pixels.data(), 3 * apart.step(), apart.first, apart.step(), apart.size()),
              qlmOk);
    for (size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(ours.planes[c], peer.planes[c]);
      ASSERT_EQ(ours.planes[c], apart.planes[c]);
    }
    std::vector<float> joined(pixels.size());
    ASSERT_EQ(qlmiICTInv_JPEG2K_32f_P3C3R(ours.first, ours.step(), joined.data(), 3 * ours.step(), ours.size()), qlmOk);
    ASSERT_EQ(qlmiICTInv_JPEG2K_32f_P3IR(ours.first, ours.step(), ours.size()), qlmOk);
    byOpenjpeg(peer, openjpeg::opj_mct_decode_real);
    Errors errors;
    for (size_t c = 0; c < 3; ++c) errors.add(ours.planes[c].samples, peer.planes[c].samples);
    EXPECT_WITHIN(errors, 1e-4, 1e-4);
    ASSERT_EQ(joined, interleaved(ours));
  }
}

template <typename T, typename Forward, typename Inverse>
void expectIctNear(Forward forward, Inverse inverse, double largestForward) {
  for (const auto& source : threeComponents(256)) {
    Components<float> peer(source);
    Components<T> ours(source);
    byOpenjpeg(peer, openjpeg::opj_mct_encode_real);
    ASSERT_EQ(forward(ours.first, ours.step(), ours.size()), qlmOk);
    Errors there, back;
    for (size_t c = 0; c < 3; ++c) there.add(ours.planes[c].samples, peer.planes[c].samples);
    EXPECT_WITHIN(there, largestForward, 0.5);

    Components<float> same(
        {Plane<int32_t>(ours.planes[0]), Plane<int32_t>(ours.planes[1]), Plane<int32_t>(ours.planes[2])});
    byOpenjpeg(same, openjpeg::opj_mct_decode_real);
    ASSERT_EQ(inverse(ours.first, ours.step(), ours.size()), qlmOk);
    for (size_t c = 0; c < 3; ++c) back.add(ours.planes[c].samples, same.planes[c].samples);
    EXPECT_WITHIN(back, 0.52, 0.5);
  }
}

// One rounding for each value, and constants of 14 bits at values of 9.
TEST(Jpeg2000Interop, Ict32sIsNearOpenjpegs) {
  expectIctNear<int32_t>(qlmiICTFwd_JPEG2K_32s_P3IR, qlmiICTInv_JPEG2K_32s_P3IR, 0.52);
}

// A second rounding of a half, which the factor 11686 / 2^14 = 0.713 takes down.
TEST(Jpeg2000Interop, Ict16sIsNearOpenjpegs) {
  expectIctNear<int16_t>(qlmiICTFwd_JPEG2K_16s_P3IR, qlmiICTInv_JPEG2K_16s_P3IR, 0.52 + 0.36);
}

// ---- Planes, 5/3 ----

// The calls of one filter and element type by the names of the exports.
#define PLANE_CALLS(Name, T, names)                                                                              \
  struct Name {                                                                                                  \
    using Element = T;                                                                                           \
    static void forward(Plane<T>& plane, const QlmRect& rect) {                                                  \
      auto room = scratch(rect, qlmiWTGetBufSize_##names##_C1IR);                                                \
      ASSERT_EQ(qlmiWTFwd_##names##_C1IR(plane.row(0), plane.step(), rect, room.data()), qlmOk);                 \
    }                                                                                                            \
    static void inverse(Plane<T>& plane, const QlmRect& rect) {                                                  \
      auto room = scratch(rect, qlmiWTGetBufSize_##names##_C1IR);                                                \
      ASSERT_EQ(qlmiWTInv_##names##_C1IR(plane.row(0), plane.step(), rect, room.data()), qlmOk);                 \
    }                                                                                                            \
    static void forward(const Plane<T>& plane, const QlmRect& rect, T* const bands[4], const int32_t steps[4]) { \
      auto room = scratch(rect, qlmiWTGetBufSize_##names##_C1R);                                                 \
      ASSERT_EQ(qlmiWTFwd_##names##_C1R(plane.row(0), plane.step(), rect, bands, steps, room.data()), qlmOk);    \
    }                                                                                                            \
    static void inverse(const T* const bands[4], const int32_t steps[4], Plane<T>& plane, const QlmRect& rect) { \
      auto room = scratch(rect, qlmiWTGetBufSize_##names##_C1R);                                                 \
      ASSERT_EQ(qlmiWTInv_##names##_C1R(bands, steps, plane.row(0), plane.step(), rect, room.data()), qlmOk);    \
    }                                                                                                            \
  }

template <typename Query>
std::vector<uint8_t> scratch(const QlmRect& rect, Query query) {
  int32_t bytes = 0;
  EXPECT_EQ(query(rect, &bytes), qlmOk);
  return std::vector<uint8_t>(static_cast<size_t>(bytes) + 1);  // never empty, as null is refused
}

PLANE_CALLS(Planes53Of16s, int16_t, B53_JPEG2K_16s);
PLANE_CALLS(Planes53Of32s, int32_t, B53_JPEG2K_32s);
PLANE_CALLS(Planes97Of16s, int16_t, D97_JPEG2K_16s);
PLANE_CALLS(Planes97Of32s, int32_t, D97_JPEG2K_32s);

// A plane cut into four where the forms with separate bands cut it, whatever the phase.
template <typename T>
struct Bands {
  T* first[4];
  int32_t step[4];

  explicit Bands(Plane<T>& plane) {
    const int32_t x = (plane.width + 1) / 2, y = (plane.height + 1) / 2;
    for (size_t i = 0; i < 4; ++i) {
      // A band without samples is never reached for: any address will do.
      const bool none = (i >= 2 && plane.width == 1) || (i % 2 && plane.height == 1);
      first[i] = none ? plane.row(0) : plane.row(i % 2 ? y : 0) + (i >= 2 ? x : 0);
      step[i] = plane.step();
    }
  }
};

template <typename Calls>
void expectPlanes53(const Plane<int32_t>& source, int32_t x, int32_t y) {
  using T = typename Calls::Element;
  SCOPED_TRACE(testing::Message() << source.width << " x " << source.height << " at " << x << ", " << y);
  const QlmRect rect{x, y, source.width, source.height};
  Plane<int32_t> peer = source;
  openjpeg::Level(rect, peer.row(0)).forward53();
  const Plane<T> expected(peer), original(source);
  Plane<T> ours = original, apart(source.width, source.height);
  Calls::forward(ours, rect);
  ASSERT_EQ(ours, expected);
  const Bands<T> bands(apart);
  Calls::forward(original, rect, bands.first, bands.step);
  ASSERT_EQ(apart, expected);

  Plane<T> restored(source.width, source.height);
  Calls::inverse(bands.first, bands.step, restored, rect);
  ASSERT_EQ(restored, original);
  Calls::inverse(ours, rect);
  ASSERT_EQ(ours, original);
}

template <typename Calls>
void expectAllPlanes53(int32_t limit) {
  for (int32_t phases = 0; phases < 4; ++phases) {
    const int32_t x = phases & 1, y = phases >> 1;
    for (int32_t height = 1; height <= 20; ++height)
      for (int32_t width = 1; width <= 40; ++width) expectPlanes53<Calls>(noise(width, height, limit), x, y);
    expectPlanes53<Calls>(noise(613, 3, limit), x + 6, y + 8);
    expectPlanes53<Calls>(noise(2, 301, limit), x, y);
    for (const sample::Picture& picture : pictures())
      expectPlanes53<Calls>(components(sample::toGrey(picture))[0], x + 2, y + 4);
  }
}

TEST(Jpeg2000Interop, Planes53Of16sAreOpenjpegs) { expectAllPlanes53<Planes53Of16s>(1 << 11); }
TEST(Jpeg2000Interop, Planes53Of32sAreOpenjpegs) { expectAllPlanes53<Planes53Of32s>(1 << 26); }

// ---- Planes, 9/7 ----

// Where the value at a place of a line of the forward 9/7 plane forms stands in the line of the standard: at an odd
// origin the high values come first, and in a line of odd length the last of them takes the place of the first low
// one, and nothing comes to the last place.
int32_t standardPlace(int32_t i, int32_t n, int32_t phase) {
  if (!phase) return i;
  const int32_t lows = n / 2, highs = n - lows;
  if (i < highs) return lows + i;
  return n % 2 && i == n - 1 ? -1 : i - lows;
}

bool isHigh(int32_t i, int32_t n, int32_t phase) { return i >= (n + 1 - phase) / 2; }

template <typename Calls>
void comparePlanes97(const Plane<int32_t>& source, int32_t x, int32_t y, Errors& there, Errors& back) {
  using T = typename Calls::Element;
  const QlmRect rect{x, y, source.width, source.height};
  Plane<float> peer(source);
  openjpeg::Level(rect, peer.row(0)).forward97();
  Plane<T> ours(source);
  Calls::forward(ours, rect);
  for (int32_t v = 0; v < source.height; ++v) {
    for (int32_t u = 0; u < source.width; ++u) {
      const int32_t column = standardPlace(u, source.width, x & 1), row = standardPlace(v, source.height, y & 1);
      if (column >= 0 && row >= 0) there.add(static_cast<double>(ours.row(v)[u]), peer.row(row)[column]);
    }
  }

  // Back from rounded values, the same for both.
  Plane<T> coded(source.width, source.height);
  for (int32_t v = 0; v < source.height; ++v) {
    for (int32_t u = 0; u < source.width; ++u) {
      coded.row(v)[u] = static_cast<T>(std::lrint(peer.row(v)[u]));
      const float half = (isHigh(u, source.width, x & 1) ? 0.5f : 1.f) * (isHigh(v, source.height, y & 1) ? 0.5f : 1.f);
      peer.row(v)[u] = static_cast<float>(coded.row(v)[u]) * half;
    }
  }
  openjpeg::Level(rect, peer.row(0)).inverse97();
  Plane<T> apart(source.width, source.height), cut = coded;
  const Bands<T> bands(cut);
  Calls::inverse(bands.first, bands.step, apart, rect);
  Calls::inverse(coded, rect);
  back.add(coded.samples, peer.samples);
  ASSERT_EQ(apart, coded);
}

// Lines of one sample are left out: OpenJPEG never doubles them, as T.800 F.4.8 wants at an odd place.
template <typename Calls>
void compareAllPlanes97(Errors& there, Errors& back) {
  for (int32_t phases = 0; phases < 4; ++phases) {
    const int32_t x = phases & 1, y = phases >> 1;
    for (int32_t height = 2; height <= 12; ++height)
      for (int32_t width = 2; width <= 40; ++width)
        comparePlanes97<Calls>(noise(width, height, 256), x, y, there, back);
    comparePlanes97<Calls>(noise(613, 4, 256), x + 6, y + 8, there, back);
    for (const sample::Picture& picture : pictures())
      comparePlanes97<Calls>(components(sample::toGrey(picture))[0], x + 2, y + 4, there, back);
  }
}

// Single precision, but each direction ends with integers, truncated toward zero: less than 1 off, which the second
// direction makes at most 2.59 of forward and 2.18 of backward (the sums of the magnitudes of the taps), and less than
// 1 again.
TEST(Jpeg2000Interop, Planes97Of32sAreNearOpenjpegs) {
  Errors there, back;
  compareAllPlanes97<Planes97Of32s>(there, back);
  EXPECT_WITHIN(there, 3.6, 1.2);
  EXPECT_WITHIN(back, 3.3, 1.2);
}

// Each lifted value is rounded to an integer of 16 bits. What half a step at every rounding adds up to, carried through
// the steps behind it, is 2.82 forward and 4.2 backward, which the second direction multiplies as above.
TEST(Jpeg2000Interop, Planes97Of16sAreNearOpenjpegs) {
  Errors there, back;
  compareAllPlanes97<Planes97Of16s>(there, back);
  EXPECT_WITHIN(there, 10.2, 1.5);
  EXPECT_WITHIN(back, 13.4, 1.5);
}

// ---- Lines: Row, Col and ColLift ----

// A place beyond the ends of a line of n samples, mirrored about its first and last one.
int32_t mirrored(int32_t i, int32_t n) {
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return i;
}

// A plane with a frame of its own samples, mirrored.
template <typename T>
struct Framed {
  static constexpr int32_t kFrame = 8;
  Plane<T> all;

  explicit Framed(const Plane<int32_t>& of) : all(of.width + 2 * kFrame, of.height + 2 * kFrame) {
    for (int32_t y = 0; y < all.height; ++y)
      for (int32_t x = 0; x < all.width; ++x)
        all.row(y)[x] = static_cast<T>(of.row(mirrored(y - kFrame, of.height))[mirrored(x - kFrame, of.width)]);
  }
  Framed(int32_t width, int32_t height) : all(width + 2 * kFrame, height + 2 * kFrame) {}

  T* row(int32_t y) { return all.row(y + kFrame) + kFrame; }
  int32_t step() const { return all.step(); }
};

Plane<int32_t> transposed(const Plane<int32_t>& plane) {
  Plane<int32_t> out(plane.height, plane.width);
  for (int32_t y = 0; y < out.height; ++y)
    for (int32_t x = 0; x < out.width; ++x) out.row(y)[x] = plane.row(x)[y];
  return out;
}

enum class Filter { k53, k97 };

// The lines of a plane, each transformed by OpenJPEG as a picture of one row.
template <Filter filter>
auto linesByOpenjpeg(const Plane<int32_t>& lines, int32_t phase) {
  std::conditional_t<filter == Filter::k53, Plane<int32_t>, Plane<float>> out(lines);
  for (int32_t y = 0; y < out.height; ++y) {
    openjpeg::Level level({phase, 0, out.width, 1}, out.row(y));
    filter == Filter::k53 ? level.forward53() : level.forward97();
  }
  return out;
}

// Row and Col give two bands of one size; a line of odd length fills one of them by one less.
template <Filter filter, typename T, typename Forward, typename Inverse>
void compareLines(bool columns, Forward forward, Inverse inverse, Errors& there, Errors& back) {
  for (const int32_t n : {2, 3, 4, 5, 6, 7, 8, 17, 18, 40, 67, 131, 300}) {
    for (const int32_t phase : {0, 1}) {
      const int32_t count = 9, m = (n + 1) / 2, lows = (n + 1 - phase) / 2;
      const Plane<int32_t> lines = noise(n, count, 256);
      const auto expected = linesByOpenjpeg<filter>(lines, phase);
      const QlmSize size = columns ? QlmSize{count, m} : QlmSize{m, count};
      Framed<T> source(columns ? transposed(lines) : lines), low(size.width, size.height),
          high(size.width, size.height);
      ASSERT_EQ(forward(source.row(0), source.step(), low.row(0), low.step(), high.row(0), high.step(), size, phase),
                qlmOk);
      const auto at = [&](Framed<T>& band, int32_t line, int32_t i) -> T& {
        return columns ? band.row(i)[line] : band.row(line)[i];
      };
      for (int32_t line = 0; line < count; ++line) {
        for (int32_t i = 0; i < lows; ++i)
          there.add(static_cast<double>(at(low, line, i)), static_cast<double>(expected.row(line)[i]));
        for (int32_t i = 0; i < n - lows; ++i)
          there.add(static_cast<double>(at(high, line, i)), static_cast<double>(expected.row(line)[lows + i]));
      }

      // Back: the bands of the whole-sample symmetric line continue as that line does.
      for (int32_t line = 0; line < count; ++line) {
        for (int32_t i = -3; i < m + 3; ++i) {
          const int32_t l = mirrored(2 * i + phase, n), h = mirrored(2 * i + 1 - phase, n);
          const auto value = [&](int32_t k) { return static_cast<double>(expected.row(line)[k]); };
          const auto coded = [&](double v) { return static_cast<T>(std::is_integral_v<T> ? std::rint(v) : v); };
          at(low, line, i) = coded(value(l / 2));
          at(high, line, i) = coded(value(lows + h / 2));
        }
      }
      Framed<T> out(columns ? count : 2 * m, columns ? 2 * m : count);
      ASSERT_EQ(inverse(low.row(0), low.step(), high.row(0), high.step(), size, out.row(0), out.step(), phase), qlmOk);
      for (int32_t line = 0; line < count; ++line)
        for (int32_t i = 0; i < n; ++i) back.add(static_cast<double>(at(out, line, i)), lines.row(line)[i]);
    }
  }
}

template <typename T, typename Forward, typename Inverse>
void expectLines53(bool columns, Forward forward, Inverse inverse) {
  Errors there, back;
  compareLines<Filter::k53, T>(columns, forward, inverse, there, back);
  EXPECT_WITHIN(there, 0, 0);
  EXPECT_WITHIN(back, 0, 0);
}

TEST(Jpeg2000Interop, RowsAndColumns53AreOpenjpegs) {
  expectLines53<int16_t>(false, qlmiWTFwdRow_B53_JPEG2K_16s_C1R, qlmiWTInvRow_B53_JPEG2K_16s_C1R);
  expectLines53<int32_t>(false, qlmiWTFwdRow_B53_JPEG2K_32s_C1R, qlmiWTInvRow_B53_JPEG2K_32s_C1R);
  expectLines53<int16_t>(true, qlmiWTFwdCol_B53_JPEG2K_16s_C1R, qlmiWTInvCol_B53_JPEG2K_16s_C1R);
  expectLines53<int32_t>(true, qlmiWTFwdCol_B53_JPEG2K_32s_C1R, qlmiWTInvCol_B53_JPEG2K_32s_C1R);
}

// Single precision on both sides; the way back starts from OpenJPEG's own values.
TEST(Jpeg2000Interop, RowsAndColumns97Of32fAreOpenjpegs) {
  Errors there, back;
  compareLines<Filter::k97, float>(false, qlmiWTFwdRow_D97_JPEG2K_32f_C1R, qlmiWTInvRow_D97_JPEG2K_32f_C1R, there,
                                   back);
  compareLines<Filter::k97, float>(true, qlmiWTFwdCol_D97_JPEG2K_32f_C1R, qlmiWTInvCol_D97_JPEG2K_32f_C1R, there, back);
  EXPECT_WITHIN(there, 1e-3, 2e-4);
  EXPECT_WITHIN(back, 1e-3, 2e-4);
}

// Rounded to integers at each step: in sum up to 2.82 at a high value (of that 0.5 by H1, 0.88 by L2 and 0.5 by H3,
// times K, and 0.5 at the end), less at a low one. On the way back the values come rounded, which makes up to 1.09 of a
// half, and the steps up to 3.14 at an odd sample.
TEST(Jpeg2000Interop, Rows97Of32sAreNearOpenjpegs) {
  Errors there, back;
  compareLines<Filter::k97, int32_t>(false, qlmiWTFwdRow_D97_JPEG2K_32s_C1R, qlmiWTInvRow_D97_JPEG2K_32s_C1R, there,
                                     back);
  EXPECT_WITHIN(there, 2.9, 1);
  EXPECT_WITHIN(back, 4.3, 1);
}

// The same with 15 bits of the constants; a low value comes of two roundings and a shift, and so does L2 on the way
// back.
TEST(Jpeg2000Interop, Rows97Of16sAreNearOpenjpegs) {
  Errors there, back;
  compareLines<Filter::k97, int16_t>(false, qlmiWTFwdRow_D97_JPEG2K_16s_C1R, qlmiWTInvRow_D97_JPEG2K_16s_C1R, there,
                                     back);
  EXPECT_WITHIN(there, 3, 1);
  EXPECT_WITHIN(back, 5.6, 1);
}

// ---- ColLift, walking down a plane as the Col forms do ----

template <typename T>
T* rowAt(T* first, int32_t step, int32_t y) {
  return first + ptrdiff_t{y} * (step / static_cast<int32_t>(sizeof(T)));
}

// The rows of the destinations are the window of unfinished rows. At an odd first row the even rows and the high rows
// stand one further down. `lead` calls before the first one make the values that the standard has before the first row.
template <typename T, typename Step>
auto downByLifts(int32_t lead, int32_t trail, Step step) {
  return [=](const T* src, int32_t srcStep, T* low, int32_t lowStep, T* high, int32_t highStep, QlmSize size,
             int32_t phase) {
    for (int32_t i = -lead - phase; i < size.height + trail; ++i) {
      const QlmStatus status = step([=](int32_t k) { return rowAt(src, srcStep, k + phase); },
                                    [=](int32_t k) { return rowAt(low, lowStep, k); },
                                    [=](int32_t k) { return rowAt(high, highStep, k + phase); }, i, size.width);
      if (status != qlmOk) return status;
    }
    return qlmOk;
  };
}

template <typename T, typename Step>
auto upByLifts(int32_t lead, int32_t trail, Step step) {
  return [=](const T* low, int32_t lowStep, const T* high, int32_t highStep, QlmSize size, T* dst, int32_t dstStep,
             int32_t phase) {
    for (int32_t i = -lead - phase; i < size.height + trail; ++i) {
      const QlmStatus status = step([=](int32_t k) { return rowAt(low, lowStep, k); },
                                    [=](int32_t k) { return rowAt(high, highStep, k + phase); },
                                    [=](int32_t k) { return rowAt(dst, dstStep, k + phase); }, i, size.width);
      if (status != qlmOk) return status;
    }
    return qlmOk;
  };
}

template <typename T, typename Forward, typename Inverse>
void expectLifts53(Forward forward, Inverse inverse) {
  expectLines53<T>(true,
                   downByLifts<T>(1, 0,
                                  [=](auto src, auto low, auto high, int32_t i, int32_t width) {
                                    return forward(src(2 * i), src(2 * i + 1), src(2 * i + 2), low(i), high(i - 1),
                                                   high(i), width);
                                  }),
                   upByLifts<T>(0, 1, [=](auto low, auto high, auto dst, int32_t i, int32_t width) {
                     return inverse(low(i), high(i - 1), high(i), dst(2 * i - 2), dst(2 * i - 1), dst(2 * i), width);
                   }));
}

TEST(Jpeg2000Interop, Lifts53AreOpenjpegs) {
  expectLifts53<int16_t>(qlmiWTFwdColLift_B53_JPEG2K_16s_C1, qlmiWTInvColLift_B53_JPEG2K_16s_C1);
  expectLifts53<int32_t>(qlmiWTFwdColLift_B53_JPEG2K_32s_C1, qlmiWTInvColLift_B53_JPEG2K_32s_C1);
}

template <typename T, typename Forward, typename Inverse>
void compareLifts97(Forward forward, Inverse inverse, Errors& there, Errors& back) {
  compareLines<Filter::k97, T>(true,
                               downByLifts<T>(2, 2,
                                              [=](auto src, auto low, auto high, int32_t i, int32_t width) {
                                                return forward(src(2 * i), src(2 * i + 1), src(2 * i + 2), low(i - 1),
                                                               low(i), high(i - 2), high(i - 1), high(i), width);
                                              }),
                               upByLifts<T>(1, 2,
                                            [=](auto low, auto high, auto dst, int32_t i, int32_t width) {
                                              return inverse(low(i), high(i - 1), high(i), dst(2 * i - 4),
                                                             dst(2 * i - 3), dst(2 * i - 2), dst(2 * i - 1), dst(2 * i),
                                                             width);
                                            }),
                               there, back);
}

// The bounds are those of the rows.
TEST(Jpeg2000Interop, Lifts97AreNearOpenjpegs) {
  Errors there[3], back[3];
  compareLifts97<float>(qlmiWTFwdColLift_D97_JPEG2K_32f_C1, qlmiWTInvColLift_D97_JPEG2K_32f_C1, there[0], back[0]);
  compareLifts97<int32_t>(qlmiWTFwdColLift_D97_JPEG2K_32s_C1, qlmiWTInvColLift_D97_JPEG2K_32s_C1, there[1], back[1]);
  compareLifts97<int16_t>(qlmiWTFwdColLift_D97_JPEG2K_16s_C1, qlmiWTInvColLift_D97_JPEG2K_16s_C1, there[2], back[2]);
  EXPECT_WITHIN(there[0], 1e-3, 2e-4);
  EXPECT_WITHIN(back[0], 1e-3, 2e-4);
  EXPECT_WITHIN(there[1], 2.9, 1);
  EXPECT_WITHIN(back[1], 4.3, 1);
  EXPECT_WITHIN(there[2], 3, 1);
  EXPECT_WITHIN(back[2], 5.6, 1);
}

}  // namespace
}  // namespace test
