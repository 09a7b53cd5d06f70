// Rows of the JPEG XR exports.
#include <algorithm>
#include <array>

#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {
namespace {

void addTransformRows(std::vector<Row>& rows) {
  // The region is looked at twice: before the step for what is below 1, behind it for what blocks do not fill. Any
  // negative step passes, being compared as an unsigned number.
  const auto region = [&](const char* name, auto function, int32_t elementBytes) {
    Argument blocks = size(16, 8);
    for (const QlmSize bad : {QlmSize{6, 8}, {15, 8}, {17, 8}, {16, 6}, {16, 1}, {6, 6}})
      blocks.contentFaults.push_back(
          {Fault::kContent, 0, bad, qlmErrSize, std::to_string(bad.width) + 'x' + std::to_string(bad.height)});
    rows.push_back(row(name, function, {pointer(), number(80, {0, 1, 6 * elementBytes - 1}, qlmErrStep), blocks},
                       {0, 2, 1, contents(2)}));
  };
  const auto shape = [&](const char* name, auto function, int32_t rowBytes) {
    rows.push_back(row(name, function, {pointer(), number(rowBytes, {0, 1, rowBytes - 1}, qlmErrStep)}, {0, 1}));
  };
  region(NAMED(qlmiPCTFwd_JPEGXR_16s_C1IR), 2);
  region(NAMED(qlmiPCTFwd_JPEGXR_32s_C1IR), 4);
  region(NAMED(qlmiPCTFwd_JPEGXR_32f_C1IR), 4);
  region(NAMED(qlmiPCTInv_JPEGXR_16s_C1IR), 2);
  region(NAMED(qlmiPCTInv_JPEGXR_32s_C1IR), 4);
  region(NAMED(qlmiPCTInv_JPEGXR_32f_C1IR), 4);
  shape(NAMED(qlmiPCTFwd8x8_JPEGXR_16s_C1IR), 16);
  shape(NAMED(qlmiPCTFwd8x8_JPEGXR_32s_C1IR), 32);
  shape(NAMED(qlmiPCTFwd8x8_JPEGXR_32f_C1IR), 32);
  shape(NAMED(qlmiPCTFwd8x16_JPEGXR_16s_C1IR), 16);
  shape(NAMED(qlmiPCTFwd8x16_JPEGXR_32s_C1IR), 32);
  shape(NAMED(qlmiPCTFwd8x16_JPEGXR_32f_C1IR), 32);
  shape(NAMED(qlmiPCTFwd16x16_JPEGXR_16s_C1IR), 32);
  shape(NAMED(qlmiPCTFwd16x16_JPEGXR_32s_C1IR), 64);
  shape(NAMED(qlmiPCTFwd16x16_JPEGXR_32f_C1IR), 64);
  shape(NAMED(qlmiPCTInv8x8_JPEGXR_16s_C1IR), 16);
  shape(NAMED(qlmiPCTInv8x8_JPEGXR_32s_C1IR), 32);
  shape(NAMED(qlmiPCTInv8x8_JPEGXR_32f_C1IR), 32);
  shape(NAMED(qlmiPCTInv8x16_JPEGXR_16s_C1IR), 16);
  shape(NAMED(qlmiPCTInv8x16_JPEGXR_32s_C1IR), 32);
  shape(NAMED(qlmiPCTInv8x16_JPEGXR_32f_C1IR), 32);
  shape(NAMED(qlmiPCTInv16x16_JPEGXR_16s_C1IR), 32);
  shape(NAMED(qlmiPCTInv16x16_JPEGXR_32s_C1IR), 64);
  shape(NAMED(qlmiPCTInv16x16_JPEGXR_32f_C1IR), 64);
}

// A place in a stream, whose pointer and whose unit pointer are two checks.
Argument stream() { return planes(1); }
Argument bitCount() { return pointer().refuses({33, 64, -1, INT32_MIN}, qlmErrRange); }
Argument bits(int64_t good) { return number(good, {16, 17, -1, INT32_MIN}, qlmErrRange); }
Argument state() { return pointer(); }
// Classes and steps are not tested.
Argument tableClass() { return number(1); }
Argument anyStep() { return number(64); }

int32_t* at(const Buffers& v, size_t i) { return static_cast<int32_t*>(v[i].pointer); }

// Prepares a call: no bits held, a fresh state, and one pair in the list of the DC encoders.
struct Coding {
  int bitCount, state = -1, list = -1;
};
std::function<void(const Buffers&)> coding(Coding c) {
  return [c](const Buffers& v) {
    *at(v, static_cast<size_t>(c.bitCount)) = 0;
    if (c.state >= 0) {
      auto* vlc = reinterpret_cast<QlmVLCState*>(at(v, static_cast<size_t>(c.state)));
      qlmiVLCInit_JPEGXR(vlc);
      for (const int32_t which : {0, 1, 2}) qlmiVLCScanReset_JPEGXR(vlc, which);
    }
    if (c.list >= 0) std::copy_n(std::array{0, -3}.begin(), 2, at(v, static_cast<size_t>(c.list)));
  };
}

void addStateRows(std::vector<Row>& rows) {
  const auto which = [] { return number(0, {3, 4, -1, INT32_MIN}, qlmErrRange); };
  const auto fresh = [](size_t i) {
    return [i](const Buffers& v) { qlmiVLCInit_JPEGXR(static_cast<QlmVLCState*>(v[i].pointer)); };
  };
  rows.push_back(row(NAMED(qlmiVLCGetStateSize_JPEGXR), {pointer()}, {0}));
  rows.push_back(row(NAMED(qlmiVLCInit_JPEGXR), {state()}, {0}));
  rows.push_back(
      row(NAMED(qlmiVLCAdapt_JPEGXR), {state(), number(1, {2, -1, INT32_MIN}, qlmErrRange)}, {0, 1}).with(fresh(0)));
  rows.push_back(row(NAMED(qlmiVLCScanReset_JPEGXR), {state(), which()}, {0, 1}).with(fresh(0)));
  rows.push_back(row(NAMED(qlmiVLCScanSet_JPEGXR), {state(), which()}, {0, 1}).with(fresh(0)));
  rows.push_back(row(NAMED(qlmiVLCScan4x4DC_JPEGXR_32s), {pointer(), bits(3), pointer(), pointer(), pointer(), state()},
                     {0, 2, 3, 4, 5, 1})
                     .with(fresh(5)));
}

void addBlockRows(std::vector<Row>& rows) {
  const auto decode = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {stream(), pointer(), bitCount(), number(-3), pointer(), anyStep(), tableClass(), pointer(), state()},
            {8, 4, 7, 0, entries(0), 1, 2, contents(2)})
            .with(coding({.bitCount = 2, .state = 8})));
  };
  const auto encode = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {pointer(), anyStep(), tableClass(), bits(2), stream(), pointer(), bitCount(), pointer(), state()},
            {8, 0, 7, 4, entries(4), 5, 6, contents(6), 3})
            .with(coding({.bitCount = 6, .state = 8})));
  };
  const auto encodeFlex = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {pointer(), anyStep(), tableClass(), bits(2), bits(1), pointer(), stream(), pointer(),
                        bitCount(), pointer(), state()},
                       {10, 0, 9, 5, 6, entries(6), 7, 8, contents(8), 3, 4})
                       .with(coding({.bitCount = 8, .state = 10})));
  };
  decode(NAMED(qlmiVLCDecode4x4_JPEGXR_1u16s_C1R));
  decode(NAMED(qlmiVLCDecode4x4_JPEGXR_1u32s_C1R));
  encode(NAMED(qlmiVLCEncode4x4_JPEGXR_16s1u_C1R));
  encode(NAMED(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R));
  encodeFlex(NAMED(qlmiVLCEncode4x4Flex_JPEGXR_16s1u_C1R));
  encodeFlex(NAMED(qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R));
}

