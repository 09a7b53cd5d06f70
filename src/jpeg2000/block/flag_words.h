// What the code-block coder keeps of each sample besides its value: whether it is significant, visited or refined, and
// what its neighbours are (ITU-T T.800 D.3). One 32-bit word holds two samples, one above the other, the upper one in
// its lower half; so a column of a stripe takes two words, and each context is one look-up with bits of one half.
#pragma once

#include <cstddef>
#include <cstdint>

// The bits of a half.
inline constexpr uint32_t kSouthEast = 0x0001, kSouthWest = 0x0002, kNorthEast = 0x0004, kNorthWest = 0x0008;
inline constexpr uint32_t kSouth = 0x0010, kNorth = 0x0020, kEast = 0x0040, kWest = 0x0080;
inline constexpr uint32_t kRefined = 0x0100;  // has had its first refinement
inline constexpr uint32_t kSouthNegative = 0x0200, kNorthNegative = 0x0400, kEastNegative = 0x0800,
                          kWestNegative = 0x1000;
inline constexpr uint32_t kHasNeighbour = 0x2000;  // some neighbour is significant
inline constexpr uint32_t kVisited = 0x4000;       // coded in the significance pass of this plane
inline constexpr uint32_t kSignificant = 0x8000;

// A bit or a set of bits in the half of the upper sample, of the lower sample, and in both.
constexpr uint32_t inUpper(uint32_t bits) { return bits; }
constexpr uint32_t inLower(uint32_t bits) { return bits << 16; }
constexpr uint32_t inBoth(uint32_t bits) { return inUpper(bits) | inLower(bits); }

// What a cleanup pass leaves of a word.
inline constexpr uint32_t kNotVisited = ~inBoth(kVisited);

// Samples that a significance pass codes (a significant neighbour, not significant themselves), as kSignificant of
// their half, and samples that a refinement pass codes (significant, not visited), as kVisited of their half.
constexpr uint32_t significanceCandidates(uint32_t word) { return ~word & word << 2 & inBoth(kSignificant); }
constexpr uint32_t refinementCandidates(uint32_t word) { return ~word & word >> 1 & inBoth(kVisited); }

// The array: a row of words for each pair of rows of samples, with a guard word on each side and a guard row at each
// end, rows at multiples of 32 bytes.
constexpr int64_t flagRowStep(int32_t width) { return (int64_t{width} * 4 + 8 + 31) & ~int64_t{31}; }  // in bytes
constexpr int32_t flagPairRows(int32_t height) { return static_cast<int32_t>((int64_t{height} + 1) / 2); }
constexpr int64_t flagBytes(int32_t width, int32_t height) {
  return (int64_t{flagPairRows(height)} + 2) * flagRowStep(width);
}
inline uint32_t* firstFlagWord(uint32_t* flags, int64_t rowWords) { return flags + rowWords + 1; }

// Tells the neighbours of a sample that it has become significant, and marks it by kOwnBits: visited with significant,
// except where no one clears the word after. `rowWords` is the distance of rows of flags in words.
//
// Vertically causal contexts (T.800 D.7): the first row of a stripe says nothing to the stripe above, kTellAbove false.
template <bool kTellAbove = true, uint32_t kOwnBits = kSignificant | kVisited>
constexpr void setUpperSignificant(uint32_t* word, ptrdiff_t rowWords, uint32_t negative) {
  const uint32_t s = negative & 1;
  if constexpr (kTellAbove) {
    uint32_t* const above = word - rowWords;
    above[-1] |= inLower(kSouthEast | kHasNeighbour);
    above[0] |= inLower(kSouth | kHasNeighbour | s * kSouthNegative);
    above[1] |= inLower(kSouthWest | kHasNeighbour);
  }
  word[-1] |= inUpper(kEast | kHasNeighbour | s * kEastNegative) | inLower(kNorthEast | kHasNeighbour);
  word[0] |= inUpper(kOwnBits) | inLower(kNorth | kHasNeighbour | s * kNorthNegative);
  word[1] |= inUpper(kWest | kHasNeighbour | s * kWestNegative) | inLower(kNorthWest | kHasNeighbour);
}
template <uint32_t kOwnBits = kSignificant | kVisited>
constexpr void setLowerSignificant(uint32_t* word, ptrdiff_t rowWords, uint32_t negative) {
  const uint32_t s = negative & 1;
  uint32_t* const below = word + rowWords;
  word[-1] |= inLower(kEast | kHasNeighbour | s * kEastNegative) | inUpper(kSouthEast | kHasNeighbour);
  word[0] |= inLower(kOwnBits) | inUpper(kSouth | kHasNeighbour | s * kSouthNegative);
  word[1] |= inLower(kWest | kHasNeighbour | s * kWestNegative) | inUpper(kSouthWest | kHasNeighbour);
  below[-1] |= inUpper(kNorthEast | kHasNeighbour);
  below[0] |= inUpper(kNorth | kHasNeighbour | s * kNorthNegative);
  below[1] |= inUpper(kNorthWest | kHasNeighbour);
}
