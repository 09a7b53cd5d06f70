// JPEG reader: sequential DCT with Huffman coding at 8 bits (T.81 F.2), grey, YCbCr, RGB, CMYK or YCCK, any sampling
// factors and any order of scans. The steps are: markers (jpeg_headers), scans (jpeg_scan), coefficients or pixels
// (here), the latter by MCUs or by planes (jpeg_planes).
#pragma once

#include <span>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_planes.h"
#include "support/picture.h"

namespace sample {

// The file is damaged or truncated behind its headers, and what could be decoded has been delivered.
class JpegDamaged : public JpegError {
 public:
  using JpegError::JpegError;
};

struct JpegReadOptions {
  // By planes, samples are clamped to 8 bits before colours are converted. Triangles and reduced sizes go by planes
  // too.
  JpegBy by = JpegBy::kMcu;
  Upsampling upsampling = Upsampling::kReplicate;
  int32_t scale = 1;  // the picture is this many times smaller, sizes rounded up: 1, 2, 4 or 8
  Progress progress = {};
};

// Size and components, from the headers before the first scan.
JpegFrame readJpegFrame(std::span<const uint8_t> file);

// Decodes into `picture`, using its memory again where that suffices. Throws JpegError; where that is a JpegDamaged,
// `picture` holds all that could be decoded and mid-grey for the rest.
void readJpeg(std::span<const uint8_t> file, Picture& picture, const JpegReadOptions& options = {});

inline Picture readJpeg(std::span<const uint8_t> file, const JpegReadOptions& options = {}) {
  Picture picture;
  readJpeg(file, picture, options);
  return picture;
}

// The coefficients before dequantisation. Throws JpegError.
JpegCoefficients readCoefficients(std::span<const uint8_t> file);

}  // namespace sample
