// The encoder of BC7: one block in one mode. Every partition of the mode is estimated with ends on the principal axis
// of each subset; the best quarter is refined by a search of the quantised ends, channel by channel, and the best block
// of all is kept.
//
// Distances are whole numbers, so that lanes of 16 and 32 bits hold what is specified in double precision. A search
// with a limit never finds an error above the limit, and takes the first of equal ones: that is the first least error
// of its candidates, which are therefore tried many at a time, without the limit.
//
// A pixel's distance to a palette is that of the last entry before the first rise. Going down through the palette, it
// is that of entry i where entry i + 1 is farther, and else the one found so far.
#include <immintrin.h>

#include <cstring>
#include <initializer_list>

#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "texture/bc7_axis.h"
#include "texture/bc7_tables.h"

namespace {

using namespace texture;

constexpr int kRed = 0, kAlpha = 3, kChannels = 4;

// A mode with an index selection.
template <int kNumberOf, int kSelectionOf>
struct Format {
  static constexpr int kNumber = kNumberOf, kSelection = kSelectionOf;
  static constexpr Bc7Mode kMode = kBc7Modes[kNumber];
  static constexpr bool kTwoPlanes = kMode.secondIndexBits > 0;

  // Index bits of a channel.
  static constexpr int indexBits(int channel) {
    return kTwoPlanes && (channel == kAlpha) != (kSelection == 1) ? kMode.secondIndexBits : kMode.indexBits;
  }
  static constexpr int storedBits(int channel) { return channel == kAlpha ? kMode.alphaBits : kMode.colourBits; }
  // With the p-bit; 0 if the mode has no such channel.
  static constexpr int precision(int channel) {
    return storedBits(channel) > 0 ? storedBits(channel) + (kMode.pBitsPerSubset > 0) : 0;
  }

  static constexpr int quantise(int v, int channel) {
    const int p = precision(channel);
    if (p == 0) return 255;
    if (p == 8) return v;
    const int rounded = v + (1 << (7 - p));
    return (rounded > 255 ? 255 : rounded) >> (8 - p);
  }
  static constexpr int unquantise(int q, int channel) {
    const int p = precision(channel);
    if (p == 0) return 255;
    const int v = q << (8 - p) & 0xFF;
    return v | v >> p;
  }
};

// The two ends of a subset, 8-bit or quantised.
struct Ends {
  uint8_t of[2][kChannels];
};

template <typename F>
Ends unquantised(const Ends& q) {
  Ends ends;
  for (int e = 0; e < 2; ++e)
    for (int c = 0; c < kChannels; ++c) ends.of[e][c] = static_cast<uint8_t>(F::unquantise(q.of[e][c], c));
  return ends;
}

// The weights of all entries as byte pairs, in 64ths: 64 - w of the first end and w of the second.
template <int kBits>
struct AllWeights {
  alignas(32) int16_t pair[16];

  constexpr AllWeights() : pair{} {
    for (int i = 0; i < 1 << kBits; ++i) pair[i] = static_cast<int16_t>(weightOf(kBits, i) * 255 + 64);
  }
  // Where the entries lie once words are doubled in each half.
  static constexpr int placeOf(int i) { return i % 4 + (i % 8 < 4 ? 0 : 8) + (i < 8 ? 0 : 4); }
};
template <int kBits>
constexpr AllWeights<kBits> kAllWeights{};
template <int kBits>
inline __m256i weightPair(int i) {
  return _mm256_set1_epi16(kAllWeights<kBits>.pair[i]);
}
// Entries of the palette, from byte pairs of ends.
inline __m256i between(__m256i endPairs, __m256i weights) {
  return _mm256_mulhrs_epi16(_mm256_maddubs_epi16(endPairs, weights), _mm256_set1_epi16(512));  // (sum + 32) >> 6
}

inline int32_t sumOf(__m256i v) {
  __m128i s = _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
  s = _mm_add_epi32(s, _mm_shuffle_epi32(s, 0x4E));
  return _mm_cvtsi128_si32(_mm_add_epi32(s, _mm_shuffle_epi32(s, 0xB1)));
}

inline uint32_t leastDword(__m256i v) {
  __m128i m = _mm_min_epu32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
  m = _mm_min_epu32(m, _mm_shuffle_epi32(m, 0x4E));
  return static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_min_epu32(m, _mm_shuffle_epi32(m, 0xB1))));
}

// The pixels of the block.
struct Pixels {
  alignas(32) uint16_t of[kChannels][16];

  __m256i channel(int c) const { return load32(of[c]); }
  // Eight pixels from pixel 8 * half on: two channels as words of a lane.
  __m256i pairs(int half, int low, int high) const {
    const __m256i l = _mm256_cvtepu16_epi32(load16(of[low] + 8 * half));
    return _mm256_or_si256(l, _mm256_slli_epi32(_mm256_cvtepu16_epi32(load16(of[high] + 8 * half)), 16));
  }
};

// The pixels of the subsets, bit by bit, by shape, and such bits as lanes.
template <int kSubsets>
struct SubsetMasks {
  uint16_t of[64][kSubsets];

  constexpr SubsetMasks() : of{} {
    for (int shape = 0; shape < 64; ++shape)
      for (int i = 0; i < 16; ++i) {
        uint16_t& mask = of[shape][subsetOf(kSubsets, shape, i)];
        mask = static_cast<uint16_t>(mask | 1 << i);
      }
  }
};
template <int kSubsets>
constexpr SubsetMasks<kSubsets> kSubsetMasks{};
template <typename F>
inline uint32_t subsetMask(int shape, int subset) {
  return kSubsetMasks<F::kMode.subsets>.of[shape][subset];
}
inline __m256i wordLanes(uint32_t mask) {
  const __m256i bits = _mm256_setr_epi16(1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192, 16384, -32768);
  return _mm256_cmpeq_epi16(_mm256_and_si256(_mm256_set1_epi16(static_cast<int16_t>(mask)), bits), bits);
}
inline __m256i dwordLanes(uint32_t mask, int half) {
  const __m256i bits = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
  return _mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(static_cast<int>(mask >> (8 * half))), bits), bits);
}

// Distance and index of all pixels, eight a vector.
struct Nearest {
  __m256i error[2], index[2];
};

