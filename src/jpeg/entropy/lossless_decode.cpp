// Huffman decoding of the differences of lossless JPEG (T.81 H.2.2): single ones, and rows of up to four components
// that interleave difference by difference. A category of 16, or of a damaged table more, stands for 32768 without
// further bits.
//
// Rows are decoded in a register, and nothing but differences is written before the row is complete. Whatever that
// cannot settle, the end of the source, a marker, a code that does not exist, is left to the careful route, which
// decodes the row from the start and reports what fails where.
#include "frame/wrap.h"
#include "jpeg/entropy/huffman_block_decode.h"

namespace {

constexpr int32_t kMaxRows = 4;
inline int32_t rowsUsed(int32_t rowCount) { return rowCount < kMaxRows ? rowCount : kMaxRows; }

QlmStatus decodeCarefully(const uint8_t* src, int32_t srcLength, int32_t* position, int16_t* difference,
                          int32_t* marker, const QlmDecodeHuffmanSpec* table, QlmDecodeHuffmanState* state) {
  uint32_t category = 0;
  if (const QlmStatus status = ownHuffmanGetSymbol(src, srcLength, position, marker, &category, table, state)) {
    return status;
  }
  int32_t value = category == 0 ? 0 : 32768;
  if (category > 0 && category < 16) {
    const int32_t length = static_cast<int32_t>(category);
    const QlmStatus status = ownHuffmanGetValue(src, srcLength, position, marker, length, &value, state);
    if (status) return status;
  }
  storeAny(difference, static_cast<int16_t>(value));
  return qlmOk;
}

QlmStatus decodeRowsCarefully(const uint8_t* src, int32_t srcLength, int32_t* position, int16_t* const* rows,
                              int32_t width, int32_t rowCount, int32_t* marker,
                              const QlmDecodeHuffmanSpec* const* tables, QlmDecodeHuffmanState* state) {
  for (int32_t x = 0; x < width; ++x) {
    for (int32_t i = 0; i < rowsUsed(rowCount); ++i) {
      const QlmStatus status = decodeCarefully(src, srcLength, position, rows[i] + x, marker, tables[i], state);
      if (status) return status;
    }
  }
  return qlmOk;
}

// By the first byte, how many bits a code of up to 8 bits and its value take together; 0 where the general way has to
// be taken. So one lookup gives the one shift of a difference: both are in the serial chain that bounds the speed.
struct QlmTotals {
  alignas(32) uint8_t bits[256];
};
constexpr QlmTotals kNoTotals = {};
constexpr int32_t kWidthForTotals = 32;  // rows that are narrower do without

void findTotals(const QlmDecodeHuffmanSpec* table, QlmTotals& totals) {
  for (int32_t i = 0; i < 256; i += 16) {
    const auto totalsFrom = [&](int32_t first) {
      const __m256i entries = load32(table->lookup + first);  // category and length, 16 bits each
      const __m256i both = _mm256_madd_epi16(entries, _mm256_set1_epi16(1));
      const __m256i categories = _mm256_and_si256(entries, _mm256_set1_epi32(0xFFFF));
      const __m256i noCode = _mm256_cmpeq_epi32(categories, entries);
      const __m256i noValue = _mm256_cmpgt_epi32(categories, _mm256_set1_epi32(15));
      return _mm256_andnot_si256(_mm256_or_si256(noCode, noValue), both);
    };
    const __m256i words = _mm256_packus_epi32(totalsFrom(i), totalsFrom(i + 8));
    const __m256i inOrder = _mm256_permute4x64_epi64(words, 0xD8);
    store16(totals.bits + i, packWordsToBytes(inOrder));
  }
}

// EXTEND (T.81 F.2.2.1) of the top `category` bits, 0 to 15.
inline int32_t topDifference(uint64_t bits, uint64_t category) {
  return static_cast<int32_t>(bits >> 1 >> (63 - category)) + kHuffmanTables.extension[category][bits >> 63];
}

// Reads a difference in the general way; false where the row is to be given up.
[[gnu::noinline]] bool readDifference(QlmBoundedReader& reader, const QlmDecodeHuffmanSpec* table,
                                      int32_t& difference) {
  auto [category, length] = ownReadShort(reader, ownLookup(table));
  if (length == 0 && !ownReadLong(reader, table, category)) return false;
  difference = category == 0 ? 0 : 32768;
  return category == 0 || category > 15 || ownReadValue(reader, category, difference);
}

template <int kRows>
bool decodeInRegisters(const uint8_t* src, int32_t srcLength, int32_t* position, int16_t* const* rows, int32_t width,
                       const QlmDecodeHuffmanSpec* const* tables, QlmDecodeHuffmanState* state) {
  QlmTotals found[kRows];
  const uint8_t* totals[kRows];
  const uint8_t* categories[kRows];
  for (int i = 0; i < kRows; ++i) {
    categories[i] = reinterpret_cast<const uint8_t*>(tables[i]->lookup);
    totals[i] = kNoTotals.bits;
    if (width < kWidthForTotals) continue;
    findTotals(tables[i], found[i]);
    totals[i] = found[i].bits;
  }

  const int32_t count = state->bitCount;
  QlmBoundedReader reader{{src + *position, ownLeftJustified(state->accumulator, count), count}, src + srcLength};
  for (int32_t x = 0; x < width; ++x) {
    for (int i = 0; i < kRows; ++i) {
      if (!ownReadNext(reader)) return false;
      const uint64_t bits = reader.window.bits;
      const uint64_t total = totals[i][bits >> 56];
      int32_t difference = 0;
      if (total != 0) [[likely]] {
        const uint64_t category = categories[i][4 * (bits >> 56)];
        if (reader.window.count < static_cast<int32_t>(total)) {
          ownDrop(reader.window, total - category);
          if (!ownRefill(reader)) return false;
          difference = topDifference(reader.window.bits, category);
          ownDrop(reader.window, category);
        } else {
          difference = topDifference(bits << (total - category), category);
          ownDrop(reader.window, total);
        }
      } else {
        QlmBoundedReader copy = reader;  // keeps the reader itself in registers
        if (!readDifference(copy, tables[i], difference)) return false;
        reader = copy;
      }
      storeAny(rows[i] + x, static_cast<int16_t>(difference));
    }
  }

  ownHandBack(reader.window);
  *position = static_cast<int32_t>(reader.window.next - src);
  state->accumulator = ownRightJustified(reader.window);
  state->bitCount = reader.window.count;
  return true;
}

using DecodeRows = decltype(decodeInRegisters<1>)*;
constexpr DecodeRows kDecodeInRegisters[kMaxRows] = {decodeInRegisters<1>, decodeInRegisters<2>, decodeInRegisters<3>,
                                                     decodeInRegisters<4>};

}  // namespace

