// Curves of PSNR over bits a pixel.
#pragma once

#include <string>
#include <vector>

namespace demo {

struct Curve {
  struct Point {
    double bitsPerPixel, psnr;
    std::string title;  // shown where the pointer rests on it
  };
  std::string name;
  std::vector<Point> points;  // of rising size
  bool broad = false;         // to be seen behind another curve
};

// An SVG, with the bits on a logarithmic axis. Its colours are those of the page, and the page's light ones elsewhere.
std::string rateChart(const std::vector<Curve>& curves);

}  // namespace demo