// Channels as two pairs of words.
struct Lanes {
  __m256i rg[2], ba[2];
};
inline Lanes lanesOf(const Pixels& pixels) {
  return {{pixels.pairs(0, 0, 1), pixels.pairs(1, 0, 1)}, {pixels.pairs(0, 2, 3), pixels.pairs(1, 2, 3)}};
}
// Of one plane of indices of two: colour, or alpha.
inline Lanes colourOf(const Lanes& lanes) {
  const __m256i low = _mm256_set1_epi32(0xFFFF);
  return {{lanes.rg[0], lanes.rg[1]}, {_mm256_and_si256(lanes.ba[0], low), _mm256_and_si256(lanes.ba[1], low)}};
}
inline Lanes alphaOf(const Lanes& lanes) {
  const __m256i zero = _mm256_setzero_si256(), high = _mm256_set1_epi32(-0x10000);
  return {{zero, zero}, {_mm256_and_si256(lanes.ba[0], high), _mm256_and_si256(lanes.ba[1], high)}};
}

// The nearest entries of the palette between two 8-bit ends; a channel that is not searched is 0 in all of them.
template <int kBits>
inline Nearest nearestOf(const Lanes& lanes, const uint8_t (&first)[4], const uint8_t (&second)[4]) {
  const auto pairOf = [&](int c) { return static_cast<int>(first[c] | second[c] << 8); };
  const __m256i rgEnds = _mm256_set1_epi32(static_cast<int>(static_cast<uint32_t>(pairOf(1)) << 16) | pairOf(0));
  const __m256i baEnds = _mm256_set1_epi32(static_cast<int>(static_cast<uint32_t>(pairOf(3)) << 16) | pairOf(2));
  Nearest n{};
  __m256i above[2]{};
  for (int i = (1 << kBits) - 1; i >= 0; --i) {
    const __m256i weights = weightPair<kBits>(i), rg = between(rgEnds, weights), ba = between(baEnds, weights);
    const __m256i number = _mm256_set1_epi32(i);
    for (int h = 0; h < 2; ++h) {
      const __m256i d0 = _mm256_sub_epi16(lanes.rg[h], rg), d1 = _mm256_sub_epi16(lanes.ba[h], ba);
      const __m256i e = _mm256_add_epi32(_mm256_madd_epi16(d0, d0), _mm256_madd_epi16(d1, d1));
      if (i == (1 << kBits) - 1) {
        n.error[h] = e;
        n.index[h] = number;
      } else {
        // An equal distance further up gives way to the lower index.
        const __m256i here = _mm256_or_si256(_mm256_cmpgt_epi32(above[h], e), _mm256_cmpeq_epi32(n.error[h], e));
        n.error[h] = _mm256_blendv_epi8(n.error[h], e, here);
        n.index[h] = _mm256_blendv_epi8(n.index[h], number, here);
      }
      above[h] = e;
    }
  }
  return n;
}

// Both planes of a format between ends of 8 bits. Without a second plane the first is returned twice.
struct BothPlanes {
  Nearest colour, alpha;
};
template <typename F>
inline BothPlanes nearestInPlanes(const Lanes& lanes, const Ends& ends) {
  if constexpr (F::kTwoPlanes) {
    Ends colour = ends, alpha{};
    for (int e = 0; e < 2; ++e) {
      alpha.of[e][kAlpha] = ends.of[e][kAlpha];
      colour.of[e][kAlpha] = 0;
    }
    return {nearestOf<F::indexBits(kRed)>(colourOf(lanes), colour.of[0], colour.of[1]),
            nearestOf<F::indexBits(kAlpha)>(alphaOf(lanes), alpha.of[0], alpha.of[1])};
  } else {
    const Nearest n = nearestOf<F::kMode.indexBits>(lanes, ends.of[0], ends.of[1]);
    return {n, n};
  }
}
template <typename F>
inline uint32_t errorIn(const BothPlanes& n, uint32_t mask) {
  __m256i sum = _mm256_setzero_si256();
  for (int h = 0; h < 2; ++h) {
    __m256i e = n.colour.error[h];
    if constexpr (F::kTwoPlanes) e = _mm256_add_epi32(e, n.alpha.error[h]);
    sum = _mm256_add_epi32(sum, _mm256_and_si256(e, dwordLanes(mask, h)));
  }
  return static_cast<uint32_t>(sumOf(sum));
}

// --- The rough ends of subsets ---

// Sums of the colours of a subset and of their products.
struct Moments {
  int n;
  alignas(32) int32_t of[8];  // r, g, b, rr, rg, rb, gg, gb
  int32_t bb;
};
inline Moments momentsOf(const Pixels& pixels, uint32_t mask) {
  const __m256i lanes = wordLanes(mask), ones = _mm256_set1_epi16(1);
  const __m256i r = _mm256_and_si256(pixels.channel(0), lanes), g = _mm256_and_si256(pixels.channel(1), lanes),
                b = _mm256_and_si256(pixels.channel(2), lanes);
  const auto pair = [](__m256i a, __m256i c) { return _mm256_hadd_epi32(a, c); };
  const __m256i sums = pair(pair(_mm256_madd_epi16(r, ones), _mm256_madd_epi16(g, ones)),
                            pair(_mm256_madd_epi16(b, ones), _mm256_madd_epi16(r, r)));
  const __m256i products = pair(pair(_mm256_madd_epi16(r, g), _mm256_madd_epi16(r, b)),
                                pair(_mm256_madd_epi16(g, g), _mm256_madd_epi16(g, b)));
  Moments m;
  m.n = __builtin_popcount(mask);
  store32(m.of, _mm256_add_epi32(lowHalves(sums, products), highHalves(sums, products)));
  m.bb = sumOf(_mm256_madd_epi16(b, b));
  return m;
}

inline float leastOf(__m256 v) {
  __m128 m = _mm_min_ps(_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1));
  m = _mm_min_ps(m, _mm_movehl_ps(m, m));
  return _mm_cvtss_f32(_mm_min_ss(m, _mm_shuffle_ps(m, m, 1)));
}
inline int leastWord(__m256i v) {
  return _mm_cvtsi128_si32(_mm_minpos_epu16(_mm_min_epu16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)))) &
         0xFFFF;
}

