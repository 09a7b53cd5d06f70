// qlmconv: converts pictures between the formats of the sample codecs.
#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>

#include "formats.h"
#include "jpeg2000/bands.h"
#include "progress_bar.h"

namespace {

namespace fs = std::filesystem;

enum Exit { kDone = 0, kFailed = 1, kUsage = 2, kPartial = 3 };

constexpr const char* kExamples = R"(
Examples:
  qlmconv photo.png photo.jpg                            quality 75, chroma at half width and height
  qlmconv photo.png photo.jpg -q 95 --subsampling 444    near to lossless
  qlmconv photo.jpg grey.pgm --grey                      decode and drop colour
  qlmconv camera.jpg small.jpg --restart 16              transcode with restart markers
  qlmconv photo.png print.jpg --colour ycck              four channels, all grey in the black one
  qlmconv print.jpg screen.png                           CMYK to RGB: each colour dimmed by black
  qlmconv photo.png web.jpg --progressive                every part of the file sharpens the whole picture
  qlmconv web.jpg preview.png --scans 3                  that picture as its first three scans show it
  qlmconv web.jpg half.jpg --script "0 1 2: 0-0, 0, 0; 0: 1-20, 0, 0; 0: 21-63, 0, 0; 1: 1-63, 0, 0; 2: 1-63, 0, 0;"
  qlmconv scan16.png scan16.jpg --lossless --predictor 7 every bit of 16-bit samples
  qlmconv scan16.png scan12.jpg --bits 12 -q 95          12-bit samples with the DCT
  qlmconv camera.jpg thumb.png --scale 1/8               decode an eighth of the size only
  qlmconv camera.jpg smooth.png --upsampling triangle    interpolate chroma
  qlmconv photo.png photo.dds --texture ycocg --mipmaps  a texture for a graphics card, with its smaller levels
  qlmconv photo.png photo.dds -t bc7 --bc7-modes 1,3,6   BC7 in three of its modes
  qlmconv light.dds light.pfm                            BC6 to a picture of floats
  qlmconv photo.png bands.png --show-bands 3             what three levels of a wavelet make of it

Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done, but the input is damaged or truncated and only a part of it
could be decoded.)";

struct Options {
  fs::path in, out;
  sample::JpegReadOptions read;
  qlmconv::WriteOptions write;
  std::optional<int32_t> bits;
  bool grey = false, quiet = false;
  std::optional<int32_t> levels;  // of bands to show
  sample::Wavelet wavelet = sample::Wavelet::k53;
};

// The bands in place of the picture, once it is seen that they make the picture again.
sample::Picture bandsOf(const sample::Picture& picture, sample::Wavelet wavelet, int32_t levels) {
  const sample::Bands bands = sample::toBands(picture, wavelet, levels);
  constexpr double kRounding = 50;  // dB that 9/7 keeps at the least, whose values are rounded at each level
  if (sample::psnr(sample::fromBands(bands), picture) < (wavelet == sample::Wavelet::k53 ? INFINITY : kRounding))
    throw std::runtime_error("the bands do not make the picture again");
  return sample::showBands(bands);
}

// A script stands in a file of this name, or is the text itself.
sample::JpegScript readScript(const std::string& fileOrText) {
  if (fileOrText.empty()) return {};
  std::error_code ignored;
  if (!fs::is_regular_file(fileOrText, ignored)) return sample::parseScript(fileOrText);
  std::ifstream in(fileOrText, std::ios::binary);
  return sample::parseScript(std::string(std::istreambuf_iterator<char>(in), {}));
}

// The bits of a sample in the new file: as wished, else those of the picture, or 8 where the DCT does not take them.
int32_t bitsToWrite(const Options& options, const qlmconv::Format& to, int32_t bits) {
  if (options.bits) return *options.bits;
  const bool dct = to.extensions[0] == "jpg" && options.write.coding.process != sample::JpegProcess::kLossless;
  return dct && bits != 12 ? 8 : bits;
}

