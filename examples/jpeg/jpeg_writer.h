// JPEG writer (T.81): sequential DCT with the typical tables of Annex K or with optimised ones, progressive DCT by a
// script of scans, lossless. Grey and YCbCr in JFIF, RGB, CMYK and YCCK with the marker of Adobe; YCbCr and YCCK at
// 4:4:4, 4:2:2 or 4:2:0.
#pragma once

#include <optional>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_script.h"
#include "support/picture.h"

namespace sample {

enum class Subsampling { k444, k422, k420 };

// From coefficients or samples to bits.
struct JpegCoding {
  JpegProcess process = JpegProcess::kSequential;
  bool optimise = false;  // Huffman tables made for the picture: always where it is progressive, lossless or of 12 bits
  JpegScript script = {};  // one that needs it makes the file progressive; if empty, one scan, or the usual progression
  int32_t predictor = 1;   // of lossless files: 1 to 7
  int32_t pointTransform = 0;  // of lossless files: how many low bits are left out
};

struct JpegWriteOptions {
  int32_t quality = 75;  // 1 to 100
  Subsampling subsampling = Subsampling::k420;
  int32_t restartInterval = 0;            // MCUs between restart markers, 0 for none; whole rows in lossless files
  std::optional<JpegColour> colour = {};  // else grey, YCbCr or YCCK, as the picture has channels; lossless: as it is
  JpegBy by = JpegBy::kMcu;               // grey and CMYK, which need no conversion, always go by planes
  Progress progress = {};
  JpegCoding coding = {};
};

// The bytes of a file. Throws JpegError where the picture or the options are out of range. Pictures of other than 8
// bits have 12 with the DCT, and 2 to 16 lossless.
std::vector<uint8_t> writeJpeg(const Picture& picture, const JpegWriteOptions& options = {});
std::vector<uint8_t> writeJpeg(const Picture16& picture, const JpegWriteOptions& options = {});

// The same coefficients as a file; the frame's own process does not count.
std::vector<uint8_t> writeCoefficients(const JpegCoefficients& coefficients, const JpegCoding& coding = {});

}  // namespace sample