// The ends of a subset of three pixels or more, of different colours, where they project on its axis.
inline void endsOnAxis(const Pixels& pixels, uint32_t mask, const Moments& m, const float (&v)[3], Ends& ends) {
  const float part = 1.0f / static_cast<float>(m.n);
  float mean[3];
  for (int c = 0; c < 3; ++c) mean[c] = static_cast<float>(m.of[c]) * part;
  __m256 least = _mm256_set1_ps(__FLT_MAX__), least2 = least;  // of t and of -t
  for (int h = 0; h < 2; ++h) {
    __m256 t = _mm256_setzero_ps();
    for (int c = 0; c < 3; ++c) {
      const __m256 x = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(load16(pixels.of[c] + 8 * h)));
      const __m256 part3 = _mm256_mul_ps(_mm256_sub_ps(x, _mm256_set1_ps(mean[c])), _mm256_set1_ps(v[c]));
      t = c == 0 ? part3 : _mm256_add_ps(t, part3);
    }
    const __m256 lanes = _mm256_castsi256_ps(dwordLanes(mask, h)), none = _mm256_set1_ps(__FLT_MAX__);
    least = _mm256_min_ps(least, _mm256_blendv_ps(none, t, lanes));
    least2 = _mm256_min_ps(least2, _mm256_blendv_ps(none, _mm256_xor_ps(t, _mm256_set1_ps(-0.0f)), lanes));
  }
  const float t[2] = {leastOf(least), -leastOf(least2)};
  for (int e = 0; e < 2; ++e)
    for (int c = 0; c < 3; ++c) {
      const float value = mean[c] + t[e] * v[c];
      ends.of[e][c] = static_cast<uint8_t>(!(value < 255) ? 255 : !(value > 0) ? 0 : static_cast<int>(value));
    }
}

// The rough ends of one subset in four shapes.
inline void roughEnds(const Pixels& pixels, const uint32_t (&masks)[4], Ends* const (&ends)[4]) {
  Moments m[4];
  alignas(32) double scatter[6][4], axis[3][4];
  for (int k = 0; k < 4; ++k) {
    m[k] = momentsOf(pixels, masks[k]);
    const auto entry = [&](int32_t product, int a, int b) {
      return static_cast<double>(m[k].n * product - m[k].of[a] * m[k].of[b]);
    };
    scatter[0][k] = entry(m[k].of[3], 0, 0);
    scatter[1][k] = entry(m[k].of[4], 0, 1);
    scatter[2][k] = entry(m[k].of[5], 0, 2);
    scatter[3][k] = entry(m[k].of[6], 1, 1);
    scatter[4][k] = entry(m[k].of[7], 1, 2);
    scatter[5][k] = entry(m[k].bb, 2, 2);
  }
  const Axis<Doubles> axes =
      principalAxis<Doubles>({_mm256_load_pd(scatter[0]), _mm256_load_pd(scatter[1]), _mm256_load_pd(scatter[2]),
                              _mm256_load_pd(scatter[3]), _mm256_load_pd(scatter[4]), _mm256_load_pd(scatter[5])});
  _mm256_store_pd(axis[0], axes.r);
  _mm256_store_pd(axis[1], axes.g);
  _mm256_store_pd(axis[2], axes.b);
  for (int k = 0; k < 4; ++k) {
    const uint32_t mask = masks[k];
    const int first = __builtin_ctz(mask), last = 31 - __builtin_clz(mask);
    for (int c = 0; c < kChannels; ++c) {
      ends[k]->of[0][c] = static_cast<uint8_t>(pixels.of[c][first]);
      ends[k]->of[1][c] = static_cast<uint8_t>(pixels.of[c][last]);
    }
    if (m[k].n < 3) continue;
    const __m256i lanes = wordLanes(mask), alpha = pixels.channel(kAlpha), all = _mm256_set1_epi16(255);
    ends[k]->of[0][kAlpha] = static_cast<uint8_t>(leastWord(_mm256_blendv_epi8(all, alpha, lanes)));
    ends[k]->of[1][kAlpha] =
        static_cast<uint8_t>(255 - leastWord(_mm256_blendv_epi8(all, _mm256_sub_epi16(all, alpha), lanes)));
    // One colour has no axis, and its mean may be off in the last bit.
    if (scatter[0][k] + scatter[3][k] + scatter[5][k] == 0) continue;
    const float v[3] = {static_cast<float>(axis[0][k]), static_cast<float>(axis[1][k]), static_cast<float>(axis[2][k])};
    endsOnAxis(pixels, mask, m[k], v, *ends[k]);
  }
}

// --- The search of the ends of one subset ---

// A byte shuffle that gives each of kGroups pairs of bytes an equal share of the lanes.
template <int kGroups>
struct PairSpread {
  alignas(32) int8_t index[32];

  constexpr PairSpread() : index{} {
    for (int i = 0; i < 32; ++i) index[i] = static_cast<int8_t>(i / 2 * kGroups / 16 * 2 + i % 2);
  }
};

template <typename F>
struct SubsetSearch {
  static constexpr int kStage = 4;  // pixels by which candidates are sifted at a time

  int count;     // pixels
  int groups;    // candidates that fit into a vector of words: 1, 2 or 4
  __m256i used;  // 1 in lanes with a pixel
  __m256i x[kChannels];
  int smallest[kChannels], largest[kChannels];
  Ends ends;                      // quantised
  uint32_t error;                 // with these ends
  __m256i square[kChannels][16];  // squared differences of the channels by entry of the palette

  // While one channel is searched: the sums of the other channels of its plane, less 2^15, the largest of them with
  // all its bits, and the error of the other plane.
  __m256i base[16];
  int largestBase;
  uint32_t rest;

  // What candidates are sifted by: the same sums as they are, saturated; the least of a pixel; the error that they come
  // to, which is the least whatever the ends of the channel; and the entries that a better candidate can use, for the
  // pixels of each stage.
  static constexpr bool isSifted(int channel) { return F::indexBits(channel) >= 3; }
  __m256i plain[16], bottom;
  int64_t bottomError;
  struct {
    int first, end;
  } window[4];

