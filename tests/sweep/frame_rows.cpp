#include "sweep/sweep.h"

namespace test {

// The version query takes no argument and returns no status; its row says so.
std::vector<Row> frameRows() { return {{"qlmjGetLibVersion", {}, {}, {}, {}, {}}}; }

}  // namespace test
