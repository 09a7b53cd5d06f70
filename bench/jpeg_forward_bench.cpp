// The encoder's half of the JPEG transforms: level shift, quantisation and forward DCT of the blocks of a photograph (a
// painted picture where there is none), against libjpeg-turbo's kernels and against a memcpy that touches as many
// bytes.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <vector>

#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

// Kernels of libjpeg-turbo's static archive, as its own dispatcher calls them. Rows come as an array of row pointers.
extern "C" {
void jsimd_convsamp_avx2(uint8_t** rows, unsigned column, int16_t* workspace);
void jsimd_fdct_islow_avx2(int16_t* workspace);
void jsimd_quantize_avx2(int16_t* block, int16_t* divisors, int16_t* workspace);
void jsimd_convsamp_float_sse2(uint8_t** rows, unsigned column, float* workspace);
void jsimd_fdct_float_sse(float* workspace);
void jsimd_quantize_float_sse2(int16_t* block, float* divisors, float* workspace);
}

namespace {

using bench::race;

// Luminance quantisers of T.81 Annex K.1, in zig-zag order.
constexpr uint8_t kRawTable[64] = {16, 11, 12,  14,  12,  10, 16, 14,  13,  14,  18,  17,  16, 19,  24,  40,
                                   26, 24, 22,  22,  24,  49, 35, 37,  29,  40,  58,  51,  61, 60,  57,  51,
                                   56, 55, 64,  72,  92,  78, 64, 68,  87,  69,  55,  56,  80, 109, 81,  87,
                                   95, 98, 103, 104, 103, 62, 77, 113, 121, 112, 100, 120, 92, 101, 103, 99};

struct alignas(64) Tables {
  uint16_t forward[64], inverse[64];
  float forwardFloat[64];
  int16_t peer[4][64];  // reciprocal, correction, scale, shift
  float peerFloat[64];
};

// The peer divides by 8 q, since its transform leaves a factor of 8: |x| + half the divisor, times a reciprocal of 16
// bits, shifted right by 16 and then by the divisor's own bits.
void setPeer(Tables& t, int i) {
  const unsigned divisor = 8U * t.inverse[i];
  unsigned shift = static_cast<unsigned>(std::bit_width(divisor)) - 1;
  uint64_t reciprocal = (uint64_t{65536} << shift) / divisor;
  const uint64_t rest = (uint64_t{65536} << shift) % divisor;
  unsigned correction = divisor / 2;
  if (rest == 0)
    reciprocal /= 2, --shift;
  else if (rest <= divisor / 2)
    ++correction;
  else
    ++reciprocal;
  t.peer[0][i] = static_cast<int16_t>(reciprocal);
  t.peer[1][i] = static_cast<int16_t>(correction);
  t.peer[2][i] = static_cast<int16_t>(1U << (16 - shift));
  t.peer[3][i] = static_cast<int16_t>(shift);

  const auto scale = [](int k) { return k ? std::cos(k * std::numbers::pi / 16) * std::numbers::sqrt2 : 1.0; };
  t.peerFloat[i] = static_cast<float>(1 / (8 * t.inverse[i] * scale(i / 8) * scale(i % 8)));
}

Tables makeTables() {
  Tables t{};
  qlmiQuantFwdTableInit_JPEG_8u16u(kRawTable, t.forward);
  qlmiQuantInvTableInit_JPEG_8u16u(kRawTable, t.inverse);
  for (int i = 0; i < 64; ++i) t.forwardFloat[i] = 1.0F / t.inverse[i], setPeer(t, i);
  return t;
}

struct alignas(64) Block {
  int16_t v[64];
};

// A grey picture, its samples as level-shifted blocks and in 12 bits, and a destination.
struct Data {
  explicit Data(int32_t columns, int32_t rows) : width(8 * columns), height(8 * rows) {
    const auto photos = sample::photographs();
    const sample::Picture picture =
        photos.empty() ? sample::paintPicture(768, 512, 1) : sample::toGrey(sample::readPicture(photos.front()));
    grey = sample::crop(picture, 0, 0, width, height);
    for (int32_t y = 0; y < height; ++y) rowPointers.push_back(grey.row(y));
    for (const uint8_t v : grey.pixels) deep.push_back(static_cast<uint16_t>(v * 4095 / 255));
    blocks.resize(static_cast<size_t>(columns * rows));
    copies.resize(blocks.size());
    out.resize(blocks.size());
    for (size_t b = 0; b < blocks.size(); ++b)
      for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
          blocks[b].v[8 * y + x] = static_cast<int16_t>(
              grey.row(static_cast<int32_t>(b) / columns * 8 + y)[static_cast<int32_t>(b) % columns * 8 + x] - 128);
  }

  // Calls f(row, column, destination) for each block, row and column in samples.
  template <typename F>
  void forEachBlock(F f) {
    Block* to = out.data();
    for (int32_t y = 0; y < height; y += 8)
      for (int32_t x = 0; x < width; x += 8) f(y, x, (to++)->v);
  }