  // `index` tells where the pixels lie between the ends: those at the first end come first, then those at the second,
  // then the others, so that four pixels in a row lie at near entries, and the first ones tell most of a candidate.
  void collect(const Pixels& pixels, uint32_t mask, const int32_t (&index)[16]) {
    count = __builtin_popcount(mask);
    groups = count <= 4 ? 4 : count <= 8 ? 2 : 1;
    const int lanes = 16 / groups;
    int rising[16], order[16];
    int n = 0;
    for (uint32_t left = mask; left; left &= left - 1) {
      const int i = __builtin_ctz(left);
      int at = n++;
      for (; at > 0 && index[rising[at - 1]] > index[i]; --at) rising[at] = rising[at - 1];
      rising[at] = i;
    }
    for (int i = 0; i < count; ++i)
      order[i] = rising[i < kStage ? i : i < 2 * kStage ? count - 1 - (i - kStage) : i - kStage];
    alignas(32) uint16_t words[kChannels][16];
    for (int i = 0; i < count; ++i)
      for (int c = 0; c < kChannels; ++c) words[c][i] = pixels.of[c][order[i]];
    for (; n < lanes; ++n)
      for (int c = 0; c < kChannels; ++c) words[c][n] = words[c][0];
    uint32_t inUse = 0;
    for (int g = 0; g < groups; ++g) inUse |= ((1u << count) - 1) << (g * lanes);
    used = _mm256_srli_epi16(wordLanes(inUse), 15);
    for (int c = 0; c < kChannels; ++c) {
      __m256i v = load32(words[c]);
      if (groups > 1) v = _mm256_permute4x64_epi64(v, 0x44);
      if (groups > 2) v = _mm256_unpacklo_epi64(v, v);
      x[c] = v;
      smallest[c] = leastWord(v);
      largest[c] = 255 - leastWord(_mm256_sub_epi16(_mm256_set1_epi16(255), v));
    }
  }

  static constexpr int entries(int channel) { return 1 << F::indexBits(channel); }
  static uint16_t pairOf(int channel, int a, int b) {
    return static_cast<uint16_t>(F::unquantise(a, channel) | F::unquantise(b, channel) << 8);
  }

  template <int kChannel>
  void takeSquares() {
    const __m256i pair =
        _mm256_set1_epi16(static_cast<int16_t>(pairOf(kChannel, ends.of[0][kChannel], ends.of[1][kChannel])));
    for (int i = 0; i < entries(kChannel); ++i) {
      const __m256i d = _mm256_sub_epi16(x[kChannel], between(pair, weightPair<F::indexBits(kChannel)>(i)));
      square[kChannel][i] = _mm256_mullo_epi16(d, d);
    }
  }

  // The error of a plane in lanes of 32 bits, whatever the distances; channel kMoved between the ends of `pair`.
  template <int kFirst, int kEnd, int kMoved>
  uint32_t wideError(uint16_t pair) const {
    constexpr int kEntries = entries(kFirst);
    __m256i sum = _mm256_setzero_si256();
    const int halves = groups == 1 ? 2 : 1;  // of the pixels of one candidate
    for (int h = 0; h < halves; ++h) {
      const auto half = [h](__m256i v) {
        return _mm256_cvtepu16_epi32(h ? _mm256_extracti128_si256(v, 1) : _mm256_castsi256_si128(v));
      };
      __m256i best = _mm256_setzero_si256(), above = best;
      for (int i = kEntries - 1; i >= 0; --i) {
        __m256i e = _mm256_setzero_si256();
        for (int c = kFirst; c < kEnd; ++c) {
          if (c == kMoved) continue;
          e = _mm256_add_epi32(e, half(square[c][i]));
        }
        if constexpr (kMoved >= 0) {
          const __m256i p = between(_mm256_set1_epi16(static_cast<int16_t>(pair)), weightPair<F::indexBits(kFirst)>(i));
          const __m256i d = _mm256_sub_epi16(x[kMoved], p);
          e = _mm256_add_epi32(e, half(_mm256_mullo_epi16(d, d)));
        }
        best = i == kEntries - 1 ? e : _mm256_blendv_epi8(best, e, _mm256_cmpgt_epi32(above, e));
        above = e;
      }
      sum = _mm256_add_epi32(sum, _mm256_and_si256(best, dwordLanes((1u << count) - 1, h)));
    }
    return static_cast<uint32_t>(sumOf(sum));
  }

  static constexpr int firstOf(int channel) { return F::kTwoPlanes && channel == kAlpha ? kAlpha : 0; }
  static constexpr int endOf(int channel) { return F::kTwoPlanes && channel != kAlpha ? kAlpha : kChannels; }

  template <int kChannel>
  void takeBase() {
    const __m256i lowest = _mm256_set1_epi16(-0x8000);
    __m256i top = _mm256_setzero_si256();
    for (int i = 0; i < entries(kChannel); ++i) {
      __m256i sum = _mm256_setzero_si256();
      for (int c = firstOf(kChannel); c < endOf(kChannel); ++c)
        if (c != kChannel) sum = _mm256_adds_epu16(sum, square[c][i]);
      top = _mm256_max_epu16(top, sum);
      if constexpr (isSifted(kChannel)) plain[i] = sum;
      base[i] = _mm256_xor_si256(sum, lowest);
    }
    largestBase = 0xFFFF - leastWord(_mm256_xor_si256(top, _mm256_set1_epi16(-1)));
    rest = 0;
    if constexpr (F::kTwoPlanes) {
      constexpr int kOther = kChannel == kAlpha ? 0 : kAlpha;
      rest = wideError<firstOf(kOther), endOf(kOther), -1>(0);
    }
    if constexpr (isSifted(kChannel)) takeBounds<kChannel>();
  }

  template <int kChannel>
  void takeBounds() {
    constexpr int kEntries = entries(kChannel);
    bottom = plain[0];
    for (int i = 1; i < kEntries; ++i) bottom = _mm256_min_epu16(bottom, plain[i]);
    const __m256i counted = _mm256_and_si256(bottom, wordLanes((1u << count) - 1)), low = _mm256_set1_epi32(0xFFFF);
    const __m256i pairSums = _mm256_add_epi32(_mm256_srli_epi32(counted, 16), _mm256_and_si256(counted, low));
    bottomError = int64_t{rest} + static_cast<uint32_t>(sumOf(pairSums));
    for (auto& w : window) w = {0, kEntries};
    if constexpr (kEntries < 16) return;

    // An entry whose other channels alone use up what the error has above the least is not among those of any better
    // candidate.
    const int64_t spare = int64_t{error} - bottomError;
    const __m256i most = _mm256_set1_epi16(static_cast<int16_t>(spare > 0xFFFF ? 0xFFFF : spare > 0 ? spare - 1 : 0));
    const __m256i inUse = _mm256_cmpeq_epi16(used, _mm256_set1_epi16(1));
    uint64_t usable = 0;  // 16 bits a stage
    for (int i = 0; i < kEntries; ++i) {
      const __m256i over = _mm256_subs_epu16(plain[i], bottom);
      const __m256i within = _mm256_and_si256(_mm256_cmpeq_epi16(_mm256_min_epu16(over, most), over), inUse);
      const __m256i without = _mm256_cmpeq_epi64(within, _mm256_setzero_si256());
      const auto stages = static_cast<uint32_t>(_mm256_movemask_pd(_mm256_castsi256_pd(without)) ^ 15);
      usable |= _pdep_u64(stages, 0x0001000100010001) << i;
    }
    for (int q = 0; q < 4; ++q) {
      const auto ofStage = static_cast<uint32_t>(usable >> (16 * q)) & 0xFFFF;
      window[q] = {static_cast<int>(_tzcnt_u32(ofStage | 0x10000)), 32 - static_cast<int>(_lzcnt_u32(ofStage))};
    }
  }

