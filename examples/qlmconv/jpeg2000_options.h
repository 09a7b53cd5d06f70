// The options of the converter that tell how a JPEG 2000 file is written.
#pragma once

#include <CLI/CLI.hpp>

#include <optional>

#include "jpeg2000/bands.h"
#include "jpeg2000/jpeg2000_writer.h"

namespace qlmconv {

// What is given, as far as it is not at once in the options of the writer.
struct Jpeg2000Words {
  std::vector<double> rates, psnrs;
  std::string tile, block;
  std::vector<std::string> precincts;
  std::vector<int32_t> styles;
};

void addJpeg2000Options(CLI::App& app, Jpeg2000Words& words, sample::Jpeg2000WriteOptions& options);

// Once the command line is parsed. Throws CLI::ValidationError. Without a wavelet, a lossless file gets 5/3.
void takeJpeg2000Words(const Jpeg2000Words& words, bool lossless, std::optional<sample::Wavelet> wavelet,
                       sample::Jpeg2000WriteOptions& options);

}  // namespace qlmconv
