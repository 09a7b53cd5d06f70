// libjpeg-turbo as an independent JPEG codec, from memory to memory. Throws std::runtime_error with its message.
#pragma once

#include "codec.h"

namespace demo {

struct PeerJpegOptions {
  int32_t quality = 75;
  int32_t h = 1, v = 1;      // luma sampling factors; black has the same
  bool ycck = false;         // store pictures of 4 channels as YCCK, else CMYK
  bool progressive = false;  // by the usual script, with optimised tables
};

struct PeerDecodeOptions {
  bool triangles = false;  // else chroma is replicated
  int32_t scale = 1;       // 1, 2, 4 or 8 times smaller
};

std::string libjpegName();
Bytes libjpegEncode(const sample::Picture& picture, const PeerJpegOptions& options);
void libjpegDecode(const Bytes& file, sample::Picture& picture, const PeerDecodeOptions& options = {});

}  // namespace demo
