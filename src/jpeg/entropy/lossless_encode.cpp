// Huffman encoding of the differences of lossless JPEG (T.81 H.1.2.2): single ones, and rows of up to four components
// that interleave difference by difference. A difference of category 16, which is 32768, has a code and no further
// bits.
//
// Rows are coded 8 columns at a time: codes and values are found and joined to pairs in lanes, and only the pairs are
// appended one by one. What cannot be coded to its end is coded once more in order, to find what fails first.
#include "frame/wrap.h"
#include "jpeg/entropy/huffman_block_encode.h"

namespace {

constexpr int32_t kMaxRows = 4;
inline int32_t rowsUsed(int32_t rowCount) { return rowCount < kMaxRows ? rowCount : kMaxRows; }

QlmStatus encodeCarefully(int16_t difference, uint8_t* dst, int32_t dstLength, int32_t* position,
                          const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state) {
  const QlmCategorised value = ownCategorise(difference);
  const int32_t length = value.category & 15;
  return ownHuffmanPutValue(table->codes[value.category], value.bits & ((1u << length) - 1), length, dst, dstLength,
                            position, state);
}

QlmStatus encodeRowsCarefully(const int16_t* const* rows, int32_t width, int32_t rowCount, uint8_t* dst,
                              int32_t dstLength, int32_t* position, const QlmEncodeHuffmanSpec* const* tables,
                              QlmEncodeHuffmanState* state) {
  for (int32_t x = 0; x < width; ++x) {
    for (int32_t i = 0; i < rowsUsed(rowCount); ++i) {
      const QlmStatus status = encodeCarefully(loadAny(rows[i] + x), dst, dstLength, position, tables[i], state);
      if (status) return status;
    }
  }
  return qlmOk;
}

// What fails first when rows are coded in a register of 64 bits, which is drained when a difference does not fit. Only
// bytes of the destination are changed.
[[gnu::noinline, gnu::cold]] QlmStatus firstFailure(const int16_t* const* rows, int32_t width, int32_t rowCount,
                                                    uint8_t* dst, int32_t dstLength, int32_t position,
                                                    const QlmEncodeHuffmanSpec* const* tables,
                                                    const QlmEncodeHuffmanState* state) {
  uint64_t bits = state->accumulator >> (24 - state->bitCount);
  uint64_t pending = static_cast<uint64_t>(state->bitCount);
  // False where the destination ends.
  const auto drain = [&] {
    for (; pending >= 8; pending -= 8) {
      const uint8_t byte = static_cast<uint8_t>(bits >> (pending - 8));
      if (position >= dstLength) return false;
      dst[position++] = byte;
      if (byte != 0xFF) continue;
      if (position >= dstLength) return false;
      dst[position++] = 0;
    }
    return true;
  };

  for (int32_t x = 0; x < width; ++x) {
    for (int32_t i = 0; i < rowCount; ++i) {
      const QlmCategorised value = ownCategorise(loadAny(rows[i] + x));
      const QlmTableEntry entry = ownTableEntry(tables[i], static_cast<uint32_t>(value.category));
      if (entry.length == 0) return qlmErrHuffTable;
      const uint32_t valueLength = static_cast<uint32_t>(value.category) & 15;
      const uint64_t length = entry.length + valueLength;
      if (pending + length > 64 && !drain()) return qlmErrOutOfBuffer;
      bits = bits << length | uint64_t{entry.code} << valueLength | _bzhi_u32(value.bits, valueLength);
      pending += length;
    }
  }
  return drain() ? qlmOk : qlmErrOutOfBuffer;
}

// Bits for a buffer: whole bytes before `next`, then `pending` bits, 0 to 7, left-justified with zeroes behind them.
struct QlmBitTail {
  uint8_t* next;
  uint64_t bits;
  uint64_t pending;
};
// Appends up to 56 bits, left-justified. Writes 8 bytes.
inline void append(QlmBitTail& tail, uint64_t bits, uint64_t length) {
  bits = tail.bits | bits >> tail.pending;
  ownStoreBigEndian64(tail.next, bits);
  const uint64_t pending = tail.pending + length;
  tail.next += pending >> 3;
  tail.bits = bits << (pending & ~uint64_t{7});
  tail.pending = pending & 7;
}

// Differences of 8 columns of a row as coded: code and value, 31 bits at the most, right-justified.
struct QlmCoded8 {
  __m256i bits;
  __m256i lengths;
};
inline QlmCoded8 code8(__m128i differences, const QlmEncodeHuffmanSpec* table, __m256i& missing) {
  const __m256i v = _mm256_cvtepi16_epi32(differences);
  // The exponent of the magnitude as a float, less what makes that of 1 a category of 1; of 0, by saturation, 0.
  const __m256i exponents = _mm256_srli_epi32(_mm256_castps_si256(_mm256_cvtepi32_ps(_mm256_abs_epi32(v))), 23);
  const __m256i category = _mm256_subs_epu16(exponents, _mm256_set1_epi32(126));

  const auto entriesFrom = [&](int first) {
    return _mm256_castsi256_ps(_mm256_permutevar8x32_epi32(load32(table->codes + first), category));
  };
  const __m256i sixteen = _mm256_cmpeq_epi32(category, _mm256_set1_epi32(16));
  const __m256 upTo15 =
      _mm256_blendv_ps(entriesFrom(0), entriesFrom(8), _mm256_castsi256_ps(_mm256_slli_epi32(category, 28)));
  const __m256i entry = _mm256_blendv_epi8(_mm256_castps_si256(upTo15),
                                           _mm256_set1_epi32(static_cast<int32_t>(table->codes[16])), sixteen);

  const __m256i codeLengths = _mm256_srli_epi32(entry, 16);
  missing = _mm256_or_si256(missing, _mm256_cmpeq_epi32(codeLengths, _mm256_setzero_si256()));
  const __m256i valueLengths = _mm256_andnot_si256(sixteen, category);
  const __m256i codes = _mm256_and_si256(entry, _mm256_set1_epi32(0xFFFF));
  const __m256i above = _mm256_sllv_epi32(_mm256_set1_epi32(-1), valueLengths);  // the value's bits are below
  const __m256i value = _mm256_andnot_si256(above, _mm256_add_epi32(v, _mm256_srai_epi32(v, 31)));
  return {_mm256_or_si256(_mm256_sllv_epi32(codes, valueLengths), value), _mm256_add_epi32(codeLengths, valueLengths)};
}

// Appends `columns` columns, one difference at a time.
template <int kRows>
[[gnu::noinline]] void appendSingly(QlmBitTail& target, const QlmCoded8* coded, int32_t columns) {
  alignas(32) uint32_t bits[kRows][8], lengths[kRows][8];
  for (int i = 0; i < kRows; ++i) {
    store32(bits[i], coded[i].bits);
    store32(lengths[i], coded[i].lengths);
  }
  QlmBitTail tail = target;
  for (int32_t x = 0; x < columns; ++x) {
    for (int i = 0; i < kRows; ++i) append(tail, uint64_t{bits[i][x]} << (-lengths[i][x] & 63), lengths[i][x]);
  }
  target = tail;
}

// Appends 8 columns by pairs of differences. A 64-bit lane holds two columns, 2 * kRows differences.
template <int kRows>
inline void appendPairs(QlmBitTail& tail, const QlmCoded8 (&coded)[kRows]) {
  const __m256i lowHalf = _mm256_set1_epi64x(0xFFFFFFFF);
  const auto ofColumn = [&](__m256i v, int column) {
    return column == 0 ? _mm256_and_si256(v, lowHalf) : _mm256_srli_epi64(v, 32);
  };
  alignas(32) uint64_t bits[kRows][4], lengths[kRows][4];
  __m256i longest = _mm256_setzero_si256();
  for (int pair = 0; pair < kRows; ++pair) {
    const auto nth = [&](int n) {
      const QlmCoded8& row = coded[n % kRows];
      return QlmCoded8{ofColumn(row.bits, n / kRows), ofColumn(row.lengths, n / kRows)};
    };
    const QlmCoded8 first = nth(2 * pair), second = nth(2 * pair + 1);
    const __m256i both = _mm256_or_si256(_mm256_sllv_epi64(first.bits, second.lengths), second.bits);
    const __m256i length = _mm256_add_epi32(first.lengths, second.lengths);
    longest = _mm256_max_epu32(longest, length);
    store32(bits[pair], _mm256_sllv_epi64(both, _mm256_sub_epi64(_mm256_set1_epi64x(64), length)));
    store32(lengths[pair], length);
  }
  const __m256i tooLong = _mm256_cmpgt_epi32(longest, _mm256_set1_epi32(56));
  if (_mm256_testz_si256(tooLong, tooLong)) [[likely]] {
    for (int lane = 0; lane < 4; ++lane) {
      for (int pair = 0; pair < kRows; ++pair) append(tail, bits[pair][lane], lengths[pair][lane]);
    }
  } else {
    appendSingly<kRows>(tail, coded, 8);
  }
}

// Codes rows of the same width. False where a difference has no code or the destination is too short; then nothing is
// changed but bytes of the destination.
template <int kRows>
bool encodeInLanes(const int16_t* const* rows, int32_t width, uint8_t* dst, int32_t dstLength, int32_t* position,
                   const QlmEncodeHuffmanSpec* const* tables, QlmEncodeHuffmanState* state) {
  constexpr int32_t kColumns = 64;                           // of a part, whose bits are then stuffed
  alignas(32) uint8_t bytes[kColumns * kRows * 4 + 8 + 31];  // 31 for the loads of ownCopyStuffed
  const uint64_t pending = static_cast<uint64_t>(state->bitCount);
  QlmBitTail tail{bytes, state->accumulator >> (24 - pending) << (63 - pending) << 1, pending};
  int32_t stored = *position;

  for (int32_t begin = 0; begin < width; begin += kColumns) {
    const int32_t end = width - begin < kColumns ? width : begin + kColumns;
    __m256i missing = _mm256_setzero_si256();
    int32_t x = begin;
    for (; x <= end - 8; x += 8) {
      QlmCoded8 coded[kRows];
      for (int i = 0; i < kRows; ++i) coded[i] = code8(load16(rows[i] + x), tables[i], missing);
      appendPairs<kRows>(tail, coded);
    }
    if (x < end) {
      QlmCoded8 coded[kRows];
      for (int i = 0; i < kRows; ++i) {
        int16_t rest[8];
        for (int32_t k = 0; k < 8; ++k) rest[k] = loadAny(rows[i] + (x + k < end ? x + k : end - 1));
        coded[i] = code8(load16(rest), tables[i], missing);
      }
      appendSingly<kRows>(tail, coded, end - x);
    }
    if (!_mm256_testz_si256(missing, missing)) return false;

    if (tail.next == bytes) continue;
    const ptrdiff_t room = static_cast<ptrdiff_t>(dstLength) - stored;
    const ptrdiff_t copied = ownCopyStuffed(bytes, tail.next - bytes, dst + stored, room);
    if (copied == 0) return false;
    stored += static_cast<int32_t>(copied);
    tail.next = bytes;
  }
  *position = stored;
  state->accumulator = tail.bits >> 40;
  state->bitCount = static_cast<int32_t>(tail.pending);
  return true;
}

using EncodeRows = decltype(encodeInLanes<1>)*;
constexpr EncodeRows kEncodeInLanes[kMaxRows] = {encodeInLanes<1>, encodeInLanes<2>, encodeInLanes<3>,
                                                 encodeInLanes<4>};

}  // namespace

