// The file formats of the converter, in one table.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace qlmconv {

struct ReadResult {
  sample::AnyPicture picture;
  std::string warning;  // why the picture is not whole; empty where it is
};

struct Format {
  std::vector<std::string_view> extensions;
  ReadResult (*read)(const std::filesystem::path& file, const sample::JpegReadOptions& options);
  void (*write)(const std::filesystem::path& file, const sample::AnyPicture& picture,
                const sample::JpegWriteOptions& options);
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
