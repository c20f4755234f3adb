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

// So many bytes of a copy lie ahead of what was read. libmseed reads 1 MiB ahead, and does not
// report what it skips because it is no record.
constexpr std::int64_t kCopiedAhead = 64 << 20;

// False where a process may not make files of that size. A copy in memory counts as one, and the
// system would end the host with a signal.
bool isFileOfSizeAllowed(std::int64_t size) {
  rlimit limit = {};
  return getrlimit(RLIMIT_FSIZE, &limit) == 0 && static_cast<rlim_t>(size) <= limit.rlim_cur;
}

} // namespace

cDescriptor::~cDescriptor() {
  if (number_ >= 0)
    close(number_);
}

cDataFile::cDataFile(const std::string& name) : name_(name) {
  cDescriptor opened(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  if (!opened || fstat(opened.number(), &status) != 0 || !S_ISREG(status.st_mode) ||
      status.st_size == 0)
    return;
  size_ = status.st_size;
  modified_ = status.st_mtime;
  descriptor_ = std::move(opened);
}

std::size_t cDataFile::readStart(char* bytes, std::size_t count) const noexcept {
  const ssize_t stored = pread(source().number(), bytes, count, 0);
  return static_cast<std::size_t>(std::max<ssize_t>(stored, 0));
}

std::size_t cDataFile::readOn(char* bytes, std::size_t count) noexcept {
  const ssize_t stored = read(source().number(), bytes, count);
  return static_cast<std::size_t>(std::max<ssize_t>(stored, 0));
}

bool cDataFile::settle() {
  char last = 0;
  if (pread(descriptor_.number(), &last, 1, size_ - 1) != 1)
    return false;
  if (!wasModifiedJustNow() || !isFileOfSizeAllowed(size_))
    return true;
  copy_ = cDescriptor(memfd_create("ox-wp-data-file", MFD_CLOEXEC));
  copySize_ = size_;
  if (copy_ && ftruncate(copy_.number(), copySize_) == 0 &&
      access(copy_.name().c_str(), R_OK) == 0) {
    const ssize_t result = copyUpTo(kCopiedAhead);
    if (result >= 0)
      return result > 0;
  }
  // Without a copy, or without /proc to open it by, the file itself has to do.
  copy_ = cDescriptor();
  return !hasShrunk();
}

bool cDataFile::advance(std::int64_t position) noexcept {
  if (copy_ && isWhole())
    return true; // what happens to the file does not matter any more
  if (hasShrunk())
    return false;
  if (!copy_)
    return true;
  fallocate(copy_.number(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, position);
  return copyUpTo(position + kCopiedAhead) > 0;
}

ssize_t cDataFile::copyUpTo(std::int64_t end) noexcept {
  end = std::min(end, copySize_);
  while (copied_ < end) {
    off_t from = copied_;
    const ssize_t sent = sendfile(copy_.number(), descriptor_.number(), &from,
                                  static_cast<std::size_t>(end - copied_));
    if (sent <= 0)
      return sent;
    copied_ += sent;
  }
  return 1;
}

bool cDataFile::hasShrunk() noexcept {
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
