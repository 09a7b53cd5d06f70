// Numbers of the TIFF format that reader and writer share (TIFF 6.0, section 8 lists the fields).
#pragma once

#include <cstdint>

namespace sample::tiff {

enum Tag : uint16_t {
  kImageWidth = 256,
  kImageLength = 257,
  kBitsPerSample = 258,
  kCompression = 259,
  kPhotometric = 262,
  kStripOffsets = 273,
  kSamplesPerPixel = 277,
  kRowsPerStrip = 278,
  kStripByteCounts = 279,
  kPlanarConfiguration = 284,
  kExtraSamples = 338
};

enum Type : uint16_t { kByte = 1, kShort = 3, kLong = 4 };

constexpr uint32_t kUncompressed = 1, kPackBits = 32773;
constexpr uint32_t kBlackIsZero = 1, kRgb = 2;
constexpr uint32_t kChunky = 1, kPlanar = 2;

}  // namespace sample::tiff
