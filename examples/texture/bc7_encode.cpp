#include "texture/bc7_encode.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>

#include "qlmcore.h"
#include "qlmjp.h"

namespace sample {
namespace {

constexpr size_t kBlockBytes = 16;
using Pixels = std::array<uint8_t, 64>;  // 4 x 4 of RGBA

Pixels pixelsOf(const uint8_t* rgba, int32_t width, int32_t height, int32_t blockX, int32_t blockY) {
  Pixels pixels;
  uint8_t* to = pixels.data();
  for (int32_t i = 0; i < 16; ++i, to += 4) {
    const int32_t x = std::min(4 * blockX + i % 4, width - 1), y = std::min(4 * blockY + i / 4, height - 1);
    std::copy_n(rgba + 4 * (int64_t{y} * width + x), 4, to);
  }
  return pixels;
}

int32_t squaredError(const Pixels& a, const Pixels& b) {
  int32_t sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum;
}

// The block of the least error. That is measured on the decoded block: what the encoder reports is too low where a
// p-bit that several values share was decided against some of them. None of these calls can fail.
void encodeBest(const Pixels& pixels, const std::vector<uint32_t>& modes, uint8_t* best) {
  int32_t least = std::numeric_limits<int32_t>::max();
  for (const uint32_t mode : modes) {
    uint8_t block[kBlockBytes];
    uint32_t reported;
    Pixels decoded;
    qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R(pixels.data(), 16, block, &reported, mode);
    qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R(block, decoded.data(), 16, {4, 4});
    const int32_t error = squaredError(pixels, decoded);
    if (error >= least) continue;
    least = error;
    std::copy_n(block, kBlockBytes, best);
    if (error == 0) return;
  }
}

}  // namespace

std::vector<uint8_t> encodeBc7(const uint8_t* rgba, int32_t width, int32_t height, const Bc7Options& options) {
  if (options.modes.empty() || std::ranges::max(options.modes) > 7)
    throw std::invalid_argument("the modes of BC7 are 0 to 7");
  const int32_t columns = (width + 3) / 4, rows = (height + 3) / 4;
  std::vector<uint8_t> blocks(kBlockBytes * static_cast<size_t>(columns) * static_cast<size_t>(rows));
  int32_t done = 0;
  // Rows take very different times: flat blocks are soon exact.
#pragma omp parallel for schedule(dynamic) num_threads(ownGetNumThreads())
  for (int32_t y = 0; y < rows; ++y) {
    uint8_t* row = &blocks[kBlockBytes * static_cast<size_t>(columns) * static_cast<size_t>(y)];
    for (int32_t x = 0; x < columns; ++x, row += kBlockBytes)
      encodeBest(pixelsOf(rgba, width, height, x, y), options.modes, row);
#pragma omp critical
    {
      ++done;
      if (options.progress) options.progress(done, rows);
    }
  }
  return blocks;
}

}  // namespace sample
