#include "support/picture.h"

#include <png.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

namespace sample {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& file, const std::string& why) {
  throw std::runtime_error(file.string() + ": " + why);
}

png_image pngImage(const Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = picture.channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  return image;
}

Picture readPng(const fs::path& file) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, file.c_str())) fail(file, image.message);
  const bool grey = !(image.format & PNG_FORMAT_FLAG_COLOR);
  image.format = grey ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
  Picture picture(static_cast<int32_t>(image.width), static_cast<int32_t>(image.height), grey ? 1 : 3);
  const png_color white{255, 255, 255};
  if (!png_image_finish_read(&image, &white, picture.pixels.data(), 0, nullptr)) fail(file, image.message);
  return picture;
}

// The simplified interface of libpng would take 16-bit samples for linear light, so these files go by the full one.
// Errors of libpng leave as exceptions, past frames of C that have nothing to release.
[[noreturn]] void raisePng(png_structp, png_const_charp message) { throw std::runtime_error(message); }
void ignoreWarning(png_structp, png_const_charp) {}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

struct PngReader {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, raisePng, ignoreWarning);
  png_infop info = png_create_info_struct(png);
  PngReader() = default;
  PngReader(const PngReader&) = delete;
  PngReader& operator=(const PngReader&) = delete;
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct PngWriter {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, raisePng, ignoreWarning);
  png_infop info = png_create_info_struct(png);
  PngWriter() = default;
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

// A file of 16 bits a sample; anything else leaves the picture empty.
Picture16 readDeepPng(const fs::path& file) {
  const File in(std::fopen(file.c_str(), "rb"), std::fclose);
  if (!in) fail(file, "cannot be opened");
  PngReader reader;
  try {
    png_init_io(reader.png, in.get());
    png_read_info(reader.png, reader.info);
    if (png_get_bit_depth(reader.png, reader.info) != 16) return {};
    png_set_strip_alpha(reader.png);
    png_set_swap(reader.png);  // to the byte order of the machine
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    Picture16 picture(static_cast<int32_t>(png_get_image_width(reader.png, reader.info)),
                      static_cast<int32_t>(png_get_image_height(reader.png, reader.info)),
                      png_get_channels(reader.png, reader.info), 16);
    std::vector<png_bytep> rows;
    for (int32_t y = 0; y < picture.height; ++y) rows.push_back(reinterpret_cast<png_bytep>(picture.row(y)));
    png_read_image(reader.png, rows.data());
    return picture;
  } catch (const std::runtime_error& error) {
    fail(file, error.what());
  }
}

void writeDeepPng(const fs::path& file, const Picture16& picture) {
  const File out(std::fopen(file.c_str(), "wb"), std::fclose);
  if (!out) fail(file, "cannot be written");
  PngWriter writer;
  try {
    png_init_io(writer.png, out.get());
    png_set_IHDR(writer.png, writer.info, static_cast<png_uint_32>(picture.width),
                 static_cast<png_uint_32>(picture.height), 16,
                 picture.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer.png, writer.info);
    png_set_swap(writer.png);
    for (int32_t y = 0; y < picture.height; ++y)
      png_write_row(writer.png, reinterpret_cast<png_const_bytep>(picture.row(y)));
    png_write_end(writer.png, nullptr);
  } catch (const std::runtime_error& error) {
    fail(file, error.what());
  }
  if (std::fflush(out.get()) != 0) fail(file, "cannot be written");
}

