#include "model/jpeg_progressive.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace model {
namespace {

constexpr int32_t kLongestRun = 0x7FFF;    // of blocks that one end-of-band symbol covers
constexpr int32_t kMostCorrections = 937;  // bits that may wait for the end of a run

int32_t& position(const Output& out) { return *out.position; }

// Bits of an AC scan on their way out: pending ones stand right-justified in all 64 bits of the accumulator. They leave
// it, all whole bytes at once, when an append does not fit.
struct BandWriter {
  const Output& out;
  const QlmEncodeHuffmanSpec& ac;
  QlmEncodeHuffmanState& state;

  QlmStatus drain() {
    while (state.bitCount >= 8) {
      const auto byte = static_cast<uint8_t>(state.accumulator >> (state.bitCount - 8));
      if (position(out) >= out.length) return qlmErrOutOfBuffer;
      out.bytes[position(out)++] = byte;
      if (byte == 0xFF) {
        if (position(out) >= out.length) return qlmErrOutOfBuffer;
        out.bytes[position(out)++] = 0;
      }
      state.bitCount -= 8;
    }
    return qlmOk;
  }

  QlmStatus put(uint64_t value, int32_t length) {
    if (length > 64 - state.bitCount) {
      const QlmStatus status = drain();
      if (status != qlmOk) return status;
    }
    state.accumulator = state.accumulator << length | (value & ((uint64_t{1} << length) - 1));
    state.bitCount += length;
    return qlmOk;
  }

  // A code with the bits that follow it, in one append.
  QlmStatus putSymbol(int32_t symbol, uint64_t value = 0, int32_t size = 0) {
    const uint32_t entry = ac.codes[symbol];
    const auto length = static_cast<int32_t>(entry >> 16);
    if (length == 0) return qlmErrHuffTable;
    const uint64_t low = value & ((uint64_t{1} << size) - 1);
    return put(uint64_t{entry & 0xFFFF} << size | low, length + size);
  }

  QlmStatus putOneByOne(const uint8_t* bits, int32_t count) {
    QlmStatus status = qlmOk;
    for (int32_t i = 0; i < count && status == qlmOk; ++i) status = put(bits[i], 1);
    return status;
  }

  // The correction bits of a block: up to 32 in one append.
  QlmStatus putCorrections(const uint8_t* bits, int32_t count) {
    if (count > 32) return putOneByOne(bits, count);
    uint64_t word = 0;
    for (int32_t i = 0; i < count; ++i) word = word * 2 + bits[i];
    return put(word, count);
  }

  // The symbol of the end-of-band run.
  QlmStatus putRun() {
    int32_t run = state.eobRun;
    if (run == 0) return qlmOk;
    if (run > kLongestRun) {
      QlmStatus status = putSymbol(0xE0);
      if (status == qlmOk) status = put(static_cast<uint64_t>(state.eobRun) & 0x3FFF, 14);
      if (status != qlmOk) return status;
      run -= kLongestRun;
    }
    const int32_t size = category(run) - 1;
    if (size > 14) return qlmErrDctRange;
    QlmStatus status = putSymbol(size << 4);
    if (status == qlmOk && size > 0) status = put(static_cast<uint64_t>(run), size);
    if (status != qlmOk) return status;
    state.eobRun = 0;
    return qlmOk;
  }

