#include "support/guarded.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

namespace test {
namespace {

// Small mappings that are out of use, by size: tests make them by the ten thousand, and the system takes its time.
// Never destroyed, as buffers may outlive it.
struct SpareMappings {
  static constexpr size_t kMostPages = 4;
  std::mutex mutex;
  std::map<size_t, std::vector<void*>> bySize;
};
SpareMappings& spares() {
  static SpareMappings& mappings = *new SpareMappings;
  return mappings;
}

void* takeSpare(size_t mappingBytes) {
  const std::lock_guard lock(spares().mutex);
  std::vector<void*>& same = spares().bySize[mappingBytes];
  if (same.empty()) return nullptr;
  void* mapping = same.back();
  same.pop_back();
  return mapping;
}

}  // namespace

GuardedBytes::GuardedBytes(size_t bytes, Edge edge) : size_(bytes) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t inner = (bytes + page - 1) / page * page;
  mappingBytes_ = inner + 2 * page;
  mapping_ = takeSpare(mappingBytes_);
  const bool isNew = mapping_ == nullptr;
  if (isNew) mapping_ = mmap(nullptr, mappingBytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  auto* first = static_cast<uint8_t*>(mapping_) + page;
  if (mapping_ == MAP_FAILED || (isNew && inner > 0 && mprotect(first, inner, PROT_READ | PROT_WRITE) != 0))
    throw std::system_error(errno, std::generic_category(), "guarded buffer");
  if (!isNew) std::fill_n(first, inner, uint8_t{0});
  data_ = edge == Edge::Front ? first : first + (inner - bytes);
}

GuardedBytes::GuardedBytes(GuardedBytes&& other) noexcept
    : mapping_(std::exchange(other.mapping_, MAP_FAILED)),
      mappingBytes_(other.mappingBytes_),
      data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)) {}

GuardedBytes::~GuardedBytes() {
  if (mapping_ == MAP_FAILED) return;
  if (mappingBytes_ > (SpareMappings::kMostPages + 2) * static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    munmap(mapping_, mappingBytes_);
    return;
  }
  const std::lock_guard lock(spares().mutex);
  spares().bySize[mappingBytes_].push_back(mapping_);
}

GuardedRows::GuardedRows(size_t columns, size_t rows, Edge edge) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t inner = (columns + page - 1) / page * page;
  step_ = inner + page;
  mappingBytes_ = rows * step_ + page;
  mapping_ = mmap(nullptr, mappingBytes_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "guarded rows");
  first_ = static_cast<uint8_t*>(mapping_) + page;
  for (size_t y = 0; y < rows; ++y)
    if (mprotect(row(y), inner, PROT_READ | PROT_WRITE) != 0)
      throw std::system_error(errno, std::generic_category(), "guarded rows");
  if (edge == Edge::Back) first_ += inner - columns;
}

GuardedRows::~GuardedRows() { munmap(mapping_, mappingBytes_); }

}  // namespace test
