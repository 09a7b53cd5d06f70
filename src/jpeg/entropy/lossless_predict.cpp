// Differences of the samples of a row to their prediction from the neighbours, and back (T.81 H.1.2, H.2.1): predictors
// 1 to 7 of table H.1 for later rows, and the first row, which is predictor 1 with a constant for the sample above.
// Samples are signed, differences wrap modulo 2^16, and halves are those of sign-extended values.
//
// Differences, and samples by predictors 2 and 3, are computed lane by lane. Samples by predictors 1, 4 and 5 are
// running sums. Predictors 6 and 7 halve what depends on the sample before and are serial: a mean and a sum for each.
#include <type_traits>

#include "frame/frame.h"
#include "frame/simd.h"
#include "frame/wrap.h"

namespace {

using Lanes16 = uint16_t __attribute__((vector_size(32)));
using Lanes8 = uint16_t __attribute__((vector_size(16)));

// (a - b) >> 1 and (a + b) >> 1 of signed values in more than 16 bits. In lanes by the mean of unsigned words,
// (p + q + 1) >> 1: with the sign flipped, a is a' - 2^15; ~b' in the place of q gives the difference, and complements
// of both, and of the mean, round the sum down.
constexpr uint16_t kFlip = 0x8000;        // a to a'
constexpr uint16_t kComplement = 0x7FFF;  // a to ~a'
inline Lanes16 mean(Lanes16 a, Lanes16 b) { return Lanes16(_mm256_avg_epu16(__m256i(a), __m256i(b))); }
inline Lanes8 mean(Lanes8 a, Lanes8 b) { return Lanes8(_mm_avg_epu16(__m128i(a), __m128i(b))); }
template <typename Lanes>
inline Lanes halfDifference(Lanes a, Lanes b) {
  return mean(a ^ kFlip, b ^ kComplement) ^ kFlip;
}
template <typename Lanes>
inline Lanes halfSum(Lanes a, Lanes b) {
  return mean(a ^ kComplement, b ^ kComplement) ^ kComplement;
}
inline int32_t halfDifference(int32_t a, int32_t b) { return (a - b) >> 1; }
inline int32_t halfSum(int32_t a, int32_t b) { return (a + b) >> 1; }

template <int kLanes>
inline auto load(const int16_t* p) {
  if constexpr (kLanes == 16) return Lanes16(load32(p));
  if constexpr (kLanes == 8) return Lanes8(load16(p));
  if constexpr (kLanes == 1) return int32_t{loadAny(p)};
}
inline void store(int16_t* p, Lanes16 v) { store32(p, __m256i(v)); }
inline void store(int16_t* p, Lanes8 v) { store16(p, __m128i(v)); }
inline void store(int16_t* p, int32_t v) { storeAny(p, static_cast<int16_t>(v)); }

// The words before those of v: the last of `before` and all of v but its last.
inline Lanes16 shiftIn(Lanes16 before, Lanes16 v) {
  const __m256i middle = _mm256_permute2x128_si256(__m256i(before), __m256i(v), 0x21);
  return Lanes16(_mm256_alignr_epi8(__m256i(v), middle, 14));
}
inline Lanes16 inAllLanes16(int16_t v) { return Lanes16(_mm256_set1_epi16(v)); }

// The elements before those at p, which begin their row if kBegin is set: then `edge` stands for the one before it.
template <int kLanes, bool kBegin>
inline auto loadBefore(const int16_t* p, int16_t edge) {
  if constexpr (!kBegin) return load<kLanes>(p - 1);
  if constexpr (kBegin && kLanes == 16) return shiftIn(inAllLanes16(edge), load<16>(p));
  if constexpr (kBegin && kLanes == 8) return Lanes8(_mm_alignr_epi8(load16(p), _mm_set1_epi16(edge), 14));
  if constexpr (kBegin && kLanes == 1) return int32_t{edge};
}

// The prediction from the samples a on the left, b above, and c above on the left.
template <int kPredictor, typename T>
inline T prediction(T a, T b, T c) {
  switch (kPredictor) {
    case 1:
      return a;
    case 2:
      return b;
    case 3:
      return c;
    case 4:
      return a + b - c;
    case 5:
      return a + halfDifference(b, c);
    case 6:
      return b + halfDifference(a, c);
    default:
      return halfSum(a, b);
  }
}
constexpr bool readsLeft(int predictor) { return predictor != 2 && predictor != 3; }
constexpr bool readsAbove(int predictor) { return predictor != 1; }
constexpr bool readsAboveLeft(int predictor) { return predictor >= 3 && predictor <= 6; }

// A row to predict or to restore. The first sample has no left neighbours; each predictor gives the one above it, as it
// is to be, where `edge`, that sample, stands for both of them.
struct QlmPredictedRow {
  const int16_t* src;
  const int16_t* above;
  int16_t* dst;
  ptrdiff_t width;
  int16_t edge;
};

// Whether the results overwrite elements of a source row that are still to be read, by the order of one element after
// the other. If not, many may be read at once. With `left` the element before the current one is read, too.
inline bool overwrites(const QlmPredictedRow& row, const int16_t* src, bool left) {
  const uintptr_t distance = reinterpret_cast<uintptr_t>(row.dst) - reinterpret_cast<uintptr_t>(src);
  return static_cast<ptrdiff_t>(distance) > (left ? -2 : 0) && static_cast<ptrdiff_t>(distance) < 2 * row.width;
}

// Calls step(lanes, begin, i) for the elements i to `end` - 1 from left to right, by kWidest lanes, 8 and 1; `begin`
// tells that the element at i is the first of the row.
template <int kLanes, typename Step>
inline ptrdiff_t inSteps(ptrdiff_t i, ptrdiff_t end, const Step& step) {
  constexpr std::integral_constant<int, kLanes> lanes;
  if (i == 0 && end >= kLanes) {
    step(lanes, std::true_type{}, i);
    i = kLanes;
  }
  for (; i <= end - kLanes; i += kLanes) step(lanes, std::false_type{}, i);
  return i;
}
template <int kWidest, typename Step>
inline void inOrder(ptrdiff_t i, ptrdiff_t end, const Step& step) {
  if constexpr (kWidest >= 16) i = inSteps<16>(i, end, step);
  if constexpr (kWidest >= 8) i = inSteps<8>(i, end, step);
  inSteps<1>(i, end, step);
}

// The differences, or with kAdd the samples by a predictor that looks at the row above alone. Left neighbours come from
// the vectors before and not from loads between those of the rows: where rows lie 4096 bytes apart or a multiple, as
// planes do, such a load would be taken to want what has just been stored, and wait for it.
template <int kPredictor, bool kAdd, int kWidest>
inline void predictInLanes(const QlmPredictedRow& row) {
  Lanes16 valuesBefore = inAllLanes16(row.edge), aboveBefore = valuesBefore;
  inOrder<kWidest>(0, row.width, [&, row](auto lanes, auto begin, ptrdiff_t i) {
    const auto v = load<lanes>(row.src + i), b = load<lanes>(row.above + i);
    auto predicted = v;
    if constexpr (lanes == 16) {
      predicted = prediction<kPredictor>(shiftIn(valuesBefore, v), b, shiftIn(aboveBefore, b));
      valuesBefore = v;
      aboveBefore = b;
    } else {
      predicted = prediction<kPredictor>(loadBefore<lanes, begin>(row.src + i, row.edge), b,
                                         loadBefore<lanes, begin>(row.above + i, row.edge));
    }
    store(row.dst + i, kAdd ? v + predicted : v - predicted);
  });
}

template <int kPredictor>
void subtractPrediction(const QlmPredictedRow& row) {
  if (overwrites(row, row.src, readsLeft(kPredictor)) ||
      (readsAbove(kPredictor) && overwrites(row, row.above, readsAboveLeft(kPredictor)))) {
    predictInLanes<kPredictor, false, 1>(row);
  } else {
    predictInLanes<kPredictor, false, 16>(row);
  }
}

// Samples from element i on, one by one.
template <int kPredictor>
inline void addSerially(ptrdiff_t i, const QlmPredictedRow& row) {
  int32_t sample = i == 0 ? row.edge : loadAny(row.dst + i - 1);
  inOrder<1>(i, row.width, [row, &sample](auto lanes, auto begin, ptrdiff_t k) {
    const int32_t predicted =
        prediction<kPredictor>(sample, load<lanes>(row.above + k), loadBefore<lanes, begin>(row.above + k, row.edge));
    sample = static_cast<int16_t>(load<lanes>(row.src + k) + predicted);
    store(row.dst + k, sample);
  });
}

// Predictors whose samples are running sums: 1, over the differences; 4, since x[i] - b[i] is the difference plus
// x[i-1] - b[i-1]; 5, with the halves as part of the differences.
template <int kPredictor>
inline void addRunningSums(const QlmPredictedRow& row) {
  // The last word of each half in all lanes of the half; the fourth in those above it, the others zero.
  const __m256i lastOfHalf = _mm256_set1_epi16(0x0F0E);
  const __m256i upperHalf = _mm256_setr_epi64x(0, 0, -1, -1);
  const __m256i fourthOfHalf = _mm256_setr_epi64x(-1, 0x0706070607060706, -1, 0x0706070607060706);

  __m256i before = kPredictor == 4 ? _mm256_setzero_si256() : _mm256_set1_epi16(row.edge);
  Lanes16 aboveBefore = inAllLanes16(row.edge);
  const ptrdiff_t done = inSteps<16>(0, row.width, [&, row](auto lanes, auto, ptrdiff_t i) {
    const Lanes16 b = load<lanes>(row.above + i);
    Lanes16 terms = load<lanes>(row.src + i);
    if (kPredictor == 5) terms += halfDifference(b, shiftIn(aboveBefore, b));
    aboveBefore = b;
    __m256i sums = __m256i(terms);
    sums = _mm256_add_epi16(sums, _mm256_slli_epi64(sums, 16));
    sums = _mm256_add_epi16(sums, _mm256_slli_epi64(sums, 32));
    sums = _mm256_add_epi16(sums, _mm256_shuffle_epi8(sums, fourthOfHalf));
    const __m256i totals = _mm256_shuffle_epi8(sums, lastOfHalf);
    const __m256i swapped = _mm256_permute2x128_si256(totals, totals, 0x01);
    const __m256i lower = _mm256_and_si256(swapped, upperHalf);
    Lanes16 samples = Lanes16(_mm256_add_epi16(sums, _mm256_add_epi16(before, lower)));
    if (kPredictor == 4) samples += b;
    store(row.dst + i, samples);
    before = _mm256_add_epi16(before, _mm256_add_epi16(totals, swapped));
  });
  addSerially<kPredictor>(done, row);
}

// Predictors 6 and 7, as a mean and a sum for each sample: v = mean(v, p) + q, in the lowest lane of a register.
// - 6: x[i] = (d[i] + b[i]) + ((x[i-1] - b[i-1]) >> 1): v is x with its sign flipped, p the complement of b[i-1].
// - 7: x[i] = d[i] + ((x[i-1] + b[i]) >> 1): v is the complement of x, p that of b[i], q is -d[i].
// p and q are prepared for a part of the row and read at unaligned addresses, which brings each word to the lowest
// lane.
template <int kPredictor>
inline void addHalves(const QlmPredictedRow& row) {
  constexpr ptrdiff_t kPart = 256;
  constexpr uint16_t kForm = kPredictor == 6 ? kFlip : kComplement;
  alignas(32) int16_t p[kPart + 8] = {}, q[kPart + 8] = {}, v[kPart + 8];
  __m128i last = _mm_cvtsi32_si128(row.edge ^ kForm);
  for (ptrdiff_t first = 0; first < row.width; first += kPart) {
    const ptrdiff_t end = row.width - first < kPart ? row.width : first + kPart;
    inOrder<16>(first, end, [&, row](auto lanes, auto begin, ptrdiff_t i) {
      const auto difference = load<lanes>(row.src + i);
      const auto b = load<lanes>(row.above + i);
      if constexpr (kPredictor == 6) {
        store(p + (i - first), loadBefore<lanes, begin>(row.above + i, row.edge) ^ kComplement);
        store(q + (i - first), difference + b);
      } else {
        store(p + (i - first), b ^ kComplement);
        store(q + (i - first), -difference);
      }
    });
    for (ptrdiff_t i = 0; i < end - first; ++i) {
      last = _mm_add_epi16(_mm_avg_epu16(last, load16(p + i)), load16(q + i));
      storeAny(reinterpret_cast<int32_t*>(v + i), _mm_cvtsi128_si32(last));
    }
    inOrder<16>(first, end,
                [&, row](auto lanes, auto, ptrdiff_t i) { store(row.dst + i, load<lanes>(v + (i - first)) ^ kForm); });
  }
}

template <int kPredictor>
void addPrediction(const QlmPredictedRow& row) {
  if (overwrites(row, row.src, false) ||
      (readsAbove(kPredictor) && overwrites(row, row.above, readsAboveLeft(kPredictor)))) {
    return addSerially<kPredictor>(0, row);
  }
  if constexpr (kPredictor == 2 || kPredictor == 3) predictInLanes<kPredictor, true, 16>(row);
  if constexpr (kPredictor == 1 || kPredictor == 4 || kPredictor == 5) addRunningSums<kPredictor>(row);
  if constexpr (kPredictor == 6 || kPredictor == 7) addHalves<kPredictor>(row);
}

// Half the range of the samples after the point transform, which the first sample is predicted to be. The shift count
// is taken modulo 32, as nothing refuses a point transform of the precision or more.
int16_t firstPrediction(int32_t precision, int32_t pointTransform) {
  const uint32_t bits = static_cast<uint32_t>(precision) - static_cast<uint32_t>(pointTransform) - 1;
  return static_cast<int16_t>(1u << (bits & 31));
}

QlmStatus checkFirstRow(const int16_t* src, const int16_t* dst, int32_t width, int32_t precision,
                        int32_t pointTransform) {
  if (!src || !dst) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;
  if (precision < 2 || precision > 16 || pointTransform < 0) return qlmErrBadArgument;
  return qlmOk;
}
QlmStatus checkRow(const int16_t* src, const int16_t* above, const int16_t* dst, int32_t width, int32_t predictor) {
  if (!src || !above || !dst) return qlmErrNullPointer;
  if (width < 1) return qlmErrSize;
  if (predictor < 1 || predictor > 7) return qlmErrBadArgument;
  return qlmOk;
}

using RowKernel = void (*)(const QlmPredictedRow& row);
constexpr RowKernel kSubtract[7] = {subtractPrediction<1>, subtractPrediction<2>, subtractPrediction<3>,
                                    subtractPrediction<4>, subtractPrediction<5>, subtractPrediction<6>,
                                    subtractPrediction<7>};
constexpr RowKernel kAdd[7] = {addPrediction<1>, addPrediction<2>, addPrediction<3>, addPrediction<4>,
                               addPrediction<5>, addPrediction<6>, addPrediction<7>};

}  // namespace