  // Whether all distances to all palettes between the ends of the candidates fit 16 bits.
  bool isNarrow(int channel, const uint16_t* pairs, int candidates) const {
    __m128i low = _mm_set1_epi8(-1), high = _mm_setzero_si128();
    for (int k = 0; k < candidates; k += 8) {
      const __m128i here =
          _mm_cmpgt_epi16(_mm_set1_epi16(static_cast<int16_t>(candidates - k)), _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7));
      const __m128i some = load16(pairs + k);
      low = _mm_min_epu8(low, _mm_or_si128(_mm_andnot_si128(here, _mm_set1_epi8(-1)), some));
      high = _mm_max_epu8(high, _mm_and_si128(here, some));
    }
    const auto leastByte = [](__m128i v) {
      return _mm_cvtsi128_si32(
                 _mm_minpos_epu16(_mm_min_epu16(_mm_and_si128(v, _mm_set1_epi16(255)), _mm_srli_epi16(v, 8)))) &
             255;
    };
    const int up = 255 - leastByte(_mm_xor_si128(high, _mm_set1_epi8(-1))) - smallest[channel];
    const int down = largest[channel] - leastByte(low), farthest = up > down ? up : down;
    return largestBase + farthest * farthest < 0xFFFF;
  }

  // Errors of candidates: pairs of 8-bit ends of the channel. Reads up to seven pairs more, and writes up to seven
  // errors more.
  template <int kChannel>
  void errorsOf(const uint16_t* pairs, int candidates, uint32_t* errors) const {
    if (!isNarrow(kChannel, pairs, candidates)) {
      for (int k = 0; k < candidates; ++k)
        errors[k] = rest + wideError<firstOf(kChannel), endOf(kChannel), kChannel>(pairs[k]);
    } else if (groups == 1) {
      narrowErrors<kChannel, 1>(pairs, candidates, errors);
    } else if (groups == 2) {
      narrowErrors<kChannel, 2>(pairs, candidates, errors);
    } else {
      narrowErrors<kChannel, 4>(pairs, candidates, errors);
    }
  }

  // Leaves those of the candidates, in their order, whose error may be below the limit, and tells which they were. They
  // go through the pixels by stages of four, four candidates a vector. A pixel counts with its nearest entry, which may
  // lie behind the first rise, and the pixels to come count with what their other channels add at least: no error is
  // less. Saturation makes sums less as well. Where four candidates fit a vector anyway, or palettes are short, errors
  // cost no more than this does. Reads up to three pairs more, and writes as many.
  template <int kChannel>
  int sift(uint16_t* pairs, int candidates, uint32_t limit, uint8_t* which) const {
    for (int k = 0; k < candidates; ++k) which[k] = static_cast<uint8_t>(k);
    if constexpr (!isSifted(kChannel)) return candidates;
    if (F::indexBits(kChannel) < 4 && isNarrow(kChannel, pairs, candidates)) return candidates;
    const int64_t spare = int64_t{limit} - bottomError;
    if (spare <= 0) return 0;
    constexpr int kBits = F::indexBits(kChannel);
    static constexpr PairSpread<4> kSpread{};
    const __m128i below = _mm_set1_epi32(spare > INT32_MAX ? INT32_MAX : static_cast<int32_t>(spare));
    alignas(16) int32_t over[136];
    for (int k = 0; k < candidates; k += 4) store16(over + k, _mm_setzero_si128());
    for (int q = 0; q * kStage < count; ++q) {
      const auto ofStage = [q](const __m256i& v) {
        return _mm256_broadcastq_epi64(load8(reinterpret_cast<const char*>(&v) + 8 * q));
      };
      const __m256i pixels = ofStage(x[kChannel]), least = ofStage(bottom), counted = ofStage(used);
      int left = 0;
      for (int k = 0; k < candidates; k += 4) {
        const __m256i pair = _mm256_shuffle_epi8(_mm256_broadcastq_epi64(load8(pairs + k)), load32(kSpread.index));
        __m256i best = _mm256_set1_epi16(-1);
        for (int i = window[q].first; i < window[q].end; ++i) {
          const __m256i d = _mm256_sub_epi16(pixels, between(pair, weightPair<kBits>(i)));
          best = _mm256_min_epu16(best, _mm256_adds_epu16(ofStage(plain[i]), _mm256_mullo_epi16(d, d)));
        }
        const __m256i more = _mm256_min_epu16(_mm256_subs_epu16(best, least), _mm256_set1_epi16(0x7FFF));
        const __m256i sums = _mm256_madd_epi16(more, counted);
        const __m128i total = _mm_add_epi32(
            load16(over + k), _mm_hadd_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1)));
        // Those that stay move up, each with its number and its sum.
        uint32_t keep = static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(below, total))));
        keep = _bzhi_u32(keep, static_cast<uint32_t>(candidates - k));
        const uint64_t bytes = _pdep_u64(keep, 0x01010101) * 255, words = _pdep_u64(keep, 0x0001000100010001) * 0xFFFF;
        storeAny(reinterpret_cast<uint64_t*>(pairs + left),
                 uint64_t{_pext_u64(loadAny(reinterpret_cast<uint64_t*>(pairs + k)), words)});
        storeAny(reinterpret_cast<uint32_t*>(which + left),
                 static_cast<uint32_t>(_pext_u64(loadAny(reinterpret_cast<uint32_t*>(which + k)), bytes)));
        const uint64_t lanes = _pext_u64(0x0C080400, bytes);
        const __m128i places =
            _mm_add_epi8(_mm_shuffle_epi8(_mm_cvtsi64_si128(static_cast<int64_t>(lanes)),
                                          _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3)),
                         _mm_set1_epi32(0x03020100));
        store16(over + left, _mm_shuffle_epi8(total, places));
        left += __builtin_popcount(keep);
      }
      candidates = left;
    }
    return candidates;
  }

  // The errors, less 2^15 a pixel, of kGroups candidates: 8 / kGroups lanes of 32 bits each, to be summed.
  template <int kChannel, int kGroups>
  __m256i narrowSums(const uint16_t* pairs) const {
    constexpr int kBits = F::indexBits(kChannel);
    static constexpr PairSpread<kGroups> kSpread{};
    const __m256i pair = _mm256_shuffle_epi8(_mm256_broadcastq_epi64(load8(pairs)), load32(kSpread.index));
    // Of a single candidate, the palette is made at once.
    alignas(32) int32_t palette[16];
    if constexpr (kGroups == 1) {
      const __m256i words = between(pair, load32(kAllWeights<kBits>.pair));
      store32(palette, _mm256_unpacklo_epi16(words, words));
      store32(palette + 8, _mm256_unpackhi_epi16(words, words));
    }
    __m256i best = _mm256_setzero_si256(), above = best;
    for (int i = (1 << kBits) - 1; i >= 0; --i) {
      const __m256i p = kGroups == 1 ? _mm256_set1_epi32(palette[AllWeights<kBits>::placeOf(i)])
                                     : between(pair, weightPair<kBits>(i));
      const __m256i d = _mm256_sub_epi16(x[kChannel], p);
      const __m256i e = _mm256_add_epi16(base[i], _mm256_mullo_epi16(d, d));
      best = i == (1 << kBits) - 1 ? e : _mm256_blendv_epi8(best, e, _mm256_cmpgt_epi16(above, e));
      above = e;
    }
    return _mm256_madd_epi16(best, used);
  }

  template <int kChannel, int kGroups>
  void narrowErrors(const uint16_t* pairs, int candidates, uint32_t* errors) const {
    const __m256i add = _mm256_set1_epi32(static_cast<int>(rest + 0x8000u * static_cast<uint32_t>(count)));
    for (int k = 0; k < candidates; k += 2 * kGroups) {
      const __m256i first = narrowSums<kChannel, kGroups>(pairs + k);
      const __m256i second = k + kGroups < candidates ? narrowSums<kChannel, kGroups>(pairs + k + kGroups) : first;
      __m256i sum = _mm256_hadd_epi32(first, second);
      if constexpr (kGroups <= 2) sum = _mm256_hadd_epi32(sum, sum);
      if constexpr (kGroups == 1) sum = _mm256_add_epi32(sum, _mm256_permute4x64_epi64(sum, 0x4E));
      sum = _mm256_add_epi32(sum, add);
      if constexpr (kGroups == 1)
        store8(errors + k, sum);
      else if constexpr (kGroups == 2)
        store16(errors + k,
                _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(sum, _mm256_setr_epi32(0, 4, 1, 5, 0, 4, 1, 5))));
      else
        store32(errors + k, _mm256_permutevar8x32_epi32(sum, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7)));
    }
  }

  // A search of one end of a channel: by halving steps, down and up.
  struct Run {
    int which, value;
    uint32_t least;
    int step = 1 << 30;  // the next one, if it is among those of the channel
  };
  // Runs of their own from the same ends, side by side. All steps to come are tried at once from the present value, for
  // few of them move it; behind one that does, the others are tried again.
  template <int kChannel, int kRuns>
  void perturbEndpoint(Run (&runs)[kRuns]) const {
    constexpr int kPrecision = F::precision(kChannel), kMost = 2 * kPrecision * kRuns;
    const int at[2] = {ends.of[0][kChannel], ends.of[1][kChannel]};
    for (Run& run : runs) run.step = 1 << (kPrecision - 1);
    for (;;) {
      struct {
        int run, by;
      } moves[kMost];
      uint16_t pairs[kMost + 8];
      uint8_t which[kMost + 16];
      uint32_t errors[kMost + 8];
      uint32_t limit = 0;
      int n = 0;
      for (int r = 0; r < kRuns; ++r) {
        const Run& run = runs[r];
        limit = run.least > limit ? run.least : limit;
        for (int step = run.step; step > 0; step >>= 1)
          for (const int by : {-step, step}) {
            const int moved = run.value + by;
            if (moved < 0 || moved >= 1 << kPrecision) continue;
            pairs[n] = run.which == 0 ? pairOf(kChannel, moved, at[1]) : pairOf(kChannel, at[0], moved);
            moves[n++] = {r, by};
          }
      }
      if (n == 0) return;
      const int left = sift<kChannel>(pairs, n, limit, which);
      if (left == 0) return;
      errorsOf<kChannel>(pairs, left, errors);
      int k = 0;
      for (int r = 0; r < kRuns; ++r) {
        Run& run = runs[r];
        run.step = 0;
        int by = 0;
        for (; k < left && moves[which[k]].run == r; ++k) {
          const int move = moves[which[k]].by;
          if (errors[k] >= run.least || (by != 0 && by != -move)) continue;
          run.least = errors[k];
          run.step = (move < 0 ? -move : move) >> 1;
          by = move;
        }
        run.value += by;
      }
    }
  }

  void take(int channel, const Run& run) {
    ends.of[run.which][channel] = static_cast<uint8_t>(run.value);
    error = run.least;
  }

  // Both ends in turn, as long as the error falls.
  template <int kChannel>
  void alternate() {
    takeBase<kChannel>();
    Run both[2] = {{0, ends.of[0][kChannel], error}, {1, ends.of[1][kChannel], error}};
    perturbEndpoint<kChannel>(both);
    const Run& better = both[1].least > both[0].least ? both[0] : both[1];
    if (better.least >= error) return;
    take(kChannel, better);
    for (int which = 1 - better.which;; which = 1 - which) {
      Run run[1] = {{which, ends.of[which][kChannel], error}};
      perturbEndpoint<kChannel>(run);
      if (run[0].least >= error) break;
      take(kChannel, run[0]);
    }
    takeSquares<kChannel>();
  }

  // All pairs of ends near the ones found. The range of the second end leaves out its upper limit and that of the first
  // does not.
  template <int kChannel>
  void searchNeighbourhood() {
    if (error == 0) return;
    takeBase<kChannel>();
    constexpr int kTop = (1 << F::precision(kChannel)) - 1;
    const int a0 = ends.of[0][kChannel], b0 = ends.of[1][kChannel];
    const int aLow = a0 > 5 ? a0 - 5 : 0, aHigh = a0 + 5 < kTop ? a0 + 5 : kTop;
    const int bLow = b0 > 5 ? b0 - 5 : 0, bHigh = b0 + 5 < kTop ? b0 + 5 : kTop;
    // Rows of pairs: one end stays, and the other moves from it on.
    const bool rising = a0 <= b0;
    const int outerLow = rising ? aLow : bLow, outerEnd = rising ? aHigh + 1 : bHigh;
    const int innerLow = rising ? bLow : aLow, innerEnd = rising ? bHigh : aHigh + 1;
    uint16_t inner[32], pairs[176];
    uint32_t errors[136];
    for (int k = 0; k < 16; ++k) {
      const int moving = innerLow + k < innerEnd ? innerLow + k : innerLow;
      inner[k] = rising ? pairOf(kChannel, 0, moving) : pairOf(kChannel, moving, 0);
      inner[k + 16] = 0;
    }
    int n = 0;
    for (int outer = outerLow; outer < outerEnd; ++outer) {
      const int start = outer > innerLow ? outer : innerLow;
      if (start >= innerEnd) break;
      const uint16_t fixed = rising ? pairOf(kChannel, outer, 0) : pairOf(kChannel, 0, outer);
      store32(pairs + n,
              _mm256_or_si256(load32(inner + (start - innerLow)), _mm256_set1_epi16(static_cast<int16_t>(fixed))));
      n += innerEnd - start;
    }
    if (n == 0) return;
    uint8_t which[128];
    const int left = sift<kChannel>(pairs, n, error, which);
    if (left == 0) return;
    errorsOf<kChannel>(pairs, left, errors);

    store32(errors + left, _mm256_set1_epi32(-1));
    __m256i least = load32(errors);
    for (int k = 8; k < left; k += 8) least = _mm256_min_epu32(least, load32(errors + k));
    const uint32_t found = leastDword(least);
    if (found >= error) return;
    error = found;
    int k = 0, outer = outerLow;
    while (errors[k] != found) ++k;
    k = which[k];
    for (;; ++outer) {
      const int start = outer > innerLow ? outer : innerLow;
      if (k < innerEnd - start) {
        ends.of[rising ? 0 : 1][kChannel] = static_cast<uint8_t>(outer);
        ends.of[rising ? 1 : 0][kChannel] = static_cast<uint8_t>(start + k);
        break;
      }
      k -= innerEnd - start;
    }
    takeSquares<kChannel>();
  }

  void optimize() {
    takeSquares<0>();
    takeSquares<1>();
    takeSquares<2>();
    takeSquares<3>();
    alternate<0>();
    alternate<1>();
    alternate<2>();
    if constexpr (F::precision(kAlpha) > 0) alternate<3>();
    searchNeighbourhood<0>();
    searchNeighbourhood<1>();
    searchNeighbourhood<2>();
    if constexpr (F::precision(kAlpha) > 0) searchNeighbourhood<3>();
  }
};