void addDcRows(std::vector<Row>& rows) {
  const auto decode = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {stream(), pointer(), bitCount(), pointer(), pointer(), state()},
                       {5, 3, 4, 0, entries(0), 1, 2, contents(2)})
                       .with(coding({.bitCount = 2, .state = 5})));
  };
  decode(NAMED(qlmiVLCDecodeDC420_JPEGXR_1u32s));
  decode(NAMED(qlmiVLCDecodeDC422_JPEGXR_1u32s));
  rows.push_back(row(NAMED(qlmiVLCDecodeDC444_JPEGXR_1u32s),
                     {stream(), pointer(), bitCount(), pointer(), tableClass(), pointer(), state()},
                     {6, 3, 5, 0, entries(0), 1, 2, contents(2)})
                     .with(coding({.bitCount = 2, .state = 6})));
  // The unit pointer is not tested here.
  const auto encode = [&](const char* name, auto function, int32_t most) {
    rows.push_back(row(name, function,
                       {pointer(), number(1, {most + 1, 1000, -1, INT32_MIN}, qlmErrRange), stream(), pointer(),
                        bitCount(), state()},
                       {5, 0, 2, 3, 4, contents(4), 1})
                       .with(coding({.bitCount = 4, .state = 5, .list = 0})));
  };
  encode(NAMED(qlmiVLCEncodeDC420_JPEGXR_32s1u), 6);
  encode(NAMED(qlmiVLCEncodeDC422_JPEGXR_32s1u), 14);
  rows.push_back(row(NAMED(qlmiVLCEncodeDC444_JPEGXR_32s1u),
                     {pointer(), number(1, {17, 1000, -1, INT32_MIN}, qlmErrRange), tableClass(), stream(), pointer(),
                      bitCount(), state()},
                     {6, 0, 3, 4, 5, contents(5), 1})
                     .with(coding({.bitCount = 5, .state = 6, .list = 0})));
}

void addFixedLengthRows(std::vector<Row>& rows) {
  const auto decode = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {stream(), pointer(), bitCount(), pointer(), anyStep(), bits(15), number(-3), number(256)},
                       {3, 0, entries(0), 1, 2, contents(2), 5})
                       .with(coding({.bitCount = 2})));
  };
  const auto encode = [&](const char* name, auto function) {
    rows.push_back(
        row(name, function,
            {pointer(), anyStep(), pointer(), stream(), pointer(), bitCount(), bits(15), bits(15), number(0)},
            {0, 2, 3, entries(3), 4, 5, contents(5), 6, 7})
            .with(coding({.bitCount = 5})));
  };
  decode(NAMED(qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR));
  decode(NAMED(qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR));
  encode(NAMED(qlmiFLCEncode4x4_JPEGXR_16s1u_C1R));
  encode(NAMED(qlmiFLCEncode4x4_JPEGXR_32s1u_C1R));
}

}  // namespace

std::vector<Row> jpegXrRows() {
  std::vector<Row> rows;
  addTransformRows(rows);
  addStateRows(rows);
  addBlockRows(rows);
  addDcRows(rows);
  addFixedLengthRows(rows);
  return rows;
}

}  // namespace test
