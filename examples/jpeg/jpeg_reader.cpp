#include "jpeg/jpeg_reader.h"

#include <string>

#include "jpeg/jpeg_decode.h"
#include "jpeg/jpeg_deep.h"

namespace sample {
namespace {

// A block takes a bit at least, so a whole file has at most 8 blocks a byte. Four times that leaves room for truncated
// files, and refuses a picture of gigabytes that is announced in a few bytes. The same goes for lossless samples.
constexpr int64_t kMaxBlocksPerByte = 32;

void open(JpegReading& file, std::span<const uint8_t> bytes) {
  file.input.bytes = bytes;
  if (!nextScan(file.input, file.headers, file.scan)) throw JpegError("damaged: the file has no image scan");
  file.scans = 1;
  const JpegFrame& frame = file.headers.frame;
  const bool lossless = frame.process == JpegProcess::kLossless;
  const int64_t blocks = lossless ? int64_t{frame.width} * frame.height
                                  : int64_t{frame.mcusWide()} * frame.mcusHigh() * frame.blocksInMcu();
  if (blocks > kMaxBlocksPerByte * static_cast<int64_t>(bytes.size()))
    throw JpegError("damaged: " + std::to_string(bytes.size()) + " bytes cannot hold a picture of " +
                    std::to_string(frame.width) + " x " + std::to_string(frame.height));
  if (lossless) restartRows(file.headers);
}

void open(JpegReading& file, std::span<const uint8_t> bytes, const JpegReadOptions& options) {
  file.maxScans = options.scans;
  file.progress = options.progress;
  open(file, bytes);
}

void shape(Picture& picture, const JpegFrame& frame, JpegColour colour, int32_t scale) {
  picture.width = (frame.width + scale - 1) / scale;
  picture.height = (frame.height + scale - 1) / scale;
  picture.channels = channelsOf(colour);
  picture.pixels.resize(static_cast<size_t>(picture.step()) * static_cast<size_t>(picture.height));
}

void shape(Picture16& picture, const JpegFrame& frame, JpegColour colour) {
  picture.width = frame.width, picture.height = frame.height;
  picture.channels = channelsOf(colour), picture.bits = frame.precision;
  picture.samples.resize(static_cast<size_t>(picture.width) * size_t(picture.channels) * size_t(picture.height));
}

// A component that no scan has met has coefficients of 0, whatever its table.
InverseTables inverseTables(const JpegHeaders& headers) {
  InverseTables tables{};
  for (size_t i = 0; i < tables.size(); ++i)
    if (headers.componentQuant[i]) tables[i] = inverseTable(*headers.componentQuant[i]);
  return tables;
}

// makeSink(tables) is called once the quantisers of all components are known.
template <typename MakeSink>
void decodeBlocks(JpegReading& file, MakeSink makeSink) {
  const JpegFrame& frame = file.headers.frame;
  if (frame.process == JpegProcess::kSequential && file.scan.spec.components.size() == frame.components.size()) {
    const std::unique_ptr<McuSink> sink = makeSink(inverseTables(file.headers));
    decodeToSink(file, *sink);
  } else {
    const std::vector<BlockPlane> planes = decodeCoefficients(file);
    const std::unique_ptr<McuSink> sink = makeSink(inverseTables(file.headers));
    drawCoefficients(frame, planes, *sink);
  }
}

// Whoever writes CMYK without the marker of Adobe writes ink, not light.
bool isInk(const JpegHeaders& headers) { return headers.frame.components.size() == 4 && headers.adobeTransform < 0; }

void finish(const JpegReading& file) {
  if (!file.damage.empty()) throw JpegDamaged(file.damage);
}

void decodeDeep(JpegReading& file, Picture16& picture) {
  const JpegFrame& frame = file.headers.frame;
  const JpegColour colour = colourOf(file.headers);
  shape(picture, frame, colour);
  if (frame.process == JpegProcess::kLossless) {
    decodeLossless(file, picture);
    for (int32_t y = 0; y < picture.height; ++y)
      componentsToPixels(colour, {picture.row(y), static_cast<size_t>(picture.step()) / 2}, picture.bits);
  } else {
    decodeBlocks(file, [&](const InverseTables& tables) { return sinkDeep(frame, colour, tables, picture); });
  }
  const int32_t most = (1 << picture.bits) - 1;
  if (isInk(file.headers))
    for (uint16_t& sample : picture.samples) sample = static_cast<uint16_t>(most - sample);
}

void decode(JpegReading& file, Picture& picture, const JpegReadOptions& options) {
  const JpegFrame& frame = file.headers.frame;
  const JpegColour colour = colourOf(file.headers);
  const bool lossless = frame.process == JpegProcess::kLossless;
  if (options.scale != 1 && (lossless || frame.precision != 8))
    throw JpegError("unsupported: a reduced size of a lossless file, or of one of more than 8 bits");
  const bool converts = colour == JpegColour::kYCbCr || colour == JpegColour::kYcck;
  if (frame.precision != 8 || (lossless && converts)) {
    Picture16 deep;
    decodeDeep(file, deep);
    picture = to8Bits(deep);
    return;
  }
  shape(picture, frame, colour, options.scale);
  if (lossless)
    decodeLossless(file, picture);
  else if (options.by == JpegBy::kPlane || options.upsampling == Upsampling::kTriangle || options.scale > 1)
    decodeBlocks(file, [&](const InverseTables& tables) {
      return sinkByPlane(frame, colour, tables, options.upsampling, options.scale, picture);
    });
  else
    decodeBlocks(file, [&](const InverseTables& tables) { return sinkByMcu(frame, colour, tables, picture); });
  if (isInk(file.headers))
    for (uint8_t& sample : picture.pixels) sample = static_cast<uint8_t>(255 - sample);
}

}  // namespace

void noteDamage(JpegReading& file, const std::string& damage) {
  if (file.damage.empty()) file.damage = damage;
}

bool advance(JpegReading& file) {
  if (file.scans == file.maxScans) return false;
  ++file.scans;
  for (;;) {
    try {
      return nextScan(file.input, file.headers, file.scan);
    } catch (const JpegError& error) {
      noteDamage(file, error.what());
      if (file.input.position >= file.input.bytes.size()) return false;
    }
  }
}

JpegFrame readJpegFrame(std::span<const uint8_t> bytes) {
  JpegReading file;
  open(file, bytes);
  return file.headers.frame;
}

void readJpeg(std::span<const uint8_t> bytes, Picture& picture, const JpegReadOptions& options) {
  if (options.scale != 1 && options.scale != 2 && options.scale != 4 && options.scale != 8)
    throw JpegError("a picture can be read at 1/1, 1/2, 1/4 and 1/8 of its size");
  JpegReading file;
  open(file, bytes, options);
  decode(file, picture, options);
  finish(file);
}

void readJpeg(std::span<const uint8_t> bytes, Picture16& picture, const JpegReadOptions& options) {
  JpegReading file;
  open(file, bytes, options);
  const JpegFrame& frame = file.headers.frame;
  if (frame.process != JpegProcess::kLossless && frame.precision == 8) {
    Picture narrow;
    decode(file, narrow, options);
    picture = toBits(narrow, 8);
  } else {
    if (options.scale != 1)
      throw JpegError("unsupported: a reduced size of a lossless file, or of one of more than 8 bits");
    decodeDeep(file, picture);
  }
  finish(file);
}

JpegCoefficients readCoefficients(std::span<const uint8_t> bytes) {
  JpegReading file;
  open(file, bytes);
  const JpegFrame& frame = file.headers.frame;
  if (frame.process == JpegProcess::kLossless) throw JpegError("a lossless file has no coefficients");
  JpegCoefficients coefficients;
  coefficients.planes = decodeCoefficients(file);
  if (!file.damage.empty()) throw JpegError(file.damage);
  coefficients.frame = frame;
  coefficients.colour = colourOf(file.headers);
  coefficients.restartInterval = file.headers.restartInterval;
  for (size_t i = 0; i < frame.components.size(); ++i) coefficients.quant.push_back(*file.headers.componentQuant[i]);
  return coefficients;
}

}  // namespace sample
