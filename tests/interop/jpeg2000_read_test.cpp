// The JPEG 2000 reader against OpenJPEG and Grok: files of all options that they write, and some made of them, decoded
// by both: equal where the wavelet is reversible, within 1 where it is not.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>

#include "jpeg2000/geometry.h"
#include "jpeg2000/grok_peer.h"
#include "jpeg2000/jpeg2000_reader.h"
#include "jpeg2000/jpeg2000_writer.h"
#include "jpeg2000/openjpeg_planes.h"
#include "support/random.h"

// What OpenJPEG's encoder allocates and loses when it fails to write a packet is not ours to free.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:opj_t2_encode_packet"; }

namespace test {
namespace {

using sample::AnyPicture;
using sample::Jpeg2000Error;
using sample::Jpeg2000Image;
using sample::Jpeg2000Plane;
using sample::Jpeg2000ReadOptions;
using sample::OpenjpegComponent;
using sample::OpenjpegImage;
using sample::Picture;
using sample::Picture16;
using Bytes = std::vector<uint8_t>;
using Adjust = std::function<void(opj_cparameters_t&)>;

// ---- Pictures ----

// Edges, slopes and noise, in all of the range.
int32_t painted(int32_t x, int32_t y, int32_t c, int32_t bits, Random& random) {
  const int32_t range = 1 << bits;
  double v = 0.5 + 0.4 * std::sin(x * 0.11 + c) * std::cos(y * 0.07);
  if ((x / 16 + y / 16) % 3 == 0) v = (x + y) % 2;
  if ((x / 32 + y / 32) % 2) v += static_cast<double>(random.between(-100, 100)) / 1000;
  return std::clamp(static_cast<int32_t>(v * range), 0, range - 1);
}

struct Shape {
  int32_t width = 97, height = 61, components = 1, bits = 8;
  bool isSigned = false;
  int32_t x0 = 0, y0 = 0;
  std::vector<std::pair<int32_t, int32_t>> distances = {};  // of components; 1 where not given
};

OpenjpegImage paint(const Shape& shape, uint64_t stream = 1) {
  Random random(stream);
  OpenjpegImage image{shape.x0, shape.y0, shape.x0 + shape.width, shape.y0 + shape.height, {}};
  for (int32_t c = 0; c < shape.components; ++c) {
    OpenjpegComponent k;
    if (static_cast<size_t>(c) < shape.distances.size()) std::tie(k.dx, k.dy) = shape.distances[static_cast<size_t>(c)];
    using sample::j2k::ceilDivide;
    k.x0 = ceilDivide(image.x0, k.dx), k.y0 = ceilDivide(image.y0, k.dy);
    k.width = ceilDivide(image.x1, k.dx) - k.x0, k.height = ceilDivide(image.y1, k.dy) - k.y0;
    k.bits = shape.bits, k.isSigned = shape.isSigned;
    for (int32_t y = 0; y < k.height; ++y)
      for (int32_t x = 0; x < k.width; ++x)
        k.samples.push_back(painted(x, y, c, k.bits, random) - (k.isSigned ? 1 << (k.bits - 1) : 0));
    image.components.push_back(std::move(k));
  }
  return image;
}

// ---- Comparison ----

struct Limits {
  int32_t difference = 0;
  int32_t discardLevels = 0;
  int32_t layers = 0;
};

int32_t largestDifference(const std::vector<int32_t>& a, const std::vector<int32_t>& b) {
  if (a.size() != b.size()) return INT32_MAX;
  int32_t largest = 0;
  for (size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

void expectLikePeer(const Jpeg2000Image& ours, const OpenjpegImage& peer, int32_t difference) {
  EXPECT_EQ(ours.warning, "");
  ASSERT_EQ(ours.planes.size(), peer.components.size());
  for (size_t c = 0; c < ours.planes.size(); ++c) {
    const Jpeg2000Plane& a = ours.planes[c];
    const OpenjpegComponent& b = peer.components[c];
    EXPECT_EQ(a.width, b.width);
    EXPECT_EQ(a.height, b.height);
    EXPECT_EQ(a.dx, b.dx);
    EXPECT_EQ(a.dy, b.dy);
    EXPECT_EQ(a.bits, b.bits);
    EXPECT_EQ(a.isSigned, b.isSigned);
    EXPECT_LE(largestDifference(a.samples, b.samples), difference) << "component " << c;
  }
}

void expectSame(const Bytes& file, const Limits& limits = {}) {
  const Jpeg2000Image ours =
      sample::readJpeg2000Planes(file, {.discardLevels = limits.discardLevels, .layers = limits.layers, .threads = 1});
  const OpenjpegImage peer =
      sample::decodeByOpenjpeg(file, {.discardLevels = limits.discardLevels, .layers = limits.layers});
  expectLikePeer(ours, peer, limits.difference);
}

void expectSamples(const Bytes& file, const OpenjpegImage& image) {
  const Jpeg2000Image ours = sample::readJpeg2000Planes(file, {.threads = 1});
  ASSERT_EQ(ours.planes.size(), image.components.size());
  for (size_t c = 0; c < ours.planes.size(); ++c)
    EXPECT_EQ(largestDifference(ours.planes[c].samples, image.components[c].samples), 0) << "component " << c;
}

// OpenJPEG gives up on some small tiles and on precincts of subsampled components, or writes files that it cannot read,
// and ends the program where 9/7 meets a line of one sample.
std::optional<Bytes> encodedIfItCan(const OpenjpegImage& image, const Adjust& adjust) {
  try {
    return sample::encodeByOpenjpeg(image, adjust);
  } catch (const std::runtime_error&) {
    return {};
  }
}

bool isSound(const Bytes& file, const OpenjpegImage& image) {
  try {
    const OpenjpegImage read = sample::decodeByOpenjpeg(file);
    return std::ranges::equal(read.components, image.components,
                              [](const auto& a, const auto& b) { return a.samples == b.samples; });
  } catch (const std::runtime_error&) {
    return false;
  }
}

// How far OpenJPEG may be: it multiplies high values by 1.625732422 where 2 / K is 1.625786133 (T.800 F.3.8.2), which
// is 3.3e-5 of the range in each direction.
int32_t peerError(int32_t bits) { return 1 + static_cast<int32_t>(6.6e-5 * (1 << bits)); }

// Reversible: the samples of the source. Irreversible: as the peer.
void expectBoth(const OpenjpegImage& image, const Adjust& adjust, bool isJp2 = false) {
  expectSamples(sample::encodeByOpenjpeg(image, adjust, isJp2), image);
  const auto irreversibly = [&](opj_cparameters_t& p) {
    adjust(p);
    p.irreversible = 1;
  };
  expectSame(sample::encodeByOpenjpeg(image, irreversibly, isJp2), {.difference = peerError(image.components[0].bits)});
}

void setLayers(opj_cparameters_t& p, std::initializer_list<float> rates) {
  p.tcp_numlayers = 0;
  for (const float rate : rates) p.tcp_rates[p.tcp_numlayers++] = rate;
}

void setTiles(opj_cparameters_t& p, int32_t width, int32_t height, int32_t x0 = 0, int32_t y0 = 0) {
  p.tile_size_on = 1;
  p.cp_tdx = width, p.cp_tdy = height, p.cp_tx0 = x0, p.cp_ty0 = y0;
}

void setPrecincts(opj_cparameters_t& p, std::initializer_list<std::pair<int32_t, int32_t>> sizes) {
  p.csty |= 1;
  p.res_spec = 0;
  for (const auto& [width, height] : sizes) {
    p.prcw_init[p.res_spec] = width;
    p.prch_init[p.res_spec++] = height;
  }
}

constexpr OPJ_PROG_ORDER kOrders[]{OPJ_LRCP, OPJ_RLCP, OPJ_RPCL, OPJ_PCRL, OPJ_CPRL};

// ---- One option after the other ----

TEST(Jpeg2000Read, EveryBlockStyle) {
  const OpenjpegImage image = paint({.width = 83, .height = 70, .bits = 10});
  for (int32_t style = 0; style < 64; ++style) {
    SCOPED_TRACE(testing::Message() << "style " << style);
    expectBoth(image, [=](opj_cparameters_t& p) { p.mode = style; });
    // Segments that go on from layer to layer.
    const Bytes layered = sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
      p.mode = style;
      setLayers(p, {30, 10, 5, 2, 1});
    });
    expectSamples(layered, image);
    expectSame(layered, {.layers = 3});
  }
}

TEST(Jpeg2000Read, EveryDepth) {
  for (int32_t bits = 1; bits <= 16; ++bits) {
    for (const bool isSigned : {false, true}) {
      for (int32_t components = 1; components <= 4; ++components) {
        SCOPED_TRACE(testing::Message() << bits << " bits, signed " << isSigned << ", components " << components);
        expectBoth(
            paint({50, 40, components, bits, isSigned}), [](opj_cparameters_t&) {}, components % 2);
      }
    }
  }
}

TEST(Jpeg2000Read, EveryProgression) {
  const OpenjpegImage images[]{
      paint({.width = 90, .height = 70, .components = 3}),
      paint({.width = 90, .height = 70, .components = 3, .distances = {{1, 1}, {2, 1}, {2, 2}}})};
  int32_t files = 0;
  for (const OpenjpegImage& image : images) {
    for (const OPJ_PROG_ORDER order : kOrders) {
      for (const char tileParts : {'\0', 'R', 'L', 'C'}) {
        for (const bool markers : {false, true}) {
          SCOPED_TRACE(testing::Message() << "order " << order << ", parts " << tileParts << ", markers " << markers);
          const auto file = encodedIfItCan(image, [=](opj_cparameters_t& p) {
            p.prog_order = order;
            p.tcp_mct = 0;
            setTiles(p, 60, 50);
            setPrecincts(p, {{32, 16}, {16, 16}});
            setLayers(p, {20, 5, 1});
            p.numresolution = 4;
            p.cblockw_init = 16, p.cblockh_init = 8;
            if (markers) p.csty |= 2 | 4;
            p.tp_on = tileParts != 0;
            p.tp_flag = tileParts;
          });
          const bool isUsual = !tileParts && &image == &images[0];
          if (!file || !isSound(*file, image)) {
            EXPECT_FALSE(isUsual);
            continue;
          }
          ++files;
          expectSamples(*file, image);
          expectSame(*file, {.layers = 2});
          expectSame(*file, {.discardLevels = 2});
        }
      }
    }
  }
  EXPECT_GE(files, 25);
}

TEST(Jpeg2000Read, ChangesOfProgression) {
  const OpenjpegImage image = paint({.width = 120, .height = 90, .components = 3});
  for (const OPJ_PROG_ORDER first : kOrders) {
    for (const OPJ_PROG_ORDER second : kOrders) {
      SCOPED_TRACE(testing::Message() << "orders " << first << ", " << second);
      const Bytes file = sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
        setLayers(p, {20, 5, 1});
        setPrecincts(p, {{64, 64}});
        p.numresolution = 4;
        p.numpocs = 2;
        const auto change = [&](opj_poc_t& poc, OPJ_PROG_ORDER order, OPJ_UINT32 r0, OPJ_UINT32 r1, OPJ_UINT32 layers) {
          poc.tile = 1;
          poc.resno0 = r0, poc.resno1 = r1;
          poc.compno0 = 0, poc.compno1 = 3;
          poc.layno1 = layers;
          poc.prg1 = order;
        };
        change(p.POC[0], first, 0, 2, 3);
        change(p.POC[1], second, 2, 4, 3);
      });
      expectSamples(file, image);
      expectSame(file, {.layers = 1});
    }
  }
}

