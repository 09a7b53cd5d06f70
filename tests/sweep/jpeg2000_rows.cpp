// Rows of the JPEG 2000 exports. Where a row stands in a loop, the exports of the loop differ in nothing that a check
// sees.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {
namespace {

void addWaveletRows(std::vector<Row>& rows) {
  constexpr int32_t kStep = 256;
  // Bands and lines continue by up to four samples, or rows, before the first one.
  const auto line = [] { return pointer(16384).behind(4 * kStep); };
  const auto scratch = [] { return pointer(16384); };

  const auto bufferSize = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {rect(0, 0, 0, -5), pointer()}, {1}));  // any size will do
  };
  // In place: the scratch is tested behind the step, the size not at all.
  const auto inPlace = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(kStep), rect(1, 0, 8, 8), scratch()}, {0, 1, 3}));
  };
  // Out of place: all pointers but the entries, the single step, the entries of both arrays, the size.
  const auto forward = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {pointer(), step(kStep), rect(0, 1, 8, 8), planes(4), steps(4, kStep), scratch()},
                       {0, 3, 4, 5, 1, entries(3), entries(4), 2}));
  };
  const auto inverse = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {planes(4), steps(4, kStep), pointer(), step(kStep), rect(0, 1, 8, 8), scratch()},
                       {0, 1, 2, 5, 3, entries(0), entries(1), 4}));
  };
  // Along rows or columns.
  const auto forwardLines = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {line(), step(kStep), pointer(), step(kStep), pointer(), step(kStep), size(4, 4), number(0)},
                       {0, 2, 4, 1, 3, 5, 6}));
  };
  const auto inverseLines = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {line(), step(kStep), line(), step(kStep), size(4, 4), pointer(), step(kStep), number(0)},
                       {0, 2, 5, 1, 3, 6, 4}));
  };
  const auto lift53 = [&](const char* name, auto function) {
    rows.push_back(row(
        name, function,
        {pointer(), pointer(), pointer(), pointer(), pointer(), pointer(), number(8, {0, -1, INT32_MIN}, qlmErrSize)},
        {0, 1, 2, 3, 4, 5, 6}));
  };
  const auto lift97 = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {pointer(), pointer(), pointer(), pointer(), pointer(), pointer(), pointer(), pointer(),
                        number(8, {0, -1, INT32_MIN}, qlmErrSize)},
                       {0, 1, 2, 3, 4, 5, 6, 7, 8}));
  };
  bufferSize(NAMED(qlmiWTGetBufSize_B53_JPEG2K_16s_C1IR));
  bufferSize(NAMED(qlmiWTGetBufSize_B53_JPEG2K_16s_C1R));
  bufferSize(NAMED(qlmiWTGetBufSize_B53_JPEG2K_32s_C1IR));
  bufferSize(NAMED(qlmiWTGetBufSize_B53_JPEG2K_32s_C1R));
  bufferSize(NAMED(qlmiWTGetBufSize_D97_JPEG2K_16s_C1IR));
  bufferSize(NAMED(qlmiWTGetBufSize_D97_JPEG2K_16s_C1R));
  bufferSize(NAMED(qlmiWTGetBufSize_D97_JPEG2K_32s_C1IR));
  bufferSize(NAMED(qlmiWTGetBufSize_D97_JPEG2K_32s_C1R));
  inPlace(NAMED(qlmiWTFwd_B53_JPEG2K_16s_C1IR));
  inPlace(NAMED(qlmiWTInv_B53_JPEG2K_16s_C1IR));
  inPlace(NAMED(qlmiWTFwd_B53_JPEG2K_32s_C1IR));
  inPlace(NAMED(qlmiWTInv_B53_JPEG2K_32s_C1IR));
  inPlace(NAMED(qlmiWTFwd_D97_JPEG2K_16s_C1IR));
  inPlace(NAMED(qlmiWTInv_D97_JPEG2K_16s_C1IR));
  inPlace(NAMED(qlmiWTFwd_D97_JPEG2K_32s_C1IR));
  inPlace(NAMED(qlmiWTInv_D97_JPEG2K_32s_C1IR));
  forward(NAMED(qlmiWTFwd_B53_JPEG2K_16s_C1R));
  inverse(NAMED(qlmiWTInv_B53_JPEG2K_16s_C1R));
  forward(NAMED(qlmiWTFwd_B53_JPEG2K_32s_C1R));
  inverse(NAMED(qlmiWTInv_B53_JPEG2K_32s_C1R));
  forward(NAMED(qlmiWTFwd_D97_JPEG2K_16s_C1R));
  inverse(NAMED(qlmiWTInv_D97_JPEG2K_16s_C1R));
  forward(NAMED(qlmiWTFwd_D97_JPEG2K_32s_C1R));
  inverse(NAMED(qlmiWTInv_D97_JPEG2K_32s_C1R));
  forwardLines(NAMED(qlmiWTFwdRow_B53_JPEG2K_16s_C1R));
  inverseLines(NAMED(qlmiWTInvRow_B53_JPEG2K_16s_C1R));
  forwardLines(NAMED(qlmiWTFwdRow_B53_JPEG2K_32s_C1R));
  inverseLines(NAMED(qlmiWTInvRow_B53_JPEG2K_32s_C1R));
  forwardLines(NAMED(qlmiWTFwdCol_B53_JPEG2K_16s_C1R));
  inverseLines(NAMED(qlmiWTInvCol_B53_JPEG2K_16s_C1R));
  forwardLines(NAMED(qlmiWTFwdCol_B53_JPEG2K_32s_C1R));
  inverseLines(NAMED(qlmiWTInvCol_B53_JPEG2K_32s_C1R));
  forwardLines(NAMED(qlmiWTFwdRow_D97_JPEG2K_16s_C1R));
  inverseLines(NAMED(qlmiWTInvRow_D97_JPEG2K_16s_C1R));
  forwardLines(NAMED(qlmiWTFwdRow_D97_JPEG2K_32s_C1R));
  inverseLines(NAMED(qlmiWTInvRow_D97_JPEG2K_32s_C1R));
  forwardLines(NAMED(qlmiWTFwdRow_D97_JPEG2K_32f_C1R));
  inverseLines(NAMED(qlmiWTInvRow_D97_JPEG2K_32f_C1R));
  forwardLines(NAMED(qlmiWTFwdCol_D97_JPEG2K_32f_C1R));
  inverseLines(NAMED(qlmiWTInvCol_D97_JPEG2K_32f_C1R));
  lift53(NAMED(qlmiWTFwdColLift_B53_JPEG2K_16s_C1));
  lift53(NAMED(qlmiWTInvColLift_B53_JPEG2K_16s_C1));
  lift53(NAMED(qlmiWTFwdColLift_B53_JPEG2K_32s_C1));
  lift53(NAMED(qlmiWTInvColLift_B53_JPEG2K_32s_C1));
  lift97(NAMED(qlmiWTFwdColLift_D97_JPEG2K_16s_C1));
  lift97(NAMED(qlmiWTInvColLift_D97_JPEG2K_16s_C1));
  lift97(NAMED(qlmiWTFwdColLift_D97_JPEG2K_32s_C1));
  lift97(NAMED(qlmiWTInvColLift_D97_JPEG2K_32s_C1));
  lift97(NAMED(qlmiWTFwdColLift_D97_JPEG2K_32f_C1));
  lift97(NAMED(qlmiWTInvColLift_D97_JPEG2K_32f_C1));
}

