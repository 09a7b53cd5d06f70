// MCU by MCU: inverse transforms to blocks of 16-bit samples, and these to pixels by the MCU functions of the library.
#include <qlmjp.h>

#include <cstring>

#include "jpeg/jpeg_sink.h"

namespace sample {
namespace {

constexpr int32_t kMaxSide = 32;  // of an MCU in pixels

// Samples of 8 x 8 to interleaved pixels.
template <size_t kChannels>
void interleave(const uint8_t (&samples)[4][kBlockSize], uint8_t* pixels, int32_t step) {
  for (ptrdiff_t y = 0; y < 8; ++y) {
    uint8_t* to = pixels + step * y;
    for (size_t x = 0; x < 8; ++x)
      for (size_t c = 0; c < kChannels; ++c) to[kChannels * x + c] = samples[c][8 * static_cast<size_t>(y) + x];
  }
}

// One 8 x 8 block a component to pixels, which need no conversion.
QlmStatus cmykToPixels(const int16_t* const* src, uint8_t* dst, int32_t dstStep) {
  uint8_t samples[4][kBlockSize];
  for (int32_t c = 0; c < 4; ++c) qlmiAdd128_JPEG_16s8u_C1R(src[c], 16, samples[c], 8, {8, 8});
  interleave<4>(samples, dst, dstStep);
  return qlmOk;
}

// The conversions of the library for the usual sampling factors: 1 for chroma, h and v for everything else.
struct ColourForm {
  JpegColour colour;
  int32_t h, v;
  QlmStatus (*toPixels)(const int16_t* const* src, uint8_t* dst, int32_t dstStep);
};
constexpr ColourForm kColourForms[]{{JpegColour::kYCbCr, 1, 1, qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYCbCr, 2, 1, qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYCbCr, 2, 2, qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYcck, 1, 1, qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kYcck, 2, 1, qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kYcck, 2, 2, qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kRgb, 1, 1, qlmiSampleUp444LS_MCU_16s8u_P3C3R},
                                    {JpegColour::kCmyk, 1, 1, cmykToPixels}};

const ColourForm* findForm(JpegColour colour, int32_t h, int32_t v) {
  const auto found = std::ranges::find_if(
      kColourForms, [&](const ColourForm& form) { return form.colour == colour && form.h == h && form.v == v; });
  return found == std::end(kColourForms) ? nullptr : found;
}

// Null where the sampling factors are unusual.
const ColourForm* findForm(const JpegFrame& frame, JpegColour colour) {
  const int32_t h = frame.components[0].h, v = frame.components[0].v;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    if (isChroma(colour, i) ? c.blocks() != 1 : c.h != h || c.v != v) return nullptr;
  }
  return findForm(colour, h, v);
}

class ByMcu final : public McuSink {
 public:
  ByMcu(const JpegFrame& frame, JpegColour colour, const InverseTables& quant, Picture& picture)
      : frame_(frame),
        quant_(quant),
        picture_(picture),
        width_(frame.mcuWidth()),
        height_(frame.mcuHeight()),
        whole_(findForm(frame, colour)),
        byBlock_(findForm(colour, 1, 1)),
        cmyk_(colour == JpegColour::kCmyk && whole_) {
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const JpegComponent& c = frame.components[i];
      first_[i] = spatial_ + ptrdiff_t{kBlockSize} * static_cast<ptrdiff_t>(tables_.size());
      tables_.insert(tables_.end(), static_cast<size_t>(c.blocks()), quant_[i].data());
    }
  }

  void draw(int32_t row, int32_t column, const int16_t* const* blocks, const int32_t* coded) override {
    if (frame_.components.size() == 1) {
      drawTile(row, column, [&](uint8_t* pixels, int32_t step) {
        blockToSamples(blocks[0], coded ? coded[0] : kBlockSize, tables_[0], pixels, step);
      });
      return;
    }
    if (cmyk_) {  // what cmykToPixels() gives, without a detour by 16-bit samples
      uint8_t samples8[4][kBlockSize];
      for (size_t i = 0; i < 4; ++i)
        blockToSamples(blocks[i], coded ? coded[i] : kBlockSize, tables_[i], samples8[i], 8);
      drawTile(row, column, [&](uint8_t* pixels, int32_t step) { interleave<4>(samples8, pixels, step); });
      return;
    }
    int16_t* samples = spatial_;
    for (size_t i = 0; i < tables_.size(); ++i, samples += kBlockSize)
      qlmiDCTQuantInv8x8_JPEG_16s_C1(blocks[i], samples, tables_[i]);
    drawTile(row, column, [&](uint8_t* pixels, int32_t step) {
      if (whole_)
        whole_->toPixels(first_, pixels, step);
      else
        drawUnusual(pixels, step);
    });
  }

