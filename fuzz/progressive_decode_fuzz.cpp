// Any table and any bytes through the four progressive block decoders, call by call against the model. How far an AC
// decoder reads ahead is its own affair, so the model goes on from what the export holds.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpeg_progressive.h"

namespace {

using Block = std::array<int16_t, 64>;

struct Decoder {
  int32_t position = 0, marker = 0;
  int16_t lastDC = 0;
  QlmDecodeHuffmanState state;
  Block block;
};

uint64_t lowBits(uint64_t accumulator, int32_t count) {
  return count <= 0 ? 0 : accumulator & (~uint64_t{0} >> (64 - count));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const fuzz::HuffmanLists lists(in);
  const auto table = std::make_unique<QlmDecodeHuffmanSpec>();
  if (qlmiDecodeHuffmanSpecInit_JPEG_8u(lists.counts.data(), lists.values.data(), table.get()) != qlmOk) return 0;

  const uint8_t kind = in.byte() % 4;
  const bool ac = kind >= 2;
  model::Band band{1 + in.byte() % 63, 1 + in.byte() % 63, in.byte() % 14};
  if (band.first > band.last) std::swap(band.first, band.last);
  Decoder got;
  got.state = {};
  for (int16_t& v : got.block) v = 0;
  for (uint8_t old = in.byte() % 64; old > 0; --old) {  // coefficients that are there already
    const uint8_t place = in.byte() % 64;
    got.block[place] = static_cast<int16_t>(in.word());
  }
  got.state.bitCount = in.byte() % (ac ? 65 : 33);
  for (int32_t i = 0; i < 4; ++i) got.state.accumulator = got.state.accumulator << 16 | in.word();
  if (!ac) got.state.accumulator &= 0xFFFFFFFF;
  got.state.eobRun = in.byte() % 8 == 0 ? in.word() : 0;
  if (in.empty()) return 0;
  const std::vector<uint8_t> source = in.rest();
  const auto length = static_cast<int32_t>(source.size());

  for (int32_t call = 0, failures = 0; call < 300 && failures < 3; ++call) {
    Decoder want = got;
    const Decoder before = got;
    const model::Input input{source.data(), length, &want.position, &want.marker};
    model::BandNotes notes;
    QlmStatus status, expected;
    switch (kind) {
      case 0:
        expected = model::decodeDCFirst(input, want.block.data(), want.lastDC, band.low, *table, want.state);
        status =
            qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(source.data(), length, &got.position, got.block.data(),
                                                       &got.lastDC, &got.marker, band.low, table.get(), &got.state);
        break;
      case 1:
        expected = model::decodeDCRefine(input, want.block.data(), band.low, want.state);
        status = qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(source.data(), length, &got.position, got.block.data(),
                                                             &got.marker, band.low, &got.state);
        break;
      case 2:
        expected = model::decodeACFirst(input, want.block.data(), band, *table, want.state, notes);
        status = qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(source.data(), length, &got.position, got.block.data(),
                                                            &got.marker, band.first, band.last, band.low, table.get(),
                                                            &got.state);
        break;
      default:
        expected = model::decodeACRefine(input, want.block.data(), band, *table, want.state, notes);
        status = qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(source.data(), length, &got.position, got.block.data(),
                                                             &got.marker, band.first, band.last, band.low, table.get(),
                                                             &got.state);
    }
    if (status != qlmOk) ++failures;
    if (notes.beyond71) got.block[63] = want.block[63];
    FUZZ_REQUIRE(got.block == want.block);
    FUZZ_REQUIRE(got.lastDC == want.lastDC);
    FUZZ_REQUIRE(got.state.eobRun == want.state.eobRun);
    FUZZ_REQUIRE(got.state.codedPositions == 0);
    if (!ac) {
      FUZZ_REQUIRE(status == expected);
      FUZZ_REQUIRE(got.position == want.position && got.marker == want.marker);
      FUZZ_REQUIRE(got.state.bitCount == want.state.bitCount);
      if (got.state.bitCount < 0) break;
      FUZZ_REQUIRE(lowBits(got.state.accumulator, got.state.bitCount) ==
                   lowBits(want.state.accumulator, want.state.bitCount));
      continue;
    }
    // Whether a marker was met before the bits ran out depends on how far ahead the export reads.
    if (notes.noCodeAtEnd || (notes.shortage && before.marker == 0 && want.marker != 0))
      FUZZ_REQUIRE(status == qlmErrOutOfBuffer || status == qlmErrDctRange);
    else
      FUZZ_REQUIRE(status == expected);
    FUZZ_REQUIRE(got.position >= before.position && got.position <= length);
    FUZZ_REQUIRE(got.state.bitCount >= 0 && got.state.bitCount <= 64);
    if (got.marker != before.marker) FUZZ_REQUIRE(before.marker == 0 && source[size_t(got.position) - 1] == got.marker);
    if (want.marker != 0) FUZZ_REQUIRE(got.marker == want.marker);
    if (status != qlmOk) continue;
    const auto used = [&](const Decoder& d) {
      return model::dataBits(source.data(), length, before.position, d.position) - d.state.bitCount;
    };
    FUZZ_REQUIRE(used(got) == used(want));
    const int32_t both = std::min(got.state.bitCount, want.state.bitCount);
    if (both > 0)
      FUZZ_REQUIRE(lowBits(got.state.accumulator, got.state.bitCount) >> (got.state.bitCount - both) ==
                   lowBits(want.state.accumulator, want.state.bitCount) >> (want.state.bitCount - both));
  }
  return 0;
}
