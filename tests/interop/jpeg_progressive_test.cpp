// Progressive files and scan scripts both ways against libjpeg: coefficients, Huffman tables and coded bytes are equal.
#include <gtest/gtest.h>

#include <string>

#include "interop/jpeg_checks.h"
#include "support/random.h"

namespace test {
namespace {

using sample::JpegCoefficients;
using sample::JpegColour;
using sample::JpegError;
using sample::JpegProcess;
using sample::JpegScanSpec;
using sample::JpegScript;
using sample::Picture;

constexpr Size kSmallSizes[]{{1, 1}, {7, 9}, {17, 33}, {131, 77}};

// Any legal script: DC of all components in one to three scans, then bands that cover what is left of the coefficients
// of a component, and refinements down to bit 0, in any order that T.81 G.1.1.1 allows. `interleave`: the components
// fit one MCU.
JpegScript randomScript(Random& random, size_t components, bool interleave) {
  struct Band {
    size_t component;
    int32_t ss, se, al;
  };
  JpegScript script;
  std::vector<Band> waiting;
  const auto dcAl = static_cast<int32_t>(random.between(0, 3));
  JpegScanSpec dc{{}, 0, 0, 0, dcAl};
  for (size_t c = 0; c < components; ++c) {
    dc.components.push_back(c);
    if (c + 1 < components && interleave && !random.oneIn(3)) continue;
    script.push_back(dc);
    dc.components.clear();
  }
  for (size_t c = 0; c < components; ++c) {
    for (int32_t ss = 1; ss <= 63;) {
      const auto se = static_cast<int32_t>(random.oneIn(3) ? 63 : random.between(ss, 63));
      waiting.push_back({c, ss, se, -1});
      ss = se + 1;
    }
    waiting.push_back({c, 0, 0, dcAl});
  }
  while (!waiting.empty()) {
    const auto at = static_cast<size_t>(random.between(0, static_cast<int64_t>(waiting.size()) - 1));
    Band& band = waiting[at];
    if (band.al == 0) {
      waiting.erase(waiting.begin() + static_cast<ptrdiff_t>(at));
      continue;
    }
    const int32_t ah = band.al < 0 ? 0 : band.al;
    band.al = band.al < 0 ? static_cast<int32_t>(random.between(0, 4)) : band.al - 1;
    script.push_back({{band.component}, band.ss, band.se, ah, band.al});
  }
  return script;
}

JpegCoefficients coefficientsOf(const Picture& picture, const JpegScript& script, int32_t interval,
                                int32_t quality = 90) {
  sample::JpegWriteOptions options{.quality = quality, .restartInterval = interval};
  options.coding.script = script;
  return sample::readCoefficients(sample::writeJpeg(picture, options));
}

// All of a file from its first Huffman table or restart interval on: what the coder has made.
Bytes codedPart(const Bytes& file) {
  for (size_t i = 2; i + 3 < file.size(); i += 2 + static_cast<size_t>(file[i + 2] << 8 | file[i + 3]))
    if (file[i + 1] == sample::kDht || file[i + 1] == sample::kDri || file[i + 1] == sample::kSos)
      return {file.begin() + static_cast<ptrdiff_t>(i), file.end()};
  throw std::logic_error("no scan");
}

// The segments of this kind and the entropy-coded data, in order; restart intervals stand where each side wants them.
std::vector<Bytes> tablesAndData(const Bytes& file) {
  std::vector<Bytes> parts;
  const Bytes coded = codedPart(file);
  for (size_t i = 0; i + 1 < coded.size() && coded[i + 1] != sample::kEoi;) {
    const uint8_t marker = coded[i + 1];
    size_t end = i + 2 + static_cast<size_t>(coded[i + 2] << 8 | coded[i + 3]);
    if (marker != sample::kDri) parts.emplace_back(coded.begin() + ptrdiff_t(i), coded.begin() + ptrdiff_t(end));
    i = end;
    if (marker != sample::kSos) continue;
    while (coded[end] != 0xFF || coded[end + 1] == 0 ||
           (coded[end + 1] >= sample::kRst0 && coded[end + 1] <= sample::kRst7))
      ++end;
    parts.emplace_back(coded.begin() + ptrdiff_t(i), coded.begin() + ptrdiff_t(end));
    i = end;
  }
  return parts;
}

TEST(JpegProgressive, WeReadFilesOfLibjpeg) {
  for (const auto [width, height] : kSmallSizes)
    for (const int32_t channels : {1, 3})
      for (const auto& factors : kFactors) {
        if (channels == 1 && factors[0][0] > 1) continue;
        for (const int32_t quality : {10, 75, 100})
          for (const int32_t interval : kIntervals) {
            SCOPED_TRACE(testing::Message()
                         << width << " x " << height << " x " << channels << ", luma " << factors[0][0] << " x "
                         << factors[0][1] << ", quality " << quality << ", restart " << interval);
            const Bytes file =
                peerWrite(sample::paintPicture(width, height, channels), {.quality = quality,
                                                                          .factors = factors,
                                                                          .restartInterval = interval,
                                                                          .coding = PeerCoding::kProgressive});
            EXPECT_EQ(sample::readJpegFrame(file).process, JpegProcess::kProgressive);
            expectReadsRight(file);
            if (interval == 0) expectPlanesReadRight(file);
            if (HasFailure()) return;
          }
      }
}

TEST(JpegProgressive, LibjpegReadsOurFiles) {
  for (const auto [width, height] : kSmallSizes)
    for (const int32_t channels : {1, 3, 4})
      for (const auto subsampling : kSubsamplings)
        for (const int32_t interval : kIntervals) {
          SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << channels << ", mode "
                                          << int(subsampling) << ", restart " << interval);
          const Picture picture = channels == 4 ? sample::toCmyk(sample::paintPicture(width, height))
                                                : sample::paintPicture(width, height, channels);
          sample::JpegWriteOptions options{.quality = 85, .subsampling = subsampling, .restartInterval = interval};
          const Bytes plain = sample::writeJpeg(picture, options);
          options.coding.process = JpegProcess::kProgressive;
          const Bytes file = sample::writeJpeg(picture, options);
          expectReadsRight(file);
          // The way of coding changes nothing that is seen.
          EXPECT_EQ(sample::readJpeg(file), sample::readJpeg(plain));
          options.by = sample::JpegBy::kPlane;
          expectReadsRight(sample::writeJpeg(picture, options));
          if (HasFailure()) return;
        }
}

TEST(JpegProgressive, RandomScripts) {
  TRACE_SEED(11);
  Random random(11);
  for (int round = 0; round < 120; ++round) {
    const int32_t channels = random.oneIn(4) ? 1 : 3;
    const Size size = kSmallSizes[round % 4];
    const auto& factors = kFactors[channels == 1 ? 0 : static_cast<size_t>(random.between(0, 2))];
    const auto interval = static_cast<int32_t>(random.oneIn(2) ? 0 : random.between(1, 9));
    const JpegScript script = randomScript(random, static_cast<size_t>(channels), true);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << size.width << " x " << size.height << " x "
                                    << channels << ", restart " << interval << ", " << script.size() << " scans");
    const Picture picture = sample::paintPicture(size.width, size.height, channels);
    const Bytes theirs =
        peerWrite(picture, {.quality = 95, .factors = factors, .restartInterval = interval, .script = script});
    expectReadsRight(theirs, false);
    const JpegCoefficients coefficients = sample::readCoefficients(theirs);
    const Bytes ours = sample::writeCoefficients(coefficients, {.script = script});
    expectSameCoefficients(coefficients, peerReadCoefficients(ours));
    EXPECT_EQ(tablesAndData(ours).size(), tablesAndData(theirs).size());
    if (HasFailure()) return;
  }
}

