// Progressive Huffman decoding of a band of AC coefficients (T.81 G.2).
//
// Two routes give the same results. The clear route runs first, where no 0xFF and no end of the source is near, with
// the register of the baseline decoder. Where it cannot go on, at the edge of what is clear or at a code that does not
// exist, the careful route takes over at that symbol, and reports what fails where.
#include "jpeg/entropy/huffman_clear_reader.h"
#include "jpeg/entropy/progressive_band.h"

namespace {

// The source of a scan as the caller keeps it.
struct QlmScanSource {
  const uint8_t* src;
  int32_t length;
  int32_t* position;
  int32_t* marker;
  QlmDecodeHuffmanState* state;
};

// Bits of the source, right-justified, up to 64.
struct QlmBandReader {
  const uint8_t* src;
  int32_t length;
  int32_t position;
  int32_t marker;
  int32_t count;
  uint64_t bits;
};

// Reads ahead where fewer than `needed` bits are held: whole bytes of the next 8 where none is 0xFF, else byte by byte.
[[gnu::noinline]] QlmStatus refill(QlmBandReader& reader, int32_t needed) {
  if (reader.marker != 0) return needed > reader.count ? qlmErrDctRange : qlmOk;
  if (int64_t{reader.length} - reader.position >= 8 && reader.count >= 0 && reader.count < 64) {
    const uint64_t word = ownLoadBigEndian64(reader.src + reader.position);
    if (!ownHasByteFF(word)) {
      const int32_t bytes = (64 - reader.count) / 8;
      reader.bits = bytes == 8 ? word : reader.bits << (8 * bytes) | word >> (64 - 8 * bytes);
      reader.position += bytes;
      reader.count += 8 * bytes;
      return qlmOk;
    }
  }
  while (reader.count <= 24 && reader.position < reader.length) {
    const uint8_t byte = reader.src[reader.position++];
    if (byte == 0xFF) {
      uint8_t next = 0xFF;
      while (next == 0xFF && reader.position < reader.length) next = reader.src[reader.position++];
      if (next == 0xFF) break;
      if (next != 0) {
        reader.marker = next;
        break;
      }
    }
    reader.bits = reader.bits << 8 | byte;
    reader.count += 8;
  }
  return needed > reader.count ? qlmErrOutOfBuffer : qlmOk;
}

inline QlmStatus take(QlmBandReader& reader, int32_t count, uint32_t& value) {
  if (reader.count < count) {
    if (const QlmStatus status = refill(reader, count)) return status;
  }
  reader.count -= count;
  value = static_cast<uint32_t>(_bzhi_u64(reader.bits >> (reader.count & 63), static_cast<uint32_t>(count)));
  return qlmOk;
}

QlmStatus getSymbol(QlmBandReader& reader, const QlmDecodeHuffmanSpec* table, uint32_t& symbol) {
  if (reader.count < 8) {
    if (const QlmStatus status = refill(reader, 1)) return status;
  }
  int32_t length = 1;
  if (reader.count >= 8) {
    const uint32_t entry = table->lookup[reader.bits >> ((reader.count - 8) & 63) & 255];
    if (entry >> 16 != 0) {
      reader.count -= static_cast<int32_t>(entry >> 16);
      symbol = entry & 0xFFFF;
      return qlmOk;
    }
    length = 9;
    if (reader.count < 16) {
      if (const QlmStatus status = refill(reader, 9)) return status;
    }
  }
  uint32_t bits = 0;
  if (const QlmStatus status = take(reader, length, bits)) return status;
  int32_t code = static_cast<int32_t>(bits);
  while (code > ownMaxCode(table, length)) {
    if (const QlmStatus status = take(reader, 1, bits)) return status;
    code = code << 1 | static_cast<int32_t>(bits);
    if (++length > 16) return qlmErrDctRange;
  }
  symbol = ownSymbolOfCode(table, length, code);
  return qlmOk;
}

// A run of blocks of 2^category and as many further bits. A shortage leaves the run without them.
QlmStatus getEobRun(QlmBandReader& reader, int32_t category, int32_t& eobRun) {
  eobRun = 1 << category;
  if (category == 0) return qlmOk;
  uint32_t bits = 0;
  const QlmStatus status = take(reader, category, bits);
  eobRun += static_cast<int32_t>(bits);
  return status;
}

// Zig-zag positions of a band, from the next symbol to its last.
struct QlmBand {
  int32_t scan;
  int32_t last;
  int32_t al;
};

QlmStatus decodeFirst(QlmBandReader& reader, int16_t* block, const QlmBand& band, const QlmDecodeHuffmanSpec* table,
                      int32_t& eobRun) {
  int32_t scan = band.scan;
  while (scan <= band.last) {
    uint32_t symbol = 0;
    if (const QlmStatus status = getSymbol(reader, table, symbol)) return status;
    const int32_t run = symbol >> 4 & 15;
    const int32_t category = symbol & 15;
    if (category == 0) {
      if (run == 15) {
        scan += 16;
        continue;
      }
      const QlmStatus status = getEobRun(reader, run, eobRun);
      if (status == qlmOk) --eobRun;
      return status;
    }
    scan += run;
    uint32_t bits = 0;
    if (const QlmStatus status = take(reader, category, bits)) return status;
    block[kHuffmanTables.natural[scan]] = static_cast<int16_t>(ownExtend(bits, category) * (1 << band.al));
    ++scan;
  }
  return qlmOk;
}

inline void refine(int16_t& coefficient, int32_t al) {
  // Adds 2^al to the magnitude unless the bit is set.
  const int32_t sign = coefficient >> 15;
  const int32_t clear = ~(coefficient >> al) & 1;
  coefficient = static_cast<int16_t>(coefficient + (((clear << al) ^ sign) - sign));
}
// At the positions of a mask.
inline void refine(int16_t* block, uint64_t positions, int32_t al) {
  while (positions != 0) {
    const uint32_t scan = ownFirstOf(positions);
    positions ^= kScanBegin >> scan;
    refine(block[kHuffmanTables.natural[scan]], al);
  }
}

QlmStatus decodeRefinement(QlmBandReader& reader, int16_t* block, const QlmBand& band,
                           const QlmDecodeHuffmanSpec* table, int32_t& eobRun) {
  const int32_t plus = 1 << band.al;
  const auto correct = [&](int16_t& coefficient) -> QlmStatus {
    uint32_t bit = 0;
    if (const QlmStatus status = take(reader, 1, bit)) return status;
    if (bit != 0) refine(coefficient, band.al);
    return qlmOk;
  };

  int32_t scan = band.scan;
  while (eobRun == 0 && scan <= band.last) {
    uint32_t symbol = 0;
    if (const QlmStatus status = getSymbol(reader, table, symbol)) return status;
    int32_t run = symbol >> 4 & 15;
    uint32_t positive = 0;
    const bool isNew = (symbol & 15) != 0;
    if (isNew) {
      if (const QlmStatus status = take(reader, 1, positive)) return status;
    } else if (run != 15) {
      if (const QlmStatus status = getEobRun(reader, run, eobRun)) return status;
      break;
    }
    for (; scan <= band.last; ++scan) {
      int16_t& coefficient = block[kHuffmanTables.natural[scan]];
      if (coefficient != 0) {
        if (const QlmStatus status = correct(coefficient)) return status;
      } else if (run-- == 0) {
        break;
      }
    }
    if (isNew) block[kHuffmanTables.natural[scan]] = static_cast<int16_t>(positive != 0 ? plus : -plus);
    ++scan;
  }
  if (eobRun <= 0) return qlmOk;
  for (; scan <= band.last; ++scan) {
    int16_t& coefficient = block[kHuffmanTables.natural[scan]];
    if (coefficient == 0) continue;
    if (const QlmStatus status = correct(coefficient)) return status;
  }
  --eobRun;
  return qlmOk;
}

using DecodeBand = QlmStatus(QlmBandReader&, int16_t*, const QlmBand&, const QlmDecodeHuffmanSpec*, int32_t&);

// Decodes symbol by symbol, and reports what fails where.
template <DecodeBand kDecode>
[[gnu::noinline]] QlmStatus decodeCarefully(QlmScanSource source, int16_t* block, QlmBand band,
                                            const QlmDecodeHuffmanSpec* table) {
  QlmDecodeHuffmanState* const state = source.state;
  QlmBandReader reader{source.src,     source.length,   *source.position,
                       *source.marker, state->bitCount, state->accumulator};
  const QlmStatus status = kDecode(reader, block, band, table, state->eobRun);
  *source.position = reader.position;
  *source.marker = reader.marker;
  state->bitCount = reader.count;
  state->accumulator = _bzhi_u64(reader.bits, static_cast<uint32_t>(reader.count));
  return status;
}

// Starts the clear reader; false where it cannot. It takes at most 56 bits. Where there are more, the last byte is read
// again, if it is in the source as it is.
inline bool start(const QlmScanSource& source, QlmClearReader& reader) {
  const QlmDecodeHuffmanState* const state = source.state;
  int32_t count = state->bitCount;
  if (*source.marker != 0 || count < 0 || count > 64 || *source.position < 1) return false;
  const uint8_t* next = source.src + *source.position;
  const uint64_t bits = ownLeftJustified(state->accumulator, count);
  uint64_t again = 0;
  if (count > 56) {
    if (*source.position > source.length) return false;
    --next;
    if (*next == 0 || *next != static_cast<uint8_t>(state->accumulator)) return false;
    count -= 8;
    again = 8;
  }
  reader = ownClearReader({next, bits, count}, source.src + source.length);
  reader.held += again;
  return reader.clear >= reader.filled;
}

inline void finish(const QlmScanSource& source, const QlmClearReader& reader) {
  const QlmBitWindow window = ownWindow(reader);
  *source.position = static_cast<int32_t>(window.next - source.src);
  source.state->accumulator = ownRightJustified(window);
  source.state->bitCount = window.count;
}

// Decodes symbols while the clear reader can go on; true where that was enough for the block.
inline bool decodeFirstClear(const QlmScanSource& source, int16_t* block, QlmBand& band,
                             const QlmDecodeHuffmanSpec* table) {
  QlmClearReader reader;
  if (!start(source, reader)) return false;
  const QlmLookup lookup = ownLookup(table);
  uint64_t scan = static_cast<uint32_t>(band.scan);
  const uint64_t last = static_cast<uint32_t>(band.last);
  bool complete = false;
  while (ownReadNext(reader)) {
    auto [symbol, length] = ownReadShort(reader, lookup);
    if ((symbol & 15) == 0) [[unlikely]] {
      if (length == 0) {
        const QlmClearReader before = reader;
        if (!ownReadLong(reader, table, symbol)) {
          reader = before;
          break;
        }
      }
      if ((symbol & 15) == 0) {
        if (symbol != 0xF0) {
          const uint64_t category = symbol >> 4;
          source.state->eobRun = (1 << category) - 1 + static_cast<int32_t>(ownReadBits(reader, category));
          complete = true;
          break;
        }
        scan += 16;
        complete = scan > last;
        if (complete) break;
        continue;
      }
    }
    int32_t value = 0;
    ownReadValue(reader, symbol & 15, value);
    scan += kHuffmanTables.step[symbol];
    block[kHuffmanTables.natural[scan - 1]] = static_cast<int16_t>(static_cast<uint32_t>(value) << band.al);
    complete = scan > last;
    if (complete) break;
  }
  finish(source, reader);
  band.scan = static_cast<int32_t>(scan);
  return complete;
}

// Correction bits that can be read for certain before the register is to be filled up again: 49 less a code of 16 and
// the 14 bits of a run of blocks. For more, up to 63, so many bits further on must be clear.
constexpr uint64_t kSureCorrections = 18;
constexpr uint64_t kBitsForCorrections = 96;

// Reads up to 63 correction bits.
inline uint64_t readCorrections(QlmClearReader& reader, uint64_t count) {
  uint64_t corrections = 0;
  while (__builtin_expect(count > kSureCorrections, false)) {
    corrections = corrections << kSureCorrections | ownReadBitwise(reader, kSureCorrections);
    count -= kSureCorrections;
    ownFillUp(reader);
  }
  return corrections << count | ownReadBitwise(reader, count);
}

// `nonzero` are the coefficients of the band that are not zero.
inline bool decodeRefinementClear(const QlmScanSource& source, int16_t* block, uint64_t nonzero, QlmBand& band,
                                  const QlmDecodeHuffmanSpec* table) {
  QlmClearReader reader;
  if (!start(source, reader)) return false;
  const QlmLookup lookup = ownLookup(table);
  uint64_t zero = ownBandMask(band.scan, band.last) ^ nonzero;
  uint64_t unapplied = nonzero;
  uint64_t corrections = 0;
  const auto correct = [&](uint64_t positions) {
    const uint64_t count = ownCountOf(positions);
    corrections = corrections << count | readCorrections(reader, count);
    nonzero ^= positions;
  };
  // All correction bits are applied at once, to the positions passed.
  const auto apply = [&] {
    refine(block, _pdep_u64(corrections, unapplied ^ nonzero), band.al);
    unapplied = nonzero;
  };
  const uint64_t more = ownCountOf(nonzero) > kSureCorrections ? kBitsForCorrections : 0;

  bool complete = false;
  while (!complete && ownReadNext(reader, more)) {
    uint64_t run = 0;
    uint64_t category = 0;
    int32_t eobRun = source.state->eobRun;
    if (eobRun == 0) [[likely]] {
      auto [symbol, length] = ownReadShort(reader, lookup);
      if (length == 0) [[unlikely]] {
        const QlmClearReader before = reader;
        if (!ownReadLong(reader, table, symbol)) {
          reader = before;
          break;
        }
      }
      run = symbol >> 4;
      category = symbol & 15;
      if (category == 0 && run != 15) eobRun = (1 << run) + static_cast<int32_t>(ownReadBits(reader, run));
    } else {
      ownFillUp(reader);
    }
    if (eobRun != 0) {
      correct(nonzero);
      source.state->eobRun = eobRun - 1;
      complete = true;
      break;
    }

    const int32_t value = category != 0 ? static_cast<int32_t>(2 * ownReadBits(reader, 1)) - 1 : 0;
    const int16_t coefficient = static_cast<int16_t>(static_cast<uint32_t>(value) << band.al);
    const uint64_t zeroes = ownCountOf(zero);
    if (run >= zeroes) [[unlikely]] {
      // The run goes beyond the band.
      correct(nonzero);
      apply();
      if (category != 0) block[kHuffmanTables.natural[band.last + 1]] = coefficient;
      complete = true;
      break;
    }
    const uint64_t stop = _pdep_u64(uint64_t{1} << (zeroes - 1 - run), zero);
    correct(nonzero & (0 - stop));
    zero &= stop - 1;
    if (category != 0) block[kHuffmanTables.natural[ownFirstOf(stop)]] = coefficient;
    complete = (zero | nonzero) == 0;
  }
  apply();
  finish(source, reader);
  if (!complete) band.scan = static_cast<int32_t>(ownFirstOf(zero | nonzero));
  return complete;
}

inline QlmStatus checkDecodeBand(const uint8_t* src, int32_t srcLength, const int32_t* srcPosition, const int16_t* dst,
                                 const int32_t* marker, int32_t ss, int32_t se, int32_t al,
                                 const QlmDecodeHuffmanSpec* acTable, const QlmDecodeHuffmanState* state) {
  if (!src) return qlmErrNullPointer;
  if (srcLength < 1) return qlmErrSize;
  if (!srcPosition || !dst || !marker) return qlmErrNullPointer;
  if (!ownIsBand(ss, se) || !ownIsPointTransform(al)) return qlmErrBadArgument;
  if (!acTable || !state) return qlmErrNullPointer;
  return qlmOk;
}

}  // namespace