// The next number of a PNM header, past white space and comments.
int32_t pnmNumber(std::istream& in, const fs::path& file) {
  for (;;) {
    in >> std::ws;
    if (in.peek() != '#') break;
    in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  int32_t value = 0;
  if (!(in >> value) || value < 1) fail(file, "damaged header");
  return value;
}

void readAll(std::istream& in, const fs::path& file, std::vector<uint8_t>& bytes) {
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (in.gcount() != static_cast<std::streamsize>(bytes.size())) fail(file, "truncated");
}

// Samples of two bytes have the high one first.
AnyPicture readPnm(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(file, "cannot be opened");
  char magic[2]{};
  in.read(magic, 2);
  if (magic[0] != 'P' || (magic[1] != '5' && magic[1] != '6')) fail(file, "not a binary PPM or PGM file");
  const int32_t width = pnmNumber(in, file), height = pnmNumber(in, file), maximum = pnmNumber(in, file);
  const int32_t channels = magic[1] == '5' ? 1 : 3, bits = std::bit_width(static_cast<uint32_t>(maximum));
  if (maximum != (1 << bits) - 1 || bits < 2 || bits > 16)
    fail(file, "a maximum of " + std::to_string(maximum) + " is none of 2 to 16 whole bits");
  if (int64_t{width} * height > 1'000'000'000) fail(file, "too large");
  in.get();
  if (bits == 8) {
    Picture picture(width, height, channels);
    readAll(in, file, picture.pixels);
    return picture;
  }
  Picture16 picture(width, height, channels, bits);
  std::vector<uint8_t> bytes(picture.samples.size() * (bits > 8 ? 2 : 1));
  readAll(in, file, bytes);
  for (size_t i = 0; i < picture.samples.size(); ++i) {
    const uint8_t* p = bytes.data() + (bits > 8 ? 2 * i : i);
    picture.samples[i] =
        std::min(static_cast<uint16_t>(bits > 8 ? p[0] << 8 | p[1] : p[0]), static_cast<uint16_t>(maximum));
  }
  return picture;
}

void writePnm(const fs::path& file, int32_t width, int32_t height, int32_t channels, int32_t bits,
              const std::vector<uint8_t>& bytes) {
  std::ofstream out(file, std::ios::binary);
  out << (channels == 1 ? "P5\n" : "P6\n") << width << ' ' << height << '\n' << (1 << bits) - 1 << '\n';
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) fail(file, "cannot be written");
}

void requireGreyOrRgb(const fs::path& file, int32_t channels) {
  if (channels != 1 && channels != 3)
    fail(file, "a picture of " + std::to_string(channels) + " channels has no place in this format");
}

bool isPnm(const fs::path& file) { return file.extension() == ".ppm" || file.extension() == ".pgm"; }

}  // namespace

Picture16 toBits(const Picture16& picture, int32_t bits) {
  if (picture.bits == bits) return picture;
  Picture16 result(picture.width, picture.height, picture.channels, bits);
  const int64_t from = (1 << picture.bits) - 1, to = (1 << bits) - 1;
  std::ranges::transform(picture.samples, result.samples.begin(),
                         [=](uint16_t v) { return static_cast<uint16_t>((v * to + from / 2) / from); });
  return result;
}

Picture16 toBits(const Picture& picture, int32_t bits) {
  Picture16 same(picture.width, picture.height, picture.channels, 8);
  std::ranges::copy(picture.pixels, same.samples.begin());
  return toBits(same, bits);
}

Picture to8Bits(const Picture16& picture) {
  const Picture16 narrow = toBits(picture, 8);
  Picture result(picture.width, picture.height, picture.channels);
  std::ranges::transform(narrow.samples, result.pixels.begin(), [](uint16_t v) { return static_cast<uint8_t>(v); });
  return result;
}

Picture to8Bits(const AnyPicture& picture) {
  if (const auto* deep = std::get_if<Picture16>(&picture)) return to8Bits(*deep);
  return std::get<Picture>(picture);
}

AnyPicture readAnyPicture(const fs::path& file) {
  if (!fs::exists(file)) fail(file, "no such file");
  if (isPnm(file)) return readPnm(file);
  Picture16 deep = readDeepPng(file);
  if (deep.width > 0) return deep;
  return readPng(file);
}

Picture readPicture(const fs::path& file) { return to8Bits(readAnyPicture(file)); }

void writePicture(const fs::path& file, const Picture& picture) {
  requireGreyOrRgb(file, picture.channels);
  if (isPnm(file)) return writePnm(file, picture.width, picture.height, picture.channels, 8, picture.pixels);
  png_image image = pngImage(picture);
  if (!png_image_write_to_file(&image, file.c_str(), 0, picture.pixels.data(), 0, nullptr)) fail(file, image.message);
}

