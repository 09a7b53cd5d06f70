// Rows of the progressive, statistics and lossless exports of JPEG.
#include "sweep/sweep.h"

#include <algorithm>

#define NAMED(export) #export, export

namespace test {
namespace {

// A table with codes 00 and 01, for the end of a band and for category 0, and for category 1.
constexpr uint8_t kCounts[16] = {0, 2};
constexpr uint8_t kValues[2] = {0, 1};

template <typename T>
T* at(const Buffers& v, int argument) {
  return static_cast<T*>(v[static_cast<size_t>(argument)].pointer);
}

// Which arguments of a call are what; -1 is none.
struct Places {
  int block = -1, position = -1, lastDC = -1, marker = -1, source = -1, encodeTable = -1, decodeTable = -1,
      encodeState = -1, decodeState = -1;
};

std::function<void(const Buffers&)> coding(Places p) {
  return [p](const Buffers& v) {
    if (p.block >= 0) std::fill_n(at<int16_t>(v, p.block), 64, int16_t{0});
    if (p.position >= 0) *at<int32_t>(v, p.position) = 0;
    if (p.lastDC >= 0) *at<int16_t>(v, p.lastDC) = 0;
    if (p.marker >= 0) *at<int32_t>(v, p.marker) = 0;
    if (p.source >= 0) std::fill_n(at<uint8_t>(v, p.source), 100, uint8_t{0});
    if (p.encodeTable >= 0)
      qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec>(v, p.encodeTable));
    if (p.decodeTable >= 0)
      qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec>(v, p.decodeTable));
    if (p.encodeState >= 0) qlmiEncodeHuffmanStateInit_JPEG_8u(at<QlmEncodeHuffmanState>(v, p.encodeState));
    if (p.decodeState >= 0) qlmiDecodeHuffmanStateInit_JPEG_8u(at<QlmDecodeHuffmanState>(v, p.decodeState));
  };
}

Argument length() { return number(100, {0, -1, INT32_MIN}, qlmErrSize); }
Argument low() { return number(13, {-1, 14, INT32_MAX, INT32_MIN}); }
// The good band is 5 to 6, so that an end of 4 or a beginning of 7 is refused for the sake of the other.
Argument bandFirst() { return number(5, {0, -1, 7, 64, INT32_MAX}); }
Argument bandLast() { return number(6, {4, 0, -1, 64, INT32_MAX}); }
// An argument that a call does not look at is null, or out of its range, in a good call.
Argument ignored() { return number(0); }
Argument outOfRange() { return number(-5); }

