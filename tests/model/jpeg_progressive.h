// Progressive Huffman coding of JPEG blocks (ITU-T T.81 Annex G) in the plainest form: the four kinds of scan, a block
// at a time, in both directions. DC scans keep their bits as sequential ones do (jpeg_huffman.h). The AC scans keep up
// to 64, right-justified.
#pragma once

#include "model/jpeg_huffman.h"

namespace model {

// The part of a block that an AC scan codes, Ss to Se, and its bit position, Al.
struct Band {
  int32_t first, last, low;
};

QlmStatus encodeDCFirst(const int16_t* block, const Output& out, int16_t& lastDC, int32_t low,
                        const QlmEncodeHuffmanSpec& dc, QlmEncodeHuffmanState& state);
QlmStatus encodeDCRefine(const int16_t* block, const Output& out, int32_t low, QlmEncodeHuffmanState& state);
QlmStatus encodeACFirst(const int16_t* block, const Output& out, const Band& band, const QlmEncodeHuffmanSpec& ac,
                        QlmEncodeHuffmanState& state);
QlmStatus encodeACRefine(const int16_t* block, const Output& out, const Band& band, const QlmEncodeHuffmanSpec& ac,
                         QlmEncodeHuffmanState& state);
QlmStatus flushEobRun(const Output& out, const QlmEncodeHuffmanSpec& ac, QlmEncodeHuffmanState& state);

QlmStatus decodeDCFirst(const Input& in, int16_t* block, int16_t& lastDC, int32_t low, const QlmDecodeHuffmanSpec& dc,
                        QlmDecodeHuffmanState& state);
QlmStatus decodeDCRefine(const Input& in, int16_t* block, int32_t low, QlmDecodeHuffmanState& state);

// What an AC decoder met that leaves more than one result open.
struct BandNotes {
  bool shortage = false;  // bits ran out; whether an earlier refill of the call had met the marker decides the status
  bool noCodeAtEnd = false;  // ... behind exactly 16 bits that are no code
  bool beyond71 = false;     // a run ended where not even the overshoot of a block is defined
};
QlmStatus decodeACFirst(const Input& in, int16_t* block, const Band& band, const QlmDecodeHuffmanSpec& ac,
                        QlmDecodeHuffmanState& state, BandNotes& notes);
QlmStatus decodeACRefine(const Input& in, int16_t* block, const Band& band, const QlmDecodeHuffmanSpec& ac,
                         QlmDecodeHuffmanState& state, BandNotes& notes);

// Bits of data in the bytes of a source from one position to another: stuffing, fill bytes and markers hold none. -1 if
// the second is not where a byte of data, or a marker, begins.
int64_t dataBits(const uint8_t* source, int32_t length, int32_t from, int32_t to);

}  // namespace model
