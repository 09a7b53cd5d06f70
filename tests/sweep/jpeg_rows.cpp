// Rows of the JPEG exports. Where a row stands in a loop, the exports of the loop differ in nothing that a check sees.
#include <algorithm>

#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {
namespace {

void addTransformRows(std::vector<Row>& rows) {
  // One side at a time, the size last.
  rows.push_back(
      row(NAMED(qlmiSub128_JPEG_8u16s_C1R), {pointer(), step(64), pointer(), step(128), size(16, 8)}, {0, 1, 2, 3, 4}));
  rows.push_back(
      row(NAMED(qlmiAdd128_JPEG_16s8u_C1R), {pointer(), step(128), pointer(), step(64), size(16, 8)}, {0, 1, 2, 3, 4}));

  rows.push_back(row(NAMED(qlmiQuantFwdRawTableInit_JPEG_8u), {pointer(), number(50, {0, -1, INT32_MIN})}, {0, 1}));
  rows.push_back(row(NAMED(qlmiQuantFwdTableInit_JPEG_8u16u), {pointer(), pointer()}, {0, 1}));
  rows.push_back(row(NAMED(qlmiQuantInvTableInit_JPEG_8u16u), {pointer(), pointer()}, {0, 1}));

  // Blocks have neither step nor size.
  rows.push_back(row(NAMED(qlmiQuantFwd8x8_JPEG_16s_C1I), {pointer(), pointer()}, {0, 1}));
  rows.push_back(row(NAMED(qlmiQuantInv8x8_JPEG_16s_C1I), {pointer(), pointer()}, {0, 1}));
  rows.push_back(row(NAMED(qlmiDCTQuantFwd8x8_JPEG_16s_C1I), {pointer(), pointer()}, {0, 1}));
  rows.push_back(row(NAMED(qlmiDCTQuantInv8x8_JPEG_16s_C1I), {pointer(), pointer()}, {0, 1}));
  rows.push_back(row(NAMED(qlmiDCTQuantFwd8x8_JPEG_16s_C1), {pointer(), pointer(), pointer()}, {0, 1, 2}));
  rows.push_back(row(NAMED(qlmiDCTQuantInv8x8_JPEG_16s_C1), {pointer(), pointer(), pointer()}, {0, 1, 2}));

  // Between block and plane: source, destination, step, table, wherever the step stands among the arguments.
  const auto forward = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(64), pointer(), pointer()}, {0, 2, 1, 3}));
  };
  forward(NAMED(qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R));
  forward(NAMED(qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R));
  const auto inverse = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), pointer(), step(64), pointer()}, {0, 1, 2, 3}));
  };
  inverse(NAMED(qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R));
  inverse(NAMED(qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R));
}

// One MCU of fixed shape: pixels and array, the step, then the entries of the array.
void addMcuColourRows(std::vector<Row>& rows) {
  const auto forward = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(64), planes(3)}, {0, 2, 1, entries(2)}));
  };
  forward(NAMED(qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiBGRToYCbCr444LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiBGRToYCbCr422LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiBGRToYCbCr411LS_MCU_8u16s_C3P3R));
  forward(NAMED(qlmiBGR555ToYCbCr444LS_MCU_16u16s_C3P3R));
  forward(NAMED(qlmiBGR555ToYCbCr422LS_MCU_16u16s_C3P3R));
  forward(NAMED(qlmiBGR555ToYCbCr411LS_MCU_16u16s_C3P3R));
  forward(NAMED(qlmiBGR565ToYCbCr444LS_MCU_16u16s_C3P3R));
  forward(NAMED(qlmiBGR565ToYCbCr422LS_MCU_16u16s_C3P3R));
  forward(NAMED(qlmiBGR565ToYCbCr411LS_MCU_16u16s_C3P3R));
  const auto inverse = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {planes(3), pointer(), step(64)}, {0, 1, 2, entries(0)}));
  };
  inverse(NAMED(qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr444ToBGRLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr422ToBGRLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr411ToBGRLS_MCU_16s8u_P3C3R));
  inverse(NAMED(qlmiYCbCr444ToBGR555LS_MCU_16s16u_P3C3R));
  inverse(NAMED(qlmiYCbCr422ToBGR555LS_MCU_16s16u_P3C3R));
  inverse(NAMED(qlmiYCbCr411ToBGR555LS_MCU_16s16u_P3C3R));
  inverse(NAMED(qlmiYCbCr444ToBGR565LS_MCU_16s16u_P3C3R));
  inverse(NAMED(qlmiYCbCr422ToBGR565LS_MCU_16s16u_P3C3R));
  inverse(NAMED(qlmiYCbCr411ToBGR565LS_MCU_16s16u_P3C3R));
  const auto forward4 = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(64), planes(4)}, {0, 2, 1, entries(2)}));
  };
  forward4(NAMED(qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R));
  forward4(NAMED(qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R));
  forward4(NAMED(qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R));
  const auto inverse4 = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {planes(4), pointer(), step(64)}, {0, 1, 2, entries(0)}));
  };
  inverse4(NAMED(qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R));
  inverse4(NAMED(qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R));
  inverse4(NAMED(qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R));
}

