// What the Huffman tests take from libjpeg-turbo: the typical tables of T.81 Annex K.3 and scans of given coefficients.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace test {

// The two lists of a DHT marker.
struct HuffmanLists {
  std::array<uint8_t, 16> counts{};
  std::vector<uint8_t> values;
};

enum class TypicalTable { LuminanceDC, LuminanceAC, ChrominanceDC, ChrominanceAC };
inline constexpr TypicalTable kTypicalTables[] = {TypicalTable::LuminanceDC, TypicalTable::LuminanceAC,
                                                  TypicalTable::ChrominanceDC, TypicalTable::ChrominanceAC};
HuffmanLists typicalTable(TypicalTable which);

using CoefficientBlock = std::array<int16_t, 64>;  // natural order

// The entropy-coded segments of the sequential scan that libjpeg-turbo writes for a picture of one component, blocks
// in raster order, with the typical luminance tables. Restart markers stand where they do in a file; the marker that
// ends the scan is left out. `restartInterval` counts blocks, 0 is none.
std::vector<uint8_t> libjpegScan(const std::vector<CoefficientBlock>& blocks, int32_t blocksAcross,
                                 uint32_t restartInterval);

// The same for three components without subsampling: luminance tables for the first, chrominance tables for the
// others, one block of each in turn.
std::vector<uint8_t> libjpegScan(const std::array<std::vector<CoefficientBlock>, 3>& planes, int32_t blocksAcross,
                                 uint32_t restartInterval);

// A scan header (T.81 B.2.3).
struct LibjpegScanHeader {
  int32_t first, last, high, low;
};

// A scan with the tables that libjpeg-turbo made for it, cut at the restart markers.
struct LibjpegScan {
  HuffmanLists dc, ac;
  std::vector<std::vector<uint8_t>> segments;
};

// The scans of a picture of one component with optimal tables: those of a progressive script, or a sequential one for
// an empty script.
std::vector<LibjpegScan> libjpegOptimalScans(const std::vector<CoefficientBlock>& blocks, int32_t blocksAcross,
                                             const std::vector<LibjpegScanHeader>& script, uint32_t restartInterval);

}  // namespace test
