// The terminal of the person at the shell, if there is one.
#pragma once

#include <sys/ioctl.h> // IWYU pragma: export

namespace host {

// The room on standard output: of the terminal, or else what $COLUMNS and $LINES say, or else a
// usual width and no rows.
winsize terminalSize() noexcept;

} // namespace host
