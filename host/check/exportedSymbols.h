// The names of the functions that a shared library exports, read from the file.
#pragma once

#include <string>
#include <vector>

namespace host {

// None when the library has no table of its sections.
// REQUIRES: the library can be loaded, so it is one of this machine.
std::vector<std::string> exportedFunctions(const std::string& path);

} // namespace host
