// The adaptive coders of DC values (ITU-T T.832 8.7), call by call against the model, there and back, and by number.
#include <climits>
#include <numeric>

#include "vlc_support.h"

namespace {

using model::BitReader;
using model::BitWriter;
using model::DcForm;
using model::RunLevel;
using test::Coder;
using test::Edge;
using test::HeldBits;
using test::Random;
using test::ReadWindow;
using test::Tail;
using test::WriteWindow;

// A form, with how many values it has.
struct Form {
  DcForm form;
  int32_t values;
};
constexpr Form k420{DcForm::k420, 6}, k422{DcForm::k422, 14}, k444{DcForm::k444, 15};

QlmStatus encode(Form form, const int32_t* list, int32_t count, int32_t tableClass, uint16_t** stream, uint32_t* buffer,
                 uint32_t* bits, QlmVLCState* state) {
  switch (form.form) {
    case DcForm::k420:
      return qlmiVLCEncodeDC420_JPEGXR_32s1u(list, count, stream, buffer, bits, state);
    case DcForm::k422:
      return qlmiVLCEncodeDC422_JPEGXR_32s1u(list, count, stream, buffer, bits, state);
    default:
      return qlmiVLCEncodeDC444_JPEGXR_32s1u(list, count, tableClass, stream, buffer, bits, state);
  }
}
QlmStatus decode(Form form, const uint16_t** stream, uint32_t* buffer, uint32_t* bits, int32_t* dst, int32_t tableClass,
                 int32_t* count, QlmVLCState* state) {
  switch (form.form) {
    case DcForm::k420:
      return qlmiVLCDecodeDC420_JPEGXR_1u32s(stream, buffer, bits, dst, count, state);
    case DcForm::k422:
      return qlmiVLCDecodeDC422_JPEGXR_1u32s(stream, buffer, bits, dst, count, state);
    default:
      return qlmiVLCDecodeDC444_JPEGXR_1u32s(stream, buffer, bits, dst, tableClass, count, state);
  }
}

int32_t randomLevel(Random& random) {
  const int64_t most = int64_t{1} << random.between(0, random.oneIn(8) ? 30 : 5);
  const int64_t magnitude = random.between(1, most + (most == 1 << 30));
  return static_cast<int32_t>(random.oneIn(2) ? -magnitude : magnitude);
}

// A list with the places that `places` names, bit by bit.
std::vector<RunLevel> listOf(uint32_t places, Random& random) {
  std::vector<RunLevel> list;
  int32_t run = 0;
  for (; places != 0; places >>= 1)
    if (places & 1) {
      list.push_back({run, randomLevel(random)});
      run = 0;
    } else {
      ++run;
    }
  return list;
}
// Of any length, with any runs that fit.
std::vector<RunLevel> randomList(Form form, Random& random) {
  const uint32_t all = (1u << form.values) - 1;
  auto places = static_cast<uint32_t>(random.bits());
  if (random.oneIn(3)) places |= static_cast<uint32_t>(random.bits());
  if (random.oneIn(3)) places &= static_cast<uint32_t>(random.bits());
  places &= all;
  return listOf(places != 0 ? places : 1u << random.between(0, form.values - 1), random);
}

void checkEncoder(Form form, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  Coder coder;
  WriteWindow window;
  Tail<int32_t> pairs(32);
  std::vector<int32_t> lengths(16);
  for (uint32_t round = 0; round < 8000; ++round) {
    coder.stir(random);
    const auto tableClass = static_cast<int32_t>(random.between(0, 1));
    const std::vector<RunLevel> list =
        round < 63 && form.values == 6 ? listOf(round + 1, random) : randomList(form, random);
    ++lengths[list.size()];
    int32_t* const given = pairs.last(2 * list.size());
    for (size_t i = 0; i < list.size(); ++i) {
      given[2 * i] = list[i].run;
      given[2 * i + 1] = list[i].level;
    }
    const auto result = window.run(
        test::heldBits(round % 33, random),
        [&](BitWriter& out) { model::encodeDcList(list, form.form, tableClass, out, coder.model); },
        [&](uint16_t** to, uint32_t* buffer, uint32_t* bits) {
          return encode(form, given, static_cast<int32_t>(list.size()), tableClass, to, buffer, bits, coder.get());
        });
    ASSERT_TRUE(result) << "round " << round << ", " << list.size() << " pairs";
    ASSERT_TRUE(coder.same()) << "round " << round << ", " << list.size() << " pairs";
  }
  for (int32_t length = 1; length <= form.values; ++length)
    EXPECT_GT(lengths[static_cast<size_t>(length)], 0) << length;
}

TEST(Model, qlmiVLCEncodeDC420_JPEGXR_32s1u) { checkEncoder(k420, 0x9300); }
TEST(Model, qlmiVLCEncodeDC422_JPEGXR_32s1u) { checkEncoder(k422, 0x9301); }
TEST(Model, qlmiVLCEncodeDC444_JPEGXR_32s1u) { checkEncoder(k444, 0x9302); }

// Lists that were coded, and any bits.
void checkDecoder(Form form, uint64_t stream) {
  TRACE_SEED(stream);
  Random random(stream);
  Coder coder;
  ReadWindow window;
  const size_t values = form.form == DcForm::k444 ? 16 : static_cast<size_t>(form.values);
  Tail<int32_t> dst(values), count(1);
  int32_t beyond = 0;
  for (uint32_t round = 0; round < 12000; ++round) {
    coder.stir(random);
    const auto tableClass = static_cast<int32_t>(random.between(0, 1));
    std::vector<uint8_t> bits(160);
    if (random.oneIn(2)) {
      model::VlcState encoder = coder.model;
      BitWriter writer;
      model::encodeDcList(randomList(form, random), form.form, tableClass, writer, encoder);
      bits = test::flushed(writer);
    } else {
      random.fill(std::span(bits));
      const int64_t kind = random.between(0, 3);
      for (uint8_t& b : bits)
        b = static_cast<uint8_t>(kind == 1 ? b | random.bits() : kind == 2 ? b & random.bits() : b);
    }
    const test::Source source(bits, round % 33, random);
    std::vector<int32_t> expected(values);
    random.fill(std::span(expected));
    std::ranges::copy(expected, dst.last(values));
    *count.last(1) = -1;
    std::optional<int32_t> pairs;
    const auto result = window.run(
        source.bytes.data(), source.held,
        [&](BitReader& in) {
          const std::vector<RunLevel> list = model::decodeDcList(in, form.form, tableClass, coder.model);
          if (form.form == DcForm::k444) {
            beyond += std::accumulate(list.begin(), list.end(), static_cast<int32_t>(list.size()),
                                      [](int32_t sum, const RunLevel& pair) { return sum + pair.run; }) > 15;
            pairs = model::placeDc444(list, expected.data(), coder.model);
          } else {
            pairs = model::placeDc(list, expected);
            beyond += !pairs.has_value();
          }
        },
        [&](const uint16_t** from, uint32_t* buffer, uint32_t* held) {
          return decode(form, from, buffer, held, dst.last(values), tableClass, count.last(1), coder.get());
        });
    ASSERT_TRUE(result) << "round " << round << " class " << tableClass;
    ASSERT_EQ(*count.last(1), pairs.value_or(-1)) << "round " << round;
    ASSERT_TRUE(std::ranges::equal(expected, std::span(dst.last(values), values))) << "round " << round;
    ASSERT_TRUE(coder.same()) << "round " << round << " class " << tableClass;
  }
  EXPECT_GT(beyond, 50);
}

TEST(Model, qlmiVLCDecodeDC420_JPEGXR_1u32s) { checkDecoder(k420, 0x9310); }
TEST(Model, qlmiVLCDecodeDC422_JPEGXR_1u32s) { checkDecoder(k422, 0x9311); }
TEST(Model, qlmiVLCDecodeDC444_JPEGXR_1u32s) { checkDecoder(k444, 0x9312); }

// ---- There and back ----

// One stream of many lists, both sides adapting at the same places.
void checkStream(Form form, uint64_t stream) {
  TRACE_SEED(stream);
  constexpr size_t kLists = 2000;
  struct Step {
    int32_t values[16], tableClass, numBits, count;
    int32_t residual[16];
  };
  Random random(stream);
  Coder encoder, decoder;
  std::vector<Step> steps;
  std::vector<uint16_t> units(kLists * 80);
  uint16_t* to = units.data();
  uint32_t buffer = 0, bits = 0;
  int64_t share = 8, magnitude = 4;
  for (size_t i = 0; i < kLists; ++i) {
    if (i % 100 == 0) {  // another part of the picture
      share = random.between(1, 16);
      magnitude = random.oneIn(4) ? 30 : random.between(0, 6);
    }
    Step step{};
    step.tableClass = static_cast<int32_t>(random.between(0, 1));
    step.numBits = static_cast<int32_t>(random.between(0, 3));
    for (int32_t& v : step.values) v = test::randomCoefficient<int32_t>(share, magnitude, random);
    int32_t runLevel[32];
    if (form.form == DcForm::k444) {
      ASSERT_EQ(
          qlmiVLCScan4x4DC_JPEGXR_32s(step.values, step.numBits, step.residual, runLevel, &step.count, encoder.get()),
          qlmOk);
    } else {
      int32_t run = 0;
      for (int32_t k = 0; k < form.values; ++k) {
        if (step.values[k] == 0) {
          ++run;
          continue;
        }
        runLevel[2 * step.count] = run;
        runLevel[2 * step.count + 1] = step.values[k];
        ++step.count;
        run = 0;
      }
    }
    if (i % 16 == 0) encoder.adapt(0);
    if (step.count > 0) {
      ASSERT_EQ(encode(form, runLevel, step.count, step.tableClass, &to, &buffer, &bits, encoder.get()), qlmOk);
    }
    steps.push_back(step);
  }
  for (int32_t i = 0; i < 2; ++i, buffer <<= 16) *to++ = __builtin_bswap16(static_cast<uint16_t>(buffer >> 16));

  const uint16_t* from = units.data();
  buffer = bits = 0;
  for (size_t i = 0; i < kLists; ++i) {
    const Step& step = steps[i];
    if (i % 16 == 0) decoder.adapt(0);
    if (step.count == 0) continue;
    int32_t dst[16]{}, count = -1;
    ASSERT_EQ(decode(form, &from, &buffer, &bits, dst, step.tableClass, &count, decoder.get()), qlmOk);
    ASSERT_EQ(count, step.count) << "list " << i;
    if (form.form != DcForm::k444) {
      ASSERT_TRUE(std::equal(dst, dst + form.values, step.values)) << "list " << i;
      continue;
    }
    for (size_t k = 1; k < 16; ++k) {  // magnitudes are cut towards 0
      const int32_t v = step.values[k], level = std::abs(v) >> step.numBits;
      ASSERT_EQ(dst[k], v < 0 ? -level : level) << "list " << i << " value " << k;
    }
  }
  EXPECT_TRUE(test::sameState(*decoder.get(), test::fieldsOf(*encoder.get())));
}

TEST(VlcStream, DcLists420ComeBack) { checkStream(k420, 0x9320); }
TEST(VlcStream, DcLists422ComeBack) { checkStream(k422, 0x9321); }
TEST(VlcStream, DcLists444ComeBack) { checkStream(k444, 0x9322); }

// ---- By number ----

std::vector<int32_t> flat(std::initializer_list<RunLevel> list) {
  std::vector<int32_t> numbers;
  for (const auto& [run, level] : list) numbers.insert(numbers.end(), {run, level});
  return numbers;
}

std::string written(Form form, std::initializer_list<RunLevel> list, Coder& coder) {
  uint16_t units[64];
  uint16_t* to = units;
  HeldBits held;
  EXPECT_EQ(encode(form, flat(list).data(), static_cast<int32_t>(list.size()), 0, &to, &held.buffer, &held.count,
                   coder.get()),
            qlmOk);
  return test::bitText(units, to, held);
}

struct Decoded {
  std::vector<int32_t> values;
  int32_t count = -1;
  bool usedAll = false;
};
Decoded read(Form form, const std::string& bits, Coder& coder) {
  test::BitSource in(bits);
  Decoded d;
  d.values.resize(form.form == DcForm::k444 ? 16 : static_cast<size_t>(form.values));
  EXPECT_EQ(decode(form, &in.stream, &in.held.buffer, &in.held.count, d.values.data(), 0, &d.count, coder.get()),
            qlmOk);
  d.usedAll = in.usedAll(bits);
  return d;
}

// First symbols have table 1 of kind 12, later ones table 1 of kind 6, runs and levels table 0 in a fresh state.
void expectCode(Form form, std::initializer_list<RunLevel> list, const std::string& bits,
                const std::vector<int32_t>& values) {
  Coder encoder, decoder;
  EXPECT_EQ(written(form, list, encoder), test::bare(bits));
  const Decoded d = read(form, bits, decoder);
  EXPECT_EQ(d.values, values) << bits;
  EXPECT_EQ(d.count, static_cast<int32_t>(list.size())) << bits;
  EXPECT_TRUE(d.usedAll) << bits;
}

TEST(VlcDc, CodesOf420) {
  expectCode(k420, {{0, 1}}, "00010 0", {1, 0, 0, 0, 0, 0});
  expectCode(k420, {{1, -1}}, "0010 1 1", {0, -1, 0, 0, 0, 0});
  expectCode(k420, {{4, 1}}, "0010 0 0000", {0, 0, 0, 0, 1, 0});    // five places: no bits behind the symbol
  expectCode(k420, {{5, 1}}, "0010 0 0001 0", {0, 0, 0, 0, 0, 1});  // but for one
  // Four places left behind the first: fixed codes, and the codes of the last two.
  expectCode(k420, {{0, 1}, {4, 1}}, "100 0 000 0 0", {1, 0, 0, 0, 0, 1});
  expectCode(k420, {{0, 1}, {3, 1}}, "100 0 001 0 0", {1, 0, 0, 0, 1, 0});
  // All six; the context stays 1: the symbols at locations 11 to 13, 14, 15.
  expectCode(k420, {{0, 1}, {0, 1}, {0, 1}, {0, -2}, {0, 1}, {0, 3}}, "010 0 10 0 10 0 0001 1 01 10 0 1 0 10",
             {1, 1, 1, -2, 1, 3});
}

TEST(VlcDc, CodesOf422) {
  std::vector<int32_t> values(14);
  values[13] = 5;
  expectCode(k422, {{13, 5}}, "000000 0 11 1 0001 110", values);
  values.assign(14, 0);
  values[0] = 1;
  values[9] = -1;
  expectCode(k422, {{0, 1}, {8, -1}}, "100 0 0001 001 01 1",
             values);  // twelve places
  values.assign(14, 1);
  std::string all = "010 0";
  for (int32_t location = 3; location < 14; ++location) all += "10 0";
  expectCode(
      k422,
      {{0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}, {0, 1}},
      all + "10 0 0 0", values);
}

TEST(VlcDc, CodesOf444) {
  std::vector<int32_t> values(16);
  values[15] = -1;
  expectCode(k444, {{14, -1}}, "0010 1 0001 111", values);
  values.assign(16, 0);
  values[1] = 2;
  values[5] = 1;
  expectCode(k444, {{0, 2}, {1, 1}}, "101 0 01 1 01 0", values);
}

TEST(VlcDc, TablesOfTheForms) {
  const auto touched = [](Form form, int32_t tableClass) {
    Coder coder;
    uint16_t units[64];
    uint16_t* to = units;
    uint32_t buffer = 0, held = 0;
    const std::vector<int32_t> list = flat({{0, 1}, {0, 4}, {1, 1}});
    EXPECT_EQ(encode(form, list.data(), 3, tableClass, &to, &buffer, &held, coder.get()), qlmOk);
    std::vector<size_t> tables;
    for (size_t i = 0; i < 21; ++i)
      if (coder->discriminant0[i] || coder->discriminant1[i]) tables.push_back(i);
    return tables;
  };
  // U 5 of context 1, U 0 of context 0, L 2 of context 0.
  EXPECT_EQ(touched(k420, 1), (std::vector<size_t>{9, 10, 11}));
  EXPECT_EQ(touched(k422, 0), (std::vector<size_t>{9, 10, 11}));
  EXPECT_EQ(touched(k444, 0), (std::vector<size_t>{6, 7, 11}));
  EXPECT_EQ(touched(k444, 1), (std::vector<size_t>{9, 10, 11}));
}

TEST(VlcDc, LimitsOfTheCounts) {
  Coder coder;
  std::vector<int32_t> list(64);
  for (size_t i = 1; i < list.size(); i += 2) list[i] = 1;
  uint16_t units[64];
  const auto status = [&](Form form, int32_t count) {
    uint16_t* to = units;
    uint32_t buffer = 0, held = 0;
    return encode(form, list.data(), count, 0, &to, &buffer, &held, coder.get());
  };
  for (const auto& [form, most] : {std::pair{k420, 6}, {k422, 14}, {k444, 16}}) {
    EXPECT_EQ(status(form, most), qlmOk);
    EXPECT_EQ(status(form, most + 1), qlmErrRange);
    EXPECT_EQ(status(form, 0), qlmOk);  // no valid list, but one that passes
  }
}

// The count is left alone, and what was placed stays.
TEST(VlcDc, RunsOutOfRange) {
  {
    Coder coder;
    const Decoded d = read(k420, "0010 0 0001 1",
                           coder);  // a run of 6
    EXPECT_EQ(d.count, -1);
    EXPECT_EQ(d.values, std::vector<int32_t>(6));
    EXPECT_TRUE(d.usedAll);
  }
  {
    Coder coder;
    const Decoded d = read(k420, "0011 0 0001 0 0 0",
                           coder);  // 5, and one more behind it
    EXPECT_EQ(d.count, -1);
    EXPECT_EQ(d.values, (std::vector<int32_t>{0, 0, 0, 0, 0, 1}));
  }
  {
    Coder coder;
    const Decoded d = read(k422, "0010 1 0001 111",
                           coder);  // a run of 14
    EXPECT_EQ(d.count, -1);
    EXPECT_EQ(d.values, std::vector<int32_t>(14));
  }
}

// Kept: the last place of a 444 list is not tested. Position 15 and a next of 1 lead to the record behind scan2, which
// is the DC record of scan1.
TEST(VlcDc, Lists444RunOnIntoTheNextScan) {
  Coder coder;
  const Decoded d = read(k444, "0011 0 0001 111 0 1", coder);
  EXPECT_EQ(d.count, 2);
  EXPECT_TRUE(d.usedAll);
  EXPECT_EQ(d.values[15], 1);
  EXPECT_EQ(d.values[0], -1);
  EXPECT_EQ(coder->scan2[15].index, 0);  // 32768 against 5
  EXPECT_EQ(coder->scan2[15].count, 32768);
  EXPECT_EQ(coder->scan1[0].index, 15);
  EXPECT_EQ(coder->scan1[0].count, 5);
}

TEST(VlcDc, Lists444AreNotClearedAndMoveScan2Alone) {
  Coder coder;
  coder.select(0);
  test::BitSource in("00010 0");  // position 1
  int32_t dst[16], count = -1;
  std::fill_n(dst, 16, 99);
  ASSERT_EQ(qlmiVLCDecodeDC444_JPEGXR_1u32s(&in.stream, &in.held.buffer, &in.held.count, dst, 0, &count, coder.get()),
            qlmOk);
  EXPECT_EQ(count, 1);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(dst[i], i == 1 ? 1 : 99);
  EXPECT_EQ(coder->scan2[1].count, 33);
  EXPECT_EQ(coder->scan0[1].count, 32);
  EXPECT_EQ(coder->scanCurrent, coder->scan0);
}

}  // namespace
