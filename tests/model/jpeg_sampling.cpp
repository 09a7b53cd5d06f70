// One formula a destination sample, in whole numbers; nothing here knows of vectors or of edges in memory.
#include "model/jpeg_sampling.h"

#include <algorithm>

namespace model {
namespace {

std::vector<uint8_t> plane(int width, int height, const std::function<int(int i, int j)>& formula) {
  std::vector<uint8_t> out;
  for (int j = 0; j < height; ++j)
    for (int i = 0; i < width; ++i) out.push_back(static_cast<uint8_t>(formula(i, j)));
  return out;
}

uint8_t sat8(int v) { return static_cast<uint8_t>(std::clamp(v, 0, 255)); }

// Place of the luma sample of pixel (x, y): blocks of 64 in raster order, `across` of them side by side.
size_t lumaPlace(int x, int y, McuShape shape) {
  const int block = shape.across * (y / 8) + x / 8;
  return static_cast<size_t>(block * 64 + (y % 8) * 8 + x % 8);
}

McuBlocks emptyBlocks(McuShape shape) {
  McuBlocks blocks;
  blocks.y.resize(static_cast<size_t>(64 * shape.across * shape.down));
  blocks.cb.resize(64);
  blocks.cr.resize(64);
  return blocks;
}

}  // namespace

std::vector<uint8_t> downPlaneH2V1(const SampleAt& s, int width, int height) {
  return plane(width, height, [&](int i, int j) { return (s(2 * i, j) + s(2 * i + 1, j) + 1) >> 1; });
}

std::vector<uint8_t> downPlaneH2V2(const SampleAt& s, int width, int height) {
  return plane(width, height, [&](int i, int j) {
    const int a = s(2 * i, 2 * j) + s(2 * i + 1, 2 * j), b = s(2 * i, 2 * j + 1) + s(2 * i + 1, 2 * j + 1);
    return (a + b + 3) >> 2;
  });
}

std::vector<uint8_t> upPlaneH2V1(const SampleAt& s, int width, int height) {
  return plane(width, height, [&](int i, int j) {
    const int k = i / 2;
    return i % 2 == 0 ? (3 * s(k, j) + s(k - 1, j) + 1) >> 2 : (3 * s(k, j) + s(k + 1, j) + 2) >> 2;
  });
}

std::vector<uint8_t> upPlaneH2V2(const SampleAt& s, int width, int height) {
  return plane(width, height, [&](int i, int j) {
    const int near = j / 2, far = j % 2 == 1 ? near + 1 : near - 1, k = i / 2;
    const auto c = [&](int column) { return 3 * s(column, near) + s(column, far); };
    return i % 2 == 0 ? (3 * c(k) + c(k - 1) + 8) >> 4 : (3 * c(k) + c(k + 1) + 7) >> 4;
  });
}

int downRowOutputs(int srcWidth) { return srcWidth / 2; }
int downTwoRowsOutputs(int srcWidth) { return srcWidth < 32 ? (srcWidth + 1) / 2 : srcWidth / 2; }

std::vector<uint8_t> downRow(const std::vector<uint8_t>& s, int srcWidth) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < static_cast<size_t>(downRowOutputs(srcWidth)); ++i)
    out.push_back(static_cast<uint8_t>((s.at(2 * i) + s.at(2 * i + 1) + (i % 2 == 0 ? 0 : 1)) >> 1));
  return out;
}

std::vector<uint8_t> downTwoRows(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int srcWidth) {
  std::vector<uint8_t> out;
  for (size_t i = 0; i < static_cast<size_t>(downTwoRowsOutputs(srcWidth)); ++i) {
    const int sum = a.at(2 * i) + a.at(2 * i + 1) + b.at(2 * i) + b.at(2 * i + 1);
    out.push_back(static_cast<uint8_t>((sum + (i % 2 == 0 ? 1 : 2)) >> 2));
  }
  return out;
}

std::vector<uint8_t> upRow(const std::vector<uint8_t>& s) {
  const size_t n = s.size();
  std::vector<uint8_t> out(2 * n);
  out.front() = s.front();
  out.back() = s.back();
  for (size_t k = 1; k < n; ++k) out[2 * k] = static_cast<uint8_t>((3 * s[k] + s[k - 1] + 1) >> 2);
  for (size_t k = 0; k + 1 < n; ++k) out[2 * k + 1] = static_cast<uint8_t>((3 * s[k] + s[k + 1] + 2) >> 2);
  return out;
}

