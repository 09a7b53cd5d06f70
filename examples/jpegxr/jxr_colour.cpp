#include "jpegxr/jxr_colour.h"

#include <algorithm>

namespace sample {
namespace {

constexpr int32_t kScale = 3;  // bits that scaled files have more

// What is added to luma, and then shifted out.
struct Scaling {
  explicit Scaling(const JxrHeader& header)
      : scale(header.scaled ? kScale : 0), shift(header.shift), most((1 << header.bits) - 1) {
    middle = ((1 << (header.bits - 1)) >> shift) << scale;
    // Pictures of 8 bits round a half down, and those of 16 bits up.
    rounding = header.scaled ? (1 << (kScale - 1)) - (header.bits == 8) : 0;
  }
  int32_t scale, shift, most, middle, rounding;
};

template <typename Sample>
void greyRow(const int32_t* y, const Scaling& s, Sample* pixels, int32_t width) {
  const int32_t bias = s.middle + s.rounding;
  for (int32_t x = 0; x < width; ++x)
    pixels[x] = static_cast<Sample>(std::clamp(((y[x] + bias) >> s.scale) << s.shift, 0, s.most));
}

// By short stretches, for which the compiler has vectors: first the colours apart, then their samples in turn.
template <typename Sample>
void colourRow(const int32_t* y, const int32_t* u, const int32_t* v, const Scaling& s, Sample* pixels, int32_t width) {
  constexpr int32_t kStretch = 64;
  const int32_t bias = s.middle + s.rounding;
  for (int32_t from = 0; from < width; from += kStretch) {
    const int32_t count = std::min(kStretch, width - from);
    std::array<Sample, kStretch> red, green, blue;
    const auto sample = [&](int32_t value) {
      return static_cast<Sample>(std::clamp((value >> s.scale) << s.shift, 0, s.most));
    };
    for (int32_t i = 0; i < count; ++i) {
      const int32_t g = y[from + i] + bias - (-u[from + i] >> 1);
      const int32_t r = g - u[from + i] - ((v[from + i] + 1) >> 1);
      red[static_cast<size_t>(i)] = sample(r);
      green[static_cast<size_t>(i)] = sample(g);
      blue[static_cast<size_t>(i)] = sample(v[from + i] + r);
    }
    Sample* to = pixels + 3 * from;
    for (int32_t i = 0; i < count; ++i) {
      to[3 * i] = red[static_cast<size_t>(i)];
      to[3 * i + 1] = green[static_cast<size_t>(i)];
      to[3 * i + 2] = blue[static_cast<size_t>(i)];
    }
  }
}

// Rows of chroma at full size.
class ChromaRows {
 public:
  ChromaRows(const JxrHeader& header, const JxrPlane& plane) : components_(header.components), plane_(plane) {
    if (components_ == JxrComponents::k420) half_.resize(static_cast<size_t>(plane.width));
    if (components_ != JxrComponents::k444) whole_.resize(2 * static_cast<size_t>(plane.width));
  }

  const int32_t* row(int32_t y) {
    if (components_ == JxrComponents::k444) return plane_.at(0, y);
    const int32_t* half = plane_.at(0, components_ == JxrComponents::k422 ? y : y / 2);
    if (components_ == JxrComponents::k420 && y % 2 == 1 && y / 2 + 1 < plane_.height) {
      const int32_t* next = half + plane_.width;
      for (int32_t x = 0; x < plane_.width; ++x) half_[static_cast<size_t>(x)] = (half[x] + next[x] + 1) >> 1;
      half = half_.data();
    }
    int32_t* whole = whole_.data();
    for (int32_t x = 0; x + 1 < plane_.width; ++x) {
      whole[2 * x] = half[x];
      whole[2 * x + 1] = (half[x] + half[x + 1] + 1) >> 1;
    }
    whole[2 * plane_.width - 2] = whole[2 * plane_.width - 1] = half[plane_.width - 1];
    return whole;
  }

