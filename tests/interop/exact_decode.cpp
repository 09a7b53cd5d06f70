#include "interop/exact_decode.h"

#include <cmath>
#include <numbers>

namespace test {
namespace {

// basis[u][x] = C(u) / 2 * cos((2x + 1) u pi / 16)
struct Basis {
  double at[8][8];
  Basis() {
    for (int u = 0; u < 8; ++u)
      for (int x = 0; x < 8; ++x)
        at[u][x] = (u == 0 ? std::numbers::sqrt2 / 2 : 1) / 2 * std::cos((2 * x + 1) * u * std::numbers::pi / 16);
  }
};
const Basis kBasis;

// One dimension at a time; forward sums over samples, inverse over frequencies.
void transform(double* block, bool forward) {
  double half[64];
  const auto weight = [&](int out, int in) { return forward ? kBasis.at[out][in] : kBasis.at[in][out]; };
  for (int r = 0; r < 8; ++r)
    for (int c = 0; c < 8; ++c) {
      half[8 * r + c] = 0;
      for (int k = 0; k < 8; ++k) half[8 * r + c] += weight(c, k) * block[8 * r + k];
    }
  for (int r = 0; r < 8; ++r)
    for (int c = 0; c < 8; ++c) {
      block[8 * r + c] = 0;
      for (int k = 0; k < 8; ++k) block[8 * r + c] += weight(r, k) * half[8 * k + c];
    }
}

constexpr int kZigzag[64]{0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
                          41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
                          30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

}  // namespace

std::vector<double> exactPixels(const sample::JpegCoefficients& coefficients, Clamp clamp, int32_t scale) {
  const sample::JpegFrame& frame = coefficients.frame;
  const size_t count = frame.components.size();
  std::vector<std::vector<double>> planes(count);
  for (size_t i = 0; i < count; ++i) {
    const auto& values = coefficients.planes[i].values;
    planes[i].assign(values.begin(), values.end());
    for (size_t b = 0; b < planes[i].size(); b += 64) {
      for (size_t k = 0; k < 64; ++k) planes[i][b + static_cast<size_t>(kZigzag[k])] *= coefficients.quant[i][k];
      transform(planes[i].data() + b, false);
    }
  }
  const int32_t maxH = frame.maxH(), maxV = frame.maxV();
  const auto sample = [&](size_t i, int32_t x, int32_t y) {
    const int32_t column = x * frame.components[i].h / maxH, row = y * frame.components[i].v / maxV;
    const ptrdiff_t block = ptrdiff_t{row / 8} * coefficients.planes[i].blocksWide + column / 8;
    return *(planes[i].begin() + 64 * block + row % 8 * 8 + column % 8);
  };
  const auto mean = [&](size_t i, int32_t x, int32_t y) {
    double sum = 0;
    for (int32_t k = 0; k < scale * scale; ++k) sum += sample(i, x * scale + k % scale, y * scale + k / scale);
    sum /= scale * scale;
    return clamp == Clamp::kSamples ? std::clamp(sum, -128.0, 127.0) : sum;
  };
  const bool ycck = coefficients.colour == sample::JpegColour::kYcck;
  std::vector<double> pixels;
  for (int32_t y = 0; y < (frame.height + scale - 1) / scale; ++y)
    for (int32_t x = 0; x < (frame.width + scale - 1) / scale; ++x) {
      double out[4]{};
      for (size_t i = 0; i < count; ++i) out[i] = mean(i, x, y);
      if (ycck || coefficients.colour == sample::JpegColour::kYCbCr) {
        const double luma = out[0], cb = out[1], cr = out[2];
        out[0] = luma + 1.402 * cr;
        out[1] = luma - 0.114 * 1.772 / 0.587 * cb - 0.299 * 1.402 / 0.587 * cr;
        out[2] = luma + 1.772 * cb;
      }
      for (size_t i = 0; i < count; ++i) {
        const double level = std::clamp(out[i] + 128, 0.0, 255.0);
        pixels.push_back(ycck && i < 3 ? 255 - level : level);
      }
    }
  return pixels;
}

std::vector<std::vector<double>> exactTransform(const sample::Picture& picture, const sample::JpegFrame& frame,
                                                sample::JpegColour colour) {
  const int32_t maxH = frame.maxH(), maxV = frame.maxV();
  const auto value = [&](size_t component, int32_t x, int32_t y) -> double {
    const uint8_t* p = picture.row(std::min(y, picture.height - 1)) +
                       std::ptrdiff_t{std::min(x, picture.width - 1)} * picture.channels;
    const bool ycck = colour == sample::JpegColour::kYcck;
    if ((!ycck && colour != sample::JpegColour::kYCbCr) || component == 3) return p[component] - 128;
    const double red = ycck ? 255 - p[0] : p[0], green = ycck ? 255 - p[1] : p[1], blue = ycck ? 255 - p[2] : p[2];
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    return component == 0 ? luma - 128 : component == 1 ? (blue - luma) / 1.772 : (red - luma) / 1.402;
  };
  std::vector<std::vector<double>> planes;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const int32_t dx = maxH / frame.components[i].h, dy = maxV / frame.components[i].v;
    const int32_t wide = frame.mcusWide() * frame.components[i].h, high = frame.mcusHigh() * frame.components[i].v;
    auto& plane = planes.emplace_back();
    for (int32_t b = 0; b < wide * high; ++b) {
      double block[64]{};
      for (int32_t k = 0; k < 64; ++k) {
        const int32_t x = (b % wide * 8 + k % 8) * dx, y = (b / wide * 8 + k / 8) * dy;
        for (int32_t j = 0; j < dx * dy; ++j) block[k] += value(i, x + j % dx, y + j / dx) / (dx * dy);
      }
      transform(block, true);
      plane.insert(plane.end(), block, block + 64);
    }
  }
  return planes;
}

}  // namespace test
