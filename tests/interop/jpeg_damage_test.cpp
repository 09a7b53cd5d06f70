// Files that are cut, changed or made to be a burden: no crash, no hang, a message, and the part that was decoded.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "interop/jpeg_checks.h"
#include "support/random.h"

namespace test {
namespace {

using sample::JpegBy;
using sample::JpegColour;
using sample::JpegError;
using sample::JpegProcess;
using sample::Picture;
using sample::Picture16;
using sample::Subsampling;

sample::JpegWriteOptions optionsOf(JpegProcess process, int32_t interval, std::optional<JpegColour> colour = {}) {
  sample::JpegWriteOptions options{.restartInterval = interval, .colour = colour};
  options.coding.process = process;
  options.coding.predictor = 4;
  return options;
}

std::string damageOf(const Bytes& file, Picture& picture, const sample::JpegReadOptions& options = {}) {
  try {
    sample::readJpeg(file, picture, options);
  } catch (const sample::JpegDamaged& damage) {
    return damage.what();
  }
  return "none";
}

// Every prefix of a file: never a crash, the whole rows of MCUs that were there are kept, the rest is grey.
TEST(JpegDamage, EveryTruncation) {
  const std::pair<JpegColour, JpegBy> kinds[]{
      {JpegColour::kGrey, JpegBy::kMcu}, {JpegColour::kYCbCr, JpegBy::kMcu},   {JpegColour::kCmyk, JpegBy::kMcu},
      {JpegColour::kYcck, JpegBy::kMcu}, {JpegColour::kYCbCr, JpegBy::kPlane}, {JpegColour::kYcck, JpegBy::kPlane}};
  for (const auto& [colour, by] : kinds) {
    SCOPED_TRACE(testing::Message() << "colour " << int(colour) << ", way " << int(by));
    const Bytes file = sample::writeJpeg(sample::paintPicture(40, 48), {75, Subsampling::k420, 0, colour});
    const Picture whole = sample::readJpeg(file, {.by = by});
    const int32_t mcu = colour == JpegColour::kGrey || colour == JpegColour::kCmyk ? 8 : 16;
    const size_t scan = findMarker(file, sample::kSos);
    const size_t data = scan + 2 + static_cast<size_t>(file[scan + 2] << 8 | file[scan + 3]);
    size_t kept = 0;
    for (size_t length = 0; length < file.size(); ++length) {
      const std::span part(file.data(), length);
      Picture picture;
      if (length < data) {
        EXPECT_THROW(sample::readJpeg(part, picture, {.by = by}), JpegError) << length;
        EXPECT_TRUE(picture.pixels.empty());
        continue;
      }
      ASSERT_THROW(sample::readJpeg(part, picture, {.by = by}), sample::JpegDamaged) << length;
      ASSERT_EQ(picture.pixels.size(), whole.pixels.size());
      const auto mismatch =
          static_cast<size_t>(std::ranges::mismatch(picture.pixels, whole.pixels).in1 - picture.pixels.begin());
      EXPECT_GE(mismatch, kept) << length;
      EXPECT_EQ(picture.pixels.back(), mismatch == whole.pixels.size() ? whole.pixels.back() : 128) << length;
      const auto mcuRow = static_cast<size_t>(mcu * whole.step());
      kept = std::max(kept, mismatch / mcuRow * mcuRow);
    }
    EXPECT_EQ(kept, whole.pixels.size());  // all but the end-of-image marker
  }
}

// The same for files of several scans, of rows, and of more than 8 bits: a picture as soon as there is a scan.
TEST(JpegDamage, EveryTruncationOfOtherProcesses) {
  const Picture picture = sample::paintPicture(40, 24);
  Bytes files[]{sample::writeJpeg(picture, optionsOf(JpegProcess::kProgressive, 0)),
                sample::writeJpeg(picture, optionsOf(JpegProcess::kProgressive, 2)),
                sample::writeJpeg(picture, optionsOf(JpegProcess::kLossless, 0)),
                sample::writeJpeg(picture, optionsOf(JpegProcess::kLossless, 80)),
                sample::writeJpeg(sample::toBits(picture, 12)),
                peerWrite(picture, {.oneScan = false})};
  for (const Bytes& file : files) {
    Picture16 whole;
    sample::readJpeg(file, whole);
    const size_t scan = findMarker(file, sample::kSos);
    const size_t data = scan + 2 + static_cast<size_t>(file[scan + 2] << 8 | file[scan + 3]);
    for (size_t length = 0; length < file.size(); ++length) {
      const std::span part(file.data(), length);
      Picture16 read;
      if (length < data) {
        EXPECT_THROW(sample::readJpeg(part, read), JpegError) << length;
        EXPECT_TRUE(read.samples.empty());
      } else {
        ASSERT_THROW(sample::readJpeg(part, read), sample::JpegDamaged) << length;
        ASSERT_EQ(read.samples.size(), whole.samples.size());
        EXPECT_TRUE(length + 2 < file.size() || read == whole) << length;  // all but the end-of-image marker
      }
    }
  }
}

// Where the restart intervals of one scan lie: begin, and the marker behind them.
std::vector<std::pair<size_t, size_t>> intervalsOf(const Bytes& file, int32_t scan) {
  size_t at = 0;
  for (int32_t seen = 0; seen < scan; ++at)
    if (file[at] == 0xFF && file[at + 1] == sample::kSos) ++seen;
  at += 1 + static_cast<size_t>(file[at + 1] << 8 | file[at + 2]);
  std::vector<std::pair<size_t, size_t>> intervals;
  for (size_t begin = at;; ++at) {
    if (file[at] != 0xFF || file[at + 1] == 0) continue;
    intervals.emplace_back(begin, at);
    if (file[at + 1] < sample::kRst0 || file[at + 1] > sample::kRst7) return intervals;
    begin = at + 2;
  }
}

// Changes bytes without making or breaking markers.
void scramble(Bytes& file, size_t begin, size_t end, Random& random) {
  for (size_t i = begin; i < end; ++i) {
    const auto changed = static_cast<uint8_t>(random.bits());
    if (file[i] != 0xFF && file[i - 1] != 0xFF && changed != 0xFF) file[i] = changed;
  }
}

// Files of restart intervals, and which rows of pixels each interval may reach. Grey, so that an interval of 3 MCUs is
// 3 blocks in each scan.
struct Case {
  const char* name;
  Bytes file;
  int32_t scans;
  sample::JpegReadOptions options;
};
constexpr int32_t kWide = 24, kHigh = 160;  // 20 rows of 3 blocks

std::vector<Case> intervalCases() {
  const Picture grey = sample::paintPicture(kWide, kHigh, 1);
  const Bytes sequential = sample::writeJpeg(grey, optionsOf(JpegProcess::kSequential, 3));
  const Bytes progressive = sample::writeJpeg(grey, optionsOf(JpegProcess::kProgressive, 3));
  return {{"sequential by MCUs", sequential, 1, {}},
          {"sequential by planes", sequential, 1, {.by = JpegBy::kPlane}},
          {"sequential, reduced", sequential, 1, {.scale = 2}},
          {"progressive", progressive, 6, {}},
          {"lossless", sample::writeJpeg(grey, optionsOf(JpegProcess::kLossless, 8 * kWide)), 1, {}}};
}

// How many rows of 8 pixels differ, from the first that does to the last.
std::pair<int32_t, int32_t> differingRows(const Picture& a, const Picture& b, int32_t scale) {
  std::pair<int32_t, int32_t> rows{-1, -1};
  for (int32_t y = 0; y < a.height; ++y) {
    if (std::equal(a.row(y), a.row(y) + a.step(), b.row(y))) continue;
    rows.second = y * scale / 8;
    if (rows.first < 0) rows.first = rows.second;
  }
  return rows;
}

TEST(JpegDamage, DecodingGoesOnBehindADamagedInterval) {
  TRACE_SEED(31);
  Random random(31);
  for (const Case& c : intervalCases()) {
    const Picture whole = sample::readJpeg(c.file, c.options);
    for (int32_t scan = 1; scan <= c.scans; ++scan)
      for (int32_t n = 0; n < 20; ++n) {
        SCOPED_TRACE(testing::Message() << c.name << ", scan " << scan << ", interval " << n);
        const auto intervals = intervalsOf(c.file, scan);
        ASSERT_EQ(intervals.size(), 20u);
        Bytes file = c.file;
        const auto [begin, end] = intervals[static_cast<size_t>(n)];
        scramble(file, begin, end, random);
        Picture picture;
        const std::string damage = damageOf(file, picture, c.options);
        const auto [first, last] = differingRows(picture, whole, c.options.scale);
        EXPECT_TRUE(first < 0 || (first == n && last == n)) << first << " to " << last << ": " << damage;
      }
  }
}

TEST(JpegDamage, DecodingGoesOnBehindALostInterval) {
  for (const Case& c : intervalCases()) {
    const Picture whole = sample::readJpeg(c.file, c.options);
    for (int32_t scan = 1; scan <= c.scans; ++scan)
      for (int32_t n = 1; n < 18; ++n)
        for (const bool twice : {false, true}) {  // an interval that is missing, or there two times
          SCOPED_TRACE(testing::Message() << c.name << ", scan " << scan << ", interval " << n << ", twice " << twice);
          const auto intervals = intervalsOf(c.file, scan);
          const auto begin = c.file.begin() + static_cast<ptrdiff_t>(intervals[static_cast<size_t>(n)].first);
          const auto end = c.file.begin() + static_cast<ptrdiff_t>(intervals[static_cast<size_t>(n)].second) + 2;
          Bytes file(c.file.begin(), twice ? end : begin);
          file.insert(file.end(), twice ? begin : end, c.file.end());
          Picture picture;
          const std::string damage = damageOf(file, picture, c.options);
          // Refinements of other blocks than these may run out of bits before they miss the marker.
          EXPECT_TRUE(damage == "damaged: restart marker " + std::to_string((twice ? n + 1 : n) % 8) + " is missing" ||
                      (scan > 3 && damage == "damaged: the data of an image scan ends before its last block"))
              << damage;
          const auto [first, last] = differingRows(picture, whole, c.options.scale);
          EXPECT_TRUE(first < 0 || (first >= n && last <= n + 1)) << first << " to " << last;
        }
  }
}

// What is missing is mid-grey, in whole restart intervals.
TEST(JpegDamage, LostIntervalsAreGrey) {
  const Picture picture = sample::paintPicture(64, 80);
  for (const JpegBy by : {JpegBy::kMcu, JpegBy::kPlane}) {
    const Bytes whole = sample::writeJpeg(picture, optionsOf(JpegProcess::kSequential, 4));  // a row of MCUs
    Bytes file = whole;
    const auto intervals = intervalsOf(file, 1);
    ASSERT_EQ(intervals.size(), 5u);
    // A code that no table has: bits that are all set. The 0 behind each 0xFF belongs to the data.
    Bytes ones;
    for (int i = 0; i < 8; ++i) ones.insert(ones.end(), {0xFF, 0});
    file.erase(file.begin() + ptrdiff_t(intervals[2].first), file.begin() + ptrdiff_t(intervals[2].second));
    file.insert(file.begin() + ptrdiff_t(intervals[2].first), ones.begin(), ones.end());
    Picture read;
    EXPECT_EQ(damageOf(file, read, {.by = by}), "damaged: a code that is not in the Huffman table");
    const Picture right = sample::readJpeg(whole, {.by = by});
    for (int32_t y = 0; y < 80; ++y)
      for (int32_t x = 0; x < read.step(); ++x) ASSERT_EQ(read.row(y)[x], y / 16 == 2 ? 128 : right.row(y)[x]) << y;
  }
}

// One damaged scan of a progressive file, without restart markers: the scans behind it are read all the same.
TEST(JpegDamage, LaterScansAreRead) {
  TRACE_SEED(32);
  Random random(32);
  const Picture picture = sample::paintPicture(64, 64);
  const Bytes whole = sample::writeJpeg(picture, optionsOf(JpegProcess::kProgressive, 0));
  for (int32_t scan = 2; scan <= 10; ++scan) {
    Bytes file = whole;
    const auto [begin, end] = intervalsOf(file, scan)[0];
    scramble(file, begin + (end - begin) / 2, end, random);
    Picture read;
    damageOf(file, read);
    EXPECT_GT(psnr(read, picture), 15) << scan;
  }
}

// The segments of a file and the data of its scans.
std::vector<Bytes> partsOf(const Bytes& file) {
  std::vector<Bytes> parts{{file[0], file[1]}};
  for (size_t at = 2; at + 3 < file.size();) {
    size_t end = at + 2 + static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
    if (file[at + 1] == sample::kSos)
      while (end + 1 < file.size() && (file[end] != 0xFF || file[end + 1] == 0 ||
                                       (file[end + 1] >= sample::kRst0 && file[end + 1] <= sample::kRst7)))
        ++end;
    parts.emplace_back(file.begin() + ptrdiff_t(at), file.begin() + ptrdiff_t(end));
    at = end;
  }
  parts.push_back({0xFF, sample::kEoi});
  return parts;
}

// Doubles, removes or moves a segment, or a scan.
Bytes shuffled(const Bytes& file, Random& random) {
  std::vector<Bytes> parts = partsOf(file);
  const auto any = [&] { return parts.begin() + random.between(1, static_cast<int64_t>(parts.size()) - 1); };
  const auto from = any();
  const Bytes part = *from;
  if (!random.oneIn(3)) parts.erase(from);
  if (!random.oneIn(3)) parts.insert(any(), part);
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

void edit(Bytes& file, Random& random) {
  for (int64_t edits = random.between(1, 4); edits > 0 && !file.empty(); --edits) {
    const auto place = file.begin() + random.between(0, static_cast<int64_t>(file.size()) - 1);
    switch (random.between(0, 4)) {
      case 0:
        *place ^= static_cast<uint8_t>(1 << random.between(0, 7));
        break;
      case 1:
        *place = static_cast<uint8_t>(random.bits());
        break;
      case 2:
        *place = 0xFF;
        break;
      case 3:
        file.erase(place, place + random.between(1, std::min<int64_t>(16, file.end() - place)));
        break;
      default:
        if (random.oneIn(4)) file.erase(place, file.end());
    }
  }
}

TEST(JpegDamage, TenThousandDamagedFiles) {
  TRACE_SEED(1);
  Random random(1);
  const Picture colour = sample::paintPicture(37, 29), grey = sample::paintPicture(24, 40, 1);
  const Bytes originals[]{
      sample::writeJpeg(colour, {75, Subsampling::k420, 0}),
      sample::writeJpeg(colour, {95, Subsampling::k422, 1}),
      sample::writeJpeg(colour, {30, Subsampling::k444, 7}),
      sample::writeJpeg(grey, {75, Subsampling::k444, 3}),
      peerWrite(colour, {.optimised = true, .oneScan = false}),
      peerWrite(colour, {.factors = {{{4, 1}, {1, 1}, {1, 1}}}, .optimised = true}),
      peerWrite(colour, {.rgb = true}),
      sample::writeJpeg(colour, {.restartInterval = 2, .colour = JpegColour::kYcck}),
      sample::writeJpeg(colour, {.colour = JpegColour::kCmyk}),
      sample::writeJpeg(colour, optionsOf(JpegProcess::kProgressive, 0)),
      sample::writeJpeg(colour, optionsOf(JpegProcess::kProgressive, 2)),
      sample::writeJpeg(grey, optionsOf(JpegProcess::kProgressive, 0)),
      peerWrite(colour, {.factors = {{{2, 2}, {2, 1}, {1, 2}}}, .coding = PeerCoding::kProgressive}),
      sample::writeJpeg(colour, optionsOf(JpegProcess::kLossless, 0)),
      sample::writeJpeg(sample::toBits(grey, 16), optionsOf(JpegProcess::kLossless, 48)),
      sample::writeJpeg(sample::toBits(colour, 12), {.restartInterval = 3})};
  const sample::JpegReadOptions ways[]{{},
                                       {.by = JpegBy::kPlane},
                                       {.upsampling = sample::Upsampling::kTriangle},
                                       {.scans = 2},
                                       {.upsampling = sample::Upsampling::kTriangle, .scale = 2},
                                       {.scale = 8}};
  int32_t whole = 0, damaged = 0, refused = 0;
  for (int32_t round = 0; round < 10'000; ++round) {
    const auto way = static_cast<size_t>(round) / std::size(originals) % std::size(ways);
    Bytes file = originals[static_cast<size_t>(round) % std::size(originals)];
    if (random.oneIn(5)) file = shuffled(file, random);
    if (!random.oneIn(5)) edit(file, random);
    Picture picture;
    try {
      sample::readJpeg(file, picture, ways[way]);
      ++whole;
      EXPECT_FALSE(picture.pixels.empty());
    } catch (const sample::JpegDamaged&) {
      ++damaged;
      EXPECT_FALSE(picture.pixels.empty());
    } catch (const JpegError&) {
      ++refused;
      EXPECT_TRUE(picture.pixels.empty());
    }
    try {
      if (way == 1) {
        Picture16 deep;
        sample::readJpeg(file, deep);
      } else {
        sample::readCoefficients(file);
      }
    } catch (const JpegError&) {
    }
  }
  EXPECT_GT(whole, 500);
  EXPECT_GT(damaged, 500);
  EXPECT_GT(refused, 500);
}

void put(Bytes& file, std::initializer_list<int> bytes) {
  for (const int b : bytes) file.push_back(static_cast<uint8_t>(b));
}

// A short file whose scans are many and cover a picture as large as is allowed: work is bounded by the length of the
// file. Without the bound this would take hours.
TEST(JpegDamage, ManyScansOfALargePicture) {
  Bytes file;
  put(file, {0xFF, 0xD8, 0xFF, 0xDB, 0, 67, 0});
  file.insert(file.end(), 64, 1);
  put(file, {0xFF, 0xC2, 0, 11, 8, 0x10, 0x00, 0x10, 0x00, 1, 1, 0x11, 0});                    // 4096 x 4096
  put(file, {0xFF, 0xC4, 0, 20, 0x00, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});     // DC: 0 in one bit
  put(file, {0xFF, 0xC4, 0, 20, 0x10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0});  // AC: a run in one bit
  put(file, {0xFF, 0xDA, 0, 8, 1, 1, 0x00, 0, 0, 0});
  file.insert(file.end(), 4096 * 4096 / 64 / 8, 0);
  for (int k = 1; k <= 63; ++k)
    for (int al = 13; al >= 0; --al) {
      put(file, {0xFF, 0xDA, 0, 8, 1, 1, 0x00, k, k, al == 13 ? 13 : (al + 1) << 4 | al});
      file.insert(file.end(), 34, 0);  // runs of 16384 blocks
    }
  const auto start = std::chrono::steady_clock::now();
  Picture picture;
  EXPECT_EQ(damageOf(file, picture, {.scale = 8}), "damaged: more scans than so short a file can need");
  EXPECT_EQ(picture.width, 512);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(JpegDamage, LargePicturesInAFewBytesAreRefused) {
  const Picture picture = sample::paintPicture(16, 16);
  for (const JpegProcess process : {JpegProcess::kSequential, JpegProcess::kProgressive, JpegProcess::kLossless}) {
    Bytes file = sample::writeJpeg(picture, optionsOf(process, 0));
    const uint8_t marker = process == JpegProcess::kSequential    ? sample::kSof0
                           : process == JpegProcess::kProgressive ? sample::kSof2
                                                                  : sample::kSof3;
    for (size_t i = 5; i < 9; ++i) file[findMarker(file, marker) + i] = 0xFF;
    Picture read;
    EXPECT_THROW(sample::readJpeg(file, read), JpegError);
    EXPECT_TRUE(read.pixels.empty());
  }
}

}  // namespace
}  // namespace test