 private:
  JxrComponents components_;
  const JxrPlane& plane_;
  std::vector<int32_t> half_, whole_;
};

template <typename P>
void toPixels(const JxrHeader& header, const JxrPlanes& planes, P& picture) {
  const Scaling scaling(header);
  const int32_t left = header.left, top = header.top;
  if (header.components == JxrComponents::kY) {
    for (int32_t y = 0; y < picture.height; ++y)
      greyRow(planes[0].full.at(left, top + y), scaling, picture.row(y), picture.width);
    return;
  }
  ChromaRows u(header, planes[1].full), v(header, planes[2].full);
  for (int32_t y = 0; y < picture.height; ++y)
    colourRow(planes[0].full.at(left, top + y), u.row(top + y) + left, v.row(top + y) + left, scaling, picture.row(y),
              picture.width);
}

// Means of five samples, weighted 1, 4, 6, 4 and 1, around each second one; beyond the ends the row is mirrored.
int32_t smooth(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e) { return (a + 4 * (b + d) + 6 * c + e + 8) >> 4; }

void halveRow(const int32_t* row, int32_t width, int32_t* half) {
  for (int32_t x = 0; x < width; x += 2) {
    const int32_t before = x > 0 ? x - 2 : 2, after = x + 2 < width ? x + 2 : x;
    half[x / 2] = smooth(row[before], row[x > 0 ? x - 1 : 1], row[x], row[x + 1], row[after]);
  }
}

void halveRows(const JxrPlane& plane, JxrPlane& half) {
  for (int32_t y = 0; y < plane.height; y += 2) {
    const int32_t *a = plane.at(0, y > 0 ? y - 2 : 2), *b = plane.at(0, y > 0 ? y - 1 : 1), *c = plane.at(0, y),
                  *d = plane.at(0, y + 1), *e = plane.at(0, y + 2 < plane.height ? y + 2 : y);
    int32_t* to = half.at(0, y / 2);
    for (int32_t x = 0; x < plane.width; ++x) to[x] = smooth(a[x], b[x], c[x], d[x], e[x]);
  }
}

template <typename P>
void toPlanes(const JxrHeader& header, const P& picture, JxrPlanes& planes) {
  const Scaling s(header);
  const bool colour = header.components != JxrComponents::kY;
  const bool halve = isSubsampled(header.components, 1), halveHeight = header.components == JxrComponents::k420;
  const int32_t width = picture.width, whole = planes[0].full.width, high = planes[0].full.height;
  std::array<std::vector<int32_t>, 2> chromaRow;
  std::array<JxrPlane, 2> wideChroma;  // at half its width alone
  for (size_t c = 0; c < 2; ++c) {
    if (halve) chromaRow[c].resize(static_cast<size_t>(whole));
    if (halveHeight) wideChroma[c].resize(whole / 2, high);
  }
  for (int32_t row = 0; row < high; ++row) {
    const auto* pixels = picture.row(std::min(row, picture.height - 1));
    int32_t* y = planes[0].full.at(0, row);
    if (!colour) {
      for (int32_t x = 0; x < width; ++x) y[x] = ((pixels[x] >> s.shift) << s.scale) - s.middle;
      std::fill(y + width, y + whole, y[width - 1]);
      continue;
    }
    std::array<int32_t*, 2> chroma;
    for (size_t c = 0; c < 2; ++c) chroma[c] = halve ? chromaRow[c].data() : planes[c + 1].full.at(0, row);
    auto [u, v] = chroma;
    for (int32_t x = 0; x < width; ++x) {
      const auto sample = [&](int32_t channel) { return (int32_t{pixels[3 * x + channel]} >> s.shift) << s.scale; };
      const int32_t red = sample(0), green = sample(1), blue = sample(2);
      v[x] = blue - red;
      u[x] = green - red - ((v[x] + 1) >> 1);
      y[x] = green + (-u[x] >> 1) - s.middle;
    }
    for (int32_t* plane : {y, u, v}) std::fill(plane + width, plane + whole, plane[width - 1]);
    if (halve)
      for (size_t c = 0; c < 2; ++c)
        halveRow(chroma[c], whole, (halveHeight ? wideChroma[c] : planes[c + 1].full).at(0, row));
  }
  if (halveHeight)
    for (size_t c = 0; c < 2; ++c) halveRows(wideChroma[c], planes[c + 1].full);
}

}  // namespace

void planesToPixels(const JxrHeader& header, const JxrPlanes& planes, Picture& picture) {
  toPixels(header, planes, picture);
}
void planesToPixels(const JxrHeader& header, const JxrPlanes& planes, Picture16& picture) {
  toPixels(header, planes, picture);
}
void pixelsToPlanes(const JxrHeader& header, const Picture& picture, JxrPlanes& planes) {
  toPlanes(header, picture, planes);
}
void pixelsToPlanes(const JxrHeader& header, const Picture16& picture, JxrPlanes& planes) {
  toPlanes(header, picture, planes);
}

}  // namespace sample
