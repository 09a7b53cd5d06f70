// The markers of a JPEG file up to each scan (T.81 Annex B): tables, frame and scan header.
#pragma once

#include <qlmjp.h>

#include <optional>
#include <span>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_script.h"

namespace sample {

// A file in memory and how far it has been read.
struct JpegInput {
  std::span<const uint8_t> bytes;
  size_t position = 0;
};

// What the markers so far have said. Tables may be defined anew between scans.
struct JpegHeaders {
  JpegFrame frame;
  std::array<std::optional<QuantTable>, 4> quant;
  std::array<std::optional<QlmDecodeHuffmanSpec>, 4> dcTables, acTables;
  std::array<std::optional<QuantTable>, 4> componentQuant;  // by component, as its first scan met it
  JpegCoverage coded{JpegProcess::kSequential};
  int32_t restartInterval = 0;
  bool jfif = false;
  int32_t adobeTransform = -1;  // -1 without an Adobe marker
};

struct JpegScan {
  JpegScanSpec spec;
  std::array<const QlmDecodeHuffmanSpec*, 4> dcTables{}, acTables{};  // by place in the scan; null where not needed
};

// Reads on behind the header of the next scan; false at the end of the image. At position 0 the file must begin as a
// JPEG does. Throws JpegError behind what is wrong, so that reading may go on.
bool nextScan(JpegInput& input, JpegHeaders& headers, JpegScan& scan);

// Goes behind the next marker, past whatever lies before it, and returns its second byte; no value at the end of the
// file.
std::optional<uint8_t> nextMarker(JpegInput& input);

// By the number of components; three by JFIF, else by the Adobe marker, else by their identifiers, else RGB in lossless
// files and YCbCr in others; four are CMYK unless the Adobe marker says YCCK.
JpegColour colourOf(const JpegHeaders& headers);

// For the inverse DCT: natural order.
std::array<uint16_t, kBlockSize> inverseTable(const QuantTable& table);

}  // namespace sample
