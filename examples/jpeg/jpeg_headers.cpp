#include "jpeg/jpeg_headers.h"

#include <string>
#include <string_view>

namespace sample {
namespace {

[[noreturn]] void failTruncated() { throw JpegError("truncated: the file ends inside its headers"); }

// The payload of one marker segment.
struct Segment {
  std::span<const uint8_t> rest;
  const char* name;
};

[[noreturn]] void failTable(const Segment& segment, const std::string& why) {
  throw JpegError("bad " + std::string(segment.name) + " segment: " + why);
}

std::span<const uint8_t> take(Segment& segment, size_t size) {
  if (segment.rest.size() < size) failTable(segment, "it ends too early");
  const auto taken = segment.rest.first(size);
  segment.rest = segment.rest.subspan(size);
  return taken;
}

int32_t takeByte(Segment& segment) { return take(segment, 1)[0]; }

int32_t takeWord(Segment& segment) {
  const auto bytes = take(segment, 2);
  return bytes[0] << 8 | bytes[1];
}

Segment takeSegment(JpegInput& input, const char* name) {
  const auto rest = input.bytes.subspan(input.position);
  if (rest.size() < 2) failTruncated();
  const size_t length = static_cast<size_t>(rest[0]) << 8 | rest[1];
  if (length < 2) throw JpegError("bad marker segment: a length below 2");
  if (length > rest.size()) failTruncated();
  input.position += length;
  return {rest.subspan(2, length - 2), name};
}

// T.81 B.2.4.1
void readQuantTables(Segment segment, JpegHeaders& headers) {
  while (!segment.rest.empty()) {
    const int32_t head = takeByte(segment), precision = head >> 4, slot = head & 15;
    if (precision > 1 || slot > 3) failTable(segment, "no such table");
    QuantTable& table = headers.quant[static_cast<size_t>(slot)].emplace();
    for (uint16_t& q : table) {
      q = static_cast<uint16_t>(precision ? takeWord(segment) : takeByte(segment));
      if (q == 0) failTable(segment, "a quantiser of 0");
    }
  }
}

// T.81 B.2.4.2. A table whose codes do not fit in their lengths is refused: it is not a prefix code.
void readHuffmanTables(Segment segment, JpegHeaders& headers) {
  while (!segment.rest.empty()) {
    const int32_t head = takeByte(segment), tableClass = head >> 4, slot = head & 15;
    if (tableClass > 1 || slot > 3) failTable(segment, "no such table");
    const auto counts = take(segment, 16);
    size_t total = 0, space = 0;
    for (size_t i = 0; i < 16; ++i) total += counts[i], space += static_cast<size_t>(counts[i]) << (15 - i);
    if (total > 256 || space > 65536) failTable(segment, "more codes than their lengths allow");
    const auto values = take(segment, total);
    auto& tables = tableClass ? headers.acTables : headers.dcTables;
    QlmDecodeHuffmanSpec& table = tables[static_cast<size_t>(slot)].emplace();
    if (qlmiDecodeHuffmanSpecInit_JPEG_8u(counts.data(), values.data(), &table) != qlmOk)
      failTable(segment, "not a Huffman table");
  }
}

void readRestartInterval(Segment segment, JpegHeaders& headers) { headers.restartInterval = takeWord(segment); }

bool startsWith(std::span<const uint8_t> bytes, std::string_view text) {
  return bytes.size() >= text.size() && std::equal(text.begin(), text.end(), bytes.begin());
}

void readApp0(Segment segment, JpegHeaders& headers) {
  headers.jfif |= startsWith(segment.rest, std::string_view("JFIF\0", 5));
}

void readApp14(Segment segment, JpegHeaders& headers) {
  if (segment.rest.size() >= 12 && startsWith(segment.rest, "Adobe")) headers.adobeTransform = segment.rest[11];
}

void checkPrecision(JpegProcess process, int32_t precision) {
  const bool known =
      process == JpegProcess::kLossless ? precision >= 2 && precision <= 16 : precision == 8 || precision == 12;
  if (!known) throw JpegError("unsupported: " + std::to_string(precision) + " bits a sample");
}

// T.81 B.2.2
void readFrame(Segment segment, JpegProcess process, JpegHeaders& headers) {
  JpegFrame& frame = headers.frame;
  if (!frame.components.empty()) failTable(segment, "a second frame");
  frame.process = process;
  frame.precision = takeByte(segment);
  checkPrecision(process, frame.precision);
  frame.height = takeWord(segment);
  frame.width = takeWord(segment);
  if (frame.width == 0) failTable(segment, "a width of 0");
  if (frame.height == 0) throw JpegError("unsupported: a height of 0, to be defined behind the first scan (DNL)");
  const int32_t count = takeByte(segment);
  if (count == 0) failTable(segment, "no components");
  if (count > 4 || (count == 2 && process != JpegProcess::kLossless))
    throw JpegError("unsupported: " + std::to_string(count) + " components");
  for (int32_t i = 0; i < count; ++i) {
    const auto id = static_cast<uint8_t>(takeByte(segment));
    const int32_t factors = takeByte(segment), h = factors >> 4, v = factors & 15, slot = takeByte(segment);
    if (h < 1 || h > 4 || v < 1 || v > 4) failTable(segment, "a sampling factor outside 1 to 4");
    if (slot > 3) failTable(segment, "no such quantisation table");
    if (std::ranges::count(frame.components, id, &JpegComponent::id)) failTable(segment, "a component twice");
    frame.components.push_back({id, h, v, static_cast<uint8_t>(slot)});
  }
  // A single component is never interleaved, so its factors have no meaning (A.2.2).
  if (count == 1) frame.components[0].h = frame.components[0].v = 1;
  if (process == JpegProcess::kLossless && frame.blocksInMcu() > count)
    throw JpegError("unsupported: lossless with subsampled components");
  headers.coded = JpegCoverage(process);
}

template <typename T>
const T& tableInUse(const std::array<std::optional<T>, 4>& tables, int32_t slot, const char* kind) {
  if (slot > 3 || !tables[static_cast<size_t>(slot)])
    throw JpegError("bad table: the scan uses " + std::string(kind) + " table " + std::to_string(slot) +
                    ", which is not defined");
  return *tables[static_cast<size_t>(slot)];
}

// T.81 B.2.3
void readScan(Segment segment, JpegHeaders& headers, JpegScan& scan) {
  const JpegFrame& frame = headers.frame;
  if (frame.components.empty()) failTable(segment, "a scan before the frame");
  const int32_t count = takeByte(segment);
  if (count < 1 || static_cast<size_t>(count) > frame.components.size())
    failTable(segment, "wrong number of components");
  JpegScanSpec spec;
  std::array<int32_t, 4> slots{};
  for (int32_t i = 0; i < count; ++i) {
    const auto id = static_cast<uint8_t>(takeByte(segment));
    slots[static_cast<size_t>(i)] = takeByte(segment);
    const auto found = std::ranges::find(frame.components, id, &JpegComponent::id);
    if (found == frame.components.end()) failTable(segment, "a component that the frame does not have");
    spec.components.push_back(static_cast<size_t>(found - frame.components.begin()));
  }
  const int32_t ss = takeByte(segment), se = takeByte(segment), bits = takeByte(segment);
  // In a sequential scan these bytes have no meaning, and not every writer fills them in.
  if (frame.process != JpegProcess::kSequential) spec.ss = ss, spec.se = se, spec.ah = bits >> 4, spec.al = bits & 15;
  if (const std::string why = headers.coded.add(spec, frame); !why.empty()) failTable(segment, why);

  const bool dct = frame.process != JpegProcess::kLossless;
  const bool needsDc = !dct || (spec.ss == 0 && spec.ah == 0), needsAc = dct && spec.se > 0;
  JpegScan next{spec, {}, {}};
  for (size_t i = 0; i < spec.components.size(); ++i) {
    if (needsDc) next.dcTables[i] = &tableInUse(headers.dcTables, slots[i] >> 4, "DC Huffman");
    if (needsAc) next.acTables[i] = &tableInUse(headers.acTables, slots[i] & 15, "AC Huffman");
    const size_t c = spec.components[i];
    if (dct && !headers.componentQuant[c])
      headers.componentQuant[c] = tableInUse(headers.quant, frame.components[c].quantSlot, "quantisation");
  }
  scan = next;
}

// What a frame marker other than SOF0 to SOF3 announces; empty for other markers.
std::string_view unsupportedProcess(uint8_t marker) {
  switch (marker) {
    case 0xC5:
      return "hierarchical, sequential DCT (SOF5)";
    case 0xC6:
      return "hierarchical, progressive DCT (SOF6)";
    case 0xC7:
      return "hierarchical, lossless (SOF7)";
    case 0xC9:
      return "arithmetic coding, sequential DCT (SOF9)";
    case 0xCA:
      return "arithmetic coding, progressive DCT (SOF10)";
    case 0xCB:
      return "arithmetic coding, lossless (SOF11)";
    case kDac:
      return "arithmetic coding (DAC)";
    case 0xCD:
      return "arithmetic coding, hierarchical, sequential DCT (SOF13)";
    case 0xCE:
      return "arithmetic coding, hierarchical, progressive DCT (SOF14)";
    case 0xCF:
      return "arithmetic coding, hierarchical, lossless (SOF15)";
    case 0xF7:
      return "JPEG-LS (SOF55)";
    default:
      return {};
  }
}

// Reserved markers are what damage makes of coded data.
bool standsAlone(uint8_t marker) { return marker < kSof0 || marker == kSoi || (marker >= kRst0 && marker <= kRst7); }

}  // namespace

std::optional<uint8_t> nextMarker(JpegInput& input) {
  const auto bytes = input.bytes;
  for (size_t i = input.position; i + 1 < bytes.size(); ++i) {
    if (bytes[i] == 0xFF && bytes[i + 1] != 0 && bytes[i + 1] != 0xFF) {
      input.position = i + 2;
      return bytes[i + 1];
    }
  }
  input.position = bytes.size();
  return std::nullopt;
}

bool nextScan(JpegInput& input, JpegHeaders& headers, JpegScan& scan) {
  if (input.position == 0 && (input.bytes.size() < 2 || input.bytes[0] != 0xFF || input.bytes[1] != kSoi))
    throw JpegError("not a JPEG file");
  for (;;) {
    const std::optional<uint8_t> marker = nextMarker(input);
    if (!marker && !scan.spec.components.empty())
      throw JpegError("truncated: the file ends without its end-of-image marker");
    if (!marker) failTruncated();
    if (const std::string_view process = unsupportedProcess(*marker); !process.empty())
      throw JpegError("unsupported process: " + std::string(process));
    if (standsAlone(*marker)) continue;
    switch (*marker) {
      case kEoi:
        return false;
      case kSos:
        readScan(takeSegment(input, "SOS"), headers, scan);
        return true;
      case kSof0:
      case kSof1:
        readFrame(takeSegment(input, "SOF"), JpegProcess::kSequential, headers);
        break;
      case kSof2:
        readFrame(takeSegment(input, "SOF"), JpegProcess::kProgressive, headers);
        break;
      case kSof3:
        readFrame(takeSegment(input, "SOF"), JpegProcess::kLossless, headers);
        break;
      case kDqt:
        readQuantTables(takeSegment(input, "DQT"), headers);
        break;
      case kDht:
        readHuffmanTables(takeSegment(input, "DHT"), headers);
        break;
      case kDri:
        readRestartInterval(takeSegment(input, "DRI"), headers);
        break;
      case kApp0:
        readApp0(takeSegment(input, "APP0"), headers);
        break;
      case kApp14:
        readApp14(takeSegment(input, "APP14"), headers);
        break;
      default:
        takeSegment(input, "other");
    }
  }
}

JpegColour colourOf(const JpegHeaders& headers) {
  const auto& c = headers.frame.components;
  if (c.size() == 1) return JpegColour::kGrey;
  if (c.size() == 2) return JpegColour::kPair;
  if (c.size() == 4) return headers.adobeTransform == 2 ? JpegColour::kYcck : JpegColour::kCmyk;
  if (headers.jfif) return JpegColour::kYCbCr;
  if (headers.adobeTransform >= 0) return headers.adobeTransform == 0 ? JpegColour::kRgb : JpegColour::kYCbCr;
  const bool named = c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B';
  return named || headers.frame.process == JpegProcess::kLossless ? JpegColour::kRgb : JpegColour::kYCbCr;
}

// The library reorders tables of bytes; entries of 16 bits go through it as two of them.
std::array<uint16_t, kBlockSize> inverseTable(const QuantTable& table) {
  std::array<uint8_t, kBlockSize> lowBytes, highBytes;
  for (size_t i = 0; i < table.size(); ++i) {
    lowBytes[i] = static_cast<uint8_t>(table[i]);
    highBytes[i] = static_cast<uint8_t>(table[i] >> 8);
  }
  std::array<uint16_t, kBlockSize> natural, high;
  qlmiQuantInvTableInit_JPEG_8u16u(lowBytes.data(), natural.data());
  qlmiQuantInvTableInit_JPEG_8u16u(highBytes.data(), high.data());
  for (size_t i = 0; i < natural.size(); ++i) natural[i] = static_cast<uint16_t>(natural[i] | high[i] << 8);
  return natural;
}

}  // namespace sample
