#include "host/check/ruleProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

class Descriptor {
public:
  explicit Descriptor(int value) : value_(value) {
    if (value_ < 0)
      throw systemError("check");
  }
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const noexcept { return value_; }
  void reset() noexcept {
    if (value_ >= 0)
      close(value_);
    value_ = -1;
  }

private:
  int value_;
};

// A folder for the files of one rule, removed by the parent: the child may not live to do it.
class ScratchFolder {
public:
  ScratchFolder() : path_((fs::temp_directory_path() / "ox-wp-host-XXXXXX").string()) {
    if (!mkdtemp(path_.data()))
      throw systemError(path_);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const noexcept { return path_; }

private:
  std::string path_;
};

Outcome judge(const Rule& rule, const Subject& subject) {
  try {
    rule.run(subject);
    return {Verdict::ok, ""};
  } catch (const Skipped& skipped) {
    return {Verdict::skipped, skipped.what()};
  } catch (const Broken& broken) {
    return {Verdict::broken, broken.what()};
  } catch (const Error& error) { // the rule could not be tried; that a library loads is a rule too
    return {Verdict::skipped, error.what()};
  } catch (const std::exception& exception) {
    return {Verdict::broken, std::string("exception: ") + exception.what()};
  } catch (...) {
    return {Verdict::broken, "exception of an unknown type"};
  }
}

// The child's life. The verdict goes through the pipe, first byte, and the text behind it. Ends
// without destructors and exit handlers: they are the parent's.
[[noreturn]] void runChild(const Rule& rule, const Subject& subject, int pipe) {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  dup2(subject.printed, STDOUT_FILENO);
  dup2(subject.printed, STDERR_FILENO);
  const Outcome outcome = judge(rule, subject);
  const std::string message = static_cast<char>(outcome.verdict) + outcome.seen;
  const bool sent =
      write(pipe, message.data(), message.size()) == static_cast<ssize_t>(message.size());
  _exit(sent ? EXIT_SUCCESS : EXIT_FAILURE);
}

// Everything that comes until the other end is closed. False when that takes until the deadline.
bool readAll(int pipe, Clock::time_point deadline, std::string& message) {
  std::array<char, 512> part{};
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd ready{pipe, POLLIN, 0};
    const int polled = poll(&ready, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
    if (polled < 0 && errno == EINTR)
      continue;
    if (polled <= 0)
      return false;
    const ssize_t length = read(pipe, part.data(), part.size());
    if (length <= 0)
      return true;
    message.append(part.data(), static_cast<size_t>(length));
  }
}

// The first line of what was printed, which is where a dying process says why.
std::string firstLine(int printed) {
  std::array<char, 200> text{};
  if (pread(printed, text.data(), text.size() - 1, 0) <= 0)
    return {};
  const std::string line(text.data(), std::strcspn(text.data(), "\n"));
  return " after printing \"" + line + '"';
}

std::string describeEnd(int status, int printed) {
  if (WIFSIGNALED(status))
    return fmt::format("crashed: signal {} ({}){}", WTERMSIG(status), strsignal(WTERMSIG(status)),
                       firstLine(printed));
  return fmt::format("ended the process with status {}{}", WEXITSTATUS(status), firstLine(printed));
}

} // namespace

Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::chrono::seconds timeLimit) {
  const ScratchFolder scratch;
  const Descriptor printed(memfd_create("printed", MFD_CLOEXEC));
  std::array<int, 2> ends{-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    throw systemError("check");
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);

  (void)std::fflush(nullptr); // or the child would print it too
  const pid_t child = fork();
  if (child < 0)
    throw systemError("check");
  if (child == 0)
    runChild(rule, {plugin, file, scratch.path(), printed.get()}, writing.get());
  writing.reset();

  std::string message;
  const bool inTime = readAll(reading.get(), Clock::now() + timeLimit, message);
  if (!inTime)
    kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!inTime)
    return {Verdict::broken, fmt::format("hung: no end within {} s", timeLimit.count())};
  if (message.empty())
    return {Verdict::broken, describeEnd(status, printed.get())};
  return {static_cast<Verdict>(message.front()), message.substr(1)};
}

} // namespace host
