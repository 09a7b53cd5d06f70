// Quantisation tables (T.81 A.3.4, B.2.4.1). A raw table is the 64 bytes of a DQT segment in zig-zag order; the tables
// that the block functions read are in natural order: the quantisers themselves for decoding, their reciprocals in 1.15
// fixed point for encoding.
#include "jpeg/transform/quant_tables.h"

#include <bit>

#include "frame/rows.h"
#include "frame/simd.h"
#include "frame/wrap.h"
#include "jpeg/zigzag.h"

namespace {

constexpr uint16_t kReciprocalOne = 32768;

// Byte shuffles from zig-zag to natural order: [i][j] takes what part j of 16 raw entries has for the natural entries
// 32 i to 32 i + 31, and zeros for the rest.
struct NaturalOrder {
  LaneConstants<int8_t> from[2][4];
};
constexpr NaturalOrder makeNaturalOrder() {
  NaturalOrder order{};
  for (int natural = 0; natural < 64; ++natural)
    for (int part = 0; part < 4; ++part) {
      const int scan = kZigzag.scanOfNatural[natural];
      order.from[natural / 32][part].lane[natural % 32] = static_cast<int8_t>(scan / 16 == part ? scan % 16 : -1);
    }
  return order;
}
constexpr NaturalOrder kNaturalOrder = makeNaturalOrder();

// The raw table as words in natural order.
void loadNatural(const uint8_t* rawTable, uint16_t* table) {
  uint8_t natural[64];
  for (int i = 0; i < 2; ++i) {
    __m256i entries = _mm256_setzero_si256();
    for (int part = 0; part < 4; ++part) {
      const __m256i raw = _mm256_broadcastsi128_si256(load16(rawTable + 16 * part));
      entries = _mm256_or_si256(entries, _mm256_shuffle_epi8(raw, kNaturalOrder.from[i][part]));
    }
    store32(natural + 32 * i, entries);
  }
  ownConvert8u16uPlane(natural, 8, table, 16, {8, 8});
}

}  // namespace

void ownConvert8u16uPlane(const uint8_t* src, int32_t srcStep, uint16_t* dst, int32_t dstStep, QlmSize size) {
  for (int32_t y = 0; y < size.height; ++y) {
    const uint8_t* from = ownRow(src, srcStep, y);
    uint16_t* to = ownRow(dst, dstStep, y);
    for (int32_t x = 0; x < size.width; ++x) storeAny<uint16_t>(to + x, from[x]);
  }
}

// The sum with 2^23 rounds a quotient below 2^16 to an integer, halves to even, and leaves it in the low bits. A
// quotient that is no half is at least 1 / (2 * src[i]) away from one, and the division errs by less than 2^-8 /
// src[i].
QlmStatus ownDivCRev16u(uint16_t value, const uint16_t* src, uint16_t* dst, int32_t count) {
  uint32_t zeros = 0;
  for (int32_t i = 0; i < count; ++i) {
    const uint16_t divisor = loadAny(src + i);
    const bool isZero = divisor == 0;
    const float quotient = static_cast<float>(value) / static_cast<float>(isZero ? 1 : divisor);
    const uint32_t rounded = std::bit_cast<uint32_t>(quotient + 0x1p23F) & 0xFFFF;
    zeros |= isZero;
    storeAny(dst + i, static_cast<uint16_t>(isZero ? UINT16_MAX : rounded));
  }
  return zeros ? qlmWarnDivByZero : qlmOk;
}

QLM_EXPORT(qlmiQuantFwdRawTableInit_JPEG_8u)
(uint8_t* rawTable, int32_t quality) {
  if (!rawTable) return qlmErrNullPointer;
  if (quality < 1) return qlmErrBadArgument;

  // From quality 100 on every entry clamps to 1, so that the scale may stop there.
  const int32_t scale = quality < 50 ? 5000 / quality : quality < 100 ? 200 - 2 * quality : 0;
  for (int i = 0; i < 64; ++i) {
    const int32_t entry = (rawTable[i] * scale + 50) / 100;
    rawTable[i] = static_cast<uint8_t>(entry < 1 ? 1 : entry > 255 ? 255 : entry);
  }
  return qlmOk;
}

QLM_EXPORT(qlmiQuantFwdTableInit_JPEG_8u16u)
(const uint8_t* rawTable, uint16_t* fwdTable) {
  if (!rawTable || !fwdTable) return qlmErrNullPointer;

  uint16_t quantisers[64];
  loadNatural(rawTable, quantisers);
  return ownDivCRev16u(kReciprocalOne, quantisers, fwdTable, 64);
}

QLM_EXPORT(qlmiQuantInvTableInit_JPEG_8u16u)
(const uint8_t* rawTable, uint16_t* invTable) {
  if (!rawTable || !invTable) return qlmErrNullPointer;

  loadNatural(rawTable, invTable);
  return qlmOk;
}
