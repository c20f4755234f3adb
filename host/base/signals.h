// What is done before a signal ends the process.
#pragma once

namespace host {

// Calls cleanUp() before a signal that ends the process, such as Ctrl-C, does so, from now on. It
// may only call what a signal handler may call. A later function takes the place of an earlier one.
void cleanUpOnEndingSignals(void (*cleanUp)()) noexcept;

} // namespace host
