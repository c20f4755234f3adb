// Failures of files, plug-ins and outputs, and the messages about them.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>

namespace host {

// The message is one line for the person at the shell.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// "WHAT: reason", the reason being that of the system call that has just failed.
Error systemError(const std::string& what, int code = errno);

// Bytes for standard error. What cannot be written is dropped: there is no place left to report it.
void writeToStandardError(std::string_view bytes) noexcept;

// One line on standard error. Control characters, which names of files can hold, are replaced.
void reportError(std::string_view message);

} // namespace host
