// The code-blocks of a picture as OpenJPEG's encoder has coded them, and OpenJPEG's block decoder to be called on them
// again and again. A program that includes this links libopenjp2.a with -Wl,--wrap=opj_t1_decode_cblks: OpenJPEG
// decodes the picture on a thread of its own, which stops where its block decoder is to be called; from there on the
// tile belongs to the race. What the race reads of OpenJPEG's records is declared here, in the order and with the types
// of version 2.5.
#pragma once

#include <openjpeg.h>

#include <cstdint>
#include <cstring>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/openjpeg_transforms.h"
#include "support/picture.h"

namespace openjpeg {

struct CodedSegment {
  uint32_t length, passesSeen, passes, maxPasses, newPasses, newLength;
};
struct CodedChunk {
  const uint8_t* bytes;
  uint32_t length;
};
struct CodedBlock {
  CodedSegment* segments;
  CodedChunk* chunks;
  int32_t x0, y0, x1, y1;
  uint32_t maxBitPlanes, bitPlanes, lengthBits, newPasses, segmentsSeen, segmentCount, segmentRoom, chunkCount,
      chunkRoom;
  int32_t* samples;
};
struct CodedPrecinct {
  int32_t x0, y0, x1, y1;
  uint32_t blockColumns, blockRows;
  CodedBlock* blocks;
  uint32_t blockBytes;
  void* trees[2];
};
static_assert(sizeof(CodedSegment) == 24 && sizeof(CodedBlock) == 80 && sizeof(CodedPrecinct) == 56);

extern "C" void __real_opj_t1_decode_cblks(TileCoder* coder, volatile int32_t* good, TileComponent* component,
                                           void* parameters, void* events, void* mutex, int32_t checkTermination);

class BlockDecoder {
 public:
  // Codes a grey picture in six resolutions with code-blocks of blockSize x blockSize, all of it in lossless mode or,
  // with the 9/7 wavelet, the passes that its rate allocation chooses for `bitsPerSample`.
  BlockDecoder(const sample::Picture& grey, int32_t blockSize, bool lossless, float bitsPerSample)
      : thread_([=, this] { decode(encode(grey, blockSize, lossless, bitsPerSample)); }) {
    reached_.get_future().get();
  }
  BlockDecoder(const BlockDecoder&) = delete;
  BlockDecoder& operator=(const BlockDecoder&) = delete;
  ~BlockDecoder() {
    released_.set_value();
    thread_.join();
  }

  // All blocks, into the coefficients of the tile: int32_t, or float times the step size.
  void decodeBlocks() const {
    volatile int32_t good = 1;
    __real_opj_t1_decode_cblks(coder_, &good, component_, parameters_, events_, nullptr, 0);
    if (!good) throw std::runtime_error("OpenJPEG's block decoder failed");
  }

  const TileComponent& component() const { return *component_; }

  // visit(block, offset of its first coefficient, subband number, step size)
  template <typename Visit>
  void forEachBlock(Visit visit) const {
    for (uint32_t r = 0; r < component().resolutionCount; ++r) {
      const Resolution& resolution = component().resolutions[r];
      for (uint32_t i = 0; i < resolution.bandCount; ++i) {
        const Band& band = resolution.bands[i];
        const Resolution* below = r ? &component().resolutions[r - 1] : nullptr;
        const ptrdiff_t left = band.number & 1 ? below->x1 - below->x0 : 0;
        const ptrdiff_t top = band.number & 2 ? below->y1 - below->y0 : 0;
        const auto* precincts = static_cast<const CodedPrecinct*>(band.precincts);
        for (uint32_t p = 0; p < resolution.precinctColumns * resolution.precinctRows; ++p)
          for (uint32_t b = 0; b < precincts[p].blockColumns * precincts[p].blockRows; ++b) {
            const CodedBlock& block = precincts[p].blocks[b];
            const ptrdiff_t width = component().x1 - component().x0;
            visit(block, (top + block.y0 - band.borders[1]) * width + left + block.x0 - band.borders[0], band.number,
                  band.stepSize);
          }
      }
    }
  }

