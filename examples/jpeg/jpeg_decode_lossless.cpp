// Lossless scans (T.81 H.2): rows of differences to samples.
#include "jpeg/jpeg_decode.h"
#include "jpeg/jpeg_predict.h"
#include "jpeg/jpeg_scan.h"

namespace sample {
namespace {

using Row = std::vector<int16_t>;

uint8_t* rowOf(Picture& picture, int32_t y) { return picture.row(y); }
uint16_t* rowOf(Picture16& picture, int32_t y) { return picture.row(y); }

template <typename AnyPicture>
void fill(AnyPicture& picture, size_t channel, int32_t y, int32_t value) {
  auto* to = rowOf(picture, y);
  const auto channels = static_cast<size_t>(picture.channels);
  for (size_t x = 0; x < static_cast<size_t>(picture.width); ++x)
    to[x * channels + channel] = static_cast<std::remove_reference_t<decltype(*to)>>(value);
}

// Samples of a damaged file may have more bits than the frame says.
template <typename AnyPicture>
void store(const Row& samples, int32_t bits, int32_t pointTransform, AnyPicture& picture, size_t channel, int32_t y) {
  auto* to = rowOf(picture, y) + channel;
  const auto channels = static_cast<size_t>(picture.channels);
  const int32_t mask = (1 << bits) - 1;
  for (size_t x = 0; x < samples.size(); ++x)
    to[x * channels] = static_cast<std::remove_reference_t<decltype(*to)>>((samples[x] << pointTransform) & mask);
}

template <typename AnyPicture>
void decodeScan(JpegReading& file, AnyPicture& picture) {
  const JpegFrame& frame = file.headers.frame;
  const std::vector<size_t>& components = file.scan.spec.components;
  const LosslessRows predicted(frame.width, frame.precision, file.scan.spec);
  const auto count = static_cast<int32_t>(components.size());
  std::array<Row, 4> differences, previous, samples;
  int16_t* differenceRows[4];
  for (size_t i = 0; i < components.size(); ++i) {
    for (auto* rows : {&differences, &previous, &samples}) (*rows)[i].resize(static_cast<size_t>(frame.width));
    differenceRows[i] = differences[i].data();
  }

  ScanReader reader = startScan(file.input);
  // A row for an MCU, since intervals are whole rows (H.1.1).
  const ScanGrid grid{1, frame.height, restartRows(file.headers)};
  const auto decode = [&](int32_t y, int32_t, int32_t, QlmStatus& status) {
    status =
        qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4(reader.data, reader.length, &reader.position, differenceRows, frame.width,
                                             count, &reader.marker, file.scan.dcTables.data(), &reader.state);
    if (status != qlmOk) return 0;
    const bool first = grid.restartInterval > 0 ? y % grid.restartInterval == 0 : y == 0;
    for (size_t i = 0; i < components.size(); ++i) {
      previous[i].swap(samples[i]);
      toSamples(predicted, differenceRows[i], first ? nullptr : previous[i].data(), samples[i].data());
      store(samples[i], frame.precision, predicted.pointTransform, picture, components[i], y);
    }
    return 1;
  };
  const auto miss = [&](int32_t y, int32_t, int32_t) {
    for (const size_t c : components) fill(picture, c, y, 1 << (frame.precision - 1));
  };
  const auto endRow = [&](int32_t y) {
    if (file.progress) file.progress(y + 1, frame.height);
  };
  decodeMcus(reader, grid, decode, miss, endRow);
  file.input = endScan(reader);
  noteDamage(file, reader.damage);
}

template <typename AnyPicture>
void decodeScans(JpegReading& file, AnyPicture& picture) {
  const JpegFrame& frame = file.headers.frame;
  std::array<bool, 4> met{};
  do {
    try {
      decodeScan(file, picture);
      for (const size_t c : file.scan.spec.components) met[c] = true;
    } catch (const JpegError& error) {
      noteDamage(file, error.what());
    }
  } while (advance(file));
  for (size_t c = 0; c < frame.components.size(); ++c) {
    if (met[c]) continue;
    for (int32_t y = 0; y < frame.height; ++y) fill(picture, c, y, 1 << (frame.precision - 1));
    if (file.maxScans == 0) noteDamage(file, "damaged: the file lacks a scan of one of its components");
  }
}

}  // namespace

int32_t restartRows(const JpegHeaders& headers) {
  if (headers.restartInterval % headers.frame.width != 0)
    throw JpegError("damaged: the restart interval of a lossless file is not a number of whole rows");
  return headers.restartInterval / headers.frame.width;
}

void decodeLossless(JpegReading& file, Picture& picture) { decodeScans(file, picture); }
void decodeLossless(JpegReading& file, Picture16& picture) { decodeScans(file, picture); }

}  // namespace sample
