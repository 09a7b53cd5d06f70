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

Picture toGrey(const Picture& rgb) {
  Picture grey(rgb.width, rgb.height, 1);
  for (size_t i = 0; i < grey.pixels.size(); ++i) {
    const uint8_t* p = rgb.pixels.data() + 3 * i;
    grey.pixels[i] = static_cast<uint8_t>((299 * p[0] + 587 * p[1] + 114 * p[2] + 500) / 1000);
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
