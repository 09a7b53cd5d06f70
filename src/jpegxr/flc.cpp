// Fixed-length coding of the low bits of a 4x4 block (ITU-T T.832 8.7): of each coefficient but DC as many bits, and a
// sign behind them where the coefficient has none yet.
#include "jpegxr/bit_io.h"
#include "jpegxr/vlc_scan.h"

// The numbers of the coefficients in the order of coding, and their places in the block, row by row. DC has no place in
// the order; the 16th is not coded.
static constexpr int32_t kOrder[16] = {5, 1, 6, 10, 12, 8, 14, 2, 4, 3, 7, 9, 13, 11, 15, 0};
static constexpr int32_t placeOf(int32_t i) { return 4 * kNumberRow[kOrder[i]] + kNumberColumn[kOrder[i]]; }

// The bits of all coefficients, 16 for each: its own and the bit behind them, which is its sign if it has one.
struct QlmLowBits {
  uint64_t row[4];
};

// Reads them. A sign is taken where `needsSign` has a bit for the place of the coefficient and its own bits are not all
// 0; there is no branch on that, as it could not be predicted.
[[gnu::always_inline]] static inline QlmLowBits readLowBits(QlmBitReader& in, int32_t numBits, uint32_t needsSign) {
  const uint64_t least = uint64_t{1} << (64 - numBits);  // from here on the bits are not all 0
  QlmLowBits read{};
#pragma GCC unroll 15
  for (int32_t i = 0; i < 15; ++i) {
    // Three coefficients have at most 48 bits. When they might not be there, all units are taken that will be read in
    // any case, as far as there is room; then they are there.
    if (i == 0 || (i % 3 == 0 && in.count < 3 * (numBits + 1))) {
      const int32_t atLeast = (15 - i) * numBits;
      while (in.count <= 48 && in.count - atLeast < 16) ownAppendUnit(in);
    }
    const int32_t place = placeOf(i);
    read.row[place / 4] |= (in.bits >> (63 - numBits)) << (16 * (place % 4));
    const int32_t sign = static_cast<int32_t>(needsSign >> place) & (in.bits >= least);
    in.bits = in.bits << numBits << sign;
    in.count -= numBits + sign;
  }
  ownRefill(in);
  return read;
}

static __m256i rowPair(__m128i first, __m128i second) { return _mm256_set_m128i(second, first); }
static void storeRows(int32_t* dst, int32_t step, __m256i rows01, __m256i rows23) {
  const auto row = [=](int32_t y) { return wrapAddress(dst, ptrdiff_t{y} * step); };
  store16x2(row(0), row(1), rows01);
  store16x2(row(2), row(3), rows23);
}
static void storeRows(int16_t* dst, int32_t step, __m256i rows01, __m256i rows23) {
  const auto row = [=](int32_t y) { return wrapAddress(dst, ptrdiff_t{y} * step); };
  const __m256i lowWord = _mm256_set1_epi32(0xFFFF);
  const __m256i words = _mm256_packus_epi32(_mm256_and_si256(rows01, lowWord), _mm256_and_si256(rows23, lowWord));
  const __m128i rows02 = _mm256_castsi256_si128(words), rows13 = _mm256_extracti128_si256(words, 1);
  store8(row(0), rows02);
  store8(row(1), rows13);
  storeUpper8(row(2), rows02);
  storeUpper8(row(3), rows13);
}

