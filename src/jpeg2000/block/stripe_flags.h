// How the decoder arranges what flag_words.h tells of each sample: in two bytes that stand apart. One holds which of
// its eight neighbours are significant, the other the rest. So the context of a sample's significance waits for nothing
// but the significance of those before it, while their signs are still being decoded.
//
// The bytes of either kind follow one another in the order in which T.800 D.1 scans a stripe: byte 4 * column + row.
// A set of samples of sixteen columns, a chunk, is a 64-bit mask in the same order: vector comparisons make it, and its
// bits are visited from the lowest to the highest.
//
// A stripe takes the place of two rows of flag words, one for either kind of byte. Nothing reads what the first stripe
// tells the one above, so there is no row in front of it; a row behind the last stripe takes what a full one tells the
// one below. Vectors that reach beyond the columns of a stripe stay within the memory of the flags and change nothing
// there.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "frame/simd.h"
#include "jpeg2000/block/flag_words.h"

inline constexpr int32_t kStripeRows = 4;
inline constexpr int32_t kChunkColumns = 16;

// The bits of a sample's own byte. Those of the other byte are kSouthEast to kWest.
inline constexpr uint32_t kOwnSouthNegative = 1, kOwnNorthNegative = 2, kOwnEastNegative = 4, kOwnWestNegative = 8;
inline constexpr uint32_t kOwnRefined = 0x20, kOwnVisited = 0x40, kOwnSignificant = 0x80;

// The four bytes of a column, and the distances between the first columns of neighbouring stripes and between those of
// the two kinds of bytes.
using QlmColumn = uint32_t;
inline ptrdiff_t ownColumns(int32_t width) { return flagRowStep(width) / static_cast<int64_t>(sizeof(QlmColumn)); }
inline ptrdiff_t stripeColumns(int32_t width) { return 2 * ownColumns(width); }

// Byte i from a column on.
inline uint32_t byteOf(const QlmColumn* columns, int i) { return reinterpret_cast<const uint8_t*>(columns)[i]; }

// What a sample that becomes significant tells its own column and those beside it, in its stripe and in the
// neighbouring one that it touches: the stripe above where it is in the first row, the one below where it is in the
// last.
struct QlmTidings {
  QlmColumn left, middle, right;
  QlmColumn outerLeft, outerMiddle, outerRight;
  ptrdiff_t outerStripe;  // -1, 1, or 0 for none
};
// The same for the bytes of the other kind, by whether it is negative.
struct QlmSignTidings {
  QlmColumn left, middle, right, outerMiddle;
};
struct QlmTidingsTable {
  QlmTidings of[kStripeRows];
  QlmSignTidings signOf[kStripeRows][2];
};
constexpr QlmTidingsTable tidingsTable(bool tellAbove) {
  const auto inRow = [](int row, uint32_t bits) { return bits << (8 * row); };
  QlmTidingsTable table{};
  for (int row = 0; row < kStripeRows; ++row) {
    QlmTidings& t = table.of[row];
    QlmSignTidings& negative = table.signOf[row][1];
    t.left = inRow(row, kEast), negative.left = inRow(row, kOwnEastNegative);
    t.right = inRow(row, kWest), negative.right = inRow(row, kOwnWestNegative);
    negative.middle = inRow(row, kOwnSignificant);
    if (row > 0) {
      t.left |= inRow(row - 1, kSouthEast), t.middle |= inRow(row - 1, kSouth), t.right |= inRow(row - 1, kSouthWest);
      negative.middle |= inRow(row - 1, kOwnSouthNegative);
    } else if (tellAbove) {
      t.outerStripe = -1;
      t.outerLeft = inRow(3, kSouthEast), t.outerMiddle = inRow(3, kSouth), t.outerRight = inRow(3, kSouthWest);
      negative.outerMiddle = inRow(3, kOwnSouthNegative);
    }
    if (row < 3) {
      t.left |= inRow(row + 1, kNorthEast), t.middle |= inRow(row + 1, kNorth), t.right |= inRow(row + 1, kNorthWest);
      negative.middle |= inRow(row + 1, kOwnNorthNegative);
    } else {
      t.outerStripe = 1;
      t.outerLeft = inRow(0, kNorthEast), t.outerMiddle = inRow(0, kNorth), t.outerRight = inRow(0, kNorthWest);
      negative.outerMiddle = inRow(0, kOwnNorthNegative);
    }
    table.signOf[row][0].middle = inRow(row, kOwnSignificant);
  }
  return table;
}
// The silent one is for vertically causal contexts (T.800 D.7) and for the first stripe.
inline constexpr QlmTidingsTable kTidings = tidingsTable(true), kTidingsSilentAbove = tidingsTable(false);

