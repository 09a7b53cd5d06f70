#include "jpeg2000/openjpeg_planes.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace sample {
namespace {

using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;
using Image = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;

// A file in memory that grows where it is written.
struct MemoryFile {
  std::vector<uint8_t> written;
  std::span<const uint8_t> bytes;
  size_t position = 0;
};

MemoryFile& fileOf(void* user) { return *static_cast<MemoryFile*>(user); }

OPJ_SIZE_T readBytes(void* to, OPJ_SIZE_T count, void* user) {
  MemoryFile& file = fileOf(user);
  const size_t left = file.bytes.size() - std::min(file.position, file.bytes.size());
  if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
  const size_t now = std::min<size_t>(count, left);
  std::memcpy(to, file.bytes.data() + file.position, now);
  file.position += now;
  return now;
}

OPJ_SIZE_T writeBytes(void* from, OPJ_SIZE_T count, void* user) {
  MemoryFile& file = fileOf(user);
  if (file.written.size() < file.position + count) file.written.resize(file.position + count);
  std::memcpy(file.written.data() + file.position, from, count);
  file.position += count;
  return count;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user) {
  fileOf(user).position += static_cast<size_t>(count);
  return count;
}

OPJ_BOOL seekByte(OPJ_OFF_T position, void* user) {
  fileOf(user).position = static_cast<size_t>(position);
  return OPJ_TRUE;
}

void keepMessage(const char* message, void* user) { *static_cast<std::string*>(user) += message; }

Stream streamOn(MemoryFile& file, bool isInput) {
  Stream stream(opj_stream_create(1 << 20, isInput), opj_stream_destroy);
  opj_stream_set_read_function(stream.get(), readBytes);
  opj_stream_set_write_function(stream.get(), writeBytes);
  opj_stream_set_skip_function(stream.get(), skipBytes);
  opj_stream_set_seek_function(stream.get(), seekByte);
  opj_stream_set_user_data(stream.get(), &file, nullptr);
  opj_stream_set_user_data_length(stream.get(), file.bytes.size());
  return stream;
}

[[noreturn]] void fail(const std::string& what, const std::string& message) {
  throw std::runtime_error("OpenJPEG " + what + ": " + message);
}

Image imageOf(const OpenjpegImage& from) {
  std::vector<opj_image_cmptparm_t> parameters;
  for (const OpenjpegComponent& c : from.components) {
    opj_image_cmptparm_t p{};
    p.dx = static_cast<OPJ_UINT32>(c.dx), p.dy = static_cast<OPJ_UINT32>(c.dy);
    p.w = static_cast<OPJ_UINT32>(c.width), p.h = static_cast<OPJ_UINT32>(c.height);
    p.x0 = static_cast<OPJ_UINT32>(c.x0), p.y0 = static_cast<OPJ_UINT32>(c.y0);
    p.prec = static_cast<OPJ_UINT32>(c.bits), p.sgnd = c.isSigned;
    parameters.push_back(p);
  }
  Image image(opj_image_create(static_cast<OPJ_UINT32>(parameters.size()), parameters.data(),
                               parameters.size() < 3 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB),
              opj_image_destroy);
  image->x0 = static_cast<OPJ_UINT32>(from.x0), image->y0 = static_cast<OPJ_UINT32>(from.y0);
  image->x1 = static_cast<OPJ_UINT32>(from.x1), image->y1 = static_cast<OPJ_UINT32>(from.y1);
  for (size_t i = 0; i < parameters.size(); ++i) std::ranges::copy(from.components[i].samples, image->comps[i].data);
  return image;
}

}  // namespace

std::vector<uint8_t> encodeByOpenjpeg(const OpenjpegImage& from, const std::function<void(opj_cparameters_t&)>& adjust,
                                      bool isJp2) {
  const auto parameters = std::make_unique<opj_cparameters_t>();
  opj_set_default_encoder_parameters(parameters.get());
  parameters->tcp_numlayers = 1;
  parameters->tcp_rates[0] = 0;
  parameters->cp_disto_alloc = 1;
  parameters->tcp_mct = from.components.size() >= 3;
  // OpenJPEG refuses more levels than the size has bits.
  const auto least = static_cast<uint32_t>(std::min(from.x1 - from.x0, from.y1 - from.y0));
  parameters->numresolution = std::min(parameters->numresolution, static_cast<int>(std::bit_width(least)));
  adjust(*parameters);
  std::string message;
  const Image image = imageOf(from);
  const Codec codec(opj_create_compress(isJp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K), opj_destroy_codec);
  opj_set_error_handler(codec.get(), keepMessage, &message);
  MemoryFile file;
  const Stream stream = streamOn(file, false);
  if (!opj_setup_encoder(codec.get(), parameters.get(), image.get()) ||
      !opj_start_compress(codec.get(), image.get(), stream.get()) || !opj_encode(codec.get(), stream.get()) ||
      !opj_end_compress(codec.get(), stream.get()))
    fail("does not write", message);
  return file.written;
}

void decodeByOpenjpeg(std::span<const uint8_t> bytes, const OpenjpegReadOptions& options,
                      const std::function<void(const opj_image_t&)>& use) {
  const bool isJp2 = bytes.size() > 4 && bytes[0] == 0;
  std::string message;
  const Codec codec(opj_create_decompress(isJp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K), opj_destroy_codec);
  opj_set_error_handler(codec.get(), keepMessage, &message);
  if (options.isStrict) opj_set_warning_handler(codec.get(), keepMessage, &message);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  parameters.cp_reduce = static_cast<OPJ_UINT32>(options.discardLevels);
  parameters.cp_layer = static_cast<OPJ_UINT32>(options.layers);
  MemoryFile file{{}, bytes};
  const Stream stream = streamOn(file, true);
  opj_image_t* raw = nullptr;
  if (!opj_setup_decoder(codec.get(), &parameters)) fail("does not read", message);
  if (options.threads > 1) opj_codec_set_threads(codec.get(), options.threads);
  const bool hasHeader = opj_read_header(stream.get(), codec.get(), &raw);
  const Image image(raw, opj_image_destroy);
  // Without an area the sizes of reduced components with an odd origin come out wrong.
  if (!hasHeader || !opj_set_decode_area(codec.get(), raw, 0, 0, 0, 0) || !opj_decode(codec.get(), stream.get(), raw))
    fail("does not read", message);
  opj_end_decompress(codec.get(), stream.get());
  for (const opj_image_comp_t& c : std::span(raw->comps, raw->numcomps))
    if (!c.data) fail("does not read", message);
  if (!message.empty()) fail("complains", message);
  use(*raw);
}

OpenjpegImage decodeByOpenjpeg(std::span<const uint8_t> file, const OpenjpegReadOptions& options) {
  OpenjpegImage out;
  decodeByOpenjpeg(file, options, [&](const opj_image_t& image) {
    out = {static_cast<int32_t>(image.x0),
           static_cast<int32_t>(image.y0),
           static_cast<int32_t>(image.x1),
           static_cast<int32_t>(image.y1),
           {}};
    for (const opj_image_comp_t& c : std::span(image.comps, image.numcomps)) {
      out.components.push_back({static_cast<int32_t>(c.x0),
                                static_cast<int32_t>(c.y0),
                                static_cast<int32_t>(c.w),
                                static_cast<int32_t>(c.h),
                                static_cast<int32_t>(c.dx),
                                static_cast<int32_t>(c.dy),
                                static_cast<int32_t>(c.prec),
                                c.sgnd != 0,
                                {}});
      out.components.back().samples.assign(c.data, c.data + size_t{c.w} * c.h);
    }
  });
  return out;
}

}  // namespace sample
