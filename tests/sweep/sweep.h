// The argument sweep: one table with a row an export, from which every check of every export is proven, its order
// included. A row lists the arguments with a good value each, and the order in which the export tests them. The sweep
// then breaks one argument, and every pair of arguments, with each bad value, expects the status of the first check in
// order, and that no byte of any buffer has changed.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "qlmjp.h"

namespace test {

// The value of one argument of a call.
struct ArgumentValue {
  void* pointer = nullptr;
  int64_t number = 0;
  QlmSize size{};
  QlmRect rect{};

  template <typename T>
  T as() const {
    if constexpr (std::is_pointer_v<T>)
      return reinterpret_cast<T>(pointer);
    else if constexpr (std::is_same_v<T, QlmSize>)
      return size;
    else if constexpr (std::is_same_v<T, QlmRect>)
      return rect;
    else
      return static_cast<T>(number);
  }
};

// One way to break an argument, entry `entry` of an array of plane pointers or steps, or the 32-bit value behind a
// pointer.
struct Fault {
  static constexpr int kWhole = -1, kContent = -2;
  int entry = kWhole;
  int64_t number = 0;
  QlmSize size{};
  QlmStatus status;
  std::string text;
};

struct Argument {
  enum class Kind { Pointer, Planes, Steps, Number, Size, Rect } kind;
  size_t bytes = 0;  // of the buffer behind a pointer, or behind each plane
  int planes = 0;    // entries of an array
  ArgumentValue good;
  std::vector<Fault> faults;
  std::vector<Fault> entryFaults;
  std::vector<Fault> contentFaults;
  size_t bytesBefore = 0;  // bytes of the buffer that lie before where the pointer points

  // Values of the 32-bit number behind the pointer that the export refuses: contents(i) in the order.
  Argument&& refuses(std::initializer_list<int32_t> values, QlmStatus status) &&;
  // For exports that read samples before the first one.
  Argument&& behind(size_t bytesOfBuffer) &&;
};

// A buffer large enough for every call of the table; null is the fault.
Argument pointer(size_t bytes = 8192);
// An array of n pointers to buffers. Faults of the entries are a check of their own: entries(i) in the order.
Argument planes(int n, size_t bytesEach = 8192);
// A distance between rows; 0 and below are the faults.
Argument step(int32_t good);
// An array of n distances between rows. Faults of the entries are a check of their own, as those of planes().
Argument steps(int n, int32_t good);
// A region, with the smallest width and height that the export takes.
Argument size(int32_t width, int32_t height, int32_t minWidth = 1, int32_t minHeight = 1);
// A region in the grid of an image; its faults are sizes below 1.
Argument rect(int32_t x, int32_t y, int32_t width, int32_t height);
// A number with its bad values and their status; none where every value is legal.
Argument number(int64_t good, std::vector<int64_t> bad = {}, QlmStatus status = qlmErrBadArgument);

inline constexpr int kEntries = 100, kContents = 200;
constexpr int entries(int argument) { return kEntries + argument; }
constexpr int contents(int argument) { return kContents + argument; }

using Buffers = std::vector<ArgumentValue>;

struct Row {
  std::string name;
  std::vector<Argument> arguments;
  std::vector<int> order;  // indices of arguments, entries(index) or contents(index)
  std::function<QlmStatus(const Buffers&)> call;
  // Puts what a good call needs (tables, states) into the buffers.
  std::function<void(const Buffers&)> prepare;
  std::string variant;  // where one export needs several rows

  Row& with(std::function<void(const Buffers&)> fill) {
    prepare = std::move(fill);
    return *this;
  }
  Row& as(std::string text) {
    variant = std::move(text);
    return *this;
  }
};

inline void PrintTo(const Row& r, std::ostream* out) { *out << r.name << r.variant; }

template <typename... A>
Row row(std::string name, QlmStatus (*function)(A...), std::vector<Argument> arguments, std::vector<int> order) {
  auto call = [function](const Buffers& v) {
    return [&]<size_t... I>(std::index_sequence<I...>) { return function(v[I].template as<A>()...); }
    (std::index_sequence_for<A...>{});
  };
  if (arguments.size() != sizeof...(A)) std::abort();
  return {std::move(name), std::move(arguments), std::move(order), std::move(call), {}, {}};
}

// The whole table, in the order of the subsystems.
const std::vector<Row>& sweepTable();

// The rows of one subsystem each.
std::vector<Row> frameRows();
std::vector<Row> jpegRows();
std::vector<Row> jpegEntropyRows();
std::vector<Row> jpeg2000Rows();
std::vector<Row> jpeg2000BlockRows();
std::vector<Row> jpegXrRows();
std::vector<Row> textureRows();
std::vector<Row> tiffRows();

// One call with the arguments of `row`, broken as `faults` says (argument, fault), in fresh buffers.
struct Outcome {
  QlmStatus status;
  bool buffersUnchanged;
};
Outcome callRow(const Row& row, const std::vector<std::pair<size_t, Fault>>& faults);

}  // namespace test
