// Races the entropy coders of JPEG XR (T.832 8.7) over the blocks of photographs: transformed twice, as the standard
// has it, and quantised so that the wanted number of coefficients is common.
//
// jxrlib's coders of single blocks are static functions that no package lets one call, so there is no peer in this
// process. Built apart with -O3 they take, for a block of 3, 6 and 12 coefficients: 90 to 180, 250 and 230 to 310 ns to
// scan and write, 110, 180 to 200 and 290 to 330 ns to read; 50 to 90 ns to write low bits, 125 to 240 ns to read them.
// Those are the goals. Beside ours stands the model, which works bit by bit. Before anything is timed, what both write
// and read is compared.
//
// Blocks come in the order of the picture, and the tables are adapted every 16 blocks, once a macroblock.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "model/jpegxr_vlc.h"
#include "qlmjp/jpegxr.h"
#include "race.h"
#include "support/picture.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpegxr_entropy: %s\n", what);
  std::exit(1);
}

template <typename T>
using Block = std::array<T, 16>;  // row by row
template <typename T>
using Blocks = std::vector<Block<T>>;

constexpr size_t kMostBlocks = 32768;

// Transformed blocks of all photographs: those of the samples and, of their DC values, those of the macroblocks.
struct Transformed {
  Blocks<int32_t> blocks, macroblocks;
};

Blocks<int32_t> cut(const std::vector<int32_t>& plane, int32_t width, int32_t height) {
  Blocks<int32_t> blocks;
  for (int32_t y = 0; y < height; y += 4) {
    for (int32_t x = 0; x < width; x += 4) {
      Block<int32_t>& block = blocks.emplace_back();
      for (int32_t i = 0; i < 16; ++i) block[size_t(i)] = plane[size_t((y + i / 4) * width + x + i % 4)];
    }
  }
  return blocks;
}

void append(Transformed& to, const sample::Picture& picture) {
  const sample::Picture grey = picture.channels == 3 ? sample::toGrey(picture) : picture;
  const int32_t width = grey.width / 16 * 16, height = grey.height / 16 * 16;
  std::vector<int32_t> plane;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) plane.push_back((grey.row(y)[x] - 128) * 8);
  require(qlmiPCTFwd_JPEGXR_32s_C1IR(plane.data(), 4 * width, {width, height}) == qlmOk, "transform");
  const Blocks<int32_t> blocks = cut(plane, width, height);
  to.blocks.insert(to.blocks.end(), blocks.begin(), blocks.end());
  std::vector<int32_t> dc;
  for (const Block<int32_t>& block : blocks) dc.push_back(block[0]);
  require(qlmiPCTFwd_JPEGXR_32s_C1IR(dc.data(), width, {width / 4, height / 4}) == qlmOk, "second transform");
  const Blocks<int32_t> macroblocks = cut(dc, width / 4, height / 4);
  to.macroblocks.insert(to.macroblocks.end(), macroblocks.begin(), macroblocks.end());
}

template <typename T>
Block<T> quantised(const Block<int32_t>& block, int32_t by) {
  Block<T> result;
  std::transform(block.begin(), block.end(), result.begin(), [=](int32_t v) { return static_cast<T>(v / by); });
  return result;
}
template <typename T>
int32_t coefficientsOf(const Block<T>& block) {
  return static_cast<int32_t>(16 - std::count(block.begin() + 1, block.end(), 0)) - 1;
}

// The blocks that have just so many coefficients, by the quantiser that gives the most of them.
template <typename T>
Blocks<T> blocksWith(const Blocks<int32_t>& blocks, int32_t coefficients) {
  Blocks<T> best;
  for (int32_t by = 4; by <= 1024; by = by * 5 / 4) {
    Blocks<T> found;
    for (const Block<int32_t>& block : blocks) {
      const Block<T> candidate = quantised<T>(block, by);
      if (coefficientsOf(candidate) == coefficients) found.push_back(candidate);
    }
    if (found.size() > best.size()) best = std::move(found);
  }
  best.resize(std::min(best.size(), kMostBlocks));
  return best;
}

