#include "jpegxr/jxr_decode.h"

#include "jpegxr/jxr_headers.h"
#include "jpegxr/jxr_patterns.h"

namespace sample {
namespace {

class TileDecoder {
 public:
  TileDecoder(const JxrHeader& header, const MbRange& columns, const MbRange& rows, const JxrTilePackets& packets,
              JxrPlanes& planes)
      : header_(header),
        columns_(columns),
        rows_(rows),
        planes_(planes),
        models_(header.components),
        patternCoder_(header.components, header.mbsWide),
        hasLowpass_(header.hasLowpass()),
        hasHighpass_(header.hasHighpass()),
        hasFlexbits_(header.bands == JxrBands::kAll) {
    const size_t bands = header.layout == JxrLayout::kSpatial ? 1 : packets.size();
    for (size_t i = 0; i < bands; ++i) readers_[i] = JxrBitReader(packets[i]);
    dc_ = &readers_[0];
    lowpass_ = bands == 1 ? dc_ : &readers_[1];
    highpass_ = bands == 1 ? dc_ : &readers_[2];
    flexbits_ = bands == 1 ? dc_ : &readers_[3];
    // A packet of flexbits may be left out where there are none.
    for (size_t i = 0; i < bands; ++i)
      if (!packets[i].empty()) skipPacketHeader(readers_[i]);
    if (header.trimFlexbits && !packets[bands - 1].empty()) trim_ = static_cast<int32_t>(flexbits_->take(4));
    for (size_t c = 0; c < countOf(header.components); ++c) step_[c] = quantiserStep(header, kHighpass, c);
  }

  std::string run() {
    for (int32_t y = rows_.first; y < rows_.end; ++y)
      for (int32_t x = columns_.first; x < columns_.end; ++x)
        if (!decode(placeInTile(columns_, rows_, x, y))) return damage_;
    return damage_;
  }

 private:
  // Returns whether there is more to decode. A band that has ended is over for the tile, and so are those that build on
  // it; in spatial layout, where they share a packet, all are.
  bool decode(const MbPlace& place) {
    readDc(place);
    if (dc_->overrun()) {
      clearLowpass(place);
      noteEnd("DC", place);
      return false;
    }
    if (hasLowpass_ && (!readLowpass(place) || lowpass_->overrun())) {
      keepDc(place);
      noteEnd("lowpass", place);
      hasLowpass_ = hasHighpass_ = false;
    }
    predict(place);
    if (hasHighpass_) {
      readHighpass(place);
      if (highpass_->overrun()) {
        clearHighpass(place);
        noteEnd("highpass", place);
        hasHighpass_ = false;
      } else if (hasFlexbits_ && flexbits_->overrun()) {
        noteEnd("low bits of highpass", place);
        hasFlexbits_ = false;
      }
    }
    return damage_.empty() || header_.layout == JxrLayout::kFrequency;
  }

  void noteEnd(const char* band, const MbPlace& place) {
    if (damage_.empty())
      damage_ = std::string("damaged: the ") + band + " coefficients end in row " + std::to_string(place.y) +
                " of macroblocks";
  }

  void readDc(const MbPlace& place) {
    const bool grey = header_.components == JxrComponents::kY;
    const int32_t coded = grey ? 4 * static_cast<int32_t>(dc_->take(1)) : models_.dcFlags.read(*dc_);
    std::array<int32_t, 3> count{};
    for (size_t c = 0; c < countOf(header_.components); ++c) {
      uint32_t value = 0;
      if (coded >> (2 - c) & 1) {
        value = static_cast<uint32_t>(readLevel(*dc_, c == 0 ? models_.dcLuma : models_.dcChroma));
        count[c] = 1;
      }
      const int32_t bits = models_.dcBits.of(c);
      value = value << bits | dc_->take(static_cast<uint32_t>(bits));
      const bool negative = value != 0 && dc_->flag();
      *lowpassBlock(planes_[c], place) = static_cast<int32_t>(negative ? 0 - value : value);
    }
    models_.dcBits.update(count[0], count[1] + count[2]);
    if (!header_.hasLowpass() && place.adaptCodes) models_.adaptDc();
  }

