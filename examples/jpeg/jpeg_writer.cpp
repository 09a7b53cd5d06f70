#include "jpeg/jpeg_writer.h"

#include <qlmjp.h>

#include <cstring>
#include <span>
#include <string>

#include "jpeg/annex_k.h"
#include "jpeg/jpeg_planes.h"

namespace sample {
namespace {

// A block has at most 64 codes of 16 bits, each with up to 11 bits of value, and stuffing can double that: 432 bytes.
// The block coder takes its fast route while 24 bytes are free.
constexpr size_t kRoomForBlock = 512;

// Where the next bytes go. The vector is kept ahead of `used` by what the next write needs.
struct Output {
  std::vector<uint8_t> bytes;
  size_t used = 0;
};

uint8_t* room(Output& out, size_t size) {
  if (out.bytes.size() - out.used < size) out.bytes.resize(std::max(2 * out.bytes.size(), out.used + size));
  return out.bytes.data() + out.used;
}

void put(Output& out, std::span<const uint8_t> bytes) {
  if (!bytes.empty()) std::memcpy(room(out, bytes.size()), bytes.data(), bytes.size());
  out.used += bytes.size();
}

void putMarker(Output& out, uint8_t marker) {
  const uint8_t code[]{0xFF, marker};
  put(out, code);
}

void putSegment(Output& out, uint8_t marker, std::span<const uint8_t> payload) {
  const size_t length = payload.size() + 2;
  const uint8_t head[]{0xFF, marker, static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length)};
  put(out, head);
  put(out, payload);
}

uint8_t high(int32_t value) { return static_cast<uint8_t>(value >> 8); }
uint8_t low(int32_t value) { return static_cast<uint8_t>(value); }

// Tables of one class of components: luminance, or chrominance.
struct HuffmanLists {
  std::span<const uint8_t> dcCounts, acCounts, acValues;
};
constexpr HuffmanLists kHuffmanLists[]{{kLuminanceDcCounts, kLuminanceAcCounts, kLuminanceAcValues},
                                       {kChrominanceDcCounts, kChrominanceAcCounts, kChrominanceAcValues}};

void putHuffmanTable(Output& out, uint8_t classAndSlot, std::span<const uint8_t> counts,
                     std::span<const uint8_t> values) {
  std::vector<uint8_t> payload{classAndSlot};
  payload.insert(payload.end(), counts.begin(), counts.end());
  payload.insert(payload.end(), values.begin(), values.end());
  putSegment(out, kDht, payload);
}

void putQuantTable(Output& out, uint8_t slot, const QuantTable& table) {
  const bool wide = std::ranges::max(table) > 255;
  std::vector<uint8_t> payload{static_cast<uint8_t>(wide << 4 | slot)};
  for (const uint16_t q : table) {
    if (wide) payload.push_back(high(q));
    payload.push_back(low(q));
  }
  putSegment(out, kDqt, payload);
}

// JFIF knows grey and YCbCr; the rest is told by the marker of Adobe (T.872 6.5.3).
void putColour(Output& out, JpegColour colour) {
  if (colour == JpegColour::kGrey || colour == JpegColour::kYCbCr) {
    const uint8_t jfif[]{'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
    putSegment(out, kApp0, jfif);
  } else {
    const uint8_t transform = colour == JpegColour::kYcck ? 2 : 0;
    const uint8_t adobe[]{'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, transform};
    putSegment(out, kApp14, adobe);
  }
}

// Everything before the first byte of entropy-coded data (T.81 B.2). Each different quantisation table is written once.
void putHeaders(Output& out, const JpegFrame& frame, JpegColour colour, std::span<const QuantTable> quant,
                int32_t restartInterval) {
  putMarker(out, kSoi);
  putColour(out, colour);

  const auto count = static_cast<uint8_t>(frame.components.size());
  std::vector<uint8_t> sof{8, high(frame.height), low(frame.height), high(frame.width), low(frame.width), count};
  std::vector<uint8_t> sos{count};
  bool wideQuant = false;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    const JpegComponent& c = frame.components[i];
    const auto slot = static_cast<uint8_t>(std::ranges::find(quant, quant[i]) - quant.begin());
    if (slot == i) putQuantTable(out, slot, quant[i]);
    wideQuant |= std::ranges::max(quant[i]) > 255;
    sof.insert(sof.end(), {c.id, static_cast<uint8_t>(c.h << 4 | c.v), slot});
    const uint8_t huffman = isChroma(colour, i);
    sos.insert(sos.end(), {c.id, static_cast<uint8_t>(huffman << 4 | huffman)});
  }
  putSegment(out, wideQuant ? kSof1 : kSof0, sof);

  for (uint8_t slot = 0; slot <= isChroma(colour, 1); ++slot) {
    putHuffmanTable(out, slot, kHuffmanLists[slot].dcCounts, kDcValues);
    putHuffmanTable(out, 0x10 | slot, kHuffmanLists[slot].acCounts, kHuffmanLists[slot].acValues);
  }
  if (restartInterval > 0) {
    const uint8_t dri[]{high(restartInterval), low(restartInterval)};
    putSegment(out, kDri, dri);
  }
  sos.insert(sos.end(), {0, 63, 0});
  putSegment(out, kSos, sos);
}

struct HuffmanTables {
  QlmEncodeHuffmanSpec dc, ac;
};

// One scan of all components. `slots` says for each block of an MCU which component it belongs to.
struct ScanEncoder {
  struct Slot {
    size_t component;
    const HuffmanTables* tables;
  };
  Output out;
  std::array<HuffmanTables, 2> tables;
  std::vector<Slot> slots;
  std::array<int16_t, 4> lastDc{};
  QlmEncodeHuffmanState state;
  int32_t restartInterval = 0, untilRestart = 0, nextRestart = 0;
};

void startScan(ScanEncoder& scan, const JpegFrame& frame, JpegColour colour, std::span<const QuantTable> quant,
               int32_t restartInterval) {
  putHeaders(scan.out, frame, colour, quant, restartInterval);
  for (size_t i = 0; i < scan.tables.size(); ++i) {
    const HuffmanLists& lists = kHuffmanLists[i];
    qlmiEncodeHuffmanSpecInit_JPEG_8u(lists.dcCounts.data(), kDcValues, &scan.tables[i].dc);
    qlmiEncodeHuffmanSpecInit_JPEG_8u(lists.acCounts.data(), lists.acValues.data(), &scan.tables[i].ac);
  }
  for (size_t i = 0; i < frame.components.size(); ++i)
    for (int32_t block = 0; block < frame.components[i].h * frame.components[i].v; ++block)
      scan.slots.push_back({i, &scan.tables[isChroma(colour, i)]});
  qlmiEncodeHuffmanStateInit_JPEG_8u(&scan.state);
  scan.restartInterval = scan.untilRestart = restartInterval;
}

// Pads the last byte with ones and empties the state.
void flush(ScanEncoder& scan) {
  int32_t position = 0;
  qlmiEncodeHuffman8x8_JPEG_16s1u_C1(nullptr, room(scan.out, kRoomForBlock), kRoomForBlock, &position, nullptr, nullptr,
                                     nullptr, &scan.state, 1);
  scan.out.used += static_cast<size_t>(position);
}

// T.81 F.1.1.5: the predictions start anew in each interval.
void restart(ScanEncoder& scan) {
  flush(scan);
  putMarker(scan.out, static_cast<uint8_t>(kRst0 + scan.nextRestart));
  scan.nextRestart = (scan.nextRestart + 1) % 8;
  scan.untilRestart = scan.restartInterval;
  scan.lastDc.fill(0);
}

// The blocks of one MCU, contiguous, in the order of the scan.
void encodeMcu(ScanEncoder& scan, const int16_t* blocks) {
  if (scan.restartInterval > 0) {
    if (scan.untilRestart == 0) restart(scan);
    --scan.untilRestart;
  }
  const auto length = static_cast<int32_t>(scan.slots.size() * kRoomForBlock);
  uint8_t* destination = room(scan.out, static_cast<size_t>(length));
  int32_t position = 0;
  for (const ScanEncoder::Slot& slot : scan.slots) {
    const QlmStatus status =
        qlmiEncodeHuffman8x8_JPEG_16s1u_C1(blocks, destination, length, &position, &scan.lastDc[slot.component],
                                           &slot.tables->dc, &slot.tables->ac, &scan.state, 0);
    if (status != qlmOk) throw JpegError("a coefficient is too large for baseline JPEG");
    blocks += kBlockSize;
  }
  scan.out.used += static_cast<size_t>(position);
}

std::vector<uint8_t> finish(ScanEncoder& scan) {
  flush(scan);
  putMarker(scan.out, kEoi);
  scan.out.bytes.resize(scan.out.used);
  return std::move(scan.out.bytes);
}

// A table of Annex K at the given quality, as it stands in the file and as the forward DCT wants it.
struct Quantiser {
  QuantTable file;
  std::array<uint16_t, kBlockSize> forward;
};

Quantiser makeQuantiser(std::span<const uint8_t, kBlockSize> typical, int32_t quality) {
  std::array<uint8_t, kBlockSize> raw;
  std::ranges::copy(typical, raw.begin());
  qlmiQuantFwdRawTableInit_JPEG_8u(raw.data(), quality);
  Quantiser quantiser;
  std::ranges::copy(raw, quantiser.file.begin());
  qlmiQuantFwdTableInit_JPEG_8u16u(raw.data(), quantiser.forward.data());
  return quantiser;
}

// A rectangle of pixels: in the picture where it lies inside, else a copy in which the last column and row go on.
struct Tile {
  const uint8_t* pixels;
  int32_t step;
};

Tile tileAt(const Picture& picture, int32_t x, int32_t y, int32_t width, int32_t height, std::vector<uint8_t>& padded) {
  const ptrdiff_t channels = picture.channels;
  if (x + width <= picture.width && y + height <= picture.height)
    return {picture.row(y) + x * channels, picture.step()};
  const auto pixel = static_cast<size_t>(channels);
  const int32_t inside = std::min(width, picture.width - x);
  const auto step = static_cast<int32_t>(width * channels);
  padded.resize(static_cast<size_t>(step) * static_cast<size_t>(height));
  for (int32_t row = 0; row < height; ++row) {
    const uint8_t* from = picture.row(std::min(y + row, picture.height - 1)) + x * channels;
    uint8_t* to = padded.data() + ptrdiff_t{row} * step;
    std::memcpy(to, from, static_cast<size_t>(inside) * pixel);
    for (int32_t column = inside; column < width; ++column)
      std::memcpy(to + column * channels, from + (inside - 1) * channels, pixel);
  }
  return {padded.data(), step};
}

using Quantisers = std::vector<const Quantiser*>;  // by component

// The conversions of the library from the pixels of one MCU to level-shifted blocks, by colour and sampling factors of
// all components but chroma. Grey and CMYK need none.
struct ColourForm {
  JpegColour colour;
  int32_t h, v;
  QlmStatus (*toBlocks)(const uint8_t* src, int32_t srcStep, int16_t* const* dst);
};
constexpr ColourForm kColourForms[]{{JpegColour::kYCbCr, 1, 1, qlmiRGBToYCbCr444LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYCbCr, 2, 1, qlmiRGBToYCbCr422LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYCbCr, 2, 2, qlmiRGBToYCbCr411LS_MCU_8u16s_C3P3R},
                                    {JpegColour::kYcck, 1, 1, qlmiCMYKToYCCK444LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kYcck, 2, 1, qlmiCMYKToYCCK422LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kYcck, 2, 2, qlmiCMYKToYCCK411LS_MCU_8u16s_C4P4R},
                                    {JpegColour::kRgb, 1, 1, qlmiSampleDown444LS_MCU_8u16s_C3P3R}};

const ColourForm* findForm(JpegColour colour, const JpegFrame& frame) {
  const auto found = std::ranges::find_if(kColourForms, [&](const ColourForm& form) {
    return form.colour == colour && form.h == frame.maxH() && form.v == frame.maxV();
  });
  return found == std::end(kColourForms) ? nullptr : found;
}

// MCU by MCU: pixels to blocks, and the blocks transformed in place.
void encodeByMcu(ScanEncoder& scan, const JpegFrame& frame, const Picture& picture, const ColourForm& form,
                 const Quantisers& quantisers, const Progress& progress) {
  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  std::vector<uint8_t> padded;
  int16_t* planes[4];
  std::vector<const uint16_t*> tables;  // by block
  for (size_t c = 0; c < frame.components.size(); ++c) {
    planes[c] = blocks + static_cast<size_t>(kBlockSize) * tables.size();
    const JpegComponent& component = frame.components[c];
    for (int32_t i = 0; i < component.h * component.v; ++i) tables.push_back(quantisers[c]->forward.data());
  }
  const int32_t width = frame.mcuWidth(), height = frame.mcuHeight();
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    for (int32_t column = 0, end = frame.mcusWide(); column < end; ++column) {
      const Tile source = tileAt(picture, column * width, row * height, width, height, padded);
      form.toBlocks(source.pixels, source.step, planes);
      int16_t* block = blocks;
      for (const uint16_t* table : tables) {
        qlmiDCTQuantFwd8x8_JPEG_16s_C1I(block, table);
        block += kBlockSize;
      }
      encodeMcu(scan, blocks);
    }
    if (progress) progress(row + 1, frame.mcusHigh());
  }
}

// A row of MCUs at a time: pixels to planes, and the blocks transformed out of them. A grey picture is its own plane.
void encodeByPlane(ScanEncoder& scan, const JpegFrame& frame, const Picture& picture, JpegColour colour,
                   const Quantisers& quantisers, const Progress& progress) {
  alignas(32) int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  std::vector<uint8_t> padded;
  const int32_t width = frame.mcusWide() * frame.mcuWidth(), height = frame.mcuHeight();
  Planes planes;
  for (const JpegComponent& c : frame.components) planes.emplace_back(8 * c.h * frame.mcusWide(), 8 * c.v, 1);
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    const Tile source = tileAt(picture, 0, row * height, width, height, padded);
    if (colour != JpegColour::kGrey) pixelsToPlanes(colour, source.pixels, source.step, planes);
    for (int32_t column = 0, end = frame.mcusWide(); column < end; ++column) {
      int16_t* block = blocks;
      for (size_t i = 0; i < planes.size(); ++i) {
        const JpegComponent& c = frame.components[i];
        const Tile plane = colour == JpegColour::kGrey ? source : Tile{planes[i].row(0), planes[i].step()};
        for (int32_t b = 0; b < c.h * c.v; ++b, block += kBlockSize) {
          const ptrdiff_t x = 8 * (column * c.h + b % c.h), y = 8 * (b / c.h);
          qlmiDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane.pixels + y * plane.step + x, plane.step, block,
                                              quantisers[i]->forward.data());
        }
      }
      encodeMcu(scan, blocks);
    }
    if (progress) progress(row + 1, frame.mcusHigh());
  }
}

