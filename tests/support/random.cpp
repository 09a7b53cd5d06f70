#include "support/random.h"

#include <cstdlib>

namespace test {

uint64_t baseSeed() {
  static const uint64_t seed = [] {
    const char* text = std::getenv("QLMJP_TEST_SEED");
    return text ? std::strtoull(text, nullptr, 0) : 20260714u;
  }();
  return seed;
}

}  // namespace test
