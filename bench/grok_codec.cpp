#include "grok_codec.h"

#include <grok.h>

#include <algorithm>
#include <array>
#include <memory>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

struct Unref {
  void operator()(grk_codec* codec) const { grk_object_unref(codec); }
  void operator()(grk_image* image) const { grk_object_unref(&image->obj); }
};
using Codec = std::unique_ptr<grk_codec, Unref>;
using Image = std::unique_ptr<grk_image, Unref>;

std::string messages;

void keepMessage(const char* message, void*) { messages += message; }

// With one thread Grok makes none: its work is done in the call.
class Library {
 public:
  static void begin() { static const Library library; }

 private:
  Library() {
    grk_initialize(nullptr, 1);
    grk_set_msg_handlers(nullptr, nullptr, keepMessage, nullptr, keepMessage, nullptr);
  }
  ~Library() { grk_deinitialize(); }
};

void require(bool done, const char* what) {
  if (!done || !messages.empty()) throw std::runtime_error(std::string("Grok does not ") + what + ": " + messages);
}

Image imageOf(const sample::Picture& picture) {
  std::vector<grk_image_comp> components(static_cast<size_t>(picture.channels));
  for (grk_image_comp& c : components) {
    c.dx = c.dy = 1;
    c.w = static_cast<uint32_t>(picture.width), c.h = static_cast<uint32_t>(picture.height);
    c.prec = 8;
  }
  Image image(grk_image_new(static_cast<uint16_t>(picture.channels), components.data(),
                            picture.channels >= 3 ? GRK_CLRSPC_SRGB : GRK_CLRSPC_GRAY));
  image->x1 = static_cast<uint32_t>(picture.width), image->y1 = static_cast<uint32_t>(picture.height);
  for (int32_t c = 0; c < picture.channels; ++c) {
    const grk_image_comp& plane = image->comps[c];
    for (int32_t y = 0; y < picture.height; ++y) {
      const uint8_t* from = picture.row(y) + c;
      int32_t* to = plane.data + size_t{plane.stride} * static_cast<size_t>(y);
      for (int32_t x = 0; x < picture.width; ++x) to[x] = from[x * picture.channels];
    }
  }
  return image;
}

}  // namespace

std::vector<uint8_t> grokEncode(const sample::Picture& picture, double rate) {
  Library::begin();
  const auto parameters = std::make_unique<grk_cparameters>();
  grk_compress_set_default_params(parameters.get());
  parameters->cod_format = GRK_FMT_J2K;
  parameters->mct = picture.channels >= 3;
  parameters->numThreads = 1;
  parameters->numlayers = 1;
  parameters->allocationByRateDistoration = true;
  if (rate > 0) {
    parameters->irreversible = true;
    parameters->layer_rate[0] = 8 * picture.channels / rate;
  }
  const Image image = imageOf(picture);

  // Grok wants to see the head of a codestream in the memory that it is to write to, frees it with the codec, and does
  // not tell how much it wrote: as far as there is something.
  const size_t length = 2 * picture.pixels.size() + 4096;
  auto* room = new uint8_t[length]();
  std::ranges::copy(std::array<uint8_t, 4>{0xFF, 0x4F, 0xFF, 0x51}, room);
  grk_stream_params stream{nullptr, room, length};
  const Codec codec(grk_compress_init(&stream, parameters.get(), image.get()));
  require(codec && grk_compress(codec.get(), nullptr), "write");
  size_t written = length;
  while (room[written - 1] == 0) --written;
  return {room, room + written};
}

void grokDecode(const std::vector<uint8_t>& file, const std::function<void(const std::vector<GrokPlane>&)>& use) {
  Library::begin();
  grk_decompress_core_params parameters{};
  grk_decompress_set_default_params(&parameters);
  grk_stream_params stream{nullptr, const_cast<uint8_t*>(file.data()), file.size()};
  const Codec codec(grk_decompress_init(&stream, &parameters));
  const auto header = std::make_unique<grk_header_info>();
  require(codec && grk_decompress_read_header(codec.get(), header.get()) && grk_decompress(codec.get(), nullptr),
          "read");
  const grk_image* image = grk_decompress_get_composited_image(codec.get());
  require(image, "read");
  std::vector<GrokPlane> planes;
  for (int c = 0; c < image->numcomps; ++c) {
    const grk_image_comp& p = image->comps[c];
    require(p.data, "read");
    planes.push_back({static_cast<int32_t>(p.w), static_cast<int32_t>(p.h), static_cast<int32_t>(p.stride), p.data});
  }
  use(planes);
}

}  // namespace bench
