// Whole JPEG files: pictures to baseline files and back, the sample codec against libjpeg-turbo with the same quality,
// the same subsampling and its accurate integer DCT. Both sides keep their output memory from round to round.
#include <cstdio>

#include <jpeglib.h>

#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"
#include "race.h"

namespace {

using bench::race;
using bench::Work;
using sample::Picture;
using Files = std::vector<std::vector<uint8_t>>;

std::vector<Picture> colourPictures() {
  std::vector<Picture> all;
  for (const auto& file : sample::photographs()) all.push_back(sample::readPicture(file));
  if (all.empty()) all.push_back(sample::paintPicture(768, 512));
  return all;
}

std::vector<Picture> pictures(bool grey) {
  static const std::vector<Picture> colour = colourPictures();
  std::vector<Picture> all = colour;
  if (grey)
    for (Picture& picture : all) picture = sample::toGrey(picture);
  return all;
}

std::vector<uint8_t*> rowsOf(Picture& picture) {
  std::vector<uint8_t*> rows(static_cast<size_t>(picture.height));
  for (int32_t y = 0; y < picture.height; ++y) rows[static_cast<size_t>(y)] = picture.row(y);
  return rows;
}

// The peer's objects live as long as the race, and its destination holds a whole file from the start.
struct PeerEncoder {
  jpeg_compress_struct cinfo{};
  jpeg_error_mgr errors{};
  std::vector<uint8_t> room = std::vector<uint8_t>(size_t{4} << 20);

  PeerEncoder() {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_compress(&cinfo);
  }
  PeerEncoder(const PeerEncoder&) = delete;
  PeerEncoder& operator=(const PeerEncoder&) = delete;
  ~PeerEncoder() { jpeg_destroy_compress(&cinfo); }

  void encode(Picture& picture, int quality, int h, int v) {
    unsigned char* bytes = room.data();
    unsigned long size = room.size();
    jpeg_mem_dest(&cinfo, &bytes, &size);
    cinfo.image_width = static_cast<JDIMENSION>(picture.width);
    cinfo.image_height = static_cast<JDIMENSION>(picture.height);
    cinfo.input_components = picture.channels;
    cinfo.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    cinfo.dct_method = JDCT_ISLOW;
    jpeg_set_quality(&cinfo, quality, TRUE);
    cinfo.comp_info[0].h_samp_factor = h;
    cinfo.comp_info[0].v_samp_factor = v;
    jpeg_start_compress(&cinfo, TRUE);
    const auto rows = rowsOf(picture);
    jpeg_write_scanlines(&cinfo, const_cast<JSAMPARRAY>(rows.data()), cinfo.image_height);
    jpeg_finish_compress(&cinfo);
  }
};

struct PeerDecoder {
  jpeg_decompress_struct cinfo{};
  jpeg_error_mgr errors{};

  PeerDecoder() {
    cinfo.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&cinfo);
  }
  PeerDecoder(const PeerDecoder&) = delete;
  PeerDecoder& operator=(const PeerDecoder&) = delete;
  ~PeerDecoder() { jpeg_destroy_decompress(&cinfo); }

  void decode(const std::vector<uint8_t>& file, Picture& picture, bool fancy) {
    jpeg_mem_src(&cinfo, file.data(), file.size());
    jpeg_read_header(&cinfo, TRUE);
    cinfo.dct_method = JDCT_ISLOW;
    cinfo.do_fancy_upsampling = fancy;
    jpeg_start_decompress(&cinfo);
    const auto rows = rowsOf(picture);
    while (cinfo.output_scanline < cinfo.output_height)
      jpeg_read_scanlines(&cinfo, const_cast<JSAMPARRAY>(rows.data()) + cinfo.output_scanline,
                          cinfo.output_height - cinfo.output_scanline);
    jpeg_finish_decompress(&cinfo);
  }
};

struct Mode {
  const char* name;
  bool grey;
  sample::Subsampling subsampling;
  int h, v;
};
constexpr Mode kModes[]{{"420", false, sample::Subsampling::k420, 2, 2},
                        {"422", false, sample::Subsampling::k422, 2, 1},
                        {"444", false, sample::Subsampling::k444, 1, 1},
                        {"grey", true, sample::Subsampling::k444, 1, 1}};

void addRaces(const Mode& mode, int quality) {
  const std::string data = "photo-q" + std::to_string(quality);
  const Work encode{"jpeg.codec", std::string("encode-") + mode.name, data, "pixel"};
  const Work decode{"jpeg.codec", std::string("decode-") + mode.name, data, "pixel"};
  const auto sources = std::make_shared<std::vector<Picture>>(pictures(mode.grey));
  const auto targets = std::make_shared<std::vector<Picture>>(*sources);
  const auto files = std::make_shared<Files>();
  const sample::JpegWriteOptions options{quality, mode.subsampling};
  int64_t pixels = 0, bytes = 0;
  for (const Picture& picture : *sources) {
    files->push_back(sample::writeJpeg(picture, options));
    pixels += int64_t{picture.width} * picture.height;
    bytes += static_cast<int64_t>(picture.pixels.size());
  }

  race(encode, "ours", pixels, bytes, [=] {
    for (const Picture& picture : *sources) benchmark::DoNotOptimize(sample::writeJpeg(picture, options).data());
  });
  race(encode, "peer:libjpeg-turbo", pixels, bytes, [=, peer = std::make_shared<PeerEncoder>()] {
    for (Picture& picture : *sources) peer->encode(picture, quality, mode.h, mode.v);
  });
  race(decode, "ours", pixels, bytes, [=] {
    for (size_t i = 0; i < files->size(); ++i) sample::readJpeg((*files)[i], (*targets)[i]);
  });
  const auto peer = std::make_shared<PeerDecoder>();
  race(decode, "peer:libjpeg-turbo", pixels, bytes, [=] {
    for (size_t i = 0; i < files->size(); ++i) peer->decode((*files)[i], (*targets)[i], false);
  });
  if (mode.h == 1) return;
  race(decode, "peer:libjpeg-turbo-fancy", pixels, bytes, [=] {  // chroma smoothed, not replicated
    for (size_t i = 0; i < files->size(); ++i) peer->decode((*files)[i], (*targets)[i], true);
  });
}

const bool kRegistered = [] {
  for (const int quality : {75, 95})
    for (const Mode& mode : kModes) addRaces(mode, quality);
  return true;
}();

}  // namespace
