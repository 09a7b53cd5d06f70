#include "jpeg2000/inverse_wavelet.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "qlmjp/jpeg2000.h"

namespace sample::j2k {
namespace {

// The functions of a wavelet on rows and columns.
template <typename T>
struct Filters;
template <>
struct Filters<int16_t> {
  static constexpr auto rows = qlmiWTInvRow_B53_JPEG2K_16s_C1R;
  static constexpr auto columns = qlmiWTInvCol_B53_JPEG2K_16s_C1R;
};
template <>
struct Filters<int32_t> {
  static constexpr auto rows = qlmiWTInvRow_B53_JPEG2K_32s_C1R;
  static constexpr auto columns = qlmiWTInvCol_B53_JPEG2K_32s_C1R;
};
template <>
struct Filters<float> {
  static constexpr auto rows = qlmiWTInvRow_D97_JPEG2K_32f_C1R;
  static constexpr auto columns = qlmiWTInvCol_D97_JPEG2K_32f_C1R;
};

void check(QlmStatus status) {
  if (status != qlmOk) throw Jpeg2000Error("a transform failed with status " + std::to_string(status));
}

// One direction of a level: n samples, the first of which stands at an even position (phase 0) or an odd one. The
// filters make them from pairs of a low and a high value, for n odd one sample more.
struct Line {
  int32_t n, phase;

  int32_t pairs() const { return (n + 1) / 2; }
  // Where a value beyond the ends of a band comes from: the line goes on by whole-sample symmetry (F.3.7).
  int32_t low(int32_t i) const { return mirrored(2 * i + phase) / 2; }
  int32_t high(int32_t i) const { return mirrored(2 * i + 1 - phase) / 2; }

 private:
  int32_t mirrored(int32_t k) const {
    while (k < 0 || k >= n) k = k < 0 ? -k : 2 * (n - 1) - k;
    return k;
  }
};

constexpr int32_t kReach = 2;  // values of a band that the filters read beyond those of their pairs

template <typename T>
T* rowOf(T* first, int32_t step, int32_t y) {
  return first + ptrdiff_t{y} * (step / static_cast<int32_t>(sizeof(T)));
}

// A line of one sample is a low value, or twice it as a high one (F.3.6).
template <typename T>
void singles(const T* low, const T* high, int32_t phase, T* dst, int32_t count) {
  for (int32_t i = 0; i < count; ++i) dst[i] = phase ? static_cast<T>(high[i] / 2) : low[i];
}

// Continues the rows of both bands.
template <typename T>
void extend(Plane<T>& low, Plane<T>& high, const Line& line) {
  const auto extendOne = [&](Plane<T>& band, auto from) {
    for (int32_t y = 0; y < band.height(); ++y) {
      T* row = band.row(y);
      for (int32_t i = -kReach; i < 0; ++i) row[i] = row[from(i)];
      for (int32_t i = band.width(); i < line.pairs() + kReach; ++i) row[i] = row[from(i)];
    }
  };
  extendOne(low, [&](int32_t i) { return line.low(i); });
  extendOne(high, [&](int32_t i) { return line.high(i); });
}

// Rows y to y + count of both bands to rows of samples.
template <typename T>
void rows(const Plane<T>& low, const Plane<T>& high, const Line& line, int32_t y, int32_t count, T* dst,
          int32_t dstStep) {
  if (line.n > 1)
    return check(Filters<T>::rows(low.row(y), low.step(), high.row(y), high.step(), {line.pairs(), count}, dst, dstStep,
                                  line.phase));
  for (int32_t i = 0; i < count; ++i) singles(low.row(y + i), high.row(y + i), line.phase, rowOf(dst, dstStep, i), 1);
}

// Fills the rows [-kReach, pairs + kReach) of a strip that begins at row `first` of a band of `height` rows: by
// `make(y, count, dst)` as far as the band goes, and beyond it by copies of the rows `from(i)` that continue it.
template <typename T, typename From, typename Make>
void fillStrip(Plane<T>& strip, int32_t first, int32_t pairs, int32_t height, From from, Make make) {
  const int32_t begin = std::max(first - kReach, 0), end = std::min(first + pairs + kReach, height);
  const auto place = [&](int32_t i) { return strip.row(i - first + kReach); };
  make(begin, end - begin, place(begin));
  for (int32_t i = first - kReach; i < first + pairs + kReach; ++i) {
    if (i >= begin && i < end) continue;
    const int32_t y = from(i);
    if (y >= begin && y < end)
      std::memcpy(place(i), place(y), static_cast<size_t>(strip.width()) * sizeof(T));
    else
      make(y, 1, place(i));
  }
}

// Strips of rows that stay in the second cache between the two directions. Their height is fixed, so that what the
// filters do at their ends does not depend on the threads.
constexpr int32_t kStripPairs = 16;

template <typename T>
struct Strips {
  Plane<T> lows, highs;

