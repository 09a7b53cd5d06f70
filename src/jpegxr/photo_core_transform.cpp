// The photo core transform of JPEG XR (T.832 9.9.7 and its inverse): a 4x4 integer lifting transform of every block of
// a region, in place. Blocks are transformed in groups, a block in each lane: the sixteen places of the blocks stand in
// sixteen registers, so that the chain of lifting lines, in which each waits for the one before it, is paid once a
// group, and all lines are plain vertical operations.
#include <cstddef>
#include <type_traits>

#include "frame/frame.h"
#include "frame/rows.h"
#include "frame/simd.h"

namespace {

// --- Arithmetic ------------------------------------------------------------------------------------------------------

// A vector of `bytes` bytes, from and to the form in which it is loaded, shuffled and stored.
template <typename Element, int bytes>
struct VectorOf {
  typedef Element Vector __attribute__((vector_size(bytes)));

  // 16 bytes stand in the lower half.
  static Vector of(__m256i v) {
    if constexpr (bytes == 32)
      return reinterpret_cast<Vector>(v);
    else
      return reinterpret_cast<Vector>(_mm256_castsi256_si128(v));
  }
  static __m256i bits(Vector v) {
    if constexpr (bytes == 32)
      return reinterpret_cast<__m256i>(v);
    else
      return _mm256_castsi128_si256(reinterpret_cast<__m128i>(v));
  }
};

// The lifting lines over such vectors. Integers wrap at every operation, the products by 3 and the sums with a rounding
// constant included, and shift as numbers of their own width: in 16 bits 3x + 4 wraps where the magnitude of x passes
// 10921, and the result then differs from that in 32 bits.
template <typename T, int bytes>
struct Lanes : VectorOf<std::make_unsigned_t<T>, bytes> {
  using typename VectorOf<std::make_unsigned_t<T>, bytes>::Vector;
  typedef T Signed __attribute__((vector_size(bytes)));

  // (multiplier x + rounding) >> shift
  template <typename Factor>
  static Vector lifted(Vector x) {
    if constexpr (Factor::multiplier == 3) x = x + x + x;
    if constexpr (Factor::rounding != 0) x = x + Factor::rounding;
    return reinterpret_cast<Vector>(reinterpret_cast<Signed>(x) >> Factor::shift);
  }
  template <typename Factor>
  static Vector added(Vector to, Vector x) {
    return to + lifted<Factor>(x);
  }
  template <typename Factor>
  static Vector taken(Vector from, Vector x) {
    return from - lifted<Factor>(x);
  }
  template <typename Factor>
  static Vector less(Vector x, Vector y) {
    return lifted<Factor>(x) - y;
  }
};

// Floats leave out the rounding, and fuse each product with the sum that follows it.
template <int bytes>
struct Lanes<float, bytes> : VectorOf<float, bytes> {
  using typename VectorOf<float, bytes>::Vector;

  template <typename Factor>
  static Vector added(Vector to, Vector x) {
    if constexpr (bytes == 32)
      return _mm256_fmadd_ps(x, _mm256_set1_ps(Factor::value), to);
    else
      return _mm_fmadd_ps(x, _mm_set1_ps(Factor::value), to);
  }
  template <typename Factor>
  static Vector taken(Vector from, Vector x) {
    return added<Factor>(from, -x);
  }
  template <typename Factor>
  static Vector less(Vector x, Vector y) {
    return added<Factor>(-y, x);
  }
};

// What a value is lifted by.
template <int m, int r, int s>
struct Factor {
  static constexpr int multiplier = m, rounding = r, shift = s;
  static constexpr float value = static_cast<float>(m) / (1 << s);
};
using HalfDown = Factor<1, 0, 1>;
using HalfUp = Factor<1, 1, 1>;
// The first and the last of these three differ by their rounding alone. Both are wanted.
using ThreeEighths = Factor<3, 4, 3>;
using ThreeQuarters = Factor<3, 3, 2>;
using ThreeEighthsDown = Factor<3, 3, 3>;

// --- The primitives, in place on four values -------------------------------------------------------------------------

template <typename L>
struct Steps {
  using V = typename L::Vector;

