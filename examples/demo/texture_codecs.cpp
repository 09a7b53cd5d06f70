// Block textures in DDS files by the sample codec, checked with libsquish, whose fastest encoder is raced. BC5 has no
// third colour, and BC6 is only read, so that they are not shown. BC7, which libsquish does not know, is checked with
// Pillow; mode 6 is the fastest.
#include "codec.h"
#include "texture/libsquish_peer.h"
#include "texture/pillow_peer.h"

namespace demo {
namespace {

Codec bc7Codec() {
  return {
      .family = "Texture BC7",
      .setting = "BC7, mode 6",
      .file = "texture-bc7.dds",
      .mime = "",
      .channels = 3,
      .tolerance = 0,
      .encode =
          [](const sample::Picture& picture) {
            return sample::writeDds(sample::encodeTexture(picture, sample::TextureFormat::kBc7, false, {.modes = {6}}));
          },
      .decode = [](const Bytes& bytes,
                   sample::Picture& picture) { picture = sample::decodeTexture(sample::readDds(bytes)); },
      .peer = "Pillow",
      .peerEncode = {},
      .peerDecode =
          [](const Bytes& bytes, sample::Picture& picture) {
            const sample::Texture texture = sample::readDds(bytes);
            const sample::TextureLevel& level = texture.levels[0];
            picture = sample::toPicture({level.width, level.height, 4, sample::pillowRead(bytes)}, texture.format);
          },
  };
}

}  // namespace

std::vector<Codec> textureCodecs() {
  using sample::TextureFormat;
  const struct {
    TextureFormat format;
    const char *setting, *file;
  } kShown[] = {{TextureFormat::kDxt1, "DXT1", "texture-dxt1.dds"},
                {TextureFormat::kDxt3, "DXT3", "texture-dxt3.dds"},
                {TextureFormat::kDxt5, "DXT5", "texture-dxt5.dds"},
                {TextureFormat::kYCoCgDxt5, "YCoCg in DXT5", "texture-ycocg.dds"},
                {TextureFormat::kBc4, "BC4", "texture-bc4.dds"}};
  std::vector<Codec> codecs;
  for (const auto& [format, setting, file] : kShown) {
    const bool grey = format == TextureFormat::kBc4;
    const bool hasRounding = grey || format == TextureFormat::kYCoCgDxt5;  // of BC4's values, which libsquish cuts
    codecs.push_back({
        .family = grey ? "Texture grey" : "Texture RGB",
        .setting = setting,
        .file = file,
        .mime = "",
        .channels = grey ? 1 : 3,
        .tolerance = hasRounding ? 0.25 : 0,
        .encode =
            [format = format](const sample::Picture& picture) {
              return sample::writeDds(sample::encodeTexture(picture, format));
            },
        .decode = [](const Bytes& bytes,
                     sample::Picture& picture) { picture = sample::decodeTexture(sample::readDds(bytes)); },
        .peer = "libsquish",
        .peerEncode =
            [format = format](const sample::Picture& picture) {
              return sample::writeDds(sample::squishEncode(picture, format));
            },
        .peerDecode = [](const Bytes& bytes,
                         sample::Picture& picture) { picture = sample::squishDecode(sample::readDds(bytes)); },
    });
  }
  codecs.push_back(bc7Codec());
  return codecs;
}

}  // namespace demo
