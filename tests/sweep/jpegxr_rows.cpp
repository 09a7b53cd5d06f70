// Rows of the JPEG XR exports.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> jpegXrRows() {
  std::vector<Row> rows;
  return rows;
}

}  // namespace test