  // Its own inverse. The values come back as a, b, c, d.
  template <int rounding>
  [[gnu::always_inline]] static void butterfly(V& a, V& b, V& c, V& d) {
    using Half = Factor<1, rounding, 1>;
    a = a + d;
    b = b - c;
    const V difference = a - b;
    const V c2 = L::template less<Half>(difference, d);
    d = L::template less<Half>(difference, c);
    c = c2;
    a = a - d;
    b = b + c;
  }

  // a, b, c, d become p, q, s, r.
  [[gnu::always_inline]] static void oddRotate(V& a, V& b, V& c, V& d) {
    V p = b + c;
    V q = a - d;
    V r = L::template less<HalfUp>(p, b);
    V s = L::template added<HalfUp>(d, q);
    q = L::template taken<ThreeEighths>(q, p);
    r = L::template taken<ThreeEighths>(r, s);
    p = L::template added<ThreeEighths>(p, q);
    s = L::template added<ThreeEighths>(s, r);
    s = L::template taken<HalfUp>(s, p);
    r = L::template added<HalfDown>(r, q);
    a = p + s;
    b = q - r;
    c = s;
    d = r;
  }

  // p, q, s, r become a, b, c, d.
  [[gnu::always_inline]] static void oddRotateInverse(V& p, V& q, V& s, V& r) {
    p = p - s;
    q = q + r;
    s = L::template added<HalfUp>(s, p);
    r = L::template taken<HalfDown>(r, q);
    p = L::template taken<ThreeEighths>(p, q);
    s = L::template taken<ThreeEighths>(s, r);
    q = L::template added<ThreeEighths>(q, p);
    r = L::template added<ThreeEighths>(r, s);
    const V d = L::template taken<HalfUp>(s, q);
    const V b = L::template less<HalfUp>(p, r);
    s = p - b;
    p = q + d;
    q = b;
    r = d;
  }

  // a, b, c, d become e0, e1, e2, e3.
  [[gnu::always_inline]] static void oddOddRotate(V& a, V& b, V& c, V& d) {
    const V e = d - a;
    const V f = b + c;
    V u = L::template taken<HalfDown>(c, f);
    V v = L::template less<HalfDown>(e, d);
    u = L::template added<ThreeEighths>(u, v);
    v = L::template taken<ThreeQuarters>(v, u);
    u = L::template added<ThreeEighthsDown>(u, v);
    a = L::template added<HalfDown>(u, f);
    b = L::template taken<HalfDown>(v, e);
    c = e + b;
    d = f - a;
  }

  // e0, e1, e2, e3 become a, b, c, d.
  [[gnu::always_inline]] static void oddOddRotateInverse(V& e0, V& e1, V& e2, V& e3) {
    const V e = e2 - e1;
    const V f = e3 + e0;
    V u = L::template taken<HalfDown>(e0, f);
    V v = L::template added<HalfDown>(e1, e);
    u = L::template taken<ThreeEighthsDown>(u, v);
    v = L::template added<ThreeQuarters>(v, u);
    u = L::template taken<ThreeEighths>(u, v);
    e2 = L::template added<HalfDown>(u, f);
    e3 = L::template less<HalfDown>(e, v);
    e0 = e3 - e;
    e1 = f - e2;
  }

