// A line on the terminal for work that lasts. Nothing is shown where standard
// error is not a terminal, or in the first half second.
#pragma once

#include <chrono>
#include <cstdint>

#include "tools/coded_input.h"

namespace orbel::tool {

class Progress {
 public:
  // `form` must outlive it.
  explicit Progress(const StreamForm& form);
  // Wipes the line.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Add(uint64_t codedBytes, double seconds);

 private:
  void Show();

  using Clock = std::chrono::steady_clock;
  const StreamForm& form_;
  const bool terminal_;
  Clock::time_point next_;  // when to show again
  uint64_t coded_ = 0;
  double seconds_ = 0;
  bool shown_ = false;
};

}  // namespace orbel::tool
