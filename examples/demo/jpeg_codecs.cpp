// JPEG (T.81) by the sample codec: baseline and progressive files checked with libjpeg-turbo, which is told to do the
// same work (the same scans and Huffman tables, the integer transforms and the same upsampling of chroma), lossless
// ones with DCMTK.
#include "codec.h"
#include "jpeg/dcmtk_peer.h"
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"
#include "libjpeg_peer.h"

namespace demo {
namespace {

struct Form {
  const char* name;
  const char* tag;
  int32_t channels;
  sample::Subsampling subsampling;
  int32_t h, v;  // luma sampling factors
};

constexpr Form kForms[] = {
    {"JPEG grey", "grey", 1, sample::Subsampling::k444, 1, 1},
    {"JPEG 4:4:4", "444", 3, sample::Subsampling::k444, 1, 1},
    {"JPEG 4:2:2", "422", 3, sample::Subsampling::k422, 2, 1},
    {"JPEG 4:2:0", "420", 3, sample::Subsampling::k420, 2, 2},
};
constexpr int32_t kQualities[] = {50, 75, 90, 95};
constexpr int32_t kWayQuality = 90;  // of the files that show one more way each

// Both decoders round within about one step of the exact result, far below what quantisation loses. But the sample
// codec converts colours before it clamps, which saturated graphics show: up to 0.3 dB have been seen, on photographs
// 0.03.
constexpr double kTolerance = 0.5;

std::string qualityName(int32_t quality) { return "quality " + std::to_string(quality); }

Codec formCodec(const Form& form, int32_t quality) {
  const sample::JpegWriteOptions options{.quality = quality, .subsampling = form.subsampling};
  const PeerJpegOptions peerOptions{quality, form.h, form.v};
  return {
      .family = form.name,
      .setting = qualityName(quality),
      .file = std::string("jpeg-") + form.tag + "-q" + std::to_string(quality) + ".jpg",
      .mime = "image/jpeg",
      .channels = form.channels,
      .tolerance = kTolerance,
      .encode = [options](const sample::Picture& picture) { return sample::writeJpeg(picture, options); },
      .decode = [](const Bytes& file, sample::Picture& picture) { sample::readJpeg(file, picture); },
      .peer = libjpegName(),
      .peerEncode = [peerOptions](const sample::Picture& picture) { return libjpegEncode(picture, peerOptions); },
      .peerDecode = [](const Bytes& file, sample::Picture& picture) { libjpegDecode(file, picture); },
  };
}

// 4:2:0 read in another way than MCU by MCU with replicated chroma.
Codec wayCodec(const char* family, const char* tag, const sample::JpegReadOptions& options) {
  Codec codec = formCodec(kForms[3], kWayQuality);
  codec.family = family;
  codec.file = std::string("jpeg-") + tag + ".jpg";
  const PeerDecodeOptions peerOptions{options.upsampling == sample::Upsampling::kTriangle, options.scale};
  codec.encode = [by = options.by](const sample::Picture& picture) {
    return sample::writeJpeg(picture, {.quality = kWayQuality, .by = by});
  };
  codec.decode = [options](const Bytes& file, sample::Picture& picture) { sample::readJpeg(file, picture, options); };
  codec.peerDecode = [peerOptions](const Bytes& file, sample::Picture& picture) {
    libjpegDecode(file, picture, peerOptions);
  };
  return codec;
}

// Not every browser shows four channels. The conversion from and to RGB is the same for both libraries and not timed.
Codec cmykCodec(const char* family, const char* tag, sample::JpegColour colour) {
  const bool ycck = colour == sample::JpegColour::kYcck;
  Codec codec = formCodec(kForms[ycck ? 3 : 1], kWayQuality);
  codec.family = family;
  codec.file = std::string("jpeg-") + tag + ".jpg";
  codec.mime.clear();
  codec.encode = [colour](const sample::Picture& picture) {
    return sample::writeJpeg(picture, {.quality = kWayQuality, .colour = colour});
  };
  codec.peerEncode = [ycck](const sample::Picture& picture) {
    return libjpegEncode(picture, {.quality = kWayQuality, .h = ycck ? 2 : 1, .v = ycck ? 2 : 1, .ycck = ycck});
  };
  codec.prepare = sample::toCmyk;
  codec.show = sample::toRgb;
  return codec;
}

// The scans of most programs, with Huffman tables of their own.
Codec progressiveCodec() {
  Codec codec = formCodec(kForms[3], kWayQuality);
  codec.family = "JPEG progressive";
  codec.file = "jpeg-progressive.jpg";
  codec.encode = [](const sample::Picture& picture) {
    return sample::writeJpeg(picture,
                             {.quality = kWayQuality, .coding = {.process = sample::JpegProcess::kProgressive}});
  };
  codec.peerEncode = [](const sample::Picture& picture) {
    return libjpegEncode(picture, {.quality = kWayQuality, .h = 2, .v = 2, .progressive = true});
  };
  return codec;
}

// No browser shows lossless files.
Codec losslessCodec(const char* name, const char* tag, int32_t channels) {
  return {
      .family = name,
      .setting = "predictor 7",
      .file = std::string("jpeg-lossless-") + tag + ".jpg",
      .mime = "",
      .channels = channels,
      .tolerance = 0,
      .encode =
          [](const sample::Picture& picture) {
            return sample::writeJpeg(picture, {.coding = {.process = sample::JpegProcess::kLossless, .predictor = 7}});
          },
      .decode = [](const Bytes& file, sample::Picture& picture) { sample::readJpeg(file, picture); },
      .peer = "DCMTK",
      .peerEncode = {},
      .peerDecode =
          [channels](const Bytes& file, sample::Picture& picture) {
            const sample::JpegFrame frame = sample::readJpegFrame(file);
            picture = sample::to8Bits(
                sample::dcmtkRead(file, frame.width, frame.height, channels, 8, sample::DcmtkProcess::kLossless));
          },
  };
}

}  // namespace

std::vector<Codec> jpegCodecs() {
  std::vector<Codec> codecs;
  for (const Form& form : kForms)
    for (const int32_t quality : kQualities) codecs.push_back(formCodec(form, quality));
  codecs.push_back(progressiveCodec());
  codecs.push_back(losslessCodec("JPEG lossless grey", "grey", 1));
  codecs.push_back(losslessCodec("JPEG lossless RGB", "rgb", 3));
  codecs.push_back(wayCodec("JPEG by planes", "plane", {.by = sample::JpegBy::kPlane}));
  codecs.push_back(wayCodec("JPEG, triangles", "triangle", {.upsampling = sample::Upsampling::kTriangle}));
  codecs.push_back(cmykCodec("JPEG CMYK", "cmyk", sample::JpegColour::kCmyk));
  codecs.push_back(cmykCodec("JPEG YCCK", "ycck", sample::JpegColour::kYcck));
  return codecs;
}

}  // namespace demo
