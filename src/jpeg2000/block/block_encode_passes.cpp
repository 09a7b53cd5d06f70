// The coding passes of the code-block encoder, over eight columns of a stripe at a time.
//
// Such a group of 32 samples has masks of 32 bits in the order of the scan: bit 4 * column + row. With what context a
// sample is coded depends on what became significant before it; but an encoder knows all bits of a plane. So first the
// masks tell which samples a pass codes and which of them become significant. Then these are entered into the flag
// words. Last, the contexts of the whole group are found in lanes: of its neighbours above, to the left and below that,
// a sample sees what this pass has made of them, of all others what was there before.
#include "jpeg2000/block/block_encode_passes.h"

#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg2000/block/distortions.h"
#include "jpeg2000/block/flag_words.h"

namespace {

constexpr int32_t kColumns = 8;
constexpr uint32_t kFirstRow = 0x11111111, kLastRow = 0x88888888;

// ---- Groups ----

struct Stripe {
  const QlmEncodePass& pass;
  int32_t y;
  int32_t rows;     // 1 to 4
  uint32_t* words;  // of its first pair of rows
};

template <typename Visit>
void forEachStripe(const QlmEncodePass& pass, Visit visit) {
  for (int32_t y = 0; y < pass.size.height; y += 4) {
    const int32_t left = pass.size.height - y;
    visit(Stripe{pass, y, left < 4 ? left : 4, pass.words + ptrdiff_t{y / 2} * pass.rowWords});
  }
}

int32_t columnsAt(const Stripe& stripe, int32_t x) {
  const int32_t left = stripe.pass.size.width - x;
  return left < kColumns ? left : kColumns;
}

// The samples of a group that exist.
uint32_t existing(const Stripe& stripe, int32_t x) {
  const uint32_t rows = kFirstRow * ((1u << stripe.rows) - 1);
  return rows >> 4 * (kColumns - columnsAt(stripe, x));
}

// Four values a column, in four rows or as the halves of two words.
struct Samples {
  __m256i row[4];
};
struct Words {
  __m256i first, second;
};

// What does not exist is 0.
Samples loadSamples(const Stripe& stripe, int32_t x) {
  const QlmEncodePass& pass = stripe.pass;
  const int32_t columns = columnsAt(stripe, x);
  const int32_t* const from = wrapAddress(pass.samples, ptrdiff_t{pass.step} * stripe.y) + x;
  Samples samples;
  if (columns == kColumns && stripe.rows == 4) {
    for (int32_t r = 0; r < 4; ++r) samples.row[r] = load32(wrapAddress(from, ptrdiff_t{pass.step} * r));
    return samples;
  }
  static constexpr int32_t kMasks[2 * kColumns] = {-1, -1, -1, -1, -1, -1, -1, -1};
  const __m256i mask = load32(kMasks + kColumns - columns);
  for (int32_t r = 0; r < 4; ++r)
    samples.row[r] = r < stripe.rows ? _mm256_maskload_epi32(wrapAddress(from, ptrdiff_t{pass.step} * r), mask)
                                     : _mm256_setzero_si256();
  return samples;
}

// A row of words goes on behind the last column at least to the end of the lanes, or by one word into the next row.
// Behind a stripe of up to two rows there may be none.
Words loadWords(const Stripe& stripe, int32_t x) {
  return {load32(stripe.words + x),
          stripe.rows > 2 ? load32(stripe.words + stripe.pass.rowWords + x) : _mm256_setzero_si256()};
}
void storeWords(const Stripe& stripe, int32_t x, const Words& words) {
  store32(stripe.words + x, words.first);
  if (stripe.rows > 2) store32(stripe.words + stripe.pass.rowWords + x, words.second);
}

template <typename Function>
Words onBoth(const Words& w, Function f) {
  return {f(w.first), f(w.second)};
}
__m256i inAllWords(uint32_t bits) { return _mm256_set1_epi32(static_cast<int32_t>(bits)); }

// ---- Masks ----

// The top bits of the halves.
uint32_t scanMask(const Words& words) {
  static constexpr ShufflePattern kInOrder = makeShuffle([](int i) { return (i & ~3) | (i & 1) << 1 | (i >> 1 & 1); });
  const __m256i rows0213 =
      _mm256_blendv_epi8(_mm256_srli_epi32(words.first, 8), words.second, _mm256_set1_epi16(-0x100));
  return static_cast<uint32_t>(_mm256_movemask_epi8(shuffleBytes(rows0213, kInOrder)));
}

// The top bits of the samples, all shifted to the left.
uint32_t scanMask(const Samples& samples, int32_t shift) {
  // Each half has the rows of four columns, row by row.
  static constexpr ShufflePattern kTransposed = makeShuffle([](int i) { return (i % 4) * 4 + i / 4; });
  const auto shifted = [&](int r) { return _mm256_sll_epi32(samples.row[r], _mm_cvtsi32_si128(shift)); };
  const __m256i bytes =
      _mm256_packs_epi16(_mm256_packs_epi32(shifted(0), shifted(1)), _mm256_packs_epi32(shifted(2), shifted(3)));
  return static_cast<uint32_t>(_mm256_movemask_epi8(shuffleBytes(bytes, kTransposed)));
}
uint32_t bitsOfPlane(const Samples& samples, int32_t plane) { return scanMask(samples, 31 - plane); }
uint32_t negatives(const Samples& samples) { return scanMask(samples, 0); }

// A mask as `bit` of the halves.
Words spread(uint32_t mask, uint32_t bit) {
  const __m256i columns = _mm256_srlv_epi32(inAllWords(mask), _mm256_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28));
  // Rows 0 and 2 go to bit 0, rows 1 and 3 to bit 16, then both to their place.
  const auto pair = [&](__m256i v) {
    const __m256i both =
        _mm256_or_si256(_mm256_and_si256(v, inAllWords(1)), _mm256_slli_epi32(_mm256_and_si256(v, inAllWords(2)), 15));
    return _mm256_sll_epi32(both, _mm_cvtsi32_si128(__builtin_ctz(bit)));
  };
  return {pair(columns), pair(_mm256_srli_epi32(columns, 2))};
}

