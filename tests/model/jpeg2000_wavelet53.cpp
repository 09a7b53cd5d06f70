// The 5/3 wavelet, one sample at a time.
#include "model/jpeg2000_wavelet53.h"

#include <algorithm>
#include <type_traits>

namespace model {
namespace {

// The lifting steps and what undoes them. Sum is the type in which neighbours are added up; it wraps, and so does T.
template <typename Sum, typename T>
T highOf(T before, T x, T behind) {
  const Sum sum = static_cast<Sum>(int64_t{before} + behind);
  return static_cast<T>(int64_t{x} - (sum >> 1));
}
template <typename Sum, typename T>
T lowOf(T highBefore, T x, T highBehind) {
  const Sum sum = static_cast<Sum>(int64_t{highBefore} + highBehind + 2);
  return static_cast<T>(int64_t{x} + (sum >> 2));
}
template <typename Sum, typename T>
T evenOf(T highBefore, T low, T highBehind) {
  const Sum sum = static_cast<Sum>(int64_t{highBefore} + highBehind + 2);
  return static_cast<T>(int64_t{low} - (sum >> 2));
}
template <typename Sum, typename T>
T oddOf(T before, T high, T behind) {
  const Sum sum = static_cast<Sum>(int64_t{before} + behind);
  return static_cast<T>(int64_t{high} + (sum >> 1));
}

template <typename Sum, typename T>
BandLine<T> forwardOutputs(const T* x, int n, int phase) {
  BandLine<T> bands;
  const auto high = [x](int k) { return highOf<Sum>(x[k - 1], x[k], x[k + 1]); };
  for (int i = 0; i < n; ++i) {
    const int even = phase ? 2 * i + 1 : 2 * i, odd = phase ? 2 * i : 2 * i + 1;
    bands.high.push_back(high(odd));
    bands.low.push_back(lowOf<Sum>(high(even - 1), x[even], high(even + 1)));
  }
  return bands;
}

template <typename Sum, typename T>
std::vector<T> inverseOutputs(const T* low, const T* high, int n, int phase) {
  std::vector<T> line;
  if (phase == 0) {
    const auto even = [=](int i) { return evenOf<Sum>(high[i - 1], low[i], high[i]); };
    for (int i = 0; i < n; ++i) {
      line.push_back(even(i));
      line.push_back(oddOf<Sum>(even(i), high[i], even(i + 1)));
    }
  } else {
    const auto even = [=](int i) { return evenOf<Sum>(high[i], low[i], high[i + 1]); };
    for (int i = 0; i < n; ++i) {
      line.push_back(oddOf<Sum>(even(i - 1), high[i], even(i)));
      line.push_back(even(i));
    }
  }
  return line;
}

}  // namespace

int mirrored(int i, int n) {
  if (n == 1) return 0;
  while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
  return i;
}

template <typename T>
void transformColumns(Plane<T>& plane, LineTransform<T> line, int phase) {
  for (int x = 0; x < plane.width; ++x) {
    std::vector<T> column;
    for (int y = 0; y < plane.height; ++y) column.push_back(plane.at(x, y));
    column = line(column, phase);
    for (int y = 0; y < plane.height; ++y) plane.at(x, y) = column[static_cast<size_t>(y)];
  }
}

template <typename T>
void transformRows(Plane<T>& plane, LineTransform<T> line, int phase) {
  for (int y = 0; y < plane.height; ++y) {
    std::vector<T> row;
    for (int x = 0; x < plane.width; ++x) row.push_back(plane.at(x, y));
    row = line(row, phase);
    for (int x = 0; x < plane.width; ++x) plane.at(x, y) = row[static_cast<size_t>(x)];
  }
}

template <typename T>
void columnsThenRows(Plane<T>& plane, LineTransform<T> line, int phaseX, int phaseY) {
  transformColumns(plane, line, phaseY);
  transformRows(plane, line, phaseX);
}

template <typename T>
void rowsThenColumns(Plane<T>& plane, LineTransform<T> line, int phaseX, int phaseY) {
  transformRows(plane, line, phaseX);
  transformColumns(plane, line, phaseY);
}

// Calls use(band, x, y, where x and y stand in the plane) for all samples of the four bands.
template <typename Use>
void forAllBands(int width, int height, const Use& use) {
  const int lowWidth = (width + 1) >> 1, lowHeight = (height + 1) >> 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool highX = x >= lowWidth, highY = y >= lowHeight;
      use(static_cast<size_t>(2 * highX + highY), highX ? x - lowWidth : x, highY ? y - lowHeight : y, x, y);
    }
  }
}

template <typename T>
FourBands<T> cutBands(const Plane<T>& p) {
  const int lowWidth = (p.width + 1) >> 1, lowHeight = (p.height + 1) >> 1;
  FourBands<T> bands = {Plane<T>(lowWidth, lowHeight), Plane<T>(lowWidth, p.height >> 1),
                        Plane<T>(p.width >> 1, lowHeight), Plane<T>(p.width >> 1, p.height >> 1)};
  forAllBands(p.width, p.height,
              [&](size_t band, int bandX, int bandY, int x, int y) { bands[band].at(bandX, bandY) = p.at(x, y); });
  return bands;
}

template <typename T>
Plane<T> joinBands(const FourBands<T>& bands, int width, int height) {
  Plane<T> p(width, height);
  forAllBands(width, height,
              [&](size_t band, int bandX, int bandY, int x, int y) { p.at(x, y) = bands[band].at(bandX, bandY); });
  return p;
}

