// A plug-in's library whose functions note their name while they run, so that a crash or a hang can
// be traced to the function that was called.
#pragma once

#include "host/boundary/plugin.h" // IWYU pragma: export

namespace host {

// Where the name of the running function is stored; null there when none runs.
void noteCallsAt(const char** place) noexcept;

// An exception that the boundary forbids ends the process while the function is still noted.
// REQUIRES: at most one library is in use at a time.
class TracedLibrary : public Library {
public:
  explicit TracedLibrary(const std::string& path);
};

} // namespace host