void writePicture(const fs::path& file, const Picture16& picture) {
  requireGreyOrRgb(file, picture.channels);
  if (!isPnm(file)) return writeDeepPng(file, toBits(picture, 16));
  std::vector<uint8_t> bytes;
  for (const uint16_t v : picture.samples) {
    if (picture.bits > 8) bytes.push_back(static_cast<uint8_t>(v >> 8));
    bytes.push_back(static_cast<uint8_t>(v));
  }
  writePnm(file, picture.width, picture.height, picture.channels, picture.bits, bytes);
}

std::vector<uint8_t> encodePng(const Picture& picture) {
  png_image image = pngImage(picture);
  png_alloc_size_t size = 0;
  if (!png_image_write_to_memory(&image, nullptr, &size, 0, picture.pixels.data(), 0, nullptr))
    throw std::runtime_error(image.message);
  std::vector<uint8_t> bytes(size);
  if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, picture.pixels.data(), 0, nullptr))
    throw std::runtime_error(image.message);
  bytes.resize(size);
  return bytes;
}

Picture toGrey(const Picture& rgb) {
  Picture grey(rgb.width, rgb.height, 1);
  for (size_t i = 0; i < grey.pixels.size(); ++i) {
    const uint8_t* p = rgb.pixels.data() + 3 * i;
    grey.pixels[i] = static_cast<uint8_t>((299 * p[0] + 587 * p[1] + 114 * p[2] + 500) / 1000);
  }
  return grey;
}

Picture16 toGrey(const Picture16& rgb) {
  Picture16 grey(rgb.width, rgb.height, 1, rgb.bits);
  for (size_t i = 0; i < grey.samples.size(); ++i) {
    const uint16_t* p = rgb.samples.data() + 3 * i;
    grey.samples[i] = static_cast<uint16_t>((299 * p[0] + 587 * p[1] + 114 * p[2] + 500) / 1000);
  }
  return grey;
}

Picture toRgb(const Picture& picture) {
  if (picture.channels == 3) return picture;
  Picture rgb(picture.width, picture.height, 3);
  for (size_t i = 0; i < rgb.pixels.size(); ++i) {
    if (picture.channels == 1) {
      rgb.pixels[i] = picture.pixels[i / 3];
    } else {
      const uint8_t* p = picture.pixels.data() + 4 * (i / 3);
      rgb.pixels[i] = static_cast<uint8_t>((p[i % 3] * p[3] + 127) / 255);
    }
  }
  return rgb;
}

Picture toCmyk(const Picture& rgb) {
  Picture cmyk(rgb.width, rgb.height, 4);
  for (size_t i = 0; i < rgb.pixels.size(); i += 3) {
    const uint8_t* p = rgb.pixels.data() + i;
    uint8_t* q = cmyk.pixels.data() + i / 3 * 4;
    const int32_t black = std::max({p[0], p[1], p[2]});
    for (int32_t c = 0; c < 3; ++c) q[c] = static_cast<uint8_t>(black == 0 ? 255 : (255 * p[c] + black / 2) / black);
    q[3] = static_cast<uint8_t>(black);
  }
  return cmyk;
}

Picture crop(const Picture& picture, int32_t x, int32_t y, int32_t width, int32_t height) {
  Picture part(width, height, picture.channels);
  for (int32_t i = 0; i < height; ++i)
    std::memcpy(part.row(i), picture.row(y + i) + ptrdiff_t{x} * picture.channels, static_cast<size_t>(part.step()));
  return part;
}

std::vector<fs::path> photographs() {
  std::vector<fs::path> found;
  const char* variable = std::getenv("QLMJP_IMAGES");
  for (fs::path folder = fs::current_path();; folder = folder.parent_path()) {
    const fs::path images = variable ? fs::path(variable) : folder / "shared" / "images";
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(images, missing))
      if (entry.path().extension() == ".png") found.push_back(entry.path());
    if (!found.empty() || variable || folder == folder.root_path()) break;
  }
  std::sort(found.begin(), found.end());
  return found;
}

double psnr(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height || a.channels != b.channels)
    throw std::invalid_argument("psnr of pictures of different shapes");
  double sum = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const int32_t d = a.pixels[i] - b.pixels[i];
    sum += d * d;
  }
  if (sum == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.pixels.size()) / sum);
}

}  // namespace sample
