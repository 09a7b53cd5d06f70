#include "model/jpeg_colour.h"

#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

namespace model::colour {
namespace {

int clamp(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

// High halves of 32-bit products of 16-bit factors.
int highUnsigned(int x, int c) { return static_cast<int>((static_cast<uint32_t>(x) * static_cast<uint32_t>(c)) >> 16); }
int highSigned(int x, int c) { return (x * c) >> 16; }

// --- Luma --------------------------------------------------------------------------------------------------------

int lumaQ14(Rgb p) { return clamp((4899 * p.r + 9617 * p.g + 1868 * p.b + 8192) >> 14); }

int lumaQ15(Rgb p) { return clamp((9798 * p.r + 19235 * p.g + 3736 * p.b + 16266) >> 15); }

int lumaHighProducts(Rgb p) {
  return (highUnsigned(p.r << 8, 4899) + highUnsigned(p.g << 8, 9617) + highUnsigned(p.b << 8, 1868) + 32) >> 6;
}

int lumaQ16(Rgb p) { return (19595 * p.r + 38470 * p.g + 7471 * p.b + 32768) >> 16; }

// Each product and sum is exact in double and then rounded to single precision.
int lumaSingle(Rgb p) {
  const auto red = static_cast<float>(double{0.299f} * p.r);
  const auto green = static_cast<float>(double{0.587f} * p.g);
  const auto blue = static_cast<float>(double{0.114f} * p.b);
  const auto redGreen = static_cast<float>(double{red} + double{green});
  const auto sum = static_cast<float>(double{redGreen} + double{blue});
  return clamp(static_cast<int>(std::nearbyint(sum)));
}

// --- Chroma of a pixel or of a box --------------------------------------------------------------------------------

Chroma chromaQ14(Rgb p) {
  return {clamp((-2764 * p.r - 5428 * p.g + 8192 * p.b + 2105344) >> 14),
          clamp((8192 * p.r - 6860 * p.g - 1332 * p.b + 2105344) >> 14)};
}

Chroma chromaQ15(Rgb p) {
  return {clamp((-5529 * p.r - 10855 * p.g + 16384 * p.b + 4210688) >> 15),
          clamp((16384 * p.r - 13720 * p.g - 2664 * p.b + 4210704) >> 15)};
}

// The sum is brought to 7 fractional bits of the mean; full blue (or red) alone would give 256.
Chroma chromaHighProducts(Rgb sum, int pixels) {
  const int shift = pixels == 1 ? 7 : pixels == 2 ? 6 : 5;
  const int r = sum.r << shift, g = sum.g << shift, b = sum.b << shift;
  return {clamp((highUnsigned(b, 8192) - highUnsigned(r, 2765) - highUnsigned(g, 5427) + 4112) >> 5),
          clamp((highUnsigned(r, 8192) - highUnsigned(g, 6860) - highUnsigned(b, 1332) + 4112) >> 5)};
}

Chroma chromaBoxQ14(Rgb sum, int pixels) {
  const int shift = pixels == 1 ? 14 : pixels == 2 ? 15 : 16;
  const int offset = pixels == 1 ? 2101248 : pixels == 2 ? 4210688 : 8421376;
  return {clamp((8192 * sum.b - 5427 * sum.g - 2765 * sum.r + offset) >> shift),
          clamp((8192 * sum.r - 6860 * sum.g - 1332 * sum.b + offset) >> shift)};
}

Chroma chromaLumaDifference(Rgb p) {
  const int y = lumaQ16(p);
  return {clamp((18491 * (p.b - y) + 4210688) >> 15), clamp((23373 * (p.r - y) + 4210688) >> 15)};
}

Chroma chromaQ16(Rgb p) {
  return {(-11059 * p.r - 21709 * p.g + 32768 * p.b + 8421375) >> 16,
          (32768 * p.r - 27439 * p.g - 5329 * p.b + 8421375) >> 16};
}

// --- Inverse -------------------------------------------------------------------------------------------------------

Rgb inverseQ14(YCbCr s) {
  return {clamp(s.y + ((22970 * s.cr - 2932015) >> 14)), clamp(s.y + ((-5638 * s.cb - 11700 * s.cr + 2227566) >> 14)),
          clamp(s.y + ((29032 * s.cb - 3707961) >> 14))};
}

Rgb inverseQ14Green(YCbCr s) {
  return {clamp(s.y + ((22970 * s.cr - 2932015) >> 14)), clamp(s.y - ((5638 * s.cb + 11700 * s.cr - 2211182) >> 14)),
          clamp(s.y + ((29032 * s.cb - 3708561) >> 14))};
}

Rgb inverseTables(YCbCr s) {
  const int cb = s.cb - 128, cr = s.cr - 128;
  const int red = (91881 * cr + 32768) >> 16, blue = (116130 * cb + 32768) >> 16;
  const int greenOfCr = -46802 * cr, greenOfCb = -22554 * cb + 32768;
  return {clamp(s.y + red), clamp(s.y + ((greenOfCr + greenOfCb) >> 16)), clamp(s.y + blue)};
}

// No sum of bytes leaves 16 bits, so saturation has nothing to do.
Rgb inverseLanes(YCbCr s) {
  const int y = s.y << 4, cb = s.cb << 7, cr = s.cr << 7;
  return {clamp((y + highSigned(cr, 11485) - 2871 + 8) >> 4),
          clamp((y + 2167 - (highSigned(cb, 2819) + highSigned(cr, 5850)) + 8) >> 4),
          clamp((y + highSigned(cb, 14516) - 3629 + 8) >> 4)};
}

Rgb inversePacked(YCbCr s) {
  const int cb = s.cb << 7, cr = s.cr << 7;
  return {clamp(s.y + (highSigned(cr, 22970) >> 5) - 179),
          clamp(s.y + ((highSigned(cr, -11700) + highSigned(cb, -5638)) >> 5) + 135),
          clamp(s.y + (highSigned(cb, 29032) >> 5) - 226)};
}

// --- Rules ---------------------------------------------------------------------------------------------------------

constexpr Rule kRules[] = {
    {"qlmiRGBToYCbCr_JPEG_8u_C3P3R", Pixels::Rgb24, Planes::Full, 8, Form::Q15, Form::Q14},
    {"qlmiBGRToYCbCr_JPEG_8u_C3P3R", Pixels::Bgr24, Planes::Full, 8, Form::Q15, Form::Q14},
    {"qlmiRGBToYCbCr_JPEG_8u_C4P3R", Pixels::Rgb32, Planes::Full, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiBGRToYCbCr_JPEG_8u_C4P3R", Pixels::Bgr32, Planes::Full, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiRGBToYCbCr_JPEG_8u_P3R", Pixels::RgbPlanes, Planes::Full, 4, Form::LumaDifference, Form::Q16},
    {"qlmiRGBToY_JPEG_8u_C3C1R", Pixels::Rgb24, Planes::LumaOnly, 1, Form::Q15, Form::Q15},
    {"qlmiBGRToY_JPEG_8u_C3C1R", Pixels::Bgr24, Planes::LumaOnly, 1, Form::Q15, Form::Q15},
    {"qlmiRGBToY_JPEG_8u_P3C1R", Pixels::RgbPlanes, Planes::LumaOnly, 4, Form::SingleLuma, Form::LumaDifference},
    {"qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R", Pixels::Rgb555, Planes::Full, 1, Form::Q14, Form::Q14},
    {"qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R", Pixels::Rgb565, Planes::Full, 1, Form::Q14, Form::Q14},
    {"qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R", Pixels::Bgr555, Planes::Full, 1, Form::Q14, Form::Q14},
    {"qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R", Pixels::Bgr565, Planes::Full, 1, Form::Q14, Form::Q14},
    {"qlmiRGBToYCbCr422_JPEG_8u_C3P3R", Pixels::Rgb24, Planes::Half, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiRGBToYCbCr422_JPEG_8u_C4P3R", Pixels::Rgb32, Planes::Half, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiBGRToYCbCr422_JPEG_8u_C3P3R", Pixels::Bgr24, Planes::Half, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiBGRToYCbCr422_JPEG_8u_C4P3R", Pixels::Bgr32, Planes::Half, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiRGBToYCbCr411_JPEG_8u_C3P3R", Pixels::Rgb24, Planes::Quarter, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiRGBToYCbCr411_JPEG_8u_C4P3R", Pixels::Rgb32, Planes::Quarter, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiBGRToYCbCr411_JPEG_8u_C3P3R", Pixels::Bgr24, Planes::Quarter, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiBGRToYCbCr411_JPEG_8u_C4P3R", Pixels::Bgr32, Planes::Quarter, 8, Form::HighProducts, Form::BoxQ14},
    {"qlmiCMYKToYCCK_JPEG_8u_C4P4R", Pixels::Cmyk32, Planes::Full, 1, Form::Q14, Form::Q14},
    {"qlmiCMYKToYCCK_JPEG_8u_P4R", Pixels::CmykPlanes, Planes::Full, 4, Form::LumaDifference, Form::Q16},

    {"qlmiYCbCrToRGB_JPEG_8u_P3C3R", Pixels::Rgb24, Planes::Full, 4, Form::InverseQ14, Form::InverseTables},
    {"qlmiYCbCrToBGR_JPEG_8u_P3C3R", Pixels::Bgr24, Planes::Full, 4, Form::InverseQ14, Form::InverseTables},
    {"qlmiYCbCrToRGB_JPEG_8u_P3C4R", Pixels::Rgb32, Planes::Full, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCrToBGR_JPEG_8u_P3C4R", Pixels::Bgr32, Planes::Full, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCrToRGB_JPEG_8u_P3R", Pixels::RgbPlanes, Planes::Full, 4, Form::InverseQ14Green, Form::InverseTables},
    {"qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R", Pixels::Rgb555, Planes::Full, 1, Form::InverseQ14Green,
     Form::InverseQ14Green},
    {"qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R", Pixels::Rgb565, Planes::Full, 1, Form::InverseQ14Green,
     Form::InverseQ14Green},
    {"qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R", Pixels::Bgr555, Planes::Full, 1, Form::InverseQ14Green,
     Form::InverseQ14Green},
    {"qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R", Pixels::Bgr565, Planes::Full, 1, Form::InverseQ14Green,
     Form::InverseQ14Green},
    {"qlmiYCbCr422ToRGB_JPEG_8u_P3C3R", Pixels::Rgb24, Planes::Half, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr422ToBGR_JPEG_8u_P3C3R", Pixels::Bgr24, Planes::Half, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr422ToRGB_JPEG_8u_P3C4R", Pixels::Rgb32, Planes::Half, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr422ToBGR_JPEG_8u_P3C4R", Pixels::Bgr32, Planes::Half, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr411ToRGB_JPEG_8u_P3C3R", Pixels::Rgb24, Planes::Quarter, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr411ToBGR_JPEG_8u_P3C3R", Pixels::Bgr24, Planes::Quarter, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr411ToRGB_JPEG_8u_P3C4R", Pixels::Rgb32, Planes::Quarter, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr411ToBGR_JPEG_8u_P3C4R", Pixels::Bgr32, Planes::Quarter, 1, Form::InverseLanes, Form::InverseLanes},
    {"qlmiYCbCr422ToRGB_JPEG_8u_C2C3R", Pixels::Rgb24, Planes::PackedHalf, 8, Form::InversePacked, Form::InverseTables},
    {"qlmiYCCKToCMYK_JPEG_8u_P4C4R", Pixels::Cmyk32, Planes::Full, 4, Form::InverseQ14Green, Form::InverseTables},
    {"qlmiYCCKToCMYK_JPEG_8u_P4R", Pixels::CmykPlanes, Planes::Full, 4, Form::InverseQ14Green, Form::InverseTables},
};

// Half a unit of rounding for 1, 2 and 4 pixels a chroma element.
constexpr int kHalf444 = 8192, kHalf422 = 16384, kHalf411 = 32768;

constexpr McuRule kMcuRules[] = {
    {"qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R", true, Pixels::Bgr555, Planes::Full, kHalf444},
    {"qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R", true, Pixels::Bgr555, Planes::Half, kHalf422},
    {"qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R", true, Pixels::Bgr555, Planes::Quarter, kHalf411},
    {"qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R", true, Pixels::Bgr565, Planes::Full, kHalf444},
    {"qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R", true, Pixels::Bgr565, Planes::Half, kHalf422},
    {"qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R", true, Pixels::Bgr565, Planes::Quarter, kHalf411},
    {"qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R", true, Pixels::Cmyk32, Planes::Full, 8133},
    {"qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R", true, Pixels::Cmyk32, Planes::Half, kHalf422},
    {"qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R", true, Pixels::Cmyk32, Planes::Quarter, kHalf411},

    {"qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R", false, Pixels::Bgr555, Planes::Full, 0},
    {"qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R", false, Pixels::Bgr555, Planes::Half, 0},
    {"qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R", false, Pixels::Bgr555, Planes::Quarter, 0},
    {"qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R", false, Pixels::Bgr565, Planes::Full, 0},
    {"qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R", false, Pixels::Bgr565, Planes::Half, 0},
    {"qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R", false, Pixels::Bgr565, Planes::Quarter, 0},
    {"qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R", false, Pixels::Cmyk32, Planes::Full, 0},
    {"qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R", false, Pixels::Cmyk32, Planes::Half, 0},
    {"qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R", false, Pixels::Cmyk32, Planes::Quarter, 0},
};

template <typename Table>
const auto& find(const Table& table, std::string_view name) {
  for (const auto& entry : table)
    if (entry.name == name) return entry;
  throw std::invalid_argument("no model of " + std::string(name));
}

// --- Pixel formats -------------------------------------------------------------------------------------------------

// Bytes a pixel and the positions of its colours, which are numbers of planes where `planar`; lowest bit and width of
// the colours in 16-bit pixels.
struct Layout {
  int bytes;
  bool planar, ink;
  int r, g, b;
  int rBits, gBits, bBits;
};

// In the order of Pixels. The names of the 16-bit formats give the colours from the low bits up.
constexpr Layout kLayouts[] = {
    {3, false, false, 0, 1, 2, 8, 8, 8},   // Rgb24
    {3, false, false, 2, 1, 0, 8, 8, 8},   // Bgr24
    {4, false, false, 0, 1, 2, 8, 8, 8},   // Rgb32
    {4, false, false, 2, 1, 0, 8, 8, 8},   // Bgr32
    {1, true, false, 0, 1, 2, 8, 8, 8},    // RgbPlanes
    {2, false, false, 0, 5, 10, 5, 5, 5},  // Rgb555
    {2, false, false, 10, 5, 0, 5, 5, 5},  // Bgr555
    {2, false, false, 0, 5, 11, 5, 6, 5},  // Rgb565
    {2, false, false, 11, 5, 0, 5, 6, 5},  // Bgr565
    {4, false, true, 0, 1, 2, 8, 8, 8},    // Cmyk32
    {1, true, true, 0, 1, 2, 8, 8, 8},     // CmykPlanes
};

const Layout& layoutOf(Pixels format) { return kLayouts[static_cast<size_t>(format)]; }

int unpack(int word, int at, int bits) { return ((word >> at) & ((1 << bits) - 1)) << (8 - bits); }
int pack(int value, int at, int bits) { return (value >> (8 - bits)) << at; }

uint8_t* byteOf(const View& view, const Layout& layout, int channel, int x, int y) {
  return layout.planar ? view.row(static_cast<size_t>(channel), y) + x : view.row(0, y) + layout.bytes * x + channel;
}

int readBlack(Pixels format, const View& view, int x, int y) { return *byteOf(view, layoutOf(format), 3, x, y); }

void add(Rgb& sum, Rgb p) {
  sum.r += p.r;
  sum.g += p.g;
  sum.b += p.b;
}

uint8_t byte(int v) { return static_cast<uint8_t>(v); }

void convertForward(const Rule& rule, const View& src, const View& dst, int width, int height) {
  const Box box = boxOf(rule.planes);
  const int body = width / rule.unit * rule.unit;
  for (int y = 0; y < height; y += box.down) {
    for (int x = 0; x < width; x += box.across) {
      const Form form = x < body ? rule.body : rule.tail;
      Rgb sum{};
      for (int j = 0; j < box.down; ++j) {
        for (int i = 0; i < box.across; ++i) {
          const Rgb p = readPixel(rule.pixels, src, x + i, y + j);
          dst.row(0, y + j)[x + i] = byte(luma(form, p));
          if (hasBlack(rule.pixels)) dst.row(3, y + j)[x + i] = byte(readBlack(rule.pixels, src, x + i, y + j));
          add(sum, p);
        }
      }
      if (rule.planes == Planes::LumaOnly) continue;
      const Chroma c = chroma(form, sum, box.pixels());
      dst.row(1, y / box.down)[x / box.across] = byte(c.cb);
      dst.row(2, y / box.down)[x / box.across] = byte(c.cr);
    }
  }
}

YCbCr readSamples(Planes planes, const View& src, int x, int y) {
  if (planes == Planes::PackedHalf) {
    const uint8_t* pair = src.row(0, y) + x / 2 * 4;
    return {pair[x % 2 * 2], pair[1], pair[3]};
  }
  const Box box = boxOf(planes);
  return {src.row(0, y)[x], src.row(1, y / box.down)[x / box.across], src.row(2, y / box.down)[x / box.across]};
}

void convertInverse(const Rule& rule, const View& src, const View& dst, int width, int height, uint8_t alpha) {
  const int body = width / rule.unit * rule.unit;
  const int written = rule.planes == Planes::PackedHalf ? width + width % 2 : width;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < written; ++x) {
      const Form form = x < body ? rule.body : rule.tail;
      const int fourth = hasBlack(rule.pixels) ? src.row(3, y)[x] : alpha;
      writePixel(rule.pixels, dst, x, y, inverse(form, readSamples(rule.planes, src, x, y)), fourth);
    }
  }
}

}  // namespace

int luma(Form form, Rgb p) {
  switch (form) {
    case Form::Q14:
      return lumaQ14(p);
    case Form::Q15:
      return lumaQ15(p);
    case Form::HighProducts:
      return lumaHighProducts(p);
    case Form::BoxQ14:
      return lumaQ14(p);
    case Form::LumaDifference:
      return lumaQ16(p);
    case Form::Q16:
      return lumaQ16(p);
    case Form::SingleLuma:
      return lumaSingle(p);
    default:
      throw std::invalid_argument("no luma in this form");
  }
}

Chroma chroma(Form form, Rgb sum, int pixels) {
  switch (form) {
    case Form::Q14:
      return chromaQ14(sum);
    case Form::Q15:
      return chromaQ15(sum);
    case Form::HighProducts:
      return chromaHighProducts(sum, pixels);
    case Form::BoxQ14:
      return chromaBoxQ14(sum, pixels);
    case Form::LumaDifference:
      return chromaLumaDifference(sum);
    case Form::Q16:
      return chromaQ16(sum);
    default:
      throw std::invalid_argument("no chroma in this form");
  }
}

Rgb inverse(Form form, YCbCr s) {
  switch (form) {
    case Form::InverseQ14:
      return inverseQ14(s);
    case Form::InverseQ14Green:
      return inverseQ14Green(s);
    case Form::InverseTables:
      return inverseTables(s);
    case Form::InverseLanes:
      return inverseLanes(s);
    case Form::InversePacked:
      return inversePacked(s);
    default:
      throw std::invalid_argument("not an inverse form");
  }
}

int blockLuma(Rgb p) { return ((4899 * p.r + 9617 * p.g + 1868 * p.b + 8192) >> 14) - 128; }

Chroma blockChroma(Rgb sum, int pixels, int crRounding) {
  const int shift = pixels == 1 ? 14 : pixels == 2 ? 15 : 16;
  return {(-2764 * sum.r - 5428 * sum.g + 8192 * sum.b + (1 << (shift - 1))) >> shift,
          (8192 * sum.r - 6860 * sum.g - 1332 * sum.b + crRounding) >> shift};
}

Rgb blockInverse(YCbCr s) {
  return {clamp(s.y + ((11485 * s.cr + 1052672) >> 13)), clamp(s.y - ((5638 * s.cb + 11700 * s.cr - 2088960) >> 14)),
          clamp(s.y + ((14516 * s.cb + 1052672) >> 13))};
}

Box boxOf(Planes planes) {
  switch (planes) {
    case Planes::Half:
      return {2, 1};
    case Planes::Quarter:
      return {2, 2};
    case Planes::PackedHalf:
      return {2, 1};
    default:
      return {1, 1};
  }
}

bool isForward(Form form) { return form < Form::InverseQ14; }
bool is16Bit(Pixels format) { return layoutOf(format).bytes == 2; }
bool hasBlack(Pixels format) { return layoutOf(format).ink; }
int planeCount(Pixels format) { return !layoutOf(format).planar ? 1 : hasBlack(format) ? 4 : 3; }

const Rule& rule(std::string_view exportName) { return find(kRules, exportName); }
const McuRule& mcuRule(std::string_view exportName) { return find(kMcuRules, exportName); }

std::array<Extent, 4> pixelExtents(const Rule& rule, QlmSize size) {
  std::array<Extent, 4> extents{};
  const int width = rule.planes == Planes::PackedHalf ? size.width + size.width % 2 : size.width;
  for (size_t p = 0; p < static_cast<size_t>(planeCount(rule.pixels)); ++p)
    extents[p] = {width * layoutOf(rule.pixels).bytes, size.height};
  return extents;
}

std::array<Extent, 4> sampleExtents(const Rule& rule, QlmSize size) {
  const Box box = boxOf(rule.planes);
  const Extent full{size.width, size.height}, box2{size.width / box.across, size.height / box.down};
  if (rule.planes == Planes::PackedHalf) return {{{(size.width + 1) / 2 * 4, size.height}, {}, {}, {}}};
  if (rule.planes == Planes::LumaOnly) return {{full, {}, {}, {}}};
  return {{full, box2, box2, hasBlack(rule.pixels) ? full : Extent{}}};
}

Rgb readPixel(Pixels format, const View& view, int x, int y) {
  const Layout& at = layoutOf(format);
  if (at.bytes == 2) {
    uint16_t word;
    std::memcpy(&word, view.row(0, y) + 2 * x, sizeof word);
    return {unpack(word, at.r, at.rBits), unpack(word, at.g, at.gBits), unpack(word, at.b, at.bBits)};
  }
  const Rgb p{*byteOf(view, at, at.r, x, y), *byteOf(view, at, at.g, x, y), *byteOf(view, at, at.b, x, y)};
  return at.ink ? Rgb{255 - p.r, 255 - p.g, 255 - p.b} : p;
}

void writePixel(Pixels format, const View& view, int x, int y, Rgb p, int fourth) {
  const Layout& at = layoutOf(format);
  if (at.bytes == 2) {
    const auto word =
        static_cast<uint16_t>(pack(p.r, at.r, at.rBits) | pack(p.g, at.g, at.gBits) | pack(p.b, at.b, at.bBits));
    std::memcpy(view.row(0, y) + 2 * x, &word, sizeof word);
    return;
  }
  if (at.ink) p = {255 - p.r, 255 - p.g, 255 - p.b};
  *byteOf(view, at, at.r, x, y) = byte(p.r);
  *byteOf(view, at, at.g, x, y) = byte(p.g);
  *byteOf(view, at, at.b, x, y) = byte(p.b);
  if (at.bytes == 4 || at.ink) *byteOf(view, at, 3, x, y) = byte(fourth);
}

// What does not fill a box is left out with a warning, except in packed rows, whose last pair is completed.
QlmStatus convert(const Rule& rule, const View& src, const View& dst, QlmSize size, uint8_t alpha) {
  const Box box = rule.planes == Planes::PackedHalf ? Box{1, 1} : boxOf(rule.planes);
  const int width = size.width / box.across * box.across, height = size.height / box.down * box.down;
  if (isForward(rule.body)) {
    convertForward(rule, src, dst, width, height);
  } else {
    convertInverse(rule, src, dst, width, height, alpha);
  }
  return width == size.width && height == size.height ? qlmOk : qlmWarnOddSize;
}

int blockIndex(int row, int column, int across) {
  return (row / 8 * across + column / 8) * 64 + row % 8 * 8 + column % 8;
}

void convertMcu(const McuRule& rule, const View& pixels, const Blocks& blocks) {
  const Box box = boxOf(rule.planes);
  for (int row = 0; row < 8; ++row) {
    for (int column = 0; column < 8; ++column) {
      const int c = blockIndex(row, column, 1);
      Rgb sum{};
      for (int j = 0; j < box.down; ++j) {
        for (int i = 0; i < box.across; ++i) {
          const int x = column * box.across + i, y = row * box.down + j, at = blockIndex(y, x, box.across);
          if (rule.forward) {
            const Rgb p = readPixel(rule.pixels, pixels, x, y);
            blocks[0][at] = static_cast<int16_t>(blockLuma(p));
            if (hasBlack(rule.pixels)) blocks[3][at] = static_cast<int16_t>(readBlack(rule.pixels, pixels, x, y) - 128);
            add(sum, p);
          } else {
            const Rgb p = blockInverse({blocks[0][at], blocks[1][c], blocks[2][c]});
            const int black = hasBlack(rule.pixels) ? clamp(blocks[3][at] + 128) : 0;
            writePixel(rule.pixels, pixels, x, y, p, black);
          }
        }
      }
      if (!rule.forward) continue;
      const Chroma chroma = blockChroma(sum, box.pixels(), rule.crRounding);
      blocks[1][c] = static_cast<int16_t>(chroma.cb);
      blocks[2][c] = static_cast<int16_t>(chroma.cr);
    }
  }
}

}  // namespace model::colour
