// Memory from the core library, and the routines that fill, zero and copy blocks of bytes. Buffers too large for the
// caches are written with non-temporal stores, so that the caller's working set stays where it is.
#pragma once

#include "frame/frame.h"

// A length below 1 gives null and asks nobody.
void* ownMalloc(int32_t length);
void ownFree(void* block);

// Checking forms: qlmErrNullPointer, then qlmErrSize for a length or count below 1, then the work and qlmOk. Above
// kBigBlock bytes they go the big way.
inline constexpr int64_t kBigBlock = 2097152;
QlmStatus ownZero8u(uint8_t* dst, int32_t length);
QlmStatus ownZero16s(int16_t* dst, int32_t count);
QlmStatus ownZero32s(int32_t* dst, int32_t count);
QlmStatus ownSet8u(uint8_t value, uint8_t* dst, int32_t length);
QlmStatus ownSet32s(int32_t value, int32_t* dst, int32_t count);

// The big way: plain stores up to kBigBlock bytes or where the largest cache holds the block, else non-temporal stores
// behind an aligned head, and a store fence. The plain ways never ask for the cache.
void ownZeroBig(void* dst, int64_t length);
void ownZeroSmall(void* dst, int64_t length);
void ownSet8uBig(uint8_t value, uint8_t* dst, int64_t length);

// Source and destination must not overlap. Returns the destination.
uint8_t* ownCopy8u(const uint8_t* src, uint8_t* dst, int32_t length);
QlmStatus ownCopy8uChecked(const uint8_t* src, uint8_t* dst, int32_t length);
