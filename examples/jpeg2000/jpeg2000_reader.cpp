#include "jpeg2000/jpeg2000_reader.h"

#include <omp.h>

#include <algorithm>
#include <cmath>

#include "jpeg2000/jp2_boxes.h"
#include "jpeg2000/tile_decoder.h"

namespace sample {
namespace {

using namespace j2k;

Jpeg2000Plane planeFor(const ComponentSize& size, const Box& box) {
  Jpeg2000Plane plane{box.x0, box.y0, box.width(), box.height(), size.dx, size.dy, size.bits, size.isSigned, {}};
  const int32_t middle = size.isSigned ? 0 : 1 << (size.bits - 1);
  plane.samples.assign(static_cast<size_t>(plane.width) * static_cast<size_t>(plane.height), middle);
  return plane;
}

void checkSize(const Codestream& codestream, const Jpeg2000ReadOptions& options) {
  int32_t dx = INT32_MAX, dy = INT32_MAX;
  for (const ComponentSize& c : codestream.size.components) dx = std::min(dx, c.dx), dy = std::min(dy, c.dy);
  const Box& image = codestream.size.image;
  const int64_t width = (image.width() - 1) / dx + 1, height = (image.height() - 1) / dy + 1;
  const int64_t most = (options.mostSamples << std::min(2 * options.discardLevels, 30)) /
                       static_cast<int64_t>(codestream.size.components.size());
  if (width > most / height) throw Jpeg2000Error("too large");
  for (const ComponentSize& c : codestream.size.components)
    if (onComponent(image, c).isEmpty()) throw Jpeg2000Error("a component without samples");
  for (const ComponentParameters& c : codestream.parameters.components)
    if (options.discardLevels > c.coding.levels)
      throw Jpeg2000Error("there are only " + std::to_string(c.coding.levels) + " levels to discard");
}

void decodeTiles(const Codestream& codestream, const Jpeg2000ReadOptions& options, Jpeg2000Image& image) {
  std::vector<SamplePlane> planes;
  for (Jpeg2000Plane& p : image.planes)
    planes.push_back({{p.x0, p.y0, p.x0 + p.width, p.y0 + p.height}, p.samples.data()});
  const int32_t threads = options.threads > 0 ? options.threads : omp_get_max_threads();
  const DecodeChoice choice{options.discardLevels, options.layers > 0 ? options.layers : kMostLayers, threads};
  const auto tiles = static_cast<int32_t>(codestream.tiles.size());
  int32_t done = 0;
  // Many tiles are shared out whole; what then asks for threads within a tile gets one.
#pragma omp parallel for num_threads(threads) schedule(dynamic) if (tiles >= 4 * threads)
  for (int32_t t = 0; t < tiles; ++t) {
    std::string warning = "a tile is missing";
    try {
      if (!codestream.tiles[static_cast<size_t>(t)].empty()) warning = decodeTile(codestream, t, choice, planes);
    } catch (const std::exception& error) {
      warning = error.what();
    }
#pragma omp critical
    {
      if (image.warning.empty()) image.warning = warning;
      if (options.progress) options.progress(++done, tiles);
    }
  }
}

void applyPalette(const Jp2& jp2, Jpeg2000Image& image) {
  if (!jp2.palette) return;
  const Palette& palette = *jp2.palette;
  const size_t columns = palette.bits.size();
  const auto last = static_cast<int32_t>(palette.entries.size() / columns) - 1;
  std::vector<Jpeg2000Plane> channels;
  for (const ChannelSource& source : jp2.sources) {
    if (source.component >= static_cast<int32_t>(image.planes.size()) || channels.size() == 4) return;
    Jpeg2000Plane plane = image.planes[static_cast<size_t>(source.component)];
    if (source.column) {
      const auto column = static_cast<size_t>(*source.column);
      if (column >= columns) return;
      plane.bits = palette.bits[column];
      plane.isSigned = palette.isSigned[column];
      for (int32_t& v : plane.samples)
        v = palette.entries[static_cast<size_t>(std::clamp(v, 0, last)) * columns + column];
    }
    channels.push_back(std::move(plane));
  }
  if (!channels.empty()) image.planes = std::move(channels);
}

// Colours first, in their order; what is not told stays where it is.
void orderChannels(const Jp2& jp2, Jpeg2000Image& image) {
  const auto count = static_cast<int32_t>(image.planes.size());
  std::vector<int32_t> rank;
  for (int32_t i = 0; i < count; ++i) rank.push_back(i);
  for (const ChannelMeaning& m : jp2.meanings)
    if (m.channel < count)
      rank[static_cast<size_t>(m.channel)] = m.type == 0 && m.association > 0 ? m.association - 1 : count + m.channel;
  std::vector<int32_t> order;
  for (int32_t i = 0; i < count; ++i) order.push_back(i);
  std::ranges::stable_sort(order, {}, [&](int32_t i) { return rank[static_cast<size_t>(i)]; });
  std::vector<Jpeg2000Plane> planes;
  for (const int32_t i : order) planes.push_back(std::move(image.planes[static_cast<size_t>(i)]));
  image.planes = std::move(planes);
}

// By the number of the colour space where the file tells it, else by that of the planes.
Jpeg2000Colour colourOf(const Jp2& jp2, const Jpeg2000Image& image) {
  const size_t count = image.planes.size();
  if (jp2.colour == kCmykNumber && count == 4) return Jpeg2000Colour::kCmyk;
  if (jp2.colour == kGreyNumber || count < 3) return Jpeg2000Colour::kGrey;
  return jp2.colour == kSyccNumber ? Jpeg2000Colour::kYcc : Jpeg2000Colour::kRgb;
}

int32_t channelsOf(Jpeg2000Colour colour) {
  return colour == Jpeg2000Colour::kGrey ? 1 : colour == Jpeg2000Colour::kCmyk ? 4 : 3;
}

// Samples of a plane for pictures of so many bits, unsigned.
struct Scale {
  int32_t add, from, to;

