// JPEG colour conversion raced against libjpeg-turbo's AVX2 kernels on equal pixel counts, and against a memcpy that
// touches as many bytes. Each work runs on three pictures: one that fits the first-level cache with all its planes, one
// that fits the second level, and one that is larger than both.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "qlmjp.h"
#include "race.h"

// Kernels of libjpeg-turbo's static archive, as its own dispatcher calls them. Rows come as arrays of row pointers.
extern "C" {
using Rows = uint8_t**;
using ConvertToPlanes = void(unsigned width, Rows in, Rows* out, unsigned outRow, int rows);
using ConvertToPixels = void(unsigned width, Rows* in, unsigned inRow, Rows out, int rows);
using Downsample = void(unsigned width, int maxV, unsigned v, unsigned widthInBlocks, Rows in, Rows out);
using MergedUpsample = void(unsigned width, Rows* in, unsigned inRowGroup, Rows out);
ConvertToPlanes jsimd_extrgb_ycc_convert_avx2, jsimd_extbgr_ycc_convert_avx2;
ConvertToPixels jsimd_ycc_extrgb_convert_avx2, jsimd_ycc_extbgr_convert_avx2;
Downsample jsimd_h2v1_downsample_avx2, jsimd_h2v2_downsample_avx2;
MergedUpsample jsimd_h2v1_extrgb_merged_upsample_avx2, jsimd_h2v1_extbgr_merged_upsample_avx2;
MergedUpsample jsimd_h2v2_extrgb_merged_upsample_avx2, jsimd_h2v2_extbgr_merged_upsample_avx2;
}

