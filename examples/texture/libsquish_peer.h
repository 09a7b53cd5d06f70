// Textures by libsquish, an independent codec of DXT1, DXT3, DXT5, BC4 and BC5.
#pragma once

#include "texture/texture_codec.h"

namespace sample {

// Encodes by its fastest method, the range fit.
Texture squishEncode(const Picture& picture, TextureFormat format);

Picture squishDecode(const Texture& texture);

}  // namespace sample
