#include "geo/readers/cDataFile.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

// A host learns of a change from a flag that counts whole seconds, and asks it now and then.
constexpr std::int64_t kSecondsUntilAtRest = 10;

// Larger files are read from the disk even while they are written.
constexpr std::int64_t kLargestCopy = 64 << 20;

// False where a process may not make files of that size. A copy in memory counts as one, and the
// system would end the host with a signal.
bool isFileOfSizeAllowed(std::int64_t size) {
  rlimit limit = {};
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && static_cast<rlim_t>(size) <= limit.rlim_cur;
}

// Copies up to `size` bytes; returns how many, or -1 when the file cannot be copied.
std::int64_t copyStart(int source, std::int64_t size, int target) {
  off_t position = 0;
  while (position < size) {
    const ssize_t sent =
        sendfile(target, source, &position, static_cast<std::size_t>(size - position));
    if (sent < 0)
      return -1;
    if (sent == 0)
      break; // the end of a file that has shrunk
  }
  return position;
}

} // namespace

cDescriptor::~cDescriptor() {
  if (number_ >= 0)
    close(number_);
}

cDataFile::cDataFile(const std::string& name) : name_(name) {
  cDescriptor opened(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  char last = 0;
  if (!opened || fstat(opened.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_size == 0 || pread(opened.number(), &last, 1, status.st_size - 1) != 1)
    return;
  size_ = status.st_size;
  modified_ = status.st_mtime;
  descriptor_ = std::move(opened);
}

std::size_t cDataFile::readStart(char* bytes, std::size_t count) const noexcept {
  const ssize_t stored = pread(descriptor_.number(), bytes, count, 0);
  return static_cast<std::size_t>(std::max<ssize_t>(stored, 0));
}

std::size_t cDataFile::readOn(char* bytes, std::size_t count) noexcept {
  const ssize_t stored = read(descriptor_.number(), bytes, count);
  return static_cast<std::size_t>(std::max<ssize_t>(stored, 0));
}

bool cDataFile::settle() {
  if (size_ > kLargestCopy || !wasModifiedJustNow() || !isFileOfSizeAllowed(size_))
    return true;
  cDescriptor copy(memfd_create("ox-wp-data-file", MFD_CLOEXEC));
  const std::int64_t copied = copy ? copyStart(descriptor_.number(), size_, copy.number()) : -1;
  if (hasShrunk())
    return false;
  // Without a copy, or without /proc to open it by, the file itself has to do.
  if (copied < 0 || access(copy.name().c_str(), R_OK) != 0)
    return true;
  descriptor_ = std::move(copy);
  isCopy_ = true;
  return copied == size_;
}

bool cDataFile::hasShrunk() noexcept {
  if (isCopy_)
    return false;
  struct stat status = {};
  if (fstat(descriptor_.number(), &status) != 0 || status.st_size < size_)
    return true;
  size_ = status.st_size;
  return false;
}

// A time in the future, from a clock that is ahead, counts as just now.
bool cDataFile::wasModifiedJustNow() const noexcept {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return modified_ > now.tv_sec - kSecondsUntilAtRest;
}

cDataFileStream::cDataFileStream(const std::string& name) : buffer_(name) {
  std::ios::rdbuf(&buffer_);
  if (!buffer_.file.isReadable())
    setstate(std::ios::failbit);
}

std::streambuf::int_type cDataFileStream::cBuffer::underflow() {
  const std::size_t count = file.readOn(bytes_, sizeof bytes_);
  if (count == 0)
    return traits_type::eof();
  setg(bytes_, bytes_, bytes_ + count);
  return traits_type::to_int_type(bytes_[0]);
}
