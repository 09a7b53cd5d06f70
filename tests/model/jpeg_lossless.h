// Lossless JPEG (ITU-T T.81 Annex H) in the plainest form: differences of a row to its prediction and back, and the
// Huffman coding of differences, one by one and by interleaved rows. Decoding rows has two routes, as decoding blocks
// has (jpeg_huffman.h).
#pragma once

#include "model/jpeg_huffman.h"

namespace model {

void diffFirstRow(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform);
void reconstructFirstRow(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform);
void diffRow(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor);
void reconstructRow(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor);

QlmStatus encodeOne(int16_t value, const Output& out, const QlmEncodeHuffmanSpec& dc, QlmEncodeHuffmanState& state);
QlmStatus decodeOne(const Input& in, int16_t& value, const QlmDecodeHuffmanSpec& dc, QlmDecodeHuffmanState& state);

// A shape of rows, of which the first four count.
struct RowShape {
  int32_t width, rows;
};
// Up to four rows leave position and state alone when they fail, more leave what has been written. `missing`, if asked
// for, tells whether any sample of the row has no code.
QlmStatus encodeRow(const int16_t* const* rows, RowShape shape, const Output& out,
                    const QlmEncodeHuffmanSpec* const* tables, QlmEncodeHuffmanState& state, bool* missing = nullptr);
// False when the route gives the row up; neither position nor state have changed then.
bool decodeRowFast(const Input& in, int16_t* const* rows, RowShape shape, const QlmDecodeHuffmanSpec* const* tables,
                   QlmDecodeHuffmanState& state);
// `done`, if asked for, is how many samples have been decoded.
QlmStatus decodeRowCareful(const Input& in, int16_t* const* rows, RowShape shape,
                           const QlmDecodeHuffmanSpec* const* tables, QlmDecodeHuffmanState& state,
                           int64_t* done = nullptr);

}  // namespace model