// Whether some line of some level has one sample only, or none.
bool hasSingles(const OpenjpegImage& image, int32_t tileWidth, int32_t tileHeight, int32_t tileX, int32_t tileY,
                int32_t levels) {
  sample::j2k::ImageSize size{{image.x0, image.y0, image.x1, image.y1}, tileX, tileY, tileWidth, tileHeight, {}};
  for (const OpenjpegComponent& c : image.components) size.components.push_back({c.bits, c.isSigned, c.dx, c.dy});
  const std::vector<sample::j2k::CodingStyle> styles(size.components.size(), {.levels = levels});
  for (int32_t tile = 0; tile < size.tilesWide() * size.tilesHigh(); ++tile)
    for (const auto& component : sample::j2k::geometryOf(size, tile, styles).components)
      for (const auto& resolution : component.resolutions)
        if (&resolution != &component.resolutions[0] && (resolution.box.width() < 2 || resolution.box.height() < 2))
          return true;
  return false;
}

TEST(Jpeg2000Read, TilesAndOffsets) {
  int32_t reversible = 0, irreversible = 0;
  for (uint64_t seed = 0; seed < 150; ++seed) {
    TRACE_SEED(seed);
    Random random(seed);
    const auto pick = [&](int32_t low, int32_t high) { return static_cast<int32_t>(random.between(low, high)); };
    // OpenJPEG reads behind its input where the origin is not a multiple of the distances.
    const bool isEven = random.oneIn(2);
    const int32_t unit = isEven ? 1 : 6;
    Shape shape{pick(1, 90), pick(1, 90), pick(1, 4), 8, false, unit * pick(0, 40 / unit), unit * pick(0, 40 / unit),
                {}};
    if (!isEven)
      for (int32_t c = 0; c < shape.components; ++c) {
        const int32_t dx = pick(1, 3);
        shape.distances.emplace_back(dx, pick(1, 3));
      }
    const OpenjpegImage image = paint(shape, seed);
    if (std::ranges::any_of(image.components, [](const auto& c) { return c.width < 1 || c.height < 1; })) continue;
    const int32_t tileX = pick(0, shape.x0), tileY = pick(0, shape.y0);
    // The first tile must reach into the picture.
    const int32_t tileWidth = shape.x0 - tileX + pick(1, 60), tileHeight = shape.y0 - tileY + pick(1, 60);
    const int32_t levels = pick(0, 5), order = pick(0, 4), block = pick(2, 6), style = pick(0, 63);
    SCOPED_TRACE(testing::Message() << shape.width << " x " << shape.height << " at " << shape.x0 << ", " << shape.y0
                                    << ", tiles " << tileWidth << " x " << tileHeight << " at " << tileX << ", "
                                    << tileY << ", levels " << levels);
    for (const int32_t wavelet : {0, 1}) {
      if (wavelet && hasSingles(image, tileWidth, tileHeight, tileX, tileY, levels)) continue;
      const auto file = encodedIfItCan(image, [=](opj_cparameters_t& p) {
        p.irreversible = wavelet;
        p.tcp_mct = isEven && shape.components >= 3;
        p.numresolution = levels + 1;
        p.prog_order = kOrders[order];
        p.cblockw_init = p.cblockh_init = 1 << block;
        p.mode = style;
        setTiles(p, tileWidth, tileHeight, tileX, tileY);
      });
      if (!file || (!wavelet && !isSound(*file, image))) continue;
      ++(wavelet ? irreversible : reversible);
      if (!wavelet) expectSamples(*file, image);
      expectSame(*file, {.difference = wavelet});
    }
  }
  EXPECT_GE(reversible, 75);
  EXPECT_GE(irreversible, 25);
}