  // The same with the correction bits of the blocks that it covers.
  QlmStatus putRunAndCorrections() {
    QlmStatus status = putRun();
    if (status == qlmOk) status = putOneByOne(state.correctionBits, state.correctionCount);
    if (status == qlmOk) state.correctionCount = 0;
    return status;
  }
};

QlmStatus encodeACRefineBlock(const int16_t* block, const Band& band, BandWriter& writer) {
  QlmEncodeHuffmanState& state = writer.state;
  int32_t magnitude[64] = {}, lastNew = 0;
  for (int32_t k = band.first; k <= band.last; ++k) {
    magnitude[k] = std::abs(int32_t{block[naturalIndex(k)]}) >> band.low;
    if (magnitude[k] == 1) lastNew = k;
  }
  int32_t run = 0, ours = 0;  // correction bits of this block, behind those of the run
  uint8_t* bits = state.correctionBits + state.correctionCount;
  for (int32_t k = band.first; k <= band.last; ++k) {
    if (magnitude[k] == 0) {
      ++run;
      continue;
    }
    if (run > 15 && k <= lastNew) {
      QlmStatus status = writer.putRunAndCorrections();
      for (; run > 15; run -= 16) {
        if (status == qlmOk) status = writer.putSymbol(0xF0);
        if (status == qlmOk) status = writer.putCorrections(bits, ours);
        if (status != qlmOk) return status;
        ours = 0;
        bits = state.correctionBits;
      }
    }
    if (magnitude[k] > 1) {
      bits[ours++] = magnitude[k] & 1;
      continue;
    }
    QlmStatus status = writer.putRunAndCorrections();
    if (status == qlmOk) status = writer.putSymbol((run << 4) + 1, block[naturalIndex(k)] >= 0, 1);
    if (status == qlmOk) status = writer.putCorrections(bits, ours);
    if (status != qlmOk) return status;
    run = ours = 0;
    bits = state.correctionBits;
  }
  if (run > 0 || ours > 0) {
    ++state.eobRun;
    state.correctionCount += ours;
    if (state.correctionCount > kMostCorrections || state.eobRun == kLongestRun) return writer.putRunAndCorrections();
  }
  return qlmOk;
}

// Bits of an AC scan on their way in. They are taken one by one; a byte is read when bits are wanted that are not held.
struct BandReader {
  const Input& in;
  const QlmDecodeHuffmanSpec& ac;
  QlmDecodeHuffmanState& state;
  BandNotes& notes;

  // Reads until `wanted` bits are held; false where the source or a marker ends them before.
  bool hold(int32_t wanted) {
    while (state.bitCount < wanted) {
      if (*in.marker != 0 || *in.position >= in.length) return false;
      int32_t byte = in.bytes[(*in.position)++];
      if (byte == 0xFF) {
        int32_t next = 0xFF;
        while (next == 0xFF) {
          if (*in.position >= in.length) return false;
          next = in.bytes[(*in.position)++];
        }
        if (next != 0) {
          *in.marker = next;
          return false;
        }
      }
      state.accumulator = state.accumulator << 8 | static_cast<uint64_t>(byte);
      state.bitCount += 8;
    }
    return true;
  }

  QlmStatus take(int32_t count, int32_t& value) {
    const bool marked = *in.marker != 0;
    value = 0;
    if (count == 0) return qlmOk;
    if (!hold(count)) {
      notes.shortage = true;
      return marked ? qlmErrDctRange : qlmErrOutOfBuffer;
    }
    state.bitCount -= count;
    value = static_cast<int32_t>(state.accumulator >> state.bitCount) & ((1 << count) - 1);
    return qlmOk;
  }

  QlmStatus symbol(int32_t& run, int32_t& size) {
    int32_t found = 0;
    const QlmStatus status = findSymbol(found);
    run = found >> 4;
    size = found & 15;
    return status;
  }

  QlmStatus findSymbol(int32_t& found) {
    int32_t length = 1;
    if (hold(8)) {
      const uint32_t entry = ac.lookup[(state.accumulator >> (state.bitCount - 8)) & 255];
      if (entry >> 16) {
        state.bitCount -= static_cast<int32_t>(entry >> 16);
        found = static_cast<int32_t>(entry & 0xFF);
        return qlmOk;
      }
      length = 9;
    }
    int32_t code;
    QlmStatus status = take(length, code);
    while (status == qlmOk && code > maxCodeOf(ac, length)) {
      if (length == 16) {
        notes.noCodeAtEnd = !hold(1);
        return qlmErrDctRange;
      }
      int32_t bit;
      status = take(1, bit);
      code = code * 2 + bit;
      ++length;
    }
    if (status == qlmOk) found = symbolOf(ac, code, length);
    return status;
  }

