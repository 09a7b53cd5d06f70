// Any bytes through the JPEG 2000 reader: planes of the sizes that they claim and samples in their range, the same on
// one thread and on two, or a Jpeg2000Error. The first two bytes choose levels to discard and layers. The seed corpus
// is corpus/jpeg2000_read.
#include "jpeg2000/jpeg2000_reader.h"

#include "fuzz_input.h"

namespace {

constexpr int64_t kMostSamples = 1 << 18;

sample::Jpeg2000Image read(const std::vector<uint8_t>& file, int32_t discardLevels, int32_t layers, int32_t threads) {
  return sample::readJpeg2000Planes(file, {.discardLevels = discardLevels,
                                           .layers = layers,
                                           .threads = threads,
                                           .mostSamples = kMostSamples >> 2 * discardLevels});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const int32_t discardLevels = in.byte() % 4, layers = in.byte() % 4;
  const std::vector<uint8_t> file = in.rest();
  try {
    const sample::Jpeg2000Image image = read(file, discardLevels, layers, 1);
    for (const sample::Jpeg2000Plane& plane : image.planes) {
      FUZZ_REQUIRE(plane.samples.size() == static_cast<size_t>(plane.width) * static_cast<size_t>(plane.height));
      const int32_t least = plane.isSigned ? -(1 << (plane.bits - 1)) : 0, most = least + (1 << plane.bits) - 1;
      for (const int32_t v : plane.samples) FUZZ_REQUIRE(v >= least && v <= most);
    }
    const sample::AnyPicture picture = sample::toPicture(image);
    FUZZ_REQUIRE(std::visit([](const auto& p) { return p.width > 0 && p.height > 0; }, picture));
    const sample::Jpeg2000Image again = read(file, discardLevels, layers, 2);
    for (size_t c = 0; c < image.planes.size(); ++c) FUZZ_REQUIRE(again.planes[c].samples == image.planes[c].samples);
  } catch (const sample::Jpeg2000Error&) {
  }
  return 0;
}
