// Chroma sampling against libjpeg-turbo's AVX2 samplers and libyuv's, row by row on the same rows, and against memcpy
// of the bytes touched. libjpeg-turbo's box filter alternates its bias like the row forms; its triangle filter is the
// row forms'. libyuv rounds in ways of its own.
#include <cstring>
#include <vector>

#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

extern "C" {
void jsimd_h2v1_downsample_avx2(unsigned imageWidth, int maxVSampFactor, unsigned vSampFactor, unsigned widthInBlocks,
                                uint8_t** input, uint8_t** output);
void jsimd_h2v2_downsample_avx2(unsigned imageWidth, int maxVSampFactor, unsigned vSampFactor, unsigned widthInBlocks,
                                uint8_t** input, uint8_t** output);
void jsimd_h2v1_fancy_upsample_avx2(int maxVSampFactor, unsigned downsampledWidth, uint8_t** input, uint8_t*** output);
void jsimd_h2v2_fancy_upsample_avx2(int maxVSampFactor, unsigned downsampledWidth, uint8_t** input, uint8_t*** output);
void ScaleRowDown2Linear_Any_AVX2(const uint8_t* src, ptrdiff_t srcStep, uint8_t* dst, int dstWidth);
void ScaleRowDown2Box_Any_AVX2(const uint8_t* src, ptrdiff_t srcStep, uint8_t* dst, int dstWidth);
void ScaleRowUp2_Linear_Any_AVX2(const uint8_t* src, uint8_t* dst, int dstWidth);
void ScaleRowUp2_Bilinear_Any_AVX2(const uint8_t* src, ptrdiff_t srcStep, uint8_t* dst, ptrdiff_t dstStep,
                                   int dstWidth);
void SplitRGBRow_Any_SSSE3(const uint8_t* src, uint8_t* a, uint8_t* b, uint8_t* c, int width);
void MergeRGBRow_Any_SSSE3(const uint8_t* a, const uint8_t* b, const uint8_t* c, uint8_t* dst, int width);
void YUY2ToYRow_Any_AVX2(const uint8_t* src, uint8_t* y, int width);
void YUY2ToUV422Row_Any_AVX2(const uint8_t* src, uint8_t* u, uint8_t* v, int width);
void I422ToYUY2Row_Any_AVX2(const uint8_t* y, const uint8_t* u, const uint8_t* v, uint8_t* dst, int width);
}

namespace {

using bench::race;

struct Shape {
  const char* data;
  int32_t width, height;  // of the full-size plane
};
constexpr Shape kShapes[] = {{"L1", 512, 32}, {"L2", 1024, 512}, {"memory", 4096, 4096}};

// A plane with a frame, so that the doubling plane forms find their neighbours.
struct Plane {
  static constexpr int32_t kFrame = 64;
  int32_t width, height, step;
  std::vector<uint8_t> bytes;

