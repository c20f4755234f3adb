// The terminal of the person at the shell, if there is one.
#pragma once

#include <string_view>

#include <sys/ioctl.h> // IWYU pragma: export

namespace host {

// The room on standard output: of the terminal, or else what $COLUMNS and $LINES say, or else a
// usual width and no rows.
winsize terminalSize() noexcept;

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

} // namespace host
