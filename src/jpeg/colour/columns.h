// How a row kernel is run over a range of columns. A kernel is a record with a member run(src, dst) that turns exactly
// kColumns columns of its source streams into its destination streams (a stream is a row of pixels or of a plane), and
// with kSrc and kDst, the bytes that these columns take in each stream. Kernels of 32 columns have a member runEight
// besides, which does eight by the same arithmetic: narrow rows consist of them.
#pragma once

#include <cstring>
#include <type_traits>

#include "frame/rows.h"
#include "frame/simd.h"

namespace colour {

template <int kCount>
struct Sources {
  const uint8_t* at[kCount];
  const uint8_t* operator[](int i) const { return at[i]; }
};
template <int kCount>
struct Targets {
  uint8_t* at[kCount];
  uint8_t* operator[](int i) const { return at[i]; }
};

// From the arrays of a call, and the streams of row y.
template <int kCount>
inline Sources<kCount> sources(const uint8_t* const* planes) {
  Sources<kCount> result;
  for (int i = 0; i < kCount; ++i) result.at[i] = planes[i];
  return result;
}
template <int kCount>
inline Targets<kCount> targets(uint8_t* const* planes) {
  Targets<kCount> result;
  for (int i = 0; i < kCount; ++i) result.at[i] = planes[i];
  return result;
}
template <int kCount, typename T>
inline bool anyNull(T* const* planes) {
  bool null = !planes;
  for (int i = 0; i < kCount && !null; ++i) null = !planes[i];
  return null;
}
template <typename Streams>
inline Streams rowsOf(Streams streams, int32_t step, int32_t y) {
  for (auto& stream : streams.at) stream = ownRow(stream, step, y);
  return streams;
}

// The columns of a row that come in whole groups.
constexpr int wholeOf(int width, int multiple) { return width & -multiple; }

// Fewer than 32 bytes, by the binary digits of their number.
inline void copyFew(uint8_t* dst, const uint8_t* src, int bytes) {
  if (bytes & 16) std::memcpy(dst, src, 16), dst += 16, src += 16;
  if (bytes & 8) std::memcpy(dst, src, 8), dst += 8, src += 8;
  if (bytes & 4) std::memcpy(dst, src, 4), dst += 4, src += 4;
  if (bytes & 2) std::memcpy(dst, src, 2), dst += 2, src += 2;
  if (bytes & 1) *dst = *src;
}

// The streams from column x on.
template <typename Kernel, int kS>
inline Sources<kS> fromColumn(const Sources<kS>& row, int x) {
  Sources<kS> streams;
  for (int i = 0; i < kS; ++i) streams.at[i] = row[i] + ptrdiff_t{x} * Kernel::kSrc[i] / Kernel::kColumns;
  return streams;
}
template <typename Kernel, int kD>
inline Targets<kD> fromColumn(const Targets<kD>& row, int x) {
  Targets<kD> streams;
  for (int i = 0; i < kD; ++i) streams.at[i] = row[i] + ptrdiff_t{x} * Kernel::kDst[i] / Kernel::kColumns;
  return streams;
}

// Columns first to last - 1. What remains of them at the end is done by an overlapping last vector, and a range of
// fewer than eight in a buffer. Sources and destinations must be apart.
template <int kS, int kD, typename Kernel>
inline void forColumns(Kernel kernel, const Sources<kS>& rowIn, const Targets<kD>& rowOut, int first, int last) {
  constexpr int kColumns = Kernel::kColumns;
  const Sources<kS> src = fromColumn<Kernel>(rowIn, first);
  const Targets<kD> dst = fromColumn<Kernel>(rowOut, first);
  const int count = last - first;
  if (count == 0) return;
  const auto inSteps = [&](auto width, const auto& run) {
    for (int next = 0; next < count; next += width) {
      const int x = next < count - width ? next : count - width;
      run(fromColumn<Kernel>(src, x), fromColumn<Kernel>(dst, x));
    }
  };
  if constexpr (kColumns > 2) {
    if (count < 8) {
      uint8_t in[kS][32] = {}, out[kD][32] = {};
      Sources<kS> from;
      Targets<kD> to;
      for (int i = 0; i < kS; ++i) {
        copyFew(in[i], src[i], count * Kernel::kSrc[i] / kColumns);
        from.at[i] = in[i];
      }
      for (int i = 0; i < kD; ++i) to.at[i] = out[i];
      kernel.runEight(from, to);
      for (int i = 0; i < kD; ++i) copyFew(dst[i], out[i], count * Kernel::kDst[i] / kColumns);
      return;
    }
    if (count < kColumns)
      return inSteps(std::integral_constant<int, 8>{}, [&](const auto& s, const auto& d) { kernel.runEight(s, d); });
  }
  inSteps(std::integral_constant<int, kColumns>{}, [&](const auto& s, const auto& d) { kernel.run(s, d); });
}

// The columns from `whole` on, fewer than eight, for which another kernel than for those before is meant. Where the
// row has eight columns, it does the last eight: to be called before the columns below `whole` are written.
template <int kS, int kD, typename Kernel, typename One>
inline void forRemainder(Kernel kernel, One one, const Sources<kS>& src, const Targets<kD>& dst, int whole, int width) {
  if (whole == width) return;
  if (width >= 8) return kernel.runEight(fromColumn<Kernel>(src, width - 8), fromColumn<Kernel>(dst, width - 8));
  forColumns(one, src, dst, whole, width);
}

}  // namespace colour
