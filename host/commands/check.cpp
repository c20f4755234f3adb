// `check`: whether a plug-in keeps the rules of the boundary. Each rule runs in a child process: a
// plug-in that crashes or hangs there harms nothing else.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <iterator>
#include <new>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/base/messages.h"
#include "host/boundary/names.h"
#include "host/check/rules.h"
#include "host/commands/commands.h"

namespace host {

namespace {

namespace fs = std::filesystem;

// The greater one counts where a rule is tried on several files. What is reported of another rule
// already is asAbove: the rule is skipped.
enum class Verdict { skipped, ok, asAbove, broken, hung };

struct Outcome {
  Verdict verdict = Verdict::skipped;
  std::string seen; // what breaks the rule, or why it was skipped
  // The function of the plug-in that crashed, hung or threw; null where none did.
  const char* function = nullptr;
};

using Clock = std::chrono::steady_clock;

struct FileCopy;

// What a signal that ends this process ends and removes first.
std::atomic<pid_t> runningChild = 0;
std::atomic<const FileCopy*> currentCopy = nullptr;

// A copy of a data file under its own name, in a folder of its own, for a rule that changes it. The
// parent makes it and removes it: the child may crash.
struct FileCopy {
  FileCopy() {
    const char* where = getenv("TMPDIR");
    folder = fs::path(where && *where != '\0' ? where : "/tmp") / "ox-wp-host-XXXXXX";
    currentCopy = this; // before there is something to remove
  }
  ~FileCopy() {
    std::error_code ignored;
    fs::remove_all(folder, ignored); // with what the plug-in put beside the copy
    currentCopy = nullptr;
  }
  FileCopy(const FileCopy&) = delete;
  FileCopy& operator=(const FileCopy&) = delete;

  void make(const fs::path& original) {
    if (!mkdtemp(folder.data()))
      throw systemError(folder + " (see TMPDIR)");
    path = folder / original.filename();
    fs::copy_file(original, path);
    fs::permissions(path, fs::perms::owner_write, fs::perm_options::add);
  }

