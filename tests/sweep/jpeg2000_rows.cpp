// Rows of the JPEG 2000 exports.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> jpeg2000Rows() {
  std::vector<Row> rows;
  return rows;
}

}  // namespace test