QLM_EXPORT(qlmiEncodeHuffmanOne_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, const QlmEncodeHuffmanSpec* dcTable,
 QlmEncodeHuffmanState* state, int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlush(dst, dstLength, dstPosition, state);
  if (!src || !dcTable) return qlmErrNullPointer;

  return encodeCarefully(loadAny(src), dst, dstLength, dstPosition, dcTable, state);
}

QLM_EXPORT(qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1)
(const int16_t* const rows[], int32_t width, int32_t rowCount, uint8_t* dst, int32_t dstLength, int32_t* dstPosition,
 const QlmEncodeHuffmanSpec* const dcTables[], QlmEncodeHuffmanState* state, int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlush(dst, dstLength, dstPosition, state);
  if (!rows || !dcTables) return qlmErrNullPointer;
  if (width < 1 || rowCount < 1) return qlmErrSize;
  for (int32_t i = 0; i < rowsUsed(rowCount); ++i) {
    if (!rows[i] || !dcTables[i]) return qlmErrNullPointer;
  }

  // A state that is not of this form, or more rows than interleave, are coded difference by difference.
  if (rowCount > kMaxRows || state->bitCount < 0 || state->bitCount > 7) {
    return encodeRowsCarefully(rows, width, rowCount, dst, dstLength, dstPosition, dcTables, state);
  }
  if (kEncodeInLanes[rowCount - 1](rows, width, dst, dstLength, dstPosition, dcTables, state)) return qlmOk;
  return firstFailure(rows, width, rowCount, dst, dstLength, *dstPosition, dcTables, state);
}