TEST(Jpeg2000Read, ReducedSizesAndLayers) {
  const OpenjpegImage image = paint({.width = 131, .height = 90, .components = 3, .x0 = 5, .y0 = 3});
  for (const int32_t irreversible : {0, 1}) {
    const Bytes file = sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
      p.irreversible = irreversible;
      setTiles(p, 70, 50, 1, 2);
      p.numresolution = 5;
      setLayers(p, {50, 25, 12, 6, 3, 1});
    });
    for (int32_t discard = 0; discard <= 4; ++discard) {
      for (int32_t layers = 0; layers <= 6; ++layers) {
        SCOPED_TRACE(testing::Message() << "discard " << discard << ", layers " << layers);
        expectSame(file, {irreversible, discard, layers});
      }
    }
    EXPECT_THROW(sample::readJpeg2000Planes(file, {.discardLevels = 5}), Jpeg2000Error);
  }
}

// Lossy files of several rates; coarse quantisers.
TEST(Jpeg2000Read, Rates) {
  const OpenjpegImage image = paint({.width = 200, .height = 150, .components = 3});
  for (const float rate : {200.f, 50.f, 20.f, 8.f, 4.f, 2.f}) {
    for (const int32_t irreversible : {0, 1}) {
      SCOPED_TRACE(testing::Message() << "rate " << rate << ", irreversible " << irreversible);
      const Bytes file = sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
        p.irreversible = irreversible;
        setLayers(p, {rate});
      });
      expectSame(file, {.difference = irreversible});
    }
  }
}

