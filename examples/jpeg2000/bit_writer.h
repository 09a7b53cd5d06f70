// The bits of a packet header, most significant first, with a 0 stuffed behind each byte of 0xFF (T.800 B.10.1).
#pragma once

#include <cstdint>
#include <vector>

namespace sample::j2k {

class HeaderBitWriter {
 public:
  // The bytes go to the end of `out`.
  explicit HeaderBitWriter(std::vector<uint8_t>& out) : out_(out) {}

  void put(uint32_t bit) {
    byte_ = byte_ << 1 | (bit & 1);
    if (--room_ == 0) putByte();
  }

  void put(uint32_t value, int32_t bits) {
    while (bits-- > 0) put(value >> bits);
  }

  // Fills up the last byte, which is not to be 0xFF.
  void end() {
    while (room_ != 8) put(0);
  }

 private:
  void putByte() {
    out_.push_back(static_cast<uint8_t>(byte_));
    room_ = byte_ == 0xFF ? 7 : 8;
    byte_ = 0;
  }

  std::vector<uint8_t>& out_;
  uint32_t byte_ = 0;
  int32_t room_ = 8;  // bits of the byte that are still to come
};

}  // namespace sample::j2k
