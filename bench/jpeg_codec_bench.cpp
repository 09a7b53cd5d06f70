// Whole JPEG files: pictures to files and back, the sample codec against libjpeg-turbo with the same quality, the same
// subsampling, the same scans and its accurate integer DCT; progressive files have optimised tables on both sides. Both
// sides keep their output memory from round to round.
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

std::vector<Picture> pictures(int32_t channels) {
  static const std::vector<Picture> colour = colourPictures();
  std::vector<Picture> all = colour;
  for (Picture& picture : all) {
    if (channels == 1) picture = sample::toGrey(picture);
    if (channels == 4) picture = sample::toCmyk(picture);
  }
  return all;
}

std::vector<uint8_t*> rowsOf(Picture& picture) {
  std::vector<uint8_t*> rows(static_cast<size_t>(picture.height));
  for (int32_t y = 0; y < picture.height; ++y) rows[static_cast<size_t>(y)] = picture.row(y);
  return rows;
}

struct Mode {
  const char* name;
  int32_t channels;
  sample::Subsampling subsampling;
  int h, v;
  sample::JpegBy by = sample::JpegBy::kMcu;
  sample::JpegProcess process = sample::JpegProcess::kSequential;
  bool optimise = false;
  J_COLOR_SPACE stored = JCS_YCbCr;
};

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

  size_t encode(Picture& picture, int quality, const Mode& mode) {
    unsigned char* bytes = room.data();
    unsigned long size = room.size();
    jpeg_mem_dest(&cinfo, &bytes, &size);
    cinfo.image_width = static_cast<JDIMENSION>(picture.width);
    cinfo.image_height = static_cast<JDIMENSION>(picture.height);
    cinfo.input_components = picture.channels;
    cinfo.in_color_space = picture.channels == 1 ? JCS_GRAYSCALE : picture.channels == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&cinfo);
    if (picture.channels == 4) jpeg_set_colorspace(&cinfo, mode.stored);
    cinfo.dct_method = JDCT_ISLOW;
    cinfo.optimize_coding = mode.optimise;
    jpeg_set_quality(&cinfo, quality, TRUE);
    for (const int luma : {0, 3}) {
      if (luma >= cinfo.num_components) break;
      cinfo.comp_info[luma].h_samp_factor = mode.h;
      cinfo.comp_info[luma].v_samp_factor = mode.v;
    }
    cinfo.num_scans = 0, cinfo.scan_info = nullptr;
    if (mode.process == sample::JpegProcess::kProgressive) jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    const auto rows = rowsOf(picture);
    jpeg_write_scanlines(&cinfo, const_cast<JSAMPARRAY>(rows.data()), cinfo.image_height);
    jpeg_finish_compress(&cinfo);
    return size;
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
    cinfo.do_block_smoothing = FALSE;  // of files whose scans are cut short
    jpeg_start_decompress(&cinfo);
    const auto rows = rowsOf(picture);
    while (cinfo.output_scanline < cinfo.output_height)
      jpeg_read_scanlines(&cinfo, const_cast<JSAMPARRAY>(rows.data()) + cinfo.output_scanline,
                          cinfo.output_height - cinfo.output_scanline);
    jpeg_finish_decompress(&cinfo);
  }
};

using sample::JpegBy, sample::JpegProcess, sample::Subsampling;
constexpr Mode kModes[]{{"420", 3, Subsampling::k420, 2, 2},
                        {"422", 3, Subsampling::k422, 2, 1},
                        {"444", 3, Subsampling::k444, 1, 1},
                        {"grey", 1, Subsampling::k444, 1, 1}};
constexpr Mode kOtherModes[]{
    {"420-progressive", 3, Subsampling::k420, 2, 2, JpegBy::kMcu, JpegProcess::kProgressive, true},
    {"444-progressive", 3, Subsampling::k444, 1, 1, JpegBy::kMcu, JpegProcess::kProgressive, true},
    {"grey-progressive", 1, Subsampling::k444, 1, 1, JpegBy::kMcu, JpegProcess::kProgressive, true},
    {"420-optimised", 3, Subsampling::k420, 2, 2, JpegBy::kMcu, JpegProcess::kSequential, true},
    {"420-planes", 3, Subsampling::k420, 2, 2, JpegBy::kPlane},
    {"444-planes", 3, Subsampling::k444, 1, 1, JpegBy::kPlane},
    {"cmyk", 4, Subsampling::k444, 1, 1, JpegBy::kMcu, JpegProcess::kSequential, false, JCS_CMYK},
    {"ycck-420", 4, Subsampling::k420, 2, 2, JpegBy::kMcu, JpegProcess::kSequential, false, JCS_YCCK}};

void addRaces(const Mode& mode, int quality) {
  const std::string data = "photo-q" + std::to_string(quality);
  const Work encode{"jpeg.codec", std::string("encode-") + mode.name, data, "pixel"};
  const Work decode{"jpeg.codec", std::string("decode-") + mode.name, data, "pixel"};
  const auto sources = std::make_shared<std::vector<Picture>>(pictures(mode.channels));
  const auto targets = std::make_shared<std::vector<Picture>>(*sources);
  const auto files = std::make_shared<Files>();
  sample::JpegWriteOptions options{.quality = quality, .subsampling = mode.subsampling, .by = mode.by};
  if (mode.channels == 4)
    options.colour = mode.stored == JCS_CMYK ? sample::JpegColour::kCmyk : sample::JpegColour::kYcck;
  options.coding.process = mode.process;
  options.coding.optimise = mode.optimise;
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
    for (Picture& picture : *sources) benchmark::DoNotOptimize(peer->encode(picture, quality, mode));
  });
  const sample::JpegReadOptions reading{.by = mode.by};
  race(decode, "ours", pixels, bytes, [=] {
    for (size_t i = 0; i < files->size(); ++i) sample::readJpeg((*files)[i], (*targets)[i], reading);
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

// Triangles against triangles.
void addTriangles() {
  const Work decode{"jpeg.codec", "decode-420-triangles", "photo-q85", "pixel"};
  const auto targets = std::make_shared<std::vector<Picture>>(pictures(3));
  const auto files = std::make_shared<Files>();
  int64_t pixels = 0;
  for (const Picture& picture : *targets) {
    files->push_back(sample::writeJpeg(picture, {.quality = 85}));
    pixels += int64_t{picture.width} * picture.height;
  }
  race(decode, "ours", pixels, 3 * pixels, [=] {
    for (size_t i = 0; i < files->size(); ++i)
      sample::readJpeg((*files)[i], (*targets)[i], {.upsampling = sample::Upsampling::kTriangle});
  });
  race(decode, "peer:libjpeg-turbo", pixels, 3 * pixels, [=, peer = std::make_shared<PeerDecoder>()] {
    for (size_t i = 0; i < files->size(); ++i) peer->decode((*files)[i], (*targets)[i], true);
  });
}

const bool kRegistered = [] {
  for (const int quality : {75, 95})
    for (const Mode& mode : kModes) addRaces(mode, quality);
  for (const Mode& mode : kOtherModes) addRaces(mode, 85);
  addTriangles();
  return true;
}();

}  // namespace
