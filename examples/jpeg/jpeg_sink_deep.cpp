// 12 bits a sample: the inverse transform of the library, and colours in plain arithmetic.
#include <qlmjp.h>

#include "jpeg/jpeg_deep.h"
#include "jpeg/jpeg_sink.h"

namespace sample {
namespace {

constexpr int32_t kBits = 12;
constexpr uint16_t kMiddle = 1 << (kBits - 1);

// One row of MCUs in planes of samples, and pixels at its end.
class Deep final : public McuSink {
 public:
  Deep(const JpegFrame& frame, JpegColour colour, const InverseTables& quant, Picture16& picture)
      : frame_(frame), colour_(colour), picture_(picture) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const JpegComponent& c = frame.components[i];
      planes_.emplace_back(8 * c.h * frame.mcusWide(), 8 * c.v, 1, kBits);
      std::ranges::copy(quant[i], quant_[i].begin());
    }
  }

  void draw(int32_t, int32_t column, const int16_t* const* blocks, const int32_t*) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const JpegComponent& c = frame_.components[i];
      for (int32_t y = 0; y < c.v; ++y)
        for (int32_t x = 0; x < c.h; ++x)
          qlmiDCTQuantInv8x8LS_JPEG_16s16u_C1R(*blocks++, planes_[i].row(8 * y) + ptrdiff_t{8} * (column * c.h + x),
                                               planes_[i].step(), quant_[i].data());
    }
  }

  void miss(int32_t, int32_t from, int32_t to) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const int32_t width = 8 * frame_.components[i].h;
      for (int32_t y = 0; y < planes_[i].height; ++y)
        std::fill_n(planes_[i].row(y) + ptrdiff_t{from} * width, (to - from) * width, kMiddle);
    }
  }

  void endRow(int32_t row) override {
    const int32_t top = row * frame_.mcuHeight(), maxH = frame_.maxH(), maxV = frame_.maxV();
    const auto channels = static_cast<size_t>(picture_.channels);
    for (int32_t y = 0; y < std::min(frame_.mcuHeight(), picture_.height - top); ++y) {
      const std::span pixels(picture_.row(top + y), static_cast<size_t>(picture_.width) * channels);
      for (size_t i = 0; i < channels; ++i) {
        const JpegComponent& c = frame_.components[i];
        const uint16_t* from = planes_[i].row(y * c.v / maxV);
        for (int32_t x = 0; x < picture_.width; ++x)
          pixels[static_cast<size_t>(x) * channels + i] = from[x * c.h / maxH];
      }
      componentsToPixels(colour_, pixels, kBits);
    }
  }

 private:
  const JpegFrame& frame_;
  const JpegColour colour_;
  Picture16& picture_;
  std::array<std::array<float, kBlockSize>, 4> quant_{};
  std::vector<Picture16> planes_;
};

}  // namespace

std::unique_ptr<McuSink> sinkDeep(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                  Picture16& picture) {
  return std::make_unique<Deep>(frame, colour, quant, picture);
}

}  // namespace sample
