#include "jpeg2000/layers.h"

#include <algorithm>
#include <cmath>

namespace sample::j2k {
namespace {

// From one point on the convex hull of a block's gains over its bytes to the next.
struct HullStep {
  double slope;  // gain a byte
  double gain;
  int32_t bytes;
  int32_t from, to;  // passes before and behind it
  size_t block;
};

// The steps of a block have falling slopes.
void appendHull(const CodedBlock& block, size_t index, std::vector<HullStep>& steps) {
  const size_t first = steps.size();
  const auto step = [&](int32_t from, int32_t to) {
    const double before = from ? block.passes[static_cast<size_t>(from) - 1].gain : 0;
    const double gain = block.passes[static_cast<size_t>(to) - 1].gain - before;
    const int32_t bytes = bytesOfPasses(block, 0, to) - bytesOfPasses(block, 0, from);
    return HullStep{bytes > 0 ? gain / bytes : gain > 0 ? INFINITY : 0, gain, bytes, from, to, index};
  };
  const auto start = [&](size_t i) { return i > first ? steps[i - 1].to : 0; };
  for (int32_t pass = 1; pass <= static_cast<int32_t>(block.passes.size()); ++pass) {
    HullStep next = step(start(steps.size()), pass);
    // A step that is not steeper than this one lies below the hull.
    while (steps.size() > first && steps.back().slope <= next.slope) {
      steps.pop_back();
      next = step(start(steps.size()), pass);
    }
    if (next.slope > 0) steps.push_back(next);
  }
}

std::vector<HullStep> hullOf(std::span<const CodedBlock> blocks) {
  std::vector<HullStep> steps;
  for (size_t i = 0; i < blocks.size(); ++i) appendHull(blocks[i], i, steps);
  std::ranges::stable_sort(steps, [](const HullStep& a, const HullStep& b) { return a.slope > b.slope; });
  return steps;
}

class Allocation {
 public:
  Allocation(std::span<const CodedBlock> blocks, std::span<const PlacedPrecinct> precincts, const LayerBudget& budget)
      : blocks_(blocks),
        precincts_(precincts.begin(), precincts.end()),
        budget_(budget),
        steps_(hullOf(blocks)),
        passes_(blocks.size()),
        bytes_(budget.fixedBytes) {
    for (const CodedBlock& block : blocks) error_ += block.residue;
    bytesUpTo_.push_back(0);
    for (const HullStep& step : steps_) {
      error_ += step.gain;
      bytesUpTo_.push_back(bytesUpTo_.back() + step.bytes);
    }
  }

  // The passes that the blocks have with the next layer.
  const std::vector<int32_t>& next(const Jpeg2000Layer& layer) {
    switch (layer.by) {
      case Jpeg2000Layer::By::kEverything:
        for (size_t i = 0; i < blocks_.size(); ++i) passes_[i] = static_cast<int32_t>(blocks_[i].passes.size());
        taken_ = steps_.size();
        break;
      case Jpeg2000Layer::By::kBytes:
      case Jpeg2000Layer::By::kBitsPerPixel:
        fill(bytesOf(layer, budget_));
        break;
      case Jpeg2000Layer::By::kPsnr:
        take(stepsForError(errorOf(layer, budget_)));
        break;
    }
    bytes_ += layerBytes(precincts_, passes_);
    ++layer_;
    return passes_;
  }

 private:
  std::vector<int32_t> passesWith(size_t steps) const {
    std::vector<int32_t> passes = passes_;
    for (size_t i = taken_; i < steps; ++i) passes[steps_[i].block] = std::max(passes[steps_[i].block], steps_[i].to);
    return passes;
  }

  void take(size_t steps) {
    passes_ = passesWith(steps);
    taken_ = std::max(taken_, steps);
  }

