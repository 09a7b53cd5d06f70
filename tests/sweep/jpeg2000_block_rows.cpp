// Rows of the JPEG 2000 code-block exports.
#include "sweep/sweep.h"

#include <algorithm>
#include <cstring>

#define NAMED(export) #export, export

namespace test {
namespace {

template <typename T>
T* at(const Buffers& v, int argument) {
  return static_cast<T*>(v[static_cast<size_t>(argument)].pointer);
}

constexpr int32_t kEncoderTag = 0x4C4D5344;  // "DSML"
constexpr int32_t kDecoderTag = 0x434D4150;  // "PAMC"

// What a state may hold in place of its tag. The first is the tag of the other kind.
Argument encoderState() { return pointer().refuses({kDecoderTag, 0, -1, kEncoderTag + 1}, qlmErrContextMatch); }
Argument decoderState() { return pointer().refuses({kEncoderTag, 0, -1, kDecoderTag + 1}, qlmErrContextMatch); }
Argument anyNumber(int32_t value) { return number(value); }
Argument mayBeNull() {
  Argument a = pointer();
  a.faults.clear();
  return a;
}

// The state of an encoder is never the caller's memory. The buffer in its place holds the tag, or what stands for it;
// an encoder with a block of one pass is made for the call.
class Encoder {
 public:
  explicit Encoder(const int32_t* stand) {
    if (!stand) return;
    if (qlmiEncodeInitAlloc_JPEG2K(&state_, {16, 8}) != qlmOk) std::abort();
    const int32_t sample = 1 << 30;
    int32_t bits, passes, segments;
    qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(&sample, 4, {1, 1}, state_, 0, 1, 0, 0, 0, &bits, &passes, &segments);
    setTag(*stand);
  }
  ~Encoder() {
    if (!state_) return;
    setTag(kEncoderTag);
    qlmiEncodeFree_JPEG2K(state_);
  }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  // What call(state) returns; nothing that any check has if it fails and has touched the state.
  template <typename Call>
  QlmStatus check(const Call& call) const {
    constexpr size_t kBytes = 936;
    uint8_t before[kBytes] = {};
    if (state_) std::memcpy(before, static_cast<const void*>(state_), kBytes);
    const QlmStatus status = call(state_);
    if (status != qlmOk && state_ && std::memcmp(before, static_cast<const void*>(state_), kBytes) != 0)
      return static_cast<QlmStatus>(-1);
    return status;
  }