int convert(Options& options, const qlmconv::Format& from, const qlmconv::Format& to) {
  qlmconv::ReadResult source;
  {
    qlmconv::ProgressBar bar("reading", !options.quiet);
    options.read.progress = std::ref(bar);
    source = from.read(options.in, options.read);
  }
  if (!source.warning.empty() && !options.quiet)
    std::fprintf(stderr, "qlmconv: warning: %s: %s; what could be decoded is kept\n", options.in.c_str(),
                 source.warning.c_str());
  if (options.grey) source.picture = qlmconv::toGrey(source.picture);
  if (options.levels) {
    const sample::AnyPicture eight = qlmconv::toBits(source.picture, 8);
    const auto& picture = std::get<sample::Picture>(eight);
    source.picture =
        bandsOf(picture.channels == 4 ? sample::toRgb(picture) : picture, options.wavelet, *options.levels);
  }
  source.picture = qlmconv::toBits(source.picture, bitsToWrite(options, to, qlmconv::bitsOf(source.picture)));
  {
    qlmconv::ProgressBar bar("writing", !options.quiet);
    options.write.progress = std::ref(bar);
    if (source.half && to.writeHalf)
      to.writeHalf(options.out, *source.half);
    else
      to.write(options.out, source.picture, options.write);
  }
  return source.warning.empty() ? kDone : kPartial;
}

const qlmconv::Format* knownFormat(const fs::path& file) {
  const qlmconv::Format* format = qlmconv::findFormat(file);
  if (!format)
    std::fprintf(stderr, "qlmconv: %s: unknown format; known extensions: %s\n", file.c_str(),
                 qlmconv::listFormats().c_str());
  return format;
}

// Only these words, and what they stand for.
template <typename T>
CLI::CheckedTransformer oneOf(const std::map<std::string, T>& words) {
  CLI::CheckedTransformer transformer(words);
  transformer.description("");
  return transformer;
}

