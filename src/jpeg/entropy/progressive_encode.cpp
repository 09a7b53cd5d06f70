// Progressive Huffman encoding of a band of AC coefficients (T.81 G.1.2.2, G.1.2.3).
//
// What there is to code is found in lanes, as masks of a bit a position (progressive_band.h); the coders step from bit
// to bit. Codes and values go to a 64-bit register that stays in the state between blocks.
#include "jpeg/entropy/progressive_band.h"

namespace {

// Pending bits, right-justified, below bits that are already stored, and where whole bytes of them go. Between calls
// the state holds up to 64 bits: the writer is drained only when an append does not fit, which decides how many are
// pending in the end.
struct QlmBandWriter {
  uint8_t* next;
  uint8_t* end;
  uint64_t bits;
  uint64_t count;
};

// Calls a function that is not inlined with a copy, which keeps the writer itself in registers.
template <auto kFunction, typename... Arguments>
inline QlmStatus outOfLine(QlmBandWriter& writer, Arguments... arguments) {
  QlmBandWriter copy = writer;
  const QlmStatus status = kFunction(copy, arguments...);
  writer = copy;
  return status;
}

// Stores the whole bytes with stuffing, one by one.
[[gnu::noinline]] QlmStatus drainBytes(QlmBandWriter& writer) {
  for (uint64_t bits = writer.bits << (-writer.count & 63); writer.count >= 8; writer.count -= 8, bits <<= 8) {
    const uint8_t byte = static_cast<uint8_t>(bits >> 56);
    if (writer.next >= writer.end) return qlmErrOutOfBuffer;
    *writer.next++ = byte;
    if (byte != 0xFF) continue;
    if (writer.next >= writer.end) return qlmErrOutOfBuffer;
    *writer.next++ = 0;
  }
  return qlmOk;
}

// Stores the whole bytes of at least 32 bits.
inline QlmStatus drain(QlmBandWriter& writer) {
  const uint64_t bits = writer.bits << (-writer.count & 63);
  if (writer.end - writer.next >= 8 && !ownHasByteFF(bits)) [[likely]] {
    ownStoreBigEndian64(writer.next, bits);
    writer.next += writer.count >> 3;
    writer.count &= 7;
    return qlmOk;
  }
  return outOfLine<drainBytes>(writer);
}

// Appends `value`, of `length` bits, at most 32.
inline QlmStatus append(QlmBandWriter& writer, uint64_t value, uint64_t length) {
  if (writer.count + length > 64) [[unlikely]] {
    if (const QlmStatus status = drain(writer)) return status;
  }
  writer.bits = writer.bits << length | value;
  writer.count += length;
  return qlmOk;
}

// Appends `value`, of `length` bits, at most 32, as if bit by bit: the writer is full before it is drained.
inline QlmStatus appendBitwise(QlmBandWriter& writer, uint64_t value, uint64_t length) {
  if (writer.count + length > 64) [[unlikely]] {
    const uint64_t first = 64 - writer.count;
    length -= first;
    writer.bits = writer.bits << first | value >> length;
    writer.count = 64;
    value = _bzhi_u64(value, static_cast<uint32_t>(length));
  }
  return append(writer, value, length);
}

// Appends the code of a symbol, with `length` bits of value behind it in one step.
inline QlmStatus appendSymbol(QlmBandWriter& writer, const QlmEncodeHuffmanSpec* table, uint32_t symbol,
                              uint64_t value = 0, uint64_t length = 0) {
  const QlmTableEntry entry = ownTableEntry(table, symbol);
  if (entry.length == 0) [[unlikely]] {
    return qlmErrHuffTable;
  }
  return append(writer, uint64_t{entry.code} << length | value, entry.length + length);
}

// Appends the low bits of bytes, one by one.
QlmStatus appendCorrections(QlmBandWriter& writer, const uint8_t* corrections, int32_t count) {
  constexpr uint64_t kLowBits = 0x0101010101010101;
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const uint64_t eight = _pext_u64(ownLoadBigEndian64(corrections + i), kLowBits);
    if (const QlmStatus status = appendBitwise(writer, eight, 8)) return status;
  }
  for (; i < count; ++i) {
    if (const QlmStatus status = append(writer, corrections[i] & 1, 1)) return status;
  }
  return qlmOk;
}

