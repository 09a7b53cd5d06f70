#include "page.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "jpeg/jpeg_writer.h"
#include "qlmjp.h"
#include "rate_chart.h"
#include "spots.h"

namespace demo {
namespace {

constexpr int32_t kSpotSize = 48;             // pixels, shown four times as large
constexpr int32_t kViewWidth = 1280;          // pictures beyond it are reduced for the page
constexpr size_t kEmbeddedFiles = 8'000'000;  // and so are all, if the files are larger than this in sum

constexpr char kStyle[] = R"css(
:root { color-scheme: light dark; --paper: #f6f5f1; --card: #fff; --ink: #1d1c1a; --soft: #6a675f; --line: #dedbd2;
  --accent: #1f6fb2; --good: #23754a; --bad: #b3261e; --s0: #77736a; --s1: #1f6fb2; --s2: #b4541a; --s3: #7a3fa0; --s4: #2b7d6e; --s5: #a02f5c; }
@media (prefers-color-scheme: dark) { :root { --paper: #151618; --card: #1e2023; --ink: #e9e7e2; --soft: #a19e96;
  --line: #35373b; --accent: #6db3ee; --good: #67c391; --bad: #ff8a80; --s0: #aaa69c; --s1: #6db3ee; --s2: #f0a066;
  --s3: #c79be8;
  --s4: #6cc9b7; --s5: #ef86ae; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--paper); color: var(--ink); font: 16px/1.5 system-ui, "Segoe UI", "DejaVu Sans",
  sans-serif; font-variant-numeric: tabular-nums; }
main { max-width: 1200px; margin: 0 auto; padding: 32px 20px 64px; }
h1 { font-size: 30px; line-height: 1.2; margin: 0 0 6px; letter-spacing: -.01em; }
h2 { font-size: 20px; margin: 44px 0 4px; }
h3 { font-size: 15px; margin: 22px 0 8px; }
p { margin: 0 0 14px; max-width: 78ch; }
.soft, figcaption, .soft td, .axis { color: var(--soft); }
.tiles { display: grid; grid-template-columns: repeat(auto-fit, minmax(170px, 1fr)); gap: 12px; margin: 22px 0 0; }
.tile, .card { background: var(--card); border: 1px solid var(--line); border-radius: 10px; padding: 14px 16px; }
.tile b { display: block; font-size: 26px; line-height: 1.2; font-weight: 650; }
.tile span { color: var(--soft); font-size: 14px; }
.good { color: var(--good); } .bad { color: var(--bad); }
.wipe { position: relative; overflow: hidden; border-radius: 10px; border: 1px solid var(--line); line-height: 0;
  --at: 50%; }
.wipe img { width: 100%; display: block; }
.wipe #over { position: absolute; inset: 0; clip-path: inset(0 0 0 var(--at)); }
.wipe svg { position: absolute; inset: 0; width: 100%; height: 100%; }
.wipe .rule { position: absolute; top: 0; bottom: 0; left: var(--at); width: 2px; margin-left: -1px;
  background: #fff; box-shadow: 0 0 3px #000; }
.wipe input { position: absolute; inset: 0; width: 100%; height: 100%; margin: 0; opacity: 0; cursor: ew-resize; }
.wipe .tag { position: absolute; top: 10px; padding: 5px 10px; border-radius: 6px; background: rgba(0, 0, 0, .62);
  color: #fff; font-size: 14px; line-height: 1.3; pointer-events: none; }
.controls { display: flex; gap: 12px; align-items: center; margin: 0 0 10px; flex-wrap: wrap; }
select { font: inherit; color: inherit; background: var(--card); border: 1px solid var(--line); border-radius: 7px;
  padding: 5px 9px; }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(440px, 100%), 1fr)); gap: 14px;
  margin-top: 14px; }
.charts svg { width: 100%; height: auto; display: block; overflow: visible; }
svg text { font-size: 13px; fill: var(--ink); } svg .axis { fill: var(--soft); }
.grid { display: grid; gap: 8px; }
.scroll { overflow-x: auto; }
figure { margin: 0; min-width: 0; }
figcaption { font-size: 13px; line-height: 1.35; padding: 4px 1px 6px; }
figure img { display: block; width: 100%; border-radius: 5px; }
.crop img { image-rendering: pixelated; width: 192px; border-radius: 3px; }
table { border-collapse: collapse; width: 100%; font-size: 13px; white-space: nowrap; }
th, td { padding: 5px 9px; text-align: right; border-bottom: 1px solid var(--line); }
th:first-child, td:first-child { text-align: left; }
thead th { font-weight: 600; color: var(--soft); } thead tr:first-child th { border-bottom: 0; padding-bottom: 0; }
tr.family td { font-weight: 650; padding-top: 16px; }
a { color: var(--accent); text-decoration-thickness: 1px; text-underline-offset: 2px; }
.group { border-left: 1px solid var(--line); }
)css";

// Shows the chosen file over the original, and moves the border between them. Without scripts the original stays.
constexpr char kScript[] = R"js(
const wipe = document.querySelector('.wipe'), pick = document.getElementById('pick');
const over = document.getElementById('over'), label = document.getElementById('label');
const slide = wipe.querySelector('input');
const show = () => {
  over.src = document.getElementById('view' + pick.value).src;
  label.textContent = pick.selectedOptions[0].textContent;
};
slide.addEventListener('input', () => wipe.style.setProperty('--at', slide.value + '%'));
pick.addEventListener('change', show);
show();
for (const e of document.querySelectorAll('[data-script]')) e.hidden = false;
)js";

std::string fixed(double value, int32_t digits) {
  if (std::isinf(value)) return "lossless";
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

std::string grouped(size_t value) {
  const std::string digits = std::to_string(value);
  std::string text;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i && (digits.size() - i) % 3 == 0) text += ',';
    text += digits[i];
  }
  return text;
}

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '<') {
      out += "&lt;";
    } else if (c == '&') {
      out += "&amp;";
    } else if (c == '"') {
      out += "&quot;";
    } else {
      out += c;
    }
  }
  return out;
}