// Whole MCUs, so that both sides code the same blocks: then not only the coefficients but all tables and all bits are
// the same, as T.81 K.2 leaves no choice that the two make differently.
TEST(JpegProgressive, TablesAndBitsAreThoseOfLibjpeg) {
  TRACE_SEED(12);
  Random random(12);
  for (const auto& factors : kFactors)
    for (const int32_t channels : {1, 3})
      for (const int32_t interval : {0, 5})
        for (int round = 0; round < 6; ++round) {
          const Picture picture = sample::paintPicture(128, 96, channels);
          JpegScript script;  // one sequential scan
          if (round == 1)
            script = sample::usualProgression(channels == 1 ? JpegColour::kGrey : JpegColour::kYCbCr,
                                              static_cast<size_t>(channels));
          if (round > 1) script = randomScript(random, static_cast<size_t>(channels), true);
          const JpegCoefficients coefficients = sample::readCoefficients(
              peerWrite(picture, {.quality = 92, .factors = factors, .restartInterval = interval}));
          const auto ours =
              tablesAndData(sample::writeCoefficients(coefficients, {.optimise = true, .script = script}));
          const auto theirs = tablesAndData(peerWriteCoefficients(coefficients, script));
          ASSERT_EQ(ours.size(), theirs.size());
          for (size_t i = 0; i < ours.size(); ++i)
            ASSERT_EQ(ours[i], theirs[i]) << "part " << i << " of " << ours.size() << ", round " << round;
        }
}