// The neighbours of a set of samples that the scan comes to behind them, in the same group.
uint32_t neighboursBehind(uint32_t set) {
  const uint32_t notFirst = set & ~kFirstRow, notLast = set & ~kLastRow;
  return notLast << 1 | notFirst << 3 | set << 4 | notLast << 5;
}

// Of each column, as the bit of its first row, whether one of its samples is in the set.
uint32_t columnsOf(uint32_t set) {
  set |= set >> 2;
  return (set | set >> 1) & kFirstRow;
}

// ---- Flags and distortion of samples that become significant ----

// What a sample tells the words around it: those of columns -1, 0 and 1 in two rows of words.
struct Marks {
  uint32_t above[3], below[3];
};
using MarkTable = std::array<Marks, 8>;  // by row, then by sign

constexpr MarkTable marks(bool causal) {
  MarkTable table{};
  for (uint32_t i = 0; i < table.size(); ++i) {
    // Four rows of three words, of which the middle two are the marks.
    uint32_t words[12] = {};
    const uint32_t row = i / 2, negative = i % 2;
    if (row % 2) {
      setLowerSignificant<kSignificant>(words + 4, 3, negative);
    } else if (row == 0 && causal) {
      setUpperSignificant<false, kSignificant>(words + 7, 3, negative);
    } else {
      setUpperSignificant<true, kSignificant>(words + 7, 3, negative);
    }
    for (int c = 0; c < 3; ++c) table[i].above[c] = words[3 + c], table[i].below[c] = words[6 + c];
  }
  return table;
}
constexpr MarkTable kMarks = marks(false), kCausalMarks = marks(true);