namespace {

struct Shape {
  const char* data;
  int width, height;
  int64_t pixels() const { return int64_t{width} * height; }
};
constexpr Shape kShapes[] = {{"L1", 128, 16}, {"L2", 1024, 96}, {"memory", 3840, 2160}};

struct FreeBuffer {
  void operator()(uint8_t* p) const { std::free(p); }
};

// Bytes on a cache line of their own, filled with noise; a margin behind them, since peers round widths up.
struct Buffer {
  explicit Buffer(int64_t bytes) : memory(static_cast<uint8_t*>(std::aligned_alloc(64, (bytes + 191) / 64 * 64))) {
    uint32_t noise = 1;
    for (int64_t i = 0; i < bytes; ++i) memory.get()[i] = static_cast<uint8_t>((noise = noise * 1664525 + 1) >> 24);
  }
  std::unique_ptr<uint8_t, FreeBuffer> memory;
  uint8_t* data() const { return memory.get(); }
};

// A plane of bytes with its row pointers, as libjpeg wants them.
struct Plane {
  Plane(int rowBytes, int height) : step(rowBytes), buffer(int64_t{rowBytes} * height) {
    for (int y = 0; y < height; ++y) rows.push_back(buffer.data() + int64_t{step} * y);
  }
  int step;
  Buffer buffer;
  std::vector<uint8_t*> rows;
};

// Everything that any of the works needs: pixels, planes of luma and chroma, blocks of whole MCUs.
struct Picture {
  explicit Picture(const Shape& s)
      : shape(s),
        pixels(3 * s.width, s.height),
        full{{s.width, s.height}, {s.width, s.height}, {s.width, s.height}},
        reduced{{s.width, s.height}, {s.width, s.height}},
        luma(s.pixels() * 2),
        cb(s.pixels() * 2),
        cr(s.pixels() * 2),
        copied(s.pixels() * 8) {
    for (Buffer* blocks : {&luma, &cb, &cr}) {
      auto* values = reinterpret_cast<int16_t*>(blocks->data());
      for (int64_t i = 0; i < s.pixels(); ++i) values[i] = static_cast<int16_t>(values[i] % 128);
    }
  }
  Shape shape;
  Plane pixels, full[3], reduced[2];
  Buffer luma, cb, cr, copied;
};

void raceCopy(const bench::Work& work, const std::shared_ptr<Picture>& p, int64_t touched) {
  bench::race(work, "bound:memcpy", p->shape.pixels(), touched, [=] {
    std::memcpy(p->copied.data(), p->copied.data() + p->shape.pixels() * 4, static_cast<size_t>(touched / 2));
  });
}

// An MCU of w x h pixels after the other over the picture. Runs f(pixels of the MCU, its three planes).
template <typename F>
void forEachMcu(const Picture& p, int w, int h, F f) {
  auto* luma = reinterpret_cast<int16_t*>(p.luma.data());
  auto* cb = reinterpret_cast<int16_t*>(p.cb.data());
  auto* cr = reinterpret_cast<int16_t*>(p.cr.data());
  for (int y = 0; y < p.shape.height; y += h)
    for (int x = 0; x < p.shape.width; x += w, luma += w * h, cb += 64, cr += 64) {
      int16_t* planes[3] = {luma, cb, cr};
      f(p.pixels.rows[y] + 3 * x, planes);
    }
}

using McuForward = QlmStatus(const uint8_t*, int32_t, int16_t* const[3]);
using McuInverse = QlmStatus(const int16_t* const[3], uint8_t*, int32_t);

void raceMcu(int w, int h, const char* forwardName, McuForward* forward, ConvertToPlanes* toPlanes,
             const char* inverseName, McuInverse* inverse, ConvertToPixels* toPixels, MergedUpsample* merged) {
  for (const Shape& shape : kShapes) {
    const auto p = std::make_shared<Picture>(shape);
    const int64_t pixels = shape.pixels(), mcus = pixels / (w * h);
    const int64_t touched = pixels * 3 + (pixels + mcus * 128) * 2;
    bench::Work work{"jpeg.colour", forwardName, shape.data, "MCU"};
    bench::race(work, "ours", mcus, touched, [=] {
      forEachMcu(*p, w, h, [&](const uint8_t* px, int16_t** planes) { forward(px, 3 * shape.width, planes); });
    });
    bench::race(work, "peer:libjpeg-turbo", mcus, touched, [=] {
      Rows planes[3] = {p->full[0].rows.data(), p->full[1].rows.data(), p->full[2].rows.data()};
      for (int y = 0; y < shape.height; y += 2) {
        toPlanes(static_cast<unsigned>(shape.width), p->pixels.rows.data() + y, planes, static_cast<unsigned>(y), 2);
        for (int c = 0; w == 16 && c < 2; ++c)
          (h == 16 ? jsimd_h2v2_downsample_avx2 : jsimd_h2v1_downsample_avx2)(
              static_cast<unsigned>(shape.width), h == 16 ? 2 : 1, 1, static_cast<unsigned>(shape.width / 16),
              planes[c + 1] + y, p->reduced[c].rows.data() + y);
      }
    });
    raceCopy(work, p, touched);

    work.name = inverseName;
    bench::race(work, "ours", mcus, touched, [=] {
      forEachMcu(*p, w, h, [&](uint8_t* px, int16_t** planes) { inverse(planes, px, 3 * shape.width); });
    });
    bench::race(work, "peer:libjpeg-turbo", mcus, touched, [=] {
      Rows planes[3] = {p->full[0].rows.data(), p->full[1].rows.data(), p->full[2].rows.data()};
      const auto width = static_cast<unsigned>(shape.width), height = static_cast<unsigned>(shape.height);
      if (!merged) return toPixels(width, planes, 0, p->pixels.rows.data(), shape.height);
      for (unsigned y = 0; y < height; y += h == 16 ? 2 : 1)
        merged(width, planes, h == 16 ? y / 2 : y, p->pixels.rows.data() + y);
    });
    raceCopy(work, p, touched);
  }
}

#define RACE_MCU(form, rgb, ext, w, h, merged)                                                                  \
  raceMcu(w, h, "qlmi" #rgb "ToYCbCr" #form "LS_MCU_8u16s_C3P3R", qlmi##rgb##ToYCbCr##form##LS_MCU_8u16s_C3P3R, \
          jsimd_ext##ext##_ycc_convert_avx2, "qlmiYCbCr" #form "To" #rgb "LS_MCU_16s8u_P3C3R",                  \
          qlmiYCbCr##form##To##rgb##LS_MCU_16s8u_P3C3R, jsimd_ycc_ext##ext##_convert_avx2, merged)

const bool kRegistered = [] {
  RACE_MCU(444, RGB, rgb, 8, 8, nullptr);
  RACE_MCU(422, RGB, rgb, 16, 8, jsimd_h2v1_extrgb_merged_upsample_avx2);
  RACE_MCU(411, RGB, rgb, 16, 16, jsimd_h2v2_extrgb_merged_upsample_avx2);
  RACE_MCU(444, BGR, bgr, 8, 8, nullptr);
  RACE_MCU(422, BGR, bgr, 16, 8, jsimd_h2v1_extbgr_merged_upsample_avx2);
  RACE_MCU(411, BGR, bgr, 16, 16, jsimd_h2v2_extbgr_merged_upsample_avx2);
  return true;
}();

}  // namespace
