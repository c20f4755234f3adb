// The names of the functions that a shared library exports, read from the file.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

// None when the file is not a 64-bit ELF library with a section table.
std::optional<std::vector<std::string>> exportedFunctions(const std::string& path);

} // namespace host
