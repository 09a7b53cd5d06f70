// The painted picture: an evening at a lake, in integer arithmetic, so that it is the same on every machine. It holds
// what codecs find easy and hard: smooth gradients (sky), soft and rough texture (clouds, meadow), saturated colour
// edges (balloons, flowers, bars), text in single pixels (the notice board), and film-like grain over everything.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include "support/picture.h"

namespace sample {
namespace {

// Places are told on a canvas of 1280 x 960 units, whatever the size in pixels.
constexpr int32_t kCanvasWidth = 1280, kCanvasHeight = 960, kHorizon = 560, kShore = 700;

struct Colour {
  int32_t r, g, b;
};

// a where weight is 0, b where it is 256.
Colour blend(Colour a, Colour b, int32_t weight) {
  const int32_t w = std::clamp(weight, 0, 256), v = 256 - w;
  return {(a.r * v + b.r * w) >> 8, (a.g * v + b.g * w) >> 8, (a.b * v + b.b * w) >> 8};
}

uint32_t hash(int32_t x, int32_t y) {
  uint32_t h = static_cast<uint32_t>(x) * 0x9E3779B1u ^ static_cast<uint32_t>(y) * 0x85EBCA77u;
  h ^= h >> 15, h *= 0x2C1B3C6Du, h ^= h >> 12, h *= 0x297A2D39u;
  return h ^ (h >> 15);
}

// About normal with a standard deviation of about 3: the sum of four bytes.
int32_t grain(int32_t x, int32_t y) {
  const uint32_t h = hash(x, y);
  return (static_cast<int32_t>((h & 255) + (h >> 8 & 255) + (h >> 16 & 255) + (h >> 24)) - 510) / 48;
}

// Smooth noise, 0 to 255: random values on a lattice of 2^cell units, joined by a cubic.
int32_t noise(int32_t x, int32_t y, int32_t cell) {
  const auto ease = [cell](int32_t v) {
    const int32_t t = (v & ((1 << cell) - 1)) << 8 >> cell;
    return t * t * (768 - 2 * t) >> 16;
  };
  const auto corner = [&](int32_t i, int32_t j) {
    return static_cast<int32_t>(hash((x >> cell) + i, (y >> cell) + j + 1000 * cell) & 255);
  };
  const int32_t u = ease(x), v = ease(y);
  const int32_t top = corner(0, 0) * (256 - u) + corner(1, 0) * u;
  const int32_t bottom = corner(0, 1) * (256 - u) + corner(1, 1) * u;
  return (top * (256 - v) + bottom * v) >> 16;
}

// Noise of five sizes, each half as large and half as strong as the one before. About 0 to 255, mostly near 128.
int32_t fractal(int32_t x, int32_t y, int32_t cell) {
  int32_t sum = 0;
  for (int32_t octave = 0; octave < 5; ++octave) sum += noise(x, y, std::max(1, cell - octave)) * (16 >> octave);
  return sum / 31;
}

struct Balloon {
  int32_t x, y, radius;
  std::array<Colour, 3> stripes;
};
constexpr Balloon kBalloons[] = {
    {330, 190, 104, {{{226, 18, 30}, {252, 246, 232}, {24, 44, 190}}}},
    {712, 108, 52, {{{250, 204, 0}, {0, 140, 60}, {250, 204, 0}}}},
    {1128, 238, 36, {{{224, 0, 150}, {0, 190, 216}, {255, 238, 250}}}},
};

// Paints the balloon's pixel, if there is one at the place: nine stripes between meridians 20 degrees apart, on a
// circle that is drawn out below its middle, and a basket on two ropes.
bool balloonAt(int32_t x, int32_t y, Colour& colour) {
  for (const Balloon& balloon : kBalloons) {
    const int32_t r = balloon.radius, dx = x - balloon.x, dy = y - balloon.y;
    const int32_t half = r * r - (dy > 0 ? dy * dy * 11 / 20 : dy * dy);  // square of the half width at this height
    if (dy < r * 5 / 4 && dx * dx < half) {
      int32_t stripe = dy > -r / 6 && dy < r / 8 ? 5 : 4;
      for (const int32_t meridian : {8, 64, 150, 226})  // squared sines of 10, 30, 50, 70 degrees
        if (dx * dx * 256 > half * meridian) stripe += dx < 0 ? -1 : 1;
      const Colour lit = balloon.stripes[static_cast<size_t>(stripe) % 3];
      colour = blend({lit.r / 3, lit.g / 3, lit.b / 3}, lit, 210 - dx * 90 / r - dy * 30 / r);
      return true;
    }
    const int32_t below = dy - r * 3 / 2;
    if (std::abs(dx) < r / 7 && below > 0 && below < r / 5) return colour = {92, 56, 28}, true;
    if (std::abs(std::abs(dx) - r / 7 - below * -3 / 5) < 1 && below <= 0 && dy > r) return colour = {60, 48, 44}, true;
  }
  return false;
}

Colour skyAt(int32_t x, int32_t y) {
  const int32_t fall = y * 256 / kHorizon;
  Colour sky = fall < 150 ? blend({30, 72, 150}, {132, 170, 214}, fall * 256 / 150)
                          : blend({132, 170, 214}, {255, 206, 150}, (fall - 150) * 256 / 106);
  const int32_t dx = x - 960, dy = y - 335, distance = dx * dx + dy * dy;
  sky = blend(sky, {255, 232, 176}, 200 - distance / 260);
  const int32_t cloud = fractal(x, y * 5 / 2, 8) - 128;
  sky = blend(sky, blend({255, 250, 240}, {214, 160, 160}, fall), cloud * 7 - 20);
  if (distance < 46 * 46) sky = blend(sky, {255, 250, 214}, (46 * 46 - distance) / 2);
  balloonAt(x, y, sky);
  return sky;
}

// Three ranges, the farther the paler; each a ridge over the horizon.
Colour landAt(int32_t x, int32_t y) {
  constexpr Colour kRock[3] = {{128, 142, 176}, {84, 104, 128}, {34, 58, 50}};
  constexpr int32_t kFoot[3] = {60, 36, -2}, kRise[3] = {250, 150, 58};
  Colour colour = skyAt(x, y);
  for (int32_t range = 0; range < 3; ++range) {
    const int32_t ridge = fractal(x + 700 * range, 77 * range, 8 - range) - 62;
    const int32_t depth = y - (kHorizon - kFoot[range] - ridge * kRise[range] / 160);
    if (depth < 0) continue;
    const int32_t rough = fractal(x * 2 + y, y * 3 + 999 * range, 5) - 128;
    colour = blend(kRock[range], {220, 196, 186}, depth / (range + 1) - 40 * range);
    if (range == 0 && depth < 44 + rough * 2) colour = {236, 236, 244};
    const int32_t contrast = range == 2 ? noise(x * 8, y * 6, 3) / 6 - 16 : rough / 3;
    colour = {colour.r + contrast, colour.g + contrast, colour.b + contrast * 3 / 4};
  }
  return colour;
}

Colour lakeAt(int32_t x, int32_t y) {
  const int32_t depth = y - kHorizon;
  const int32_t ripple = noise(x, y * 8, 5) + noise(x * 2, y * 16, 5) - 255;
  const int32_t mirrored = kHorizon - 1 - depth * 3 / 2 + ripple * (6 + depth) / 900;
  const Colour image = landAt(x + ripple * depth / 1400, std::clamp(mirrored, 0, kHorizon - 1));
  return blend(image, {20, 46, 84}, 56 + depth / 3 + ripple / 8);
}

// Blades of grass in single pixels, patches of light, and flowers in saturated colours.
Colour meadowAt(int32_t x, int32_t y, int32_t column, int32_t row) {
  constexpr Colour kPetals[4] = {{236, 0, 24}, {255, 214, 0}, {238, 20, 170}, {60, 40, 230}};
  const int32_t near = y - kShore, lean = near / 6 + noise(x, y, 6) / 16;
  const int32_t blade = noise(column * 6 + lean, row + static_cast<int32_t>(hash(column, 5) & 7), 3);
  const int32_t light = fractal(x, y * 2, 7);
  const Colour grass = blend({28, 60, 18}, {142, 170, 50}, blade * 2 / 3 + light - 90);
  constexpr int32_t kCell = 40;
  const int32_t i = x / kCell, j = y / kCell;
  const uint32_t seed = hash(i * 3 + 1, j * 7 + 2);
  const int32_t radius = 3 + near / 45 + static_cast<int32_t>(seed >> 28) / 5;
  const int32_t dx = x % kCell - kCell / 2 - static_cast<int32_t>(seed >> 8 & 7) + 3;
  const int32_t dy = y % kCell - kCell / 2 - static_cast<int32_t>(seed >> 12 & 7) + 3;
  if (seed % 3 || near < 24 || dx * dx + dy * dy > radius * radius) return grass;
  if ((dx * dx + dy * dy) * 9 < radius * radius) return {255, 236, 120};
  return blend(kPetals[seed >> 4 & 3], {40, 10, 20}, (dx + dy + radius) * 60 / radius);
}

// Capitals of 5 x 7 pixels, a byte a row with the leftmost pixel in bit 4.
constexpr uint8_t kCapitals[26][7] = {
    {14, 17, 17, 31, 17, 17, 17}, {30, 17, 17, 30, 17, 17, 30}, {14, 17, 16, 16, 16, 17, 14},
    {30, 17, 17, 17, 17, 17, 30}, {31, 16, 16, 30, 16, 16, 31}, {31, 16, 16, 30, 16, 16, 16},
    {14, 17, 16, 23, 17, 17, 15}, {17, 17, 17, 31, 17, 17, 17}, {14, 4, 4, 4, 4, 4, 14},
    {7, 2, 2, 2, 2, 18, 12},      {17, 18, 20, 24, 20, 18, 17}, {16, 16, 16, 16, 16, 16, 31},
    {17, 27, 21, 21, 17, 17, 17}, {17, 25, 21, 19, 17, 17, 17}, {14, 17, 17, 17, 17, 17, 14},
    {30, 17, 17, 30, 16, 16, 16}, {14, 17, 17, 17, 21, 18, 13}, {30, 17, 17, 30, 20, 18, 17},
    {15, 16, 16, 14, 1, 1, 30},   {31, 4, 4, 4, 4, 4, 4},       {17, 17, 17, 17, 17, 17, 14},
    {17, 17, 17, 17, 17, 10, 4},  {17, 17, 17, 21, 21, 27, 17}, {17, 17, 10, 4, 10, 17, 17},
    {17, 17, 10, 4, 4, 4, 4},     {31, 1, 2, 4, 8, 16, 31},
};
constexpr std::string_view kText[] = {
    "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG",  "SPHINX OF BLACK QUARTZ JUDGE MY VOW",
    "PACK MY BOX WITH FIVE DOZEN LIQUOR JUGS",      "HOW VEXINGLY QUICK DAFT ZEBRAS JUMP",
    "THE FIVE BOXING WIZARDS JUMP QUICKLY",         "BRIGHT VIXENS JUMP DOZY FOWL QUACK",
    "AMAZINGLY FEW DISCOTHEQUES PROVIDE JUKEBOXES",
};

// Whether the text has ink in the pixel of a line of characters of 6 x 9 pixels.
bool inkAt(std::string_view text, int32_t column, int32_t row) {
  if (column < 0 || row < 0 || row >= 7 || column % 6 == 5) return false;
  const auto place = static_cast<size_t>(column / 6);
  if (place >= text.size() || text[place] == ' ') return false;
  return kCapitals[text[place] - 'A'][row] >> (4 - column % 6) & 1;
}

// The notice board, which is 300 x 200 pixels and stands in the meadow: a heading, text, colour bars, and lines that
// draw closer. Coordinates are pixels from its upper left corner.
Colour boardAt(int32_t x, int32_t y, int32_t width, int32_t height) {
  constexpr Colour kInk = {26, 22, 40}, kPaper = {244, 240, 226}, kFrame = {112, 66, 30};
  constexpr Colour kBars[8] = {{235, 16, 16}, {250, 150, 0}, {245, 235, 10}, {16, 200, 40},
                               {0, 200, 220}, {20, 40, 230}, {210, 20, 220}, {20, 20, 20}};
  const int32_t edge = std::min({x, y, width - 1 - x, height - 1 - y});
  if (edge < 7) return blend(kFrame, {190, 130, 70}, noise(x * 3, y * 3, 4) + (edge == 0 || edge == 6) * -120);
  if (inkAt("LAKE VIEW", (x - 18) / 3, (y - 18) / 3) && x >= 18 && y >= 18) return {150, 0, 20};
  const int32_t line = (y - 50) / 10;
  if (y >= 50 && line < 9)
    return inkAt(kText[static_cast<size_t>(line) % std::size(kText)], x - 18, (y - 50) % 10) ? kInk : kPaper;
  if (y >= height - 56 && y < height - 32 && x >= 18 && x < width - 18)
    return kBars[std::min(7, (x - 18) * 8 / (width - 36))];
  if (y >= height - 26 && y < height - 14 && x >= 18 && x < width - 18) {
    const int32_t gap = 1 + (width - 18 - x) / 40;
    return x / gap & 1 ? kInk : kPaper;
  }
  return kPaper;
}

}  // namespace

Picture paintPicture(int32_t width, int32_t height, int32_t channels) {
  Picture picture(width, height, 3);
  // The board keeps its size in pixels, so that its text stays text, as far as the picture has room for it.
  const int32_t boardWidth = std::min(300, width / 2), boardHeight = std::min(210, height / 2);
  const int32_t boardX = width - boardWidth - width / 16, boardY = height - boardHeight - height / 24;
  for (int32_t row = 0; row < height; ++row) {
    const auto y = static_cast<int32_t>(int64_t{row} * kCanvasHeight / height);
    for (int32_t column = 0; column < width; ++column) {
      const auto x = static_cast<int32_t>(int64_t{column} * kCanvasWidth / width);
      const int32_t across = column - boardX, down = row - boardY;
      const bool onBoard = across >= 0 && across < boardWidth && down >= 0 && down < boardHeight;
      const bool onPost = down >= boardHeight && std::abs(std::abs(across - boardWidth / 2) - boardWidth / 3) < 6;
      Colour colour;
      if (onBoard) {
        colour = boardAt(across, down, boardWidth, boardHeight);
      } else if (onPost) {
        colour = {74, 44, 22};
      } else if (y < kHorizon) {
        colour = landAt(x, y);
      } else if (y < kShore + noise(x, 0, 6) / 12) {
        colour = lakeAt(x, y);
      } else {
        colour = meadowAt(x, y, column, row);
      }
      uint8_t* pixel = picture.row(row) + ptrdiff_t{3} * column;
      pixel[0] = static_cast<uint8_t>(std::clamp(colour.r + grain(3 * column, row), 0, 255));
      pixel[1] = static_cast<uint8_t>(std::clamp(colour.g + grain(3 * column + 1, row), 0, 255));
      pixel[2] = static_cast<uint8_t>(std::clamp(colour.b + grain(3 * column + 2, row), 0, 255));
    }
  }
  return channels == 1 ? toGrey(picture) : picture;
}

}  // namespace sample
