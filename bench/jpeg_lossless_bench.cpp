// Races the functions of lossless JPEG: prediction of rows that fit into L1, into L2 and into neither, and the coding
// of rows of differences of whole photographs.
//
// Bound of prediction is a copy of as many bytes as the rows have, those read and the one written. Predictors 6 and 7
// cannot come near it on the way back: each sample waits for the one before, by a mean and a sum. Where a plain loop
// does each step by itself, it stands beside as the model.
//
// Rows of differences are those of RGB photographs to predictor 7, interleaved and each with its optimal table; of 8
// bits as they are, and of 16 bits with eight more, of which the upper four come from the neighbouring pixels and the
// lower four are noise, as in a file of a camera. Beside them stands the model, compiled with the same flags: no
// package of Debian offers this coding by itself. Before anything is timed, its bytes and ours are compared, and the
// decoded rows with the differences.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "model/jpeg_lossless.h"
#include "model/jpeg_statistics.h"
#include "qlmjp/jpeg.h"
#include "race.h"
#include "support/picture.h"

namespace {

using Row = std::vector<int16_t>;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "bench_jpeg_lossless: %s\n", what);
  std::exit(1);
}

uint32_t noise() {
  static uint32_t state = 1;
  state = state * 1664525 + 1013904223;
  return state >> 16;
}
Row noiseRow(int32_t width) {
  Row row(static_cast<size_t>(width));
  for (int16_t& v : row) v = static_cast<int16_t>(noise());
  return row;
}

struct Shape {
  const char* name;
  int32_t width;
};
constexpr Shape kShapes[] = {{"L1", 4096}, {"L2", 65536}, {"memory", 8388608}};

// `rows` are read and written.
void racePrediction(const bench::Work& work, int32_t width, int32_t rows, auto round, auto model) {
  const int64_t bytes = int64_t{width} * rows * 2;
  bench::race(work, "ours", width, bytes, round);
  const size_t half = static_cast<size_t>(bytes) / 2;
  bench::race(work, "bound:memcpy", width, bytes,
              [half, from = std::vector<char>(half, 1), to = std::vector<char>(half)]() mutable {
                std::memcpy(to.data(), from.data(), half);
              });
  if (work.data.rfind("L1", 0) == 0) bench::race(work, "bound:model", width, bytes, model);
}

void racePredictions(const Shape& shape) {
  const int32_t width = shape.width;
  const auto src = std::make_shared<Row>(noiseRow(width)), above = std::make_shared<Row>(noiseRow(width));
  const auto dst = std::make_shared<Row>(noiseRow(width));
  const auto work = [&](const std::string& name, int predictor) {
    const std::string data = predictor == 0 ? shape.name : shape.name + (" predictor " + std::to_string(predictor));
    return bench::Work{"jpeg.lossless", name, data, "sample"};
  };
  racePrediction(
      work("qlmiDiffPredFirstRow_JPEG_16s_C1", 0), width, 2,
      [=] { qlmiDiffPredFirstRow_JPEG_16s_C1(src->data(), dst->data(), width, 16, 0); },
      [=] { model::diffFirstRow(src->data(), dst->data(), width, 16, 0); });
  racePrediction(
      work("qlmiReconstructPredFirstRow_JPEG_16s_C1", 0), width, 2,
      [=] { qlmiReconstructPredFirstRow_JPEG_16s_C1(src->data(), dst->data(), width, 16, 0); },
      [=] { model::reconstructFirstRow(src->data(), dst->data(), width, 16, 0); });
  for (int32_t predictor = 1; predictor <= 7; ++predictor) {
    const int32_t rows = predictor == 1 ? 2 : 3;
    racePrediction(
        work("qlmiDiffPredRow_JPEG_16s_C1", predictor), width, rows,
        [=] { qlmiDiffPredRow_JPEG_16s_C1(src->data(), above->data(), dst->data(), width, predictor); },
        [=] { model::diffRow(src->data(), above->data(), dst->data(), width, predictor); });
    racePrediction(
        work("qlmiReconstructPredRow_JPEG_16s_C1", predictor), width, rows,
        [=] { qlmiReconstructPredRow_JPEG_16s_C1(src->data(), above->data(), dst->data(), width, predictor); },
        [=] { model::reconstructRow(src->data(), above->data(), dst->data(), width, predictor); });
  }
}

