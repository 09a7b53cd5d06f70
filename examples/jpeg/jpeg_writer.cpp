#include "jpeg/jpeg_writer.h"

#include <qlmjp.h>

#include <string>

#include "jpeg/annex_k.h"
#include "jpeg/jpeg_encode.h"

namespace sample {
namespace {

// A table of Annex K at the given quality.
QuantTable scaledTable(std::span<const uint8_t, kBlockSize> typical, int32_t quality) {
  std::array<uint8_t, kBlockSize> raw;
  std::ranges::copy(typical, raw.begin());
  qlmiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality);
  QuantTable table;
  std::ranges::copy(raw, table.begin());
  return table;
}

// The components as others name and order them. Only chroma is subsampled.
std::vector<JpegComponent> makeComponents(JpegColour colour, Subsampling subsampling) {
  const int32_t h = subsampling == Subsampling::k444 ? 1 : 2, v = subsampling == Subsampling::k420 ? 2 : 1;
  switch (colour) {
    case JpegColour::kGrey:
      return {{1, 1, 1, 0}};
    case JpegColour::kPair:
      return {{1, 1, 1, 0}, {2, 1, 1, 0}};
    case JpegColour::kYCbCr:
      return {{1, h, v, 0}, {2, 1, 1, 1}, {3, 1, 1, 1}};
    case JpegColour::kRgb:
      return {{'R', 1, 1, 0}, {'G', 1, 1, 0}, {'B', 1, 1, 0}};
    case JpegColour::kCmyk:
      return {{'C', 1, 1, 0}, {'M', 1, 1, 0}, {'Y', 1, 1, 0}, {'K', 1, 1, 0}};
    case JpegColour::kYcck:
      return {{1, h, v, 0}, {2, 1, 1, 1}, {3, 1, 1, 1}, {4, h, v, 0}};
  }
  return {};
}

JpegColour usualColour(int32_t channels, bool lossless) {
  switch (channels) {
    case 1:
      return JpegColour::kGrey;
    case 2:
      return JpegColour::kPair;
    case 3:
      return lossless ? JpegColour::kRgb : JpegColour::kYCbCr;
    default:
      return lossless ? JpegColour::kCmyk : JpegColour::kYcck;
  }
}

// The picture with the channels that this colour is made from.
Picture converted(const Picture& picture, JpegColour colour) {
  Picture rgb = toRgb(picture);
  if (channelsOf(colour) == 4) return toCmyk(rgb);
  if (channelsOf(colour) == 3) return rgb;
  Picture grey(rgb.width, rgb.height, 1);
  qlmiRGBToY_JPEG_8u_C3C1R(rgb.row(0), rgb.step(), grey.row(0), grey.step(), {rgb.width, rgb.height});
  return grey;
}

Picture16 converted(const Picture16& picture, JpegColour colour) {
  if (picture.channels != 3 || channelsOf(colour) != 1)
    throw JpegError("a picture of more than 8 bits is stored as it is, or RGB as grey");
  return toGrey(picture);
}

void checkFrame(const JpegFrame& frame) {
  if (frame.width < 1 || frame.width > 65535 || frame.height < 1 || frame.height > 65535)
    throw JpegError("a JPEG has 1 to 65535 columns and rows, not " + std::to_string(frame.width) + " x " +
                    std::to_string(frame.height));
}

void checkRestartInterval(int32_t interval) {
  if (interval < 0 || interval > 65535) throw JpegError("the restart interval must be 0 to 65535 MCUs");
}

int32_t bitsOf(const Picture&) { return 8; }
int32_t bitsOf(const Picture16& picture) { return picture.bits; }
size_t samplesOf(const Picture& picture) { return picture.pixels.size(); }
size_t samplesOf(const Picture16& picture) { return picture.samples.size(); }

std::unique_ptr<McuSource> sourceOf(const Picture& picture, const JpegFrame& frame, JpegColour colour,
                                    const QuantTables& quant, JpegBy by) {
  return makeSource(picture, frame, colour, quant, by);
}
std::unique_ptr<McuSource> sourceOf(const Picture16& picture, const JpegFrame& frame, JpegColour colour,
                                    const QuantTables& quant, JpegBy) {
  return makeSource(picture, frame, colour, quant);
}

// What is to be done: the process with its scans.
struct Plan {
  JpegScript script;
  bool optimise;
};

// Settles the process of the frame.
Plan makePlan(JpegFrame& frame, JpegColour colour, const JpegCoding& coding) {
  const bool progressive = coding.process == JpegProcess::kProgressive || isProgressive(coding.script);
  frame.process = progressive ? JpegProcess::kProgressive : JpegProcess::kSequential;
  Plan plan{coding.script, coding.optimise || progressive || frame.precision > 8};
  if (plan.script.empty() && progressive) plan.script = usualProgression(colour, frame.components.size());
  if (plan.script.empty()) {
    plan.script.emplace_back();
    for (size_t c = 0; c < frame.components.size(); ++c) plan.script[0].components.push_back(c);
  }
  checkScript(plan.script, frame);
  return plan;
}

template <typename AnyPicture>
std::vector<uint8_t> writeLossless(const AnyPicture& picture, JpegFrame frame, JpegColour colour,
                                   const JpegWriteOptions& options) {
  if (colour == JpegColour::kYCbCr || colour == JpegColour::kYcck)
    throw JpegError("a lossless file stores grey, RGB or CMYK: YCbCr and YCCK would lose by the conversion");
  if (!options.coding.script.empty()) throw JpegError("scripts are for the processes with DCT");
  if (options.restartInterval % frame.width != 0)
    throw JpegError("in a lossless file the restart interval must be a number of whole rows: a multiple of " +
                    std::to_string(frame.width));
  frame.process = JpegProcess::kLossless;
  JpegScanSpec scan{{}, options.coding.predictor, 0, 0, options.coding.pointTransform};
  for (size_t c = 0; c < frame.components.size(); ++c) scan.components.push_back(c);
  if (scan.ss < 1 || scan.ss > 7) throw JpegError("the predictor must be 1 to 7");
  if (scan.al < 0 || scan.al >= frame.precision)
    throw JpegError("the point transform must be 0 to " + std::to_string(frame.precision - 1));
  JpegOutput out(samplesOf(picture) + 4096);
  out.headers(frame, colour, {});
  encodeLossless(out, frame, scan, options.restartInterval, picture, options.progress);
  out.marker(kEoi);
  return out.take();
}

template <typename AnyPicture>
std::vector<uint8_t> write(const AnyPicture& picture, const JpegWriteOptions& options) {
  const bool lossless = options.coding.process == JpegProcess::kLossless;
  const int32_t bits = bitsOf(picture);
  if (picture.channels < 1 || picture.channels > 4 || (picture.channels == 2 && !lossless))
    throw JpegError("only grey, RGB and CMYK pictures can be written");
  if (options.quality < 1 || options.quality > 100) throw JpegError("the quality must be 1 to 100");
  checkRestartInterval(options.restartInterval);
  if (lossless ? bits < 2 || bits > 16 : bits != 8 && bits != 12)
    throw JpegError(std::string(lossless ? "lossless files have 2 to 16" : "files with DCT have 8 or 12") +
                    " bits a sample, not " + std::to_string(bits));
  const JpegColour colour = options.colour.value_or(usualColour(picture.channels, lossless));
  JpegFrame frame{picture.width, picture.height, makeComponents(colour, options.subsampling)};
  frame.precision = bits;
  checkFrame(frame);
  if (picture.channels != channelsOf(colour)) {
    JpegWriteOptions same = options;
    same.colour = colour;
    return write(converted(picture, colour), same);
  }
  if (lossless) return writeLossless(picture, frame, colour, options);

  const Plan plan = makePlan(frame, colour, options.coding);
  QuantTables quant;
  for (size_t i = 0; i < frame.components.size(); ++i)
    quant.push_back(isChroma(colour, i) ? scaledTable(kChrominanceQuant, options.quality)
                                        : scaledTable(kLuminanceQuant, options.quality));
  const std::unique_ptr<McuSource> source = sourceOf(picture, frame, colour, quant, options.by);
  JpegOutput out(samplesOf(picture) / 8 + 4096);
  out.headers(frame, colour, quant);
  if (plan.script.size() == 1 && !plan.optimise) {
    encodeFromSource(out, frame, colour, options.restartInterval, *source, options.progress);
  } else {
    const JpegCoefficients coefficients{frame, colour, options.restartInterval, quant,
                                        transformAll(frame, *source, options.progress)};
    encodeScans(out, coefficients, plan.script, plan.optimise);
  }
  out.marker(kEoi);
  return out.take();
}

}  // namespace

std::vector<uint8_t> writeJpeg(const Picture& picture, const JpegWriteOptions& options) {
  return write(picture, options);
}

std::vector<uint8_t> writeJpeg(const Picture16& picture, const JpegWriteOptions& options) {
  return write(picture, options);
}

std::vector<uint8_t> writeCoefficients(const JpegCoefficients& coefficients, const JpegCoding& coding) {
  checkFrame(coefficients.frame);
  checkRestartInterval(coefficients.restartInterval);
  if (coding.process == JpegProcess::kLossless) throw JpegError("coefficients cannot be written losslessly");
  JpegFrame frame = coefficients.frame;
  const Plan plan = makePlan(frame, coefficients.colour, coding);
  JpegOutput out(4096);
  out.headers(frame, coefficients.colour, coefficients.quant);
  encodeScans(out, coefficients, plan.script, plan.optimise);
  out.marker(kEoi);
  return out.take();
}

}  // namespace sample
