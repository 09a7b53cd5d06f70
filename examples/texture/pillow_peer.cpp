#include "texture/pillow_peer.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace sample {

std::vector<uint8_t> pillowRead(const std::vector<uint8_t>& file) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / ("qlmjp-dds-" + std::to_string(getpid()));
  fs::create_directories(folder);
  std::ofstream(folder / "in.dds", std::ios::binary)
      .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
  const std::string command =
      std::string(DDS_READ " '") + (folder / "in.dds").string() + "' '" + (folder / "out").string() + "'";
  const bool done = std::system(command.c_str()) == 0;
  std::ifstream in(folder / "out", std::ios::binary);
  std::vector<uint8_t> pixels(std::istreambuf_iterator<char>(in), {});
  in.close();
  fs::remove_all(folder);
  if (!done) throw std::runtime_error("Pillow (python3-pil) did not read the file");
  return pixels;
}

}  // namespace sample