std::string dataUri(const std::string& mime, const Bytes& bytes) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out = "data:" + mime + ";base64,";
  out.reserve(out.size() + bytes.size() * 4 / 3 + 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](size_t k) { return i + k < bytes.size() ? uint32_t{bytes[i + k]} : 0u; };
    const uint32_t three = byte(0) << 16 | byte(1) << 8 | byte(2);
    out += kDigits[three >> 18];
    out += kDigits[three >> 12 & 63];
    out += i + 1 < bytes.size() ? kDigits[three >> 6 & 63] : '=';
    out += i + 2 < bytes.size() ? kDigits[three & 63] : '=';
  }
  return out;
}

std::string pngUri(const sample::Picture& picture) { return dataUri("image/png", sample::encodePng(picture)); }

// Means of squares of factor x factor pixels, coded nearly without loss.
std::string reducedUri(const sample::Picture& picture, int32_t factor) {
  sample::Picture small(std::max(1, picture.width / factor), std::max(1, picture.height / factor), picture.channels);
  for (int32_t y = 0; y < small.height; ++y) {
    for (int32_t x = 0; x < small.step(); ++x) {
      const int32_t column = x / picture.channels * factor, channel = x % picture.channels;
      int32_t sum = 0, count = 0;
      for (int32_t v = y * factor; v < std::min((y + 1) * factor, picture.height); ++v)
        for (int32_t u = column; u < std::min(column + factor, picture.width); ++u, ++count)
          sum += picture.row(v)[u * picture.channels + channel];
      small.row(y)[x] = static_cast<uint8_t>((sum + count / 2) / count);
    }
  }
  return dataUri("image/jpeg", sample::writeJpeg(small, {.quality = 92, .subsampling = sample::Subsampling::k444}));
}

std::string processorName() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);)
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  return "unknown processor";
}

