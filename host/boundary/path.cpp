#include "host/boundary/path.h"

#include <sys/stat.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"

namespace host {

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
    struct stat read{};
    if (stat(input.c_str(), &read) == 0 && read.st_dev == written.st_dev &&
        read.st_ino == written.st_ino)
      throw Error(input + ": the output would change this file, which is being read");
  }
}

} // namespace host
