#include "jpeg2000/block_decoder.h"

#include <algorithm>
#include <bit>
#include <new>

namespace sample::j2k {
namespace {

constexpr int32_t kCheckEnds = 0x100000;  // of segments that end predictably
constexpr int32_t kMostPlanes = 31;
constexpr int32_t kMostSide = 1024, kMostSamples = 4096;  // of a code-block (A.6.1)

// With a bit below the last plane for the middle of the interval that is left to a value (r = 1/2 in E-6); reversible
// values are whole numbers and need none.
template <typename T>
constexpr int32_t kFraction = std::is_floating_point_v<T> ? 1 : 0;

// Magnitudes that reach above the shift belong to the region of interest (H.1).
void shiftRegionBack(int32_t* samples, int32_t count, int32_t shift, int32_t fraction) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t magnitude = samples[i] & INT32_MAX;
    if (magnitude >> std::min(shift + fraction, 31)) samples[i] = (samples[i] & INT32_MIN) | magnitude >> shift;
  }
}

template <typename T>
void toValues(const int32_t* samples, int32_t count, float step, T* dst) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t magnitude = samples[i] & INT32_MAX, sign = samples[i] >> 31;
    if constexpr (std::is_floating_point_v<T>)
      dst[i] = static_cast<float>((magnitude ^ sign) - sign) * step;
    else
      dst[i] = static_cast<T>((magnitude ^ sign) - sign);
  }
}

}  // namespace

BlockDecoder::BlockDecoder() : samples_(kMostSamples) {
  // The shape whose state is largest; the others have room in it.
  int32_t bytes = 0, most = 0;
  QlmSize largest{};
  for (int32_t width = kMostSamples / kMostSide; width <= kMostSide; width *= 2) {
    const QlmSize size{width, kMostSamples / width};
    if (qlmiDecodeCBProgrGetStateSize_JPEG2K(size, &bytes) == qlmOk && bytes > most) most = bytes, largest = size;
  }
  if (qlmiDecodeCBProgrInitAlloc_JPEG2K(&state_, largest) != qlmOk) throw std::bad_alloc();
}

BlockDecoder::~BlockDecoder() { qlmiDecodeCBProgrFree_JPEG2K(state_); }

// Decodes `planes` bit-planes, with `fraction` further ones below them.
bool BlockDecoder::decodeMagnitudes(const CodeBlock& block, const BandCoding& coding, QlmSize size, int32_t planes,
                                    int32_t fraction) {
  const uint8_t* from = block.pieces[0].bytes.data();
  if (block.pieces.size() > 1) {
    bytes_.clear();
    for (const Piece& piece : block.pieces) bytes_.insert(bytes_.end(), piece.bytes.begin(), piece.bytes.end());
    bytes_.push_back(0);  // a pointer is wanted even for no bytes
    from = bytes_.data();
  }
  int32_t passes = 0;
  for (const Piece& piece : block.pieces) passes += piece.passes;
  passes = std::min(passes, 3 * planes - 2);

  const int32_t flags = codeBlockFlags(coding.blockStyle) | (coding.blockStyle & kPredictableEnd ? kCheckEnds : 0);
  qlmiDecodeCBProgrAttach_JPEG2K_32s_C1R(samples_.data(), size.width * static_cast<int32_t>(sizeof(int32_t)), size,
                                         state_, static_cast<int32_t>(coding.orientation), planes + fraction, flags);
  qlmiDecodeCBProgrSetPassCounter_JPEG2K(passes, state_);
  bool isSound = true;
  for (size_t i = 0, pass = 0; i < block.pieces.size();) {
    // The pieces up to the end of a segment.
    int32_t left = passesToSegmentEnd(coding.blockStyle, static_cast<int32_t>(pass));
    size_t length = 0;
    for (; i < block.pieces.size() && left > 0; ++i) {
      left -= block.pieces[i].passes;
      pass += static_cast<size_t>(block.pieces[i].passes);
      length += block.pieces[i].bytes.size();
    }
    if (qlmiDecodeCBProgrStep_JPEG2K(from, static_cast<int32_t>(length), state_) != qlmOk) isSound = false;
    from += length;
  }
  // Writers may fill up raw segments as they like (D.6); only where the data are made to be checked a check counts.
  return isSound || !(coding.blockStyle & (kPredictableEnd | kSegmentationSymbols));
}

template <typename T>
bool BlockDecoder::decode(const CodeBlock& block, const BandCoding& coding, QlmSize size, T* dst, int32_t dstStep) {
  constexpr int32_t kBelow = kFraction<T>;
  const auto row = [=](int32_t y) { return dst + ptrdiff_t{y} * (dstStep / static_cast<int32_t>(sizeof(T))); };
  const int32_t planes = coding.planes + coding.roiShift - block.zeroPlanes;
  if (block.pieces.empty() || planes < 1 || planes + kBelow > kMostPlanes) {
    for (int32_t y = 0; y < size.height; ++y) std::fill_n(row(y), size.width, T{});
    return block.pieces.empty();
  }
  const bool isSound = decodeMagnitudes(block, coding, size, planes, kBelow);
  if (coding.roiShift > 0) shiftRegionBack(samples_.data(), size.width * size.height, coding.roiShift, kBelow);
  for (int32_t y = 0; y < size.height; ++y)
    toValues(samples_.data() + ptrdiff_t{y} * size.width, size.width, coding.step / (1 << kBelow), row(y));
  return isSound;
}

template bool BlockDecoder::decode(const CodeBlock&, const BandCoding&, QlmSize, int16_t*, int32_t);
template bool BlockDecoder::decode(const CodeBlock&, const BandCoding&, QlmSize, int32_t*, int32_t);
template bool BlockDecoder::decode(const CodeBlock&, const BandCoding&, QlmSize, float*, int32_t);

}  // namespace sample::j2k
