#include "host/boundary/names.h"

#include <cctype>
#include <filesystem>
#include <iterator>
#include <system_error>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/base/messages.h"
#include "host/base/output.h"

namespace host {

namespace fs = std::filesystem;

std::string whyUnreadable(const std::string& name) {
  struct stat status{};
  if (stat(name.c_str(), &status) != 0)
    return name == "-" ? "-: standard input cannot be read; name a file" : systemError(name).what();
  if (S_ISDIR(status.st_mode))
    return name + ": a folder, not a file";
  if (!S_ISREG(status.st_mode))
    return name + ": not a regular file";
  if (access(name.c_str(), R_OK) != 0)
    return systemError(name).what();
  return {};
}

std::string pathForPlugin(const std::string& name) {
  if (access(name.c_str(), F_OK) != 0)
    throw Error(whyUnreadable(name));
  const fs::path typed = name;
  std::error_code error;
  const fs::path folder = fs::canonical(typed.has_parent_path() ? typed.parent_path() : ".", error);
  if (error)
    throw systemError(name, error.value());
  std::string path = folder / typed.filename();
  if (path.find_first_of("\\^$") != std::string::npos ||
      std::isspace(static_cast<unsigned char>(path.back())) != 0)
    throw Error(name + R"(: not read, since a plug-in may take \, ^, $ or white space at the end )"
                       "of a path for something else; make a link with another name");
  return path;
}

void refuseToOverwrite(const std::vector<std::string>& inputs, const std::string& output) {
  struct stat written{};
  const bool isStandardOutput = output == kStandardOutput;
  if ((isStandardOutput ? fstat(STDOUT_FILENO, &written) : stat(output.c_str(), &written)) != 0 ||
      !S_ISREG(written.st_mode))
    return;
  for (const std::string& input : inputs) {
    struct stat read{};
    if (stat(input.c_str(), &read) == 0 && read.st_dev == written.st_dev &&
        read.st_ino == written.st_ino)
      throw Error(input + ": the output would change this file, which is being read");
  }
}

std::string someOf(const std::set<std::string>& names) {
  constexpr std::size_t kSome = 5;
  if (names.size() > kSome)
    return fmt::format("{} and {} more",
                       fmt::join(names.begin(), std::next(names.begin(), kSome), "; "),
                       names.size() - kSome);
  return names.empty() ? "none" : fmt::format("{}", fmt::join(names, "; "));
}

NameChoice::NameChoice(const std::vector<std::string>& patterns)
    : patterns_(patterns), unmatched_(patterns.begin(), patterns.end()) {}

bool NameChoice::matches(const std::string& name) {
  names_.insert(name);
  bool isMatched = patterns_.empty();
  for (const std::string& pattern : patterns_)
    if (fnmatch(pattern.c_str(), name.c_str(), 0) == 0) {
      isMatched = true;
      unmatched_.erase(pattern);
    }
  return isMatched;
}

void NameChoice::throwIfUnmatched(const std::string& kind) const {
  for (const std::string& pattern : unmatched_)
    throw Error(
        fmt::format("{}: no {} has such a name; there are {}", pattern, kind, someOf(names_)));
}

} // namespace host