// Ends the run of blocks, by its symbol and, in a refinement, its correction bits.
[[gnu::noinline]] QlmStatus appendEobRun(QlmBandWriter& writer, const QlmEncodeHuffmanSpec* table,
                                         QlmEncodeHuffmanState* state, int32_t corrections) {
  if (state->eobRun != 0) {
    uint32_t run = static_cast<uint32_t>(state->eobRun);
    // The block coders never let a run grow so long.
    if (run > kMaxEobRun) {
      if (const QlmStatus status = appendSymbol(writer, table, 0xE0)) return status;
      if (const QlmStatus status = append(writer, run & 0x3FFF, 14)) return status;
      run -= kMaxEobRun;
    }
    const uint32_t category = static_cast<uint32_t>(std::bit_width(run)) - 1;
    if (category > 14) return qlmErrDctRange;
    if (const QlmStatus status = appendSymbol(writer, table, category << 4)) return status;
    if (const QlmStatus status = append(writer, run - (1u << category), category)) return status;
    state->eobRun = 0;
  }
  return appendCorrections(writer, state->correctionBits, corrections);
}
inline QlmStatus endRun(QlmBandWriter& writer, const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state,
                        int32_t corrections) {
  if (state->eobRun == 0 && corrections == 0) return qlmOk;
  return outOfLine<appendEobRun>(writer, table, state, corrections);
}

QlmBandWriter load(const QlmEncodeHuffmanState* state, uint8_t* dst, int32_t dstLength, const int32_t* dstPosition) {
  return {dst + *dstPosition, dst + dstLength, state->accumulator, static_cast<uint32_t>(state->bitCount)};
}

QlmStatus flushEobRun(QlmBandWriter& writer, const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state) {
  const QlmStatus status = appendEobRun(writer, table, state, state->correctionCount);
  if (status == qlmErrOutOfBuffer) return status;
  const uint64_t padding = -writer.count & 7;
  writer.bits = writer.bits << padding | ((1u << padding) - 1);
  writer.count += padding;
  const QlmStatus drained = drainBytes(writer);
  return drained ? drained : status;
}

// Ends a scan. The state is reset but for a run whose symbol could not be written.
QlmStatus ownHuffmanFlushEobRun(uint8_t* dst, int32_t dstLength, int32_t* dstPosition,
                                const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state) {
  QlmBandWriter writer = load(state, dst, dstLength, dstPosition);
  const QlmStatus status = flushEobRun(writer, table, state);
  *dstPosition = static_cast<int32_t>(writer.next - dst);
  const int32_t eobRun = state->eobRun;
  *state = {};
  state->eobRun = eobRun;
  return status;
}

// The largest category that a shifted magnitude may have.
constexpr uint32_t kMaxCategory = 11;

inline QlmStatus encodeFirst(QlmBandWriter& writer, const int16_t* block, int32_t ss, int32_t se, int32_t al,
                             const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state) {
  alignas(32) uint16_t magnitudes[64];
  uint64_t nonzero = ownMagnitudes(block, al, magnitudes) & ownBandMask(ss, se);
  uint32_t next = static_cast<uint32_t>(ss);
  if (nonzero != 0) {
    if (const QlmStatus status = endRun(writer, table, state, 0)) return status;
  }
  while (nonzero != 0) {
    const uint32_t scan = ownFirstOf(nonzero);
    nonzero ^= kScanBegin >> scan;
    uint32_t run = scan - next;
    next = scan + 1;
    for (; run > 15; run -= 16) {
      if (const QlmStatus status = appendSymbol(writer, table, 0xF0)) return status;
    }
    const uint32_t natural = kHuffmanTables.natural[scan];
    const uint32_t category = static_cast<uint32_t>(ownMagnitudeCategory(magnitudes[natural]));
    if (category > kMaxCategory) return qlmErrDctRange;
    // The complement of the magnitude where the coefficient is negative.
    const uint32_t value = _bzhi_u32(static_cast<uint32_t>(magnitudes[natural] ^ block[natural] >> 15), category);
    if (const QlmStatus status = appendSymbol(writer, table, run << 4 | category, value, category)) return status;
  }
  // A run beyond the longest, from elsewhere, ends here; a refinement lets it grow on.
  if (next <= static_cast<uint32_t>(se) && ++state->eobRun >= kMaxEobRun) return endRun(writer, table, state, 0);
  return qlmOk;
}