TEST(JpegProgressive, UnusualSamplingFactors) {
  using Factors = std::array<std::array<int32_t, 2>, 3>;
  const Factors unusual[]{{{{1, 2}, {1, 1}, {1, 1}}}, {{{4, 1}, {1, 1}, {1, 1}}}, {{{2, 2}, {2, 1}, {1, 2}}},
                          {{{1, 1}, {2, 2}, {1, 1}}}, {{{3, 1}, {1, 1}, {1, 1}}}, {{{1, 4}, {1, 1}, {1, 1}}}};
  for (const Factors& factors : unusual)
    for (const Size size : {Size{1, 1}, Size{33, 17}, Size{100, 75}})
      expectReadsRight(peerWrite(sample::paintPicture(size.width, size.height),
                                 {.factors = factors, .coding = PeerCoding::kProgressive}));
}

// The eye gets the same from the first scans as from a file that ends behind them.
TEST(JpegProgressive, ShowsAFewScans) {
  for (const int32_t channels : {1, 3}) {
    const Picture picture = sample::paintPicture(131, 77, channels);
    const Bytes file = peerWrite(picture, {.quality = 90, .coding = PeerCoding::kProgressive});
    double last = 0;
    int32_t scans = 0;
    for (size_t at = 2; at + 1 < file.size(); ++at) {
      if (file[at] != 0xFF || file[at + 1] != sample::kSos) continue;
      // The data of a scan lasts to the next marker.
      size_t end = at + 2 + static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
      while (file[end] != 0xFF || file[end + 1] == 0) ++end;
      Bytes cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(end));
      cut.insert(cut.end(), {0xFF, sample::kEoi});
      ++scans;
      for (const sample::JpegBy by : {sample::JpegBy::kMcu, sample::JpegBy::kPlane}) {
        const Picture shown = sample::readJpeg(file, {.by = by, .scans = scans});
        EXPECT_EQ(shown, sample::readJpeg(cut, {.by = by})) << scans;
      }
      expectReadsRight(cut);
      const Picture shown = sample::readJpeg(file, {.scans = scans});
      EXPECT_GT(psnr(shown, picture), last - 0.1) << scans;
      last = psnr(shown, picture);
    }
    EXPECT_EQ(scans, channels == 1 ? 6 : 10);
    EXPECT_EQ(sample::readJpeg(file, {.scans = scans}), sample::readJpeg(file));
    EXPECT_EQ(sample::readJpeg(file, {.scans = 100}), sample::readJpeg(file));
  }
}

TEST(JpegProgressive, Photographs) {
  for (const auto& path : sample::photographs()) {
    const Picture picture = sample::readPicture(path);
    sample::JpegWriteOptions options{.quality = 85};
    const Bytes plain = sample::writeJpeg(picture, options);
    options.coding.optimise = true;
    const Bytes optimised = sample::writeJpeg(picture, options);
    options.coding.process = JpegProcess::kProgressive;
    const Bytes progressive = sample::writeJpeg(picture, options);
    expectReadsRight(progressive, false);
    expectReadsRight(optimised, false);
    EXPECT_LT(optimised.size(), plain.size());
    EXPECT_LT(progressive.size(), optimised.size());
    expectReadsRight(peerWrite(picture, {.quality = 85, .coding = PeerCoding::kProgressive}), false);
  }
}