  std::string folder;
  fs::path path; // empty until it is made
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

void tryRule(const Rule& rule, const Subject& subject) {
  std::optional<Loaded> loaded;
  try {
    loaded.emplace(subject);
  } catch (const Error& error) {
    throw Broken(error.what());
  }
  if (!subject.file.empty() && !loaded->file && rule.needs != Needs::path)
    throw Skipped("the file is declined");
  rule.run(*loaded);
}

// An exception that left a function of the plug-in left its name as well.
Outcome judge(const Rule& rule, const Subject& subject, const char* const& thrower) {
  try {
    tryRule(rule, subject);
    return {Verdict::ok, ""};
  } catch (const Broken& broken) {
    return {Verdict::broken, broken.what()};
  } catch (const std::bad_alloc&) {
    const std::string function = thrower ? thrower : "";
    if (function.empty() || function == OX_WP_PLUGIN_ENTRY_POINT || function == "parse_file" ||
        function == "copy_variable_data")
      return {Verdict::skipped, "not enough memory"};
    return {Verdict::broken, function + " threw std::bad_alloc"};
  } catch (const std::exception& exception) {
    return thrower
               ? Outcome{Verdict::broken, fmt::format("{} threw: {}", thrower, exception.what())}
               : Outcome{Verdict::skipped, exception.what()};
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
  const Outcome outcome = judge(rule, subject, report.calling);
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
  return (WIFSIGNALED(status)
              ? fmt::format(": signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)))
              : fmt::format(": it ended with status {}", WEXITSTATUS(status))) +
         (line.empty() ? "" : " after printing \"" + line + '"');
}

// Runs the rule on a plug-in and a data file, which may be empty. Afterwards the child, the
// processes of its group and its copy of the file are gone, also when a signal ends the caller
// meanwhile.
Outcome runInChild(const Rule& rule, const std::string& plugin, const std::string& file,
                   std::chrono::seconds timeLimit) {
  cleanUpOnEndingSignals(endChildAndRemoveCopy);
  FileCopy copy;
  if (rule.needs == Needs::copy)
    copy.make(file);
  const std::string tried = rule.needs == Needs::copy ? pathForPlugin(copy.path) : file;
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
    return {report.verdict, report.seen.data(), report.calling};
  const std::string place = report.calling ? std::string(" in ") + report.calling : "";
  if (Clock::now() - start >= timeLimit)
    return {Verdict::hung, fmt::format("hung{}: no end within {} s", place, timeLimit.count()),
            report.calling};
  return {Verdict::broken, "crashed" + place + describeEnd(status, printed), report.calling};
}

// Each rule that hangs costs a time limit, so the rest is skipped after so many.
constexpr int kMostHangs = 3;

std::vector<Rule> chosenRules(const Request& request) {
  std::vector<Rule> rules;
  NameChoice choice(request.patterns);
  for (const auto part : {kObjectRules, kPropertyRules, kSampleRules})
    std::copy_if(part.begin(), part.end(), std::back_inserter(rules),
                 [&](const Rule& rule) { return choice.matches(std::string(rule.name)); });
  choice.throwIfUnmatched("rule");
  return rules;
}

bool isBroken(const Outcome& outcome) noexcept {
  return outcome.verdict >= Verdict::broken;
}

class Checker {
public:
  explicit Checker(const Request& request) : request_(request), paths_{""} {
    for (const std::string& file : request.files)
      paths_.push_back(pathForPlugin(file));
  }

  // One outcome for all files.
  Outcome run(const Rule& rule) {
    if (!stopped_.empty())
      return {Verdict::skipped, stopped_};
    Outcome whole{Verdict::skipped, "no file given"};
    const std::size_t first = rule.needs <= Needs::any ? 0 : 1; // 0: without a file
    const std::size_t end = rule.needs == Needs::none ? 1 : paths_.size();
    for (std::size_t i = first; i < end && stopped_.empty(); ++i) {
      const Outcome outcome = runOn(rule, i);
      if (isBroken(whole))
        whole.seen += isBroken(outcome) ? "; " + outcome.seen : "";
      else if (outcome.verdict >= whole.verdict)
        whole = outcome;
      // A file would show the same, or cost a time limit more.
      if (isBroken(outcome) && (i == 0 || outcome.verdict == Verdict::hung))
        break;
    }
    return whole;
  }

  const std::string& stopped() const noexcept { return stopped_; } // why no further rule is tried

private:
  Outcome runOn(const Rule& rule, std::size_t i) {
    Outcome outcome;
    try {
      outcome =
          runInChild(rule, request_.plugin, paths_[i], std::chrono::seconds(request_.timeLimit));
    } catch (const std::exception& error) { // not the plug-in's fault
      outcome = {Verdict::skipped, error.what()};
    }
    if (i > 0)
      outcome.seen = request_.files[i - 1] + ": " + outcome.seen;
    if (outcome.verdict == Verdict::hung && ++hung_ == kMostHangs)
      stopped_ = fmt::format("{} rules hung", hung_);
    if (isBroken(outcome) && rule.run == kObjectRules[0].run)
      stopped_ = "there is no plug-in object";
    if (isBroken(outcome) && rule.run == kObjectRules[1].run)
      failing_ = outcome.function ? outcome.function : "";
    else if (isBroken(outcome) && outcome.function && failing_ == outcome.function)
      outcome = {Verdict::asAbove, "as above: " + outcome.seen};
    return outcome;
  }

  const Request& request_;
  std::vector<std::string> paths_; // the first is empty: no file
  std::string failing_;            // the function that does not return where all is as intended
  int hung_ = 0;
  std::string stopped_;
};

std::string line(const Rule& rule, const Outcome& outcome) {
  if (outcome.verdict == Verdict::ok)
    return fmt::format("ok      {}\n", rule.name);
  const std::string seen = printable(outcome.seen);
  return isBroken(outcome) ? fmt::format("BROKEN  {}: {}\n", rule.name, seen)
                           : fmt::format("skip    {} ({})\n", rule.name, seen);
}

} // namespace

int check(const Request& request) {
  const std::vector<Rule> rules = chosenRules(request);
  if (const std::string reason = whyUnreadable(request.plugin); !reason.empty())
    throw Error(reason);
  std::vector<std::string> read = request.files;
  read.push_back(request.plugin);
  refuseToOverwrite(read, kStandardOutput);
  Checker checker(request);
  Output output(kStandardOutput);
  std::size_t ok = 0;
  std::size_t broken = 0;
  for (const Rule& rule : rules) {
    const Outcome outcome = checker.run(rule);
    output.write(line(rule, outcome));
    output.flush(); // the next rule may take its time
    ok += outcome.verdict == Verdict::ok ? 1 : 0;
    broken += isBroken(outcome) ? 1 : 0;
  }
  output.write(fmt::format("{} rule{}: {} ok, {} broken, {} skipped{}\n", rules.size(),
                           rules.size() == 1 ? "" : "s", ok, broken, rules.size() - ok - broken,
                           checker.stopped().empty() ? "" : "; stopped: " + checker.stopped()));
  output.commit();
  return broken == 0 ? kSuccess : kFailure;
}

} // namespace host
