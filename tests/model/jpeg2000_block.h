// What the scalar models of the code-block encoder and decoder share (ITU-T T.800 Annexes C and D): the contexts of the
// MQ coder with what they have learnt, and the samples of a block as neighbours see them. Contexts are counted afresh
// from the neighbours for every symbol.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace model {

// The bits of the style argument that both sides read.
enum Style : int32_t {
  kVerticallyCausal = 1,
  kBypass = 2,
  kTerminateEach = 4,
  kResetContexts = 8,
  kSegmentationSymbols = 16,
};

// The labels of T.800 stand behind the uniform and the run-length context: label + 2 is the number of a context.
enum Context : int32_t {
  kUniform = 0,
  kRunLength = 1,
  kFirstSignificance = 2,
  kFirstSign = 11,
  kFirstRefinement = 16,
  kContexts = 19,
};

// The state index and the more probable symbol of every context.
struct Probabilities {
  std::array<int32_t, kContexts> state, mps;

  Probabilities() { reset(); }
  void reset();
};

// A row of T.800 Table C.2.
struct ProbabilityState {
  uint32_t qe;
  int32_t nmps, nlps;
  bool switches;
};
ProbabilityState probabilityState(int32_t index);

// The samples of a block: which are significant, their signs, and what the passes remember of them.
class BlockMap {
 public:
  BlockMap(int32_t width, int32_t height);

  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  // Whether the last row of a stripe sees the row below it.
  void setVerticallyCausal(bool causal) { causal_ = causal; }

  struct Sample {
    bool significant = false, negative = false;
    bool refined = false;  // has had a refinement by the MQ coder
    bool visited = false;  // coded in the significance pass of this plane
  };
  Sample& at(int32_t x, int32_t y) { return samples_[index(x, y)]; }
  const Sample& at(int32_t x, int32_t y) const { return samples_[index(x, y)]; }
  size_t index(int32_t x, int32_t y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }

  bool hasSignificantNeighbour(int32_t x, int32_t y) const;
  // T.800 Table D.1. Subband 2 is HL, 3 is HH, any other LL or LH.
  int32_t significanceContext(int32_t x, int32_t y, int32_t subband) const;
  // T.800 Tables D.2 and D.3: the decision is the sign turned over where `flip` is set.
  struct Sign {
    int32_t context;
    bool flip;
  };
  Sign signContext(int32_t x, int32_t y) const;
  // T.800 Table D.4.
  int32_t refinementContext(int32_t x, int32_t y) const;
  // Whether a cleanup pass codes the column of the stripe that begins at row y by its run.
  bool codesRun(int32_t x, int32_t y) const;

 private:
  // 1 or 0: the neighbour at this distance from (x, y) is significant and seen from there.
  int32_t significant(int32_t x, int32_t y, int32_t dx, int32_t dy) const;
  // -1, 0 or 1: its sign, 0 where it is not significant.
  int32_t signOf(int32_t x, int32_t y, int32_t dx, int32_t dy) const;
  struct Sums {
    int32_t horizontal, vertical, diagonal;
  };
  Sums sums(int32_t x, int32_t y) const;

  int32_t width_, height_;
  bool causal_ = false;
  std::vector<Sample> samples_;
};

// Calls visit(x, y) for all samples in the stripe scan of T.800 Figure D.1, and where a column of a stripe begins
// asks column(x, y) first how many of its rows to leave out.
template <typename Column, typename Visit>
void scanStripes(int32_t width, int32_t height, const Column& column, const Visit& visit) {
  for (int32_t top = 0; top < height; top += 4) {
    for (int32_t x = 0; x < width; ++x) {
      for (int32_t y = top + column(x, top); y < top + 4 && y < height; ++y) visit(x, y);
    }
  }
}
template <typename Visit>
void scanStripes(int32_t width, int32_t height, const Visit& visit) {
  scanStripes(
      width, height, [](int32_t, int32_t) { return 0; }, visit);
}

}  // namespace model
