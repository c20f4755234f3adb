// Environment variables for as long as a test needs them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <stdlib.h>

// Sets each "NAME=value" in the environment, unsets a NAME alone, and undoes it at the end.
class Environment {
public:
  explicit Environment(std::vector<std::string> variables) : other_(std::move(variables)) {
    exchange();
  }
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

  std::vector<std::string> other_;
};
