#include "jpegxr/jxr_encode.h"

#include <cstdlib>

#include "jpegxr/jxr_headers.h"
#include "jpegxr/jxr_patterns.h"

namespace sample {
namespace {

// Row by row.
size_t at(const BlockGrid& grid, const BlockPlace& p) {
  return static_cast<size_t>(p.row) * static_cast<size_t>(grid.wide) + static_cast<size_t>(p.column);
}

class PictureEncoder {
 public:
  PictureEncoder(const JxrHeader& header, JxrPlanes& planes)
      : header_(header),
        planes_(planes),
        models_(header.components),
        patternCoder_(header.components, header.mbsWide) {}

  std::vector<uint8_t> run() {
    writePacketHeader(out_);
    const MbRange columns = {0, header_.mbsWide}, rows = {0, header_.mbsHigh};
    for (int32_t y = 0; y < rows.end; ++y) {
      for (int32_t x = 0; x < columns.end; ++x) {
        const MbPlace place = placeInTile(columns, rows, x, y);
        out_.reserveMacroblock();
        predict(place);
        writeDc(place);
        if (header_.hasLowpass()) writeLowpass(place);
        if (header_.hasHighpass()) writeHighpass(place);
      }
    }
    return out_.finish();
  }

 private:
  size_t components() const { return countOf(header_.components); }

  // What the file says of lowpass blocks, row by row.
  void predict(const MbPlace& place) {
    const JxrFrom from = lowpassSource(planes_, header_.components, place);
    for (size_t c = 0; c < components(); ++c) {
      const BlockGrid grid = planes_[c].blocks;
      const int32_t* block = lowpassBlock(planes_[c], place);
      auto& differences = differences_[c];
      for (int32_t row = 0; row < grid.high; ++row)
        std::copy_n(block + ptrdiff_t{planes_[c].lowpass.width} * row, grid.wide, &differences[at(grid, {0, row})]);
      predictLowpass(planes_[c], place, isSubsampled(header_.components, c), from,
                     [&](const BlockPlace& p, int32_t prediction) { differences[at(grid, p)] -= prediction; });
    }
  }

  void writeDc(const MbPlace& place) {
    std::array<int32_t, 3> level{};
    uint32_t coded = 0;
    for (size_t c = 0; c < components(); ++c) {
      level[c] = std::abs(differences_[c][0]) >> models_.dcBits.of(c);
      coded |= (level[c] > 0 ? 4u : 0u) >> c;
    }
    if (header_.components == JxrComponents::kY)
      out_.flag(coded != 0);
    else
      models_.dcFlags.write(out_, static_cast<int32_t>(coded));
    for (size_t c = 0; c < components(); ++c) {
      const int32_t value = differences_[c][0];
      if (level[c] > 0) writeLevel(out_, c == 0 ? models_.dcLuma : models_.dcChroma, level[c]);
      out_.put(static_cast<uint32_t>(std::abs(value)), static_cast<uint32_t>(models_.dcBits.of(c)));
      if (value != 0) out_.flag(value < 0);
    }
    models_.dcBits.update(level[0] > 0, (level[1] > 0) + (level[2] > 0));
    if (!header_.hasLowpass() && place.adaptCodes) models_.adaptDc();
  }

  // Runs and levels of lowpass coefficients, and their low bits.
  struct LowpassList {
    std::array<int32_t, 32> runLevel;
    std::array<int32_t, 16> residual;
    int32_t count = 0;
  };

  void writeLowpass(const MbPlace& place) {
    if (place.resetScans) qlmiVLCScanReset_JPEGXR(&models_.vlc, 2);
    const bool pairs = isSubsampled(header_.components, 1);
    const size_t lists = pairs ? 2 : components();
    std::array<LowpassList, 3> list;
    uint32_t pattern = 0;
    for (size_t i = 0; i < lists; ++i) {
      pairs&& i == 1 ? listPairs(list[i]) : listBlock(i, list[i]);
      pattern |= (list[i].count > 0 ? 1u : 0u) << i;
    }
    models_.lowpassPattern.write(out_, pattern);
    for (size_t i = 0; i < lists; ++i) pairs&& i == 1 ? writePairs(list[i]) : writeLowpassBlock(i, list[i]);
    models_.lowpassBits.update(list[0].count, list[1].count + list[2].count);
    if (place.adaptCodes) models_.adaptLowpass();
  }

  void listBlock(size_t component, LowpassList& list) {
    std::array<int32_t, 16> coefficients{};
    for (size_t k = 1; k < coefficients.size(); ++k) {
      const BlockPlace p = kCoefficientPlaces[k];
      coefficients[k] = differences_[component][at(kFullGrid, p)];
    }
    qlmiVLCScan4x4DC_JPEGXR_32s(coefficients.data(), models_.lowpassBits.of(component), list.residual.data(),
                                list.runLevel.data(), &list.count, &models_.vlc);
  }

  void writeLowpassBlock(size_t component, const LowpassList& list) {
    if (list.count > 0)
      qlmiVLCEncodeDC444_JPEGXR_32s1u(list.runLevel.data(), list.count, component > 0, &out_.next, &out_.buffer,
                                      &out_.count, &models_.vlc);
    const auto bits = static_cast<uint32_t>(models_.lowpassBits.of(component));
    if (bits == 0) return;
    for (size_t k = 1; k < list.residual.size(); ++k) {
      const auto residual = static_cast<uint32_t>(list.residual[k]);
      out_.put(residual >> 1, bits + (residual & 1));
    }
  }

