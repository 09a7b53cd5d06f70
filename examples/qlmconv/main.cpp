// qlmconv: converts pictures between the formats of the sample codecs.
#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include "formats.h"
#include "jpeg2000_options.h"
#include "progress_bar.h"
#include "words.h"

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
  qlmconv photo.png photo.jxr -q 90 --overlap 1          JPEG XR, smoothed across the edges of blocks
  qlmconv photo.png photo.dds --texture ycocg --mipmaps  a texture for a graphics card, with its smaller levels
  qlmconv photo.png photo.dds -t bc7 --bc7-modes 1,3,6   BC7 in three of its modes
  qlmconv light.dds light.pfm                            BC6 to a picture of floats
  qlmconv photo.png photo.jp2                            lossless JPEG 2000
  qlmconv photo.png photo.jp2 --rates 0.25,0.5,1         three quality layers, at most so many bits a pixel each
  qlmconv photo.jp2 rough.png --layers 1 --scale 1/4     its first layer at a quarter of the size
  qlmconv scan16.tif scan.j2k --lossless --rates 1       a layer of 1 bit a pixel, and all the rest in another one
  qlmconv photo.png photo.jp2 --psnr 40 --tile 512 --order rpcl --precincts 128x128
  qlmconv photo.png bands.png --show-bands 3             what three levels of a wavelet make of it

Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done, but the input is damaged or truncated and only a part of it
could be decoded.)";

