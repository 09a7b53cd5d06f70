// TIFF rows: PackBits against libtiff's coder on a strip of a TIFF file in memory, on rows of photographs, of drawings
// with long runs, and of noise; 16-bit samples against memcpy of the bytes touched.
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "qlmjp.h"
#include "race.h"
#include "support/picture.h"

namespace {

using bench::race;
using sample::Picture;

// A file in memory as libtiff's client. The directory of a file that is read stands behind its one strip.
struct MemoryFile {
  std::vector<uint8_t> bytes;
  size_t position = 0;
};

TIFF* openMemory(MemoryFile& file, const char* mode) {
  static constexpr auto at = [](thandle_t handle) -> MemoryFile& { return *static_cast<MemoryFile*>(handle); };
  file.position = 0;
  TIFF* tiff = TIFFClientOpen(
      "memory", mode, &file,
      [](thandle_t handle, void* out, tmsize_t count) {
        MemoryFile& f = at(handle);
        const size_t n = std::min(static_cast<size_t>(count), f.bytes.size() - std::min(f.position, f.bytes.size()));
        std::memcpy(out, f.bytes.data() + f.position, n);
        f.position += n;
        return static_cast<tmsize_t>(n);
      },
      [](thandle_t handle, void* in, tmsize_t count) {
        MemoryFile& f = at(handle);
        const auto n = static_cast<size_t>(count);
        f.bytes.resize(std::max(f.bytes.size(), f.position + n));
        std::memcpy(f.bytes.data() + f.position, in, n);
        f.position += n;
        return count;
      },
      [](thandle_t handle, toff_t offset, int from) {
        MemoryFile& f = at(handle);
        f.position = offset + (from == SEEK_CUR ? f.position : from == SEEK_END ? f.bytes.size() : 0);
        return static_cast<toff_t>(f.position);
      },
      [](thandle_t) { return 0; }, [](thandle_t handle) { return static_cast<toff_t>(at(handle).bytes.size()); },
      nullptr, nullptr);
  if (!tiff) std::abort();
  return tiff;
}

void describe(TIFF* tiff, const Picture& grey) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(grey.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(grey.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(grey.height));
}

std::vector<uint8_t> pack(const Picture& grey) {
  std::vector<uint8_t> strip(2 * grey.pixels.size() + 16);
  int32_t end = 0;
  for (int32_t y = 0; y < grey.height; ++y)
    qlmiPackBitsRow_TIFF_8u_C1(grey.row(y), grey.width, strip.data(), &end, static_cast<int32_t>(strip.size()) - end);
  strip.resize(static_cast<size_t>(end));
  return strip;
}

void racePackBits(const char* data, const Picture& grey) {
  const auto bytes = static_cast<int64_t>(grey.pixels.size());
  const bench::Work packing{"tiff", "qlmiPackBitsRow_TIFF_8u_C1", data, "byte"};
  race(packing, "ours", bytes, bytes, [=, strip = std::vector<uint8_t>(2 * grey.pixels.size() + 16)]() mutable {
    int32_t end = 0;
    for (int32_t y = 0; y < grey.height; ++y)
      qlmiPackBitsRow_TIFF_8u_C1(grey.row(y), grey.width, strip.data(), &end, static_cast<int32_t>(strip.size()) - end);
    benchmark::DoNotOptimize(end);
  });
  // The strip is written again and again over itself in one file.
  race(packing, "peer:libtiff", bytes, bytes, [=, file = MemoryFile{}, tiff = static_cast<TIFF*>(nullptr)]() mutable {
    if (!tiff) {
      file.bytes.reserve(3 * grey.pixels.size());
      tiff = openMemory(file, "w");
      describe(tiff, grey);
      TIFFSetupStrips(tiff);
    }
    if (TIFFWriteEncodedStrip(tiff, 0, const_cast<uint8_t*>(grey.pixels.data()), bytes) != bytes) std::abort();
  });

  const bench::Work unpacking{"tiff", "qlmiUnpackBitsRow_TIFF_8u_C1", data, "byte"};
  race(unpacking, "ours", bytes, bytes, [strip = pack(grey), out = grey]() mutable {
    int32_t position = 0;
    for (int32_t y = 0; y < out.height; ++y)
      qlmiUnpackBitsRow_TIFF_8u_C1(strip.data(), &position, static_cast<int32_t>(strip.size()), out.row(y), out.width);
    benchmark::DoNotOptimize(position);
  });
  const auto file = std::make_shared<MemoryFile>();
  TIFF* written = openMemory(*file, "w");
  describe(written, grey);
  std::vector<uint8_t> strip = pack(grey);
  TIFFWriteRawStrip(written, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
  TIFFClose(written);
  race(unpacking, "peer:libtiff", bytes, bytes,
       [=, file = file, tiff = static_cast<TIFF*>(nullptr), out = grey]() mutable {
         if (!tiff) tiff = openMemory(*file, "r");
         if (TIFFReadEncodedStrip(tiff, 0, out.pixels.data(), bytes) != bytes) std::abort();
       });
  for (const bench::Work& work : {packing, unpacking})
    race(work, "bound:memcpy", bytes, bytes, [from = grey.pixels, to = grey.pixels]() mutable {
      std::memcpy(to.data(), from.data(), from.size());
      benchmark::DoNotOptimize(to.data());
    });
}

// Rows that begin on cache lines and not at the same place of a page, as the rows of a picture do.
template <typename T>
struct Line {
  std::vector<T> elements;
  size_t lead;
  Line(size_t n, size_t lines) : elements(n + 64 * lines + 64, T{1}), lead(64 * lines / sizeof(T)) {}
  T* data() {
    const auto past = reinterpret_cast<uintptr_t>(elements.data()) % 64;
    return elements.data() + (64 - past) % 64 / sizeof(T) + lead;
  }
};

void raceSamples(const char* data, int32_t samples) {
  const auto n = static_cast<size_t>(samples);
  const int64_t bytes = 4 * int64_t{samples};  // two in, two out
  Line<uint8_t> high(n, 0), low(n, 21);
  Line<uint16_t> words(n, 43), copy(n, 11);
  const bench::Work joining{"tiff", "qlmiJoinRow_TIFF_8u16u_C1", data, "sample"};
  race(joining, "ours", samples, bytes, [=]() mutable {
    const uint8_t* const rows[2] = {high.data(), low.data()};
    qlmiJoinRow_TIFF_8u16u_C1(rows, words.data(), samples);
  });
  const bench::Work splitting{"tiff", "qlmiSplitRow_TIFF_16u8u_C1", data, "sample"};
  race(splitting, "ours", samples, bytes, [=]() mutable {
    uint8_t* const rows[2] = {high.data(), low.data()};
    qlmiSplitRow_TIFF_16u8u_C1(words.data(), rows, samples);
  });
  for (const bench::Work& work : {joining, splitting})
    race(work, "bound:memcpy", samples, bytes, [=]() mutable {
      std::memcpy(copy.data(), words.data(), 2 * n);
      benchmark::DoNotOptimize(copy.data());
    });
}

[[maybe_unused]] const int registered = [] {
  const auto photographs = sample::photographs();
  const Picture photograph =
      photographs.empty() ? sample::paintPicture(768, 512, 1) : sample::toGrey(sample::readPicture(photographs[0]));
  // Flat areas with straight and curved borders: runs of dozens to hundreds of bytes, some short ones.
  Picture drawing(2048, 512, 1), noise(2048, 512, 1);
  uint32_t state = 1;
  for (int32_t y = 0; y < drawing.height; ++y) {
    for (int32_t x = 0; x < drawing.width; ++x) {
      drawing.row(y)[x] = static_cast<uint8_t>(((x * x / 4 + y * y) >> 14) * 40 + (x / 300 + y / 40) % 2 * 17);
      state = state * 1664525 + 1013904223;
      noise.row(y)[x] = static_cast<uint8_t>(state >> 24);
    }
  }
  racePackBits("photograph", photograph);
  racePackBits("drawing", drawing);
  racePackBits("noise", noise);
  raceSamples("L1", 4096);
  raceSamples("L2", 65536);
  raceSamples("memory", 1 << 23);
  return 0;
}();

}  // namespace
