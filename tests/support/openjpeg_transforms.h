// OpenJPEG's transforms, called inside its static library: one level of its wavelets on a plane, in place, and its
// component transforms. Its public header does not declare them, so what they read of its tile records is declared
// here, in the order and with the types of version 2.5. What links this links libopenjp2.a.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "qlmjp/types.h"

namespace openjpeg {

struct ThreadPool;

// A resolution of a component. The wavelets read its borders alone.
struct Band {
  int32_t borders[4];
  uint32_t number;
  void* precincts;
  uint32_t precinctBytes;
  int32_t bitPlanes;
  float stepSize;
};
struct Resolution {
  int32_t x0, y0, x1, y1;
  uint32_t precinctColumns, precinctRows;
  uint32_t bandCount;
  Band bands[3];
  uint32_t window[4];
};
static_assert(sizeof(Resolution) == 192);

struct TileComponent {
  int32_t x0, y0, x1, y1;
  uint32_t number;
  uint32_t resolutionCount, wantedResolutionCount;
  Resolution* resolutions;  // the smallest first
  uint32_t resolutionBytes;
  void* samples;  // int32_t or float, without padding between the rows
  int32_t ownsSamples;
  size_t neededBytes, bytes;
  void* windowSamples;
  uint32_t window[4];
  int32_t pixels;
};
static_assert(offsetof(TileComponent, samples) == 48);

struct TileCoder {
  int32_t tilePartPosition;
  uint32_t tilePart[4];
  void* records[4];
  uint32_t tile;
  uint32_t isDecoder;
  ThreadPool* threadPool;
  uint32_t window[4];
  int32_t wholeTile;
  int32_t* usedComponents;
};
static_assert(offsetof(TileCoder, threadPool) == 64 && offsetof(TileCoder, wholeTile) == 88);

extern "C" {
ThreadPool* opj_thread_pool_create(int threads);
void opj_thread_pool_destroy(ThreadPool* pool);
int32_t opj_dwt_encode(TileCoder* coder, TileComponent* component);
int32_t opj_dwt_decode(TileCoder* coder, TileComponent* component, uint32_t resolutions);
int32_t opj_dwt_encode_real(TileCoder* coder, TileComponent* component);
int32_t opj_dwt_decode_real(TileCoder* coder, TileComponent* component, uint32_t resolutions);
void opj_mct_encode(int32_t* c0, int32_t* c1, int32_t* c2, size_t n);  // planes at multiples of 16 bytes
void opj_mct_decode(int32_t* c0, int32_t* c1, int32_t* c2, size_t n);
void opj_mct_encode_real(float* c0, float* c1, float* c2, size_t n);
void opj_mct_decode_real(float* c0, float* c1, float* c2, size_t n);
}

// One level on a plane whose rows lie without padding, on the calling thread. The bands stand as T.800 F.4.2 leaves
// them, the low ones first, as many as an origin at (x, y) gives.
class Level {
 public:
  Level(const QlmRect& rect, void* samples) : pool_(opj_thread_pool_create(0)) {
    if (!pool_) throw std::bad_alloc();
    const auto half = [](int32_t v) { return (v + 1) >> 1; };
    const int32_t right = rect.x + rect.width, bottom = rect.y + rect.height;
    resolutions_[0].x0 = half(rect.x), resolutions_[0].x1 = half(right);
    resolutions_[0].y0 = half(rect.y), resolutions_[0].y1 = half(bottom);
    resolutions_[1].x0 = rect.x, resolutions_[1].x1 = right;
    resolutions_[1].y0 = rect.y, resolutions_[1].y1 = bottom;
    component_.x0 = rect.x, component_.x1 = right;
    component_.y0 = rect.y, component_.y1 = bottom;
    component_.resolutionCount = component_.wantedResolutionCount = 2;
    component_.resolutions = resolutions_;
    component_.samples = samples;
    coder_.threadPool = pool_;
    coder_.wholeTile = 1;
  }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;
  ~Level() { opj_thread_pool_destroy(pool_); }

  void forward53() { check(opj_dwt_encode(&coder_, &component_)); }
  void inverse53() { check(opj_dwt_decode(&coder_, &component_, 2)); }
  // On float samples. The inverse takes high values at half their size: it multiplies them by about 2 / K.
  void forward97() { check(opj_dwt_encode_real(&coder_, &component_)); }
  void inverse97() { check(opj_dwt_decode_real(&coder_, &component_, 2)); }

 private:
  static void check(int32_t done) {
    if (!done) throw std::runtime_error("OpenJPEG's wavelet failed");
  }

  ThreadPool* pool_;
  Resolution resolutions_[2]{};
  TileComponent component_{};
  TileCoder coder_{};
};

}  // namespace openjpeg