// The doubling plane forms read around the source: a good one lies inside its buffer, a null one stays null.
template <auto Export>
QlmStatus framed(const uint8_t* src, int32_t srcStep, QlmSize srcSize, uint8_t* dst, int32_t dstStep, QlmSize dstSize) {
  return Export(src ? src + 1024 : nullptr, srcStep, srcSize, dst, dstStep, dstSize);
}

void addSamplingRows(std::vector<Row>& rows) {
  // Planes: one side at a time, with its size.
  const auto plane = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function, {pointer(), step(64), size(16, 8), pointer(), step(64), size(16, 8)}, {0, 1, 2, 3, 4, 5}));
  };
  plane(NAMED(qlmiSampleDownH2V1_JPEG_8u_C1R));
  plane(NAMED(qlmiSampleDownH2V2_JPEG_8u_C1R));
  plane("qlmiSampleUpH2V1_JPEG_8u_C1R", framed<qlmiSampleUpH2V1_JPEG_8u_C1R>);
  plane("qlmiSampleUpH2V2_JPEG_8u_C1R", framed<qlmiSampleUpH2V2_JPEG_8u_C1R>);

  // Rows: pointers, then the width.
  const Argument width = number(16, {0, -1, INT32_MIN}, qlmErrSize);
  const auto oneRow = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), width, pointer()}, {0, 2, 1}));
  };
  oneRow(NAMED(qlmiSampleDownRowH2V1_Box_JPEG_8u_C1));
  oneRow(NAMED(qlmiSampleUpRowH2V1_Triangle_JPEG_8u_C1));
  const auto twoRows = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), pointer(), width, pointer()}, {0, 1, 3, 2}));
  };
  twoRows(NAMED(qlmiSampleDownRowH2V2_Box_JPEG_8u_C1));
  twoRows(NAMED(qlmiSampleUpRowH2V2_Triangle_JPEG_8u_C1));

  // MCUs: to blocks the step is tested before the entries of the array, from blocks behind them.
  const auto toBlocks = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(64), planes(3)}, {0, 2, 1, entries(2)}));
  };
  toBlocks(NAMED(qlmiSampleDown444LS_MCU_8u16s_C3P3R));
  toBlocks(NAMED(qlmiSampleDown422LS_MCU_8u16s_C3P3R));
  toBlocks(NAMED(qlmiSampleDown411LS_MCU_8u16s_C3P3R));
  toBlocks(NAMED(qlmiSplit422LS_MCU_8u16s_C2P3R));
  const auto fromBlocks = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {planes(3), pointer(), step(64)}, {0, 1, entries(0), 2}));
  };
  fromBlocks(NAMED(qlmiSampleUp444LS_MCU_16s8u_P3C3R));
  fromBlocks(NAMED(qlmiSampleUp422LS_MCU_16s8u_P3C3R));
  fromBlocks(NAMED(qlmiSampleUp411LS_MCU_16s8u_P3C3R));
  fromBlocks(NAMED(qlmiJoin422LS_MCU_16s8u_P3C2R));
}