struct Options {
  fs::path in, out;
  qlmconv::ReadOptions read;
  qlmconv::WriteOptions write;
  std::optional<int32_t> bits;
  bool grey = false, quiet = false;
  std::optional<int32_t> levels;  // of bands to show
  std::optional<sample::Wavelet> wavelet;
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
    source.picture = bandsOf(picture.channels == 4 ? sample::toRgb(picture) : picture,
                             options.wavelet.value_or(sample::Wavelet::k53), *options.levels);
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

sample::JxrComponents jxrComponents(sample::Subsampling subsampling) {
  if (subsampling == sample::Subsampling::k420) return sample::JxrComponents::k420;
  return subsampling == sample::Subsampling::k422 ? sample::JxrComponents::k422 : sample::JxrComponents::k444;
}

int run(int argc, char** argv) {
  Options options;
  sample::JpegBy by = sample::JpegBy::kMcu;
  std::string script;
  std::optional<uint8_t> quantiser;
  bool progressive = false, lossless = false;
  qlmconv::Jpeg2000Words words;
  CLI::App app("Converts a picture; the extensions say from which format to which (" + qlmconv::listFormats() + ").");
  app.footer(kExamples);
  app.add_option("in", options.in, "Picture to read")->required();
  app.add_option("out", options.out, "Picture to write")->required();
  app.add_option("-q,--quality", options.write.quality, "Quality of JPEG and JPEG XR, where 100 is lossless")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  auto* subsampling = app.add_option("-s,--subsampling", options.write.subsampling,
                                     "Chroma of JPEG (default 420) and JPEG XR (default 444): 444, 422 or 420")
                          ->transform(qlmconv::oneOf<sample::Subsampling>({{"444", sample::Subsampling::k444},
                                                                           {"422", sample::Subsampling::k422},
                                                                           {"420", sample::Subsampling::k420}}))
                          ->type_name("");
  app.add_option("-c,--colour", options.write.colour,
                 "What a JPEG stores: grey, ycbcr, rgb, cmyk or ycck (default grey, ycbcr or ycck, as the picture is)")
      ->transform(qlmconv::oneOf<sample::JpegColour>({{"grey", sample::JpegColour::kGrey},
                                                      {"ycbcr", sample::JpegColour::kYCbCr},
                                                      {"rgb", sample::JpegColour::kRgb},
                                                      {"cmyk", sample::JpegColour::kCmyk},
                                                      {"ycck", sample::JpegColour::kYcck}}))
      ->type_name("");
  app.add_option("--by", by, "Convert JPEG colours by mcu or by plane (default mcu)")
      ->transform(qlmconv::oneOf<sample::JpegBy>({{"mcu", sample::JpegBy::kMcu}, {"plane", sample::JpegBy::kPlane}}))
      ->type_name("");
  app.add_option("-u,--upsampling", options.read.upsampling,
                 "Chroma of a JPEG at full size: replicate or triangle (default replicate)")
      ->transform(qlmconv::oneOf<sample::Upsampling>(
          {{"replicate", sample::Upsampling::kReplicate}, {"triangle", sample::Upsampling::kTriangle}}))
      ->type_name("");
  app.add_option("--scale", options.read.scale,
                 "Size at which a JPEG is read: 1/1, 1/2, 1/4 or 1/8, of JPEG 2000 also 1/16 or 1/32 (default 1/1)")
      ->transform(qlmconv::oneOf<int32_t>({{"1/1", 1}, {"1/2", 2}, {"1/4", 4}, {"1/8", 8}, {"1/16", 16}, {"1/32", 32}}))
      ->type_name("");
  app.add_option("-r,--restart", options.write.restartInterval, "MCUs between JPEG restart markers, 0 for none")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_flag("-o,--optimise", options.write.coding.optimise, "Make the Huffman tables of a JPEG for the picture");
  auto* progressiveFlag = app.add_flag("-p,--progressive", progressive, "Write a progressive JPEG");
  auto* scriptOption =
      app.add_option("--script", script, "Scans of a JPEG: a text such as \"0: 0-63, 0, 0;\", or a file that has it");
  auto* losslessFlag =
      app.add_flag("--lossless", lossless,
                   "Write a lossless JPEG or JPEG XR, or a last layer of JPEG 2000 with all that is left")
          ->excludes(progressiveFlag)
          ->excludes(scriptOption);
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
  app.add_option("--layers", options.read.layers, "Read so many quality layers of a JPEG 2000 file only (default all)")
      ->check(CLI::PositiveNumber);
  app.add_option("--show-bands", options.levels, "Write the bands of this many levels of a wavelet, 0 to 8")
      ->check(CLI::Range(0, 8))
      ->type_name("");
  app.add_option("-w,--wavelet", options.wavelet,
                 "Wavelet of the bands or of a JPEG 2000 file: 5/3 or 9/7 (default 5/3, with --rates or --psnr 9/7)")
      ->transform(qlmconv::oneOf<sample::Wavelet>({{"5/3", sample::Wavelet::k53}, {"9/7", sample::Wavelet::k97}}))
      ->type_name("");
  qlmconv::addJpeg2000Options(app, words, options.write.jpeg2000);
  app.add_option("--overlap", options.write.jxr.overlap, "Overlap filters of a JPEG XR: 0, 1 or 2 (default 0)")
      ->transform(qlmconv::oneOf<sample::JxrOverlap>(
          {{"0", sample::JxrOverlap::kNone}, {"1", sample::JxrOverlap::kOne}, {"2", sample::JxrOverlap::kTwo}}))
      ->type_name("");
  app.add_option("--quantiser", quantiser, "Index of the quantiser of a JPEG XR, in place of its quality")
      ->check(CLI::Range(0, 255));
  app.add_option("--bands", options.write.jxr.bands,
                 "Bands of a JPEG XR: all, no-flexbits, no-highpass or dc-only (default all)")
      ->transform(qlmconv::oneOf<sample::JxrBands>({{"all", sample::JxrBands::kAll},
                                                    {"no-flexbits", sample::JxrBands::kNoFlexbits},
                                                    {"no-highpass", sample::JxrBands::kNoHighpass},
                                                    {"dc-only", sample::JxrBands::kDcOnly}}))
      ->type_name("");
  app.add_option("-t,--texture", options.write.texture,
                 "Blocks of a DDS: dxt1, dxt3, dxt5, ycocg, bc4, bc5 or bc7 (default dxt1)")
      ->transform(qlmconv::oneOf<sample::TextureFormat>({{"dxt1", sample::TextureFormat::kDxt1},
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
  app.add_option("--threads", options.read.threads, "Threads that read or write a JPEG 2000 file, 0 for all processors")
      ->check(CLI::Range(0, 1024))
      ->capture_default_str();
  app.add_flag("-g,--grey", options.grey, "Drop colour");
  app.add_flag("--quiet", options.quiet, "No warnings and no progress bar");
  try {
    app.parse(argc, argv);
    qlmconv::takeJpeg2000Words(words, lossless, options.wavelet, options.write.jpeg2000);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  options.read.by = options.write.by = by;
  options.write.jpeg2000.threads = options.read.threads;
  if (progressive) options.write.coding.process = sample::JpegProcess::kProgressive;
  if (lossless) options.write.coding.process = sample::JpegProcess::kLossless;
  options.write.coding.script = readScript(script);
  options.write.jxr.quality = lossless ? 100 : options.write.quality;
  if (subsampling->count() > 0) options.write.jxr.components = jxrComponents(options.write.subsampling);
  if (quantiser) options.write.jxr.quantisers.emplace().fill({*quantiser, *quantiser, *quantiser});
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
