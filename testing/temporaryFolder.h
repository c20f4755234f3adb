// A folder of its own for each test, gone with everything in it afterwards.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <stdlib.h>

#include "testing/miniSeedFile.h"

class TemporaryFolder {
public:
  explicit TemporaryFolder(
      const std::filesystem::path& where = std::filesystem::temp_directory_path())
      : path_(where / "ox-wp-XXXXXX") {
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
  std::string path_;
};
