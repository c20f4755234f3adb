// What goes wrong with files, plug-ins and outputs, as one line for the person at the shell.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "WHAT: reason", the reason being that of the system call that has just failed.
Error systemError(const std::string& what, int code = errno);

// One line on standard error.
void reportError(std::string_view message);

} // namespace host
