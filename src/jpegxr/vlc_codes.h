// The adaptive Huffman codes of ITU-T T.832 8.7 that blocks and DC lists are coded with, as published: the codes of
// each kind and table by symbol, first bit first, and the steps that each coded symbol adds to the discriminants of its
// table. A kind is named by its number of symbols. All other tables are computed from these (vlc_tables.h).
#pragma once

#include <cstdint>

// Runs.
inline constexpr const char* kCodes5[2][5] = {{"1", "01", "001", "0000", "0001"}, {"1", "000", "001", "010", "011"}};
// Later coefficients of a block.
inline constexpr const char* kCodes6[4][6] = {{"1", "00000", "001", "00001", "01", "0001"},
                                              {"01", "0000", "10", "0001", "11", "001"},
                                              {"0000", "0001", "01", "10", "11", "001"},
                                              {"00000", "00001", "01", "1", "0001", "001"}};
// Levels.
inline constexpr const char* kCodes7[2][7] = {{"01", "10", "11", "001", "0001", "00000", "00001"},
                                              {"1", "01", "001", "0001", "00001", "000000", "000001"}};
// First coefficients of a block.
inline constexpr const char* kCodes12[5][12] = {
    {"00001", "000001", "0000000", "0000001", "00100", "010", "00101", "1", "00110", "0001", "00111", "011"},
    {"0010", "00010", "000000", "000001", "0011", "010", "00011", "11", "011", "100", "00001", "101"},
    {"11", "001", "0000000", "0000001", "00001", "010", "0000010", "011", "100", "101", "0000011", "0001"},
    {"001", "11", "0000000", "00001", "00010", "010", "0000001", "011", "00011", "100", "000001", "101"},
    {"010", "1", "0000001", "0001", "0000010", "011", "00000000", "0010", "0000011", "0011", "00000001", "00001"}};

struct QlmVLCCode {
  uint32_t bits;
  uint32_t length;
};
constexpr QlmVLCCode ownParseCode(const char* text) {
  QlmVLCCode code{};
  for (; text[code.length]; ++code.length) code.bits = code.bits << 1 | (text[code.length] == '1');
  return code;
}

// A code with `length` further bits of value `bits` behind it.
constexpr QlmVLCCode ownJoinCodes(QlmVLCCode code, QlmVLCCode more) {
  return {code.bits << more.length | more.bits, code.length + more.length};
}
