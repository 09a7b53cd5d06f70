// What both wavelet families (reversible 5/3, irreversible 9/7; T.800 Annex F) share: the order of the checks, the
// sizes of the scratch block, the place of the bands, and the drivers of the plane forms.
//
// A level of a plane is two passes. The column pass lifts whole rows against each other, so that a lifted row stands
// where its source row stood (low and high rows alternate). The row pass lifts each row into another one. In place the
// rows of the plane have to be sorted into low and high ones besides, and since a row can be lifted only into a place
// that is free, the row pass follows the cycles of that permutation, with one row saved in the line buffer. So each
// sample is read and written twice, and no scratch beyond one line is touched.
//
// Picture row: a row with its bands in order. It has two parts, `left` of its first (n + 1) >> 1 samples and `right` of
// the rest, which follow each other in place and are rows of different bands out of place. The cut ignores the phase.
//
// A family is a type with these members:
//
//   Element                 int16_t or int32_t
//   kMargin                 elements that the line buffer has in front of and behind a line
//   kShortest               shortest line that counts for the size of the line buffer
//   forwardSource(d, n, p)  which row, in the order of the image, goes to place d of the picture: a permutation
//   forwardColumns(src, srcStep, dst, dstStep, width, n, p)
//                           lifts n >= 2 rows; src and dst are the same plane or do not overlap
//   forwardRow(src, left, right, n, p)
//                           lifts n >= 1 samples into a picture row that does not overlap src
//   inverseRow(left, right, dst, n, p)
//   inverseColumns(src, srcStep, dst, dstStep, width, n, p)
//                           the ways back. The picture of the inverse always has its rows where ownPictureSource says
//
// and those that make one pass of both out of place, with a column pass that goes down the plane row by row:
//
//   inOnePass(width)        whether rows of that width are to go that way
//   forwardPlace(k, n, p)   the way back of forwardSource
//   kWindow                 rows, a power of 2: the column pass does not come back to a row that many rows further down
//   liftColumns(x, y, done, width, n, p)
//                           forwardColumns from the rows x(k) to the rows y(k); done(k) when row k will not change
//   unliftColumns(x, y, width, n, p)
//                           inverseColumns from the rows x(k) to the rows y(k)
//
// p is the phase: 1 where the first sample stands at an odd position of the image's grid, else 0.
#pragma once

#include <cstring>

#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/wrap.h"

// --- Checks --------------------------------------------------------------------------------------------------------

// The Row and Col forms, with one plane on one side and two on the other, all pointers and steps in argument order.
inline QlmStatus ownCheckSplit(const void* a, int32_t aStep, const void* b, int32_t bStep, const void* c, int32_t cStep,
                               QlmSize size) {
  if (!a || !b || !c) return qlmErrNullPointer;
  if (aStep < 1 || bStep < 1 || cStep < 1) return qlmErrStep;
  if (isEmpty(size)) return qlmErrSize;
  return qlmOk;
}

// The C1R forms. The entries of the arrays are tested after the single step.
template <typename T>
inline QlmStatus ownCheckBands(const T* plane, int32_t step, const T* const* bands, const int32_t* bandSteps,
                               QlmRect rect, const uint8_t* buffer) {
  if (!plane || !bands || !bandSteps || !buffer) return qlmErrNullPointer;
  if (step < 1) return qlmErrStep;
  for (int i = 0; i < 4; ++i)
    if (!bands[i]) return qlmErrNullPointer;
  for (int i = 0; i < 4; ++i)
    if (bandSteps[i] < 1) return qlmErrStep;
  if (rect.width < 1 || rect.height < 1) return qlmErrSize;
  return qlmOk;
}

// --- Scratch block -------------------------------------------------------------------------------------------------

// Bytes from row to row of the plane scratch. All sizes are computed in 32 bits and may wrap.
template <typename Wavelet>
inline int32_t ownScratchStep(QlmRect rect) {
  return wrapAdd32(wrapMul32(rect.width, sizeof(typename Wavelet::Element)), 31) & -32;
}

