// The coders of JPEG XR as their steps stand.
#include "model/jpegxr_vlc.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

namespace model {
namespace {

constexpr int32_t kKind[21] = {5, 4, 8, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7, 12, 6, 6, 12, 6, 6, 7, 7};

// Where the coefficient of an index stands in its block.
constexpr int32_t kColumn[16] = {0, 1, 0, 1, 3, 2, 3, 2, 0, 1, 0, 1, 3, 2, 3, 2};
constexpr int32_t kRow[16] = {0, 0, 1, 1, 0, 0, 1, 1, 3, 3, 2, 2, 3, 3, 2, 2};
size_t placeOf(size_t index) { return static_cast<size_t>(4 * kRow[index] + kColumn[index]); }

// The codes of T.832 tables by kind, table and symbol; the first bit of a string is the first in the stream. Kinds 4
// and 8 are not coded with here.
constexpr const char* kCodes5[2][5] = {{"1", "01", "001", "0000", "0001"}, {"1", "000", "001", "010", "011"}};
constexpr const char* kCodes6[4][6] = {{"1", "00000", "001", "00001", "01", "0001"},
                                       {"01", "0000", "10", "0001", "11", "001"},
                                       {"0000", "0001", "01", "10", "11", "001"},
                                       {"00000", "00001", "01", "1", "0001", "001"}};
constexpr const char* kCodes7[2][7] = {{"01", "10", "11", "001", "0001", "00000", "00001"},
                                       {"1", "01", "001", "0001", "00001", "000000", "000001"}};
constexpr const char* kCodes12[5][12] = {
    {"00001", "000001", "0000000", "0000001", "00100", "010", "00101", "1", "00110", "0001", "00111", "011"},
    {"0010", "00010", "000000", "000001", "0011", "010", "00011", "11", "011", "100", "00001", "101"},
    {"11", "001", "0000000", "0000001", "00001", "010", "0000010", "011", "100", "101", "0000011", "0001"},
    {"001", "11", "0000000", "00001", "00010", "010", "0000001", "011", "00011", "100", "000001", "101"},
    {"010", "1", "0000001", "0001", "0000010", "011", "00000000", "0010", "0000011", "0011", "00000001", "00001"}};

// What is fixed for a kind.
struct Kind {
  int32_t tables, firstTable;
  bool secondDiscriminant;
};
Kind kindOf(int32_t kind) {
  switch (kind) {
    case 5:
      return {2, 0, false};
    case 6:
      return {4, 1, true};
    case 7:
      return {2, 0, false};
    default:
      return {5, 1, true};  // 12
  }
}

int32_t length(int32_t kind, int32_t table, int32_t symbol) {
  return static_cast<int32_t>(std::strlen(codeOf(kind, table, symbol)));
}

// The step of row r is what a symbol would save in table r + 1 against table r.
int32_t delta(int32_t kind, int32_t row, int32_t symbol) {
  return length(kind, row, symbol) - length(kind, row + 1, symbol);
}

// The table below and the table above are weighed; at either end there is one neighbour for both.
int32_t delta0(const QlmVLCTableRecord& record, int32_t symbol) {
  return delta(record.kind, record.tableIndex == 0 ? 0 : record.tableIndex - 1, symbol);
}
int32_t delta1(const QlmVLCTableRecord& record, int32_t symbol) {
  const bool last = record.tableIndex == kindOf(record.kind).tables - 1;
  return delta(record.kind, last ? record.tableIndex - 1 : record.tableIndex, symbol);
}

void adaptTable(VlcState& state, size_t i) {
  QlmVLCTableRecord& record = state.adaptive[i];
  int32_t &first = state.discriminant0[i], &second = state.discriminant1[i];
  const Kind kind = kindOf(record.kind);
  if (!record.initialised) {
    record.initialised = 1;
    first = second = 0;
    record.tableIndex = kind.firstTable;
  }
  const int32_t low = first, high = kind.secondDiscriminant ? second : first;
  if (low < record.lowerBound) {
    --record.tableIndex;
    first = second = 0;
  } else if (high > record.upperBound) {
    ++record.tableIndex;
    first = second = 0;
  } else {
    first = std::clamp(first, -64, 64);
    second = std::clamp(second, -64, 64);
  }
  record.lowerBound = record.tableIndex == 0 ? std::numeric_limits<int32_t>::min() : -8;
  record.upperBound = record.tableIndex == kind.tables - 1 ? 1 << 30 : 8;
}

// Adds one to the count of record k, and lets it change places with the record before it. The coders of blocks and of
// DC values look at the pair from record 2 on, the decoders from record 1 on.
void count(QlmVLCScanRecord* scan, int32_t k) { ++scan[k].count; }
void swapUp(QlmVLCScanRecord* scan, int32_t k) {
  if (scan[k].count > scan[k - 1].count) std::swap(scan[k], scan[k - 1]);
}

// The tables that a list is coded with, and where its first coefficient stands.
struct Group {
  size_t first;  // the later tables stand behind it
  size_t level;
  int32_t location;
};
Group groupOf(DcForm form, int32_t tableClass) {
  if (form == DcForm::k420) return {8, 11, 10};
  if (form == DcForm::k422) return {8, 11, 2};
  return {static_cast<size_t>(5 + 3 * tableClass), 11, 1};
}
Group groupOfBlock(int32_t tableClass) { return {static_cast<size_t>(13 + 3 * tableClass), 19, 1}; }

constexpr int32_t kRunBase[3][5] = {{1, 2, 3, 5, 7}, {1, 2, 3, 5, 7}, {1, 2, 3, 4, 5}};
constexpr int32_t kRunBits[3][5] = {{0, 0, 1, 1, 3}, {0, 0, 1, 1, 2}, {0, 0, 0, 0, 1}};
int32_t runRow(int32_t room) { return room >= 11 ? 0 : room >= 7 ? 1 : 2; }

// What each of the level symbols 2 to 5 begins with, and how many bits follow.
constexpr int32_t kLevelBase[6] = {2, 3, 4, 6, 10, 14};
constexpr int32_t kLevelBits[6] = {0, 0, 1, 2, 2, 2};

// ---- Reading ----

int32_t readSymbol(BitReader& in, const QlmVLCTableRecord& record) {
  std::string read;
  while (true) {
    read += static_cast<char>('0' + in.take(1));
    for (int32_t symbol = 0; symbol < record.kind; ++symbol)
      if (read == codeOf(record.kind, record.tableIndex, symbol)) return symbol;
  }
}

int32_t readLevel(BitReader& in, const Group& group, int32_t context, VlcState& state) {
  const size_t table = group.level + static_cast<size_t>(context);
  const int32_t symbol = readSymbol(in, state.adaptive[table]);
  state.discriminant0[table] += delta0(state.adaptive[table], symbol);
  if (symbol < 6) return kLevelBase[symbol] + static_cast<int32_t>(in.take(kLevelBits[symbol]));
  auto bits = static_cast<int32_t>(in.take(4)) + 4;
  if (bits == 19) bits += static_cast<int32_t>(in.take(2));
  if (bits == 22) bits += static_cast<int32_t>(in.take(3));
  return (1 << bits) + static_cast<int32_t>(in.take(bits)) + 2;
}

int32_t readCodedRun(BitReader& in, int32_t row, const VlcState& state) {
  const int32_t symbol = readSymbol(in, state.adaptive[0]);
  return kRunBase[row][symbol] + static_cast<int32_t>(in.take(kRunBits[row][symbol]));
}

int32_t readRun(BitReader& in, int32_t room, const VlcState& state) {
  if (room >= 5) return readCodedRun(in, runRow(room), state);
  if (room == 1) return 1;
  if (in.take(1)) return 1;
  if (room == 2) return 2;
  if (in.take(1)) return 2;
  if (room == 3) return 3;
  if (room == 4) return in.take(1) ? 3 : 4;
  in.take(1);  // no room at all: only a stream that is out of step comes here
  return 4;
}

// A first symbol, or the symbol of a later coefficient in the table of its context.
int32_t readCounted(BitReader& in, size_t table, VlcState& state) {
  const QlmVLCTableRecord& record = state.adaptive[table];
  const int32_t symbol = readSymbol(in, record);
  state.discriminant0[table] += delta0(record, symbol);
  state.discriminant1[table] += delta1(record, symbol);
  return symbol;
}

int32_t readLater(BitReader& in, const Group& group, int32_t location, int32_t context, VlcState& state) {
  if (location < 14) return readCounted(in, group.first + 1 + static_cast<size_t>(context), state);
  if (location > 14) return static_cast<int32_t>(in.take(1));
  if (!in.take(1)) return 0;
  if (!in.take(1)) return 2;
  return in.take(1) ? 3 : 1;
}

int32_t withSign(int32_t magnitude, uint32_t negative) { return negative ? -magnitude : magnitude; }

struct First {
  int32_t run, level, next, context;
};
First readFirst(BitReader& in, const Group& group, VlcState& state) {
  const int32_t symbol = readCounted(in, group.first, state);
  const uint32_t negative = in.take(1);
  First f{0, 1, symbol >> 2, (symbol & 1) && symbol >> 2 == 1};
  if (symbol & 2) f.level = readLevel(in, group, f.context, state);
  f.level = withSign(f.level, negative);
  if (!(symbol & 1)) f.run = readCodedRun(in, runRow(15 - group.location), state);
  return f;
}

struct Later {
  int32_t level, next, context;
};
Later readLaterLevel(BitReader& in, const Group& group, int32_t location, int32_t context, VlcState& state) {
  const int32_t symbol = readLater(in, group, location, context, state);
  const uint32_t negative = in.take(1);
  Later l{1, symbol >> 1, context & (symbol >> 1)};
  if (symbol & 1) l.level = readLevel(in, group, l.context, state);
  l.level = withSign(l.level, negative);
  return l;
}

// ---- Writing ----

void putCode(BitWriter& out, const char* code) {
  for (; *code; ++code) out.put(*code == '1', 1);
}

void putCounted(BitWriter& out, size_t table, int32_t symbol, VlcState& state) {
  const QlmVLCTableRecord& record = state.adaptive[table];
  putCode(out, codeOf(record.kind, record.tableIndex, symbol));
  state.discriminant0[table] += delta0(record, symbol);
  state.discriminant1[table] += delta1(record, symbol);
}

uint32_t magnitudeOf(int64_t v) { return static_cast<uint32_t>(v < 0 ? -v : v); }

void putLevel(BitWriter& out, const Group& group, int32_t level, int32_t context, VlcState& state) {
  const uint32_t d = magnitudeOf(level) - 2;
  const int32_t symbol = d < 2 ? static_cast<int32_t>(d) : d < 4 ? 2 : d < 8 ? 3 : d < 12 ? 4 : d < 16 ? 5 : 6;
  const size_t table = group.level + static_cast<size_t>(context);
  const QlmVLCTableRecord& record = state.adaptive[table];
  putCode(out, codeOf(record.kind, record.tableIndex, symbol));
  state.discriminant0[table] += delta0(record, symbol);
  if (symbol < 6) return out.put(d, kLevelBits[symbol]);
  int32_t bits = 4;
  while (d >> bits > 1) ++bits;
  const auto n = static_cast<uint32_t>(bits);
  if (n < 19) {
    out.put(n - 4, 4);
  } else {
    out.put(15, 4);
    if (n < 22) {
      out.put(n - 19, 2);
    } else {
      out.put(3, 2);
      out.put(n - 22, 3);
    }
  }
  out.put(d, bits);
}

void putRun(BitWriter& out, int32_t run, int32_t room, const VlcState& state) {
  if (room >= 5) {
    const int32_t row = runRow(room);
    int32_t symbol = 4;
    while (run < kRunBase[row][symbol]) --symbol;
    putCode(out, codeOf(5, state.adaptive[0].tableIndex, symbol));
    out.put(static_cast<uint32_t>(run - kRunBase[row][symbol]), kRunBits[row][symbol]);
    return;
  }
  for (int32_t i = 1; i < run; ++i) out.put(0, 1);
  if (run < room) out.put(1, 1);
}

void putList(BitWriter& out, std::span<const RunLevel> list, const Group& group, VlcState& state) {
  const auto nextOf = [&](size_t i) { return i + 1 == list.size() ? 0 : list[i + 1].run == 0 ? 1 : 2; };
  const auto big = [](int32_t level) { return magnitudeOf(level) > 1; };

  const auto [run, level] = list[0];
  int32_t next = nextOf(0);
  int32_t context = run == 0 && next == 1;
  putCounted(out, group.first, (run == 0) + 2 * big(level) + 4 * next, state);
  out.put(level < 0, 1);
  if (big(level)) putLevel(out, group, level, context, state);
  if (run != 0) putRun(out, run, 15 - group.location, state);

  int32_t location = group.location + run + 1;
  for (size_t i = 1; i < list.size(); ++i) {
    const auto [laterRun, laterLevel] = list[i];
    if (laterRun != 0) putRun(out, laterRun, 15 - location, state);
    location += laterRun;
    next = nextOf(i);
    const int32_t symbol = big(laterLevel) + 2 * next;
    if (location < 14)
      putCounted(out, group.first + 1 + static_cast<size_t>(context), symbol, state);
    else if (location == 14)
      putCode(out, std::array{"0", "110", "10", "111"}[static_cast<size_t>(symbol)]);
    else
      out.put(static_cast<uint32_t>(symbol), 1);
    out.put(laterLevel < 0, 1);
    context &= next;
    if (big(laterLevel)) putLevel(out, group, laterLevel, context, state);
    ++location;
  }
}

// ---- Scanning ----

// Walks a scan over coefficients(record), counts and swaps, and hands (record, magnitude, negative, significant) of
// each to `note`. `swapsLater`: with all bits in the level, a pass of its own at the end.
template <typename Coefficients, typename Note>
std::vector<RunLevel> walk(QlmVLCScanRecord* scan, int32_t numBits, bool swapsLater, const Coefficients& coefficients,
                           const Note& note) {
  std::vector<RunLevel> list;
  const uint32_t mask = (1u << numBits) - 1;
  int32_t run = 0;
  for (int32_t k = 1; k < 16; ++k) {
    const int64_t v = coefficients(scan[k]);
    const uint32_t a = magnitudeOf(v);
    note(scan[k], a, v<0, a> mask);
    if (a <= mask) {
      ++run;
      continue;
    }
    // Back in 32 bits: the lowest integer is its own negative.
    const uint32_t level = a >> numBits;
    list.push_back({run, static_cast<int32_t>(v < 0 ? 0 - level : level)});
    run = 0;
    count(scan, k);
    if (k >= 2 && !swapsLater) swapUp(scan, k);
  }
  if (!swapsLater) return list;
  bool any = false;
  for (int32_t k = 1; k < 16; ++k) any |= scan[k].count > scan[k - 1].count;
  for (int32_t k = 2; any && k < 16; ++k)
    if (coefficients(scan[k]) != 0) swapUp(scan, k);
  return list;
}

template <typename T>
auto inBlock(const VlcBlock<T>& block) {
  return [&](const QlmVLCScanRecord& r) { return block[static_cast<size_t>(4 * r.row + r.column)]; };
}

}  // namespace

const char* codeOf(int32_t kind, int32_t table, int32_t symbol) {
  switch (kind) {
    case 5:
      return kCodes5[table][symbol];
    case 6:
      return kCodes6[table][symbol];
    case 7:
      return kCodes7[table][symbol];
    default:
      return kCodes12[table][symbol];
  }
}

// ---- State ----

void initVlc(VlcState& state) {
  constexpr int32_t kOrder[3][16] = {{0, 10, 2, 12, 5, 9, 4, 8, 1, 13, 6, 15, 14, 3, 11, 7},
                                     {0, 5, 10, 12, 1, 2, 8, 4, 6, 9, 3, 14, 13, 7, 11, 15},
                                     {0, 1, 4, 5, 2, 8, 6, 9, 3, 12, 10, 7, 13, 11, 14, 15}};
  state = {};
  for (size_t i = 0; i < 21; ++i) state.adaptive[i].kind = kKind[i];
  for (int32_t round = 0; round < 2; ++round) {
    for (QlmVLCTableRecord& record : state.adaptive) record.initialised = 0;
    adaptVlc(state, 0);
    adaptVlc(state, 1);
  }
  for (int32_t which = 0; which < 3; ++which)
    for (size_t k = 0; k < 16; ++k) {
      const int32_t index = kOrder[which][k];
      state.scan(which)[k] = {0, index, kColumn[index], kRow[index]};
    }
}

void adaptVlc(VlcState& state, int32_t mode) {
  if (mode == 0) {
    adaptTable(state, 0);
    for (size_t i = 5; i <= 12; ++i) adaptTable(state, i);
  } else {
    for (size_t i = 13; i <= 20; ++i) adaptTable(state, i);
  }
}

void resetScan(VlcState& state, int32_t which) {
  constexpr int32_t kCounts[16] = {32767, 32, 30, 28, 26, 24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4};
  for (size_t k = 0; k < 16; ++k) state.scan(which)[k].count = kCounts[k];
}

std::vector<RunLevel> scanDc(const int32_t* src, int32_t numBits, int32_t* residual, VlcState& state) {
  state.current = 2;
  const uint32_t mask = (1u << numBits) - 1;
  return walk(
      state.scan(2), numBits, numBits == 0, [&](const QlmVLCScanRecord& r) { return src[r.index]; },
      [&](const QlmVLCScanRecord& r, uint32_t a, bool negative, bool significant) {
        if (numBits == 0) return;
        residual[r.index] = static_cast<int32_t>(significant ? (a & mask) << 1 : (a << 2) + 2 * negative + (a != 0));
      });
}

// ---- Bits ----

void BitReader::refill() {
  if (count >= 16) return;
  buffer |= static_cast<uint32_t>(next[0] << 8 | next[1]) << (16 - count);
  next += 2;
  count += 16;
}

uint32_t BitReader::take(int32_t bits) {
  uint32_t value = 0;
  for (; bits > 0; --bits) {
    value = value << 1 | buffer >> 31;
    buffer <<= 1;
    --count;
    refill();
  }
  return value;
}

void BitWriter::drain() {
  if (count <= 16) return;
  out.push_back(static_cast<uint8_t>(buffer >> 24));
  out.push_back(static_cast<uint8_t>(buffer >> 16));
  buffer <<= 16;
  count -= 16;
}

void BitWriter::put(uint32_t value, int32_t bits) {
  while (bits-- > 0) {
    buffer |= (value >> bits & 1) << (31 - count);
    ++count;
    drain();
  }
}

// ---- Blocks ----

template <typename T>
int32_t decodeBlock(BitReader& in, T scale, VlcBlock<T>& block, int32_t tableClass, VlcState& state) {
  in.refill();
  const Group group = groupOfBlock(tableClass);
  QlmVLCScanRecord* const scan = state.scan(state.current);
  const auto store = [&](int32_t level, int32_t position) {
    const QlmVLCScanRecord& r = scan[position];
    block[static_cast<size_t>(4 * r.row + r.column)] = static_cast<T>(int64_t{level} * scale);
    count(scan, position);
    if (position != 0) swapUp(scan, position);
  };

  block.fill(0);
  const First first = readFirst(in, group, state);
  int32_t position = (first.run + 1) & 15;
  store(first.level, position);
  int32_t coefficients = 1, location = (position + 1) & 15;
  for (int32_t next = first.next, context = first.context; next != 0;) {
    if (next != 1) location += readRun(in, 15 - location, state);
    if (location >= 16) return 16;
    const Later later = readLaterLevel(in, group, location, context, state);
    next = later.next;
    context = later.context;
    position = location & 15;
    store(later.level, position);
    ++coefficients;
    location = (position + 1) & 15;
  }
  return coefficients;
}

template <typename T>
int32_t encodeBlock(const VlcBlock<T>& block, int32_t tableClass, int32_t numBits, BitWriter& out, VlcState& state) {
  out.drain();
  const std::vector<RunLevel> list =
      walk(state.scan(state.current), numBits, numBits == 0, inBlock(block), [](auto&&...) {});
  if (!list.empty()) putList(out, list, groupOfBlock(tableClass), state);
  return static_cast<int32_t>(list.size());
}

template <typename T>
int32_t encodeBlockFlex(const VlcBlock<T>& block, int32_t tableClass, int32_t numBits, int32_t trimBits,
                        int32_t* residual, BitWriter& out, VlcState& state) {
  out.drain();
  const uint32_t mask = (1u << numBits) - 1;
  const std::vector<RunLevel> list = walk(
      state.scan(state.current), numBits, false, inBlock(block),
      [&](const QlmVLCScanRecord& r, uint32_t a, bool negative, bool significant) {
        const uint32_t t = (a & mask) >> trimBits;
        residual[r.index] = static_cast<int32_t>(significant ? 2 * t : (t << 2) + 2 * (negative && t != 0) + (t != 0));
      });
  if (!list.empty()) putList(out, list, groupOfBlock(tableClass), state);
  return static_cast<int32_t>(list.size());
}

// ---- Lists of DC values ----

std::vector<RunLevel> decodeDcList(BitReader& in, DcForm form, int32_t tableClass, VlcState& state) {
  in.refill();
  const Group group = groupOf(form, tableClass);
  const First first = readFirst(in, group, state);
  std::vector<RunLevel> list{{first.run, first.level}};
  int32_t location = group.location + first.run + 1;
  for (int32_t next = first.next, context = first.context; next != 0;) {
    const int32_t run = next == 1 ? 0 : readRun(in, 15 - location, state);
    const Later later = readLaterLevel(in, group, location + run, context, state);
    list.push_back({run, later.level});
    next = later.next;
    context = later.context;
    location += run + 1;
  }
  return list;
}

std::optional<int32_t> placeDc(std::span<const RunLevel> list, std::span<int32_t> dst) {
  std::ranges::fill(dst, 0);
  size_t position = 0;
  for (const auto& [run, level] : list) {
    position += static_cast<size_t>(run);
    if (position >= dst.size()) return std::nullopt;
    dst[position++] = level;
  }
  return static_cast<int32_t>(list.size());
}

int32_t placeDc444(std::span<const RunLevel> list, int32_t* dst, VlcState& state) {
  QlmVLCScanRecord* const scan = state.scan(2);
  int32_t position = 1;
  for (const auto& [run, level] : list) {
    position += run;
    dst[scan[position].index] = level;
    count(scan, position);
    swapUp(scan, position);
    ++position;
  }
  return static_cast<int32_t>(list.size());
}

void encodeDcList(std::span<const RunLevel> list, DcForm form, int32_t tableClass, BitWriter& out, VlcState& state) {
  out.drain();
  putList(out, list, groupOf(form, tableClass), state);
}

// ---- Fixed lengths ----

namespace {

// The coefficients in the order of the fixed-length coders, by index.
constexpr size_t kFixedOrder[15] = {5, 1, 6, 10, 12, 8, 14, 2, 4, 3, 7, 9, 13, 11, 15};

}  // namespace

template <typename T>
void decodeFixed(BitReader& in, VlcBlock<T>& block, int32_t numBits, T scale, bool refine) {
  if (numBits == 0) return;
  in.refill();
  for (const size_t index : kFixedOrder) {
    T& c = block[placeOf(index)];
    const int64_t x = in.peek(numBits);
    const bool negative = in.peek(numBits + 1) & 1;
    if (x == 0) {
      in.take(numBits);
    } else if (!refine || c == 0) {
      in.take(numBits + 1);
      c = static_cast<T>(negative ? -x * scale : x * scale);
    } else {
      in.take(numBits);
      c = static_cast<T>(c < 0 ? c - x * scale : c + x * scale);
    }
  }
}

template <typename T>
void encodeFixed(const VlcBlock<T>& block, const int32_t* residual, BitWriter& out, int32_t numBits, int32_t trimBits,
                 bool useResidual) {
  out.drain();
  for (const size_t index : kFixedOrder) {
    if (useResidual) {
      const int32_t e = residual[index];
      out.put(static_cast<uint32_t>(e >> 1), numBits + (e & 1));
      continue;
    }
    const int64_t v = block[placeOf(index)];
    const uint32_t y = magnitudeOf(v) >> trimBits;
    out.put(y, numBits);
    if (y != 0) out.put(v < 0, 1);
  }
}

#define INSTANTIATE(T)                                                                                              \
  template int32_t decodeBlock(BitReader&, T, VlcBlock<T>&, int32_t, VlcState&);                                    \
  template int32_t encodeBlock(const VlcBlock<T>&, int32_t, int32_t, BitWriter&, VlcState&);                        \
  template int32_t encodeBlockFlex(const VlcBlock<T>&, int32_t, int32_t, int32_t, int32_t*, BitWriter&, VlcState&); \
  template void decodeFixed(BitReader&, VlcBlock<T>&, int32_t, T, bool);                                            \
  template void encodeFixed(const VlcBlock<T>&, const int32_t*, BitWriter&, int32_t, int32_t, bool);
INSTANTIATE(int16_t)
INSTANTIATE(int32_t)
#undef INSTANTIATE

}  // namespace model
