// Scalar models of the TIFF rows: PackBits (TIFF 6.0, section 9), and 16-bit samples from and to rows of bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "qlmjp/types.h"

namespace model {

// The packets of a row, each with its header.
using Packets = std::vector<std::vector<uint8_t>>;
Packets packBitsPackets(const std::vector<uint8_t>& row);

// What packing into `room` bytes leaves: the status, and the packets that fit.
struct Packed {
  QlmStatus status;
  std::vector<uint8_t> bytes;
};
Packed packBits(const std::vector<uint8_t>& row, int32_t room);

// Unpacks from src[position] on. The byte behind the `length` bytes of the source may be read, so src holds it.
struct Unpacked {
  QlmStatus status;
  std::vector<uint8_t> bytes;  // what was produced, whole on success
  int32_t position;
};
Unpacked unpackBits(const std::vector<uint8_t>& src, int32_t position, int32_t length, int32_t wanted);

std::vector<uint16_t> joinRow(const std::vector<uint8_t>& high, const std::vector<uint8_t>& low);
void splitRow(const std::vector<uint16_t>& row, std::vector<uint8_t>& high, std::vector<uint8_t>& low);

}  // namespace model
