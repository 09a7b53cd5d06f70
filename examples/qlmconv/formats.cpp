#include "formats.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <fstream>
#include <iterator>

#include "jpeg2000/jpeg2000_reader.h"
#include "jpegxr/jxr_reader.h"
#include "tiff/tiff_file.h"

namespace qlmconv {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& file, const std::string& why) {
  throw std::runtime_error(file.string() + ": " + why);
}

// In small letters, without the dot.
std::string extensionOf(const fs::path& file) {
  std::string extension = file.extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
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

ReadResult readPlain(const fs::path& file, const ReadOptions&) { return {sample::readAnyPicture(file), {}, {}}; }

// These formats have no CMYK.
sample::AnyPicture withoutCmyk(const sample::AnyPicture& picture) {
  if (channelsOf(picture) != 4) return picture;
  return sample::toRgb(sample::to8Bits(picture));
}

void writePlain(const fs::path& file, const sample::AnyPicture& picture) {
  std::visit([&](const auto& p) { sample::writePicture(file, p); }, withoutCmyk(picture));
}

void writePng(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions&) {
  writePlain(file, picture);
}

void writePgm(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions&) {
  writePlain(file, toGrey(picture));
}

void writePpm(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions&) {
  const auto* deep = std::get_if<sample::Picture16>(&picture);
  if (deep && deep->channels == 3)
    sample::writePicture(file, *deep);
  else
    sample::writePicture(file, sample::toRgb(sample::to8Bits(picture)));
}

ReadResult readJpegFile(const fs::path& file, const ReadOptions& options) {
  ReadResult result;
  try {
    const std::vector<uint8_t> bytes = readBytes(file);
    if (sample::readJpegFrame(bytes).precision != 8) result.picture = sample::Picture16();
    std::visit([&](auto& picture) { sample::readJpeg(bytes, picture, options); }, result.picture);
  } catch (const sample::JpegDamaged& damage) {
    result.warning = damage.what();
  } catch (const sample::JpegError& error) {
    fail(file, error.what());
  }
  return result;
}

void writeJpegFile(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions& options) {
  writeBytes(file, std::visit([&](const auto& p) { return sample::writeJpeg(p, options); }, picture));
}

ReadResult readJpeg2000File(const fs::path& file, const ReadOptions& options) {
  try {
    const sample::Jpeg2000Image image = sample::readJpeg2000Planes(
        readBytes(file), {.discardLevels = std::countr_zero(static_cast<uint32_t>(options.scale)),
                          .layers = options.layers,
                          .threads = options.threads,
                          .progress = options.progress});
    return {sample::toPicture(image), image.warning, {}};
  } catch (const sample::Jpeg2000Error& error) {
    fail(file, error.what());
  }
}

void writeJpeg2000File(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions& options) {
  sample::Jpeg2000WriteOptions writing = options.jpeg2000;
  writing.progress = options.progress;
  if (extensionOf(file) != "jp2") writing.container = sample::Jpeg2000Container::kCodestream;
  const auto bytes = [&](const auto& p) { return sample::writeJpeg2000(p, writing); };
  try {
    writeBytes(file, std::visit(bytes, picture));
  } catch (const sample::Jpeg2000Error& error) {
    fail(file, error.what());
  }
}

ReadResult readJxrFile(const fs::path& file, const ReadOptions&) {
  ReadResult result;
  try {
    const std::vector<uint8_t> bytes = readBytes(file);
    if (sample::readJxrHeader(bytes).bits != 8) result.picture = sample::Picture16();
    std::visit([&](auto& picture) { sample::readJxr(bytes, picture); }, result.picture);
  } catch (const sample::JxrDamaged& damage) {
    result.warning = damage.what();
  } catch (const sample::JxrError& error) {
    fail(file, error.what());
  }
  return result;
}

void writeJxrFile(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions& options) {
  const sample::AnyPicture pixels = toBits(withoutCmyk(picture), bitsOf(picture) > 8 ? 16 : 8);
  writeBytes(file, std::visit([&](const auto& p) { return sample::writeJxr(p, options.jxr); }, pixels));
}

ReadResult readTiffFile(const fs::path& file, const ReadOptions&) {
  try {
    sample::Picture16 picture = sample::readTiff(readBytes(file));
    if (picture.bits == 8) return {sample::to8Bits(picture), {}, {}};
    return {std::move(picture), {}, {}};
  } catch (const sample::TiffError& error) {
    fail(file, error.what());
  }
}

void writeTiffFile(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions&) {
  const auto bytes = [](const auto& p) { return sample::writeTiff(sample::toBits(p, bitsOf(p) > 8 ? 16 : 8)); };
  writeBytes(file, std::visit(bytes, withoutCmyk(picture)));
}

ReadResult readDdsFile(const fs::path& file, const ReadOptions&) {
  try {
    const sample::Texture texture = sample::readDds(readBytes(file));
    ReadResult result{sample::decodeTexture(texture), {}, {}};
    if (sample::isHalf(texture.format)) result.half = sample::decodeHalf(texture.levels[0], texture.format);
    return result;
  } catch (const sample::DdsError& error) {
    fail(file, error.what());
  }
}

void writeDdsFile(const fs::path& file, const sample::AnyPicture& picture, const WriteOptions& options) {
  const sample::Picture pixels = sample::to8Bits(withoutCmyk(picture));
  const sample::Bc7Options bc7{options.bc7Modes, options.progress};
  writeBytes(file,
             sample::writeDds(sample::encodeTexture(pixels, options.texture, options.mipmaps, bc7), options.header));
}

ReadResult readPfm(const fs::path& file, const ReadOptions&) { fail(file, "PFM is only written"); }

void writePfm(const fs::path& file, const sample::AnyPicture&, const WriteOptions&) {
  fail(file, "only BC6 textures have floats to write");
}

void writePfmOfHalf(const fs::path& file, const sample::HalfPicture& picture) {
  writeBytes(file, sample::writePfm(picture));
}

const Format kFormats[]{
    {{"png"}, readPlain, writePng},
    {{"ppm"}, readPlain, writePpm},
    {{"pgm"}, readPlain, writePgm},
    {{"jpg", "jpeg"}, readJpegFile, writeJpegFile},
    {{"jp2", "j2k", "j2c"}, readJpeg2000File, writeJpeg2000File},
    {{"jxr", "wdp"}, readJxrFile, writeJxrFile},
    {{"tif", "tiff"}, readTiffFile, writeTiffFile},
    {{"dds"}, readDdsFile, writeDdsFile},
    {{"pfm"}, readPfm, writePfm, writePfmOfHalf},
};

}  // namespace