// The rows of one picture as differences, and their segment.
struct Scan {
  int32_t width, height;
  std::array<Row, 3> planes;
  std::vector<uint8_t> bytes;

  std::array<const int16_t*, 3> rows(int32_t y) const {
    const ptrdiff_t at = ptrdiff_t{width} * y;
    return {planes[0].data() + at, planes[1].data() + at, planes[2].data() + at};
  }
};
struct Tables {
  std::array<QlmEncodeHuffmanSpec, 3> encode;
  std::array<QlmDecodeHuffmanSpec, 3> decode;
};

Row samplesOf(const sample::Picture& picture, int32_t channel, int32_t bits) {
  Row samples;
  for (int32_t y = 0; y < picture.height; ++y) {
    for (int32_t x = 0; x < picture.width; ++x) {
      const auto at = [&](int32_t dx) {
        return int32_t{picture.row(y)[std::min(x + dx, picture.width - 1) * picture.channels + channel]};
      };
      const int32_t smooth = 16 * (3 * at(0) + at(1)) / 4;  // 12 bits
      samples.push_back(static_cast<int16_t>(bits == 8 ? at(0) : smooth << 4 | static_cast<int32_t>(noise() & 15)));
    }
  }
  return samples;
}

Scan predict(const sample::Picture& picture, int32_t bits) {
  Scan scan{picture.width, picture.height, {}, {}};
  for (int32_t c = 0; c < 3; ++c) {
    const Row samples = samplesOf(picture, c, bits);
    Row& differences = scan.planes[static_cast<size_t>(c)];
    differences.resize(samples.size());
    qlmiDiffPredFirstRow_JPEG_16s_C1(samples.data(), differences.data(), scan.width, bits, 0);
    for (int32_t y = 1; y < scan.height; ++y) {
      const ptrdiff_t at = ptrdiff_t{scan.width} * y;
      qlmiDiffPredRow_JPEG_16s_C1(samples.data() + at, samples.data() + at - scan.width, differences.data() + at,
                                  scan.width, 7);
    }
  }
  return scan;
}

Tables makeTables(const std::vector<Scan>& scans) {
  Tables tables;
  for (size_t c = 0; c < 3; ++c) {
    int32_t statistics[256] = {};
    for (const Scan& scan : scans)
      for (const int16_t& difference : scan.planes[c]) qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(&difference, statistics);
    uint8_t counts[16], values[256];
    qlmiEncodeHuffmanRawTableInit_JPEG_8u(statistics, counts, values);
    require(qlmiEncodeHuffmanSpecInit_JPEG_8u(counts, values, &tables.encode[c]) == qlmOk, "encoder table");
    require(qlmiDecodeHuffmanSpecInit_JPEG_8u(counts, values, &tables.decode[c]) == qlmOk, "decoder table");
  }
  return tables;
}

int32_t encode(const Scan& scan, const Tables& tables, std::vector<uint8_t>& bytes, bool byModel) {
  const QlmEncodeHuffmanSpec* const specs[3] = {&tables.encode[0], &tables.encode[1], &tables.encode[2]};
  const int32_t length = static_cast<int32_t>(bytes.size());
  int32_t position = 0;
  QlmEncodeHuffmanState state;
  qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
  for (int32_t y = 0; y < scan.height; ++y) {
    const auto rows = scan.rows(y);
    const QlmStatus status =
        byModel ? model::encodeRow(rows.data(), {scan.width, 3}, {bytes.data(), length, &position}, specs, state)
                : qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(rows.data(), scan.width, 3, bytes.data(), length, &position,
                                                       specs, &state, 0);
    if (status != qlmOk) return 0;
  }
  qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1(nullptr, 0, 0, bytes.data(), length, &position, nullptr, &state, 1);
  return position;
}

