// Where the fields of BC6 blocks stand.
#pragma once

#include <cstdint>

namespace texture {

// Fields: the base end w, the other end x of the first subset, the ends y and z of the second, by channel, and the
// shape.
enum Bc6Field : uint8_t { rw, rx, ry, rz, gw, gx, gy, gz, bw, bx, by, bz, shape, kBc6Fields };

// Some bits of a field, from bit `stream` of the block on: its bits `low` to `high`, the lowest first unless reversed.
struct Bc6Piece {
  uint8_t mode, stream;
  Bc6Field field;
  uint8_t high, low;
  bool reversed;
};
inline constexpr Bc6Piece kBc6Pieces[] = {
    {0, 2, gy, 4, 4, false},     {0, 3, by, 4, 4, false},     {0, 4, bz, 4, 4, false},     {0, 5, rw, 9, 0, false},
    {0, 15, gw, 9, 0, false},    {0, 25, bw, 9, 0, false},    {0, 35, rx, 4, 0, false},    {0, 40, gz, 4, 4, false},
    {0, 41, gy, 3, 0, false},    {0, 45, gx, 4, 0, false},    {0, 50, bz, 0, 0, false},    {0, 51, gz, 3, 0, false},
    {0, 55, bx, 4, 0, false},    {0, 60, bz, 1, 1, false},    {0, 61, by, 3, 0, false},    {0, 65, ry, 4, 0, false},
    {0, 70, bz, 2, 2, false},    {0, 71, rz, 4, 0, false},    {0, 76, bz, 3, 3, false},    {0, 77, shape, 4, 0, false},
    {1, 2, gy, 5, 5, false},     {1, 3, gz, 4, 4, false},     {1, 4, gz, 5, 5, false},     {1, 5, rw, 6, 0, false},
    {1, 12, bz, 0, 0, false},    {1, 13, bz, 1, 1, false},    {1, 14, by, 4, 4, false},    {1, 15, gw, 6, 0, false},
    {1, 22, by, 5, 5, false},    {1, 23, bz, 2, 2, false},    {1, 24, gy, 4, 4, false},    {1, 25, bw, 6, 0, false},
    {1, 32, bz, 3, 3, false},    {1, 33, bz, 5, 5, false},    {1, 34, bz, 4, 4, false},    {1, 35, rx, 5, 0, false},
    {1, 41, gy, 3, 0, false},    {1, 45, gx, 5, 0, false},    {1, 51, gz, 3, 0, false},    {1, 55, bx, 5, 0, false},
    {1, 61, by, 3, 0, false},    {1, 65, ry, 5, 0, false},    {1, 71, rz, 5, 0, false},    {1, 77, shape, 4, 0, false},
    {2, 5, rw, 9, 0, false},     {2, 15, gw, 9, 0, false},    {2, 25, bw, 9, 0, false},    {2, 35, rx, 4, 0, false},
    {2, 40, rw, 10, 10, false},  {2, 41, gy, 3, 0, false},    {2, 45, gx, 3, 0, false},    {2, 49, gw, 10, 10, false},
    {2, 50, bz, 0, 0, false},    {2, 51, gz, 3, 0, false},    {2, 55, bx, 3, 0, false},    {2, 59, bw, 10, 10, false},
    {2, 60, bz, 1, 1, false},    {2, 61, by, 3, 0, false},    {2, 65, ry, 4, 0, false},    {2, 70, bz, 2, 2, false},
    {2, 71, rz, 4, 0, false},    {2, 76, bz, 3, 3, false},    {2, 77, shape, 4, 0, false}, {3, 5, rw, 9, 0, false},
    {3, 15, gw, 9, 0, false},    {3, 25, bw, 9, 0, false},    {3, 35, rx, 3, 0, false},    {3, 39, rw, 10, 10, false},
    {3, 40, gz, 4, 4, false},    {3, 41, gy, 3, 0, false},    {3, 45, gx, 4, 0, false},    {3, 50, gw, 10, 10, false},
    {3, 51, gz, 3, 0, false},    {3, 55, bx, 3, 0, false},    {3, 59, bw, 10, 10, false},  {3, 60, bz, 1, 1, false},
    {3, 61, by, 3, 0, false},    {3, 65, ry, 3, 0, false},    {3, 69, bz, 0, 0, false},    {3, 70, bz, 2, 2, false},
    {3, 71, rz, 3, 0, false},    {3, 75, gy, 4, 4, false},    {3, 76, bz, 3, 3, false},    {3, 77, shape, 4, 0, false},
    {4, 5, rw, 9, 0, false},     {4, 15, gw, 9, 0, false},    {4, 25, bw, 9, 0, false},    {4, 35, rx, 3, 0, false},
    {4, 39, rw, 10, 10, false},  {4, 40, by, 4, 4, false},    {4, 41, gy, 3, 0, false},    {4, 45, gx, 3, 0, false},
    {4, 49, gw, 10, 10, false},  {4, 50, bz, 0, 0, false},    {4, 51, gz, 3, 0, false},    {4, 55, bx, 4, 0, false},
    {4, 60, bw, 10, 10, false},  {4, 61, by, 3, 0, false},    {4, 65, ry, 3, 0, false},    {4, 69, bz, 1, 1, false},
    {4, 70, bz, 2, 2, false},    {4, 71, rz, 3, 0, false},    {4, 75, bz, 4, 4, false},    {4, 76, bz, 3, 3, false},
    {4, 77, shape, 4, 0, false}, {5, 5, rw, 8, 0, false},     {5, 14, by, 4, 4, false},    {5, 15, gw, 8, 0, false},
    {5, 24, gy, 4, 4, false},    {5, 25, bw, 8, 0, false},    {5, 34, bz, 4, 4, false},    {5, 35, rx, 4, 0, false},
    {5, 40, gz, 4, 4, false},    {5, 41, gy, 3, 0, false},    {5, 45, gx, 4, 0, false},    {5, 50, bz, 0, 0, false},
    {5, 51, gz, 3, 0, false},    {5, 55, bx, 4, 0, false},    {5, 60, bz, 1, 1, false},    {5, 61, by, 3, 0, false},
    {5, 65, ry, 4, 0, false},    {5, 70, bz, 2, 2, false},    {5, 71, rz, 4, 0, false},    {5, 76, bz, 3, 3, false},
    {5, 77, shape, 4, 0, false}, {6, 5, rw, 7, 0, false},     {6, 13, gz, 4, 4, false},    {6, 14, by, 4, 4, false},
    {6, 15, gw, 7, 0, false},    {6, 23, bz, 2, 2, false},    {6, 24, gy, 4, 4, false},    {6, 25, bw, 7, 0, false},
    {6, 33, bz, 3, 3, false},    {6, 34, bz, 4, 4, false},    {6, 35, rx, 5, 0, false},    {6, 41, gy, 3, 0, false},
    {6, 45, gx, 4, 0, false},    {6, 50, bz, 0, 0, false},    {6, 51, gz, 3, 0, false},    {6, 55, bx, 4, 0, false},
    {6, 60, bz, 1, 1, false},    {6, 61, by, 3, 0, false},    {6, 65, ry, 5, 0, false},    {6, 71, rz, 5, 0, false},
    {6, 77, shape, 4, 0, false}, {7, 5, rw, 7, 0, false},     {7, 13, bz, 0, 0, false},    {7, 14, by, 4, 4, false},
    {7, 15, gw, 7, 0, false},    {7, 23, gy, 5, 5, false},    {7, 24, gy, 4, 4, false},    {7, 25, bw, 7, 0, false},
    {7, 33, gz, 5, 5, false},    {7, 34, bz, 4, 4, false},    {7, 35, rx, 4, 0, false},    {7, 40, gz, 4, 4, false},
    {7, 41, gy, 3, 0, false},    {7, 45, gx, 5, 0, false},    {7, 51, gz, 3, 0, false},    {7, 55, bx, 4, 0, false},
    {7, 60, bz, 1, 1, false},    {7, 61, by, 3, 0, false},    {7, 65, ry, 4, 0, false},    {7, 70, bz, 2, 2, false},
    {7, 71, rz, 4, 0, false},    {7, 76, bz, 3, 3, false},    {7, 77, shape, 4, 0, false}, {8, 5, rw, 7, 0, false},
    {8, 13, bz, 1, 1, false},    {8, 14, by, 4, 4, false},    {8, 15, gw, 7, 0, false},    {8, 23, by, 5, 5, false},
    {8, 24, gy, 4, 4, false},    {8, 25, bw, 7, 0, false},    {8, 33, bz, 5, 5, false},    {8, 34, bz, 4, 4, false},
    {8, 35, rx, 4, 0, false},    {8, 40, gz, 4, 4, false},    {8, 41, gy, 3, 0, false},    {8, 45, gx, 4, 0, false},
    {8, 50, bz, 0, 0, false},    {8, 51, gz, 3, 0, false},    {8, 55, bx, 5, 0, false},    {8, 61, by, 3, 0, false},
    {8, 65, ry, 4, 0, false},    {8, 70, bz, 2, 2, false},    {8, 71, rz, 4, 0, false},    {8, 76, bz, 3, 3, false},
    {8, 77, shape, 4, 0, false}, {9, 5, rw, 5, 0, false},     {9, 11, gz, 4, 4, false},    {9, 12, bz, 0, 0, false},
    {9, 13, bz, 1, 1, false},    {9, 14, by, 4, 4, false},    {9, 15, gw, 5, 0, false},    {9, 21, gy, 5, 5, false},
    {9, 22, by, 5, 5, false},    {9, 23, bz, 2, 2, false},    {9, 24, gy, 4, 4, false},    {9, 25, bw, 5, 0, false},
    {9, 31, gz, 5, 5, false},    {9, 32, bz, 3, 3, false},    {9, 33, bz, 5, 5, false},    {9, 34, bz, 4, 4, false},
    {9, 35, rx, 5, 0, false},    {9, 41, gy, 3, 0, false},    {9, 45, gx, 5, 0, false},    {9, 51, gz, 3, 0, false},
    {9, 55, bx, 5, 0, false},    {9, 61, by, 3, 0, false},    {9, 65, ry, 5, 0, false},    {9, 71, rz, 5, 0, false},
    {9, 77, shape, 4, 0, false}, {10, 5, rw, 9, 0, false},    {10, 15, gw, 9, 0, false},   {10, 25, bw, 9, 0, false},
    {10, 35, rx, 9, 0, false},   {10, 45, gx, 9, 0, false},   {10, 55, bx, 9, 0, false},   {11, 5, rw, 9, 0, false},
    {11, 15, gw, 9, 0, false},   {11, 25, bw, 9, 0, false},   {11, 35, rx, 8, 0, false},   {11, 44, rw, 10, 10, false},
    {11, 45, gx, 8, 0, false},   {11, 54, gw, 10, 10, false}, {11, 55, bx, 8, 0, false},   {11, 64, bw, 10, 10, false},
    {12, 5, rw, 9, 0, false},    {12, 15, gw, 9, 0, false},   {12, 25, bw, 9, 0, false},   {12, 35, rx, 7, 0, false},
    {12, 43, rw, 11, 10, true},  {12, 45, gx, 7, 0, false},   {12, 53, gw, 11, 10, true},  {12, 55, bx, 7, 0, false},
    {12, 63, bw, 11, 10, true},  {13, 5, rw, 9, 0, false},    {13, 15, gw, 9, 0, false},   {13, 25, bw, 9, 0, false},
    {13, 35, rx, 3, 0, false},   {13, 39, rw, 15, 10, true},  {13, 45, gx, 3, 0, false},   {13, 49, gw, 15, 10, true},
    {13, 55, bx, 3, 0, false},   {13, 59, bw, 15, 10, true}};

// One row a mode. In two-subset modes the index stream begins at bit 82, else at bit 65.
struct Bc6Mode {
  int subsets, endBits, deltaBits[3];
  bool transformed;

