#include "jpeg2000/openjpeg_peer.h"

#include <algorithm>

#include "jpeg2000/openjpeg_planes.h"

namespace sample {
namespace {

void setParameters(opj_cparameters_t& p, const Picture16& picture, const OpenjpegOptions& options) {
  p.irreversible = !options.reversible;
  p.tcp_mct = options.colourTransform && picture.channels >= 3;
  p.numresolution = options.levels + 1;
  p.cblockw_init = options.blockWidth, p.cblockh_init = options.blockHeight;
  p.mode = options.blockStyle;
  p.prog_order = static_cast<OPJ_PROG_ORDER>(options.progression);
  p.csty |= (options.sop ? 2 : 0) | (options.eph ? 4 : 0);
  if (options.tileWidth) {
    p.tile_size_on = OPJ_TRUE;
    p.cp_tdx = options.tileWidth, p.cp_tdy = options.tileHeight;
  }
  if (options.precinctWidth) {
    p.csty |= 1;
    p.res_spec = 1;
    p.prcw_init[0] = options.precinctWidth, p.prch_init[0] = options.precinctHeight;
  }
  p.tcp_numlayers = static_cast<int>(std::max<size_t>(options.layerBytes.size(), 1));
  const double raw = static_cast<double>(picture.samples.size()) * picture.bits / 8;
  for (size_t i = 0; i < options.layerBytes.size(); ++i)
    p.tcp_rates[i] = static_cast<float>(raw / options.layerBytes[i]);
}

}  // namespace

Picture16 openjpegDecode(std::span<const uint8_t> file, int32_t layers) {
  Picture16 picture;
  decodeByOpenjpeg(file, {.layers = layers, .isStrict = true}, [&](const opj_image_t& image) {
    const auto channels = static_cast<size_t>(image.numcomps);
    picture = Picture16(static_cast<int32_t>(image.comps[0].w), static_cast<int32_t>(image.comps[0].h),
                        static_cast<int32_t>(channels), static_cast<int32_t>(image.comps[0].prec));
    for (size_t c = 0; c < channels; ++c)
      for (size_t i = c, k = 0; i < picture.samples.size(); i += channels, ++k)
        picture.samples[i] = static_cast<uint16_t>(image.comps[c].data[k]);
  });
  return picture;
}

std::vector<uint8_t> openjpegEncode(const Picture16& picture, const OpenjpegOptions& options) {
  OpenjpegImage image{0, 0, picture.width, picture.height, {}};
  const auto channels = static_cast<size_t>(picture.channels);
  for (size_t c = 0; c < channels; ++c) {
    OpenjpegComponent component;
    component.width = picture.width, component.height = picture.height, component.bits = picture.bits;
    for (size_t i = c; i < picture.samples.size(); i += channels) component.samples.push_back(picture.samples[i]);
    image.components.push_back(std::move(component));
  }
  return encodeByOpenjpeg(
      image, [&](opj_cparameters_t& p) { setParameters(p, picture, options); }, options.jp2);
}

}  // namespace sample
