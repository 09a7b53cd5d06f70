// Scan scripts: which components, coefficients and bits each scan of a file codes (T.81 B.2.3, G.1.1). As text, a scan
// is
//
//   components: Ss-Se, Ah, Al;
//
// with the components of the frame counted from 0 and separated by blanks or commas, the first and last coefficient in
// zig-zag order, and the bit above which the scan refines (0 for a first pass) and down to which it codes. Without the
// colon and what follows it, a scan codes its components whole: 0-63, 0, 0. A comment goes from # to the end of its
// line.
#pragma once

#include <string>
#include <string_view>

#include "jpeg/jpeg_format.h"

namespace sample {

struct JpegScanSpec {
  std::vector<size_t> components;  // index in the frame
  int32_t ss = 0, se = 63;         // the band; the predictor and 0 in a lossless file
  int32_t ah = 0, al = 0;          // successive approximation; al is the point transform in a lossless file

  bool operator==(const JpegScanSpec&) const = default;
};

using JpegScript = std::vector<JpegScanSpec>;

// Throws JpegError with the number of the scan.
JpegScript parseScript(std::string_view text);

// DC of all components first, coarse luma, chroma, then what refines them: a picture is recognised after a tenth of the
// file.
JpegScript usualProgression(JpegColour colour, size_t components);

// Whether the script needs a progressive frame: a scan that does not code its components whole.
bool isProgressive(const JpegScript& script);

// What scans have covered so far. Reader and writer allow the same.
class JpegCoverage {
 public:
  explicit JpegCoverage(JpegProcess process) : process_(process) {
    for (auto& bits : coded_) bits.fill(kNothing);
  }

  // Takes the scan on; or says why it must not stand here, and takes nothing on.
  std::string add(const JpegScanSpec& scan, const JpegFrame& frame);

  bool hasDc(size_t component) const { return coded_[component][0] != kNothing; }

 private:
  static constexpr int32_t kNothing = -1;
  JpegProcess process_;
  std::array<std::array<int32_t, kBlockSize>, 4> coded_;  // by component and coefficient: down to which bit
};

// Throws JpegError, with the number of the scan, for a script that no file of this frame may have.
void checkScript(const JpegScript& script, const JpegFrame& frame);

}  // namespace sample
