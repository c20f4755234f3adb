// What the tests of the support library share.
#pragma once

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <stdlib.h>

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

// Sets each "NAME=value" in the environment, unsets a NAME alone, and undoes it at the end.
class Environment {
public:
  explicit Environment(Lines variables) : other_(std::move(variables)) { exchange(); }
  ~Environment() { exchange(); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

private:
  // Sets what is kept, and keeps what was set.
  void exchange() {
    for (std::string& variable : other_) {
      const std::string name = variable.substr(0, variable.find('='));
      const char* const value = getenv(name.c_str());
      const std::string before = value ? name + "=" + value : name;
      variable == name ? unsetenv(name.c_str())
                       : setenv(name.c_str(), variable.c_str() + name.size() + 1, 1);
      variable = before;
    }
  }

  Lines other_;
};
