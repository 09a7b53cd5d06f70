// Tables of all kinds and any bytes through the bounded block decoder, call by call against the model; then the same
// source once more in growing fragments, as from a network: whoever goes back to the state before a call that ran out
// of bytes gets the same coefficients.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpeg_huffman.h"

namespace {

struct Decoder {
  int32_t position = 0, marker = 0;
  int16_t lastDC = 0;
  QlmDecodeHuffmanState state;
  Decoder() { qlmiDecodeHuffmanStateInit_JPEG_8u(&state); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const fuzz::HuffmanLists dcLists(in), acLists(in);
  QlmDecodeHuffmanSpec dc, ac, dcModel, acModel;
  const QlmStatus dcStatus = qlmiDecodeHuffmanSpecInit_JPEG_8u(dcLists.counts.data(), dcLists.values.data(), &dc);
  const QlmStatus acStatus = qlmiDecodeHuffmanSpecInit_JPEG_8u(acLists.counts.data(), acLists.values.data(), &ac);
  FUZZ_REQUIRE(dcStatus == model::decodeSpecInit(dcLists.counts.data(), dcLists.values.data(), dcModel));
  FUZZ_REQUIRE(acStatus == model::decodeSpecInit(acLists.counts.data(), acLists.values.data(), acModel));
  FUZZ_REQUIRE(std::memcmp(&dc, &dcModel, sizeof dc) == 0 && std::memcmp(&ac, &acModel, sizeof ac) == 0);
  if (dcStatus != qlmOk || acStatus != qlmOk) return 0;
  QlmEncodeHuffmanSpec unused;
  const bool prefixCodes =
      qlmiEncodeHuffmanSpecInit_JPEG_8u(dcLists.counts.data(), dcLists.values.data(), &unused) == qlmOk &&
      qlmiEncodeHuffmanSpecInit_JPEG_8u(acLists.counts.data(), acLists.values.data(), &unused) == qlmOk;

  const uint32_t fragment = 1u + in.byte();
  if (in.empty()) return 0;
  const std::vector<uint8_t> source = in.rest();
  const auto length = static_cast<int32_t>(source.size());

  Decoder got;
  model::DecodedBlock want{};
  model::decodeStateInit(want.state);
  int32_t wantPosition = 0, wantMarker = 0;
  std::vector<std::array<int16_t, 64>> blocks;
  for (int32_t call = 0; call < 200; ++call) {
    std::array<int16_t, 64> block;
    block.fill(0x5A5A);
    const QlmStatus status = qlmiDecodeHuffman8x8_JPEG_1u16s_C1(source.data(), length, &got.position, block.data(),
                                                                &got.lastDC, &got.marker, &dc, &ac, &got.state);
    const model::Input input{source.data(), length, &wantPosition, &wantMarker};
    FUZZ_REQUIRE(status == model::decodeBlock(input, dcModel, acModel, want));
    FUZZ_REQUIRE(block == want.block);
    FUZZ_REQUIRE(got.lastDC == want.lastDC);
    FUZZ_REQUIRE(got.position == wantPosition && got.marker == wantMarker);
    FUZZ_REQUIRE(got.state.bitCount == want.state.bitCount);
    FUZZ_REQUIRE(got.state.codedPositions == want.state.codedPositions);
    const uint64_t valid = got.state.bitCount <= 0 ? 0 : ~uint64_t{0} >> (64 - got.state.bitCount);
    FUZZ_REQUIRE((got.state.accumulator & valid) == (want.state.accumulator & valid));
    if (status != qlmOk || got.state.bitCount < 0) break;
    blocks.push_back(block);
  }

  if (!prefixCodes) return 0;  // a search from length 1 and the lookup may differ
  Decoder pieces;
  int64_t available = fragment;
  for (const auto& expected : blocks) {
    for (;;) {
      Decoder before = pieces;
      std::array<int16_t, 64> block;
      const auto now = static_cast<int32_t>(std::min<int64_t>(available, length));
      const std::unique_ptr<uint8_t[]> part(new uint8_t[static_cast<size_t>(now)]);
      std::copy_n(source.begin(), now, part.get());
      const QlmStatus status = qlmiDecodeHuffman8x8_JPEG_1u16s_C1(
          part.get(), now, &pieces.position, block.data(), &pieces.lastDC, &pieces.marker, &dc, &ac, &pieces.state);
      if (status == qlmErrOutOfBuffer && now < length) {
        pieces = before;
        available += fragment;
        continue;
      }
      // A last byte of 0xFF fails whoever reads it, and the fast route may have finished without.
      if (status == qlmErrOutOfBuffer && source.back() == 0xFF) return 0;
      FUZZ_REQUIRE(status == qlmOk);
      FUZZ_REQUIRE(block == expected);
      break;
    }
  }
  return 0;
}