void addComponentRows(std::vector<Row>& rows) {
  const auto inPlace = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {planes(3), step(64), size(8, 4)}, {0, entries(0), 1, 2}));
  };
  const auto forward = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function, {pointer(), step(192), planes(3), step(64), size(8, 4)}, {0, 2, entries(2), 1, 3, 4}));
  };
  const auto inverse = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function, {planes(3), step(64), pointer(), step(192), size(8, 4)}, {2, 0, entries(0), 1, 3, 4}));
  };
  forward(NAMED(qlmiRCTFwd_JPEG2K_16s_C3P3R));
  forward(NAMED(qlmiRCTFwd_JPEG2K_32s_C3P3R));
  forward(NAMED(qlmiICTFwd_JPEG2K_32f_C3P3R));
  inverse(NAMED(qlmiRCTInv_JPEG2K_16s_P3C3R));
  inverse(NAMED(qlmiRCTInv_JPEG2K_32s_P3C3R));
  inverse(NAMED(qlmiICTInv_JPEG2K_32f_P3C3R));
  inPlace(NAMED(qlmiRCTFwd_JPEG2K_16s_P3IR));
  inPlace(NAMED(qlmiRCTFwd_JPEG2K_32s_P3IR));
  inPlace(NAMED(qlmiRCTInv_JPEG2K_16s_P3IR));
  inPlace(NAMED(qlmiRCTInv_JPEG2K_32s_P3IR));
  inPlace(NAMED(qlmiICTFwd_JPEG2K_16s_P3IR));
  inPlace(NAMED(qlmiICTFwd_JPEG2K_32s_P3IR));
  inPlace(NAMED(qlmiICTFwd_JPEG2K_32f_P3IR));
  inPlace(NAMED(qlmiICTInv_JPEG2K_16s_P3IR));
  inPlace(NAMED(qlmiICTInv_JPEG2K_32s_P3IR));
  inPlace(NAMED(qlmiICTInv_JPEG2K_32f_P3IR));
}

}  // namespace

std::vector<Row> jpeg2000Rows() {
  std::vector<Row> rows;
  addWaveletRows(rows);
  addComponentRows(rows);
  return rows;
}

}  // namespace test
