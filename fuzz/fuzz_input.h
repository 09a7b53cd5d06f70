// A fuzzer's bytes read as numbers and Huffman lists; zeros come behind their end. And the check that ends a run.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : next_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  size_t left() const { return left_; }
  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }
  uint16_t word() {
    const uint8_t high = byte();
    return static_cast<uint16_t>(high << 8 | byte());
  }
  std::vector<uint8_t> bytes(size_t count) {
    std::vector<uint8_t> out(count);
    for (uint8_t& b : out) b = byte();
    return out;
  }
  std::vector<uint8_t> rest() { return bytes(left_); }

 private:
  const uint8_t* next_;
  size_t left_;
};

// Counts and values as in a DHT segment (ITU-T T.81 B.2.4.2), at most 256 values. Each list is an allocation of its own
// size, so that a read behind it is found.
struct HuffmanLists {
  std::vector<uint8_t> counts, values;
  explicit HuffmanLists(Input& in) : counts(in.bytes(16)) {
    size_t total = 0;
    for (const uint8_t count : counts) total += count;
    values = in.bytes(std::min<size_t>(total, 256));
    if (values.empty()) values.resize(1);
    values.shrink_to_fit();
  }
};

inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

}  // namespace fuzz

#define FUZZ_REQUIRE(condition) ::fuzz::require(condition, #condition)