QLM_EXPORT(qlmiDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int32_t* marker, int32_t ss, int32_t se,
 int32_t al, const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const QlmStatus status = checkDecodeBand(src, srcLength, srcPosition, dst, marker, ss, se, al, acTable, state);
  if (status) return status;
  if (state->eobRun > 0) {
    --state->eobRun;
    return qlmOk;
  }
  const QlmScanSource source{src, srcLength, srcPosition, marker, state};
  QlmBand band{ss, se, al};
  if (decodeFirstClear(source, dst, band, acTable)) return qlmOk;
  return decodeCarefully<decodeFirst>(source, dst, band, acTable);
}

QLM_EXPORT(qlmiDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1)
(const uint8_t* src, int32_t srcLength, int32_t* srcPosition, int16_t* dst, int32_t* marker, int32_t ss, int32_t se,
 int32_t al, const QlmDecodeHuffmanSpec* acTable, QlmDecodeHuffmanState* state) {
  const QlmStatus status = checkDecodeBand(src, srcLength, srcPosition, dst, marker, ss, se, al, acTable, state);
  if (status) return status;
  const uint64_t nonzero = ownNonzero(dst) & ownBandMask(ss, se);
  if (nonzero == 0 && state->eobRun > 0) {
    --state->eobRun;
    return qlmOk;
  }
  const QlmScanSource source{src, srcLength, srcPosition, marker, state};
  QlmBand band{ss, se, al};
  if (state->eobRun >= 0 && decodeRefinementClear(source, dst, nonzero, band, acTable)) return qlmOk;
  return decodeCarefully<decodeRefinement>(source, dst, band, acTable);
}