  // Of all packets of the present layer, after which the precincts are where the decoder is.
  int64_t layerBytes(std::vector<PlacedPrecinct>& precincts, std::span<const int32_t> passes) const {
    int64_t bytes = 0;
    std::vector<uint8_t> header;
    for (PlacedPrecinct& placed : precincts) {
      const auto its = passes.subspan(placed.firstBlock, placed.blocks);
      size_t i = 0;
      for (const WrittenBand& band : placed.precinct)
        for (size_t k = 0; k < band.told.size(); ++k, ++i)
          bytes += bytesOfPasses(band.blocks[k], band.told[k].passes, its[i]);
      header.clear();
      writePacketHeader(placed.precinct, layer_, its, header);
      bytes += static_cast<int64_t>(header.size()) + budget_.bytesPerPacket;
    }
    return bytes;
  }

  double bytesWith(std::span<const int32_t> passes) const {
    std::vector<PlacedPrecinct> precincts = precincts_;
    return static_cast<double>(bytes_ + layerBytes(precincts, passes));
  }

  // The best steps that the bytes hold, and of the next ones after them those that still fit.
  void fill(double bytes) {
    constexpr size_t kAhead = 256;
    constexpr double kEnough = 0.001;  // of the bytes
    take(stepsFor(bytes));
    double left = bytes - bytesWith(passes_);
    const size_t end = std::min(steps_.size(), taken_ + kAhead);
    for (size_t i = taken_; i < end && left > kEnough * bytes; ++i) {
      const HullStep& step = steps_[i];
      if (step.bytes >= left || passes_[step.block] != step.from) continue;
      passes_[step.block] = step.to;
      const double now = bytes - bytesWith(passes_);
      if (now < 0)
        passes_[step.block] = step.from;
      else
        left = now;
    }
  }

  // As many steps as the bytes hold, or a few less. What the steps add to the packets is known beforehand, but for the
  // headers, which change little from one guess to the next.
  size_t stepsFor(double bytes) const {
    constexpr int32_t kGuesses = 4;
    size_t steps = taken_;
    for (int32_t guess = 0; guess < kGuesses; ++guess) {
      const double other = bytesWith(passesWith(steps)) - static_cast<double>(bytesUpTo_[steps]);
      const auto end = std::ranges::upper_bound(bytesUpTo_, bytes - other, {}, [](int64_t v) { return double(v); });
      const auto most = std::max<ptrdiff_t>(end - bytesUpTo_.begin() - 1, 0);
      steps = std::max(static_cast<size_t>(most), taken_);
    }
    while (steps > taken_ && bytesWith(passesWith(steps)) > bytes) steps -= std::max<size_t>((steps - taken_) / 512, 1);
    return steps;
  }

  // As few steps as leave no more squared error.
  size_t stepsForError(double error) const {
    double left = error_;
    size_t steps = 0;
    while (steps < steps_.size() && left > error) left -= steps_[steps++].gain;
    return steps;
  }

  std::span<const CodedBlock> blocks_;
  std::vector<PlacedPrecinct> precincts_;
  LayerBudget budget_;
  std::vector<HullStep> steps_;
  std::vector<int64_t> bytesUpTo_;  // of the packets' bodies before a step
  std::vector<int32_t> passes_;
  size_t taken_ = 0;  // steps, in the layers so far
  int64_t bytes_;
  double error_ = 0;  // squared, of the picture without any block
  int32_t layer_ = 0;
};

}  // namespace

double bytesOf(const Jpeg2000Layer& layer, const LayerBudget& budget) {
  if (layer.by == Jpeg2000Layer::By::kBytes) return layer.value;
  return layer.by == Jpeg2000Layer::By::kBitsPerPixel ? layer.value * static_cast<double>(budget.pixels) / 8 : INFINITY;
}

double errorOf(const Jpeg2000Layer& layer, const LayerBudget& budget) {
  return layer.by == Jpeg2000Layer::By::kPsnr ? budget.peakEnergy * std::pow(10, -layer.value / 10) : 0;
}

std::vector<std::vector<int32_t>> allocateLayers(std::span<const CodedBlock> blocks,
                                                 std::span<const PlacedPrecinct> precincts,
                                                 std::span<const Jpeg2000Layer> layers, const LayerBudget& budget) {
  Allocation allocation(blocks, precincts, budget);
  std::vector<std::vector<int32_t>> passes;
  for (const Jpeg2000Layer& layer : layers) passes.push_back(allocation.next(layer));
  return passes;
}

}  // namespace sample::j2k
