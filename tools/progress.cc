#include "tools/progress.h"

#include <unistd.h>

#include <cstdio>

namespace orbel::tool {

Progress::Progress(const StreamForm& form)
    : form_(form),
      terminal_(isatty(STDERR_FILENO) != 0),
      next_(Clock::now() + std::chrono::milliseconds(500)) {}

Progress::~Progress() {
  if (shown_) std::fputs("\r\x1b[K", stderr);
}

void Progress::Add(uint64_t codedBytes, double seconds) {
  coded_ += codedBytes;
  seconds_ += seconds;
  if (terminal_ && Clock::now() >= next_) Show();
}

void Progress::Show() {
  std::fprintf(stderr, "\r%s: ", form_.name.c_str());
  if (form_.codedBytes && *form_.codedBytes > 0)
    std::fprintf(stderr, "%.0f %%, ",
                 100.0 * static_cast<double>(coded_) / static_cast<double>(*form_.codedBytes));
  std::fprintf(stderr, "%.1f s of sound\x1b[K", seconds_);
  std::fflush(stderr);
  shown_ = true;
  next_ = Clock::now() + std::chrono::milliseconds(200);
}

}  // namespace orbel::tool