// --- Refinement of a shape ---

// Quantised ends with their indices.
struct Choice {
  Ends ends[3];
  alignas(32) int32_t index[2][16];  // colour or all, alpha
  uint32_t error[3];

  uint32_t total() const { return error[0] + error[1] + error[2]; }
};

template <typename F>
constexpr int anchorOf(int shape, int subset) {
  if (subset == 0) return 0;
  if (F::kMode.subsets == 2) return kAnchors2[shape];
  return subset == 1 ? kAnchors3[shape].second : kAnchors3[shape].third;
}

// Indices to the ends as they are; then the ends of a subset whose anchor has the top bit set change places.
template <typename F>
void assignIndices(const Lanes& lanes, int shape, Choice& choice) {
  choice.error[1] = choice.error[2] = 0;
  for (int p = 0; p < F::kMode.subsets; ++p) {
    const uint32_t mask = subsetMask<F>(shape, p);
    BothPlanes n = nearestInPlanes<F>(lanes, unquantised<F>(choice.ends[p]));
    choice.error[p] = errorIn<F>(n, mask);
    const auto store = [&](Nearest& nearest, int plane, int first, int end, int bits) {
      const int anchor = anchorOf<F>(shape, p), top = (1 << bits) - 1;
      alignas(32) int32_t index[16];
      store32(index, nearest.index[0]);
      store32(index + 8, nearest.index[1]);
      const bool flip = index[anchor] > top / 2;
      if (flip)
        for (int c = first; c < end; ++c) {
          const uint8_t kept = choice.ends[p].of[0][c];
          choice.ends[p].of[0][c] = choice.ends[p].of[1][c];
          choice.ends[p].of[1][c] = kept;
        }
      for (int i = 0; i < 16; ++i)
        if (mask >> i & 1) choice.index[plane][i] = flip ? top - index[i] : index[i];
    };
    if constexpr (F::kTwoPlanes) {
      store(n.colour, 0, 0, kAlpha, F::indexBits(kRed));
      store(n.alpha, 1, kAlpha, kChannels, F::indexBits(kAlpha));
    } else {
      store(n.colour, 0, 0, kChannels, F::kMode.indexBits);
    }
  }
}

