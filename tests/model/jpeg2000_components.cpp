// The component transforms as their formulas stand.
#include "model/jpeg2000_components.h"

#include <algorithm>

namespace model {
namespace {

int16_t cut16(int64_t v) { return static_cast<int16_t>(v); }
int32_t cut32(int64_t v) { return static_cast<int32_t>(v); }
int16_t saturated(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }

}  // namespace

// 16-bit elements: sums of 32 bits, which do not overflow, and results cut to 16 bits. 32-bit ones: all sums wrap.
template <typename T>
Pixel<T> forwardRct(Pixel<T> rgb) {
  const int64_t r = rgb.v[0], g = rgb.v[1], b = rgb.v[2];
  return {static_cast<T>(cut32(r + 2 * g + b) >> 2), static_cast<T>(b - g), static_cast<T>(r - g)};
}

template <typename T>
Pixel<T> inverseRct(Pixel<T> y) {
  const T g = static_cast<T>(int64_t{y.v[0]} - (cut32(int64_t{y.v[1]} + y.v[2]) >> 2));
  return {static_cast<T>(int64_t{y.v[2]} + g), g, static_cast<T>(int64_t{y.v[1]} + g)};
}

template <>
Pixel<float> forwardIct(Pixel<float> rgb) {
  const auto [r, g, b] = rgb.v;
  return {0.299F * r + 0.587F * g + 0.114F * b,      //
          -0.16875F * r + -0.33126F * g + 0.5F * b,  //
          0.5F * r + -0.41869F * g + -0.08131F * b};
}

template <>
Pixel<float> inverseIct(Pixel<float> p) {
  const auto [y, cb, cr] = p.v;
  return {1.402F * cr + y, -0.34413F * cb + -0.71414F * cr + y, 1.772F * cb + y};
}

template <>
Pixel<int32_t> forwardIct(Pixel<int32_t> rgb) {
  const int64_t r = rgb.v[0], g = rgb.v[1], b = rgb.v[2];
  return {cut32(4899 * r + 9617 * g + 1868 * b + 8192) >> 14,   //
          cut32(-2765 * r - 5427 * g + 8192 * b + 8192) >> 14,  //
          cut32(8192 * r - 6860 * g - 1332 * b + 8192) >> 14};
}

template <>
Pixel<int32_t> inverseIct(Pixel<int32_t> p) {
  const int64_t y = p.v[0], cb = p.v[1], cr = p.v[2];
  return {cut32(y + (cut32(22970 * cr + 8192) >> 14)),               //
          cut32(y + (cut32(-5638 * cb - 11700 * cr + 8192) >> 14)),  //
          cut32(y + (cut32(29032 * cb + 8192) >> 14))};
}

// In two stages: the luminance is subtracted before it is rounded, and the difference is scaled.
template <>
Pixel<int16_t> forwardIct(Pixel<int16_t> rgb) {
  const int32_t r = rgb.v[0], g = rgb.v[1], b = rgb.v[2];
  const int32_t q = 4899 * r + 9617 * g + 1868 * b;
  const int16_t blue = cut16((b * 16384 - q + 8192) >> 14), red = cut16((r * 16384 - q + 8192) >> 14);
  return {saturated((q + 8192) >> 14), saturated((blue * 9246 + 8192) >> 14), saturated((red * 11686 + 8192) >> 14)};
}

template <>
Pixel<int16_t> inverseIct(Pixel<int16_t> p) {
  const int32_t y = p.v[0], cb = p.v[1], cr = p.v[2];
  return {saturated(y + ((22970 * cr + 8192) >> 14)),              //
          saturated(y - ((5638 * cb + 11700 * cr + 8192) >> 14)),  //
          saturated(y + ((29032 * cb + 8192) >> 14))};
}

template Pixel<int16_t> forwardRct(Pixel<int16_t>);
template Pixel<int32_t> forwardRct(Pixel<int32_t>);
template Pixel<int16_t> inverseRct(Pixel<int16_t>);
template Pixel<int32_t> inverseRct(Pixel<int32_t>);

}  // namespace model
