// Covers a row of `count` elements by steps of a vector's width: the widest width that fits, the last step overlapping
// its neighbour, and single elements for rows narrower than the narrowest vector. One way to end a row for every
// kernel whose result at an element depends on nothing but the source at and around it, and whose source and
// destination do not overlap.
//
//   ownCover<32, 8>(count, [&](auto width, ptrdiff_t i) {
//     if constexpr (width == 32) ... 32 elements from i on
//   });
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

template <int Widest, int Narrowest, typename Step>
inline void ownCover(int32_t count, const Step& step) {
  if (count >= Widest) {
    constexpr std::integral_constant<int, Widest> width;
    ptrdiff_t i = 0;
    for (; i <= count - Widest; i += Widest) step(width, i);
    if (i < count) step(width, ptrdiff_t{count} - Widest);
  } else if constexpr (Widest > Narrowest) {
    ownCover<Widest / 2, Narrowest>(count, step);
  } else {
    for (ptrdiff_t i = 0; i < count; ++i) step(std::integral_constant<int, 1>{}, i);
  }
}

// The same for kernels whose destinations may be their sources, element on element: the last step is computed before
// the first one is stored, and stored last.
//
//   ownCoverInPlace<16>(count, [&](auto width, ptrdiff_t i) { return ...; }, [&](ptrdiff_t i, const auto& result) { ...
//   });
template <int Widest, typename Compute, typename Store>
inline void ownCoverInPlace(int32_t count, const Compute& compute, const Store& store) {
  if (count >= Widest) {
    constexpr std::integral_constant<int, Widest> width;
    const ptrdiff_t last = count - Widest;
    const auto end = compute(width, last);
    for (ptrdiff_t i = 0; i < last; i += Widest) store(i, compute(width, i));
    store(last, end);
  } else {
    for (ptrdiff_t i = 0; i < count; ++i) store(i, compute(std::integral_constant<int, 1>{}, i));
  }
}
