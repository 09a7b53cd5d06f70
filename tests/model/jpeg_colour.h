// Scalar models of the JPEG colour conversions (JFIF matrix, Adobe YCCK): planes forward and inverse, 16-bit pixels of
// an MCU, CMYK. One formula per fixed-point form, one table row per export with the form that each column takes, and
// four loops that put the two together. Everything is to the bit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qlmjp/types.h"

namespace model::colour {

// A pixel, or the sum of the pixels that one chroma sample covers.
struct Rgb {
  int r, g, b;
};
struct Chroma {
  int cb, cr;
};
struct YCbCr {
  int y, cb, cr;
};

// The fixed-point forms. They differ by 1 here and there, so which one a column takes is part of an export's promise.
enum class Form {
  // RGB to YCbCr
  Q14,             // 14-bit matrix, half a unit of rounding
  Q15,             // 15-bit matrix, tuned rounding
  HighProducts,    // high halves of unsigned 16-bit products, each cut on its own
  BoxQ14,          // 14-bit matrix on sums of 1, 2 or 4 pixels, a quarter of a unit for 1
  LumaDifference,  // chroma from B - Y and R - Y
  Q16,             // 16-bit matrix with the classic rounding
  SingleLuma,      // luma in single precision; has no chroma
  // YCbCr to RGB
  InverseQ14,       // 14-bit matrix, green added
  InverseQ14Green,  // 14-bit matrix, green subtracted, other offsets
  InverseTables,    // the classic 16-bit tables
  InverseLanes,     // four fractional bits in 16-bit lanes
  InversePacked,    // no fractional bits behind the cut products
};

int luma(Form form, Rgb p);
Chroma chroma(Form form, Rgb sum, int pixels);
Rgb inverse(Form form, YCbCr s);

// Level-shifted blocks. `crRounding` replaces half a unit in Cr of one export.
int blockLuma(Rgb p);
Chroma blockChroma(Rgb sum, int pixels, int crRounding);
Rgb blockInverse(YCbCr s);  // the form with 13-bit red and blue

// The side of the pixels. In the CMYK forms r, g, b stand for the inverted inks.
enum class Pixels { Rgb24, Bgr24, Rgb32, Bgr32, RgbPlanes, Rgb555, Bgr555, Rgb565, Bgr565, Cmyk32, CmykPlanes };
// The other side: planes of Y, Cb, Cr (and K) with the chroma at 1x1, 2x1 or 2x2 pixels a sample; luma alone; pairs of
// pixels as Y0 Cb Y1 Cr.
enum class Planes { Full, Half, Quarter, LumaOnly, PackedHalf };

struct Box {
  int across, down;
  int pixels() const { return across * down; }
};
Box boxOf(Planes planes);
bool isForward(Form form);
bool is16Bit(Pixels format);
bool hasBlack(Pixels format);
int planeCount(Pixels format);

// Columns below the last multiple of `unit` take `body`, the others `tail`.
struct Rule {
  std::string_view name;
  Pixels pixels;
  Planes planes;
  int unit;
  Form body, tail;
};
const Rule& rule(std::string_view exportName);

// Up to four planes with a step each, in bytes.
struct View {
  std::array<uint8_t*, 4> plane{};
  std::array<int32_t, 4> step{};
  uint8_t* row(size_t p, int y) const { return plane[p] + ptrdiff_t{step[p]} * y; }
};

// Rows and bytes a row of each plane; unused planes have none. A packed row of odd width holds one pixel more on both
// sides.
struct Extent {
  int rowBytes, rows;
};
std::array<Extent, 4> pixelExtents(const Rule& rule, QlmSize size);
std::array<Extent, 4> sampleExtents(const Rule& rule, QlmSize size);

Rgb readPixel(Pixels format, const View& view, int x, int y);
// `fourth` is alpha, or K of the CMYK formats; the others have no use for it.
void writePixel(Pixels format, const View& view, int x, int y, Rgb p, int fourth);

// A whole region, in the direction of the rule's forms.
QlmStatus convert(const Rule& rule, const View& src, const View& dst, QlmSize size, uint8_t alpha);

// One MCU: 8x8 elements of chroma, each over a box of pixels; luma and K blocks in raster order.
struct McuRule {
  std::string_view name;
  bool forward;
  Pixels pixels;
  Planes planes;
  int crRounding;  // forward only
};
const McuRule& mcuRule(std::string_view exportName);

using Blocks = std::array<int16_t*, 4>;
// Index of element (row, column) of a plane whose blocks stand `across` to a row of blocks.
int blockIndex(int row, int column, int across);
void convertMcu(const McuRule& rule, const View& pixels, const Blocks& blocks);

}  // namespace model::colour
