// BC6 to pixels of three half-precision bit patterns, signed or unsigned. A block's palettes are computed in 32-bit
// lanes, eight entries a vector, and its pixels look up.
//
// Where this departs from the published format, it is meant to: sums of a base end and a delta are wrapped only where
// they are not negative and not sign-extended, and the largest value of a width is recognised by equality alone.
#include "frame/frame.h"
#include "frame/simd.h"
#include "texture/bc6_tables.h"
#include "texture/bc7_tables.h"
#include "texture/block_bits.h"
#include "texture/decode_walk.h"

namespace {

using namespace texture;

constexpr int kPieces = sizeof(kBc6Pieces) / sizeof(kBc6Pieces[0]);

// The pieces of a mode stand together.
constexpr int firstPieceOf(int mode) {
  int i = 0;
  while (i < kPieces && kBc6Pieces[i].mode != mode) ++i;
  return i;
}
constexpr int endOfPieces(int mode) {
  int i = firstPieceOf(mode);
  while (i < kPieces && kBc6Pieces[i].mode == mode) ++i;
  return i;
}

template <int kCount>
constexpr int reverseBits(int v) {
  int r = 0;
  for (int i = 0; i < kCount; ++i) r |= (v >> i & 1) << (kCount - 1 - i);
  return r;
}

// All fields of a block, piece by piece.
template <int kMode, int kPiece>
inline void unpackFrom(const BlockBits& block, int (&fields)[kBc6Fields]) {
  if constexpr (kPiece < endOfPieces(kMode)) {
    constexpr Bc6Piece kP = kBc6Pieces[kPiece];
    constexpr int kCount = kP.high - kP.low + 1;
    int v = static_cast<int>(block.get<kP.stream, kCount>());
    if constexpr (kP.reversed) v = reverseBits<kCount>(v);
    fields[kP.field] |= v << kP.low;
    unpackFrom<kMode, kPiece + 1>(block, fields);
  }
}

constexpr int signExtend(int v, int bits) {
  const int sign = 1 << (bits - 1);
  return ((v & ((1 << bits) - 1)) ^ sign) - sign;
}

// A delta on its base. Only sums that are not negative are wrapped, and none is sign-extended: kept.
constexpr int addDelta(int base, int delta, int bits) {
  const int sum = delta + base;
  return sum >= 0 ? sum & ((1 << bits) - 1) : sum | ~((1 << (bits + 1)) - 1);
}

// An end to 16 bits. The tests for the largest value are for equality: kept.
template <bool kSigned, int kBits>
constexpr int unquantise(int v) {
  if constexpr (kSigned) {
    if (kBits >= 16 || v == 0) return v;
    const int m = v < 0 ? -v : v;
    const int scaled = m == (1 << (kBits - 1)) - 1 ? 0x7FFF : ((m << 15) + 0x4000) >> (kBits - 1);
    return v < 0 ? -scaled : scaled;
  } else {
    if (kBits >= 15 || v == 0) return v;
    if (v == (1 << kBits) - 1) return 0xFFFF;
    return (v * 65536 + 0x8000) >> kBits;
  }
}

// Eight entries between two ends, from the first weight on, as 16-bit patterns in lanes of 32 bits.
template <bool kSigned>
inline __m256i interpolate(int a, int b, __m256i weights) {
  const __m256i scaled = _mm256_mullo_epi32(_mm256_set1_epi32(b - a), weights);
  const __m256i sum = _mm256_add_epi32(scaled, _mm256_set1_epi32(a * 64 + 32));
  const auto times31 = [](__m256i v) { return _mm256_sub_epi32(_mm256_slli_epi32(v, 5), v); };
  if constexpr (kSigned) {
    const __m256i t = _mm256_srai_epi32(sum, 6);
    const __m256i magnitude = _mm256_srli_epi32(times31(_mm256_abs_epi32(t)), 5);
    // A magnitude of 0 has no sign.
    const __m256i negative = _mm256_andnot_si256(_mm256_cmpeq_epi32(magnitude, _mm256_setzero_si256()), t);
    return _mm256_or_si256(magnitude, _mm256_and_si256(_mm256_srli_epi32(negative, 16), _mm256_set1_epi32(0x8000)));
  } else {
    const __m256i t = _mm256_srli_epi32(sum, 6);
    return _mm256_and_si256(_mm256_srli_epi32(times31(t), 6), _mm256_set1_epi32(0xFFFF));
  }
}

struct WeightLanes {
  alignas(32) int32_t lane[16];
};
template <int kBits>
constexpr WeightLanes weightLanes() {
  WeightLanes w{};
  for (int i = 0; i < 1 << kBits; ++i) w.lane[i] = weightOf(kBits, i);
  return w;
}
template <int kBits>
constexpr WeightLanes kWeightLanes = weightLanes<kBits>();

// Palette entries are R, G, B and 0, of 16 bits each.
inline void storeEntries(uint64_t* palette, __m256i r, __m256i g, __m256i b) {
  const __m256i rg = _mm256_or_si256(r, _mm256_slli_epi32(g, 16));
  const __m256i low = _mm256_unpacklo_epi32(rg, b), high = _mm256_unpackhi_epi32(rg, b);
  store32(palette, lowHalves(low, high));
  store32(palette + 4, highHalves(low, high));
}

// Four pixels of 6 bytes.
inline void storeRow(uint8_t* dst, uint64_t p0, uint64_t p1, uint64_t p2, uint64_t p3) {
  const auto pair = [](uint64_t first, uint64_t second) {
    const __m128i places = _mm_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
    return _mm_shuffle_epi8(_mm_set_epi64x(static_cast<int64_t>(second), static_cast<int64_t>(first)), places);
  };
  const __m128i low = pair(p0, p1), high = pair(p2, p3);
  store16(dst, _mm_or_si128(low, _mm_slli_si128(high, 12)));
  store8(dst + 16, _mm_srli_si128(high, 4));
}

struct Shapes {
  IndexMasks of[32];
};
constexpr Shapes makeShapes() {
  Shapes s{};
  for (int shape = 0; shape < 32; ++shape) s.of[shape] = indexMasks(3, kAnchors2[shape]);
  return s;
}
constexpr Shapes kShapes = makeShapes();

template <bool kSigned, int kMode>
void decodeMode(const BlockBits& block, uint8_t* dst, int32_t dstStep) {
  constexpr Bc6Mode kM = kBc6Modes[kMode];
  int fields[kBc6Fields] = {};
  unpackFrom<kMode, firstPieceOf(kMode)>(block, fields);

  constexpr int kEnds = 2 * kM.subsets, kEntries = 1 << kM.indexBits();
  int ends[3][4];
  for (int c = 0; c < 3; ++c) {
    const int* field = fields + 4 * c;
    const int base = kSigned ? signExtend(field[0], kM.endBits) : field[0];
    ends[c][0] = unquantise<kSigned, kM.endBits>(base);
    for (int i = 1; i < kEnds; ++i) {
      int v = field[i];
      if (kSigned || kM.transformed) v = signExtend(v, kM.deltaBits[c]);
      if (kM.transformed) v = addDelta(base, v, kM.endBits);
      ends[c][i] = unquantise<kSigned, kM.endBits>(v);
    }
  }

  alignas(32) uint64_t palette[2 * 8];  // two subsets of 8 entries, or one of 16
  for (int i = 0; i < 2; ++i) {
    const int subset = kM.subsets == 2 ? i : 0, first = kM.subsets == 2 ? 0 : 8 * i;
    const __m256i weights = load32(kWeightLanes<kM.indexBits()>.lane + first);
    const auto entries = [&](int c) {
      return interpolate<kSigned>(ends[c][2 * subset], ends[c][2 * subset + 1], weights);
    };
    storeEntries(palette + 8 * i, entries(0), entries(1), entries(2));
  }

  // The subset of a pixel is the top bit of its place in the palettes.
  constexpr int kLength = 16 * kM.indexBits() - kM.subsets;
  const uint64_t stream = block.get<kM.indexStart(), kLength>();
  alignas(16) uint8_t places[16];
  if constexpr (kM.subsets == 2) {
    const int s = fields[shape];
    const uint64_t subsets = kPartitions2[s];
    const auto tops = [=](int from) { return static_cast<int64_t>(_pdep_u64(subsets >> from, 0x0808080808080808)); };
    store16(places, _mm_or_si128(kShapes.of[s].expand(stream), _mm_set_epi64x(tops(8), tops(0))));
  } else {
    constexpr IndexMasks kMasks = indexMasks(4);
    store16(places, kMasks.expand(stream));
  }
  static_assert(kEntries * kM.subsets == 16);
  for (int y = 0; y < 4; ++y) {
    const uint8_t* p = places + 4 * y;
    storeRow(dst + ptrdiff_t{dstStep} * y, palette[p[0]], palette[p[1]], palette[p[2]], palette[p[3]]);
  }
}

void decodeReserved(uint8_t* dst, int32_t dstStep) {
  for (int y = 0; y < 4; ++y) storeRow(dst + ptrdiff_t{dstStep} * y, 0, 0, 0, 0);
}

struct ModeTable {
  uint8_t byCode[32];
};
constexpr ModeTable makeModes() {
  ModeTable modes{};
  for (int code = 0; code < 32; ++code) modes.byCode[code] = static_cast<uint8_t>(bc6ModeOf(code));
  return modes;
}
constexpr ModeTable kModes = makeModes();

template <bool kSigned>
struct Bc6 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 6, kGroup = 1;

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    const BlockBits block = BlockBits::load(src);
    switch (kModes.byCode[src[0] & 31]) {
      case 0:
        return decodeMode<kSigned, 0>(block, dst, dstStep);
      case 1:
        return decodeMode<kSigned, 1>(block, dst, dstStep);
      case 2:
        return decodeMode<kSigned, 2>(block, dst, dstStep);
      case 3:
        return decodeMode<kSigned, 3>(block, dst, dstStep);
      case 4:
        return decodeMode<kSigned, 4>(block, dst, dstStep);
      case 5:
        return decodeMode<kSigned, 5>(block, dst, dstStep);
      case 6:
        return decodeMode<kSigned, 6>(block, dst, dstStep);
      case 7:
        return decodeMode<kSigned, 7>(block, dst, dstStep);
      case 8:
        return decodeMode<kSigned, 8>(block, dst, dstStep);
      case 9:
        return decodeMode<kSigned, 9>(block, dst, dstStep);
      case 10:
        return decodeMode<kSigned, 10>(block, dst, dstStep);
      case 11:
        return decodeMode<kSigned, 11>(block, dst, dstStep);
      case 12:
        return decodeMode<kSigned, 12>(block, dst, dstStep);
      case 13:
        return decodeMode<kSigned, 13>(block, dst, dstStep);
      default:
        return decodeReserved(dst, dstStep);
    }
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureDecodeBlockToRGB_BC6_16s_C1C3R)
(const uint8_t* src, int16_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Bc6<true>>(src, reinterpret_cast<uint8_t*>(dst), dstStep, size);
}

QLM_EXPORT(qlmiTextureDecodeBlockToRGB_BC6_16u_C1C3R)
(const uint8_t* src, uint16_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Bc6<false>>(src, reinterpret_cast<uint8_t*>(dst), dstStep, size);
}
