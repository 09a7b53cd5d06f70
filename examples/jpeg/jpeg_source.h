// Pixels to quantised coefficients, an MCU at a time (T.81 A.1 to A.3): by MCUs, by rows of planes, or with 12 bits a
// sample. Beyond the right and lower edges of the picture its last column and row go on.
#pragma once

#include <memory>

#include "jpeg/jpeg_format.h"
#include "support/picture.h"

namespace sample {

class McuSource {
 public:
  McuSource() = default;
  McuSource(const McuSource&) = delete;
  McuSource& operator=(const McuSource&) = delete;
  virtual ~McuSource() = default;

  virtual void startRow(int32_t row) = 0;
  // The blocks of one component behind those of another, each to its own place.
  virtual void transform(int32_t column, int16_t* const* blocks) = 0;
};

// Of components: quantisers as the file has them, in zig-zag order. Those of 8-bit pictures are of 8 bits.
using QuantTables = std::vector<QuantTable>;

// The picture has channelsOf(colour) channels.
std::unique_ptr<McuSource> makeSource(const Picture& picture, const JpegFrame& frame, JpegColour colour,
                                      const QuantTables& quant, JpegBy by);
std::unique_ptr<McuSource> makeSource(const Picture16& picture, const JpegFrame& frame, JpegColour colour,
                                      const QuantTables& quant);

}  // namespace sample
