// JPEG reader (T.81): sequential and progressive DCT with Huffman coding at 8 and 12 bits, lossless at 2 to 16 bits;
// grey, YCbCr, RGB, CMYK or YCCK, any sampling factors and any order of scans. The steps are: markers (jpeg_headers),
// restart intervals (jpeg_scan), MCUs, coefficients or samples (jpeg_decode), pixels (jpeg_sink).
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
  Upsampling upsampling = Upsampling::kReplicate;  // files of 8 bits; others are replicated
  int32_t scale = 1;  // the picture is this many times smaller, sizes rounded up: 1, 2, 4 or 8; DCT of 8 bits only
  Progress progress = {};
  int32_t scans = 0;  // shows the picture after so many scans; 0 for all
};

// Size, components and process, from the headers before the first scan.
JpegFrame readJpegFrame(std::span<const uint8_t> file);

// Decodes into `picture`, using its memory again where that suffices. Throws JpegError; where that is a JpegDamaged,
// `picture` holds all that could be decoded, with restart markers also from behind the damage, and mid-grey for the
// rest. A Picture gets 8 bits whatever the file has, a Picture16 the bits of the file.
void readJpeg(std::span<const uint8_t> file, Picture& picture, const JpegReadOptions& options = {});
void readJpeg(std::span<const uint8_t> file, Picture16& picture, const JpegReadOptions& options = {});

inline Picture readJpeg(std::span<const uint8_t> file, const JpegReadOptions& options = {}) {
  Picture picture;
  readJpeg(file, picture, options);
  return picture;
}

// The coefficients before dequantisation, of whole files only. Throws JpegError.
JpegCoefficients readCoefficients(std::span<const uint8_t> file);

}  // namespace sample
