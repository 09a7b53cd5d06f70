#include "jpegxr/jxr_writer.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "jpegxr/jxr_colour.h"
#include "jpegxr/jxr_encode.h"
#include "jpegxr/jxr_headers.h"
#include "jpegxr/jxr_transform.h"

namespace sample {
namespace {

// Errors about those of JPEG at the same quality, whose steps go as 50 / q and then 2 - q / 50; in the scale of scaled
// files they double every 16 indices. Chroma is coarser, and 16-bit samples make the same step of all that 8-bit
// samples do.
QuantiserIndices indicesOf(int32_t quality, const JxrHeader& header) {
  const double factor = quality < 50 ? 50.0 / quality : 2 - quality / 50.0;
  const int32_t luma = std::max(1, static_cast<int32_t>(std::lround(58 + 12 * std::log2(factor))));
  const int32_t chroma = luma + (header.components == JxrComponents::k444 ? 12 : 6);
  const auto deeper = [&](int32_t index) {
    if (header.bits == 8) return static_cast<uint8_t>(index);
    int32_t octaves = 8;
    for (; index < 16; index *= 2) --octaves;
    return static_cast<uint8_t>(16 * octaves + index);
  };
  return {deeper(luma), deeper(chroma), deeper(chroma)};
}

JxrHeader headerOf(int32_t width, int32_t height, int32_t channels, int32_t bits, const JxrWriteOptions& options) {
  if (width < 1 || height < 1) throw JxrError("a picture needs rows and columns");
  if (width > 1 << 24 || height > 1 << 24) throw JxrError("more than 2^24 rows or columns");
  if (channels != 1 && channels != 3) throw JxrError("JPEG XR files are written of grey and RGB pictures");
  if (bits != 8 && bits != 16) throw JxrError("JPEG XR files are written of samples of 8 or 16 bits");
  if (options.quality < 1 || options.quality > 100) throw JxrError("the quality is from 1 to 100");

  JxrHeader header;
  header.width = width, header.height = height;
  header.mbsWide = (width + kMbSide - 1) / kMbSide, header.mbsHigh = (height + kMbSide - 1) / kMbSide;
  header.components = channels == 1 ? JxrComponents::kY : options.components;
  header.colour = header.components != JxrComponents::kY;
  header.bits = bits;
  header.bands = options.bands;
  header.overlap = options.overlap;
  if (header.overlap == JxrOverlap::kTwo && header.mbsWide < 2 && isSubsampled(header.components, 1))
    throw JxrError("two overlap filters with subsampled chroma need a picture more than 16 pixels wide");
  if (options.quantisers)
    header.quantisers = *options.quantisers;
  else if (options.quality < 100)
    header.quantisers.fill(indicesOf(options.quality, header));
  // Three more bits only help where something is lost.
  header.scaled = header.quantisers != std::array<QuantiserIndices, 3>{} || header.bands != JxrBands::kAll ||
                  isSubsampled(header.components, 1);
  return header;
}

template <typename P>
std::vector<uint8_t> encode(const JxrHeader& header, const P& picture) {
  JxrPlanes planes;
  shapePlanes(header, planes);
  pixelsToPlanes(header, picture, planes);
  forwardTransform(header, planes);
  return writeJxrFile(header, encodePicture(header, planes));
}

}  // namespace

std::vector<uint8_t> writeJxr(const Picture& picture, const JxrWriteOptions& options) {
  const JxrHeader header = headerOf(picture.width, picture.height, picture.channels, 8, options);
  if (picture.channels == 3 && !header.colour) return encode(header, toGrey(picture));
  return encode(header, picture);
}

std::vector<uint8_t> writeJxr(const Picture16& picture, const JxrWriteOptions& options) {
  const JxrHeader header = headerOf(picture.width, picture.height, picture.channels, picture.bits, options);
  if (picture.channels == 3 && !header.colour) return encode(header, toGrey(picture));
  return encode(header, picture);
}

}  // namespace sample
