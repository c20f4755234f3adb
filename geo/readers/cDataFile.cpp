#include "geo/readers/cDataFile.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <ios>
#include <utility>

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isRegularFile(const char* name) noexcept {
  struct stat status = {};
  return stat(name, &status) == 0 && S_ISREG(status.st_mode);
}

// Opening a pipe releases the writer that waits for a reader, and opening a device can make it act:
// only a regular file is opened.
int openFile(const char* name) noexcept {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY;
  if (!isRegularFile(name))
    return -1;
  // Does not wait if the name is that of a pipe by now.
  const int descriptor = open(name, kFlags | O_NONBLOCK);
  // Another process has a lease on the file. The system asks that process to give it up meanwhile.
  if (descriptor < 0 && errno == EWOULDBLOCK && isRegularFile(name))
    return open(name, kFlags);
  return descriptor;
}

} // namespace

cDataFile::cDataFile(const std::string& name) : descriptor_(openFile(name.c_str())) {}

cDataFile::~cDataFile() {
  if (descriptor_ >= 0)
    close(descriptor_);
}

bool cDataFile::isRegular() const noexcept {
  struct stat status = {};
  return descriptor_ >= 0 && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

std::string_view cDataFile::start() noexcept {
  if (!rest_ && isRegular()) {
    rest_.reset(fdopen(descriptor_, "rb"));
    if (rest_) {
      descriptor_ = -1;
      (void)std::setvbuf(rest_.get(), buffer_, _IOFBF, sizeof buffer_);
      startSize_ = std::fread(start_, 1, sizeof start_, rest_.get());
    }
  }
  return {start_, startSize_};
}

std::FILE* cDataFile::takeRest() noexcept {
  return rest_.release();
}

std::ifstream cDataFile::takeStream() {
  std::ifstream stream;
  stream.setstate(std::ios::failbit);
  if (!isRegular())
    return stream;
  // The buffer closes the file, even if its constructor throws.
  const int descriptor = std::exchange(descriptor_, -1);
  __gnu_cxx::stdio_filebuf<char> buffer(descriptor, std::ios::in | std::ios::binary);
  if (buffer.is_open()) {
    *stream.rdbuf() = std::move(buffer);
    stream.clear();
  } else {
    descriptor_ = descriptor;
  }
  return stream;
}
