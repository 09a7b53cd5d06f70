// The entropy-coded data of one scan: its restart intervals (T.81 E.1.4, F.2.1.3.1), and where decoding goes on behind
// damage. What an MCU is, and how it is decoded, is the affair of the reader of each process.
#pragma once

#include <string>

#include "jpeg/jpeg_headers.h"

namespace sample {

// Where a decoding function of the library stands. Its last four members are what these functions take and change.
struct ScanReader {
  JpegInput input;  // from behind the header of the scan on
  const uint8_t* data = nullptr;
  int32_t length = 0;
  int32_t position = 0;
  int32_t marker = 0;
  std::array<int16_t, 4> lastDc{};  // by place in the scan
  QlmDecodeHuffmanState state{};

  std::string damage;  // what was wrong first; empty while nothing is
};

ScanReader startScan(const JpegInput& input);

// Where the markers go on. `complete` says that the last MCU has been decoded.
JpegInput endScan(ScanReader& reader);

// Rows of MCUs, and after how many MCUs a restart marker stands, 0 for never.
struct ScanGrid {
  int32_t wide, high;
  int32_t restartInterval;

  int64_t total() const { return int64_t{wide} * high; }
};

// At the end of the interval before `mcu`: goes behind its restart marker. Returns the MCU with which decoding goes on,
// which is a later one where markers are missing.
int64_t passRestart(ScanReader& reader, const ScanGrid& grid, int64_t mcu);

// Notes why `mcu` could not be decoded, goes behind the next restart marker and returns the MCU that follows it; the
// total of the grid where there is none.
int64_t recover(ScanReader& reader, const ScanGrid& grid, int64_t mcu, QlmStatus status);

// Walks over the MCUs of a scan, row by row:
//   decode(row, from, to, status)  the MCUs of a row from one column to before another; returns the column that could
//   not
//                                  be decoded and sets the status, or returns `to`
//   miss(row, from, to)            these are lost
//   endRow(row)                    after the last column of each row
template <typename Decode, typename Miss, typename EndRow>
void decodeMcus(ScanReader& reader, const ScanGrid& grid, Decode decode, Miss miss, EndRow endRow) {
  const int64_t interval = grid.restartInterval > 0 ? grid.restartInterval : grid.total();
  int64_t mcu = 0, good = 0;  // the next one, and where good data goes on
  for (int32_t row = 0; row < grid.high; ++row) {
    for (int32_t column = 0; column < grid.wide;) {
      const int64_t rowEnd = mcu + grid.wide - column;
      const auto columnOf = [&](int64_t m) { return static_cast<int32_t>(grid.wide - (rowEnd - m)); };
      int64_t end;
      if (mcu < good) {
        end = std::min(good, rowEnd);
        miss(row, column, columnOf(end));
      } else if (mcu > 0 && mcu % interval == 0 && good != mcu && (good = passRestart(reader, grid, mcu)) > mcu) {
        continue;
      } else {
        end = std::min(rowEnd, (mcu / interval + 1) * interval);
        good = 0;
        QlmStatus status = qlmOk;
        const int32_t reached = decode(row, column, columnOf(end), status);
        if (reached < columnOf(end)) {
          end = mcu + reached - column;
          good = recover(reader, grid, end, status);
        }
      }
      column = columnOf(end);
      mcu = end;
    }
    endRow(row);
  }
}

}  // namespace sample
