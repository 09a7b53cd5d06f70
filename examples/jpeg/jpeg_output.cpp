#include "jpeg/jpeg_output.h"

#include <cstring>
#include <limits>

namespace sample {
namespace {

uint8_t high(int32_t value) { return static_cast<uint8_t>(value >> 8); }
uint8_t low(int32_t value) { return static_cast<uint8_t>(value); }

uint8_t frameMarker(const JpegFrame& frame, bool wideQuantisers) {
  if (frame.process == JpegProcess::kProgressive) return kSof2;
  if (frame.process == JpegProcess::kLossless) return kSof3;
  return frame.precision > 8 || wideQuantisers ? kSof1 : kSof0;
}

}  // namespace

HuffmanTable makeTable(std::span<const uint8_t> counts, std::span<const uint8_t> values) {
  HuffmanTable table;
  std::ranges::copy(counts, table.counts.begin());
  std::ranges::copy(values, table.values.begin());
  qlmiEncodeHuffmanSpecInit_JPEG_8u(table.counts.data(), table.values.data(), &table.spec);
  return table;
}

HuffmanTable makeTable(const std::array<int32_t, 256>& statistics) {
  HuffmanTable table;
  if (qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics.data(), table.counts.data(), table.values.data()) != qlmOk ||
      qlmiEncodeHuffmanSpecInit_JPEG_8u(table.counts.data(), table.values.data(), &table.spec) != qlmOk)
    throw JpegError("the picture is too large for optimised Huffman tables");
  return table;
}

void JpegOutput::put(std::span<const uint8_t> bytes) {
  if (!bytes.empty()) std::memcpy(room(bytes.size()).data, bytes.data(), bytes.size());
  used_ += bytes.size();
}

void JpegOutput::marker(uint8_t marker) {
  const uint8_t code[]{0xFF, marker};
  put(code);
}

void JpegOutput::segment(uint8_t code, std::span<const uint8_t> payload) {
  const auto length = static_cast<int32_t>(payload.size() + 2);
  marker(code);
  const uint8_t bytes[]{high(length), low(length)};
  put(bytes);
  put(payload);
}

// JFIF knows grey and YCbCr; the rest is told by the marker of Adobe (T.872 6.5.3). Lossless grey needs no
// telling, and pairs have no name.
void JpegOutput::colour(JpegColour colour, JpegProcess process) {
  const bool dct = process != JpegProcess::kLossless;
  if (dct && (colour == JpegColour::kGrey || colour == JpegColour::kYCbCr)) {
    const uint8_t jfif[]{'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
    segment(kApp0, jfif);
  } else if (channelsOf(colour) > 2) {
    const uint8_t transform = colour == JpegColour::kYcck ? 2 : 0;
    const uint8_t adobe[]{'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform};
    segment(kApp14, adobe);
  }
}

void JpegOutput::headers(const JpegFrame& frame, JpegColour colourOfFile, std::span<const QuantTable> quant) {
  marker(kSoi);
  colour(colourOfFile, frame.process);
  const auto count = static_cast<uint8_t>(frame.components.size());
  std::vector<uint8_t> sof{low(frame.precision), high(frame.height), low(frame.height),
                           high(frame.width),    low(frame.width),   count};
  bool anyWide = false;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    uint8_t slot = 0;
    if (!quant.empty()) {
      slot = static_cast<uint8_t>(std::ranges::find(quant, quant[i]) - quant.begin());
      const bool wide = std::ranges::max(quant[i]) > 255;
      anyWide |= wide;
      std::vector<uint8_t> dqt{static_cast<uint8_t>(wide << 4 | slot)};
      for (const uint16_t q : quant[i]) {
        if (wide) dqt.push_back(high(q));
        dqt.push_back(low(q));
      }
      if (slot == i) segment(kDqt, dqt);
    }
    sof.insert(sof.end(), {c.id, static_cast<uint8_t>(c.h << 4 | c.v), slot});
  }
  segment(frameMarker(frame, anyWide), sof);
}

void JpegOutput::huffmanTable(bool ac, uint8_t slot, const HuffmanTable& table) {
  std::vector<uint8_t> dht{static_cast<uint8_t>(ac << 4 | slot)};
  size_t total = 0;
  for (const uint8_t count : table.counts) total += count;
  dht.insert(dht.end(), table.counts.begin(), table.counts.end());
  dht.insert(dht.end(), table.values.begin(), table.values.begin() + static_cast<ptrdiff_t>(total));
  segment(kDht, dht);
}

void JpegOutput::restartInterval(int32_t interval) {
  const uint8_t dri[]{high(interval), low(interval)};
  if (interval > 0) segment(kDri, dri);
}

void JpegOutput::scan(const JpegFrame& frame, const JpegScanSpec& spec, std::span<const uint8_t> slots) {
  // A table that a scan does not use has no number.
  const bool lossless = frame.process == JpegProcess::kLossless;
  const bool dc = lossless || (spec.ss == 0 && spec.ah == 0), ac = !lossless && spec.se > 0;
  std::vector<uint8_t> sos{static_cast<uint8_t>(spec.components.size())};
  for (const size_t c : spec.components)
    sos.insert(sos.end(),
               {frame.components[c].id, static_cast<uint8_t>((dc ? slots[c] << 4 : 0) | (ac ? slots[c] : 0))});
  sos.insert(sos.end(), {low(spec.ss), low(lossless ? 0 : spec.se), static_cast<uint8_t>(spec.ah << 4 | spec.al)});
  segment(kSos, sos);
}

JpegOutput::Room JpegOutput::room(size_t least) {
  if (bytes_.size() - used_ < least) bytes_.resize(std::max(2 * bytes_.size(), used_ + least));
  const size_t length = std::min<size_t>(bytes_.size() - used_, std::numeric_limits<int32_t>::max());
  return {bytes_.data() + used_, static_cast<int32_t>(length)};
}

std::vector<uint8_t> JpegOutput::take() {
  bytes_.resize(used_);
  return std::move(bytes_);
}

}  // namespace sample
