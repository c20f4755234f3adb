#include "host/base/output.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/messages.h"
#include "host/base/signals.h"

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 16;

// The file that a signal handler removes; empty when there is none. An array, since a handler may
// not call into std::string.
std::array<char, PATH_MAX> removeOnSignal{};

void removeTemporaryFile() {
  if (removeOnSignal[0] != '\0')
    unlink(removeOnSignal.data());
}

// Returns the descriptor that an existing path such as /dev/fd/3 or /dev/stderr names; -1 where it
// names none.
int namedDescriptor(fs::path path) {
  for (std::error_code error;; path = path.parent_path() / fs::read_symlink(path)) {
    if (fs::equivalent(path.parent_path(), "/proc/self/fd", error))
      return std::stoi(path.filename());
    if (!fs::is_symlink(path, error))
      return -1;
  }
}

} // namespace

Output::Output(const std::string& path) : path_(path), descriptor_(STDOUT_FILENO) {
  if (path == kStandardOutput)
    return;
  struct stat named{};
  const bool exists = stat(path.c_str(), &named) == 0;
  if (const int descriptor = exists ? namedDescriptor(path) : -1; descriptor >= 0)
    descriptor_ = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  else if (exists && !S_ISREG(named.st_mode)) // a file moved onto a device would remove the device
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
  else
    openTemporaryFile(exists ? &named : nullptr);
  if (descriptor_ < 0)
    throw systemError(path_);
}

Output::~Output() {
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
    removeOnSignal[0] = '\0';
  }
  if (descriptor_ > STDOUT_FILENO)
    close(descriptor_);
}

void Output::openTemporaryFile(const struct stat* replaced) {
  if (access(path_.c_str(), W_OK) != 0 && errno != ENOENT)
    throw systemError(path_);
  // A symbolic link stays: the file that it points to, which can be missing, is replaced.
  fs::path target = path_;
  while (fs::is_symlink(target))
    target = target.parent_path() / fs::read_symlink(target);
  path_ = target.string();
  const std::string name = target.parent_path() / ".ox-wp-host-XXXXXX";
  cleanUpOnEndingSignals(removeTemporaryFile);
  // The name is made in the array, so that a signal finds it as soon as the file exists.
  removeOnSignal[name.copy(removeOnSignal.data(), removeOnSignal.size() - 1)] = '\0';
  descriptor_ = mkostemp(removeOnSignal.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    const int code = errno;
    removeOnSignal[0] = '\0';
    throw systemError(code == ENOENT ? target.parent_path().string() : path_, code);
  }
  temporary_ = removeOnSignal.data();
  const mode_t mask = umask(0);
  umask(mask);
  (void)fchmod(descriptor_, replaced ? replaced->st_mode : 0666 & ~mask);
}

void Output::write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferSize)
    flush();
  if (bytes.size() > kBufferSize)
    writeAll(bytes); // not through the buffer: these can be gigabytes
  else
    buffer_ += bytes;
}

void Output::flush() {
  writeAll(buffer_);
  buffer_.clear();
}

void Output::writeAll(std::string_view rest) const {
  while (!rest.empty()) {
    const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
    if (written >= 0)
      rest.remove_prefix(static_cast<std::size_t>(written));
    else if (errno != EINTR)
      throw systemError(path_ == kStandardOutput ? "standard output" : path_);
  }
}

void Output::commit() {
  flush();
  if (temporary_.empty())
    return;
  if (rename(temporary_.c_str(), path_.c_str()) != 0)
    throw systemError(path_);
  removeOnSignal[0] = '\0';
  temporary_.clear();
}

} // namespace host
