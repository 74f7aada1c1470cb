#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "tools/coded_input.h"
#include "tools/failure.h"
#include "tools/wav.h"

namespace orbel::tool {
namespace {

constexpr size_t kKeptBytes = 64 * 1024;

Failure TooLong(const std::string& name, uint64_t bytes) {
  return FailureIn(name,
                   std::to_string(bytes) +
                       " bytes, more than a WAV file holds (4 GB); write it without a header");
}

// The file to remove should a signal end the process, or null.
std::atomic<const char*> unfinished{nullptr};

// Calls only what a handler may call. The signal is the system's own again when
// it comes here, and ends the process.
void RemoveUnfinished(int signal) {
  if (const char* const name = unfinished) unlink(name);
  std::raise(signal);
}

void WatchSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;  // nohup and the like
    action = {};
    action.sa_handler = RemoveUnfinished;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

OutputHead WavOutputHead(const WavForm& form) {
  return {[form](std::optional<uint64_t> bytes) { return MakeWavHead(form, bytes); }, kMostWavBytes,
          true};
}

OutputFile::OutputFile(const std::string& name, OutputHead head, const StreamInput& input,
                       std::optional<uint64_t> bytes)
    : name_(name == "-" ? "standard output" : name),
      descriptor_(STDOUT_FILENO),
      head_(std::move(head)),
      promised_(bytes) {
  if (name != "-") {
    // Emptied only after it is known not to be the input.
    descriptor_ = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor_ < 0) throw SystemFailure(name_, errno);
  }
  struct stat status = {};
  if (fstat(descriptor_, &status) == 0) {
    isFile_ = S_ISREG(status.st_mode);
    isDevice_ = S_ISCHR(status.st_mode);
  }
  try {
    if (input.IsSameFile(descriptor_)) throw FailureIn(name_, "is the input itself");
    if (name == "-") {
      if (isatty(descriptor_) != 0)
        throw FailureIn(name_, "is a terminal; this goes to a file or a pipe");
      // Where others write as well (>>), the header is not ours to go back to.
      isFile_ = isFile_ && lseek(descriptor_, 0, SEEK_CUR) == 0 &&
                (fcntl(descriptor_, F_GETFL) & O_APPEND) == 0;
    }
    WatchSignals();
    SetRemovable(isFile_ && name != "-" && status.st_size == 0);
    if (isFile_ && bytes && *bytes > head_.mostBytes) throw TooLong(name_, *bytes);
    if (isFile_ && name != "-") {
      SetRemovable(true);
      if (ftruncate(descriptor_, 0) != 0) throw SystemFailure(name_, errno);
    }
    WriteHead(promised_);
  } catch (...) {
    Discard();
    throw;
  }
}

OutputFile::~OutputFile() { Discard(); }

void OutputFile::SetRemovable(bool removable) {
  removable_ = removable;
  unfinished = removable ? name_.c_str() : nullptr;
}

void OutputFile::Discard() {
  if (removable_) unlink(name_.c_str());
  SetRemovable(false);
  if (descriptor_ > STDERR_FILENO) close(descriptor_);
  descriptor_ = -1;
}

void OutputFile::WriteHead(std::optional<uint64_t> bytes) {
  if (head_.make) WriteBytes(head_.make(bytes));
}

void OutputFile::Write(std::span<const uint8_t> bytes) {
  // A pipe's reader has been told "to the end", and may have any length.
  if (isFile_ && written_ + bytes.size() > head_.mostBytes)
    throw TooLong(name_, written_ + bytes.size());
  written_ += bytes.size();
  if (kept_.empty() && bytes.size() >= kKeptBytes / 2) return WriteBytes(bytes);
  kept_.insert(kept_.end(), bytes.begin(), bytes.end());
  if (kept_.size() >= kKeptBytes) Flush();
}

void OutputFile::Flush() {
  WriteBytes(kept_);
  kept_.clear();
}

void OutputFile::WriteBytes(std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t now = write(descriptor_, bytes.data(), bytes.size());
    if (now >= 0) {
      bytes = bytes.subspan(static_cast<size_t>(now));
    } else if (errno == EPIPE) {
      throw ReaderGone{};
    } else if (errno != EINTR) {
      throw FailureAt(name_, std::string("can't be written: ") + std::strerror(errno),
                      static_cast<uint64_t>(std::max<off_t>(lseek(descriptor_, 0, SEEK_CUR), 0)));
    }
  }
}

void OutputFile::Finish() {
  const bool isTold = isFile_ || promised_ == written_;
  if (head_.pads && isTold && written_ % 2 != 0) kept_.push_back(0);
  Flush();
  if (head_.make && isFile_ && promised_ != written_) {
    if (lseek(descriptor_, 0, SEEK_SET) < 0) throw SystemFailure(name_, errno);
    WriteHead(written_);
    lseek(descriptor_, 0, SEEK_END);
  }
  const int descriptor = descriptor_;
  descriptor_ = -1;
  // Some file systems tell only here that the disk is full.
  if (close(descriptor) != 0 && errno != EINTR) {
    const int errorCode = errno;
    throw SystemFailure(name_, errorCode);
  }
  SetRemovable(false);
}

}  // namespace orbel::tool
