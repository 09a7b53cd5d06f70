// A picture on the page that is not a file of a codec, but what a step on the way to one makes of the picture.
#pragma once

#include <string>
#include <vector>

#include "support/picture.h"

namespace demo {

struct Exhibit {
  std::string file;     // name of the PNG file
  std::string caption;  // what it shows, and how the check went
  sample::Picture picture;
  std::string failure;  // why the check failed, or empty
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

}  // namespace demo
