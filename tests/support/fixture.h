// What the tests of the support library share.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "support/cOxLogger.h"

using Lines = std::vector<std::string>;

// Keeps every message as "code:text", and all raw text.
struct ReceivedMessages : ox3::cOxLoggerCallBack {
  void message(unsigned long code, const std::string& text) override {
    if (throws)
      throw code;
    all.push_back(std::to_string(code) + ":" + text);
  }
  void rawText(const std::string& text) override { raw += text; }
  void setInterrupted(bool value) override { interrupted = value; }
  bool checkInterrupted() override { return interrupted; }
  void progress() override {}

  Lines all;
  std::string raw;
  bool interrupted = false, throws = false;
};

// Sets each "NAME=value" in the environment; a NAME alone is unset.
inline void setEnvironment(const Lines& variables) {
  for (const std::string& variable : variables) {
    const std::size_t end = variable.find('=');
    const std::string name = variable.substr(0, end);
    end == std::string::npos ? unsetenv(name.c_str())
                             : setenv(name.c_str(), variable.c_str() + end + 1, 1);
  }
}
