// ox-wp-host: the reference host.

#include <csignal>
#include <exception>
#include <new>

#include "host/base/error.h"
#include "host/commandLine.h"
#include "host/commands/commands.h"

int main(int argc, char** argv) {
  // A reader that has gone away is a failed write, with a message, like any other.
  std::signal(SIGPIPE, SIG_IGN); // NOLINT(cert-err33-c): can't fail for this signal
  try {
    return host::runCommandLine({argv + 1, argv + argc});
  } catch (const std::bad_alloc&) {
    host::reportError("not enough memory");
  } catch (const std::exception& error) {
    host::reportError(error.what());
  }
  return host::kFailure;
}
