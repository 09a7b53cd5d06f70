#include "formats.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

#include "tiff/tiff_file.h"

namespace qlmconv {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& file, const std::string& why) {
  throw std::runtime_error(file.string() + ": " + why);
}

std::vector<uint8_t> readBytes(const fs::path& file) {
  if (!fs::exists(file)) fail(file, "no such file");
  std::ifstream in(file, std::ios::binary);
  if (!in || fs::is_directory(file)) fail(file, "cannot be opened");
  std::vector<uint8_t> bytes(fs::is_regular_file(file) ? fs::file_size(file) : 0);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(in.gcount()));
  bytes.insert(bytes.end(), std::istreambuf_iterator<char>(in), {});  // what a pipe has to give
  return bytes;
}

void writeBytes(const fs::path& file, const std::vector<uint8_t>& bytes) {
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out.flush()) fail(file, "cannot be written");
}

ReadResult readPlain(const fs::path& file, const sample::JpegReadOptions&) { return {sample::readPicture(file), {}}; }

// These formats have no CMYK.
void writePng(const fs::path& file, const sample::Picture& picture, const sample::JpegWriteOptions&) {
  sample::writePicture(file, picture.channels == 4 ? sample::toRgb(picture) : picture);
}

void writePgm(const fs::path& file, const sample::Picture& picture, const sample::JpegWriteOptions&) {
  sample::writePicture(file, picture.channels == 1 ? picture : sample::toGrey(sample::toRgb(picture)));
}

void writePpm(const fs::path& file, const sample::Picture& picture, const sample::JpegWriteOptions&) {
  sample::writePicture(file, sample::toRgb(picture));
}

ReadResult readJpegFile(const fs::path& file, const sample::JpegReadOptions& options) {
  ReadResult result;
  try {
    sample::readJpeg(readBytes(file), result.picture, options);
  } catch (const sample::JpegDamaged& damage) {
    result.warning = damage.what();
  } catch (const sample::JpegError& error) {
    fail(file, error.what());
  }
  return result;
}

void writeJpegFile(const fs::path& file, const sample::Picture& picture, const sample::JpegWriteOptions& options) {
  writeBytes(file, sample::writeJpeg(picture, options));
}

ReadResult readTiffFile(const fs::path& file, const sample::JpegReadOptions&) {
  try {
    return {sample::fromTiff(sample::readTiff(readBytes(file))), {}};
  } catch (const sample::TiffError& error) {
    fail(file, error.what());
  }
}

void writeTiffFile(const fs::path& file, const sample::Picture& picture, const sample::JpegWriteOptions&) {
  writeBytes(file, sample::writeTiff(sample::toTiff(picture.channels == 4 ? sample::toRgb(picture) : picture)));
}

const Format kFormats[]{
    {{"png"}, readPlain, writePng},
    {{"ppm"}, readPlain, writePpm},
    {{"pgm"}, readPlain, writePgm},
    {{"jpg", "jpeg"}, readJpegFile, writeJpegFile},
    {{"tif", "tiff"}, readTiffFile, writeTiffFile},
};

}  // namespace

const Format* findFormat(const fs::path& file) {
  std::string extension = file.extension().string();
  if (extension.empty()) return nullptr;
  extension.erase(0, 1);
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const auto found = std::ranges::find_if(
      kFormats, [&](const Format& format) { return std::ranges::count(format.extensions, extension) > 0; });
  return found == std::end(kFormats) ? nullptr : found;
}

std::string listFormats() {
  std::string list;
  for (const Format& format : kFormats)
    for (const std::string_view extension : format.extensions)
      list += (list.empty() ? "" : ", ") + std::string(extension);
  return list;
}

}  // namespace qlmconv
