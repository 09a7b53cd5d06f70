#include "sweep/sweep.h"

#include <climits>
#include <cstring>
#include <memory>

#include "support/random.h"

namespace test {

Argument pointer(size_t bytes) {
  return {Argument::Kind::Pointer, bytes, 0, {}, {{Fault::kWhole, 0, {}, qlmErrNullPointer, "null"}}, {}, {}};
}

Argument planes(int n, size_t bytesEach) {
  Argument a{
      Argument::Kind::Planes, bytesEach, n, {}, {{Fault::kWhole, 0, {}, qlmErrNullPointer, "null array"}}, {}, {}};
  for (int i = 0; i < n; ++i) a.entryFaults.push_back({i, 0, {}, qlmErrNullPointer, "null entry " + std::to_string(i)});
  return a;
}

Argument number(int64_t good, std::vector<int64_t> bad, QlmStatus status) {
  Argument a{Argument::Kind::Number, 0, 0, {nullptr, good, {}, {}}, {}, {}, {}};
  for (const int64_t value : bad) a.faults.push_back({Fault::kWhole, value, {}, status, std::to_string(value)});
  return a;
}

Argument&& Argument::refuses(std::initializer_list<int32_t> values, QlmStatus status) && {
  for (const int32_t value : values)
    contentFaults.push_back({Fault::kContent, value, {}, status, "content " + std::to_string(value)});
  return std::move(*this);
}

Argument&& Argument::behind(size_t bytesOfBuffer) && {
  bytesBefore = bytesOfBuffer;
  bytes += bytesOfBuffer;
  return std::move(*this);
}

Argument step(int32_t good) { return number(good, {0, -1, INT_MIN}, qlmErrStep); }

Argument steps(int n, int32_t good) {
  Argument a{Argument::Kind::Steps, 0, n, {}, {}, {}, {}};
  a.good.number = good;
  a.faults.push_back({Fault::kWhole, 0, {}, qlmErrNullPointer, "null array"});
  for (int i = 0; i < n; ++i)
    for (const int32_t value : {0, -1, INT_MIN})
      a.entryFaults.push_back({i, value, {}, qlmErrStep, "entry " + std::to_string(i) + ": " + std::to_string(value)});
  return a;
}

Argument rect(int32_t x, int32_t y, int32_t width, int32_t height) {
  Argument a = size(width, height);
  a.kind = Argument::Kind::Rect;
  a.good.rect = {x, y, width, height};
  return a;
}

Argument size(int32_t width, int32_t height, int32_t minWidth, int32_t minHeight) {
  Argument a{Argument::Kind::Size, 0, 0, {nullptr, 0, {width, height}, {}}, {}, {}, {}};
  const auto fault = [&](int32_t w, int32_t h) {
    a.faults.push_back({Fault::kWhole, 0, {w, h}, qlmErrSize, std::to_string(w) + 'x' + std::to_string(h)});
  };
  for (const int32_t bad : {minWidth - 1, -1, INT_MIN}) fault(bad, height);
  for (const int32_t bad : {minHeight - 1, -1, INT_MIN}) fault(width, bad);
  fault(minWidth - 1, minHeight - 1);
  return a;
}

const std::vector<Row>& sweepTable() {
  static const std::vector<Row> table = [] {
    std::vector<Row> all;
    for (auto part : {frameRows(), jpegRows(), jpegEntropyRows(), jpeg2000Rows(), jpeg2000BlockRows(), jpegXrRows(),
                      textureRows(), tiffRows()})
      for (Row& r : part) all.push_back(std::move(r));
    return all;
  }();
  return table;
}

Outcome callRow(const Row& row, const std::vector<std::pair<size_t, Fault>>& faults) {
  // One allocation holds all buffers of the call; the arrays of plane pointers and of steps lie beside it.
  size_t total = 0;
  for (const Argument& a : row.arguments) total += a.bytes * size_t(a.kind == Argument::Kind::Planes ? a.planes : 1);
  std::vector<uint8_t> arena(total);
  Random(1).fill(std::span(arena));
  std::vector<std::unique_ptr<void*[]>> arrays(row.arguments.size());
  std::vector<std::vector<int32_t>> stepArrays(row.arguments.size());

  Buffers values;
  uint8_t* next = arena.data();
  for (size_t i = 0; i < row.arguments.size(); ++i) {
    const Argument& a = row.arguments[i];
    ArgumentValue v = a.good;
    if (a.kind == Argument::Kind::Pointer) {
      v.pointer = next + a.bytesBefore;
      next += a.bytes;
    } else if (a.kind == Argument::Kind::Planes) {
      arrays[i] = std::make_unique<void*[]>(size_t(a.planes));
      for (int p = 0; p < a.planes; ++p, next += a.bytes) arrays[i][size_t(p)] = next;
      v.pointer = arrays[i].get();
    } else if (a.kind == Argument::Kind::Steps) {
      stepArrays[i].assign(size_t(a.planes), static_cast<int32_t>(a.good.number));
      v.pointer = stepArrays[i].data();
    }
    values.push_back(v);
  }
  if (row.prepare) row.prepare(values);
  for (const auto& [index, fault] : faults) {
    ArgumentValue& v = values[index];
    switch (row.arguments[index].kind) {
      case Argument::Kind::Pointer:
        if (fault.entry == Fault::kContent)
          *static_cast<int32_t*>(v.pointer) = static_cast<int32_t>(fault.number);
        else
          v.pointer = nullptr;
        break;
      case Argument::Kind::Number:
        v.number = fault.number;
        break;
      case Argument::Kind::Size:
        v.size = fault.size;
        break;
      case Argument::Kind::Rect:
        v.rect.width = fault.size.width;
        v.rect.height = fault.size.height;
        break;
      case Argument::Kind::Steps:
        if (fault.entry == Fault::kWhole)
          v.pointer = nullptr;
        else
          stepArrays[index][size_t(fault.entry)] = static_cast<int32_t>(fault.number);
        break;
      case Argument::Kind::Planes:
        if (fault.entry == Fault::kWhole)
          v.pointer = nullptr;
        else
          arrays[index][size_t(fault.entry)] = nullptr;
        break;
    }
  }
  const std::vector<uint8_t> before = arena;
  const QlmStatus status = row.call(values);
  return {status, before == arena};
}

}  // namespace test