  // The number of blocks that EOBn covers, this one included.
  QlmStatus endOfBand(int32_t size) {
    int32_t more = 0;
    const QlmStatus status = take(size, more);
    state.eobRun = (1 << size) + more;
    return status;
  }

  void store(int16_t* block, int32_t scanPosition, int32_t value) {
    const int32_t index = naturalIndex(scanPosition);
    if (index < 0) notes.beyond71 = true;
    if (index >= 0) block[index] = static_cast<int16_t>(value);
  }

  QlmStatus refine(int16_t& coefficient, int32_t low) {
    int32_t bit = 0;
    const QlmStatus status = take(1, bit);
    if (status == qlmOk && bit && (coefficient & (1 << low)) == 0)
      coefficient = static_cast<int16_t>(coefficient + (coefficient > 0 ? 1 << low : -(1 << low)));
    return status;
  }
};

}  // namespace

QlmStatus encodeDCFirst(const int16_t* block, const Output& out, int16_t& lastDC, int32_t low,
                        const QlmEncodeHuffmanSpec& dc, QlmEncodeHuffmanState& state) {
  const int32_t value = block[0] >> low, difference = value - lastDC;
  lastDC = static_cast<int16_t>(value);
  const int32_t size = category(std::abs(difference));
  if (size >= 12) return qlmErrDctRange;
  const uint32_t entry = dc.codes[size];
  const QlmStatus status = putBits(static_cast<int32_t>(entry & 0xFFFF), static_cast<int32_t>(entry >> 16), out, state);
  if (status != qlmOk || size == 0) return status;
  return putBits(difference < 0 ? difference - 1 : difference, size, out, state);
}

QlmStatus encodeDCRefine(const int16_t* block, const Output& out, int32_t low, QlmEncodeHuffmanState& state) {
  return putBits((block[0] >> low) & 1, 1, out, state);
}

QlmStatus encodeACFirst(const int16_t* block, const Output& out, const Band& band, const QlmEncodeHuffmanSpec& ac,
                        QlmEncodeHuffmanState& state) {
  BandWriter writer{out, ac, state};
  int32_t run = 0;
  for (int32_t k = band.first; k <= band.last; ++k) {
    const int32_t value = block[naturalIndex(k)], magnitude = std::abs(value) >> band.low;
    if (magnitude == 0) {
      ++run;
      continue;
    }
    QlmStatus status = writer.putRun();
    for (; run > 15 && status == qlmOk; run -= 16) status = writer.putSymbol(0xF0);
    if (status != qlmOk) return status;
    const int32_t size = category(magnitude);
    if (size > 11) return qlmErrDctRange;
    status = writer.putSymbol((run << 4) + size, static_cast<uint64_t>(value > 0 ? magnitude : ~magnitude), size);
    if (status != qlmOk) return status;
    run = 0;
  }
  if (run > 0) ++state.eobRun;
  return run > 0 && state.eobRun >= kLongestRun ? writer.putRun() : qlmOk;
}

QlmStatus encodeACRefine(const int16_t* block, const Output& out, const Band& band, const QlmEncodeHuffmanSpec& ac,
                         QlmEncodeHuffmanState& state) {
  BandWriter writer{out, ac, state};
  const int32_t correctionsBefore = state.correctionCount;
  const QlmStatus status = encodeACRefineBlock(block, band, writer);
  if (status != qlmOk) state.correctionCount = correctionsBefore;
  return status;
}

QlmStatus flushEobRun(const Output& out, const QlmEncodeHuffmanSpec& ac, QlmEncodeHuffmanState& state) {
  BandWriter writer{out, ac, state};
  QlmStatus status = writer.putRun();
  for (int32_t i = 0; i < state.correctionCount && status == qlmOk; ++i)
    status = writer.put(state.correctionBits[i], 1);
  if (status != qlmErrOutOfBuffer) {
    QlmStatus padding = qlmOk;
    while (padding == qlmOk && state.bitCount % 8 != 0) padding = writer.put(1, 1);
    if (padding == qlmOk) padding = writer.drain();
    if (padding != qlmOk) status = padding;
  }
  const int32_t run = state.eobRun;
  encodeStateInit(state);
  state.eobRun = run;
  return status;
}

