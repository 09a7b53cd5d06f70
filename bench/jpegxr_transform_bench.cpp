// The photo core transform of JPEG XR against jxrlib's, which knows one block of 32-bit integers at a time, its values
// in an order of its own; and against memcpy of the samples, which are read and written once. In the shapes of a
// macroblock the peer transforms the same number of blocks.
#include <cstdint>
#include <cstring>

#include "qlmjp.h"
#include "race.h"
#include "transform_planes.h"

extern "C" {
void strDCT4x4Stage1(int* block);
void strIDCT4x4Stage1(int* block);
}

namespace {

using bench::race, bench::Work;

struct Shape {
  const char* data;
  int32_t width, height;
  int64_t blocks() const { return int64_t{width} * height / 16; }
};

enum class Way { kForward, kInverse };

// In place values grow or fade, floats down to numbers that a processor is slow at: they are brought back from another
// buffer from time to time.
template <typename T>
void refresh(uint32_t& round, const Shape& s) {
  if (round++ % 16 == 0)
    std::memcpy(bench::buffer<T>(1), bench::buffer<T>(0), static_cast<size_t>(16 * s.blocks()) * sizeof(T));
}

template <typename T>
void raceBounds(const Work& work, const Shape& s, Way way) {
  const int64_t bytes = 32 * s.blocks() * int64_t{sizeof(T)};
  race(work, "peer:jxrlib", s.blocks(), 32 * s.blocks() * 4, [=, round = 0u]() mutable {
    refresh<int32_t>(round, s);
    int32_t* block = bench::buffer<int32_t>(1);
    for (int64_t i = 0; i < s.blocks(); ++i, block += 16)
      way == Way::kForward ? strDCT4x4Stage1(block) : strIDCT4x4Stage1(block);
  });
  race(work, "bound:memcpy", s.blocks(), bytes, [=] {
    std::memcpy(bench::buffer<T>(1), bench::buffer<T>(0), static_cast<size_t>(bytes / 2));
    benchmark::DoNotOptimize(bench::buffer<T>(1));
  });
}

template <typename T>
void raceRegions(const char* name, QlmStatus (*function)(T*, int32_t, QlmSize), Way way) {
  for (const Shape& s : {Shape{"L1", 256, 16}, Shape{"L2", 512, 64}, Shape{"memory", 2048, 2048}}) {
    const Work work{"jpegxr.transform", name, s.data, "block"};
    race(work, "ours", s.blocks(), 32 * s.blocks() * int64_t{sizeof(T)}, [=, round = 0u]() mutable {
      refresh<T>(round, s);
      function(bench::buffer<T>(1), s.width * static_cast<int32_t>(sizeof(T)), {s.width, s.height});
    });
    raceBounds<T>(work, s, way);
  }
}

// A row of macroblocks, shape by shape.
template <int32_t width, int32_t height, typename T>
void raceShape(const char* name, QlmStatus (*function)(T*, int32_t), Way way) {
  constexpr Shape kRow{"L1", 256, height};
  const Work work{"jpegxr.transform", name, kRow.data, "block"};
  race(work, "ours", kRow.blocks(), 32 * kRow.blocks() * int64_t{sizeof(T)}, [=, round = 0u]() mutable {
    refresh<T>(round, kRow);
    for (int32_t x = 0; x < kRow.width; x += width)
      function(bench::buffer<T>(1) + x, kRow.width * static_cast<int32_t>(sizeof(T)));
  });
  raceBounds<T>(work, kRow, way);
}

#define NAMED(f) #f, f

#define RACE_TYPE(direction, suffix, way)                                             \
  raceRegions(NAMED(qlmiPCT##direction##_JPEGXR_##suffix##_C1IR), Way::way);          \
  raceShape<8, 8>(NAMED(qlmiPCT##direction##8x8_JPEGXR_##suffix##_C1IR), Way::way);   \
  raceShape<8, 16>(NAMED(qlmiPCT##direction##8x16_JPEGXR_##suffix##_C1IR), Way::way); \
  raceShape<16, 16>(NAMED(qlmiPCT##direction##16x16_JPEGXR_##suffix##_C1IR), Way::way)

[[maybe_unused]] const int registered = [] {
  RACE_TYPE(Fwd, 16s, kForward);
  RACE_TYPE(Fwd, 32s, kForward);
  RACE_TYPE(Fwd, 32f, kForward);
  RACE_TYPE(Inv, 16s, kInverse);
  RACE_TYPE(Inv, 32s, kInverse);
  RACE_TYPE(Inv, 32f, kInverse);
  return 0;
}();

}  // namespace
