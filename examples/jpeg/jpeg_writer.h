// Baseline JPEG writer (T.81 F.1) with the typical tables of Annex K: grey and YCbCr in JFIF, RGB, CMYK and YCCK with
// the marker of Adobe; YCbCr and YCCK at 4:4:4, 4:2:2 or 4:2:0.
#pragma once

#include <optional>

#include "jpeg/jpeg_format.h"
#include "support/picture.h"

namespace sample {

enum class Subsampling { k444, k422, k420 };

struct JpegWriteOptions {
  int32_t quality = 75;  // 1 to 100
  Subsampling subsampling = Subsampling::k420;
  int32_t restartInterval = 0;            // MCUs between restart markers, 0 for none
  std::optional<JpegColour> colour = {};  // else grey, YCbCr or YCCK, as the picture has channels
  JpegBy by = JpegBy::kMcu;               // grey and CMYK, which need no conversion, always go by planes
  Progress progress = {};
};

// The bytes of a file. Throws JpegError where the picture or the options are out of range.
std::vector<uint8_t> writeJpeg(const Picture& picture, const JpegWriteOptions& options = {});

// The same coefficients as a file of one scan.
std::vector<uint8_t> writeCoefficients(const JpegCoefficients& coefficients);

}  // namespace sample
