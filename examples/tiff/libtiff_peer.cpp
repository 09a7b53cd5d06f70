#include "tiff/libtiff_peer.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace sample {
namespace {

struct Memory {
  std::vector<uint8_t> bytes;
  size_t position = 0;
};
Memory& memoryOf(thandle_t handle) { return *static_cast<Memory*>(handle); }

tmsize_t readMemory(thandle_t handle, void* out, tmsize_t count) {
  Memory& m = memoryOf(handle);
  const size_t n = std::min(static_cast<size_t>(count), m.bytes.size() - std::min(m.position, m.bytes.size()));
  if (n > 0) std::memcpy(out, m.bytes.data() + m.position, n);
  m.position += n;
  return static_cast<tmsize_t>(n);
}
tmsize_t writeMemory(thandle_t handle, void* in, tmsize_t count) {
  Memory& m = memoryOf(handle);
  const auto n = static_cast<size_t>(count);
  m.bytes.resize(std::max(m.bytes.size(), m.position + n));
  std::memcpy(m.bytes.data() + m.position, in, n);
  m.position += n;
  return count;
}
toff_t seekMemory(thandle_t handle, toff_t offset, int from) {
  Memory& m = memoryOf(handle);
  m.position = offset + (from == SEEK_CUR ? m.position : from == SEEK_END ? m.bytes.size() : 0);
  return m.position;
}
int closeMemory(thandle_t) { return 0; }
toff_t sizeOfMemory(thandle_t handle) { return memoryOf(handle).bytes.size(); }

std::string& lastMessage() {
  static std::string message;
  return message;
}
void keepMessage(const char*, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  lastMessage() = text;
}
void require(bool holds) {
  if (!holds) throw std::runtime_error("libtiff: " + lastMessage());
}

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;
Tiff open(Memory& memory, const char* mode) {
  TIFFSetErrorHandler(keepMessage);
  TIFFSetWarningHandler(nullptr);
  Tiff tiff(TIFFClientOpen("memory", mode, &memory, readMemory, writeMemory, seekMemory, closeMemory, sizeOfMemory,
                           nullptr, nullptr),
            TIFFClose);
  require(tiff != nullptr);
  return tiff;
}

struct Shape {
  int32_t width, height, channels, bits, rowsPerStrip;
};

template <typename WriteStrips>
std::vector<uint8_t> write(const Shape& shape, const WriteStrips& writeStrips) {
  Memory memory;
  {
    const Tiff tiff = open(memory, "w");
    TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(shape.width));
    TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(shape.height));
    TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, shape.bits);
    TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, shape.channels);
    TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, shape.channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff.get(), TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(tiff.get(), TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(shape.rowsPerStrip));
    require(writeStrips(tiff.get()) >= 0);
  }
  return memory.bytes;
}

Shape oneStrip(int32_t width, int32_t height) { return {width, height, 1, 8, height}; }

template <typename T>
T field(TIFF* tiff, uint32_t tag) {
  T value{};
  require(TIFFGetFieldDefaulted(tiff, tag, &value) != 0);
  return value;
}

}  // namespace

std::vector<uint8_t> peerWriteTiff(const Picture16& picture, int32_t rowsPerStrip) {
  const Shape shape{picture.width, picture.height, picture.channels, picture.bits, rowsPerStrip};
  return write(shape, [&](TIFF* tiff) {
    const int32_t perRow = picture.width * picture.channels;
    for (int32_t y = 0; y < picture.height; ++y) {
      const auto first = picture.samples.begin() + ptrdiff_t{perRow} * y;
      std::vector<uint16_t> wide(first, first + perRow);
      std::vector<uint8_t> narrow(first, first + perRow);
      void* row = picture.bits == 16 ? static_cast<void*>(wide.data()) : narrow.data();
      if (TIFFWriteScanline(tiff, row, static_cast<uint32_t>(y), 0) < 0) return -1;
    }
    return 0;
  });
}

Picture16 peerReadTiff(std::span<const uint8_t> file) {
  Memory memory{{file.begin(), file.end()}, 0};
  const Tiff tiff = open(memory, "r");
  const auto channels = field<uint16_t>(tiff.get(), TIFFTAG_SAMPLESPERPIXEL);
  const bool planes = field<uint16_t>(tiff.get(), TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE && channels == 2;
  const auto bits = field<uint16_t>(tiff.get(), TIFFTAG_BITSPERSAMPLE);
  Picture16 picture(static_cast<int32_t>(field<uint32_t>(tiff.get(), TIFFTAG_IMAGEWIDTH)),
                    static_cast<int32_t>(field<uint32_t>(tiff.get(), TIFFTAG_IMAGELENGTH)), planes ? 1 : channels,
                    planes ? 16 : bits);
  const size_t perRow = static_cast<size_t>(picture.width) * static_cast<size_t>(picture.channels);
  std::vector<uint16_t> row(static_cast<size_t>(TIFFScanlineSize(tiff.get())) / 2 + 1);
  for (uint16_t plane = 0; plane < (planes ? 2 : 1); ++plane) {
    for (int32_t y = 0; y < picture.height; ++y) {
      require(TIFFReadScanline(tiff.get(), row.data(), static_cast<uint32_t>(y), plane) > 0);
      uint16_t* to = picture.samples.data() + perRow * static_cast<size_t>(y);
      const auto* bytes = reinterpret_cast<const uint8_t*>(row.data());
      for (size_t i = 0; i < perRow; ++i) {
        if (planes)
          to[i] = static_cast<uint16_t>(to[i] << 8 | bytes[i]);  // high bytes first, then low ones
        else
          to[i] = bits == 16 ? row[i] : bytes[i];
      }
    }
  }
  return picture;
}

std::vector<uint8_t> tiffWrite(const Picture& grey) {
  return write(oneStrip(grey.width, grey.height), [&](TIFF* tiff) {
    std::vector<uint8_t> pixels = grey.pixels;
    return TIFFWriteEncodedStrip(tiff, 0, pixels.data(), static_cast<tmsize_t>(pixels.size()));
  });
}

std::vector<uint8_t> tiffWritePacked(int32_t width, int32_t height, std::span<const uint8_t> strip) {
  return write(oneStrip(width, height), [&](TIFF* tiff) {
    std::vector<uint8_t> bytes(strip.begin(), strip.end());
    return TIFFWriteRawStrip(tiff, 0, bytes.data(), static_cast<tmsize_t>(bytes.size()));
  });
}

Picture tiffRead(std::span<const uint8_t> file) {
  Memory memory{{file.begin(), file.end()}, 0};
  const Tiff tiff = open(memory, "r");
  uint32_t width = 0, height = 0;
  require(TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width) &&
          TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height));
  Picture picture(static_cast<int32_t>(width), static_cast<int32_t>(height), 1);
  const auto bytes = static_cast<tmsize_t>(picture.pixels.size());
  require(TIFFReadEncodedStrip(tiff.get(), 0, picture.pixels.data(), bytes) == bytes);
  return picture;
}

std::vector<uint8_t> tiffReadPacked(std::span<const uint8_t> file) {
  Memory memory{{file.begin(), file.end()}, 0};
  const Tiff tiff = open(memory, "r");
  std::vector<uint8_t> strip(TIFFGetStrileByteCount(tiff.get(), 0));
  const auto bytes = static_cast<tmsize_t>(strip.size());
  require(TIFFReadRawStrip(tiff.get(), 0, strip.data(), bytes) == bytes);
  return strip;
}

}  // namespace sample
