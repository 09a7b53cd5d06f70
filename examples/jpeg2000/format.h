// What the marker segments of a JPEG 2000 codestream say (T.800 Annex A), as records that reader and writer share.
#pragma once

#include <array>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace sample {

// With a message for people.
struct Jpeg2000Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

namespace j2k {

// Table A.2.
enum Marker : uint16_t {
  kSoc = 0xFF4F,
  kCap = 0xFF50,
  kSiz = 0xFF51,
  kCod = 0xFF52,
  kCoc = 0xFF53,
  kTlm = 0xFF55,
  kPlm = 0xFF57,
  kPlt = 0xFF58,
  kQcd = 0xFF5C,
  kQcc = 0xFF5D,
  kRgn = 0xFF5E,
  kPoc = 0xFF5F,
  kPpm = 0xFF60,
  kPpt = 0xFF61,
  kCrg = 0xFF63,
  kCom = 0xFF64,
  kSot = 0xFF90,
  kSop = 0xFF91,
  kEph = 0xFF92,
  kSod = 0xFF93,
  kEoc = 0xFFD9
};

constexpr int32_t kMostTiles = 65535;
constexpr int32_t kMostLevels = 32;
constexpr int32_t kMostLayers = 65535;

// Half open: x0 <= x < x1, and the same with y.
struct Box {
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;

  int32_t width() const { return x1 - x0; }
  int32_t height() const { return y1 - y0; }
  bool isEmpty() const { return x0 >= x1 || y0 >= y1; }
  bool operator==(const Box&) const = default;
};

// SIZ (A.5.1).
struct ComponentSize {
  int32_t bits = 8;
  bool isSigned = false;
  int32_t dx = 1, dy = 1;  // distance of its samples on the reference grid
};

struct ImageSize {
  Box image;                       // on the reference grid
  int32_t tileX0 = 0, tileY0 = 0;  // of the first tile
  int32_t tileWidth = 0, tileHeight = 0;
  std::vector<ComponentSize> components;

  int32_t tilesWide() const { return tilesTo(image.x1, tileX0, tileWidth); }
  int32_t tilesHigh() const { return tilesTo(image.y1, tileY0, tileHeight); }

 private:
  static int32_t tilesTo(int64_t end, int64_t origin, int64_t size) {
    return static_cast<int32_t>((end - origin + size - 1) / size);
  }
};

// Table A.16.
enum class Progression : uint8_t { kLrcp, kRlcp, kRpcl, kPcrl, kCprl };

// What COD says of the packets of a tile (A.6.1).
struct PacketStyle {
  Progression progression = Progression::kLrcp;
  int32_t layers = 1;
  bool colourTransform = false;
  bool sop = false, eph = false;
};

// Table A.19, with the values of the codestream.
enum BlockStyle : uint8_t {
  kBypass = 1,
  kResetContexts = 2,
  kTerminateAll = 4,
  kCausal = 8,
  kPredictableEnd = 16,
  kSegmentationSymbols = 32
};

// The same as style flags of qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R() and qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(),
// which leave the predictable end to other arguments.
constexpr int32_t codeBlockFlags(int32_t blockStyle) {
  return (blockStyle & kCausal ? 1 : 0) | (blockStyle & kBypass ? 2 : 0) | (blockStyle & kTerminateAll ? 4 : 0) |
         (blockStyle & kResetContexts ? 8 : 0) | (blockStyle & kSegmentationSymbols ? 16 : 0);
}

// What COD and COC say of a component.
struct CodingStyle {
  int32_t levels = 5;
  int32_t blockWidthLog = 6, blockHeightLog = 6;
  int32_t blockStyle = 0;  // of BlockStyle
  bool reversible = true;  // 5/3, else 9/7

  // Of each resolution, the smallest one first.
  struct PrecinctSize {
    int32_t widthLog = 15, heightLog = 15;
  };
  std::array<PrecinctSize, kMostLevels + 1> precincts{};
};

// QCD and QCC (A.6.4). Table A.28.
enum class QuantStyle : uint8_t { kNone, kDerived, kExpounded };

struct Quantisation {
  QuantStyle style = QuantStyle::kNone;
  int32_t guardBits = 2;

  // Of each band in the order of the codestream: the low band, then HL, LH, HH of each resolution.
  struct Step {
    int32_t exponent = 0, mantissa = 0;
  };
  std::array<Step, 3 * kMostLevels + 1> steps{};
};

// The place of a band in Quantisation::steps. `band` counts within the resolution.
constexpr int32_t stepIndex(int32_t resolution, int32_t band) { return resolution ? 3 * resolution - 2 + band : 0; }

// For the derived style, whose segment tells the low band alone (E-5).
constexpr void deriveSteps(Quantisation& q) {
  for (size_t i = 1; i < q.steps.size(); ++i) {
    const int32_t exponent = q.steps[0].exponent - static_cast<int32_t>(i - 1) / 3;
    q.steps[i] = {exponent < 0 ? 0 : exponent, q.steps[0].mantissa};
  }
}

// One progression of POC (A.6.6), or that of COD over the whole tile. Ends are exclusive.
struct ProgressionVolume {
  Progression progression = Progression::kLrcp;
  int32_t firstResolution = 0, resolutions = kMostLevels + 1;
  int32_t firstComponent = 0, components = 16384;
  int32_t layers = kMostLayers;
};

}  // namespace j2k
}  // namespace sample
