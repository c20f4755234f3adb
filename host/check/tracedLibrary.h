// A plug-in's library whose functions note their name while they run, so that a crash or a hang can
// be traced to the function that was called.
#pragma once

#include <stdexcept>

#include "host/boundary/plugin.h"

namespace host {

// The plug-in breaks a rule; the message says what was seen.
struct Broken : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Where the name of the running function is stored; null there when none runs.
void noteCallsAt(const char** place) noexcept;

// A function that throws anything but std::bad_alloc is reported as Broken. The call of a null
// function throws Error, so that a missing function breaks only the rule that looks for it.
// REQUIRES: at most one library is in use at a time.
class TracedLibrary : public Library {
public:
  explicit TracedLibrary(const std::string& path);
};

} // namespace host
