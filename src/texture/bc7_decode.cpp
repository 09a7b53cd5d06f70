// BC7 to RGBA pixels, all eight modes. A pixel is interpolated in lanes of words: its channels' pairs of ends, picked
// by the pixel's subset, times the pair of weights of its index. So a row of four pixels is one multiply-add.
#include "frame/frame.h"
#include "frame/simd.h"
#include "texture/bc7_tables.h"
#include "texture/block_bits.h"
#include "texture/decode_walk.h"

namespace {

using namespace texture;

// For each partition the places of its pixels' ends: subset s stands in double words 2s and 2s + 1, and a row of four
// pixels takes eight double words.
template <int kSubsets>
struct EndPlaces {
  alignas(8) uint8_t place[64][4][8];
};
template <int kSubsets>
constexpr EndPlaces<kSubsets> endPlaces() {
  EndPlaces<kSubsets> places{};
  for (int partition = 0; partition < 64; ++partition)
    for (int i = 0; i < 32; ++i)
      places.place[partition][i / 8][i % 8] = static_cast<uint8_t>(2 * subsetOf(kSubsets, partition, i / 2) + i % 2);
  return places;
}
template <int kSubsets>
constexpr EndPlaces<kSubsets> kEndPlaces = endPlaces<kSubsets>();

template <int kSubsets, int kBits>
struct PartitionMasks {
  IndexMasks of[64];
};
template <int kSubsets, int kBits>
constexpr PartitionMasks<kSubsets, kBits> partitionMasks() {
  PartitionMasks<kSubsets, kBits> masks{};
  for (int p = 0; p < 64; ++p)
    masks.of[p] = kSubsets == 3   ? indexMasks(kBits, kAnchors3[p].second, kAnchors3[p].third)
                  : kSubsets == 2 ? indexMasks(kBits, kAnchors2[p])
                                  : indexMasks(kBits);
  return masks;
}
template <int kSubsets, int kBits>
constexpr PartitionMasks<kSubsets, kBits> kPartitionMasks = partitionMasks<kSubsets, kBits>();

// Where the fields of a mode begin.
template <int kMode>
struct Layout {
  static constexpr Bc7Mode kM = kBc7Modes[kMode];
  static constexpr int kPartition = kMode + 1;
  static constexpr int kRotation = kPartition + kM.partitionBits;
  static constexpr int kSelection = kRotation + kM.rotationBits;
  static constexpr int kColour = kSelection + kM.selectionBits;
  static constexpr int kAlpha = kColour + 3 * kM.ends() * kM.colourBits;
  static constexpr int kP = kAlpha + kM.ends() * kM.alphaBits;
  static constexpr int kIndex = kP + kM.pBits();
  static constexpr int kIndexLength = 16 * kM.indexBits - kM.subsets;
  static constexpr int kSecond = kIndex + kIndexLength;
  static constexpr int kSecondLength = kM.secondIndexBits ? 16 * kM.secondIndexBits - 1 : 0;
  static_assert(kSecond + kSecondLength == 128);
};

// Values of kBits bits in bytes, widened to eight by their own top bits.
template <int kBits>
inline uint64_t widenBytes(uint64_t v) {
  if constexpr (kBits == 8)
    return v;
  else
    return v << (8 - kBits) | (v >> (2 * kBits - 8) & fieldBytes(8 - kBits));
}

// The ends of a channel, one a byte, subset by subset.
template <int kMode, int kFrom, int kBits>
inline uint64_t endsOf(const BlockBits& block) {
  using L = Layout<kMode>;
  constexpr int kEnds = L::kM.ends();
  const uint64_t v = _pdep_u64(block.get<kFrom, kEnds * kBits>(), fieldBytes(kBits));
  if constexpr (L::kM.pBitsPerSubset == 2)
    return widenBytes<kBits + 1>(v << 1 | _pdep_u64(block.get<L::kP, kEnds>(), fieldBytes(1)));
  else if constexpr (L::kM.pBitsPerSubset == 1)
    return widenBytes<kBits + 1>(v << 1 | _pdep_u64(block.get<L::kP, kEnds / 2>(), 0x0001000100010001) * 0x101);
  else
    return widenBytes<kBits>(v);
}

// Weights by index, as bytes.
template <int kBits>
inline __m128i weightsOf(__m128i indices) {
  static constexpr ShufflePattern kTable = makeShuffle([](int i) { return i < 1 << kBits ? weightOf(kBits, i) : 0; });
  return _mm_shuffle_epi8(load16(kTable.index), indices);
}

// Pairs 64 - w, w of eight pixels a vector.
struct WeightPairs {
  __m128i part[2];

  explicit WeightPairs(__m128i weights) {
    const __m128i rest = _mm_sub_epi8(_mm_set1_epi8(64), weights);
    part[0] = _mm_unpacklo_epi8(rest, weights);
    part[1] = _mm_unpackhi_epi8(rest, weights);
  }

  // Those of a row, four times each.
  __m256i row(int y) const {
    const __m256i places = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3,  //
                                            4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7);
    return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(part[y / 2]),
                               _mm256_add_epi8(places, _mm256_set1_epi8(static_cast<char>(y % 2 * 8))));
  }
};