QLM_EXPORT(qlmiDiffPredFirstRow_JPEG_16s_C1)
(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform) {
  if (const QlmStatus status = checkFirstRow(src, dst, width, precision, pointTransform)) return status;

  // Predictor 1 looks at no row above.
  subtractPrediction<1>({src, src, dst, width, firstPrediction(precision, pointTransform)});
  return qlmOk;
}

QLM_EXPORT(qlmiReconstructPredFirstRow_JPEG_16s_C1)
(const int16_t* src, int16_t* dst, int32_t width, int32_t precision, int32_t pointTransform) {
  if (const QlmStatus status = checkFirstRow(src, dst, width, precision, pointTransform)) return status;

  // Predictor 1 looks at no row above.
  addPrediction<1>({src, src, dst, width, firstPrediction(precision, pointTransform)});
  return qlmOk;
}

QLM_EXPORT(qlmiDiffPredRow_JPEG_16s_C1)
(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor) {
  if (const QlmStatus status = checkRow(src, previous, dst, width, predictor)) return status;

  kSubtract[predictor - 1]({src, previous, dst, width, loadAny(previous)});
  return qlmOk;
}

QLM_EXPORT(qlmiReconstructPredRow_JPEG_16s_C1)
(const int16_t* src, const int16_t* previous, int16_t* dst, int32_t width, int32_t predictor) {
  if (const QlmStatus status = checkRow(src, previous, dst, width, predictor)) return status;

  kAdd[predictor - 1]({src, previous, dst, width, loadAny(previous)});
  return qlmOk;
}
