// Constants of the fixed-point DCT that are read from memory (dct_tables.h).
#include "jpeg/transform/dct_tables.h"

namespace {

constexpr int32_t twice(int16_t factor) { return static_cast<int32_t>(static_cast<uint16_t>(factor) * 0x00010001u); }

}  // namespace

const QlmColumnFactors kColumnFactors = {twice(kTan1), twice(kTan2), twice(kTan3Less1), twice(kSqrtHalfLess1)};
