// DDS files by Pillow's reader (python3-pil), a program, to check with.
#pragma once

#include <cstdint>
#include <vector>

namespace sample {

// Pixels of the first level as Pillow gives them, without padding. Throws where it does not read the file.
std::vector<uint8_t> pillowRead(const std::vector<uint8_t>& file);

}  // namespace sample
