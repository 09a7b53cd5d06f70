// JPEG 2000 wavelets (T.800 Annex F). Whole planes race OpenJPEG's level, which works in place on 32-bit integers or
// floats whatever the samples; the forms of rows and columns race memcpy of the samples that come in and go out. Planes
// of small tiles, of 1024 x 1024 and of 4096 x 4096 samples.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "qlmjp.h"
#include "race.h"
#include "support/openjpeg_transforms.h"
#include "transform_planes.h"

namespace {

using bench::dense, bench::framed, bench::Plane, bench::race, bench::Work;

struct Shape {
  const char* data;
  int32_t width, height;
  int64_t samples() const { return int64_t{width} * height; }
};
constexpr Shape kShapes[] = {{"L1", 128, 16}, {"L2", 512, 128}, {"memory", 4096, 4096}};
constexpr Shape kPlanes[] = {{"64x64", 64, 64}, {"1024x1024", 1024, 1024}, {"4096x4096", 4096, 4096}};

template <typename Function>
struct Named {
  Function* function;
  const char* name;
};
#define NAMED(f) \
  Named<std::remove_pointer_t<decltype(&f)>> { f, #f }

Work work(const char* name, const Shape& shape) { return {"jpeg2000.wavelet", name, shape.data, "sample"}; }

// memcpy of as many samples into another buffer.
template <typename T>
void raceCopy(const Work& of, const Shape& s) {
  race(of, "bound:memcpy", s.samples(), 2 * s.samples() * int64_t{sizeof(T)}, [=] {
    std::memcpy(bench::buffer<T>(1), bench::buffer<T>(0), static_cast<size_t>(s.samples()) * sizeof(T));
    benchmark::DoNotOptimize(bench::buffer<T>(1));
  });
}

template <typename T, typename Round>
void raceRows(const char* name, const Shape& s, Round round) {
  race(work(name, s), "ours", s.samples(), 2 * s.samples() * int64_t{sizeof(T)}, round);
  raceCopy<T>(work(name, s), s);
}

// ---- ColLift: down an image, the rows of the destination being the window of unfinished rows ----

template <typename T, typename Function>
void raceForwardLift53(Named<Function> f) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const int32_t w = s.width, n = s.height / 2;
      const auto src = framed<T>(0, w), low = framed<T>(1, w), high = framed<T>(2, w);
      for (int32_t i = 0; i < n; ++i)
        f.function(src.row(2 * i), src.row(2 * i + 1), src.row(2 * i + 2), low.row(i), high.row(i - 1), high.row(i), w);
    });
}

template <typename T, typename Function>
void raceInverseLift53(Named<Function> f) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const int32_t w = s.width, n = s.height / 2;
      const auto low = framed<T>(0, w), high = framed<T>(1, w), dst = framed<T>(2, w);
      for (int32_t i = 0; i < n; ++i)
        f.function(low.row(i), high.row(i - 1), high.row(i), dst.row(2 * i - 2), dst.row(2 * i - 1), dst.row(2 * i), w);
    });
}

template <typename T, typename Function>
void raceForwardLift97(Named<Function> f) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const int32_t w = s.width, n = s.height / 2;
      const auto src = framed<T>(0, w), low = framed<T>(1, w), high = framed<T>(2, w);
      for (int32_t i = 0; i < n; ++i)
        f.function(src.row(2 * i), src.row(2 * i + 1), src.row(2 * i + 2), low.row(i - 1), low.row(i), high.row(i - 2),
                   high.row(i - 1), high.row(i), w);
    });
}

template <typename T, typename Function>
void raceInverseLift97(Named<Function> f) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const int32_t w = s.width, n = s.height / 2;
      const auto low = framed<T>(0, w), high = framed<T>(1, w), dst = framed<T>(2, w);
      for (int32_t i = 0; i < n; ++i)
        f.function(low.row(i), high.row(i - 1), high.row(i), dst.row(2 * i - 4), dst.row(2 * i - 3), dst.row(2 * i - 2),
                   dst.row(2 * i - 1), dst.row(2 * i), w);
    });
}

// ---- Row and Col ----

enum class Along { kRows, kColumns };

QlmSize bandSize(const Shape& s, Along along) {
  return along == Along::kRows ? QlmSize{s.width / 2, s.height} : QlmSize{s.width, s.height / 2};
}

template <typename T, typename Function>
void raceForward(Named<Function> f, Along along) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const QlmSize size = bandSize(s, along);
      const auto src = framed<T>(0, s.width), low = framed<T>(1, size.width), high = framed<T>(2, size.width);
      f.function(src.first, src.step, low.first, low.step, high.first, high.step, size, 0);
    });
}