// Elements of 16 bits are computed in 32 and cut.
template <typename T>
static QlmStatus decode(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, T* srcDst, int32_t srcDstStep,
                        int32_t numBits, T scale, int32_t refine) {
  if (!srcDst || !stream || !*stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32 || !ownIsBitNumber(numBits)) return qlmErrRange;
  if (numBits == 0) return qlmOk;

  const auto row = [=](int32_t y) { return ownLoadBlockRow(wrapAddress(srcDst, ptrdiff_t{y} * srcDstStep)); };
  const __m256i old01 = rowPair(row(0), row(1)), old23 = rowPair(row(2), row(3)), zero = _mm256_setzero_si256();
  const __m256i always = _mm256_set1_epi32(refine == 0 ? -1 : 0);
  const __m256i fresh01 = _mm256_or_si256(_mm256_cmpeq_epi32(old01, zero), always);
  const __m256i fresh23 = _mm256_or_si256(_mm256_cmpeq_epi32(old23, zero), always);
  const auto needsSign = static_cast<uint32_t>(_mm256_movemask_ps(_mm256_castsi256_ps(fresh01)) |
                                               _mm256_movemask_ps(_mm256_castsi256_ps(fresh23)) << 8);

  QlmBitReader in = ownStartReading(*stream, *bitBuffer, *bitCount);
  const QlmLowBits read = readLowBits(in, numBits, needsSign);
  ownFinishReading(in, stream, bitBuffer, bitCount);

  const __m256i scales = _mm256_set1_epi32(scale);
  const auto combine = [=](__m256i old, __m256i fresh, uint64_t even, uint64_t odd) {
    const __m128i words = _mm_set_epi64x(static_cast<int64_t>(odd), static_cast<int64_t>(even));
    const __m256i bits = _mm256_cvtepu16_epi32(words), x = _mm256_srli_epi32(bits, 1);
    const __m256i negative =
        _mm256_blendv_epi8(_mm256_srai_epi32(old, 31), _mm256_srai_epi32(_mm256_slli_epi32(bits, 31), 31), fresh);
    const __m256i product = _mm256_mullo_epi32(x, scales);
    const __m256i added = _mm256_sub_epi32(_mm256_xor_si256(product, negative), negative);
    const __m256i sum = _mm256_add_epi32(_mm256_andnot_si256(fresh, old), added);
    return _mm256_blendv_epi8(sum, old, _mm256_cmpeq_epi32(x, zero));
  };
  storeRows(srcDst, srcDstStep, combine(old01, fresh01, read.row[0], read.row[1]),
            combine(old23, fresh23, read.row[2], read.row[3]));
  return qlmOk;
}

// Codes of the 16 coefficients in the order of coding as 16-bit lanes, from two vectors of 32-bit lanes by number.
static __m256i inOrder(__m256i low, __m256i high) {
  // The pack leaves numbers 0 to 3 and 8 to 11 in the low half, the others in the high half. Each half of the result
  // takes its lanes from both.
  static constexpr auto kFrom = [](bool otherHalf) {
    ShufflePattern pattern{};
    for (int i = 0; i < 32; ++i) {
      const int number = kOrder[i / 2], half = number >> 2 & 1, lane = (number & 3) + (number >> 3) * 4;
      pattern.index[i] = static_cast<int8_t>((half == i / 16) != otherHalf ? 2 * lane + i % 2 : -1);
    }
    return pattern;
  };
  static constexpr ShufflePattern kSame = kFrom(false), kOther = kFrom(true);
  const __m256i words = _mm256_packus_epi32(low, high);
  return _mm256_or_si256(shuffleBytes(words, kSame), shuffleBytes(_mm256_permute4x64_epi64(words, 0x4E), kOther));
}

