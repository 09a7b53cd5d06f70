// The transforms in plain loops over columns and rows, one statement an operation. Every saturation, wrap and
// rounding is written where it happens; sums of 32 bits are made in 64 and cut, which is what wrapping means.
#include "model/jpeg_transform.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace model {
namespace {

int sat(int v) { return std::clamp(v, -32768, 32767); }
int wrap16(int v) { return static_cast<int16_t>(v); }
int wrap32(int64_t v) { return static_cast<int32_t>(v); }
int mulhi(int a, int k) { return (a * k) >> 16; }
int shl(int v, int count) { return wrap16(v * (1 << count)); }
uint8_t clamp8(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

using Eight = std::array<int, 8>;
using EightF = std::array<float, 8>;

// Coefficients c1 to c7 (index 0 unused) of the classes of rows, in both directions.
constexpr int kClass04[8] = {0, 22725, 21407, 19266, 16384, 12873, 8867, 4520};
constexpr int kClass17[8] = {0, 31521, 29692, 26722, 22725, 17855, 12299, 6270};
constexpr int kClass26[8] = {0, 29692, 27969, 25172, 21407, 16819, 11585, 5906};
constexpr int kClass35[8] = {0, 26722, 25172, 22654, 19266, 15137, 10426, 5315};

const int* rowClass(int row) {
  if (row == 0 || row == 4) return kClass04;
  if (row == 1 || row == 7) return kClass17;
  if (row == 2 || row == 6) return kClass26;
  return kClass35;
}

Eight fwdColumn(const Eight& x) {
  const int t0 = shl(sat(x[0] + x[7]), 3), d0 = shl(sat(x[0] - x[7]), 3);
  const int t1 = shl(sat(x[1] + x[6]), 3), d1 = shl(sat(x[1] - x[6]), 4);
  const int t2 = shl(sat(x[2] + x[5]), 3), d2 = shl(sat(x[2] - x[5]), 4);
  const int t3 = shl(sat(x[3] + x[4]), 3), d3 = shl(sat(x[3] - x[4]), 3);
  const int a = sat(t0 + t3), b = sat(t0 - t3);
  const int c = sat(t1 + t2), e = sat(t1 - t2);
  const int f = sat(d1 - d2), g = sat(d1 + d2);
  const int m = mulhi(f, 23170);
  const int n = mulhi(g, 23170) | 1;
  const int p = sat(d3 + m), s = sat(d3 - m);
  const int q = sat(d0 + n), r = sat(d0 - n);
  Eight y;
  y[0] = sat(a + c);
  y[1] = sat(q + mulhi(p, 13036)) | 1;
  y[2] = sat(b + mulhi(e, 27146)) | 1;
  y[3] = sat(r - sat(mulhi(s, -21746) + s));
  y[4] = sat(a - c);
  y[5] = sat(sat(mulhi(r, -21746) + r) + s);
  y[6] = sat(mulhi(b, 27146) - e) | 1;
  y[7] = sat(mulhi(q, 13036) - p);
  return y;
}

Eight fwdRow(const Eight& z, int row) {
  const int* c = rowClass(row);
  const int64_t s0 = sat(z[0] + z[7]), d0 = sat(z[0] - z[7]);
  const int64_t s1 = sat(z[1] + z[6]), d1 = sat(z[1] - z[6]);
  const int64_t s2 = sat(z[2] + z[5]), d2 = sat(z[2] - z[5]);
  const int64_t s3 = sat(z[3] + z[4]), d3 = sat(z[3] - z[4]);
  const int64_t f[8] = {
      c[4] * s0 + c[4] * s1 + c[4] * s2 + c[4] * s3,  //
      c[1] * d0 + c[3] * d1 + c[5] * d2 + c[7] * d3,  //
      c[2] * s0 + c[6] * s1 - c[6] * s2 - c[2] * s3,  //
      c[3] * d0 - c[7] * d1 - c[1] * d2 - c[5] * d3,  //
      c[4] * s0 - c[4] * s1 - c[4] * s2 + c[4] * s3,  //
      c[5] * d0 - c[1] * d1 + c[7] * d2 + c[3] * d3,  //
      c[6] * s0 - c[2] * s1 + c[2] * s2 - c[6] * s3,  //
      c[7] * d0 - c[5] * d1 + c[3] * d2 - c[1] * d3,
  };
  Eight out;
  for (size_t i = 0; i < 8; ++i) out[i] = sat(wrap32(f[i] + 524288) >> 20);
  return out;
}

// f * t / 32768 to the nearest integer, halves to even.
int scaleToEven(int f, int t) {
  const int64_t p = int64_t{f} * t;
  const int64_t floor = p >> 15, rest = p & 32767;
  if (rest > 16384 || (rest == 16384 && floor % 2 != 0)) return sat(static_cast<int>(floor + 1));
  return sat(static_cast<int>(floor));
}

// Reads or writes one row (stride 1) or column (stride 8) of a block.
template <typename V, typename T>
V line(const Block<T>& block, size_t first, size_t stride) {
  V x;
  for (size_t i = 0; i < 8; ++i) x[i] = block[first + i * stride];
  return x;
}
template <typename V, typename T>
void setLine(Block<T>& block, size_t first, size_t stride, const V& x) {
  for (size_t i = 0; i < 8; ++i) block[first + i * stride] = static_cast<T>(x[i]);
}

constexpr int kInvRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

Eight invRow(const Eight& values, int row) {
  const int* c = rowClass(row);
  const int64_t round = kInvRounding[row];
  int64_t x[8];
  for (size_t i = 0; i < 8; ++i) x[i] = values[i];
  const int64_t e[4] = {
      c[4] * x[0] + c[2] * x[2] + c[4] * x[4] + c[6] * x[6] + round,
      c[4] * x[0] + c[6] * x[2] - c[4] * x[4] - c[2] * x[6] + round,
      c[4] * x[0] - c[6] * x[2] - c[4] * x[4] + c[2] * x[6] + round,
      c[4] * x[0] - c[2] * x[2] + c[4] * x[4] - c[6] * x[6] + round,
  };
  const int64_t o[4] = {
      c[1] * x[1] + c[3] * x[3] + c[5] * x[5] + c[7] * x[7],
      c[3] * x[1] - c[7] * x[3] - c[1] * x[5] - c[5] * x[7],
      c[5] * x[1] - c[1] * x[3] + c[7] * x[5] + c[3] * x[7],
      c[7] * x[1] - c[5] * x[3] + c[3] * x[5] - c[1] * x[7],
  };
  Eight out;
  for (size_t i = 0; i < 4; ++i) {
    out[i] = sat(wrap32(e[i] + o[i]) >> 11);
    out[7 - i] = sat(wrap32(e[i] - o[i]) >> 11);
  }
  return out;
}

constexpr int kTan1 = 13036, kTan2 = 27146, kTan3Minus1 = -21746, kCos4Minus1 = -19195;

// The part of the inverse column that all sizes share: odd inputs 1, 3, 5, 7 to A, B, C, D.
struct OddPart {
  int a, b, c, d;
};
OddPart oddPart(int y1, int y3, int y5, int y7) {
  const int p = sat(y1 + mulhi(y7, kTan1));
  const int q = sat(mulhi(y1, kTan1) - y7);
  const int r1 = sat(sat(mulhi(y5, kTan3Minus1) + y5) + y3);
  const int s = sat(y5 - sat(mulhi(y3, kTan3Minus1) + y3));
  return {sat(p - r1), sat(p + r1), sat(q + s), sat(q - s)};
}

// a * sqrt(1/2)
int timesCos4(int a) { return sat(mulhi(a, kCos4Minus1) + a); }

Eight invColumn(const Eight& y) {
  const OddPart odd = oddPart(y[1], y[3], y[5], y[7]);
  const int u = sat(y[2] + mulhi(y[6], kTan2)), v = sat(mulhi(y[2], kTan2) - y[6]);
  const int w2 = timesCos4(sat(odd.a - odd.d)), x2 = timesCos4(sat(odd.a + odd.d));
  const int g = sat(y[0] + y[4]), h = sat(y[0] - y[4]);
  const int i0 = sat(g + u), i3 = sat(g - u), i1 = sat(h + v), i2 = sat(h - v);
  return {sat(i0 + odd.b) >> 6, sat(i1 + x2) >> 6, sat(i2 + w2) >> 6, sat(i3 + odd.c) >> 6,
          sat(i3 - odd.c) >> 6, sat(i2 - w2) >> 6, sat(i1 - x2) >> 6, sat(i0 - odd.b) >> 6};
}

// The block with everything outside its top left size x size corner cleared.
Block<int16_t> corner(const Block<int16_t>& block, size_t size) {
  Block<int16_t> out{};
  for (size_t y = 0; y < size; ++y)
    for (size_t x = 0; x < size; ++x) out[8 * y + x] = block[8 * y + x];
  return out;
}

// Rows of the reduced transforms. The two rounding terms of a class belong to its upper and its lower row.
struct Row4x4 {
  int row, a, b, c, p1, p3, p5, p7, q1, q3, q5, q7, round;
};
constexpr Row4x4 kRows4x4[7] = {
    {0, 16384, 15137, 6270, 20995, 7373, -4926, -4176, 8697, -17799, 11893, -1730, 66560},
    {1, 22725, 20995, 8697, 29121, 10226, -6833, -5793, 12063, -24688, 16496, -2399, 5802},
    {2, 21407, 19777, 8192, 27432, 9633, -6436, -5457, 11363, -23256, 15539, -2260, 4520},
    {3, 19266, 17799, 7373, 24688, 8669, -5793, -4911, 10226, -20929, 13985, -2034, 3408},
    {5, 19266, 17799, 7373, 24688, 8669, -5793, -4911, 10226, -20929, 13985, -2034, 910},
    {6, 21407, 19777, 8192, 27432, 9633, -6436, -5457, 11363, -23256, 15539, -2260, 1024},
    {7, 22725, 20995, 8697, 29121, 10226, -6833, -5793, 12063, -24688, 16496, -2399, 746},
};
struct Row2x2 {
  int row, a, p1, p3, p5, p7, round;
};
constexpr Row2x2 kRows2x2[5] = {
    {0, 16384, 14846, -5213, 3483, -2953, 67072}, {1, 22725, 20592, -7231, 4832, -4096, 5802},
    {3, 19266, 17457, -6130, 4096, -3472, 3408},  {5, 19266, 17457, -6130, 4096, -3472, 910},
    {7, 22725, 20592, -7231, 4832, -4096, 746},
};

// Float DCT, single precision throughout.
constexpr float kCos4F = 0.70710677f, kTan1F = 0.19891237f, kTan2F = 0.41421357f, kTan3F = 0.66817862f;

// The product of the exact cosine scales of row u and column v, rounded once.
float scale(int u, int v) {
  const auto s = [](int k) {
    constexpr long double pi = std::numbers::pi_v<long double>;
    if (k == 1 || k == 7) return std::cos(pi / 16) / 2;
    if (k == 2 || k == 6) return std::cos(2 * pi / 16) / 2;
    if (k == 3 || k == 5) return std::cos(3 * pi / 16) / 2;
    return std::sqrt(0.125L);
  };
  return static_cast<float>(s(u) * s(v));
}

// A float as a 32-bit integer; what does not fit gives the lowest one, as the processor's conversion has it.
int32_t toInt32(float rounded) {
  if (rounded >= -2147483648.0f && rounded < 2147483648.0f) return static_cast<int32_t>(rounded);
  return INT32_MIN;
}

EightF fwdPassF(const EightF& x) {
  const float a0 = x[0] + x[7], a1 = x[1] + x[6], a2 = x[2] + x[5], a3 = x[3] + x[4];
  const float b0 = x[0] - x[7], b1 = x[1] - x[6], b2 = x[2] - x[5], b3 = x[3] - x[4];
  const float s0 = a0 + a3, s3 = a0 - a3, s1 = a1 + a2, s2 = a1 - a2;
  const float u = b1 + b2, v = b1 - b2;
  const float e = std::fma(v, kCos4F, b3), h = std::fma(v, -kCos4F, b3);
  const float f = std::fma(u, kCos4F, b0), g = std::fma(u, -kCos4F, b0);
  EightF o;
  o[0] = s0 + s1;
  o[1] = std::fma(e, kTan1F, f);
  o[2] = std::fma(s2, kTan2F, s3);
  o[3] = std::fma(h, -kTan3F, g);
  o[4] = s0 - s1;
  o[5] = std::fma(g, kTan3F, h);
  o[6] = std::fma(s3, kTan2F, -s2);
  o[7] = std::fma(f, kTan1F, -e);
  return o;
}

EightF invPassF(const EightF& z) {
  const float p = std::fma(z[7], kTan1F, z[1]), q = std::fma(z[1], kTan1F, -z[7]);
  const float r1 = std::fma(z[5], kTan3F, z[3]), s = std::fma(z[3], -kTan3F, z[5]);
  const float b = p + r1, a = p - r1, c = q + s, d = q - s;
  const float g = z[0] + z[4], h = z[0] - z[4];
  const float u = std::fma(z[6], kTan2F, z[2]), v = std::fma(z[2], kTan2F, -z[6]);
  const float x = a + d, w = a - d;
  const float i0 = g + u, i3 = g - u, i1 = h + v, i2 = h - v;
  EightF o;
  o[0] = i0 + b;
  o[1] = std::fma(x, kCos4F, i1);
  o[2] = std::fma(w, kCos4F, i2);
  o[3] = i3 + c;
  o[4] = i3 - c;
  o[5] = std::fma(w, -kCos4F, i2);
  o[6] = std::fma(x, -kCos4F, i1);
  o[7] = i0 - b;
  return o;
}

}  // namespace

int16_t sub128(uint8_t sample) { return static_cast<int16_t>(sample - 128); }

uint8_t add128(int16_t value) { return clamp8(value + 128); }

std::array<int, 64> naturalOfZigZag() {
  std::array<int, 64> natural{};
  size_t index = 0;
  for (int diagonal = 0; diagonal <= 14; ++diagonal) {
    for (int step = 0; step <= diagonal; ++step) {
      const int row = diagonal % 2 == 0 ? diagonal - step : step;  // even diagonals run up, odd ones down
      const int column = diagonal - row;
      if (row < 8 && column < 8) natural[index++] = 8 * row + column;
    }
  }
  return natural;
}

Block<uint8_t> scaledRawTable(const Block<uint8_t>& raw, int32_t quality) {
  const int64_t s = quality < 50 ? 5000 / quality : 200 - 2 * int64_t{quality};
  Block<uint8_t> out;
  for (size_t i = 0; i < 64; ++i) out[i] = static_cast<uint8_t>(std::clamp<int64_t>((raw[i] * s + 50) / 100, 1, 255));
  return out;
}

Block<uint16_t> quantFwdTable(const Block<uint8_t>& raw) {
  const std::array<int, 64> natural = naturalOfZigZag();
  Block<uint16_t> out;
  for (size_t i = 0; i < 64; ++i) {
    const int q = raw[i];
    const int nearest = q == 0 ? 65535 : (2 * 32768 + q) / (2 * q);
    out[static_cast<size_t>(natural[i])] = static_cast<uint16_t>(nearest);
  }
  return out;
}

Block<uint16_t> quantInvTable(const Block<uint8_t>& raw) {
  const std::array<int, 64> natural = naturalOfZigZag();
  Block<uint16_t> out;
  for (size_t i = 0; i < 64; ++i) out[static_cast<size_t>(natural[i])] = raw[i];
  return out;
}

Block<int16_t> quantFwd8x8(const Block<int16_t>& block, const Block<uint16_t>& fwdTable) {
  Block<int16_t> out;
  for (size_t i = 0; i < 64; ++i) {
    const int a = shl(block[i], 3);
    const int h = fwdTable[i] >> 1;
    const int p = mulhi(a, h);
    out[i] = static_cast<int16_t>((p + 1) >> 1);
  }
  return out;
}

Block<int16_t> quantInv8x8(const Block<int16_t>& block, const Block<uint16_t>& invTable) {
  Block<int16_t> out;
  for (size_t i = 0; i < 64; ++i) out[i] = static_cast<int16_t>(int64_t{block[i]} * invTable[i]);
  return out;
}

Block<int16_t> dctQuantFwd8x8(const Block<int16_t>& src, const Block<uint16_t>& fwdTable) {
  Block<int16_t> work = src;
  for (size_t x = 0; x < 8; ++x) setLine(work, x, 8, fwdColumn(line<Eight>(work, x, 8)));
  for (size_t y = 0; y < 8; ++y) setLine(work, 8 * y, 1, fwdRow(line<Eight>(work, 8 * y, 1), static_cast<int>(y)));
  for (size_t i = 0; i < 64; ++i) work[i] = static_cast<int16_t>(scaleToEven(work[i], fwdTable[i]));
  return work;
}

Block<int16_t> dctQuantFwd8x8LS(const Block<uint8_t>& src, const Block<uint16_t>& fwdTable) {
  Block<int16_t> shifted;
  for (size_t i = 0; i < 64; ++i) shifted[i] = sub128(src[i]);
  return dctQuantFwd8x8(shifted, fwdTable);
}

Block<int16_t> dctQuantFwd8x8LS(const Block<uint16_t>& src, const Block<float>& fwdTable) {
  Block<float> work;
  for (size_t i = 0; i < 64; ++i) work[i] = static_cast<float>(static_cast<int16_t>(src[i])) - 2048.0f;
  for (size_t y = 0; y < 8; ++y) setLine(work, 8 * y, 1, fwdPassF(line<EightF>(work, 8 * y, 1)));
  for (size_t x = 0; x < 8; ++x) setLine(work, x, 8, fwdPassF(line<EightF>(work, x, 8)));
  Block<int16_t> out;
  for (size_t i = 0; i < 64; ++i) {
    const float scaled = work[i] * scale(static_cast<int>(i) / 8, static_cast<int>(i) % 8);
    out[i] = static_cast<int16_t>(sat(toInt32(std::nearbyint(scaled * fwdTable[i]))));
  }
  return out;
}

Block<int16_t> dctQuantInv8x8(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  Block<int16_t> work = quantInv8x8(src, invTable);
  for (size_t y = 0; y < 8; ++y) setLine(work, 8 * y, 1, invRow(line<Eight>(work, 8 * y, 1), static_cast<int>(y)));
  for (size_t x = 0; x < 8; ++x) setLine(work, x, 8, invColumn(line<Eight>(work, x, 8)));
  return work;
}

Block<uint8_t> dctQuantInv8x8LS(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  const Block<int16_t> values = dctQuantInv8x8(src, invTable);
  Block<uint8_t> out;
  for (size_t i = 0; i < 64; ++i) out[i] = add128(values[i]);
  return out;
}

Block<uint8_t> dctQuantInv8x8LS_1x1(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  const int32_t product = wrap32(int64_t{src[0]} * invTable[0]);
  const uint32_t shifted = (static_cast<uint32_t>(product) >> 3) + 128;
  Block<uint8_t> out;
  out.fill(clamp8(static_cast<int16_t>(shifted)));
  return out;
}

Block<uint8_t> dctQuantInv8x8LS_2x2(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  return dctQuantInv8x8LS(corner(src, 2), invTable);
}

Block<uint8_t> dctQuantInv8x8LS_4x4(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  return dctQuantInv8x8LS(corner(src, 4), invTable);
}

std::array<uint8_t, 4> dctQuantInv8x8To2x2LS(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  const Block<int16_t> values = quantInv8x8(src, invTable);
  int rows[8][2] = {};
  for (const Row2x2& k : kRows2x2) {
    const int16_t* x = &values[static_cast<size_t>(8 * k.row)];
    const int64_t e = int64_t{k.a} * x[0];
    const int64_t o = int64_t{k.p1} * x[1] + int64_t{k.p3} * x[3] + int64_t{k.p5} * x[5] + int64_t{k.p7} * x[7];
    rows[k.row][0] = sat(wrap32(e + o + k.round) >> 12);
    rows[k.row][1] = sat(wrap32(e - o + k.round) >> 12);
  }
  std::array<uint8_t, 4> out;
  for (size_t x = 0; x < 2; ++x) {
    const OddPart odd = oddPart(rows[1][x], rows[3][x], rows[5][x], rows[7][x]);
    const int a2 = timesCos4(odd.a);
    const int w = sat(sat(odd.c + odd.b) + sat(a2 + a2));
    const int z = sat(sat(rows[0][x] + rows[0][x]) + sat(rows[0][x] + rows[0][x]));
    out[x] = clamp8(sat((sat(z + w) >> 7) + 128));
    out[2 + x] = clamp8(sat((sat(z - w) >> 7) + 128));
  }
  return out;
}

std::array<uint8_t, 16> dctQuantInv8x8To4x4LS(const Block<int16_t>& src, const Block<uint16_t>& invTable) {
  const Block<int16_t> values = quantInv8x8(src, invTable);
  int rows[8][4] = {};
  for (const Row4x4& k : kRows4x4) {
    const int16_t* x = &values[static_cast<size_t>(8 * k.row)];
    const int64_t ax0 = int64_t{k.a} * x[0];
    const int64_t e0 = ax0 + int64_t{k.b} * x[2] - int64_t{k.c} * x[6];
    const int64_t e1 = ax0 - int64_t{k.b} * x[2] + int64_t{k.c} * x[6];
    const int64_t o0 = int64_t{k.p1} * x[1] + int64_t{k.p3} * x[3] + int64_t{k.p5} * x[5] + int64_t{k.p7} * x[7];
    const int64_t o1 = int64_t{k.q1} * x[1] + int64_t{k.q3} * x[3] + int64_t{k.q5} * x[5] + int64_t{k.q7} * x[7];
    rows[k.row][0] = sat(wrap32(e0 + o0 + k.round) >> 12);
    rows[k.row][1] = sat(wrap32(e1 + o1 + k.round) >> 12);
    rows[k.row][2] = sat(wrap32(e1 - o1 + k.round) >> 12);
    rows[k.row][3] = sat(wrap32(e0 - o0 + k.round) >> 12);
  }
  std::array<uint8_t, 16> out;
  for (size_t x = 0; x < 4; ++x) {
    const OddPart odd = oddPart(rows[1][x], rows[3][x], rows[5][x], rows[7][x]);
    const int u = sat(rows[2][x] + mulhi(rows[6][x], kTan2)), v = sat(mulhi(rows[2][x], kTan2) - rows[6][x]);
    const int w2 = timesCos4(sat(odd.a - odd.d)), x2 = timesCos4(sat(odd.a + odd.d));
    const int z = sat(rows[0][x] + rows[0][x]), uv = sat(u + v);
    const int l0 = sat(z + uv), l1 = sat(z - uv);
    const int m0 = sat(x2 + odd.b), m1 = sat(odd.c + w2);
    out[x] = clamp8(sat((sat(l0 + m0) >> 6) + 128));
    out[4 + x] = clamp8(sat((sat(l1 + m1) >> 6) + 128));
    out[8 + x] = clamp8(sat((sat(l1 - m1) >> 6) + 128));
    out[12 + x] = clamp8(sat((sat(l0 - m0) >> 6) + 128));
  }
  return out;
}

Block<uint16_t> dctQuantInv8x8LS(const Block<int16_t>& src, const Block<float>& invTable) {
  Block<float> work;
  for (size_t i = 0; i < 64; ++i) {
    const float dequantised = static_cast<float>(src[i]) * invTable[i];
    work[i] = dequantised * scale(static_cast<int>(i) / 8, static_cast<int>(i) % 8);
  }
  for (size_t y = 0; y < 8; ++y) setLine(work, 8 * y, 1, invPassF(line<EightF>(work, 8 * y, 1)));
  for (size_t x = 0; x < 8; ++x) setLine(work, x, 8, invPassF(line<EightF>(work, x, 8)));
  Block<uint16_t> out;
  for (size_t i = 0; i < 64; ++i) {
    const int value = sat(toInt32(std::trunc(work[i] + 2048.0f)));
    out[i] = static_cast<uint16_t>(std::clamp(value, 0, 4095));
  }
  return out;
}

}  // namespace model