void addProgressiveRows(std::vector<Row>& rows) {
  const Argument noFlush = number(0), flush = number(1);
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1),
                     {pointer(), pointer(), length(), pointer(), pointer(), low(), pointer(), pointer(), noFlush},
                     {1, 2, 3, 7, 0, 4, 5, 6})
                     .with(coding({.block = 0, .position = 3, .lastDC = 4, .encodeTable = 6, .encodeState = 7})));
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1),
                     {ignored(), pointer(), length(), pointer(), ignored(), outOfRange(), ignored(), pointer(), flush},
                     {1, 2, 3, 7})
                     .with(coding({.position = 3, .encodeState = 7}))
                     .as("Flush"));
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1),
                     {pointer(), pointer(), length(), pointer(), low(), pointer(), noFlush}, {1, 2, 3, 5, 0, 4})
                     .with(coding({.block = 0, .position = 3, .encodeState = 5})));
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1),
                     {ignored(), pointer(), length(), pointer(), outOfRange(), pointer(), flush}, {1, 2, 3, 5})
                     .with(coding({.position = 3, .encodeState = 5}))
                     .as("Flush"));
  const auto encodeBand = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {pointer(), pointer(), length(), pointer(), bandFirst(), bandLast(), low(), pointer(), pointer(), noFlush},
            {1, 2, 3, 7, 8, 0, 4, 5, 6})
            .with(coding({.block = 0, .position = 3, .encodeTable = 7, .encodeState = 8})));
    // The table is wanted for the run that may be pending.
    rows.push_back(row(name, function,
                       {ignored(), pointer(), length(), pointer(), outOfRange(), outOfRange(), outOfRange(), pointer(),
                        pointer(), flush},
                       {1, 2, 3, 7, 8})
                       .with(coding({.position = 3, .encodeTable = 7, .encodeState = 8}))
                       .as("Flush"));
  };
  encodeBand(NAMED(qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1));
  encodeBand(NAMED(qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1));

  rows.push_back(
      row(NAMED(qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1),
          {pointer(), length(), pointer(), pointer(), pointer(), pointer(), low(), pointer(), pointer()},
          {0, 1, 2, 3, 4, 5, 6, 7, 8})
          .with(coding({.position = 2, .lastDC = 4, .marker = 5, .source = 0, .decodeTable = 7, .decodeState = 8})));
  rows.push_back(row(NAMED(qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1),
                     {pointer(), length(), pointer(), pointer(), pointer(), low(), pointer()}, {0, 1, 2, 3, 4, 5, 6})
                     .with(coding({.position = 2, .marker = 4, .source = 0, .decodeState = 6})));
  const auto decodeBand = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {pointer(), length(), pointer(), pointer(), pointer(), bandFirst(), bandLast(), low(), pointer(),
             pointer()},
            {0, 1, 2, 3, 4, 5, 6, 7, 8, 9})
            .with(coding({.block = 3, .position = 2, .marker = 4, .source = 0, .decodeTable = 8, .decodeState = 9})));
  };
  decodeBand(NAMED(qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1));
  decodeBand(NAMED(qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1));
}

void addStatisticsRows(std::vector<Row>& rows) {
  rows.push_back(row(NAMED(qlmiGetHuffmanStatisticsOne_JPEG_16s_C1), {pointer(), pointer()}, {0, 1}));
  rows.push_back(
      row(NAMED(qlmiGetHuffmanStatistics8x8_JPEG_16s_C1), {pointer(), pointer(), pointer(), pointer()}, {0, 1, 2, 3})
          .with(coding({.block = 0, .lastDC = 3})));
  rows.push_back(row(NAMED(qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1), {pointer(), pointer(), pointer(), low()},
                     {0, 1, 2, 3})
                     .with(coding({.block = 0, .lastDC = 2})));
  const auto countBand = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), pointer(), bandFirst(), bandLast(), low(), pointer(), number(0)},
                       {1, 5, 0, 2, 3, 4})
                       .with(coding({.block = 0, .encodeState = 5})));
    rows.push_back(row(name, function,
                       {ignored(), pointer(), outOfRange(), outOfRange(), outOfRange(), pointer(), number(1)}, {1, 5})
                       .with(coding({.encodeState = 5}))
                       .as("Flush"));
  };
  countBand(NAMED(qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1));
  countBand(NAMED(qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1));
  rows.push_back(row(NAMED(qlmiEncodeHuffmanRawTableInit_JPEG_8u), {pointer(), pointer(), pointer()}, {0, 1, 2})
                     .with([](const Buffers& v) { std::fill_n(at<int32_t>(v, 0), 256, 1); }));
}

