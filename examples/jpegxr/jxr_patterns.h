// Coded block patterns: which blocks of a macroblock have highpass coefficients to code (T.832 8.7). A pattern
// has a bit for each block of a component, in the order in which the file has the blocks: four quarters of four blocks,
// or row by row in subsampled chroma. It is expected from the blocks at the left and above.
#pragma once

#include "jpegxr/jxr_models.h"

namespace sample {

using JxrPatterns = std::array<uint32_t, 3>;  // by component

// Where the block of a number stands.
constexpr BlockPlace blockPlace(const BlockGrid& grid, int32_t number) {
  if (grid.wide == 2) return {number & 1, number >> 1};
  return {(number & 1) + (number >> 1 & 2), (number >> 1 & 1) + (number >> 2 & 2)};
}

class JxrPatternCoder {
 public:
  JxrPatternCoder(JxrComponents components, int32_t mbsWide)
      : components_(components), last_(static_cast<size_t>(mbsWide)) {}

  JxrPatterns read(JxrBitReader& bits, JxrTileModels& models, const MbPlace& place);
  void write(JxrBitWriter& bits, JxrTileModels& models, const MbPlace& place, const JxrPatterns& patterns);

 private:
  // Between patterns and what the file says of them. They take the prediction of the first block and update the model.
  uint32_t decode(uint32_t sent, size_t component, bool expected, JxrBlockPatternModel& model) const;
  uint32_t encode(uint32_t pattern, size_t component, bool expected, JxrBlockPatternModel& model) const;
  bool expectFirst(size_t component, const MbPlace& place) const;

  JxrComponents components_;
  std::vector<JxrPatterns> last_;  // by column: of this row, or of the row before where this one is not there yet
};

}  // namespace sample
