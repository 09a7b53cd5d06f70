// Rows of the texture exports.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> textureRows() {
  std::vector<Row> rows;
  return rows;
}

}  // namespace test
