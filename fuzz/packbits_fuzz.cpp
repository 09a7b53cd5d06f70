// Any bytes unpacked from any position into rows of any length, and packed into any room, against the model; and what
// was packed whole unpacks to the same bytes. Each buffer is an allocation of its own size.
#include <cstring>

#include "fuzz_input.h"
#include "model/tiff_rows.h"
#include "qlmjp.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::unique_ptr<uint8_t[]> exactly(const Bytes& bytes) {
  auto copy = std::make_unique<uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), copy.get());
  return copy;
}
int32_t lengthOf(const Bytes& bytes) { return static_cast<int32_t>(bytes.size()); }

// The byte behind the source exists only where a run without its byte ends it.
void unpack(const Bytes& src, int32_t position, int32_t wanted) {
  Bytes withOneBehind = src;
  withOneBehind.push_back(0x5C);
  const model::Unpacked expected = model::unpackBits(withOneBehind, position, lengthOf(src), wanted);
  const auto from = exactly(expected.position > lengthOf(src) ? withOneBehind : src);
  const auto to = exactly(Bytes(static_cast<size_t>(wanted), 0xEE));
  int32_t end = position;
  FUZZ_REQUIRE(qlmiUnpackBitsRow_TIFF_8u_C1(from.get(), &end, lengthOf(src), to.get(), wanted) == expected.status);
  FUZZ_REQUIRE(end == expected.position);
  FUZZ_REQUIRE(std::equal(expected.bytes.begin(), expected.bytes.end(), to.get()));
  const auto rest = to.get() + expected.bytes.size();
  FUZZ_REQUIRE(std::all_of(rest, to.get() + wanted, [](uint8_t b) { return b == 0xEE; }));
}

void pack(const Bytes& row, int32_t room) {
  const model::Packed expected = model::packBits(row, room);
  const auto from = exactly(row);
  const auto to = exactly(Bytes(static_cast<size_t>(room)));
  int32_t end = 0;
  FUZZ_REQUIRE(qlmiPackBitsRow_TIFF_8u_C1(from.get(), lengthOf(row), to.get(), &end, room) == expected.status);
  FUZZ_REQUIRE(end == lengthOf(expected.bytes));
  FUZZ_REQUIRE(std::equal(expected.bytes.begin(), expected.bytes.end(), to.get()));
  if (expected.status != qlmOk) return;
  Bytes back(row.size());
  int32_t position = 0;
  FUZZ_REQUIRE(qlmiUnpackBitsRow_TIFF_8u_C1(to.get(), &position, end, back.data(), lengthOf(row)) == qlmOk);
  FUZZ_REQUIRE(position == end && back == row);
}

}  // namespace

// Target length or room, position, then the bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  const int32_t length = 1 + in.word() % 4096, position = in.byte() % 16;
  const Bytes bytes = in.rest();
  if (bytes.empty()) return 0;
  if (position < lengthOf(bytes)) unpack(bytes, position, length);
  pack(bytes, length);
  pack(bytes, 2 * lengthOf(bytes));
  return 0;
}
