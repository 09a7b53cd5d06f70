// A progress bar on standard error: only on a terminal, and only for work that takes longer than 0.3 s.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>

namespace qlmconv {

class ProgressBar {
 public:
  explicit ProgressBar(const char* label, bool enabled = true)
      : label_(label), enabled_(enabled && isatty(STDERR_FILENO)), last_(Clock::now() + kDelay - kInterval) {}
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() {
    if (drawn_) std::fputs("\r\x1b[K", stderr);
  }

  void operator()(int32_t done, int32_t total) {
    if (!enabled_ || Clock::now() - last_ < kInterval) return;
    last_ = Clock::now();
    drawn_ = true;
    const auto filled = static_cast<int>(int64_t{kWidth} * done / total);
    std::fprintf(stderr, "\r%s [%.*s%*s] %3d%%", label_, filled, "########################################",
                 kWidth - filled, "", static_cast<int>(int64_t{100} * done / total));
    std::fflush(stderr);
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kDelay{300}, kInterval{50};
  static constexpr int kWidth = 40;

  const char* label_;
  bool enabled_;
  bool drawn_ = false;
  Clock::time_point last_;
};

}  // namespace qlmconv
