// The code-blocks of a picture as OpenJPEG's own encoder cuts them, and its block encoder to be called on them again
// and again. A program that includes this links libopenjp2.a with -Wl,--wrap=opj_t1_encode_cblks: OpenJPEG codes the
// picture on a thread of its own, which stops where its block encoder is to be called; from there on the tile belongs
// to the race. What the race reads of OpenJPEG's records is declared here, in the order and with the types of
// version 2.5.
#pragma once

#include <openjpeg.h>

#include <cmath>
#include <cstdint>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/openjpeg_transforms.h"
#include "support/picture.h"

namespace openjpeg {

struct Pass {
  uint32_t rate;
  double distortion;
  uint32_t length;
  uint32_t terminated;
};
struct CodeBlock {
  uint8_t* data;
  void* layers;
  Pass* passes;
  int32_t x0, y0, x1, y1;
  uint32_t bitPlanes, lengthBits, dataBytes, layerPasses, layersPasses, passCount;
};
struct Precinct {
  int32_t x0, y0, x1, y1;
  uint32_t blockColumns, blockRows;
  CodeBlock* blocks;
  uint32_t blockBytes;
  void* trees[2];
};
struct Tile {
  int32_t x0, y0, x1, y1;
  uint32_t componentCount;
  TileComponent* components;
};
static_assert(sizeof(Pass) == 24 && sizeof(CodeBlock) == 64 && sizeof(Precinct) == 56);

extern "C" int32_t __real_opj_t1_encode_cblks(TileCoder* coder, Tile* tile, void* parameters, const double* norms,
                                              uint32_t components);

class BlockEncoder {
 public:
  // Grey, six resolutions, code-blocks of blockSize x blockSize. The irreversible transform's coefficients are
  // multiplied by `scale`, as if the quantiser's steps were as much larger.
  BlockEncoder(const sample::Picture& grey, int32_t blockSize, bool reversible, float scale)
      : reversible_(reversible), thread_([=, this] { code(grey, blockSize); }) {
    reached_.get_future().get();
    if (!reversible) {
      auto* samples = static_cast<float*>(component().samples);
      for (ptrdiff_t i = 0; i < ptrdiff_t{grey.width} * grey.height; ++i) samples[i] *= scale;
    }
  }
  BlockEncoder(const BlockEncoder&) = delete;
  BlockEncoder& operator=(const BlockEncoder&) = delete;
  ~BlockEncoder() {
    released_.set_value();
    thread_.join();
  }

  // All coding passes of all blocks, arithmetic coding included, with rate and distortion of each pass.
  void encode() const {
    if (!__real_opj_t1_encode_cblks(coder_, tile_, parameters_, norms_, 1))
      throw std::runtime_error("OpenJPEG's block encoder failed");
  }

  bool reversible() const { return reversible_; }
  const TileComponent& component() const { return *tile_->components; }

  // visit(block, its first coefficient (int32_t or float, rows of the picture's width apart), subband number, step
  // size)
  template <typename Visit>
  void forEachBlock(Visit visit) const {
    for (uint32_t r = 0; r < component().resolutionCount; ++r) {
      const Resolution& resolution = component().resolutions[r];
      for (uint32_t i = 0; i < resolution.bandCount; ++i) {
        const Band& band = resolution.bands[i];
        const Resolution* below = r ? &component().resolutions[r - 1] : nullptr;
        const ptrdiff_t left = band.number & 1 ? below->x1 - below->x0 : 0;
        const ptrdiff_t top = band.number & 2 ? below->y1 - below->y0 : 0;
        const auto* precincts = static_cast<const Precinct*>(band.precincts);
        for (uint32_t p = 0; p < resolution.precinctColumns * resolution.precinctRows; ++p)
          for (uint32_t b = 0; b < precincts[p].blockColumns * precincts[p].blockRows; ++b) {
            const CodeBlock& block = precincts[p].blocks[b];
            const ptrdiff_t width = component().x1 - component().x0;
            const ptrdiff_t at = (top + block.y0 - band.borders[1]) * width + left + block.x0 - band.borders[0];
            visit(block, static_cast<const char*>(component().samples) + 4 * at, band.number, band.stepSize);
          }
      }
    }
  }

  // Called in place of OpenJPEG's routine, on its thread.
  int32_t stop(TileCoder* coder, Tile* tile, void* parameters, const double* norms, uint32_t components) {
    coder_ = coder, tile_ = tile, parameters_ = parameters, norms_ = norms;
    reached_.set_value();
    released_.get_future().wait();
    return __real_opj_t1_encode_cblks(coder, tile, parameters, norms, components);
  }
  static inline thread_local BlockEncoder* current = nullptr;

 private:
  void code(const sample::Picture& grey, int32_t blockSize) {
    current = this;
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.cblockw_init = parameters.cblockh_init = blockSize;
    parameters.irreversible = !reversible_;
    opj_image_cmptparm_t shape{};
    shape.dx = shape.dy = 1;
    shape.w = static_cast<uint32_t>(grey.width), shape.h = static_cast<uint32_t>(grey.height);
    shape.prec = 8;
    opj_image_t* const image = opj_image_create(1, &shape, OPJ_CLRSPC_GRAY);
    image->x1 = shape.w, image->y1 = shape.h;
    for (size_t i = 0; i < grey.pixels.size(); ++i) image->comps[0].data[i] = grey.pixels[i];
    opj_codec_t* const codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_stream_t* const stream = opj_stream_default_create(OPJ_FALSE);
    opj_stream_set_write_function(stream, [](void*, size_t bytes, void*) { return bytes; });
    opj_stream_set_seek_function(stream, [](int64_t, void*) -> int32_t { return OPJ_TRUE; });
    opj_stream_set_skip_function(stream, [](int64_t bytes, void*) { return bytes; });
    const bool done = opj_setup_encoder(codec, &parameters, image) && opj_start_compress(codec, image, stream) &&
                      opj_encode(codec, stream) && opj_end_compress(codec, stream);
    if (!done && !tile_) reached_.set_exception(std::make_exception_ptr(std::runtime_error("OpenJPEG failed")));
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
  }

  bool reversible_;
  std::promise<void> reached_, released_;
  TileCoder* coder_ = nullptr;
  Tile* tile_ = nullptr;
  void* parameters_ = nullptr;
  const double* norms_ = nullptr;
  std::thread thread_;  // last: it uses the others
};

extern "C" inline __attribute__((used)) int32_t __wrap_opj_t1_encode_cblks(TileCoder* coder, Tile* tile,
                                                                           void* parameters, const double* norms,
                                                                           uint32_t components) {
  return BlockEncoder::current->stop(coder, tile, parameters, norms, components);
}

}  // namespace openjpeg