  int32_t width, height;
  sample::Picture grey;
  std::vector<uint8_t*> rowPointers;
  std::vector<uint16_t> deep;
  std::vector<Block> blocks, copies, out;
  Tables tables = makeTables();
};

void raceCopy(const bench::Work& work, int64_t items, int64_t touched) {
  const auto half = static_cast<size_t>(touched / 2);
  const std::vector<Block> blocks(half / sizeof(Block) + 1);
  race(work, "bound:memcpy", items, touched, [=, from = blocks, to = blocks]() mutable {
    std::memcpy(to.data(), from.data(), half);
    benchmark::DoNotOptimize(to.data());
  });
}

void raceTransforms(const char* name, const std::shared_ptr<Data>& d) {
  const auto n = static_cast<int64_t>(d->blocks.size());
  const auto work = [&](const char* function) { return bench::Work{"jpeg.transform", function, name, "block"}; };

  const bench::Work samples = work("qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R");
  race(samples, "ours", n, n * 192, [d] {
    d->forEachBlock([&](int32_t y, int32_t x, int16_t* to) {
      qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(d->rowPointers[static_cast<size_t>(y)] + x, d->width, to, d->tables.forward);
    });
  });
  race(samples, "peer:libjpeg-turbo", n, n * 192, [d] {
    alignas(64) int16_t workspace[64];
    d->forEachBlock([&](int32_t y, int32_t x, int16_t* to) {
      jsimd_convsamp_avx2(&d->rowPointers[static_cast<size_t>(y)], static_cast<unsigned>(x), workspace);
      jsimd_fdct_islow_avx2(workspace);
      jsimd_quantize_avx2(to, d->tables.peer[0], workspace);
    });
  });
  raceCopy(samples, n, n * 192);

  // The peer transforms in place only. So as not to transform coefficients again, whatever works in place gets a fresh
  // copy of all blocks in each round, which costs both sides the same.
  const bench::Work apart = work("qlmiDCTQuantFwd8x8_JPEG_16s_C1");
  const bench::Work inPlace = work("qlmiDCTQuantFwd8x8_JPEG_16s_C1I");
  const auto copyBlocks = [](Data& data) {
    std::memcpy(data.copies.data(), data.blocks.data(), data.blocks.size() * sizeof(Block));
  };
  race(apart, "ours", n, n * 256, [d] {
    for (size_t b = 0; b < d->blocks.size(); ++b)
      qlmiDCTQuantFwd8x8_JPEG_16s_C1(d->blocks[b].v, d->out[b].v, d->tables.forward);
  });
  race(inPlace, "ours", n, n * 256, [d, copyBlocks] {
    copyBlocks(*d);
    for (Block& b : d->copies) qlmiDCTQuantFwd8x8_JPEG_16s_C1I(b.v, d->tables.forward);
  });
  for (const bench::Work& both : {apart, inPlace}) {
    race(both, "peer:libjpeg-turbo", n, n * 256, [d, copyBlocks] {
      copyBlocks(*d);
      for (size_t b = 0; b < d->copies.size(); ++b) {
        jsimd_fdct_islow_avx2(d->copies[b].v);
        jsimd_quantize_avx2(d->out[b].v, d->tables.peer[0], d->copies[b].v);
      }
    });
    raceCopy(both, n, n * 256);
  }

  // The peer has no loader for 12 bits; it reads 8-bit samples.
  const bench::Work deep = work("qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R");
  race(deep, "ours", n, n * 256, [d] {
    d->forEachBlock([&](int32_t y, int32_t x, int16_t* to) {
      qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(d->deep.data() + y * d->width + x, 2 * d->width, to, d->tables.forwardFloat);
    });
  });
  race(deep, "peer:libjpeg-turbo", n, n * 256, [d] {
    alignas(64) float workspace[64];
    d->forEachBlock([&](int32_t y, int32_t x, int16_t* to) {
      jsimd_convsamp_float_sse2(&d->rowPointers[static_cast<size_t>(y)], static_cast<unsigned>(x), workspace);
      jsimd_fdct_float_sse(workspace);
      jsimd_quantize_float_sse2(to, d->tables.peerFloat, workspace);
    });
  });
  raceCopy(deep, n, n * 256);

  // In place again and again: the data wear away, but no kernel looks at them.
  const bench::Work quantise = work("qlmiQuantFwd8x8_JPEG_16s_C1I");
  race(quantise, "ours", n, n * 384, [d] {
    for (Block& block : d->out) qlmiQuantFwd8x8_JPEG_16s_C1I(block.v, d->tables.forward);
  });
  race(quantise, "peer:libjpeg-turbo", n, n * 384, [d] {
    for (Block& block : d->out) jsimd_quantize_avx2(block.v, d->tables.peer[0], block.v);
  });
  raceCopy(quantise, n, n * 384);

  const bench::Work dequantise = work("qlmiQuantInv8x8_JPEG_16s_C1I");
  race(dequantise, "ours", n, n * 384, [d] {
    for (Block& block : d->out) qlmiQuantInv8x8_JPEG_16s_C1I(block.v, d->tables.inverse);
  });
  race(dequantise, "bound:scalar", n, n * 384, [d] {
    for (Block& block : d->out)
      for (int i = 0; i < 64; ++i) block.v[i] = static_cast<int16_t>(block.v[i] * d->tables.inverse[i]);
  });
  raceCopy(dequantise, n, n * 384);
}

void raceLevelShift(const char* name, QlmSize size) {
  // Blocks for their alignment only.
  struct Planes {
    std::vector<Block> samples, shifted;
  };
  const int64_t n = int64_t{size.width} * size.height;
  const auto p = std::make_shared<Planes>();
  p->samples.resize(static_cast<size_t>(n / 128));
  p->shifted.resize(static_cast<size_t>(n / 64));
  for (Block& block : p->shifted) std::fill(block.v, block.v + 64, int16_t{50});

  const bench::Work down{"jpeg.transform", "qlmiSub128_JPEG_8u16s_C1R", name, "sample"};
  race(down, "ours", n, n * 3, [=] {
    qlmiSub128_JPEG_8u16s_C1R(reinterpret_cast<const uint8_t*>(p->samples.data()), size.width, p->shifted.data()->v,
                              2 * size.width, size);
  });
  raceCopy(down, n, n * 3);
  const bench::Work up{"jpeg.transform", "qlmiAdd128_JPEG_16s8u_C1R", name, "sample"};
  race(up, "ours", n, n * 3, [=] {
    qlmiAdd128_JPEG_16s8u_C1R(p->shifted.data()->v, 2 * size.width, reinterpret_cast<uint8_t*>(p->samples.data()),
                              size.width, size);
  });
  raceCopy(up, n, n * 3);
}

// Zig-zag index of the coefficients in natural order.
constexpr uint8_t kScan[64] = {0,  1,  5,  6,  14, 15, 27, 28, 2,  4,  7,  13, 16, 26, 29, 42, 3,  8,  12, 17, 25, 30,
                               41, 43, 9,  11, 18, 24, 31, 40, 44, 53, 10, 19, 23, 32, 39, 45, 52, 54, 20, 22, 33, 38,
                               46, 51, 55, 60, 21, 34, 37, 47, 50, 56, 59, 61, 35, 36, 48, 49, 57, 58, 62, 63};

void raceTables() {
  const auto work = [](const char* function) { return bench::Work{"jpeg.transform", function, "table", "table"}; };
  const auto t = std::make_shared<Tables>();
  const auto raw = std::make_shared<std::vector<uint8_t>>(kRawTable, kRawTable + 64);

  const bench::Work scale = work("qlmiQuantFwdRawTableInit_JPEG_8u");
  race(scale, "ours", 1, 128, [=] {
    std::copy(kRawTable, kRawTable + 64, raw->data());
    qlmiQuantFwdRawTableInit_JPEG_8u(raw->data(), 75);
  });
  race(scale, "bound:scalar", 1, 128, [=] {
    int quality = 75;
    benchmark::DoNotOptimize(quality);
    const int s = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    for (size_t i = 0; i < 64; ++i) (*raw)[i] = static_cast<uint8_t>(std::clamp((kRawTable[i] * s + 50) / 100, 1, 255));
  });
  const bench::Work forward = work("qlmiQuantFwdTableInit_JPEG_8u16u");
  race(forward, "ours", 1, 192, [=] { qlmiQuantFwdTableInit_JPEG_8u16u(raw->data(), t->forward); });
  race(forward, "bound:scalar", 1, 192, [=] {
    for (int i = 0; i < 64; ++i) {
      const int q = (*raw)[kScan[i]];
      t->forward[i] = static_cast<uint16_t>(q ? (65536 + q) / (2 * q) : 65535);
    }
  });
  const bench::Work inverse = work("qlmiQuantInvTableInit_JPEG_8u16u");
  race(inverse, "ours", 1, 192, [=] { qlmiQuantInvTableInit_JPEG_8u16u(raw->data(), t->inverse); });
  race(inverse, "bound:scalar", 1, 192, [=] {
    for (int i = 0; i < 64; ++i) t->inverse[i] = (*raw)[kScan[i]];
  });
}

[[maybe_unused]] const bool kRegistered = [] {
  raceTransforms("L1", std::make_shared<Data>(16, 4));
  raceTransforms("L2", std::make_shared<Data>(64, 48));
  raceLevelShift("L1", {1024, 8});
  raceLevelShift("L2", {768, 256});
  raceLevelShift("memory", {3840, 2160});
  raceTables();
  return true;
}();

}  // namespace
