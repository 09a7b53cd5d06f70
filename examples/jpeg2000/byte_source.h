// Big-endian numbers from bytes that may end too early.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "jpeg2000/format.h"

namespace sample::j2k {

using Bytes = std::span<const uint8_t>;

class ByteSource {
 public:
  explicit ByteSource(Bytes bytes, const char* what = "codestream") : bytes_(bytes), what_(what) {}

  size_t position() const { return position_; }
  size_t left() const { return bytes_.size() - position_; }
  Bytes rest() const { return bytes_.subspan(position_); }

  uint32_t take8() { return take(1)[0]; }
  uint32_t take16() {
    const uint32_t high = take8();
    return high << 8 | take8();
  }
  uint32_t take32() {
    const uint32_t high = take16();
    return high << 16 | take16();
  }
  Bytes take(size_t count) {
    if (count > left()) throw Jpeg2000Error(std::string(what_) + " is truncated");
    position_ += count;
    return bytes_.subspan(position_ - count, count);
  }
  // The next two bytes without going on; 0 behind the end.
  uint32_t peek16() const { return left() < 2 ? 0 : uint32_t{bytes_[position_]} << 8 | bytes_[position_ + 1]; }

 private:
  Bytes bytes_;
  const char* what_;
  size_t position_ = 0;
};

}  // namespace sample::j2k