void addLosslessRows(std::vector<Row>& rows) {
  const Argument width = number(16, {0, -1, INT32_MIN}, qlmErrSize);
  const auto firstRow = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {pointer(), pointer(), width, number(8, {1, 17, 0, -1, INT32_MIN, INT32_MAX}), number(0, {-1, INT32_MIN})},
            {0, 1, 2, 3, 4}));
  };
  firstRow(NAMED(qlmiDiffPredFirstRow_JPEG_16s_C1));
  firstRow(NAMED(qlmiReconstructPredFirstRow_JPEG_16s_C1));
  const auto laterRow = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {pointer(), pointer(), pointer(), width, number(7, {0, 8, -1, INT32_MIN, INT32_MAX})},
                       {0, 1, 2, 3, 4}));
  };
  laterRow(NAMED(qlmiDiffPredRow_JPEG_16s_C1));
  laterRow(NAMED(qlmiReconstructPredRow_JPEG_16s_C1));

  rows.push_back(row(NAMED(qlmiEncodeHuffmanOne_JPEG_16s1u_C1),
                     {pointer(), pointer(), length(), pointer(), pointer(), pointer(), number(0)}, {1, 2, 3, 5, 0, 4})
                     .with(coding({.block = 0, .position = 3, .encodeTable = 4, .encodeState = 5})));
  rows.push_back(row(NAMED(qlmiEncodeHuffmanOne_JPEG_16s1u_C1),
                     {ignored(), pointer(), length(), pointer(), ignored(), pointer(), number(1)}, {1, 2, 3, 5})
                     .with(coding({.position = 3, .encodeState = 5}))
                     .as("Flush"));
  rows.push_back(row(NAMED(qlmiDecodeHuffmanOne_JPEG_1u16s_C1),
                     {pointer(), length(), pointer(), pointer(), pointer(), pointer(), pointer()},
                     {0, 1, 2, 3, 4, 5, 6})
                     .with(coding({.position = 2, .marker = 4, .source = 0, .decodeTable = 5, .decodeState = 6})));

  // Of five rows the first four are coded; entries beyond them are not looked at.
  const Argument rowCount = number(5, {0, -1, INT32_MIN}, qlmErrSize);
  rows.push_back(row(NAMED(qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1),
                     {planes(4), width, rowCount, pointer(), length(), pointer(), planes(4), pointer(), number(0)},
                     {3, 4, 5, 7, 0, 6, 1, 2, entries(0), entries(6)})
                     .with([](const Buffers& v) {
                       coding({.position = 5, .encodeState = 7})(v);
                       for (int i = 0; i < 4; ++i) {
                         std::fill_n(at<int16_t*>(v, 0)[i], 16, int16_t{0});
                         qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec*>(v, 6)[i]);
                       }
                     }));
  rows.push_back(
      row(NAMED(qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1),
          {ignored(), outOfRange(), outOfRange(), pointer(), length(), pointer(), ignored(), pointer(), number(1)},
          {3, 4, 5, 7})
          .with(coding({.position = 5, .encodeState = 7}))
          .as("Flush"));
  rows.push_back(row(NAMED(qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4),
                     {pointer(), length(), pointer(), planes(4), width, rowCount, pointer(), planes(4), pointer()},
                     {0, 1, 2, 3, 6, 7, 8, 4, 5, entries(3), entries(7)})
                     .with([](const Buffers& v) {
                       coding({.position = 2, .marker = 6, .source = 0, .decodeState = 8})(v);
                       for (int i = 0; i < 4; ++i)
                         qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec*>(v, 7)[i]);
                     }));
  // Two rows need two pointers.
  rows.push_back(row(NAMED(qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1),
                     {planes(2), width, number(2), pointer(), length(), pointer(), planes(2), pointer(), number(0)},
                     {3, 4, 5, 7, 0, 6, 1, entries(0), entries(6)})
                     .with([](const Buffers& v) {
                       coding({.position = 5, .encodeState = 7})(v);
                       for (int i = 0; i < 2; ++i) {
                         std::fill_n(at<int16_t*>(v, 0)[i], 16, int16_t{0});
                         qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec*>(v, 6)[i]);
                       }
                     })
                     .as("TwoRows"));
}

}  // namespace

std::vector<Row> jpegEntropyRows() {
  std::vector<Row> rows;
  addProgressiveRows(rows);
  addStatisticsRows(rows);
  addLosslessRows(rows);
  return rows;
}

}  // namespace test
