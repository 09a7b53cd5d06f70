// Scalar models of level shift, quantisation and DCT (ITU-T T.81 A.3.1, A.3.3, A.3.4, B.2.4.1), to the bit.
// Blocks are 64 elements in natural order, with neither step nor alignment: the tests cut them out of their planes.
#pragma once

#include <array>
#include <cstdint>

namespace model {

template <typename T>
using Block = std::array<T, 64>;

int16_t sub128(uint8_t sample);
uint8_t add128(int16_t value);

// T.81 Figure A.6: natural position by zig-zag index, computed by walking the diagonals.
std::array<int, 64> naturalOfZigZag();

// The table scaled by a quality of at least 1.
Block<uint8_t> scaledRawTable(const Block<uint8_t>& raw, int32_t quality);
Block<uint16_t> quantFwdTable(const Block<uint8_t>& raw);
Block<uint16_t> quantInvTable(const Block<uint8_t>& raw);

Block<int16_t> quantFwd8x8(const Block<int16_t>& block, const Block<uint16_t>& fwdTable);
Block<int16_t> quantInv8x8(const Block<int16_t>& block, const Block<uint16_t>& invTable);

Block<int16_t> dctQuantFwd8x8(const Block<int16_t>& src, const Block<uint16_t>& fwdTable);
Block<int16_t> dctQuantFwd8x8LS(const Block<uint8_t>& src, const Block<uint16_t>& fwdTable);
Block<int16_t> dctQuantFwd8x8LS(const Block<uint16_t>& src, const Block<float>& fwdTable);

Block<int16_t> dctQuantInv8x8(const Block<int16_t>& src, const Block<uint16_t>& invTable);
Block<uint8_t> dctQuantInv8x8LS(const Block<int16_t>& src, const Block<uint16_t>& invTable);
Block<uint8_t> dctQuantInv8x8LS_1x1(const Block<int16_t>& src, const Block<uint16_t>& invTable);
Block<uint8_t> dctQuantInv8x8LS_2x2(const Block<int16_t>& src, const Block<uint16_t>& invTable);
Block<uint8_t> dctQuantInv8x8LS_4x4(const Block<int16_t>& src, const Block<uint16_t>& invTable);
std::array<uint8_t, 4> dctQuantInv8x8To2x2LS(const Block<int16_t>& src, const Block<uint16_t>& invTable);
std::array<uint8_t, 16> dctQuantInv8x8To4x4LS(const Block<int16_t>& src, const Block<uint16_t>& invTable);
Block<uint16_t> dctQuantInv8x8LS(const Block<int16_t>& src, const Block<float>& invTable);

}  // namespace model
