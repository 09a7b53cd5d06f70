// Any tables and any bytes through the lossless decoders, row by row and value by value against the model; and the
// decoded rows through a predictor, there and back.
#include "fuzz_input.h"
#include "model/jpeg_lossless.h"

namespace {

struct Decoder {
  int32_t position = 0, marker = 0;
  QlmDecodeHuffmanState state{};
};

uint64_t lowBits(uint64_t accumulator, int32_t count) {
  return count <= 0 ? 0 : accumulator & (~uint64_t{0} >> (64 - count));
}

void requireSame(const Decoder& got, const Decoder& want) {
  FUZZ_REQUIRE(got.position == want.position && got.marker == want.marker);
  FUZZ_REQUIRE(got.state.bitCount == want.state.bitCount);
  FUZZ_REQUIRE(lowBits(got.state.accumulator, got.state.bitCount) ==
               lowBits(want.state.accumulator, want.state.bitCount));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const int32_t rowCount = 1 + in.byte() % 5, width = 1 + in.byte(), bits = in.byte() % 33,
                predictor = 1 + in.byte() % 7;
  const size_t coded = static_cast<size_t>(std::min(rowCount, 4));
  const bool single = in.byte() % 4 == 0;
  std::vector<std::unique_ptr<QlmDecodeHuffmanSpec>> specs;
  std::vector<const QlmDecodeHuffmanSpec*> tables;
  for (size_t c = 0; c < coded; ++c) {
    if (c > 0 && in.byte() % 2 == 0) {  // the table before
      tables.push_back(tables.back());
      continue;
    }
    const fuzz::HuffmanLists lists(in);
    specs.push_back(std::make_unique<QlmDecodeHuffmanSpec>());
    if (qlmiDecodeHuffmanSpecInit_JPEG_8u(lists.counts.data(), lists.values.data(), specs.back().get()) != qlmOk)
      return 0;
    tables.push_back(specs.back().get());
  }
  Decoder got;
  got.state.bitCount = bits;
  got.state.accumulator = uint64_t{in.word()} << 16;
  got.state.accumulator |= in.word();
  if (in.empty()) return 0;
  const std::vector<uint8_t> source = in.rest();
  const auto length = static_cast<int32_t>(source.size());
  Decoder want = got;
  const model::Input input{source.data(), length, &want.position, &want.marker};

  if (single) {
    for (int32_t call = 0, failures = 0; call < 2000 && failures < 3 && got.state.bitCount >= 0; ++call) {
      int16_t value = 77, expected = 77;
      const QlmStatus status = qlmiDecodeHuffmanOne_JPEG_1u16s_C1(source.data(), length, &got.position, &value,
                                                                  &got.marker, tables[0], &got.state);
      FUZZ_REQUIRE(status == model::decodeOne(input, expected, *tables[0], want.state));
      FUZZ_REQUIRE(value == expected);
      requireSame(got, want);
      failures += status != qlmOk;
    }
    return 0;
  }

  const model::RowShape shape{width, rowCount};
  std::vector<std::vector<int16_t>> rows(coded, std::vector<int16_t>(static_cast<size_t>(width))), expected = rows;
  std::vector<int16_t*> pointers, expectedPointers;
  for (size_t c = 0; c < coded; ++c) {
    pointers.push_back(rows[c].data());
    expectedPointers.push_back(expected[c].data());
  }
  for (int32_t call = 0, failures = 0; call < 100 && failures < 3 && got.state.bitCount >= 0; ++call) {
    int64_t done = int64_t{width} * static_cast<int64_t>(coded);
    const QlmStatus expectedStatus =
        model::decodeRowFast(input, expectedPointers.data(), shape, tables.data(), want.state)
            ? qlmOk
            : model::decodeRowCareful(input, expectedPointers.data(), shape, tables.data(), want.state, &done);
    const QlmStatus status = qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4(
        source.data(), length, &got.position, pointers.data(), width, rowCount, &got.marker, tables.data(), &got.state);
    FUZZ_REQUIRE(status == expectedStatus);
    for (int64_t i = 0; i < done; ++i) {
      const auto c = static_cast<size_t>(i) % coded, x = static_cast<size_t>(i) / coded;
      FUZZ_REQUIRE(rows[c][x] == expected[c][x]);
    }
    requireSame(got, want);
    failures += status != qlmOk;
  }

  const std::vector<int16_t>& row = rows.front();
  const std::vector<int16_t>& above = rows.back();
  std::vector<int16_t> difference(row.size()), modelled(row.size()), back(row.size());
  FUZZ_REQUIRE(qlmiDiffPredRow_JPEG_16s_C1(row.data(), above.data(), difference.data(), width, predictor) == qlmOk);
  model::diffRow(row.data(), above.data(), modelled.data(), width, predictor);
  FUZZ_REQUIRE(difference == modelled);
  FUZZ_REQUIRE(qlmiReconstructPredRow_JPEG_16s_C1(difference.data(), above.data(), back.data(), width, predictor) ==
               qlmOk);
  FUZZ_REQUIRE(back == row);
  return 0;
}