  Plane(int32_t w, int32_t h)
      : width(w), height(h), step(w + 2 * kFrame), bytes(static_cast<size_t>(step) * static_cast<size_t>(h + 2), 0) {}
  uint8_t* row(int32_t y) { return bytes.data() + ptrdiff_t{step} * (y + 1) + kFrame; }
  std::vector<uint8_t*> rows() {
    std::vector<uint8_t*> all;
    for (int32_t y = -1; y <= height; ++y) all.push_back(row(y));
    return all;
  }
};

Plane paintedPlane(int32_t width, int32_t height) {
  const sample::Picture grey = sample::paintPicture(width, height, 1);
  Plane plane(width, height);
  for (int32_t y = 0; y < height; ++y) std::memcpy(plane.row(y), grey.row(y), static_cast<size_t>(width));
  return plane;
}

void raceCopy(const bench::Work& of, int64_t items, int64_t bytes) {
  race(of, "bound:memcpy", items, bytes,
       [from = std::vector<uint8_t>(static_cast<size_t>(bytes / 2), 1),
        to = std::vector<uint8_t>(static_cast<size_t>(bytes / 2))]() mutable {
         std::memcpy(to.data(), from.data(), from.size());
         benchmark::DoNotOptimize(to.data());
       });
}

void raceShape(const Shape& shape) {
  const int32_t w = shape.width, h = shape.height, cw = w / 2, ch = h / 2;
  const int64_t full = int64_t{w} * h, half = full / 2, quarter = full / 4;
  const auto work = [&](const char* name) { return bench::Work{"jpeg.sampling", name, shape.data, "sample"}; };
  const Plane big = paintedPlane(w, h), wide = paintedPlane(cw, h), small = paintedPlane(cw, ch);

  // Halving along the row: one output for two inputs; items are inputs.
  race(work("qlmiSampleDownH2V1_JPEG_8u_C1R"), "ours", full, full + half, [=, s = big, d = Plane(cw, h)]() mutable {
    qlmiSampleDownH2V1_JPEG_8u_C1R(s.row(0), s.step, {w, h}, d.row(0), d.step, {cw, h});
  });
  race(work("qlmiSampleDownRowH2V1_Box_JPEG_8u_C1"), "ours", full, full + half,
       [=, s = big, d = Plane(cw, h)]() mutable {
         for (int32_t y = 0; y < h; ++y) qlmiSampleDownRowH2V1_Box_JPEG_8u_C1(s.row(y), w, d.row(y));
       });
  for (const char* name : {"qlmiSampleDownH2V1_JPEG_8u_C1R", "qlmiSampleDownRowH2V1_Box_JPEG_8u_C1"}) {
    race(work(name), "peer:libjpeg-turbo", full, full + half, [=, s = big, d = Plane(cw, h)]() mutable {
      for (int32_t y = 0; y < h; ++y) {
        uint8_t *in[] = {s.row(y)}, *out[] = {d.row(y)};
        jsimd_h2v1_downsample_avx2(static_cast<unsigned>(w), 1, 1, static_cast<unsigned>(cw / 8), in, out);
      }
    });
    race(work(name), "peer:libyuv", full, full + half, [=, s = big, d = Plane(cw, h)]() mutable {
      for (int32_t y = 0; y < h; ++y) ScaleRowDown2Linear_Any_AVX2(s.row(y), 0, d.row(y), cw);
    });
    raceCopy(work(name), full, full + half);
  }

  // Halving both ways.
  race(work("qlmiSampleDownH2V2_JPEG_8u_C1R"), "ours", full, full + quarter, [=, s = big, d = Plane(cw, ch)]() mutable {
    qlmiSampleDownH2V2_JPEG_8u_C1R(s.row(0), s.step, {w, h}, d.row(0), d.step, {cw, ch});
  });
  race(work("qlmiSampleDownRowH2V2_Box_JPEG_8u_C1"), "ours", full, full + quarter,
       [=, s = big, d = Plane(cw, ch)]() mutable {
         for (int32_t y = 0; y < ch; ++y)
           qlmiSampleDownRowH2V2_Box_JPEG_8u_C1(s.row(2 * y), s.row(2 * y + 1), w, d.row(y));
       });
  for (const char* name : {"qlmiSampleDownH2V2_JPEG_8u_C1R", "qlmiSampleDownRowH2V2_Box_JPEG_8u_C1"}) {
    race(work(name), "peer:libjpeg-turbo", full, full + quarter, [=, s = big, d = Plane(cw, ch)]() mutable {
      for (int32_t y = 0; y < ch; ++y) {
        uint8_t *in[] = {s.row(2 * y), s.row(2 * y + 1)}, *out[] = {d.row(y)};
        jsimd_h2v2_downsample_avx2(static_cast<unsigned>(w), 2, 1, static_cast<unsigned>(cw / 8), in, out);
      }
    });
    race(work(name), "peer:libyuv", full, full + quarter, [=, s = big, d = Plane(cw, ch)]() mutable {
      for (int32_t y = 0; y < ch; ++y) ScaleRowDown2Box_Any_AVX2(s.row(2 * y), s.step, d.row(y), cw);
    });
    raceCopy(work(name), full, full + quarter);
  }

  // Doubling along the row; items are outputs.
  race(work("qlmiSampleUpH2V1_JPEG_8u_C1R"), "ours", full, full + half, [=, s = wide, d = Plane(w, h)]() mutable {
    qlmiSampleUpH2V1_JPEG_8u_C1R(s.row(0), s.step, {cw, h}, d.row(0), d.step, {w, h});
  });
  race(work("qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1"), "ours", full, full + half,
       [=, s = wide, d = Plane(w, h)]() mutable {
         for (int32_t y = 0; y < h; ++y) qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1(s.row(y), cw, d.row(y));
       });
  for (const char* name : {"qlmiSampleUpH2V1_JPEG_8u_C1R", "qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1"}) {
    race(work(name), "peer:libjpeg-turbo", full, full + half, [=, s = wide, d = Plane(w, h)]() mutable {
      for (int32_t y = 0; y < h; ++y) {
        uint8_t *in[] = {s.row(y)}, *out[] = {d.row(y)}, **to = out;
        jsimd_h2v1_fancy_upsample_avx2(1, static_cast<unsigned>(cw), in, &to);
      }
    });
    race(work(name), "peer:libyuv", full, full + half, [=, s = wide, d = Plane(w, h)]() mutable {
      for (int32_t y = 0; y < h; ++y) ScaleRowUp2_Linear_Any_AVX2(s.row(y), d.row(y), w);
    });
    raceCopy(work(name), full, full + half);
  }

  // Doubling both ways.
  race(work("qlmiSampleUpH2V2_JPEG_8u_C1R"), "ours", full, full + quarter, [=, s = small, d = Plane(w, h)]() mutable {
    qlmiSampleUpH2V2_JPEG_8u_C1R(s.row(0), s.step, {cw, ch}, d.row(0), d.step, {w, h});
  });
  race(work("qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1"), "ours", full, full + quarter,
       [=, s = small, d = Plane(w, h)]() mutable {
         for (int32_t y = 0; y < h; ++y)
           qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1(s.row(y / 2), s.row(y % 2 ? y / 2 + 1 : y / 2 - 1), cw, d.row(y));
       });
  for (const char* name : {"qlmiSampleUpH2V2_JPEG_8u_C1R", "qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1"}) {
    race(work(name), "peer:libjpeg-turbo", full, full + quarter, [=, s = small, d = Plane(w, h)]() mutable {
      for (int32_t y = 0; y < ch; ++y) {
        uint8_t *in[] = {s.row(y - 1), s.row(y), s.row(y + 1)}, *out[] = {d.row(2 * y), d.row(2 * y + 1)}, **to = out;
        jsimd_h2v2_fancy_upsample_avx2(2, static_cast<unsigned>(cw), in + 1, &to);
      }
    });
    // Two rows at once, which lie between two source rows.
    race(work(name), "peer:libyuv", full, full + quarter, [=, s = small, d = Plane(w, h)]() mutable {
      for (int32_t y = 0; y < ch; ++y) ScaleRowUp2_Bilinear_Any_AVX2(s.row(y), s.step, d.row(2 * y), d.step, w);
    });
    raceCopy(work(name), full, full + quarter);
  }
}

// Strips of MCUs, as a coder goes through a picture: its rows, and its blocks one MCU after the other. The peer has
// rows of bytes instead of blocks and does not shift the level; it goes through whole rows of the strip, which suits it
// best.
struct Strips {
  int32_t across, down;          // the shape of an MCU in blocks
  int32_t pixelBytes;            // 3, or 2 for packed 4:2:2
  int32_t mcusAcross, mcusDown;  // how many there are
  int32_t width = 8 * across * mcusAcross, rows = 8 * down * mcusDown, step = pixelBytes * width;
  size_t mcus = static_cast<size_t>(mcusAcross) * static_cast<size_t>(mcusDown);
  size_t lumaStep = 64 * static_cast<size_t>(across * down);
  std::vector<uint8_t> picture = paintedRows(step, rows);
  std::vector<int16_t> luma = std::vector<int16_t>(lumaStep * mcus, 3);
  std::vector<int16_t> cb = std::vector<int16_t>(64 * mcus, 5), cr = std::vector<int16_t>(64 * mcus, 7);