  // A block in each lane, x[row][column].
  [[gnu::always_inline]] static void forward(V (&x)[4][4]) {
    butterfly<0>(x[0][0], x[0][3], x[3][0], x[3][3]);
    butterfly<0>(x[0][1], x[0][2], x[3][1], x[3][2]);
    butterfly<0>(x[1][0], x[1][3], x[2][0], x[2][3]);
    butterfly<0>(x[1][1], x[1][2], x[2][1], x[2][2]);
    V a1 = x[0][0], a2 = x[0][1], a3 = x[1][0], a4 = x[1][1];
    V b1 = x[0][3], b2 = x[0][2], b3 = x[1][3], b4 = x[1][2];
    V c1 = x[3][0], c2 = x[3][1], c3 = x[2][0], c4 = x[2][1];
    V d1 = x[3][3], d2 = x[3][2], d3 = x[2][3], d4 = x[2][2];
    butterfly<1>(a1, a2, a3, a4);
    x[0][0] = a1, x[0][1] = a2, x[1][0] = a3, x[1][1] = a4;
    // The second value goes down in the lower left quadrant, and to the right in the upper right one.
    oddRotate(c1, c2, c3, c4);
    x[2][0] = c1, x[3][0] = c2, x[2][1] = c3, x[3][1] = c4;
    oddRotate(b1, b3, b2, b4);
    x[0][2] = b1, x[0][3] = b3, x[1][2] = b2, x[1][3] = b4;
    oddOddRotate(d2, d1, d4, d3);
    x[2][2] = d2, x[2][3] = d1, x[3][2] = d4, x[3][3] = d3;
  }

  [[gnu::always_inline]] static void inverse(V (&x)[4][4]) {
    V a1 = x[0][0], a2 = x[0][1], a3 = x[1][0], a4 = x[1][1];
    V c1 = x[2][0], c2 = x[3][0], c3 = x[2][1], c4 = x[3][1];
    V b1 = x[0][2], b3 = x[0][3], b2 = x[1][2], b4 = x[1][3];
    V d2 = x[2][2], d1 = x[2][3], d4 = x[3][2], d3 = x[3][3];
    butterfly<1>(a1, a2, a3, a4);
    oddRotateInverse(c1, c2, c3, c4);
    oddRotateInverse(b1, b3, b2, b4);
    oddOddRotateInverse(d2, d1, d4, d3);
    butterfly<0>(a1, b1, c1, d1);
    x[0][0] = a1, x[0][3] = b1, x[3][0] = c1, x[3][3] = d1;
    butterfly<0>(a2, b2, c2, d2);
    x[0][1] = a2, x[0][2] = b2, x[3][1] = c2, x[3][2] = d2;
    butterfly<0>(a3, b3, c3, d3);
    x[1][0] = a3, x[1][3] = b3, x[2][0] = c3, x[2][3] = d3;
    butterfly<0>(a4, b4, c4, d4);
    x[1][1] = a4, x[1][2] = b4, x[2][1] = c4, x[2][2] = d4;
  }
};

// --- Groups of blocks ------------------------------------------------------------------------------------------------

// The blocks below a group of vectors: `across` vectors side by side in each row, `down` rows of blocks. Four vectors
// fill a group; of two the group holds copies, which are dropped.
template <typename T, int bytes, int across, int down>
struct Tile {
  using L = Lanes<T, bytes>;
  static constexpr int32_t kVector = bytes / static_cast<int32_t>(sizeof(T));  // samples
  static constexpr int32_t kWidth = across * kVector, kHeight = 4 * down;
  static_assert(across * down == 4 || across * down == 2);

  T* first;
  int32_t step;

  __m256i load(int32_t row, int i) const {
    const T* p = at(row, i % (across * down));
    return bytes == 32 ? load32(p) : _mm256_castsi128_si256(load16(p));
  }
  void store(int32_t row, int i, __m256i v) const {
    if (i >= across * down) return;
    if constexpr (bytes == 32)
      store32(at(row, i), v);
    else
      store16(at(row, i), _mm256_castsi256_si128(v));
  }

 private:
  T* at(int32_t row, int i) const { return ownRow(first, step, 4 * (i / across) + row) + i % across * kVector; }
};

// Blocks that each have a place of their own.
template <typename T>
struct Scattered {
  using L = Lanes<T, 32>;
  static constexpr int32_t kBlocks = 32 / static_cast<int32_t>(sizeof(T));

  T* blocks[kBlocks];
  int32_t step;