bool decode(const Scan& scan, const Tables& tables, std::array<Row, 3>& planes, bool byModel) {
  const QlmDecodeHuffmanSpec* const specs[3] = {&tables.decode[0], &tables.decode[1], &tables.decode[2]};
  const int32_t length = static_cast<int32_t>(scan.bytes.size());
  int32_t position = 0, marker = 0;
  QlmDecodeHuffmanState state;
  qlmiDecodeHuffmanStateInit_JPEG_8u(&state);
  for (int32_t y = 0; y < scan.height; ++y) {
    const ptrdiff_t at = ptrdiff_t{scan.width} * y;
    int16_t* const rows[3] = {planes[0].data() + at, planes[1].data() + at, planes[2].data() + at};
    QlmStatus status = qlmOk;
    if (!byModel) {
      status = qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4(scan.bytes.data(), length, &position, rows, scan.width, 3, &marker,
                                                    specs, &state);
    } else {
      const model::Input in{scan.bytes.data(), length, &position, &marker};
      if (!model::decodeRowFast(in, rows, {scan.width, 3}, specs, state))
        status = model::decodeRowCareful(in, rows, {scan.width, 3}, specs, state);
    }
    if (status != qlmOk) return false;
  }
  return true;
}

struct Photographs {
  std::vector<Scan> scans;
  Tables tables;
};

