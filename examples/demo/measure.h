// Codes a picture with one codec and back, checks the file with the independent decoder, and times all four ways.
#pragma once

#include "codec.h"

namespace demo {

struct Speed {
  double ours = 0, peer = 0;  // megapixels a second, the best of several repetitions; 0 without a race
  double ratio() const { return ours / peer; }
};

struct Result {
  const Codec* codec = nullptr;
  Bytes file;
  sample::Picture decoded;  // by this library
  double bitsPerPixel = 0;
  double psnr = 0, peerPsnr = 0;  // against the picture, by this library's decoder and by the independent one
  int32_t maxDifference = 0;      // of a sample between the two decoders
  Speed encode, decode;
  std::string failure;  // why the check failed, or empty

  double psnrDifference() const;
};

// Writes the file into the folder as well. A failing check is told in the result; what the sample codec or the file
// system cannot do throws.
Result measure(const Codec& codec, const sample::Picture& picture, const std::string& folder);

}  // namespace demo
