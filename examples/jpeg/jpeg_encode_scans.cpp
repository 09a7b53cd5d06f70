// Planes of coefficients to any scans, sequential (T.81 F.1) or progressive (G.1). A scan with tables of its own is
// gone through twice: once to count its symbols, once to code it.
#include "jpeg/jpeg_encode.h"

namespace sample {
namespace {

using Statistics = std::array<int32_t, 256>;

// Counts of one set of tables.
struct Counts {
  Statistics dc{}, ac{};
};

[[noreturn]] void failTooLarge(const JpegScanSpec& spec) {
  const bool whole = spec.ss == 0 && spec.se == 63;
  throw JpegError(std::string("a coefficient is too large for ") + (whole ? "sequential" : "progressive") + " JPEG");
}

// Hands the blocks of a scan to code(place, block) in their order; endInterval(n) follows each restart interval but the
// last. A scan of one component has its own raster of blocks, without padding to whole MCUs (A.2.2).
template <typename Code, typename EndInterval>
void forEachBlock(const JpegCoefficients& picture, const JpegScanSpec& spec, Code code, EndInterval endInterval) {
  const JpegFrame& frame = picture.frame;
  const bool alone = spec.components.size() == 1;
  const int32_t wide = alone ? frame.blocksWide(spec.components[0]) : frame.mcusWide();
  const int32_t high = alone ? frame.blocksHigh(spec.components[0]) : frame.mcusHigh();
  int32_t untilRestart = picture.restartInterval;
  int64_t intervals = 0;
  const auto startMcu = [&] {
    if (picture.restartInterval > 0 && untilRestart-- == 0) {
      endInterval(intervals++);
      untilRestart = picture.restartInterval - 1;
    }
  };
  for (int32_t row = 0; row < high; ++row) {
    if (alone) {
      const int16_t* block = picture.planes[spec.components[0]].block(row, 0);
      for (int32_t column = 0; column < wide; ++column, block += kBlockSize) {
        startMcu();
        code(0, block);
      }
      continue;
    }
    for (int32_t column = 0; column < wide; ++column) {
      startMcu();
      for (size_t place = 0; place < spec.components.size(); ++place) {
        const JpegComponent& c = frame.components[spec.components[place]];
        for (int32_t y = 0; y < c.v; ++y) {
          const int16_t* block = picture.planes[spec.components[place]].block(row * c.v + y, column * c.h);
          for (int32_t x = 0; x < c.h; ++x, block += kBlockSize) code(place, block);
        }
      }
    }
  }
}

// The coder of a kind of scan, and what counts its symbols. Both keep last DC values by place in the scan.
struct Coder {
  const JpegScanSpec& spec;
  std::array<uint8_t, 4> slots{};  // by place
  std::array<int16_t, 4> lastDc{};
  QlmEncodeHuffmanState state{};

