// The tag trees of packet headers (T.800 B.10.2): a quad tree over the code-blocks of a precinct whose nodes hold the
// minimum of the values below them, told piece by piece.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace sample::j2k {

class TagTree {
 public:
  TagTree() = default;
  TagTree(int32_t columns, int32_t rows) {
    if (columns < 1 || rows < 1) return;
    int32_t next = 0;  // the first node of the level above
    for (int32_t w = columns, h = rows;; w = (w + 1) / 2, h = (h + 1) / 2) {
      next += w * h;
      const bool isRoot = w * h == 1;
      for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) nodes_.push_back({isRoot ? kNone : next + y / 2 * ((w + 1) / 2) + x / 2});
      if (isRoot) break;
    }
  }

  // Leaves stand in raster order. For the writer: all leaves are set before anything is coded.
  void set(int32_t leaf, int32_t value) {
    for (int32_t n = leaf; n != kNone && value < node(n).value; n = node(n).parent) node(n).value = value;
  }

  // Reads on until it is known whether the value of the leaf is below the threshold, and tells that. `bits()` gives the
  // next bit of the header.
  template <typename Bits>
  bool isBelow(int32_t leaf, int32_t threshold, Bits bits) {
    return walk(leaf, threshold, [&](Node& n) {
      if (bits()) n.value = n.low, n.told = true;
      return n.told;
    });
  }

  // Writes what isBelow() reads. `bits(b)` takes a bit of the header.
  template <typename Bits>
  void tell(int32_t leaf, int32_t threshold, Bits bits) {
    walk(leaf, threshold, [&](Node& n) {
      n.told = n.value <= n.low;
      bits(n.told);
      return n.told;
    });
  }

 private:
  static constexpr int32_t kNone = -1;
  struct Node {
    int32_t parent;
    int32_t value = INT32_MAX;
    int32_t low = 0;  // the value is at least this
    bool told = false;
  };

  Node& node(int32_t n) { return nodes_[static_cast<size_t>(n)]; }

  // From the root to the leaf, raising the low bounds to the threshold or the value; `step(n)` tells whether n.low is
  // the value.
  template <typename Step>
  bool walk(int32_t leaf, int32_t threshold, Step step) {
    int32_t path[32], depth = 0;
    for (int32_t n = leaf; n != kNone; n = node(n).parent) path[depth++] = n;
    for (int32_t low = 0; depth > 0;) {
      Node& n = node(path[--depth]);
      n.low = std::max(n.low, low);
      while (!n.told && n.low < threshold && !step(n)) ++n.low;
      low = n.low;
    }
    return node(leaf).told && node(leaf).value < threshold;
  }

  std::vector<Node> nodes_;
};

}  // namespace sample::j2k