// One line with its margins, along the longer direction. Lines below the shortest that the family lifts in a buffer
// need none.
template <typename Wavelet>
inline int32_t ownLineBufferSize(QlmRect rect) {
  if (rect.width < Wavelet::kShortest && rect.height < Wavelet::kShortest) return 0;
  const auto bytes = [](int32_t n) {
    return wrapMul32(wrapAdd32(n, 2 * Wavelet::kMargin), sizeof(typename Wavelet::Element));
  };
  return bytes(rect.width) > bytes(rect.height) ? bytes(rect.width) : bytes(rect.height);
}

template <typename Wavelet>
inline QlmStatus ownBufSizeInPlace(QlmRect rect, int32_t* size) {
  if (!size) return qlmErrNullPointer;
  *size = ownLineBufferSize<Wavelet>(rect);
  return qlmOk;
}

template <typename Wavelet>
inline QlmStatus ownBufSizeBands(QlmRect rect, int32_t* size) {
  if (!size) return qlmErrNullPointer;
  *size = wrapAdd32(wrapMul32(ownScratchStep<Wavelet>(rect), rect.height), ownLineBufferSize<Wavelet>(rect));
  return qlmOk;
}

// --- Order of rows and columns -------------------------------------------------------------------------------------

inline int32_t ownLowCount(int32_t n, int32_t p) { return (n >> 1) + (n & (p ^ 1)); }

// Where the left part of a picture row ends, and the upper bands of a picture.
inline int32_t ownCut(int32_t n) { return (n >> 1) + (n & 1); }

// Which sample, in the order of the image, stands at place d of a line with its low values first.
inline int32_t ownPictureSource(int32_t d, int32_t n, int32_t p) {
  const int32_t low = ownLowCount(n, p);
  return d < low ? 2 * d + p : 2 * (d - low) + (p ^ 1);
}

// The way back: at which place of the line sample k stands.
inline int32_t ownPicturePlace(int32_t k, int32_t n, int32_t p) {
  return ((k ^ p) & 1) == 0 ? k >> 1 : ownLowCount(n, p) + (k >> 1);
}

// Moves rows along the cycles of a permutation: sourceOf(to) names the row that goes to place `to`. Of each cycle the
// row at the smallest place is saved, then places are filled one after the other from rows not yet overwritten.
template <typename SourceOf, typename Save, typename Move>
inline void ownFollowCycles(int32_t count, const SourceOf& sourceOf, const Save& save, const Move& move) {
  constexpr int32_t kSaved = -1;
  int32_t left = count;
  for (int32_t first = 0; left > 0; ++first) {
    int32_t at = sourceOf(first);
    while (at > first) at = sourceOf(at);
    if (at < first) continue;  // a cycle that has been followed already
    save(first);
    int32_t to = first;
    for (int32_t from = sourceOf(to); from != first; to = from, from = sourceOf(to), --left) move(to, from);
    move(to, kSaved);
    --left;
  }
}

// --- Lines of length 1 ---------------------------------------------------------------------------------------------

// A single sample is a low one as it is, at an odd position a high one of twice its value. The division truncates.
template <typename T>
inline T ownDouble(T v) {
  return static_cast<T>(static_cast<uint32_t>(v) * 2);
}
template <typename T>
inline T ownHalve(T v) {
  return static_cast<T>(v / 2);
}
template <typename T>
inline void ownDoubleSamples(T* row, int32_t width) {
  for (int32_t c = 0; c < width; ++c) storeAny(row + c, ownDouble(loadAny(row + c)));
}
template <typename T>
inline void ownHalveSamples(T* row, int32_t width) {
  for (int32_t c = 0; c < width; ++c) storeAny(row + c, ownHalve(loadAny(row + c)));
}

// --- Plane forms ---------------------------------------------------------------------------------------------------

// A line for the row pass in place. Rows of fewer than 3 samples may come without a line buffer.
template <typename T>
struct LineBuffer {
  T shortLine[2];
  T* line;

  LineBuffer(uint8_t* buffer, int32_t width) : line(width < 3 ? shortLine : reinterpret_cast<T*>(buffer)) {}
};

