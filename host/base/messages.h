// Failures of files, plug-ins and outputs, messages about them, and strings made safe for what they
// are written into: those from files can hold any bytes.
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

// A line on standard error for as long as something lasts, if that is a terminal. The destructor
// erases it, so that messages and prompts start on an empty line.
class StatusLine {
public:
  // Shortens the line to the terminal's width.
  explicit StatusLine(std::string_view line);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
};

// Returns valid UTF-8 without control characters: a name must not send commands to a terminal. What
// belongs to no character becomes U+FFFD.
std::string printable(std::string_view bytes);

// The number of characters of valid UTF-8, each of which is taken to be one column wide.
std::size_t width(std::string_view string) noexcept;

// Shortens to `most` printable characters (at least 1); ends in … if anything was cut.
std::string shortened(std::string_view bytes, std::size_t most);

// A field of a CSV row: valid UTF-8, in quotes where needed.
std::string csvField(std::string_view bytes);

} // namespace host
