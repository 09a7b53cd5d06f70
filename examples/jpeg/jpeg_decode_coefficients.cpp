// Any number of scans to planes of coefficients: sequential (T.81 F.2) and progressive ones (G.2), of all components or
// of some.
#include "jpeg/jpeg_decode.h"
#include "jpeg/jpeg_scan.h"

namespace sample {
namespace {

// A scan of 20 bytes can cover a picture of any size, so a file could ask for more work than anybody wants to wait for.
// Real files stay below a hundred blocks visited for each of their bytes, however flat they are.
constexpr int64_t kMaxVisitsPerByte = 300;

// Decodes all blocks of a scan by decodeBlock(place, block), which returns a status. A scan of one component has its
// own raster of blocks, without padding to whole MCUs (A.2.2).
template <typename DecodeBlock>
void decodeBlocks(ScanReader& reader, JpegReading& file, std::vector<BlockPlane>& planes, DecodeBlock decodeBlock) {
  const JpegFrame& frame = file.headers.frame;
  const std::vector<size_t>& components = file.scan.spec.components;
  const auto miss = [](int32_t, int32_t, int32_t) {};  // the planes keep what they have
  const auto endRow = [&](int32_t) {
    const auto done = file.input.position + static_cast<size_t>(reader.position);
    if (file.progress)
      file.progress(static_cast<int32_t>(done >> 8), static_cast<int32_t>(file.input.bytes.size() >> 8) + 1);
  };
  if (components.size() == 1) {
    const size_t c = components[0];
    const ScanGrid grid{frame.blocksWide(c), frame.blocksHigh(c), file.headers.restartInterval};
    const auto decode = [&](int32_t row, int32_t from, int32_t to, QlmStatus& status) {
      int16_t* block = planes[c].block(row, from);
      for (int32_t column = from; column < to; ++column, block += kBlockSize)
        if ((status = decodeBlock(0, block)) != qlmOk) return column;
      return to;
    };
    decodeMcus(reader, grid, decode, miss, endRow);
    return;
  }
  const ScanGrid grid{frame.mcusWide(), frame.mcusHigh(), file.headers.restartInterval};
  const auto decode = [&](int32_t row, int32_t from, int32_t to, QlmStatus& status) {
    for (int32_t column = from; column < to; ++column)
      for (size_t place = 0; place < components.size(); ++place) {
        const JpegComponent& c = frame.components[components[place]];
        for (int32_t y = 0; y < c.v; ++y) {
          int16_t* block = planes[components[place]].block(row * c.v + y, column * c.h);
          for (int32_t x = 0; x < c.h; ++x, block += kBlockSize)
            if ((status = decodeBlock(place, block)) != qlmOk) return column;
        }
      }
    return to;
  };
  decodeMcus(reader, grid, decode, miss, endRow);
}

void decodeSequential(ScanReader& r, JpegReading& file, std::vector<BlockPlane>& planes) {
  decodeBlocks(r, file, planes, [&](size_t place, int16_t* block) {
    const QlmStatus status =
        qlmiDecodeHuffman8x8_JPEG_1u16s_C1(r.data, r.length, &r.position, block, &r.lastDc[place], &r.marker,
                                           file.scan.dcTables[place], file.scan.acTables[place], &r.state);
    if (status != qlmOk) std::fill_n(block, kBlockSize, int16_t{0});
    return status;
  });
}

void decodeProgressive(ScanReader& r, JpegReading& file, std::vector<BlockPlane>& planes) {
  const auto& [components, ss, se, ah, al] = file.scan.spec;
  const QlmDecodeHuffmanSpec* acTable = file.scan.acTables[0];
  if (ss == 0 && ah == 0)
    decodeBlocks(r, file, planes, [&, bit = al](size_t place, int16_t* block) {
      return qlmiDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(r.data, r.length, &r.position, block, &r.lastDc[place],
                                                        &r.marker, bit, file.scan.dcTables[place], &r.state);
    });
  else if (ss == 0)
    decodeBlocks(r, file, planes, [&, bit = al](size_t, int16_t* block) {
      return qlmiDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(r.data, r.length, &r.position, block, &r.marker, bit,
                                                         &r.state);
    });
  else if (ah == 0)
    decodeBlocks(r, file, planes, [&, first = ss, last = se, bit = al](size_t, int16_t* block) {
      if (r.state.eobRun > 0) {  // as the function does, without the call
        --r.state.eobRun;
        return qlmOk;
      }
      return qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(r.data, r.length, &r.position, block, &r.marker, first, last,
                                                        bit, acTable, &r.state);
    });
  else
    decodeBlocks(r, file, planes, [&, first = ss, last = se, bit = al](size_t, int16_t* block) {
      return qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(r.data, r.length, &r.position, block, &r.marker, first, last,
                                                         bit, acTable, &r.state);
    });
}

}  // namespace

std::vector<BlockPlane> decodeCoefficients(JpegReading& file) {
  const JpegFrame& frame = file.headers.frame;
  std::vector<BlockPlane> planes;
  for (const JpegComponent& c : frame.components) planes.emplace_back(frame.mcusWide() * c.h, frame.mcusHigh() * c.v);
  int64_t visits = kMaxVisitsPerByte * static_cast<int64_t>(file.input.bytes.size());
  do {
    for (const size_t c : file.scan.spec.components) visits -= int64_t{planes[c].blocksWide} * planes[c].blocksHigh;
    if (visits < 0) {
      noteDamage(file, "damaged: more scans than so short a file can need");
      return planes;
    }
    ScanReader reader = startScan(file.input);
    if (frame.process == JpegProcess::kProgressive)
      decodeProgressive(reader, file, planes);
    else
      decodeSequential(reader, file, planes);
    file.input = endScan(reader);
    noteDamage(file, reader.damage);
  } while (advance(file));
  if (file.maxScans == 0 && !std::ranges::all_of(std::span(file.headers.componentQuant).first(planes.size()),
                                                 [](const auto& table) { return table.has_value(); }))
    noteDamage(file, "damaged: the file lacks a scan of one of its components");
  return planes;
}

void drawCoefficients(const JpegFrame& frame, const std::vector<BlockPlane>& planes, McuSink& sink) {
  std::array<const int16_t*, kMaxBlocks> blocks;
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    for (int32_t column = 0, end = frame.mcusWide(); column < end; ++column) {
      auto block = blocks.begin();
      for (size_t i = 0; i < planes.size(); ++i) {
        const JpegComponent& c = frame.components[i];
        for (int32_t y = 0; y < c.v; ++y)
          for (int32_t x = 0; x < c.h; ++x) *block++ = planes[i].block(row * c.v + y, column * c.h + x);
      }
      sink.draw(row, column, blocks.data(), nullptr);
    }
    sink.endRow(row);
  }
}

}  // namespace sample
