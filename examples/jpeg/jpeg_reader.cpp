#include "jpeg/jpeg_reader.h"

#include <cstring>
#include <string>

#include "jpeg/jpeg_headers.h"
#include "jpeg/jpeg_scan.h"

namespace sample {
namespace {

// A block takes two bits at least, so a whole file has at most 4 blocks a byte. Eight times that leaves room for
// truncated files, and refuses a picture of gigabytes that is announced in a few bytes.
constexpr int64_t kMaxBlocksPerByte = 32;

void readFirstScan(JpegInput& input, JpegHeaders& headers, JpegScan& scan) {
  if (!nextScan(input, headers, scan)) throw JpegError("damaged: the file has no image scan");
  const JpegFrame& frame = headers.frame;
  const int64_t blocks = int64_t{frame.mcusWide()} * frame.mcusHigh() * frame.blocksInMcu();
  if (blocks > kMaxBlocksPerByte * static_cast<int64_t>(input.bytes.size()))
    throw JpegError("damaged: " + std::to_string(input.bytes.size()) + " bytes cannot hold a picture of " +
                    std::to_string(frame.width) + " x " + std::to_string(frame.height));
}

// One 8 x 8 block a component to interleaved pixels, which need no conversion.
QlmStatus cmykToPixels(const int16_t* const* src, uint8_t* dst, int32_t dstStep) {
  uint8_t samples[4][kBlockSize];
  for (int32_t c = 0; c < 4; ++c) qlmiAdd128_JPEG_16s8u_C1R(src[c], 16, samples[c], 8, {8, 8});
  for (int32_t i = 0; i < kBlockSize; ++i)
    for (int32_t c = 0; c < 4; ++c) dst[i / 8 * dstStep + i % 8 * 4 + c] = samples[c][i];
  return qlmOk;
}

// The conversions of the library for the usual sampling factors: 1 for chroma, h and v for everything else.
struct ColourForm {
  JpegColour colour;
  int32_t h, v;
  QlmStatus (*toPixels)(const int16_t* const* src, uint8_t* dst, int32_t dstStep);
};
constexpr ColourForm kColourForms[]{{JpegColour::kYCbCr, 1, 1, qlmiYCbCr444ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYCbCr, 2, 1, qlmiYCbCr422ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYCbCr, 2, 2, qlmiYCbCr411ToRGBLS_MCU_16s8u_P3C3R},
                                    {JpegColour::kYcck, 1, 1, qlmiYCCK444ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kYcck, 2, 1, qlmiYCCK422ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kYcck, 2, 2, qlmiYCCK411ToCMYKLS_MCU_16s8u_P4C4R},
                                    {JpegColour::kRgb, 1, 1, qlmiSampleUp444LS_MCU_16s8u_P3C3R},
                                    {JpegColour::kCmyk, 1, 1, cmykToPixels}};

const ColourForm* findForm(JpegColour colour, int32_t h, int32_t v) {
  const auto found = std::ranges::find_if(
      kColourForms, [&](const ColourForm& form) { return form.colour == colour && form.h == h && form.v == v; });
  return found == std::end(kColourForms) ? nullptr : found;
}

// Null where the sampling factors are unusual.
const ColourForm* findForm(const JpegFrame& frame, JpegColour colour) {
  const int32_t h = frame.components[0].h, v = frame.components[0].v;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    if (isChroma(colour, i) ? c.h * c.v != 1 : c.h != h || c.v != v) return nullptr;
  }
  return findForm(colour, h, v);
}

// Spatial blocks of one MCU, contiguous, to pixels; `blocksOf` says how many each component has.
using BlocksOf = std::array<int32_t, 4>;

BlocksOf blocksOf(const JpegFrame& frame) {
  BlocksOf blocks{};
  for (size_t i = 0; i < frame.components.size(); ++i) blocks[i] = frame.components[i].h * frame.components[i].v;
  return blocks;
}

void mcuToPixels(const ColourForm& form, const BlocksOf& counts, const int16_t* blocks, uint8_t* pixels, int32_t step) {
  const int16_t* planes[4];
  for (size_t i = 0; i < counts.size(); blocks += kBlockSize * counts[i++]) planes[i] = blocks;
  form.toPixels(planes, pixels, step);
}

// Has draw(pixels, step) paint a tile of up to 16 x 16 pixels: in the picture where the tile lies inside, else in a
// spare, of which the part inside is copied.
template <typename Draw>
void drawTile(Picture& picture, int32_t x, int32_t y, int32_t width, int32_t height, Draw draw) {
  const ptrdiff_t channels = picture.channels;
  const int32_t insideX = std::min(width, picture.width - x), insideY = std::min(height, picture.height - y);
  uint8_t* pixels = picture.row(y) + x * channels;
  if (insideX == width && insideY == height) {
    draw(pixels, picture.step());
    return;
  }
  uint8_t spare[16 * 16 * 4];
  const auto step = static_cast<int32_t>(width * channels);
  draw(spare, step);
  for (int32_t row = 0; row < insideY; ++row)
    std::memcpy(pixels + ptrdiff_t{row} * picture.step(), spare + ptrdiff_t{row} * step,
                static_cast<size_t>(insideX * channels));
}

void shape(Picture& picture, const JpegFrame& frame, JpegColour colour, int32_t scale) {
  picture.width = (frame.width + scale - 1) / scale;
  picture.height = (frame.height + scale - 1) / scale;
  picture.channels = channelsOf(colour);
  picture.pixels.resize(static_cast<size_t>(picture.step()) * static_cast<size_t>(picture.height));
}

// Mid-grey for the MCUs from (row, column) on.
void greyRest(Picture& picture, const JpegFrame& frame, int32_t row, int32_t column) {
  const int32_t x = std::min(column * frame.mcuWidth(), frame.width);
  for (int32_t y = row * frame.mcuHeight(); y < frame.height; ++y) {
    const int32_t from = y < (row + 1) * frame.mcuHeight() ? x : 0;
    std::memset(picture.row(y) + ptrdiff_t{from} * picture.channels, 128,
                static_cast<size_t>(frame.width - from) * static_cast<size_t>(picture.channels));
  }
}

// To the end-of-image marker; there is nothing left to decode.
void skipToEnd(JpegInput& input, JpegHeaders& headers, JpegScan& scan) {
  while (nextScan(input, headers, scan)) continue;
}

// One scan of all components straight to pixels: toPixels(decoder, blocks, pixels, step) finishes one MCU while its
// blocks are in the cache.
template <typename ToPixels>
void decodePixels(JpegInput& input, JpegHeaders& headers, JpegScan& scan, Picture& picture, const Progress& progress,
                  ToPixels toPixels) {
  const JpegFrame& frame = headers.frame;
  const int32_t width = frame.mcuWidth(), height = frame.mcuHeight();
  const int32_t mcusWide = frame.mcusWide(), mcusHigh = frame.mcusHigh();
  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  int32_t row = 0, column = 0;
  try {
    ScanDecoder decoder = startScan(input, headers, scan);
    for (row = 0; row < mcusHigh; ++row) {
      for (column = 0; column < mcusWide; ++column) {
        decodeMcu(decoder, blocks);
        drawTile(picture, column * width, row * height, width, height,
                 [&](uint8_t* pixels, int32_t step) { toPixels(decoder, blocks, pixels, step); });
      }
      if (progress) progress(row + 1, mcusHigh);
    }
    input = endScan(decoder);
    skipToEnd(input, headers, scan);
  } catch (const JpegError& error) {
    greyRest(picture, frame, row, column);
    throw JpegDamaged(error.what());
  }
}

// The first 3 zig-zag positions lie in the top left 2x2, the first 10 in the 4x4; results are the same to the bit.
void blockToSamples(const int16_t* block, int32_t coded, const uint16_t* quant, uint8_t* samples, int32_t step) {
  if (coded <= 3)
    qlmiDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(block, samples, step, quant);
  else if (coded <= 10)
    qlmiDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(block, samples, step, quant);
  else
    qlmiDCTQuantInv8x8LS_JPEG_16s8u_C1R(block, samples, step, quant);
}

void decodeGrey(JpegInput& input, JpegHeaders& headers, JpegScan& scan, Picture& picture, const Progress& progress) {
  const auto quant = inverseTable(*headers.componentQuant[0]);
  const auto toPixels = [&](const ScanDecoder& decoder, int16_t* block, uint8_t* pixels, int32_t step) {
    blockToSamples(block, decoder.coded[0], quant.data(), pixels, step);
  };
  decodePixels(input, headers, scan, picture, progress, toPixels);
}

void decodeColour(JpegInput& input, JpegHeaders& headers, JpegScan& scan, const ColourForm& form, Picture& picture,
                  const Progress& progress) {
  const BlocksOf counts = blocksOf(headers.frame);
  std::array<std::array<uint16_t, kBlockSize>, 4> quant;
  for (size_t i = 0; i < headers.frame.components.size(); ++i) quant[i] = inverseTable(*headers.componentQuant[i]);
  const auto toPixels = [&](const ScanDecoder&, int16_t* blocks, uint8_t* pixels, int32_t step) {
    int16_t* block = blocks;
    for (size_t i = 0; i < counts.size(); ++i)
      for (int32_t b = 0; b < counts[i]; ++b, block += kBlockSize)
        qlmiDCTQuantInv8x8_JPEG_16s_C1I(block, quant[i].data());
    mcuToPixels(form, counts, blocks, pixels, step);
  };
  decodePixels(input, headers, scan, picture, progress, toPixels);
}

// Hands each block of one scan to put(component, row, column, block, coded). A scan of one component has its own raster
// of blocks, without padding to whole MCUs (A.2.2).
template <typename Put>
void decodeScan(ScanDecoder& decoder, const JpegFrame& frame, const JpegScan& scan, const Progress& progress, Put put) {
  int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  if (scan.components.size() == 1) {
    const size_t index = scan.components[0].component;
    const JpegComponent& c = frame.components[index];
    const int32_t blockWidth = 8 * frame.maxH(), blockHeight = 8 * frame.maxV();
    const int32_t blocksWide = (frame.width * c.h + blockWidth - 1) / blockWidth;
    const int32_t blocksHigh = (frame.height * c.v + blockHeight - 1) / blockHeight;
    for (int32_t row = 0; row < blocksHigh; ++row) {
      for (int32_t column = 0; column < blocksWide; ++column) {
        decodeMcu(decoder, blocks);
        put(index, row, column, blocks, decoder.coded[0]);
      }
      progress(row + 1, blocksHigh);
    }
    return;
  }
  for (int32_t row = 0, rows = frame.mcusHigh(); row < rows; ++row) {
    for (int32_t column = 0, columns = frame.mcusWide(); column < columns; ++column) {
      decodeMcu(decoder, blocks);
      const int16_t* block = blocks;
      const int32_t* coded = decoder.coded.data();
      for (const ScanComponent& in : scan.components) {
        const JpegComponent& c = frame.components[in.component];
        for (int32_t i = 0; i < c.h * c.v; ++i, block += kBlockSize)
          put(in.component, row * c.v + i / c.h, column * c.h + i % c.h, block, *coded++);
      }
    }
    progress(row + 1, rows);
  }
}

// All scans.
template <typename Put>
void decodeScans(JpegInput& input, JpegHeaders& headers, JpegScan& scan, const Progress& progress, Put put) {
  const auto total = static_cast<int32_t>(headers.frame.components.size());
  int32_t done = 0;  // components
  do {
    const auto count = static_cast<int32_t>(scan.components.size());
    const auto report = [&](int32_t row, int32_t rows) {
      if (progress) progress(std::min(done * rows + count * row, total * rows), total * rows);
    };
    ScanDecoder decoder = startScan(input, headers, scan);
    decodeScan(decoder, headers.frame, scan, report, put);
    input = endScan(decoder);
    done += count;
  } while (nextScan(input, headers, scan));
  for (int32_t i = 0; i < total; ++i)
    if (!headers.componentQuant[static_cast<size_t>(i)])
      throw JpegError("damaged: the file lacks a scan of one of its components");
}

// The planes are complete, with zeros for what is missing, also where this throws.
void decodeCoefficients(JpegInput& input, JpegHeaders& headers, JpegScan& scan, std::vector<BlockPlane>& planes,
                        const Progress& progress) {
  const JpegFrame& frame = headers.frame;
  for (const JpegComponent& c : frame.components) planes.emplace_back(frame.mcusWide() * c.h, frame.mcusHigh() * c.v);
  decodeScans(input, headers, scan, progress,
              [&](size_t component, int32_t row, int32_t column, const int16_t* block, int32_t) {
                std::copy_n(block, kBlockSize, planes[component].block(row, column));
              });
}

// The blocks of the MCU at (row, column), contiguous.
void gatherMcu(const JpegFrame& frame, const std::vector<BlockPlane>& planes, int32_t row, int32_t column,
               int16_t* blocks) {
  for (size_t i = 0; i < planes.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    for (int32_t b = 0; b < c.h * c.v; ++b, blocks += kBlockSize)
      std::copy_n(planes[i].block(row * c.v + b / c.h, column * c.h + b % c.h), kBlockSize, blocks);
  }
}

// The 8 x 8 samples of one component that belong to the pixels from (x, y) on, replicated where it is subsampled.
void gatherSamples(const BlockPlane& plane, int32_t h, int32_t v, int32_t maxH, int32_t maxV, int32_t x, int32_t y,
                   int16_t* samples) {
  for (int32_t i = 0; i < kBlockSize; ++i) {
    const int32_t column = (x + i % 8) * h / maxH, row = (y + i / 8) * v / maxV;
    samples[i] = plane.block(row / 8, column / 8)[8 * (row % 8) + column % 8];
  }
}

// Spatial blocks of all components to pixels.
void drawPlanes(const JpegFrame& frame, JpegColour colour, const std::vector<BlockPlane>& planes, Picture& picture) {
  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  if (const ColourForm* form = findForm(frame, colour)) {
    const int32_t width = frame.mcuWidth(), height = frame.mcuHeight();
    const BlocksOf counts = blocksOf(frame);
    for (int32_t row = 0; row < frame.mcusHigh(); ++row)
      for (int32_t column = 0; column < frame.mcusWide(); ++column) {
        gatherMcu(frame, planes, row, column, blocks);
        drawTile(picture, column * width, row * height, width, height,
                 [&](uint8_t* pixels, int32_t step) { mcuToPixels(*form, counts, blocks, pixels, step); });
      }
    return;
  }
  const ColourForm& form = *findForm(colour, 1, 1);
  const int32_t maxH = frame.maxH(), maxV = frame.maxV();
  for (int32_t y = 0; y < frame.height; y += 8)
    for (int32_t x = 0; x < frame.width; x += 8) {
      for (size_t i = 0; i < planes.size(); ++i)
        gatherSamples(planes[i], frame.components[i].h, frame.components[i].v, maxH, maxV, x, y,
                      blocks + kBlockSize * static_cast<ptrdiff_t>(i));
      drawTile(picture, x, y, 8, 8, [&](uint8_t* pixels, int32_t step) {
        mcuToPixels(form, {1, 1, 1, 1}, blocks, pixels, step);
      });
    }
}

// Several scans, or sampling factors for which the library has no form: all coefficients first.
void decodeByCoefficients(JpegInput& input, JpegHeaders& headers, JpegScan& scan, Picture& picture,
                          const Progress& progress) {
  std::vector<BlockPlane> planes;
  std::optional<JpegDamaged> damage;
  try {
    decodeCoefficients(input, headers, scan, planes, progress);
  } catch (const JpegError& error) {
    damage.emplace(error.what());
  }
  for (size_t i = 0; i < planes.size(); ++i) {
    if (!headers.componentQuant[i]) continue;  // no scan of it has been met
    const auto quant = inverseTable(*headers.componentQuant[i]);
    for (size_t at = 0; at < planes[i].values.size(); at += size_t{kBlockSize})
      qlmiDCTQuantInv8x8_JPEG_16s_C1I(planes[i].values.data() + at, quant.data());
  }
  drawPlanes(headers.frame, colourOf(headers), planes, picture);
  if (damage) throw *damage;
}

// A block as side x side samples: the means of groups of its 8 x 8, by the reduced transforms.
void blockToSquare(const int16_t* block, int32_t coded, const uint16_t* quant, int32_t side, uint8_t* samples,
                   int32_t step) {
  switch (side) {
    case 8:
      blockToSamples(block, coded, quant, samples, step);
      break;
    case 4:
      qlmiDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(block, samples, step, quant);
      break;
    case 2:
      qlmiDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(block, samples, step, quant);
      break;
    default:  // the mean of a block is an eighth of its DC (A.3.3)
      *samples = static_cast<uint8_t>(std::clamp(((block[0] * quant[0] + 4) >> 3) + 128, 0, 255));
  }
}

// Samples on a side of a block of this component. A component with fewer blocks than others keeps more samples of each
// where the picture is reduced, in place of being upsampled.
int32_t squareSide(const JpegFrame& frame, const JpegComponent& c, int32_t scale) {
  int32_t side = 8 / scale;
  while (side < 8 && 2 * side * c.h <= 8 / scale * frame.maxH() && 2 * side * c.v <= 8 / scale * frame.maxV())
    side *= 2;
  return side;
}

// All blocks to planes of samples first, then planes to pixels. What is missing stays mid-grey.
void decodeByPlane(JpegInput& input, JpegHeaders& headers, JpegScan& scan, Picture& picture,
                   const JpegReadOptions& options) {
  const JpegFrame& frame = headers.frame;
  const JpegColour colour = colourOf(headers);
  Planes planes;
  std::array<int32_t, 4> sides;
  std::array<std::optional<std::array<uint16_t, kBlockSize>>, 4> quant;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    sides[i] = squareSide(frame, c, options.scale);
    Picture& plane = planes.emplace_back(frame.mcusWide() * c.h * sides[i], frame.mcusHigh() * c.v * sides[i], 1);
    std::ranges::fill(plane.pixels, uint8_t{128});
  }
  std::optional<JpegDamaged> damage;
  try {
    decodeScans(input, headers, scan, options.progress,
                [&](size_t i, int32_t row, int32_t column, const int16_t* block, int32_t coded) {
                  if (!quant[i]) quant[i] = inverseTable(*headers.componentQuant[i]);
                  uint8_t* samples = planes[i].row(row * sides[i]) + ptrdiff_t{column} * sides[i];
                  blockToSquare(block, coded, quant[i]->data(), sides[i], samples, planes[i].step());
                });
  } catch (const JpegError& error) {
    damage.emplace(error.what());
  }
  planesToPixels(colour, planes, options.upsampling, picture);
  if (damage) throw *damage;
}

