// Lossless files and files of 12 bits both ways against DCMTK, and by hand where it has nothing to say.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>

#include "interop/jpeg_checks.h"
#include "jpeg/dcmtk_peer.h"
#include "support/random.h"

namespace test {
namespace {

using sample::DcmtkProcess;
using sample::dcmtkRead;
using sample::dcmtkWrite;
using sample::JpegColour;
using sample::JpegError;
using sample::JpegProcess;
using sample::Picture;
using sample::Picture16;

// A painted picture whose low bits are noise.
Picture16 paintDeep(int32_t width, int32_t height, int32_t channels, int32_t bits, uint64_t seed = 1) {
  Random random(seed);
  Picture16 picture = sample::toBits(sample::paintPicture(width, height, channels), bits);
  const int32_t most = (1 << bits) - 1;
  for (uint16_t& v : picture.samples)
    v = static_cast<uint16_t>(std::clamp<int64_t>(v + random.between(-most / 40, most / 40), 0, most));
  return picture;
}

Picture16 noise(int32_t width, int32_t height, int32_t channels, int32_t bits, Random& random) {
  Picture16 picture(width, height, channels, bits);
  for (uint16_t& v : picture.samples) v = static_cast<uint16_t>(random.between(0, (1 << bits) - 1));
  return picture;
}

sample::JpegWriteOptions lossless(int32_t predictor, int32_t pointTransform = 0, int32_t interval = 0) {
  sample::JpegWriteOptions options{.restartInterval = interval};
  options.coding = {.process = JpegProcess::kLossless, .predictor = predictor, .pointTransform = pointTransform};
  return options;
}

Picture16 readDeep(const Bytes& file) {
  Picture16 picture;
  sample::readJpeg(file, picture);
  return picture;
}

Picture16 withoutLowBits(Picture16 picture, int32_t count) {
  for (uint16_t& v : picture.samples) v = static_cast<uint16_t>(v >> count << count);
  return picture;
}

TEST(JpegLossless, EveryBitSurvives) {
  TRACE_SEED(21);
  Random random(21);
  for (const int32_t channels : {1, 2, 3, 4})
    for (int32_t bits = 2; bits <= 16; ++bits)
      for (int32_t predictor = 1; predictor <= 7; ++predictor)
        for (const int32_t pointTransform : {0, 1, bits - 1}) {
          const auto width = static_cast<int32_t>(random.between(1, 40));
          const auto height = static_cast<int32_t>(random.between(1, 12));
          const int32_t interval = random.oneIn(2) ? 0 : width * static_cast<int32_t>(random.between(1, 5));
          SCOPED_TRACE(testing::Message()
                       << width << " x " << height << " x " << channels << ", " << bits << " bits, predictor "
                       << predictor << ", point transform " << pointTransform << ", restart " << interval);
          const Picture16 picture = noise(width, height, channels, bits, random);
          const Bytes file = sample::writeJpeg(picture, lossless(predictor, pointTransform, interval));
          EXPECT_EQ(sample::readJpegFrame(file).precision, bits);
          ASSERT_EQ(readDeep(file), withoutLowBits(picture, pointTransform));
        }
}

TEST(JpegLossless, PicturesOf8Bits) {
  for (const int32_t channels : {1, 3}) {
    const Picture picture = sample::paintPicture(67, 41, channels);
    const Bytes file = sample::writeJpeg(picture, lossless(7));
    EXPECT_EQ(sample::readJpeg(file), picture);
    EXPECT_EQ(readDeep(file), sample::toBits(picture, 8));
  }
  const Picture cmyk = sample::toCmyk(sample::paintPicture(20, 12));
  EXPECT_EQ(sample::readJpeg(sample::writeJpeg(cmyk, lossless(4))), cmyk);
  const Picture deep = sample::readJpeg(sample::writeJpeg(paintDeep(20, 12, 3, 11), lossless(4)));
  EXPECT_EQ(deep, sample::to8Bits(paintDeep(20, 12, 3, 11)));
}

TEST(JpegLossless, DcmtkReadsOurFiles) {
  for (const int32_t channels : {1, 3})
    for (const int32_t bits : {8, 12, 16})
      for (int32_t predictor = 1; predictor <= 7; ++predictor) {
        SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits, predictor " << predictor);
        const Picture16 picture = paintDeep(61, 37, channels, bits);
        const int32_t interval = predictor % 2 ? 0 : 61 * 5;
        const Bytes file = sample::writeJpeg(picture, lossless(predictor, 0, interval));
        EXPECT_EQ(dcmtkRead(file, 61, 37, channels, bits, DcmtkProcess::kLossless), picture);
      }
}

TEST(JpegLossless, WeReadFilesOfDcmtk) {
  for (const int32_t channels : {1, 3})
    for (const int32_t bits : {8, 12, 16})
      for (int32_t predictor = 1; predictor <= 7; ++predictor) {
        SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits, predictor " << predictor);
        const Picture16 picture = paintDeep(61, 37, channels, bits);
        const Bytes file = dcmtkWrite(picture, "+el +sv " + std::to_string(predictor));
        const sample::JpegFrame frame = sample::readJpegFrame(file);
        EXPECT_EQ(frame.process, JpegProcess::kLossless);
        EXPECT_EQ(frame.precision, bits > 8 ? 16 : 8);  // it codes whole bytes
        EXPECT_EQ(readDeep(file).samples, picture.samples);
      }
}

TEST(JpegLossless, PointTransformsOfDcmtk) {
  for (const int32_t bits : {8, 12, 16})
    for (const int32_t pointTransform : {1, 3}) {
      const Picture16 picture = paintDeep(40, 30, 1, bits);
      const std::string transform = " +pt " + std::to_string(pointTransform);
      EXPECT_EQ(readDeep(dcmtkWrite(picture, "+el +sv 7" + transform)).samples,
                withoutLowBits(picture, pointTransform).samples);
      const Bytes file = sample::writeJpeg(picture, lossless(7, pointTransform));
      EXPECT_EQ(dcmtkRead(file, 40, 30, 1, bits, DcmtkProcess::kLossless), withoutLowBits(picture, pointTransform));
    }
}

// A whole file by hand (T.81 Annex B, H.1): 2 x 2 samples of 4 bits, predictor 4, codes of one length.
TEST(JpegLossless, AFileByHand) {
  const Bytes file{0xFF, 0xD8,                                       //
                   0xFF, 0xC3, 0, 11, 4, 0, 2, 0, 2, 1, 1, 0x11, 0,  // 4 bits, 2 x 2, one component
                   0xFF, 0xC4, 0, 23, 0x00, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // codes 000, 001, 010, 011
                   0, 1, 2, 3,                                                               // for categories 0 to 3
                   0xFF, 0xDA, 0, 8, 1, 1, 0x00, 4, 0, 0,                                    // predictor 4
                   // 10 9 / 12 15: first against 8, then to the left; below, the one above; last 12 + 9 - 10 = 11.
                   // Differences 2, -1, 2, 4: 010 10, 001 0, 010 10, 011 100, and ones to the byte.
                   0b01010001, 0b00101001, 0b11001111,  //
                   0xFF, 0xD9};
  Picture16 picture(2, 2, 1, 4);
  picture.samples = {10, 9, 12, 15};
  EXPECT_EQ(readDeep(file), picture);
}

// A scan for each component, which our writer does not make: put together from files of one component each.
TEST(JpegLossless, ScansApart) {
  const Picture16 picture = paintDeep(23, 14, 3, 12);
  const auto segment = [](const Bytes& file, uint8_t marker) {
    const size_t at = findMarker(file, marker), length = static_cast<size_t>(file[at + 2] << 8 | file[at + 3]);
    return Bytes(file.begin() + ptrdiff_t(at), file.begin() + ptrdiff_t(at + 2 + length));
  };
  const auto append = [](Bytes& file, const Bytes& part) { file.insert(file.end(), part.begin(), part.end()); };
  const Bytes together = sample::writeJpeg(picture, lossless(7));
  const Bytes frame = segment(together, sample::kSof3);
  Bytes file{0xFF, sample::kSoi};
  append(file, frame);
  for (const size_t c : {2, 0, 1}) {
    Picture16 plane(23, 14, 1, 12);
    for (size_t i = 0; i < plane.samples.size(); ++i) plane.samples[i] = picture.samples[3 * i + c];
    const Bytes alone = sample::writeJpeg(plane, lossless(static_cast<int32_t>(c) + 3, 0, c == 1 ? 46 : 0));
    append(file, segment(alone, sample::kDht));
    append(file, {0xFF, sample::kDri, 0, 4, 0, static_cast<uint8_t>(c == 1 ? 46 : 0)});
    Bytes scan = segment(alone, sample::kSos);
    const size_t data = findMarker(alone, sample::kSos) + scan.size();
    scan[5] = frame[10 + 3 * c];  // the component
    append(file, scan);
    file.insert(file.end(), alone.begin() + ptrdiff_t(data), alone.end() - 2);
  }
  append(file, {0xFF, sample::kEoi});
  EXPECT_EQ(readDeep(file), picture);
}

TEST(JpegLossless, Errors) {
  const auto errorOf = [](auto run) -> std::string {
    try {
      run();
    } catch (const JpegError& error) {
      return error.what();
    }
    return "no error";
  };
  const Picture picture = sample::paintPicture(20, 10);
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(picture, lossless(0)); }), "the predictor must be 1 to 7");
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(picture, lossless(8)); }), "the predictor must be 1 to 7");
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(picture, lossless(1, 8)); }), "the point transform must be 0 to 7");
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(picture, lossless(1, 0, 30)); }),
            "in a lossless file the restart interval must be a number of whole rows: a multiple of 20");
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(Picture16(4, 4, 1, 16)); }),
            "files with DCT have 8 or 12 bits a sample, not 16");
  EXPECT_EQ(errorOf([&] { sample::writeJpeg(Picture16(4, 4, 1, 1), lossless(1)); }),
            "lossless files have 2 to 16 bits a sample, not 1");
  const Bytes file = sample::writeJpeg(picture, lossless(1));
  EXPECT_EQ(errorOf([&] { sample::readCoefficients(file); }), "a lossless file has no coefficients");
  EXPECT_EQ(errorOf([&] { sample::readJpeg(file, {.scale = 2}); }),
            "unsupported: a reduced size of a lossless file, or of one of more than 8 bits");
}