template <typename T>
static QlmStatus encode(const T* src, int32_t srcStep, const int32_t* residual, uint16_t** stream, uint32_t* bitBuffer,
                        uint32_t* bitCount, int32_t numBits, int32_t trimBits, int32_t useResidual) {
  if (!src || !residual || !stream || !*stream || !bitBuffer || !bitCount) return qlmErrNullPointer;
  if (*bitCount > 32 || !ownIsBitNumber(numBits) || !ownIsBitNumber(trimBits)) return qlmErrRange;

  // By number: the codes, and whether they end with a sign.
  QlmVLCBlock codes, withSign;
  const __m256i one = _mm256_set1_epi32(1), mask = _mm256_set1_epi32((1 << numBits) - 1);
  if (useResidual != 0) {
    const QlmVLCBlock block = {load32(residual), load32(residual + 8)};
    withSign = {_mm256_and_si256(block.low, one), _mm256_and_si256(block.high, one)};
    // What a code has no room for is cut.
    const auto codeOf = [=](__m256i v, __m256i sign) {
      const __m256i room = _mm256_or_si256(_mm256_sllv_epi32(mask, sign), sign);
      return _mm256_and_si256(_mm256_srli_epi32(v, 1), room);
    };
    codes = {codeOf(block.low, withSign.low), codeOf(block.high, withSign.high)};
  } else {
    const QlmVLCBlock block = ownLoadBlock(src, srcStep);
    const __m128i trim = _mm_cvtsi32_si128(trimBits);
    const __m256i low = _mm256_srl_epi32(_mm256_abs_epi32(block.low), trim);
    const __m256i high = _mm256_srl_epi32(_mm256_abs_epi32(block.high), trim);
    withSign = {_mm256_min_epu32(low, one), _mm256_min_epu32(high, one)};
    const auto codeOf = [=](__m256i v, __m256i left, __m256i sign) {
      const __m256i bits = _mm256_slli_epi32(_mm256_and_si256(left, mask), 1);
      return _mm256_or_si256(bits, _mm256_and_si256(_mm256_srli_epi32(v, 31), sign));
    };
    codes = {codeOf(block.low, low, withSign.low), codeOf(block.high, high, withSign.high)};
  }

  // Joined by two: at most 32 bits.
  const __m256i coded = _mm256_setr_epi64x(-1, -1, -1, 0xFFFFFFFFFFFF);
  const __m256i words = _mm256_and_si256(inOrder(codes.low, codes.high), coded);
  const __m256i lengths = _mm256_and_si256(
      _mm256_add_epi16(inOrder(withSign.low, withSign.high), _mm256_set1_epi16(static_cast<int16_t>(numBits))), coded);
  const __m256i pairs = _mm256_or_si256(
      _mm256_sllv_epi32(_mm256_and_si256(words, _mm256_set1_epi32(0xFFFF)), _mm256_srli_epi32(lengths, 16)),
      _mm256_srli_epi32(words, 16));
  const __m256i pairLengths = _mm256_madd_epi16(lengths, _mm256_set1_epi16(1));
  alignas(32) uint32_t code[8], length[8];
  store32(code, pairs);
  store32(length, pairLengths);
  QlmBitWriter out = ownStartWriting(*stream, *bitBuffer, *bitCount);
  for (int32_t i = 0; i < 8; ++i) {
    ownDrain(out);
    ownPut(out, code[i], length[i]);
  }
  ownFinishWriting(out, stream, bitBuffer, bitCount);
  return qlmOk;
}

QLM_EXPORT(qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int16_t* srcDst, int32_t srcDstStep, int32_t numBits,
 int16_t scale, int32_t refine) {
  return decode(stream, bitBuffer, bitCount, srcDst, srcDstStep, numBits, scale, refine);
}
QLM_EXPORT(qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR)
(const uint16_t** stream, uint32_t* bitBuffer, uint32_t* bitCount, int32_t* srcDst, int32_t srcDstStep, int32_t numBits,
 int32_t scale, int32_t refine) {
  return decode(stream, bitBuffer, bitCount, srcDst, srcDstStep, numBits, scale, refine);
}
QLM_EXPORT(qlmiFLCEncode4x4_JPEGXR_16s1u_C1R)
(const int16_t* src, int32_t srcStep, const int32_t* residual, uint16_t** stream, uint32_t* bitBuffer,
 uint32_t* bitCount, int32_t numBits, int32_t trimBits, int32_t useResidual) {
  return encode(src, srcStep, residual, stream, bitBuffer, bitCount, numBits, trimBits, useResidual);
}
QLM_EXPORT(qlmiFLCEncode4x4_JPEGXR_32s1u_C1R)
(const int32_t* src, int32_t srcStep, const int32_t* residual, uint16_t** stream, uint32_t* bitBuffer,
 uint32_t* bitCount, int32_t numBits, int32_t trimBits, int32_t useResidual) {
  return encode(src, srcStep, residual, stream, bitBuffer, bitCount, numBits, trimBits, useResidual);
}
