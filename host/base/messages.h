// Failures of files, plug-ins and outputs, messages about them, and strings and times made fit for
// what they are written into: strings from files can hold any bytes.
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

// Returns "WHAT: strerror(code)".
Error systemError(const std::string& what, int code = errno);

// Writes one line to standard error. Control characters, which names of files can hold, are
// replaced.
void reportError(std::string_view message);

// Returns valid UTF-8 without control characters: a name must not send commands to a terminal. What
// belongs to no character becomes U+FFFD.
std::string printable(std::string_view bytes);

// The number of characters of valid UTF-8, each of which is taken to be one column wide.
std::size_t width(std::string_view string) noexcept;

// Shortens to `most` printable characters (at least 1); ends in … if anything was cut.
std::string shortened(std::string_view bytes, std::size_t most);

// A field of a CSV row: valid UTF-8, in quotes where needed.
std::string csvField(std::string_view bytes);

// The time rounded to the nanosecond: its shortest digits then show no error of a calculation.
double toNanosecond(double seconds) noexcept;

} // namespace host
