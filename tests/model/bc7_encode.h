// Scalar model of the encoder of BC7: one block in one mode.
#pragma once

#include <array>
#include <cstdint>

namespace model {

struct Bc7Block {
  std::array<uint8_t, 16> bytes;
  uint32_t error;
};

// 16 pixels of R, G, B, A, row by row.
Bc7Block encodeBc7(const std::array<uint8_t, 64>& pixels, int mode);

}  // namespace model
