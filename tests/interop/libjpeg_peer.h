// libjpeg as the other side: writes files in ways that our writer does not, and reads what ours wrote. Pictures of 4
// channels are CMYK as the file stores it.
#pragma once

#include <array>
#include <span>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_script.h"
#include "support/picture.h"

namespace test {

enum class PeerCoding { kBaseline, kProgressive, kArithmetic };

struct PeerOptions {
  int32_t quality = 75;
  std::array<std::array<int32_t, 2>, 3> factors{{{2, 2}, {1, 1}, {1, 1}}};  // horizontal and vertical, by component
  int32_t restartInterval = 0;
  bool optimised = false;      // Huffman tables made for this picture
  bool oneScan = true;         // else a scan for each component
  bool byteQuantisers = true;  // else quantisers may need 16 bits
  bool rgb = false;            // store RGB, told by an Adobe marker
  bool ycck = false;           // store YCCK where the picture has 4 channels, else CMYK
  PeerCoding coding = PeerCoding::kBaseline;
  sample::JpegScript script = {};  // if not empty, these scans
};

// All throw std::runtime_error with libjpeg's message, warnings included.
std::vector<uint8_t> peerWrite(const sample::Picture& picture, const PeerOptions& options);

struct PeerReadOptions {
  bool fancyUpsampling = true;  // triangles
  bool yCbCr = false;           // no conversion to RGB
  int32_t scale = 1;            // 1, 2, 4 or 8 times smaller
  bool blockSmoothing = true;   // of pictures whose first scans are there only
};
sample::Picture peerRead(std::span<const uint8_t> file, const PeerReadOptions& options = {});

// The samples of the components before upsampling, padded to whole MCUs.
std::vector<sample::Picture> peerReadPlanes(std::span<const uint8_t> file);

// Quantisers, factors and coefficients; the planes have the blocks that hold pixels, not the padding to whole MCUs.
sample::JpegCoefficients peerReadCoefficients(std::span<const uint8_t> file);

// The same coefficients, which have whole MCUs, in a file that libjpeg makes of them, with Huffman tables of its own.
std::vector<uint8_t> peerWriteCoefficients(const sample::JpegCoefficients& coefficients,
                                           const sample::JpegScript& script);

// The tables that libjpeg takes for the typical ones.
struct PeerTables {
  std::array<sample::QuantTable, 2> quant;  // zig-zag order; luminance, chrominance
  std::array<std::vector<uint8_t>, 2> dcCounts, dcValues, acCounts, acValues;
};
PeerTables peerTables();

}  // namespace test
