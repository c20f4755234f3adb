#include "host/check/ruleProcess.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/error.h"

namespace host {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

// A folder for the files of one rule. The parent removes it: the child may crash.
class ScratchFolder {
public:
  explicit ScratchFolder(const Rule& rule) {
    if (rule.needs != Needs::fileAndFolder)
      return;
    std::error_code error;
    path_ = (fs::temp_directory_path(error) / "ox-wp-host-XXXXXX").string();
    if (error || !mkdtemp(path_.data()))
      throw systemError("no temporary folder (see TMPDIR)", error ? error.value() : errno);
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty())
      fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const noexcept { return path_; }

private:
  std::string path_;
};

// What the child leaves for its parent. Both have it in memory at the same address.
struct Report {
  bool complete;
  Verdict verdict;
  std::array<char, 4096> seen; // a string, cut where it is longer
  const char* calling;         // a literal, which both have at the same address too
};

// The report of the next child. Stays mapped until the process ends.
Report& emptyReport() {
  static void* const memory =
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED)
    throw systemError("no shared memory");
  return *new (memory) Report{};
}

// A file in memory for what the child prints.
struct PrintedOutput {
  PrintedOutput() : descriptor(memfd_create("printed", MFD_CLOEXEC)) {
    if (descriptor < 0)
      throw systemError("no memory file");
  }
  ~PrintedOutput() { close(descriptor); }
  PrintedOutput(const PrintedOutput&) = delete;
  PrintedOutput& operator=(const PrintedOutput&) = delete;

  const int descriptor;
};

// Blocks the signals that would end this process and takes them while it waits for a child, so that
// what a rule leaves is removed first. The destructor passes a signal that was taken on.
class HeldSignals {
public:
  HeldSignals() {
    sigemptyset(&held_);
    sigaddset(&held_, SIGCHLD);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
      struct sigaction action {};
      sigaction(signal, nullptr, &action);
      if (action.sa_handler != SIG_IGN)
        sigaddset(&held_, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held_, &before_);
  }
  ~HeldSignals() {
    if (taken_ != 0)
      (void)raise(taken_);
    release();
  }
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

  void release() const noexcept { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  // True when the child has ended; false at the deadline or when a signal was taken.
  bool waitForEnd(pid_t child, Clock::time_point deadline) {
    for (;;) {
      siginfo_t info{};
      if (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
          info.si_pid == child)
        return true;
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0)
        return false;
      const timespec time{left.count() / 1000, left.count() % 1000 * 1'000'000};
      const int signal = sigtimedwait(&held_, nullptr, &time);
      if (signal > 0 && signal != SIGCHLD) {
        taken_ = signal;
        return false;
      }
    }
  }
  bool interrupted() const noexcept { return taken_ != 0; }

private:
  sigset_t held_{};
  sigset_t before_{};
  int taken_ = 0;
};

Outcome judge(const Rule& rule, const Subject& subject) {
  try {
    rule.run(subject);
    return {Verdict::ok, ""};
  } catch (const Broken& broken) {
    return {Verdict::broken, broken.what()};
  } catch (const std::bad_alloc&) {
    return {Verdict::skipped, "not enough memory"};
  } catch (const std::exception& exception) {
    return {Verdict::skipped, exception.what()};
  }
}

// Ends without destructors and exit handlers: they are the parent's.
[[noreturn]] void runChild(const Rule& rule, const Subject& subject, Report& report) {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  dup2(subject.printed, STDOUT_FILENO);
  dup2(subject.printed, STDERR_FILENO);
  noteCallsAt(&report.calling);
  const Outcome outcome = judge(rule, subject);
  report.verdict = outcome.verdict;
  outcome.seen.copy(report.seen.data(), report.seen.size() - 1);
  report.complete = true;
  _exit(EXIT_SUCCESS);
}

// A dying process often prints the reason first.
std::string describeEnd(int status, int printed) {
  const std::string line = firstLine(printed);
  const std::string reason = line.empty() ? "" : " after printing \"" + line + '"';
  if (WIFSIGNALED(status))
    return fmt::format(": signal {} ({}){}", WTERMSIG(status), strsignal(WTERMSIG(status)), reason);
  return fmt::format(": the process ended with status {}{}", WEXITSTATUS(status), reason);
}

Outcome runInChild(const Rule& rule, const std::string& plugin, const std::string& file,
                   std::chrono::milliseconds timeLimit) {
  HeldSignals signals; // ends last: by then everything is removed
  const ScratchFolder scratch(rule);
  const PrintedOutput printed;
  Report& report = emptyReport();
  const auto start = Clock::now();

  (void)std::fflush(nullptr); // or the child would print it too
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0)
    throw systemError("no process for the rule");
  if (child == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) // the parent ended before that request
      _exit(EXIT_FAILURE);
    signals.release();
    runChild(rule, {plugin, file, scratch.path(), printed.descriptor, start + timeLimit / 2},
             report);
  }
  setpgid(child, child); // both do it: either may be the first to need the group

  const bool ended = signals.waitForEnd(child, start + timeLimit);
  kill(-child, SIGKILL); // before the child is reaped: until then its group's number is its own
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (signals.interrupted())
    return {Verdict::skipped, "interrupted"};
  if (report.complete)
    return {report.verdict, report.seen.data()};
  const std::string place = report.calling ? std::string(" in ") + report.calling : "";
  if (!ended)
    return {Verdict::hung,
            fmt::format("hung{}: no end within {} s", place, timeLimit / std::chrono::seconds(1))};
  return {Verdict::broken, "crashed" + place + describeEnd(status, printed.descriptor)};
}

} // namespace

Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::optional<std::chrono::seconds> timeLimit) {
  try {
    if (timeLimit)
      return runInChild(rule, plugin, file, *timeLimit);
    const ScratchFolder scratch(rule);
    return judge(rule, {plugin, file, scratch.path(), -1, Clock::time_point::max()});
  } catch (const Error& error) { // not the plug-in's fault
    return {Verdict::skipped, error.what()};
  }
}

} // namespace host