// Two codes of two bits, for the values 0 (category 0, end of block) and 1.
constexpr uint8_t kCounts[16] = {0, 2};
constexpr uint8_t kValues[2] = {0, 1};

template <typename T>
T* at(const Buffers& v, size_t index) {
  return v[index].as<T*>();
}

// Regions whose steps are tested: all pointers, all steps, the size.
void addPlaneColourRows(std::vector<Row>& rows) {
  const auto pixelsToPlanes = [&](const char* name, auto function, int n) {
    rows.push_back(
        row(name, function, {pointer(), step(64), planes(n), step(16), size(16, 8)}, {0, 2, entries(2), 1, 3, 4}));
  };
  pixelsToPlanes(NAMED(qlmiRGBToYCbCr_JPEG_8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiBGRToYCbCr_JPEG_8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiRGB555ToYCbCr_JPEG_16u8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiRGB565ToYCbCr_JPEG_16u8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiBGR555ToYCbCr_JPEG_16u8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiBGR565ToYCbCr_JPEG_16u8u_C3P3R), 3);
  pixelsToPlanes(NAMED(qlmiCMYKToYCCK_JPEG_8u_C4P4R), 4);
  const auto planesToPixels = [&](const char* name, auto function, int n) {
    rows.push_back(
        row(name, function, {planes(n), step(16), pointer(), step(64), size(16, 8)}, {0, entries(0), 2, 1, 3, 4}));
  };
  planesToPixels(NAMED(qlmiRGBToY_JPEG_8u_P3C1R), 3);
  planesToPixels(NAMED(qlmiYCbCrToRGB_JPEG_8u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCbCrToBGR_JPEG_8u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCbCrToRGB555_JPEG_8u16u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCbCrToRGB565_JPEG_8u16u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCbCrToBGR555_JPEG_8u16u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCbCrToBGR565_JPEG_8u16u_P3C3R), 3);
  planesToPixels(NAMED(qlmiYCCKToCMYK_JPEG_8u_P4C4R), 4);
  const auto planesToPlanes = [&](const char* name, auto function, int n) {
    rows.push_back(row(name, function, {planes(n), step(16), planes(n), step(16), size(16, 8)},
                       {0, entries(0), 2, entries(2), 1, 3, 4}));
  };
  planesToPlanes(NAMED(qlmiRGBToYCbCr_JPEG_8u_P3R), 3);
  planesToPlanes(NAMED(qlmiYCbCrToRGB_JPEG_8u_P3R), 3);
  planesToPlanes(NAMED(qlmiCMYKToYCCK_JPEG_8u_P4R), 4);
  planesToPlanes(NAMED(qlmiYCCKToCMYK_JPEG_8u_P4R), 4);
  const auto pixelsToLuma = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {pointer(), step(64), pointer(), step(16), size(16, 8)}, {0, 2, 1, 3, 4}));
  };
  pixelsToLuma(NAMED(qlmiRGBToY_JPEG_8u_C3C1R));
  pixelsToLuma(NAMED(qlmiBGRToY_JPEG_8u_C3C1R));
}

