// 12 bits a sample: colours in plain arithmetic, and the forward transform of the library.
#include <qlmjp.h>

#include "jpeg/jpeg_deep.h"
#include "jpeg/jpeg_headers.h"
#include "jpeg/jpeg_source.h"

namespace sample {
namespace {

using FloatTable = std::array<float, kBlockSize>;

FloatTable reciprocals(const QuantTable& quant) {
  FloatTable table;
  std::ranges::transform(inverseTable(quant), table.begin(), [](uint16_t q) { return 1.0f / static_cast<float>(q); });
  return table;
}

// One row of MCUs as planes of samples. Subsampled components hold the means of their pixels.
class Deep final : public McuSource {
 public:
  Deep(const Picture16& picture, const JpegFrame& frame, JpegColour colour, const QuantTables& quant)
      : picture_(picture), frame_(frame), colour_(colour) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const JpegComponent& c = frame.components[i];
      planes_.emplace_back(8 * c.h * frame.mcusWide(), 8 * c.v, 1, frame.precision);
      multipliers_.push_back(reciprocals(quant[i]));
    }
  }

  void startRow(int32_t row) override {
    const auto channels = static_cast<size_t>(picture_.channels);
    const int32_t height = frame_.mcuHeight(), width = frame_.mcusWide() * frame_.mcuWidth();
    std::vector<std::vector<uint16_t>> components;  // rows of interleaved samples
    for (int32_t y = 0; y < height; ++y) {
      const uint16_t* from = picture_.row(std::min(row * height + y, picture_.height - 1));
      auto& to = components.emplace_back(from, from + channels * static_cast<size_t>(picture_.width));
      pixelsToComponents(colour_, to, picture_.bits);
      for (int32_t x = picture_.width; x < width; ++x)
        for (size_t c = 0; c < channels; ++c) to.push_back(to[to.size() - channels]);
    }
    for (size_t i = 0; i < channels; ++i) {
      const int32_t h = frame_.maxH() / frame_.components[i].h, v = frame_.maxV() / frame_.components[i].v;
      for (int32_t y = 0; y < planes_[i].height; ++y)
        for (int32_t x = 0; x < planes_[i].width; ++x) {
          int32_t sum = h * v / 2;
          for (int32_t k = 0; k < h * v; ++k) {
            const int32_t line = y * v + k / h, column = x * h + k % h;
            sum += components[static_cast<size_t>(line)][static_cast<size_t>(column) * channels + i];
          }
          planes_[i].row(y)[x] = static_cast<uint16_t>(sum / (h * v));
        }
    }
  }

  void transform(int32_t column, int16_t* const* blocks) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const JpegComponent& c = frame_.components[i];
      for (int32_t y = 0; y < c.v; ++y)
        for (int32_t x = 0; x < c.h; ++x)
          qlmiDCTQuantFwd8x8LS_JPEG_16u16s_C1R(planes_[i].row(8 * y) + ptrdiff_t{8} * (column * c.h + x),
                                               planes_[i].step(), *blocks++, multipliers_[i].data());
    }
  }

 private:
  const Picture16& picture_;
  const JpegFrame& frame_;
  const JpegColour colour_;
  std::vector<FloatTable> multipliers_;
  std::vector<Picture16> planes_;
};

}  // namespace

std::unique_ptr<McuSource> makeSource(const Picture16& picture, const JpegFrame& frame, JpegColour colour,
                                      const QuantTables& quant) {
  return std::make_unique<Deep>(picture, frame, colour, quant);
}

}  // namespace sample
