// The functions that libjpeg may leave by longjmp hold nothing that has a destructor.
#include "libjpeg_peer.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <jpeglib.h>

#define QLMJP_TEXT_OF(x) #x
#define QLMJP_TEXT(x) QLMJP_TEXT_OF(x)

namespace demo {
namespace {

struct Errors {
  jpeg_error_mgr manager;
  std::jmp_buf leave;
  char text[JMSG_LENGTH_MAX];
};

jpeg_error_mgr* onErrors(Errors& errors) {
  jpeg_error_mgr* manager = jpeg_std_error(&errors.manager);
  manager->error_exit = [](j_common_ptr info) {
    auto* held = reinterpret_cast<Errors*>(info->err);
    info->err->format_message(info, held->text);
    std::longjmp(held->leave, 1);
  };
  // A warning means a damaged file, which an independent decoder must not find in what was written here.
  manager->emit_message = [](j_common_ptr info, int level) {
    if (level < 0) info->err->error_exit(info);
  };
  return manager;
}

bool encodeInto(const sample::Picture& picture, const PeerJpegOptions& options, Errors& errors, unsigned char** buffer,
                unsigned long* size) {  // NOLINT: the types of the interface
  jpeg_compress_struct info{};
  info.err = onErrors(errors);
  if (setjmp(errors.leave)) {
    jpeg_destroy_compress(&info);
    return false;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, buffer, size);
  info.image_width = static_cast<JDIMENSION>(picture.width);
  info.image_height = static_cast<JDIMENSION>(picture.height);
  info.input_components = picture.channels;
  info.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : picture.channels == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  if (options.ycck) jpeg_set_colorspace(&info, JCS_YCCK);
  jpeg_set_quality(&info, options.quality, TRUE);
  info.comp_info[0].h_samp_factor = options.h;
  info.comp_info[0].v_samp_factor = options.v;
  if (options.ycck) info.comp_info[3].h_samp_factor = options.h, info.comp_info[3].v_samp_factor = options.v;
  if (options.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    auto* row = const_cast<uint8_t*>(picture.row(static_cast<int32_t>(info.next_scanline)));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  return true;
}

bool decodeInto(const Bytes& file, const PeerDecodeOptions& options, Errors& errors, sample::Picture& picture) {
  jpeg_decompress_struct info{};
  info.err = onErrors(errors);
  if (setjmp(errors.leave)) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, file.data(), static_cast<unsigned long>(file.size()));  // NOLINT: the type of the interface
  jpeg_read_header(&info, TRUE);
  info.do_fancy_upsampling = options.triangles;
  info.scale_denom = static_cast<unsigned>(options.scale);
  jpeg_start_decompress(&info);
  picture.width = static_cast<int32_t>(info.output_width);
  picture.height = static_cast<int32_t>(info.output_height);
  picture.channels = info.output_components;
  picture.pixels.resize(static_cast<size_t>(picture.step()) * info.output_height);
  while (info.output_scanline < info.output_height) {
    JSAMPROW rows[8];
    JDIMENSION count = 0;
    for (; count < 8 && info.output_scanline + count < info.output_height; ++count)
      rows[count] = picture.row(static_cast<int32_t>(info.output_scanline + count));
    jpeg_read_scanlines(&info, rows, count);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

}  // namespace

std::string libjpegName() { return "libjpeg-turbo " QLMJP_TEXT(LIBJPEG_TURBO_VERSION); }

Bytes libjpegEncode(const sample::Picture& picture, const PeerJpegOptions& options) {
  Errors errors{};
  // Room enough and kept between calls, so that the library need not grow a buffer; if it is too small all the same,
  // the library allocates one.
  static Bytes room;
  if (room.size() < picture.pixels.size() + 4096) room.resize(picture.pixels.size() + 4096);
  unsigned char* buffer = room.data();
  unsigned long size = static_cast<unsigned long>(room.size());  // NOLINT: the type of the interface
  if (!encodeInto(picture, options, errors, &buffer, &size))
    throw std::runtime_error(libjpegName() + ": " + errors.text);
  Bytes file(buffer, buffer + size);
  if (buffer != room.data()) std::free(buffer);
  return file;
}

void libjpegDecode(const Bytes& file, sample::Picture& picture, const PeerDecodeOptions& options) {
  Errors errors{};
  if (!decodeInto(file, options, errors, picture)) throw std::runtime_error(libjpegName() + ": " + errors.text);
}

}  // namespace demo
