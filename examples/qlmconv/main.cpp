// qlmconv: converts pictures between the formats of the sample codecs.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <functional>
#include <map>

#include "formats.h"
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
  qlmconv camera.jpg thumb.png --scale 1/8               decode an eighth of the size only
  qlmconv camera.jpg smooth.png --upsampling triangle    interpolate chroma

Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done, but the input is damaged or truncated and only a part of it
could be decoded.)";

struct Options {
  fs::path in, out;
  sample::JpegReadOptions read;
  sample::JpegWriteOptions write;
  bool grey = false, quiet = false;
};

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
  if (options.grey && source.picture.channels != 1) source.picture = sample::toGrey(sample::toRgb(source.picture));
  {
    qlmconv::ProgressBar bar("writing", !options.quiet);
    options.write.progress = std::ref(bar);
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
  app.add_flag("-g,--grey", options.grey, "Drop colour");
  app.add_flag("--quiet", options.quiet, "No warnings and no progress bar");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  }
  options.read.by = options.write.by = by;
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
