// Entropy decoding of one sequential Huffman scan, MCU by MCU (T.81 F.2), with its restart markers.
#pragma once

#include "jpeg/jpeg_headers.h"

namespace sample {

struct ScanDecoder {
  // One block of an MCU.
  struct Slot {
    size_t predictor;  // index in lastDc
    const QlmDecodeHuffmanSpec* dcTable;
    const QlmDecodeHuffmanSpec* acTable;
  };
  JpegInput input;
  std::vector<Slot> slots;
  std::array<int16_t, 4> lastDc{};
  std::array<int32_t, kMaxBlocksInMcu> coded{};  // zig-zag positions that hold each block of the last MCU
  QlmDecodeHuffmanState state;
  int32_t marker = 0;
  int32_t restartInterval = 0, untilRestart = 0, nextRestart = 0;
};

// Begins behind the scan header. A scan of one component has MCUs of one block (A.2.2).
ScanDecoder startScan(const JpegInput& input, const JpegHeaders& headers, const JpegScan& scan);

// Decodes the next MCU into contiguous blocks in the order of the scan. Throws JpegError.
void decodeMcu(ScanDecoder& decoder, int16_t* blocks);

// Where the markers go on.
JpegInput endScan(const ScanDecoder& decoder);

}  // namespace sample
