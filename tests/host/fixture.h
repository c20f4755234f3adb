// What the host's tests share: a folder of their own, runs of the command line, and the plug-in
// that keeps the rules.
#pragma once

#include <filesystem> // IWYU pragma: export
#include <fstream>
#include <ios>
#include <iterator> // IWYU pragma: export

#include <gtest/gtest.h>
#include <stdlib.h>

#include "host/boundary/plugin.h"
#include "host/commandLine.h"
#include "testing/miniSeedFile.h"    // IWYU pragma: export
#include "testing/temporaryFolder.h" // IWYU pragma: export

using Strings = std::vector<std::string>;

// The tests run in the folder.
class HostTest : public testing::Test {
protected:
  HostTest() { std::filesystem::current_path(folder); }
  ~HostTest() override { std::filesystem::current_path("/"); } // the folder goes

  std::string write(const std::string& name, const std::string& content) const {
    return temporary.write(name, content);
  }
  static std::string read(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Returns the exit status; what was printed is in out and err.
  int run(Strings arguments, const std::string& pluginPath = FAKE_PLUGIN) {
    setenv("OX_WP_PLUGIN", pluginPath.c_str(), 1);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = host::runCommandLine(std::move(arguments));
    out = testing::internal::GetCapturedStdout();
    err = testing::internal::GetCapturedStderr();
    return status;
  }

  // Expects this exit status, and something that is said on either stream.
  void expect(const Strings& arguments, int status, const std::string& said,
              const std::string& pluginPath = FAKE_PLUGIN) {
    EXPECT_EQ(run(arguments, pluginPath), status) << testing::PrintToString(arguments) << err;
    EXPECT_NE((out + err).find(said), std::string::npos)
        << said << " is not said by " << testing::PrintToString(arguments) << out << err;
  }

  TemporaryFolder temporary;
  std::filesystem::path folder = temporary / "";
  host::Library library{FAKE_PLUGIN};
  host::Plugin plugin{library};
  std::string out;
  std::string err;
};
