// Any bytes through the DDS reader: a texture or a DdsError. A texture must survive our writer under both headers, and
// each of its levels decodes. The seed corpus is corpus/dds_read.
#include "fuzz_input.h"
#include "texture/texture_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An allocation of its own size, so that a read behind it is found.
  const std::vector<uint8_t> file(data, data + size);
  try {
    const sample::Texture texture = sample::readDds(file);
    for (const sample::DdsHeader header : {sample::DdsHeader::kFourCc, sample::DdsHeader::kDx10})
      FUZZ_REQUIRE(sample::readDds(sample::writeDds(texture, header)) == texture);
    for (size_t i = 0; i < texture.levels.size(); ++i) {
      const sample::Picture picture = sample::decodeTexture(texture, i);
      FUZZ_REQUIRE(picture.width == texture.levels[i].width && picture.height == texture.levels[i].height);
    }
  } catch (const sample::DdsError&) {
  }
  return 0;
}