// Alpha changes places with one of the colours, or none.
struct Rotation {
  alignas(16) int8_t place[4][16];
};
constexpr Rotation makeRotations() {
  Rotation r{};
  for (int rotation = 0; rotation < 4; ++rotation)
    for (int i = 0; i < 16; ++i) {
      const int c = i % 4;
      const int from = rotation == 0 ? c : c == 3 ? rotation - 1 : c == rotation - 1 ? 3 : c;
      r.place[rotation][i] = static_cast<int8_t>(i - c + from);
    }
  return r;
}
constexpr Rotation kRotations = makeRotations();

template <int kMode>
void decodeMode(const BlockBits& block, uint8_t* dst, int32_t dstStep) {
  using L = Layout<kMode>;
  constexpr Bc7Mode kM = L::kM;
  constexpr int kChannelBits = kM.ends() * kM.colourBits;
  uint64_t partition = 0;
  if constexpr (kM.partitionBits > 0) partition = block.get<L::kPartition, kM.partitionBits>();

  // Ends as words of one channel and subset, then as quadwords of one subset.
  const auto words = [](uint64_t v) { return _mm_cvtsi64_si128(static_cast<int64_t>(v)); };
  const __m128i r = words(endsOf<kMode, L::kColour, kM.colourBits>(block));
  const __m128i g = words(endsOf<kMode, L::kColour + kChannelBits, kM.colourBits>(block));
  const __m128i b = words(endsOf<kMode, L::kColour + 2 * kChannelBits, kM.colourBits>(block));
  __m128i a = _mm_set1_epi8(-1);
  if constexpr (kM.alphaBits > 0) a = words(endsOf<kMode, L::kAlpha, kM.alphaBits>(block));
  const __m128i rg = _mm_unpacklo_epi16(r, g), ba = _mm_unpacklo_epi16(b, a);
  const __m256i ends =
      _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi32(rg, ba)), _mm_unpackhi_epi32(rg, ba), 1);

  const uint64_t stream = block.get<L::kIndex, L::kIndexLength>();
  const __m128i first = weightsOf<kM.indexBits>(kPartitionMasks<kM.subsets, kM.indexBits>.of[partition].expand(stream));
  WeightPairs colour(first), alpha(first);
  if constexpr (kM.secondIndexBits > 0) {
    constexpr IndexMasks kMasks = indexMasks(kM.secondIndexBits);
    const WeightPairs second(weightsOf<kM.secondIndexBits>(kMasks.expand(block.get<L::kSecond, L::kSecondLength>())));
    bool swapped = false;
    if constexpr (kM.selectionBits > 0) swapped = block.get<L::kSelection, 1>();
    (swapped ? colour : alpha) = second;
  }

  __m256i pixels[4];
  for (int y = 0; y < 4; ++y) {
    __m256i e;
    if constexpr (kM.subsets == 1)
      e = _mm256_broadcastq_epi64(_mm256_castsi256_si128(ends));
    else
      e = _mm256_permutevar8x32_epi32(ends, _mm256_cvtepu8_epi32(load8(kEndPlaces<kM.subsets>.place[partition][y])));
    __m256i w = colour.row(y);
    if constexpr (kM.secondIndexBits > 0) w = _mm256_blend_epi16(w, alpha.row(y), 0x88);
    const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(e, w), _mm256_set1_epi16(32));
    pixels[y] = _mm256_srli_epi16(sum, 6);
  }
  for (int y = 0; y < 4; y += 2) {
    __m256i two = _mm256_permute4x64_epi64(_mm256_packus_epi16(pixels[y], pixels[y + 1]), 0xD8);
    if constexpr (kM.rotationBits > 0)
      two =
          _mm256_shuffle_epi8(two, _mm256_broadcastsi128_si256(load16(kRotations.place[block.get<L::kRotation, 2>()])));
    store16x2(dst + ptrdiff_t{dstStep} * y, dst + ptrdiff_t{dstStep} * (y + 1), two);
  }
}

// A block of the reserved mode: transparent black.
void decodeReserved(uint8_t* dst, int32_t dstStep) {
  for (int y = 0; y < 4; ++y) store16(dst + ptrdiff_t{dstStep} * y, _mm_setzero_si128());
}

struct Bc7 {
  static constexpr int32_t kBlockBytes = 16, kPixelBytes = 4, kGroup = 1;

  static void decode(const uint8_t* src, uint8_t* dst, int32_t dstStep) {
    const BlockBits block = BlockBits::load(src);
    switch (__builtin_ctz(src[0] | 256)) {
      case 0:
        return decodeMode<0>(block, dst, dstStep);
      case 1:
        return decodeMode<1>(block, dst, dstStep);
      case 2:
        return decodeMode<2>(block, dst, dstStep);
      case 3:
        return decodeMode<3>(block, dst, dstStep);
      case 4:
        return decodeMode<4>(block, dst, dstStep);
      case 5:
        return decodeMode<5>(block, dst, dstStep);
      case 6:
        return decodeMode<6>(block, dst, dstStep);
      case 7:
        return decodeMode<7>(block, dst, dstStep);
      default:
        return decodeReserved(dst, dstStep);
    }
  }
};

}  // namespace

QLM_EXPORT(qlmiTextureDecodeBlockToRGBA_BC7_8u_C1C4R)
(const uint8_t* src, uint8_t* dst, int32_t dstStep, QlmSize size) {
  return decodeTexture<Bc7>(src, dst, dstStep, size);
}