void decodePicture(JpegInput& input, JpegHeaders& headers, JpegScan& scan, Picture& picture,
                   const JpegReadOptions& options) {
  const JpegColour colour = colourOf(headers);
  const ColourForm* form = findForm(headers.frame, colour);
  if (options.by == JpegBy::kPlane || options.upsampling == Upsampling::kTriangle || options.scale > 1)
    decodeByPlane(input, headers, scan, picture, options);
  else if (colour == JpegColour::kGrey)
    decodeGrey(input, headers, scan, picture, options.progress);
  else if (form && scan.components.size() == headers.frame.components.size())
    decodeColour(input, headers, scan, *form, picture, options.progress);
  else
    decodeByCoefficients(input, headers, scan, picture, options.progress);
}

}  // namespace

JpegFrame readJpegFrame(std::span<const uint8_t> file) {
  JpegInput input{file};
  JpegHeaders headers;
  JpegScan scan;
  readFirstScan(input, headers, scan);
  return headers.frame;
}

void readJpeg(std::span<const uint8_t> file, Picture& picture, const JpegReadOptions& options) {
  if (options.scale != 1 && options.scale != 2 && options.scale != 4 && options.scale != 8)
    throw JpegError("a picture can be read at 1/1, 1/2, 1/4 and 1/8 of its size");
  JpegInput input{file};
  JpegHeaders headers;
  JpegScan scan;
  readFirstScan(input, headers, scan);
  const JpegColour colour = colourOf(headers);
  shape(picture, headers.frame, colour, options.scale);
  std::optional<JpegDamaged> damage;
  try {
    decodePicture(input, headers, scan, picture, options);
  } catch (const JpegDamaged& error) {
    damage = error;
  }
  // Whoever writes CMYK without the marker of Adobe writes ink, not light.
  if (channelsOf(colour) == 4 && headers.adobeTransform < 0)
    for (uint8_t& sample : picture.pixels) sample = static_cast<uint8_t>(255 - sample);
  if (damage) throw *damage;
}

JpegCoefficients readCoefficients(std::span<const uint8_t> file) {
  JpegInput input{file};
  JpegHeaders headers;
  JpegScan scan;
  readFirstScan(input, headers, scan);
  JpegCoefficients coefficients;
  decodeCoefficients(input, headers, scan, coefficients.planes, {});
  coefficients.frame = headers.frame;
  coefficients.colour = colourOf(headers);
  coefficients.restartInterval = headers.restartInterval;
  for (size_t i = 0; i < headers.frame.components.size(); ++i) coefficients.quant.push_back(*headers.componentQuant[i]);
  return coefficients;
}

}  // namespace sample