  explicit Strips(const Line& across)
      : lows(2 * across.pairs(), kStripPairs + 2 * kReach), highs(2 * across.pairs(), kStripPairs + 2 * kReach) {}
};

// The rows of one strip, by way of `strips`.
template <typename T>
void inverseStrip(const Level<T>& level, const Line& across, const Line& down, int32_t strip, Strips<T>& strips,
                  Plane<T>& out) {
  const int32_t first = strip * kStripPairs, pairs = std::min(kStripPairs, down.pairs() - first);
  fillStrip(
      strips.lows, first, pairs, level.low.height(), [&](int32_t i) { return down.low(i); },
      [&](int32_t y, int32_t count, T* dst) { rows(level.low, level.hl, across, y, count, dst, strips.lows.step()); });
  fillStrip(
      strips.highs, first, pairs, level.lh.height(), [&](int32_t i) { return down.high(i); },
      [&](int32_t y, int32_t count, T* dst) { rows(level.lh, level.hh, across, y, count, dst, strips.highs.step()); });
  check(Filters<T>::columns(strips.lows.row(kReach), strips.lows.step(), strips.highs.row(kReach), strips.highs.step(),
                            {across.n, pairs}, out.row(2 * first), out.step(), down.phase));
}

// A level of one row.
template <typename T>
void inverseRow(const Level<T>& level, const Line& across, int32_t phase, Plane<T>& out) {
  phase ? rows(level.lh, level.hh, across, 0, 1, out.row(0), out.step())
        : rows(level.low, level.hl, across, 0, 1, out.row(0), out.step());
  singles(out.row(0), out.row(0), phase, out.row(0), across.n);
}

}  // namespace

template <typename T>
void inverseLevels(std::span<Level<T>* const> levels, const Box& box, int32_t threads) {
  if (box.isEmpty()) return;
  const Line across{box.width(), box.x0 & 1}, down{box.height(), box.y0 & 1};
  std::vector<Plane<T>> out;
  for (Level<T>* level : levels) {
    out.emplace_back(across.n, down.n);
    if (across.n > 1) extend(level->low, level->hl, across), extend(level->lh, level->hh, across);
    if (down.n == 1) inverseRow(*level, across, down.phase, out.back());
  }
  if (down.n > 1) {
    const int32_t each = (down.pairs() + kStripPairs - 1) / kStripPairs;
    const int32_t all = each * static_cast<int32_t>(levels.size());
#pragma omp parallel num_threads(std::min(threads, all))
    {
      Strips<T> strips(across);
#pragma omp for schedule(static)
      for (int32_t i = 0; i < all; ++i) {
        const auto c = static_cast<size_t>(i / each);
        inverseStrip(*levels[c], across, down, i % each, strips, out[c]);
      }
    }
  }
  for (size_t c = 0; c < levels.size(); ++c) levels[c]->low = std::move(out[c]);
}

template void inverseLevels(std::span<Level<int16_t>* const>, const Box&, int32_t);
template void inverseLevels(std::span<Level<int32_t>* const>, const Box&, int32_t);
template void inverseLevels(std::span<Level<float>* const>, const Box&, int32_t);

}  // namespace sample::j2k
