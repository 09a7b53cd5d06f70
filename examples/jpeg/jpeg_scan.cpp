#include "jpeg/jpeg_scan.h"

#include <limits>
#include <string>

namespace sample {
namespace {

[[noreturn]] void failEarly() { throw JpegError("damaged: the data of an image scan ends before its last block"); }

[[noreturn]] void failDecode(const ScanDecoder& decoder, QlmStatus status) {
  if (status == qlmErrOutOfBuffer) throw JpegError("truncated: the file ends inside the image data");
  if (decoder.marker != 0) failEarly();
  if (status == qlmErrDecodedPosition) throw JpegError("damaged: a block of more than 64 coefficients");
  throw JpegError("damaged: a code that is not in the Huffman table");
}

// The block coder tells of missing bits one request late, so the last block of an interval is judged here.
void checkInterval(const ScanDecoder& decoder) {
  if (decoder.state.bitCount < 0) failEarly();
}

void beginInterval(ScanDecoder& decoder) {
  qlmiDecodeHuffmanStateInit_JPEG_8u(&decoder.state);
  decoder.marker = 0;
  decoder.lastDc.fill(0);
  decoder.untilRestart = decoder.restartInterval;
}

void restart(ScanDecoder& decoder) {
  checkInterval(decoder);
  if (decoder.marker == 0) decoder.marker = nextMarker(decoder.input).value_or(0);
  if (decoder.marker == 0) throw JpegError("truncated: the file ends inside the image data");
  if (decoder.marker != kRst0 + decoder.nextRestart)
    throw JpegError("damaged: restart marker " + std::to_string(decoder.nextRestart) + " is missing");
  decoder.nextRestart = (decoder.nextRestart + 1) % 8;
  beginInterval(decoder);
}

}  // namespace

ScanDecoder startScan(const JpegInput& input, const JpegHeaders& headers, const JpegScan& scan) {
  ScanDecoder decoder;
  decoder.input = input;
  // Half a marker at the end of a truncated file: the block decoder would give up the last block over it.
  if (input.position < input.bytes.size() && input.bytes.back() == 0xFF)
    decoder.input.bytes = input.bytes.first(input.bytes.size() - 1);
  for (const ScanComponent& c : scan.components) {
    const auto [id, h, v, quantSlot] = headers.frame.components[c.component];
    const int32_t blocks = scan.components.size() == 1 ? 1 : h * v;
    for (int32_t i = 0; i < blocks; ++i) decoder.slots.push_back({c.component, c.dcTable, c.acTable});
  }
  decoder.restartInterval = headers.restartInterval;
  beginInterval(decoder);
  return decoder;
}

void decodeMcu(ScanDecoder& decoder, int16_t* blocks) {
  if (decoder.restartInterval > 0) {
    if (decoder.untilRestart == 0) restart(decoder);
    --decoder.untilRestart;
  }
  const auto rest = decoder.input.bytes.subspan(decoder.input.position);
  const auto length = static_cast<int32_t>(std::min<size_t>(rest.size(), size_t{std::numeric_limits<int32_t>::max()}));
  int32_t position = 0;
  auto coded = decoder.coded.begin();
  for (const ScanDecoder::Slot& slot : decoder.slots) {
    const QlmStatus status =
        qlmiDecodeHuffman8x8_JPEG_1u16s_C1(rest.data(), length, &position, blocks, &decoder.lastDc[slot.predictor],
                                           &decoder.marker, slot.dcTable, slot.acTable, &decoder.state);
    if (status != qlmOk) failDecode(decoder, status);
    *coded++ = decoder.state.codedPositions;
    blocks += kBlockSize;
  }
  decoder.input.position += static_cast<size_t>(position);
}

JpegInput endScan(const ScanDecoder& decoder) {
  checkInterval(decoder);
  JpegInput input = decoder.input;
  if (decoder.marker != 0) input.position -= 2;  // the decoder has gone behind the marker that stopped it
  return input;
}

}  // namespace sample