const Format* findFormat(const fs::path& file) {
  const std::string extension = extensionOf(file);
  const auto found = std::ranges::find_if(
      kFormats, [&](const Format& format) { return std::ranges::count(format.extensions, extension) > 0; });
  return found == std::end(kFormats) ? nullptr : found;
}

int32_t channelsOf(const sample::AnyPicture& picture) {
  return std::visit([](const auto& p) { return p.channels; }, picture);
}

int32_t bitsOf(const sample::AnyPicture& picture) {
  const auto* deep = std::get_if<sample::Picture16>(&picture);
  return deep ? deep->bits : 8;
}

sample::AnyPicture toGrey(const sample::AnyPicture& picture) {
  const auto* deep = std::get_if<sample::Picture16>(&picture);
  if (channelsOf(picture) == 1) return picture;
  if (deep && deep->channels == 3) return sample::toGrey(*deep);
  return sample::toGrey(sample::toRgb(sample::to8Bits(picture)));
}

sample::AnyPicture toBits(const sample::AnyPicture& picture, int32_t bits) {
  if (bitsOf(picture) == bits) return picture;
  if (bits == 8) return sample::to8Bits(picture);
  return std::visit([&](const auto& p) -> sample::AnyPicture { return sample::toBits(p, bits); }, picture);
}

std::string listFormats() {
  std::string list;
  for (const Format& format : kFormats)
    for (const std::string_view extension : format.extensions)
      list += (list.empty() ? "" : ", ") + std::string(extension);
  return list;
}

}  // namespace qlmconv
