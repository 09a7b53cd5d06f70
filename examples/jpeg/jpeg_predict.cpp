#include "jpeg/jpeg_predict.h"

namespace sample {
namespace {

// Predictors 5 to 7 of Table H.1 for unsigned samples: to the left, above, and above to the left.
int32_t halvedPrediction(int32_t predictor, uint16_t left, uint16_t above, uint16_t corner) {
  if (predictor == 5) return left + ((above - corner) >> 1);
  if (predictor == 6) return above + ((left - corner) >> 1);
  return (left + above) >> 1;
}

int32_t predictAt(int32_t predictor, const int16_t* row, const int16_t* previous, int32_t x) {
  if (x == 0) return previous[0];
  return halvedPrediction(predictor, static_cast<uint16_t>(row[x - 1]), static_cast<uint16_t>(previous[x]),
                          static_cast<uint16_t>(previous[x - 1]));
}

}  // namespace

void toDifferences(const LosslessRows& rows, const int16_t* samples, const int16_t* previous, int16_t* differences) {
  if (!previous)
    qlmiDiffPredFirstRow_JPEG_16s_C1(samples, differences, rows.width, rows.precision, rows.pointTransform);
  else if (!rows.needsPlainLoops())
    qlmiDiffPredRow_JPEG_16s_C1(samples, previous, differences, rows.width, rows.predictor);
  else
    for (int32_t x = 0; x < rows.width; ++x)
      differences[x] = static_cast<int16_t>(samples[x] - predictAt(rows.predictor, samples, previous, x));
}

void toSamples(const LosslessRows& rows, const int16_t* differences, const int16_t* previous, int16_t* samples) {
  if (!previous)
    qlmiReconstructPredFirstRow_JPEG_16s_C1(differences, samples, rows.width, rows.precision, rows.pointTransform);
  else if (!rows.needsPlainLoops())
    qlmiReconstructPredRow_JPEG_16s_C1(differences, previous, samples, rows.width, rows.predictor);
  else
    for (int32_t x = 0; x < rows.width; ++x)
      samples[x] = static_cast<int16_t>(differences[x] + predictAt(rows.predictor, samples, previous, x));
}

}  // namespace sample
