// Rows of the TIFF exports.
#include "sweep/sweep.h"

#define NAMED(export) #export, export

namespace test {

std::vector<Row> tiffRows() {
  std::vector<Row> rows;
  const Argument length = number(100, {0, -1, INT32_MIN}, qlmErrSize);
  const Argument room = number(200, {0, -1, INT32_MIN}, qlmErrSize);
  // Any 100 bytes pack into 200; one replicate packet unpacks to 100.
  rows.push_back(
      row(NAMED(qlmiPackBitsRow_TIFF_8u_C1), {pointer(), length, pointer(), pointer(), room}, {0, 2, 3, 1, 4})
          .with([](const Buffers& v) { *v[3].as<int32_t*>() = 0; }));
  rows.push_back(
      row(NAMED(qlmiUnpackBitsRow_TIFF_8u_C1), {pointer(), pointer(), length, pointer(), length}, {0, 1, 3, 2, 4})
          .with([](const Buffers& v) {
            *v[0].as<int8_t*>() = 1 - 100;
            *v[1].as<int32_t*>() = 0;
          }));

  // Here a bad length is a step error, and the entries of the array are not tested.
  const Argument samples = number(100, {0, -1, INT32_MIN}, qlmErrStep);
  rows.push_back(row(NAMED(qlmiJoinRow_TIFF_8u16u_C1), {planes(2), pointer(), samples}, {0, 1, 2}));
  rows.push_back(row(NAMED(qlmiSplitRow_TIFF_16u8u_C1), {pointer(), planes(2), samples}, {0, 1, 2}));
  return rows;
}

}  // namespace test
