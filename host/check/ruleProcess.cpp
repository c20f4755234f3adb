#include "host/check/ruleProcess.h"

#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <new>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "host/base/endingSignals.h"
#include "host/base/error.h"
#include "host/base/spool.h"
#include "host/check/rules.h"
#include "host/check/tracedLibrary.h"

namespace host {

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

struct FileCopy;

// What a signal that ends this process ends and removes first.
std::atomic<pid_t> runningChild = 0;
std::atomic<const FileCopy*> currentCopy = nullptr;

// A copy of a data file under its own name, in a folder of its own, for a rule that changes it. The
// parent makes it and removes it: the child may crash.
struct FileCopy {
  explicit FileCopy(const fs::path& original) {
    std::random_device random;
    folder =
        fs::path(temporaryFolder()) / fmt::format("ox-wp-host-{:08x}{:08x}", random(), random());
    path = folder / original.filename();
    currentCopy = this; // the names are complete before a signal can need them
  }
  ~FileCopy() {
    std::error_code ignored;
    fs::remove_all(folder, ignored); // with what the plug-in put beside the copy
    currentCopy = nullptr;
  }
  FileCopy(const FileCopy&) = delete;
  FileCopy& operator=(const FileCopy&) = delete;

  void make(const fs::path& original) const {
    if (mkdir(folder.c_str(), S_IRWXU) != 0)
      throw systemError(folder.string() + " (see TMPDIR)");
    fs::copy_file(original, path);
    fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
  }

  fs::path folder;
  fs::path path;
};

extern "C" void endChild(int /*signal*/) {
  if (const pid_t child = runningChild; child != 0)
    kill(-child, SIGKILL);
}

void endChildAndRemoveCopy() {
  endChild(0);
  if (const FileCopy* copy = currentCopy) {
    unlink(copy->path.c_str());
    rmdir(copy->folder.c_str());
  }
}

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

// An empty file in memory for what the next child prints. Stays open until the process ends.
int emptyPrintedFile() {
  static const int descriptor = memfd_create("printed", MFD_CLOEXEC);
  if (ftruncate(descriptor, 0) != 0 || lseek(descriptor, 0, SEEK_SET) != 0)
    throw systemError("no memory file");
  return descriptor;
}

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

// Returns the child's wait status. By then its whole group has ended, or the time limit ended it.
int waitForEnd(pid_t child, std::chrono::seconds timeLimit) {
  setpgid(child, child); // the child does so too: either may be the first to need the group
  runningChild = child;
  (void)signal(SIGALRM, endChild);
  alarm(static_cast<unsigned>(timeLimit.count()));
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  alarm(0);
  kill(-child, SIGKILL); // before the child is reaped: until then its group's number is its own
  runningChild = 0;
  int status = 0;
  waitpid(child, &status, 0);
  return status;
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
                   std::chrono::seconds timeLimit) {
  cleanUpOnEndingSignals(endChildAndRemoveCopy);
  const FileCopy copy(file);
  if (rule.needs == Needs::copy)
    copy.make(file);
  const std::string& tried = rule.needs == Needs::copy ? copy.path.native() : file;
  const int printed = emptyPrintedFile();
  Report& report = emptyReport();
  const auto start = Clock::now();

  (void)fflush(nullptr); // or the child would print it too
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0)
    throw systemError("no process for the rule");
  if (child == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) // the parent ended before that request
      _exit(EXIT_FAILURE);
    runChild(rule, {plugin, tried, printed, start + std::chrono::milliseconds(timeLimit) / 2},
             report);
  }
  const int status = waitForEnd(child, timeLimit);
  if (report.complete)
    return {report.verdict, report.seen.data()};
  const std::string place = report.calling ? std::string(" in ") + report.calling : "";
  if (Clock::now() - start >= timeLimit)
    return {Verdict::hung, fmt::format("hung{}: no end within {} s", place, timeLimit.count())};
  return {Verdict::broken, "crashed" + place + describeEnd(status, printed)};
}

} // namespace

Outcome runRule(const Rule& rule, const std::string& plugin, const std::string& file,
                std::chrono::seconds timeLimit) {
  try {
    return runInChild(rule, plugin, file, timeLimit);
  } catch (const std::exception& error) { // not the plug-in's fault
    return {Verdict::skipped, error.what()};
  }
}

} // namespace host
