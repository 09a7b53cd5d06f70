// Scalar models of JPEG XR's adaptive and fixed-length coders (ITU-T T.832 8.7): one bit at a time, codes as strings of
// bits, the state as plain fields without pointers into tables.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "qlmjp/jpegxr.h"

namespace model {

struct VlcState {
  std::array<QlmVLCTableRecord, 21> adaptive{};
  std::array<int32_t, 21> discriminant0{}, discriminant1{};
  std::array<QlmVLCScanRecord, 48> records{};  // scans 2, 1, 0 one behind the other
  int32_t current = 2;                         // the scan in use

  QlmVLCScanRecord* scan(int32_t which) { return records.data() + 16 * (2 - which); }
};

void initVlc(VlcState& state);
void adaptVlc(VlcState& state, int32_t mode);
void resetScan(VlcState& state, int32_t which);

struct RunLevel {
  int32_t run, level;
};
// Writes the residuals that are described, and no other.
std::vector<RunLevel> scanDc(const int32_t* src, int32_t numBits, int32_t* residual, VlcState& state);

// A place in a stream of big-endian 16-bit units, and the bits that were read ahead.
struct BitReader {
  const uint8_t* next;
  uint32_t buffer = 0, count = 0;

  void refill();
  uint32_t peek(int32_t bits) const { return bits == 0 ? 0 : buffer >> (32 - bits); }
  uint32_t take(int32_t bits);
};

// The units that went out, and the bits that wait.
struct BitWriter {
  std::vector<uint8_t> out;
  uint32_t buffer = 0, count = 0;

  void drain();
  void put(uint32_t value, int32_t bits);  // the low `bits` bits
};

template <typename T>
using VlcBlock = std::array<T, 16>;  // row by row

// Blocks: the number of coefficients. `tableClass` is 0 or 1.
template <typename T>
int32_t decodeBlock(BitReader& in, T scale, VlcBlock<T>& block, int32_t tableClass, VlcState& state);
template <typename T>
int32_t encodeBlock(const VlcBlock<T>& block, int32_t tableClass, int32_t numBits, BitWriter& out, VlcState& state);
template <typename T>
int32_t encodeBlockFlex(const VlcBlock<T>& block, int32_t tableClass, int32_t numBits, int32_t trimBits,
                        int32_t* residual, BitWriter& out, VlcState& state);

// Lists of DC values.
enum class DcForm { k420, k422, k444 };
std::vector<RunLevel> decodeDcList(BitReader& in, DcForm form, int32_t tableClass, VlcState& state);
// Places a list: how many pairs it has, or nothing where it runs out of `dst` (6 or 14 values).
std::optional<int32_t> placeDc(std::span<const RunLevel> list, std::span<int32_t> dst);
int32_t placeDc444(std::span<const RunLevel> list, int32_t* dst, VlcState& state);
void encodeDcList(std::span<const RunLevel> list, DcForm form, int32_t tableClass, BitWriter& out, VlcState& state);

// Low bits of the 15 coefficients.
template <typename T>
void decodeFixed(BitReader& in, VlcBlock<T>& block, int32_t numBits, T scale, bool refine);
template <typename T>
void encodeFixed(const VlcBlock<T>& block, const int32_t* residual, BitWriter& out, int32_t numBits, int32_t trimBits,
                 bool useResidual);

// The code of a symbol, as the standard prints it.
const char* codeOf(int32_t kind, int32_t table, int32_t symbol);

}  // namespace model
