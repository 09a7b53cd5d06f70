// The file formats of the converter, in one table.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpegxr/jxr_writer.h"
#include "texture/texture_codec.h"

namespace qlmconv {

struct ReadOptions : sample::JpegReadOptions {
  int32_t layers = 0;   // of JPEG 2000 that are read, 0 for all
  int32_t threads = 0;  // that read JPEG 2000, 0 for all processors
};

struct ReadResult {
  sample::AnyPicture picture;
  std::string warning;                           // why the picture is not whole; empty where it is
  std::optional<sample::HalfPicture> half = {};  // where the file has floats, of which `picture` is a cut
};

struct WriteOptions : sample::JpegWriteOptions {
  sample::TextureFormat texture = sample::TextureFormat::kDxt1;
  sample::DdsHeader header = sample::DdsHeader::kFourCc;
  bool mipmaps = false;
  std::vector<uint32_t> bc7Modes = sample::Bc7Options().modes;
  sample::Jpeg2000WriteOptions jpeg2000 = {};
  sample::JxrWriteOptions jxr = {};
};

struct Format {
  std::vector<std::string_view> extensions;
  ReadResult (*read)(const std::filesystem::path& file, const ReadOptions& options);
  void (*write)(const std::filesystem::path& file, const sample::AnyPicture& picture, const WriteOptions& options);
  void (*writeHalf)(const std::filesystem::path& file, const sample::HalfPicture& picture) = nullptr;
};

// By the extension of the file, in any case; null where it is unknown.
const Format* findFormat(const std::filesystem::path& file);

// "png, ppm, ..."
std::string listFormats();

int32_t channelsOf(const sample::AnyPicture& picture);
int32_t bitsOf(const sample::AnyPicture& picture);
sample::AnyPicture toGrey(const sample::AnyPicture& picture);
sample::AnyPicture toBits(const sample::AnyPicture& picture, int32_t bits);

}  // namespace qlmconv