// Enters samples that become significant into the flag words, and returns what that takes from the distortion.
uint32_t markSignificant(const Stripe& stripe, int32_t x, uint32_t events, uint32_t negative) {
  const QlmEncodePass& pass = stripe.pass;
  const Marks* const marks = (pass.causal ? kCausalMarks : kMarks).data();
  const ptrdiff_t rowWords = pass.rowWords, step = pass.step;
  const int32_t shiftRight = pass.shiftRight, shiftLeft = pass.shiftLeft;
  const auto mask = static_cast<uint32_t>(pass.distortionMask);
  const int32_t* const distortions = pass.distortionTable;
  uint32_t* const words = stripe.words + x;
  const int32_t* const samples = wrapAddress(pass.samples, step * stripe.y) + x;
  uint32_t distortion = 0;
  for (; events; events &= events - 1) {
    const int32_t at = __builtin_ctz(events);
    const int32_t column = at / 4, row = at % 4;
    const Marks& mark = marks[static_cast<uint32_t>(2 * row) + (negative >> at & 1)];
    // The rows of words that a sample touches begin one above the stripe, or with its first or second.
    uint32_t* const above = words + column + ((row + 1) / 2 - 1) * rowWords;
    uint32_t* const below = above + rowWords;
    for (int c = 0; c < 3; ++c) above[c - 1] |= mark.above[c], below[c - 1] |= mark.below[c];

    const auto sample = static_cast<uint32_t>(loadAny(wrapAddress(samples, step * row) + column));
    distortion += static_cast<uint32_t>(distortions[sample >> shiftRight << shiftLeft & mask]);
  }
  return distortion;
}

// ---- Contexts ----

constexpr int bitOf(int v, int i) { return v >> i & 1; }

// The significance context in two look-ups: one half of the neighbour bits says which context it is at least, and how
// many of the neighbours in the other half may raise it.
struct SignificanceTables {
  bool cornersLead;  // else those beside, above and below
  ShufflePattern least, mayRaise, count;
};
constexpr SignificanceTables significanceTables(QlmBandClass band) {
  const bool cornersLead = band == QlmBandClass::kHH;
  constexpr auto count = [](int v) { return bitOf(v, 0) + bitOf(v, 1) + bitOf(v, 2) + bitOf(v, 3); };
  const auto label = [=](int v, bool allOthers) {
    return cornersLead ? significanceLabel(band, 2 * allOthers, 2 * allOthers, count(v))
                       : significanceLabel(band, bitOf(v, 2) + bitOf(v, 3), bitOf(v, 0) + bitOf(v, 1), 4 * allOthers);
  };
  return {cornersLead, makeShuffle([=](int v) { return kFirstSignificanceContext + label(v, false); }),
          makeShuffle([=](int v) { return label(v, true) - label(v, false); }), makeShuffle(count)};
}
constexpr SignificanceTables kSignificanceTables[3] = {significanceTables(QlmBandClass::kLowOrLH),
                                                       significanceTables(QlmBandClass::kHL),
                                                       significanceTables(QlmBandClass::kHH)};
static_assert([] {
  for (size_t band = 0; band < 3; ++band) {
    const SignificanceTables& t = kSignificanceTables[band];
    for (size_t bits = 0; bits < 256; ++bits) {
      const size_t corners = bits & 15, adjacent = bits >> 4;
      const size_t leading = t.cornersLead ? corners : adjacent, others = t.cornersLead ? adjacent : corners;
      const int raise = t.count.index[others], most = t.mayRaise.index[leading];
      if (t.least.index[leading] + (raise < most ? raise : most) != kSignificanceContexts[band][bits]) return false;
    }
  }
  return true;
}());

