#include "host/base/terminal.h"

#include <algorithm>

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/base/messages.h"

namespace host {

namespace {

// The number in an environment variable, as far as a terminal could have it; else 0.
unsigned short environmentNumber(const char* name) noexcept {
  const char* const value = getenv(name);
  return static_cast<unsigned short>(std::clamp(value ? strtol(value, nullptr, 10) : 0, 0L, 1000L));
}

} // namespace

winsize terminalSize() noexcept {
  constexpr unsigned short kUsualColumns = 80;
  winsize size{};
  (void)ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
  if (size.ws_col == 0)
    size = {environmentNumber("LINES"), environmentNumber("COLUMNS"), 0, 0};
  if (size.ws_col == 0)
    size.ws_col = kUsualColumns;
  return size;
}

StatusLine::StatusLine(std::string_view line) {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1)
    (void)fputs(shortened(line, size.ws_col - 1U).c_str(), stderr);
}

StatusLine::~StatusLine() {
  if (isatty(STDERR_FILENO) == 1)
    (void)fputs("\r\x1b[K", stderr);
}

} // namespace host