// 8 bits and baseline coding under the marker of extended sequential DCT, as others write it.
TEST(JpegProgressive, ExtendedSequentialOf8Bits) {
  const Bytes file = sample::writeJpeg(sample::paintPicture(50, 40));
  Bytes extended = file;
  extended[findMarker(file, sample::kSof0) + 1] = sample::kSof1;
  expectReadsRight(extended);
  EXPECT_EQ(sample::readJpeg(extended), sample::readJpeg(file));
}

// A restart interval and tables that change between scans.
TEST(JpegProgressive, RestartIntervalsChangeBetweenScans) {
  const Picture picture = sample::paintPicture(70, 50);
  const JpegScript whole = sample::usualProgression(JpegColour::kYCbCr, 3);
  const JpegCoefficients first = coefficientsOf(picture, whole, 3);
  JpegCoefficients other = first;
  other.restartInterval = 7;
  const auto split = [](const Bytes& file) {  // headers, and the scans with their tables
    const Bytes coded = codedPart(file);
    return std::pair(Bytes(file.begin(), file.end() - static_cast<ptrdiff_t>(coded.size())), coded);
  };
  const auto nthScan = [](const Bytes& coded, int n) {  // where it ends
    size_t at = 0;
    for (int seen = 0;; ++at)
      if (coded[at] == 0xFF && coded[at + 1] == sample::kSos && ++seen == n) break;
    at += 2;
    while (coded[at] != 0xFF || coded[at + 1] == 0 ||
           (coded[at + 1] >= sample::kRst0 && coded[at + 1] <= sample::kRst7))
      ++at;
    return static_cast<ptrdiff_t>(at);
  };
  const auto [headers, a] = split(sample::writeCoefficients(first, {.script = whole}));
  const auto [same, b] = split(sample::writeCoefficients(other, {.script = whole}));
  ASSERT_EQ(headers, same);
  for (const int n : {1, 4, 7}) {
    Bytes file = headers;
    file.insert(file.end(), a.begin(), a.begin() + nthScan(a, n));
    file.insert(file.end(), {0xFF, sample::kDri, 0, 4, 0, 7});
    file.insert(file.end(), b.begin() + nthScan(b, n), b.end());
    const JpegCoefficients read = sample::readCoefficients(file);
    EXPECT_EQ(read.restartInterval, 7);
    for (size_t c = 0; c < 3; ++c) EXPECT_EQ(read.planes[c].values, first.planes[c].values);
    expectReadsRight(file);
  }
}

template <typename F>
std::string errorOf(F run) {
  try {
    run();
  } catch (const JpegError& error) {
    return error.what();
  }
  return "no error";
}

TEST(JpegScript, Text) {
  const JpegScript script = sample::parseScript(R"(
    # DC first
    0,1, 2: 0-0, 0, 1;   # of all
    0: 1-63,0,0 ; 1 :1-63, 0 ,0; 2: 1-63, 0, 0;
    0 1 2: 0-0, 1, 0
  )");
  const JpegScript wanted{
      {{0, 1, 2}, 0, 0, 0, 1}, {{0}, 1, 63, 0, 0}, {{1}, 1, 63, 0, 0}, {{2}, 1, 63, 0, 0}, {{0, 1, 2}, 0, 0, 1, 0}};
  EXPECT_EQ(script, wanted);
  EXPECT_TRUE(sample::isProgressive(script));
  EXPECT_FALSE(sample::isProgressive(sample::parseScript("0; 1 2;")));
  const auto error = [](const char* text) { return errorOf([&] { sample::parseScript(text); }); };
  EXPECT_EQ(error(""), "the script has no scan");
  EXPECT_EQ(error(" # nothing\n;"), "the script has no scan");
  EXPECT_EQ(error("0: 0-0, 0"), "scan 1 of the script: ',' is missing before \"\"");
  EXPECT_EQ(error("0; x"), "scan 2 of the script: a number is missing before \"x\"");
  EXPECT_EQ(error("0: 0 63, 0, 0"), "scan 1 of the script: '-' is missing before \"63, 0, 0\"");
  EXPECT_EQ(error("0: 0-63, 0, 0, 1"), "scan 1 of the script: ';' is missing behind Al");
  EXPECT_EQ(error("4;"), "scan 1 of the script: a frame has components 0 to 3, not 4");
}

