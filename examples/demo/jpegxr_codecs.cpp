// JPEG XR (T.832) by the sample codec, checked with jxrlib, a program: both decoders agree on every sample. No browser
// shows these files.
#include "codec.h"
#include "jpegxr/jxr_reader.h"
#include "jpegxr/jxr_writer.h"
#include "jpegxr/jxrlib_peer.h"

namespace demo {
namespace {

Codec jxrCodec(const char* family, const char* tag, int32_t channels, const sample::JxrWriteOptions& options) {
  const bool lossless = options.quality == 100;
  return {
      .family = family,
      .setting = lossless ? "lossless" : "quality " + std::to_string(options.quality),
      .file = std::string("jpegxr-") + tag + (lossless ? "" : "-q" + std::to_string(options.quality)) + ".jxr",
      .mime = "",
      .channels = channels,
      .tolerance = 0,
      .encode = [options](const sample::Picture& picture) { return sample::writeJxr(picture, options); },
      .decode = [](const Bytes& file, sample::Picture& picture) { sample::readJxr(file, picture); },
      .peer = "jxrlib",
      .peerEncode = {},
      .peerDecode = [](const Bytes& file,
                       sample::Picture& picture) { picture = std::get<sample::Picture>(sample::jxrlibRead(file)); },
  };
}

}  // namespace

std::vector<Codec> jpegxrCodecs() {
  using sample::JxrComponents, sample::JxrOverlap;
  std::vector<Codec> codecs;
  for (const int32_t quality : {50, 75, 90})
    codecs.push_back(jxrCodec("JPEG XR 4:4:4", "444", 3, {.quality = quality, .overlap = JxrOverlap::kOne}));
  for (const int32_t quality : {50, 75, 90})
    codecs.push_back(jxrCodec("JPEG XR 4:2:0", "420", 3,
                              {.quality = quality, .components = JxrComponents::k420, .overlap = JxrOverlap::kTwo}));
  codecs.push_back(jxrCodec("JPEG XR lossless RGB", "lossless-rgb", 3, {.quality = 100}));
  codecs.push_back(jxrCodec("JPEG XR lossless grey", "lossless-grey", 1, {.quality = 100}));
  return codecs;
}

}  // namespace demo
