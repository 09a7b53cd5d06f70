// Constants of the fixed-point 8x8 DCT (ITU-T T.81 A.3.3), forward and inverse: a row stage of 16-bit multiply-adds
// whose coefficients hold the cosines and, by class of row, the factors that the column stage leaves out, and a column
// stage of multiplications by tangents.
#pragma once

#include <cstdint>

// Coefficients c1 to c7 of a row: 2^17 cos(k pi / 16) times a quarter of the row's factor, rounded.
struct QlmDctRow {
  int16_t c1, c2, c3, c4, c5, c6, c7;
};

inline constexpr QlmDctRow kDctRows[8] = {
    {22725, 21407, 19266, 16384, 12873, 8867, 4520},   // 0
    {31521, 29692, 26722, 22725, 17855, 12299, 6270},  // 1
    {29692, 27969, 25172, 21407, 16819, 11585, 5906},  // 2
    {26722, 25172, 22654, 19266, 15137, 10426, 5315},  // 3
    {22725, 21407, 19266, 16384, 12873, 8867, 4520},   // 4
    {26722, 25172, 22654, 19266, 15137, 10426, 5315},  // 5
    {29692, 27969, 25172, 21407, 16819, 11585, 5906},  // 6
    {31521, 29692, 26722, 22725, 17855, 12299, 6270},  // 7
};

// Factors of the column stage in 16 fractional bits; those above one half are held less 1.
inline constexpr int16_t kTan1 = 13036;            // tan(pi / 16)
inline constexpr int16_t kTan2 = 27146;            // tan(2 pi / 16)
inline constexpr int16_t kTan3Less1 = -21746;      // tan(3 pi / 16) - 1
inline constexpr int16_t kSqrtHalfLess1 = -19195;  // cos(4 pi / 16) - 1
inline constexpr int16_t kHalfSqrtHalf = 23170;    // cos(4 pi / 16) / 2
