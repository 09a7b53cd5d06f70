// By planes of 8-bit samples: inverse transforms, reduced ones as well, upsampling, and colours row of MCUs by row of
// MCUs.
#include <qlmjp.h>

#include <cstring>
#include <utility>

#include "jpeg/jpeg_sink.h"

namespace sample {
namespace {

// A block as side x side samples: the means of groups of its 8 x 8, by the reduced transforms.
void blockToSquare(const int16_t* block, int32_t coded, const uint16_t* quant, int32_t side, uint8_t* samples,
                   int32_t step) {
  switch (side) {
    case 8:
      blockToSamples(block, coded, quant, samples, step);
      break;
    case 4:
      qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(block, samples, step, quant);
      break;
    case 2:
      qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(block, samples, step, quant);
      break;
    default:  // the mean of a block is an eighth of its DC (A.3.3)
      *samples = static_cast<uint8_t>(std::clamp(((block[0] * quant[0] + 4) >> 3) + 128, 0, 255));
  }
}

// Samples on a side of a block of this component. A component with fewer blocks than others keeps more samples of each
// where the picture is reduced, in place of being upsampled.
int32_t squareSide(const JpegFrame& frame, const JpegComponent& c, int32_t scale) {
  int32_t side = 8 / scale;
  while (side < 8 && 2 * side * c.h <= 8 / scale * frame.maxH() && 2 * side * c.v <= 8 / scale * frame.maxV())
    side *= 2;
  return side;
}

// Keeps one row of MCUs in planes of samples and makes pixels of it at its end, while it is in the cache. Triangles of
// two dimensions need the next row first: there the pixels come one row later.
class ByPlane final : public McuSink {
 public:
  ByPlane(const JpegFrame& frame, JpegColour colour, const InverseTables& quant, Upsampling upsampling, int32_t scale,
          Picture& picture)
      : frame_(frame), colour_(colour), quant_(quant), picture_(picture), rows_(frame.mcuHeight() / scale) {
    const int32_t width = frame.mcusWide() * frame.mcuWidth() / scale;
    for (size_t i = 0; i < frame.components.size(); ++i) {
      const JpegComponent& c = frame.components[i];
      sides_[i] = squareSide(frame, c, scale);
      planes_.emplace_back(frame.mcusWide() * c.h * sides_[i], c.v * sides_[i], 1);
    }
    const bool direct = fitPixels(colour, planes_, upsampling == Upsampling::kReplicate);
    for (size_t i = 0; i < planes_.size() && !direct; ++i) {
      const Picture& plane = planes_[i];
      if (plane.width == width && plane.height == rows_) continue;
      full_[i] = Picture(width, rows_, 1);
      const bool halfHigh = 2 * plane.height == rows_;
      if (upsampling == Upsampling::kReplicate || 2 * plane.width != width || (!halfHigh && plane.height != rows_))
        continue;
      triangle_[i] = true;
      tall_[i] = halfHigh;
      late_ |= halfHigh;
    }
    if (late_) held_ = planes_;
  }

  void draw(int32_t, int32_t column, const int16_t* const* blocks, const int32_t* coded) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const JpegComponent& c = frame_.components[i];
      Picture& plane = planes_[i];
      for (int32_t y = 0; y < c.v; ++y)
        for (int32_t x = 0; x < c.h; ++x) {
          uint8_t* samples = plane.row(y * sides_[i]) + ptrdiff_t{column * c.h + x} * sides_[i];
          blockToSquare(*blocks++, coded ? *coded++ : kBlockSize, quant_[i].data(), sides_[i], samples, plane.step());
        }
    }
  }

  void miss(int32_t, int32_t from, int32_t to) override {
    for (size_t i = 0; i < planes_.size(); ++i) {
      const int32_t width = frame_.components[i].h * sides_[i];
      for (int32_t y = 0; y < planes_[i].height; ++y)
        std::memset(planes_[i].row(y) + ptrdiff_t{from} * width, 128, static_cast<size_t>(to - from) * size_t(width));
    }
  }

  void endRow(int32_t row) override {
    const bool last = row == frame_.mcusHigh() - 1;
    if (!late_) return toPixels(planes_, row);
    if (row > 0) {
      setBelow(planes_);
      toPixels(held_, row - 1);
    }
    for (size_t i = 0; i < planes_.size(); ++i) {
      if (row == 0)
        above_[i].assign(planes_[i].row(0), planes_[i].row(1));
      else
        above_[i].assign(held_[i].row(held_[i].height - 1), held_[i].row(held_[i].height));
    }
    std::swap(planes_, held_);
    if (!last) return;
    below_ = {};
    toPixels(held_, row);
  }

 private:
  void setBelow(const Planes& next) {
    for (size_t i = 0; i < next.size(); ++i) below_[i] = next[i].row(0);
  }

  void toPixels(const Planes& planes, int32_t row) {
    std::array<const Picture*, 4> whole{};
    const int32_t height = std::min(rows_, picture_.height - row * rows_);
    for (size_t i = 0; i < planes.size(); ++i) {
      const Picture& plane = planes[i];
      if (full_[i].width == 0) {
        whole[i] = &plane;
        continue;
      }
      whole[i] = &full_[i];
      if (triangle_[i]) {
        const int32_t rows = tall_[i] ? (height + 1) / 2 : height;
        // At the lower edge the last row with pixels is its own neighbour.
        const uint8_t* below = below_[i] && rows == plane.height ? below_[i] : plane.row(rows - 1);
        upsampleTriangle(plane, (picture_.width + 1) / 2, rows, tall_[i], above_[i].data(), below, full_[i]);
      } else {
        upsampleReplicate(plane, full_[i]);
      }
    }
    planesToPixels(colour_, whole, picture_.row(row * rows_), picture_.step(), picture_.width, height);
  }

  const JpegFrame& frame_;
  const JpegColour colour_;
  const InverseTables quant_;
  Picture& picture_;
  const int32_t rows_;  // of pixels, in a row of MCUs
  std::array<int32_t, 4> sides_{};
  Planes planes_, held_;         // the row of MCUs that is being drawn, and the one before it where pixels come late
  std::array<Picture, 4> full_;  // upsampled planes, where they are
  std::array<bool, 4> triangle_{}, tall_{};
  bool late_ = false;                          // triangles of two dimensions
  std::array<std::vector<uint8_t>, 4> above_;  // the last row of the row of MCUs before
  std::array<const uint8_t*, 4> below_{};      // the first row of the row of MCUs behind; null at the end
};

}  // namespace

std::unique_ptr<McuSink> sinkByPlane(const JpegFrame& frame, JpegColour colour, const InverseTables& quant,
                                     Upsampling upsampling, int32_t scale, Picture& picture) {
  return std::make_unique<ByPlane>(frame, colour, quant, upsampling, scale, picture);
}

}  // namespace sample
