// Quantised coefficients to pixels, an MCU at a time (T.81 A.3.3 backwards): by MCUs, by rows of planes, or with more
// than 8 bits a sample.
#pragma once

#include <memory>
#include <span>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_planes.h"
#include "support/picture.h"

namespace sample {

// All blocks that an MCU may have where its components are not interleaved: four components of 4 x 4.
inline constexpr int32_t kMaxBlocks = 64;

// MCUs come in the order of the picture; each is either drawn or missed.
class McuSink {
 public:
  McuSink() = default;
  McuSink(const McuSink&) = delete;
  McuSink& operator=(const McuSink&) = delete;
  virtual ~McuSink() = default;

  // The blocks of one component behind those of another, each in natural order. `coded` says for each how many zig-zag
  // positions may differ from 0; null where that is not known.
  virtual void draw(int32_t row, int32_t column, const int16_t* const* blocks, const int32_t* coded) = 0;
  // Mid-grey.
  virtual void miss(int32_t row, int32_t from, int32_t to) = 0;
  virtual void endRow(int32_t row) = 0;
};

// Quantisers by component, in natural order.
using InverseTable = std::array<uint16_t, kBlockSize>;
using InverseTables = std::array<InverseTable, 4>;

// The pictures have their size already.
std::unique_ptr<McuSink> sinkByMcu(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                   Picture& picture);
std::unique_ptr<McuSink> sinkByPlane(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                     Upsampling upsampling, int32_t scale, Picture& picture);
// 12 bits; subsampled chroma is replicated.
std::unique_ptr<McuSink> sinkDeep(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                  Picture16& picture);

// A block as 8 x 8 samples. The first 3 zig-zag positions lie in the top left 2x2, the first 10 in the 4x4; results are
// the same to the bit.
void blockToSamples(const int16_t* block, int32_t coded, const uint16_t* quant, uint8_t* samples, int32_t step);

}  // namespace sample
