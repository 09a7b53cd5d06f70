// JPEG 2000 writer (T.800): JP2 files and bare codestreams, reversible (5/3, RCT) or not (9/7, ICT), in tiles and
// quality layers. Grey, RGB, CMYK and pictures of two channels, of 1 to 16 bits a sample.
#pragma once

#include <functional>

#include "jpeg2000/layers.h"
#include "support/picture.h"

namespace sample {

enum class Jpeg2000Container { kJp2, kCodestream };

struct Jpeg2000WriteOptions {
  Jpeg2000Container container = Jpeg2000Container::kJp2;
  bool reversible = true;  // 5/3 with RCT, else 9/7 with ICT
  std::vector<Jpeg2000Layer> layers = {Jpeg2000Layer{}};
  int32_t levels = 5;                         // of the wavelet, 0 to 32
  int32_t tileWidth = 0, tileHeight = 0;      // 0: as large as the picture
  int32_t blockWidth = 64, blockHeight = 64;  // powers of 2 from 4 to 1024, 4096 samples at most
  int32_t blockStyle = 0;                     // of j2k::BlockStyle
  j2k::Progression progression = j2k::Progression::kLrcp;
  // Powers of 2 from 1 to 32768, of the largest resolution on; the last ones hold for those that follow.
  struct Precinct {
    int32_t width, height;
  };
  std::vector<Precinct> precincts = {};
  bool sop = false, eph = false;  // markers before each packet and behind its header
  double step = 0.5;              // of the quantiser of 9/7, as an error of the picture
  int32_t threads = 1;            // 0: as many as OpenMP takes. The bytes of the file do not depend on it
  std::function<void(int32_t done, int32_t total)> progress = {};  // after code-blocks, on one thread
};

// The bytes of a file. Throws Jpeg2000Error where the picture or the options are out of range.
std::vector<uint8_t> writeJpeg2000(const Picture& picture, const Jpeg2000WriteOptions& options = {});
std::vector<uint8_t> writeJpeg2000(const Picture16& picture, const Jpeg2000WriteOptions& options = {});

}  // namespace sample
