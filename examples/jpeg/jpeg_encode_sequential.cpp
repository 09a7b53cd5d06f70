// Pixels to one sequential scan (T.81 F.1) without keeping the coefficients.
#include "jpeg/annex_k.h"
#include "jpeg/jpeg_encode.h"

namespace sample {
namespace {

// One block of an MCU.
struct Slot {
  size_t component;
  const HuffmanPair* tables;
};

void flush(CodedBytes& coded, QlmEncodeHuffmanState& state) {
  coded.ensure(CodedBytes::kRoomForBlock);
  qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, coded.data, coded.length, &coded.position, nullptr, nullptr, nullptr,
                                     &state, 1);
}

}  // namespace

std::array<HuffmanPair, 2> typicalTables() {
  return {{{makeTable(kLuminanceDcCounts, kDcValues), makeTable(kLuminanceAcCounts, kLuminanceAcValues)},
           {makeTable(kChrominanceDcCounts, kDcValues), makeTable(kChrominanceAcCounts, kChrominanceAcValues)}}};
}

std::vector<BlockPlane> transformAll(const JpegFrame& frame, McuSource& source, const Progress& progress) {
  std::vector<BlockPlane> planes;
  for (const JpegComponent& c : frame.components) planes.emplace_back(frame.mcusWide() * c.h, frame.mcusHigh() * c.v);
  std::array<int16_t*, kMaxBlocksInMcu> blocks;
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    source.startRow(row);
    for (int32_t column = 0, end = frame.mcusWide(); column < end; ++column) {
      auto block = blocks.begin();
      for (size_t i = 0; i < planes.size(); ++i) {
        const JpegComponent& c = frame.components[i];
        for (int32_t y = 0; y < c.v; ++y)
          for (int32_t x = 0; x < c.h; ++x) *block++ = planes[i].block(row * c.v + y, column * c.h + x);
      }
      source.transform(column, blocks.data());
    }
    if (progress) progress(row + 1, frame.mcusHigh());
  }
  return planes;
}

void encodeFromSource(JpegOutput& out, const JpegFrame& frame, JpegColour colour, int32_t restartInterval,
                      McuSource& source, const Progress& progress) {
  const std::array<HuffmanPair, 2> tables = typicalTables();
  std::array<uint8_t, 4> slotOfComponent{};
  std::vector<Slot> slots;
  JpegScanSpec spec;
  for (size_t c = 0; c < frame.components.size(); ++c) {
    slotOfComponent[c] = slotOf(colour, c);
    spec.components.push_back(c);
    slots.insert(slots.end(), static_cast<size_t>(frame.components[c].blocks()), {c, &tables[slotOfComponent[c]]});
  }
  for (uint8_t slot = 0; slot <= isChroma(colour, 1); ++slot) {
    out.huffmanTable(false, slot, tables[slot].dc);
    out.huffmanTable(true, slot, tables[slot].ac);
  }
  out.restartInterval(restartInterval);
  out.scan(frame, spec, slotOfComponent);

  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  std::array<int16_t*, kMaxBlocksInMcu> block;
  for (size_t i = 0; i < block.size(); ++i) block[i] = blocks + size_t{kBlockSize} * i;
  CodedBytes coded(out);
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  std::array<int16_t, 4> lastDc{};
  int32_t untilRestart = restartInterval;
  int64_t intervals = 0;
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    source.startRow(row);
    for (int32_t column = 0, end = frame.mcusWide(); column < end; ++column) {
      source.transform(column, block.data());
      if (restartInterval > 0 && untilRestart-- == 0) {  // F.1.1.5: the predictions start anew
        flush(coded, state);
        coded.restartMarker(intervals++);
        lastDc.fill(0);
        untilRestart = restartInterval - 1;
      }
      coded.ensure(kMaxBlocksInMcu * CodedBytes::kRoomForBlock);
      for (size_t i = 0; i < slots.size(); ++i)
        if (qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block[i], coded.data, coded.length, &coded.position,
                                               &lastDc[slots[i].component], &slots[i].tables->dc.spec,
                                               &slots[i].tables->ac.spec, &state, 0) != qlmOk)
          throw JpegError("a coefficient is too large for baseline JPEG");
    }
    if (progress) progress(row + 1, frame.mcusHigh());
  }
  flush(coded, state);
  coded.commit();
}

}  // namespace sample
