// The zig-zag sequence of the 64 coefficients of a block (T.81 A.3.6, figure A.6) in both directions, walked along the
// anti-diagonals of the block.
#pragma once

#include <cstdint>

struct ZigzagOrder {
  uint8_t naturalOfScan[64];  // 8 * row + column of the coefficient at a zig-zag index
  uint8_t scanOfNatural[64];  // zig-zag index of the coefficient at 8 * row + column
};

constexpr ZigzagOrder makeZigzagOrder() {
  ZigzagOrder order{};
  int scan = 0;
  for (int diagonal = 0; diagonal < 15; ++diagonal) {
    for (int i = 0; i <= diagonal; ++i) {
      // Odd diagonals run downward, even ones upward.
      const int row = diagonal % 2 != 0 ? i : diagonal - i;
      const int column = diagonal - row;
      if (row > 7 || column > 7) continue;
      const int natural = 8 * row + column;
      order.naturalOfScan[scan] = static_cast<uint8_t>(natural);
      order.scanOfNatural[natural] = static_cast<uint8_t>(scan);
      ++scan;
    }
  }
  return order;
}

inline constexpr ZigzagOrder kZigzag = makeZigzagOrder();