// Writes what a refinement decides.
struct QlmRefinementWriter {
  QlmBandWriter& writer;
  const QlmRefinement& block;
  const QlmEncodeHuffmanSpec* table;
  QlmEncodeHuffmanState* state;
  int32_t symbols;  // written or failed

  QlmStatus beginSymbols() const { return endRun(writer, table, state, state->correctionCount); }
  QlmStatus zeroRun(uint64_t corrections) {
    ++symbols;
    if (const QlmStatus status = appendSymbol(writer, table, 0xF0)) return status;
    return append(corrections);
  }
  QlmStatus coefficient(uint32_t run, uint32_t scan, uint64_t corrections) {
    ++symbols;
    const uint64_t positive = ~block.negative >> (63 - scan) & 1;
    if (const QlmStatus status = appendSymbol(writer, table, run << 4 | 1, positive, 1)) return status;
    return append(corrections);
  }
  // Up to 32 bits go in one step.
  QlmStatus append(uint64_t corrections) const {
    const uint64_t count = ownCountOf(corrections);
    const uint64_t bits = _pext_u64(block.lowBit, corrections);
    if (count <= 32) [[likely]] {
      return ::append(writer, bits, count);
    }
    if (const QlmStatus status = appendBitwise(writer, bits >> 32, count - 32)) return status;
    return appendBitwise(writer, bits & 0xFFFFFFFF, 32);
  }
};

// Stores up to 64 bits, left-justified, as bytes of one bit. Writes 64 bytes.
inline void storeBitsAsBytes(uint64_t bits, uint8_t* bytes) {
  const __m256i byteOfBit = _mm256_setr_epi64x(0x0303030303030303, 0x0202020202020202, 0x0101010101010101, 0);
  const __m256i bitOfByte = _mm256_set1_epi64x(0x0102040810204080);
  const auto store = [&](uint64_t half, uint8_t* to) {
    const __m256i spread = _mm256_shuffle_epi8(_mm256_set1_epi32(static_cast<int32_t>(half)), byteOfBit);
    const __m256i clear = _mm256_cmpeq_epi8(_mm256_and_si256(spread, bitOfByte), _mm256_setzero_si256());
    store32(to, _mm256_add_epi8(clear, _mm256_set1_epi8(1)));
  };
  store(bits >> 32, bytes);
  store(bits & 0xFFFFFFFF, bytes + 32);
}

// What a block that fails leaves in the state. Its correction bits are dropped, but they have been stored, group by
// group as they waited for a symbol: behind those of the run of blocks, and once these are written, from the front.
struct QlmRefinementRemains {
  const QlmRefinement& block;
  uint8_t* corrections;
  int32_t next;
  int32_t symbols;  // up to and with the one that failed

