#include "jpegxr/jxrlib_peer.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace sample {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

// A folder that is gone afterwards.
class Folder {
 public:
  Folder() {
    static int calls = 0;
    path_ = fs::temp_directory_path() / ("qlmjp-jxr-" + std::to_string(getpid()) + "-" + std::to_string(calls++));
    fs::create_directories(path_);
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  fs::path operator/(const char* name) const { return path_ / name; }

 private:
  fs::path path_;
};

void save(const fs::path& file, std::span<const uint8_t> bytes) {
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes load(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void run(const std::string& program, const fs::path& in, const fs::path& out, const std::string& options) {
  FILE* pipe =
      popen((program + " -i '" + in.string() + "' -o '" + out.string() + "' " + options + " 2>&1").c_str(), "r");
  if (!pipe) throw std::runtime_error("no shell");
  std::string said;
  char buffer[512];
  while (const size_t size = std::fread(buffer, 1, sizeof buffer, pipe)) said.append(buffer, size);
  if (pclose(pipe) != 0) throw std::runtime_error("jxrlib: it does not take the file; " + said);
}

// The programs have samples of 16 bits in the byte order of the machine, other than PNM files elsewhere.
template <typename Samples>
Bytes pnm(int32_t width, int32_t height, int32_t channels, const Samples& samples) {
  const size_t each = sizeof samples[0];
  const std::string header = std::string(channels == 1 ? "P5" : "P6") + '\n' + std::to_string(width) + ' ' +
                             std::to_string(height) + '\n' + (each == 1 ? "255\n" : "65535\n");
  Bytes bytes(header.begin(), header.end());
  bytes.resize(header.size() + each * samples.size());
  std::memcpy(&bytes[header.size()], samples.data(), each * samples.size());
  return bytes;
}

}  // namespace

std::vector<uint8_t> jxrlibWrite(const AnyPicture& picture, const std::string& options) {
  const Folder folder;
  if (const auto* p = std::get_if<Picture>(&picture))
    save(folder / "in.pnm", pnm(p->width, p->height, p->channels, p->pixels));
  else if (const auto* deep = std::get_if<Picture16>(&picture))
    save(folder / "in.pnm", pnm(deep->width, deep->height, deep->channels, deep->samples));
  run(JXR_ENC_APP, folder / "in.pnm", folder / "out.jxr", options);
  return load(folder / "out.jxr");
}

AnyPicture jxrlibRead(std::span<const uint8_t> file) {
  const Folder folder;
  save(folder / "in.jxr", file);
  run(JXR_DEC_APP, folder / "in.jxr", folder / "out.pnm", "");
  const Bytes bytes = load(folder / "out.pnm");
  const std::string text(bytes.begin(), bytes.begin() + std::min<ptrdiff_t>(64, std::ssize(bytes)));
  int32_t width = 0, height = 0, most = 0, at = 0;
  if (std::sscanf(text.c_str(), "P%*c\n%d %d\n%d%n", &width, &height, &most, &at) != 3)
    throw std::runtime_error("jxrlib: no picture came out");
  // Its header does not tell grey from colour at 16 bits, but its size does.
  const auto pixels = std::span(bytes).subspan(static_cast<size_t>(at) + 1);
  const auto each = static_cast<int32_t>(pixels.size() / (static_cast<size_t>(width) * static_cast<size_t>(height)));
  if (most == 255) {
    Picture picture(width, height, each);
    std::memcpy(picture.pixels.data(), pixels.data(), picture.pixels.size());
    return picture;
  }
  Picture16 picture(width, height, each / 2, 16);
  std::memcpy(picture.samples.data(), pixels.data(), 2 * picture.samples.size());
  return picture;
}

}  // namespace sample