  int32_t operator()(int32_t v) const {
    v += add;
    return from == to ? v : static_cast<int32_t>((int64_t{v} * to + from / 2) / from);
  }
};

// Where the samples of a plane stand for the pixels of the picture: places in a row, and rows.
struct Repeats {
  std::vector<int32_t> columns, rows;
};

Repeats repeatsOf(const Jpeg2000Plane& plane, const Box& picture, int32_t dx, int32_t dy) {
  const auto places = [](int32_t from, int32_t to, int64_t unit, int32_t distance, int32_t first, int32_t count) {
    std::vector<int32_t> all;
    for (int64_t i = from; i < to; ++i)
      all.push_back(std::clamp(static_cast<int32_t>(i * unit / distance) - first, 0, count - 1));
    return all;
  };
  return {places(picture.x0, picture.x1, dx, plane.dx, plane.x0, plane.width),
          places(picture.y0, picture.y1, dy, plane.dy, plane.y0, plane.height)};
}

// T.800 M.2: sYCC by the matrix of JFIF.
template <typename Sample>
void toRgb(Sample* pixel, int32_t most) {
  const double y = pixel[0], cb = pixel[1] - (most + 1) / 2, cr = pixel[2] - (most + 1) / 2;
  const auto limited = [=](double v) { return static_cast<Sample>(std::clamp(std::lrint(v), 0l, long{most})); };
  pixel[0] = limited(y + 1.402 * cr);
  pixel[1] = limited(y - 0.344136 * cb - 0.714136 * cr);
  pixel[2] = limited(y + 1.772 * cb);
}

template <typename Sample>
void fill(const Jpeg2000Image& image, const Box& box, int32_t dx, int32_t dy, int32_t channels, int32_t bits,
          Sample* pixels) {
  const int32_t most = (1 << bits) - 1;
  const size_t rowLength = static_cast<size_t>(box.width()) * static_cast<size_t>(channels);
  for (int32_t c = 0; c < channels; ++c) {
    const Jpeg2000Plane& plane = image.planes[static_cast<size_t>(c)];
    const Scale scale{plane.isSigned ? 1 << (plane.bits - 1) : 0, (1 << plane.bits) - 1, most};
    const Repeats repeats = repeatsOf(plane, box, dx, dy);
    const bool isWhole = plane.width == box.width() && plane.dx == dx && scale.from == scale.to;
    for (int32_t y = 0; y < box.height(); ++y) {
      const int32_t* from = plane.samples.data() + ptrdiff_t{plane.width} * repeats.rows[static_cast<size_t>(y)];
      Sample* to = pixels + rowLength * static_cast<size_t>(y) + c;
      if (isWhole) {
        for (int32_t x = 0; x < box.width(); ++x) to[x * channels] = static_cast<Sample>(from[x] + scale.add);
      } else {
        for (int32_t x = 0; x < box.width(); ++x)
          to[x * channels] = static_cast<Sample>(scale(from[repeats.columns[static_cast<size_t>(x)]]));
      }
    }
  }
  const size_t count = rowLength * static_cast<size_t>(box.height());
  if (image.colour == Jpeg2000Colour::kYcc)
    for (size_t i = 0; i < count; i += 3) toRgb(pixels + i, most);
  if (image.colour == Jpeg2000Colour::kCmyk)
    for (size_t i = 0; i < count; ++i) pixels[i] = static_cast<Sample>(most - pixels[i]);
}

}  // namespace

Jpeg2000Image readJpeg2000Planes(std::span<const uint8_t> file, const Jpeg2000ReadOptions& options) {
  const Jp2 jp2 = readBoxes(file);
  const Codestream codestream = readCodestream(jp2.codestream);
  checkSize(codestream, options);
  Jpeg2000Image image;
  image.box = reduced(codestream.size.image, options.discardLevels);
  image.warning = codestream.warning;
  for (const ComponentSize& c : codestream.size.components)
    image.planes.push_back(planeFor(c, reduced(onComponent(codestream.size.image, c), options.discardLevels)));
  decodeTiles(codestream, options, image);
  applyPalette(jp2, image);
  orderChannels(jp2, image);
  image.colour = colourOf(jp2, image);
  return image;
}

AnyPicture toPicture(const Jpeg2000Image& image) {
  const int32_t channels = channelsOf(image.colour);
  int32_t dx = INT32_MAX, dy = INT32_MAX, bits = 0;
  for (const Jpeg2000Plane& p : std::span(image.planes).first(static_cast<size_t>(channels)))
    dx = std::min(dx, p.dx), dy = std::min(dy, p.dy), bits = std::max(bits, p.bits);
  const Box box = onComponent(image.box, {.dx = dx, .dy = dy});
  if (bits <= 8) {
    Picture picture(box.width(), box.height(), channels);
    fill(image, box, dx, dy, channels, 8, picture.pixels.data());
    return picture;
  }
  Picture16 picture(box.width(), box.height(), channels, bits);
  fill(image, box, dx, dy, channels, bits, picture.samples.data());
  return picture;
}

}  // namespace sample
