#include "model/jpeg_statistics.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace model {
namespace {

constexpr int32_t kLongestRun = 0x7FFF, kMostCorrections = 937, kRunOf16 = 0xF0;

void countZeroRuns(int32_t& run, int32_t* ac) {
  for (; run > 15; run -= 16) ++ac[kRunOf16];
}

QlmStatus countRun(int32_t* ac, QlmEncodeHuffmanState& state) {
  int32_t run = state.eobRun;
  if (run == 0) return qlmOk;
  if (run > kLongestRun) {
    ++ac[0xE0];
    run -= kLongestRun;
  }
  const int32_t size = category(run) - 1;
  if (size > 14) return qlmErrDctRange;
  ++ac[size << 4];
  state.eobRun = 0;
  return qlmOk;
}

}  // namespace

QlmStatus countOne(int16_t value, int32_t* dc) {
  ++dc[category(std::abs(int32_t{value}))];
  return qlmOk;
}

QlmStatus countBlock(const int16_t* block, int32_t* dc, int32_t* ac, int16_t& lastDC) {
  const int32_t dcSize = category(std::abs(block[0] - lastDC));
  lastDC = block[0];
  if (dcSize >= 16) return qlmErrDctRange;
  ++dc[dcSize];
  int32_t run = 0;
  for (int32_t k = 1; k < 64; ++k) {
    const int32_t size = category(std::abs(int32_t{block[naturalIndex(k)]}));
    if (size == 0) {
      ++run;
      continue;
    }
    countZeroRuns(run, ac);
    if (size > 14) return qlmErrDctRange;
    ++ac[(run << 4) + size];
    run = 0;
  }
  if (run > 0) ++ac[0];
  return qlmOk;
}

QlmStatus countDCFirst(const int16_t* block, int32_t* dc, int16_t& lastDC, int32_t low) {
  const int32_t value = block[0] >> low, size = category(std::abs(value - lastDC));
  lastDC = static_cast<int16_t>(value);
  if (size > 11) return qlmErrDctRange;
  ++dc[size];
  return qlmOk;
}

QlmStatus countACFirst(const int16_t* block, int32_t* ac, const Band& band, QlmEncodeHuffmanState& state) {
  int32_t run = 0;
  for (int32_t k = band.first; k <= band.last; ++k) {
    const int32_t size = category(std::abs(int32_t{block[naturalIndex(k)]}) >> band.low);
    if (size == 0) {
      ++run;
      continue;
    }
    const QlmStatus status = countRun(ac, state);
    if (status != qlmOk) return status;
    countZeroRuns(run, ac);
    if (size > 10) return qlmErrDctRange;  // the encoder takes 11, too
    ++ac[(run << 4) + size];
    run = 0;
  }
  if (run == 0) return qlmOk;
  if (++state.eobRun >= kLongestRun) {
    ++ac[0xE0];
    state.eobRun = 0;
  }
  return qlmOk;
}

QlmStatus countACRefine(const int16_t* block, int32_t* ac, const Band& band, QlmEncodeHuffmanState& state) {
  int32_t magnitude[64] = {}, lastNew = 0;
  for (int32_t k = band.first; k <= band.last; ++k) {
    magnitude[k] = std::abs(int32_t{block[naturalIndex(k)]}) >> band.low;
    if (magnitude[k] == 1) lastNew = k;
  }
  int32_t run = 0, corrections = 0;
  for (int32_t k = band.first; k <= band.last; ++k) {
    if (magnitude[k] == 0) {
      ++run;
      continue;
    }
    if (run > 15 && k <= lastNew) {
      const QlmStatus status = countRun(ac, state);
      if (status != qlmOk) return status;
      state.correctionCount = 0;
      countZeroRuns(run, ac);
      corrections = 0;
    }
    if (magnitude[k] > 1) {
      ++corrections;
      continue;
    }
    if (state.eobRun != 0) {
      const QlmStatus status = countRun(ac, state);
      if (status != qlmOk) return status;
      state.correctionCount = 0;
    }
    ++ac[(run << 4) + 1];
    run = corrections = 0;
  }
  if (run == 0 && corrections == 0) return qlmOk;
  ++state.eobRun;
  state.correctionCount += corrections;
  if (state.correctionCount > kMostCorrections || state.eobRun == kLongestRun) {
    const QlmStatus status = countRun(ac, state);
    if (status != qlmOk) return status;
    state.correctionCount = 0;
  }
  return qlmOk;
}

QlmStatus countFlush(int32_t* ac, QlmEncodeHuffmanState& state) {
  const QlmStatus status = countRun(ac, state);
  encodeStateInit(state);
  return status;
}

QlmStatus optimalTable(const int32_t* statistics, uint8_t* counts, uint8_t* values) {
  constexpr int32_t kReserved = 256, kNone = -1, kCeiling = 1000000000;
  int32_t frequency[257], codeSize[257] = {}, chain[257], bits[33] = {};
  std::copy_n(statistics, 256, frequency);
  frequency[kReserved] = 1;
  std::fill(std::begin(chain), std::end(chain), kNone);
  // The rarest symbol but `other`; the highest of several, as the reserved one comes last.
  const auto rarest = [&](int32_t other) {
    int32_t found = kNone, least = kCeiling;
    for (int32_t i = 0; i <= kReserved; ++i) {
      if (i == other || frequency[i] == 0 || frequency[i] > least) continue;
      found = i;
      least = frequency[i];
    }
    return found;
  };
  for (;;) {
    const int32_t c1 = rarest(kNone), c2 = rarest(c1);
    if (c1 == kNone || c2 == kNone) break;
    frequency[c1] += frequency[c2];
    frequency[c2] = 0;
    int32_t end = c1;
    ++codeSize[end];
    while (chain[end] != kNone) {
      end = chain[end];
      ++codeSize[end];
    }
    chain[end] = c2;
    for (int32_t i = c2; i != kNone; i = chain[i]) ++codeSize[i];
  }
  for (int32_t i = 0; i <= kReserved; ++i) {
    if (codeSize[i] == 0) continue;
    if (codeSize[i] > 32) return qlmErrHuffTable;
    ++bits[codeSize[i]];
  }
  for (int32_t i = 32; i > 16; --i) {
    while (bits[i] > 0) {
      int32_t j = i - 2;
      while (bits[j] == 0) --j;
      bits[i] -= 2;
      bits[i - 1] += 1;
      bits[j + 1] += 2;
      bits[j] -= 1;
    }
  }
  int32_t longest = 16;
  while (longest > 0 && bits[longest] == 0) --longest;
  if (longest > 0) --bits[longest];
  for (int32_t length = 1; length <= 16; ++length) counts[length - 1] = static_cast<uint8_t>(bits[length]);
  for (int32_t length = 1; length <= 32; ++length)
    for (int32_t symbol = 0; symbol < 256; ++symbol)
      if (codeSize[symbol] == length) *values++ = static_cast<uint8_t>(symbol);
  return qlmOk;
}

}  // namespace model
