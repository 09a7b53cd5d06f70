#include "jpeg2000/analysis.h"

#include <algorithm>

#include "qlmjp.h"

namespace sample::j2k {
namespace {

void check(QlmStatus status) {
  if (status != qlmOk) throw Jpeg2000Error("a transform failed with status " + std::to_string(status));
}

const uint8_t* rowOf(const Picture& picture, int32_t y) { return picture.row(y); }
const uint16_t* rowOf(const Picture16& picture, int32_t y) { return picture.row(y); }

template <typename T>
int32_t stepOf(const TilePlane& plane) {
  return plane.width * static_cast<int32_t>(sizeof(T));
}

template <typename T>
T* rowOf(TilePlane& plane, int32_t y) {
  return std::get<std::unique_ptr<T[]>>(plane.samples).get() + ptrdiff_t{plane.width} * y;
}

template <typename T, typename P>
void fill(const Analysis& analysis, const P& picture, const Box& tile, int32_t from, int32_t to,
          std::vector<TilePlane>& planes) {
  // The irreversible component transform is fixed-point arithmetic that takes 17 bits and a sign.
  constexpr int32_t kSpared = 5;
  const bool spares = analysis.colourTransform && !analysis.reversible;
  const int32_t half = 1 << (analysis.bits - 1), fraction = analysis.fraction() - (spares ? kSpared : 0);
  const auto channels = static_cast<int32_t>(planes.size());
  for (int32_t y = from; y < to; ++y) {
    const auto* pixels = rowOf(picture, tile.y0 + y) + ptrdiff_t{tile.x0} * channels;
    for (int32_t c = 0; c < channels; ++c) {
      T* out = rowOf<T>(planes[static_cast<size_t>(c)], y);
      for (int32_t x = 0; x < tile.width(); ++x)
        out[x] = static_cast<T>((pixels[x * channels + c] - half) * (1 << fraction));
    }
  }
  if (!analysis.colourTransform) return;
  T* const rows[3]{rowOf<T>(planes[0], from), rowOf<T>(planes[1], from), rowOf<T>(planes[2], from)};
  const QlmSize size{tile.width(), to - from};
  if constexpr (sizeof(T) == sizeof(int16_t))
    check(qlmiRCTFwd_JPEG2K_16s_P3IR(rows, stepOf<T>(planes[0]), size));
  else if (analysis.reversible)
    check(qlmiRCTFwd_JPEG2K_32s_P3IR(rows, stepOf<T>(planes[0]), size));
  else
    check(qlmiICTFwd_JPEG2K_32s_P3IR(rows, stepOf<T>(planes[0]), size));
  if (!spares) return;
  for (TilePlane& plane : planes)
    std::for_each(rowOf<T>(plane, from), rowOf<T>(plane, from) + ptrdiff_t{plane.width} * (to - from),
                  [](T& v) { v = static_cast<T>(v * (1 << kSpared)); });
}

template <typename P>
void fillAs(const Analysis& analysis, const P& picture, const Box& tile, int32_t from, int32_t to,
            std::vector<TilePlane>& planes) {
  if (analysis.isNarrow())
    fill<int16_t>(analysis, picture, tile, from, to, planes);
  else
    fill<int32_t>(analysis, picture, tile, from, to, planes);
}

// Beyond the ends a line goes on mirrored at its first and last sample.
int32_t mirrored(int32_t i, int32_t length) {
  const int32_t period = 2 * (length - 1), place = (i % period + period) % period;
  return std::min(place, period - place);
}

// The library's 9/7 plane form gives lines at odd origins another order, and loses a value of those of odd length. So
// such lines get the three samples before their first one, which is all that the filters read there, and start even;
// the two low values and the one high value of the samples before are dropped.
constexpr int32_t kBefore = 3, kLowBefore = 2, kHighBefore = 1;

struct Side {
  int32_t length;
  bool padded;
  int32_t low() const { return padded ? length / 2 : (length + 1) / 2; }
  int32_t paddedLength() const { return length + (padded ? kBefore : 0); }
  // Where the value i of the line stands in the padded line, once transformed.
  int32_t placeOf(int32_t i) const {
    if (!padded) return i;
    return i < low() ? i + kLowBefore : i + kLowBefore + kHighBefore;
  }
  int32_t sourceOf(int32_t i) const { return padded ? mirrored(i - kBefore, length) : i; }
};

void level97(int32_t* samples, int32_t step, const Box& box, std::vector<uint8_t>& buffer) {
  const Side across{box.width(), box.x0 % 2 && box.width() > 1}, down{box.height(), box.y0 % 2 && box.height() > 1};
  if (!across.padded && !down.padded) {
    check(qlmiWTFwd_D97_JPEG2K_32s_C1IR(samples, step, {box.x0, box.y0, box.width(), box.height()}, buffer.data()));
    return;
  }
  const QlmRect rect{across.padded ? 0 : box.x0, down.padded ? 0 : box.y0, across.paddedLength(), down.paddedLength()};
  const auto row = [=](int32_t y) { return samples + ptrdiff_t{step} / static_cast<int32_t>(sizeof(int32_t)) * y; };
  std::vector<int32_t> padded(static_cast<size_t>(rect.width) * static_cast<size_t>(rect.height));
  for (int32_t y = 0, i = 0; y < rect.height; ++y)
    for (int32_t x = 0; x < rect.width; ++x)
      padded[static_cast<size_t>(i++)] = row(down.sourceOf(y))[across.sourceOf(x)];
  check(qlmiWTFwd_D97_JPEG2K_32s_C1IR(padded.data(), rect.width * static_cast<int32_t>(sizeof(int32_t)), rect,
                                      buffer.data()));
  for (int32_t y = 0; y < box.height(); ++y)
    for (int32_t x = 0; x < box.width(); ++x)
      row(y)[x] = padded[static_cast<size_t>(down.placeOf(y) * rect.width + across.placeOf(x))];
}

}  // namespace

std::vector<TilePlane> makePlanes(const Analysis& analysis, const TileGeometry& tile) {
  std::vector<TilePlane> planes;
  for (const TileComponent& component : tile.components) {
    const int32_t width = component.box.width(), height = component.box.height();
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (analysis.isNarrow())
      planes.push_back({width, height, std::make_unique_for_overwrite<int16_t[]>(count)});
    else
      planes.push_back({width, height, std::make_unique_for_overwrite<int32_t[]>(count)});
  }
  return planes;
}

void fillRows(const Analysis& analysis, const Picture& picture, const Box& tile, int32_t from, int32_t to,
              std::vector<TilePlane>& planes) {
  fillAs(analysis, picture, tile, from, to, planes);
}

void fillRows(const Analysis& analysis, const Picture16& picture, const Box& tile, int32_t from, int32_t to,
              std::vector<TilePlane>& planes) {
  fillAs(analysis, picture, tile, from, to, planes);
}

void transform(const Analysis& analysis, const TileComponent& component, TilePlane& plane) {
  // The largest scratch that any form asks for, with the samples put before a line.
  const int32_t longest = std::max(plane.width, plane.height) + kBefore;
  std::vector<uint8_t> buffer(static_cast<size_t>(longest) * sizeof(int32_t) + 32);
  for (size_t r = component.resolutions.size() - 1; r > 0; --r) {
    const Box& box = component.resolutions[r].box;
    if (box.isEmpty()) return;
    const QlmRect rect{box.x0, box.y0, box.width(), box.height()};
    if (analysis.isNarrow())
      check(qlmiWTFwd_B53_JPEG2K_16s_C1IR(rowOf<int16_t>(plane, 0), stepOf<int16_t>(plane), rect, buffer.data()));
    else if (analysis.reversible)
      check(qlmiWTFwd_B53_JPEG2K_32s_C1IR(rowOf<int32_t>(plane, 0), stepOf<int32_t>(plane), rect, buffer.data()));
    else
      level97(rowOf<int32_t>(plane, 0), stepOf<int32_t>(plane), box, buffer);
  }
}

Corner bandCorner(const TileComponent& component, int32_t resolution, Orientation orientation) {
  if (orientation == Orientation::kLL) return {0, 0};
  const Box& low = component.resolutions[static_cast<size_t>(resolution) - 1].box;
  return {isHighAcross(orientation) ? low.width() : 0, isHighDown(orientation) ? low.height() : 0};
}

}  // namespace sample::j2k
