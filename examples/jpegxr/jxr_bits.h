// Bits of a packet, first bit highest. Both records hold their place as the coders of the library take and change it.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace sample {

// The coders of the library know no end, so a macroblock must find room, or zeros, for the most that it can take: 48
// blocks of 15 coefficients, each at most a first symbol, a sign, a level and a run of together 64 bits, and 16
// flexbits; besides, DC and lowpass coefficients and patterns, which are less than 16 further blocks.
constexpr size_t kMostMacroblockUnits = 64 * 15 * (64 + 16) / 16;

// A packet, copied to where zeros follow it.
class JxrBitReader {
 public:
  JxrBitReader() : JxrBitReader(std::span<const uint8_t>{}) {}
  explicit JxrBitReader(std::span<const uint8_t> packet)
      : units_((packet.size() + 1) / 2 + kMostMacroblockUnits), bits_(8 * packet.size()), next(units_.data()) {
    if (!packet.empty()) std::memcpy(units_.data(), packet.data(), packet.size());
  }
  JxrBitReader(JxrBitReader&&) = default;
  JxrBitReader& operator=(JxrBitReader&&) = default;

  // Up to 16 bits.
  uint32_t take(uint32_t n) {
    refill();
    const uint32_t value = static_cast<uint32_t>(uint64_t{buffer} >> (32 - n));
    buffer <<= n;
    count -= n;
    return value;
  }
  bool flag() { return take(1) != 0; }
  // 16 bits, which stay.
  uint32_t peek() {
    refill();
    return buffer >> 16;
  }

  // Whether more has been read than there was. To be asked after each macroblock.
  bool overrun() const { return 16 * static_cast<size_t>(next - units_.data()) - count > bits_; }

 private:
  void refill() {
    if (count >= 16) return;
    buffer |= uint32_t{__builtin_bswap16(*next++)} << (16 - count);
    count += 16;
  }

  std::vector<uint16_t> units_;
  size_t bits_;

 public:
  const uint16_t* next;
  uint32_t buffer = 0, count = 0;
};

class JxrBitWriter {
 public:
  JxrBitWriter() { reserveMacroblock(); }
  JxrBitWriter(const JxrBitWriter&) = delete;
  JxrBitWriter& operator=(const JxrBitWriter&) = delete;

  // To be called before each macroblock.
  void reserveMacroblock() {
    const size_t used = units_.empty() ? 0 : static_cast<size_t>(next - units_.data());
    if (used + kMostMacroblockUnits > units_.size()) units_.resize(2 * units_.size() + 2 * kMostMacroblockUnits);
    next = units_.data() + used;
  }

  // The low n bits of a value, up to 16.
  void put(uint32_t value, uint32_t n) {
    if (count > 16) drain();
    buffer |= static_cast<uint32_t>((uint64_t{value} & ((1u << n) - 1)) << (32 - count - n));
    count += n;
    if (count > 16) drain();
  }
  void flag(bool value) { put(value, 1); }

  // All bytes, the last one filled up with zeros.
  std::vector<uint8_t> finish() {
    const size_t bits = 16 * static_cast<size_t>(next - units_.data()) + count;
    while (count > 0) {
      *next++ = __builtin_bswap16(static_cast<uint16_t>(buffer >> 16));
      buffer <<= 16;
      count -= std::min(count, 16u);
    }
    std::vector<uint8_t> bytes((bits + 7) / 8);
    std::memcpy(bytes.data(), units_.data(), bytes.size());
    return bytes;
  }

 private:
  void drain() {
    *next++ = __builtin_bswap16(static_cast<uint16_t>(buffer >> 16));
    buffer <<= 16;
    count -= 16;
  }

  std::vector<uint16_t> units_;

 public:
  uint16_t* next = nullptr;
  uint32_t buffer = 0, count = 0;
};

}  // namespace sample
