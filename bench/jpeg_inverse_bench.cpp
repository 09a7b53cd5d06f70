// Inverse DCT with dequantisation against libjpeg-turbo's kernels on the blocks of a picture at quality 75, and against
// memcpy of the bytes touched.
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

extern "C" {
void jsimd_idct_islow_avx2(void* table, int16_t* block, uint8_t** rows, unsigned column);
void jsimd_idct_4x4_sse2(void* table, int16_t* block, uint8_t** rows, unsigned column);
void jsimd_idct_2x2_sse2(void* table, int16_t* block, uint8_t** rows, unsigned column);
void jsimd_idct_float_sse2(void* table, int16_t* block, uint8_t** rows, unsigned column);
}

namespace {

using bench::race;

struct alignas(32) Block {
  int16_t v[64];
};

// One quantiser for all frequencies keeps the set-up short; no kernel looks at the data.
constexpr uint16_t kQuantiser = 16;

std::vector<Block> quantisedBlocks(size_t count) {
  const sample::Picture grey = sample::paintPicture(512, 512, 1);
  std::vector<Block> blocks(count);
  double cosine[8][8];
  for (int u = 0; u < 8; ++u)
    for (int x = 0; x < 8; ++x)
      cosine[u][x] = std::cos((2 * x + 1) * u * std::numbers::pi / 16) / (u ? 2 : std::sqrt(8));
  for (size_t b = 0; b < count; ++b) {
    const size_t place = b % 4096;
    const uint8_t* from = grey.row(static_cast<int32_t>(place / 64 * 8)) + place % 64 * 8;
    for (int u = 0; u < 8; ++u)
      for (int v = 0; v < 8; ++v) {
        double sum = 0;
        for (int y = 0; y < 8; ++y)
          for (int x = 0; x < 8; ++x) sum += cosine[u][y] * cosine[v][x] * (from[y * grey.step() + x] - 128);
        blocks[b].v[8 * u + v] = static_cast<int16_t>(std::lround(sum / kQuantiser));
      }
  }
  return blocks;
}

struct Shape {
  const char* data;
  int32_t blocks;
};
constexpr Shape kShapes[] = {{"L1", 128}, {"L2", 4096}};

void raceShape(const Shape& shape) {
  alignas(32) static uint16_t table[64];
  alignas(32) static int16_t peerTable[64];
  alignas(32) static float floatTable[64], peerFloatTable[64];
  for (int i = 0; i < 64; ++i) {
    const auto aan = [](int k) { return k ? std::cos(k * std::numbers::pi / 16) * std::numbers::sqrt2 : 1.0; };
    table[i] = kQuantiser, peerTable[i] = kQuantiser, floatTable[i] = kQuantiser;
    peerFloatTable[i] = static_cast<float>(kQuantiser * aan(i / 8) * aan(i % 8) * 0.125);
  }
  const int32_t n = shape.blocks;
  const std::vector<Block> blocks = quantisedBlocks(static_cast<size_t>(n));
  const auto work = [&](const char* name) { return bench::Work{"jpeg.transform", name, shape.data, "block"}; };
  const auto raceMember = [&](const char* name, auto ours, auto peer, int32_t sampleBytes, int32_t size) {
    const int64_t bytes = int64_t{n} * (128 + sampleBytes);
    const std::vector<uint8_t> out(static_cast<size_t>(n) * 128);
    race(work(name), "ours", n, bytes, [=, in = blocks, to = out]() mutable {
      for (int32_t b = 0; b < n; ++b) ours(in[size_t(b)].v, to.data() + ptrdiff_t{b} * sampleBytes, size);
    });
    race(work(name), "peer:libjpeg-turbo", n, bytes, [=, in = blocks, to = out]() mutable {
      for (int32_t b = 0; b < n; ++b) {
        uint8_t* rows[8];
        for (int y = 0; y < 8; ++y) rows[y] = to.data() + ptrdiff_t{b} * 64 + y * size;
        peer(in[size_t(b)].v, rows);
      }
    });
    race(work(name), "bound:memcpy", n, bytes,
         [from = std::vector<uint8_t>(size_t(bytes / 2), 1), to = std::vector<uint8_t>(size_t(bytes / 2))]() mutable {
           std::memcpy(to.data(), from.data(), from.size());
           benchmark::DoNotOptimize(to.data());
         });
  };
  const auto islow = [](int16_t* block, uint8_t** rows) { jsimd_idct_islow_avx2(peerTable, block, rows, 0); };
  const auto four = [](int16_t* block, uint8_t** rows) { jsimd_idct_4x4_sse2(peerTable, block, rows, 0); };
  const auto two = [](int16_t* block, uint8_t** rows) { jsimd_idct_2x2_sse2(peerTable, block, rows, 0); };
  const auto real = [](int16_t* block, uint8_t** rows) { jsimd_idct_float_sse2(peerFloatTable, block, rows, 0); };
  const auto member = [](auto function) {
    return [function](const int16_t* block, uint8_t* to, int32_t step) { function(block, to, step, table); };
  };
  raceMember("qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R), islow, 64, 8);
  raceMember("qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R), islow, 64, 8);
  raceMember("qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R), islow, 64, 8);
  raceMember("qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R), islow, 64, 8);
  raceMember("qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R), four, 16, 4);
  raceMember("qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R", member(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R), two, 4, 2);
  raceMember(
      "qlmiDCTQuantInv8x8_JPEG_16s_C1",
      [](const int16_t* block, uint8_t* to, int32_t) {
        qlmiDCTQuantInv8x8_JPEG_16s_C1(block, reinterpret_cast<int16_t*>(to), table);
      },
      islow, 128, 8);
  raceMember(
      "qlmiDCTQuantInv8x8_JPEG_16s_C1I",
      [](int16_t* block, uint8_t*, int32_t) { qlmiDCTQuantInv8x8_JPEG_16s_C1I(block, table); }, islow, 128, 8);
  raceMember(
      "qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R",
      [](const int16_t* block, uint8_t* to, int32_t) {
        qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(block, reinterpret_cast<uint16_t*>(to), 16, floatTable);
      },
      real, 128, 8);
}

[[maybe_unused]] const int registered = [] {
  for (const Shape& shape : kShapes) raceShape(shape);
  return 0;
}();

}  // namespace
