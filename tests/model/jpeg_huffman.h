// Huffman coding of sequential JPEG blocks (ITU-T T.81 Annex C, F.1.2, F.2.2) in the plainest form: the tables, the
// bits that a coder keeps between blocks, the symbols, the blocks. A decoder has two routes that give the same
// coefficients but may stop at different places of the source: the careful one goes bit by bit, the fast one loads
// several bytes at once; each is a function of its own here, so that every number that a caller sees can be compared.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "qlmjp.h"

namespace model {

// Scan position to natural index (T.81 figure A.6), for positions 0 to 63.
const std::array<int32_t, 64>& zigzag();

// Scan position to natural index: 63 for up to eight positions too many, -1 beyond.
int32_t naturalIndex(int32_t position);

// Bits of a magnitude; 0 has none.
int32_t category(int32_t magnitude);

// T.81 F.2.2.1 EXTEND.
int32_t extend(int32_t value, int32_t size);

QlmStatus decodeSpecInit(const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec& spec);
QlmStatus encodeSpecInit(const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec& spec);
void decodeStateInit(QlmDecodeHuffmanState& state);
void encodeStateInit(QlmEncodeHuffmanState& state);

// Pending bits stand left-justified below bit 24 of the accumulator, at most 7 between two calls.
struct Output {
  uint8_t* bytes;
  int32_t length;
  int32_t* position;
};
QlmStatus putBits(int32_t value, int32_t length, const Output& out, QlmEncodeHuffmanState& state);
QlmStatus flushBits(const Output& out, QlmEncodeHuffmanState& state);

// Valid bits stand right-justified in 32 bits, older bits above them. `marker` stops all reading while it is not 0.
struct Input {
  const uint8_t* bytes;
  int32_t length;
  int32_t* position;
  int32_t* marker;
};
QlmStatus fill(const Input& in, int32_t needed, QlmDecodeHuffmanState& state);
QlmStatus getSymbol(const Input& in, const QlmDecodeHuffmanSpec& spec, QlmDecodeHuffmanState& state, int32_t& symbol);
// Takes bits off the accumulator. With too few the count goes below zero and the value is what a shift by the count
// modulo 32 finds.
int32_t takeBits(QlmDecodeHuffmanState& state, int32_t wanted);

// The value of a maxCode field: -1, below every code, for a length without codes.
int32_t maxCodeOf(const QlmDecodeHuffmanSpec& spec, int32_t length);
// Oversubscribed tables can point anywhere; the index stays inside the list.
int32_t symbolOf(const QlmDecodeHuffmanSpec& spec, int32_t code, int32_t length);

// The bits that a fast decoding route holds, oldest first.
struct FastBits {
  std::vector<uint8_t> bits;

  FastBits(uint64_t accumulator, int32_t count);
  int32_t held() const { return static_cast<int32_t>(bits.size()); }
  void append(uint32_t value, int32_t count);
  int32_t peek(int32_t count) const;
  int32_t take(int32_t count);
  // As many whole bytes as 64 bits have room for, from eight without 0xFF; with a 0xFF among them byte by byte until
  // more than 24 bits are held. False with fewer than eight bytes left, and at a marker.
  bool refill(const Input& in, int32_t& position);
  // Returns whole bytes to the source until at most 32 bits are held, and those bits as an accumulator.
  uint64_t handBack(int32_t& position);
};
// The next symbol; -1 where the route gives up. `refill` is called with fewer than 8 bits, or 16 for a longer code.
int32_t fastSymbol(const QlmDecodeHuffmanSpec& spec, FastBits& bits, const std::function<bool()>& refill);

QlmStatus encodeBlock(const int16_t* block, const Output& out, int16_t& lastDC, const QlmEncodeHuffmanSpec& dc,
                      const QlmEncodeHuffmanSpec& ac, QlmEncodeHuffmanState& state);

// Everything that decoding a block reads and changes, apart from the source.
struct DecodedBlock {
  std::array<int16_t, 64> block;
  int16_t lastDC;
  QlmDecodeHuffmanState state;
};
// False when the route gives the block up; nothing has changed then.
bool decodeBlockFast(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac, DecodedBlock& to);
QlmStatus decodeBlockCareful(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac,
                             DecodedBlock& to);
// The fast route where it is taken, else the careful one.
QlmStatus decodeBlock(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac,
                      DecodedBlock& to);

// Encoding without bounds: the position counts bits, pending bits lie in the destination.
void encodeBlockDirect(const int16_t* block, uint8_t* bytes, int32_t& bitPosition, int16_t& lastDC,
                       const QlmEncodeHuffmanSpec& dc, const QlmEncodeHuffmanSpec& ac);

// Decoding without bounds: the source is marker-terminated, bits ahead of the position are the caller's.
struct DirectBlock {
  std::array<int16_t, 64> block;
  int32_t bitPosition;
  int16_t lastDC;
  int32_t marker;
  uint32_t bits;
  int32_t bitCount;
};
// `address` is that of the source in the run that the model is compared with: the fast route loads four bytes at once
// only where they lie in one 16-byte line. `fast` and `overshoot`, if asked for, tell whether the fast route was taken
// and whether a scan position beyond 71 occurred, whose effect on block and status is not settled.
QlmStatus decodeBlockDirect(const uint8_t* bytes, uintptr_t address, const QlmDecodeHuffmanSpec& dc,
                            const QlmDecodeHuffmanSpec& ac, DirectBlock& to, bool* fast = nullptr,
                            bool* overshoot = nullptr);

}  // namespace model
