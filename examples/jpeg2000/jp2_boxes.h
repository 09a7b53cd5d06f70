// The boxes of a JP2 file around its codestream (T.800 Annex I), as far as they tell what the components are.
#pragma once

#include <optional>

#include "jpeg2000/byte_source.h"

namespace sample::j2k {

// Colour spaces by number (Table I.10, and CMYK of ITU-T T.801).
enum ColourNumber : uint32_t { kCmykNumber = 12, kSrgbNumber = 16, kGreyNumber = 17, kSyccNumber = 18 };

struct Palette {
  std::vector<int32_t> bits;     // by column
  std::vector<bool> isSigned;    // by column
  std::vector<int32_t> entries;  // rows of one value for each column
};

// How a channel comes of a component: as it is, or through a column of the palette.
struct ChannelSource {
  int32_t component = 0;
  std::optional<int32_t> column;
};

// What a channel is (I.5.3.6).
struct ChannelMeaning {
  int32_t channel = 0, type = 0, association = 0;  // type 0 is colour; associations count from 1
};

struct Jp2 {
  Bytes codestream;
  std::optional<uint32_t> colour;  // of ColourNumber
  std::optional<Palette> palette;
  std::vector<ChannelSource> sources;
  std::vector<ChannelMeaning> meanings;
};

// A bare codestream comes back as it is. Throws Jpeg2000Error where there is no codestream; what is wrong with other
// boxes is passed over.
Jp2 readBoxes(Bytes file);

}  // namespace sample::j2k
