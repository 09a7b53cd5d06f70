// JPEG 2000 (T.800) by the sample codec, checked and raced with OpenJPEG: 9/7 at several rates, and lossless.
#include <openjpeg.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "codec.h"
#include "exhibit.h"
#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpeg2000/openjpeg_peer.h"
#include "rate_chart.h"

namespace demo {
namespace {

// Both decoders work in single precision and round once, at the end.
constexpr double kTolerance = 0.05;

sample::Jpeg2000WriteOptions optionsOf(double rate) {
  return {.reversible = false, .layers = {{sample::Jpeg2000Layer::By::kBitsPerPixel, rate}}};
}

sample::OpenjpegOptions peerOptionsOf(double bytes) { return {.reversible = false, .layerBytes = {bytes}}; }

void decode(const Bytes& file, sample::Picture& picture) {
  picture = sample::to8Bits(sample::toPicture(sample::readJpeg2000Planes(file, {.threads = 1})));
}

void peerDecode(const Bytes& file, sample::Picture& picture) {
  picture = sample::to8Bits(sample::openjpegDecode(file));
}

std::string shortNumber(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

Codec rateCodec(double rate) {
  return {
      .family = "JPEG 2000",
      .setting = "9/7 at " + shortNumber(rate),
      .file = "jpeg2000-" + shortNumber(rate) + ".jp2",
      .mime = "",
      .channels = 3,
      .tolerance = kTolerance,
      .encode = [=](const sample::Picture& picture) { return sample::writeJpeg2000(picture, optionsOf(rate)); },
      .decode = decode,
      .peer = std::string("OpenJPEG ") + opj_version(),
      .peerEncode =
          [=](const sample::Picture& picture) {
            const double pixels = static_cast<double>(picture.width) * picture.height;
            return sample::openjpegEncode(sample::toBits(picture, 8), peerOptionsOf(rate * pixels / 8));
          },
      .peerDecode = peerDecode,
  };
}

Codec losslessCodec(int32_t channels) {
  return {
      .family = channels == 1 ? "JPEG 2000 grey" : "JPEG 2000 RGB",
      .setting = "5/3, lossless",
      .file = channels == 1 ? "jpeg2000-grey-lossless.jp2" : "jpeg2000-lossless.jp2",
      .mime = "",
      .channels = channels,
      .tolerance = 0,
      .encode = [](const sample::Picture& picture) { return sample::writeJpeg2000(picture); },
      .decode = decode,
      .peer = std::string("OpenJPEG ") + opj_version(),
      .peerEncode = [](const sample::Picture& picture) { return sample::openjpegEncode(sample::toBits(picture, 8)); },
      .peerDecode = peerDecode,
  };
}

}  // namespace

std::vector<Codec> jpeg2000Codecs() {
  std::vector<Codec> codecs;
  for (const double rate : {0.25, 0.5, 1.0, 2.0}) codecs.push_back(rateCodec(rate));
  for (const int32_t channels : {3, 1}) codecs.push_back(losslessCodec(channels));
  return codecs;
}

Section jpeg2000Rates(const sample::Picture& picture) {
  constexpr double kMostBehind = 0.2;  // dB
  Curve ours{"qlmjp", {}}, peers{"OpenJPEG", {}, true};
  double behind = -INFINITY;
  for (const double rate : {0.125, 0.25, 0.5, 1.0, 2.0, 3.0}) {
    const Bytes file = sample::writeJpeg2000(picture, optionsOf(rate));
    const Bytes peerFile =
        sample::openjpegEncode(sample::toBits(picture, 8), peerOptionsOf(static_cast<double>(file.size())));
    const auto point = [&](const Bytes& bytes, auto decoder) {
      sample::Picture decoded;
      decoder(bytes, decoded);
      const double pixels = static_cast<double>(picture.width) * picture.height;
      const double bits = 8 * static_cast<double>(bytes.size()) / pixels, psnr = sample::psnr(picture, decoded);
      char title[64];
      std::snprintf(title, sizeof title, "%.3f bits a pixel, %.2f dB", bits, psnr);
      return Curve::Point{bits, psnr, title};
    };
    ours.points.push_back(point(file, decode));
    peers.points.push_back(point(peerFile, peerDecode));
    behind = std::max(behind, peers.points.back().psnr - ours.points.back().psnr);
  }
  char caption[128];
  std::snprintf(caption, sizeof caption, "qlmjp and OpenJPEG at the same lengths: at most %.3f dB %s", std::abs(behind),
                behind > 0 ? "behind" : "ahead at the least");
  Exhibit exhibit{"jpeg2000-rates.svg", caption, {}, "", rateChart({peers, ours})};
  if (behind > kMostBehind) exhibit.failure = "OpenJPEG's files of the same length are better";
  return {"JPEG 2000 by rate",
          "The picture by the irreversible transforms, in one quality layer of each rate. Both encoders choose the "
          "coding passes that gain most for their bytes; each decodes its own files.",
          {exhibit}};
}

}  // namespace demo