TEST(Jpeg2000Read, EveryBlockSizeAndManyLevels) {
  const OpenjpegImage image = paint({.width = 300, .height = 70});
  for (int32_t width = 4; width <= 1024; width *= 2) {
    for (int32_t height = 4; height <= 1024 && width * height <= 4096; height *= 2) {
      SCOPED_TRACE(testing::Message() << "block " << width << " x " << height);
      expectSamples(sample::encodeByOpenjpeg(image,
                                             [=](opj_cparameters_t& p) {
                                               p.cblockw_init = width;
                                               p.cblockh_init = height;
                                             }),
                    image);
    }
  }
  for (int32_t levels = 0; levels <= 6; ++levels)
    expectSamples(sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) { p.numresolution = levels + 1; }), image);
}

TEST(Jpeg2000Read, RowsAndColumns) {
  const auto expectOne = [](const OpenjpegImage& image, int32_t levels) {
    const auto adjust = [=](opj_cparameters_t& p) { p.numresolution = std::min(p.numresolution, levels + 1); };
    expectSamples(sample::encodeByOpenjpeg(image, adjust), image);
    if (!hasSingles(image, 64, 64, 0, 0, levels)) expectBoth(image, adjust);
  };
  for (int32_t n = 1; n <= 20; ++n) {
    for (int32_t origin = 0; origin < 2; ++origin) {
      for (const int32_t levels : {1, 5}) {
        expectOne(paint({.width = n, .height = 1, .x0 = origin, .y0 = 1 - origin}), levels);
        expectOne(paint({.width = 1, .height = n, .x0 = origin, .y0 = origin}), levels);
        expectOne(paint({.width = n, .height = 21 - n, .x0 = 3, .y0 = origin}), levels);
      }
    }
  }
}

// OpenJPEG shifts whole components into the region; the files of Grok below have a shift that nothing reaches.
TEST(Jpeg2000Read, RegionsOfInterest) {
  const OpenjpegImage image = paint({.components = 3});
  for (const int32_t shift : {1, 4, 9, 12, 15}) {
    SCOPED_TRACE(testing::Message() << "shift " << shift);
    const auto adjust = [=](opj_cparameters_t& p) {
      p.roi_compno = 1;
      p.roi_shift = shift;
      p.tcp_mct = 0;
    };
    const Bytes file = sample::encodeByOpenjpeg(image, adjust);
    expectSame(file);
  }
}

// ---- Grok's files ----

int32_t largestDifference(const Picture16& a, const Picture16& b) {
  return largestDifference(std::vector<int32_t>(a.samples.begin(), a.samples.end()),
                           std::vector<int32_t>(b.samples.begin(), b.samples.end()));
}

TEST(Jpeg2000Read, FilesOfGrok) {
  Random random(7);
  for (const auto& shape : {std::pair(1, 8), std::pair(3, 8), std::pair(3, 12), std::pair(4, 16)}) {
    const int32_t channels = shape.first, bits = shape.second;
    Picture16 picture(113, 87, channels, bits);
    for (int32_t y = 0; y < picture.height; ++y)
      for (int32_t x = 0; x < picture.width; ++x)
        for (int32_t c = 0; c < channels; ++c)
          picture.row(y)[x * channels + c] = static_cast<uint16_t>(painted(x, y, c, bits, random));
    const auto ours = [&](const Bytes& file) {
      const Jpeg2000Image image = sample::readJpeg2000Planes(file, {.threads = 1});
      EXPECT_EQ(image.warning, "");
      Picture16 read(picture.width, picture.height, channels, bits);
      for (size_t i = 0; i < read.samples.size(); ++i) {
        const auto c = static_cast<size_t>(channels);
        read.samples[i] = static_cast<uint16_t>(image.planes[i % c].samples[i / c]);
      }
      return read;
    };
    for (const char* options :
         {"", "-t 50,40 -p RPCL -c [32,32],[16,16] -n 4", "-M 63", "-M 1 -b 32,16", "-M 20 -p CPRL -u R", "-S -E -L",
          "-r 20,5,1 -p RLCP", "-R c=0,U=20 -Y 0", "-d 13,7 -T 5,3 -t 64,50 -n 3"}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits, options " << options);
      EXPECT_EQ(largestDifference(ours(sample::grokEncode(picture, options)), picture), 0);
    }
    for (const char* options : {"-I", "-I -r 10,4 -t 70,60", "-I -M 5 -p PCRL"}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << bits << " bits, options " << options);
      const Bytes file = sample::grokEncode(picture, options);
      EXPECT_LE(largestDifference(ours(file), sample::grokDecode(file, picture)), peerError(bits));
    }
  }
}

