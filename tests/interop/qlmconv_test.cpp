// The converter and the minimal C program as their users meet them: exit codes, messages, files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "interop/libjpeg_peer.h"
#include "jpeg/jpeg_reader.h"
#include "jpeg/jpeg_writer.h"

namespace test {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

class Programs : public testing::Test {
 protected:
  // A folder of its own for each test, so that tests may run at the same time.
  Programs()
      : folder_(fs::temp_directory_path() / ("qlmjp-" + std::to_string(getpid()) + "-" +
                                             testing::UnitTest::GetInstance()->current_test_info()->name())) {
    fs::create_directories(folder_);
  }
  ~Programs() override { fs::remove_all(folder_); }

  fs::path path(const std::string& name) const { return folder_ / name; }

  fs::path write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path(name);
  }

  Bytes read(const std::string& name) const {
    std::ifstream in(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  struct Result {
    int code;
    std::string text;  // both streams
  };

  Result run(const std::string& command) const {
    FILE* pipe = popen(("cd '" + folder_.string() + "' && " + command + " 2>&1").c_str(), "r");
    Result result{-1, {}};
    if (!pipe) return result;
    char buffer[512];
    while (const size_t size = std::fread(buffer, 1, sizeof buffer, pipe)) result.text.append(buffer, size);
    const int status = pclose(pipe);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
  }

  Result convert(const std::string& arguments) const { return run(QLMCONV " " + arguments); }

 private:
  fs::path folder_;
};

void expectResult(int code, const std::string& text, int wantedCode, const std::string& wantedText) {
  EXPECT_EQ(code, wantedCode) << text;
  EXPECT_NE(text.find(wantedText), std::string::npos) << text;
}

#define EXPECT_RESULT(result, code_, text_)     \
  do {                                          \
    const auto r = (result);                    \
    expectResult(r.code, r.text, code_, text_); \
  } while (false)

TEST_F(Programs, HelpShowsExamples) { EXPECT_RESULT(convert("--help"), 0, "qlmconv photo.png photo.jpg"); }

TEST_F(Programs, WrongUsage) {
  EXPECT_RESULT(convert(""), 2, "in is required");
  EXPECT_RESULT(convert("a.png b.jpg --quality 101"), 2, "--quality");
  EXPECT_RESULT(convert("a.png b.jpg --subsampling 411"), 2, "--subsampling");
  EXPECT_RESULT(convert("a.png b.jpg --no-such-option"), 2, "--no-such-option");
  EXPECT_RESULT(convert("a.png b.jpg --colour lab"), 2, "--colour");
  EXPECT_RESULT(convert("a.png b.jpg --by row"), 2, "--by");
  EXPECT_RESULT(convert("a.png b.jpg --upsampling cubic"), 2, "--upsampling");
  EXPECT_RESULT(convert("a.png b.jpg --scale 1/3"), 2, "--scale");
  EXPECT_RESULT(convert("a.png b.xyz"), 2, "b.xyz: unknown format; known extensions: png, ppm, pgm, jpg, jpeg");
}

TEST_F(Programs, ErrorsNameTheFileAndTheReason) {
  const sample::Picture picture = sample::paintPicture(40, 30);
  write("text.jpg", {'h', 'e', 'l', 'l', 'o'});
  write("progressive.jpg", peerWrite(picture, {.coding = PeerCoding::kProgressive}));
  write("arithmetic.jpg", peerWrite(picture, {.coding = PeerCoding::kArithmetic}));
  write("good.jpg", sample::writeJpeg(picture));
  Bytes header = sample::writeJpeg(picture);
  header.resize(100);
  write("header.jpg", header);
  EXPECT_RESULT(convert("missing.jpg out.png"), 1, "qlmconv: missing.jpg: no such file");
  EXPECT_RESULT(convert("missing.png out.jpg"), 1, "qlmconv: missing.png: no such file");
  EXPECT_RESULT(convert("text.jpg out.png"), 1, "text.jpg: not a JPEG file");
  EXPECT_RESULT(convert("progressive.jpg out.png"), 1, "progressive.jpg: unsupported process: progressive DCT (SOF2)");
  EXPECT_RESULT(convert("arithmetic.jpg out.png"), 1, "arithmetic coding");
  EXPECT_RESULT(convert("header.jpg out.png"), 1, "header.jpg: truncated");
  EXPECT_RESULT(convert("good.jpg no-such-folder/out.jpg"), 1, "cannot be written");
  EXPECT_FALSE(fs::exists(path("out.png")));
}

TEST_F(Programs, TruncatedFilesAreDecodedInPart) {
  const sample::Picture picture = sample::paintPicture(64, 64);
  const Bytes whole = sample::writeJpeg(picture);
  Bytes half = whole;
  half.resize(whole.size() * 2 / 3);
  write("half.jpg", half);
  EXPECT_RESULT(convert("half.jpg half.ppm"), 3, "warning: half.jpg: truncated: the file ends inside the image data");
  const sample::Picture part = sample::readPicture(path("half.ppm")), decoded = sample::readJpeg(whole);
  EXPECT_EQ(sample::crop(part, 0, 0, 64, 16), sample::crop(decoded, 0, 0, 64, 16));
  EXPECT_EQ(part.pixels.back(), 128);
  const Result quiet = convert("half.jpg half.ppm --quiet");
  EXPECT_EQ(quiet.code, 3);
  EXPECT_EQ(quiet.text, "");
}

TEST_F(Programs, OptionsReachTheWriter) {
  const sample::Picture picture = sample::paintPicture(50, 34);
  sample::writePicture(path("in.png"), picture);
  EXPECT_RESULT(convert("in.png a.jpg"), 0, "");
  EXPECT_EQ(read("a.jpg"), sample::writeJpeg(picture));
  EXPECT_RESULT(convert("in.png b.jpeg -q 30 --subsampling 422 --restart 2"), 0, "");
  EXPECT_EQ(read("b.jpeg"), sample::writeJpeg(picture, {30, sample::Subsampling::k422, 2}));
  EXPECT_RESULT(convert("in.png c.JPG --grey --quality 90"), 0, "");
  EXPECT_EQ(read("c.JPG"), sample::writeJpeg(sample::toGrey(picture), {.quality = 90}));
  EXPECT_RESULT(convert("b.jpeg d.ppm"), 0, "");
  EXPECT_EQ(sample::readPicture(path("d.ppm")), sample::readJpeg(read("b.jpeg")));
  EXPECT_RESULT(convert("c.JPG e.ppm"), 0, "");
  EXPECT_EQ(sample::toGrey(sample::readPicture(path("e.ppm"))), sample::readJpeg(read("c.JPG")));
}

TEST_F(Programs, OptionsReachTheWays) {
  using sample::JpegBy, sample::JpegColour, sample::Upsampling;
  const sample::Picture picture = sample::paintPicture(50, 35);
  sample::writePicture(path("in.png"), picture);
  const std::pair<const char*, JpegColour> colours[]{{"grey", JpegColour::kGrey},
                                                     {"ycbcr", JpegColour::kYCbCr},
                                                     {"rgb", JpegColour::kRgb},
                                                     {"cmyk", JpegColour::kCmyk},
                                                     {"ycck", JpegColour::kYcck}};
  for (const auto& [name, colour] : colours)
    for (const auto& [way, by] : {std::pair{"mcu", JpegBy::kMcu}, std::pair{"plane", JpegBy::kPlane}}) {
      const std::string options = std::string(" --by=") + way;
      EXPECT_RESULT(convert("in.png a.jpg --colour=" + std::string(name) + options), 0, "");
      const Bytes file = read("a.jpg");
      EXPECT_EQ(file, sample::writeJpeg(picture, {.colour = colour, .by = by}));
      EXPECT_RESULT(convert("a.jpg b.ppm" + options), 0, "");
      EXPECT_EQ(sample::readPicture(path("b.ppm")), sample::toRgb(sample::readJpeg(file, {.by = by})));
    }
  EXPECT_RESULT(convert("a.jpg c.jpg"), 0, "");  // four channels stay four
  EXPECT_EQ(sample::readCoefficients(read("c.jpg")).colour, JpegColour::kYcck);
  EXPECT_RESULT(convert("a.jpg d.png"), 0, "");
  EXPECT_EQ(sample::readPicture(path("d.png")), sample::toRgb(sample::readJpeg(read("a.jpg"))));
  EXPECT_RESULT(convert("a.jpg e.pgm"), 0, "");
  EXPECT_EQ(sample::readPicture(path("e.pgm")), sample::toGrey(sample::toRgb(sample::readJpeg(read("a.jpg")))));
  EXPECT_RESULT(convert("a.jpg f.ppm --upsampling=triangle"), 0, "");
  EXPECT_EQ(sample::readPicture(path("f.ppm")),
            sample::toRgb(sample::readJpeg(read("a.jpg"), {.upsampling = Upsampling::kTriangle})));
  for (const int32_t scale : {1, 2, 4, 8}) {
    EXPECT_RESULT(convert("a.jpg g.ppm --scale=1/" + std::to_string(scale)), 0, "");
    EXPECT_EQ(sample::readPicture(path("g.ppm")), sample::toRgb(sample::readJpeg(read("a.jpg"), {.scale = scale})));
  }
}

TEST_F(Programs, MinimalWritesAFileThatOthersRead) {
  EXPECT_RESULT(run(MINIMAL " minimal.jpg"), 0, "");
  const Bytes file = read("minimal.jpg");
  const sample::Picture peer = peerRead(file);
  ASSERT_EQ(peer.width, 512);
  ASSERT_EQ(peer.height, 384);
  ASSERT_EQ(peer.channels, 1);
  sample::Picture drawn(512, 384, 1);
  for (int32_t y = 0; y < 384; ++y)
    for (int32_t x = 0; x < 512; ++x) drawn.row(y)[x] = static_cast<uint8_t>((x * x + y * y) / 512);
  EXPECT_GT(psnr(peer, drawn), 35);
  EXPECT_GT(psnr(sample::readJpeg(file), drawn), 35);
}

}  // namespace
}  // namespace test
