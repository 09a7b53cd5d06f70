// 8 bits a sample: by MCUs, through blocks of 16-bit samples, or by planes of 8-bit samples.
#include "jpeg/jpeg_source.h"

#include <qlmjp.h>

#include <cstring>

#include "jpeg/jpeg_planes.h"

namespace sample {
namespace {

using ForwardTable = std::array<uint16_t, kBlockSize>;

ForwardTable forwardTable(const QuantTable& quant) {
  std::array<uint8_t, kBlockSize> raw;
  std::ranges::transform(quant, raw.begin(), [](uint16_t q) { return static_cast<uint8_t>(q); });
  ForwardTable table;
  qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), table.data());
  return table;
}

// A rectangle of pixels: in the picture where it lies inside, else a copy in which the last column and row go on.
struct Tile {
  const uint8_t* pixels;
  int32_t step;
};

Tile tileAt(const Picture& picture, int32_t x, int32_t y, int32_t width, int32_t height, std::vector<uint8_t>& padded) {
  const ptrdiff_t channels = picture.channels;
  if (x + width <= picture.width && y + height <= picture.height)
    return {picture.row(y) + x * channels, picture.step()};
  const auto pixel = static_cast<size_t>(channels);
  const int32_t inside = std::min(width, picture.width - x);
  const auto step = static_cast<int32_t>(width * channels);
  padded.resize(static_cast<size_t>(step) * static_cast<size_t>(height));
  for (int32_t row = 0; row < height; ++row) {
    const uint8_t* from = picture.row(std::min(y + row, picture.height - 1)) + x * channels;
    uint8_t* to = padded.data() + ptrdiff_t{row} * step;
    std::memcpy(to, from, static_cast<size_t>(inside) * pixel);
    for (int32_t column = inside; column < width; ++column)
      std::memcpy(to + column * channels, from + (inside - 1) * channels, pixel);
  }
  return {padded.data(), step};
}

// The conversions of the library from the pixels of one MCU to level-shifted blocks, by colour and sampling factors of
// all components but chroma. Grey and CMYK need none.
struct ColourForm {
  JpegColour colour;
  int32_t h, v;
  QlmStatus (*toBlocks)(const uint8_t* src, int32_t srcStep, int16_t* const* dst);
};
constexpr ColourForm kColourForms[]{{JpegColour::kYCbCr, 1, 1, qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYCbCr, 2, 1, qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYCbCr, 2, 2, qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYcck, 1, 1, qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kYcck, 2, 1, qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kYcck, 2, 2, qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kRgb, 1, 1, qlmiSampleDown444LS_MCU_8u16s_C3P3R}};

const ColourForm* findForm(JpegColour colour, const JpegFrame& frame) {
  const auto found = std::ranges::find_if(kColourForms, [&](const ColourForm& form) {
    return form.colour == colour && form.h == frame.maxH() && form.v == frame.maxV();
  });
  return found == std::end(kColourForms) ? nullptr : found;
}

class ByMcu final : public McuSource {
 public:
  ByMcu(const Picture& picture, const JpegFrame& frame, const QuantTables& quant, const ColourForm& form)
      : picture_(picture), width_(frame.mcuWidth()), height_(frame.mcuHeight()), form_(form) {
    for (size_t c = 0; c < frame.components.size(); ++c) {
      first_[c] = samples_ + ptrdiff_t{kBlockSize} * static_cast<ptrdiff_t>(tables_.size());
      tables_.insert(tables_.end(), static_cast<size_t>(frame.components[c].blocks()),
                     (forward_[c] = forwardTable(quant[c])).data());
    }
  }

  void startRow(int32_t row) override { y_ = row * height_; }

  void transform(int32_t column, int16_t* const* blocks) override {
    const Tile source = tileAt(picture_, column * width_, y_, width_, height_, padded_);
    form_.toBlocks(source.pixels, source.step, first_);
    const int16_t* samples = samples_;
    for (size_t i = 0; i < tables_.size(); ++i, samples += kBlockSize)
      qlmiDCTQuantFwd8x8_JPEG_16s_C1(samples, blocks[i], tables_[i]);
  }

 private:
  const Picture& picture_;
  const int32_t width_, height_;  // of an MCU
  const ColourForm& form_;
  int32_t y_ = 0;
  std::array<ForwardTable, 4> forward_;
  std::vector<const uint16_t*> tables_;  // by block
  alignas(32) int16_t samples_[kMaxBlocksInMcu * kBlockSize];
  int16_t* first_[4]{};  // by component: its first block
  std::vector<uint8_t> padded_;
};

// A row of MCUs at a time: pixels to planes, and the blocks transformed out of them. A grey picture is its own plane.
class ByPlane final : public McuSource {
 public:
  ByPlane(const Picture& picture, const JpegFrame& frame, JpegColour colour, const QuantTables& quant)
      : picture_(picture), frame_(frame), colour_(colour) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const JpegComponent& c = frame.components[i];
      planes_.emplace_back(colour == JpegColour::kGrey ? 0 : 8 * c.h * frame.mcusWide(), 8 * c.v, 1);
      forward_.push_back(forwardTable(quant[i]));
    }
  }

  void startRow(int32_t row) override {
    const int32_t width = frame_.mcusWide() * frame_.mcuWidth(), height = frame_.mcuHeight();
    grey_ = tileAt(picture_, 0, row * height, width, height, padded_);
    if (colour_ != JpegColour::kGrey) pixelsToPlanes(colour_, grey_.pixels, grey_.step, planes_);
  }

  void transform(int32_t column, int16_t* const* blocks) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const JpegComponent& c = frame_.components[i];
      const Tile plane = colour_ == JpegColour::kGrey ? grey_ : Tile{planes_[i].row(0), planes_[i].step()};
      for (int32_t y = 0; y < c.v; ++y)
        for (int32_t x = 0; x < c.h; ++x)
          qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(
              plane.pixels + ptrdiff_t{8} * y * plane.step + ptrdiff_t{8} * (column * c.h + x), plane.step, *blocks++,
              forward_[i].data());
    }
  }

 private:
  const Picture& picture_;
  const JpegFrame& frame_;
  const JpegColour colour_;
  std::vector<ForwardTable> forward_;
  Planes planes_;
  Tile grey_{};
  std::vector<uint8_t> padded_;
};

}  // namespace

std::unique_ptr<McuSource> makeSource(const Picture& picture, const JpegFrame& frame, JpegColour colour,
                                      const QuantTables& quant, JpegBy by) {
  const ColourForm* form = by == JpegBy::kMcu ? findForm(colour, frame) : nullptr;
  if (form) return std::make_unique<ByMcu>(picture, frame, quant, *form);
  return std::make_unique<ByPlane>(picture, frame, colour, quant);
}

}  // namespace sample