[[gnu::always_inline]] inline void tellSignificance(QlmColumn* column, ptrdiff_t stripe, const QlmTidings& tidings) {
  column[-1] |= tidings.left;
  column[0] |= tidings.middle;
  column[1] |= tidings.right;
  QlmColumn* const outer = column + stripe * tidings.outerStripe;
  outer[-1] |= tidings.outerLeft;
  outer[0] |= tidings.outerMiddle;
  outer[1] |= tidings.outerRight;
}
[[gnu::always_inline]] inline void tellSign(QlmColumn* own, ptrdiff_t outerColumns, const QlmSignTidings& tidings) {
  own[-1] |= tidings.left;
  own[0] |= tidings.middle;
  own[1] |= tidings.right;
  own[outerColumns] |= tidings.outerMiddle;
}

// The samples behind one that becomes significant, in the order of the scan, which then have a significant neighbour:
// shifted to the sample's place, those of the next chunk drop out.
inline constexpr uint64_t kNeighboursBehind[kStripeRows] = {0b110010, 0b111010, 0b111010, 0b011000};

// The samples of up to sixteen columns for which a comparison of eight columns gives bytes with their top bit set.
template <typename Compare>
inline uint64_t samplesWhere(const QlmColumn* columns, int32_t count, const Compare& compare) {
  const auto half = [&](const QlmColumn* p) {
    return uint64_t{static_cast<uint32_t>(_mm256_movemask_epi8(compare(load32(p))))};
  };
  return half(columns) | (count > 8 ? half(columns + 8) << 32 : 0);
}

// The samples without a significant neighbour, and those of columns of four rows of which that holds.
inline uint64_t samplesAlone(const QlmColumn* neighbours, int32_t count) {
  return samplesWhere(neighbours, count, [](__m256i v) { return _mm256_cmpeq_epi8(v, _mm256_setzero_si256()); });
}
inline uint64_t idleColumns(const QlmColumn* neighbours, int32_t count) {
  return samplesWhere(neighbours, count, [](__m256i v) { return _mm256_cmpeq_epi32(v, _mm256_setzero_si256()); });
}

// The samples with one of the upper bits of their own byte.
template <uint32_t kBit>
inline uint64_t samplesWith(const QlmColumn* own, int32_t count) {
  constexpr int kToTop = std::countl_zero(static_cast<uint8_t>(kBit));
  return samplesWhere(own, count, [](__m256i v) { return _mm256_slli_epi16(v, kToTop); });
}

// All ones in the bytes of the samples of a mask of eight columns.
inline __m256i bytesOfMask(uint64_t samples) {
  const __m256i spread = _mm256_setr_epi64x(0, 0x0101010101010101, 0x0202020202020202, 0x0303030303030303);
  const __m256i bit = _mm256_set1_epi64x(static_cast<int64_t>(0x8040201008040201));
  const __m256i mask = _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int32_t>(samples)), spread);
  return _mm256_cmpeq_epi8(_mm256_and_si256(mask, bit), bit);
}

// Sets or clears a bit of the own bytes of the samples of a mask.
template <uint32_t kBit, bool kSet>
inline void changeOwn(QlmColumn* own, uint64_t samples) {
  for (; samples != 0; samples >>= 32, own += 8) {
    const __m256i bit = _mm256_and_si256(bytesOfMask(samples), _mm256_set1_epi8(static_cast<char>(kBit)));
    const __m256i v = load32(own);
    store32(own, kSet ? _mm256_or_si256(v, bit) : _mm256_andnot_si256(bit, v));
  }
}
