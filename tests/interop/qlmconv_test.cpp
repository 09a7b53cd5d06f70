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
#include "jpeg2000/bands.h"
#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpegxr/jxr_reader.h"
#include "jpegxr/jxr_writer.h"
#include "texture/texture_codec.h"

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
  EXPECT_RESULT(convert("a.png b.jpg --lossless --progressive"), 2, "--lossless");
  EXPECT_RESULT(convert("a.png b.jpg --lossless --script \"0;\""), 2, "--lossless");
  EXPECT_RESULT(convert("a.png b.jpg --predictor 3"), 2, "--predictor");
  EXPECT_RESULT(convert("a.png b.jpg --lossless --predictor 8"), 2, "--predictor");
  EXPECT_RESULT(convert("a.png b.jpg --bits 17"), 2, "--bits");
  EXPECT_RESULT(convert("a.png b.jpg --scans 0"), 2, "--scans");
  EXPECT_RESULT(convert("a.png b.xyz"), 2, "b.xyz: unknown format; known extensions: png, ppm, pgm, jpg, jpeg");
}

TEST_F(Programs, ErrorsNameTheFileAndTheReason) {
  const sample::Picture picture = sample::paintPicture(40, 30);
  write("text.jpg", {'h', 'e', 'l', 'l', 'o'});
  write("arithmetic.jpg", peerWrite(picture, {.coding = PeerCoding::kArithmetic}));
  write("good.jpg", sample::writeJpeg(picture));
  Bytes header = sample::writeJpeg(picture);
  header.resize(100);
  write("header.jpg", header);
  EXPECT_RESULT(convert("missing.jpg out.png"), 1, "qlmconv: missing.jpg: no such file");
  EXPECT_RESULT(convert("missing.png out.jpg"), 1, "qlmconv: missing.png: no such file");
  EXPECT_RESULT(convert("text.jpg out.png"), 1, "text.jpg: not a JPEG file");
  EXPECT_RESULT(convert("arithmetic.jpg out.png"), 1, "arithmetic coding");
  EXPECT_RESULT(convert("header.jpg out.png"), 1, "header.jpg: truncated");
  EXPECT_RESULT(convert("good.jpg no-such-folder/out.jpg"), 1, "cannot be written");
  EXPECT_FALSE(fs::exists(path("out.png")));
}

