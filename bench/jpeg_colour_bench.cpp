// JPEG colour conversion raced against libjpeg-turbo's AVX2 kernels and against libyuv on equal pixel counts, and
// against a memcpy that touches as many bytes. Each work runs on pictures that fit the first-level cache with all their
// planes, that fit the second level, and that are larger than both; region forms also on narrow rows, which are all
// tail.
#include <libyuv.h>

#include <cstdlib>
#include <cstring>
#include <functional>
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
ConvertToPlanes jsimd_extrgbx_ycc_convert_avx2, jsimd_extbgrx_ycc_convert_avx2;
ConvertToPlanes jsimd_extrgb_gray_convert_avx2, jsimd_extbgr_gray_convert_avx2;
ConvertToPixels jsimd_ycc_extrgb_convert_avx2, jsimd_ycc_extbgr_convert_avx2;
ConvertToPixels jsimd_ycc_extrgbx_convert_avx2, jsimd_ycc_extbgrx_convert_avx2;
Downsample jsimd_h2v1_downsample_avx2, jsimd_h2v2_downsample_avx2;
MergedUpsample jsimd_h2v1_extrgb_merged_upsample_avx2, jsimd_h2v1_extbgr_merged_upsample_avx2;
MergedUpsample jsimd_h2v1_extrgbx_merged_upsample_avx2, jsimd_h2v1_extbgrx_merged_upsample_avx2;
MergedUpsample jsimd_h2v2_extrgb_merged_upsample_avx2, jsimd_h2v2_extbgr_merged_upsample_avx2;
MergedUpsample jsimd_h2v2_extrgbx_merged_upsample_avx2, jsimd_h2v2_extbgrx_merged_upsample_avx2;
}

namespace {

struct Shape {
  const char* data;
  int width, height;
  int64_t pixels() const { return int64_t{width} * height; }
};
constexpr Shape kShapes[] = {{"L1", 256, 16}, {"L2", 1024, 128}, {"memory", 3840, 2160}, {"narrow", 14, 64}};
constexpr int kCachedShapes = 3;  // those that hold whole MCUs
constexpr int kNarrow = 3;

struct FreeBuffer {
  void operator()(uint8_t* p) const { std::free(p); }
};

// Bytes on a cache line of their own, filled with noise; a margin behind them, since peers round widths up. Buffers
// start at different places of a page, so that equal rows of two planes do not share a cache set.
struct Buffer {
  explicit Buffer(int64_t bytes) {
    static int64_t count = 0;
    offset = ++count * 5 % 64 * 64;
    memory.reset(
        static_cast<uint8_t*>(std::aligned_alloc(4096, static_cast<size_t>((bytes + 256 + 8191) / 4096 * 4096))));
    uint32_t noise = 1;
    for (int64_t i = 0; i < bytes + 128; ++i) data()[i] = static_cast<uint8_t>((noise = noise * 1664525 + 1) >> 24);
  }
  std::unique_ptr<uint8_t, FreeBuffer> memory;
  int64_t offset;
  uint8_t* data() const { return memory.get() + offset; }
};

// A plane of bytes with its row pointers, as libjpeg wants them.
struct Plane {
  Plane(int rowBytes, int height) : step(rowBytes), buffer(int64_t{rowBytes} * height) {
    for (int y = 0; y < height; ++y) rows.push_back(buffer.data() + int64_t{step} * y);
  }
  int step;
  Buffer buffer;
  std::vector<uint8_t*> rows;
  uint8_t* data() const { return buffer.data(); }
};

// Everything that any of the works needs: pixels, planes of full and of reduced size, blocks of whole MCUs.
struct Picture {
  Picture(const Shape& s, int bytesPerPixel)
      : shape(s),
        pixels(bytesPerPixel * s.width, s.height),
        in{{s.width, s.height}, {s.width, s.height}, {s.width, s.height}, {s.width, s.height}},
        out{{s.width, s.height}, {s.width, s.height}, {s.width, s.height}, {s.width, s.height}},
        blocks{Buffer(s.pixels() * 2), Buffer(s.pixels() * 2), Buffer(s.pixels() * 2), Buffer(s.pixels() * 2)} {
    for (Buffer& b : blocks) {
      auto* values = reinterpret_cast<int16_t*>(b.data());
      for (int64_t i = 0; i < s.pixels(); ++i) values[i] = static_cast<int16_t>(values[i] % 128);
    }
    for (int c = 0; c < 4; ++c) src[c] = in[c].data(), dst[c] = out[c].data();
    for (int c = 0; c < 3; ++c) inRows[c] = in[c].rows.data(), outRows[c] = out[c].rows.data();
  }
  Shape shape;
  Plane pixels, in[4], out[4];
  Buffer blocks[4];
  const uint8_t* src[4];
  uint8_t* dst[4];
  Rows inRows[3], outRows[3];

