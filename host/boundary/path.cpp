#include "host/boundary/path.h"

#include <filesystem>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// False for a path in which a plug-in may replace something, as ox_wp_plugin_geo does: white space
// around it, "\", "^", "$" or a leading "~".
bool isPlain(const std::string& name) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  const std::string path = fs::path(name).lexically_normal().string(); // ./~ is ~
  return path.empty() || (path.find_first_of("\\^$") == std::string::npos && path[0] != '~' &&
                          kBlanks.find(path.front()) == std::string_view::npos &&
                          kBlanks.find(path.back()) == std::string_view::npos);
}

} // namespace

std::string whyUnreadable(const std::string& path) {
  struct stat status{};
  if (stat(path.c_str(), &status) != 0)
    return path == "-" ? "-: standard input cannot be read; name a file" : systemError(path).what();
  if (S_ISDIR(status.st_mode))
    return path + ": a folder, not a file";
  if (!S_ISREG(status.st_mode))
    return path + ": not a regular file";
  if (access(path.c_str(), R_OK) != 0)
    return systemError(path).what();
  return {};
}

void expectToKeep(const std::vector<std::string>& inputs, const std::string& output) {
  struct stat written{};
  const bool isStandardOutput = output == kStandardOutput;
  if ((isStandardOutput ? fstat(STDOUT_FILENO, &written) : stat(output.c_str(), &written)) != 0 ||
      !S_ISREG(written.st_mode))
    return;
  for (const std::string& input : inputs) {
    // A plug-in may resolve ".." in the string; the system does so in the folders.
    for (const std::string& name : {input, fs::path(input).lexically_normal().string()}) {
      struct stat read{};
      if (stat(name.c_str(), &read) == 0 && read.st_dev == written.st_dev &&
          read.st_ino == written.st_ino)
        throw Error(input + ": the output would change this file, which is being read");
    }
    if (!isStandardOutput && !isPlain(input))
      throw Error(input +
                  ": the output exists, and may be the file that the plug-in reads for this "
                  "name; name the input without \\ ^ $ ~ or blanks around it");
  }
}

} // namespace host
