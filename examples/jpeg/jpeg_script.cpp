#include "jpeg/jpeg_script.h"

#include <charconv>

namespace sample {
namespace {

constexpr int32_t kMaxAl = 13;  // T.81 G.1.1.1.2

constexpr std::string_view kUsualYCbCr = R"(
  0 1 2: 0-0,  0, 1;
  0:     1-5,  0, 2;
  2:     1-63, 0, 1;
  1:     1-63, 0, 1;
  0:     6-63, 0, 2;
  0:     1-63, 2, 1;
  0 1 2: 0-0,  1, 0;
  2:     1-63, 1, 0;
  1:     1-63, 1, 0;
  0:     1-63, 1, 0;
)";

[[noreturn]] void failScan(size_t number, const std::string& why) {
  throw JpegError("scan " + std::to_string(number) + " of the script: " + why);
}

// The text of one scan, taken apart from the left.
class ScanText {
 public:
  ScanText(std::string_view text, size_t number) : rest_(text), number_(number) {}

  bool atEnd() {
    skipBlanks();
    return rest_.empty();
  }
  bool accept(char wanted) {
    if (atEnd() || rest_[0] != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void expect(char wanted) {
    if (!accept(wanted)) failScan(number_, std::string("'") + wanted + "' is missing before \"" + shown() + "\"");
  }
  int32_t number() {
    skipBlanks();
    int32_t value = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
    if (error != std::errc{} || value < 0) failScan(number_, "a number is missing before \"" + shown() + "\"");
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    return value;
  }

 private:
  void skipBlanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size())); }
  std::string shown() { return std::string(rest_.substr(0, 20)); }

  std::string_view rest_;
  size_t number_;
};

JpegScanSpec parseScan(ScanText text, size_t number) {
  JpegScanSpec scan;
  do {
    const int32_t component = text.number();
    if (component > 3) failScan(number, "a frame has components 0 to 3, not " + std::to_string(component));
    scan.components.push_back(static_cast<size_t>(component));
    text.accept(',');
  } while (!text.atEnd() && !text.accept(':'));
  if (text.atEnd()) return scan;
  scan.ss = text.number();
  text.expect('-');
  scan.se = text.number();
  text.expect(',');
  scan.ah = text.number();
  text.expect(',');
  scan.al = text.number();
  if (!text.atEnd()) failScan(number, "';' is missing behind Al");
  return scan;
}

std::string withoutComments(std::string_view text) {
  std::string kept;
  bool comment = false;
  for (const char c : text) {
    comment = c != '\n' && (comment || c == '#');
    if (!comment) kept += c;
  }
  return kept;
}

std::string nameOf(size_t component, int32_t coefficient) {
  return "coefficient " + std::to_string(coefficient) + " of component " + std::to_string(component);
}

}  // namespace

JpegScript parseScript(std::string_view text) {
  const std::string plain = withoutComments(text);
  JpegScript script;
  for (std::string_view rest = plain; !rest.empty();) {
    const size_t length = std::min(rest.find(';'), rest.size());
    const size_t number = script.size() + 1;
    if (ScanText scan(rest.substr(0, length), number); !scan.atEnd()) script.push_back(parseScan(scan, number));
    rest.remove_prefix(std::min(length + 1, rest.size()));
  }
  if (script.empty()) throw JpegError("the script has no scan");
  return script;
}

JpegScript usualProgression(JpegColour colour, size_t components) {
  if (colour == JpegColour::kYCbCr) return parseScript(kUsualYCbCr);
  JpegScanSpec all;
  for (size_t c = 0; c < components; ++c) all.components.push_back(c);
  const auto dc = [&](int32_t ah, int32_t al) { return JpegScanSpec{all.components, 0, 0, ah, al}; };
  JpegScript script{dc(0, 1)};
  const auto addEach = [&](int32_t ss, int32_t se, int32_t ah, int32_t al) {
    for (const size_t c : all.components) script.push_back({{c}, ss, se, ah, al});
  };
  addEach(1, 5, 0, 2);
  addEach(6, 63, 0, 2);
  addEach(1, 63, 2, 1);
  script.push_back(dc(1, 0));
  addEach(1, 63, 1, 0);
  return script;
}

bool isProgressive(const JpegScript& script) {
  return std::ranges::any_of(script,
                             [](const JpegScanSpec& s) { return s.ss > 0 || s.se < 63 || s.ah > 0 || s.al > 0; });
}

std::string JpegCoverage::add(const JpegScanSpec& scan, const JpegFrame& frame) {
  const auto& [components, ss, se, ah, al] = scan;
  int32_t blocks = 0;
  for (size_t i = 0; i < components.size(); ++i) {
    const size_t c = components[i];
    if (c >= frame.components.size())
      return "a file of " + std::to_string(frame.components.size()) + " components has no component " +
             std::to_string(c);
    if (i > 0 && c <= components[i - 1]) return "components must stand in the order of the frame, each once";
    blocks += frame.components[c].blocks();
  }
  if (components.size() > 1 && blocks > kMaxBlocksInMcu)
    return "its sampling factors give MCUs of " + std::to_string(blocks) + " blocks, more than 10";
  if (process_ == JpegProcess::kLossless) {
    if (ss < 1 || ss > 7) return "there is no predictor " + std::to_string(ss);
    if (al >= frame.precision) return "a point transform of all bits";
  } else if (process_ == JpegProcess::kSequential) {
    if (ss != 0 || se != 63 || ah != 0 || al != 0) return "a sequential scan codes 0-63, 0, 0";
  } else {
    if (ss > se || se > 63) return "the band must be within 0-63";
    if (ss == 0 && se > 0) return "DC and AC coefficients cannot share a scan";
    if (ss > 0 && components.size() > 1) return "AC coefficients of several components cannot share a scan";
    if (al > kMaxAl) return "Al is at most " + std::to_string(kMaxAl);
    if (ah > 0 && ah != al + 1) return "a scan refines by one bit: Ah must be 0 or Al + 1";
  }
  // A lossless scan is taken on like one of the DC coefficients.
  const int32_t first = process_ == JpegProcess::kLossless ? 0 : ss, last = process_ == JpegProcess::kLossless ? 0 : se;
  for (const size_t c : components) {
    if (first > 0 && !hasDc(c)) return "AC coefficients before DC of component " + std::to_string(c);
    for (int32_t k = first; k <= last; ++k) {
      const int32_t before = coded_[c][static_cast<size_t>(k)];
      if (ah == 0 && before != kNothing) return nameOf(c, k) + " has been coded before";
      if (ah > 0 && before == kNothing) return nameOf(c, k) + " is refined before its first pass";
      if (ah > 0 && before != ah)
        return nameOf(c, k) + " has been coded down to bit " + std::to_string(before) + ", not " + std::to_string(ah);
    }
  }
  for (const size_t c : components)
    for (int32_t k = first; k <= last; ++k) coded_[c][static_cast<size_t>(k)] = al;
  return {};
}

void checkScript(const JpegScript& script, const JpegFrame& frame) {
  JpegCoverage coverage(frame.process);
  for (size_t i = 0; i < script.size(); ++i)
    if (const std::string why = coverage.add(script[i], frame); !why.empty()) failScan(i + 1, why);
  for (size_t c = 0; c < frame.components.size(); ++c)
    if (!coverage.hasDc(c)) throw JpegError("the script leaves component " + std::to_string(c) + " out");
}

}  // namespace sample
