// The register route of the baseline block encoders (T.81 F.1.2): the bits of one block, without byte stuffing, written
// to a buffer of its own. Nothing the caller can see is touched, so that a block can be given up at any point.
#pragma once

#include "frame/simd.h"
#include "jpeg/entropy/huffman_bits.h"

// Bits for the destination: whole bytes before `next`, then `pending` bits, right-justified in `window` below bits that
// are already stored.
struct QlmBitRun {
  uint8_t* next;
  uint64_t window;
  uint64_t pending;  // 0 to 7 after a store
};

// DC and 63 AC symbols of at most 16 + 16 bits each (a ZRL stands for 16 zeros, so it takes the room of a symbol), 7
// pending bits from before, and the bytes that the last wide store and wide loads touch beyond that.
inline constexpr int32_t kMaxBlockBytes = 64 * 4 + 1 + 31;

// The pending bits, left-justified.
inline uint64_t ownLeftJustified(const QlmBitRun& run) { return run.window << (-run.pending & 63); }

inline void ownStoreWholeBytes(QlmBitRun& run) {
  ownStoreBigEndian64(run.next, ownLeftJustified(run));
  run.next += run.pending >> 3;
  run.pending &= 7;
}

// An entry of an encoding table; two loads of 16 bits are cheaper than one of 32 that is taken apart. Length 0 where
// there is no code.
struct QlmTableEntry {
  uint16_t code;
  uint16_t length;
};
inline QlmTableEntry ownTableEntry(const QlmEncodeHuffmanSpec* table, uint32_t symbol) {
  const char* const entry = reinterpret_cast<const char*>(&table->codes[symbol]);
  QlmTableEntry result;
  std::memcpy(&result.code, entry, 2);
  std::memcpy(&result.length, entry + 2, 2);
  return result;
}

struct QlmScanShuffle {
  alignas(32) uint8_t index[2][4][32];
};
// For the halves of the scan, 32 positions each in two lanes of 16: from which byte of a lane of the packed block each
// position comes; the top bit set, which gives zero, where it comes from another. The packed block has rows 0, 2 | 1, 3
// in its first vector and rows 4, 6 | 5, 7 in its second; shuffles 1 and 3 are for the vectors with their lanes
// swapped. The scan in its order, or from its last position to its first.
constexpr QlmScanShuffle makeScanShuffle(bool lastFirst) {
  QlmScanShuffle shuffle{};
  for (int i = 0; i < 64; ++i) {
    const int half = i / 32;
    const int place = i % 32;
    const int scan = lastFirst ? 63 - i : i;
    const int row = kZigzag.naturalOfScan[scan] / 8;
    const int column = kZigzag.naturalOfScan[scan] % 8;
    for (int source = 0; source < 4; ++source) {
      const int lane = place / 16 ^ (source & 1);
      const bool here = row / 4 == source / 2 && row % 2 == lane;
      shuffle.index[half][source][place] = static_cast<uint8_t>(here ? row / 2 % 2 * 8 + column : 0x80);
    }
  }
  return shuffle;
}
inline constexpr QlmScanShuffle kScanShuffle = makeScanShuffle(false);

// 64 bytes by zig-zag position, from the packed block.
struct QlmScanBytes {
  __m256i half[2];
};
inline QlmScanBytes ownShuffleToScan(__m256i upper, __m256i lower, const QlmScanShuffle& shuffle) {
  const __m256i packed[4] = {upper, _mm256_permute4x64_epi64(upper, 0x4E), lower,
                             _mm256_permute4x64_epi64(lower, 0x4E)};
  const auto from = [&](int half, int source) {
    return _mm256_shuffle_epi8(packed[source], load32(shuffle.index[half][source]));
  };
  const auto halfOf = [&](int half) {
    return _mm256_or_si256(_mm256_or_si256(from(half, 0), from(half, 1)),
                           _mm256_or_si256(from(half, 2), from(half, 3)));
  };
  return {{halfOf(0), halfOf(1)}};
}
// The top bits of the bytes.
inline uint64_t ownTopBits(const QlmScanBytes& bytes) {
  const auto topBits = [](__m256i half) { return static_cast<uint32_t>(_mm256_movemask_epi8(half)); };
  return uint64_t{topBits(bytes.half[1])} << 32 | topBits(bytes.half[0]);
}

// By zig-zag position: the magnitude category, and in a mask, bit k for position k, whether it is not zero.
inline uint64_t ownCategoriesByScan(const __m256i (&magnitudes)[4], uint8_t* categories) {
  // The exponent of a magnitude as a float, less what makes that of 1 a category of 1; of 0, by saturation, 0.
  const __m256i zero = _mm256_setzero_si256();
  const auto exponents = [](__m256i v) { return _mm256_srli_epi32(_mm256_castps_si256(_mm256_cvtepi32_ps(v)), 23); };
  const auto exponentsOf16 = [&](__m256i v) {
    return _mm256_packus_epi32(exponents(_mm256_unpacklo_epi16(v, zero)), exponents(_mm256_unpackhi_epi16(v, zero)));
  };
  const auto categoriesOf = [&](__m256i a, __m256i b) {
    return _mm256_subs_epu8(_mm256_packus_epi16(exponentsOf16(a), exponentsOf16(b)), _mm256_set1_epi8(126));
  };
  const __m256i upper = categoriesOf(magnitudes[0], magnitudes[1]);
  const __m256i lower = categoriesOf(magnitudes[2], magnitudes[3]);
  const QlmScanBytes scan = ownShuffleToScan(upper, lower, kScanShuffle);
  store32(categories, scan.half[0]);
  store32(categories + 32, scan.half[1]);
  return ~ownTopBits({{_mm256_cmpeq_epi8(scan.half[0], zero), _mm256_cmpeq_epi8(scan.half[1], zero)}});
}