  constexpr int indexBits() const { return subsets == 2 ? 3 : 4; }
  constexpr int indexStart() const { return subsets == 2 ? 82 : 65; }
};
inline constexpr Bc6Mode kBc6Modes[14] = {
    {2, 10, {5, 5, 5}, true}, {2, 7, {6, 6, 6}, true},  {2, 11, {5, 4, 4}, true},     {2, 11, {4, 5, 4}, true},
    {2, 11, {4, 4, 5}, true}, {2, 9, {5, 5, 5}, true},  {2, 8, {6, 5, 5}, true},      {2, 8, {5, 6, 5}, true},
    {2, 8, {5, 5, 6}, true},  {2, 6, {6, 6, 6}, false}, {1, 10, {10, 10, 10}, false}, {1, 11, {9, 9, 9}, true},
    {1, 12, {8, 8, 8}, true}, {1, 16, {4, 4, 4}, true}};

// The mode by the lowest bits of byte 0: two bits for modes 0 and 1, five for the others. The four that remain of 32
// are reserved.
inline constexpr int kBc6Reserved = 14;
constexpr int bc6ModeOf(int byte0) {
  constexpr int kCodes[14] = {0, 1, 2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15};
  for (int mode = 0; mode < 14; ++mode)
    if ((byte0 & (mode < 2 ? 3 : 31)) == kCodes[mode]) return mode;
  return kBc6Reserved;
}

}  // namespace texture
