#include "model/texture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>

#include "texture/bc6_tables.h"
#include "texture/bc7_tables.h"

namespace model {

namespace {

// Bits of a block, the lowest of byte 0 first.
class BitReader {
 public:
  explicit BitReader(const uint8_t* block) : block_(block) {}

  int take(int count) {
    int v = 0;
    for (int i = 0; i < count; ++i, ++at_) v |= (block_[at_ / 8] >> (at_ % 8) & 1) << i;
    return v;
  }

 private:
  const uint8_t* block_;
  int at_ = 0;
};

using Block8 = std::array<std::array<uint8_t, 4>, 16>;  // pixels of up to four channels
using Channel = std::array<uint8_t, 16>;

int word(const uint8_t* p) { return p[0] | p[1] << 8; }

void decodeColours(const uint8_t* block, bool dxt1, Block8& out) {
  const int ends[2] = {word(block), word(block + 2)};
  int p[4][4];
  for (int i = 0; i < 2; ++i) {
    const int r = ends[i] >> 11, g = ends[i] >> 5 & 63, b = ends[i] & 31;
    p[i][0] = r << 3 | r >> 2;
    p[i][1] = g << 2 | g >> 4;
    p[i][2] = b << 3 | b >> 2;
    p[i][3] = 255;
  }
  for (int c = 0; c < 4; ++c) {
    if (dxt1 && ends[0] <= ends[1]) {
      p[2][c] = (p[0][c] + p[1][c]) >> 1;
      p[3][c] = 255;
    } else {
      p[2][c] = (2 * p[0][c] + p[1][c]) / 3;
      p[3][c] = (p[0][c] + 2 * p[1][c]) / 3;
    }
  }
  BitReader indices(block + 4);
  for (auto& pixel : out) {
    const int index = indices.take(2);
    for (size_t c = 0; c < 4; ++c) pixel[c] = static_cast<uint8_t>(p[index][c]);
  }
}

Channel decodeChannel(const uint8_t* block) {
  const int a = block[0], b = block[1];
  int p[8] = {a, b};
  if (a > b) {
    p[2] = (6 * a + b + 3) / 7;
    p[3] = (5 * a + 2 * b + 3) / 7;
    p[4] = (4 * a + 3 * b + 3) / 7;
    p[5] = (3 * a + 4 * b + 3) / 7;
    p[6] = (2 * a + 5 * b + 3) / 7;
    p[7] = (a + 6 * b + 3) / 7;
  } else {
    p[2] = (4 * a + b + 2) / 5;
    p[3] = (3 * a + 2 * b + 2) / 5;
    p[4] = (2 * a + 3 * b + 2) / 5;
    p[5] = (a + 4 * b + 2) / 5;
    p[6] = 0;
    p[7] = 255;
  }
  BitReader indices(block + 2);
  Channel out;
  for (uint8_t& v : out) v = static_cast<uint8_t>(p[indices.take(3)]);
  return out;
}

bool isAnchor(int subsets, int partition, int pixel) {
  if (pixel == 0) return true;
  if (subsets == 2) return pixel == texture::kAnchors2[partition];
  return subsets == 3 &&
         (pixel == texture::kAnchors3[partition].second || pixel == texture::kAnchors3[partition].third);
}

void decodeBc7(const uint8_t* block, Block8& out) {
  if (block[0] == 0) {
    out = {};
    return;
  }
  BitReader bits(block);
  int mode = 0;
  while (bits.take(1) == 0) ++mode;
  const texture::Bc7Mode m = texture::kBc7Modes[mode];
  const int partition = bits.take(m.partitionBits), rotation = bits.take(m.rotationBits);
  const int selection = bits.take(m.selectionBits), ends = 2 * m.subsets;
  int end[6][4];
  for (int c = 0; c < 4; ++c)
    for (int e = 0; e < ends; ++e) end[e][c] = bits.take(c < 3 ? m.colourBits : m.alphaBits);
  int p[6] = {};
  if (m.pBitsPerSubset == 2)
    for (int e = 0; e < ends; ++e) p[e] = bits.take(1);
  if (m.pBitsPerSubset == 1)
    for (int s = 0; s < m.subsets; ++s) p[2 * s] = p[2 * s + 1] = bits.take(1);
  for (int e = 0; e < ends; ++e)
    for (int c = 0; c < 4; ++c) {
      int size = c < 3 ? m.colourBits : m.alphaBits;
      if (size == 0) {
        end[e][c] = 255;
        continue;
      }
      int v = end[e][c];
      if (m.pBitsPerSubset > 0) {
        v = v << 1 | p[e];
        ++size;
      }
      v <<= 8 - size;
      end[e][c] = v | v >> size;
    }
  int index[2][16];
  for (int i = 0; i < 16; ++i) index[0][i] = bits.take(m.indexBits - isAnchor(m.subsets, partition, i));
  for (int i = 0; i < 16; ++i) index[1][i] = m.secondIndexBits ? bits.take(m.secondIndexBits - (i == 0)) : index[0][i];
  const int planeBits[2] = {m.indexBits, m.secondIndexBits ? m.secondIndexBits : m.indexBits};
  for (int i = 0; i < 16; ++i) {
    const int subset = texture::subsetOf(m.subsets, partition, i);
    int v[4];
    for (int c = 0; c < 4; ++c) {
      const int plane = (c == 3) != (selection == 1);
      const int w = texture::weightOf(planeBits[plane], index[plane][i]);
      v[c] = ((64 - w) * end[2 * subset][c] + w * end[2 * subset + 1][c] + 32) >> 6;
    }
    if (rotation > 0) std::swap(v[3], v[rotation - 1]);
    for (size_t c = 0; c < 4; ++c) out[static_cast<size_t>(i)][c] = static_cast<uint8_t>(v[c]);
  }
}

// Three 16-bit patterns a pixel.
using Block16 = std::array<std::array<uint16_t, 3>, 16>;

int64_t signExtend(int64_t v, int bits) {
  const int64_t range = int64_t{1} << bits;
  v &= range - 1;
  return v >= range / 2 ? v - range : v;
}

int64_t unquantise(int64_t v, int bits, bool isSigned) {
  if (isSigned) {
    if (bits >= 16 || v == 0) return v;
    const int64_t m = std::abs(v);
    const int64_t u = m == (1 << (bits - 1)) - 1 ? 0x7FFF : ((m << 15) + 0x4000) >> (bits - 1);
    return v < 0 ? -u : u;
  }
  if (bits >= 15 || v == 0) return v;
  if (v == (1 << bits) - 1) return 0xFFFF;
  return (v * 65536 + 0x8000) >> bits;
}

void decodeBc6(const uint8_t* block, bool isSigned, Block16& out) {
  out = {};
  const int mode = texture::bc6ModeOf(block[0]);
  if (mode == texture::kBc6Reserved) return;
  const texture::Bc6Mode m = texture::kBc6Modes[mode];
  int field[texture::kBc6Fields] = {};
  BitReader bits(block);
  bits.take(mode < 2 ? 2 : 5);
  for (const texture::Bc6Piece& piece : texture::kBc6Pieces) {
    if (piece.mode != mode) continue;
    for (int i = 0; i <= piece.high - piece.low; ++i)
      field[piece.field] |= bits.take(1) << (piece.reversed ? piece.high - i : piece.low + i);
  }
  int64_t end[3][4];
  for (int c = 0; c < 3; ++c) {
    int64_t base = field[4 * c];
    if (isSigned) base = signExtend(base, m.endBits);
    for (int e = 0; e < 2 * m.subsets; ++e) {
      int64_t v = e == 0 ? base : field[4 * c + e];
      if (e > 0) {
        if (isSigned || m.transformed) v = signExtend(v, m.deltaBits[c]);
        if (m.transformed) {
          v += base;
          v = v >= 0 ? v & ((1 << m.endBits) - 1) : v | ~((int64_t{1} << (m.endBits + 1)) - 1);
        }
      }
      end[c][e] = unquantise(v, m.endBits, isSigned);
    }
  }
  for (int i = 0; i < 16; ++i) {
    const int subset = texture::subsetOf(m.subsets, field[texture::shape], i);
    const int w =
        texture::weightOf(m.indexBits(), bits.take(m.indexBits() - isAnchor(m.subsets, field[texture::shape], i)));
    for (int c = 0; c < 3; ++c) {
      const int64_t a = end[c][2 * subset], b = end[c][2 * subset + 1];
      const int64_t sum = (b - a) * w + a * 64 + 32;
      int64_t pattern;
      if (isSigned) {
        const int64_t t = sum >> 6, magnitude = (std::abs(t) * 31) >> 5;
        pattern = magnitude | (t < 0 && magnitude != 0 ? 0x8000 : 0);
      } else {
        pattern = static_cast<int64_t>(static_cast<uint32_t>(static_cast<uint32_t>(sum) >> 6) * 31u >> 6) & 0xFFFF;
      }
      out[static_cast<size_t>(i)][static_cast<size_t>(c)] = static_cast<uint16_t>(pattern);
    }
  }
}

void decodeBlock(Texture format, const uint8_t* block, Bytes (&pixels)[16]) {
  Block8 colours{};
  switch (format) {
    case Texture::kDxt1:
      decodeColours(block, true, colours);
      break;
    case Texture::kDxt3:
      decodeColours(block + 8, false, colours);
      for (size_t i = 0; i < 16; ++i)
        colours[i][3] = static_cast<uint8_t>((word(block + i / 4 * 2) >> (4 * (i % 4)) & 15) << 4);
      break;
    case Texture::kDxt5: {
      decodeColours(block + 8, false, colours);
      const Channel alpha = decodeChannel(block);
      for (size_t i = 0; i < 16; ++i) colours[i][3] = alpha[i];
      break;
    }
    case Texture::kBc4:
    case Texture::kBc5:
      for (size_t c = 0; c < (format == Texture::kBc5 ? 2 : 1); ++c) {
        const Channel channel = decodeChannel(block + 8 * c);
        for (size_t i = 0; i < 16; ++i) colours[i][c] = channel[i];
      }
      break;
    case Texture::kBc7:
      decodeBc7(block, colours);
      break;
    case Texture::kBc6Signed:
    case Texture::kBc6Unsigned: {
      Block16 half;
      decodeBc6(block, format == Texture::kBc6Signed, half);
      for (size_t i = 0; i < 16; ++i) {
        pixels[i].clear();
        for (const uint16_t v : half[i])
          pixels[i].insert(pixels[i].end(), {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)});
      }
      return;
    }
    case Texture::kYCoCg:
      throw std::logic_error("has no decoder");
  }
  for (size_t i = 0; i < 16; ++i) pixels[i].assign(colours[i].begin(), colours[i].begin() + pixelBytesOf(format));
}

// Encoding.

uint8_t low8(int v) { return static_cast<uint8_t>(v); }

// Indices of some bits, pixel 0 lowest.
void appendIndices(const std::array<int, 16>& indices, int bits, Bytes& block) {
  uint64_t all = 0;
  for (size_t i = 0; i < 16; ++i) all |= static_cast<uint64_t>(indices[i]) << (static_cast<size_t>(bits) * i);
  for (int i = 0; i < 2 * bits; ++i) block.push_back(static_cast<uint8_t>(all >> (8 * i)));
}

std::array<int, 16> channelIndices(const Channel& values, int high, int low) {
  const int m = (high - low) / 14;
  std::array<int, 16> indices;
  for (size_t i = 0; i < 16; ++i) {
    int n = 0;
    for (int k = 1; k <= 6; ++k) n += values[i] <= ((((7 - k) * high + k * low) / 7 + m) & 255);
    n += values[i] <= ((low + m) & 255);
    int index = (n + 1) & 7;
    if (index < 2) index ^= 1;
    indices[i] = index;
  }
  return indices;
}

void encodeChannel(const Channel& values, bool inset, Bytes& block) {
  const int min = *std::min_element(values.begin(), values.end());
  const int max = *std::max_element(values.begin(), values.end());
  const int by = inset ? (max - min) >> 4 : 0, high = max - by, low = min + by;
  block.insert(block.end(), {low8(high), low8(low)});
  appendIndices(channelIndices(values, high, low), 3, block);
}

// The index of one pixel by its distances from the four colours of a palette.
int nearestOf(const int (&d)[4]) {
  const int lowBit = d[0] > d[3] && d[2] > d[3];
  const int highBit = (d[1] > d[2] && d[0] > d[2]) || (d[0] > d[3] && d[1] > d[3]);
  return highBit << 1 | lowBit;
}

template <size_t kChannels>
std::array<int, 16> paletteIndices(const std::array<std::array<int, kChannels>, 16>& pixels,
                                   const std::array<int, kChannels>& p0, const std::array<int, kChannels>& p1) {
  std::array<int, 16> indices;
  for (size_t i = 0; i < 16; ++i) {
    int d[4] = {};
    for (size_t c = 0; c < kChannels; ++c) {
      const int p[4] = {p0[c], p1[c], (2 * p0[c] + p1[c]) / 3, (p0[c] + 2 * p1[c]) / 3};
      for (int k = 0; k < 4; ++k) d[k] += std::abs(pixels[i][c] - p[k]);
    }
    indices[i] = nearestOf(d);
  }
  return indices;
}

void encodeColours(const Block8& pixels, Bytes& block) {
  std::array<int, 3> high, low, p0, p1;
  std::array<std::array<int, 3>, 16> colours;
  for (size_t c = 0; c < 3; ++c) {
    int min = 255, max = 0;
    for (size_t i = 0; i < 16; ++i) {
      colours[i][c] = pixels[i][c];
      min = std::min<int>(min, pixels[i][c]);
      max = std::max<int>(max, pixels[i][c]);
    }
    const int inset = (max - min) >> 4;
    high[c] = std::max(0, max - inset);
    low[c] = std::min(255, min + inset);
    const auto widened = [c](int v) { return c == 1 ? (v & 0xFC) | v >> 6 : (v & 0xF8) | v >> 5; };
    p0[c] = widened(high[c]);
    p1[c] = widened(low[c]);
  }
  for (const auto& end : {high, low}) {
    const int v = (end[0] & 0xF8) << 8 | (end[1] & 0xFC) << 3 | end[2] >> 3;
    block.insert(block.end(), {low8(v), low8(v >> 8)});
  }
  appendIndices(paletteIndices(colours, p0, p1), 2, block);
}

void encodeYCoCg(const Block8& pixels, Bytes& block) {
  Channel luma;
  for (size_t i = 0; i < 16; ++i) luma[i] = pixels[i][0];
  encodeChannel(luma, false, block);

  int min[2] = {255, 255}, max[2] = {0, 0}, m = 0;
  for (size_t c = 0; c < 2; ++c)
    for (const auto& pixel : pixels) {
      min[c] = std::min<int>(min[c], pixel[c + 1]);
      max[c] = std::max<int>(max[c], pixel[c + 1]);
    }
  for (size_t c = 0; c < 2; ++c) m = std::max({m, std::abs(min[c] - 128), std::abs(max[c] - 128)});
  const int scale = m <= 31 ? 4 : m <= 63 ? 2 : 1;
  const auto scaled = [scale](int c) { return ((c - 128) * scale + 128) & 255; };

  std::array<std::array<int, 2>, 16> chroma;
  std::array<int, 2> high, low;
  for (size_t c = 0; c < 2; ++c) {
    for (size_t i = 0; i < 16; ++i) chroma[i][c] = scaled(pixels[i][c + 1]);
    const int top = scaled(max[c]), bottom = scaled(min[c]), r = top - bottom;
    const int hi = std::min(255, ((top << 4) - (r - 7)) >> 4);
    const int lo = static_cast<int>(static_cast<uint32_t>((bottom << 4) + (r - 7)) >> 4) & 255;
    const auto widened = [c](int v) { return c == 1 ? (v & 0xFC) | v >> 6 : (v & 0xF8) | v >> 5; };
    high[c] = widened(hi);
    low[c] = widened(lo);
  }
  int side = 0;
  for (const auto& pixel : chroma)
    side += (pixel[0] >= (high[0] + low[0] + 1) >> 1) != (pixel[1] >= (high[1] + low[1] + 1) >> 1);
  if (side > 8) std::swap(high[1], low[1]);
  for (const auto& end : {high, low}) {
    const int v = (end[0] & 0xF8) << 8 | (end[1] & 0xFC) << 3 | (scale - 1);
    block.insert(block.end(), {low8(v), low8(v >> 8)});
  }
  appendIndices(paletteIndices(chroma, high, low), 2, block);
}

void encodeBlock(Texture format, const Block8& pixels, Bytes& stream) {
  const auto channel = [&](size_t c) {
    Channel values;
    for (size_t i = 0; i < 16; ++i) values[i] = pixels[i][c];
    return values;
  };
  switch (format) {
    case Texture::kDxt1:
      return encodeColours(pixels, stream);
    case Texture::kDxt3:
      for (size_t i = 0; i < 16; i += 2)
        stream.push_back(static_cast<uint8_t>(pixels[i][3] >> 4 | (pixels[i + 1][3] & 0xF0)));
      return encodeColours(pixels, stream);
    case Texture::kDxt5:
      encodeChannel(channel(3), true, stream);
      return encodeColours(pixels, stream);
    case Texture::kBc5:
      encodeChannel(channel(0), true, stream);
      return encodeChannel(channel(1), true, stream);
    case Texture::kBc4:
      return encodeChannel(channel(0), true, stream);
    case Texture::kYCoCg:
      return encodeYCoCg(pixels, stream);
    default:
      throw std::logic_error("has no encoder");
  }
}

}  // namespace