struct BlockWriter {
  uint64_t word[2] = {0, 0};
  int at = 0;

  void put(uint32_t value, int bits) {
    if (bits == 0) return;
    const uint64_t v = value;
    if (at >= 64) {
      word[1] |= v << (at - 64);
    } else {
      word[0] |= v << at;
      if (at + bits > 64) word[1] |= v >> (64 - at);
    }
    at += bits;
  }
};

template <typename F>
void emitBlock(int shape, int rotation, const Choice& choice, uint8_t* dst) {
  constexpr Bc7Mode kMode = F::kMode;
  Ends ends[3];
  std::memcpy(ends, choice.ends, sizeof(ends));
  // The low bits of the ends that share a p-bit vote on it; a tie gives 0. Those that lose are gone.
  int vote[6] = {}, votes[6] = {};
  if constexpr (kMode.pBitsPerSubset > 0) {
    for (int c = 0; c < kChannels; ++c) {
      if (F::storedBits(c) == F::precision(c)) continue;
      for (int k = 0; k < kMode.ends(); ++k) {
        uint8_t& end = ends[k / 2].of[k % 2][c];
        const int entry = k * kMode.pBits() / kMode.ends();
        vote[entry] += end & 1;
        ++votes[entry];
        end = static_cast<uint8_t>(end >> 1);
      }
    }
  }
  BlockWriter block;
  block.put(1u << F::kNumber, F::kNumber + 1);
  block.put(static_cast<uint32_t>(rotation), kMode.rotationBits);
  block.put(F::kSelection, kMode.selectionBits);
  block.put(static_cast<uint32_t>(shape), kMode.partitionBits);
  for (int c = 0; c < kChannels; ++c)
    for (int k = 0; k < kMode.ends(); ++k)
      if (F::storedBits(c) > 0) block.put(ends[k / 2].of[k % 2][c], F::storedBits(c));
  for (int k = 0; k < kMode.pBits(); ++k) block.put(vote[k] > votes[k] >> 1, 1);
  uint32_t anchors = 0;
  for (int p = 0; p < kMode.subsets; ++p) anchors |= 1u << anchorOf<F>(shape, p);
  // With index selection 1 alpha uses the plane that is stored first.
  for (int stored = 0; stored < (F::kTwoPlanes ? 2 : 1); ++stored) {
    const int plane = F::kSelection ? 1 - stored : stored, bits = stored ? kMode.secondIndexBits : kMode.indexBits;
    for (int i = 0; i < 16; ++i)
      block.put(static_cast<uint32_t>(choice.index[plane][i]), bits - static_cast<int>(anchors >> i & 1));
  }
  std::memcpy(dst, block.word, 16);
}

