#include "host/base/output.h"

#include <array>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace fs = std::filesystem;

namespace {

constexpr size_t kBufferSize = size_t{1} << 16;
constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};

// What a signal handler has to remove, as it may only read plain memory; empty when nothing.
std::array<char, PATH_MAX> removeOnSignal{};

extern "C" void removeAndEnd(int signal) {
  if (removeOnSignal[0] != '\0')
    unlink(removeOnSignal.data());
  // Restored to its default by SA_RESETHAND: ends the process as if there had been no handler.
  (void)raise(signal);
}

sigset_t endingSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kEndingSignals)
    sigaddset(&set, signal);
  return set;
}

// Keeps the ending signals waiting while the temporary file exists but is not yet noted.
class SignalsHeld {
public:
  SignalsHeld() noexcept {
    const sigset_t set = endingSignals();
    pthread_sigmask(SIG_BLOCK, &set, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
  sigset_t before_{};
};

void handleEndingSignals() {
  struct sigaction action {};
  action.sa_handler = removeAndEnd;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (const int signal : kEndingSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) // as nohup sets it
      sigaction(signal, &action, nullptr);
  }
}

// What a new file of this name would get, or what the file that it replaces has.
mode_t permissionsFor(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0)
    return status.st_mode & 07777;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Only a regular file can be replaced by moving another one there: a device would be lost.
bool isReplaceable(const std::string& path) {
  const fs::file_status status = fs::status(path);
  return !fs::exists(status) || fs::is_regular_file(status);
}

} // namespace

Output::Output(const std::string& path) : path_(path), descriptor_(STDOUT_FILENO) {
  if (path_.empty())
    return;
  if (isReplaceable(path_))
    openTemporaryFile();
  else
    descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
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

void Output::openTemporaryFile() {
  // Through a symbolic link: the file that it points to is the one to replace.
  path_ = fs::weakly_canonical(path_).string();
  std::string name = (fs::path(path_).parent_path() / ".ox-wp-host-XXXXXX").string();
  if (name.size() >= removeOnSignal.size())
    throw systemError(path_, ENAMETOOLONG);
  handleEndingSignals();
  const SignalsHeld held;
  descriptor_ = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor_ < 0)
    return;
  temporary_ = name;
  std::memcpy(removeOnSignal.data(), name.c_str(), name.size() + 1);
}

void Output::write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferSize)
    flush();
  if (bytes.size() > kBufferSize)
    pass(bytes); // as it is: gigabytes at a time come this way
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
    else if (errno != EINTR)
      throw systemError(path_.empty() ? "standard output" : path_);
  }
}

void Output::commit() {
  flush();
  if (temporary_.empty())
    return;
  if (fchmod(descriptor_, permissionsFor(path_)) != 0 || fsync(descriptor_) != 0 ||
      rename(temporary_.c_str(), path_.c_str()) != 0)
    throw systemError(path_);
  removeOnSignal[0] = '\0';
  temporary_.clear();
}

} // namespace host