QlmStatus decodeDCFirst(const Input& in, int16_t* block, int16_t& lastDC, int32_t low, const QlmDecodeHuffmanSpec& dc,
                        QlmDecodeHuffmanState& state) {
  int32_t symbol = 0;
  QlmStatus status = getSymbol(in, dc, state, symbol);
  const int32_t size = symbol & 15;
  if (status == qlmOk && size > 0 && state.bitCount < size) status = fill(in, size, state);
  if (status != qlmOk) return status;
  if (size > 0) lastDC = static_cast<int16_t>(lastDC + extend(takeBits(state, size), size));
  block[0] = static_cast<int16_t>(lastDC * (1 << low));
  return qlmOk;
}

QlmStatus decodeDCRefine(const Input& in, int16_t* block, int32_t low, QlmDecodeHuffmanState& state) {
  if (state.bitCount < 1) {
    const QlmStatus status = fill(in, 1, state);
    if (status != qlmOk) return status;
  }
  if (takeBits(state, 1)) block[0] = static_cast<int16_t>(block[0] | 1 << low);
  return qlmOk;
}

QlmStatus decodeACFirst(const Input& in, int16_t* block, const Band& band, const QlmDecodeHuffmanSpec& ac,
                        QlmDecodeHuffmanState& state, BandNotes& notes) {
  if (state.eobRun > 0) {
    --state.eobRun;
    return qlmOk;
  }
  BandReader reader{in, ac, state, notes};
  int32_t k = band.first;
  for (;;) {
    int32_t run, size, bits;
    QlmStatus status = reader.symbol(run, size);
    if (status != qlmOk) return status;
    if (size == 0 && run < 15) {
      status = reader.endOfBand(run);
      if (status == qlmOk) --state.eobRun;
      return status;
    }
    if (size == 0) {
      k += 16;
      if (k > band.last) return qlmOk;
      continue;
    }
    k += run;
    status = reader.take(size, bits);
    if (status != qlmOk) return status;
    reader.store(block, k, extend(bits, size) * (1 << band.low));
    if (k >= band.last) return qlmOk;
    ++k;
  }
}

QlmStatus decodeACRefine(const Input& in, int16_t* block, const Band& band, const QlmDecodeHuffmanSpec& ac,
                         QlmDecodeHuffmanState& state, BandNotes& notes) {
  BandReader reader{in, ac, state, notes};
  const auto at = [&](int32_t k) -> int16_t& { return block[naturalIndex(k)]; };
  int32_t k = band.first;
  while (state.eobRun == 0 && k <= band.last) {
    int32_t run, size, bit = 0;
    QlmStatus status = reader.symbol(run, size);
    if (status != qlmOk) return status;
    if (size == 0 && run < 15) {
      status = reader.endOfBand(run);
      if (status != qlmOk) return status;
      break;
    }
    if (size > 0) status = reader.take(1, bit);
    for (; k <= band.last && status == qlmOk; ++k) {
      if (at(k) != 0) {
        status = reader.refine(at(k), band.low);
      } else if (--run < 0) {
        break;
      }
    }
    if (status != qlmOk) return status;
    if (size > 0) reader.store(block, k, bit ? 1 << band.low : -(1 << band.low));
    ++k;
  }
  if (state.eobRun > 0) {
    for (; k <= band.last; ++k) {
      if (at(k) == 0) continue;
      const QlmStatus status = reader.refine(at(k), band.low);
      if (status != qlmOk) return status;
    }
    --state.eobRun;
  }
  return qlmOk;
}

int64_t dataBits(const uint8_t* source, int32_t length, int32_t from, int32_t to) {
  int64_t bits = 0;
  while (from < to) {
    if (source[from] != 0xFF) {
      bits += 8;
      from += 1;
    } else if (from + 1 == length || source[from + 1] == 0xFF) {
      from += 1;
    } else {
      bits += source[from + 1] == 0 ? 8 : 0;
      from += 2;
    }
  }
  return from == to ? bits : -1;
}

}  // namespace model