template <typename Wavelet>
inline QlmStatus ownForwardInPlace(typename Wavelet::Element* plane, int32_t step, QlmRect rect, uint8_t* buffer) {
  using T = typename Wavelet::Element;
  if (!plane) return qlmErrNullPointer;
  if (step < 1) return qlmErrStep;
  if (!buffer) return qlmErrNullPointer;

  // The size is not checked. A line of no samples counts as one of length 1, so the first row of a plane without rows
  // and the first column of a plane without columns may be doubled.
  const int32_t width = rect.width, height = rect.height, px = rect.x & 1, py = rect.y & 1;
  if (height > 1 && width > 0) {
    Wavelet::forwardColumns(plane, step, plane, step, width, height, py);
  } else if (height < 2 && py) {
    ownDoubleSamples(plane, width);
  }
  if (width < 1) {
    for (int32_t y = 0; y < height && px; ++y) ownDoubleSamples(ownRow(plane, step, y), 1);
    return qlmOk;
  }

  LineBuffer<T> saved(buffer, width);
  ownFollowCycles(
      height, [=](int32_t y) { return Wavelet::forwardSource(y, height, py); },
      [&](int32_t y) { std::memcpy(saved.line, ownRow(plane, step, y), sizeof(T) * static_cast<size_t>(width)); },
      [&](int32_t to, int32_t from) {
        const T* src = from < 0 ? saved.line : ownRow(plane, step, from);
        T* left = ownRow(plane, step, to);
        Wavelet::forwardRow(src, left, left + ownCut(width), width, px);
      });
  return qlmOk;
}

template <typename Wavelet>
inline QlmStatus ownInverseInPlace(typename Wavelet::Element* plane, int32_t step, QlmRect rect, uint8_t* buffer) {
  using T = typename Wavelet::Element;
  if (!plane) return qlmErrNullPointer;
  if (step < 1) return qlmErrStep;
  if (!buffer) return qlmErrNullPointer;

  const int32_t width = rect.width, height = rect.height, px = rect.x & 1, py = rect.y & 1;
  if (width < 1) {
    for (int32_t y = 0; y < height && px; ++y) ownHalveSamples(ownRow(plane, step, y), 1);
    return qlmOk;
  }
  LineBuffer<T> saved(buffer, width);
  ownFollowCycles(
      height, [=](int32_t y) { return ownPicturePlace(y, height, py); },
      [&](int32_t y) { std::memcpy(saved.line, ownRow(plane, step, y), sizeof(T) * static_cast<size_t>(width)); },
      [&](int32_t to, int32_t from) {
        const T* left = from < 0 ? saved.line : ownRow(plane, step, from);
        Wavelet::inverseRow(left, left + ownCut(width), ownRow(plane, step, to), width, px);
      });

  if (height > 1) {
    Wavelet::inverseColumns(plane, step, plane, step, width, height, py);
  } else if (py) {
    ownHalveSamples(plane, width);
  }
  return qlmOk;
}

// The rows of a picture in four bands.
template <typename T>
struct BandRow {
  T *left, *right;
};
template <typename T>
inline BandRow<T> ownBandRow(T* const* bands, const int32_t* steps, int32_t d, int32_t height) {
  const int32_t cut = ownCut(height);
  const int band = d < cut ? 0 : 1;
  const int32_t y = d < cut ? d : d - cut;
  return {ownRow(bands[band], steps[band], y), ownRow(bands[band + 2], steps[band + 2], y)};
}

// Whether a plane and one of the four bands made of it have memory in common, or might have.
template <typename T>
inline bool ownOverlapBands(const T* plane, int32_t step, QlmRect rect, const T* const* bands, const int32_t* steps) {
  const auto address = [](const T* p) { return reinterpret_cast<uintptr_t>(p); };
  const uintptr_t end = address(ownRow(plane, step, rect.height));
  for (int i = 0; i < 4; ++i)
    if (address(bands[i]) < end && address(plane) < address(ownRow(bands[i], steps[i], ownCut(rect.height))))
      return true;
  return false;
}

