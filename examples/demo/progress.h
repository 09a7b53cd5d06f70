// Shows how far a known number of steps has come: a bar on a terminal, a line a step elsewhere.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace demo {

class Progress {
 public:
  explicit Progress(size_t steps) : steps_(steps), terminal_(isatty(STDERR_FILENO) != 0) {}
  ~Progress() {
    if (terminal_) std::cerr << "\r\033[K" << std::flush;
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A step begins.
  void step(const std::string& what) {
    ++step_;
    const std::string count = std::to_string(step_) + "/" + std::to_string(steps_);
    if (!terminal_) {
      std::cerr << "[" << count << "] " << what << std::endl;
      return;
    }
    constexpr size_t kBar = 30;
    const size_t full = kBar * (step_ - 1) / steps_;
    std::cerr << "\r\033[K[" << std::string(full, '#') << std::string(kBar - full, '.') << "] " << count << " " << what
              << std::flush;
  }

 private:
  size_t steps_, step_ = 0;
  bool terminal_;
};

}  // namespace demo
