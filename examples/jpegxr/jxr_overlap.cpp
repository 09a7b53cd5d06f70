#include "jpegxr/jxr_overlap.h"

#include <algorithm>
#include <cstring>
#include <functional>

namespace sample {
namespace {

// The same sample of eight neighbouring places.
constexpr int32_t kLanes = 8;
using Lanes = int32_t __attribute__((vector_size(kLanes * sizeof(int32_t))));

// The steps are named after what they do to a square of samples: a rotation by an angle, in lifting steps, of two
// values or of the odd-odd quarter; a scaling that makes the filters orthogonal; and Hadamard's transform of four
// values.
void hadamard(Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
  a += d;
  b -= c;
  const Lanes t = (a - b) >> 1;
  const Lanes swapped = t - c;
  c = t - d;
  d = swapped;
  a -= d;
  b += c;
}

template <JxrWay way>
void rotate(Lanes& a, Lanes& b) {
  if constexpr (way == JxrWay::kForward) {
    b -= (a + 1) >> 1;
    a += (b + 1) >> 1;
  } else {
    a -= (b + 1) >> 1;
    b += (a + 1) >> 1;
  }
}

template <JxrWay way>
void rotateOddOdd(Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
  d += a;
  c -= b;
  const Lanes halfD = d >> 1, halfC = c >> 1;
  a -= halfD;
  b += halfC;
  if constexpr (way == JxrWay::kForward) {
    a += (b * 3 + 4) >> 3;
    b -= (a * 3 + 2) >> 2;
    a += (b * 3 + 6) >> 3;
  } else {
    a -= (b * 3 + 6) >> 3;
    b += (a * 3 + 2) >> 2;
    a -= (b * 3 + 4) >> 3;
  }
  b -= halfC;
  a += halfD;
  c += b;
  d -= a;
}

// The scaling in three parts, which the filters of four by four and of four in a row put together differently.
template <JxrWay way>
void scale(Lanes& a, Lanes& d) {
  if constexpr (way == JxrWay::kForward) {
    d -= a >> 7;
    d += a >> 10;
    d -= (a * 3) >> 4;
    a -= (d * 3) >> 3;
    d = (a >> 1) - d;
    a -= d;
  } else {
    a += d;
    d = (a >> 1) - d;
    a += (d * 3) >> 3;
    d += (a * 3) >> 4;
    d += a >> 7;
    d -= a >> 10;
  }
}

template <JxrWay way>
void scaleInRow(Lanes& a, Lanes& d) {
  if constexpr (way == JxrWay::kForward) {
    d = -d;
    a -= d;
    d += a >> 1;
    a -= (d * 3 + 4) >> 3;
    scale<way>(a, d);
  } else {
    scale<way>(a, d);
    a += (d * 3 + 4) >> 3;
    d -= a >> 1;
    a += d;
    d = -d;
  }
}

template <JxrWay way>
void hadamardAndScale(Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
  if constexpr (way == JxrWay::kForward) {
    a += d;
    b -= c;
    const Lanes t = ((a - b) >> 1) - d;
    d = c + (b >> 1);
    c = t;
    b += c;
    a -= (d * 3 + 4) >> 3;
  } else {
    b -= c;
    a += (d * 3 + 4) >> 3;
    d -= b >> 1;
    const Lanes t = ((a - b) >> 1) - c;
    c = d;
    d = t;
    a -= d;
    b += c;
  }
}

// A square of 4 x 4, row by row, is worked on in four groups of places that are each other's mirror images.
using Square = std::array<Lanes, 16>;
constexpr std::array<std::array<uint8_t, 4>, 4> kMirrored = {
    {{5, 6, 9, 10}, {4, 7, 8, 11}, {1, 2, 13, 14}, {0, 3, 12, 15}}};

template <JxrWay way>
void filter(Square& v) {
  const auto rotations = [&v] {
    rotate<way>(v[13], v[12]);
    rotate<way>(v[9], v[8]);
    rotate<way>(v[7], v[3]);
    rotate<way>(v[6], v[2]);
  };
  if constexpr (way == JxrWay::kForward) {
    for (const auto [a, b, c, d] : kMirrored) {
      hadamardAndScale<way>(v[a], v[b], v[c], v[d]);
      scale<way>(v[a], v[d]);
    }
    rotations();
    rotateOddOdd<way>(v[10], v[11], v[14], v[15]);
    for (const auto [a, b, c, d] : kMirrored) hadamard(v[a], v[b], v[c], v[d]);
  } else {
    for (const auto [a, b, c, d] : kMirrored) hadamard(v[a], v[b], v[c], v[d]);
    rotateOddOdd<way>(v[10], v[11], v[14], v[15]);
    rotations();
    for (const auto [a, b, c, d] : kMirrored) {
      scale<way>(v[a], v[d]);
      hadamardAndScale<way>(v[a], v[b], v[c], v[d]);
    }
  }
}

using Four = std::array<Lanes, 4>;

template <JxrWay way>
void filter(Four& v) {
  auto& [a, b, c, d] = v;
  a += d, b += c;
  d -= (a + 1) >> 1, c -= (b + 1) >> 1;
  if constexpr (way == JxrWay::kForward) rotate<way>(c, d);
  scaleInRow<way>(a, d);
  scaleInRow<way>(b, c);
  if constexpr (way == JxrWay::kInverse) rotate<way>(c, d);
  d += (a + 1) >> 1, c += (b + 1) >> 1;
  a -= d, b -= c;
}

// The second filter of subsampled chroma, of two values or of a square of them.
using Two = std::array<Lanes, 2>;

template <JxrWay way>
void filter(Two& v) {
  auto& [a, b] = v;
  if constexpr (way == JxrWay::kForward) {
    b -= (a + 2) >> 2;
    a -= (b + 1) >> 1;
    a -= b >> 5;
    a -= b >> 9;
    a -= b >> 13;
    b -= (a + 2) >> 2;
  } else {
    b += (a + 2) >> 2;
    a += (b + 1) >> 1;
    a += b >> 5;
    a += b >> 9;
    a += b >> 13;
    b += (a + 2) >> 2;
  }
}

struct SmallSquare : Four {};

template <JxrWay way>
void filter(SmallSquare& square) {
  auto& [a, b, c, d] = static_cast<Four&>(square);
  a += d;
  b += c;
  d -= (a + 1) >> 1;
  c -= (b + 1) >> 1;
  Two two = {a, b};
  filter<way>(two);
  a = two[0], b = two[1];
  d += (a + 1) >> 1;
  c += (b + 1) >> 1;
  a -= d;
  b -= c;
}

// Where the values of a filter lie, and where the next filter of its kind lies.
struct Walk {
  int32_t* first;
  ptrdiff_t next;
  int32_t count;
};

template <size_t n>
using Offsets = std::array<ptrdiff_t, n>;

template <JxrWay way, typename Values, size_t n>
void filterEach(const Walk& walk, const Offsets<n>& offsets) {
  for (int32_t done = 0; done < walk.count; done += kLanes) {
    const int32_t lanes = std::min(kLanes, walk.count - done);
    int32_t* group = walk.first + done * walk.next;
    Values values{};
    for (size_t i = 0; i < n; ++i)
      for (int32_t lane = 0; lane < lanes; ++lane) values[i][lane] = group[lane * walk.next + offsets[i]];
    filter<way>(values);
    for (size_t i = 0; i < n; ++i)
      for (int32_t lane = 0; lane < lanes; ++lane) group[lane * walk.next + offsets[i]] = values[i][lane];
  }
}

// Four vectors of eight values against vectors of every fourth, and back.
void transpose(Lanes& a, Lanes& b, Lanes& c, Lanes& d) {
  const Lanes ac = __builtin_shufflevector(a, c, 0, 8, 1, 9, 4, 12, 5, 13);
  const Lanes bd = __builtin_shufflevector(b, d, 0, 8, 1, 9, 4, 12, 5, 13);
  const Lanes acHigh = __builtin_shufflevector(a, c, 2, 10, 3, 11, 6, 14, 7, 15);
  const Lanes bdHigh = __builtin_shufflevector(b, d, 2, 10, 3, 11, 6, 14, 7, 15);
  a = __builtin_shufflevector(ac, bd, 0, 8, 1, 9, 4, 12, 5, 13);
  b = __builtin_shufflevector(ac, bd, 2, 10, 3, 11, 6, 14, 7, 15);
  c = __builtin_shufflevector(acHigh, bdHigh, 0, 8, 1, 9, 4, 12, 5, 13);
  d = __builtin_shufflevector(acHigh, bdHigh, 2, 10, 3, 11, 6, 14, 7, 15);
}

// A row of squares of 4 x 4, side by side.
template <JxrWay way>
void filterSquares(int32_t* first, ptrdiff_t width, int32_t count) {
  int32_t done = 0;
  for (; done + kLanes <= count; done += kLanes) {
    Square v;
    int32_t* group = first + 4 * done;
    for (size_t row = 0; row < 4; ++row) {
      std::memcpy(&v[4 * row], group + static_cast<ptrdiff_t>(row) * width, 4 * sizeof(Lanes));
      transpose(v[4 * row], v[4 * row + 1], v[4 * row + 2], v[4 * row + 3]);
    }
    filter<way>(v);
    for (size_t row = 0; row < 4; ++row) {
      transpose(v[4 * row], v[4 * row + 1], v[4 * row + 2], v[4 * row + 3]);
      std::memcpy(group + static_cast<ptrdiff_t>(row) * width, &v[4 * row], 4 * sizeof(Lanes));
    }
  }
  Offsets<16> offsets{};
  for (size_t i = 0; i < 16; ++i) offsets[i] = static_cast<ptrdiff_t>(i / 4) * width + static_cast<ptrdiff_t>(i % 4);
  filterEach<way, Square>({first + 4 * done, 4, count - done}, offsets);
}

template <JxrWay way>
void filterPlane(JxrPlane& plane) {
  const int32_t width = plane.width, height = plane.height;
  const ptrdiff_t down = width;
  for (int32_t y = 2; y + 2 < height; y += 4) filterSquares<way>(plane.at(2, y), down, width / 4 - 1);
  const Offsets<4> across = {0, 1, 2, 3}, downwards = {0, down, 2 * down, 3 * down}, corner = {0, 1, down, down + 1};
  for (const int32_t y : {0, 1, height - 2, height - 1})
    filterEach<way, Four>({plane.at(2, y), 4, width / 4 - 1}, across);
  for (const int32_t x : {0, 1, width - 2, width - 1})
    filterEach<way, Four>({plane.at(x, 2), 4 * down, height / 4 - 1}, downwards);
  for (const int32_t y : {0, height - 2}) filterEach<way, Four>({plane.at(0, y), width - 2, 2}, corner);
}

template <JxrWay way>
void filterPairs(JxrPlane& plane) {
  const int32_t width = plane.width, height = plane.height;
  const ptrdiff_t down = width;
  // The corners go by their neighbours in the row: how they differ from them stays.
  const auto corners = [&](auto change) {
    for (const int32_t y : {0, height - 1}) {
      int32_t *left = plane.at(0, y), *right = plane.at(width - 1, y);
      *left = change(*left, left[1]);
      *right = change(*right, right[-1]);
    }
  };
  corners(std::minus<int32_t>());
  const Offsets<2> across = {0, 1}, downwards = {0, down};
  const Offsets<4> square = {0, 1, down, down + 1};
  for (int32_t y = 1; y + 1 < height; y += 2) {
    filterEach<way, SmallSquare>({plane.at(1, y), 2, width / 2 - 1}, square);
    filterEach<way, Two>({plane.at(0, y), width - 1, 2}, downwards);
  }
  for (const int32_t y : {0, height - 1}) filterEach<way, Two>({plane.at(1, y), 2, width / 2 - 1}, across);
  corners(std::plus<int32_t>());
}

}  // namespace

void filterOverlap(JxrPlane& plane, JxrWay way) {
  way == JxrWay::kForward ? filterPlane<JxrWay::kForward>(plane) : filterPlane<JxrWay::kInverse>(plane);
}

void filterOverlapOfPairs(JxrPlane& plane, JxrWay way) {
  way == JxrWay::kForward ? filterPairs<JxrWay::kForward>(plane) : filterPairs<JxrWay::kInverse>(plane);
}

}  // namespace sample
