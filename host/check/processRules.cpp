// Rules of what a plug-in does outside itself: to the process, its output, and the file.

#include <clocale>
#include <filesystem>
#include <iterator>
#include <locale>

#include <stdio.h>
#include <sys/stat.h>

#include "host/check/rules.h"

namespace host {

namespace {

std::ptrdiff_t entriesIn(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

void printsNothing(Loaded& loaded) {
  loaded.useEverything();
  (void)fflush(nullptr);
  const std::string line = firstLine(loaded.subject.printed);
  expect(line.empty(), "it printed \"{}\"", line);
}

// A descriptor that is opened once and kept is not lost; one at each use is.
void closesDescriptors(Loaded& loaded) {
  Loaded(loaded.subject).useEverything();
  const auto before = entriesIn("/proc/self/fd");
  Loaded(loaded.subject).useEverything();
  const auto after = entriesIn("/proc/self/fd");
  expect(after == before, "{} descriptors after the first use, {} after the second", before, after);
}

void leavesTheProcess(Loaded& loaded) {
  loaded.useEverything();
  const ProcessState after = processState();
  std::string changed;
  for (std::size_t i = 0; i < after.size(); ++i)
    changed += after[i] == loaded.before[i] ? "" : fmt::format("; {}", after[i].first);
  expect(changed.empty(), "changed{}", changed);
}

void onlyReadsTheFile(Loaded& loaded) {
  loaded.useEverything();
  const std::filesystem::path file = loaded.subject.file;
  expect(exists(file), "it is gone");
  expect(last_write_time(file) == timeOfCopies(), "it was written to");
}

// The C and the C++ library's locale, as a host in either language sets it: the user's, or else one
// that a system often has.
std::string setCommaLocale() {
  for (const char* const name : {"", "de_DE.UTF-8", "fr_FR.UTF-8", "es_ES.UTF-8", "it_IT.UTF-8"})
    if (setlocale(LC_NUMERIC, name) && *localeconv()->decimal_point == ',') {
      std::locale::global(std::locale(name));
      return setlocale(LC_NUMERIC, nullptr);
    }
  throw Skipped("this system has no locale with a decimal comma");
}

void dependsOnNoLocale(Loaded& loaded) {
  const std::string before = loaded.content();
  const std::string name = setCommaLocale();
  expect(loaded.content() == before, "other properties or samples under the locale {}", name);
}

constexpr std::array kRules = std::to_array<Rule>({
    {"nothing is printed", printsNothing, Needs::any},
    {"no descriptor is left open", closesDescriptors, Needs::any},
    {"the process stays as it was, and no thread is started", leavesTheProcess, Needs::any},
    {"the file is only read", onlyReadsTheFile, Needs::path},
    {"nothing depends on the locale", dependsOnNoLocale, Needs::file},
});

} // namespace

const std::span<const Rule> kProcessRules = kRules;

ProcessState processState() {
  const mode_t mask = umask(0);
  umask(mask);
  return {{
      {"the working folder", std::filesystem::current_path().string()},
      {"the locale", setlocale(LC_ALL, nullptr)},
      {"the umask", std::to_string(mask)},
      {"the number of threads", std::to_string(entriesIn("/proc/self/task"))},
  }};
}

} // namespace host