int32_t blockBytesOf(Texture format) { return format == Texture::kDxt1 || format == Texture::kBc4 ? 8 : 16; }

int32_t pixelBytesOf(Texture format) {
  switch (format) {
    case Texture::kBc4:
      return 1;
    case Texture::kBc5:
      return 2;
    case Texture::kYCoCg:
      return 3;
    case Texture::kBc6Signed:
    case Texture::kBc6Unsigned:
      return 6;
    default:
      return 4;
  }
}

Bytes decodeTexture(Texture format, const Bytes& stream, int32_t width, int32_t height) {
  const int32_t across = (width + 3) / 4, pixelBytes = pixelBytesOf(format);
  Bytes out(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(pixelBytes));
  for (int32_t by = 0; by < (height + 3) / 4; ++by)
    for (int32_t bx = 0; bx < across; ++bx) {
      Bytes pixels[16];
      decodeBlock(format, stream.data() + ptrdiff_t{by * across + bx} * blockBytesOf(format), pixels);
      for (int32_t i = 0; i < 16; ++i) {
        const int32_t x = 4 * bx + i % 4, y = 4 * by + i / 4;
        if (x < width && y < height)
          std::copy(pixels[i].begin(), pixels[i].end(), out.begin() + ptrdiff_t{y * width + x} * pixelBytes);
      }
    }
  return out;
}

Bytes encodeTexture(Texture format, const Bytes& pixels, int32_t width, int32_t height) {
  const int32_t pixelBytes = pixelBytesOf(format);
  Bytes stream;
  for (int32_t by = 0; by < (height + 3) / 4; ++by)
    for (int32_t bx = 0; bx < (width + 3) / 4; ++bx) {
      Block8 block{};
      for (int32_t i = 0; i < 16; ++i) {
        const int32_t x = std::min(width - 1, 4 * bx + i % 4), y = std::min(height - 1, 4 * by + i / 4);
        for (int32_t c = 0; c < pixelBytes; ++c)
          block[static_cast<size_t>(i)][static_cast<size_t>(c)] =
              pixels[static_cast<size_t>((y * width + x) * pixelBytes + c)];
      }
      encodeBlock(format, block, stream);
    }
  return stream;
}

}  // namespace model
