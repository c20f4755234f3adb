#include "host/base/error.h"

#include <cstdio>
#include <system_error>

#include <fmt/core.h>

namespace host {

Error systemError(const std::string& what, int code) {
  return Error(what + ": " + std::generic_category().message(code));
}

void reportError(std::string_view message) {
  fmt::print(stderr, "ox-wp-host: {}\n", message);
}

} // namespace host
