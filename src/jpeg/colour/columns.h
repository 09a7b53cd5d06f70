// How a row kernel is run over a range of columns. A kernel is a record with a member run(src, dst) that turns exactly
// kColumns columns of its source streams into its destination streams (a stream is a row of pixels or of a plane), and
// with kSrc and kDst, the bytes that these columns take in each stream.
#pragma once

#include <cstring>

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

// Fewer than 128 bytes, by the binary digits of their number.
inline void copyFew(uint8_t* dst, const uint8_t* src, int bytes) {
  if (bytes & 64) std::memcpy(dst, src, 64), dst += 64, src += 64;
  if (bytes & 32) std::memcpy(dst, src, 32), dst += 32, src += 32;
  if (bytes & 16) std::memcpy(dst, src, 16), dst += 16, src += 16;
  if (bytes & 8) std::memcpy(dst, src, 8), dst += 8, src += 8;
  if (bytes & 4) std::memcpy(dst, src, 4), dst += 4, src += 4;
  if (bytes & 2) std::memcpy(dst, src, 2), dst += 2, src += 2;
  if (bytes & 1) *dst = *src;
}

// Columns first to last - 1. What remains of them at the end is done by an overlapping last vector, and a range that
// is narrower than a vector in a buffer. Sources and destinations must be apart.
template <int kS, int kD, typename Kernel>
inline void forColumns(Kernel kernel, const Sources<kS>& rowIn, const Targets<kD>& rowOut, int first, int last) {
  constexpr int kColumns = Kernel::kColumns;
  const auto offset = [](int x, int perVector) { return ptrdiff_t{x} * perVector / kColumns; };
  Sources<kS> src;
  Targets<kD> dst;
  for (int i = 0; i < kS; ++i) src.at[i] = rowIn[i] + offset(first, Kernel::kSrc[i]);
  for (int i = 0; i < kD; ++i) dst.at[i] = rowOut[i] + offset(first, Kernel::kDst[i]);
  const int count = last - first;
  if (count == 0) return;

  if (kColumns > 2 && count < kColumns) {
    alignas(32) uint8_t in[kS][128], out[kD][128];
    Sources<kS> from;
    Targets<kD> to;
    for (int i = 0; i < kS; ++i) {
      copyFew(in[i], src[i], static_cast<int>(offset(count, Kernel::kSrc[i])));
      from.at[i] = in[i];
    }
    for (int i = 0; i < kD; ++i) to.at[i] = out[i];
    forColumns(kernel, from, to, 0, kColumns);
    for (int i = 0; i < kD; ++i) copyFew(dst[i], out[i], static_cast<int>(offset(count, Kernel::kDst[i])));
    return;
  }
  for (int next = 0; next < count; next += kColumns) {
    const int x = next < count - kColumns ? next : count - kColumns;
    Sources<kS> s;
    Targets<kD> d;
    for (int i = 0; i < kS; ++i) s.at[i] = src[i] + offset(x, Kernel::kSrc[i]);
    for (int i = 0; i < kD; ++i) d.at[i] = dst[i] + offset(x, Kernel::kDst[i]);
    kernel.run(s, d);
  }
}

}  // namespace colour