double psnrOf(const Picture16& a, const Picture16& b) {
  EXPECT_EQ(a.samples.size(), b.samples.size());
  double sum = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) sum += std::pow(double(a.samples[i]) - double(b.samples[i]), 2);
  const double most = (1 << a.bits) - 1;
  return 10 * std::log10(most * most * static_cast<double>(a.samples.size()) / sum);
}

int32_t largestDifference(const Picture16& a, const Picture16& b) {
  EXPECT_EQ(a.samples.size(), b.samples.size());
  int32_t largest = 0;
  for (size_t i = 0; i < a.samples.size(); ++i) largest = std::max(largest, std::abs(a.samples[i] - b.samples[i]));
  return largest;
}

// Our samples are cut off where theirs are rounded, and fixed-point arithmetic of theirs is off by about one more.
constexpr int32_t kDeepBound = 2;

TEST(Jpeg12Bits, DcmtkReadsOurFiles) {
  for (const Size size : {Size{61, 37}, Size{8, 8}, Size{1, 1}, Size{130, 70}})
    for (const int32_t channels : {1, 3})
      for (const int32_t quality : {50, 90, 100}) {
        SCOPED_TRACE(testing::Message() << size.width << " x " << size.height << " x " << channels << ", quality "
                                        << quality);
        const Picture16 picture = paintDeep(size.width, size.height, channels, 12);
        sample::JpegWriteOptions options{.quality = quality, .restartInterval = channels};
        if (channels == 3) options.colour = JpegColour::kRgb;
        const Bytes file = sample::writeJpeg(picture, options);
        EXPECT_EQ(sample::readJpegFrame(file).precision, 12);
        const Picture16 ours = readDeep(file);
        EXPECT_LE(
            largestDifference(ours, dcmtkRead(file, size.width, size.height, channels, 12, DcmtkProcess::kExtended)),
            kDeepBound);
        // The quantisers are those of 8 bits, so 16 times finer here.
        EXPECT_GT(psnrOf(ours, picture), quality == 100 ? 70 : quality == 90 ? 50 : 44);
      }
}

