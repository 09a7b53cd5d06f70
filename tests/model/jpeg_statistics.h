// Counting the Huffman symbols of JPEG blocks and making optimal tables of the counts (ITU-T T.81 Annex K.2), in the
// plainest form.
#pragma once

#include "model/jpeg_progressive.h"

namespace model {

QlmStatus countOne(int16_t value, int32_t* dc);
QlmStatus countBlock(const int16_t* block, int32_t* dc, int32_t* ac, int16_t& lastDC);
QlmStatus countDCFirst(const int16_t* block, int32_t* dc, int16_t& lastDC, int32_t low);
QlmStatus countACFirst(const int16_t* block, int32_t* ac, const Band& band, QlmEncodeHuffmanState& state);
QlmStatus countACRefine(const int16_t* block, int32_t* ac, const Band& band, QlmEncodeHuffmanState& state);
QlmStatus countFlush(int32_t* ac, QlmEncodeHuffmanState& state);

// Writes as many values as the counts add up to.
QlmStatus optimalTable(const int32_t* statistics, uint8_t* counts, uint8_t* values);

}  // namespace model