  bool readLowpass(const MbPlace& place) {
    if (place.resetScans) qlmiVLCScanReset_JPEGXR(&models_.vlc, 2);
    const uint32_t pattern = models_.lowpassPattern.read(*lowpass_);
    std::array<int32_t, 3> count{};
    bool good = true;
    if (header_.components == JxrComponents::k420 || header_.components == JxrComponents::k422) {
      readLowpassBlock(place, 0, pattern & 1, count[0]);
      good = readLowpassPairs(place, pattern >> 1 & 1, count[1]);
    } else {
      for (size_t c = 0; c < countOf(header_.components); ++c) readLowpassBlock(place, c, pattern >> c & 1, count[c]);
    }
    models_.lowpassBits.update(count[0], count[1] + count[2]);
    if (place.adaptCodes) models_.adaptLowpass();
    return good;
  }

  void readLowpassBlock(const MbPlace& place, size_t component, bool coded, int32_t& count) {
    JxrBitReader& in = *lowpass_;
    JxrComponentPlanes& planes = planes_[component];
    int32_t* block = lowpassBlock(planes, place);
    const int32_t bits = models_.lowpassBits.of(component);
    if (coded) {
      std::array<int32_t, 16> list{};
      qlmiVLCDecodeDC444_JPEGXR_1u32s(&in.next, &in.buffer, &in.count, list.data(), component > 0, &count,
                                      &models_.vlc);
      for (size_t k = 1; k < list.size(); ++k) {
        const BlockPlace p = kCoefficientPlaces[k];
        block[ptrdiff_t{planes.lowpass.width} * p.row + p.column] = list[k] << bits;
      }
    }
    if (bits > 0)
      qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(&in.next, &in.buffer, &in.count, block, planes.lowpass.step(), bits, 1, coded);
  }

  // U and V of 4:2:0 or 4:2:2 take turns.
  bool readLowpassPairs(const MbPlace& place, bool coded, int32_t& count) {
    JxrBitReader& in = *lowpass_;
    const int32_t bits = models_.lowpassBits.chroma();
    const std::span<const uint8_t> order = lowpassPairs(header_.components);
    const auto at = [&](size_t component, size_t k) -> int32_t& {
      return lowpassBlock(planes_[component], place)[ptrdiff_t{planes_[component].lowpass.width} * (k / 2) + k % 2];
    };
    if (coded) {
      std::array<int32_t, 14> list{};
      const auto decode =
          header_.components == JxrComponents::k420 ? qlmiVLCDecodeDC420_JPEGXR_1u32s : qlmiVLCDecodeDC422_JPEGXR_1u32s;
      count = -1;  // stays where a run leads out of the list
      decode(&in.next, &in.buffer, &in.count, list.data(), &count, &models_.vlc);
      if (count < 0) return false;
      for (size_t i = 0; i < 2 * order.size(); ++i) at(1 + i % 2, order[i / 2]) = list[i] << bits;
    }
    if (bits > 0)
      for (size_t k = 1; k <= order.size(); ++k)
        for (size_t c = 1; c <= 2; ++c) refine(in, bits, at(c, k));
    return true;
  }

  // A value that is zero so far has its sign behind its low bits.
  static void refine(JxrBitReader& in, int32_t bits, int32_t& value) {
    const auto low = static_cast<int32_t>(in.take(static_cast<uint32_t>(bits)));
    const bool negative = value != 0 ? value < 0 : low != 0 && in.flag();
    value += negative ? -low : low;
  }

  void predict(const MbPlace& place) {
    const JxrComponents components = header_.components;
    const JxrFrom from = lowpassSource(planes_, components, place);
    for (size_t c = 0; c < countOf(components); ++c) {
      int32_t* block = lowpassBlock(planes_[c], place);
      const ptrdiff_t width = planes_[c].lowpass.width;
      predictLowpass(planes_[c], place, isSubsampled(components, c), from,
                     [=](const BlockPlace& p, int32_t prediction) { block[width * p.row + p.column] += prediction; });
    }
  }