// The components as others name and order them. Only chroma is subsampled.
JpegFrame makeFrame(const Picture& picture, JpegColour colour, Subsampling subsampling) {
  const int32_t h = subsampling == Subsampling::k444 ? 1 : 2, v = subsampling == Subsampling::k420 ? 2 : 1;
  JpegFrame frame{picture.width, picture.height, {}};
  switch (colour) {
    case JpegColour::kGrey:
      frame.components = {{1, 1, 1, 0}};
      break;
    case JpegColour::kYCbCr:
      frame.components = {{1, h, v, 0}, {2, 1, 1, 1}, {3, 1, 1, 1}};
      break;
    case JpegColour::kRgb:
      frame.components = {{'R', 1, 1, 0}, {'G', 1, 1, 0}, {'B', 1, 1, 0}};
      break;
    case JpegColour::kCmyk:
      frame.components = {{'C', 1, 1, 0}, {'M', 1, 1, 0}, {'Y', 1, 1, 0}, {'K', 1, 1, 0}};
      break;
    case JpegColour::kYcck:
      frame.components = {{1, h, v, 0}, {2, 1, 1, 1}, {3, 1, 1, 1}, {4, h, v, 0}};
      break;
  }
  return frame;
}

JpegColour usualColour(const Picture& picture) {
  return picture.channels == 1 ? JpegColour::kGrey : picture.channels == 3 ? JpegColour::kYCbCr : JpegColour::kYcck;
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

void checkFrame(const JpegFrame& frame) {
  if (frame.width < 1 || frame.width > 65535 || frame.height < 1 || frame.height > 65535)
    throw JpegError("a JPEG has 1 to 65535 columns and rows, not " + std::to_string(frame.width) + " x " +
                    std::to_string(frame.height));
}

void checkRestartInterval(int32_t interval) {
  if (interval < 0 || interval > 65535) throw JpegError("the restart interval must be 0 to 65535 MCUs");
}

}  // namespace