  static std::vector<uint8_t> paintedRows(int32_t bytes, int32_t rows) {
    return sample::paintPicture(bytes, rows, 1).pixels;
  }
  uint8_t* row(int32_t y) { return picture.data() + ptrdiff_t{step} * y; }
  template <typename Mcu>
  void forEachMcu(const Mcu& mcu) {
    size_t n = 0;
    for (int32_t y = 0; y < mcusDown; ++y)
      for (int32_t x = 0; x < mcusAcross; ++x, ++n)
        mcu(row(8 * down * y) + 8 * across * pixelBytes * x, &luma[lumaStep * n], &cb[64 * n], &cr[64 * n]);
  }
  int64_t bytes() const { return int64_t{step} * rows + 2 * int64_t(luma.size() + cb.size() + cr.size()); }
};

// The same picture as rows of bytes by component; four rows of scratch for chroma of full size.
struct ByteRows {
  std::vector<uint8_t> luma, cb, cr, scratch;
  explicit ByteRows(const Strips& s)
      : luma(static_cast<size_t>(s.width) * static_cast<size_t>(s.rows), 3),
        cb(luma.size(), 5),
        cr(luma.size(), 7),
        scratch(4 * static_cast<size_t>(s.width)) {}
};

void raceMcus(const char* data, int32_t mcusAcross, int32_t mcusDown) {
  const auto raceForm = [&](const char* name, Strips strips, auto mcu, auto peer) {
    const bench::Work work{"jpeg.sampling", name, data, "MCU"};
    const auto count = static_cast<int64_t>(strips.mcus);
    race(work, "ours", count, strips.bytes(), [=, s = strips]() mutable {
      s.forEachMcu([&](uint8_t* pixels, int16_t* y, int16_t* cb, int16_t* cr) {
        int16_t* const planes[3] = {y, cb, cr};
        mcu(pixels, s.step, planes);
      });
    });
    race(work, "peer:libyuv", count, strips.bytes(), [=, s = strips, b = ByteRows(strips)]() mutable {
      const size_t chromaWidth = static_cast<size_t>(s.width / s.across);
      for (int32_t y = 0; y < s.rows; y += s.down) {
        const size_t lumaAt = static_cast<size_t>(s.width) * static_cast<size_t>(y);
        const size_t chromaAt = chromaWidth * static_cast<size_t>(y / s.down);
        peer(s, y, &b.luma[lumaAt], &b.cb[chromaAt], &b.cr[chromaAt], b.scratch.data());
      }
    });
    raceCopy(work, count, strips.bytes());
  };
  const auto down = [](auto function) {
    return [=](const uint8_t* pixels, int32_t step, int16_t* const* planes) { function(pixels, step, planes); };
  };
  const auto up = [](auto function) {
    return [=](uint8_t* pixels, int32_t step, int16_t* const* planes) { function(planes, pixels, step); };
  };
  const Strips whole{1, 1, 3, mcusAcross, mcusDown}, half{2, 1, 3, mcusAcross, mcusDown};
  const Strips quarter{2, 2, 3, mcusAcross, mcusDown}, packed{2, 1, 2, mcusAcross, mcusDown};

  raceForm("qlmiSampleDown444LS_MCU_8u16s_C3P3R", whole, down(qlmiSampleDown444LS_MCU_8u16s_C3P3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t*) {
             SplitRGBRow_Any_SSSE3(s.row(y), luma, cb, cr, s.width);
           });
  raceForm("qlmiSampleDown422LS_MCU_8u16s_C3P3R", half, down(qlmiSampleDown422LS_MCU_8u16s_C3P3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t* scratch) {
             SplitRGBRow_Any_SSSE3(s.row(y), luma, scratch, scratch + s.width, s.width);
             ScaleRowDown2Linear_Any_AVX2(scratch, 0, cb, s.width / 2);
             ScaleRowDown2Linear_Any_AVX2(scratch + s.width, 0, cr, s.width / 2);
           });
  raceForm("qlmiSampleDown411LS_MCU_8u16s_C3P3R", quarter, down(qlmiSampleDown411LS_MCU_8u16s_C3P3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t* scratch) {
             const int32_t w = s.width;
             SplitRGBRow_Any_SSSE3(s.row(y), luma, scratch, scratch + 2 * w, w);
             SplitRGBRow_Any_SSSE3(s.row(y + 1), luma + w, scratch + w, scratch + 3 * w, w);
             ScaleRowDown2Box_Any_AVX2(scratch, w, cb, w / 2);
             ScaleRowDown2Box_Any_AVX2(scratch + 2 * w, w, cr, w / 2);
           });
  raceForm("qlmiSplit422LS_MCU_8u16s_C2P3R", packed, down(qlmiSplit422LS_MCU_8u16s_C2P3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t*) {
             YUY2ToYRow_Any_AVX2(s.row(y), luma, s.width);
             YUY2ToUV422Row_Any_AVX2(s.row(y), cb, cr, s.width);
           });

  // The peer's doubling interpolates; there is none that replicates.
  raceForm("qlmiSampleUp444LS_MCU_16s8u_P3C3R", whole, up(qlmiSampleUp444LS_MCU_16s8u_P3C3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t*) {
             MergeRGBRow_Any_SSSE3(luma, cb, cr, s.row(y), s.width);
           });
  raceForm("qlmiSampleUp422LS_MCU_16s8u_P3C3R", half, up(qlmiSampleUp422LS_MCU_16s8u_P3C3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t* scratch) {
             ScaleRowUp2_Linear_Any_AVX2(cb, scratch, s.width);
             ScaleRowUp2_Linear_Any_AVX2(cr, scratch + s.width, s.width);
             MergeRGBRow_Any_SSSE3(luma, scratch, scratch + s.width, s.row(y), s.width);
           });
  raceForm("qlmiSampleUp411LS_MCU_16s8u_P3C3R", quarter, up(qlmiSampleUp411LS_MCU_16s8u_P3C3R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t* scratch) {
             const int32_t w = s.width;
             ScaleRowUp2_Linear_Any_AVX2(cb, scratch, w);
             ScaleRowUp2_Linear_Any_AVX2(cr, scratch + w, w);
             MergeRGBRow_Any_SSSE3(luma, scratch, scratch + w, s.row(y), w);
             MergeRGBRow_Any_SSSE3(luma + w, scratch, scratch + w, s.row(y + 1), w);
           });
  raceForm("qlmiJoin422LS_MCU_16s8u_P3C2R", packed, up(qlmiJoin422LS_MCU_16s8u_P3C2R),
           [](Strips& s, int32_t y, uint8_t* luma, uint8_t* cb, uint8_t* cr, uint8_t*) {
             I422ToYUY2Row_Any_AVX2(luma, cb, cr, s.row(y), s.width);
           });
}

[[maybe_unused]] const int registered = [] {
  for (const Shape& shape : kShapes) raceShape(shape);
  raceMcus("L1", 8, 1);
  raceMcus("L2", 120, 1);
  raceMcus("memory", 120, 136);
  return 0;
}();

}  // namespace
