// JPEG 2000 component transforms (T.800 Annex G) against OpenJPEG's, which know planes of 32-bit integers (RCT) and of
// floats (ICT) in place, and against memcpy of the samples that come in and go out.
#include <cstring>
#include <string>

#include "qlmjp.h"
#include "race.h"
#include "support/openjpeg_transforms.h"
#include "transform_planes.h"

namespace {

using bench::race, bench::Work;

struct Shape {
  const char* data;
  int32_t width, height;
  int64_t pixels() const { return int64_t{width} * height; }
};
constexpr Shape kShapes[] = {{"L1", 256, 4}, {"L2", 512, 64}, {"memory", 2048, 2048}};

enum class Kind { kReversible, kIrreversible };
enum class Way { kForward, kInverse };

// Three planes in one buffer, each on a cache line and at another place of a page.
template <typename T>
struct Planes {
  T* first[3];
  int32_t step;

  Planes(size_t index, const Shape& s) : step(s.width * static_cast<int32_t>(sizeof(T))) {
    for (size_t c = 0; c < 3; ++c)
      first[c] = bench::buffer<T>(index) + c * (static_cast<size_t>(s.pixels()) + 640 / sizeof(T));
  }
};

// In-place transforms make values grow or fade, down to numbers that a processor is slow at: they are brought back from
// another buffer from time to time.
template <typename T>
void refresh(uint32_t& round, const Shape& s, size_t from, size_t to) {
  if (round++ % 16 == 0)
    std::memcpy(bench::buffer<T>(to), bench::buffer<T>(from), static_cast<size_t>(3 * s.pixels() + 960) * sizeof(T));
}

template <typename T, typename Round>
void raceForm(const char* name, const Shape& s, Round round) {
  const Work work{"jpeg2000.component", name, s.data, "pixel"};
  const int64_t bytes = 6 * s.pixels() * int64_t{sizeof(T)};
  race(work, "ours", s.pixels(), bytes, round);
  race(work, "bound:memcpy", s.pixels(), bytes, [=] {
    std::memcpy(bench::buffer<T>(1), bench::buffer<T>(0), static_cast<size_t>(bytes / 2));
    benchmark::DoNotOptimize(bench::buffer<T>(1));
  });
}

template <Kind kind, Way way>
void racePeer(const char* name, const Shape& s) {
  using T = std::conditional_t<kind == Kind::kReversible, int32_t, float>;
  race({"jpeg2000.component", name, s.data, "pixel"}, "peer:OpenJPEG", s.pixels(), 6 * s.pixels() * 4,
       [=, round = 0u]() mutable {
         refresh<T>(round, s, 0, 1);
         const Planes<T> planes(1, s);
         const auto n = static_cast<size_t>(s.pixels());
         if constexpr (kind == Kind::kReversible) {
           (way == Way::kForward ? openjpeg::opj_mct_encode : openjpeg::opj_mct_decode)(
               planes.first[0], planes.first[1], planes.first[2], n);
         } else {
           (way == Way::kForward ? openjpeg::opj_mct_encode_real : openjpeg::opj_mct_decode_real)(
               planes.first[0], planes.first[1], planes.first[2], n);
         }
       });
}

template <typename T, Kind kind, Way way, typename Function>
void raceInPlace(const char* name, Function function) {
  for (const Shape& s : kShapes) {
    raceForm<T>(name, s, [=, round = 0u]() mutable {
      refresh<T>(round, s, 0, 1);
      const Planes<T> planes(1, s);
      function(planes.first, planes.step, {s.width, s.height});
    });
    racePeer<kind, way>(name, s);
  }
}

// Pixels to planes and back: OpenJPEG has nothing of the kind.
template <typename T, typename Function>
void raceSplit(const char* name, Function function) {
  for (const Shape& s : kShapes)
    raceForm<T>(name, s, [=] {
      const Planes<T> planes(1, s);
      function(bench::buffer<T>(0), 3 * planes.step, planes.first, planes.step, {s.width, s.height});
    });
}

template <typename T, typename Function>
void raceJoin(const char* name, Function function) {
  for (const Shape& s : kShapes)
    raceForm<T>(name, s, [=] {
      const Planes<T> planes(1, s);
      function(planes.first, planes.step, bench::buffer<T>(0), 3 * planes.step, {s.width, s.height});
    });
}

#define NAMED(f) #f, f

[[maybe_unused]] const int registered = [] {
  using enum Kind;
  using enum Way;
  raceInPlace<int16_t, kReversible, kForward>(NAMED(qlmiRCTFwd_JPEG2K_16s_P3IR));
  raceInPlace<int32_t, kReversible, kForward>(NAMED(qlmiRCTFwd_JPEG2K_32s_P3IR));
  raceInPlace<int16_t, kReversible, kInverse>(NAMED(qlmiRCTInv_JPEG2K_16s_P3IR));
  raceInPlace<int32_t, kReversible, kInverse>(NAMED(qlmiRCTInv_JPEG2K_32s_P3IR));
  raceInPlace<int16_t, kIrreversible, kForward>(NAMED(qlmiICTFwd_JPEG2K_16s_P3IR));
  raceInPlace<int32_t, kIrreversible, kForward>(NAMED(qlmiICTFwd_JPEG2K_32s_P3IR));
  raceInPlace<float, kIrreversible, kForward>(NAMED(qlmiICTFwd_JPEG2K_32f_P3IR));
  raceInPlace<int16_t, kIrreversible, kInverse>(NAMED(qlmiICTInv_JPEG2K_16s_P3IR));
  raceInPlace<int32_t, kIrreversible, kInverse>(NAMED(qlmiICTInv_JPEG2K_32s_P3IR));
  raceInPlace<float, kIrreversible, kInverse>(NAMED(qlmiICTInv_JPEG2K_32f_P3IR));
  raceSplit<int16_t>(NAMED(qlmiRCTFwd_JPEG2K_16s_C3P3R));
  raceSplit<int32_t>(NAMED(qlmiRCTFwd_JPEG2K_32s_C3P3R));
  raceSplit<float>(NAMED(qlmiICTFwd_JPEG2K_32f_C3P3R));
  raceJoin<int16_t>(NAMED(qlmiRCTInv_JPEG2K_16s_P3C3R));
  raceJoin<int32_t>(NAMED(qlmiRCTInv_JPEG2K_32s_P3C3R));
  raceJoin<float>(NAMED(qlmiICTInv_JPEG2K_32f_P3C3R));
  return 0;
}();

}  // namespace
