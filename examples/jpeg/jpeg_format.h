// What the JPEG reader and writer share: marker codes (T.81 Table B.1), the processes, the frame with its sampling
// factors (A.1, A.2) and a picture as quantised coefficients.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

namespace sample {

// What is wrong with a file or with what is asked for, in words for people.
class JpegError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Called after each row of MCUs.
using Progress = std::function<void(int32_t done, int32_t total)>;

// Second byte of a marker.
inline constexpr uint8_t kSof0 = 0xC0, kSof1 = 0xC1, kSof2 = 0xC2, kSof3 = 0xC3, kDht = 0xC4, kDac = 0xCC, kRst0 = 0xD0,
                         kRst7 = 0xD7, kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kDqt = 0xDB, kDri = 0xDD, kApp0 = 0xE0,
                         kApp14 = 0xEE;

inline constexpr int32_t kMaxBlocksInMcu = 10;  // T.81 B.2.3
inline constexpr int32_t kBlockSize = 64;

// Zig-zag order, as in the file.
using QuantTable = std::array<uint16_t, kBlockSize>;

// How samples become codes: blocks of coefficients in one pass (SOF0, SOF1), blocks in several passes (SOF2), or
// differences to predicted samples (SOF3).
enum class JpegProcess { kSequential, kProgressive, kLossless };

// What the components of a file are. CMYK and YCCK are stored as Adobe does it: CMYK as light, so that 255 is no ink,
// and YCCK is that with its first three channels taken for 255 minus red, green and blue (T.872 6.5.3). Pairs are two
// components of whatever meaning, in lossless files.
enum class JpegColour { kGrey, kPair, kYCbCr, kRgb, kCmyk, kYcck };

// Channels of the pixels that components of this colour stand for.
constexpr int32_t channelsOf(JpegColour colour) {
  if (colour == JpegColour::kGrey) return 1;
  if (colour == JpegColour::kPair) return 2;
  return colour == JpegColour::kCmyk || colour == JpegColour::kYcck ? 4 : 3;
}

// Cb and Cr, which may be subsampled and have tables of their own.
constexpr bool isChroma(JpegColour colour, size_t component) {
  return (colour == JpegColour::kYCbCr || colour == JpegColour::kYcck) && (component == 1 || component == 2);
}

// How pixels become blocks and blocks pixels: an MCU at a time in 16-bit samples, or in planes of 8-bit samples.
enum class JpegBy { kMcu, kPlane };

struct JpegComponent {
  uint8_t id = 0;
  int32_t h = 1, v = 1;  // sampling factors
  uint8_t quantSlot = 0;

  int32_t blocks() const { return h * v; }  // in an MCU
};

struct JpegFrame {
  int32_t width = 0, height = 0;
  std::vector<JpegComponent> components;
  JpegProcess process = JpegProcess::kSequential;
  int32_t precision = 8;  // bits a sample

  int32_t maxH() const { return std::ranges::max(components, {}, &JpegComponent::h).h; }
  int32_t maxV() const { return std::ranges::max(components, {}, &JpegComponent::v).v; }
  int32_t mcuWidth() const { return 8 * maxH(); }
  int32_t mcuHeight() const { return 8 * maxV(); }
  int32_t mcusWide() const { return (width + mcuWidth() - 1) / mcuWidth(); }
  int32_t mcusHigh() const { return (height + mcuHeight() - 1) / mcuHeight(); }
  int32_t blocksInMcu() const {
    int32_t blocks = 0;
    for (const JpegComponent& c : components) blocks += c.blocks();
    return blocks;
  }
  // Of one component, without padding to whole MCUs: what a scan of it alone codes (A.2.2).
  int32_t blocksWide(size_t c) const { return (width * components[c].h + mcuWidth() - 1) / mcuWidth(); }
  int32_t blocksHigh(size_t c) const { return (height * components[c].v + mcuHeight() - 1) / mcuHeight(); }
};

// The blocks of one component in raster order, padded to whole MCUs; each block in natural order.
struct BlockPlane {
  int32_t blocksWide = 0, blocksHigh = 0;
  std::vector<int16_t> values;

  BlockPlane() = default;
  BlockPlane(int32_t wide, int32_t high)
      : blocksWide(wide),
        blocksHigh(high),
        values(static_cast<size_t>(wide) * static_cast<size_t>(high) * size_t{kBlockSize}) {}

  int16_t* block(int32_t row, int32_t column) { return values.data() + offset(row, column); }
  const int16_t* block(int32_t row, int32_t column) const { return values.data() + offset(row, column); }

 private:
  ptrdiff_t offset(int32_t row, int32_t column) const {
    return (ptrdiff_t{row} * blocksWide + column) * ptrdiff_t{kBlockSize};
  }
};

// A picture as its quantised coefficients; planes and quantisation tables by component.
struct JpegCoefficients {
  JpegFrame frame;
  JpegColour colour = JpegColour::kYCbCr;
  int32_t restartInterval = 0;  // as the last scan had it
  std::vector<QuantTable> quant;
  std::vector<BlockPlane> planes;
};

}  // namespace sample
