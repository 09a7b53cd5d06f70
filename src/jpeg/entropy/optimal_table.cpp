// The lists of a Huffman table that is optimal for given statistics (T.81 K.2, figures K.1 to K.4): code sizes by
// merging the two rarest symbols over and over, then the limit of 16 bits, and the values by code size.
#include <algorithm>

#include "frame/frame.h"
#include "frame/wrap.h"

namespace {

constexpr int32_t kReserved = 256;  // a symbol that occurs once, so that no code of a real one is all ones
constexpr int32_t kSymbols = 257;
constexpr int32_t kCeiling = 1000000000;  // what is more frequent is never merged
constexpr int32_t kLongestSize = 32;
constexpr int32_t kLongestCode = 16;

// A symbol, or several that have been merged, with their place in the tree of merges. The order of the numbers is that
// of merging: by frequency, among equals the higher symbol first. Merged symbols stand under the first of the two.
using Candidate = int64_t;
constexpr Candidate candidate(int32_t frequency, int32_t symbol, int32_t node) {
  return int64_t{frequency} * (1 << 20) + (kReserved - symbol) * (1 << 10) + node;
}
constexpr int32_t frequencyOf(Candidate c) { return static_cast<int32_t>(c >> 20); }
constexpr int32_t symbolOf(Candidate c) { return kReserved - static_cast<int32_t>(c >> 10 & 1023); }
constexpr int32_t nodeOf(Candidate c) { return static_cast<int32_t>(c & 1023); }
constexpr bool canMerge(int32_t frequency) { return frequency != 0 && frequency <= kCeiling; }

// Code sizes by symbol, 0 for those without a code.
void findSizes(const int32_t* statistics, int32_t* sizes) {
  // Single symbols in order; merged ones in order as well, which takes no work but among equals, as each merge gives
  // more than the one before (counts that overflow do not, and are sorted in). The next is at the front of either.
  Candidate single[kSymbols], merged[kSymbols];
  int32_t singles = 0, mergedEnd = 0;
  for (int32_t symbol = 0; symbol < kSymbols; ++symbol) {
    const int32_t frequency = symbol == kReserved ? 1 : statistics[symbol];
    if (canMerge(frequency)) single[singles++] = candidate(frequency, symbol, symbol);
  }
  std::sort(single, single + singles);

  int32_t nextSingle = 0, nextMerged = 0;
  const auto takeRarest = [&] {
    const bool isMerged = nextSingle == singles || (nextMerged < mergedEnd && merged[nextMerged] < single[nextSingle]);
    return isMerged ? merged[nextMerged++] : single[nextSingle++];
  };
  int32_t parent[2 * kSymbols];
  int32_t nodes = kSymbols;
  std::fill(parent, parent + kSymbols, -1);
  while (singles - nextSingle + mergedEnd - nextMerged >= 2) {
    const Candidate a = takeRarest(), b = takeRarest();
    parent[nodeOf(a)] = parent[nodeOf(b)] = nodes;
    parent[nodes] = -1;
    const int32_t frequency = wrapAdd32(frequencyOf(a), frequencyOf(b));
    if (canMerge(frequency)) {
      const Candidate both = candidate(frequency, symbolOf(a), nodes);
      int32_t place = mergedEnd++;
      for (; place > nextMerged && merged[place - 1] > both; --place) merged[place] = merged[place - 1];
      merged[place] = both;
    }
    ++nodes;
  }

  int32_t depth[2 * kSymbols];
  for (int32_t node = nodes - 1; node >= 0; --node) depth[node] = parent[node] < 0 ? 0 : depth[parent[node]] + 1;
  std::copy(depth, depth + kSymbols, sizes);
}

// T.81 figure K.3: a pair of the longest codes becomes one code a bit shorter and one that splits a shorter code.
void limitSizes(int32_t* counts) {
  for (int32_t i = kLongestSize; i > kLongestCode; --i) {
    while (counts[i] > 0) {
      int32_t j = i - 2;
      while (counts[j] == 0) --j;
      counts[i] -= 2;
      counts[i - 1] += 1;
      counts[j + 1] += 2;
      counts[j] -= 1;
    }
  }
  int32_t longest = kLongestCode;
  while (longest > 0 && counts[longest] == 0) --longest;
  if (longest > 0) --counts[longest];  // of the reserved symbol
}

}  // namespace

QLM_EXPORT(qlmiEncodeHuffmanRawTableInit_JPEG_8u)
(const int32_t* statistics, uint8_t* counts, uint8_t* values) {
  if (!statistics || !counts || !values) return qlmErrNullPointer;

  int32_t sizes[kSymbols];
  findSizes(statistics, sizes);

  int32_t countOfSize[kLongestSize + 1] = {};
  for (const int32_t size : sizes) {
    if (size > kLongestSize) return qlmErrHuffTable;
    if (size != 0) ++countOfSize[size];
  }
  // Sizes from before the limit give the order of the values, also of those whose codes it shortens.
  int32_t place[kLongestSize + 1] = {};
  for (int32_t size = 1; size < kLongestSize; ++size) {
    place[size + 1] = place[size] + countOfSize[size] - (sizes[kReserved] == size ? 1 : 0);
  }
  for (int32_t symbol = 0; symbol < kReserved; ++symbol) {
    if (sizes[symbol] != 0) values[place[sizes[symbol]]++] = static_cast<uint8_t>(symbol);
  }
  limitSizes(countOfSize);
  for (int32_t length = 1; length <= kLongestCode; ++length) {
    counts[length - 1] = static_cast<uint8_t>(countOfSize[length]);
  }
  return qlmOk;
}
