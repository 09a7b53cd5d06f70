// Rows of the code-block exports of JPEG 2000.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> jpeg2000BlockRows() {
  std::vector<Row> rows;
  return rows;
}

}  // namespace test