TEST_F(Programs, JpegXrFiles) {
  using sample::JxrBands, sample::JxrComponents, sample::JxrOverlap;
  const sample::Picture picture = sample::paintPicture(50, 34);
  sample::writePicture(path("in.png"), picture);
  EXPECT_RESULT(convert("in.png a.jxr"), 0, "");
  EXPECT_EQ(read("a.jxr"), sample::writeJxr(picture, {.quality = 75}));
  EXPECT_RESULT(convert("a.jxr a.ppm"), 0, "");
  EXPECT_EQ(sample::readPicture(path("a.ppm")), sample::readJxr(read("a.jxr")));
  EXPECT_RESULT(convert("in.png b.wdp -q 40 -s 420 --overlap 2 --bands no-flexbits"), 0, "");
  EXPECT_EQ(read("b.wdp"), sample::writeJxr(picture, {.quality = 40,
                                                      .components = JxrComponents::k420,
                                                      .overlap = JxrOverlap::kTwo,
                                                      .bands = JxrBands::kNoFlexbits}));
  EXPECT_RESULT(convert("in.png c.jxr --lossless --grey"), 0, "");
  EXPECT_EQ(sample::readJxr(read("c.jxr")), sample::toGrey(picture));
  EXPECT_RESULT(convert("in.png d.jxr --quantiser 30"), 0, "");
  EXPECT_EQ(sample::readJxrHeader(read("d.jxr")).quantisers[2], (sample::QuantiserIndices{30, 30, 30}));
  EXPECT_RESULT(convert("in.png deep.png --bits 16"), 0, "");
  EXPECT_RESULT(convert("deep.png e.jxr -q 100"), 0, "");
  EXPECT_EQ(sample::readJxrHeader(read("e.jxr")).bits, 16);
  EXPECT_RESULT(convert("e.jxr e.png"), 0, "");
  EXPECT_EQ(sample::readAnyPicture(path("e.png")), sample::readAnyPicture(path("deep.png")));

  Bytes half = read("c.jxr");
  half.resize(half.size() * 2 / 3);
  write("half.jxr", half);
  EXPECT_RESULT(convert("half.jxr half.pgm"), 3, "warning: half.jxr: damaged: the ");
  EXPECT_EQ(sample::readPicture(path("half.pgm")).height, 34);
  write("text.jxr", {'h', 'e', 'l', 'l', 'o'});
  EXPECT_RESULT(convert("text.jxr out.png"), 1, "text.jxr: not a JPEG XR file");
  EXPECT_RESULT(convert("in.png f.jxr --overlap 3"), 2, "--overlap");
  EXPECT_RESULT(convert("in.png f.jxr --quantiser 256"), 2, "--quantiser");
  EXPECT_RESULT(convert("in.png f.jxr --bands two"), 2, "--bands");
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

// The values are told by the plane transforms' own tests; here, that the options reach them.
TEST_F(Programs, ShowsTheBandsOfWavelets) {
  EXPECT_RESULT(convert("a.png b.png --show-bands 9"), 2, "--show-bands");
  EXPECT_RESULT(convert("a.png b.png --show-bands 1 --wavelet 7/5"), 2, "--wavelet");
  const sample::Picture picture = sample::paintPicture(51, 34);
  sample::writePicture(path("in.png"), picture);
  const auto shown = [&](const std::string& options) {
    EXPECT_RESULT(convert("in.png out.png " + options), 0, "");
    return sample::readPicture(path("out.png"));
  };
  EXPECT_EQ(shown("--show-bands 0"), picture);
  const sample::Picture three = shown("--show-bands=3"), grey = shown("--show-bands 8 -g");
  EXPECT_EQ(three, sample::showBands(sample::toBands(picture, sample::Wavelet::k53, 3)));
  EXPECT_EQ(shown("--show-bands 3 --wavelet 5/3"), three);
  EXPECT_EQ(shown("--show-bands 2 -w 9/7"), sample::showBands(sample::toBands(picture, sample::Wavelet::k97, 2)));
  EXPECT_EQ(grey, sample::showBands(sample::toBands(sample::toGrey(picture), sample::Wavelet::k53, 8)));

  // A flat picture has no details, and a single sample is its own low band.
  sample::Picture flat(20, 13, 3);
  for (size_t i = 0; i < flat.pixels.size(); ++i) flat.pixels[i] = static_cast<uint8_t>(70 + 40 * (i % 3));
  const sample::Picture bands = sample::showBands(sample::toBands(flat, sample::Wavelet::k53, 8));
  for (int32_t y = 0; y < bands.height; ++y)
    for (int32_t x = 0; x < bands.step(); ++x) EXPECT_EQ(bands.row(y)[x], y == 0 && x < 3 ? 70 + 40 * x : 128);
}

TEST_F(Programs, OptionsReachTheProcesses) {
  using sample::JpegProcess;
  const sample::Picture picture = sample::paintPicture(50, 35);
  sample::writePicture(path("in.png"), picture);
  const auto written = [&](const std::string& options, const sample::JpegCoding& coding) {
    sample::JpegWriteOptions wanted;
    wanted.coding = coding;
    EXPECT_RESULT(convert("in.png a.jpg " + options), 0, "");
    EXPECT_EQ(read("a.jpg"), sample::writeJpeg(picture, wanted)) << options;
  };
  written("--optimise", {.optimise = true});
  written("--progressive", {.process = JpegProcess::kProgressive});
  EXPECT_RESULT(convert("a.jpg few.ppm --scans 3"), 0, "");
  EXPECT_EQ(sample::readPicture(path("few.ppm")), sample::readJpeg(read("a.jpg"), {.scans = 3}));
  const std::string text = "0 1 2: 0-0, 0, 1; 1: 1-63, 0, 0; # chroma\n 2: 1-63, 0, 0;";
  written("--script '" + text + "'", {.script = sample::parseScript(text)});
  write("scans.txt", {text.begin(), text.end()});
  written("--script scans.txt", {.script = sample::parseScript(text)});
  EXPECT_RESULT(convert("in.png a.jpg --script '0 1 2: 0-5, 0, 0;'"), 1,
                "scan 1 of the script: DC and AC coefficients cannot share a scan");
  EXPECT_RESULT(convert("in.png a.jpg --script missing.txt"), 1, "scan 1 of the script: a number is missing");
  written("--lossless --predictor 6 --point-transform 2",
          {.process = JpegProcess::kLossless, .predictor = 6, .pointTransform = 2});
  written("--lossless", {.process = JpegProcess::kLossless});
  EXPECT_RESULT(convert("a.jpg back.png"), 0, "");
  EXPECT_EQ(sample::readPicture(path("back.png")), picture);
  EXPECT_RESULT(convert("in.png a.jpg --lossless --restart 20"), 1, "must be a number of whole rows");
}

TEST_F(Programs, OptionsReachJpeg2000) {
  using By = sample::Jpeg2000Layer::By;
  using sample::Jpeg2000WriteOptions;
  const sample::Picture picture = sample::paintPicture(150, 97);
  sample::writePicture(path("in.png"), picture);
  const auto written = [&](const std::string& options, Jpeg2000WriteOptions wanted, const char* file = "a.jp2") {
    EXPECT_RESULT(convert("in.png " + std::string(file) + " " + options), 0, "");
    EXPECT_EQ(read(file), sample::writeJpeg2000(picture, wanted)) << options;
  };
  const auto codestream = sample::Jpeg2000Container::kCodestream;
  written("", {});
  EXPECT_RESULT(convert("a.jp2 back.png"), 0, "");
  EXPECT_EQ(sample::readPicture(path("back.png")), picture);
  written("--threads 1", {.container = codestream}, "a.j2k");
  EXPECT_RESULT(convert("a.j2k back.png"), 0, "");
  EXPECT_EQ(sample::readPicture(path("back.png")), picture);
  written("--wavelet 9/7", {.container = codestream, .reversible = false}, "a.J2C");
  written("--rates 0.5,2", {.reversible = false, .layers = {{By::kBitsPerPixel, 0.5}, {By::kBitsPerPixel, 2}}});
  written("--rates 1 -w 5/3", {.layers = {{By::kBitsPerPixel, 1}}});
  written("--rates 1 --lossless", {.layers = {{By::kBitsPerPixel, 1}, {}}});
  written("--psnr=35", {.reversible = false, .layers = {{By::kPsnr, 35}}});
  written("--levels 3 --tile 64x50 --block 16x128 --order rpcl --precincts 64,32x16 --sop --eph",
          {.levels = 3,
           .tileWidth = 64,
           .tileHeight = 50,
           .blockWidth = 16,
           .blockHeight = 128,
           .progression = sample::j2k::Progression::kRpcl,
           .precincts = {{64, 64}, {32, 16}},
           .sop = true,
           .eph = true});
  written("--block-style bypass,causal,predictable", {.blockStyle = 1 + 8 + 16});
  written("--block-style reset,terminate,segmentation", {.blockStyle = 2 + 4 + 32});

  EXPECT_RESULT(convert("in.png a.jp2 --rates 1 --psnr 40"), 2, "--psnr");
  EXPECT_RESULT(convert("in.png a.jp2 --rates -1"), 2, "--rates");
  EXPECT_RESULT(convert("in.png a.jp2 --tile 12x"), 2, "--tile");
  EXPECT_RESULT(convert("in.png a.jp2 --order lcrp"), 2, "--order");
  EXPECT_RESULT(convert("in.png a.jp2 --block-style fast"), 2, "--block-style");
  EXPECT_RESULT(convert("in.png a.jp2 --block 24"), 1, "a.jp2: code-blocks have sides of 4, 8 and so on");
}

TEST_F(Programs, OptionsReachTheJpeg2000Reader) {
  const sample::Picture picture = sample::paintPicture(150, 97);
  const Bytes file = sample::writeJpeg2000(
      picture, {.layers = {{sample::Jpeg2000Layer::By::kBitsPerPixel, 1}, {}}, .levels = 4, .tileWidth = 100});
  write("in.jp2", file);
  const auto expectRead = [&](const std::string& options, const sample::Jpeg2000ReadOptions& wanted) {
    EXPECT_RESULT(convert("in.jp2 back.png " + options), 0, "");
    const sample::AnyPicture expected = sample::toPicture(sample::readJpeg2000Planes(file, wanted));
    EXPECT_EQ(sample::readPicture(path("back.png")), std::get<sample::Picture>(expected)) << options;
  };
  expectRead("--threads 1", {});
  expectRead("--layers 1", {.layers = 1});
  expectRead("--scale 1/2", {.discardLevels = 1});
  expectRead("--scale 1/16 --layers 1", {.discardLevels = 4, .layers = 1});
  EXPECT_RESULT(convert("in.jp2 back.png --scale 1/32"), 1, "in.jp2: there are only 4 levels to discard");
  EXPECT_RESULT(convert("in.jp2 back.png --scale 1/3"), 2, "--scale");
  write("cut.jp2", Bytes(file.begin(), file.begin() + static_cast<ptrdiff_t>(file.size() / 2)));
  EXPECT_RESULT(convert("cut.jp2 back.png"), 3, "cut.jp2: codestream is truncated; what could be decoded is kept");
  write("cut.jp2", Bytes(file.begin(), file.begin() + 60));
  EXPECT_RESULT(convert("cut.jp2 back.png"), 1, "cut.jp2: ");
}

TEST_F(Programs, DeepSamplesPassThrough) {
  sample::Picture16 deep = sample::toBits(sample::paintPicture(31, 22), 16);
  for (size_t i = 0; i < deep.samples.size(); ++i) deep.samples[i] ^= static_cast<uint16_t>(i % 251);
  sample::writePicture(path("in.png"), deep);
  EXPECT_RESULT(convert("in.png a.jpg --lossless --predictor 7"), 0, "");
  EXPECT_EQ(sample::readJpegFrame(read("a.jpg")).precision, 16);
  EXPECT_RESULT(convert("a.jpg b.tif"), 0, "");
  EXPECT_RESULT(convert("b.tif c.ppm"), 0, "");
  EXPECT_RESULT(convert("c.ppm d.png"), 0, "");
  EXPECT_EQ(read("d.png"), read("in.png"));
  EXPECT_RESULT(convert("in.png e.jpg"), 0, "");  // the DCT takes 8 bits unless it is told
  EXPECT_EQ(read("e.jpg"), sample::writeJpeg(sample::to8Bits(deep)));
  EXPECT_RESULT(convert("in.png f.jpg --bits 12"), 0, "");
  EXPECT_EQ(read("f.jpg"), sample::writeJpeg(sample::toBits(deep, 12)));
  EXPECT_RESULT(convert("f.jpg g.jpg"), 0, "");  // 12 bits stay 12
  EXPECT_EQ(sample::readJpegFrame(read("g.jpg")).precision, 12);
  EXPECT_RESULT(convert("f.jpg h.png --bits 8"), 0, "");
  EXPECT_EQ(sample::readPicture(path("h.png")), sample::readJpeg(read("f.jpg")));
  EXPECT_RESULT(convert("f.jpg i.pgm --grey"), 0, "");
  EXPECT_EQ(std::get<sample::Picture16>(sample::readAnyPicture(path("i.pgm"))).bits, 12);
  EXPECT_RESULT(convert("in.png j.jpg --bits 10"), 1, "files with DCT have 8 or 12 bits a sample, not 10");
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

TEST_F(Programs, TexturesInDdsFiles) {
  const sample::Picture picture = sample::paintPicture(67, 41);
  sample::writePicture(path("in.png"), picture);
  for (const auto& [name, format] : {std::pair{"dxt1", sample::TextureFormat::kDxt1},
                                     {"dxt3", sample::TextureFormat::kDxt3},
                                     {"dxt5", sample::TextureFormat::kDxt5},
                                     {"ycocg", sample::TextureFormat::kYCoCgDxt5},
                                     {"bc4", sample::TextureFormat::kBc4},
                                     {"bc5", sample::TextureFormat::kBc5}}) {
    EXPECT_RESULT(convert(std::string("in.png out.dds --mipmaps --texture ") + name), 0, "");
    const sample::Texture texture = sample::encodeTexture(picture, format, true);
    EXPECT_EQ(read("out.dds"), sample::writeDds(texture));
    EXPECT_RESULT(convert("out.dds back.ppm"), 0, "");
    EXPECT_EQ(sample::readPicture(path("back.ppm")), sample::toRgb(sample::decodeTexture(texture)));
  }
  EXPECT_RESULT(convert("in.png out.dds --dx10"), 0, "");
  EXPECT_EQ(read("out.dds"),
            sample::writeDds(sample::encodeTexture(picture, sample::TextureFormat::kDxt1), sample::DdsHeader::kDx10));
  EXPECT_RESULT(convert("in.png out.dds --texture bc8"), 2, "--texture");
}

TEST_F(Programs, Bc7InChosenModes) {
  const sample::Picture picture = sample::paintPicture(21, 13);
  sample::writePicture(path("in.png"), picture);
  const auto expected = [&](bool mipmaps, const sample::Bc7Options& options) {
    return sample::writeDds(sample::encodeTexture(picture, sample::TextureFormat::kBc7, mipmaps, options));
  };
  EXPECT_RESULT(convert("in.png out.dds --texture bc7 --bc7-modes 1,3,6"), 0, "");
  EXPECT_EQ(read("out.dds"), expected(false, {.modes = {1, 3, 6}}));
  EXPECT_RESULT(convert("out.dds back.ppm"), 0, "");
  EXPECT_EQ(sample::readPicture(path("back.ppm")), sample::decodeTexture(sample::readDds(read("out.dds"))));
  EXPECT_RESULT(convert("in.png out.dds --texture bc7 --mipmaps"), 0, "");
  EXPECT_EQ(read("out.dds"), expected(true, {}));
  EXPECT_RESULT(convert("in.png out.dds --texture bc7 --bc7-modes 1,8"), 2, "--bc7-modes");
  EXPECT_RESULT(convert("in.png out.dds --texture bc7 --bc7-modes six"), 2, "--bc7-modes");
}

TEST_F(Programs, HalfFloatTexturesAsPfm) {
  sample::Texture texture{sample::TextureFormat::kBc6Unsigned, {{5, 3, Bytes(32)}}};
  for (size_t i = 0; i < 32; ++i) texture.levels[0].blocks[i] = static_cast<uint8_t>(37 * i + 3);
  const Bytes file = sample::writeDds(texture);
  write("light.dds", file);
  EXPECT_RESULT(convert("light.dds light.pfm"), 0, "");
  EXPECT_EQ(read("light.pfm"), sample::writePfm(sample::decodeHalf(texture.levels[0], texture.format)));
  EXPECT_RESULT(convert("light.dds light.ppm"), 0, "");
  EXPECT_RESULT(convert("light.ppm other.pfm"), 1, "other.pfm: only BC6 textures have floats to write");
  EXPECT_RESULT(convert("light.pfm other.ppm"), 1, "light.pfm: PFM is only written");
  write("cut.dds", Bytes(file.begin(), file.end() - 1));
  EXPECT_RESULT(convert("cut.dds cut.png"), 1, "cut.dds: truncated in level 0");
}

}  // namespace
}  // namespace test
