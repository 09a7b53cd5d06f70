// Races the code-block encoder over the code-blocks of a photograph, against OpenJPEG's block encoder on the same
// coefficients: those of its own wavelets, as its encoder lays them out. "reversible" are all planes of the 5/3
// coefficients, "irreversible" those of the 9/7 coefficients quantised such that the whole takes about one bit a pixel.
//
// All runners do the same work: they take wavelet coefficients (int32_t, or float and then quantise them), give the
// lowest plane six fractional bits below it for the distortions, run all coding passes, code them arithmetically, and
// know rate and distortion of each pass. Before anything is timed, bit-planes, passes and codewords are compared. The
// scalar model is the bound of that, and of the coding passes alone.
#include <immintrin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "model/jpeg2000_block_encode.h"
#include "openjpeg_blocks.h"
#include "qlmjp/jpeg2000.h"
#include "race.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg2000_block: %s\n", what);
  std::exit(1);
}

constexpr int32_t kFractionalBits = 6;
constexpr int32_t kMaxBlock = 64;

// Sign and magnitude, by T.800 Annex E, with fractional bits.
int32_t signMagnitude(int32_t v) { return (v & INT32_MIN) | std::abs(v); }
int32_t toSample(int32_t coefficient, float) { return signMagnitude(coefficient * (1 << kFractionalBits)); }
int32_t toSample(float coefficient, float perStep) {
  return signMagnitude(_mm_cvtss_si32(_mm_set_ss(coefficient * perStep)));  // rounds, as OpenJPEG does
}

template <typename T>
void toSamples(const void* from, ptrdiff_t width, QlmSize size, float stepSize, int32_t* samples) {
  const float perStep = (1 << kFractionalBits) / stepSize;
  for (int32_t y = 0; y < size.height; ++y)
    for (int32_t x = 0; x < size.width; ++x)
      samples[y * size.width + x] = toSample(static_cast<const T*>(from)[y * width + x], perStep);
}

// What a block encoder is given, and what it finds.
struct Block {
  const int32_t* samples;  // without padding
  QlmSize size;
  int32_t subband;
};
struct Coded {
  std::vector<uint8_t> bytes;
  int32_t bitPlanes = 0, passes = 0;
};

class Encoder {
 public:
  Encoder() { require(qlmiEncodeInitAlloc_JPEG2K(&state_, {kMaxBlock, kMaxBlock}) == qlmOk, "no encoder"); }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;
  ~Encoder() { qlmiEncodeFree_JPEG2K(state_); }

  void load(const Block& block) {
    int32_t terminated;
    qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(block.samples, block.size.width * 4, block.size, state_, block.subband,
                                           31 - kFractionalBits, 0, 0, 0, &significantBits_, &passes_, &terminated);
  }
  void store() {
    int32_t notFinished;
    length_ = sizeof bytes_;
    qlmiEncodeStoreBits_JPEG2K_1u(bytes_, &length_, state_, &notFinished);
    benchmark::DoNotOptimize(bytes_);
  }
  Coded coded() const { return {{bytes_, bytes_ + length_}, std::max(significantBits_ - kFractionalBits, 0), passes_}; }

 private:
  QlmEncodeState_JPEG2K* state_ = nullptr;
  int32_t significantBits_ = 0, passes_ = 0, length_ = 0;
  uint8_t bytes_[8 * kMaxBlock * kMaxBlock];
};

void encodeByModel(const Block& block, bool stores) {
  const auto samples = static_cast<size_t>(block.size.width) * static_cast<size_t>(block.size.height);
  model::BlockEncoder encoder({block.samples, block.samples + samples}, block.size.width, block.size.height,
                              {block.subband, 31 - kFractionalBits, 0, 0});
  benchmark::DoNotOptimize(encoder.passCount());
  if (stores) benchmark::DoNotOptimize(encoder.store(SIZE_MAX).bytes.data());
}

struct Picture {
  openjpeg::BlockEncoder peer;
  Encoder ours;

