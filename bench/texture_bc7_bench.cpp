// BC7 encoding, block by block, of a photograph and of noise, in each mode. The search is fixed, so that
// no other encoder does the same work: the scalar model, compiled with the flags of the library, is the bound.
#include <array>
#include <string>
#include <vector>

#include "model/bc7_encode.h"
#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

namespace {

using Blocks = std::vector<std::array<uint8_t, 64>>;

// Opaque blocks spread over a picture.
Blocks blocksOf(const sample::Picture& picture, size_t count) {
  Blocks blocks(count);
  for (size_t k = 0; k < count; ++k) {
    const auto place = static_cast<int32_t>(k);
    const int32_t x = place * 37 % (picture.width / 4) * 4, y = place * 101 % (picture.height / 4) * 4;
    for (int32_t i = 0; i < 16; ++i) {
      const uint8_t* pixel = picture.row(y + i / 4) + ptrdiff_t{3} * (x + i % 4);
      const auto at = static_cast<size_t>(4 * i);
      for (size_t c = 0; c < 3; ++c) blocks[k][at + c] = pixel[c];
      blocks[k][at + 3] = 255;
    }
  }
  return blocks;
}

Blocks noiseBlocks(size_t count) {
  Blocks blocks(count);
  uint32_t state = 1;
  for (auto& block : blocks)
    for (uint8_t& v : block) {
      state = state * 1664525 + 1013904223;
      v = static_cast<uint8_t>(state >> 24);
    }
  return blocks;
}

void raceMode(uint32_t mode, const char* data, const Blocks& blocks) {
  const bench::Work work{"texture", "qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R",
                         "mode" + std::to_string(mode) + "-" + data, "pixel"};
  const auto pixels = static_cast<int64_t>(16 * blocks.size()), bytes = 4 * pixels;
  bench::race(work, "ours", pixels, bytes, [=] {
    for (const auto& block : blocks) {
      uint8_t out[16];
      uint32_t error;
      qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(block.data(), 16, out, &error, mode);
      benchmark::DoNotOptimize(error);
    }
  });
  bench::race(work, "bound:model", pixels, bytes, [=] {
    for (const auto& block : blocks) benchmark::DoNotOptimize(model::encodeBc7(block, static_cast<int>(mode)).error);
  });
}

[[maybe_unused]] const int registered = [] {
  const auto photographs = sample::photographs();
  const Blocks photograph =
      blocksOf(photographs.empty() ? sample::paintPicture(768, 512) : sample::readPicture(photographs[0]), 64);
  const Blocks noise = noiseBlocks(16);
  for (uint32_t mode = 0; mode < 8; ++mode) {
    raceMode(mode, "photograph", photograph);
    raceMode(mode, "noise", noise);
  }
  return 0;
}();

}  // namespace
