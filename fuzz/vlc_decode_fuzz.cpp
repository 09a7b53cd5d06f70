// Any stream and any state that calls can lead to, through JPEG XR's decoders of blocks, DC lists and low bits, call by
// call against the model; and blocks through the encoders and back.
#include <cstring>

#include "fuzz_input.h"
#include "model/jpegxr_vlc.h"

namespace {

using model::BitReader;
using model::BitWriter;

// A state of the library, in an allocation of its own, and that of the model.
struct Coder {
  std::unique_ptr<QlmVLCState> library = std::make_unique<QlmVLCState>();
  model::VlcState model;

  Coder() {
    FUZZ_REQUIRE(qlmiVLCInit_JPEGXR(library.get()) == qlmOk);
    model::initVlc(model);
  }
  // Counts, the scan in use, and discriminants that lead to other tables.
  void change(fuzz::Input& in) {
    const uint8_t what = in.byte();
    if (what & 3) resetScans();
    model.current = (what >> 2) % 3;
    FUZZ_REQUIRE(qlmiVLCScanSet_JPEGXR(library.get(), model.current) == qlmOk);
    for (int32_t steps = (what >> 4) % 8; steps > 0; --steps) {
      for (size_t table = 0; table < 21; ++table) {
        const auto discriminant = [&] { return static_cast<int8_t>(in.byte()); };
        library->discriminant0[table] = model.discriminant0[table] = discriminant();
        library->discriminant1[table] = model.discriminant1[table] = discriminant();
      }
      for (const int32_t mode : {0, 1}) adapt(mode);
    }
  }
  void resetScans() {
    for (const int32_t which : {0, 1, 2}) {
      FUZZ_REQUIRE(qlmiVLCScanReset_JPEGXR(library.get(), which) == qlmOk);
      model::resetScan(model, which);
    }
  }
  void adapt(int32_t mode) {
    FUZZ_REQUIRE(qlmiVLCAdapt_JPEGXR(library.get(), mode) == qlmOk);
    model::adaptVlc(model, mode);
  }
  void requireSame() const {
    const QlmVLCState& s = *library;
    FUZZ_REQUIRE(std::memcmp(s.adaptive, model.adaptive.data(), sizeof s.adaptive) == 0);
    FUZZ_REQUIRE(std::memcmp(s.discriminant0, model.discriminant0.data(), sizeof s.discriminant0) == 0);
    FUZZ_REQUIRE(std::memcmp(s.discriminant1, model.discriminant1.data(), sizeof s.discriminant1) == 0);
    const size_t bytes = sizeof s.scan0;
    for (const auto& [which, scan] : {std::pair{2, s.scan2}, std::pair{1, s.scan1}, std::pair{0, s.scan0}}) {
      FUZZ_REQUIRE(std::memcmp(scan, model.records.data() + 16 * (2 - which), bytes) == 0);
      FUZZ_REQUIRE((s.scanCurrent == scan) == (model.current == which));
    }
  }
};

// Runs model(BitReader&), then call(stream, buffer, count) on the units that it took, in an allocation of their size.
template <typename Model, typename Call>
void compareReading(BitReader& reader, const Model& model, const Call& call) {
  const BitReader before = reader;
  model(reader);
  const std::vector<uint8_t> units(before.next, reader.next);
  const auto memory = std::make_unique<uint8_t[]>(units.size());
  std::copy(units.begin(), units.end(), memory.get());
  const auto* stream = reinterpret_cast<const uint16_t*>(memory.get());
  uint32_t buffer = before.buffer, count = before.count;
  FUZZ_REQUIRE(call(&stream, &buffer, &count) == qlmOk);
  FUZZ_REQUIRE(reinterpret_cast<const uint8_t*>(stream) == memory.get() + units.size());
  FUZZ_REQUIRE(buffer == reader.buffer && count == reader.count);
}

template <typename T>
void decodeBlocks(BitReader& reader, const uint8_t* end, int32_t tableClass, T scale, Coder& coder, auto decode) {
  while (reader.next < end) {
    model::VlcBlock<T> expected, block;
    block.fill(0x55);
    int32_t coefficients = 0, count = -1;
    compareReading(
        reader, [&](BitReader& in) { coefficients = model::decodeBlock(in, scale, expected, tableClass, coder.model); },
        [&](const uint16_t** stream, uint32_t* buffer, uint32_t* bits) {
          return decode(stream, buffer, bits, scale, block.data(), 4 * sizeof(T), tableClass, &count,
                        coder.library.get());
        });
    FUZZ_REQUIRE(block == expected && count == coefficients);
    coder.requireSame();
  }
}

void decodeDc(BitReader& reader, const uint8_t* end, model::DcForm form, int32_t tableClass, Coder& coder) {
  while (reader.next < end) {
    std::vector<int32_t> expected(form == model::DcForm::k420 ? 6 : form == model::DcForm::k422 ? 14 : 16, 99);
    std::vector<int32_t> dst = expected;
    int32_t wanted = -1, count = -1;
    compareReading(
        reader,
        [&](BitReader& in) {
          const auto list = model::decodeDcList(in, form, tableClass, coder.model);
          if (form == model::DcForm::k444)
            wanted = model::placeDc444(list, expected.data(), coder.model);
          else
            wanted = model::placeDc(list, expected).value_or(-1);
        },
        [&](const uint16_t** stream, uint32_t* buffer, uint32_t* bits) {
          QlmVLCState* const state = coder.library.get();
          if (form == model::DcForm::k420)
            return qlmiVLCDecodeDC420_JPEGXR_1u32s(stream, buffer, bits, dst.data(), &count, state);
          if (form == model::DcForm::k422)
            return qlmiVLCDecodeDC422_JPEGXR_1u32s(stream, buffer, bits, dst.data(), &count, state);
          return qlmiVLCDecodeDC444_JPEGXR_1u32s(stream, buffer, bits, dst.data(), tableClass, &count, state);
        });
    FUZZ_REQUIRE(dst == expected && count == wanted);
    coder.requireSame();
  }
}

template <typename T>
void decodeLowBits(BitReader& reader, const uint8_t* end, int32_t numBits, T scale, int32_t refine, auto decode) {
  model::VlcBlock<T> expected;
  for (size_t i = 0; i < 16; ++i) expected[i] = static_cast<T>(i % 3 == 0 ? 0 : i % 3 == 1 ? ~i : i << 12);
  while (reader.next < end) {
    const uint8_t* const before = reader.next;
    model::VlcBlock<T> block = expected;
    compareReading(
        reader, [&](BitReader& in) { model::decodeFixed(in, expected, numBits, scale, refine != 0); },
        [&](const uint16_t** stream, uint32_t* buffer, uint32_t* bits) {
          return decode(stream, buffer, bits, block.data(), 4 * sizeof(T), numBits, scale, refine);
        });
    FUZZ_REQUIRE(block == expected);
    if (reader.next == before) return;
  }
}

// Blocks from the input through encoder and decoder of one stream, with the encoder compared as well.
void codeBlocks(fuzz::Input& in, int32_t tableClass, int32_t numBits, Coder& encoder, Coder& decoder) {
  BitWriter writer;
  std::vector<model::VlcBlock<int32_t>> blocks;
  std::vector<int32_t> counts;
  while (!in.empty() && blocks.size() < 64) {
    model::VlcBlock<int32_t> block{};
    uint16_t places = in.word();
    const uint8_t shift = in.byte() % 22;
    for (int32_t& v : block) {
      if (places & 1) v = static_cast<int8_t>(in.byte()) * (1 << shift);
      places >>= 1;
    }
    const size_t already = writer.out.size();
    uint16_t units[128];
    uint16_t* stream = units;
    uint32_t buffer = writer.buffer, bits = writer.count;
    int32_t count = -1;
    counts.push_back(model::encodeBlock(block, tableClass, numBits, writer, encoder.model));
    FUZZ_REQUIRE(qlmiVLCEncode4x4_JPEGXR_32s1u_C1R(block.data(), 16, tableClass, numBits, &stream, &buffer, &bits,
                                                   &count, encoder.library.get()) == qlmOk);
    FUZZ_REQUIRE(count == counts.back() && buffer == writer.buffer && bits == writer.count);
    const auto* written = reinterpret_cast<const uint8_t*>(units);
    FUZZ_REQUIRE(std::equal(written, written + 2 * (stream - units),
                            writer.out.begin() + static_cast<ptrdiff_t>(already), writer.out.end()));
    encoder.requireSame();
    blocks.push_back(block);
    if (blocks.size() % 8 == 0) encoder.adapt(1);
  }
  for (uint32_t i = 0; i < 12; ++i)
    writer.out.push_back(static_cast<uint8_t>(i < 4 ? writer.buffer >> (24 - 8 * i) : 0));
  BitReader reader{writer.out.data()};
  for (size_t i = 0; i < blocks.size(); ++i) {
    if (counts[i] > 0) {
      model::VlcBlock<int32_t> expected, decoded;
      int32_t coefficients = 0, count = -1;
      compareReading(
          reader, [&](BitReader& r) { coefficients = model::decodeBlock(r, 1, expected, tableClass, decoder.model); },
          [&](const uint16_t** stream, uint32_t* buffer, uint32_t* bits) {
            return qlmiVLCDecode4x4_JPEGXR_1u32s_C1R(stream, buffer, bits, 1, decoded.data(), 16, tableClass, &count,
                                                     decoder.library.get());
          });
      FUZZ_REQUIRE(decoded == expected && count == coefficients && count == counts[i]);
      for (size_t k = 1; k < 16; ++k) {
        const int32_t level = std::abs(blocks[i][k]) >> numBits;
        FUZZ_REQUIRE(decoded[k] == (blocks[i][k] < 0 ? -level : level));
      }
    }
    if ((i + 1) % 8 == 0) decoder.adapt(1);
    decoder.requireSame();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const uint8_t kind = in.byte() % 8;
  const int32_t tableClass = in.byte() & 1, numBits = in.byte() % 16;
  const auto scale = static_cast<int32_t>(static_cast<uint32_t>(in.word()) << 16 | in.word());
  const int32_t refine = in.byte() % 3;
  Coder coder, other;
  if (kind == 7) {
    fuzz::Input again = in;
    coder.change(in);
    other.change(again);
    // The decoder lets record 1 change places with the DC record, the encoder does not: counts of 0 lead them apart.
    for (Coder* c : {&coder, &other}) c->resetScans();
    codeBlocks(in, tableClass, numBits, coder, other);
    return 0;
  }
  coder.change(in);
  BitReader reader{};
  reader.count = in.byte() % 33;
  reader.buffer = static_cast<uint32_t>(in.word()) << 16 | in.word();
  reader.buffer = reader.count == 0 ? 0 : reader.buffer >> (32 - reader.count) << (32 - reader.count);
  std::vector<uint8_t> bytes = in.rest();
  const size_t length = bytes.size();
  bytes.resize(length + 512);  // more than one call can take
  reader.next = bytes.data();
  const uint8_t* const end = bytes.data() + length;
  switch (kind) {
    case 0:
      decodeBlocks<int16_t>(reader, end, tableClass, static_cast<int16_t>(scale), coder,
                            qlmiVLCDecode4x4_JPEGXR_1u16s_C1R);
      break;
    case 1:
      decodeBlocks<int32_t>(reader, end, tableClass, scale, coder, qlmiVLCDecode4x4_JPEGXR_1u32s_C1R);
      break;
    case 2:
      decodeDc(reader, end, model::DcForm::k420, tableClass, coder);
      break;
    case 3:
      decodeDc(reader, end, model::DcForm::k422, tableClass, coder);
      break;
    case 4:
      decodeDc(reader, end, model::DcForm::k444, tableClass, coder);
      break;
    case 5:
      decodeLowBits<int16_t>(reader, end, numBits, static_cast<int16_t>(scale), refine,
                             qlmiFLCDecode4x4_JPEGXR_1u16s_C1IR);
      break;
    default:
      decodeLowBits<int32_t>(reader, end, numBits, scale, refine, qlmiFLCDecode4x4_JPEGXR_1u32s_C1IR);
  }
  return 0;
}