  __m256i load(int32_t row, int i) const {
    if constexpr (sizeof(T) == 2)
      return lowAndHigh16(loadTwice8(at(row, 4 * i), at(row, 4 * i + 1)),
                          loadTwice8(at(row, 4 * i + 2), at(row, 4 * i + 3)));
    else
      return load16x2(at(row, 2 * i), at(row, 2 * i + 1));
  }
  void store(int32_t row, int i, __m256i v) const {
    if constexpr (sizeof(T) == 2) {
      const __m128i low = _mm256_castsi256_si128(v), high = _mm256_extracti128_si256(v, 1);
      store8(at(row, 4 * i), low);
      storeUpper8(at(row, 4 * i + 1), low);
      store8(at(row, 4 * i + 2), high);
      storeUpper8(at(row, 4 * i + 3), high);
    } else {
      store16x2(at(row, 2 * i), at(row, 2 * i + 1), v);
    }
  }

 private:
  T* at(int32_t row, int32_t block) const { return ownRow(blocks[block], step, row); }
  static __m128i loadTwice8(const void* low, const void* high) { return _mm_unpacklo_epi64(load8(low), load8(high)); }
  static __m256i lowAndHigh16(__m128i low, __m128i high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
  }
};

enum class Way { kForward, kInverse };

// A row of the blocks of a group, four columns a block, to a vector a column, and back: the transposition is its own
// inverse. Which lane a block takes is of no matter.
template <typename T>
void transpose(__m256i (&v)[4]) {
  if constexpr (sizeof(T) == 2)
    transposeWordQuads(v);
  else
    transposeHalves4x4(v);
}

template <typename T, Way way, typename Group>
void transformGroup(Group group) {
  using L = typename std::remove_cvref_t<Group>::L;
  using V = typename L::Vector;
  V x[4][4];
  for (int32_t row = 0; row < 4; ++row) {
    __m256i v[4];
    for (int i = 0; i < 4; ++i) v[i] = group.load(row, i);
    transpose<T>(v);
    for (int i = 0; i < 4; ++i) x[row][i] = L::of(v[i]);
  }
  if constexpr (way == Way::kForward)
    Steps<L>::forward(x);
  else
    Steps<L>::inverse(x);
  for (int32_t row = 0; row < 4; ++row) {
    __m256i v[4];
    for (int i = 0; i < 4; ++i) v[i] = L::bits(x[row][i]);
    transpose<T>(v);
    for (int i = 0; i < 4; ++i) group.store(row, i, v[i]);
  }
}

// Blocks that no tile covers wait here until they fill a group.
template <typename T, Way way>
struct Waiting {
  Scattered<T> group;
  int32_t count = 0;

