// Races the code-block decoder over the code-blocks of a photograph, against OpenJPEG's block decoder on the same
// codewords: those that its own encoder has written. "lossless" are all passes of the 5/3 coefficients, "1bpp" the
// passes of the 9/7 coefficients that OpenJPEG's rate allocation keeps for one bit a pixel.
//
// Both runners do the same work: they decode each block's passes and put the coefficients into their place in the tile,
// halved to int32_t (5/3) or times the step size as float (9/7): OpenJPEG's decoder does it itself, ours hands over
// sign and magnitude, and the race converts them. OpenJPEG reconstructs with one bit below the lowest plane, so ours is
// told of one plane more than there are. Before anything is timed, all coefficients are compared. The bound is the
// scalar model, which decodes the same blocks and places nothing.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "model/jpeg2000_block_decode.h"
#include "openjpeg_block_decoder.h"
#include "qlmjp/jpeg2000.h"
#include "race.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg2000_block_decode: %s\n", what);
  std::exit(1);
}

struct Block {
  QlmSize size;
  ptrdiff_t offset;  // of its first coefficient
  int32_t subband, bitPlanes, passes, length;
  float stepSize;
  size_t firstByte;
};

constexpr int32_t kKeepReconstruction = 0x40000;

struct Blocks {
  openjpeg::BlockDecoder peer;
  bool lossless;
  std::vector<uint8_t> bytes;
  std::vector<Block> blocks;
  std::vector<int32_t> tile;  // int32_t or float
  ptrdiff_t width;
  alignas(32) int32_t samples[64 * 64];
  QlmDecodeState_JPEG2K* state = nullptr;

  Blocks(const sample::Picture& grey, int32_t blockSize, bool isLossless, float bitsPerSample)
      : peer(grey, blockSize, isLossless, bitsPerSample),
        lossless(isLossless),
        tile(grey.pixels.size()),
        width(grey.width) {
    peer.forEachBlock([&](const openjpeg::CodedBlock& coded, ptrdiff_t offset, uint32_t band, float stepSize) {
      // Our subbands are numbered with HL as 2, OpenJPEG's with HL as 1.
      const int32_t subband = band == 1 ? 2 : band == 2 ? 1 : static_cast<int32_t>(band);
      Block block{{coded.x1 - coded.x0, coded.y1 - coded.y0},
                  offset,
                  subband,
                  static_cast<int32_t>(coded.bitPlanes),
                  0,
                  0,
                  stepSize,
                  bytes.size()};
      require(coded.segmentCount <= 1, "more than one segment");
      if (coded.segmentCount) block.passes = static_cast<int32_t>(coded.segments[0].passes);
      for (uint32_t i = 0; i < coded.chunkCount; ++i)
        bytes.insert(bytes.end(), coded.chunks[i].bytes, coded.chunks[i].bytes + coded.chunks[i].length);
      block.length = static_cast<int32_t>(bytes.size() - block.firstByte);
      if (block.size.width > 0 && block.size.height > 0) blocks.push_back(block);
    });
    bytes.push_back(0);  // so that even an empty codeword has an address
    require(qlmiDecodeCBProgrInitAlloc_JPEG2K(&state, {blockSize, blockSize}) == qlmOk, "no decoder");
    peer.decodeBlocks();
    decode();
    require(std::memcmp(tile.data(), peer.component().samples, tile.size() * sizeof(int32_t)) == 0,
            "coefficients differ");
  }
  Blocks(const Blocks&) = delete;
  Blocks& operator=(const Blocks&) = delete;
  ~Blocks() { qlmiDecodeCBProgrFree_JPEG2K(state); }

  void decodeByModel() const {
    for (const Block& block : blocks) {
      model::BlockDecoder decoder(block.size.width, block.size.height);
      benchmark::DoNotOptimize(decoder.decode({{bytes.data() + block.firstByte, static_cast<size_t>(block.length)}},
                                              block.subband, block.bitPlanes + 1, block.passes, kKeepReconstruction));
    }
  }

  void decode() {
    for (const Block& block : blocks) {
      const QlmStatus status = qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(
          bytes.data() + block.firstByte, samples, block.size.width * 4, block.size, block.subband, block.bitPlanes + 1,
          block.passes, &block.length, 1, kKeepReconstruction, nullptr, state);
      require(status == qlmOk, "decoding fails");
      place(block);
    }
  }

  // Rows as a compiler makes vectors of them.
  static void halve(const int32_t* __restrict from, int32_t* __restrict to, int32_t count) {
    for (int32_t x = 0; x < count; ++x) {
      const int32_t half = (from[x] & INT32_MAX) >> 1, sign = from[x] >> 31;
      to[x] = (half ^ sign) - sign;
    }
  }
  static void scale(const int32_t* __restrict from, float* __restrict to, int32_t count, float step) {
    for (int32_t x = 0; x < count; ++x) {
      const int32_t magnitude = from[x] & INT32_MAX, sign = from[x] >> 31;
      to[x] = static_cast<float>((magnitude ^ sign) - sign) * step;
    }
  }
  void place(const Block& block) {
    for (int32_t y = 0; y < block.size.height; ++y) {
      const int32_t* const from = samples + ptrdiff_t{y} * block.size.width;
      int32_t* const to = tile.data() + block.offset + y * width;
      if (lossless)
        halve(from, to, block.size.width);
      else
        scale(from, reinterpret_cast<float*>(to), block.size.width, 0.5f * block.stepSize);
    }
  }
};

void raceBlocks(const std::string& data, const sample::Picture& grey, int32_t blockSize, bool lossless) {
  // Prepared by the round that is not timed, as most runs of this program race a few works alone.
  const auto blocks = std::make_shared<std::unique_ptr<Blocks>>();
  const auto get = [=]() -> Blocks& {
    if (!*blocks) {
      *blocks = std::make_unique<Blocks>(grey, blockSize, lossless, 1.0f);
      std::fprintf(stderr, "%s: %.2f bits a sample\n", data.c_str(),
                   8.0 * static_cast<double>((*blocks)->bytes.size()) / static_cast<double>(grey.pixels.size()));
    }
    return **blocks;
  };
  const auto samples = static_cast<int64_t>(grey.pixels.size());
  const bench::Work work{"jpeg2000.block", "decode", data, "sample"};
  bench::race(work, "ours", samples, 4 * samples, [=] { get().decode(); });
  bench::race(work, "peer:OpenJPEG", samples, 4 * samples, [=] { get().peer.decodeBlocks(); });
  bench::race(work, "bound:model", samples, 4 * samples, [=] { get().decodeByModel(); });
}

[[maybe_unused]] const int registered = [] {
  const auto photographs = sample::photographs();
  const sample::Picture grey =
      photographs.empty() ? sample::paintPicture(768, 512, 1) : sample::toGrey(sample::readPicture(photographs[0]));
  for (const int32_t blockSize : {64, 32}) {
    const std::string shape = '-' + std::to_string(blockSize) + 'x' + std::to_string(blockSize);
    raceBlocks("lossless" + shape, grey, blockSize, true);
    raceBlocks("1bpp" + shape, grey, blockSize, false);
  }
  return 0;
}();

}  // namespace
