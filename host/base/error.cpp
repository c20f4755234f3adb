#include "host/base/error.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

#include "host/base/strings.h"

namespace host {

Error systemError(const std::string& what, int code) {
  return Error(what + ": " + std::generic_category().message(code));
}

void writeToStandardError(std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written >= 0)
      bytes.remove_prefix(static_cast<size_t>(written));
    else if (errno != EINTR)
      return;
  }
}

void reportError(std::string_view message) {
  writeToStandardError("ox-wp-host: " + printable(message) + '\n');
}

} // namespace host
