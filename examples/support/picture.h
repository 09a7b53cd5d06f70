// A picture in memory, of 8 bits a sample or of up to 16, its files (PNG by libpng, PPM and PGM), and a painted picture
// for whoever has no photograph at hand. Shared by the sample programs, the tests and the benchmarks.
#pragma once

#include <cstdint>
#include <filesystem>
#include <variant>
#include <vector>

namespace sample {

// Rows from top to bottom without padding; 1 channel is grey, 3 channels are red, green, blue, and 4 are cyan, magenta,
// yellow, black as light: 255 is no ink.
struct Picture {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 3;
  std::vector<uint8_t> pixels;

  Picture() = default;
  Picture(int32_t w, int32_t h, int32_t c)
      : width(w), height(h), channels(c), pixels(static_cast<size_t>(w) * static_cast<size_t>(h) * size_t(c)) {}

  int32_t step() const { return width * channels; }
  uint8_t* row(int32_t y) { return pixels.data() + ptrdiff_t{step()} * y; }
  const uint8_t* row(int32_t y) const { return pixels.data() + ptrdiff_t{step()} * y; }
  bool operator==(const Picture&) const = default;
};

// The same with samples of 2 to 16 bits, each in the low bits of 16.
struct Picture16 {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 3;
  int32_t bits = 16;
  std::vector<uint16_t> samples;

  Picture16() = default;
  Picture16(int32_t w, int32_t h, int32_t c, int32_t b)
      : width(w),
        height(h),
        channels(c),
        bits(b),
        samples(static_cast<size_t>(w) * static_cast<size_t>(h) * size_t(c)) {}

  int32_t step() const { return 2 * width * channels; }  // bytes
  uint16_t* row(int32_t y) { return samples.data() + ptrdiff_t{width} * channels * y; }
  const uint16_t* row(int32_t y) const { return samples.data() + ptrdiff_t{width} * channels * y; }
  bool operator==(const Picture16&) const = default;
};

using AnyPicture = std::variant<Picture, Picture16>;

// Each sample times the new maximum by the old one, rounded: more bits and back again change nothing.
Picture16 toBits(const Picture16& picture, int32_t bits);
Picture16 toBits(const Picture& picture, int32_t bits);
Picture to8Bits(const Picture16& picture);
Picture to8Bits(const AnyPicture& picture);

// By extension: .png, .ppm, .pgm. An alpha channel is dropped. Throws std::runtime_error with a message for people.
// A file of more or fewer than 8 bits a sample gives a Picture16 (PNG: 16 bits), which readPicture() brings to 8.
AnyPicture readAnyPicture(const std::filesystem::path& file);
Picture readPicture(const std::filesystem::path& file);
void writePicture(const std::filesystem::path& file, const Picture& picture);
// A PNG gets 16 bits, PPM and PGM the maximum that the bits of the picture give.
void writePicture(const std::filesystem::path& file, const Picture16& picture);

// A PNG file in memory.
std::vector<uint8_t> encodePng(const Picture& picture);

// The same picture on every machine: smooth gradients, fine text-like detail, saturated colour edges and film-like
// noise, all in integer arithmetic. channels is 1 or 3.
Picture paintPicture(int32_t width, int32_t height, int32_t channels = 3);

Picture toGrey(const Picture& rgb);
Picture16 toGrey(const Picture16& rgb);

// Grey is repeated. In CMYK each colour is dimmed by black: R = C K / 255, and so on, rounded. Device colours without a
// profile, as good as a file gives them that carries none.
Picture toRgb(const Picture& picture);

// The converse, with all grey replaced by black: K is the largest of R, G, B, and C = 255 R / K, rounded (255 where K
// is 0), and so on.
Picture toCmyk(const Picture& rgb);

Picture crop(const Picture& picture, int32_t x, int32_t y, int32_t width, int32_t height);

// The photographs in shared/images beside this tree, or in $QLMJP_IMAGES where there are any, sorted by name.
std::vector<std::filesystem::path> photographs();

// Peak signal-to-noise ratio in dB over all samples; infinity for equal pictures.
double psnr(const Picture& a, const Picture& b);

}  // namespace sample