// The sign context: the contributions of Table D.2 by two significance and two sign bits, from 0 to 2, that of the
// horizontal neighbours times 3, and the entry of kSignContexts by their sum.
constexpr int contribution(int v) {
  const int sum = bitOf(v, 0) * (1 - 2 * bitOf(v, 2)) + bitOf(v, 1) * (1 - 2 * bitOf(v, 3));
  return 1 + (sum > 1 ? 1 : sum < -1 ? -1 : sum);
}
constexpr ShufflePattern kVertical = makeShuffle([](int v) { return contribution(v); });
constexpr ShufflePattern kHorizontal = makeShuffle([](int v) { return 3 * contribution(v); });
constexpr ShufflePattern kSign = makeShuffle([](int v) {
  if (v > 8) return 0;
  const QlmSignLabel found = signLabel(v / 3 - 1, v % 3 - 1);
  return found.label + 2 + (found.inverted ? -0x80 : 0);
});

__m256i lookUp(const ShufflePattern& table, __m256i index) { return _mm256_shuffle_epi8(load32(table.index), index); }

// By 16 bits a sample: the significance context, 8 bits above it the sign context, and the sign's inversion on top.
__m256i contextsOf(const SignificanceTables& tables, __m256i flags) {
  const auto bitsFrom = [&](int from, int mask) {
    return _mm256_and_si256(_mm256_srl_epi16(flags, _mm_cvtsi32_si128(from)),
                            _mm256_set1_epi16(static_cast<int16_t>(mask)));
  };
  const __m256i corners = bitsFrom(0, 15), adjacent = bitsFrom(4, 15);
  const __m256i leading = tables.cornersLead ? corners : adjacent, others = tables.cornersLead ? adjacent : corners;
  const __m256i raise = _mm256_min_epu8(lookUp(tables.count, others), lookUp(tables.mayRaise, leading));
  const __m256i significance = _mm256_add_epi8(lookUp(tables.least, leading), raise);
  const __m256i vertical = lookUp(kVertical, _mm256_or_si256(bitsFrom(4, 3), bitsFrom(7, 12)));
  const __m256i horizontal = lookUp(kHorizontal, _mm256_or_si256(bitsFrom(6, 3), bitsFrom(9, 12)));
  const __m256i sign = lookUp(kSign, _mm256_add_epi8(vertical, horizontal));
  return _mm256_or_si256(_mm256_and_si256(significance, _mm256_set1_epi16(0xFF)), _mm256_slli_epi16(sign, 8));
}

// What a sample sees of its neighbours at its turn: of those that the scan has passed what there is now, of the others
// what there was when the pass came to the group.
constexpr uint32_t kPassed = kNorthWest | kNorth | kWest | kSouthWest | kNorthNegative | kWestNegative;
__m256i flagsAtTurn(__m256i before, __m256i now) {
  return _mm256_xor_si256(before, _mm256_and_si256(_mm256_xor_si256(before, now), inAllWords(inBoth(kPassed))));
}

// ---- Symbols ----

// Where the next symbol goes.
struct Symbols {
  uint8_t *decisions, *contexts;

  void skip(int count) { decisions += count, contexts += count; }
};
template <typename T>
void putBytes(uint8_t* to, T bytes) {
  __builtin_memcpy(to, &bytes, sizeof bytes);
}

// Eight columns of four samples from their words.
struct Columns {
  alignas(32) uint64_t column[kColumns];

  explicit Columns(const Words& words) {
    const __m256i low = _mm256_unpacklo_epi32(words.first, words.second);
    const __m256i high = _mm256_unpackhi_epi32(words.first, words.second);
    store32(column, lowHalves(low, high));
    store32(column + 4, highHalves(low, high));
  }
};

// What is coded of a group: the significance of some samples, the signs of some, and columns in run mode by the bit of
// their first row. Signs are coded of the samples that become significant.
struct Coded {
  uint32_t significance, signs, negative;
  uint32_t runs;
};

// By what is coded of the four samples of a column, signs in the upper half of the index, the bytes of a column that
// are coded: two a sample, its significance and its sign.
constexpr auto kCodedBytes = [] {
  std::array<uint64_t, 256> bytes{};
  for (size_t i = 0; i < 256; ++i)
    for (size_t bit = 0; bit < 8; ++bit)
      if (i >> bit & 1) bytes[i] |= uint64_t{0xFF} << (bit % 4 * 16 + bit / 4 * 8);
  return bytes;
}();

