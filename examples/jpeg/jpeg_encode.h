// The parts of the writer between coefficients or samples and the bytes of scans.
#pragma once

#include "jpeg/jpeg_output.h"
#include "jpeg/jpeg_source.h"

namespace sample {

// One sequential scan of all components with the typical tables of Annex K, each MCU while it is in the cache.
void encodeFromSource(JpegOutput& out, const JpegFrame& frame, JpegColour colour, int32_t restartInterval,
                      McuSource& source, const Progress& progress);

// All MCUs of a picture as planes of coefficients.
std::vector<BlockPlane> transformAll(const JpegFrame& frame, McuSource& source, const Progress& progress);

// The scans of a script, with Huffman tables made for each of them, or with the typical ones of Annex K. Throws
// JpegError where a coefficient is too large for the process.
void encodeScans(JpegOutput& out, const JpegCoefficients& picture, const JpegScript& script, bool optimise);

// One lossless scan of all components.
void encodeLossless(JpegOutput& out, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartInterval,
                    const Picture& picture, const Progress& progress);
void encodeLossless(JpegOutput& out, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartInterval,
                    const Picture16& picture, const Progress& progress);

// The typical tables, by slot: for chroma, and for everything else.
struct HuffmanPair {
  HuffmanTable dc, ac;
};
std::array<HuffmanPair, 2> typicalTables();

}  // namespace sample