// OpenJPEG cannot write them by 9/7, but reads them: tiles of odd sides begin at odd places.
TEST(Jpeg2000Read, LinesOfOneSample) {
  for (int32_t width = 1; width <= 7; ++width) {
    for (int32_t height = 1; height <= 7; ++height) {
      SCOPED_TRACE(testing::Message() << width << " x " << height);
      Random random(static_cast<uint64_t>(8 * width + height));
      Picture16 picture(width, height, 1, 8);
      random.fill(std::span(picture.samples), 0, 255);
      for (const bool reversible : {true, false}) {
        const Bytes file =
            sample::writeJpeg2000(picture, {.reversible = reversible, .levels = 3, .tileWidth = 3, .tileHeight = 3});
        const Jpeg2000Image read = sample::readJpeg2000Planes(file);
        EXPECT_EQ(read.warning, "");
        const std::vector<int32_t> samples(picture.samples.begin(), picture.samples.end());
        EXPECT_LE(largestDifference(read.planes[0].samples, samples), reversible ? 0 : 1);
        expectSame(file, {.difference = reversible ? 0 : 1});
      }
    }
  }
}

// ---- Files made of other files ----

uint32_t at16(const Bytes& file, size_t i) { return uint32_t{file[i]} << 8 | file[i + 1]; }
uint32_t at32(const Bytes& file, size_t i) { return at16(file, i) << 16 | at16(file, i + 2); }
void put16(Bytes& out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v >> 8)), out.push_back(static_cast<uint8_t>(v));
}
void put32(Bytes& out, uint32_t v) { put16(out, v >> 16), put16(out, v); }
void put(Bytes& out, const Bytes& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); }

struct TilePart {
  uint32_t tile;
  Bytes header, body;  // behind SOT; behind SOD
};

struct Parts {
  Bytes mainHeader;
  std::vector<TilePart> tileParts;
};

Parts partsOf(const Bytes& file) {
  Parts parts;
  size_t i = 2;
  while (at16(file, i) != sample::j2k::kSot) i += 2 + at16(file, i + 2);
  parts.mainHeader.assign(file.begin(), file.begin() + static_cast<ptrdiff_t>(i));
  while (at16(file, i) == sample::j2k::kSot) {
    const size_t end = i + at32(file, i + 6);
    size_t sod = i + 12;
    while (at16(file, sod) != sample::j2k::kSod) sod += 2 + at16(file, sod + 2);
    const auto from = [&](size_t a, size_t b) {
      return Bytes(file.begin() + static_cast<ptrdiff_t>(a), file.begin() + static_cast<ptrdiff_t>(b));
    };
    parts.tileParts.push_back({at16(file, i + 4), from(i + 12, sod), from(sod + 2, end)});
    i = end;
  }
  return parts;
}

Bytes joined(const Parts& parts, bool lastIsOpen = false) {
  Bytes file = parts.mainHeader;
  std::map<uint32_t, uint32_t> counts;
  for (const TilePart& part : parts.tileParts) {
    const bool isOpen = lastIsOpen && &part == &parts.tileParts.back();
    put16(file, sample::j2k::kSot);
    put16(file, 10);
    put16(file, part.tile);
    put32(file, isOpen ? 0 : static_cast<uint32_t>(14 + part.header.size() + part.body.size()));
    file.push_back(static_cast<uint8_t>(counts[part.tile]++));
    file.push_back(0);
    put(file, part.header);
    put16(file, sample::j2k::kSod);
    put(file, part.body);
  }
  put16(file, sample::j2k::kEoc);
  return file;
}

Bytes tiledFile(const OpenjpegImage& image, char tileParts) {
  return sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
    setTiles(p, 50, 40);
    setLayers(p, {10, 1});
    p.numresolution = 4;
    p.csty |= 2 | 4;
    p.tp_on = tileParts != 0;
    p.tp_flag = tileParts;
    p.prog_order = OPJ_RLCP;
  });
}

