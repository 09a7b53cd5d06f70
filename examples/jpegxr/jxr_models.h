// What one tile has learnt of its coefficients while it is coded (T.832 8.7): the adaptive codes, how many
// low bits are sent apart, and which patterns of coded blocks to expect. The reader and the writer keep it alike.
#pragma once

#include "jpegxr/jxr_codes.h"
#include "jpegxr/jxr_format.h"
#include "qlmjp/jpegxr.h"

namespace sample {

// How many low bits of luma and of chroma coefficients are not worth a code, from how many were left above them.
class JxrModelBits {
 public:
  JxrModelBits(JxrBand band, JxrComponents components);

  int32_t luma() const { return side_[0].bits; }
  int32_t chroma() const { return side_[1].bits; }
  int32_t of(size_t component) const { return side_[component > 0].bits; }
  // The numbers of coefficients that a macroblock coded.
  void update(int32_t lumaCount, int32_t chromaCount);

 private:
  struct Side {
    int32_t bits = 0, state = 0, weight = 0, shift = 0;
  };
  static void update(Side& side, int32_t count);

  std::array<Side, 2> side_;
  bool hasChroma_;
};

// Which components of a macroblock have lowpass coefficients to code: one bit for each, chroma of subsampled files
// together. Whether all or none have is expected from the macroblocks before.
class JxrLowpassPattern {
 public:
  explicit JxrLowpassPattern(JxrComponents components);

  uint32_t read(JxrBitReader& bits);
  void write(JxrBitWriter& bits, uint32_t pattern);

 private:
  void update(uint32_t pattern);

  JxrComponents components_;
  uint32_t bits_, most_;
  int32_t notAll_ = 1, notNone_ = 1;
};

// How the patterns of coded highpass blocks of luma or of chroma relate to what is sent of them.
class JxrBlockPatternModel {
 public:
  enum class State { kPredicted, kPlain, kInverted };

  State state() const { return state_; }
  // The number of coded blocks, as if there were 16.
  void update(int32_t coded);

 private:
  int32_t few_ = -4, many_ = 4;
  State state_ = State::kPredicted;
};

struct JxrTileModels {
  explicit JxrTileModels(JxrComponents components);

  QlmVLCState vlc;
  AdaptiveCode dcFlags{kEightSymbols}, dcLuma{kSevenSymbols}, dcChroma{kSevenSymbols};
  AdaptiveCode patternCount{kFiveSymbols}, patternBlock, patternChroma{kFourSymbols};
  JxrModelBits dcBits, lowpassBits, highpassBits;
  JxrLowpassPattern lowpassPattern;
  std::array<JxrBlockPatternModel, 2> blockPatterns;  // of luma, of chroma

  // Adapts codes behind the bands of a macroblock.
  void adaptDc();       // in files without lowpass coefficients
  void adaptLowpass();  // and DC
  void adaptHighpass();
};

// The macroblocks of a tile in their order. Scan orders start anew every 16 columns, where codes are adapted too.
struct MbPlace {
  int32_t x, y;
  bool leftEdge, topEdge;  // of the tile
  bool resetScans, adaptCodes;
};

MbPlace placeInTile(const MbRange& columns, const MbRange& rows, int32_t x, int32_t y);

}  // namespace sample
