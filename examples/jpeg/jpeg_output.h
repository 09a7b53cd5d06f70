// Bytes of a JPEG file and its segments (T.81 Annex B).
#pragma once

#include <qlmjp.h>

#include <span>

#include "jpeg/jpeg_format.h"
#include "jpeg/jpeg_script.h"

namespace sample {

// A Huffman table as a DHT segment has it, and as the coders want it.
struct HuffmanTable {
  std::array<uint8_t, 16> counts{};
  std::array<uint8_t, 256> values{};
  QlmEncodeHuffmanSpec spec{};
};

HuffmanTable makeTable(std::span<const uint8_t> counts, std::span<const uint8_t> values);

// The best one for these counts of symbols (T.81 K.2). Throws JpegError where there are too many symbols to count.
HuffmanTable makeTable(const std::array<int32_t, 256>& statistics);

// Which Huffman and quantisation tables a component uses: one set for chroma, one for everything else.
inline uint8_t slotOf(JpegColour colour, size_t component) { return isChroma(colour, component); }

class JpegOutput {
 public:
  explicit JpegOutput(size_t expected) : bytes_(expected) {}

  void marker(uint8_t marker);
  void segment(uint8_t marker, std::span<const uint8_t> payload);

  // From the start of the image to the frame header. Each different quantisation table is written once; lossless files
  // have none.
  void headers(const JpegFrame& frame, JpegColour colour, std::span<const QuantTable> quant);
  void huffmanTable(bool ac, uint8_t slot, const HuffmanTable& table);
  void restartInterval(int32_t interval);                                                       // nothing for 0
  void scan(const JpegFrame& frame, const JpegScanSpec& spec, std::span<const uint8_t> slots);  // slots by component

  // Room for what the entropy coders write, and how much of it they have used.
  struct Room {
    uint8_t* data;
    int32_t length;
  };
  Room room(size_t least);
  void use(int32_t bytes) { used_ += static_cast<size_t>(bytes); }

  std::vector<uint8_t> take();

 private:
  void put(std::span<const uint8_t> bytes);
  void colour(JpegColour colour, JpegProcess process);

  std::vector<uint8_t> bytes_;  // kept ahead of used_ by what the next write needs
  size_t used_ = 0;
};

// What an entropy coder of the library writes to: its position in the room that there is.
struct CodedBytes {
  // More than any call for one block writes: 1000 correction bits that wait behind a run, or 64 codes of 16 bits with
  // as many bits of value, of which stuffing can double the bytes. The coders are fast while some bytes are to spare.
  static constexpr int32_t kRoomForBlock = 1024;

  explicit CodedBytes(JpegOutput& out) : out_(out) { renew(kRoomForBlock); }

  void ensure(int32_t least) {
    if (length - position < least) renew(least);
  }
  void restartMarker(int64_t interval) {
    commit();
    out_.marker(static_cast<uint8_t>(kRst0 + interval % 8));
    renew(kRoomForBlock);
  }
  void commit() {
    out_.use(position);
    position = 0;
  }

  uint8_t* data = nullptr;
  int32_t length = 0, position = 0;

 private:
  void renew(int32_t least) {
    commit();
    const auto [bytes, count] = out_.room(static_cast<size_t>(least));
    data = bytes, length = count;
  }

  JpegOutput& out_;
};

}  // namespace sample
