// TIFF (TIFF 6.0) by the sample codec, checked with libtiff: lossless, in strips packed with PackBits.
#include "codec.h"
#include "tiff/libtiff_peer.h"

namespace demo {

std::vector<Codec> tiffCodecs() {
  std::vector<Codec> codecs;
  for (const int32_t channels : {1, 3}) {
    codecs.push_back({
        .family = channels == 1 ? "TIFF grey" : "TIFF RGB",
        .setting = "PackBits, lossless",
        .file = channels == 1 ? "tiff-grey.tif" : "tiff-rgb.tif",
        .mime = "",
        .channels = channels,
        .tolerance = 0,
        .encode = [](const sample::Picture& picture) { return sample::writeTiff(sample::toBits(picture, 8)); },
        .decode = [](const Bytes& file,
                     sample::Picture& picture) { picture = sample::to8Bits(sample::readTiff(file)); },
        .peer = "libtiff",
        .peerEncode = [](const sample::Picture& picture) { return sample::peerWriteTiff(sample::toBits(picture, 8)); },
        .peerDecode = [](const Bytes& file,
                         sample::Picture& picture) { picture = sample::to8Bits(sample::peerReadTiff(file)); },
    });
  }
  return codecs;
}

}  // namespace demo
