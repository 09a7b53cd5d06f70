// A picture or a drawing on the page that is not a file of a codec: what a step on the way to one makes of the picture,
// or what several files say together.
#pragma once

#include <string>
#include <vector>

#include "support/picture.h"

namespace demo {

struct Exhibit {
  std::string file;     // name of the PNG or SVG file
  std::string caption;  // what it shows, and how the check went
  sample::Picture picture;
  std::string failure;       // why the check failed, or empty
  std::string drawing = {};  // an SVG in place of the picture
};

// Exhibits of one kind, with what is to be said of them.
struct Section {
  std::string heading, text;
  std::vector<Exhibit> exhibits;
};

// A JPEG file decoded at a half, a quarter and an eighth of its size. The check: each pixel is near the mean of those
// that it stands for.
Section reducedSizes(const sample::Picture& picture);

// The bands of three levels under each wavelet of JPEG 2000. The check: 5/3 makes the picture again exactly, 9/7
// almost.
Section waveletBands(const sample::Picture& picture);

// What JPEG 2000 keeps of the picture at some rates, beside OpenJPEG's files of the same length. The check: ours are
// hardly worse.
Section jpeg2000Rates(const sample::Picture& picture);

}  // namespace demo
