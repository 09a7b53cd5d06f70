// Rows of the progressive, statistics and lossless exports of JPEG.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> jpegEntropyRows() {
  std::vector<Row> rows;
  return rows;
}

}  // namespace test
