// OpenJPEG with all its parameters, on components of any shape, to check and to race with.
#pragma once

#include <openjpeg.h>

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace sample {

struct OpenjpegComponent {
  int32_t x0 = 0, y0 = 0, width = 0, height = 0;  // the origin on the grid of the component
  int32_t dx = 1, dy = 1;
  int32_t bits = 8;
  bool isSigned = false;
  std::vector<int32_t> samples;
};

struct OpenjpegImage {
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;  // on the reference grid
  std::vector<OpenjpegComponent> components;
};

// The parameters begin as opj_set_default_encoder_parameters() makes them, with one lossless layer, the component
// transform where there are three components, and no more than 5 levels. Throws
// std::runtime_error with OpenJPEG's message.
std::vector<uint8_t> encodeByOpenjpeg(const OpenjpegImage& image, const std::function<void(opj_cparameters_t&)>& adjust,
                                      bool isJp2 = false);

struct OpenjpegReadOptions {
  int32_t discardLevels = 0;
  int32_t layers = 0;
  int32_t threads = 1;
  bool isStrict = false;  // warnings are errors
};

// Hands the decoded picture to `use`. Throws std::runtime_error where OpenJPEG gives none.
void decodeByOpenjpeg(std::span<const uint8_t> file, const OpenjpegReadOptions& options,
                      const std::function<void(const opj_image_t&)>& use);
OpenjpegImage decodeByOpenjpeg(std::span<const uint8_t> file, const OpenjpegReadOptions& options = {});

}  // namespace sample
