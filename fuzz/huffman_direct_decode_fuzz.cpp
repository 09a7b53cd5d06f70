// Tables of all kinds and any bytes, ended by a marker, through the block decoder without bounds, call by call against
// the model. The source begins at any place of a 16-byte line.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpeg_huffman.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const fuzz::HuffmanLists dcLists(in), acLists(in);
  QlmDecodeHuffmanSpec dc, ac;
  if (qlmiDecodeHuffmanSpecInit_JPEG_8u(dcLists.counts.data(), dcLists.values.data(), &dc) != qlmOk ||
      qlmiDecodeHuffmanSpecInit_JPEG_8u(acLists.counts.data(), acLists.values.data(), &ac) != qlmOk) {
    return 0;
  }
  const size_t offset = in.byte() % 16;
  model::DirectBlock want{};
  want.bitCount = in.byte() % 33;
  want.bits = static_cast<uint32_t>(in.word()) << 16 | in.word();
  std::vector<uint8_t> source(offset);
  const std::vector<uint8_t> rest = in.rest();
  source.insert(source.end(), rest.begin(), rest.end());
  if (source.size() > offset && source.back() == 0xFF) source.back() = 0;  // would stuff or fill the marker
  source.insert(source.end(), {0xFF, 0xD9});
  source.resize(source.size() + 16, 0x55);  // the rest of the last line is the caller's, too
  const uint8_t* bytes = source.data() + offset;

  int32_t position = 0, marker = 0, count = want.bitCount;
  int16_t lastDC = 0;
  uint32_t bits = want.bits;
  for (int32_t call = 0; call < 200; ++call) {
    std::array<int16_t, 64> block;
    block.fill(0x5A5A);
    const QlmStatus status = qlmiDecodeHuffman8x8_Direct_JPEG_1u16s_C1(bytes, &position, block.data(), &lastDC, &marker,
                                                                       &bits, &count, &dc, &ac);
    if (want.bitCount < 0) {
      FUZZ_REQUIRE(status == qlmErrBadArgument);
      break;
    }
    bool overshoot = false;
    const QlmStatus expected =
        model::decodeBlockDirect(bytes, reinterpret_cast<uintptr_t>(bytes), dc, ac, want, nullptr, &overshoot);
    if (overshoot) break;
    FUZZ_REQUIRE(status == expected);
    FUZZ_REQUIRE(block == want.block);
    FUZZ_REQUIRE(lastDC == want.lastDC);
    FUZZ_REQUIRE(position == want.bitPosition && marker == want.marker && count == want.bitCount);
    const uint32_t valid = count <= 0 ? 0 : ~uint32_t{0} >> (32 - count);
    FUZZ_REQUIRE((bits & valid) == (want.bits & valid));
    if (status != qlmOk || (marker != 0 && count == 0)) break;
  }
  return 0;
}
