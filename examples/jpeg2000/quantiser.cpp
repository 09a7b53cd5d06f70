#include "jpeg2000/quantiser.h"

#include <array>
#include <cmath>
#include <numeric>

#include "qlmjp.h"

namespace sample::j2k {
namespace {

constexpr int32_t kMantissaBits = 11;

double norm(const std::vector<int32_t>& values, double unit) {
  const double squares = std::accumulate(values.begin(), values.end(), 0.0,
                                         [](double sum, int32_t v) { return sum + static_cast<double>(v) * v; });
  return std::sqrt(squares) / unit;
}

// The norm along a line, from the line that the library's own inverse makes of a single value amid a band.
double lineNorm(bool reversible, int32_t level, bool isHigh) {
  if (level == 0) return 1;
  constexpr int32_t kSettled = 10;  // from where on each level makes a value reach twice as far, and changes no more
  if (level > kSettled) return lineNorm(reversible, kSettled, isHigh) * std::exp2((level - kSettled) / 2.0);
  constexpr int32_t kBandLength = 32;  // more than the filters reach
  constexpr int32_t kUnit = 1 << 20;   // so that rounding does not count
  const int32_t length = kBandLength << level;
  std::vector<int32_t> line(static_cast<size_t>(length));
  line[kBandLength / 2 + (isHigh ? kBandLength : 0)] = kUnit;
  std::vector<uint8_t> buffer(4 * line.size() + 64);
  const auto inverse = reversible ? qlmiWTInv_B53_JPEG2K_32s_C1IR : qlmiWTInv_D97_JPEG2K_32s_C1IR;
  for (int32_t width = 2 * kBandLength; width <= length; width *= 2)
    inverse(line.data(), 4 * length, {0, 0, width, 1}, buffer.data());
  return norm(line, kUnit);
}

}  // namespace

double bandNorm(bool reversible, int32_t level, Orientation orientation) {
  return lineNorm(reversible, level, isHighAcross(orientation)) * lineNorm(reversible, level, isHighDown(orientation));
}

double componentNorm(bool reversible, int32_t component) {
  constexpr int32_t kUnit = 1 << 14;
  std::array<int32_t, 3> pixel{};
  pixel[static_cast<size_t>(component)] = kUnit;
  int32_t* const planes[3]{&pixel[0], &pixel[1], &pixel[2]};
  (reversible ? qlmiRCTInv_JPEG2K_32s_P3IR : qlmiICTInv_JPEG2K_32s_P3IR)(planes, sizeof(int32_t), {1, 1});
  return norm({pixel.begin(), pixel.end()}, kUnit);
}

double stepSize(const Quantisation::Step& step, int32_t bits, Orientation orientation) {
  return std::ldexp(1 + std::ldexp(step.mantissa, -kMantissaBits), bits + gainLog(orientation) - step.exponent);
}

Quantisation::Step nearestStep(double size, int32_t bits, Orientation orientation, int32_t mostExponent) {
  int power = 0;
  const double fraction = 2 * std::frexp(size, &power);  // 1 <= fraction < 2, times 2^(power - 1)
  auto mantissa = static_cast<int32_t>(std::lround((fraction - 1) * (1 << kMantissaBits)));
  const int32_t carry = mantissa >> kMantissaBits;
  mantissa &= (1 << kMantissaBits) - 1;
  const int32_t exponent = bits + gainLog(orientation) - (power - 1 + carry);
  if (exponent > mostExponent) return {mostExponent, 0};
  if (exponent < 0) return {0, (1 << kMantissaBits) - 1};
  return {exponent, mantissa};
}

}  // namespace sample::j2k
