// Array routines behind the quantisation tables.
#pragma once

#include "frame/frame.h"

// Widens 8-bit samples to 16 bits, row by row.
void ownConvert8u16uPlane(const uint8_t* src, int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size);

// dst[i] = value / src[i] to the nearest integer, halves to even, and 65535 where src[i] is 0, which the result reports
// as qlmWarnDivByZero. May run in place.
QlmStatus ownDivCRev16u(uint16_t value, const uint16_t* src, uint16_t* dst, int32_t count);