TEST(Jpeg2000Read, InterleavedTiles) {
  const OpenjpegImage image = paint({.width = 130, .height = 90, .components = 3});
  Parts parts = partsOf(tiledFile(image, 'R'));
  ASSERT_GT(parts.tileParts.size(), 9u);
  // Round robin over the tiles, each of which keeps the order of its parts; then the last tiles first.
  std::map<uint32_t, uint32_t> counts;
  std::vector<uint32_t> turn;
  for (const TilePart& part : parts.tileParts) turn.push_back(counts[part.tile]++);
  std::vector<size_t> order(turn.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::ranges::stable_sort(order, {}, [&](size_t i) { return std::pair(turn[i], 100 - parts.tileParts[i].tile); });
  Parts mixed{parts.mainHeader, {}};
  for (const size_t i : order) mixed.tileParts.push_back(parts.tileParts[i]);
  expectSamples(joined(mixed), image);
  expectSame(joined(mixed));
  expectSamples(joined(mixed, true), image);  // the length of the last one is left open
}

// Packets of a file with SOP and EPH: the header behind the one, the body behind the other (no byte pair above 0xFF8F
// stands elsewhere).
std::pair<Bytes, Bytes> splitPackets(const Bytes& packets) {
  Bytes headers, bodies;
  bool inHeader = false;
  for (size_t i = 0; i < packets.size();) {
    const uint32_t pair = i + 1 < packets.size() ? at16(packets, i) : 0;
    if (pair == sample::j2k::kSop) {
      inHeader = true;
      i += 6;
    } else if (pair == sample::j2k::kEph) {
      inHeader = false;
      put16(headers, pair);
      i += 2;
    } else {
      (inHeader ? headers : bodies).push_back(packets[i++]);
    }
  }
  return {headers, bodies};
}

TEST(Jpeg2000Read, PackedPacketHeaders) {
  const OpenjpegImage image = paint({.width = 130, .height = 90, .components = 3});
  const Parts parts = partsOf(tiledFile(image, 'L'));
  // PPT: two segments for each tile-part, the second before the first.
  Parts ppt = parts;
  std::map<uint32_t, uint8_t> next;
  for (TilePart& part : ppt.tileParts) {
    const auto [headers, body] = splitPackets(part.body);
    part.body = body;
    const auto half = static_cast<ptrdiff_t>(headers.size() / 2);
    const uint8_t index = next[part.tile];
    next[part.tile] = static_cast<uint8_t>(index + 2);
    for (const int second : {1, 0}) {
      const Bytes piece(second ? headers.begin() + half : headers.begin(),
                        second ? headers.end() : headers.begin() + half);
      put16(part.header, sample::j2k::kPpt);
      put16(part.header, static_cast<uint32_t>(3 + piece.size()));
      part.header.push_back(static_cast<uint8_t>(index + second));
      put(part.header, piece);
    }
  }
  expectSamples(joined(ppt), image);
  expectSame(joined(ppt));

  // PPM: the headers of all tile-parts in the main header, in segments that begin within them. OpenJPEG wants each
  // number of bytes in one segment.
  Parts ppm = parts;
  Bytes segment, last;
  uint8_t index = 0;
  const auto flush = [&] {
    put16(ppm.mainHeader, sample::j2k::kPpm);
    put16(ppm.mainHeader, static_cast<uint32_t>(3 + segment.size()));
    ppm.mainHeader.push_back(index++);
    put(ppm.mainHeader, segment);
    segment.clear();
  };
  for (TilePart& part : ppm.tileParts) {
    const auto [headers, body] = splitPackets(part.body);
    part.body = body;
    const auto half = static_cast<ptrdiff_t>(headers.size() / 2);
    put32(segment, static_cast<uint32_t>(headers.size()));
    put(segment, Bytes(headers.begin(), headers.begin() + half));
    flush();
    put(segment, Bytes(headers.begin() + half, headers.end()));
  }
  flush();
  expectSamples(joined(ppm), image);
  expectSame(joined(ppm));
}

// ---- JP2 ----

Bytes box(const std::string& type, const Bytes& contents) {
  Bytes out;
  put32(out, static_cast<uint32_t>(8 + contents.size()));
  put(out, Bytes(type.begin(), type.end()));
  put(out, contents);
  return out;
}

Bytes jp2(const Bytes& headerBoxes, const Bytes& codestream) {
  Bytes out = box("jP  ", {0x0D, 0x0A, 0x87, 0x0A});
  put(out, box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}));
  put(out, box("jp2h", headerBoxes));
  put(out, box("jp2c", codestream));
  return out;
}

Bytes colourBox(uint8_t number) { return box("colr", {1, 0, 0, 0, 0, 0, number}); }

TEST(Jpeg2000Read, Palettes) {
  const OpenjpegImage image = paint({.width = 30, .height = 20, .bits = 2});
  const uint8_t colours[4][3]{{1, 2, 3}, {200, 100, 0}, {255, 0, 255}, {7, 80, 90}};
  Bytes palette{0, 4, 3, 7, 7, 7};
  for (const auto& colour : colours) palette.insert(palette.end(), colour, colour + 3);
  Bytes boxes = colourBox(16);
  put(boxes, box("pclr", palette));
  // Blue first; the definitions say so.
  put(boxes, box("cmap", {0, 0, 1, 2, 0, 0, 1, 1, 0, 0, 1, 0}));
  put(boxes, box("cdef", {0, 3, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1}));
  const Bytes file = jp2(boxes, sample::encodeByOpenjpeg(image, [](opj_cparameters_t&) {}));
  const AnyPicture any = sample::toPicture(sample::readJpeg2000Planes(file));
  const auto& picture = std::get<Picture>(any);
  ASSERT_EQ(picture.channels, 3);
  for (size_t i = 0; i < picture.pixels.size(); ++i)
    ASSERT_EQ(picture.pixels[i], colours[image.components[0].samples[i / 3]][i % 3]) << i;
}

