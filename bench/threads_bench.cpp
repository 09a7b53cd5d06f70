// The exports that share rows out over threads: two threads on two cores against one, on data that lies in the
// second-level caches. The share of the bound is how much faster two threads are than one; fork and join of the OpenMP
// runtime, raced as a work of its own, is what the shortest calls are up against. scripts/bench gives this program all
// cores of the machine.
#include <malloc.h>
#include <omp.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "qlmjp.h"
#include "race.h"

namespace {

// Each call goes through 768 KB in rows of 1024 pixels, whatever a pixel takes.
constexpr int64_t kBytes = 768 << 10;
constexpr int32_t kW = 1024;
constexpr int kThreads = 2;

// The size of a call and its planes, with a frame for the doubling form.
struct Region {
  explicit Region(int32_t bytesAPixel)
      : size{kW, static_cast<int32_t>(kBytes / kW / bytesAPixel)}, src(2 * kBytes, 100), dst(2 * kBytes) {
    for (int i = 0; i < 4; ++i) {
      in[i] = src.data() + 2 * kW + i * area();
      out[i] = dst.data() + i * area();
    }
  }
  int64_t area() const { return int64_t{size.width} * size.height; }

  QlmSize size;
  std::vector<uint8_t> src, dst;
  const uint8_t* in[4];
  uint8_t* out[4];
};

template <typename Call>
void raceThreads(const char* name, int32_t bytesAPixel, Call call) {
  const bench::Work work{"threads", name, "L2", "pixel"};
  const auto region = std::make_shared<Region>(bytesAPixel);
  const auto race = [&](const char* runner, int threads) {
    bench::race(work, runner, region->area(), kBytes, [=] {
      omp_set_num_threads(threads);
      call(*region);
    });
  };
  race("ours", kThreads);
  race("bound:one thread", 1);
}

// Pixels of some bytes, and planes.
template <typename Convert>
void fromPixels(const char* name, Convert convert, int32_t pixelBytes, int32_t planes) {
  raceThreads(name, pixelBytes + planes, [=](Region& r) { convert(r.in[0], pixelBytes * kW, r.out, kW, r.size); });
}
template <typename Convert>
void toPixels(const char* name, Convert convert, int32_t pixelBytes, int32_t planes) {
  raceThreads(name, pixelBytes + planes, [=](Region& r) { convert(r.in, kW, r.out[0], pixelBytes * kW, r.size); });
}
template <typename Convert>
void betweenPlanes(const char* name, Convert convert, int32_t planes) {
  raceThreads(name, 2 * planes, [=](Region& r) { convert(r.in, kW, r.out, kW, r.size); });
}
template <typename Convert>
void toLuma(const char* name, Convert convert) {
  raceThreads(name, 4, [=](Region& r) { convert(r.in[0], 3 * kW, r.out[0], kW, r.size); });
}

#define NAMED(export) #export, export

[[maybe_unused]] const bool registered = [] {
  raceThreads("qlmiSub128_JPEG_8u16s_C1R", 3, [](Region& r) {
    qlmiSub128_JPEG_8u16s_C1R(r.in[0], kW, reinterpret_cast<int16_t*>(r.out[0]), 2 * kW, r.size);
  });
  raceThreads("qlmiAdd128_JPEG_16s8u_C1R", 3, [](Region& r) {
    qlmiAdd128_JPEG_16s8u_C1R(reinterpret_cast<const int16_t*>(r.in[0]), 2 * kW, r.out[0], kW, r.size);
  });

  fromPixels(NAMED(qlmiRGBToYCbCr_JPEG_8u_C3P3R), 3, 3);
  fromPixels(NAMED(qlmiBGRToYCbCr_JPEG_8u_C3P3R), 3, 3);
  fromPixels(NAMED(qlmiCMYKToYCCK_JPEG_8u_C4P4R), 4, 4);
  betweenPlanes(NAMED(qlmiRGBToYCbCr_JPEG_8u_P3R), 3);
  betweenPlanes(NAMED(qlmiCMYKToYCCK_JPEG_8u_P4R), 4);
  toLuma(NAMED(qlmiRGBToY_JPEG_8u_C3C1R));
  toLuma(NAMED(qlmiBGRToY_JPEG_8u_C3C1R));
  raceThreads("qlmiRGBToY_JPEG_8u_P3C1R", 4,
              [](Region& r) { qlmiRGBToY_JPEG_8u_P3C1R(r.in, kW, r.out[0], kW, r.size); });

  toPixels(NAMED(qlmiYCbCrToRGB_JPEG_8u_P3C3R), 3, 3);
  toPixels(NAMED(qlmiYCbCrToBGR_JPEG_8u_P3C3R), 3, 3);
  toPixels(NAMED(qlmiYCCKToCMYK_JPEG_8u_P4C4R), 4, 4);
  betweenPlanes(NAMED(qlmiYCbCrToRGB_JPEG_8u_P3R), 3);
  betweenPlanes(NAMED(qlmiYCCKToCMYK_JPEG_8u_P4R), 4);
  raceThreads("qlmiYCbCr422ToRGB_JPEG_8u_C2C3R", 5,
              [](Region& r) { qlmiYCbCr422ToRGB_JPEG_8u_C2C3R(r.in[0], 2 * kW, r.out[0], 3 * kW, r.size); });

  raceThreads("qlmiSampleDownH2V1_JPEG_8u_C1R", 3, [](Region& r) {
    qlmiSampleDownH2V1_JPEG_8u_C1R(r.in[0], 2 * kW, {2 * kW, r.size.height}, r.out[0], kW, r.size);
  });
  raceThreads("qlmiSampleDownH2V2_JPEG_8u_C1R", 5, [](Region& r) {
    qlmiSampleDownH2V2_JPEG_8u_C1R(r.in[0], 2 * kW, {2 * kW, 2 * r.size.height}, r.out[0], kW, r.size);
  });
  raceThreads("qlmiSampleUpH2V2_JPEG_8u_C1R", 2, [](Region& r) {
    qlmiSampleUpH2V2_JPEG_8u_C1R(r.in[0], kW, {kW / 2, r.size.height / 2}, r.out[0], kW, r.size);
  });

  // Whole files: most of them are code-blocks, which threads take one after the other.
  const auto files = [](const char* data, const sample::Jpeg2000WriteOptions& options, const char* runner,
                        int32_t threads) {
    struct Photographs {
      std::vector<sample::Picture> pictures;
      std::vector<std::vector<uint8_t>> files;
      int64_t pixels = 0;
    };
    const auto all = std::make_shared<Photographs>();
    for (const auto& photograph : sample::photographs()) all->pictures.push_back(sample::readPicture(photograph));
    if (all->pictures.empty()) all->pictures.push_back(sample::paintPicture(768, 512));
    for (const sample::Picture& picture : all->pictures) {
      all->files.push_back(sample::writeJpeg2000(picture, options));
      all->pixels += int64_t{picture.width} * picture.height;
    }
    bench::race({"threads", "readJpeg2000Planes", data, "pixel"}, runner, all->pixels, 3 * all->pixels, [=] {
      for (const auto& file : all->files)
        benchmark::DoNotOptimize(sample::readJpeg2000Planes(file, {.threads = threads}).planes.data());
    });
    sample::Jpeg2000WriteOptions writing = options;
    writing.threads = threads;
    bench::race({"threads", "writeJpeg2000", data, "pixel"}, runner, all->pixels, 3 * all->pixels, [=] {
      for (const auto& picture : all->pictures)
        benchmark::DoNotOptimize(sample::writeJpeg2000(picture, writing).data());
    });
  };
  // A program that codes many pictures keeps its memory. Pages that the kernel has to clear anew for every picture
  // would be half of the time of a small file, and that half is not shared out.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  sample::Jpeg2000WriteOptions lossy{.reversible = false};
  lossy.layers = {{sample::Jpeg2000Layer::By::kBitsPerPixel, 1}};
  for (const auto& [runner, threads] : {std::pair{"ours", kThreads}, std::pair{"bound:one thread", 1}}) {
    files("photo-lossless", {}, runner, threads);
    files("photo-1bpp", lossy, runner, threads);
  }

  // An empty parallel region, for scale: one item is one fork and join.
  bench::race({"threads", "fork and join", "L2", "region"}, "ours", 1, 0, [] {
#pragma omp parallel num_threads(kThreads)
    benchmark::ClobberMemory();
  });
  return true;
}();

}  // namespace
