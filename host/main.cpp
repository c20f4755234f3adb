// ox-wp-host: a host for the shell.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "host/commandLine.h"

namespace {

// A file that is opened later must not get the number of a standard stream: messages would go into
// it. Each stand-in is opened for the other direction, so that using it is an error.
void openStandardStreams() noexcept {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(descriptor, F_GETFD) < 0)
      (void)open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

} // namespace

int main(int argc, char** argv) {
  openStandardStreams();
  // Where it is ignored, as some services start programs, a child's status is lost.
  (void)signal(SIGCHLD, SIG_DFL);
  return host::runCommandLine({argv + 1, argv + argc});
}