TEST(Jpeg2000Read, ColoursAndChannels) {
  const OpenjpegImage image = paint({.width = 3, .height = 2, .components = 4});
  const Bytes codestream = sample::encodeByOpenjpeg(image, [](opj_cparameters_t& p) { p.tcp_mct = 0; });
  const auto pictureOf = [&](const Bytes& boxes) {
    return std::get<Picture>(sample::toPicture(sample::readJpeg2000Planes(jp2(boxes, codestream))));
  };
  const auto sampleAt = [&](size_t c, size_t i) { return image.components[c].samples[i]; };

  const Picture rgb = pictureOf(colourBox(16));
  const Picture cmyk = pictureOf(colourBox(12));
  const Picture ycc = pictureOf(colourBox(18));
  Bytes opacityFirst = colourBox(16);
  put(opacityFirst, box("cdef", {0, 4, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 2, 0, 0, 0, 2, 0, 3, 0, 0, 0, 3}));
  const Picture later = pictureOf(opacityFirst);
  ASSERT_EQ(rgb.channels, 3);
  ASSERT_EQ(cmyk.channels, 4);
  ASSERT_EQ(ycc.channels, 3);
  for (size_t i = 0; i < 6; ++i) {
    for (size_t c = 0; c < 3; ++c) {
      EXPECT_EQ(rgb.pixels[3 * i + c], sampleAt(c, i));
      EXPECT_EQ(later.pixels[3 * i + c], sampleAt(c + 1, i));
    }
    for (size_t c = 0; c < 4; ++c) EXPECT_EQ(cmyk.pixels[4 * i + c], 255 - sampleAt(c, i));
    const double y = sampleAt(0, i), cb = sampleAt(1, i) - 128, cr = sampleAt(2, i) - 128;
    EXPECT_NEAR(ycc.pixels[3 * i], std::clamp(y + 1.402 * cr, 0.0, 255.0), 0.51);
    EXPECT_NEAR(ycc.pixels[3 * i + 1], std::clamp(y - 0.344136 * cb - 0.714136 * cr, 0.0, 255.0), 0.51);
    EXPECT_NEAR(ycc.pixels[3 * i + 2], std::clamp(y + 1.772 * cb, 0.0, 255.0), 0.51);
  }
}

// ---- Pictures of planes ----

TEST(Jpeg2000Read, SubsampledPlanesAreRepeated) {
  const OpenjpegImage image =
      paint({.width = 11, .height = 9, .components = 3, .x0 = 1, .y0 = 2, .distances = {{1, 1}, {2, 1}, {4, 3}}});
  const Bytes file = sample::encodeByOpenjpeg(image, [](opj_cparameters_t& p) { p.tcp_mct = 0; });
  const Picture picture = std::get<Picture>(sample::toPicture(sample::readJpeg2000Planes(file)));
  ASSERT_EQ(picture.width, 11);
  ASSERT_EQ(picture.height, 9);
  for (int32_t y = 0; y < 9; ++y) {
    for (int32_t x = 0; x < 11; ++x) {
      for (size_t c = 0; c < 3; ++c) {
        const OpenjpegComponent& k = image.components[c];
        const int32_t column = std::max((x + 1) / k.dx - k.x0, 0), row = std::max((y + 2) / k.dy - k.y0, 0);
        EXPECT_EQ(picture.row(y)[3 * x + static_cast<int32_t>(c)],
                  k.samples[static_cast<size_t>(row * k.width + column)]);
      }
    }
  }
}

TEST(Jpeg2000Read, PicturesOfEveryDepth) {
  for (int32_t bits = 1; bits <= 16; ++bits) {
    for (const bool isSigned : {false, true}) {
      const OpenjpegImage image = paint({.width = 20, .height = 10, .bits = bits, .isSigned = isSigned});
      const AnyPicture any =
          sample::toPicture(sample::readJpeg2000Planes(sample::encodeByOpenjpeg(image, [](opj_cparameters_t&) {})));
      const int32_t offset = isSigned ? 1 << (bits - 1) : 0;
      for (size_t i = 0; i < 200; ++i) {
        const int32_t v = image.components[0].samples[i] + offset;
        if (bits > 8) {
          EXPECT_EQ(std::get<Picture16>(any).bits, bits);
          EXPECT_EQ(std::get<Picture16>(any).samples[i], v);
        } else {
          EXPECT_EQ(std::get<Picture>(any).pixels[i], std::lround(v * 255.0 / ((1 << bits) - 1)));
        }
      }
    }
  }
}

TEST(Jpeg2000Read, ThreadsChangeNothing) {
  const OpenjpegImage image = paint({.width = 400, .height = 300, .components = 3});
  for (const int32_t tile : {0, 60}) {
    for (const int32_t irreversible : {0, 1}) {
      const Bytes file = sample::encodeByOpenjpeg(image, [=](opj_cparameters_t& p) {
        p.irreversible = irreversible;
        if (tile) setTiles(p, tile, tile);
      });
      const Jpeg2000Image one = sample::readJpeg2000Planes(file, {.threads = 1});
      for (const int32_t threads : {2, 3, 8}) {
        const Jpeg2000Image more = sample::readJpeg2000Planes(file, {.threads = threads});
        for (size_t c = 0; c < 3; ++c) EXPECT_EQ(one.planes[c].samples, more.planes[c].samples);
      }
    }
  }
}

