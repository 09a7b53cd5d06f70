// The parts of the reader between a scan header and pixels: scans to MCUs, to coefficients, or to lossless samples.
#pragma once

#include "jpeg/jpeg_headers.h"
#include "jpeg/jpeg_sink.h"

namespace sample {

// A file that is being read, up to the header of a scan, which points to tables of the headers.
struct JpegReading {
  JpegReading() = default;
  JpegReading(const JpegReading&) = delete;
  JpegReading& operator=(const JpegReading&) = delete;

  JpegInput input;
  JpegHeaders headers;
  JpegScan scan;
  int32_t scans = 0, maxScans = 0;  // read so far, and to be read: 0 for all
  Progress progress;
  std::string damage;  // what is wrong with the file first; empty while nothing is
};

void noteDamage(JpegReading& file, const std::string& damage);

// Reads the header of the next scan; false at the end, or where no more scans are wanted. Segments that are wrong are
// noted and passed over.
bool advance(JpegReading& file);

// One sequential scan of all components, each MCU straight to the sink while it is in the cache.
void decodeToSink(JpegReading& file, McuSink& sink);

// All scans, sequential or progressive. The planes are complete, with zeros for what is missing.
std::vector<BlockPlane> decodeCoefficients(JpegReading& file);
void drawCoefficients(const JpegFrame& frame, const std::vector<BlockPlane>& planes, McuSink& sink);

// Of a lossless file: how many rows lie between restart markers, 0 for all. Throws JpegError where they are not whole.
int32_t restartRows(const JpegHeaders& headers);

// All scans of a lossless file. The samples are those of the components, without conversion of colours; what is missing
// is mid-grey. A picture of 8 bits takes files of 8 bits only.
void decodeLossless(JpegReading& file, Picture& picture);
void decodeLossless(JpegReading& file, Picture16& picture);

}  // namespace sample