std::vector<uint8_t> writeJpeg(const Picture& picture, const JpegWriteOptions& options) {
  if (picture.channels != 1 && picture.channels != 3 && picture.channels != 4)
    throw JpegError("only grey, RGB and CMYK pictures can be written");
  if (options.quality < 1 || options.quality > 100) throw JpegError("the quality must be 1 to 100");
  checkRestartInterval(options.restartInterval);
  const JpegColour colour = options.colour.value_or(usualColour(picture));
  const JpegFrame frame = makeFrame(picture, colour, options.subsampling);
  checkFrame(frame);
  if (picture.channels != channelsOf(colour)) {
    JpegWriteOptions same = options;
    same.colour = colour;
    return writeJpeg(converted(picture, colour), same);
  }

  const Quantiser luma = makeQuantiser(kLuminanceQuant, options.quality);
  const Quantiser chroma = makeQuantiser(kChrominanceQuant, options.quality);
  Quantisers quantisers;
  std::vector<QuantTable> quant;
  for (size_t i = 0; i < frame.components.size(); ++i) {
    quantisers.push_back(isChroma(colour, i) ? &chroma : &luma);
    quant.push_back(quantisers[i]->file);
  }
  ScanEncoder scan;
  scan.out.bytes.resize(picture.pixels.size() / 8 + 4096);
  startScan(scan, frame, colour, quant, options.restartInterval);
  const ColourForm* form = options.by == JpegBy::kMcu ? findForm(colour, frame) : nullptr;
  if (form)
    encodeByMcu(scan, frame, picture, *form, quantisers, options.progress);
  else
    encodeByPlane(scan, frame, picture, colour, quantisers, options.progress);
  return finish(scan);
}

std::vector<uint8_t> writeCoefficients(const JpegCoefficients& coefficients) {
  const JpegFrame& frame = coefficients.frame;
  checkFrame(frame);
  checkRestartInterval(coefficients.restartInterval);
  if (frame.blocksInMcu() > kMaxBlocksInMcu) throw JpegError("the sampling factors give MCUs of more than 10 blocks");

  ScanEncoder scan;
  startScan(scan, frame, coefficients.colour, coefficients.quant, coefficients.restartInterval);
  int16_t blocks[kMaxBlocksInMcu * kBlockSize];
  for (int32_t row = 0; row < frame.mcusHigh(); ++row) {
    for (int32_t column = 0; column < frame.mcusWide(); ++column) {
      int16_t* to = blocks;
      for (size_t c = 0; c < frame.components.size(); ++c) {
        const auto [id, h, v, slot] = frame.components[c];
        for (int32_t i = 0; i < h * v; ++i, to += kBlockSize)
          std::copy_n(coefficients.planes[c].block(row * v + i / h, column * h + i % h), kBlockSize, to);
      }
      encodeMcu(scan, blocks);
    }
  }
  return finish(scan);
}

}  // namespace sample
