#include "jpeg2000_options.h"

#include <cstdio>
#include <tuple>

#include "words.h"

namespace qlmconv {
namespace {

// "64x32", or "64" for both sides.
std::pair<int32_t, int32_t> parseSize(const std::string& option, const std::string& text) {
  int width = 0, height = 0, end = 0;
  if (std::sscanf(text.c_str(), "%9dx%9d%n", &width, &height, &end) != 2) {
    std::sscanf(text.c_str(), "%9d%n", &width, &end);
    height = width;
  }
  if (height < 1 || width < 1 || static_cast<size_t>(end) != text.size())
    throw CLI::ValidationError(option, "a size such as 64 or 64x32 is wanted, not " + text);
  return {width, height};
}

CLI::Option* asList(CLI::Option* option) {
  return option->delimiter(',')->allow_extra_args(false)->default_str("")->type_name("");
}

}  // namespace

void addJpeg2000Options(CLI::App& app, Jpeg2000Words& words, sample::Jpeg2000WriteOptions& options) {
  using sample::j2k::Progression;
  auto* rates = asList(app.add_option("--rates", words.rates,
                                      "Bits a pixel of the quality layers of a JPEG 2000 file, such as 0.25,0.5,1 "
                                      "(default one layer with everything)"));
  auto* psnrs = asList(app.add_option("--psnr", words.psnrs, "The same by the PSNR in dB, such as 30,40"));
  rates->check(CLI::PositiveNumber)->excludes(psnrs);
  psnrs->check(CLI::PositiveNumber);
  app.add_option("--levels", options.levels, "Levels of the wavelet in a JPEG 2000 file")
      ->check(CLI::Range(0, sample::j2k::kMostLevels))
      ->capture_default_str();
  app.add_option("--tile", words.tile, "Size of the tiles of a JPEG 2000 file (default as large as the picture)")
      ->type_name("");
  app.add_option("--block", words.block, "Size of its code-blocks (default 64x64)")->type_name("");
  asList(app.add_option("--precincts", words.precincts,
                        "Sizes of its precincts from the largest resolution on, such as 256x256,128x128 (default as "
                        "large as the resolution)"));
  asList(app.add_option("--block-style", words.styles,
                        "Style of its code-blocks: any of bypass, reset, terminate, causal, predictable, segmentation"))
      ->transform(oneOf<int32_t>({{"bypass", sample::j2k::kBypass},
                                  {"reset", sample::j2k::kResetContexts},
                                  {"terminate", sample::j2k::kTerminateAll},
                                  {"causal", sample::j2k::kCausal},
                                  {"predictable", sample::j2k::kPredictableEnd},
                                  {"segmentation", sample::j2k::kSegmentationSymbols}}));
  app.add_option("--order", options.progression, "Order of its packets: lrcp, rlcp, rpcl, pcrl or cprl (default lrcp)")
      ->transform(oneOf<Progression>({{"lrcp", Progression::kLrcp},
                                      {"rlcp", Progression::kRlcp},
                                      {"rpcl", Progression::kRpcl},
                                      {"pcrl", Progression::kPcrl},
                                      {"cprl", Progression::kCprl}}))
      ->type_name("");
  app.add_flag("--sop", options.sop, "Mark the start of each of its packets");
  app.add_flag("--eph", options.eph, "Mark the end of the header of each of its packets");
}

void takeJpeg2000Words(const Jpeg2000Words& words, bool lossless, std::optional<sample::Wavelet> wavelet,
                       sample::Jpeg2000WriteOptions& options) {
  using By = sample::Jpeg2000Layer::By;
  const bool isWhole = lossless || (words.rates.empty() && words.psnrs.empty());
  options.reversible =
      lossless || wavelet.value_or(isWhole ? sample::Wavelet::k53 : sample::Wavelet::k97) == sample::Wavelet::k53;
  options.layers.clear();
  for (const double rate : words.rates) options.layers.push_back({By::kBitsPerPixel, rate});
  for (const double psnr : words.psnrs) options.layers.push_back({By::kPsnr, psnr});
  if (isWhole) options.layers.push_back({By::kEverything});
  if (!words.tile.empty()) std::tie(options.tileWidth, options.tileHeight) = parseSize("--tile", words.tile);
  if (!words.block.empty()) std::tie(options.blockWidth, options.blockHeight) = parseSize("--block", words.block);
  for (const std::string& text : words.precincts) {
    const auto [width, height] = parseSize("--precincts", text);
    options.precincts.push_back({width, height});
  }
  for (const int32_t style : words.styles) options.blockStyle |= style;
}

}  // namespace qlmconv