TEST(Jpeg12Bits, WeReadFilesOfDcmtk) {
  for (const int32_t channels : {1, 3})
    for (const char* process : {"+ee", "+ep", "+es"}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << process);
      const Picture16 picture = paintDeep(61, 37, channels, 12);
      const Bytes file = dcmtkWrite(picture, std::string(process) + " +q 95 +cr +bt -W +s4");
      const sample::JpegFrame frame = sample::readJpegFrame(file);
      EXPECT_EQ(frame.precision, 12);
      EXPECT_EQ(frame.process, process[2] == 'e' ? JpegProcess::kSequential : JpegProcess::kProgressive);
      const DcmtkProcess announced = process[2] == 'e' ? DcmtkProcess::kExtended : DcmtkProcess::kProgressive;
      EXPECT_LE(largestDifference(readDeep(file), dcmtkRead(file, 61, 37, channels, 12, announced)), kDeepBound);
    }
}

// Colours are converted by plain formulas, which the standards define in real numbers.
TEST(Jpeg12Bits, ColoursComeBack) {
  for (const auto subsampling : kSubsamplings)
    for (const JpegColour colour : {JpegColour::kYCbCr, JpegColour::kRgb}) {
      Picture16 smooth(70, 50, 3, 12);  // so that subsampling loses little
      for (int32_t y = 0; y < 50; ++y)
        for (int32_t x = 0; x < 70; ++x) {
          uint16_t* p = smooth.row(y) + ptrdiff_t{3} * x;
          p[0] = static_cast<uint16_t>(58 * x), p[1] = static_cast<uint16_t>(80 * y),
          p[2] = static_cast<uint16_t>(30 * (x + y));
        }
      const Bytes file = sample::writeJpeg(
          smooth, {.quality = 98, .subsampling = subsampling, .restartInterval = 3, .colour = colour});
      EXPECT_GT(psnrOf(readDeep(file), smooth), 40) << int(subsampling) << ", " << int(colour);
      EXPECT_EQ(sample::readJpeg(file), sample::to8Bits(readDeep(file)));
    }
}