  void begin() {
    lastDc.fill(0);
    qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  }
  void require(QlmStatus status) const {
    if (status != qlmOk) failTooLarge(spec);
  }
};

void count(const JpegCoefficients& picture, Coder& coder, std::array<Counts, 2>& counts) {
  const auto& [components, ss, se, ah, al] = coder.spec;
  const int32_t first = ss, last = se, bit = al;
  const auto restart = [&](int64_t) { coder.lastDc.fill(0); };
  coder.begin();
  if (first == 0 && last > 0) {
    forEachBlock(
        picture, coder.spec,
        [&](size_t place, const int16_t* block) {
          Counts& to = counts[coder.slots[place]];
          coder.require(
              qlmiGetHuffmanStatistics8x8_JPEG_16s_C1(block, to.dc.data(), to.ac.data(), &coder.lastDc[place]));
        },
        restart);
  } else if (first == 0 && ah == 0) {
    forEachBlock(
        picture, coder.spec,
        [&](size_t place, const int16_t* block) {
          coder.require(qlmiGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(block, counts[coder.slots[place]].dc.data(),
                                                                        &coder.lastDc[place], bit));
        },
        restart);
  } else if (first > 0) {
    const auto function =
        ah == 0 ? qlmiGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1 : qlmiGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1;
    int32_t* to = counts[coder.slots[0]].ac.data();
    const auto endInterval = [&](int64_t) { coder.require(function(nullptr, to, first, last, bit, &coder.state, 1)); };
    forEachBlock(
        picture, coder.spec,
        [&](size_t, const int16_t* block) { coder.require(function(block, to, first, last, bit, &coder.state, 0)); },
        endInterval);
    endInterval(0);
  }
}

// Codes all blocks by code(place, block, flush), which ends an interval where `flush` is set, without a block.
template <typename Code>
void encodeBlocks(const JpegCoefficients& picture, Coder& coder, CodedBytes& bytes, Code code) {
  coder.begin();
  const auto flush = [&] {
    bytes.ensure(CodedBytes::kRoomForBlock);
    coder.require(code(0, nullptr, 1));
  };
  forEachBlock(
      picture, coder.spec,
      [&](size_t place, const int16_t* block) {
        bytes.ensure(CodedBytes::kRoomForBlock);
        coder.require(code(place, block, 0));
      },
      [&](int64_t interval) {
        flush();
        bytes.restartMarker(interval);
        coder.lastDc.fill(0);
      });
  flush();
}

void encode(const JpegCoefficients& picture, Coder& coder, const std::array<HuffmanPair, 2>& tables,
            CodedBytes& bytes) {
  const auto& [components, ss, se, ah, al] = coder.spec;
  const int32_t first = ss, last = se, bit = al;
  const auto tablesOf = [&](size_t place) -> const HuffmanPair& { return tables[coder.slots[place]]; };
  if (first == 0 && last > 0) {
    encodeBlocks(picture, coder, bytes, [&](size_t place, const int16_t* block, int32_t flush) {
      const HuffmanPair& t = tablesOf(place);
      return qlmiEncodeHuffman8x8_JPEG_16s1u_C1(block, bytes.data, bytes.length, &bytes.position, &coder.lastDc[place],
                                                &t.dc.spec, &t.ac.spec, &coder.state, flush);
    });
  } else if (first == 0 && ah == 0) {
    encodeBlocks(picture, coder, bytes, [&](size_t place, const int16_t* block, int32_t flush) {
      return qlmiEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(block, bytes.data, bytes.length, &bytes.position,
                                                        &coder.lastDc[place], bit, &tablesOf(place).dc.spec,
                                                        &coder.state, flush);
    });
  } else if (first == 0) {
    encodeBlocks(picture, coder, bytes, [&](size_t, const int16_t* block, int32_t flush) {
      return qlmiEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(block, bytes.data, bytes.length, &bytes.position, bit,
                                                         &coder.state, flush);
    });
  } else {
    const auto function =
        ah == 0 ? qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1 : qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1;
    const QlmEncodeHuffmanSpec* table = &tablesOf(0).ac.spec;
    encodeBlocks(picture, coder, bytes, [&](size_t, const int16_t* block, int32_t flush) {
      return function(block, bytes.data, bytes.length, &bytes.position, first, last, bit, table, &coder.state, flush);
    });
  }
}

}  // namespace

void encodeScans(JpegOutput& out, const JpegCoefficients& picture, const JpegScript& script, bool optimise) {
  const JpegFrame& frame = picture.frame;
  std::array<HuffmanPair, 2> tables = typicalTables();
  const auto putTables = [&](bool dc, bool ac, uint8_t slot) {
    if (dc) out.huffmanTable(false, slot, tables[slot].dc);
    if (ac) out.huffmanTable(true, slot, tables[slot].ac);
  };
  for (uint8_t slot = 0; slot <= isChroma(picture.colour, 1) && !optimise; ++slot) putTables(true, true, slot);
  out.restartInterval(picture.restartInterval);
  std::array<uint8_t, 4> slots{};
  for (size_t c = 0; c < frame.components.size(); ++c) slots[c] = slotOf(picture.colour, c);
  for (const JpegScanSpec& spec : script) {
    Coder coder{.spec = spec};
    std::array<bool, 2> used{};
    for (size_t place = 0; place < spec.components.size(); ++place)
      used[coder.slots[place] = slots[spec.components[place]]] = true;
    if (optimise) {
      std::array<Counts, 2> counts{};
      count(picture, coder, counts);
      for (uint8_t slot = 0; slot < 2; ++slot) {
        if (!used[slot]) continue;
        const bool dc = spec.ss == 0 && spec.ah == 0, ac = spec.se > 0;
        if (dc) tables[slot].dc = makeTable(counts[slot].dc);
        if (ac) tables[slot].ac = makeTable(counts[slot].ac);
        putTables(dc, ac, slot);
      }
    }
    out.scan(frame, spec, slots);
    CodedBytes bytes(out);
    encode(picture, coder, tables, bytes);
    bytes.commit();
  }
}

}  // namespace sample
