#include "jpeg/dcmtk_peer.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace sample {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

constexpr const char* kRaw = "1.2.840.10008.1.2.1";
constexpr const char* kSecondaryCapture = "1.2.840.10008.5.1.4.1.1.7";
constexpr const char* kInstance = "1.2.826.0.1.3680043.2.1143.1";

void put16(Bytes& out, uint32_t v) { out.insert(out.end(), {uint8_t(v), uint8_t(v >> 8)}); }
void put32(Bytes& out, uint32_t v) { put16(out, v & 0xFFFF), put16(out, v >> 16); }

// Elements of explicit VR, little endian; values of odd length are padded.
void putElement(Bytes& out, uint32_t group, uint32_t element, const char* vr, Bytes value, uint8_t padding = 0) {
  if (value.size() % 2) value.push_back(padding);
  put16(out, group), put16(out, element);
  out.insert(out.end(), vr, vr + 2);
  if (vr[0] == 'O')
    put16(out, 0), put32(out, static_cast<uint32_t>(value.size()));
  else
    put16(out, static_cast<uint32_t>(value.size()));
  out.insert(out.end(), value.begin(), value.end());
}
Bytes text(const std::string& value) { return {value.begin(), value.end()}; }
void putWord(Bytes& out, uint32_t element, int32_t value) {
  Bytes bytes;
  put16(bytes, static_cast<uint32_t>(value));
  putElement(out, 0x0028, element, "US", bytes);
}

struct Shape {
  int32_t width, height, channels, bits;
};

// All of a file before its pixel data.
Bytes dicomHeader(const Shape& shape, const std::string& transferSyntax) {
  Bytes meta;
  putElement(meta, 2, 0x0001, "OB", {0, 1});
  putElement(meta, 2, 0x0002, "UI", text(kSecondaryCapture));
  putElement(meta, 2, 0x0003, "UI", text(kInstance));
  putElement(meta, 2, 0x0010, "UI", text(transferSyntax));
  putElement(meta, 2, 0x0012, "UI", text(kInstance));
  Bytes out(128);
  for (const char c : {'D', 'I', 'C', 'M'}) out.push_back(static_cast<uint8_t>(c));
  Bytes length;
  put32(length, static_cast<uint32_t>(meta.size()));
  putElement(out, 2, 0x0000, "UL", length);
  out.insert(out.end(), meta.begin(), meta.end());
  putElement(out, 0x0008, 0x0016, "UI", text(kSecondaryCapture));
  putElement(out, 0x0008, 0x0018, "UI", text(kInstance));
  putWord(out, 0x0002, shape.channels);
  putElement(out, 0x0028, 0x0004, "CS", text(shape.channels == 1 ? "MONOCHROME2" : "RGB"), ' ');
  if (shape.channels > 1) putWord(out, 0x0006, 0);  // interleaved
  putWord(out, 0x0010, shape.height), putWord(out, 0x0011, shape.width);
  putWord(out, 0x0100, shape.bits > 8 ? 16 : 8), putWord(out, 0x0101, shape.bits), putWord(out, 0x0102, shape.bits - 1);
  putWord(out, 0x0103, 0);  // unsigned
  return out;
}

size_t pixelData(const Bytes& file) {
  const Bytes tag{0xE0, 0x7F, 0x10, 0x00, 'O'};
  const auto found = std::search(file.begin(), file.end(), tag.begin(), tag.end());
  if (found == file.end()) throw std::runtime_error("DCMTK: no pixel data");
  return static_cast<size_t>(found - file.begin()) + 8;  // to the length
}

uint32_t at32(const Bytes& bytes, size_t at) {
  return uint32_t(bytes.at(at)) | uint32_t(bytes.at(at + 1)) << 8 | uint32_t(bytes.at(at + 2)) << 16 |
         uint32_t(bytes.at(at + 3)) << 24;
}

// Runs a program from one file to another in a folder that is gone afterwards.
Bytes run(const std::string& program, const Bytes& input) {
  static int calls = 0;
  const fs::path folder =
      fs::temp_directory_path() / ("qlmjp-dcmtk-" + std::to_string(getpid()) + "-" + std::to_string(calls++));
  fs::create_directories(folder);
  struct Remover {
    const fs::path& folder;
    ~Remover() { fs::remove_all(folder); }
  } remover{folder};
  std::ofstream(folder / "in", std::ios::binary)
      .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
  FILE* pipe =
      popen((program + " '" + (folder / "in").string() + "' '" + (folder / "out").string() + "' 2>&1").c_str(), "r");
  if (!pipe) throw std::runtime_error("no shell");
  std::string said;
  char buffer[512];
  while (const size_t size = std::fread(buffer, 1, sizeof buffer, pipe)) said.append(buffer, size);
  if (pclose(pipe) != 0) throw std::runtime_error("DCMTK: " + said);
  std::ifstream in(folder / "out", std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

std::vector<uint8_t> dcmtkWrite(const Picture16& picture, const std::string& options) {
  Bytes file = dicomHeader({picture.width, picture.height, picture.channels, picture.bits}, kRaw);
  Bytes pixels;
  for (const uint16_t v : picture.samples)
    if (picture.bits > 8)
      put16(pixels, v);
    else
      pixels.push_back(static_cast<uint8_t>(v));
  putElement(file, 0x7FE0, 0x0010, "OW", pixels);
  const Bytes coded = run(DCMCJPEG " " + options, file);
  // Behind the undefined length: an item with offsets, then one with the picture.
  size_t item = pixelData(coded) + 4;
  item += 8 + at32(coded, item + 4);
  const uint32_t length = at32(coded, item + 4);
  const auto begin = coded.begin() + static_cast<ptrdiff_t>(item) + 8;
  return {begin, begin + length};
}

Picture16 dcmtkRead(std::span<const uint8_t> file, int32_t width, int32_t height, int32_t channels, int32_t bits,
                    DcmtkProcess process) {
  const char* syntax = process == DcmtkProcess::kExtended      ? "1.2.840.10008.1.2.4.51"
                       : process == DcmtkProcess::kProgressive ? "1.2.840.10008.1.2.4.55"
                                                               : "1.2.840.10008.1.2.4.57";
  Bytes in = dicomHeader({width, height, channels, bits}, syntax);
  put16(in, 0x7FE0), put16(in, 0x0010);
  in.insert(in.end(), {'O', 'B', 0, 0});
  put32(in, 0xFFFFFFFF);
  const auto putItem = [&](uint32_t element, size_t length) {
    put16(in, 0xFFFE), put16(in, element), put32(in, static_cast<uint32_t>(length));
  };
  putItem(0xE000, 0);
  putItem(0xE000, file.size() + file.size() % 2);
  in.insert(in.end(), file.begin(), file.end());
  if (file.size() % 2) in.push_back(0);
  putItem(0xE0DD, 0);

  const Bytes out = run(DCMDJPEG " +cn", in);
  const size_t length = pixelData(out);
  Picture16 picture(width, height, channels, bits);
  const size_t each = bits > 8 ? 2 : 1;
  if (at32(out, length) < each * picture.samples.size()) throw std::runtime_error("DCMTK: too few pixels");
  for (size_t i = 0; i < picture.samples.size(); ++i) {
    const size_t at = length + 4 + each * i;
    picture.samples[i] = static_cast<uint16_t>(each == 2 ? out.at(at) | out.at(at + 1) << 8 : out.at(at));
  }
  return picture;
}

}  // namespace sample