TEST(Jpeg12Bits, AnyScript) {
  const Picture16 picture = paintDeep(40, 30, 3, 12);
  const Picture16 whole = readDeep(sample::writeJpeg(picture));
  sample::JpegWriteOptions options;
  options.coding.script = sample::parseScript("0; 1 2;");
  EXPECT_EQ(readDeep(sample::writeJpeg(picture, options)), whole);
}

TEST(DeepPictures, FilesOf2To16Bits) {
  const auto folder = std::filesystem::temp_directory_path() / "qlmjp-deep-pictures";
  std::filesystem::create_directories(folder);
  for (const int32_t channels : {1, 3})
    for (int32_t bits = 2; bits <= 16; ++bits) {
      if (bits == 8) continue;
      const Picture16 picture = paintDeep(19, 11, channels, bits);
      const auto pnm = folder / (channels == 1 ? "a.pgm" : "a.ppm"), png = folder / "a.png";
      sample::writePicture(pnm, picture);
      EXPECT_EQ(std::get<Picture16>(sample::readAnyPicture(pnm)), picture);
      EXPECT_EQ(sample::readPicture(pnm), sample::to8Bits(picture));
      sample::writePicture(png, picture);
      const Picture16 back = std::get<Picture16>(sample::readAnyPicture(png));
      EXPECT_EQ(back, sample::toBits(picture, 16));
      EXPECT_EQ(sample::toBits(back, bits), picture);
    }
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace test