template <typename T, typename Function>
void raceInverse(Named<Function> f, Along along) {
  for (const Shape& s : kShapes)
    raceRows<T>(f.name, s, [=] {
      const QlmSize size = bandSize(s, along);
      const auto low = framed<T>(0, size.width), high = framed<T>(1, size.width), dst = framed<T>(2, s.width);
      f.function(low.first, low.step, high.first, high.step, size, dst.first, dst.step, 0);
    });
}

// ---- Planes ----

enum class Filter { k53, k97 };
enum class Way { kForward, kInverse };

// OpenJPEG's type for the filter.
template <Filter filter>
using Sample = std::conditional_t<filter == Filter::k53, int32_t, float>;

// A plane that is transformed in place over and over changes the sizes of its values: this brings them back from
// another buffer before they grow or fade too far.
template <typename T>
void refresh(uint32_t& round, const Shape& s, size_t from, size_t to) {
  if (round++ % 16 == 0)
    std::memcpy(bench::buffer<T>(to), bench::buffer<T>(from), static_cast<size_t>(s.samples()) * sizeof(T));
}

template <Filter filter, Way way>
void racePeer(const Work& of, const Shape& s, int64_t bytes) {
  using T = Sample<filter>;
  race(of, "peer:OpenJPEG", s.samples(), bytes, [=, level = std::shared_ptr<openjpeg::Level>(), round = 0u]() mutable {
    if (!level) level = std::make_shared<openjpeg::Level>(QlmRect{0, 0, s.width, s.height}, bench::buffer<T>(1));
    refresh<T>(round, s, 0, 1);
    if constexpr (filter == Filter::k53) {
      way == Way::kForward ? level->forward53() : level->inverse53();
    } else {
      way == Way::kForward ? level->forward97() : level->inverse97();
    }
  });
}

// What stands beside each plane form: OpenJPEG and, for the bytes of one pass over the plane, memcpy.
template <typename T, Filter filter, Way way>
void raceOthers(const Work& of, const Shape& s, int64_t bytes) {
  racePeer<filter, way>(of, s, bytes);
  raceCopy<T>(of, s);
}

template <typename Query>
std::shared_ptr<std::vector<uint8_t>> scratch(Query query, const QlmRect& rect) {
  int32_t bytes = 0;
  query(rect, &bytes);
  return std::make_shared<std::vector<uint8_t>>(static_cast<size_t>(bytes) + 1);
}

template <typename T, Filter filter, Way way, typename Function, typename Query>
void raceInPlace(Named<Function> f, Query query) {
  for (const Shape& s : kPlanes) {
    const QlmRect rect{0, 0, s.width, s.height};
    const int64_t bytes = 2 * s.samples() * int64_t{sizeof(T)};
    race(work(f.name, s), "ours", s.samples(), bytes, [=, room = scratch(query, rect), round = 0u]() mutable {
      refresh<T>(round, s, 0, 1);
      const auto plane = dense<T>(1, s.width);
      f.function(plane.first, plane.step, rect, room->data());
    });
    raceOthers<T, filter, way>(work(f.name, s), s, bytes);
  }
}

// The four bands, one after another in a buffer.
template <typename T>
struct Bands {
  T* first[4];
  int32_t step[4];

  Bands(size_t index, const Shape& s) {
    for (size_t i = 0; i < 4; ++i) {
      const auto band = dense<T>(index, s.width / 2, i * static_cast<size_t>(s.samples() / 4));
      first[i] = band.first, step[i] = band.step;
    }
  }
};

template <typename T, Filter filter, typename Function, typename Query>
void raceForwardBands(Named<Function> f, Query query) {
  for (const Shape& s : kPlanes) {
    const QlmRect rect{0, 0, s.width, s.height};
    const int64_t bytes = 2 * s.samples() * int64_t{sizeof(T)};
    race(work(f.name, s), "ours", s.samples(), bytes, [=, room = scratch(query, rect)]() mutable {
      const auto plane = dense<T>(0, s.width);
      const Bands<T> bands(1, s);
      f.function(plane.first, plane.step, rect, bands.first, bands.step, room->data());
    });
    raceOthers<T, filter, Way::kForward>(work(f.name, s), s, bytes);
  }
}

template <typename T, Filter filter, typename Function, typename Query>
void raceInverseBands(Named<Function> f, Query query) {
  for (const Shape& s : kPlanes) {
    const QlmRect rect{0, 0, s.width, s.height};
    const int64_t bytes = 2 * s.samples() * int64_t{sizeof(T)};
    race(work(f.name, s), "ours", s.samples(), bytes, [=, room = scratch(query, rect)]() mutable {
      const auto plane = dense<T>(1, s.width);
      const Bands<T> bands(0, s);
      f.function(bands.first, bands.step, plane.first, plane.step, rect, room->data());
    });
    raceOthers<T, filter, Way::kInverse>(work(f.name, s), s, bytes);
  }
}