constexpr size_t kUnitsPerBlock = 64;  // more than a call ever takes

// Coder and model with the same interface: each writes or reads on from where it stands. Streams are bytes; `bytes()`
// has those that are still held as well.
class OursWriter {
 public:
  OursWriter(std::vector<uint16_t>& room, int32_t scan) : first_(room.data()), next_(first_) {
    qlmiVLCInit_JPEGXR(&state_);
    for (int32_t which = 0; which < 3; ++which) qlmiVLCScanReset_JPEGXR(&state_, which);
    qlmiVLCScanSet_JPEGXR(&state_, scan);
  }
  void block(const Block<int16_t>& b) {
    qlmiVLCEncode4x4_JPEGXR_16s1u_C1R(b.data(), 8, 0, 0, &next_, &buffer_, &count_, &coefficients_, &state_);
  }
  void block(const Block<int32_t>& b) {
    qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(b.data(), 16, 0, 0, &next_, &buffer_, &count_, &coefficients_, &state_);
  }
  void lowBits(const Block<int16_t>& b, int32_t bits) {
    qlmiFLCEncode4x4_JPEGXR_16s1u_C1R(b.data(), 8, residual_, &next_, &buffer_, &count_, bits, 0, 0);
  }
  void lowBits(const Block<int32_t>& b, int32_t bits) {
    qlmiFLCEncode4x4_JPEGXR_32s1u_C1R(b.data(), 16, residual_, &next_, &buffer_, &count_, bits, 0, 0);
  }
  void dc(const Block<int32_t>& byNumber) {
    int32_t pairs = 0;
    qlmiVLCScan4x4DC_JPEGXR_32s(byNumber.data(), 0, residual_, list_, &pairs, &state_);
    qlmiVLCEncodeDC444_JPEGXR_32s1u(list_, pairs, 0, &next_, &buffer_, &count_, &state_);
  }
  void adapt(int32_t mode) { qlmiVLCAdapt_JPEGXR(&state_, mode); }
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> all(reinterpret_cast<const uint8_t*>(first_), reinterpret_cast<const uint8_t*>(next_));
    for (uint32_t held = 0; held < count_; held += 8) all.push_back(static_cast<uint8_t>(buffer_ >> (24 - held)));
    return all;
  }

 private:
  QlmVLCState state_;
  uint16_t *first_, *next_;
  uint32_t buffer_ = 0, count_ = 0;
  int32_t coefficients_ = 0, residual_[16] = {}, list_[32] = {};
};

class ModelWriter {
 public:
  ModelWriter(std::vector<uint16_t>&, int32_t scan) {
    model::initVlc(state_);
    for (int32_t which = 0; which < 3; ++which) model::resetScan(state_, which);
    state_.current = scan;
  }
  template <typename T>
  void block(const Block<T>& b) {
    model::encodeBlock<T>(b, 0, 0, out_, state_);
  }
  template <typename T>
  void lowBits(const Block<T>& b, int32_t bits) {
    const int32_t residual[16] = {};
    model::encodeFixed<T>(b, residual, out_, bits, 0, false);
  }
  void dc(const Block<int32_t>& byNumber) {
    int32_t residual[16];
    model::encodeDcList(model::scanDc(byNumber.data(), 0, residual, state_), model::DcForm::k444, 0, out_, state_);
  }
  void adapt(int32_t mode) { model::adaptVlc(state_, mode); }
  std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> all = out_.out;
    for (uint32_t held = 0; held < out_.count; held += 8)
      all.push_back(static_cast<uint8_t>(out_.buffer >> (24 - held)));
    return all;
  }

 private:
  model::VlcState state_;
  model::BitWriter out_;
};