  void readHighpass(const MbPlace& place) {
    if (place.resetScans) {
      qlmiVLCScanReset_JPEGXR(&models_.vlc, 0);
      qlmiVLCScanReset_JPEGXR(&models_.vlc, 1);
    }
    const JxrFrom from = highpassSource(planes_, header_.components, place);
    const JxrPatterns patterns = patternCoder_.read(*highpass_, models_, place);
    qlmiVLCScanSet_JPEGXR(&models_.vlc, from == JxrFrom::kTop ? 0 : 1);
    std::array<int32_t, 3> count{};
    for (size_t c = 0; c < countOf(header_.components); ++c) {
      count[c] = readBlocks(place, c, patterns[c]);
      if (patterns[c] != 0 || flexbitsOf(c) > 0) addHighpassPrediction(planes_[c], place, from);
    }
    models_.highpassBits.update(count[0], count[1] + count[2]);
    if (place.adaptCodes) models_.adaptHighpass();
  }

  int32_t flexbitsOf(size_t component) const {
    return hasFlexbits_ ? std::max(models_.highpassBits.of(component) - trim_, 0) : 0;
  }

  int32_t readBlocks(const MbPlace& place, size_t component, uint32_t pattern) {
    JxrComponentPlanes& planes = planes_[component];
    const int32_t bits = models_.highpassBits.of(component);
    const int32_t flexbits = flexbitsOf(component);
    const int32_t step = step_[component];
    const int32_t codedStep = step << bits, flexStep = step << trim_;
    JxrBitReader &in = *highpass_, &flex = *flexbits_;
    int32_t sum = 0;
    for (int32_t i = 0; i < planes.blocks.count(); ++i, pattern >>= 1) {
      int32_t* block = highpassBlock(planes, place, blockPlace(planes.blocks, i));
      const bool coded = pattern & 1;
      if (coded) {
        int32_t count = 0;
        qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(&in.next, &in.buffer, &in.count, codedStep, block, planes.full.step(),
                                          component > 0, &count, &models_.vlc);
        sum += count;
      }
      if (flexbits > 0)
        qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR(&flex.next, &flex.buffer, &flex.count, block, planes.full.step(), flexbits,
                                           flexStep, coded);
    }
    return sum;
  }

  // What was read of a macroblock beyond the end of its packet is worth nothing.
  void clearLowpass(const MbPlace& place) {
    for (JxrComponentPlanes& planes : planes_)
      for (int32_t row = 0; row < planes.blocks.high; ++row)
        std::fill_n(lowpassBlock(planes, place) + ptrdiff_t{planes.lowpass.width} * row, planes.blocks.wide, 0);
  }
  void keepDc(const MbPlace& place) {
    std::array<int32_t, 3> dc{};
    for (size_t c = 0; c < countOf(header_.components); ++c) dc[c] = *lowpassBlock(planes_[c], place);
    clearLowpass(place);
    for (size_t c = 0; c < countOf(header_.components); ++c) *lowpassBlock(planes_[c], place) = dc[c];
  }
  void clearHighpass(const MbPlace& place) {
    for (JxrComponentPlanes& planes : planes_)
      for (int32_t row = 0; row < kBlockSide * planes.blocks.high; ++row)
        std::fill_n(highpassBlock(planes, place, {0, 0}) + ptrdiff_t{planes.full.width} * row,
                    kBlockSide * planes.blocks.wide, 0);
  }

  const JxrHeader& header_;
  const MbRange columns_, rows_;
  JxrPlanes& planes_;
  JxrTileModels models_;
  JxrPatternCoder patternCoder_;
  std::array<JxrBitReader, 4> readers_;
  JxrBitReader *dc_, *lowpass_, *highpass_, *flexbits_;
  bool hasLowpass_, hasHighpass_, hasFlexbits_;  // and have not ended
  std::string damage_;
  int32_t trim_ = 0;
  std::array<int32_t, 3> step_{};
};

}  // namespace

std::string decodeTile(const JxrHeader& header, const MbRange& columns, const MbRange& rows,
                       const JxrTilePackets& packets, JxrPlanes& planes) {
  return TileDecoder(header, columns, rows, packets, planes).run();
}

}  // namespace sample
