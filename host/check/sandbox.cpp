#include "host/check/sandbox.h"

#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h> // pid_t
#include <unistd.h>

#include "host/base/messages.h"
#include "host/base/signals.h"
#include "host/boundary/names.h"

namespace host {

namespace {

namespace fs = std::filesystem;

struct FileCopy;

// What a signal that ends this process ends and removes first.
std::atomic<pid_t> runningChild = 0;
std::atomic<const FileCopy*> currentCopy = nullptr;

// A copy of a data file under its own name, in a folder of its own: a plug-in under test may write
// into it. The parent makes it and removes it: the child may crash.
struct FileCopy {
  FileCopy() {
    const char* where = getenv("TMPDIR");
    folder = fs::path(where && *where != '\0' ? where : "/tmp") / "ox-wp-host-XXXXXX";
    if (!mkdtemp(folder.data()))
      throw systemError(folder + " (see TMPDIR)");
  }
  ~FileCopy() {
    std::error_code ignored;
    fs::remove_all(folder, ignored); // with what the plug-in put beside the copy
    currentCopy = nullptr;
  }
  FileCopy(const FileCopy&) = delete;
  FileCopy& operator=(const FileCopy&) = delete;

  void make(const fs::path& original) {
    path = folder / original.filename();
    currentCopy = this; // once there is all that a signal handler reads
    if (fs::space(folder).available < fs::file_size(original)) // copy_file() would not say so
      throw systemError(folder + " (see TMPDIR)", ENOSPC);
    fs::copy_file(original, path);
    fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
    fs::last_write_time(path, timeOfCopies());
  }

  std::string folder;
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

// Returns the verdict and what was seen. An exception that left a function of the plug-in left its
// name in `running`.
std::pair<Verdict, std::string> judge(const Rule& rule, const Subject& subject,
                                      const char* const& running) {
  bool isLoaded = false;
  try {
    Loaded loaded(subject);
    isLoaded = true;
    if (!subject.file.empty() && !loaded.file && rule.needs != Needs::path)
      return {Verdict::skipped, "the file is declined"};
    rule.run(loaded);
    return {Verdict::ok, ""};
  } catch (const Broken& broken) {
    return {Verdict::broken, broken.what()};
  } catch (const Error& error) { // which is also Skipped
    return {isLoaded ? Verdict::skipped : Verdict::broken, error.what()};
  } catch (const std::exception& exception) {
    if (!running)
      return {Verdict::untried, exception.what()};
    const std::string function = running;
    const bool mayThrow = function == OX_WP_PLUGIN_ENTRY_POINT || function == "parse_file" ||
                          function == "copy_variable_data";
    if (mayThrow && dynamic_cast<const std::bad_alloc*>(&exception))
      return {Verdict::skipped, function + " finds not enough memory"};
    return {Verdict::broken, fmt::format("{} threw: {}", function, exception.what())};
  }
}

// Ends without destructors and exit handlers: they are the parent's.
[[noreturn]] void runChild(const Rule& rule, const Subject& subject, Report& report) {
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
  dup2(subject.printed, STDOUT_FILENO);
  dup2(subject.printed, STDERR_FILENO);
  RunningFunction::place = &report.calling;
  const auto [verdict, seen] = judge(rule, subject, report.calling);
  report.verdict = verdict;
  seen.copy(report.seen.data(), report.seen.size() - 1);
  report.complete = true;
  _exit(EXIT_SUCCESS);
}

// Returns the child's wait status. By then its whole group has ended, or the time limit ended it.
// The limit is not the child's own: a plug-in can ignore the signal.
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
  return (WIFSIGNALED(status)
              ? fmt::format(": signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)))
              : fmt::format(": it ended with status {}", WEXITSTATUS(status))) +
         (line.empty() ? "" : " after printing \"" + line + '"');
}

} // namespace

Outcome runInChild(const Rule& rule, const std::string& plugin, const std::string& file,
                   std::chrono::seconds timeLimit) try {
  cleanUpOnEndingSignals(endChildAndRemoveCopy);
  std::optional<FileCopy> copy;
  if (!file.empty())
    copy.emplace().make(file);
  const std::string tried = copy ? pathForPlugin(copy->path) : "";
  const int printed = emptyPrintedFile();
  Report& report = emptyReport();
  const auto start = std::chrono::steady_clock::now();

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
  const std::string function = report.calling ? report.calling : "";
  if (report.complete)
    return {report.verdict, report.seen.data(), function};
  const std::string place = function.empty() ? "" : " in " + function;
  if (std::chrono::steady_clock::now() - start >= timeLimit)
    return {Verdict::hung, fmt::format("hung{}: no end within {} s", place, timeLimit.count()),
            function};
  return {Verdict::broken, "crashed" + place + describeEnd(status, printed), function};
} catch (const std::exception& error) { // the machine keeps something from being done
  return {Verdict::untried, error.what(), ""};
}

} // namespace host