template <typename T>
std::vector<T> interleave(const std::vector<T>& line, int phase) {
  const size_t n = line.size();
  const size_t evenPart = phase ? n >> 1 : 0, oddPart = phase ? 0 : (n + 1) >> 1;
  std::vector<T> local(n);
  for (size_t i = 0; i < n; ++i) local[i] = line[(i % 2 ? oddPart : evenPart) + i / 2];
  return local;
}

template <typename T>
std::vector<T> forwardLine53(const std::vector<T>& line, int phase) {
  const int n = static_cast<int>(line.size());
  const auto x = [&](int i) { return line[static_cast<size_t>(mirrored(i, n))]; };
  if (n == 1) return {static_cast<T>(int64_t{x(0)} * (phase + 1))};
  if (n == 2) {
    const T e = x(phase), o = x(1 - phase);
    const T h = static_cast<T>(int64_t{o} - e);
    return {static_cast<T>(int64_t{e} + (static_cast<int32_t>(int64_t{h} + 1) >> 1)), h};
  }
  const auto high = [&](int i) { return highOf<int32_t>(x(i - 1), x(i), x(i + 1)); };
  std::vector<T> out;
  for (int i = phase; i < n; i += 2) out.push_back(lowOf<int32_t>(high(i - 1), x(i), high(i + 1)));
  for (int i = 1 - phase; i < n; i += 2) out.push_back(high(i));
  return out;
}

template <typename T>
std::vector<T> inverseLine53(const std::vector<T>& line, int phase) {
  const int n = static_cast<int>(line.size());
  if (n == 1) return {static_cast<T>(int64_t{line[0]} / (phase + 1))};
  if (n == 2) {
    const T l = line[0], h = line[1];
    const T e = static_cast<T>(int64_t{l} - (static_cast<int32_t>(int64_t{h} + 1) >> 1));
    const T o = static_cast<T>(int64_t{h} + e);
    return phase ? std::vector<T>{o, e} : std::vector<T>{e, o};
  }
  const std::vector<T> local = interleave(line, phase);
  const auto z = [&](int i) { return local[static_cast<size_t>(mirrored(i, n))]; };
  const auto even = [&](int i) { return evenOf<int32_t>(z(i - 1), z(i), z(i + 1)); };
  std::vector<T> out;
  for (int i = 0; i < n; ++i)
    out.push_back((i + phase) % 2 == 0 ? even(i) : oddOf<int32_t>(even(i - 1), z(i), even(i + 1)));
  return out;
}

template <typename T>
BandLine<T> forwardOutputs53(const T* x, int n, int phase, int rowWidth) {
  return rowWidth < kVectorLanes ? forwardOutputs<int32_t>(x, n, phase) : forwardOutputs<T>(x, n, phase);
}

template <typename T>
std::vector<T> inverseOutputs53(const T* low, const T* high, int n, int phase, int rowWidth) {
  return rowWidth < kVectorLanes ? inverseOutputs<int32_t>(low, high, n, phase)
                                 : inverseOutputs<T>(low, high, n, phase);
}

template <typename T>
LowHigh<T> forwardStep53(T src0, T src1, T src2, T highPrev) {
  const T high = highOf<T>(src0, src1, src2);
  return {lowOf<T>(highPrev, src0, high), high};
}

template <typename T>
EvenOdd<T> inverseStep53(T low, T highPrev, T high, T evenPrev) {
  const T even = evenOf<T>(highPrev, low, high);
  return {even, oddOf<T>(evenPrev, highPrev, even)};
}

namespace {
// Computed in 32 bits, without a check for overflow.
int32_t wrapped(int64_t v) { return static_cast<int32_t>(v); }
}  // namespace

int32_t lineScratch53(QlmRect rect, int32_t elementBytes) {
  if (rect.width < 3 && rect.height < 3) return 0;
  return std::max(wrapped(int64_t{elementBytes} * rect.width + 4 * elementBytes),
                  wrapped(int64_t{elementBytes} * rect.height + 4 * elementBytes));
}

int32_t planeScratch53(QlmRect rect, int32_t elementBytes) {
  const int32_t step = wrapped(int64_t{elementBytes} * rect.width + 31) & -32;
  return wrapped(int64_t{wrapped(int64_t{step} * rect.height)} + lineScratch53(rect, elementBytes));
}

#define FRAME(T)                                                               \
  template void columnsThenRows(Plane<T>&, LineTransform<T>, int, int);        \
  template void rowsThenColumns(Plane<T>&, LineTransform<T>, int, int);        \
  template FourBands<T> cutBands(const Plane<T>&);                             \
  template Plane<T> joinBands(const FourBands<T>&, int, int);                  \
  template std::vector<T> interleave(const std::vector<T>&, int);              \
  template std::vector<T> forwardLine53(const std::vector<T>&, int);           \
  template std::vector<T> inverseLine53(const std::vector<T>&, int);           \
  template BandLine<T> forwardOutputs53(const T*, int, int, int);              \
  template std::vector<T> inverseOutputs53(const T*, const T*, int, int, int); \
  template LowHigh<T> forwardStep53(T, T, T, T);                               \
  template EvenOdd<T> inverseStep53(T, T, T, T);
FRAME(int16_t)
FRAME(int32_t)
#undef FRAME

}  // namespace model