  QlmStatus beginSymbols() const { return qlmOk; }
  QlmStatus zeroRun(uint64_t group) { return symbol(group); }
  QlmStatus coefficient(uint32_t, uint32_t, uint64_t group) { return symbol(group); }
  QlmStatus symbol(uint64_t group) {
    for (; group != 0; group ^= kScanBegin >> ownFirstOf(group)) {
      corrections[next++] = static_cast<uint8_t>(block.lowBit >> (63 - ownFirstOf(group)) & 1);
    }
    next = 0;
    return --symbols == 0 ? qlmErrOutOfBuffer : qlmOk;
  }
};
[[gnu::noinline]] void leaveCorrections(const int16_t* src, int32_t ss, int32_t se, int32_t al, int32_t symbols,
                                        QlmEncodeHuffmanState* state) {
  if (symbols == 0) return;
  const QlmRefinement block = ownRefinement(src, al);
  QlmRefinementRemains visitor{block, state->correctionBits, state->correctionCount, symbols};
  uint64_t rest = 0;
  bool intoRun = false;
  ownWalkRefinement(block, ss, se, visitor, rest, intoRun);
}

inline QlmStatus encodeRefinement(QlmBandWriter& writer, const int16_t* src, int32_t ss, int32_t se, int32_t al,
                                  const QlmEncodeHuffmanSpec* table, QlmEncodeHuffmanState* state) {
  const QlmRefinement block = ownRefinement(src, al);
  QlmRefinementWriter visitor{writer, block, table, state, 0};
  uint64_t rest = 0;
  bool intoRun = false;
  if (const QlmStatus status = ownWalkRefinement(block, ss, se, visitor, rest, intoRun)) {
    leaveCorrections(src, ss, se, al, visitor.symbols, state);
    return status;
  }

  int32_t pending = visitor.symbols != 0 ? 0 : state->correctionCount;
  if (intoRun) {
    const int32_t count = static_cast<int32_t>(ownCountOf(rest));
    if (count != 0) {
      storeBitsAsBytes(_pext_u64(block.lowBit, rest) << (64 - count), state->correctionBits + pending);
      pending += count;
    }
    ++state->eobRun;
    if (pending > kMaxCorrections || state->eobRun == kMaxEobRun) [[unlikely]] {
      // Only a block without symbols gets here.
      if (const QlmStatus status = endRun(writer, table, state, pending)) return status;
      pending = 0;
    }
  }
  state->correctionCount = pending;
  return qlmOk;
}

using EncodeBand = QlmStatus(QlmBandWriter&, const int16_t*, int32_t, int32_t, int32_t, const QlmEncodeHuffmanSpec*,
                             QlmEncodeHuffmanState*);

template <EncodeBand kEncode>
inline QlmStatus encodeBand(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int32_t ss,
                            int32_t se, int32_t al, const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state,
                            int32_t flush) {
  if (!dst) return qlmErrNullPointer;
  if (dstLength < 1) return qlmErrSize;
  if (!dstPosition || !acTable || !state) return qlmErrNullPointer;
  if (flush != 0) return ownHuffmanFlushEobRun(dst, dstLength, dstPosition, acTable, state);
  if (!src) return qlmErrNullPointer;
  if (!ownIsBand(ss, se) || !ownIsPointTransform(al)) return qlmErrBadArgument;

  QlmBandWriter writer = load(state, dst, dstLength, dstPosition);
  const QlmStatus status = kEncode(writer, src, ss, se, al, acTable, state);
  *dstPosition = static_cast<int32_t>(writer.next - dst);
  state->accumulator = _bzhi_u64(writer.bits, static_cast<uint32_t>(writer.count));
  state->bitCount = static_cast<int32_t>(writer.count);
  return status;
}

}  // namespace

QLM_EXPORT(qlmiEncodeHuffman8x8_ACFirst_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int32_t ss, int32_t se, int32_t al,
 const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state, int32_t flush) {
  return encodeBand<encodeFirst>(src, dst, dstLength, dstPosition, ss, se, al, acTable, state, flush);
}

QLM_EXPORT(qlmiEncodeHuffman8x8_ACRefine_JPEG_16s1u_C1)
(const int16_t* src, uint8_t* dst, int32_t dstLength, int32_t* dstPosition, int32_t ss, int32_t se, int32_t al,
 const QlmEncodeHuffmanSpec* acTable, QlmEncodeHuffmanState* state, int32_t flush) {
  return encodeBand<encodeRefinement>(src, dst, dstLength, dstPosition, ss, se, al, acTable, state, flush);
}