// ---- Damage ----

// Any prefix of a file: an error, or a picture with a warning whose whole tiles and layers are those of the file.
TEST(Jpeg2000Read, EveryTruncation) {
  const OpenjpegImage image = paint({.width = 60, .height = 50, .components = 3});
  const Bytes file = tiledFile(image, 0);
  const Jpeg2000Image whole = sample::readJpeg2000Planes(file);
  const size_t firstTile = partsOf(file).mainHeader.size() + 2;  // behind the first SOT
  int64_t lastEqual = 0;
  for (size_t length = 0; length < file.size(); length += length + 16 < file.size() ? 7 : 1) {
    const std::span part(file.data(), length);
    if (length < firstTile) {
      EXPECT_THROW(sample::readJpeg2000Planes(part), Jpeg2000Error) << length;
      continue;
    }
    const Jpeg2000Image cut = sample::readJpeg2000Planes(part, {.threads = 1});
    EXPECT_NE(cut.warning, "") << length;
    int64_t equal = 0;
    for (size_t c = 0; c < 3; ++c) {
      ASSERT_EQ(cut.planes[c].samples.size(), whole.planes[c].samples.size());
      for (size_t i = 0; i < whole.planes[c].samples.size(); ++i)
        equal += cut.planes[c].samples[i] == whole.planes[c].samples[i];
    }
    EXPECT_GE(equal + 200, lastEqual) << length;  // some samples happen to be right before they are told
    lastEqual = std::max(lastEqual, equal);
  }
  EXPECT_EQ(lastEqual, 3 * 60 * 50);  // only the end marker was missing
}

TEST(Jpeg2000Read, DamagedFiles) {
  const OpenjpegImage image = paint({.width = 60, .height = 50, .components = 3});
  int64_t pictures = 0, warnings = 0;
  for (const int32_t style : {0, 1, 4, 16, 32, 63}) {
    const Bytes file = sample::encodeByOpenjpeg(
        image,
        [=](opj_cparameters_t& p) {
          p.mode = style;
          p.irreversible = style == 4;
          p.numresolution = 4;
          setTiles(p, 40, 30);
          setLayers(p, {8, 1});
          setPrecincts(p, {{32, 32}});
          p.csty |= style & 2 ? 6 : 0;
        },
        style % 2);
    for (uint64_t seed = 0; seed < 150; ++seed) {
      Random random(seed + 1000 * static_cast<uint64_t>(style));
      Bytes damaged = file;
      for (int64_t n = random.between(1, 6); n > 0; --n) {
        const bool inHeader = random.oneIn(2);
        const auto at =
            static_cast<size_t>(random.between(0, inHeader ? 250 : static_cast<int64_t>(damaged.size()) - 1));
        damaged[at] = static_cast<uint8_t>(random.bits());
      }
      try {
        const Jpeg2000Image read = sample::readJpeg2000Planes(damaged, {.threads = 1, .mostSamples = 1 << 22});
        toPicture(read);
        ++pictures;
        warnings += !read.warning.empty();
      } catch (const Jpeg2000Error& error) {
        EXPECT_STRNE(error.what(), "");
      }
    }
  }
  EXPECT_GT(pictures, 100);
  EXPECT_GT(warnings, 50);
}

// Sizes that a header claims are looked at before memory is taken for them.
TEST(Jpeg2000Read, ClaimedSizes) {
  const Bytes file = sample::encodeByOpenjpeg(paint({}), [](opj_cparameters_t&) {});
  constexpr size_t kWidth = 8, kHeight = 12, kTileWidth = 24, kTileHeight = 28, kComponents = 40;
  const auto expectRefusal = [&](const std::vector<std::pair<size_t, uint32_t>>& fields, const std::string& why) {
    Bytes changed = file;
    for (const auto& [at, value] : fields)
      for (size_t i = 0; i < 4; ++i) changed[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    try {
      sample::readJpeg2000Planes(changed);
      ADD_FAILURE() << why;
    } catch (const Jpeg2000Error& error) {
      EXPECT_EQ(error.what(), why);
    }
  };
  expectRefusal({{kWidth, 0xFFFFFFFF}}, "too large");
  expectRefusal({{kWidth, 0x7FFFFFFF}, {kTileWidth, 0x7FFFFFFF}}, "too large");
  expectRefusal({{kWidth, 100000}, {kTileWidth, 100000}, {kHeight, 100000}, {kTileHeight, 100000}}, "too large");
  expectRefusal({{kWidth, 0}}, "the picture is empty");
  expectRefusal({{kTileWidth, 0}}, "tiles are empty");
  expectRefusal({{kTileWidth, 1}, {kTileHeight, 1}, {kWidth, 1000}, {kHeight, 1000}}, "too many tiles");
  expectRefusal({{kComponents, 0x40000701}}, "16384 components are not supported, but 1 to 4");
  expectRefusal({{kComponents, 0x00011001}}, "samples of 17 bits are not supported");
  expectRefusal({{kComponents, 0x00010700}}, "a component without a sampling distance");
  expectRefusal({{0, 0x89504E47}}, "not a JPEG 2000 file");
}

}  // namespace
}  // namespace test