// Regions whose steps are taken as they are: all pointers, an array of steps among them, then the size.
void addAnyStepColourRows(std::vector<Row>& rows) {
  rows.push_back(row(NAMED(qlmiRGBToYCbCr_JPEG_8u_C4P3R), {pointer(), number(64), planes(3), number(16), size(16, 8)},
                     {0, 2, entries(2), 4}));
  rows.push_back(row(NAMED(qlmiBGRToYCbCr_JPEG_8u_C4P3R), {pointer(), number(64), planes(3), number(16), size(16, 8)},
                     {0, 2, entries(2), 4}));
  rows.push_back(row(NAMED(qlmiYCbCrToRGB_JPEG_8u_P3C4R),
                     {planes(3), number(16), pointer(), number(64), size(16, 8), number(77)}, {0, entries(0), 2, 4}));
  rows.push_back(row(NAMED(qlmiYCbCrToBGR_JPEG_8u_P3C4R),
                     {planes(3), number(16), pointer(), number(64), size(16, 8), number(77)}, {0, entries(0), 2, 4}));
  rows.push_back(row(NAMED(qlmiYCbCr422ToRGB_JPEG_8u_C2C3R),
                     {pointer(), number(32), pointer(), number(48), size(16, 8)}, {0, 2, 4}));

  // Steps of 16, 8 and 8 in the argument `index`.
  const auto steps = [](size_t index) {
    return [index](const Buffers& v) {
      for (int32_t i = 0; i < 3; ++i) at<int32_t>(v, index)[i] = i == 0 ? 16 : 8;
    };
  };
  const auto forward = [&](const char* name, auto function, int32_t leastHeight) {
    rows.push_back(row(name, function, {pointer(), number(64), planes(3), pointer(), size(16, 8, 2, leastHeight)},
                       {0, 2, entries(2), 3, 4})
                       .with(steps(3)));
  };
  forward(NAMED(qlmiRGBToYCbCr422_JPEG_8u_C3P3R), 1);
  forward(NAMED(qlmiRGBToYCbCr422_JPEG_8u_C4P3R), 1);
  forward(NAMED(qlmiBGRToYCbCr422_JPEG_8u_C3P3R), 1);
  forward(NAMED(qlmiBGRToYCbCr422_JPEG_8u_C4P3R), 1);
  forward(NAMED(qlmiRGBToYCbCr411_JPEG_8u_C3P3R), 2);
  forward(NAMED(qlmiRGBToYCbCr411_JPEG_8u_C4P3R), 2);
  forward(NAMED(qlmiBGRToYCbCr411_JPEG_8u_C3P3R), 2);
  forward(NAMED(qlmiBGRToYCbCr411_JPEG_8u_C4P3R), 2);
  const auto inverse = [&](const char* name, auto function, int32_t leastHeight) {
    rows.push_back(row(name, function, {planes(3), pointer(), pointer(), number(64), size(16, 8, 2, leastHeight)},
                       {0, entries(0), 1, 2, 4})
                       .with(steps(1)));
  };
  inverse(NAMED(qlmiYCbCr422ToRGB_JPEG_8u_P3C3R), 1);
  inverse(NAMED(qlmiYCbCr422ToBGR_JPEG_8u_P3C3R), 1);
  inverse(NAMED(qlmiYCbCr411ToRGB_JPEG_8u_P3C3R), 2);
  inverse(NAMED(qlmiYCbCr411ToBGR_JPEG_8u_P3C3R), 2);
  const auto inverseAlpha = [&](const char* name, auto function, int32_t leastHeight) {
    rows.push_back(row(name, function,
                       {planes(3), pointer(), pointer(), number(64), size(16, 8, 2, leastHeight), number(77)},
                       {0, entries(0), 1, 2, 4})
                       .with(steps(1)));
  };
  inverseAlpha(NAMED(qlmiYCbCr422ToRGB_JPEG_8u_P3C4R), 1);
  inverseAlpha(NAMED(qlmiYCbCr422ToBGR_JPEG_8u_P3C4R), 1);
  inverseAlpha(NAMED(qlmiYCbCr411ToRGB_JPEG_8u_P3C4R), 2);
  inverseAlpha(NAMED(qlmiYCbCr411ToBGR_JPEG_8u_P3C4R), 2);
}

