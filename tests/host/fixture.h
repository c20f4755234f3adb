// What the host's tests share: a folder of their own and the plug-in that keeps the rules.
#ifndef OX_WP_TESTS_HOST_FIXTURE_H
#define OX_WP_TESTS_HOST_FIXTURE_H

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "host/plugin.h"

inline std::string fakePlugin(const std::string& brokenRule = "NOTHING") {
  return FAKE_PLUGINS "/fake_plugin_" + brokenRule + ".so";
}

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
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }
  size_t filesInFolder() const {
    const std::filesystem::directory_iterator files(folder);
    return static_cast<size_t>(std::distance(begin(files), end(files)));
  }

  std::filesystem::path folder;
  host::Library library{fakePlugin()};
  host::Plugin plugin{library};
};

#endif