template <bool kRaw, bool kRuns>
Symbols appendGroup(Symbols to, QlmBandClass band, const Coded& coded, const Words& before, const Words& now) {
  // Two bytes a sample.
  const SignificanceTables& tables = kSignificanceTables[static_cast<size_t>(band)];
  const Words significant = spread(coded.signs, 1), negative = spread(coded.negative, 0x8000);
  Words contexts{}, decisions;
  const auto decide = [&](__m256i event, __m256i sign) {
    return _mm256_or_si256(event, _mm256_and_si256(_mm256_srli_epi16(sign, 7), _mm256_set1_epi16(0x100)));
  };
  if constexpr (kRaw) {
    decisions = {decide(significant.first, negative.first), decide(significant.second, negative.second)};
  } else {
    contexts = {contextsOf(tables, flagsAtTurn(before.first, now.first)),
                contextsOf(tables, flagsAtTurn(before.second, now.second))};
    decisions = {decide(significant.first, _mm256_xor_si256(negative.first, contexts.first)),
                 decide(significant.second, _mm256_xor_si256(negative.second, contexts.second))};
    contexts = onBoth(contexts, [](__m256i v) { return _mm256_and_si256(v, _mm256_set1_epi16(0x7FFF)); });
  }
  const Columns contextColumns(contexts), decisionColumns(decisions);

  uint64_t columns = _pdep_u64(coded.significance, 0x0F0F0F0F0F0F0F0F) | _pdep_u64(coded.signs, 0xF0F0F0F0F0F0F0F0);
  for (int c = 0; c < kColumns; ++c, columns >>= 8) {
    if constexpr (kRuns) {
      // Run mode: whether the run ends, by the run-length context, and the row where it does, by the uniform context.
      const auto signs = static_cast<uint32_t>(columns >> 4 & 15);
      const uint32_t run = coded.runs >> (4 * c) & 1, ended = signs != 0;
      const auto row = static_cast<uint32_t>(__builtin_ctz(signs | 16)) & 3;
      putBytes<uint32_t>(to.contexts, kRunContext);
      putBytes<uint32_t>(to.decisions, ended | (row >> 1) << 8 | (row & 1) << 16);
      to.skip(static_cast<int>(run + 2 * (run & ended)));
    }
    const uint64_t bytes = kCodedBytes[columns & 0xFF];
    putBytes<uint64_t>(to.decisions, _pext_u64(decisionColumns.column[c], bytes));
    if constexpr (!kRaw) putBytes<uint64_t>(to.contexts, _pext_u64(contextColumns.column[c], bytes));
    to.skip(__builtin_popcount(columns & 0xFF));
  }
  return to;
}

// ---- Passes ----

void finish(QlmEncodePass& pass, const Symbols& to, uint32_t distortion) {
  pass.decisions = to.decisions;
  pass.contexts = to.contexts;
  pass.distortion = distortion;
}

template <bool kRaw>
void significancePass(QlmEncodePass& pass) {
  Symbols to{pass.decisions, pass.contexts};
  uint32_t distortion = 0;
  forEachStripe(pass, [&](const Stripe& stripe) {
    for (int32_t x = 0; x < pass.size.width; x += kColumns) {
      const Words before = loadWords(stripe, x);
      const uint32_t open = ~scanMask(before) & existing(stripe, x);
      uint32_t coded = scanMask(onBoth(before, [](__m256i w) { return _mm256_slli_epi32(w, 2); })) & open;
      if (!coded) continue;

      // The significance of a sample makes its neighbours candidates, those behind it in this pass.
      const Samples samples = loadSamples(stripe, x);
      const uint32_t bits = bitsOfPlane(samples, pass.plane);
      for (uint32_t more = coded; more;) {
        more = neighboursBehind(more & bits) & open & ~coded;
        coded |= more;
      }
      const Coded symbols{coded, coded & bits, negatives(samples), 0};
      distortion += markSignificant(stripe, x, symbols.signs, symbols.negative);
      const Words now = loadWords(stripe, x);
      to = appendGroup<kRaw, false>(to, pass.band, symbols, before, now);
      const Words visited = spread(symbols.significance, kVisited);
      storeWords(stripe, x, {_mm256_or_si256(now.first, visited.first), _mm256_or_si256(now.second, visited.second)});
    }
  });
  finish(pass, to, distortion);
}

