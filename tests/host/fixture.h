// What the host's tests share: a folder of their own and the plug-in that keeps the rules.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "host/boundary/plugin.h"

class HostTest : public testing::Test {
protected:
  HostTest() {
    std::string name = testing::TempDir() + "host-XXXXXX";
    folder = mkdtemp(name.data());
  }
  ~HostTest() override { std::filesystem::remove_all(folder); }

  std::string write(const std::string& name, const std::string& content) const {
    std::ofstream(folder / name, std::ios::binary) << content;
    return (folder / name).string();
  }
  static std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::filesystem::path folder;
  host::Library library{FAKE_PLUGIN};
  host::Plugin plugin{library};
};
