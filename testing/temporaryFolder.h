// A folder for one test's files.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "testing/miniSeedFile.h"

class temporaryFolder {
public:
  temporaryFolder() {
    if (!mkdtemp(path.data()))
      throw std::runtime_error("no temporary folder");
  }
  ~temporaryFolder() { std::filesystem::remove_all(path); }
  temporaryFolder(const temporaryFolder&) = delete;
  temporaryFolder& operator=(const temporaryFolder&) = delete;

  std::string operator/(const std::string& name) const { return path + "/" + name; }

  // Returns the file's path.
  std::string write(const std::string& name, const std::string& bytes) const {
    miniSeedFile::write(*this / name, bytes);
    return *this / name;
  }

private:
  std::string path = std::filesystem::temp_directory_path() / "ox-wp-XXXXXX";
};
