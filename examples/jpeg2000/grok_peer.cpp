#include "jpeg2000/grok_peer.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace sample {
namespace {

namespace fs = std::filesystem;

// Runs the program on a file of the one kind to one of the other.
std::vector<uint8_t> run(const std::string& program, std::span<const uint8_t> bytes, const std::string& from,
                         const std::string& to) {
  static int calls = 0;
  const fs::path folder =
      fs::temp_directory_path() / ("qlmjp-grok-" + std::to_string(getpid()) + "-" + std::to_string(calls++));
  fs::create_directories(folder);
  struct Remover {
    const fs::path& folder;
    ~Remover() { fs::remove_all(folder); }
  } remover{folder};
  const std::string in = (folder / ("in." + from)).string(), out = (folder / ("out." + to)).string();
  std::ofstream(in, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  FILE* pipe = popen((program + " -i '" + in + "' -o '" + out + "' 2>&1").c_str(), "r");
  if (!pipe) throw std::runtime_error("no shell");
  std::string said;
  char buffer[512];
  while (const size_t size = std::fread(buffer, 1, sizeof buffer, pipe)) said.append(buffer, size);
  if (pclose(pipe) != 0 || !said.empty()) throw std::runtime_error("Grok: " + said);
  std::ifstream result(out, std::ios::binary);
  return {std::istreambuf_iterator<char>(result), {}};
}

}  // namespace

Picture16 grokDecode(std::span<const uint8_t> file, const Picture16& like) {
  const bool jp2 = file.size() > 4 && file[0] == 0;
  // Component after component, the low byte first.
  const std::vector<uint8_t> raw = run(GRK_DECOMPRESS, file, jp2 ? "jp2" : "j2k", "rawl");
  const size_t bytes = like.bits > 8 ? 2 : 1, channels = static_cast<size_t>(like.channels);
  if (raw.size() != bytes * like.samples.size()) throw std::runtime_error("Grok: another shape");
  Picture16 picture(like.width, like.height, like.channels, like.bits);
  size_t at = 0;
  for (size_t c = 0; c < channels; ++c)
    for (size_t i = c; i < picture.samples.size(); i += channels, at += bytes)
      picture.samples[i] = static_cast<uint16_t>(raw[at] | (bytes == 2 ? raw[at + 1] << 8 : 0));
  return picture;
}

std::vector<uint8_t> grokEncode(const Picture16& picture, const std::string& options) {
  std::vector<uint8_t> raw;
  for (size_t c = 0; c < static_cast<size_t>(picture.channels); ++c)
    for (size_t i = c; i < picture.samples.size(); i += static_cast<size_t>(picture.channels)) {
      raw.push_back(static_cast<uint8_t>(picture.samples[i]));
      if (picture.bits > 8) raw.push_back(static_cast<uint8_t>(picture.samples[i] >> 8));
    }
  const std::string shape = " -F " + std::to_string(picture.width) + "," + std::to_string(picture.height) + "," +
                            std::to_string(picture.channels) + "," + std::to_string(picture.bits) + ",u ";
  return run(GRK_COMPRESS + shape + options, raw, "rawl", "j2k");
}

}  // namespace sample
