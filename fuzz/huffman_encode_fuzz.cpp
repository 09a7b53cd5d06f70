// Blocks through both block encoders against the model, into a room of any length; and what was written whole decodes
// to the same blocks.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpeg_huffman.h"

namespace {

using Block = std::array<int16_t, 64>;

// A block as pairs of scan position and value; a position of 64 or more ends it.
Block readBlock(fuzz::Input& in) {
  Block block{};
  while (!in.empty()) {
    const size_t position = in.byte();
    if (position > 63) break;
    block[static_cast<size_t>(model::zigzag()[position])] = static_cast<int16_t>(in.word());
  }
  return block;
}

// Category 16 has no place in a symbol of one byte, so such blocks do not come back.
bool comesBack(const std::vector<Block>& blocks) {
  int32_t lastDC = 0;
  for (const Block& block : blocks) {
    for (size_t i = 1; i < 64; ++i)
      if (block[i] == -32768) return false;
    if (std::abs(block[0] - lastDC) > 32767) return false;
    lastDC = block[0];
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const fuzz::HuffmanLists dcLists(in), acLists(in);
  const auto dc = std::make_unique<QlmEncodeHuffmanSpec>(), ac = std::make_unique<QlmEncodeHuffmanSpec>();
  QlmEncodeHuffmanSpec specModel;
  const QlmStatus dcStatus = qlmiEncodeHuffmanSpecInit_JPEG_8u(dcLists.counts.data(), dcLists.values.data(), dc.get());
  FUZZ_REQUIRE(dcStatus == model::encodeSpecInit(dcLists.counts.data(), dcLists.values.data(), specModel));
  FUZZ_REQUIRE(std::memcmp(dc.get(), &specModel, sizeof specModel) == 0);
  const QlmStatus acStatus = qlmiEncodeHuffmanSpecInit_JPEG_8u(acLists.counts.data(), acLists.values.data(), ac.get());
  if (dcStatus != qlmOk || acStatus != qlmOk) return 0;

  const uint16_t roomChoice = in.word();
  std::vector<Block> blocks;
  while (!in.empty() && blocks.size() < 50) blocks.push_back(readBlock(in));
  if (blocks.empty()) return 0;

  const size_t room = roomChoice % 8 == 0 ? blocks.size() * 512 + 16 : 1u + roomChoice % (blocks.size() * 512);
  std::vector<uint8_t> bytes(room), bytesModel(room);
  const auto length = static_cast<int32_t>(room);
  const auto state = std::make_unique<QlmEncodeHuffmanState>();
  QlmEncodeHuffmanState stateModel;
  qlmiEncodeHuffmanStateInit_JPEG_8u(state.get());
  model::encodeStateInit(stateModel);
  int32_t position = 0, positionModel = 0;
  int16_t lastDC = 0, lastDCModel = 0;
  const model::Output out{bytesModel.data(), length, &positionModel};
  const auto compare = [&](QlmStatus got, QlmStatus expected) {
    FUZZ_REQUIRE(got == expected);
    FUZZ_REQUIRE(position == positionModel && lastDC == lastDCModel);
    FUZZ_REQUIRE(state->bitCount == stateModel.bitCount);
    FUZZ_REQUIRE((state->accumulator & 0xFFFFFF) == (stateModel.accumulator & 0xFFFFFF));
    FUZZ_REQUIRE(std::memcmp(bytes.data(), bytesModel.data(), static_cast<size_t>(position)) == 0);
    return got == qlmOk;
  };
  bool whole = true;
  for (const Block& block : blocks) {
    whole &= compare(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block.data(), bytes.data(), length, &position, &lastDC,
                                                        dc.get(), ac.get(), state.get(), 0),
                     model::encodeBlock(block.data(), out, lastDCModel, *dc, *ac, stateModel));
  }
  whole &= compare(qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, bytes.data(), length, &position, nullptr, nullptr,
                                                      nullptr, state.get(), 1),
                   model::flushBits(out, stateModel));

  // Without bounds, symbols that have no code go missing; wide stores may touch eight bytes from the end on.
  std::vector<uint8_t> directModel(blocks.size() * 512 + 16);
  int32_t endModel = 0;
  lastDCModel = 0;
  for (const Block& block : blocks)
    model::encodeBlockDirect(block.data(), directModel.data(), endModel, lastDCModel, *dc, *ac);
  std::vector<uint8_t> direct(static_cast<size_t>(endModel / 8) + 8);
  int32_t end = 0;
  lastDC = 0;
  for (const Block& block : blocks)
    FUZZ_REQUIRE(qlmiEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), direct.data(), &end, &lastDC, dc.get(),
                                                           ac.get()) == qlmOk);
  FUZZ_REQUIRE(end == endModel && lastDC == lastDCModel);
  FUZZ_REQUIRE(std::memcmp(direct.data(), directModel.data(), static_cast<size_t>(end / 8) + 1) == 0);

  if (!whole || !comesBack(blocks)) return 0;
  QlmDecodeHuffmanSpec dcDecoder, acDecoder;
  FUZZ_REQUIRE(qlmiDecodeHuffmanSpecInit_JPEG_8u(dcLists.counts.data(), dcLists.values.data(), &dcDecoder) == qlmOk);
  FUZZ_REQUIRE(qlmiDecodeHuffmanSpecInit_JPEG_8u(acLists.counts.data(), acLists.values.data(), &acDecoder) == qlmOk);
  QlmDecodeHuffmanState decoder;
  qlmiDecodeHuffmanStateInit_JPEG_8u(&decoder);
  const std::vector<uint8_t> segment(bytes.begin(), bytes.begin() + position);
  int32_t marker = 0;
  position = 0;
  lastDC = 0;
  for (const Block& block : blocks) {
    Block decoded;
    FUZZ_REQUIRE(qlmiDecodeHuffman8x8_JPEG_1u16s_C1(segment.data(), static_cast<int32_t>(segment.size()), &position,
                                                    decoded.data(), &lastDC, &marker, &dcDecoder, &acDecoder,
                                                    &decoder) == qlmOk);
    FUZZ_REQUIRE(decoded == block);
  }
  return 0;
}
