// What all work on a band of AC coefficients has in common (T.81 Annex G), coding as well as counting: the arguments
// that name the band, the coefficients that matter as masks in zig-zag order, and the limits of runs of blocks.
//
// In a mask bit 63 - k stands for zig-zag position k, so that the first position comes first, as in the stream: the
// count of leading zeroes of a mask is its first position, and a parallel extract gives bits in the order of the
// stream.
#pragma once

#include "frame/simd.h"
#include "jpeg/entropy/huffman_block_encode.h"

// Zig-zag positions `ss` to `se`, without the low `al` bits of the coefficients.
inline bool ownIsBand(int32_t ss, int32_t se) { return ss >= 1 && ss <= 63 && se >= ss && se <= 63; }
inline bool ownIsPointTransform(int32_t al) { return al >= 0 && al <= 13; }

// A run of blocks is written when it reaches this length, the longest that a symbol names, or, in a refinement, when it
// holds more correction bits than this: those of one block more still fit into a state.
inline constexpr int32_t kMaxEobRun = 0x7FFF;
inline constexpr int32_t kMaxCorrections = 937;

inline constexpr uint64_t kScanBegin = uint64_t{1} << 63;

inline uint64_t ownBandMask(int32_t ss, int32_t se) { return ~uint64_t{0} >> ss & ~uint64_t{0} << (63 - se); }
// The first position of a mask that is not empty.
inline uint32_t ownFirstOf(uint64_t mask) { return static_cast<uint32_t>(_lzcnt_u64(mask)); }
// The positions before `scan`, at most 63.
inline uint64_t ownBefore(uint32_t scan) { return ~(~uint64_t{0} >> scan); }

inline constexpr QlmScanShuffle kReversedScanShuffle = makeScanShuffle(true);

// Two rows of 16-bit magnitudes without their low `al` bits; up to 32768.
inline __m256i ownShiftedMagnitudes(__m256i rows, int32_t al) {
  return _mm256_srl_epi16(_mm256_abs_epi16(rows), _mm_cvtsi32_si128(al));
}

// The positions where 16-bit values, two rows in a vector, are not zero.
inline uint64_t ownNonzero(const __m256i (&rows)[4]) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i upper = _mm256_cmpeq_epi8(_mm256_packs_epi16(rows[0], rows[1]), zero);
  const __m256i lower = _mm256_cmpeq_epi8(_mm256_packs_epi16(rows[2], rows[3]), zero);
  return ~ownTopBits(ownShuffleToScan(upper, lower, kReversedScanShuffle));
}
inline uint64_t ownNonzero(const int16_t* block) {
  const __m256i rows[4] = {load32(block), load32(block + 16), load32(block + 32), load32(block + 48)};
  return ownNonzero(rows);
}

// Shifted magnitudes in natural order, and the positions of those that are not zero.
inline uint64_t ownMagnitudes(const int16_t* block, int32_t al, uint16_t* magnitudes) {
  __m256i rows[4];
  for (int i = 0; i < 4; ++i) {
    rows[i] = ownShiftedMagnitudes(load32(block + 16 * i), al);
    store32(magnitudes + 16 * i, rows[i]);
  }
  return ownNonzero(rows);
}

// The positions that matter in a refinement, of the whole block: where a shifted magnitude is 1, so that the
// coefficient becomes nonzero; where it is more, so that there is a correction bit; low bits; negative coefficients.
struct QlmRefinement {
  uint64_t becoming;
  uint64_t corrected;
  uint64_t lowBit;
  uint64_t negative;
};
inline QlmRefinement ownRefinement(const int16_t* block, int32_t al) {
  // In a byte: bit 0 of the magnitude; whether it is more than 1; the sign.
  __m256i packed[4];
  for (int i = 0; i < 4; ++i) {
    const __m256i rows = load32(block + 16 * i);
    const __m256i magnitudes = ownShiftedMagnitudes(rows, al);
    const __m256i lowBits = _mm256_and_si256(magnitudes, _mm256_set1_epi16(1));
    const __m256i upToThree = _mm256_min_epu16(magnitudes, _mm256_or_si256(lowBits, _mm256_set1_epi16(2)));
    packed[i] = _mm256_or_si256(upToThree, _mm256_and_si256(_mm256_srai_epi16(rows, 15), _mm256_set1_epi16(4)));
  }
  const QlmScanBytes scan = ownShuffleToScan(_mm256_packus_epi16(packed[0], packed[1]),
                                             _mm256_packus_epi16(packed[2], packed[3]), kReversedScanShuffle);
  const auto bitOf = [&](int bit) {
    return ownTopBits({{_mm256_slli_epi16(scan.half[0], 7 - bit), _mm256_slli_epi16(scan.half[1], 7 - bit)}});
  };
  const uint64_t lowBit = bitOf(0);
  const uint64_t corrected = bitOf(1);
  return {lowBit & ~corrected, corrected, lowBit, bitOf(2)};
}

inline uint64_t ownCountOf(uint64_t mask) { return static_cast<uint64_t>(_mm_popcnt_u64(mask)); }

// Takes the decisions of a refinement for one band. A visitor is told of each symbol in the order of the stream, with
// the positions whose correction bits follow it; where it does not return qlmOk the walk ends with that:
//
//   beginSymbols()                        once, before the first symbol: the run of blocks ends here
//   zeroRun(corrections)                  a ZRL
//   coefficient(run, scan, corrections)   a coefficient that becomes nonzero, behind 0 to 15 zeroes
//
// In the end `rest` has the positions of the correction bits behind the last symbol, and `intoRun` tells whether the
// band ends there, so that the block joins the run of blocks.
template <typename Visitor>
inline __attribute__((always_inline)) QlmStatus ownWalkRefinement(const QlmRefinement& block, int32_t ss, int32_t se,
                                                                  Visitor& visitor, uint64_t& rest, bool& intoRun) {
  const uint64_t band = ownBandMask(ss, se);
  uint64_t becoming = block.becoming & band;
  uint64_t corrected = block.corrected & band;
  uint64_t zeroes = band & ~(becoming | corrected);
  int32_t next = ss;
  if (becoming != 0) {
    if (const QlmStatus status = visitor.beginSymbols()) return status;
  }
  while (becoming != 0) {
    const uint32_t scan = ownFirstOf(becoming);
    const uint64_t before = ownBefore(scan);
    uint64_t run = ownCountOf(zeroes & before);
    if (run > 15) [[unlikely]] {
      // Only at a coefficient that is not zero a run is looked at: a ZRL stands behind the corrections before the
      // first one, corrected or becoming, that has 16 zeroes or more before it.
      uint64_t passed = 0;
      uint64_t nonzero = (corrected & before) | kScanBegin >> scan;
      for (uint32_t at = 0; at != scan; nonzero ^= kScanBegin >> at) {
        at = ownFirstOf(nonzero);
        for (; ownCountOf(zeroes & ownBefore(at)) - passed > 15; passed += 16) {
          if (const QlmStatus status = visitor.zeroRun(corrected & ownBefore(at))) return status;
          corrected &= ~ownBefore(at);
        }
      }
      run -= passed;
    }
    const QlmStatus status = visitor.coefficient(static_cast<uint32_t>(run), scan, corrected & before);
    if (status) return status;
    becoming ^= kScanBegin >> scan;
    corrected &= ~before;
    zeroes &= ~before;
    next = static_cast<int32_t>(scan) + 1;
  }
  rest = corrected;
  intoRun = next <= se;
  return qlmOk;
}