  void add(T* block) {
    group.blocks[count++] = block;
    if (count == Scattered<T>::kBlocks) flush();
  }
  // A group that is not full transforms its last block in several lanes, which store the same.
  void flush() {
    if (count == 0) return;
    for (int32_t i = count; i < Scattered<T>::kBlocks; ++i) group.blocks[i] = group.blocks[count - 1];
    transformGroup<T, way, const Scattered<T>&>(group);
    count = 0;
  }
};

// Covers a region by tiles of the first kind, and what they leave at the right and at the bottom by the kinds that
// follow.
template <typename T, Way way, typename... Tiles>
struct Cover;

template <typename T, Way way>
struct Cover<T, way> {
  [[gnu::always_inline]] static void region(T* plane, int32_t step, QlmSize size, Waiting<T, way>& waiting) {
    for (int32_t y = 0; y < size.height; y += 4)
      for (int32_t x = 0; x < size.width; x += 4) waiting.add(ownRow(plane, step, y) + x);
  }
};

template <typename T, Way way, typename First, typename... Others>
struct Cover<T, way, First, Others...> {
  [[gnu::always_inline]] static void region(T* plane, int32_t step, QlmSize size, Waiting<T, way>& waiting) {
    const int32_t width = size.width - size.width % First::kWidth, height = size.height - size.height % First::kHeight;
    for (int32_t y = 0; y < height; y += First::kHeight)
      for (int32_t x = 0; x < width; x += First::kWidth)
        transformGroup<T, way>(First{ownRow(plane, step, y) + x, step});
    using Rest = Cover<T, way, Others...>;
    if (width < size.width) Rest::region(plane + width, step, {size.width - width, size.height}, waiting);
    if (width > 0 && height < size.height)
      Rest::region(ownRow(plane, step, height), step, {width, size.height - height}, waiting);
  }
};

template <typename T, Way way>
[[gnu::always_inline]] inline void transformRegion(T* plane, int32_t step, QlmSize size) {
  Waiting<T, way> waiting{{{}, step}};
  if constexpr (sizeof(T) == 2)
    Cover<T, way, Tile<T, 32, 4, 1>, Tile<T, 32, 1, 4>, Tile<T, 16, 1, 4>, Tile<T, 16, 1, 2>>::region(plane, step, size,
                                                                                                      waiting);
  else
    Cover<T, way, Tile<T, 32, 4, 1>, Tile<T, 32, 1, 4>, Tile<T, 16, 2, 2>>::region(plane, step, size, waiting);
  waiting.flush();
}

// --- The exports -----------------------------------------------------------------------------------------------------

// Steps are compared as unsigned numbers, so that a negative one passes.
template <typename T>
bool isShort(int32_t step, int32_t width) {
  return static_cast<uint32_t>(step) < static_cast<uint32_t>(width) * sizeof(T);
}

template <Way way, typename T>
QlmStatus transform(T* srcDst, int32_t step, QlmSize size) {
  if (!srcDst) return qlmErrNullPointer;
  if (isEmpty(size)) return qlmErrSize;
  if (isShort<T>(step, size.width)) return qlmErrStep;
  if (size.width % 4 != 0 || size.height % 4 != 0) return qlmErrSize;
  // Floats go in pairs of blocks: four columns that are left over stay as they are. Kept.
  if constexpr (std::is_floating_point_v<T>) size.width &= ~7;
  transformRegion<T, way>(srcDst, step, size);
  return qlmOk;
}

template <Way way, int32_t width, int32_t height, typename T>
QlmStatus transformShape(T* srcDst, int32_t step) {
  if (!srcDst) return qlmErrNullPointer;
  if (isShort<T>(step, width)) return qlmErrStep;
  transformRegion<T, way>(srcDst, step, {width, height});
  return qlmOk;
}

}  // namespace

#define PCT(direction, way, suffix, T)                                                                     \
  QLM_EXPORT(qlmiPCT##direction##_JPEGXR_##suffix##_C1IR)                                                  \
  (T * srcDst, int32_t srcDstStep, QlmSize size) { return transform<Way::way>(srcDst, srcDstStep, size); } \
  QLM_EXPORT(qlmiPCT##direction##8x8_JPEGXR_##suffix##_C1IR)                                               \
  (T * srcDst, int32_t srcDstStep) { return transformShape<Way::way, 8, 8>(srcDst, srcDstStep); }          \
  QLM_EXPORT(qlmiPCT##direction##8x16_JPEGXR_##suffix##_C1IR)                                              \
  (T * srcDst, int32_t srcDstStep) { return transformShape<Way::way, 8, 16>(srcDst, srcDstStep); }         \
  QLM_EXPORT(qlmiPCT##direction##16x16_JPEGXR_##suffix##_C1IR)                                             \
  (T * srcDst, int32_t srcDstStep) { return transformShape<Way::way, 16, 16>(srcDst, srcDstStep); }

PCT(Fwd, kForward, 16s, int16_t)
PCT(Fwd, kForward, 32s, int32_t)
PCT(Fwd, kForward, 32f, float)
PCT(Inv, kInverse, 16s, int16_t)
PCT(Inv, kInverse, 32s, int32_t)
PCT(Inv, kInverse, 32f, float)
