// What the demo knows of a codec: how to make a file of a picture and a picture of a file, with this library and with
// an independent one. A further codec joins by a function like jpegCodecs() and its line in allCodecs().
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "support/picture.h"

namespace demo {

using Bytes = std::vector<uint8_t>;
using Encode = std::function<Bytes(const sample::Picture&)>;
using Decode = std::function<void(const Bytes&, sample::Picture&)>;
using Convert = std::function<sample::Picture(const sample::Picture&)>;

struct Codec {
  std::string family;   // "JPEG 4:2:0": its files make one row of pictures, and one curve where their size rises
  std::string setting;  // "quality 75"
  std::string file;     // name of the file
  std::string mime;     // type by which every browser shows the file; empty where not every one does
  int32_t channels;     // of the picture that it codes: 1 or 3
  double tolerance;     // dB by which the PSNR of the two decoders may differ
  Encode encode;
  Decode decode;
  std::string peer;   // name and version of the independent library
  Encode peerEncode;  // empty where the independent one is a program, whose start would be timed with it
  Decode peerDecode;
  Convert prepare = {};  // the picture for both encoders, where they want it in another form
  Convert show = {};     // what both decoders give in the form of the picture, where it has another one
};

std::vector<Codec> jpegCodecs();
std::vector<Codec> jpeg2000Codecs();
std::vector<Codec> jpegxrCodecs();
std::vector<Codec> textureCodecs();
std::vector<Codec> tiffCodecs();

inline std::vector<Codec> allCodecs() {
  std::vector<Codec> all = jpegCodecs();
  for (auto part : {jpeg2000Codecs(), jpegxrCodecs(), textureCodecs(), tiffCodecs()})
    all.insert(all.end(), part.begin(), part.end());
  return all;
}

}  // namespace demo