QLM_EXPORT(qlmiDecodeHuffmanOne_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int32_t* marker,
 const QlmDecodeHuffmanSpec* dcTable, QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 1) return qlmErrSize;
  if (!srcPosition || !dst || !marker || !dcTable || !state) return qlmErrNullPointer;

  return decodeCarefully(src, srcLength, srcPosition, dst, marker, dcTable, state);
}

QLM_EXPORT(qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* const rows[], int32_t width, int32_t rowCount,
 int32_t* marker, const QlmDecodeHuffmanSpec* const dcTables[], QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 1) return qlmErrSize;
  if (!srcPosition || !rows || !marker || !dcTables || !state) return qlmErrNullPointer;
  if (width < 1 || rowCount < 1) return qlmErrSize;
  for (int32_t i = 0; i < rowsUsed(rowCount); ++i) {
    if (!rows[i] || !dcTables[i]) return qlmErrNullPointer;
  }

  const bool inRegisters = rowCount <= kMaxRows && *marker == 0 && state->bitCount >= 0 && state->bitCount <= 64 &&
                           int64_t{srcLength} - *srcPosition >= 2 * int64_t{width};
  if (inRegisters && kDecodeInRegisters[rowCount - 1](src, srcLength, srcPosition, rows, width, dcTables, state)) {
    return qlmOk;
  }
  return decodeRowsCarefully(src, srcLength, srcPosition, rows, width, rowCount, marker, dcTables, state);
}