// Appends one block. With kNeedCodes a symbol without a code ends the work with false; otherwise such a symbol takes no
// bits, though its value does. Whole bytes are stored after every third symbol.
template <bool kNeedCodes>
inline __attribute__((always_inline)) bool ownAppendBlock(QlmBitRun& target, const int16_t* block, int32_t dcDifference,
                                                          const QlmEncodeHuffmanSpec* dcTable,
                                                          const QlmEncodeHuffmanSpec* acTable) {
  QlmBitRun run = target;
  alignas(32) uint16_t valueBits[64];
  alignas(32) uint8_t categories[64];
  __m256i magnitudes[4];
  for (int i = 0; i < 4; ++i) {
    const __m256i rows = load32(block + 16 * i);
    magnitudes[i] = _mm256_abs_epi16(rows);
    store32(valueBits + 16 * i, _mm256_add_epi16(rows, _mm256_srai_epi16(rows, 15)));
  }
  uint64_t nonzero = ownCategoriesByScan(magnitudes, categories) & ~uint64_t{1};
  // 57 bits fit beside 7 pending ones; three symbols seldom need more.
  const auto append = [&run](QlmTableEntry entry, uint64_t bits, uint32_t category) {
    if (kNeedCodes && entry.length == 0) return false;
    const uint64_t length = uint64_t{entry.length} + category;
    if (run.pending + length > 64) [[unlikely]] {
      ownStoreWholeBytes(run);
    }
    run.window = run.window << length | uint64_t{entry.code} << category | _bzhi_u64(bits, category);
    run.pending += length;
    return true;
  };

  const QlmCategorised dc = ownCategorise(dcDifference);
  const uint32_t dcCategory = static_cast<uint32_t>(dc.category);
  if (!append(ownTableEntry(dcTable, dcCategory), dc.bits, dcCategory)) return false;

  uint32_t last = 0;  // the scan position of the last symbol
  // Codes the coefficient at the lowest bit of `nonzero`, or a ZRL in front of it.
  const auto appendNext = [&] {
    uint32_t scan = static_cast<uint32_t>(_tzcnt_u64(nonzero));
    uint32_t category = categories[scan];
    uint32_t symbol = ((scan - last - 1) << 4) + category;
    uint64_t rest = nonzero & (nonzero - 1);
    if (symbol > 255) [[unlikely]] {
      if (symbol == 256) {
        // A coefficient of category 16 behind 15 zeroes would name the entry behind the table.
        nonzero = rest;
        last = scan;
        return append({0, 0}, valueBits[kHuffmanTables.natural[scan]], category);
      }
      // The last of 16 zeroes is coded as a coefficient of category 0, which makes the symbol 0xF0.
      rest = nonzero;
      scan = last + 16;
      category = 0;
      symbol = 0xF0;
    }
    nonzero = rest;
    last = scan;
    return append(ownTableEntry(acTable, symbol), valueBits[kHuffmanTables.natural[scan]], category);
  };

  while (nonzero != 0) {
    if (!appendNext()) return false;
    if (nonzero == 0) break;
    if (!appendNext()) return false;
    if (nonzero == 0) break;
    if (!appendNext()) return false;
    ownStoreWholeBytes(run);
  }
  if (last < 63 && !append(ownTableEntry(acTable, 0x00), 0, 0)) return false;
  ownStoreWholeBytes(run);
  target = run;
  return true;
}

// Copies `count` bytes, at least 1, with stuffing and returns how many bytes that gave, or 0 where they do not fit into
// `room`. Reads up to 31 bytes behind the source's end; writes up to 3 behind the result, within the room.
inline ptrdiff_t ownCopyStuffed(const uint8_t* src, ptrdiff_t count, uint8_t* dst, ptrdiff_t room) {
  const __m256i lane = _mm256_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28);
  uint8_t* const begin = dst;
  for (ptrdiff_t i = 0; i < count; i += 32) {
    const __m256i bytes = load32(src + i);
    const uint32_t stuffed =
        static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(-1))));
    const int32_t n = static_cast<int32_t>(count - i < 32 ? count - i : 32);
    if (_bzhi_u32(stuffed, static_cast<uint32_t>(n)) == 0 && room >= 32) {
      _mm256_maskstore_epi32(reinterpret_cast<int*>(dst), _mm256_cmpgt_epi32(_mm256_set1_epi32(n), lane), bytes);
      dst += n;
      room -= n;
      continue;
    }
    for (int32_t k = 0; k < n; ++k) {
      if (--room < 0) return 0;
      *dst++ = src[i + k];
      if (src[i + k] != 0xFF) continue;
      if (--room < 0) return 0;
      *dst++ = 0;
    }
  }
  return dst - begin;
}