// Decisions and contexts depend on nothing that the pass changes.
template <bool kRaw, bool kExact>
void refinementPass(QlmEncodePass& pass) {
  Symbols to{pass.decisions, pass.contexts};
  __m256i distances = _mm256_setzero_si256();  // from u = 1, or their squares
  uint32_t count = 0;
  forEachStripe(pass, [&](const Stripe& stripe) {
    for (int32_t x = 0; x < pass.size.width; x += kColumns) {
      const Words words = loadWords(stripe, x);
      // Significant and not visited, at the top bit.
      const Words refined = onBoth(words, [](__m256i w) {
        return _mm256_and_si256(_mm256_andnot_si256(_mm256_slli_epi32(w, 1), w), inAllWords(inBoth(kSignificant)));
      });
      const uint32_t coded = scanMask(refined);
      if (!coded) continue;
      const Samples samples = loadSamples(stripe, x);

      // Decisions: the bits move together, then each gets a byte.
      uint32_t bits = _pext_u32(bitsOfPlane(samples, pass.plane), coded);
      for (int i = 0; i < 4; ++i, bits >>= 8)
        putBytes<uint64_t>(to.decisions + 8 * i, _pdep_u64(bits, 0x0101010101010101));
      const int symbols = __builtin_popcount(coded);
      to.decisions += symbols;
      count += static_cast<uint32_t>(symbols);

      if constexpr (kRaw) {
        to.contexts += symbols;
      } else {
        // Contexts of Table D.4: 16 alone, 17 beside significant neighbours, 18 after the first refinement.
        const Words contexts = onBoth(words, [](__m256i w) {
          const __m256i neighbours = _mm256_and_si256(w, _mm256_set1_epi16(0xFF));
          const __m256i again = _mm256_and_si256(_mm256_srli_epi16(w, 7), _mm256_set1_epi16(2));
          const __m256i alone = _mm256_cmpeq_epi16(neighbours, _mm256_setzero_si256());
          const __m256i base = _mm256_set1_epi16(kFirstRefinementContext);
          return _mm256_add_epi16(base, _mm256_max_epi16(_mm256_add_epi16(alone, _mm256_set1_epi16(1)), again));
        });
        alignas(32) uint64_t bytes[4];
        store32(bytes, _mm256_packus_epi16(_mm256_unpacklo_epi32(contexts.first, contexts.second),
                                           _mm256_unpackhi_epi32(contexts.first, contexts.second)));
        for (int i = 0; i < 4; ++i) {
          const uint64_t coding = _pdep_u64(coded >> 8 * i, 0x0101010101010101) * 0xFF;
          putBytes<uint64_t>(to.contexts, _pext_u64(bytes[i], coding));
          to.contexts += __builtin_popcount(coded >> 8 * i & 0xFF);
        }
        storeWords(stripe, x,
                   {_mm256_or_si256(words.first, _mm256_srli_epi32(refined.first, 7)),
                    _mm256_or_si256(words.second, _mm256_srli_epi32(refined.second, 7))});
      }

      for (int r = 0; r < 4; ++r) {
        const __m256i halves = r < 2 ? refined.first : refined.second;
        const __m256i mask = _mm256_srai_epi32(r % 2 ? halves : _mm256_slli_epi32(halves, 16), 31);
        const __m256i shifted = _mm256_sll_epi32(_mm256_srl_epi32(samples.row[r], _mm_cvtsi32_si128(pass.shiftRight)),
                                                 _mm_cvtsi32_si128(pass.shiftLeft));
        const __m256i u = _mm256_and_si256(shifted, _mm256_set1_epi32(pass.distortionMask));
        const __m256i distance = _mm256_and_si256(_mm256_sub_epi32(u, _mm256_set1_epi32(64)), mask);
        distances =
            _mm256_add_epi32(distances, kExact ? _mm256_mullo_epi32(distance, distance) : _mm256_abs_epi32(distance));
      }
    }
  });
  alignas(32) uint32_t lanes[8];
  store32(lanes, distances);
  uint32_t sum = 0;
  for (const uint32_t lane : lanes) sum += lane;
  // refinementDistortion() and losslessRefinementDistortion() summed up.
  finish(pass, to, kExact ? 2 * sum : 128 * sum - 2048 * count);
}

}  // namespace