std::string today() {
  char text[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(text, sizeof text, "%Y-%m-%d", std::localtime(&now));
  return text;
}

// The results of one codec family: consecutive, in rising quality.
struct Family {
  std::string name;
  std::vector<const Result*> results;
};

std::vector<Family> families(const std::vector<Result>& results) {
  std::vector<Family> found;
  for (const Result& result : results) {
    if (found.empty() || found.back().name != result.codec->family) found.push_back({result.codec->family, {}});
    found.back().results.push_back(&result);
  }
  return found;
}

std::string caption(const Result& r) {
  return r.codec->setting + " · " + fixed(r.bitsPerPixel, 2) + " bit/pixel · " + fixed(r.psnr, 2) + " dB";
}

// Megapixels a second over all files of a family, which is the harmonic mean of their speeds.
double overall(const Family& family, Speed Result::*work, double Speed::*runner) {
  double time = 0;
  for (const Result* r : family.results) time += 1 / (r->*work.*runner);
  return static_cast<double>(family.results.size()) / time;
}

// One curve a family of files of rising size.
std::string familiesChart(const std::vector<Family>& all) {
  std::vector<Curve> curves;
  for (const Family& family : all) {
    // Formats of a fixed rate have no curve, and lossless files no place on one.
    Curve curve{family.name, {}};
    for (const Result* r : family.results)
      if (!std::isinf(r->psnr)) curve.points.push_back({r->bitsPerPixel, r->psnr, family.name + ", " + caption(*r)});
    const bool rises = std::ranges::adjacent_find(curve.points, std::greater_equal(), &Curve::Point::bitsPerPixel) ==
                       curve.points.end();
    if (curve.points.size() > 1 && rises) curves.push_back(std::move(curve));
  }
  return rateChart(curves);
}

// Two bars a family and way: ours and the independent library's.
std::string speedChart(const std::vector<Family>& all) {
  constexpr double kWidth = 540, kLeft = 172, kRight = 110, kBar = 11, kPair = 34;
  double most = 0;
  struct Line {
    std::string name;
    double ours, peer;
  };
  std::vector<Line> lines;
  for (const Family& family : all) {
    for (const auto& [way, work] : {std::pair{" encode", &Result::encode}, std::pair{" decode", &Result::decode}}) {
      lines.push_back({family.name + way, overall(family, work, &Speed::ours), overall(family, work, &Speed::peer)});
      most = std::max({most, lines.back().ours, lines.back().peer});
    }
  }
  const double height = kPair * static_cast<double>(lines.size()) + 34;
  const double scale = (kWidth - kLeft - kRight) / most;
  std::ostringstream svg;
  svg << "<svg viewBox=\"0 0 " << kWidth << ' ' << height << "\" role=\"img\" aria-label=\"Megapixels a second\">";
  double y = 4;
  for (const Line& line : lines) {
    svg << "<text text-anchor=\"end\" x=\"" << kLeft - 10 << "\" y=\"" << y + 16 << "\">" << line.name << "</text>"
        << "<rect rx=\"2\" fill=\"var(--s1)\" x=\"" << kLeft << "\" y=\"" << y << "\" height=\"" << kBar
        << "\" width=\"" << line.ours * scale << "\"/><rect rx=\"2\" fill=\"var(--s0)\" opacity=\".55\" x=\"" << kLeft
        << "\" y=\"" << y + kBar + 1 << "\" height=\"" << kBar << "\" width=\"" << line.peer * scale << "\"/><text x=\""
        << kLeft + std::max(line.ours, line.peer) * scale + 8 << "\" y=\"" << y + 16 << "\">" << fixed(line.ours, 0)
        << " <tspan class=\"axis\">";
    if (line.peer > 0) svg << "/ " << fixed(line.peer, 0) << " = " << fixed(line.ours / line.peer, 2);
    svg << "</tspan></text>";
    y += kPair;
  }
  svg << "<rect rx=\"2\" fill=\"var(--s1)\" x=\"" << kLeft << "\" y=\"" << y + 12 << "\" width=\"14\" height=\"" << kBar
      << "\"/><text class=\"axis\" x=\"" << kLeft + 20 << "\" y=\"" << y + 22
      << "\">qlmjp</text><rect rx=\"2\" opacity=\".55\" "
      << "fill=\"var(--s0)\" x=\"" << kLeft + 80 << "\" y=\"" << y + 12 << "\" width=\"14\" height=\"" << kBar
      << "\"/><text class=\"axis\" x=\"" << kLeft + 100 << "\" y=\"" << y + 22 << "\">independent library</text></svg>";
  return svg.str();
}

void writeTable(std::ostream& out, const std::vector<Family>& all) {
  out << "<div class=\"scroll card\"><table><thead><tr><th></th><th></th><th></th><th class=\"group\" colspan=\"3\">"
         "PSNR in dB, decoded by</th><th class=\"group\" colspan=\"3\">encode, megapixel/s</th><th class=\"group\" "
         "colspan=\"3\">decode, megapixel/s</th><th class=\"group\"></th></tr><tr><th>file</th><th>bytes</th>"
         "<th>bit/pixel</th><th class=\"group\">qlmjp</th><th>independent</th><th>max diff.</th>"
         "<th class=\"group\">qlmjp</th><th>independent</th><th>ratio</th><th class=\"group\">qlmjp</th>"
         "<th>independent</th><th>ratio</th><th class=\"group\">check</th></tr></thead><tbody>";
  const auto speed = [&out](const Speed& s) {
    const bool raced = s.peer > 0;
    out << "<td class=\"group\">" << fixed(s.ours, 1) << "</td><td>" << (raced ? fixed(s.peer, 1) : "–") << "</td><td>"
        << (raced ? fixed(s.ratio(), 2) : "–") << "</td>";
  };
  for (const Family& family : all) {
    out << "<tr class=\"family\"><td colspan=\"13\">" << family.name << " <span class=\"soft\">against "
        << family.results.front()->codec->peer << "</span></td></tr>";
    for (const Result* r : family.results) {
      out << "<tr><td><a href=\"" << r->codec->file << "\">" << r->codec->file << "</a></td><td>"
          << grouped(r->file.size()) << "</td><td>" << fixed(r->bitsPerPixel, 2) << "</td><td class=\"group\">"
          << fixed(r->psnr, 3) << "</td><td>" << fixed(r->peerPsnr, 3) << "</td><td>" << r->maxDifference << "</td>";
      speed(r->encode);
      speed(r->decode);
      out << "<td class=\"group " << (r->failure.empty() ? "good\">passed" : "bad\">" + escaped(r->failure))
          << "</td></tr>";
    }
  }
  out << "</tbody></table></div>";
}

void tile(std::ostream& out, const std::string& value, const std::string& what) {
  out << "<div class=\"tile\"><b>" << value << "</b><span>" << what << "</span></div>";
}

void writeTiles(std::ostream& out, const std::vector<Result>& results) {
  const auto passed = std::ranges::count_if(results, [](const Result& r) { return r.failure.empty(); });
  double psnr = 0;
  for (const Result& r : results) psnr = std::max(psnr, r.psnrDifference());
  // The geometric mean of the ratios, of files whose peer is a library and not a program.
  const auto meanRatio = [&](Speed Result::*work) {
    double logs = 0;
    int count = 0;
    for (const Result& r : results)
      if ((r.*work).peer > 0) logs += std::log((r.*work).ratio()), ++count;
    return fixed(std::exp(logs / std::max(1, count)), 2) + " ×";
  };
  out << "<div class=\"tiles\">";
  tile(out, std::to_string(passed) + " of " + std::to_string(results.size()), "files stand the check");
  tile(out, fixed(psnr, 3) + " dB", "largest difference in PSNR between the two decoders");
  tile(out, meanRatio(&Result::encode), "encoding speed against the independent library, mean");
  tile(out, meanRatio(&Result::decode), "decoding speed against the independent library, mean");
  out << "</div>";
}

sample::Picture asColour(const sample::Picture& picture) {
  if (picture.channels == 3) return picture;
  sample::Picture colour(picture.width, picture.height, 3);
  for (size_t i = 0; i < colour.pixels.size(); ++i) colour.pixels[i] = picture.pixels[i / 3];
  return colour;
}

void writeCrops(std::ostream& out, const std::vector<Spot>& spots, const std::vector<Family>& all,
                const sample::Picture& picture) {
  const auto figure = [&out](const Spot& spot, const sample::Picture& from, const std::string& text) {
    sample::Picture part = sample::crop(from, spot.x, spot.y, spot.size, spot.size);
    out << "<figure class=\"crop\"><img alt=\"\" src=\"" << pngUri(part) << "\"><figcaption>" << text
        << "</figcaption></figure>";
    return part;
  };
  const sample::Picture grey = picture.channels == 1 ? picture : sample::toGrey(picture);
  for (size_t i = 0; i < spots.size(); ++i) {
    const Spot& spot = spots[i];
    out << "<h3>" << i + 1 << ". " << spot.why << " <span class=\"soft\">at " << spot.x << ", " << spot.y
        << "</span></h3><div class=\"scroll\">";
    for (const Family& family : all) {
      const sample::Picture& source = family.results.front()->codec->channels == 1 ? grey : picture;
      out << "<div class=\"grid\" style=\"grid-template-columns:repeat(" << family.results.size() + 1 << ",192px)\">";
      const sample::Picture wanted = figure(spot, source, family.name + ": original");
      for (const Result* r : family.results) {
        const sample::Picture part = sample::crop(r->decoded, spot.x, spot.y, spot.size, spot.size);
        figure(spot, r->decoded, r->codec->setting + " · " + fixed(sample::psnr(wanted, part), 1) + " dB here");
      }
      out << "</div>";
    }
    out << "</div>";
  }
}

}  // namespace

