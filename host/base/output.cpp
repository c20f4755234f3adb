#include "host/base/output.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/endingSignals.h"
#include "host/base/error.h"

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr size_t kBufferSize = size_t{1} << 16;

// The file that a signal handler removes; empty when there is none. An array, since a handler may
// not call into std::string.
std::array<char, PATH_MAX> removeOnSignal{};

void removeTemporaryFile() {
  if (removeOnSignal[0] != '\0')
    unlink(removeOnSignal.data());
}

// main() ignores SIGPIPE, so that a message to a closed standard error does not end the process.
[[noreturn]] void endByClosedPipe() {
  (void)signal(SIGPIPE, SIG_DFL);
  (void)raise(SIGPIPE);
  std::abort(); // not reached, unless the signal is blocked
}

} // namespace

Output::Output(const std::string& path) : path_(path), descriptor_(STDOUT_FILENO) {
  struct stat named{};
  struct stat standard{};
  const bool exists = stat(path.c_str(), &named) == 0;
  if (path == kStandardOutput ||
      (exists && fstat(STDOUT_FILENO, &standard) == 0 && named.st_dev == standard.st_dev &&
       named.st_ino == standard.st_ino))
    path_ = kStandardOutput;
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
  const fs::path folder = target.parent_path();
  std::random_device random;
  const std::string name =
      (folder / fmt::format(".ox-wp-host-{:08x}{:08x}", random(), random())).string();
  if (name.size() >= removeOnSignal.size())
    throw systemError(path_, ENAMETOOLONG);
  // The name is stored first, so that a signal finds it as soon as the file exists.
  std::memcpy(removeOnSignal.data(), name.c_str(), name.size() + 1);
  cleanUpOnEndingSignals(removeTemporaryFile);
  descriptor_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                     replaced ? S_IRUSR | S_IWUSR : 0666);
  if (descriptor_ < 0) {
    const int code = errno;
    removeOnSignal[0] = '\0';
    throw systemError(code == ENOENT ? folder.string() : path_, code);
  }
  temporary_ = name;
  if (replaced)
    (void)fchmod(descriptor_, replaced->st_mode);
}

void Output::write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferSize)
    flush();
  if (bytes.size() > kBufferSize)
    pass(bytes); // not through the buffer: these can be gigabytes
  else
    buffer_ += bytes;
}

void Output::flush() {
  pass(buffer_);
  buffer_.clear();
}

void Output::pass(std::string_view rest) const {
  while (!rest.empty()) {
    const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
    if (written >= 0)
      rest.remove_prefix(static_cast<size_t>(written));
    else if (errno == EPIPE)
      endByClosedPipe();
    else if (errno != EINTR)
      throw systemError(path_ == kStandardOutput ? "standard output" : path_);
  }
}

void Output::commit(OnDisk onDisk) {
  flush();
  if (temporary_.empty())
    return;
  if ((onDisk == OnDisk::now && fsync(descriptor_) != 0) ||
      rename(temporary_.c_str(), path_.c_str()) != 0)
    throw systemError(path_);
  removeOnSignal[0] = '\0';
  temporary_.clear();
}

void putOnDisk(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
  const bool isDone = descriptor >= 0 && syncfs(descriptor) == 0;
  const int code = errno;
  close(descriptor);
  if (!isDone)
    throw systemError(folder, code);
}

} // namespace host
