// Rows of lossless samples to differences and back (T.81 H.1.2.1, H.2.1), by the row functions of the library.
#pragma once

#include <qlmjp.h>

#include "jpeg/jpeg_script.h"

namespace sample {

// What the rows of a lossless scan have in common. Samples have their point transform already.
struct LosslessRows {
  int32_t width, precision;
  int32_t predictor, pointTransform;

  LosslessRows(int32_t w, int32_t p, const JpegScanSpec& scan)
      : width(w), precision(p), predictor(scan.ss), pointTransform(scan.al) {}

  // The library takes samples as signed numbers of 16 bits, which matters where a prediction is halved: samples of 16
  // bits are predicted by these loops there, as everybody else does.
  bool needsPlainLoops() const { return precision - pointTransform > 15 && predictor >= 5; }
};

// `previous` is null in the first row of the picture or of a restart interval.
void toDifferences(const LosslessRows& rows, const int16_t* samples, const int16_t* previous, int16_t* differences);
void toSamples(const LosslessRows& rows, const int16_t* differences, const int16_t* previous, int16_t* samples);

}  // namespace sample