std::string page(const std::string& name, const sample::Picture& picture, const std::vector<Result>& results,
                 const std::vector<Section>& sections) {
  const std::vector<Family> all = families(results);
  size_t bytes = 0;
  for (const Result& r : results) bytes += r.file.size();
  const int32_t factor = std::max((picture.width + kViewWidth - 1) / kViewWidth, bytes > kEmbeddedFiles ? 2 : 1);

  // The file that lost most is the one to look at first.
  size_t worst = 0;
  for (size_t i = 0; i < results.size(); ++i)
    if (results[i].codec->channels == picture.channels &&
        (results[worst].codec->channels != picture.channels || results[i].psnr < results[worst].psnr))
      worst = i;
  const std::vector<Spot> spots = findSpots(asColour(picture), asColour(results[worst].decoded), kSpotSize);

  std::ostringstream out;
  out << "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><meta name=\"viewport\" "
         "content=\"width=device-width\"><title>qlmjp: "
      << escaped(name) << "</title><style>" << kStyle << "</style></head><body><main><h1>" << escaped(name)
      << ", coded and back</h1><p class=\"soft\">" << picture.width << " × " << picture.height << " pixels, "
      << results.size() << " files by " << qlmjGetLibVersion()->name << " " << qlmjGetLibVersion()->version
      << ", each read by an independent decoder as well. " << processorName() << ", one core, " << today() << ".</p>";
  writeTiles(out, results);

  out << "<h2>Side by side</h2><p>Left of the line the original, right of it the coded file. The numbered squares are "
         "magnified below.</p><div class=\"controls\" data-script hidden><label for=\"pick\">File</label><select "
         "id=\"pick\">";
  for (size_t i = 0; i < results.size(); ++i)
    out << "<option value=\"" << i << "\"" << (i == worst ? " selected" : "") << ">" << results[i].codec->family << ", "
        << caption(results[i]) << "</option>";
  out << "</select><span class=\"soft\">Drag the line across the picture.</span></div><div class=\"wipe\"><img "
         "alt=\"original\" src=\""
      << (factor == 1 ? pngUri(picture) : reducedUri(picture, factor))
      << "\"><img id=\"over\" alt=\"\" data-script hidden>"
      << "<svg viewBox=\"0 0 " << picture.width << ' ' << picture.height << "\" aria-hidden=\"true\">";
  for (size_t i = 0; i < spots.size(); ++i) {
    const Spot& s = spots[i];
    for (const auto& [colour, width] : {std::pair{"#000", 5}, std::pair{"#ffe14d", 2}})
      out << "<rect fill=\"none\" stroke=\"" << colour << "\" stroke-width=\"" << width * factor << "\" x=\"" << s.x
          << "\" y=\"" << s.y << "\" width=\"" << s.size << "\" height=\"" << s.size << "\"/>";
    out << "<text x=\"" << s.x + s.size + 7 * factor << "\" y=\"" << s.y + 18 * factor << "\" style=\"font:700 "
        << 20 * factor << "px sans-serif;fill:#ffe14d;stroke:#000;stroke-width:" << 4 * factor
        << ";paint-order:stroke\">" << i + 1 << "</text>";
  }
  out << "</svg><div class=\"rule\" data-script hidden></div><div class=\"tag\" style=\"left:10px\">original</div>"
         "<div class=\"tag\" id=\"label\" style=\"right:10px\" data-script hidden></div><input type=\"range\" "
         "min=\"0\" "
         "max=\"100\" step=\"0.1\" value=\"50\" aria-label=\"border between original and coded file\" data-script "
         "hidden>"
         "</div>";

  out << "<div class=\"charts\"><div class=\"card\"><h3 style=\"margin-top:0\">Quality for the size</h3>"
      << familiesChart(all) << "</div><div class=\"card\"><h3 style=\"margin-top:0\">Speed in megapixels a second</h3>"
      << speedChart(all) << "</div></div>";

  out << "<h2>Every file</h2><p>Bits and speeds count the pixels of the picture; a speed is the best of several "
         "repetitions from memory to memory on one core, in processor time. Grey files are compared with the grey "
         "picture. The check "
         "asks that the independent decoder reads the file without a warning and that its PSNR differs by at most "
      << results.front().codec->tolerance
      << " dB, or its error by a quarter of a step. It is told to bring chroma to full size as the sample codec does. "
         "Single "
         "samples differ by more beside strong "
         "colour edges at low quality, since the sample codec converts colours before it clamps to 8 bits.</p>";
  writeTable(out, all);

  if (!spots.empty()) {
    out << "<h2>Magnified</h2><p>Squares of " << kSpotSize << " × " << kSpotSize
        << " pixels, four times as large, chosen by the picture itself: the errors are those of "
        << results[worst].codec->file << ".</p>";
    writeCrops(out, spots, all, picture);
  }

  out << "<h2>All pictures</h2><p>"
      << (factor == 1 ? std::string("Each picture here is the file itself, shown by the browser's own decoder.")
                      : "Reduced " + std::to_string(factor) + ":1 for this page; the links lead to the files.")
      << "</p>";
  size_t index = 0;
  for (const Family& family : all) {
    out << "<h3>" << family.name << "</h3><div class=\"grid\" style=\"grid-template-columns:repeat("
        << std::max<size_t>(4, family.results.size()) << ",minmax(0,1fr))\">";
    for (const Result* r : family.results) {
      const std::string uri =
          factor == 1 && !r->codec->mime.empty() ? dataUri(r->codec->mime, r->file) : reducedUri(r->decoded, factor);
      out << "<figure><a href=\"" << r->codec->file << "\"><img id=\"view" << index++ << "\" alt=\"" << r->codec->file
          << "\" src=\"" << uri << "\"></a><figcaption>" << caption(*r) << "</figcaption></figure>";
    }
    out << "</div>";
  }
  for (const Section& section : sections) {
    out << "<h2>" << section.heading << "</h2><p>" << section.text << "</p><div class=\"charts\">";
    for (const Exhibit& exhibit : section.exhibits)
      if (exhibit.drawing.empty())
        out << "<figure><a href=\"" << exhibit.file << "\"><img alt=\"" << exhibit.file << "\" src=\""
            << reducedUri(exhibit.picture, exhibit.picture.width > 1200 ? factor : 1) << "\"></a><figcaption>"
            << exhibit.caption << "</figcaption></figure>";
      else
        out << "<figure class=\"card\">" << exhibit.drawing << "<figcaption>" << exhibit.caption
            << "</figcaption></figure>";
    out << "</div>";
  }
  out << "</main><script>" << kScript << "</script></body></html>\n";
  return out.str();
}

}  // namespace demo