  void miss(int32_t row, int32_t from, int32_t to) override {
    const int32_t left = from * width_, right = std::min(to * width_, picture_.width);
    const int32_t bottom = std::min((row + 1) * height_, picture_.height);
    for (int32_t y = row * height_; y < bottom; ++y)
      std::memset(picture_.row(y) + ptrdiff_t{left} * picture_.channels, 128,
                  static_cast<size_t>(right - left) * static_cast<size_t>(picture_.channels));
  }

  void endRow(int32_t) override {}

 private:
  // Has paint(pixels, step) fill the tile of an MCU: in the picture where the tile lies inside, else in a spare, of
  // which the part inside is copied.
  template <typename Paint>
  void drawTile(int32_t row, int32_t column, Paint paint) {
    const ptrdiff_t channels = picture_.channels;
    const int32_t x = column * width_, y = row * height_;
    const int32_t insideX = std::min(width_, picture_.width - x), insideY = std::min(height_, picture_.height - y);
    uint8_t* pixels = picture_.row(y) + x * channels;
    if (insideX == width_ && insideY == height_) {
      paint(pixels, picture_.step());
      return;
    }
    uint8_t spare[kMaxSide * kMaxSide * 4];
    const auto step = static_cast<int32_t>(width_ * channels);
    paint(spare, step);
    for (int32_t i = 0; i < insideY; ++i)
      std::memcpy(pixels + ptrdiff_t{i} * picture_.step(), spare + ptrdiff_t{i} * step,
                  static_cast<size_t>(insideX * channels));
  }

  // Sampling factors for which the library has no form: 8 x 8 pixels at a time, each sample repeated.
  void drawUnusual(uint8_t* pixels, int32_t step) const {
    int16_t samples[4][kBlockSize];
    const int16_t* const from[]{samples[0], samples[1], samples[2], samples[3]};
    for (int32_t y = 0; y < height_; y += 8)
      for (int32_t x = 0; x < width_; x += 8) {
        for (size_t i = 0; i < frame_.components.size(); ++i) {
          const JpegComponent& c = frame_.components[i];
          for (int32_t k = 0; k < kBlockSize; ++k) {
            const int32_t column = (x + k % 8) * 8 * c.h / width_, row = (y + k / 8) * 8 * c.v / height_;
            samples[i][k] = first_[i][kBlockSize * (row / 8 * c.h + column / 8) + 8 * (row % 8) + column % 8];
          }
        }
        byBlock_->toPixels(from, pixels + ptrdiff_t{y} * step + ptrdiff_t{x} * picture_.channels, step);
      }
  }

  const JpegFrame& frame_;
  const InverseTables quant_;
  Picture& picture_;
  const int32_t width_, height_;        // of an MCU
  const ColourForm *whole_, *byBlock_;  // of an MCU, if there is one, and of one block a component
  const bool cmyk_;
  alignas(32) int16_t spatial_[kMaxBlocks * kBlockSize];
  const int16_t* first_[4]{};            // by component: its first block
  std::vector<const uint16_t*> tables_;  // by block
};

}  // namespace

std::unique_ptr<McuSink> sinkByMcu(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                   Picture& picture) {
  return std::make_unique<ByMcu>(frame, colour, quant, picture);
}

void blockToSamples(const int16_t* block, int32_t coded, const uint16_t* quant, uint8_t* samples, int32_t step) {
  if (coded <= 3)
    qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(block, samples, step, quant);
  else if (coded <= 10)
    qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(block, samples, step, quant);
  else
    qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, samples, step, quant);
}

}  // namespace sample
