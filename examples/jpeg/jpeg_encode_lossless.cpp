// Samples to one lossless scan (T.81 H.1): rows of differences to predicted samples, gone through once to count their
// categories and once to code them.
#include "jpeg/jpeg_encode.h"
#include "jpeg/jpeg_predict.h"

namespace sample {
namespace {

using Row = std::vector<int16_t>;
using Statistics = std::array<int32_t, 256>;

const uint8_t* rowOf(const Picture& picture, int32_t y) { return picture.row(y); }
const uint16_t* rowOf(const Picture16& picture, int32_t y) { return picture.row(y); }

// Rows of differences, one a component, from the first row on.
template <typename AnyPicture>
class Differences {
 public:
  Differences(const AnyPicture& picture, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartRows)
      : picture_(picture), scan_(scan), predicted_(frame.width, frame.precision, scan), restartRows_(restartRows) {
    for (size_t i = 0; i < scan.components.size(); ++i) {
      for (auto* rows : {&samples_, &previous_, &differences_}) (*rows)[i].resize(static_cast<size_t>(frame.width));
      rows_[i] = differences_[i].data();
    }
  }

  // Whether the next row begins a restart interval, and with it the prediction.
  bool startsInterval() const { return restartRows_ > 0 ? y_ % restartRows_ == 0 : y_ == 0; }

  const int16_t* const* next() {
    const auto channels = static_cast<size_t>(picture_.channels);
    for (size_t i = 0; i < scan_.components.size(); ++i) {
      previous_[i].swap(samples_[i]);
      const auto* from = rowOf(picture_, y_) + scan_.components[i];
      for (size_t x = 0; x < samples_[i].size(); ++x)
        samples_[i][x] = static_cast<int16_t>(from[x * channels] >> scan_.al);
      toDifferences(predicted_, samples_[i].data(), startsInterval() ? nullptr : previous_[i].data(),
                    differences_[i].data());
    }
    ++y_;
    return rows_;
  }

 private:
  const AnyPicture& picture_;
  const JpegScanSpec& scan_;
  const LosslessRows predicted_;
  const int32_t restartRows_;
  int32_t y_ = 0;
  std::array<Row, 4> samples_, previous_, differences_;
  const int16_t* rows_[4]{};
};

template <typename AnyPicture>
void encodeScan(JpegOutput& out, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartInterval,
                const AnyPicture& picture, const Progress& progress) {
  const size_t count = scan.components.size();
  const int32_t restartRows = restartInterval / frame.width, passes = 2 * frame.height;
  std::array<Statistics, 4> statistics{};
  Differences counted(picture, frame, scan, restartRows);
  for (int32_t y = 0; y < frame.height; ++y) {
    const int16_t* const* rows = counted.next();
    for (size_t i = 0; i < count; ++i)
      for (int32_t x = 0; x < frame.width; ++x)
        qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(rows[i] + x, statistics[i].data());
    if (progress) progress(y + 1, passes);
  }
  std::array<HuffmanTable, 4> tables;
  std::array<const QlmEncodeHuffmanSpec*, 4> specs{};
  std::array<uint8_t, 4> slots{};
  for (size_t i = 0; i < count; ++i) {
    tables[i] = makeTable(statistics[i]);
    specs[i] = &tables[i].spec;
    slots[scan.components[i]] = static_cast<uint8_t>(i);
    out.huffmanTable(false, slots[scan.components[i]], tables[i]);
  }
  out.restartInterval(restartInterval);
  out.scan(frame, scan, slots);

  CodedBytes coded(out);
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  // A sample has up to 16 bits of code and 15 of value, and stuffing can double the bytes.
  const int32_t roomForRow = frame.width * static_cast<int32_t>(count) * 8 + CodedBytes::kRoomForBlock;
  const auto code = [&](const int16_t* const* rows, int32_t flush) {
    coded.ensure(roomForRow);
    qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(rows, frame.width, static_cast<int32_t>(count), coded.data, coded.length,
                                         &coded.position, specs.data(), &state, flush);
  };
  Differences differences(picture, frame, scan, restartRows);
  int64_t intervals = 0;
  for (int32_t y = 0; y < frame.height; ++y) {
    if (y > 0 && differences.startsInterval()) {
      code(nullptr, 1);
      coded.restartMarker(intervals++);
    }
    code(differences.next(), 0);
    if (progress) progress(frame.height + y + 1, passes);
  }
  code(nullptr, 1);
  coded.commit();
}

}  // namespace

void encodeLossless(JpegOutput& out, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartInterval,
                    const Picture& picture, const Progress& progress) {
  encodeScan(out, frame, scan, restartInterval, picture, progress);
}

void encodeLossless(JpegOutput& out, const JpegFrame& frame, const JpegScanSpec& scan, int32_t restartInterval,
                    const Picture16& picture, const Progress& progress) {
  encodeScan(out, frame, scan, restartInterval, picture, progress);
}

}  // namespace sample
