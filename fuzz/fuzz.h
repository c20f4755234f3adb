// What the fuzz targets share: how they complain, and a file in memory to put an input into.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "testing/miniSeedFile.h"

namespace fuzz {

// Where complaints go: standard error, unless a target has put something else in its place.
inline int complaints = 2;

// Ends the process, as the fuzzer wants it, when something that always holds doesn't.
inline void require(bool condition, const char* what) {
  if (condition)
    return;
  dprintf(complaints, "broken: %s\n", what);
  std::abort();
}

// A folder in memory for one file, whose name begins with "input".
class InputFolder {
public:
  InputFolder() {
    if (!mkdtemp(path_.data()))
      throw std::runtime_error("no folder for inputs");
  }
  ~InputFolder() { std::filesystem::remove_all(path_); }
  InputFolder(const InputFolder&) = delete;
  InputFolder& operator=(const InputFolder&) = delete;

  std::string name(const std::string& extension) const { return path_ + "/input" + extension; }

private:
  std::string path_ = "/dev/shm/ox-wp-fuzz-XXXXXX";
};

} // namespace fuzz