void addHuffmanTableRows(std::vector<Row>& rows) {
  rows.push_back(row(NAMED(qlmiDecodeHuffmanSpecGetBufSize_JPEG_8u), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiDecodeHuffmanStateGetBufSize_JPEG_8u), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiEncodeHuffmanSpecGetBufSize_JPEG_8u), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiEncodeHuffmanStateGetBufSize_JPEG_8u), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiDecodeHuffmanStateInit_JPEG_8u), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiEncodeHuffmanStateInit_JPEG_8u), {pointer()}, {0}));

  const auto lists = [](const Buffers& v) {
    std::copy_n(kCounts, 16, at<uint8_t>(v, 0));
    std::copy_n(kValues, 2, at<uint8_t>(v, 1));
  };
  rows.push_back(
      row(NAMED(qlmiDecodeHuffmanSpecInit_JPEG_8u), {pointer(), pointer(), pointer()}, {0, 1, 2}).with(lists));
  rows.push_back(
      row(NAMED(qlmiEncodeHuffmanSpecInit_JPEG_8u), {pointer(), pointer(), pointer()}, {0, 1, 2}).with(lists));

  // A good call of an allocating or a releasing export does both.
  rows.push_back(row("qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u",
                     +[](const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec** spec) {
                       const QlmStatus status = qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, spec);
                       return status == qlmOk ? qlmiDecodeHuffmanSpecFree_JPEG_8u(*spec) : status;
                     },
                     {pointer(), pointer(), pointer()}, {0, 1, 2})
                     .with(lists));
  rows.push_back(row("qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u",
                     +[](const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec** spec) {
                       const QlmStatus status = qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(counts, values, spec);
                       return status == qlmOk ? qlmiEncodeHuffmanSpecFree_JPEG_8u(*spec) : status;
                     },
                     {pointer(), pointer(), pointer()}, {0, 1, 2})
                     .with(lists));
  rows.push_back(row("qlmiDecodeHuffmanStateInitAlloc_JPEG_8u",
                     +[](QlmDecodeHuffmanState** state) {
                       const QlmStatus status = qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(state);
                       return status == qlmOk ? qlmiDecodeHuffmanStateFree_JPEG_8u(*state) : status;
                     },
                     {pointer()}, {0}));
  rows.push_back(row("qlmiEncodeHuffmanStateInitAlloc_JPEG_8u",
                     +[](QlmEncodeHuffmanState** state) {
                       const QlmStatus status = qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(state);
                       return status == qlmOk ? qlmiEncodeHuffmanStateFree_JPEG_8u(*state) : status;
                     },
                     {pointer()}, {0}));
  rows.push_back(row("qlmiDecodeHuffmanSpecFree_JPEG_8u",
                     +[](void* wanted) {
                       QlmDecodeHuffmanSpec* spec = nullptr;
                       if (wanted) qlmiDecodeHuffmanSpecInitAlloc_JPEG_8u(kCounts, kValues, &spec);
                       return qlmiDecodeHuffmanSpecFree_JPEG_8u(spec);
                     },
                     {pointer()}, {0}));
  rows.push_back(row("qlmiEncodeHuffmanSpecFree_JPEG_8u",
                     +[](void* wanted) {
                       QlmEncodeHuffmanSpec* spec = nullptr;
                       if (wanted) qlmiEncodeHuffmanSpecInitAlloc_JPEG_8u(kCounts, kValues, &spec);
                       return qlmiEncodeHuffmanSpecFree_JPEG_8u(spec);
                     },
                     {pointer()}, {0}));
  rows.push_back(row("qlmiDecodeHuffmanStateFree_JPEG_8u",
                     +[](void* wanted) {
                       QlmDecodeHuffmanState* state = nullptr;
                       if (wanted) qlmiDecodeHuffmanStateInitAlloc_JPEG_8u(&state);
                       return qlmiDecodeHuffmanStateFree_JPEG_8u(state);
                     },
                     {pointer()}, {0}));
  rows.push_back(row("qlmiEncodeHuffmanStateFree_JPEG_8u",
                     +[](void* wanted) {
                       QlmEncodeHuffmanState* state = nullptr;
                       if (wanted) qlmiEncodeHuffmanStateInitAlloc_JPEG_8u(&state);
                       return qlmiEncodeHuffmanStateFree_JPEG_8u(state);
                     },
                     {pointer()}, {0}));
}

