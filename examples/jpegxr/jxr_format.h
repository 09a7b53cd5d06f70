// What the reader and the writer of JPEG XR share: the kinds of files, their macroblocks and bands, in the words of
// ITU-T T.832.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace sample {

struct JxrError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The components inside the file, numbered as there: Y alone, or Y with chroma at a half of its size in both
// directions, at half its width, or at its size.
enum class JxrComponents : uint8_t { kY = 0, k420 = 1, k422 = 2, k444 = 3 };

// Which bands a file carries, numbered as there. Flexbits are the low bits of the highpass coefficients.
enum class JxrBands : uint8_t { kAll = 0, kNoFlexbits = 1, kNoHighpass = 2, kDcOnly = 3 };

// Whether a tile holds one macroblock after the other, or each band of all its macroblocks in a packet of its own.
enum class JxrLayout : uint8_t { kSpatial = 0, kFrequency = 1 };

// Overlap filters run over the edges of blocks, either of the first stage alone or also of the second, over DC values.
enum class JxrOverlap : uint8_t { kNone = 0, kOne = 1, kTwo = 2 };

// A macroblock covers 16 x 16 pixels. Its blocks of 4 x 4 samples, by component: 4 x 4 blocks, or fewer for chroma.
constexpr int32_t kMbSide = 16;
constexpr int32_t kBlockSide = 4;

struct BlockGrid {
  int32_t wide, high;

  constexpr int32_t count() const { return wide * high; }
  bool operator==(const BlockGrid&) const = default;
};
constexpr BlockGrid kFullGrid = {4, 4};

constexpr BlockGrid blocksOf(JxrComponents components, size_t component) {
  if (component == 0) return kFullGrid;
  if (components == JxrComponents::k420) return {2, 2};
  if (components == JxrComponents::k422) return {2, 4};
  return kFullGrid;
}

constexpr bool isSubsampled(JxrComponents components, size_t component) {
  return component > 0 && (components == JxrComponents::k420 || components == JxrComponents::k422);
}

constexpr size_t countOf(JxrComponents components) { return components == JxrComponents::kY ? 1 : 3; }

// A file's bands, each with its own quantisers.
enum JxrBand : uint8_t { kDc, kLowpass, kHighpass };

// Indices into the scale of quantisers, by component. 0 is a step of 1.
using QuantiserIndices = std::array<uint8_t, 3>;

// Rows or columns of macroblocks of a tile.
struct MbRange {
  int32_t first, end;
};

// The header of an image and of its one plane.
struct JxrHeader {
  int32_t width = 0, height = 0;  // what is shown, from (left, top) of what is coded
  int32_t left = 0, top = 0;
  int32_t mbsWide = 0, mbsHigh = 0;
  bool colour = false;  // the pixels are red, green, blue, whatever the components
  int32_t bits = 8;     // of a sample: 8 or 16
  int32_t shift = 0;    // low bits of 16-bit samples that are left out
  JxrComponents components = JxrComponents::kY;
  JxrBands bands = JxrBands::kAll;
  JxrLayout layout = JxrLayout::kSpatial;
  JxrOverlap overlap = JxrOverlap::kNone;
  bool scaled = false;        // samples carry three more bits through the transform: all but lossless files
  bool trimFlexbits = false;  // tiles say how many flexbits they leave out
  bool indexed = false;       // there is a table of the packets
  std::vector<MbRange> tileColumns, tileRows;
  std::array<QuantiserIndices, 3> quantisers{};  // by band

  bool hasLowpass() const { return bands != JxrBands::kDcOnly; }
  bool hasHighpass() const { return bands <= JxrBands::kNoFlexbits; }
};

// The packets of a tile by band; in spatial layout there is one. Highpass coefficients come before their flexbits.
using JxrTilePackets = std::array<std::span<const uint8_t>, 4>;

// Samples or coefficients of a component, rows without padding.
struct JxrPlane {
  int32_t width = 0, height = 0;
  std::vector<int32_t> values;

  void resize(int32_t w, int32_t h) {
    width = w, height = h;
    values.assign(static_cast<size_t>(w) * static_cast<size_t>(h), 0);
  }
  int32_t step() const { return width * int32_t{sizeof(int32_t)}; }
  int32_t* at(int32_t x, int32_t y) { return values.data() + ptrdiff_t{y} * width + x; }
  const int32_t* at(int32_t x, int32_t y) const { return values.data() + ptrdiff_t{y} * width + x; }
};

// A component on its way between samples and coded macroblocks. `full` holds samples or, where the library's transform
// puts them, the coefficients of its blocks. `lowpass` holds the DC values of these blocks, a 4 x 4 (or smaller) block
// for each macroblock, or their coefficients.
struct JxrComponentPlanes {
  BlockGrid blocks{};
  JxrPlane full, lowpass;
};

// Where the transform of the library puts the three lowest coefficients without vertical frequency (the first row), and
// those without horizontal frequency (the first column): the ones that are predicted.
struct BlockPlace {
  int32_t column, row;
};
constexpr std::array<BlockPlace, 3> kFirstRow = {{{2, 0}, {1, 0}, {3, 1}}};
constexpr std::array<BlockPlace, 3> kFirstColumn = {{{0, 2}, {0, 1}, {1, 3}}};

// The same for all sixteen coefficients by their number in lowpass lists, which runs along rows of frequencies.
constexpr std::array<BlockPlace, 16> kCoefficientPlaces = {{{0, 0},
                                                            {2, 0},
                                                            {1, 0},
                                                            {3, 1},
                                                            {0, 2},
                                                            {3, 3},
                                                            {0, 3},
                                                            {3, 2},
                                                            {0, 1},
                                                            {3, 0},
                                                            {1, 1},
                                                            {2, 1},
                                                            {1, 3},
                                                            {2, 3},
                                                            {1, 2},
                                                            {2, 2}}};

// Lowpass lists of subsampled chroma: the places of coefficients, numbered row by row, of U and V in turn.
constexpr std::array<uint8_t, 3> kLowpassPairs420 = {1, 2, 3};
constexpr std::array<uint8_t, 7> kLowpassPairs422 = {4, 1, 2, 3, 5, 6, 7};

constexpr std::span<const uint8_t> lowpassPairs(JxrComponents components) {
  if (components == JxrComponents::k420) return kLowpassPairs420;
  return kLowpassPairs422;
}

}  // namespace sample