void ownSignificancePass(QlmEncodePass& pass) { significancePass<false>(pass); }
void ownRawSignificancePass(QlmEncodePass& pass) { significancePass<true>(pass); }
void ownRefinementPass(QlmEncodePass& pass) {
  (pass.exact ? refinementPass<false, true> : refinementPass<false, false>)(pass);
}
void ownRawRefinementPass(QlmEncodePass& pass) {
  (pass.exact ? refinementPass<true, true> : refinementPass<true, false>)(pass);
}

void ownCleanupPass(QlmEncodePass& pass) {
  Symbols to{pass.decisions, pass.contexts};
  uint32_t distortion = 0;
  forEachStripe(pass, [&](const Stripe& stripe) {
    for (int32_t x = 0; x < pass.size.width; x += kColumns) {
      const Words before = loadWords(stripe, x);
      const uint32_t exists = existing(stripe, x);
      uint32_t coded =
          ~scanMask(onBoth(before, [](__m256i w) { return _mm256_or_si256(w, _mm256_slli_epi32(w, 1)); })) & exists;
      const Samples samples = loadSamples(stripe, x);
      const uint32_t events = coded & bitsOfPlane(samples, pass.plane);

      // Columns of four samples whose words are still zero at their turn run. Where a run ends, the samples up to its
      // end are not coded one by one.
      const uint32_t ends = columnsOf(events);
      const __m256i zero = _mm256_cmpeq_epi32(_mm256_or_si256(before.first, before.second), _mm256_setzero_si256());
      uint32_t runs = 0;
      if (stripe.rows == 4) {
        runs = _pdep_u32(static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(zero))), kFirstRow) & exists &
               ~(ends << 4);
      }
      if (runs == kFirstRow && !events) {
        putBytes<uint64_t>(to.decisions, 0);
        putBytes<uint64_t>(to.contexts, kRunContext * uint64_t{0x0101010101010101});
        to.skip(kColumns);
        continue;
      }
      if (!coded) {
        // Nothing but marks to be cleared.
        const __m256i clean = inAllWords(kNotVisited);
        storeWords(stripe, x, {_mm256_and_si256(before.first, clean), _mm256_and_si256(before.second, clean)});
        continue;
      }
      const uint32_t ended = runs & ends;
      const uint32_t atEnds = events & ended * 15;
      coded &= ~((runs & ~ends) * 15) & ~(atEnds ^ (atEnds - ended));
      const Coded symbols{coded, events, negatives(samples), runs};
      distortion += markSignificant(stripe, x, events, symbols.negative);
      const Words now = loadWords(stripe, x);
      to = (runs ? appendGroup<false, true> : appendGroup<false, false>)(to, pass.band, symbols, before, now);
      const __m256i clean = inAllWords(kNotVisited);
      storeWords(stripe, x, {_mm256_and_si256(now.first, clean), _mm256_and_si256(now.second, clean)});
    }
  });
  finish(pass, to, distortion);
}

// Segmentation symbols (T.800 D.5) stand behind the pass: 1, 0, 1, 0.
void ownMarkedCleanupPass(QlmEncodePass& pass) {
  ownCleanupPass(pass);
  for (int i = 0; i < 4; ++i) {
    *pass.decisions++ = (i & 1) == 0;
    *pass.contexts++ = kUniformContext;
  }
}
