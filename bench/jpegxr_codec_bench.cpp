// Whole JPEG XR files: pictures to files and back, the sample codec against jxrlib's glue library with the same
// quantisers, chroma and overlap filters, in spatial layout: the packets are the same to the bit. Both sides keep their
// output memory from round to round.
#include <cstdio>
#include <memory>

#include "jpegxr/jxr_reader.h"
#include "jpegxr/jxr_writer.h"
#include "jxrlib_codec.h"
#include "race.h"

namespace {

using bench::race;
using bench::Work;
using sample::JxrComponents;
using sample::JxrOverlap;
using sample::Picture;

std::vector<Picture> pictures(int32_t channels) {
  std::vector<Picture> all;
  for (const auto& file : sample::photographs()) all.push_back(sample::readPicture(file));
  if (all.empty()) all.push_back(sample::paintPicture(768, 512));
  if (channels == 1)
    for (Picture& picture : all) picture = sample::toGrey(picture);
  return all;
}

struct Mode {
  const char* name;
  JxrComponents components;
  JxrOverlap overlap;
};
constexpr Mode kModes[] = {{"444", JxrComponents::k444, JxrOverlap::kNone},
                           {"444-overlap", JxrComponents::k444, JxrOverlap::kOne},
                           {"420-overlap", JxrComponents::k420, JxrOverlap::kTwo},
                           {"grey", JxrComponents::kY, JxrOverlap::kNone}};
constexpr uint8_t kQuantisers[] = {0, 32, 64};

void addRaces(const Mode& mode, uint8_t quantiser) {
  const std::string data = quantiser == 0 ? "photo-lossless" : "photo-quantiser" + std::to_string(quantiser);
  const Work encode{"jpegxr.codec", std::string("encode-") + mode.name, data, "pixel"};
  const Work decode{"jpegxr.codec", std::string("decode-") + mode.name, data, "pixel"};
  const auto sources = std::make_shared<std::vector<Picture>>(pictures(mode.components == JxrComponents::kY ? 1 : 3));
  const auto targets = std::make_shared<std::vector<Picture>>(*sources);
  const auto files = std::make_shared<std::vector<std::vector<uint8_t>>>();
  sample::JxrWriteOptions options{.components = mode.components, .overlap = mode.overlap};
  options.quantisers.emplace().fill({quantiser, quantiser, quantiser});
  const bench::JxrlibOptions peerOptions{int(mode.components), int(mode.overlap), quantiser == 0 ? 1 : quantiser};
  int64_t pixels = 0, bytes = 0;
  for (const Picture& picture : *sources) {
    files->push_back(sample::writeJxr(picture, options));
    pixels += int64_t{picture.width} * picture.height;
    bytes += static_cast<int64_t>(picture.pixels.size());
  }

  race(encode, "ours", pixels, bytes, [=] {
    for (const Picture& picture : *sources) benchmark::DoNotOptimize(sample::writeJxr(picture, options).data());
  });
  race(encode, "peer:jxrlib", pixels, bytes, [=, room = std::vector<uint8_t>(size_t{4} << 20)]() mutable {
    for (const Picture& picture : *sources) benchmark::DoNotOptimize(bench::jxrlibEncode(picture, peerOptions, room));
  });
  race(decode, "ours", pixels, bytes, [=] {
    for (size_t i = 0; i < files->size(); ++i) sample::readJxr((*files)[i], (*targets)[i]);
  });
  race(decode, "peer:jxrlib", pixels, bytes, [=] {
    for (size_t i = 0; i < files->size(); ++i) bench::jxrlibDecode((*files)[i], (*targets)[i]);
  });
}

const bool kRegistered = [] {
  for (const Mode& mode : kModes)
    for (const uint8_t quantiser : kQuantisers) addRaces(mode, quantiser);
  return true;
}();

}  // namespace