  // Takes the coefficients of each block from the peer.
  template <typename Encode>
  void forEachBlock(Encode encode) {
    alignas(64) int32_t samples[kMaxBlock * kMaxBlock];
    const ptrdiff_t width = peer.component().x1 - peer.component().x0;
    peer.forEachBlock([&](const openjpeg::CodeBlock& block, const void* from, uint32_t band, float stepSize) {
      const QlmSize size{block.x1 - block.x0, block.y1 - block.y0};
      (peer.reversible() ? toSamples<int32_t> : toSamples<float>)(from, width, size, stepSize, samples);
      // OpenJPEG's subbands are LL, HL, LH, HH.
      constexpr int32_t kSubbands[4] = {0, 2, 1, 3};
      encode(Block{samples, size, kSubbands[band]}, block);
    });
  }

  // The bytes of all blocks.
  size_t compare() {
    size_t bytes = 0;
    peer.encode();
    forEachBlock([&](const Block& block, const openjpeg::CodeBlock& theirs) {
      ours.load(block);
      ours.store();
      const Coded coded = ours.coded();
      require(coded.bitPlanes == static_cast<int32_t>(theirs.bitPlanes), "bit-planes differ");
      require(coded.passes == static_cast<int32_t>(theirs.passCount), "passes differ");
      // Only the endings of the codewords differ.
      const size_t length = coded.passes ? theirs.passes[coded.passes - 1].rate : 0;
      const auto common = static_cast<ptrdiff_t>(std::min(coded.bytes.size(), length)) - 4;
      require(std::max(coded.bytes.size(), length) <= static_cast<size_t>(common + 8), "lengths differ");
      require(common < 0 || std::equal(coded.bytes.begin(), coded.bytes.begin() + common, theirs.data),
              "codewords differ");
      bytes += coded.bytes.size();
    });
    return bytes;
  }
};

void raceBlocks(const std::string& data, const sample::Picture& grey, int32_t blockSize, bool reversible, float scale) {
  // Made by the round that is not timed, as most runs of this program race a few works alone.
  const auto prepared = std::make_shared<std::unique_ptr<Picture>>();
  const auto get = [=]() -> Picture& {
    if (!*prepared) {
      prepared->reset(new Picture{{grey, blockSize, reversible, scale}, {}});
      const auto bytes = static_cast<double>((*prepared)->compare());
      std::fprintf(stderr, "%s: %.2f bits a sample\n", data.c_str(),
                   8 * bytes / static_cast<double>(grey.pixels.size()));
    }
    return **prepared;
  };
  const auto samples = static_cast<int64_t>(grey.pixels.size());
  const bench::Work whole{"jpeg2000.block", "encode", data, "sample"};
  bench::race(whole, "ours", samples, 4 * samples, [=] {
    Picture& picture = get();
    picture.forEachBlock([&](const Block& block, const auto&) {
      picture.ours.load(block);
      picture.ours.store();
    });
  });
  bench::race(whole, "peer:OpenJPEG", samples, 4 * samples, [=] { get().peer.encode(); });
  bench::race(whole, "bound:model", samples, 4 * samples,
              [=] { get().forEachBlock([](const Block& block, const auto&) { encodeByModel(block, true); }); });

  const bench::Work passes{"jpeg2000.block", "qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R", data, "sample"};
  bench::race(passes, "ours", samples, 4 * samples, [=] {
    Picture& picture = get();
    picture.forEachBlock([&](const Block& block, const auto&) { picture.ours.load(block); });
  });
  bench::race(passes, "bound:model", samples, 4 * samples,
              [=] { get().forEachBlock([](const Block& block, const auto&) { encodeByModel(block, false); }); });
}

[[maybe_unused]] const int registered = [] {
  const auto photographs = sample::photographs();
  const sample::Picture grey =
      photographs.empty() ? sample::paintPicture(768, 512, 1) : sample::toGrey(sample::readPicture(photographs[0]));
  raceBlocks("reversible-64x64", grey, 64, true, 1);
  raceBlocks("reversible-32x32", grey, 32, true, 1);
  raceBlocks("irreversible-64x64", grey, 64, false, 0.06f);
  raceBlocks("irreversible-32x32", grey, 32, false, 0.06f);
  return 0;
}();

}  // namespace