// The four plane forms of one filter and element type.
#define RACE_PLANES(T, filter, names)                                                                        \
  do {                                                                                                       \
    raceInPlace<T, filter, Way::kForward>(NAMED(qlmiWTFwd_##names##_C1IR), qlmiWTGetBufSize_##names##_C1IR); \
    raceInPlace<T, filter, Way::kInverse>(NAMED(qlmiWTInv_##names##_C1IR), qlmiWTGetBufSize_##names##_C1IR); \
    raceForwardBands<T, filter>(NAMED(qlmiWTFwd_##names##_C1R), qlmiWTGetBufSize_##names##_C1R);             \
    raceInverseBands<T, filter>(NAMED(qlmiWTInv_##names##_C1R), qlmiWTGetBufSize_##names##_C1R);             \
  } while (false)

[[maybe_unused]] const int registered = [] {
  RACE_PLANES(int16_t, Filter::k53, B53_JPEG2K_16s);
  RACE_PLANES(int32_t, Filter::k53, B53_JPEG2K_32s);
  RACE_PLANES(int16_t, Filter::k97, D97_JPEG2K_16s);
  RACE_PLANES(int32_t, Filter::k97, D97_JPEG2K_32s);

  raceForward<int16_t>(NAMED(qlmiWTFwdRow_B53_JPEG2K_16s_C1R), Along::kRows);
  raceForward<int32_t>(NAMED(qlmiWTFwdRow_B53_JPEG2K_32s_C1R), Along::kRows);
  raceForward<int16_t>(NAMED(qlmiWTFwdRow_D97_JPEG2K_16s_C1R), Along::kRows);
  raceForward<int32_t>(NAMED(qlmiWTFwdRow_D97_JPEG2K_32s_C1R), Along::kRows);
  raceForward<float>(NAMED(qlmiWTFwdRow_D97_JPEG2K_32f_C1R), Along::kRows);
  raceForward<int16_t>(NAMED(qlmiWTFwdCol_B53_JPEG2K_16s_C1R), Along::kColumns);
  raceForward<int32_t>(NAMED(qlmiWTFwdCol_B53_JPEG2K_32s_C1R), Along::kColumns);
  raceForward<float>(NAMED(qlmiWTFwdCol_D97_JPEG2K_32f_C1R), Along::kColumns);

  raceInverse<int16_t>(NAMED(qlmiWTInvRow_B53_JPEG2K_16s_C1R), Along::kRows);
  raceInverse<int32_t>(NAMED(qlmiWTInvRow_B53_JPEG2K_32s_C1R), Along::kRows);
  raceInverse<int16_t>(NAMED(qlmiWTInvRow_D97_JPEG2K_16s_C1R), Along::kRows);
  raceInverse<int32_t>(NAMED(qlmiWTInvRow_D97_JPEG2K_32s_C1R), Along::kRows);
  raceInverse<float>(NAMED(qlmiWTInvRow_D97_JPEG2K_32f_C1R), Along::kRows);
  raceInverse<int16_t>(NAMED(qlmiWTInvCol_B53_JPEG2K_16s_C1R), Along::kColumns);
  raceInverse<int32_t>(NAMED(qlmiWTInvCol_B53_JPEG2K_32s_C1R), Along::kColumns);
  raceInverse<float>(NAMED(qlmiWTInvCol_D97_JPEG2K_32f_C1R), Along::kColumns);

  raceForwardLift53<int16_t>(NAMED(qlmiWTFwdColLift_B53_JPEG2K_16s_C1));
  raceForwardLift53<int32_t>(NAMED(qlmiWTFwdColLift_B53_JPEG2K_32s_C1));
  raceForwardLift97<int16_t>(NAMED(qlmiWTFwdColLift_D97_JPEG2K_16s_C1));
  raceForwardLift97<int32_t>(NAMED(qlmiWTFwdColLift_D97_JPEG2K_32s_C1));
  raceForwardLift97<float>(NAMED(qlmiWTFwdColLift_D97_JPEG2K_32f_C1));
  raceInverseLift53<int16_t>(NAMED(qlmiWTInvColLift_B53_JPEG2K_16s_C1));
  raceInverseLift53<int32_t>(NAMED(qlmiWTInvColLift_B53_JPEG2K_32s_C1));
  raceInverseLift97<int16_t>(NAMED(qlmiWTInvColLift_D97_JPEG2K_16s_C1));
  raceInverseLift97<int32_t>(NAMED(qlmiWTInvColLift_D97_JPEG2K_32s_C1));
  raceInverseLift97<float>(NAMED(qlmiWTInvColLift_D97_JPEG2K_32f_C1));
  return 0;
}();

}  // namespace
