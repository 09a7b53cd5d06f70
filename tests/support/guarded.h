// Buffers that end flush at an inaccessible page, so that one byte read or written outside stops the test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace test {

enum class Edge {
  Back,  // the last byte of the buffer is the last byte before an inaccessible page
  Front  // the first byte of the buffer is the first byte behind an inaccessible page
};

// Pages with an inaccessible page on both sides. Moves, never copies.
class GuardedBytes {
 public:
  GuardedBytes(size_t bytes, Edge edge);
  ~GuardedBytes();
  GuardedBytes(GuardedBytes&& other) noexcept;
  GuardedBytes& operator=(GuardedBytes&&) = delete;
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

 private:
  void* mapping_;
  size_t mappingBytes_;
  uint8_t* data_;
  size_t size_;
};

// `count` elements of T between guards, zeroed.
template <typename T>
class Guarded {
 public:
  explicit Guarded(size_t count, Edge edge = Edge::Back) : bytes_(count * sizeof(T), edge), count_(count) {}

  T* data() const { return reinterpret_cast<T*>(bytes_.data()); }
  size_t size() const { return count_; }
  size_t sizeBytes() const { return bytes_.size(); }
  T& operator[](size_t i) const { return data()[i]; }
  T* begin() const { return data(); }
  T* end() const { return data() + count_; }
  std::span<T> span() const { return {data(), count_}; }
  std::span<const uint8_t> bytes() const { return {bytes_.data(), bytes_.size()}; }

 private:
  GuardedBytes bytes_;
  size_t count_;
};

// A plane of `height` rows of `width` elements, rows `padding` bytes further apart than they are long; the padding
// behind the last row does not exist. Filled with a pattern, so that a stray write into the padding shows.
template <typename T>
class GuardedPlane {
 public:
  GuardedPlane(int32_t width, int32_t height, int32_t padding, Edge edge = Edge::Back)
      : width_(width),
        height_(height),
        step_(width * static_cast<int32_t>(sizeof(T)) + padding),
        bytes_(static_cast<size_t>(step_) * static_cast<size_t>(height) - static_cast<size_t>(padding), edge) {
    fillPattern();
  }

  void fillPattern() {
    for (size_t i = 0; i < bytes_.size(); ++i) bytes_.data()[i] = static_cast<uint8_t>(0xA5 + 7 * i);
  }

  T* data() const { return row(0); }
  T* row(int32_t y) const { return reinterpret_cast<T*>(bytes_.data() + ptrdiff_t{step_} * y); }
  int32_t step() const { return step_; }
  int32_t width() const { return width_; }
  int32_t height() const { return height_; }
  std::span<const uint8_t> bytes() const { return {bytes_.data(), bytes_.size()}; }  // padding included
  std::span<uint8_t> bytes() { return {bytes_.data(), bytes_.size()}; }

 private:
  int32_t width_, height_, step_;
  GuardedBytes bytes_;
};

// Rows of bytes, each between inaccessible pages of its own and flush with the one at `edge`, so that a read behind the
// end of any row shows. The step is a multiple of the page; what lies between the rows cannot be read.
class GuardedRows {
 public:
  GuardedRows(size_t columns, size_t rows, Edge edge);
  ~GuardedRows();
  GuardedRows(const GuardedRows&) = delete;
  GuardedRows& operator=(const GuardedRows&) = delete;

  uint8_t* row(size_t y) const { return first_ + y * step_; }
  int32_t step() const { return static_cast<int32_t>(step_); }

 private:
  size_t step_, mappingBytes_;
  void* mapping_;
  uint8_t* first_;
};

}  // namespace test
