// What the host's tests share: a folder of their own and the plug-in that keeps the rules.
#pragma once

#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>

#include <gtest/gtest.h>

#include "host/boundary/plugin.h"
#include "testing/temporaryFolder.h"

class HostTest : public testing::Test {
protected:
  std::string write(const std::string& name, const std::string& content) const {
    return temporary.write(name, content);
  }
  static std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  TemporaryFolder temporary;
  std::filesystem::path folder = temporary / "";
  host::Library library{FAKE_PLUGIN};
  host::Plugin plugin{library};
};