std::vector<uint8_t> upNearAndFarRow(const std::vector<uint8_t>& near, const std::vector<uint8_t>& far) {
  const size_t n = near.size();
  std::vector<int> c;
  for (size_t k = 0; k < n; ++k) c.push_back(3 * near[k] + far[k]);
  std::vector<uint8_t> out(2 * n);
  out.front() = static_cast<uint8_t>((4 * c.front() + 8) >> 4);
  out.back() = static_cast<uint8_t>((4 * c.back() + 7) >> 4);
  for (size_t k = 1; k < n; ++k) out[2 * k] = static_cast<uint8_t>((3 * c[k] + c[k - 1] + 8) >> 4);
  for (size_t k = 0; k + 1 < n; ++k) out[2 * k + 1] = static_cast<uint8_t>((3 * c[k] + c[k + 1] + 7) >> 4);
  return out;
}

McuBlocks sampleDownMcu(const std::vector<uint8_t>& pixels, McuShape shape) {
  const auto p = [&](int y, int x, int c) { return pixels.at(static_cast<size_t>(3 * (y * shape.width() + x) + c)); };
  McuBlocks out = emptyBlocks(shape);
  for (int y = 0; y < shape.height(); ++y)
    for (int x = 0; x < shape.width(); ++x) out.y[lumaPlace(x, y, shape)] = static_cast<int16_t>(p(y, x, 0) - 128);
  const auto chroma = [&](int y, int x, int c) {
    int sum = 0;
    for (int i = 0; i < shape.down; ++i)
      for (int j = 0; j < shape.across; ++j) sum += p(shape.down * y + i, shape.across * x + j, c);
    return static_cast<int16_t>(sum / (shape.across * shape.down) - 128);
  };
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      out.cb[static_cast<size_t>(8 * y + x)] = chroma(y, x, 1);
      out.cr[static_cast<size_t>(8 * y + x)] = chroma(y, x, 2);
    }
  }
  return out;
}

std::vector<uint8_t> sampleUpMcu(const McuBlocks& blocks, McuShape shape) {
  std::vector<uint8_t> out;
  for (int y = 0; y < shape.height(); ++y) {
    for (int x = 0; x < shape.width(); ++x) {
      const auto chromaPlace = static_cast<size_t>(8 * (y / shape.down) + x / shape.across);
      out.push_back(sat8(blocks.y[lumaPlace(x, y, shape)] + 128));
      out.push_back(sat8(blocks.cb[chromaPlace] + 128));
      out.push_back(sat8(blocks.cr[chromaPlace] + 128));
    }
  }
  return out;
}

McuBlocks splitMcu422(const std::vector<uint8_t>& bytes) {
  McuBlocks out = emptyBlocks(kMcu422);
  for (int y = 0; y < 8; ++y) {
    const auto byte = [&](int i) { return static_cast<int16_t>(bytes.at(static_cast<size_t>(32 * y + i)) - 128); };
    for (int x = 0; x < 16; ++x) out.y[lumaPlace(x, y, kMcu422)] = byte(2 * x);
    for (int k = 0; k < 8; ++k) {
      out.cb[static_cast<size_t>(8 * y + k)] = byte(4 * k + 1);
      out.cr[static_cast<size_t>(8 * y + k)] = byte(4 * k + 3);
    }
  }
  return out;
}

std::vector<uint8_t> joinMcu422(const McuBlocks& blocks) {
  std::vector<uint8_t> out(256);
  for (int y = 0; y < 8; ++y) {
    uint8_t* row = &out[static_cast<size_t>(32 * y)];
    for (int x = 0; x < 16; ++x) row[2 * x] = sat8(blocks.y[lumaPlace(x, y, kMcu422)] + 128);
    for (int k = 0; k < 8; ++k) {
      row[4 * k + 1] = sat8(blocks.cb[static_cast<size_t>(8 * y + k)] + 128);
      row[4 * k + 3] = sat8(blocks.cr[static_cast<size_t>(8 * y + k)] + 128);
    }
  }
  return out;
}

}  // namespace model
