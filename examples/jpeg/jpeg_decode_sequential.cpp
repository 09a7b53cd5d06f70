// Sequential scans of all components (T.81 F.2): block by block to MCUs.
#include "jpeg/jpeg_decode.h"
#include "jpeg/jpeg_scan.h"

namespace sample {
namespace {

// One block of an MCU.
struct Slot {
  size_t place;  // of its component in the scan
  const QlmDecodeHuffmanSpec *dcTable, *acTable;
};

}  // namespace

void decodeToSink(JpegReading& file, McuSink& sink) {
  const JpegFrame& frame = file.headers.frame;
  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  std::array<const int16_t*, kMaxBlocksInMcu> block;
  std::array<int32_t, kMaxBlocksInMcu> coded{};
  std::vector<Slot> slots;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    slots.insert(slots.end(), static_cast<size_t>(c.blocks()), {i, file.scan.dcTables[i], file.scan.acTables[i]});
  }
  for (size_t i = 0; i < block.size(); ++i) block[i] = blocks + size_t{kBlockSize} * i;

  ScanReader reader = startScan(file.input);
  const ScanGrid grid{frame.mcusWide(), frame.mcusHigh(), file.headers.restartInterval};
  const auto decode = [&](int32_t row, int32_t from, int32_t to, QlmStatus& status) {
    for (int32_t column = from; column < to; ++column) {
      for (size_t i = 0; i < slots.size(); ++i) {
        const Slot& slot = slots[i];
        status = qlmiDecodeHuffman8x8_JPEG_1u16s_C1(reader.data, reader.length, &reader.position,
                                                    blocks + size_t{kBlockSize} * i, &reader.lastDc[slot.place],
                                                    &reader.marker, slot.dcTable, slot.acTable, &reader.state);
        if (status != qlmOk) return column;
        coded[i] = reader.state.codedPositions;
      }
      sink.draw(row, column, block.data(), coded.data());
    }
    return to;
  };
  const auto miss = [&](int32_t row, int32_t from, int32_t to) { sink.miss(row, from, to); };
  const auto endRow = [&](int32_t row) {
    sink.endRow(row);
    if (file.progress) file.progress(row + 1, grid.high);
  };
  decodeMcus(reader, grid, decode, miss, endRow);
  file.input = endScan(reader);
  noteDamage(file, reader.damage);
  while (advance(file)) continue;  // to the end of the image: there is nothing left to decode
}

}  // namespace sample