int run(int argc, char** argv) {
  Options options;
  sample::JpegBy by = sample::JpegBy::kMcu;
  std::string script;
  bool progressive = false, lossless = false;
  CLI::App app("Converts a picture; the extensions say from which format to which (" + qlmconv::listFormats() + ").");
  app.footer(kExamples);
  app.add_option("in", options.in, "Picture to read")->required();
  app.add_option("out", options.out, "Picture to write")->required();
  app.add_option("-q,--quality", options.write.quality, "JPEG quality")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  app.add_option("-s,--subsampling", options.write.subsampling, "JPEG chroma: 444, 422 or 420 (default 420)")
      ->transform(oneOf<sample::Subsampling>(
          {{"444", sample::Subsampling::k444}, {"422", sample::Subsampling::k422}, {"420", sample::Subsampling::k420}}))
      ->type_name("");
  app.add_option("-c,--colour", options.write.colour,
                 "What a JPEG stores: grey, ycbcr, rgb, cmyk or ycck (default grey, ycbcr or ycck, as the picture is)")
      ->transform(oneOf<sample::JpegColour>({{"grey", sample::JpegColour::kGrey},
                                             {"ycbcr", sample::JpegColour::kYCbCr},
                                             {"rgb", sample::JpegColour::kRgb},
                                             {"cmyk", sample::JpegColour::kCmyk},
                                             {"ycck", sample::JpegColour::kYcck}}))
      ->type_name("");
  app.add_option("--by", by, "Convert JPEG colours by mcu or by plane (default mcu)")
      ->transform(oneOf<sample::JpegBy>({{"mcu", sample::JpegBy::kMcu}, {"plane", sample::JpegBy::kPlane}}))
      ->type_name("");
  app.add_option("-u,--upsampling", options.read.upsampling,
                 "Chroma of a JPEG at full size: replicate or triangle (default replicate)")
      ->transform(oneOf<sample::Upsampling>(
          {{"replicate", sample::Upsampling::kReplicate}, {"triangle", sample::Upsampling::kTriangle}}))
      ->type_name("");
  app.add_option("--scale", options.read.scale, "Size at which a JPEG is read: 1/1, 1/2, 1/4 or 1/8 (default 1/1)")
      ->transform(oneOf<int32_t>({{"1/1", 1}, {"1/2", 2}, {"1/4", 4}, {"1/8", 8}}))
      ->type_name("");
  app.add_option("-r,--restart", options.write.restartInterval, "MCUs between JPEG restart markers, 0 for none")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_flag("-o,--optimise", options.write.coding.optimise, "Make the Huffman tables of a JPEG for the picture");
  auto* progressiveFlag = app.add_flag("-p,--progressive", progressive, "Write a progressive JPEG");
  auto* scriptOption =
      app.add_option("--script", script, "Scans of a JPEG: a text such as \"0: 0-63, 0, 0;\", or a file that has it");
  auto* losslessFlag =
      app.add_flag("--lossless", lossless, "Write a lossless JPEG")->excludes(progressiveFlag)->excludes(scriptOption);
  app.add_option("--predictor", options.write.coding.predictor, "Predictor of a lossless JPEG")
      ->check(CLI::Range(1, 7))
      ->needs(losslessFlag)
      ->capture_default_str();
  app.add_option("--point-transform", options.write.coding.pointTransform, "Low bits that a lossless JPEG leaves out")
      ->check(CLI::Range(0, 15))
      ->needs(losslessFlag)
      ->capture_default_str();
  app.add_option("--bits", options.bits, "Bits a sample to write (default as the input, or what the format can hold)")
      ->check(CLI::Range(2, 16));
  app.add_option("--scans", options.read.scans, "Read so many scans of a JPEG only (default all)")
      ->check(CLI::PositiveNumber);
  auto* levels =
      app.add_option("--show-bands", options.levels, "Write the bands of this many levels of a wavelet, 0 to 8")
          ->check(CLI::Range(0, 8))
          ->type_name("");
  app.add_option("-w,--wavelet", options.wavelet, "Wavelet of the bands: 5/3 or 9/7 (default 5/3)")
      ->transform(oneOf<sample::Wavelet>({{"5/3", sample::Wavelet::k53}, {"9/7", sample::Wavelet::k97}}))
      ->type_name("")
      ->needs(levels);
  app.add_option("-t,--texture", options.write.texture,
                 "Blocks of a DDS: dxt1, dxt3, dxt5, ycocg, bc4, bc5 or bc7 (default dxt1)")
      ->transform(oneOf<sample::TextureFormat>({{"dxt1", sample::TextureFormat::kDxt1},
                                                {"dxt3", sample::TextureFormat::kDxt3},
                                                {"dxt5", sample::TextureFormat::kDxt5},
                                                {"ycocg", sample::TextureFormat::kYCoCgDxt5},
                                                {"bc4", sample::TextureFormat::kBc4},
                                                {"bc5", sample::TextureFormat::kBc5},
                                                {"bc7", sample::TextureFormat::kBc7}}))
      ->type_name("");
  app.add_option("--bc7-modes", options.write.bc7Modes,
                 "Modes to try for each block of BC7, such as 1,3,6 (default all)")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::Range(0, 7))
      ->default_str("")
      ->type_name("");
  app.add_flag("-m,--mipmaps", options.write.mipmaps, "Give a DDS all smaller levels");
  app.add_flag_callback(
      "--dx10", [&] { options.write.header = sample::DdsHeader::kDx10; }, "Give a DDS the header of DirectX 10");
  app.add_flag("-g,--grey", options.grey, "Drop colour");
  app.add_flag("--quiet", options.quiet, "No warnings and no progress bar");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  options.read.by = options.write.by = by;
  if (progressive) options.write.coding.process = sample::JpegProcess::kProgressive;
  if (lossless) options.write.coding.process = sample::JpegProcess::kLossless;
  options.write.coding.script = readScript(script);
  const qlmconv::Format* from = knownFormat(options.in);
  const qlmconv::Format* to = knownFormat(options.out);
  if (!from || !to) return kUsage;
  return convert(options, *from, *to);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qlmconv: %s\n", error.what());
    return kFailed;
  }
}
