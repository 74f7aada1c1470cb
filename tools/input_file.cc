#include "tools/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/failure.h"

namespace orbel::tool {

InputFile::InputFile(const std::string& name)
    : name_(name == "-" ? "standard input" : name),
      descriptor_(name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw SystemFailure(name_, errno);
  struct stat status = {};
  if (fstat(descriptor_, &status) != 0) throw SystemFailure(name_, errno);
  if (S_ISDIR(status.st_mode)) throw SystemFailure(name_, EISDIR);
  if (!S_ISREG(status.st_mode)) return;
  const off_t offset = lseek(descriptor_, 0, SEEK_CUR);
  base_ = offset > 0 ? static_cast<uint64_t>(offset) : 0;
  const auto end = static_cast<uint64_t>(status.st_size);
  size_ = end > base_ ? end - base_ : 0;
  posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

InputFile::~InputFile() {
  if (descriptor_ > STDERR_FILENO) close(descriptor_);
}

bool InputFile::IsSameFile(int descriptor) const {
  struct stat ours = {};
  struct stat other = {};
  return size_ && fstat(descriptor_, &ours) == 0 && fstat(descriptor, &other) == 0 &&
         S_ISREG(other.st_mode) && ours.st_dev == other.st_dev && ours.st_ino == other.st_ino;
}

size_t InputFile::ReadNow(uint8_t* to, size_t size) {
  size_t got = 0;
  while (got < size) {
    const ssize_t now = read(descriptor_, to + got, size - got);
    if (now == 0) break;
    if (now > 0) {
      got += static_cast<size_t>(now);
    } else if (errno == EINTR) {
      ThrowIfInterrupted();
    } else {
      throw FailureAt(name_, std::string("can't be read: ") + std::strerror(errno),
                      position_ + got);
    }
  }
  return got;
}

size_t InputFile::Read(uint8_t* to, size_t size) {
  const size_t held = std::min(size, peeked_.size());
  std::copy_n(peeked_.begin(), held, to);
  peeked_.erase(peeked_.begin(), peeked_.begin() + static_cast<ptrdiff_t>(held));
  position_ += held;
  const size_t got = held < size ? ReadNow(to + held, size - held) : 0;
  position_ += got;
  return held + got;
}

std::span<const uint8_t> InputFile::Peek(size_t size) {
  const size_t held = peeked_.size();
  if (held < size) {
    peeked_.resize(size);
    peeked_.resize(held + ReadNow(peeked_.data() + held, size - held));
  }
  return std::span(peeked_).first(std::min(size, peeked_.size()));
}

void InputFile::Skip(uint64_t count) {
  if (size_) return Seek(std::min(position_ + count, std::max(*size_, position_)));
  uint8_t dropped[4096];
  while (count > 0) {
    const size_t got = Read(dropped, std::min<uint64_t>(count, sizeof dropped));
    if (got == 0) return;
    count -= got;
  }
}

void InputFile::Seek(uint64_t position) {
  peeked_.clear();
  if (lseek(descriptor_, static_cast<off_t>(base_ + position), SEEK_SET) < 0)
    throw SystemFailure(name_, errno);
  position_ = position;
}

}  // namespace orbel::tool
