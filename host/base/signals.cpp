#include "host/base/signals.h"

#include <array>
#include <atomic>

#include <signal.h>

namespace host {

namespace {

// Those that a user, a program, a closed terminal or a limit sends; not those of a crash.
constexpr std::array kEndingSignals = {SIGINT,  SIGTERM, SIGHUP,  SIGQUIT, SIGPIPE,
                                       SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ};

std::atomic<void (*)()> cleanUpFunction = nullptr;

extern "C" void cleanUpAndEnd(int signal) {
  cleanUpFunction.load()();
  // SA_RESETHAND has restored the default action, so this ends the process.
  (void)raise(signal);
}

} // namespace

void cleanUpOnEndingSignals(void (*cleanUp)()) noexcept {
  cleanUpFunction = cleanUp;
  struct sigaction action{};
  action.sa_handler = cleanUpAndEnd;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (const int signal : kEndingSignals) {
    struct sigaction before{};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) // as nohup sets it
      sigaction(signal, &action, nullptr);
  }
}

} // namespace host
