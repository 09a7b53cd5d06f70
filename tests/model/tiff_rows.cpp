// PackBits byte by byte, as its rules are told.
#include "model/tiff_rows.h"

namespace model {

Packets packBitsPackets(const std::vector<uint8_t>& row) {
  const size_t n = row.size();
  Packets packets;
  size_t at = 0;
  while (at < n) {
    std::vector<uint8_t> packet(1);
    if (at + 1 < n && row[at] == row[at + 1]) {  // replicate
      size_t run = 2;
      while (run < 128 && at + run < n && row[at + run] == row[at]) ++run;
      packet[0] = static_cast<uint8_t>(1 - static_cast<int>(run));
      packet.push_back(row[at]);
      at += run;
    } else {  // literal
      while (packet.size() - 1 < 128 && at < n) {
        const size_t held = packet.size() - 1;
        const bool pair = at + 1 < n && row[at] == row[at + 1];
        const bool three = pair && at + 2 < n && row[at + 1] == row[at + 2];
        const bool pairAtEnd = pair && at + 2 == n;
        const bool pairInLastTwoPlaces = pair && held == 126;
        if (three || pairAtEnd || pairInLastTwoPlaces) break;
        packet.push_back(row[at++]);
      }
      packet[0] = static_cast<uint8_t>(packet.size() - 2);
    }
    packets.push_back(packet);
  }
  return packets;
}

Packed packBits(const std::vector<uint8_t>& row, int32_t room) {
  Packed out{qlmOk, {}};
  for (const auto& packet : packBitsPackets(row)) {
    if (out.bytes.size() + packet.size() > static_cast<size_t>(room)) {
      out.status = qlmErrUnpackOverrun;
      break;
    }
    out.bytes.insert(out.bytes.end(), packet.begin(), packet.end());
  }
  return out;
}

Unpacked unpackBits(const std::vector<uint8_t>& src, int32_t position, int32_t length, int32_t wanted) {
  std::vector<uint8_t> produced;
  const auto at = [&](int32_t i) { return src.at(static_cast<size_t>(i)); };
  const auto overflows = [&](int n) { return static_cast<int64_t>(produced.size()) + n > wanted; };
  while (true) {
    if (position >= length) return {qlmErrUnpackOverrun, produced, position};
    const int header = static_cast<int8_t>(at(position++));
    if (header >= -127 && header <= -1) {
      const int n = 1 - header;
      // Passes with position == length: the byte behind the source is then the one that is repeated.
      if (position > length || overflows(n)) return {qlmErrUnpackOverrun, produced, position};
      produced.insert(produced.end(), static_cast<size_t>(n), at(position++));
    } else if (header >= 0) {
      const int n = header + 1;
      if (position + n > length || overflows(n)) return {qlmErrUnpackOverrun, produced, position};
      for (int i = 0; i < n; ++i) produced.push_back(at(position++));
    }
    if (static_cast<int32_t>(produced.size()) == wanted) return {qlmOk, produced, position};
  }
}

std::vector<uint16_t> joinRow(const std::vector<uint8_t>& high, const std::vector<uint8_t>& low) {
  std::vector<uint16_t> row;
  for (size_t i = 0; i < high.size(); ++i) row.push_back(static_cast<uint16_t>(256 * high[i] + low[i]));
  return row;
}

void splitRow(const std::vector<uint16_t>& row, std::vector<uint8_t>& high, std::vector<uint8_t>& low) {
  high.clear();
  low.clear();
  for (const uint16_t sample : row) {
    high.push_back(static_cast<uint8_t>(sample / 256));
    low.push_back(static_cast<uint8_t>(sample % 256));
  }
}

}  // namespace model
