#include "model/jpeg_huffman.h"

#include <algorithm>
#include <vector>

namespace model {
namespace {

// Sizes and codes of T.81 C.2. A code may outgrow its length here.
struct CodeList {
  std::vector<int32_t> sizes;
  std::vector<uint32_t> codes;
};

bool listCodes(const uint8_t* counts, CodeList& list) {
  for (int32_t length = 1; length <= 16; ++length) {
    const size_t count = counts[length - 1];
    if (list.sizes.size() + count > 256) return false;
    list.sizes.insert(list.sizes.end(), count, length);
  }
  uint32_t code = 0;
  for (size_t k = 0; k < list.sizes.size(); ++k) {
    if (k > 0) code = (code + 1) << (list.sizes[k] - list.sizes[k - 1]);
    list.codes.push_back(code);
  }
  return true;
}

// Takes bits off a 32-bit accumulator.
int32_t takeBits(uint32_t accumulator, int32_t& count, int32_t wanted) {
  count -= wanted;
  return static_cast<int32_t>((accumulator >> (count & 31)) & ((1u << wanted) - 1));
}

QlmStatus putCode(const QlmEncodeHuffmanSpec& spec, int32_t symbol, const Output& out, QlmEncodeHuffmanState& state) {
  const uint32_t entry = symbol < 256 ? spec.codes[symbol] : 0;
  return putBits(static_cast<int32_t>(entry & 0xFFFF), static_cast<int32_t>(entry >> 16), out, state);
}

QlmStatus putCodeAndValue(const QlmEncodeHuffmanSpec& spec, int32_t symbol, int32_t value, int32_t size,
                          const Output& out, QlmEncodeHuffmanState& state) {
  const QlmStatus status = putCode(spec, symbol, out, state);
  if (status != qlmOk || size == 0) return status;
  return putBits(value < 0 ? value - 1 : value, size, out, state);
}

// Byte by byte until more than 24 bits are held; false at a marker.
bool fillFastByBytes(const uint8_t* bytes, int32_t& position, FastBits& bits) {
  while (bits.held() <= 24) {
    const uint8_t byte = bytes[position++];
    if (byte == 0xFF && bytes[position++] != 0) return false;
    bits.append(byte, 8);
  }
  return true;
}

// One block by a fast route; `refill` tops the bits up or gives up.
bool decodeFast(const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac, FastBits& bits,
                const std::function<bool()>& refill, std::array<int16_t, 64>& block, int16_t& lastDC,
                int32_t& codedPositions) {
  block.fill(0);
  const int32_t dcSymbol = fastSymbol(dc, bits, refill);
  if (dcSymbol < 0) return false;
  const int32_t dcSize = dcSymbol & 15;
  if (bits.held() < dcSize && !refill()) return false;
  block[0] = static_cast<int16_t>(lastDC + extend(bits.take(dcSize), dcSize));
  int32_t left = 62;  // positions behind the next one
  while (left >= 0) {
    const int32_t acSymbol = fastSymbol(ac, bits, refill);
    if (acSymbol < 0) return false;
    const int32_t run = (acSymbol >> 4) & 15, size = acSymbol & 15;
    if (size == 0 && run < 15) break;
    left -= size == 0 ? 16 : run;
    if (left < 0) return false;
    if (size == 0) continue;
    if (bits.held() < size && !refill()) return false;
    block[static_cast<size_t>(naturalIndex(63 - left))] = static_cast<int16_t>(extend(bits.take(size), size));
    --left;
  }
  lastDC = block[0];
  codedPositions = 63 - left;
  return true;
}

}  // namespace

const std::array<int32_t, 64>& zigzag() {
  static const std::array<int32_t, 64> order = [] {
    std::array<int32_t, 64> o{};
    size_t k = 0;
    for (int32_t diagonal = 0; diagonal < 15; ++diagonal) {
      for (int32_t i = 0; i <= diagonal; ++i) {
        // Odd diagonals run downwards, even ones upwards.
        const int32_t row = diagonal % 2 ? i : diagonal - i, column = diagonal - row;
        if (row < 8 && column < 8) o[k++] = 8 * row + column;
      }
    }
    return o;
  }();
  return order;
}

int32_t category(int32_t magnitude) {
  int32_t bits = 0;
  for (; magnitude > 0; magnitude /= 2) ++bits;
  return bits;
}

int32_t naturalIndex(int32_t position) {
  if (position < 64) return zigzag()[static_cast<size_t>(position)];
  return position < 72 ? 63 : -1;
}

int32_t extend(int32_t value, int32_t size) {
  if (size == 0) return 0;
  return value >> (size - 1) ? value : value + 1 - (1 << size);
}

int32_t maxCodeOf(const QlmDecodeHuffmanSpec& spec, int32_t length) {
  return spec.maxCode[length] == 0xFFFF ? -1 : spec.maxCode[length];
}

int32_t symbolOf(const QlmDecodeHuffmanSpec& spec, int32_t code, int32_t length) {
  return spec.symbols[(code - spec.minCode[length] + spec.firstIndex[length]) & 255];
}

int32_t takeBits(QlmDecodeHuffmanState& state, int32_t wanted) {
  return takeBits(static_cast<uint32_t>(state.accumulator), state.bitCount, wanted);
}

FastBits::FastBits(uint64_t accumulator, int32_t count) {
  for (int32_t i = count - 1; i >= 0; --i) append(static_cast<uint32_t>(accumulator >> i), 1);
}

void FastBits::append(uint32_t value, int32_t count) {
  for (int32_t i = count - 1; i >= 0; --i) bits.push_back((value >> i) & 1);
}

int32_t FastBits::peek(int32_t count) const {
  int32_t value = 0;
  for (int32_t i = 0; i < count; ++i) value = value * 2 + bits[static_cast<size_t>(i)];
  return value;
}

int32_t FastBits::take(int32_t count) {
  const int32_t value = peek(count);
  bits.erase(bits.begin(), bits.begin() + count);
  return value;
}

bool FastBits::refill(const Input& in, int32_t& position) {
  if (in.length - position < 8) return false;
  const uint8_t* next = in.bytes + position;
  if (std::find(next, next + 8, 0xFF) != next + 8) return fillFastByBytes(in.bytes, position, *this);
  const int32_t whole = (64 - held()) / 8;
  for (int32_t i = 0; i < whole; ++i) append(next[i], 8);
  position += whole;
  return true;
}

uint64_t FastBits::handBack(int32_t& position) {
  while (held() > 32) {
    bits.resize(bits.size() - 8);
    --position;
  }
  uint64_t accumulator = 0;
  for (const uint8_t bit : bits) accumulator = accumulator * 2 + bit;
  return accumulator;
}

int32_t fastSymbol(const QlmDecodeHuffmanSpec& spec, FastBits& bits, const std::function<bool()>& refill) {
  if (bits.held() < 8 && !refill()) return -1;
  const uint32_t entry = spec.lookup[bits.peek(8)];
  if (entry >> 16) {
    bits.take(static_cast<int32_t>(entry >> 16));
    return static_cast<int32_t>(entry & 0xFFFF);
  }
  if (bits.held() < 16 && !refill()) return -1;
  for (int32_t length = 9; length <= 16; ++length)
    if (bits.peek(length) <= maxCodeOf(spec, length)) return symbolOf(spec, bits.take(length), length);
  return -1;
}

QlmStatus decodeSpecInit(const uint8_t* counts, const uint8_t* values, QlmDecodeHuffmanSpec& spec) {
  spec = {};
  CodeList list;
  if (!listCodes(counts, list)) return qlmErrHuffTable;
  size_t p = 0;
  for (int32_t length = 1; length <= 16; ++length) {
    const size_t count = counts[length - 1];
    if (count == 0) {
      spec.maxCode[length] = 0xFFFF;
      continue;
    }
    spec.firstIndex[length] = static_cast<uint16_t>(p);
    spec.minCode[length] = static_cast<uint16_t>(list.codes[p]);
    for (size_t i = 0; i < count; ++i, ++p) spec.symbols[p] = values[p];
    spec.maxCode[length] = static_cast<uint16_t>(list.codes[p - 1]);
  }
  spec.maxCode[17] = 0xFFFF;
  for (size_t k = 0; k < list.sizes.size() && list.sizes[k] <= 8; ++k) {
    const int32_t length = list.sizes[k];
    for (uint32_t i = 0; i < 1u << (8 - length); ++i) {
      const uint32_t index = (list.codes[k] << (8 - length)) + i;
      const uint32_t entry = static_cast<uint32_t>(length) << 16 | values[k];
      if (index > 256) return qlmErrHuffTable;
      if (index < 256) {
        spec.lookup[index] = entry;
      } else {  // the place behind `lookup`, where `minCode` begins
        spec.minCode[0] = static_cast<uint16_t>(entry & 0xFFFF);
        spec.minCode[1] = static_cast<uint16_t>(entry >> 16);
      }
    }
  }
  return qlmOk;
}

QlmStatus encodeSpecInit(const uint8_t* counts, const uint8_t* values, QlmEncodeHuffmanSpec& spec) {
  spec = {};
  CodeList list;
  if (!listCodes(counts, list)) return qlmErrHuffTable;
  for (size_t k = 0; k < list.sizes.size(); ++k)
    if (list.codes[k] + 1 >= 1u << list.sizes[k]) return qlmErrHuffTable;
  for (size_t k = 0; k < list.sizes.size(); ++k)
    spec.codes[values[k]] = static_cast<uint32_t>(list.sizes[k]) << 16 | list.codes[k];
  return qlmOk;
}

void decodeStateInit(QlmDecodeHuffmanState& state) {
  state.accumulator = 0;
  state.bitCount = state.eobRun = state.codedPositions = 0;
}

void encodeStateInit(QlmEncodeHuffmanState& state) {
  state.accumulator = 0;
  state.bitCount = state.eobRun = state.correctionCount = 0;
  std::fill(std::begin(state.correctionBits), std::end(state.correctionBits), uint8_t{0});
}

QlmStatus putBits(int32_t value, int32_t length, const Output& out, QlmEncodeHuffmanState& state) {
  if (length == 0) return qlmErrHuffTable;
  int32_t count = state.bitCount + length;
  uint64_t accumulator = state.accumulator;
  accumulator |= (static_cast<uint64_t>(value) & ((uint64_t{1} << length) - 1)) << (24 - count);
  for (; count >= 8; count -= 8, accumulator <<= 8) {
    const auto byte = static_cast<uint8_t>(accumulator >> 16);
    if (*out.position >= out.length) return qlmErrOutOfBuffer;
    out.bytes[(*out.position)++] = byte;
    if (byte == 0xFF) {
      if (*out.position >= out.length) return qlmErrOutOfBuffer;
      out.bytes[(*out.position)++] = 0;
    }
  }
  state.accumulator = accumulator & 0xFFFFFF;
  state.bitCount = count;
  return qlmOk;
}

QlmStatus flushBits(const Output& out, QlmEncodeHuffmanState& state) {
  const QlmStatus status = putBits(127, 7, out, state);
  encodeStateInit(state);
  return status;
}

QlmStatus fill(const Input& in, int32_t needed, QlmDecodeHuffmanState& state) {
  if (*in.marker != 0) return needed > state.bitCount ? qlmErrDctRange : qlmOk;
  while (state.bitCount < 25) {
    if (*in.position >= in.length) return needed > state.bitCount ? qlmErrOutOfBuffer : qlmOk;
    const uint8_t byte = in.bytes[(*in.position)++];
    if (byte == 0xFF) {
      uint8_t next = 0xFF;
      while (next == 0xFF) {
        if (*in.position >= in.length) return qlmErrOutOfBuffer;
        next = in.bytes[(*in.position)++];
      }
      if (next != 0) {
        *in.marker = next;
        return qlmOk;
      }
    }
    state.accumulator = static_cast<uint32_t>(state.accumulator << 8 | byte);
    state.bitCount += 8;
  }
  return qlmOk;
}

QlmStatus getSymbol(const Input& in, const QlmDecodeHuffmanSpec& spec, QlmDecodeHuffmanState& state, int32_t& symbol) {
  int32_t length = 1;
  if (state.bitCount < 8) {
    const QlmStatus status = fill(in, 0, state);
    if (status != qlmOk) return status;
  }
  if (state.bitCount >= 8) {
    const uint32_t top = (static_cast<uint32_t>(state.accumulator) >> (state.bitCount - 8)) & 255;
    const uint32_t entry = spec.lookup[top];
    if (entry >> 16) {
      state.bitCount -= static_cast<int32_t>(entry >> 16);
      symbol = static_cast<int32_t>(entry & 0xFFFF);
      return qlmOk;
    }
    length = 9;
  }
  if (state.bitCount < length) {
    const QlmStatus status = fill(in, length, state);
    if (status != qlmOk) return status;
  }
  int32_t code = takeBits(state, length);
  while (code > maxCodeOf(spec, length)) {
    if (state.bitCount < 1) {
      const QlmStatus status = fill(in, 1, state);
      if (status != qlmOk) return status;
    }
    code = code * 2 + takeBits(state, 1);
    if (++length > 16) {
      symbol = 0;
      return qlmErrDctRange;
    }
  }
  symbol = symbolOf(spec, code, length);
  return qlmOk;
}

QlmStatus encodeBlock(const int16_t* block, const Output& out, int16_t& lastDC, const QlmEncodeHuffmanSpec& dc,
                      const QlmEncodeHuffmanSpec& ac, QlmEncodeHuffmanState& state) {
  const int32_t difference = block[0] - lastDC;
  lastDC = block[0];
  const int32_t dcSize = category(difference < 0 ? -difference : difference);
  QlmStatus status = putCodeAndValue(dc, dcSize, difference, dcSize, out, state);
  int32_t run = 0;
  for (int32_t k = 1; k < 64 && status == qlmOk; ++k) {
    const int32_t value = block[zigzag()[static_cast<size_t>(k)]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15 && status == qlmOk; run -= 16) status = putCode(ac, 0xF0, out, state);
    if (status != qlmOk) break;
    const int32_t size = category(value < 0 ? -value : value);
    status = putCodeAndValue(ac, (run << 4) + size, value, size, out, state);
    run = 0;
  }
  if (status == qlmOk && run > 0) status = putCode(ac, 0x00, out, state);
  return status;
}

bool decodeBlockFast(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac,
                     DecodedBlock& to) {
  if (*in.marker != 0 || in.length - *in.position < 24) return false;
  int32_t position = *in.position;
  FastBits bits(to.state.accumulator, to.state.bitCount);
  const auto refill = [&] { return bits.refill(in, position); };
  DecodedBlock done = to;
  if (!decodeFast(dc, ac, bits, refill, done.block, done.lastDC, done.state.codedPositions)) return false;
  done.state.accumulator = bits.handBack(position);
  done.state.bitCount = bits.held();
  to = done;
  *in.position = position;
  return true;
}

QlmStatus decodeBlockCareful(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac,
                             DecodedBlock& to) {
  QlmDecodeHuffmanState& state = to.state;
  to.block.fill(0);
  int32_t symbol = 0;
  QlmStatus status = getSymbol(in, dc, state, symbol);
  const int32_t dcSize = symbol & 15;
  if (status == qlmOk && dcSize > 0 && state.bitCount < dcSize) status = fill(in, dcSize, state);
  if (status != qlmOk) {
    state.codedPositions = 0;
    return status;
  }
  if (dcSize > 0) to.lastDC = static_cast<int16_t>(to.lastDC + extend(takeBits(state, dcSize), dcSize));
  to.block[0] = to.lastDC;
  int32_t left = 63, position = 1;
  while (left > 0) {
    status = getSymbol(in, ac, state, symbol);
    if (status != qlmOk) break;
    const int32_t run = (symbol >> 4) & 15, size = symbol & 15;
    if (size == 0) {
      if (run < 15) break;
      left -= 16;
      position += 16;
      continue;
    }
    left -= run + 1;
    position += run;
    if (state.bitCount < size) status = fill(in, size, state);
    if (status != qlmOk) break;
    const int32_t value = extend(takeBits(state, size), size), index = naturalIndex(position++);
    if (index < 0) return qlmErrDecodedPosition;
    to.block[static_cast<size_t>(index)] = static_cast<int16_t>(value);
  }
  state.codedPositions = 64 - left;
  return status;
}

QlmStatus decodeBlock(const Input& in, const QlmDecodeHuffmanSpec& dc, const QlmDecodeHuffmanSpec& ac,
                      DecodedBlock& to) {
  return decodeBlockFast(in, dc, ac, to) ? qlmOk : decodeBlockCareful(in, dc, ac, to);
}

void encodeBlockDirect(const int16_t* block, uint8_t* bytes, int32_t& bitPosition, int16_t& lastDC,
                       const QlmEncodeHuffmanSpec& dc, const QlmEncodeHuffmanSpec& ac) {
  int32_t position = bitPosition >> 3;
  uint32_t pending = bytes[position] >> (8 - (bitPosition & 7));
  int32_t count = bitPosition & 7;
  const auto put = [&](uint32_t value, int32_t length) {
    for (int32_t i = length - 1; i >= 0; --i) {
      pending = pending * 2 + ((value >> i) & 1);
      if (++count < 8) continue;
      bytes[position++] = static_cast<uint8_t>(pending);
      if (pending == 0xFF) bytes[position++] = 0;
      pending = 0;
      count = 0;
    }
  };
  const auto putSymbol = [&](const QlmEncodeHuffmanSpec& spec, int32_t symbol, int32_t value, int32_t size) {
    const uint32_t entry = symbol < 256 ? spec.codes[symbol] : 0;
    put(entry & 0xFFFF, static_cast<int32_t>(entry >> 16));
    put(static_cast<uint32_t>(value < 0 ? value - 1 : value), size);
  };
  const int32_t difference = block[0] - lastDC, dcSize = category(difference < 0 ? -difference : difference);
  lastDC = block[0];
  putSymbol(dc, dcSize, difference, dcSize);
  int32_t run = 0;
  for (int32_t k = 1; k < 64; ++k) {
    const int32_t value = block[zigzag()[static_cast<size_t>(k)]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) putSymbol(ac, 0xF0, 0, 0);
    const int32_t size = category(value < 0 ? -value : value);
    putSymbol(ac, (run << 4) + size, value, size);
    run = 0;
  }
  if (run > 0) putSymbol(ac, 0x00, 0, 0);
  bytes[position] = static_cast<uint8_t>(pending << (8 - count));
  bitPosition = position * 8 + count;
}

namespace {

bool decodeDirectFast(const uint8_t* bytes, uintptr_t address, const QlmDecodeHuffmanSpec& dc,
                      const QlmDecodeHuffmanSpec& ac, DirectBlock& to) {
  if (to.marker > 0) return false;
  int32_t position = to.bitPosition >> 3;
  FastBits bits(to.bits, to.bitCount);
  const auto refill = [&] {
    const uint8_t* next = bytes + position;
    const bool inLine = (address + static_cast<uintptr_t>(position)) % 16 <= 12;
    if (!inLine || std::find(next, next + 4, 0xFF) != next + 4) return fillFastByBytes(bytes, position, bits);
    for (int32_t i = 0; i < 4; ++i) bits.append(next[i], 8);
    position += 4;
    return true;
  };
  DirectBlock done = to;
  int32_t codedPositions;
  if (!decodeFast(dc, ac, bits, refill, done.block, done.lastDC, codedPositions)) return false;
  done.bits = static_cast<uint32_t>(bits.handBack(position));
  done.bitCount = bits.held();
  done.bitPosition = position * 8;
  to = done;
  return true;
}

}  // namespace

QlmStatus decodeBlockDirect(const uint8_t* bytes, uintptr_t address, const QlmDecodeHuffmanSpec& dc,
                            const QlmDecodeHuffmanSpec& ac, DirectBlock& to, bool* fast, bool* overshoot) {
  if (overshoot) *overshoot = false;
  const bool wasFast = decodeDirectFast(bytes, address, dc, ac, to);
  if (fast) *fast = wasFast;
  if (wasFast) return qlmOk;

  int32_t position = to.bitPosition >> 3;
  uint32_t bits = to.bits;
  int32_t count = to.bitCount;
  const auto refill = [&] {
    while (to.marker <= 0 && count < 25) {
      const uint8_t byte = bytes[position++];
      if (byte == 0xFF) {
        uint8_t next = bytes[position++];
        while (next == 0xFF) next = bytes[position++];
        if (next != 0) {
          to.marker = next;
          return;
        }
      }
      bits = bits << 8 | byte;
      count += 8;
    }
  };
  const auto store = [&] {
    to.bitPosition = position * 8;
    to.bits = bits;
    to.bitCount = count;
    return qlmOk;
  };
  constexpr int32_t kExhausted = -1, kNoCode = -2;
  const auto symbol = [&](const QlmDecodeHuffmanSpec& spec) {
    if (count < 8) refill();
    if (count < 1) return kExhausted;
    const uint32_t top = (count >= 8 ? bits >> (count - 8) : bits << (8 - count)) & 255;
    const uint32_t entry = spec.lookup[top];
    if (entry >> 16) {
      count -= static_cast<int32_t>(entry >> 16);
      return static_cast<int32_t>(entry & 0xFFFF);
    }
    int32_t length = 9;
    if (count < length) refill();
    if (count < length) return kExhausted;
    int32_t code = takeBits(bits, count, length);
    while (code > maxCodeOf(spec, length)) {
      if (count < 1) refill();
      if (count < 1) return kExhausted;
      code = code * 2 + takeBits(bits, count, 1);
      if (++length > 16) return kNoCode;
    }
    return symbolOf(spec, code, length);
  };

  to.block.fill(0);
  if (count < 8) refill();
  if (count < 1) return qlmOk;
  const int32_t dcSymbol = symbol(dc);
  if (dcSymbol == kNoCode) return qlmErrDctRange;
  if (dcSymbol == kExhausted) {
    count = 0;
    return store();
  }
  const int32_t dcSize = dcSymbol & 15;
  if (dcSize > 0) {
    if (count < dcSize) refill();
    if (count < 1) return qlmErrOutOfBuffer;
    to.lastDC = static_cast<int16_t>(to.lastDC + extend(takeBits(bits, count, dcSize), dcSize));
  }
  to.block[0] = to.lastDC;
  int32_t left = 63, scan = 1;
  while (left > 0) {
    const int32_t acSymbol = symbol(ac);
    if (acSymbol == kNoCode) return qlmErrDctRange;
    if (acSymbol == kExhausted) {
      count = 0;
      return store();
    }
    const int32_t run = (acSymbol >> 4) & 15, size = acSymbol & 15;
    if (size == 0) {
      if (run < 15) break;
      left -= 16;
      scan += 16;
      continue;
    }
    left -= run + 1;
    scan += run;
    if (count < size) refill();
    if (count < 1) return qlmErrOutOfBuffer;
    const int32_t value = extend(takeBits(bits, count, size), size), index = naturalIndex(scan++);
    if (index >= 0) to.block[static_cast<size_t>(index)] = static_cast<int16_t>(value);
    if (index < 0 && overshoot) *overshoot = true;
  }
  return store();
}

}  // namespace model
