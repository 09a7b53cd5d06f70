// Drives a conversion between the pixels and the blocks of one MCU and its scalar model over the same memory.
#pragma once

#include "jpeg/colour_check.h"

namespace test {

using ConvertMcu = std::function<QlmStatus(const View& pixels, const model::colour::Blocks& blocks)>;

struct McuExport {
  const model::colour::McuRule& rule;
  ConvertMcu convert;
};

template <typename Src>
McuExport mcuExport(const char* name, QlmStatus (*f)(const Src*, int32_t, int16_t* const*)) {
  return {model::colour::mcuRule(name), [f](const View& pixels, const model::colour::Blocks& blocks) {
            return f(reinterpret_cast<const Src*>(pixels.plane[0]), pixels.step[0], blocks.data());
          }};
}
template <typename Dst>
McuExport mcuExport(const char* name, QlmStatus (*f)(const int16_t* const*, Dst*, int32_t)) {
  return {model::colour::mcuRule(name), [f](const View& pixels, const model::colour::Blocks& blocks) {
            return f(blocks.data(), reinterpret_cast<Dst*>(pixels.plane[0]), pixels.step[0]);
          }};
}
#define MCU_EXPORT(name) ::test::mcuExport(#name, name)

// Pixels and blocks of one MCU between guards.
class Mcu {
 public:
  Mcu(const model::colour::McuRule& rule, const Placement& placement);

  // Moves the pixels and the blocks of all planes into the slack by so many bytes.
  void shift(ptrdiff_t pixels, ptrdiff_t blocks);

  const View& pixels() const { return pixels_; }
  Region& region() { return region_; }
  const model::colour::Blocks& blocks() const { return blocks_; }
  size_t elements(size_t plane) const { return elements_[plane]; }
  void setBlock(size_t plane, int index, int value) const;
  int block(size_t plane, int index) const;

 private:
  Region region_;
  View pixels_;
  std::array<std::optional<GuardedBytes>, 4> memory_;
  model::colour::Blocks blocks_{};
  std::array<size_t, 4> elements_{};
};

// The side that is written is as the model has it; the other side is untouched.
::testing::AssertionResult agrees(const McuExport& e, Mcu& mcu);

// Noise and extremes of all 16 bits, padding, both guards, alignments of pixels and blocks, overlapping source rows.
void checkMcu(const McuExport& e);

// Forward all 2^24 colours (2^16 pixels of 16 bits) in flat boxes, inverse all samples of 8 bits.
void checkEveryMcuColour(const McuExport& e, const Deviation& expected);

}  // namespace test
