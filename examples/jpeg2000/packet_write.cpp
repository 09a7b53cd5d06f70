#include "jpeg2000/packet_write.h"

#include <algorithm>
#include <bit>

#include "jpeg2000/bit_writer.h"

namespace sample::j2k {
namespace {

// The part of a codeword segment that a packet has.
struct Piece {
  int32_t passes;
  int32_t from, to;  // of the bytes of the block
};

template <typename Visit>
void forEachPiece(const CodedBlock& block, int32_t from, int32_t to, Visit visit) {
  const auto pass = [&](int32_t i) { return block.passes[static_cast<size_t>(i)]; };
  while (from < to) {
    const int32_t segment = pass(from).segment;
    int32_t end = from + 1;
    while (end < to && pass(end).segment == segment) ++end;
    const bool goesOn = from > 0 && pass(from - 1).segment == segment;
    const int32_t start = goesOn ? pass(from - 1).end : block.segmentStarts[static_cast<size_t>(segment)];
    visit(Piece{end - from, start, pass(end - 1).end});
    from = end;
  }
}

// Table B.4.
void putPasses(HeaderBitWriter& bits, int32_t passes) {
  const auto n = static_cast<uint32_t>(passes);
  if (n == 1) return bits.put(0);
  if (n == 2) return bits.put(0b10, 2);
  if (n <= 5) return bits.put(0b1100 | (n - 3), 4);
  if (n <= 36) return bits.put(0b1111'00000 | (n - 6), 9);
  bits.put(0b1111'11111, 9);
  bits.put(n - 37, 7);
}

int32_t log2(int32_t n) { return static_cast<int32_t>(std::bit_width(static_cast<uint32_t>(n))) - 1; }

// B.10.7.
void putLengths(HeaderBitWriter& bits, const CodedBlock& block, int32_t from, int32_t to, int32_t& lengthBits) {
  int32_t wanted = lengthBits;
  forEachPiece(block, from, to, [&](const Piece& piece) {
    const auto length = static_cast<uint32_t>(piece.to - piece.from);
    wanted = std::max(wanted, static_cast<int32_t>(std::bit_width(length)) - log2(piece.passes));
  });
  for (; lengthBits < wanted; ++lengthBits) bits.put(1);
  bits.put(0);
  forEachPiece(block, from, to, [&](const Piece& piece) {
    bits.put(static_cast<uint32_t>(piece.to - piece.from), lengthBits + log2(piece.passes));
  });
}

}  // namespace

WrittenBand::WrittenBand(std::span<const CodedBlock> coded, const BlockGrid& grid)
    : blocks(coded), inclusion(grid.columns, grid.rows), zeroPlanes(grid.columns, grid.rows), told(coded.size()) {
  for (size_t i = 0; i < coded.size(); ++i) zeroPlanes.set(static_cast<int32_t>(i), coded[i].zeroPlanes);
}

void writePacketHeader(WrittenPrecinct& precinct, int32_t layer, std::span<const int32_t> passes,
                       std::vector<uint8_t>& out) {
  HeaderBitWriter bits(out);
  const auto put = [&](bool bit) { bits.put(bit); };
  bool isEmpty = true;
  size_t first = 0;
  for (WrittenBand& band : precinct) {
    for (size_t i = 0; i < band.told.size(); ++i) {
      if (passes[first + i] == band.told[i].passes) continue;
      isEmpty = false;
      if (band.told[i].passes == 0) band.inclusion.set(static_cast<int32_t>(i), layer);
    }
    first += band.told.size();
  }
  bits.put(!isEmpty);
  if (isEmpty) return bits.end();

  first = 0;
  for (WrittenBand& band : precinct) {
    for (size_t i = 0; i < band.told.size(); ++i) {
      WrittenBand::Told& told = band.told[i];
      const auto leaf = static_cast<int32_t>(i);
      const int32_t from = told.passes, to = passes[first + i];
      if (from > 0)
        bits.put(to > from);
      else
        band.inclusion.tell(leaf, layer + 1, put);
      if (to == from) continue;
      if (from == 0) band.zeroPlanes.tell(leaf, INT32_MAX, put);
      putPasses(bits, to - from);
      putLengths(bits, band.blocks[i], from, to, told.lengthBits);
      told.passes = to;
    }
    first += band.told.size();
  }
  bits.end();
}

void writePasses(const CodedBlock& block, int32_t from, int32_t to, std::vector<uint8_t>& out) {
  forEachPiece(block, from, to, [&](const Piece& piece) {
    out.insert(out.end(), block.bytes.begin() + piece.from, block.bytes.begin() + piece.to);
  });
}

int32_t bytesOfPasses(const CodedBlock& block, int32_t from, int32_t to) {
  int32_t bytes = 0;
  forEachPiece(block, from, to, [&](const Piece& piece) { bytes += piece.to - piece.from; });
  return bytes;
}

}  // namespace sample::j2k
