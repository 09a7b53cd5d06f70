#include "jpeg/jpeg_scan.h"

#include <limits>

namespace sample {
namespace {

constexpr const char* kEndsEarly = "damaged: the data of an image scan ends before its last block";
constexpr const char* kTruncated = "truncated: the file ends inside the image data";

void note(ScanReader& reader, const std::string& damage) {
  if (reader.damage.empty()) reader.damage = damage;
}

std::string describe(const ScanReader& reader, QlmStatus status) {
  if (reader.marker != 0) return kEndsEarly;
  if (status == qlmErrOutOfBuffer || status == qlmErrSize) return kTruncated;
  if (status == qlmErrDecodedPosition) return "damaged: a block of more than 64 coefficients";
  return "damaged: a code that is not in the Huffman table";
}

void beginInterval(ScanReader& reader) {
  qlmiDecodeHuffmanStateInit_JPEG_8u(&reader.state);
  reader.marker = 0;
  reader.lastDc.fill(0);
}

// The decoders tell of missing bits one request late, so the last block of an interval is judged here.
void checkInterval(ScanReader& reader) {
  if (reader.state.bitCount < 0) note(reader, kEndsEarly);
}

// The marker that stopped the decoder, or the next one in the data; 0 at the end of the data.
int32_t takeMarker(ScanReader& reader) {
  int32_t marker = reader.marker;
  reader.marker = 0;
  if (marker == 0) {
    JpegInput rest{{reader.data, static_cast<size_t>(reader.length)}, static_cast<size_t>(reader.position)};
    marker = nextMarker(rest).value_or(0);
    reader.position = static_cast<int32_t>(rest.position);
  }
  return marker;
}

// Looks for a restart marker from `marker` on. Their numbers count modulo 8: one that is up to three intervals ahead
// shows how many have been lost, any other is taken for one that has been there before.
int64_t findRestart(ScanReader& reader, const ScanGrid& grid, int64_t interval, int32_t marker) {
  for (; marker != 0; marker = takeMarker(reader)) {
    if (marker >= kRst0 && marker <= kRst7) {
      const int64_t ahead = (marker - kRst0 - interval) & 7;
      const int64_t next = (interval + ahead + 1) * grid.restartInterval;
      if (ahead > 3 || next >= grid.total()) continue;
      beginInterval(reader);
      return next;
    }
    if (marker >= kSof0) {  // below are the reserved ones, which damage makes of data
      reader.marker = marker;
      break;
    }
  }
  return grid.total();
}

}  // namespace

ScanReader startScan(const JpegInput& input) {
  auto bytes = input.bytes.subspan(input.position);
  // Half a marker at the end of a truncated file: the block decoder would give up the last block over it.
  if (!bytes.empty() && bytes.back() == 0xFF) bytes = bytes.first(bytes.size() - 1);
  const auto length = static_cast<int32_t>(std::min<size_t>(bytes.size(), size_t{std::numeric_limits<int32_t>::max()}));
  ScanReader reader;
  reader.input = input;
  reader.data = bytes.data();
  reader.length = length;
  beginInterval(reader);
  return reader;
}

JpegInput endScan(ScanReader& reader) {
  checkInterval(reader);
  JpegInput input = reader.input;
  input.position += static_cast<size_t>(reader.position);
  if (reader.marker != 0) input.position -= 2;  // the decoder has gone behind the marker that stopped it
  return input;
}

int64_t passRestart(ScanReader& reader, const ScanGrid& grid, int64_t mcu) {
  checkInterval(reader);
  const int64_t interval = mcu / grid.restartInterval - 1;
  const int32_t marker = takeMarker(reader);
  if (marker == kRst0 + interval % 8) {
    beginInterval(reader);
    return mcu;
  }
  note(reader, marker == 0 ? kTruncated : "damaged: restart marker " + std::to_string(interval % 8) + " is missing");
  return findRestart(reader, grid, interval, marker);
}

int64_t recover(ScanReader& reader, const ScanGrid& grid, int64_t mcu, QlmStatus status) {
  note(reader, describe(reader, status));
  if (grid.restartInterval == 0) return grid.total();
  return findRestart(reader, grid, mcu / grid.restartInterval, takeMarker(reader));
}

}  // namespace sample