  int w() const { return shape.width; }
  int h() const { return shape.height; }
  unsigned uw() const { return static_cast<unsigned>(shape.width); }
  QlmSize size() const { return {shape.width, shape.height}; }
};

// Made at first use and shared by all works, so that a filtered run stays small.
Picture& picture(int shape, int bytesPerPixel) {
  static std::unique_ptr<Picture> pictures[4][5];
  auto& p = pictures[shape][bytesPerPixel];
  if (!p) p = std::make_unique<Picture>(kShapes[shape], bytesPerPixel);
  return *p;
}

using Round = std::function<void(Picture&)>;
struct Runner {
  const char* name;
  Round round;
};

// A work on pixels of `bytesPerPixel`. All its runners touch, by count, `halves` half bytes a pixel.
void raceAll(const char* name, const char* unit, int shapes, int pixelsPerItem, int bytesPerPixel, int halves,
             std::vector<Runner> runners) {
  runners.push_back({"bound:memcpy", [halves](Picture& p) {
                       const auto bytes = static_cast<size_t>(p.shape.pixels() * halves / 4);
                       static Buffer to(kShapes[2].pixels() * 8), from(kShapes[2].pixels() * 8);
                       std::memcpy(to.data(), from.data(), bytes);
                     }});
  for (int shape = 0; shape < shapes; ++shape)
    for (const Runner& runner : runners) {
      // libyuv joins rows whose step is their width to one: it would not race on narrow ones.
      if (shape == kNarrow && std::strcmp(runner.name, "peer:libyuv") == 0) continue;
      const int64_t pixels = kShapes[shape].pixels();
      bench::race({"jpeg.colour", name, kShapes[shape].data, unit}, runner.name, pixels / pixelsPerItem,
                  pixels * halves / 2, [=, round = runner.round] { round(picture(shape, bytesPerPixel)); });
    }
}

void racePlanes(const char* name, int bytesPerPixel, int halves, std::vector<Runner> runners) {
  raceAll(name, "pixel", 4, 1, bytesPerPixel, halves, std::move(runners));
}

// libjpeg-turbo's passes. Chroma is converted at full size and then reduced, as its encoder does.
Runner turbo(ConvertToPlanes* f) {
  return {"peer:libjpeg-turbo", [=](Picture& p) { f(p.uw(), p.pixels.rows.data(), p.outRows, 0, p.h()); }};
}
Runner turbo(ConvertToPlanes* f, int rows) {
  return {"peer:libjpeg-turbo", [=](Picture& p) {
            for (int y = 0; y + rows <= p.h(); y += rows) {
              f(p.uw(), p.pixels.rows.data() + y, p.outRows, static_cast<unsigned>(y), rows);
              for (int c = 1; c < 3; ++c)
                (rows == 2 ? jsimd_h2v2_downsample_avx2 : jsimd_h2v1_downsample_avx2)(
                    p.uw(), rows, 1, p.uw() / 16, p.outRows[c] + y, p.in[c].rows.data() + y / rows);
            }
          }};
}
Runner turbo(ConvertToPixels* f) {
  return {"peer:libjpeg-turbo", [=](Picture& p) { f(p.uw(), p.inRows, 0, p.pixels.rows.data(), p.h()); }};
}
Runner turbo(MergedUpsample* f, int rows) {
  return {"peer:libjpeg-turbo", [=](Picture& p) {
            for (int y = 0; y + rows <= p.h(); y += rows)
              f(p.uw(), p.inRows, static_cast<unsigned>(y / rows), p.pixels.rows.data() + y);
          }};
}

Runner yuv(Round round) { return {"peer:libyuv", std::move(round)}; }

// libyuv's matrix functions from planes; chroma rows are `divisor` times shorter.
template <typename F>
Runner yuvToPixels(F* f, int divisor) {
  return yuv([=](Picture& p) {
    f(p.src[0], p.w(), p.src[1], p.w() / divisor, p.src[2], p.w() / divisor, p.pixels.data(), p.pixels.step,
      &libyuv::kYuvJPEGConstants, p.w(), p.h());
  });
}
template <typename F>
Runner yuvToPlanes(F* f) {
  return yuv([=](Picture& p) {
    f(p.pixels.data(), p.pixels.step, p.dst[0], p.w(), p.dst[1], p.w() / 2, p.dst[2], p.w() / 2, p.w(), p.h());
  });
}

template <typename T>
const T* pixelsOf(const Picture& p) {
  return reinterpret_cast<const T*>(p.pixels.data());
}

// Interleaved pixels to planes, of one step or of three.
template <typename T>
Runner ours(QlmStatus (*f)(const T*, int32_t, uint8_t* const*, int32_t, QlmSize)) {
  return {"ours", [=](Picture& p) { f(pixelsOf<T>(p), p.pixels.step, p.dst, p.w(), p.size()); }};
}
Runner ours(QlmStatus (*f)(const uint8_t*, int32_t, uint8_t* const*, const int32_t*, QlmSize)) {
  return {"ours", [=](Picture& p) {
            const int32_t steps[3] = {p.w(), p.w() / 2, p.w() / 2};
            f(p.pixels.data(), p.pixels.step, p.dst, steps, p.size());
          }};
}
Runner oursLuma(QlmStatus (*f)(const uint8_t*, int32_t, uint8_t*, int32_t, QlmSize)) {
  return {"ours", [=](Picture& p) { f(p.pixels.data(), p.pixels.step, p.dst[0], p.w(), p.size()); }};
}
// Planes to interleaved pixels.
template <typename T>
Runner ours(QlmStatus (*f)(const uint8_t* const*, int32_t, T*, int32_t, QlmSize)) {
  return {"ours", [=](Picture& p) { f(p.src, p.w(), reinterpret_cast<T*>(p.pixels.data()), p.pixels.step, p.size()); }};
}
Runner ours(QlmStatus (*f)(const uint8_t* const*, int32_t, uint8_t*, int32_t, QlmSize, uint8_t)) {
  return {"ours", [=](Picture& p) { f(p.src, p.w(), p.pixels.data(), p.pixels.step, p.size(), 255); }};
}
Runner ours(QlmStatus (*f)(const uint8_t* const*, const int32_t*, uint8_t*, int32_t, QlmSize)) {
  return {"ours", [=](Picture& p) {
            const int32_t steps[3] = {p.w(), p.w() / 2, p.w() / 2};
            f(p.src, steps, p.pixels.data(), p.pixels.step, p.size());
          }};
}
Runner ours(QlmStatus (*f)(const uint8_t* const*, const int32_t*, uint8_t*, int32_t, QlmSize, uint8_t)) {
  return {"ours", [=](Picture& p) {
            const int32_t steps[3] = {p.w(), p.w() / 2, p.w() / 2};
            f(p.src, steps, p.pixels.data(), p.pixels.step, p.size(), 255);
          }};
}
Runner ours(QlmStatus (*f)(const uint8_t* const*, int32_t, uint8_t* const*, int32_t, QlmSize)) {
  return {"ours", [=](Picture& p) { f(p.src, p.w(), p.dst, p.w(), p.size()); }};
}

// An MCU of w x h pixels after the other over the picture. Runs f(pixels of the MCU, its planes).
template <typename F>
void forEachMcu(const Picture& p, int w, int h, F f) {
  int16_t* planes[4];
  for (int c = 0; c < 4; ++c) planes[c] = reinterpret_cast<int16_t*>(p.blocks[c].data());
  const int bytes = p.pixels.step / p.w() * w;
  for (int y = 0; y + h <= p.h(); y += h)
    for (int x = 0; x < p.w() / w; ++x) {
      f(p.pixels.rows[static_cast<size_t>(y)] + x * bytes, planes);
      planes[0] += w * h, planes[1] += 64, planes[2] += 64, planes[3] += w * h;
    }
}
template <typename T>
Runner oursMcu(QlmStatus (*f)(const T*, int32_t, int16_t* const*), int w, int h) {
  return {"ours", [=](Picture& p) {
            forEachMcu(p, w, h, [&](uint8_t* pixels, int16_t** planes) {
              f(reinterpret_cast<const T*>(pixels), p.pixels.step, planes);
            });
          }};
}
template <typename T>
Runner oursMcu(QlmStatus (*f)(const int16_t* const*, T*, int32_t), int w, int h) {
  return {"ours", [=](Picture& p) {
            forEachMcu(p, w, h, [&](uint8_t* pixels, int16_t** planes) {
              f(planes, reinterpret_cast<T*>(pixels), p.pixels.step);
            });
          }};
}

// The three forms of an MCU family, forward and inverse; kPlanes 4 has K as large as luma. Peers stand where a library
// has the layout.
template <typename Forward, typename Inverse>
void raceMcu(const char* forwardName, Forward* forward, const char* inverseName, Inverse* inverse, int w, int h,
             int bytesPerPixel, int planes, std::vector<Runner> forwardPeers, std::vector<Runner> inversePeers) {
  const int halves = 2 * bytesPerPixel + 4 * (planes - 2) + 8 * 64 / (w * h);
  forwardPeers.insert(forwardPeers.begin(), oursMcu(forward, w, h));
  inversePeers.insert(inversePeers.begin(), oursMcu(inverse, w, h));
  raceAll(forwardName, "MCU", kCachedShapes, w * h, bytesPerPixel, halves, std::move(forwardPeers));
  raceAll(inverseName, "MCU", kCachedShapes, w * h, bytesPerPixel, halves, std::move(inversePeers));
}

#define NAMED(f) #f, f
#define RACE_MCU_BYTES(rgb, ext)                                                                                       \
  raceMcu(NAMED(qlmi##rgb##ToYCbCr444LS_MCU_8u16s_C3P3R), NAMED(qlmiYCbCr444To##rgb##LS_MCU_16s8u_P3C3R), 8, 8, 3, 3,  \
          {turbo(jsimd_ext##ext##_ycc_convert_avx2)}, {turbo(jsimd_ycc_ext##ext##_convert_avx2)});                     \
  raceMcu(NAMED(qlmi##rgb##ToYCbCr422LS_MCU_8u16s_C3P3R), NAMED(qlmiYCbCr422To##rgb##LS_MCU_16s8u_P3C3R), 16, 8, 3, 3, \
          {turbo(jsimd_ext##ext##_ycc_convert_avx2, 1)}, {turbo(jsimd_h2v1_ext##ext##_merged_upsample_avx2, 1)});      \
  raceMcu(NAMED(qlmi##rgb##ToYCbCr411LS_MCU_8u16s_C3P3R), NAMED(qlmiYCbCr411To##rgb##LS_MCU_16s8u_P3C3R), 16, 16, 3,   \
          3, {turbo(jsimd_ext##ext##_ycc_convert_avx2, 2)}, {turbo(jsimd_h2v2_ext##ext##_merged_upsample_avx2, 2)})
#define RACE_MCU_OTHER(from, to, back, e, c, p, bytes)                                          \
  raceMcu(NAMED(qlmi##from##To##to##444LS_MCU_##e##16s_##c##p##R),                              \
          NAMED(qlmi##to##444To##from##LS_MCU_16s##e##_##p##c##R), 8, 8, bytes, back, {}, {});  \
  raceMcu(NAMED(qlmi##from##To##to##422LS_MCU_##e##16s_##c##p##R),                              \
          NAMED(qlmi##to##422To##from##LS_MCU_16s##e##_##p##c##R), 16, 8, bytes, back, {}, {}); \
  raceMcu(NAMED(qlmi##from##To##to##411LS_MCU_##e##16s_##c##p##R),                              \
          NAMED(qlmi##to##411To##from##LS_MCU_16s##e##_##p##c##R), 16, 16, bytes, back, {}, {})

#define RACE(f, bytesPerPixel, halves, ...) racePlanes(#f, bytesPerPixel, halves, {ours(f), ##__VA_ARGS__})
#define RACE_RGB_AND_BGR(rgb, ext)                                                                                    \
  RACE(qlmi##rgb##ToYCbCr_JPEG_8u_C3P3R, 3, 12, turbo(jsimd_ext##ext##_ycc_convert_avx2));                            \
  RACE(qlmi##rgb##ToYCbCr_JPEG_8u_C4P3R, 4, 14, turbo(jsimd_ext##ext##x_ycc_convert_avx2));                           \
  RACE(qlmi##rgb##ToYCbCr422_JPEG_8u_C3P3R, 3, 10, turbo(jsimd_ext##ext##_ycc_convert_avx2, 1));                      \
  RACE(qlmi##rgb##ToYCbCr422_JPEG_8u_C4P3R, 4, 12, turbo(jsimd_ext##ext##x_ycc_convert_avx2, 1),                      \
       yuvToPlanes(libyuv::ARGBToJ422));                                                                              \
  RACE(qlmi##rgb##ToYCbCr411_JPEG_8u_C3P3R, 3, 9, turbo(jsimd_ext##ext##_ycc_convert_avx2, 2),                        \
       yuvToPlanes(libyuv::RAWToJ420));                                                                               \
  RACE(qlmi##rgb##ToYCbCr411_JPEG_8u_C4P3R, 4, 11, turbo(jsimd_ext##ext##x_ycc_convert_avx2, 2),                      \
       yuvToPlanes(libyuv::ARGBToJ420));                                                                              \
  racePlanes("qlmi" #rgb "ToY_JPEG_8u_C3C1R", 3, 8,                                                                   \
             {oursLuma(qlmi##rgb##ToY_JPEG_8u_C3C1R), turbo(jsimd_ext##ext##_gray_convert_avx2), yuv([](Picture& p) { \
                libyuv::RAWToJ400(p.pixels.data(), p.pixels.step, p.dst[0], p.w(), p.w(), p.h());                     \
              })});                                                                                                   \
  RACE(qlmiYCbCrTo##rgb##_JPEG_8u_P3C3R, 3, 12, turbo(jsimd_ycc_ext##ext##_convert_avx2),                             \
       yuvToPixels(libyuv::I444ToRGB24Matrix, 1));                                                                    \
  RACE(qlmiYCbCrTo##rgb##_JPEG_8u_P3C4R, 4, 14, turbo(jsimd_ycc_ext##ext##x_convert_avx2),                            \
       yuvToPixels(libyuv::I444ToARGBMatrix, 1));                                                                     \
  RACE(qlmiYCbCr422To##rgb##_JPEG_8u_P3C3R, 3, 10, turbo(jsimd_h2v1_ext##ext##_merged_upsample_avx2, 1),              \
       yuvToPixels(libyuv::I422ToRGB24Matrix, 2));                                                                    \
  RACE(qlmiYCbCr422To##rgb##_JPEG_8u_P3C4R, 4, 12, turbo(jsimd_h2v1_ext##ext##x_merged_upsample_avx2, 1),             \
       yuvToPixels(libyuv::I422ToARGBMatrix, 2));                                                                     \
  RACE(qlmiYCbCr411To##rgb##_JPEG_8u_P3C3R, 3, 9, turbo(jsimd_h2v2_ext##ext##_merged_upsample_avx2, 2),               \
       yuvToPixels(libyuv::I420ToRGB24Matrix, 2));                                                                    \
  RACE(qlmiYCbCr411To##rgb##_JPEG_8u_P3C4R, 4, 11, turbo(jsimd_h2v2_ext##ext##x_merged_upsample_avx2, 2),             \
       yuvToPixels(libyuv::I420ToARGBMatrix, 2))

const bool kRegistered = [] {
  RACE_MCU_BYTES(RGB, rgb);
  RACE_MCU_BYTES(BGR, bgr);
  RACE_MCU_OTHER(BGR555, YCbCr, 3, 16u, C3, P3, 2);
  RACE_MCU_OTHER(BGR565, YCbCr, 3, 16u, C3, P3, 2);
  RACE_MCU_OTHER(CMYK, YCCK, 4, 8u, C4, P4, 4);
  RACE_RGB_AND_BGR(RGB, rgb);
  RACE_RGB_AND_BGR(BGR, bgr);

  // libyuv's 555 and 565 forms have chroma of half the width, and forward also of half the height.
  RACE(qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R, 2, 10, yuvToPlanes(libyuv::ARGB1555ToI420));
  RACE(qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R, 2, 10, yuvToPlanes(libyuv::ARGB1555ToI420));
  RACE(qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R, 2, 10, yuvToPlanes(libyuv::RGB565ToI420));
  RACE(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R, 2, 10, yuvToPlanes(libyuv::RGB565ToI420));
  RACE(qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R, 2, 10, yuvToPixels(libyuv::I422ToRGB565Matrix, 2));
  RACE(qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R, 2, 10, yuvToPixels(libyuv::I422ToRGB565Matrix, 2));
  RACE(qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R, 2, 10, yuvToPixels(libyuv::I422ToRGB565Matrix, 2));
  RACE(qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R, 2, 10, yuvToPixels(libyuv::I422ToRGB565Matrix, 2));

  RACE(qlmiRGBToYCbCr_JPEG_8u_P3R, 3, 12);
  RACE(qlmiYCbCrToRGB_JPEG_8u_P3R, 3, 12);
  racePlanes("qlmiRGBToY_JPEG_8u_P3C1R", 3, 8,
             {{"ours", [](Picture& p) { qlmiRGBToY_JPEG_8u_P3C1R(p.src, p.w(), p.dst[0], p.w(), p.size()); }}});
  // libyuv writes four bytes a pixel here.
  racePlanes("qlmiYCbCr422ToRGB_JPEG_8u_C2C3R", 4, 10,
             {{"ours",
               [](Picture& p) {
                 const int32_t step = 2 * p.w();
                 qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(p.blocks[0].data(), step, p.pixels.data(), 3 * p.w(), p.size());
               }},
              yuv([](Picture& p) {
                libyuv::YUY2ToARGB(p.blocks[0].data(), 2 * p.w(), p.pixels.data(), 4 * p.w(), p.w(), p.h());
              })});
  RACE(qlmiCMYKToYCCK_JPEG_8u_C4P4R, 4, 16);
  RACE(qlmiCMYKToYCCK_JPEG_8u_P4R, 4, 16);
  RACE(qlmiYCCKToCMYK_JPEG_8u_P4C4R, 4, 16);
  RACE(qlmiYCCKToCMYK_JPEG_8u_P4R, 4, 16);
  return true;
}();

}  // namespace
