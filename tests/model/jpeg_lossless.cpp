#include "model/jpeg_lossless.h"

#include <algorithm>
#include <cstdlib>

namespace model {
namespace {

// T.81 table H.1, from the samples to the left, above, and above to the left.
int32_t prediction(int32_t predictor, int32_t left, int32_t above, int32_t aboveLeft) {
  switch (predictor) {
    case 1:
      return left;
    case 2:
      return above;
    case 3:
      return aboveLeft;
    case 4:
      return left + above - aboveLeft;
    case 5:
      return left + ((above - aboveLeft) >> 1);
    case 6:
      return above + ((left - aboveLeft) >> 1);
    default:
      return (left + above) >> 1;
  }
}

int32_t firstPrediction(int32_t precision, int32_t pointTransform) {
  return static_cast<int32_t>(1u << ((precision - pointTransform - 1) & 31));
}

int16_t low16(int64_t value) { return static_cast<int16_t>(value); }

QlmStatus putSample(int32_t value, const Output& out, const QlmEncodeHuffmanSpec& dc, QlmEncodeHuffmanState& state) {
  const int32_t size = category(std::abs(value));
  const uint32_t entry = dc.codes[size];
  const QlmStatus status = putBits(static_cast<int32_t>(entry & 0xFFFF), static_cast<int32_t>(entry >> 16), out, state);
  if (status != qlmOk || size == 0 || size == 16) return status;
  return putBits(value < 0 ? value - 1 : value, size, out, state);
}

}  // namespace

void diffFirstRow(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform) {
  dst[0] = low16(int64_t{src[0]} - firstPrediction(precision, pointTransform));
  for (int32_t i = 1; i < width; ++i) dst[i] = low16(src[i] - src[i - 1]);
}

void reconstructFirstRow(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform) {
  dst[0] = low16(int64_t{src[0]} + firstPrediction(precision, pointTransform));
  for (int32_t i = 1; i < width; ++i) dst[i] = low16(dst[i - 1] + src[i]);
}

void diffRow(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor) {
  const int16_t first = low16(src[0] - previous[0]);
  for (int32_t i = 0; i < width; ++i) {
    const int16_t difference =
        i == 0 ? first : low16(src[i] - prediction(predictor, src[i - 1], previous[i], previous[i - 1]));
    dst[i] = difference;
  }
}

void reconstructRow(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor) {
  dst[0] = low16(src[0] + previous[0]);
  for (int32_t i = 1; i < width; ++i)
    dst[i] = low16(src[i] + prediction(predictor, dst[i - 1], previous[i], previous[i - 1]));
}

QlmStatus encodeOne(int16_t value, const Output& out, const QlmEncodeHuffmanSpec& dc, QlmEncodeHuffmanState& state) {
  return putSample(value, out, dc, state);
}

QlmStatus decodeOne(const Input& in, int16_t& value, const QlmDecodeHuffmanSpec& dc, QlmDecodeHuffmanState& state) {
  int32_t size = 0;
  QlmStatus status = getSymbol(in, dc, state, size);
  if (status != qlmOk) return status;
  if (size >= 16) {
    value = -32768;
    return qlmOk;
  }
  if (size > 0 && state.bitCount < size) status = fill(in, size, state);
  if (status != qlmOk) return status;
  value = size == 0 ? int16_t{0} : low16(extend(takeBits(state, size), size));
  return qlmOk;
}

QlmStatus encodeRow(const int16_t* const* rows, RowShape shape, const Output& out,
                    const QlmEncodeHuffmanSpec* const* tables, QlmEncodeHuffmanState& state, bool* missing) {
  const int32_t coded = std::min(shape.rows, 4), before = *out.position;
  const QlmEncodeHuffmanState stateBefore = state;
  QlmStatus status = qlmOk;
  if (missing) *missing = false;
  for (int32_t x = 0; x < shape.width; ++x) {
    for (int32_t c = 0; c < coded; ++c) {
      if (status == qlmOk) status = putSample(rows[c][x], out, *tables[c], state);
      if (missing && tables[c]->codes[category(std::abs(int32_t{rows[c][x]}))] >> 16 == 0) *missing = true;
    }
  }
  if (status != qlmOk && shape.rows <= 4) {
    *out.position = before;
    state = stateBefore;
  }
  return status;
}

bool decodeRowFast(const Input& in, int16_t* const* rows, RowShape shape, const QlmDecodeHuffmanSpec* const* tables,
                   QlmDecodeHuffmanState& state) {
  if (shape.rows > 4 || *in.marker != 0 || int64_t{in.length} - *in.position < 2 * int64_t{shape.width}) return false;
  int32_t position = *in.position;
  FastBits bits(state.accumulator, state.bitCount);
  const auto refill = [&] { return bits.refill(in, position); };
  for (int32_t x = 0; x < shape.width; ++x) {
    for (int32_t c = 0; c < shape.rows; ++c) {
      const int32_t size = fastSymbol(*tables[c], bits, refill);
      if (size < 0) return false;
      if (size >= 16) {
        rows[c][x] = -32768;
        continue;
      }
      if (bits.held() < size && !refill()) return false;
      rows[c][x] = low16(extend(bits.take(size), size));
    }
  }
  state.accumulator = bits.handBack(position);
  state.bitCount = bits.held();
  *in.position = position;
  return true;
}

QlmStatus decodeRowCareful(const Input& in, int16_t* const* rows, RowShape shape,
                           const QlmDecodeHuffmanSpec* const* tables, QlmDecodeHuffmanState& state, int64_t* done) {
  if (done) *done = 0;
  for (int32_t x = 0; x < shape.width; ++x) {
    for (int32_t c = 0; c < std::min(shape.rows, 4); ++c) {
      const QlmStatus status = decodeOne(in, rows[c][x], *tables[c], state);
      if (status != qlmOk) return status;
      if (done) ++*done;
    }
  }
  return qlmOk;
}

}  // namespace model
