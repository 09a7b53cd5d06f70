// The raw coder of the arithmetic coding bypass (ITU-T T.800 D.6): bits into bytes, the highest first, and after a byte
// of 0xFF a byte of seven bits.
#pragma once

#include "jpeg2000/block/encode_state.h"

inline void ownRawInitEncoder(QlmMqCoder& coder) {
  coder.rawAfterFF = 0;
  coder.rawByte = 0;
  coder.rawBit = 7;
  coder.rawBytes = 0;
}

// Whether bits wait for their byte to fill.
inline bool ownRawPending(const QlmMqCoder& coder) { return coder.rawBit != (coder.rawAfterFF ? 6 : 7); }
