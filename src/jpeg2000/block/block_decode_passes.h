// The coding passes of a code-block (ITU-T T.800 D.3), as the decoder runs them.
#pragma once

#include "jpeg2000/block/decode_state.h"
#include "jpeg2000/block/mq_decoder.h"
#include "jpeg2000/block/raw_decoder.h"

// Each pass runs over the block at the state's present plane. Arithmetic passes leave their contexts in the decoder.
void ownDecodeSignificancePass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq);
void ownDecodeSignificancePass(const QlmDecodeState_JPEG2K& state, QlmRawDecoder& raw);
void ownDecodeRefinementPass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq);
void ownDecodeRefinementPass(const QlmDecodeState_JPEG2K& state, QlmRawDecoder& raw);
void ownDecodeCleanupPass(const QlmDecodeState_JPEG2K& state, QlmMqDecoder& mq);

// The four decisions behind a cleanup pass that T.800 D.5 calls the segmentation symbol: whether they are 1, 0, 1, 0.
bool ownDecodeSegmentationSymbol(QlmMqDecoder& mq);
