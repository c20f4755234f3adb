// A folder for the files of one test, removed at its end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "testing/miniSeedFile.h"

class TemporaryFolder {
public:
  TemporaryFolder() {
    if (!mkdtemp(path_.data()))
      throw std::runtime_error("no temporary folder");
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  // Returns the file's path.
  std::string write(const std::string& name, const std::string& bytes) const {
    miniSeedFile::write(*this / name, bytes);
    return *this / name;
  }

private:
  std::string path_ = std::filesystem::temp_directory_path() / "ox-wp-XXXXXX";
};