void addHuffmanBlockRows(std::vector<Row>& rows) {
  // An argument that a call ignores is null in a good call.
  const Argument ignored = number(0);

  const auto encoding = [](const Buffers& v) {
    std::fill_n(at<int16_t>(v, 0), 64, int16_t{0});
    *at<int32_t>(v, 3) = 0;
    *at<int16_t>(v, 4) = 0;
    qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec>(v, 5));
    qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec>(v, 6));
    qlmiEncodeHuffmanStateInit_JPEG_8u(at<QlmEncodeHuffmanState>(v, 7));
  };
  const Argument length = number(100, {0, -1, INT32_MIN}, qlmErrSize);
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_JPEG_16s1u_C1),
                     {pointer(), pointer(), length, pointer(), pointer(), pointer(), pointer(), pointer(), number(0)},
                     {1, 2, 3, 7, 0, 4, 5, 6})
                     .with(encoding));
  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_JPEG_16s1u_C1),
                     {ignored, pointer(), length, pointer(), ignored, ignored, ignored, pointer(), number(1)},
                     {1, 2, 3, 7})
                     .with([](const Buffers& v) {
                       *at<int32_t>(v, 3) = 0;
                       qlmiEncodeHuffmanStateInit_JPEG_8u(at<QlmEncodeHuffmanState>(v, 7));
                     })
                     .as("Flush"));

  rows.push_back(row(NAMED(qlmiDecodeHuffman8x8_JPEG_1u16s_C1),
                     {pointer(), number(100, {-1, INT32_MIN}), pointer(), pointer(), pointer(), pointer(), pointer(),
                      pointer(), pointer()},
                     {0, 1, 2, 3, 4, 5, 6, 7, 8})
                     .with([](const Buffers& v) {
                       std::fill_n(at<uint8_t>(v, 0), 100, uint8_t{0});
                       *at<int32_t>(v, 2) = 0;
                       *at<int32_t>(v, 5) = 0;
                       qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec>(v, 6));
                       qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec>(v, 7));
                       qlmiDecodeHuffmanStateInit_JPEG_8u(at<QlmDecodeHuffmanState>(v, 8));
                     }));

  rows.push_back(row(NAMED(qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1),
                     {pointer(), pointer(), pointer(), pointer(), pointer(), pointer()}, {0, 1, 2, 3, 4, 5})
                     .with([](const Buffers& v) {
                       std::fill_n(at<int16_t>(v, 0), 64, int16_t{0});
                       *at<int32_t>(v, 2) = 0;
                       *at<int16_t>(v, 3) = 0;
                       qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec>(v, 4));
                       qlmiEncodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmEncodeHuffmanSpec>(v, 5));
                     }));

  rows.push_back(row(NAMED(qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1),
                     {pointer(), pointer().refuses({-1, INT32_MIN}, qlmErrBadArgument), pointer(), pointer(), pointer(),
                      pointer(), pointer().refuses({-1, INT32_MIN}, qlmErrBadArgument), pointer(), pointer()},
                     {0, 1, contents(1), 2, 3, 4, 5, 6, contents(6), 7, 8})
                     .with([](const Buffers& v) {
                       std::fill_n(at<uint8_t>(v, 0), 100, uint8_t{0});
                       *at<int32_t>(v, 1) = 0;
                       *at<int32_t>(v, 4) = 0;
                       *at<int32_t>(v, 6) = 0;
                       qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec>(v, 7));
                       qlmiDecodeHuffmanSpecInit_JPEG_8u(kCounts, kValues, at<QlmDecodeHuffmanSpec>(v, 8));
                     }));
}

}  // namespace

std::vector<Row> jpegRows() {
  std::vector<Row> rows;
  addTransformRows(rows);
  addMcuColourRows(rows);
  addPlaneColourRows(rows);
  addAnyStepColourRows(rows);
  addSamplingRows(rows);
  addHuffmanTableRows(rows);
  addHuffmanBlockRows(rows);
  return rows;
}

}  // namespace test