class OursReader {
 public:
  OursReader(const std::vector<uint8_t>& stream, int32_t scan)
      : next_(reinterpret_cast<const uint16_t*>(stream.data())) {
    qlmiVLCInit_JPEGXR(&state_);
    for (int32_t which = 0; which < 3; ++which) qlmiVLCScanReset_JPEGXR(&state_, which);
    qlmiVLCScanSet_JPEGXR(&state_, scan);
  }
  void block(Block<int16_t>& b) {
    qlmiVLCDecode4x4_JPEGXR_1u16s_C1R(&next_, &buffer_, &count_, 1, b.data(), 8, 0, &coefficients_, &state_);
  }
  void block(Block<int32_t>& b) {
    qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&next_, &buffer_, &count_, 1, b.data(), 16, 0, &coefficients_, &state_);
  }
  void lowBits(Block<int16_t>& b, int32_t bits) {
    qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR(&next_, &buffer_, &count_, b.data(), 8, bits, 1, 0);
  }
  void lowBits(Block<int32_t>& b, int32_t bits) {
    qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(&next_, &buffer_, &count_, b.data(), 16, bits, 1, 0);
  }
  void dc(Block<int32_t>& byNumber) {
    byNumber = {};
    qlmiVLCDecodeDC444_JPEGXR_1u32s(&next_, &buffer_, &count_, byNumber.data(), 0, &coefficients_, &state_);
  }
  void adapt(int32_t mode) { qlmiVLCAdapt_JPEGXR(&state_, mode); }

 private:
  QlmVLCState state_;
  const uint16_t* next_;
  uint32_t buffer_ = 0, count_ = 0;
  int32_t coefficients_ = 0;
};

class ModelReader {
 public:
  ModelReader(const std::vector<uint8_t>& stream, int32_t scan) : in_{stream.data()} {
    model::initVlc(state_);
    for (int32_t which = 0; which < 3; ++which) model::resetScan(state_, which);
    state_.current = scan;
    in_.refill();
  }
  template <typename T>
  void block(Block<T>& b) {
    model::decodeBlock<T>(in_, 1, b, 0, state_);
  }
  template <typename T>
  void lowBits(Block<T>& b, int32_t bits) {
    model::decodeFixed<T>(in_, b, bits, 1, false);
  }
  void dc(Block<int32_t>& byNumber) {
    byNumber = {};
    model::placeDc444(model::decodeDcList(in_, model::DcForm::k444, 0, state_), byNumber.data(), state_);
  }
  void adapt(int32_t mode) { model::adaptVlc(state_, mode); }

 private:
  model::VlcState state_;
  model::BitReader in_;
};

// One round of each: all blocks, through `code`, which takes coder and block.
template <typename Writer, typename T>
Writer write(const Blocks<T>& blocks, std::vector<uint16_t>& room, int32_t mode, auto code) {
  Writer out(room, 0);
  for (size_t i = 0; i < blocks.size(); ++i) {
    code(out, blocks[i]);
    if (i % 16 == 15) out.adapt(mode);
  }
  return out;
}
template <typename Reader, typename T>
void read(const std::vector<uint8_t>& stream, Blocks<T>& blocks, int32_t mode, auto code) {
  Reader in(stream, 0);
  for (size_t i = 0; i < blocks.size(); ++i) {
    code(in, blocks[i]);
    if (i % 16 == 15) in.adapt(mode);
  }
}

struct Names {
  std::string write, read;
};

// Both ways, by coder and model. `expected` is what comes back.
template <typename T>
void raceBoth(const Names& names, const std::string& data, const Blocks<T>& blocks, const Blocks<T>& expected,
              int32_t mode, auto writeOne, auto readOne) {
  std::vector<uint16_t> room(blocks.size() * kUnitsPerBlock);
  std::vector<uint8_t> stream = write<OursWriter>(blocks, room, mode, writeOne).bytes();
  require(stream == write<ModelWriter>(blocks, room, mode, writeOne).bytes(), "bytes of the stream");
  const auto count = static_cast<int64_t>(blocks.size()), bytes = static_cast<int64_t>(stream.size());
  std::printf("%s, %s: %lld blocks of %.1f bits\n", names.write.c_str(), data.c_str(), static_cast<long long>(count),
              8.0 * static_cast<double>(bytes) / static_cast<double>(count));
  stream.resize(stream.size() + 2 * kUnitsPerBlock);
  Blocks<T> back(blocks.size());
  read<OursReader>(stream, back, mode, readOne);
  require(back == expected, "blocks read");
  back.assign(back.size(), {});
  read<ModelReader>(stream, back, mode, readOne);
  require(back == expected, "blocks of the model");

  const bench::Work writing{"jpegxr.entropy", names.write, data, "block"};
  const bench::Work reading{"jpegxr.entropy", names.read, data, "block"};
  bench::race(writing, "ours", count, bytes,
              [=]() mutable { benchmark::DoNotOptimize(write<OursWriter>(blocks, room, mode, writeOne)); });
  bench::race(writing, "bound:model", count, bytes,
              [=]() mutable { benchmark::DoNotOptimize(write<ModelWriter>(blocks, room, mode, writeOne)); });
  bench::race(reading, "ours", count, bytes, [=]() mutable { read<OursReader>(stream, back, mode, readOne); });
  bench::race(reading, "bound:model", count, bytes, [=]() mutable { read<ModelReader>(stream, back, mode, readOne); });
}

