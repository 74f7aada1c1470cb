#include "tools/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/failure.h"

namespace orbel::tool {
namespace {

// What one read asks for: large enough that calls cost nothing, small enough
// for the nearer caches.
constexpr size_t kBufferBytes = 256 * 1024;

}  // namespace

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

// One read into the free end of the buffer; 0 at the end of the input.
size_t InputFile::ReadSome() {
  for (;;) {
    const ssize_t got = read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
    if (got >= 0) {
      end_ += static_cast<size_t>(got);
      return static_cast<size_t>(got);
    }
    if (errno != EINTR)
      throw FailureAt(name_, std::string("can't be read: ") + std::strerror(errno),
                      position_ + end_ - begin_);
  }
}

std::span<const uint8_t> InputFile::Peek(size_t size) {
  if (end_ - begin_ < size) {
    std::copy(buffer_.begin() + static_cast<ptrdiff_t>(begin_),
              buffer_.begin() + static_cast<ptrdiff_t>(end_), buffer_.begin());
    end_ -= begin_;
    begin_ = 0;
    if (buffer_.size() < size) buffer_.resize(std::max(size, kBufferBytes));
    while (end_ < size && ReadSome() > 0) {
    }
  }
  return std::span(buffer_).subspan(begin_, std::min(size, end_ - begin_));
}

std::span<const uint8_t> InputFile::Take(size_t size) {
  const auto bytes = Peek(size);
  begin_ += bytes.size();
  position_ += bytes.size();
  return bytes;
}

void InputFile::Skip(uint64_t count) {
  if (size_) return Seek(std::min(position_ + count, std::max(*size_, position_)));
  while (count > 0) {
    const size_t got = Take(std::min<uint64_t>(count, kBufferBytes)).size();
    if (got == 0) return;
    count -= got;
  }
}

void InputFile::Seek(uint64_t position) {
  if (lseek(descriptor_, static_cast<off_t>(base_ + position), SEEK_SET) < 0)
    throw SystemFailure(name_, errno);
  begin_ = end_ = 0;
  position_ = position;
}

}  // namespace orbel::tool
