// Whole JPEG 2000 files of photographs: the sample codec against OpenJPEG and Grok on one thread, with 5 levels and
// code-blocks of 64 x 64: "lossless" by 5/3, and at some rates by 9/7. Decoded are the same files, which OpenJPEG has
// written; all sides give planes of 32-bit samples in memory of their own. Encoded are interleaved pixels in memory,
// for which the peers have to be given an image of their own each time, into files in memory of the same length. By 9/7
// Grok's steps are coarser, so that it has fewer bit planes to code and its pictures are 0.1 to 0.9 dB worse.
#include <memory>
#include <vector>

#include "grok_codec.h"
#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpeg2000/openjpeg_peer.h"
#include "jpeg2000/openjpeg_planes.h"
#include "race.h"

namespace {

using bench::race;
using bench::Work;
using sample::Picture;

std::vector<Picture> pictures() {
  std::vector<Picture> all;
  for (const auto& file : sample::photographs()) all.push_back(sample::readPicture(file));
  if (all.empty()) all.push_back(sample::paintPicture(768, 512));
  return all;
}

sample::OpenjpegImage planesOf(const Picture& picture) {
  sample::OpenjpegImage image{0, 0, picture.width, picture.height, {}};
  for (int32_t c = 0; c < picture.channels; ++c) {
    sample::OpenjpegComponent component;
    component.width = picture.width, component.height = picture.height;
    for (size_t i = static_cast<size_t>(c); i < picture.pixels.size(); i += static_cast<size_t>(picture.channels))
      component.samples.push_back(picture.pixels[i]);
    image.components.push_back(std::move(component));
  }
  return image;
}

struct Files {
  std::vector<std::vector<uint8_t>> all;
  int64_t pixels = 0;

  // Bits a pixel of three components of 8 bits; 0 is lossless.
  Files(const std::vector<Picture>& sources, double rate) {
    for (const Picture& picture : sources) {
      pixels += int64_t{picture.width} * picture.height;
      all.push_back(sample::encodeByOpenjpeg(planesOf(picture), [=](opj_cparameters_t& p) {
        if (rate == 0) return;
        p.irreversible = 1;
        p.tcp_rates[0] = static_cast<float>(8 * picture.channels / rate);
      }));
    }
  }
};

void addDecoding(const std::vector<Picture>& sources, const char* name, double rate) {
  const Work work{"jpeg2000.codec", std::string("decode-") + name, "photo", "pixel"};
  const auto files = std::make_shared<Files>(sources, rate);
  race(work, "ours", files->pixels, 3 * files->pixels, [=] {
    for (const auto& file : files->all)
      benchmark::DoNotOptimize(sample::readJpeg2000Planes(file, {.threads = 1}).planes.data());
  });
  race(work, "peer:OpenJPEG", files->pixels, 3 * files->pixels, [=] {
    for (const auto& file : files->all)
      sample::decodeByOpenjpeg(file, {}, [](const opj_image_t& image) { benchmark::DoNotOptimize(image.comps); });
  });
  race(work, "peer:Grok", files->pixels, 3 * files->pixels, [=] {
    for (const auto& file : files->all)
      bench::grokDecode(file, [](const auto& planes) { benchmark::DoNotOptimize(planes.data()); });
  });
}

// Bits a pixel; 0 is lossless.
void addEncoding(const std::vector<Picture>& sources, const char* name, double rate) {
  const Work work{"jpeg2000.codec", std::string("encode-") + name, "photo", "pixel"};
  sample::Jpeg2000WriteOptions options{.reversible = rate == 0};
  if (rate > 0) options.layers = {{sample::Jpeg2000Layer::By::kBitsPerPixel, rate}};
  std::vector<sample::Picture16> peerSources;
  int64_t pixels = 0;
  for (const Picture& picture : sources) {
    peerSources.push_back(sample::toBits(picture, 8));
    pixels += int64_t{picture.width} * picture.height;
  }
  race(work, "ours", pixels, 3 * pixels, [=] {
    for (const Picture& picture : sources) benchmark::DoNotOptimize(sample::writeJpeg2000(picture, options).data());
  });
  race(work, "peer:OpenJPEG", pixels, 3 * pixels, [=] {
    for (const sample::Picture16& picture : peerSources) {
      sample::OpenjpegOptions peer{.reversible = rate == 0};
      if (rate > 0) peer.layerBytes = {rate * picture.width * picture.height / 8};
      benchmark::DoNotOptimize(sample::openjpegEncode(picture, peer).data());
    }
  });
  race(work, "peer:Grok", pixels, 3 * pixels, [=] {
    for (const Picture& picture : sources) benchmark::DoNotOptimize(bench::grokEncode(picture, rate).data());
  });
}

const bool kRegistered = [] {
  const std::vector<Picture> sources = pictures();
  addDecoding(sources, "lossless", 0);
  addDecoding(sources, "4bpp", 4);
  addDecoding(sources, "1bpp", 1);
  addEncoding(sources, "lossless", 0);
  addEncoding(sources, "4bpp", 4);
  addEncoding(sources, "1bpp", 1);
  return true;
}();

}  // namespace
