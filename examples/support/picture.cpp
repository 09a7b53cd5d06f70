#include "support/picture.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
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

Picture readPnm(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(file, "cannot be opened");
  char magic[2]{};
  in.read(magic, 2);
  if (magic[0] != 'P' || (magic[1] != '5' && magic[1] != '6')) fail(file, "not a binary PPM or PGM file");
  const int32_t width = pnmNumber(in, file), height = pnmNumber(in, file), maximum = pnmNumber(in, file);
  if (maximum != 255) fail(file, "only 8 bits a sample are supported");
  if (int64_t{width} * height > 1'000'000'000) fail(file, "too large");
  in.get();
  Picture picture(width, height, magic[1] == '5' ? 1 : 3);
  in.read(reinterpret_cast<char*>(picture.pixels.data()), static_cast<std::streamsize>(picture.pixels.size()));
  if (in.gcount() != static_cast<std::streamsize>(picture.pixels.size())) fail(file, "truncated");
  return picture;
}

bool isPnm(const fs::path& file) { return file.extension() == ".ppm" || file.extension() == ".pgm"; }

uint32_t hash(uint32_t x, uint32_t y) {
  uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u;
  h ^= h >> 15, h *= 0x2C1B3C6Du, h ^= h >> 12, h *= 0x297A2D39u;
  return h ^ (h >> 15);
}

// About normal, standard deviation of about 3: the sum of four bytes.
int32_t grain(uint32_t x, uint32_t y) {
  const uint32_t h = hash(x, y);
  return (static_cast<int32_t>((h & 255) + (h >> 8 & 255) + (h >> 16 & 255) + (h >> 24)) - 510) / 48;
}

}  // namespace

Picture readPicture(const fs::path& file) {
  if (!fs::exists(file)) fail(file, "no such file");
  return isPnm(file) ? readPnm(file) : readPng(file);
}

void writePicture(const fs::path& file, const Picture& picture) {
  if (isPnm(file)) {
    std::ofstream out(file, std::ios::binary);
    out << (picture.channels == 1 ? "P5\n" : "P6\n") << picture.width << ' ' << picture.height << "\n255\n";
    out.write(reinterpret_cast<const char*>(picture.pixels.data()),
              static_cast<std::streamsize>(picture.pixels.size()));
    if (!out.flush()) fail(file, "cannot be written");
    return;
  }
  png_image image = pngImage(picture);
  if (!png_image_write_to_file(&image, file.c_str(), 0, picture.pixels.data(), 0, nullptr)) fail(file, image.message);
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

// Four quarters on one canvas: a sky-like gradient with a disc, lines of glyph-like marks, a wheel of saturated
// sectors, and a textured ground; grain over everything.
Picture paintPicture(int32_t width, int32_t height, int32_t channels) {
  Picture picture(width, height, 3);
  const int32_t halfW = std::max(1, width / 2), halfH = std::max(1, height / 2);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const int32_t u = x % halfW, v = y % halfH;
      const auto ux = static_cast<uint32_t>(x), uy = static_cast<uint32_t>(y);
      int32_t rgb[3];
      if (x < halfW && y < halfH) {
        const int32_t fade = v * 255 / halfH, dx = u - halfW * 2 / 3, dy = v - halfH / 3;
        rgb[0] = 70 + fade / 2, rgb[1] = 120 + fade / 3, rgb[2] = 220 - fade / 5;
        const int32_t radius = std::min(halfW, halfH) / 5, distance = dx * dx + dy * dy;
        if (distance < radius * radius) rgb[0] = 250, rgb[1] = 215 - distance * 60 / (radius * radius + 1), rgb[2] = 90;
      } else if (y < halfH) {
        const uint32_t mark = hash(ux / 8, uy / 14);
        const int32_t column = x % 8, line = y % 14;
        const bool ink = line > 1 && line < 11 && column < 6 && mark % 5 &&
                         (mark >> (3 * (line / 3) + column / 2) & 1 || (column == 1 && mark & 64));
        const int32_t paper = 236 + static_cast<int32_t>(hash(ux / 64, uy / 64) % 8);
        rgb[0] = ink ? 24 : paper, rgb[1] = ink ? 26 : paper - 4, rgb[2] = ink ? 40 : paper - 14;
      } else if (x < halfW) {
        const int32_t dx = u - halfW / 2, dy = v - halfH / 2;
        const int32_t sector = (dx > 0) + 2 * (dy > 0) + 4 * (std::abs(dx) > std::abs(dy));
        const int32_t ring = (dx * dx + dy * dy) / std::max(1, halfW * halfH / 24) % 2;
        rgb[0] = sector & 1 ? 240 : 12, rgb[1] = sector & 2 ? 228 : 16, rgb[2] = sector & 4 ? 236 : 20;
        if (ring)
          for (int32_t& c : rgb) c = 255 - c;
      } else {
        const int32_t coarse = static_cast<int32_t>(hash(ux / 16, uy / 16) % 48);
        const int32_t fine = static_cast<int32_t>(hash(ux / 2, uy / 3) % 56);
        const int32_t wave = (u * u / 97 + v * v / 61) % 64;
        rgb[0] = 60 + coarse + fine / 2, rgb[1] = 90 + wave + fine, rgb[2] = 30 + coarse / 2 + wave / 2;
      }
      for (int32_t c = 0; c < 3; ++c) {
        const int32_t noisy = rgb[c] + grain(ux * 3 + static_cast<uint32_t>(c), uy);
        picture.row(y)[x * 3 + c] = static_cast<uint8_t>(std::clamp(noisy, 0, 255));
      }
    }
  }
  return channels == 1 ? toGrey(picture) : picture;
}

Picture toGrey(const Picture& rgb) {
  Picture grey(rgb.width, rgb.height, 1);
  for (size_t i = 0; i < grey.pixels.size(); ++i) {
    const uint8_t* p = rgb.pixels.data() + 3 * i;
    grey.pixels[i] = static_cast<uint8_t>((299 * p[0] + 587 * p[1] + 114 * p[2] + 500) / 1000);
  }
  return grey;
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
