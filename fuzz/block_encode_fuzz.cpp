// Any samples in any style through the JPEG 2000 code-block encoder, into rooms of any size, against the model; and
// what comes out back through the decoder.
#include <memory>

#include "fuzz_input.h"
#include "model/jpeg2000_block_decode.h"
#include "model/jpeg2000_block_encode.h"
#include "qlmjp.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const QlmSize block{1 + in.byte() % 24, 1 + in.byte() % 24};
  const model::BlockEncoder::Style style{in.byte() % 4, in.byte() % 32, in.byte() % 3, in.byte() % 64};
  const std::vector<uint8_t> rooms = in.bytes(4);
  const int32_t bytesEach = 1 + in.byte() % 4;
  std::vector<int32_t> samples(static_cast<size_t>(block.width * block.height));
  for (int32_t& sample : samples) {
    uint32_t bits = 0;
    for (int32_t i = 0; i < bytesEach; ++i) bits = bits << 8 | in.byte();
    sample = static_cast<int32_t>(bits);
  }

  model::BlockEncoder want(samples, block.width, block.height, style);
  QlmEncodeState_JPEG2K* state = nullptr;
  FUZZ_REQUIRE(qlmiEncodeInitAlloc_JPEG2K(&state, block) == qlmOk);
  const std::unique_ptr<QlmEncodeState_JPEG2K, QlmStatus (*)(QlmEncodeState_JPEG2K*)> owner(state,
                                                                                            qlmiEncodeFree_JPEG2K);
  int32_t significantBits, passes, terminated;
  FUZZ_REQUIRE(qlmiEncodeLoadCodeBlock_JPEG2K_32s_C1R(samples.data(), 4 * block.width, block, state, style.subband,
                                                      style.magnitudeBits, style.terminationMode, 0, style.flags,
                                                      &significantBits, &passes, &terminated) == qlmOk);
  FUZZ_REQUIRE(significantBits == want.significantBits() && passes == want.passCount() &&
               terminated == want.terminatedPassCount());

  std::vector<uint8_t> coded;
  for (size_t call = 0, more = 1; more; ++call) {
    const size_t room = call < 400 ? size_t{1} + rooms[call % rooms.size()] : size_t{1} << 18;
    const model::BlockEncoder::Stored stored = want.store(room);
    std::vector<uint8_t> bytes(room);
    auto length = static_cast<int32_t>(room);
    int32_t notFinished = -1;
    FUZZ_REQUIRE(qlmiEncodeStoreBits_JPEG2K_1u(bytes.data(), &length, state, &notFinished) == qlmOk);
    bytes.resize(static_cast<size_t>(length));
    FUZZ_REQUIRE(bytes == stored.bytes && notFinished == stored.notFinished);
    coded.insert(coded.end(), bytes.begin(), bytes.end());
    more = notFinished != 0;
  }
  for (int32_t pass = 0; pass < passes; ++pass) {
    double distortion;
    int32_t rate;
    FUZZ_REQUIRE(qlmiEncodeGetDist_JPEG2K(state, pass, &distortion) == qlmOk && distortion == want.distortion(pass));
    FUZZ_REQUIRE(qlmiEncodeGetRate_JPEG2K(state, pass, &rate) == qlmOk && rate == want.rate(pass));
  }
  std::vector<int32_t> lengths(static_cast<size_t>(terminated) + 1);
  for (int32_t k = 0; k < terminated; ++k) {
    int32_t& length = lengths[static_cast<size_t>(k)];
    FUZZ_REQUIRE(qlmiEncodeGetTermPassLen_JPEG2K(state, k, &length) == qlmOk && length == want.terminatedLength(k));
  }

  const int32_t lowest = 31 - style.magnitudeBits, planes = std::max(significantBits - lowest, 0);
  const int32_t check = style.terminationMode == 2 ? int32_t{model::kCheckTermination} : 0;
  std::vector<int32_t> decoded(samples.size());
  int32_t stateSize = 0;
  FUZZ_REQUIRE(qlmiDecodeGetBufSize_JPEG2K(block, &stateSize) == qlmOk);
  std::vector<uint8_t> decoder(static_cast<size_t>(stateSize));
  coded.push_back(0);  // so that there is a pointer
  FUZZ_REQUIRE(qlmiDecodeCodeBlock_JPEG2K_1u32s_C1R(coded.data(), decoded.data(), 4 * block.width, block, style.subband,
                                                    planes, passes, lengths.data(), terminated,
                                                    (style.flags & ~model::kReversible) | check, nullptr,
                                                    reinterpret_cast<QlmDecodeState_JPEG2K*>(decoder.data())) == qlmOk);
  for (size_t i = 0; i < samples.size(); ++i) {
    const auto bits = static_cast<uint32_t>(samples[i]);
    const uint32_t magnitude = planes > 0 ? (bits & 0x7FFFFFFF) >> lowest : 0;
    FUZZ_REQUIRE(static_cast<uint32_t>(decoded[i]) == (magnitude ? magnitude | (bits & 0x80000000u) : 0));
  }
  return 0;
}
