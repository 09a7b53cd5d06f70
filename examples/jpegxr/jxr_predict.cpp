#include "jpegxr/jxr_predict.h"

#include <cstdlib>

namespace sample {
namespace {

constexpr int64_t kClear = 4;  // one direction changes less than the other by this factor

int64_t change(int32_t a, int32_t b) { return std::abs(int64_t{a} - b); }

}  // namespace

JxrFrom lowpassSource(const JxrPlanes& planes, JxrComponents components, const MbPlace& place) {
  if (place.leftEdge) return place.topEdge ? JxrFrom::kNowhere : JxrFrom::kTop;
  if (place.topEdge) return JxrFrom::kLeft;
  constexpr std::array<int64_t, 4> kLumaWeight = {1, 8, 4, 2};
  int64_t toLeft = 0, toTop = 0;  // how the corner differs from what is at the left and above
  for (size_t c = 0; c < countOf(components); ++c) {
    const int32_t* dc = lowpassBlock(planes[c], place);
    const ptrdiff_t left = planes[c].blocks.wide, up = ptrdiff_t{planes[c].lowpass.width} * planes[c].blocks.high;
    const int64_t weight = c == 0 ? kLumaWeight[static_cast<size_t>(components)] : 1;
    toLeft += weight * change(dc[-up - left], dc[-left]);
    toTop += weight * change(dc[-up - left], dc[-up]);
  }
  if (toLeft * kClear < toTop) return JxrFrom::kTop;
  if (toTop * kClear < toLeft) return JxrFrom::kLeft;
  return JxrFrom::kMean;
}

JxrFrom highpassSource(const JxrPlanes& planes, JxrComponents components, const MbPlace& place) {
  int64_t horizontal = 0, vertical = 0;
  const auto add = [&](int64_t& sum, size_t component, const BlockPlace& p) {
    const JxrComponentPlanes& c = planes[component];
    sum += std::abs(int64_t{lowpassBlock(c, place)[ptrdiff_t{c.lowpass.width} * p.row + p.column]});
  };
  for (const BlockPlace& p : kFirstRow) add(horizontal, 0, p);
  for (const BlockPlace& p : kFirstColumn) add(vertical, 0, p);
  for (size_t c = 1; c < countOf(components); ++c) {
    add(horizontal, c, isSubsampled(components, c) ? BlockPlace{1, 0} : kFirstRow[0]);
    add(vertical, c, isSubsampled(components, c) ? BlockPlace{0, 1} : kFirstColumn[0]);
    if (components == JxrComponents::k422) {
      add(horizontal, c, {1, 2});
      add(vertical, c, {0, 3});
    }
  }
  if (horizontal * kClear < vertical) return JxrFrom::kTop;
  if (vertical * kClear < horizontal) return JxrFrom::kLeft;
  return JxrFrom::kNowhere;
}

void addHighpassPrediction(JxrComponentPlanes& planes, const MbPlace& place, JxrFrom from) {
  if (from == JxrFrom::kNowhere) return;
  const bool left = from == JxrFrom::kLeft;
  const ptrdiff_t width = planes.full.width, back = left ? kBlockSide : kBlockSide * width;
  for (int32_t row = left ? 0 : 1; row < planes.blocks.high; ++row)
    for (int32_t column = left ? 1 : 0; column < planes.blocks.wide; ++column) {
      int32_t* block = highpassBlock(planes, place, {column, row});
      for (const BlockPlace& p : left ? kFirstRow : kFirstColumn) {
        int32_t* value = block + width * p.row + p.column;
        *value += value[-back];
      }
    }
}

void subtractHighpassPrediction(JxrComponentPlanes& planes, const MbPlace& place, JxrFrom from) {
  if (from == JxrFrom::kNowhere) return;
  const bool left = from == JxrFrom::kLeft;
  const ptrdiff_t width = planes.full.width, back = left ? kBlockSide : kBlockSide * width;
  for (int32_t row = planes.blocks.high; --row >= (left ? 0 : 1);)
    for (int32_t column = planes.blocks.wide; --column >= (left ? 1 : 0);) {
      int32_t* block = highpassBlock(planes, place, {column, row});
      for (const BlockPlace& p : left ? kFirstRow : kFirstColumn) {
        int32_t* value = block + width * p.row + p.column;
        *value -= value[-back];
      }
    }
}

}  // namespace sample