 private:
  void setTag(int32_t tag) { std::memcpy(static_cast<void*>(state_), &tag, sizeof(tag)); }
  QlmEncodeState_JPEG2K* state_ = nullptr;
};

QlmStatus encodeInitAlloc(QlmEncodeState_JPEG2K** state, QlmSize size) {
  const QlmStatus status = qlmiEncodeInitAlloc_JPEG2K(state, size);
  if (status == qlmOk) qlmiEncodeFree_JPEG2K(*state);
  return status;
}

QlmStatus encodeFree(int32_t* state) {
  QlmEncodeState_JPEG2K* made = nullptr;
  if (state && qlmiEncodeInitAlloc_JPEG2K(&made, {16, 8}) != qlmOk) std::abort();
  return qlmiEncodeFree_JPEG2K(made);
}

QlmStatus encodeLoad(const int32_t* src, int32_t srcStep, QlmSize size, int32_t* state, int32_t subband,
                     int32_t magnitudeBits, int32_t terminationMode, int32_t rateMode, int32_t styleFlags,
                     int32_t* significantBits, int32_t* passCount, int32_t* terminatedPassCount) {
  return Encoder(state).check([&](QlmEncodeState_JPEG2K* s) {
    return qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(src, srcStep, size, s, subband, magnitudeBits, terminationMode,
                                                  rateMode, styleFlags, significantBits, passCount,
                                                  terminatedPassCount);
  });
}

QlmStatus encodeStore(uint8_t* dst, int32_t* length, int32_t* state, int32_t* notFinished) {
  return Encoder(state).check(
      [&](QlmEncodeState_JPEG2K* s) { return qlmiEncodeStoreBits_JPEG2K_1u(dst, length, s, notFinished); });
}

template <typename T, QlmStatus (*query)(QlmEncodeState_JPEG2K*, int32_t, T*)>
QlmStatus encodeQuery(int32_t* state, int32_t index, T* result) {
  return Encoder(state).check([&](QlmEncodeState_JPEG2K* s) { return query(s, index, result); });
}

QlmStatus decodeInitAlloc(QlmDecodeState_JPEG2K** state, QlmSize size) {
  const QlmStatus status = qlmiDecodeCBProgrInitAlloc_JPEG2K(state, size);
  if (status == qlmOk) qlmiDecodeCBProgrFree_JPEG2K(*state);
  return status;
}

// As for encoders: what is freed has been allocated.
QlmStatus decodeFree(const int32_t* stand) {
  if (!stand) return qlmiDecodeCBProgrFree_JPEG2K(nullptr);
  QlmDecodeState_JPEG2K* state = nullptr;
  if (qlmiDecodeCBProgrInitAlloc_JPEG2K(&state, {16, 8}) != qlmOk) std::abort();
  std::memcpy(static_cast<void*>(state), stand, sizeof(*stand));
  const QlmStatus status = qlmiDecodeCBProgrFree_JPEG2K(state);
  if (status == qlmOk) return status;
  std::memcpy(static_cast<void*>(state), &kDecoderTag, sizeof(kDecoderTag));
  qlmiDecodeCBProgrFree_JPEG2K(state);
  return status;
}

void addEncoderRows(std::vector<Row>& rows) {
  const auto tagged = [](int state) { return [state](const Buffers& v) { *at<int32_t>(v, state) = kEncoderTag; }; };
  rows.push_back(row("qlmiEncodeInitAlloc_JPEG2K", encodeInitAlloc, {pointer(), size(16, 8)}, {0, 1}));
  rows.push_back(row("qlmiEncodeFree_JPEG2K", encodeFree, {pointer()}, {0}));
  rows.push_back(row("qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R", encodeLoad,
                     {pointer(), step(64), size(16, 8), encoderState(), anyNumber(1), anyNumber(31), anyNumber(0),
                      anyNumber(7), anyNumber(0), pointer(), pointer(), pointer()},
                     {3, contents(3), 9, 10, 11, 2, 0, 1})
                     .with(tagged(3)));
  rows.push_back(row("qlmiEncodeStoreBits_JPEG2K_1u", encodeStore,
                     {pointer(), pointer().refuses({0, -1, INT32_MIN}, qlmErrSize), encoderState(), pointer()},
                     {2, contents(2), 0, 1, 3, contents(1)})
                     .with([tagged](const Buffers& v) {
                       tagged(2)(v);
                       *at<int32_t>(v, 1) = 100;
                     }));
  const auto query = [&](const char* name, auto function) {
    rows.push_back(row(name, function,
                       {encoderState(), number(0, {-1, 1, INT32_MIN, INT32_MAX}, qlmErrPassIndex), pointer()},
                       {0, contents(0), 2, 1})
                       .with(tagged(0)));
  };
  query("qlmiEncodeGetDist_JPEG2K", encodeQuery<double, qlmiEncodeGetDist_JPEG2K>);
  query("qlmiEncodeGetRate_JPEG2K", encodeQuery<int32_t, qlmiEncodeGetRate_JPEG2K>);
  query("qlmiEncodeGetTermPassLen_JPEG2K", encodeQuery<int32_t, qlmiEncodeGetTermPassLen_JPEG2K>);
}

void addDecoderRows(std::vector<Row>& rows) {
  const auto state = [](int argument) {
    return [argument](const Buffers& v) { qlmiDecodeCBProgrInit_JPEG2K(at<QlmDecodeState_JPEG2K>(v, argument)); };
  };
  const auto whole = [&](const char* variant, const Argument& errorPlane) {
    rows.push_back(row(NAMED(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R),
                       {pointer(), pointer(), step(64), size(16, 8), anyNumber(1), anyNumber(5), anyNumber(3),
                        pointer(), anyNumber(1), anyNumber(0), errorPlane, pointer()},
                       {0, 11, 3, 7, 1, 2})
                       .with([](const Buffers& v) { *at<int32_t>(v, 7) = 20; })
                       .as(variant));
  };
  whole("", mayBeNull());
  whole("NoErrorPlane", anyNumber(0));

  const auto sizeQuery = [&](const char* name, auto function) {
    rows.push_back(row(name, function, {size(16, 8), pointer()}, {0, 1}));
  };
  sizeQuery(NAMED(qlmiDecodeCBProgrGetStateSize_JPEG2K));
  sizeQuery(NAMED(qlmiDecodeGetBufSize_JPEG2K));
  rows.push_back(row("qlmiDecodeCBProgrInitAlloc_JPEG2K", decodeInitAlloc, {pointer(), size(16, 8)}, {0, 1}));
  rows.push_back(row(NAMED(qlmiDecodeCBProgrInit_JPEG2K), {pointer()}, {0}));
  rows.push_back(
      row("qlmiDecodeCBProgrFree_JPEG2K", decodeFree, {decoderState()}, {0, contents(0)}).with([](const Buffers& v) {
        *at<int32_t>(v, 0) = kDecoderTag;
      }));
  rows.push_back(row(NAMED(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R),
                     {pointer(), step(64), size(16, 8), decoderState(), anyNumber(2), anyNumber(5), anyNumber(0)},
                     {3, contents(3), 0, 1, 2})
                     .with(state(3)));
  rows.push_back(row(NAMED(qlmiDecodeCBProgrSetPassCounter_JPEG2K), {anyNumber(3), decoderState()}, {1, contents(1)})
                     .with(state(1)));
  // Both pointers come before the tag here, and the tag before the second pointer there.
  rows.push_back(row(NAMED(qlmiDecodeCBProgrGetPassCounter_JPEG2K), {decoderState(), pointer()}, {0, 1, contents(0)})
                     .with(state(0)));
  rows.push_back(row(NAMED(qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K), {decoderState(), pointer()}, {0, contents(0), 1})
                     .with(state(0)));
  rows.push_back(
      row(NAMED(qlmiDecodeCBProgrStep_JPEG2K), {pointer(), anyNumber(20), decoderState()}, {0, 2, contents(2)})
          .with([state](const Buffers& v) {
            state(2)(v);
            // The block lies behind the coded bytes.
            auto* const decoder = at<QlmDecodeState_JPEG2K>(v, 2);
            qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(at<int32_t>(v, 0) + 1024, 64, {16, 8}, decoder, 0, 5, 0);
            qlmiDecodeCBProgrSetPassCounter_JPEG2K(3, decoder);
          }));
}

}  // namespace

std::vector<Row> jpeg2000BlockRows() {
  std::vector<Row> rows;
  addEncoderRows(rows);
  addDecoderRows(rows);
  return rows;
}

}  // namespace test