template <typename T>
void raceBlocks(const Transformed& photos, const Names& vlc, const Names& flc) {
  for (const int32_t coefficients : {3, 6, 12}) {
    const Blocks<T> blocks = blocksWith<T>(photos.blocks, coefficients);
    Blocks<T> expected = blocks;
    for (Block<T>& block : expected) block[0] = 0;
    raceBoth<T>(
        vlc, std::to_string(coefficients) + "-coefficients", blocks, expected, 1,
        [](auto& out, const Block<T>& block) { out.block(block); }, [](auto& in, Block<T>& block) { in.block(block); });
  }
  for (const int32_t bits : {1, 2, 4, 8}) {
    Blocks<T> low;
    for (size_t i = 0; i < std::min(photos.blocks.size(), kMostBlocks); ++i) {
      Block<T>& block = low.emplace_back(quantised<T>(photos.blocks[i], 4));
      for (T& v : block) v = static_cast<T>(v % (1 << bits));
    }
    Blocks<T> expected = low;
    for (Block<T>& block : expected) block[0] = 0;
    raceBoth<T>(
        flc, std::to_string(bits) + (bits == 1 ? "-bit" : "-bits"), low, expected, 1,
        [=](auto& out, const Block<T>& block) { out.lowBits(block, bits); },
        [=](auto& in, Block<T>& block) {
          block = {};
          in.lowBits(block, bits);
        });
  }
}

const int kRegistered = [] {
  Transformed photos;
  for (const auto& path : sample::photographs()) append(photos, sample::readPicture(path));
  if (photos.blocks.empty()) append(photos, sample::paintPicture(2048, 1536));
  raceBlocks<int16_t>(photos, {"qlmiVLCEncode4x4_JPEGXR_16s1u_C1R", "qlmiVLCDecode4x4_JPEGXR_1u16s_C1R"},
                      {"qlmiFLCEncode4x4_JPEGXR_16s1u_C1R", "qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR"});
  raceBlocks<int32_t>(photos, {"qlmiVLCEncode4x4_JPEGXR_32s1u_C1R", "qlmiVLCDecode4x4_JPEGXR_1u32s_C1R"},
                      {"qlmiFLCEncode4x4_JPEGXR_32s1u_C1R", "qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR"});

  // DC lists with their scan: values by number, here those of the macroblocks row by row.
  Blocks<int32_t> lists;
  for (const int32_t coefficients : {6, 12}) {
    lists = blocksWith<int32_t>(photos.macroblocks, coefficients);
    Blocks<int32_t> expected = lists;
    for (Block<int32_t>& list : expected) list[0] = 0;
    raceBoth<int32_t>(
        {"qlmiVLCEncodeDC444_JPEGXR_32s1u", "qlmiVLCDecodeDC444_JPEGXR_1u32s"},
        std::to_string(coefficients) + "-coefficients", lists, expected, 0,
        [](auto& out, const Block<int32_t>& list) { out.dc(list); },
        [](auto& in, Block<int32_t>& list) { in.dc(list); });
  }
  return 0;
}();

}  // namespace