// Out of place the column pass goes between the plane and the plane scratch and the row pass between the scratch and
// the bands, so the plane may overlap the bands: all of the source is read before anything is written. Where they are
// apart and the rows are fit for it, a row goes through both passes at once and the scratch is a ring of a few rows.
template <typename Wavelet>
inline QlmStatus ownForwardToBands(const typename Wavelet::Element* src, int32_t srcStep, QlmRect rect,
                                   typename Wavelet::Element* const* dst, const int32_t* dstStep, uint8_t* buffer) {
  using T = typename Wavelet::Element;
  const QlmStatus status = ownCheckBands<T>(src, srcStep, dst, dstStep, rect, buffer);
  if (status != qlmOk) return status;

  const int32_t width = rect.width, height = rect.height, px = rect.x & 1, py = rect.y & 1;
  T* scratch = reinterpret_cast<T*>(buffer);
  const int32_t scratchStep = ownScratchStep<Wavelet>(rect);
  const auto rowToBands = [=](const T* row, int32_t d) {
    const BandRow<T> to = ownBandRow(dst, dstStep, d, height);
    Wavelet::forwardRow(row, to.left, to.right, width, px);
  };
  if (height > 1 && Wavelet::inOnePass(width) && !ownOverlapBands<T>(src, srcStep, rect, dst, dstStep)) {
    const auto ring = [=](int32_t k) { return ownRow(scratch, scratchStep, k & (Wavelet::kWindow - 1)); };
    Wavelet::liftColumns([=](int32_t k) { return ownRow(src, srcStep, k); }, ring,
                         [=](int32_t k) { rowToBands(ring(k), Wavelet::forwardPlace(k, height, py)); }, width, height,
                         py);
    return qlmOk;
  }
  if (height > 1) {
    Wavelet::forwardColumns(src, srcStep, scratch, scratchStep, width, height, py);
  } else {
    std::memcpy(scratch, src, sizeof(T) * static_cast<size_t>(width));
    if (py) ownDoubleSamples(scratch, width);
  }
  for (int32_t d = 0; d < height; ++d)
    rowToBands(ownRow(scratch, scratchStep, Wavelet::forwardSource(d, height, py)), d);
  return qlmOk;
}

template <typename Wavelet>
inline QlmStatus ownInverseFromBands(const typename Wavelet::Element* const* src, const int32_t* srcStep,
                                     typename Wavelet::Element* dst, int32_t dstStep, QlmRect rect, uint8_t* buffer) {
  using T = typename Wavelet::Element;
  const QlmStatus status = ownCheckBands<T>(dst, dstStep, src, srcStep, rect, buffer);
  if (status != qlmOk) return status;

  const int32_t width = rect.width, height = rect.height, px = rect.x & 1, py = rect.y & 1;
  T* scratch = reinterpret_cast<T*>(buffer);
  const int32_t scratchStep = ownScratchStep<Wavelet>(rect);
  const auto rowFromBands = [=](int32_t d, T* row) {
    const BandRow<const T> from = ownBandRow(src, srcStep, d, height);
    Wavelet::inverseRow(from.left, from.right, row, width, px);
  };
  if (height > 1 && Wavelet::inOnePass(width) && !ownOverlapBands<T>(dst, dstStep, rect, src, srcStep)) {
    int32_t made = 0;
    const auto ring = [&](int32_t k) {
      const auto row = [=](int32_t i) { return ownRow(scratch, scratchStep, i & (Wavelet::kWindow - 1)); };
      for (; made <= k; ++made) rowFromBands(ownPicturePlace(made, height, py), row(made));
      return row(k);
    };
    Wavelet::unliftColumns(
        ring, [=](int32_t k) { return ownRow(dst, dstStep, k); }, width, height, py);
    return qlmOk;
  }
  for (int32_t d = 0; d < height; ++d) rowFromBands(d, ownRow(scratch, scratchStep, ownPictureSource(d, height, py)));
  if (height > 1) {
    Wavelet::inverseColumns(scratch, scratchStep, dst, dstStep, width, height, py);
  } else {
    if (py) ownHalveSamples(scratch, width);
    std::memcpy(dst, scratch, sizeof(T) * static_cast<size_t>(width));
  }
  return qlmOk;
}