TEST(JpegScript, OnlyWhatAFileMayHave) {
  const Picture picture = sample::paintPicture(16, 16);
  const auto error = [&](const char* text) {
    sample::JpegWriteOptions options;
    options.coding.script = sample::parseScript(text);
    return errorOf([&] { sample::writeJpeg(picture, options); });
  };
  EXPECT_EQ(error("0 1 2;"), "no error");
  EXPECT_EQ(error("0; 1; 2;"), "no error");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 0;"), "no error");  // AC coefficients that no scan codes are 0
  EXPECT_EQ(error("0; 1;"), "the script leaves component 2 out");
  EXPECT_EQ(error("0; 1 2; 3;"), "scan 3 of the script: a file of 3 components has no component 3");
  EXPECT_EQ(error("0; 2 1;"), "scan 2 of the script: components must stand in the order of the frame, each once");
  EXPECT_EQ(error("0 0; 1; 2;"), "scan 1 of the script: components must stand in the order of the frame, each once");
  EXPECT_EQ(error("0 1 2; 1;"), "scan 2 of the script: coefficient 0 of component 1 has been coded before");
  EXPECT_EQ(error("0 1 2: 0-5, 0, 0;"), "scan 1 of the script: DC and AC coefficients cannot share a scan");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 0; 0 1: 1-5, 0, 0;"),
            "scan 2 of the script: AC coefficients of several components cannot share a scan");
  EXPECT_EQ(error("0: 1-5, 0, 0;"), "scan 1 of the script: AC coefficients before DC of component 0");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 0; 0: 9-5, 0, 0;"), "scan 2 of the script: the band must be within 0-63");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 0; 0: 9-64, 0, 0;"), "scan 2 of the script: the band must be within 0-63");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 14;"), "scan 1 of the script: Al is at most 13");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 3; 0 1 2: 0-0, 3, 1;"),
            "scan 2 of the script: a scan refines by one bit: Ah must be 0 or Al + 1");
  EXPECT_EQ(error("0 1 2: 0-0, 1, 0;"),
            "scan 1 of the script: coefficient 0 of component 0 is refined before its first pass");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 3; 0: 0-0, 2, 1;"),
            "scan 2 of the script: coefficient 0 of component 0 has been coded down to bit 3, not 2");
  EXPECT_EQ(error("0 1 2: 0-0, 0, 0; 0: 1-9, 0, 0; 0: 5-20, 0, 0;"),
            "scan 3 of the script: coefficient 5 of component 0 has been coded before");
  EXPECT_THROW(sample::writeJpeg(sample::paintPicture(8, 8, 1), {.coding = {.script = {{{1}}}}}), JpegError);
}

// The two middle steps of T.81 G.1.2.2: magnitudes of 11 bits have no place in a progressive scan.
TEST(JpegScript, RefusesCoefficientsThatAreTooLarge) {
  JpegCoefficients extreme = coefficientsOf(sample::paintPicture(8, 8), {}, 0);
  extreme.planes[0].block(0, 0)[5] = 1024;
  const JpegScript script = sample::usualProgression(JpegColour::kYCbCr, 3);
  EXPECT_EQ(errorOf([&] {
              sample::writeCoefficients(extreme, {.script = {{{0, 1, 2}, 0, 0, 0, 0}, {{0}, 1, 63, 0, 0}}});
            }),
            "a coefficient is too large for progressive JPEG");
  extreme.planes[0].block(0, 0)[5] = 1023;
  const Bytes file = sample::writeCoefficients(extreme, {.script = script});
  expectSameCoefficients(extreme, peerReadCoefficients(file));
}

}  // namespace
}  // namespace test
