// Rows of the texture exports.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> textureRows() {
  std::vector<Row> rows;
  // Any step but 0 passes.
  const Argument anyStep = number(64, {0}, qlmErrStep);
  const auto decoder = [&](const char* name, auto* function) {
    rows.push_back(row(name, function, {pointer(), pointer(), anyStep, size(16, 8)}, {0, 1, 2, 3}));
  };
  decoder(NAMED(qlmiTextureDecodeBlockToRGBA_DXT1_8u_C1C4R));
  decoder(NAMED(qlmiTextureDecodeBlockToRGBA_DXT3_8u_C1C4R));
  decoder(NAMED(qlmiTextureDecodeBlockToRGBA_DXT5_8u_C1C4R));
  decoder(NAMED(qlmiTextureDecodeBlock_BC4_8u_C1R));
  decoder(NAMED(qlmiTextureDecodeBlockToRG_BC5_8u_C1C2R));
  decoder(NAMED(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R));
  decoder(NAMED(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R));
  decoder(NAMED(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R));
  const auto encoder = [&](const char* name, auto* function) {
    rows.push_back(row(name, function, {pointer(), anyStep, size(16, 8), pointer()}, {0, 3, 1, 2}));
  };
  encoder(NAMED(qlmiTextureEncodeBlockFromRGBA_DXT1_8u_C4C1R));
  encoder(NAMED(qlmiTextureEncodeBlockFromRGBA_DXT3_8u_C4C1R));
  encoder(NAMED(qlmiTextureEncodeBlockFromRGBA_DXT5_8u_C4C1R));
  encoder(NAMED(qlmiTextureEncodeBlock_BC4_8u_C1R));
  encoder(NAMED(qlmiTextureEncodeBlockFromRG_BC5_8u_C2C1R));
  encoder(NAMED(qlmiTextureEncodeBlockFromYCoCg_DXT5_8u_C3C1R));
  rows.push_back(row(NAMED(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R),
                     {pointer(), anyStep, pointer(), pointer(), number(6, {8, 9, -1}, qlmErrUnsupportedMode)},
                     {0, 2, 3, 1, 4}));
  return rows;
}

}  // namespace test
