// What JPEG 2000's wavelets make of the picture.
#include <cmath>
#include <cstdio>

#include "exhibit.h"
#include "jpeg2000/bands.h"

namespace demo {

Section waveletBands(const sample::Picture& picture) {
  constexpr int32_t kLevels = 3;
  constexpr double kLeast = 50;  // dB of 9/7, whose values are rounded at each level
  Section section{
      "Bands of wavelets",
      "What three levels of JPEG 2000's wavelets make of the picture, before anything is quantised or coded. "
      "In the corner stands what is low in both directions, halved three times; the other bands hold details, "
      "shown three times as strong around mid grey.",
      {}};
  for (const auto wavelet : {sample::Wavelet::k53, sample::Wavelet::k97}) {
    const sample::Bands bands = sample::toBands(picture, wavelet, kLevels);
    const double psnr = sample::psnr(sample::fromBands(bands), picture);
    const bool reversible = wavelet == sample::Wavelet::k53;
    char caption[96];
    if (std::isinf(psnr)) {
      std::snprintf(caption, sizeof caption, "%s, put together again exactly", reversible ? "5/3" : "9/7");
    } else {
      std::snprintf(caption, sizeof caption, "%s, put together again at %.1f dB", reversible ? "5/3" : "9/7", psnr);
    }
    Exhibit exhibit{reversible ? "bands-53.png" : "bands-97.png", caption, sample::showBands(bands), ""};
    if (psnr < (reversible ? INFINITY : kLeast)) exhibit.failure = "the bands do not make the picture again";
    section.exhibits.push_back(std::move(exhibit));
  }
  return section;
}

}  // namespace demo