// The best block so far.
struct Best {
  uint64_t error = ~uint64_t{0};
  uint8_t* dst;
};

template <typename F>
void refineShape(const Pixels& pixels, const Lanes& lanes, int shape, int rotation, const Ends (&rough)[3],
                 Best& best) {
  Choice choices[2];
  Choice &initial = choices[0], &optimised = choices[1];
  for (int p = 0; p < F::kMode.subsets; ++p)
    for (int e = 0; e < 2; ++e)
      for (int c = 0; c < kChannels; ++c)
        initial.ends[p].of[e][c] = static_cast<uint8_t>(F::quantise(rough[p].of[e][c], c));
  assignIndices<F>(lanes, shape, initial);
  for (int p = 0; p < F::kMode.subsets; ++p) {
    SubsetSearch<F> search;
    search.collect(pixels, subsetMask<F>(shape, p), initial.index[0]);
    search.ends = initial.ends[p];
    search.error = initial.error[p];
    search.optimize();
    optimised.ends[p] = search.ends;
  }
  assignIndices<F>(lanes, shape, optimised);
  const Choice& better = initial.total() <= optimised.total() ? initial : optimised;
  if (better.total() >= best.error) return;
  best.error = better.total();
  emitBlock<F>(shape, rotation, better, best.dst);
}

// All shapes of a mode in one rotation.
template <typename F>
void encodeShapes(const Pixels& pixels, int rotation, Best& best) {
  constexpr int kShapes = 1 << F::kMode.partitionBits, kItems = kShapes / 4 > 0 ? kShapes / 4 : 1;
  const Lanes lanes = lanesOf(pixels);
  Ends ends[kShapes][3];
  struct Estimate {
    uint32_t error;
    int shape;
  } rough[kShapes];
  for (int s = 0; s < kShapes; s += 4)
    for (int p = 0; p < F::kMode.subsets; ++p) {
      uint32_t masks[4];
      Ends* out[4];
      for (int k = 0; k < 4; ++k) {
        const int shape = s + k < kShapes ? s + k : 0;
        masks[k] = subsetMask<F>(shape, p);
        out[k] = &ends[shape][p];
      }
      roughEnds(pixels, masks, out);
    }
  for (int s = 0; s < kShapes; ++s) {
    rough[s] = {0, s};
    for (int p = 0; p < F::kMode.subsets; ++p)
      rough[s].error += errorIn<F>(nearestInPlanes<F>(lanes, ends[s][p]), subsetMask<F>(s, p));
  }
  // A partial sort by exchanges; where estimates are equal, its order matters.
  for (int i = 0; i < kItems; ++i)
    for (int j = i + 1; j < kShapes; ++j)
      if (rough[i].error > rough[j].error) {
        const Estimate kept = rough[i];
        rough[i] = rough[j];
        rough[j] = kept;
      }
  for (int i = 0; i < kItems && best.error > 0; ++i)
    refineShape<F>(pixels, lanes, rough[i].shape, rotation, ends[rough[i].shape], best);
}

template <int kNumber>
void encodeMode(Pixels& pixels, Best& best) {
  for (int rotation = 0; rotation < 1 << kBc7Modes[kNumber].rotationBits; ++rotation) {
    const auto rotate = [&] {
      if (rotation == 0) return;
      const __m256i colour = pixels.channel(rotation - 1);
      store32(pixels.of[rotation - 1], pixels.channel(kAlpha));
      store32(pixels.of[kAlpha], colour);
    };
    rotate();
    if (best.error > 0) encodeShapes<Format<kNumber, 0>>(pixels, rotation, best);
    if constexpr (kBc7Modes[kNumber].selectionBits > 0)
      if (best.error > 0) encodeShapes<Format<kNumber, 1>>(pixels, rotation, best);
    rotate();
  }
}

}  // namespace

QLM_EXPORT(qlmiTextureEncodeBlock4x4FromRGBA_BC7_8u_C4C1R)
(const uint8_t* src, int32_t srcStep, uint8_t* dst, uint32_t* err, uint32_t mode) {
  if (!src || !dst || !err) return qlmErrNullPointer;
  if (srcStep == 0) return qlmErrStep;
  if (mode > 7) return qlmErrUnsupportedMode;
  Pixels pixels;
  for (int y = 0; y < 4; ++y) {
    const uint8_t* row = src + ptrdiff_t{srcStep} * y;
    for (int x = 0; x < 4; ++x)
      for (int c = 0; c < kChannels; ++c) pixels.of[c][4 * y + x] = row[4 * x + c];
  }
  Best best;
  best.dst = dst;
  switch (mode) {
    case 0:
      encodeMode<0>(pixels, best);
      break;
    case 1:
      encodeMode<1>(pixels, best);
      break;
    case 2:
      encodeMode<2>(pixels, best);
      break;
    case 3:
      encodeMode<3>(pixels, best);
      break;
    case 4:
      encodeMode<4>(pixels, best);
      break;
    case 5:
      encodeMode<5>(pixels, best);
      break;
    case 6:
      encodeMode<6>(pixels, best);
      break;
    default:
      encodeMode<7>(pixels, best);
      break;
  }
  storeAny(err, static_cast<uint32_t>(best.error));
  return qlmOk;
}