  // U and V of 4:2:0 or 4:2:2 take turns.
  void listPairs(LowpassList& list) {
    int32_t run = 0;
    for (const uint8_t k : lowpassPairs(header_.components))
      for (size_t c = 1; c <= 2; ++c) {
        const int32_t value = differences_[c][k], level = std::abs(value) >> models_.lowpassBits.chroma();
        if (level == 0) {
          ++run;
          continue;
        }
        const size_t pair = 2 * static_cast<size_t>(list.count++);
        list.runLevel[pair] = run;
        list.runLevel[pair + 1] = value < 0 ? -level : level;
        run = 0;
      }
  }

  void writePairs(const LowpassList& list) {
    if (list.count > 0) {
      const auto write =
          header_.components == JxrComponents::k420 ? qlmiVLCEncodeDC420_JPEGXR_32s1u : qlmiVLCEncodeDC422_JPEGXR_32s1u;
      write(list.runLevel.data(), list.count, &out_.next, &out_.buffer, &out_.count, &models_.vlc);
    }
    const int32_t bits = models_.lowpassBits.chroma();
    if (bits == 0) return;
    for (size_t k = 1; k <= lowpassPairs(header_.components).size(); ++k)
      for (size_t c = 1; c <= 2; ++c) {
        const int32_t value = differences_[c][k], magnitude = std::abs(value);
        out_.put(static_cast<uint32_t>(magnitude), static_cast<uint32_t>(bits));
        if (magnitude > 0 && magnitude >> bits == 0) out_.flag(value < 0);
      }
  }

  void writeHighpass(const MbPlace& place) {
    if (place.resetScans) {
      qlmiVLCScanReset_JPEGXR(&models_.vlc, 0);
      qlmiVLCScanReset_JPEGXR(&models_.vlc, 1);
    }
    const JxrFrom from = highpassSource(planes_, header_.components, place);
    JxrPatterns patterns{};
    for (size_t c = 0; c < components(); ++c) {
      subtractHighpassPrediction(planes_[c], place, from);
      patterns[c] = patternOf(place, c);
    }
    patternCoder_.write(out_, models_, place, patterns);
    qlmiVLCScanSet_JPEGXR(&models_.vlc, from == JxrFrom::kTop ? 0 : 1);
    std::array<int32_t, 3> count{};
    for (size_t c = 0; c < components(); ++c) count[c] = writeBlocks(place, c, patterns[c]);
    models_.highpassBits.update(count[0], count[1] + count[2]);
    if (place.adaptCodes) models_.adaptHighpass();
  }

  // By column of a row of blocks, the bits of four magnitudes.
  template <int32_t width>
  static std::array<int32_t, kMbSide> columnBits(const int32_t* line, ptrdiff_t step) {
    std::array<int32_t, kMbSide> all{};
    for (int32_t y = 0; y < kBlockSide; ++y, line += step)
      for (int32_t x = 0; x < width; ++x) all[static_cast<size_t>(x)] |= std::abs(line[x]);
    return all;
  }

  // Which blocks have a coefficient that does not fit into the low bits.
  uint32_t patternOf(const MbPlace& place, size_t component) {
    JxrComponentPlanes& planes = planes_[component];
    const BlockGrid grid = planes.blocks;
    const int32_t bits = models_.highpassBits.of(component);
    std::array<bool, 16> large{};  // row by row
    for (int32_t row = 0; row < grid.high; ++row) {
      const int32_t* first = highpassBlock(planes, place, {0, row});
      const auto all =
          grid.wide == 4 ? columnBits<16>(first, planes.full.width) : columnBits<8>(first, planes.full.width);
      for (int32_t column = 0; column < grid.wide; ++column) {
        const int32_t* four = &all[size_t{kBlockSide} * static_cast<size_t>(column)];
        large[at(grid, {column, row})] = (four[0] | four[1] | four[2] | four[3]) >> bits != 0;
      }
    }
    uint32_t pattern = 0;
    for (int32_t i = 0; i < grid.count(); ++i)
      pattern |= static_cast<uint32_t>(large[at(grid, blockPlace(grid, i))]) << i;
    return pattern;
  }

  int32_t writeBlocks(const MbPlace& place, size_t component, uint32_t pattern) {
    JxrComponentPlanes& planes = planes_[component];
    const int32_t step = planes.full.step(), bits = models_.highpassBits.of(component);
    const bool flexbits = bits > 0 && header_.bands == JxrBands::kAll;
    std::array<int32_t, 16> residual{};
    int32_t sum = 0;
    for (int32_t i = 0; i < planes.blocks.count(); ++i, pattern >>= 1) {
      const int32_t* block = highpassBlock(planes, place, blockPlace(planes.blocks, i));
      const bool coded = pattern & 1;
      int32_t count = 0;
      if (coded && flexbits)
        qlmiVLCEncode4x4Flex_JPEGXR_32s1u_C1R(block, step, component > 0, bits, 0, residual.data(), &out_.next,
                                              &out_.buffer, &out_.count, &count, &models_.vlc);
      else if (coded)
        qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block, step, component > 0, bits, &out_.next, &out_.buffer, &out_.count,
                                          &count, &models_.vlc);
      if (flexbits)
        qlmiFLCEncode4x4_JPEGXR_32s1u_C1R(block, step, residual.data(), &out_.next, &out_.buffer, &out_.count, bits, 0,
                                          coded);
      sum += count;
    }
    return sum;
  }

  const JxrHeader& header_;
  JxrPlanes& planes_;
  JxrTileModels models_;
  JxrPatternCoder patternCoder_;
  JxrBitWriter out_;
  std::array<std::array<int32_t, 16>, 3> differences_{};  // lowpass, of this macroblock
};

}  // namespace

std::vector<uint8_t> encodePicture(const JxrHeader& header, JxrPlanes& planes) {
  return PictureEncoder(header, planes).run();
}

}  // namespace sample
