#include "rate_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

namespace demo {
namespace {

constexpr const char* kColours[] = {"#77736a", "#1f6fb2", "#b4541a", "#7a3fa0", "#2b7d6e", "#a02f5c"};

}  // namespace

std::string rateChart(const std::vector<Curve>& curves) {
  constexpr double kWidth = 540, kHeight = 340, kLeft = 44, kRight = 84, kTop = 12, kBottom = 46;
  double lowRate = 1e9, highRate = 0, lowPsnr = 1e9, highPsnr = 0;
  for (const Curve& curve : curves) {
    for (const Curve::Point& p : curve.points) {
      lowRate = std::min(lowRate, p.bitsPerPixel), highRate = std::max(highRate, p.bitsPerPixel);
      lowPsnr = std::min(lowPsnr, p.psnr), highPsnr = std::max(highPsnr, p.psnr);
    }
  }
  if (highRate == 0) return "";
  lowRate = std::exp2(std::floor(std::log2(lowRate) * 2) / 2),
  highRate = std::exp2(std::ceil(std::log2(highRate) * 2) / 2);
  lowPsnr = std::floor(lowPsnr / 2) * 2, highPsnr = std::ceil(highPsnr / 2) * 2;
  const auto px = [&](double rate) {
    return kLeft + (kWidth - kLeft - kRight) * std::log2(rate / lowRate) / std::log2(highRate / lowRate);
  };
  const auto py = [&](double psnr) {
    return kHeight - kBottom - (kHeight - kTop - kBottom) * (psnr - lowPsnr) / (highPsnr - lowPsnr);
  };
  std::ostringstream svg;
  svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" font-family=\"sans-serif\" font-size=\"13\" viewBox=\"0 0 "
      << kWidth << ' ' << kHeight << "\" role=\"img\" aria-label=\"PSNR over bits a pixel\">";
  const int32_t step = highPsnr - lowPsnr > 12 ? 4 : 2;
  for (auto psnr = static_cast<int32_t>(lowPsnr); psnr <= highPsnr; psnr += step)
    svg << "<path stroke=\"var(--line, #dedbd2)\" d=\"M" << kLeft << ' ' << py(psnr) << 'H' << kWidth - kRight
        << "\"/><text class=\"axis\" text-anchor=\"end\" x=\"" << kLeft - 8 << "\" y=\"" << py(psnr) + 4 << "\">"
        << psnr << "</text>";
  for (const double rate : {0.0625, 0.125, 0.25, 0.5, 1.0, 2.0, 4.0, 8.0, 16.0})
    if (rate >= lowRate && rate <= highRate)
      svg << "<path stroke=\"var(--line, #dedbd2)\" d=\"M" << px(rate) << ' ' << kHeight - kBottom
          << "v6\"/><text class=\"axis\" text-anchor=\"middle\" x=\"" << px(rate) << "\" y=\"" << kHeight - kBottom + 20
          << "\">" << rate << "</text>";
  svg << "<text class=\"axis\" text-anchor=\"middle\" x=\"" << (kLeft + kWidth - kRight) / 2 << "\" y=\"" << kHeight - 6
      << "\">bits a pixel</text><text class=\"axis\" x=\"0\" y=\"" << kHeight - kBottom + 20 << "\">dB</text>";
  // The names stand at the ends of the curves, moved apart where they would touch.
  std::vector<double> taken;
  for (size_t i = 0; i < curves.size(); ++i) {
    const size_t c = i % std::size(kColours);
    const std::string colour = "var(--s" + std::to_string(c) + ", " + kColours[c] + ")";
    std::ostringstream line, dots;
    double endX = 0, endY = 0;
    for (const Curve::Point& p : curves[i].points) {
      endX = px(p.bitsPerPixel), endY = py(p.psnr);
      line << (line.tellp() == 0 ? 'M' : 'L') << endX << ' ' << endY;
      dots << "<circle cx=\"" << endX << "\" cy=\"" << endY << "\" r=\"" << (curves[i].broad ? 7 : 4) << "\" fill=\""
           << colour << "\"><title>" << p.title << "</title></circle>";
    }
    double nameY = endY + 4;
    while (std::ranges::any_of(taken, [&](double y) { return std::abs(y - nameY) < 15; })) nameY += 1;
    taken.push_back(nameY);
    svg << "<path fill=\"none\" stroke-width=\"" << (curves[i].broad ? 7 : 2) << "\" stroke=\"" << colour << "\" d=\""
        << line.str() << "\"/>" << dots.str() << "<text x=\"" << endX + 10 << "\" y=\"" << nameY
        << "\" style=\"fill:" << colour << "\">" << curves[i].name << "</text>";
  }
  svg << "</svg>";
  return svg.str();
}

}  // namespace demo
