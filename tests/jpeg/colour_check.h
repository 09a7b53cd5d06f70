// Drives a plane conversion and its scalar model over the same memory: shapes, guards, padding, alignments, steps, and
// every colour there is.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

#include "model/jpeg_colour.h"
#include "support/guarded.h"
#include "support/random.h"

namespace test {

using model::colour::View;

// Rows by hand: `count` times the same bytes; one behind the other.
using Bytes = std::vector<uint8_t>;
Bytes repeated(const Bytes& bytes, size_t count);
Bytes joined(Bytes head, const Bytes& tail);

using Convert = std::function<QlmStatus(const View& src, const View& dst, QlmSize size, uint8_t alpha)>;

// A plane conversion behind one signature: the view stands for a pointer or an array of pointers, for a step or an
// array of steps, as the export has it.
struct ColourExport {
  const model::colour::Rule& rule;
  Convert convert;
};

template <typename T>
T planesArgument(const View& view) {
  if constexpr (std::is_pointer_v<std::remove_pointer_t<T>>) {
    return view.plane.data();
  } else {
    return reinterpret_cast<T>(view.plane[0]);
  }
}

template <typename T>
T stepArgument(const View& view) {
  if constexpr (std::is_pointer_v<T>) {
    return view.step.data();
  } else {
    return view.step[0];
  }
}

template <typename Src, typename SrcStep, typename Dst, typename DstStep, typename... Alpha>
ColourExport colourExport(const char* name, QlmStatus (*f)(Src, SrcStep, Dst, DstStep, QlmSize, Alpha...)) {
  return {model::colour::rule(name),
          [f](const View& src, const View& dst, QlmSize size, [[maybe_unused]] uint8_t alpha) {
            return f(planesArgument<Src>(src), stepArgument<SrcStep>(src), planesArgument<Dst>(dst),
                     stepArgument<DstStep>(dst), size, static_cast<Alpha>(alpha)...);
          }};
}
#define COLOUR_EXPORT(name) ::test::colourExport(#name, name)

// How the planes of one side lie in memory.
struct Placement {
  Edge edge = Edge::Back;
  int padding = 0;       // bytes between the rows; below 0 the rows overlap, which sources may
  int planePadding = 0;  // so much more for each further plane, where planes have steps of their own
  int slack = 0;         // bytes behind the last row
};

// The planes of one side, each with guards of its own.
class Region {
 public:
  using Copies = std::array<Bytes, 4>;

  Region(const std::array<model::colour::Extent, 4>& extents, const Placement& placement);

  const View& view() const { return view_; }
  View bottomUp() const;                // the same rows, last one first, by negative steps
  View allRowsFirst() const;            // steps of zero
  View shifted(ptrdiff_t bytes) const;  // into the slack
  void fill(Data kind, Random& random);
  void fillPrimaries(Random& random);  // every byte 0 or 255
  void fillPattern();
  Copies copy() const;
  View viewOf(const View& own, Copies& planes) const;  // the same view over copied planes
  ::testing::AssertionResult equals(const Copies& planes) const;

 private:
  std::span<uint8_t> bytes(size_t p) const;

  std::array<model::colour::Extent, 4> extents_;
  std::array<std::optional<GuardedBytes>, 4> memory_;
  View view_;
};

// Of the two sides of a conversion.
std::array<model::colour::Extent, 4> sourceExtents(const model::colour::Rule& rule, QlmSize size);
std::array<model::colour::Extent, 4> destinationExtents(const model::colour::Rule& rule, QlmSize size);

// Conversions of one and the same source agree, statuses and bytes that must stay included.
::testing::AssertionResult agrees(const ColourExport& e, const View& src, Region& dst, const View& dstView,
                                  QlmSize size, uint8_t alpha);

// Widths 1 to 67 and around powers of two, several heights, padding, both guards, all kinds of data; all pairs of
// alignments; overlapping source rows; with untested steps also zero, negative and mixed ones.
void checkShapes(const ColourExport& e);

// Largest distances to the real-valued JFIF formula, to four decimals: of Y, Cb, Cr or of R, G, B.
struct Deviation {
  double first = 0, second = 0, third = 0;
};

// All 2^24 colours (all 2^16 pixels of 16 bits; all luma with all chroma pairs) in rows of `width` pixels, the pixels
// of a chroma sample of one colour: equal to the model, and no further from the formula than stated.
void checkEveryColour(const ColourExport& e, int width, const Deviation& expected);

// The real-valued conversions (JFIF 1.02), on samples with chroma around 128. Full blue has a Cb of 255.5, full red
// such a Cr; the inverse is held to 0 to 255.
double jfifLuma(double r, double g, double b);
std::array<double, 2> jfifChroma(double r, double g, double b);
std::array<double, 3> jfifInverse(double y, double cb, double cr);
void widen(Deviation& d, const std::array<double, 3>& exact, const std::array<int, 3>& result);
void widen(Deviation& d, const Deviation& other);
void expectDeviation(const Deviation& measured, const Deviation& expected);

// Runs part(0) to part(count - 1) on two threads.
void inParallel(int count, const std::function<void(int)>& part);

}  // namespace test
