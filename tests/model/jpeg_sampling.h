// Scalar models of the chroma sampling of planes, rows and MCUs (ITU-T T.81 A.1.1, A.2.3), to the bit.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "model/jpeg_mcu.h"

namespace model {

// A sample of the source by column and row; neighbours outside a plane are asked for with -1 and beyond.
using SampleAt = std::function<int(int x, int y)>;

// Planes of width x height destination samples, row by row without padding.
std::vector<uint8_t> downPlaneH2V1(const SampleAt& source, int width, int height);
std::vector<uint8_t> downPlaneH2V2(const SampleAt& source, int width, int height);
std::vector<uint8_t> upPlaneH2V1(const SampleAt& source, int width, int height);
std::vector<uint8_t> upPlaneH2V2(const SampleAt& source, int width, int height);

// How many samples the reducing row forms write; they read twice as many of each row.
int downRowOutputs(int srcWidth);      // H2V1
int downTwoRowsOutputs(int srcWidth);  // H2V2

std::vector<uint8_t> downRow(const std::vector<uint8_t>& s, int srcWidth);
std::vector<uint8_t> downTwoRows(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, int srcWidth);
// Of at least two samples.
std::vector<uint8_t> upRow(const std::vector<uint8_t>& s);
std::vector<uint8_t> upNearAndFarRow(const std::vector<uint8_t>& near, const std::vector<uint8_t>& far);

// MCUs of three interleaved components, rows without padding.
McuBlocks sampleDownMcu(const std::vector<uint8_t>& pixels, McuShape shape);
std::vector<uint8_t> sampleUpMcu(const McuBlocks& blocks, McuShape shape);

// An MCU of packed 4:2:2, 8 rows of 32 bytes Y Cb Y Cr.
McuBlocks splitMcu422(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> joinMcu422(const McuBlocks& blocks);

}  // namespace model