void raceRows(int32_t bits) {
  auto photos = std::make_shared<Photographs>();
  size_t largest = 0;
  int64_t samples = 0, bytes = 0;
  for (const auto& path : sample::photographs()) photos->scans.push_back(predict(sample::readPicture(path), bits));
  if (photos->scans.empty()) photos->scans.push_back(predict(sample::paintPicture(768, 512), bits));
  photos->tables = makeTables(photos->scans);
  for (Scan& scan : photos->scans) {
    const size_t count = scan.planes[0].size();
    largest = std::max(largest, count);
    samples += static_cast<int64_t>(3 * count);

    std::vector<uint8_t> ours(count * 12), theirs(count * 12);
    const int32_t length = encode(scan, photos->tables, ours, false);
    require(length > 0 && encode(scan, photos->tables, theirs, true) == length, "length of the segment");
    require(std::equal(ours.begin(), ours.begin() + length, theirs.begin()), "bytes of the segment");
    bytes += length;
    scan.bytes.assign(ours.begin(), ours.begin() + length);
    scan.bytes.insert(scan.bytes.end(), {0xFF, 0xD9});
    std::array<Row, 3> planes = {Row(count), Row(count), Row(count)};
    require(decode(scan, photos->tables, planes, false) && planes == scan.planes, "decoded rows");
    planes = {Row(count), Row(count), Row(count)};
    require(decode(scan, photos->tables, planes, true) && planes == scan.planes, "rows of the model");
  }
  const std::string data = "photo-" + std::to_string(bits) + "bit";
  std::printf("%s: %.2f bits a sample\n", data.c_str(),
              8.0 * static_cast<double>(bytes) / static_cast<double>(samples));

  for (const bool byModel : {false, true}) {
    const std::string runner = byModel ? "bound:model" : "ours";
    bench::race({"jpeg.lossless", "qlmiEncodeHuffmanRow_JPEG_16s1u_P4C1", data, "sample"}, runner, samples, bytes,
                [=, room = std::vector<uint8_t>(largest * 12)]() mutable {
                  for (const Scan& scan : photos->scans)
                    benchmark::DoNotOptimize(encode(scan, photos->tables, room, byModel));
                });
    bench::race({"jpeg.lossless", "qlmiDecodeHuffmanRow_JPEG_1u16s_C1P4", data, "sample"}, runner, samples, bytes,
                [=, planes = std::array<Row, 3>{Row(largest), Row(largest), Row(largest)}]() mutable {
                  for (const Scan& scan : photos->scans)
                    benchmark::DoNotOptimize(decode(scan, photos->tables, planes, byModel));
                });
  }

  // One difference a call: the middle row of the first photograph.
  const Scan& scan = photos->scans.front();
  const auto row = std::make_shared<Row>(scan.rows(scan.height / 2)[0], scan.rows(scan.height / 2)[0] + scan.width);
  const auto room = std::make_shared<std::vector<uint8_t>>(row->size() * 4 + 16);
  const auto encodeSingly = [=](bool byModel) {
    const int32_t length = static_cast<int32_t>(room->size());
    const QlmEncodeHuffmanSpec& spec = photos->tables.encode[0];
    int32_t position = 0;
    QlmEncodeHuffmanState state;
    qlmiEncodeHuffmanStateInit_JPEG_8u(&state);
    for (const int16_t& difference : *row) {
      byModel ? model::encodeOne(difference, {room->data(), length, &position}, spec, state)
              : qlmiEncodeHuffmanOne_JPEG_16s1u_C1(&difference, room->data(), length, &position, &spec, &state, 0);
    }
    qlmiEncodeHuffmanOne_JPEG_16s1u_C1(nullptr, room->data(), length, &position, nullptr, &state, 1);
    return position;
  };
  const int32_t length = encodeSingly(false);
  const auto coded = std::make_shared<std::vector<uint8_t>>(room->begin(), room->begin() + length);
  const auto decodeSingly = [=](bool byModel) {
    const QlmDecodeHuffmanSpec& spec = photos->tables.decode[0];
    int32_t position = 0, marker = 0;
    int16_t difference = 0, sum = 0;
    QlmDecodeHuffmanState state;
    qlmiDecodeHuffmanStateInit_JPEG_8u(&state);
    for (size_t i = 0; i < row->size(); ++i) {
      byModel
          ? model::decodeOne({coded->data(), length, &position, &marker}, difference, spec, state)
          : qlmiDecodeHuffmanOne_JPEG_1u16s_C1(coded->data(), length, &position, &difference, &marker, &spec, &state);
      sum = static_cast<int16_t>(sum ^ difference);
    }
    return sum;
  };
  require(decodeSingly(false) == decodeSingly(true), "single differences");
  const auto countSingly = [=](bool byModel) {
    std::array<int32_t, 256> statistics{};
    for (const int16_t& difference : *row)
      byModel ? model::countOne(difference, statistics.data())
              : qlmiGetHuffmanStatisticsOne_JPEG_16s_C1(&difference, statistics.data());
    return statistics;
  };
  require(countSingly(false) == countSingly(true), "statistics");
  for (const bool byModel : {false, true}) {
    const std::string runner = byModel ? "bound:model" : "ours";
    bench::race({"jpeg.lossless", "qlmiEncodeHuffmanOne_JPEG_16s1u_C1", data, "sample"}, runner, scan.width, length,
                [=] { benchmark::DoNotOptimize(encodeSingly(byModel)); });
    bench::race({"jpeg.lossless", "qlmiDecodeHuffmanOne_JPEG_1u16s_C1", data, "sample"}, runner, scan.width, length,
                [=] { benchmark::DoNotOptimize(decodeSingly(byModel)); });
    bench::race({"jpeg.lossless", "qlmiGetHuffmanStatisticsOne_JPEG_16s_C1", data, "sample"}, runner, scan.width,
                length, [=] { benchmark::DoNotOptimize(countSingly(byModel)); });
  }
}

const int kRegistered = [] {
  for (const Shape& shape : kShapes) racePredictions(shape);
  for (const int32_t bits : {8, 16}) raceRows(bits);
  return 0;
}();

}  // namespace