  // Called in place of OpenJPEG's routine, on its thread. The blocks stay undecoded.
  void stop(TileCoder* coder, TileComponent* component, void* parameters, void* events) {
    coder_ = coder, component_ = component, parameters_ = parameters, events_ = events;
    reached_.set_value();
    released_.get_future().wait();
  }
  static inline thread_local BlockDecoder* current = nullptr;

 private:
  // A codestream in memory, as OpenJPEG reads and writes it.
  struct Stream {
    std::vector<uint8_t> bytes;
    size_t position = 0;

    opj_stream_t* open(bool input) {
      opj_stream_t* const stream = opj_stream_default_create(input);
      opj_stream_set_user_data(stream, this, nullptr);
      opj_stream_set_user_data_length(stream, bytes.size());
      opj_stream_set_write_function(stream, [](void* from, size_t count, void* user) {
        auto& self = *static_cast<Stream*>(user);
        if (self.bytes.size() < self.position + count) self.bytes.resize(self.position + count);
        std::memcpy(self.bytes.data() + self.position, from, count);
        self.position += count;
        return count;
      });
      opj_stream_set_read_function(stream, [](void* to, size_t count, void* user) {
        auto& self = *static_cast<Stream*>(user);
        count = std::min(count, self.bytes.size() - self.position);
        std::memcpy(to, self.bytes.data() + self.position, count);
        self.position += count;
        return count ? count : static_cast<size_t>(-1);
      });
      opj_stream_set_seek_function(stream, [](int64_t to, void* user) -> int32_t {
        static_cast<Stream*>(user)->position = static_cast<size_t>(to);
        return OPJ_TRUE;
      });
      opj_stream_set_skip_function(stream, [](int64_t count, void* user) {
        static_cast<Stream*>(user)->position += static_cast<size_t>(count);
        return count;
      });
      return stream;
    }
  };

  static Stream encode(const sample::Picture& grey, int32_t blockSize, bool lossless, float bitsPerSample) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.cblockw_init = parameters.cblockh_init = blockSize;
    parameters.irreversible = !lossless;
    parameters.tcp_rates[0] = lossless ? 0 : 8 / bitsPerSample;
    opj_image_cmptparm_t shape{};
    shape.dx = shape.dy = 1;
    shape.w = static_cast<uint32_t>(grey.width), shape.h = static_cast<uint32_t>(grey.height);
    shape.prec = 8;
    opj_image_t* const image = opj_image_create(1, &shape, OPJ_CLRSPC_GRAY);
    image->x1 = shape.w, image->y1 = shape.h;
    for (size_t i = 0; i < grey.pixels.size(); ++i) image->comps[0].data[i] = grey.pixels[i];
    Stream file;
    opj_codec_t* const codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_stream_t* const stream = file.open(false);
    const bool done = opj_setup_encoder(codec, &parameters, image) && opj_start_compress(codec, image, stream) &&
                      opj_encode(codec, stream) && opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    if (!done) file.bytes.clear();
    file.position = 0;
    return file;
  }

  void decode(Stream file) {
    current = this;
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_codec_t* const codec = opj_create_decompress(OPJ_CODEC_J2K);
    opj_stream_t* const stream = file.open(true);
    opj_image_t* image = nullptr;
    const bool read = !file.bytes.empty() && opj_setup_decoder(codec, &parameters) &&
                      opj_read_header(stream, codec, &image) && opj_decode(codec, stream, image);
    if (!read && !component_) reached_.set_exception(std::make_exception_ptr(std::runtime_error("OpenJPEG failed")));
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
  }

  std::promise<void> reached_, released_;
  TileCoder* coder_ = nullptr;
  TileComponent* component_ = nullptr;
  void* parameters_ = nullptr;
  void* events_ = nullptr;
  std::thread thread_;  // last: it uses the others
};

extern "C" inline __attribute__((used)) void __wrap_opj_t1_decode_cblks(TileCoder* coder, volatile int32_t*,
                                                                        TileComponent* component, void* parameters,
                                                                        void* events, void*, int32_t) {
  BlockDecoder::current->stop(coder, component, parameters, events);
}

}  // namespace openjpeg
