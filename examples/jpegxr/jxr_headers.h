// What stands before the packets of a JPEG XR file: the container, a relative of TIFF (T.832 Annex A), and the headers
// of the image, of its plane, and of the packets (T.832 clause 8). What the reader does not know it names in an
// error.
#pragma once

#include "jpegxr/jxr_bits.h"
#include "jpegxr/jxr_format.h"

namespace sample {

struct JxrFile {
  JxrHeader header;
  // By tile, row by row; empty where the file does not reach to, or has none.
  std::vector<JxrTilePackets> packets;
};

// Throws JxrError where the file cannot be shown at all.
JxrFile readJxrHeaders(std::span<const uint8_t> file);

// A file of one tile in spatial layout, around its packet.
std::vector<uint8_t> writeJxrFile(const JxrHeader& header, std::span<const uint8_t> packet);

// The first four bytes of a packet.
void skipPacketHeader(JxrBitReader& bits);
void writePacketHeader(JxrBitWriter& bits);

// The step that an index into the scale of quantisers stands for, which is finer in scaled files.
int32_t quantiserStep(const JxrHeader& header, JxrBand band, size_t component);

}  // namespace sample
