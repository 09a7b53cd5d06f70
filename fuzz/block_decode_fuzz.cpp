// Any bytes as the segments of a JPEG 2000 code-block, in any style, through the decoder in one call and step by step,
// against the model. Each segment, the block and the state are allocations of their own size.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpeg2000_block_decode.h"
#include "qlmjp.h"

namespace {

struct Decoder {
  QlmSize size;
  int32_t step;
  std::vector<uint8_t> state, rows;
  model::BlockDecoder model;

  Decoder(QlmSize blockSize, int32_t padding)
      : size(blockSize), step(4 * size.width + padding), model(size.width, size.height) {
    int32_t bytes = 0;
    FUZZ_REQUIRE(qlmiDecodeGetBufSize_JPEG2K(size, &bytes) == qlmOk);
    state.assign(static_cast<size_t>(bytes), 0xA5);
    rows.assign(static_cast<size_t>(step * size.height - padding), 0x5A);
    const uint32_t pattern = 0x5A5A5A5A;
    std::fill(model.samples().begin(), model.samples().end(), static_cast<int32_t>(pattern));
  }
  QlmDecodeState_JPEG2K* get() { return reinterpret_cast<QlmDecodeState_JPEG2K*>(state.data()); }
  int32_t* samples() { return reinterpret_cast<int32_t*>(rows.data()); }

  void check() {
    std::vector<uint8_t> expected(rows.size(), 0x5A);
    const auto rowBytes = 4 * static_cast<size_t>(size.width);
    for (int32_t y = 0; y < size.height; ++y)
      std::memcpy(expected.data() + y * step, model.samples().data() + y * size.width, rowBytes);
    FUZZ_REQUIRE(rows == expected);
    int32_t plane, passes;
    FUZZ_REQUIRE(qlmiDecodeCBProgrGetCurBitPlaneNum_JPEG2K(get(), &plane) == qlmOk && plane == model.plane());
    FUZZ_REQUIRE(qlmiDecodeCBProgrGetPassCounter_JPEG2K(get(), &passes) == qlmOk && passes == model.passCounter());
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const QlmSize block{1 + in.byte() % 24, 1 + in.byte() % 24};
  const uint8_t choice = in.byte();
  const int32_t subband = choice % 4, planes = in.byte() % 32;
  // The five flags of the style, and those of the decoder but the one that keeps flag words.
  const uint8_t own = in.byte();
  const int32_t flags = in.byte() % 32 | (own & 7) << 16 | (own & 8 ? int32_t{model::kCheckTermination} : 0);
  const int32_t passes = in.byte() % 100;
  Decoder decoder(block, choice >> 4);
  std::vector<std::vector<uint8_t>> segments;
  while (!in.empty()) segments.push_back(in.bytes(std::min<size_t>(in.byte(), in.left())));

  if (choice & 4) {
    const std::vector<std::span<const uint8_t>> spans(segments.begin(), segments.end());
    const model::BlockDecoder::Whole expected = decoder.model.decode(spans, subband, planes, passes, flags);
    std::vector<uint8_t> source;
    std::vector<int32_t> lengths;
    for (const auto& segment : segments) {
      source.insert(source.end(), segment.begin(), segment.end());
      lengths.push_back(static_cast<int32_t>(segment.size()));
    }
    if (source.empty() || lengths.empty()) return 0;
    source.shrink_to_fit();
    int32_t errorPlane = 777;
    FUZZ_REQUIRE(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(
                     source.data(), decoder.samples(), decoder.step, block, subband, planes, passes, lengths.data(),
                     static_cast<int32_t>(lengths.size()), flags, &errorPlane, decoder.get()) == expected.status);
    FUZZ_REQUIRE(errorPlane == expected.errorPlane.value_or(777));
    decoder.check();
    return 0;
  }
  FUZZ_REQUIRE(qlmiDecodeCBProgrInit_JPEG2K(decoder.get()) == qlmOk);
  FUZZ_REQUIRE(qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(decoder.samples(), decoder.step, block, decoder.get(), subband,
                                                      planes, flags) == qlmOk);
  decoder.model.attach(subband, planes, flags);
  FUZZ_REQUIRE(qlmiDecodeCBProgrSetPassCounter_JPEG2K(passes, decoder.get()) == qlmOk);
  decoder.model.setPassCounter(passes);
  for (const auto& segment : segments) {
    const uint8_t none = 0;
    const QlmStatus expected = decoder.model.step(segment);
    FUZZ_REQUIRE(qlmiDecodeCBProgrStep_JPEG2K(segment.empty() ? &none : segment.data(),
                                              static_cast<int32_t>(segment.size()), decoder.get()) == expected);
    decoder.check();
  }
  return 0;
}
